// Reading TIFF structure: header, IFD chain, directories; the file probe.
#include "files/tiff/format.hpp"

#include "core/record.hpp"
#include "files/fileinfo.hpp"
#include "files/tiff/codec.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

namespace mvip::tiff {

uint32_t field_size(uint16_t type) {
    switch (type) {
    case 1: case 2: case 6: case 7: return 1;  // BYTE, ASCII, SBYTE, UNDEFINED
    case 3: case 8: return 2;                  // SHORT, SSHORT
    case 4: case 9: case 11: case 13: return 4;  // LONG, SLONG, FLOAT, IFD
    case 5: case 10: case 12: return 8;        // RATIONAL, SRATIONAL, DOUBLE
    default: return 0;
    }
}

uint32_t Directory::strips() const {
    const uint32_t rps = rows_per_strip == 0 ? 0xFFFFFFFFu : rows_per_strip;
    return rps >= height ? 1u : uint32_t((uint64_t(height) + rps - 1) / rps);
}

int32_t read_header(files::Stream& stream, FileOrder& order) {
    order.stream = &stream;
    unsigned char h[8];
    stream.read(0, h, 8);
    if (stream.status() != 0) return stream.status() == -7 ? -7 : -10;
    if (h[0] == 'I' && h[1] == 'I') order.big = false;
    else if (h[0] == 'M' && h[1] == 'M') order.big = true;
    else return -10;
    return files::load_u16(h + 2, order.big) == 42 ? 0 : -10;
}

namespace {

// One step along the chain: the IFD the link at `link` names, and `link`
// moved to that IFD's own link.  -10 at the end of the chain, for an IFD
// outside the file or one passed before.
int32_t step(const FileOrder& order, LoopGuard& guard, uint64_t& link, uint32_t& ifd) {
    ifd = order.u32(link);
    if (ifd == 0 || !order.stream->holds(ifd, 2) || guard.revisits(ifd)) return -10;
    const uint64_t next = uint64_t(ifd) + 2 + 12ull * order.u16(ifd);
    if (!order.stream->holds(next, 4) || next <= ifd) return -10;
    link = next;
    return 0;
}

}  // namespace

int32_t find_link(const FileOrder& order, uint32_t steps, uint64_t& link) {
    link = 4;
    LoopGuard guard;
    uint32_t ifd = 0;
    for (uint32_t i = 0; i < steps; ++i)
        if (const int32_t rc = step(order, guard, link, ifd); rc != 0) return rc;
    return order.stream->status() == -7 ? -7 : 0;
}

int32_t ifd_offsets(const FileOrder& order, uint32_t first, uint32_t count, std::vector<uint32_t>& offsets) {
    uint64_t link = 4;
    LoopGuard guard;
    uint32_t ifd = 0;
    offsets.clear();
    for (uint64_t i = 0; i < uint64_t(first) + count; ++i) {
        if (const int32_t rc = step(order, guard, link, ifd); rc != 0) return rc;
        if (i >= first) offsets.push_back(ifd);
    }
    return order.stream->status() == -7 ? -7 : 0;
}

namespace {

// One IFD entry as stored.
struct Entry {
    uint16_t tag, type;
    uint32_t count;
    uint64_t value_pos;  // where the values lie (the entry's own field when they fit)
    uint64_t bytes;
};

// Numeric values of a BYTE, SHORT or LONG entry.  false for another type
// or values outside the file.
bool numbers(const FileOrder& order, const Entry& e, std::vector<uint32_t>& out) {
    if (e.type != kByte && e.type != kShort && e.type != kLong) return false;
    if (!order.stream->holds(e.value_pos, e.bytes)) return false;
    std::vector<unsigned char> raw(e.bytes);
    order.stream->read(e.value_pos, raw.data(), raw.size());
    out.resize(e.count);
    for (uint32_t i = 0; i < e.count; ++i) {
        const unsigned char* p = raw.data() + size_t(i) * field_size(e.type);
        out[i] = e.type == kByte ? p[0] : e.type == kShort ? files::load_u16(p, order.big) : files::load_u32(p, order.big);
    }
    return true;
}

bool first_number(const FileOrder& order, const Entry& e, uint32_t& value) {
    if (e.count == 0) return false;
    Entry one = e;
    one.count = 1;
    one.bytes = field_size(e.type);
    std::vector<uint32_t> v;
    if (!numbers(order, one, v)) return false;
    value = v[0];
    return true;
}

bool rational(const FileOrder& order, const Entry& e, uint32_t out[2]) {
    if (e.type != kRational || e.count < 1 || !order.stream->holds(e.value_pos, 8)) return false;
    out[0] = order.u32(e.value_pos);
    out[1] = order.u32(e.value_pos + 4);
    return true;
}

int text_slot(uint16_t tag) {
    switch (tag) {
    case kDateTime: return MVTEXT_DATETIME;
    case kSoftware: return MVTEXT_SOFTWARE;
    case kImageDescription: return MVTEXT_DESCRIPTION;
    case kCopyright: return MVTEXT_COPYRIGHT;
    default: return -1;
    }
}

int32_t load_entry(const FileOrder& order, const Entry& e, Directory& dir) {
    std::vector<uint32_t> v;
    switch (e.tag) {
    case kImageWidth: return first_number(order, e, dir.width) ? 0 : -10;
    case kImageLength: return first_number(order, e, dir.height) ? 0 : -10;
    case kBitsPerSample:
    case kSampleFormat: {
        if (!numbers(order, e, v) || v.empty()) return -10;
        auto& target = e.tag == kBitsPerSample ? dir.bits : dir.sample_format;
        for (size_t i = 0; i < target.size(); ++i) target[i] = v[std::min(i, v.size() - 1)];
        // More samples than four are refused later; keep their first values.
        return 0;
    }
    case kCompression: return first_number(order, e, dir.compression) ? 0 : -10;
    case kPhotometric:
        dir.has_photometric = true;
        return first_number(order, e, dir.photometric) ? 0 : -10;
    case kSamplesPerPixel: return first_number(order, e, dir.samples) ? 0 : -10;
    case kRowsPerStrip: return first_number(order, e, dir.rows_per_strip) ? 0 : -10;
    case kPlanarConfiguration: return first_number(order, e, dir.planar) ? 0 : -10;
    case kPredictor: return first_number(order, e, dir.predictor) ? 0 : -10;
    case kFillOrder: return first_number(order, e, dir.fill_order) ? 0 : -10;
    case kResolutionUnit: return first_number(order, e, dir.resolution_unit) ? 0 : -10;
    case kStripOffsets: return numbers(order, e, dir.strip_offsets) ? 0 : -10;
    case kStripByteCounts: return numbers(order, e, dir.strip_counts) ? 0 : -10;
    case kColorMap: return numbers(order, e, dir.colormap) ? 0 : -10;
    case kXResolution: return rational(order, e, dir.xres) ? 0 : -10;
    case kYResolution: return rational(order, e, dir.yres) ? 0 : -10;
    case kYCbCrSubSampling:
        if (!numbers(order, e, v) || v.size() < 2) return -10;
        dir.subsampling[0] = v[0];
        dir.subsampling[1] = v[1];
        return 0;
    case kTileWidth: case kTileLength: case kTileOffsets:
        dir.tiled = true;
        return 0;
    default: break;
    }
    const int slot = text_slot(e.tag);
    if (slot >= 0 && e.type == kAscii) {
        if (!order.stream->holds(e.value_pos, e.bytes)) return -10;
        std::string s(size_t(e.bytes), '\0');
        order.stream->read(e.value_pos, s.data(), s.size());
        s.resize(std::strlen(s.c_str()));
        dir.texts[slot] = std::move(s);
        dir.has_text[slot] = true;
    }
    return 0;
}

}  // namespace

int32_t read_directory(const FileOrder& order, uint32_t offset, Directory& dir) {
    files::Stream& s = *order.stream;
    if (!s.holds(offset, 2)) return -10;
    const uint32_t count = order.u16(offset);
    if (!s.holds(uint64_t(offset) + 2, 12ull * count + 4)) return -10;
    try {
        std::vector<unsigned char> raw(12ull * count + 4);
        s.read(uint64_t(offset) + 2, raw.data(), raw.size());
        for (uint32_t i = 0; i < count; ++i) {
            const unsigned char* p = raw.data() + 12 * i;
            Entry e;
            e.tag = files::load_u16(p, order.big);
            e.type = files::load_u16(p + 2, order.big);
            e.count = files::load_u32(p + 4, order.big);
            e.bytes = uint64_t(e.count) * field_size(e.type);
            e.value_pos = e.bytes <= 4 ? uint64_t(offset) + 2 + 12 * i + 8 : files::load_u32(p + 8, order.big);
            if (field_size(e.type) == 0) continue;  // a type this library does not know
            if (const int32_t rc = load_entry(order, e, dir); rc < 0) return rc;
        }
        dir.next = files::load_u32(raw.data() + 12 * count, order.big);
    } catch (const std::bad_alloc&) {
        return -2;
    }
    if (s.status() == -7) return -7;
    return 0;
}

namespace {

// What the directory says of the pixels, whether or not the reader takes
// them: the type the samples need, their bits, their count and the colour
// code.  Words it cannot tell stay 0.
void describe(const Directory& dir, mvpixfmt& fmt) {
    fmt = mvpixfmt{};
    const uint32_t bits = dir.bits[0];
    uint32_t type = 0;
    if (dir.sample_format[0] == 1 && bits >= 1 && bits <= 32)
        type = bits <= 8 ? MVTYPE_U8 : bits <= 16 ? MVTYPE_U16 : MVTYPE_U32;
    else if (dir.sample_format[0] == 3 && (bits == 32 || bits == 64))
        type = bits == 32 ? MVTYPE_FLOAT : MVTYPE_DOUBLE;
    uint32_t code = 0;
    if (dir.samples == 1 && (dir.photometric == kWhiteIsZero || dir.photometric == kBlackIsZero)) code = MVCS_GREY;
    else if (dir.samples == 1 && dir.photometric == kPalette && !dir.colormap.empty()) code = MVCS_PALETTE;
    else if (dir.samples == 3 && dir.photometric == kRgb) code = MVCS_RGB;
    else if (dir.samples == 3 && dir.photometric == kYCbCr) code = MVCS_YCRCB;
    else if (dir.samples == 4 && dir.photometric == kSeparated) code = MVCS_CMYK;
    if (type != 0 && mvpixfmt_set(&fmt, type, is_float_type(type) ? 0 : bits, dir.samples, code) == 0) {
        if (is_float_type(type)) {
            fmt.valflags = 0;
            fmt.byteorder = 0;
        }
        return;
    }
    fmt.datatype = type;
    fmt.pixies = dir.samples;
    fmt.bits = bits;
    fmt.colorspace = code;
}

}  // namespace

int32_t presented_format(const Directory& dir, mvpixfmt& fmt) {
    fmt = mvpixfmt{};
    if (dir.width == 0 || dir.height == 0 || dir.width > 0x7FFFFFFFu || dir.height > 0x7FFFFFFFu) return -10;
    describe(dir, fmt);
    if (dir.tiled) return -11;
    const uint32_t c = dir.compression;
    if (c != kCompressionNone && c != kCompressionLzw && c != kCompressionPackBits && c != kCompressionArith) return -11;
    if (c == kCompressionLzw && dir.predictor != 1 && dir.predictor != 2) return -11;
    if (dir.fill_order != 1 && dir.fill_order != 2) return -11;
    if (dir.samples < 1 || dir.samples > 4) return -11;
    for (uint32_t i = 1; i < dir.samples; ++i)
        if (dir.bits[i] != dir.bits[0] || dir.sample_format[i] != dir.sample_format[0]) return -11;
    if (dir.planar != 1 && !(dir.planar == 2 && dir.samples == 1)) return -11;
    const uint32_t bits = dir.bits[0];
    if (fmt.datatype == 0 || fmt.pixies == 0) return -11;  // not an unsigned integer or IEEE float we take
    if (is_float_type(fmt.datatype) && !dir.colormap.empty()) return -11;
    if (c == kCompressionLzw && dir.predictor == 2 && bits != 8 && bits != 16 && bits != 32) return -11;
    if (c == kCompressionArith && bits > 12) return -11;
    if (dir.photometric == kYCbCr && (dir.subsampling[0] != 1 || dir.subsampling[1] != 1)) return -11;
    if (dir.photometric == kPalette && !dir.colormap.empty() &&
        (bits > 24 || dir.colormap.size() < (size_t(3) << bits)))
        return -10;
    if (dir.strip_offsets.size() < dir.strips() || dir.strip_counts.size() < dir.strips()) return -10;
    return 0;
}

int32_t fill_info(const Directory& dir, const mvpixfmt& fmt, uint32_t images, uint32_t mode, mvfileinfo* info) {
    files::fill_head(info, dir.width, dir.height, images, fmt, "tif");
    mvfileinfo_tif& t = info->area.tif;
    t.xresnum = dir.xres[0];
    t.xresden = dir.xres[1];
    t.yresnum = dir.yres[0];
    t.yresden = dir.yres[1];
    t.resunit = dir.resolution_unit;
    t.compression = dir.compression == kCompressionLzw && dir.predictor == 2 ? kCompressionLzwPredictor : dir.compression;
    uint32_t largest = 0;
    for (uint32_t n : dir.strip_counts) largest = std::max(largest, n);
    t.stripsize = dir.strip_counts.size() > 1 ? largest : 0xFFFFFFFFu;
    for (uint32_t i = 0; i < 4; ++i) {
        t.bits[i] = i < dir.samples ? dir.bits[i] : 0;
        t.sampleformat[i] = i < dir.samples ? dir.sample_format[i] : 0;
    }
    t.zero = 0;
    t.ifdcount = images;
    t.mode = mode;
    for (int i = 0; i < 4; ++i) {
        if (!dir.has_text[i]) continue;
        char* copy = static_cast<char*>(std::malloc(dir.texts[i].size() + 1));
        if (copy == nullptr) return -2;
        std::memcpy(copy, dir.texts[i].c_str(), dir.texts[i].size() + 1);
        info->texts[i] = copy;
    }
    return 0;
}

}  // namespace mvip::tiff

