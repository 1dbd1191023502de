// 3-D memory images ("MVIMMEM3"): constructors and window setting.  A stack
// of planes in memory, line after line within a plane and plane after
// plane; transfers, mapping and scattered transfers are those of the 2-D
// memory image with a third axis (memaccess.cpp, memmap.cpp, membxt.cpp).
#include "core/memimage.hpp"

#include <cstdlib>
#include <limits>

namespace mvip::mem {
namespace {

constexpr uint32_t kHeapRecordMark3 = 0x33434D4Du;  // records from memmalloc2 (3-D)

uint32_t aeiou3(mvimage3* im, uint32_t code, intptr_t arg1, intptr_t arg2) { return aeiou(as2(im), code, arg1, arg2); }

mvyzwindow* xwind3(mvimage3* im, mvyzwindow* w, int32_t code) {
    switch (code) {
        case 's':
            im->wind = w ? *w : im->imdim;
            if (!window_valid_3d(im)) {
                im->wind = mvyzwindow{};
                set_noop_slots3(im);
                return nullptr;
            }
            set_idle_slots3(im, mvimmem3_ioset, mvimmem3_bxts, mvimmem3_imapset);
            return &im->wind;
        case 'w':
            if (w) *w = im->wind;
            return &im->wind;
        case 'i':
            if (w) *w = im->imdim;
            return &im->imdim;
        default: return nullptr;
    }
}

// Bytes from the first to one past the last byte the pixels can occupy,
// in double precision (the pitches may be anything a caller gives).
double extent_bytes(const uint32_t* dims, uint32_t pixelsize, int64_t pitch, int64_t plane) {
    return (double(dims[2]) - 1) * double(plane) + (double(dims[1]) - 1) * std::abs(double(pitch)) +
           double(dims[0]) * pixelsize;
}

// The steps every constructor shares, on a format already built.  A line
// pitch of 0 packs the lines; a plane pitch of 0 packs the planes by pixel
// size (pixelsize x xdim x ydim), even when the lines are padded.
int32_t build3(mvimage3* im, void* pixels, const uint32_t* dims, int32_t pitch, uint64_t plane,
               const mvpixfmt& fmt, const mvgeometry* geom, uint32_t inquiry) {
    if (!im) return MVERR_USAGE;
    if (!pixels || !dims_usable(dims, 3)) {
        mvimage3_defnull(im);
        return MVERR_USAGE;
    }
    std::memset(static_cast<void*>(im), 0, sizeof *im);
    im->imdim.se = mvpoint3{static_cast<int32_t>(dims[0]), static_cast<int32_t>(dims[1]),
                            static_cast<int32_t>(dims[2])};
    im->pixfmt = fmt;
    derive_sizes(as2(im));
    if (geom) std::memcpy(&im->xwidth, geom, sizeof *geom);
    MemState& st = state(im);
    st.pitch = pitch ? pitch : int64_t{im->pixelsize} * dims[0];
    const double packed_plane = double(im->pixelsize) * dims[0] * dims[1];
    // Every byte offset must fit a signed 64-bit word.
    constexpr double kAddressable = 9223372036854775807.0;
    if (plane > uint64_t{std::numeric_limits<int64_t>::max()} ||
        (plane == 0 && packed_plane >= kAddressable) ||
        extent_bytes(dims, im->pixelsize, st.pitch, plane ? int64_t(plane) : int64_t(packed_plane)) >=
            kAddressable) {
        mvimage3_defnull(im);
        return MVERR_USAGE;
    }
    st.plane_pitch = plane ? static_cast<int64_t>(plane) : int64_t{im->pixelsize} * dims[0] * dims[1];
    st.inquiry_size = inquiry ? inquiry : kDefaultInquirySize;
    set_kind(as2(im), "MVIMMEM3");
    im->priv = pixels;
    im->aeiou = mvimmem3_aeiou;
    im->xwind = mvimmem3_xwind;
    im->xwind(im, nullptr, 's');
    return 0;
}

mvgeometry geometry_of(float xwidth, float ywidth, uint32_t units, float zwidth, uint32_t zunits) {
    mvgeometry g{};
    g.xwidth = xwidth;
    g.ywidth = ywidth;
    g.zwidth = zwidth;
    g.xunits = g.yunits = static_cast<uint8_t>(units);
    g.zunits = static_cast<uint8_t>(zunits);
    return g;
}

}  // namespace
}  // namespace mvip::mem

using namespace mvip;
using namespace mvip::mem;

extern "C" MVIP_API uint32_t mvimmem3_aeiou(mvimage3* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? aeiou3(im, code, arg1, arg2) : 0;
}

extern "C" MVIP_API mvyzwindow* mvimmem3_xwind(mvimage3* im, mvyzwindow* w, int32_t code) {
    return im ? xwind3(im, w, code) : nullptr;
}

extern "C" MVIP_API int32_t mvimage3_memory(mvimage3* im, void* pixels, const uint32_t dims[3],
                                            int32_t pitch, uint32_t datatype, uint32_t bits,
                                            uint32_t pixies, uint32_t colorspace,
                                            uint32_t inquirysize) {
    return build3(im, pixels, dims, pitch, 0, format_of(datatype, bits, pixies, colorspace),
                  nullptr, inquirysize);
}

