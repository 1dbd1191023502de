// The section view ("MVIM3to2"): a 2-D record showing a section of a 3-D
// parent through two of its axes, at a fixed coordinate on the third.  The
// 3-D forms of the per-pixel views build sections of their parent to run
// the 2-D views' code plane by plane.
#pragma once

#include "views/view.hpp"

namespace mvip::view {

// Axis indices (0 x, 1 y, 2 z) of the axis codes 0, 2, 4; -1 for others.
constexpr int axis_of_code(uint32_t code) { return code == 0 ? 0 : code == 2 ? 1 : code == 4 ? 2 : -1; }
constexpr uint32_t code_of_axis(int axis) { return static_cast<uint32_t>(axis) * 2u; }

// Builds a section of `parent` (resolved, the reference kept as given) with
// parent axes `xaxis` and `yaxis` (indices, different) along the view's x
// and y, at `fixed` on the third, relative to the parent's window.
// `mirror` makes the view show the parent's own window (the view's window
// is the parent's on those axes and coordinates pass unchanged), as a view
// following its parent does, except that setting the view's window leaves
// the parent's alone.  Answers 0, or -1 when `fixed` lies outside the
// parent's window (the view is then a null image).
int32_t build_section(mvimage* view, mvimage3* parent, int64_t ref, int xaxis, int yaxis,
                      uint32_t fixed, bool mirror);

}  // namespace mvip::view
