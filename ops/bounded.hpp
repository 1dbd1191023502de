// The operations behind the exported point, histogram, moment and copy
// functions, with an optional run list: null walks the whole window (the
// mvip8_ functions), a list walks only its runs (the region forms).  None
// of them calls the hook at entry; the exported functions do that first.
#pragma once

#include "ops/frame.hpp"

namespace mvip::ops::bounded {

using R = const RunList*;

int32_t pixneg(mvabort* hook, mvimage* src, mvimage* dst, R runs);
int32_t pixshr(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n, R runs);
int32_t pixshl(mvabort* hook, mvimage* src, mvimage* dst, uint32_t n, R runs);
int32_t pixand(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m, R runs);
int32_t pixor(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m, R runs);
int32_t pixxor(mvabort* hook, mvimage* src, mvimage* dst, uint32_t m, R runs);
int32_t pixmsb(mvabort* hook, mvimage* src, mvimage* dst, R runs);

int32_t pixthreshold(mvabort* hook, mvimage* src, mvimage* dst, uint32_t low, uint32_t high,
                     uint32_t value, R runs);
int32_t pixthreshold2(mvabort* hook, mvimage* src, mvimage* dst, uint32_t low, uint32_t high,
                      uint32_t inside, uint32_t outside, R runs);
int32_t pixthreshold3(mvabort* hook, mvimage* src, mvimage* dst, const uint32_t low[3],
                      const uint32_t high[3], const uint32_t value[3], R runs);
int32_t pixthresholdcnt(mvabort* hook, mvimage* src, mvimage* dst, uint32_t low, uint32_t high,
                        uint32_t value, R runs);
int32_t pixthresholdcntf(mvabort* hook, mvimage* src, mvimage* dst, double low, double high,
                         double value, R runs);
int32_t pixcontrast(mvabort* hook, mvimage* src, mvimage* dst, int32_t low, int32_t high, R runs);
int32_t pixcontrastf(mvabort* hook, mvimage* src, mvimage* dst, double low, double high, R runs);
int32_t pixcontrastpivot(mvabort* hook, mvimage* src, mvimage* dst, uint32_t pivot2, double gain,
                         R runs);
int32_t pixcontrastperc(mvabort* hook, mvimage* src, mvimage* dst, uint32_t lowperc,
                        uint32_t highperc, uint32_t* lowvalue, uint32_t* highvalue, R runs);
int32_t pixgamma(mvabort* hook, mvimage* src, mvimage* dst, double gamma, R runs);
int32_t pixscale(mvabort* hook, mvimage* src, mvimage* dst, uint32_t a, uint32_t b, R runs);
int32_t pixscalef(mvabort* hook, mvimage* src, mvimage* dst, double factor, R runs);
int32_t pixadd(mvabort* hook, mvimage* src, mvimage* dst, int32_t value, int32_t mode, R runs);
int32_t pixaddf(mvabort* hook, mvimage* src, mvimage* dst, double value, R runs);

int32_t pixmap(mvabort* hook, mvimage* src, mvimage* dst, const uint8_t* table, uint32_t entries,
               R runs);
int32_t pixmaps(mvabort* hook, mvimage* src, mvimage* dst, const uint16_t* table,
                uint32_t entries, R runs);
int32_t pixmapl(mvabort* hook, mvimage* src, mvimage* dst, const uint32_t* table,
                uint32_t entries, R runs);

int32_t pixset(mvabort* hook, mvimage* im, uint32_t value, R runs);
int32_t pixset3(mvabort* hook, mvimage* im, uint32_t v0, uint32_t v1, uint32_t v2, R runs);
int32_t pixset3f(mvabort* hook, mvimage* im, double v0, double v1, double v2, R runs);

int32_t pixiecopy(mvabort* hook, mvimage* src, mvimage* dst, uint32_t from, uint32_t to, R runs);
int32_t pixiemin(mvabort* hook, mvimage* src, mvimage* dst, R runs);
int32_t pixiemax(mvabort* hook, mvimage* src, mvimage* dst, R runs);
int32_t pixieave(mvabort* hook, mvimage* src, mvimage* dst, R runs);

int32_t copy(mvabort* hook, mvimage* src, mvimage* dst, R runs);

int32_t histab(mvabort* hook, mvimage* src, uint32_t* hist, uint32_t bins, R runs);
int32_t histab2(mvabort* hook, mvimage* src, uint32_t* hist, uint32_t bins, R runs);
int32_t histab3(mvabort* hook, mvimage* src, uint32_t* hist, uint32_t bins, R runs);
int32_t histabpair(mvabort* hook, mvimage* src, mvimage* src2, uint32_t* hist, uint32_t bins,
                   R runs);

int32_t moments(mvabort* hook, mvimage* src, mvmoments* out, R runs);
int32_t momentsf(mvabort* hook, mvimage* src, mvmoments* out, R runs);
int32_t masscenter(mvabort* hook, mvimage* src, double* xc, double* yc, R runs);
int32_t masscenterbin(mvabort* hook, mvimage* src, double* xc, double* yc, uint64_t* area,
                      R runs);
int32_t masscenterpow(mvabort* hook, mvimage* src, double power, double* xc, double* yc, R runs);

}  // namespace mvip::ops::bounded

namespace mvip::ops {

// An exported whole-image operation: the hook at entry, then the bounded
// form over the whole window.
template <auto F, class... A>
int32_t whole(mvabort* hook, A... args) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    return F(hook, args..., nullptr);
}

}  // namespace mvip::ops
