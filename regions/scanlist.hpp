// Scan conversion: the banded converter (one or two runs a row), the
// general converter (any number), clipping and the complement in a window.
#pragma once

#include "regions/record.hpp"

#include <vector>

namespace mvip::regions {

using Runs = std::vector<mvscanrun>;

// Runs of shapes that cross each row at most once (twice for rings), from
// the outline: per row the outer outline's extent less the inner one's.
// Ellipses and elliptic rings take the extents from their rows unless
// walk_outline_points (the tests hold the two ways to the same runs).
// 0 or -1.
int32_t banded_runs(const mvimregion* r, const mvywindow& w, Runs& out, bool walk_outline_points = false);

// Runs of any closed outline: the pixels of the outline (consecutive points
// joined by the line walk, the last back to the first) and every pixel
// whose centre lies inside it by the even-odd rule (non_zero: the winding
// rule).  Polygons take their rows' pixels and crossings edge by edge
// unless walk_outline_points (the tests hold the two ways to the same
// runs).  0 or -1.
int32_t general_runs(const mvimregion* r, const mvywindow& w, bool non_zero, Runs& out,
                     bool walk_outline_points = false);

// A scan list's runs cut to the window, empty ones dropped, order kept.
void clip_runs(const mvscanrun* in, int32_t n, const mvywindow& w, Runs& out);

// The pixels in both of two sorted run lists.
Runs intersect_runs(const Runs& a, const Runs& b);

// The complement of sorted runs inside the window.  0, or -5 when the runs
// are out of order or the two passes disagree.
int32_t complement_runs(const Runs& in, const mvywindow& w, Runs& out);

// The region as a scan list: the region itself when it is one (-1 when its
// list runs past its record), else its conversion, which `owner` frees.
// 0 or the conversion's code.
int32_t as_scan_list(const mvimregion* region, RegionPtr& owner, const mvimregion*& list);

// A new MVIMREGSCANLIST record holding `runs`, image and origin copied from
// `like`; null when memory cannot be had.
mvimregion* make_scanlist(const mvimregion* like, const Runs& runs);

}  // namespace mvip::regions
