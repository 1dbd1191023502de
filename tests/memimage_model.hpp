// A plain per-pixel reference model of a memory image (2-D, and 3-D stacks
// of planes), used to check the library's transfer routines (run copies,
// direct mapping, scattered transfers) over random formats, windows and
// requests.
//
// The model works one pixie at a time on values held in 64-bit words:
//   read:  stored bytes -> swap if stored in foreign order -> read-side
//          adjustment -> swap if the caller wants foreign order
//   write: caller value -> swap if the caller's order is foreign ->
//          write-side adjustment -> swap if stored in foreign order
// and addresses pixels as
//   priv + (nw.x + x) * pixelsize + (nw.y + y) * pitch
//        [+ (nw.z + z) * planepitch] + first * pixiesize.
#pragma once

#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace mvmodel {

using Rng = std::mt19937_64;

inline uint32_t pick(Rng& rng, uint32_t n) { return (uint32_t)(rng() % n); }
inline bool chance(Rng& rng, uint32_t percent) { return pick(rng, 100) < percent; }

inline uint32_t pixie_bytes(uint32_t type) {
    switch (type & 0xFFu) {
        case 1: return 1;
        case 2: return 2;
        case 4: case 8: case 16: return 4;
        case 32: return 8;
        default: return 0;
    }
}
inline bool is_float(uint32_t type) { return (type & 0x30u) != 0; }

inline uint64_t swap_bytes(uint64_t v, uint32_t n) {
    if (n != 2 && n != 4) return v;  // only 2- and 4-byte pixies are swapped
    uint64_t r = 0;
    for (uint32_t i = 0; i < n; ++i) r |= ((v >> (8 * i)) & 0xFFu) << (8 * (n - 1 - i));
    return r;
}

inline uint64_t load(const uint8_t* p, uint32_t n) {
    uint64_t v = 0;
    std::memcpy(&v, p, n);  // the test machine is little-endian
    return v;
}
inline void store(uint8_t* p, uint64_t v, uint32_t n) { std::memcpy(p, &v, n); }

enum class Adjust { none, shl, shr, mask };

// How one access converts values between stored and caller form.
struct Conversion {
    uint32_t n = 1;            // pixie bytes
    uint64_t cmask = 0xFF;     // all bits of a container
    bool stored_foreign = false;
    bool caller_foreign = false;
    Adjust read = Adjust::none, write = Adjust::none;
    uint32_t shift = 0;
    uint64_t keep = 0;         // significant-bit mask

    uint64_t adjust(Adjust a, uint64_t v) const {
        switch (a) {
            case Adjust::shl: return (v << shift) & cmask;
            case Adjust::shr: return (v & cmask) >> shift;
            case Adjust::mask: return v & keep;
            default: return v;
        }
    }
    uint64_t to_caller(uint64_t raw) const {
        uint64_t v = stored_foreign ? swap_bytes(raw, n) : raw;
        v = adjust(read, v);
        return caller_foreign ? swap_bytes(v, n) : v;
    }
    uint64_t to_stored(uint64_t val) const {
        uint64_t v = caller_foreign ? swap_bytes(val, n) : val;
        v = adjust(write, v);
        return stored_foreign ? swap_bytes(v, n) : v;
    }
};

