// mvio8_avireadseq: frames of an AVI file into the planes of a 3-D image.
// Each frame is decoded into an image of kind "MVIMAVI" (u8 grey or BGR,
// top line first) and presented in its plane through the reading frame;
// a plane that takes the frame unchanged and maps its lines receives the
// decoded lines directly.
#include "core/record.hpp"
#include "files/avi/format.hpp"
#include "files/avi/movie.hpp"
#include "files/readframe.hpp"

#include <cstring>
#include <new>
#include <vector>

namespace mvip::files::avi {

namespace {

// Turns stored rows into presented lines.
class Decoder {
public:
    explicit Decoder(const Movie& m) : m_(m), pixies_(m.pixies()) {
        for (uint32_t i = 0; i < 256; ++i) {
            const bool identity = m.entries == 0 || m.fourcc_grey();
            const unsigned char* e = m.palette[i];
            lut_[i][0] = identity ? uint8_t(i) : i < m.entries ? e[0] : 0;
            lut_[i][1] = identity ? uint8_t(i) : i < m.entries ? e[1] : 0;
            lut_[i][2] = identity ? uint8_t(i) : i < m.entries ? e[2] : 0;
        }
    }

    // Read frame `i` and hand each line to line(y) (top line first).
    template <class Line>
    int32_t frame(Stream& s, size_t i, Line line) {
        const uint64_t bytes = m_.frame_bytes();
        if (m_.frame_size[i] < bytes) return MVERR_FORMAT;
        raw_.resize(size_t(bytes));
        s.read(m_.frame_pos[i], raw_.data(), raw_.size());
        if (const int32_t rc = s.status(); rc != 0) return rc;
        const uint64_t stride = m_.row_bytes();
        const bool top_first = m_.top_down || m_.fourcc_grey();
        for (uint32_t r = 0; r < m_.height; ++r) {
            const uint32_t y = top_first ? r : m_.height - 1 - r;
            row(raw_.data() + r * stride, line(y));
        }
        return 0;
    }

private:
    void row(const unsigned char* in, unsigned char* out) const {
        const uint32_t w = m_.width;
        if (m_.bitcount == 8) {
            if (pixies_ == 1) {
                for (uint32_t x = 0; x < w; ++x) out[x] = lut_[in[x]][0];
            } else {
                for (uint32_t x = 0; x < w; ++x, out += 3) std::memcpy(out, lut_[in[x]], 3);
            }
        } else if (m_.bitcount == 24) {
            std::memcpy(out, in, size_t(w) * 3);
        } else {  // 32: B, G, R and an unused byte
            for (uint32_t x = 0; x < w; ++x, in += 4, out += 3) std::memcpy(out, in, 3);
        }
    }

    const Movie& m_;
    uint32_t pixies_;
    unsigned char lut_[256][3];
    std::vector<unsigned char> raw_;
};

mvpixfmt frame_format(const Movie& m) {
    mvpixfmt f{};
    mvpixfmt_set(&f, MVTYPE_U8, 8, m.pixies(), m.pixies() == 1 ? MVCS_GREY : MVCS_BGR);
    return f;
}

int32_t read_plane(mvabort* hook, Stream& s, const Movie& m, Decoder& decoder, size_t frame, mvimage* plane,
                   std::vector<unsigned char>& pixels, uint32_t mode) {
    const uint32_t px = m.pixies();
    const mvpixfmt fmt = frame_format(m);
    if (presents_unchanged(fmt, m.width, m.height, plane, mode)) {
        MappedLines lines;
        if (lines.open(plane, MVTYPE_U8)) {
            bool mapped = true;
            std::vector<unsigned char> spare(size_t(m.width) * px);
            const int32_t rc = decoder.frame(s, frame, [&](uint32_t y) {
                unsigned char* p = lines.line(y);
                if (p == nullptr) mapped = false;
                return p != nullptr ? p : spare.data();
            });
            if (rc != 0 || mapped) return rc;
        }
    }
    const size_t line_bytes = size_t(m.width) * px;
    pixels.resize(line_bytes * m.height);
    if (const int32_t rc = decoder.frame(s, frame, [&](uint32_t y) { return pixels.data() + y * line_bytes; });
        rc != 0)
        return rc;
    mvimage file{};
    const uint32_t dims[2] = {m.width, m.height};
    if (const int32_t rc = mvimage_memory(&file, pixels.data(), dims, 0, MVTYPE_U8, 8, px, fmt.colorspace, 0);
        rc != 0)
        return rc;
    set_kind(&file, "MVIMAVI");
    return present_image(hook, &file, plane, mode);
}

int32_t read_stack(mvabort* hook, mvimage3* im, const char* filename, uint32_t first, uint32_t mode) {
    if (const int32_t stop = poll_hook(hook, 0, 0)) return stop;
    if (im == nullptr || filename == nullptr || !window_valid_3d(im) || wind_depth(im) == 0) return MVERR_USAGE;
    const uint32_t depth = wind_depth(im);
    Stream s;
    if (const int32_t rc = s.open(filename, "rb")) return rc;
    Movie m;
    if (const int32_t rc = read_movie(s, m); rc != 0) return rc;
    if (!m.decodable()) return MVERR_UNSUPPORTED;
    // Frames beyond 2 GiB are beyond every index's size field.
    if (m.frame_bytes() >= (uint64_t(1) << 31)) return MVERR_UNSUPPORTED;
    if (uint64_t(first) + depth > m.frame_pos.size()) return MVERR_FORMAT;
    Decoder decoder(m);
    std::vector<unsigned char> pixels;
    PlaneHook planes(hook, depth);
    for (uint32_t z = 0; z < depth; ++z) {
        if (const int32_t stop = planes.begin(z + 1)) return stop;
        mvimage plane{};
        if (mvimage_def2from3(&plane, im, 0, 2, z) != 0) return MVERR_USAGE;
        if (const int32_t rc = read_plane(planes.hook(), s, m, decoder, size_t(first) + z, &plane, pixels, mode);
            rc != 0)
            return rc;
    }
    return s.close();
}

}  // namespace

}  // namespace mvip::files::avi

extern "C" MVIP_API int32_t mvio8_avireadseq(mvabort* hook, mvimage3* im, const char* filename, uint32_t first,
                                             uint32_t mode) {
    try {
        return mvip::files::avi::read_stack(hook, im, filename, first, mode);
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    } catch (...) {
        return MVERR_USAGE;
    }
}
