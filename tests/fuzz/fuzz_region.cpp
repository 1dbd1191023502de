// libFuzzer target for the region text reader: the input is written to a
// file and read as a region.  A region that reads is written back and read
// again (the two must agree), and, when its numbers are small enough to
// keep the work bounded, converted to a scan list and a path, measured and
// checked against its own bounds.
#include "mvip.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::string scratch_path(const char* tag) {
    const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(dir) + "/mvip-fuzz-region-" + tag + "-" + std::to_string(getpid());
}

// Every number of the shape small: the outline stays short.
bool small(const mvimregion* r) {
    const uint32_t shape = r->regiontype & 0xff;
    if (std::abs(int64_t(r->origin.x)) > 3000 || std::abs(int64_t(r->origin.y)) > 3000) return false;
    const int32_t n = r->region.polygon.N;
    const unsigned char* base = reinterpret_cast<const unsigned char*>(r);
    switch (shape) {
    case MVIMREGPOLYGON: case MVIMREGPOLYGONX: case MVIMREGPOLYLINE:
        if (n > 2000) return false;
        for (int32_t i = 0; i < 2 * n; ++i) {
            int32_t v;
            std::memcpy(&v, base + MVIMREGION_POLYGON_AT + 4 * size_t(i), 4);
            if (std::abs(int64_t(v)) > 3000) return false;
        }
        return true;
    case MVIMREGSCANLIST: case MVIMREGSCANLISTB: case MVIMREGPATH:
        return n <= 20000;
    default:
        for (int k = 0; k < 10; ++k) {
            int32_t v;
            float f;
            std::memcpy(&v, base + 472 + 4 * k, 4);
            std::memcpy(&f, base + 472 + 4 * k, 4);
            const bool is_float_shape = shape >= 13;
            if (is_float_shape ? !(std::fabs(f) <= 3000) : std::abs(int64_t(v)) > 3000) {
                // Angles of integer shapes are floats: any value is fine there.
                if (!is_float_shape && (k == 2 || k == 5 || k == 6 || k == 7)) continue;
                return false;
            }
        }
        return true;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string in_path = scratch_path("in"), out_path = scratch_path("out");
    FILE* f = std::fopen(in_path.c_str(), "wb");
    if (f == nullptr) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    mvimregion* r = nullptr;
    if (mvirp_regionimport(nullptr, &r, in_path.c_str(), nullptr) != 0) return 0;
    mvimregion* again = nullptr;
    if (mvirp_regionexport(nullptr, r, out_path.c_str(), nullptr) == 0 &&
        mvirp_regionimport(nullptr, &again, out_path.c_str(), nullptr) == 0) {
        if (again->regiontype != r->regiontype || again->origin.x != r->origin.x) std::abort();
    }
    mvirp_regionfree(&again);

    if (small(r)) {
        static std::vector<uint8_t> pixels(64 * 48);
        const uint32_t dims[2] = {64, 48};
        mvimage_memory(&r->image, pixels.data(), dims, 64, MVTYPE_U8, 0, 1, MVCS_GREY, 0);
        mvimage_setwind(&r->image, 3, 2, 61, 47);
        mvimregion *list = nullptr, *path = nullptr;
        if (mvirp_xlatetoscanlist(nullptr, r, &list, size & 1) == 0) {
            uint32_t area = 0;
            if (mvirp_regionarea(r, &area) != 0) std::abort();
            uint64_t sum = 0;
            const mvscanrun* run = list->region.scanlist.scanlists;  // runs past the declared size
            for (int32_t i = 0; i < list->region.scanlist.N; ++i) sum += uint32_t(run[i].len);
            if (!(size & 1) && sum != area) std::abort();
        }
        mvywindow box;
        mvirp_regionbounds(r, &box, 0x100 | 'w');
        mvirp_xlatetopath(nullptr, r, &path);
        mvirp_regionfree(&list);
        mvirp_regionfree(&path);
    }
    mvirp_regionfree(&r);
    return 0;
}
