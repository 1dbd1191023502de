// mvirp8_copy: copies the pixels that lie in both regions, each taken
// relative to its own image's window, from the first region's image to
// the second's.
#include "regions/region_runs.hpp"

using namespace mvip;
using namespace mvip::regions;

extern "C" MVIP_API int32_t mvirp8_copy(mvabort* hook, mvimregion* src, mvimregion* dst) {
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!src || !dst) return MVERR_USAGE;
    if (src->regiontype == MVIMREGWIND && dst->regiontype == MVIMREGWIND)
        return mvip8_copy(hook, &src->image, &dst->image);
    RegionRuns from, to;
    if (const int32_t rc = from.build(src); rc < 0) return rc;
    if (const int32_t rc = to.build(dst); rc < 0) return rc;
    if (const int32_t rc = from.intersect(to, src->image.wind, dst->image.wind); rc < 0) return rc;
    return ops::bounded::copy(hook, &src->image, &dst->image, from.list());
}
