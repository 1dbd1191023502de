// Interlace reordering against the line formulas written out here: the
// four permutations over many heights and field counts, in place and into
// another image, their inverses, and the pair operations (average,
// duplicate, swap); plus the abort hook's calls.
#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

struct Fmt {
    uint32_t type, bits, pixies;
};
constexpr Fmt kFormats[] = {{MVTYPE_U8, 8, 1},
                            {MVTYPE_U16, 12, 2},
                            {MVTYPE_U32, 32, 3},
                            {MVTYPE_FLOAT, 0, 1},
                            {MVTYPE_DOUBLE, 0, 3}};

std::string describe(const Fmt& f) {
    return "type " + std::to_string(f.type) + " bits " + std::to_string(f.bits) + " pixies " +
           std::to_string(f.pixies);
}

uint32_t value_bytes(uint32_t type) {
    return type == MVTYPE_U8 ? 1 : type == MVTYPE_U16 ? 2 : type == MVTYPE_DOUBLE ? 8 : 4;
}

// A memory image over a vector the test owns, filled with random values;
// its window leaves a border of one pixel on every side.
class Img {
public:
    Img(Fmt f, uint32_t w, uint32_t h, uint32_t seed, bool swapped = false)
        : f(f), w(w + 2), h(h + 2), vb(value_bytes(f.type)), swapped(swapped) {
        pitch = size_t{this->w} * f.pixies * vb + vb;  // one value of padding
        mem.resize(pitch * this->h);
        mvpixfmt fmt{};
        EXPECT_EQ(
            mvpixfmt_set(&fmt, f.type, f.bits, f.pixies, f.pixies == 3 ? MVCS_BGR : MVCS_GREY), 0);
        if (swapped) fmt.byteorder = MVREQ_SWAPPED;
        const uint32_t dims[2] = {this->w, this->h};
        EXPECT_EQ(mvimage_memdata(&im, mem.data(), mem.size(), dims, static_cast<int32_t>(pitch),
                                  &fmt, nullptr, 0),
                  0);
        EXPECT_EQ(mvimage_setwind(&im, 1, 1, int32_t(w) + 1, int32_t(h) + 1), 0);
        std::mt19937 rng(seed);
        for (auto& b : mem) b = static_cast<unsigned char>(rng());
        const uint64_t top = f.bits == 0 || f.bits >= 32 ? 0xFFFFFFFFull : (1ull << f.bits) - 1;
        for (uint32_t y = 0; y < this->h; ++y)
            for (uint32_t x = 0; x < this->w; ++x)
                for (uint32_t k = 0; k < f.pixies; ++k) {
                    const double v = f.bits ? double(rng() % (top + 1))
                                            : (static_cast<int>(rng() % 20001) - 10000) / 16.0;
                    put(mem, x, y, k, v);
                }
    }
    Img(const Img&) = delete;
    Img& operator=(const Img&) = delete;

