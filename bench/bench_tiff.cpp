// TIFF writing and reading of a 2048 x 2048 8-bit image with natural
// content (a smooth gradient with mild noise), uncompressed, PackBits and
// LZW with the horizontal predictor (and the library's arithmetic code),
// next to libtiff (TIFFWriteScanline / TIFFReadScanline, one strip of 32
// rows as the library writes) on the same pixels; and a stack of 64 pages of
// 1024 x 1024 u16, uncompressed, written and read whole (below).
//
// Each write goes to a fresh file (deleted first: overwriting an existing
// file would time the disk, not the code), on disk (the build folder) and
// on memory-speed storage (/dev/shm).  Each mvip benchmark is registered
// right before its libtiff counterpart; run with
// --benchmark_enable_random_interleaving=true --benchmark_repetitions=N to
// alternate them.  Counters: file bytes, and Mpixel/s as items_per_second.

#include "mvip.h"

#include <benchmark/benchmark.h>

#ifdef MVIP_HAVE_LIBTIFF
#include <tiffio.h>
#endif

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr uint32_t kSide = 2048;

struct Natural {
    std::vector<uint8_t> pixels;
    mvimage im{};
    Natural() : pixels(size_t(kSide) * kSide) {
        std::mt19937 rng(1);
        for (uint32_t y = 0; y < kSide; ++y)
            for (uint32_t x = 0; x < kSide; ++x)
                pixels[size_t(y) * kSide + x] = uint8_t((x * 120 / kSide + y * 100 / kSide) + rng() % 12);
        const uint32_t dims[2] = {kSide, kSide};
        mvimage_memory(&im, pixels.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    }
};
Natural& natural() {
    static Natural n;
    return n;
}

std::string scratch(bool shm, const char* name) {
    const std::string dir = shm ? "/dev/shm" : ".";
    return dir + "/mvip-bench-" + std::to_string(getpid()) + "-" + name;
}

uint64_t file_size(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? uint64_t(st.st_size) : 0;
}

enum Codec { kNone, kPackBits, kLzwPred, kArith };
uint32_t our_code(Codec c) {
    switch (c) {
    case kNone: return 1;
    case kPackBits: return 32773;
    case kLzwPred: return 517;
    default: return 32885;
    }
}

void finish(benchmark::State& state, const std::string& path) {
    state.counters["file_bytes"] = double(file_size(path));
    state.SetItemsProcessed(int64_t(state.iterations()) * kSide * kSide);
    std::remove(path.c_str());
}

void mvip_write(benchmark::State& state, Codec codec, bool shm) {
    const std::string path = scratch(shm, "w-mvip.tif");
    mvfileinfo params{};
    params.area.tif.compression = our_code(codec);
    for (auto _ : state) {
        std::remove(path.c_str());
        if (mvio8_tifwrite(nullptr, &natural().im, nullptr, path.c_str(), 8, 0, 0, &params) != 0)
            state.SkipWithError("write failed");
    }
    finish(state, path);
}

void mvip_read(benchmark::State& state, Codec codec, bool shm) {
    const std::string path = scratch(shm, "r-mvip.tif");
    mvfileinfo params{};
    params.area.tif.compression = our_code(codec);
    mvio8_tifwrite(nullptr, &natural().im, nullptr, path.c_str(), 8, 0, 0, &params);
    std::vector<uint8_t> out(size_t(kSide) * kSide);
    const uint32_t dims[2] = {kSide, kSide};
    mvimage im;
    mvimage_memory(&im, out.data(), dims, 0, MVTYPE_U8, 8, 1, MVCS_GREY, 0);
    for (auto _ : state)
        if (mvio8_tifread(nullptr, &im, nullptr, path.c_str(), 0, nullptr, 0) != 0) state.SkipWithError("read failed");
    if (out != natural().pixels) state.SkipWithError("pixels differ");
    finish(state, path);
}

#ifdef MVIP_HAVE_LIBTIFF
bool libtiff_write_file(const std::string& path, Codec codec) {
    TIFF* t = TIFFOpen(path.c_str(), "w");
    if (t == nullptr) return false;
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, kSide);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, kSide);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, 32);
    TIFFSetField(t, TIFFTAG_COMPRESSION, codec == kNone ? COMPRESSION_NONE
                                         : codec == kPackBits ? COMPRESSION_PACKBITS
                                                              : COMPRESSION_LZW);
    if (codec == kLzwPred) TIFFSetField(t, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    // libtiff's predictor differences the caller's row in place: hand it a
    // copy, as a caller keeping its image would have to.
    std::vector<uint8_t> row(kSide);
    bool ok = true;
    for (uint32_t y = 0; y < kSide && ok; ++y) {
        std::memcpy(row.data(), natural().pixels.data() + size_t(y) * kSide, kSide);
        ok = TIFFWriteScanline(t, row.data(), y, 0) == 1;
    }
    TIFFClose(t);
    return ok;
}

