// Lines and boxes: explicit end points and corners, walked sides that skip
// both of their ends, so that each corner is written once.
#include "draw/figure.hpp"

using namespace mvip;
using namespace mvip::draw;

namespace {

void walk(Pen& pen, int32_t x0, int32_t y0, int32_t x1, int32_t y1) { pen.walk(x0, y0, x1, y1); }

}  // namespace

extern "C" MVIP_API int32_t mvip8_drawline(mvabort* hook, mvimage* image, const int32_t* p0,
                                           const int32_t* p1, uint32_t dotspacing, uint32_t width,
                                           uint32_t mode, const uint32_t* colour, mvimage* source,
                                           uint32_t* state) {
    return draw_with_pen(hook, image, p0 && p1, {dotspacing, width, mode, colour, source, state},
                         [&](Pen& pen) {
        pen.point(p0[0], p0[1]);
        walk(pen, p0[0], p0[1], p1[0], p1[1]);
        pen.point(p1[0], p1[1]);
    });
}

extern "C" MVIP_API int32_t mvip8_drawbox(mvabort* hook, mvimage* image, const int32_t* box,
                                          uint32_t dotspacing, uint32_t width, uint32_t mode,
                                          const uint32_t* colour, mvimage* source, uint32_t* state) {
    return draw_with_pen(hook, image, box != nullptr, {dotspacing, width, mode, colour, source, state},
                         [&](Pen& pen) {
        const int32_t x0 = box[0], y0 = box[1], x1 = box[2], y1 = box[3];
        pen.point(x0, y0);
        walk(pen, x0, y0, x1, y0);
        pen.point(x1, y0);
        walk(pen, x1, y0, x1, y1);
        pen.point(x1, y1);
        walk(pen, x1, y1, x0, y1);
        pen.point(x0, y1);
        walk(pen, x0, y1, x0, y0);
    });
}
