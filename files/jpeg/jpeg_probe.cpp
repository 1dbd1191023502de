// JPEG recognition for mvio8_fileinfo: the segments up to the first scan
// give the size, the components and precision, the JFIF densities, the
// quality comment and up to three other comments.
#include "files/fileinfo.hpp"
#include "files/jpeg/decode.hpp"
#include "files/jpeg/markers.hpp"
#include "files/stream.hpp"

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace mvip::files {

int32_t jpeg_probe(const char* name, mvfileinfo* info, uint32_t) {
    try {
        Stream s;
        if (const int32_t rc = s.open(name, "rb")) return rc;
        unsigned char soi[2] = {};
        if (!s.holds(0, 2)) return MVERR_FORMAT;
        s.read(0, soi, 2);
        if (s.status() != 0 || soi[0] != 0xFF || soi[1] != jpeg::kSoi) return MVERR_FORMAT;
        std::vector<uint8_t> data;
        if (const int32_t rc = jpeg::load_file(s, data)) return rc;
        jpeg::Header h;
        const int32_t rc = jpeg::walk(data.data(), data.size(), h, [](const jpeg::Header&, const jpeg::Scan&) { return 1; });
        if (rc != 0) return rc;
        if (h.scans == 0) return MVERR_FORMAT;
        const jpeg::Frame& f = h.frame;
        mvpixfmt fmt{};
        mvpixfmt_set(&fmt, f.precision > 8 ? MVTYPE_U16 : MVTYPE_U8, f.precision, jpeg::FrameDecoder::pixies(f),
                     jpeg::FrameDecoder::colour_code(f));
        fill_head(info, f.width, f.height, 1, fmt, "jpg");
        mvfileinfo_jpg& j = info->area.jpg;
        j.quality = h.quality;
        j.xdensity = uint16_t(h.xdensity);
        j.ydensity = uint16_t(h.ydensity);
        j.unit = uint16_t(h.unit);
        for (uint32_t i = 0; i < h.comment_count; ++i) {
            const std::string& text = h.comments[i];
            char* copy = static_cast<char*>(std::malloc(text.size() + 1));
            if (copy == nullptr) return MVERR_MEMORY;
            std::memcpy(copy, text.c_str(), text.size() + 1);
            info->texts[i] = copy;
        }
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}

}  // namespace mvip::files
