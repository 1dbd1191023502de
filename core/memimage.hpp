// The memory image ("MVIMMEM"): private state and the entry points its
// sources share.
#pragma once

#include "core/memvalue.hpp"
#include "core/record.hpp"

namespace mvip::mem {

constexpr uint32_t kHeapRecordMark = 0x32434D4Du;  // records from memmalloc2

#pragma pack(push, 4)
struct MemState {
    int64_t pitch;          // bytes from one line to the next (negative: bottom-up)
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

// Byte offset of window-relative (x, y) from priv (first pixie).
inline int64_t pixel_offset(const mvimage* im, const MemState& st, int64_t x, int64_t y) {
    return (im->wind.nw.x + x) * static_cast<int64_t>(im->pixelsize) +
           (im->wind.nw.y + y) * st.pitch;
}

int32_t ioset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask);
int32_t bxts(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask);
int32_t imapset(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask);

}  // namespace mvip::mem
