// Lookup-table mappings: pixmap (u8), pixmaps (u16), pixmapl (u32) and
// pixmaplut (a table held in an image).  Values are masked to their bits
// before the lookup, so a table of 2^bits entries always suffices.
#include "ops/point.hpp"

#include <memory>
#include <new>

namespace mvip::ops {
namespace {

struct MapOp {
    using Params = PointParams;
    template <class T>
    static void apply(T* v, size_t n, const Params& p) {
        const T* table = static_cast<const T*>(p.table);
        const T mask = static_cast<T>(p.maxval);
        for (size_t i = 0; i < n; ++i) v[i] = table[v[i] & mask];
    }
};
constexpr KernelSet kMap = kernels_for<MapOp, kInts>();

// The table must cover every value of the image's bits.
bool table_covers(const mvimage* src, uint64_t entries) {
    const uint32_t bits = src->pixfmt.bits;
    return bits < 64 && entries >= (uint64_t{1} << bits);
}

int32_t map_checked(mvabort* hook, mvimage* src, mvimage* dst, const void* table, uint64_t entries,
                    uint32_t type) {
    if (const auto stop = hook_at_entry(hook)) return *stop;
    if (!src || !dst || !table) return MVERR_USAGE;
    if (type_of(src->pixfmt.datatype) != type) return MVERR_DATATYPE;
    if (!table_covers(src, entries)) return MVERR_USAGE;
    return map_through_table(hook, src, dst, table, entries);
}

}  // namespace

int32_t map_through_table(mvabort* hook, mvimage* src, mvimage* dst, const void* table,
                          uint64_t entries) {
    const int slot = type_slot(src->pixfmt.datatype);
    if (slot < 0 || !kMap[slot]) return MVERR_DATATYPE;
    if (!table_covers(src, entries)) return MVERR_USAGE;
    PointParams p = params_for(src);
    p.table = table;
    Setup setup;
    setup.hook = hook;
    setup.sources[0] = src;
    setup.destination = dst;
    setup.options = MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32 | kColor;
    setup.mask = all_pixies(src);
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(kMap[slot], kMap[slot], &p);
}

}  // namespace mvip::ops

using namespace mvip;
using namespace mvip::ops;

extern "C" MVIP_API int32_t mvip8_pixmap(mvabort* hook, mvimage* src, mvimage* dst,
                                         const uint8_t* table, uint32_t entries) {
    return map_checked(hook, src, dst, table, entries, MVTYPE_U8);
}

extern "C" MVIP_API int32_t mvip8_pixmaps(mvabort* hook, mvimage* src, mvimage* dst,
                                          const uint16_t* table, uint32_t entries) {
    return map_checked(hook, src, dst, table, entries, MVTYPE_U16);
}

extern "C" MVIP_API int32_t mvip8_pixmapl(mvabort* hook, mvimage* src, mvimage* dst,
                                          const uint32_t* table, uint32_t entries) {
    return map_checked(hook, src, dst, table, entries, MVTYPE_U32);
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
    if (wind_height(lut) == 0 || !table_covers(src, entries)) return MVERR_USAGE;
    const uint32_t bytes = pixie_bytes(type);
    std::unique_ptr<unsigned char[]> table(new (std::nothrow) unsigned char[size_t{entries} * bytes]);
    if (!table) return MVERR_MEMORY;
    int32_t rc = lut->ioset(lut, 0, type | MVREQ_LOW, 1);
    mvimage view;
    mvimage* from = lut;
    if (rc < 0) {
        mvpixfmt fmt = lut->pixfmt;
        fmt.datatype = type;
        if ((rc = mvimage_converter(&view, lut, &fmt, 0, 0, 8 * bytes, 0)) < 0) return rc;
        from = &view;
        if ((rc = from->ioset(from, 0, type | MVREQ_LOW, 1)) < 0) return rc;
    }
    if (from->ioread(from, 0, table.get(), entries, 0, 0) != entries) return MVERR_USAGE;
    from->iowait(from);
    return map_through_table(hook, src, dst, table.get(), entries);
}
