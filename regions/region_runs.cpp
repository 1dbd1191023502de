// Run lists of region-bounded operations.
#include "regions/region_runs.hpp"

#include <algorithm>
#include <new>

namespace mvip::regions {

namespace {

bool in_order(const Runs& runs) {
    for (size_t i = 1; i < runs.size(); ++i) {
        const mvscanrun &a = runs[i - 1], &b = runs[i];
        if (b.coord.y < a.coord.y) return false;
        if (b.coord.y == a.coord.y && int64_t(b.coord.x) < int64_t(a.coord.x) + a.len) return false;
    }
    return true;
}

// Sorts runs given out of order and merges those that overlap, so that
// every pixel is walked once.
void put_in_order(Runs& runs) {
    std::sort(runs.begin(), runs.end(), [](const mvscanrun& a, const mvscanrun& b) {
        return a.coord.y != b.coord.y ? a.coord.y < b.coord.y : a.coord.x < b.coord.x;
    });
    size_t out = 0;
    for (size_t i = 0; i < runs.size(); ++i) {
        if (out > 0) {
            mvscanrun& last = runs[out - 1];
            const int64_t end = int64_t(last.coord.x) + last.len;
            if (runs[i].coord.y == last.coord.y && runs[i].coord.x <= end) {
                last.len = int32_t(std::max(end, int64_t(runs[i].coord.x) + runs[i].len) - last.coord.x);
                continue;
            }
        }
        runs[out++] = runs[i];
    }
    runs.resize(out);
}

}  // namespace

int32_t RegionRuns::build(const mvimregion* region) {
    if (!image_valid(&region->image)) return MVERR_USAGE;
    if (!region_type_ok(&region->image)) return MVERR_DATATYPE;
    try {
        if (region->regiontype == MVIMREGSCANLIST) {
            // A scan list is used as it is, cut to the window; one given out
            // of order is sorted first.
            if (!list_fits(region)) return MVERR_USAGE;
            clip_runs(runs(region), region->region.scanlist.N, region->image.wind, runs_);
            if (!in_order(runs_)) put_in_order(runs_);
            return 0;
        }
        mvimregion* list = nullptr;
        const int32_t rc = mvirp_xlatetoscanlist(nullptr, region, &list, 0);
        if (rc < 0) return rc;
        RegionPtr owner(list);
        runs_.assign(runs(list), runs(list) + list->region.scanlist.N);
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}

int32_t RegionRuns::intersect(const RegionRuns& other, const mvywindow& mine,
                              const mvywindow& theirs) {
    try {
        Runs moved = other.runs_;
        for (mvscanrun& r : moved) {
            r.coord.x = int32_t(int64_t(r.coord.x) - theirs.nw.x + mine.nw.x);
            r.coord.y = int32_t(int64_t(r.coord.y) - theirs.nw.y + mine.nw.y);
        }
        runs_ = intersect_runs(runs_, moved);
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}

}  // namespace mvip::regions
