// LZW (compression 5) as TIFF writes it: codes packed most significant bit
// first, 256 clears the table, 257 ends the strip, new strings from 258 on.
// Codes are 9 bits wide at first and grow to 10, 11 and 12 bits one code
// early: the decoder widens as soon as the next code it would assign is
// 511, 1023 or 2047, which is the moment the encoder has assigned 511, 1023
// or 2047.  The encoder sends a clear when the table holds 4094 entries; a
// strip starts with a clear and ends with the end code.
//
// The old bit-reversed variant that early libtiff versions wrote is not
// read.
#include "files/tiff/codec.hpp"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

namespace mvip::tiff {

namespace {

constexpr uint32_t kClear = 256;
constexpr uint32_t kEnd = 257;
constexpr uint32_t kFirst = 258;
constexpr uint32_t kMaxWidth = 12;
constexpr uint32_t kEncoderLimit = 4094;  // table size that triggers a clear

inline void store_be32(uint8_t* p, uint32_t v) {
    if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap32(v);
    std::memcpy(p, &v, 4);
}

inline uint64_t load_be64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap64(v);
    return v;
}

// ---- encoder -------------------------------------------------------------

// Strings are found through a table of 4096 x 256 entries: the code of the
// string made of a prefix code and one more byte, 0 when there is none
// (codes of such strings are at least 258).  One load per input byte is
// the whole search.  The table is 2 MB; it comes zeroed from calloc, so the
// pages a small image never reaches are never touched, and a clear resets
// only the entries made since the last one.
class LzwEncoder final : public Encoder {
public:
    explicit LzwEncoder(const RowShape& shape)
        : row_bytes_(shape.packed_bytes()), child_(static_cast<uint16_t*>(std::calloc(4096 * 256, 2))) {
        if (!child_) throw std::bad_alloc();
    }

    void begin_strip(std::vector<uint8_t>& out) override {
        reset_table();
        prefix_ = kNone;
        acc_ = 0;
        have_ = 0;
        const size_t start = out.size();
        out.resize(start + 8);
        uint8_t* op = out.data() + start;
        put(op, kClear);
        out.resize(size_t(op - out.data()));
    }

    void add_row(const uint8_t* row, std::vector<uint8_t>& out) override {
        const size_t n = row_bytes_;
        if (n == 0) return;
        // At worst every byte costs a 12-bit code, plus a clear per 3836
        // codes and the whole words the bit buffer may release.
        const size_t start = out.size();
        out.resize(start + n + n / 2 + n / 1024 + 16);
        uint8_t* op = out.data() + start;
        encode(row, n, op);
        out.resize(size_t(op - out.data()));
    }

    void end_strip(std::vector<uint8_t>& out) override {
        const size_t start = out.size();
        out.resize(start + 16);
        uint8_t* op = out.data() + start;
        if (prefix_ != kNone) {
            put(op, prefix_);
            // The decoder adds a string on reading this last code, so the
            // end code is written at the width that follows that string.
            ++next_;
            if (next_ == kEncoderLimit) {
                put(op, kClear);
                width_ = 9;
            } else if (next_ > (1u << width_) - 1) {
                ++width_;
            }
            prefix_ = kNone;
        }
        put(op, kEnd);
        while (have_ >= 8) {
            have_ -= 8;
            *op++ = uint8_t(acc_ >> have_);
        }
        if (have_ != 0) *op++ = uint8_t(acc_ << (8 - have_));
        have_ = 0;
        out.resize(size_t(op - out.data()));
    }

private:
    static constexpr uint32_t kNone = ~0u;

    struct Free {
        void operator()(uint16_t* p) const { std::free(p); }
    };

    void reset_table() {
        for (uint32_t i = 0; i < used_count_; ++i) child_[used_[i]] = 0;
        used_count_ = 0;
        next_ = kFirst;
        width_ = 9;
    }

    // Append a code at the current width; whole 32-bit words go out.
    void put(uint8_t*& op, uint32_t code) {
        acc_ = (acc_ << width_) | code;
        have_ += width_;
        if (have_ >= 32) {
            have_ -= 32;
            store_be32(op, uint32_t(acc_ >> have_));
            op += 4;
        }
    }

    // The state lives in locals here: stores through the byte pointer could
    // otherwise alias the members and force them back to memory each time.
    void encode(const uint8_t* in, size_t n, uint8_t*& out) {
        uint8_t* op = out;
        uint64_t acc = acc_;
        uint32_t have = have_, next = next_, width = width_, used = used_count_;
        uint16_t* const child = child_.get();
        auto put = [&](uint32_t code) {
            acc = (acc << width) | code;
            have += width;
            if (have >= 32) {
                have -= 32;
                store_be32(op, uint32_t(acc >> have));
                op += 4;
            }
        };
        size_t i = 0;
        uint32_t code = prefix_;
        if (code == kNone) code = in[i++];
        for (; i < n; ++i) {
            const uint32_t c = in[i];
            const uint32_t key = (code << 8) | c;
            const uint32_t e = child[key];
            if (e != 0) {
                code = e;
                continue;
            }
            put(code);
            child[key] = uint16_t(next);
            used_[used++] = key;
            ++next;
            if (next == kEncoderLimit) {
                put(kClear);
                for (uint32_t k = 0; k < used; ++k) child[used_[k]] = 0;
                used = 0;
                next = kFirst;
                width = 9;
            } else if (next > (1u << width) - 1) {
                ++width;
            }
            code = c;
        }
        prefix_ = code;
        acc_ = acc;
        have_ = have;
        next_ = next;
        width_ = width;
        used_count_ = used;
        out = op;
    }

