// The table-mapping view ("MVIMLUT2"): the parent's values pass through one
// table per view pixie on the way out (reads) and through another on the
// way in (writes).  Over a one-pixie parent the view may show up to four
// pixies, each from its own table applied to the one parent value
// (pseudo-colour); such a view is read-only.
//
// Values are low-justified and in machine order on both sides.  Table
// indexes are masked to the parent's significant bits, so a table of
// 2^bits entries is never read past its end, and so are the values the
// tables give, so the view's values are as clean as its format says.
// Transfers go through a 2048-byte staging area chunk by chunk; reads are
// mapped in place in the caller's buffer, writes in the staging area (the
// caller's buffer is left as it was).
#include "views/forward.hpp"

namespace mvip::view {
namespace {

constexpr size_t kStageBytes = 2048;
constexpr uint32_t kMaxPixies = 4;

// Applies one table to `count` values `stride` values apart, in place.
using ApplyFn = void (*)(void* values, size_t count, size_t stride, const void* table, uint32_t mask);
// Expands `count` parent values into pixels of `pixies` values, value i
// of each from tables[i].
using ExpandFn = void (*)(void* pixels, const void* values, size_t count, uint32_t pixies,
                          const void* const* tables, uint32_t mask);

#pragma pack(push, 4)
struct Lut2State {
    ViewHead head;
    uint32_t index;          // first selected view pixie
    uint32_t chunk;          // pixels per staged chunk
    uint32_t value_mask;     // the parent's significant bits
    ApplyFn apply;
    ExpandFn expand;
    const void* out[kMaxPixies];
    const void* in[kMaxPixies];
};
#pragma pack(pop)

Lut2State& st(mvimage* v) { return state_of<Lut2State>(v); }
mvimage* parent(mvimage* v) { return parent_of<Lut2State>(v); }

// Eight values per loop pass; Full: the bits fill the container (no mask).
template <class T, bool Full>
void apply(void* values, size_t count, size_t stride, const void* table, uint32_t mask) {
    auto* v = static_cast<T*>(values);
    const auto* t = static_cast<const T*>(table);
    const T m = static_cast<T>(mask);
    auto one = [&](size_t i) {
        if constexpr (Full) v[i * stride] = t[v[i * stride]];
        else v[i * stride] = static_cast<T>(t[v[i * stride] & m] & m);
    };
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        one(i); one(i + 1); one(i + 2); one(i + 3);
        one(i + 4); one(i + 5); one(i + 6); one(i + 7);
    }
    for (; i < count; ++i) one(i);
}

template <class T, bool Full, uint32_t P>
void expand_fixed(T* out, const T* in, size_t count, const T* const* t, T m) {
    for (size_t j = 0; j < count; ++j) {
        const T idx = Full ? in[j] : static_cast<T>(in[j] & m);
        for (uint32_t i = 0; i < P; ++i)
            out[j * P + i] = Full ? t[i][idx] : static_cast<T>(t[i][idx] & m);
    }
}

template <class T, bool Full>
void expand(void* pixels, const void* values, size_t count, uint32_t pixies, const void* const* tables,
            uint32_t mask) {
    const T* t[kMaxPixies] = {};
    for (uint32_t i = 0; i < pixies && i < kMaxPixies; ++i) t[i] = static_cast<const T*>(tables[i]);
    auto* out = static_cast<T*>(pixels);
    const auto* in = static_cast<const T*>(values);
    const T m = static_cast<T>(mask);
    switch (pixies) {
        case 1: expand_fixed<T, Full, 1>(out, in, count, t, m); break;
        case 2: expand_fixed<T, Full, 2>(out, in, count, t, m); break;
        case 3: expand_fixed<T, Full, 3>(out, in, count, t, m); break;
        default: expand_fixed<T, Full, 4>(out, in, count, t, m); break;
    }
}

struct TableRoutines {
    ApplyFn apply;
    ExpandFn expand;
};

template <class T>
TableRoutines routines_for(bool full) {
    return full ? TableRoutines{apply<T, true>, expand<T, true>}
                : TableRoutines{apply<T, false>, expand<T, false>};
}

// By the parent's data type and bits; null routines for a type without
// tables (floats).
TableRoutines choose_routines(const mvpixfmt& f) {
    const uint32_t container = 8 * pixie_bytes(f.datatype);
    const bool full = f.bits == 0 || f.bits >= container;
    switch (type_of(f.datatype)) {
        case MVTYPE_U8: return routines_for<uint8_t>(full);
        case MVTYPE_U16: return routines_for<uint16_t>(full);
        case MVTYPE_U32:
        case MVTYPE_I32: return routines_for<uint32_t>(full);
        default: return {nullptr, nullptr};
    }
}

enum class Route { full, single, expand };

template <bool Write, Route R>
uint32_t io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y) {
    mvimage* p = parent(v);
    const Lut2State& s = st(v);
    if (p == v || !buffer || !starts_inside(v, x, y)) return 0;
    const uint32_t w = wind_width(v), h = wind_height(v);
    const uint32_t mode = s.head.run_mode;
    const uint32_t n = std::min(count, run_length_2d(mode & ~MVMODE_NOCHECK, w, h, x, y));
    const bool yscan = (mode & MVMODE_YSCAN) != 0;
    // Chunks go on across lines only where the parent's lines are the view's.
    const bool across = s.head.follow && (mode & MVMODE_CONTINUE);
    const size_t vsize = v->pixiesize;
    const uint32_t pixies = v->pixfmt.pixies;
    const size_t caller_pixel = size_t{s.head.sel_count} * vsize;
    const uint32_t pf = parent_flags(flags);
    auto* buf = static_cast<unsigned char*>(buffer);
    alignas(16) unsigned char stage[kStageBytes];
    // The packed state holds the tables at 4-byte alignment: copied out
    // before they are handed on as an array.
    const void* out[kMaxPixies];
    for (uint32_t i = 0; i < kMaxPixies; ++i) out[i] = s.out[i];
    return walk_run(n, x, y, w, h, yscan, across, s.chunk, [&](uint32_t cx, uint32_t cy, uint32_t k) {
        const mvpoint at = offset_to_parent(v, cx, cy);
        uint32_t moved;
        if constexpr (Write) {
            std::memcpy(stage, buf, k * caller_pixel);
            if constexpr (R == Route::full) {
                for (uint32_t i = 0; i < pixies; ++i)
                    s.apply(stage + i * vsize, k, pixies, s.in[i], s.value_mask);
            } else {
                s.apply(stage, k, 1, s.in[s.index], s.value_mask);
            }
            moved = p->iorite(p, pf, stage, k, at.x, at.y);
        } else if constexpr (R == Route::expand) {
            moved = p->ioread(p, pf, stage, k, at.x, at.y);
            s.expand(buf, stage, moved, pixies, out, s.value_mask);
        } else {
            moved = p->ioread(p, pf, buf, k, at.x, at.y);
            if constexpr (R == Route::full) {
                for (uint32_t i = 0; i < pixies; ++i)
                    s.apply(buf + i * vsize, moved, pixies, s.out[i], s.value_mask);
            } else {
                s.apply(buf, moved, 1, s.out[s.index], s.value_mask);
            }
        }
        buf += moved * caller_pixel;
        return moved;
    });
}

