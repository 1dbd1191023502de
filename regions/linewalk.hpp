// The one line walk: the integer stepper behind path building and the
// drawing of lines, boxes and paths.  The starting error 2m - (M - 1), one
// more than the textbook's, decides on which side a minor step falls at
// exact halves: (0, 0) to (3, 1) visits (0, 0), (1, 1), (2, 1), (3, 1).
#pragma once

#include <cstdint>
#include <cstdlib>

namespace mvip::regions {

// The walk's axes: M = big, m = small; each axis steps +1 or -1 towards
// the end.  The major axis is x when |dx| > |dy|, else y (a diagonal steps
// along y).
struct LinePlan {
    int64_t big, small;
    int32_t sx, sy;
    bool xmajor;
};
inline LinePlan line_plan(int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    const int64_t dx = std::llabs(int64_t(x1) - x0), dy = std::llabs(int64_t(y1) - y0);
    const bool xmajor = dx > dy;
    return {xmajor ? dx : dy, xmajor ? dy : dx, x1 > x0 ? 1 : -1, y1 > y0 ? 1 : -1, xmajor};
}

// The M - 1 points strictly between the ends, as steps: step(minor) is
// called once a point, minor all ones when that point also moves on the
// minor axis, else 0 (a mask, so that callers add `delta & minor` without
// a branch: the error's sign is unpredictable on most slopes).  Callers
// that follow the walk with a cursor of their own (a pixel address) use
// this form; step answers false to stop (then so does this).
template <class Step>
bool line_steps(const LinePlan& p, Step&& step) {
    int64_t e = 2 * p.small - (p.big - 1);
    const int64_t up = 2 * p.small - 2 * p.big, flat = 2 * p.small;
    for (int64_t i = 1; i < p.big; ++i) {
        const int64_t minor = ~(e >> 63);  // all ones when e >= 0
        e += flat + ((up - flat) & minor);
        if (!step(minor)) return false;
    }
    return true;
}

// Visits the pixels from (x0, y0) to (x1, y1): the start unless skip_first,
// the end unless skip_last.  visit(x, y) answers false to stop the walk;
// the walk then answers false.
template <class Visit>
bool line_walk(int32_t x0, int32_t y0, int32_t x1, int32_t y1, bool skip_first, bool skip_last,
               Visit&& visit) {
    if (!skip_first && !visit(x0, y0)) return false;
    if (x0 == x1 && y0 == y1) return true;
    const LinePlan p = line_plan(x0, y0, x1, y1);
    int32_t x = x0, y = y0;
    const bool walked = line_steps(p, [&](int64_t minor) {
        if (p.xmajor) {
            y += p.sy & int32_t(minor);
            x += p.sx;
        } else {
            x += p.sx & int32_t(minor);
            y += p.sy;
        }
        return visit(x, y);
    });
    if (!walked) return false;
    if (!skip_last && !visit(x1, y1)) return false;
    return true;
}

}  // namespace mvip::regions
