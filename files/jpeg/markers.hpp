// The segment structure of JPEG files as the reader and the probe see it:
// a walk over the markers of a file held in memory that gathers the frame,
// the tables, the JFIF, Adobe and comment segments, and hands each scan to
// the caller with the tables in force at its start.
#pragma once

#include "files/jpeg/tables.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace mvip::files::jpeg {

enum Marker : uint8_t {
    kSof0 = 0xC0,   // baseline sequential, Huffman
    kSof1 = 0xC1,   // extended sequential, Huffman (read as baseline)
    kDht = 0xC4,
    kRst0 = 0xD0,
    kSoi = 0xD8,
    kEoi = 0xD9,
    kSos = 0xDA,
    kDqt = 0xDB,
    kDri = 0xDD,
    kApp0 = 0xE0,
    kApp14 = 0xEE,
    kCom = 0xFE,
};

// The quality comment our writer adds: this text and the quality in
// tenths of a percent.
inline constexpr const char kQualityKey[] = "CompressionQuality=";
inline constexpr size_t kQualityKeyLength = sizeof kQualityKey - 1;

struct Component {
    uint8_t id = 0;
    uint8_t h = 1, v = 1;  // sampling factors, 1 .. 4
    uint8_t table = 0;     // quantisation table
};

struct Frame {
    bool seen = false;
    uint32_t precision = 8;  // 8 or 12
    uint32_t width = 0, height = 0;
    uint32_t count = 0;      // components, 1 .. 4
    Component comp[4];
    uint32_t hmax = 1, vmax = 1;
};

struct Scan {
    uint32_t count = 0;
    uint8_t index[4] = {};  // frame component of each scan component
    uint8_t dc[4] = {}, ac[4] = {};
    const uint8_t* begin = nullptr;  // entropy-coded data
    const uint8_t* end = nullptr;    // the marker after it
};

struct Header {
    Frame frame;
    uint16_t quant[4][64] = {};  // natural order
    bool have_quant[4] = {};
    HuffTable huff[8];            // DC tables at 2 * id, AC at 2 * id + 1
    bool have_huff[8] = {};
    uint32_t restart_interval = 0;
    bool jfif = false;
    uint32_t unit = 0, xdensity = 1, ydensity = 1;
    uint32_t quality = 0;       // tenths of a percent, from the quality comment
    bool has_quality = false;
    std::string comments[3];
    uint32_t comment_count = 0;
    bool adobe = false;
    uint32_t adobe_transform = 0;  // 0 none, 1 YCbCr, 2 YCCK
    uint32_t scans = 0;
};

// Called at each scan; a non-zero answer ends the walk with it (1 ends it
// with success, as the probe does at the first scan).
using ScanFn = std::function<int32_t(const Header&, const Scan&)>;

// Walk a whole file.  0 at EOI (or at the end of the data after a frame and
// a scan); -10 for a broken structure (not SOI first, segments beyond the
// end, bad lengths, tables or components out of range, a scan before the
// frame, a second frame, an empty image); -11 for frames other than
// Huffman-coded sequential ones (SOF0 and SOF1), precisions other than 8
// and 12, and DNL; else what on_scan answered.
int32_t walk(const uint8_t* data, size_t size, Header& h, const ScanFn& on_scan);

}  // namespace mvip::files::jpeg

namespace mvip::files {
class Stream;
}

namespace mvip::files::jpeg {

// The whole of an open file (JPEG files are read at once: the walk and the
// decoder move through them freely).  0, -11 for a file beyond 1 GiB, or
// the stream's status.
int32_t load_file(Stream& s, std::vector<uint8_t>& data);

}  // namespace mvip::files::jpeg
