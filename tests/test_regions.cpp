// Region geometry against an independent reference: a rasteriser that asks,
// for each pixel, whether its centre lies inside the shape (from the shape's
// own parameters), and a chain decoder and line stepper written from the
// documented rules.  Where the library's conventions fix the pixels
// (ellipses, rings of ellipses, windows) the sets must be identical; for
// polygons, rectangles, frames and sectors they may differ only at pixels
// within 1.5 pixels of the reference boundary (the outline, which the
// library always includes, and corners rounded to whole pixels).
#include "test_util.hpp"

#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <set>

namespace {

constexpr double kPi = 3.14159265358979323846;
using Pixel = std::pair<int32_t, int32_t>;  // (y, x): sorted like scan lists
using PixelSet = std::set<Pixel>;

// A region over a small u8 memory image.
struct Canvas {
    std::vector<uint8_t> pixels;
    mvimregion reg{};
    Canvas(uint32_t w, uint32_t h) : pixels(size_t(w) * h) {
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(mvimage_memory(&reg.image, pixels.data(), dims, int32_t(w), MVTYPE_U8, 0, 1, MVCS_GREY, 0), 0);
        reg.reclen = sizeof reg;
    }
};

struct Owned {
    mvimregion* p = nullptr;
    ~Owned() { mvirp_regionfree(&p); }
};

PixelSet pixels_of(const mvimregion* list) {
    PixelSet s;
    const mvscanrun* r = list->region.scanlist.scanlists;
    for (int32_t i = 0; i < list->region.scanlist.N; ++i)
        for (int32_t k = 0; k < r[i].len; ++k) s.insert({r[i].coord.y, r[i].coord.x + k});
    return s;
}

// A scan list is sorted, inside the window, without overlaps or empty runs.
void expect_well_formed(const mvimregion* list) {
    const mvywindow& w = list->image.wind;
    const mvscanrun* r = list->region.scanlist.scanlists;
    for (int32_t i = 0; i < list->region.scanlist.N; ++i) {
        ASSERT_GT(r[i].len, 0);
        ASSERT_GE(r[i].coord.x, w.nw.x);
        ASSERT_LE(r[i].coord.x + r[i].len, w.se.x);
        ASSERT_GE(r[i].coord.y, w.nw.y);
        ASSERT_LT(r[i].coord.y, w.se.y);
        if (i) {
            ASSERT_TRUE(r[i - 1].coord.y < r[i].coord.y || r[i - 1].coord.x + r[i - 1].len < r[i].coord.x);
        }
    }
}

// ---- the reference ---------------------------------------------------

// Shape frame of a point relative to a centre turned by `angle`.
void unrotate(double X, double Y, double angle, double& u, double& v) {
    u = X * std::cos(angle) - Y * std::sin(angle);
    v = X * std::sin(angle) + Y * std::cos(angle);
}
bool in_ellipse(double X, double Y, double w, double h, double angle) {
    if (!(w > 0) || !(h > 0)) return false;
    double u, v;
    unrotate(X, Y, angle, u, v);
    return (u / (w / 2)) * (u / (w / 2)) + (v / (h / 2)) * (v / (h / 2)) <= 1;
}
bool in_rect(double X, double Y, double A, double B, double angle) {  // full sides A, B
    if (A < 0 || B < 0) return false;
    double u, v;
    unrotate(X, Y, angle, u, v);
    return std::fabs(u) <= A / 2 + 1e-9 && std::fabs(v) <= B / 2 + 1e-9;
}
bool in_polygon(double x, double y, const std::vector<std::pair<double, double>>& p) {
    bool in = false;
    for (size_t i = 0, j = p.size() - 1; i < p.size(); j = i++) {
        const auto [xi, yi] = p[i];
        const auto [xj, yj] = p[j];
        if ((yi > y) != (yj > y) && x < xj + (y - yj) * (xi - xj) / (yi - yj)) in = !in;
    }
    return in;
}
bool in_angles(double X, double Y, double starta, double enda) {
    const double d = enda - starta;
    if (std::fabs(d) >= 2 * kPi) return true;
    const double sweep = std::fmod(d + 2 * kPi, 2 * kPi);
    double t = std::fmod(std::atan2(-Y, X) - starta, 2 * kPi);
    if (t < 0) t += 2 * kPi;
    return t <= sweep;
}

using Inside = std::function<bool(double, double)>;

// Pixels whose membership changes within `radius` of their centre.
bool near_boundary(const Inside& in, double x, double y, double radius) {
    const bool c = in(x, y);
    for (int k = 0; k < 32; ++k) {
        const double a = k * kPi / 16;
        for (double r : {radius / 2, radius})
            if (in(x + r * std::cos(a), y + r * std::sin(a)) != c) return true;
    }
    return false;
}

using Seg = std::array<double, 4>;  // x0, y0, x1, y1

double seg_distance(const Seg& s, double x, double y) {
    const double dx = s[2] - s[0], dy = s[3] - s[1], len2 = dx * dx + dy * dy;
    double t = len2 > 0 ? ((x - s[0]) * dx + (y - s[1]) * dy) / len2 : 0;
    t = std::clamp(t, 0.0, 1.0);
    return std::hypot(x - s[0] - t * dx, y - s[1] - t * dy);
}

// The sides of a rectangle of full sides A, B turned by angle about (cx, cy).
void add_rect(std::vector<Seg>& out, double cx, double cy, double A, double B, double angle) {
    const double c = std::cos(angle), s = std::sin(angle);
    double p[4][2];
    const double u[4] = {-A / 2, A / 2, A / 2, -A / 2}, v[4] = {-B / 2, -B / 2, B / 2, B / 2};
    for (int i = 0; i < 4; ++i) p[i][0] = cx + u[i] * c + v[i] * s, p[i][1] = cy - u[i] * s + v[i] * c;
    for (int i = 0; i < 4; ++i) out.push_back({p[i][0], p[i][1], p[(i + 1) % 4][0], p[(i + 1) % 4][1]});
}

struct Case {
    std::vector<Seg> edges;  // straight parts of the boundary (thin shapes)
    std::string label;
    std::vector<unsigned char> record;  // the region record (fixed or longer)
    Inside inside;
    double tolerance;                   // 0: identical pixel sets
};

std::unique_ptr<Canvas> canvas;  // image of the cases (120 x 100)

mvimregion* rec(Case& c) { return reinterpret_cast<mvimregion*>(c.record.data()); }

Case make_case(std::mt19937& rng, uint32_t type) {
    std::uniform_real_distribution<double> unit(0, 1);
    auto irange = [&](int a, int b) { return std::uniform_int_distribution<int>(a, b)(rng); };
    Case c;
    c.record.assign(sizeof(mvimregion), 0);
    mvimregion* r = rec(c);
    r->image = canvas->reg.image;
    r->regiontype = type;
    r->reclen = sizeof(mvimregion);
    const int32_t ox = irange(-10, 130), oy = irange(-10, 110);
    r->origin = {ox, oy};
    const float ang = float(unit(rng) * 8 - 4);
    const float sa = float(unit(rng) * 14 - 7), ea = float(unit(rng) * 14 - 7);
    c.tolerance = 0;
    switch (type) {
    case MVIMREGWIND:
        c.label = "wind";
        c.inside = [](double, double) { return true; };
        break;
    case MVIMREGWINDOW: {
        const int w = irange(-2, 60), h = irange(-2, 60);
        r->region.window = {w, h};
        c.label = "window";
        c.inside = [=](double x, double y) { return x >= ox && x < ox + w && y >= oy && y < oy + h; };
        break;
    }
    case MVIMREGELLIPSE: {
        const int w = irange(0, 90), h = irange(0, 90);
        r->region.ellipse = {w, h, ang};
        c.label = "ellipse";
        c.inside = [=](double x, double y) { return in_ellipse(x - ox, y - oy, w, h, ang); };
        break;
    }
    case MVIMREGELLIPSEF: {
        const float xf = float(unit(rng) * 4 - 2), yf = float(unit(rng) * 4 - 2);
        const float w = float(unit(rng) * 90 - 5), h = float(unit(rng) * 90 - 5);
        r->region.ellipsef = {{xf, yf}, w, h, ang};
        c.label = "ellipsef";
        c.inside = [=](double x, double y) { return in_ellipse(x - ox - xf, y - oy - yf, w, h, ang); };
        break;
    }
    case MVIMREGANNULUS:
    case MVIMREGANNULUSARC: {
        const int W = irange(1, 100), H = irange(1, 100), w = irange(0, 60), h = irange(0, 60);
        const float ia = float(unit(rng) * 4);
        r->region.annulusarc = {W, H, ang, w, h, ia, sa, ea};
        const bool arc = type == MVIMREGANNULUSARC;
        c.label = arc ? "annulusarc" : "annulus";
        for (float a : {sa, ea})
            c.edges.push_back({double(ox), double(oy), ox + 60 * std::cos(a), oy - 60 * std::sin(a)});
        c.inside = [=](double x, double y) {
            return in_ellipse(x - ox, y - oy, W, H, ang) && !in_ellipse(x - ox, y - oy, w, h, ia) &&
                   (!arc || in_angles(x - ox, y - oy, sa, ea));
        };
        c.tolerance = arc ? 1.5 : 0;
        break;
    }
    case MVIMREGANNULUSF:
    case MVIMREGANNULUSARCF: {
        const float xf = float(unit(rng) * 4 - 2), yf = float(unit(rng) * 4 - 2);
        const float W = float(unit(rng) * 100), H = float(unit(rng) * 100);
        const float w = float(unit(rng) * 60), h = float(unit(rng) * 60), ia = float(unit(rng) * 4);
        r->region.annulusarcf = {{xf, yf}, W, H, ang, w, h, ia, sa, ea};
        const bool arc = type == MVIMREGANNULUSARCF;
        c.label = arc ? "annulusarcf" : "annulusf";
        for (float a : {sa, ea})
            c.edges.push_back({ox + double(xf), oy + double(yf), ox + xf + 60 * std::cos(a), oy + yf - 60 * std::sin(a)});
        c.inside = [=](double x, double y) {
            const double X = x - ox - xf, Y = y - oy - yf;
            return in_ellipse(X, Y, W, H, ang) && !in_ellipse(X, Y, w, h, ia) &&
                   (!arc || in_angles(X, Y, sa, ea));
        };
        c.tolerance = arc ? 1.5 : 0;
        break;
    }
    case MVIMREGRECTANGLE: {
        const int w = irange(1, 80), h = irange(1, 80);
        r->region.rectangle = {w, h, ang};
        c.label = "rectangle";
        c.inside = [=](double x, double y) { return in_rect(x - ox, y - oy, w - 1, h - 1, ang); };
        add_rect(c.edges, ox, oy, w - 1, h - 1, ang);
        c.tolerance = 1.5;
        break;
    }
    case MVIMREGRECTANGLEF: {
        const float xf = float(unit(rng) * 4 - 2), yf = float(unit(rng) * 4 - 2);
        const float w = float(unit(rng) * 80), h = float(unit(rng) * 80);
        r->region.rectanglef = {{xf, yf}, w, h, ang};
        c.label = "rectanglef";
        // The float rectangle is centred on its rounded centre.
        const double cx = std::round(ox + double(xf)), cy = std::round(oy + double(yf));
        c.inside = [=](double x, double y) { return in_rect(x - cx, y - cy, w, h, ang); };
        add_rect(c.edges, cx, cy, w, h, ang);
        c.tolerance = 1.5;
        break;
    }
    case MVIMREGFRAME: {
        const int W = irange(1, 90), H = irange(1, 90), w = irange(0, 60), h = irange(0, 60);
        const float ia = float(unit(rng));
        r->region.frame = {W, H, ang, w, h, ia};
        c.label = "frame";
        c.inside = [=](double x, double y) {
            return in_rect(x - ox, y - oy, W - 1, H - 1, ang) &&
                   !(w > 0 && h > 0 && in_rect(x - ox, y - oy, w - 1, h - 1, ia));
        };
        add_rect(c.edges, ox, oy, W - 1, H - 1, ang);
        if (w > 0 && h > 0) add_rect(c.edges, ox, oy, w - 1, h - 1, ia);
        c.tolerance = 1.5;
        break;
    }
    case MVIMREGPOLYGON:
    case MVIMREGPOLYGONX: {
        // POLYGONX: a convex polygon (points on an ellipse in angle order);
        // POLYGON: a random star, self-intersecting at times.
        const int n = irange(3, 12);
        c.record.resize(MVIMREGION_POLYGON_AT + 8 * size_t(n) + 64);
        r = rec(c);
        r->reclen = c.record.size();
        r->region.polygon.N = n;
        mvpoint* v = reinterpret_cast<mvpoint*>(c.record.data() + MVIMREGION_POLYGON_AT);
        std::vector<std::pair<double, double>> pts;
        const double R = irange(2, 50);
        for (int i = 0; i < n; ++i) {
            const double a = type == MVIMREGPOLYGONX ? 2 * kPi * i / n : unit(rng) * 2 * kPi;
            const double rr = type == MVIMREGPOLYGONX ? R : R * unit(rng);
            v[i] = {int32_t(std::lround(rr * std::cos(a))), int32_t(std::lround(rr * std::sin(a) * 0.7))};
            pts.push_back({double(ox + v[i].x), double(oy + v[i].y)});
        }
        for (int i = 0; i < n; ++i)
            c.edges.push_back({pts[size_t(i)].first, pts[size_t(i)].second, pts[size_t((i + 1) % n)].first,
                               pts[size_t((i + 1) % n)].second});
        c.label = type == MVIMREGPOLYGONX ? "polygonx" : "polygon";
        c.inside = [=](double x, double y) { return in_polygon(x, y, pts); };
        c.tolerance = 1.5;
        break;
    }
    }
    return c;
}

constexpr uint32_t kAreaTypes[] = {MVIMREGWIND,     MVIMREGWINDOW,     MVIMREGELLIPSE,  MVIMREGELLIPSEF,
                                   MVIMREGANNULUS,  MVIMREGANNULUSARC, MVIMREGANNULUSF, MVIMREGANNULUSARCF,
                                   MVIMREGRECTANGLE, MVIMREGRECTANGLEF, MVIMREGFRAME,   MVIMREGPOLYGON,
                                   MVIMREGPOLYGONX};

// ---- chain decoding and the line walk, written from the rules ---------

constexpr int kDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kDy[8] = {0, -1, -1, -1, 0, 1, 1, 1};

std::vector<int> nibbles_of(const mvimregion* p, size_t count) {
    const auto* b = reinterpret_cast<const uint8_t*>(p) + MVIMREGION_PATHLIST_AT;
    std::vector<int> out;
    for (size_t k = 0; k < count; ++k) out.push_back(k & 1 ? b[k / 2] >> 4 : b[k / 2] & 15);
    return out;
}

// Every point a path passes, its origin first (and again when it closes).
std::vector<Pixel> decode(const mvimregion* p) {
    std::vector<int> nib = nibbles_of(p, size_t(2 * (p->reclen - MVIMREGION_PATHLIST_AT)));
    std::vector<Pixel> pts{{p->origin.y, p->origin.x}};
    size_t k = 0;
    for (int32_t i = 0; i < p->region.path.N; ++i) {
        const int c = nib[k++];
        const int reps = c >= 8 ? nib[k++] + 2 : 1;
        for (int j = 0; j < reps; ++j)
            pts.push_back({pts.back().first + kDy[c & 7], pts.back().second + kDx[c & 7]});
    }
    return pts;
}

std::vector<Pixel> reference_walk(int x0, int y0, int x1, int y1) {
    std::vector<Pixel> v{{y0, x0}};
    if (x0 == x1 && y0 == y1) return v;
    const int dx = std::abs(x1 - x0), dy = std::abs(y1 - y0);
    const bool xmaj = dx > dy;
    const int M = xmaj ? dx : dy, m = xmaj ? dy : dx, sx = x1 > x0 ? 1 : -1, sy = y1 > y0 ? 1 : -1;
    int x = x0, y = y0, e = 2 * m - (M - 1);
    for (int i = 0; i + 1 < M; ++i) {
        if (e >= 0) {
            (xmaj ? y : x) += xmaj ? sy : sx;
            e += 2 * m - 2 * M;
        } else {
            e += 2 * m;
        }
        (xmaj ? x : y) += xmaj ? sx : sy;
        v.push_back({y, x});
    }
    v.push_back({y1, x1});
    return v;
}

class Regions : public ::testing::Test {
protected:
    static void SetUpTestSuite() { canvas = std::make_unique<Canvas>(120, 100); }
    static void TearDownTestSuite() { canvas.reset(); }
};

// ---- scan conversion against the reference ----------------------------

TEST_F(Regions, ScanListsMatchTheReferenceForEveryShapeWindowAndFlag) {
    std::mt19937 rng(1234);
    std::map<std::string, std::pair<size_t, size_t>> diffs;  // differing, total pixels
    for (int round = 0; round < 60; ++round) {
        for (uint32_t type : kAreaTypes) {
            Case c = make_case(rng, type);
            mvimregion* r = rec(c);
            std::uniform_int_distribution<int> wx(0, 119), wy(0, 99);
            int x0 = wx(rng), x1 = wx(rng), y0 = wy(rng), y1 = wy(rng);
            if (round % 3 == 0) x0 = y0 = 0, x1 = 120, y1 = 100;
            ASSERT_EQ(mvimage_setwind(&r->image, std::min(x0, x1), std::min(y0, y1), std::max(x0, x1),
                                      std::max(y0, y1)), 0);
            const mvywindow w = r->image.wind;
            for (bool negative : {false, true}) {
                r->regiontype = type | (negative ? MVIMREGNEGATIVE : 0);
                SCOPED_TRACE(c.label + (negative ? " negative" : "") + " round " + std::to_string(round));
                Owned list;
                ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, r, &list.p, 0), 0);
                ASSERT_EQ(list.p->regiontype, uint32_t(MVIMREGSCANLIST));
                expect_well_formed(list.p);
                const PixelSet got = pixels_of(list.p);
                uint32_t area = 0;
                ASSERT_EQ(mvirp_regionarea(r, &area), 0);
                EXPECT_EQ(area, got.size());
                for (int32_t y = w.nw.y; y < w.se.y; ++y)
                    for (int32_t x = w.nw.x; x < w.se.x; ++x) {
                        const bool want = c.inside(x, y) != negative;
                        const bool have = got.count({y, x}) != 0;
                        ++diffs[c.label].second;
                        if (want == have) continue;
                        ++diffs[c.label].first;
                        const double tol = c.tolerance > 0 ? c.tolerance : 0.01;
                        bool near = near_boundary(c.inside, x, y, tol);
                        for (const Seg& e : c.edges) near = near || seg_distance(e, x, y) <= tol;
                        ASSERT_TRUE(near)
                            << "pixel (" << x << ", " << y << ") " << (have ? "extra" : "missing")
                            << " origin " << r->origin.x << "," << r->origin.y << " words "
                            << r->region.annulus.outerwidth << " " << r->region.annulus.outerheight << " "
                            << r->region.annulus.outerangle;
                    }
            }
        }
    }
    for (const auto& [label, d] : diffs)
        RecordProperty("outline_differences_" + label, std::to_string(d.first) + "/" + std::to_string(d.second));
}

