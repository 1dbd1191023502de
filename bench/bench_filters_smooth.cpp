// Throughput of the smoothing, rank and N x N filters on a 2048 x 2048
// image into a separate image, u8 and u16, single-threaded, next to OpenCV
// doing the same work where it has it:
//
//   3x3median           cv::medianBlur, size 3
//   3x3lowpass w=1      cv::blur 3 x 3 (the mean of nine), replicated border
//   3x3lowpassf         cv::GaussianBlur 3 x 3, sigma 0 (the 1-2-1 kernel),
//                       replicated border
//   3x3ranklow/high     cv::erode / cv::dilate with the 3 x 3 rectangle
//
// Each mvip benchmark is registered right before its OpenCV counterpart so
// that a noisy machine affects both alike; running with
// --benchmark_enable_random_interleaving=true alternates them further.
// Before timing, each benchmark runs once and checks every 997th value:
// mvip exactly against the filter's formula, OpenCV to within 1 of it (its
// mean and blur round in their own way).  Figures are source bytes per
// second.  The other filters have no OpenCV counterpart and stand alone.

#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr int kSide = 2048;
constexpr size_t kPixels = size_t{kSide} * kSide;

// An image over its own buffer: smooth areas, steps and noise, so that
// medians, tolerances and thresholds meet every kind of neighbourhood.
template <class T>
class FilterImage {
public:
    explicit FilterImage(uint32_t seed) : data_(kPixels) {
        constexpr uint32_t top = sizeof(T) == 1 ? 0xFF : 0xFFFF;
        uint32_t s = seed * 2654435761u + 1;
        for (int y = 0; y < kSide; ++y)
            for (int x = 0; x < kSide; ++x) {
                s = s * 1664525u + 1013904223u;
                const uint32_t base = ((x / 61 + y / 47) & 1) ? top / 5 * 4 : top / 6;
                const uint32_t ramp = (x + 2 * y) % 37 * (top / 255);
                const uint32_t noise = (s >> 16) % (top / 8 + 1);
                data_[size_t(y) * kSide + x] = static_cast<T>(std::min(top, base + ramp + noise));
            }
        const uint32_t dims[2] = {kSide, kSide};
        rc_ = mvimage_memory(&im_, data_.data(), dims, 0, sizeof(T) == 1 ? MVTYPE_U8 : MVTYPE_U16,
                             8 * sizeof(T), 1, MVCS_GREY, 0);
    }
    FilterImage(const FilterImage&) = delete;
    FilterImage& operator=(const FilterImage&) = delete;

    bool ok() const { return rc_ == 0; }
    mvimage* im() { return &im_; }
    size_t bytes() const { return kPixels * sizeof(T); }
    // Replicated border.
    int64_t at(int x, int y) const {
        x = std::clamp(x, 0, kSide - 1);
        y = std::clamp(y, 0, kSide - 1);
        return data_[size_t(y) * kSide + x];
    }
    std::array<int64_t, 9> nine(int x, int y) const {
        return {at(x - 1, y - 1), at(x, y - 1), at(x + 1, y - 1), at(x - 1, y), at(x, y),
                at(x + 1, y),     at(x - 1, y + 1), at(x, y + 1), at(x + 1, y + 1)};
    }
#ifdef MVIP_HAVE_OPENCV
    cv::Mat mat() { return cv::Mat(kSide, kSide, sizeof(T) == 1 ? CV_8UC1 : CV_16UC1, data_.data()); }
#endif

private:
    std::vector<T> data_;
    mvimage im_{};
    int32_t rc_ = -1;
};

using Nine = std::array<int64_t, 9>;

// One filter: mvip's call, OpenCV's (may be empty) and the formula.
template <class T>
struct FilterCase {
    std::function<int32_t(mvimage* src, mvimage* dst)> mvip;
#ifdef MVIP_HAVE_OPENCV
    std::function<void(const cv::Mat& src, cv::Mat& dst)> opencv;
#endif
    std::function<int64_t(const Nine&)> expect;  // empty: no check (N x N filters)
};

// Every 997th value of dst within `slack` of the formula on src.
template <class T>
bool sample_ok(const FilterImage<T>& src, const FilterImage<T>& dst, const FilterCase<T>& c,
               int64_t slack) {
    if (!c.expect) return true;
    for (size_t i = 0; i < kPixels; i += 997) {
        const int x = int(i % kSide), y = int(i / kSide);
        const int64_t d = dst.at(x, y) - c.expect(src.nine(x, y));
        if (d > slack || d < -slack) return false;
    }
    return true;
}

