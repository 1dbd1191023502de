// Pixel search, connected regions and blob lists.  Blob lists are checked
// against SciPy's labelling (ndimage.label, find_objects, center_of_mass)
// on random and structured images; the pixel search against a plain loop.
#include "file_util.hpp"
#include "test_util.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>

namespace {

using mvtest::Format;
using mvtest::Image;
using mvtest::Layout;

const Format kU8{MVTYPE_U8, 8, 1};
const Format kU16{MVTYPE_U16, 16, 1};

// A test and how to make a pixel that passes or fails it.
struct Test {
    uint32_t code, value;
    uint32_t pass(std::mt19937& rng) const { return code == 94 ? 128 + rng() % 128 : 1000 + rng() % 39001; }
    uint32_t fail(std::mt19937& rng) const {
        return code == 94 ? rng() % 128 : (rng() % 2 ? rng() % 1000 : 40001 + rng() % 25535);
    }
};
const Test kAtLeast128{94, 128};
const Test kInside{101, 1000u | 40000u << 16};  // 1000 .. 40000 in a u16 image

// A mask of w x h: random at a density, or discs, rings and boxes.
std::vector<uint8_t> make_mask(uint32_t w, uint32_t h, double density, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<uint8_t> m(size_t(w) * h, 0);
    if (density > 0) {
        for (auto& v : m) v = (rng() % 1000) < density * 1000 ? 1 : 0;
        return m;
    }
    for (int k = 0; k < int(w * h / 300) + 3; ++k) {
        const int cx = int(rng() % w), cy = int(rng() % h), r = 1 + int(rng() % 12), hole = int(rng() % 3) * r / 3;
        const bool box = rng() % 3 == 0;
        for (int y = cy - r; y <= cy + r; ++y)
            for (int x = cx - r; x <= cx + r; ++x) {
                if (x < 0 || y < 0 || x >= int(w) || y >= int(h)) continue;
                const int d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
                const bool in = box ? std::max(std::abs(x - cx), std::abs(y - cy)) >= hole : d2 <= r * r && d2 >= hole * hole;
                if (in) m[size_t(y) * w + size_t(x)] = 1;
            }
    }
    return m;
}

// Fills the window of `im` from a mask (outside the window: random).
void paint_mask(Image& im, const std::vector<uint8_t>& m, const Test& t, uint32_t seed) {
    std::mt19937 rng(seed);
    for (uint32_t y = 0; y < im.height(); ++y)
        for (uint32_t x = 0; x < im.width(); ++x) {
            const bool inside = int(x) >= im.wx() && int(y) >= im.wy() && x - uint32_t(im.wx()) < im.ww() &&
                                y - uint32_t(im.wy()) < im.wh();
            const bool set = inside ? m[size_t(y - uint32_t(im.wy())) * im.ww() + (x - uint32_t(im.wx()))] != 0
                                    : rng() % 2 == 0;
            im.set(x, y, 0, set ? t.pass(rng) : t.fail(rng));
        }
}

std::vector<mvblob> bloblist(Image& im, const Test& t, uint32_t flags, uint64_t max = 1 << 20,
                             const int32_t* limits = nullptr, uint32_t* rejected = nullptr, int32_t* rc = nullptr) {
    std::vector<mvblob> out(size_t(max) + 1);
    int32_t pos[2] = {im.wx(), im.wy()};
    const int32_t n = mvip8_bloblist(nullptr, im.rec(), pos, t.code, t.value, flags, limits, nullptr, 0, max,
                                     out.data(), rejected);
    if (rc) *rc = n;
    out.resize(n > 0 ? size_t(n) : 0);
    return out;
}

struct Case {
    uint32_t w, h;
    double density;  // 0: structured
    int32_t wx, wy;  // window origin inside a larger image
    Format fmt;
    Test test;
    Layout layout;
};

TEST(Blobs, MatchScipyLabelling) {
    if (!mvtest::have_command(std::string(mvtest::python()) + " -c 'import scipy.ndimage'"))
        GTEST_SKIP() << "/usr/bin/python3 with SciPy is not available";
    const Case cases[] = {
        {37, 23, 0.5, 0, 0, kU8, kAtLeast128, {}},
        {128, 96, 0.3, 5, 3, kU8, kAtLeast128, {}},
        {301, 207, 0.55, 0, 0, kU8, kAtLeast128, {0}},
        {257, 190, 0.7, 2, 1, kU16, kInside, {1, false, true}},  // byte-swapped: no mapping
        {400, 300, 0, 7, 0, kU8, kAtLeast128, {}},
        {199, 333, 0, 0, 9, kU16, kInside, {}},
        {1, 1, 1.0, 0, 0, kU8, kAtLeast128, {}},
        {64, 1, 0.5, 0, 0, kU8, kAtLeast128, {}},
    };
    mvtest::TempPath masks("masks.bin");
    std::ostringstream manifest;
    std::vector<std::vector<uint8_t>> all;
    {
        std::vector<uint8_t> bytes;
        uint32_t seed = 1;
        for (const Case& c : cases)
            for (int conn : {4, 8}) {
                all.push_back(make_mask(c.w, c.h, c.density, seed++));
                bytes.insert(bytes.end(), all.back().begin(), all.back().end());
                manifest << ' ' << c.w << ',' << c.h << ',' << conn;
            }
        mvtest::write_bytes(masks.str(), bytes);
    }
    // One line a blob: first pixel, box, area, centre; "end" after each
    // case.  Blobs sorted by their first pixel in scan order.
    const std::string script =
        "import sys, numpy as np\n"
        "from scipy import ndimage\n"
        "data = np.fromfile(sys.argv[1], dtype=np.uint8); at = 0\n"
        "for spec in sys.argv[2:]:\n"
        "    w, h, conn = map(int, spec.split(','))\n"
        "    m = data[at:at + w * h].reshape(h, w); at += w * h\n"
        "    lab, n = ndimage.label(m, ndimage.generate_binary_structure(2, 1 if conn == 4 else 2))\n"
        "    if n:\n"
        "        objs = ndimage.find_objects(lab)\n"
        "        area = np.bincount(lab.ravel(), minlength=n + 1)\n"
        "        com = ndimage.center_of_mass(m, lab, range(1, n + 1))\n"
        "        labels, first = np.unique(lab.ravel(), return_index=True)\n"
        "        firsts = dict(zip(labels.tolist(), first.tolist()))\n"
        "        for i in sorted(range(1, n + 1), key=lambda i: firsts[i]):\n"
        "            s = objs[i - 1]; f = firsts[i]\n"
        "            print(f % w, f // w, s[1].start, s[0].start, s[1].stop, s[0].stop, area[i], repr(com[i - 1][1]), repr(com[i - 1][0]))\n"
        "    print('end')\n";
    mvtest::TempPath py("label.py");
    mvtest::write_bytes(py.str(), std::vector<uint8_t>(script.begin(), script.end()));
    std::string out;
    ASSERT_EQ(mvtest::run_command(std::string(mvtest::python()) + " " + py.str() + " " + masks.str() + manifest.str(), &out), 0)
        << out;
    std::istringstream lines(out);
    size_t k = 0, total = 0;
    for (const Case& c : cases)
        for (int conn : {4, 8}) {
            SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h) + " density " + std::to_string(c.density) +
                         " conn " + std::to_string(conn));
            Image im(c.fmt, c.w + uint32_t(c.wx) + 3, c.h + uint32_t(c.wy) + 2, c.layout);
            im.window(c.wx, c.wy, c.wx + int32_t(c.w), c.wy + int32_t(c.h));
            paint_mask(im, all[k], c.test, uint32_t(k));
            const std::vector<mvblob> got = bloblist(im, c.test, conn == 4 ? 0x100 : 0);
            size_t i = 0;
            for (std::string line; std::getline(lines, line) && line != "end"; ++i) {
                ASSERT_LT(i, got.size());
                std::istringstream f(line);
                int64_t sx, sy, l, t, r, b, area;
                double cx, cy;
                f >> sx >> sy >> l >> t >> r >> b >> area >> cx >> cy;
                const mvblob& g = got[i];
                ASSERT_EQ(std::vector<int64_t>({g.seedx, g.seedy, g.left, g.top, g.right, g.bottom, g.area}),
                          std::vector<int64_t>({sx + c.wx, sy + c.wy, l + c.wx, t + c.wy, r + c.wx, b + c.wy, area}))
                    << "blob " << i;
                EXPECT_NEAR(g.centrex, cx + c.wx, 1e-9 * (1 + std::fabs(cx)));
                EXPECT_NEAR(g.centrey, cy + c.wy, 1e-9 * (1 + std::fabs(cy)));
            }
            EXPECT_EQ(i, got.size());
            total += i;
            // Every passing pixel of the window was painted over.
            for (uint32_t y = 0; y < c.h; ++y)
                for (uint32_t x = 0; x < c.w; ++x)
                    ASSERT_FALSE(c.test.code == 94 ? im.wget(x, y, 0) >= 128
                                                   : im.wget(x, y, 0) >= 1000 && im.wget(x, y, 0) <= 40000);
            ++k;
        }
    EXPECT_GT(total, 5000u);
}

