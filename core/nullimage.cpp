// Null images: records that describe nothing (or only a shape) and whose
// slots are harmless no-ops.  Every failed constructor leaves one.
#include "core/record.hpp"

namespace mvip {
namespace {

constexpr uint32_t kBlockAnswer = 357913941u;

uint32_t null_aeiou(mvimage*, uint32_t code, void*) {
    switch (code) {
        case 'B': return kBlockAnswer;
        case 'I': return 0xFFFFFFFFu;
        default: return 0;  // 'b', 'i', 'm': no access layers
    }
}
uint32_t null_aeiou3(mvimage3* im, uint32_t code, void* arg) {
    return null_aeiou(as2(im), code, arg);
}

// A null image keeps its window on 's'.
mvywindow* null_xwind(mvimage* im, mvywindow* w, int32_t code) {
    switch (code) {
        case 's': return &im->wind;
        case 'w':
            if (w) *w = im->wind;
            return &im->wind;
        case 'i':
            if (w) *w = im->imdim;
            return &im->imdim;
        default: return nullptr;
    }
}
mvyzwindow* null_xwind3(mvimage3* im, mvyzwindow* w, int32_t code) {
    switch (code) {
        case 's': return &im->wind;
        case 'w':
            if (w) *w = im->wind;
            return &im->wind;
        case 'i':
            if (w) *w = im->imdim;
            return &im->imdim;
        default: return nullptr;
    }
}

}  // namespace
}  // namespace mvip

using namespace mvip;

extern "C" MVIP_API void mvimage_defnull(mvimage* im) {
    if (!im) return;
    std::memset(static_cast<void*>(im), 0, sizeof *im);
    set_noop_slots(im);
    im->aeiou = null_aeiou;
    im->xwind = null_xwind;
    set_kind(im, "NULL2");
}

extern "C" MVIP_API void mvimage3_defnull(mvimage3* im) {
    if (!im) return;
    std::memset(static_cast<void*>(im), 0, sizeof *im);
    set_noop_slots3(im);
    im->aeiou = null_aeiou3;
    im->xwind = null_xwind3;
    set_kind(as2(im), "NULL3");
}

extern "C" MVIP_API int32_t mvimage_defnop(mvimage* im, const uint32_t dims[2],
                                           const mvpixfmt* fmt, const mvgeometry* geom) {
    if (!im) return MVERR_USAGE;
    mvimage_defnull(im);
    if (dims) {
        im->imdim.se.x = im->wind.se.x = static_cast<int32_t>(dims[0]);
        im->imdim.se.y = im->wind.se.y = static_cast<int32_t>(dims[1]);
    }
    if (fmt) {
        im->pixfmt = *fmt;
        derive_sizes(im);
    }
    if (geom) std::memcpy(&im->xwidth, geom, sizeof *geom);
    return 0;
}
