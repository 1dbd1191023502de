// Memory images: direct mapping of pixel memory (imapset, imap, imapr).
#include "core/memimage.hpp"

namespace mvip::mem {
namespace {

int32_t imap(mvimage* im, mvmapdesc* desc, int32_t x, int32_t y) {
    if (!desc) return 0;
    const MemState& st = state(im);
    const uint32_t n = run_length_2d(st.map_mode & ~MVMODE_NOCHECK, wind_width(im),
                                     wind_height(im), x, y);
    if (n == 0) {
        desc->runs = 0;
        return 0;
    }
    desc->runs = 1;
    desc->address = static_cast<unsigned char*>(im->priv) + pixel_offset(im, st, x, y);
    desc->stride = static_cast<uint64_t>(st.map_stride);
    desc->count = n;
    return 1;
}

int32_t imapr(mvimage*, mvmapdesc* desc) {
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

}  // namespace

int32_t imapset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    im->imap = noop::imap;
    im->imapr = noop::imapr;
    if (type_of(type) != type_of(im->pixfmt.datatype) || im->pixiesize == 0 ||
        !stored_form_matches(im, type))
        return MVERR_DATATYPE;
    if (mask != all_pixies_mask(im->pixfmt.pixies)) return MVERR_COLORS;
    if (mode & MVMODE_ZSCAN) return MVERR_USAGE;
    MemState& st = state(im);
    mode &= ~MVMODE_WRITE;
    int32_t grant = MVMAP_GRANT;
    if (mode & MVMODE_YSCAN) {
        // Runs down a column step by the pitch; the caller must accept that.
        if (!(mode & MVREQ_DIRTY) || st.pitch < 0) return MVERR_UNSUPPORTED;
        mode &= ~MVMODE_CONTINUE;
        st.map_stride = st.pitch;
    } else {
        st.map_stride = im->pixelsize;
        const bool packed_lines =
            wind_width(im) == static_cast<uint32_t>(im->imdim.se.x) &&
            st.pitch == static_cast<int64_t>(im->pixelsize) * im->imdim.se.x;
        if (packed_lines && (mode & MVMODE_CONTINUE)) grant = MVMAP_GRANT_CONTINUE;
        else mode &= ~MVMODE_CONTINUE;
    }
    st.map_mode = mode;
    im->imap = mvimmem_imap;
    im->imapr = mvimmem_imapr;
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