// Small pictures, one character a pixel ('#' passes), and what a blob list
// gives for them.
struct Scene {
    const char* name;
    std::vector<std::string> rows;
    int32_t wx, wy, ww, wh;  // the window (ww 0: the whole picture)
    uint32_t flags;
    std::vector<int32_t> limits;  // empty: none
    std::vector<std::vector<int64_t>> want;  // seed, box, area
    uint32_t rejected;
};

TEST(Blobs, FlagsLimitsAndEdges) {
    const std::vector<std::string> ring = {"#######.", "#.....#.", "#.###.#.", "#.###.#.", "#.....#.",
                                           "#######.", "........", "......##"};
    const std::vector<std::string> squares = {"#####.####.######", "#####.####.######", "#####.####.######",
                                              "#####.####.######", "#####.####.######", "...........######"};
    const Scene scenes[] = {
        {"ring and core", ring, 0, 0, 0, 0, 0, {}, {{0, 0, 0, 0, 7, 6, 22}, {2, 2, 2, 2, 5, 4, 6}, {6, 7, 6, 7, 8, 8, 2}}, 0},
        {"holes filled", ring, 0, 0, 0, 0, 4, {}, {{0, 0, 0, 0, 7, 6, 42}, {6, 7, 6, 7, 8, 8, 2}}, 0},
        {"4 neighbours", {"#.", ".#"}, 0, 0, 0, 0, 0x100, {}, {{0, 0, 0, 0, 1, 1, 1}, {1, 1, 1, 1, 2, 2, 1}}, 0},
        {"8 neighbours", {"#.", ".#"}, 0, 0, 0, 0, 0x200, {}, {{0, 0, 0, 0, 2, 2, 2}}, 0},
        {"boundary grower", ring, 0, 0, 0, 0, 0x300, {}, {{0, 0, 0, 0, 7, 6, 42}, {6, 7, 6, 7, 8, 8, 2}}, 0},
        {"limits 5x5", squares, 0, 0, 0, 0, 0, {5, 5, 5, 5}, {{0, 0, 0, 0, 5, 5, 25}}, 2},
        // Windows from column 2: blobs at the top (line 0), right and
        // bottom edges are rejected; one at the window's left edge (not
        // column 0) or its top edge (not line 0) is kept.
        {"border", {"..##...", "..##...", "......#", "...#...", "...#..."}, 2, 0, 5, 4, 8, {}, {}, 3},
        {"border not at column 0", {"..##...", "..##...", "......#", "...#...", "...#..."}, 2, 1, 4, 4, 8, {},
         {{2, 1, 2, 1, 4, 2, 2}}, 1},
        {"nothing passes", {"....", "...."}, 0, 0, 0, 0, 0, {}, {}, 0},
    };
    for (const Scene& s : scenes) {
        SCOPED_TRACE(s.name);
        const uint32_t w = uint32_t(s.rows[0].size()), h = uint32_t(s.rows.size());
        Image im(kU8, w, h);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) im.set(x, y, 0, s.rows[y][x] == '#' ? 200 : 10);
        if (s.ww) im.window(s.wx, s.wy, s.wx + s.ww, s.wy + s.wh);
        uint32_t rejected = 99;
        const std::vector<mvblob> got = bloblist(im, kAtLeast128, s.flags, 100, s.limits.empty() ? nullptr : s.limits.data(), &rejected);
        std::vector<std::vector<int64_t>> have;
        for (const mvblob& b : got) have.push_back({b.seedx, b.seedy, b.left, b.top, b.right, b.bottom, b.area});
        EXPECT_EQ(have, s.want);
        EXPECT_EQ(rejected, s.rejected);
    }
}

