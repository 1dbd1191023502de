// The TIFF strip codecs against simple models: a plain bit-string packer,
// a PackBits decoder, an LZW decoder and encoder written the slow obvious
// way, and a decoder of the predictive arithmetic code built from its
// format description with linear count tables.  Round trips over shapes,
// widths and data kinds; edge lengths (runs of 128..130, the code-width
// steps and table clears of LZW); damaged and cut input.  Files with these
// strips are checked against libtiff in test_tiff_interop.cpp.
#include "files/tiff/codec.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace mvip::tiff;
using Bytes = std::vector<uint8_t>;

// ---- helpers -------------------------------------------------------------

// One strip through a fresh encoder.  A byte in front checks that the
// encoder appends (and that no carry reaches before the strip).
Bytes encode(uint32_t compression, const RowShape& shape, const Bytes& image, uint32_t rows) {
    auto enc = make_encoder(compression, shape);
    EXPECT_TRUE(enc);
    if (!enc) return {};
    const size_t row = enc->takes_unpacked_rows() ? shape.unpacked_bytes() : shape.packed_bytes();
    Bytes out{0xFF};
    enc->begin_strip(out);
    for (uint32_t y = 0; y < rows; ++y) enc->add_row(image.data() + y * row, out);
    enc->end_strip(out);
    EXPECT_EQ(out[0], 0xFF);
    return Bytes(out.begin() + 1, out.end());
}

int32_t decode(uint32_t compression, const RowShape& shape, uint32_t rows, const Bytes& in, Bytes& out) {
    const size_t row = compression == kCompressionArith ? shape.unpacked_bytes() : shape.packed_bytes();
    out.assign(row * rows, 0xAB);
    return decode_strip(compression, shape, rows, in.data(), in.size(), out.data(), out.size());
}

enum class Kind { random, smooth, constant, runs };

// Unpacked samples (u8 up to 8 bits, else u16) within `bits`.
Bytes make_image(Kind kind, uint32_t w, uint32_t h, uint32_t samples, uint32_t bits, uint32_t seed) {
    std::mt19937 rng(seed);
    const uint32_t max = (1u << bits) - 1;  // bits <= 16
    const size_t n = size_t(w) * h * samples;
    std::vector<uint32_t> v(n);
    size_t run = 0;
    uint32_t run_value = 0;
    for (size_t i = 0; i < n; ++i) {
        const uint32_t x = uint32_t(i / samples % w), y = uint32_t(i / samples / w), c = uint32_t(i % samples);
        switch (kind) {
            case Kind::random: v[i] = rng() & max; break;
            case Kind::constant: v[i] = (0x9Bu + c) & max; break;
            case Kind::runs:
                if (run == 0) run = 1 + rng() % 140, run_value = rng() & max;
                --run;
                v[i] = run_value;
                break;
            case Kind::smooth: {
                const double t = (x * 0.7 + y * 0.4 + c * 17) / (w + h + 60.0);
                const int noise = int(rng() % 5) - 2;
                v[i] = uint32_t(std::clamp<int64_t>(int64_t(t * max) + noise, 0, max));
                break;
            }
        }
    }
    Bytes out(n * (bits <= 8 ? 1 : 2));
    for (size_t i = 0; i < n; ++i) {
        const uint16_t s = uint16_t(v[i]);
        if (bits <= 8) out[i] = uint8_t(s);
        else std::memcpy(&out[i * 2], &s, 2);
    }
    return out;
}

Bytes random_bytes(size_t n, uint32_t seed, uint32_t alphabet = 256) {
    std::mt19937 rng(seed);
    Bytes b(n);
    for (auto& x : b) x = uint8_t(rng() % alphabet);
    return b;
}

// MSB-first bit strings.
struct BitWriter {
    Bytes bytes;
    size_t bits = 0;
    void put(uint64_t v, uint32_t width) {
        for (uint32_t k = width; k-- > 0;) {
            if (bits % 8 == 0) bytes.push_back(0);
            if ((v >> k) & 1) bytes.back() |= uint8_t(0x80 >> (bits % 8));
            ++bits;
        }
    }
};

