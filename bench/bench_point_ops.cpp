// Throughput of point operations on a 2048 x 2048 image, u8 and u16, into
// a separate image and in place, next to the same work done by OpenCV
// (when built with it) and, for the copy, by memcpy.
//
// Figures are image bytes processed per second.  Each mvip benchmark is
// registered right before its counterpart so that a noisy machine affects
// both alike.  Names read op/type/route/library, e.g.
// "pixneg/u8/separate/mvip" and "pixneg/u8/separate/opencv".
//
// Before timing, every benchmark runs once and checks a sample of values
// against the operation's formula; a wrong answer skips the benchmark with
// a message instead of reporting a figure for broken code.
//
// OpenCV runs on one thread (cv::setNumThreads(0)), as mvip does.

#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr int kSide = 2048;
constexpr size_t kPixels = size_t{kSide} * kSide;

// Pixel buffer shared by an mvip record and (when present) a cv::Mat.
template <class T>
class Plane {
public:
    explicit Plane(uint32_t seed) : data_(kPixels) {
        uint32_t s = seed * 2654435761u + 1;
        for (T& v : data_) {
            s = s * 1664525u + 1013904223u;
            v = static_cast<T>(s >> (32 - 8 * sizeof(T)));
        }
        const uint32_t dims[2] = {kSide, kSide};
        rc_ = mvimage_memory(&im_, data_.data(), dims, 0, sizeof(T) == 1 ? MVTYPE_U8 : MVTYPE_U16,
                             8 * sizeof(T), 1, MVCS_GREY, 0);
    }
    Plane(const Plane&) = delete;
    Plane& operator=(const Plane&) = delete;

    bool ok() const { return rc_ == 0; }
    mvimage* im() { return &im_; }
    T* data() { return data_.data(); }
    const std::vector<T>& values() const { return data_; }
    size_t bytes() const { return kPixels * sizeof(T); }
#ifdef MVIP_HAVE_OPENCV
    cv::Mat mat() { return cv::Mat(kSide, kSide, sizeof(T) == 1 ? CV_8UC1 : CV_16UC1, data_.data()); }
#endif

private:
    std::vector<T> data_;
    mvimage im_{};
    int32_t rc_ = -1;
};

// One operation on planes of T: run it (src -> dst, which may be src) and
// give the expected result for a source value.
template <class T>
struct PointCase {
    std::function<int32_t(Plane<T>& src, Plane<T>& dst)> mvip;
#ifdef MVIP_HAVE_OPENCV
    std::function<void(cv::Mat& src, cv::Mat& dst)> opencv;
#endif
    std::function<T(T)> expect;
};

// Checks every 997th value of dst against expect(original source).
template <class T>
bool sample_ok(const std::vector<T>& before, const Plane<T>& dst, const std::function<T(T)>& expect) {
    for (size_t i = 0; i < kPixels; i += 997)
        if (dst.values()[i] != expect(before[i])) return false;
    return true;
}

