// Colour-space conversion kernels (formulas in views/colorspaces.hpp).
//
// Every kernel is a template over the value type, instantiated for u8, u16,
// u32 (also serving the second 32-bit integer type), float and double, and
// chosen once per pair of spaces by route().  The common conversions have
// direct kernels (component order swaps, CMY, grey to and from the RGB
// orders); everything else goes through the general kernel, which decodes a
// block of pixels into a hub colour held in doubles, converts between the
// two hub forms when needed, and encodes the block into the target space.
#include "views/colorspaces.hpp"

#include "ops/cpu.hpp"

#include <array>
#include <cmath>
#include <cstring>
#include <type_traits>

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#define MVIP_COLOR_AVX2 1
#include <immintrin.h>
#endif

namespace mvip::color {
namespace {

// Hub pixels per step of the general kernel; even, so that a block never
// splits a 4:2:2 pair.
constexpr size_t kBlock = 64;

// ---- values ---------------------------------------------------------------

// A value stored in type T: integers clipped to [0, top] (NaN gives 0) and
// rounded; no branches, so that loops over put() vectorize.  Callers keep
// `top` in a local: a store through a byte pointer could otherwise alias
// the scale and force a reload per value.
template <class T>
inline T put(double v, double top) {
    if constexpr (std::is_integral_v<T>) {
        double c = v > 0 ? v : 0.0;  // two plain selections: these vectorize
        c = c < top ? c : top;
        return static_cast<T>(c + 0.5);
    } else {
        return static_cast<T>(v);
    }
}

inline double clip(double v, const Scale& sc) {
    v = v > sc.low ? v : sc.low;  // NaN gives low
    return v < sc.high ? v : sc.high;
}

// BT.601 luma.  Written as a division of integer-weighted sums so that for
// integer values the result is the exact quotient, correctly rounded: a
// value exactly halfway between two integers is then seen as such and
// rounds up, as the integer kernels do.
inline double luma(double r, double g, double b) {
    return (299.0 * r + 587.0 * g + 114.0 * b) / 1000.0;
}

// Full-range YCrCb (JFIF).
constexpr double kCrScale = 1.402;  // 2 (1 - 0.299)
constexpr double kCbScale = 1.772;  // 2 (1 - 0.114)
constexpr double kCrInverse = 1 / kCrScale;
constexpr double kCbInverse = 1 / kCbScale;
// g = Y - kGCb Cb' - kGCr Cr': written so that a neutral colour (Cb' = Cr' =
// 0) decodes to exactly r = g = b = Y.
constexpr double kGCb = 0.114 * kCbScale / 0.587;  // 0.344136...
constexpr double kGCr = 0.299 * kCrScale / 0.587;  // 0.714136...

// YIQ with I and Q scaled to span the range like Cr and Cb.
constexpr double kIMax = 0.595716;
constexpr double kQMax = 0.522591;
constexpr std::array<double, 9> kYiq = {
    0.299,                   0.587,                   0.114,
    0.595716 / (2 * kIMax),  -0.274453 / (2 * kIMax), -0.321263 / (2 * kIMax),
    0.211456 / (2 * kQMax),  -0.522591 / (2 * kQMax), 0.311135 / (2 * kQMax),
};

constexpr std::array<double, 9> inverse3(const std::array<double, 9>& m) {
    const double c00 = m[4] * m[8] - m[5] * m[7];
    const double c01 = m[5] * m[6] - m[3] * m[8];
    const double c02 = m[3] * m[7] - m[4] * m[6];
    const double det = m[0] * c00 + m[1] * c01 + m[2] * c02;
    return {c00 / det,
            (m[2] * m[7] - m[1] * m[8]) / det,
            (m[1] * m[5] - m[2] * m[4]) / det,
            c01 / det,
            (m[0] * m[8] - m[2] * m[6]) / det,
            (m[2] * m[3] - m[0] * m[5]) / det,
            c02 / det,
            (m[1] * m[6] - m[0] * m[7]) / det,
            (m[0] * m[4] - m[1] * m[3]) / det};
}
// The inverse's first column is 1 (the I and Q rows sum to 0, the Y row to
// 1); the decoder uses 1 itself, so that neutral colours decode exactly.
constexpr std::array<double, 9> kYiqInverse = inverse3(kYiq);

// ---- component layouts ------------------------------------------------------

// Positions of three components within a pixel of `pixies` pixies; a fourth
// pixie, when there is one, is a pad at position 3.
struct Layout {
    int pixies, a, b, c;
};
constexpr Layout kBGR{3, 2, 1, 0};   // r, g, b positions
constexpr Layout kRGB{3, 0, 1, 2};
constexpr Layout kBGRX{4, 2, 1, 0};
constexpr Layout kRGBX{4, 0, 1, 2};
constexpr Layout kTriple = kRGB;     // Y, Cr, Cb / C, M, Y in their own order
constexpr Layout kTripleX = kRGBX;

// ---- direct kernels ---------------------------------------------------------

void copy(const void* src, void* dst, size_t n, uint32_t, const Route& r, const Scale&) {
    if (n) std::memcpy(dst, src, n * r.src_bytes);
}

// Reorders three components; Invert complements them (CMY).  Pads get 0.
template <class T, Layout S, Layout D, bool Invert>
void permute(const void* src, void* dst, size_t n, uint32_t, const Route&, const Scale& sc) {
    const T* s = static_cast<const T*>(src);
    T* d = static_cast<T*>(dst);
    const T k = Invert ? static_cast<T>(sc.low + sc.high) : T(0);
    for (size_t i = 0; i < n; ++i) {
        const T* sp = s + i * S.pixies;
        T* dp = d + i * D.pixies;
        T x = sp[S.a], y = sp[S.b], z = sp[S.c];
        if constexpr (Invert) {
            x = static_cast<T>(k - x);
            y = static_cast<T>(k - y);
            z = static_cast<T>(k - z);
        }
        dp[D.a] = x;
        dp[D.b] = y;
        dp[D.c] = z;
        if constexpr (D.pixies == 4) dp[3] = T(0);
    }
}

// Luma of an RGB order.  8-bit values use 19-bit fixed-point weights whose
// rounded results equal those of luma() for all 2^24 colours; 16- and
// 32-bit values use the exact integer quotient.
template <class T, Layout S>
void to_grey(const void* src, void* dst, size_t n, uint32_t, const Route&, const Scale&) {
    const T* s = static_cast<const T*>(src);
    T* d = static_cast<T*>(dst);
    for (size_t i = 0; i < n; ++i) {
        const T* sp = s + i * S.pixies;
        if constexpr (std::is_same_v<T, uint8_t>) {
            const uint32_t r = sp[S.a], g = sp[S.b], b = sp[S.c];
            d[i] = static_cast<uint8_t>((156763u * r + 307757u * g + 59769u * b + 262152u) >> 19);
        } else if constexpr (std::is_same_v<T, uint16_t>) {
            const uint32_t r = sp[S.a], g = sp[S.b], b = sp[S.c];
            d[i] = static_cast<uint16_t>((299u * r + 587u * g + 114u * b + 500u) / 1000u);
        } else if constexpr (std::is_same_v<T, uint32_t>) {
            const uint64_t r = sp[S.a], g = sp[S.b], b = sp[S.c];
            d[i] = static_cast<uint32_t>((299u * r + 587u * g + 114u * b + 500u) / 1000u);
        } else {
            d[i] = static_cast<T>(luma(sp[S.a], sp[S.b], sp[S.c]));
        }
    }
}

#if MVIP_COLOR_AVX2
// 8-bit luma with AVX2, exact: n = 114 b + 587 g + 299 r + 500 from two
// multiply-adds on 16-bit lanes (b, r) and (g, 1), then n / 1000 as
// (n >> 3) / 125 = ((n >> 3) x 33555) >> 22, exact for n >> 3 <= 31937.
// One unaligned 256-bit load takes 8 pixels, four to a 128-bit lane; with
// 3-byte pixels the load starts 4 bytes early (so that lane 1 starts on a
// pixel), which the first two pixels and the last steps leave to the plain
// formula.

// Shuffle indices: per pixel (b, 0, r, 0) and (g, 0, 0, 0) in 16-bit lanes.
struct GreyIndex {
    alignas(32) int8_t br[32];
    alignas(32) int8_t g[32];
};

template <Layout S>
constexpr int kGreyLead = S.pixies == 3 ? 4 : 0;

template <Layout S>
GreyIndex grey_index() {
    GreyIndex ix{};
    for (int lane = 0; lane < 2; ++lane)
        for (int j = 0; j < 4; ++j) {
            const int at = (lane == 0 ? kGreyLead<S> : 0) + j * S.pixies;
            int8_t* br = ix.br + 16 * lane + 4 * j;
            int8_t* g = ix.g + 16 * lane + 4 * j;
            br[0] = static_cast<int8_t>(at + S.c);
            br[1] = -128;  // an index with the top bit set gives 0
            br[2] = static_cast<int8_t>(at + S.a);
            br[3] = -128;
            g[0] = static_cast<int8_t>(at + S.b);
            g[1] = g[2] = g[3] = -128;
        }
    return ix;
}

// n >> 3 for the 8 pixels whose first byte is at p.
template <Layout S>
__attribute__((target("avx2"), always_inline)) inline __m256i grey_sums(const uint8_t* p,
                                                                        const __m256i* k) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p - kGreyLead<S>));
    const __m256i br = _mm256_madd_epi16(_mm256_shuffle_epi8(v, k[0]), k[2]);
    const __m256i g = _mm256_madd_epi16(_mm256_or_si256(_mm256_shuffle_epi8(v, k[1]), k[4]), k[3]);
    return _mm256_srli_epi32(_mm256_add_epi32(br, g), 3);
}

