#include "draw/pen.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace mvip::draw {
namespace {

constexpr uint32_t kMinPoints = 8;
constexpr int32_t kPrepareAndApply = -1;  // bxta operation: low byte negative prepares entries
constexpr int32_t kWrite = 3, kRead = 2;  // bxta codes

uint32_t all_pixies(const mvimage* im) {
    return im->pixfmt.pixies >= 32 ? 0xFFFFFFFFu : (1u << im->pixfmt.pixies) - 1u;
}

// Largest d >= 0 with d * d <= v (v >= 0).
int64_t isqrt(int64_t v) {
    int64_t d = static_cast<int64_t>(std::sqrt(static_cast<double>(v)));
    while (d * d > v) --d;
    while ((d + 1) * (d + 1) <= v) ++d;
    return d;
}

// One pixel of the colour in the image's type: integer words are taken
// as they are (low bits), float images map 0 .. 4294967295 onto their range.
void colour_pixel(const mvimage* im, const uint32_t* colour, unsigned char* out) {
    const uint32_t pixies = std::min<uint32_t>(im->pixfmt.pixies, 4);
    const FloatRange range = float_range(im->pixfmt);
    for (uint32_t k = 0; k < pixies && colour; ++k) {
        const uint32_t c = colour[k];
        const double f = range.low + (double(range.high) - range.low) * (c / 4294967295.0);
        unsigned char* at = out + size_t{k} * im->pixiesize;
        switch (type_of(im->pixfmt.datatype)) {
            case MVTYPE_U8: { const uint8_t v = uint8_t(c); std::memcpy(at, &v, 1); break; }
            case MVTYPE_U16: { const uint16_t v = uint16_t(c); std::memcpy(at, &v, 2); break; }
            case MVTYPE_FLOAT: { const float v = float(f); std::memcpy(at, &v, 4); break; }
            case MVTYPE_DOUBLE: std::memcpy(at, &f, 8); break;
            default: std::memcpy(at, &c, 4); break;
        }
    }
}

}  // namespace

Pen::~Pen() = default;

int32_t Pen::open(mvimage* image, uint32_t mode, const uint32_t* colour, mvimage* source,
                  const uint32_t* state) {
    image_ = image;
    nwx_ = image->wind.nw.x;
    nwy_ = image->wind.nw.y;
    width_ = wind_width(image);
    height_ = wind_height(image);
    pixel_bytes_ = image->pixelsize;
    mask_ = all_pixies(image);
    walked_countdown_ = state ? *state : 0;  // the phase until style() sets the spacing
    if (mode == 0) return 0;
    if (source) {
        // The copying pen reads two-pixie or 4-byte pixels; every source
        // gives its pixels' bytes unchanged, so they must be the image's size.
        if (mode == 'c' && source->pixfmt.pixies != 2 && source->pixelsize != 4) return MVERR_USAGE;
        if (mode != 'c' && source->pixfmt.pixies != image->pixfmt.pixies) return MVERR_USAGE;
        if (source->pixelsize != image->pixelsize || !source->bxts) return MVERR_USAGE;
    } else if (mode == 'c') {
        return MVERR_USAGE;
    }
    if (pixel_bytes_ == 0 || pixel_bytes_ > sizeof colour_) return MVERR_DATATYPE;

    // Points per batch: the image's transfer limit, at least 128, at most
    // what fits 16 KiB of positions and values, as the sizing call allows.
    const bool floating = is_float_type(image->pixfmt.datatype);
    uint64_t length = image->aeiou ? image->aeiou(image, 'B', 0, 0) : 0;
    length = std::max<uint64_t>(length, 128);
    length = std::min<uint64_t>(length, 16384 / ((floating ? 8u : 4u) * image->pixfmt.pixies + 12));
    length = image_sizing(image, length);
    if (length == 0) return MVERR_USAGE;
    if (length < kMinPoints) return MVERR_MEMORY;
    for (;; length /= 2) {
        if (length < kMinPoints) return MVERR_MEMORY;
        entries_.reset(new (std::nothrow) mvbxtentry[length]);
        values_.reset(new (std::nothrow) unsigned char[length * pixel_bytes_]);
        if (source) source_entries_.reset(new (std::nothrow) mvbxtentry[length]);
        if (entries_ && values_ && (!source || source_entries_)) break;
        entries_.reset();
        values_.reset();
        source_entries_.reset();
    }
    capacity_ = uint32_t(length);
    colour_pixel(image, colour, colour_);
    if (source) {
        source_ = source;
        const int32_t rc = source->bxts(source, 0, source->pixfmt.datatype, all_pixies(source));
        if (rc < 0) return rc;
    }
    scattered_ = image->bxts(image, MVMODE_WRITE, image->pixfmt.datatype, mask_) >= 0;
    if (!scattered_) {
        const int32_t rc = image->ioset(image, MVMODE_WRITE, image->pixfmt.datatype, mask_);
        if (rc < 0) return rc;
    }
    writes_ = true;
    return 0;
}

