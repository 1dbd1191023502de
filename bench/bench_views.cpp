// Reading through views on a 2048 x 2048 image, next to a plain read of
// the same number of pixels from a memory image: the type converter
// (u16 with 12 significant bits shown as u8) and the colour slice (the
// middle pixie of a BGR u8 image).  Figures are pixels per second.
#include "mvip.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

constexpr uint32_t kSide = 2048;

template <class T>
std::vector<T> pattern(size_t n, uint32_t mask) {
    std::vector<T> v(n);
    uint32_t s = 12345;
    for (T& x : v) {
        s = s * 1664525u + 1013904223u;
        x = static_cast<T>((s >> 8) & mask);
    }
    return v;
}

// Reads every line of `im` as `type` with `mask` into a line buffer.
template <class T>
void read_lines(benchmark::State& state, mvimage& im, uint32_t type, uint32_t mask,
                uint32_t pixies_read) {
    std::vector<T> line(size_t{kSide} * pixies_read);
    if (mvimage_setwind(&im, 0, 0, -1, -1) != 0 || im.ioset(&im, 0, type | MVREQ_LOW, mask) < 0) {
        state.SkipWithError("set-up failed");
        return;
    }
    for (auto _ : state) {
        for (uint32_t y = 0; y < kSide; ++y)
            if (im.ioread(&im, 0, line.data(), kSide, 0, static_cast<int32_t>(y)) != kSide) {
                state.SkipWithError("short read");
                return;
            }
        benchmark::DoNotOptimize(line.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}

void BM_plain_u8(benchmark::State& state) {
    auto data = pattern<uint8_t>(size_t{kSide} * kSide, 0xFF);
    const uint32_t dims[2] = {kSide, kSide};
    mvimage im;
    mvimage_memory(&im, data.data(), dims, 0, MVTYPE_U8, 0, 1, MVCS_GREY, 0);
    read_lines<uint8_t>(state, im, MVTYPE_U8, 1, 1);
}
BENCHMARK(BM_plain_u8)->Unit(benchmark::kMicrosecond);

void BM_converter_u16_12bit_as_u8(benchmark::State& state) {
    auto data = pattern<uint16_t>(size_t{kSide} * kSide, 0xFFF);
    const uint32_t dims[2] = {kSide, kSide};
    mvimage im, view;
    mvimage_memory(&im, data.data(), dims, 0, MVTYPE_U16, 12, 1, MVCS_GREY, 0);
    mvpixfmt u8{};
    mvpixfmt_set(&u8, MVTYPE_U8, 0, 1, MVCS_GREY);
    if (mvimage_converter(&view, &im, &u8, 1, 0, 0, 0) != 0) state.SkipWithError("converter");
    read_lines<uint8_t>(state, view, MVTYPE_U8, 1, 1);
}
BENCHMARK(BM_converter_u16_12bit_as_u8)->Unit(benchmark::kMicrosecond);

void BM_slice_middle_of_bgr(benchmark::State& state) {
    auto data = pattern<uint8_t>(size_t{kSide} * kSide * 3, 0xFF);
    const uint32_t dims[2] = {kSide, kSide};
    mvimage im, slice;
    mvimage_memory(&im, data.data(), dims, 0, MVTYPE_U8, 0, 3, MVCS_BGR, 0);
    if (mvimage_colorslice(&slice, &im, 1, 2) != 0) state.SkipWithError("slice");
    read_lines<uint8_t>(state, slice, MVTYPE_U8, 1, 1);
}
BENCHMARK(BM_slice_middle_of_bgr)->Unit(benchmark::kMicrosecond);

}  // namespace
