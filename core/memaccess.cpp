// Memory images: run transfers (ioset, ioread, iorite, iolen) of both kinds.
// One engine moves every run: a 2-D image is a box one plane deep, and a
// scan mode only orders the axes the run steps along.
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

RunLayout run_layout(const mvimage* im, const MemState& st, const Box& box, uint32_t mode,
                     const int32_t pos[3]) {
    int64_t step[3];
    axis_steps(im, st, step);
    const ScanOrder o = scan_order(mode);
    RunLayout r{};
    int axes = 0;
    for (int i = 0; i < 3; ++i) {
        const int a = o.axis[i];
        const uint64_t ext = box.ext[a];
        const uint64_t at = static_cast<uint32_t>(pos[a]);
        // An axis whose first pixel follows the previous axis's last one
        // extends that axis.
        int64_t next = 0;
        if (axes > 0 &&
            !__builtin_mul_overflow(r.step[axes - 1], static_cast<int64_t>(r.ext[axes - 1]), &next) &&
            step[a] == next) {
            r.pos[axes - 1] += at * r.ext[axes - 1];
            r.ext[axes - 1] *= ext;
            continue;
        }
        r.ext[axes] = ext;
        r.pos[axes] = at;
        r.step[axes] = step[a];
        ++axes;
    }
    for (; axes < 3; ++axes) r.ext[axes] = 1;
    return r;
}

namespace {

template <class Rec>
uint32_t length_at(Rec* im, uint32_t count, const int32_t pos[3]) {
    const Box box = box_of(im);
    return std::min(count, run_length(state(im).mode, box.ext, pos));
}

uint32_t iolen(mvimage* im, uint32_t count, int32_t x, int32_t y) {
    const int32_t pos[3] = {x, y, 0};
    return length_at(im, count, pos);
}
uint32_t iolen3(mvimage3* im, uint32_t count, int32_t x, int32_t y, int32_t z) {
    const int32_t pos[3] = {x, y, z};
    return length_at(im, count, pos);
}

// One run transfer along `Axis` (0 x, 1 y, 2 z).  Starts outside the
// window move nothing, whatever the mode says, so no access reaches outside
// the image.  A run within one line (column, pillar) is a single stretch;
// a continuing one is moved stretch by stretch along its first axis, then
// on along the second and third.
template <bool Write, int Axis, class Rec>
uint32_t io_at(Rec* rec, void* buffer, uint32_t count, const int32_t pos[3]) {
    mvimage* im = reinterpret_cast<mvimage*>(rec);
    const MemState& st = state(rec);
    const Box box = box_of(rec);
    if (!buffer || !inside(box, pos)) return 0;
    const uint32_t line = box.ext[Axis] - static_cast<uint32_t>(pos[Axis]);
    const uint32_t n = (st.mode & MVMODE_CONTINUE)
                           ? std::min(count, run_length(st.mode & ~MVMODE_NOCHECK, box.ext, pos))
                           : std::min(count, line);
    const MoveFn move = Write ? st.write_move : st.read_move;
    const uint32_t arg = Write ? st.write_arg : st.read_arg;
    const size_t per = st.sel_count;
    const ptrdiff_t buf_step = static_cast<ptrdiff_t>(per * im->pixiesize);
    auto* buf = static_cast<unsigned char*>(buffer);
    if (n <= line) {
        int64_t step[3];
        axis_steps(im, st, step);
        unsigned char* img = static_cast<unsigned char*>(im->priv) + st.sel_offset +
                             pixel_offset(im, st, box, pos);
        if constexpr (Write) move(img, step[Axis], buf, buf_step, n, per, arg);
        else move(buf, buf_step, img, step[Axis], n, per, arg);
        return n;
    }
    const int32_t origin[3] = {0, 0, 0};
    unsigned char* base = static_cast<unsigned char*>(im->priv) + st.sel_offset +
                          pixel_offset(im, st, box, origin);
    RunLayout r = run_layout(im, st, box, st.mode, pos);
    uint64_t left = n;
    while (left) {
        const uint64_t seg = std::min(left, r.ext[0] - r.pos[0]);
        unsigned char* img = base + static_cast<int64_t>(r.pos[0]) * r.step[0] +
                             static_cast<int64_t>(r.pos[1]) * r.step[1] +
                             static_cast<int64_t>(r.pos[2]) * r.step[2];
        if constexpr (Write) move(img, r.step[0], buf, buf_step, seg, per, arg);
        else move(buf, buf_step, img, r.step[0], seg, per, arg);
        buf += seg * buf_step;
        left -= seg;
        r.pos[0] = 0;
        if (++r.pos[1] == r.ext[1]) {
            r.pos[1] = 0;
            ++r.pos[2];
        }
    }
    return n;
}

// The slots: one routine per direction and scan axis.
template <bool Write, bool YScan>
uint32_t io(mvimage* im, uint32_t, void* buffer, uint32_t count, int32_t x, int32_t y) {
    const int32_t pos[3] = {x, y, 0};
    return io_at<Write, YScan ? 1 : 0>(im, buffer, count, pos);
}
template <bool Write, int Axis>
uint32_t io3(mvimage3* im, uint32_t, void* buffer, uint32_t count, int32_t x, int32_t y,
             int32_t z) {
    const int32_t pos[3] = {x, y, z};
    return io_at<Write, Axis>(im, buffer, count, pos);
}

// Type, mask and value routines of an access; the scan mode stored.
int32_t choose_access(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    if (type_of(type) != type_of(im->pixfmt.datatype) || im->pixiesize == 0)
        return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, im->pixfmt.pixies, sel)) return MVERR_COLORS;
    const SideChoice read = choose_side(im, type, false);
    const SideChoice write = choose_side(im, type, true);
    if (!read.move || !write.move) return MVERR_UNSUPPORTED;
    MemState& st = state(im);
    st.mode = mode;
    st.sel_count = sel.count;
    st.sel_offset = sel.first * im->pixiesize;
    st.read_move = read.move;
    st.read_arg = read.arg;
    st.write_move = write.move;
    st.write_arg = write.arg;
    return 1;
}

}  // namespace

