// The runner shared by the pair and triple operations.
#include "ops/pair.hpp"

namespace mvip::ops {

PairParams pair_params_for(const mvimage* first) {
    PairParams p;
    p.maxval = max_value(first->pixfmt);
    const uint32_t bits = first->pixfmt.bits;
    p.half = bits ? static_cast<uint32_t>(uint64_t{1} << (bits - 1)) : 0;
    p.mid = p.maxval ? (p.maxval - 1) / 2 : 0;
    if (is_float_type(first->pixfmt.datatype)) {
        const FloatRange r = float_range(first->pixfmt);
        p.lo = r.low;
        p.hi = r.high;
    }
    p.pixies = first->pixfmt.pixies;
    return p;
}

int32_t run_sources(mvabort* hook, mvimage* const* sources, int count, mvimage* dst,
                    const KernelSet& kernels, const PairParams& params, bool colour,
                    bool poll_entry, uint32_t extra_options, Kernel chosen) {
    if (poll_entry)
        if (const auto stop = hook_at_entry(hook)) return *stop;
    for (int i = 0; i < count; ++i)
        if (!sources[i]) return MVERR_USAGE;
    if (!dst) return MVERR_USAGE;
    Kernel kernel = chosen;
    if (!kernel) {
        const int slot = type_slot(sources[0]->pixfmt.datatype);
        if (slot < 0 || !kernels[slot]) return MVERR_DATATYPE;
        kernel = kernels[slot];
    }
    Setup setup;
    setup.hook = hook;
    for (int i = 0; i < count; ++i) setup.sources[i] = sources[i];
    setup.source_count = count;
    setup.destination = dst;
    setup.options = types_of(kernels) | extra_options | (colour ? uint32_t{kColor} : 0u);
    setup.mask = colour ? all_pixies_mask(dst->pixfmt.pixies) : 1u;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(kernel, kernel, &params);
}

}  // namespace mvip::ops
