#include "files/jpeg/decode.hpp"

#include "files/jpeg/colour.hpp"
#include "files/jpeg/dct.hpp"
#include "files/jpeg/huffman_decode.hpp"
#include "files/readframe.hpp"

#include <cstring>
#include <new>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <vector>

namespace mvip::files::jpeg {

namespace {

uint32_t ceil_div(uint64_t a, uint64_t b) { return uint32_t((a + b - 1) / b); }

template <class T>
class Decoder final : public FrameDecoder {
public:
    explicit Decoder(const Frame& f) : f_(f) {
        mcux_ = ceil_div(f.width, 8 * f.hmax);
        mcuy_ = ceil_div(f.height, 8 * f.vmax);
        for (uint32_t c = 0; c < f.count; ++c) {
            const Component& comp = f.comp[c];
            // A cache line more than the padded width, so that the lines
            // of a block do not compete for the same cache sets.
            stride_[c] = size_t(mcux_) * comp.h * 8 + 64 / sizeof(T);
            planes_[c].assign(stride_[c] * mcuy_ * comp.v * 8, T(0));
            width_[c] = ceil_div(uint64_t(f.width) * comp.h, f.hmax);
            height_[c] = ceil_div(uint64_t(f.height) * comp.v, f.vmax);
        }
        top_ = (1u << f.precision) - 1;
    }

    int32_t scan(const Header& h, const Scan& s, mvabort* hook) override {
        DecodeTable dc[4], ac[4];
        float mult[4][64];
        for (uint32_t i = 0; i < s.count; ++i) {
            const uint32_t di = s.dc[i] * 2u, ai = s.ac[i] * 2u + 1;
            if (!h.have_huff[di] || !h.have_huff[ai]) return MVERR_FORMAT;
            if (const int32_t rc = dc[i].init(h.huff[di])) return rc;
            if (const int32_t rc = ac[i].init(h.huff[ai])) return rc;
            const uint32_t q = f_.comp[s.index[i]].table;
            if (q > 3 || !h.have_quant[q]) return MVERR_FORMAT;
            inverse_multipliers(h.quant[q], mult[i]);
        }
        for (int k = 0; k < 64; ++k) order_[k] = transposed(kZigzag[k]);
        BitReader bits(s.begin, s.end);
        int32_t pred[4] = {};
        const uint32_t interval = h.restart_interval;
        uint32_t since_restart = 0;
        // One component alone is coded block by block over its own size;
        // several go MCU by MCU.
        const bool single = s.count == 1;
        const uint32_t cols = single ? ceil_div(width_[s.index[0]], 8) : mcux_;
        const uint32_t rows = single ? ceil_div(height_[s.index[0]], 8) : mcuy_;
        // A row of MCUs is decoded whole before it is transformed: the
        // transform then reads values stored long before, not just now.
        uint32_t per_mcu = 0;
        for (uint32_t i = 0; i < s.count; ++i)
            per_mcu += single ? 1u : uint32_t(f_.comp[s.index[i]].h) * f_.comp[s.index[i]].v;
        std::vector<int32_t> coefs(size_t(cols) * per_mcu * 64, 0);
        std::vector<Pending> pending(size_t(cols) * per_mcu);
        for (uint32_t my = 0; my < rows; ++my) {
            if (const int32_t stop = poll_hook(hook, my, rows)) return stop;
            size_t n = 0;
            auto take = [&](uint32_t i, T* at, size_t stride) {
                Pending& p = pending[n];
                p.coef = coefs.data() + n * 64;
                p.mult = mult[i];
                p.out = at;
                p.stride = stride;
                ++n;
                return block(bits, dc[i], ac[i], pred[i], p);
            };
            for (uint32_t mx = 0; mx < cols; ++mx) {
                if (interval != 0 && since_restart == interval) {
                    if (bits.overrun() || !bits.restart()) return MVERR_FORMAT;
                    std::memset(pred, 0, sizeof pred);
                    since_restart = 0;
                }
                ++since_restart;
                if (single) {
                    const uint32_t c = s.index[0];
                    if (const int32_t rc = take(0, planes_[c].data() + size_t(my) * 8 * stride_[c] + size_t(mx) * 8,
                                                stride_[c]))
                        return rc;
                    continue;
                }
                for (uint32_t i = 0; i < s.count; ++i) {
                    const uint32_t c = s.index[i];
                    const Component& comp = f_.comp[c];
                    for (uint32_t by = 0; by < comp.v; ++by)
                        for (uint32_t bx = 0; bx < comp.h; ++bx) {
                            T* at = planes_[c].data() + (size_t(my) * comp.v + by) * 8 * stride_[c] +
                                    (size_t(mx) * comp.h + bx) * 8;
                            if (const int32_t rc = take(i, at, stride_[c])) return rc;
                        }
                }
            }
            if (bits.overrun()) return MVERR_FORMAT;
            for (size_t k = 0; k < n; ++k) transform(pending[k]);  // leaves the values zero
        }
        return 0;
    }

