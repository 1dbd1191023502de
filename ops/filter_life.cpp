// One generation of the game of life on u8 images.  A cell is alive when
// its value has bit 7 set; with s the live cells among the nine (centre
// included), a live cell survives when s is 3 or 4 and a dead one is born
// when s is 3.  The new value is the old one shifted right by two, with
// bit 7 set for a live cell, so the low bits keep a fading trace of the
// cell's past.  Outside the window every cell is dead.
#include "ops/neighbourhood.hpp"

#include <type_traits>

namespace mvip::ops {
namespace {

struct Life {
    template <class T>
    static void apply(const T* const* rows, T* out, size_t width, const NeighbourhoodParams&) {
        static_assert(std::is_same_v<T, uint8_t>);
        const uint8_t* __restrict a = rows[0];
        const uint8_t* __restrict m = rows[1];
        const uint8_t* __restrict b = rows[2];
        uint8_t* __restrict o = out;
        for (size_t x = 0; x < width; ++x) {
            const uint8_t s = static_cast<uint8_t>(
                (a[x - 1] >> 7) + (a[x] >> 7) + (a[x + 1] >> 7) + (m[x - 1] >> 7) + (m[x] >> 7) +
                (m[x + 1] >> 7) + (b[x - 1] >> 7) + (b[x] >> 7) + (b[x + 1] >> 7));
            const uint8_t c = m[x];
            const bool alive = s == 3 || (s == 4 && c >= 128);
            o[x] = static_cast<uint8_t>((c >> 2) | (alive ? 128 : 0));
        }
    }
};

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_3x3life(mvabort* hook, mvimage* src, mvimage* dst) {
    static constexpr auto kernels = neighbourhood_kernels<Life, kU8>();
    Neighbourhood shape;
    shape.border = Border::zero;
    shape.types = MVTYPE_U8;
    return run_neighbourhood(hook, src, dst, shape, kernels, NeighbourhoodParams{});
}