TEST_F(Regions, ComplementsAreDisjointAndFillTheWindowBoundsAndPathsFollowTheOutline) {
    std::mt19937 rng(99);
    for (int round = 0; round < 25; ++round) {
        for (uint32_t type : kAreaTypes) {
            Case c = make_case(rng, type);
            mvimregion* r = rec(c);
            SCOPED_TRACE(c.label + " round " + std::to_string(round) + " o " + std::to_string(r->origin.x) + "," + std::to_string(r->origin.y) + " " + std::to_string(r->region.ellipse.width) + " " + std::to_string(r->region.ellipse.height) + " " + std::to_string(r->region.ellipse.angle));
            Owned pos, neg, path;
            ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, r, &pos.p, 0), 0);
            r->regiontype |= MVIMREGNEGATIVE;
            ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, r, &neg.p, 0), 0);
            mvywindow box{{7, 7}, {7, 7}};
            EXPECT_EQ(mvirp_regionbounds(r, &box, 0), 1);  // negative: the window
            EXPECT_EQ(std::memcmp(&box, &r->image.wind, sizeof box), 0);
            r->regiontype &= ~uint32_t(MVIMREGNEGATIVE);
            const PixelSet a = pixels_of(pos.p), b = pixels_of(neg.p);
            for (const Pixel& p : a) ASSERT_EQ(b.count(p), 0u);
            EXPECT_EQ(a.size() + b.size(), 120u * 100u);

            // Bounds of the outline: those of the pixels for shapes that
            // lie inside the image (rings may reach out with their inner
            // outline, sectors with their arcs' ends).
            const int32_t rc = mvirp_regionbounds(r, &box, 0);
            if (a.empty()) continue;
            ASSERT_EQ(rc, 1);
            int32_t l = INT32_MAX, t = INT32_MAX, rt = INT32_MIN, bt = INT32_MIN;
            for (const auto& [y, x] : a) l = std::min(l, x), rt = std::max(rt, x + 1), t = std::min(t, y), bt = std::max(bt, y + 1);
            const bool inside = box.nw.x >= 0 && box.nw.y >= 0 && box.se.x <= 120 && box.se.y <= 100;
            const bool plain = type == MVIMREGWINDOW || type == MVIMREGELLIPSE || type == MVIMREGELLIPSEF ||
                               type == MVIMREGRECTANGLE || type == MVIMREGRECTANGLEF ||
                               type == MVIMREGPOLYGON || type == MVIMREGPOLYGONX;
            if (inside && plain) {
                EXPECT_EQ(box.nw.x, l);
                EXPECT_EQ(box.nw.y, t);
                EXPECT_EQ(box.se.x, rt);
                EXPECT_EQ(box.se.y, bt);
            }
            mvywindow clipped;
            ASSERT_EQ(mvirp_regionbounds(r, &clipped, 'w'), 1);
            EXPECT_TRUE(clipped.nw.x <= l && clipped.nw.y <= t && clipped.se.x >= rt && clipped.se.y >= bt);
            EXPECT_TRUE(clipped.nw.x >= 0 && clipped.nw.y >= 0 && clipped.se.x <= 120 && clipped.se.y <= 100);

            // The path of the outline: closed, 8-connected; for ellipses and
            // windows it visits exactly the pixels with a 4-neighbour outside.
            ASSERT_EQ(mvirp_xlatetopath(nullptr, r, &path.p), 0);
            const std::vector<Pixel> pts = decode(path.p);
            if (pts.size() > 1) {
                EXPECT_EQ(pts.front(), pts.back());
            }
            if (type == MVIMREGELLIPSE || type == MVIMREGELLIPSEF || type == MVIMREGWINDOW) {
                PixelSet full;  // the unclipped shape, from the reference
                for (int y = -120; y < 240; ++y)
                    for (int x = -120; x < 260; ++x)
                        if (c.inside(x, y)) full.insert({y, x});
                PixelSet edge;
                for (const auto& [y, x] : full)
                    if (!full.count({y - 1, x}) || !full.count({y + 1, x}) || !full.count({y, x - 1}) ||
                        !full.count({y, x + 1}))
                        edge.insert({y, x});
                const PixelSet visited(pts.begin(), pts.end());
                // The path bridges the gaps of very thin ellipses (whose rows
                // need not touch) with the line walk: every edge pixel is
                // visited, and no pixel of the shape's inside.
                for (const Pixel& p : edge) EXPECT_EQ(visited.count(p), 1u);
                for (const Pixel& p : visited) EXPECT_TRUE(edge.count(p) || !full.count(p));
            }
        }
    }
}

