// mvio8_bmpread: decodes a Windows BMP file into an owned memory image (top
// line first, u8 grey or BGR) and presents it in the caller's image through
// the reading frame.
#include "core/record.hpp"
#include "files/bmp/bmp_header.hpp"
#include "files/readframe.hpp"

#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace mvip::files::bmp {

namespace {

// Run-length files can describe large images in a few bytes; their decoded
// size is capped rather than trusted: at most 1 GiB, and beyond 16 MiB at
// most 256 bytes per byte of the file (a run code gives at most 255 pixels).
constexpr uint64_t kRleDecodedLimit = uint64_t(1) << 30;
constexpr uint64_t kRleSmallImage = uint64_t(1) << 24;
bool rle_size_plausible(uint64_t decoded, uint64_t file_length) {
    return decoded <= kRleDecodedLimit && (decoded <= kRleSmallImage || decoded / 256 <= file_length);
}

struct FreeDeleter {
    void operator()(unsigned char* p) const { std::free(p); }
};
using Pixels = std::unique_ptr<unsigned char, FreeDeleter>;

// Where decoded pixels go: the palette (or the channel masks) turned into
// the presented values.
class Target {
public:
    Target(const Header& h, unsigned char* out) : h_(h), out_(out), pixies_(h.pixies()) {
        for (int c = 0; c < 3; ++c) {
            // Masks are R, G, B; the image holds B, G, R.
            const uint32_t mask = h.masks[2 - c];
            if (mask == 0) continue;
            shift_[c] = uint32_t(__builtin_ctz(mask));
            max_[c] = mask >> shift_[c];
        }
    }

    // Start of the image line that holds file line `row` (counted in the
    // file's order).
    unsigned char* line(uint32_t row) const {
        const uint32_t y = h_.top_down ? row : h_.height - 1 - row;
        return out_ + size_t(y) * h_.width * pixies_;
    }

    void put_index(unsigned char* pixel, uint32_t index) const {
        const unsigned char* e = h_.palette[index];  // entries past the count are 0
        if (pixies_ == 1) {
            pixel[0] = e[2];
        } else {
            pixel[0] = e[0];
            pixel[1] = e[1];
            pixel[2] = e[2];
        }
    }

    void put_masked(unsigned char* pixel, uint32_t value) const {
        for (int c = 0; c < 3; ++c) {
            const uint64_t v = (value >> shift_[c]) & max_[c];
            pixel[c] = max_[c] == 255 ? uint8_t(v) : uint8_t((v * 255 + max_[c] / 2) / max_[c]);
        }
    }

