// Value routines of memory-image transfers: copy pixies between the
// image and a caller's buffer, adjusting significant bits and byte order
// on the way.  One template, instantiated per pixie size, adjustment and
// swap placement, and chosen once per access.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "mvip.h"

namespace mvip::mem {

enum class Adjust : uint8_t { none, shift_left, shift_right, mask };

// Where the byte swap happens relative to the adjustment: a value coming
// from a foreign byte order is swapped first, a value going to one last.
enum Swap : uint8_t { swap_none = 0, swap_before = 1, swap_after = 2, swap_both = 3 };

// Copies `groups` groups of `per` pixies each; `dst_step` / `src_step` are
// the byte distances between groups.  When both sides are packed the
// groups are treated as one long run (so the loop vectorizes).
using MoveFn = void (*)(void* dst, ptrdiff_t dst_step, const void* src, ptrdiff_t src_step,
                        size_t groups, size_t per, uint32_t arg);

// Chooses the routine for a pixie size (1, 2, 4, 8 bytes); null for any
// other size.  Only 2- and 4-byte pixies are byte-swapped: swaps of 1-byte
// and 8-byte pixies (doubles) are ignored, so those are copied unchanged.
// Adjustments of 8-byte pixies are not offered (doubles are never
// adjusted).
MoveFn choose_move(uint32_t pixie_bytes, Adjust adjust, Swap swap);

// The value routine and argument for one side of an access to an image
// whose stored form is its pixel format: read side (stored -> caller) or
// write side (caller -> stored).  move is null when no routine serves.
struct SideChoice {
    MoveFn move;
    uint32_t arg;
};
SideChoice choose_side(const mvimage* im, uint32_t request, bool write);
// The same for values stored in format `f` with pixies of `pixie_bytes`.
SideChoice choose_side(const mvpixfmt& f, uint32_t pixie_bytes, uint32_t request, bool write);

}  // namespace mvip::mem