// The conversion an ioset/bxts request selects on an image of format f.
inline Conversion conversion_for(const mvpixfmt& f, uint32_t request) {
    Conversion c;
    c.n = pixie_bytes(f.datatype);
    c.cmask = c.n >= 8 ? ~0ull : ((1ull << (8 * c.n)) - 1);
    c.stored_foreign = (f.byteorder & 0x800u) != 0;
    c.caller_foreign = (request & 0x800u) != 0;
    if (is_float(f.datatype) || f.valform == 0x300u) return c;
    const uint32_t container = 8 * c.n;
    c.shift = container - f.bits;
    c.keep = ((f.bits >= 64 ? ~0ull : ((1ull << f.bits) - 1))) << (f.valform == 0x200u ? 0 : c.shift);
    c.keep &= c.cmask;
    const uint32_t rd = f.valflags & 0xFFFFu, wr = f.valflags >> 16;
    if ((request & 0x100u) && !(f.valform & 0x100u))
        c.read = Adjust::shl;
    else if ((request & 0x200u) && !(f.valform & 0x200u))
        c.read = Adjust::shr;
    else if ((request & rd) != (rd & 0x400u))
        c.read = Adjust::mask;
    if ((request & 0x100u) && !(f.valform & 0x100u))
        c.write = Adjust::shr;
    else if ((request & 0x200u) && !(f.valform & 0x200u))
        c.write = Adjust::shl;
    else if ((wr & request) != (request & 0x400u))
        c.write = Adjust::mask;
    return c;
}

// Pixels available from (x, y) in a 2-D scan mode, unsigned 32-bit.
inline uint32_t available(uint32_t mode, uint32_t w, uint32_t h, int32_t x, int32_t y) {
    uint32_t ux = (uint32_t)x, uy = (uint32_t)y;
    if (!(mode & 0x2000u) && (ux >= w || uy >= h)) return 0;
    switch (mode & 0x42u) {
        case 0x00: return w - ux;
        case 0x02: return h - uy;
        case 0x40: return (h - uy - 1) * w + (w - ux);
        default: return (w - ux - 1) * h + (h - uy);
    }
}

// Pixels available from (x, y, z) in a 3-D scan mode (bits 0x0002, 0x0004,
// 0x0040, 0x2000), unsigned 32-bit.
inline uint32_t available3(uint32_t mode, uint32_t w, uint32_t h, uint32_t d, int32_t x, int32_t y,
                           int32_t z) {
    const uint32_t ux = (uint32_t)x, uy = (uint32_t)y, uz = (uint32_t)z;
    if (!(mode & 0x2000u) && (ux >= w || uy >= h || uz >= d)) return 0;
    switch (mode & 0x46u) {
        case 0x00: return w - ux;
        case 0x02: return h - uy;
        case 0x04: return d - uz;
        case 0x40: return ((d - uz - 1) * h + (h - uy) - 1) * w + (w - ux);
        case 0x42: return ((d - uz - 1) * w + (w - ux) - 1) * h + (h - uy);
        default: return ((h - uy - 1) * w + (w - ux) - 1) * d + (d - uz);  // 0x44
    }
}

// Window-relative positions of the n pixels of a 3-D run from p, in the
// scan order of `mode`: x runs go on along y then z, y runs along x then
// z, z runs along x then y.
struct Pos3 {
    uint32_t x, y, z;
};
inline std::vector<Pos3> run_positions3(uint32_t mode, uint32_t w, uint32_t h, uint32_t d, Pos3 p,
                                        uint32_t n) {
    std::vector<Pos3> r;
    r.reserve(n);
    for (uint32_t i = 0; i < n; ++i) {
        r.push_back(p);
        if (mode & 0x4u) {
            if (++p.z == d) { p.z = 0; if (++p.x == w) { p.x = 0; ++p.y; } }
        } else if (mode & 0x2u) {
            if (++p.y == h) { p.y = 0; if (++p.x == w) { p.x = 0; ++p.z; } }
        } else if (++p.x == w) {
            p.x = 0;
            if (++p.y == h) { p.y = 0; ++p.z; }
        }
    }
    return r;
}

