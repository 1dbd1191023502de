// mvio8_jpegwrite, mvio8_jpegwrite2: baseline JFIF files, 8- or 12-bit,
// grey (one component) or YCbCr (three components, no subsampling), one
// sequential scan without restart intervals.  The image is read in bands
// of 8 lines (the last line repeated below the image, the last column to
// the right, to fill whole blocks), transformed, quantised and coded.
//
// 8-bit files use the standard Huffman tables.  Those stop at 11-bit DC
// differences and 10-bit AC values, too few for 12-bit samples, so 12-bit
// files are coded twice: once to count the symbols, once with tables made
// to measure from the counts.
#include "core/record.hpp"
#include "files/jpeg/colour.hpp"
#include "files/jpeg/dct.hpp"
#include "files/jpeg/huffman_encode.hpp"
#include "files/jpeg/markers.hpp"
#include "files/readframe.hpp"
#include "files/stream.hpp"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace mvip::files::jpeg {

namespace {

struct Params {
    uint32_t bits = 8;
    uint32_t components = 1;
    uint16_t quant[2][64] = {};
    HuffTable huff[4];  // DC luma, AC luma, DC chroma, AC chroma
};

class SegmentWriter {
public:
    void marker(uint8_t m) {
        bytes.push_back(0xFF);
        bytes.push_back(m);
    }
    void u8(uint32_t v) { bytes.push_back(uint8_t(v)); }
    void u16(uint32_t v) {
        bytes.push_back(uint8_t(v >> 8));
        bytes.push_back(uint8_t(v));
    }
    void text(const char* t, size_t n) { bytes.insert(bytes.end(), t, t + n); }
    std::vector<uint8_t> bytes;
};

void put_comment(SegmentWriter& w, const char* text) {
    const size_t n = std::min<size_t>(std::strlen(text), 65533);
    w.marker(kCom);
    w.u16(uint32_t(n + 2));
    w.text(text, n);
}

std::vector<uint8_t> headers(const Params& p, const mvfileinfo* info, uint32_t width, uint32_t height) {
    SegmentWriter w;
    w.marker(kSoi);
    w.marker(kApp0);
    w.u16(16);
    w.text("JFIF", 5);
    w.u8(1);
    w.u8(2);
    w.u8(info ? info->area.jpg.unit : 0);
    w.u16(info ? info->area.jpg.xdensity : 1);
    w.u16(info ? info->area.jpg.ydensity : 1);
    w.u8(0);
    w.u8(0);
    if (info != nullptr) {
        for (int i = 0; i < 3; ++i)
            if (info->texts[i] != nullptr) put_comment(w, info->texts[i]);
        const std::string q = kQualityKey + std::to_string(int32_t(info->area.jpg.quality));
        put_comment(w, q.c_str());
    }
    for (uint32_t t = 0; t < (p.components > 1 ? 2u : 1u); ++t) {
        w.marker(kDqt);
        w.u16(67);
        w.u8(t);
        for (int k = 0; k < 64; ++k) w.u8(p.quant[t][kZigzag[k]]);
    }
    w.marker(kSof0);
    w.u16(8 + 3 * p.components);
    w.u8(p.bits);
    w.u16(height);
    w.u16(width);
    w.u8(p.components);
    for (uint32_t c = 0; c < p.components; ++c) {
        w.u8(c + 1);
        w.u8(0x11);
        w.u8(c == 0 ? 0 : 1);
    }
    static const uint8_t classes[4] = {0x00, 0x10, 0x01, 0x11};
    for (uint32_t t = 0; t < (p.components > 1 ? 4u : 2u); ++t) {
        const HuffTable& codes = p.huff[t];
        w.marker(kDht);
        w.u16(19 + codes.size());
        w.u8(classes[t]);
        for (uint8_t c : codes.counts) w.u8(c);
        w.text(reinterpret_cast<const char*>(codes.symbols), codes.size());
    }
    w.marker(kSos);
    w.u16(6 + 2 * p.components);
    w.u8(p.components);
    for (uint32_t c = 0; c < p.components; ++c) {
        w.u8(c + 1);
        w.u8(c == 0 ? 0x00 : 0x11);
    }
    w.u8(0);
    w.u8(63);
    w.u8(0);
    return std::move(w.bytes);
}

// Walks the image in bands of 8 lines and codes every block into `sink`;
// `flush` takes the sink's bytes after each band.
class BandCoder {
public:
    BandCoder(LineReader& lines, const Params& p, EncodeTable tables[4])
        : lines_(lines), p_(p), tables_(tables), width_(lines.width()), height_(lines.height()),
          padded_((width_ + 7) / 8 * 8), stride_(padded_ + 16) {
        for (int t = 0; t < 2; ++t) forward_multipliers(p.quant[t], mult_[t]);
        planes_.assign(size_t(p.components) * 8 * stride_, 0.0f);
        line_.resize(size_t(width_) * lines.pixies() * (p.bits > 8 ? 2 : 1));
    }

