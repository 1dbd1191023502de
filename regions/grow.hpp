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

#include <memory>
#include <vector>

namespace mvip::regions {

// Connectivity and the boundary-based form, from the mode bits 0x100 and
// 0x200 (mvip.h).
enum class Connect { four, eight, filled };
Connect connect_of(uint32_t mode);

class Plane {
public:
    // 0 or -2.
    int32_t allocate(uint32_t width, uint32_t height);
    uint8_t* row(int32_t y) { return base_ + (int64_t(y) + 1) * int64_t(stride_); }  // y in [-1, height]
    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }

private:
    std::unique_ptr<uint8_t[]> store_;
    uint8_t* base_ = nullptr;
    size_t stride_ = 0;
    uint32_t width_ = 0, height_ = 0;
};

// The window of an image opened for reading and writing (ops::Frame, u8 or
// u16, one pixie), with its lines mapped where the image allows, and the
// plane of a test over it.
class Workspace {
public:
    ~Workspace();
    // Opens the image and fills the plane for `test` (a code and value of
    // the pixel search).  0 or a negative result code.
    int32_t open(mvabort* hook, mvimage* image, uint32_t test, uint32_t value);
    // Writes the test's failing value into window-relative runs of the
    // image (false: no value fails, nothing written).
    bool paint(const mvscanrun* runs, size_t n);
    Plane& plane() { return plane_; }
    ops::Frame& frame() { return frame_; }
    const mvimage& image() const { return *image_; }
    const PixelTest& test() const { return test_; }

private:
    ops::Frame frame_;
    mvimage* image_ = nullptr;
    Plane plane_;
    PixelTest test_;
    std::vector<void*> lines_;        // mapped lines; empty when not mapped
    std::vector<mvmapdesc> maps_;
    std::unique_ptr<unsigned char[]> fill_;  // a line of the failing value
    uint32_t fail_ = 0;
    bool can_fail_ = false;
};

struct Blob {
    std::vector<mvscanrun> runs;  // window-relative, in the order found
    uint64_t area = 0;
    int64_t sum_x = 0, sum_y = 0;  // window-relative first moments
    int32_t left = 0, top = 0, right = 0, bottom = 0;  // window-relative box, exclusive
    void clear();
    void add(int32_t x, int32_t y, int32_t len);
    void recount();  // area, moments and box again from `runs`
};

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
