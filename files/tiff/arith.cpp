// Compression 32885: the library's lossless predictive code.  Each sample
// is predicted from its coded neighbours and the residual is coded with an
// adaptive arithmetic (range) coder, one model per sample of the pixel.
//
// Samples: 1..12 bits, 1..4 per pixel, pixels interleaved; rows reach the
// coder unpacked (a uint8 per sample up to 8 bits, else a uint16).
//
// Prediction, per sample, with L the same sample of the pixel to the left,
// A the one above and C the one above-left, and half = 2^(bits-1):
//   first pixel of every row:        P = half
//   rest of the first row of a strip: P = L
//   rest of later rows:               P = (9 * (A + L) - 8 * C + 5) / 10,
//                                     in 32-bit integers, dividing towards 0
// The coded symbol is r = (value - P) mod 2^bits; decoding gives
// value = (r + P) mod 2^bits.
//
// Model, per sample: a count for each of the 2^bits symbols, all 1 at the
// start of a strip; after a symbol is coded its count grows by 24, and when
// the total reaches 16384 every count c becomes (c + 1) / 2.  Symbol s
// covers [cum(s), cum(s) + count(s)) of the total, cum(s) being the sum of
// the counts of the symbols below s.
//
// Range coder, 32 bits, bytes most significant first.  Encoder: low = 0
// (kept with one bit more for the carry), range = 2^32 - 1.  To code s:
// r = floor(range / total), low += r * cum(s), range = r * count(s); a
// carry out of low's 32 bits is added into the bytes already written; then,
// while range < 2^24, the top byte of low is written and low and range are
// shifted 8 bits up (low modulo 2^32).  At the end of a strip low is
// rounded up to a multiple of 2^24 (a carry again going into the written
// bytes) and its top byte is written: one byte.  Decoder: code = the first
// 4 bytes, range = 2^32 - 1, bytes past the end of the strip read as 0.
// For each symbol: r = floor(range / total), v = min(floor(code / r),
// total - 1), s the symbol with cum(s) <= v < cum(s) + count(s); then
// code -= r * cum(s), range = r * count(s), and while range < 2^24:
// code = (code * 256 + next byte) mod 2^32, range *= 256.
//
// A whole strip leaves the decoder exactly 3 bytes past its end when the
// last symbol is done; a decoder that reads further knows the strip was
// cut and answers -10 (the values are decoded all the same).  Other damage
// decodes to some values without harm: no division by zero (r >= 2^10) and
// no reads outside the strip.
#include "files/tiff/codec.hpp"

#include <algorithm>
#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace mvip::tiff {

namespace {

constexpr uint32_t kIncrement = 24;
constexpr uint32_t kLimit = 16384;
constexpr uint32_t kTop = 1u << 24;

// Adaptive counts of 2^bits symbols, kept as a tree of 16-way nodes so
// that every step is a fixed operation on 16 values (two SSE2 registers):
// one level for up to 16 symbols, two up to 256, three for 4096.  Each
// node holds, for each child, the sum of the counts of the children before
// it; entries past a node's last child hold kPad, above any real sum.  The
// cum of a symbol is one entry per level.  Finding the symbol of a value
// picks, level by level, the last entry not above it (the entries rise, so
// the ones above it form a tail).  Coding a symbol adds the increment to
// the entries after its child, level by level.
class Model {
public:
    void reset(uint32_t bits) {
        size_ = 1u << bits;
        levels_ = (bits + 3) / 4;
        count_.assign(size_, 1);
        for (uint32_t l = 0; l < levels_; ++l) {
            shift_[l] = 4 * (levels_ - 1 - l);
            const uint32_t children = size_ >> shift_[l];
            lanes_[l] = std::min<uint32_t>(children, 16);
            level_[l].assign(std::max<uint32_t>(children, 16), kPad);
        }
        rebuild();
    }

    uint32_t total() const { return total_; }
    uint32_t count(uint32_t s) const { return count_[s]; }

    // range / total, exact, by a multiplication with 2^32 / total (rounded
    // down, so the product is at most one short) and one correction.  The
    // reciprocal is ready before the coder needs it, so no division waits
    // on the range.
    uint32_t share(uint32_t range) const {
        uint32_t r = uint32_t((uint64_t(range) * inverse_) >> 32);
        r += range - r * total_ >= total_;
        return r;
    }

