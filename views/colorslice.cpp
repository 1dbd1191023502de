// The colour-slice view ("ClrSlice"): one pixie of each parent pixel shown
// as a one-pixie image.  Three strategies, chosen per access, each with its
// own exported read and write routines:
//  - passthru: the parent serves the slice mask itself and the view's lines
//    continue exactly as the parent's do, so runs go to the parent whole;
//  - opaque: the parent serves the slice mask, but runs are cut at the end
//    of each view line and sent line by line;
//  - pfbix: the parent serves only whole pixels; they are staged 2048 bytes
//    at a time and the wanted pixie is taken out (or put in) here.
#include "views/forward.hpp"

namespace mvip::view {
namespace {

constexpr size_t kStageBytes = 2048;

enum class Strategy : uint8_t { passthru, opaque, pfbix };

using ElementFn = void (*)(unsigned char* pixels, unsigned char* values, uint32_t count,
                           uint32_t pixies, uint32_t index, bool insert);

#pragma pack(push, 4)
struct SliceState {
    ViewHead head;
    uint32_t slice_mask;   // one bit: the parent pixie shown
    uint32_t index;        // that pixie's index
    uint32_t mode;         // scan mode of the current access
    uint32_t pixie_bytes;  // bytes of one value of the requested type
    uint32_t chunk;        // pixels staged at a time (pfbix)
    ElementFn element;     // pfbix: takes out or puts in the pixie
};
#pragma pack(pop)

SliceState& st(mvimage* v) { return state_of<SliceState>(v); }
mvimage* parent(mvimage* v) { return parent_of<SliceState>(v); }

template <class T>
void element(unsigned char* pixels, unsigned char* values, uint32_t count, uint32_t pixies,
             uint32_t index, bool insert) {
    for (uint32_t i = 0; i < count; ++i) {
        unsigned char* px = pixels + (size_t{i} * pixies + index) * sizeof(T);
        unsigned char* val = values + size_t{i} * sizeof(T);
        if (insert) std::memcpy(px, val, sizeof(T));
        else std::memcpy(val, px, sizeof(T));
    }
}

ElementFn element_for(uint32_t type) {
    switch (type_of(type)) {
        case MVTYPE_U8: return element<uint8_t>;
        case MVTYPE_U16: return element<uint16_t>;
        case MVTYPE_U32:
        case MVTYPE_I32: return element<uint32_t>;
        case MVTYPE_FLOAT: return element<float>;
        case MVTYPE_DOUBLE: return element<double>;
        default: return nullptr;
    }
}

template <bool Write, Strategy S>
uint32_t io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y) {
    mvimage* p = parent(v);
    const SliceState& s = st(v);
    if (p == v || !buffer || !starts_inside(v, x, y)) return 0;
    const uint32_t w = wind_width(v), h = wind_height(v);
    const uint32_t n = std::min(count, run_length_2d(s.mode & ~MVMODE_NOCHECK, w, h, x, y));
    const bool yscan = (s.mode & MVMODE_YSCAN) != 0;
    constexpr bool whole_runs = S == Strategy::passthru;
    auto* buf = static_cast<unsigned char*>(buffer);
    const uint32_t pf = parent_flags(flags);

    if constexpr (S != Strategy::pfbix) {
        return walk_run(n, x, y, w, h, yscan, whole_runs, n, [&](uint32_t cx, uint32_t cy, uint32_t k) {
            const mvpoint at = offset_to_parent(v, cx, cy);
            const uint32_t moved = Write ? p->iorite(p, pf, buf, k, at.x, at.y)
                                         : p->ioread(p, pf, buf, k, at.x, at.y);
            buf += size_t{moved} * s.pixie_bytes;
            return moved;
        });
    } else {
        alignas(16) unsigned char stage[kStageBytes];
        const uint32_t pixies = p->pixfmt.pixies;
        const bool across = s.head.follow != 0;
        return walk_run(n, x, y, w, h, yscan, across, s.chunk,
                        [&](uint32_t cx, uint32_t cy, uint32_t k) {
            const mvpoint at = offset_to_parent(v, cx, cy);
            // Writes read the whole pixels first so the other pixies stay.
            uint32_t moved = p->ioread(p, pf, stage, k, at.x, at.y);
            if constexpr (Write) {
                s.element(stage, buf, moved, pixies, s.index, true);
                moved = p->iorite(p, pf, stage, moved, at.x, at.y);
            } else {
                s.element(stage, buf, moved, pixies, s.index, false);
            }
            buf += size_t{moved} * s.pixie_bytes;
            return moved;
        });
    }
}

uint32_t iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return std::min(count, run_length_2d(st(v).mode, wind_width(v), wind_height(v), x, y));
}

