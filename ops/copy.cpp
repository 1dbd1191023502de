// Whole-window copies: mvip8_copy.  No kernel
// touches the values; a line is one memory copy, and nothing moves at all
// when the destination maps the very memory of the source.
#include "ops/copy.hpp"

#include "ops/bounded.hpp"

#include <cstring>

namespace mvip::ops {

namespace {

// Access flag of the copy's write-back of a buffered line.
constexpr uint32_t kCopyWriteFlag = 0x1000;

// Copies only the runs: each side is its mapped stretch where the image
// grants one, else the working buffer.
int32_t copy_runs(Frame& frame) {
    void* const buffer = frame.buffer(0);
    const size_t pixel = frame.pixies() * size_t{frame.value_bytes()};
    return frame.each_stretch([&](uint32_t x, uint32_t y, uint32_t n) {
        mvmapdesc src_map{}, dst_map{};
        void* from = frame.map_stretch(0, x, y, n, src_map);
        if (!from) {
            frame.read_stretch(0, buffer, x, y, n);
            from = buffer;
        }
        void* to = frame.map_stretch(Frame::kDestination, x, y, n, dst_map);
        if (!to) to = buffer;
        if (from != to) std::memmove(to, from, n * pixel);
        frame.unmap(0, src_map);
        if (to == buffer) frame.write_stretch(Frame::kDestination, buffer, x, y, n, kCopyWriteFlag);
        frame.unmap(Frame::kDestination, dst_map);
    });
}

// Copies `rows` lines from line y as one run when both images map them as
// one block that does not overlap the other (or is the very same memory,
// when nothing moves).  False: nothing done, the caller goes line by line.
bool copy_block(const Frame& frame, uint32_t y, uint32_t rows) {
    mvmapdesc src_map{}, dst_map{};
    const size_t bytes = frame.line_values() * rows * frame.value_bytes();
    const auto* from = static_cast<const unsigned char*>(frame.map_block(0, y, rows, src_map));
    auto* to = from ? static_cast<unsigned char*>(frame.map_block(Frame::kDestination, y, rows, dst_map))
                    : nullptr;
    const auto a = reinterpret_cast<uintptr_t>(from), b = reinterpret_cast<uintptr_t>(to);
    const bool ok = to && (a == b || b + bytes <= a || a + bytes <= b);
    if (ok && to != from) std::memcpy(to, from, bytes);
    frame.unmap(Frame::kDestination, dst_map);
    frame.unmap(0, src_map);
    return ok;
}

}  // namespace

int32_t bounded::copy(mvabort* hook, mvimage* src, mvimage* dst, R runs) {
    if (!src || !dst) return MVERR_USAGE;
    Frame frame;
    if (const int32_t rc =
            frame.open(window_copy_setup(hook, src, dst, all_pixies_mask(src->pixfmt.pixies), runs));
        rc < 0)
        return rc;
    if (runs) return copy_runs(frame);
    const uint32_t height = frame.height();
    const size_t bytes = frame.line_values() * frame.value_bytes();
    void* const buffer = frame.buffer(0);
    bool blocks = true;
    for (uint32_t y = 0; y < height; ++y) {
        if (const int32_t stop = frame.poll(y, height)) return stop;
        if (blocks && y % 8 == 0) {
            const uint32_t rows = frame.block_rows(y);
            if (copy_block(frame, y, rows)) {
                y += rows - 1;
                continue;
            }
            blocks = false;
        }
        // Each side is its mapped line when the image grants one covering
        // the width, else the working buffer.
        mvmapdesc src_map{}, dst_map{};
        void* from = frame.map_line(0, y, src_map);
        if (!from) {
            frame.read_line(0, buffer, y);
            from = buffer;
        }
        void* to = frame.map_line(Frame::kDestination, y, dst_map);
        if (!to) to = buffer;
        // Equal pointers: the destination is the source's own memory (or
        // both sides are the buffer).  memmove because two windows of one
        // image may overlap within a line.
        if (from != to) std::memmove(to, from, bytes);
        frame.unmap(0, src_map);
        if (to == buffer) frame.write_line(Frame::kDestination, buffer, y, kCopyWriteFlag);
        frame.unmap(Frame::kDestination, dst_map);
    }
    return 0;
}

Setup window_copy_setup(mvabort* hook, mvimage* src, mvimage* dst, uint32_t mask, const RunList* runs) {
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.destination = dst;
    setup.options = kAllTypes | kColor;
    setup.mask = mask;
    setup.runs = runs;
    return setup;
}

int32_t copy_window(mvabort* hook, mvimage* src, mvimage* dst) {
    return bounded::copy(hook, src, dst, nullptr);
}

}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_copy(mvabort* hook, mvimage* src, mvimage* dst) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    return copy_window(hook, src, dst);
}
