// mvio8_bmpwrite: one-pixie images as 8-bit grey with a grey palette,
// colour images as 24-bit BGR; lines bottom-up, each padded to 4 bytes.
#include "core/record.hpp"
#include "files/readframe.hpp"
#include "files/stream.hpp"

#include <cmath>
#include <cstring>
#include <vector>

namespace mvip::files::bmp {

namespace {

constexpr uint32_t kFileHeader = 14;
constexpr uint32_t kInfoHeader = 40;

// Pixels per metre for a pixel width in the given units; 0 when the units
// are not a length the format can state or the width is unusable.
uint32_t pixels_per_metre(float width, uint32_t units) {
    double metres = width;
    switch (units) {
        case MVUNITS_METER: break;
        case MVUNITS_CENTIMETER: metres /= 100.0; break;
        case MVUNITS_MILLIMETER: metres /= 1000.0; break;
        case MVUNITS_INCH: metres *= 0.0254; break;
        default: return 0;
    }
    if (!(metres > 0.0) || !std::isfinite(metres)) return 0;
    const double ppm = std::round(1.0 / metres);
    return ppm <= 2147483647.0 ? uint32_t(ppm) : 0;
}

int32_t write_lines(mvabort* hook, LineReader& lines, const uint32_t order[3], Stream& s, uint64_t offset,
                    uint32_t stride) {
    const uint32_t w = lines.width(), h = lines.height(), px = lines.pixies();
    std::vector<unsigned char> in(size_t(w) * px);
    std::vector<unsigned char> out(stride, 0);  // padding bytes stay 0
    for (uint32_t done = 0; done < h; ++done) {
        if (done % 8 == 0)
            if (const int32_t stop = mvip::files::poll_hook(hook, done, h)) return stop;
        // The file's first line is the image's bottom line.
        if (const int32_t rc = lines.read(h - 1 - done, in.data())) return rc;
        if (px == 1) {
            std::memcpy(out.data(), in.data(), w);
        } else {
            const unsigned char* p = in.data();
            unsigned char* q = out.data();
            for (uint32_t x = 0; x < w; ++x, p += px, q += 3) {
                q[0] = p[order[0]];
                q[1] = p[order[1]];
                q[2] = p[order[2]];
            }
        }
        s.write(offset + uint64_t(done) * stride, out.data(), stride);
        if (const int32_t rc = s.status()) return rc;
    }
    return 0;
}

int32_t write_bmp(mvabort* hook, mvimage* im, const char* filename) {
    if (const int32_t stop = poll_hook(hook, 0, 0)) return stop;  // once, answered at once
    if (im == nullptr || filename == nullptr || !window_valid_2d(im)) return MVERR_USAGE;
    const uint32_t w = wind_width(im), h = wind_height(im);
    if (w == 0 || h == 0) return MVERR_USAGE;
    const uint32_t pixies = im->pixfmt.pixies;
    if (pixies == 2) return MVERR_UNSUPPORTED;

    // Colour images are written B, G, R.  Images in a BGR order, and
    // colour images of no stated space, give their first three pixies as
    // they are; RGB orders are reordered; other spaces are converted.
    mvimage colour{};
    mvimage* source = im;
    uint32_t order[3] = {0, 1, 2};
    if (pixies >= 3) {
        switch (im->pixfmt.colorspace) {
            case MVCS_UNKNOWN:
            case MVCS_BGR:
            case MVCS_BGRX: break;
            case MVCS_RGB:
            case MVCS_RGBX: order[0] = 2, order[2] = 0; break;
            default:
                if (const int32_t rc = mvimage_colorconverter(&colour, im, MVCS_BGR, 1); rc < 0) return rc;
                source = &colour;
        }
    }
    LineReader lines;
    if (const int32_t rc = lines.open(source, MVTYPE_U8, 8); rc < 0) return rc;

    const bool grey = pixies == 1;
    const uint64_t stride = (uint64_t(w) * (grey ? 8 : 24) + 31) / 32 * 4;
    const uint32_t offset = kFileHeader + kInfoHeader + (grey ? 256 * 4 : 0);
    const uint64_t file_size = offset + stride * h;
    if (file_size > 0xFFFFFFFFu) return MVERR_UNSUPPORTED;  // sizes are 32-bit fields

    unsigned char head[kFileHeader + kInfoHeader + 256 * 4] = {};
    head[0] = 'B';
    head[1] = 'M';
    store_u32(head + 2, uint32_t(file_size), false);
    store_u32(head + 10, offset, false);
    unsigned char* info = head + kFileHeader;
    store_u32(info, kInfoHeader, false);
    store_u32(info + 4, w, false);
    store_u32(info + 8, h, false);  // positive: bottom-up lines
    store_u16(info + 12, 1, false);
    store_u16(info + 14, grey ? 8 : 24, false);
    store_u32(info + 16, 0, false);  // no compression
    store_u32(info + 20, uint32_t(stride * h), false);
    store_u32(info + 24, pixels_per_metre(im->xwidth, im->xunits), false);
    store_u32(info + 28, pixels_per_metre(im->ywidth, im->yunits), false);
    if (grey) {
        store_u32(info + 32, 256, false);
        unsigned char* entry = info + kInfoHeader;
        for (uint32_t i = 0; i < 256; ++i, entry += 4) entry[0] = entry[1] = entry[2] = uint8_t(i);
    }

    Stream s;
    if (const int32_t rc = s.open(filename, "wb")) return rc;
    s.write(0, head, offset);
    int32_t rc;
    try {
        rc = write_lines(hook, lines, order, s, offset, uint32_t(stride));
    } catch (...) {
        rc = MVERR_MEMORY;
    }
    if (rc == 0) rc = s.close();
    if (rc != 0) s.close_and_remove();
    return rc;
}

}  // namespace

}  // namespace mvip::files::bmp

extern "C" MVIP_API int32_t mvio8_bmpwrite(mvabort* hook, mvimage* im, const char* filename, uint32_t) {
    try {
        return mvip::files::bmp::write_bmp(hook, im, filename);
    } catch (...) {
        return MVERR_MEMORY;  // allocations are the only thing that throws here
    }
}
