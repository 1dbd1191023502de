// The colour converter view ("MVIMCLR"): presents its parent in another
// colour space, in the parent's data type (formulas in
// views/colorspaces.hpp).
//
// Equal spaces: transfers (the "supported" routines), scattered transfers
// and mapping go to the parent unchanged.  Otherwise runs are staged (the
// "pfbix" routines): whole parent pixels are fetched in
// the parent's own type (low-justified, machine byte order) in chunks,
// converted into the view's space, and the selected pixies handed to the
// caller in the form it asked for.  Writes convert the caller's pixels into
// the parent's space; when the caller's mask selects only some pixies, when
// the view has more pixies than the parent, or when the view is a 4:2:2
// space (whose pixels need their partner's chroma), a write reads the run
// from the parent first, inserts the caller's values and writes the result
// back with the access flag 0x1000.
//
// 4:2:2 pairs are pixels (2k, 2k+1) in the coordinates of the 4:2:2 image
// itself (the parent's image, or the view's).  Reads widen each run to whole
// pairs, so a pixel reads the same whatever run it is read in.  Writes
// change only the pixels of the run: into a 4:2:2 parent, a pixel whose
// partner is not written with it (the first or last pixel of a run starting
// or ending inside a pair, every pixel of a y-scan run) stores its own
// chroma, while written pairs store their mean.  Every pixel the view's
// window covers must have its partner inside the parent's window, and when
// both sides are 4:2:2 their pairs must coincide; otherwise ioset answers
// -21.
#include "core/memvalue.hpp"
#include "views/colorspaces.hpp"
#include "views/forward.hpp"

