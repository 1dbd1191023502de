// The plane-wise engine of the 3-D per-pixel views (see planewise.hpp).
#include "views/planewise.hpp"

#include "views/section.hpp"

namespace mvip::view::planewise {
namespace {

// The routines a kind's records hold, each exported under the kind's name.
struct NamedSlots {
    mvslot3_io ioread, iorite;
    mvslot3_wait iowait;
    mvslot3_set ioset;
    mvslot3_len iolen;
    mvslot3_set bxts;
    mvslot3_bxtp bxtp;
    mvslot3_bxta bxta;
    mvslot3_wait bxtw;
    mvslot3_set imapset;
    mvslot3_imap imap;
    mvslot3_imapr imapr;
    mvslot3_aeiou aeiou;
    mvslot3_xwind xwind;
};

#define MVIP_NAMED_SLOTS(kind)                                                                        \
    NamedSlots{kind##_ioread, kind##_iorite, kind##_iowait,  kind##_ioset, kind##_iolen,                \
               kind##_bxts,   kind##_bxtp,   kind##_bxta,    kind##_bxtw,  kind##_imapset,              \
               kind##_imap,   kind##_imapr,  kind##_aeiou,   kind##_xwind}
const NamedSlots kConverterSlots = MVIP_NAMED_SLOTS(mvimcon3);
const NamedSlots kColorConverterSlots = MVIP_NAMED_SLOTS(mvimclr3);
const NamedSlots kColorSliceSlots = MVIP_NAMED_SLOTS(mvimclrslic3);
#undef MVIP_NAMED_SLOTS

// The routines of the kind with tag `kind`.
const NamedSlots* named_slots(const char* kind) {
    if (std::strcmp(kind, "MVIMCON3") == 0) return &kConverterSlots;
    if (std::strcmp(kind, "MVIMCLR3") == 0) return &kColorConverterSlots;
    return &kColorSliceSlots;
}

#pragma pack(push, 4)
struct Access {
    uint32_t mode, type, mask;
};
struct PlanewiseState {
    ViewHead head;       // the 3-D parent; follow; map_mode of the current mapping
    BuildFlat flat;      // the kind's 2-D form
    const NamedSlots* named;  // the kind's routines
    Access run, bxt;     // current run and scattered access
    uint8_t args[kArgBytes];
};
#pragma pack(pop)

PlanewiseState& st(mvimage3* v) { return state_of<PlanewiseState>(as2(v)); }
mvimage3* parent(mvimage3* v) { return resolve(v, st(v).head.parent_ref); }
bool is_self(mvimage3* v, mvimage3* p) { return p == v; }

// Offset from the view's window-relative coordinates to the parent's.
void offset(mvimage3* v, int32_t off[3]) {
    const bool follow = st(v).head.follow != 0;
    off[0] = follow ? 0 : v->wind.nw.x;
    off[1] = follow ? 0 : v->wind.nw.y;
    off[2] = follow ? 0 : v->wind.nw.z;
}

// A section of the parent and the 2-D form of the view over it.  `yaxis`
// is the parent axis along the 2-D view's y (1: planes, 2: x-z sections);
// `fixed` is the view's window-relative coordinate on the third axis.
// Sections offer mapping only when `maps`: the 2-D forms' set-up may ask
// the parent for a mapping of its own, which must not replace one the
// caller holds on the 3-D view while runs go on.
struct Plane {
    mvimage section;
    mvimage flat;
};
int32_t open_plane(mvimage3* v, mvimage3* p, int yaxis, uint32_t fixed, Plane& pl, bool maps = false) {
    int32_t off[3];
    offset(v, off);
    const int third = 3 - yaxis;
    build_section(&pl.section, p, reference_of(p), 0, yaxis, fixed + static_cast<uint32_t>(off[third]),
                  true, maps);
    const PlanewiseState& s = st(v);
    const int32_t rc = s.flat(&pl.flat, &pl.section, s.args, s.head.follow);
    if (rc < 0) return rc;
    if (!s.head.follow) {
        // The 2-D view's image is the parent's window; its window is the
        // view's, projected.
        const int32_t* nw = &v->wind.nw.x;
        const int32_t* se = &v->wind.se.x;
        mvywindow w{{nw[0], nw[yaxis]}, {se[0], se[yaxis]}};
        if (!pl.flat.xwind(&pl.flat, &w, 's')) return MVERR_USAGE;
    }
    return 0;
}

// The 2-D form's axis and mode for a 3-D scan mode: x- and y-major runs go
// through planes, z-major ones through x-z sections scanned along y.
int section_yaxis(uint32_t mode) { return (mode & MVMODE_ZSCAN) ? 2 : 1; }
uint32_t flat_mode(uint32_t mode) {
    return (mode & MVMODE_ZSCAN) ? ((mode & ~MVMODE_ZSCAN) | MVMODE_YSCAN) : mode;
}

template <bool Write>
uint32_t io(mvimage3* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y,
            int32_t z) {
    mvimage3* p = parent(v);
    const PlanewiseState& s = st(v);
    const Box box = box_of(v);
    const int32_t start[3] = {x, y, z};
    if (is_self(v, p) || !buffer || !inside(box, start)) return 0;
    const uint32_t n = std::min(count, run_length(s.run.mode & ~MVMODE_NOCHECK, box.ext, start));
    const int yaxis = section_yaxis(s.run.mode);
    const int third = 3 - yaxis;
    const uint32_t mode2 = flat_mode(s.run.mode);
    PixieSelection sel;
    const size_t pixel_bytes = parse_mask(s.run.mask, v->pixfmt.pixies, sel) ? sel.count * v->pixiesize : 0;
    auto* buf = static_cast<unsigned char*>(buffer);
    uint32_t pos[3] = {static_cast<uint32_t>(x), static_cast<uint32_t>(y), static_cast<uint32_t>(z)};
    uint32_t done = 0;
    while (done < n) {
        Plane pl;
        if (open_plane(v, p, yaxis, pos[third], pl) < 0 ||
            pl.flat.ioset(&pl.flat, mode2, s.run.type, s.run.mask) < 0)
            break;
        const int32_t fx = static_cast<int32_t>(pos[0]), fy = static_cast<int32_t>(pos[yaxis]);
        const uint32_t want = std::min(n - done, run_length_2d(mode2 & ~MVMODE_NOCHECK, box.ext[0],
                                                               box.ext[yaxis], fx, fy));
        const uint32_t moved = Write ? pl.flat.iorite(&pl.flat, flags, buf, want, fx, fy)
                                     : pl.flat.ioread(&pl.flat, flags, buf, want, fx, fy);
        done += moved;
        buf += moved * pixel_bytes;
        if (moved < want) break;
        // The next section begins at its first pixel.
        pos[0] = pos[yaxis] = 0;
        ++pos[third];
    }
    return done;
}

uint32_t iolen(mvimage3* v, uint32_t count, int32_t x, int32_t y, int32_t z) {
    const int32_t pos[3] = {x, y, z};
    return std::min(count, run_length(st(v).run.mode, box_of(v).ext, pos));
}

int32_t iowait(mvimage3* v) {
    mvimage3* p = parent(v);
    return is_self(v, p) ? 1 : p->iowait(p);
}

int32_t ioset(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread3;
    v->iorite = noop::iorite3;
    v->iolen = noop::iolen3;
    mvimage3* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    mode &= ~MVMODE_WRITE;
    if ((mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) == (MVMODE_YSCAN | MVMODE_ZSCAN)) return MVERR_UNSUPPORTED;
    // The answer of the 2-D form on the first section the access touches.
    Plane pl;
    int32_t rc = open_plane(v, p, section_yaxis(mode), 0, pl);
    if (rc >= 0) rc = pl.flat.ioset(&pl.flat, flat_mode(mode), type, mask);
    if (rc < 0) return rc;
    st(v).run = Access{mode, type, mask};
    v->ioread = st(v).named->ioread;
    v->iorite = st(v).named->iorite;
    v->iolen = st(v).named->iolen;
    return rc;
}

// ---- scattered transfers: entries translated here, moved by the 2-D form ----

int32_t bxtp(mvimage3* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    mvimage3* p = parent(v);
    if (!prepares(operation) || !list || is_self(v, p)) return operation;
    int32_t off[3];
    offset(v, off);
    const Box box = box_of(v);
    prepare_on_parent3(p, operation, list, n, [&](const mvbxtentry& e, int32_t at[3]) {
        const int32_t pos[3] = {e.x, e.y, static_cast<int32_t>(e.tag)};
        for (int a = 0; a < 3; ++a) at[a] = pos[a] + off[a];
        return inside(box, pos);
    });
    return operation;
}

uint32_t bxta(mvimage3* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
              int32_t code) {
    mvimage3* p = parent(v);
    if (is_self(v, p)) return 0;
    if (prepares(operation)) bxtp(v, operation, list, n);
    const PlanewiseState& s = st(v);
    Plane pl;
    if (open_plane(v, p, 1, 0, pl) < 0 || pl.flat.bxts(&pl.flat, s.bxt.mode, s.bxt.type, s.bxt.mask) < 0)
        return 0;
    return pl.flat.bxta(&pl.flat, operation & ~0x80, buffer, list, n, code);
}

int32_t bxtw(mvimage3* v) { return bxtw_of_parent<parent>(v); }

int32_t bxts(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->bxtp = noop::bxtp3;
    v->bxta = noop::bxta3;
    mvimage3* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    Plane pl;
    int32_t rc = open_plane(v, p, 1, 0, pl);
    if (rc >= 0) rc = pl.flat.bxts(&pl.flat, mode, type, mask);
    if (rc < 0) return rc;
    st(v).bxt = Access{mode, type, mask};
    v->bxtp = st(v).named->bxtp;
    v->bxta = st(v).named->bxta;
    v->bxtw = st(v).named->bxtw;
    return rc;
}

// ---- mapping: granted where the 2-D form grants it; the parent's runs -------

int32_t imap(mvimage3* v, mvmapdesc* desc, int32_t x, int32_t y, int32_t z) {
    if (!desc) return 0;
    mvimage3* p = parent(v);
    const int32_t pos[3] = {x, y, z};
    const Box box = box_of(v);
    const uint32_t n = inside(box, pos) ? run_length(st(v).head.map_mode & ~MVMODE_NOCHECK, box.ext, pos) : 0;
    if (n == 0 || is_self(v, p)) {
        desc->runs = 0;
        return 0;
    }
    int32_t off[3];
    offset(v, off);
    const int32_t rc = p->imap(p, desc, x + off[0], y + off[1], z + off[2]);
    if (rc == 1 && desc->count > n) desc->count = n;
    return rc;
}

int32_t imapr(mvimage3* v, mvmapdesc* desc) { return imapr_of_parent<parent>(v, desc); }

int32_t imapset(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->imap = noop::imap3;
    v->imapr = noop::imapr3;
    mvimage3* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    if ((mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) == (MVMODE_YSCAN | MVMODE_ZSCAN)) return MVERR_UNSUPPORTED;
    Plane pl;
    int32_t rc = open_plane(v, p, section_yaxis(mode), 0, pl, true);
    if (rc >= 0) rc = pl.flat.imapset(&pl.flat, flat_mode(mode), type, mask);
    if (rc < 0) return rc;
    // The parent hands out the runs: ask it for the 3-D mapping itself.
    if (!st(v).head.follow || rc != MVMAP_GRANT_CONTINUE) mode &= ~MVMODE_CONTINUE;
    rc = p->imapset(p, mode, type, mask);
    if (rc < 0) return rc;
    st(v).head.map_mode = (mode & ~MVMODE_WRITE) & ~(rc == MVMAP_GRANT_CONTINUE ? 0u : MVMODE_CONTINUE);
    v->imap = st(v).named->imap;
    v->imapr = st(v).named->imapr;
    return rc;
}

uint32_t aeiou(mvimage3* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return aeiou_of_parent<parent>(v, code, arg1, arg2);
}

mvyzwindow* xwind(mvimage3* v, mvyzwindow* w, int32_t code) {
    switch (code) {
        case 's': {
            if (!set_own_window(v, w)) return nullptr;
            mvimage3* p = parent(v);
            NestingGuard guard;
            if (st(v).head.follow && !is_self(v, p) && !guard.too_deep()) p->xwind(p, &v->wind, 's');
            set_idle_slots3(v, st(v).named->ioset, st(v).named->bxts, st(v).named->imapset);
            v->iowait = st(v).named->iowait;
            return &v->wind;
        }
        default: return window_inquiry(v, w, code);
    }
}

}  // namespace

int32_t build(mvimage3* v, mvimage3* parent_ref, uint8_t follow, const char* kind, BuildFlat flat,
              const void* args, size_t arg_bytes) {
    const int64_t ref = reference_of(parent_ref);
    mvimage3* p = resolve(v, ref);
    if (!p) {
        mvimage3_defnull(v);
        return MVERR_USAGE;
    }
    // A view that is its own parent has nothing to present; it is built
    // empty so that its set-up slots can answer -5.
    const bool self = p == v;
    ParentDescription3 d{};
    if (!self) {
        // The 2-D form over a plane of the parent checks the arguments and
        // gives the presented format.
        Plane pl;
        build_section(&pl.section, p, reference_of(p), 0, 1, 0, true, false);
        const int32_t rc = flat(&pl.flat, &pl.section, args, follow);
        if (rc < 0) {
            mvimage3_defnull(v);
            return rc;
        }
        d = describe(p);
        d.pixfmt = pl.flat.pixfmt;
    }
    fill_description(v, d, follow != 0);
    set_kind(as2(v), kind);
    st(v).named = named_slots(kind);
    v->aeiou = st(v).named->aeiou;
    v->xwind = st(v).named->xwind;
    PlanewiseState& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = follow;
    s.flat = flat;
    std::memcpy(s.args, args, std::min(arg_bytes, kArgBytes));
    v->xwind(v, &v->wind, 's');
    return 0;
}

}  // namespace mvip::view::planewise

// ---- Slot routines by name --------------------------------------------------
// The three kinds share the engine; each holds routines of its own name.

extern "C" MVIP_API uint32_t mvimcon3_ioread(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::io<false>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API uint32_t mvimcon3_iorite(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::io<true>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvimcon3_iowait(mvimage3* im) {
    return im ? mvip::view::planewise::iowait(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimcon3_ioset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::ioset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimcon3_iolen(mvimage3* im, uint32_t count, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::iolen(im, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvimcon3_bxts(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::bxts(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimcon3_bxtp(mvimage3* im, int32_t operation, mvbxtentry* list,
                                          uint32_t count) {
    return im ? mvip::view::planewise::bxtp(im, operation, list, count) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimcon3_bxta(mvimage3* im, int32_t operation, void* buffer, mvbxtentry* list,
                                           uint32_t count, int32_t code) {
    return im ? mvip::view::planewise::bxta(im, operation, buffer, list, count, code) : 0;
}
extern "C" MVIP_API int32_t mvimcon3_bxtw(mvimage3* im) {
    return im ? mvip::view::planewise::bxtw(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimcon3_imapset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::imapset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimcon3_imap(mvimage3* im, mvmapdesc* desc, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::imap(im, desc, x, y, z) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimcon3_imapr(mvimage3* im, mvmapdesc* desc) {
    return im ? mvip::view::planewise::imapr(im, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimcon3_aeiou(mvimage3* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? mvip::view::planewise::aeiou(im, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvyzwindow* mvimcon3_xwind(mvimage3* im, mvyzwindow* window, int32_t code) {
    return im ? mvip::view::planewise::xwind(im, window, code) : nullptr;
}
extern "C" MVIP_API uint32_t mvimclr3_ioread(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::io<false>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API uint32_t mvimclr3_iorite(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::io<true>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvimclr3_iowait(mvimage3* im) {
    return im ? mvip::view::planewise::iowait(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr3_ioset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::ioset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclr3_iolen(mvimage3* im, uint32_t count, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::iolen(im, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvimclr3_bxts(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::bxts(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr3_bxtp(mvimage3* im, int32_t operation, mvbxtentry* list,
                                          uint32_t count) {
    return im ? mvip::view::planewise::bxtp(im, operation, list, count) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclr3_bxta(mvimage3* im, int32_t operation, void* buffer, mvbxtentry* list,
                                           uint32_t count, int32_t code) {
    return im ? mvip::view::planewise::bxta(im, operation, buffer, list, count, code) : 0;
}
extern "C" MVIP_API int32_t mvimclr3_bxtw(mvimage3* im) {
    return im ? mvip::view::planewise::bxtw(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr3_imapset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::imapset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr3_imap(mvimage3* im, mvmapdesc* desc, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::imap(im, desc, x, y, z) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclr3_imapr(mvimage3* im, mvmapdesc* desc) {
    return im ? mvip::view::planewise::imapr(im, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclr3_aeiou(mvimage3* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? mvip::view::planewise::aeiou(im, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvyzwindow* mvimclr3_xwind(mvimage3* im, mvyzwindow* window, int32_t code) {
    return im ? mvip::view::planewise::xwind(im, window, code) : nullptr;
}
extern "C" MVIP_API uint32_t mvimclrslic3_ioread(mvimage3* im, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::io<false>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API uint32_t mvimclrslic3_iorite(mvimage3* im, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::planewise::io<true>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvimclrslic3_iowait(mvimage3* im) {
    return im ? mvip::view::planewise::iowait(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclrslic3_ioset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::ioset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclrslic3_iolen(mvimage3* im, uint32_t count, int32_t x, int32_t y,
                                                int32_t z) {
    return im ? mvip::view::planewise::iolen(im, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvimclrslic3_bxts(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::planewise::bxts(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclrslic3_bxtp(mvimage3* im, int32_t operation, mvbxtentry* list,
                                              uint32_t count) {
    return im ? mvip::view::planewise::bxtp(im, operation, list, count) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclrslic3_bxta(mvimage3* im, int32_t operation, void* buffer,
                                               mvbxtentry* list, uint32_t count, int32_t code) {
    return im ? mvip::view::planewise::bxta(im, operation, buffer, list, count, code) : 0;
}
extern "C" MVIP_API int32_t mvimclrslic3_bxtw(mvimage3* im) {
    return im ? mvip::view::planewise::bxtw(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclrslic3_imapset(mvimage3* im, uint32_t mode, uint32_t type,
                                                 uint32_t mask) {
    return im ? mvip::view::planewise::imapset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclrslic3_imap(mvimage3* im, mvmapdesc* desc, int32_t x, int32_t y,
                                              int32_t z) {
    return im ? mvip::view::planewise::imap(im, desc, x, y, z) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimclrslic3_imapr(mvimage3* im, mvmapdesc* desc) {
    return im ? mvip::view::planewise::imapr(im, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimclrslic3_aeiou(mvimage3* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? mvip::view::planewise::aeiou(im, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvyzwindow* mvimclrslic3_xwind(mvimage3* im, mvyzwindow* window, int32_t code) {
    return im ? mvip::view::planewise::xwind(im, window, code) : nullptr;
}
