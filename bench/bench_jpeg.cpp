// JPEG writing and reading of 2048 x 2048 images with photograph-like
// content (smooth shading, hard-edged patches, mild noise), RGB and grey,
// quality 75, no subsampling, next to libjpeg-turbo's library API on the
// same pixels and settings (its default integer transform, standard
// Huffman tables, a file written and read through stdio).  Files go to
// /dev/shm.  libjpeg-turbo reads JSIMD_FORCENONE=1 from the environment
// when it starts: run the program once with it and once without to compare
// with its plain C and its SIMD code.  12-bit figures are ours only (the
// 8-bit library has no 12-bit coder).  rgb420 reads a 4:2:0 file that
// libjpeg-turbo wrote (chroma upsampled by both).  Counters: file bytes, Mpixel/s as
// items_per_second.
#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_LIBJPEG
#include <cstdio>
#include <jpeglib.h>
#endif

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint32_t kSide = 2048;

struct Photo {
    std::vector<uint8_t> pixels;
    std::vector<uint16_t> wide;  // the same at 12 bits
    uint32_t pixies;
    mvimage im{}, im12{};
    explicit Photo(uint32_t n) : pixels(size_t(kSide) * kSide * n), wide(pixels.size()), pixies(n) {
        std::mt19937 rng(7);
        for (uint32_t y = 0; y < kSide; ++y)
            for (uint32_t x = 0; x < kSide; ++x)
                for (uint32_t c = 0; c < n; ++c) {
                    double v = 0.5 + 0.25 * std::sin(x * (0.004 + 0.002 * c) + y * 0.003) * std::cos(y * 0.005 - c);
                    v += 0.06 * std::sin(x * 0.21 + std::sin(y * 0.05) * 3) * std::sin(y * 0.17 + c);  // texture
                    if ((x / 300 + y / 170 + c) % 3 == 0) v += 0.2;
                    v += (double(rng() % 1000) / 1000.0 - 0.5) * 0.06;
                    v = std::min(std::max(v, 0.0), 1.0);
                    const size_t i = (size_t(y) * kSide + x) * n + c;
                    pixels[i] = uint8_t(std::lround(v * 255));
                    wide[i] = uint16_t(std::lround(v * 4095));
                }
        const uint32_t dims[2] = {kSide, kSide};
        const uint32_t cs = n == 1 ? MVCS_GREY : MVCS_RGB;
        mvimage_memory(&im, pixels.data(), dims, 0, MVTYPE_U8, 8, n, cs, 0);
        mvimage_memory(&im12, wide.data(), dims, 0, MVTYPE_U16, 12, n, cs, 0);
    }
};
Photo& photo(uint32_t n) {
    static Photo grey(1), rgb(3);
    return n == 1 ? grey : rgb;
}

std::string scratch(const char* name) { return "/dev/shm/mvip-bench-" + std::to_string(getpid()) + "-" + name; }

uint64_t file_size(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? uint64_t(st.st_size) : 0;
}

void finish(benchmark::State& state, const std::string& path, bool remove = true) {
    state.counters["file_bytes"] = double(file_size(path));
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
    if (remove) std::remove(path.c_str());
}

int32_t write_ours(mvimage* im, const std::string& path, uint32_t bits) {
    mvfileinfo info{};
    info.area.jpg.quality = 750;
    info.area.jpg.xdensity = info.area.jpg.ydensity = 1;
    return mvio8_jpegwrite(nullptr, im, nullptr, path.c_str(), bits, &info);
}

void mvip_encode(benchmark::State& state, uint32_t pixies, uint32_t bits) {
    Photo& p = photo(pixies);
    const std::string path = scratch("w-mvip.jpg");
    for (auto _ : state) {
        std::remove(path.c_str());
        if (write_ours(bits == 12 ? &p.im12 : &p.im, path, bits) != 0) state.SkipWithError("write failed");
    }
    finish(state, path);
}

void mvip_decode(benchmark::State& state, uint32_t pixies, uint32_t bits) {
    Photo& p = photo(pixies);
    const std::string path = scratch("r-mvip.jpg");
    write_ours(bits == 12 ? &p.im12 : &p.im, path, bits);
    std::vector<uint16_t> out(p.wide.size());
    mvimage dst{};
    const uint32_t dims[2] = {kSide, kSide};
    mvimage_memory(&dst, out.data(), dims, 0, bits == 12 ? MVTYPE_U16 : MVTYPE_U8, bits, pixies,
                   pixies == 1 ? MVCS_GREY : MVCS_RGB, 0);
    for (auto _ : state)
        if (mvio8_jpegread(nullptr, &dst, path.c_str(), 0) != 0) state.SkipWithError("read failed");
    finish(state, path);
}

