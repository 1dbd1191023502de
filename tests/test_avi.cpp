// AVI movies written and read back by the library: every writer form, the
// layout other readers depend on, the probe, and broken files.
#include "tests/file_util.hpp"

#include <cstring>
#include <functional>

namespace {

using mvtest::OwnedImage;
using mvtest::OwnedStack;
using mvtest::TempPath;

uint32_t u32(const std::vector<uint8_t>& b, size_t at) {
    return uint32_t(b[at]) | uint32_t(b[at + 1]) << 8 | uint32_t(b[at + 2]) << 16 | uint32_t(b[at + 3]) << 24;
}
void put32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}
// Position of the first occurrence of a four-character code at or after
// `from`, or npos.
size_t find(const std::vector<uint8_t>& b, const char* code, size_t from = 0) {
    for (size_t i = from; i + 4 <= b.size(); ++i)
        if (std::memcmp(b.data() + i, code, 4) == 0) return i;
    return std::string::npos;
}

enum class Form { Plain, Odml, Handle, OdmlHandle, Seq2 };

// Write every plane of `stack` in the given form.
int32_t write(Form form, mvimage3* stack, const char* path, const mvfileinfo* params = nullptr) {
    switch (form) {
        case Form::Plain: return mvio8_aviwriteseq(nullptr, stack, path, params, 0);
        case Form::Odml: return mvio8_aviodmlwriteseq(nullptr, stack, path, params, 0);
        default: break;
    }
    mvavifile* h = nullptr;
    int32_t rc = form == Form::OdmlHandle ? mvio8_aviodmlwriteseqinit(nullptr, &h, path, params, 0)
                                          : mvio8_aviwriteseqinit(nullptr, &h, path, params, 0);
    if (rc != 0) return rc;
    if (form == Form::Seq2) {
        rc = mvio8_aviwriteseq2(nullptr, &h, path, stack);
    } else {
        for (uint32_t z = 0; z < uint32_t(stack->wind.se.z) && rc == 0; ++z) {
            mvimage plane{};
            mvimage_def2from3(&plane, stack, 0, 2, z);
            rc = mvio8_aviwriteseqadd(nullptr, &h, path, &plane);
        }
    }
    return rc != 0 ? rc : mvio8_aviwriteseqdone(nullptr, &h, path);
}

struct RoundTrip {
    Form form;
    uint32_t pixies, cs, width;
};

class AviRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

// Frames come back as written: grey as grey, BGR as BGR, odd widths with
// their padding dropped, through every writer form.
TEST_P(AviRoundTrip, FramesComeBackExactly) {
    const RoundTrip& p = GetParam();
    const uint32_t w = p.width, h = 7, depth = 5;
    OwnedStack in(w, h, depth, MVTYPE_U8, 8, p.pixies, p.cs);
    in.flat.fill_natural(w + p.pixies);
    TempPath path("movie.avi");
    ASSERT_EQ(write(p.form, &in.im, path.c_str()), 0);

    mvfileinfo info{};
    ASSERT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
    EXPECT_STREQ(info.format, "avi");
    EXPECT_EQ(info.width, w);
    EXPECT_EQ(info.height, h);
    EXPECT_EQ(info.images, depth);
    EXPECT_EQ(info.pixfmt.pixies, p.pixies == 1 ? 1u : 3u);
    EXPECT_EQ(info.area.avi.opendml, p.form == Form::Odml || p.form == Form::OdmlHandle ? 1u : 0u);
    EXPECT_EQ(info.area.avi.rate, 25u);
    EXPECT_EQ(info.area.avi.scale, 1u);
    EXPECT_EQ(info.area.avi.supported, 1u);

    OwnedStack out(w, h, depth, MVTYPE_U8, 8, p.pixies, p.cs);
    ASSERT_EQ(mvio8_avireadseq(nullptr, &out.im, path.c_str(), 0, 0), 0);
    std::vector<uint8_t> expected = in.flat.pixels;
    if (p.cs == MVCS_RGB)  // RGB is stored as BGR and read back as BGR
        for (size_t i = 0; i < expected.size(); i += 3) std::swap(expected[i], expected[i + 2]);
    EXPECT_EQ(out.flat.pixels, expected);

    // Frames from an offset, into a stack of another form (grey of colour).
    OwnedStack tail(w, h, 2, MVTYPE_U16, 16, 1, MVCS_GREY);
    ASSERT_EQ(mvio8_avireadseq(nullptr, &tail.im, path.c_str(), 3, 0), 0);
    if (p.pixies == 1) {
        for (size_t i = 0; i < size_t(w) * h * 2; ++i)
            ASSERT_EQ(reinterpret_cast<uint16_t*>(tail.flat.pixels.data())[i] >> 8, in.flat.pixels[w * h * 3 + i]);
    }
    mvio8_fileinfodone(&info);
}

