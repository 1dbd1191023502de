// mvtool - declarations shared by the sources of the command-line tool.
#pragma once

#include "mvip.h"
#include "optable.hpp"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace mvtool {

// Exit statuses.
constexpr int kExitOk = 0;
constexpr int kExitUsage = 1;        // bad command line
constexpr int kExitFailure = 2;      // the library answered a failure
constexpr int kExitCheck = 3;        // a result did not match what was expected
constexpr int kExitInterrupted = 130;

// A bad command line (UsageError, optable.hpp): reported with a pointer to
// --help, exit 1.


// A negative result code of the library for `subject` (a file name or an
// operation): reported with the library's message, exit 2 (130 for -4).
struct Failure : std::runtime_error {
    Failure(std::string subject, int32_t code) : std::runtime_error(std::move(subject)), code(code) {}
    int32_t code;
};

// Throws Failure for a negative code; answers the code otherwise.
int32_t check(int32_t code, const std::string& subject);
// Prints "mvtool: SUBJECT: MESSAGE (CODE)" on stderr.
void report(const Failure& failure);

// ---------------------------------------------------------------- progress
// Ctrl-C handling and the abort hook every library call gets.  The hook
// answers MVERR_CANCELED once SIGINT has arrived; while a step is running
// it draws a progress bar on stderr when stderr is a terminal.
void install_interrupt_handler();
bool interrupted();
// The hook to pass to the library.  `label` names the running step on the
// bar (shown only when a step lasts long enough to need it).
mvabort* progress(const std::string& label);
// The hook for one plane of a stack: every poll the library makes while
// the plane is worked on shows (done, total) on the bar of the current
// step, so the bar counts planes.
mvabort* progress_plane(uint32_t done, uint32_t total);
// Ends the current step: clears the bar if one was drawn.
void progress_done();

// ------------------------------------------------------------------ images
// A packed memory image that owns its pixels, with the palette a TIFF file
// brought along (a one-line 3-pixie image of the colour map) when any.  An
// image of depth 2 or more is a stack: `im3` describes it and `im` stays a
// null image; operations reach its planes through plane().
class Image {
public:
    Image() = default;
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image();

    // Allocates zeroed pixels; throws Failure on an error.
    void allocate(uint32_t width, uint32_t height, const mvpixfmt& fmt, uint32_t depth = 1);
    void allocate_like(const Image& other, uint32_t depth = 1) {
        allocate(other.width(), other.height(), other.format(), depth);
    }
    void allocate_palette(uint32_t entries, uint32_t type, uint32_t bits);
    void copy_palette_from(const Image& other);

    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }
    uint32_t depth() const { return depth_; }
    bool is_stack() const { return depth_ > 1; }
    const mvpixfmt& format() const { return is_stack() ? im3.pixfmt : im.pixfmt; }
    uint64_t bytes() const { return uint64_t(width()) * height() * depth() * (is_stack() ? im3.pixelsize : im.pixelsize); }
    void* data() const { return pixels_; }
    bool has_palette() const { return palette_pixels_ != nullptr; }
    // True when both hold the same size, format and pixel bytes.
    bool same_pixels(const Image& other) const;
    // The largest difference of two u8 images of one size and format, or
    // -1 when they are not such images.
    int largest_difference(const Image& other) const;
    // Plane z as a 2-D image: the image itself when it is not a stack,
    // else a section view of the stack built in `view`.
    mvimage* plane(uint32_t z, mvimage& view);

    mvimage im{};
    mvimage3 im3{};
    mvimage palette{};

private:
    void* pixels_ = nullptr;
    void* palette_pixels_ = nullptr;
    uint32_t width_ = 0, height_ = 0, depth_ = 1;
};

// What mvio8_fileinfoN tells about every image of a file (TIFF: every
// image; other formats: one).  Owns the records' texts.
struct FilePages {
    explicit FilePages(const std::string& path);  // throws Failure
    ~FilePages();
    FilePages(const FilePages&) = delete;
    FilePages& operator=(const FilePages&) = delete;
    bool tiff() const;
    // The number of pages when they form a stack (two or more TIFF images
    // of one size and pixel format), else 1.
    uint32_t stack_depth() const;

    std::vector<mvfileinfo> pages;
};

enum class FileKind { tiff, bmp, jpeg, avi };
// The format a file name asks for by its extension; throws UsageError for
// anything other than .tif, .tiff, .bmp, .jpg, .jpeg and .avi.
FileKind kind_of(const std::string& path);

