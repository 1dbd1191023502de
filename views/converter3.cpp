// The 3-D type converter ("MVIMCON3"): the type converter of converter.cpp
// run plane by plane over a 3-D parent (planewise.hpp).
#include "views/planewise.hpp"

namespace mvip::view {
namespace {

#pragma pack(push, 4)
struct ConverterArgs {
    mvpixfmt newfmt;
    uint8_t has_newfmt;
    uint8_t mode;
    uint8_t reserved[2];
    int32_t tolerate;
    uint32_t newbits;
};
#pragma pack(pop)
static_assert(sizeof(ConverterArgs) <= planewise::kArgBytes);

int32_t build_flat(mvimage* flat, mvimage* section, const void* args, uint8_t follow) {
    ConverterArgs a;
    std::memcpy(&a, args, sizeof a);
    return mvimage_converter(flat, section, a.has_newfmt ? &a.newfmt : nullptr, follow, a.tolerate,
                             a.newbits, a.mode);
}

}  // namespace
}  // namespace mvip::view

extern "C" MVIP_API int32_t mvimage3_converter(mvimage3* v, mvimage3* parent,
                                               const mvpixfmt* newfmt, uint8_t follow,
                                               int32_t tolerate, uint32_t newbits, uint8_t mode) {
    if (!v) return MVERR_USAGE;
    mvip::view::ConverterArgs a{};
    if (newfmt) a.newfmt = *newfmt;
    a.has_newfmt = newfmt ? 1 : 0;
    a.mode = mode;
    a.tolerate = tolerate;
    a.newbits = newbits;
    return mvip::view::planewise::build(v, parent, follow, "MVIMCON3", mvip::view::build_flat, &a,
                                        sizeof a);
}
