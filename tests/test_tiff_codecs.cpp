// The TIFF strip codecs against simple models: a plain bit-string packer,
// a PackBits decoder, an LZW decoder and encoder written the slow obvious
// way, and a decoder of the predictive arithmetic code built from its
// format description with linear count tables.  Round trips over shapes,
// widths and data kinds; edge lengths (runs of 128..130, the code-width
// steps and table clears of LZW); damaged and cut input.
#include "files/tiff/codec.hpp"
#include "test_util.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
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

TEST(TiffCodecPackBits, KnownRowsCodeAsExpected) {
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
    } cases[] = {
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
    for (const auto& c : cases) {
        const RowShape shape{uint32_t(c.row.size()), 1, 8};
        EXPECT_EQ(encode(kCompressionPackBits, shape, c.row, 1), c.coded) << c.row.size();
    }
}

TEST(TiffCodecPackBits, RoundTripsAndCodesEveryRowAlone) {
    for (uint32_t width = 0; width <= 300; width += width < 20 ? 1 : 7) {
        for (Kind kind : {Kind::random, Kind::runs, Kind::constant}) {
            const RowShape shape{width, 1, 8};
            const uint32_t rows = 5;
            const Bytes image = make_image(kind, width, rows, 1, 8, width);
            const Bytes coded = encode(kCompressionPackBits, shape, image, rows);
            EXPECT_EQ(ref_unpackbits(coded), image);
            Bytes out;
            ASSERT_EQ(decode(kCompressionPackBits, shape, rows, coded, out), 0);
            ASSERT_EQ(out, image);
            // Rows coded alone: the coded rows concatenate to the strip.
            Bytes joined;
            for (uint32_t y = 0; y < rows; ++y) {
                const Bytes one(image.begin() + y * width, image.begin() + (y + 1) * width);
                const Bytes c = encode(kCompressionPackBits, shape, one, 1);
                joined.insert(joined.end(), c.begin(), c.end());
            }
            EXPECT_EQ(joined, coded);
            // No literal holds three equal bytes in a row.
            for (size_t i = 0; i < coded.size();) {
                const int c = int8_t(coded[i++]);
                if (c < 0) { ++i; continue; }
                for (int k = 2; k <= c; ++k)
                    ASSERT_FALSE(coded[i + k] == coded[i + k - 1] && coded[i + k] == coded[i + k - 2]);
                i += size_t(c) + 1;
            }
        }
    }
}

TEST(TiffCodecPackBits, DecoderSkipsNoOpsClipsRunsAndFlagsShortInput) {
    const RowShape shape{4, 1, 8};
    Bytes out;
    EXPECT_EQ(decode(kCompressionPackBits, shape, 2, {0x80, 0xFD, 9, 0x80, 0x03, 1, 2, 3, 4}, out), 0);
    EXPECT_EQ(out, (Bytes{9, 9, 9, 9, 1, 2, 3, 4}));
    EXPECT_EQ(decode(kCompressionPackBits, shape, 1, {0x81, 6}, out), 0);  // 128 cut to 4
    EXPECT_EQ(out, (Bytes{6, 6, 6, 6}));
    EXPECT_EQ(decode(kCompressionPackBits, shape, 1, {0x03, 1, 2}, out), -10);
    EXPECT_EQ(out, (Bytes{1, 2, 0, 0}));
    EXPECT_EQ(decode(kCompressionPackBits, shape, 1, {0xFE}, out), -10);
    EXPECT_EQ(out, (Bytes{0, 0, 0, 0}));
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
    // Every short length of data whose strings do grow.
    const Bytes data = random_bytes(700, 3, 6);
    for (size_t len = 0; len <= data.size(); ++len)
        check_lzw(Bytes(data.begin(), data.begin() + ptrdiff_t(len)), uint32_t(len));
}

TEST(TiffCodecLzw, RoundTripsImagesFedRowByRow) {
    for (Kind kind : {Kind::random, Kind::smooth, Kind::constant, Kind::runs}) {
        for (uint32_t width : {1u, 7u, 300u, 2000u}) {
            const Bytes image = make_image(kind, width, 60, 1, 8, width);
            check_lzw(image, width);
        }
    }
    check_lzw(Bytes(200000, 0x55), 1000);  // strings hundreds of bytes long
}

