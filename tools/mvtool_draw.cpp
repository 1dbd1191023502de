// mvtool draw - draw one figure into an image file and write the result:
// lines, boxes, ellipses, arrows, Bezier curves, text and the outline of a
// region file, with the pen's width, dot spacing and colour.

#include "mvtool.hpp"

#include <cstdlib>
#include <string>
#include <vector>

namespace mvtool {

namespace {

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
    check(draw_figure(nullptr, &image.im, rest[2], figure_args, pen), rest[0]);
    save(image, rest[1]);
    return kExitOk;
}

}  // namespace mvtool
