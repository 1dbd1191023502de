// The 3-D forms of the views that present each parent pixel at the same
// place (type converter, colour converter, colour slice): each runs its 2-D
// form, unchanged, over sections of the 3-D parent.
//
// For every run the view builds, on the stack, a section of its parent and
// the kind's 2-D view over that section, sets up the access on it and moves
// the run through it: x- and y-major runs through the plane (x, y) at the
// run's z, z-major runs through the section (x, z) at the run's y, the 2-D
// view scanning along its y axis.  A continuing run goes section by section
// (plane after plane; for z-major runs y after y).  Scattered transfers go
// the same way (entries are translated here and handed on with their
// offsets), and mapping is granted where the 2-D form grants it, handing
// out the parent's own runs.
//
// Building the 2-D form for every run costs about 140 ns on the benchmark
// machine (bench/RESULTS.md), four times the conversion of a 256-pixel line:
// these views are for long runs (continuing runs pay it once per plane).
#pragma once

#include "views/view.hpp"

namespace mvip::view::planewise {

// Builds the kind's 2-D view `flat` over the 2-D `section` with the
// arguments kept in the 3-D view's state (args()); the 2-D constructor's
// answer.
using BuildFlat = int32_t (*)(mvimage* flat, mvimage* section, const void* args, uint8_t follow);

constexpr size_t kArgBytes = 48;

// Builds the 3-D view `v` (kind tag `kind`) over the parent reference with
// the kind's 2-D builder and its arguments (copied).  0, or -1 for a null
// parent, or the 2-D constructor's failure (the view is then a 3-D null
// image).
int32_t build(mvimage3* v, mvimage3* parent_ref, uint8_t follow, const char* kind, BuildFlat flat,
              const void* args, size_t arg_bytes);

}  // namespace mvip::view::planewise
