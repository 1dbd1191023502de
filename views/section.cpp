// The section view ("MVIM3to2"): a 2-D view of a 3-D parent through two of
// its axes (a plane, or an x-z or y-z section), at a fixed coordinate on
// the third.  Each access of the view is an access of the parent along the
// parent axis that runs along the view's scan.
//
// A continuing run (0x0040) goes to the parent in one call only where the
// parent's own continuing order visits the same pixels: the parent axis
// after the running one in its scan order must be the view's other axis,
// and the view's lines must cover the parent's window along the running
// axis.  Otherwise runs are cut at the end of each view line.
#include "views/section.hpp"

namespace mvip::view {
namespace {

#pragma pack(push, 4)
struct SectionState {
    ViewHead head;        // follow: the view mirrors the parent's window
    uint8_t axis[2];      // parent axes along the view's x and y
    uint8_t across;       // current access: continuing runs go to the parent whole
    uint8_t maps;         // mapping offered (imapset reaches the parent)
    uint32_t fixed;       // coordinate on the third parent axis (parent window)
};
#pragma pack(pop)

SectionState& st(mvimage* v) { return state_of<SectionState>(v); }
mvimage3* parent(mvimage* v) { return resolve(as3(v), st(v).head.parent_ref); }
bool is_self(mvimage* v, mvimage3* p) { return as2(p) == v; }

int third_axis(const SectionState& s) { return 3 - s.axis[0] - s.axis[1]; }

// Parent window-relative coordinates of view window-relative (x, y).
void to_parent(mvimage* v, int32_t x, int32_t y, int32_t at[3]) {
    const SectionState& s = st(v);
    const mvpoint off = parent_offset(v, s.head.follow);
    at[s.axis[0]] = x + off.x;
    at[s.axis[1]] = y + off.y;
    at[third_axis(s)] = static_cast<int32_t>(s.fixed);
}

uint32_t parent_extent(const mvimage3* p, int axis) {
    const Box b = box_of(p);
    return b.ext[axis];
}

// Scan bits of the parent access for a view mode, and whether continuing
// runs may go to the parent whole.
uint32_t parent_mode(mvimage* v, const mvimage3* p, uint32_t mode, bool& across) {
    const SectionState& s = st(v);
    const bool yscan = (mode & MVMODE_YSCAN) != 0;
    const int runs = s.axis[yscan ? 1 : 0];
    const int other = s.axis[yscan ? 0 : 1];
    const uint32_t scan = code_of_axis(runs);
    const mvpoint off = parent_offset(v, s.head.follow);
    const uint32_t line = yscan ? wind_height(v) : wind_width(v);
    const int32_t start = yscan ? off.y : off.x;
    across = (mode & MVMODE_CONTINUE) && scan_order(scan).axis[1] == other && start == 0 &&
             line == parent_extent(p, runs);
    const uint32_t kept = mode & ~(MVMODE_YSCAN | MVMODE_ZSCAN | MVMODE_WRITE | MVMODE_CONTINUE);
    return kept | scan | (across ? MVMODE_CONTINUE : 0u);
}

uint32_t own_length(mvimage* v, uint32_t mode, uint32_t count, int32_t x, int32_t y) {
    return std::min(count, run_length_2d(mode, wind_width(v), wind_height(v), x, y));
}

template <bool Write>
uint32_t io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y) {
    mvimage3* p = parent(v);
    const SectionState& s = st(v);
    if (is_self(v, p) || !buffer || static_cast<uint32_t>(x) >= wind_width(v) ||
        static_cast<uint32_t>(y) >= wind_height(v))
        return 0;
    const uint32_t n = own_length(v, s.head.run_mode & ~MVMODE_NOCHECK, count, x, y);
    const size_t pixel_bytes = size_t{s.head.sel_count} * v->pixiesize;
    auto* buf = static_cast<unsigned char*>(buffer);
    const bool yscan = (s.head.run_mode & MVMODE_YSCAN) != 0;
    return walk_run(n, x, y, wind_width(v), wind_height(v), yscan, s.across, n,
                    [&](uint32_t cx, uint32_t cy, uint32_t k) {
        int32_t at[3];
        to_parent(v, static_cast<int32_t>(cx), static_cast<int32_t>(cy), at);
        const uint32_t moved = Write ? p->iorite(p, parent_flags(flags), buf, k, at[0], at[1], at[2])
                                     : p->ioread(p, parent_flags(flags), buf, k, at[0], at[1], at[2]);
        buf += moved * pixel_bytes;
        return moved;
    });
}

// The view's own run length, cut where the parent would stop within the
// first stretch the run hands it.
uint32_t iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    mvimage3* p = parent(v);
    const SectionState& s = st(v);
    const uint32_t n = own_length(v, s.head.run_mode, count, x, y);
    if (n == 0 || is_self(v, p)) return n;
    const bool yscan = (s.head.run_mode & MVMODE_YSCAN) != 0;
    const uint32_t line = yscan ? wind_height(v) - static_cast<uint32_t>(y)
                                : wind_width(v) - static_cast<uint32_t>(x);
    const uint32_t first = s.across ? n : std::min(n, line);
    int32_t at[3];
    to_parent(v, x, y, at);
    const uint32_t parent_n = p->iolen(p, first, at[0], at[1], at[2]);
    return parent_n < first ? parent_n : n;
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    mvimage3* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    mode &= ~MVMODE_WRITE;
    if ((mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) > MVMODE_YSCAN) return MVERR_UNSUPPORTED;
    SectionState& s = st(v);
    bool across = false;
    const uint32_t pmode = parent_mode(v, p, mode, across);
    const int32_t rc = p->ioset(p, pmode, type, mask);
    if (rc < 0) return rc;
    s.head.run_mode = mode;
    PixieSelection sel;
    s.head.sel_count = parse_mask(mask, v->pixfmt.pixies, sel) ? sel.count : 1;
    s.across = across ? 1 : 0;
    v->ioread = mvim3to2_ioread;
    v->iorite = mvim3to2_iorite;
    v->iolen = mvim3to2_iolen;
    return rc;
}