INSTANTIATE_TEST_SUITE_P(Forms, AviRoundTrip,
                         ::testing::Values(RoundTrip{Form::Plain, 1, MVCS_GREY, 13}, RoundTrip{Form::Plain, 3, MVCS_BGR, 13},
                                           RoundTrip{Form::Odml, 1, MVCS_GREY, 16}, RoundTrip{Form::Odml, 3, MVCS_BGR, 13},
                                           RoundTrip{Form::Handle, 3, MVCS_RGB, 5},
                                           RoundTrip{Form::OdmlHandle, 1, MVCS_GREY, 13},
                                           RoundTrip{Form::Seq2, 3, MVCS_BGR, 6}));

// The places other readers look: header sizes, the movi alignment, the
// first idx1 offset, the super index entries, the INFO list.
TEST(Avi, LayoutOfPlainAndOpenDmlFiles) {
    OwnedStack in(9, 4, 3, MVTYPE_U8, 8, 1, MVCS_GREY);
    char software[] = "mvip", comment[] = "odd", date[] = "2026:11:23 10:00:00";
    mvfileinfo params{};
    params.area.avi.scale = 1001;
    params.area.avi.rate = 30000;
    params.texts[MVTEXT_SOFTWARE] = software;
    params.texts[MVTEXT_DESCRIPTION] = comment;
    params.texts[MVTEXT_DATETIME] = date;
    for (bool odml : {false, true}) {
        SCOPED_TRACE(odml);
        TempPath path("layout.avi");
        ASSERT_EQ(odml ? mvio8_aviodmlwriteseq(nullptr, &in.im, path.c_str(), &params, 0)
                       : mvio8_aviwriteseq(nullptr, &in.im, path.c_str(), &params, 0),
                  0);
        const std::vector<uint8_t> b = mvtest::file_bytes(path.str());
        ASSERT_EQ(u32(b, 4), b.size() - 8);  // one RIFF list: its size is the file's
        const size_t strh = find(b, "strh");
        EXPECT_EQ(u32(b, strh + 4), odml ? 56u : 64u);
        EXPECT_EQ(u32(b, strh + 8 + 20), 1001u);
        EXPECT_EQ(u32(b, strh + 8 + 24), 30000u);
        EXPECT_EQ(u32(b, strh + 8 + 32), 3u);
        const size_t movi = find(b, "movi") - 8;
        if (odml) {
            EXPECT_EQ(movi % 8192, 0u);
            const size_t indx = find(b, "indx");
            EXPECT_EQ(u32(b, indx + 12), 1u);  // entries in use
            const size_t ix = find(b, "ix00");
            EXPECT_EQ(u32(b, indx + 32), ix);
            EXPECT_EQ(u32(b, indx + 44), 3u);  // frames in the list
            EXPECT_EQ(u32(b, find(b, "dmlh") + 8), 3u);
        } else {
            EXPECT_EQ(find(b, "indx"), std::string::npos);
            EXPECT_EQ(find(b, "JUNK"), std::string::npos);
        }
        const size_t idx1 = find(b, "idx1");
        EXPECT_EQ(u32(b, idx1 + 4), 48u);
        EXPECT_EQ(u32(b, idx1 + 8 + 4), 0x10u);  // key frames
        EXPECT_EQ(u32(b, idx1 + 8 + 8), 4u);
        EXPECT_EQ(u32(b, idx1 + 8 + 12), 12u * 4u);
        // INFO in the order ISFT, ICMT, ICRD; "odd" has an even length with
        // its zero, "mvip" is padded.
        const size_t isft = find(b, "ISFT"), icmt = find(b, "ICMT"), icrd = find(b, "ICRD");
        ASSERT_NE(isft, std::string::npos);
        EXPECT_EQ(u32(b, isft + 4), 5u);
        EXPECT_EQ(icmt, isft + 14);
        EXPECT_LT(icmt, icrd);
        EXPECT_EQ(find(b, "ICOP"), std::string::npos);

        mvfileinfo info{};
        ASSERT_EQ(mvio8_fileinfo(path.c_str(), &info, 0), 0);
        EXPECT_STREQ(info.texts[MVTEXT_SOFTWARE], "mvip");
        EXPECT_STREQ(info.texts[MVTEXT_DESCRIPTION], "odd");
        EXPECT_STREQ(info.texts[MVTEXT_DATETIME], date);
        EXPECT_EQ(info.texts[MVTEXT_COPYRIGHT], nullptr);
        EXPECT_EQ(info.area.avi.rate, 30000u);
        mvio8_fileinfodone(&info);
    }
    // A date alone writes no INFO list.
    mvfileinfo dated{};
    dated.texts[MVTEXT_DATETIME] = date;
    TempPath path("dated.avi");
    ASSERT_EQ(mvio8_aviwriteseq(nullptr, &in.im, path.c_str(), &dated, 0), 0);
    EXPECT_EQ(find(mvtest::file_bytes(path.str()), "INFO"), std::string::npos);
}