TEST_F(Regions, ConvexPolygonsFillAlikeByBothConvertersAndBothRules) {
    std::mt19937 rng(5);
    for (int round = 0; round < 40; ++round) {
        Case c = make_case(rng, MVIMREGPOLYGONX);
        Owned x, g, nz;
        ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, rec(c), &x.p, 0), 0);
        rec(c)->regiontype = MVIMREGPOLYGON;
        ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, rec(c), &g.p, 0), 0);
        ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, rec(c), &nz.p, 1), 0);
        EXPECT_EQ(pixels_of(x.p), pixels_of(g.p)) << "round " << round;
        EXPECT_EQ(pixels_of(g.p), pixels_of(nz.p)) << "round " << round;
    }
}

// ---- paths -----------------------------------------------------------

TEST_F(Regions, PathExtensionFollowsTheLineWalkInEveryOctant) {
    for (int x1 = -9; x1 <= 9; ++x1)
        for (int y1 = -9; y1 <= 9; ++y1) {
            Owned p;
            ASSERT_EQ(mvirp_pathcreate(&p.p, 3, -4), 0);
            ASSERT_EQ(mvirp_pathextend(&p.p, 3 + x1, -4 + y1), 0);
            EXPECT_EQ(decode(p.p), reference_walk(3, -4, 3 + x1, -4 + y1)) << x1 << "," << y1;
            EXPECT_EQ(p.p->region.path.lastpt.x, 3 + x1);
            EXPECT_EQ(p.p->region.path.lastpt.y, -4 + y1);
        }
    Owned p;
    ASSERT_EQ(mvirp_pathcreate(&p.p, 0, 0), 0);
    ASSERT_EQ(mvirp_pathextend(&p.p, 3, 1), 0);
    EXPECT_EQ(nibbles_of(p.p, 3), (std::vector<int>{7, 0, 0}));
    // One code per call, from the signs; the same point appends 0.
    ASSERT_EQ(mvirp_pathextend1(&p.p, 3, 1), 0);
    ASSERT_EQ(mvirp_pathextend1(&p.p, -40, 90), 0);
    EXPECT_EQ(nibbles_of(p.p, 5), (std::vector<int>{7, 0, 0, 0, 5}));
    EXPECT_EQ(p.p->region.path.lastpt.x, -40);
    EXPECT_EQ(p.p->region.path.N, 5);
}

