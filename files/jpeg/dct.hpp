// The 8 x 8 transforms of the codec in single-precision float, a separable
// eight-point factorisation (few multiplications) whose loops run over the
// eight columns at once so that the compiler vectorises them.  Each has a
// plain form and an AVX2 form (the same source compiled for AVX2, without
// fused multiply-add, so both give the same bits); the coder picks one per
// call from the processor.
//
// Coefficients are held transposed: index u * 8 + v holds the coefficient
// of horizontal frequency u and vertical frequency v (natural index
// v * 8 + u).  The scale factors of the factorisation are folded into the
// quantiser and dequantiser tables made here.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mvip::files::jpeg {

// Natural index -> transposed index.
inline constexpr uint8_t transposed(uint32_t natural) { return uint8_t((natural % 8) * 8 + natural / 8); }

// Multipliers that turn the forward transform's output into quantised
// values (1 / (table entry x scale)), transposed order, from a table in
// natural order.
void forward_multipliers(const uint16_t table[64], float out[64]);
// Multipliers that turn quantised values into the inverse transform's
// input, transposed order, from a table in natural order.
void inverse_multipliers(const uint16_t table[64], float out[64]);

// Forward transform and quantisation of one block: `samples` are 8 rows
// of 8 level-shifted values at `stride` floats apart; out receives the
// quantised values in transposed order, rounded half away from zero and
// clamped to -limit .. limit.
using ForwardFn = void (*)(const float* samples, size_t stride, const float mult[64], float limit, int32_t out[64]);
// Inverse transform of one block of quantised values (transposed order):
// out receives 8 rows of 8 samples at `stride` apart, level shift (half
// of top + 1) added, rounded and clamped to 0 .. top.  The block is left
// all zero, ready for the next one (the decoder writes only the non-zero
// values).
using InverseU8Fn = void (*)(int32_t in[64], const float mult[64], uint8_t* out, size_t stride);
using InverseU16Fn = void (*)(int32_t in[64], const float mult[64], uint16_t* out, size_t stride,
                              uint32_t top);

// The forms for the processor the library runs on.
ForwardFn forward_transform();
InverseU8Fn inverse_transform_u8();
InverseU16Fn inverse_transform_u16();

// The plain forms, for the tests that hold the vector forms to them.
ForwardFn forward_transform_plain();
InverseU8Fn inverse_transform_u8_plain();
InverseU16Fn inverse_transform_u16_plain();

}  // namespace mvip::files::jpeg