// What the writers refuse, and that a refusal leaves no file.
TEST(Avi, WritersRefuseAndDelete) {
    OwnedStack stack(8, 8, 2, MVTYPE_U8, 8, 1, MVCS_GREY);
    OwnedImage flat(8, 8, MVTYPE_U8, 8, 1, MVCS_GREY);
    OwnedStack two(8, 8, 2, MVTYPE_U8, 8, 2, MVCS_UNKNOWN);
    TempPath path("refused.avi");
    auto exists = [&] { return mvtest::file_exists(path.str()); };

    // A 2-D record given as a stack is refused by its window.
    mvtest::write_bytes(path.str(), {1, 2, 3});
    EXPECT_EQ(mvio8_aviwriteseq(nullptr, reinterpret_cast<mvimage3*>(&flat.im), path.c_str(), nullptr, 0), -1);
    EXPECT_FALSE(exists());
    EXPECT_EQ(mvio8_aviodmlwriteseq(nullptr, &two.im, path.c_str(), nullptr, 0), -11);
    EXPECT_EQ(mvio8_aviwriteseq(nullptr, nullptr, path.c_str(), nullptr, 0), -1);
    EXPECT_EQ(mvio8_aviwriteseq(nullptr, &stack.im, nullptr, nullptr, 0), -1);

    // Handles: a frame of another size fails, deletes and frees; a handle
    // pointer after done or failure is refused; done without frames fails.
    mvavifile* h = nullptr;
    ASSERT_EQ(mvio8_aviwriteseqinit(nullptr, &h, path.c_str(), nullptr, 0), 0);
    EXPECT_EQ(mvio8_aviwriteseqinit(nullptr, &h, path.c_str(), nullptr, 0), -1);  // not null
    ASSERT_EQ(mvio8_aviwriteseqadd(nullptr, &h, nullptr, &flat.im), 0);
    OwnedImage wider(9, 8, MVTYPE_U8, 8, 1, MVCS_GREY);
    EXPECT_EQ(mvio8_aviwriteseqadd(nullptr, &h, nullptr, &wider.im), -1);
    EXPECT_EQ(h, nullptr);
    EXPECT_FALSE(exists());
    EXPECT_EQ(mvio8_aviwriteseqadd(nullptr, &h, nullptr, &flat.im), -1);
    EXPECT_EQ(mvio8_aviwriteseqdone(nullptr, &h, nullptr), -1);
    ASSERT_EQ(mvio8_aviodmlwriteseqinit(nullptr, &h, path.c_str(), nullptr, 0), 0);
    EXPECT_EQ(mvio8_aviwriteseqdone(nullptr, &h, nullptr), -1);
    EXPECT_FALSE(exists());

    // A stop by the hook before the second plane deletes the file.
    mvtest::ScriptedHook stop;
    stop.at_line = 2;
    stop.stop = 7;
    EXPECT_EQ(mvio8_aviwriteseq(&stop.hook, &stack.im, path.c_str(), nullptr, 0), 7);
    EXPECT_FALSE(exists());
    ASSERT_GE(stop.calls.size(), 3u);
    EXPECT_EQ(stop.calls[0], std::make_pair(0, 0));
    EXPECT_EQ(stop.calls[1], std::make_pair(1, 2));
    EXPECT_EQ(stop.calls.back(), std::make_pair(2, 2));
}

