// Memory images: run transfers (ioset, ioread, iorite, iolen).
#include "core/memimage.hpp"

namespace mvip::mem {

SideChoice choose_side(const mvimage* im, uint32_t request, bool write) {
    return choose_side(im->pixfmt, im->pixiesize, request, write);
}

SideChoice choose_side(const mvpixfmt& f, uint32_t pixie_bytes, uint32_t request, bool write) {
    Adjust adjust = Adjust::none;
    uint32_t arg = 0;
    if (is_int_type(f.datatype) && f.valform != MVVALFORM_FULL) {
        const uint32_t container = 8 * pixie_bytes;
        const uint32_t bits = (f.bits >= 1 && f.bits <= container) ? f.bits : container;
        const uint32_t shift = container - bits;
        const uint32_t read_flags = f.valflags & 0xFFFFu;
        const uint32_t write_flags = f.valflags >> 16;
        const bool wants_high = (request & MVREQ_HIGH) && !(f.valform & MVVALFORM_HIGH);
        const bool wants_low = (request & MVREQ_LOW) && !(f.valform & MVVALFORM_LOW);
        if (wants_high) {
            adjust = write ? Adjust::shift_right : Adjust::shift_left;
        } else if (wants_low) {
            adjust = write ? Adjust::shift_left : Adjust::shift_right;
        } else if (!write && (request & read_flags) != (read_flags & MVVALFLAG_DIRTY)) {
            adjust = Adjust::mask;
        } else if (write && (write_flags & request) != (request & MVVALFLAG_DIRTY)) {
            adjust = Adjust::mask;
        }
        if (adjust == Adjust::mask) {
            const uint64_t low_bits = (uint64_t{1} << bits) - 1u;
            arg = static_cast<uint32_t>(f.valform == MVVALFORM_LOW ? low_bits : low_bits << shift);
        } else if (adjust != Adjust::none) {
            arg = shift;
        }
    }
    const bool stored_foreign = (f.byteorder & MVREQ_SWAPPED) != 0;
    const bool caller_foreign = (request & MVREQ_SWAPPED) != 0;
    const bool from_foreign = write ? caller_foreign : stored_foreign;
    const bool to_foreign = write ? stored_foreign : caller_foreign;
    Swap swap = swap_none;
    if (from_foreign && to_foreign) swap = adjust == Adjust::none ? swap_none : swap_both;
    else if (from_foreign) swap = swap_before;
    else if (to_foreign) swap = swap_after;
    return {choose_move(pixie_bytes, adjust, swap), arg};
}

namespace {

uint32_t iolen(mvimage* im, uint32_t count, int32_t x, int32_t y) {
    const uint32_t n = run_length_2d(state(im).mode, wind_width(im), wind_height(im), x, y);
    return std::min(count, n);
}

// One run transfer.  Starts outside the window move nothing, whatever the
// mode says, so no access reaches outside the image.
template <bool Write, bool YScan>
uint32_t io(mvimage* im, uint32_t, void* buffer, uint32_t count, int32_t x, int32_t y) {
    const MemState& st = state(im);
    const uint32_t w = wind_width(im), h = wind_height(im);
    if (!buffer || static_cast<uint32_t>(x) >= w || static_cast<uint32_t>(y) >= h) return 0;
    const uint32_t n =
        std::min(count, run_length_2d(st.mode & ~MVMODE_NOCHECK, w, h, x, y));
    const MoveFn move = Write ? st.write_move : st.read_move;
    const uint32_t arg = Write ? st.write_arg : st.read_arg;
    const size_t per = st.sel_count;
    const ptrdiff_t buf_step = static_cast<ptrdiff_t>(per * im->pixiesize);
    const ptrdiff_t img_step = YScan ? static_cast<ptrdiff_t>(st.pitch) : im->pixelsize;
    auto* base = static_cast<unsigned char*>(im->priv) + st.sel_offset;
    auto* buf = static_cast<unsigned char*>(buffer);

    auto transfer = [&](int64_t px, int64_t py, uint32_t pixels) {
        unsigned char* img = base + pixel_offset(im, st, px, py);
        if constexpr (Write) move(img, img_step, buf, buf_step, pixels, per, arg);
        else move(buf, buf_step, img, img_step, pixels, per, arg);
        buf += pixels * buf_step;
    };

    uint32_t left = n, cx = static_cast<uint32_t>(x), cy = static_cast<uint32_t>(y);
    if constexpr (!YScan) {
        // Whole packed lines lie back to back: the run is one block.
        if (w == static_cast<uint32_t>(im->imdim.se.x) &&
            st.pitch == static_cast<int64_t>(im->pixelsize) * w) {
            transfer(cx, cy, left);
            return n;
        }
        while (left) {
            const uint32_t seg = std::min(left, w - cx);
            transfer(cx, cy, seg);
            left -= seg;
            cx = 0;
            ++cy;
        }
    } else {
        while (left) {
            const uint32_t seg = std::min(left, h - cy);
            transfer(cx, cy, seg);
            left -= seg;
            cy = 0;
            ++cx;
        }
    }
    return n;
}

}  // namespace

int32_t ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    im->ioread = noop::ioread;
    im->iorite = noop::iorite;
    im->iolen = noop::iolen;
    MemState& st = state(im);
    if (type_of(type) != type_of(im->pixfmt.datatype) || im->pixiesize == 0)
        return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, im->pixfmt.pixies, sel)) return MVERR_COLORS;
    mode &= ~MVMODE_WRITE;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;
    const SideChoice read = choose_side(im, type, false);
    const SideChoice write = choose_side(im, type, true);
    if (!read.move || !write.move) return MVERR_UNSUPPORTED;

    st.mode = mode;
    st.sel_count = sel.count;
    st.sel_offset = sel.first * im->pixiesize;
    st.read_move = read.move;
    st.read_arg = read.arg;
    st.write_move = write.move;
    st.write_arg = write.arg;
    const bool yscan = (mode & MVMODE_YSCAN) != 0;
    im->ioread = yscan ? mvimmem_ioreadyscan : mvimmem_ioreadxscan;
    im->iorite = yscan ? mvimmem_ioriteyscan : mvimmem_ioritexscan;
    im->iolen = mvimmem_iolen;
    return 1;
}

}  // namespace mvip::mem

using mvip::mem::io;

extern "C" MVIP_API int32_t mvimmem_ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::mem::ioset(im, mode, type, mask) : MVERR_USAGE;
}

extern "C" MVIP_API uint32_t mvimmem_iolen(mvimage* im, uint32_t count, int32_t x, int32_t y) {
    return im ? mvip::mem::iolen(im, count, x, y) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_ioreadxscan(mvimage* im, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y) {
    return im ? io<false, false>(im, flags, buffer, count, x, y) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_ioreadyscan(mvimage* im, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y) {
    return im ? io<false, true>(im, flags, buffer, count, x, y) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_ioritexscan(mvimage* im, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y) {
    return im ? io<true, false>(im, flags, buffer, count, x, y) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_ioriteyscan(mvimage* im, uint32_t flags, void* buffer,
                                                 uint32_t count, int32_t x, int32_t y) {
    return im ? io<true, true>(im, flags, buffer, count, x, y) : 0;
}
