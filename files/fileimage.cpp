// The file-backed image ("MVIMFIB"): raw pixels stored in a file, line
// after line with no padding and no header, presented as an image.  Every
// run becomes a positioned read or write on a buffered stream, so any
// operation can work on an image too large to load.  Values are adjusted
// between stored and caller form as a memory image adjusts them.
//
// It lives with the file layer because it is built on the stream; like
// the file formats it uses the core and the views' run walk, and nothing
// below it knows of files.
//
// Choices of ours: a write past the end of the file extends it (the gap
// reads as zeros); iowait writes buffered bytes out to the file; the file
// holds one value per pixel at (Y * xdim + X) * pixiesize, so only the
// first pixie is stored (mask 1); scattered transfers read, change and
// write back one stored value per entry; mapping is not offered.
#include "files/stream.hpp"
#include "core/bxtcode.hpp"
#include "core/memvalue.hpp"
#include "core/record.hpp"
#include "views/view.hpp"

#include <bit>
#include <new>

namespace mvip::files {
namespace {

constexpr size_t kStageBytes = 4096;  // caller values adjusted before a write

#pragma pack(push, 4)
struct FileState {
    uint32_t mode;           // scan mode of the current access
    mem::MoveFn read_move;   // stored -> caller form; null: bytes as stored
    uint32_t read_arg;
    mem::MoveFn write_move;  // caller -> stored form; null: bytes as stored
    uint32_t write_arg;
    mem::MoveFn bxt_read_move;   // the same for scattered transfers, always set
    uint32_t bxt_read_arg;
    mem::MoveFn bxt_write_move;
    uint32_t bxt_write_arg;
};
#pragma pack(pop)

FileState& st(mvimage* im) { return state_of<FileState>(im); }
Stream* stream_of(mvimage* im) { return static_cast<Stream*>(im->priv); }

// Byte position of window-relative (x, y): 64-bit throughout.
uint64_t position(const mvimage* im, uint32_t x, uint32_t y) {
    const uint64_t X = uint64_t(uint32_t(im->wind.nw.x)) + x;
    const uint64_t Y = uint64_t(uint32_t(im->wind.nw.y)) + y;
    return (Y * uint32_t(im->imdim.se.x) + X) * im->pixiesize;
}

// Moves k pixels from (x, y): one stretch of the file along a line, or one
// value per file position down a column.
template <bool Write>
void move_pixels(mvimage* im, unsigned char* buf, uint32_t k, uint32_t x, uint32_t y, bool yscan) {
    Stream& s = *stream_of(im);
    const FileState& f = st(im);
    const size_t size = im->pixiesize;
    const uint64_t step = yscan ? uint64_t(uint32_t(im->imdim.se.x)) * size : size;
    const size_t stretch = yscan ? 1 : k;  // pixels per stream call
    uint64_t pos = position(im, x, y);
    for (uint32_t done = 0; done < k; done += uint32_t(stretch), pos += step * stretch) {
        unsigned char* at = buf + size_t{done} * size;
        if constexpr (Write) {
            if (!f.write_move) {
                s.write(pos, at, stretch * size);
                continue;
            }
            // Adjusted in a staging area: the caller's buffer stays as it was.
            alignas(16) unsigned char stage[kStageBytes];
            const size_t per = kStageBytes / size;
            for (size_t i = 0; i < stretch; i += per) {
                const size_t m = std::min(per, stretch - i);
                f.write_move(stage, 0, at + i * size, 0, 1, m, f.write_arg);
                s.write(pos + i * size, stage, m * size);
            }
        } else {
            s.read(pos, at, stretch * size);
            if (f.read_move) f.read_move(at, 0, at, 0, 1, stretch, f.read_arg);
        }
    }
}

template <bool Write>
uint32_t io(mvimage* im, uint32_t, void* buffer, uint32_t count, int32_t x, int32_t y) {
    const FileState& f = st(im);
    const uint32_t w = wind_width(im), h = wind_height(im);
    if (!buffer || !stream_of(im) || uint32_t(x) >= w || uint32_t(y) >= h) return 0;
    const uint32_t n = std::min(count, run_length_2d(f.mode & ~MVMODE_NOCHECK, w, h, x, y));
    const bool yscan = (f.mode & MVMODE_YSCAN) != 0;
    auto* buf = static_cast<unsigned char*>(buffer);
    // File errors do not shorten the run: they are kept for the 'e' inquiry.
    return view::walk_run(n, uint32_t(x), uint32_t(y), w, h, yscan, false, n,
                          [&](uint32_t cx, uint32_t cy, uint32_t k) {
        move_pixels<Write>(im, buf, k, cx, cy, yscan);
        buf += size_t{k} * im->pixiesize;
        return k;
    });
}

uint32_t iolen(mvimage* im, uint32_t count, int32_t x, int32_t y) {
    return std::min(count, run_length_2d(st(im).mode, wind_width(im), wind_height(im), x, y));
}

// A value routine that only copies is no routine: bytes move as stored.
mem::MoveFn adjusting(const mem::SideChoice& side, uint32_t pixie_bytes) {
    return side.move == mem::choose_move(pixie_bytes, mem::Adjust::none, mem::swap_none) ? nullptr
                                                                                         : side.move;
}

int32_t ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    im->ioread = noop::ioread;
    im->iorite = noop::iorite;
    im->iolen = noop::iolen;
    FileState& f = st(im);
    f.mode = mode & ~MVMODE_WRITE;
    if (pixie_bytes(type) != im->pixiesize || im->pixiesize == 0) return MVERR_DATATYPE;
    if (mask != 1) return MVERR_COLORS;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;
    const mem::SideChoice read = mem::choose_side(im, type, false);
    const mem::SideChoice write = mem::choose_side(im, type, true);
    if (!read.move) return MVERR_UNSUPPORTED;
    im->ioread = mvimfib_ioread;
    if (!write.move) {
        im->ioread = noop::ioread;
        return MVERR_UNSUPPORTED;
    }
    im->iorite = mvimfib_iorite;
    f.read_move = adjusting(read, im->pixiesize);
    f.read_arg = read.arg;
    f.write_move = adjusting(write, im->pixiesize);
    f.write_arg = write.arg;
    im->iolen = mvimfib_iolen;
    return 1;
}

uint32_t aeiou(mvimage* im, uint32_t code, intptr_t arg1, intptr_t) {
    switch (code) {
        case 'B': return 357913941u;
        case 'I': return 0xFFFFFFFFu / (im->pixelsize ? im->pixelsize : 1u);
        case 'b': return 8194u;
        case 'i':
        case 'm': return 8193u;
        case 'e': {
            Stream* s = stream_of(im);
            if (!s) return 0;
            const int32_t status = s->status();
            if (arg1 != 0) s->clear_status();
            return static_cast<uint32_t>(status);
        }
        default: return 0;
    }
}

int32_t iowait(mvimage* im) {
    if (Stream* s = stream_of(im)) s->flush();
    return 1;
}

// ---- scattered transfers ------------------------------------------------------
// bxtp stores each entry's 64-bit byte position in the file in place of its
// x and y (window-relative, as for runs); bxta reads the stored value of each
// entry, applies the operation code and writes the value back (not for a
// read).  Values are converted between caller and stored form as for runs.

int32_t bxtp(mvimage* im, int32_t operation, mvbxtentry* list, uint32_t n) {
    if (!bxt::prepares(operation) || !list) return operation;
    const uint32_t w = wind_width(im), h = wind_height(im);
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t x = uint32_t(list[i].x), y = uint32_t(list[i].y);
        const int64_t pos = x < w && y < h ? int64_t(position(im, x, y)) : bxt::kOutside;
        std::memcpy(&list[i], &pos, sizeof pos);
    }
    return operation;
}

