// The path view ("MVRPREGE"): a read-only 8-bit mask of a path region.  A
// pixel off the path reads 0; a pixel on it reads 0x80 or-ed with the
// number of times the path passes it (modulo 128).
#include "regions/outline.hpp"
#include "regions/view_region.hpp"

namespace mvip::regions {
namespace {

#pragma pack(push, 4)
struct RegeState {
    int64_t region;   // the path shown (read, never owned)
    uint32_t option;  // handed to the outline walker
    uint32_t mode;    // scan mode of the current access
};
#pragma pack(pop)

RegeState& st(mvimage* v) { return state_of<RegeState>(v); }
const mvimregion* region_of(mvimage* v) {
    return reinterpret_cast<const mvimregion*>(static_cast<intptr_t>(st(v).region));
}

uint32_t iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return std::min(count, run_length_2d(st(v).mode, wind_width(v), wind_height(v), x, y));
}

// Serves a request line by line: each line's stretch is zeroed, then the
// whole path is walked and marks the points that fall on it.
uint32_t read(mvimage* v, void* buffer, uint32_t count, int32_t x, int32_t y) {
    const uint32_t total = iolen(v, count, x, y);
    if (total == 0 || !buffer) return 0;
    const mvimregion* r = region_of(v);
    const uint32_t w = wind_width(v);
    auto* buf = static_cast<uint8_t*>(buffer);
    uint32_t done = 0, cx = uint32_t(x), cy = uint32_t(y);
    while (done < total) {
        const uint32_t k = std::min(total - done, w - cx);
        uint8_t* line = buf + done;
        std::memset(line, 0, k);
        const int64_t X = int64_t(cx) + v->wind.nw.x, Y = int64_t(cy) + v->wind.nw.y;
        auto mark = [&](int32_t px, int32_t py, int) {
            if (py != Y || px == kNoPoint || px < X || px >= X + k) return;
            uint8_t& b = line[px - X];
            b = uint8_t(0x80 | ((b + 1) & 0x7F));
        };
        walk_outline(r, st(v).option != 0, mark);
        done += k;
        cx += k;
        if (cx == w) cx = 0, ++cy;
    }
    return total;
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iolen = noop::iolen;
    st(v).mode = mode & ~MVMODE_WRITE;
    if (type_of(type) != type_of(v->pixfmt.datatype)) return MVERR_DATATYPE;
    if (mask != 1) return MVERR_COLORS;
    if (type_of(type) != MVTYPE_U8) return MVERR_DATATYPE;
    if (mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) return MVERR_UNSUPPORTED;
    v->ioread = mvrprege_ioread;
    v->iolen = mvrprege_iolen;
    return 1;
}

uint32_t aeiou(mvimage* v, uint32_t code) {
    switch (code) {
        case 'b':
        case 'i':
        case 'm': return 0x800001u;
        case 'B': return 357913941u;
        case 'I': return 0xFFFFFFFFu / (v->pixelsize ? v->pixelsize : 1u);
        default: return 0;
    }
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    switch (code) {
        case 's':
            if (!view::set_own_window(v, w)) return nullptr;
            set_idle_slots(v, mvrprege_ioset, noop::bxts, noop::imapset);
            return &v->wind;
        default: return view::window_inquiry(v, w, code);
    }
}

}  // namespace
}  // namespace mvip::regions

using namespace mvip;
using namespace mvip::regions;

extern "C" MVIP_API int32_t mvimmvirprectacc2(mvimage* v, const mvimregion* region,
                                              uint32_t option) {
    if (!v) return MVERR_USAGE;
    if (!region || region->regiontype != MVIMREGPATH) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    mvpixfmt grey{};
    mvpixfmt_set(&grey, MVTYPE_U8, 8, 1, MVCS_GREY);
    start_region_view(v, region, grey, "MVRPREGE");
    RegeState& s = st(v);
    s.region = static_cast<int64_t>(reinterpret_cast<intptr_t>(region));
    s.option = option;
    v->aeiou = mvrprege_aeiou;
    v->xwind = mvrprege_xwind;
    v->xwind(v, nullptr, 's');
    return 0;
}

extern "C" MVIP_API uint32_t mvrprege_ioread(mvimage* v, uint32_t, void* buffer, uint32_t count,
                                             int32_t x, int32_t y) {
    return v ? read(v, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvrprege_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvrprege_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvrprege_aeiou(mvimage* v, uint32_t code, intptr_t, intptr_t) {
    return v ? aeiou(v, code) : 0;
}
extern "C" MVIP_API mvywindow* mvrprege_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
