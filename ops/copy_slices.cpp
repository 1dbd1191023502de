// Copies through views: one pixie into another (mvip8_copyslice) and a
// copy presented in another colour space (mvip8_copycolorconvert).
#include "ops/copy.hpp"

#include "ops/frame.hpp"

#include <cstring>

namespace mvip::ops {
namespace {

// Moves pixie `from` into pixie `to` of every pixel of a line.
template <size_t Bytes>
void move_pixie(unsigned char* line, size_t pixels, size_t pixel_bytes, uint32_t from,
                uint32_t to) {
    unsigned char* src = line + size_t{from} * Bytes;
    unsigned char* dst = line + size_t{to} * Bytes;
    for (size_t i = 0; i < pixels; ++i)
        std::memcpy(dst + i * pixel_bytes, src + i * pixel_bytes, Bytes);
}

// Source and destination are one record.  Two colour-slice views over it
// would both set up the record's single access state, the second selection
// overriding the first, so the pixie is moved within whole pixels instead:
// each line is worked on in the image memory when it can be mapped, else
// read, changed and written back.
int32_t slice_within(mvabort* hook, mvimage* im, uint32_t from, uint32_t to) {
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = im;
    setup.destination = im;
    setup.options = kAllTypes | kColor;
    setup.mask = all_pixies_mask(im->pixfmt.pixies);
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    if (from == to) return 0;  // the pixie onto itself: nothing changes
    void (*move)(unsigned char*, size_t, size_t, uint32_t, uint32_t) = nullptr;
    switch (frame.value_bytes()) {
        case 1: move = move_pixie<1>; break;
        case 2: move = move_pixie<2>; break;
        case 4: move = move_pixie<4>; break;
        default: move = move_pixie<8>; break;
    }
    const uint32_t height = frame.height();
    const size_t pixels = frame.width();
    const size_t pixel_bytes = size_t{frame.pixies()} * frame.value_bytes();
    auto* const buffer = static_cast<unsigned char*>(frame.buffer(0));
    for (uint32_t y = 0; y < height; ++y) {
        if (const int32_t stop = frame.poll(y, height)) return stop;
        mvmapdesc src_map{}, dst_map{};
        void* p = frame.map_line(0, y, src_map);
        void* q = p ? frame.map_line(Frame::kDestination, y, dst_map) : nullptr;
        const bool mapped = p && p == q;
        if (mapped) move(static_cast<unsigned char*>(p), pixels, pixel_bytes, from, to);
        frame.unmap(Frame::kDestination, dst_map);
        frame.unmap(0, src_map);
        if (!mapped) {
            frame.read_line(0, buffer, y);
            move(buffer, pixels, pixel_bytes, from, to);
            frame.write_line(Frame::kDestination, buffer, y);
        }
    }
    return 0;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

// The indexes are checked before anything else, the hook included.  Each
// image is seen through a colour-slice view of its current window showing
// the one pixie, and the views are copied.
extern "C" MVIP_API int32_t mvip8_copyslice(mvabort* hook, mvimage* src, mvimage* dst,
                                            int32_t srcindex, int32_t dstindex) {
    if (!src || !dst || srcindex < 0 || dstindex < 0 ||
        static_cast<uint32_t>(srcindex) >= src->pixfmt.pixies ||
        static_cast<uint32_t>(dstindex) >= dst->pixfmt.pixies)
        return MVERR_USAGE;
    const auto from = static_cast<uint32_t>(srcindex);
    const auto to = static_cast<uint32_t>(dstindex);
    if (src == dst) {
        if (const auto stop = hook_at_entry(hook)) return *stop;
        return slice_within(hook, src, from, to);
    }
    mvimage src_view, dst_view;
    if (const int32_t rc = mvimage_colorslice(&src_view, src, 0, 1u << from); rc < 0) return rc;
    if (const int32_t rc = mvimage_colorslice(&dst_view, dst, 0, 1u << to); rc < 0) return rc;
    return mvip8_copy(hook, &src_view, &dst_view);
}

// A source already in the wanted colour space is copied as it is; else it
// is copied through a colour converter view of its current window.
extern "C" MVIP_API int32_t mvip8_copycolorconvert(mvabort* hook, mvimage* src, mvimage* dst,
                                                   int32_t reserved, uint32_t colorspace) {
    (void)reserved;
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || colorspace == 0) return MVERR_USAGE;
    if (colorspace == src->pixfmt.colorspace) return copy_window(hook, src, dst);
    mvimage view;
    if (const int32_t rc = mvimage_colorconverter(&view, src, colorspace, 0); rc < 0) return rc;
    return copy_window(hook, &view, dst);
}