template <class T>
uint32_t bxta(mvimage* im, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n, int32_t code) {
    Stream* s = stream_of(im);
    if (!buffer || !list || !s) return 0;
    if (bxt::prepares(operation)) bxtp(im, operation, list, n);
    const FileState& f = st(im);
    auto* buf = static_cast<unsigned char*>(buffer);
    const ptrdiff_t all = static_cast<ptrdiff_t>(size_t{n} * sizeof(T));
    // Positions that no pixel of the image has (entries that were never
    // prepared) are skipped, so no call can reach outside the image's bytes.
    const uint64_t end = uint64_t(uint32_t(im->imdim.se.x)) * uint32_t(im->imdim.se.y) * sizeof(T);
    if (code != 2) f.bxt_write_move(buf, all, buf, all, 1, n, f.bxt_write_arg);
    for (uint32_t i = 0; i < n; ++i) {
        int64_t pos;
        std::memcpy(&pos, &list[i], sizeof pos);
        if (pos < 0 || uint64_t(pos) > end - sizeof(T)) continue;
        T p{}, b;
        s->read(uint64_t(pos), &p, sizeof p);
        std::memcpy(&b, buf + size_t{i} * sizeof(T), sizeof b);
        b = bxt::apply<T>(code, p, b);
        if (code != 2) s->write(uint64_t(pos), &p, sizeof p);
        std::memcpy(buf + size_t{i} * sizeof(T), &b, sizeof b);
    }
    if (code == 0 || code == 2) f.bxt_read_move(buf, all, buf, all, 1, n, f.bxt_read_arg);
    return n;
}

