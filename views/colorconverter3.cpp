// The 3-D colour converter ("MVIMCLR3"): the colour converter of
// colorconverter.cpp run plane by plane over a 3-D parent (planewise.hpp).
#include "views/planewise.hpp"

namespace mvip::view {
namespace {

int32_t build_flat(mvimage* flat, mvimage* section, const void* args, uint8_t follow) {
    uint32_t colorspace;
    std::memcpy(&colorspace, args, sizeof colorspace);
    return mvimage_colorconverter(flat, section, colorspace, static_cast<int8_t>(follow));
}

}  // namespace
}  // namespace mvip::view

extern "C" MVIP_API int32_t mvimage3_colorconverter(mvimage3* v, mvimage3* parent,
                                                    uint32_t colorspace, int8_t flag) {
    if (!v) return MVERR_USAGE;
    return mvip::view::planewise::build(v, parent, flag != 0 ? 1 : 0, "MVIMCLR3",
                                        mvip::view::build_flat, &colorspace, sizeof colorspace);
}
