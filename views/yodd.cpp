// The field view ("MVIMYOdd"): shows the even (field 0) or odd (field 1)
// lines of an interlaced frame at the frame's full height, each field line
// on two view lines.
#include "views/linemap.hpp"

namespace mvip::view {
namespace {

struct Field {
    static constexpr const char* kKind = "MVIMYOdd";
    static constexpr uint32_t kFlag = 0x10000;
    static constexpr bool kParentLength = true;
    static constexpr LineSlots kSlots = {
        mvimyodd_ioreadxscan, mvimyodd_ioreadyscan, mvimyodd_ioritexscan, mvimyodd_ioriteyscan,
        mvimyodd_iolen,       mvimyodd_ioset,       mvimyodd_bxts,        mvimyodd_bxtp,
        mvimyodd_bxta,        mvimyodd_bxtw,        mvimyodd_imapset,     mvimyodd_imap,
        mvimyodd_imapr,       mvimyodd_aeiou,       mvimyodd_xwind,
    };
    static int32_t line(const mvimage*, const LineState& s, int32_t y) {
        const uint32_t f = s.field;
        return static_cast<int32_t>((static_cast<uint32_t>(y) | f) & ~(f ^ 1u));
    }
    // A one-line image has no odd line; fields other than 0 and 1 do not exist.
    static bool accepts(int32_t height, uint32_t field) {
        return field <= 1 && !(field == 1 && height <= 1);
    }
};

}  // namespace
}  // namespace mvip::view

extern "C" MVIP_API int32_t mvimage_yodd(mvimage* view, mvimage* parent, uint8_t follow,
                                         uint32_t field) {
    return mvip::view::LineView<mvip::view::Field>::build(view, parent, follow, field);
}

// ---- Field view slot routines by name ----------------------------------

using FieldView = mvip::view::LineView<mvip::view::Field>;

extern "C" MVIP_API uint32_t mvimyodd_ioreadxscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? FieldView::io<false, false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyodd_ioreadyscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? FieldView::io<false, true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyodd_ioritexscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? FieldView::io<true, false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyodd_ioriteyscan(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? FieldView::io<true, true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimyodd_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? FieldView::iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimyodd_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? FieldView::ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyodd_bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? FieldView::bxts(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyodd_bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    return v ? FieldView::bxtp(v, operation, list, n) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimyodd_bxta(mvimage* v, int32_t operation, void* buffer,
                                           mvbxtentry* list, uint32_t n, int32_t code) {
    return v ? FieldView::bxta(v, operation, buffer, list, n, code) : 0;
}
extern "C" MVIP_API int32_t mvimyodd_bxtw(mvimage* v) {
    return v ? FieldView::bxtw(v) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyodd_imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? FieldView::imapset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyodd_imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y) {
    return v ? FieldView::imap(v, desc, x, y) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimyodd_imapr(mvimage* v, mvmapdesc* desc) {
    return v ? FieldView::imapr(v, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimyodd_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? FieldView::aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimyodd_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? FieldView::xwind(v, w, code) : nullptr;
}