int32_t iowait(mvimage* v) {
    mvimage3* p = parent(v);
    return is_self(v, p) ? 1 : p->iowait(p);
}

// ---- scattered transfers --------------------------------------------------

int32_t bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    mvimage3* p = parent(v);
    if (!prepares(operation) || !list || is_self(v, p)) return operation;
    prepare_on_parent3(p, operation, list, n, [v](const mvbxtentry& e, int32_t at[3]) {
        if (static_cast<uint32_t>(e.x) >= wind_width(v) || static_cast<uint32_t>(e.y) >= wind_height(v))
            return false;
        to_parent(v, e.x, e.y, at);
        return true;
    });
    return operation;
}

uint32_t bxta(mvimage* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
              int32_t code) {
    return bxta_through_parent<parent, bxtp>(v, operation, buffer, list, n, code);
}

int32_t bxtw(mvimage* v) { return bxtw_of_parent<parent>(v); }

int32_t bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return bxts_on_parent<parent>(v, mode, type, mask, mvim3to2_bxtp, mvim3to2_bxta, mvim3to2_bxtw);
}

// ---- direct mapping -----------------------------------------------------------

int32_t imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y) {
    if (!desc) return 0;
    mvimage3* p = parent(v);
    const uint32_t n = own_length(v, st(v).head.map_mode & ~MVMODE_NOCHECK, 0xFFFFFFFFu, x, y);
    if (n == 0 || is_self(v, p)) {
        desc->runs = 0;
        return 0;
    }
    int32_t at[3];
    to_parent(v, x, y, at);
    const int32_t rc = p->imap(p, desc, at[0], at[1], at[2]);
    if (rc == 1 && desc->count > n) desc->count = n;
    return rc;
}

int32_t imapr(mvimage* v, mvmapdesc* desc) { return imapr_of_parent<parent>(v, desc); }

int32_t imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->imap = noop::imap;
    v->imapr = noop::imapr;
    mvimage3* p = parent(v);
    NestingGuard guard;
    if (is_self(v, p) || guard.too_deep()) return kSelfParent;
    if (mode & MVMODE_ZSCAN) return MVERR_USAGE;  // a 2-D image has no z-major runs
    if (!st(v).maps) return MVERR_UNSUPPORTED;
    bool across = false;
    const uint32_t pmode = parent_mode(v, p, mode, across);
    const int32_t rc = p->imapset(p, pmode, type, mask);
    if (rc < 0) return rc;
    const bool continues = across && rc == MVMAP_GRANT_CONTINUE;
    st(v).head.map_mode = (mode & ~(MVMODE_WRITE | MVMODE_CONTINUE)) | (continues ? MVMODE_CONTINUE : 0u);
    v->imap = mvim3to2_imap;
    v->imapr = mvim3to2_imapr;
    return continues ? MVMAP_GRANT_CONTINUE : MVMAP_GRANT;
}