    size_t offset(uint32_t x, uint32_t y, uint32_t k) const {
        return y * pitch + (size_t{x} * f.pixies + k) * vb;
    }
    double get(const Bytes& m, uint32_t x, uint32_t y, uint32_t k) const {
        unsigned char raw[8];
        std::memcpy(raw, m.data() + offset(x, y, k), vb);
        if (swapped && vb != 8) std::reverse(raw, raw + vb);  // doubles are not swapped
        switch (f.type) {
            case MVTYPE_U8: return raw[0];
            case MVTYPE_U16: {
                uint16_t v;
                std::memcpy(&v, raw, 2);
                return v;
            }
            case MVTYPE_U32: {
                uint32_t v;
                std::memcpy(&v, raw, 4);
                return v;
            }
            case MVTYPE_FLOAT: {
                float v;
                std::memcpy(&v, raw, 4);
                return v;
            }
            default: {
                double v;
                std::memcpy(&v, raw, 8);
                return v;
            }
        }
    }
    void put(Bytes& m, uint32_t x, uint32_t y, uint32_t k, double v) const {
        unsigned char raw[8];
        switch (f.type) {
            case MVTYPE_U8: raw[0] = static_cast<uint8_t>(v); break;
            case MVTYPE_U16: {
                auto t = static_cast<uint16_t>(v);
                std::memcpy(raw, &t, 2);
                break;
            }
            case MVTYPE_U32: {
                auto t = static_cast<uint32_t>(v);
                std::memcpy(raw, &t, 4);
                break;
            }
            case MVTYPE_FLOAT: {
                auto t = static_cast<float>(v);
                std::memcpy(raw, &t, 4);
                break;
            }
            default: std::memcpy(raw, &v, 8); break;
        }
        if (swapped && vb != 8) std::reverse(raw, raw + vb);  // doubles are not swapped
        std::memcpy(m.data() + offset(x, y, k), raw, vb);
    }
    uint32_t wh() const { return h - 2; }
    // The values of window line y of m.
    std::vector<double> line(const Bytes& m, uint32_t y) const {
        std::vector<double> v;
        for (uint32_t x = 1; x + 1 < w; ++x)
            for (uint32_t k = 0; k < f.pixies; ++k) v.push_back(get(m, x, y + 1, k));
        return v;
    }
    void set_line(Bytes& m, uint32_t y, const std::vector<double>& values) const {
        size_t i = 0;
        for (uint32_t x = 1; x + 1 < w; ++x)
            for (uint32_t k = 0; k < f.pixies; ++k) put(m, x, y + 1, k, values[i++]);
    }

    Fmt f;
    uint32_t w, h, vb;
    bool swapped;
    size_t pitch;
    Bytes mem;
    mvimage im{};
};

void expect_memory(const Img& img, const Bytes& want) {
    ASSERT_EQ(img.mem.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i)
        if (img.mem[i] != want[i]) {
            ADD_FAILURE() << "first difference at image line " << i / img.pitch;
            return;
        }
}

// ---- the permutations, written plainly ----------------------------------

enum class Kind { line_to_field, field_to_line, line_to_nfield, nfield_to_line };

// Destination line of source line i, for h lines (a multiple of n).
uint32_t destination(Kind kind, uint32_t i, uint32_t h, uint32_t n) {
    switch (kind) {
        case Kind::line_to_field: return i % 2 == 0 ? i / 2 : h / 2 + i / 2;
        case Kind::field_to_line: return i < h / 2 ? 2 * i : 2 * (i - h / 2) + 1;
        case Kind::line_to_nfield: return i / n + (i % n) * h / n;
        case Kind::nfield_to_line: return i / (h / n) + (i % (h / n)) * n;
    }
    return 0;
}

int32_t reorder(Kind kind, mvabort* hook, mvimage* src, mvimage* dst, int32_t n) {
    switch (kind) {
        case Kind::line_to_field: return mvip8_ilacelinetofield(hook, src, dst);
        case Kind::field_to_line: return mvip8_ilacefieldtoline(hook, src, dst);
        case Kind::line_to_nfield: return mvip8_ilacelinetoNfield(hook, src, dst, n);
        case Kind::nfield_to_line: return mvip8_ilaceNfieldtoline(hook, src, dst, n);
    }
    return 0;
}

// What `dst` must hold after reordering `src` (contents `from`): lines
// permuted, the trailing height mod n lines copied unchanged.
Bytes expected_reorder(Kind kind, const Img& src, const Bytes& from, const Img& dst,
                       const Bytes& before, uint32_t n) {
    Bytes want = before;
    const uint32_t height = src.wh();
    const uint32_t h = height - height % n;
    for (uint32_t i = 0; i < height; ++i)
        dst.set_line(want, i < h ? destination(kind, i, h, n) : i, src.line(from, i));
    return want;
}

const Kind kKinds[] = {Kind::line_to_field, Kind::field_to_line, Kind::line_to_nfield,
                       Kind::nfield_to_line};