template <Layout S>
__attribute__((target("avx2"))) void to_grey_avx2(const void* src, void* dst, size_t n, uint32_t,
                                                  const Route&, const Scale&) {
    constexpr int P = S.pixies;
    const auto* s = static_cast<const uint8_t*>(src);
    auto* d = static_cast<uint8_t*>(dst);
    static const GreyIndex ix = grey_index<S>();
    const __m256i k[5] = {
        _mm256_load_si256(reinterpret_cast<const __m256i*>(ix.br)),
        _mm256_load_si256(reinterpret_cast<const __m256i*>(ix.g)),
        _mm256_set1_epi32((299 << 16) | 114),  // weights of (b, r)
        _mm256_set1_epi32((500 << 16) | 587),  // weights of (g, 1)
        _mm256_set1_epi32(1 << 16),            // the 1 beside g
    };
    const __m256i magic = _mm256_set1_epi16(static_cast<int16_t>(33555));
    // After the packs, 4-pixel groups lie in the order 0 2 4 6 1 3 5 7.
    const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    auto plain = [&](size_t i) {
        const uint8_t* p = s + i * P;
        const uint32_t r = p[S.a], g = p[S.b], b = p[S.c];
        d[i] = static_cast<uint8_t>((156763u * r + 307757u * g + 59769u * b + 262152u) >> 19);
    };
    size_t i = 0;
    for (; i * P < static_cast<size_t>(kGreyLead<S>) && i < n; ++i) plain(i);
    for (; i + 32 + (P == 3 ? 2 : 0) <= n; i += 32) {
        const uint8_t* p = s + i * P;
        __m256i a = _mm256_packs_epi32(grey_sums<S>(p, k), grey_sums<S>(p + 8 * P, k));
        __m256i b = _mm256_packs_epi32(grey_sums<S>(p + 16 * P, k), grey_sums<S>(p + 24 * P, k));
        a = _mm256_srli_epi16(_mm256_mulhi_epu16(a, magic), 6);
        b = _mm256_srli_epi16(_mm256_mulhi_epu16(b, magic), 6);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i),
                            _mm256_permutevar8x32_epi32(_mm256_packus_epi16(a, b), order));
    }
    for (; i < n; ++i) plain(i);
}
#endif

