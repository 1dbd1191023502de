// The general converter: any closed outline, any number of runs a row.
// Rows are pixel centres; an edge from p to q counts on the rows
// min(p.y, q.y) <= y < max(p.y, q.y), so vertices and horizontal edges are
// counted once.  The outline's own pixels always belong to the region.
#include "regions/linewalk.hpp"
#include "regions/outline.hpp"
#include "regions/scanlist.hpp"

#include <algorithm>
#include <cmath>

namespace mvip::regions {

namespace {

struct Crossing {
    double x;
    int dir;
};

struct RowSets {
    int32_t top, bottom;
    std::vector<std::vector<Crossing>> crossings;
    std::vector<std::vector<int32_t>> pixels;
    RowSets(int32_t t, int32_t b) : top(t), bottom(b), crossings(size_t(b - t)), pixels(size_t(b - t)) {}

    void pixel(int32_t x, int32_t y) {
        if (y >= top && y < bottom) pixels[size_t(y - top)].push_back(x);
    }
    void edge(mvpoint p, mvpoint q) {
        // The pixels between the two points (both ends are outline points).
        line_walk(p.x, p.y, q.x, q.y, true, true, [&](int32_t x, int32_t y) {
            pixel(x, y);
            return true;
        });
        if (p.y == q.y) return;
        const int dir = q.y > p.y ? 1 : -1;
        const int64_t y0 = std::max<int64_t>(std::min(p.y, q.y), top);
        const int64_t y1 = std::min<int64_t>(std::max(p.y, q.y), bottom);
        const double slope = (double(q.x) - p.x) / (double(q.y) - p.y);
        for (int64_t y = y0; y < y1; ++y)
            crossings[size_t(y - top)].push_back({double(p.x) + (double(y) - p.y) * slope, dir});
    }
};

struct Span {
    int64_t a, b;  // inclusive
};

}  // namespace

int32_t general_runs(const mvimregion* r, const mvywindow& w, bool non_zero, Runs& out) {
    const int32_t l = w.nw.x, t = w.nw.y, rt = w.se.x, b = w.se.y;
    if (rt <= l || b <= t) return 0;
    RowSets rows(t, b);
    bool have = false;
    mvpoint first{}, last{};
    auto sink = [&](int32_t x, int32_t y, int) {
        if (x == kNoPoint) return;
        const mvpoint p{x, y};
        rows.pixel(x, y);
        if (have) rows.edge(last, p);
        else first = p;
        have = true;
        last = p;
    };
    if (const int32_t rc = walk_outline(r, true, sink); rc < 0) return rc;
    if (!have) return 0;
    rows.edge(last, first);

    std::vector<Span> spans;
    for (size_t i = 0; i < rows.crossings.size(); ++i) {
        auto& cr = rows.crossings[i];
        auto& px = rows.pixels[i];
        if (px.empty() && cr.empty()) continue;
        spans.clear();
        std::sort(cr.begin(), cr.end(), [](const Crossing& p, const Crossing& q) { return p.x < q.x; });
        int winding = 0;
        for (size_t k = 0; k + 1 < cr.size(); ++k) {
            winding += non_zero ? cr[k].dir : 1;
            const bool inside = non_zero ? winding != 0 : (winding & 1) != 0;
            if (!inside) continue;
            // Pixel centres strictly between the two crossings.
            const int64_t a = int64_t(std::floor(cr[k].x)) + 1;
            const int64_t e = int64_t(std::ceil(cr[k + 1].x)) - 1;
            if (a <= e) spans.push_back({a, e});
        }
        std::sort(px.begin(), px.end());
        for (size_t k = 0; k < px.size();) {
            size_t j = k;
            while (j + 1 < px.size() && px[j + 1] <= px[j] + 1) ++j;
            spans.push_back({px[k], px[j]});
            k = j + 1;
        }
        std::sort(spans.begin(), spans.end(), [](const Span& p, const Span& q) { return p.a < q.a; });
        const int32_t y = t + int32_t(i);
        int64_t ca = 0, cb = -2;
        bool open = false;
        auto flush = [&] {
            const int64_t a = std::max<int64_t>(ca, l), e = std::min<int64_t>(cb, int64_t(rt) - 1);
            if (a <= e) out.push_back({{int32_t(a), y}, int32_t(e - a + 1)});
        };
        for (const Span& s : spans) {
            if (open && s.a <= cb + 1) {
                cb = std::max(cb, s.b);
                continue;
            }
            if (open) flush();
            ca = s.a;
            cb = s.b;
            open = true;
        }
        if (open) flush();
    }
    return 0;
}

}  // namespace mvip::regions
