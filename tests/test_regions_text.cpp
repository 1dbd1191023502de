// The region text file: the exact bytes written, round trips of every type,
// the reader's tolerance and its refusals.
#include "file_util.hpp"
#include "test_util.hpp"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using mvtest::TempPath;

std::string text_of(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}
void write_text(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

struct Owned {
    mvimregion* p = nullptr;
    ~Owned() { mvirp_regionfree(&p); }
};

// A list region (polygon, scan list or path) of n entries in a buffer.
std::vector<unsigned char> list_region(uint32_t type, int32_t n, uint32_t seed) {
    const size_t at = type == MVIMREGPATH ? MVIMREGION_PATHLIST_AT : MVIMREGION_SCANLIST_AT;
    std::vector<unsigned char> buf(std::max<size_t>(512, at + 12 * size_t(n)));
    auto* r = reinterpret_cast<mvimregion*>(buf.data());
    r->regiontype = type;
    r->reclen = buf.size();
    r->origin = {int32_t(seed % 50) - 20, 7};
    r->region.polygon.N = n;
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int32_t> d(-100000, 100000);
    if (type == MVIMREGPATH)
        for (int32_t i = 0; i < (n + 1) / 2; ++i) buf[at + size_t(i)] = uint8_t(rng() & (i * 2 + 1 < n ? 0xff : 0x0f));
    else
        for (size_t i = 0; i < 3 * size_t(n); ++i) {
            const int32_t v = d(rng);
            std::memcpy(&buf[at + 4 * i], &v, 4);
        }
    return buf;
}

TEST(RegionText, WritesTheDocumentedLines) {
    TempPath path("ellipse.txt");
    mvimregion r{};
    r.regiontype = MVIMREGELLIPSE;
    r.origin = {100, 80};
    r.region.ellipse = {41, 21, 0.5f};
    ASSERT_EQ(mvirp_regionexport(nullptr, &r, path.c_str(), nullptr), 0);
#ifndef _WIN32
    EXPECT_EQ(text_of(path.str()),
              "[mvimregion]\nregiontype=MVIMREGELLIPSE\norigin.x=100\norigin.y=80\n"
              "region.ellipse.width=41\nregion.ellipse.height=21\nregion.ellipse.angle=0.500000\n");
#endif
    r.regiontype = MVIMREGRECTANGLE | MVIMREGNEGATIVE;
    r.region.rectangle.angle = 0.785398163f;
    ASSERT_EQ(mvirp_regionexport(nullptr, &r, path.c_str(), "wb"), 0);
    EXPECT_EQ(text_of(path.str()),
              "[mvimregion]\nregiontype=MVIMREGRECTANGLE|MVIMREGNEGATIVE\norigin.x=100\norigin.y=80\n"
              "region.rectangle.width=41\nregion.rectangle.height=21\nregion.rectangle.angle=0.785398\n");
    // Lists: N, then the indexed keys; an empty list writes its N alone.
    auto poly = list_region(MVIMREGPOLYLINE, 1, 3);
    auto* pr = reinterpret_cast<mvimregion*>(poly.data());
    pr->origin = {1, 2};
    const mvpoint v{-3, 4};
    std::memcpy(poly.data() + MVIMREGION_POLYGON_AT, &v, sizeof v);
    ASSERT_EQ(mvirp_regionexport(nullptr, pr, path.c_str(), "wb"), 0);
    EXPECT_EQ(text_of(path.str()),
              "[mvimregion]\nregiontype=MVIMREGPOLYLINE\norigin.x=1\norigin.y=2\nregion.polygon.N=1\n"
              "region.polygon.vertex.0.x=-3\nregion.polygon.vertex.0.y=4\n");
    pr->regiontype = MVIMREGSCANLIST;
    pr->region.scanlist.N = 0;
    ASSERT_EQ(mvirp_regionexport(nullptr, pr, path.c_str(), "wb"), 0);
    EXPECT_EQ(text_of(path.str()),
              "[mvimregion]\nregiontype=MVIMREGSCANLIST\norigin.x=1\norigin.y=2\nregion.scanlist.N=0\n");
}

TEST(RegionText, EveryTypeSurvivesARoundTrip) {
    TempPath a("a.txt"), b("b.txt");
    std::mt19937 rng(11);
    const mvregname* names = mvirp_regionnames();
    for (int i = 0; names[i].name; ++i) {
        for (uint32_t neg : {0u, uint32_t(MVIMREGNEGATIVE)}) {
            const uint32_t type = uint32_t(names[i].code) | neg;
            SCOPED_TRACE(std::string(names[i].name) + (neg ? "|neg" : ""));
            std::vector<unsigned char> buf;
            const uint32_t shape = type & 0xff;
            if (shape == MVIMREGPOLYGON || shape == MVIMREGPOLYGONX || shape == MVIMREGPOLYLINE ||
                shape == MVIMREGSCANLIST || shape == MVIMREGSCANLISTB || shape == MVIMREGPATH) {
                buf = list_region(shape, int32_t(rng() % 40), rng());
            } else {
                buf.assign(512, 0);
                auto* r = reinterpret_cast<mvimregion*>(buf.data());
                r->reclen = 512;
                r->origin = {int32_t(rng() % 1000) - 500, int32_t(rng() % 1000)};
                // Every shape word, integer or float: floats of six decimals.
                for (int k = 0; k < 10; ++k) {
                    const int32_t v = int32_t(rng() % 20000) - 10000;
                    const float f = float(v) / 64.0f;
                    const bool as_float = std::isfinite(f);
                    std::memcpy(buf.data() + 472 + 4 * k, as_float && (k % 3 == 2 || shape >= 13) ? (const void*)&f : (const void*)&v, 4);
                }
            }
            auto* r = reinterpret_cast<mvimregion*>(buf.data());
            r->regiontype = type;
            ASSERT_EQ(mvirp_regionexport(nullptr, r, a.c_str(), nullptr), 0);
            Owned back;
            ASSERT_EQ(mvirp_regionimport(nullptr, &back.p, a.c_str(), nullptr), 0);
            EXPECT_EQ(back.p->regiontype, type);
            EXPECT_TRUE(mvtest::kind_is(back.p->image.kind, "NULL2"));
            EXPECT_EQ(back.p->origin.x, r->origin.x);
            ASSERT_EQ(mvirp_regionexport(nullptr, back.p, b.c_str(), nullptr), 0);
            EXPECT_EQ(text_of(a.str()), text_of(b.str()));  // floats of 1/64ths survive "%f"
        }
    }
}

TEST(RegionText, TheReaderIsTolerantWhereTheFormatAllows) {
    TempPath path("in.txt");
    const std::string body = "origin.x=5\norigin.y=-6\nregion.ellipse.width=41\nregion.ellipse.height=21\n"
                             "region.ellipse.angle=0.5\n";
    struct {
        std::string text;
        uint32_t type;
    } cases[] = {
        {"[mvimregion]\nregiontype=MVIMREGELLIPSE\n" + body, MVIMREGELLIPSE},
        {"regiontype=MVIMREGELLIPSE\n" + body, MVIMREGELLIPSE},
        {"[another section]\nregiontype=MVIMREGELLIPSE\n" + body, MVIMREGELLIPSE},
        {"  regiontype = MVIMREGELLIPSE | MVIMREGNEGATIVE\n" + body, MVIMREGELLIPSE | MVIMREGNEGATIVE},
        {"regiontype=MVIMREGELLIPSE|MVIMREGNEGATIVE\r\n"
         "origin.x = 5\r\n\r\n  origin.y=\t-6\r\nregion.ellipse.width =41 region.ellipse.height= 21\n"
         "region.ellipse.angle = +5e-1",
         MVIMREGELLIPSE | MVIMREGNEGATIVE},
    };
    for (const auto& c : cases) {
        write_text(path.str(), c.text);
        Owned r;
        ASSERT_EQ(mvirp_regionimport(nullptr, &r.p, path.c_str(), nullptr), 0) << c.text;
        EXPECT_EQ(r.p->regiontype, c.type);
        EXPECT_EQ(r.p->origin.y, -6);
        EXPECT_EQ(r.p->region.ellipse.height, 21);
        EXPECT_EQ(r.p->region.ellipse.angle, 0.5f);
        EXPECT_EQ(r.p->reclen, 512u);
    }
    // Names match exactly: an annulus is not a prefix of an annulus sector.
    write_text(path.str(), "regiontype=MVIMREGANNULUSARC\norigin.x=0\norigin.y=0\n"
                           "region.annulus.outerwidth=1\n");
    Owned r;
    EXPECT_EQ(mvirp_regionimport(nullptr, &r.p, path.c_str(), "r"), MVERR_FORMAT);
    // A path: nibbles packed two to a byte, low first.
    write_text(path.str(), "regiontype=MVIMREGPATH\norigin.x=0\norigin.y=0\nregion.path.N=3\n"
                           "region.path.pathlist.nibble.0=7\nregion.path.pathlist.nibble.1=12\n"
                           "region.path.pathlist.nibble.2=0\n");
    ASSERT_EQ(mvirp_regionimport(nullptr, &r.p, path.c_str(), "r"), 0);
    const auto* bytes = reinterpret_cast<const uint8_t*>(r.p) + MVIMREGION_PATHLIST_AT;
    EXPECT_EQ(bytes[0], 0xC7);
    EXPECT_EQ(bytes[1], 0x00);
    EXPECT_EQ(r.p->reclen, 512u + 4u);
}

TEST(RegionText, CompressedPathsTravelWithNNibbles) {
    TempPath path("path.txt");
    Owned p, c, back;
    ASSERT_EQ(mvirp_pathcreate(&p.p, 0, 0), 0);
    ASSERT_EQ(mvirp_pathextend(&p.p, 18, 0), 0);
    ASSERT_EQ(mvirp_pathextend(&p.p, 18, 1), 0);
    ASSERT_EQ(mvirp_pathcompress(p.p, &c.p), 0);  // 8 15 0 6, N = 3
    ASSERT_EQ(mvirp_regionexport(nullptr, c.p, path.c_str(), nullptr), 0);
    ASSERT_EQ(mvirp_regionimport(nullptr, &back.p, path.c_str(), nullptr), 0);
    EXPECT_EQ(back.p->region.path.N, 3);
    const auto* bytes = reinterpret_cast<const uint8_t*>(back.p) + MVIMREGION_PATHLIST_AT;
    EXPECT_EQ(bytes[0], 0xF8);
    EXPECT_EQ(bytes[1], 0x00);  // the fourth nibble (6) stayed behind
}

TEST(RegionText, RefusalsAndFailuresLeaveNothingBehind) {
    TempPath path("bad.txt"), missing("missing.txt");
    mvimregion r{};
    r.regiontype = 15;
    EXPECT_EQ(mvirp_regionexport(nullptr, &r, path.c_str(), nullptr), MVERR_USAGE);
    EXPECT_FALSE(mvtest::file_exists(path.str()));
    r.regiontype = 20 | MVIMREGNEGATIVE;
    EXPECT_EQ(mvirp_regionexport(nullptr, &r, path.c_str(), nullptr), MVERR_USAGE);
    EXPECT_FALSE(mvtest::file_exists(path.str()));
    r.regiontype = MVIMREGPOLYGON;  // a list longer than its record
    r.reclen = 512;
    r.region.polygon.N = 9;
    EXPECT_EQ(mvirp_regionexport(nullptr, &r, path.c_str(), nullptr), MVERR_USAGE);
    EXPECT_FALSE(mvtest::file_exists(path.str()));
    r.regiontype = MVIMREGWIND;
    EXPECT_EQ(mvirp_regionexport(nullptr, nullptr, path.c_str(), nullptr), MVERR_USAGE);
    EXPECT_EQ(mvirp_regionexport(nullptr, &r, nullptr, nullptr), MVERR_USAGE);
    EXPECT_EQ(mvirp_regionexport(nullptr, &r, (path.str() + "/no/such/dir").c_str(), nullptr), MVERR_NOTCREATABLE);
    mvtest::Hook stop([](int32_t, int32_t, size_t) { return MVERR_CANCELED; });
    EXPECT_EQ(mvirp_regionexport(stop.get(), &r, path.c_str(), nullptr), MVERR_CANCELED);
    EXPECT_FALSE(mvtest::file_exists(path.str()));

    Owned in;
    EXPECT_EQ(mvirp_regionimport(nullptr, &in.p, missing.c_str(), nullptr), MVERR_FILENOTFOUND);
    EXPECT_EQ(mvirp_regionimport(nullptr, nullptr, path.c_str(), nullptr), MVERR_USAGE);
    EXPECT_EQ(mvirp_regionimport(nullptr, &in.p, nullptr, nullptr), MVERR_USAGE);
    EXPECT_EQ(mvirp_regionimport(stop.get(), &in.p, path.c_str(), nullptr), MVERR_CANCELED);
    const std::string head = "regiontype=MVIMREGPOLYGON\norigin.x=0\norigin.y=0\n";
    const std::string malformed[] = {
        "",
        "[mvimregion]\n",
        "regiontype MVIMREGWIND\norigin.x=0\norigin.y=0\n",
        "regiontype=MVIMREGWINDX\norigin.x=0\norigin.y=0\n",
        "regiontype=MVIMREGNOTHING\norigin.x=0\norigin.y=0\n",
        "regiontype=MVIMREGWIND\norigin.y=0\norigin.x=0\n",
        "regiontype=MVIMREGWIND\norigin.x=0\n",
        "regiontype=MVIMREGWIND\norigin.x=x\norigin.y=0\n",
        "regiontype=MVIMREGWIND\norigin.x=99999999999\norigin.y=0\n",
        head + "region.polygon.N=-1\n",
        head + "region.polygon.N=2147483647\nregion.polygon.vertex.0.x=1\n",
        head + "region.polygon.N=2\nregion.polygon.vertex.0.x=1\nregion.polygon.vertex.0.y=1\n",
        head + "region.polygon.N=1\nregion.polygon.vertex.1.x=1\nregion.polygon.vertex.1.y=1\n",
        head + "region.polygon.N=1\nregion.polygon.vertex.0.y=1\nregion.polygon.vertex.0.x=1\n",
        "regiontype=MVIMREGELLIPSEF\norigin.x=0\norigin.y=0\nregion.ellipsef.originf.xf=1e999\n",
        std::string(100, 'x') + "\nregiontype=MVIMREGWIND\norigin.x=0\norigin.y=0\n",
    };
    for (const std::string& text : malformed) {
        write_text(path.str(), text);
        EXPECT_EQ(mvirp_regionimport(nullptr, &in.p, path.c_str(), nullptr), MVERR_FORMAT) << text;
        EXPECT_EQ(in.p, nullptr);
    }
    // The reader closed the file: it can be deleted and rewritten at once.
    write_text(path.str(), "regiontype=MVIMREGWIND\norigin.x=0\norigin.y=0\n");
    ASSERT_EQ(mvirp_regionimport(nullptr, &in.p, path.c_str(), nullptr), 0);
    mvimregion* held = in.p;
    EXPECT_EQ(mvirp_regionimport(nullptr, &held, path.c_str(), nullptr), MVERR_USAGE);  // not null
    EXPECT_EQ(std::remove(path.c_str()), 0);
}

TEST(RegionText, AppendingPutsRegionsOneAfterAnother) {
    TempPath path("two.txt");
    mvimregion r{};
    r.regiontype = MVIMREGWINDOW;
    r.region.window = {3, 4};
    ASSERT_EQ(mvirp_regionexport(nullptr, &r, path.c_str(), "a"), 0);
    r.region.window = {5, 6};
    ASSERT_EQ(mvirp_regionexport(nullptr, &r, path.c_str(), "a"), 0);
    const std::string text = text_of(path.str());
    EXPECT_NE(text.find("region.window.width=3"), std::string::npos);
    EXPECT_NE(text.find("region.window.width=5"), std::string::npos);
    Owned in;
    ASSERT_EQ(mvirp_regionimport(nullptr, &in.p, path.c_str(), nullptr), 0);
    EXPECT_EQ(in.p->region.window.width, 3);
}

// Every seed and every input the fuzzer once stopped on reads, converts and
// measures without fault (the fuzz target's own steps).
TEST(RegionText, FuzzSeedsAndRegressionsStayHarmless) {
    namespace fs = std::filesystem;
    const fs::path here = fs::path(__FILE__).parent_path() / "fuzz";
    std::vector<fs::path> files;
    for (const char* dir : {"seeds/region", "regressions/region"}) {
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(here / dir, ec)) files.push_back(e.path());
    }
    if (files.empty()) GTEST_SKIP() << "the fuzz inputs are not beside the test sources";
    std::vector<uint8_t> pixels(64 * 48);
    const uint32_t dims[2] = {64, 48};
    for (const fs::path& f : files) {
        Owned r, list, path;
        ASSERT_EQ(mvirp_regionimport(nullptr, &r.p, f.string().c_str(), nullptr), 0) << f;
        ASSERT_EQ(mvimage_memory(&r.p->image, pixels.data(), dims, 64, MVTYPE_U8, 0, 1, MVCS_GREY, 0), 0);
        const uint32_t shape = r.p->regiontype & 0xff;
        const int32_t rc = mvirp_xlatetoscanlist(nullptr, r.p, &list.p, 0);
        EXPECT_EQ(rc, r.p->regiontype == MVIMREGSCANLIST || shape == MVIMREGPOLYLINE ? MVERR_USAGE : 0) << f;
        uint32_t area = 0;
        EXPECT_EQ(mvirp_regionarea(r.p, &area), r.p->regiontype == MVIMREGPOLYLINE ||
                                                    r.p->regiontype == (MVIMREGPOLYLINE | MVIMREGNEGATIVE) ? MVERR_USAGE : 0);
        EXPECT_EQ(mvirp_xlatetopath(nullptr, r.p, &path.p), 0) << f;
    }
}

}  // namespace
