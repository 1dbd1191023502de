// mvio8_jpegread: decodes a JPEG file into an owned memory image (u8, or
// u16 with 12 bits; grey, RGB or CMYK) and presents it in the caller's
// image through the reading frame.
#include "core/record.hpp"
#include "files/jpeg/decode.hpp"
#include "files/jpeg/markers.hpp"
#include "files/readframe.hpp"
#include "files/stream.hpp"

#include <memory>
#include <vector>

namespace mvip::files::jpeg {

namespace {

// Pixel widths and their unit from the JFIF densities: 1 / density per
// axis; unit 0 gives only an aspect ratio, and none when both are equal.
bool pixel_size(const Header& h, float& xw, float& yw, uint32_t& units) {
    if (!h.jfif || h.xdensity == 0 || h.ydensity == 0) return false;
    xw = 1.0f / float(h.xdensity);
    yw = 1.0f / float(h.ydensity);
    switch (h.unit) {
        case 1: units = MVUNITS_INCH; return true;
        case 2: units = MVUNITS_CENTIMETER; return true;
        case 0: units = MVUNITS_RATIO; return h.xdensity != h.ydensity;
        default: return false;
    }
}

int32_t read_jpeg(mvabort* hook, mvimage* im, const char* filename, uint32_t mode) {
    if (const int32_t stop = poll_hook(hook, 0, 0)) return stop;  // once, answered at once
    if (im == nullptr || filename == nullptr) return MVERR_USAGE;

    std::vector<uint8_t> data;
    {
        Stream s;
        if (const int32_t rc = s.open(filename, "rb")) return rc;
        if (const int32_t rc = load_file(s, data)) return rc;
    }
    Header h;
    std::unique_ptr<FrameDecoder> decoder;
    int32_t rc = walk(data.data(), data.size(), h, [&](const Header& head, const Scan& scan) {
        if (!decoder) {
            int32_t made = 0;
            decoder = make_decoder(head.frame, data.size(), made);
            if (!decoder) return made;
        }
        return decoder->scan(head, scan, hook);
    });
    if (rc != 0) return rc;
    if (!decoder) return MVERR_FORMAT;  // no scan

    const Frame& f = h.frame;
    const uint32_t pixies = FrameDecoder::pixies(f);
    const uint32_t sample = f.precision > 8 ? 2 : 1;
    const uint32_t type = sample == 2 ? MVTYPE_U16 : MVTYPE_U8;
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, type, f.precision, pixies, FrameDecoder::colour_code(f));
    // An image that would take the file's lines unchanged gets them
    // straight into its own memory.
    if (presents_unchanged(fmt, f.width, f.height, im, mode)) {
        MappedLines lines;
        if (lines.open(im, type)) {
            if (decoder->output(h, [&](uint32_t y) -> void* { return lines.line(y); })) return 0;
        }
    }
    const size_t stride = size_t(f.width) * pixies * sample;
    std::vector<uint8_t> pixels(stride * f.height);
    decoder->output(h, [&](uint32_t y) -> void* { return pixels.data() + y * stride; });
    decoder.reset();

    mvimage file{};
    const uint32_t dims[2] = {f.width, f.height};
    float xw = 1, yw = 1;
    uint32_t units = 0;
    rc = pixel_size(h, xw, yw, units)
             ? mvimage_memory2(&file, pixels.data(), dims, 0, type, f.precision, pixies, FrameDecoder::colour_code(f),
                               0, xw, yw, units)
             : mvimage_memory(&file, pixels.data(), dims, 0, type, f.precision, pixies, FrameDecoder::colour_code(f), 0);
    if (rc != 0) return rc;
    set_kind(&file, "JPEG");
    return present_image(hook, &file, im, mode);
}

}  // namespace

}  // namespace mvip::files::jpeg

extern "C" MVIP_API int32_t mvio8_jpegread(mvabort* hook, mvimage* im, const char* filename, uint32_t mode) {
    try {
        return mvip::files::jpeg::read_jpeg(hook, im, filename, mode);
    } catch (...) {
        return MVERR_MEMORY;  // allocations are the only thing that throws here
    }
}
