// The memory images ("MVIMMEM" and the 3-D "MVIMMEM3"): private state and
// the entry points their sources share.  Both kinds keep the same state and
// run the same transfer code; a 2-D image is a box one plane deep.
#pragma once

#include "core/memvalue.hpp"
#include "core/record.hpp"

namespace mvip::mem {

constexpr uint32_t kHeapRecordMark = 0x32434D4Du;  // records from memmalloc2

#pragma pack(push, 4)
struct MemState {
    int64_t pitch;          // bytes from one line to the next (negative: bottom-up)
    int64_t plane_pitch;    // 3-D: bytes from one plane to the next
    uint32_t inquiry_size;  // aeiou answers it plus 1 for 'b', 'i', 'm'
    uint32_t heap_mark;     // kHeapRecordMark when the record came from memmalloc2

    // Current run transfer (ioset).
    uint32_t mode;          // scan mode bits used by the run-length rules
    uint32_t sel_count;     // pixies selected by the mask
    uint32_t sel_offset;    // byte offset of the first selected pixie
    MoveFn read_move;       // stored form -> caller form
    MoveFn write_move;      // caller form -> stored form
    uint32_t read_arg, write_arg;

    // Direct mapping (imapset).
    uint32_t map_mode;
    int64_t map_stride;

    // Scattered transfers (bxts).
    uint32_t bxt_count;
    uint32_t bxt_offset;
    MoveFn bxt_read_move;
    MoveFn bxt_write_move;
    uint32_t bxt_read_arg, bxt_write_arg;
    uint32_t bxt_type;      // data type chosen by bxts (4 for 8)
};
#pragma pack(pop)

inline MemState& state(mvimage* im) { return state_of<MemState>(im); }
inline MemState& state(mvimage3* im) { return state_of<MemState>(as2(im)); }

// Byte distances between neighbours along x, y and z.  Only the fields
// that 2-D and 3-D records share are read (not the window), so a 3-D record
// may be passed through as2().
inline void axis_steps(const mvimage* im, const MemState& st, int64_t step[3]) {
    step[0] = im->pixelsize;
    step[1] = st.pitch;
    step[2] = st.plane_pitch;
}

// Byte offset of window-relative (x, y, z) in the window `box` from priv.
inline int64_t pixel_offset(const mvimage* im, const MemState& st, const Box& box,
                            const int32_t pos[3]) {
    int64_t step[3];
    axis_steps(im, st, step);
    int64_t off = 0;
    for (int a = 0; a < 3; ++a) off += (int64_t{box.nw[a]} + pos[a]) * step[a];
    return off;
}

// A run laid out in memory: axes in scan order, each with its extent, the
// run's position on it and the byte step along it.  Axes whose pixels
// follow each other in memory are folded into one, so that a run over
// whole packed lines (or planes) is a single stretch.
struct RunLayout {
    uint64_t ext[3];
    uint64_t pos[3];
    int64_t step[3];
};
RunLayout run_layout(const mvimage* im, const MemState& st, const Box& box, uint32_t mode,
                     const int32_t pos[3]);

// The slots of both kinds (2-D names take mvimage, 3-D ones mvimage3).
int32_t ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask);
int32_t bxts(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask);
int32_t imapset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask);
int32_t ioset3(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask);
int32_t bxts3(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask);
int32_t imapset3(mvimage3* im, uint32_t mode, uint32_t type, uint32_t mask);

// Inquiries, shared by both kinds.
uint32_t aeiou(mvimage* im, uint32_t code, intptr_t, intptr_t);

// Pieces the constructors of both kinds share.
constexpr uint32_t kDefaultInquirySize = 512;
mvpixfmt format_of(uint32_t datatype, uint32_t bits, uint32_t pixies, uint32_t colorspace);
// Dimensions 1 .. 2^31 - 1 each.
bool dims_usable(const uint32_t* dims, int n);
// Bytes of n dimensions times a pixel size, each product formed in double
// precision and checked against 2^64 (and the address space); 0 when it
// does not fit or the pixel size is 0.
uint64_t guarded_size(const uint32_t* dims, int n, uint32_t pixelsize);

}  // namespace mvip::mem
