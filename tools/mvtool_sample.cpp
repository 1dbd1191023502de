// mvtool - the built-in images of the benchmark and the demo, generated so
// that the tool needs no sample files.

#include "mvtool.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace mvtool {

namespace {

// A small fast generator (xorshift32): the same images on every machine.
struct Noise {
    uint32_t state;
    explicit Noise(uint32_t seed) : state(seed ? seed : 0x9E3779B9u) {}
    uint32_t next() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    // Roughly bell-shaped in [-amplitude, amplitude] (sum of two uniforms).
    int mild(int amplitude) {
        const int span = 2 * amplitude + 1;
        return int(next() % uint32_t(span)) / 2 + int(next() % uint32_t(span)) / 2 - amplitude;
    }
};

uint8_t clamp8(int v) { return uint8_t(std::clamp(v, 0, 255)); }

}  // namespace

void make_gradient(Image& image, uint32_t width, uint32_t height, uint32_t seed) {
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, MVTYPE_U8, 8, 1, MVCS_GREY);
    image.allocate(width, height, fmt);
    auto* p = static_cast<uint8_t*>(image.data());
    Noise noise(seed);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const int v = int(140.0 * x / width + 100.0 * y / height) + noise.mild(6);
            p[size_t(y) * width + x] = clamp8(v + 8);
        }
}

void make_scene(Image& image, uint32_t width, uint32_t height, uint32_t seed) {
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, MVTYPE_U8, 8, 3, MVCS_RGB);
    image.allocate(width, height, fmt);
    auto* p = static_cast<uint8_t*>(image.data());
    Noise noise(seed);
    const double w = width, h = height, s = std::min(w, h);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) {
            const double fx = x / w, fy = y / h;
            // Background: a sky-like gradient.
            int r = int(40 + 90 * fy), g = int(70 + 80 * fx), b = int(200 - 90 * fy);
            // A filled orange disc.
            const double dx = x - 0.28 * w, dy = y - 0.35 * h, d = std::sqrt(dx * dx + dy * dy);
            if (d < 0.18 * s) r = 235, g = 140, b = 40;
            // A white ring around it.
            if (std::fabs(d - 0.23 * s) < 0.012 * s) r = g = b = 245;
            // A dark blue rectangle.
            if (fx > 0.55 && fx < 0.88 && fy > 0.15 && fy < 0.45) r = 25, g = 35, b = 90;
            // A green triangle standing on the lower edge.
            const double tx = std::fabs(fx - 0.7) * w, ty = (0.92 - fy) * h;
            if (ty > 0 && ty < 0.35 * h && tx < ty * 0.7) r = 40, g = 170, b = 70;
            // A thin grey diagonal bar.
            if (std::fabs((fy - 0.55) - (fx - 0.05) * 0.6) * h < 6 && fx < 0.5) r = g = b = 128;
            // A row of small dark dots.
            if (fy > 0.85 && fy < 0.85 + 14 / h && int(x) % 40 < 12) r = g = b = 20;
            const size_t i = (size_t(y) * width + x) * 3;
            p[i] = clamp8(r + noise.mild(8));
            p[i + 1] = clamp8(g + noise.mild(8));
            p[i + 2] = clamp8(b + noise.mild(8));
        }
}

}  // namespace mvtool
