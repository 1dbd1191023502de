// Blob lists against OpenCV's labelling with statistics, single-threaded,
// on the same binary 8-bit image (0 and 255), the same connectivity:
//
//   scene1080  1920 x 1080, 450 discs, boxes and rings (radius 4 to 30)
//   scene2k    2048 x 2048, 1500 discs, boxes and rings (radius 3 to 20)
//   noise2k    2048 x 2048, every pixel set with probability 1/2
//
// mvip8_bloblist (pixels >= 128, flag 2: the image is left as it is, as
// OpenCV leaves it) reports per blob its seed, box, area and centre;
// cv::connectedComponentsWithStats (CV_32S labels) labels every pixel and
// reports box, area and centroid per label.  "mvip_paint" is the default
// form, which also paints each blob over in the image: its timing includes
// copying the scene back into the image before each run.  Before timing,
// blob counts and total areas are compared with OpenCV's.

#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

struct Scene {
    int w, h;
    std::vector<uint8_t> pixels;
};

Scene make_scene(const std::string& name) {
    const bool hd = name == "scene1080";
    Scene s{hd ? 1920 : 2048, hd ? 1080 : 2048, {}};
    s.pixels.assign(size_t(s.w) * size_t(s.h), 0);
    std::mt19937 rng(42);
    if (name == "noise2k") {
        for (auto& v : s.pixels) v = rng() & 1 ? 255 : 0;
        return s;
    }
    const int count = hd ? 450 : 1500, rmin = hd ? 4 : 3, rmax = hd ? 30 : 20;
    for (int k = 0; k < count; ++k) {
        const int cx = int(rng() % uint32_t(s.w)), cy = int(rng() % uint32_t(s.h));
        const int r = rmin + int(rng() % uint32_t(rmax - rmin + 1)), kind = int(rng() % 3);
        const int hole = kind == 2 ? r / 2 : -1;
        for (int y = std::max(0, cy - r); y <= std::min(s.h - 1, cy + r); ++y)
            for (int x = std::max(0, cx - r); x <= std::min(s.w - 1, cx + r); ++x) {
                const int d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
                if (kind == 1 || (d2 <= r * r && d2 > hole * hole)) s.pixels[size_t(y) * size_t(s.w) + size_t(x)] = 255;
            }
    }
    return s;
}

struct Target {
    std::vector<uint8_t> pixels;
    mvimage im{};
    explicit Target(const Scene& s) : pixels(s.pixels) {
        const uint32_t dims[2] = {uint32_t(s.w), uint32_t(s.h)};
        mvimage_memory(&im, pixels.data(), dims, uint32_t(s.w), MVTYPE_U8, 0, 1, MVCS_GREY, 0);
    }
};

std::vector<mvblob> blobs(1 << 20);

int32_t run_list(Target& t, uint32_t flags) {
    int32_t pos[2] = {0, 0};
    return mvip8_bloblist(nullptr, &t.im, pos, 94, 128, flags, nullptr, nullptr, 0, blobs.size(), blobs.data(),
                          nullptr);
}

void run_mvip(benchmark::State& state, const Scene& s, uint32_t conn, bool paint) {
    Target t(s);
    for (auto _ : state) {
        if (paint) std::memcpy(t.pixels.data(), s.pixels.data(), s.pixels.size());
        benchmark::DoNotOptimize(run_list(t, conn | (paint ? 0 : 2)));
        benchmark::ClobberMemory();
    }
}

// The whole list one blob a call, as a caller that handles each blob before
// asking for the next does: the position carries the scan on.
void run_one_a_call(benchmark::State& state, const Scene& s) {
    Target t(s);
    for (auto _ : state) {
        std::memcpy(t.pixels.data(), s.pixels.data(), s.pixels.size());
        int32_t pos[2] = {0, 0};
        int32_t n = 0;
        while (mvip8_bloblist(nullptr, &t.im, pos, 94, 128, 0x200, nullptr, nullptr, 0, 1, blobs.data(), nullptr) == 1)
            ++n;
        benchmark::DoNotOptimize(n);
        benchmark::ClobberMemory();
    }
}

#ifdef MVIP_HAVE_OPENCV
void run_opencv(benchmark::State& state, const Scene& s, int conn) {
    cv::setNumThreads(1);
    Target t(s);
    cv::Mat m(s.h, s.w, CV_8UC1, t.pixels.data()), labels, stats, centroids;
    const int n = cv::connectedComponentsWithStats(m, labels, stats, centroids, conn, CV_32S) - 1;
    const int32_t ours = run_list(t, (conn == 4 ? 0x100u : 0x200u) | 2u);
    int64_t their_area = 0, our_area = 0;
    for (int i = 1; i <= n; ++i) their_area += stats.at<int>(i, cv::CC_STAT_AREA);
    for (int32_t i = 0; i < ours; ++i) our_area += blobs[size_t(i)].area;
    if (ours != n || our_area != their_area) {
        state.SkipWithError(("results differ: " + std::to_string(ours) + " blobs, " + std::to_string(n) + " labels").c_str());
        return;
    }
    state.counters["blobs"] = n;
    for (auto _ : state) {
        benchmark::DoNotOptimize(cv::connectedComponentsWithStats(m, labels, stats, centroids, conn, CV_32S));
        benchmark::ClobberMemory();
    }
}
#endif

const bool registered = [] {
    for (const char* name : {"scene1080", "scene2k", "noise2k"}) {
        static std::vector<Scene> scenes;
        scenes.reserve(3);
        scenes.push_back(make_scene(name));
        const Scene* s = &scenes.back();
        for (const int conn : {8, 4}) {
            const std::string n = std::string("blobs/") + name + "/" + std::to_string(conn);
            const uint32_t bits = conn == 4 ? 0x100 : 0x200;
            benchmark::RegisterBenchmark((n + "/mvip").c_str(),
                                         [s, bits](benchmark::State& st) { run_mvip(st, *s, bits, false); })
                ->Unit(benchmark::kMillisecond);
            benchmark::RegisterBenchmark((n + "/mvip_paint").c_str(),
                                         [s, bits](benchmark::State& st) { run_mvip(st, *s, bits, true); })
                ->Unit(benchmark::kMillisecond);
            if (conn == 8 && std::string(name) == "scene2k")
                benchmark::RegisterBenchmark((n + "/mvip_one_a_call").c_str(),
                                             [s](benchmark::State& st) { run_one_a_call(st, *s); })
                    ->Unit(benchmark::kMillisecond);
#ifdef MVIP_HAVE_OPENCV
            benchmark::RegisterBenchmark((n + "/opencv").c_str(),
                                         [s, conn](benchmark::State& st) { run_opencv(st, *s, conn); })
                ->Unit(benchmark::kMillisecond);
#endif
        }
    }
    return true;
}();

}  // namespace
