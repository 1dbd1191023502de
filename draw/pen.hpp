// The drawing pen: every figure plots its points through one Pen built on
// the stack for one call.  Points are dropped outside the image's window.
// When the image maps its window directly (columns of one stride whose
// tops lie a pixel apart) and no source is read, kept points are written
// straight into its memory; otherwise they are buffered relative to the
// window's corner and written in batches through the image's scattered
// transfers (bxts/bxta), or one pixel at a time (iorite) for kinds that
// offer neither.  A disc is written as row spans, less the part the
// previous disc already covered, so thick lines cost about their area.
#pragma once

#include "core/record.hpp"

#include <cstring>
#include <memory>
#include <vector>

namespace mvip::draw {

class Pen {
public:
    Pen() = default;
    Pen(const Pen&) = delete;
    Pen& operator=(const Pen&) = delete;
    ~Pen();

    // Prepares the pen for `image` (checked valid by the caller): mode 0
    // writes nothing, 'c' (99) copies from `source`, any other mode writes
    // `colour` (or the source's pixels).  `state` seeds the dot pattern.
    // 0 or a negative result code.
    int32_t open(mvimage* image, uint32_t mode, const uint32_t* colour, mvimage* source,
                 const uint32_t* state);

    // Dot spacing n and width w (0 counts as 1).
    void style(uint32_t dotspacing, uint32_t width);

    // An explicit point (end points and corners): its disc includes the
    // offsets at exactly the squared radius.
    void point(int32_t x, int32_t y) {
        if (tick(explicit_countdown_)) dab(x, y, r2_);
    }
    // A point of a line walk: its disc stops short of the squared radius.
    void walked(int32_t x, int32_t y) {
        if (tick(walked_countdown_)) dab(x, y, r2_ - 1);
    }

    // The points of the line walk between (x0, y0) and (x1, y1), both ends
    // skipped, plotted as walked points.  Callers plot both ends themselves
    // (as explicit or walked points), which lets a thick walk include them.
    void walk(int32_t x0, int32_t y0, int32_t x1, int32_t y1);

    // Writes what is buffered and stores the dot pattern's phase into
    // `state` (when given).
    void close(uint32_t* state);

private:
    bool tick(uint32_t& countdown) {
        if (spacing_ <= 1) return true;
        if (--countdown != 0) return false;
        countdown = spacing_;
        return true;
    }
    void dab(int32_t x, int32_t y, int64_t reach);
    int64_t half_width(int64_t dy, int64_t reach) const;  // -1: the row is not in the disc
    // Pixels x0 .. x1 of absolute line y, clipped to the window.
    void span(int64_t x0, int64_t x1, int64_t y);
    void put(int32_t x, int32_t y) {
        const uint32_t wx = uint32_t(x - nwx_), wy = uint32_t(y - nwy_);
        if (wx >= width_ || wy >= height_) return;
        if (base_) return store(base_ + int64_t(wy) * pitch_ + int64_t(wx) * pixel_bytes_);
        if (used_ == capacity_) flush();
        entries_[used_++] = mvbxtentry{int32_t(wx), int32_t(wy), 0};
    }
    void store(unsigned char* at) const {
        switch (pixel_bytes_) {
            case 1: *at = colour_[0]; break;
            case 2: std::memcpy(at, colour_, 2); break;
            case 4: std::memcpy(at, colour_, 4); break;
            default: std::memcpy(at, colour_, pixel_bytes_); break;
        }
    }
    bool map_directly();
    void walk_thick(int32_t x0, int32_t y0, int32_t x1, int32_t y1);
    void flush();
    void fill_values(uint32_t n);

    mvimage* image_ = nullptr;
    mvimage* source_ = nullptr;
    bool writes_ = false;     // false for mode 0
    bool scattered_ = false;  // the image takes bxta; else one iorite per point
    int32_t nwx_ = 0, nwy_ = 0;
    uint32_t width_ = 0, height_ = 0;
    uint32_t pixel_bytes_ = 0;
    uint32_t mask_ = 1;
    unsigned char colour_[32] = {};  // one pixel of the colour, caller form
    uint32_t spacing_ = 1, explicit_countdown_ = 1, walked_countdown_ = 1;
    int32_t r_ = 0;
    int64_t r2_ = 0;
    std::vector<int32_t> half_explicit_, half_walked_;  // per |dy| when r is small
    std::vector<int32_t> row_left_, row_right_;          // a thick walk's points per line
    std::vector<int32_t> line_low_, line_high_;          // and its extent per image line
    bool have_previous_ = false;  // the last disc, whose pixels are written
    int32_t previous_x_ = 0, previous_y_ = 0;
    int64_t previous_reach_ = 0;
    unsigned char* base_ = nullptr;  // direct writes: pixel (0, 0) of the window
    int64_t pitch_ = 0;
    mvmapdesc mapping_{};
    std::unique_ptr<mvbxtentry[]> entries_, source_entries_;
    std::unique_ptr<unsigned char[]> values_;
    uint32_t capacity_ = 0, used_ = 0;
};

}  // namespace mvip::draw
