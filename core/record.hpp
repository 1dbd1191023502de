// Internal helpers shared by every kind of image: kind tags, private-state
// overlays, pixel-format facts, window checks and run lengths.
#pragma once

#include "mvip.h"

#include <cstdint>
#include <algorithm>
#include <cstring>
#include <type_traits>

namespace mvip {

// ---- kind tags -------------------------------------------------------

inline void set_kind(mvimage* im, const char* tag) {
    std::memset(im->kind, 0, sizeof im->kind);
    std::memcpy(im->kind, tag, std::min<size_t>(std::strlen(tag), sizeof im->kind));
}
inline bool is_kind(const mvimage* im, const char* tag) {
    char want[8] = {};
    std::memcpy(want, tag, std::min<size_t>(std::strlen(tag), sizeof want));
    return std::memcmp(im->kind, want, sizeof want) == 0;
}

// A 2-D and a 3-D record share one layout; kinds that serve both view the
// same storage through either type.
inline mvimage3* as3(mvimage* im) { return reinterpret_cast<mvimage3*>(im); }
inline mvimage* as2(mvimage3* im) { return reinterpret_cast<mvimage*>(im); }

// ---- private state ----------------------------------------------------

// Each kind lays a struct over the record's state words.  The struct must
// fit, and must not need more than the record's 4-byte alignment.
template <class State>
State& state_of(mvimage* im) {
    static_assert(sizeof(State) <= sizeof(im->state), "private state too large");
    static_assert(alignof(State) <= 4, "private state must be 4-byte packed");
    static_assert(std::is_trivially_copyable_v<State>);
    return *reinterpret_cast<State*>(im->state);
}
template <class State>
const State& state_of(const mvimage* im) {
    return state_of<State>(const_cast<mvimage*>(im));
}

// ---- pixel formats ----------------------------------------------------

constexpr uint32_t type_of(uint32_t datatype) { return datatype & 0xFFu; }
uint32_t pixie_bytes(uint32_t datatype);  // 0 for an invalid type
inline bool is_float_type(uint32_t datatype) { return (type_of(datatype) & 0x30u) != 0; }
inline bool is_int_type(uint32_t datatype) { return (type_of(datatype) & 0x0Fu) != 0; }

// Recompute pixiesize, pixelsize and typeclass from the format.
void derive_sizes(mvimage* im);

// Value range of a float or double image: low is valflags, high is valform,
// both read as 32-bit floats (a fresh image ranges 0.0 to 1.0).
struct FloatRange { float low, high; };
FloatRange float_range(const mvpixfmt& fmt);

// ---- pixie masks ------------------------------------------------------

// A mask must be one contiguous run of set bits inside the pixie count.
struct PixieSelection { uint32_t first, count; };
// false for a zero, non-contiguous or too wide mask.
bool parse_mask(uint32_t mask, uint32_t pixies, PixieSelection& out);
inline uint32_t all_pixies_mask(uint32_t pixies) {
    return pixies >= 32 ? 0xFFFFFFFFu : ((1u << pixies) - 1u);
}

// ---- windows and run lengths ------------------------------------------

// The window rules shared by every kind: imdim.nw >= 0, imdim.se >= nw,
// wind inside imdim, wind.nw >= 0 and wind.se >= wind.nw.
bool window_valid_2d(const mvimage* im);
bool window_valid_3d(const mvimage3* im);

inline uint32_t wind_width(const mvimage* im) {
    return uint32_t(im->wind.se.x) - uint32_t(im->wind.nw.x);
}
inline uint32_t wind_height(const mvimage* im) {
    return uint32_t(im->wind.se.y) - uint32_t(im->wind.nw.y);
}

inline uint32_t wind_width(const mvimage3* im) {
    return uint32_t(im->wind.se.x) - uint32_t(im->wind.nw.x);
}
inline uint32_t wind_height(const mvimage3* im) {
    return uint32_t(im->wind.se.y) - uint32_t(im->wind.nw.y);
}
inline uint32_t wind_depth(const mvimage3* im) {
    return uint32_t(im->wind.se.z) - uint32_t(im->wind.nw.z);
}

// A window in three axes (x, y, z): its first pixel and its extents.  A
// 2-D window is a box one plane deep.
struct Box {
    int32_t nw[3];
    uint32_t ext[3];
};
inline Box box_of(const mvimage* im) {
    return {{im->wind.nw.x, im->wind.nw.y, 0}, {wind_width(im), wind_height(im), 1}};
}
inline Box box_of(const mvimage3* im) {
    return {{im->wind.nw.x, im->wind.nw.y, im->wind.nw.z},
            {wind_width(im), wind_height(im), wind_depth(im)}};
}
inline bool inside(const Box& b, const int32_t pos[3]) {
    return uint32_t(pos[0]) < b.ext[0] && uint32_t(pos[1]) < b.ext[1] && uint32_t(pos[2]) < b.ext[2];
}

// The order in which a scan mode visits a box: runs step along axis[0],
// continue (bit 0x0040) along axis[1] and then axis[2].  x-major (no scan
// bit): x, y, z; y-major (0x0002): y, x, z; z-major (0x0004): z, x, y.
struct ScanOrder {
    uint8_t axis[3];
};
constexpr ScanOrder scan_order(uint32_t mode) {
    if (mode & MVMODE_ZSCAN) return {{2, 0, 1}};
    if (mode & MVMODE_YSCAN) return {{1, 0, 2}};
    return {{0, 1, 2}};
}

// Pixels available from window-relative `pos` in a box of extents `ext` by
// the scan bits, 0x0040 and 0x2000 of `mode`: the rest of the line along
// the scan axis, or with 0x0040 the rest of the box in scan order.  With
// checking (0x2000 clear) a start outside the box yields 0.  Arithmetic is
// unsigned 32-bit: ((d - z - 1) h + (h - y) - 1) w + (w - x) for an x-major
// continuing run, and likewise along the other orders.
uint32_t run_length(uint32_t mode, const uint32_t ext[3], const int32_t pos[3]);

// The 2-D case (z-scan bits ignored).
uint32_t run_length_2d(uint32_t mode, uint32_t w, uint32_t h, int32_t x, int32_t y);

// ---- no-op slots ------------------------------------------------------

// Slots that move nothing, for null images, failed windows and idle state.
namespace noop {
uint32_t io(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t);
int32_t wait(mvimage*);                 // answers 1
int32_t set(mvimage*, uint32_t, uint32_t, uint32_t);  // answers 0
uint32_t len(mvimage*, uint32_t, int32_t, int32_t);
int32_t bxtp(mvimage*, int32_t, mvbxtentry*, uint32_t);
uint32_t bxta(mvimage*, int32_t, void*, mvbxtentry*, uint32_t, int32_t);
int32_t imapset(mvimage*, uint32_t, uint32_t, uint32_t);  // answers -11
int32_t imap(mvimage*, mvmapdesc*, int32_t, int32_t);
int32_t imapr(mvimage*, mvmapdesc*);

uint32_t io3(mvimage3*, uint32_t, void*, uint32_t, int32_t, int32_t, int32_t);
int32_t wait3(mvimage3*);
int32_t set3(mvimage3*, uint32_t, uint32_t, uint32_t);
uint32_t len3(mvimage3*, uint32_t, int32_t, int32_t, int32_t);
int32_t bxtp3(mvimage3*, int32_t, mvbxtentry*, uint32_t);
uint32_t bxta3(mvimage3*, int32_t, void*, mvbxtentry*, uint32_t, int32_t);
int32_t imapset3(mvimage3*, uint32_t, uint32_t, uint32_t);
int32_t imap3(mvimage3*, mvmapdesc*, int32_t, int32_t, int32_t);
int32_t imapr3(mvimage3*, mvmapdesc*);
}  // namespace noop

// Every access slot except aeiou and xwind becomes a no-op.
void set_noop_slots(mvimage* im);
void set_noop_slots3(mvimage3* im);

// Idle state after a successful window set: transfers are no-ops, the
// three set-up slots are the kind's own.
void set_idle_slots(mvimage* im, mvslot_set ioset, mvslot_set bxts, mvslot_set imapset);
void set_idle_slots3(mvimage3* im, mvslot3_set ioset, mvslot3_set bxts, mvslot3_set imapset);

// ---- companion frame-grabber sizing -----------------------------------

// Answers the transfer length to use for an image given the requested
// length; zero means failure.  The frame-grabber library is not part of
// this build, so the requested length is always granted.
uint64_t image_sizing(const mvimage* im, uint64_t requested);
uint64_t image3_sizing(const mvimage3* im, uint64_t requested);

}  // namespace mvip
