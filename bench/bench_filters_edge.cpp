// Throughput of the edge operators and the life step on a 2048 x 2048 u8
// image into a separate image, single-threaded.  The Sobel magnitude (mode
// 3, min(|g|, 255)) runs next to OpenCV doing the same kind of work:
//
//  - ".../opencv-magnitude": cv::Sobel dx and dy into CV_16S, both
//    converted to CV_32F, cv::magnitude, converted to CV_8U with
//    saturation: the same Euclidean magnitude (rounded instead of
//    truncated), the closest like-for-like;
//  - ".../opencv-l1": cv::Sobel dx and dy into CV_16S, cv::convertScaleAbs
//    on both and cv::addWeighted(0.5, 0.5): the usual cheap idiom, which
//    approximates the magnitude by (|gx| + |gy|) / 2.
//
// Both OpenCV forms use BORDER_CONSTANT (zeros outside), as mvip's mode 3
// does.  Each mvip benchmark is registered right before its counterparts so
// that a noisy machine affects them alike; running with
// --benchmark_enable_random_interleaving=true alternates them further.
// Before timing, each benchmark runs once and checks sample values (mvip
// exactly against the formula, OpenCV's magnitude to within 1 of mvip's).
// Figures are source bytes per second.

#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr int kSide = 2048;
constexpr size_t kPixels = size_t{kSide} * kSide;

