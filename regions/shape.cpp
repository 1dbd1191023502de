// Shape measures of a region from its runs: area, centre, second moments
// (orientation and axes of the equivalent ellipse) and the boundary length.
#include "regions/grow.hpp"
#include "regions/scanlist.hpp"

#include <cmath>

namespace {

using namespace mvip::regions;

// Sorted runs with touching or overlapping runs of a line merged.
std::vector<mvscanrun> merged(const mvimregion* list) {
    std::vector<mvscanrun> in;
    const mvscanrun* s = runs(list);
    for (int32_t i = 0; i < list->region.scanlist.N; ++i)
        if (s[i].len > 0) in.push_back(s[i]);
    sort_runs(in);
    std::vector<mvscanrun> out;
    for (const mvscanrun& r : in) {
        if (!out.empty() && out.back().coord.y == r.coord.y &&
            r.coord.x <= int64_t(out.back().coord.x) + out.back().len) {
            const int64_t end = std::max<int64_t>(int64_t(out.back().coord.x) + out.back().len, int64_t(r.coord.x) + r.len);
            out.back().len = int32_t(end - out.back().coord.x);
        } else {
            out.push_back(r);
        }
    }
    return out;
}

// Pixels of run r covered by the runs [from, to) of another line.
int64_t covered(const mvscanrun& r, const std::vector<mvscanrun>& v, size_t from, size_t to) {
    int64_t n = 0;
    for (size_t k = from; k < to; ++k) {
        const int64_t a = std::max(r.coord.x, v[k].coord.x);
        const int64_t b = std::min(int64_t(r.coord.x) + r.len, int64_t(v[k].coord.x) + v[k].len);
        if (b > a) n += b - a;
    }
    return n;
}

}  // namespace

extern "C" MVIP_API int32_t mvirp_regionshapef(const mvimregion* region, mvshapemeasures* shape) {
    if (!region || !shape || !image_valid(&region->image)) return MVERR_USAGE;
    RegionPtr owned;
    const mvimregion* from = nullptr;
    if (const int32_t rc = as_scan_list(region, owned, from); rc < 0) return rc;
    *shape = mvshapemeasures{};
    try {
        const std::vector<mvscanrun> r = merged(from);
        if (r.empty()) return 0;
        double area = 0, sx = 0, sy = 0;
        for (const mvscanrun& s : r) {
            area += s.len;
            sx += double(s.len) * (s.coord.x + (s.len - 1) / 2.0);
            sy += double(s.len) * s.coord.y;
        }
        const double cx = sx / area, cy = sy / area;
        // Where each line's runs start (and, last, the end).
        std::vector<size_t> at;
        for (size_t k = 0; k < r.size(); ++k)
            if (k == 0 || r[k].coord.y != r[k - 1].coord.y) at.push_back(k);
        at.push_back(r.size());
        // Central moments of the pixel centres, run by run in closed form;
        // the boundary length counts pixel edges between the region and
        // the rest: both ends of each run, and the parts of its top and
        // bottom edges that no run of the neighbouring line covers.
        double m20 = 0, m02 = 0, m11 = 0, perimeter = 0;
        for (size_t li = 0; li + 1 < at.size(); ++li) {
            const int32_t y = r[at[li]].coord.y;
            const bool above = li > 0 && r[at[li - 1]].coord.y == y - 1;
            const bool below = li + 2 < at.size() && r[at[li + 1]].coord.y == y + 1;
            for (size_t k = at[li]; k < at[li + 1]; ++k) {
                const mvscanrun& s = r[k];
                const double dx = s.coord.x + (s.len - 1) / 2.0 - cx, dy = y - cy, n = s.len;
                m20 += n * (dx * dx + (n * n - 1) / 12.0);
                m02 += n * dy * dy;
                m11 += n * dx * dy;
                const int64_t up = above ? covered(s, r, at[li - 1], at[li]) : 0;
                const int64_t down = below ? covered(s, r, at[li + 1], at[li + 2]) : 0;
                perimeter += 2.0 + double(2 * int64_t(s.len) - up - down);
            }
        }
        m20 /= area;
        m02 /= area;
        m11 /= area;
        const double mean = (m20 + m02) / 2, spread = std::sqrt((m20 - m02) * (m20 - m02) / 4 + m11 * m11);
        const double l1 = mean + spread, l2 = std::max(0.0, mean - spread);
        shape->area = area;
        shape->centrex = cx;
        shape->centrey = cy;
        shape->perimeter = perimeter;
        // y grows downwards: counter-clockwise as displayed is -atan2.
        shape->orientation = -0.5 * std::atan2(2 * m11, m20 - m02);
        shape->major = 4 * std::sqrt(l1);
        shape->minor = 4 * std::sqrt(l2);
        shape->elongation = shape->major > 0 ? 1 - shape->minor / shape->major : 0;
        shape->compactness = 4 * 3.14159265358979323846 * area / (perimeter * perimeter);
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}