TEST_F(Regions, LongPathsGrowAndCompressToTheSamePoints) {
    Owned p, c;
    ASSERT_EQ(mvirp_pathcreate(&p.p, 10, 10), 0);
    EXPECT_EQ(p.p->reclen, 772u);
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> d(-40, 40);
    for (int i = 0; i < 300; ++i) ASSERT_EQ(mvirp_pathextend(&p.p, 10 + d(rng), 10 + d(rng)), 0);
    EXPECT_GT(p.p->reclen, 772u);
    EXPECT_EQ((p.p->reclen - 772) % 256, 0u);
    ASSERT_EQ(mvirp_pathcompress(p.p, &c.p), 0);
    EXPECT_LT(c.p->region.path.N, p.p->region.path.N);
    EXPECT_EQ(decode(c.p), decode(p.p));
    EXPECT_EQ(mvirp_pathcompress(p.p, &c.p), MVERR_USAGE);  // target not null

    // 18 steps east: a run of 17 and one step.
    Owned e, ec;
    ASSERT_EQ(mvirp_pathcreate(&e.p, 0, 0), 0);
    ASSERT_EQ(mvirp_pathextend(&e.p, 18, 0), 0);
    ASSERT_EQ(mvirp_pathcompress(e.p, &ec.p), 0);
    EXPECT_EQ(ec.p->region.path.N, 2);
    EXPECT_EQ(nibbles_of(ec.p, 3), (std::vector<int>{8, 15, 0}));
    e.p->regiontype |= MVIMREGNEGATIVE;
    Owned none;
    EXPECT_EQ(mvirp_pathcompress(e.p, &none.p), MVERR_USAGE);
}