TEST(Blobs, ContinuationPaintingAndResults) {
    Image im(kU8, 50, 40);
    const std::vector<uint8_t> mask = make_mask(50, 40, 0.45, 7);
    paint_mask(im, mask, kAtLeast128, 3);
    const std::vector<double> before = im.values();
    // Flag 2 leaves the image as it was; the same blobs again without it.
    const std::vector<mvblob> all = bloblist(im, kAtLeast128, 2);
    ASSERT_GT(all.size(), 10u);
    EXPECT_TRUE(mvtest::holds(im, before));
    // One blob a call, going on from the position left behind.
    int32_t pos[2] = {0, 0};
    for (size_t i = 0; i <= all.size(); ++i) {
        mvblob one{};
        const int32_t n = mvip8_bloblist(nullptr, im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 1, &one, nullptr);
        if (i == all.size()) {
            EXPECT_EQ(n, 0);
            EXPECT_EQ(pos[0], 0);  // the end of the window
            EXPECT_EQ(pos[1], 40);
            break;
        }
        ASSERT_EQ(n, 1);
        EXPECT_EQ(std::memcmp(&one, &all[i], sizeof one), 0) << "blob " << i;
        EXPECT_EQ(pos[0], one.seedx);
        EXPECT_EQ(pos[1], one.seedy);
    }
    // The doubles' form, entries past the last found zero.
    paint_mask(im, mask, kAtLeast128, 3);
    std::vector<mvblobf> f(all.size() + 2, mvblobf{1, 1, 1, 1, 1, 1, 1, 1, 1});
    pos[0] = pos[1] = 0;
    ASSERT_EQ(mvip8_bloblist3(nullptr, im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, f.size(), f.data(), nullptr),
              int32_t(all.size()));
    for (size_t i = 0; i < f.size(); ++i) {
        const mvblob b = i < all.size() ? all[i] : mvblob{};
        EXPECT_EQ(std::vector<double>({f[i].seedx, f[i].seedy, f[i].left, f[i].top, f[i].right, f[i].bottom, f[i].area,
                                       f[i].centrex, f[i].centrey}),
                  std::vector<double>({double(b.seedx), double(b.seedy), double(b.left), double(b.top), double(b.right),
                                       double(b.bottom), double(b.area), b.centrex, b.centrey}));
    }
    // Everything passes: one blob of the window, nothing painted.
    Image full(kU8, 9, 7);
    full.randomize(5);
    full.window(2, 1, 8, 6);
    const std::vector<mvblob> one = bloblist(full, {94, 0}, 0);
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(std::vector<int64_t>({one[0].seedx, one[0].seedy, one[0].left, one[0].top, one[0].right, one[0].bottom,
                                    one[0].area}),
              std::vector<int64_t>({2, 1, 2, 1, 8, 6, 30}));
    EXPECT_DOUBLE_EQ(one[0].centrex, 4.5);
    EXPECT_DOUBLE_EQ(one[0].centrey, 3.0);
}