// A random format for a memory image.
inline mvpixfmt random_format(Rng& rng) {
    static const uint32_t types[] = {1, 2, 4, 8, 16, 32};
    mvpixfmt f{};
    f.datatype = types[pick(rng, 6)];
    if (chance(rng, 85))
        f.pixies = 1 + pick(rng, 5);
    else {
        static const uint32_t many[] = {6, 7, 8, 16, 31, 32};
        f.pixies = many[pick(rng, 6)];
    }
    f.colorspace = pick(rng, 4) == 0 ? 0u : f.pixies;
    const uint32_t container = 8 * pixie_bytes(f.datatype);
    if (is_float(f.datatype)) {
        f.bits = 0;
        // The top of the value range; transfers never look at it.
        static const float highs[] = {1.0f, 1.0f, 255.0f, 4095.0f};
        std::memcpy(&f.valform, &highs[pick(rng, 4)], 4);
        static const float lows[] = {0.0f, -1.0f, 0.5f};
        float lo = lows[pick(rng, 3)];
        std::memcpy(&f.valflags, &lo, 4);
    } else {
        uint32_t r = pick(rng, 100);
        if (r < 30) {
            f.valform = 0x300;
            f.bits = container;
        } else {
            f.valform = chance(rng, 50) ? 0x100u : 0x200u;
            f.bits = r < 35 ? container : 1 + pick(rng, container - 1);
        }
        f.valflags = (chance(rng, 50) ? 0x400u : 0u) | (chance(rng, 50) ? 0x04000000u : 0u);
    }
    f.byteorder = chance(rng, 40) ? 0x800u : 0u;
    return f;
}

// A finite value, exact in both float and double arithmetic.
inline uint64_t finite_bits(Rng& rng, uint32_t type) {
    double d = (double)((int)pick(rng, 4001) - 2000) / 16.0;
    if ((type & 0xFFu) == 32) {
        uint64_t u;
        std::memcpy(&u, &d, 8);
        return u;
    }
    float f = (float)d;
    uint32_t u;
    std::memcpy(&u, &f, 4);
    return u;
}

inline uint64_t random_value(Rng& rng, uint32_t nbytes) {
    uint64_t v = rng();
    return nbytes >= 8 ? v : (v & ((1ull << (8 * nbytes)) - 1));
}

enum class PitchKind { packed_zero, packed, padded, negative_packed, negative_padded };

// Pixel memory with guard bytes on both sides and a shadow copy that the
// model updates.
struct PixelArena {
    mvpixfmt fmt{};
    uint32_t ps = 0, pxs = 0;     // pixie and pixel bytes
    static constexpr size_t kGuard = 64;
    std::vector<uint64_t> backing;  // 8-byte aligned
    uint8_t* arena = nullptr;
    size_t arena_bytes = 0;
    uint8_t* priv = nullptr;
    std::vector<uint8_t> shadow;

    PixelArena() = default;
    PixelArena(const PixelArena&) = delete;
    PixelArena& operator=(const PixelArena&) = delete;

    explicit PixelArena(const mvpixfmt& f) : fmt(f) {
        ps = pixie_bytes(f.datatype);
        pxs = ps * f.pixies;
    }
    // Random bytes over `region` bytes plus the guards; priv at `first`
    // bytes into the region.
    void fill(Rng& rng, size_t region, size_t first) {
        arena_bytes = region + 2 * kGuard;
        backing.assign((arena_bytes + 7) / 8, 0);
        arena = reinterpret_cast<uint8_t*>(backing.data());
        for (size_t i = 0; i < arena_bytes; ++i) arena[i] = (uint8_t)rng();
        priv = arena + kGuard + first;
    }
    // Finite float values in every pixie of a pixel, so arithmetic stays exact.
    void finite_pixel(Rng& rng, uint8_t* p) {
        for (uint32_t k = 0; k < fmt.pixies; ++k) {
            uint64_t v = finite_bits(rng, fmt.datatype);
            if (fmt.byteorder & 0x800u) v = swap_bytes(v, ps);
            store_at(p + k * ps, v);
        }
    }
    void take_shadow() { shadow.assign(arena, arena + arena_bytes); }

    size_t offset_of(const uint8_t* p) const { return (size_t)(p - arena); }
    uint64_t shadow_load(const uint8_t* p) const { return load(shadow.data() + offset_of(p), ps); }
    void shadow_store(const uint8_t* p, uint64_t v) { mvmodel::store(shadow.data() + offset_of(p), v, ps); }
    void store_at(uint8_t* p, uint64_t v) { mvmodel::store(p, v, ps); }