TEST_F(Regions, PathRegionsFillTheAreaTheyEnclose) {
    // A closed path round a 9 x 5 box, filled like the polygon of its corners.
    mvimregion poly = canvas->reg;
    poly.regiontype = MVIMREGPOLYGON;
    poly.origin = {20, 30};
    poly.region.polygon.N = 4;
    const mvpoint corners[4] = {{0, 0}, {8, 0}, {8, 4}, {0, 4}};
    std::memcpy(poly.region.polygon.vertex, corners, sizeof corners);
    Owned path, a, b;
    ASSERT_EQ(mvirp_xlatetopath(nullptr, &poly, &path.p), 0);
    EXPECT_EQ(path.p->region.path.N, 24);
    ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, path.p, &a.p, 0), 0);
    ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, &poly, &b.p, 0), 0);
    EXPECT_EQ(pixels_of(a.p), pixels_of(b.p));
    EXPECT_EQ(pixels_of(a.p).size(), 45u);
}

// ---- record rules and bad input ---------------------------------------

TEST_F(Regions, RecordLayoutNamesAndFreeing) {
    EXPECT_EQ(sizeof(mvimregion), 512u);
    const mvregname* n = mvirp_regionnames();
    int count = 0;
    for (; n[count].name; ++count) EXPECT_EQ(mvirp_regioncode(n[count].name), n[count].code);
    EXPECT_EQ(count, 18);
    EXPECT_EQ(mvirp_regioncode("MVIMREGANNULUSAR"), -1);
    EXPECT_EQ(mvirp_regionname(MVIMREGRECTANGLE | MVIMREGNEGATIVE), std::string("MVIMREGRECTANGLE"));
    EXPECT_EQ(mvirp_regionname(15), nullptr);
    mvirp_regionfree(nullptr);
    mvimregion* none = nullptr;
    mvirp_regionfree(&none);
    EXPECT_EQ(none, nullptr);
}