    bool output(const Header& h, const std::function<void*(uint32_t y)>& line_of) const override {
        const uint32_t w = f_.width, n = f_.count;
        std::vector<float> lines(size_t(w) * 4), vrow(size_t(w) + 8);
        std::vector<T> rgb(size_t(w) * 3);
        std::vector<uint8_t> chroma[2] = {std::vector<uint8_t>(size_t(w) + 1), std::vector<uint8_t>(size_t(w) + 1)};
        std::vector<uint16_t> wide(size_t(w) + 4);
        const YccToRgbU8Fn<uint8_t> ycc_u8 = ycc_to_rgb_u8();
        const YccToRgbU8Fn<float> ycc_float = ycc_float_to_rgb_u8();
        const float* line[4];
        for (uint32_t c = 0; c < 4; ++c) line[c] = lines.data() + size_t(c) * w;
        const float top = float(top_), half = float((top_ + 1) / 2);
        const bool rgb_stored = n == 3 && ((h.adobe && h.adobe_transform == 0) ||
                                           (!h.adobe && f_.comp[0].id == 'R' && f_.comp[1].id == 'G' &&
                                            f_.comp[2].id == 'B'));
        for (uint32_t y = 0; y < f_.height; ++y) {
            T* out = static_cast<T*>(line_of(y));
            if (out == nullptr) return false;
            if (n <= 2) {  // grey (a second component is not shown)
                if (full(0)) std::memcpy(out, planes_[0].data() + size_t(y) * stride_[0], size_t(w) * sizeof(T));
                else {
                    upsample(0, y, const_cast<float*>(line[0]), vrow.data());
                    interleave(line, 1, w, top, false, out);
                }
                continue;
            }
            if constexpr (sizeof(T) == 1)
                if (n == 3 && !rgb_stored && full(0) && full(1) && full(2)) {
                    ycc_u8(planes_[0].data() + size_t(y) * stride_[0], planes_[1].data() + size_t(y) * stride_[1],
                           planes_[2].data() + size_t(y) * stride_[2], w, out);
                    continue;
                }
            if constexpr (sizeof(T) == 1)
                if (n == 3 && !rgb_stored && full(0) && halved(1) && halved(2)) {
                    upsample_u8(1, y, chroma[0].data(), wide.data());
                    upsample_u8(2, y, chroma[1].data(), wide.data());
                    ycc_u8(planes_[0].data() + size_t(y) * stride_[0], chroma[0].data(), chroma[1].data(), w, out);
                    continue;
                }
            for (uint32_t c = 0; c < n; ++c) {
                float* dst = const_cast<float*>(line[c]);
                if (full(c)) samples_to_float(planes_[c].data() + size_t(y) * stride_[c], w, dst);
                else upsample(c, y, dst, vrow.data());
            }
            if (n == 3) {
                if (rgb_stored) interleave(line, 3, w, top, false, out);
                else if constexpr (sizeof(T) == 1) ycc_float(line[0], line[1], line[2], w, out);
                else ycc_to_rgb(line[0], line[1], line[2], w, half, top, out);
            } else if (h.adobe && h.adobe_transform == 2) {
                // YCCK: the colour channels hold inverted inks, so the RGB
                // values are the inks; K is stored inverted.
                ycc_to_rgb(line[0], line[1], line[2], w, half, top, rgb.data());
                for (uint32_t x = 0; x < w; ++x) {
                    out[4 * x] = rgb[3 * x];
                    out[4 * x + 1] = rgb[3 * x + 1];
                    out[4 * x + 2] = rgb[3 * x + 2];
                    const float k = std::min(std::max(line[3][x], 0.0f), top);
                    out[4 * x + 3] = T(top_ - uint32_t(k + 0.5f));
                }
            } else {
                interleave(line, 4, w, top, h.adobe, out);
            }
        }
        return true;
    }

private:
    bool full(uint32_t c) const { return f_.comp[c].h == f_.hmax && f_.comp[c].v == f_.vmax; }

    // A block decoded, waiting for its transform.
    struct Pending {
        int32_t* coef = nullptr;  // quantised values, transposed order
        const float* mult = nullptr;
        T* out = nullptr;
        size_t stride = 0;
        bool mean_only = false;
    };

