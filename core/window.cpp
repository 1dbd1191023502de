// Window rules, run lengths and window setting.
#include "core/record.hpp"

namespace mvip {

bool window_valid_2d(const mvimage* im) {
    const mvywindow& d = im->imdim;
    const mvywindow& w = im->wind;
    return d.nw.x >= 0 && d.nw.y >= 0 && d.se.x >= d.nw.x && d.se.y >= d.nw.y &&
           w.nw.x >= d.nw.x && w.nw.y >= d.nw.y && w.se.x <= d.se.x && w.se.y <= d.se.y &&
           w.nw.x >= 0 && w.nw.y >= 0 && w.se.x >= w.nw.x && w.se.y >= w.nw.y;
}

bool window_valid_3d(const mvimage3* im) {
    const mvyzwindow& d = im->imdim;
    const mvyzwindow& w = im->wind;
    return d.nw.x >= 0 && d.nw.y >= 0 && d.nw.z >= 0 && d.se.x >= d.nw.x &&
           d.se.y >= d.nw.y && d.se.z >= d.nw.z && w.nw.x >= d.nw.x && w.nw.y >= d.nw.y &&
           w.nw.z >= d.nw.z && w.se.x <= d.se.x && w.se.y <= d.se.y && w.se.z <= d.se.z &&
           w.nw.x >= 0 && w.nw.y >= 0 && w.nw.z >= 0 && w.se.x >= w.nw.x &&
           w.se.y >= w.nw.y && w.se.z >= w.nw.z;
}

}  // namespace mvip

using namespace mvip;

extern "C" MVIP_API int32_t mvimage_setwind(mvimage* im, int32_t nwx, int32_t nwy, int32_t sex,
                                            int32_t sey) {
    if (!im || !im->xwind) return MVERR_USAGE;
    const mvywindow want{{nwx, nwy},
                         {sex < 0 ? im->imdim.se.x : sex, sey < 0 ? im->imdim.se.y : sey}};
    im->wind = want;
    im->xwind(im, &im->wind, 's');
    return std::memcmp(&want, &im->wind, sizeof want) == 0 ? 0 : MVERR_USAGE;
}

extern "C" MVIP_API int32_t mvimage3_setwind(mvimage3* im, int32_t nwx, int32_t nwy,
                                             int32_t nwz, int32_t sex, int32_t sey,
                                             int32_t sez) {
    if (!im || !im->xwind) return MVERR_USAGE;
    const mvyzwindow want{{nwx, nwy, nwz},
                          {sex < 0 ? im->imdim.se.x : sex, sey < 0 ? im->imdim.se.y : sey,
                           sez < 0 ? im->imdim.se.z : sez}};
    im->wind = want;
    im->xwind(im, &im->wind, 's');
    return std::memcmp(&want, &im->wind, sizeof want) == 0 ? 0 : MVERR_USAGE;
}
