// Throughput of pair operations on 2048 x 2048 images, u8 and u16, next to
// the same work done by OpenCV (when built with it), single-threaded.
// Each mvip benchmark is registered right before its OpenCV counterpart so
// that a noisy machine affects both alike.  Figures: bytes of one image per
// second.
#include "bench_plane.hpp"
#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#endif

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

using bench::kPixels;
using bench::kSide;
using bench::Plane;

using MvipPair = std::function<int32_t(mvimage*, mvimage*, mvimage*)>;

template <class T>
void run_mvip(benchmark::State& state, MvipPair op) {
    Plane<T> a(1), b(2), d(3);
    for (auto _ : state) {
        if (op(&a.im, &b.im, &d.im) != 0) {
            state.SkipWithError("operation failed");
            return;
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kPixels * sizeof(T)));
}

#ifdef MVIP_HAVE_OPENCV
using CvPair = std::function<void(cv::Mat&, cv::Mat&, cv::Mat&)>;
template <class T>
void run_cv(benchmark::State& state, CvPair op) {
    cv::setNumThreads(0);
    Plane<T> a(1), b(2), d(3);
    cv::Mat ma = a.mat(), mb = b.mat(), md = d.mat();
    for (auto _ : state) {
        op(ma, mb, md);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kPixels * sizeof(T)));
}
#endif

template <class T>
void register_pair(const std::string& name, MvipPair mv
#ifdef MVIP_HAVE_OPENCV
                   , CvPair cv
#endif
) {
    const std::string type = sizeof(T) == 1 ? "u8" : "u16";
    benchmark::RegisterBenchmark((name + "/" + type + "/mvip").c_str(),
                                 [mv](benchmark::State& s) { run_mvip<T>(s, mv); })
        ->Unit(benchmark::kMicrosecond);
#ifdef MVIP_HAVE_OPENCV
    benchmark::RegisterBenchmark((name + "/" + type + "/opencv").c_str(),
                                 [cv](benchmark::State& s) { run_cv<T>(s, cv); })
        ->Unit(benchmark::kMicrosecond);
#endif
}

#ifdef MVIP_HAVE_OPENCV
#define MVIP_CV(x) , x
#else
#define MVIP_CV(x)
#endif

template <class T>
void register_all() {
    register_pair<T>("pairadd_sat", [](mvimage* a, mvimage* b, mvimage* d) {
        return mvip8_pairadd(nullptr, a, b, d, 2);
    } MVIP_CV([](cv::Mat& a, cv::Mat& b, cv::Mat& d) { cv::add(a, b, d); }));
    register_pair<T>("pairsub_absdiff", [](mvimage* a, mvimage* b, mvimage* d) {
        return mvip8_pairsub(nullptr, a, b, d, 7);
    } MVIP_CV([](cv::Mat& a, cv::Mat& b, cv::Mat& d) { cv::absdiff(a, b, d); }));
    register_pair<T>("pairave", [](mvimage* a, mvimage* b, mvimage* d) {
        return mvip8_pairave(nullptr, a, b, d);
    } MVIP_CV([](cv::Mat& a, cv::Mat& b, cv::Mat& d) { cv::addWeighted(a, 0.5, b, 0.5, 0, d); }));
}

const bool registered = [] {
    register_all<uint8_t>();
    register_all<uint16_t>();
    return true;
}();

}  // namespace
