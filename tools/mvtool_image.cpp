// mvtool - memory images and loading and saving them through the library's
// TIFF, BMP and JPEG readers and writers.

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
    mvimage_memfree(&im, is_stack() ? nullptr : pixels_);
    mvimage3_memfree(&im3, is_stack() ? pixels_ : nullptr);
    mvimage_memfree(&palette, palette_pixels_);
}

void Image::allocate(uint32_t width, uint32_t height, const mvpixfmt& fmt, uint32_t depth) {
    mvimage_memfree(&im, nullptr);
    mvimage3_memfree(&im3, pixels_);  // one buffer either way
    pixels_ = nullptr;
    width_ = height_ = 0;
    depth_ = 1;
    const bool real = fmt.datatype == MVTYPE_FLOAT || fmt.datatype == MVTYPE_DOUBLE;
    const uint32_t bits = real ? 0 : fmt.bits;
    if (depth > 1) {
        const uint32_t dims[3] = {width, height, depth};
        check(mvimage3_memmalloc(&im3, &pixels_, dims, fmt.datatype, bits, fmt.pixies, fmt.colorspace), "memory image");
    } else {
        const uint32_t dims[2] = {width, height};
        check(mvimage_memmalloc(&im, &pixels_, dims, fmt.datatype, bits, fmt.pixies, fmt.colorspace), "memory image");
    }
    width_ = width;
    height_ = height;
    depth_ = depth > 1 ? depth : 1;
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
    const mvpixfmt &a = format(), &b = other.format();
    return width() == other.width() && height() == other.height() && depth() == other.depth() &&
           a.datatype == b.datatype && a.bits == b.bits && a.pixies == b.pixies && bytes() == other.bytes() &&
           std::memcmp(pixels_, other.pixels_, size_t(bytes())) == 0;
}

int Image::largest_difference(const Image& other) const {
    const mvpixfmt &a = format(), &b = other.format();
    if (width() != other.width() || height() != other.height() || depth() != other.depth() ||
        a.datatype != MVTYPE_U8 || b.datatype != MVTYPE_U8 || a.pixies != b.pixies || bytes() != other.bytes())
        return -1;
    const auto* p = static_cast<const uint8_t*>(pixels_);
    const auto* q = static_cast<const uint8_t*>(other.pixels_);
    int most = 0;
    for (uint64_t i = 0; i < bytes(); ++i) most = std::max(most, std::abs(int(p[i]) - int(q[i])));
    return most;
}

mvimage* Image::plane(uint32_t z, mvimage& view) {
    if (!is_stack()) return &im;
    check(mvimage_def2from3(&view, &im3, 0, 2, z), "plane " + std::to_string(z + 1));
    return &view;
}

// ------------------------------------------------------------- file pages

FilePages::FilePages(const std::string& path) {
    mvfileinfo first{};
    check(mvio8_fileinfo(path.c_str(), &first, 0), path);
    const uint32_t images = std::strcmp(first.format, "tif") == 0 ? first.images : 1;
    if (images <= 1) {
        pages.push_back(first);  // the texts move into the list
        return;
    }
    mvio8_fileinfodone(&first);
    pages.resize(images);
    const int32_t n = mvio8_fileinfoN(path.c_str(), pages.data(), images, 0, 0);
    if (n < 0) {
        for (auto& p : pages) mvio8_fileinfodone(&p);
        throw Failure(path, n);
    }
    pages.resize(size_t(n));
}

FilePages::~FilePages() {
    for (auto& p : pages) mvio8_fileinfodone(&p);
}

bool FilePages::tiff() const { return !pages.empty() && std::strcmp(pages[0].format, "tif") == 0; }

uint32_t FilePages::stack_depth() const {
    if (!tiff() || pages.size() < 2) return 1;
    const mvfileinfo& a = pages[0];
    for (const mvfileinfo& b : pages) {
        const mvpixfmt &f = a.pixfmt, &g = b.pixfmt;
        if (b.width != a.width || b.height != a.height || f.datatype != g.datatype || f.bits != g.bits ||
            f.pixies != g.pixies || f.colorspace != g.colorspace)
            return 1;
    }
    return uint32_t(pages.size());
}

