// The outline walker: one generator per shape.
//
// Ellipses are walked from their rows: a pixel belongs to the ellipse when
// its centre lies inside or on it, each row holds one run, and the outline
// is every pixel of the set with a 4-neighbour outside it, reported
// clockwise as displayed from the top row (down the right side, up the
// left).  Polygons, rectangles and windows are the line walk from corner to
// corner.  Sectors keep the ring outlines' points within their angles.
#include "regions/outline.hpp"

#include "regions/linewalk.hpp"
#include "regions/path.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace mvip::regions {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kLimit = 1073741824.0;  // 2^30: float shapes beyond it are empty
constexpr double kEps = 1e-9;

bool sane(double v) { return std::isfinite(v) && std::fabs(v) <= kLimit; }

// Floor and ceiling of values well inside the 64-bit range, without a
// call into the maths library (the row extents need two a row).
inline int64_t floor_int(double v) {
    const int64_t t = int64_t(v);
    return t - (double(t) > v);
}
inline int64_t ceil_int(double v) {
    const int64_t t = int64_t(v);
    return t + (double(t) < v);
}

// An ellipse by centre, semi-axes and angle.
struct Ellipse {
    double cx = 0, cy = 0, a = 0, b = 0, c = 1, s = 0;
    bool empty = true;
    // Coefficients of the row quadratic A X^2 + B' dy X + C' dy^2 - 1 <= 0.
    double qa = 0, qb = 0, qc = 0, half_qa = 0, tol = 0;  // half_qa = 1 / (2 qa)
    int64_t top = 0, bottom = -1;  // rows that may hold pixels

    Ellipse() = default;
    Ellipse(double cx_, double cy_, double w, double h, double angle) : cx(cx_), cy(cy_) {
        if (!sane(cx) || !sane(cy) || !sane(w) || !sane(h) || !std::isfinite(angle)) return;
        a = w / 2;
        b = h / 2;
        if (!(a > 0) || !(b > 0)) return;
        c = std::cos(angle);
        s = std::sin(angle);
        const double ia = 1 / (a * a), ib = 1 / (b * b);
        qa = c * c * ia + s * s * ib;
        qb = 2 * (s * c * ib - c * s * ia);
        qc = s * s * ia + c * c * ib;
        half_qa = 0.5 / qa;
        tol = kEps * (1 + std::max(a, b));
        const double half = std::sqrt(a * a * s * s + b * b * c * c);
        top = int64_t(std::ceil(cy - half - 1e-7));
        bottom = int64_t(std::floor(cy + half + 1e-7));
        empty = false;
    }
    // The run of row y; false when the row holds no pixel.  Branch-free
    // past the row check (lo > hi for no pixel), so that rows computed in
    // a batch overlap in the processor.
    bool span(int64_t y, int64_t& lo, int64_t& hi) const {
        if (empty || y < top || y > bottom) return false;
        const double dy = double(y) - cy;
        const double B = qb * dy, C = qc * dy * dy - 1;
        const double disc = B * B - 4 * qa * C;
        const double r = std::sqrt(std::max(disc, 0.0));
        const double x1 = (-B - r) * half_qa, x2 = (-B + r) * half_qa;
        const bool real = disc > -1e-12;
        lo = real ? ceil_int(cx + x1 - tol) : 1;
        hi = real ? floor_int(cx + x2 + tol) : 0;
        return lo <= hi;
    }
    // span() for the n rows from y0 (n <= 64), all within [top, bottom],
    // into extents (none: lo > hi).  The same arithmetic in the same order,
    // so the same extents, but in loops with no branch that the compiler
    // does two rows at a time (the square root by hand: the library's sqrt
    // may set errno, which stops the compiler).
    void spans(int64_t y0, int64_t n, RowExtent* out) const {
        constexpr int32_t kMax = 64;
        alignas(16) double b_at[kMax], disc_at[kMax], root_at[kMax];
        const double base = double(y0);
        const int32_t rows = int32_t(n);
        for (int32_t i = 0; i < rows; ++i) {  // 32-bit, so that it converts two at a time
            const double dy = (base + double(i)) - cy;
            const double B = qb * dy, C = qc * dy * dy - 1;
            b_at[i] = B;
            disc_at[i] = B * B - 4 * qa * C;
        }
        if (rows & 1) disc_at[rows] = 0;  // the pair's unused half
        for (int32_t i = 0; i < rows; i += 2) {
            const __m128d d = _mm_load_pd(disc_at + i);
            _mm_store_pd(root_at + i, _mm_sqrt_pd(_mm_max_pd(d, _mm_setzero_pd())));
        }
        for (int32_t i = 0; i < rows; ++i) {
            const double B = b_at[i], r = root_at[i];
            const bool real = disc_at[i] > -1e-12;
            out[i] = real ? RowExtent{int32_t(ceil_int(cx + (-B - r) * half_qa - tol)),
                                      int32_t(floor_int(cx + (-B + r) * half_qa + tol))}
                          : RowExtent{};
        }
    }
};