    // Sum of the counts of the symbols below s.
    uint32_t cum(uint32_t s) const {
        uint32_t sum = 0;
        for (uint32_t l = 0; l < levels_; ++l) sum += level_[l][s >> shift_[l]];
        return sum;
    }

    // The symbol whose interval holds v (< total); its cum goes to `low`.
    uint32_t find(uint32_t v, uint32_t& low) const {
        uint32_t pos = 0;
        uint32_t rest = v;
        for (uint32_t l = 0; l < levels_; ++l) {
            const uint16_t* e = level_[l].data() + pos * 16;
            const uint32_t child = last_not_above(e, rest);
            rest -= e[child];
            pos = pos * 16 + child;
        }
        low = v - rest;
        return pos;
    }

    void update(uint32_t s) {
        count_[s] = uint16_t(count_[s] + kIncrement);
        for (uint32_t l = 0; l < levels_; ++l) {
            const uint32_t at = s >> shift_[l];
            add_after(level_[l].data() + (at & ~15u), at & 15u, lanes_[l]);
        }
        total_ += kIncrement;
        if (total_ >= kLimit) rebuild(true);
        else inverse_ = uint32_t((uint64_t(1) << 32) / total_);
    }

private:
    // Above every sum (< kLimit + kIncrement) and a positive int16, which
    // the signed 16-bit compares of SSE2 need.
    static constexpr uint16_t kPad = 0x7FFF;

#if defined(__SSE2__)
    static uint32_t last_not_above(const uint16_t* e, uint32_t v) {
        const __m128i r = _mm_set1_epi16(int16_t(v));
        const __m128i a = _mm_cmpgt_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(e)), r);
        const __m128i b = _mm_cmpgt_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(e + 8)), r);
        const uint32_t above = uint32_t(_mm_movemask_epi8(_mm_packs_epi16(a, b)));
        return uint32_t(__builtin_ctz(above | 0x10000u)) - 1;  // e[0] = 0 is never above
    }

    static void add_after(uint16_t* e, uint32_t child, uint32_t lanes) {
        const __m128i lo = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
        const __m128i hi = _mm_setr_epi16(8, 9, 10, 11, 12, 13, 14, 15);
        const __m128i c = _mm_set1_epi16(int16_t(child));
        const __m128i n = _mm_set1_epi16(int16_t(lanes));
        const __m128i inc = _mm_set1_epi16(int16_t(kIncrement));
        auto* p = reinterpret_cast<__m128i*>(e);
        const __m128i ma = _mm_and_si128(_mm_cmpgt_epi16(lo, c), _mm_cmpgt_epi16(n, lo));
        const __m128i mb = _mm_and_si128(_mm_cmpgt_epi16(hi, c), _mm_cmpgt_epi16(n, hi));
        _mm_storeu_si128(p, _mm_add_epi16(_mm_loadu_si128(p), _mm_and_si128(ma, inc)));
        _mm_storeu_si128(p + 1, _mm_add_epi16(_mm_loadu_si128(p + 1), _mm_and_si128(mb, inc)));
    }
#else
    static uint32_t last_not_above(const uint16_t* e, uint32_t v) {
        uint32_t below = 0;
        for (uint32_t i = 0; i < 16; ++i) below += e[i] <= v;
        return below - 1;
    }

    static void add_after(uint16_t* e, uint32_t child, uint32_t lanes) {
        for (uint32_t i = child + 1; i < lanes; ++i) e[i] = uint16_t(e[i] + kIncrement);
    }
#endif

    // Fill the levels from the counts, halving them first if asked: each
    // level's node sums become the next level's children, leaves first.
    void rebuild(bool halve = false) {
        uint32_t sums[256];  // node sums of the level just filled
        uint32_t nodes = 0;
        {
            uint16_t* e = level_[levels_ - 1].data();
            const uint32_t lanes = lanes_[levels_ - 1];
            for (uint32_t base = 0; base < size_; base += 16, ++nodes) {
                uint32_t run = 0;
                for (uint32_t k = 0; k < lanes; ++k) {
                    uint32_t c = count_[base + k];
                    if (halve) count_[base + k] = uint16_t(c = (c + 1) / 2);
                    e[base + k] = uint16_t(run);
                    run += c;
                }
                sums[nodes] = run;
            }
        }
        for (uint32_t l = levels_ - 1; l-- > 0;) {
            uint16_t* e = level_[l].data();
            const uint32_t children = nodes;
            nodes = 0;
            for (uint32_t base = 0; base < children; base += 16, ++nodes) {
                uint32_t run = 0;
                for (uint32_t k = 0; k < lanes_[l]; ++k) {
                    e[base + k] = uint16_t(run);
                    run += sums[base + k];
                }
                sums[nodes] = run;
            }
        }
        total_ = sums[0];
        inverse_ = uint32_t((uint64_t(1) << 32) / total_);
    }

    uint32_t size_ = 0;
    uint32_t levels_ = 0;
    uint32_t total_ = 0;
    uint32_t inverse_ = 0;  // 2^32 / total_, rounded down (total_ >= 2)
    uint32_t shift_[3] = {};
    uint32_t lanes_[3] = {};  // children of a node at each level
    std::vector<uint16_t> count_;
    std::vector<uint16_t> level_[3];  // root first
};

