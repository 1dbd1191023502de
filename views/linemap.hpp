// Views that show each of their lines as some line of the parent: the
// vertical inversion view and the field view.  One template serves both;
// a policy names the kind and maps a view line to a parent line.
#pragma once

#include "views/view.hpp"

#include <bit>

namespace mvip::view {

#pragma pack(push, 4)
struct LineState {
    ViewHead head;
    uint32_t mode;         // scan mode of the current run access
    uint32_t pixel_bytes;  // bytes of one caller pixel of the current access
    uint32_t field;        // field view: 0 even lines, 1 odd lines
    uint32_t map_mode;     // mode of the current mapping
};
#pragma pack(pop)

// The exported routines a kind of line view installs (mvim<kind>_*), each
// a thin C function over the LineView member of the same name.
struct LineSlots {
    mvslot_io read_x, read_y, write_x, write_y;
    mvslot_len iolen;
    mvslot_set ioset, bxts;
    mvslot_bxtp bxtp;
    mvslot_bxta bxta;
    mvslot_wait bxtw;
    mvslot_set imapset;
    mvslot_imap imap;
    mvslot_imapr imapr;
    mvslot_aeiou aeiou;
    mvslot_xwind xwind;
};

template <class Policy>
struct LineView {
    static constexpr const LineSlots& slots = Policy::kSlots;

    static LineState& st(mvimage* v) { return state_of<LineState>(v); }
    static mvimage* parent(mvimage* v) { return parent_of<LineState>(v); }

    // Parent coordinates of window-relative (x, y); (-1, -1) for a point
    // outside the view's window, which every image treats as outside.
    static mvpoint to_parent(mvimage* v, int32_t x, int32_t y) {
        if (static_cast<uint32_t>(x) >= wind_width(v) || static_cast<uint32_t>(y) >= wind_height(v))
            return {-1, -1};
        const mvpoint off = parent_offset(v, st(v).head.follow);
        return {x + off.x, Policy::line(v, st(v), off.y + y)};
    }

    template <bool Write, bool YScan>
    static uint32_t io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x,
                       int32_t y) {
        mvimage* p = parent(v);
        const LineState& s = st(v);
        const uint32_t w = wind_width(v), h = wind_height(v);
        if (p == v || !buffer || static_cast<uint32_t>(x) >= w || static_cast<uint32_t>(y) >= h)
            return 0;
        const uint32_t n = std::min(count, run_length_2d(s.mode & ~MVMODE_NOCHECK, w, h, x, y));
        auto* buf = static_cast<unsigned char*>(buffer);
        uint32_t done = 0, cx = static_cast<uint32_t>(x), cy = static_cast<uint32_t>(y);
        while (done < n) {
            // Along a line the parent's pixels are contiguous; down a column
            // they are not, so y-scans move one pixel per parent call.
            const uint32_t seg = YScan ? 1u : std::min(n - done, w - cx);
            const mvpoint at = to_parent(v, static_cast<int32_t>(cx), static_cast<int32_t>(cy));
            const uint32_t moved = Write ? p->iorite(p, parent_flags(flags), buf, seg, at.x, at.y)
                                         : p->ioread(p, parent_flags(flags), buf, seg, at.x, at.y);
            done += moved;
            buf += size_t{moved} * s.pixel_bytes;
            if (moved < seg) break;
            if constexpr (YScan) {
                if (++cy == h) {
                    cy = 0;
                    ++cx;
                }
            } else {
                cx = 0;
                ++cy;
            }
        }
        return done;
    }

