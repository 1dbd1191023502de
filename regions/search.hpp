// Pixel tests and the line kernels built on them: the search for the next
// (or previous) passing pixel and the binary plane that the region growers
// work on.
//
// Every test code reduces to one form: the value lies inside [lo, hi],
// possibly inverted.  A test that no value can pass is the inverted range
// of every value.  So each kernel has one comparison, whatever the code.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mvip::regions {

// Test codes (documented in mvip.h).
enum TestCode : uint32_t {
    kTestLess = 91,     // p < v
    kTestAtMost = 92,   // p <= v
    kTestEqual = 93,    // p == v
    kTestAtLeast = 94,  // p >= v
    kTestGreater = 95,  // p > v
    kTestInside = 101,  // lo <= p <= hi (v = lo | hi << 16)
    kTestInvert = 0x80, // or-ed in (xor): the opposite test
};

struct PixelTest {
    uint32_t lo = 0, hi = 0;  // inside [lo, hi], lo <= hi <= top
    bool invert = false;
    template <class T>
    bool passes(T p) const {
        return (T(p - T(lo)) <= T(hi - lo)) != invert;
    }
    PixelTest opposite() const { return {lo, hi, !invert}; }
    // A value that fails, if there is one (false: every value passes).
    bool failing_value(uint32_t top, uint32_t& out) const;
};

// The test of a code against a value for values 0 .. top (the container's
// maximum).  Range codes take the low bound from the value's low 16 bits
// and the high bound from its high 16 bits.  False for an unknown code.
bool make_test(uint32_t code, uint32_t value, uint32_t top, PixelTest& out);

// Index of the first value in [0, n) of `p` that passes, or n.  Chosen by
// the processor (u8 has vector forms); the `_plain` forms are their twins.
size_t find_u8(const uint8_t* p, size_t n, const PixelTest& t);
size_t find_u16(const uint16_t* p, size_t n, const PixelTest& t);
size_t find_u8_plain(const uint8_t* p, size_t n, const PixelTest& t);
// Index of the last value in [0, n) that passes, or n when none does.
size_t rfind_u8(const uint8_t* p, size_t n, const PixelTest& t);
size_t rfind_u16(const uint16_t* p, size_t n, const PixelTest& t);

// out[i] = 1 where in[i] passes, else 0.
void binarize_u8(const uint8_t* in, uint8_t* out, size_t n, const PixelTest& t);
void binarize_u16(const uint16_t* in, uint8_t* out, size_t n, const PixelTest& t);
void binarize_u8_plain(const uint8_t* in, uint8_t* out, size_t n, const PixelTest& t);

// Packs n bytes of 0 and 1 into bits, the first byte into bit 0 of out[0];
// the bits of the last word past n are cleared.
void pack_bits(const uint8_t* in, uint64_t* out, size_t n);
void pack_bits_plain(const uint8_t* in, uint64_t* out, size_t n);

// Sets the values of a line whose bit in `mask` (bit i of word i / 64) is
// set to v.
void store_masked_u8(uint8_t* line, const uint64_t* mask, size_t n, uint8_t v);
void store_masked_u16(uint16_t* line, const uint64_t* mask, size_t n, uint16_t v);
void store_masked_u8_plain(uint8_t* line, const uint64_t* mask, size_t n, uint8_t v);
void store_masked_u16_plain(uint16_t* line, const uint64_t* mask, size_t n, uint16_t v);

}  // namespace mvip::regions