template <class T, Layout S>
Kernel grey_kernel() {
#if MVIP_COLOR_AVX2
    if constexpr (std::is_same_v<T, uint8_t>)
        if (ops::cpu_has_avx2()) return to_grey_avx2<S>;
#endif
    return to_grey<T, S>;
}

template <class T, Layout D>
void from_grey(const void* src, void* dst, size_t n, uint32_t, const Route&, const Scale&) {
    const T* s = static_cast<const T*>(src);
    T* d = static_cast<T*>(dst);
    for (size_t i = 0; i < n; ++i) {
        T* dp = d + i * D.pixies;
        dp[D.a] = dp[D.b] = dp[D.c] = s[i];
        if constexpr (D.pixies == 4) dp[3] = T(0);
    }
}

// ---- the general kernel -----------------------------------------------------

// The hub of a block: three planes of kBlock doubles (r, g, b, or Y, Cr,
// Cb), so that the per-component loops vectorize.
struct Planes {
    double* __restrict a;
    double* __restrict b;
    double* __restrict c;
};
inline Planes planes(double* hub) { return {hub, hub + kBlock, hub + 2 * kBlock}; }

void general(const void* src, void* dst, size_t n, uint32_t phase, const Route& r,
             const Scale& sc) {
    alignas(32) double hub[3 * kBlock];
    const auto* s = static_cast<const unsigned char*>(src);
    auto* d = static_cast<unsigned char*>(dst);
    size_t i = 0;
    // A run that starts on the second pixel of a pair: that pixel is lone,
    // and the pixels after it start whole pairs.
    if (phase == 1 && n > 0) {
        r.decode(s, hub, 1, sc);
        if (r.hub) r.hub(hub, 1, sc);
        r.encode(hub, d, 1, phase, sc);
        i = 1;
        phase = 0;
    }
    while (i < n) {
        const size_t m = std::min(kBlock, n - i);
        r.decode(s + i * r.src_bytes, hub, m, sc);
        if (r.hub) r.hub(hub, m, sc);
        r.encode(hub, d + i * r.dst_bytes, m, phase, sc);
        i += m;
    }
}

