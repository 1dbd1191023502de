// The runs of a region-bounded operation, and the shared entry of every
// mvirp8_ / mvirpf_ operation: the hook, the region checks, the shortcut
// of MVIMREGWIND to the whole-image operation, and the run list handed to
// the operation's bounded form.
#pragma once

#include "ops/bounded.hpp"
#include "regions/scanlist.hpp"

namespace mvip::regions {

// A region's pixels as a run list in its image's coordinates: inside the
// window, sorted by line and x, without overlaps.
class RegionRuns {
public:
    // 0, or -1 (invalid image, unknown type, list past its record), -19
    // (data type other than u8 and u16), -2, or the scan conversion's code.
    int32_t build(const mvimregion* region);
    // Keeps only the pixels also in `other` (runs in their own image's
    // coordinates), both taken relative to their windows' corners.  0 or -2.
    int32_t intersect(const RegionRuns& other, const mvywindow& mine, const mvywindow& theirs);
    const ops::RunList* list() {
        list_ = {runs_.data(), runs_.size()};
        return &list_;
    }

private:
    Runs runs_;
    ops::RunList list_;
};

// The data types for which regions are walked.
inline bool region_type_ok(const mvimage* im) {
    const uint32_t t = type_of(im->pixfmt.datatype);
    return t == MVTYPE_U8 || t == MVTYPE_U16;
}

// The entry of a region operation: Whole is the exported whole-image form,
// Bounded its form with a run list.
template <auto Whole, auto Bounded, class... A>
int32_t region_op(mvabort* hook, mvimregion* region, A... args) {
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!region) return MVERR_USAGE;
    if (region->regiontype == MVIMREGWIND) return Whole(hook, &region->image, args...);
    RegionRuns runs;
    if (const int32_t rc = runs.build(region); rc < 0) return rc;
    return Bounded(hook, &region->image, args..., runs.list());
}

}  // namespace mvip::regions
