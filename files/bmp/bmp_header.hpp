// Windows BMP: the file and info headers as the probe and the reader see
// them, checked once in one place.
#pragma once

#include "files/stream.hpp"

#include <cstdint>

namespace mvip::files::bmp {

// Compression codes of the info header.
enum Compression : uint32_t {
    kRgb = 0,
    kRle8 = 1,
    kRle4 = 2,
    kBitfields = 3,
    kJpeg = 4,
    kPng = 5,
    kAlphaBitfields = 6,
};

struct Header {
    uint32_t header_size = 0;   // 12 (core), 40, 52, 56, 64, 108 or 124
    uint32_t width = 0;
    uint32_t height = 0;
    bool top_down = false;      // negative height in the file
    uint32_t planes = 0;
    uint32_t bitcount = 0;
    uint32_t compression = 0;
    uint32_t xppm = 0, yppm = 0;
    uint64_t data_offset = 0;   // first byte of the pixel data
    uint64_t data_bytes = 0;    // bytes from data_offset to the end of the file
    // Palette files: the entries read, B, G, R each (at most 256).
    uint32_t entries = 0;
    unsigned char palette[256][3] = {};
    bool grey = false;          // every entry has R == G == B
    // 16-, 24- and 32-bit files: red, green and blue masks (BI_RGB files
    // get the masks their layout implies).
    uint32_t masks[3] = {};

    // Bytes of one stored line of an uncompressed file (padded to 4).
    uint64_t stride() const { return (uint64_t(width) * bitcount + 31) / 32 * 4; }
    bool rle() const { return compression == kRle8 || compression == kRle4; }
    // Pixies of the image the reader presents: 1 for a grey palette, else 3.
    uint32_t pixies() const { return grey ? 1 : 3; }
};

// Read and check the headers, masks and palette of an open file.  0; -10
// for a file that is not a BMP or whose structure is broken (sizes of 0,
// a palette larger than the bit count allows, pixel data beyond the end of
// the file, run-length coding with top-down lines, ...); -11 for content
// the reader does not decode (JPEG or PNG inside, 2-bit pixels, masks that
// are not one run of bits); the stream's status after a failed read.
int32_t read_header(Stream& s, Header& h);

}  // namespace mvip::files::bmp
