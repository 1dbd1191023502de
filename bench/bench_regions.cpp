// Scan conversion of three filled shapes on a 2048 x 2048 window, single-
// threaded, next to OpenCV filling the same shapes into an 8-bit image:
//
//   ellipse    900 x 600, turned by 0.5 radian       cv::ellipse, filled
//   star       100 points, radii 950 and 450         cv::fillPoly
//   circle1000 1000 vertices on a circle, radius 1000  cv::fillPoly
//
// "scan" times mvirp_xlatetoscanlist alone (the record made and freed);
// "paint" also sets every pixel of the scan list in an 8-bit image, the
// work OpenCV does.  Each mvip benchmark is registered right before its
// OpenCV counterpart, so a noisy machine affects both alike.  Before timing,
// the painted pixel counts of mvip and OpenCV are compared (they must agree
// to within the outline: 1.5 % of the area).

#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kSide = 2048;
constexpr double kPi = 3.14159265358979323846;

struct Shape {
    std::string name;
    std::vector<unsigned char> record;  // the region, list included
    std::vector<std::pair<int, int>> polygon;  // absolute vertices; empty for the ellipse
};

struct Canvas {
    std::vector<uint8_t> pixels = std::vector<uint8_t>(size_t(kSide) * kSide);
    mvimage im{};
    Canvas() {
        const uint32_t dims[2] = {kSide, kSide};
        mvimage_memory(&im, pixels.data(), dims, kSide, MVTYPE_U8, 0, 1, MVCS_GREY, 0);
    }
};

Shape make_shape(const std::string& name) {
    Shape s{name, std::vector<unsigned char>(512), {}};
    const int cx = 1024, cy = 1024;
    if (name == "ellipse") {
        auto* r = reinterpret_cast<mvimregion*>(s.record.data());
        r->regiontype = MVIMREGELLIPSE;
        r->region.ellipse = {900, 600, 0.5f};
    } else {
        const int n = name == "star" ? 200 : 1000;
        for (int i = 0; i < n; ++i) {
            const double a = 2 * kPi * i / n;
            const double rad = name == "star" ? (i % 2 ? 450 : 950) : 1000;
            s.polygon.push_back({cx + int(std::lround(rad * std::cos(a))), cy + int(std::lround(rad * std::sin(a)))});
        }
        s.record.resize(MVIMREGION_POLYGON_AT + 8 * size_t(n) + 64);
        auto* r = reinterpret_cast<mvimregion*>(s.record.data());
        r->regiontype = MVIMREGPOLYGON;
        r->region.polygon.N = n;
        for (int i = 0; i < n; ++i) {
            const mvpoint v{s.polygon[size_t(i)].first - cx, s.polygon[size_t(i)].second - cy};
            std::memcpy(s.record.data() + MVIMREGION_POLYGON_AT + 8 * size_t(i), &v, sizeof v);
        }
    }
    auto* r = reinterpret_cast<mvimregion*>(s.record.data());
    r->reclen = s.record.size();
    r->origin = {cx, cy};
    return s;
}

int64_t paint(const mvimregion* list, uint8_t* pixels) {
    int64_t n = 0;
    const mvscanrun* run = list->region.scanlist.scanlists;
    for (int32_t i = 0; i < list->region.scanlist.N; ++i) {
        std::memset(pixels + size_t(run[i].coord.y) * kSide + run[i].coord.x, 255, size_t(run[i].len));
        n += run[i].len;
    }
    return n;
}

void run_mvip(benchmark::State& state, const std::string& name, bool painted) {
    Shape s = make_shape(name);
    Canvas canvas;
    auto* r = reinterpret_cast<mvimregion*>(s.record.data());
    r->image = canvas.im;
    for (auto _ : state) {
        mvimregion* list = nullptr;
        if (mvirp_xlatetoscanlist(nullptr, r, &list, 0) != 0) {
            state.SkipWithError("conversion failed");
            return;
        }
        if (painted) benchmark::DoNotOptimize(paint(list, canvas.pixels.data()));
        mvirp_regionfree(&list);
        benchmark::ClobberMemory();
    }
}

#ifdef MVIP_HAVE_OPENCV
int64_t opencv_fill(const Shape& s, cv::Mat& m) {
    if (s.polygon.empty()) {
        // OpenCV turns clockwise as displayed by degrees; ours turns
        // counter-clockwise by radians.
        cv::ellipse(m, cv::Point(1024, 1024), cv::Size(450, 300), -0.5 * 180 / kPi, 0, 360, cv::Scalar(255),
                    cv::FILLED, cv::LINE_8);
    } else {
        std::vector<cv::Point> pts;
        for (const auto& [x, y] : s.polygon) pts.push_back({x, y});
        const cv::Point* p = pts.data();
        const int n = int(pts.size());
        cv::fillPoly(m, &p, &n, 1, cv::Scalar(255), cv::LINE_8);
    }
    return 0;
}

void run_opencv(benchmark::State& state, const std::string& name) {
    cv::setNumThreads(0);
    const Shape s = make_shape(name);
    Canvas canvas;
    cv::Mat m(kSide, kSide, CV_8UC1, canvas.pixels.data());
    // Both fill about the same pixels.
    opencv_fill(s, m);
    const int64_t theirs = cv::countNonZero(m);
    Shape mine = make_shape(name);
    auto* r = reinterpret_cast<mvimregion*>(mine.record.data());
    r->image = canvas.im;
    uint32_t area = 0;
    mvirp_regionarea(r, &area);
    if (std::llabs(theirs - int64_t(area)) > int64_t(area) * 15 / 1000) {
        state.SkipWithError(("areas differ: " + std::to_string(theirs) + " " + std::to_string(area)).c_str());
        return;
    }
    for (auto _ : state) {
        opencv_fill(s, m);
        benchmark::ClobberMemory();
    }
}
#endif

const bool registered = [] {
    for (const char* name : {"ellipse", "star", "circle1000"}) {
        const std::string n = name;
        benchmark::RegisterBenchmark(("regions/" + n + "/mvip_scan").c_str(),
                                     [n](benchmark::State& s) { run_mvip(s, n, false); })
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("regions/" + n + "/mvip_paint").c_str(),
                                     [n](benchmark::State& s) { run_mvip(s, n, true); })
            ->Unit(benchmark::kMicrosecond);
#ifdef MVIP_HAVE_OPENCV
        benchmark::RegisterBenchmark(("regions/" + n + "/opencv").c_str(),
                                     [n](benchmark::State& s) { run_opencv(s, n); })
            ->Unit(benchmark::kMicrosecond);
#endif
    }
    return true;
}();

}  // namespace
