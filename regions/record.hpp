// Internal helpers of the regions: shape codes, list access within the
// record's length, allocation of library-owned records, image checks.
#pragma once

#include "mvip.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace mvip::regions {

constexpr uint32_t kNegative = MVIMREGNEGATIVE;
constexpr int32_t kNoPoint = INT32_MIN;  // the no-point mark of outlines

inline uint32_t shape_of(const mvimregion* r) { return r->regiontype & ~kNegative; }
inline bool is_negative(const mvimregion* r) { return (r->regiontype & kNegative) != 0; }

// True for the codes of the name table (flag stripped).
bool known_type(uint32_t code);

// The image checks every region operation makes: slots, format, sizes and
// a window inside the image.
bool image_valid(const mvimage* im);

// Lists inside the record.  A list shape whose N is negative or runs past
// reclen is refused (the accessors answer null).
inline mvpoint* vertices(mvimregion* r) {
    return reinterpret_cast<mvpoint*>(reinterpret_cast<unsigned char*>(r) + MVIMREGION_POLYGON_AT);
}
inline const mvpoint* vertices(const mvimregion* r) { return vertices(const_cast<mvimregion*>(r)); }
inline mvscanrun* runs(mvimregion* r) {
    return reinterpret_cast<mvscanrun*>(reinterpret_cast<unsigned char*>(r) + MVIMREGION_SCANLIST_AT);
}
inline const mvscanrun* runs(const mvimregion* r) { return runs(const_cast<mvimregion*>(r)); }
inline unsigned char* pathbytes(mvimregion* r) {
    return reinterpret_cast<unsigned char*>(r) + MVIMREGION_PATHLIST_AT;
}
inline const unsigned char* pathbytes(const mvimregion* r) {
    return pathbytes(const_cast<mvimregion*>(r));
}

// Bytes needed by a record with n runs / n vertices (never below the fixed
// part).
inline uint64_t scanlist_bytes(uint64_t n) {
    const uint64_t b = MVIMREGION_SCANLIST_AT + 12 * n;
    return b < MVIMREGION_FIXED ? MVIMREGION_FIXED : b;
}
inline uint64_t polygon_bytes(uint64_t n) {
    const uint64_t b = MVIMREGION_POLYGON_AT + 8 * n;
    return b < MVIMREGION_FIXED ? MVIMREGION_FIXED : b;
}
// Bytes of chain codes a path record holds.
inline uint64_t path_capacity(const mvimregion* r) {
    return r->reclen > MVIMREGION_PATHLIST_AT ? r->reclen - MVIMREGION_PATHLIST_AT : 0;
}
// True when the list of a polygon, scan list or path fits its record (for
// a path: at least its N nibbles).
bool list_fits(const mvimregion* r);

// A zeroed record of `bytes` from the heap (never below the fixed part),
// reclen set; null when memory cannot be had.
mvimregion* alloc_region(uint64_t bytes);
// Grow a library-owned record to `bytes`: a new block with the old contents,
// the old one freed.  False (record untouched) when memory cannot be had.
bool grow_region(mvimregion*& r, uint64_t bytes);

// Owns a library-allocated record until released.
struct RegionPtr {
    mvimregion* p = nullptr;
    RegionPtr() = default;
    explicit RegionPtr(mvimregion* q) : p(q) {}
    ~RegionPtr() { std::free(p); }
    RegionPtr(const RegionPtr&) = delete;
    RegionPtr& operator=(const RegionPtr&) = delete;
    mvimregion* release() { mvimregion* q = p; p = nullptr; return q; }
};

}  // namespace mvip::regions
