// Fills: every pixie of a window set to one value, or a colour.
#include "ops/bounded.hpp"
#include "ops/point.hpp"

#include <cmath>
#include <type_traits>

namespace mvip::ops {
namespace {

template <class T>
void fill(void* buffer, size_t count, const double* values, uint32_t per) {
    T* v = static_cast<T*>(buffer);
    for (size_t i = 0; i < count; ++i) {
        // Integer values are truncated to the container (through a 64-bit
        // integer: a double out of the container's range cannot be cast).
        if constexpr (std::is_floating_point_v<T>) v[i] = static_cast<T>(values[i % per]);
        else v[i] = static_cast<T>(static_cast<uint64_t>(values[i % per]));
    }
}

// A value converted for storage in an image of the given format: integers
// rounded half away from zero and clipped to [0, maxval].
double storable(double x, const mvpixfmt& fmt) {
    if (is_float_type(fmt.datatype)) return x;
    const double top = max_value(fmt);
    if (!(x > 0)) return 0;
    return x >= top ? top : std::floor(x + 0.5);
}

// Opens the image for writing the pixies of `mask` and writes one filled
// line to every line of the window (or to every run).
int32_t fill_window(mvabort* hook, mvimage* im, uint32_t types, uint32_t mask,
                    const double* values, uint32_t per, const RunList* runs) {
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = im;
    setup.destination = im;
    setup.options = types | kColor;
    setup.mask = mask;
    setup.runs = runs;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    void* line = frame.buffer(0);
    const size_t count = frame.line_values();
    switch (frame.type()) {
        case MVTYPE_U8: fill<uint8_t>(line, count, values, per); break;
        case MVTYPE_U16: fill<uint16_t>(line, count, values, per); break;
        case MVTYPE_U32: fill<uint32_t>(line, count, values, per); break;
        case MVTYPE_FLOAT: fill<float>(line, count, values, per); break;
        default: fill<double>(line, count, values, per); break;
    }
    return frame.each_stretch([&](uint32_t x, uint32_t y, uint32_t n) {
        frame.write_stretch(Frame::kDestination, line, x, y, n);
    });
}

}  // namespace

namespace bounded {
int32_t pixset(mvabort* hook, mvimage* im, uint32_t value, R runs) {
    if (!im) return MVERR_USAGE;
    const double v = static_cast<double>(static_cast<uint32_t>(value));
    return fill_window(hook, im, MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32, all_pixies(im), &v, 1, runs);
}
int32_t pixset3(mvabort* hook, mvimage* im, uint32_t v0, uint32_t v1, uint32_t v2, R runs) {
    if (!im) return MVERR_USAGE;
    if (im->pixfmt.pixies < 3) return MVERR_COLORS;
    const double v[3] = {double(v0), double(v1), double(v2)};
    return fill_window(hook, im, MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32, 7u, v, 3, runs);
}
int32_t pixset3f(mvabort* hook, mvimage* im, double v0, double v1, double v2, R runs) {
    if (!im) return MVERR_USAGE;
    if (im->pixfmt.pixies < 3) return MVERR_COLORS;
    const double v[3] = {storable(v0, im->pixfmt), storable(v1, im->pixfmt),
                         storable(v2, im->pixfmt)};
    return fill_window(hook, im, kAllTypes, 7u, v, 3, runs);
}
}  // namespace bounded
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pixset(mvabort* hook, mvimage* im, uint32_t value) {
    return whole<bounded::pixset>(hook, im, value);
}
extern "C" MVIP_API int32_t mvip8_pixset3(mvabort* hook, mvimage* im, uint32_t v0, uint32_t v1,
                                          uint32_t v2) {
    return whole<bounded::pixset3>(hook, im, v0, v1, v2);
}
extern "C" MVIP_API int32_t mvipf_pixset3(mvabort* hook, mvimage* im, double v0, double v1,
                                          double v2) {
    return whole<bounded::pixset3f>(hook, im, v0, v1, v2);
}