TEST(TiffCodecLzw, DecoderHandlesEdgeStreams) {
    auto stream = [](std::initializer_list<uint32_t> codes) {
        BitWriter w;
        for (uint32_t c : codes) w.put(c, 9);
        return w.bytes;
    };
    const RowShape shape{3, 1, 8};
    Bytes out;
    // A code defined by its own use: 'a' then 258 = "aa".
    EXPECT_EQ(decode(kCompressionLzw, shape, 1, stream({256, 'a', 258, 257}), out), 0);
    EXPECT_EQ(out, (Bytes{'a', 'a', 'a'}));
    // No end code, no leading clear: fine once the strip is full.
    EXPECT_EQ(decode(kCompressionLzw, shape, 1, stream({'x', 'y', 'z'}), out), 0);
    EXPECT_EQ(out, (Bytes{'x', 'y', 'z'}));
    // Codes past the next free one, or a string code right after a clear.
    EXPECT_EQ(decode(kCompressionLzw, shape, 1, stream({256, 'a', 259, 257}), out), -10);
    EXPECT_EQ(out, (Bytes{'a', 0, 0}));
    EXPECT_EQ(decode(kCompressionLzw, shape, 1, stream({256, 258}), out), -10);
    // Ends early, with and without the end code.
    EXPECT_EQ(decode(kCompressionLzw, shape, 1, stream({256, 'a', 257}), out), -10);
    EXPECT_EQ(decode(kCompressionLzw, shape, 1, stream({256, 'a', 'b'}), out), -10);
    EXPECT_EQ(out, (Bytes{'a', 'b', 0}));
    EXPECT_EQ(decode(kCompressionLzw, shape, 1, {}, out), -10);
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
    EXPECT_EQ((RowShape{3, 2, 12}).unpacked_bytes(), 12u);
    EXPECT_EQ((RowShape{3, 1, 64}).unpacked_bytes(), 24u);
    EXPECT_EQ((RowShape{3, 1, 24}).unpacked_bytes(), 12u);
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
}

TEST(TiffCodecArith, CompressesConstantAndSmoothImagesWell) {
    const RowShape shape{256, 1, 8};
    const Bytes flat = make_image(Kind::constant, 256, 256, 1, 8, 1);
    EXPECT_LT(encode(kCompressionArith, shape, flat, 256).size(), flat.size() / 100);
    const Bytes smooth = make_image(Kind::smooth, 256, 256, 1, 8, 2);
    const size_t arith = encode(kCompressionArith, shape, smooth, 256).size();
    const size_t lzw = encode(kCompressionLzw, shape, smooth, 256).size();
    EXPECT_LT(arith * 3, lzw * 2) << arith << " vs " << lzw;
}

// ---- interoperability with libtiff (through its tiffcp tool) -------------

struct TiffFile {
    uint32_t width = 0, height = 0, samples = 1, bits = 8, compression = 1, predictor = 1;
    bool big = false;
    std::vector<Bytes> strips;
    uint32_t rows_per_strip = 0;
};

// A little-endian file with one image: header, directory, the values that
// do not fit in an entry, then the strips.
void write_tiff(const std::string& path, const TiffFile& t) {
    std::vector<uint32_t> offsets, counts;
    std::vector<std::pair<uint16_t, std::vector<uint32_t>>> tags = {
        {256, {t.width}}, {257, {t.height}}, {258, std::vector<uint32_t>(t.samples, t.bits)},
        {259, {t.compression}}, {262, {t.samples >= 3 ? 2u : 1u}}, {273, {}}, {277, {t.samples}},
        {278, {t.rows_per_strip}}, {279, {}}, {284, {1}}, {317, {t.predictor}}};
    auto is_long = [](uint16_t tag) { return tag == 256 || tag == 257 || tag == 273 || tag == 278 || tag == 279; };
    if (t.predictor == 1) tags.pop_back();
    tags[5].second.resize(t.strips.size());
    tags[8].second.resize(t.strips.size());
    size_t extra = 8 + 2 + tags.size() * 12 + 4, end = extra;
    for (auto& [tag, v] : tags) end += v.size() * (is_long(tag) ? 4 : 2) > 4 ? v.size() * (is_long(tag) ? 4 : 2) : 0;
    for (size_t i = 0; i < t.strips.size(); ++i) {
        tags[5].second[i] = uint32_t(end), tags[8].second[i] = uint32_t(t.strips[i].size());
        end += t.strips[i].size();
    }
    Bytes f(end, 0);
    auto put = [&](size_t at, uint32_t v, size_t n) {
        for (size_t k = 0; k < n; ++k) f[at + k] = uint8_t(v >> (8 * k));
    };
    put(0, 0x002A4949, 4), put(4, 8, 4), put(8, uint32_t(tags.size()), 2);
    for (size_t i = 0; i < tags.size(); ++i) {
        const auto& [tag, v] = tags[i];
        const size_t size = is_long(tag) ? 4 : 2, e = 10 + i * 12;
        put(e, tag, 2), put(e + 2, is_long(tag) ? 4 : 3, 2), put(e + 4, uint32_t(v.size()), 4);
        size_t at = e + 8;
        if (v.size() * size > 4) put(e + 8, uint32_t(extra), 4), at = extra, extra += v.size() * size;
        for (uint32_t x : v) put(at, x, size), at += size;
    }
    for (size_t i = 0; i < t.strips.size(); ++i)
        if (!t.strips[i].empty()) std::memcpy(&f[tags[5].second[i]], t.strips[i].data(), t.strips[i].size());
    FILE* fp = std::fopen(path.c_str(), "wb");
    ASSERT_TRUE(fp);
    std::fwrite(f.data(), 1, f.size(), fp);
    std::fclose(fp);
}

