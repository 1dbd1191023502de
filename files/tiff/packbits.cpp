// PackBits (compression 32773): a byte-oriented run-length code.  A header
// byte n in 0..127 is followed by n + 1 literal bytes; n in -127..-1 by one
// byte to be repeated 1 - n times; -128 is a no-op.
//
// The encoder codes each row on its own, so no run crosses a row boundary.
// The decoder reads a strip as one stream all the same: writers that let
// runs cross rows exist, and reading across costs nothing.
#include "files/tiff/codec.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

namespace mvip::tiff {

namespace {

// The first t >= from with in[t] == in[t + 1] == in[t + 2], or n.  Eight
// positions at a time: a zero byte in (x ^ y) | (y ^ z), with y and z the
// words one and two bytes on, marks three equal bytes; the lowest flagged
// byte of the zero-byte test is always a true one.
size_t next_triple(const uint8_t* in, size_t from, size_t n) {
    size_t t = from;
    if constexpr (std::endian::native == std::endian::little) {
        constexpr uint64_t kOnes = 0x0101010101010101u, kHighs = 0x8080808080808080u;
        for (; t + 10 <= n; t += 8) {
            uint64_t x, y, z;
            std::memcpy(&x, in + t, 8);
            std::memcpy(&y, in + t + 1, 8);
            std::memcpy(&z, in + t + 2, 8);
            const uint64_t d = (x ^ y) | (y ^ z);
            const uint64_t zero = (d - kOnes) & ~d & kHighs;
            if (zero != 0) return t + size_t(__builtin_ctzll(zero)) / 8;
        }
    }
    for (; t + 2 < n; ++t) {
        if (in[t] == in[t + 1] && in[t] == in[t + 2]) return t;
    }
    return n;
}

// Code one row; `out` must have room for n + n / 128 + 1 bytes (all literal
// is the worst case: a replicate run never costs more than its bytes).
// Runs of three or more equal bytes are replicated, and so is a pair that
// would otherwise open a literal run; everything else goes into literal runs
// of up to 128 bytes.  Answers the end of the coded bytes.
uint8_t* pack_row_bytes(const uint8_t* in, size_t n, uint8_t* out) {
    size_t i = 0;
    while (i < n) {
        if (i + 1 < n && in[i] == in[i + 1]) {
            const size_t limit = std::min(n, i + 128);
            size_t j = i + 2;
            while (j < limit && in[j] == in[i]) ++j;
            *out++ = uint8_t(1 - int(j - i));
            *out++ = in[i];
            i = j;
            continue;
        }
        // A full literal run closes, and then nothing is open again.
        const size_t end = next_triple(in, i + 1, n);
        const size_t len = std::min<size_t>(end - i, 128);
        *out++ = uint8_t(len - 1);
        std::memcpy(out, in + i, len);
        out += len;
        i += len;
    }
    return out;
}

class PackBitsEncoder final : public Encoder {
public:
    explicit PackBitsEncoder(const RowShape& shape) : row_bytes_(shape.packed_bytes()) {}

    void begin_strip(std::vector<uint8_t>&) override {}

    void add_row(const uint8_t* row, std::vector<uint8_t>& out) override {
        const size_t start = out.size();
        out.resize(start + row_bytes_ + row_bytes_ / 128 + 1);
        uint8_t* end = pack_row_bytes(row, row_bytes_, out.data() + start);
        out.resize(size_t(end - out.data()));
    }

    void end_strip(std::vector<uint8_t>&) override {}

private:
    size_t row_bytes_;
};

}  // namespace

std::unique_ptr<Encoder> make_packbits_encoder(const RowShape& shape) {
    return std::make_unique<PackBitsEncoder>(shape);
}

// Runs that reach past the end of the strip are cut at the end (a common
// writer slip, and the strip is complete then); input that ends first
// leaves the rest zero and answers -10.
int32_t decode_packbits(const uint8_t* in, size_t n, uint8_t* out, size_t need) {
    size_t ip = 0;
    size_t op = 0;
    // While both sides have room for the longest run (a header and 128
    // bytes in, 128 bytes out), every run is copied or filled as a fixed
    // 128 bytes and the positions advance by its true length: fixed-size
    // moves are a few vector stores instead of a library call.
    while (ip + 129 <= n && op + 128 <= need) {
        const int c = int8_t(in[ip++]);
        if (c >= 0) {
            std::memcpy(out + op, in + ip, 128);
            op += size_t(c) + 1;
            ip += size_t(c) + 1;
        } else if (c != -128) {
            std::memset(out + op, in[ip++], 128);
            op += size_t(1 - c);
        }
    }
    while (op < need) {
        if (ip >= n) break;
        const int c = int8_t(in[ip++]);
        if (c >= 0) {
            const size_t len = size_t(c) + 1;
            const size_t avail = std::min(len, n - ip);
            const size_t take = std::min(avail, need - op);
            std::memcpy(out + op, in + ip, take);
            op += take;
            ip += avail;
            if (avail < len && op < need) break;
        } else if (c != -128) {
            if (ip >= n) break;
            const size_t take = std::min(size_t(1 - c), need - op);
            std::memset(out + op, in[ip++], take);
            op += take;
        }
    }
    if (op < need) {
        std::memset(out + op, 0, need - op);
        return -10;
    }
    return 0;
}

}  // namespace mvip::tiff