    template <class Sink, class Flush>
    int32_t run(mvabort* hook, Sink& sink, Flush flush) {
        const ForwardFn forward = forward_transform();
        const float limit = float((1 << (p_.bits + 2)) - 1);  // largest value the categories allow
        int32_t last_dc[3] = {};
        int32_t coef[64];
        const size_t plane = size_t(8) * stride_;
        for (uint32_t top = 0; top < height_; top += 8) {
            if (const int32_t stop = poll_hook(hook, top, height_)) return stop;
            if (const int32_t rc = p_.bits > 8 ? load_band<uint16_t>(top) : load_band<uint8_t>(top)) return rc;
            for (uint32_t x = 0; x < padded_; x += 8) {
                sink.reserve_block();
                for (uint32_t c = 0; c < p_.components; ++c) {
                    forward(planes_.data() + c * plane + x, stride_, mult_[c == 0 ? 0 : 1], limit, coef);
                    encode_block(sink, coef, order_, last_dc[c], tables_[c == 0 ? 0 : 2], tables_[c == 0 ? 1 : 3]);
                }
            }
            if (const int32_t rc = flush()) return rc;
        }
        return 0;
    }

private:
    template <class T>
    int32_t load_band(uint32_t top) {
        const float half = float(1u << (p_.bits - 1));
        const size_t plane = size_t(8) * stride_;
        for (uint32_t r = 0; r < 8; ++r) {
            const uint32_t y = std::min(top + r, height_ - 1);
            const T* in = static_cast<const T*>(lines_.view(y, line_.data()));
            if (in == nullptr) return MVERR_FILEIO;
            float* rows[3] = {};
            for (uint32_t c = 0; c < p_.components; ++c) rows[c] = planes_.data() + c * plane + size_t(r) * stride_;
            if (p_.components == 1) grey_to_float(in, width_, half, rows[0]);
            else if constexpr (sizeof(T) == 1) rgb_u8_(in, width_, rows[0], rows[1], rows[2]);
            else rgb_to_ycc(in, width_, half, rows[0], rows[1], rows[2]);
            for (uint32_t c = 0; c < p_.components; ++c)
                for (uint32_t x = width_; x < padded_; ++x) rows[c][x] = rows[c][width_ - 1];
        }
        return 0;
    }

