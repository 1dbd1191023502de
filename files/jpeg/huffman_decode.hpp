// Huffman decoding: code tables checked and made from their file form,
// and the bit reader over entropy-coded bytes (stuffed zero bytes removed;
// at a marker or the end of the data it supplies zero bits and counts
// them, so that a scan that needs more bits than it has is found).
#pragma once

#include "files/jpeg/tables.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mvip::files::jpeg {

struct DecodeTable {
    static constexpr uint32_t kFastBits = 9;
    uint16_t fast[1u << kFastBits] = {};  // (length << 8) | symbol; 0 for longer codes
    int32_t maxcode[18] = {};             // largest code of each length, -1 for none
    int32_t offset[17] = {};              // symbol index = offset + code
    uint8_t symbols[256] = {};
    // AC tables: codes whose value bits also fit in the first kFastBits
    // bits, decoded at once: the value, the run before it and the bits
    // taken by both (0: not such a code).
    int16_t ac_value[1u << kFastBits] = {};
    uint8_t ac_run[1u << kFastBits] = {};
    uint8_t ac_bits[1u << kFastBits] = {};
    // 0, or -10 when the lengths ask for more codes than exist.
    int32_t init(const HuffTable& codes);
};

class BitReader {
public:
    BitReader(const uint8_t* begin, const uint8_t* end) : p_(begin), end_(end) {}

    // The next symbol, or -1 for a bit pattern that is no code.
    int32_t decode(const DecodeTable& t) {
        if (bits_ < 16) fill();
        const uint16_t e = t.fast[acc_ >> (64 - DecodeTable::kFastBits)];
        if (e != 0) {
            consume(e >> 8);
            return e & 0xFF;
        }
        for (uint32_t len = DecodeTable::kFastBits + 1; len <= 16; ++len) {
            const int32_t code = int32_t(acc_ >> (64 - len));
            if (code <= t.maxcode[len]) {
                consume(len);
                return t.symbols[(t.offset[len] + code) & 0xFF];
            }
        }
        return -1;
    }
    // n bits (n <= 16) as an unsigned number.
    uint32_t get(uint32_t n) {
        if (n == 0) return 0;
        if (bits_ < n) fill();
        const uint32_t v = uint32_t(acc_ >> (64 - n));
        consume(n);
        return v;
    }
    // A value of `cat` bits in the coding's sign convention.
    int32_t receive(uint32_t cat) {
        const int32_t v = int32_t(get(cat));
        return cat != 0 && v < (1 << (cat - 1)) ? v - (1 << cat) + 1 : v;
    }
    // The next kFastBits bits (at least 16 are buffered afterwards).
    uint32_t peek_fast() {
        if (bits_ < 16) fill();
        return uint32_t(acc_ >> (64 - DecodeTable::kFastBits));
    }
    void consume(uint32_t n) {
        acc_ <<= n;
        bits_ -= n;
    }
    // True when more bits were taken than the data holds.
    bool overrun() const { return uint64_t(padding_) * 8 > bits_; }
    // Drop the buffered bits and step over a restart marker (any of the
    // eight), with fill bytes before it.  False when none is there.
    bool restart();
    // Where the bytes not yet taken begin.
    const uint8_t* position() const { return p_; }

private:
    void fill() {
        if (end_ - p_ >= 8) {
            // Whole bytes at once when the next eight hold no 0xFF.
            uint64_t w;
            std::memcpy(&w, p_, 8);
            w = __builtin_bswap64(w);
            const uint64_t inv = ~w;
            if (((inv - 0x0101010101010101u) & ~inv & 0x8080808080808080u) == 0) {
                const uint32_t take = (64 - bits_) / 8, now = bits_ + 8 * take;
                const uint64_t add = w >> bits_;
                acc_ |= now == 64 ? add : add & ~(~uint64_t(0) >> now);
                bits_ = now;
                p_ += take;
                return;
            }
        }
        while (bits_ <= 56) {
            uint32_t b = 0;
            if (p_ < end_ && (p_[0] != 0xFF || (p_ + 1 < end_ && p_[1] == 0))) {
                b = *p_;
                p_ += b == 0xFF ? 2 : 1;  // 0xFF is followed by a stuffed zero
            } else {
                ++padding_;  // a marker or the end: zero bits
            }
            acc_ |= uint64_t(b) << (56 - bits_);
            bits_ += 8;
        }
    }

    const uint8_t* p_;
    const uint8_t* end_;
    uint64_t acc_ = 0;      // bits, most significant first
    uint32_t bits_ = 0;     // how many of acc_'s top bits are valid
    uint32_t padding_ = 0;  // zero bytes supplied past the data
};

}  // namespace mvip::files::jpeg
