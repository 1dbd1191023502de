// Histograms of integer images, their percentiles, and the percentile
// contrast stretch built on them.
#include "ops/bounded.hpp"
#include "ops/histogram_split.hpp"
#include "ops/point.hpp"

#include <memory>
#include <new>

namespace mvip::ops {
namespace {

uint32_t* bins_of(const PointParams& p) { return static_cast<uint32_t*>(const_cast<void*>(p.table)); }

struct Histogram {  // table: uint32_t bins, maxval masks stray bits
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        uint32_t* bins = bins_of(p);
        const uint32_t mask = p.maxval;
        for (size_t i = 0; i < n; ++i) ++bins[v[i] & mask];
    }
};

// Value v of `bits` bits falls into bin (v * bins) >> bits: bins of equal
// width over the whole range.
inline uint64_t bin_of(uint64_t v, uint64_t bins, uint32_t bits) { return (v * bins) >> bits; }

struct Binned {  // u[0] bins; u[1] pixies counted apart (1: all into one)
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        uint32_t* h = bins_of(p);
        const uint64_t bins = p.u[0];
        const uint32_t mask = p.maxval, bits = p.bits;
        if (p.u[1] <= 1) {
            for (size_t i = 0; i < n; ++i) ++h[bin_of(v[i] & mask, bins, bits)];
            return;
        }
        const size_t k = p.u[1];
        for (size_t i = 0; i + k <= n; i += k)
            for (size_t j = 0; j < k; ++j) ++h[j * bins + bin_of(v[i + j] & mask, bins, bits)];
    }
};

// The 8-bit forms with split counters, chosen with the vector forms (and
// held to the plain ones by the same tests); short runs go the plain way.
void count_u8(void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    const auto& p = *static_cast<const PointParams*>(params);
    if (count < kSplitMinimum) return typed_kernel<Histogram, uint8_t>(lines, count, x, y, params);
    uint16_t bin[256];
    for (uint32_t v = 0; v < 256; ++v) bin[v] = uint16_t(v & p.maxval);
    count_split_u8<1>(static_cast<const uint8_t*>(lines[kOutLine]), count, p.maxval + 1,
                      p.maxval == 255 ? nullptr : bin, bins_of(p));
}
void count_binned_u8(void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    const auto& p = *static_cast<const PointParams*>(params);
    const uint32_t per = p.u[1] <= 1 ? 1 : uint32_t(p.u[1]);
    if (count < kSplitMinimum || per == 2 || per > 3)
        return typed_kernel<Binned, uint8_t>(lines, count, x, y, params);
    uint16_t bin[256];
    for (uint32_t v = 0; v < 256; ++v) bin[v] = uint16_t(bin_of(v & p.maxval, p.u[0], p.bits));
    const auto* v = static_cast<const uint8_t*>(lines[kOutLine]);
    const uint32_t bins = uint32_t(p.u[0]);
    if (per == 1) count_split_u8<1>(v, count, bins, bin, bins_of(p));
    else count_split_u8<3>(v, count, bins, bin, bins_of(p));
}

// Kernel sets by level: the plain kernels, with the 8-bit one replaced
// from the vector levels on.
template <class Op>
constexpr LevelKernels counting_levels(Kernel u8) {
    KernelSet fast = kernels_for<Op, kInts>();
    fast[0] = u8;
    return {kernels_for<Op, kInts>(), fast, fast};
}

// Two sources: lines[0] the first, lines[kOutLine] the second, value by
// value; bin (first) * bins + bin (second).
template <class T>
void pair_histogram(void* const* lines, size_t count, int32_t, int32_t, const void* params) {
    const auto& p = *static_cast<const PointParams*>(params);
    const T* a = static_cast<const T*>(lines[0]);
    const T* b = static_cast<const T*>(lines[kOutLine]);
    uint32_t* h = bins_of(p);
    const uint64_t bins = p.u[0];
    const uint32_t mask = p.maxval, bits = p.bits;
    for (size_t i = 0; i < count; ++i)
        ++h[bin_of(a[i] & mask, bins, bits) * bins + bin_of(b[i] & mask, bins, bits)];
}
constexpr KernelSet kPairHistogram = {pair_histogram<uint8_t>, pair_histogram<uint16_t>,
                                      pair_histogram<uint32_t>, nullptr, nullptr};

// Integer images of 1 to 32 bits: 0 or -19.
int32_t countable(const mvimage* src) {
    const uint32_t bits = src->pixfmt.bits;
    if (!is_int_type(src->pixfmt.datatype) || bits == 0 || bits > 32) return MVERR_DATATYPE;
    return 0;
}

// Walks the source (and the second source) with a counting kernel.
int32_t count_walk(mvabort* hook, mvimage* src, mvimage* src2, uint32_t mask,
                   const KernelSet& kernels, const PointParams& p, const RunList* runs) {
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.sources[1] = src2;
    setup.source_count = src2 ? 2 : 1;
    setup.source_only = true;
    setup.options = MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32 | kColor;
    setup.mask = mask;
    setup.runs = runs;
    const int slot = type_slot(src->pixfmt.datatype);
    if (slot < 0 || !kernels[slot]) return MVERR_DATATYPE;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(kernels[slot], kernels[slot], &p);
}

