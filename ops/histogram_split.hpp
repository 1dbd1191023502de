// Counting 8-bit values into histograms with split counters.
//
// One counter array makes each increment wait for the previous one
// whenever neighbouring values fall into the same bin (a store followed by
// a load of the same address): flat areas count at the latency of that
// round trip instead of the processor's throughput.  Four arrays, one per
// value position modulo four, take turns, and are added together at the
// end.  The counts are the same as a single array gives (modulo 2^32, as
// the single array wraps too).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mvip::ops {

// Most cells a split count handles: three histograms of 256 bins.
constexpr uint32_t kSplitCells = 768;
// Fewer values than this go straight into the histogram: clearing and
// adding the four arrays would cost more than it saves.
constexpr size_t kSplitMinimum = 4096;

// Adds `n` values (groups of Per values, one histogram each, `bins` bins
// apart) to `hist`: value v of position j counts into cell j * bins +
// bin[v], or into cell v itself when `bin` is null (Per 1: each value its
// own bin).  Per is 1 or 3, Per * bins <= kSplitCells.
template <uint32_t Per>
void count_split_u8(const uint8_t* v, size_t n, uint32_t bins, const uint16_t* bin, uint32_t* hist) {
    static_assert(Per == 1 || Per == 3);
    const uint32_t cells = Per * bins;
    alignas(64) uint32_t split[4][kSplitCells];
    for (auto& s : split) std::memset(s, 0, cells * sizeof(uint32_t));
    uint16_t cell[Per * 256];  // position j's cells, by value
    for (uint32_t j = 0; j < Per; ++j)
        for (uint32_t x = 0; x < 256; ++x) cell[j * 256 + x] = uint16_t(j * bins + (bin ? bin[x] : x));
    size_t i = 0;
    if constexpr (Per == 1) {
        // Eight values per load, each array taking two of them.
        auto count8 = [&](auto at) {
            for (; i + 8 <= n; i += 8) {
                uint64_t w;
                std::memcpy(&w, v + i, 8);
                for (uint32_t k = 0; k < 8; ++k) ++split[k % 4][at(uint32_t(w >> (8 * k)) & 0xFF)];
            }
        };
        if (bin) count8([&](uint32_t x) { return cell[x]; });
        else count8([](uint32_t x) { return x; });
    } else {
        // Four pixels of three values per step (two loads), one array per
        // pixel.
        for (; i + 12 <= n; i += 12) {
            uint64_t lo;
            uint32_t hi;
            std::memcpy(&lo, v + i, 8);
            std::memcpy(&hi, v + i + 8, 4);
            for (uint32_t k = 0; k < 12; ++k) {
                const uint32_t x = k < 8 ? uint32_t(lo >> (8 * k)) & 0xFF : (hi >> (8 * (k - 8))) & 0xFF;
                ++split[k / 3][cell[(k % 3) * 256 + x]];
            }
        }
    }
    for (uint32_t j = 0; i < n; ++i, j = j + 1 == Per ? 0 : j + 1) ++split[0][cell[j * 256 + v[i]]];
    for (uint32_t c = 0; c < cells; ++c) hist[c] += split[0][c] + split[1][c] + split[2][c] + split[3][c];
}

}  // namespace mvip::ops