    bool memory_matches_shadow() const { return std::memcmp(arena, shadow.data(), arena_bytes) == 0; }
    // First differing byte, for messages.
    long first_difference() const {
        for (size_t i = 0; i < arena_bytes; ++i)
            if (arena[i] != shadow[i]) return (long)i;
        return -1;
    }
};

// A 2-D memory image over an arena.
struct MemImage : PixelArena {
    uint32_t xdim = 0, ydim = 0;
    int32_t pitch = 0;            // effective pitch
    int32_t pitch_arg = 0;        // what the constructor was given
    mvimage im{};
    int32_t build_rc = 0;

    MemImage(Rng& rng, const mvpixfmt& f, uint32_t xd, uint32_t yd, PitchKind pk)
        : PixelArena(f), xdim(xd), ydim(yd) {
        const int32_t packed = (int32_t)(pxs * xdim);
        pitch_arg = pitch_for(rng, pk, packed, ps, pitch);
        const size_t apitch = (size_t)(pitch < 0 ? -(int64_t)pitch : pitch);
        fill(rng, (ydim - 1) * apitch + (size_t)packed, pitch < 0 ? (ydim - 1) * apitch : 0);
        if (is_float(f.datatype))
            for (uint32_t y = 0; y < ydim; ++y)
                for (uint32_t x = 0; x < xdim; ++x) finite_pixel(rng, pixel(x, y));
        take_shadow();
        const uint32_t dims[2] = {xdim, ydim};
        const uint64_t size = chance(rng, 50) ? 0 : (uint64_t)ydim * apitch;
        build_rc = mvimage_memdata(&im, priv, size, dims, pitch_arg, &fmt, nullptr, 0);
    }

    // The pitch argument for a kind of pitch; `pitch` receives the effective one.
    static int32_t pitch_for(Rng& rng, PitchKind pk, int32_t packed, uint32_t ps, int32_t& pitch) {
        const int32_t padded = packed + (int32_t)(ps * (1 + pick(rng, 5)));
        switch (pk) {
            case PitchKind::packed_zero: pitch = packed; return 0;
            case PitchKind::packed: return pitch = packed;
            case PitchKind::padded: return pitch = padded;
            case PitchKind::negative_packed: return pitch = -packed;
            default: return pitch = -padded;
        }
    }

    // Byte address of image pixel (x, y) (whole-image coordinates).
    uint8_t* pixel(uint32_t x, uint32_t y) { return priv + (int64_t)x * pxs + (int64_t)y * pitch; }
};

// A 3-D memory image over an arena: lines `pitch` apart (any kind of
// pitch), planes `plane` bytes apart: packed by pixel size (plane pitch 0
// given; planes overlap when the lines are padded) or padded beyond their
// lines.
struct MemImage3 : PixelArena {
    uint32_t xdim = 0, ydim = 0, zdim = 0;
    int32_t pitch = 0, pitch_arg = 0;
    int64_t plane = 0;
    uint64_t plane_arg = 0;
    mvimage3 im{};
    int32_t build_rc = 0;

