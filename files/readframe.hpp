// The frames shared by every file format: presenting a decoded file image
// in the caller's image (reading), and reading the caller's lines in the
// stored form (writing).
#pragma once

#include "mvip.h"

#include <cstdint>

namespace mvip::files {

// Ask the abort hook (may be null) about progress: its answer, 0 to go on.
inline int32_t poll_hook(mvabort* hook, uint32_t done, uint32_t total) {
    return hook && hook->abortfn ? hook->abortfn(hook, int32_t(done), int32_t(total)) : 0;
}

// The hook handed to the work on one plane of a stack: before each plane
// the caller's hook is asked with (ordinal, planes), ordinals from 1, and
// every poll made while the plane is worked on reaches it with the same two
// numbers, so that a stop takes effect within a plane while a progress
// display counts planes.
class PlaneHook {
public:
    PlaneHook(mvabort* outer, uint32_t planes) : outer_(outer), planes_(int32_t(planes)) {}
    PlaneHook(const PlaneHook&) = delete;
    PlaneHook& operator=(const PlaneHook&) = delete;
    // Poll before plane `ordinal`: the caller's answer, 0 to go on.
    int32_t begin(uint32_t ordinal) {
        ordinal_ = int32_t(ordinal);
        return poll_hook(outer_, ordinal, uint32_t(planes_));
    }
    // The hook for the plane's own polls (null when the caller gave none).
    mvabort* hook() { return outer_ != nullptr ? &base_ : nullptr; }

private:
    static int32_t relay(mvabort* h, int32_t, int32_t) {
        auto* self = reinterpret_cast<PlaneHook*>(h);
        return poll_hook(self->outer_, uint32_t(self->ordinal_), uint32_t(self->planes_));
    }
    mvabort base_{&PlaneHook::relay};  // first: the hook's address is the object's
    mvabort* outer_;
    int32_t planes_, ordinal_ = 0;
};

// Present `file` in `dst`: colour conversion, type conversion, then a plain
// copy when the windows have one size, else nearest ('n' in the mode's low
// byte) or bilinear resampling.  0 or a negative result code.
int32_t present_image(mvabort* hook, mvimage* file, mvimage* dst, uint32_t mode);

// True when present_image would copy an image of format `fmt` and size
// width x height into `dst` unchanged (no conversion, no resampling).
bool presents_unchanged(const mvpixfmt& fmt, uint32_t width, uint32_t height, const mvimage* dst, uint32_t mode);

// Copy palette entries (a one-line image, entry x at pixel x) into the
// first line of the caller's palette image, converted to its colour order
// and bits.  0 or a negative result code.
int32_t present_palette(mvimage* entries, mvimage* palette);

// The lines of an image's window as raw memory, when the image maps every
// line in the given data type (values low-justified, pixels consecutive).
// Readers decode straight into them and writers take lines from them,
// saving a copy through a line buffer.
class MappedLines {
public:
    MappedLines() = default;
    MappedLines(const MappedLines&) = delete;
    MappedLines& operator=(const MappedLines&) = delete;
    ~MappedLines() { close(); }
    // True when the lines of `im` map as asked.
    bool open(mvimage* im, uint32_t datatype);
    // Window line y, or null when it does not map.
    uint8_t* line(uint32_t y);
    void close();

private:
    mvimage* image_ = nullptr;
    uint32_t width_ = 0;
    mvmapdesc desc_{};
};

// Reads the window lines of an image in a chosen data type and bits,
// through a type converter when the image does not hold that form.  Values
// arrive low-justified with the bits outside the significant bits clear.
class LineReader {
public:
    LineReader() = default;
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    ~LineReader();

    // bits: the significant bits wanted; the image's values are shifted by
    // the difference (pass the image's own bits to keep them as they are).
    int32_t open(mvimage* im, uint32_t datatype, uint32_t bits);
    // Read window line y (0-based) whole into `line`; 0 or -7 when the
    // image delivered fewer pixels.
    int32_t read(uint32_t y, void* line);
    // Window line y: the image's own memory when it maps (read only: do not
    // change it), else `buffer` filled by read().  Null on a failed read.
    const void* view(uint32_t y, void* buffer);
    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }
    uint32_t pixies() const { return pixies_; }

private:
    mvimage view_{};
    MappedLines mapped_;
    bool mapping_ = false;
    mvimage* source_ = nullptr;
    bool own_view_ = false;
    uint32_t width_ = 0, height_ = 0, pixies_ = 0;
};

}  // namespace mvip::files
