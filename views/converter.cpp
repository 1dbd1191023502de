// The type converter view ("MVIMCONV"): presents its parent in another data
// type and bit depth (rules in views/typeconvert.hpp).  ioset chooses one
// of three strategies per access, each a set of exported routines:
//  - supported: the parent serves the request itself (same data type and
//    significant bits): transfers go to it unchanged;
//  - almost supported: the parent needs converting but hands out its lines
//    in its own form: reads convert straight from its memory (writes are
//    staged as below);
//  - pfbix: runs are fetched in the parent's own form into a staging area
//    and converted.
#include "core/memvalue.hpp"
#include "views/typeconvert.hpp"
#include "views/forward.hpp"

#include <memory>
#include <new>

namespace mvip::view {
namespace {

constexpr size_t kStageBytes = 8192;

#pragma pack(push, 4)
struct ConvState {
    ViewHead head;
    uint32_t tolerance;       // 0x400 when the parent's unused bits are tolerated
    uint8_t mode;             // the constructor's mode byte (reserved)
    uint8_t direct;           // current access goes to the parent unchanged
    uint8_t caller_plain;     // the caller's form equals the view's own
    uint8_t reserved;
    uint32_t bxt_count;       // pixies per scattered entry
    conv::Plan to_view;       // parent values -> view values
    conv::Plan to_parent;     // view values -> parent values
    mem::MoveFn read_move;    // view form -> caller form
    mem::MoveFn write_move;   // caller form -> view form
    uint32_t read_arg, write_arg;
};
#pragma pack(pop)

ConvState& st(mvimage* v) { return state_of<ConvState>(v); }
mvimage* parent(mvimage* v) { return parent_of<ConvState>(v); }

// Where integer values of a format sit when a request names no
// justification: high, or low (which includes filling the container).
uint32_t own_justification(const mvpixfmt& f, uint32_t pixie_bytes) {
    const bool full = f.bits >= 8 * pixie_bytes || f.valform == MVVALFORM_FULL;
    return !full && (f.valform & MVVALFORM_FULL) == MVVALFORM_HIGH ? MVREQ_HIGH : MVREQ_LOW;
}

// The parent serves a request itself when it holds the view's values: the
// same data type and, for integers, the same significant bits placed the
// same way (unless the request names the placement).  The byte order needs
// no match: every image hands out values in the order the request asks.
bool can_forward(const mvimage* v, const mvimage* p, uint32_t request) {
    if (type_of(v->pixfmt.datatype) != type_of(p->pixfmt.datatype)) return false;
    if (is_float_type(v->pixfmt.datatype)) return true;
    if (v->pixfmt.bits != p->pixfmt.bits) return false;
    return (request & (MVREQ_HIGH | MVREQ_LOW)) != 0 ||
           own_justification(v->pixfmt, v->pixiesize) == own_justification(p->pixfmt, p->pixiesize);
}

// Converted values pass to and from the caller in a working form: the
// view's bits low-justified (or filling the container), clean, in the
// machine's byte order.  The caller receives them as its request asks; a
// request that names no justification gets the view's own.
mem::SideChoice caller_side(const mvimage* v, uint32_t request, bool write) {
    mvpixfmt working = v->pixfmt;
    working.byteorder = 0;
    if (is_int_type(working.datatype)) {
        if (!(request & (MVREQ_HIGH | MVREQ_LOW))) request |= own_justification(v->pixfmt, v->pixiesize);
        working.valform = working.bits >= 8 * v->pixiesize ? MVVALFORM_FULL : MVVALFORM_LOW;
        working.valflags = 0;
    }
    return mem::choose_side(working, v->pixiesize, request, write);
}

uint32_t parent_request(const mvimage* p, const ConvState& s) {
    return type_of(p->pixfmt.datatype) | MVREQ_LOW | s.tolerance;
}

// Runs are fetched in the parent's form and converted chunk by chunk.
// FromMap: reads convert straight from the parent's mapped lines where a
// chunk maps as packed pixels of its form (else from a staged copy).
template <bool Write, bool FromMap>
uint32_t staged_io(mvimage* v, uint32_t flags, void* buffer, uint32_t count, int32_t x,
                   int32_t y) {
    mvimage* p = parent(v);
    const ConvState& s = st(v);
    if (p == v || !buffer || !starts_inside(v, x, y)) return 0;
    const uint32_t w = wind_width(v), h = wind_height(v);
    const uint32_t n = std::min(count, run_length_2d(s.head.run_mode & ~MVMODE_NOCHECK, w, h, x, y));
    const size_t c = s.head.sel_count;
    const size_t vbytes = v->pixiesize, pbytes = p->pixiesize;
    const uint32_t chunk =
        static_cast<uint32_t>(std::max<size_t>(1, kStageBytes / (c * std::max(vbytes, pbytes))));
    alignas(16) unsigned char stage[kStageBytes];
    alignas(16) unsigned char values[kStageBytes];
    auto* buf = static_cast<unsigned char*>(buffer);
    const bool yscan = (s.head.run_mode & MVMODE_YSCAN) != 0;
    return walk_run(n, x, y, w, h, yscan, s.head.follow, chunk, [&](uint32_t cx, uint32_t cy, uint32_t k) {
        const mvpoint at = offset_to_parent(v, cx, cy);
        const size_t nv = size_t{k} * c;
        const ptrdiff_t vb = static_cast<ptrdiff_t>(nv * vbytes);
        uint32_t moved;
        if constexpr (Write) {
            s.write_move(values, vb, buf, vb, 1, nv, s.write_arg);
            s.to_parent.run(values, stage, nv);
            moved = p->iorite(p, parent_flags(flags), stage, k, at.x, at.y);
        } else {
            // The parent's own memory when it hands out whole lines, else
            // a copy of the run in the staging area.
            const void* from = nullptr;
            mvmapdesc map{};
            if (FromMap && p->imap(p, &map, at.x, at.y) == 1) {
                if (map.count >= k && map.stride == p->pixelsize &&
                    reinterpret_cast<uintptr_t>(map.address) % pbytes == 0)
                    from = map.address;
                else
                    p->imapr(p, &map);
            }
            moved = from ? k : p->ioread(p, parent_flags(flags), stage, k, at.x, at.y);
            if (!from) from = stage;
            const size_t got = size_t{moved} * c;
            const ptrdiff_t gb = static_cast<ptrdiff_t>(got * vbytes);
            if (s.caller_plain && reinterpret_cast<uintptr_t>(buf) % vbytes == 0) {
                s.to_view.run(from, buf, got);  // straight into the caller's buffer
            } else {
                s.to_view.run(from, values, got);
                s.read_move(buf, gb, values, gb, 1, got, s.read_arg);
            }
            if (map.runs) p->imapr(p, &map);
        }
        buf += size_t{moved} * c * vbytes;
        return moved;
    });
}

int32_t ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->ioread = noop::ioread;
    v->iorite = noop::iorite;
    v->iolen = noop::iolen;
    v->iowait = noop::iowait;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    if (type_of(type) != type_of(v->pixfmt.datatype) || v->pixiesize == 0) return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, v->pixfmt.pixies, sel)) return MVERR_COLORS;
    mode &= ~MVMODE_WRITE;
    if (mode & MVMODE_ZSCAN) return MVERR_UNSUPPORTED;
    ConvState& s = st(v);
    s.head.run_mode = mode;
    s.head.sel_count = sel.count;
    if (can_forward(v, p, type)) {
        const int32_t rc = p->ioset(p, mode, type, mask);
        if (rc < 0) return rc;
        s.direct = 1;
        v->ioread = mvimconv_ioread_supported;
        v->iorite = mvimconv_iorite_supported;
        v->iolen = mvimconv_iolen_supported;
        v->iowait = mvimconv_iowait_supported;
        return rc;
    }
    const mem::SideChoice read = caller_side(v, type, false);
    const mem::SideChoice write = caller_side(v, type, true);
    if (!read.move || !write.move || !s.to_view.fn || !s.to_parent.fn) return MVERR_DATATYPE;
    const int32_t rc = p->ioset(p, mode, parent_request(p, s), mask);
    if (rc < 0) return rc;
    s.direct = 0;
    s.read_move = read.move;
    s.read_arg = read.arg;
    s.write_move = write.move;
    s.write_arg = write.arg;
    s.caller_plain = read.move == mem::choose_move(v->pixiesize, mem::Adjust::none, mem::swap_none);
    // Reads along lines of whole pixels may convert from mapped memory.
    const bool parent_maps = !(mode & MVMODE_YSCAN) && mask == all_pixies_mask(p->pixfmt.pixies) &&
                             p->imapset(p, 0, parent_request(p, s), mask) > 0;
    v->ioread = parent_maps ? mvimconv_ioread_almostsupported : mvimconv_ioreadpfbix;
    v->iorite = parent_maps ? mvimconv_iorite_almostsupported : mvimconv_ioritepfbix;
    v->iolen = mvimconv_iolen_supported;
    v->iowait = mvimconv_iowait_supported;
    return 1;
}

