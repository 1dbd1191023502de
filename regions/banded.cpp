// The banded converter: shapes that cross each row in one run (two for
// rings) are filled from their outline's extent per row.
#include "regions/outline.hpp"
#include "regions/scanlist.hpp"

#include <algorithm>

namespace mvip::regions {

namespace {

void emit(int64_t a, int64_t b, int32_t y, const mvywindow& w, Runs& out) {  // [a, b] inclusive
    a = std::max<int64_t>(a, w.nw.x);
    b = std::min<int64_t>(b, int64_t(w.se.x) - 1);
    if (a <= b) out.push_back({{int32_t(a), y}, int32_t(b - a + 1)});
}

}  // namespace

int32_t banded_runs(const mvimregion* r, const mvywindow& w, Runs& out, bool walk_outline_points) {
    const uint32_t shape = shape_of(r);
    const int32_t l = w.nw.x, t = w.nw.y, rt = w.se.x, b = w.se.y;
    if (rt <= l || b <= t) return 0;
    if (shape == MVIMREGWIND) {
        for (int32_t y = t; y < b; ++y) out.push_back({{l, y}, rt - l});
        return 0;
    }
    if (shape == MVIMREGWINDOW) {
        const mvregwindow& win = r->region.window;
        const int64_t x0 = std::max<int64_t>(l, r->origin.x);
        const int64_t x1 = std::min<int64_t>(int64_t(r->origin.x) + win.width, rt);
        if (x1 <= x0) return 0;
        for (int64_t i = 0; i < win.height; ++i) {
            const int64_t y = int64_t(r->origin.y) + i;
            if (y >= t && y < b) out.push_back({{int32_t(x0), int32_t(y)}, int32_t(x1 - x0)});
        }
        return 0;
    }
    auto row = [&](int32_t y, RowExtent o, RowExtent in) {
        if (!in.any() || in.hi < o.lo || in.lo > o.hi) {
            emit(o.lo, o.hi, y, w, out);
            return;
        }
        emit(o.lo, int64_t(in.lo) - 1, y, w, out);
        emit(int64_t(in.hi) + 1, o.hi, y, w, out);
    };
    if (!walk_outline_points && ellipse_row_extents(r, t, b, row)) return 0;
    // Any other shape: its outline's points gathered per row.
    const size_t rows = size_t(b - t);
    std::vector<RowExtent> outer(rows), inner(is_ring(shape) ? rows : 0);
    auto add = [](RowExtent& e, int32_t x) {
        e.lo = std::min(e.lo, x);
        e.hi = std::max(e.hi, x);
    };
    auto sink = [&](int32_t x, int32_t y, int pass) {
        if (x == kNoPoint || y < t || y >= b) return;
        if (pass == 0) add(outer[size_t(y - t)], x);
        else if (pass == 1 && !inner.empty()) add(inner[size_t(y - t)], x);
    };
    if (const int32_t rc = walk_outline(r, true, sink); rc < 0) return rc;
    for (size_t i = 0; i < rows; ++i)
        if (outer[i].any()) row(t + int32_t(i), outer[i], inner.empty() ? RowExtent{} : inner[i]);
    return 0;
}

}  // namespace mvip::regions
