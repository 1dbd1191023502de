// Huffman coding of quantised blocks: code tables from their file form,
// the bit writer with byte stuffing, and the coding of one block into any
// sink (the bit writer, or a counter that gathers symbol statistics for
// tables made to measure).
#pragma once

#include "files/jpeg/dct.hpp"
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

// Where each coefficient goes in the coding order.  The coder finds the
// non-zero values of a block with vector compares in its own (transposed)
// order and turns that mask into a mask in zig-zag order four bits at a
// time: `zigzag_bits[i][n]` has the zig-zag positions of the values
// 4i .. 4i + 3 picked by the bits of n.  This keeps the coder from
// rearranging all 64 values when only a few are non-zero.
struct BlockOrder {
    uint8_t index[64];  // zig-zag position -> transposed index
    uint64_t zigzag_bits[16][16];
    BlockOrder() {
        uint8_t position[64];
        for (uint32_t k = 0; k < 64; ++k) {
            index[k] = transposed(kZigzag[k]);
            position[index[k]] = uint8_t(k);
        }
        for (uint32_t i = 0; i < 16; ++i)
            for (uint32_t n = 0; n < 16; ++n) {
                uint64_t m = 0;
                for (uint32_t j = 0; j < 4; ++j)
                    if (n >> j & 1) m |= uint64_t(1) << position[4 * i + j];
                zigzag_bits[i][n] = m;
            }
    }
};

// Which of 64 values are not zero, one bit each (bit k for value k).
inline uint64_t nonzero_mask(const int32_t v[64]) {
    uint64_t mask = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    for (int i = 0; i < 4; ++i) {
        const __m128i* at = reinterpret_cast<const __m128i*>(v + 16 * i);
        // Saturating packs keep non-zero values non-zero.
        const __m128i a = _mm_packs_epi32(_mm_loadu_si128(at), _mm_loadu_si128(at + 1));
        const __m128i b = _mm_packs_epi32(_mm_loadu_si128(at + 2), _mm_loadu_si128(at + 3));
        const __m128i zeros = _mm_cmpeq_epi8(_mm_packs_epi16(a, b), zero);
        mask |= uint64_t(uint32_t(~_mm_movemask_epi8(zeros)) & 0xFFFFu) << (16 * i);
    }
#else
    for (int k = 0; k < 64; ++k) mask |= uint64_t(v[k] != 0) << k;
#endif
    return mask;
}

// One block: `coef` in transposed order; `last_dc` is the component's DC
// prediction.
template <class Sink>
inline void encode_block(Sink& sink, const int32_t coef[64], const BlockOrder& order, int32_t& last_dc,
                         const EncodeTable& dc, const EncodeTable& ac) {
    const int32_t diff = coef[0] - last_dc;
    last_dc = coef[0];
    uint32_t cat = category(diff);
    sink.code(dc, cat, uint32_t(diff < 0 ? diff - 1 : diff) & ((1u << cat) - 1u), cat);
    const uint64_t mask = nonzero_mask(coef);
    uint64_t nonzero = 0;
    for (uint32_t i = 0; i < 16; ++i) nonzero |= order.zigzag_bits[i][(mask >> (4 * i)) & 15];
    nonzero &= ~uint64_t(1);
    int last = 0;
    while (nonzero != 0) {
        const int k = __builtin_ctzll(nonzero);
        nonzero &= nonzero - 1;
        uint32_t run = uint32_t(k - last - 1);
        while (run >= 16) {
            sink.code(ac, 0xF0, 0, 0);
            run -= 16;
        }
        const int32_t v = coef[order.index[k]];
        cat = category(v);
        sink.code(ac, run << 4 | cat, uint32_t(v < 0 ? v - 1 : v) & ((1u << cat) - 1u), cat);
        last = k;
    }
    if (last != 63) sink.code(ac, 0x00, 0, 0);
}

}  // namespace mvip::files::jpeg
