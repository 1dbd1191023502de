// Small helpers shared by the test files: kind tags and the behaviour every
// no-op slot must show.
#pragma once

#include "mvip.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

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

}  // namespace mvtest