// ---- hub conversions --------------------------------------------------------
// Each function copies the scale into a local: a store through a byte
// pointer could otherwise alias it and force reloads in the loop.

void rgb_to_ycc(double* hub, size_t n, const Scale& scale) {
    const double mid = scale.mid;
    const Planes h = planes(hub);
    for (size_t i = 0; i < n; ++i) {
        const double r = h.a[i], g = h.b[i], b = h.c[i];
        const double y = luma(r, g, b);
        h.a[i] = y;
        h.b[i] = mid + (r - y) * kCrInverse;
        h.c[i] = mid + (b - y) * kCbInverse;
    }
}

void ycc_to_rgb(double* hub, size_t n, const Scale& scale) {
    const Scale sc = scale;
    const Planes h = planes(hub);
    for (size_t i = 0; i < n; ++i) {
        const double y = h.a[i], cr = h.b[i] - sc.mid, cb = h.c[i] - sc.mid;
        h.a[i] = y + kCrScale * cr;
        h.b[i] = y - kGCb * cb - kGCr * cr;
        h.c[i] = y + kCbScale * cb;
    }
    if (sc.integer)
        for (size_t i = 0; i < n; ++i) {
            h.a[i] = clip(h.a[i], sc);
            h.b[i] = clip(h.b[i], sc);
            h.c[i] = clip(h.c[i], sc);
        }
}

// ---- decoders: pixels -> hub ------------------------------------------------

// Three components in layout L (r, g, b; or Y, Cr, Cb); Invert for CMY.
template <class T, Layout L, bool Invert>
void decode_triple(const void* src, double* hub, size_t n, const Scale& scale) {
    const T* s = static_cast<const T*>(src);
    const double k = scale.low + scale.high;
    const Planes h = planes(hub);
    for (size_t i = 0; i < n; ++i) {
        const T* sp = s + i * L.pixies;
        const double x = sp[L.a], y = sp[L.b], z = sp[L.c];
        h.a[i] = Invert ? k - x : x;
        h.b[i] = Invert ? k - y : y;
        h.c[i] = Invert ? k - z : z;
    }
}

template <class T, bool ToYcc>
void decode_grey(const void* src, double* hub, size_t n, const Scale& scale) {
    const T* s = static_cast<const T*>(src);
    const double mid = scale.mid;
    const Planes h = planes(hub);
    for (size_t i = 0; i < n; ++i) {
        const double g = s[i];
        h.a[i] = g;
        h.b[i] = ToYcc ? mid : g;
        h.c[i] = ToYcc ? mid : g;
    }
}

// 4:2:2: Y at position YPos of each pixel, the chroma at the other; the
// first pixel of a pair carries Cb when EvenCb, else Cr.
template <class T, int YPos, bool EvenCb>
void decode_422(const void* src, double* hub, size_t n, const Scale& scale) {
    const T* s = static_cast<const T*>(src);
    constexpr int C = 1 - YPos;
    const Planes h = planes(hub);
    size_t i = 0;
    for (; i + 1 < n; i += 2) {
        const T* p = s + 2 * i;
        const double c0 = p[C], c1 = p[2 + C];
        const double cb = EvenCb ? c0 : c1, cr = EvenCb ? c1 : c0;
        h.a[i] = p[YPos];
        h.a[i + 1] = p[2 + YPos];
        h.b[i] = h.b[i + 1] = cr;
        h.c[i] = h.c[i + 1] = cb;
    }
    if (i < n) {  // a pair cut short: the missing component is neutral
        const T* p = s + 2 * i;
        h.a[i] = p[YPos];
        h.b[i] = EvenCb ? scale.mid : double(p[C]);
        h.c[i] = EvenCb ? double(p[C]) : scale.mid;
    }
}

