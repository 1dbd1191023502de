#include "files/avi/frame.hpp"

#include "core/record.hpp"
#include "files/avi/format.hpp"
#include "files/readframe.hpp"

#include <cstring>
#include <vector>

namespace mvip::files::avi {

namespace {

// How the pixies of a colour image become B, G, R; false when the image
// must go through a colour converter first.
bool colour_order(uint32_t colorspace, uint32_t order[3]) {
    order[0] = 0, order[1] = 1, order[2] = 2;
    switch (colorspace) {
        case MVCS_UNKNOWN:
        case MVCS_BGR:
        case MVCS_BGRX: return true;
        case MVCS_RGB:
        case MVCS_RGBX: order[0] = 2, order[2] = 0; return true;
        default: return false;
    }
}

}  // namespace

int32_t plan_frame(mvimage* im, FrameForm& form) {
    if (im == nullptr || !window_valid_2d(im)) return MVERR_USAGE;
    const uint32_t w = wind_width(im), h = wind_height(im), pixies = im->pixfmt.pixies;
    if (w == 0 || h == 0 || pixies == 0 || pixie_bytes(im->pixfmt.datatype) == 0) return MVERR_USAGE;
    if (pixies == 2) return MVERR_UNSUPPORTED;
    form.width = w;
    form.height = h;
    form.bitcount = pixies == 1 ? 8 : 24;
    form.row_bytes = dib_row_bytes(w, form.bitcount);
    form.frame_bytes = form.row_bytes * h;
    // No chunk or index entry can describe a frame of 4 GiB or more.
    if (form.frame_bytes >= (uint64_t(1) << 32)) return MVERR_UNSUPPORTED;
    return 0;
}

int32_t pack_frame(mvabort* hook, mvimage* im, const FrameForm& form, unsigned char* out) {
    FrameForm here;
    if (const int32_t rc = plan_frame(im, here); rc != 0) return rc;
    if (!here.matches(form)) return MVERR_USAGE;
    mvimage colour{};
    mvimage* source = im;
    uint32_t order[3] = {0, 1, 2};
    if (form.bitcount == 24 && !colour_order(im->pixfmt.colorspace, order)) {
        if (const int32_t rc = mvimage_colorconverter(&colour, im, MVCS_BGR, 1); rc < 0) return rc;
        source = &colour;
        order[0] = 0, order[1] = 1, order[2] = 2;
    }
    LineReader lines;
    if (const int32_t rc = lines.open(source, MVTYPE_U8, 8); rc < 0) return rc;
    const uint32_t w = form.width, h = form.height, px = lines.pixies();
    const size_t used = form.bitcount == 8 ? w : size_t(w) * 3;
    const bool plain = form.bitcount == 8 || (px == 3 && order[0] == 0 && order[2] == 2);
    std::vector<unsigned char> buffer(size_t(w) * px);
    for (uint32_t row = 0; row < h; ++row) {
        if (row % 64 == 0)
            if (const int32_t stop = poll_hook(hook, row, h)) return stop;
        // The stored frame's first row is the image's bottom line.
        const auto* line = static_cast<const unsigned char*>(lines.view(h - 1 - row, buffer.data()));
        if (line == nullptr) return MVERR_FILEIO;
        unsigned char* q = out + row * form.row_bytes;
        if (plain) {
            std::memcpy(q, line, used);
        } else {
            for (uint32_t x = 0; x < w; ++x, line += px, q += 3) {
                q[0] = line[order[0]];
                q[1] = line[order[1]];
                q[2] = line[order[2]];
            }
            q = out + row * form.row_bytes;
        }
        std::memset(q + used, 0, size_t(form.row_bytes - used));
    }
    return 0;
}

}  // namespace mvip::files::avi
