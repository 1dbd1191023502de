// What every drawing call does first: the hook at entry, the checks, the
// pen's set-up and style; then the figure plots through the pen.
#pragma once

#include "draw/pen.hpp"

namespace mvip::draw {

struct PenArgs {
    uint32_t dotspacing, width, mode;
    const uint32_t* colour;
    mvimage* source;
    uint32_t* state;
};

// Runs `figure(pen)` for a drawing call: the hook at entry (a stop is
// returned), -1 when `geometry_ok` is false or the image is not a valid
// record, the pen's set-up failure, else 0 after the pen is flushed.
template <class Figure>
int32_t draw_with_pen(mvabort* hook, mvimage* image, bool geometry_ok, const PenArgs& a,
                      Figure&& figure);

}  // namespace mvip::draw

#include "ops/frame.hpp"

namespace mvip::draw {

template <class Figure>
int32_t draw_with_pen(mvabort* hook, mvimage* image, bool geometry_ok, const PenArgs& a,
                      Figure&& figure) {
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!geometry_ok || !image || !ops::valid_record(image)) return MVERR_USAGE;
    Pen pen;
    const int32_t rc = pen.open(image, a.mode, a.colour, a.source, a.state);
    if (rc < 0) return rc;
    pen.style(a.dotspacing, a.width);
    figure(pen);
    pen.close(a.state);
    return 0;
}

}  // namespace mvip::draw
