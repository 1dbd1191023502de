// The region record: the (code, name) table, freeing, allocation, growth and
// the checks shared by every region operation.
#include "regions/record.hpp"
#include "ops/frame.hpp"

#include "core/record.hpp"

#include <new>

namespace mvip::regions {

namespace {

// In the order the text reader searches; terminated by an entry with no
// name.
constexpr mvregname kNames[] = {
    {MVIMREGWIND, "MVIMREGWIND"},
    {MVIMREGELLIPSE, "MVIMREGELLIPSE"},
    {MVIMREGRECTANGLE, "MVIMREGRECTANGLE"},
    {MVIMREGPOLYGON, "MVIMREGPOLYGON"},
    {MVIMREGPOLYGONX, "MVIMREGPOLYGONX"},
    {MVIMREGSCANLIST, "MVIMREGSCANLIST"},
    {MVIMREGPATH, "MVIMREGPATH"},
    {MVIMREGSCANLISTB, "MVIMREGSCANLISTB"},
    {MVIMREGPOLYLINE, "MVIMREGPOLYLINE"},
    {MVIMREGANNULUS, "MVIMREGANNULUS"},
    {MVIMREGANNULUSARC, "MVIMREGANNULUSARC"},
    {MVIMREGFRAME, "MVIMREGFRAME"},
    {MVIMREGWINDOW, "MVIMREGWINDOW"},
    {MVIMREGELLIPSEF, "MVIMREGELLIPSEF"},
    {MVIMREGRECTANGLEF, "MVIMREGRECTANGLEF"},
    {MVIMREGANNULUSF, "MVIMREGANNULUSF"},
    {MVIMREGANNULUSARCF, "MVIMREGANNULUSARCF"},
    {MVIMREGFRAMEF, "MVIMREGFRAMEF"},
    {0, nullptr},
};

}  // namespace

bool known_type(uint32_t code) { return code <= 19 && code != 15 && code != 16; }

bool image_valid(const mvimage* im) { return ops::valid_record(im) && window_valid_2d(im); }

bool list_fits(const mvimregion* r) {
    const int32_t n = r->region.polygon.N;
    if (n < 0) return !(shape_of(r) == MVIMREGPOLYGON || shape_of(r) == MVIMREGPOLYGONX ||
                        shape_of(r) == MVIMREGPOLYLINE || shape_of(r) == MVIMREGSCANLIST ||
                        shape_of(r) == MVIMREGSCANLISTB || shape_of(r) == MVIMREGPATH);
    switch (shape_of(r)) {
    case MVIMREGPOLYGON:
    case MVIMREGPOLYGONX:
    case MVIMREGPOLYLINE:
        return MVIMREGION_POLYGON_AT + 8 * uint64_t(n) <= r->reclen;
    case MVIMREGSCANLIST:
    case MVIMREGSCANLISTB:
        return MVIMREGION_SCANLIST_AT + 12 * uint64_t(n) <= r->reclen;
    case MVIMREGPATH:
        return (uint64_t(n) + 1) / 2 <= path_capacity(r);
    default:
        return true;
    }
}

mvimregion* alloc_region(uint64_t bytes) {
    if (bytes < MVIMREGION_FIXED) bytes = MVIMREGION_FIXED;
    if (bytes > SIZE_MAX / 2) return nullptr;
    auto* r = static_cast<mvimregion*>(std::calloc(1, size_t(bytes)));
    if (r) r->reclen = bytes;
    return r;
}

bool grow_region(mvimregion*& r, uint64_t bytes) {
    mvimregion* bigger = alloc_region(bytes);
    if (!bigger) return false;
    std::memcpy(bigger, r, size_t(std::min<uint64_t>(r->reclen, bytes)));
    bigger->reclen = bytes;
    std::free(r);
    r = bigger;
    return true;
}

}  // namespace mvip::regions

using namespace mvip::regions;

extern "C" MVIP_API const mvregname* mvirp_regionnames(void) { return kNames; }

extern "C" MVIP_API const char* mvirp_regionname(uint32_t code) {
    code &= ~kNegative;
    for (const mvregname* e = kNames; e->name; ++e)
        if (uint32_t(e->code) == code) return e->name;
    return nullptr;
}

extern "C" MVIP_API int32_t mvirp_regioncode(const char* name) {
    if (!name) return -1;
    for (const mvregname* e = kNames; e->name; ++e)
        if (std::strcmp(e->name, name) == 0) return e->code;
    return -1;
}

extern "C" MVIP_API void mvirp_regionfree(mvimregion** region) {
    if (!region) return;
    std::free(*region);
    *region = nullptr;
}