// The measured blob list against plain sums over each blob's pixels (the
// blobs themselves are those of mvip8_bloblist, held to SciPy above).
TEST(Blobs, MeasuredListAgainstPlainSums) {
    Image im(kU8, 64, 48), grey(kU8, 70, 52);
    im.window(3, 2, 63, 46);
    grey.window(8, 5, 68, 49);  // the same size elsewhere
    const std::vector<uint8_t> mask = make_mask(60, 44, 0.4, 11);
    paint_mask(im, mask, kAtLeast128, 5);
    grey.randomize(9);
    const std::vector<mvblob> plain = bloblist(im, kAtLeast128, 2);
    const std::vector<double> before = grey.values();
    std::vector<mvblob2> got(plain.size() + 1);
    int32_t pos[2] = {0, 0};
    uint32_t rejected = 0;
    const int32_t n = mvip8_bloblist2(nullptr, im.rec(), pos, 94, 128, 2 | 0x10, nullptr, grey.rec(), 3, 0, 7, 10, 90,
                                      got.size(), got.data(), sizeof(mvblob2), &rejected, nullptr);
    size_t small = 0;
    for (const mvblob& b : plain) small += b.area < 3;
    ASSERT_EQ(n, int32_t(plain.size() - small));
    EXPECT_EQ(rejected, small);
    // Every pixel of the window a kept blob covers, found by flood fill from
    // its seed in the mask (8 neighbours).
    std::vector<int> label(mask.size(), 0);
    size_t k = 0;
    for (const mvblob& want : plain) {
        if (want.area < 3) continue;
        const mvblob2& r = got[k++];
        ASSERT_EQ(std::memcmp(&r.blob, &want, sizeof want), 0);
        std::vector<std::pair<int, int>> todo{{want.seedx - 3, want.seedy - 2}}, pixels;
        label[size_t(todo[0].second) * 60 + size_t(todo[0].first)] = 1;
        while (!todo.empty()) {
            const auto [x, y] = todo.back();
            todo.pop_back();
            pixels.push_back({x, y});
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int u = x + dx, v = y + dy;
                    if (u < 0 || v < 0 || u >= 60 || v >= 44) continue;
                    const size_t i = size_t(v) * 60 + size_t(u);
                    if (mask[i] && !label[i]) label[i] = 1, todo.push_back({u, v});
                }
        }
        std::vector<uint32_t> values;
        double m00 = 0, m10 = 0, m01 = 0;
        for (const auto& [x, y] : pixels) {
            const uint32_t v = uint32_t(before[size_t(y + 5) * 70 + size_t(x + 8)]);
            values.push_back(v);
            m00 += v, m10 += double(v) * (x + 8), m01 += double(v) * (y + 5);
            EXPECT_EQ(grey.get(uint32_t(x + 8), uint32_t(y + 5), 0), 7);  // erased
        }
        std::sort(values.begin(), values.end());
        const size_t count = values.size();
        double mean = 0;
        for (uint32_t v : values) mean += v;
        mean /= double(count);
        EXPECT_EQ(r.minimum, values.front());
        EXPECT_EQ(r.maximum, values.back());
        EXPECT_EQ(r.median, values[(count + 1) / 2 - 1]);
        EXPECT_EQ(r.lowvalue, values[(count * 10 + 99) / 100 - 1]);
        EXPECT_NEAR(r.mean, mean, 1e-9);
        EXPECT_NEAR(r.moments.m[0], m00, 1e-6);
        EXPECT_NEAR(r.moments.m[1], m10, 1e-6 * std::max(1.0, m10));
        EXPECT_NEAR(r.moments.m[2], m01, 1e-6 * std::max(1.0, m01));
        EXPECT_DOUBLE_EQ(r.shape.area, double(want.area));
    }
    // A record size that does not match, and a measured window of another size.
    pos[0] = pos[1] = 0;
    EXPECT_EQ(mvip8_bloblist2(nullptr, im.rec(), pos, 94, 128, 2, nullptr, nullptr, 0, 0, 0, 0, 100, 1, got.data(),
                              sizeof(mvblob2) - 4, nullptr, nullptr), -1);
    grey.window(0, 0, 70, 52);
    EXPECT_EQ(mvip8_bloblist2(nullptr, im.rec(), pos, 94, 128, 2, nullptr, grey.rec(), 0, 0, 0, 0, 100, 1, got.data(),
                              sizeof(mvblob2), nullptr, nullptr), -1);
}