// Integer points outside the 32-bit range are not reported.
bool fits32(int64_t v) { return v >= INT32_MIN + 1 && v <= INT32_MAX; }

// Reports the boundary pixels of a one-run-per-row set given by its rows.
template <class Span, class Emit>
void walk_rows(int64_t top, int64_t bottom, const Span& span, Emit&& emit) {
    if (top > bottom) return;
    struct Row { int64_t lo = 1, hi = 0; bool any = false; };
    auto row = [&](int64_t y) {
        Row r;
        if (y >= top && y <= bottom) r.any = span(y, r.lo, r.hi);
        return r;
    };
    // The boundary of row `cur` between its neighbours: [lo, L-1] and
    // [R+1, hi], or the whole run when it has no interior.
    auto interior = [](const Row& up, const Row& cur, const Row& down, int64_t& L, int64_t& R) {
        if (!up.any || !down.any) return false;
        L = std::max({cur.lo + 1, up.lo, down.lo});
        R = std::min({cur.hi - 1, up.hi, down.hi});
        return L <= R;
    };
    auto point = [&](int64_t x, int64_t y) {
        if (fits32(x) && fits32(y)) emit(int32_t(x), int32_t(y));
    };
    // Each row's boundary pixels are reported from the end nearer the last
    // point reported, so the outline runs on without doubling back.
    bool first = true;
    int64_t last = 0;
    auto segment = [&](int64_t s, int64_t e, int64_t y) {
        const bool ascending = first || std::llabs(s - last) <= std::llabs(e - last);
        if (ascending) for (int64_t x = s; x <= e; ++x) point(x, y);
        else for (int64_t x = e; x >= s; --x) point(x, y);
        last = ascending ? e : s;
        first = false;
    };
    // Down the right side.
    Row up, cur = row(top), down = row(top + 1);
    for (int64_t y = top; y <= bottom; ++y) {
        if (cur.any) {
            int64_t L, R;
            int64_t s = cur.lo;
            if (interior(up, cur, down, L, R)) s = R + 1;
            segment(s, cur.hi, y);
        }
        up = cur;
        cur = down;
        down = row(y + 2);
    }
    // Up the left side.
    down = Row{};
    cur = row(bottom);
    up = row(bottom - 1);
    for (int64_t y = bottom; y >= top; --y) {
        int64_t L, R;
        if (cur.any && interior(up, cur, down, L, R)) segment(cur.lo, L - 1, y);
        down = cur;
        cur = up;
        up = row(y - 2);
    }
}

template <class Emit>
void walk_ellipse(const Ellipse& e, Emit&& emit) {
    walk_rows(e.top, e.bottom, [&](int64_t y, int64_t& lo, int64_t& hi) { return e.span(y, lo, hi); },
              emit);
}

// A closed polygon (or an open polyline) of absolute corners, by the line
// walk; every pixel once per edge.
template <class Emit>
void walk_polygon(const mvpoint* p, int32_t n, bool closed, Emit&& emit) {
    if (n <= 0) return;
    emit(p[0].x, p[0].y);
    auto visit = [&](int32_t x, int32_t y) { emit(x, y); return true; };
    for (int32_t i = 1; i < n; ++i) line_walk(p[i - 1].x, p[i - 1].y, p[i].x, p[i].y, true, false, visit);
    if (closed && n > 1) line_walk(p[n - 1].x, p[n - 1].y, p[0].x, p[0].y, true, true, visit);
}

mvpoint add(mvpoint o, mvpoint v) {
    return {int32_t(uint32_t(o.x) + uint32_t(v.x)), int32_t(uint32_t(o.y) + uint32_t(v.y))};
}

template <class Emit>
void walk_box(int32_t l, int32_t t, int32_t r, int32_t b, Emit&& emit) {  // inclusive corners
    const mvpoint p[4] = {{l, t}, {r, t}, {r, b}, {l, b}};
    walk_polygon(p, 4, true, emit);
}

