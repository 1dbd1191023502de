// Reading TIFF images: strips decoded into a file image (kind "TIFF") that
// the reading frame presents in the caller's image.
#include "files/tiff/format.hpp"

#include "core/record.hpp"
#include "files/readframe.hpp"
#include "files/tiff/codec.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace mvip::tiff {

namespace {

// A decoded image: owned pixels behind a memory image record.
struct FileImage {
    std::unique_ptr<uint8_t[]> pixels;
    size_t row_bytes = 0;
    mvimage image{};
};

// The most bytes one stored byte can decode to, by compression.
double max_expansion(uint32_t compression) {
    switch (compression) {
    case kCompressionNone: return 1.0;
    case kCompressionPackBits: return 64.0;     // two bytes give 128
    case kCompressionLzw: return 4096.0;        // a 9-bit code gives at most 4096 bytes
    default: return 16384.0;  // adaptive arithmetic coding: the cheapest symbol costs
                              // about 1/11000 bit (1-bit samples)
    }
}

bool native_packing(const RowShape& shape) {
    return shape.bits == 8 || (!shape.big_endian && (shape.bits == 16 || shape.bits == 32 || shape.bits == 64));
}

// FillOrder 2: the bits of every stored byte in the reverse order.
void reverse_bits(uint8_t* p, size_t n) {
    static const auto table = [] {
        std::array<uint8_t, 256> t{};
        for (unsigned v = 0; v < 256; ++v)
            for (unsigned k = 0; k < 8; ++k)
                if (v & (1u << k)) t[v] |= uint8_t(0x80u >> k);
        return t;
    }();
    for (size_t i = 0; i < n; ++i) p[i] = table[p[i]];
}

template <class T>
void invert_values(uint8_t* data, size_t count, uint32_t bits) {
    auto* v = reinterpret_cast<T*>(data);
    const T top = T(bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1u);
    for (size_t i = 0; i < count; ++i) v[i] = T(top - v[i]);
}

template <class T>
void swap_chroma(uint8_t* data, size_t pixels) {
    auto* v = reinterpret_cast<T*>(data);
    for (size_t i = 0; i < pixels; ++i) std::swap(v[3 * i + 1], v[3 * i + 2]);
}

// Undo what the file's form adds to the values of one row: photometric
// inversion and the Y, Cb, Cr order.
void normalise(const Directory& dir, const mvpixfmt& fmt, uint8_t* row, size_t pixels) {
    const uint32_t t = type_of(fmt.datatype);
    if (dir.photometric == kWhiteIsZero && fmt.colorspace == MVCS_GREY && is_int_type(t)) {
        if (t == MVTYPE_U8) invert_values<uint8_t>(row, pixels, fmt.bits);
        else if (t == MVTYPE_U16) invert_values<uint16_t>(row, pixels, fmt.bits);
        else invert_values<uint32_t>(row, pixels, fmt.bits);
    }
    if (fmt.colorspace == MVCS_YCRCB) {
        if (t == MVTYPE_U8) swap_chroma<uint8_t>(row, pixels);
        else if (t == MVTYPE_U16) swap_chroma<uint16_t>(row, pixels);
        else if (t == MVTYPE_U32 || t == MVTYPE_FLOAT) swap_chroma<uint32_t>(row, pixels);
        else swap_chroma<uint64_t>(row, pixels);
    }
}

// Where decoded rows go: the lines of the caller's image (when it maps them
// in the file's form) or the rows of an owned buffer.
struct RowTarget {
    files::MappedLines* lines = nullptr;
    uint8_t* base = nullptr;
    size_t pitch = 0;
    uint8_t* row(uint32_t y) const { return lines ? lines->line(y) : base + size_t(y) * pitch; }
};

// True when target rows y0 .. y0 + rows - 1 lie one after the other.
bool rows_consecutive(const RowTarget& target, uint32_t y0, uint32_t rows, size_t row_bytes) {
    const uint8_t* first = target.row(y0);
    return first != nullptr && (rows == 1 || target.row(y0 + rows - 1) == first + size_t(rows - 1) * row_bytes);
}

// The number of strips from `first` on (at most 8 MiB of rows, at least the
// first strip) that are stored uncompressed one right after the other, each
// holding its rows whole, and go to target rows lying one after the other;
// 0 when the first strip itself does not qualify.
uint32_t consecutive_strips(const Directory& dir, const RowTarget& target, uint32_t first, uint32_t rps,
                            size_t row_bytes) {
    const uint32_t y0 = first * rps;
    uint32_t n = 0;
    uint64_t next = dir.strip_offsets[first];
    for (uint32_t s = first; s < dir.strips(); ++s) {
        const uint32_t rows = std::min(rps, dir.height - s * rps);
        const uint64_t bytes = uint64_t(rows) * row_bytes;
        if (dir.strip_offsets[s] != next || dir.strip_counts[s] < bytes) break;
        if (n > 0 && (uint64_t(s * rps + rows) - y0) * row_bytes > (8u << 20)) break;
        if (!rows_consecutive(target, y0, s * rps + rows - y0, row_bytes)) break;
        next += bytes;
        ++n;
    }
    return n;
}

// Decode every strip into the target's rows: uncompressed strips in the
// file's own form are read straight into consecutive target rows (several
// strips in one read where they follow each other); compressed strips are
// decoded straight into consecutive rows in the file's form, else into a
// staging strip and unpacked row by row.  FillOrder 2 reverses the bits of
// the stored bytes first (of the rows read as they are, or of the strip
// before it is decoded).  Then the rows are undifferenced and normalised.
int32_t decode(mvabort* hook, const FileOrder& order, const Directory& dir, const mvpixfmt& fmt,
               const RowTarget& target) {
    RowShape shape;
    shape.width = dir.width;
    shape.samples = dir.samples;
    shape.bits = dir.bits[0];
    shape.big_endian = order.big;
    const uint32_t compression = dir.compression;
    const bool arith = compression == kCompressionArith;
    const size_t row_bytes = size_t(dir.width) * dir.samples * pixie_bytes(fmt.datatype);
    const size_t stored_row = arith ? row_bytes : shape.packed_bytes();
    const bool native = arith || native_packing(shape);
    const bool plain_rows = compression == kCompressionNone && native;
    const bool predictor = compression == kCompressionLzw && dir.predictor == 2;
    const bool adjust = dir.photometric == kWhiteIsZero || fmt.colorspace == MVCS_YCRCB;
    const bool reversed = dir.fill_order == 2;
    files::Stream& stream = *order.stream;

    const uint32_t rps = std::min(dir.rows_per_strip == 0 ? dir.height : dir.rows_per_strip, dir.height);
    std::vector<uint8_t> raw, staging;
    uint32_t taken = 1;
    for (uint32_t s = 0; s < dir.strips(); s += taken) {
        const uint32_t y0 = s * rps;
        uint32_t rows = std::min(rps, dir.height - y0);
        taken = 1;
        if (const int32_t stop = files::poll_hook(hook, y0, dir.height)) return stop;
        const uint32_t offset = dir.strip_offsets[s], count = dir.strip_counts[s];
        if (!stream.holds(offset, count)) return -10;
        const size_t want = size_t(rows) * stored_row;
        uint8_t* first = target.row(y0);
        if (first == nullptr) return -1;
        if (plain_rows) {
            if (const uint32_t group = consecutive_strips(dir, target, s, rps, row_bytes); group != 0) {
                taken = group;
                rows = std::min(dir.height, (s + group) * rps) - y0;
                stream.read(offset, first, size_t(rows) * row_bytes);
            } else {
                if (count < want) return -10;
                for (uint32_t r = 0; r < rows; ++r)
                    stream.read(offset + uint64_t(r) * row_bytes, target.row(y0 + r), row_bytes);
            }
            if (const int32_t st = stream.status(); st != 0) return st;
            if (reversed)
                for (uint32_t r = 0; r < rows; ++r) reverse_bits(target.row(y0 + r), row_bytes);
        } else {
            raw.resize(count);
            stream.read(offset, raw.data(), count);
            if (const int32_t st = stream.status(); st != 0) return st;
            if (reversed) reverse_bits(raw.data(), raw.size());
            const bool direct = native && rows_consecutive(target, y0, rows, row_bytes);
            if (!direct) staging.resize(want);
            uint8_t* out = direct ? first : staging.data();
            if (const int32_t rc = decode_strip(compression, shape, rows, raw.data(), raw.size(), out, want); rc != 0)
                return rc;
            if (!direct)
                for (uint32_t r = 0; r < rows; ++r) {
                    uint8_t* row = target.row(y0 + r);
                    if (row == nullptr) return -1;
                    if (native) std::memcpy(row, staging.data() + size_t(r) * stored_row, row_bytes);
                    else unpack_row(staging.data() + size_t(r) * stored_row, shape, row);
                }
        }
        if (predictor || adjust)
            for (uint32_t r = 0; r < rows; ++r) {
                uint8_t* row = target.row(y0 + r);
                if (predictor) accumulate_row(row, dir.width, dir.samples, shape.bits);
                if (adjust) normalise(dir, fmt, row, dir.width);
            }
    }
    return 0;
}

// Decode into an owned buffer (the file image's pixels).
int32_t decode_owned(mvabort* hook, const FileOrder& order, const Directory& dir, const mvpixfmt& fmt,
                     FileImage& out) {
    const size_t row_bytes = size_t(dir.width) * dir.samples * pixie_bytes(fmt.datatype);
    out.row_bytes = row_bytes;
    if (row_bytes > SIZE_MAX / dir.height) return -2;
    out.pixels.reset(new (std::nothrow) uint8_t[row_bytes * dir.height]);
    if (!out.pixels) return -2;
    RowTarget target;
    target.base = out.pixels.get();
    target.pitch = row_bytes;
    return decode(hook, order, dir, fmt, target);
}

// Refuse before allocating when the strips cannot hold the image even at
// the codec's largest expansion (a broken or hostile file).
bool plausible(const Directory& dir) {
    RowShape shape;
    shape.width = dir.width;
    shape.samples = dir.samples;
    shape.bits = dir.bits[0];
    uint64_t stored = 0;
    for (uint32_t s = 0; s < dir.strips(); ++s) stored += dir.strip_counts[s];
    return double(shape.packed_bytes()) * dir.height <= double(stored) * max_expansion(dir.compression) + 64.0;
}

uint8_t resolution_units(uint32_t tiff_unit) {
    switch (tiff_unit) {
    case 1: return MVUNITS_RATIO;
    case 3: return MVUNITS_CENTIMETER;
    default: return MVUNITS_INCH;  // 2, and TIFF's default when the tag is absent
    }
}

mvgeometry file_geometry(const Directory& dir) {
    mvgeometry geom{1.0f, 1.0f, 1.0f, 0, 0, 0, 0};
    const bool has_x = dir.xres[0] != 0, has_y = dir.yres[0] != 0;
    if (has_x || has_y) {
        const float x = has_x ? float(double(dir.xres[1]) / dir.xres[0]) : 0.0f;
        const float y = has_y ? float(double(dir.yres[1]) / dir.yres[0]) : 0.0f;
        geom.xwidth = has_x ? x : y;
        geom.ywidth = has_y ? y : x;
        geom.xunits = geom.yunits = resolution_units(dir.resolution_unit);
    }
    return geom;
}

int32_t wrap(const Directory& dir, const mvpixfmt& fmt, FileImage& out) {
    const uint32_t dims[2] = {dir.width, dir.height};
    const mvgeometry geom = file_geometry(dir);
    const int32_t rc = mvimage_memdata(&out.image, out.pixels.get(), out.row_bytes * dir.height, dims,
                                       int32_t(out.row_bytes), &fmt, &geom, 0);
    if (rc != 0) return rc;
    set_kind(&out.image, "TIFF");
    return 0;
}

// The palette as a one-line RGB image (16-bit, or 32-bit for values that
// need it) of `entries` pixels.
int32_t colormap_image(const Directory& dir, uint32_t entries, FileImage& out) {
    const size_t n = size_t(1) << dir.bits[0];
    entries = uint32_t(std::min<size_t>(entries, n));
    const bool wide = std::any_of(dir.colormap.begin(), dir.colormap.end(), [](uint32_t v) { return v > 0xFFFFu; });
    const uint32_t type = wide ? MVTYPE_U32 : MVTYPE_U16;
    out.row_bytes = size_t(entries) * 3 * (wide ? 4 : 2);
    out.pixels.reset(new (std::nothrow) uint8_t[out.row_bytes]);
    if (!out.pixels) return -2;
    for (uint32_t i = 0; i < entries; ++i)
        for (uint32_t c = 0; c < 3; ++c) {
            const uint32_t v = dir.colormap[c * n + i];
            if (wide) reinterpret_cast<uint32_t*>(out.pixels.get())[3 * i + c] = v;
            else reinterpret_cast<uint16_t*>(out.pixels.get())[3 * i + c] = uint16_t(v);
        }
    const uint32_t dims[2] = {entries, 1};
    return mvimage_memory(&out.image, out.pixels.get(), dims, 0, type, wide ? 32 : 16, 3, MVCS_RGB, 0);
}

// Replace an index image by its colours (for colour destinations).
int32_t apply_colormap(const Directory& dir, FileImage& indexed, FileImage& out) {
    FileImage map;
    const uint32_t n = uint32_t(1) << dir.bits[0];
    if (const int32_t rc = colormap_image(dir, n, map); rc != 0) return rc;
    const bool wide = map.image.pixfmt.datatype == MVTYPE_U32;
    const size_t pixels = size_t(dir.width) * dir.height;
    const size_t bytes = wide ? 12 : 6;
    out.row_bytes = size_t(dir.width) * bytes;
    out.pixels.reset(new (std::nothrow) uint8_t[pixels * bytes]);
    if (!out.pixels) return -2;
    const uint32_t t = indexed.image.pixfmt.datatype;
    for (size_t i = 0; i < pixels; ++i) {
        const uint32_t index = t == MVTYPE_U8 ? indexed.pixels[i]
                             : t == MVTYPE_U16 ? reinterpret_cast<uint16_t*>(indexed.pixels.get())[i]
                                               : reinterpret_cast<uint32_t*>(indexed.pixels.get())[i];
        std::memcpy(out.pixels.get() + i * bytes, map.pixels.get() + size_t(std::min(index, n - 1)) * bytes, bytes);
    }
    const uint32_t dims[2] = {dir.width, dir.height};
    const int32_t rc = mvimage_memory2(&out.image, out.pixels.get(), dims, 0, wide ? MVTYPE_U32 : MVTYPE_U16,
                                       wide ? 32 : 16, 3, MVCS_RGB, 0, indexed.image.xwidth, indexed.image.ywidth,
                                       indexed.image.xunits);
    if (rc == 0) set_kind(&out.image, "TIFF");
    return rc;
}

bool palette_refused(const mvimage* palette, const mvpixfmt& destination) {
    return palette != nullptr && (palette->pixfmt.pixies != 3 || !is_int_type(palette->pixfmt.datatype) ||
                                  is_float_type(destination.datatype));
}

int32_t open_file(const char* filename, files::Stream& stream, FileOrder& order) {
    if (const int32_t rc = stream.open(filename, "rb"); rc != 0) return rc;
    return read_header(stream, order);
}

// Reads the image whose IFD lies at `offset` into `im` by the reading
// frame; `dir` receives its directory.  0 or a negative code.
int32_t read_page(mvabort* hook, const FileOrder& order, uint32_t offset, mvimage* im, uint32_t mode,
                  Directory& dir) {
    if (const int32_t rc = read_directory(order, offset, dir); rc != 0) return rc;
    mvpixfmt fmt;
    if (const int32_t rc = presented_format(dir, fmt); rc != 0) return rc;
    if (!plausible(dir)) return -10;
    const bool indexed = fmt.colorspace == MVCS_PALETTE;
    files::MappedLines lines;
    if (!indexed && files::presents_unchanged(fmt, dir.width, dir.height, im, mode) &&
        lines.open(im, fmt.datatype)) {
        // The caller's image holds the file's form: decode straight into it.
        RowTarget target;
        target.lines = &lines;
        return decode(hook, order, dir, fmt, target);
    }
    FileImage file;
    if (const int32_t rc = decode_owned(hook, order, dir, fmt, file); rc != 0) return rc;
    if (const int32_t rc = wrap(dir, fmt, file); rc != 0) return rc;
    if (indexed && im->pixfmt.pixies >= 2) {
        FileImage colours;
        if (const int32_t rc = apply_colormap(dir, file, colours); rc != 0) return rc;
        return files::present_image(hook, &colours.image, im, mode);
    }
    return files::present_image(hook, &file.image, im, mode);
}

// The caller's image takes the file's pixel size, scaled when the image was
// resampled into its window of width x height.
template <class Image>
void take_pixel_size(const Directory& dir, uint32_t width, uint32_t height, Image* im) {
    if (dir.xres[0] == 0 && dir.yres[0] == 0) return;
    const mvgeometry geom = file_geometry(dir);
    const double w = std::max(1u, width), h = std::max(1u, height);
    im->xwidth = float(double(geom.xwidth) * dir.width / w);
    im->ywidth = float(double(geom.ywidth) * dir.height / h);
    im->xunits = geom.xunits;
    im->yunits = geom.yunits;
}

// The ColorMap into the caller's palette image: 1 when copied, 0 when the
// file has none (or no palette image is given), or a negative code.
int32_t take_palette(const Directory& dir, mvimage* palette) {
    if (palette == nullptr || dir.samples != 1 || dir.photometric != kPalette || dir.colormap.empty()) return 0;
    FileImage map;
    if (const int32_t rc = colormap_image(dir, wind_width(palette), map); rc != 0) return rc;
    const int32_t rc = files::present_palette(&map.image, palette);
    return rc < 0 ? rc : 1;
}

int32_t read_image(mvabort* hook, mvimage* im, mvimage* palette, const char* filename, uint32_t index,
                   uint32_t mode) {
    if (const int32_t stop = files::poll_hook(hook, 0, 0)) return stop;
    if (im == nullptr || filename == nullptr || !window_valid_2d(im) || palette_refused(palette, im->pixfmt))
        return -1;
    files::Stream stream;
    FileOrder order;
    if (const int32_t rc = open_file(filename, stream, order); rc != 0) return rc;
    uint64_t link = 0;
    if (const int32_t rc = find_link(order, index, link); rc != 0) return rc;
    const uint32_t offset = order.u32(link);
    if (offset == 0) return -10;
    Directory dir;
    if (const int32_t rc = read_page(hook, order, offset, im, mode, dir); rc != 0) return rc;
    take_pixel_size(dir, wind_width(im), wind_height(im), im);
    return take_palette(dir, palette);
}

// Consecutive images from `index` on into the planes of the caller's
// window, each through a section view of its plane.  The file must hold
// them all; that is checked before any plane is touched.
int32_t read_stack(mvabort* hook, mvimage3* im, mvimage* palette, const char* filename, uint32_t index,
                   uint32_t mode) {
    if (const int32_t stop = files::poll_hook(hook, 0, 0)) return stop;
    if (im == nullptr || filename == nullptr || !window_valid_3d(im) || wind_depth(im) == 0 ||
        palette_refused(palette, im->pixfmt))
        return -1;
    const uint32_t depth = wind_depth(im);
    files::Stream stream;
    FileOrder order;
    if (const int32_t rc = open_file(filename, stream, order); rc != 0) return rc;
    std::vector<uint32_t> offsets;
    if (const int32_t rc = ifd_offsets(order, index, depth, offsets); rc != 0) return rc;
    files::PlaneHook planes(hook, depth);
    Directory first;
    for (uint32_t z = 0; z < depth; ++z) {
        if (const int32_t stop = planes.begin(z + 1)) return stop;
        mvimage plane{};
        if (const int32_t rc = mvimage_def2from3(&plane, im, 0, 2, z); rc != 0) return rc;
        Directory dir;
        if (const int32_t rc = read_page(planes.hook(), order, offsets[z], &plane, mode, z == 0 ? first : dir);
            rc != 0)
            return rc;
    }
    take_pixel_size(first, wind_width(im), wind_height(im), im);
    return take_palette(first, palette);
}

}  // namespace

}  // namespace mvip::tiff

extern "C" {

MVIP_API int32_t mvio8_tifread(mvabort* hook, mvimage* im, mvimage* palette, const char* filename, uint32_t index,
                               void* /*reserved*/, uint32_t mode) {
    try {
        return mvip::tiff::read_image(hook, im, palette, filename, index, mode);
    } catch (const std::bad_alloc&) {
        return -2;
    } catch (...) {
        return -1;
    }
}

MVIP_API int32_t mvio8_tifreadseq(mvabort* hook, mvimage3* im, mvimage* palette, const char* filename,
                                  uint32_t index, void* /*reserved*/, uint32_t mode) {
    try {
        return mvip::tiff::read_stack(hook, im, palette, filename, index, mode);
    } catch (const std::bad_alloc&) {
        return -2;
    } catch (...) {
        return -1;
    }
}

}  // extern "C"