namespace mvip::files {

int32_t tiff_probe(const char* name, mvfileinfo* info, uint32_t n, uint32_t first, uint32_t mode,
                   uint32_t& filled) {
    using namespace mvip::tiff;
    filled = 0;
    Stream stream;
    if (const int32_t rc = stream.open(name, "rb"); rc != 0) return rc;
    FileOrder order;
    if (const int32_t rc = read_header(stream, order); rc != 0) return rc;
    try {
        LoopGuard guard;
        uint32_t ordinal = 0;
        for (uint32_t offset = order.u32(4); offset != 0; ++ordinal) {
            if (guard.revisits(offset) || ordinal == 0x7FFFFFFFu) return -10;
            Directory dir;
            if (const int32_t rc = read_directory(order, offset, dir); rc != 0) return rc;
            if (ordinal >= first && filled < n) {
                mvpixfmt fmt;
                presented_format(dir, fmt);  // content the reader refuses still describes a TIFF file
                if (const int32_t rc = fill_info(dir, fmt, 0, mode, &info[filled]); rc != 0) return rc;
                ++filled;
            }
            offset = dir.next;
        }
        if (ordinal == 0) return -10;
        for (uint32_t i = 0; i < filled; ++i) info[i].images = info[i].area.tif.ifdcount = ordinal;
    } catch (const std::bad_alloc&) {
        return -2;
    }
    return stream.status() == -7 ? -7 : 0;
}

}  // namespace mvip::files