void libtiff_write(benchmark::State& state, Codec codec, bool shm) {
    const std::string path = scratch(shm, "w-libtiff.tif");
    for (auto _ : state) {
        std::remove(path.c_str());
        if (!libtiff_write_file(path, codec)) state.SkipWithError("write failed");
    }
    finish(state, path);
}

void libtiff_read(benchmark::State& state, Codec codec, bool shm) {
    const std::string path = scratch(shm, "r-libtiff.tif");
    libtiff_write_file(path, codec);
    std::vector<uint8_t> out(size_t(kSide) * kSide);
    for (auto _ : state) {
        TIFF* t = TIFFOpen(path.c_str(), "r");
        if (t == nullptr) {
            state.SkipWithError("open failed");
            break;
        }
        for (uint32_t y = 0; y < kSide; ++y) TIFFReadScanline(t, out.data() + size_t(y) * kSide, y, 0);
        TIFFClose(t);
    }
    if (out != natural().pixels) state.SkipWithError("pixels differ");
    finish(state, path);
}
#endif

// ---- stacks: 64 pages of 1024 x 1024 u16, uncompressed -------------------
// mvio8_tifwriteseq / mvio8_tifreadseq on a 3-D memory image against
// libtiff writing and reading the same pages strip by strip
// (TIFFWriteEncodedStrip / TIFFReadEncodedStrip, 32 rows a strip as the
// library writes them, one directory per page).

constexpr uint32_t kStackSide = 1024, kStackDepth = 64, kStackRows = 32;

struct Stack {
    std::vector<uint16_t> pixels;
    mvimage3 im{};
    Stack() : pixels(size_t(kStackSide) * kStackSide * kStackDepth) {
        std::mt19937 rng(2);
        for (size_t i = 0; i < pixels.size(); ++i) {
            const size_t x = i % kStackSide, y = i / kStackSide % kStackSide, z = i / kStackSide / kStackSide;
            pixels[i] = uint16_t(x * 30 + y * 20 + z * 100 + rng() % 256);
        }
        const uint32_t dims[3] = {kStackSide, kStackSide, kStackDepth};
        mvimage3_memory(&im, pixels.data(), dims, 0, MVTYPE_U16, 16, 1, MVCS_GREY, 0);
    }
};
Stack& stack() {
    static Stack s;
    return s;
}

void finish_stack(benchmark::State& state, const std::string& path) {
    state.counters["file_bytes"] = double(file_size(path));
    state.SetItemsProcessed(int64_t(state.iterations()) * kStackSide * kStackSide * kStackDepth);
    std::remove(path.c_str());
}

void mvip_write_stack(benchmark::State& state, bool shm) {
    const std::string path = scratch(shm, "ws-mvip.tif");
    stack();  // made before the timing
    for (auto _ : state) {
        std::remove(path.c_str());
        if (mvio8_tifwriteseq(nullptr, &stack().im, nullptr, path.c_str(), 16, 0, 0, nullptr) != 0)
            state.SkipWithError("write failed");
    }
    finish_stack(state, path);
}

void mvip_read_stack(benchmark::State& state, bool shm) {
    const std::string path = scratch(shm, "rs-mvip.tif");
    mvio8_tifwriteseq(nullptr, &stack().im, nullptr, path.c_str(), 16, 0, 0, nullptr);
    std::vector<uint16_t> out(stack().pixels.size());
    const uint32_t dims[3] = {kStackSide, kStackSide, kStackDepth};
    mvimage3 im;
    mvimage3_memory(&im, out.data(), dims, 0, MVTYPE_U16, 16, 1, MVCS_GREY, 0);
    for (auto _ : state)
        if (mvio8_tifreadseq(nullptr, &im, nullptr, path.c_str(), 0, nullptr, 0) != 0)
            state.SkipWithError("read failed");
    if (out != stack().pixels) state.SkipWithError("pixels differ");
    finish_stack(state, path);
}

