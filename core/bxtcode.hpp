// The operation codes of scattered transfers (bxta), shared by every kind
// that applies them to its stored values: 0 exchange, 1 add, 2 read,
// 3 write, 4 XOR (multiply for floating types), 5 subtract; others do
// nothing.  Integer arithmetic wraps.
#pragma once
#include <cstdint>
#include <limits>
#include <type_traits>

namespace mvip::bxt {

// An operation whose low byte is negative asks bxta to prepare the entries
// (bxtp) first.
inline bool prepares(int32_t operation) { return static_cast<int8_t>(operation & 0xFF) < 0; }

// The 64-bit position bxtp stores for an entry outside the window; bxta
// skips such entries.
constexpr int64_t kOutside = std::numeric_limits<int64_t>::min();

// Applies `code` between the stored value p and the buffer value b; the
// result is the new buffer value.
template <class T>
inline T apply(int32_t code, T& p, T b) {
    switch (code) {
        case 0: { T old = p; p = b; return old; }
        case 1: p = static_cast<T>(p + b); break;
        case 2: return p;
        case 3: p = b; break;
        case 4:
            if constexpr (std::is_floating_point_v<T>) p = p * b;
            else p = static_cast<T>(p ^ b);
            break;
        case 5: p = static_cast<T>(p - b); break;
        default: break;
    }
    return b;
}

}  // namespace mvip::bxt
