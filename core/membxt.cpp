// Memory images: scattered-pixel transfers (bxts, bxtp, bxta) of both
// kinds.  An entry's third word is its z coordinate for a 3-D image.
#include <type_traits>
#include "core/memimage.hpp"
#include "core/bxtcode.hpp"

#include <limits>

namespace mvip::mem {
namespace {

using bxt::apply;
using bxt::kOutside;
using bxt::prepares;

inline int32_t entry_z(const mvimage*, const mvbxtentry&) { return 0; }
inline int32_t entry_z(const mvimage3*, const mvbxtentry& e) { return static_cast<int32_t>(e.tag); }

template <class Rec>
int32_t bxtp(Rec* rec, int32_t operation, mvbxtentry* list, uint32_t n) {
    if (!prepares(operation) || !list) return operation;
    const mvimage* im = reinterpret_cast<const mvimage*>(rec);
    const MemState& st = state(rec);
    const Box box = box_of(rec);
    for (uint32_t i = 0; i < n; ++i) {
        const int32_t pos[3] = {list[i].x, list[i].y, entry_z(rec, list[i])};
        const int64_t offset =
            inside(box, pos) ? pixel_offset(im, st, box, pos) + st.bxt_offset : kOutside;
        std::memcpy(&list[i], &offset, sizeof offset);
    }
    return operation;
}

// The byte span that the image's pixels occupy, relative to priv: lines of
// `line` bytes, `pitch` apart (downwards when negative), planes `plane`
// bytes apart.
struct Span {
    int64_t lo, hi;
};
Span image_span(const MemState& st, int64_t line, int64_t lines, int64_t planes) {
    if (lines <= 0 || planes <= 0 || line <= 0) return {0, 0};
    const int64_t last_line = (lines - 1) * st.pitch;
    const int64_t last_plane = (planes - 1) * st.plane_pitch;
    return st.pitch >= 0 ? Span{0, last_line + line + last_plane}
                         : Span{last_line, line + last_plane};
}
Span image_span(const mvimage* im, const MemState& st) {
    return image_span(st, int64_t{im->pixelsize} * im->imdim.se.x, im->imdim.se.y, 1);
}
Span image_span(const mvimage3* im, const MemState& st) {
    return image_span(st, int64_t{im->pixelsize} * im->imdim.se.x, im->imdim.se.y, im->imdim.se.z);
}

template <class T, class Rec>
uint32_t bxta(Rec* rec, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
              int32_t code) {
    if (!buffer || !list) return 0;
    if (prepares(operation)) bxtp(rec, operation, list, n);
    mvimage* im = reinterpret_cast<mvimage*>(rec);
    const MemState& st = state(rec);
    const size_t c = st.bxt_count;
    const size_t values = size_t{n} * c;
    auto* buf = static_cast<unsigned char*>(buffer);
    const ptrdiff_t all = static_cast<ptrdiff_t>(values * sizeof(T));
    if (code != 2) st.bxt_write_move(buf, all, buf, all, 1, values, st.bxt_write_arg);

    const Span span = image_span(rec, st);
    const int64_t need = static_cast<int64_t>(c * sizeof(T));
    auto* base = static_cast<unsigned char*>(im->priv);
    for (uint32_t i = 0; i < n; ++i) {
        int64_t offset;
        std::memcpy(&offset, &list[i], sizeof offset);
        if (offset < span.lo || offset > span.hi - need) continue;
        unsigned char* px = base + offset;
        unsigned char* bv = buf + i * c * sizeof(T);
        for (size_t k = 0; k < c; ++k) {
            T p, b;
            std::memcpy(&p, px + k * sizeof(T), sizeof p);
            std::memcpy(&b, bv + k * sizeof(T), sizeof b);
            b = apply<T>(code, p, b);
            std::memcpy(px + k * sizeof(T), &p, sizeof p);
            std::memcpy(bv + k * sizeof(T), &b, sizeof b);
        }
    }
    if (code == 0 || code == 2) st.bxt_read_move(buf, all, buf, all, 1, values, st.bxt_read_arg);
    return n;
}

// Checks a scattered-transfer request and chooses the value routines and
// the typed bxta for the data type.
template <class Rec, class Slot>
int32_t bxts_for(Rec* rec, uint32_t type, uint32_t mask, Slot& bxta_slot) {
    mvimage* im = reinterpret_cast<mvimage*>(rec);
    if (type_of(type) != type_of(im->pixfmt.datatype)) return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, im->pixfmt.pixies, sel)) return MVERR_COLORS;
    Slot chosen = nullptr;
    switch (type_of(type)) {
        case MVTYPE_U8: chosen = bxta<uint8_t, Rec>; break;
        case MVTYPE_U16: chosen = bxta<uint16_t, Rec>; break;
        case MVTYPE_U32:
        case MVTYPE_I32: chosen = bxta<uint32_t, Rec>; break;
        case MVTYPE_FLOAT: chosen = bxta<float, Rec>; break;
        case MVTYPE_DOUBLE: chosen = bxta<double, Rec>; break;
        default: return MVERR_DATATYPE;
    }
    if constexpr (std::is_same_v<Rec, mvimage>) {
        // 2-D records hold the routines exported by name.
        switch (type_of(type)) {
            case MVTYPE_U8: chosen = mvimmem_bxtauint8; break;
            case MVTYPE_U16: chosen = mvimmem_bxtauint16; break;
            case MVTYPE_FLOAT: chosen = mvimmem_bxtafloat; break;
            case MVTYPE_DOUBLE: chosen = mvimmem_bxtadouble; break;
            default: chosen = mvimmem_bxtauint32; break;
        }
    } else {
        // So do 3-D ones.
        switch (type_of(type)) {
            case MVTYPE_U8: chosen = mvimmem3_bxtauint8; break;
            case MVTYPE_U16: chosen = mvimmem3_bxtauint16; break;
            case MVTYPE_FLOAT: chosen = mvimmem3_bxtafloat; break;
            case MVTYPE_DOUBLE: chosen = mvimmem3_bxtadouble; break;
            default: chosen = mvimmem3_bxtauint32; break;
        }
    }
    const SideChoice read = choose_side(im, type, false);
    const SideChoice write = choose_side(im, type, true);
    if (!read.move || !write.move) return MVERR_DATATYPE;
    MemState& st = state(rec);
    st.bxt_count = sel.count;
    st.bxt_offset = sel.first * im->pixiesize;
    st.bxt_read_move = read.move;
    st.bxt_read_arg = read.arg;
    st.bxt_write_move = write.move;
    st.bxt_write_arg = write.arg;
    bxta_slot = chosen;
    return 1;
}

}  // namespace

