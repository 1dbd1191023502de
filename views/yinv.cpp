// The vertical inversion view ("MVIMYInv"): view line y shows parent line
// H - oy - y - 1, H being the view's full height even when its window
// covers only part of it.
#include "views/linemap.hpp"

namespace mvip::view {
namespace {

struct Inversion {
    static constexpr const char* kKind = "MVIMYInv";
    static constexpr uint32_t kFlag = 0;
    static constexpr bool kParentLength = false;
    static constexpr LineSlots kSlots = {
        mvimyinv_ioreadxscan, mvimyinv_ioreadyscan, mvimyinv_ioritexscan, mvimyinv_ioriteyscan,
        mvimyinv_iolen,       mvimyinv_ioset,       mvimyinv_bxts,        mvimyinv_bxtp,
        mvimyinv_bxta,        mvimyinv_bxtw,        mvimyinv_imapset,     mvimyinv_imap,
        mvimyinv_imapr,       mvimyinv_aeiou,       mvimyinv_xwind,
    };
    static int32_t line(const mvimage* v, const LineState&, int32_t y) {
        return static_cast<int32_t>(static_cast<uint32_t>(v->imdim.se.y) - static_cast<uint32_t>(y) - 1u);
    }
    static bool accepts(int32_t, uint32_t) { return true; }
};

}  // namespace
}  // namespace mvip::view

extern "C" MVIP_API int32_t mvimage_yinv(mvimage* view, mvimage* parent, uint8_t follow) {
    return mvip::view::LineView<mvip::view::Inversion>::build(view, parent, follow, 0);
}

// ---- Inversion view slot routines by name ----------------------------------

using InversionView = mvip::view::LineView<mvip::view::Inversion>;

extern "C" MVIP_API uint32_t mvimyinv_ioreadxscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? InversionView::io<false, false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyinv_ioreadyscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? InversionView::io<false, true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyinv_ioritexscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? InversionView::io<true, false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyinv_ioriteyscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? InversionView::io<true, true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyinv_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? InversionView::iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimyinv_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? InversionView::ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyinv_bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? InversionView::bxts(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyinv_bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    return v ? InversionView::bxtp(v, operation, list, n) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimyinv_bxta(mvimage* v, int32_t operation, void* buffer,
                                           mvbxtentry* list, uint32_t n, int32_t code) {
    return v ? InversionView::bxta(v, operation, buffer, list, n, code) : 0;
}
extern "C" MVIP_API int32_t mvimyinv_bxtw(mvimage* v) {
    return v ? InversionView::bxtw(v) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyinv_imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? InversionView::imapset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyinv_imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y) {
    return v ? InversionView::imap(v, desc, x, y) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyinv_imapr(mvimage* v, mvmapdesc* desc) {
    return v ? InversionView::imapr(v, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimyinv_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? InversionView::aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimyinv_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? InversionView::xwind(v, w, code) : nullptr;
}
