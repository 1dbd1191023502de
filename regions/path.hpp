// Chain-coded paths: the step table and decoding.
#pragma once

#include "regions/record.hpp"

namespace mvip::regions {

constexpr int32_t kStepX[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int32_t kStepY[8] = {0, -1, -1, -1, 0, 1, 1, 1};

// The code of a step, from the signs of (dx, dy); 0 for no movement.
inline uint8_t step_code(int64_t dx, int64_t dy) {
    static constexpr uint8_t table[11] = {0, 0, 4, 0, 6, 7, 5, 0, 2, 1, 3};
    return table[(dx > 0 ? 1 : dx < 0 ? 2 : 0) + (dy > 0 ? 4 : dy < 0 ? 8 : 0)];
}

inline uint8_t nibble(const unsigned char* bytes, uint64_t k) {
    return k & 1 ? uint8_t(bytes[k / 2] >> 4) : uint8_t(bytes[k / 2] & 15);
}

// Walks the points of a path from its origin: the origin first, then one
// point per step; a closed path does not visit the origin twice.  The first
// `skip` points are reported as (kNoPoint, kNoPoint); at most `count`
// points are reported in all.  visit(x, y) answers false to stop.  A path
// whose codes run past its record stops where the record ends.
template <class Visit>
void decode_path(const mvimregion* r, uint64_t skip, uint64_t count, Visit&& visit) {
    const unsigned char* bytes = pathbytes(r);
    const uint64_t nibbles = 2 * path_capacity(r);
    const int64_t n = r->region.path.N > 0 ? r->region.path.N : 0;
    int32_t x = r->origin.x, y = r->origin.y;
    uint64_t seen = 0;
    auto report = [&](int32_t px, int32_t py) {
        if (seen >= count) return false;
        const bool skipped = seen < skip;
        ++seen;
        return skipped ? visit(kNoPoint, kNoPoint) : visit(px, py);
    };
    // The origin is held back until the first step shows whether the path
    // is closed.  Steps are counted so the last one is known.
    struct Step { uint8_t dir; uint32_t reps; };
    auto next = [&](uint64_t& k, Step& s) {
        if (k >= nibbles) return false;
        const uint8_t c = nibble(bytes, k++);
        s.dir = c & 7;
        s.reps = 1;
        if (c >= 8) {
            if (k >= nibbles) return false;
            s.reps = uint32_t(nibble(bytes, k++)) + 2;
        }
        return true;
    };
    // First pass: the end point, to know whether the path closes.
    int64_t ex = x, ey = y;
    {
        uint64_t k = 0;
        Step s;
        for (int64_t i = 0; i < n && next(k, s); ++i) {
            ex += int64_t(kStepX[s.dir]) * s.reps;
            ey += int64_t(kStepY[s.dir]) * s.reps;
        }
    }
    const bool closed = n > 0 && ex == x && ey == y;
    if (!report(x, y)) return;
    uint64_t k = 0;
    Step s;
    for (int64_t i = 0; i < n && next(k, s); ++i) {
        for (uint32_t j = 0; j < s.reps; ++j) {
            x = int32_t(uint32_t(x) + uint32_t(kStepX[s.dir]));
            y = int32_t(uint32_t(y) + uint32_t(kStepY[s.dir]));
            const bool last = i == n - 1 && j + 1 == s.reps;
            if (last && closed) return;
            if (!report(x, y)) return;
        }
    }
}

}  // namespace mvip::regions
