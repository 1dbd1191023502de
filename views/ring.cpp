// The ring view ("MVIM3to3"): a 3-D parent with its planes rotated, so that
// a sequence kept in a ring of planes can be shown oldest first.  View plane
// Z (in whole-image coordinates) shows parent plane (Z + offset) mod D, D
// being the depth; x and y are the parent's.
//
// Coordinates go to the parent relative to the parent's window (whole-image
// coordinates minus the parent's window corner), so the view works whatever
// window the parent has.  Following the parent, the view's window is the
// parent's in x and y, and setting it sets the parent's to the same
// rectangle through all its planes, since the view's planes may show any of
// them.  The offset is taken modulo the depth, so offsets of any size
// rotate the planes.
//
// No run goes on from one view plane into the next in one parent call (the
// next view plane need not be the next parent plane); without the follow
// flag runs are also cut at the end of each line, since the parent's lines
// need not be the view's.  z-major runs are cut where the planes wrap from
// the last parent plane to the first.  Direct mapping is not offered.
#include "views/view.hpp"

namespace mvip::view {
namespace {

#pragma pack(push, 4)
struct RingState {
    ViewHead head;         // run_mode and sel_count of the current access
    uint32_t offset;       // plane offset
    uint32_t pixel_bytes;  // bytes of one caller pixel of the current access
};
#pragma pack(pop)

RingState& st(mvimage3* v) { return state_of<RingState>(as2(v)); }
mvimage3* parent(mvimage3* v) { return resolve(v, st(v).head.parent_ref); }
bool is_self(mvimage3* v, mvimage3* p) { return p == v; }

// Parent window-relative coordinates of view window-relative pos.
void to_parent(mvimage3* v, const mvimage3* p, const uint32_t pos[3], int32_t at[3]) {
    const uint64_t depth = static_cast<uint32_t>(v->imdim.se.z);
    const uint64_t plane = (uint64_t{pos[2]} + static_cast<uint32_t>(v->wind.nw.z) + st(v).offset) % depth;
    at[0] = static_cast<int32_t>(pos[0] + static_cast<uint32_t>(v->wind.nw.x - p->wind.nw.x));
    at[1] = static_cast<int32_t>(pos[1] + static_cast<uint32_t>(v->wind.nw.y - p->wind.nw.y));
    at[2] = static_cast<int32_t>(plane) - p->wind.nw.z;
}

// Moves k pixels on from pos in the scan order of `mode` over a box of
// extents ext.
void advance(uint32_t mode, const uint32_t ext[3], uint32_t pos[3], uint32_t k) {
    const ScanOrder o = scan_order(mode);
    uint64_t along = uint64_t{pos[o.axis[0]]} + k;
    const uint64_t lines = along / ext[o.axis[0]];
    pos[o.axis[0]] = static_cast<uint32_t>(along % ext[o.axis[0]]);
    uint64_t next = uint64_t{pos[o.axis[1]]} + lines;
    pos[o.axis[2]] += static_cast<uint32_t>(next / ext[o.axis[1]]);
    pos[o.axis[1]] = static_cast<uint32_t>(next % ext[o.axis[1]]);
}

// Pixels one parent call may take from pos: within the view plane (x- and
// y-major runs; within the line unless following) or within the pillar up
// to where the parent's planes wrap (z-major runs).
uint32_t stretch(mvimage3* v, uint32_t mode, const uint32_t ext[3], const uint32_t pos[3],
                 uint32_t plane) {
    if (mode & MVMODE_ZSCAN) {
        const uint32_t depth = static_cast<uint32_t>(v->imdim.se.z);
        return std::min(ext[2] - pos[2], depth - plane);
    }
    const uint32_t in_plane[3] = {ext[0], ext[1], 1};
    const int32_t flat[3] = {static_cast<int32_t>(pos[0]), static_cast<int32_t>(pos[1]), 0};
    const bool across = (mode & MVMODE_CONTINUE) && st(v).head.follow;
    return run_length((mode & ~(MVMODE_CONTINUE | MVMODE_NOCHECK)) | (across ? MVMODE_CONTINUE : 0u),
                      in_plane, flat);
}

template <bool Write>
uint32_t io(mvimage3* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y,
            int32_t z) {
    mvimage3* p = parent(v);
    const RingState& s = st(v);
    const Box box = box_of(v);
    const int32_t start[3] = {x, y, z};
    if (is_self(v, p) || !buffer || !inside(box, start) || v->imdim.se.z <= 0) return 0;
    const uint32_t mode = s.head.run_mode & ~MVMODE_NOCHECK;
    const uint32_t n = std::min(count, run_length(mode, box.ext, start));
    uint32_t pos[3] = {static_cast<uint32_t>(x), static_cast<uint32_t>(y), static_cast<uint32_t>(z)};
    auto* buf = static_cast<unsigned char*>(buffer);
    uint32_t done = 0;
    while (done < n) {
        int32_t at[3];
        to_parent(v, p, pos, at);
        const uint32_t plane = static_cast<uint32_t>(at[2] + p->wind.nw.z);
        const uint32_t k = std::min(n - done, stretch(v, mode, box.ext, pos, plane));
        const uint32_t moved = Write ? p->iorite(p, parent_flags(flags), buf, k, at[0], at[1], at[2])
                                     : p->ioread(p, parent_flags(flags), buf, k, at[0], at[1], at[2]);
        done += moved;
        buf += size_t{moved} * s.pixel_bytes;
        if (moved < k) break;
        advance(mode, box.ext, pos, k);
    }
    return done;
}

uint32_t iolen(mvimage3* v, uint32_t count, int32_t x, int32_t y, int32_t z) {
    const int32_t pos[3] = {x, y, z};
    return std::min(count, run_length(st(v).head.run_mode, box_of(v).ext, pos));
}

int32_t iowait(mvimage3* v) {
    mvimage3* p = parent(v);
    return is_self(v, p) ? 1 : p->iowait(p);
}

int32_t ioset(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread3;
    v->iorite = noop::iorite3;
    v->iolen = noop::iolen3;
    v->iowait = noop::iowait3;
    mvimage3* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    RingState& s = st(v);
    mode &= ~MVMODE_WRITE;
    s.head.run_mode = mode;
    PixieSelection sel;
    s.head.sel_count = parse_mask(mask, v->pixfmt.pixies, sel) ? sel.count : 1;
    s.pixel_bytes = s.head.sel_count * v->pixiesize;
    // Runs that may go on across lines in the parent only when following.
    const bool zscan = (mode & MVMODE_ZSCAN) != 0;
    const uint32_t pmode = (zscan || !s.head.follow) ? (mode & ~MVMODE_CONTINUE) : mode;
    const int32_t rc = p->ioset(p, pmode, type, mask);
    if (rc < 0) return rc;
    if ((mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) == (MVMODE_YSCAN | MVMODE_ZSCAN)) return MVERR_USAGE;
    v->ioread = mvim3to3_ioread;
    v->iorite = mvim3to3_iorite;
    v->iolen = mvim3to3_iolen;
    v->iowait = mvim3to3_iowait;
    return 0;
}

// ---- scattered transfers --------------------------------------------------

int32_t bxtp(mvimage3* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    mvimage3* p = parent(v);
    if (!prepares(operation) || !list || is_self(v, p) || v->imdim.se.z <= 0) return operation;
    const Box box = box_of(v);
    prepare_on_parent3(p, operation, list, n, [&](const mvbxtentry& e, int32_t at[3]) {
        const int32_t pos[3] = {e.x, e.y, static_cast<int32_t>(e.tag)};
        if (!inside(box, pos)) return false;
        const uint32_t upos[3] = {static_cast<uint32_t>(pos[0]), static_cast<uint32_t>(pos[1]),
                                  static_cast<uint32_t>(pos[2])};
        to_parent(v, p, upos, at);
        return true;
    });
    return operation;
}

uint32_t bxta(mvimage3* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
              int32_t code) {
    return bxta_through_parent<parent, bxtp>(v, operation, buffer, list, n, code);
}

int32_t bxtw(mvimage3* v) { return bxtw_of_parent<parent>(v); }

int32_t bxts(mvimage3* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return bxts_on_parent<parent>(v, mode, type, mask, mvim3to3_bxtp, mvim3to3_bxta, mvim3to3_bxtw);
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
            if (st(v).head.follow && !is_self(v, p) && !guard.too_deep()) {
                mvyzwindow all = v->wind;
                all.nw.z = 0;
                all.se.z = p->imdim.se.z;
                p->xwind(p, &all, 's');
            }
            set_idle_slots3(v, mvim3to3_ioset, mvim3to3_bxts, noop::imapset3);
            return &v->wind;
        }
        default: return window_inquiry(v, w, code);
    }
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage3_def3from3(mvimage3* v, mvimage3* parent_ref, uint32_t offset,
                                               uint32_t, uint32_t, uint8_t follow) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage3* p = resolve(v, ref);
    // A view that is its own parent is built one empty plane deep so that
    // its set-up slots can answer -5.
    const bool self = p == v;
    if (!p || (!self && p->imdim.se.z == 0)) {
        mvimage3_defnull(v);
        return MVERR_USAGE;
    }
    ParentDescription3 d = self ? ParentDescription3{} : describe(p);
    if (self) d.imdim.se.z = 1;
    fill_description(v, d, true);
    v->wind = v->imdim;
    set_kind(as2(v), "MVIM3to3");
    v->aeiou = mvim3to3_aeiou;
    v->xwind = mvim3to3_xwind;
    RingState& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = follow;
    s.offset = offset;
    if (follow && !self) p->xwind(p, nullptr, 's');
    v->xwind(v, &v->wind, 's');
    return 0;
}

