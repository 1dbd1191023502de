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
#include <memory>

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

// Polygons give the same pixels and crossings edge by edge: the chain is
// the walks from corner to corner, so a row's chain pixels are one run
// per edge that passes it, and its crossings are the ends of those runs
// next to the row below.  Each edge's runs come from line_rows, for the
// window's rows only, a band of rows at a time (so the runs just made are
// still in the cache when the sweep reads them); the rows are then swept
// with the edges that pass them kept in order of their runs (they change
// little from row to row, so an insertion sort keeps them in order).
// False, having written nothing, when an edge is too long for line_rows.
struct EdgeRun {
    int32_t a, e;  // the run's pixels, a <= e
};

struct Edge {
    mvpoint from, to;
    int32_t top, bottom;  // rows in the window
    int32_t last_cross;   // the last row with a crossing (bottom row of the walk less one)
    bool down;
};

constexpr int32_t kBandRows = 64;

template <class T, class Less>
void insertion_sort(T* v, size_t n, Less less) {
    for (size_t i = 1; i < n; ++i) {
        if (!less(v[i], v[i - 1])) continue;
        const T x = v[i];
        size_t k = i;
        do {
            v[k] = v[k - 1];
            --k;
        } while (k > 0 && less(x, v[k - 1]));
        v[k] = x;
    }
}

// Appends the union of sorted runs and sorted spans (inclusive ends) on row
// y, cut to the window's columns.
class RowMerger {
public:
    RowMerger(int32_t y, int32_t l, int32_t rt, Runs& out) : y_(y), l_(l), rt_(rt), out_(out) {}
    void take(int64_t a, int64_t e) {
        if (open_ && a <= ce_ + 1) {
            ce_ = std::max(ce_, e);
            return;
        }
        flush();
        ca_ = a;
        ce_ = e;
        open_ = true;
    }
    void flush() {
        if (!open_) return;
        const int64_t s = std::max<int64_t>(ca_, l_), f = std::min<int64_t>(ce_, int64_t(rt_) - 1);
        if (s <= f) out_.push_back({{int32_t(s), y_}, int32_t(f - s + 1)});
        open_ = false;
    }

private:
    int32_t y_, l_, rt_;
    Runs& out_;
    int64_t ca_ = 0, ce_ = -2;
    bool open_ = false;
};

struct Span { int64_t a, e; };  // inclusive

// The inside spans between consecutive sorted crossings (the crossings' own
// pixels are chain pixels), by the even-odd or the winding rule.
void inside_spans(const int64_t* c0, const int64_t* c1, bool non_zero, std::vector<Span>& spans) {
    spans.clear();
    int winding = 0;
    for (const int64_t* c = c0; c != c1 && c + 1 != c1; ++c) {  // c0 may be null when empty
        winding += non_zero ? ((*c & 1) ? 1 : -1) : 1;
        if (non_zero ? winding == 0 : (winding & 1) == 0) continue;
        const int64_t a = (*c >> 1) + 1, e = (c[1] >> 1) - 1;
        if (a <= e) spans.push_back({a, e});
    }
}

