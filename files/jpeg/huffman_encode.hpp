// Huffman coding of quantised blocks: code tables from their file form,
// the bit writer with byte stuffing, and the coding of one block into any
// sink (the bit writer, or a counter that gathers symbol statistics for
// tables made to measure).
#pragma once

#include "files/jpeg/tables.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace mvip::files::jpeg {

struct EncodeTable {
    uint16_t code[256] = {};
    uint8_t length[256] = {};  // 0: the symbol has no code
    uint32_t* counts = nullptr;  // where a counting sink adds up this table's symbols
    void init(const HuffTable& codes);
};

// Entropy-coded bytes: bits go in most significant first; every 0xFF byte
// is followed by a stuffed 0x00.
class BitWriter {
public:
    // Room for one more block of up to four components (a block takes at
    // most 64 codes of 32 bits, doubled by stuffing).
    void reserve_block() {
        if (buf_.size() - used_ < 4096) buf_.resize(std::max<size_t>(buf_.size() * 2, used_ + 65536));
    }
    // The low n bits of `bits` (n <= 32).
    void put(uint32_t bits, uint32_t n) {
        acc_ = (acc_ << n) | bits;
        count_ += n;
        if (count_ >= 32) {
            count_ -= 32;
            emit_word(uint32_t(acc_ >> count_));
        }
    }
    void code(const EncodeTable& t, uint32_t symbol, uint32_t extra, uint32_t extra_bits) {
        put(uint32_t(t.code[symbol]) << extra_bits | extra, t.length[symbol] + extra_bits);
    }
    // Pad the last byte with one bits and write out every whole byte.
    void pad() {
        const uint32_t fill = (8 - count_ % 8) % 8;
        put((1u << fill) - 1u, fill);
        while (count_ >= 8) {
            count_ -= 8;
            emit_byte(uint8_t(acc_ >> count_));
        }
    }
    const uint8_t* data() const { return buf_.data(); }
    size_t size() const { return used_; }
    // Forget the bytes written so far (the bits not yet whole stay).
    void clear() { used_ = 0; }

private:
    void emit_byte(uint8_t b) {
        buf_[used_++] = b;
        if (b == 0xFF) buf_[used_++] = 0;
    }
    void emit_word(uint32_t w) {
        const uint32_t inv = ~w;
        if (((inv - 0x01010101u) & ~inv & 0x80808080u) == 0) {  // no 0xFF byte
            buf_[used_] = uint8_t(w >> 24);
            buf_[used_ + 1] = uint8_t(w >> 16);
            buf_[used_ + 2] = uint8_t(w >> 8);
            buf_[used_ + 3] = uint8_t(w);
            used_ += 4;
            return;
        }
        for (int s = 24; s >= 0; s -= 8) emit_byte(uint8_t(w >> s));
    }
    std::vector<uint8_t> buf_;
    size_t used_ = 0;
    uint64_t acc_ = 0;
    uint32_t count_ = 0;
};

// Adds up symbols instead of writing them.
struct SymbolCounter {
    void reserve_block() {}
    void code(const EncodeTable& t, uint32_t symbol, uint32_t, uint32_t) { ++t.counts[symbol]; }
};

// Bits needed for |v| (the category of a value).
inline uint32_t category(int32_t v) {
    const uint32_t a = uint32_t(v < 0 ? -v : v);
    return a == 0 ? 0 : 32u - uint32_t(__builtin_clz(a));
}

// Which of 64 values are not zero, one bit each (bit k for value k).
inline uint64_t nonzero_mask(const int16_t v[64]) {
#if defined(__SSE2__)
    uint64_t mask = 0;
    const __m128i zero = _mm_setzero_si128();
    for (int i = 0; i < 4; ++i) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(v + 16 * i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(v + 16 * i + 8));
        const __m128i zeros = _mm_cmpeq_epi8(_mm_packs_epi16(a, b), zero);
        mask |= uint64_t(uint32_t(~_mm_movemask_epi8(zeros)) & 0xFFFFu) << (16 * i);
    }
    return mask;
#else
    uint64_t mask = 0;
    for (int k = 0; k < 64; ++k) mask |= uint64_t(v[k] != 0) << k;
    return mask;
#endif
}

// One block: `coef` in transposed order, `order` maps zig-zag positions to
// transposed indices; `last_dc` is the component's DC prediction.
template <class Sink>
inline void encode_block(Sink& sink, const int32_t coef[64], const uint8_t order[64], int32_t& last_dc,
                         const EncodeTable& dc, const EncodeTable& ac) {
    const int32_t diff = coef[0] - last_dc;
    last_dc = coef[0];
    uint32_t cat = category(diff);
    sink.code(dc, cat, uint32_t(diff < 0 ? diff - 1 : diff) & ((1u << cat) - 1u), cat);
    int16_t zz[64];
    zz[0] = 0;
    for (int k = 1; k < 64; ++k) zz[k] = int16_t(coef[order[k]]);
    uint64_t nonzero = nonzero_mask(zz) & ~uint64_t(1);
    int last = 0;
    while (nonzero != 0) {
        const int k = __builtin_ctzll(nonzero);
        nonzero &= nonzero - 1;
        uint32_t run = uint32_t(k - last - 1);
        while (run >= 16) {
            sink.code(ac, 0xF0, 0, 0);
            run -= 16;
        }
        const int32_t v = zz[k];
        cat = category(v);
        sink.code(ac, run << 4 | cat, uint32_t(v < 0 ? v - 1 : v) & ((1u << cat) - 1u), cat);
        last = k;
    }
    if (last != 63) sink.code(ac, 0x00, 0, 0);
}

}  // namespace mvip::files::jpeg
