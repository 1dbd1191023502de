// What every view shares: the parent reference, the follow-window rule,
// the copied description and the layered inquiry answer.
#pragma once

#include "core/record.hpp"

namespace mvip::view {

// First member of every view's private state.
#pragma pack(push, 4)
struct ViewHead {
    int64_t parent_ref;  // parent address, or -128..-1: index relative to the view
    uint8_t follow;      // non-zero: the view shares the parent's window
    uint8_t reserved[3];
    uint32_t map_mode;   // scan mode of the current mapping (forwarded mappings)
    uint32_t run_mode;   // scan mode of the current run access
    uint32_t sel_count;  // pixies per caller pixel in the current run access
};
#pragma pack(pop)

// Resolves a parent reference: -128..-1 designate the record at position
// (ref + 65) from the view in an array of records; anything else is an
// address.
mvimage* resolve(mvimage* view, int64_t ref);
inline int64_t reference_of(const mvimage* parent) {
    return static_cast<int64_t>(reinterpret_cast<intptr_t>(parent));
}

inline mvimage3* resolve(mvimage3* view, int64_t ref) { return as3(resolve(as2(view), ref)); }
inline int64_t reference_of(const mvimage3* parent) {
    return static_cast<int64_t>(reinterpret_cast<intptr_t>(parent));
}

template <class State>
mvimage* parent_of(mvimage* view) {
    static_assert(offsetof(State, head) == 0);
    return resolve(view, state_of<State>(view).head.parent_ref);
}

// Limits the nesting of set-up calls that go from view to parent, so that
// a cycle of views answers an error instead of exhausting the stack.
class NestingGuard {
public:
    NestingGuard();
    ~NestingGuard();
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;
    bool too_deep() const;
};
constexpr int32_t kSelfParent = MVERR_LOGIC;  // -5

// Snapshot of what a view copies from its parent when it is built.
struct ParentDescription {
    mvywindow wind, imdim;
    mvpixfmt pixfmt;
    mvgeometry geometry;
};
ParentDescription describe(const mvimage* parent);

// The same for a 3-D parent.
struct ParentDescription3 {
    mvyzwindow wind, imdim;
    mvpixfmt pixfmt;
    mvgeometry geometry;
};
ParentDescription3 describe(const mvimage3* parent);

// Clears the view and fills dimensions, window, format and geometry by the
// follow-window rule: following, the view takes the parent's dimensions and
// window; otherwise its image is the parent's window.
void fill_description(mvimage* view, const ParentDescription& d, bool follow);

void fill_description(mvimage3* view, const ParentDescription3& d, bool follow);

// Offset added to window-relative coordinates on their way to the parent:
// the view's own window corner unless the view follows the parent's window.
inline mvpoint parent_offset(const mvimage* view, bool follow) {
    return follow ? mvpoint{0, 0} : view->wind.nw;
}

// The layered answer to 'b', 'i', 'm': the parent's answer with its low
// byte (the count of access layers) increased, saturating at 255, and the
// view's own flag bits added.
uint32_t layered(uint32_t parent_answer, uint32_t flag);

// Window setting shared by the views: copy (or take imdim), check, and on
// failure zero the window and make the slots no-ops.  Returns true when the
// window is valid.
bool set_own_window(mvimage* view, const mvywindow* w);
bool set_own_window(mvimage3* view, const mvyzwindow* w);

// Access flags handed to a parent: the byte-order flag is the view's own.
constexpr uint32_t parent_flags(uint32_t flags) { return flags & ~MVREQ_SWAPPED; }

// Walks a run of n pixels from window-relative (x, y) in chunks of at most
// `limit` pixels.  A chunk stays within one line (x-scan) or column
// (y-scan) unless `across` allows it to go on into the next one.
// `move(x, y, k)` moves one chunk and answers the pixels it moved; the walk
// stops early when that is fewer than asked.  Answers the pixels moved.
template <class Move>
uint32_t walk_run(uint32_t n, uint32_t x, uint32_t y, uint32_t w, uint32_t h, bool yscan,
                  bool across, uint32_t limit, Move&& move) {
    uint32_t done = 0;
    const uint32_t major = yscan ? h : w;
    while (done < n) {
        uint32_t k = std::min(n - done, limit);
        if (!across) k = std::min(k, major - (yscan ? y : x));
        const uint32_t moved = move(x, y, k);
        done += moved;
        if (moved < k) break;
        // Next position in scan order.
        uint64_t along = uint64_t{yscan ? y : x} + k;
        const uint64_t lines = along / major;
        along %= major;
        if (yscan) {
            y = static_cast<uint32_t>(along);
            x += static_cast<uint32_t>(lines);
        } else {
            x = static_cast<uint32_t>(along);
            y += static_cast<uint32_t>(lines);
        }
    }
    return done;
}

inline bool prepares(int32_t operation) { return static_cast<int8_t>(operation & 0xFF) < 0; }

}  // namespace mvip::view