    // The reader is copied in and out so that its state stays in registers
    // while the block is decoded (stores to the block could otherwise
    // alias it).
    int32_t block(BitReader& reader, const DecodeTable& dc, const DecodeTable& ac, int32_t& pred, Pending& p) {
        BitReader bits = reader;
        const int32_t rc = block_values(bits, dc, ac, pred, p);
        reader = bits;
        return rc;
    }

    __attribute__((always_inline)) int32_t block_values(BitReader& bits, const DecodeTable& dc, const DecodeTable& ac, int32_t& pred, Pending& p) {
        int32_t* coef = p.coef;
        const int32_t s = bits.decode(dc);
        if (s < 0 || s > 15) return MVERR_FORMAT;
        pred = int32_t(uint32_t(pred) + uint32_t(bits.receive(uint32_t(s))));
        coef[0] = pred;
        bool ac_seen = false;
        for (int k = 1; k < 64;) {
            const uint32_t look = bits.peek_fast();
            if (ac.ac_bits[look] != 0) {  // a short code and its value at once
                k += ac.ac_run[look];
                if (k > 63) return MVERR_FORMAT;
                coef[order_[k]] = ac.ac_value[look];
                bits.consume(ac.ac_bits[look]);
                ac_seen = true;
                ++k;
                continue;
            }
            const int32_t rs = bits.decode(ac);
            if (rs < 0) return MVERR_FORMAT;
            const uint32_t run = uint32_t(rs) >> 4, size = uint32_t(rs) & 15;
            if (size == 0) {
                if (run != 15) break;  // end of block
                k += 16;
                continue;
            }
            k += int(run);
            if (k > 63) return MVERR_FORMAT;
            coef[order_[k]] = bits.receive(size);
            ac_seen = true;
            ++k;
        }
        p.mean_only = !ac_seen;
        return 0;
    }

    void transform(const Pending& p) const {
        if (p.mean_only) {
            // Only the mean: the transform gives it everywhere (exactly, as
            // the full transform adds only zeros to it).
            const float v = std::min(std::max(float(p.coef[0]) * p.mult[0] + (float((top_ + 1) / 2) + 0.5f), 0.0f),
                                     float(top_) + 0.5f);
            const T value = T(int32_t(v));
            p.coef[0] = 0;
            for (int r = 0; r < 8; ++r)
                for (int c = 0; c < 8; ++c) p.out[size_t(r) * p.stride + size_t(c)] = value;
            return;
        }
        if constexpr (sizeof(T) == 1) inverse_u8_(p.coef, p.mult, p.out, p.stride);
        else inverse_u16_(p.coef, p.mult, p.out, p.stride, top_);
    }

    // Chroma at half the width (4:2:0 and 4:2:2), the common case: the
    // triangle filter of upsample() in integers, 3/4 of the near sample and
    // 1/4 of the far one down and across (edges repeated), the sum of
    // sixteenths rounded once.
    bool halved(uint32_t c) const {
        const Component& comp = f_.comp[c];
        return f_.hmax == 2u * comp.h && (f_.vmax == 2u * comp.v || f_.vmax == comp.v);
    }
    void upsample_u8(uint32_t c, uint32_t y, uint8_t* out, uint16_t* v) const {
        const Component& comp = f_.comp[c];
        const uint32_t cw = width_[c], ch = height_[c], w = f_.width;
        const size_t stride = stride_[c];
        const T* plane = planes_[c].data();
        uint16_t* col = v + 1;  // col[-1] and col[cw] repeat the ends
        if (f_.vmax == 2u * comp.v) {
            const uint32_t sy = std::min(y / 2, ch - 1);
            const uint32_t fy = (y & 1) ? std::min(sy + 1, ch - 1) : (sy == 0 ? 0 : sy - 1);
            const T* near = plane + size_t(sy) * stride;
            const T* far = plane + size_t(fy) * stride;
            for (uint32_t x = 0; x < cw; ++x) col[x] = uint16_t(3 * near[x] + far[x]);
        } else {
            const T* row = plane + size_t(std::min(y, ch - 1)) * stride;
            for (uint32_t x = 0; x < cw; ++x) col[x] = uint16_t(4 * row[x]);
        }
        col[-1] = col[0];
        col[cw] = col[cw - 1];
        const int64_t pairs = w / 2;  // cw is w / 2 rounded up
        for (int64_t i = 0; i < pairs; ++i) {
            const uint32_t near = 3u * col[i];
            out[2 * i] = uint8_t((near + col[i - 1] + 8) >> 4);
            out[2 * i + 1] = uint8_t((near + col[i + 1] + 8) >> 4);
        }
        if (w & 1) out[w - 1] = uint8_t((3u * col[pairs] + col[pairs - 1] + 8) >> 4);
    }