void Pen::style(uint32_t dotspacing, uint32_t width) {
    spacing_ = std::max<uint32_t>(dotspacing, 1);
    explicit_countdown_ = spacing_;
    const uint32_t phase = walked_countdown_ % spacing_;
    walked_countdown_ = spacing_ - phase;
    if (width <= 1) {
        r_ = 0;
        r2_ = 1;  // the centre only, for explicit (<= 1) and walked (< 1) points alike
        return;
    }
    r_ = int32_t(width / 2);
    r2_ = std::llround((width / 2.0) * (width / 2.0));
}

// Every pixel of the disc round (x, y) whose squared distance is at most
// `reach`, row by row, only over the rows and columns of the window.
void Pen::dab(int32_t x, int32_t y, int64_t reach) {
    if (!writes_) return;
    if (r_ == 0) {
        put(x, y);
        return;
    }
    const int64_t top = std::max<int64_t>(-r_, int64_t(nwy_) - y);
    const int64_t bottom = std::min<int64_t>(r_, int64_t(nwy_) + height_ - 1 - y);
    for (int64_t dy = top; dy <= bottom; ++dy) {
        const int64_t room = reach - dy * dy;
        if (room < 0) continue;
        const int64_t half = std::min<int64_t>(isqrt(room), r_);
        const int64_t left = std::max<int64_t>(-half, int64_t(nwx_) - x);
        const int64_t right = std::min<int64_t>(half, int64_t(nwx_) + width_ - 1 - x);
        for (int64_t dx = left; dx <= right; ++dx) put(int32_t(x + dx), int32_t(y + dy));
    }
}

void Pen::fill_values(uint32_t n) {
    for (uint32_t i = 0; i < n; ++i) std::memcpy(&values_[size_t{i} * pixel_bytes_], colour_, pixel_bytes_);
    if (!source_) return;
    // Points the source does not cover keep the colour.
    std::memcpy(source_entries_.get(), entries_.get(), size_t{n} * sizeof(mvbxtentry));
    source_->bxta(source_, kPrepareAndApply, values_.get(), source_entries_.get(), n, kRead);
    source_->bxtw(source_);
}

void Pen::flush() {
    const uint32_t n = used_;
    used_ = 0;
    if (n == 0 || !writes_) return;
    fill_values(n);
    if (scattered_) {
        image_->bxta(image_, kPrepareAndApply, values_.get(), entries_.get(), n, kWrite);
        image_->bxtw(image_);
        return;
    }
    for (uint32_t i = 0; i < n; ++i)
        image_->iorite(image_, 0, &values_[size_t{i} * pixel_bytes_], 1, entries_[i].x, entries_[i].y);
    image_->iowait(image_);
}

void Pen::close(uint32_t* state) {
    flush();
    if (state) *state = spacing_ > 1 ? spacing_ - walked_countdown_ : 0;
}

}  // namespace mvip::draw