class RangeEncoder {
public:
    void begin(std::vector<uint8_t>& out) {
        out_ = &out;
        start_ = out.size();
        low_ = 0;
        range_ = 0xFFFFFFFFu;
    }

    void code(Model& m, uint32_t s) {
        const uint32_t r = m.share(range_);
        low_ += uint64_t(r) * m.cum(s);
        range_ = r * m.count(s);
        if (low_ >> 32) carry();
        while (range_ < kTop) {
            out_->push_back(uint8_t(low_ >> 24));
            low_ = (low_ << 8) & 0xFFFFFFFFu;
            range_ <<= 8;
        }
        m.update(s);
    }

    void finish() {
        // Any value in [low, low + range) ends the strip; the one with 24
        // zero bits below the top byte needs that byte only.
        low_ = (low_ + kTop - 1) & ~uint64_t(kTop - 1);
        if (low_ >> 32) carry();
        out_->push_back(uint8_t(low_ >> 24));
    }

private:
    // The coded number stays below 1, so a carry stops within the strip.
    void carry() {
        low_ &= 0xFFFFFFFFu;
        std::vector<uint8_t>& o = *out_;
        for (size_t i = o.size(); i > start_;) {
            if (++o[--i] != 0) break;
        }
    }

    std::vector<uint8_t>* out_ = nullptr;
    size_t start_ = 0;
    uint64_t low_ = 0;
    uint32_t range_ = 0xFFFFFFFFu;
};

class RangeDecoder {
public:
    RangeDecoder(const uint8_t* in, size_t n) : p_(in), end_(in + n) {
        for (int i = 0; i < 4; ++i) code_ = (code_ << 8) | byte();
    }

    uint32_t decode(Model& m) {
        const uint32_t total = m.total();
        const uint32_t r = m.share(range_);
        const uint32_t v = std::min(code_ / r, total - 1);
        uint32_t low;
        const uint32_t s = m.find(v, low);
        code_ -= r * low;
        range_ = r * m.count(s);
        while (range_ < kTop) {
            code_ = (code_ << 8) | byte();
            range_ <<= 8;
        }
        m.update(s);
        return s;
    }

    // True when the decoder read more than the 3 bytes past the end that a
    // whole strip asks for.
    bool ran_out() const { return past_ > 3; }

private:
    uint32_t byte() {
        if (p_ < end_) return *p_++;
        ++past_;
        return 0;
    }

    const uint8_t* p_;
    const uint8_t* end_;
    size_t past_ = 0;
    uint32_t code_ = 0;
    uint32_t range_ = 0xFFFFFFFFu;
};

inline int32_t predict(int32_t a, int32_t l, int32_t c) { return (9 * (a + l) - 8 * c + 5) / 10; }

// Code one row (above is null on the first row of a strip).
void encode_row(const uint16_t* cur, const uint16_t* above, uint32_t width, uint32_t samples, uint32_t bits,
                Model* models, RangeEncoder& rc) {
    const int32_t mask = int32_t((1u << bits) - 1);
    const int32_t half = int32_t(1u << (bits - 1));
    for (uint32_t c = 0; c < samples; ++c) rc.code(models[c], uint32_t((cur[c] - half) & mask));
    const size_t n = size_t(width) * samples;
    if (above == nullptr) {
        for (size_t i = samples; i < n; ++i)
            rc.code(models[i % samples], uint32_t((int32_t(cur[i]) - cur[i - samples]) & mask));
        return;
    }
    for (size_t i = samples, c = 0; i < n; ++i) {
        const int32_t p = predict(above[i], cur[i - samples], above[i - samples]);
        rc.code(models[c], uint32_t((cur[i] - p) & mask));
        if (++c == samples) c = 0;
    }
}