// One routine for every stored type: the type is chosen once per call.
uint32_t bxta_any(mvimage* im, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
                  int32_t code) {
    switch (im->pixiesize) {
        case 1: return bxta<uint8_t>(im, operation, buffer, list, n, code);
        case 2: return bxta<uint16_t>(im, operation, buffer, list, n, code);
        case 4:
            return is_float_type(im->pixfmt.datatype) ? bxta<float>(im, operation, buffer, list, n, code)
                                                      : bxta<uint32_t>(im, operation, buffer, list, n, code);
        case 8: return bxta<double>(im, operation, buffer, list, n, code);
        default: return 0;
    }
}

// Checked as ioset checks: the type's size (-19) and the mask (-21).
int32_t bxts(mvimage* im, uint32_t, uint32_t type, uint32_t mask) {
    im->bxtp = noop::bxtp;
    im->bxta = noop::bxta;
    if (pixie_bytes(type) != im->pixiesize || im->pixiesize == 0) return MVERR_DATATYPE;
    if (mask != 1) return MVERR_COLORS;
    const mem::SideChoice read = mem::choose_side(im, type, false);
    const mem::SideChoice write = mem::choose_side(im, type, true);
    if (!read.move || !write.move) return MVERR_DATATYPE;
    FileState& f = st(im);
    f.bxt_read_move = read.move;
    f.bxt_read_arg = read.arg;
    f.bxt_write_move = write.move;
    f.bxt_write_arg = write.arg;
    im->bxtp = mvimfib_bxtp;
    im->bxta = mvimfib_bxta;
    return 1;
}

mvywindow* xwind(mvimage* im, mvywindow* w, int32_t code) {
    switch (code) {
        case 's':
            if (!view::set_own_window(im, w)) return nullptr;
            set_idle_slots(im, mvimfib_ioset, mvimfib_bxts, noop::imapset);
            im->iowait = mvimfib_iowait;
            return &im->wind;
        case 'w':
            if (w) *w = im->wind;
            return &im->wind;
        case 'i':
            if (w) *w = im->imdim;
            return &im->imdim;
        default: return nullptr;
    }
}

// Buffer of 2^k bytes: k = floor(log2(size)), size the caller's or the
// larger of the width and 16384; 14 when k would be 0.
uint32_t buffer_log2(uint32_t bufsize, uint32_t width) {
    const uint32_t size = bufsize ? bufsize : std::max<uint32_t>(width, 16384u);
    const uint32_t k = size < 2 ? 0 : uint32_t(std::bit_width(size) - 1);
    return k == 0 ? 14 : std::min<uint32_t>(k, 30);
}

}  // namespace
}  // namespace mvip::files

