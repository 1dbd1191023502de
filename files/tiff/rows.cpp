// Row helpers of the TIFF strip codecs: horizontal differencing (Predictor
// 2) and the packing of unpacked sample arrays into the file's row form.
#include "files/tiff/codec.hpp"

#include <bit>
#include <utility>
#include <cstring>

namespace mvip::tiff {

size_t RowShape::unpacked_bytes() const {
    const size_t each = bits <= 8 ? 1 : bits <= 16 ? 2 : bits <= 32 ? 4 : 8;
    return size_t(width) * samples * each;
}

namespace {

// ---- differencing ------------------------------------------------------

// A mask that keeps values within `bits` when the element is wider than the
// sample (12 bits in a uint16, say); all ones otherwise.
template <class T>
T sample_mask(uint32_t bits) {
    return bits >= sizeof(T) * 8 ? T(~T(0)) : T((T(1) << bits) - 1);
}

// Walk backwards so every value is reduced by its left neighbour before that
// neighbour changes; with S a constant the compiler vectorises the loop.
template <class T, uint32_t S>
void difference_fixed(T* p, size_t n, T mask) {
    for (size_t i = n; i-- > S;) p[i] = T((p[i] - p[i - S]) & mask);
}

template <class T>
void difference_any(T* p, size_t n, uint32_t s, T mask) {
    for (size_t i = n; i-- > s;) p[i] = T((p[i] - p[i - s]) & mask);
}

template <class T, uint32_t S>
void accumulate_fixed(T* p, size_t n, T mask) {
    for (size_t i = S; i < n; ++i) p[i] = T((p[i] + p[i - S]) & mask);
}

template <class T>
void accumulate_any(T* p, size_t n, uint32_t s, T mask) {
    for (size_t i = s; i < n; ++i) p[i] = T((p[i] + p[i - s]) & mask);
}

template <class T>
void difference_typed(void* row, uint32_t width, uint32_t samples, uint32_t bits) {
    T* p = static_cast<T*>(row);
    const size_t n = size_t(width) * samples;
    const T mask = sample_mask<T>(bits);
    switch (samples) {
        case 1: difference_fixed<T, 1>(p, n, mask); break;
        case 2: difference_fixed<T, 2>(p, n, mask); break;
        case 3: difference_fixed<T, 3>(p, n, mask); break;
        case 4: difference_fixed<T, 4>(p, n, mask); break;
        default: difference_any<T>(p, n, samples, mask); break;
    }
}

template <class T>
void accumulate_typed(void* row, uint32_t width, uint32_t samples, uint32_t bits) {
    T* p = static_cast<T*>(row);
    const size_t n = size_t(width) * samples;
    const T mask = sample_mask<T>(bits);
    switch (samples) {
        case 1: accumulate_fixed<T, 1>(p, n, mask); break;
        case 2: accumulate_fixed<T, 2>(p, n, mask); break;
        case 3: accumulate_fixed<T, 3>(p, n, mask); break;
        case 4: accumulate_fixed<T, 4>(p, n, mask); break;
        default: accumulate_any<T>(p, n, samples, mask); break;
    }
}

// ---- packing -------------------------------------------------------------

constexpr bool kHostBig = std::endian::native == std::endian::big;

template <class T>
T swap_bytes(T v) {
    if constexpr (sizeof(T) == 2) return T(__builtin_bswap16(v));
    else if constexpr (sizeof(T) == 4) return T(__builtin_bswap32(v));
    else return T(__builtin_bswap64(v));
}

// Copy whole 16/32/64-bit samples, swapping when the file order differs
// from the machine's.
template <class T>
void copy_ordered(const void* src, void* dst, size_t count, bool big_endian) {
    const size_t bytes = count * sizeof(T);
    if (big_endian == kHostBig) {
        std::memcpy(dst, src, bytes);
        return;
    }
    const auto* s = static_cast<const unsigned char*>(src);
    auto* d = static_cast<unsigned char*>(dst);
    for (size_t i = 0; i < count; ++i) {
        T v;
        std::memcpy(&v, s + i * sizeof(T), sizeof(T));
        v = swap_bytes(v);
        std::memcpy(d + i * sizeof(T), &v, sizeof(T));
    }
}

// Any width 1..31 as one bit string, most significant bit first; the last
// byte is padded with zero bits.
template <class T>
void pack_bits(const T* p, size_t count, uint32_t bits, uint8_t* out) {
    const uint64_t mask = (uint64_t(1) << bits) - 1;
    uint64_t acc = 0;
    uint32_t have = 0;
    for (size_t i = 0; i < count; ++i) {
        acc = (acc << bits) | (uint64_t(p[i]) & mask);
        have += bits;
        while (have >= 8) {
            have -= 8;
            *out++ = uint8_t(acc >> have);
        }
    }
    if (have != 0) *out = uint8_t(acc << (8 - have));
}

template <class T>
void unpack_bits(const uint8_t* in, size_t count, uint32_t bits, T* p) {
    const uint64_t mask = (uint64_t(1) << bits) - 1;
    uint64_t acc = 0;
    uint32_t have = 0;
    for (size_t i = 0; i < count; ++i) {
        while (have < bits) {
            acc = (acc << 8) | *in++;
            have += 8;
        }
        have -= bits;
        p[i] = T((acc >> have) & mask);
    }
}

// One bit per sample, eight to a byte.
void pack_1(const uint8_t* p, size_t count, uint8_t* out) {
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        unsigned b = 0;
        for (int k = 0; k < 8; ++k) b = (b << 1) | (p[i + k] & 1u);
        *out++ = uint8_t(b);
    }
    if (i < count) {
        unsigned b = 0;
        int k = 0;
        for (; i < count; ++i, ++k) b = (b << 1) | (p[i] & 1u);
        *out = uint8_t(b << (8 - k));
    }
}

// 24-bit samples of big-endian files: the three bytes in the reverse of
// their order in little-endian files (the file's byte order, as libtiff
// converts them between the two).
void reverse_triples(uint8_t* p, size_t count) {
    for (size_t i = 0; i < count; ++i) std::swap(p[3 * i], p[3 * i + 2]);
}

void unpack_24_reversed(const uint8_t* in, size_t count, uint32_t* p) {
    for (size_t i = 0; i < count; ++i, in += 3) p[i] = uint32_t(in[0]) | uint32_t(in[1]) << 8 | uint32_t(in[2]) << 16;
}

void unpack_1(const uint8_t* in, size_t count, uint8_t* p) {
    size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        const unsigned b = *in++;
        for (int k = 0; k < 8; ++k) p[i + k] = uint8_t((b >> (7 - k)) & 1u);
    }
    if (i < count) {
        const unsigned b = *in;
        for (int k = 0; i < count; ++i, ++k) p[i] = uint8_t((b >> (7 - k)) & 1u);
    }
}

}  // namespace