#ifdef MVIP_HAVE_LIBTIFF
bool libtiff_write_stack_file(const std::string& path) {
    TIFF* t = TIFFOpen(path.c_str(), "w");
    if (t == nullptr) return false;
    const size_t row = size_t(kStackSide) * 2, plane = row * kStackSide;
    const auto* bytes = reinterpret_cast<const uint8_t*>(stack().pixels.data());
    bool ok = true;
    for (uint32_t z = 0; z < kStackDepth && ok; ++z) {
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, kStackSide);
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, kStackSide);
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 16);
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, kStackRows);
        TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        for (uint32_t s = 0; s < kStackSide / kStackRows && ok; ++s)
            ok = TIFFWriteEncodedStrip(t, s, const_cast<uint8_t*>(bytes + z * plane + s * kStackRows * row),
                                       tmsize_t(kStackRows * row)) >= 0;
        ok = ok && TIFFWriteDirectory(t) == 1;
    }
    TIFFClose(t);
    return ok;
}

void libtiff_write_stack(benchmark::State& state, bool shm) {
    const std::string path = scratch(shm, "ws-libtiff.tif");
    stack();
    for (auto _ : state) {
        std::remove(path.c_str());
        if (!libtiff_write_stack_file(path)) state.SkipWithError("write failed");
    }
    finish_stack(state, path);
}

void libtiff_read_stack(benchmark::State& state, bool shm) {
    const std::string path = scratch(shm, "rs-libtiff.tif");
    libtiff_write_stack_file(path);
    std::vector<uint16_t> out(stack().pixels.size());
    const size_t row = size_t(kStackSide) * 2, plane = row * kStackSide;
    auto* bytes = reinterpret_cast<uint8_t*>(out.data());
    for (auto _ : state) {
        TIFF* t = TIFFOpen(path.c_str(), "r");
        if (t == nullptr) {
            state.SkipWithError("open failed");
            break;
        }
        uint32_t z = 0;
        do {
            for (uint32_t s = 0; s < kStackSide / kStackRows; ++s)
                TIFFReadEncodedStrip(t, s, bytes + z * plane + s * kStackRows * row, tmsize_t(kStackRows * row));
        } while (++z < kStackDepth && TIFFReadDirectory(t) == 1);
        TIFFClose(t);
    }
    if (out != stack().pixels) state.SkipWithError("pixels differ");
    finish_stack(state, path);
}
#endif

void register_all() {
    const std::pair<Codec, const char*> codecs[] = {
        {kNone, "none"}, {kPackBits, "packbits"}, {kLzwPred, "lzw-pred"}, {kArith, "arith"}};
    for (bool shm : {false, true})
        for (auto [codec, name] : codecs)
            for (bool write : {true, false}) {
                const std::string base = std::string("tiff/") + (write ? "write/" : "read/") + name + (shm ? "/shm" : "/disk");
                benchmark::RegisterBenchmark((base + "/mvip").c_str(), write ? mvip_write : mvip_read, codec, shm)
                    ->Unit(benchmark::kMillisecond);
#ifdef MVIP_HAVE_LIBTIFF
                if (codec != kArith)
                    benchmark::RegisterBenchmark((base + "/libtiff").c_str(), write ? libtiff_write : libtiff_read,
                                                 codec, shm)
                        ->Unit(benchmark::kMillisecond);
#endif
            }
    for (bool shm : {false, true})
        for (bool write : {true, false}) {
            const std::string base = std::string("tiff-stack/") + (write ? "write/" : "read/") + "none" +
                                     (shm ? "/shm" : "/disk");
            benchmark::RegisterBenchmark((base + "/mvip").c_str(), write ? mvip_write_stack : mvip_read_stack, shm)
                ->Unit(benchmark::kMillisecond);
#ifdef MVIP_HAVE_LIBTIFF
            benchmark::RegisterBenchmark((base + "/libtiff").c_str(), write ? libtiff_write_stack : libtiff_read_stack,
                                         shm)
                ->Unit(benchmark::kMillisecond);
#endif
        }
}

const int registered = (register_all(), 0);

}  // namespace
