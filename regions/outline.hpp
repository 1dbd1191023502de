// The one outline walker: every shape's boundary pixels in order.  The
// scan conversion, the bounds, the paths (and the drawing of regions) all
// consume it, so fill and outline agree by construction.
#pragma once

#include "regions/record.hpp"

#include <cmath>
#include <utility>
#include <vector>

namespace mvip::regions {

// A non-owning reference to a point callback: (x, y, pass).  Pass 0 is the
// outer outline, pass 1 the inner one of rings and sectors.
class PointSink {
public:
    template <class F>
    PointSink(F& f)  // NOLINT: implicit on purpose
        : ctx_(&f), fn_([](void* c, int32_t x, int32_t y, int pass) {
              (*static_cast<F*>(c))(x, y, pass);
          }) {}
    void operator()(int32_t x, int32_t y, int pass) const { fn_(ctx_, x, y, pass); }

private:
    void* ctx_;
    void (*fn_)(void*, int32_t, int32_t, int);
};

// A non-owning reference to a row callback: (y, outer, inner), the
// extents [lo, hi] of the outline's points on row y (lo > hi: none).  Rows
// are handed over in batches, so that the callback is inlined in the loop
// over a batch rather than called through a pointer a row.
struct RowExtent {
    int32_t lo = INT32_MAX, hi = INT32_MIN;
    bool any() const { return lo <= hi; }
};
class RowSink {
public:
    template <class F>
    RowSink(F& f)  // NOLINT: implicit on purpose
        : ctx_(&f), fn_([](void* c, int64_t y0, int64_t n, const RowExtent* outer, const RowExtent* inner) {
              F& row = *static_cast<F*>(c);
              for (int64_t i = 0; i < n; ++i)
                  if (outer[i].any()) row(int32_t(y0 + i), outer[i], inner ? inner[i] : RowExtent{});
          }) {}
    // Rows y0 .. y0 + n - 1; inner may be null (no inner outline).
    void operator()(int64_t y0, int64_t n, const RowExtent* outer, const RowExtent* inner) const {
        fn_(ctx_, y0, n, outer, inner);
    }

private:
    void* ctx_;
    void (*fn_)(void*, int64_t, int64_t, const RowExtent*, const RowExtent*);
};

// The extents per row of the outer (pass 0) and inner (pass 1) outlines of
// ellipses and elliptic rings, for rows top .. bottom - 1 that hold any,
// in order: the extents that walk_outline's points have, taken from the
// rows the outline is made from without walking it.  False, having
// reported nothing, for other shapes and when an extent's end would lie
// outside the range of outline points; the caller then walks the outline.
bool ellipse_row_extents(const mvimregion* r, int32_t top, int32_t bottom, RowSink sink);

// The absolute corners of a polygon or polyline region (origin plus each
// vertex, wrapping as the outline does), in order.
std::vector<mvpoint> polygon_corners(const mvimregion* r);

// Walks the outline of `r`.  Without ignore_negative a negative region's
// outline is the window's (pass 0) followed by the shape's passes, each
// numbered one higher.  0, or -1 for an unknown type or a list that runs
// past its record.
int32_t walk_outline(const mvimregion* r, bool ignore_negative, PointSink sink);

// True when the (flag-stripped) type is a ring whose inner shape is cut out
// of the outer one row by row.
inline bool is_ring(uint32_t shape) {
    return shape == MVIMREGANNULUS || shape == MVIMREGFRAME || shape == MVIMREGANNULUSF ||
           shape == MVIMREGFRAMEF;
}

// The four corners of a rectangle relative to `origin` (the float form
// moves origin to its rounded centre first), as mvirp_xlaterecttopoly
// computes them.  False when a float parameter is not finite or too large.
bool rectangle_corners(const mvimregion* r, mvpoint& origin, mvpoint corners[4]);

// Rounding half away from zero.
inline double round_half_away(double v) { return v >= 0 ? std::floor(v + 0.5) : std::ceil(v - 0.5); }

}  // namespace mvip::regions