// ---- scattered transfers ------------------------------------------------

uint32_t bxta_staged(mvimage* v, int32_t operation, void* buffer, mvbxtentry* list, uint32_t n,
                     int32_t code) {
    mvimage* p = parent(v);
    const ConvState& s = st(v);
    if (p == v || !buffer || !list) return 0;
    if (prepares(operation)) offset_bxtp(v, operation, list, n);
    const size_t values = size_t{n} * s.bxt_count;
    const size_t bytes = values * std::max(v->pixiesize, p->pixiesize);
    std::unique_ptr<unsigned char[]> stage(new (std::nothrow) unsigned char[bytes ? bytes : 1]);
    std::unique_ptr<unsigned char[]> own(new (std::nothrow) unsigned char[bytes ? bytes : 1]);
    if (!stage || !own) return 0;
    const ptrdiff_t vb = static_cast<ptrdiff_t>(values * v->pixiesize);
    s.write_move(own.get(), vb, buffer, vb, 1, values, s.write_arg);
    s.to_parent.run(own.get(), stage.get(), values);
    const uint32_t rc = p->bxta(p, operation & ~0x80, stage.get(), list, n, code);
    if (code == 0 || code == 2) {
        s.to_view.run(stage.get(), own.get(), values);
        s.read_move(buffer, vb, own.get(), vb, 1, values, s.read_arg);
    }
    return rc;
}