    uint32_t pixies() const { return pixies_; }

private:
    const Header& h_;
    unsigned char* out_;
    uint32_t pixies_;
    uint32_t shift_[3] = {};
    uint32_t max_[3] = {1, 1, 1};
};

// One stored line of an uncompressed file.
void decode_line(const Header& h, const Target& t, const unsigned char* in, unsigned char* out) {
    const uint32_t w = h.width, px = t.pixies();
    switch (h.bitcount) {
        case 1:
            for (uint32_t x = 0; x < w; ++x) t.put_index(out + size_t(x) * px, (in[x >> 3] >> (7 - (x & 7))) & 1u);
            return;
        case 4:
            for (uint32_t x = 0; x < w; ++x)
                t.put_index(out + size_t(x) * px, (x & 1) ? in[x >> 1] & 15u : in[x >> 1] >> 4);
            return;
        case 8:
            for (uint32_t x = 0; x < w; ++x) t.put_index(out + size_t(x) * px, in[x]);
            return;
        case 16:
            for (uint32_t x = 0; x < w; ++x) t.put_masked(out + size_t(x) * 3, load_u16(in + size_t(x) * 2, false));
            return;
        case 24:
            if (h.compression == kRgb) {
                std::memcpy(out, in, size_t(w) * 3);
                return;
            }
            for (uint32_t x = 0; x < w; ++x) {
                const unsigned char* p = in + size_t(x) * 3;
                t.put_masked(out + size_t(x) * 3, uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16);
            }
            return;
        default:  // 32
            for (uint32_t x = 0; x < w; ++x) t.put_masked(out + size_t(x) * 3, load_u32(in + size_t(x) * 4, false));
            return;
    }
}

int32_t decode_uncompressed(Stream& s, const Header& h, const Target& t) {
    const uint64_t stride = h.stride();
    std::vector<unsigned char> in(stride);
    for (uint32_t row = 0; row < h.height; ++row) {
        s.read(h.data_offset + uint64_t(row) * stride, in.data(), in.size());
        if (const int32_t rc = s.status()) return rc;
        decode_line(h, t, in.data(), t.line(row));
    }
    return 0;
}

// RLE8 and RLE4: pairs (count, value) repeat a value (RLE4: two alternating
// nibbles); pairs (0, code) are escapes: 0 end of line, 1 end of bitmap, 2
// a move right and up by the next two bytes, 3 and more that many literal
// pixels padded to an even byte count.  Pixels that no code sets stay 0;
// pixels beyond the right edge or above the top line are dropped.
int32_t decode_rle(Stream& s, const Header& h, const Target& t) {
    std::vector<unsigned char> data(h.data_bytes);
    s.read(h.data_offset, data.data(), data.size());
    if (const int32_t rc = s.status()) return rc;
    const bool four = h.compression == kRle4;
    const size_t n = data.size();
    const uint32_t width = h.width, px = t.pixies();
    uint32_t x = 0, row = 0;  // row counts from the bottom line
    size_t i = 0;
    auto put = [&](uint32_t index) {
        if (x < width) t.put_index(t.line(row) + size_t(x) * px, index);
    };
    while (row < h.height) {
        if (n - i < 2) return MVERR_FORMAT;  // the codes end before the bitmap does
        const uint32_t count = data[i], value = data[i + 1];
        i += 2;
        if (count != 0) {
            const uint32_t set = x < width ? std::min(count, width - x) : 0;
            for (uint32_t k = 0; k < set; ++k, ++x) put(four ? ((k & 1) ? value & 15u : value >> 4) : value);
            x = std::min(x + (count - set), width);
        } else if (value == 0) {
            x = 0;
            ++row;
        } else if (value == 1) {
            break;
        } else if (value == 2) {
            if (n - i < 2) return MVERR_FORMAT;
            x = std::min(x + data[i], width);
            row += data[i + 1];
            i += 2;
        } else {
            const size_t bytes = four ? (value + 1) / 2 : value;
            if (n - i < bytes) return MVERR_FORMAT;
            const unsigned char* lit = data.data() + i;
            const uint32_t set = x < width ? std::min(value, width - x) : 0;
            for (uint32_t k = 0; k < set; ++k, ++x)
                put(four ? ((k & 1) ? lit[k >> 1] & 15u : lit[k >> 1] >> 4) : lit[k]);
            x = std::min(x + (value - set), width);
            i += std::min(n - i, bytes + (bytes & 1));
        }
    }
    return 0;
}

int32_t read_bmp(mvabort* hook, mvimage* im, mvimage* palette, const char* filename, uint32_t mode) {
    if (const int32_t stop = poll_hook(hook, 0, 0)) return stop;  // once, answered at once
    if (im == nullptr || filename == nullptr) return MVERR_USAGE;
    if (palette != nullptr && (!is_int_type(palette->pixfmt.datatype) || palette->pixfmt.pixies != 3))
        return MVERR_USAGE;

    Stream s;
    if (const int32_t rc = s.open(filename, "rb")) return rc;
    Header h;
    if (const int32_t rc = read_header(s, h)) return rc;

    const uint32_t pixies = h.pixies();
    const uint64_t bytes = uint64_t(h.width) * h.height * pixies;
    if (h.rle() && !rle_size_plausible(bytes, s.length())) return MVERR_UNSUPPORTED;
    if (bytes > SIZE_MAX) return MVERR_MEMORY;
    // Zeroed memory: pixels a run-length file never sets read as 0.
    Pixels pixels(static_cast<unsigned char*>(std::calloc(size_t(bytes), 1)));
    if (!pixels) return MVERR_MEMORY;
    const Target target(h, pixels.get());
    const int32_t decoded = h.rle() ? decode_rle(s, h, target) : decode_uncompressed(s, h, target);
    if (decoded != 0) return decoded;
    if (const int32_t rc = s.close()) return rc;

    mvimage file{};
    const uint32_t dims[2] = {h.width, h.height};
    const uint32_t cs = pixies == 1 ? MVCS_GREY : MVCS_BGR;
    int32_t rc = h.xppm != 0 && h.yppm != 0
                     ? mvimage_memory2(&file, pixels.get(), dims, 0, MVTYPE_U8, 8, pixies, cs, 0,
                                       1.0f / float(h.xppm), 1.0f / float(h.yppm), MVUNITS_METER)
                     : mvimage_memory(&file, pixels.get(), dims, 0, MVTYPE_U8, 8, pixies, cs, 0);
    if (rc != 0) return rc;
    set_kind(&file, "BMP");
    const int32_t shown = present_image(hook, &file, im, mode);

    int32_t copied = 0;
    if (palette != nullptr && h.entries != 0) {
        unsigned char entries[256][3];
        std::memcpy(entries, h.palette, sizeof entries);
        mvimage line{};
        const uint32_t line_dims[2] = {h.entries, 1};
        rc = mvimage_memory(&line, entries, line_dims, 0, MVTYPE_U8, 8, 3, MVCS_BGR, 0);
        if (rc == 0) {
            set_kind(&line, "BMP");
            rc = present_palette(&line, palette);
        }
        copied = rc < 0 ? rc : 1;
    }
    if (shown < 0 || copied < 0) return std::min(shown, copied);
    return shown != 0 ? shown : copied;
}

}  // namespace

}  // namespace mvip::files::bmp

extern "C" MVIP_API int32_t mvio8_bmpread(mvabort* hook, mvimage* im, mvimage* palette, const char* filename,
                                          uint32_t mode) {
    try {
        return mvip::files::bmp::read_bmp(hook, im, palette, filename, mode);
    } catch (...) {
        return MVERR_MEMORY;  // allocations are the only thing that throws here
    }
}