// Options of the TIFF and JPEG writers (ignored for BMP).
struct WriteOptions {
    uint32_t compression = 1;  // TIFF compression code
    int32_t bits = 0;          // 0: the image's own bits (JPEG: 12 above 8 bits, else 8)
    uint32_t quality = 750;    // JPEG quality in tenths of a percent
    const mvfileinfo* source = nullptr;  // resolution and texts to carry over
    double fps = 0;            // AVI: frames per second (0: 25)
    int opendml = -1;          // AVI: 1 OpenDML, 0 plain, -1 OpenDML past 1 GiB
};
// TIFF compression codes by name ("none", "packbits", "lzw", "lzw-pred",
// "arith") and back; -1 / null when unknown.
int32_t compression_code(const std::string& name);
const char* compression_name(uint32_t code);

// Describes the file (mvio8_fileinfo); throws Failure.
void file_info(const std::string& path, mvfileinfo& info);
// Loads image `index` of the file into `image`, allocated in the pixel
// format the file presents.  A palette file is loaded as its indices with
// the palette beside them, or, with `apply_palette`, as u8 RGB colours.
void load(const std::string& path, Image& image, uint32_t index = 0, bool apply_palette = false,
          mvfileinfo* info_out = nullptr);
// Headerless raw input named "raw:WIDTHxHEIGHT:TYPE:FILE" (load() takes
// these too), read through a file-backed image.
bool is_raw(const std::string& path);
void load_raw(const std::string& path, Image& image);
// Loads every page of a stack (FilePages::stack_depth() > 1) into a stack
// image, as load() loads one.
void load_stack(const std::string& path, const FilePages& pages, Image& image, bool apply_palette = false);
// Writes the image in the format of the file name's extension; a stack as
// one TIFF page per plane (BMP, JPEG: UsageError).
void save(const Image& image, const std::string& path, const WriteOptions& options = {});
// Writes a TIFF file page by page: one image at a time through the
// library's sequence handle.  A failure deletes the file.
class TiffPages {
public:
    explicit TiffPages(const std::string& path);  // throws Failure
    ~TiffPages();
    TiffPages(const TiffPages&) = delete;
    TiffPages& operator=(const TiffPages&) = delete;
    void add(const Image& image, const WriteOptions& options);
    void done();

private:
    std::string path_;
    mvtiffile* handle_ = nullptr;
};

// ------------------------------------------------------------ AVI movies
bool is_avi(const mvfileinfo& info);
// Frames per second as the stream's rate and scale: whole rates as n / 1,
// the NTSC family (29.97, 59.94, ...) as n000 / 1001, others in
// thousandths; throws UsageError outside (0, 10^6].
void avi_rate(double fps, uint32_t& rate, uint32_t& scale);
// Writes a stack (or one image as one frame) as an AVI movie: plain, or
// OpenDML when asked or when the frames pass 1 GiB.
void save_avi(const Image& image, const std::string& path, const WriteOptions& options);
// Loads every frame as a stack (frame < 0) or one frame, in the form the
// file presents (u8 grey or BGR).
void load_avi(const std::string& path, const mvfileinfo& info, Image& image, int64_t frame = -1);
void print_avi_fields(const mvfileinfo& info);

// Size of a file in bytes (0 when it cannot be found).
uint64_t file_size(const std::string& path);

// ------------------------------------------------------- sample images
// A smooth gradient with mild noise (one pixie, u8), as the benchmark uses.
void make_gradient(Image& image, uint32_t width, uint32_t height, uint32_t seed);
// A synthetic colour scene (u8 RGB): gradient background, a few filled and
// outlined shapes, mild noise.
void make_scene(Image& image, uint32_t width, uint32_t height, uint32_t seed);

// ------------------------------------------------------------ operations
// The operation table (optable.hpp) and the output of an operation as an
// image of the tool's own.
// Allocates the output of `op` for the given sources and values, `depth`
// planes deep.
void allocate_output(const Op& op, Image* const sources[], const OpValue* values, Image& out, uint32_t depth = 1);

// ---------------------------------------------------------- subcommands

int cmd_info(const std::vector<std::string>& args);
int cmd_draw(const std::vector<std::string>& args);
int cmd_blobs(const std::vector<std::string>& args);

// ------------------------------------------------------------------ blobs
// (find_blobs and blob_test: optable.hpp)
// An RGB copy of the image (grey spread to three pixies) to draw on.
void colour_picture(const Image& source, Image& picture);
// Marks each blob in an RGB picture: its box, a cross-hair at its centre
// and its number (from 1) above the box.
void draw_blobs(Image& picture, const std::vector<mvblob>& blobs);
int cmd_region(const std::vector<std::string>& args);
int cmd_convert(const std::vector<std::string>& args);
int cmd_op(const std::vector<std::string>& args);
int cmd_bench(const std::vector<std::string>& args);
int cmd_demo(const std::vector<std::string>& args);

}  // namespace mvtool