// Runs may go to the parent whole when the view's lines (columns, for
// y-scans) continue as the parent's: the view spans the parent image's full
// width (height), or follows the parent's window.
bool runs_continue_as_parent(mvimage* v, const mvimage* p, bool yscan) {
    if (st(v).head.follow) return true;
    return yscan ? (v->wind.nw.y == p->imdim.nw.y && v->wind.se.y == p->imdim.se.y)
                 : (v->wind.nw.x == p->imdim.nw.x && v->wind.se.x == p->imdim.se.x);
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    v->iowait = noop::iowait;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    SliceState& s = st(v);
    const bool handoff = runs_continue_as_parent(v, p, (mode & MVMODE_YSCAN) != 0);
    mode &= ~MVMODE_WRITE;
    s.mode = mode;
    s.pixie_bytes = pixie_bytes(type);
    if (mode & MVMODE_ZSCAN) return MVERR_USAGE;
    if (mask != 1) return MVERR_COLORS;
    int32_t rc = p->ioset(p, mode, type, s.slice_mask);
    if (rc >= 0) {
        v->ioread = handoff ? mvimclrslice_ioreadpassthru : mvimclrslice_ioreadopaque;
        v->iorite = handoff ? mvimclrslice_ioritepassthru : mvimclrslice_ioriteopaque;
    } else {
        rc = p->ioset(p, mode, type, all_pixies_mask(p->pixfmt.pixies));
        if (rc < 0) return rc;
        s.element = element_for(type);
        if (!s.element || s.pixie_bytes == 0) return MVERR_DATATYPE;
        s.chunk = static_cast<uint32_t>(
            std::max<size_t>(1, kStageBytes / (size_t{s.pixie_bytes} * p->pixfmt.pixies)));
        v->ioread = mvimclrslice_ioreadpfbix;
        v->iorite = mvimclrslice_ioritepfbix;
    }
    v->iolen = mvimclrslice_iolen;
    v->iowait = mvimclrslice_iowait;
    return 1;
}

// Scattered transfers go to the parent with the slice mask.
int32_t bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->bxtp = noop::bxtp;
    v->bxta = noop::bxta;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    if (mask != 1) return MVERR_COLORS;
    const int32_t rc = p->bxts(p, mode, type, st(v).slice_mask);
    if (rc < 0) return rc;
    v->bxtp = mvimclrslice_bxtp;
    v->bxta = mvimclrslice_bxta;
    v->bxtw = mvimclrslice_bxtw;
    return rc;
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    return follow_xwind(v, w, code, [](mvimage* view) {
        set_idle_slots(view, mvimclrslice_ioset, mvimclrslice_bxts, noop::imapset);
    });
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_colorslice(mvimage* v, mvimage* parent_ref, uint8_t follow,
                                               uint32_t mask) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage* p = resolve(v, ref);
    // A self-parent view has no pixies to check the mask against.
    const uint32_t parent_pixies = p == v ? 32 : p ? p->pixfmt.pixies : 0;
    PixieSelection sel;
    if (!p || !parse_mask(mask, parent_pixies, sel) || sel.count != 1) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    ParentDescription d = describe(v, p);
    d.pixfmt.pixies = 1;
    fill_description(v, d, follow != 0);
    set_kind(v, "ClrSlice");
    v->aeiou = mvimclrslice_aeiou;
    v->xwind = mvimclrslice_xwind;
    SliceState& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = follow;
    s.slice_mask = mask;
    s.index = sel.first;
    v->xwind(v, &v->wind, 's');
    return 0;
}

// ---- slot routines by name ---------------------------------------------------

extern "C" MVIP_API int32_t mvimclrslice_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclrslice_ioreadpassthru(mvimage* v, uint32_t flags, void* buffer,
                                                         uint32_t count, int32_t x, int32_t y) {
    return v ? io<false, Strategy::passthru>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclrslice_ioritepassthru(mvimage* v, uint32_t flags, void* buffer,
                                                         uint32_t count, int32_t x, int32_t y) {
    return v ? io<true, Strategy::passthru>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclrslice_ioreadopaque(mvimage* v, uint32_t flags, void* buffer,
                                                       uint32_t count, int32_t x, int32_t y) {
    return v ? io<false, Strategy::opaque>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclrslice_ioriteopaque(mvimage* v, uint32_t flags, void* buffer,
                                                       uint32_t count, int32_t x, int32_t y) {
    return v ? io<true, Strategy::opaque>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclrslice_ioreadpfbix(mvimage* v, uint32_t flags, void* buffer,
                                                      uint32_t count, int32_t x, int32_t y) {
    return v ? io<false, Strategy::pfbix>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclrslice_ioritepfbix(mvimage* v, uint32_t flags, void* buffer,
                                                      uint32_t count, int32_t x, int32_t y) {
    return v ? io<true, Strategy::pfbix>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclrslice_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimclrslice_iowait(mvimage* v) {
    return v ? forward_iowait(v) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclrslice_bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? bxts(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclrslice_bxtp(mvimage* v, int32_t operation, mvbxtentry* list,
                                              uint32_t n) {
    return v ? offset_bxtp(v, operation, list, n) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclrslice_bxta(mvimage* v, int32_t operation, void* buffer,
                                               mvbxtentry* list, uint32_t n, int32_t code) {
    return v ? offset_bxta(v, operation, buffer, list, n, code) : 0;
}
extern "C" MVIP_API int32_t mvimclrslice_bxtw(mvimage* v) { return v ? forward_bxtw(v) : MVERR_USAGE; }
extern "C" MVIP_API uint32_t mvimclrslice_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? forward_aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimclrslice_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