TEST_F(Regions, RectanglesBecomeFourVertexPolygons) {
    mvimregion r = canvas->reg;
    r.regiontype = MVIMREGRECTANGLE | MVIMREGNEGATIVE;
    r.origin = {50, 40};
    r.region.rectangle = {1, 1, 0.3f};
    ASSERT_EQ(mvirp_xlaterecttopoly(&r), 0);
    EXPECT_EQ(r.regiontype, uint32_t(MVIMREGPOLYGONX | MVIMREGNEGATIVE));
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(r.region.polygon.vertex[i].x == 0 && r.region.polygon.vertex[i].y == 0);
    r.regiontype = MVIMREGRECTANGLEF;
    r.region.rectanglef = {{0.5f, -0.5f}, 4, 2, 0};
    ASSERT_EQ(mvirp_xlaterecttopoly(&r), 0);
    EXPECT_EQ(r.origin.x, 51);
    EXPECT_EQ(r.origin.y, 40);  // 39.5 rounds away from zero
    const mvpoint want[4] = {{-2, -1}, {2, -1}, {2, 1}, {-2, 1}};
    EXPECT_EQ(std::memcmp(r.region.polygon.vertex, want, sizeof want), 0);
    EXPECT_EQ(mvirp_xlaterecttopoly(&r), MVERR_USAGE);  // now a polygon
}

