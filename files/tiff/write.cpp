// Writing TIFF images: the stored form chosen from the image, one IFD per
// image with its values, strips coded row by row, appending to files of
// either byte order, and the sequence handle.
#include "files/tiff/format.hpp"

#include "core/record.hpp"
#include "files/os.hpp"
#include "files/readframe.hpp"
#include "files/tiff/codec.hpp"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <vector>

// The sequence handle: the open file, its byte order, and the link the next
// image is chained at.
struct mvtiffile {
    mvip::files::Stream stream;
    mvip::tiff::FileOrder order;
    uint64_t link = 4;
};

namespace mvip::tiff {

namespace {

// How one image is stored.
struct Plan {
    uint32_t width = 0, height = 0;
    uint32_t samples = 1, bits = 8;
    bool floating = false;
    uint32_t photometric = kBlackIsZero;
    uint32_t extra = 0;        // samples beyond the photometric's colour channels
    bool alpha = false;        // the first extra sample is unassociated alpha
    uint32_t compression = kCompressionNone;
    uint32_t predictor = 1;
    uint32_t read_type = MVTYPE_U8, read_bits = 8;  // the form lines are read in
    uint32_t pixies = 1;
    uint32_t pick[4] = {0, 1, 2, 3};  // pixie stored as sample i
    bool reorder = false;
    size_t row_bytes = 0;
    uint32_t rows_per_strip = 1, strips = 1;
    // ColorMap
    bool palette = false;
    uint32_t palette_bits = 16;
};

uint32_t container_for(uint32_t bits) { return bits <= 8 ? MVTYPE_U8 : bits <= 16 ? MVTYPE_U16 : MVTYPE_U32; }

int32_t plan_image(mvimage* im, mvimage* palette, int32_t bits, int32_t palbits, const mvfileinfo* params,
                   Plan& plan) {
    if (im == nullptr || !window_valid_2d(im)) return -1;
    const mvpixfmt& f = im->pixfmt;
    const uint32_t type = type_of(f.datatype);
    if (pixie_bytes(type) == 0 || f.pixies == 0) return -1;
    plan.width = wind_width(im);
    plan.height = wind_height(im);
    if (plan.width == 0 || plan.height == 0) return -1;
    plan.pixies = f.pixies;
    plan.floating = is_float_type(type);

    if (palette != nullptr && (palette->pixfmt.pixies < 3 || palette->pixfmt.pixies > 4 ||
                               !is_int_type(palette->pixfmt.datatype) || !window_valid_2d(palette)))
        return -1;

    // Sample count, order and photometric interpretation.
    const uint32_t cs = f.colorspace;
    plan.samples = f.pixies;
    if (f.pixies == 1 && palette != nullptr && !plan.floating) {
        plan.photometric = kPalette;
        plan.palette = true;
    } else if (f.pixies == 4 && cs == MVCS_CMYK) {
        plan.photometric = kSeparated;
    } else if (f.pixies >= 3 && (cs == MVCS_YCRCB || cs == MVCS_YCRCBX)) {
        plan.photometric = kYCbCr;
        plan.samples = 3;
        plan.pick[1] = 2;  // stored Y, Cb, Cr from Y, Cr, Cb
        plan.pick[2] = 1;
    } else if (f.pixies >= 3 && (cs == MVCS_BGR || cs == MVCS_BGRX || cs == MVCS_RGB || cs == MVCS_RGBX)) {
        plan.photometric = kRgb;
        plan.samples = 3;
        if (cs == MVCS_BGR || cs == MVCS_BGRX) {
            plan.pick[0] = 2;
            plan.pick[2] = 0;
        }
    } else if (f.pixies == 4 && cs == MVCS_UNKNOWN) {
        plan.photometric = kRgb;  // RGB and alpha
    }
    if (plan.samples > 4) return -1;
    const uint32_t channels = plan.photometric == kRgb || plan.photometric == kYCbCr ? 3
                            : plan.photometric == kSeparated                       ? 4
                                                                                   : 1;
    plan.extra = plan.samples - channels;
    plan.alpha = cs == MVCS_UNKNOWN && (f.pixies == 2 || f.pixies == 4);
    plan.reorder = plan.samples != plan.pixies || plan.pick[0] != 0 || plan.pick[1] != 1 || plan.pick[2] != 2;

    // Compression.
    uint32_t compression = params ? params->area.tif.compression : 0;
    if (compression == 0) compression = kCompressionNone;
    switch (compression) {
    case kCompressionNone: case kCompressionLzw: case kCompressionPackBits: case kCompressionArith: break;
    case kCompressionLzwPredictor:
        compression = kCompressionLzw;
        plan.predictor = 2;
        break;
    default: return -1;
    }
    plan.compression = compression;

    // Bits per sample and the form lines are read in.
    if (plan.floating) {
        if (compression != kCompressionNone) return -1;
        plan.bits = type == MVTYPE_FLOAT ? 32 : 64;
        plan.read_type = type;
        plan.read_bits = 0;
    } else {
        if (bits == 0 || bits > 32 || bits < -32) return -1;
        const uint32_t magnitude = uint32_t(bits < 0 ? -bits : bits);
        if (bits < 0 && magnitude < f.bits) return -1;
        plan.bits = magnitude;
        plan.read_type = container_for(magnitude);
        plan.read_bits = bits > 0 ? magnitude : f.bits;
    }
    if (plan.predictor == 2 && plan.bits != 8 && plan.bits != 16 && plan.bits != 32) return -1;
    if (compression == kCompressionArith && plan.bits > 12) return -1;
    if (plan.palette) {
        if (plan.bits > 24) return -1;
        plan.palette_bits = palbits == 0 ? 16 : uint32_t(palbits);
        if (palbits < 0 || palbits > 32) return -1;
        if (plan.bits < 16 && plan.palette_bits > 16) return -1;  // a SHORT map holds 16 bits
    }

    // Rows and strips.
    const uint64_t row = plan.floating ? uint64_t(plan.width) * plan.samples * (plan.bits / 8)
                                       : (uint64_t(plan.width) * plan.samples * plan.bits + 7) / 8;
    if (row == 0 || row > 0xFFFFFFFFu) return -1;
    plan.row_bytes = size_t(row);
    const uint32_t wanted = params ? params->area.tif.stripsize : 0;
    if (wanted == 0xFFFFFFFFu) {
        plan.rows_per_strip = plan.height;
    } else {
        uint64_t target = wanted == 0 ? 65536 : wanted;
        if (row > target) target = row;
        plan.rows_per_strip = uint32_t(std::min<uint64_t>(target / row, plan.height));
    }
    plan.strips = uint32_t((uint64_t(plan.height) + plan.rows_per_strip - 1) / plan.rows_per_strip);
    return 0;
}

// ---- IFD entries ----------------------------------------------------------

struct OutEntry {
    uint16_t tag, type;
    uint32_t count;
    std::vector<uint8_t> data;  // in the file's byte order
    uint64_t data_pos = 0;      // where the data lies once laid out
};

class EntryList {
public:
    explicit EntryList(bool big) : big_(big) {}
    void numbers(uint16_t tag, uint16_t type, const std::vector<uint32_t>& v) {
        OutEntry e{tag, type, uint32_t(v.size()), {}, 0};
        e.data.resize(v.size() * field_size(type));
        for (size_t i = 0; i < v.size(); ++i) {
            if (type == kShort) files::store_u16(&e.data[2 * i], uint16_t(v[i]), big_);
            else files::store_u32(&e.data[4 * i], v[i], big_);
        }
        entries_.push_back(std::move(e));
    }
    void number(uint16_t tag, uint16_t type, uint32_t v) { numbers(tag, type, std::vector<uint32_t>{v}); }
    // RATIONALs from numerator, denominator pairs: two LONG words each,
    // counted as one value.
    void rationals(uint16_t tag, const std::vector<uint32_t>& pairs) {
        numbers(tag, kLong, pairs);
        entries_.back().type = kRational;
        entries_.back().count = uint32_t(pairs.size() / 2);
    }
    // ASCII: the text and its terminating zero, which the count includes.
    // Values that lie outside the entry start on an even offset; the zero
    // that pads an odd length to it is not counted.
    void text(uint16_t tag, const char* s) {
        OutEntry e{tag, kAscii, 0, {}, 0};
        e.data.assign(s, s + std::strlen(s) + 1);
        e.count = uint32_t(e.data.size());
        entries_.push_back(std::move(e));
    }
    std::vector<OutEntry>& entries() { return entries_; }
    OutEntry* find(uint16_t tag) {
        for (auto& e : entries_)
            if (e.tag == tag) return &e;
        return nullptr;
    }

private:
    bool big_;
    std::vector<OutEntry> entries_;
};

std::string local_time_text() {
    const std::time_t now = std::time(nullptr);
    std::tm t{};
#ifdef _WIN32
    localtime_s(&t, &now);
#else
    localtime_r(&now, &t);
#endif
    char text[80];  // 19 characters for any real date; room for the widest ints
    std::snprintf(text, sizeof text, "%.4d:%.2d:%.2d %.2d:%.2d:%.2d%c", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                  t.tm_hour, t.tm_min, t.tm_sec, 0);
    return text;
}

// The ColorMap: reds, greens, blues of 2^bits entries; entries beyond the
// palette image's width stay 0.
int32_t colormap_values(mvimage* palette, const Plan& plan, std::vector<uint32_t>& map) {
    const size_t n = size_t(1) << plan.bits;
    map.assign(3 * n, 0);
    files::LineReader reader;
    const uint32_t type = plan.palette_bits <= 16 ? MVTYPE_U16 : MVTYPE_U32;
    if (const int32_t rc = reader.open(palette, type, plan.palette_bits); rc != 0) return rc;
    const uint32_t entries = uint32_t(std::min<size_t>(n, reader.width()));
    const uint32_t p = reader.pixies();
    std::vector<uint32_t> line32(size_t(reader.width()) * p);
    std::vector<uint16_t> line16(size_t(reader.width()) * p);
    if (const int32_t rc = reader.read(0, type == MVTYPE_U16 ? static_cast<void*>(line16.data()) : line32.data());
        rc != 0)
        return rc;
    const uint32_t cs = palette->pixfmt.colorspace;
    const bool bgr = cs == MVCS_BGR || cs == MVCS_BGRX;
    for (uint32_t i = 0; i < entries; ++i)
        for (uint32_t c = 0; c < 3; ++c) {
            const uint32_t from = bgr ? 2 - c : c;
            const size_t k = size_t(i) * p + from;
            map[c * n + i] = type == MVTYPE_U16 ? line16[k] : line32[k];
        }
    return 0;
}

EntryList build_entries(const Plan& plan, const mvfileinfo* params, const std::vector<uint32_t>& colormap,
                        bool big) {
    EntryList list(big);
    const bool long_dims = plan.width >= 65536 || plan.height > 65535;
    const char* const* texts = params ? params->texts : nullptr;
    auto given = [&](int slot) { return texts && texts[slot] ? texts[slot] : nullptr; };
    const mvfileinfo_tif* t = params ? &params->area.tif : nullptr;
    const bool xres = t && t->xresnum != 0, yres = t && t->yresnum != 0;

    list.number(kNewSubfileType, kLong, 0);
    list.number(kImageWidth, long_dims ? kLong : kShort, plan.width);
    list.number(kImageLength, long_dims ? kLong : kShort, plan.height);
    list.numbers(kBitsPerSample, kShort, std::vector<uint32_t>(plan.samples, plan.bits));
    list.number(kCompression, kShort, plan.compression);
    list.number(kPhotometric, kShort, plan.photometric);
    if (given(MVTEXT_DESCRIPTION)) list.text(kImageDescription, given(MVTEXT_DESCRIPTION));
    list.numbers(kStripOffsets, kLong, std::vector<uint32_t>(plan.strips, 0));
    list.number(kSamplesPerPixel, kShort, plan.samples);
    list.number(kRowsPerStrip, kLong, plan.rows_per_strip);
    list.numbers(kStripByteCounts, kLong, std::vector<uint32_t>(plan.strips, 0));
    if (xres) list.rationals(kXResolution, {t->xresnum, t->xresden});
    if (yres) list.rationals(kYResolution, {t->yresnum, t->yresden});
    list.number(kPlanarConfiguration, kShort, 1);
    if (xres || yres) list.number(kResolutionUnit, kShort, t->resunit);
    if (given(MVTEXT_SOFTWARE)) list.text(kSoftware, given(MVTEXT_SOFTWARE));
    if (given(MVTEXT_DATETIME)) list.text(kDateTime, given(MVTEXT_DATETIME));
    else list.text(kDateTime, local_time_text().c_str());
    if (plan.compression == kCompressionLzw) list.number(kPredictor, kShort, plan.predictor);
    if (plan.palette) list.numbers(kColorMap, (size_t(1) << plan.bits) > 65535 ? kLong : kShort, colormap);
    if (plan.extra != 0) {
        std::vector<uint32_t> kinds(plan.extra, 0);  // unspecified
        if (plan.alpha) kinds[0] = 2;                // unassociated alpha
        list.numbers(kExtraSamples, kShort, kinds);
    }
    if (plan.floating) list.numbers(kSampleFormat, kShort, std::vector<uint32_t>(plan.samples, 3));
    if (plan.photometric == kYCbCr) {
        // Full resolution chroma, and the full range of the samples: Y from
        // 0 to the top value, Cb and Cr centred on half of it.
        list.numbers(kYCbCrSubSampling, kShort, {1, 1});
        const uint32_t top = plan.bits >= 32 ? 0xFFFFFFFFu : (1u << plan.bits) - 1u, half = top / 2 + 1;
        list.rationals(kReferenceBlackWhite, {0, 1, top, 1, half, 1, top, 1, half, 1, top, 1});
    }
    if (given(MVTEXT_COPYRIGHT)) list.text(kCopyright, given(MVTEXT_COPYRIGHT));
    return list;
}

// Copies the stored samples of one line: reordered and narrowed to the
// sample count.
template <class T>
void pick_samples(const void* line, void* out, const Plan& plan) {
    const T* in = static_cast<const T*>(line);
    T* o = static_cast<T*>(out);
    for (uint32_t x = 0; x < plan.width; ++x)
        for (uint32_t s = 0; s < plan.samples; ++s) o[size_t(x) * plan.samples + s] = in[size_t(x) * plan.pixies + plan.pick[s]];
}

// Uncompressed rows that lie one after the other in the caller's memory
// go to consecutive file positions too: they are gathered and written with
// one call (up to 8 MiB), which the stream passes to the file without
// copying them through its buffer.
class RowRun {
public:
    explicit RowRun(files::Stream& s) : s_(s) {}
    // `stable`: the row is the image's own memory, not a line buffer that
    // the next row overwrites.
    void add(uint64_t pos, const uint8_t* row, size_t n, bool stable) {
        if (len_ != 0 && row == start_ + len_ && pos == pos_ + len_ && len_ + n <= kLimit) {
            len_ += n;
            return;
        }
        flush();
        if (!stable) {
            s_.write(pos, row, n);
            return;
        }
        start_ = row;
        pos_ = pos;
        len_ = n;
    }
    void flush() {
        if (len_ != 0) s_.write(pos_, start_, len_);
        len_ = 0;
    }

private:
    static constexpr size_t kLimit = size_t(8) << 20;
    files::Stream& s_;
    const uint8_t* start_ = nullptr;
    uint64_t pos_ = 0;
    size_t len_ = 0;
};

int32_t write_image(mvtiffile& h, mvabort* hook, mvimage* im, mvimage* palette, const Plan& plan,
                    const mvfileinfo* params) {
    files::Stream& s = h.stream;
    std::vector<uint32_t> colormap;
    if (plan.palette)
        if (const int32_t rc = colormap_values(palette, plan, colormap); rc != 0) return rc;
    EntryList list = build_entries(plan, params, colormap, h.order.big);
    auto& entries = list.entries();
    std::stable_sort(entries.begin(), entries.end(), [](const OutEntry& a, const OutEntry& b) { return a.tag < b.tag; });

    // Lay out: the IFD at the (even) end of the file, then the values that
    // do not fit their entries, then the strips.
    uint64_t ifd = s.length();
    if (ifd % 2) s.write(ifd++, "", 1);
    if (ifd > 0xFFFFFFFFu) return -11;
    uint64_t pos = ifd + 2 + 12 * entries.size() + 4;
    for (auto& e : entries) {
        if (e.data.size() <= 4) continue;
        e.data_pos = pos;
        pos += (e.data.size() + 1) & ~size_t(1);
    }
    std::vector<uint8_t> block(size_t(pos - ifd), 0);
    files::store_u16(block.data(), uint16_t(entries.size()), h.order.big);
    for (size_t i = 0; i < entries.size(); ++i) {
        auto& e = entries[i];
        uint8_t* p = block.data() + 2 + 12 * i;
        files::store_u16(p, e.tag, h.order.big);
        files::store_u16(p + 2, e.type, h.order.big);
        files::store_u32(p + 4, e.count, h.order.big);
        if (e.data.size() <= 4) {
            std::memcpy(p + 8, e.data.data(), e.data.size());
            e.data_pos = ifd + 2 + 12 * i + 8;
        } else {
            files::store_u32(p + 8, uint32_t(e.data_pos), h.order.big);
            std::memcpy(block.data() + (e.data_pos - ifd), e.data.data(), e.data.size());
        }
    }
    s.write(ifd, block.data(), block.size());

    // Strips.
    RowShape shape;
    shape.width = plan.width;
    shape.samples = plan.samples;
    shape.bits = plan.bits;
    shape.big_endian = h.order.big;
    std::unique_ptr<Encoder> encoder;
    if (plan.compression != kCompressionNone) {
        encoder = make_encoder(plan.compression, shape);
        if (!encoder) return -1;
    }
    const bool unpacked = encoder && encoder->takes_unpacked_rows();
    files::LineReader reader;
    if (const int32_t rc = reader.open(im, plan.read_type, plan.read_bits); rc != 0) return rc;
    const size_t element = pixie_bytes(plan.read_type);
    std::vector<uint8_t> line(size_t(plan.width) * plan.pixies * element);
    std::vector<uint8_t> samples(plan.reorder ? size_t(plan.width) * plan.samples * element : 0);
    std::vector<uint8_t> packed(shape.packed_bytes());
    const bool native = plan.bits == 8 || (!h.order.big && (plan.bits == 16 || plan.bits == 32 || plan.bits == 64));
    std::vector<uint8_t> coded;
    std::vector<uint32_t> offsets(plan.strips), counts(plan.strips);
    RowRun run(s);

    for (uint32_t strip = 0; strip < plan.strips; ++strip) {
        const uint32_t y0 = strip * plan.rows_per_strip;
        const uint32_t rows = std::min(plan.rows_per_strip, plan.height - y0);
        if (pos > 0xFFFFFFFFu) return -11;  // beyond what 32-bit offsets reach
        offsets[strip] = uint32_t(pos);
        coded.clear();
        if (encoder) encoder->begin_strip(coded);
        for (uint32_t r = 0; r < rows; ++r) {
            const uint32_t y = y0 + r;
            if (const int32_t stop = files::poll_hook(hook, y, plan.height)) return stop;
            // The image's own line when it maps (never changed here), else
            // the line buffer.
            const auto* source = static_cast<const uint8_t*>(reader.view(y, line.data()));
            if (source == nullptr) return -7;
            const uint8_t* row = source;
            if (plan.reorder) {
                switch (element) {
                case 1: pick_samples<uint8_t>(source, samples.data(), plan); break;
                case 2: pick_samples<uint16_t>(source, samples.data(), plan); break;
                case 4: pick_samples<uint32_t>(source, samples.data(), plan); break;
                default: pick_samples<uint64_t>(source, samples.data(), plan); break;
                }
                row = samples.data();
            }
            if (plan.predictor == 2) {
                uint8_t* own = plan.reorder ? samples.data() : line.data();
                if (row != own) std::memcpy(own, row, line.size());
                difference_row(own, plan.width, plan.samples, plan.bits);
                row = own;
            }
            const uint8_t* out = row;
            if (!unpacked && !native) {
                pack_row(row, shape, packed.data());
                out = packed.data();
            }
            if (encoder) {
                encoder->add_row(out, coded);
            } else {
                run.add(pos, out, plan.row_bytes, out == source && source != line.data());
                pos += plan.row_bytes;
            }
        }
        if (encoder) {
            encoder->end_strip(coded);
            s.write(pos, coded.data(), coded.size());
            pos += coded.size();
            counts[strip] = uint32_t(coded.size());
        } else {
            counts[strip] = uint32_t(size_t(rows) * plan.row_bytes);
        }
        if (const int32_t st = s.status(); st != 0) return st;
    }
    run.flush();
    if (pos > 0xFFFFFFFFu) return -11;

    // The strip arrays, rewritten in place; then the image joins the chain.
    for (auto [tag, values] : {std::pair{kStripOffsets, &offsets}, std::pair{kStripByteCounts, &counts}}) {
        const OutEntry* e = list.find(tag);
        std::vector<uint8_t> bytes(values->size() * 4);
        for (size_t i = 0; i < values->size(); ++i) files::store_u32(&bytes[4 * i], (*values)[i], h.order.big);
        s.write(e->data_pos, bytes.data(), bytes.size());
    }
    h.order.put32(h.link, uint32_t(ifd));
    h.link = ifd + 2 + 12 * entries.size();
    return s.status();
}

int32_t open_handle(mvtiffile& h, const char* filename, uint32_t position) {
    h.order.stream = &h.stream;
    if (position == 0) {
        if (const int32_t rc = h.stream.open(filename, "w+b"); rc != 0) return rc;
        h.order.big = false;
        const unsigned char header[8] = {'I', 'I', 42, 0, 0, 0, 0, 0};
        h.stream.write(0, header, sizeof header);
        h.link = 4;
        return h.stream.status();
    }
    if (const int32_t rc = h.stream.open(filename, "r+b"); rc != 0) return rc;
    if (const int32_t rc = read_header(h.stream, h.order); rc != 0) return rc;
    return find_link(h.order, position, h.link);
}

int32_t add_image(mvtiffile& h, mvabort* hook, mvimage* im, mvimage* palette, int32_t bits, int32_t palbits,
                  const mvfileinfo* params) {
    Plan plan;
    if (const int32_t rc = plan_image(im, palette, bits, palbits, params, plan); rc != 0) return rc;
    return write_image(h, hook, im, palette, plan, params);
}

// A new handle on the file.  When the file could not even be opened there
// is nothing to delete: the handle is freed here and stays null.
int32_t create_handle(mvtiffile*& h, const char* filename, uint32_t position) {
    h = new mvtiffile;
    const int32_t rc = open_handle(*h, filename, position);
    if (rc != 0 && !h->stream.is_open()) {
        delete h;
        h = nullptr;
    }
    return rc;
}

// Runs a writer step; a failure, or a stop by the hook, deletes the file
// (and frees the handle).
template <class Step>
int32_t guarded(mvtiffile*& h, Step step) {
    int32_t rc;
    try {
        rc = step();
    } catch (const std::bad_alloc&) {
        rc = -2;
    } catch (...) {
        rc = -1;
    }
    if (rc != 0 && h != nullptr) {
        h->stream.close_and_remove();
        delete h;
        h = nullptr;
    }
    return rc;
}

}  // namespace

}  // namespace mvip::tiff

