// Reading an AVI file's structure: the headers of its first video stream,
// its INFO texts, and where every frame lies, found through the OpenDML
// indexes, else the idx1 index, else by walking the movi lists.
//
// Every size and offset is checked against the file before it is used: a
// list that claims to run past the end of the file is cut at the end, an
// index entry or frame chunk outside the file is -10.
#pragma once

#include "files/stream.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace mvip::files::avi {

struct Movie {
    // Stream format
    uint32_t width = 0, height = 0;
    bool top_down = false;
    uint32_t bitcount = 0;
    uint32_t compression = 0;   // biCompression of the bitmap header
    uint32_t handler = 0;       // fccHandler of the stream header
    uint32_t scale = 0, rate = 0;
    uint32_t header_frames = 0; // the stream header's length
    uint32_t stream = 0;        // number of the video stream (chunk ids "NNdb", "NNdc")
    uint32_t entries = 0;       // palette entries
    unsigned char palette[256][3] = {};  // B, G, R
    bool grey_palette = false;  // every entry has B = G = R
    // File structure
    bool opendml = false;       // frames found through OpenDML indexes
    uint32_t riff_lists = 0;
    std::string texts[4];       // MVTEXT_* slots from INFO
    bool has_text[4] = {};
    // Frames: data position and size of each
    std::vector<uint64_t> frame_pos;
    std::vector<uint32_t> frame_size;

    // Frame forms the reader decodes: 8-bit palette or grey, 24- and
    // 32-bit BGR (uncompressed, either line order), and 8-bit grey of the
    // fourcc kinds "Y800", "Y8  " and "GREY" (top line first, rows not
    // padded).
    bool fourcc_grey() const;
    bool decodable() const;
    // Bytes of a stored row and frame.
    uint64_t row_bytes() const;
    // (Saturates for sizes no index can describe.)
    uint64_t frame_bytes() const { return row_bytes() > (uint64_t(1) << 32) ? UINT64_MAX : row_bytes() * height; }
    // Pixies the reader presents: 1 for grey, 3 (BGR) otherwise.
    uint32_t pixies() const { return fourcc_grey() || (bitcount == 8 && grey_palette) ? 1 : 3; }
};

// Read the structure of an open file.  0; -10 when it is not an AVI file
// with a video stream or its structure is broken.
int32_t read_movie(Stream& s, Movie& m);

}  // namespace mvip::files::avi