TEST_F(Regions, BadInputGetsItsCodes) {
    mvimregion r = canvas->reg;
    r.regiontype = MVIMREGELLIPSE;
    r.region.ellipse = {10, 10, 0};
    Owned out;
    mvimregion* taken = reinterpret_cast<mvimregion*>(&r);
    EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, nullptr, &out.p, 0), MVERR_USAGE);
    EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, &r, nullptr, 0), MVERR_USAGE);
    EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, &r, &taken, 0), MVERR_USAGE);
    EXPECT_EQ(mvirp_xlatetopath(nullptr, &r, &taken), MVERR_USAGE);
    for (uint32_t bad : {15u, 16u, 20u, 0x7fu, uint32_t(MVIMREGPOLYLINE), uint32_t(MVIMREGSCANLIST)}) {
        r.regiontype = bad;
        EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, &r, &out.p, 0), MVERR_USAGE) << bad;
    }
    for (uint32_t bad : {15u, 16u, 20u}) {
        r.regiontype = bad;
        mvywindow box;
        EXPECT_EQ(mvirp_regionbounds(&r, &box, 0x100), MVERR_USAGE);
        EXPECT_EQ(mvirp_xlatetopath(nullptr, &r, &out.p), MVERR_USAGE);
    }
    // Lists longer than their record, negative N.
    r.regiontype = MVIMREGPOLYGON;
    r.region.polygon.N = 5;
    EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, &r, &out.p, 0), MVERR_USAGE);
    r.region.polygon.N = -1;
    EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, &r, &out.p, 0), MVERR_USAGE);
    r.regiontype = MVIMREGSCANLISTB;
    r.region.scanlist.N = 4;
    EXPECT_EQ(mvirp_regionarea(&r, nullptr), 0);  // no output: nothing asked
    uint32_t area = 0;
    EXPECT_EQ(mvirp_regionarea(&r, &area), MVERR_USAGE);
    // Invalid image: a null image, as an imported region carries.
    mvimregion nul = r;
    mvimage_defnull(&nul.image);
    nul.regiontype = MVIMREGWIND;
    EXPECT_EQ(mvirp_regionarea(&nul, &area), MVERR_USAGE);
    EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, &nul, &out.p, 0), MVERR_USAGE);
    // Degenerate and non-finite shapes are empty.
    r.regiontype = MVIMREGELLIPSEF;
    for (float v : {0.0f, -3.0f, NAN, INFINITY, 3e9f}) {
        r.region.ellipsef = {{0, 0}, v, 10, 0};
        EXPECT_EQ(mvirp_regionarea(&r, &area), 0);
        EXPECT_EQ(area, 0u) << v;
        mvywindow box{{1, 2}, {3, 4}};
        EXPECT_EQ(mvirp_regionbounds(&r, &box, 0x100), 0);
        EXPECT_EQ(box.nw.x, 1);  // untouched
    }
    r.regiontype = MVIMREGRECTANGLE;
    r.region.rectangle = {0, 5, 0};
    EXPECT_EQ(mvirp_regionarea(&r, &area), 0);
    EXPECT_EQ(area, 0u);
    // An abort hook stops before anything else.
    mvtest::Hook stop([](int32_t, int32_t, size_t) { return MVERR_CANCELED; });
    EXPECT_EQ(mvirp_xlatetoscanlist(stop.get(), nullptr, nullptr, 0), MVERR_CANCELED);
    EXPECT_EQ(mvirp_pathcreate(nullptr, 0, 0), MVERR_USAGE);
    EXPECT_EQ(mvirp_pathextend(nullptr, 0, 0), MVERR_USAGE);
    EXPECT_EQ(mvirp_pathextend1(&taken, 0, 0), MVERR_USAGE);  // not a path
}

