// Small helpers shared by the test files: kind tags and the behaviour every
// no-op slot must show.
#pragma once

#include "mvip.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#ifndef _WIN32
#include <unistd.h>
#endif

namespace mvtest {

inline bool kind_is(const char (&kind)[8], const char* tag) {
    char want[8] = {};
    std::memcpy(want, tag, std::strlen(tag) < 8 ? std::strlen(tag) : 8);
    return std::memcmp(kind, want, 8) == 0;
}

// A record whose access slots (other than aeiou and xwind) all do nothing:
// a null image, or any image after a failed window set.
inline void expect_noop_slots(mvimage& im) {
    uint8_t buf[256];
    std::memset(buf, 0xC3, sizeof buf);
    EXPECT_EQ(im.ioread(&im, 0, buf, 4, 0, 0), 0u);
    EXPECT_EQ(im.iorite(&im, 0, buf, 4, 0, 0), 0u);
    for (uint8_t b : buf) ASSERT_EQ(b, 0xC3);
    EXPECT_EQ(im.iolen(&im, 4, 0, 0), 0u);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 0);
    EXPECT_EQ(im.bxts(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 0);
    mvbxtentry list[2] = {{0, 0, 0}, {1, 0, 0}};
    EXPECT_EQ(im.bxtp(&im, -1, list, 2), 0);
    EXPECT_EQ(im.bxta(&im, -1, buf, list, 2, 3), 0u);
    EXPECT_EQ(im.iowait(&im), 1);
    EXPECT_EQ(im.bxtw(&im), 1);
    EXPECT_EQ(im.imapset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), MVERR_UNSUPPORTED);
    mvmapdesc d;
    d.runs = 7;
    EXPECT_EQ(im.imap(&im, &d, 0, 0), 0);
    EXPECT_EQ(d.runs, 0u);
    d.runs = 7;
    im.imapr(&im, &d);
    EXPECT_EQ(d.runs, 0u);
}

inline void expect_noop_slots(mvimage3& im) {
    uint8_t buf[256];
    std::memset(buf, 0xC3, sizeof buf);
    EXPECT_EQ(im.ioread(&im, 0, buf, 4, 0, 0, 0), 0u);
    EXPECT_EQ(im.iorite(&im, 0, buf, 4, 0, 0, 0), 0u);
    for (uint8_t b : buf) ASSERT_EQ(b, 0xC3);
    EXPECT_EQ(im.iolen(&im, 4, 0, 0, 0), 0u);
    EXPECT_EQ(im.ioset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 0);
    EXPECT_EQ(im.bxts(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 0);
    mvbxtentry list[2] = {{0, 0, 0}, {1, 0, 0}};
    EXPECT_EQ(im.bxtp(&im, -1, list, 2), 0);
    EXPECT_EQ(im.bxta(&im, -1, buf, list, 2, 3), 0u);
    EXPECT_EQ(im.iowait(&im), 1);
    EXPECT_EQ(im.bxtw(&im), 1);
    EXPECT_EQ(im.imapset(&im, 0, MVTYPE_U8 | MVREQ_LOW, 1), MVERR_UNSUPPORTED);
    mvmapdesc d;
    d.runs = 7;
    EXPECT_EQ(im.imap(&im, &d, 0, 0, 0), 0);
    EXPECT_EQ(d.runs, 0u);
    d.runs = 7;
    im.imapr(&im, &d);
    EXPECT_EQ(d.runs, 0u);
}

// Window words as an array, for word-by-word comparisons.
struct Wind6 {
    int32_t w[6];
};
inline Wind6 words_of(const mvimage& im) {
    Wind6 r;
    std::memcpy(r.w, &im.wind, sizeof r.w);
    return r;
}
inline bool wind_is(const mvimage& im, int32_t nx, int32_t ny, int32_t sx, int32_t sy) {
    Wind6 r = words_of(im);
    return r.w[0] == nx && r.w[1] == ny && r.w[2] == sx && r.w[3] == sy && r.w[4] == 0 &&
           r.w[5] == 0;
}

// True when every named host program can be run from this test: a name
// with a slash is a path, others are looked up on PATH.  Always false on
// Windows, where the tests run under Wine and cannot start Linux programs.
// Tests that run host tools through std::system or popen begin with
//   if (!mvtest::host_tools_available({"/usr/bin/python3", "tiffinfo"}))
//       GTEST_SKIP() << "needs /usr/bin/python3 and tiffinfo";
inline bool host_tools_available(std::initializer_list<const char*> tools) {
#ifdef _WIN32
    (void)tools;
    return false;
#else
    for (const char* tool : tools) {
        const std::string name = tool;
        bool found = false;
        if (name.find('/') != std::string::npos) {
            found = ::access(name.c_str(), X_OK) == 0;
        } else if (const char* path = std::getenv("PATH")) {
            const std::string dirs = path;
            size_t start = 0;
            while (!found && start <= dirs.size()) {
                size_t end = dirs.find(':', start);
                if (end == std::string::npos) end = dirs.size();
                const std::string dir = end > start ? dirs.substr(start, end - start) : ".";
                found = ::access((dir + "/" + name).c_str(), X_OK) == 0;
                start = end + 1;
            }
        }
        if (!found) return false;
    }
    return true;
#endif
}
inline bool host_tools_available(const char* tool) { return host_tools_available({tool}); }

}  // namespace mvtest
