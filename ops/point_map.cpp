// Lookup-table mappings: pixmap (u8), pixmaps (u16), pixmapl (u32) and
// pixmaplut (a table held in an image).  Values are masked to their bits
// before the lookup, so a table of 2^bits entries always suffices.  u8
// tables must have that many; u16 and u32 tables may be shorter (a 32-bit
// image could not be mapped otherwise): a value at or beyond the table's
// end passes unchanged, so the table remaps the values it covers.
#include "ops/bounded.hpp"
#include "ops/cpu.hpp"
#include "ops/point.hpp"
#include "views/typeconvert.hpp"

#include <memory>
#include <new>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define MVIP_HAVE_VBMI_PATH 1
#endif

namespace mvip::ops {
namespace {

#ifdef MVIP_HAVE_VBMI_PATH
// A 256-entry byte table held in four vector registers: two two-register
// byte permutes look up the low and high halves, bit 7 picks between them.
// 64 values per step; chosen at run time on processors that have it.
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void map_u8_vbmi(const uint8_t* in,
                                                                         uint8_t* out, size_t n,
                                                                         const uint8_t* table) {
    const __m512i t0 = _mm512_loadu_si512(table), t1 = _mm512_loadu_si512(table + 64);
    const __m512i t2 = _mm512_loadu_si512(table + 128), t3 = _mm512_loadu_si512(table + 192);
    size_t i = 0;
    for (; i + 64 <= n; i += 64) {
        const __m512i idx = _mm512_loadu_si512(in + i);
        const __m512i low = _mm512_permutex2var_epi8(t0, idx, t1);
        const __m512i high = _mm512_permutex2var_epi8(t2, idx, t3);
        const __mmask64 top = _mm512_movepi8_mask(idx);
        _mm512_storeu_si512(out + i, _mm512_mask_blend_epi8(top, low, high));
    }
    for (; i < n; ++i) out[i] = table[in[i]];
}
#endif

struct MapOp {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const T* table = static_cast<const T*>(p.table);
        const T mask = static_cast<T>(p.maxval);
        size_t i = 0;
#ifdef MVIP_HAVE_VBMI_PATH
        if constexpr (sizeof(T) == 1) {
            if (mask == 0xFF && cpu_has_avx512()) {
                map_u8_vbmi(in, out, n, table);
                return;
            }
        }
#endif
        if (mask == static_cast<T>(~T(0))) {
            // Every value indexes the table directly: eight independent
            // lookups per round keep the loads in flight.
            for (; i + 8 <= n; i += 8) {
                const T a = table[in[i]], b = table[in[i + 1]], c = table[in[i + 2]],
                        d = table[in[i + 3]], e = table[in[i + 4]], f = table[in[i + 5]],
                        g = table[in[i + 6]], h = table[in[i + 7]];
                out[i] = a, out[i + 1] = b, out[i + 2] = c, out[i + 3] = d;
                out[i + 4] = e, out[i + 5] = f, out[i + 6] = g, out[i + 7] = h;
            }
        }
        for (; i < n; ++i) out[i] = table[in[i] & mask];
    }
};
constexpr KernelSet kMap = kernels_for<MapOp, kInts>();

// A table shorter than 2^bits: u[0] entries; values beyond pass unchanged.
struct ShortMapOp {
    using Params = PointParams;
    template <class T>
    static void apply(const T* in, T* out, size_t n, const Params& p) {
        const T* table = static_cast<const T*>(p.table);
        const T mask = static_cast<T>(p.maxval);
        const uint64_t entries = p.u[0];
        for (size_t i = 0; i < n; ++i) {
            const T v = static_cast<T>(in[i] & mask);
            out[i] = v < entries ? table[v] : v;
        }
    }
};
constexpr KernelSet kShortMap = kernels_for<ShortMapOp, kU16 | kU32>();

// The table covers every value of the image's bits.
bool table_covers(const mvimage* src, uint64_t entries) {
    const uint32_t bits = src->pixfmt.bits;
    return bits < 64 && entries >= (uint64_t{1} << bits);
}

// Tables of u8 images must cover every value; others need one entry.
bool table_acceptable(const mvimage* src, uint64_t entries) {
    return type_of(src->pixfmt.datatype) == MVTYPE_U8 ? table_covers(src, entries) : entries >= 1;
}

int32_t map_checked(mvabort* hook, mvimage* src, mvimage* dst, const void* table, uint64_t entries,
                    uint32_t type, const RunList* runs) {
    if (!src || !dst || !table) return MVERR_USAGE;
    if (type_of(src->pixfmt.datatype) != type) return MVERR_DATATYPE;
    if (!table_acceptable(src, entries)) return MVERR_USAGE;
    return map_through_table(hook, src, dst, table, entries, runs);
}

}  // namespace

