// The fixed tables of the JPEG codec: the zig-zag order, the base
// quantisation tables and their quality scaling, the standard Huffman
// tables, and the builder of optimal Huffman tables from symbol counts.
#pragma once

#include <cstdint>

namespace mvip::files::jpeg {

// Zig-zag position -> natural (row-major) index of an 8 x 8 block.
extern const uint8_t kZigzag[64];

// The base luminance and chrominance quantisation tables, natural order.
extern const uint8_t kLumaQuant[64];
extern const uint8_t kChromaQuant[64];

// A Huffman table as a file states it: the number of codes of each length
// 1 .. 16 and the symbols in code order.
struct HuffTable {
    uint8_t counts[16] = {};
    uint8_t symbols[256] = {};
    uint32_t size() const {
        uint32_t n = 0;
        for (uint8_t c : counts) n += c;
        return n;
    }
};

// The standard tables for 8-bit samples (DC and AC, luminance and
// chrominance).
extern const HuffTable kDcLuma, kAcLuma, kDcChroma, kAcChroma;

// Quality scaling: q = quality_tenths / 10 (capped at 100), or 50 when no
// parameter record was given; factor 5000 for q < 1, 200 - 2q from 50 on,
// else 5000 / q; each entry (base * factor + 50) / 100 clamped to 1 .. 255.
void scale_quant(const uint8_t base[64], uint32_t quality_tenths, bool have_record, uint16_t out[64]);

// The optimal table for the given symbol counts with codes of at most 16
// bits, none of them all ones.  Symbols with count 0 get no code; when no
// symbol is counted, symbol 0 gets one so that the table is not empty.
HuffTable build_table(const uint32_t counts[256]);

}  // namespace mvip::files::jpeg
