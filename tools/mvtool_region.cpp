// mvtool region - inspect a region text file: its type, origin, bounds,
// area and runs (info), or its scan list, one run a line (scan).
//
// A region file carries no image, so the region is laid over a shapeless
// image whose window clips it: --window X0,Y0,X1,Y1 (exclusive corner), by
// default the region's own bounds (the whole shape).

#include "mvtool.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace mvtool {

namespace {

struct Region {
    mvimregion* p = nullptr;
    ~Region() { mvirp_regionfree(&p); }
};

bool parse_window(const std::string& s, mvywindow& w) {
    long v[4];
    const char* c = s.c_str();
    for (int i = 0; i < 4; ++i) {
        char* end = nullptr;
        v[i] = std::strtol(c, &end, 10);
        if (end == c || (i < 3 ? *end != ',' : *end != '\0')) return false;
        c = end + 1;
    }
    if (v[0] < 0 || v[1] < 0 || v[2] < v[0] || v[3] < v[1] || v[2] > 0x7fffffff || v[3] > 0x7fffffff)
        return false;
    w = {{int32_t(v[0]), int32_t(v[1])}, {int32_t(v[2]), int32_t(v[3])}};
    return true;
}

// Lays the region over a shapeless image of the given window (null: the
// region's own bounds).  False when the region has no pixels to show.
bool place(mvimregion* r, const mvywindow* want) {
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, MVTYPE_U8, 8, 1, MVCS_GREY);
    mvywindow w{};
    if (want) {
        w = *want;
    } else {
        // Bounds need an image: a provisional one of the largest size.
        const uint32_t big[2] = {0x7fffffffu, 0x7fffffffu};
        mvimage_defnop(&r->image, big, &fmt, nullptr);
        if (mvirp_regionbounds(r, &w, 0x100) != 1) return false;
        if (w.nw.x < 0) w.nw.x = 0;
        if (w.nw.y < 0) w.nw.y = 0;
        if (w.se.x < w.nw.x) w.se.x = w.nw.x;
        if (w.se.y < w.nw.y) w.se.y = w.nw.y;
    }
    const uint32_t dims[2] = {uint32_t(w.se.x > 0 ? w.se.x : 1), uint32_t(w.se.y > 0 ? w.se.y : 1)};
    mvimage_defnop(&r->image, dims, &fmt, nullptr);
    return mvimage_setwind(&r->image, w.nw.x, w.nw.y, w.se.x, w.se.y) == 0;
}

}  // namespace

int cmd_region(const std::vector<std::string>& args) {
    if (args.size() < 2 || (args[0] != "info" && args[0] != "scan"))
        throw UsageError("region: expected 'info FILE' or 'scan FILE' [--window X0,Y0,X1,Y1]");
    mvywindow window{};
    bool have_window = false;
    for (size_t i = 2; i < args.size(); ++i) {
        if (args[i] == "--window" && i + 1 < args.size() && parse_window(args[i + 1], window)) {
            have_window = true;
            ++i;
        } else {
            throw UsageError("region: bad argument '" + args[i] + "'");
        }
    }
    const std::string& file = args[1];
    Region r;
    check(mvirp_regionimport(progress("reading " + file), &r.p, file.c_str(), nullptr), file);
    progress_done();
    const char* name = mvirp_regionname(r.p->regiontype);
    const bool placed = place(r.p, have_window ? &window : nullptr);
    Region list;
    const uint32_t shape = r.p->regiontype & ~uint32_t(MVIMREGNEGATIVE);
    if (placed && r.p->regiontype != MVIMREGSCANLIST && shape != MVIMREGPOLYLINE)
        check(mvirp_xlatetoscanlist(progress("converting"), r.p, &list.p, 0), file);
    progress_done();
    const mvimregion* runs = list.p ? list.p : (placed && r.p->regiontype == MVIMREGSCANLIST ? r.p : nullptr);
    const int32_t n = runs ? runs->region.scanlist.N : 0;
    const mvscanrun* run = runs ? runs->region.scanlist.scanlists : nullptr;
    if (args[0] == "scan") {
        for (int32_t i = 0; i < n; ++i)
            if (run[i].len > 0) std::printf("%d %d %d\n", run[i].coord.x, run[i].coord.y, run[i].len);
        return kExitOk;
    }
    uint64_t area = 0;
    for (int32_t i = 0; i < n; ++i) area += uint32_t(run[i].len);
    std::printf("type:    %s%s\n", name ? name : "?",
                (r.p->regiontype & MVIMREGNEGATIVE) ? " | MVIMREGNEGATIVE" : "");
    std::printf("origin:  %d, %d\n", r.p->origin.x, r.p->origin.y);
    mvywindow b{};
    if (placed && mvirp_regionbounds(r.p, &b, 0x100) == 1)
        std::printf("bounds:  %d, %d to %d, %d (exclusive)\n", b.nw.x, b.nw.y, b.se.x, b.se.y);
    else
        std::printf("bounds:  none (empty)\n");
    if (placed)
        std::printf("window:  %d, %d to %d, %d\n", r.p->image.wind.nw.x, r.p->image.wind.nw.y,
                    r.p->image.wind.se.x, r.p->image.wind.se.y);
    std::printf("area:    %llu pixels\n", static_cast<unsigned long long>(area));
    std::printf("runs:    %d\n", n);
    return kExitOk;
}

}  // namespace mvtool
