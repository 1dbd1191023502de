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

uint32_t run_length(uint32_t mode, const uint32_t ext[3], const int32_t pos[3]) {
    const bool in = uint32_t(pos[0]) < ext[0] && uint32_t(pos[1]) < ext[1] &&
                    uint32_t(pos[2]) < ext[2];
    if (!(mode & MVMODE_NOCHECK) && !in) return 0;
    const ScanOrder o = scan_order(mode);
    // What is left along each axis of the scan order.
    const uint32_t e0 = ext[o.axis[0]], e1 = ext[o.axis[1]];
    const uint32_t r0 = e0 - uint32_t(pos[o.axis[0]]);
    const uint32_t r1 = e1 - uint32_t(pos[o.axis[1]]);
    const uint32_t r2 = ext[o.axis[2]] - uint32_t(pos[o.axis[2]]);
    if (!(mode & MVMODE_CONTINUE)) return r0;
    return ((r2 - 1u) * e1 + r1 - 1u) * e0 + r0;
}

uint32_t run_length_2d(uint32_t mode, uint32_t w, uint32_t h, int32_t x, int32_t y) {
    const uint32_t ext[3] = {w, h, 1};
    const int32_t pos[3] = {x, y, 0};
    return run_length(mode & ~MVMODE_ZSCAN, ext, pos);
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
