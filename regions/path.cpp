// Building paths: creation, extension by the line walk or by one code, and
// compression into run codes.
#include "regions/path.hpp"

#include "regions/linewalk.hpp"

#include <algorithm>
#include <vector>

namespace mvip::regions {

namespace {

constexpr uint64_t kPathFirstBytes = 772;
constexpr uint64_t kPathGrowBytes = 256;
constexpr int32_t kPathFull = 0x7fffffff;

bool is_path(const mvimregion* r) { return r && shape_of(r) == MVIMREGPATH; }

// Sets nibble k of the chain: an even k sets the whole byte.
void put_nibble(unsigned char* bytes, uint64_t k, uint8_t code) {
    if (k & 1) bytes[k / 2] = uint8_t((bytes[k / 2] & 15) | (code << 4));
    else bytes[k / 2] = code;
}

}  // namespace

// Appends one code, growing the record first when it is close to full.
// 0, -2 (growing failed, nothing appended), -15 (N is at its limit).
int32_t append_code(mvimregion*& r, uint8_t code) {
    const int32_t n = r->region.path.N;
    if (n >= kPathFull) return MVERR_TABLESPACE;
    if (uint64_t(n / 2) + 516 >= r->reclen - 1 || uint64_t(n) / 2 >= path_capacity(r)) {
        if (!grow_region(r, r->reclen + kPathGrowBytes)) return MVERR_MEMORY;
    }
    put_nibble(pathbytes(r), uint64_t(n), code);
    r->region.path.N = n + 1;
    return 0;
}

}  // namespace mvip::regions

using namespace mvip::regions;

extern "C" MVIP_API int32_t mvirp_pathcreate(mvimregion** path, int32_t x, int32_t y) {
    if (!path || *path) return MVERR_USAGE;
    mvimregion* r = alloc_region(kPathFirstBytes);
    if (!r) return MVERR_MEMORY;
    mvimage_defnull(&r->image);
    r->regiontype = MVIMREGPATH;
    r->origin = {x, y};
    r->region.path.lastpt = {x, y};
    *path = r;
    return 0;
}

extern "C" MVIP_API int32_t mvirp_pathextend(mvimregion** path, int32_t x, int32_t y) {
    if (!path || !is_path(*path)) return MVERR_USAGE;
    mvimregion* r = *path;
    const int32_t n0 = r->region.path.N;
    const mvpoint last0 = r->region.path.lastpt;
    int32_t rc = 0;
    line_walk(last0.x, last0.y, x, y, true, false, [&](int32_t px, int32_t py) {
        mvpoint& last = r->region.path.lastpt;
        const int64_t dx = int64_t(px) - last.x, dy = int64_t(py) - last.y;
        if (dx == 0 && dy == 0) return true;
        if (r->region.path.N >= kPathFull) return true;  // full: ignored silently
        const int32_t a = append_code(r, step_code(dx, dy));
        if (a < 0) {
            rc = a;
            return false;
        }
        r->region.path.lastpt.x = int32_t(uint32_t(r->region.path.lastpt.x) + uint32_t(dx > 0 ? 1 : dx < 0 ? -1 : 0));
        r->region.path.lastpt.y = int32_t(uint32_t(r->region.path.lastpt.y) + uint32_t(dy > 0 ? 1 : dy < 0 ? -1 : 0));
        return true;
    });
    if (rc < 0) {
        // The path as it was before the call (the block may have moved).
        r->region.path.N = n0;
        r->region.path.lastpt = last0;
    }
    *path = r;
    return rc;
}

extern "C" MVIP_API int32_t mvirp_pathextend1(mvimregion** path, int32_t x, int32_t y) {
    if (!path || !is_path(*path)) return MVERR_USAGE;
    mvimregion* r = *path;
    const mvpoint last = r->region.path.lastpt;
    const int32_t rc = append_code(r, step_code(int64_t(x) - last.x, int64_t(y) - last.y));
    *path = r;
    if (rc < 0) return rc;
    r->region.path.lastpt = {x, y};
    return 0;
}

extern "C" MVIP_API int32_t mvirp_pathcompress(const mvimregion* src, mvimregion** dst) {
    if (!src || !dst || *dst || src->regiontype != MVIMREGPATH || !list_fits(src))
        return MVERR_USAGE;
    // The source's steps as (direction, count) runs, merged across codes.
    std::vector<std::pair<uint8_t, uint64_t>> steps;
    const unsigned char* bytes = pathbytes(src);
    const uint64_t nibbles = 2 * path_capacity(src);
    uint64_t k = 0;
    for (int32_t i = 0; i < src->region.path.N && k < nibbles; ++i) {
        const uint8_t c = nibble(bytes, k++);
        uint64_t reps = 1;
        if (c >= 8) {
            if (k >= nibbles) break;
            reps = uint64_t(nibble(bytes, k++)) + 2;
        }
        const uint8_t d = c & 7;
        if (!steps.empty() && steps.back().first == d) steps.back().second += reps;
        else steps.push_back({d, reps});
    }
    // Count pass.
    uint64_t out_nibbles = 0, codes = 0;
    for (const auto& [d, total] : steps) {
        uint64_t l = total;
        (void)d;
        while (l > 1) {
            const uint64_t take = std::min<uint64_t>(l, 17);
            out_nibbles += 2;
            ++codes;
            l -= take;
        }
        if (l == 1) { ++out_nibbles; ++codes; }
    }
    if (codes > uint64_t(0x7fffffff)) return MVERR_TABLESPACE;
    RegionPtr out(alloc_region(MVIMREGION_FIXED + (out_nibbles + 1) / 2));
    if (!out.p) return MVERR_MEMORY;
    const uint64_t reclen = out.p->reclen;
    std::memcpy(out.p, src, MVIMREGION_PATHLIST_AT);
    out.p->reclen = reclen;
    // Write pass.
    unsigned char* ob = pathbytes(out.p);
    uint64_t w = 0;
    for (const auto& [d, total] : steps) {
        uint64_t l = total;
        while (l > 1) {
            const uint64_t take = std::min<uint64_t>(l, 17);
            put_nibble(ob, w++, uint8_t(d | 8));
            put_nibble(ob, w++, uint8_t(take - 2));
            l -= take;
        }
        if (l == 1) put_nibble(ob, w++, d);
    }
    out.p->region.path.N = int32_t(codes);
    *dst = out.release();
    return 0;
}