template <class T>
void decode_hsb(const void* src, double* hub, size_t n, const Scale& scale) {
    const T* s = static_cast<const T*>(src);
    const Scale sc = scale;
    const double span = sc.high - sc.low;
    const double norm = span > 0 ? 1 / span : 0.0;
    const double per_turn = sc.integer ? 1 / sc.period : norm;
    const double turn_low = sc.integer ? 0.0 : sc.low;
    const Planes h = planes(hub);
    for (size_t i = 0; i < n; ++i) {
        const T* sp = s + 3 * i;
        const double v = double(sp[0]) - sc.low;
        const double sat = (double(sp[1]) - sc.low) * norm;
        double turn = (double(sp[2]) - turn_low) * per_turn;
        turn -= std::floor(turn);
        if (!(turn >= 0 && turn < 1)) turn = 0;  // NaN, or rounding up to 1
        const double h6 = turn * 6;
        const int sector = std::min(static_cast<int>(h6), 5);
        const double f = h6 - sector;
        const double p = v * (1 - sat), q = v * (1 - sat * f), t = v * (1 - sat * (1 - f));
        double r, g, b;
        switch (sector) {
            case 0: r = v, g = t, b = p; break;
            case 1: r = q, g = v, b = p; break;
            case 2: r = p, g = v, b = t; break;
            case 3: r = p, g = q, b = v; break;
            case 4: r = t, g = p, b = v; break;
            default: r = v, g = p, b = q; break;
        }
        h.a[i] = sc.low + r;
        h.b[i] = sc.low + g;
        h.c[i] = sc.low + b;
    }
}

template <class T>
void decode_yiq(const void* src, double* hub, size_t n, const Scale& scale) {
    const T* s = static_cast<const T*>(src);
    const Scale sc = scale;
    const auto& m = kYiqInverse;
    const Planes h = planes(hub);
    for (size_t i = 0; i < n; ++i) {
        const T* sp = s + 3 * i;
        const double y = sp[0], ii = double(sp[1]) - sc.mid, q = double(sp[2]) - sc.mid;
        h.a[i] = y + m[1] * ii + m[2] * q;
        h.b[i] = y + m[4] * ii + m[5] * q;
        h.c[i] = y + m[7] * ii + m[8] * q;
    }
    if (sc.integer)
        for (size_t i = 0; i < n; ++i) {
            h.a[i] = clip(h.a[i], sc);
            h.b[i] = clip(h.b[i], sc);
            h.c[i] = clip(h.c[i], sc);
        }
}

template <class T>
void decode_cmyk(const void* src, double* hub, size_t n, const Scale& scale) {
    const T* s = static_cast<const T*>(src);
    const Scale sc = scale;
    const double span = sc.high - sc.low;
    const double norm = span > 0 ? 1.0 / span : 0.0;
    const Planes h = planes(hub);
    for (size_t i = 0; i < n; ++i) {
        const T* sp = s + 4 * i;
        const double k = (1 - (double(sp[3]) - sc.low) * norm) * span;
        h.a[i] = sc.low + (1 - (double(sp[0]) - sc.low) * norm) * k;
        h.b[i] = sc.low + (1 - (double(sp[1]) - sc.low) * norm) * k;
        h.c[i] = sc.low + (1 - (double(sp[2]) - sc.low) * norm) * k;
    }
}

// ---- encoders: hub -> pixels ------------------------------------------------

template <class T, Layout L, bool Invert>
void encode_triple(const double* hub, void* dst, size_t n, uint32_t, const Scale& scale) {
    T* d = static_cast<T*>(dst);
    const double k = scale.low + scale.high, top = scale.high;
    const Planes h = planes(const_cast<double*>(hub));
    for (size_t i = 0; i < n; ++i) {
        T* dp = d + i * L.pixies;
        dp[L.a] = put<T>(Invert ? k - h.a[i] : h.a[i], top);
        dp[L.b] = put<T>(Invert ? k - h.b[i] : h.b[i], top);
        dp[L.c] = put<T>(Invert ? k - h.c[i] : h.c[i], top);
        if constexpr (L.pixies == 4) dp[3] = T(0);
    }
}