int32_t bxts(mvimage* im, uint32_t, uint32_t type, uint32_t mask) {
    im->bxtp = noop::bxtp;
    im->bxta = noop::bxta;
    mvslot_bxta chosen = nullptr;
    const int32_t rc = bxts_for(im, type, mask, chosen);
    if (rc < 0) return rc;
    im->bxtp = mvimmem_bxtp;
    im->bxta = chosen;
    return rc;
}

int32_t bxts3(mvimage3* im, uint32_t, uint32_t type, uint32_t mask) {
    im->bxtp = noop::bxtp3;
    im->bxta = noop::bxta3;
    mvslot3_bxta chosen = nullptr;
    const int32_t rc = bxts_for(im, type, mask, chosen);
    if (rc < 0) return rc;
    im->bxtp = mvimmem3_bxtp;
    im->bxta = chosen;
    return rc;
}

}  // namespace mvip::mem

using mvip::mem::bxta;

extern "C" MVIP_API int32_t mvimmem_bxts(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::mem::bxts(im, mode, type, mask) : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimmem_bxtp(mvimage* im, int32_t operation, mvbxtentry* list,
                                         uint32_t n) {
    return im ? mvip::mem::bxtp(im, operation, list, n) : MVERR_USAGE;
}

extern "C" MVIP_API uint32_t mvimmem_bxtauint8(mvimage* im, int32_t operation, void* buffer,
                                               mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<uint8_t>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_bxtauint16(mvimage* im, int32_t operation, void* buffer,
                                                mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<uint16_t>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_bxtauint32(mvimage* im, int32_t operation, void* buffer,
                                                mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<uint32_t>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_bxtafloat(mvimage* im, int32_t operation, void* buffer,
                                               mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<float>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem_bxtadouble(mvimage* im, int32_t operation, void* buffer,
                                                mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<double>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API int32_t mvimmem3_bxts(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? mvip::mem::bxts3(im, mode, type, mask) : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimmem3_bxtp(mvimage3* im, int32_t operation, mvbxtentry* list,
                                          uint32_t n) {
    return im ? mvip::mem::bxtp<mvimage3>(im, operation, list, n) : MVERR_USAGE;
}

extern "C" MVIP_API uint32_t mvimmem3_bxtauint8(mvimage3* im, int32_t operation, void* buffer,
                                                mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<uint8_t, mvimage3>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem3_bxtauint16(mvimage3* im, int32_t operation, void* buffer,
                                                 mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<uint16_t, mvimage3>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem3_bxtauint32(mvimage3* im, int32_t operation, void* buffer,
                                                 mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<uint32_t, mvimage3>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem3_bxtafloat(mvimage3* im, int32_t operation, void* buffer,
                                                mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<float, mvimage3>(im, operation, buffer, list, n, code) : 0;
}

extern "C" MVIP_API uint32_t mvimmem3_bxtadouble(mvimage3* im, int32_t operation, void* buffer,
                                                 mvbxtentry* list, uint32_t n, int32_t code) {
    return im ? bxta<double, mvimage3>(im, operation, buffer, list, n, code) : 0;
}
