// Nesting limits and descriptions shared by the views.
#include "views/view.hpp"

namespace mvip::view {

namespace {
constexpr int kMaxNesting = 64;
thread_local int nesting = 0;
}  // namespace

NestingGuard::NestingGuard() { ++nesting; }
NestingGuard::~NestingGuard() { --nesting; }
bool NestingGuard::too_deep() const { return nesting > kMaxNesting; }

ParentDescription describe(const mvimage* view, const mvimage* parent) {
    ParentDescription d{};
    if (parent == view) return d;
    d.wind = parent->wind;
    d.imdim = parent->imdim;
    d.pixfmt = parent->pixfmt;
    std::memcpy(&d.geometry, &parent->xwidth, sizeof d.geometry);
    return d;
}

ParentDescription3 describe(const mvimage3* parent) {
    ParentDescription3 d{};
    d.wind = parent->wind;
    d.imdim = parent->imdim;
    d.pixfmt = parent->pixfmt;
    std::memcpy(&d.geometry, &parent->xwidth, sizeof d.geometry);
    return d;
}

void fill_description(mvimage3* view, const ParentDescription3& d, bool follow) {
    std::memset(static_cast<void*>(view), 0, sizeof *view);
    if (follow) {
        view->imdim = d.imdim;
        view->wind = d.wind;
    } else {
        view->imdim.se = mvpoint3{d.wind.se.x - d.wind.nw.x, d.wind.se.y - d.wind.nw.y,
                                  d.wind.se.z - d.wind.nw.z};
        view->wind = view->imdim;
    }
    view->pixfmt = d.pixfmt;
    derive_sizes(as2(view));
    std::memcpy(&view->xwidth, &d.geometry, sizeof d.geometry);
}

void fill_description(mvimage* view, const ParentDescription& d, bool follow) {
    std::memset(static_cast<void*>(view), 0, sizeof *view);
    if (follow) {
        view->imdim = d.imdim;
        view->wind = d.wind;
    } else {
        view->imdim.se.x = d.wind.se.x - d.wind.nw.x;
        view->imdim.se.y = d.wind.se.y - d.wind.nw.y;
        view->wind = view->imdim;
    }
    view->pixfmt = d.pixfmt;
    derive_sizes(view);
    std::memcpy(&view->xwidth, &d.geometry, sizeof d.geometry);
}

uint32_t layered(uint32_t parent_answer, uint32_t flag) {
    uint32_t layers = parent_answer & 0xFFu;
    if (layers < 255u) ++layers;
    return (parent_answer & ~0xFFu) | layers | flag;
}

bool set_own_window(mvimage* view, const mvywindow* w) {
    view->wind = w ? *w : view->imdim;
    view->wind_reserved[0] = view->wind_reserved[1] = 0;
    if (window_valid_2d(view)) return true;
    view->wind = mvywindow{};
    set_noop_slots(view);
    return false;
}

bool request_suits_mapping(const mvpixfmt& f, uint32_t type) {
    if (type_of(type) != type_of(f.datatype)) return false;
    if (is_int_type(f.datatype) && f.valform != MVVALFORM_FULL) {
        const uint32_t justify = type & (MVREQ_HIGH | MVREQ_LOW);
        if (justify && !(f.valform & justify)) return false;
        if ((f.valflags & MVVALFLAG_DIRTY) && !(type & MVREQ_DIRTY)) return false;
        if ((type & MVREQ_DIRTY) && !((f.valflags >> 16) & MVVALFLAG_DIRTY)) return false;
    }
    return (f.byteorder & MVREQ_SWAPPED) == (type & MVREQ_SWAPPED);
}

bool set_own_window(mvimage3* view, const mvyzwindow* w) {
    view->wind = w ? *w : view->imdim;
    if (window_valid_3d(view)) return true;
    view->wind = mvyzwindow{};
    set_noop_slots3(view);
    return false;
}

}  // namespace mvip::view
