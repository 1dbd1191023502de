// The command-line tool end to end: mvtool is run as a child process and
// its exit statuses, messages and output files are checked, the files
// through the library itself.
#include "file_util.hpp"

#include <gtest/gtest.h>

#ifdef _WIN32

TEST(MvTool, NotUnderWindows) {
    GTEST_SKIP() << "the mvtool tests start the tool with POSIX calls and send it SIGINT; "
                    "they run in the Linux builds only";
}

#else

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

using mvtest::OwnedImage;
using mvtest::TempPath;

#ifdef MVTOOL_PATH
#define REQUIRE_MVTOOL() (void)0
#else
#define MVTOOL_PATH ""
#define REQUIRE_MVTOOL() GTEST_SKIP() << "mvtool is not part of this build"
#endif

struct ToolRun {
    int status = -1;  // exit status, or 128 + signal
    std::string out, err;
};

// Starts mvtool with stdout and stderr going to the given files.
pid_t spawn_tool(const std::vector<std::string>& args, const std::string& out, const std::string& err) {
    std::vector<std::string> all = {MVTOOL_PATH};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : all) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, MVTOOL_PATH, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return rc == 0 ? pid : -1;
}

int wait_status(pid_t pid) {
    int st = 0;
    if (waitpid(pid, &st, 0) != pid) return -1;
    return WIFEXITED(st) ? WEXITSTATUS(st) : WIFSIGNALED(st) ? 128 + WTERMSIG(st) : -1;
}

std::string text_of(const std::string& path) {
    const auto bytes = mvtest::file_bytes(path);
    return std::string(bytes.begin(), bytes.end());
}

ToolRun run_tool(const std::vector<std::string>& args) {
    TempPath out("stdout.txt"), err("stderr.txt");
    ToolRun r;
    const pid_t pid = spawn_tool(args, out.str(), err.str());
    if (pid < 0) return r;
    r.status = wait_status(pid);
    r.out = text_of(out.str());
    r.err = text_of(err.str());
    return r;
}

// The line mvtool prints for a library failure.
std::string failure_line(const std::string& subject, int32_t code) {
    return "mvtool: " + subject + ": " + mverrnomesg(code) + " (" + std::to_string(code) + ")";
}

// Reads a file through the library into an image of the format it presents.
std::unique_ptr<OwnedImage> read_back(const std::string& path) {
    mvfileinfo info{};
    if (mvio8_fileinfo(path.c_str(), &info, 0) != 0) return nullptr;
    const bool tiff = std::strcmp(info.format, "tif") == 0;
    const mvpixfmt f = info.pixfmt;
    mvio8_fileinfodone(&info);
    auto im = std::make_unique<OwnedImage>(info.width, info.height, f.datatype, f.bits, f.pixies, f.colorspace);
    const int32_t rc = tiff ? mvio8_tifread(nullptr, &im->im, nullptr, path.c_str(), 0, nullptr, 0)
                            : mvio8_bmpread(nullptr, &im->im, nullptr, path.c_str(), 0);
    return rc == 0 ? std::move(im) : nullptr;
}

bool same_image(const OwnedImage& a, const OwnedImage& b) {
    return a.im.imdim.se.x == b.im.imdim.se.x && a.im.imdim.se.y == b.im.imdim.se.y &&
           a.im.pixfmt.datatype == b.im.pixfmt.datatype && a.im.pixfmt.pixies == b.im.pixfmt.pixies &&
           a.pixels == b.pixels;
}

