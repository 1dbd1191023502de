// The one-plane view ("MVIM2to3"): a 2-D parent shown as a 3-D image of
// depth 1.  Plane 0 is the parent; transfers at any other z move nothing.
//
// A z-major access is served too: every pillar through a stack one plane
// deep is a single pixel, so a z-major run is one pixel long, and a
// continuing z-major run (z, then x, then y) visits the pixels in the
// order of a continuing x-major run.  The parent is asked for that x-major
// access.  z-major mapping is not offered (-11): the caller falls back to
// runs.
#include "views/view.hpp"

namespace mvip::view {
namespace {

ViewHead& st(mvimage3* v) { return *reinterpret_cast<ViewHead*>(v->state); }
mvimage* parent(mvimage3* v) { return resolve(as2(v), st(v).parent_ref); }
bool is_self(mvimage3* v, mvimage* p) { return p == as2(v); }

bool starts_inside(mvimage3* v, int32_t x, int32_t y, int32_t z) {
    const int32_t pos[3] = {x, y, z};
    return inside(box_of(v), pos);
}

mvpoint to_parent(mvimage3* v, int32_t x, int32_t y) {
    const bool follow = st(v).follow != 0;
    return follow ? mvpoint{x, y} : mvpoint{x + v->wind.nw.x, y + v->wind.nw.y};
}

uint32_t own_length(mvimage3* v, uint32_t mode, uint32_t count, int32_t x, int32_t y, int32_t z) {
    const int32_t pos[3] = {x, y, z};
    return std::min(count, run_length(mode, box_of(v).ext, pos));
}

// The parent's scan for a view mode: z-major becomes x-major.
uint32_t parent_mode(uint32_t mode) {
    return (mode & MVMODE_ZSCAN) ? (mode & ~MVMODE_ZSCAN) : mode;
}

template <bool Write>
uint32_t io(mvimage3* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y,
            int32_t z) {
    mvimage* p = parent(v);
    const ViewHead& s = st(v);
    if (is_self(v, p) || !buffer || z != 0 || !starts_inside(v, x, y, z)) return 0;
    const uint32_t n = own_length(v, s.run_mode & ~MVMODE_NOCHECK, count, x, y, z);
    const size_t pixel_bytes = size_t{s.sel_count} * v->pixiesize;
    auto* buf = static_cast<unsigned char*>(buffer);
    const bool yscan = (s.run_mode & MVMODE_YSCAN) != 0;
    return walk_run(n, x, y, wind_width(v), wind_height(v), yscan, s.follow, n,
                    [&](uint32_t cx, uint32_t cy, uint32_t k) {
        const mvpoint at = to_parent(v, static_cast<int32_t>(cx), static_cast<int32_t>(cy));
        const uint32_t moved = Write ? p->iorite(p, parent_flags(flags), buf, k, at.x, at.y)
                                     : p->ioread(p, parent_flags(flags), buf, k, at.x, at.y);
        buf += moved * pixel_bytes;
        return moved;
    });
}

uint32_t iolen(mvimage3* v, uint32_t count, int32_t x, int32_t y, int32_t z) {
    return own_length(v, st(v).run_mode, count, x, y, z);
}

int32_t iowait(mvimage3* v) {
    mvimage* p = parent(v);
    return is_self(v, p) ? 1 : p->iowait(p);
}

int32_t ioset(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread3;
    v->iorite = noop::iorite3;
    v->iolen = noop::iolen3;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    mode &= ~MVMODE_WRITE;
    if ((mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) == (MVMODE_YSCAN | MVMODE_ZSCAN)) return MVERR_UNSUPPORTED;
    const int32_t rc = p->ioset(p, parent_mode(mode), type, mask);
    if (rc < 0) return rc;
    ViewHead& s = st(v);
    s.run_mode = mode;
    PixieSelection sel;
    s.sel_count = parse_mask(mask, v->pixfmt.pixies, sel) ? sel.count : 1;
    v->ioread = mvim2to3_ioread;
    v->iorite = mvim2to3_iorite;
    v->iolen = mvim2to3_iolen;
    return rc;
}

// ---- scattered transfers: entries off plane 0 are outside ---------------

int32_t bxtp(mvimage3* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    mvimage* p = parent(v);
    if (!prepares(operation) || !list || is_self(v, p)) return operation;
    for (uint32_t i = 0; i < n; ++i) {
        const int32_t z = static_cast<int32_t>(list[i].tag);
        const mvpoint at = (z == 0 && starts_inside(v, list[i].x, list[i].y, z))
                               ? to_parent(v, list[i].x, list[i].y)
                               : mvpoint{-1, -1};
        list[i].x = at.x;
        list[i].y = at.y;
    }
    return p->bxtp(p, operation, list, n);
}

uint32_t bxta(mvimage3* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
              int32_t code) {
    return bxta_through_parent<parent, bxtp>(v, operation, buffer, list, n, code);
}

int32_t bxtw(mvimage3* v) { return bxtw_of_parent<parent>(v); }

int32_t bxts(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return bxts_on_parent<parent>(v, mode, type, mask, mvim2to3_bxtp, mvim2to3_bxta, mvim2to3_bxtw);
}

// ---- direct mapping: the parent's x- and y-major runs -------------------------

int32_t imap(mvimage3* v, mvmapdesc* desc, int32_t x, int32_t y, int32_t z) {
    if (!desc) return 0;
    mvimage* p = parent(v);
    const uint32_t n = own_length(v, st(v).map_mode & ~MVMODE_NOCHECK, 0xFFFFFFFFu, x, y, z);
    if (n == 0 || z != 0 || is_self(v, p)) {
        desc->runs = 0;
        return 0;
    }
    const mvpoint at = to_parent(v, x, y);
    const int32_t rc = p->imap(p, desc, at.x, at.y);
    if (rc == 1 && desc->count > n) desc->count = n;
    return rc;
}

int32_t imapr(mvimage3* v, mvmapdesc* desc) { return imapr_of_parent<parent>(v, desc); }

int32_t imapset(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->imap = noop::imap3;
    v->imapr = noop::imapr3;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;
    // Runs across lines only match when the view shares the parent's window.
    if (!st(v).follow) mode &= ~MVMODE_CONTINUE;
    const int32_t rc = p->imapset(p, mode, type, mask);
    if (rc < 0) return rc;
    st(v).map_mode = mode & ~MVMODE_WRITE;
    if (rc == MVMAP_GRANT) st(v).map_mode &= ~MVMODE_CONTINUE;
    v->imap = mvim2to3_imap;
    v->imapr = mvim2to3_imapr;
    return rc;
}

uint32_t aeiou(mvimage3* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return aeiou_of_parent<parent>(v, code, arg1, arg2);
}

mvyzwindow* xwind(mvimage3* v, mvyzwindow* w, int32_t code) {
    switch (code) {
        case 's': {
            if (!set_own_window(v, w)) return nullptr;
            mvimage* p = parent(v);
            NestingGuard guard;
            if (st(v).follow && !is_self(v, p) && !guard.too_deep()) {
                mvywindow flat{{v->wind.nw.x, v->wind.nw.y}, {v->wind.se.x, v->wind.se.y}};
                p->xwind(p, &flat, 's');
            }
            set_idle_slots3(v, mvim2to3_ioset, mvim2to3_bxts, mvim2to3_imapset);
            v->iowait = mvim2to3_iowait;
            return &v->wind;
        }
        default: return window_inquiry(v, w, code);
    }
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_def3from2(mvimage3* v, mvimage* parent_ref, uint8_t follow) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage* p = resolve(as2(v), ref);
    if (!p) {
        mvimage3_defnull(v);
        return MVERR_USAGE;
    }
    // A view that is its own parent is built empty so that its set-up
    // slots can answer -5.
    const bool self = p == as2(v);
    const ParentDescription d = self ? ParentDescription{} : describe(as2(v), p);
    ParentDescription3 d3{};
    d3.imdim.se = mvpoint3{d.imdim.se.x, d.imdim.se.y, 1};
    d3.wind = mvyzwindow{{d.wind.nw.x, d.wind.nw.y, 0}, {d.wind.se.x, d.wind.se.y, 1}};
    d3.pixfmt = d.pixfmt;
    d3.geometry = d.geometry;
    fill_description(v, d3, follow != 0);
    set_kind(as2(v), "MVIM2to3");
    v->aeiou = mvim2to3_aeiou;
    v->xwind = mvim2to3_xwind;
    ViewHead& s = st(v);
    s.parent_ref = ref;
    s.follow = follow;
    v->xwind(v, &v->wind, 's');
    return 0;
}

// ---- One-plane view slot routines by name -----------------------------------

extern "C" MVIP_API uint32_t mvim2to3_ioread(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::io<false>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API uint32_t mvim2to3_iorite(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::io<true>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvim2to3_iowait(mvimage3* im) {
    return im ? mvip::view::iowait(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim2to3_ioset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::ioset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim2to3_iolen(mvimage3* im, uint32_t count, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::iolen(im, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvim2to3_bxts(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::bxts(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim2to3_bxtp(mvimage3* im, int32_t operation, mvbxtentry* list,
                                          uint32_t count) {
    return im ? mvip::view::bxtp(im, operation, list, count) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim2to3_bxta(mvimage3* im, int32_t operation, void* buffer, mvbxtentry* list,
                                           uint32_t count, int32_t code) {
    return im ? mvip::view::bxta(im, operation, buffer, list, count, code) : 0;
}
extern "C" MVIP_API int32_t mvim2to3_bxtw(mvimage3* im) {
    return im ? mvip::view::bxtw(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim2to3_imapset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::imapset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim2to3_imap(mvimage3* im, mvmapdesc* desc, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::imap(im, desc, x, y, z) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim2to3_imapr(mvimage3* im, mvmapdesc* desc) {
    return im ? mvip::view::imapr(im, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim2to3_aeiou(mvimage3* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? mvip::view::aeiou(im, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvyzwindow* mvim2to3_xwind(mvimage3* im, mvyzwindow* window, int32_t code) {
    return im ? mvip::view::xwind(im, window, code) : nullptr;
}