uint32_t iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return offset_iolen(v, count, x, y);
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    Lut2State& s = st(v);
    if (!request_suits_mapping(v->pixfmt, type)) return MVERR_DATATYPE;
    const uint32_t pixies = v->pixfmt.pixies;
    PixieSelection sel;
    if (!parse_mask(mask, pixies, sel) || (sel.count != 1 && sel.count != pixies))
        return MVERR_COLORS;
    mode &= ~MVMODE_WRITE;
    s.head.run_mode = mode;
    s.head.sel_count = sel.count;
    s.index = sel.first;
    s.chunk = static_cast<uint32_t>(kStageBytes / std::max(v->pixelsize, p->pixelsize));
    if (s.chunk == 0) return MVERR_DATATYPE;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;
    const bool pseudo = p->pixfmt.pixies != pixies;
    const bool single = sel.count == 1 && pixies != 1;
    if (pseudo && !single) {
        v->ioread = mvimlut2_ioreadexpand;
    } else if (single) {
        v->ioread = mvimlut2_ioreadsingle;
        if (!pseudo) v->iorite = mvimlut2_ioritesingle;
    } else {
        v->ioread = mvimlut2_ioreadfull;
        v->iorite = mvimlut2_ioritefull;
    }
    v->iolen = mvimlut2_iolen;
    // The parent is always asked for low-justified values in machine order.
    const uint32_t ptype = (type & ~(MVREQ_HIGH | MVREQ_DIRTY | MVREQ_SWAPPED)) | MVREQ_LOW;
    const int32_t rc = p->ioset(p, mode, ptype, pseudo ? 1u : mask);
    if (rc < 0) {
        v->ioread = noop::ioread;
        v->iorite = noop::iorite;
        v->iolen = noop::iolen;
    }
    return rc;
}

// Inquiries: one more access layer for 'b', 'i', 'm'; the transfer limit
// by the view's own pixel size; anything else (file errors among them)
// is the parent's answer.
uint32_t aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    if (code == 'B') return 357913941u;
    if (code == 'I') return 0xFFFFFFFFu / (v->pixelsize ? v->pixelsize : 1u);
    return forward_aeiou(v, code, arg1, arg2);
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    return follow_xwind(v, w, code, [](mvimage* view) {
        set_idle_slots(view, mvimlut2_ioset, noop::bxts, noop::imapset);
        view->iowait = mvimlut2_iowait;  // the parent may defer its transfers
    });
}