// ---- row helpers ----------------------------------------------------------

TEST(TiffCodecRows, PackUnpackMatchBitStringAndByteOrder) {
    for (uint32_t bits = 1; bits <= 64; bits = bits == 32 ? 64 : bits + 1) {
        for (uint32_t samples = 1; samples <= 4; ++samples) {
            for (uint32_t width : {1u, 2u, 3u, 7u, 9u, 33u}) {
                for (bool big : {false, true}) {
                    const RowShape shape{width, samples, bits, big};
                    const size_t n = size_t(width) * samples;
                    const size_t each = shape.unpacked_bytes() / n;
                    const Bytes row = random_bytes(n * each, bits * 100 + width);
                    std::vector<uint64_t> v(n);
                    Bytes masked(row.size());
                    for (size_t i = 0; i < n; ++i) {
                        std::memcpy(&v[i], &row[i * each], each);  // little-endian host
                        if (bits < 64) v[i] &= (uint64_t(1) << bits) - 1;
                        std::memcpy(&masked[i * each], &v[i], each);
                    }
                    BitWriter want;
                    if (bits == 16 || bits == 32 || bits == 64) {
                        for (size_t i = 0; i < n; ++i)
                            for (size_t k = 0; k < each; ++k)
                                want.put(v[i] >> (8 * (big ? each - 1 - k : k)), 8);
                    } else if (bits == 24 && big) {  // the bytes of the little-endian form reversed
                        for (size_t i = 0; i < n; ++i)
                            for (size_t k = 0; k < 3; ++k) want.put(v[i] >> (8 * k), 8);
                    } else {
                        for (size_t i = 0; i < n; ++i) want.put(v[i], bits);
                    }
                    ASSERT_EQ(want.bytes.size(), shape.packed_bytes());
                    Bytes packed(shape.packed_bytes() + 1, 0xCD);
                    pack_row(masked.data(), shape, packed.data());
                    EXPECT_EQ(packed.back(), 0xCD);
                    packed.pop_back();
                    ASSERT_EQ(packed, want.bytes) << bits << " bits, width " << width << " x" << samples;
                    Bytes back(masked.size());
                    unpack_row(packed.data(), shape, back.data());
                    ASSERT_EQ(back, masked) << bits << " bits, width " << width << " x" << samples;
                }
            }
        }
    }
}

template <class T>
void check_differencing(uint32_t bits) {
    for (uint32_t samples = 1; samples <= 5; ++samples) {
        for (uint32_t width : {1u, 2u, 5u, 16u, 67u}) {
            const size_t n = size_t(width) * samples;
            const T mask = bits >= sizeof(T) * 8 ? T(~T(0)) : T((T(1) << bits) - 1);
            std::vector<T> row(n);
            std::mt19937 rng(width * 7 + samples);
            for (auto& x : row) x = T(rng() & mask);
            std::vector<T> want = row;
            for (size_t i = samples; i < n; ++i) want[i] = T((row[i] - row[i - samples]) & mask);
            std::vector<T> work = row;
            difference_row(work.data(), width, samples, bits);
            ASSERT_EQ(work, want) << bits << " bits x" << samples << " width " << width;
            accumulate_row(work.data(), width, samples, bits);
            ASSERT_EQ(work, row) << bits << " bits x" << samples << " width " << width;
        }
    }
}

TEST(TiffCodecRows, DifferencingWrapsWithinTheSample) {
    check_differencing<uint8_t>(8);
    check_differencing<uint8_t>(4);
    check_differencing<uint16_t>(16);
    check_differencing<uint16_t>(12);
    check_differencing<uint32_t>(32);
    check_differencing<uint32_t>(24);
}

// ---- PackBits -------------------------------------------------------------

Bytes ref_unpackbits(const Bytes& in) {
    Bytes out;
    for (size_t i = 0; i < in.size();) {
        const int c = int8_t(in[i++]);
        if (c >= 0) {
            for (int k = 0; k <= c && i < in.size(); ++k) out.push_back(in[i++]);
        } else if (c != -128 && i < in.size()) {
            out.insert(out.end(), size_t(1 - c), in[i++]);
        }
    }
    return out;
}

