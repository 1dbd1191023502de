// PackBits (compression 32773): a byte-oriented run-length code.  A header
// byte n in 0..127 is followed by n + 1 literal bytes; n in -127..-1 by one
// byte to be repeated 1 - n times; -128 is a no-op.
//
// The encoder codes each row on its own, so no run crosses a row boundary.
// The decoder reads a strip as one stream all the same: writers that let
// runs cross rows exist, and reading across costs nothing.
#include "files/tiff/codec.hpp"

#include <algorithm>
#include <cstring>

namespace mvip::tiff {

namespace {

// Code one row; `out` must have room for n + n / 128 + 1 bytes (all literal
// is the worst case: a replicate run never costs more than its bytes, and a
// run of two bytes is only replicated where no literal run is open).
// Answers the end of the coded bytes.
uint8_t* pack_row_bytes(const uint8_t* in, size_t n, uint8_t* out) {
    size_t lit = 0;  // start of the open literal run
    size_t i = 0;
    auto flush_literal = [&](size_t end) {
        while (lit < end) {
            const size_t len = std::min<size_t>(end - lit, 128);
            *out++ = uint8_t(len - 1);
            std::memcpy(out, in + lit, len);
            out += len;
            lit += len;
        }
    };
    while (i < n) {
        const uint8_t b = in[i];
        const size_t limit = std::min(n, i + 128);
        size_t j = i + 1;
        while (j < limit && in[j] == b) ++j;
        const size_t run = j - i;
        // Three equal bytes always pay as a replicate run; two only when
        // they would otherwise open a literal run of their own.
        if (run >= 3 || (run == 2 && lit == i)) {
            flush_literal(i);
            *out++ = uint8_t(1 - int(run));
            *out++ = b;
            lit = j;
        } else if (j - lit >= 128) {
            // Close full literal runs as they fill; at most one byte of the
            // pair just added is left open.
            const size_t end = lit + 128;
            flush_literal(end);
        }
        i = j;
    }
    flush_literal(n);
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
