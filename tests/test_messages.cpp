// Result-code messages: the fixed text of every code, the 0x4000 marker,
// and the answers outside the table.
#include "mvip.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {

// Every entry of the message table, by code (the named constants where the
// header has them); -29 has no text of its own and is checked apart.
const std::pair<int32_t, const char*> kMessages[] = {
    {MVERR_USAGE, "Usage or internal error"}, {MVERR_MEMORY, "Memory heap allocation error"},
    {-3, "Hardware device error"}, {-4, "Canceled by user"}, {-5, "Report logic error to Tarvell, Inc."},
    {-6, "Hardware option not installed or available"}, {-7, "Windows file read/write error"},
    {-8, "Undetermined driver error"}, {-9, "Mnemonic name not found"}, {-10, "Invalid file format"},
    {MVERR_UNSUPPORTED, "Option/Feature/Operation not (currently) supported"}, {-12, "No such item or object"},
    {-13, "File not found"}, {-14, "File not creatable"}, {-15, "Insufficient table space"},
    {-16, "Ill formed expression or constraint"}, {-17, "Invalid mathematical operation"},
    {-18, "Invalid parameter or option specification"}, {MVERR_DATATYPE, "Data type, size not supported"},
    {-20, "Feature or operation not available in current environment"}, {MVERR_COLORS, "Color(s) not supported"},
    {-22, "Device access error"}, {-23, "Driver or Resource already opened for use"}, {-24, "Canceled after time out"},
    {-25, "Driver or Resource not opened for use"}, {-26, "Insufficent memory on device"},
    {-27, "Feature is not installed"}, {-28, "Function is an incomplete stub"}, {-30, "Terminated by trigger"},
    {MVERR_AREATOOSMALL, "Area too small"}, {-32, "Multiple units, or currently selected units, not supported"},
    {-33, "Invalid video format"}, {-34, "Compression mode not supported"},
    {-35, "Implementation requires more space than provided"}, {-36, "Timed command arrived too late for execution"},
    {-37, "Required resource not available"}, {-38, "Required library/module not found"},
    {-39, "Required function in library/module not found"}, {-40, "Wrong (version of) parameter"},
    {-41, "Internal error (bad chain)"}, {-42, "Video resource already in use"}, {-43, "Unknown device fault"},
    {-44, "Undetermined operating system error"}, {-45, "Insufficient frame buffer memory"},
    {-46, "State changed during operation"}, {-47, "Parameter(s) invalid for selected hardware"},
    {-48, "XWindows/X11 mode not supported"}, {-49, "XWindows/X11 error"},
    {-50, "Feature not available in current version of software"}, {MVERR_UNKNOWN, "Unknown error"},
    {-52, "Invalid image dimensions"}, {-53, "Video state not found/defined"}, {-54, "Driver is wrong version"},
    {-55, "Driver not installed or accessible"}, {-56, "Current operating system not supported"},
    {-57, "File not found or creatable"},
    {-58, "Can't convert value/parameter, or can't perform operation, in 32 bit app on 64 bit O.S."},
    {-59, "Can't identify camera model"},
};

std::string text_of(int32_t code) {
    const char* m = mverrnomesg(code);
    return m ? std::string(m) : std::string("<null>");
}

TEST(Messages, EveryCodeHasItsExactText) {
    ASSERT_EQ(std::size(kMessages), 58u);  // -1 to -59, -29 apart
    for (const auto& [code, text] : kMessages) {
        EXPECT_EQ(text_of(code), text) << code;
        // The same text with 0x4000 riding on the magnitude.
        EXPECT_EQ(text_of(-(int32_t)((uint32_t)(-code) | 0x4000u)), text) << code;
    }
    // Magnitude bits above 0x3FFF are dropped along with the marker.
    EXPECT_EQ(text_of(-0xC002), "Memory heap allocation error");
    // -29 lies inside the table: a valid string of its own, not a
    // neighbour's, with or without the marker.
    const std::string own = text_of(-29);
    EXPECT_TRUE(own != "<null>" && own != "Function is an incomplete stub" && own != "Terminated by trigger");
    EXPECT_EQ(text_of(-(0x4000 | 29)), own);
}

TEST(Messages, OutsideTheTable) {
    // Without the marker the magnitude is used whole, so these are beyond
    // the table even though their low bits name real codes; the marker
    // alone leaves magnitude 0.
    for (int32_t code : {-60, -61, -100, -1000, -0x2002, -0x8002, -0x3FFF, -65536 - 2, INT32_MIN, INT32_MIN + 1, -0x4000,
                         -(0x4000 | 60)})
        EXPECT_EQ(text_of(code), "Unknown error") << code;
    for (int32_t code : {0, 1, 5, 29, 59, 60, MVMAP_GRANT, MVMAP_GRANT_CONTINUE, INT32_MAX})
        EXPECT_EQ(mverrnomesg(code), nullptr) << code;
}

}  // namespace