    size_t row_bytes_;
    uint32_t prefix_ = kNone;  // code of the string matched so far
    uint32_t next_ = kFirst;   // next code to assign
    uint32_t width_ = 9;
    uint64_t acc_ = 0;  // pending bits, the last `have_` of them
    uint32_t have_ = 0;
    uint32_t used_count_ = 0;
    uint32_t used_[4096];  // entries made since the last clear
    std::unique_ptr<uint16_t[], Free> child_;
};

// ---- decoder -------------------------------------------------------------

// Every string the decoder knows is somewhere in the output already: a new
// string is the previous code's string plus the first byte of the current
// one, and those lie next to each other in the output.  So the table keeps
// only where each string starts and how long it is, and decoding a code
// copies bytes forward.  The single bytes 0..255 point into a constant
// table; the clear and end codes have length 0, which sends them off the
// common path.  The code defined by this very step (previous string plus
// its own first byte) copies from the previous string, overlapping by one
// byte, forwards.

struct Literals {
    uint8_t bytes[256 + 8];  // 8 spare for whole-word copies
    constexpr Literals() : bytes() {
        for (int i = 0; i < 256; ++i) bytes[i] = uint8_t(i);
    }
};
constexpr Literals kLiterals;

int32_t lzw_decode(const uint8_t* in, size_t n, uint8_t* out, size_t need) {
    const uint8_t* start[4096];
    uint16_t length[4096];
    for (uint32_t i = 0; i < 256; ++i) {
        start[i] = kLiterals.bytes + i;
        length[i] = 1;
    }
    length[kClear] = length[kEnd] = 0;

    const uint8_t* p = in;
    const uint8_t* const end = in + n;
    uint64_t acc = 0;  // unread bits, left-aligned
    uint32_t have = 0;

    uint32_t next = kFirst;
    uint32_t width = 9;
    const uint8_t* old = nullptr;  // previous code's string in the output
    uint32_t old_len = 0;
    size_t pos = 0;
    int32_t rc = 0;

    while (pos < need) {
        if (have < width) {
            if (end - p >= 8) {
                acc |= load_be64(p) >> have;
                p += (63 - have) >> 3;
                have |= 56;
            } else {
                while (have <= 56 && p < end) {
                    acc |= uint64_t(*p++) << (56 - have);
                    have += 8;
                }
                if (have < width) break;  // out of data: no end code
            }
        }
        const uint32_t code = uint32_t(acc >> (64 - width));
        acc <<= width;
        have -= width;

        uint8_t* const d = out + pos;
        uint32_t len;
        if (code < next && (len = length[code]) != 0) {
            // A known string: it ends before d, so word-wise loads and
            // stores give its bytes even when the words reach into d.
            const uint8_t* s = start[code];
            if (len + 7 <= need - pos) {
                for (uint32_t k = 0; k < len; k += 8) {
                    uint64_t w;
                    std::memcpy(&w, s + k, 8);
                    std::memcpy(d + k, &w, 8);
                }
            } else {
                len = uint32_t(std::min<size_t>(len, need - pos));
                std::memmove(d, s, len);
            }
        } else if (code == next && old != nullptr) {
            // The string being defined: a forward copy that reads what it
            // has just written.
            len = uint32_t(std::min<size_t>(old_len + 1, need - pos));
            for (uint32_t k = 0; k < len; ++k) d[k] = old[k];
        } else if (code == kClear) {
            next = kFirst;
            width = 9;
            old = nullptr;
            continue;
        } else {
            if (code != kEnd) rc = -10;  // beyond the next code
            break;
        }
        if (old != nullptr && next < 4096) {
            start[next] = old;
            length[next] = uint16_t(old_len + 1);
            ++next;
            if (next == (1u << width) - 1 && width < kMaxWidth) ++width;
        }
        old = d;
        old_len = len;
        pos += len;
    }
    if (pos < need) {
        std::memset(out + pos, 0, need - pos);
        return -10;
    }
    return rc;
}

}  // namespace

std::unique_ptr<Encoder> make_lzw_encoder(const RowShape& shape) {
    return std::make_unique<LzwEncoder>(shape);
}

// Decode one strip into out[0, need).  Data that ends before the strip is
// complete, with or without the end code, leaves the rest zero and answers
// -10, as does a code beyond the next one to be assigned.  Codes after the
// strip is complete are not read.
int32_t decode_lzw(const uint8_t* in, size_t n, uint8_t* out, size_t need) {
    return lzw_decode(in, n, out, need);
}

}  // namespace mvip::tiff