namespace mvip::view {
namespace {

constexpr size_t kStageBytes = 16384;
constexpr uint32_t kRewrite = 0x1000;  // access flag of the write-back of a read-modify-write

#pragma pack(push, 4)
struct ClrState {
    ViewHead head;
    uint32_t space;         // the view's colour space
    uint32_t parent_space;  // the parent's colour space
    uint8_t forward;        // equal spaces: everything goes to the parent unchanged
    uint8_t pairs;          // current access: runs are widened to whole 4:2:2 pairs
    uint8_t rmw;            // current access: writes are read-modify-write
    uint8_t plain;          // current access: bit 0 reads, bit 1 writes need no value routine
    uint8_t mapped;         // current access: the parent's lines can be read in place
    uint8_t reserved[3];
    uint32_t sel_first;     // first pixie selected by the mask
    uint32_t pair_parity;   // added to a parent-relative x: odd = second pixel of a pair
    uint32_t chunk;         // pixels per staged step
    mem::MoveFn read_move;  // view form -> caller form
    mem::MoveFn write_move; // caller form -> view form
    uint32_t read_arg, write_arg;
    color::Scale scale;     // value range shared by both sides
    color::Route to_view;   // parent space -> view space
    color::Route to_parent; // view space -> parent space
};
#pragma pack(pop)
static_assert(sizeof(ClrState) <= sizeof(uint32_t) * MVIMAGE_STATE_WORDS);

ClrState& st(mvimage* v) { return state_of<ClrState>(v); }
mvimage* parent(mvimage* v) { return parent_of<ClrState>(v); }

bool aligned(const void* p, size_t bytes) {
    return reinterpret_cast<uintptr_t>(p) % bytes == 0;
}

// ---- staged runs ------------------------------------------------------------

// Parent pixels fetched for a chunk of view pixels: `count` pixels in the
// stage, of which the chunk's pixels are first, first + step, ...
struct Fetched {
    uint32_t count, first, step;
};

// Reads the parent pixels a chunk of k view pixels at (cx, cy) needs into
// `stage`: the chunk itself, widened to whole pairs when pairs are in play
// (for a column: the column and its partner column, interleaved into
// pairs, read through `scratch`).  count is what the parent delivered; with
// pairs it is 0 unless everything was delivered.
Fetched fetch(mvimage* v, mvimage* p, const ClrState& s, uint32_t pflags, uint32_t cx,
              uint32_t cy, uint32_t k, bool yscan, unsigned char* stage, unsigned char* scratch) {
    const mvpoint at = offset_to_parent(v, cx, cy);
    if (!s.pairs) return {p->ioread(p, pflags, stage, k, at.x, at.y), 0, 1};
    const uint32_t lead = (s.pair_parity + static_cast<uint32_t>(at.x)) & 1u;
    const int32_t x0 = at.x - static_cast<int32_t>(lead);
    if (!yscan) {
        const uint32_t tail = (s.pair_parity + static_cast<uint32_t>(at.x) + k) & 1u;
        const uint32_t want = lead + k + tail;
        const uint32_t got = p->ioread(p, pflags, stage, want, x0, at.y);
        return {got == want ? want : 0, lead, 1};
    }
    const size_t pb = p->pixelsize;
    unsigned char* left = scratch;
    unsigned char* right = scratch + k * pb;
    if (p->ioread(p, pflags, left, k, x0, at.y) != k ||
        p->ioread(p, pflags, right, k, x0 + 1, at.y) != k)
        return {0, lead, 2};
    for (size_t j = 0; j < k; ++j) {
        std::memcpy(stage + 2 * j * pb, left + j * pb, pb);
        std::memcpy(stage + (2 * j + 1) * pb, right + j * pb, pb);
    }
    return {2 * k, lead, 2};
}

// Pixels first, first + step, ... (k of them, `bytes` each) moved to the
// front of `data`, in order.
void compact(unsigned char* data, size_t bytes, uint32_t first, uint32_t step, uint32_t k) {
    if (first == 0 && step == 1) return;
    for (size_t j = 0; j < k; ++j)
        std::memmove(data + j * bytes, data + (first + j * size_t{step}) * bytes, bytes);
}

uint32_t staged_read(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x,
                     int32_t y) {
    mvimage* p = parent(v);
    const ClrState& s = st(v);
    if (p == v || !buffer || !starts_inside(v, x, y)) return 0;
    const uint32_t w = wind_width(v), h = wind_height(v);
    const uint32_t n = std::min(count, run_length_2d(s.head.run_mode & ~MVMODE_NOCHECK, w, h, x, y));
    const bool yscan = (s.head.run_mode & MVMODE_YSCAN) != 0;
    const size_t vpix = v->pixelsize, vsize = v->pixiesize;
    const size_t cpix = size_t{s.head.sel_count} * vsize;
    const uint32_t pflags = parent_flags(flags);
    // Whole pixels in the view's own form go straight into the caller's buffer.
    const bool direct = (s.plain & 1) && !s.pairs && s.head.sel_count == v->pixfmt.pixies &&
                        aligned(buffer, vsize);
    const size_t ppix = p->pixelsize;
    alignas(16) unsigned char stage[kStageBytes];
    alignas(16) unsigned char values[kStageBytes];
    auto* buf = static_cast<unsigned char*>(buffer);
    return walk_run(n, x, y, w, h, yscan, s.head.follow && !s.pairs && !s.mapped, s.chunk,
                    [&](uint32_t cx, uint32_t cy, uint32_t k) -> uint32_t {
        // The parent's pixels in place, where it maps this line as packed
        // pixels of its own form; otherwise a copy in the stage.
        const unsigned char* from_parent = stage;
        Fetched f{0, 0, 1};
        if (s.mapped) {
            mvmapdesc desc{};
            const mvpoint at = offset_to_parent(v, cx, cy);
            if (p->imap(p, &desc, at.x, at.y) == 1 && desc.stride == ppix && desc.count >= k &&
                aligned(desc.address, vsize)) {
                from_parent = static_cast<const unsigned char*>(desc.address);
                f.count = k;
            }
            p->imapr(p, &desc);
        }
        if (f.count == 0) f = fetch(v, p, s, pflags, cx, cy, k, yscan, stage, values);
        const uint32_t got = s.pairs ? (f.count ? k : 0) : f.count;
        if (got == 0) return 0;
        if (direct) {
            s.to_view.run(from_parent, buf, got, 0, s.scale);
        } else {
            s.to_view.run(from_parent, values, f.count, 0, s.scale);
            const unsigned char* from = values + f.first * vpix + s.sel_first * vsize;
            s.read_move(buf, static_cast<ptrdiff_t>(cpix), from,
                        static_cast<ptrdiff_t>(f.step * vpix), got, s.head.sel_count, s.read_arg);
        }
        buf += got * cpix;
        return got;
    });
}

uint32_t staged_write(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x,
                      int32_t y) {
    mvimage* p = parent(v);
    const ClrState& s = st(v);
    if (p == v || !buffer || !starts_inside(v, x, y)) return 0;
    const uint32_t w = wind_width(v), h = wind_height(v);
    const uint32_t n = std::min(count, run_length_2d(s.head.run_mode & ~MVMODE_NOCHECK, w, h, x, y));
    const bool yscan = (s.head.run_mode & MVMODE_YSCAN) != 0;
    const size_t vpix = v->pixelsize, vsize = v->pixiesize, ppix = p->pixelsize;
    const size_t cpix = size_t{s.head.sel_count} * vsize;
    const uint32_t pflags = parent_flags(flags);
    const bool view_pairs = color::is_422(s.space);
    const bool direct = (s.plain & 2) && aligned(buffer, vsize);
    alignas(16) unsigned char stage[kStageBytes];
    alignas(16) unsigned char values[kStageBytes];
    auto* buf = static_cast<unsigned char*>(buffer);
    return walk_run(n, x, y, w, h, yscan, s.head.follow && !s.pairs, s.chunk,
                    [&](uint32_t cx, uint32_t cy, uint32_t k) -> uint32_t {
        const mvpoint at = offset_to_parent(v, cx, cy);
        const uint32_t position = s.pairs ? (s.pair_parity + static_cast<uint32_t>(at.x)) & 1u : 0;
        const uint32_t phase = yscan ? (color::kPhaseColumn | position) : position;
        uint32_t moved;
        if (!s.rmw) {
            const void* from = buf;
            if (!direct) {
                const size_t nv = size_t{k} * v->pixfmt.pixies;
                const auto bytes = static_cast<ptrdiff_t>(nv * vsize);
                s.write_move(values, bytes, buf, bytes, 1, nv, s.write_arg);
                from = values;
            }
            s.to_parent.run(from, stage, k, phase, s.scale);
            moved = p->iorite(p, pflags, stage, k, at.x, at.y);
        } else {
            const Fetched f = fetch(v, p, s, pflags, cx, cy, k, yscan, stage, values);
            if (s.pairs ? f.count == 0 : f.count < k) {
                if (s.pairs || f.count == 0) return 0;
                k = f.count;  // write back what could be read
            }
            s.to_view.run(stage, values, f.count, 0, s.scale);
            unsigned char* slot = values + f.first * vpix + s.sel_first * vsize;
            s.write_move(slot, static_cast<ptrdiff_t>(f.step * vpix), buf,
                         static_cast<ptrdiff_t>(cpix), k, s.head.sel_count, s.write_arg);
            if (view_pairs) {
                // The view's pixels decode only as whole pairs.
                s.to_parent.run(values, stage, f.count, 0, s.scale);
                compact(stage, ppix, f.first, f.step, k);
            } else {
                compact(values, vpix, f.first, f.step, k);
                s.to_parent.run(values, stage, k, phase, s.scale);
            }
            moved = p->iorite(p, pflags | kRewrite, stage, k, at.x, at.y);
        }
        buf += moved * cpix;
        return moved;
    });
}

// The pair geometry of an access: pairs are pixels (2k, 2k+1) of the 4:2:2
// image; every pixel the view's window covers needs its partner inside the
// parent's window.  False when that cannot be had.
bool plan_pairs(mvimage* v, mvimage* p, ClrState& s) {
    const bool parent_pairs = color::is_422(s.parent_space);
    const bool view_pairs = color::is_422(s.space);
    s.pairs = parent_pairs || view_pairs;
    s.pair_parity = 0;
    if (!s.pairs) return true;
    // Parent-relative x plus base = the x of the 4:2:2 image.
    const int64_t parent_base = p->wind.nw.x;
    const int64_t view_base = s.head.follow ? v->wind.nw.x : 0;
    if (parent_pairs && view_pairs && ((parent_base - view_base) & 1)) return false;
    const int64_t base = parent_pairs ? parent_base : view_base;
    s.pair_parity = static_cast<uint32_t>(base & 1);
    if (wind_width(v) == 0 || wind_height(v) == 0) return true;
    const int64_t x0 = parent_offset(v, s.head.follow).x;
    const int64_t x1 = x0 + wind_width(v);
    const int64_t first = x0 - ((base + x0) & 1);
    const int64_t end = x1 + ((base + x1) & 1);
    return first >= 0 && end <= static_cast<int64_t>(wind_width(p));
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    if (type_of(type) != type_of(v->pixfmt.datatype) || v->pixiesize == 0) return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, v->pixfmt.pixies, sel)) return MVERR_COLORS;
    mode &= ~MVMODE_WRITE;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;
    ClrState& s = st(v);
    s.head.run_mode = mode;
    s.sel_first = sel.first;
    s.head.sel_count = sel.count;
    if (s.forward) {
        const int32_t rc = p->ioset(p, mode, type, mask);
        if (rc < 0) return rc;
        v->ioread = mvimclr_ioread_supported;
        v->iorite = mvimclr_iorite_supported;
        v->iolen = mvimclr_iolen;
        return rc;
    }
    // The parent must still hold whole pixels of its space in the view's type.
    if (type_of(p->pixfmt.datatype) != type_of(v->pixfmt.datatype)) return MVERR_DATATYPE;
    const uint32_t parent_pixies = color::pixies_of(s.parent_space);
    if (p->pixfmt.pixies != parent_pixies || !s.to_view.fn || !s.to_parent.fn) return MVERR_COLORS;
    if (!plan_pairs(v, p, s)) return MVERR_COLORS;
    const mem::SideChoice read = mem::choose_side(v, type, false);
    const mem::SideChoice write = mem::choose_side(v, type, true);
    if (!read.move || !write.move) return MVERR_DATATYPE;
    const uint32_t parent_type = type_of(p->pixfmt.datatype) | MVREQ_LOW;
    const int32_t rc = p->ioset(p, mode, parent_type, all_pixies_mask(parent_pixies));
    if (rc < 0) return rc;
    // Reads along lines use the parent's pixels in place where the parent
    // grants mapping of its lines in the form asked for (this takes over the
    // parent's mapping, as ioset takes over its runs).
    s.mapped = 0;
    if (!s.pairs && !(mode & MVMODE_YSCAN))
        s.mapped = p->imapset(p, 0, parent_type, all_pixies_mask(parent_pixies)) > 0 ? 1 : 0;
    const mem::MoveFn plain = mem::choose_move(v->pixiesize, mem::Adjust::none, mem::swap_none);
    s.read_move = read.move;
    s.read_arg = read.arg;
    s.write_move = write.move;
    s.write_arg = write.arg;
    s.plain = static_cast<uint8_t>((read.move == plain ? 1 : 0) | (write.move == plain ? 2 : 0));
    s.rmw = sel.count < v->pixfmt.pixies || v->pixfmt.pixies > parent_pixies ||
            color::is_422(s.space);
    // Pixels per step: the widest pixel, the pair widening and, for columns,
    // the partner column must fit the staging areas.
    const bool yscan = (mode & MVMODE_YSCAN) != 0;
    const size_t widest = std::max(v->pixelsize, p->pixelsize);
    const size_t per_step = kStageBytes / widest - (s.pairs ? 2 : 0);
    s.chunk = static_cast<uint32_t>(s.pairs && yscan ? per_step / 2 : per_step);
    v->ioread = mvimclr_ioreadpfbix;
    v->iorite = mvimclr_ioritepfbix;
    v->iolen = mvimclr_iolen;
    return 1;
}