// Corners of a rectangle of size (A, B) (already reduced by one for integer
// widths) turned by `angle`, relative to its centre.
void corners_of(double A, double B, double angle, mvpoint out[4]) {
    const double c = std::cos(angle), s = std::sin(angle);
    const double v[4][2] = {{-(A * c + B * s) / 2, -(B * c - A * s) / 2},
                            {(A * c - B * s) / 2, -(B * c + A * s) / 2},
                            {(A * c + B * s) / 2, (B * c - A * s) / 2},
                            {-(A * c - B * s) / 2, (B * c + A * s) / 2}};
    for (int i = 0; i < 4; ++i)
        out[i] = {int32_t(round_half_away(v[i][0])), int32_t(round_half_away(v[i][1]))};
}

// A rectangle of integer pixel counts (w, h) or of float edge lengths,
// centred on `centre`; false when empty.
bool rect_points(mvpoint centre, double w, double h, double angle, bool counts, mvpoint out[4]) {
    if (!sane(w) || !sane(h) || !std::isfinite(angle)) return false;
    if (counts && (w <= 0 || h <= 0)) return false;
    const double A = counts ? std::max(w - 1, 0.0) : std::max(w, 0.0);
    const double B = counts ? std::max(h - 1, 0.0) : std::max(h, 0.0);
    corners_of(A, B, angle, out);
    for (int i = 0; i < 4; ++i) out[i] = add(centre, out[i]);
    return true;
}

// The rounded centre of a float shape; false when out of range.
bool float_centre(const mvimregion* r, mvpointf f, mvpoint& c) {
    if (!sane(f.xf) || !sane(f.yf)) return false;
    const double x = round_half_away(double(r->origin.x) + f.xf);
    const double y = round_half_away(double(r->origin.y) + f.yf);
    if (!sane(x) || !sane(y)) return false;
    c = {int32_t(x), int32_t(y)};
    return true;
}

// Sector: the points of an outline within the angles, ordered by angle.
struct Sector {
    double cx, cy, start, sweep;
    bool full;
    Sector(double cx_, double cy_, double starta, double enda) : cx(cx_), cy(cy_), start(starta) {
        const double d = double(enda) - double(starta);
        full = !std::isfinite(d) || std::fabs(d) >= 2 * kPi;
        sweep = full ? 2 * kPi : std::fmod(d + 2 * kPi, 2 * kPi);
    }
    // Angle from the start, counter-clockwise as displayed, in [0, 2 pi).
    double phase(int32_t x, int32_t y) const {
        double t = std::atan2(-(double(y) - cy), double(x) - cx) - start;
        t = std::fmod(t, 2 * kPi);
        if (t < 0) t += 2 * kPi;
        return t;
    }
    template <class Emit>
    void emit(const Ellipse& e, bool reverse, Emit&& out) const {
        std::vector<std::pair<double, mvpoint>> pts;
        walk_ellipse(e, [&](int32_t x, int32_t y) {
            const double t = phase(x, y);
            if (full || t <= sweep + 1e-12) pts.push_back({t, {x, y}});
        });
        std::stable_sort(pts.begin(), pts.end(),
                         [](const auto& p, const auto& q) { return p.first < q.first; });
        if (reverse) std::reverse(pts.begin(), pts.end());
        for (const auto& p : pts) out(p.second.x, p.second.y);
    }
};

// The ellipses of the elliptic shapes, as their words give them (inner
// stays empty for plain ellipses); false for other shapes.
bool ellipses_of(const mvimregion* r, Ellipse& outer, Ellipse& inner) {
    const double ox = r->origin.x, oy = r->origin.y;
    switch (shape_of(r)) {
    case MVIMREGELLIPSE: {
        const mvregshape& s = r->region.ellipse;
        outer = Ellipse(ox, oy, s.width, s.height, s.angle);
        return true;
    }
    case MVIMREGELLIPSEF: {
        const mvregshapef& s = r->region.ellipsef;
        outer = Ellipse(ox + s.originf.xf, oy + s.originf.yf, std::max(double(s.width), 0.0),
                        std::max(double(s.height), 0.0), s.angle);
        return true;
    }
    case MVIMREGANNULUS:
    case MVIMREGANNULUSARC: {
        const mvregannulusarc& s = r->region.annulusarc;
        outer = Ellipse(ox, oy, s.outerwidth, s.outerheight, s.outerangle);
        inner = Ellipse(ox, oy, s.innerwidth, s.innerheight, s.innerangle);
        return true;
    }
    case MVIMREGANNULUSF:
    case MVIMREGANNULUSARCF: {
        const mvregannulusarcf& s = r->region.annulusarcf;
        const double cx = ox + s.originf.xf, cy = oy + s.originf.yf;
        outer = Ellipse(cx, cy, std::max(double(s.outerwidth), 0.0), std::max(double(s.outerheight), 0.0),
                        s.outerangle);
        inner = Ellipse(cx, cy, std::max(double(s.innerwidth), 0.0), std::max(double(s.innerheight), 0.0),
                        s.innerangle);
        return true;
    }
    default:
        return false;
    }
}