TEST(TiffCodecPackBits, KnownRowsRoundTripsAndDecoderEdges) {
    const Bytes x128(128, 7);
    Bytes d128(128);
    for (size_t i = 0; i < 128; ++i) d128[i] = uint8_t(i * 3 + 1);
    auto cat = [](std::initializer_list<Bytes> parts) {
        Bytes b;
        for (auto& p : parts) b.insert(b.end(), p.begin(), p.end());
        return b;
    };
    const struct {
        Bytes row, coded;
    } known[] = {
        {{5}, {0, 5}},
        {{5, 5, 5}, {0xFE, 5}},
        {{1, 2, 2, 2, 3}, {0, 1, 0xFE, 2, 0, 3}},
        {{1, 2, 2, 3}, {3, 1, 2, 2, 3}},  // a pair inside literals stays literal
        {x128, {0x81, 7}},
        {cat({x128, {7}}), {0x81, 7, 0, 7}},
        {cat({x128, {7, 7}}), {0x81, 7, 0xFF, 7}},
        {cat({x128, {7, 7, 7}}), {0x81, 7, 0xFE, 7}},
        {d128, cat({{127}, d128})},
        {cat({d128, {9}}), cat({{127}, d128, {0, 9}})},
    };
    for (const auto& c : known) EXPECT_EQ(encode(kCompressionPackBits, {uint32_t(c.row.size()), 1, 8}, c.row, 1), c.coded);

    // Every row is coded alone: the strip is the concatenation of its rows
    // coded one by one, and no literal holds three equal bytes in a row.
    for (uint32_t width = 0; width <= 300; width += width < 20 ? 1 : 7)
        for (Kind kind : {Kind::random, Kind::runs, Kind::constant}) {
            const RowShape shape{width, 1, 8};
            const Bytes image = make_image(kind, width, 5, 1, 8, width);
            const Bytes coded = encode(kCompressionPackBits, shape, image, 5);
            EXPECT_EQ(ref_unpackbits(coded), image);
            Bytes out, joined;
            ASSERT_EQ(decode(kCompressionPackBits, shape, 5, coded, out), 0);
            ASSERT_EQ(out, image);
            for (uint32_t y = 0; y < 5; ++y) {
                const Bytes c = encode(kCompressionPackBits, shape, Bytes(image.begin() + y * width, image.begin() + (y + 1) * width), 1);
                joined.insert(joined.end(), c.begin(), c.end());
            }
            EXPECT_EQ(joined, coded);
            for (size_t i = 0; i < coded.size();) {
                const int c = int8_t(coded[i++]);
                if (c < 0) { ++i; continue; }
                for (int k = 2; k <= c; ++k)
                    ASSERT_FALSE(coded[i + k] == coded[i + k - 1] && coded[i + k] == coded[i + k - 2]);
                i += size_t(c) + 1;
            }
        }

    // The decoder skips no-ops (-128), cuts runs at the strip's end, and
    // flags input that ends early (the rest of the strip zero).
    const struct {
        uint32_t rows;
        Bytes in, out;
        int32_t rc;
    } edges[] = {{2, {0x80, 0xFD, 9, 0x80, 0x03, 1, 2, 3, 4}, {9, 9, 9, 9, 1, 2, 3, 4}, 0},
                 {1, {0x81, 6}, {6, 6, 6, 6}, 0},
                 {1, {0x03, 1, 2}, {1, 2, 0, 0}, -10},
                 {1, {0xFE}, {0, 0, 0, 0}, -10}};
    for (const auto& e : edges) {
        Bytes out;
        EXPECT_EQ(decode(kCompressionPackBits, {4, 1, 8}, e.rows, e.in, out), e.rc);
        EXPECT_EQ(out, e.out);
    }
}

// ---- LZW ------------------------------------------------------------------

