// The vertical inversion view ("MVIMYInv"): view line y shows parent line
// H - oy - y - 1, H being the view's full height even when its window
// covers only part of it.
#include "views/linemap.hpp"

namespace mvip::view {
namespace {

struct Inversion {
    static constexpr const char* kKind = "MVIMYInv";
    static constexpr uint32_t kFlag = 0;
    static constexpr bool kParentLength = false;
    static int32_t line(const mvimage* v, const LineState&, int32_t y) {
        return static_cast<int32_t>(static_cast<uint32_t>(v->imdim.se.y) - static_cast<uint32_t>(y) - 1u);
    }
    static bool accepts(int32_t, uint32_t) { return true; }
};

}  // namespace
}  // namespace mvip::view

extern "C" MVIP_API int32_t mvimage_yinv(mvimage* view, mvimage* parent, uint8_t follow) {
    return mvip::view::LineView<mvip::view::Inversion>::build(view, parent, follow, 0);
}
