// Histograms of integer images, their percentiles, and the percentile
// contrast stretch built on them.
#include "ops/point.hpp"

#include <memory>
#include <new>

namespace mvip::ops {
namespace {

struct Histogram {  // table: uint32_t bins, maxval masks stray bits
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        uint32_t* bins = static_cast<uint32_t*>(const_cast<void*>(p.table));
        const uint32_t mask = p.maxval;
        for (size_t i = 0; i < n; ++i) ++bins[v[i] & mask];
    }
};

// Counts every value of the source's window (all pixies) into 2^bits bins.
int32_t count_values(mvabort* hook, mvimage* src, uint32_t* hist, uint64_t bins) {
    if (!src || !hist) return MVERR_USAGE;
    const uint32_t bits = src->pixfmt.bits;
    if (!is_int_type(src->pixfmt.datatype) || bits == 0 || bits > 32) return MVERR_DATATYPE;
    if (bits >= 32 || bins < (uint64_t{1} << bits)) return MVERR_USAGE;
    std::fill(hist, hist + (uint64_t{1} << bits), 0u);
    PointParams p = params_for(src);
    p.table = hist;
    static constexpr KernelSet kernels = kernels_for<Histogram, kInts>();
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.source_only = true;
    setup.options = MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32 | kColor;
    setup.mask = all_pixies(src);
    const int slot = type_slot(src->pixfmt.datatype);
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(kernels[slot], kernels[slot], &p);
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_histab2(mvabort* hook, mvimage* src, uint32_t* hist,
                                          uint32_t bins) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    return count_values(hook, src, hist, bins);
}

extern "C" MVIP_API int32_t mvip8_histstat2f(const uint32_t* hist, uint32_t bins,
                                             uint32_t percentiles[101]) {
    if (!hist || !percentiles || bins == 0) return MVERR_USAGE;
    uint64_t total = 0;
    for (uint32_t i = 0; i < bins; ++i) total += hist[i];
    uint64_t cumulative = 0;
    uint32_t value = 0;
    cumulative = hist[0];
    for (uint32_t p = 0; p <= 100; ++p) {
        // Smallest value whose cumulative count reaches p percent.
        while (cumulative * 100 < uint64_t{p} * total && value + 1 < bins) cumulative += hist[++value];
        percentiles[p] = value;
    }
    return 0;
}

extern "C" MVIP_API int32_t mvip8_pixcontrastperc(mvabort* hook, mvimage* src, mvimage* dst,
                                                  uint32_t lowperc, uint32_t highperc,
                                                  uint32_t* lowvalue, uint32_t* highvalue) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || lowperc > 100 || highperc > 100) return MVERR_USAGE;
    const uint32_t type = type_of(src->pixfmt.datatype);
    if (type != MVTYPE_U8 && type != MVTYPE_U16) return MVERR_DATATYPE;
    const uint32_t bits = src->pixfmt.bits;
    if (bits == 0 || bits > 16) return MVERR_DATATYPE;
    const uint32_t bins = 1u << bits;
    std::unique_ptr<uint32_t[]> hist(new (std::nothrow) uint32_t[bins]);
    if (!hist) return MVERR_MEMORY;
    if (hook && hook->abortfn) hook->abortfn(hook, 1, -2);  // phase mark
    uint32_t perc[101];
    int32_t rc = count_values(hook, src, hist.get(), bins);
    if (rc != 0) return rc;
    mvip8_histstat2f(hist.get(), bins, perc);
    hist.reset();
    if (lowvalue) *lowvalue = perc[lowperc];
    if (highvalue) *highvalue = perc[highperc];
    if (hook && hook->abortfn) hook->abortfn(hook, 2, -2);
    return mvip8_pixcontrast(hook, src, dst, static_cast<int32_t>(perc[lowperc]),
                             static_cast<int32_t>(perc[highperc]));
}