TEST(Blobs, HookAndBadInput) {
    Image im(kU8, 20, 20);
    im.set(3, 2, 0, 200);
    im.set(4, 17, 0, 200);
    mvtest::Hook hook;
    int32_t pos[2] = {0, 0};
    mvblob b[4];
    ASSERT_EQ(mvip8_bloblist(hook.get(), im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 4, b, nullptr), 2);
    EXPECT_EQ(hook.calls, mvtest::Calls({{0, 0}, {0, 20}, {0, 0}, {8, 20}, {16, 20}, {0, 0}, {1, 0}}));
    // A stop at line 8: (-1, 0) follows, the first record stays.
    im.set(3, 2, 0, 200);
    im.set(4, 17, 0, 200);
    mvtest::Hook stop([](int32_t done, int32_t total, size_t) { return done == 8 && total == 20 ? -4 : 0; });
    pos[0] = pos[1] = 0;
    uint32_t rejected = 9;
    EXPECT_EQ(mvip8_bloblist(stop.get(), im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 4, b, &rejected), -4);
    EXPECT_EQ(stop.calls.back(), std::make_pair(-1, 0));
    EXPECT_EQ(b[0].seedx, 3);
    EXPECT_EQ(rejected, 0u);
    // Maximum count 0, null arguments, types, pixies and codes.
    EXPECT_EQ(mvip8_bloblist(nullptr, im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 0, b, nullptr), 0);
    EXPECT_EQ(mvip8_bloblist(nullptr, nullptr, pos, 94, 128, 0, nullptr, nullptr, 0, 4, b, nullptr), -1);
    EXPECT_EQ(mvip8_bloblist(nullptr, im.rec(), nullptr, 94, 128, 0, nullptr, nullptr, 0, 4, b, nullptr), -1);
    EXPECT_EQ(mvip8_bloblist(nullptr, im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 4, nullptr, nullptr), -1);
    EXPECT_EQ(mvip8_bloblist(nullptr, im.rec(), pos, 77, 128, 0, nullptr, nullptr, 0, 4, b, nullptr), -1);
    EXPECT_EQ(mvip8_bloblist3(nullptr, im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 4, nullptr, nullptr), -1);
    EXPECT_EQ(mvip8_bloblist3(nullptr, im.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, uint64_t{1} << 62, reinterpret_cast<mvblobf*>(b), nullptr), -2);
    Image u32(Format{MVTYPE_U32, 32, 1}, 4, 4), rgb(Format{MVTYPE_U8, 8, 3}, 4, 4);
    EXPECT_EQ(mvip8_bloblist(nullptr, u32.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 4, b, nullptr), -19);
    EXPECT_EQ(mvip8_bloblist(nullptr, rgb.rec(), pos, 94, 128, 0, nullptr, nullptr, 0, 4, b, nullptr), -21);
    EXPECT_EQ(mvip8_findpixel(nullptr, u32.rec(), pos, 94, 128), -19);
}

