// The figures that can be drawn into an image by name, with their
// arguments as texts: lines, boxes, ellipses, arrows, Bezier curves, text
// and the outline of a region file.  Shared by `mvtool draw` and the
// Python module.

#include "optable.hpp"

#include <cstdlib>
#include <string>
#include <vector>

namespace mvtool {

namespace {

double parse_real(const std::string& text) {
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') throw UsageError("draw: expected a number, got '" + text + "'");
    return v;
}

int32_t coord(const std::string& text) { return int32_t(parse_integer("draw", text, INT32_MIN, INT32_MAX)); }

struct Region {
    mvimregion* p = nullptr;
    ~Region() { mvirp_regionfree(&p); }
};

}  // namespace

int32_t draw_figure(mvabort* hook, mvimage* im, const std::string& figure, const std::vector<std::string>& a,
                    const Pen& pen) {
    const auto need = [&](size_t low, size_t high) {
        if (a.size() < low || a.size() > high) throw UsageError("draw " + figure + ": wrong number of arguments");
    };
    const uint32_t w = pen.width, n = pen.dots;
    if (figure == "line" || figure == "box" || figure == "arrow") {
        need(4, figure == "arrow" ? 5 : 4);
        const int32_t p[4] = {coord(a[0]), coord(a[1]), coord(a[2]), coord(a[3])};
        if (figure == "line") return mvip8_drawline(hook, im, p, p + 2, n, w, 'v', pen.colour, nullptr, nullptr);
        if (figure == "box") return mvip8_drawbox(hook, im, p, n, w, 'v', pen.colour, nullptr, nullptr);
        const uint32_t head = a.size() > 4 ? uint32_t(parse_integer("draw", a[4], 0, 1 << 20)) : 10;
        return mvip8_drawarrow(hook, im, p, p + 2, head, n, w, 'v', pen.colour, nullptr, nullptr);
    }
    if (figure == "ellipse") {
        need(4, 5);
        const int32_t c[2] = {coord(a[0]), coord(a[1])};
        const double angle = a.size() > 4 ? parse_real(a[4]) : 0.0;
        return mvip8_drawellipse(hook, im, c, coord(a[2]), coord(a[3]), angle, n, w, 'v', pen.colour, nullptr,
                                 nullptr);
    }
    if (figure == "curve") {
        if (a.size() < 8 || a.size() % 2 || (a.size() / 2 - 1) % 3) throw UsageError("draw curve: 3k + 1 points");
        std::vector<int32_t> pts;
        for (const auto& s : a) pts.push_back(coord(s));
        return mvip8_drawbezier(hook, im, uint32_t(pts.size() / 2), pts.data(), n, w, 'v', pen.colour, nullptr,
                                nullptr);
    }
    if (figure == "text") {
        need(3, 4);
        const int32_t at[2] = {coord(a[0]), coord(a[1])};
        const uint32_t scale = a.size() > 3 ? uint32_t(parse_integer("draw", a[3], 1, 1024)) : 1;
        return mvip8_drawchars(hook, im, at, a[2].c_str(), scale, n, w, 'v', pen.colour, nullptr, nullptr);
    }
    if (figure == "region") {
        need(1, 1);
        Region r;
        const int32_t rc = mvirp_regionimport(hook, &r.p, a[0].c_str(), nullptr);
        if (rc < 0) return rc;
        r.p->image = *im;
        return mvirp8_drawboundary(hook, r.p, 1, n, w, 'v', pen.colour, nullptr, nullptr);
    }
    throw UsageError("draw: unknown figure '" + figure + "' (line, box, ellipse, arrow, curve, text, region)");
}

}  // namespace mvtool
