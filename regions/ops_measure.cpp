// Histograms and moments of a region's pixels: mvirp8_histab*,
// mvirp8_moments*, mvirp8_masscenter*.  The kernels are those of the
// whole-image forms, walked over the region's runs.
#include "regions/region_runs.hpp"

using namespace mvip;
using namespace mvip::regions;
namespace b = mvip::ops::bounded;

extern "C" {

MVIP_API int32_t mvirp8_histab(mvabort* hook, mvimregion* r, uint32_t* hist, uint32_t bins) {
    return region_op<mvip8_histab, b::histab>(hook, r, hist, bins);
}
MVIP_API int32_t mvirp8_histab2(mvabort* hook, mvimregion* r, uint32_t* hist, uint32_t bins) {
    return region_op<mvip8_histab2, b::histab2>(hook, r, hist, bins);
}
MVIP_API int32_t mvirp8_histab3(mvabort* hook, mvimregion* r, uint32_t* hist, uint32_t bins) {
    return region_op<mvip8_histab3, b::histab3>(hook, r, hist, bins);
}
MVIP_API int32_t mvirp8_histabpair(mvabort* hook, mvimregion* r, mvimage* src2, uint32_t* hist,
                                   uint32_t bins) {
    return region_op<mvip8_histabpair, b::histabpair>(hook, r, src2, hist, bins);
}

MVIP_API int32_t mvirp8_moments(mvabort* hook, mvimregion* r, mvmoments* out) {
    return region_op<mvip8_moments, b::moments>(hook, r, out);
}
MVIP_API int32_t mvirp8_momentsf(mvabort* hook, mvimregion* r, mvmoments* out) {
    return region_op<mvip8_momentsf, b::momentsf>(hook, r, out);
}
MVIP_API int32_t mvirp8_masscenter(mvabort* hook, mvimregion* r, double* xc, double* yc) {
    return region_op<mvip8_masscenter, b::masscenter>(hook, r, xc, yc);
}
MVIP_API int32_t mvirp8_masscenterbin(mvabort* hook, mvimregion* r, double* xc, double* yc,
                                      uint64_t* area) {
    return region_op<mvip8_masscenterbin, b::masscenterbin>(hook, r, xc, yc, area);
}
MVIP_API int32_t mvirp8_masscenterpow(mvabort* hook, mvimregion* r, double power, double* xc,
                                      double* yc) {
    return region_op<mvip8_masscenterpow, b::masscenterpow>(hook, r, power, xc, yc);
}

}  // extern "C"
