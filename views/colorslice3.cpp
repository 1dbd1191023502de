// The 3-D colour slice ("ClrSlic3"): the colour slice of colorslice.cpp run
// plane by plane over a 3-D parent (planewise.hpp).
#include "views/planewise.hpp"

namespace mvip::view {
namespace {

int32_t build_flat(mvimage* flat, mvimage* section, const void* args, uint8_t follow) {
    uint32_t mask;
    std::memcpy(&mask, args, sizeof mask);
    return mvimage_colorslice(flat, section, follow, mask);
}

}  // namespace
}  // namespace mvip::view

extern "C" MVIP_API int32_t mvimage3_colorslice(mvimage3* v, mvimage3* parent, uint8_t follow,
                                                uint32_t mask) {
    if (!v) return MVERR_USAGE;
    return mvip::view::planewise::build(v, parent, follow, "ClrSlic3", mvip::view::build_flat,
                                        &mask, sizeof mask);
}
