// Throughput of memory-image runs on a 2048 x 2048 image.
//
// Every figure is bytes delivered to (or taken from) the caller's buffer
// per second.  Each library benchmark has a plain memcpy counterpart that
// moves the same bytes between the same kind of buffers, so the two can be
// compared directly (see bench/RESULTS.md).
//
// Before timing, each benchmark runs its transfer once and checks the
// counts and values; a wrong answer skips the benchmark with a message
// instead of reporting a figure for broken code.

#include "mvip.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kW = 2048;
constexpr uint32_t kH = 2048;

// A library-allocated memory image of kW x kH pixels, filled with a
// pattern that keeps values inside `bits`.
class BenchImage {
public:
    BenchImage(uint32_t type, uint32_t bits, uint32_t pixies, uint32_t cs) {
        const uint32_t dims[2] = {kW, kH};
        rc_ = mvimage_memmalloc(&im_, &pix_, dims, type, bits, pixies, cs);
        if (rc_ != 0) return;
        const uint32_t pixie = im_.pixiesize;
        const uint64_t n = uint64_t(kW) * kH * pixies;
        const uint32_t keep = (bits == 0 || bits >= 32) ? 0xFFFFFFFFu : ((1u << bits) - 1u);
        for (uint64_t i = 0; i < n; ++i) {
            const uint32_t v = uint32_t(i * 2654435761u >> 7) & keep;
            switch (pixie) {
            case 1: static_cast<uint8_t*>(pix_)[i] = uint8_t(v); break;
            case 2: static_cast<uint16_t*>(pix_)[i] = uint16_t(v); break;
            case 4: static_cast<uint32_t*>(pix_)[i] = v; break;
            default: break;
            }
        }
    }
    ~BenchImage() { mvimage_memfree(&im_, pix_); }
    BenchImage(const BenchImage&) = delete;
    BenchImage& operator=(const BenchImage&) = delete;

    bool ok() const { return rc_ == 0; }
    int32_t rc() const { return rc_; }
    mvimage* im() { return &im_; }
    uint8_t* bytes() { return static_cast<uint8_t*>(pix_); }
    size_t line_bytes() const { return size_t(kW) * im_.pixelsize; }
    size_t total_bytes() const { return line_bytes() * kH; }

private:
    mvimage im_{};
    void* pix_ = nullptr;
    int32_t rc_ = -1;
};

// Caller-side buffer, touched once so page faults stay out of the loop.
std::vector<uint8_t> make_buffer(size_t bytes) { return std::vector<uint8_t>(bytes, 0x5A); }

uint16_t bswap16(uint16_t v) { return uint16_t((v >> 8) | (v << 8)); }
uint32_t bswap32(uint32_t v) { return __builtin_bswap32(v); }

template <class T>
T load(const uint8_t* p, size_t i) {
    T v;
    std::memcpy(&v, p + i * sizeof(T), sizeof(T));
    return v;
}

// Set up an access on the whole image; false (and the benchmark skipped)
// when the window or the access is refused.
bool start_access(benchmark::State& state, BenchImage& img, uint32_t mode,
                  uint32_t type, uint32_t mask) {
    if (!img.ok()) {
        state.SkipWithError(("image construction failed: " + std::to_string(img.rc())).c_str());
        return false;
    }
    if (mvimage_setwind(img.im(), 0, 0, -1, -1) != 0) {
        state.SkipWithError("whole-image window refused");
        return false;
    }
    const int32_t r = img.im()->ioset(img.im(), mode, type, mask);
    if (r < 0) {
        const char* msg = mverrnomesg(r);
        state.SkipWithError(("ioset failed: " + std::to_string(r) + " " + (msg ? msg : "")).c_str());
        return false;
    }
    return true;
}

// One ioread per line into consecutive lines of dst.
bool read_lines(mvimage* im, uint8_t* dst, size_t out_line) {
    bool all = true;
    for (uint32_t y = 0; y < kH; ++y)
        all &= im->ioread(im, 0, dst + y * out_line, kW, 0, int32_t(y)) == kW;
    return all;
}

// One ioread per column; column x lands at dst + x * kH * pixel.
bool read_columns(mvimage* im, uint8_t* dst, size_t out_pixel) {
    bool all = true;
    for (uint32_t x = 0; x < kW; ++x)
        all &= im->ioread(im, 0, dst + size_t(x) * kH * out_pixel, kH, int32_t(x), 0) == kH;
    return all;
}

void set_bytes(benchmark::State& state, size_t per_iteration) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(per_iteration));
}

uint32_t pixie_size(uint32_t type) {
    switch (type) {
    case MVTYPE_U8: return 1;
    case MVTYPE_U16: return 2;
    default: return 4;
    }
}

// ---- memcpy baselines --------------------------------------------------

