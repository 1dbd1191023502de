// BMP recognition: the header checks shared with the reader, and the probe
// that describes a file for mvio8_fileinfo.
#include "files/bmp/bmp_header.hpp"
#include "files/fileinfo.hpp"

#include <algorithm>
#include <limits>
#include <new>

namespace mvip::files::bmp {

namespace {

// A mask must be one run of set bits inside the pixel's bits.
bool usable_mask(uint32_t mask, uint32_t bitcount) {
    if (mask == 0) return false;
    if (bitcount < 32 && (mask >> bitcount) != 0) return false;
    const uint32_t low = mask & (~mask + 1u);  // lowest set bit
    const uint32_t run = mask + low;           // carries through the run
    return (run & mask) == 0;
}

bool known_header_size(uint32_t size) {
    switch (size) {
        case 12:   // OS/2 1.x core header: 16-bit sizes, 3-byte palette entries
        case 40:   // the common info header
        case 52:   // info header with the colour masks inside
        case 56:   // ... and the alpha mask
        case 64:   // OS/2 2.x header: the info header's fields and more
        case 108:  // version 4
        case 124:  // version 5
            return true;
        default:
            return false;
    }
}

}  // namespace

int32_t read_header(Stream& s, Header& h) {
    h = Header{};
    unsigned char head[14 + 124] = {};
    if (!s.holds(0, 18)) return MVERR_FORMAT;
    s.read(0, head, 18);
    if (const int32_t rc = s.status()) return rc;
    if (head[0] != 'B' || head[1] != 'M') return MVERR_FORMAT;
    h.data_offset = load_u32(head + 10, false);
    h.header_size = load_u32(head + 14, false);
    if (!known_header_size(h.header_size) || !s.holds(14, h.header_size)) return MVERR_FORMAT;
    s.read(18, head + 18, h.header_size - 4);
    if (const int32_t rc = s.status()) return rc;

    const unsigned char* f = head + 18;  // the fields after the header size
    uint32_t colours_used = 0;
    uint32_t entry_size = 4;
    if (h.header_size == 12) {
        h.width = load_u16(f, false);
        h.height = load_u16(f + 2, false);
        h.planes = load_u16(f + 4, false);
        h.bitcount = load_u16(f + 6, false);
        h.compression = kRgb;
        entry_size = 3;
    } else {
        const int32_t width = int32_t(load_u32(f, false));
        const int32_t height = int32_t(load_u32(f + 4, false));
        if (width <= 0 || height == 0 || height == std::numeric_limits<int32_t>::min()) return MVERR_FORMAT;
        h.width = uint32_t(width);
        h.top_down = height < 0;
        h.height = height < 0 ? uint32_t(-height) : uint32_t(height);
        h.planes = load_u16(f + 8, false);
        h.bitcount = load_u16(f + 10, false);
        h.compression = load_u32(f + 12, false);
        const int32_t xppm = int32_t(load_u32(f + 20, false));
        const int32_t yppm = int32_t(load_u32(f + 24, false));
        h.xppm = xppm > 0 ? uint32_t(xppm) : 0;
        h.yppm = yppm > 0 ? uint32_t(yppm) : 0;
        colours_used = load_u32(f + 28, false);
    }
    if (h.width == 0 || h.height == 0 || h.planes != 1) return MVERR_FORMAT;
    switch (h.bitcount) {
        case 1: case 4: case 8: case 16: case 24: case 32: break;
        case 0:  // JPEG or PNG data inside
        case 2:  // 2-bit palettes of some handheld systems
            return MVERR_UNSUPPORTED;
        default: return MVERR_FORMAT;
    }
    // OS/2 2.x gives codes 3 and 4 another meaning (Huffman, 24-bit runs).
    if (h.header_size == 64 && h.compression >= kBitfields) return MVERR_UNSUPPORTED;
    switch (h.compression) {
        case kRgb: break;
        case kRle8: if (h.bitcount != 8) return MVERR_FORMAT; break;
        case kRle4: if (h.bitcount != 4) return MVERR_FORMAT; break;
        case kBitfields:
        case kAlphaBitfields: if (h.bitcount < 16) return MVERR_FORMAT; break;
        case kJpeg:
        case kPng: return MVERR_UNSUPPORTED;
        default: return MVERR_FORMAT;
    }
    // Runs are coded from the bottom line up; a top-down run-length file
    // has no meaning.
    if (h.rle() && h.top_down) return MVERR_FORMAT;

    uint64_t next = 14 + uint64_t(h.header_size);  // masks or palette follow here
    if (h.bitcount >= 16) {
        const bool fields = h.compression == kBitfields || h.compression == kAlphaBitfields;
        if (!fields) {
            h.masks[0] = h.bitcount == 16 ? 0x7C00u : 0xFF0000u;
            h.masks[1] = h.bitcount == 16 ? 0x03E0u : 0x00FF00u;
            h.masks[2] = h.bitcount == 16 ? 0x001Fu : 0x0000FFu;
        } else if (h.header_size >= 52) {
            for (int i = 0; i < 3; ++i) h.masks[i] = load_u32(f + 36 + 4 * i, false);
        } else {
            // A 40-byte header is followed by the masks (and the alpha mask).
            const uint32_t bytes = h.compression == kAlphaBitfields ? 16 : 12;
            unsigned char m[12];
            if (!s.holds(next, bytes)) return MVERR_FORMAT;
            s.read(next, m, sizeof m);
            if (const int32_t rc = s.status()) return rc;
            for (int i = 0; i < 3; ++i) h.masks[i] = load_u32(m + 4 * i, false);
            next += bytes;
        }
        for (uint32_t mask : h.masks)
            if (!usable_mask(mask, h.bitcount)) return MVERR_UNSUPPORTED;
    }
    uint32_t count = 0;  // palette entries
    if (h.bitcount <= 8) {
        const uint32_t nominal = 1u << h.bitcount;
        if (colours_used > nominal) return MVERR_FORMAT;
        count = colours_used != 0 ? colours_used : nominal;
    }
    // Some writers leave the data offset 0: the pixels follow the palette.
    if (h.data_offset == 0) h.data_offset = next + uint64_t(count) * entry_size;
    if (h.data_offset < next || h.data_offset >= s.length()) return MVERR_FORMAT;
    h.data_bytes = s.length() - h.data_offset;

    if (h.bitcount <= 8) {
        // Pixel data that starts inside the palette leaves the entries
        // before it.
        count = uint32_t(std::min<uint64_t>(count, (h.data_offset - next) / entry_size));
        if (count == 0) return MVERR_FORMAT;
        unsigned char raw[256 * 4];
        s.read(next, raw, size_t(count) * entry_size);
        if (const int32_t rc = s.status()) return rc;
        h.entries = count;
        h.grey = true;
        for (uint32_t i = 0; i < count; ++i) {
            const unsigned char* e = raw + size_t(i) * entry_size;
            h.palette[i][0] = e[0];
            h.palette[i][1] = e[1];
            h.palette[i][2] = e[2];
            if (e[0] != e[1] || e[1] != e[2]) h.grey = false;
        }
    }

    if (!h.rle()) {
        // Every stored line must be inside the file.
        if (h.stride() > h.data_bytes / h.height) return MVERR_FORMAT;
    } else if (h.data_bytes < 2) {
        return MVERR_FORMAT;
    }
    return 0;
}

}  // namespace mvip::files::bmp

namespace mvip::files {

int32_t bmp_probe(const char* name, mvfileinfo* info, uint32_t, bool icon) {
    if (icon) return MVERR_FORMAT;  // icon files are not read yet
    try {
        Stream s;
        if (const int32_t rc = s.open(name, "rb")) return rc;
        bmp::Header h;
        if (const int32_t rc = bmp::read_header(s, h)) return rc;
        mvpixfmt fmt{};
        mvpixfmt_set(&fmt, MVTYPE_U8, 8, h.pixies(), h.grey ? MVCS_GREY : MVCS_BGR);
        fill_head(info, h.width, h.height, 1, fmt, "bmp");
        mvfileinfo_bmp& b = info->area.bmp;
        b.planes = h.planes;
        b.bitcount = h.bitcount;
        b.palentries = h.entries;
        b.compression = h.compression;
        b.xppm = h.xppm;
        b.yppm = h.yppm;
        b.one = 1;
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}

}  // namespace mvip::files