template <class T>
void run_mvip(benchmark::State& state, const FilterCase<T>& c) {
    FilterImage<T> src(1), dst(2);
    if (!src.ok() || !dst.ok()) {
        state.SkipWithError("image set-up failed");
        return;
    }
    const int32_t rc = c.mvip(src.im(), dst.im());
    if (rc != 0) {
        state.SkipWithError(("operation answered " + std::to_string(rc)).c_str());
        return;
    }
    if (!sample_ok(src, dst, c, 0)) {
        state.SkipWithError("wrong values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(c.mvip(src.im(), dst.im()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.bytes()));
}

#ifdef MVIP_HAVE_OPENCV
template <class T>
void run_opencv(benchmark::State& state, const FilterCase<T>& c) {
    cv::setNumThreads(0);
    FilterImage<T> src(1), dst(2);
    const cv::Mat s = src.mat();
    cv::Mat d = dst.mat();
    try {
        c.opencv(s, d);
    } catch (const cv::Exception& e) {
        state.SkipWithError(e.what());
        return;
    }
    if (d.data != dst.mat().data) {
        state.SkipWithError("OpenCV reallocated the destination");
        return;
    }
    if (!sample_ok(src, dst, c, 1)) {
        state.SkipWithError("values differ from the formula");
        return;
    }
    for (auto _ : state) {
        c.opencv(s, d);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.bytes()));
}
#endif

template <class T>
void register_case(const std::string& name, const FilterCase<T>& c) {
    const std::string base = name + (sizeof(T) == 1 ? "/u8" : "/u16");
    benchmark::RegisterBenchmark((base + "/mvip").c_str(), [c](benchmark::State& s) { run_mvip<T>(s, c); })
        ->Unit(benchmark::kMicrosecond);
#ifdef MVIP_HAVE_OPENCV
    if (c.opencv)
        benchmark::RegisterBenchmark((base + "/opencv").c_str(),
                                     [c](benchmark::State& s) { run_opencv<T>(s, c); })
            ->Unit(benchmark::kMicrosecond);
#endif
}

#ifdef MVIP_HAVE_OPENCV
#define WITH_OPENCV(...) __VA_ARGS__
#else
#define WITH_OPENCV(...)
#endif

int64_t sorted_at(Nine n, size_t k) {
    std::nth_element(n.begin(), n.begin() + long(k), n.end());
    return n[k];
}

template <class T>
constexpr int64_t kTop = sizeof(T) == 1 ? 0xFF : 0xFFFF;

template <class T>
void register_type() {
    register_case<T>("3x3median",
                     {[](mvimage* s, mvimage* d) { return mvip8_3x3median(nullptr, s, d); },
                      WITH_OPENCV([](const cv::Mat& s, cv::Mat& d) { cv::medianBlur(s, d, 3); }, )
                      [](const Nine& n) { return sorted_at(n, 4); }});
    register_case<T>("3x3lowpass_w1",
                     {[](mvimage* s, mvimage* d) { return mvip8_3x3lowpass(nullptr, s, d, 1); },
                      WITH_OPENCV([](const cv::Mat& s, cv::Mat& d) {
                          cv::blur(s, d, cv::Size(3, 3), cv::Point(-1, -1), cv::BORDER_REPLICATE);
                      }, )
                      [](const Nine& n) {
                          int64_t sum = 0;
                          for (int64_t v : n) sum += v;
                          return (sum + 4) / 9;
                      }});
    register_case<T>("3x3lowpassf",
                     {[](mvimage* s, mvimage* d) { return mvip8_3x3lowpassf(nullptr, s, d); },
                      WITH_OPENCV([](const cv::Mat& s, cv::Mat& d) {
                          cv::GaussianBlur(s, d, cv::Size(3, 3), 0, 0, cv::BORDER_REPLICATE);
                      }, )
                      [](const Nine& n) {
                          return (n[0] + 2 * n[1] + n[2] + 2 * n[3] + 4 * n[4] + 2 * n[5] + n[6] +
                                  2 * n[7] + n[8] + 8) >> 4;
                      }});
    register_case<T>("3x3ranklow",
                     {[](mvimage* s, mvimage* d) { return mvip8_3x3ranklow(nullptr, s, d); },
                      WITH_OPENCV([](const cv::Mat& s, cv::Mat& d) {
                          cv::erode(s, d, cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3)),
                                    cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
                      }, )
                      [](const Nine& n) { return *std::min_element(n.begin(), n.end()); }});
    register_case<T>("3x3rankhigh",
                     {[](mvimage* s, mvimage* d) { return mvip8_3x3rankhigh(nullptr, s, d); },
                      WITH_OPENCV([](const cv::Mat& s, cv::Mat& d) {
                          cv::dilate(s, d, cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3)),
                                     cv::Point(-1, -1), 1, cv::BORDER_REPLICATE);
                      }, )
                      [](const Nine& n) { return *std::max_element(n.begin(), n.end()); }});

    // Without a counterpart.
    auto alone = [](std::function<int32_t(mvimage*, mvimage*)> call, std::function<int64_t(const Nine&)> expect) {
        FilterCase<T> c;
        c.mvip = std::move(call);
        c.expect = std::move(expect);
        return c;
    };
    register_case<T>("3x3medianw", alone([](mvimage* s, mvimage* d) { return mvip8_3x3medianw(nullptr, s, d); },
                                         [](const Nine& n) {
                                             std::array<int64_t, 11> e{};
                                             std::copy(n.begin(), n.end(), e.begin());
                                             e[9] = e[10] = n[4];
                                             std::nth_element(e.begin(), e.begin() + 5, e.end());
                                             return e[5];
                                         }));
    register_case<T>("3x3binmedian",
                     alone([](mvimage* s, mvimage* d) { return mvip8_3x3binmedian(nullptr, s, d); },
                           [](const Nine& n) {
                               const int64_t h = (kTop<T> + 1) / 2;
                               int set = 0;
                               for (int64_t v : n) set += (v & h) != 0;
                               return set >= 5 ? h : 0;
                           }));
    register_case<T>("3x3sharpenl",
                     alone([](mvimage* s, mvimage* d) { return mvip8_3x3sharpenl(nullptr, s, d); },
                           [](const Nine& n) {
                               return std::clamp<int64_t>(5 * n[4] - n[1] - n[3] - n[5] - n[7], 0, kTop<T>);
                           }));
    constexpr uint32_t tolerance = uint32_t(kTop<T> / 16);
    register_case<T>("3x3lowpassmear",
                     alone([](mvimage* s, mvimage* d) { return mvip8_3x3lowpassmear(nullptr, s, d, tolerance); },
                           [](const Nine& n) {
                               int64_t sum = n[4], count = 1;
                               for (int i = 0; i < 9; ++i)
                                   if (i != 4 && n[i] >= n[4] - tolerance && n[i] <= n[4] + tolerance)
                                       sum += n[i], ++count;
                               return (sum + count / 2) / count;
                           }));
    register_case<T>("3x3lowpasssalt",
                     alone([](mvimage* s, mvimage* d) { return mvip8_3x3lowpasssalt(nullptr, s, d, tolerance, 8); },
                           [](const Nine& n) {
                               int64_t sum = 0;
                               for (int i = 0; i < 9; ++i) {
                                   if (i == 4) continue;
                                   if (!(n[4] > n[i] + tolerance)) return n[4];
                                   sum += n[i];
                               }
                               return (sum + 4) >> 3;
                           }));
    static const int32_t laplace[9] = {0, 1, 0, 1, -4, 1, 0, 1, 0};
    register_case<T>("3x3convolve_laplace_mode1",
                     alone([](mvimage* s, mvimage* d) {
                         return mvip8_NxNconvolve(nullptr, s, d, 3, laplace, 0, 0, 1);
                     },
                           [](const Nine& n) {
                               const int64_t r = n[1] + n[3] + n[5] + n[7] - 4 * n[4];
                               return std::min<int64_t>(r < 0 ? -r : r, kTop<T>);
                           }));
    static const int32_t smooth5[25] = {1, 2, 3, 2, 1, 2, 4, 6, 4, 2, 3, 6, 9, 6, 3, 2, 4, 6, 4, 2, 1, 2, 3, 2, 1};
    register_case<T>("5x5convolve",
                     alone([](mvimage* s, mvimage* d) {
                         return mvip8_NxNconvolve(nullptr, s, d, 5, smooth5, 0, 0, 0);
                     }, {}));
    static const double smooth5f[25] = {1, 2, 3, 2, 1, 2, 4, 6, 4, 2, 3, 6, 9, 6, 3, 2, 4, 6, 4, 2, 1, 2, 3, 2, 1};
    register_case<T>("5x5convolvef",
                     alone([](mvimage* s, mvimage* d) {
                         return mvip8_NxNconvolvef(nullptr, s, d, 5, smooth5f, 0, 0, 0);
                     }, {}));
    register_case<T>("15x15dynthreshold",
                     alone([](mvimage* s, mvimage* d) { return mvip8_NxNdynthreshold(nullptr, s, d, 15, 2); },
                           {}));
}

const bool registered = [] {
    register_type<uint8_t>();
    register_type<uint16_t>();
    return true;
}();

}  // namespace
