// Connected regions grown by runs on a binary plane of an image's window.
//
// The plane holds 1 for every window pixel that passes the pixel test and
// 0 elsewhere, framed by zero lines and columns, so the growers need no
// bounds tests.  A grower finds the seed's run on its line, then the runs
// that touch it on the lines above and below, and so on; every run found
// is cleared in the plane at once, so no run is met twice.  Area, box and
// first moments are summed from the runs as they are found.
#pragma once

#include "ops/frame.hpp"
#include "regions/record.hpp"
#include "regions/search.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <vector>

namespace mvip::regions {

// Connectivity and the boundary-based form, from the mode bits 0x100 and
// 0x200 (mvip.h).
enum class Connect { four, eight, filled };
Connect connect_of(uint32_t mode);

namespace line {

// Lines of the plane are bit rows: pixel x is bit x & 63 of word x >> 6
// (x = -1 lies in the zero word before the line).  The zero frame stops
// every walk.

inline bool bit(const uint64_t* r, int32_t x) { return (r[x >> 6] >> (x & 63)) & 1; }
// The first x' >= x whose bit is 0.
inline int32_t next_zero(const uint64_t* r, int32_t x) {
    int32_t i = x >> 6;
    uint64_t z = ~r[i] & (~uint64_t{0} << (x & 63));
    while (!z) z = ~r[++i];
    return i * 64 + std::countr_zero(z);
}
// The last x' <= x whose bit is 0.
inline int32_t prev_zero(const uint64_t* r, int32_t x) {
    int32_t i = x >> 6;
    uint64_t z = ~r[i] & (~uint64_t{0} >> (63 - (x & 63)));
    while (!z) z = ~r[--i];
    return i * 64 + 63 - std::countl_zero(z);
}
// The first x' in [x, end) whose bit is 1, or end.
inline int32_t next_set(const uint64_t* r, int32_t x, int32_t end) {
    if (x >= end) return end;
    int32_t i = x >> 6;
    const int32_t last = (end - 1) >> 6;
    uint64_t s = r[i] & (~uint64_t{0} << (x & 63));
    while (!s) {
        if (++i > last) return end;
        s = r[i];
    }
    return std::min(i * 64 + std::countr_zero(s), end);
}
// Clears (set: sets) the bits of [a, b), a < b.
template <bool Set = false>
inline void fill_bits(uint64_t* r, int32_t a, int32_t b) {
    const int32_t i = a >> 6, j = (b - 1) >> 6;
    const uint64_t lo = ~uint64_t{0} << (a & 63), hi = ~uint64_t{0} >> (63 - ((b - 1) & 63));
    auto put = [](uint64_t& w, uint64_t m) { w = Set ? w | m : w & ~m; };
    if (i == j) return put(r[i], lo & hi);
    put(r[i], lo);
    for (int32_t k = i + 1; k < j; ++k) r[k] = Set ? ~uint64_t{0} : 0;
    put(r[j], hi);
}

// Sets n bytes to v.  Short runs, the common case in noisy images, are
// written with two overlapping stores covering exactly [p, p + n) (no call,
// and nothing beyond the run is touched).
inline void fill_bytes(uint8_t* p, size_t n, uint8_t v) {
    const uint64_t w = 0x0101010101010101ull * v;
    if (n >= 8 && n <= 16) {
        std::memcpy(p, &w, 8);
        std::memcpy(p + n - 8, &w, 8);
    } else if (n >= 4 && n < 8) {
        std::memcpy(p, &w, 4);
        std::memcpy(p + n - 4, &w, 4);
    } else if (n >= 2 && n < 4) {
        std::memcpy(p, &w, 2);
        std::memcpy(p + n - 2, &w, 2);
    } else if (n == 1) {
        *p = v;
    } else if (n > 16) {
        std::memset(p, v, n);
    }
}

}  // namespace line

// One bit a pixel (a 2048-pixel line is 256 bytes, so large windows stay
// in the processor's caches), framed by zero words and lines.  A line is
// filled by its filler when it is first asked for, so that a search that
// stops early (a blob list of one blob a call) pays for the lines it
// touched, not for the whole window.
class Plane {
public:
    using Filler = void (*)(void* context, int32_t y, uint64_t* line);
    // A zeroed plane whose lines are filled by filler(context, y, line) on
    // first use (none: they stay zero); 0 or -2.
    int32_t allocate(uint32_t width, uint32_t height, Filler filler = nullptr, void* context = nullptr);
    uint64_t* row(int32_t y) {  // y in [-1, height]
        uint64_t* r = base_ + (int64_t(y) + 1) * int64_t(stride_);
        if (!filled_[size_t(y + 1)]) fill(y, r);
        return r;
    }
    bool filled(int32_t y) const { return filled_[size_t(y + 1)] != 0; }
    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }

private:
    void fill(int32_t y, uint64_t* r) {
        filled_[size_t(y + 1)] = 1;
        if (filler_) filler_(context_, y, r);
    }
    std::unique_ptr<uint64_t[]> store_;
    std::unique_ptr<uint8_t[]> filled_;  // per line, the frame lines included
    uint64_t* base_ = nullptr;
    size_t stride_ = 0;  // words
    uint32_t width_ = 0, height_ = 0;
    Filler filler_ = nullptr;
    void* context_ = nullptr;
};