struct RefLzw {
    Bytes out;
    bool ok = false;          // ended on the end code with only padding after
    uint32_t end_width = 0;   // width the end code was read at
    bool clear_before_end = false;
};

// The decoder as the format tells it: a table of strings, widths stepping up
// when the next code to be assigned reaches 511, 1023 and 2047.
RefLzw ref_lzw_decode(const Bytes& in) {
    RefLzw r;
    std::vector<Bytes> table;
    auto reset = [&] {
        table.assign(258, {});
        for (int i = 0; i < 256; ++i) table[size_t(i)] = {uint8_t(i)};
    };
    reset();
    size_t pos = 0;
    Bytes old;
    bool last_clear = false;
    for (;;) {
        const size_t next = table.size();
        const uint32_t width = next >= 2047 ? 12 : next >= 1023 ? 11 : next >= 511 ? 10 : 9;
        if (pos + width > in.size() * 8) return r;
        uint32_t code = 0;
        for (uint32_t k = 0; k < width; ++k, ++pos) code = code << 1 | ((in[pos / 8] >> (7 - pos % 8)) & 1);
        if (code == 257) {
            r.ok = (in.size() * 8 - pos) < 8;
            r.end_width = width;
            r.clear_before_end = last_clear;
            return r;
        }
        last_clear = code == 256;
        if (code == 256) {
            reset();
            old.clear();
            continue;
        }
        Bytes s;
        if (code < table.size() && code != 256 && code != 257) s = table[code];
        else if (code == table.size() && !old.empty()) s = old, s.push_back(old[0]);
        else return r;
        r.out.insert(r.out.end(), s.begin(), s.end());
        if (!old.empty() && table.size() < 4096) table.push_back(old), table.back().push_back(s[0]);
        old = s;
    }
}

// The encoder with a map for its table.
Bytes ref_lzw_encode(const Bytes& data) {
    BitWriter w;
    std::map<std::pair<uint32_t, uint8_t>, uint32_t> dict;
    uint32_t next = 258, width = 9;
    auto added = [&] {
        if (++next == 4094) {
            w.put(256, width);
            dict.clear();
            next = 258, width = 9;
        } else if (next == 512 || next == 1024 || next == 2048) {
            ++width;
        }
    };
    w.put(256, 9);
    int64_t cur = -1;
    for (uint8_t b : data) {
        if (cur < 0) { cur = b; continue; }
        auto it = dict.find({uint32_t(cur), b});
        if (it != dict.end()) { cur = it->second; continue; }
        w.put(uint64_t(cur), width);
        dict[{uint32_t(cur), b}] = next;
        added();
        cur = b;
    }
    if (cur >= 0) w.put(uint64_t(cur), width), added();
    w.put(257, width);
    return w.bytes;
}

void check_lzw(const Bytes& data, uint32_t width, std::set<uint32_t>* end_widths = nullptr,
               bool* clear_end = nullptr) {
    const uint32_t rows = width == 0 ? 0 : uint32_t(data.size() / width);
    const RowShape shape{width, 1, 8};
    const Bytes coded = encode(kCompressionLzw, shape, data, rows);
    ASSERT_EQ(coded, ref_lzw_encode(data)) << data.size();
    const RefLzw ref = ref_lzw_decode(coded);
    ASSERT_TRUE(ref.ok) << data.size();
    ASSERT_EQ(ref.out, data) << data.size();
    if (end_widths) end_widths->insert(ref.end_width);
    if (clear_end && ref.clear_before_end) *clear_end = true;
    Bytes out;
    ASSERT_EQ(decode(kCompressionLzw, shape, rows, coded, out), 0) << data.size();
    ASSERT_EQ(out, data) << data.size();
}

// Bytes in which no pair repeats, so no string ever grows past one byte:
// a prefix of n bytes codes as exactly n codes.
Bytes distinct_pairs() {
    Bytes s;
    for (uint32_t i = 0; i < 256; ++i) {
        s.push_back(uint8_t(i));
        for (uint32_t j = i + 1; j < 256; ++j) s.push_back(uint8_t(i)), s.push_back(uint8_t(j));
    }
    return s;
}

