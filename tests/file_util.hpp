// Helpers of the file tests: temporary paths, owned memory images, a
// recording abort hook, a TIFF directory parser, and running the
// independent readers (libtiff's tools, Python with Pillow and tifffile)
// that the files are checked against.
#pragma once

#include "mvip.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

namespace mvtest {

// A file name under the test's temporary folder, deleted at the end.
class TempPath {
    static long process_id() {
#ifdef _WIN32
        return static_cast<long>(_getpid());
#else
        return static_cast<long>(getpid());
#endif
    }

public:
    explicit TempPath(const std::string& stem) {
        static int serial = 0;
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string test = info ? std::string(info->test_suite_name()) + "_" + info->name() : "x";
        for (char& c : test)
            if (c == '/') c = '_';
        // The process id keeps two runs of one test (two builds at once) apart.
        path_ = ::testing::TempDir() + "mvip_" + test + "_" + std::to_string(process_id()) + "_" +
                std::to_string(++serial) + "_" + stem;
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

// A packed stack of `depth` planes that owns its pixels: the planes are the
// bands of a w x (h * depth) image, one after another.
struct OwnedStack {
    OwnedImage flat;
    mvimage3 im{};
    OwnedStack(uint32_t w, uint32_t h, uint32_t depth, uint32_t type, uint32_t bits, uint32_t pixies, uint32_t cs)
        : flat(w, h * depth, type, bits, pixies, cs) {
        const uint32_t dims[3] = {w, h, depth};
        EXPECT_EQ(mvimage3_memory(&im, flat.pixels.data(), dims, 0, type, bits, pixies, cs, 0), 0);
    }
    // The bytes of planes first .. first + count - 1.
    std::vector<uint8_t> planes(uint32_t first, uint32_t count) const {
        const size_t plane = flat.pixels.size() / uint32_t(im.imdim.se.z);
        return std::vector<uint8_t>(flat.pixels.begin() + std::ptrdiff_t(plane * first),
                                    flat.pixels.begin() + std::ptrdiff_t(plane * (first + count)));
    }
};

// An abort hook that records its calls and answers from a script: the
// n-th call gets answers[n] (0 past the end); `at_line` >= 0 instead
// answers `stop` to the first call whose done value reaches it with a
// non-zero total.
struct ScriptedHook {
    mvabort hook{&ScriptedHook::call};
    std::vector<int32_t> answers;
    int32_t at_line = -1, stop = 0;
    std::vector<std::pair<int32_t, int32_t>> calls;
    static int32_t call(mvabort* h, int32_t done, int32_t total) {
        auto* self = reinterpret_cast<ScriptedHook*>(h);
        const size_t n = self->calls.size();
        self->calls.emplace_back(done, total);
        if (self->at_line >= 0) return done >= self->at_line && total != 0 ? self->stop : 0;
        return n < self->answers.size() ? self->answers[n] : 0;
    }
};

// The entries of IFD number `index` of a TIFF file (either byte order):
// tag -> type, count, the entry's offset and its values (BYTE, SHORT,
// LONG; RATIONAL as numerator, denominator pairs; ASCII as bytes).
struct TiffEntry {
    uint16_t type = 0;
    uint32_t count = 0;
    size_t at = 0;
    std::vector<uint32_t> values;
};
struct TiffBytes {
    std::vector<uint8_t> f;
    bool big() const { return f.size() > 1 && f[0] == 'M'; }
    uint32_t get(size_t at, int n) const {
        uint32_t v = 0;
        for (int k = 0; k < n; ++k) v |= uint32_t(f.at(at + size_t(k))) << (8 * (big() ? n - 1 - k : k));
        return v;
    }
    void put(size_t at, uint32_t v, int n) {
        for (int k = 0; k < n; ++k) f.at(at + size_t(k)) = uint8_t(v >> (8 * (big() ? n - 1 - k : k)));
    }
    size_t ifd(uint32_t index) const {
        size_t at = get(4, 4);
        for (uint32_t i = 0; i < index; ++i) at = get(at + 2 + 12 * get(at, 2), 4);
        return at;
    }
    std::map<uint16_t, TiffEntry> entries(uint32_t index = 0) const {
        std::map<uint16_t, TiffEntry> out;
        const size_t at = ifd(index);
        for (uint32_t i = 0, n = get(at, 2); i < n; ++i) {
            const size_t e = at + 2 + 12 * i;
            TiffEntry t{uint16_t(get(e + 2, 2)), get(e + 4, 4), e, {}};
            const int size = t.type == 3 ? 2 : t.type == 4 || t.type == 5 ? 4 : 1;
            const uint32_t values = t.type == 5 ? 2 * t.count : t.count;
            size_t v = size_t(values) * size > 4 ? get(e + 8, 4) : e + 8;
            for (uint32_t k = 0; k < values; ++k, v += size_t(size)) t.values.push_back(get(v, size));
            out[uint16_t(get(e, 2))] = t;
        }
        return out;
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