TEST_F(Regions, ScanListsClipComplementAndCount) {
    std::vector<unsigned char> buf(MVIMREGION_SCANLIST_AT + 12 * 5 + 40);
    auto* r = reinterpret_cast<mvimregion*>(buf.data());
    r->image = canvas->reg.image;
    ASSERT_EQ(mvimage_setwind(&r->image, 10, 10, 20, 13), 0);
    r->reclen = buf.size();
    r->regiontype = MVIMREGSCANLISTB;
    r->region.scanlist.N = 5;
    const mvscanrun in[5] = {{{5, 10}, 8}, {{15, 10}, 0}, {{18, 11}, 10}, {{0, 12}, 5}, {{9, 15}, 3}};
    std::memcpy(buf.data() + MVIMREGION_SCANLIST_AT, in, sizeof in);
    Owned c, n, full;
    ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, r, &c.p, 0), 0);
    ASSERT_EQ(c.p->region.scanlist.N, 2);
    EXPECT_EQ(pixels_of(c.p), (PixelSet{{10, 10}, {10, 11}, {10, 12}, {11, 18}, {11, 19}}));
    r->regiontype |= MVIMREGNEGATIVE;
    ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, r, &n.p, 0), 0);
    EXPECT_EQ(pixels_of(n.p).size(), 30u - 5u);
    // An empty list complements to one run a line; the whole window to none.
    r->region.scanlist.N = 0;
    ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, r, &full.p, 0), 0);
    ASSERT_EQ(full.p->region.scanlist.N, 3);
    full.p->regiontype |= MVIMREGNEGATIVE;
    Owned empty;
    ASSERT_EQ(mvirp_xlatetoscanlist(nullptr, full.p, &empty.p, 0), 0);
    EXPECT_EQ(empty.p->region.scanlist.N, 0);
    // Out of order runs cannot be complemented.
    r->region.scanlist.N = 2;
    const mvscanrun bad[2] = {{{12, 11}, 2}, {{12, 10}, 2}};
    std::memcpy(buf.data() + MVIMREGION_SCANLIST_AT, bad, sizeof bad);
    Owned none;
    EXPECT_EQ(mvirp_xlatetoscanlist(nullptr, r, &none.p, 0), MVERR_LOGIC);
    EXPECT_EQ(none.p, nullptr);
}

}  // namespace