TEST(TiffCodecLzw, MatchesReferenceAtEveryWidthStepAndClear) {
    // After n codes the end code goes out with 258 + n as the next code:
    // around 512, 1024 and 2048 it changes width, at 4094 a clear comes
    // first.
    const Bytes pairs = distinct_pairs();
    std::set<uint32_t> end_widths;
    bool clear_end = false;
    for (size_t n : {253, 254, 255, 765, 766, 767, 1789, 1790, 1791, 3835, 3836, 3837, 7671, 7672, 7673, 30000})
        check_lzw(Bytes(pairs.begin(), pairs.begin() + ptrdiff_t(n)), uint32_t(n), &end_widths, &clear_end);
    EXPECT_EQ(end_widths, (std::set<uint32_t>{9, 10, 11, 12}));
    EXPECT_TRUE(clear_end);
    // Every short length of data whose strings do grow; images fed row by
    // row; strings hundreds of bytes long.
    const Bytes data = random_bytes(700, 3, 6);
    for (size_t len = 0; len <= data.size(); ++len)
        check_lzw(Bytes(data.begin(), data.begin() + ptrdiff_t(len)), uint32_t(len));
    for (Kind kind : {Kind::random, Kind::smooth, Kind::constant, Kind::runs})
        for (uint32_t width : {1u, 7u, 300u, 2000u}) check_lzw(make_image(kind, width, 60, 1, 8, width), width);
    check_lzw(Bytes(200000, 0x55), 1000);
}

TEST(TiffCodecLzw, DecoderHandlesEdgeStreams) {
    const struct {
        const char* what;
        std::vector<uint32_t> codes;  // 9 bits each
        Bytes out;
        int32_t rc;
    } cases[] = {
        {"a code defined by its own use", {256, 'a', 258, 257}, {'a', 'a', 'a'}, 0},
        {"no clear, no end code, strip full", {'x', 'y', 'z'}, {'x', 'y', 'z'}, 0},
        {"a code past the next free one", {256, 'a', 259, 257}, {'a', 0, 0}, -10},
        {"a string code right after a clear", {256, 258}, {0, 0, 0}, -10},
        {"the end code too early", {256, 'a', 257}, {'a', 0, 0}, -10},
        {"the codes end too early", {256, 'a', 'b'}, {'a', 'b', 0}, -10},
        {"nothing", {}, {0, 0, 0}, -10},
    };
    for (const auto& c : cases) {
        BitWriter w;
        for (uint32_t code : c.codes) w.put(code, 9);
        Bytes out;
        EXPECT_EQ(decode(kCompressionLzw, {3, 1, 8}, 1, w.bytes, out), c.rc) << c.what;
        EXPECT_EQ(out, c.out) << c.what;
    }
}

// ---- damaged input for every decoder --------------------------------------