using namespace mvip::tiff;

namespace {

// A refusal of the arguments also deletes the file the call names: the
// call would have replaced or extended it.
int32_t refused(const char* filename, int32_t rc) {
    mvip::files::os_remove(filename);
    return rc;
}

}  // namespace

extern "C" {

// Every call polls the hook once at entry and returns a non-zero answer at
// once, touching no file.

MVIP_API int32_t mvio8_tifwrite(mvabort* hook, mvimage* im, mvimage* palette, const char* filename, int32_t bits,
                                int32_t palbits, uint32_t position, const mvfileinfo* params) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (filename == nullptr) return -1;
    mvtiffile* h = nullptr;
    Plan plan;
    try {
        if (const int32_t rc = plan_image(im, palette, bits, palbits, params, plan); rc != 0) return refused(filename, rc);
    } catch (const std::bad_alloc&) {
        return refused(filename, -2);
    }
    return guarded(h, [&]() -> int32_t {
        if (const int32_t rc = create_handle(h, filename, position); rc != 0) return rc;
        if (const int32_t rc = write_image(*h, hook, im, palette, plan, params); rc != 0) return rc;
        const int32_t rc = h->stream.close();
        if (rc != 0) return rc;
        delete h;
        h = nullptr;
        return 0;
    });
}

