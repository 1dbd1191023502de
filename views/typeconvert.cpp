// Conversion kernels between data types, one template per kind of
// conversion, instantiated per pair of value types.
#include "views/typeconvert.hpp"

#include <cmath>
#include <type_traits>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define MVIP_HAVE_SSE2 1
#endif

namespace mvip::conv {
namespace {

template <class S, class D>
void int_shift_left(const void* src, void* dst, size_t n, const Plan& p) {
    using W = std::common_type_t<uint32_t, S, D>;
    const S* s = static_cast<const S*>(src);
    D* d = static_cast<D*>(dst);
    const W mask = static_cast<W>(p.src_mask);
    const unsigned sh = static_cast<unsigned>(p.shift);
    for (size_t i = 0; i < n; ++i) d[i] = static_cast<D>((static_cast<W>(s[i]) & mask) << sh);
}

template <class S, class D>
void int_shift_right(const void* src, void* dst, size_t n, const Plan& p) {
    using W = std::common_type_t<uint32_t, S, D>;
    const S* s = static_cast<const S*>(src);
    D* d = static_cast<D*>(dst);
    const W mask = static_cast<W>(p.src_mask);
    const unsigned sh = static_cast<unsigned>(-p.shift);
    for (size_t i = 0; i < n; ++i) d[i] = static_cast<D>((static_cast<W>(s[i]) & mask) >> sh);
}

#ifdef MVIP_HAVE_SSE2
// The commonest narrowing, 16-bit values to 8-bit ones, sixteen values per
// step: mask, shift right and pack.  (The compiler would widen the shift to
// 32-bit lanes because the count is only known at run time.)
void u16_to_u8_shift_right(const void* src, void* dst, size_t n, const Plan& p) {
    const auto* s = static_cast<const uint16_t*>(src);
    auto* d = static_cast<uint8_t*>(dst);
    const unsigned sh = static_cast<unsigned>(-p.shift);
    const __m128i mask = _mm_set1_epi16(static_cast<short>(p.src_mask & 0xFFFF));
    const __m128i count = _mm_cvtsi32_si128(static_cast<int>(sh));
    size_t i = 0;
    for (; i + 16 <= n; i += 16) {
        __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
        __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + 8));
        lo = _mm_srl_epi16(_mm_and_si128(lo, mask), count);
        hi = _mm_srl_epi16(_mm_and_si128(hi, mask), count);
        // Values are below 256 after the shift only when sh covers the
        // excess bits; the plan guarantees it (destination bits <= 8).
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_packus_epi16(lo, hi));
    }
    for (; i < n; ++i) d[i] = static_cast<uint8_t>((s[i] & p.src_mask) >> sh);
}
#endif

template <class S, class D>
void int_to_float(const void* src, void* dst, size_t n, const Plan& p) {
    const S* s = static_cast<const S*>(src);
    D* d = static_cast<D*>(dst);
    const uint32_t mask = p.src_mask;
    for (size_t i = 0; i < n; ++i)
        d[i] = static_cast<D>(p.low + static_cast<double>(s[i] & mask) / p.maxval * p.scale);
}

template <class S, class D>
void float_to_int(const void* src, void* dst, size_t n, const Plan& p) {
    const S* s = static_cast<const S*>(src);
    D* d = static_cast<D*>(dst);
    for (size_t i = 0; i < n; ++i) {
        const double x = (static_cast<double>(s[i]) - p.low) * p.scale;
        // !(x > 0) also catches NaN.
        d[i] = !(x > 0) ? D(0) : x >= p.maxval ? static_cast<D>(p.maxval) : static_cast<D>(x + 0.5);
    }
}

template <class S, class D>
void float_to_float(const void* src, void* dst, size_t n, const Plan&) {
    const S* s = static_cast<const S*>(src);
    D* d = static_cast<D*>(dst);
    for (size_t i = 0; i < n; ++i) d[i] = static_cast<D>(s[i]);
}

double max_of(uint32_t bits) { return std::ldexp(1.0, static_cast<int>(bits)) - 1.0; }