// Every test code (and its opposite) on u8 and u16 images, forwards,
// backwards and for failing pixels, against a plain loop.
TEST(PixelSearch, CodesAgainstPlainLoop) {
    struct Code { uint32_t code, value; bool (*pass)(uint32_t p, uint32_t v); };
    const Code codes[] = {
        {91, 100, [](uint32_t p, uint32_t v) { return p < v; }},
        {92, 100, [](uint32_t p, uint32_t v) { return p <= v; }},
        {93, 255, [](uint32_t p, uint32_t v) { return p == v; }},
        {94, 0, [](uint32_t p, uint32_t v) { return p >= v; }},
        {95, 254, [](uint32_t p, uint32_t v) { return p > v; }},
        {91, 0, [](uint32_t p, uint32_t v) { return p < v; }},
        {93, 70000, [](uint32_t p, uint32_t v) { return p == v; }},
        {101, 20u | 200u << 16, [](uint32_t p, uint32_t v) { return p >= (v & 0xFFFF) && p <= v >> 16; }},
        {101, 200u | 20u << 16, [](uint32_t p, uint32_t v) { return p >= (v & 0xFFFF) && p <= v >> 16; }},
    };
    for (const Format& fmt : {kU8, kU16})
        for (const Code& c : codes)
            for (const uint32_t invert : {0u, 0x80u})
                for (const int kind : {0, 1, 2}) {  // forwards, backwards, failing
                    SCOPED_TRACE(std::to_string(fmt.type) + " code " + std::to_string(c.code ^ invert) + " kind " +
                                 std::to_string(kind));
                    Image im(fmt, 83, 9, Layout{5});
                    std::mt19937 rng(c.code + invert + uint32_t(kind));
                    for (uint32_t y = 0; y < 9; ++y)
                        for (uint32_t x = 0; x < 83; ++x)
                            im.set(x, y, 0, rng() % 8 ? (rng() % 2 ? 100 : 255) : rng() % (fmt.type == MVTYPE_U8 ? 256 : 65536));
                    im.window(3, 1, 80, 8);
                    std::vector<std::pair<int32_t, int32_t>> want, got;
                    for (int32_t y = 1; y < 8; ++y)
                        for (int32_t x = 3; x < 80; ++x)
                            if ((c.pass(uint32_t(im.get(uint32_t(x), uint32_t(y), 0)), c.value) != (invert != 0)) != (kind == 2))
                                want.emplace_back(x, y);
                    if (kind == 1) std::reverse(want.begin(), want.end());
                    int32_t pos[2] = {kind == 1 ? 79 : -5, kind == 1 ? 7 : -2};
                    for (;;) {
                        auto fn = kind == 0 ? mvip8_findpixel : kind == 1 ? mvip8_findpixelback : mvip8_findpixelnot;
                        const int32_t rc = fn(nullptr, im.rec(), pos, c.code ^ invert, c.value);
                        ASSERT_GE(rc, 0);
                        if (rc == 0) break;
                        got.emplace_back(pos[0], pos[1]);
                        pos[0] += kind == 1 ? -1 : 1;
                    }
                    EXPECT_EQ(got, want);
                    EXPECT_EQ(std::make_pair(pos[0], pos[1]), kind == 1 ? std::make_pair(79, 0) : std::make_pair(3, 8));
                }
}