// Counts every value of the source's window (all pixies) into 2^bits bins.
int32_t count_values(mvabort* hook, mvimage* src, uint32_t* hist, uint64_t bins,
                     const RunList* runs) {
    if (!src || !hist) return MVERR_USAGE;
    if (const int32_t rc = countable(src); rc < 0) return rc;
    const uint32_t bits = src->pixfmt.bits;
    if (bits >= 32 || bins < (uint64_t{1} << bits)) return MVERR_USAGE;
    std::fill(hist, hist + (uint64_t{1} << bits), 0u);
    PointParams p = params_for(src);
    p.table = hist;
    static constexpr LevelKernels kernels = counting_levels<Histogram>(count_u8);
    return count_walk(hook, src, nullptr, all_pixies(src), for_this_cpu(kernels), p, runs);
}

// Binned histograms: `per` histograms of `bins` bins each, cleared first.
int32_t count_binned(mvabort* hook, mvimage* src, mvimage* src2, uint32_t* hist, uint32_t bins,
                     uint32_t per, uint32_t mask, const RunList* runs) {
    if (!src || !hist) return MVERR_USAGE;
    if (const int32_t rc = countable(src); rc < 0) return rc;
    if (bins == 0 || bins > (uint64_t{1} << src->pixfmt.bits)) return MVERR_USAGE;
    const uint64_t cells = src2 ? uint64_t{bins} * bins : uint64_t{bins} * per;
    std::fill(hist, hist + cells, 0u);
    PointParams p = params_for(src);
    p.table = hist;
    p.u[0] = bins;
    p.u[1] = per;
    static constexpr LevelKernels binned = counting_levels<Binned>(count_binned_u8);
    return count_walk(hook, src, src2, mask, src2 ? kPairHistogram : for_this_cpu(binned), p, runs);
}

}  // namespace

namespace bounded {
int32_t histab2(mvabort* hook, mvimage* src, uint32_t* hist, uint32_t bins, R runs) {
    return count_values(hook, src, hist, bins, runs);
}
int32_t histab(mvabort* hook, mvimage* src, uint32_t* hist, uint32_t bins, R runs) {
    return count_binned(hook, src, nullptr, hist, bins, 1, src ? all_pixies(src) : 1, runs);
}
int32_t histab3(mvabort* hook, mvimage* src, uint32_t* hist, uint32_t bins, R runs) {
    if (src && src->pixfmt.pixies < 3) return MVERR_COLORS;
    return count_binned(hook, src, nullptr, hist, bins, 3, 7u, runs);
}
int32_t histabpair(mvabort* hook, mvimage* src, mvimage* src2, uint32_t* hist, uint32_t bins,
                   R runs) {
    if (!src2) return MVERR_USAGE;
    return count_binned(hook, src, src2, hist, bins, 1, src ? all_pixies(src) : 1, runs);
}

int32_t pixcontrastperc(mvabort* hook, mvimage* src, mvimage* dst, uint32_t lowperc,
                        uint32_t highperc, uint32_t* lowvalue, uint32_t* highvalue, R runs) {
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
    int32_t rc = count_values(hook, src, hist.get(), bins, runs);
    if (rc != 0) return rc;
    mvip8_histstat2f(hist.get(), bins, perc);
    hist.reset();
    if (lowvalue) *lowvalue = perc[lowperc];
    if (highvalue) *highvalue = perc[highperc];
    if (hook && hook->abortfn) hook->abortfn(hook, 2, -2);
    // The stretch is a call of its own, hook at entry included.
    if (const auto stop = hook_at_entry(hook)) return *stop;
    return pixcontrast(hook, src, dst, static_cast<int32_t>(perc[lowperc]),
                       static_cast<int32_t>(perc[highperc]), runs);
}
}  // namespace bounded
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_histab2(mvabort* hook, mvimage* src, uint32_t* hist,
                                          uint32_t bins) {
    return whole<bounded::histab2>(hook, src, hist, bins);
}
extern "C" MVIP_API int32_t mvip8_histab(mvabort* hook, mvimage* src, uint32_t* hist,
                                         uint32_t bins) {
    return whole<bounded::histab>(hook, src, hist, bins);
}
extern "C" MVIP_API int32_t mvip8_histab3(mvabort* hook, mvimage* src, uint32_t* hist,
                                          uint32_t bins) {
    return whole<bounded::histab3>(hook, src, hist, bins);
}
extern "C" MVIP_API int32_t mvip8_histabpair(mvabort* hook, mvimage* src, mvimage* src2,
                                             uint32_t* hist, uint32_t bins) {
    return whole<bounded::histabpair>(hook, src, src2, hist, bins);
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
    return whole<bounded::pixcontrastperc>(hook, src, dst, lowperc, highperc, lowvalue, highvalue);
}