// True when every run end of `e` lies well inside the range of outline
// points (the walker drops points beyond it).
bool ends_fit(const Ellipse& e) {
    return e.empty || std::fabs(e.cx) + std::max(e.a, e.b) + 2 < double(INT32_MAX) - 2;
}

}  // namespace

bool ellipse_row_extents(const mvimregion* r, int32_t top, int32_t bottom, RowSink sink) {
    const uint32_t shape = shape_of(r);
    if (shape != MVIMREGELLIPSE && shape != MVIMREGELLIPSEF && shape != MVIMREGANNULUS &&
        shape != MVIMREGANNULUSF)
        return false;
    Ellipse outer, inner;
    ellipses_of(r, outer, inner);
    if (!ends_fit(outer) || !ends_fit(inner)) return false;
    if (outer.empty) return true;
    // Each row of an ellipse is one run, and both its ends are outline
    // points; a ring's inner extent matters only where the outer has one.
    const int64_t first = std::max<int64_t>({top, outer.top, int64_t(INT32_MIN) + 1});
    const int64_t last = std::min<int64_t>(int64_t(bottom) - 1, outer.bottom);
    // A batch of rows is computed before any is reported.
    constexpr int64_t kBatch = 64;
    RowExtent o[kBatch], in[kBatch];
    for (int64_t y0 = first; y0 <= last; y0 += kBatch) {
        const int64_t n = std::min(kBatch, last - y0 + 1);
        outer.spans(y0, n, o);
        if (!inner.empty)
            for (int64_t i = 0; i < n; ++i) {
                int64_t lo = 1, hi = 0;
                in[i] = inner.span(y0 + i, lo, hi) ? RowExtent{int32_t(lo), int32_t(hi)} : RowExtent{};
            }
        sink(y0, n, o, inner.empty ? nullptr : in);
    }
    return true;
}

std::vector<mvpoint> polygon_corners(const mvimregion* r) {
    const int32_t n = r->region.polygon.N;
    std::vector<mvpoint> p(size_t(n > 0 ? n : 0));
    const mvpoint* v = vertices(r);
    for (int32_t i = 0; i < n; ++i) p[size_t(i)] = add(r->origin, v[i]);
    return p;
}

bool rectangle_corners(const mvimregion* r, mvpoint& origin, mvpoint corners[4]) {
    if (shape_of(r) == MVIMREGRECTANGLEF) {
        const mvregshapef& f = r->region.rectanglef;
        if (!float_centre(r, f.originf, origin)) return false;
        return rect_points({0, 0}, f.width, f.height, f.angle, false, corners);
    }
    const mvregshape& s = r->region.rectangle;
    origin = r->origin;
    return rect_points({0, 0}, s.width, s.height, s.angle, true, corners);
}