TEST(Interlace, PermutationsMatchTheFormulas) {
    for (Kind kind : kKinds)
        for (const Fmt& f : kFormats)
            for (uint32_t height = 2; height <= 29; ++height)
                for (uint32_t n = 1; n <= 6; ++n) {
                    const bool two_fields =
                        kind == Kind::line_to_field || kind == Kind::field_to_line;
                    if (two_fields && n != 2) continue;
                    for (bool in_place : {false, true}) {
                        SCOPED_TRACE(describe(f) + " kind " + std::to_string(int(kind)) +
                                     " height " + std::to_string(height) + " n " +
                                     std::to_string(n) + (in_place ? " in place" : ""));
                        Img src(f, 5, height, height * 7 + n, height % 3 == 0);
                        Img other(f, 5, height, 99, height % 2 == 0);
                        Img& dst = in_place ? src : other;
                        const Bytes from = src.mem;
                        const Bytes want = expected_reorder(kind, src, from, dst, dst.mem, n);
                        ASSERT_EQ(reorder(kind, nullptr, &src.im, &dst.im, int32_t(n)), 0);
                        expect_memory(dst, want);
                        if (!in_place) expect_memory(src, from);
                    }
                }
}

TEST(Interlace, FiveLineExample) {
    Img img({MVTYPE_U8, 8, 1}, 3, 5, 1);
    const Bytes before = img.mem;
    ASSERT_EQ(mvip8_ilacelinetofield(nullptr, &img.im, &img.im), 0);
    const uint32_t to[5] = {0, 2, 1, 3, 4};
    for (uint32_t i = 0; i < 5; ++i) EXPECT_EQ(img.line(img.mem, to[i]), img.line(before, i)) << i;
}

TEST(Interlace, InversesRestore) {
    for (const Fmt& f : kFormats)
        for (uint32_t height = 2; height <= 60; ++height) {
            SCOPED_TRACE(describe(f) + " height " + std::to_string(height));
            Img img(f, 4, height, height);
            const Bytes before = img.mem;
            if (height % 2 == 0) {
                ASSERT_EQ(mvip8_ilacelinetofield(nullptr, &img.im, &img.im), 0);
                ASSERT_EQ(mvip8_ilacefieldtoline(nullptr, &img.im, &img.im), 0);
                expect_memory(img, before);
            }
            for (int32_t n : {1, 2, 3, 4, 5, 7, 12}) {
                if (height % uint32_t(n) != 0) continue;
                ASSERT_EQ(mvip8_ilacelinetoNfield(nullptr, &img.im, &img.im, n), 0);
                if (n > 1 && height > uint32_t(n)) {
                    ASSERT_NE(img.mem, before) << n;
                }
                ASSERT_EQ(mvip8_ilaceNfieldtoline(nullptr, &img.im, &img.im, n), 0);
                expect_memory(img, before);
            }
        }
}

TEST(Interlace, InPlaceEqualsSeparateDestinationFor480Lines) {
    const std::pair<Kind, int32_t> cases[] = {{Kind::line_to_field, 2},  {Kind::field_to_line, 2},
                                              {Kind::line_to_nfield, 3}, {Kind::nfield_to_line, 3},
                                              {Kind::line_to_nfield, 7}, {Kind::nfield_to_line, 7}};
    const Fmt f{MVTYPE_U16, 10, 3};
    for (auto [kind, n] : cases) {
        SCOPED_TRACE("kind " + std::to_string(int(kind)) + " n " + std::to_string(n));
        Img a(f, 6, 480, 5), b(f, 6, 480, 5), c(f, 6, 480, 6);
        ASSERT_EQ(reorder(kind, nullptr, &a.im, &a.im, n), 0);
        ASSERT_EQ(reorder(kind, nullptr, &b.im, &c.im, n), 0);
        for (uint32_t y = 0; y < 480; ++y) ASSERT_EQ(a.line(a.mem, y), c.line(c.mem, y)) << y;
        ASSERT_NE(a.line(a.mem, 1), b.line(b.mem, 1));
    }
}