int32_t map_through_table(mvabort* hook, mvimage* src, mvimage* dst, const void* table,
                          uint64_t entries, const RunList* runs) {
    const int slot = type_slot(src->pixfmt.datatype);
    if (slot < 0 || !kMap[slot]) return MVERR_DATATYPE;
    if (!table_acceptable(src, entries)) return MVERR_USAGE;
    const KernelSet& kernels = table_covers(src, entries) ? kMap : kShortMap;
    PointParams p = params_for(src);
    p.table = table;
    p.u[0] = entries;
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.destination = dst;
    setup.options = MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32 | kColor;
    setup.mask = all_pixies(src);
    setup.runs = runs;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(kernels[slot], kernels[slot], &p);
}

namespace bounded {
int32_t pixmap(mvabort* hook, mvimage* src, mvimage* dst, const uint8_t* table, uint32_t entries,
               R runs) {
    return map_checked(hook, src, dst, table, entries, MVTYPE_U8, runs);
}
int32_t pixmaps(mvabort* hook, mvimage* src, mvimage* dst, const uint16_t* table,
                uint32_t entries, R runs) {
    return map_checked(hook, src, dst, table, entries, MVTYPE_U16, runs);
}
int32_t pixmapl(mvabort* hook, mvimage* src, mvimage* dst, const uint32_t* table,
                uint32_t entries, R runs) {
    return map_checked(hook, src, dst, table, entries, MVTYPE_U32, runs);
}
}  // namespace bounded

}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pixmap(mvabort* hook, mvimage* src, mvimage* dst,
                                         const uint8_t* table, uint32_t entries) {
    return whole<bounded::pixmap>(hook, src, dst, table, entries);
}

extern "C" MVIP_API int32_t mvip8_pixmaps(mvabort* hook, mvimage* src, mvimage* dst,
                                          const uint16_t* table, uint32_t entries) {
    return whole<bounded::pixmaps>(hook, src, dst, table, entries);
}

extern "C" MVIP_API int32_t mvip8_pixmapl(mvabort* hook, mvimage* src, mvimage* dst,
                                          const uint32_t* table, uint32_t entries) {
    return whole<bounded::pixmapl>(hook, src, dst, table, entries);
}

extern "C" MVIP_API int32_t mvip8_pixmaplut(mvabort* hook, mvimage* src, mvimage* dst,
                                            mvimage* lut) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || !lut) return MVERR_USAGE;
    const uint32_t type = type_of(src->pixfmt.datatype);
    if (type != MVTYPE_U8 && type != MVTYPE_U16 && type != MVTYPE_U32) return MVERR_DATATYPE;
    // The table is the first line of the lut image's window, read in the
    // source's type.
    const uint32_t entries = wind_width(lut);
    if (wind_height(lut) == 0 || !table_acceptable(src, entries)) return MVERR_USAGE;
    const uint32_t bytes = pixie_bytes(type);
    std::unique_ptr<unsigned char[]> table(new (std::nothrow) unsigned char[size_t{entries} * bytes]);
    if (!table) return MVERR_MEMORY;
    int32_t rc = lut->ioset(lut, 0, type | MVREQ_LOW, 1);
    mvimage view;
    mvimage* from = lut;
    if (rc < 0) {
        const mvpixfmt fmt = conv::format_as(lut->pixfmt, type, 8 * bytes);
        if ((rc = mvimage_converter(&view, lut, &fmt, 0, 0, 8 * bytes, 0)) < 0) return rc;
        from = &view;
        if ((rc = from->ioset(from, 0, type | MVREQ_LOW, 1)) < 0) return rc;
    }
    if (from->ioread(from, 0, table.get(), entries, 0, 0) != entries) return MVERR_USAGE;
    from->iowait(from);
    return map_through_table(hook, src, dst, table.get(), entries);
}
