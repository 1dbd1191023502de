// mvtool - memory images and loading and saving them through the library's
// TIFF and BMP readers and writers.

#include "mvtool.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

namespace mvtool {

int32_t check(int32_t code, const std::string& subject) {
    if (code < 0) throw Failure(subject, code);
    return code;
}

void report(const Failure& failure) {
    std::fflush(stdout);
    const char* message = mverrnomesg(failure.code);
    std::fprintf(stderr, "mvtool: %s: %s (%d)\n", failure.what(), message ? message : "Unknown error",
                 int(failure.code));
}

// ------------------------------------------------------------------ Image

Image::~Image() {
    mvimage_memfree(&im, pixels_);
    mvimage_memfree(&palette, palette_pixels_);
}

void Image::allocate(uint32_t width, uint32_t height, const mvpixfmt& fmt) {
    mvimage_memfree(&im, pixels_);
    pixels_ = nullptr;
    const uint32_t dims[2] = {width, height};
    const bool real = fmt.datatype == MVTYPE_FLOAT || fmt.datatype == MVTYPE_DOUBLE;
    check(mvimage_memmalloc(&im, &pixels_, dims, fmt.datatype, real ? 0 : fmt.bits, fmt.pixies, fmt.colorspace),
          "memory image");
}

void Image::allocate_palette(uint32_t entries, uint32_t type, uint32_t bits) {
    mvimage_memfree(&palette, palette_pixels_);
    palette_pixels_ = nullptr;
    const uint32_t dims[2] = {entries, 1};
    check(mvimage_memmalloc(&palette, &palette_pixels_, dims, type, bits, 3, MVCS_RGB), "palette image");
}

void Image::copy_palette_from(const Image& other) {
    if (!other.has_palette()) return;
    const mvpixfmt& f = other.palette.pixfmt;
    allocate_palette(uint32_t(other.palette.imdim.se.x), f.datatype, f.bits);
    check(mvip8_copy(nullptr, const_cast<mvimage*>(&other.palette), &palette), "palette image");
}

bool Image::same_pixels(const Image& other) const {
    const mvpixfmt &a = im.pixfmt, &b = other.im.pixfmt;
    return width() == other.width() && height() == other.height() && a.datatype == b.datatype &&
           a.bits == b.bits && a.pixies == b.pixies && bytes() == other.bytes() &&
           std::memcmp(pixels_, other.pixels_, size_t(bytes())) == 0;
}

// ------------------------------------------------------------- file names

FileKind kind_of(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    if (ext == ".tif" || ext == ".tiff") return FileKind::tiff;
    if (ext == ".bmp") return FileKind::bmp;
    throw UsageError(path + ": the output format comes from the extension: .tif, .tiff or .bmp");
}

uint64_t file_size(const std::string& path) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    return ec ? 0 : uint64_t(size);
}

namespace {

struct CompressionName {
    const char* name;
    uint32_t code;
};
constexpr CompressionName kCompressions[] = {
    {"none", 1}, {"packbits", 32773}, {"lzw", 5}, {"lzw-pred", 517}, {"arith", 32885},
};

}  // namespace

int32_t compression_code(const std::string& name) {
    for (const auto& c : kCompressions)
        if (name == c.name) return int32_t(c.code);
    return -1;
}

const char* compression_name(uint32_t code) {
    if (code == 0) return "none";
    for (const auto& c : kCompressions)
        if (code == c.code) return c.name;
    return nullptr;
}

// ------------------------------------------------------- reading, writing

void file_info(const std::string& path, mvfileinfo& info) {
    check(mvio8_fileinfo(path.c_str(), &info, 0), path);
}

