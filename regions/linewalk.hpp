// The one line walk: the integer stepper behind path building and the
// drawing of lines, boxes and paths.  The starting error 2m - (M - 1), one
// more than the textbook's, decides on which side a minor step falls at
// exact halves: (0, 0) to (3, 1) visits (0, 0), (1, 1), (2, 1), (3, 1).
#pragma once

#include <cstdint>
#include <cstdlib>

namespace mvip::regions {

// Visits the pixels from (x0, y0) to (x1, y1): the start unless skip_first,
// the end unless skip_last.  The major axis is x when |dx| > |dy|, else y
// (a diagonal steps along y).  visit(x, y) answers false to stop the walk;
// the walk then answers false.
template <class Visit>
bool line_walk(int32_t x0, int32_t y0, int32_t x1, int32_t y1, bool skip_first, bool skip_last,
               Visit&& visit) {
    if (!skip_first && !visit(x0, y0)) return false;
    if (x0 == x1 && y0 == y1) return true;
    const int64_t dx = std::llabs(int64_t(x1) - x0), dy = std::llabs(int64_t(y1) - y0);
    const int32_t sx = x1 > x0 ? 1 : -1, sy = y1 > y0 ? 1 : -1;
    const bool xmajor = dx > dy;
    const int64_t big = xmajor ? dx : dy, small = xmajor ? dy : dx;
    if (big > 1) {
        int64_t e = 2 * small - (big - 1);
        int32_t x = x0, y = y0;
        for (int64_t i = 1; i < big; ++i) {
            if (e >= 0) {
                if (xmajor) y += sy; else x += sx;
                e += 2 * small - 2 * big;
            } else {
                e += 2 * small;
            }
            if (xmajor) x += sx; else y += sy;
            if (!visit(x, y)) return false;
        }
    }
    if (!skip_last && !visit(x1, y1)) return false;
    return true;
}

}  // namespace mvip::regions