using namespace mvip;
using namespace mvip::files;

extern "C" MVIP_API int32_t mvimage_filebufio(mvimage* im, void* fileobject, const uint32_t dims[2],
                                              const mvpixfmt* fmt) {
    if (!im) return MVERR_USAGE;
    if (!fileobject || !dims || !fmt) {
        mvimage_defnull(im);
        return MVERR_USAGE;
    }
    std::memset(static_cast<void*>(im), 0, sizeof *im);
    if (dims[0] == 0 || dims[1] == 0 || dims[0] > INT32_MAX || dims[1] > INT32_MAX) {
        mvimage_defnull(im);
        return MVERR_LOGIC;
    }
    im->imdim.se.x = static_cast<int32_t>(dims[0]);
    im->imdim.se.y = static_cast<int32_t>(dims[1]);
    im->pixfmt = *fmt;
    derive_sizes(im);
    set_kind(im, "MVIMFIB");
    im->priv = fileobject;
    im->aeiou = mvimfib_aeiou;
    im->xwind = mvimfib_xwind;
    im->xwind(im, nullptr, 's');
    return 0;
}

extern "C" MVIP_API int32_t mvimage_file(mvimage* im, void** handlevar, const char* path,
                                         const char* mode, const uint32_t dims[2], uint32_t datatype,
                                         uint32_t bits, uint32_t pixies, uint32_t colorspace,
                                         uint32_t bufsize) {
    if (!im || !handlevar || *handlevar || !path || !dims) return MVERR_USAGE;
    auto* stream = new (std::nothrow) Stream;
    if (!stream) return MVERR_MEMORY;
    const int32_t opened = stream->open(path, mode ? mode : "wb", buffer_log2(bufsize, dims[0]));
    if (opened < 0) {
        delete stream;
        return opened;
    }
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, datatype, bits, pixies, colorspace);
    const int32_t rc = mvimage_filebufio(im, stream, dims, &fmt);
    if (rc < 0) {
        stream->close();
        delete stream;
        return rc;
    }
    *handlevar = stream;
    return 0;
}

extern "C" MVIP_API int32_t mvimage_filedone(mvimage* im, void** handlevar) {
    if (handlevar && *handlevar) {
        Stream* stream = static_cast<Stream*>(*handlevar);
        stream->close();
        delete stream;
        *handlevar = nullptr;
    }
    if (im) mvimage_defnull(im);
    return 0;
}

// ---- slot routines by name ---------------------------------------------------

extern "C" MVIP_API int32_t mvimfib_ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? ioset(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimfib_ioread(mvimage* im, uint32_t flags, void* buffer, uint32_t count,
                                            int32_t x, int32_t y) {
    return im ? io<false>(im, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimfib_iorite(mvimage* im, uint32_t flags, void* buffer, uint32_t count,
                                            int32_t x, int32_t y) {
    return im ? io<true>(im, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimfib_iolen(mvimage* im, uint32_t count, int32_t x, int32_t y) {
    return im ? iolen(im, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimfib_iowait(mvimage* im) { return im ? iowait(im) : MVERR_USAGE; }
extern "C" MVIP_API uint32_t mvimfib_aeiou(mvimage* im, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return im ? aeiou(im, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimfib_xwind(mvimage* im, mvywindow* w, int32_t code) {
    return im ? xwind(im, w, code) : nullptr;
}
extern "C" MVIP_API int32_t mvimfib_bxts(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    return im ? bxts(im, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimfib_bxtp(mvimage* im, int32_t operation, mvbxtentry* list, uint32_t n) {
    return im ? bxtp(im, operation, list, n) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimfib_bxta(mvimage* im, int32_t operation, void* buffer, mvbxtentry* list,
                                          uint32_t n, int32_t code) {
    return im ? bxta_any(im, operation, buffer, list, n, code) : 0;
}
