// The keys of the region text file, shared by the writer and the reader.
// Every fixed shape's parameters are consecutive 32-bit words after
// `origin`, in the order of their keys.
#pragma once

#include "regions/record.hpp"

namespace mvip::regions {

struct TextField {
    const char* name;  // after the shape's prefix
    bool is_float;
};

struct TextShape {
    uint32_t code;
    const char* prefix;  // "region.ellipse." and so on
    TextField fields[10];
    int count;
};

// The fixed shapes' keys; null for list shapes and MVIMREGWIND (no lines).
const TextShape* text_shape(uint32_t code);

inline uint32_t* shape_words(mvimregion* r) {
    return reinterpret_cast<uint32_t*>(reinterpret_cast<unsigned char*>(r) + offsetof(mvimregion, region));
}
inline const uint32_t* shape_words(const mvimregion* r) { return shape_words(const_cast<mvimregion*>(r)); }

constexpr char kSection[] = "[mvimregion]";
constexpr char kNegativeName[] = "MVIMREGNEGATIVE";

}  // namespace mvip::regions
