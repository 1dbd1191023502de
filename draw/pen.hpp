// The drawing pen: every figure plots its points through one Pen built on
// the stack for one call.  Points are dropped outside the image's window,
// kept points are buffered relative to the window's corner and written in
// batches through the image's scattered transfers (bxts/bxta), or one run
// of one pixel at a time (iorite) for kinds that do not offer them.
#pragma once

#include "core/record.hpp"

#include <memory>

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
    void put(int32_t x, int32_t y) {
        if (uint32_t(x - nwx_) >= width_ || uint32_t(y - nwy_) >= height_) return;
        if (used_ == capacity_) flush();
        entries_[used_++] = mvbxtentry{x - nwx_, y - nwy_, 0};
    }
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
    std::unique_ptr<mvbxtentry[]> entries_, source_entries_;
    std::unique_ptr<unsigned char[]> values_;
    uint32_t capacity_ = 0, used_ = 0;
};

}  // namespace mvip::draw