template <class S, class D>
Plan plan_for(const Side& from, const Side& to, bool mask_source) {
    Plan p;
    constexpr bool s_int = std::is_integral_v<S>, d_int = std::is_integral_v<D>;
    const uint32_t s_bits = std::min<uint32_t>(from.bits ? from.bits : 8 * sizeof(S), 8 * sizeof(S));
    const uint32_t d_bits = std::min<uint32_t>(to.bits ? to.bits : 8 * sizeof(D), 8 * sizeof(D));
    p.src_mask = (s_int && mask_source && s_bits < 32) ? ((1u << s_bits) - 1u) : 0xFFFFFFFFu;
    if constexpr (s_int && d_int) {
        p.shift = static_cast<int32_t>(d_bits) - static_cast<int32_t>(s_bits);
        p.fn = p.shift >= 0 ? int_shift_left<S, D> : int_shift_right<S, D>;
#ifdef MVIP_HAVE_SSE2
        // Narrowing u16 to u8 by shifting leaves at most 8 bits: pack safely.
        if constexpr (std::is_same_v<S, uint16_t> && std::is_same_v<D, uint8_t>)
            if (p.shift < 0 && int32_t(s_bits) + p.shift <= 8) p.fn = u16_to_u8_shift_right;
#endif
    } else if constexpr (s_int) {
        const double width = double(to.range.high) - double(to.range.low);
        p.low = to.range.low;
        p.maxval = max_of(s_bits);
        p.scale = width;
        p.fn = int_to_float<S, D>;
    } else if constexpr (d_int) {
        const double width = double(from.range.high) - double(from.range.low);
        p.low = from.range.low;
        p.maxval = max_of(d_bits);
        p.scale = width != 0 ? p.maxval / width : 0;
        p.fn = float_to_int<S, D>;
    } else {
        p.fn = float_to_float<S, D>;
    }
    return p;
}

template <class S>
Plan plan_from(const Side& from, const Side& to, bool mask_source) {
    switch (type_of(to.type)) {
        case MVTYPE_U8: return plan_for<S, uint8_t>(from, to, mask_source);
        case MVTYPE_U16: return plan_for<S, uint16_t>(from, to, mask_source);
        case MVTYPE_U32:
        case MVTYPE_I32: return plan_for<S, uint32_t>(from, to, mask_source);
        case MVTYPE_FLOAT: return plan_for<S, float>(from, to, mask_source);
        case MVTYPE_DOUBLE: return plan_for<S, double>(from, to, mask_source);
        default: return {};
    }
}

}  // namespace

Side side_of(const mvpixfmt& fmt) {
    return {type_of(fmt.datatype), fmt.bits, float_range(fmt)};
}

mvpixfmt format_as(const mvpixfmt& from, uint32_t type, uint32_t bits) {
    mvpixfmt f = from;
    f.datatype = type;
    f.byteorder = 0;
    if (is_int_type(type)) {
        const uint32_t container = 8 * pixie_bytes(type);
        f.bits = bits == 0 || bits > container ? container : bits;
        f.valform = f.bits == container ? MVVALFORM_FULL : MVVALFORM_LOW;
        f.valflags = 0;
    } else {
        f.bits = 0;
        if (!is_float_type(from.datatype)) {
            f.valform = MVFLOAT_ONE_BITS;
            f.valflags = 0;
        }
    }
    return f;
}

Plan plan(const Side& from, const Side& to, bool mask_source) {
    switch (type_of(from.type)) {
        case MVTYPE_U8: return plan_from<uint8_t>(from, to, mask_source);
        case MVTYPE_U16: return plan_from<uint16_t>(from, to, mask_source);
        case MVTYPE_U32:
        case MVTYPE_I32: return plan_from<uint32_t>(from, to, mask_source);
        case MVTYPE_FLOAT: return plan_from<float>(from, to, mask_source);
        case MVTYPE_DOUBLE: return plan_from<double>(from, to, mask_source);
        default: return {};
    }
}

}  // namespace mvip::conv
