// Decoding of the scans of a frame into component planes (each at its own
// sampled size, padded to whole blocks), and the output of the image from
// them: upsampling and colour transform into interleaved lines.
#pragma once

#include "files/jpeg/markers.hpp"
#include "mvip.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace mvip::files::jpeg {

class FrameDecoder {
public:
    virtual ~FrameDecoder() = default;
    // Decode one scan into the planes.  0, -10 for broken data or missing
    // tables, or the hook's answer.
    virtual int32_t scan(const Header& h, const Scan& scan, mvabort* hook) = 0;
    // Write the image line by line into the memory `line(y)` gives (null:
    // stop there and answer false), `pixies()` values per pixel of the
    // sample type (u8 for 8-bit, u16 for 12-bit files).
    virtual bool output(const Header& h, const std::function<void*(uint32_t y)>& line) const = 0;
    // Pixies and colour code of the image presented: 1 grey, 3 RGB, 4 CMYK.
    static uint32_t pixies(const Frame& f) { return f.count == 2 ? 1 : f.count; }
    static uint32_t colour_code(const Frame& f) {
        return f.count >= 4 ? MVCS_CMYK : f.count == 3 ? MVCS_RGB : MVCS_GREY;
    }
};

// A decoder for the frame, after checking that the file can hold the
// blocks the frame asks for (every block takes at least two bits).  Null
// with rc set: -10 when it cannot; -2 when memory is short.
std::unique_ptr<FrameDecoder> make_decoder(const Frame& f, uint64_t file_bytes, int32_t& rc);

}  // namespace mvip::files::jpeg