TEST(TiffCodecAll, DamagedAndCutStripsNeverOverrun) {
    const struct {
        uint32_t compression;
        RowShape shape;
    } codecs[] = {{kCompressionLzw, {37, 1, 8}}, {kCompressionPackBits, {37, 1, 8}},
                  {kCompressionArith, {37, 3, 8}}, {kCompressionArith, {37, 1, 12}}};
    std::mt19937 rng(99);
    for (const auto& c : codecs) {
        const uint32_t rows = 9;
        const uint32_t samples = c.shape.samples, bits = c.shape.bits;
        const Bytes image = make_image(Kind::smooth, 37, rows, samples, bits, 5);
        Bytes packed = image;
        if (c.compression != kCompressionArith) {
            packed.assign(c.shape.packed_bytes() * rows, 0);
            for (uint32_t y = 0; y < rows; ++y)
                pack_row(&image[y * c.shape.unpacked_bytes()], c.shape, &packed[y * c.shape.packed_bytes()]);
        }
        const Bytes coded = encode(c.compression, c.shape, packed, rows);
        Bytes out;
        ASSERT_EQ(decode(c.compression, c.shape, rows, coded, out), 0);
        ASSERT_EQ(out, packed);
        // Every cut is noticed, except that LZW may lose the bytes that
        // hold nothing but its end code.
        for (size_t len = 0; len < coded.size(); ++len) {
            const Bytes cut(coded.begin(), coded.begin() + len);
            const int32_t rc = decode(c.compression, c.shape, rows, cut, out);
            if (c.compression == kCompressionLzw && len + 2 >= coded.size() && rc == 0) {
                ASSERT_EQ(out, packed);
                continue;
            }
            ASSERT_EQ(rc, -10) << c.compression << " cut " << len;
        }
        // Mutations: either answer, never a stray access (the sanitizer
        // build watches the exact-size vectors).
        for (int round = 0; round < 3000; ++round) {
            Bytes bad = coded;
            for (int k = 1 + int(rng() % 4); k > 0; --k) bad[rng() % bad.size()] ^= uint8_t(1u << (rng() % 8));
            if (rng() % 4 == 0) bad.resize(rng() % bad.size());
            const int32_t rc = decode(c.compression, c.shape, rows, bad, out);
            ASSERT_TRUE(rc == 0 || rc == -10);
        }
        for (int round = 0; round < 200; ++round) {
            const Bytes noise = random_bytes(rng() % 400, uint32_t(round));
            const int32_t rc = decode(c.compression, c.shape, rows, noise, out);
            ASSERT_TRUE(rc == 0 || rc == -10);
        }
    }
}

TEST(TiffCodecAll, DispatchAndSizes) {
    const RowShape shape{5, 1, 8};
    Bytes out;
    EXPECT_EQ(decode(kCompressionNone, shape, 2, Bytes(10, 4), out), 0);
    EXPECT_EQ(decode(kCompressionNone, shape, 2, Bytes(7, 4), out), -10);
    EXPECT_EQ(out, (Bytes{4, 4, 4, 4, 4, 4, 4, 0, 0, 0}));
    EXPECT_EQ(decode(7, shape, 2, Bytes(10, 4), out), -11);
    EXPECT_EQ(decode(kCompressionArith, {5, 1, 13}, 2, Bytes(10, 4), out), -11);
    uint8_t small[9];
    EXPECT_EQ(decode_strip(kCompressionNone, shape, 2, out.data(), 10, small, 9), -10);
    EXPECT_FALSE(make_encoder(kCompressionNone, shape));
    EXPECT_FALSE(make_encoder(kCompressionArith, {0, 1, 8}));
    EXPECT_FALSE(make_encoder(kCompressionArith, {4, 5, 8}));
    EXPECT_FALSE(make_encoder(kCompressionArith, {4, 1, 16}));
    // 517 is LZW on rows differenced by the caller.
    const Bytes data = random_bytes(50, 8, 4);
    EXPECT_EQ(encode(kCompressionLzwPredictor, {10, 1, 8}, data, 5), encode(kCompressionLzw, {10, 1, 8}, data, 5));
    EXPECT_EQ(decode(kCompressionLzwPredictor, {10, 1, 8}, 5, encode(kCompressionLzw, {10, 1, 8}, data, 5), out), 0);
    EXPECT_EQ(out, data);
}

// ---- predictive arithmetic code ------------------------------------------

