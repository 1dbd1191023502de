// Memory images: scattered-pixel transfers (bxts, bxtp, bxta).
#include "core/memimage.hpp"

#include <limits>

namespace mvip::mem {
namespace {

// Offset stored for an entry outside the window; bxta skips it.
constexpr int64_t kOutside = std::numeric_limits<int64_t>::min();

inline bool prepares(int32_t operation) {
    return static_cast<int8_t>(operation & 0xFF) < 0;
}

int32_t bxtp(mvimage* im, int32_t operation, mvbxtentry* list, uint32_t n) {
    if (!prepares(operation) || !list) return operation;
    const MemState& st = state(im);
    const uint32_t w = wind_width(im), h = wind_height(im);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t x = static_cast<uint32_t>(list[i].x);
        const uint32_t y = static_cast<uint32_t>(list[i].y);
        const int64_t offset =
            (x < w && y < h) ? pixel_offset(im, st, x, y) + st.bxt_offset : kOutside;
        std::memcpy(&list[i], &offset, sizeof offset);
    }
    return operation;
}

// The byte span that the image's pixels occupy, relative to priv.
struct Span {
    int64_t lo, hi;
};
Span image_span(const mvimage* im, const MemState& st) {
    const int64_t line = static_cast<int64_t>(im->pixelsize) * im->imdim.se.x;
    const int64_t last = static_cast<int64_t>(im->imdim.se.y - 1) * st.pitch;
    if (im->imdim.se.y <= 0 || line <= 0) return {0, 0};
    return st.pitch >= 0 ? Span{0, last + line} : Span{last, line};
}

template <class T>
inline T apply(int32_t code, T& p, T b) {
    switch (code) {
        case 0: { T old = p; p = b; return old; }
        case 1: p = static_cast<T>(p + b); break;
        case 2: return p;
        case 3: p = b; break;
        case 4:
            if constexpr (std::is_floating_point_v<T>) p = p * b;
            else p = static_cast<T>(p ^ b);
            break;
        case 5: p = static_cast<T>(p - b); break;
        default: break;
    }
    return b;
}

template <class T>
uint32_t bxta(mvimage* im, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
              int32_t code) {
    if (!buffer || !list) return 0;
    if (prepares(operation)) bxtp(im, operation, list, n);
    const MemState& st = state(im);
    const size_t c = st.bxt_count;
    const size_t values = size_t{n} * c;
    auto* buf = static_cast<unsigned char*>(buffer);
    const ptrdiff_t all = static_cast<ptrdiff_t>(values * sizeof(T));
    if (code != 2) st.bxt_write_move(buf, all, buf, all, 1, values, st.bxt_write_arg);

    const Span span = image_span(im, st);
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

}  // namespace

int32_t bxts(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    (void)mode;
    im->bxtp = noop::bxtp;
    im->bxta = noop::bxta;
    if (type_of(type) != type_of(im->pixfmt.datatype)) return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, im->pixfmt.pixies, sel)) return MVERR_COLORS;
    mvslot_bxta chosen = nullptr;
    switch (type_of(type)) {
        case MVTYPE_U8: chosen = mvimmem_bxtauint8; break;
        case MVTYPE_U16: chosen = mvimmem_bxtauint16; break;
        case MVTYPE_U32:
        case MVTYPE_I32: chosen = mvimmem_bxtauint32; break;
        case MVTYPE_FLOAT: chosen = mvimmem_bxtafloat; break;
        case MVTYPE_DOUBLE: chosen = mvimmem_bxtadouble; break;
        default: return MVERR_DATATYPE;
    }
    const SideChoice read = choose_side(im, type, false);
    const SideChoice write = choose_side(im, type, true);
    if (!read.move || !write.move) return MVERR_DATATYPE;
    MemState& st = state(im);
    st.bxt_count = sel.count;
    st.bxt_offset = sel.first * im->pixiesize;
    st.bxt_read_move = read.move;
    st.bxt_read_arg = read.arg;
    st.bxt_write_move = write.move;
    st.bxt_write_arg = write.arg;
    im->bxtp = mvimmem_bxtp;
    im->bxta = chosen;
    return 1;
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