// Every plane through a section view of it, one IFD each, with one plan:
// the planes share their size and format.
MVIP_API int32_t mvio8_tifwriteseq(mvabort* hook, mvimage3* im, mvimage* palette, const char* filename,
                                   int32_t bits, int32_t palbits, uint32_t position, const mvfileinfo* params) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (filename == nullptr) return -1;
    if (im == nullptr || !mvip::window_valid_3d(im) || mvip::wind_depth(im) == 0) return refused(filename, -1);
    const uint32_t depth = mvip::wind_depth(im);
    mvimage plane{};
    Plan plan;
    try {
        if (mvimage_def2from3(&plane, im, 0, 2, 0) != 0) return refused(filename, -1);
        if (const int32_t rc = plan_image(&plane, palette, bits, palbits, params, plan); rc != 0) return refused(filename, rc);
    } catch (const std::bad_alloc&) {
        return refused(filename, -2);
    }
    mvtiffile* h = nullptr;
    return guarded(h, [&]() -> int32_t {
        if (const int32_t rc = create_handle(h, filename, position); rc != 0) return rc;
        mvip::files::PlaneHook planes(hook, depth);
        for (uint32_t z = 0; z < depth; ++z) {
            if (const int32_t stop = planes.begin(z + 1)) return stop;
            if (mvimage_def2from3(&plane, im, 0, 2, z) != 0) return -1;
            if (const int32_t rc = write_image(*h, planes.hook(), &plane, palette, plan, params); rc != 0) return rc;
        }
        const int32_t rc = h->stream.close();
        if (rc != 0) return rc;
        delete h;
        h = nullptr;
        return 0;
    });
}

