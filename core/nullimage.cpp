// Null images: records that describe nothing (or only a shape) and whose
// slots are harmless no-ops.  Every failed constructor leaves one.
#include "core/record.hpp"

namespace mvip {
namespace {

constexpr uint32_t kBlockAnswer = 357913941u;

// A null image keeps its window on 's'.
template <class Image, class Window>
Window* null_xwind(Image* im, Window* w, int32_t code) {
    if (!im) return nullptr;
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

extern "C" MVIP_API uint32_t mvimnull2_aeiou(mvimage*, uint32_t code, intptr_t, intptr_t) {
    switch (code) {
        case 'B': return kBlockAnswer;
        case 'I': return 0xFFFFFFFFu;
        default: return 0;  // 'b', 'i', 'm': no access layers
    }
}

extern "C" MVIP_API uint32_t mvimnull3_aeiou(mvimage3*, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return mvimnull2_aeiou(nullptr, code, arg1, arg2);
}

extern "C" MVIP_API mvywindow* mvimnull2_xwind(mvimage* im, mvywindow* w, int32_t code) {
    return null_xwind(im, w, code);
}

extern "C" MVIP_API mvyzwindow* mvimnull3_xwind(mvimage3* im, mvyzwindow* w, int32_t code) {
    return null_xwind(im, w, code);
}


extern "C" MVIP_API void mvimage_defnull(mvimage* im) {
    if (!im) return;
    std::memset(static_cast<void*>(im), 0, sizeof *im);
    set_noop_slots(im);
    im->aeiou = mvimnull2_aeiou;
    im->xwind = mvimnull2_xwind;
    set_kind(im, "NULL2");
}

extern "C" MVIP_API void mvimage3_defnull(mvimage3* im) {
    if (!im) return;
    std::memset(static_cast<void*>(im), 0, sizeof *im);
    set_noop_slots3(im);
    im->aeiou = mvimnull3_aeiou;
    im->xwind = mvimnull3_xwind;
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
