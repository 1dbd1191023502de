// The clipping view ("MVIMCLIP"): a write-only view that lets writes reach
// the parent only inside a list of rectangles.  Pixels that fall outside
// every rectangle are skipped but counted as written; reads move nothing.
#include "views/view.hpp"

#include <bit>

namespace mvip::view {
namespace {

#pragma pack(push, 4)
struct ClipState {
    ViewHead head;
    uint32_t count;        // rectangles in the list at priv
    uint32_t mode;         // scan mode of the current access
    uint32_t pixel_bytes;  // bytes of one caller pixel
};
#pragma pack(pop)

ClipState& st(mvimage* v) { return state_of<ClipState>(v); }
mvimage* parent(mvimage* v) { return parent_of<ClipState>(v); }
const mvywindow* clips(mvimage* v) { return static_cast<const mvywindow*>(v->priv); }

uint32_t iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return std::min(count, run_length_2d(st(v).mode, wind_width(v), wind_height(v), x, y));
}

uint32_t clipped_write(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x,
                       int32_t y) {
    mvimage* p = parent(v);
    const ClipState& s = st(v);
    const uint32_t w = wind_width(v), h = wind_height(v);
    if (p == v || !buffer || static_cast<uint32_t>(x) >= w || static_cast<uint32_t>(y) >= h)
        return 0;
    const uint32_t n = std::min(count, run_length_2d(s.mode & ~MVMODE_NOCHECK, w, h, x, y));
    const mvpoint off = parent_offset(v, s.head.follow);
    const mvywindow* list = clips(v);
    auto* buf = static_cast<unsigned char*>(buffer);
    uint32_t left = n, total = 0, cx = static_cast<uint32_t>(x), cy = static_cast<uint32_t>(y);
    while (left) {
        const int64_t X = int64_t{cx} + off.x, Y = int64_t{cy} + off.y;
        uint32_t m = std::min(left, w - cx);
        bool caught = false;
        int64_t next_right = INT64_MAX;
        for (uint32_t i = 0; i < s.count; ++i) {
            const mvywindow& r = list[i];
            if (Y < r.nw.y || Y >= r.se.y) continue;
            if (X >= r.nw.x && X < r.se.x) {
                m = static_cast<uint32_t>(std::min<int64_t>(m, r.se.x - X));
                total += p->iorite(p, parent_flags(flags), buf, m, static_cast<int32_t>(X),
                                   static_cast<int32_t>(Y));
                caught = true;
                break;
            }
            if (X < r.nw.x) next_right = std::min<int64_t>(next_right, r.nw.x);
        }
        if (!caught) {
            if (next_right != INT64_MAX) m = static_cast<uint32_t>(std::min<int64_t>(m, next_right - X));
            total += m;
        }
        buf += size_t{m} * s.pixel_bytes;
        left -= m;
        cx += m;
        if (cx == w) {
            cx = 0;
            ++cy;
        }
    }
    return total;
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    ClipState& s = st(v);
    mode &= ~MVMODE_WRITE;
    s.mode = mode;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    if (!request_suits_mapping(v->pixfmt, type)) return MVERR_DATATYPE;
    if (mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) return MVERR_UNSUPPORTED;
    PixieSelection sel;
    if (!parse_mask(mask, v->pixfmt.pixies, sel)) return MVERR_COLORS;
    s.pixel_bytes = sel.count * v->pixiesize;
    const int32_t rc = p->ioset(p, mode, type, mask);
    if (rc < 0) return rc;
    v->iorite = mvimclip_iorite;
    v->iolen = mvimclip_iolen;
    return 1;
}

uint32_t aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    mvimage* p = parent(v);
    NestingGuard guard;
    const bool forward = p != v && !guard.too_deep();
    switch (code) {
        case 'b':
        case 'i':
        case 'm': return forward ? layered(p->aeiou(p, code, arg1, arg2), 0x800000) : 0;
        case 'B': return 357913941u;
        case 'I': return 0xFFFFFFFFu / (v->pixelsize ? v->pixelsize : 1u);
        case 'e': return forward && arg2 ? p->aeiou(p, code, arg1, arg2) : 0;
        default: return 0;
    }
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    switch (code) {
        case 's': {
            mvimage* p = parent(v);
            NestingGuard guard;
            // The parent gets the caller's request as it is (null: whole image).
            if (st(v).head.follow && p != v && !guard.too_deep()) p->xwind(p, w, 's');
            if (!set_own_window(v, w)) return nullptr;
            set_idle_slots(v, mvimclip_ioset, noop::bxts, noop::imapset);
            return &v->wind;
        }
        default: return window_inquiry(v, w, code);
    }
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_clipper(mvimage* v, mvimage* parent_ref,
                                            const mvywindow* list, uint32_t count,
                                            uint8_t follow) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage* p = resolve(v, ref);
    if (!p || !list) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    const ParentDescription d = describe(v, p);
    fill_description(v, d, follow != 0);
    set_kind(v, "MVIMCLIP");
    v->priv = const_cast<mvywindow*>(list);
    v->aeiou = mvimclip_aeiou;
    v->xwind = mvimclip_xwind;
    ClipState& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = follow;
    s.count = count;
    v->xwind(v, nullptr, 's');
    return 0;
}

// ---- slot routines by name ---------------------------------------------------

extern "C" MVIP_API int32_t mvimclip_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclip_iorite(mvimage* v, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y) {
    return v ? clipped_write(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclip_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclip_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimclip_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