// Broken files: each answers its code, never reads outside the file.
TEST(Avi, BrokenFilesAreRefused) {
    OwnedStack in(8, 6, 3, MVTYPE_U8, 8, 3, MVCS_BGR);
    in.flat.fill_natural(9);
    TempPath good("good.avi"), odml("odml.avi"), bad("bad.avi");
    ASSERT_EQ(mvio8_aviwriteseq(nullptr, &in.im, good.c_str(), nullptr, 0), 0);
    ASSERT_EQ(mvio8_aviodmlwriteseq(nullptr, &in.im, odml.c_str(), nullptr, 0), 0);
    const std::vector<uint8_t> plain = mvtest::file_bytes(good.str()), big = mvtest::file_bytes(odml.str());
    OwnedStack out(8, 6, 3, MVTYPE_U8, 8, 3, MVCS_BGR);

    struct Case {
        const char* what;
        std::function<std::vector<uint8_t>()> make;
        int32_t read, info;
    };
    const size_t idx1 = find(plain, "idx1"), strf = find(plain, "strf"), ix = find(big, "ix00");
    const Case cases[] = {
        {"not RIFF", [&] { auto b = plain; b[0] = 'X'; return b; }, -10, -10},
        {"cut in the headers", [&] { return std::vector<uint8_t>(plain.begin(), plain.begin() + 100); }, -10, -10},
        {"cut in the frames", [&] { auto b = plain; b.resize(find(plain, "00db") + 50); return b; }, -10, 0},
        {"idx1 entry past the end", [&] { auto b = plain; put32(b, idx1 + 8 + 16 + 8, 0x7FFFFF00); return b; }, -10, -10},
        {"idx1 size past the end", [&] { auto b = plain; put32(b, idx1 + 4, 0xFFFFFFF0); return b; }, 0, 0},
        {"ix00 entry past the end", [&] { auto b = big; put32(b, ix + 32 + 8, 0x7FFFFF00); return b; }, -10, -10},
        {"ix00 count past its chunk", [&] { auto b = big; put32(b, ix + 12, 1000000); return b; }, -10, -10},
        {"super index past the end", [&] { auto b = big; put32(b, find(big, "indx") + 32, 0x7FFFFFF0); return b; }, -10, -10},
        {"compressed frames", [&] { auto b = plain; std::memcpy(&b[strf + 8 + 16], "MJPG", 4); return b; }, -11, 0},
        {"zero width", [&] { auto b = plain; put32(b, strf + 8 + 4, 0); return b; }, -10, -10},
        {"absurd size", [&] { auto b = plain; put32(b, strf + 8 + 4, 0x7FFFFFFF); put32(b, strf + 8 + 8, 0x7FFFFFFF); return b; }, -11, 0},
        {"frames fewer than planes", [&] { auto b = plain; put32(b, idx1 + 4, 32); return b; }, -10, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        mvtest::write_bytes(bad.str(), c.make());
        EXPECT_EQ(mvio8_avireadseq(nullptr, &out.im, bad.c_str(), 0, 0), c.read);
        mvfileinfo info{};
        EXPECT_EQ(mvio8_fileinfo(bad.c_str(), &info, 0), c.info);
        mvio8_fileinfodone(&info);
    }
    // Header counts are not trusted: the indexes are.
    auto b = plain;
    put32(b, find(plain, "strh") + 8 + 32, 1000);
    mvtest::write_bytes(bad.str(), b);
    mvfileinfo info{};
    ASSERT_EQ(mvio8_fileinfo(bad.c_str(), &info, 0), 0);
    EXPECT_EQ(info.images, 3u);
    EXPECT_EQ(info.area.avi.headerframes, 1000u);
    EXPECT_EQ(mvio8_avireadseq(nullptr, &out.im, bad.c_str(), 1, 0), -10);  // 1 + 3 > 3 frames
    EXPECT_EQ(mvio8_avireadseq(nullptr, nullptr, bad.c_str(), 0, 0), -1);
    EXPECT_EQ(mvio8_avireadseq(nullptr, &out.im, "/nonexistent/x.avi", 0, 0), -13);
}

}  // namespace