void difference_row(void* row, uint32_t width, uint32_t samples, uint32_t bits) {
    if (bits <= 8) difference_typed<uint8_t>(row, width, samples, bits);
    else if (bits <= 16) difference_typed<uint16_t>(row, width, samples, bits);
    else if (bits <= 32) difference_typed<uint32_t>(row, width, samples, bits);
}

void accumulate_row(void* row, uint32_t width, uint32_t samples, uint32_t bits) {
    if (bits <= 8) accumulate_typed<uint8_t>(row, width, samples, bits);
    else if (bits <= 16) accumulate_typed<uint16_t>(row, width, samples, bits);
    else if (bits <= 32) accumulate_typed<uint32_t>(row, width, samples, bits);
}

void pack_row(const void* row, const RowShape& shape, uint8_t* out) {
    const size_t count = size_t(shape.width) * shape.samples;
    const uint32_t bits = shape.bits;
    switch (bits) {
        case 1: pack_1(static_cast<const uint8_t*>(row), count, out); return;
        case 8: std::memcpy(out, row, count); return;
        case 16: copy_ordered<uint16_t>(row, out, count, shape.big_endian); return;
        case 32: copy_ordered<uint32_t>(row, out, count, shape.big_endian); return;
        case 64: copy_ordered<uint64_t>(row, out, count, shape.big_endian); return;
        default: break;
    }
    if (bits < 8) pack_bits(static_cast<const uint8_t*>(row), count, bits, out);
    else if (bits < 16) pack_bits(static_cast<const uint16_t*>(row), count, bits, out);
    else if (bits < 32) pack_bits(static_cast<const uint32_t*>(row), count, bits, out);
    if (bits == 24 && shape.big_endian) reverse_triples(out, count);
}

void unpack_row(const uint8_t* in, const RowShape& shape, void* row) {
    const size_t count = size_t(shape.width) * shape.samples;
    const uint32_t bits = shape.bits;
    switch (bits) {
        case 1: unpack_1(in, count, static_cast<uint8_t*>(row)); return;
        case 8: std::memcpy(row, in, count); return;
        case 16: copy_ordered<uint16_t>(in, row, count, shape.big_endian); return;
        case 32: copy_ordered<uint32_t>(in, row, count, shape.big_endian); return;
        case 64: copy_ordered<uint64_t>(in, row, count, shape.big_endian); return;
        case 24:
            if (shape.big_endian) {
                unpack_24_reversed(in, count, static_cast<uint32_t*>(row));
                return;
            }
            break;
        default: break;
    }
    if (bits < 8) unpack_bits(in, count, bits, static_cast<uint8_t*>(row));
    else if (bits < 16) unpack_bits(in, count, bits, static_cast<uint16_t*>(row));
    else if (bits < 32) unpack_bits(in, count, bits, static_cast<uint32_t*>(row));
}

}  // namespace mvip::tiff