TEST(MvTool, ExitStatusesAndMessages) {
    REQUIRE_MVTOOL();
    TempPath tif("in.tif"), garbage("garbage.tif"), missing("missing.tif"), out("out.tif");
    OwnedImage im(16, 8, MVTYPE_U8, 8, 1, MVCS_GREY);
    im.fill_natural(3);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, tif.c_str(), 8, 0, 0, nullptr), 0);
    mvtest::write_bytes(garbage.str(), std::vector<uint8_t>(100, 'x'));

    struct Case {
        std::vector<std::string> args;
        int status;
        std::string in_out, in_err;  // text expected on stdout, on stderr
    };
    const Case cases[] = {
        {{}, 1, "", "usage: mvtool"},
        {{"--help"}, 0, "convert IN OUT", ""},
        {{"frobnicate"}, 1, "", "unknown command 'frobnicate'"},
        {{"info", missing.str()}, 2, "", failure_line(missing.str(), MVERR_FILENOTFOUND)},
        {{"info", garbage.str()}, 2, "", failure_line(garbage.str(), MVERR_FORMAT)},
        {{"info", tif.str()}, 0, "16 x 8", ""},
        {{"convert", missing.str(), out.str()}, 2, "", failure_line(missing.str(), MVERR_FILENOTFOUND)},
        {{"convert", tif.str(), out.str() + ".png"}, 1, "", "extension"},
        {{"convert", tif.str(), out.str(), "--compression", "zip"}, 1, "", "unknown compression 'zip'"},
        {{"convert", tif.str(), out.str(), "--index", "1"}, 2, "",
         failure_line(tif.str() + ": image 1", MVERR_NOITEM)},
        {{"op", "--list"}, 0, "NxNconvolve IN OUT n coef offset divisor mode", ""},
        {{"op", "nosuch", tif.str(), out.str()}, 1, "", "unknown operation 'nosuch'"},
        {{"op", "pixthreshold", tif.str(), out.str(), "1", "2"}, 1, "", "mvtool op pixthreshold IN OUT low high value"},
        {{"op", "3x3sobel", tif.str(), out.str(), "x"}, 1, "", "mode: expected an unsigned whole number"},
        {{"op", "NxNconvolve", tif.str(), out.str(), "3", "1,2,1", "0", "0", "0"}, 1, "", "coef needs 9 values"},
        {{"op", "NxNconvolve", tif.str(), out.str(), "4", "1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1", "0", "0", "0"}, 2, "",
         failure_line("NxNconvolve", MVERR_USAGE)},
        {{"bench", "--repeat", "1", "--filter", "3x3median"}, 0, "Mpixel/s", ""},
    };
    for (const Case& c : cases) {
        std::string cmd;
        for (const auto& a : c.args) cmd += " " + a;
        SCOPED_TRACE("mvtool" + cmd);
        const ToolRun r = run_tool(c.args);
        EXPECT_EQ(r.status, c.status) << r.err;
        EXPECT_NE(r.out.find(c.in_out), std::string::npos) << r.out;
        EXPECT_NE(r.err.find(c.in_err), std::string::npos) << r.err;
        if (c.status != 0) {
            EXPECT_FALSE(mvtest::file_exists(out.str())) << "a failed run left its output";
        }
    }
}

TEST(MvTool, ConvertRoundTripsKeepThePixels) {
    REQUIRE_MVTOOL();
    struct Case {
        uint32_t type, bits, pixies, space;
        const char* via;          // intermediate file's extension
        const char* compression;  // of the final TIFF, and its code
        uint32_t code;
    };
    const Case cases[] = {
        {MVTYPE_U8, 8, 1, MVCS_GREY, ".bmp", "lzw-pred", 517},
        {MVTYPE_U8, 8, 3, MVCS_BGR, ".bmp", "packbits", 32773},
        {MVTYPE_U16, 12, 1, MVCS_GREY, ".tif", "arith", 32885},
        {MVTYPE_U8, 8, 3, MVCS_RGB, ".tiff", "lzw", 5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string("via ") + c.via + ", " + c.compression + ", pixies " + std::to_string(c.pixies));
        TempPath first("first.tif"), middle(std::string("middle") + c.via), last("last.tif");
        OwnedImage im(97, 61, c.type, c.bits, c.pixies, c.space);
        im.fill_natural(c.pixies * 100 + c.bits);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, first.c_str(), int32_t(c.bits), 0, 0, nullptr), 0);

        ToolRun r = run_tool({"convert", first.str(), middle.str()});
        ASSERT_EQ(r.status, 0) << r.err;
        r = run_tool({"convert", middle.str(), last.str(), "--compression", c.compression});
        ASSERT_EQ(r.status, 0) << r.err;

        mvfileinfo info{};
        ASSERT_EQ(mvio8_fileinfo(last.c_str(), &info, 0), 0);
        EXPECT_STREQ(info.format, "tif");
        EXPECT_EQ(info.area.tif.compression, c.code);
        mvio8_fileinfodone(&info);
        const auto back = read_back(last.str());
        ASSERT_TRUE(back);
        // The TIFF writer stores colour as R, G, B: BGR images come back RGB.
        OwnedImage want(97, 61, c.type, c.bits, c.pixies, back->im.pixfmt.colorspace);
        if (back->im.pixfmt.colorspace != c.space)
            ASSERT_EQ(mvip8_copycolorconvert(nullptr, &im.im, &want.im, 0, back->im.pixfmt.colorspace), 0);
        else
            ASSERT_EQ(mvip8_copy(nullptr, &im.im, &want.im), 0);
        EXPECT_TRUE(same_image(want, *back));
    }
}

