// The operation frame: checks, opening, buffers, mapping and line walks.
#include "ops/frame.hpp"

#include "views/typeconvert.hpp"

#include <bit>
#include <new>

namespace mvip::ops {

int type_slot(uint32_t datatype) {
    switch (type_of(datatype)) {
        case MVTYPE_U8: return 0;
        case MVTYPE_U16: return 1;
        case MVTYPE_U32: return 2;
        case MVTYPE_FLOAT: return 3;
        case MVTYPE_DOUBLE: return 4;
        default: return -1;
    }
}

std::optional<int32_t> hook_at_entry(mvabort* hook) {
    if (!hook || !hook->abortfn) return std::nullopt;
    if (hook->abortfn(hook, 0, 0) == 0) return std::nullopt;
    return hook->abortfn(hook, 0, 0);
}

uint32_t max_value(const mvpixfmt& fmt) {
    return fmt.bits >= 32 ? 0xFFFFFFFFu : (1u << fmt.bits) - 1u;
}

bool valid_record(const mvimage* im) {
    return im->ioset && im->xwind && im->ioread && im->iorite && im->imapset &&
           im->pixfmt.datatype != 0 && im->pixfmt.pixies != 0 && im->imdim.se.x != 0 &&
           im->imdim.se.y != 0;
}

namespace {

bool ranges_overlap(const void* a, const void* b, size_t bytes) {
    const auto x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
    return x < y + bytes && y < x + bytes;
}

}  // namespace

Frame::~Frame() {
    for (mvimage* im : images_)
        if (im) im->iowait(im);
}

int32_t Frame::open_image(int i, mvimage* im, uint32_t type) {
    const uint32_t mode = (setup_.options & kColumns) ? MVMODE_YSCAN : 0;
    const uint32_t request = type | MVREQ_LOW;
    // An operation that fixes the type works on full-width values of it: an
    // image with fewer significant bits is scaled through a converter too.
    const bool rescale = setup_.fixed_type && is_int_type(type) &&
                         im->pixfmt.bits != 8 * pixie_bytes(type);
    int32_t rc = ((setup_.options & kConvert) || rescale) ? -1
                                                          : im->ioset(im, mode, request, setup_.mask);
    if (rc < 0) {
        // The image cannot serve the type itself: present it through a
        // converter whose image is the current window.
        views_[i].reset(new (std::nothrow) mvimage);
        if (!views_[i]) return MVERR_MEMORY;
        const bool keep_bits = type_of(type) == type_of(im->pixfmt.datatype) && !rescale;
        const uint32_t bits = keep_bits ? im->pixfmt.bits : 8 * pixie_bytes(type);
        const mvpixfmt fmt = conv::format_as(im->pixfmt, type, bits);
        rc = mvimage_converter(views_[i].get(), im, &fmt, 0, 0, bits, 0);
        if (rc < 0) return rc;
        im = views_[i].get();
        rc = im->ioset(im, mode, request, setup_.mask);
        if (rc < 0) return rc;
    }
    images_[i] = im;
    // Ask for runs that continue across lines: packed whole-width windows
    // then map as one block, which saves a mapping per line.
    const int32_t grant =
        (setup_.options & kColumns) ? -1 : im->imapset(im, MVMODE_CONTINUE, request, setup_.mask);
    mappable_[i] = grant > 0;
    blockable_[i] = grant == MVMAP_GRANT_CONTINUE;
    return 0;
}

int32_t Frame::open(const Setup& setup, int extra_buffers) {
    setup_ = setup;
    if (setup.source_count < 1 || setup.source_count > 3) return MVERR_USAGE;
    mvimage* given[4] = {};
    for (int i = 0; i < setup.source_count; ++i) {
        if (!setup.sources[i]) return MVERR_USAGE;
        given[i] = setup.sources[i];
    }
    given[kDestination] = setup.destination;
    for (mvimage* im : given)
        if (im && !valid_record(im)) return MVERR_USAGE;
    const int buffers = setup.source_count + extra_buffers;
    if (!given[0] || buffers > 4 || setup.mask == 0) return MVERR_USAGE;

    // The reference: the destination, else the last source.
    mvimage* reference = given[kDestination] ? given[kDestination] : given[setup.source_count - 1];
    if (reference->pixfmt.pixies >= 2 && !(setup.options & kColor)) return MVERR_COLORS;
    if (!setup.fixed_type) {
        for (mvimage* im : given)
            if (im && (type_slot(im->pixfmt.datatype) < 0 ||
                       !(type_of(im->pixfmt.datatype) & setup.options & kTypeMask)))
                return MVERR_DATATYPE;
    }
    type_ = setup.fixed_type ? type_of(setup.fixed_type) : type_of(reference->pixfmt.datatype);

    uint32_t max_pixies = 0;
    uint64_t line_length = 0;
    for (int i = 0; i < 4; ++i) {
        mvimage* im = given[i];
        if (!im) continue;
        const uint32_t type = setup.fixed_type ? type_ : type_of(im->pixfmt.datatype);
        if (const int32_t rc = open_image(i, im, type); rc < 0) return rc;
        width_ = std::max(width_, wind_width(im));
        height_ = std::max(height_, wind_height(im));
        value_bytes_ = std::max(value_bytes_, pixie_bytes(type));
        image_value_bytes_[i] = pixie_bytes(type);
        max_pixies = std::max(max_pixies, im->pixfmt.pixies);
        const uint32_t along = (setup.options & kColumns) ? wind_height(im) : wind_width(im);
        const uint64_t sized = image_sizing(im, along);
        if (sized == 0 && along != 0) return MVERR_MEMORY;
        line_length = std::max(line_length, sized);
    }

    {
        for (mvimage* im : given) {
            if (!im) continue;
            // With a fixed type every image is opened in it: types and bits
            // need not match, pixie counts and window sizes still must.
            if (!setup.fixed_type && !(setup.options & kAnyType) &&
                type_of(im->pixfmt.datatype) != type_of(reference->pixfmt.datatype))
                return MVERR_USAGE;
            if (!setup.fixed_type && !(setup.options & kAnyBits) &&
                im->pixfmt.bits != reference->pixfmt.bits)
                return MVERR_USAGE;
            if (im->pixfmt.pixies != reference->pixfmt.pixies) return MVERR_USAGE;
            if (!(setup.options & kAnyDims) &&
                (wind_width(im) != wind_width(reference) || wind_height(im) != wind_height(reference)))
                return MVERR_USAGE;
        }
    }

    pixies_ = (setup.options & kPixiesFromImages) ? max_pixies
                                                  : static_cast<uint32_t>(std::popcount(setup.mask));
    const double bytes = double(line_length) * pixies_ * value_bytes_;
    const size_t size = bytes < 9.2e18 ? size_t(line_length) * pixies_ * value_bytes_ : 0;
    for (int i = 0; i < buffers; ++i) {
        buffers_[i].reset(new (std::nothrow) unsigned char[size ? size : 1]);
        if (!buffers_[i]) return MVERR_MEMORY;
    }
    mapping_ = true;
    return 0;
}

int32_t Frame::poll(uint32_t done, uint32_t total) {
    if (done % 8 != 0 || !setup_.hook || !setup_.hook->abortfn) return 0;
    return setup_.hook->abortfn(setup_.hook, static_cast<int32_t>(done), static_cast<int32_t>(total));
}

// Stretches are cut to the image's own window (windows may differ in size
// when the operation allows it).
namespace {
uint32_t cut(const mvimage* im, uint32_t x, uint32_t n) {
    const uint32_t w = wind_width(im);
    return x < w ? std::min(n, w - x) : 0;
}
}  // namespace

uint32_t Frame::read_stretch(int i, void* buf, uint32_t x, uint32_t y, uint32_t n) const {
    mvimage* im = images_[i];
    return im->ioread(im, 0, buf, cut(im, x, n), static_cast<int32_t>(x), static_cast<int32_t>(y));
}

uint32_t Frame::write_stretch(int i, const void* buf, uint32_t x, uint32_t y, uint32_t n,
                              uint32_t flags) const {
    mvimage* im = images_[i];
    return im->iorite(im, flags, const_cast<void*>(buf), cut(im, x, n), static_cast<int32_t>(x),
                      static_cast<int32_t>(y));
}

void* Frame::map_stretch(int i, uint32_t x, uint32_t y, uint32_t n, mvmapdesc& desc) const {
    desc.runs = 0;
    mvimage* im = images_[i];
    if (!mappable_[i] || !im) return nullptr;
    if (im->imap(im, &desc, static_cast<int32_t>(x), static_cast<int32_t>(y)) != 1) return nullptr;
    void* address = desc.address;
    // Kernels work on whole stretches of naturally aligned values.
    const bool usable = desc.count >= n && desc.stride == image_pixel_bytes(i) &&
                        reinterpret_cast<uintptr_t>(address) % image_value_bytes_[i] == 0;
    if (!usable) {
        im->imapr(im, &desc);
        return nullptr;
    }
    return address;
}

void* Frame::map_block(int i, uint32_t y, uint32_t rows, mvmapdesc& desc) const {
    desc.runs = 0;
    mvimage* im = images_[i];
    if (!blockable_[i] || !im) return nullptr;
    if (im->imap(im, &desc, 0, static_cast<int32_t>(y)) != 1) return nullptr;
    void* address = desc.address;
    const bool usable = desc.count >= uint64_t{rows} * width_ && desc.stride == image_pixel_bytes(i) &&
                        reinterpret_cast<uintptr_t>(address) % image_value_bytes_[i] == 0;
    if (!usable) {
        im->imapr(im, &desc);
        return nullptr;
    }
    return address;
}

// Runs the kernel once over `rows` whole lines mapped as one block, when
// every image hands them out so and the destination either is the working
// source's memory or overlaps none of the sources.  False: nothing done.
bool Frame::walk_block(uint32_t y, uint32_t rows, Kernel kernel, const void* params) {
    const int n = setup_.source_count;
    const int work = n - 1;
    const bool has_destination = images_[kDestination] != nullptr;
    const size_t values = line_values() * rows;
    const size_t bytes = values * value_bytes_;
    mvmapdesc maps[4]{};
    void* lines[4] = {};
    bool ok = true;
    for (int i = 0; i < n && ok; ++i) ok = (lines[i] = map_block(i, y, rows, maps[i])) != nullptr;
    void* out = lines[work];
    if (ok && has_destination) {
        out = map_block(kDestination, y, rows, maps[kDestination]);
        ok = out != nullptr;
        for (int i = 0; i < n && ok && out != lines[work]; ++i)
            ok = !ranges_overlap(out, lines[i], bytes);
    }
    if (ok) {
        lines[kOutLine] = out;
        const mvimage* first = setup_.sources[0];
        const int32_t kx = (setup_.options & kFixedArgs) ? setup_.fixed[0] : first->wind.nw.x;
        const int32_t ky = (setup_.options & kFixedArgs) ? setup_.fixed[1]
                                                          : first->wind.nw.y + static_cast<int32_t>(y);
        kernel(lines, values, kx, ky, params);
    }
    for (int i = 0; i < 4; ++i) unmap(i, maps[i]);
    return ok;
}

void Frame::unmap(int i, mvmapdesc& desc) const {
    if (desc.runs && images_[i]) images_[i]->imapr(images_[i], &desc);
    desc.runs = 0;
}

int32_t Frame::walk(Kernel in_place, Kernel buffered, const void* params) {
    if (setup_.options & kColumns) return walk_columns(buffered, params);
    if (!setup_.runs) return walk_rows(in_place, buffered, params);
    return walk_runs(in_place, buffered, params);
}

int32_t Frame::walk_rows(Kernel in_place, Kernel buffered, const void* params) {
    const int n = setup_.source_count;
    const int work = n - 1;
    const bool has_destination = images_[kDestination] != nullptr;
    bool blocks = mapping_ && !(setup_.options & kPerLine) && blockable_[work] &&
                  (!has_destination || blockable_[kDestination]);
    for (int i = 0; i < work; ++i) blocks = blocks && blockable_[i];
    for (uint32_t y = 0; y < height_; ++y) {
        if (const int32_t stop = poll(y, height_)) return stop;
        // Lines that map as a block go to the kernel as one run: eight (one
        // hook period) at a time, or all of them when no hook is polled.
        if (blocks && y % 8 == 0) {
            const uint32_t rows = block_rows(y);
            if (walk_block(y, rows, in_place, params)) {
                y += rows - 1;
                continue;
            }
            blocks = false;
        }
        walk_stretch(0, y, width_, in_place, buffered, params);
    }
    return 0;
}

// One stretch of the row walk: n pixels from window-relative (x, y).
void Frame::walk_stretch(uint32_t x, uint32_t y, uint32_t n, Kernel in_place, Kernel buffered,
                         const void* params) {
    const int sources = setup_.source_count;
    const int work = sources - 1;
    const bool has_destination = images_[kDestination] != nullptr;
    const size_t values = size_t{n} * pixies_;
    const mvimage* first = setup_.sources[0];
    const int32_t kx = (setup_.options & kFixedArgs) ? setup_.fixed[0]
                                                      : first->wind.nw.x + static_cast<int32_t>(x);
    const int32_t ky = (setup_.options & kFixedArgs) ? setup_.fixed[1]
                                                      : first->wind.nw.y + static_cast<int32_t>(y);
    void* lines[4] = {};
    mvmapdesc other[2]{};
    // Sources other than the working one are only read.
    for (int i = 0; i < work; ++i) {
        lines[i] = mapping_ ? map_stretch(i, x, y, n, other[i]) : nullptr;
        if (!lines[i]) {
            read_stretch(i, buffers_[i].get(), x, y, n);
            lines[i] = buffers_[i].get();
        }
    }
    bool done = false;
    if (mapping_) {
        mvmapdesc src{}, dst{};
        void* p = map_stretch(work, x, y, n, src);
        void* q = (p && has_destination) ? map_stretch(kDestination, x, y, n, dst) : nullptr;
        if (p && (!has_destination || p == q)) {
            // Source and destination share this memory (or there is no
            // destination): work on it directly.
            lines[work] = lines[kOutLine] = p;
            in_place(lines, values, kx, ky, params);
            done = true;
        } else if (p && q) {
            // Both stretches are memory of their own: the kernel reads the
            // source and writes the destination, unless the destination
            // overlaps one of the sources.
            const size_t bytes = values * value_bytes_;
            bool overlaps = ranges_overlap(q, p, bytes);
            for (int i = 0; i < work; ++i) overlaps |= ranges_overlap(q, lines[i], bytes);
            if (!overlaps) {
                lines[work] = p;
                lines[kOutLine] = q;
                in_place(lines, values, kx, ky, params);
                done = true;
            }
        } else if (has_destination) {
            stop_mapping();
        }
        unmap(kDestination, dst);
        unmap(work, src);
    }
    if (!done) {
        read_stretch(work, buffers_[work].get(), x, y, n);
        lines[work] = lines[kOutLine] = buffers_[work].get();
        buffered(lines, values, kx, ky, params);
        if (has_destination) write_stretch(kDestination, lines[work], x, y, n);
    }
    for (int i = 0; i < work; ++i) unmap(i, other[i]);
}

// The run walk: the runs of one line share its mappings where every image
// maps the line (one mapping per line, not per run); otherwise each run is
// a stretch of its own.  Polled as each_stretch polls.
int32_t Frame::walk_runs(Kernel in_place, Kernel buffered, const void* params) {
    const mvywindow& w = setup_.sources[0]->wind;
    const mvscanrun* runs = setup_.runs->runs;
    const size_t count = setup_.runs->count;
    uint32_t band = UINT32_MAX;
    for (size_t i = 0, j = 0; i < count; i = j) {
        for (j = i + 1; j < count && runs[j].coord.y == runs[i].coord.y;) ++j;
        const uint32_t y = uint32_t(runs[i].coord.y) - uint32_t(w.nw.y);
        if (y >= height_) continue;
        if (y / 8 != band) {
            band = y / 8;
            if (const int32_t stop = poll(y & ~7u, height_)) return stop;
        }
        if (mapping_ && walk_mapped_runs(y, runs + i, j - i, in_place, params)) continue;
        for (size_t k = i; k < j; ++k) {
            const uint32_t x = uint32_t(runs[k].coord.x) - uint32_t(w.nw.x);
            if (runs[k].len <= 0 || x >= width_) continue;
            walk_stretch(x, y, std::min(uint32_t(runs[k].len), width_ - x), in_place, buffered, params);
        }
    }
    return 0;
}

// Runs the kernel on every run of line y on mapped memory, when every
// image maps the line and the destination is the working source's memory
// or overlaps none of the sources.  False: nothing done.
bool Frame::walk_mapped_runs(uint32_t y, const mvscanrun* runs, size_t count, Kernel kernel,
                             const void* params) {
    const int sources = setup_.source_count;
    const int work = sources - 1;
    const bool has_destination = images_[kDestination] != nullptr;
    const size_t bytes = line_values() * value_bytes_;
    mvmapdesc maps[4]{};
    unsigned char* base[4] = {};
    bool ok = true;
    for (int i = 0; i < sources && ok; ++i)
        ok = (base[i] = static_cast<unsigned char*>(map_line(i, y, maps[i]))) != nullptr;
    unsigned char* out = base[work];
    if (ok && has_destination) {
        out = static_cast<unsigned char*>(map_line(kDestination, y, maps[kDestination]));
        if (!out) stop_mapping();
        ok = out != nullptr;
        for (int i = 0; i < sources && ok && out != base[work]; ++i) ok = !ranges_overlap(out, base[i], bytes);
    }
    if (ok) {
        const mvimage* first = setup_.sources[0];
        for (size_t k = 0; k < count; ++k) {
            const uint32_t x = uint32_t(runs[k].coord.x) - uint32_t(first->wind.nw.x);
            if (runs[k].len <= 0 || x >= width_) continue;
            const uint32_t n = std::min(uint32_t(runs[k].len), width_ - x);
            void* lines[4] = {};
            for (int i = 0; i < sources; ++i) lines[i] = base[i] + size_t{x} * image_pixel_bytes(i);
            lines[kOutLine] = out + size_t{x} * image_pixel_bytes(has_destination ? kDestination : work);
            const int32_t kx = (setup_.options & kFixedArgs) ? setup_.fixed[0] : runs[k].coord.x;
            const int32_t ky = (setup_.options & kFixedArgs) ? setup_.fixed[1] : runs[k].coord.y;
            kernel(lines, size_t{n} * pixies_, kx, ky, params);
        }
    }
    for (int i = 0; i < 4; ++i) unmap(i, maps[i]);
    return ok;
}

int32_t Frame::walk_columns(Kernel buffered, const void* params) {
    const int n = setup_.source_count;
    const int work = n - 1;
    const bool has_destination = images_[kDestination] != nullptr;
    const size_t values = size_t{height_} * pixies_;
    const mvimage* first = setup_.sources[0];
    for (uint32_t x = 0; x < width_; ++x) {
        if (const int32_t stop = poll(x, width_)) return stop;
        const int32_t kx = (setup_.options & kFixedArgs) ? setup_.fixed[0]
                                                          : first->wind.nw.x + static_cast<int32_t>(x);
        const int32_t ky = (setup_.options & kFixedArgs) ? setup_.fixed[1] : first->wind.nw.y;
        void* lines[4] = {};
        for (int i = 0; i < n; ++i) {
            images_[i]->ioread(images_[i], 0, buffers_[i].get(), height_, static_cast<int32_t>(x), 0);
            lines[i] = buffers_[i].get();
        }
        lines[kOutLine] = lines[work];
        buffered(lines, values, kx, ky, params);
        if (has_destination)
            images_[kDestination]->iorite(images_[kDestination], 0, lines[work], height_,
                                          static_cast<int32_t>(x), 0);
    }
    return 0;
}

int32_t run(const Setup& setup, const KernelSet& in_place, const KernelSet& buffered,
            const void* params) {
    if (const auto stop = hook_at_entry(setup.hook)) return *stop;
    for (int i = 0; i < setup.source_count && i < 3; ++i)
        if (!setup.sources[i]) return MVERR_USAGE;
    if (!setup.sources[0] || (!setup.source_only && !setup.destination)) return MVERR_USAGE;
    const uint32_t type = setup.fixed_type ? setup.fixed_type : setup.sources[0]->pixfmt.datatype;
    const int slot = type_slot(type);
    if (slot < 0 || !buffered[slot]) return MVERR_DATATYPE;
    Frame frame;
    if (const int32_t rc = frame.open(setup); rc < 0) return rc;
    return frame.walk(in_place[slot] ? in_place[slot] : buffered[slot], buffered[slot], params);
}

}  // namespace mvip::ops
