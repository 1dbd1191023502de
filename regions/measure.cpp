// Region bounds and area.
#include "regions/outline.hpp"
#include "regions/scanlist.hpp"

#include <algorithm>

using namespace mvip::regions;

extern "C" MVIP_API int32_t mvirp_regionbounds(const mvimregion* region, mvywindow* bounds,
                                               uint32_t mode) {
    if (!region || !bounds || !image_valid(&region->image)) return MVERR_USAGE;
    const mvywindow& w = region->image.wind;
    const uint32_t shape = shape_of(region);
    if (!known_type(shape)) return MVERR_USAGE;
    int64_t l = INT64_MAX, t = INT64_MAX, r = INT64_MIN, b = INT64_MIN;
    if (shape == MVIMREGWIND || (is_negative(region) && !(mode & 0x100))) {
        *bounds = w;
        return 1;
    }
    auto add = [&](int64_t x, int64_t y) {
        l = std::min(l, x);
        r = std::max(r, x);
        t = std::min(t, y);
        b = std::max(b, y);
    };
    if (shape == MVIMREGSCANLIST) {
        if (!list_fits(region)) return MVERR_USAGE;
        const mvscanrun* s = runs(region);
        for (int32_t i = 0; i < region->region.scanlist.N; ++i) {
            if (s[i].coord.x == kNoPoint || s[i].len <= 0) continue;
            add(s[i].coord.x, s[i].coord.y);
            add(int64_t(s[i].coord.x) + s[i].len - 1, s[i].coord.y);
        }
    } else {
        auto sink = [&](int32_t x, int32_t y, int) {
            if (x != kNoPoint) add(x, y);
        };
        if (walk_outline(region, true, sink) < 0) return MVERR_USAGE;
    }
    if (l > r) return 0;
    mvywindow box{{int32_t(l), int32_t(t)},
                  {int32_t(std::min<int64_t>(r + 1, INT32_MAX)), int32_t(std::min<int64_t>(b + 1, INT32_MAX))}};
    if (mode != 0 && (box.se.x <= w.nw.x || box.nw.x >= w.se.x || box.se.y <= w.nw.y ||
                      box.nw.y >= w.se.y))
        return 0;
    if ((mode & 0x7f) == 'w') {
        box.nw.x = std::max(box.nw.x, w.nw.x);
        box.nw.y = std::max(box.nw.y, w.nw.y);
        box.se.x = std::min(box.se.x, w.se.x);
        box.se.y = std::min(box.se.y, w.se.y);
    }
    *bounds = box;
    return 1;
}

extern "C" MVIP_API int32_t mvirp_regionarea(const mvimregion* region, uint32_t* count) {
    if (!region || !image_valid(&region->image)) return MVERR_USAGE;
    if (!count) return 0;
    const mvywindow& w = region->image.wind;
    if (region->regiontype == MVIMREGWIND) {
        *count = uint32_t(w.se.y - w.nw.y) * uint32_t(w.se.x - w.nw.x);
        return 0;
    }
    RegionPtr owned;
    const mvimregion* from = nullptr;
    if (const int32_t rc = as_scan_list(region, owned, from); rc < 0) return rc;
    uint32_t sum = 0;
    const mvscanrun* s = runs(from);
    for (int32_t i = 0; i < from->region.scanlist.N; ++i) sum += uint32_t(s[i].len);
    *count = sum;
    return 0;
}