int32_t bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->bxtp = noop::bxtp;
    v->bxta = noop::bxta;
    mvimage* p = parent(v);
    NestingGuard guard;
    if (p == v || guard.too_deep()) return kSelfParent;
    if (type_of(type) != type_of(v->pixfmt.datatype) || v->pixiesize == 0) return MVERR_DATATYPE;
    PixieSelection sel;
    if (!parse_mask(mask, v->pixfmt.pixies, sel)) return MVERR_COLORS;
    ConvState& s = st(v);
    int32_t rc;
    if (can_forward(v, p, type)) {
        rc = p->bxts(p, mode, type, mask);
        if (rc < 0) return rc;
        v->bxta = mvimconv_bxta_supported;
    } else {
        const mem::SideChoice read = caller_side(v, type, false);
        const mem::SideChoice write = caller_side(v, type, true);
        if (!read.move || !write.move || !s.to_view.fn || !s.to_parent.fn) return MVERR_DATATYPE;
        rc = p->bxts(p, mode, parent_request(p, s), mask);
        if (rc < 0) return rc;
        s.read_move = read.move;
        s.read_arg = read.arg;
        s.write_move = write.move;
        s.write_arg = write.arg;
        v->bxta = mvimconv_bxta_unsupported;
    }
    s.bxt_count = sel.count;
    v->bxtp = mvimconv_bxtp;
    v->bxtw = mvimconv_bxtw;
    return rc;
}

// ---- direct mapping: only where the parent already holds the view's form

// Mapping only where the parent already holds the view's form.
int32_t imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    v->imap = noop::imap;
    v->imapr = noop::imapr;
    mvimage* p = parent(v);
    if (p != v && (!can_forward(v, p, type) || type_of(type) != type_of(v->pixfmt.datatype)))
        return MVERR_DATATYPE;
    return forward_imapset(v, mode, type, mask, mvimconv_imap, mvimconv_imapr);
}

// The view's format: the seven words the caller gives (the parent's when
// it gives none), with the significant bits newbits when non-zero, else
// the parent's.  Integer bits of 0 or beyond the container become the
// container, and a valform of 0x300 (bits fill the container) becomes
// 0x200 when the bits so chosen do not fill it; floats have no bits.
mvpixfmt view_format(const mvpixfmt& parent_fmt, const mvpixfmt* newfmt, uint32_t newbits) {
    mvpixfmt f = newfmt ? *newfmt : parent_fmt;
    if (is_int_type(f.datatype)) {
        const uint32_t container = 8 * pixie_bytes(f.datatype);
        const uint32_t bits = newbits ? newbits : parent_fmt.bits;
        f.bits = bits == 0 || bits > container ? container : bits;
        if (f.valform == MVVALFORM_FULL && f.bits < container) f.valform = MVVALFORM_LOW;
    } else {
        f.bits = 0;
    }
    return f;
}

mvywindow* xwind(mvimage* v, mvywindow* w, int32_t code) {
    return follow_xwind(v, w, code, [](mvimage* view) {
        set_idle_slots(view, mvimconv_ioset, mvimconv_bxts, mvimconv_imapset);
    });
}

}  // namespace
}  // namespace mvip::view

using namespace mvip;
using namespace mvip::view;