TiffFile read_tiff(const std::string& path) {
    TiffFile t;
    FILE* fp = std::fopen(path.c_str(), "rb");
    if (!fp) return t;
    Bytes f;
    for (int c; (c = std::fgetc(fp)) != EOF;) f.push_back(uint8_t(c));
    std::fclose(fp);
    t.big = f[0] == 'M';
    auto get = [&](size_t at, int n) {
        uint32_t v = 0;
        for (int k = 0; k < n; ++k) v |= uint32_t(f[at + size_t(k)]) << (8 * (t.big ? n - 1 - k : k));
        return v;
    };
    const size_t ifd = get(4, 4);
    std::map<uint32_t, std::vector<uint32_t>> tags;
    for (uint32_t i = 0, n = get(ifd, 2); i < n; ++i) {
        const size_t e = ifd + 2 + i * 12;
        const int size = get(e + 2, 2) == 3 ? 2 : 4;
        const uint32_t count = get(e + 4, 4);
        size_t at = count * uint32_t(size) > 4 ? get(e + 8, 4) : e + 8;
        for (uint32_t k = 0; k < count; ++k, at += size_t(size)) tags[get(e, 2)].push_back(get(at, size));
    }
    t.width = tags[256][0], t.height = tags[257][0], t.bits = tags[258][0], t.compression = tags[259][0];
    t.rows_per_strip = tags.count(278) ? tags[278][0] : t.height;
    for (size_t i = 0; i < tags[273].size(); ++i)
        t.strips.emplace_back(f.begin() + tags[273][i], f.begin() + tags[273][i] + tags[279][i]);
    return t;
}

TEST(TiffCodecInterop, LibtiffReadsOurStripsAndWeReadItsStrips) {
    if (!mvtest::host_tools_available({"tiffcp"})) GTEST_SKIP() << "needs tiffcp (Debian package libtiff-tools)";
    const std::string dir = testing::TempDir() + "mvip_codec_strips_";
    const uint32_t w = 301, h = 97;
    for (uint32_t compression : {kCompressionLzw, kCompressionPackBits, kCompressionLzwPredictor}) {
        const uint32_t bits = compression == kCompressionLzwPredictor ? 16 : 8, samples = 3;
        const RowShape shape{w, samples, bits};
        const Bytes image = make_image(Kind::smooth, w, h, samples, bits, compression);
        Bytes packed(shape.packed_bytes() * h);  // little-endian file rows
        for (uint32_t y = 0; y < h; ++y) pack_row(&image[y * shape.unpacked_bytes()], shape, &packed[y * shape.packed_bytes()]);
        TiffFile ours;
        ours.width = w, ours.height = h, ours.samples = samples, ours.bits = bits, ours.rows_per_strip = 40;
        ours.compression = compression == kCompressionPackBits ? 32773u : 5u;
        ours.predictor = compression == kCompressionLzwPredictor ? 2u : 1u;
        for (uint32_t y0 = 0; y0 < h; y0 += 40) {
            const uint32_t rows = std::min(40u, h - y0);
            Bytes rows_in(packed.begin() + y0 * shape.packed_bytes(), packed.begin() + (y0 + rows) * shape.packed_bytes());
            if (bits == 16) {
                for (uint32_t y = 0; y < rows; ++y) difference_row(&rows_in[y * shape.packed_bytes()], w, samples, 16);
            }
            ours.strips.push_back(encode(compression, shape, rows_in, rows));
        }
        write_tiff(dir + "ours.tif", ours);
        const std::string plain = dir + "plain.tif";
        ASSERT_EQ(std::system(("tiffcp -c none -r 100000 " + dir + "ours.tif " + plain).c_str()), 0);
        const TiffFile back = read_tiff(plain);
        ASSERT_EQ(back.compression, 1u);
        ASSERT_EQ(back.strips.size(), 1u);
        Bytes got = back.strips[0];
        if (back.big && bits == 16)
            for (size_t i = 0; i + 1 < got.size(); i += 2) std::swap(got[i], got[i + 1]);
        EXPECT_EQ(got, packed) << "libtiff reading our " << compression;

        // And the other way: libtiff's coding of the plain file.
        const char* flag = compression == kCompressionPackBits ? "packbits" : bits == 16 ? "lzw:2" : "lzw";
        ASSERT_EQ(std::system(("tiffcp -c " + std::string(flag) + " -r 40 " + plain + " " + dir + "theirs.tif").c_str()), 0);
        const TiffFile theirs = read_tiff(dir + "theirs.tif");
        ASSERT_EQ(theirs.strips.size(), ours.strips.size());
        Bytes decoded;
        for (size_t i = 0; i < theirs.strips.size(); ++i) {
            const uint32_t rows = std::min(40u, h - uint32_t(i) * 40);
            Bytes out;
            ASSERT_EQ(decode(compression, shape, rows, theirs.strips[i], out), 0);
            if (bits == 16) {
                for (uint32_t y = 0; y < rows; ++y) accumulate_row(&out[y * shape.packed_bytes()], w, samples, 16);
            }
            decoded.insert(decoded.end(), out.begin(), out.end());
        }
        EXPECT_EQ(decoded, packed) << "our reading of libtiff's " << compression;
    }
    for (const char* f : {"ours.tif", "plain.tif", "theirs.tif"}) std::remove((dir + f).c_str());
}

}  // namespace
