// Value conversion between data types and bit depths, used by the type
// converter view (and by anything else that must change a pixel format).
//
// Rules:
//  - integer to integer: shift by the difference of significant bits (left
//    when widening, right when narrowing; no rounding);
//  - integer to float: v / maxval mapped linearly onto [low, high];
//  - float to integer: (v - low) / (high - low) x maxval, rounded half away
//    from zero and clipped to [0, maxval]; NaN gives 0, and so does every
//    value of a float format whose range is empty (low == high);
//  - float to float: the value is kept (narrowing rounds to nearest).
// maxval is 2^bits - 1 of the integer side; low and high are the float
// side's range.
#pragma once

#include "core/record.hpp"

#include <cstddef>

namespace mvip::conv {

// One side of a conversion: data type code, significant bits (integers)
// and value range (floats).
struct Side {
    uint32_t type;
    uint32_t bits;
    FloatRange range;
};
Side side_of(const mvpixfmt& fmt);

struct Plan;
using ConvertFn = void (*)(const void* src, void* dst, size_t n, const Plan& plan);

// Packed to 4 bytes so that a plan can live in a view's private state.
#pragma pack(push, 4)
struct Plan {
    ConvertFn fn = nullptr;  // null: no conversion between these types
    uint32_t src_mask = 0;   // integer sources: significant bits kept
    int32_t shift = 0;       // integer to integer: > 0 left, < 0 right
    double scale = 0;        // integer to float: low + v / maxval * scale
    double low = 0;          // float to integer: (v - low) * scale, clipped to maxval
    double maxval = 0;
    void run(const void* src, void* dst, size_t n) const { fn(src, dst, n, *this); }
};
#pragma pack(pop)

// Conversion from `from` to `to`.  With mask_source, integer source values
// are first masked to their significant bits (the source may carry others).
Plan plan(const Side& from, const Side& to, bool mask_source);

// A consistent format for presenting `from` in data type `type`: its pixies
// and colour space; integers with `bits` significant bits (0 or more than
// the container: the container), low-justified (or filling the container),
// clean, in the machine's byte order; floats with from's range when from
// is a float format, else 0..1.  What a caller of the type converter gives
// when it wants only another data type.
mvpixfmt format_as(const mvpixfmt& from, uint32_t type, uint32_t bits);

}  // namespace mvip::conv
