// The cost of one call on a 64 x 64 u8 image from C, the counterpart of
// the Python package's per-call figures (bench/python/bench_python.py runs
// both in one session).  The images are made once; each iteration is one
// library call.

#include "mvip.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

constexpr uint32_t kSide = 64;

struct SmallImages {
    std::vector<uint8_t> in, out;
    mvimage src{}, dst{};
    SmallImages() : in(kSide * kSide), out(kSide * kSide) {
        for (uint32_t i = 0; i < kSide * kSide; ++i) in[i] = uint8_t(i * 2654435761u >> 11);
        const uint32_t dims[2] = {kSide, kSide};
        mvimage_memory(&src, in.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
        mvimage_memory(&dst, out.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    }
};

void BM_c_call_64_pixneg(benchmark::State& state) {
    SmallImages im;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_pixneg(nullptr, &im.src, &im.dst));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_c_call_64_pixneg);

void BM_c_call_64_3x3median(benchmark::State& state) {
    SmallImages im;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_3x3median(nullptr, &im.src, &im.dst));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_c_call_64_3x3median);

}  // namespace
