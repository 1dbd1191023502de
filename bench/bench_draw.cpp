// Drawing on a 2048 x 2048 u8 image: 10,000 random lines of about 1,000
// pixels (thin, width 9, dotted) against OpenCV's cv::line (LINE_8) on the
// same end points; a 32 x 32 cursor drawn and erased.  Figures are lines
// (or cursor cycles) per second.
#include "mvip.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int32_t kSide = 2048;
constexpr int kLines = 10000;

struct Line { int32_t p0[2], p1[2]; };

// End points about 1,000 pixels apart in random directions, all inside.
const std::vector<Line>& lines() {
    static const std::vector<Line> all = [] {
        std::mt19937 rng(17);
        std::uniform_real_distribution<double> u(0.0, 1.0);
        std::vector<Line> v;
        while (v.size() < kLines) {
            const double a = u(rng) * 6.283185307179586, len = 800 + 400 * u(rng);
            const int32_t x0 = int32_t(u(rng) * kSide), y0 = int32_t(u(rng) * kSide);
            const int32_t x1 = x0 + int32_t(std::lround(len * std::cos(a)));
            const int32_t y1 = y0 + int32_t(std::lround(len * std::sin(a)));
            if (x1 < 0 || y1 < 0 || x1 >= kSide || y1 >= kSide) continue;
            v.push_back({{x0, y0}, {x1, y1}});
        }
        return v;
    }();
    return all;
}

void mvip_lines(benchmark::State& state, uint32_t width, uint32_t dots) {
    std::vector<uint8_t> pixels(size_t{kSide} * kSide);
    const uint32_t dims[2] = {kSide, kSide};
    mvimage im;
    mvimage_memory(&im, pixels.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    const uint32_t colour[1] = {200};
    for (auto _ : state) {
        for (const Line& l : lines())
            mvip8_drawline(nullptr, &im, l.p0, l.p1, dots, width, 'v', colour, nullptr, nullptr);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
void BM_drawline_mvip(benchmark::State& s) { mvip_lines(s, 1, 1); }
void BM_drawline_w9_mvip(benchmark::State& s) { mvip_lines(s, 9, 1); }
void BM_drawline_dotted_mvip(benchmark::State& s) { mvip_lines(s, 1, 3); }
BENCHMARK(BM_drawline_mvip)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_drawline_w9_mvip)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_drawline_dotted_mvip)->Unit(benchmark::kMillisecond);

#ifdef MVIP_HAVE_OPENCV
void opencv_lines(benchmark::State& state, int thickness) {
    cv::setNumThreads(1);
    cv::Mat m(kSide, kSide, CV_8UC1, cv::Scalar(0));
    for (auto _ : state) {
        for (const Line& l : lines())
            cv::line(m, {l.p0[0], l.p0[1]}, {l.p1[0], l.p1[1]}, cv::Scalar(200), thickness, cv::LINE_8);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
void BM_drawline_opencv(benchmark::State& s) { opencv_lines(s, 1); }
void BM_drawline_w9_opencv(benchmark::State& s) { opencv_lines(s, 9); }
BENCHMARK(BM_drawline_opencv)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_drawline_w9_opencv)->Unit(benchmark::kMillisecond);
#endif

void BM_cursor_draw_erase(benchmark::State& state) {
    std::vector<uint8_t> pixels(size_t{kSide} * kSide, 50);
    const uint32_t dims[2] = {kSide, kSide};
    mvimage im;
    mvimage_memory(&im, pixels.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    const int32_t pos[2] = {1000, 1000}, size[2] = {32, 32}, bars[2] = {3, 3};
    const uint32_t colour[1] = {255};
    for (auto _ : state) {
        mvicon* icon = nullptr;
        mvip8_drawiconinit(&im, pos, nullptr, size, bars, 0, &icon);
        mvip8_drawiconhit(&im, icon, 's', colour, nullptr);
        mvip8_drawiconhit(&im, icon, 'r', colour, nullptr);
        mvip8_drawiconfree(&im, &icon);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_cursor_draw_erase)->Unit(benchmark::kMicrosecond);

}  // namespace
