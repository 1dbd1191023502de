// One connected region from a seed: the grower (a scan list), the boundary
// follower (a path) and the painter of any region.
#include "regions/grow.hpp"

#include "regions/path.hpp"
#include "regions/scanlist.hpp"

#include <algorithm>
#include <new>

namespace {

using namespace mvip;
using namespace mvip::regions;

constexpr uint32_t kGrowerMode = 101;

bool mode_valid(uint32_t mode) { return (mode & ~0x300u) == kGrowerMode; }

// Opens the workspace and checks the seed; the seed relative to the window
// in (x, y).  0 or a negative result code.
int32_t open_at(Workspace& ws, mvimage* image, uint32_t test, uint32_t value, int32_t& x, int32_t& y) {
    if (const int32_t rc = ws.open(nullptr, image, test, value); rc < 0) return rc;
    const mvywindow& w = ws.image().wind;
    if (x < w.nw.x || y < w.nw.y || x >= w.se.x || y >= w.se.y) return MVERR_USAGE;
    x -= w.nw.x;
    y -= w.nw.y;
    return 0;
}

// Follows the outer boundary of the set region round (x, y) of the plane,
// starting at its first pixel in scan order, with the object on the left;
// the steps as chain codes.
void follow(Plane& plane, int32_t x, int32_t y, Connect c, mvpoint& start, std::vector<uint8_t>& codes) {
    Blob blob;
    grow(plane, x, y, c == Connect::four ? Connect::four : Connect::eight, blob);
    mvpoint s{INT32_MAX, INT32_MAX};
    for (const mvscanrun& r : blob.runs) {
        line::fill_bits<true>(plane.row(r.coord.y), r.coord.x, r.coord.x + r.len);  // put back
        if (r.coord.y < s.y || (r.coord.y == s.y && r.coord.x < s.x)) s = r.coord;
    }
    start = s;
    codes.clear();
    const bool eight = c != Connect::four;
    auto set = [&](mvpoint p, int d) { return line::bit(plane.row(p.y + kStepY[d]), p.x + kStepX[d]); };
    // The next step from p after arriving by `dir`: the neighbours in turn,
    // counter-clockwise as displayed, from the one right of the way in.
    auto next = [&](mvpoint p, int dir) {
        const int from = eight ? (dir + (dir % 2 ? 6 : 7)) % 8 : (dir + 6) % 8;
        for (int k = 0; k < 8; k += eight ? 1 : 2)
            if (set(p, (from + k) % 8)) return (from + k) % 8;
        return -1;
    };
    mvpoint p = s;
    const int first = next(p, eight ? 7 : 0);
    if (first < 0) return;  // a single pixel
    int dir = first;
    for (;;) {
        codes.push_back(uint8_t(dir));
        p.x += kStepX[dir];
        p.y += kStepY[dir];
        dir = next(p, dir);
        if (p.x == s.x && p.y == s.y && dir == first) break;
    }
}

}  // namespace

extern "C" MVIP_API int32_t mvirp8_connectregionv(mvabort* hook, mvimage* image, int32_t x, int32_t y,
                                                  uint32_t* area, uint32_t test, uint32_t value,
                                                  mvimregion** region, uint32_t mode) {
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!image || !area || !region || *region || !mode_valid(mode)) return MVERR_USAGE;
    try {
        mvimregion like{};
        like.image = *image;
        like.origin = {x, y};
        Workspace ws;
        if (const int32_t rc = open_at(ws, image, test, value, x, y); rc < 0) return rc;
        Blob blob;
        blob.clear();
        if (line::bit(ws.plane().row(y), x)) grow(ws.plane(), x, y, connect_of(mode), blob);
        sort_runs(blob.runs);
        const mvywindow& w = ws.image().wind;
        for (mvscanrun& r : blob.runs) r.coord = {r.coord.x + w.nw.x, r.coord.y + w.nw.y};
        mvimregion* out = make_scanlist(&like, blob.runs);
        if (!out) return MVERR_MEMORY;
        *area = blob.area > UINT32_MAX ? UINT32_MAX : uint32_t(blob.area);
        *region = out;
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}

extern "C" MVIP_API int32_t mvirp8_connectregion(mvabort* hook, mvimage* image, int32_t x, int32_t y,
                                                 uint32_t* area, uint32_t reserved, uint32_t value,
                                                 mvimregion** region, uint32_t mode) {
    (void)reserved;
    return mvirp8_connectregionv(hook, image, x, y, area, kTestEqual, value, region, mode);
}

extern "C" MVIP_API int32_t mvirp8_followregionv(mvabort* hook, mvimage* image, int32_t x, int32_t y,
                                                 uint32_t* steps, uint32_t test, uint32_t value,
                                                 mvimregion** path, uint32_t mode) {
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!image || !path || *path || !mode_valid(mode)) return MVERR_USAGE;
    try {
        const mvimage copy = *image;
        Workspace ws;
        if (const int32_t rc = open_at(ws, image, test, value, x, y); rc < 0) return rc;
        const mvywindow& w = ws.image().wind;
        mvpoint start{x, y};
        std::vector<uint8_t> codes;
        if (line::bit(ws.plane().row(y), x)) follow(ws.plane(), x, y, connect_of(mode), start, codes);
        if (codes.size() > size_t(INT32_MAX)) return MVERR_MEMORY;
        mvimregion* out = alloc_region(MVIMREGION_PATHLIST_AT + (codes.size() + 1) / 2);
        if (!out) return MVERR_MEMORY;
        out->image = copy;
        out->regiontype = MVIMREGPATH;
        out->origin = {start.x + w.nw.x, start.y + w.nw.y};
        out->region.path.N = int32_t(codes.size());
        out->region.path.lastpt = out->origin;
        unsigned char* bytes = pathbytes(out);
        for (size_t k = 0; k < codes.size(); ++k) bytes[k / 2] |= uint8_t(k & 1 ? codes[k] << 4 : codes[k]);
        if (steps) *steps = uint32_t(codes.size());
        *path = out;
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}

extern "C" MVIP_API int32_t mvirp8_paintregion(mvabort* hook, mvimregion* region, uint32_t value) {
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!region || !image_valid(&region->image)) return MVERR_USAGE;
    RegionPtr owned;
    const mvimregion* from = nullptr;
    if (const int32_t rc = as_scan_list(region, owned, from); rc < 0) return rc;
    ops::Frame frame;
    ops::Setup s;
    s.sources[0] = &region->image;
    s.destination = &region->image;
    s.options = MVTYPE_U8 | MVTYPE_U16;
    if (const int32_t rc = frame.open(s); rc < 0) return rc;
    mvimage* im = frame.image(ops::Frame::kDestination);
    const bool wide = frame.type() == MVTYPE_U16;
    const uint32_t w = frame.width();
    std::unique_ptr<unsigned char[]> fill(new (std::nothrow) unsigned char[size_t{w} * 2 + 2]);
    if (!fill) return MVERR_MEMORY;
    if (wide) std::fill_n(reinterpret_cast<uint16_t*>(fill.get()), w, uint16_t(value));
    else std::memset(fill.get(), int(value & 0xFF), w);
    const mvywindow& wind = im->wind;
    mvywindow clip = wind;
    std::vector<mvscanrun> runs;
    try {
        clip_runs(regions::runs(from), from->region.scanlist.N, clip, runs);
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
    for (const mvscanrun& r : runs)
        im->iorite(im, 0, fill.get(), uint32_t(r.len), r.coord.x - wind.nw.x, r.coord.y - wind.nw.y);
    return 0;
}