TEST(Interlace, Refusals) {
    const Fmt f{MVTYPE_U8, 8, 1};
    Img one(f, 4, 1, 1), img(f, 4, 6, 2), other(f, 4, 7, 3);
    const Bytes one0 = one.mem, img0 = img.mem;
    for (Kind kind : kKinds) {
        EXPECT_EQ(reorder(kind, nullptr, &one.im, &one.im, 2), MVERR_USAGE);
        EXPECT_EQ(reorder(kind, nullptr, nullptr, &img.im, 2), MVERR_USAGE);
        EXPECT_EQ(reorder(kind, nullptr, &img.im, nullptr, 2), MVERR_USAGE);
        EXPECT_EQ(reorder(kind, nullptr, &img.im, &other.im, 2), MVERR_USAGE);
    }
    for (int32_t n : {0, -1, INT32_MIN}) {
        EXPECT_EQ(mvip8_ilacelinetoNfield(nullptr, &img.im, &img.im, n), MVERR_USAGE);
        EXPECT_EQ(mvip8_ilaceNfieldtoline(nullptr, &img.im, &img.im, n), MVERR_USAGE);
    }
    // A lone line is copied (in place: unchanged).
    EXPECT_EQ(mvip8_ilacepairave(nullptr, &one.im, &one.im), 0);
    EXPECT_EQ(mvip8_ilacepairdup(nullptr, &one.im, &one.im, 0), 0);
    EXPECT_EQ(mvip8_ilacepairswap(nullptr, &one.im, &one.im), 0);
    EXPECT_EQ(mvip8_ilacepairswap(nullptr, nullptr, &img.im), MVERR_USAGE);
    EXPECT_EQ(mvip8_ilacepairave(nullptr, &img.im, &other.im), MVERR_USAGE);
    expect_memory(one, one0);
    expect_memory(img, img0);
    // N = 1 and N beyond the height leave the image as it is.
    for (int32_t n : {1, 7, INT32_MAX}) {
        EXPECT_EQ(mvip8_ilacelinetoNfield(nullptr, &img.im, &img.im, n), 0);
        EXPECT_EQ(mvip8_ilaceNfieldtoline(nullptr, &img.im, &img.im, n), 0);
        expect_memory(img, img0);
    }
}

// ---- pairs -----------------------------------------------------------------

enum class PairOp { average, dup_even, dup_odd, dup_negative_odd, swap };

int32_t run_pairs(PairOp op, mvabort* hook, mvimage* src, mvimage* dst) {
    switch (op) {
        case PairOp::average: return mvip8_ilacepairave(hook, src, dst);
        case PairOp::dup_even: return mvip8_ilacepairdup(hook, src, dst, 2);
        case PairOp::dup_odd: return mvip8_ilacepairdup(hook, src, dst, 1);
        case PairOp::dup_negative_odd: return mvip8_ilacepairdup(hook, src, dst, -3);
        case PairOp::swap: return mvip8_ilacepairswap(hook, src, dst);
    }
    return 0;
}

