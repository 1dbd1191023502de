// Table views and file-backed images on 2048 x 2048 images:
//  - pseudo-colour of a u8 image into a 3-pixie u8 image through a
//    table-mapping view and a copy, against OpenCV applying three lookup
//    tables (cv::LUT on a 3-channel image, as it must be given one);
//  - reading a u16 file image line by line against pread of the same
//    bytes (the file in the page cache);
//  - pixneg on a file image against pixneg on a memory image.
// Figures are pixels per second.
#include "mvip.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#ifdef MVIP_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#endif

namespace {

constexpr uint32_t kSide = 2048;

std::vector<uint8_t> pattern(size_t n) {
    std::vector<uint8_t> v(n);
    uint32_t s = 12345;
    for (uint8_t& x : v) {
        s = s * 1664525u + 1013904223u;
        x = static_cast<uint8_t>(s >> 24);
    }
    return v;
}

struct Tables {
    uint8_t t[3][256];
    Tables() {
        for (int i = 0; i < 256; ++i) {
            t[0][i] = uint8_t(i);
            t[1][i] = uint8_t(255 - i);
            t[2][i] = uint8_t((i * 7) & 0xFF);
        }
    }
};

void BM_pseudocolour_lut2_copy(benchmark::State& state) {
    auto src = pattern(size_t{kSide} * kSide);
    std::vector<uint8_t> dst(size_t{kSide} * kSide * 3);
    const uint32_t dims[2] = {kSide, kSide};
    mvimage s, d, view;
    mvimage_memory(&s, src.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    mvimage_memory(&d, dst.data(), dims, 0, MVTYPE_U8, 8, 3, MVCS_RGB, 0);
    static const Tables tab;
    const void* out[3] = {tab.t[0], tab.t[1], tab.t[2]};
    if (mvimage_lut2(&view, &s, 1, out, out, 3, MVCS_RGB) != 0) {
        state.SkipWithError("view");
        return;
    }
    for (auto _ : state) {
        if (mvip8_copy(nullptr, &view, &d) != 0) {
            state.SkipWithError("copy");
            return;
        }
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_pseudocolour_lut2_copy)->Unit(benchmark::kMillisecond);

#ifdef MVIP_HAVE_OPENCV
// OpenCV's LUT maps a 3-channel image through a 3-channel table: the grey
// image is first merged to three channels (as cv::applyColorMap does).
void BM_pseudocolour_opencv_lut(benchmark::State& state) {
    auto src = pattern(size_t{kSide} * kSide);
    cv::Mat grey(kSide, kSide, CV_8UC1, src.data()), grey3, out;
    static const Tables tab;
    cv::setNumThreads(0);
    cv::Mat lut(1, 256, CV_8UC3);
    for (int i = 0; i < 256; ++i) lut.at<cv::Vec3b>(0, i) = {tab.t[0][i], tab.t[1][i], tab.t[2][i]};
    for (auto _ : state) {
        cv::Mat planes[3] = {grey, grey, grey};
        cv::merge(planes, 3, grey3);
        cv::LUT(grey3, lut, out);
        benchmark::DoNotOptimize(out.data);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_pseudocolour_opencv_lut)->Unit(benchmark::kMillisecond);

// cv::LUT alone, on a 3-channel image prepared outside the timing.
void BM_pseudocolour_opencv_lut_only(benchmark::State& state) {
    auto src = pattern(size_t{kSide} * kSide);
    cv::Mat grey(kSide, kSide, CV_8UC1, src.data()), grey3, out;
    cv::Mat planes[3] = {grey, grey, grey};
    cv::merge(planes, 3, grey3);
    static const Tables tab;
    cv::setNumThreads(0);
    cv::Mat lut(1, 256, CV_8UC3);
    for (int i = 0; i < 256; ++i) lut.at<cv::Vec3b>(0, i) = {tab.t[0][i], tab.t[1][i], tab.t[2][i]};
    for (auto _ : state) {
        cv::LUT(grey3, lut, out);
        benchmark::DoNotOptimize(out.data);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_pseudocolour_opencv_lut_only)->Unit(benchmark::kMillisecond);
#endif

// A 2048 x 2048 u16 raw file in the temporary folder, written once.
const std::string& raw_file() {
    static const std::string path = [] {
        const char* dir = std::getenv("TMPDIR");
        std::string p = std::string(dir ? dir : "/tmp") + "/mvip_bench_u16.raw";
        auto bytes = pattern(size_t{kSide} * kSide * 2);
        if (FILE* f = std::fopen(p.c_str(), "wb")) {
            std::fwrite(bytes.data(), 1, bytes.size(), f);
            std::fclose(f);
        }
        return p;
    }();
    return path;
}

void BM_file_u16_read_lines(benchmark::State& state) {
    mvimage im;
    void* handle = nullptr;
    const uint32_t dims[2] = {kSide, kSide};
    if (mvimage_file(&im, &handle, raw_file().c_str(), "rb", dims, MVTYPE_U16, 16, 1, MVCS_GREY, 0) != 0 ||
        im.ioset(&im, 0, MVTYPE_U16, 1) < 0) {
        state.SkipWithError("file image");
        return;
    }
    std::vector<uint16_t> line(kSide);
    for (auto _ : state) {
        for (uint32_t y = 0; y < kSide; ++y) im.ioread(&im, 0, line.data(), kSide, 0, int32_t(y));
        benchmark::DoNotOptimize(line.data());
        benchmark::ClobberMemory();
    }
    if (im.aeiou(&im, 'e', 0, 0) != 0) state.SkipWithError("file error");
    mvimage_filedone(&im, &handle);
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_file_u16_read_lines)->Unit(benchmark::kMillisecond);

void BM_pread_u16_lines(benchmark::State& state) {
    const int fd = ::open(raw_file().c_str(), O_RDONLY);
    if (fd < 0) {
        state.SkipWithError("open");
        return;
    }
    std::vector<uint16_t> line(kSide);
    const size_t bytes = kSide * 2;
    for (auto _ : state) {
        for (uint32_t y = 0; y < kSide; ++y)
            if (::pread(fd, line.data(), bytes, off_t(y) * off_t(bytes)) != ssize_t(bytes))
                state.SkipWithError("pread");
        benchmark::DoNotOptimize(line.data());
        benchmark::ClobberMemory();
    }
    ::close(fd);
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_pread_u16_lines)->Unit(benchmark::kMillisecond);

// pixneg in place: on a file image (read-write copy of the raw file), and
// on a memory image of the same size.
void BM_pixneg_file_u16(benchmark::State& state) {
    const std::string copy = raw_file() + ".rw";
    {
        auto bytes = pattern(size_t{kSide} * kSide * 2);
        FILE* f = std::fopen(copy.c_str(), "wb");
        if (!f) return state.SkipWithError("copy");
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    mvimage im;
    void* handle = nullptr;
    const uint32_t dims[2] = {kSide, kSide};
    if (mvimage_file(&im, &handle, copy.c_str(), "r+b", dims, MVTYPE_U16, 16, 1, MVCS_GREY, 0) != 0) {
        state.SkipWithError("file image");
        return;
    }
    for (auto _ : state) {
        if (mvip8_pixneg(nullptr, &im, &im) != 0) state.SkipWithError("pixneg");
        im.iowait(&im);
    }
    mvimage_filedone(&im, &handle);
    std::remove(copy.c_str());
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_pixneg_file_u16)->Unit(benchmark::kMillisecond);

void BM_pixneg_memory_u16(benchmark::State& state) {
    auto bytes = pattern(size_t{kSide} * kSide * 2);
    mvimage im;
    const uint32_t dims[2] = {kSide, kSide};
    mvimage_memory(&im, bytes.data(), dims, 0, MVTYPE_U16, 16, 1, MVCS_GREY, 0);
    for (auto _ : state) {
        if (mvip8_pixneg(nullptr, &im, &im) != 0) state.SkipWithError("pixneg");
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
}
BENCHMARK(BM_pixneg_memory_u16)->Unit(benchmark::kMillisecond);

}  // namespace
