// Translations in place and into paths: rectangles to polygons, any region
// to the path of its outline.
#include "regions/outline.hpp"

#include "ops/frame.hpp"

#include <algorithm>

using namespace mvip::regions;

extern "C" MVIP_API int32_t mvirp_xlaterecttopoly(mvimregion* region) {
    if (!region) return MVERR_USAGE;
    const uint32_t shape = shape_of(region);
    if (shape != MVIMREGRECTANGLE && shape != MVIMREGRECTANGLEF) return MVERR_USAGE;
    mvpoint origin, corners[4];
    if (!rectangle_corners(region, origin, corners)) return MVERR_USAGE;
    region->origin = origin;
    region->regiontype = MVIMREGPOLYGONX | (region->regiontype & kNegative);
    region->region.polygon.N = 4;
    for (int i = 0; i < 4; ++i) region->region.polygon.vertex[i] = corners[i];
    return 0;
}

extern "C" MVIP_API int32_t mvirp_xlatetopath(mvabort* hook, const mvimregion* region,
                                              mvimregion** dst) {
    if (const auto stop = mvip::ops::hook_at_entry(hook)) return *stop;
    if (!region || !dst || *dst || !image_valid(&region->image)) return MVERR_USAGE;
    mvimregion* path = nullptr;
    int32_t worst = 0;
    mvpoint first{};
    auto sink = [&](int32_t x, int32_t y, int) {
        if (x == kNoPoint || worst < 0) return;
        if (!path) first = {x, y};
        const int32_t rc = path ? mvirp_pathextend(&path, x, y) : mvirp_pathcreate(&path, x, y);
        worst = std::min(worst, rc);
    };
    int32_t rc = walk_outline(region, true, sink);
    // Outlines of areas end beside their start: the path is closed.
    const uint32_t shape = shape_of(region);
    const bool open = shape == MVIMREGPOLYLINE || shape == MVIMREGPATH ||
                      shape == MVIMREGSCANLIST || shape == MVIMREGSCANLISTB;
    if (rc >= 0 && worst >= 0 && path && !open) worst = mvirp_pathextend(&path, first.x, first.y);
    if (rc >= 0) rc = worst;
    if (rc >= 0 && !path) rc = mvirp_pathcreate(&path, region->origin.x, region->origin.y);
    if (rc < 0) {
        mvirp_regionfree(&path);
        return rc;
    }
    path->image = region->image;
    path->regiontype |= region->regiontype & kNegative;
    *dst = path;
    return 0;
}
