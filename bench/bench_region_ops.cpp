// Region-bounded operations on a 2048 x 2048 u8 image over a region of
// 2048 lines with eight runs per line (runs of 128 pixels, gaps of 128:
// half the image), next to the whole-image operation and to OpenCV with a
// mask of the same pixels, all in the same run.
//
//   region_ops/pixneg/mvip_region   mvirp8_pixneg in place over the runs
//   region_ops/pixneg/mvip_whole    mvip8_pixneg in place on every pixel
//   region_ops/pixneg/opencv_mask   cv::bitwise_not(m, m, mask)
//   region_ops/histab2/...          mvirp8_histab2 / mvip8_histab2 /
//                                   cv::calcHist with the mask
//
// Before timing, the region form is checked against the mask once.

#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kSide = 2048, kRunsPerLine = 8, kRun = 128;

struct Setup {
    std::vector<uint8_t> pixels, mask;
    std::vector<uint64_t> record;
    mvimage im{};
    Setup() : pixels(size_t{kSide} * kSide), mask(pixels.size()) {
        uint32_t s = 12345;
        for (uint8_t& v : pixels) v = uint8_t((s = s * 1664525u + 1013904223u) >> 24);
        const uint32_t dims[2] = {kSide, kSide};
        mvimage_memory(&im, pixels.data(), dims, kSide, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
        const size_t runs = size_t{kSide} * kRunsPerLine;
        record.assign((MVIMREGION_SCANLIST_AT + 12 * runs) / 8 + 1, 0);
        mvimregion* r = region();
        r->image = im;
        r->regiontype = MVIMREGSCANLIST;
        r->reclen = record.size() * 8;
        r->region.scanlist.N = int32_t(runs);
        mvscanrun* list = r->region.scanlist.scanlists;
        for (int y = 0, i = 0; y < kSide; ++y)
            for (int k = 0; k < kRunsPerLine; ++k, ++i) {
                // Lines alternate the phase of their runs.
                const int x = 2 * k * kRun + (y % 2) * kRun / 2;
                list[i] = {{x, y}, kRun};
                std::memset(&mask[size_t(y) * kSide + size_t(x)], 255, kRun);
            }
    }
    mvimregion* region() { return reinterpret_cast<mvimregion*>(record.data()); }
};

Setup& shared() {
    static Setup s;
    return s;
}

bool region_neg_is_right() {
    Setup& s = shared();
    const std::vector<uint8_t> before = s.pixels;
    if (mvirp8_pixneg(nullptr, s.region(), &s.im) != 0) return false;
    for (size_t i = 0; i < before.size(); ++i)
        if (s.pixels[i] != (s.mask[i] ? uint8_t(255 - before[i]) : before[i])) return false;
    return true;
}

void pixneg_region(benchmark::State& state) {
    Setup& s = shared();
    if (!region_neg_is_right()) {
        state.SkipWithError("region form differs from the mask");
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(mvirp8_pixneg(nullptr, s.region(), &s.im));
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide / 2);
}
void pixneg_whole(benchmark::State& state) {
    Setup& s = shared();
    for (auto _ : state) benchmark::DoNotOptimize(mvip8_pixneg(nullptr, &s.im, &s.im));
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide / 2);
}
void histab_region(benchmark::State& state) {
    Setup& s = shared();
    std::vector<uint32_t> hist(256);
    for (auto _ : state) benchmark::DoNotOptimize(mvirp8_histab2(nullptr, s.region(), hist.data(), 256));
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide / 2);
}
void histab_whole(benchmark::State& state) {
    Setup& s = shared();
    std::vector<uint32_t> hist(256);
    for (auto _ : state) benchmark::DoNotOptimize(mvip8_histab2(nullptr, &s.im, hist.data(), 256));
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide / 2);
}

#ifdef MVIP_HAVE_OPENCV
void pixneg_opencv(benchmark::State& state) {
    cv::setNumThreads(0);
    Setup& s = shared();
    cv::Mat m(kSide, kSide, CV_8UC1, s.pixels.data()), mask(kSide, kSide, CV_8UC1, s.mask.data());
    for (auto _ : state) {
        cv::bitwise_not(m, m, mask);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide / 2);
}
void histab_opencv(benchmark::State& state) {
    cv::setNumThreads(0);
    Setup& s = shared();
    cv::Mat m(kSide, kSide, CV_8UC1, s.pixels.data()), mask(kSide, kSide, CV_8UC1, s.mask.data());
    const int channels[] = {0}, sizes[] = {256};
    const float range[] = {0, 256};
    const float* ranges[] = {range};
    cv::Mat hist;
    for (auto _ : state) {
        cv::calcHist(&m, 1, channels, mask, hist, 1, sizes, ranges);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * kSide * kSide / 2);
}
#endif

const bool registered = [] {
    benchmark::RegisterBenchmark("region_ops/pixneg/mvip_region", pixneg_region)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("region_ops/pixneg/mvip_whole", pixneg_whole)->Unit(benchmark::kMicrosecond);
#ifdef MVIP_HAVE_OPENCV
    benchmark::RegisterBenchmark("region_ops/pixneg/opencv_mask", pixneg_opencv)->Unit(benchmark::kMicrosecond);
#endif
    benchmark::RegisterBenchmark("region_ops/histab2/mvip_region", histab_region)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("region_ops/histab2/mvip_whole", histab_whole)->Unit(benchmark::kMicrosecond);
#ifdef MVIP_HAVE_OPENCV
    benchmark::RegisterBenchmark("region_ops/histab2/opencv_mask", histab_opencv)->Unit(benchmark::kMicrosecond);
#endif
    return true;
}();

}  // namespace
