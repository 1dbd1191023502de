// File-backed images against a memory image over the same bytes: runs in
// x and y, value adjustments, windows; the buffer sizes; the sticky status
// flags; a sparse file larger than 4 GiB written and read past 4 GiB; the
// bad-input list.
#include "files/stream.hpp"

#include "file_util.hpp"
#include "test_util.hpp"

#include <filesystem>
#include <random>

namespace {

struct FileImage {
    mvimage im{};
    void* handle = nullptr;
    ~FileImage() { mvimage_filedone(&im, &handle); }
    int32_t open(const std::string& path, const char* mode, uint32_t w, uint32_t h, uint32_t type,
                 uint32_t bits, uint32_t bufsize = 0) {
        const uint32_t dims[2] = {w, h};
        return mvimage_file(&im, &handle, path.c_str(), mode, dims, type, bits, 1, MVCS_GREY, bufsize);
    }
    size_t buffer_size() const { return static_cast<mvip::files::Stream*>(handle)->buffer_size(); }
};

// Every line (x-scan) or column (y-scan) of the window read through ioread.
std::vector<uint8_t> read_window(mvimage& im, uint32_t type, uint32_t mode, uint32_t size) {
    EXPECT_EQ(1, im.ioset(&im, mode, type, 1));
    const uint32_t w = uint32_t(im.wind.se.x - im.wind.nw.x), h = uint32_t(im.wind.se.y - im.wind.nw.y);
    std::vector<uint8_t> out(size_t{w} * h * size);
    if (mode & MVMODE_CONTINUE) {
        EXPECT_EQ(w * h, im.ioread(&im, 0, out.data(), w * h, 0, 0));
        return out;
    }
    const bool ys = mode & MVMODE_YSCAN;
    const uint32_t len = ys ? h : w;
    for (uint32_t l = 0; l < (ys ? w : h); ++l)
        EXPECT_EQ(len, im.ioread(&im, 0, &out[size_t{l} * len * size], len, ys ? int32_t(l) : 0,
                                 ys ? 0 : int32_t(l)));
    return out;
}

TEST(FileImage, MatchesAMemoryImageOverTheSameBytes) {
    struct Case { uint32_t type, bits, request, mode; mvywindow window; };
    const Case cases[] = {
        {MVTYPE_U8, 8, MVTYPE_U8, 0, {{0, 0}, {53, 17}}},
        {MVTYPE_U16, 12, MVTYPE_U16 | MVREQ_HIGH, 0, {{3, 2}, {40, 15}}},
        {MVTYPE_U16, 12, MVTYPE_U16 | MVREQ_SWAPPED, MVMODE_YSCAN, {{1, 1}, {50, 16}}},
        {MVTYPE_U16, 16, MVTYPE_U16, MVMODE_CONTINUE, {{0, 4}, {53, 9}}},
        {MVTYPE_U32, 20, MVTYPE_U32 | MVREQ_HIGH, MVMODE_YSCAN | MVMODE_CONTINUE, {{5, 0}, {9, 17}}},
        {MVTYPE_FLOAT, 0, MVTYPE_U32, 0, {{0, 0}, {53, 17}}},  // only the size is compared
    };
    std::mt19937 rng(5);
    for (const Case& c : cases) {
        SCOPED_TRACE("type " + std::to_string(c.type) + " request " + std::to_string(c.request) +
                     " mode " + std::to_string(c.mode));
        const uint32_t W = 53, H = 17, size = c.type == MVTYPE_U8 ? 1 : c.type == MVTYPE_U16 ? 2 : 4;
        std::vector<uint8_t> bytes(size_t{W} * H * size);
        const uint32_t maxval = c.bits && c.bits < 32 ? (1u << c.bits) - 1u : 0xFFFFFFFFu;
        for (size_t i = 0; i < size_t{W} * H; ++i) {
            const uint32_t v = rng() & maxval;
            std::memcpy(&bytes[i * size], &v, size);
        }
        mvtest::TempPath path("raw.bin");
        mvtest::write_bytes(path.str(), bytes);
        FileImage f;
        ASSERT_EQ(0, f.open(path.str(), "r+b", W, H, c.type, c.bits));
        mvimage mem{};
        const uint32_t dims[2] = {W, H};
        ASSERT_EQ(0, mvimage_memdata(&mem, bytes.data(), 0, dims, 0, &f.im.pixfmt, nullptr, 0));
        ASSERT_NE(nullptr, f.im.xwind(&f.im, const_cast<mvywindow*>(&c.window), 's'));
        ASSERT_NE(nullptr, mem.xwind(&mem, const_cast<mvywindow*>(&c.window), 's'));
        const uint32_t mem_request = c.type == MVTYPE_FLOAT ? MVTYPE_FLOAT : c.request;
        EXPECT_EQ(read_window(mem, mem_request, c.mode, size), read_window(f.im, c.request, c.mode, size));
        // A write of a run lands where the memory image puts it, in stored form.
        std::vector<uint8_t> run(size_t{8} * size);
        for (auto& b : run) b = uint8_t(rng());
        const auto kept = run;
        ASSERT_EQ(1, f.im.ioset(&f.im, c.mode, c.request, 1));
        ASSERT_GE(mem.ioset(&mem, c.mode, mem_request, 1), 0);
        auto mem_run = run;
        EXPECT_EQ(mem.iorite(&mem, 0, mem_run.data(), 8, 1, 1), f.im.iorite(&f.im, 0, run.data(), 8, 1, 1));
        EXPECT_EQ(kept, run) << "the caller's buffer is left as it was";
        EXPECT_EQ(1, f.im.iowait(&f.im));
        EXPECT_EQ(bytes, mvtest::file_bytes(path.str()));
        // Scattered transfers of every code, one entry outside the window.
        ASSERT_EQ(1, f.im.bxts(&f.im, 0, c.request, 1));
        ASSERT_EQ(1, mem.bxts(&mem, 0, mem_request, 1));
        for (int32_t code = 0; code <= 5; ++code) {
            mvbxtentry mlist[3] = {{0, 0, 0}, {2, 3, 0}, {c.window.se.x, 0, 0}}, flist[3];
            std::memcpy(flist, mlist, sizeof mlist);
            std::vector<uint8_t> mbuf(3 * size), fbuf;
            for (auto& b : mbuf) b = uint8_t(rng() & 0x0F);
            fbuf = mbuf;
            EXPECT_EQ(mem.bxta(&mem, -1, mbuf.data(), mlist, 3, code), f.im.bxta(&f.im, -1, fbuf.data(), flist, 3, code));
            EXPECT_EQ(mbuf, fbuf) << "code " << code;
        }
        EXPECT_EQ(1, f.im.iowait(&f.im));
        EXPECT_EQ(bytes, mvtest::file_bytes(path.str()));
        EXPECT_EQ(0u, f.im.aeiou(&f.im, 'e', 0, 0));
    }
}

TEST(FileImage, BufferSizesStatusFlagsAndInquiries) {
    struct Case { uint32_t width, bufsize; size_t want; };
    const Case cases[] = {{100, 0, 16384}, {40000, 0, 32768}, {100, 1, 16384}, {100, 5000, 4096},
                          {100, 65536, 65536}};
    for (const Case& c : cases) {
        mvtest::TempPath path("sizes.bin");
        FileImage f;
        ASSERT_EQ(0, f.open(path.str(), nullptr, c.width, 10, MVTYPE_U8, 8, c.bufsize));
        EXPECT_EQ(c.want, f.buffer_size()) << c.width << " " << c.bufsize;
    }
    // A 10 x 10 image over a file of 50 bytes: reading line 7 is past the end.
    mvtest::TempPath path("short.bin");
    mvtest::write_bytes(path.str(), std::vector<uint8_t>(50, 9));
    FileImage f;
    ASSERT_EQ(0, f.open(path.str(), "rb", 10, 10, MVTYPE_U8, 8));
    EXPECT_EQ(MVERR_DATATYPE, f.im.ioset(&f.im, 0, MVTYPE_U16, 1));
    EXPECT_EQ(MVERR_COLORS, f.im.ioset(&f.im, 0, MVTYPE_U8, 3));
    EXPECT_EQ(MVERR_UNSUPPORTED, f.im.ioset(&f.im, MVMODE_ZSCAN, MVTYPE_U8, 1));
    ASSERT_EQ(1, f.im.ioset(&f.im, 0, MVTYPE_U8, 1));
    uint8_t line[10];
    EXPECT_EQ(10u, f.im.ioread(&f.im, 0, line, 10, 0, 7)) << "file errors do not shorten runs";
    for (uint8_t b : line) EXPECT_EQ(0, b);
    EXPECT_EQ(uint32_t(MVERR_FORMAT), f.im.aeiou(&f.im, 'e', 0, 0)) << "sticky without the argument";
    // A clipping view passes 'e' on only when the second argument is set.
    mvimage clip{};
    const mvywindow all{{0, 0}, {10, 10}};
    ASSERT_EQ(0, mvimage_clipper(&clip, &f.im, &all, 1, 0));
    EXPECT_EQ(0u, clip.aeiou(&clip, 'e', 1, 0));
    EXPECT_EQ(uint32_t(MVERR_FORMAT), clip.aeiou(&clip, 'e', 0, 1));
    EXPECT_EQ(uint32_t(MVERR_FORMAT), f.im.aeiou(&f.im, 'e', 1, 0)) << "answered, then cleared";
    EXPECT_EQ(0u, f.im.aeiou(&f.im, 'e', 1, 0));
    EXPECT_EQ(10u, f.im.ioread(&f.im, 0, line, 10, 0, 4));
    EXPECT_EQ(0u, f.im.aeiou(&f.im, 'e', 0, 0));
    // A write on a read-only file is an input/output failure.
    ASSERT_EQ(1, f.im.ioset(&f.im, 0, MVTYPE_U8, 1));
    EXPECT_EQ(10u, f.im.iorite(&f.im, 0, line, 10, 0, 1));
    f.im.iowait(&f.im);
    EXPECT_EQ(uint32_t(MVERR_FILEIO), f.im.aeiou(&f.im, 'e', 1, 0));
    EXPECT_EQ(357913941u, f.im.aeiou(&f.im, 'B', 0, 0));
    EXPECT_EQ(0xFFFFFFFFu, f.im.aeiou(&f.im, 'I', 0, 0));
    EXPECT_EQ(8194u, f.im.aeiou(&f.im, 'b', 0, 0));
    EXPECT_EQ(8193u, f.im.aeiou(&f.im, 'm', 0, 0));
    EXPECT_EQ(0u, f.im.aeiou(&f.im, 'q', 0, 0));
    EXPECT_EQ(MVERR_UNSUPPORTED, f.im.imapset(&f.im, 0, MVTYPE_U8, 1));
}

TEST(FileImage, LinesPastFourGibibytesOfASparseFile) {
    mvtest::TempPath path("sparse.bin");
    const uint32_t W = 65536, H = 65600;  // 4 GiB + 64 lines of u8
    {
        std::ofstream create(path.str(), std::ios::binary);
    }
    std::error_code ec;
    std::filesystem::resize_file(path.str(), uint64_t{W} * H, ec);
    if (ec) GTEST_SKIP() << "no sparse file: " << ec.message();
    FileImage f;
    ASSERT_EQ(0, f.open(path.str(), "r+b", W, H, MVTYPE_U8, 8));
    ASSERT_EQ(1, f.im.ioset(&f.im, 0, MVTYPE_U8, 1));
    std::vector<uint8_t> line(W), back(W);
    for (uint32_t y : {65536u, 65599u}) {
        for (uint32_t x = 0; x < W; ++x) line[x] = uint8_t(x * 31 + y);
        EXPECT_EQ(W, f.im.iorite(&f.im, 0, line.data(), W, 0, int32_t(y)));
    }
    EXPECT_EQ(W, f.im.ioread(&f.im, 0, back.data(), W, 0, 65535));
    EXPECT_EQ(std::vector<uint8_t>(W, 0), back);
    EXPECT_EQ(1, f.im.iowait(&f.im));
    for (uint32_t y : {65536u, 65599u}) {
        EXPECT_EQ(W, f.im.ioread(&f.im, 0, back.data(), W, 0, int32_t(y)));
        for (uint32_t x = 0; x < W; ++x) ASSERT_EQ(uint8_t(x * 31 + y), back[x]);
    }
    EXPECT_EQ(0u, f.im.aeiou(&f.im, 'e', 0, 0));
    mvimage_filedone(&f.im, &f.handle);
    // Where the bytes landed: at Y * W, past 4 GiB.
    std::ifstream in(path.str(), std::ios::binary);
    in.seekg(std::streamoff(uint64_t{65599} * W + 3));
    EXPECT_EQ(uint8_t(3 * 31 + 65599), uint8_t(in.get()));
}

TEST(FileImage, BadInputGetsItsResultCodes) {
    mvtest::TempPath path("bad.bin");
    const uint32_t dims[2] = {4, 4}, zero[2] = {4, 0};
    mvimage im{};
    void* handle = nullptr;
    void* held = &im;
    EXPECT_EQ(MVERR_USAGE, mvimage_file(&im, nullptr, path.c_str(), "wb", dims, MVTYPE_U8, 8, 1, 1, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_file(&im, &held, path.c_str(), "wb", dims, MVTYPE_U8, 8, 1, 1, 0));
    EXPECT_EQ(MVERR_USAGE, mvimage_file(&im, &handle, nullptr, "wb", dims, MVTYPE_U8, 8, 1, 1, 0));
    EXPECT_FALSE(mvtest::file_exists(path.str())) << "nothing opened";
    EXPECT_EQ(MVERR_FILENOTFOUND, mvimage_file(&im, &handle, path.c_str(), "rb", dims, MVTYPE_U8, 8, 1, 1, 0));
    EXPECT_EQ(MVERR_NOTCREATABLE, mvimage_file(&im, &handle, "/nonexistent-dir/x.bin", "wb", dims,
                                               MVTYPE_U8, 8, 1, 1, 0));
    EXPECT_EQ(MVERR_LOGIC, mvimage_file(&im, &handle, path.c_str(), "wb", zero, MVTYPE_U8, 8, 1, 1, 0));
    EXPECT_EQ(nullptr, handle);
    EXPECT_TRUE(mvtest::kind_is(im.kind, "NULL2"));
    EXPECT_EQ(MVERR_USAGE, mvimage_filebufio(&im, nullptr, dims, &im.pixfmt));
    EXPECT_EQ(0, mvimage_filedone(&im, nullptr));
    EXPECT_EQ(0, mvimage_filedone(nullptr, &handle));
    EXPECT_TRUE(mvtest::kind_is(im.kind, "NULL2"));
}

}  // namespace