void decode_row(uint16_t* cur, const uint16_t* above, uint32_t width, uint32_t samples, uint32_t bits, Model* models,
                RangeDecoder& rc) {
    const int32_t mask = int32_t((1u << bits) - 1);
    const int32_t half = int32_t(1u << (bits - 1));
    for (uint32_t c = 0; c < samples; ++c) cur[c] = uint16_t((int32_t(rc.decode(models[c])) + half) & mask);
    const size_t n = size_t(width) * samples;
    if (above == nullptr) {
        for (size_t i = samples; i < n; ++i)
            cur[i] = uint16_t((int32_t(rc.decode(models[i % samples])) + cur[i - samples]) & mask);
        return;
    }
    for (size_t i = samples, c = 0; i < n; ++i) {
        const int32_t p = predict(above[i], cur[i - samples], above[i - samples]);
        cur[i] = uint16_t((int32_t(rc.decode(models[c])) + p) & mask);
        if (++c == samples) c = 0;
    }
}

bool shape_fits(const RowShape& s) {
    return s.bits >= 1 && s.bits <= 12 && s.samples >= 1 && s.samples <= 4 && s.width >= 1;
}

class ArithEncoder final : public Encoder {
public:
    explicit ArithEncoder(const RowShape& shape) : shape_(shape), models_(shape.samples) {
        const size_t n = size_t(shape.width) * shape.samples;
        cur_.resize(n);
        above_.resize(n);
    }

    bool takes_unpacked_rows() const override { return true; }

    void begin_strip(std::vector<uint8_t>& out) override {
        for (auto& m : models_) m.reset(shape_.bits);
        first_row_ = true;
        rc_.begin(out);
    }

    void add_row(const uint8_t* row, std::vector<uint8_t>&) override {
        // Rows are copied into aligned uint16 buffers (the caller's may not
        // be aligned); one element type keeps the coding loops single.
        // Stray bits above `bits` are dropped here, as the decoder cannot
        // make them.
        const size_t n = cur_.size();
        const uint16_t mask = uint16_t((1u << shape_.bits) - 1);
        if (shape_.bits <= 8) {
            for (size_t i = 0; i < n; ++i) cur_[i] = row[i] & mask;
        } else {
            std::memcpy(cur_.data(), row, n * 2);
            for (size_t i = 0; i < n; ++i) cur_[i] &= mask;
        }
        encode_row(cur_.data(), first_row_ ? nullptr : above_.data(), shape_.width, shape_.samples, shape_.bits,
                   models_.data(), rc_);
        cur_.swap(above_);
        first_row_ = false;
    }

    void end_strip(std::vector<uint8_t>&) override { rc_.finish(); }

private:
    RowShape shape_;
    std::vector<Model> models_;
    std::vector<uint16_t> cur_, above_;
    bool first_row_ = true;
    RangeEncoder rc_;
};

}  // namespace

std::unique_ptr<Encoder> make_arith_encoder(const RowShape& shape) {
    if (!shape_fits(shape)) return nullptr;
    return std::make_unique<ArithEncoder>(shape);
}

// Decode `rows` rows into out[0, rows * unpacked_bytes).  -11 for a shape
// the code does not take; -10 when the strip is cut short (the values are
// decoded all the same, from zeros past the end); -2 when memory for the
// row buffers is lacking.
int32_t decode_arith(const RowShape& shape, uint32_t rows, const uint8_t* in, size_t n, uint8_t* out) {
    if (!shape_fits(shape)) return -11;
    const size_t count = size_t(shape.width) * shape.samples;
    std::vector<uint16_t> cur, above;
    std::vector<Model> models;
    try {
        cur.resize(count);
        above.resize(count);
        models.resize(shape.samples);
        for (auto& m : models) m.reset(shape.bits);
    } catch (const std::bad_alloc&) {
        return -2;
    }
    RangeDecoder rc(in, n);
    for (uint32_t y = 0; y < rows; ++y) {
        decode_row(cur.data(), y == 0 ? nullptr : above.data(), shape.width, shape.samples, shape.bits,
                   models.data(), rc);
        if (shape.bits <= 8) {
            uint8_t* o = out + size_t(y) * count;
            for (size_t i = 0; i < count; ++i) o[i] = uint8_t(cur[i]);
        } else {
            std::memcpy(out + size_t(y) * count * 2, cur.data(), count * 2);
        }
        cur.swap(above);
    }
    return rc.ran_out() ? -10 : 0;
}

}  // namespace mvip::tiff