// A u8 image over its own buffer: a smooth pattern with sharp steps and
// noise, so gradients of every size occur.
class EdgeImage {
public:
    explicit EdgeImage(uint32_t seed) : data_(kPixels) {
        uint32_t s = seed * 2654435761u + 1;
        for (int y = 0; y < kSide; ++y)
            for (int x = 0; x < kSide; ++x) {
                s = s * 1664525u + 1013904223u;
                const int base = ((x / 61 + y / 47) & 1) ? 200 : 40;
                const int ramp = (x + 2 * y) % 37;
                data_[size_t(y) * kSide + x] = static_cast<uint8_t>(base + ramp + int(s >> 28));
            }
        const uint32_t dims[2] = {kSide, kSide};
        rc_ = mvimage_memory(&im_, data_.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    }
    EdgeImage(const EdgeImage&) = delete;
    EdgeImage& operator=(const EdgeImage&) = delete;

    bool ok() const { return rc_ == 0; }
    mvimage* im() { return &im_; }
    uint8_t* data() { return data_.data(); }
    int at(int x, int y) const {
        return x < 0 || y < 0 || x >= kSide || y >= kSide ? 0 : data_[size_t(y) * kSide + x];
    }
#ifdef MVIP_HAVE_OPENCV
    cv::Mat mat() { return cv::Mat(kSide, kSide, CV_8UC1, data_.data()); }
#endif

private:
    std::vector<uint8_t> data_;
    mvimage im_{};
    int32_t rc_ = -1;
};

// The Sobel magnitude of the zero-extended source at (x, y).
int sobel_magnitude(const EdgeImage& s, int x, int y) {
    auto p = [&](int dx, int dy) { return s.at(x + dx, y + dy); };
    const int gx = (p(1, -1) + 2 * p(1, 0) + p(1, 1)) - (p(-1, -1) + 2 * p(-1, 0) + p(-1, 1));
    const int gy = (p(-1, -1) + 2 * p(0, -1) + p(1, -1)) - (p(-1, 1) + 2 * p(0, 1) + p(1, 1));
    int k = int(std::sqrt(double(gx * gx + gy * gy)));
    while (k * k > gx * gx + gy * gy) --k;
    return k;
}

using Check = std::function<bool(const EdgeImage& src, const EdgeImage& dst)>;

// Every 997th pixel.
bool sample(const std::function<bool(int x, int y)>& ok) {
    for (size_t i = 0; i < kPixels; i += 997)
        if (!ok(int(i % kSide), int(i / kSide))) return false;
    return true;
}

void run_mvip(benchmark::State& state, const std::function<int32_t(mvimage*, mvimage*)>& op, const Check& check) {
    EdgeImage src(1), dst(2);
    if (!src.ok() || !dst.ok()) {
        state.SkipWithError("image set-up failed");
        return;
    }
    if (const int32_t rc = op(src.im(), dst.im()); rc != 0) {
        state.SkipWithError(("operation answered " + std::to_string(rc)).c_str());
        return;
    }
    if (check && !check(src, dst)) {
        state.SkipWithError("wrong values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(op(src.im(), dst.im()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kPixels));
}

#ifdef MVIP_HAVE_OPENCV
void run_opencv(benchmark::State& state, const std::function<void(const cv::Mat&, cv::Mat&)>& op, const Check& check) {
    cv::setNumThreads(0);  // run sequentially, as mvip does
    EdgeImage src(1), dst(2);
    cv::Mat s = src.mat(), d = dst.mat();
    try {
        op(s, d);
    } catch (const cv::Exception& e) {
        state.SkipWithError(e.what());
        return;
    }
    if (d.data != dst.data()) {
        state.SkipWithError("OpenCV reallocated the destination");
        return;
    }
    if (check && !check(src, dst)) {
        state.SkipWithError("wrong values");
        return;
    }
    for (auto _ : state) {
        op(s, d);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kPixels));
}

// Working planes kept between iterations, as a caller doing this
// repeatedly would.
struct CvPlanes {
    cv::Mat dx, dy, fx, fy, mag, ax, ay;
};
CvPlanes& cv_planes() {
    static CvPlanes p;
    return p;
}
#endif

void register_mvip(const std::string& name, std::function<int32_t(mvimage*, mvimage*)> op, Check check) {
    benchmark::RegisterBenchmark(("edge/" + name + "/u8/mvip").c_str(),
                                 [op, check](benchmark::State& s) { run_mvip(s, op, check); })
        ->Unit(benchmark::kMicrosecond);
}

int register_all() {
    const Check sobel3_check = [](const EdgeImage& s, const EdgeImage& d) {
        return sample([&](int x, int y) { return d.at(x, y) == std::min(sobel_magnitude(s, x, y), 255); });
    };
    register_mvip("sobel3", [](mvimage* s, mvimage* d) { return mvip8_3x3sobel(nullptr, s, d, 3); }, sobel3_check);
#ifdef MVIP_HAVE_OPENCV
    const Check near_check = [](const EdgeImage& s, const EdgeImage& d) {
        return sample([&](int x, int y) { return std::abs(d.at(x, y) - std::min(sobel_magnitude(s, x, y), 255)) <= 1; });
    };
    benchmark::RegisterBenchmark(
        "edge/sobel3/u8/opencv-magnitude",
        [near_check](benchmark::State& st) {
            run_opencv(
                st,
                [](const cv::Mat& s, cv::Mat& d) {
                    CvPlanes& p = cv_planes();
                    cv::Sobel(s, p.dx, CV_16S, 1, 0, 3, 1, 0, cv::BORDER_CONSTANT);
                    cv::Sobel(s, p.dy, CV_16S, 0, 1, 3, 1, 0, cv::BORDER_CONSTANT);
                    p.dx.convertTo(p.fx, CV_32F);
                    p.dy.convertTo(p.fy, CV_32F);
                    cv::magnitude(p.fx, p.fy, p.mag);
                    p.mag.convertTo(d, CV_8U);
                },
                near_check);
        })
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark(
        "edge/sobel3/u8/opencv-l1",
        [](benchmark::State& st) {
            run_opencv(
                st,
                [](const cv::Mat& s, cv::Mat& d) {
                    CvPlanes& p = cv_planes();
                    cv::Sobel(s, p.dx, CV_16S, 1, 0, 3, 1, 0, cv::BORDER_CONSTANT);
                    cv::Sobel(s, p.dy, CV_16S, 0, 1, 3, 1, 0, cv::BORDER_CONSTANT);
                    cv::convertScaleAbs(p.dx, p.ax);
                    cv::convertScaleAbs(p.dy, p.ay);
                    cv::addWeighted(p.ax, 0.5, p.ay, 0.5, 0, d);
                },
                nullptr);
        })
        ->Unit(benchmark::kMicrosecond);
#endif
    // The other operators and modes, for reference (no peer run).
    register_mvip("sobel0", [](mvimage* s, mvimage* d) { return mvip8_3x3sobel(nullptr, s, d, 0); }, nullptr);
    register_mvip("sobel2", [](mvimage* s, mvimage* d) { return mvip8_3x3sobel(nullptr, s, d, 2); }, nullptr);
    register_mvip("sobela3", [](mvimage* s, mvimage* d) { return mvip8_3x3sobela(nullptr, s, d, 3); }, nullptr);
    register_mvip("roberts0", [](mvimage* s, mvimage* d) { return mvip8_2x2roberts(nullptr, s, d, 0); }, nullptr);
    register_mvip("kirsch0", [](mvimage* s, mvimage* d) { return mvip8_3x3kirsch(nullptr, s, d, 0); }, nullptr);
    register_mvip("kirsch2", [](mvimage* s, mvimage* d) { return mvip8_3x3kirsch(nullptr, s, d, 2); }, nullptr);
    register_mvip("life", [](mvimage* s, mvimage* d) { return mvip8_3x3life(nullptr, s, d); }, nullptr);
    return 0;
}

const int registered = register_all();

}  // namespace
