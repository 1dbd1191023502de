// AVI files against ffprobe and ffmpeg: our files are counted and decoded
// to exactly our pixels without a warning, and the uncompressed files
// ffmpeg writes are read to exactly its pixels, OpenDML files of several
// RIFF lists included.
#include "tests/file_util.hpp"

#ifndef _WIN32
#include <unistd.h>
#endif

#include <cstring>

namespace {

using mvtest::OwnedStack;
using mvtest::TempPath;

class AviInterop : public ::testing::Test {
protected:
    void SetUp() override {
#ifdef _WIN32
        GTEST_SKIP() << "ffmpeg is not available on Windows";
#else
        if (!mvtest::have_command("command -v ffmpeg && command -v ffprobe"))
            GTEST_SKIP() << "ffmpeg is not installed (Debian package ffmpeg)";
#endif
    }

    // "width,height,rate,frames" as ffprobe counts them, with anything it
    // complains about after it.
    static std::string probe(const std::string& path) {
        std::string out;
        mvtest::run_command("ffprobe -v error -select_streams v:0 -count_frames -show_entries "
                            "stream=width,height,r_frame_rate,nb_read_frames -of csv=p=0 '" +
                                path + "'",
                            &out);
        return out;
    }

    // The frames ffmpeg decodes, as raw gray or bgr24 lines; `select`
    // picks frames by number when not empty.
    static std::vector<uint8_t> decode(const std::string& path, const char* pix_fmt, const std::string& select = "") {
        TempPath raw("frames.raw");
        std::string out;
        const std::string filter = select.empty() ? "" : " -vf \"select='" + select + "'\" -vsync 0";
        const int rc = mvtest::run_command("ffmpeg -v error -y -i '" + path + "'" + filter + " -f rawvideo -pix_fmt " +
                                               pix_fmt + " '" + raw.str() + "'",
                                           &out);
        EXPECT_EQ(rc, 0) << out;
        EXPECT_EQ(out, "");
        return mvtest::file_bytes(raw.str());
    }

    // Grey frames as ffmpeg shows them: 8-bit palette frames become
    // colour exactly (its palette-to-grey path rounds through luma), so
    // decode to BGR and keep one channel where all three agree.
    static std::vector<uint8_t> decode_grey(const std::string& path, const std::string& select = "") {
        const std::vector<uint8_t> bgr = decode(path, "bgr24", select);
        std::vector<uint8_t> grey(bgr.size() / 3);
        for (size_t i = 0; i < grey.size(); ++i) {
            const uint8_t* p = bgr.data() + 3 * i;
            grey[i] = p[0] == p[1] && p[1] == p[2] ? p[0] : uint8_t(p[0] ^ 0x80);
        }
        return grey;
    }
};

// Our plain and OpenDML files, grey and colour, odd widths: ffprobe counts
// every frame at our rate with no complaint, ffmpeg decodes our pixels.
TEST_F(AviInterop, FfmpegReadsOurFiles) {
    struct Case {
        bool odml;
        uint32_t pixies, cs;
        const char* pix_fmt;
    } cases[] = {{false, 1, MVCS_GREY, "gray"}, {false, 3, MVCS_BGR, "bgr24"},
                 {true, 1, MVCS_GREY, "gray"}, {true, 3, MVCS_BGR, "bgr24"}};
    mvfileinfo params{};
    params.area.avi.scale = 1001;
    params.area.avi.rate = 30000;
    char software[] = "mvip tests";
    params.texts[MVTEXT_SOFTWARE] = software;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.pix_fmt) + (c.odml ? " OpenDML" : " plain"));
        OwnedStack in(13, 7, 6, MVTYPE_U8, 8, c.pixies, c.cs);
        in.flat.fill_natural(c.pixies * 7 + c.odml);
        TempPath path("ours.avi");
        ASSERT_EQ(c.odml ? mvio8_aviodmlwriteseq(nullptr, &in.im, path.c_str(), &params, 0)
                         : mvio8_aviwriteseq(nullptr, &in.im, path.c_str(), &params, 0),
                  0);
        EXPECT_EQ(probe(path.str()), "13,7,30000/1001,6\n");
        EXPECT_EQ(c.pixies == 1 ? decode_grey(path.str()) : decode(path.str(), c.pix_fmt), in.flat.pixels);
    }
}

// ffmpeg's uncompressed files (Y800 grey, 8-bit palette, 24-bit top-down
// bitmaps) read to the pixels ffmpeg decodes from them.
TEST_F(AviInterop, WeReadFfmpegFiles) {
    struct Case {
        const char* stored;
        const char* as;
        uint32_t pixies, cs;
    } cases[] = {{"gray", "gray", 1, MVCS_GREY}, {"pal8", "bgr24", 3, MVCS_BGR}, {"bgr24", "bgr24", 3, MVCS_BGR}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stored);
        TempPath path("theirs.avi");
        std::string out;
        ASSERT_EQ(mvtest::run_command("ffmpeg -v error -y -f lavfi -i testsrc=size=13x7:rate=5 -frames:v 4 "
                                      "-c:v rawvideo -pix_fmt " +
                                          std::string(c.stored) + " '" + path.str() + "'",
                                      &out),
                  0)
            << out;
        mvfileinfo info{};
        ASSERT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
        EXPECT_EQ(info.images, 4u);
        EXPECT_EQ(info.area.avi.rate / info.area.avi.scale, 5u);
        mvio8_fileinfodone(&info);
        OwnedStack got(13, 7, 4, MVTYPE_U8, 8, c.pixies, c.cs);
        ASSERT_EQ(mvio8_avireadseq(nullptr, &got.im, path.c_str(), 0, 0), 0);
        EXPECT_EQ(got.flat.pixels, decode(path.str(), c.as));
    }
}