#ifdef MVIP_HAVE_LIBJPEG
// `subsample`: chroma at half the width and height (luma sampled 2 x 2).
void turbo_write(const Photo& p, const std::string& path, bool subsample = false) {
    jpeg_compress_struct c{};
    jpeg_error_mgr err{};
    c.err = jpeg_std_error(&err);
    jpeg_create_compress(&c);
    FILE* f = std::fopen(path.c_str(), "wb");
    jpeg_stdio_dest(&c, f);
    c.image_width = kSide;
    c.image_height = kSide;
    c.input_components = int(p.pixies);
    c.in_color_space = p.pixies == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, 75, TRUE);
    for (int i = 0; i < c.num_components; ++i) c.comp_info[i].h_samp_factor = c.comp_info[i].v_samp_factor = 1;
    if (subsample) c.comp_info[0].h_samp_factor = c.comp_info[0].v_samp_factor = 2;
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(p.pixels.data() + size_t(c.next_scanline) * kSide * p.pixies);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    std::fclose(f);
}

void turbo_encode(benchmark::State& state, uint32_t pixies) {
    Photo& p = photo(pixies);
    const std::string path = scratch("w-turbo.jpg");
    for (auto _ : state) {
        std::remove(path.c_str());
        turbo_write(p, path);
    }
    finish(state, path);
}

void turbo_decode(benchmark::State& state, uint32_t pixies, bool subsampled) {
    Photo& p = photo(pixies);
    const std::string path = scratch("r-turbo.jpg");
    turbo_write(p, path, subsampled);
    std::vector<uint8_t> out(p.pixels.size());
    for (auto _ : state) {
        jpeg_decompress_struct d{};
        jpeg_error_mgr err{};
        d.err = jpeg_std_error(&err);
        jpeg_create_decompress(&d);
        FILE* f = std::fopen(path.c_str(), "rb");
        jpeg_stdio_src(&d, f);
        jpeg_read_header(&d, TRUE);
        d.out_color_space = pixies == 1 ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_start_decompress(&d);
        while (d.output_scanline < d.output_height) {
            JSAMPROW row = out.data() + size_t(d.output_scanline) * kSide * pixies;
            jpeg_read_scanlines(&d, &row, 1);
        }
        jpeg_finish_decompress(&d);
        jpeg_destroy_decompress(&d);
        std::fclose(f);
    }
    finish(state, path);
}

// A 4:2:0 file (libjpeg-turbo's; ours are never subsampled) read by both.
void mvip_decode420(benchmark::State& state) {
    Photo& p = photo(3);
    const std::string path = scratch("r420-mvip.jpg");
    turbo_write(p, path, true);
    std::vector<uint8_t> out(p.pixels.size());
    mvimage dst{};
    const uint32_t dims[2] = {kSide, kSide};
    mvimage_memory(&dst, out.data(), dims, 0, MVTYPE_U8, 8, 3, MVCS_RGB, 0);
    for (auto _ : state)
        if (mvio8_jpegread(nullptr, &dst, path.c_str(), 0) != 0) state.SkipWithError("read failed");
    finish(state, path);
}
#endif

// Each mvip benchmark right before its libjpeg-turbo counterpart.
void register_all() {
    for (uint32_t pixies : {3u, 1u}) {
        const std::string n = pixies == 3 ? "rgb" : "grey";
        benchmark::RegisterBenchmark(("jpeg_encode/" + n + "/mvip").c_str(), mvip_encode, pixies, 8u)->Unit(benchmark::kMillisecond);
#ifdef MVIP_HAVE_LIBJPEG
        benchmark::RegisterBenchmark(("jpeg_encode/" + n + "/libjpeg-turbo").c_str(), turbo_encode, pixies)->Unit(benchmark::kMillisecond);
#endif
        benchmark::RegisterBenchmark(("jpeg_decode/" + n + "/mvip").c_str(), mvip_decode, pixies, 8u)->Unit(benchmark::kMillisecond);
#ifdef MVIP_HAVE_LIBJPEG
        benchmark::RegisterBenchmark(("jpeg_decode/" + n + "/libjpeg-turbo").c_str(), turbo_decode, pixies, false)->Unit(benchmark::kMillisecond);
#endif
#ifdef MVIP_HAVE_LIBJPEG
        if (pixies == 3) {
            benchmark::RegisterBenchmark("jpeg_decode/rgb420/mvip", mvip_decode420)->Unit(benchmark::kMillisecond);
            benchmark::RegisterBenchmark("jpeg_decode/rgb420/libjpeg-turbo", turbo_decode, 3u, true)->Unit(benchmark::kMillisecond);
        }
#endif
        benchmark::RegisterBenchmark(("jpeg_encode12/" + n + "/mvip").c_str(), mvip_encode, pixies, 12u)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("jpeg_decode12/" + n + "/mvip").c_str(), mvip_decode, pixies, 12u)->Unit(benchmark::kMillisecond);
    }
}
const int kRegistered = (register_all(), 0);

}  // namespace
