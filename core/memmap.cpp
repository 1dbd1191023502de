// Memory images: direct mapping of pixel memory (imapset, imap, imapr) of
// both kinds.
#include "core/memimage.hpp"

namespace mvip::mem {
namespace {

// The run at `pos`: its length by the mapping's mode, cut to the stretch
// of memory it can cover with one stride (a continuing run ends where the
// lines, or planes, stop following each other).
template <class Rec>
int32_t imap_at(Rec* rec, mvmapdesc* desc, const int32_t pos[3]) {
    if (!desc) return 0;
    mvimage* im = reinterpret_cast<mvimage*>(rec);
    const MemState& st = state(rec);
    const Box box = box_of(rec);
    const uint32_t n = inside(box, pos) ? run_length(st.map_mode & ~MVMODE_NOCHECK, box.ext, pos) : 0;
    if (n == 0) {
        desc->runs = 0;
        return 0;
    }
    const RunLayout r = run_layout(im, st, box, st.map_mode, pos);
    desc->runs = 1;
    desc->address = static_cast<unsigned char*>(im->priv) + pixel_offset(im, st, box, pos);
    desc->stride = static_cast<uint64_t>(st.map_stride);
    desc->count = std::min<uint64_t>(n, r.ext[0] - r.pos[0]);
    return 1;
}

int32_t imap(mvimage* im, mvmapdesc* desc, int32_t x, int32_t y) {
    const int32_t pos[3] = {x, y, 0};
    return imap_at(im, desc, pos);
}
int32_t imap3(mvimage3* im, mvmapdesc* desc, int32_t x, int32_t y, int32_t z) {
    const int32_t pos[3] = {x, y, z};
    return imap_at(im, desc, pos);
}

int32_t imapr(mvimage*, mvmapdesc* desc) {
    if (desc) desc->runs = 0;
    return 0;
}
int32_t imapr3(mvimage3*, mvmapdesc* desc) {
    if (desc) desc->runs = 0;
    return 0;
}

// Mapping hands out raw memory, so the stored form must already be what
// the caller asked for.
bool stored_form_matches(const mvimage* im, uint32_t request) {
    const mvpixfmt& f = im->pixfmt;
    if (is_int_type(f.datatype) && f.valform != MVVALFORM_FULL) {
        const uint32_t justify = request & (MVREQ_HIGH | MVREQ_LOW);
        if (justify && !(f.valform & justify)) return false;
        if ((f.valflags & MVVALFLAG_DIRTY) && !(request & MVREQ_DIRTY)) return false;
        if ((request & MVREQ_DIRTY) && !((f.valflags >> 16) & MVVALFLAG_DIRTY)) return false;
    }
    return (f.byteorder & MVREQ_SWAPPED) == (request & MVREQ_SWAPPED);
}

// Checks a mapping request and chooses the stride and the grant; the
// mapping's mode is stored.  `box` is the window, `xdim` the image width;
// a 2-D image (`planes` false) has no z-major runs.
int32_t grant_for(mvimage* im, const Box& box, uint32_t xdim, bool planes, uint32_t mode,
                  uint32_t type, uint32_t mask) {
    if (type_of(type) != type_of(im->pixfmt.datatype) || im->pixiesize == 0 ||
        !stored_form_matches(im, type))
        return MVERR_DATATYPE;
    if (mask != all_pixies_mask(im->pixfmt.pixies)) return MVERR_COLORS;
    MemState& st = state(im);
    mode &= ~MVMODE_WRITE;
    int32_t grant = MVMAP_GRANT;
    if (mode & MVMODE_ZSCAN) {
        if (!planes) return MVERR_USAGE;
        if (mode & MVMODE_YSCAN) return MVERR_UNSUPPORTED;  // no scan order
    }
    if (mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) {
        // Runs down a column (or through the planes) step by a pitch; the
        // caller must accept that.
        const int64_t stride = (mode & MVMODE_ZSCAN) ? st.plane_pitch : st.pitch;
        if (!(mode & MVREQ_DIRTY) || stride < 0) return MVERR_UNSUPPORTED;
        mode &= ~MVMODE_CONTINUE;
        st.map_stride = stride;
    } else {
        st.map_stride = im->pixelsize;
        const bool packed_lines =
            box.ext[0] == xdim && st.pitch == static_cast<int64_t>(im->pixelsize) * xdim;
        if (packed_lines && (mode & MVMODE_CONTINUE)) grant = MVMAP_GRANT_CONTINUE;
        else mode &= ~MVMODE_CONTINUE;
    }
    st.map_mode = mode;
    return grant;
}

}  // namespace

int32_t imapset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    im->imap = noop::imap;
    im->imapr = noop::imapr;
    const int32_t grant = grant_for(im, box_of(im), static_cast<uint32_t>(im->imdim.se.x), false,
                                    mode, type, mask);
    if (grant < 0) return grant;
    im->imap = mvimmem_imap;
    im->imapr = mvimmem_imapr;
    return grant;
}

int32_t imapset3(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    im->imap = noop::imap3;
    im->imapr = noop::imapr3;
    const int32_t grant = grant_for(as2(im), box_of(im), static_cast<uint32_t>(im->imdim.se.x),
                                    true, mode, type, mask);
    if (grant < 0) return grant;
    im->imap = mvimmem3_imap;
    im->imapr = mvimmem3_imapr;
    return grant;
}

}  // namespace mvip::mem

extern "C" MVIP_API int32_t mvimmem_imapset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::mem::imapset(im, mode, type, mask) : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimmem_imap(mvimage* im, mvmapdesc* desc, int32_t x, int32_t y) {
    return im ? mvip::mem::imap(im, desc, x, y) : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimmem_imapr(mvimage* im, mvmapdesc* desc) {
    return im ? mvip::mem::imapr(im, desc) : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimmem3_imapset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::mem::imapset3(im, mode, type, mask) : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimmem3_imap(mvimage3* im, mvmapdesc* desc, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::mem::imap3(im, desc, x, y, z) : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimmem3_imapr(mvimage3* im, mvmapdesc* desc) {
    return im ? mvip::mem::imapr3(im, desc) : MVERR_USAGE;
}
