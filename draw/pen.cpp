#include "draw/pen.hpp"
#include "regions/linewalk.hpp"

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

// n >= 1 bytes of c.  Short runs (a thick line's rows are mostly short)
// take two overlapping plain stores rather than a call to memset, whose
// masked vector store costs more than the run on some processors.
void fill_bytes(unsigned char* at, unsigned char c, size_t n) {
    if (n > 16) {
        std::memset(at, c, n);
    } else if (n >= 8) {
        const uint64_t v = 0x0101010101010101ull * c;
        std::memcpy(at, &v, 8);
        std::memcpy(at + n - 8, &v, 8);
    } else if (n >= 4) {
        const uint32_t v = 0x01010101u * c;
        std::memcpy(at, &v, 4);
        std::memcpy(at + n - 4, &v, 4);
    } else {
        at[0] = c;
        at[n / 2] = c;
        at[n - 1] = c;
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
    colour_pixel(image, colour, colour_);
    writes_ = true;
    if (!source && map_directly()) return 0;  // no buffer needed
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
    if (source) {
        source_ = source;
        const int32_t rc = source->bxts(source, 0, source->pixfmt.datatype, all_pixies(source));
        if (rc < 0) {
            writes_ = false;
            return rc;
        }
    }
    scattered_ = image->bxts(image, MVMODE_WRITE, image->pixfmt.datatype, mask_) >= 0;
    if (!scattered_) {
        const int32_t rc = image->ioset(image, MVMODE_WRITE, image->pixfmt.datatype, mask_);
        if (rc < 0) {
            writes_ = false;
            return rc;
        }
    }
    return 0;
}

// Columns mapped y-major have one stride (the line pitch); when the first
// and the last column start a pixel size apart per column, every pixel of
// the window has a known address.  Integer values are asked low-justified
// in machine order, as the pen's colour is.
bool Pen::map_directly() {
    uint32_t type = type_of(image_->pixfmt.datatype);
    if (is_int_type(type)) type |= MVREQ_LOW;
    if (width_ == 0 || height_ == 0 || image_->imapset(image_, MVMODE_YSCAN | MVREQ_DIRTY, type, mask_) <= 0)
        return false;
    mvmapdesc first{}, last{};
    bool ok = image_->imap(image_, &first, 0, 0) == 1 && first.count >= height_;
    if (ok && width_ > 1) {
        ok = image_->imap(image_, &last, int32_t(width_ - 1), 0) == 1 && last.count >= height_ &&
             last.stride == first.stride &&
             static_cast<unsigned char*>(last.address) ==
                 static_cast<unsigned char*>(first.address) + size_t{width_ - 1} * pixel_bytes_;
        image_->imapr(image_, &last);
    }
    if (!ok || first.stride > uint64_t(INT64_MAX)) {
        image_->imapr(image_, &first);
        return false;
    }
    mapping_ = first;
    base_ = static_cast<unsigned char*>(first.address);
    pitch_ = int64_t(first.stride);
    return true;
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
    if (r_ > 4096) return;  // computed per row instead
    half_explicit_.resize(size_t(r_) + 1);
    half_walked_.resize(size_t(r_) + 1);
    for (int64_t dy = 0; dy <= r_; ++dy) {
        half_explicit_[size_t(dy)] = int32_t(r2_ - dy * dy < 0 ? -1 : std::min<int64_t>(isqrt(r2_ - dy * dy), r_));
        half_walked_[size_t(dy)] = int32_t(r2_ - 1 - dy * dy < 0 ? -1 : std::min<int64_t>(isqrt(r2_ - 1 - dy * dy), r_));
    }
}

int64_t Pen::half_width(int64_t dy, int64_t reach) const {
    if (dy < 0) dy = -dy;
    if (dy > r_) return -1;
    if (!half_explicit_.empty()) return reach == r2_ ? half_explicit_[size_t(dy)] : half_walked_[size_t(dy)];
    const int64_t room = reach - dy * dy;
    return room < 0 ? -1 : std::min<int64_t>(isqrt(room), r_);
}

void Pen::span(int64_t x0, int64_t x1, int64_t y) {
    x0 = std::max<int64_t>(x0, nwx_);
    x1 = std::min<int64_t>(x1, int64_t(nwx_) + width_ - 1);
    if (x0 > x1 || uint64_t(y - nwy_) >= height_) return;
    if (base_ && pixel_bytes_ == 1) {
        fill_bytes(base_ + (y - nwy_) * pitch_ + (x0 - nwx_), colour_[0], size_t(x1 - x0 + 1));
        return;
    }
    for (int64_t x = x0; x <= x1; ++x) put(int32_t(x), int32_t(y));
}

// Every pixel of the disc round (x, y) whose squared distance is at most
// `reach`, row by row over the window's rows, less each row's part that
// the previous disc covered (its pixels are written already).
void Pen::dab(int32_t x, int32_t y, int64_t reach) {
    if (!writes_) return;
    if (r_ == 0) {
        put(x, y);
        return;
    }
    const int64_t top = std::max<int64_t>(-r_, int64_t(nwy_) - y);
    const int64_t bottom = std::min<int64_t>(r_, int64_t(nwy_) + height_ - 1 - y);
    for (int64_t dy = top; dy <= bottom; ++dy) {
        const int64_t half = half_width(dy, reach);
        if (half < 0) continue;
        int64_t left = x - half, right = x + half;
        const int64_t row = y + dy;
        const int64_t old = have_previous_ ? half_width(row - previous_y_, previous_reach_) : -1;
        if (old >= 0) {
            const int64_t old_left = previous_x_ - old, old_right = previous_x_ + old;
            if (left < old_left) span(left, std::min(right, old_left - 1), row);
            if (right > old_right) span(std::max(left, old_right + 1), right, row);
        } else {
            span(left, right, row);
        }
    }
    have_previous_ = true;
    previous_x_ = x;
    previous_y_ = y;
    previous_reach_ = reach;
}

void Pen::walk(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    if (spacing_ == 1 && writes_) {
        if (r_ == 0 && base_ && pixel_bytes_ == 1) {
            // The common thin line into 8-bit memory: one store per pixel.
            const unsigned char c = colour_[0];
            const bool inside = uint32_t(x0 - nwx_) < width_ && uint32_t(x1 - nwx_) < width_ &&
                                uint32_t(y0 - nwy_) < height_ && uint32_t(y1 - nwy_) < height_;
            if (inside) {  // the walk stays in the box of its ends: follow it by address
                const regions::LinePlan plan = regions::line_plan(x0, y0, x1, y1);
                unsigned char* at = base_ + int64_t(y0 - nwy_) * pitch_ + (x0 - nwx_);
                const int64_t major = plan.xmajor ? plan.sx : plan.sy * pitch_;
                const int64_t minor = plan.xmajor ? plan.sy * pitch_ : plan.sx;
                regions::line_steps(plan, [&](int64_t also_minor) {
                    at += major + (minor & also_minor);
                    *at = c;
                    return true;
                });
                return;
            }
            regions::line_walk(x0, y0, x1, y1, true, true, [&](int32_t x, int32_t y) {
                const uint32_t wx = uint32_t(x - nwx_), wy = uint32_t(y - nwy_);
                if (wx < width_ && wy < height_) base_[int64_t(wy) * pitch_ + wx] = c;
                return true;
            });
            return;
        }
        // Thick walks in 32-bit window offsets (the levels' sentinels lie
        // at 2^29).
        if (r_ > 0 && !half_walked_.empty() && width_ < (1u << 27)) return walk_thick(x0, y0, x1, y1);
    }
    regions::line_walk(x0, y0, x1, y1, true, true, [&](int32_t x, int32_t y) {
        walked(x, y);
        return true;
    });
}

// Every walked point plotted, discs of one radius: along a walk each line
// of the image meets the union of the discs in one run (neighbouring
// centres differ by at most one in x), so each line's extent is gathered
// and written once.  The walk's rows (a "level" each) give their leftmost
// and rightmost point directly (line_rows); a line of the image then takes
// the extremes of the levels within the radius, each widened by the disc's
// half-width at that distance.  Levels are kept only within the radius of
// the window's lines and x, relative to the window, is clamped to just
// outside its columns (which changes nothing inside it), so the arrays
// stay small and 32-bit, and the sweep over levels runs on whole arrays
// (the compiler makes it vector code).  The row form includes the walk's
// two ends, which the walk proper skips: every caller plots them itself
// with a disc at least as large, so the union does not change.
void Pen::walk_thick(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    const int32_t r = r_;
    const int64_t top = std::max<int64_t>(int64_t(std::min(y0, y1)) - r, nwy_);
    const int64_t bottom = std::min<int64_t>(int64_t(std::max(y0, y1)) + r, int64_t(nwy_) + height_ - 1);
    if (top > bottom) return;
    constexpr int32_t kNone = 1 << 29;  // no point on a level: far outside any window used here
    const int64_t first = top - r, lines = bottom - top + 1, levels = lines + 2 * int64_t(r);
    row_left_.assign(size_t(levels), kNone);
    row_right_.assign(size_t(levels), -kNone);
    const int64_t xlow = -int64_t(r) - 1, xhigh = int64_t(width_) + r;
    int32_t* left = row_left_.data();
    int32_t* right = row_right_.data();
    const bool rows = regions::line_rows(x0, y0, x1, y1, first, first + levels - 1, [&](int32_t y, int32_t f, int32_t l) {
        const size_t level = size_t(int64_t(y) - first);
        left[level] = int32_t(std::clamp<int64_t>(int64_t(std::min(f, l)) - nwx_, xlow, xhigh));
        right[level] = int32_t(std::clamp<int64_t>(int64_t(std::max(f, l)) - nwx_, xlow, xhigh));
    });
    if (!rows) {  // too long for the row form: disc by disc
        regions::line_walk(x0, y0, x1, y1, true, true, [&](int32_t x, int32_t y) {
            walked(x, y);
            return true;
        });
        return;
    }
    // Line i takes levels i .. i + 2r; level i + k is at distance k - r.
    // Rows beyond the disc's reach take a width so negative that their
    // level never wins.
    line_low_.assign(size_t(lines), kNone);
    line_high_.assign(size_t(lines), -kNone);
    int32_t* lo = line_low_.data();
    int32_t* hi = line_high_.data();
    for (int32_t k = 0; k <= 2 * r; ++k) {
        const int32_t h = half_walked_[size_t(k < r ? r - k : k - r)];
        const int32_t reach = h < 0 ? -2 * kNone : h;
        const int32_t* lv = left + k;
        const int32_t* rv = right + k;
        for (int64_t i = 0; i < lines; ++i) {
            lo[i] = std::min(lo[i], lv[i] - reach);
            hi[i] = std::max(hi[i], rv[i] + reach);
        }
    }
    for (int64_t i = 0; i < lines; ++i)
        if (lo[i] <= hi[i]) span(int64_t(lo[i]) + nwx_, int64_t(hi[i]) + nwx_, top + i);
    have_previous_ = false;  // the walk's discs are not one disc
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
    if (base_) image_->imapr(image_, &mapping_);
    if (state) *state = spacing_ > 1 ? spacing_ - walked_countdown_ : 0;
}

}  // namespace mvip::draw