    MemImage3(Rng& rng, const mvpixfmt& f, uint32_t xd, uint32_t yd, uint32_t zd, PitchKind pk,
              bool padded_planes)
        : PixelArena(f), xdim(xd), ydim(yd), zdim(zd) {
        const int32_t packed = (int32_t)(pxs * xdim);
        pitch_arg = MemImage::pitch_for(rng, pk, packed, ps, pitch);
        const int64_t apitch = pitch < 0 ? -(int64_t)pitch : pitch;
        if (padded_planes) {
            plane = ydim * apitch + (int64_t)(ps * pick(rng, 9));
            plane_arg = (uint64_t)plane;
        } else {
            plane = (int64_t)pxs * xdim * ydim;
            plane_arg = 0;
        }
        const size_t lines = (size_t)((ydim - 1) * apitch + packed);
        fill(rng, (size_t)((zdim - 1) * plane) + lines, pitch < 0 ? (size_t)((ydim - 1) * apitch) : 0);
        if (is_float(f.datatype))
            for (uint32_t z = 0; z < zdim; ++z)
                for (uint32_t y = 0; y < ydim; ++y)
                    for (uint32_t x = 0; x < xdim; ++x) finite_pixel(rng, pixel(x, y, z));
        take_shadow();
        const uint32_t dims[3] = {xdim, ydim, zdim};
        const uint64_t size = chance(rng, 50) ? 0 : (uint64_t)((zdim - 1) * plane) + ydim * apitch +
                                                        (uint64_t)(padded_planes ? plane - ydim * apitch : 0);
        build_rc = mvimage3_memdata(&im, priv, size, dims, pitch_arg, plane_arg, &fmt, nullptr, 0);
    }

    // Byte address of image pixel (x, y, z) (whole-image coordinates).
    uint8_t* pixel(uint32_t x, uint32_t y, uint32_t z) {
        return priv + (int64_t)x * pxs + (int64_t)y * pitch + (int64_t)z * plane;
    }
};

// Random window inside xdim x ydim; sometimes empty, sometimes whole.
inline mvywindow random_window(Rng& rng, uint32_t xdim, uint32_t ydim) {
    mvywindow w;
    uint32_t r = pick(rng, 100);
    if (r < 25) return mvywindow{{0, 0}, {(int32_t)xdim, (int32_t)ydim}};
    if (r < 35) {  // whole lines, some of them
        int32_t ny = (int32_t)pick(rng, ydim);
        return mvywindow{{0, ny}, {(int32_t)xdim, ny + 1 + (int32_t)pick(rng, ydim - ny)}};
    }
    w.nw.x = (int32_t)pick(rng, xdim + 1);
    w.nw.y = (int32_t)pick(rng, ydim + 1);
    w.se.x = w.nw.x + (int32_t)pick(rng, xdim - w.nw.x + 1);
    w.se.y = w.nw.y + (int32_t)pick(rng, ydim - w.nw.y + 1);
    if (r < 90 && (w.se.x == w.nw.x || w.se.y == w.nw.y)) {
        // mostly non-empty windows
        if (w.nw.x == (int32_t)xdim) --w.nw.x;
        if (w.nw.y == (int32_t)ydim) --w.nw.y;
        w.se.x = std::max(w.se.x, w.nw.x + 1);
        w.se.y = std::max(w.se.y, w.nw.y + 1);
    }
    return w;
}

// Random box inside xdim x ydim x zdim; sometimes the whole box,
// sometimes empty in one axis.
inline mvyzwindow random_window3(Rng& rng, uint32_t xdim, uint32_t ydim, uint32_t zdim) {
    if (chance(rng, 25)) return mvyzwindow{{0, 0, 0}, {(int32_t)xdim, (int32_t)ydim, (int32_t)zdim}};
    const uint32_t dims[3] = {xdim, ydim, zdim};
    int32_t nw[3], se[3];
    const bool allow_empty = chance(rng, 10);
    for (int a = 0; a < 3; ++a) {
        if (dims[a] == 0 || chance(rng, 30)) {  // whole along this axis
            nw[a] = 0;
            se[a] = (int32_t)dims[a];
            continue;
        }
        nw[a] = (int32_t)pick(rng, dims[a] + (allow_empty ? 1 : 0));
        se[a] = nw[a] + (int32_t)pick(rng, dims[a] - (uint32_t)nw[a] + 1);
        if (!allow_empty && se[a] == nw[a]) ++se[a];
    }
    return mvyzwindow{{nw[0], nw[1], nw[2]}, {se[0], se[1], se[2]}};
}

inline uint32_t all_mask(uint32_t pixies) { return pixies >= 32 ? 0xFFFFFFFFu : ((1u << pixies) - 1); }