int32_t build(mvimage* v, mvimage* parent_ref, uint8_t follow, const void* const* out,
              const void* const* in, uint32_t pixies, uint32_t colorspace) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage* p = resolve(v, ref);
    auto fail = [v](int32_t rc) {
        mvimage_defnull(v);
        return rc;
    };
    if (!p || !out || !in) return fail(MVERR_USAGE);
    if (p == v) {
        // Nothing to describe: built empty so that its set-up answers -5.
        fill_description(v, describe(v, p), true);
        set_kind(v, "MVIMLUT2");
        v->aeiou = mvimlut2_aeiou;
        v->xwind = mvimlut2_xwind;
        st(v).head.parent_ref = ref;
        v->xwind(v, &v->wind, 's');
        return 0;
    }
    if (p->pixfmt.pixies >= 5) return fail(MVERR_USAGE);
    if (pixies != 0 && (p->pixfmt.pixies != 1 || pixies > kMaxPixies || (colorspace & 0xFu) > 4))
        return fail(MVERR_USAGE);
    const TableRoutines r = choose_routines(p->pixfmt);
    if (!r.apply) return fail(MVERR_DATATYPE);
    ParentDescription d = describe(v, p);
    const uint32_t parent_bits = d.pixfmt.bits;
    if (pixies != 0) {
        d.pixfmt.pixies = pixies;
        d.pixfmt.colorspace = colorspace;
    }
    for (uint32_t i = 0; i < d.pixfmt.pixies; ++i)
        if (!out[i] || !in[i]) return fail(MVERR_USAGE);
    // The view's values are low-justified, clean and in machine order.
    d.pixfmt.valflags &= 0xFFFF0000u;
    d.pixfmt.byteorder &= 0xFFFF0000u;
    if (d.pixfmt.valform == MVVALFORM_HIGH) d.pixfmt.valform = MVVALFORM_LOW;
    fill_description(v, d, follow != 0);
    set_kind(v, "MVIMLUT2");
    v->aeiou = mvimlut2_aeiou;
    v->xwind = mvimlut2_xwind;
    Lut2State& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = follow;
    s.apply = r.apply;
    s.expand = r.expand;
    const uint32_t container = 8 * p->pixiesize;
    s.value_mask = parent_bits == 0 || parent_bits >= container ? 0xFFFFFFFFu
                                                                 : (1u << parent_bits) - 1u;
    for (uint32_t i = 0; i < d.pixfmt.pixies; ++i) {
        s.out[i] = out[i];
        s.in[i] = in[i];
    }
    v->xwind(v, &v->wind, 's');
    return 0;
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_lut2(mvimage* v, mvimage* parent_ref, uint8_t follow,
                                         const void* const* outtables, const void* const* intables,
                                         uint32_t pixies, uint32_t colorspace) {
    return build(v, parent_ref, follow, outtables, intables, pixies, colorspace);
}

extern "C" MVIP_API int32_t mvimage_lut2a(mvimage* v, mvimage* parent_ref, uint8_t follow,
                                          const void* out0, const void* out1, const void* out2,
                                          const void* out3, const void* in0, const void* in1,
                                          const void* in2, const void* in3, uint32_t pixies,
                                          uint32_t colorspace) {
    const void* const out[kMaxPixies] = {out0, out1, out2, out3};
    const void* const in[kMaxPixies] = {in0, in1, in2, in3};
    return build(v, parent_ref, follow, out, in, pixies, colorspace);
}

// ---- slot routines by name ---------------------------------------------------

#define MVIP_LUT2_IO(name, write, route)                                                        \
    extern "C" MVIP_API uint32_t mvimlut2_##name(mvimage* v, uint32_t flags, void* buffer,      \
                                                 uint32_t count, int32_t x, int32_t y) {        \
        return v ? io<write, Route::route>(v, flags, buffer, count, x, y) : 0;                  \
    }
MVIP_LUT2_IO(ioreadfull, false, full)
MVIP_LUT2_IO(ioritefull, true, full)
MVIP_LUT2_IO(ioreadsingle, false, single)
MVIP_LUT2_IO(ioritesingle, true, single)
MVIP_LUT2_IO(ioreadexpand, false, expand)
#undef MVIP_LUT2_IO

extern "C" MVIP_API int32_t mvimlut2_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimlut2_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimlut2_iowait(mvimage* v) { return v ? forward_iowait(v) : MVERR_USAGE; }
extern "C" MVIP_API uint32_t mvimlut2_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimlut2_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
