// The pixel search: the next (or previous) pixel of the window, in scan
// order from a position, that passes a test.
#include "regions/search.hpp"

#include "ops/frame.hpp"

namespace {

using namespace mvip;
using namespace mvip::regions;

int32_t search(mvabort* hook, mvimage* image, int32_t* position, uint32_t code, uint32_t value,
               bool backwards) {
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!image || !position) return MVERR_USAGE;
    ops::Frame frame;
    ops::Setup s;
    s.hook = hook;
    s.sources[0] = image;
    s.source_only = true;
    s.options = MVTYPE_U8 | MVTYPE_U16;
    if (const int32_t rc = frame.open(s); rc < 0) return rc;
    const bool wide = frame.type() == MVTYPE_U16;
    PixelTest test;
    if (!make_test(code, value, wide ? 0xFFFF : 0xFF, test)) return MVERR_USAGE;
    const mvimage* im = frame.image(0);
    const int64_t w = frame.width(), h = frame.height();
    const int32_t x0 = im->wind.nw.x, y0 = im->wind.nw.y;
    int64_t x = int64_t(position[0]) - x0, y = int64_t(position[1]) - y0;
    // Positions off the window start at its first (last) pixel or the next
    // (previous) line.
    if (!backwards) {
        if (y < 0) x = 0, y = 0;
        if (x < 0) x = 0;
        if (x >= w) x = 0, ++y;
    } else {
        if (y >= h) x = w - 1, y = h - 1;
        if (x >= w) x = w - 1;
        if (x < 0) x = w - 1, --y;
    }
    while (w > 0 && y >= 0 && y < h) {
        if (x == (backwards ? w - 1 : 0)) {
            const uint32_t done = uint32_t(backwards ? h - 1 - y : y);
            if (const int32_t stop = frame.poll(done, uint32_t(h))) return stop;
        }
        mvmapdesc desc{};
        const void* line = frame.map_line(0, uint32_t(y), desc);
        if (!line) {
            frame.read_line(0, frame.buffer(0), uint32_t(y));
            line = frame.buffer(0);
        }
        size_t at;
        if (!backwards) {
            const size_t n = size_t(w - x);
            at = wide ? find_u16(static_cast<const uint16_t*>(line) + x, n, test)
                      : find_u8(static_cast<const uint8_t*>(line) + x, n, test);
            at = at < n ? size_t(x) + at : size_t(w);
        } else {
            const size_t n = size_t(x + 1);
            at = wide ? rfind_u16(static_cast<const uint16_t*>(line), n, test)
                      : rfind_u8(static_cast<const uint8_t*>(line), n, test);
            if (at == n) at = size_t(w);
        }
        frame.unmap(0, desc);
        if (at < size_t(w)) {
            position[0] = int32_t(x0 + int64_t(at));
            position[1] = int32_t(y0 + y);
            return 1;
        }
        if (!backwards) x = 0, ++y;
        else x = w - 1, --y;
    }
    // Not found: the position just past the end the search went towards.
    position[0] = int32_t(backwards ? x0 + w - 1 : x0);
    position[1] = int32_t(backwards ? y0 - 1 : y0 + h);
    return 0;
}

}  // namespace

extern "C" MVIP_API int32_t mvip8_findpixel(mvabort* hook, mvimage* image, int32_t* position,
                                            uint32_t test, uint32_t value) {
    return search(hook, image, position, test, value, false);
}

extern "C" MVIP_API int32_t mvip8_findpixelback(mvabort* hook, mvimage* image, int32_t* position,
                                                uint32_t test, uint32_t value) {
    return search(hook, image, position, test, value, true);
}

extern "C" MVIP_API int32_t mvip8_findpixelnot(mvabort* hook, mvimage* image, int32_t* position,
                                               uint32_t test, uint32_t value) {
    return search(hook, image, position, test ^ kTestInvert, value, false);
}
