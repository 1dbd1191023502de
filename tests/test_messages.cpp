// Result-code messages: the fixed text of every code, the 0x4000 marker,
// and the answers outside the table.
#include "mvip.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

struct CodeText {
    int32_t code;
    const char* text;
};

// Every entry of the message table, by code.  -29 has no text of its own
// and is checked separately.
const CodeText kMessages[] = {
    {-1, "Usage or internal error"},
    {-2, "Memory heap allocation error"},
    {-3, "Hardware device error"},
    {-4, "Canceled by user"},
    {-5, "Report logic error to Tarvell, Inc."},
    {-6, "Hardware option not installed or available"},
    {-7, "Windows file read/write error"},
    {-8, "Undetermined driver error"},
    {-9, "Mnemonic name not found"},
    {-10, "Invalid file format"},
    {-11, "Option/Feature/Operation not (currently) supported"},
    {-12, "No such item or object"},
    {-13, "File not found"},
    {-14, "File not creatable"},
    {-15, "Insufficient table space"},
    {-16, "Ill formed expression or constraint"},
    {-17, "Invalid mathematical operation"},
    {-18, "Invalid parameter or option specification"},
    {-19, "Data type, size not supported"},
    {-20, "Feature or operation not available in current environment"},
    {-21, "Color(s) not supported"},
    {-22, "Device access error"},
    {-23, "Driver or Resource already opened for use"},
    {-24, "Canceled after time out"},
    {-25, "Driver or Resource not opened for use"},
    {-26, "Insufficent memory on device"},
    {-27, "Feature is not installed"},
    {-28, "Function is an incomplete stub"},
    {-30, "Terminated by trigger"},
    {-31, "Area too small"},
    {-32, "Multiple units, or currently selected units, not supported"},
    {-33, "Invalid video format"},
    {-34, "Compression mode not supported"},
    {-35, "Implementation requires more space than provided"},
    {-36, "Timed command arrived too late for execution"},
    {-37, "Required resource not available"},
    {-38, "Required library/module not found"},
    {-39, "Required function in library/module not found"},
    {-40, "Wrong (version of) parameter"},
    {-41, "Internal error (bad chain)"},
    {-42, "Video resource already in use"},
    {-43, "Unknown device fault"},
    {-44, "Undetermined operating system error"},
    {-45, "Insufficient frame buffer memory"},
    {-46, "State changed during operation"},
    {-47, "Parameter(s) invalid for selected hardware"},
    {-48, "XWindows/X11 mode not supported"},
    {-49, "XWindows/X11 error"},
    {-50, "Feature not available in current version of software"},
    {-51, "Unknown error"},
    {-52, "Invalid image dimensions"},
    {-53, "Video state not found/defined"},
    {-54, "Driver is wrong version"},
    {-55, "Driver not installed or accessible"},
    {-56, "Current operating system not supported"},
    {-57, "File not found or creatable"},
    {-58, "Can't convert value/parameter, or can't perform operation, in 32 bit app on 64 bit O.S."},
    {-59, "Can't identify camera model"},
};

std::string text_of(int32_t code) {
    const char* m = mverrnomesg(code);
    return m ? std::string(m) : std::string("<null>");
}

TEST(Messages, EveryCodeHasItsExactText) {
    for (const CodeText& e : kMessages) {
        SCOPED_TRACE(e.code);
        ASSERT_NE(mverrnomesg(e.code), nullptr);
        EXPECT_EQ(text_of(e.code), e.text);
    }
    // The table has one entry per code from -1 to -59, -29 excepted.
    EXPECT_EQ(sizeof kMessages / sizeof kMessages[0], 58u);
}

TEST(Messages, MarkerBitIsIgnored) {
    // The same text with 0x4000 riding on the magnitude.
    for (const CodeText& e : kMessages) {
        int32_t marked = -(int32_t)((uint32_t)(-e.code) | 0x4000u);
        SCOPED_TRACE(marked);
        EXPECT_EQ(text_of(marked), e.text);
    }
    EXPECT_EQ(text_of(-(0x4000 | 2)), "Memory heap allocation error");
    EXPECT_EQ(text_of(-(0x4000 | 59)), "Can't identify camera model");
    // Magnitude bits above 0x3FFF are dropped along with the marker.
    EXPECT_EQ(text_of(-0xC002), "Memory heap allocation error");
    // The marker alone leaves magnitude 0: beyond the table.
    EXPECT_EQ(text_of(-0x4000), "Unknown error");
    EXPECT_EQ(text_of(-(0x4000 | 60)), "Unknown error");
}

TEST(Messages, MagnitudeWithoutMarkerBeyondTable) {
    // Without 0x4000 the magnitude is used whole, so these are beyond the
    // table even though their low bits name real codes.
    const int32_t beyond[] = {-60, -61, -100, -1000, -0x2002, -0x8002, -0x3FFF, -65536 - 2,
                              INT32_MIN, INT32_MIN + 1};
    for (int32_t code : beyond) {
        SCOPED_TRACE(code);
        EXPECT_EQ(text_of(code), "Unknown error");
    }
}

TEST(Messages, ZeroAndPositiveHaveNoMessage) {
    const int32_t codes[] = {0, 1, 5, 29, 59, 60, MVMAP_GRANT, MVMAP_GRANT_CONTINUE, INT32_MAX};
    for (int32_t code : codes) {
        SCOPED_TRACE(code);
        EXPECT_EQ(mverrnomesg(code), nullptr);
    }
}

TEST(Messages, CodeWithoutOwnTextStillInsideTable) {
    // -29 lies inside the table (magnitude 29 is below 60), so it answers the
    // table's own entry for that slot rather than the "beyond the table" path.
    // The table gives that slot no text; what matters to callers is that a
    // valid string comes back and that the neighbours have not shifted into it.
    const char* m = mverrnomesg(-29);
    ASSERT_NE(m, nullptr);
    std::string s(m);  // must be NUL-terminated
    EXPECT_NE(s, "Function is an incomplete stub");
    EXPECT_NE(s, "Terminated by trigger");
    EXPECT_EQ(text_of(-(0x4000 | 29)), s);
}

TEST(Messages, NamedConstantsMatchTheirTexts) {
    EXPECT_EQ(text_of(MVERR_USAGE), "Usage or internal error");
    EXPECT_EQ(text_of(MVERR_MEMORY), "Memory heap allocation error");
    EXPECT_EQ(text_of(MVERR_UNSUPPORTED), "Option/Feature/Operation not (currently) supported");
    EXPECT_EQ(text_of(MVERR_DATATYPE), "Data type, size not supported");
    EXPECT_EQ(text_of(MVERR_COLORS), "Color(s) not supported");
    EXPECT_EQ(text_of(MVERR_AREATOOSMALL), "Area too small");
    EXPECT_EQ(text_of(MVERR_UNKNOWN), "Unknown error");
}

}  // namespace
