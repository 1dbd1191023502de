// Curved and composite figures: ellipses and their sectors, arrows, Bezier
// curves, paths and region outlines.  Curves are sampled and the samples
// joined by the line walk; ellipses in the integer stepper's range and
// region outlines come from the regions' one outline walker, so a drawn
// ellipse is the boundary of the region ellipse of the same parameters.
#include "draw/figure.hpp"
#include "regions/linewalk.hpp"
#include "regions/outline.hpp"
#include "regions/path.hpp"

#include <algorithm>
#include <cmath>

using namespace mvip;
using namespace mvip::draw;

namespace {

constexpr double kTurn = 6.283185307179586;
constexpr uint64_t kMaxSamples = 1u << 20;  // per curve: giant curves are joined by longer lines

// Joins rounded samples with walks; each sample is a walked point.
class Polyline {
public:
    explicit Polyline(Pen& pen) : pen_(pen) {}
    void to(double x, double y) {
        if (!std::isfinite(x) || !std::isfinite(y) || std::fabs(x) > 2e9 || std::fabs(y) > 2e9) return;
        const int32_t px = int32_t(std::lround(x)), py = int32_t(std::lround(y));
        if (started_ && px == x_ && py == y_) return;
        if (started_) pen_.walk(x_, y_, px, py);
        if (!started_ || px != first_x_ || py != first_y_ || !closing_) pen_.walked(px, py);
        if (!started_) first_x_ = px, first_y_ = py;
        started_ = true;
        x_ = px;
        y_ = py;
    }
    void closing() { closing_ = true; }

private:
    Pen& pen_;
    bool started_ = false, closing_ = false;
    int32_t x_ = 0, y_ = 0, first_x_ = 0, first_y_ = 0;
};

// The point of parameter t on an ellipse, counter-clockwise as displayed
// (y grows downwards); the a axis turned by `angle` the same way.
void ellipse_point(const int32_t* c, double a, double b, double angle, double t, double& x, double& y) {
    const double u = a * std::cos(t), v = b * std::sin(t), ca = std::cos(angle), sa = std::sin(angle);
    x = c[0] + ca * u - sa * v;
    y = c[1] - sa * u - ca * v;
}

void sweep(Pen& pen, const int32_t* c, double a, double b, double angle, double from, double span, bool closed) {
    const uint64_t steps = std::clamp<uint64_t>(uint64_t(std::ceil(std::fabs(span) * std::max(a, b))) + 1, 8, kMaxSamples);
    Polyline line(pen);
    if (closed) line.closing();
    double x, y;
    for (uint64_t i = 0; i <= steps; ++i) {
        ellipse_point(c, a, b, angle, from + span * double(i) / double(steps), x, y);
        line.to(x, y);
    }
}

bool stepper_range(int32_t a, int32_t b) { return a > 10 && a < 1600 && b > 10 && b < 1600; }

void region_ellipse(Pen& pen, const int32_t* c, int32_t a, int32_t b, double angle) {
    mvimregion r{};
    r.regiontype = MVIMREGELLIPSE;
    r.reclen = sizeof r;
    r.origin = mvpoint{c[0], c[1]};
    r.region.ellipse = mvregshape{2 * a + 1, 2 * b + 1, float(angle)};
    auto plot = [&](int32_t x, int32_t y, int) {
        if (x != regions::kNoPoint) pen.walked(x, y);
    };
    regions::walk_outline(&r, true, plot);
}

}  // namespace

extern "C" MVIP_API int32_t mvip8_drawellipse(mvabort* hook, mvimage* image, const int32_t* centre, int32_t a,
                                              int32_t b, double angle, uint32_t dotspacing, uint32_t width,
                                              uint32_t mode, const uint32_t* colour, mvimage* source,
                                              uint32_t* state) {
    return draw_with_pen(hook, image, centre != nullptr, {dotspacing, width, mode, colour, source, state},
                         [&](Pen& pen) {
        if (a <= 0 || b <= 0 || !std::isfinite(angle)) return;
        if (stepper_range(a, b)) return region_ellipse(pen, centre, a, b, angle);
        sweep(pen, centre, a, b, angle, 0, kTurn, true);
    });
}

extern "C" MVIP_API int32_t mvip8_drawellipsesect(mvabort* hook, mvimage* image, const int32_t* centre,
                                                  int32_t a, int32_t b, double angle, double starta,
                                                  double enda, uint32_t dotspacing, uint32_t width,
                                                  uint32_t mode, const uint32_t* colour, mvimage* source,
                                                  uint32_t* state) {
    return draw_with_pen(hook, image, centre != nullptr, {dotspacing, width, mode, colour, source, state},
                         [&](Pen& pen) {
        if (a <= 0 || b <= 0 || !std::isfinite(angle) || !std::isfinite(starta) || !std::isfinite(enda)) return;
        double span = enda - starta;
        if (span < 0) span = std::fmod(span, kTurn) + kTurn;  // wraps round, as region sectors do
        span = std::min(span, kTurn);
        sweep(pen, centre, a, b, angle, starta, span, span >= kTurn);
    });
}