bool polygon_runs(const std::vector<mvpoint>& p, const mvywindow& w, bool non_zero, Runs& out) {
    const int32_t l = w.nw.x, t = w.nw.y, rt = w.se.x, b = w.se.y;
    const size_t n = p.size();
    std::vector<Edge> edges;
    edges.reserve(n);
    size_t total = 0;
    for (size_t i = 0; i < n; ++i) {
        const mvpoint P = p[i], Q = p[i + 1 < n ? i + 1 : 0];
        const LinePlan plan = line_plan(P.x, P.y, Q.x, Q.y);
        if (plan.big > (int64_t(1) << 30)) return false;
        const int32_t lo = std::min(P.y, Q.y), hi = std::max(P.y, Q.y);
        const int32_t top = std::max(lo, t), bottom = std::min(hi, b - 1);
        if (top > bottom) continue;
        edges.push_back({P, Q, top, bottom, hi - 1, Q.y > P.y});
        total += size_t(bottom - top) + 1;
    }
    // Edges by their first row (a counting sort over the window's rows).
    const size_t m = edges.size();
    std::vector<uint32_t> starts(size_t(b - t) + 1, 0), order(m);
    for (const Edge& edge : edges) ++starts[size_t(edge.top - t) + 1];
    for (size_t i = 1; i < starts.size(); ++i) starts[i] += starts[i - 1];
    {
        std::vector<uint32_t> fill(starts.begin(), starts.end() - 1);
        for (uint32_t i = 0; i < m; ++i) order[fill[size_t(edges[i].top - t)]++] = i;
    }

    // Per row: the edges that pass it, in order of their runs.  A row's
    // pixels are the edges' runs and the gaps between them that the rule
    // calls inside.  Every crossing lies on its edge's run, so with the runs
    // in order of their first pixels, the crossings left of a gap are
    // exactly those of the runs before it: the gap's winding is counted on
    // the way, and no crossing needs sorting.
    struct Active {
        int32_t a, e;
        int32_t bottom, last_cross;
        int32_t turn;  // what the edge's crossing adds to the winding
        uint32_t edge;
        const EdgeRun* next;
    };
    std::unique_ptr<Active[]> active(new Active[m]);
    std::unique_ptr<EdgeRun[]> band(new EdgeRun[m * size_t(kBandRows)]);
    size_t band_used = 0;
    int32_t band_end = t;
    // The runs of edge `e` from row y to its bottom or the band's end.
    auto band_runs = [&](uint32_t e, int32_t y) {
        const Edge& edge = edges[e];
        EdgeRun* at = band.get() + band_used;
        band_used += size_t(std::min(edge.bottom, band_end - 1) - y) + 1;
        line_rows(edge.from.x, edge.from.y, edge.to.x, edge.to.y, y, std::min(edge.bottom, band_end - 1),
                  [&](int32_t row, int32_t first, int32_t last) {
                      at[row - y] = {std::min(first, last), std::max(first, last)};
                  });
        return at;
    };
    // Every run holds a pixel of an edge's run on its row, so `total` runs
    // at most; reserved up to a modest number a row.
    out.reserve(out.size() + std::min<size_t>(total, size_t(b - t) * 64));
    size_t live = 0;
    for (int32_t y = t; y < b; ++y) {
        const size_t row = size_t(y - t);
        if (live == 0) {  // jump to the next row where an edge starts
            const auto at = std::upper_bound(starts.begin() + ptrdiff_t(row), starts.end(), starts[row]);
            if (at == starts.end()) break;
            const size_t skip = size_t(at - starts.begin()) - 1;
            y += int32_t(skip - row);
        }
        if (y >= band_end) {  // a new band: the live edges' runs for it
            band_end = int32_t(std::min<int64_t>(int64_t(y) + kBandRows, b));
            band_used = 0;
            for (size_t i = 0; i < live; ++i)
                if (active[i].bottom >= y) active[i].next = band_runs(active[i].edge, y);
        }
        const size_t r0 = size_t(y - t);
        size_t count = 0;
        for (size_t i = 0; i < live; ++i) {
            if (active[i].bottom < y) continue;
            if (count != i) active[count] = active[i];
            Active& edge = active[count++];
            edge.a = edge.next->a, edge.e = edge.next->e;
            ++edge.next;
        }
        for (uint32_t i = starts[r0]; i < starts[r0 + 1]; ++i) {
            const Edge& edge = edges[order[i]];
            const EdgeRun* run = band_runs(order[i], y);
            const int32_t turn = non_zero && !edge.down ? -1 : 1;
            active[count++] = {run->a, run->e, edge.bottom, edge.last_cross, turn, order[i], run + 1};
        }
        live = count;
        if (count == 0) continue;
        insertion_sort(active.get(), count, [](const Active& x, const Active& z) { return x.a < z.a; });
        const int32_t inside_mask = non_zero ? -1 : 1;  // winding & mask: non-zero inside
        int32_t winding = 0;
        int64_t from = active[0].a, to = active[0].e;
        auto emit = [&] {
            const int64_t s = std::max<int64_t>(from, l), f = std::min<int64_t>(to, int64_t(rt) - 1);
            if (s <= f) out.push_back({{int32_t(s), y}, int32_t(f - s + 1)});
        };
        for (size_t i = 0;;) {
            winding += active[i].turn & -int32_t(y <= active[i].last_cross);
            if (++i == count) break;
            if (active[i].a > to + 1 && (winding & inside_mask) == 0) {
                emit();
                from = active[i].a;
            }
            to = std::max<int64_t>(to, active[i].e);
        }
        emit();
    }
    return true;
}

}  // namespace

int32_t general_runs(const mvimregion* r, const mvywindow& w, bool non_zero, Runs& out,
                     bool walk_outline_points) {
    const int32_t l = w.nw.x, t = w.nw.y, rt = w.se.x, b = w.se.y;
    if (rt <= l || b <= t) return 0;
    if (!walk_outline_points && shape_of(r) == MVIMREGPOLYGON && polygon_runs(polygon_corners(r), w, non_zero, out))
        return 0;
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

    std::vector<Span> spans;
    for (size_t row = 0; row < rows; ++row) {
        int64_t* c0 = crossings.data() + cross_at[row];
        int64_t* c1 = crossings.data() + cross_at[row + 1];
        int32_t* p0 = pixels.data() + pixel_at[row];
        int32_t* p1 = pixels.data() + pixel_at[row + 1];
        if (p0 == p1) continue;  // every crossing lies on a chain pixel
        std::sort(c0, c1);
        std::sort(p0, p1);
        inside_spans(c0, c1, non_zero, spans);
        // Chain pixels as runs, merged with the inside spans (both sorted).
        RowMerger merged(t + int32_t(row), l, rt, out);
        size_t k = 0;
        for (int32_t* q = p0; q < p1; ++q) {
            for (; k < spans.size() && spans[k].a <= *q; ++k) merged.take(spans[k].a, spans[k].e);
            merged.take(*q, *q);
        }
        for (; k < spans.size(); ++k) merged.take(spans[k].a, spans[k].e);
        merged.flush();
    }
    return 0;
}

}  // namespace mvip::regions
