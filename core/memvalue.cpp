// Instantiations of the memory-image value routines.
#include "core/memvalue.hpp"


namespace mvip::mem {
namespace {

template <class T>
inline T load(const unsigned char* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class T>
inline void store(unsigned char* p, T v) {
    std::memcpy(p, &v, sizeof v);
}

template <class T>
inline T byte_swap(T v) {
    static_assert(sizeof(T) == 2 || sizeof(T) == 4);
    if constexpr (sizeof(T) == 2) return __builtin_bswap16(v);
    else return __builtin_bswap32(v);
}

template <class T, Adjust A, Swap S>
inline T convert(T v, uint32_t arg) {
    if constexpr (S & swap_before) v = byte_swap(v);
    if constexpr (A == Adjust::shift_left) v = static_cast<T>(v << arg);
    if constexpr (A == Adjust::shift_right) v = static_cast<T>(v >> arg);
    if constexpr (A == Adjust::mask) v = static_cast<T>(v & static_cast<T>(arg));
    if constexpr (S & swap_after) v = byte_swap(v);
    return v;
}

template <class T, Adjust A, Swap S>
void move(void* dst, ptrdiff_t dst_step, const void* src, ptrdiff_t src_step, size_t groups,
          size_t per, uint32_t arg) {
    auto* d = static_cast<unsigned char*>(dst);
    const auto* s = static_cast<const unsigned char*>(src);
    const ptrdiff_t group_bytes = static_cast<ptrdiff_t>(per * sizeof(T));
    if (dst_step == group_bytes && src_step == group_bytes) {
        per *= groups;
        groups = 1;
    }
    constexpr bool plain = A == Adjust::none && S == swap_none;
    for (size_t g = 0; g < groups; ++g, d += dst_step, s += src_step) {
        if constexpr (plain) {
            if (per == 1) store<T>(d, load<T>(s));
            else if (d != s) std::memcpy(d, s, per * sizeof(T));
        } else {
            for (size_t i = 0; i < per; ++i)
                store<T>(d + i * sizeof(T), convert<T, A, S>(load<T>(s + i * sizeof(T)), arg));
        }
    }
}

// Only 2- and 4-byte pixies are swapped; 1-byte and 8-byte ones (doubles)
// are copied unchanged whatever the byte orders say.
template <class T, Adjust A>
MoveFn pick_swap(Swap swap) {
    if constexpr (sizeof(T) == 1 || sizeof(T) == 8) {
        return move<T, A, swap_none>;
    } else {
        switch (swap) {
            case swap_before: return move<T, A, swap_before>;
            case swap_after: return move<T, A, swap_after>;
            case swap_both: return move<T, A, swap_both>;
            default: return move<T, A, swap_none>;
        }
    }
}

template <class T>
MoveFn pick_adjust(Adjust adjust, Swap swap) {
    if constexpr (sizeof(T) == 8) {
        if (adjust != Adjust::none) return nullptr;
    }
    switch (adjust) {
        case Adjust::shift_left: return pick_swap<T, Adjust::shift_left>(swap);
        case Adjust::shift_right: return pick_swap<T, Adjust::shift_right>(swap);
        case Adjust::mask: return pick_swap<T, Adjust::mask>(swap);
        default: return pick_swap<T, Adjust::none>(swap);
    }
}

}  // namespace

MoveFn choose_move(uint32_t pixie_bytes, Adjust adjust, Swap swap) {
    switch (pixie_bytes) {
        case 1: return pick_adjust<uint8_t>(adjust, swap);
        case 2: return pick_adjust<uint16_t>(adjust, swap);
        case 4: return pick_adjust<uint32_t>(adjust, swap);
        case 8: return pick_adjust<uint64_t>(adjust, swap);
        default: return nullptr;
    }
}

}  // namespace mvip::mem