    LineReader& lines_;
    const Params& p_;
    EncodeTable* tables_;
    // Lines of the band's planes lie `stride_` floats apart, a little more
    // than the padded width: at a power of two apart, the eight lines a
    // block reads would compete for the same few cache sets.
    uint32_t width_, height_, padded_, stride_;
    float mult_[2][64];
    BlockOrder order_;
    std::vector<float> planes_;
    std::vector<uint8_t> line_;
    RgbToYccU8Fn rgb_u8_ = rgb_to_ycc_u8();
};

int32_t write_jpeg(mvabort* hook, mvimage* im, const char* filename, uint32_t bits, const mvfileinfo* info) {
    if (const int32_t stop = poll_hook(hook, 0, 0)) return stop;  // once, answered at once
    if (im == nullptr || filename == nullptr) return MVERR_USAGE;
    const uint32_t pixies = im->pixfmt.pixies;
    if (pixies != 1 && pixies != 3 && pixies != 4) return MVERR_COLORS;
    if (!is_int_type(im->pixfmt.datatype)) return MVERR_DATATYPE;
    if (bits != 8 && bits != 12) return MVERR_USAGE;
    if (!window_valid_2d(im) || wind_width(im) == 0 || wind_height(im) == 0) return MVERR_USAGE;
    if (wind_width(im) > 65535 || wind_height(im) > 65535) return MVERR_DATATYPE;  // 16-bit size fields

    mvimage colour{};
    mvimage* source = im;
    if (pixies >= 2 && im->pixfmt.colorspace != MVCS_RGB) {
        if (const int32_t rc = mvimage_colorconverter(&colour, im, MVCS_RGB, 1); rc < 0) return rc;
        source = &colour;
    }
    LineReader lines;
    if (const int32_t rc = lines.open(source, bits > 8 ? MVTYPE_U16 : MVTYPE_U8, bits); rc < 0) return rc;
    if (lines.pixies() != 1 && lines.pixies() != 3) return MVERR_COLORS;

    Params p;
    p.bits = bits;
    p.components = lines.pixies();
    const bool record = info != nullptr;
    const uint32_t quality = record ? info->area.jpg.quality : 0;
    scale_quant(kLumaQuant, quality, record, p.quant[0]);
    scale_quant(kChromaQuant, quality, record, p.quant[1]);
    EncodeTable tables[4];
    if (bits == 8) {
        p.huff[0] = kDcLuma;
        p.huff[1] = kAcLuma;
        p.huff[2] = kDcChroma;
        p.huff[3] = kAcChroma;
    } else {
        std::vector<uint32_t> counts(4 * 256, 0);
        for (int t = 0; t < 4; ++t) tables[t].counts = counts.data() + 256 * t;
        SymbolCounter counter;
        BandCoder coder(lines, p, tables);
        if (const int32_t rc = coder.run(hook, counter, [] { return 0; })) return rc;
        for (int t = 0; t < 4; ++t) p.huff[t] = build_table(counts.data() + 256 * t);
    }
    for (int t = 0; t < 4; ++t) tables[t].init(p.huff[t]);

    const std::vector<uint8_t> head = headers(p, info, lines.width(), lines.height());
    Stream s;
    if (const int32_t rc = s.open(filename, "wb")) return rc;
    uint64_t pos = 0;
    s.write(pos, head.data(), head.size());
    pos += head.size();
    BitWriter writer;
    auto flush = [&] {
        s.write(pos, writer.data(), writer.size());
        pos += writer.size();
        writer.clear();
        return s.status();
    };
    int32_t rc;
    try {
        BandCoder coder(lines, p, tables);
        rc = coder.run(hook, writer, flush);
        if (rc == 0) {
            writer.pad();
            const uint8_t eoi[2] = {0xFF, kEoi};
            rc = flush();
            s.write(pos, eoi, 2);
        }
    } catch (...) {
        rc = MVERR_MEMORY;
    }
    if (rc == 0) rc = s.close();
    if (rc != 0) s.close_and_remove();
    return rc;
}

}  // namespace

}  // namespace mvip::files::jpeg

extern "C" MVIP_API int32_t mvio8_jpegwrite(mvabort* hook, mvimage* im, void*, const char* filename, uint32_t bits,
                                            const mvfileinfo* info) {
    try {
        return mvip::files::jpeg::write_jpeg(hook, im, filename, bits, info);
    } catch (...) {
        return MVERR_MEMORY;  // allocations are the only thing that throws here
    }
}

extern "C" MVIP_API int32_t mvio8_jpegwrite2(mvabort* hook, mvimage* im, void* reserved, const char* filename,
                                             uint32_t bits, uint16_t unit, uint16_t xdensity, uint16_t ydensity,
                                             uint32_t quality, void*, void*, void*, void*, const char* comment) {
    mvfileinfo info{};
    info.area.jpg.quality = quality;
    info.area.jpg.unit = unit;
    info.area.jpg.xdensity = xdensity;
    info.area.jpg.ydensity = ydensity;
    info.texts[0] = const_cast<char*>(comment);
    return mvio8_jpegwrite(hook, im, reserved, filename, bits, &info);
}
