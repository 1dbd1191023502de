// AVI movies: the four-character codes, header sizes and frame geometry
// shared by the writers, the reader and the probe.
#pragma once

#include <cstdint>

namespace mvip::files::avi {

// A four-character code as the file stores it (first character lowest).
constexpr uint32_t fourcc(const char (&s)[5]) {
    return uint32_t(uint8_t(s[0])) | uint32_t(uint8_t(s[1])) << 8 | uint32_t(uint8_t(s[2])) << 16 |
           uint32_t(uint8_t(s[3])) << 24;
}

constexpr uint32_t kRiff = fourcc("RIFF");
constexpr uint32_t kList = fourcc("LIST");
constexpr uint32_t kAvi = fourcc("AVI ");
constexpr uint32_t kAvix = fourcc("AVIX");
constexpr uint32_t kHdrl = fourcc("hdrl");
constexpr uint32_t kStrl = fourcc("strl");
constexpr uint32_t kMovi = fourcc("movi");
constexpr uint32_t kRec = fourcc("rec ");
constexpr uint32_t kOdml = fourcc("odml");
constexpr uint32_t kInfo = fourcc("INFO");
constexpr uint32_t kAvih = fourcc("avih");
constexpr uint32_t kStrh = fourcc("strh");
constexpr uint32_t kStrf = fourcc("strf");
constexpr uint32_t kIndx = fourcc("indx");
constexpr uint32_t kDmlh = fourcc("dmlh");
constexpr uint32_t kJunk = fourcc("JUNK");
constexpr uint32_t kIdx1 = fourcc("idx1");
constexpr uint32_t kIx00 = fourcc("ix00");
constexpr uint32_t kFrame = fourcc("00db");  // stream 0, uncompressed frame
constexpr uint32_t kVids = fourcc("vids");
constexpr uint32_t kDib = fourcc("DIB ");

// INFO texts in the order they are written, with the text slot of the
// file-information record each one comes from.
struct InfoText {
    uint32_t id;
    uint32_t slot;  // MVTEXT_*
};
constexpr InfoText kInfoTexts[4] = {
    {fourcc("ISFT"), 1}, {fourcc("ICMT"), 2}, {fourcc("ICOP"), 3}, {fourcc("ICRD"), 0}};

constexpr uint32_t kMainHeaderBytes = 56;
constexpr uint32_t kStreamHeaderPlain = 64;  // frame rectangle of 32-bit values
constexpr uint32_t kStreamHeaderOdml = 56;   // frame rectangle of 16-bit values
constexpr uint32_t kBitmapHeader = 40;
constexpr uint32_t kDmlhBytes = 248;
constexpr uint32_t kIndexHeader = 24;        // payload before the entries of indx and ix00
constexpr uint32_t kMoviAlign = 8192;        // OpenDML: LIST movi starts on this
constexpr uint64_t kListBytes = uint64_t(1) << 30;

// Main header flags: the file has an idx1 index and its frames are in
// stream order.
constexpr uint32_t kHasIndex = 0x10;
constexpr uint32_t kIsInterleaved = 0x100;
// idx1 entry flag: a key frame (every uncompressed frame is one).
constexpr uint32_t kKeyFrame = 0x10;
// ix00 entry sizes carry this bit for frames that are not key frames.
constexpr uint32_t kNotKeyFrame = 0x80000000u;

// Geometry of stored frames: rows of a device-independent bitmap are
// padded to 4 bytes.
inline uint64_t dib_row_bytes(uint32_t width, uint32_t bitcount) { return (uint64_t(width) * bitcount + 31) / 32 * 4; }

// Frames per RIFF list of an OpenDML file: 2^30 / row bytes / height, at
// least 1.
inline uint64_t frames_per_list(uint64_t row_bytes, uint32_t height) {
    const uint64_t n = row_bytes == 0 || height == 0 ? 1 : kListBytes / row_bytes / height;
    return n == 0 ? 1 : n;
}

}  // namespace mvip::files::avi