TEST(MvTool, EveryImageOfATiffFileIsDescribedAndConverted) {
    REQUIRE_MVTOOL();
    TempPath tif("two.tif");
    OwnedImage big(40, 30, MVTYPE_U8, 8, 1, MVCS_GREY), small(20, 10, MVTYPE_U16, 16, 3, MVCS_RGB);
    big.fill_natural(1);
    small.fill_natural(2);
    mvfileinfo params{};
    params.area.tif.compression = 32773;
    ASSERT_EQ(mvio8_tifwrite(nullptr, &big.im, nullptr, tif.c_str(), 8, 0, 0, &params), 0);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &small.im, nullptr, tif.c_str(), 16, 0, 1, nullptr), 0);
    const ToolRun r = run_tool({"info", tif.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string rgb = mvcolorspace_name(MVCS_RGB), grey = mvcolorspace_name(MVCS_GREY);
    for (const std::string& want :
         {std::string("TIFF, 2 images"), std::string("image 1 of 2"), std::string("40 x 30"),
          "u8, 8 bits, 1 pixie, " + grey, std::string("packbits (32773)"), std::string("image 2 of 2"),
          std::string("20 x 10"), "u16, 16 bits, 3 pixies, " + rgb, std::string("none (1)")})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << " not in:\n" << r.out;
    EXPECT_LT(r.out.find("40 x 30"), r.out.find("20 x 10"));

    // Pages that differ are converted one by one, every one kept.
    TempPath copy("copy.tif");
    const ToolRun c = run_tool({"convert", tif.str(), copy.str(), "--compression", "lzw"});
    ASSERT_EQ(c.status, 0) << c.err;
    mvfileinfo info[2] = {};
    ASSERT_EQ(mvio8_fileinfoN(copy.c_str(), info, 2, 0, 0), 2);
    EXPECT_EQ(info[1].width, 20u);
    EXPECT_EQ(info[1].area.tif.compression, 5u);
    for (auto& i : info) mvio8_fileinfodone(&i);
    OwnedImage second(20, 10, MVTYPE_U16, 16, 3, MVCS_RGB);
    ASSERT_EQ(mvio8_tifread(nullptr, &second.im, nullptr, copy.c_str(), 1, nullptr, 0), 0);
    EXPECT_EQ(second.pixels, small.pixels);
}

// `mvtool op` against the same library call made here.
TEST(MvTool, OpGivesWhatTheLibraryGives) {
    REQUIRE_MVTOOL();
    using Call = std::function<int32_t(mvimage*, mvimage*, mvimage*)>;  // (a, b, destination)
    struct Case {
        std::vector<std::string> args;  // after IN [IN2] OUT
        bool pair;
        uint32_t out_w, out_h, out_pixies;
        Call call;
    };
    const Case cases[] = {
        {{"3x3median"}, false, 41, 29, 3, [](mvimage* a, mvimage*, mvimage* d) { return mvip8_3x3median(nullptr, a, d); }},
        {{"pixthreshold2", "50", "150", "255", "0"}, false, 41, 29, 3,
         [](mvimage* a, mvimage*, mvimage* d) { return mvip8_pixthreshold2(nullptr, a, d, 50, 150, 255, 0); }},
        {{"pairsub", "7"}, true, 41, 29, 3,
         [](mvimage* a, mvimage* b, mvimage* d) { return mvip8_pairsub(nullptr, a, b, d, 7); }},
        {{"copyinterpbilinear", "30", "20"}, false, 30, 20, 3,
         [](mvimage* a, mvimage*, mvimage* d) { return mvip8_copyinterpbilinear(nullptr, a, d); }},
        {{"NxNconvolve", "3", "1,2,1,2,4,2,1,2,1", "0", "0", "0"}, false, 41, 29, 3,
         [](mvimage* a, mvimage*, mvimage* d) {
             const int32_t k[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
             return mvip8_NxNconvolve(nullptr, a, d, 3, k, 0, 0, 0);
         }},
        {{"copycolorconvert", "grey"}, false, 41, 29, 1,
         [](mvimage* a, mvimage*, mvimage* d) { return mvip8_copycolorconvert(nullptr, a, d, 0, MVCS_GREY); }},
    };
    OwnedImage a(41, 29, MVTYPE_U8, 8, 3, MVCS_RGB), b(41, 29, MVTYPE_U8, 8, 3, MVCS_RGB);
    a.fill_natural(5);
    b.fill_natural(6);
    TempPath in_a("a.tif"), in_b("b.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &a.im, nullptr, in_a.c_str(), 8, 0, 0, nullptr), 0);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &b.im, nullptr, in_b.c_str(), 8, 0, 0, nullptr), 0);
    for (const Case& c : cases) {
        SCOPED_TRACE("op " + c.args[0]);
        TempPath out("out.tif");
        std::vector<std::string> args = {"op", c.args[0], in_a.str()};
        if (c.pair) args.push_back(in_b.str());
        args.push_back(out.str());
        args.insert(args.end(), c.args.begin() + 1, c.args.end());
        const ToolRun r = run_tool(args);
        ASSERT_EQ(r.status, 0) << r.err;
        const auto got = read_back(out.str());
        ASSERT_TRUE(got);
        OwnedImage want(c.out_w, c.out_h, MVTYPE_U8, 8, c.out_pixies, c.out_pixies == 1 ? MVCS_GREY : MVCS_RGB);
        ASSERT_EQ(c.call(&a.im, &b.im, &want.im), 0);
        EXPECT_TRUE(same_image(want, *got));
    }
}

// A stack (pages of one size and format) is described as one, converted
// whole (or one page with --index; never silently to one BMP), and
// processed page by page.
TEST(MvTool, StacksKeepEveryPage) {
    REQUIRE_MVTOOL();
    mvtest::OwnedStack st(23, 11, 3, MVTYPE_U16, 12, 1, MVCS_GREY);
    st.flat.fill_natural(7);
    TempPath in("stack.tif"), out("out.tif"), page("page.tif"), median("median.tif"), bmp("out.bmp");
    ASSERT_EQ(mvio8_tifwriteseq(nullptr, &st.im, nullptr, in.c_str(), 12, 0, 0, nullptr), 0);
    auto read_stack = [](const std::string& path) {
        auto back = std::make_unique<mvtest::OwnedStack>(23, 11, 3, MVTYPE_U16, 12, 1, MVCS_GREY);
        EXPECT_EQ(mvio8_tifreadseq(nullptr, &back->im, nullptr, path.c_str(), 0, nullptr, 0), 0);
        mvfileinfo info{};
        EXPECT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
        EXPECT_EQ(info.images, 3u);
        mvio8_fileinfodone(&info);
        return back;
    };

    ToolRun r = run_tool({"info", in.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* want : {"a stack of 3 pages", "23 x 11 x 3", "u16, 12 bits"})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << " not in:\n" << r.out;
    EXPECT_EQ(r.out.find("image 2 of 3"), std::string::npos) << r.out;

    r = run_tool({"convert", in.str(), out.str(), "--compression", "lzw"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(read_stack(out.str())->flat.pixels, st.flat.pixels);
    r = run_tool({"convert", in.str(), page.str(), "--index", "1"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto one = read_back(page.str());
    ASSERT_TRUE(one);
    EXPECT_EQ(one->pixels, st.planes(1, 1));
    r = run_tool({"convert", in.str(), bmp.str()});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("pick one with --index"), std::string::npos) << r.err;
    EXPECT_FALSE(mvtest::file_exists(bmp.str()));

    // A neighbourhood operation sees each page alone, not its neighbours.
    r = run_tool({"op", "3x3median", in.str(), median.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    mvtest::OwnedStack want(23, 11, 3, MVTYPE_U16, 12, 1, MVCS_GREY);
    for (uint32_t z = 0; z < 3; ++z) {
        mvimage a{}, b{};
        ASSERT_EQ(mvimage_def2from3(&a, &st.im, 0, 2, z), 0);
        ASSERT_EQ(mvimage_def2from3(&b, &want.im, 0, 2, z), 0);
        ASSERT_EQ(mvip8_3x3median(nullptr, &a, &b), 0);
    }
    EXPECT_EQ(read_stack(median.str())->flat.pixels, want.flat.pixels);
}

// A stack to AVI and back: every frame kept, the rate asked for, OpenDML on
// request; info shows the movie's fields.
TEST(MvTool, StacksGoToAviAndBack) {
    REQUIRE_MVTOOL();
    mvtest::OwnedStack st(21, 9, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
    st.flat.fill_natural(5);
    TempPath in("stack.tif"), avi("movie.avi"), odml("odml.avi"), back("back.tif");
    ASSERT_EQ(mvio8_tifwriteseq(nullptr, &st.im, nullptr, in.c_str(), 8, 0, 0, nullptr), 0);
    ToolRun r = run_tool({"convert", in.str(), avi.str(), "--fps", "29.97"});
    ASSERT_EQ(r.status, 0) << r.err;
    r = run_tool({"convert", avi.str(), odml.str(), "--opendml", "--fps", "12.5"});
    ASSERT_EQ(r.status, 0) << r.err;
    r = run_tool({"info", avi.str(), odml.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* want : {"AVI, 4 frames", "21 x 9 x 4", "30000 / 1001", "AVI 1.0", "OpenDML, 1 RIFF list",
                             "12500 / 1000", "software      mvip mvtool"})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << " not in:\n" << r.out;
    r = run_tool({"convert", odml.str(), back.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    mvtest::OwnedStack got(21, 9, 4, MVTYPE_U8, 8, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_tifreadseq(nullptr, &got.im, nullptr, back.c_str(), 0, nullptr, 0), 0);
    EXPECT_EQ(got.flat.pixels, st.flat.pixels);
    r = run_tool({"convert", in.str(), back.str(), "--fps", "10"});
    EXPECT_EQ(r.status, 1);
}

// Ctrl-C during a long conversion: the writer stops at its next row and
// deletes its file, and the tool reports the cancellation.
TEST(MvTool, InterruptedConversionLeavesNoOutput) {
    REQUIRE_MVTOOL();
    TempPath big("big.tif"), out("out.tif"), out_text("stdout.txt"), err_text("stderr.txt");
    {
        OwnedImage im(6000, 6000, MVTYPE_U8, 8, 1, MVCS_GREY);
        im.fill_natural(9);
        ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, big.c_str(), 8, 0, 0, nullptr), 0);
    }
    // The arithmetic coder is the slowest writer: the file exists (it is
    // created before the first row) for a good part of a second.
    const pid_t pid = spawn_tool({"convert", big.str(), out.str(), "--compression", "arith"}, out_text.str(),
                                 err_text.str());
    ASSERT_GT(pid, 0);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    bool seen = false;
    int early = 0;
    while (!seen && std::chrono::steady_clock::now() < deadline) {
        if (waitpid(pid, &early, WNOHANG) == pid) break;  // ended before the file appeared
        seen = std::filesystem::exists(out.str());
        if (!seen) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!seen && waitpid(pid, &early, WNOHANG) == 0) {
        kill(pid, SIGKILL);
        waitpid(pid, &early, 0);
    }
    ASSERT_TRUE(seen) << "the output file never appeared: " << text_of(err_text.str());
    ASSERT_EQ(kill(pid, SIGINT), 0);
    EXPECT_EQ(wait_status(pid), 130) << text_of(err_text.str());
    EXPECT_NE(text_of(err_text.str()).find(failure_line(out.str(), MVERR_CANCELED)), std::string::npos)
        << text_of(err_text.str());
    EXPECT_FALSE(std::filesystem::exists(out.str()));
}

TEST(MvTool, JpegOutputWithQualityAndInfo) {
    REQUIRE_MVTOOL();
    TempPath tif("src.tif"), jpg("out.jpg"), wide("wide.jpeg"), back("back.tif");
    OwnedImage im(50, 30, MVTYPE_U16, 12, 3, MVCS_RGB);
    im.fill_natural(5);
    ASSERT_EQ(mvio8_tifwrite(nullptr, &im.im, nullptr, tif.c_str(), 12, 0, 0, nullptr), 0);
    ToolRun r = run_tool({"convert", tif.str(), jpg.str(), "--quality", "60", "--bits", "8"});
    ASSERT_EQ(r.status, 0) << r.err;
    r = run_tool({"convert", tif.str(), wide.str()});  // 12 bits from the image
    ASSERT_EQ(r.status, 0) << r.err;
    mvfileinfo info{};
    ASSERT_EQ(mvio8_fileinfo(wide.c_str(), &info, 0), 0);
    EXPECT_EQ(info.pixfmt.bits, 12u);
    EXPECT_EQ(info.area.jpg.quality, 750u);
    mvio8_fileinfodone(&info);
    r = run_tool({"info", jpg.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    for (const char* want : {"JPEG, 1 image", "50 x 30", "u8, 8 bits, 3 pixies", "quality       60.0 %"})
        EXPECT_NE(r.out.find(want), std::string::npos) << want << " not in:\n" << r.out;
    r = run_tool({"convert", jpg.str(), back.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::vector<std::vector<std::string>> refused = {
        {"convert", tif.str(), jpg.str(), "--quality", "101"},
        {"convert", tif.str(), jpg.str(), "--bits", "10"},
        {"convert", tif.str(), back.str(), "--quality", "50"}};
    for (const auto& args : refused) EXPECT_EQ(run_tool(args).status, 1);
}

TEST(MvTool, DemoWritesFilesThatReadBack) {
    REQUIRE_MVTOOL();
    const std::string dir = TempPath("demo").str();
    std::filesystem::remove_all(dir);
    const ToolRun r = run_tool({"demo", dir});
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("read-back checks matched"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("27 blobs"), std::string::npos) << r.out;
    for (const char* name : {"sample.tif", "sample.bmp", "sample.jpg", "edges.tif", "edges.bmp", "grey-arith.tif",
                             "grey-lzw-pred.tif", "grey-packbits.tif", "mask-1bit.tif", "blobs.tif"}) {
        const std::string file = dir + "/" + name;
        mvfileinfo info{};
        EXPECT_EQ(mvio8_fileinfo(file.c_str(), &info, 0), 0) << file;
        mvio8_fileinfodone(&info);
    }
    std::filesystem::remove_all(dir);
}

TEST(MvTool, RawInputAndPseudoColour) {
    REQUIRE_MVTOOL();
    // A raw u16 file of 12-bit values read as TIFF: the same pixels.
    TempPath raw("in.raw"), tif("raw.tif"), colour("colour.tif"), grey("grey.tif");
    OwnedImage im(33, 7, MVTYPE_U16, 12, 1, MVCS_GREY);
    im.fill_natural(4);
    mvtest::write_bytes(raw.str(), im.pixels);
    ToolRun r = run_tool({"convert", "raw:33x7:u16/12:" + raw.str(), tif.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    auto back = read_back(tif.str());
    ASSERT_TRUE(back);
    EXPECT_EQ(back->im.pixfmt.bits, 12u);
    EXPECT_TRUE(same_image(*back, im));
    // Too short a file, and a malformed name.
    r = run_tool({"convert", "raw:33x8:u16:" + raw.str(), tif.str()});
    EXPECT_EQ(r.status, 2) << r.err;
    r = run_tool({"convert", "raw:33by7:u16:" + raw.str(), tif.str()});
    EXPECT_EQ(r.status, 1) << r.err;
    // Pseudo-colour of a u8 ramp: the grey map repeats the value, heat
    // starts black and ends white, an unknown map is a usage error.
    OwnedImage ramp(256, 2, MVTYPE_U8, 8, 1, MVCS_GREY);
    for (uint32_t x = 0; x < 256; ++x) *ramp.at<uint8_t>(x, 0) = *ramp.at<uint8_t>(x, 1) = uint8_t(x);
    TempPath ramp_tif("ramp.tif");
    ASSERT_EQ(mvio8_tifwrite(nullptr, &ramp.im, nullptr, ramp_tif.c_str(), 8, 0, 0, nullptr), 0);
    for (const char* map : {"grey", "heat", "rainbow"}) {
        r = run_tool({"op", "pseudocolor", ramp_tif.str(), colour.str(), map});
        ASSERT_EQ(r.status, 0) << map << r.err;
        auto rgb = read_back(colour.str());
        ASSERT_TRUE(rgb);
        ASSERT_EQ(rgb->im.pixfmt.pixies, 3u);
        const uint8_t* first = rgb->at<uint8_t>(0, 1);
        const uint8_t* last = rgb->at<uint8_t>(255, 1);
        if (std::string(map) == "grey") {
            for (uint32_t x = 0; x < 256; ++x)
                for (int c = 0; c < 3; ++c) ASSERT_EQ(rgb->at<uint8_t>(x, 0)[c], x);
        }
        if (std::string(map) == "heat") {
            EXPECT_EQ(first[0] + first[1] + first[2], 0);
            EXPECT_EQ(last[0] + last[1] + last[2], 3 * 255);
        }
        if (std::string(map) == "rainbow") {
            EXPECT_EQ(first[2], 255);  // blue
            EXPECT_EQ(last[0], 255);   // red
        }
    }
    r = run_tool({"op", "pseudocolor", ramp_tif.str(), colour.str(), "sepia"});
    EXPECT_EQ(r.status, 1) << r.err;
}

TEST(Mvtool, RegionInfoAndScanDescribeARegionFile) {
    REQUIRE_MVTOOL();
    TempPath file("box.txt");
    mvimregion box{};
    box.regiontype = MVIMREGWINDOW;
    box.origin = {4, 6};
    box.region.window = {3, 2};
    ASSERT_EQ(mvirp_regionexport(nullptr, &box, file.c_str(), nullptr), 0);
    ToolRun r = run_tool({"region", "info", file.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("type:    MVIMREGWINDOW"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("bounds:  4, 6 to 7, 8"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("area:    6 pixels"), std::string::npos) << r.out;
    r = run_tool({"region", "scan", file.str(), "--window", "0,0,6,10"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "4 6 2\n4 7 2\n");
    r = run_tool({"region", "info", file.str() + ".missing"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find(failure_line(file.str() + ".missing", MVERR_FILENOTFOUND)), std::string::npos);
}

TEST(MvTool, DrawPutsTheFigureIntoTheFile) {
    REQUIRE_MVTOOL();
    mvtest::OwnedStack blank(40, 30, 1, MVTYPE_U8, 8, 1, MVCS_GREY);
    TempPath in("blank.tif"), out("drawn.tif");
    ASSERT_EQ(mvio8_tifwriteseq(nullptr, &blank.im, nullptr, in.c_str(), 8, 0, 0, nullptr), 0);
    ToolRun r = run_tool({"draw", in.str(), out.str(), "line", "2", "3", "30", "3", "--colour", "200"});
    ASSERT_EQ(r.status, 0) << r.err;
    mvtest::OwnedStack got(40, 30, 1, MVTYPE_U8, 8, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_tifreadseq(nullptr, &got.im, nullptr, out.c_str(), 0, nullptr, 0), 0);
    size_t inked = 0;
    for (uint8_t v : got.flat.pixels) inked += v != 0;
    EXPECT_EQ(29u, inked);
    EXPECT_EQ(200, got.flat.pixels[3 * 40 + 2]);
    EXPECT_EQ(1, run_tool({"draw", in.str(), out.str(), "spiral", "1"}).status);
    EXPECT_EQ(1, run_tool({"draw", in.str(), out.str(), "line", "1", "2"}).status);
}

TEST(MvTool, OpWithARegionWorksInsideItOnly) {
    REQUIRE_MVTOOL();
    mvtest::OwnedStack blank(20, 10, 1, MVTYPE_U8, 8, 1, MVCS_GREY);
    TempPath in("plain.tif"), out("negated.tif"), file("box.txt");
    ASSERT_EQ(mvio8_tifwriteseq(nullptr, &blank.im, nullptr, in.c_str(), 8, 0, 0, nullptr), 0);
    mvimregion box{};
    box.regiontype = MVIMREGWINDOW;
    box.origin = {4, 6};
    box.region.window = {3, 2};
    ASSERT_EQ(mvirp_regionexport(nullptr, &box, file.c_str(), nullptr), 0);
    ToolRun r = run_tool({"op", "--region", file.str(), "pixneg", in.str(), out.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    mvtest::OwnedStack got(20, 10, 1, MVTYPE_U8, 8, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_tifreadseq(nullptr, &got.im, nullptr, out.c_str(), 0, nullptr, 0), 0);
    for (uint32_t y = 0; y < 10; ++y)
        for (uint32_t x = 0; x < 20; ++x)
            ASSERT_EQ(got.flat.pixels[y * 20 + x], x >= 4 && x < 7 && y >= 6 && y < 8 ? 255 : 0) << x << "," << y;
    EXPECT_EQ(1, run_tool({"op", "--region", file.str(), "3x3median", in.str(), out.str()}).status);
}

TEST(MvTool, BlobsListsAndMarksTheBlobs) {
    REQUIRE_MVTOOL();
    // Two squares and one speck; the second square touches the right edge.
    mvtest::OwnedStack im(40, 30, 1, MVTYPE_U8, 8, 1, MVCS_GREY);
    const auto square = [&](int x0, int y0, int n) {
        for (int y = y0; y < y0 + n; ++y)
            for (int x = x0; x < x0 + n; ++x) im.flat.pixels[size_t(y) * 40 + x] = 200;
    };
    square(3, 4, 5);
    square(35, 10, 5);
    square(20, 25, 1);
    TempPath in("blobs.tif"), picture("marked.tif");
    ASSERT_EQ(mvio8_tifwriteseq(nullptr, &im.im, nullptr, in.c_str(), 8, 0, 0, nullptr), 0);
    ToolRun r = run_tool({"blobs", in.str(), "--csv", "--test", "gt", "--value", "100"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "blob,seed_x,seed_y,left,top,right,bottom,area,centre_x,centre_y\n"
              "1,3,4,3,4,8,9,25,5.000,6.000\n"
              "2,35,10,35,10,40,15,25,37.000,12.000\n"
              "3,20,25,20,25,21,26,1,20.000,25.000\n");
    r = run_tool({"blobs", in.str(), "--no-border", "--min", "2,2", "--draw", picture.str()});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("1 blobs, 2 rejected"), std::string::npos) << r.out;
    const auto marked = read_back(picture.str());
    ASSERT_TRUE(marked);
    EXPECT_EQ(3u, marked->im.pixfmt.pixies);
    EXPECT_NE(0, marked->pixels[(size_t(3) * 40 + 2) * 3 + 1]);  // the box's corner, in green
    EXPECT_EQ(1, run_tool({"blobs", in.str(), "--connect", "6"}).status);
}

}  // namespace

#endif