MVIP_API int32_t mvio8_tifwriteseqinit(mvabort* hook, mvtiffile** handle, const char* filename,
                                       uint32_t position) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (handle == nullptr || *handle != nullptr || filename == nullptr) return -1;
    mvtiffile* h = nullptr;
    const int32_t rc = guarded(h, [&]() -> int32_t {
        return create_handle(h, filename, position);
    });
    if (rc == 0) *handle = h;
    return rc;
}

MVIP_API int32_t mvio8_tifwriteseqadd(mvabort* hook, mvtiffile** handle, const char* /*filename*/, mvimage* im,
                                      mvimage* palette, int32_t bits, int32_t palbits, const mvfileinfo* params) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (handle == nullptr || *handle == nullptr) return -1;
    return guarded(*handle, [&] { return add_image(**handle, hook, im, palette, bits, palbits, params); });
}

MVIP_API int32_t mvio8_tifwriteseqdone(mvabort* hook, mvtiffile** handle, const char* /*filename*/) {
    if (const int32_t stop = mvip::files::poll_hook(hook, 0, 0)) return stop;
    if (handle == nullptr || *handle == nullptr) return -1;
    return guarded(*handle, [&]() -> int32_t {
        const int32_t rc = (*handle)->stream.close();
        if (rc != 0) return rc;
        delete *handle;
        *handle = nullptr;
        return 0;
    });
}

}  // extern "C"