int32_t walk_outline(const mvimregion* r, bool ignore_negative, PointSink sink) {
    const uint32_t shape = shape_of(r);
    if (!known_type(shape) || !list_fits(r)) return MVERR_USAGE;
    int base = 0;
    if (is_negative(r) && !ignore_negative) {
        const mvywindow& w = r->image.wind;
        if (w.se.x > w.nw.x && w.se.y > w.nw.y)
            walk_box(w.nw.x, w.nw.y, w.se.x - 1, w.se.y - 1, [&](int32_t x, int32_t y) { sink(x, y, 0); });
        base = 1;
    }
    int pass = base;
    auto emit = [&](int32_t x, int32_t y) { sink(x, y, pass); };
    const mvpoint o = r->origin;
    const double ox = o.x, oy = o.y;
    switch (shape) {
    case MVIMREGWIND: {
        const mvywindow& w = r->image.wind;
        if (w.se.x > w.nw.x && w.se.y > w.nw.y) walk_box(w.nw.x, w.nw.y, w.se.x - 1, w.se.y - 1, emit);
        break;
    }
    case MVIMREGWINDOW: {
        const mvregwindow& w = r->region.window;
        if (w.width > 0 && w.height > 0)
            walk_box(o.x, o.y, int32_t(int64_t(o.x) + w.width - 1), int32_t(int64_t(o.y) + w.height - 1), emit);
        break;
    }
    case MVIMREGELLIPSE:
    case MVIMREGELLIPSEF: {
        Ellipse e, none;
        ellipses_of(r, e, none);
        walk_ellipse(e, emit);
        break;
    }
    case MVIMREGRECTANGLE:
    case MVIMREGRECTANGLEF: {
        mvpoint c, p[4];
        if (rectangle_corners(r, c, p)) {
            for (auto& v : p) v = add(c, v);
            walk_polygon(p, 4, true, emit);
        }
        break;
    }
    case MVIMREGPOLYGON:
    case MVIMREGPOLYGONX:
    case MVIMREGPOLYLINE: {
        const std::vector<mvpoint> p = polygon_corners(r);
        walk_polygon(p.data(), int32_t(p.size()), shape != MVIMREGPOLYLINE, emit);
        break;
    }
    case MVIMREGSCANLIST:
    case MVIMREGSCANLISTB: {
        const mvscanrun* s = runs(r);
        for (int32_t i = 0; i < r->region.scanlist.N; ++i) {
            if (s[i].len <= 0 || s[i].coord.x == kNoPoint) continue;
            emit(s[i].coord.x, s[i].coord.y);
            if (s[i].len > 1) emit(int32_t(int64_t(s[i].coord.x) + s[i].len - 1), s[i].coord.y);
        }
        break;
    }
    case MVIMREGPATH:
        decode_path(r, 0, UINT64_MAX, [&](int32_t x, int32_t y) { emit(x, y); return true; });
        break;
    case MVIMREGANNULUS:
    case MVIMREGANNULUSARC: {
        const mvregannulusarc& s = r->region.annulusarc;
        Ellipse outer, inner;
        ellipses_of(r, outer, inner);
        if (shape == MVIMREGANNULUS) {
            walk_ellipse(outer, emit);
            pass = base + 1;
            walk_ellipse(inner, emit);
        } else {
            const Sector sec(ox, oy, s.starta, s.enda);
            sec.emit(outer, false, emit);
            pass = base + 1;
            if (inner.empty) emit(o.x, o.y);
            else sec.emit(inner, true, emit);
        }
        break;
    }
    case MVIMREGANNULUSF:
    case MVIMREGANNULUSARCF: {
        const mvregannulusarcf& s = r->region.annulusarcf;
        const double cx = ox + s.originf.xf, cy = oy + s.originf.yf;
        Ellipse outer, inner;
        ellipses_of(r, outer, inner);
        if (shape == MVIMREGANNULUSF) {
            walk_ellipse(outer, emit);
            pass = base + 1;
            walk_ellipse(inner, emit);
        } else {
            const Sector sec(cx, cy, s.starta, s.enda);
            sec.emit(outer, false, emit);
            pass = base + 1;
            if (inner.empty) {
                if (sane(cx) && sane(cy) && !outer.empty)
                    emit(int32_t(round_half_away(cx)), int32_t(round_half_away(cy)));
            } else {
                sec.emit(inner, true, emit);
            }
        }
        break;
    }
    case MVIMREGFRAME: {
        const mvregannulus& s = r->region.frame;
        mvpoint p[4];
        if (rect_points(o, s.outerwidth, s.outerheight, s.outerangle, true, p)) walk_polygon(p, 4, true, emit);
        pass = base + 1;
        if (rect_points(o, s.innerwidth, s.innerheight, s.innerangle, true, p)) walk_polygon(p, 4, true, emit);
        break;
    }
    case MVIMREGFRAMEF: {
        const mvregannulusf& s = r->region.framef;
        mvpoint c, p[4];
        if (!float_centre(r, s.originf, c)) break;
        if (rect_points(c, s.outerwidth, s.outerheight, s.outerangle, false, p)) walk_polygon(p, 4, true, emit);
        pass = base + 1;
        if (rect_points(c, s.innerwidth, s.innerheight, s.innerangle, false, p)) walk_polygon(p, 4, true, emit);
        break;
    }
    default:
        return MVERR_USAGE;
    }
    return 0;
}

}  // namespace mvip::regions