// A contiguous pixie mask; all pixies about half the time.
inline uint32_t random_mask(Rng& rng, uint32_t pixies, uint32_t& first, uint32_t& count) {
    if (chance(rng, 45)) {
        first = 0;
        count = pixies;
    } else {
        count = 1 + pick(rng, pixies);
        first = pick(rng, pixies - count + 1);
    }
    uint32_t run = count >= 32 ? 0xFFFFFFFFu : ((1u << count) - 1);
    return run << first;
}

inline uint32_t random_request(Rng& rng, uint32_t type) {
    static const uint32_t just[] = {0, 0x100, 0x200, 0x100, 0x200, 0x300};
    uint32_t r = type | just[pick(rng, 6)];
    if (chance(rng, 40)) r |= 0x400;
    if (chance(rng, 40)) r |= 0x800;
    return r;
}

// ---- run transfers through any record, against the model -------------------

// The pixel memory (first pixie) a record shows at window-relative (x, y, z).
using Where = std::function<uint8_t*(uint32_t x, uint32_t y, uint32_t z)>;

struct RunCounts {
    int reads = 0, writes = 0, failures = 0;
};

// Random run accesses through `v` (a 2-D record unless `three_d`; `ext` is
// its window, depth 1 for 2-D), each held to the model through `where`:
// the run length, the values read (nothing stored past them, the memory
// untouched), the memory after a write (the shadow covers guard bytes, so
// stray writes outside the pixies or the window show) and the caller's
// buffer left as it was.  `memory`: the record is a memory image, which
// also takes unchecked runs and ignores the access flags.  Stops after a
// few failures.
template <class Rec>
void check_runs(Rng& rng, Rec& v, PixelArena& m, const uint32_t ext[3], bool three_d, bool memory, const Where& where,
                const std::string& what, RunCounts& n, int accesses = 3) {
    constexpr bool rec3 = std::is_same_v<Rec, mvimage3>;
    for (int acc = 0; acc < accesses && n.failures < 3; ++acc) {
        static const uint32_t scans[] = {0x0u, 0x2u, 0x4u};
        const uint32_t mode = scans[pick(rng, three_d ? 3 : 2)] | (chance(rng, 50) ? 0x40u : 0u) |
                              (memory && chance(rng, 15) ? 0x2000u : 0u);
        const uint32_t request = random_request(rng, m.fmt.datatype);
        uint32_t first, c;
        const uint32_t mask = random_mask(rng, m.fmt.pixies, first, c);
        std::ostringstream ctx;
        ctx << what << std::hex << " mode 0x" << mode << " request 0x" << request << " mask 0x" << mask << std::dec;
        const int32_t set = v.ioset(&v, mode, request, mask);
        if (memory ? set != 1 : set < 0) {  // (a view may answer 0 as well)
            ADD_FAILURE() << "ioset answered " << set << "; " << ctx.str();
            ++n.failures;
            return;
        }
        const Conversion conv = conversion_for(m.fmt, request);
        for (int op = 0; op < 6 && n.failures < 3; ++op) {
            // A start mostly inside the window, sometimes just outside it.
            const bool in = chance(rng, 85);
            int32_t at[3] = {0, 0, 0};
            for (int a = 0; a < (three_d ? 3 : 2); ++a)
                at[a] = (in && ext[a]) ? (int32_t)pick(rng, ext[a]) : (int32_t)pick(rng, ext[a] + 6) - 3;
            const bool inside = (uint32_t)at[0] < ext[0] && (uint32_t)at[1] < ext[1] && (uint32_t)at[2] < ext[2];
            const uint32_t avail = available3(mode, ext[0], ext[1], ext[2], at[0], at[1], at[2]);
            uint32_t count;
            switch (pick(rng, 6)) {
                case 0: count = 0xFFFFFFFFu; break;
                case 1: count = 0; break;
                case 2: count = 1 + pick(rng, 9); break;
                default: count = pick(rng, (inside ? std::min(avail, 5000u) : 8u) + 4);
            }
            const uint32_t want_len = std::min(count, avail), want_n = inside ? want_len : 0;
            std::ostringstream here;
            here << ctx.str() << " at " << at[0] << "," << at[1] << "," << at[2] << " count " << count;
            uint32_t len;
            if constexpr (rec3) len = v.iolen(&v, count, at[0], at[1], at[2]);
            else len = v.iolen(&v, count, at[0], at[1]);
            if (len != want_len) {
                ADD_FAILURE() << "iolen " << len << " want " << want_len << "; " << here.str();
                ++n.failures;
                continue;
            }
            const auto pos = run_positions3(mode, ext[0], ext[1], ext[2],
                                            inside ? Pos3{(uint32_t)at[0], (uint32_t)at[1], (uint32_t)at[2]} : Pos3{0, 0, 0},
                                            want_n);
            auto pixie = [&](uint32_t i, uint32_t j) { return where(pos[i].x, pos[i].y, pos[i].z) + (first + j) * m.ps; };
            const size_t vals = ((size_t)want_n + 4) * c, bufbytes = vals * m.ps;
            std::vector<uint64_t> words(bufbytes / 8 + 2);
            uint8_t* buf = reinterpret_cast<uint8_t*>(words.data());
            static const uint32_t kFlags[] = {0u, 0x1000u, 0x800u, 0xFFFFFFFFu};
            const uint32_t flags = memory ? kFlags[pick(rng, 4)] : 0;
            const bool write = chance(rng, 50);
            std::vector<uint64_t> in_vals(vals);
            if (write) {
                for (size_t k = 0; k < vals; ++k) store(buf + k * m.ps, in_vals[k] = random_value(rng, m.ps), m.ps);
            } else {
                std::memset(buf, 0xEE, bufbytes);
            }
            uint32_t moved;
            if constexpr (rec3)
                moved = write ? v.iorite(&v, flags, buf, count, at[0], at[1], at[2])
                              : v.ioread(&v, flags, buf, count, at[0], at[1], at[2]);
            else
                moved = write ? v.iorite(&v, flags, buf, count, at[0], at[1]) : v.ioread(&v, flags, buf, count, at[0], at[1]);
            const char* name = write ? "iorite" : "ioread";
            bool ok = moved == want_n;
            if (!ok) ADD_FAILURE() << name << " moved " << moved << " want " << want_n << "; " << here.str();
            for (uint32_t i = 0; ok && i < want_n; ++i)
                for (uint32_t j = 0; ok && j < c; ++j) {
                    if (write) {
                        m.shadow_store(pixie(i, j), conv.to_stored(in_vals[(size_t)i * c + j]));
                    } else if (load(buf + ((size_t)i * c + j) * m.ps, m.ps) != conv.to_caller(m.shadow_load(pixie(i, j)))) {
                        ADD_FAILURE() << "ioread pixel " << i << " (" << pos[i].x << "," << pos[i].y << "," << pos[i].z
                                      << ") pixie " << j << "; " << here.str();
                        ok = false;
                    }
                }
            for (size_t b = (size_t)want_n * c * m.ps; ok && !write && b < bufbytes; ++b)
                if (buf[b] != 0xEE) {
                    ADD_FAILURE() << "ioread stored past its pixels; " << here.str();
                    ok = false;
                }
            for (size_t k = 0; ok && write && k < vals; ++k)
                if (load(buf + k * m.ps, m.ps) != in_vals[k]) {
                    ADD_FAILURE() << "iorite changed the caller's buffer; " << here.str();
                    ok = false;
                }
            if (ok && !m.memory_matches_shadow()) {
                ADD_FAILURE() << name << " left memory differing at arena byte " << m.first_difference() << " (guard "
                              << m.kGuard << "); " << here.str();
                ok = false;
            }
            if (!ok) {
                ++n.failures;
                m.take_shadow();
            }
            ++(write ? n.writes : n.reads);
        }
    }
}

}  // namespace mvmodel
