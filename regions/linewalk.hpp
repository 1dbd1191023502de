// The one line walk: the integer stepper behind path building and the
// drawing of lines, boxes and paths.  The starting error 2m - (M - 1), one
// more than the textbook's, decides on which side a minor step falls at
// exact halves: (0, 0) to (3, 1) visits (0, 0), (1, 1), (2, 1), (3, 1).
#pragma once

#include <cstdint>
#include <algorithm>
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

// The walk from (x0, y0) to (x1, y1), both ends included, a row at a time:
// row(y, first, last) for each row the walk passes within [top, bottom],
// in walk order, with the x of the first and of the last pixel it visits
// on that row.  With M >= 2 the walk's minor offset after j steps is
// floor((2mj + M + 1) / 2M) (the error above stays 2m(j + 1) - M + 1 -
// 2M * offset), so a row is found without walking to it: rows outside
// [top, bottom] cost nothing and an x-major row costs one division, not
// one step per pixel.  False, reporting nothing, when the major axis spans
// more than 2^30 pixels (the products would overflow).
template <class Row>
bool line_rows(int32_t x0, int32_t y0, int32_t x1, int32_t y1, int64_t top, int64_t bottom, Row&& row) {
    const LinePlan p = line_plan(x0, y0, x1, y1);
    const int64_t big = p.big, small = p.small;
    if (big > (int64_t(1) << 30)) return false;
    // Rows as offsets k from y0 in walk order: y = y0 + sy * k.
    const int64_t rows = p.xmajor ? small : big;
    const int64_t k0 = std::max<int64_t>(0, p.sy > 0 ? top - y0 : int64_t(y0) - bottom);
    const int64_t k1 = std::min<int64_t>(rows, p.sy > 0 ? bottom - y0 : int64_t(y0) - top);
    if (k0 > k1) return true;
    if (big <= 1) {  // the ends alone
        if (p.xmajor || big == 0) return row(y0, x0, x1), true;
        for (int64_t k = k0; k <= k1; ++k) k == 0 ? row(y0, x0, x0) : row(y1, x1, x1);
        return true;
    }
    const int64_t flat = 2 * small, up = 2 * small - 2 * big;
    if (!p.xmajor) {  // one pixel a row
        int64_t m = (flat * k0 + big + 1) / (2 * big);
        int64_t e = flat * (k0 + 1) - big + 1 - 2 * big * m;
        for (int64_t k = k0; k <= k1; ++k) {
            const int32_t x = int32_t(x0 + p.sx * m);
            row(int32_t(y0 + p.sy * k), x, x);
            const int64_t minor = ~(e >> 63);
            e += flat + ((up - flat) & minor);
            m -= minor;
        }
        return true;
    }
    // Row m holds steps first(m) .. first(m + 1) - 1, where first(m) is the
    // least j >= 0 whose offset reaches m; the last row ends at the end.
    // For m >= 1, first(m) = ceil((2Mm - M - 1) / 2m): the numerator grows
    // by 2M a row, so the quotient is stepped with its remainder instead of
    // dividing anew.
    if (small == 0) return row(y0, x0, x1), true;
    const int64_t m1 = k0 + 1, dq = 2 * big / flat, dr = 2 * big % flat;
    int64_t q = (2 * big * m1 - big - 1 + flat - 1) / flat, r = (2 * big * m1 - big - 1 + flat - 1) % flat;
    int64_t j = k0 == 0 ? 0 : (2 * big * k0 - big - 1 + flat - 1) / flat;
    for (int64_t m = k0; m <= k1; ++m) {
        const int64_t next = m == small ? big + 1 : q;
        row(int32_t(y0 + p.sy * m), int32_t(x0 + p.sx * j), int32_t(x0 + p.sx * (next - 1)));
        j = next;
        q += dq;
        r += dr;
        if (r >= flat) r -= flat, ++q;
    }
    return true;
}

}  // namespace mvip::regions