    // Component c at output line y, at the image's width: factors of 2 by
    // the triangle filter, others by repetition.
    void upsample(uint32_t c, uint32_t y, float* out, float* vrow) const {
        const Component& comp = f_.comp[c];
        const uint32_t cw = width_[c], ch = height_[c];
        const T* plane = planes_[c].data();
        const size_t stride = stride_[c];
        if (f_.vmax == 2u * comp.v) {
            const uint32_t sy = std::min(y / 2, ch - 1);
            const uint32_t fy = (y & 1) ? std::min(sy + 1, ch - 1) : (sy == 0 ? 0 : sy - 1);
            const T* near = plane + size_t(sy) * stride;
            const T* far = plane + size_t(fy) * stride;
            for (uint32_t x = 0; x < cw; ++x) vrow[x] = 0.75f * float(near[x]) + 0.25f * float(far[x]);
        } else {
            const uint32_t sy = std::min(uint32_t(uint64_t(y) * comp.v / f_.vmax), ch - 1);
            samples_to_float(plane + size_t(sy) * stride, cw, vrow);
        }
        const uint32_t w = f_.width;
        if (f_.hmax == 2u * comp.h) {
            // Output x takes 3/4 of sample x / 2 and 1/4 of its neighbour on
            // the side of x (edges repeated); cw is w / 2 rounded up.  The
            // ends apart, the loop has no index arithmetic, so it vectorises.
            const auto pair = [&](uint32_t i, uint32_t left, uint32_t right) {
                const float near = 0.75f * vrow[i];
                out[2 * i] = near + 0.25f * vrow[left];
                if (2 * i + 1 < w) out[2 * i + 1] = near + 0.25f * vrow[right];
            };
            pair(0, 0, std::min(1u, cw - 1));
            const uint32_t last = cw - 1;
            uint32_t i = 1;
#if defined(__SSE2__)
            const __m128 three = _mm_set1_ps(0.75f), one = _mm_set1_ps(0.25f);
            for (; i + 4 <= last; i += 4) {
                const __m128 near = _mm_mul_ps(three, _mm_loadu_ps(vrow + i));
                const __m128 even = _mm_add_ps(near, _mm_mul_ps(one, _mm_loadu_ps(vrow + i - 1)));
                const __m128 odd = _mm_add_ps(near, _mm_mul_ps(one, _mm_loadu_ps(vrow + i + 1)));
                _mm_storeu_ps(out + 2 * i, _mm_unpacklo_ps(even, odd));
                _mm_storeu_ps(out + 2 * i + 4, _mm_unpackhi_ps(even, odd));
            }
#endif
            for (; i < last; ++i) {
                const float near = 0.75f * vrow[i];
                out[2 * i] = near + 0.25f * vrow[i - 1];
                out[2 * i + 1] = near + 0.25f * vrow[i + 1];
            }
            if (last > 0) pair(last, last - 1, last);
        } else {
            for (uint32_t x = 0; x < w; ++x) out[x] = vrow[std::min(uint32_t(uint64_t(x) * comp.h / f_.hmax), cw - 1)];
        }
    }

    Frame f_;
    uint32_t mcux_ = 0, mcuy_ = 0, top_ = 255;
    std::vector<T> planes_[4];
    size_t stride_[4] = {};
    uint32_t width_[4] = {}, height_[4] = {};
    uint8_t order_[64] = {};
    InverseU8Fn inverse_u8_ = inverse_transform_u8();
    InverseU16Fn inverse_u16_ = inverse_transform_u16();
};

}  // namespace

std::unique_ptr<FrameDecoder> make_decoder(const Frame& f, uint64_t file_bytes, int32_t& rc) {
    const uint64_t mcus = uint64_t(ceil_div(f.width, 8 * f.hmax)) * ceil_div(f.height, 8 * f.vmax);
    uint64_t per_mcu = 0;
    for (uint32_t c = 0; c < f.count; ++c) per_mcu += uint64_t(f.comp[c].h) * f.comp[c].v;
    if (mcus * per_mcu > file_bytes * 4) {
        rc = MVERR_FORMAT;
        return nullptr;
    }
    try {
        rc = 0;
        if (f.precision > 8) return std::make_unique<Decoder<uint16_t>>(f);
        return std::make_unique<Decoder<uint8_t>>(f);
    } catch (const std::bad_alloc&) {
        rc = MVERR_MEMORY;
        return nullptr;
    }
}

}  // namespace mvip::files::jpeg