// Line by line, image memory -> caller buffer.
void BM_memcpy_lines(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!img.ok()) { state.SkipWithError("image construction failed"); return; }
    auto dst = make_buffer(img.total_bytes());
    const size_t lb = img.line_bytes();
    for (auto _ : state) {
        const uint8_t* src = img.bytes();
        for (uint32_t y = 0; y < kH; ++y) std::memcpy(dst.data() + y * lb, src + y * lb, lb);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// Line by line, caller buffer -> image memory.
void BM_memcpy_lines_write(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!img.ok()) { state.SkipWithError("image construction failed"); return; }
    auto src = make_buffer(img.total_bytes());
    const size_t lb = img.line_bytes();
    for (auto _ : state) {
        uint8_t* dst = img.bytes();
        for (uint32_t y = 0; y < kH; ++y) std::memcpy(dst + y * lb, src.data() + y * lb, lb);
        benchmark::DoNotOptimize(dst);
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// The whole image in one memcpy.
void BM_memcpy_whole(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!img.ok()) { state.SkipWithError("image construction failed"); return; }
    auto dst = make_buffer(img.total_bytes());
    for (auto _ : state) {
        std::memcpy(dst.data(), img.bytes(), img.total_bytes());
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// ---- plain x-scan --------------------------------------------------------

void BM_xscan_read(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!start_access(state, img, 0, type | MVREQ_LOW, 1)) return;
    auto dst = make_buffer(img.total_bytes());
    if (!read_lines(img.im(), dst.data(), img.line_bytes()) ||
        std::memcmp(dst.data(), img.bytes(), img.total_bytes()) != 0) {
        state.SkipWithError("x-scan read: wrong count or values");
        return;
    }
    mvimage* im = img.im();
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_lines(im, dst.data(), img.line_bytes()));
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

void BM_xscan_read_continuing(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!start_access(state, img, MVMODE_CONTINUE, type | MVREQ_LOW, 1)) return;
    auto dst = make_buffer(img.total_bytes());
    mvimage* im = img.im();
    const uint32_t n = kW * kH;
    if (im->ioread(im, 0, dst.data(), n, 0, 0) != n ||
        std::memcmp(dst.data(), img.bytes(), img.total_bytes()) != 0) {
        state.SkipWithError("continuing read: wrong count or values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(im->ioread(im, 0, dst.data(), n, 0, 0));
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

void BM_xscan_write(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!start_access(state, img, 0, type | MVREQ_LOW, 1)) return;
    auto src = make_buffer(img.total_bytes());
    for (size_t i = 0; i < src.size(); ++i) src[i] = uint8_t(i * 7 + 3);
    mvimage* im = img.im();
    const size_t lb = img.line_bytes();
    auto write_lines = [&] {
        bool all = true;
        for (uint32_t y = 0; y < kH; ++y)
            all &= im->iorite(im, 0, src.data() + y * lb, kW, 0, int32_t(y)) == kW;
        return all;
    };
    if (!write_lines() || std::memcmp(src.data(), img.bytes(), img.total_bytes()) != 0) {
        state.SkipWithError("x-scan write: wrong count or values");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(write_lines());
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// ---- adjusted x-scan reads ----------------------------------------------

// 12 significant bits low in 16-bit containers, asked for high-justified:
// every value comes out shifted left by 4.
void BM_xscan_read_shift12(benchmark::State& state) {
    BenchImage img(MVTYPE_U16, 12, 1, MVCS_GREY);
    if (!start_access(state, img, 0, MVTYPE_U16 | MVREQ_HIGH, 1)) return;
    if (img.im()->pixfmt.valform != MVVALFORM_LOW) {
        state.SkipWithError("12-bit image is not stored low-justified");
        return;
    }
    auto dst = make_buffer(img.total_bytes());
    if (!read_lines(img.im(), dst.data(), img.line_bytes())) {
        state.SkipWithError("shifted read: wrong count");
        return;
    }
    for (size_t i = 0; i < size_t(kW) * kH; ++i) {
        if (load<uint16_t>(dst.data(), i) != uint16_t(load<uint16_t>(img.bytes(), i) << 4)) {
            state.SkipWithError(("shifted read: wrong value at pixel " + std::to_string(i)).c_str());
            return;
        }
    }
    mvimage* im = img.im();
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_lines(im, dst.data(), img.line_bytes()));
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// Full-container image read by a caller of the opposite byte order.
void BM_xscan_read_swapped(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!start_access(state, img, 0, type | MVREQ_SWAPPED | MVREQ_LOW, 1)) return;
    auto dst = make_buffer(img.total_bytes());
    if (!read_lines(img.im(), dst.data(), img.line_bytes())) {
        state.SkipWithError("swapped read: wrong count");
        return;
    }
    for (size_t i = 0; i < size_t(kW) * kH; ++i) {
        const bool same = type == MVTYPE_U16
            ? load<uint16_t>(dst.data(), i) == bswap16(load<uint16_t>(img.bytes(), i))
            : load<uint32_t>(dst.data(), i) == bswap32(load<uint32_t>(img.bytes(), i));
        if (!same) {
            state.SkipWithError(("swapped read: wrong value at pixel " + std::to_string(i)).c_str());
            return;
        }
    }
    mvimage* im = img.im();
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_lines(im, dst.data(), img.line_bytes()));
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// ---- y-scan ----------------------------------------------------------------

void BM_yscan_read(benchmark::State& state, uint32_t type) {
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!start_access(state, img, MVMODE_YSCAN, type | MVREQ_LOW, 1)) return;
    const uint32_t ps = pixie_size(type);
    auto dst = make_buffer(img.total_bytes());
    if (!read_columns(img.im(), dst.data(), ps)) {
        state.SkipWithError("y-scan read: wrong count");
        return;
    }
    for (uint32_t x = 0; x < kW; ++x) {
        for (uint32_t y = 0; y < kH; ++y) {
            const size_t out = size_t(x) * kH + y, in = size_t(y) * kW + x;
            if (std::memcmp(dst.data() + out * ps, img.bytes() + in * ps, ps) != 0) {
                state.SkipWithError("y-scan read: wrong values");
                return;
            }
        }
    }
    mvimage* im = img.im();
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_columns(im, dst.data(), ps));
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// The same column walk written by hand, for scale.
template <class T>
void BM_yscan_handloop(benchmark::State& state) {
    constexpr uint32_t type = sizeof(T) == 1 ? MVTYPE_U8 : MVTYPE_U16;
    BenchImage img(type, 0, 1, MVCS_GREY);
    if (!img.ok()) { state.SkipWithError("image construction failed"); return; }
    auto dst = make_buffer(img.total_bytes());
    for (auto _ : state) {
        const T* src = reinterpret_cast<const T*>(img.bytes());
        T* out = reinterpret_cast<T*>(dst.data());
        for (uint32_t x = 0; x < kW; ++x)
            for (uint32_t y = 0; y < kH; ++y) out[size_t(x) * kH + y] = src[size_t(y) * kW + x];
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    set_bytes(state, img.total_bytes());
}

// ---- slice of a 3-pixie image ---------------------------------------------

// Only the middle pixie of a BGR image (mask 2): one byte out per pixel.
void BM_xscan_read_slice(benchmark::State& state) {
    BenchImage img(MVTYPE_U8, 0, 3, MVCS_BGR);
    if (!start_access(state, img, 0, MVTYPE_U8 | MVREQ_LOW, 2)) return;
    const size_t out_bytes = size_t(kW) * kH;
    auto dst = make_buffer(out_bytes);
    if (!read_lines(img.im(), dst.data(), kW)) {
        state.SkipWithError("slice read: wrong count");
        return;
    }
    for (size_t i = 0; i < out_bytes; ++i) {
        if (dst[i] != img.bytes()[3 * i + 1]) {
            state.SkipWithError(("slice read: wrong value at pixel " + std::to_string(i)).c_str());
            return;
        }
    }
    mvimage* im = img.im();
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_lines(im, dst.data(), kW));
        benchmark::ClobberMemory();
    }
    set_bytes(state, out_bytes);
}

// The same slice picked out by a hand-written loop, for scale.
void BM_slice_handloop(benchmark::State& state) {
    BenchImage img(MVTYPE_U8, 0, 3, MVCS_BGR);
    if (!img.ok()) { state.SkipWithError("image construction failed"); return; }
    const size_t out_bytes = size_t(kW) * kH;
    auto dst = make_buffer(out_bytes);
    for (auto _ : state) {
        const uint8_t* src = img.bytes();
        uint8_t* out = dst.data();
        for (size_t i = 0; i < out_bytes; ++i) out[i] = src[3 * i + 1];
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    set_bytes(state, out_bytes);
}

}  // namespace

BENCHMARK_CAPTURE(BM_memcpy_lines, u8, MVTYPE_U8);
BENCHMARK_CAPTURE(BM_memcpy_lines, u16, MVTYPE_U16);
BENCHMARK_CAPTURE(BM_memcpy_lines, u32, MVTYPE_U32);
BENCHMARK_CAPTURE(BM_memcpy_whole, u8, MVTYPE_U8);
BENCHMARK_CAPTURE(BM_memcpy_whole, u16, MVTYPE_U16);
BENCHMARK_CAPTURE(BM_memcpy_lines_write, u16, MVTYPE_U16);

BENCHMARK_CAPTURE(BM_xscan_read, u8, MVTYPE_U8);
BENCHMARK_CAPTURE(BM_xscan_read, u16, MVTYPE_U16);
BENCHMARK_CAPTURE(BM_xscan_read_continuing, u8, MVTYPE_U8);
BENCHMARK_CAPTURE(BM_xscan_read_continuing, u16, MVTYPE_U16);
BENCHMARK_CAPTURE(BM_xscan_write, u16, MVTYPE_U16);

BENCHMARK(BM_xscan_read_shift12);
BENCHMARK_CAPTURE(BM_xscan_read_swapped, u16, MVTYPE_U16);
BENCHMARK_CAPTURE(BM_xscan_read_swapped, u32, MVTYPE_U32);

BENCHMARK_CAPTURE(BM_yscan_read, u8, MVTYPE_U8);
BENCHMARK_CAPTURE(BM_yscan_read, u16, MVTYPE_U16);
BENCHMARK_TEMPLATE(BM_yscan_handloop, uint8_t);
BENCHMARK_TEMPLATE(BM_yscan_handloop, uint16_t);

BENCHMARK(BM_xscan_read_slice);
BENCHMARK(BM_slice_handloop);

BENCHMARK_MAIN();