TEST(InterlacePairs, MatchTheFormulas) {
    const PairOp ops[] = {PairOp::average, PairOp::dup_even, PairOp::dup_odd,
                          PairOp::dup_negative_odd, PairOp::swap};
    for (PairOp op : ops)
        for (const Fmt& f : kFormats)
            for (uint32_t height : {2u, 3u, 8u, 11u, 20u})
                for (bool in_place : {false, true}) {
                    SCOPED_TRACE(describe(f) + " op " + std::to_string(int(op)) + " height " +
                                 std::to_string(height) + (in_place ? " in place" : ""));
                    Img src(f, 7, height, height + 40, in_place);
                    Img other(f, 7, height, 3, !in_place);
                    Img& dst = in_place ? src : other;
                    const Bytes from = src.mem;
                    Bytes want = dst.mem;
                    for (uint32_t y = 0; y < height; ++y) {
                        const bool lone = y + 1 == height && height % 2 == 1;
                        const uint32_t even = y & ~1u, odd = even + 1;
                        for (uint32_t x = 1; x <= 7; ++x)
                            for (uint32_t k = 0; k < f.pixies; ++k) {
                                auto s = [&](uint32_t line) {
                                    return src.get(from, x, line + 1, k);
                                };
                                double v = s(y);
                                if (!lone) {
                                    switch (op) {
                                        case PairOp::average:
                                            v = f.bits ? std::floor((s(even) + s(odd)) / 2)
                                                       : (s(even) + s(odd)) / 2;
                                            break;
                                        case PairOp::dup_even: v = s(even); break;
                                        case PairOp::dup_odd:
                                        case PairOp::dup_negative_odd: v = s(odd); break;
                                        case PairOp::swap: v = s(y ^ 1u); break;
                                    }
                                }
                                dst.put(want, x, y + 1, k, v);
                            }
                    }
                    ASSERT_EQ(run_pairs(op, nullptr, &src.im, &dst.im), 0);
                    expect_memory(dst, want);
                }
}

TEST(InterlacePairs, AverageOfLargeValues) {
    Img img({MVTYPE_U32, 32, 1}, 2, 2, 1);
    img.put(img.mem, 1, 1, 0, 4294967295.0);
    img.put(img.mem, 1, 2, 0, 4294967293.0);
    img.put(img.mem, 2, 1, 0, 1.0);
    img.put(img.mem, 2, 2, 0, 0.0);
    ASSERT_EQ(mvip8_ilacepairave(nullptr, &img.im, &img.im), 0);
    EXPECT_EQ(img.get(img.mem, 1, 1, 0), 4294967294.0);
    EXPECT_EQ(img.get(img.mem, 1, 2, 0), 4294967294.0);
    EXPECT_EQ(img.get(img.mem, 2, 1, 0), 0.0);
    Img d({MVTYPE_DOUBLE, 0, 1}, 1, 2, 1);
    d.put(d.mem, 1, 1, 0, 1.5e308);
    d.put(d.mem, 1, 2, 0, 1.7e308);
    ASSERT_EQ(mvip8_ilacepairave(nullptr, &d.im, &d.im), 0);
    EXPECT_DOUBLE_EQ(d.get(d.mem, 1, 1, 0), 1.6e308);
}

// ---- abort hook ------------------------------------------------------------

struct Recorder {
    std::vector<std::pair<int32_t, int32_t>> calls;
    std::function<int32_t(int32_t done, int32_t total, size_t index)> answer;
};
struct RecordingHook {
    mvabort base;
    Recorder* rec;
};
int32_t record_call(mvabort* hook, int32_t done, int32_t total) {
    Recorder& r = *reinterpret_cast<RecordingHook*>(hook)->rec;
    r.calls.emplace_back(done, total);
    return r.answer ? r.answer(done, total, r.calls.size() - 1) : 0;
}
struct Hook {
    explicit Hook(std::function<int32_t(int32_t, int32_t, size_t)> answer = nullptr) {
        rec.answer = std::move(answer);
    }
    mvabort* get() { return &hook.base; }
    Recorder rec;
    RecordingHook hook{{record_call}, &rec};
};

