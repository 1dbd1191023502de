// The stored form of AVI frames and the packing of an image into it.
//
// Frames are device-independent bitmaps, bottom line first, rows padded to
// 4 bytes.  An image of one pixie is stored as 8-bit grey (a 256-entry grey
// palette goes with the format); an image of three or more pixies as 24-bit
// B, G, R: colour codes 0 (none), 3 and 4 give their first three pixies as
// they are, 36 and 67 (R, G, B orders) are reordered, and every other
// colour code is converted to BGR.  Values of any data type are rescaled to
// 8 bits as the type converter does.  Two pixies are refused (-11).
#pragma once

#include "mvip.h"

#include <cstdint>

namespace mvip::files::avi {

struct FrameForm {
    uint32_t width = 0, height = 0;
    uint32_t bitcount = 8;     // 8 grey or 24 BGR
    uint64_t row_bytes = 0;    // padded row
    uint64_t frame_bytes = 0;  // row_bytes * height
    bool matches(const FrameForm& o) const {
        return width == o.width && height == o.height && bitcount == o.bitcount;
    }
};

// The stored form of an image's window: 0; -1 for a null image, an invalid
// or empty window or pixel format; -11 for two pixies and for frames of
// 4 GiB or more.
int32_t plan_frame(mvimage* im, FrameForm& form);

// The image's window as one stored frame in `out` (form.frame_bytes bytes,
// padding bytes zero).  The hook is polled before every 64th row.  0, the
// hook's answer, or a negative code.
int32_t pack_frame(mvabort* hook, mvimage* im, const FrameForm& form, unsigned char* out);

}  // namespace mvip::files::avi
