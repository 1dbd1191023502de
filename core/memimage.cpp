// 2-D memory images ("MVIMMEM"): constructors, window setting and inquiries.
#include "core/memimage.hpp"

#include <cstdlib>
#include <limits>

namespace mvip::mem {

uint32_t aeiou(mvimage* im, uint32_t code, intptr_t, intptr_t) {
    switch (code) {
        case 'B': return 357913941u;
        case 'I': return 0xFFFFFFFFu / (im->pixelsize ? im->pixelsize : 1u);
        case 'b':
        case 'i':
        case 'm': return state(im).inquiry_size + 1u;
        default: return 0;
    }
}

mvpixfmt format_of(uint32_t datatype, uint32_t bits, uint32_t pixies, uint32_t colorspace) {
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, datatype, bits, pixies, colorspace);  // invalid: pixelsize 0
    return fmt;
}

bool dims_usable(const uint32_t* dims, int n) {
    constexpr uint32_t kMax = std::numeric_limits<int32_t>::max();
    if (!dims) return false;
    for (int i = 0; i < n; ++i)
        if (dims[i] < 1 || dims[i] > kMax) return false;
    return true;
}

uint64_t guarded_size(const uint32_t* dims, int n, uint32_t pixelsize) {
    constexpr double kLimit = 18446744073709551616.0;  // 2^64
    double count = 1;
    for (int i = 0; i < n; ++i) {
        count *= double(dims[i]);
        if (count > kLimit) return 0;
    }
    if (count * double(pixelsize) >= kLimit) return 0;
    uint64_t size = pixelsize;
    for (int i = 0; i < n; ++i) size *= dims[i];
    return size <= std::numeric_limits<size_t>::max() ? size : 0;
}

