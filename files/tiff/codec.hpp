// The strip codecs of TIFF files: PackBits (32773), LZW (5), and the
// library's predictive arithmetic code (32885); plus the row helpers that
// sit before them (horizontal differencing, packing of samples to bits).
//
// A strip is coded on its own: every encoder starts afresh at begin_strip
// and every decoder decodes one strip's bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace mvip::tiff {

constexpr uint32_t kCompressionNone = 1;
constexpr uint32_t kCompressionLzw = 5;
constexpr uint32_t kCompressionLzwPredictor = 517;  // LZW whose Predictor is 2
constexpr uint32_t kCompressionPackBits = 32773;
constexpr uint32_t kCompressionArith = 32885;

// The shape of one file row.
struct RowShape {
    uint32_t width = 0;    // pixels
    uint32_t samples = 1;  // samples per pixel, 1..4
    uint32_t bits = 8;     // bits per sample
    bool big_endian = false;  // byte order of 16/32/64-bit samples in the file
    // Bytes of one packed file row: ceil(width * samples * bits / 8).
    size_t packed_bytes() const { return (size_t(width) * samples * bits + 7) / 8; }
    // Bytes of one unpacked row: one byte per sample up to 8 bits, two up
    // to 16, four up to 32, eight for 64 (machine byte order).
    size_t unpacked_bytes() const;
};

// ---- encoders ----------------------------------------------------------

class Encoder {
public:
    virtual ~Encoder() = default;
    // True when rows are handed over unpacked (32885) rather than packed.
    virtual bool takes_unpacked_rows() const { return false; }
    virtual void begin_strip(std::vector<uint8_t>& out) = 0;
    // Append the coded form of one row (packed_bytes or unpacked_bytes).
    virtual void add_row(const uint8_t* row, std::vector<uint8_t>& out) = 0;
    virtual void end_strip(std::vector<uint8_t>& out) = 0;
};

// An encoder for compression 5 (also used for 517: differencing is done
// before), 32773 or 32885; null for another code or a shape the codec does
// not take (32885: bits 1..12, samples 1..4, width >= 1).  May throw
// std::bad_alloc.
std::unique_ptr<Encoder> make_encoder(uint32_t compression, const RowShape& shape);

// ---- decoders ----------------------------------------------------------

// Decode one strip of `rows` rows into `out`, which receives exactly
// rows * packed_bytes (5, 32773) or rows * unpacked_bytes (32885) bytes.
// 0; -10 for data that is broken or ends before the rows are complete (the
// rest of `out` is then zero); -11 for a compression not listed.  Never
// reads outside in[0, n) or writes outside out[0, out_size).
int32_t decode_strip(uint32_t compression, const RowShape& shape, uint32_t rows, const uint8_t* in, size_t n,
                     uint8_t* out, size_t out_size);

// ---- row helpers --------------------------------------------------------

// Horizontal differencing of one unpacked row of 8, 16 or 32-bit samples
// (element type by bits): every value minus the previous pixel's value of
// the same sample, modulo the sample width; the first pixel is kept.
void difference_row(void* row, uint32_t width, uint32_t samples, uint32_t bits);
// Undo it (running sums).
void accumulate_row(void* row, uint32_t width, uint32_t samples, uint32_t bits);

// Pack an unpacked row (u8 elements up to 8 bits, u16 up to 16, u32 up to
// 32; values already within `bits`) into the file form: sub-byte samples
// most significant bit first, rows starting on a byte; 8/16/32-bit samples
// in the file's byte order; other widths (9..15, 17..31) as a big bit
// string, most significant bit first, except that 24-bit samples of a
// big-endian file have their three bytes reversed (libtiff and the
// programs built on it convert 24-bit samples between the byte orders so;
// little-endian files hold them most significant byte first, as those
// programs write them on little-endian machines).  64-bit (double)
// samples: only the byte order is applied.  `out` holds packed_bytes().
void pack_row(const void* row, const RowShape& shape, uint8_t* out);
// The reverse: file form to unpacked elements.
void unpack_row(const uint8_t* in, const RowShape& shape, void* row);

}  // namespace mvip::tiff
