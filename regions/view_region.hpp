// The start shared by the region views: a record the size and geometry of
// the region's image, in the given pixel format and kind, with no-op slots
// (the caller then sets its state, aeiou and xwind, and its window).
#pragma once

#include "regions/record.hpp"
#include "views/view.hpp"

#include <cstring>

namespace mvip::regions {

inline void start_region_view(mvimage* v, const mvimregion* region, const mvpixfmt& pixfmt, const char* kind) {
    std::memset(static_cast<void*>(v), 0, sizeof *v);
    v->imdim = region->image.imdim;
    v->pixfmt = pixfmt;
    derive_sizes(v);
    std::memcpy(&v->xwidth, &region->image.xwidth, sizeof(mvgeometry));
    set_kind(v, kind);
    set_noop_slots(v);
}

}  // namespace mvip::regions