template <class T, bool FromYcc>
void encode_grey(const double* hub, void* dst, size_t n, uint32_t, const Scale& scale) {
    T* d = static_cast<T*>(dst);
    const double top = scale.high;
    const Planes h = planes(const_cast<double*>(hub));
    for (size_t i = 0; i < n; ++i)
        d[i] = put<T>(FromYcc ? h.a[i] : luma(h.a[i], h.b[i], h.c[i]), top);
}

template <class T, int YPos, bool EvenCb>
void encode_422(const double* hub, void* dst, size_t n, uint32_t phase, const Scale& scale) {
    T* d = static_cast<T*>(dst);
    constexpr int C = 1 - YPos;
    const double top = scale.high;
    const Planes h = planes(const_cast<double*>(hub));
    const bool column = (phase & kPhaseColumn) != 0;
    uint32_t pos = phase & 1;
    size_t i = 0;
    while (i < n) {
        T* o = d + 2 * i;
        if (column || pos == 1 || i + 1 == n) {
            // Lone pixel: its own chroma component for its position.
            const bool cb = (pos == 0) == EvenCb;
            o[YPos] = put<T>(h.a[i], top);
            o[C] = put<T>(cb ? h.c[i] : h.b[i], top);
            ++i;
            if (!column) pos ^= 1;
        } else {
            const double cr = (h.b[i] + h.b[i + 1]) / 2, cb = (h.c[i] + h.c[i + 1]) / 2;
            o[YPos] = put<T>(h.a[i], top);
            o[C] = put<T>(EvenCb ? cb : cr, top);
            o[2 + YPos] = put<T>(h.a[i + 1], top);
            o[2 + C] = put<T>(EvenCb ? cr : cb, top);
            i += 2;
        }
    }
}

template <class T>
void encode_hsb(const double* hub, void* dst, size_t n, uint32_t, const Scale& scale) {
    T* d = static_cast<T*>(dst);
    const Scale sc = scale;
    const double span = sc.high - sc.low, top = sc.high;
    const Planes h = planes(const_cast<double*>(hub));
    for (size_t i = 0; i < n; ++i) {
        const double r = h.a[i], g = h.b[i], b = h.c[i];
        const double mx = std::max({r, g, b}), mn = std::min({r, g, b});
        const double sat = mx > sc.low ? (mx - mn) / (mx - sc.low) : 0.0;
        double turn = 0;
        if (mx > mn) {
            const double delta = mx - mn;
            if (mx == r) turn = (g - b) / delta;
            else if (mx == g) turn = 2 + (b - r) / delta;
            else turn = 4 + (r - g) / delta;
            turn /= 6;
            if (turn < 0) turn += 1;
        }
        T* dp = d + 3 * i;
        dp[0] = put<T>(mx, top);
        dp[1] = put<T>(sc.low + sat * span, top);
        if (sc.integer) {
            double hue = turn * sc.period;
            if (hue + 0.5 >= sc.period) hue = 0;  // a full turn is hue 0
            dp[2] = put<T>(hue, top);
        } else {
            dp[2] = put<T>(sc.low + turn * span, top);
        }
    }
}

template <class T>
void encode_yiq(const double* hub, void* dst, size_t n, uint32_t, const Scale& scale) {
    T* d = static_cast<T*>(dst);
    const double mid = scale.mid, top = scale.high;
    const auto& m = kYiq;
    const Planes h = planes(const_cast<double*>(hub));
    for (size_t i = 0; i < n; ++i) {
        const double r = h.a[i], g = h.b[i], b = h.c[i];
        T* dp = d + 3 * i;
        dp[0] = put<T>(luma(r, g, b), top);
        dp[1] = put<T>(mid + m[3] * r + m[4] * g + m[5] * b, top);
        dp[2] = put<T>(mid + m[6] * r + m[7] * g + m[8] * b, top);
    }
}