// Where time stamps jump, ffmpeg writes frame chunks of no bytes: each
// shows the frame before it again, so every third frame of ten is new.
TEST_F(AviInterop, DroppedFramesRepeatTheFrameBefore) {
    TempPath path("dropped.avi");
    std::string out;
    ASSERT_EQ(mvtest::run_command("ffmpeg -v error -y -f lavfi -i testsrc=size=13x7:rate=10 -t 1 -vf "
                                  "\"select='not(mod(n\\,3))'\" -fps_mode passthrough -c:v rawvideo -pix_fmt bgr24 '" +
                                      path.str() + "'",
                                  &out),
              0)
        << out;
    const std::vector<uint8_t> kept = decode(path.str(), "bgr24", "1");  // the four frames stored
    ASSERT_EQ(kept.size(), 4u * 13 * 7 * 3);
    OwnedStack got(13, 7, 10, MVTYPE_U8, 8, 3, MVCS_BGR);
    ASSERT_EQ(mvio8_avireadseq(nullptr, &got.im, path.c_str(), 0, 0), 0);
    const size_t frame = 13 * 7 * 3;
    for (size_t i = 0; i < 10; ++i)
        EXPECT_TRUE(std::equal(kept.begin() + ptrdiff_t(i / 3 * frame), kept.begin() + ptrdiff_t((i / 3 + 1) * frame),
                               got.flat.pixels.begin() + ptrdiff_t(i * frame)))
            << "frame " << i;
}

// An OpenDML file beyond 1 GiB: 1 MiB frames go 1,024 to a RIFF list, so
// 1,100 frames make two lists.  ffprobe counts them all; ffmpeg and our
// reader agree on frames on both sides of the list boundary.
TEST_F(AviInterop, OpenDmlBeyondOneGiB) {
#ifndef _WIN32
    const bool shm = access("/dev/shm", W_OK) == 0;
    const std::string path = (shm ? std::string("/dev/shm/") : ::testing::TempDir()) + "mvip_avi_big_" +
                             std::to_string(getpid()) + ".avi";
    struct Remove {
        std::string p;
        ~Remove() { std::remove(p.c_str()); }
    } remove{path};
    const uint32_t side = 1024, frames = 1100;
    mvtest::OwnedImage frame(side, side, MVTYPE_U8, 8, 1, MVCS_GREY);
    auto paint = [&](uint32_t k) {
        for (uint32_t y = 0; y < side; ++y)
            std::memset(frame.pixels.data() + size_t(y) * side, int((y + 3 * k) & 255), side);
    };
    mvavifile* h = nullptr;
    ASSERT_EQ(mvio8_aviodmlwriteseqinit(nullptr, &h, path.c_str(), nullptr, 0), 0);
    for (uint32_t k = 0; k < frames; ++k) {
        paint(k);
        ASSERT_EQ(mvio8_aviwriteseqadd(nullptr, &h, nullptr, &frame.im), 0);
    }
    ASSERT_EQ(mvio8_aviwriteseqdone(nullptr, &h, nullptr), 0);

    mvfileinfo info{};
    ASSERT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
    EXPECT_EQ(info.images, frames);
    EXPECT_EQ(info.area.avi.rifflists, 2u);
    EXPECT_EQ(info.area.avi.opendml, 1u);
    EXPECT_EQ(probe(path), "1024,1024,25/1,1100\n");

    const uint32_t picks[] = {0, 1023, 1024, 1099};
    const std::vector<uint8_t> theirs = decode_grey(path, "eq(n\\,0)+eq(n\\,1023)+eq(n\\,1024)+eq(n\\,1099)");
    ASSERT_EQ(theirs.size(), size_t(4) * side * side);
    for (int i = 0; i < 4; ++i) {
        SCOPED_TRACE(picks[i]);
        OwnedStack ours(side, side, 1, MVTYPE_U8, 8, 1, MVCS_GREY);
        ASSERT_EQ(mvio8_avireadseq(nullptr, &ours.im, path.c_str(), picks[i], 0), 0);
        paint(picks[i]);
        EXPECT_EQ(ours.flat.pixels, frame.pixels);
        EXPECT_TRUE(std::equal(frame.pixels.begin(), frame.pixels.end(), theirs.begin() + std::ptrdiff_t(i) * side * side));
    }
#endif
}

}  // namespace