namespace {

mvywindow* xwind(mvimage* im, mvywindow* w, int32_t code) {
    switch (code) {
        case 's':
            im->wind = w ? *w : im->imdim;
            im->wind_reserved[0] = im->wind_reserved[1] = 0;
            if (!window_valid_2d(im)) {
                im->wind = mvywindow{};
                set_noop_slots(im);
                return nullptr;
            }
            set_idle_slots(im, mvimmem_ioset, mvimmem_bxts, mvimmem_imapset);
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

// The steps every constructor shares, on a format already built.
int32_t build(mvimage* im, void* pixels, const uint32_t* dims, int32_t pitch,
              const mvpixfmt& fmt, const mvgeometry* geom, uint32_t inquiry) {
    if (!im) return MVERR_USAGE;
    if (!pixels || !dims_usable(dims, 2)) {
        mvimage_defnull(im);
        return MVERR_USAGE;
    }
    std::memset(static_cast<void*>(im), 0, sizeof *im);
    im->imdim.se.x = static_cast<int32_t>(dims[0]);
    im->imdim.se.y = static_cast<int32_t>(dims[1]);
    im->pixfmt = fmt;
    derive_sizes(im);
    if (geom) std::memcpy(&im->xwidth, geom, sizeof *geom);
    set_kind(im, "MVIMMEM");
    im->priv = pixels;
    im->aeiou = mvimmem_aeiou;
    im->xwind = mvimmem_xwind;
    MemState& st = state(im);
    st.inquiry_size = inquiry ? inquiry : kDefaultInquirySize;
    st.pitch = pitch ? pitch : static_cast<int64_t>(im->pixelsize) * dims[0];
    im->xwind(im, nullptr, 's');
    return 0;
}

mvgeometry geometry_of(float xwidth, float ywidth, uint32_t units) {
    mvgeometry g{};
    g.xwidth = xwidth;
    g.ywidth = ywidth;
    g.xunits = g.yunits = static_cast<uint8_t>(units);
    return g;
}

}  // namespace
}  // namespace mvip::mem

using namespace mvip;
using namespace mvip::mem;

extern "C" MVIP_API int32_t mvimage_memory(mvimage* im, void* pixels, const uint32_t dims[2],
                                           int32_t pitch, uint32_t datatype, uint32_t bits,
                                           uint32_t pixies, uint32_t colorspace,
                                           uint32_t inquirysize) {
    return build(im, pixels, dims, pitch, format_of(datatype, bits, pixies, colorspace),
                 nullptr, inquirysize);
}

extern "C" MVIP_API int32_t mvimage_memory2(mvimage* im, void* pixels, const uint32_t dims[2],
                                            int32_t pitch, uint32_t datatype, uint32_t bits,
                                            uint32_t pixies, uint32_t colorspace,
                                            uint32_t inquirysize, float xwidth, float ywidth,
                                            uint32_t units) {
    const mvgeometry geom = geometry_of(xwidth, ywidth, units);
    return build(im, pixels, dims, pitch, format_of(datatype, bits, pixies, colorspace), &geom,
                 inquirysize);
}

extern "C" MVIP_API int32_t mvimage_memdata(mvimage* im, void* pixels, uint64_t size,
                                            const uint32_t dims[2], int32_t pitch,
                                            const mvpixfmt* fmt, const mvgeometry* geom,
                                            uint32_t inquirysize) {
    if (!im) return MVERR_USAGE;
    if (!fmt) {
        mvimage_defnull(im);
        return MVERR_USAGE;
    }
    const int32_t rc = build(im, pixels, dims, pitch, *fmt, geom, inquirysize);
    if (rc < 0) return rc;
    const uint64_t pitch_bytes = static_cast<uint64_t>(std::abs(state(im).pitch));
    if (size != 0 && double(dims[1]) * double(pitch_bytes) > double(size)) {
        mvimage_defnull(im);
        return MVERR_USAGE;
    }
    return 0;
}

extern "C" MVIP_API int32_t mvimage_memory3(mvimage* im, void* pixels, uint64_t size,
                                            const uint32_t dims[2], int32_t pitch,
                                            uint32_t datatype, uint32_t bits, uint32_t pixies,
                                            uint32_t colorspace, uint32_t inquirysize,
                                            float xwidth, float ywidth, uint32_t units) {
    const mvpixfmt fmt = format_of(datatype, bits, pixies, colorspace);
    const mvgeometry geom = geometry_of(xwidth, ywidth, units);
    return mvimage_memdata(im, pixels, size, dims, pitch, &fmt, &geom, inquirysize);
}

extern "C" MVIP_API int32_t mvimage_memmalloc(mvimage* im, void** pixels,
                                              const uint32_t dims[2], uint32_t datatype,
                                              uint32_t bits, uint32_t pixies,
                                              uint32_t colorspace) {
    if (!im) return MVERR_USAGE;
    const mvpixfmt fmt = format_of(datatype, bits, pixies, colorspace);
    if (!pixels || *pixels || !dims_usable(dims, 2)) {
        mvimage_defnull(im);
        return MVERR_USAGE;
    }
    const uint64_t size = guarded_size(dims, 2, pixie_bytes(datatype) * fmt.pixies);
    void* memory = size ? std::calloc(1, size) : nullptr;
    if (!memory) {
        mvimage_defnull(im);
        return MVERR_MEMORY;
    }
    build(im, memory, dims, 0, fmt, nullptr, 1);
    *pixels = memory;
    return 0;
}

extern "C" MVIP_API int32_t mvimage_memfree(mvimage* im, void* pixels) {
    std::free(pixels);
    if (im) mvimage_defnull(im);
    return 0;
}

extern "C" MVIP_API mvimage* mvimage_memmalloc2(void* pixels, uint32_t datatype, uint32_t bits,
                                                uint32_t pixies, uint32_t colorspace,
                                                int32_t xdim, int32_t ydim, float xwidth,
                                                float ywidth, uint32_t units) {
    if (xdim <= 0 || ydim <= 0) return nullptr;
    const uint32_t dims[2] = {static_cast<uint32_t>(xdim), static_cast<uint32_t>(ydim)};
    const mvpixfmt fmt = format_of(datatype, bits, pixies, colorspace);
    const uint64_t size = guarded_size(dims, 2, pixie_bytes(datatype) * fmt.pixies);
    if (size == 0) return nullptr;
    auto* im = static_cast<mvimage*>(std::malloc(sizeof(mvimage)));
    if (!im) return nullptr;
    void* memory = pixels ? pixels : std::calloc(1, size);
    if (!memory) {
        std::free(im);
        return nullptr;
    }
    const mvgeometry geom = geometry_of(xwidth, ywidth, units);
    build(im, memory, dims, 0, fmt, &geom, 1);
    state(im).heap_mark = kHeapRecordMark;
    return im;
}

extern "C" MVIP_API int32_t mvimage_memfree2(mvimage* im, int32_t keep) {
    if (!im) return 0;
    if (!is_kind(im, "MVIMMEM") || state(im).heap_mark != kHeapRecordMark) return MVERR_USAGE;
    if (!keep) std::free(im->priv);
    mvimage_defnull(im);
    std::free(im);
    return 0;
}

extern "C" MVIP_API uint32_t mvimmem_aeiou(mvimage* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? mvip::mem::aeiou(im, code, arg1, arg2) : 0;
}

extern "C" MVIP_API mvywindow* mvimmem_xwind(mvimage* im, mvywindow* w, int32_t code) {
    return im ? mvip::mem::xwind(im, w, code) : nullptr;
}
