// Point operations restricted to a region: mvirp8_pix* and mvirpf_pix*.
// Each runs the kernels of its whole-image form over the region's runs.
#include "regions/region_runs.hpp"

using namespace mvip;
using namespace mvip::regions;
namespace b = mvip::ops::bounded;

extern "C" {

MVIP_API int32_t mvirp8_pixset(mvabort* hook, mvimregion* r, uint32_t value) {
    return region_op<mvip8_pixset, b::pixset>(hook, r, value);
}
MVIP_API int32_t mvirp8_pixset3(mvabort* hook, mvimregion* r, uint32_t v0, uint32_t v1, uint32_t v2) {
    return region_op<mvip8_pixset3, b::pixset3>(hook, r, v0, v1, v2);
}
MVIP_API int32_t mvirpf_pixset3(mvabort* hook, mvimregion* r, double v0, double v1, double v2) {
    return region_op<mvipf_pixset3, b::pixset3f>(hook, r, v0, v1, v2);
}

MVIP_API int32_t mvirp8_pixneg(mvabort* hook, mvimregion* r, mvimage* dst) {
    return region_op<mvip8_pixneg, b::pixneg>(hook, r, dst);
}
MVIP_API int32_t mvirp8_pixshr(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t n) {
    return region_op<mvip8_pixshr, b::pixshr>(hook, r, dst, n);
}
MVIP_API int32_t mvirp8_pixshl(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t n) {
    return region_op<mvip8_pixshl, b::pixshl>(hook, r, dst, n);
}
MVIP_API int32_t mvirp8_pixand(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t m) {
    return region_op<mvip8_pixand, b::pixand>(hook, r, dst, m);
}
MVIP_API int32_t mvirp8_pixor(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t m) {
    return region_op<mvip8_pixor, b::pixor>(hook, r, dst, m);
}
MVIP_API int32_t mvirp8_pixxor(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t m) {
    return region_op<mvip8_pixxor, b::pixxor>(hook, r, dst, m);
}
MVIP_API int32_t mvirp8_pixmsb(mvabort* hook, mvimregion* r, mvimage* dst) {
    return region_op<mvip8_pixmsb, b::pixmsb>(hook, r, dst);
}

MVIP_API int32_t mvirp8_pixiemin(mvabort* hook, mvimregion* r, mvimage* dst) {
    return region_op<mvip8_pixiemin, b::pixiemin>(hook, r, dst);
}
MVIP_API int32_t mvirp8_pixiemax(mvabort* hook, mvimregion* r, mvimage* dst) {
    return region_op<mvip8_pixiemax, b::pixiemax>(hook, r, dst);
}
MVIP_API int32_t mvirp8_pixieave(mvabort* hook, mvimregion* r, mvimage* dst) {
    return region_op<mvip8_pixieave, b::pixieave>(hook, r, dst);
}
MVIP_API int32_t mvirp8_pixiecopy(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t from,
                                  uint32_t to) {
    return region_op<mvip8_pixiecopy, b::pixiecopy>(hook, r, dst, from, to);
}

MVIP_API int32_t mvirp8_pixthreshold(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t low,
                                     uint32_t high, uint32_t value) {
    return region_op<mvip8_pixthreshold, b::pixthreshold>(hook, r, dst, low, high, value);
}
MVIP_API int32_t mvirp8_pixthreshold2(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t low,
                                      uint32_t high, uint32_t inside, uint32_t outside) {
    return region_op<mvip8_pixthreshold2, b::pixthreshold2>(hook, r, dst, low, high, inside,
                                                            outside);
}
MVIP_API int32_t mvirp8_pixthreshold3(mvabort* hook, mvimregion* r, mvimage* dst,
                                      const uint32_t low[3], const uint32_t high[3],
                                      const uint32_t value[3]) {
    return region_op<mvip8_pixthreshold3, b::pixthreshold3>(hook, r, dst, low, high, value);
}
MVIP_API int32_t mvirp8_pixthresholdcnt(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t low,
                                        uint32_t high, uint32_t value) {
    return region_op<mvip8_pixthresholdcnt, b::pixthresholdcnt>(hook, r, dst, low, high, value);
}
MVIP_API int32_t mvirpf_pixthresholdcnt(mvabort* hook, mvimregion* r, mvimage* dst, double low,
                                        double high, double value) {
    return region_op<mvipf_pixthresholdcnt, b::pixthresholdcntf>(hook, r, dst, low, high, value);
}

MVIP_API int32_t mvirp8_pixcontrast(mvabort* hook, mvimregion* r, mvimage* dst, int32_t low,
                                    int32_t high) {
    return region_op<mvip8_pixcontrast, b::pixcontrast>(hook, r, dst, low, high);
}
MVIP_API int32_t mvirpf_pixcontrast(mvabort* hook, mvimregion* r, mvimage* dst, double low,
                                    double high) {
    return region_op<mvipf_pixcontrast, b::pixcontrastf>(hook, r, dst, low, high);
}
MVIP_API int32_t mvirp8_pixcontrastpivot(mvabort* hook, mvimregion* r, mvimage* dst,
                                         uint32_t pivot2, double gain) {
    return region_op<mvip8_pixcontrastpivot, b::pixcontrastpivot>(hook, r, dst, pivot2, gain);
}
MVIP_API int32_t mvirp8_pixcontrastperc(mvabort* hook, mvimregion* r, mvimage* dst,
                                        uint32_t lowperc, uint32_t highperc, uint32_t* lowvalue,
                                        uint32_t* highvalue) {
    return region_op<mvip8_pixcontrastperc, b::pixcontrastperc>(hook, r, dst, lowperc, highperc,
                                                                lowvalue, highvalue);
}
MVIP_API int32_t mvirp8_pixgamma(mvabort* hook, mvimregion* r, mvimage* dst, double gamma) {
    return region_op<mvip8_pixgamma, b::pixgamma>(hook, r, dst, gamma);
}
MVIP_API int32_t mvirp8_pixscale(mvabort* hook, mvimregion* r, mvimage* dst, uint32_t a,
                                 uint32_t bden) {
    return region_op<mvip8_pixscale, b::pixscale>(hook, r, dst, a, bden);
}
MVIP_API int32_t mvirpf_pixscale(mvabort* hook, mvimregion* r, mvimage* dst, double factor) {
    return region_op<mvipf_pixscale, b::pixscalef>(hook, r, dst, factor);
}
MVIP_API int32_t mvirp8_pixadd(mvabort* hook, mvimregion* r, mvimage* dst, int32_t value,
                               int32_t mode) {
    return region_op<mvip8_pixadd, b::pixadd>(hook, r, dst, value, mode);
}
MVIP_API int32_t mvirpf_pixadd(mvabort* hook, mvimregion* r, mvimage* dst, double value) {
    return region_op<mvipf_pixadd, b::pixaddf>(hook, r, dst, value);
}

MVIP_API int32_t mvirp8_pixmap(mvabort* hook, mvimregion* r, mvimage* dst, const uint8_t* table,
                               uint32_t entries) {
    return region_op<mvip8_pixmap, b::pixmap>(hook, r, dst, table, entries);
}
MVIP_API int32_t mvirp8_pixmaps(mvabort* hook, mvimregion* r, mvimage* dst, const uint16_t* table,
                                uint32_t entries) {
    return region_op<mvip8_pixmaps, b::pixmaps>(hook, r, dst, table, entries);
}
MVIP_API int32_t mvirp8_pixmapl(mvabort* hook, mvimregion* r, mvimage* dst, const uint32_t* table,
                                uint32_t entries) {
    return region_op<mvip8_pixmapl, b::pixmapl>(hook, r, dst, table, entries);
}

}  // extern "C"
