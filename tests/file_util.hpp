// Helpers of the file tests: temporary paths, owned memory images, and
// running the independent readers (libtiff's tools, Python with Pillow and
// tifffile) that the files are checked against.
#pragma once

#include "mvip.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace mvtest {

// A file name under the test's temporary folder, deleted at the end.
class TempPath {
public:
    explicit TempPath(const std::string& stem) {
        static int serial = 0;
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string test = info ? std::string(info->test_suite_name()) + "_" + info->name() : "x";
        for (char& c : test)
            if (c == '/') c = '_';
        path_ = ::testing::TempDir() + "mvip_" + test + "_" + std::to_string(++serial) + "_" + stem;
        std::remove(path_.c_str());
    }
    ~TempPath() { std::remove(path_.c_str()); }
    const char* c_str() const { return path_.c_str(); }
    const std::string& str() const { return path_; }

private:
    std::string path_;
};

inline bool file_exists(const std::string& path) { return std::ifstream(path).good(); }

inline std::vector<uint8_t> file_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

inline void write_bytes(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

// A packed memory image that owns its pixels.
struct OwnedImage {
    std::vector<uint8_t> pixels;
    mvimage im{};
    OwnedImage(uint32_t w, uint32_t h, uint32_t type, uint32_t bits, uint32_t pixies, uint32_t cs) {
        mvpixfmt f{};
        mvpixfmt_set(&f, type, bits, pixies, cs);
        mvimage probe{};
        probe.pixfmt = f;
        mvimage_derivesizes(&probe);
        pixels.assign(size_t(w) * h * probe.pixelsize, 0);
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(mvimage_memory(&im, pixels.data(), dims, 0, type, bits, pixies, cs, 0), 0);
    }
    uint32_t width() const { return uint32_t(im.imdim.se.x); }
    uint32_t height() const { return uint32_t(im.imdim.se.y); }
    template <class T>
    T* at(uint32_t x, uint32_t y) {
        return reinterpret_cast<T*>(pixels.data() + (size_t(y) * width() + x) * im.pixelsize);
    }
    // Smooth content with mild noise, within the image's bits.
    void fill_natural(uint32_t seed) {
        std::mt19937 rng(seed);
        const uint32_t n = uint32_t(pixels.size() / im.pixiesize);
        const uint32_t t = im.pixfmt.datatype;
        const double top = t == MVTYPE_FLOAT || t == MVTYPE_DOUBLE ? 1.0
                                                                   : double(im.pixfmt.bits >= 32 ? 0xFFFFFFFFu : (1u << im.pixfmt.bits) - 1u);
        const uint32_t w = width() * im.pixfmt.pixies;
        for (uint32_t i = 0; i < n; ++i) {
            const double x = double(i % w) / w, y = double(i / w) / height();
            double v = (0.5 * x + 0.4 * y + 0.1 * double(rng() % 1000) / 1000.0) * top;
            if (t == MVTYPE_U8) pixels[i] = uint8_t(v);
            else if (t == MVTYPE_U16) reinterpret_cast<uint16_t*>(pixels.data())[i] = uint16_t(v);
            else if (t == MVTYPE_U32) reinterpret_cast<uint32_t*>(pixels.data())[i] = uint32_t(v);
            else if (t == MVTYPE_FLOAT) reinterpret_cast<float*>(pixels.data())[i] = float(v);
            else reinterpret_cast<double*>(pixels.data())[i] = v;
        }
    }
};

// Run a shell command; its exit status, with stdout and stderr captured.
inline int run_command(const std::string& command, std::string* output = nullptr) {
    std::string full = command + " 2>&1";
    FILE* pipe = popen(full.c_str(), "r");
    if (pipe == nullptr) return -1;
    std::string text;
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, pipe)) > 0) text.append(buf, n);
    const int status = pclose(pipe);
    if (output) *output = text;
    return status;
}

// The Python that sees Debian's packages (Pillow, tifffile).
inline const char* python() { return "/usr/bin/python3"; }

inline bool have_command(const std::string& check) { return run_command(check + " >/dev/null") == 0; }

}  // namespace mvtest