uint32_t aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return aeiou_of_parent<parent>(v, code, arg1, arg2);
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    switch (code) {
        case 's':
            if (!set_own_window(v, w)) return nullptr;
            set_idle_slots(v, mvim3to2_ioset, mvim3to2_bxts, mvim3to2_imapset);
            v->iowait = mvim3to2_iowait;
            return &v->wind;
        default: return window_inquiry(v, w, code);
    }
}

}  // namespace

int32_t build_section(mvimage* v, mvimage3* p, int64_t ref, int xaxis, int yaxis, uint32_t fixed,
                      bool mirror, bool maps) {
    // A view that is its own parent has nothing to show; it is built empty
    // so that its set-up slots can answer -5.
    const bool self = as2(p) == v;
    const ParentDescription3 d = self ? ParentDescription3{} : describe(p);
    const int32_t* nw = &d.wind.nw.x;
    const int32_t* se = &d.wind.se.x;
    std::memset(static_cast<void*>(v), 0, sizeof *v);
    if (mirror) {
        const int32_t* dims = &d.imdim.se.x;
        v->imdim.se = mvpoint{dims[xaxis], dims[yaxis]};
        v->wind = mvywindow{{nw[xaxis], nw[yaxis]}, {se[xaxis], se[yaxis]}};
    } else {
        v->imdim.se = mvpoint{se[xaxis] - nw[xaxis], se[yaxis] - nw[yaxis]};
        v->wind = v->imdim;
    }
    v->pixfmt = d.pixfmt;
    derive_sizes(v);
    std::memcpy(&v->xwidth, &d.geometry, sizeof d.geometry);
    set_kind(v, "MVIM3to2");
    v->aeiou = mvim3to2_aeiou;
    v->xwind = mvim3to2_xwind;
    SectionState& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = mirror ? 1 : 0;
    s.axis[0] = static_cast<uint8_t>(xaxis);
    s.axis[1] = static_cast<uint8_t>(yaxis);
    s.fixed = fixed;
    s.maps = maps ? 1 : 0;
    v->xwind(v, &v->wind, 's');
    return 0;
}

}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_def2from3(mvimage* v, mvimage3* parent_ref, uint32_t xaxis,
                                              uint32_t yaxis, uint32_t fixed) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage3* p = resolve(as3(v), ref);
    const int xa = axis_of_code(xaxis), ya = axis_of_code(yaxis);
    if (!p || xa < 0 || ya < 0 || xa == ya) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    const int third = 3 - xa - ya;
    const Box box = box_of(p);
    if (as2(p) != v && fixed >= box.ext[third]) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    return build_section(v, p, ref, xa, ya, fixed, false, true);
}

// ---- Section view slot routines by name -------------------------------------

extern "C" MVIP_API uint32_t mvim3to2_ioread(mvimage* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y) {
    return im ? mvip::view::io<false>(im, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvim3to2_iorite(mvimage* im, uint32_t flags, void* buffer, uint32_t count,
                                             int32_t x, int32_t y) {
    return im ? mvip::view::io<true>(im, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvim3to2_iowait(mvimage* im) {
    return im ? mvip::view::iowait(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim3to2_ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::ioset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim3to2_iolen(mvimage* im, uint32_t count, int32_t x, int32_t y) {
    return im ? mvip::view::iolen(im, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvim3to2_bxts(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::bxts(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim3to2_bxtp(mvimage* im, int32_t operation, mvbxtentry* list,
                                          uint32_t count) {
    return im ? mvip::view::bxtp(im, operation, list, count) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim3to2_bxta(mvimage* im, int32_t operation, void* buffer, mvbxtentry* list,
                                           uint32_t count, int32_t code) {
    return im ? mvip::view::bxta(im, operation, buffer, list, count, code) : 0;
}
extern "C" MVIP_API int32_t mvim3to2_bxtw(mvimage* im) {
    return im ? mvip::view::bxtw(im) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim3to2_imapset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::view::imapset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim3to2_imap(mvimage* im, mvmapdesc* desc, int32_t x, int32_t y) {
    return im ? mvip::view::imap(im, desc, x, y) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvim3to2_imapr(mvimage* im, mvmapdesc* desc) {
    return im ? mvip::view::imapr(im, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvim3to2_aeiou(mvimage* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? mvip::view::aeiou(im, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvim3to2_xwind(mvimage* im, mvywindow* window, int32_t code) {
    return im ? mvip::view::xwind(im, window, code) : nullptr;
}