// ------------------------------------------------------------- file names

FileKind kind_of(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    if (ext == ".tif" || ext == ".tiff") return FileKind::tiff;
    if (ext == ".bmp") return FileKind::bmp;
    if (ext == ".jpg" || ext == ".jpeg") return FileKind::jpeg;
    if (ext == ".avi") return FileKind::avi;
    throw UsageError(path + ": the output format comes from the extension: .tif, .tiff, .bmp, .jpg, .jpeg or .avi");
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

namespace {

// The format an image is loaded in: the file's own, except that palettes
// of more than 16 bits of index (which would need a huge palette image),
// and palettes when `apply_palette` asks for colours, become u8 RGB.
mvpixfmt load_format(const mvfileinfo& info, bool apply_palette, bool& keep_palette) {
    mvpixfmt fmt = info.pixfmt;
    const bool indexed = fmt.colorspace == MVCS_PALETTE;
    if (indexed && (apply_palette || fmt.bits > 16)) mvpixfmt_set(&fmt, MVTYPE_U8, 8, 3, MVCS_RGB);
    keep_palette = indexed && fmt.colorspace == MVCS_PALETTE;
    return fmt;
}

// The TIFF writer's parameters: compression, and the resolution and texts
// of the source file when one is named.
void tiff_params(const WriteOptions& options, mvfileinfo& params) {
    params = mvfileinfo{};
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
}

// The bits argument of the TIFF writer; refuses compressed floats.
int32_t tiff_bits(const mvpixfmt& f, const WriteOptions& options, const std::string& path) {
    const bool real = f.datatype == MVTYPE_FLOAT || f.datatype == MVTYPE_DOUBLE;
    if (real && options.compression != 1)
        throw UsageError(path + ": float and double images are written uncompressed (--compression none)");
    return options.bits != 0 ? options.bits : real ? 32 : int32_t(f.bits);
}

// The JPEG writer's parameters: the quality, and the densities and
// comments of a JPEG source file.
void jpeg_params(const WriteOptions& options, mvfileinfo& params) {
    params = mvfileinfo{};
    if (const mvfileinfo* src = options.source; src != nullptr && std::strcmp(src->format, "jpg") == 0) {
        params.area.jpg = src->area.jpg;
        for (int i = 0; i < 3; ++i) params.texts[i] = src->texts[i];
    } else {
        params.area.jpg.xdensity = params.area.jpg.ydensity = 1;
    }
    params.area.jpg.quality = options.quality;
}

}  // namespace

void load(const std::string& path, Image& image, uint32_t index, bool apply_palette, mvfileinfo* info_out) {
    if (is_raw(path)) {
        load_raw(path, image);
        return;
    }
    mvfileinfo info{};
    const int32_t n = check(mvio8_fileinfoN(path.c_str(), &info, 1, index, 0), path);
    if (n == 0 || (index > 0 && std::strcmp(info.format, "tif") != 0 && !is_avi(info))) {
        mvio8_fileinfodone(&info);
        throw Failure(path + ": image " + std::to_string(index), MVERR_NOITEM);
    }
    if (is_avi(info)) {  // one frame of a movie
        try {
            load_avi(path, info, image, index);
        } catch (...) {
            mvio8_fileinfodone(&info);
            throw;
        }
        if (info_out) *info_out = info;
        else mvio8_fileinfodone(&info);
        return;
    }
    const bool tiff = std::strcmp(info.format, "tif") == 0;
    bool keep_palette = false;
    const mvpixfmt fmt = load_format(info, apply_palette, keep_palette);
    try {
        if (fmt.datatype == 0) throw Failure(path, MVERR_UNSUPPORTED);  // described, not readable
        image.allocate(info.width, info.height, fmt);
        if (keep_palette) image.allocate_palette(1u << fmt.bits, MVTYPE_U16, 16);
        mvabort* hook = progress("reading " + path);
        if (tiff)
            check(mvio8_tifread(hook, &image.im, keep_palette ? &image.palette : nullptr, path.c_str(), index,
                                nullptr, 0),
                  path);
        else if (std::strcmp(info.format, "jpg") == 0)
            check(mvio8_jpegread(hook, &image.im, path.c_str(), 0), path);
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

void load_stack(const std::string& path, const FilePages& pages, Image& image, bool apply_palette) {
    const uint32_t depth = pages.stack_depth();
    const mvfileinfo& first = pages.pages.at(0);
    bool keep_palette = false;
    const mvpixfmt fmt = load_format(first, apply_palette, keep_palette);
    if (fmt.datatype == 0) throw Failure(path, MVERR_UNSUPPORTED);
    image.allocate(first.width, first.height, fmt, depth);
    if (keep_palette) image.allocate_palette(1u << fmt.bits, MVTYPE_U16, 16);
    // The library calls the hook with (page, pages): the bar counts pages.
    mvabort* hook = progress("reading " + path);
    check(mvio8_tifreadseq(hook, &image.im3, keep_palette ? &image.palette : nullptr, path.c_str(), 0, nullptr, 0),
          path);
    progress_done();
}

void save(const Image& image, const std::string& path, const WriteOptions& options) {
    const FileKind kind = kind_of(path);
    if (kind == FileKind::avi) {
        save_avi(image, path, options);
        return;
    }
    if (kind != FileKind::tiff && image.is_stack())
        throw UsageError(path + ": a " + (kind == FileKind::bmp ? "BMP" : "JPEG") +
                         " file holds one image, this is a stack of " + std::to_string(image.depth()) +
                         " (write TIFF, or pick a page with --index)");
    mvimage* im = const_cast<mvimage*>(&image.im);
    mvabort* hook = progress("writing " + path);
    if (kind == FileKind::jpeg) {
        mvfileinfo params;
        jpeg_params(options, params);
        const uint32_t bits = options.bits != 0 ? uint32_t(options.bits) : image.format().bits > 8 ? 12 : 8;
        check(mvio8_jpegwrite(hook, im, nullptr, path.c_str(), bits, &params), path);
        progress_done();
        return;
    }
    if (kind == FileKind::bmp) {
        check(mvio8_bmpwrite(hook, im, path.c_str(), 0), path);
        progress_done();
        return;
    }
    mvfileinfo params;
    tiff_params(options, params);
    const int32_t bits = tiff_bits(image.format(), options, path);
    mvimage* palette = image.has_palette() ? const_cast<mvimage*>(&image.palette) : nullptr;
    if (image.is_stack())
        check(mvio8_tifwriteseq(hook, const_cast<mvimage3*>(&image.im3), palette, path.c_str(), bits, 16, 0, &params),
              path);
    else
        check(mvio8_tifwrite(hook, im, palette, path.c_str(), bits, 16, 0, &params), path);
    progress_done();
}

// ------------------------------------------------------------ TIFF pages

TiffPages::TiffPages(const std::string& path) : path_(path) {
    check(mvio8_tifwriteseqinit(progress("writing " + path), &handle_, path.c_str(), 0), path);
}

TiffPages::~TiffPages() {
    // Unfinished (an exception on the way): the file is not kept.
    if (handle_ != nullptr) {
        mvio8_tifwriteseqdone(nullptr, &handle_, nullptr);
        std::remove(path_.c_str());
    }
}

void TiffPages::add(const Image& image, const WriteOptions& options) {
    mvfileinfo params;
    tiff_params(options, params);
    const int32_t bits = tiff_bits(image.format(), options, path_);
    mvimage* palette = image.has_palette() ? const_cast<mvimage*>(&image.palette) : nullptr;
    check(mvio8_tifwriteseqadd(progress("writing " + path_), &handle_, nullptr, const_cast<mvimage*>(&image.im),
                               palette, bits, 16, &params),
          path_);
}

void TiffPages::done() {
    check(mvio8_tifwriteseqdone(nullptr, &handle_, nullptr), path_);
    progress_done();
}

}  // namespace mvtool
