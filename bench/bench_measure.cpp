// Histograms, moments, the exchange copy and the accumulating sum on
// 2048 x 2048 images, next to the same work done by OpenCV (one thread)
// or a plain loop, registered alternately so that a noisy machine affects
// both alike.  Two kinds of u8 content: noise (every bin in turn) and a
// smooth ramp (long stretches of one value, where counting into a single
// array waits on its own stores).
#include "bench_plane.hpp"
#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using bench::kPixels;
using bench::kSide;
using bench::Plane;

void bytes(benchmark::State& state, size_t per) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(per));
}

void BM_histab2_mvip(benchmark::State& state, bool smooth) {
    Plane<uint8_t> a(1, smooth);
    std::vector<uint32_t> hist(256);
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_histab2(nullptr, &a.im, hist.data(), 256));
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}
void BM_histab3_mvip(benchmark::State& state, bool smooth) {
    Plane<uint8_t> a(1, smooth, 3);
    std::vector<uint32_t> hist(3 * 64);
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_histab3(nullptr, &a.im, hist.data(), 64));
        benchmark::ClobberMemory();
    }
    bytes(state, 3 * kPixels);
}
void BM_moments_mvip(benchmark::State& state, bool binary) {
    Plane<uint8_t> a(1, false);
    mvmoments m{};
    double xc = 0, yc = 0;
    uint64_t area = 0;
    for (auto _ : state) {
        if (binary) benchmark::DoNotOptimize(mvip8_masscenterbin(nullptr, &a.im, &xc, &yc, &area));
        else benchmark::DoNotOptimize(mvip8_moments(nullptr, &a.im, &m));
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}
void BM_momentsf_mvip(benchmark::State& state) {
    std::vector<float> data(kPixels);
    for (size_t i = 0; i < kPixels; ++i) data[i] = float((i * 2654435761u) >> 24) / 255.0f;
    mvimage im{};
    const uint32_t dims[2] = {kSide, kSide};
    mvimage_memory(&im, data.data(), dims, 0, MVTYPE_FLOAT, 0, 1, MVCS_GREY, 0);
    mvmoments m{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_momentsf(nullptr, &im, &m));
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels * sizeof(float));
}
void BM_exchange_mvip(benchmark::State& state) {
    Plane<uint8_t> a(1, false), b(2, false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_copyexchange(nullptr, &a.im, &b.im));
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}
void BM_exchange_loop(benchmark::State& state) {
    Plane<uint8_t> a(1, false), b(2, false);
    for (auto _ : state) {
        std::swap_ranges(a.data.begin(), a.data.end(), b.data.begin());
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}
void BM_accumulate_mvip(benchmark::State& state) {
    Plane<uint8_t> a(1, false);
    Plane<uint16_t> b(2, false), d(3, false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_pairadd(nullptr, &a.im, &b.im, &d.im, 1));
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}

#ifdef MVIP_HAVE_OPENCV
void BM_histab2_opencv(benchmark::State& state, bool smooth) {
    cv::setNumThreads(0);
    Plane<uint8_t> a(1, smooth);
    cv::Mat m = a.mat(), hist;
    const int channels[] = {0}, sizes[] = {256};
    const float range[] = {0, 256};
    const float* ranges[] = {range};
    for (auto _ : state) {
        cv::calcHist(&m, 1, channels, cv::noArray(), hist, 1, sizes, ranges);
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}
void BM_histab3_opencv(benchmark::State& state, bool smooth) {
    cv::setNumThreads(0);
    Plane<uint8_t> a(1, smooth, 3);
    cv::Mat m(kSide, kSide, CV_8UC3, a.data.data()), hist[3];
    const int sizes[] = {64};
    const float range[] = {0, 256};
    const float* ranges[] = {range};
    for (auto _ : state) {
        for (int c = 0; c < 3; ++c) cv::calcHist(&m, 1, &c, cv::noArray(), hist[c], 1, sizes, ranges);
        benchmark::ClobberMemory();
    }
    bytes(state, 3 * kPixels);
}
void BM_moments_opencv(benchmark::State& state, bool binary) {
    cv::setNumThreads(0);
    Plane<uint8_t> a(1, false);
    cv::Mat m = a.mat();
    for (auto _ : state) {
        benchmark::DoNotOptimize(cv::moments(m, binary));
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}
void BM_momentsf_opencv(benchmark::State& state) {
    cv::setNumThreads(0);
    std::vector<float> data(kPixels);
    for (size_t i = 0; i < kPixels; ++i) data[i] = float((i * 2654435761u) >> 24) / 255.0f;
    cv::Mat m(kSide, kSide, CV_32FC1, data.data());
    for (auto _ : state) {
        benchmark::DoNotOptimize(cv::moments(m, false));
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels * sizeof(float));
}
void BM_accumulate_opencv(benchmark::State& state) {
    cv::setNumThreads(0);
    Plane<uint8_t> a(1, false);
    Plane<uint16_t> b(2, false), d(3, false);
    cv::Mat ma = a.mat(), mb = b.mat(), md = d.mat();
    for (auto _ : state) {
        cv::add(ma, mb, md, cv::noArray(), CV_16U);
        benchmark::ClobberMemory();
    }
    bytes(state, kPixels);
}
#endif

const bool registered = [] {
    auto reg = [](const std::string& name, auto fn) {
        benchmark::RegisterBenchmark(name.c_str(), fn)->Unit(benchmark::kMicrosecond);
    };
    for (bool smooth : {false, true}) {
        const std::string kind = smooth ? "/smooth" : "/noise";
        reg("histab2/u8" + kind + "/mvip", [smooth](benchmark::State& s) { BM_histab2_mvip(s, smooth); });
#ifdef MVIP_HAVE_OPENCV
        reg("histab2/u8" + kind + "/opencv", [smooth](benchmark::State& s) { BM_histab2_opencv(s, smooth); });
#endif
        reg("histab3/u8" + kind + "/mvip", [smooth](benchmark::State& s) { BM_histab3_mvip(s, smooth); });
#ifdef MVIP_HAVE_OPENCV
        reg("histab3/u8" + kind + "/opencv", [smooth](benchmark::State& s) { BM_histab3_opencv(s, smooth); });
#endif
    }
    for (bool binary : {false, true}) {
        const std::string name = binary ? "masscenterbin/u8" : "moments/u8";
        reg(name + "/mvip", [binary](benchmark::State& s) { BM_moments_mvip(s, binary); });
#ifdef MVIP_HAVE_OPENCV
        reg(name + "/opencv", [binary](benchmark::State& s) { BM_moments_opencv(s, binary); });
#endif
    }
    reg("momentsf/float/mvip", BM_momentsf_mvip);
#ifdef MVIP_HAVE_OPENCV
    reg("momentsf/float/opencv", BM_momentsf_opencv);
#endif
    reg("copyexchange/u8/mvip", BM_exchange_mvip);
    reg("copyexchange/u8/swap_ranges", BM_exchange_loop);
    reg("pairadd_accumulate/u8_u16/mvip", BM_accumulate_mvip);
#ifdef MVIP_HAVE_OPENCV
    reg("pairadd_accumulate/u8_u16/opencv", BM_accumulate_opencv);
#endif
    return true;
}();

}  // namespace
