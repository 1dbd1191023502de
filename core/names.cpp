// Name tables of colour spaces and units, with case-insensitive reverse
// lookups that search in a fixed order.
#include "core/record.hpp"

#include <cctype>
#include <iterator>

namespace {

struct Named {
    int32_t code;
    const char* name;
};

constexpr Named kColorSpaces[] = {
    {0, "Unknown"},
    {1, "Grey scale monochrome"},
    {2, "Complex numbers"},
    {3, "Blue Green Red color"},
    {4, "Blue Green Red Pad color"},
    {17, "Index into palette"},
    {18, "Cb Y Cr Y color"},
    {19, "Y Cr Cb Y Cr Cb color"},
    {20, "Y Cr Cb Y Cr Cb Pad color"},
    {33, "Bayer RGB color"},
    {34, "Y Cb Y Cr color"},
    {35, "Brightness Saturation Hue color"},
    {36, "Red Green Blue Pad color"},
    {50, "Cr Y Cb Y color"},
    {52, "Bayer RGB color"},
    {66, "Y Cr Y Cb color"},
    {67, "Red Green Blue color"},
    {68, "Cyan Magenta Yellow Black color"},
    {83, "Y I Q color"},
    {99, "Cyan Magenta Yellow color"},
};
// The reverse lookup's order; 52 is left out so its name maps back to 33.
constexpr int32_t kColorSpaceSearch[] = {0, 1, 33, 17, 2, 18, 34, 50, 66, 3,
                                         19, 35, 67, 4, 20, 36, 83, 99, 68};

constexpr Named kUnits[] = {
    {0, "Unknown"},       {109, "Meter"},       {114, "Ratio"}, {131, "Second"},
    {171, "Centimeter"},  {183, "Millimeter"},  {184, "Foot"},  {188, "Inch"},
};
constexpr int32_t kUnitSearch[] = {0, 114, 188, 184, 109, 183, 171, 131};

template <size_t N>
const char* name_of(const Named (&table)[N], int32_t code) {
    for (const Named& n : table)
        if (n.code == code) return n.name;
    return nullptr;
}

bool same_text_ignoring_case(const char* a, const char* b) {
    for (; *a && *b; ++a, ++b)
        if (std::tolower(static_cast<unsigned char>(*a)) !=
            std::tolower(static_cast<unsigned char>(*b)))
            return false;
    return *a == *b;
}

template <size_t N, size_t M>
int32_t code_of(const Named (&table)[N], const int32_t (&order)[M], const char* name) {
    if (!name) return -1;
    for (int32_t code : order)
        if (same_text_ignoring_case(name, name_of(table, code))) return code;
    return -1;
}

}  // namespace

extern "C" MVIP_API const char* mvcolorspace_name(int32_t code) {
    return name_of(kColorSpaces, code);
}
extern "C" MVIP_API int32_t mvcolorspace_code(const char* name) {
    return code_of(kColorSpaces, kColorSpaceSearch, name);
}
extern "C" MVIP_API int32_t mvcolorspace_swaporder(int32_t code) {
    switch (code) {
        case MVCS_BGR: return MVCS_RGB;
        case MVCS_RGB: return MVCS_BGR;
        case MVCS_BGRX: return MVCS_RGBX;
        case MVCS_RGBX: return MVCS_BGRX;
        default: return code;
    }
}
extern "C" MVIP_API const char* mvunits_name(int32_t code) { return name_of(kUnits, code); }
extern "C" MVIP_API int32_t mvunits_code(const char* name) {
    return code_of(kUnits, kUnitSearch, name);
}