template <class T>
void run_mvip(benchmark::State& state, const PointCase<T>& c, bool in_place) {
    Plane<T> src(1), other(2);
    if (!src.ok() || !other.ok()) {
        state.SkipWithError("image set-up failed");
        return;
    }
    Plane<T>& dst = in_place ? src : other;
    const std::vector<T> before = src.values();
    const int32_t rc = c.mvip(src, dst);
    if (rc != 0) {
        state.SkipWithError(("operation answered " + std::to_string(rc)).c_str());
        return;
    }
    if (!sample_ok(before, dst, c.expect)) {
        state.SkipWithError("wrong values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(c.mvip(src, dst));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.bytes()));
}

#ifdef MVIP_HAVE_OPENCV
template <class T>
void run_opencv(benchmark::State& state, const PointCase<T>& c, bool in_place) {
    cv::setNumThreads(0);
    Plane<T> src(1), other(2);
    Plane<T>& dst = in_place ? src : other;
    const std::vector<T> before = src.values();
    cv::Mat s = src.mat(), d = dst.mat();
    try {
        c.opencv(s, d);
    } catch (const cv::Exception& e) {
        state.SkipWithError(e.what());
        return;
    }
    if (d.data != reinterpret_cast<uchar*>(dst.data())) {
        state.SkipWithError("OpenCV reallocated the destination");
        return;
    }
    if (!sample_ok(before, dst, c.expect)) {
        state.SkipWithError("wrong values");
        return;
    }
    for (auto _ : state) {
        c.opencv(s, d);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.bytes()));
}
#endif

// Registers mvip's benchmark and, right after it, OpenCV's.
template <class T>
void register_pair(const std::string& name, const PointCase<T>& c) {
    for (bool in_place : {false, true}) {
        const std::string base = name + (sizeof(T) == 1 ? "/u8" : "/u16") + (in_place ? "/in_place" : "/separate");
        benchmark::RegisterBenchmark((base + "/mvip").c_str(),
                                     [c, in_place](benchmark::State& s) { run_mvip<T>(s, c, in_place); })
            ->Unit(benchmark::kMicrosecond);
#ifdef MVIP_HAVE_OPENCV
        if (c.opencv)
            benchmark::RegisterBenchmark((base + "/opencv").c_str(),
                                         [c, in_place](benchmark::State& s) { run_opencv<T>(s, c, in_place); })
                ->Unit(benchmark::kMicrosecond);
#endif
    }
}

#ifdef MVIP_HAVE_OPENCV
#define WITH_OPENCV(...) __VA_ARGS__
#else
#define WITH_OPENCV(...)
#endif

// A lookup table that is not a simple formula.
template <class T>
std::vector<T> make_table() {
    std::vector<T> t(size_t{1} << (8 * sizeof(T)));
    for (size_t i = 0; i < t.size(); ++i) t[i] = static_cast<T>((i * 2654435761u) >> 7);
    return t;
}

template <class T>
void register_type() {
    constexpr uint32_t top = sizeof(T) == 1 ? 0xFFu : 0xFFFFu;
    constexpr uint32_t add = sizeof(T) == 1 ? 40 : 10000;
    constexpr uint32_t thresh = sizeof(T) == 1 ? 100 : 30000;  // inside: v > thresh

    register_pair<T>("pixneg", {[](Plane<T>& s, Plane<T>& d) { return mvip8_pixneg(nullptr, s.im(), d.im()); },
                                WITH_OPENCV([](cv::Mat& s, cv::Mat& d) { cv::bitwise_not(s, d); }, )
                                [](T v) { return static_cast<T>(top - v); }});

    static const std::vector<T> table = make_table<T>();
    PointCase<T> map;
    if constexpr (sizeof(T) == 1) {
        map.mvip = [](Plane<T>& s, Plane<T>& d) { return mvip8_pixmap(nullptr, s.im(), d.im(), table.data(), 256); };
#ifdef MVIP_HAVE_OPENCV
        static const cv::Mat lut(1, 256, CV_8UC1, const_cast<T*>(table.data()));
        map.opencv = [](cv::Mat& s, cv::Mat& d) { cv::LUT(s, lut, d); };
#endif
    } else {
        // cv::LUT takes 8-bit sources only: mvip's figure stands alone.
        map.mvip = [](Plane<T>& s, Plane<T>& d) {
            return mvip8_pixmaps(nullptr, s.im(), d.im(), table.data(), uint32_t(table.size()));
        };
    }
    map.expect = [](T v) { return table[v]; };
    register_pair<T>(sizeof(T) == 1 ? "pixmap" : "pixmaps", map);

    register_pair<T>("pixadd_saturating",
                     {[](Plane<T>& s, Plane<T>& d) { return mvip8_pixadd(nullptr, s.im(), d.im(), add, 2); },
                      WITH_OPENCV([](cv::Mat& s, cv::Mat& d) { cv::add(s, cv::Scalar(add), d); }, )
                      [](T v) { return static_cast<T>(v + add > top ? top : v + add); }});

    register_pair<T>("pixthreshold2",
                     {[](Plane<T>& s, Plane<T>& d) {
                          return mvip8_pixthreshold2(nullptr, s.im(), d.im(), thresh + 1, top, top, 0);
                      },
                      WITH_OPENCV([](cv::Mat& s, cv::Mat& d) { cv::threshold(s, d, thresh, top, cv::THRESH_BINARY); }, )
                      [](T v) { return static_cast<T>(v > thresh ? top : 0); }});
}

// mvip8_copy against memcpy of the same bytes.
void BM_copy_mvip(benchmark::State& state) {
    Plane<uint8_t> src(1), dst(2);
    if (mvip8_copy(nullptr, src.im(), dst.im()) != 0 || dst.values() != src.values()) {
        state.SkipWithError("copy failed");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_copy(nullptr, src.im(), dst.im()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.bytes()));
}
void BM_copy_memcpy(benchmark::State& state) {
    Plane<uint8_t> src(1), dst(2);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), src.bytes());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.bytes()));
}
// Copying an image onto its own memory: nothing should move.
void BM_copy_mvip_same_memory(benchmark::State& state) {
    Plane<uint8_t> src(1);
    mvimage second{};
    const uint32_t dims[2] = {kSide, kSide};
    if (mvimage_memory(&second, src.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0) != 0) {
        state.SkipWithError("image set-up failed");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(mvip8_copy(nullptr, src.im(), &second));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.bytes()));
}

const bool registered = [] {
    register_type<uint8_t>();
    register_type<uint16_t>();
    benchmark::RegisterBenchmark("copy/u8/separate/mvip", BM_copy_mvip)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("copy/u8/separate/memcpy", BM_copy_memcpy)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("copy/u8/same_memory/mvip", BM_copy_mvip_same_memory)
        ->Unit(benchmark::kMicrosecond);
    return true;
}();

}  // namespace
