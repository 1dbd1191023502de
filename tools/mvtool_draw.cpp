// mvtool draw - draw one figure into an image file and write the result:
// lines, boxes, ellipses, arrows, Bezier curves, text and the outline of a
// region file, with the pen's width, dot spacing and colour.

#include "mvtool.hpp"

#include <cstdlib>
#include <string>
#include <vector>

namespace mvtool {

namespace {

struct Pen {
    uint32_t width = 1, dots = 1;
    uint32_t colour[4] = {255, 255, 255, 255};
};

double parse_real(const std::string& text) {
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') throw UsageError("draw: expected a number, got '" + text + "'");
    return v;
}

int32_t coord(const std::string& text) { return int32_t(parse_integer("draw", text, INT32_MIN, INT32_MAX)); }

void parse_colour(const std::string& text, uint32_t colour[4]) {
    size_t at = 0;
    for (int k = 0; k < 4 && at <= text.size(); ++k) {
        const size_t comma = text.find(',', at);
        const std::string part = text.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
        colour[k] = uint32_t(parse_integer("--colour", part, 0, 0xFFFFFFFFll));
        if (comma == std::string::npos) {
            for (int j = k + 1; j < 4; ++j) colour[j] = colour[k];
            return;
        }
        at = comma + 1;
    }
    throw UsageError("--colour: at most four comma-separated values");
}

struct Region {
    mvimregion* p = nullptr;
    ~Region() { mvirp_regionfree(&p); }
};

int32_t draw(mvimage* im, const std::string& figure, const std::vector<std::string>& a, const Pen& pen) {
    const auto need = [&](size_t low, size_t high) {
        if (a.size() < low || a.size() > high) throw UsageError("draw " + figure + ": wrong number of arguments");
    };
    const uint32_t w = pen.width, n = pen.dots;
    if (figure == "line" || figure == "box" || figure == "arrow") {
        need(4, figure == "arrow" ? 5 : 4);
        const int32_t p[4] = {coord(a[0]), coord(a[1]), coord(a[2]), coord(a[3])};
        if (figure == "line") return mvip8_drawline(nullptr, im, p, p + 2, n, w, 'v', pen.colour, nullptr, nullptr);
        if (figure == "box") return mvip8_drawbox(nullptr, im, p, n, w, 'v', pen.colour, nullptr, nullptr);
        const uint32_t head = a.size() > 4 ? uint32_t(parse_integer("draw", a[4], 0, 1 << 20)) : 10;
        return mvip8_drawarrow(nullptr, im, p, p + 2, head, n, w, 'v', pen.colour, nullptr, nullptr);
    }
    if (figure == "ellipse") {
        need(4, 5);
        const int32_t c[2] = {coord(a[0]), coord(a[1])};
        const double angle = a.size() > 4 ? parse_real(a[4]) : 0.0;
        return mvip8_drawellipse(nullptr, im, c, coord(a[2]), coord(a[3]), angle, n, w, 'v', pen.colour, nullptr,
                                 nullptr);
    }
    if (figure == "curve") {
        if (a.size() < 8 || a.size() % 2 || (a.size() / 2 - 1) % 3) throw UsageError("draw curve: 3k + 1 points");
        std::vector<int32_t> pts;
        for (const auto& s : a) pts.push_back(coord(s));
        return mvip8_drawbezier(nullptr, im, uint32_t(pts.size() / 2), pts.data(), n, w, 'v', pen.colour, nullptr,
                                nullptr);
    }
    if (figure == "text") {
        need(3, 4);
        const int32_t at[2] = {coord(a[0]), coord(a[1])};
        const uint32_t scale = a.size() > 3 ? uint32_t(parse_integer("draw", a[3], 1, 1024)) : 1;
        return mvip8_drawchars(nullptr, im, at, a[2].c_str(), scale, n, w, 'v', pen.colour, nullptr, nullptr);
    }
    if (figure == "region") {
        need(1, 1);
        Region r;
        check(mvirp_regionimport(nullptr, &r.p, a[0].c_str(), nullptr), a[0]);
        r.p->image = *im;
        return mvirp8_drawboundary(nullptr, r.p, 1, n, w, 'v', pen.colour, nullptr, nullptr);
    }
    throw UsageError("draw: unknown figure '" + figure + "' (line, box, ellipse, arrow, curve, text, region)");
}

}  // namespace

int cmd_draw(const std::vector<std::string>& args) {
    Pen pen;
    std::vector<std::string> rest;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--width" || a == "--dots" || a == "--colour" || a == "--color") {
            if (i + 1 >= args.size()) throw UsageError("draw: " + a + " needs a value");
            const std::string& v = args[++i];
            if (a == "--width") pen.width = uint32_t(parse_integer(a, v, 0, 4096));
            else if (a == "--dots") pen.dots = uint32_t(parse_integer(a, v, 0, 1 << 30));
            else parse_colour(v, pen.colour);
        } else {
            rest.push_back(a);
        }
    }
    if (rest.size() < 3) throw UsageError("draw: expected IN OUT FIGURE ARGS...");
    Image image;
    load(rest[0], image, 0, true);
    if (image.is_stack()) throw UsageError("draw: " + rest[0] + " holds a stack; draw into one image");
    const std::vector<std::string> figure_args(rest.begin() + 3, rest.end());
    check(draw(&image.im, rest[2], figure_args, pen), rest[0]);
    save(image, rest[1]);
    return kExitOk;
}

}  // namespace mvtool
