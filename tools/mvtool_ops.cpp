// mvtool op - the table of the library's operations that the tool can run
// on image files: name, images read, parameters, output, help text and an
// adapter from parsed arguments to the library call; the region forms of
// the point operations and the parsing of parameter texts.  Built into a
// small library that the Python module links too (optable.hpp).

#include "optable.hpp"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace mvtool {

namespace {

// Operations that work on an image in place are run on a copy of the
// source in the destination.
int32_t copy_then(const OpCall& c, int32_t (*then)(const OpCall&)) {
    const int32_t rc = mvip8_copy(c.hook, c.src[0], c.dst);
    return rc != 0 ? rc : then(c);
}

// List arguments must have the length the call reads.
void need_length(const char* op, size_t have, size_t want, const char* what) {
    if (have != want)
        throw UsageError(std::string(op) + ": " + what + " needs " + std::to_string(want) + " values, got " +
                         std::to_string(have));
}

const std::vector<Op> kOps = {
    // ------------------------------------------------------ point operations
    {"pixneg", 1, {}, OpOutput::like_first, "maxval - v (floats: lo + hi - v)",
     [](const OpCall& c) { return mvip8_pixneg(c.hook, c.src[0], c.dst); }},
    {"pixshr", 1, {{"n", 'u'}}, OpOutput::like_first, "v >> n",
     [](const OpCall& c) { return mvip8_pixshr(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"pixshl", 1, {{"n", 'u'}}, OpOutput::like_first, "v << n, truncated to the container",
     [](const OpCall& c) { return mvip8_pixshl(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"pixand", 1, {{"mask", 'u'}}, OpOutput::like_first, "v AND mask",
     [](const OpCall& c) { return mvip8_pixand(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"pixor", 1, {{"mask", 'u'}}, OpOutput::like_first, "v OR mask",
     [](const OpCall& c) { return mvip8_pixor(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"pixxor", 1, {{"mask", 'u'}}, OpOutput::like_first, "v XOR mask",
     [](const OpCall& c) { return mvip8_pixxor(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"pixmsb", 1, {}, OpOutput::like_first, "maxval where the top bit is set, else 0",
     [](const OpCall& c) { return mvip8_pixmsb(c.hook, c.src[0], c.dst); }},
    {"pixthreshold", 1, {{"low", 'u'}, {"high", 'u'}, {"value", 'u'}}, OpOutput::like_first,
     "value where low <= v <= high, others unchanged",
     [](const OpCall& c) { return mvip8_pixthreshold(c.hook, c.src[0], c.dst, c.u(0), c.u(1), c.u(2)); }},
    {"pixthreshold2", 1, {{"low", 'u'}, {"high", 'u'}, {"inside", 'u'}, {"outside", 'u'}}, OpOutput::like_first,
     "inside where low <= v <= high, else outside",
     [](const OpCall& c) { return mvip8_pixthreshold2(c.hook, c.src[0], c.dst, c.u(0), c.u(1), c.u(2), c.u(3)); }},
    {"pixthreshold3", 1, {{"low", 'l'}, {"high", 'l'}, {"value", 'l'}}, OpOutput::like_first,
     "colour threshold: lists of three, e.g. 0,0,100 50,50,255 255,0,0",
     [](const OpCall& c) {
         uint32_t v[3][3];
         for (int k = 0; k < 3; ++k) {
             need_length("pixthreshold3", c.list(k).size(), 3, "each list");
             for (int j = 0; j < 3; ++j) v[k][j] = uint32_t(c.list(k)[size_t(j)]);
         }
         return mvip8_pixthreshold3(c.hook, c.src[0], c.dst, v[0], v[1], v[2]);
     }},
    {"pixcontrast", 1, {{"low", 'i'}, {"high", 'i'}}, OpOutput::like_first, "[low, high] stretched onto [0, maxval]",
     [](const OpCall& c) { return mvip8_pixcontrast(c.hook, c.src[0], c.dst, c.s(0), c.s(1)); }},
    {"pixcontrastpivot", 1, {{"pivot2", 'u'}, {"gain", 'd'}}, OpOutput::like_first,
     "(v - pivot2/2) * gain + pivot2/2, clamped",
     [](const OpCall& c) { return mvip8_pixcontrastpivot(c.hook, c.src[0], c.dst, c.u(0), c.d(1)); }},
    {"pixcontrastperc", 1, {{"lowperc", 'u'}, {"highperc", 'u'}}, OpOutput::like_first,
     "contrast stretch between two percentiles of the histogram",
     [](const OpCall& c) {
         uint32_t low = 0, high = 0;
         const int32_t rc = mvip8_pixcontrastperc(c.hook, c.src[0], c.dst, c.u(0), c.u(1), &low, &high);
         if (rc == 0 && c.results) *c.results = {low, high};
         return rc;
     },
     "stretched"},
    {"pixadd", 1, {{"value", 'i'}, {"mode", 'i'}}, OpOutput::like_first, "v + value; mode 2 clips, others wrap",
     [](const OpCall& c) { return mvip8_pixadd(c.hook, c.src[0], c.dst, c.s(0), c.s(1)); }},
    {"pixscale", 1, {{"a", 'u'}, {"b", 'u'}}, OpOutput::like_first, "min(maxval, v * a / b)",
     [](const OpCall& c) { return mvip8_pixscale(c.hook, c.src[0], c.dst, c.u(0), c.u(1)); }},
    {"pixgamma", 1, {{"gamma", 'd'}}, OpOutput::like_first, "maxval * (v / maxval)^gamma",
     [](const OpCall& c) { return mvip8_pixgamma(c.hook, c.src[0], c.dst, c.d(0)); }},
    {"pixmaplut", 2, {}, OpOutput::like_first, "table lookup; the table is the first line of IN2",
     [](const OpCall& c) { return mvip8_pixmaplut(c.hook, c.src[0], c.dst, c.src[1]); }},
    {"pixset", 1, {{"value", 'u'}}, OpOutput::like_first, "every pixie becomes value",
     [](const OpCall& c) {
         return copy_then(c, [](const OpCall& c) { return mvip8_pixset(c.hook, c.dst, c.u(0)); });
     }},
    {"pixset3", 1, {{"v0", 'u'}, {"v1", 'u'}, {"v2", 'u'}}, OpOutput::like_first,
     "the first three pixies become v0, v1, v2",
     [](const OpCall& c) {
         return copy_then(c, [](const OpCall& c) { return mvip8_pixset3(c.hook, c.dst, c.u(0), c.u(1), c.u(2)); });
     }},
    {"pixiecopy", 1, {{"from", 'u'}, {"to", 'u'}}, OpOutput::like_first,
     "the pixies selected by the mask `to` take pixie `from`",
     [](const OpCall& c) { return mvip8_pixiecopy(c.hook, c.src[0], c.dst, c.u(0), c.u(1)); }},
    {"pixiemin", 1, {}, OpOutput::like_first, "every pixie takes the smallest of its pixel",
     [](const OpCall& c) { return mvip8_pixiemin(c.hook, c.src[0], c.dst); }},
    {"pixiemax", 1, {}, OpOutput::like_first, "every pixie takes the largest of its pixel",
     [](const OpCall& c) { return mvip8_pixiemax(c.hook, c.src[0], c.dst); }},
    {"pixieave", 1, {}, OpOutput::like_first, "every pixie takes the average of its pixel",
     [](const OpCall& c) { return mvip8_pixieave(c.hook, c.src[0], c.dst); }},
    {"pixcontrastf", 1, {{"low", 'd'}, {"high", 'd'}}, OpOutput::like_first,
     "[low, high] stretched linearly, rounded and clipped",
     [](const OpCall& c) { return mvipf_pixcontrast(c.hook, c.src[0], c.dst, c.d(0), c.d(1)); }},
    {"pixscalef", 1, {{"factor", 'd'}}, OpOutput::like_first, "v * factor, rounded and clipped",
     [](const OpCall& c) { return mvipf_pixscale(c.hook, c.src[0], c.dst, c.d(0)); }},
    {"pixaddf", 1, {{"value", 'd'}}, OpOutput::like_first, "v + value, rounded and clipped",
     [](const OpCall& c) { return mvipf_pixadd(c.hook, c.src[0], c.dst, c.d(0)); }},

    // ------------------------------------------------------- pair operations
    {"pairadd", 2, {{"mode", 'i'}}, OpOutput::like_second, "IN2 + IN; mode 1 wraps, 2 clips",
     [](const OpCall& c) { return mvip8_pairadd(c.hook, c.src[0], c.src[1], c.dst, c.s(0)); }},
    {"pairsub", 2, {{"mode", 'i'}}, OpOutput::like_second, "differences, modes 1-12 and 100-102 (see mvip.h)",
     [](const OpCall& c) { return mvip8_pairsub(c.hook, c.src[0], c.src[1], c.dst, c.s(0)); }},
    {"pairave", 2, {}, OpOutput::like_second, "(IN + IN2) / 2",
     [](const OpCall& c) { return mvip8_pairave(c.hook, c.src[0], c.src[1], c.dst); }},
    {"pairmax", 2, {}, OpOutput::like_second, "max(IN, IN2)",
     [](const OpCall& c) { return mvip8_pairmax(c.hook, c.src[0], c.src[1], c.dst); }},
    {"pairmin", 2, {}, OpOutput::like_second, "min(IN, IN2)",
     [](const OpCall& c) { return mvip8_pairmin(c.hook, c.src[0], c.src[1], c.dst); }},
    {"pairand", 2, {}, OpOutput::like_second, "IN AND IN2",
     [](const OpCall& c) { return mvip8_pairand(c.hook, c.src[0], c.src[1], c.dst); }},
    {"pairor", 2, {}, OpOutput::like_second, "IN OR IN2",
     [](const OpCall& c) { return mvip8_pairor(c.hook, c.src[0], c.src[1], c.dst); }},
    {"pairxor", 2, {}, OpOutput::like_second, "IN XOR IN2",
     [](const OpCall& c) { return mvip8_pairxor(c.hook, c.src[0], c.src[1], c.dst); }},
    {"pairinsdiff", 2, {{"threshold", 'u'}}, OpOutput::like_second, "0 where |IN - IN2| <= threshold, else IN2",
     [](const OpCall& c) { return mvip8_pairinsdiff(c.hook, c.src[0], c.src[1], c.dst, c.u(0)); }},
    {"pairinsert", 2, {}, OpOutput::like_second, "IN where IN2 is 0, else IN2",
     [](const OpCall& c) { return mvip8_pairinsert(c.hook, c.src[0], c.src[1], c.dst); }},
    {"pairprod", 2, {{"coef", 'l'}}, OpOutput::like_second, "(IN p0 + p1)(IN2 p2 + p3) / p4, coef p0,...,p4",
     [](const OpCall& c) {
         need_length("pairprod", c.list(0).size(), 5, "coef");
         return mvip8_pairprod(c.hook, c.src[0], c.src[1], c.dst, 0, c.list(0).data());
     }},
    {"pairratio", 2, {{"coef", 'l'}}, OpOutput::like_second, "(IN2 q0 + q1) / (IN q2 + q3), coef q0,...,q3",
     [](const OpCall& c) {
         need_length("pairratio", c.list(0).size(), 4, "coef");
         return mvip8_pairratio(c.hook, c.src[0], c.src[1], c.dst, 0, c.list(0).data());
     }},
    {"pairoverlay", 2, {{"key", 'l'}}, OpOutput::like_second,
     "IN over IN2 except where IN equals the key colour (one value per pixie)",
     [](const OpCall& c) {
         need_length("pairoverlay", c.list(0).size(), c.src[0]->pixfmt.pixies, "key");
         std::vector<uint32_t> key(c.list(0).begin(), c.list(0).end());
         return mvip8_pairoverlay(c.hook, c.src[0], c.src[1], c.dst, 0, key.data());
     }},
    {"pairblend", 3, {}, OpOutput::like_first, "IN blended with IN3 by the weight image IN2",
     [](const OpCall& c) { return mvip8_pairblend(c.hook, c.src[0], c.src[1], c.src[2], c.dst); }},
    {"tripletnormalize", 3, {{"scale", 'u'}}, OpOutput::like_first,
     "IN3 normalised between the low image IN and the high image IN2",
     [](const OpCall& c) { return mvip8_tripletnormalize(c.hook, c.src[0], c.src[1], c.src[2], c.dst, c.u(0)); }},

    // ---------------------------------------------------------------- copies
    {"copy", 1, {}, OpOutput::like_first, "plain copy",
     [](const OpCall& c) { return mvip8_copy(c.hook, c.src[0], c.dst); }},
    {"copyreverse", 1, {{"mode", 'u'}}, OpOutput::like_first, "mirror: 1 left-right, 2 top-bottom, 3 both",
     [](const OpCall& c) { return mvip8_copyreverse(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"copyshift", 1, {{"dx", 'i'}, {"dy", 'i'}}, OpOutput::like_first, "shifted by (dx, dy); uncovered pixels 0",
     [](const OpCall& c) { return mvip8_copyshift(c.hook, c.src[0], c.dst, c.s(0), c.s(1)); }},
    {"copyslice", 1, {{"from", 'i'}, {"to", 'i'}}, OpOutput::like_first, "pixie `from` copied into pixie `to`",
     [](const OpCall& c) {
         return copy_then(c, [](const OpCall& c) { return mvip8_copyslice(c.hook, c.src[0], c.dst, c.s(0), c.s(1)); });
     }},
    {"pseudocolor", 1, {{"map", 'm'}}, OpOutput::rgb,
     "one-pixie image (at most 16 bits) to RGB through a colour map: rainbow, heat, grey",
     [](const OpCall& c) { return pseudocolour(c.hook, c.src[0], c.dst, c.s(0)); }},
    {"copycolorconvert", 1, {{"space", 'c'}}, OpOutput::colour,
     "converted to a colour space (grey, rgb, bgr, ycrcb, hsb, yiq, cmy, cmyk, ...)",
     [](const OpCall& c) { return mvip8_copycolorconvert(c.hook, c.src[0], c.dst, 0, c.u(0)); }},
    {"copyinterpnearest", 1, {{"width", 'u'}, {"height", 'u'}}, OpOutput::sized,
     "resampled to width x height, nearest neighbour",
     [](const OpCall& c) { return mvip8_copyinterpnearest(c.hook, c.src[0], c.dst); }},
    {"copyinterpbilinear", 1, {{"width", 'u'}, {"height", 'u'}}, OpOutput::sized,
     "resampled to width x height, bilinear",
     [](const OpCall& c) { return mvip8_copyinterpbilinear(c.hook, c.src[0], c.dst); }},
    {"copyreplic", 1, {{"width", 'u'}, {"height", 'u'}}, OpOutput::sized, "tiled over width x height",
     [](const OpCall& c) { return mvip8_copyreplic(c.hook, c.src[0], c.dst); }},

    // ------------------------------------------------------------- interlace
    {"ilacelinetofield", 1, {}, OpOutput::like_first, "even lines to the top half, odd lines to the bottom",
     [](const OpCall& c) { return mvip8_ilacelinetofield(c.hook, c.src[0], c.dst); }},
    {"ilacefieldtoline", 1, {}, OpOutput::like_first, "the two halves interleaved (inverse of linetofield)",
     [](const OpCall& c) { return mvip8_ilacefieldtoline(c.hook, c.src[0], c.dst); }},
    {"ilacelinetoNfield", 1, {{"n", 'i'}}, OpOutput::like_first, "lines dealt into n fields",
     [](const OpCall& c) { return mvip8_ilacelinetoNfield(c.hook, c.src[0], c.dst, c.s(0)); }},
    {"ilaceNfieldtoline", 1, {{"n", 'i'}}, OpOutput::like_first, "n fields interleaved (inverse)",
     [](const OpCall& c) { return mvip8_ilaceNfieldtoline(c.hook, c.src[0], c.dst, c.s(0)); }},
    {"ilacepairave", 1, {}, OpOutput::like_first, "both lines of every pair become their average",
     [](const OpCall& c) { return mvip8_ilacepairave(c.hook, c.src[0], c.dst); }},
    {"ilacepairdup", 1, {{"which", 'i'}}, OpOutput::like_first, "every pair gets its odd (which odd) or even line",
     [](const OpCall& c) { return mvip8_ilacepairdup(c.hook, c.src[0], c.dst, c.s(0)); }},
    {"ilacepairswap", 1, {}, OpOutput::like_first, "the lines of every pair swapped",
     [](const OpCall& c) { return mvip8_ilacepairswap(c.hook, c.src[0], c.dst); }},

    // -------------------------------------------------- neighbourhood filters
    {"3x3lowpass", 1, {{"weight", 'i'}}, OpOutput::like_first, "mean of the 3x3 with the centre weighted",
     [](const OpCall& c) { return mvip8_3x3lowpass(c.hook, c.src[0], c.dst, c.s(0)); }},
    {"3x3lowpassf", 1, {}, OpOutput::like_first, "binomial 1-2-1 lowpass",
     [](const OpCall& c) { return mvip8_3x3lowpassf(c.hook, c.src[0], c.dst); }},
    {"3x3sharpenl", 1, {}, OpOutput::like_first, "Laplacian sharpening",
     [](const OpCall& c) { return mvip8_3x3sharpenl(c.hook, c.src[0], c.dst); }},
    {"3x3lowpassmear", 1, {{"tolerance", 'u'}}, OpOutput::like_first, "mean of the neighbours within tolerance",
     [](const OpCall& c) { return mvip8_3x3lowpassmear(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"3x3lowpasssalt", 1, {{"threshold", 'u'}, {"neighbours", 'u'}}, OpOutput::like_first,
     "salt removal over 8 or 4 neighbours",
     [](const OpCall& c) { return mvip8_3x3lowpasssalt(c.hook, c.src[0], c.dst, c.u(0), c.u(1)); }},
    {"3x3ranklow", 1, {}, OpOutput::like_first, "minimum of the 3x3 (erosion)",
     [](const OpCall& c) { return mvip8_3x3ranklow(c.hook, c.src[0], c.dst); }},
    {"3x3rankhigh", 1, {}, OpOutput::like_first, "maximum of the 3x3 (dilation)",
     [](const OpCall& c) { return mvip8_3x3rankhigh(c.hook, c.src[0], c.dst); }},
    {"3x3median", 1, {}, OpOutput::like_first, "median of the 3x3",
     [](const OpCall& c) { return mvip8_3x3median(c.hook, c.src[0], c.dst); }},
    {"3x3medianw", 1, {}, OpOutput::like_first, "median with the centre counted three times",
     [](const OpCall& c) { return mvip8_3x3medianw(c.hook, c.src[0], c.dst); }},
    {"3x3binmedian", 1, {}, OpOutput::like_first, "binary median of the top bit",
     [](const OpCall& c) { return mvip8_3x3binmedian(c.hook, c.src[0], c.dst); }},
    {"3x3sobel", 1, {{"mode", 'u'}}, OpOutput::like_first,
     "Sobel gradient; mode 0 scaled, 1 subtracted, 2 log + direction, 3 clipped",
     [](const OpCall& c) { return mvip8_3x3sobel(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"3x3sobela", 1, {{"mode", 'u'}}, OpOutput::like_first, "Sobel on the 3-10-3 gradient; modes as 3x3sobel",
     [](const OpCall& c) { return mvip8_3x3sobela(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"2x2roberts", 1, {{"mode", 'u'}}, OpOutput::like_first, "Roberts cross; modes as 3x3sobel",
     [](const OpCall& c) { return mvip8_2x2roberts(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"3x3kirsch", 1, {{"mode", 'u'}}, OpOutput::like_first, "Kirsch compass; modes as 3x3sobel",
     [](const OpCall& c) { return mvip8_3x3kirsch(c.hook, c.src[0], c.dst, c.u(0)); }},
    {"3x3life", 1, {}, OpOutput::like_first, "one generation of life (u8, alive >= 128)",
     [](const OpCall& c) { return mvip8_3x3life(c.hook, c.src[0], c.dst); }},
    {"NxNconvolve", 1, {{"n", 'u'}, {"coef", 'l'}, {"offset", 'i'}, {"divisor", 'i'}, {"mode", 'u'}},
     OpOutput::like_first, "n x n convolution, coef row by row, e.g. 3 1,2,1,2,4,2,1,2,1 0 0 0",
     [](const OpCall& c) {
         need_length("NxNconvolve", c.list(1).size(), size_t(c.u(0)) * c.u(0), "coef");
         return mvip8_NxNconvolve(c.hook, c.src[0], c.dst, c.u(0), c.list(1).data(), c.s(2), c.s(3), c.u(4));
     }},
    {"NxNconvolvef", 1, {{"n", 'u'}, {"coef", 'L'}, {"offset", 'd'}, {"divisor", 'd'}, {"mode", 'u'}},
     OpOutput::like_first, "n x n convolution with real coefficients",
     [](const OpCall& c) {
         need_length("NxNconvolvef", c.reals(1).size(), size_t(c.u(0)) * c.u(0), "coef");
         return mvip8_NxNconvolvef(c.hook, c.src[0], c.dst, c.u(0), c.reals(1).data(), c.d(2), c.d(3), c.u(4));
     }},
    {"NxNdynthreshold", 1, {{"n", 'u'}, {"offset", 'i'}}, OpOutput::like_first,
     "maxval where the pixel exceeds its n x n mean + offset, else 0",
     [](const OpCall& c) { return mvip8_NxNdynthreshold(c.hook, c.src[0], c.dst, c.u(0), c.s(1)); }},
};


// Short names of the colour spaces for copycolorconvert.
struct SpaceName {
    const char* name;
    uint32_t code;
};
constexpr SpaceName kSpaces[] = {
    {"grey", MVCS_GREY},     {"gray", MVCS_GREY},        {"bgr", MVCS_BGR},       {"bgrx", MVCS_BGRX},
    {"rgb", MVCS_RGB},       {"rgbx", MVCS_RGBX},        {"ycrcb", MVCS_YCRCB},   {"ycrcbx", MVCS_YCRCBX},
    {"cbycry", MVCS_CBYCRY}, {"ycbycr", MVCS_YCBYCR},    {"crycby", MVCS_CRYCBY}, {"ycrycb", MVCS_YCRYCB},
    {"hsb", MVCS_HSB},       {"yiq", MVCS_YIQ},          {"cmy", MVCS_CMY},       {"cmyk", MVCS_CMYK},
};

std::string lower(std::string s) {
    for (char& ch : s) ch = char(std::tolower(static_cast<unsigned char>(ch)));
    return s;
}

[[noreturn]] void bad_value(const Op& op, const OpParam& p, const std::string& text, const char* expected) {
    throw UsageError(std::string("op ") + op.name + ": " + p.name + ": expected " + expected + ", got '" + text + "'");
}

bool parse_int(const std::string& text, long long low, long long high, long long& out) {
    char* end = nullptr;
    errno = 0;
    out = std::strtoll(text.c_str(), &end, 0);
    return !text.empty() && *end == '\0' && errno == 0 && out >= low && out <= high;
}

bool parse_real(const std::string& text, double& out) {
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && std::isfinite(out);
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        const size_t comma = text.find(',', start);
        parts.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos) return parts;
        start = comma + 1;
    }
}

// The region forms: the mvirp8_ form works inside the region (laid over the
// first source), so pixels outside it keep the copy the output starts as.
const std::vector<RegionForm> kRegionForms = {
    {"pixneg", [](const OpCall& c, mvimregion* r) { return mvirp8_pixneg(c.hook, r, c.dst); }},
    {"pixshr", [](const OpCall& c, mvimregion* r) { return mvirp8_pixshr(c.hook, r, c.dst, c.u(0)); }},
    {"pixshl", [](const OpCall& c, mvimregion* r) { return mvirp8_pixshl(c.hook, r, c.dst, c.u(0)); }},
    {"pixand", [](const OpCall& c, mvimregion* r) { return mvirp8_pixand(c.hook, r, c.dst, c.u(0)); }},
    {"pixor", [](const OpCall& c, mvimregion* r) { return mvirp8_pixor(c.hook, r, c.dst, c.u(0)); }},
    {"pixxor", [](const OpCall& c, mvimregion* r) { return mvirp8_pixxor(c.hook, r, c.dst, c.u(0)); }},
    {"pixmsb", [](const OpCall& c, mvimregion* r) { return mvirp8_pixmsb(c.hook, r, c.dst); }},
    {"pixthreshold",
     [](const OpCall& c, mvimregion* r) { return mvirp8_pixthreshold(c.hook, r, c.dst, c.u(0), c.u(1), c.u(2)); }},
    {"pixthreshold2",
     [](const OpCall& c, mvimregion* r) {
         return mvirp8_pixthreshold2(c.hook, r, c.dst, c.u(0), c.u(1), c.u(2), c.u(3));
     }},
    {"pixcontrast", [](const OpCall& c, mvimregion* r) { return mvirp8_pixcontrast(c.hook, r, c.dst, c.s(0), c.s(1)); }},
    {"pixcontrastpivot",
     [](const OpCall& c, mvimregion* r) { return mvirp8_pixcontrastpivot(c.hook, r, c.dst, c.u(0), c.d(1)); }},
    {"pixcontrastperc",
     [](const OpCall& c, mvimregion* r) {
         uint32_t low = 0, high = 0;
         const int32_t rc = mvirp8_pixcontrastperc(c.hook, r, c.dst, c.u(0), c.u(1), &low, &high);
         if (rc == 0 && c.results) *c.results = {low, high};
         return rc;
     }},
    {"pixadd", [](const OpCall& c, mvimregion* r) { return mvirp8_pixadd(c.hook, r, c.dst, c.s(0), c.s(1)); }},
    {"pixscale", [](const OpCall& c, mvimregion* r) { return mvirp8_pixscale(c.hook, r, c.dst, c.u(0), c.u(1)); }},
    {"pixgamma", [](const OpCall& c, mvimregion* r) { return mvirp8_pixgamma(c.hook, r, c.dst, c.d(0)); }},
    {"pixset",
     [](const OpCall& c, mvimregion* r) {
         r->image = *c.dst;
         return mvirp8_pixset(c.hook, r, c.u(0));
     }},
    {"pixset3",
     [](const OpCall& c, mvimregion* r) {
         r->image = *c.dst;
         return mvirp8_pixset3(c.hook, r, c.u(0), c.u(1), c.u(2));
     }},
    {"pixiecopy", [](const OpCall& c, mvimregion* r) { return mvirp8_pixiecopy(c.hook, r, c.dst, c.u(0), c.u(1)); }},
    {"pixiemin", [](const OpCall& c, mvimregion* r) { return mvirp8_pixiemin(c.hook, r, c.dst); }},
    {"pixiemax", [](const OpCall& c, mvimregion* r) { return mvirp8_pixiemax(c.hook, r, c.dst); }},
    {"pixieave", [](const OpCall& c, mvimregion* r) { return mvirp8_pixieave(c.hook, r, c.dst); }},
    {"pixcontrastf",
     [](const OpCall& c, mvimregion* r) { return mvirpf_pixcontrast(c.hook, r, c.dst, c.d(0), c.d(1)); }},
    {"pixscalef", [](const OpCall& c, mvimregion* r) { return mvirpf_pixscale(c.hook, r, c.dst, c.d(0)); }},
    {"pixaddf", [](const OpCall& c, mvimregion* r) { return mvirpf_pixadd(c.hook, r, c.dst, c.d(0)); }},
};

}  // namespace

const RegionForm* find_region_form(const std::string& name) {
    for (const RegionForm& f : kRegionForms)
        if (name == f.name) return &f;
    return nullptr;
}

const std::vector<RegionForm>& region_forms() { return kRegionForms; }

long long parse_integer(const std::string& option, const std::string& text, long long low, long long high) {
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno != 0 || v < low || v > high)
        throw UsageError(option + ": expected a whole number from " + std::to_string(low) + " to " +
                         std::to_string(high) + ", got '" + text + "'");
    return v;
}

int Op::param_count() const {
    int n = 0;
    while (n < kMaxOpParams && params[n].name) ++n;
    return n;
}

const std::vector<Op>& op_table() { return kOps; }

const Op* find_op(const std::string& name) {
    for (const Op& op : kOps)
        if (name == op.name) return &op;
    return nullptr;
}

OpValue parse_param(const Op& op, const OpParam& p, const std::string& text) {
    OpValue v;
    long long n = 0;
    switch (p.kind) {
    case 'u':
        if (!parse_int(text, 0, 0xFFFFFFFFll, n)) bad_value(op, p, text, "an unsigned whole number");
        v.i = n;
        v.d = double(n);
        break;
    case 'i':
        if (!parse_int(text, INT32_MIN, INT32_MAX, n)) bad_value(op, p, text, "a whole number");
        v.i = n;
        v.d = double(n);
        break;
    case 'd':
        if (!parse_real(text, v.d)) bad_value(op, p, text, "a number");
        break;
    case 'l':
        for (const std::string& part : split(text)) {
            if (!parse_int(part, INT32_MIN, 0xFFFFFFFFll, n)) bad_value(op, p, text, "whole numbers a,b,c,...");
            v.list.push_back(int32_t(uint32_t(n)));
        }
        break;
    case 'L':
        for (const std::string& part : split(text)) {
            double d = 0;
            if (!parse_real(part, d)) bad_value(op, p, text, "numbers a,b,c,...");
            v.reals.push_back(d);
        }
        break;
    case 'c': {
        const std::string name = lower(text);
        v.i = -1;
        for (const SpaceName& s : kSpaces)
            if (name == s.name) v.i = s.code;
        if (v.i < 0 && parse_int(text, 1, 255, n) && mvcolorspace_name(int32_t(n))) v.i = n;
        if (v.i < 0) v.i = mvcolorspace_code(text.c_str());
        if (v.i <= 0) bad_value(op, p, text, "a colour space (grey, rgb, bgr, ycrcb, hsb, cmyk, ...)");
        break;
    }
    case 'm':
        v.i = colour_map_index(lower(text));
        if (v.i < 0) bad_value(op, p, text, "a colour map (rainbow, heat, grey)");
        break;
    default:
        break;
    }
    return v;
}

int32_t output_format(const Op& op, uint32_t width, uint32_t height, const mvpixfmt& first, const mvpixfmt* second,
                      const OpValue* v, uint32_t& out_width, uint32_t& out_height, mvpixfmt& out) {
    out_width = width;
    out_height = height;
    out = first;
    switch (op.output) {
    case OpOutput::like_first:
        return 0;
    case OpOutput::like_second:
        if (second) out = *second;
        return 0;
    case OpOutput::sized:
        if (v[0].i < 1 || v[1].i < 1 || v[0].i > INT32_MAX || v[1].i > INT32_MAX)
            throw UsageError(std::string("op ") + op.name + ": the output size must be at least 1 x 1");
        out_width = uint32_t(v[0].i);
        out_height = uint32_t(v[1].i);
        return 0;
    case OpOutput::colour: {
        const uint32_t space = uint32_t(v[0].i);
        const bool real = first.datatype == MVTYPE_FLOAT || first.datatype == MVTYPE_DOUBLE;
        return mvpixfmt_set(&out, first.datatype, real ? 0 : first.bits, space & 15u, space) < 0 ? MVERR_PARAM : 0;
    }
    case OpOutput::rgb:
        return mvpixfmt_set(&out, first.datatype, first.bits, 3, MVCS_RGB) < 0 ? MVERR_PARAM : 0;
    }
    return 0;
}

}  // namespace mvtool
