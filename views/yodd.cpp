// The field view ("MVIMYOdd"): shows the even (field 0) or odd (field 1)
// lines of an interlaced frame at the frame's full height, each field line
// on two view lines.
#include "views/linemap.hpp"

namespace mvip::view {
namespace {

struct Field {
    static constexpr const char* kKind = "MVIMYOdd";
    static constexpr uint32_t kFlag = 0x10000;
    static constexpr bool kParentLength = true;
    static int32_t line(const mvimage*, const LineState& s, int32_t y) {
        const uint32_t f = s.field;
        return static_cast<int32_t>((static_cast<uint32_t>(y) | f) & ~(f ^ 1u));
    }
    // A one-line image has no odd line; fields other than 0 and 1 do not exist.
    static bool accepts(int32_t height, uint32_t field) {
        return field <= 1 && !(field == 1 && height <= 1);
    }
};

}  // namespace
}  // namespace mvip::view

extern "C" MVIP_API int32_t mvimage_yodd(mvimage* view, mvimage* parent, uint8_t follow,
                                         uint32_t field) {
    return mvip::view::LineView<mvip::view::Field>::build(view, parent, follow, field);
}
