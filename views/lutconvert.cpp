// The table-resizing view ("MVIMLUT"): a lookup table stored as a one-line
// image, presented at another power-of-two length.  A longer view repeats
// each parent entry; a shorter one shows either every n-th entry
// (subsample, mode non-zero) or the first entries (truncate, mode 0).
// Pixels move one at a time, each one call of the parent's transfer.
#include "views/forward.hpp"

#include <bit>

namespace mvip::view {
namespace {

#pragma pack(push, 4)
struct LutState {
    ViewHead head;           // follow is always 0: the view is its own length
    uint32_t parent_log2;    // log2 of the parent's length
    uint32_t view_log2;      // log2 of the presented length
    uint32_t subsample;      // shrinking: 0 truncate, non-zero subsample
};
#pragma pack(pop)

LutState& st(mvimage* v) { return state_of<LutState>(v); }
mvimage* parent(mvimage* v) { return parent_of<LutState>(v); }

// Parent entry shown at view entry X.
uint32_t parent_entry(const LutState& s, uint32_t X) {
    if (s.view_log2 >= s.parent_log2) return X >> (s.view_log2 - s.parent_log2);
    return s.subsample ? X << (s.parent_log2 - s.view_log2) : X;
}

template <bool Write>
uint32_t io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y) {
    mvimage* p = parent(v);
    const LutState& s = st(v);
    if (p == v || !buffer || !starts_inside(v, x, y)) return 0;
    const uint32_t w = wind_width(v), h = wind_height(v);
    const uint32_t mode = s.head.run_mode;
    const uint32_t n = std::min(count, run_length_2d(mode & ~MVMODE_NOCHECK, w, h, x, y));
    const size_t pixel_bytes = size_t{s.head.sel_count} * v->pixiesize;
    const uint32_t pf = parent_flags(flags);
    auto* buf = static_cast<unsigned char*>(buffer);
    return walk_run(n, x, y, w, h, (mode & MVMODE_YSCAN) != 0, true, 1,
                    [&](uint32_t cx, uint32_t cy, uint32_t) {
        const auto px = static_cast<int32_t>(parent_entry(s, cx + uint32_t(v->wind.nw.x)));
        const auto py = static_cast<int32_t>(cy + uint32_t(v->wind.nw.y));
        const uint32_t moved = Write ? p->iorite(p, pf, buf, 1, px, py) : p->ioread(p, pf, buf, 1, px, py);
        buf += moved * pixel_bytes;
        return moved;
    });
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    LutState& s = st(v);
    mode &= ~MVMODE_WRITE;
    s.head.run_mode = mode;
    if (type_of(type) != type_of(v->pixfmt.datatype)) return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, v->pixfmt.pixies, sel)) return MVERR_COLORS;
    s.head.sel_count = sel.count;
    const int32_t rc = p->ioset(p, mode, type, mask);
    if (rc < 0) return rc;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;
    v->ioread = mvimlut_ioread;
    v->iorite = mvimlut_iorite;
    v->iolen = mvimlut_iolen;
    return 1;
}

uint32_t aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    mvimage* p = parent(v);
    NestingGuard guard;
    const bool forward = p != v && !guard.too_deep();
    switch (code) {
        case 'b': return forward ? layered(layered(p->aeiou(p, code, arg1, arg2), 0), 0x10000) : 0;
        case 'i':
        case 'm': return forward ? layered(p->aeiou(p, code, arg1, arg2), 0x10000) : 0;
        case 'B': return 357913941u;
        case 'I': return 0xFFFFFFFFu / (v->pixelsize ? v->pixelsize : 1u);
        case 'e': return forward && arg2 ? p->aeiou(p, code, arg1, arg2) : 0;
        default: return 0;
    }
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    return follow_xwind(v, w, code, [](mvimage* view) {
        set_idle_slots(view, mvimlut_ioset, noop::bxts, noop::imapset);
        view->iowait = mvimlut_iowait;  // the parent may defer its transfers
    });
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_lutconvert(mvimage* v, mvimage* parent_ref, uint32_t length,
                                               uint32_t mode) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage* p = resolve(v, ref);
    // A self-parent view has no table to check; it is built so that its
    // set-up answers -5.
    const bool self = p == v;
    const bool shaped = self || (p && p->imdim.se.y == 1 && p->imdim.se.x > 0 &&
                                 std::has_single_bit(uint32_t(p->imdim.se.x)));
    if (!p || !shaped || !std::has_single_bit(length) || length > 0x80000000u) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    const uint32_t parent_log2 = self ? 0 : uint32_t(std::countr_zero(uint32_t(p->imdim.se.x)));
    ParentDescription d = describe(v, p);
    d.imdim = mvywindow{};
    d.imdim.se.x = static_cast<int32_t>(length);
    d.imdim.se.y = 1;
    d.wind = d.imdim;
    fill_description(v, d, true);
    set_kind(v, "MVIMLUT");
    v->aeiou = mvimlut_aeiou;
    v->xwind = mvimlut_xwind;
    LutState& s = st(v);
    s.head.parent_ref = ref;
    s.parent_log2 = self ? uint32_t(std::countr_zero(length)) : parent_log2;
    s.view_log2 = uint32_t(std::countr_zero(length));
    s.subsample = mode;
    v->xwind(v, nullptr, 's');
    return 0;
}

// ---- slot routines by name ---------------------------------------------------

extern "C" MVIP_API int32_t mvimlut_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimlut_ioread(mvimage* v, uint32_t flags, void* buffer, uint32_t count,
                                            int32_t x, int32_t y) {
    return v ? io<false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimlut_iorite(mvimage* v, uint32_t flags, void* buffer, uint32_t count,
                                            int32_t x, int32_t y) {
    return v ? io<true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimlut_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? offset_iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimlut_iowait(mvimage* v) { return v ? forward_iowait(v) : MVERR_USAGE; }
extern "C" MVIP_API uint32_t mvimlut_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimlut_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