int32_t ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    im->ioread = noop::ioread;
    im->iorite = noop::iorite;
    im->iolen = noop::iolen;
    mode &= ~MVMODE_WRITE;
    const int32_t rc = choose_access(im, mode, type, mask);
    if (rc < 0) return rc;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;  // no third axis
    const bool yscan = (mode & MVMODE_YSCAN) != 0;
    im->ioread = yscan ? mvimmem_ioreadyscan : mvimmem_ioreadxscan;
    im->iorite = yscan ? mvimmem_ioriteyscan : mvimmem_ioritexscan;
    im->iolen = mvimmem_iolen;
    return 1;
}

// Z-scans are served like y-scans: the same value routines over a stride
// (the plane pitch instead of the line pitch).  Both scan bits at once is
// no scan order.
int32_t ioset3(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    im->ioread = noop::ioread3;
    im->iorite = noop::iorite3;
    im->iolen = noop::iolen3;
    mode &= ~MVMODE_WRITE;
    const int32_t rc = choose_access(as2(im), mode, type, mask);
    if (rc < 0) return rc;
    switch (mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) {
        case 0:
            im->ioread = mvimmem3_ioreadxscan;
            im->iorite = mvimmem3_ioritexscan;
            break;
        case MVMODE_YSCAN:
            im->ioread = mvimmem3_ioreadyscan;
            im->iorite = mvimmem3_ioriteyscan;
            break;
        case MVMODE_ZSCAN:
            im->ioread = mvimmem3_ioreadzscan;
            im->iorite = mvimmem3_ioritezscan;
            break;
        default: return MVERR_UNSUPPORTED;
    }
    im->iolen = mvimmem3_iolen;
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

// ---- 3-D memory image slot routines by name ---------------------------------

using mvip::mem::io3;

extern "C" MVIP_API int32_t mvimmem3_ioset(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::mem::ioset3(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimmem3_iolen(mvimage3* im, uint32_t count, int32_t x, int32_t y, int32_t z) {
    return im ? mvip::mem::iolen3(im, count, x, y, z) : 0;
}
#define MVIMMEM3_IO(name, write, axis)                                                            \
    extern "C" MVIP_API uint32_t name(mvimage3* im, uint32_t flags, void* buffer, uint32_t count, \
                                      int32_t x, int32_t y, int32_t z) {                          \
        return im ? io3<write, axis>(im, flags, buffer, count, x, y, z) : 0;                      \
    }
MVIMMEM3_IO(mvimmem3_ioreadxscan, false, 0)
MVIMMEM3_IO(mvimmem3_ioreadyscan, false, 1)
MVIMMEM3_IO(mvimmem3_ioreadzscan, false, 2)
MVIMMEM3_IO(mvimmem3_ioritexscan, true, 0)
MVIMMEM3_IO(mvimmem3_ioriteyscan, true, 1)
MVIMMEM3_IO(mvimmem3_ioritezscan, true, 2)
#undef MVIMMEM3_IO
