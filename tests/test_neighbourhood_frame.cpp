// The neighbourhood driver's checks for operations that fix their data type.
#include "mvip.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(NeighbourhoodFrame, FixedTypeStillComparesSizesAndPixies) {
    std::vector<uint8_t> a(16, 9), b(25, 7), c(48, 5);
    const uint32_t d4[2] = {4, 4}, d5[2] = {5, 5};
    mvimage small, big, colour;
    ASSERT_EQ(0, mvimage_memory(&small, a.data(), d4, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0));
    ASSERT_EQ(0, mvimage_memory(&big, b.data(), d5, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0));
    ASSERT_EQ(0, mvimage_memory(&colour, c.data(), d4, 0, MVTYPE_U8, 0, 3, MVCS_BGR, 0));
    EXPECT_EQ(-1, mvip8_3x3sobel(nullptr, &small, &big, 3));
    EXPECT_LT(mvip8_3x3sobel(nullptr, &small, &colour, 3), 0);
    EXPECT_EQ(std::vector<uint8_t>(25, 7), b);
}

// A 6-bit image is seen by an 8-bit operation at full 8-bit scale and its
// result is written back at 6 bits.
TEST(NeighbourhoodFrame, FewerBitsAreScaledToTheFixedType) {
    std::vector<uint8_t> six(9 * 3), out(9 * 3), full(9 * 3), fullout(9 * 3);
    for (size_t i = 0; i < six.size(); ++i) {
        six[i] = (i % 9) < 4 ? 0 : 63;      // a vertical step
        full[i] = uint8_t(six[i] << 2);      // the same at 8 bits
    }
    const uint32_t dims[2] = {9, 3};
    mvimage s6, o6, s8, o8;
    ASSERT_EQ(0, mvimage_memory(&s6, six.data(), dims, 0, MVTYPE_U8, 6, 1, MVCS_GREY, 0));
    ASSERT_EQ(0, mvimage_memory(&o6, out.data(), dims, 0, MVTYPE_U8, 6, 1, MVCS_GREY, 0));
    ASSERT_EQ(0, mvimage_memory(&s8, full.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0));
    ASSERT_EQ(0, mvimage_memory(&o8, fullout.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0));
    ASSERT_EQ(0, mvip8_3x3sobel(nullptr, &s6, &o6, 3));
    ASSERT_EQ(0, mvip8_3x3sobel(nullptr, &s8, &o8, 3));
    for (size_t i = 0; i < out.size(); ++i) {
        EXPECT_LE(out[i], 63) << i;
        EXPECT_EQ(fullout[i] >> 2, out[i]) << i;
    }
}

}  // namespace