// ---- Ring view slot routines by name ----------------------------------------

extern "C" MVIP_API uint32_t mvim3to3_ioread(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::io<false>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API uint32_t mvim3to3_iorite(mvimage3* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::io<true>(im, flags, buffer, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvim3to3_iowait(mvimage3* im) {
    return im ? mvip::view::iowait(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim3to3_ioset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::ioset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim3to3_iolen(mvimage3* im, uint32_t count, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::view::iolen(im, count, x, y, z) : 0;
}
extern "C" MVIP_API int32_t mvim3to3_bxts(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::bxts(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim3to3_bxtp(mvimage3* im, int32_t operation, mvbxtentry* list,
                                          uint32_t count) {
    return im ? mvip::view::bxtp(im, operation, list, count) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim3to3_bxta(mvimage3* im, int32_t operation, void* buffer, mvbxtentry* list,
                                           uint32_t count, int32_t code) {
    return im ? mvip::view::bxta(im, operation, buffer, list, count, code) : 0;
}
extern "C" MVIP_API int32_t mvim3to3_bxtw(mvimage3* im) {
    return im ? mvip::view::bxtw(im) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim3to3_aeiou(mvimage3* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? mvip::view::aeiou(im, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvyzwindow* mvim3to3_xwind(mvimage3* im, mvyzwindow* window, int32_t code) {
    return im ? mvip::view::xwind(im, window, code) : nullptr;
}