extern "C" MVIP_API int32_t mvip8_drawarrow(mvabort* hook, mvimage* image, const int32_t* p0, const int32_t* p1,
                                            uint32_t headlength, uint32_t dotspacing, uint32_t width,
                                            uint32_t mode, const uint32_t* colour, mvimage* source,
                                            uint32_t* state) {
    return draw_with_pen(hook, image, p0 && p1, {dotspacing, width, mode, colour, source, state}, [&](Pen& pen) {
        pen.point(p0[0], p0[1]);
        pen.walk(p0[0], p0[1], p1[0], p1[1]);
        pen.point(p1[0], p1[1]);
        const double dx = double(p0[0]) - p1[0], dy = double(p0[1]) - p1[1], len = std::hypot(dx, dy);
        if (len == 0 || headlength == 0) return;
        // Two strokes from the tip, 30 degrees either side of the shaft.
        const double ux = dx / len * headlength, uy = dy / len * headlength;
        const double c = std::cos(0.5235987755982988), s = std::sin(0.5235987755982988);
        for (double sign : {1.0, -1.0}) {
            const double hx = p1[0] + c * ux - sign * s * uy, hy = p1[1] + sign * s * ux + c * uy;
            if (std::fabs(hx) > 2e9 || std::fabs(hy) > 2e9) continue;
            const int32_t ex = int32_t(std::lround(hx)), ey = int32_t(std::lround(hy));
            pen.walk(p1[0], p1[1], ex, ey);
            pen.point(ex, ey);
        }
    });
}

extern "C" MVIP_API int32_t mvip8_drawbezier(mvabort* hook, mvimage* image, uint32_t npoints, const int32_t* points,
                                             uint32_t dotspacing, uint32_t width, uint32_t mode,
                                             const uint32_t* colour, mvimage* source, uint32_t* state) {
    const bool ok = points && npoints >= 4 && (npoints - 1) % 3 == 0;
    return draw_with_pen(hook, image, ok, {dotspacing, width, mode, colour, source, state}, [&](Pen& pen) {
        Polyline line(pen);
        for (uint32_t k = 0; k + 3 < npoints; k += 3) {
            const int32_t* q = points + 2 * size_t{k};
            double length = 0;
            for (int i = 0; i < 3; ++i)
                length += std::hypot(double(q[2 * i + 2]) - q[2 * i], double(q[2 * i + 3]) - q[2 * i + 1]);
            const uint64_t steps = std::clamp<uint64_t>(uint64_t(length / 2) + 1, 4, kMaxSamples);
            for (uint64_t i = k == 0 ? 0 : 1; i <= steps; ++i) {
                const double t = double(i) / double(steps), u = 1 - t;
                const double w0 = u * u * u, w1 = 3 * u * u * t, w2 = 3 * u * t * t, w3 = t * t * t;
                line.to(w0 * q[0] + w1 * q[2] + w2 * q[4] + w3 * q[6], w0 * q[1] + w1 * q[3] + w2 * q[5] + w3 * q[7]);
            }
        }
    });
}

extern "C" MVIP_API int32_t mvirp8_drawpath(mvabort* hook, mvimregion* path, uint32_t skip, uint32_t visits,
                                            mvpoint* firstpt, mvpoint* lastpt, uint32_t dotspacing,
                                            uint32_t width, uint32_t mode, const uint32_t* colour,
                                            mvimage* source, uint32_t* state) {
    const bool ok = path && firstpt && lastpt && regions::shape_of(path) == MVIMREGPATH &&
                    path->reclen >= MVIMREGION_FIXED;
    return draw_with_pen(hook, ok ? &path->image : nullptr, ok, {dotspacing, width, mode, colour, source, state},
                         [&](Pen& pen) {
        bool first = true;
        regions::decode_path(path, skip, visits ? visits : UINT64_MAX, [&](int32_t x, int32_t y) {
            if (x == regions::kNoPoint) return true;
            if (first) *firstpt = mvpoint{x, y};
            first = false;
            *lastpt = mvpoint{x, y};
            pen.walked(x, y);
            return true;
        });
    });
}

extern "C" MVIP_API int32_t mvirp8_drawboundary(mvabort* hook, mvimregion* region, uint32_t option,
                                                uint32_t dotspacing, uint32_t width, uint32_t mode,
                                                const uint32_t* colour, mvimage* source, uint32_t* state) {
    return draw_with_pen(hook, region ? &region->image : nullptr, region != nullptr,
                         {dotspacing, width, mode, colour, source, state}, [&](Pen& pen) {
        auto plot = [&](int32_t x, int32_t y, int) {
            if (x != regions::kNoPoint) pen.walked(x, y);
        };
        regions::walk_outline(region, option != 0, plot);
    });
}