extern "C" MVIP_API int32_t mvimage3_memory2(mvimage3* im, void* pixels, const uint32_t dims[3],
                                             int32_t pitch, uint32_t datatype, uint32_t bits,
                                             uint32_t pixies, uint32_t colorspace,
                                             uint32_t inquirysize, float xwidth, float ywidth,
                                             uint32_t units, float zwidth, uint32_t zunits) {
    const mvgeometry geom = geometry_of(xwidth, ywidth, units, zwidth, zunits);
    return build3(im, pixels, dims, pitch, 0, format_of(datatype, bits, pixies, colorspace),
                  &geom, inquirysize);
}

extern "C" MVIP_API int32_t mvimage3_memdata(mvimage3* im, void* pixels, uint64_t size,
                                             const uint32_t dims[3], int32_t pitch,
                                             uint64_t planepitch, const mvpixfmt* fmt,
                                             const mvgeometry* geom, uint32_t inquirysize) {
    if (!im) return MVERR_USAGE;
    if (!fmt) {
        mvimage3_defnull(im);
        return MVERR_USAGE;
    }
    const int32_t rc = build3(im, pixels, dims, pitch, planepitch, *fmt, geom, inquirysize);
    if (rc < 0) return rc;
    const MemState& st = state(im);
    const double lines = double(dims[1]) * std::abs(double(st.pitch));
    // A plane pitch given must hold a plane's lines; with a size given, the
    // planes (and the lines of the last one) must lie within it.
    const bool overlapping = planepitch != 0 && double(planepitch) < lines;
    const bool too_big =
        size != 0 && (double(dims[2]) * double(st.plane_pitch) > double(size) ||
                      (double(dims[2]) - 1) * double(st.plane_pitch) + lines > double(size));
    if (overlapping || too_big) {
        mvimage3_defnull(im);
        return MVERR_USAGE;
    }
    return 0;
}

extern "C" MVIP_API int32_t mvimage3_memory3(mvimage3* im, void* pixels, uint64_t size,
                                             const uint32_t dims[3], int32_t pitch,
                                             uint32_t datatype, uint32_t bits, uint32_t pixies,
                                             uint32_t colorspace, uint32_t inquirysize,
                                             float xwidth, float ywidth, uint32_t units,
                                             float zwidth, uint32_t zunits) {
    const mvpixfmt fmt = format_of(datatype, bits, pixies, colorspace);
    const mvgeometry geom = geometry_of(xwidth, ywidth, units, zwidth, zunits);
    return mvimage3_memdata(im, pixels, size, dims, pitch, 0, &fmt, &geom, inquirysize);
}

extern "C" MVIP_API int32_t mvimage3_memmalloc(mvimage3* im, void** pixels,
                                               const uint32_t dims[3], uint32_t datatype,
                                               uint32_t bits, uint32_t pixies,
                                               uint32_t colorspace) {
    if (!im) return MVERR_USAGE;
    const mvpixfmt fmt = format_of(datatype, bits, pixies, colorspace);
    if (!pixels || *pixels || !dims_usable(dims, 3)) {
        mvimage3_defnull(im);
        return MVERR_USAGE;
    }
    const uint64_t size = guarded_size(dims, 3, pixie_bytes(datatype) * fmt.pixies);
    void* memory = size ? std::calloc(1, size) : nullptr;
    if (!memory) {
        mvimage3_defnull(im);
        return MVERR_MEMORY;
    }
    build3(im, memory, dims, 0, 0, fmt, nullptr, 1);
    *pixels = memory;
    return 0;
}

extern "C" MVIP_API int32_t mvimage3_memfree(mvimage3* im, void* pixels) {
    std::free(pixels);
    if (im) mvimage3_defnull(im);
    return 0;
}

extern "C" MVIP_API mvimage3* mvimage3_memmalloc2(void* pixels, uint32_t datatype, uint32_t bits,
                                                  uint32_t pixies, uint32_t colorspace,
                                                  int32_t xdim, int32_t ydim, float xwidth,
                                                  float ywidth, uint32_t units, int32_t zdim,
                                                  float zwidth, uint32_t zunits) {
    if (xdim <= 0 || ydim <= 0 || zdim <= 0) return nullptr;
    const uint32_t dims[3] = {static_cast<uint32_t>(xdim), static_cast<uint32_t>(ydim),
                              static_cast<uint32_t>(zdim)};
    const mvpixfmt fmt = format_of(datatype, bits, pixies, colorspace);
    const uint64_t size = guarded_size(dims, 3, pixie_bytes(datatype) * fmt.pixies);
    if (size == 0) return nullptr;
    auto* im = static_cast<mvimage3*>(std::malloc(sizeof(mvimage3)));
    if (!im) return nullptr;
    void* memory = pixels ? pixels : std::calloc(1, size);
    if (!memory) {
        std::free(im);
        return nullptr;
    }
    const mvgeometry geom = geometry_of(xwidth, ywidth, units, zwidth, zunits);
    build3(im, memory, dims, 0, 0, fmt, &geom, 1);
    state(im).heap_mark = kHeapRecordMark3;
    return im;
}

extern "C" MVIP_API int32_t mvimage3_memfree2(mvimage3* im, int32_t keep) {
    if (!im) return 0;
    if (!is_kind(as2(im), "MVIMMEM3") || state(im).heap_mark != kHeapRecordMark3)
        return MVERR_USAGE;
    if (!keep) std::free(im->priv);
    mvimage3_defnull(im);
    std::free(im);
    return 0;
}
