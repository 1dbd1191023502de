// The point-operation dispatcher and its table route.
#include "ops/point.hpp"

#include <memory>
#include <new>

namespace mvip::ops {

PointParams params_for(const mvimage* im) {
    PointParams p;
    p.maxval = max_value(im->pixfmt);
    p.bits = im->pixfmt.bits;
    if (is_float_type(im->pixfmt.datatype)) {
        const FloatRange r = float_range(im->pixfmt);
        p.lo = r.low;
        p.hi = r.high;
    }
    p.pixies = im->pixfmt.pixies;
    return p;
}

namespace {

template <class T>
void fill_identity(void* table, uint64_t n) {
    T* t = static_cast<T*>(table);
    for (uint64_t i = 0; i < n; ++i) t[i] = static_cast<T>(i);
}

// Runs the kernel once over a table of all 2^bits values and maps the
// image through it.  Answers 1 when the table route does not apply (the
// caller then runs the kernel directly).
int32_t try_table(mvabort* hook, mvimage* src, mvimage* dst, Kernel kernel,
                  const PointParams& params, const RunList* runs) {
    const uint32_t bits = src->pixfmt.bits;
    if (!is_int_type(src->pixfmt.datatype) || bits == 0 || bits > 24) return 1;
    const uint64_t n = uint64_t{1} << bits;
    const uint64_t area = runs ? run_area(*runs) : uint64_t{wind_width(src)} * wind_height(src);
    if (n > area / 2) return 1;
    const uint32_t bytes = pixie_bytes(src->pixfmt.datatype);
    std::unique_ptr<unsigned char[]> table(new (std::nothrow) unsigned char[n * bytes]);
    if (!table) return 1;
    switch (bytes) {
        case 1: fill_identity<uint8_t>(table.get(), n); break;
        case 2: fill_identity<uint16_t>(table.get(), n); break;
        default: fill_identity<uint32_t>(table.get(), n); break;
    }
    void* lines[4] = {table.get(), nullptr, nullptr, table.get()};
    kernel(lines, n, src->wind.nw.x, src->wind.nw.y, &params);
    return map_through_table(hook, src, dst, table.get(), n, runs);
}

}  // namespace

uint64_t run_area(const RunList& runs) {
    uint64_t area = 0;
    for (size_t i = 0; i < runs.count; ++i)
        if (runs.runs[i].len > 0) area += uint64_t(runs.runs[i].len);
    return area;
}

int32_t point_dispatch(mvabort* hook, mvimage* src, mvimage* dst, const KernelSet& kernels,
                       const PointParams& params, bool table_route, uint32_t extra_options,
                       const RunList* runs) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    return point_run(hook, src, dst, kernels, params, table_route, extra_options, runs);
}

int32_t point_run(mvabort* hook, mvimage* src, mvimage* dst, const KernelSet& kernels,
                  const PointParams& params, bool table_route, uint32_t extra_options,
                  const RunList* runs) {
    if (!src || !dst) return MVERR_USAGE;
    const int slot = type_slot(src->pixfmt.datatype);
    if (slot < 0 || !kernels[slot]) return MVERR_DATATYPE;
    if (table_route && !(extra_options & (kAnyBits | kAnyType))) {
        const int32_t rc = try_table(hook, src, dst, kernels[slot], params, runs);
        if (rc != 1) return rc;
    }
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.destination = dst;
    setup.options = types_of(kernels) | kColor | extra_options;
    setup.mask = all_pixies(src);
    setup.runs = runs;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(kernels[slot], kernels[slot], &params);
}

}  // namespace mvip::ops
