// Throughput of the colour converter view on a 2048 x 2048 image, in
// pixels delivered to the caller per second ("Mpixel/s").
//
// The reference figure is a plain read of a grey memory image of the same
// size (one byte per pixel, the size of the converter's output), read the
// same way (one ioread per line, or one continuing run); the converter's
// figure for BGR -> grey is meant to stay within 4x of it.
//
// Before timing, each benchmark reads once and checks its values against
// the formulas; a wrong answer skips the benchmark instead of reporting a
// figure for broken code.

#include "mvip.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kSide = 2048;
constexpr uint64_t kPixels = uint64_t{kSide} * kSide;

// An 8-bit memory image of kSide x kSide pixels with a fixed pseudo-random
// content.
class Source {
public:
    Source(uint32_t pixies, uint32_t space) : pixels_(kPixels * pixies) {
        uint32_t v = 12345;
        for (auto& p : pixels_) {
            v = v * 1103515245u + 12345u;
            p = static_cast<uint8_t>(v >> 16);
        }
        const uint32_t dims[2] = {kSide, kSide};
        rc_ = mvimage_memory(&im_, pixels_.data(), dims, 0, MVTYPE_U8, 8, pixies, space, 0);
    }
    bool ok() const { return rc_ == 0; }
    mvimage* im() { return &im_; }
    const uint8_t* bytes() const { return pixels_.data(); }

private:
    std::vector<uint8_t> pixels_;
    mvimage im_{};
    int32_t rc_ = -1;
};

void report(benchmark::State& state) {
    state.counters["Mpixel/s"] = benchmark::Counter(
        static_cast<double>(kPixels) * static_cast<double>(state.iterations()) / 1e6,
        benchmark::Counter::kIsRate);
}

bool read_lines(mvimage* im, uint8_t* dst, size_t line_bytes) {
    bool all = true;
    for (uint32_t y = 0; y < kSide; ++y)
        all &= im->ioread(im, 0, dst + y * line_bytes, kSide, 0, static_cast<int32_t>(y)) == kSide;
    return all;
}

bool read_whole(mvimage* im, uint8_t* dst) {
    return im->ioread(im, 0, dst, static_cast<uint32_t>(kPixels), 0, 0) == kPixels;
}

bool start(benchmark::State& state, mvimage* im, uint32_t mode) {
    const uint32_t mask = (1u << im->pixfmt.pixies) - 1;
    const int32_t rc = im->ioset(im, mode, MVTYPE_U8 | MVREQ_LOW, mask);
    if (rc < 0) {
        state.SkipWithError(("ioset failed: " + std::to_string(rc)).c_str());
        return false;
    }
    return true;
}

// The baseline: a grey memory image read as it is stored.
void BM_ColorBaselineGreyRead(benchmark::State& state, bool whole) {
    Source src(1, MVCS_GREY);
    if (!src.ok() || !start(state, src.im(), whole ? MVMODE_CONTINUE : 0)) return;
    std::vector<uint8_t> out(kPixels, 0x5A);
    auto run = [&] { return whole ? read_whole(src.im(), out.data()) : read_lines(src.im(), out.data(), kSide); };
    if (!run() || std::memcmp(out.data(), src.bytes(), kPixels) != 0) {
        state.SkipWithError("plain read: wrong count or values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(run());
        benchmark::ClobberMemory();
    }
    report(state);
}

// A BGR (or BGRx) image read as grey through the colour converter.
void BM_ColorBgrToGrey(benchmark::State& state, uint32_t space, bool whole) {
    const uint32_t pixies = space & 0xF;
    Source src(pixies, space);
    mvimage view;
    if (!src.ok() || mvimage_colorconverter(&view, src.im(), MVCS_GREY, 0) != 0) {
        state.SkipWithError("construction failed");
        return;
    }
    if (!start(state, &view, whole ? MVMODE_CONTINUE : 0)) return;
    std::vector<uint8_t> out(kPixels, 0x5A);
    auto run = [&] { return whole ? read_whole(&view, out.data()) : read_lines(&view, out.data(), kSide); };
    bool good = run();
    for (uint64_t i = 0; good && i < kPixels; ++i) {
        const uint8_t* p = src.bytes() + i * pixies;
        const uint32_t want = (114u * p[0] + 587u * p[1] + 299u * p[2] + 500u) / 1000u;
        good = out[i] == want;
    }
    if (!good) {
        state.SkipWithError("grey read: wrong count or values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(run());
        benchmark::ClobberMemory();
    }
    report(state);
}

// Other conversions of a BGR image, for comparison (values not checked
// beyond the count; the tests check them).
void BM_ColorFromBgr(benchmark::State& state, uint32_t space) {
    Source src(3, MVCS_BGR);
    mvimage view;
    if (!src.ok() || mvimage_colorconverter(&view, src.im(), space, 0) != 0) {
        state.SkipWithError("construction failed");
        return;
    }
    if (!start(state, &view, 0)) return;
    const size_t line = size_t{kSide} * view.pixelsize;
    std::vector<uint8_t> out(line * kSide, 0x5A);
    if (!read_lines(&view, out.data(), line)) {
        state.SkipWithError("read: wrong count");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_lines(&view, out.data(), line));
        benchmark::ClobberMemory();
    }
    report(state);
}

BENCHMARK_CAPTURE(BM_ColorBaselineGreyRead, lines, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorBaselineGreyRead, whole, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorBgrToGrey, bgr_lines, MVCS_BGR, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorBgrToGrey, bgr_whole, MVCS_BGR, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorBgrToGrey, bgrx_lines, MVCS_BGRX, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorFromBgr, rgb, MVCS_RGB)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorFromBgr, ycrcb, MVCS_YCRCB)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorFromBgr, hsb, MVCS_HSB)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ColorFromBgr, ycbycr, MVCS_YCBYCR)->Unit(benchmark::kMillisecond);

}  // namespace