// A decoder of the coded form built from its description alone: linear
// count tables, integer division, bytes past the end read as zero.
Bytes ref_arith_decode(const RowShape& s, uint32_t rows, const Bytes& in) {
    const uint32_t size = 1u << s.bits, mask = size - 1, half = size / 2;
    std::vector<std::vector<uint32_t>> counts(s.samples, std::vector<uint32_t>(size, 1));
    size_t ip = 0;
    auto byte = [&]() -> uint32_t { return ip < in.size() ? in[ip++] : (ip++, 0u); };
    uint32_t code = 0, range = 0xFFFFFFFF;
    for (int i = 0; i < 4; ++i) code = code << 8 | byte();
    const size_t n = size_t(s.width) * s.samples;
    std::vector<int32_t> v(n * rows);
    for (size_t i = 0; i < v.size(); ++i) {
        auto& cnt = counts[i % s.samples];
        uint32_t total = 0;
        for (uint32_t c : cnt) total += c;
        const uint32_t r = range / total, target = std::min(code / r, total - 1);
        uint32_t sym = 0, cum = 0;
        while (cum + cnt[sym] <= target) cum += cnt[sym++];
        code -= r * cum;
        range = r * cnt[sym];
        while (range < (1u << 24)) code = code << 8 | byte(), range <<= 8;
        cnt[sym] += 24;
        if (total + 24 >= 16384)
            for (auto& c : cnt) c = (c + 1) / 2;
        const size_t x = i % n / s.samples, y = i / n;
        int32_t p = int32_t(half);
        if (x > 0 && y == 0) p = v[i - s.samples];
        if (x > 0 && y > 0) p = (9 * (v[i - n] + v[i - s.samples]) - 8 * v[i - n - s.samples] + 5) / 10;
        v[i] = int32_t((sym + uint32_t(p)) & mask);
    }
    EXPECT_EQ(ip, in.size() + 3);
    Bytes out(v.size() * (s.bits <= 8 ? 1 : 2));
    for (size_t i = 0; i < v.size(); ++i) {
        if (s.bits <= 8) out[i] = uint8_t(v[i]);
        else { const uint16_t x = uint16_t(v[i]); std::memcpy(&out[i * 2], &x, 2); }
    }
    return out;
}

TEST(TiffCodecArith, RoundTripsEveryDepthAndSampleCount) {
    for (uint32_t bits = 1; bits <= 12; ++bits) {
        for (uint32_t samples = 1; samples <= 4; ++samples) {
            for (uint32_t width = 1; width <= 70; width += width < 4 ? 1 : 11) {
                for (Kind kind : {Kind::random, Kind::smooth}) {
                    const RowShape shape{width, samples, bits};
                    const uint32_t rows = 1 + width % 4;
                    const Bytes image = make_image(kind, width, rows, samples, bits, bits * 1000 + width);
                    const Bytes coded = encode(kCompressionArith, shape, image, rows);
                    Bytes out;
                    ASSERT_EQ(decode(kCompressionArith, shape, rows, coded, out), 0);
                    ASSERT_EQ(out, image) << bits << " bits x" << samples << " width " << width;
                    if (width < 30) {
                        ASSERT_EQ(ref_arith_decode(shape, rows, coded), image);
                    }
                }
            }
        }
    }
}

TEST(TiffCodecArith, LargerImagesMatchTheReferenceAndRestartPerStrip) {
    for (uint32_t bits : {8u, 12u}) {
        const RowShape shape{200, 3, bits};
        const uint32_t rows = 40;
        const Bytes image = make_image(Kind::smooth, 200, rows, 3, bits, bits);
        const Bytes coded = encode(kCompressionArith, shape, image, rows);
        EXPECT_EQ(ref_arith_decode(shape, rows, coded), image);
        // A second strip from the same encoder codes the same.
        auto enc = make_encoder(kCompressionArith, shape);
        Bytes twice;
        for (int strip = 0; strip < 2; ++strip) {
            enc->begin_strip(twice);
            for (uint32_t y = 0; y < rows; ++y) enc->add_row(&image[y * shape.unpacked_bytes()], twice);
            enc->end_strip(twice);
        }
        ASSERT_EQ(twice.size(), coded.size() * 2);
        EXPECT_TRUE(std::equal(coded.begin(), coded.end(), twice.begin() + coded.size()));
    }
    // The models adapt: a flat image costs almost nothing, a smooth one
    // well under LZW's size.
    const RowShape shape{256, 1, 8};
    const Bytes flat = make_image(Kind::constant, 256, 256, 1, 8, 1), smooth = make_image(Kind::smooth, 256, 256, 1, 8, 2);
    EXPECT_LT(encode(kCompressionArith, shape, flat, 256).size(), flat.size() / 100);
    EXPECT_LT(encode(kCompressionArith, shape, smooth, 256).size() * 3, encode(kCompressionLzw, shape, smooth, 256).size() * 2);
}

}  // namespace