TEST(InterlaceHook, PermutationPollsStartLinesAndMoves) {
    // 27 lines in 4 fields: 3 trailing lines copied, 24 permuted.
    const Fmt f{MVTYPE_U8, 8, 2};
    for (Kind kind : {Kind::line_to_nfield, Kind::nfield_to_line}) {
        SCOPED_TRACE(int(kind));
        Img img(f, 3, 27, 1), dst(f, 3, 27, 2);
        const Bytes src0 = img.mem, dst0 = dst.mem;
        Hook progress;
        ASSERT_EQ(reorder(kind, progress.get(), &img.im, &dst.im, 4), 0);
        const Bytes full = dst.mem;
        // Start lines 0, 8, 16 and moves 8, 16, 24, in any order after entry.
        std::map<std::pair<int32_t, int32_t>, int> want{
            {{0, 0}, 1}, {{0, 24}, 1}, {{8, 24}, 2}, {{16, 24}, 2}, {{24, 24}, 1}};
        std::map<std::pair<int32_t, int32_t>, int> got;
        for (const auto& c : progress.rec.calls) ++got[c];
        EXPECT_EQ(got, want);
        EXPECT_EQ(progress.rec.calls.front(), std::make_pair(0, 0));

        dst.mem = dst0;
        Hook entry([](int32_t, int32_t, size_t i) { return i == 0 ? 5 : -4; });
        EXPECT_EQ(reorder(kind, entry.get(), &img.im, &dst.im, 4), -4);
        EXPECT_EQ(entry.rec.calls.size(), 2u);
        expect_memory(dst, dst0);
        Hook zero([](int32_t, int32_t, size_t i) { return i == 0 ? 5 : 0; });
        EXPECT_EQ(reorder(kind, zero.get(), &img.im, &dst.im, 4), 0);
        EXPECT_EQ(zero.rec.calls.size(), 2u);
        expect_memory(dst, dst0);

        // Stopped at the eighth move: eight lines hold their final content,
        // the others are untouched (the trailing three were copied first).
        Hook stop([](int32_t done, int32_t total, size_t i) {
            return i > 0 && done == 8 && total ? -4 : 0;
        });
        const int32_t rc = reorder(kind, stop.get(), &img.im, &dst.im, 4);
        EXPECT_EQ(rc, -4);
        uint32_t placed = 0;
        for (uint32_t y = 0; y < 27; ++y) {
            const std::vector<double> line = dst.line(dst.mem, y);
            if (y >= 24 || line != dst.line(dst0, y)) {
                ASSERT_EQ(line, dst.line(full, y)) << y;
                placed += y < 24;
            }
        }
        EXPECT_EQ(placed, 8u);
        expect_memory(img, src0);
    }
}

TEST(InterlaceHook, PairsStopAtEveryEighthLine) {
    const Fmt f{MVTYPE_FLOAT, 0, 1};
    for (PairOp op : {PairOp::average, PairOp::dup_odd, PairOp::swap}) {
        SCOPED_TRACE(int(op));
        Img src(f, 4, 21, 1), dst(f, 4, 21, 2);
        const Bytes dst0 = dst.mem;
        Hook progress;
        ASSERT_EQ(run_pairs(op, progress.get(), &src.im, &dst.im), 0);
        const std::vector<std::pair<int32_t, int32_t>> calls = {{0, 0}, {0, 21}, {8, 21}, {16, 21}};
        EXPECT_EQ(progress.rec.calls, calls);
        const Bytes full = dst.mem;

        dst.mem = dst0;
        Hook entry([](int32_t, int32_t, size_t i) { return i == 0 ? -4 : 12; });
        EXPECT_EQ(run_pairs(op, entry.get(), &src.im, &dst.im), 12);
        expect_memory(dst, dst0);
        Hook zero([](int32_t, int32_t, size_t i) { return i == 0 ? -4 : 0; });
        EXPECT_EQ(run_pairs(op, zero.get(), &src.im, &dst.im), 0);
        EXPECT_EQ(zero.rec.calls.size(), 2u);
        expect_memory(dst, dst0);

        Hook stop([](int32_t done, int32_t total, size_t) { return total && done == 16 ? -4 : 0; });
        EXPECT_EQ(run_pairs(op, stop.get(), &src.im, &dst.im), -4);
        for (uint32_t y = 0; y < 21; ++y)
            ASSERT_EQ(dst.line(dst.mem, y), dst.line(y < 16 ? full : dst0, y)) << y;
    }
}

}  // namespace