template <class T>
void encode_cmyk(const double* hub, void* dst, size_t n, uint32_t, const Scale& scale) {
    T* d = static_cast<T*>(dst);
    const Scale sc = scale;
    const double span = sc.high - sc.low, top = sc.high;
    const double norm = span > 0 ? 1.0 / span : 0.0;
    const Planes h = planes(const_cast<double*>(hub));
    for (size_t i = 0; i < n; ++i) {
        const double r = (h.a[i] - sc.low) * norm, g = (h.b[i] - sc.low) * norm,
                     b = (h.c[i] - sc.low) * norm;
        const double mx = std::max({r, g, b});
        // All 0 for black (max 0); the division is then not used.
        const double inv = mx > 0 ? 1 / mx : 0.0;
        T* dp = d + 4 * i;
        dp[0] = put<T>(sc.low + (mx - r) * inv * span, top);
        dp[1] = put<T>(sc.low + (mx - g) * inv * span, top);
        dp[2] = put<T>(sc.low + (mx - b) * inv * span, top);
        dp[3] = put<T>(sc.low + (1 - mx) * span, top);
    }
}

// ---- choosing ---------------------------------------------------------------

enum class Hub { rgb, ycc };

bool is_ycc(uint32_t space) {
    return space == MVCS_YCRCB || space == MVCS_YCRCBX || is_422(space);
}

// The hub each side uses: the YCrCb spaces decode to Y, Cr, Cb; grey takes
// the other side's hub; everything else uses r, g, b.
Hub hub_of(uint32_t space, uint32_t other) {
    if (space == MVCS_GREY) return is_ycc(other) ? Hub::ycc : Hub::rgb;
    return is_ycc(space) ? Hub::ycc : Hub::rgb;
}

template <class T>
DecodeFn decoder(uint32_t space, Hub hub) {
    switch (space) {
        case MVCS_GREY: return hub == Hub::ycc ? decode_grey<T, true> : decode_grey<T, false>;
        case MVCS_BGR: return decode_triple<T, kBGR, false>;
        case MVCS_RGB: return decode_triple<T, kRGB, false>;
        case MVCS_BGRX: return decode_triple<T, kBGRX, false>;
        case MVCS_RGBX: return decode_triple<T, kRGBX, false>;
        case MVCS_CMY: return decode_triple<T, kTriple, true>;
        case MVCS_YCRCB: return decode_triple<T, kTriple, false>;
        case MVCS_YCRCBX: return decode_triple<T, kTripleX, false>;
        case MVCS_CBYCRY: return decode_422<T, 1, true>;
        case MVCS_YCBYCR: return decode_422<T, 0, true>;
        case MVCS_CRYCBY: return decode_422<T, 1, false>;
        case MVCS_YCRYCB: return decode_422<T, 0, false>;
        case MVCS_HSB: return decode_hsb<T>;
        case MVCS_YIQ: return decode_yiq<T>;
        case MVCS_CMYK: return decode_cmyk<T>;
        default: return nullptr;
    }
}

template <class T>
EncodeFn encoder(uint32_t space, Hub hub) {
    switch (space) {
        case MVCS_GREY: return hub == Hub::ycc ? encode_grey<T, true> : encode_grey<T, false>;
        case MVCS_BGR: return encode_triple<T, kBGR, false>;
        case MVCS_RGB: return encode_triple<T, kRGB, false>;
        case MVCS_BGRX: return encode_triple<T, kBGRX, false>;
        case MVCS_RGBX: return encode_triple<T, kRGBX, false>;
        case MVCS_CMY: return encode_triple<T, kTriple, true>;
        case MVCS_YCRCB: return encode_triple<T, kTriple, false>;
        case MVCS_YCRCBX: return encode_triple<T, kTripleX, false>;
        case MVCS_CBYCRY: return encode_422<T, 1, true>;
        case MVCS_YCBYCR: return encode_422<T, 0, true>;
        case MVCS_CRYCBY: return encode_422<T, 1, false>;
        case MVCS_YCRYCB: return encode_422<T, 0, false>;
        case MVCS_HSB: return encode_hsb<T>;
        case MVCS_YIQ: return encode_yiq<T>;
        case MVCS_CMYK: return encode_cmyk<T>;
        default: return nullptr;
    }
}

// Direct kernels from one of the RGB orders (or CMY when SInv).
template <class T, Layout S, bool SInv>
Kernel from_order(uint32_t to) {
    switch (to) {
        case MVCS_BGR: return permute<T, S, kBGR, SInv>;
        case MVCS_RGB: return permute<T, S, kRGB, SInv>;
        case MVCS_BGRX: return permute<T, S, kBGRX, SInv>;
        case MVCS_RGBX: return permute<T, S, kRGBX, SInv>;
        case MVCS_CMY:
            if constexpr (SInv) return nullptr;
            else return permute<T, S, kTriple, true>;
        case MVCS_GREY:
            if constexpr (SInv) return nullptr;
            else return grey_kernel<T, S>();
        default: return nullptr;
    }
}

