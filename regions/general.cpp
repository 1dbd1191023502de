// The general converter: any closed outline, any number of runs a row.
//
// The outline's points are joined into an 8-connected chain (consecutive
// points that are not neighbours are joined by the line walk, the last
// back to the first).  The region is every pixel of the chain and every
// pixel whose centre lies inside the chain's polygon.  Rows are pixel
// centres; a step from p to q crosses row min(p.y, q.y) at the x of its
// upper end, so vertices and horizontal steps are counted once.  Crossings
// and chain pixels are sorted into rows by counting (two passes over the
// chain), then each row's crossings are paired by the even-odd or the
// winding rule.
#include "regions/linewalk.hpp"
#include "regions/outline.hpp"
#include "regions/scanlist.hpp"

#include <algorithm>

namespace mvip::regions {

namespace {

struct Chain {
    std::vector<mvpoint> points;
    void add(mvpoint p) {
        if (!points.empty()) {
            const mvpoint q = points.back();
            const int64_t dx = int64_t(p.x) - q.x, dy = int64_t(p.y) - q.y;
            if (dx == 0 && dy == 0) return;
            if (dx < -1 || dx > 1 || dy < -1 || dy > 1)
                line_walk(q.x, q.y, p.x, p.y, true, true, [&](int32_t x, int32_t y) {
                    points.push_back({x, y});
                    return true;
                });
        }
        points.push_back(p);
    }
};

// Crossing: x doubled, with the direction in the low bit (1 downwards), so
// one integer sort orders crossings by x.
inline int64_t crossing(int32_t x, bool down) { return int64_t(x) * 2 + (down ? 1 : 0); }

}  // namespace

int32_t general_runs(const mvimregion* r, const mvywindow& w, bool non_zero, Runs& out) {
    const int32_t l = w.nw.x, t = w.nw.y, rt = w.se.x, b = w.se.y;
    if (rt <= l || b <= t) return 0;
    Chain chain;
    auto sink = [&](int32_t x, int32_t y, int) {
        if (x != kNoPoint) chain.add({x, y});
    };
    if (const int32_t rc = walk_outline(r, true, sink); rc < 0) return rc;
    if (chain.points.empty()) return 0;
    chain.add(chain.points.front());  // close it
    std::vector<mvpoint>& pts = chain.points;
    if (pts.size() > 1 && pts.back().x == pts.front().x && pts.back().y == pts.front().y) pts.pop_back();

    // Counting sort of crossings and pixels into the window's rows.
    const size_t rows = size_t(b - t), n = pts.size();
    std::vector<uint32_t> cross_at(rows + 1, 0), pixel_at(rows + 1, 0);
    auto in_rows = [&](int32_t y) { return y >= t && y < b; };
    for (size_t i = 0; i < n; ++i) {
        const mvpoint p = pts[i], q = pts[i + 1 < n ? i + 1 : 0];
        if (in_rows(p.y)) ++pixel_at[size_t(p.y - t) + 1];
        if (p.y != q.y) {
            const int32_t y = std::min(p.y, q.y);
            if (in_rows(y)) ++cross_at[size_t(y - t) + 1];
        }
    }
    for (size_t i = 0; i < rows; ++i) {
        cross_at[i + 1] += cross_at[i];
        pixel_at[i + 1] += pixel_at[i];
    }
    std::vector<int64_t> crossings(cross_at[rows]);
    std::vector<int32_t> pixels(pixel_at[rows]);
    {
        std::vector<uint32_t> cfill(cross_at.begin(), cross_at.end() - 1);
        std::vector<uint32_t> pfill(pixel_at.begin(), pixel_at.end() - 1);
        for (size_t i = 0; i < n; ++i) {
            const mvpoint p = pts[i], q = pts[i + 1 < n ? i + 1 : 0];
            if (in_rows(p.y)) pixels[pfill[size_t(p.y - t)]++] = p.x;
            if (p.y != q.y) {
                const bool down = q.y > p.y;
                const mvpoint upper = down ? p : q;
                if (in_rows(upper.y)) crossings[cfill[size_t(upper.y - t)]++] = crossing(upper.x, down);
            }
        }
    }
    pts.clear();
    pts.shrink_to_fit();

    struct Span { int64_t a, e; };  // inclusive
    std::vector<Span> spans;
    for (size_t row = 0; row < rows; ++row) {
        int64_t* c0 = crossings.data() + cross_at[row];
        int64_t* c1 = crossings.data() + cross_at[row + 1];
        int32_t* p0 = pixels.data() + pixel_at[row];
        int32_t* p1 = pixels.data() + pixel_at[row + 1];
        if (p0 == p1) continue;  // every crossing lies on a chain pixel
        std::sort(c0, c1);
        std::sort(p0, p1);
        spans.clear();
        // Inside between consecutive crossings (the crossings' own pixels
        // are chain pixels).
        int winding = 0;
        for (int64_t* c = c0; c != c1 && c + 1 != c1; ++c) {  // c0 may be null when empty
            winding += non_zero ? ((*c & 1) ? 1 : -1) : 1;
            if (non_zero ? winding == 0 : (winding & 1) == 0) continue;
            const int64_t a = (*c >> 1) + 1, e = (c[1] >> 1) - 1;
            if (a <= e) spans.push_back({a, e});
        }
        // Chain pixels as runs, merged with the inside spans (both sorted).
        const int32_t y = t + int32_t(row);
        int64_t ca = 0, ce = -2;
        bool open = false;
        auto take = [&](int64_t a, int64_t e) {
            if (open && a <= ce + 1) {
                ce = std::max(ce, e);
                return;
            }
            if (open) {
                const int64_t s = std::max<int64_t>(ca, l), f = std::min<int64_t>(ce, int64_t(rt) - 1);
                if (s <= f) out.push_back({{int32_t(s), y}, int32_t(f - s + 1)});
            }
            ca = a;
            ce = e;
            open = true;
        };
        size_t k = 0;
        for (int32_t* p = p0; p < p1; ++p) {
            while (k < spans.size() && spans[k].a <= *p) {
                take(spans[k].a, spans[k].e);
                ++k;
            }
            take(*p, *p);
        }
        for (; k < spans.size(); ++k) take(spans[k].a, spans[k].e);
        take(INT64_MAX - 1, INT64_MAX - 1);  // flush
    }
    return 0;
}

}  // namespace mvip::regions