    static uint32_t iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
        const uint32_t n = std::min(
            count, run_length_2d(st(v).mode, wind_width(v), wind_height(v), x, y));
        if constexpr (Policy::kParentLength) {
            mvimage* p = parent(v);
            const mvpoint at = to_parent(v, x, y);
            return std::min(n, p->iolen(p, n, at.x, at.y));
        }
        return n;
    }

    static int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
        v->ioread = noop::ioread;
        v->iorite = noop::iorite;
        v->iolen = noop::iolen;
        mvimage* p = parent(v);
        NestingGuard guard;
        if (p == v || guard.too_deep()) return kSelfParent;
        mode &= ~MVMODE_WRITE;
        if ((mode & MVMODE_ZSCAN) || (mode & (MVMODE_YSCAN | MVMODE_ZSCAN)) > MVMODE_YSCAN)
            return MVERR_UNSUPPORTED;
        LineState& s = st(v);
        s.mode = mode;
        s.pixel_bytes = static_cast<uint32_t>(std::popcount(mask)) * v->pixiesize;
        const int32_t rc = p->ioset(p, mode, type, mask);
        if (rc < 0) return rc;
        const bool y = (mode & MVMODE_YSCAN) != 0;
        v->ioread = y ? slots.read_y : slots.read_x;
        v->iorite = y ? slots.write_y : slots.write_x;
        v->iolen = slots.iolen;
        return rc;
    }

    static int32_t bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
        mvimage* p = parent(v);
        NestingGuard guard;
        if (p == v || guard.too_deep()) return kSelfParent;
        return p->bxts(p, mode, type, mask);
    }

    static int32_t bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n) {
        mvimage* p = parent(v);
        if (!prepares(operation) || !list || p == v) return operation;
        for (uint32_t i = 0; i < n; ++i) {
            const mvpoint at = to_parent(v, list[i].x, list[i].y);
            list[i].x = at.x;
            list[i].y = at.y;
        }
        return p->bxtp(p, operation, list, n);
    }

    static uint32_t bxta(mvimage* v, int32_t operation, void* buffer, mvbxtentry* list,
                         uint32_t n, int32_t code) {
        mvimage* p = parent(v);
        if (p == v) return 0;
        if (prepares(operation)) bxtp(v, operation, list, n);
        return p->bxta(p, operation & ~0x80, buffer, list, n, code);
    }

    static int32_t bxtw(mvimage* v) {
        mvimage* p = parent(v);
        return p == v ? 1 : p->bxtw(p);
    }

    // Lines map to whole parent lines, so a mapped line is the parent's
    // mapped line; columns and runs across lines do not map.
    static int32_t imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
        v->imap = noop::imap;
        v->imapr = noop::imapr;
        mvimage* p = parent(v);
        NestingGuard guard;
        if (p == v || guard.too_deep()) return kSelfParent;
        if (mode & MVMODE_ZSCAN) return MVERR_USAGE;
        if (mode & MVMODE_YSCAN) return MVERR_UNSUPPORTED;
        mode &= ~(MVMODE_CONTINUE | MVMODE_WRITE);
        const int32_t rc = p->imapset(p, mode, type, mask);
        if (rc < 0) return rc;
        st(v).map_mode = mode;
        v->imap = slots.imap;
        v->imapr = slots.imapr;
        return MVMAP_GRANT;
    }

    static int32_t imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y) {
        if (!desc) return 0;
        mvimage* p = parent(v);
        const uint32_t n = run_length_2d(st(v).map_mode & ~MVMODE_NOCHECK, wind_width(v),
                                         wind_height(v), x, y);
        if (n == 0 || p == v) {
            desc->runs = 0;
            return 0;
        }
        const mvpoint at = to_parent(v, x, y);
        const int32_t rc = p->imap(p, desc, at.x, at.y);
        if (rc == 1 && desc->count > n) desc->count = n;
        return rc;
    }

    static int32_t imapr(mvimage* v, mvmapdesc* desc) {
        mvimage* p = parent(v);
        if (p == v) {
            if (desc) desc->runs = 0;
            return 0;
        }
        return p->imapr(p, desc);
    }

    static uint32_t aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
        mvimage* p = parent(v);
        NestingGuard guard;
        if (p == v || guard.too_deep()) return 0;
        const uint32_t answer = p->aeiou(p, code, arg1, arg2);
        if (code == 'b' || code == 'i' || code == 'm') return layered(answer, Policy::kFlag);
        return answer;
    }

    static mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
        switch (code) {
            case 's': {
                if (!set_own_window(v, w)) return nullptr;
                mvimage* p = parent(v);
                NestingGuard guard;
                if (st(v).head.follow && p != v && !guard.too_deep())
                    p->xwind(p, &v->wind, 's');
                set_noop_slots(v);
                v->ioset = slots.ioset;
                v->bxts = slots.bxts;
                v->bxtp = slots.bxtp;
                v->bxta = slots.bxta;
                v->bxtw = slots.bxtw;
                v->imapset = slots.imapset;
                v->imap = slots.imap;
                v->imapr = slots.imapr;
                return &v->wind;
            }
            case 'w':
                if (w) *w = v->wind;
                return &v->wind;
            case 'i':
                if (w) *w = v->imdim;
                return &v->imdim;
            default: return nullptr;
        }
    }

    static int32_t build(mvimage* v, mvimage* parent_ref, uint8_t follow, uint32_t field) {
        if (!v) return MVERR_USAGE;
        const int64_t ref = reference_of(parent_ref);
        mvimage* p = resolve(v, ref);
        if (!p) {
            mvimage_defnull(v);
            return MVERR_USAGE;
        }
        const ParentDescription d = describe(v, p);
        // A self-parent view has no lines to check the field against.
        const int32_t height = p == v ? INT32_MAX : follow ? d.imdim.se.y : d.wind.se.y - d.wind.nw.y;
        if (!Policy::accepts(height, field)) {
            mvimage_defnull(v);
            return MVERR_USAGE;
        }
        fill_description(v, d, follow != 0);
        set_kind(v, Policy::kKind);
        v->aeiou = slots.aeiou;
        v->xwind = slots.xwind;
        LineState& s = st(v);
        s.head.parent_ref = ref;
        s.head.follow = follow;
        s.field = field;
        v->xwind(v, &v->wind, 's');
        return 0;
    }
};

}  // namespace mvip::view
