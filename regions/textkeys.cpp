// The key table of the region text file.
#include "regions/textkeys.hpp"

namespace mvip::regions {

namespace {

constexpr bool I = false, F = true;
constexpr TextShape kShapes[] = {
    {MVIMREGELLIPSE, "region.ellipse.", {{"width", I}, {"height", I}, {"angle", F}}, 3},
    {MVIMREGRECTANGLE, "region.rectangle.", {{"width", I}, {"height", I}, {"angle", F}}, 3},
    {MVIMREGANNULUS, "region.annulus.",
     {{"outerwidth", I}, {"outerheight", I}, {"outerangle", F}, {"innerwidth", I},
      {"innerheight", I}, {"innerangle", F}}, 6},
    {MVIMREGANNULUSARC, "region.annulusarc.",
     {{"outerwidth", I}, {"outerheight", I}, {"outerangle", F}, {"innerwidth", I},
      {"innerheight", I}, {"innerangle", F}, {"starta", F}, {"enda", F}}, 8},
    {MVIMREGFRAME, "region.frame.",
     {{"outerwidth", I}, {"outerheight", I}, {"outerangle", F}, {"innerwidth", I},
      {"innerheight", I}, {"innerangle", F}}, 6},
    {MVIMREGWINDOW, "region.window.", {{"width", I}, {"height", I}}, 2},
    {MVIMREGELLIPSEF, "region.ellipsef.",
     {{"originf.xf", F}, {"originf.yf", F}, {"width", F}, {"height", F}, {"angle", F}}, 5},
    {MVIMREGRECTANGLEF, "region.rectanglef.",
     {{"originf.xf", F}, {"originf.yf", F}, {"width", F}, {"height", F}, {"angle", F}}, 5},
    {MVIMREGANNULUSF, "region.annulusf.",
     {{"originf.xf", F}, {"originf.yf", F}, {"outerwidth", F}, {"outerheight", F},
      {"outerangle", F}, {"innerwidth", F}, {"innerheight", F}, {"innerangle", F}}, 8},
    {MVIMREGANNULUSARCF, "region.annulusarcf.",
     {{"originf.xf", F}, {"originf.yf", F}, {"outerwidth", F}, {"outerheight", F},
      {"outerangle", F}, {"innerwidth", F}, {"innerheight", F}, {"innerangle", F},
      {"starta", F}, {"enda", F}}, 10},
    {MVIMREGFRAMEF, "region.framef.",
     {{"originf.xf", F}, {"originf.yf", F}, {"outerwidth", F}, {"outerheight", F},
      {"outerangle", F}, {"innerwidth", F}, {"innerheight", F}, {"innerangle", F}}, 8},
};

}  // namespace

const TextShape* text_shape(uint32_t code) {
    for (const TextShape& s : kShapes)
        if (s.code == code) return &s;
    return nullptr;
}

}  // namespace mvip::regions