extern "C" MVIP_API int32_t mvimage_converter(mvimage* v, mvimage* parent_ref,
                                              const mvpixfmt* newfmt, uint8_t follow,
                                              int32_t tolerate, uint32_t newbits, uint8_t mode) {
    if (!v) return MVERR_USAGE;
    const int64_t ref = reference_of(parent_ref);
    mvimage* p = resolve(v, ref);
    if (!p || (newfmt && pixie_bytes(newfmt->datatype) == 0)) {
        mvimage_defnull(v);
        return MVERR_USAGE;
    }
    const ParentDescription d = describe(v, p);
    fill_description(v, d, follow != 0);
    v->pixfmt = view_format(d.pixfmt, newfmt, newbits);
    derive_sizes(v);
    set_kind(v, "MVIMCONV");
    v->aeiou = mvimconv_aeiou;
    v->xwind = mvimconv_xwind;
    ConvState& s = st(v);
    s.head.parent_ref = ref;
    s.head.follow = follow;
    s.mode = mode;
    s.tolerance = (is_int_type(d.pixfmt.datatype) && tolerate) ? MVREQ_DIRTY : 0;
    const conv::Side parent_side = conv::side_of(d.pixfmt);
    const conv::Side view_side = conv::side_of(v->pixfmt);
    s.to_view = conv::plan(parent_side, view_side, s.tolerance != 0);
    s.to_parent = conv::plan(view_side, parent_side, false);
    v->xwind(v, &v->wind, 's');
    return 0;
}

// ---- slot routines by name ---------------------------------------------------

extern "C" MVIP_API int32_t mvimconv_ioset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? ioset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimconv_ioread_supported(mvimage* v, uint32_t flags, void* buffer,
                                                       uint32_t count, int32_t x, int32_t y) {
    return v ? offset_forward_io<false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimconv_iorite_supported(mvimage* v, uint32_t flags, void* buffer,
                                                       uint32_t count, int32_t x, int32_t y) {
    return v ? offset_forward_io<true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimconv_iowait_supported(mvimage* v) {
    return v ? forward_iowait(v) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimconv_iolen_supported(mvimage* v, uint32_t count, int32_t x, int32_t y) {
    return v ? offset_iolen(v, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimconv_ioread_almostsupported(mvimage* v, uint32_t flags, void* buffer,
                                                             uint32_t count, int32_t x, int32_t y) {
    return v ? staged_io<false, true>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimconv_iorite_almostsupported(mvimage* v, uint32_t flags, void* buffer,
                                                             uint32_t count, int32_t x, int32_t y) {
    return v ? staged_io<true, false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimconv_ioreadpfbix(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? staged_io<false, false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API uint32_t mvimconv_ioritepfbix(mvimage* v, uint32_t flags, void* buffer,
                                                  uint32_t count, int32_t x, int32_t y) {
    return v ? staged_io<true, false>(v, flags, buffer, count, x, y) : 0;
}
extern "C" MVIP_API int32_t mvimconv_bxts(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? bxts(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimconv_bxtp(mvimage* v, int32_t operation, mvbxtentry* list, uint32_t n) {
    return v ? offset_bxtp(v, operation, list, n) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimconv_bxta_supported(mvimage* v, int32_t operation, void* buffer,
                                                     mvbxtentry* list, uint32_t n, int32_t code) {
    return v ? offset_bxta(v, operation, buffer, list, n, code) : 0;
}
extern "C" MVIP_API uint32_t mvimconv_bxta_unsupported(mvimage* v, int32_t operation, void* buffer,
                                                       mvbxtentry* list, uint32_t n, int32_t code) {
    return v ? bxta_staged(v, operation, buffer, list, n, code) : 0;
}
extern "C" MVIP_API int32_t mvimconv_bxtw(mvimage* v) { return v ? forward_bxtw(v) : MVERR_USAGE; }
extern "C" MVIP_API int32_t mvimconv_imapset(mvimage* v, uint32_t mode, uint32_t type, uint32_t mask) {
    return v ? imapset(v, mode, type, mask) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimconv_imap(mvimage* v, mvmapdesc* desc, int32_t x, int32_t y) {
    return v ? offset_imap(v, desc, x, y) : MVERR_USAGE;
}
extern "C" MVIP_API int32_t mvimconv_imapr(mvimage* v, mvmapdesc* desc) {
    return v ? forward_imapr(v, desc) : MVERR_USAGE;
}
extern "C" MVIP_API uint32_t mvimconv_aeiou(mvimage* v, uint32_t code, intptr_t arg1, intptr_t arg2) {
    return v ? forward_aeiou(v, code, arg1, arg2) : 0;
}
extern "C" MVIP_API mvywindow* mvimconv_xwind(mvimage* v, mvywindow* w, int32_t code) {
    return v ? xwind(v, w, code) : nullptr;
}
