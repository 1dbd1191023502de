// Stacks of planes: a 256 x 256 x 256 u8 stack (16 MiB).
//
// Run reads along each axis (whole runs: lines, columns, pillars through the
// planes), each next to a hand-written loop that walks the same memory in
// the same order; mvip8_pixneg over every plane through section views next
// to the same operation on 256 2-D memory images of those planes; and lines
// read through the 3-D type converter (u8 shown as u16) next to the 2-D
// converter over each plane, which shows what building the 2-D form for
// every run costs.
//
// Before timing, each benchmark checks its result once; a wrong answer
// skips the benchmark with a message instead of reporting a figure.
#include "mvip.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

constexpr uint32_t kN = 256;
constexpr size_t kLine = kN, kPlane = size_t{kN} * kN, kAll = kPlane * kN;

struct Stack {
    std::vector<uint8_t> mem;
    mvimage3 im{};
    int32_t rc;
    Stack() : mem(kAll) {
        for (size_t i = 0; i < kAll; ++i) mem[i] = static_cast<uint8_t>(i * 2654435761u >> 11);
        const uint32_t dims[3] = {kN, kN, kN};
        rc = mvimage3_memory(&im, mem.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    }
};

// The hand-written walks: x lines, y columns (plane by plane), z pillars
// (x fastest, then y), each run stored one after another in dst.
void hand_x(const uint8_t* src, uint8_t* dst) {
    for (size_t line = 0; line < kN * kN; ++line) std::memcpy(dst + line * kLine, src + line * kLine, kLine);
}
void hand_y(const uint8_t* src, uint8_t* dst) {
    for (size_t z = 0; z < kN; ++z)
        for (size_t x = 0; x < kN; ++x)
            for (size_t y = 0; y < kN; ++y) *dst++ = src[z * kPlane + y * kLine + x];
}
void hand_z(const uint8_t* src, uint8_t* dst) {
    for (size_t y = 0; y < kN; ++y)
        for (size_t x = 0; x < kN; ++x)
            for (size_t z = 0; z < kN; ++z) *dst++ = src[z * kPlane + y * kLine + x];
}
using Hand = void (*)(const uint8_t*, uint8_t*);

// One ioread per run, runs in the order of the hand-written walks.
bool library_walk(mvimage3& im, uint32_t mode, uint8_t* dst) {
    bool all = true;
    for (uint32_t a = 0; a < kN; ++a)
        for (uint32_t b = 0; b < kN; ++b, dst += kN) {
            uint32_t n;
            if (mode == 0) n = im.ioread(&im, 0, dst, kN, 0, static_cast<int32_t>(b), static_cast<int32_t>(a));
            else if (mode == MVMODE_YSCAN) n = im.ioread(&im, 0, dst, kN, static_cast<int32_t>(b), 0, static_cast<int32_t>(a));
            else n = im.ioread(&im, 0, dst, kN, static_cast<int32_t>(b), static_cast<int32_t>(a), 0);
            all &= n == kN;
        }
    return all;
}

void BM_stack_read(benchmark::State& state, uint32_t mode, Hand hand) {
    Stack s;
    std::vector<uint8_t> dst(kAll), want(kAll);
    hand(s.mem.data(), want.data());
    if (s.rc != 0 || s.im.ioset(&s.im, mode, MVTYPE_U8 | MVREQ_LOW, 1) != 1 ||
        !library_walk(s.im, mode, dst.data()) || dst != want) {
        state.SkipWithError("stack read: set-up, count or values wrong");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(library_walk(s.im, mode, dst.data()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kAll));
}

void BM_stack_hand(benchmark::State& state, Hand hand) {
    Stack s;
    std::vector<uint8_t> dst(kAll);
    for (auto _ : state) {
        hand(s.mem.data(), dst.data());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kAll));
}

BENCHMARK_CAPTURE(BM_stack_read, x, 0u, hand_x);
BENCHMARK_CAPTURE(BM_stack_hand, x, hand_x);
BENCHMARK_CAPTURE(BM_stack_read, y, MVMODE_YSCAN, hand_y);
BENCHMARK_CAPTURE(BM_stack_hand, y, hand_y);
BENCHMARK_CAPTURE(BM_stack_read, z, MVMODE_ZSCAN, hand_z);
BENCHMARK_CAPTURE(BM_stack_hand, z, hand_z);

// ---- pixneg over every plane ---------------------------------------------------

// Section views over the planes, built once (or for every pass, `fresh`).
void BM_pixneg_sections(benchmark::State& state, bool fresh) {
    Stack s;
    std::vector<mvimage> planes(kN);
    for (uint32_t z = 0; z < kN; ++z)
        if (mvimage_def2from3(&planes[z], &s.im, 0, 2, z) != 0) state.SkipWithError("section");
    const std::vector<uint8_t> before = s.mem;
    for (uint32_t z = 0; z < kN; ++z) mvip8_pixneg(nullptr, &planes[z], &planes[z]);
    if (s.mem[12345] != static_cast<uint8_t>(255 - before[12345])) state.SkipWithError("pixneg through sections");
    for (auto _ : state) {
        for (uint32_t z = 0; z < kN; ++z) {
            if (fresh) mvimage_def2from3(&planes[z], &s.im, 0, 2, z);
            mvip8_pixneg(nullptr, &planes[z], &planes[z]);
        }
        benchmark::ClobberMemory();
    }
    // Negated once before timing and once per pass: back where it began
    // after an odd number of passes.
    const bool back_to_start = state.iterations() % 2 == 1;
    if (back_to_start != (s.mem == before)) state.SkipWithError("values");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kAll));
}

