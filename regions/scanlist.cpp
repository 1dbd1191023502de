// mvirp_xlatetoscanlist: clipping, dispatch to the converters, complement.
#include "regions/scanlist.hpp"

#include "ops/frame.hpp"

#include <algorithm>
#include <new>

namespace mvip::regions {

void clip_runs(const mvscanrun* in, int32_t n, const mvywindow& w, Runs& out) {
    for (int32_t i = 0; i < n; ++i) {
        const mvscanrun& s = in[i];
        if (s.len <= 0 || s.coord.y < w.nw.y || s.coord.y >= w.se.y) continue;
        const int64_t a = std::max<int64_t>(s.coord.x, w.nw.x);
        const int64_t e = std::min<int64_t>(int64_t(s.coord.x) + s.len, w.se.x);
        if (a < e) out.push_back({{int32_t(a), s.coord.y}, int32_t(e - a)});
    }
}

Runs intersect_runs(const Runs& a, const Runs& b) {
    Runs out;
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const mvscanrun &p = a[i], &q = b[j];
        if (p.coord.y != q.coord.y) {
            (p.coord.y < q.coord.y ? i : j)++;
            continue;
        }
        const int64_t s = std::max(p.coord.x, q.coord.x);
        const int64_t e = std::min(int64_t(p.coord.x) + p.len, int64_t(q.coord.x) + q.len);
        if (s < e) out.push_back({{int32_t(s), p.coord.y}, int32_t(e - s)});
        (int64_t(p.coord.x) + p.len < int64_t(q.coord.x) + q.len ? i : j)++;
    }
    return out;
}

namespace {

// A sector: the pixels its closed outline encloses that also belong to its
// ring, so that an inner ellipse reaching out of the outer one cuts the
// sector as it cuts the ring.
int32_t sector_runs(const mvimregion* r, const mvywindow& w, bool non_zero, Runs& out) {
    Runs wedge, ring;
    if (const int32_t rc = general_runs(r, w, non_zero, wedge); rc < 0) return rc;
    mvimregion annulus;
    std::memcpy(&annulus, r, sizeof annulus);
    annulus.regiontype = shape_of(r) == MVIMREGANNULUSARC ? MVIMREGANNULUS : MVIMREGANNULUSF;
    if (const int32_t rc = banded_runs(&annulus, w, ring); rc < 0) return rc;
    out = intersect_runs(wedge, ring);
    return 0;
}

// One pass of the complement; `write` null counts only.  -1 when the runs
// are out of order (a run before the cursor).
int64_t complement_pass(const Runs& in, const mvywindow& w, mvscanrun* write) {
    const int32_t left = w.nw.x, top = w.nw.y, right = w.se.x, bottom = w.se.y;
    int64_t count = 0;
    auto put = [&](int32_t x, int32_t y, int32_t len) {
        if (write) write[count] = {{x, y}, len};
        ++count;
    };
    int32_t x = left, y = top;
    for (const mvscanrun& s : in) {
        if (s.len == 0) continue;
        if (s.coord.y < y || (s.coord.y == y && s.coord.x < x)) return -1;
        while (y != s.coord.y) {
            put(x, y, right - x);
            ++y;
            x = left;
        }
        if (s.coord.x > x) put(x, y, s.coord.x - x);
        x = s.coord.x + s.len;
        if (x >= right) {
            x = left;
            ++y;
        }
    }
    for (; y < bottom; ++y, x = left)
        if (x < right) put(x, y, right - x);
    return count;
}

}  // namespace

int32_t complement_runs(const Runs& in, const mvywindow& w, Runs& out) {
    const int64_t n = complement_pass(in, w, nullptr);
    if (n < 0) return MVERR_LOGIC;
    out.resize(size_t(n));
    if (complement_pass(in, w, out.data()) != n) {
        out.clear();
        return MVERR_LOGIC;
    }
    return 0;
}

int32_t as_scan_list(const mvimregion* region, RegionPtr& owner, const mvimregion*& list) {
    if (region->regiontype == MVIMREGSCANLIST) {
        list = region;
        return list_fits(region) ? 0 : MVERR_USAGE;
    }
    mvimregion* made = nullptr;
    if (const int32_t rc = mvirp_xlatetoscanlist(nullptr, region, &made, 0); rc < 0) return rc;
    owner.p = made;
    list = made;
    return 0;
}

mvimregion* make_scanlist(const mvimregion* like, const Runs& list) {
    if (list.size() > size_t(INT32_MAX)) return nullptr;
    mvimregion* r = alloc_region(scanlist_bytes(list.size()));
    if (!r) return nullptr;
    r->image = like->image;
    r->origin = like->origin;
    r->regiontype = MVIMREGSCANLIST;
    r->region.scanlist.N = int32_t(list.size());
    if (!list.empty()) std::memcpy(runs(r), list.data(), list.size() * sizeof(mvscanrun));
    return r;
}

}  // namespace mvip::regions

using namespace mvip::regions;

extern "C" MVIP_API int32_t mvirp_xlatetoscanlist(mvabort* hook, const mvimregion* region,
                                                  mvimregion** dst, uint32_t option) {
    if (const auto stop = mvip::ops::hook_at_entry(hook)) return *stop;
    if (!region || !dst || *dst || !image_valid(&region->image)) return MVERR_USAGE;
    if (region->regiontype == MVIMREGSCANLIST) return MVERR_USAGE;
    const uint32_t shape = shape_of(region);
    if (!known_type(shape) || !list_fits(region)) return MVERR_USAGE;
    const mvywindow& w = region->image.wind;
    try {
        Runs list;
        int32_t rc = 0;
        switch (shape) {
        case MVIMREGSCANLIST:   // only the negative form reaches here
        case MVIMREGSCANLISTB:
            clip_runs(runs(region), region->region.scanlist.N, w, list);
            break;
        case MVIMREGWIND:
        case MVIMREGELLIPSE:
        case MVIMREGRECTANGLE:
        case MVIMREGPOLYGONX:
        case MVIMREGWINDOW:
        case MVIMREGELLIPSEF:
        case MVIMREGRECTANGLEF:
        case MVIMREGANNULUS:
        case MVIMREGFRAME:
        case MVIMREGANNULUSF:
        case MVIMREGFRAMEF:
            rc = banded_runs(region, w, list);
            break;
        case MVIMREGPOLYGON:
        case MVIMREGPATH:
            rc = general_runs(region, w, (option & 1) != 0, list);
            break;
        case MVIMREGANNULUSARC:
        case MVIMREGANNULUSARCF:
            rc = sector_runs(region, w, (option & 1) != 0, list);
            break;
        default:  // polylines have no area
            return MVERR_USAGE;
        }
        if (rc < 0) return rc;
        if (is_negative(region)) {
            Runs comp;
            if (const int32_t c = complement_runs(list, w, comp); c < 0) return c;
            list.swap(comp);
        }
        mvimregion* out = make_scanlist(region, list);
        if (!out) return MVERR_MEMORY;
        *dst = out;
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}