// ---- scattered transfers: equal spaces only -----------------------------------

int32_t bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->bxtp = noop::bxtp;
    v->bxta = noop::bxta;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    if (type_of(type) != type_of(v->pixfmt.datatype) || v->pixiesize == 0) return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, v->pixfmt.pixies, sel)) return MVERR_COLORS;
    if (!st(v).forward) return MVERR_UNSUPPORTED;
    const int32_t rc = p->bxts(p, mode, type, mask);
    if (rc < 0) return rc;
    v->bxtp = mvimclr_bxtp;
    v->bxta = mvimclr_bxta;
    v->bxtw = mvimclr_bxtw;
    return rc;
}

// ---- direct mapping: equal spaces only --------------------------------------

// Mapping only where the parent already holds the view's form.
int32_t imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->imap = noop::imap;
    v->imapr = noop::imapr;
    mvimage* p = parent(v);
    if (p != v && (!st(v).forward || type_of(type) != type_of(v->pixfmt.datatype)))
        return MVERR_DATATYPE;
    return forward_imapset(v, mode, type, mask, mvimclr_imap, mvimclr_imapr);
}

// The view's format: equal spaces keep the parent's; otherwise the parent's
// type, bits and range in the new space, values held low-justified in the
// machine's byte order.
mvpixfmt view_format(const mvpixfmt& parent_fmt, uint32_t space) {
    if (parent_fmt.colorspace == space) return parent_fmt;
    mvpixfmt f = parent_fmt;
    f.colorspace = space;
    f.pixies = color::pixies_of(space);
    f.byteorder = 0;
    if (is_int_type(f.datatype)) {
        const uint32_t container = 8 * pixie_bytes(f.datatype);
        if (f.bits < 1 || f.bits > container) f.bits = container;
        f.valform = f.bits == container ? MVVALFORM_FULL : MVVALFORM_LOW;
        f.valflags = 0;
    }
    return f;
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    return follow_xwind(v, w, code, [](mvimage* view) {
        set_idle_slots(view, mvimclr_ioset, mvimclr_bxts, mvimclr_imapset);
    });
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_colorconverter(mvimage* v, mvimage* parent_ref,
                                                   uint32_t colorspace, int8_t flag) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage* p = resolve(v, ref);
    if (!p) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    const ParentDescription d = describe(v, p);
    // A view that is its own parent has nothing to convert; it is built so
    // that its set-up slots can answer -5.
    const bool self = p == v;
    const uint32_t parent_space = d.pixfmt.colorspace;
    const bool forward = parent_space == colorspace;
    color::Route to_view, to_parent;
    if (!self) {
        if (pixie_bytes(d.pixfmt.datatype) == 0) {
            mvimage_defnull(v);
            return MVERR_DATATYPE;
        }
        if (!color::supported(colorspace) || !color::supported(parent_space) ||
            d.pixfmt.pixies != color::pixies_of(parent_space)) {
            mvimage_defnull(v);
            return MVERR_COLORS;
        }
        to_view = color::route(parent_space, colorspace, d.pixfmt.datatype);
        to_parent = color::route(colorspace, parent_space, d.pixfmt.datatype);
        if (!to_view.fn || !to_parent.fn) {
            mvimage_defnull(v);
            return MVERR_COLORS;
        }
    } else if (!color::supported(colorspace)) {
        mvimage_defnull(v);
        return MVERR_COLORS;
    }
    fill_description(v, d, flag != 0);
    v->pixfmt = view_format(d.pixfmt, colorspace);
    derive_sizes(v);
    set_kind(v, "MVIMCLR");
    v->aeiou = mvimclr_aeiou;
    v->xwind = mvimclr_xwind;
    ClrState& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = flag != 0 ? 1 : 0;
    s.space = colorspace;
    s.parent_space = parent_space;
    s.forward = forward ? 1 : 0;
    s.scale = color::scale_of(d.pixfmt);
    s.to_view = to_view;
    s.to_parent = to_parent;
    v->xwind(v, &v->wind, 's');
    return 0;
}