void BM_pixneg_2d_images(benchmark::State& state) {
    Stack s;
    std::vector<mvimage> planes(kN);
    const uint32_t dims[2] = {kN, kN};
    for (uint32_t z = 0; z < kN; ++z)
        mvimage_memory(&planes[z], s.mem.data() + z * kPlane, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    for (auto _ : state) {
        for (uint32_t z = 0; z < kN; ++z) mvip8_pixneg(nullptr, &planes[z], &planes[z]);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kAll));
}

// ---- the 3-D converter against 2-D converters over the planes -------------------

mvpixfmt u16_format() {
    mvpixfmt f{};
    mvpixfmt_set(&f, MVTYPE_U16, 16, 1, MVCS_GREY);
    return f;
}

template <class Read>
void read_converted_lines(benchmark::State& state, Read read) {
    std::vector<uint16_t> line(kN);
    for (auto _ : state) {
        for (uint32_t z = 0; z < kN; ++z)
            for (uint32_t y = 0; y < kN; ++y)
                if (read(line.data(), y, z) != kN) {
                    state.SkipWithError("short read");
                    return;
                }
        benchmark::DoNotOptimize(line.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(kAll));
}

void BM_converter3_lines(benchmark::State& state) {
    Stack s;
    const mvpixfmt f = u16_format();
    mvimage3 v;
    if (mvimage3_converter(&v, &s.im, &f, 1, 0, 0, 0) != 0 || v.ioset(&v, 0, MVTYPE_U16, 1) < 0) {
        state.SkipWithError("3-D converter");
        return;
    }
    read_converted_lines(state, [&](uint16_t* out, uint32_t y, uint32_t z) {
        return v.ioread(&v, 0, out, kN, 0, static_cast<int32_t>(y), static_cast<int32_t>(z));
    });
}

void BM_converter2_planes(benchmark::State& state) {
    Stack s;
    const mvpixfmt f = u16_format();
    const uint32_t dims[2] = {kN, kN};
    std::vector<mvimage> planes(kN), views(kN);
    for (uint32_t z = 0; z < kN; ++z) {
        mvimage_memory(&planes[z], s.mem.data() + z * kPlane, dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
        if (mvimage_converter(&views[z], &planes[z], &f, 1, 0, 0, 0) != 0 ||
            views[z].ioset(&views[z], 0, MVTYPE_U16, 1) < 0)
            state.SkipWithError("2-D converter");
    }
    read_converted_lines(state, [&](uint16_t* out, uint32_t y, uint32_t z) {
        return views[z].ioread(&views[z], 0, out, kN, 0, static_cast<int32_t>(y));
    });
}

BENCHMARK(BM_converter3_lines);
BENCHMARK(BM_converter2_planes);

BENCHMARK_CAPTURE(BM_pixneg_sections, built_once, false);
BENCHMARK_CAPTURE(BM_pixneg_sections, built_per_pass, true);
BENCHMARK(BM_pixneg_2d_images);

}  // namespace