template <class T>
Kernel direct(uint32_t from, uint32_t to) {
    switch (from) {
        case MVCS_BGR: return from_order<T, kBGR, false>(to);
        case MVCS_RGB: return from_order<T, kRGB, false>(to);
        case MVCS_BGRX: return from_order<T, kBGRX, false>(to);
        case MVCS_RGBX: return from_order<T, kRGBX, false>(to);
        case MVCS_CMY: return from_order<T, kTriple, true>(to);
        case MVCS_GREY:
            switch (to) {
                case MVCS_BGR: return from_grey<T, kBGR>;
                case MVCS_RGB: return from_grey<T, kRGB>;
                case MVCS_BGRX: return from_grey<T, kBGRX>;
                case MVCS_RGBX: return from_grey<T, kRGBX>;
                default: return nullptr;
            }
        case MVCS_YCRCB: return to == MVCS_YCRCBX ? permute<T, kTriple, kTripleX, false> : nullptr;
        case MVCS_YCRCBX: return to == MVCS_YCRCB ? permute<T, kTripleX, kTriple, false> : nullptr;
        default: return nullptr;
    }
}

template <class T>
Route route_for(uint32_t from, uint32_t to) {
    Route r;
    r.src_bytes = static_cast<uint32_t>(pixies_of(from) * sizeof(T));
    r.dst_bytes = static_cast<uint32_t>(pixies_of(to) * sizeof(T));
    if (from == to) {
        r.fn = copy;
        return r;
    }
    if (const Kernel k = direct<T>(from, to)) {
        r.fn = k;
        return r;
    }
    const Hub src_hub = hub_of(from, to), dst_hub = hub_of(to, from);
    r.decode = decoder<T>(from, src_hub);
    r.encode = encoder<T>(to, dst_hub);
    if (src_hub != dst_hub) r.hub = src_hub == Hub::rgb ? rgb_to_ycc : ycc_to_rgb;
    if (r.decode && r.encode) r.fn = general;
    return r;
}

}  // namespace

bool supported(uint32_t space) {
    switch (space) {
        case MVCS_GREY:
        case MVCS_BGR:
        case MVCS_BGRX:
        case MVCS_CBYCRY:
        case MVCS_YCRCB:
        case MVCS_YCRCBX:
        case MVCS_YCBYCR:
        case MVCS_HSB:
        case MVCS_RGBX:
        case MVCS_CRYCBY:
        case MVCS_YCRYCB:
        case MVCS_RGB:
        case MVCS_CMYK:
        case MVCS_YIQ:
        case MVCS_CMY: return true;
        default: return false;
    }
}

bool is_422(uint32_t space) {
    return space == MVCS_CBYCRY || space == MVCS_YCBYCR || space == MVCS_CRYCBY ||
           space == MVCS_YCRYCB;
}

Scale scale_of(const mvpixfmt& fmt) {
    Scale sc{};
    if (is_int_type(fmt.datatype)) {
        const uint32_t container = 8 * pixie_bytes(fmt.datatype);
        const uint32_t bits = (fmt.bits >= 1 && fmt.bits <= container) ? fmt.bits : container;
        const double maxval = std::ldexp(1.0, static_cast<int>(bits)) - 1.0;
        sc.low = 0;
        sc.high = maxval;
        sc.mid = (maxval + 1) / 2;
        sc.period = maxval + 1;
        sc.integer = 1;
    } else {
        const FloatRange range = float_range(fmt);
        sc.low = range.low;
        sc.high = range.high;
        sc.mid = (sc.low + sc.high) / 2;
        sc.period = sc.high - sc.low;
        sc.integer = 0;
    }
    return sc;
}

Route route(uint32_t from, uint32_t to, uint32_t type) {
    if (!supported(from) || !supported(to)) return {};
    switch (type_of(type)) {
        case MVTYPE_U8: return route_for<uint8_t>(from, to);
        case MVTYPE_U16: return route_for<uint16_t>(from, to);
        case MVTYPE_U32:
        case MVTYPE_I32: return route_for<uint32_t>(from, to);
        case MVTYPE_FLOAT: return route_for<float>(from, to);
        case MVTYPE_DOUBLE: return route_for<double>(from, to);
        default: return {};
    }
}

}  // namespace mvip::color
