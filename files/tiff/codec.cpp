// Choice of strip encoder and decoder by compression code.
#include "files/tiff/codec.hpp"

#include <cstring>

namespace mvip::tiff {

// Each defined next to its codec.
std::unique_ptr<Encoder> make_lzw_encoder(const RowShape& shape);
std::unique_ptr<Encoder> make_packbits_encoder(const RowShape& shape);
std::unique_ptr<Encoder> make_arith_encoder(const RowShape& shape);
int32_t decode_lzw(const uint8_t* in, size_t n, uint8_t* out, size_t need);
int32_t decode_packbits(const uint8_t* in, size_t n, uint8_t* out, size_t need);
int32_t decode_arith(const RowShape& shape, uint32_t rows, const uint8_t* in, size_t n, uint8_t* out);

std::unique_ptr<Encoder> make_encoder(uint32_t compression, const RowShape& shape) {
    switch (compression) {
        case kCompressionLzw:
        case kCompressionLzwPredictor: return make_lzw_encoder(shape);
        case kCompressionPackBits: return make_packbits_encoder(shape);
        case kCompressionArith: return make_arith_encoder(shape);
        default: return nullptr;
    }
}

// 517 decodes as plain LZW: the caller undoes the differencing, as it did
// it before encoding.  An `out` smaller than the strip answers -10 with
// `out` zeroed.
int32_t decode_strip(uint32_t compression, const RowShape& shape, uint32_t rows, const uint8_t* in, size_t n,
                     uint8_t* out, size_t out_size) {
    const bool unpacked = compression == kCompressionArith;
    const bool known = unpacked || compression == kCompressionNone || compression == kCompressionLzw ||
                       compression == kCompressionLzwPredictor || compression == kCompressionPackBits;
    size_t need = 0;
    const size_t row = unpacked ? shape.unpacked_bytes() : shape.packed_bytes();
    if (!known || __builtin_mul_overflow(row, size_t(rows), &need) || need > out_size) {
        if (out_size != 0) std::memset(out, 0, out_size);
        return known ? -10 : -11;
    }
    if (need == 0) return 0;
    if (in == nullptr) n = 0;
    switch (compression) {
        case kCompressionNone: {
            const size_t take = n < need ? n : need;
            if (take != 0) std::memcpy(out, in, take);
            if (take == need) return 0;
            std::memset(out + take, 0, need - take);
            return -10;
        }
        case kCompressionLzw:
        case kCompressionLzwPredictor: return decode_lzw(in, n, out, need);
        case kCompressionPackBits: return decode_packbits(in, n, out, need);
        default: {
            const int32_t rc = decode_arith(shape, rows, in, n, out);
            if (rc == -11 || rc == -2) std::memset(out, 0, need);
            return rc;
        }
    }
}

}  // namespace mvip::tiff
