// Forwarding slots of the offset views.
#include "views/forward.hpp"

namespace mvip::view {

ViewHead& head_of(mvimage* v) { return *reinterpret_cast<ViewHead*>(v->state); }
mvimage* head_parent(mvimage* v) { return resolve(v, head_of(v).parent_ref); }

mvpoint offset_to_parent(mvimage* v, uint32_t x, uint32_t y) {
    const mvpoint off = parent_offset(v, head_of(v).follow);
    return {static_cast<int32_t>(x) + off.x, static_cast<int32_t>(y) + off.y};
}

bool starts_inside(const mvimage* v, int32_t x, int32_t y) {
    return static_cast<uint32_t>(x) < wind_width(v) && static_cast<uint32_t>(y) < wind_height(v);
}

uint32_t offset_iolen(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return std::min(count, run_length_2d(head_of(v).run_mode, wind_width(v), wind_height(v), x, y));
}

template <bool Write>
uint32_t offset_forward_io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x,
                           int32_t y) {
    mvimage* p = head_parent(v);
    const ViewHead& h = head_of(v);
    if (p == v || !buffer || !starts_inside(v, x, y)) return 0;
    const uint32_t w = wind_width(v), ht = wind_height(v);
    const uint32_t n = std::min(count, run_length_2d(h.run_mode & ~MVMODE_NOCHECK, w, ht, x, y));
    const size_t pixel_bytes = size_t{h.sel_count} * v->pixiesize;
    auto* buf = static_cast<unsigned char*>(buffer);
    const bool yscan = (h.run_mode & MVMODE_YSCAN) != 0;
    return walk_run(n, x, y, w, ht, yscan, h.follow, n, [&](uint32_t cx, uint32_t cy, uint32_t k) {
        const mvpoint at = offset_to_parent(v, cx, cy);
        const uint32_t moved = Write ? p->iorite(p, parent_flags(flags), buf, k, at.x, at.y)
                                     : p->ioread(p, parent_flags(flags), buf, k, at.x, at.y);
        buf += moved * pixel_bytes;
        return moved;
    });
}
template uint32_t offset_forward_io<false>(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t);
template uint32_t offset_forward_io<true>(mvimage*, uint32_t, void*, uint32_t, int32_t, int32_t);

int32_t offset_bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    mvimage* p = head_parent(v);
    if (!prepares(operation) || !list || p == v) return operation;
    for (uint32_t i = 0; i < n; ++i) {
        const bool inside = starts_inside(v, list[i].x, list[i].y);
        const mvpoint at = inside ? offset_to_parent(v, list[i].x, list[i].y) : mvpoint{-1, -1};
        list[i].x = at.x;
        list[i].y = at.y;
    }
    return p->bxtp(p, operation, list, n);
}

uint32_t offset_bxta(mvimage* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
                     int32_t code) {
    mvimage* p = head_parent(v);
    if (p == v) return 0;
    if (prepares(operation)) offset_bxtp(v, operation, list, n);
    return p->bxta(p, operation & ~0x80, buffer, list, n, code);
}

int32_t forward_bxtw(mvimage* v) {
    mvimage* p = head_parent(v);
    return p == v ? 1 : p->bxtw(p);
}

int32_t forward_imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask, mvslot_imap imap,
                        mvslot_imapr imapr) {
    mvimage* p = head_parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    // Runs across lines only match when the view shares the parent's window.
    if (!head_of(v).follow) mode &= ~MVMODE_CONTINUE;
    const int32_t rc = p->imapset(p, mode, type, mask);
    if (rc < 0) return rc;
    head_of(v).map_mode = mode & ~MVMODE_WRITE;
    if (rc == MVMAP_GRANT) head_of(v).map_mode &= ~MVMODE_CONTINUE;
    v->imap = imap;
    v->imapr = imapr;
    return rc;
}

int32_t offset_imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y) {
    if (!desc) return 0;
    mvimage* p = head_parent(v);
    const uint32_t n = run_length_2d(head_of(v).map_mode & ~MVMODE_NOCHECK, wind_width(v),
                                     wind_height(v), x, y);
    if (n == 0 || p == v) {
        desc->runs = 0;
        return 0;
    }
    const mvpoint at = offset_to_parent(v, x, y);
    const int32_t rc = p->imap(p, desc, at.x, at.y);
    if (rc == 1 && desc->count > n) desc->count = n;
    return rc;
}

int32_t forward_imapr(mvimage* v, mvmapdesc* desc) {
    mvimage* p = head_parent(v);
    if (p == v) {
        if (desc) desc->runs = 0;
        return 0;
    }
    return p->imapr(p, desc);
}

int32_t forward_iowait(mvimage* v) {
    mvimage* p = head_parent(v);
    NestingGuard guard;
    return p == v || guard.too_deep() ? 1 : p->iowait(p);
}

uint32_t forward_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    mvimage* p = head_parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return 0;
    const uint32_t answer = p->aeiou(p, code, arg1, arg2);
    return (code == 'b' || code == 'i' || code == 'm') ? layered(answer, 0) : answer;
}

mvywindow* follow_xwind(mvimage* v, mvywindow* w, int32_t code, void (*install_idle)(mvimage*)) {
    switch (code) {
        case 's': {
            if (!set_own_window(v, w)) return nullptr;
            mvimage* p = head_parent(v);
            NestingGuard guard;
            if (head_of(v).follow && p != v && !guard.too_deep()) p->xwind(p, &v->wind, 's');
            install_idle(v);
            return &v->wind;
        }
        default: return window_inquiry(v, w, code);
    }
}

}  // namespace mvip::view
