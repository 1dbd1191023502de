// mvip8_copyexchange: the windows of two images trade their contents.
//
// Where both images hand out their memory (whole windows as one block, or
// line by line) and the two stretches are apart, the values are swapped
// in place with vector loads and stores; where they are the very same
// memory nothing changes.  Otherwise (converters, stretches that overlap
// partly) both lines are read into buffers before either is written, so
// the exchange is exact also when the images share memory.
#include "ops/copy.hpp"

#include <cstring>
#include <utility>

namespace mvip::ops {
namespace {

// Swaps n bytes of a and b (apart).  The same loop at each level: the
// compiler turns it into 16-, 32- or 64-byte loads and stores.
[[gnu::always_inline]] inline void swap_loop(unsigned char* a, unsigned char* b, size_t n) {
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t x, y;
        std::memcpy(&x, a + i, 8);
        std::memcpy(&y, b + i, 8);
        std::memcpy(a + i, &y, 8);
        std::memcpy(b + i, &x, 8);
    }
    for (; i < n; ++i) std::swap(a[i], b[i]);
}
void swap_plain(unsigned char* a, unsigned char* b, size_t n) { swap_loop(a, b, n); }
__attribute__((target("avx2"))) void swap_avx2(unsigned char* a, unsigned char* b, size_t n) {
    swap_loop(a, b, n);
}
__attribute__((target("avx512f,avx512bw,avx512vl,avx2"))) void swap_avx512(unsigned char* a, unsigned char* b,
                                                                           size_t n) {
    swap_loop(a, b, n);
}
using Swap = void (*)(unsigned char*, unsigned char*, size_t);
constexpr Swap kSwaps[] = {swap_plain, swap_avx2, swap_avx512};

// Swaps the stretches at a and b when they are apart; nothing when they
// are the same memory.  False when they overlap partly.
bool swap_apart(Swap swap, void* a, void* b, size_t bytes) {
    auto* p = static_cast<unsigned char*>(a);
    auto* q = static_cast<unsigned char*>(b);
    if (p == q) return true;
    if (p < q + bytes && q < p + bytes) return false;
    swap(p, q, bytes);
    return true;
}

// Exchanges `rows` lines from line y when each image maps them as one
// block.  Each image is mapped through the frame that writes it.
bool exchange_block(Swap swap, const Frame& to_second, const Frame& to_first, uint32_t y, uint32_t rows,
                    size_t bytes) {
    constexpr int d = Frame::kDestination;
    mvmapdesc first_map{}, second_map{};
    void* first = to_first.map_block(d, y, rows, first_map);
    void* second = first ? to_second.map_block(d, y, rows, second_map) : nullptr;
    const bool ok = second && swap_apart(swap, first, second, bytes);
    to_second.unmap(d, second_map);
    to_first.unmap(d, first_map);
    return ok;
}

// The same for line y mapped line by line.
bool exchange_line(Swap swap, const Frame& to_second, const Frame& to_first, uint32_t y, size_t bytes) {
    constexpr int d = Frame::kDestination;
    mvmapdesc first_map{}, second_map{};
    void* first = to_first.map_line(d, y, first_map);
    void* second = first ? to_second.map_line(d, y, second_map) : nullptr;
    const bool ok = second && swap_apart(swap, first, second, bytes);
    to_second.unmap(d, second_map);
    to_first.unmap(d, first_map);
    return ok;
}

}  // namespace
}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

// Two frames, one each way, so that each image is opened for reading and
// for writing.
extern "C" MVIP_API int32_t mvip8_copyexchange(mvabort* hook, mvimage* first, mvimage* second) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!first || !second) return MVERR_USAGE;
    const uint32_t mask = all_pixies_mask(first->pixfmt.pixies);
    Frame to_second, to_first;
    if (const int32_t rc = to_second.open(window_copy_setup(hook, first, second, mask)); rc < 0) return rc;
    if (const int32_t rc = to_first.open(window_copy_setup(hook, second, first, mask)); rc < 0) return rc;
    const Swap swap = kSwaps[static_cast<int>(cpu_level())];
    const uint32_t height = to_second.height();
    const size_t line_bytes = to_second.line_values() * to_second.value_bytes();
    void* const one = to_second.buffer(0);
    void* const two = to_first.buffer(0);
    bool blocks = true, lines = true;
    for (uint32_t y = 0; y < height; ++y) {
        if (const int32_t stop = to_second.poll(y, height)) return stop;
        if (blocks && y % 8 == 0) {
            const uint32_t rows = to_second.block_rows(y);
            if (exchange_block(swap, to_second, to_first, y, rows, line_bytes * rows)) {
                y += rows - 1;
                continue;
            }
            blocks = false;
        }
        if (lines && exchange_line(swap, to_second, to_first, y, line_bytes)) continue;
        lines = false;
        to_second.read_line(0, one, y);
        to_first.read_line(0, two, y);
        to_second.write_line(Frame::kDestination, one, y);
        to_first.write_line(Frame::kDestination, two, y);
    }
    return 0;
}
