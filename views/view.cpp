// Parent references, nesting limits and descriptions shared by the views.
#include "views/view.hpp"

namespace mvip::view {

mvimage* resolve(mvimage* view, int64_t ref) {
    if (ref >= -128 && ref <= -1) {
        // Records of one array: -64 the next, -66 the previous, -65 itself.
        const intptr_t base = reinterpret_cast<intptr_t>(view);
        return reinterpret_cast<mvimage*>(base +
                                          static_cast<intptr_t>(ref + 65) *
                                              static_cast<intptr_t>(sizeof(mvimage)));
    }
    return reinterpret_cast<mvimage*>(static_cast<intptr_t>(ref));
}

namespace {
constexpr int kMaxNesting = 64;
thread_local int nesting = 0;
}  // namespace

NestingGuard::NestingGuard() { ++nesting; }
NestingGuard::~NestingGuard() { --nesting; }
bool NestingGuard::too_deep() const { return nesting > kMaxNesting; }

ParentDescription describe(const mvimage* parent) {
    ParentDescription d{};
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

bool set_own_window(mvimage3* view, const mvyzwindow* w) {
    view->wind = w ? *w : view->imdim;
    if (window_valid_3d(view)) return true;
    view->wind = mvyzwindow{};
    set_noop_slots3(view);
    return false;
}

}  // namespace mvip::view