void load(const std::string& path, Image& image, uint32_t index, bool apply_palette, mvfileinfo* info_out) {
    if (is_raw(path)) {
        load_raw(path, image);
        return;
    }
    mvfileinfo info{};
    const int32_t n = check(mvio8_fileinfoN(path.c_str(), &info, 1, index, 0), path);
    if (n == 0 || (index > 0 && std::strcmp(info.format, "tif") != 0)) {
        mvio8_fileinfodone(&info);
        throw Failure(path + ": image " + std::to_string(index), MVERR_NOITEM);
    }
    const bool tiff = std::strcmp(info.format, "tif") == 0;
    mvpixfmt fmt = info.pixfmt;
    const bool indexed = fmt.colorspace == MVCS_PALETTE;
    // Palettes of more than 16 bits of index would need a huge palette
    // image: such files are loaded as colours.
    if (indexed && (apply_palette || fmt.bits > 16)) mvpixfmt_set(&fmt, MVTYPE_U8, 8, 3, MVCS_RGB);
    try {
        if (fmt.datatype == 0) throw Failure(path, MVERR_UNSUPPORTED);  // described, not readable
        image.allocate(info.width, info.height, fmt);
        const bool keep_palette = indexed && fmt.colorspace == MVCS_PALETTE;
        if (keep_palette) image.allocate_palette(1u << fmt.bits, MVTYPE_U16, 16);
        mvabort* hook = progress("reading " + path);
        if (tiff)
            check(mvio8_tifread(hook, &image.im, keep_palette ? &image.palette : nullptr, path.c_str(), index,
                                nullptr, 0),
                  path);
        else
            check(mvio8_bmpread(hook, &image.im, nullptr, path.c_str(), 0), path);
        progress_done();
    } catch (...) {
        mvio8_fileinfodone(&info);
        throw;
    }
    if (info_out) {
        *info_out = info;  // the texts move to the caller's record
    } else {
        mvio8_fileinfodone(&info);
    }
}

void save(const Image& image, const std::string& path, const WriteOptions& options) {
    const FileKind kind = kind_of(path);
    mvimage* im = const_cast<mvimage*>(&image.im);
    mvabort* hook = progress("writing " + path);
    if (kind == FileKind::bmp) {
        check(mvio8_bmpwrite(hook, im, path.c_str(), 0), path);
        progress_done();
        return;
    }
    mvfileinfo params{};
    mvfileinfo_tif& t = params.area.tif;
    static char software[] = "mvip mvtool";
    if (const mvfileinfo* src = options.source) {
        if (std::strcmp(src->format, "tif") == 0) {
            t.xresnum = src->area.tif.xresnum;
            t.xresden = src->area.tif.xresden;
            t.yresnum = src->area.tif.yresnum;
            t.yresden = src->area.tif.yresden;
            t.resunit = src->area.tif.resunit;
            for (int i = 0; i < 4; ++i) params.texts[i] = src->texts[i];
        } else if (std::strcmp(src->format, "bmp") == 0 && src->area.bmp.xppm && src->area.bmp.yppm) {
            t.xresnum = src->area.bmp.xppm;  // pixels per metre / 100 = per centimetre
            t.xresden = 100;
            t.yresnum = src->area.bmp.yppm;
            t.yresden = 100;
            t.resunit = 3;
        }
    }
    if (params.texts[MVTEXT_SOFTWARE] == nullptr) params.texts[MVTEXT_SOFTWARE] = software;
    t.compression = options.compression;
    const mvpixfmt& f = image.im.pixfmt;
    const bool real = f.datatype == MVTYPE_FLOAT || f.datatype == MVTYPE_DOUBLE;
    if (real && options.compression != 1)
        throw UsageError(path + ": float and double images are written uncompressed (--compression none)");
    const int32_t bits = options.bits != 0 ? options.bits : real ? 32 : int32_t(f.bits);
    mvimage* palette = image.has_palette() ? const_cast<mvimage*>(&image.palette) : nullptr;
    check(mvio8_tifwrite(hook, im, palette, path.c_str(), bits, 16, 0, &params), path);
    progress_done();
}

}  // namespace mvtool
