#include "files/readframe.hpp"

#include "core/record.hpp"
#include "views/typeconvert.hpp"

namespace mvip::files {

namespace {

// Colour space the file image must be shown in, or -1 for none.
int32_t colour_target(const mvpixfmt& file, const mvimage* dst, uint32_t mode) {
    const uint32_t fp = file.pixies, dp = dst->pixfmt.pixies;
    const uint32_t fcs = file.colorspace, dcs = dst->pixfmt.colorspace;
    if (dp == 1 && fp >= 3) return MVCS_GREY;
    if (dp >= 2 && fp == 1) return int32_t(dcs);
    if ((mode & 0x100u) && dcs != 0 && dcs != fcs) return int32_t(dcs);
    return -1;
}

bool same_form(const mvpixfmt& a, const mvpixfmt& b) {
    return type_of(a.datatype) == type_of(b.datatype) && (is_float_type(a.datatype) || a.bits == b.bits);
}

}  // namespace

bool presents_unchanged(const mvpixfmt& fmt, uint32_t width, uint32_t height, const mvimage* dst, uint32_t mode) {
    return dst != nullptr && colour_target(fmt, dst, mode) < 0 && same_form(fmt, dst->pixfmt) &&
           fmt.pixies == dst->pixfmt.pixies && wind_width(dst) == width && wind_height(dst) == height;
}

int32_t present_image(mvabort* hook, mvimage* file, mvimage* dst, uint32_t mode) {
    if (file == nullptr || dst == nullptr) return -1;
    mvimage colour{}, typed{};
    mvimage* current = file;
    const int32_t target = colour_target(file->pixfmt, dst, mode);
    if (target >= 0) {
        const int32_t rc = mvimage_colorconverter(&colour, current, uint32_t(target), 1);
        if (rc < 0) return rc;
        current = &colour;
    }
    if (!same_form(current->pixfmt, dst->pixfmt)) {
        mvpixfmt fmt = conv::format_as(current->pixfmt, dst->pixfmt.datatype, dst->pixfmt.bits);
        if (is_float_type(dst->pixfmt.datatype)) {
            fmt.valform = dst->pixfmt.valform;
            fmt.valflags = dst->pixfmt.valflags;
        }
        const int32_t rc = mvimage_converter(&typed, current, &fmt, 1, 0, dst->pixfmt.bits, 0);
        if (rc < 0) return rc;
        current = &typed;
    }
    const bool same_size = wind_width(current) == wind_width(dst) && wind_height(current) == wind_height(dst);
    if (same_size) return mvip8_copy(hook, current, dst);
    if ((mode & 0xFFu) == 'n') return mvip8_copyinterpnearest(hook, current, dst);
    return mvip8_copyinterpbilinear(hook, current, dst);
}

int32_t present_palette(mvimage* entries, mvimage* palette) {
    if (entries == nullptr || palette == nullptr) return -1;
    const mvywindow saved = palette->wind;
    const int32_t n = std::min<int32_t>(entries->wind.se.x, int32_t(wind_width(palette)));
    if (n <= 0 || wind_height(palette) == 0) return 0;
    if (mvimage_setwind(palette, saved.nw.x, saved.nw.y, saved.nw.x + n, saved.nw.y + 1) != 0) {
        palette->xwind(palette, const_cast<mvywindow*>(&saved), 's');
        return -1;
    }
    mvimage_setwind(entries, 0, 0, n, 1);
    const int32_t rc = present_image(nullptr, entries, palette, 0x100u);
    mvywindow restore = saved;
    palette->xwind(palette, &restore, 's');
    return rc;
}

bool MappedLines::open(mvimage* im, uint32_t datatype) {
    close();
    if (im == nullptr || !window_valid_2d(im)) return false;
    if (im->imapset(im, 0, datatype | MVREQ_LOW, all_pixies_mask(im->pixfmt.pixies)) <= 0) return false;
    image_ = im;
    width_ = wind_width(im);
    return true;
}

uint8_t* MappedLines::line(uint32_t y) {
    if (image_ == nullptr) return nullptr;
    if (desc_.runs != 0) image_->imapr(image_, &desc_);
    if (image_->imap(image_, &desc_, 0, int32_t(y)) != 1 || desc_.runs == 0) return nullptr;
    const mvmapdesc d = desc_;  // packed record: copy before use
    if (d.count < width_ || d.stride != image_->pixelsize) return nullptr;
    return static_cast<uint8_t*>(d.address);
}

void MappedLines::close() {
    if (image_ != nullptr && desc_.runs != 0) image_->imapr(image_, &desc_);
    image_ = nullptr;
    desc_ = mvmapdesc{};
}

LineReader::~LineReader() {
    if (source_ != nullptr) source_->iowait(source_);
}

int32_t LineReader::open(mvimage* im, uint32_t datatype, uint32_t bits) {
    if (im == nullptr || !window_valid_2d(im)) return -1;
    source_ = im;
    const bool keep = type_of(im->pixfmt.datatype) == type_of(datatype) &&
                      (is_float_type(datatype) || im->pixfmt.bits == bits);
    if (!keep) {
        const mvpixfmt fmt = conv::format_as(im->pixfmt, datatype, bits);
        const int32_t rc = mvimage_converter(&view_, im, &fmt, 1, 0, is_float_type(datatype) ? 0 : bits, 0);
        if (rc < 0) return rc;
        source_ = &view_;
    }
    width_ = wind_width(source_);
    height_ = wind_height(source_);
    pixies_ = source_->pixfmt.pixies;
    const uint32_t request = is_float_type(datatype) ? datatype : (datatype | MVREQ_LOW);
    const int32_t rc = source_->ioset(source_, 0, request, all_pixies_mask(pixies_));
    if (rc < 0) return rc;
    mapping_ = mapped_.open(source_, datatype);
    return 0;
}

const void* LineReader::view(uint32_t y, void* buffer) {
    if (mapping_)
        if (const uint8_t* line = mapped_.line(y)) return line;
    return read(y, buffer) == 0 ? buffer : nullptr;
}

int32_t LineReader::read(uint32_t y, void* line) {
    const uint32_t got = source_->ioread(source_, 0, line, width_, 0, int32_t(y));
    return got == width_ ? 0 : -7;
}

}  // namespace mvip::files
