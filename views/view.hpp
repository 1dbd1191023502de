// What every view shares: the parent reference, the follow-window rule,
// the copied description and the layered inquiry answer.
#pragma once

#include <type_traits>

#include "core/bxtcode.hpp"
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
inline mvimage* resolve(mvimage* view, int64_t ref) {
    if (ref >= -128 && ref <= -1) {
        // Records of one array: -64 the next, -66 the previous, -65 itself.
        const intptr_t base = reinterpret_cast<intptr_t>(view);
        return reinterpret_cast<mvimage*>(base + static_cast<intptr_t>(ref + 65) *
                                                     static_cast<intptr_t>(sizeof(mvimage)));
    }
    return reinterpret_cast<mvimage*>(static_cast<intptr_t>(ref));
}
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
// A view whose reference designates itself has no parent to describe, and
// its record may hold anything before it is built: nothing is read from it
// and the description is empty (no pixels, no format).  Such a view is
// built all the same, so that its set-up slots can answer -5.
ParentDescription describe(const mvimage* view, const mvimage* parent);

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

// The window inquiries every view answers alike: 'w' its window, 'i' its
// image dimensions (copied into *w when w is given); other codes null.
template <class Record, class Window>
Window* window_inquiry(Record* v, Window* w, int32_t code) {
    Window* answer = code == 'w' ? &v->wind : code == 'i' ? &v->imdim : nullptr;
    if (answer && w) *w = *answer;
    return answer;
}

// True when a request (type with flags) suits a view's stored form as a
// direct mapping would: same data type; for integers not filling their
// container, a named justification the format has, the tolerance of
// unused bits on both sides, and the same byte order.
bool request_suits_mapping(const mvpixfmt& f, uint32_t type);

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

using bxt::prepares;

// ---- views that forward to one parent of either dimension -------------------
// The dimension views reach their parent through `ParentOf(view)`, which may
// give a record of the other dimension; a view that is its own parent
// forwards nothing.

template <class V, class P>
bool same_record(const V* v, const P* p) {
    return static_cast<const void*>(v) == static_cast<const void*>(p);
}

// Scattered values: the view's own `Prepare` (its bxtp) puts a list that
// asks for preparation into the parent's coordinates; the parent moves them.
template <auto ParentOf, auto Prepare, class V>
uint32_t bxta_through_parent(V* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
                             int32_t code) {
    auto* p = ParentOf(v);
    if (same_record(v, p)) return 0;
    if (prepares(operation)) Prepare(v, operation, list, n);
    return p->bxta(p, operation & ~0x80, buffer, list, n, code);
}

// Inquiries: the parent's answer, one access layer more for 'b', 'i', 'm'.
template <auto ParentOf, class V>
uint32_t aeiou_of_parent(V* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    auto* p = ParentOf(v);
    NestingGuard guard;
    if (same_record(v, p) || guard.too_deep()) return 0;
    const uint32_t answer = p->aeiou(p, code, arg1, arg2);
    return (code == 'b' || code == 'i' || code == 'm') ? layered(answer, 0) : answer;
}

template <auto ParentOf, class V>
int32_t bxtw_of_parent(V* v) {
    auto* p = ParentOf(v);
    return same_record(v, p) ? 1 : p->bxtw(p);
}

template <auto ParentOf, class V>
int32_t imapr_of_parent(V* v, mvmapdesc* desc) {
    auto* p = ParentOf(v);
    if (same_record(v, p)) {
        if (desc) desc->runs = 0;
        return 0;
    }
    return p->imapr(p, desc);
}

// Scattered set-up: the view's transfers are no-ops until the parent
// accepts the request; then they become the view's given routines.
template <auto ParentOf, class V, class Bxtp, class Bxta, class Wait>
int32_t bxts_on_parent(V* v, uint32_t mode, uint32_t type, uint32_t mask, Bxtp bxtp, Bxta bxta,
                       Wait bxtw) {
    if constexpr (std::is_same_v<V, mvimage3>) {
        v->bxtp = noop::bxtp3;
        v->bxta = noop::bxta3;
    } else {
        v->bxtp = noop::bxtp;
        v->bxta = noop::bxta;
    }
    auto* p = ParentOf(v);
    NestingGuard guard;
    if (same_record(v, p) || guard.too_deep()) return kSelfParent;
    const int32_t rc = p->bxts(p, mode, type, mask);
    if (rc < 0) return rc;
    v->bxtp = bxtp;
    v->bxta = bxta;
    v->bxtw = bxtw;
    return rc;
}

// Prepares scattered entries on a 3-D parent: `place(entry, at)` gives the
// parent coordinates of an entry (false: outside the view, and the parent
// gets (-1, -1, -1)).  A 3-D parent reads an entry's third word as z, so the
// caller's third words are kept aside and put back once the parent has
// stored its offsets in the first two.
template <class Place>
void prepare_on_parent3(mvimage3* parent, int32_t operation, mvbxtentry* list, uint32_t n,
                        Place&& place) {
    constexpr uint32_t kChunk = 256;
    uint32_t kept[kChunk];
    for (uint32_t done = 0; done < n; done += kChunk) {
        const uint32_t k = std::min(kChunk, n - done);
        mvbxtentry* e = list + done;
        for (uint32_t i = 0; i < k; ++i) {
            kept[i] = e[i].tag;
            int32_t at[3];
            if (!place(e[i], at)) at[0] = at[1] = at[2] = -1;
            e[i] = mvbxtentry{at[0], at[1], static_cast<uint32_t>(at[2])};
        }
        parent->bxtp(parent, operation, e, k);
        for (uint32_t i = 0; i < k; ++i) e[i].tag = kept[i];
    }
}

}  // namespace mvip::view
