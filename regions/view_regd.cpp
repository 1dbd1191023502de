// The scan-list region view ("MVRPREGD"): a scan list's pixels shown at
// their places in the region's image, a fill value everywhere else.
// Writes reach the image only inside the runs.
#include "regions/view_region.hpp"

namespace mvip::regions {
namespace {

#pragma pack(push, 4)
struct RegdState {
    int64_t region;        // the region shown (read, never owned)
    uint32_t fill;         // the value shown outside the runs
    uint32_t mode;         // scan mode of the current access
    uint32_t pixel_bytes;  // bytes of one pixel (one pixie)
    // Where the previous request's line search ended: every run before
    // `hint` lies on a line above `hint_y` (valid when hint_set).
    uint32_t hint;
    int32_t hint_y;
    uint32_t hint_set;
};
#pragma pack(pop)

RegdState& st(mvimage* v) { return state_of<RegdState>(v); }
const mvimregion* region_of(mvimage* v) {
    return reinterpret_cast<const mvimregion*>(static_cast<intptr_t>(st(v).region));
}
mvimage* image_of(mvimage* v) { return const_cast<mvimage*>(&region_of(v)->image); }

uint32_t iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return std::min(count, run_length_2d(st(v).mode, wind_width(v), wind_height(v), x, y));
}

// The index of line Y's first run: the first run not above Y.  The search
// goes on from the previous one's end when Y is not above its line, which
// finds the same run as a search from the start.
uint32_t first_run(mvimage* v, const mvscanrun* s, uint32_t n, int32_t Y) {
    RegdState& state = st(v);
    uint32_t i = (state.hint_set && Y >= state.hint_y && state.hint <= n) ? state.hint : 0;
    while (i < n && s[i].coord.y < Y) ++i;
    state.hint = i;
    state.hint_y = Y;
    state.hint_set = 1;
    return i;
}

void fill_pixels(mvimage* v, unsigned char* out, uint32_t n) {
    const uint32_t value = st(v).fill;
    switch (type_of(v->pixfmt.datatype)) {
        case MVTYPE_U8: std::memset(out, static_cast<uint8_t>(value), n); break;
        case MVTYPE_U16: {
            const uint16_t w = static_cast<uint16_t>(value);
            for (uint32_t i = 0; i < n; ++i) std::memcpy(out + 2 * i, &w, 2);
            break;
        }
        case MVTYPE_FLOAT: {
            const float f = static_cast<float>(value);
            for (uint32_t i = 0; i < n; ++i) std::memcpy(out + 4 * i, &f, 4);
            break;
        }
        case MVTYPE_DOUBLE: {
            const double d = value;
            for (uint32_t i = 0; i < n; ++i) std::memcpy(out + 8 * i, &d, 8);
            break;
        }
        default:
            for (uint32_t i = 0; i < n; ++i) std::memcpy(out + 4 * i, &value, 4);
    }
}

// Moves a request line by line: stretches inside runs go to or from the
// image, the others are filled (reads) or dropped (writes).
template <bool Write>
uint32_t transfer(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x, int32_t y) {
    const uint32_t total = iolen(v, count, x, y);
    if (total == 0 || !buffer) return 0;
    const mvimregion* r = region_of(v);
    mvimage* im = image_of(v);
    const mvscanrun* s = runs(r);
    const uint32_t n = list_fits(r) && r->region.scanlist.N > 0 ? uint32_t(r->region.scanlist.N) : 0;
    const uint32_t w = wind_width(v), pixel = st(v).pixel_bytes;
    auto* buf = static_cast<unsigned char*>(buffer);
    uint32_t done = 0, cx = uint32_t(x), cy = uint32_t(y);
    while (done < total) {
        const uint32_t k = std::min(total - done, w - cx);
        // The stretch [X, X + k) of image line Y.
        const int64_t X = int64_t(cx) + v->wind.nw.x, Y = int64_t(cy) + v->wind.nw.y;
        int64_t at = X;
        const int64_t end = X + k;
        // Runs count only inside the image's window (a scan list is kept so).
        const int64_t left = std::max<int64_t>(at, im->wind.nw.x);
        const int64_t right = std::min<int64_t>(end, im->wind.se.x);
        const bool in_rows = Y >= im->wind.nw.y && Y < im->wind.se.y;
        for (uint32_t i = first_run(v, s, n, int32_t(Y)); in_rows && i < n && s[i].coord.y == Y && at < end;
             ++i) {
            const int64_t a = std::max<int64_t>({int64_t(s[i].coord.x), at, left});
            const int64_t e = std::min<int64_t>(int64_t(s[i].coord.x) + s[i].len, right);
            if (a >= e) continue;
            unsigned char* p = buf + size_t(at - X) * pixel;
            if (!Write && a > at) fill_pixels(v, p, uint32_t(a - at));
            p = buf + size_t(a - X) * pixel;
            const int32_t ix = int32_t(a - im->wind.nw.x), iy = int32_t(Y - im->wind.nw.y);
            const uint32_t len = uint32_t(e - a);
            const uint32_t parent = view::parent_flags(flags);
            if (Write) im->iorite(im, parent, p, len, ix, iy);
            else im->ioread(im, parent, p, len, ix, iy);
            at = e;
        }
        if (!Write && at < end) fill_pixels(v, buf + size_t(at - X) * pixel, uint32_t(end - at));
        buf += size_t(k) * pixel;
        done += k;
        cx += k;
        if (cx == w) cx = 0, ++cy;
    }
    return total;
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    RegdState& s = st(v);
    s.mode = mode & ~MVMODE_WRITE;
    s.hint_set = 0;
    if (type_of(type) != type_of(v->pixfmt.datatype)) return MVERR_DATATYPE;
    if (mask != 1) return MVERR_COLORS;
    mvimage* im = image_of(v);
    if (const int32_t rc = im->ioset(im, mode, type, mask); rc < 0) return rc;
    if (mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) return MVERR_UNSUPPORTED;
    s.pixel_bytes = v->pixiesize;
    v->ioread = mvrpregd_ioread;
    v->iorite = mvrpregd_iorite;
    v->iolen = mvrpregd_iolen;
    return 1;
}

uint32_t aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    mvimage* im = image_of(v);
    switch (code) {
        case 'b':
        case 'i':
        case 'm': return 0x800001u;
        case 'B':
        case 'I': return im->aeiou(im, code, arg1, arg2);
        case 'e': return arg2 ? im->aeiou(im, code, arg1, arg2) : 0;
        default: return 0;
    }
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    switch (code) {
        case 's':
            if (!view::set_own_window(v, w)) return nullptr;
            set_idle_slots(v, mvrpregd_ioset, noop::bxts, noop::imapset);
            return &v->wind;
        default: return view::window_inquiry(v, w, code);
    }
}

}  // namespace
}  // namespace mvip::regions

using namespace mvip;
using namespace mvip::regions;

extern "C" MVIP_API int32_t mvimmvirprectacc(mvimage* v, const mvimregion* region, uint32_t fill) {
    if (!v) return MVERR_USAGE;
    if (!region || region->regiontype != MVIMREGSCANLIST) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    start_region_view(v, region, region->image.pixfmt, "MVRPREGD");
    RegdState& s = st(v);
    s.region = static_cast<int64_t>(reinterpret_cast<intptr_t>(region));
    s.fill = fill;
    v->aeiou = mvrpregd_aeiou;
    v->xwind = mvrpregd_xwind;
    v->xwind(v, nullptr, 's');
    return 0;
}

extern "C" MVIP_API uint32_t mvrpregd_ioread(mvimage* v, uint32_t flags, void* buffer,
                                             uint32_t count, int32_t x, int32_t y) {
    return v ? transfer<false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvrpregd_iorite(mvimage* v, uint32_t flags, void* buffer,
                                             uint32_t count, int32_t x, int32_t y) {
    return v ? transfer<true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvrpregd_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvrpregd_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvrpregd_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvrpregd_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