// The grower and the follower agree with the blob list; the painter and
// the shape measures on boxes.
TEST(ConnectedRegions, GrowFollowPaintMeasure) {
    Image im(kU8, 120, 90);
    paint_mask(im, make_mask(120, 90, 0, 11), kAtLeast128, 1);
    const std::vector<mvblob> plain = bloblist(im, kAtLeast128, 2);
    ASSERT_GT(plain.size(), 10u);
    for (size_t i = 0; i < plain.size(); ++i) {
        const mvblob& b = plain[i];
        mvimregion* r = nullptr;
        uint32_t area = 0;
        ASSERT_EQ(mvirp8_connectregionv(nullptr, im.rec(), b.seedx, b.seedy, &area, 94, 128, &r, 101), 0);
        mvywindow box{};
        EXPECT_EQ(mvirp_regionbounds(r, &box, 0), 1);
        EXPECT_EQ(std::vector<int32_t>({box.nw.x, box.nw.y, box.se.x, box.se.y, int32_t(area)}),
                  std::vector<int32_t>({b.left, b.top, b.right, b.bottom, int32_t(b.area)}));
        mvirp_regionfree(&r);
        // The boundary grower (holes filled by runs) and the followed
        // outline filled by the scan conversion cover the same pixels.
        ASSERT_EQ(mvirp8_connectregionv(nullptr, im.rec(), b.seedx, b.seedy, &area, 94, 128, &r, 869), 0);
        EXPECT_GE(area, b.area);
        mvirp_regionfree(&r);
        mvimregion* path = nullptr;
        uint32_t steps = 0;
        ASSERT_EQ(mvirp8_followregionv(nullptr, im.rec(), b.seedx, b.seedy, &steps, 94, 128, &path, 101), 0);
        EXPECT_EQ(path->origin.x, b.seedx);
        uint32_t inside = 0;
        ASSERT_EQ(mvirp_regionarea(path, &inside), 0);
        EXPECT_EQ(inside, area) << "blob " << i;
        mvirp_regionfree(&path);
    }
    // A seed that fails gives an empty region; bad seeds and modes -1.
    mvimregion* r = nullptr;
    uint32_t area = 5;
    im.set(0, 0, 0, 0);
    ASSERT_EQ(mvirp8_connectregion(nullptr, im.rec(), 0, 0, &area, 0, 200, &r, 101), 0);
    EXPECT_EQ(r->region.scanlist.N, 0);
    EXPECT_EQ(area, 0u);
    mvirp_regionfree(&r);
    EXPECT_EQ(mvirp8_connectregion(nullptr, im.rec(), 120, 0, &area, 0, 200, &r, 101), -1);
    EXPECT_EQ(mvirp8_connectregion(nullptr, im.rec(), 0, 0, &area, 0, 200, &r, 100), -1);
    EXPECT_EQ(mvirp8_connectregion(nullptr, im.rec(), 0, 0, nullptr, 0, 200, &r, 101), -1);
    // Paint a 7 x 3 box and measure it.
    Image canvas(kU16, 20, 10);
    mvimregion box{};
    box.image = *canvas.rec();
    box.regiontype = MVIMREGWINDOW;
    box.origin = {4, 5};
    box.region.window = {7, 3};
    ASSERT_EQ(mvirp8_paintregion(nullptr, &box, 777), 0);
    EXPECT_TRUE(mvtest::holds(canvas, mvtest::with_window(canvas, [](uint32_t x, uint32_t y, uint32_t) {
        return x >= 4 && x < 11 && y >= 5 && y < 8 ? 777.0 : 0.0;
    })));
    mvshapemeasures m{};
    ASSERT_EQ(mvirp_regionshapef(&box, &m), 0);
    EXPECT_EQ(std::vector<double>({m.area, m.centrex, m.centrey, m.perimeter, m.orientation}),
              std::vector<double>({21, 7, 6, 20, 0}));
    EXPECT_NEAR(m.major, 4 * std::sqrt(4.0), 1e-12);               // x variance (49 - 1) / 12
    EXPECT_NEAR(m.minor, 4 * std::sqrt(2.0 / 3.0), 1e-12);         // y variance (9 - 1) / 12
    box.region.window = {3, 7};
    ASSERT_EQ(mvirp_regionshapef(&box, &m), 0);
    EXPECT_NEAR(std::fabs(m.orientation), 3.14159265358979 / 2, 1e-12);
}

}  // namespace