// ---- slot routines by name ---------------------------------------------------

extern "C" MVIP_API int32_t mvimclr_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclr_ioread_supported(mvimage* v, uint32_t flags, void* buffer,
                                                      uint32_t count, int32_t x, int32_t y) {
    return v ? offset_forward_io<false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclr_iorite_supported(mvimage* v, uint32_t flags, void* buffer,
                                                      uint32_t count, int32_t x, int32_t y) {
    return v ? offset_forward_io<true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclr_ioreadpfbix(mvimage* v, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y) {
    return v ? staged_read(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclr_ioritepfbix(mvimage* v, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y) {
    return v ? staged_write(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimclr_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? offset_iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimclr_bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? bxts(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr_bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    return v ? offset_bxtp(v, operation, list, n) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclr_bxta(mvimage* v, int32_t operation, void* buffer,
                                          mvbxtentry* list, uint32_t n, int32_t code) {
    return v ? offset_bxta(v, operation, buffer, list, n, code) : 0;
}
extern "C" MVIP_API int32_t mvimclr_bxtw(mvimage* v) { return v ? forward_bxtw(v) : MVERR_USAGE; }
extern "C" MVIP_API int32_t mvimclr_imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? imapset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr_imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y) {
    return v ? offset_imap(v, desc, x, y) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr_imapr(mvimage* v, mvmapdesc* desc) {
    return v ? forward_imapr(v, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclr_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? forward_aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimclr_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