// The window of an image opened for reading and writing (ops::Frame, u8 or
// u16, one pixie), with its lines mapped where the image allows, and the
// plane of a test over it.
class Workspace {
public:
    ~Workspace();
    // Opens the image and sets up the plane for `test` (a code and value of
    // the pixel search; each line is tested when the plane is first asked
    // for it).  0 or a negative result code.
    int32_t open(mvabort* hook, mvimage* image, uint32_t test, uint32_t value);
    // Writes the test's failing value into window-relative runs of the
    // image (false: no value fails, nothing written).
    bool paint(const mvscanrun* runs, size_t n);
    // Only when the test can fail.
    void paint_run(int32_t x, int32_t y, int32_t len) {
        if (bytes_) line::fill_bytes(static_cast<uint8_t*>(lines_[size_t(y)]) + x, size_t(len), uint8_t(fail_));
        else paint_other(x, y, len);
    }
    // Whether the image's lines are mapped, so that found pixels can be
    // painted at the end in one pass (paint_found) rather than run by run.
    bool mapped() const { return !lines_.empty(); }
    // Paints every pixel that still passes the test in the image but whose
    // bit the growers have cleared in the plane: the pixels of every region
    // grown so far (on the lines the plane has filled: no other was grown
    // on).
    void paint_found();
    bool can_fail() const { return can_fail_; }
    Plane& plane() { return plane_; }
    ops::Frame& frame() { return frame_; }
    const mvimage& image() const { return *image_; }
    const PixelTest& test() const { return test_; }

private:
    void paint_other(int32_t x, int32_t y, int32_t len);
    void fill_line(int32_t y, uint64_t* line);
    bool bytes_ = false;  // u8 lines mapped
    ops::Frame frame_;
    mvimage* image_ = nullptr;
    Plane plane_;
    PixelTest test_;
    std::vector<void*> lines_;        // mapped lines; empty when not mapped
    std::vector<mvmapdesc> maps_;
    std::unique_ptr<unsigned char[]> fill_;  // a line of the failing value
    std::unique_ptr<uint8_t[]> bytes_line_;   // a line of the test's answers
    std::unique_ptr<uint64_t[]> bits_line_;   // and as bits
    uint32_t fail_ = 0;
    bool can_fail_ = false;
};

struct Blob {
    std::vector<mvscanrun> runs;  // window-relative, in the order found
    std::vector<mvscanrun> stack;  // the grower's runs still to look round
    uint64_t area = 0;
    int64_t sum_x = 0, sum_y = 0;  // window-relative first moments
    int32_t left = 0, top = 0, right = 0, bottom = 0;  // window-relative box, exclusive
    void clear();
    void add(int32_t x, int32_t y, int32_t len) {
        runs.push_back({{x, y}, len});
        count(x, y, len);
    }
    void count(int32_t x, int32_t y, int32_t len) {
        area += uint64_t(len);
        sum_x += int64_t(len) * (2 * int64_t(x) + len - 1) / 2;
        sum_y += int64_t(len) * y;
        left = std::min(left, x);
        right = std::max(right, x + len);
        top = std::min(top, y);
        bottom = std::max(bottom, y + 1);
    }
    void recount();  // area, moments and box again from `runs`
};


// Grows the region of the set plane pixel at (x, y), clearing it in the
// plane, and hands every run to found(x, y, len) once, in no particular
// order.  Runs wait on `stack` (its capacity is kept for the next call)
// and the last found is looked round first, which keeps the walk near the
// lines it has just touched.
template <class Found>
void grow_runs(Plane& plane, int32_t x, int32_t y, bool eight, std::vector<mvscanrun>& stack, Found&& found) {
    using namespace line;
    const int32_t d = eight ? 1 : 0;
    const int32_t h = int32_t(plane.height());
    uint64_t* r = plane.row(y);
    const int32_t s = prev_zero(r, x) + 1, e = next_zero(r, x);
    fill_bits(r, s, e);
    found(s, y, e - s);
    stack.clear();
    stack.push_back({{s, y}, e - s});
    while (!stack.empty()) {
        const mvscanrun cur = stack.back();
        stack.pop_back();
        for (const int32_t ny : {cur.coord.y - 1, cur.coord.y + 1}) {
            if (ny < 0 || ny >= h) continue;
            uint64_t* nr = plane.row(ny);
            const int32_t from = cur.coord.x - d, end = cur.coord.x + cur.len + d;
            int32_t at = next_set(nr, from, end);
            while (at < end) {
                // Only a run met at the very start can reach further left.
                const int32_t a = at == from ? prev_zero(nr, at) + 1 : at;
                const int32_t b = next_zero(nr, at + 1);
                fill_bits(nr, a, b);
                found(a, ny, b - a);
                stack.push_back({{a, ny}, b - a});
                at = next_set(nr, b + 1, end);
            }
        }
    }
}

// Grows the region of the set plane pixel at (x, y) into `blob` (cleared
// first), clearing it in the plane.  `filled` grows 8-connected and then
// fills the holes.
void grow(Plane& plane, int32_t x, int32_t y, Connect c, Blob& blob);

// Sorts runs by line, then by x.
void sort_runs(std::vector<mvscanrun>& runs);

// The runs of the area inside the outer boundary of a region given by its
// sorted runs (its holes filled), sorted; `c` is the region's connectivity
// (holes are connected the other way).
void fill_holes(const std::vector<mvscanrun>& runs, Connect c, std::vector<mvscanrun>& out);

}  // namespace mvip::regions
