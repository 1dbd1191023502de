// TIFF structure shared by the reader, the writer and the file probe: tag
// numbers, field types, the header and IFD chain, and the directory of one
// image as read from a file.
#pragma once

#include "files/stream.hpp"
#include "mvip.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace mvip::tiff {

enum Tag : uint16_t {
    kNewSubfileType = 254,
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kCompression = 259,
    kPhotometric = 262,
    kFillOrder = 266,
    kImageDescription = 270,
    kStripOffsets = 273,
    kSamplesPerPixel = 277,
    kRowsPerStrip = 278,
    kStripByteCounts = 279,
    kXResolution = 282,
    kYResolution = 283,
    kPlanarConfiguration = 284,
    kResolutionUnit = 296,
    kSoftware = 305,
    kDateTime = 306,
    kPredictor = 317,
    kColorMap = 320,
    kTileWidth = 322,
    kTileLength = 323,
    kTileOffsets = 324,
    kExtraSamples = 338,
    kSampleFormat = 339,
    kYCbCrSubSampling = 530,
    kReferenceBlackWhite = 532,
    kCopyright = 33432,
};

enum FieldType : uint16_t { kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5 };
// Bytes of one value of a field type; 0 for types this library does not
// know (their entries are passed over).
uint32_t field_size(uint16_t type);

// Photometric interpretations.
constexpr uint32_t kWhiteIsZero = 0, kBlackIsZero = 1, kRgb = 2, kPalette = 3, kSeparated = 5, kYCbCr = 6;

// Byte order and typed access of one open file.
struct FileOrder {
    files::Stream* stream = nullptr;
    bool big = false;  // "MM"
    uint16_t u16(uint64_t pos) const {
        unsigned char b[2];
        stream->read(pos, b, 2);
        return files::load_u16(b, big);
    }
    uint32_t u32(uint64_t pos) const {
        unsigned char b[4];
        stream->read(pos, b, 4);
        return files::load_u32(b, big);
    }
    void put16(uint64_t pos, uint16_t v) const {
        unsigned char b[2];
        files::store_u16(b, v, big);
        stream->write(pos, b, 2);
    }
    void put32(uint64_t pos, uint32_t v) const {
        unsigned char b[4];
        files::store_u32(b, v, big);
        stream->write(pos, b, 4);
    }
};

// Check the 8-byte header ("II" or "MM", then 42 in that order) and set
// the byte order.  0 or -10 (also for a file too short to hold it).
int32_t read_header(files::Stream& stream, FileOrder& order);

// Detects a chain of IFDs that comes back to an image it has passed, in
// constant memory: the offset last saved is compared with every new one,
// and saved afresh after 1, 2, 4, 8 ... steps (a loop is found within about
// twice its length past its start).
class LoopGuard {
public:
    // True when `offset` closes a loop.
    bool revisits(uint32_t offset) {
        if (offset == saved_) return true;
        if (++steps_ == span_) {
            saved_ = offset;
            span_ *= 2;
            steps_ = 0;
        }
        return false;
    }

private:
    uint32_t saved_ = 0;
    uint64_t span_ = 1, steps_ = 0;
};

// Walk the chain from the header's link `steps` times: `link` receives the
// position of the link that follows image number `steps` (the header's link,
// offset 4, for 0).  -10 when the chain ends earlier, leaves the file, or
// comes back to an image it has passed.
int32_t find_link(const FileOrder& order, uint32_t steps, uint64_t& link);

// The offsets of `count` consecutive IFDs from image number `first` on.
// -10 when the chain ends before the last of them (or is broken as above).
int32_t ifd_offsets(const FileOrder& order, uint32_t first, uint32_t count, std::vector<uint32_t>& offsets);

// The directory of one image as read from its IFD.
struct Directory {
    uint32_t width = 0, height = 0;
    uint32_t samples = 1;
    std::array<uint32_t, 4> bits{1, 1, 1, 1};
    std::array<uint32_t, 4> sample_format{1, 1, 1, 1};
    uint32_t compression = 1;
    uint32_t photometric = kBlackIsZero;
    bool has_photometric = false;
    uint32_t planar = 1;
    uint32_t predictor = 1;
    uint32_t rows_per_strip = 0xFFFFFFFFu;
    std::vector<uint32_t> strip_offsets, strip_counts;
    uint32_t xres[2] = {0, 0}, yres[2] = {0, 0};
    uint32_t resolution_unit = 0;  // 0 when the file has none
    std::vector<uint32_t> colormap;  // 3 x 2^bits values: reds, greens, blues
    std::string texts[4];          // indexed by MVTEXT_*
    bool has_text[4] = {false, false, false, false};
    bool tiled = false;
    uint32_t fill_order = 1;       // 2: bits of every stored byte reversed
    // Taken as 1, 1 when absent (TIFF's default is 2, 2, but files of
    // earlier versions of this library lack the tag).
    uint32_t subsampling[2] = {1, 1};
    uint32_t next = 0;             // offset of the next IFD, 0 at the end

    uint32_t strips() const;       // ceil(height / rows per strip)
};

// Load the IFD at `offset`.  0, -10 (broken structure: entries or values
// outside the file, counts that cannot be), -2.
int32_t read_directory(const FileOrder& order, uint32_t offset, Directory& dir);

// The pixel format the reader presents for a directory: 0, or -11 for
// content outside the accepted set (`fmt` then still holds what is known
// of the pixels: type, bits and samples, for the file information), or -10
// for sizes that cannot be.
int32_t presented_format(const Directory& dir, mvpixfmt& fmt);

// Fill one file-information record from a directory.  0 or -2.
int32_t fill_info(const Directory& dir, const mvpixfmt& fmt, uint32_t images, uint32_t mode, mvfileinfo* info);

}  // namespace mvip::tiff
