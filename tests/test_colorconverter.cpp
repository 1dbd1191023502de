// Colour converter view: reads, writes and set-up answers, checked against
// a plain per-pixel model of the colour formulas written out below.
#include "test_util.hpp"

namespace {

using namespace mvtest;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

using Rng = std::mt19937_64;
uint32_t pick(Rng& rng, uint32_t n) { return static_cast<uint32_t>(rng() % n); }
bool coin(Rng& rng) { return (rng() & 1) != 0; }

// ---- formats ------------------------------------------------------------------

const Format kU8{MVTYPE_U8, 8, 0}, kU16{MVTYPE_U16, 16, 0}, kU16b12{MVTYPE_U16, 12, 0}, kU32{MVTYPE_U32, 32, 0};
const Format kF01{MVTYPE_FLOAT, 0, 0}, kFWide{MVTYPE_FLOAT, 0, 0, -2.0f, 6.0f}, kD01{MVTYPE_DOUBLE, 0, 0};
const Format kAllTypes[] = {kU8, kU16, kU16b12, kU32, kF01, kFWide, kD01};

const uint32_t kSpaces[] = {MVCS_GREY,   MVCS_BGR,    MVCS_BGRX,   MVCS_RGBX, MVCS_RGB, MVCS_YCRCB, MVCS_YCRCBX, MVCS_CBYCRY,
                            MVCS_YCBYCR, MVCS_CRYCBY, MVCS_YCRYCB, MVCS_HSB,  MVCS_YIQ, MVCS_CMY,   MVCS_CMYK};

bool is_422(uint32_t s) { return s == MVCS_CBYCRY || s == MVCS_YCBYCR || s == MVCS_CRYCBY || s == MVCS_YCRYCB; }
bool padded(uint32_t s) { return s == MVCS_BGRX || s == MVCS_RGBX || s == MVCS_YCRCBX; }

// Format `f` in colour space `space` (pixies from the space unless given).
Format in_space(Format f, uint32_t space, uint32_t pixies = 0) {
    f.space = space;
    f.pixies = pixies ? pixies : space & 0xFu;
    return f;
}

struct Range {
    double low, high, mid, period;
    bool integer;
};
Range range_of(const Format& f) {
    if (!is_float(f.type)) {
        const double maxval = std::ldexp(1.0, static_cast<int>(f.bits)) - 1;
        return {0, maxval, (maxval + 1) / 2, maxval + 1, true};
    }
    return {f.lo, f.hi, (double(f.lo) + f.hi) / 2, double(f.hi) - f.lo, false};
}

double random_value(Rng& rng, const Range& rg) {
    if (rg.integer) return static_cast<double>(rng() % (static_cast<uint64_t>(rg.high) + 1));
    return rg.low + (rg.high - rg.low) * std::uniform_real_distribution<double>(0, 1)(rng);
}

// A packed image of random values inside the format's range.
struct Img : Image {
    Img(const Format& f, uint32_t w, uint32_t h, Rng* rng = nullptr) : Image(f, w, h, Layout{0}) {
        if (!rng) return;
        const Range rg = range_of(f);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                for (uint32_t c = 0; c < f.pixies; ++c) set(x, y, c, random_value(*rng, rg));
    }
};

// ---- the model: plain per-pixel formulas -----------------------------------------

// A colour both as r, g, b and as full-range YCrCb.  Between grey and the
// YCrCb spaces Y, Cr, Cb pass unchanged; every other pair of spaces goes
// through r, g, b (for integers clipped to the range when they come from
// YCrCb or YIQ values).
struct Colour {
    double r, g, b, y, cr, cb;
};

double luma(double r, double g, double b) { return 0.299 * r + 0.587 * g + 0.114 * b; }
double clip(double v, const Range& rg) { return std::min(std::max(v, rg.low), rg.high); }

Colour from_rgb(double r, double g, double b, const Range& rg) {
    // Cr = 0.5 r - 0.418688 g - 0.081312 b and Cb = -0.168736 r - 0.331264 g
    // + 0.5 b, with the constants at full precision (16-bit and 32-bit
    // values see the difference).
    const double y = luma(r, g, b);
    return {r, g, b, y, rg.mid + (r - y) / 1.402, rg.mid + (b - y) / 1.772};
}

Colour from_ycc(double y, double cr, double cb, const Range& rg) {
    const double crd = cr - rg.mid, cbd = cb - rg.mid;
    double r = y + 1.402 * crd;
    double g = y - (0.114 * 1.772 / 0.587) * cbd - (0.299 * 1.402 / 0.587) * crd;
    double b = y + 1.772 * cbd;
    if (rg.integer) r = clip(r, rg), g = clip(g, rg), b = clip(b, rg);
    return {r, g, b, y, cr, cb};
}

// YIQ rows, with I and Q scaled by 1 / (2 x their largest magnitude).
const double kYiqRows[3][3] = {
    {0.299, 0.587, 0.114},
    {0.595716 / (2 * 0.595716), -0.274453 / (2 * 0.595716), -0.321263 / (2 * 0.595716)},
    {0.211456 / (2 * 0.522591), -0.522591 / (2 * 0.522591), 0.311135 / (2 * 0.522591)},
};

double det3(const double m[3][3]) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// Solves the YIQ rows for r, g, b by Cramer's rule.
void yiq_to_rgb(double y, double i, double q, double out[3]) {
    const double rhs[3] = {y, i, q};
    for (int c = 0; c < 3; ++c) {
        double m[3][3];
        for (int r = 0; r < 3; ++r)
            for (int k = 0; k < 3; ++k) m[r][k] = k == c ? rhs[r] : kYiqRows[r][k];
        out[c] = det3(m) / det3(kYiqRows);
    }
}

struct Layout422 {
    int ypos;       // position of Y within a pixel
    bool first_cb;  // the first pixel of a pair carries Cb
};
Layout422 layout_422(uint32_t s) {
    switch (s) {
        case MVCS_CBYCRY: return {1, true};
        case MVCS_YCBYCR: return {0, true};
        case MVCS_CRYCBY: return {1, false};
        default: return {0, false};  // YCrYCb
    }
}

// The colour of a pixel p in `space`; for 4:2:2, `partner` is the other
// pixel of its pair and `second` says whether p is the pair's second pixel.
Colour decode(uint32_t space, const double* p, const double* partner, bool second, const Range& rg) {
    const double lo = rg.low, hi = rg.high, span = hi - lo;
    switch (space) {
        case MVCS_GREY: return {p[0], p[0], p[0], p[0], rg.mid, rg.mid};
        case MVCS_BGR:
        case MVCS_BGRX: return from_rgb(p[2], p[1], p[0], rg);
        case MVCS_RGB:
        case MVCS_RGBX: return from_rgb(p[0], p[1], p[2], rg);
        case MVCS_CMY: return from_rgb(lo + hi - p[0], lo + hi - p[1], lo + hi - p[2], rg);
        case MVCS_CMYK: {
            const double k = (p[3] - lo) / span;
            double v[3];
            for (int c = 0; c < 3; ++c) v[c] = lo + (1 - (p[c] - lo) / span) * (1 - k) * span;
            return from_rgb(v[0], v[1], v[2], rg);
        }
        case MVCS_HSB: {
            const double v = p[0] - lo, s = (p[1] - lo) / span;
            double turn = rg.integer ? p[2] / rg.period : (p[2] - lo) / span;
            turn -= std::floor(turn);
            const int sector = std::min(static_cast<int>(turn * 6), 5);
            const double f = turn * 6 - sector;
            const double a = v * (1 - s), bq = v * (1 - s * f), t = v * (1 - s * (1 - f));
            const double rgb[6][3] = {{v, t, a}, {bq, v, a}, {a, v, t}, {a, bq, v}, {t, a, v}, {v, a, bq}};
            return from_rgb(lo + rgb[sector][0], lo + rgb[sector][1], lo + rgb[sector][2], rg);
        }
        case MVCS_YIQ: {
            double v[3];
            yiq_to_rgb(p[0], p[1] - rg.mid, p[2] - rg.mid, v);
            if (rg.integer)
                for (double& c : v) c = clip(c, rg);
            return from_rgb(v[0], v[1], v[2], rg);
        }
        case MVCS_YCRCB:
        case MVCS_YCRCBX: return from_ycc(p[0], p[1], p[2], rg);
        default: {  // 4:2:2
            const Layout422 l = layout_422(space);
            const double own = p[1 - l.ypos], other = partner[1 - l.ypos];
            const bool own_is_cb = second != l.first_cb;
            return from_ycc(p[l.ypos], own_is_cb ? other : own, own_is_cb ? own : other, rg);
        }
    }
}

// The unrounded values of a colour in `space` (4:2:2: the colour's own Y
// and the pair's mean chroma, `partner` being the other pixel's colour).
std::vector<double> encode(uint32_t space, const Colour& c, const Colour* partner, bool second, const Range& rg) {
    const double lo = rg.low, hi = rg.high, span = hi - lo;
    switch (space) {
        case MVCS_GREY: return {c.y};
        case MVCS_BGR: return {c.b, c.g, c.r};
        case MVCS_BGRX: return {c.b, c.g, c.r, 0};
        case MVCS_RGB: return {c.r, c.g, c.b};
        case MVCS_RGBX: return {c.r, c.g, c.b, 0};
        case MVCS_CMY: return {lo + hi - c.r, lo + hi - c.g, lo + hi - c.b};
        case MVCS_CMYK: {
            const double r = (c.r - lo) / span, g = (c.g - lo) / span, b = (c.b - lo) / span;
            const double mx = std::max({r, g, b});
            if (mx <= 0) return {lo, lo, lo, hi};
            return {lo + (mx - r) / mx * span, lo + (mx - g) / mx * span, lo + (mx - b) / mx * span, lo + (1 - mx) * span};
        }
        case MVCS_HSB: {
            const double mx = std::max({c.r, c.g, c.b}), mn = std::min({c.r, c.g, c.b});
            const double s = mx > lo ? (mx - mn) / (mx - lo) : 0;
            double turn = 0;
            if (mx > mn) {
                const double d = mx - mn;
                turn = (mx == c.r ? (c.g - c.b) / d : mx == c.g ? 2 + (c.b - c.r) / d : 4 + (c.r - c.g) / d) / 6;
                if (turn < 0) turn += 1;
            }
            return {mx, lo + s * span, rg.integer ? turn * rg.period : lo + turn * span};
        }
        case MVCS_YIQ: {
            const double *i = kYiqRows[1], *q = kYiqRows[2];
            return {luma(c.r, c.g, c.b), rg.mid + i[0] * c.r + i[1] * c.g + i[2] * c.b,
                    rg.mid + q[0] * c.r + q[1] * c.g + q[2] * c.b};
        }
        case MVCS_YCRCB: return {c.y, c.cr, c.cb};
        case MVCS_YCRCBX: return {c.y, c.cr, c.cb, 0};
        default: {  // 4:2:2
            const Layout422 l = layout_422(space);
            const bool carries_cb = second != l.first_cb;
            std::vector<double> out(2);
            out[l.ypos] = c.y;
            out[1 - l.ypos] = partner ? ((carries_cb ? c.cb + partner->cb : c.cr + partner->cr) / 2) : carries_cb ? c.cb : c.cr;
            return out;
        }
    }
}

// Does a value read from an image match the model's unrounded value?
// Integers: a correct rounding of the clipped value (either neighbour of an
// exact half); the hue of HSB compares around the circle.  Floats: close.
bool matches(double got, double exact, const Range& rg, bool hue, uint32_t type) {
    if (!rg.integer) {
        const double tol = (type == MVTYPE_FLOAT ? 2e-5 : 1e-9) * (1 + std::fabs(exact));
        double d = std::fabs(got - exact);
        if (hue && rg.period > 0) d = std::min(d, std::fabs(rg.period - d));
        return d <= tol;
    }
    const double tol = 0.5 + 1e-6 + 1e-12 * rg.high;
    if (hue) {
        const double d = std::fmod(std::fabs(got - exact), rg.period);
        return std::min(d, rg.period - d) <= tol;
    }
    return std::fabs(got - clip(exact, rg)) <= tol;
}

// The model's value of pixie `c` of the view pixel that sits over parent
// pixel (px, py) (image coordinates); `vx` is the pixel's x in the view's
// image coordinates (4:2:2 views pair by it).
double expected_pixie(const Image& parent, uint32_t vspace, uint32_t px, uint32_t py, int64_t vx, uint32_t c) {
    const Range rg = range_of(parent.fmt());
    const uint32_t ps = parent.fmt().space;
    auto colour_at = [&](uint32_t x) {
        std::vector<double> p(parent.pixies()), q(parent.pixies());
        const uint32_t partner = is_422(ps) ? (x ^ 1u) : x;
        for (uint32_t k = 0; k < parent.pixies(); ++k) p[k] = parent.get(x, py, k), q[k] = parent.get(partner, py, k);
        return decode(ps, p.data(), q.data(), is_422(ps) && (x & 1), rg);
    };
    const Colour col = colour_at(px);
    if (!is_422(vspace)) return encode(vspace, col, nullptr, false, rg)[c];
    const bool second = (vx & 1) != 0;
    const Colour other = colour_at(second ? px - 1 : px + 1);
    return encode(vspace, col, &other, second, rg)[c];
}

// Pads read as 0, except through a view in the parent's own space, which
// hands out the parent's pixels unchanged (pass forwarded).
::testing::AssertionResult pixie_matches(double got, double exact, const Range& rg, uint32_t space, uint32_t c,
                                         uint32_t type, bool forwarded = false) {
    if (padded(space) && c == 3 && !forwarded) {
        if (got == 0) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "pad reads " << got;
    }
    if (matches(got, exact, rg, space == MVCS_HSB && c == 2, type)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got " << got << ", model " << exact;
}

// The parent values a full-pixel write of `line` (view pixels of one run
// covering whole pairs) should leave, pixel by pixel.
std::vector<std::vector<double>> model_write(const std::vector<std::vector<double>>& line, uint32_t vs, uint32_t ps,
                                             const Range& rg) {
    std::vector<Colour> colours;
    for (size_t i = 0; i < line.size(); ++i) {
        const bool second = is_422(vs) && (i & 1);
        colours.push_back(decode(vs, line[i].data(), line[is_422(vs) ? i ^ 1 : i].data(), second, rg));
    }
    std::vector<std::vector<double>> out;
    for (size_t i = 0; i < line.size(); ++i)
        out.push_back(is_422(ps) ? encode(ps, colours[i], &colours[i ^ 1], i & 1, rg)
                                 : encode(ps, colours[i], nullptr, false, rg));
    return out;
}

// Window x bounds that keep 4:2:2 pairs whole.
uint32_t even_below(uint32_t v) { return v & ~1u; }

// ---- construction and set-up answers ---------------------------------------------

TEST(ColorConverter, ConstructorRejectsBadInput) {
    Img rgb(in_space(kU8, MVCS_RGB), 4, 3);
    mvimage view;
    EXPECT_EQ(mvimage_colorconverter(nullptr, rgb.rec(), MVCS_GREY, 0), MVERR_USAGE);
    std::memset(&view, 0x5A, sizeof view);
    EXPECT_EQ(mvimage_colorconverter(&view, nullptr, MVCS_GREY, 0), MVERR_USAGE);
    EXPECT_TRUE(kind_is(view.kind, "NULL2"));
    struct Case {
        uint32_t parent_space, parent_pixies, view_space;
        int32_t rc;
    };
    const Case cases[] = {
        {MVCS_RGB, 3, MVCS_UNKNOWN, MVERR_COLORS},     {MVCS_RGB, 3, MVCS_COMPLEX, MVERR_COLORS},
        {MVCS_RGB, 3, MVCS_PALETTE, MVERR_COLORS},     {MVCS_RGB, 3, MVCS_BAYER, MVERR_COLORS},
        {MVCS_RGB, 3, MVCS_BAYER4, MVERR_COLORS},      {MVCS_RGB, 3, 5, MVERR_COLORS},
        {MVCS_RGB, 3, 0x143, MVERR_COLORS},            {MVCS_PALETTE, 1, MVCS_RGB, MVERR_COLORS},
        {MVCS_PALETTE, 1, MVCS_PALETTE, MVERR_COLORS}, {MVCS_BAYER, 1, MVCS_GREY, MVERR_COLORS},
        {MVCS_RGB, 4, MVCS_GREY, MVERR_COLORS},        {MVCS_GREY, 3, MVCS_RGB, MVERR_COLORS},
        {MVCS_UNKNOWN, 1, MVCS_GREY, MVERR_COLORS},    {MVCS_RGB, 3, MVCS_HSB, 0},
        {MVCS_CMYK, 4, MVCS_CBYCRY, 0},                {MVCS_GREY, 1, MVCS_GREY, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.parent_space << "/" << c.parent_pixies << " -> " << c.view_space);
        Img parent(in_space(kU8, c.parent_space, c.parent_pixies), 4, 3);
        std::memset(&view, 0x5A, sizeof view);
        EXPECT_EQ(mvimage_colorconverter(&view, parent.rec(), c.view_space, 0), c.rc);
        EXPECT_TRUE(kind_is(view.kind, c.rc == 0 ? "MVIMCLR" : "NULL2"));
        if (c.rc != 0) expect_noop_slots(view);
    }
    // A parent whose data type is not a valid one.
    mvimage bad = *rgb.rec();
    bad.pixfmt.datatype = 3;
    mvimage_derivesizes(&bad);
    EXPECT_EQ(mvimage_colorconverter(&view, &bad, MVCS_GREY, 0), MVERR_DATATYPE);
    EXPECT_TRUE(kind_is(view.kind, "NULL2"));
    mvimage3 v3;
    std::memset(&v3, 0x5A, sizeof v3);
    EXPECT_EQ(mvimage3_colorconverter(&v3, nullptr, MVCS_GREY, 0), MVERR_USAGE);
    EXPECT_TRUE(kind_is(v3.kind, "NULL3"));
    EXPECT_EQ(mvimage3_colorconverter(nullptr, nullptr, MVCS_GREY, 0), MVERR_USAGE);
}

TEST(ColorConverter, SetupAnswers) {
    Img rgb(in_space(kU16, MVCS_RGB), 6, 4);
    mvimage view;
    ASSERT_EQ(mvimage_colorconverter(&view, rgb.rec(), MVCS_HSB, 0), 0);
    struct Case {
        uint32_t mode, type, mask;
        int32_t rc;
    };
    const Case cases[] = {
        {0, MVTYPE_U16 | MVREQ_LOW, 7, 1},  {MVMODE_YSCAN | MVMODE_CONTINUE, MVTYPE_U16, 4, 1},
        {0, MVTYPE_U8 | MVREQ_LOW, 7, MVERR_DATATYPE}, {0, MVTYPE_FLOAT, 7, MVERR_DATATYPE},
        {0, MVTYPE_U16, 0, MVERR_COLORS},   {0, MVTYPE_U16, 5, MVERR_COLORS},
        {0, MVTYPE_U16, 8, MVERR_COLORS},   {0, MVTYPE_U16, 0xF, MVERR_COLORS},
        {MVMODE_ZSCAN, MVTYPE_U16, 7, MVERR_UNSUPPORTED},
    };
    for (const Case& c : cases)
        EXPECT_EQ(view.ioset(&view, c.mode, c.type, c.mask), c.rc) << c.mode << " " << c.type << " " << c.mask;
    // Scattered transfers and mapping need equal spaces.
    EXPECT_EQ(view.bxts(&view, 0, MVTYPE_U16, 7), MVERR_UNSUPPORTED);
    EXPECT_EQ(view.bxts(&view, 0, MVTYPE_U8, 7), MVERR_DATATYPE);
    EXPECT_EQ(view.imapset(&view, 0, MVTYPE_U16, 7), MVERR_DATATYPE);
    // A relative reference to the previous record of an array works (a
    // reference to the view itself: see the view rules' tests).
    mvimage pair[2];
    pair[0] = *rgb.rec();
    ASSERT_EQ(mvimage_colorconverter(&pair[1], MVPARENT_REL(-66), MVCS_GREY, 0), 0);
    EXPECT_EQ(pair[1].ioset(&pair[1], 0, MVTYPE_U16, 1), 1);
}

TEST(ColorConverter, DescriptionAndInquiries) {
    Img parent(in_space(kU16b12, MVCS_BGR), 10, 7);
    parent.window(2, 1, 9, 5);
    for (const auto& [space, follow] :
         {std::pair<uint32_t, int>{MVCS_GREY, 0}, {MVCS_CMYK, 1}, {MVCS_BGR, 0}, {MVCS_YCBYCR, -3}}) {
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), space, int8_t(follow)), 0);
        EXPECT_TRUE(kind_is(view.kind, "MVIMCLR"));
        const mvpixfmt want{MVTYPE_U16, space & 0xF, space, 12, parent.rec()->pixfmt.valform, 0, 0};
        EXPECT_EQ(std::memcmp(&view.pixfmt, &want, sizeof want), 0) << space;
        EXPECT_EQ(view.pixelsize, 2u * (space & 0xF));
        // Following the parent's window, or the window as the view's image.
        EXPECT_TRUE(follow ? wind_is(view, 2, 1, 9, 5) && view.imdim.se.x == 10
                           : wind_is(view, 0, 0, 7, 4) && view.imdim.se.y == 4);
        const uint32_t b = parent.rec()->aeiou(parent.rec(), 'b', 0, 0);
        EXPECT_EQ(view.aeiou(&view, 'b', 0, 0), b + 1);
        EXPECT_EQ(view.aeiou(&view, 'm', 0, 0), b + 1);
        EXPECT_EQ(view.aeiou(&view, 'B', 0, 0), 357913941u);
        EXPECT_EQ(view.aeiou(&view, 'I', 0, 0), parent.rec()->aeiou(parent.rec(), 'I', 0, 0));
    }
    // Float views keep the parent's range.
    Img fparent(in_space(kFWide, MVCS_RGB), 3, 3);
    mvimage view;
    ASSERT_EQ(mvimage_colorconverter(&view, fparent.rec(), MVCS_YIQ, 0), 0);
    EXPECT_EQ(view.pixfmt.valflags, std::bit_cast<uint32_t>(-2.0f));
    EXPECT_EQ(view.pixfmt.valform, std::bit_cast<uint32_t>(6.0f));
}

// ---- reads and writes against the model -----------------------------------------

// One random read case: a parent in `ps` under a random window, a view in
// `vs` (following or not, with a window of its own), a random scan and mask,
// the window read in runs of random length.
void read_case(Rng& rng, const Format& tc, uint32_t ps, uint32_t vs) {
    const bool pairs = is_422(ps) || is_422(vs);
    const uint32_t W = pairs ? 2 + 2 * pick(rng, 6) : 1 + pick(rng, 12), H = 1 + pick(rng, 5);
    Img parent(in_space(tc, ps), W, H, &rng);
    auto pick_span = [&](uint32_t len, uint32_t& lo, uint32_t& hi) {
        lo = pick(rng, len);
        hi = lo + 1 + pick(rng, len - lo);
        if (pairs) lo = even_below(lo), hi = std::max(lo + 2, even_below(hi));
    };
    uint32_t px0, px1, py0, py1, vx0, vx1;
    pick_span(W, px0, px1);
    py0 = pick(rng, H), py1 = py0 + 1 + pick(rng, H - py0);
    parent.window(px0, py0, px1, py1);
    const bool follow = coin(rng);
    mvimage view;
    ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), vs, follow ? 1 : 0), 0);
    pick_span(static_cast<uint32_t>(view.imdim.se.x), vx0, vx1);
    const uint32_t vy0 = pick(rng, view.imdim.se.y), vy1 = vy0 + 1 + pick(rng, view.imdim.se.y - vy0);
    ASSERT_EQ(mvimage_setwind(&view, vx0, vy0, vx1, vy1), 0);

    const bool yscan = coin(rng), across = pick(rng, 4) == 0;
    const uint32_t vp = view.pixfmt.pixies, first = pick(rng, vp);
    const uint32_t count = coin(rng) ? vp - first : 1 + pick(rng, vp - first);
    ASSERT_EQ(view.ioset(&view, (yscan ? MVMODE_YSCAN : 0) | (across ? MVMODE_CONTINUE : 0), tc.type | MVREQ_LOW,
                         ((1u << count) - 1u) << first),
              1);
    // Pixel t of the access, in x-major or y-major order.
    const uint32_t w = vx1 - vx0, h = vy1 - vy0, total = w * h;
    auto pos = [&](uint32_t t, uint32_t& x, uint32_t& y) { yscan ? (x = t / h, y = t % h) : (x = t % w, y = t / w); };
    const Range rg = range_of(tc);
    const uint32_t vb = value_bytes(tc.type);
    std::vector<unsigned char> buf(size_t{total} * count * vb + 8);
    for (uint32_t t = 0; t < total;) {
        const uint32_t room = across ? total - t : yscan ? h - t % h : w - t % w;
        const uint32_t k = 1 + pick(rng, room);
        uint32_t x, y;
        pos(t, x, y);
        ASSERT_EQ(view.iolen(&view, k, x, y), k);
        ASSERT_EQ(view.ioread(&view, 0, buf.data(), k, x, y), k) << "at " << x << "," << y;
        for (uint32_t j = 0; j < k; ++j) {
            pos(t + j, x, y);
            const int64_t vx = int64_t{vx0} + x;  // view image coordinates
            const uint32_t ppx = static_cast<uint32_t>(vx + (follow ? 0 : px0)), ppy = vy0 + y + (follow ? 0 : py0);
            for (uint32_t c = 0; c < count; ++c) {
                const double got = load_value(buf.data() + (size_t{j} * count + c) * vb, tc.type);
                const double exact =
                    ps == vs ? parent.get(ppx, ppy, first + c) : expected_pixie(parent, vs, ppx, ppy, vx, first + c);
                ASSERT_TRUE(pixie_matches(got, exact, rg, vs, first + c, tc.type, ps == vs))
                    << "view pixel " << x << "," << y << " pixie " << first + c;
            }
        }
        t += k;
    }
}

TEST(ColorConverter, ReadsMatchModel) {
    Rng rng(20240611);
    for (const Format& tc : kAllTypes)
        for (uint32_t ps : kSpaces)
            for (uint32_t vs : kSpaces) {
                SCOPED_TRACE(name_of(tc) + " " + mvcolorspace_name(ps) + " -> " + mvcolorspace_name(vs));
                for (int rep = 0; rep < 3 && !HasFatalFailure(); ++rep) read_case(rng, tc, ps, vs);
                if (HasFatalFailure()) return;
            }
}

// Writes through a view in `vs` into a parent in `ps`: full pixels of
// random values in one run per line, or (`partial`) the pixies of a random
// mask over what the view reads there; the parent then holds the model's
// conversion, and pixels outside the view keep their values.
void write_case(Rng& rng, const Format& tc, uint32_t ps, uint32_t vs, bool partial) {
    const bool pairs = is_422(ps) || is_422(vs);
    const uint32_t W = partial ? 8 : 2 + 2 * pick(rng, 5), H = partial ? 3 : 1 + pick(rng, 4);
    Img parent(in_space(tc, ps), W, H, &rng);
    uint32_t x0 = partial ? 0 : pick(rng, W - 1), x1 = partial ? W : x0 + 1 + pick(rng, W - x0);
    if (pairs) x0 = even_below(x0), x1 = std::max(x0 + 2, even_below(x1));
    const uint32_t y0 = partial ? 0 : pick(rng, H), y1 = partial ? H : y0 + 1 + pick(rng, H - y0);
    parent.window(x0, y0, x1, y1);
    mvimage view;
    ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), vs, coin(rng) ? 1 : 0), 0);
    const uint32_t vp = view.pixfmt.pixies, w = x1 - x0, vb = value_bytes(tc.type);
    const Range rg = range_of(tc);
    for (uint32_t y = 0; y < y1 - y0; ++y) {
        std::vector<std::vector<double>> line(w, std::vector<double>(vp));
        std::vector<unsigned char> buf(size_t{w} * vp * vb);
        uint32_t first = 0, count = vp;
        if (partial) {  // the view's present values, some of them replaced
            ASSERT_EQ(view.ioset(&view, 0, tc.type | MVREQ_LOW, (1u << vp) - 1), 1);
            ASSERT_EQ(view.ioread(&view, 0, buf.data(), w, 0, y), w);
            for (uint32_t x = 0; x < w; ++x)
                for (uint32_t c = 0; c < vp; ++c) line[x][c] = load_value(buf.data() + (size_t{x} * vp + c) * vb, tc.type);
            first = pick(rng, vp), count = 1 + pick(rng, vp - first);
        }
        ASSERT_EQ(view.ioset(&view, 0, tc.type | MVREQ_LOW, ((1u << count) - 1) << first), 1);
        for (uint32_t x = 0; x < w; ++x)
            for (uint32_t c = 0; c < count; ++c) {
                line[x][first + c] = random_value(rng, rg);
                store_value(buf.data() + (size_t{x} * count + c) * vb, tc.type, line[x][first + c]);
            }
        const auto before = parent.values();
        ASSERT_EQ(view.iorite(&view, 0, buf.data(), w, 0, y), w);
        // Equal spaces forward the caller's values unchanged.
        const auto want = ps == vs ? line : model_write(line, vs, ps, rg);
        for (uint32_t py = 0; py < H; ++py)
            for (uint32_t px = 0; px < W; ++px)
                for (uint32_t c = 0; c < parent.pixies(); ++c) {
                    const double got = parent.get(px, py, c);
                    if (py == y0 + y && px >= x0 && px < x1) {
                        ASSERT_TRUE(pixie_matches(got, want[px - x0][c], rg, ps, c, tc.type, ps == vs))
                            << "parent pixel " << px << "," << py << " pixie " << c;
                    } else {
                        ASSERT_EQ(got, parent.value_in(before, px, py, c)) << "pixel " << px << "," << py << " outside the run";
                    }
                }
    }
}

TEST(ColorConverter, WritesMatchModel) {
    Rng rng(77);
    for (const Format& tc : kAllTypes)
        for (uint32_t ps : kSpaces)
            for (uint32_t vs : kSpaces) {
                SCOPED_TRACE(name_of(tc) + " " + mvcolorspace_name(vs) + " written into " + mvcolorspace_name(ps));
                for (int rep = 0; rep < 2 && !HasFatalFailure(); ++rep) write_case(rng, tc, ps, vs, false);
                if (HasFatalFailure()) return;
            }
}

TEST(ColorConverter, PartialMaskWritesMatchModel) {
    Rng rng(5);
    const std::pair<uint32_t, uint32_t> cases[] = {
        {MVCS_GREY, MVCS_RGB},   {MVCS_GREY, MVCS_BGRX},  {MVCS_RGB, MVCS_HSB},     {MVCS_BGR, MVCS_YCRCB},
        {MVCS_RGBX, MVCS_CMYK},  {MVCS_CMY, MVCS_YIQ},    {MVCS_RGB, MVCS_BGR},     {MVCS_YCRCB, MVCS_RGB},
        {MVCS_CBYCRY, MVCS_RGB}, {MVCS_RGB, MVCS_YCRYCB}, {MVCS_GREY, MVCS_CRYCBY}, {MVCS_HSB, MVCS_GREY},
    };
    for (const Format& tc : {kU8, kU16b12, kF01})
        for (auto [ps, vs] : cases) {
            SCOPED_TRACE(name_of(tc) + " " + mvcolorspace_name(vs) + " into " + mvcolorspace_name(ps));
            write_case(rng, tc, ps, vs, true);
            if (HasFatalFailure()) return;
        }
}

// A parent that records the access flags of its transfers.
struct Recorder {
    static inline mvslot_io read = nullptr, rite = nullptr;
    static inline mvslot_set set = nullptr;
    static inline std::vector<std::pair<char, uint32_t>> log;
    static uint32_t on_read(mvimage* im, uint32_t f, void* b, uint32_t n, int32_t x, int32_t y) {
        log.push_back({'r', f});
        return read(im, f, b, n, x, y);
    }
    static uint32_t on_rite(mvimage* im, uint32_t f, void* b, uint32_t n, int32_t x, int32_t y) {
        log.push_back({'w', f});
        return rite(im, f, b, n, x, y);
    }
    static int32_t on_set(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
        const int32_t rc = set(im, mode, type, mask);
        read = im->ioread, rite = im->iorite;
        im->ioread = on_read, im->iorite = on_rite;
        return rc;
    }
};

TEST(ColorConverter, ReadModifyWriteFlagsTheWriteBack) {
    struct Case {
        uint32_t ps, vs, mask;
        bool rmw;
    };
    const Case cases[] = {
        {MVCS_GREY, MVCS_RGB, 7, true},    // more pixies than the parent
        {MVCS_RGB, MVCS_HSB, 2, true},     // some pixies
        {MVCS_RGB, MVCS_YCBYCR, 3, true},  // pixels that need their partner
        {MVCS_RGB, MVCS_HSB, 7, false},    {MVCS_BGRX, MVCS_GREY, 1, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << mvcolorspace_name(c.vs) << " into " << mvcolorspace_name(c.ps));
        Img parent(in_space(kU8, c.ps), 6, 2);
        Recorder::set = parent.rec()->ioset;
        parent.rec()->ioset = Recorder::on_set;
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), c.vs, 0), 0);
        ASSERT_EQ(view.ioset(&view, 0, MVTYPE_U8, c.mask), 1);
        Recorder::log.clear();
        uint8_t buf[64] = {10, 200, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
        ASSERT_EQ(view.iorite(&view, 0x800 | 0x10, buf, 4, 1, 1), 4u);
        std::vector<std::pair<char, uint32_t>> want;
        if (c.rmw) want.push_back({'r', 0x10});
        want.push_back({'w', c.rmw ? 0x1010u : 0x10u});
        EXPECT_EQ(Recorder::log, want);
    }
}

// ---- 4:2:2 pairs -----------------------------------------------------------------

TEST(ColorConverter, Pairs422) {
    const Range rg = range_of(kU8);
    auto round = [](double v) { return std::floor(std::min(std::max(v, 0.0), 255.0) + 0.5); };
    Rng rng(3);
    {  // Reading a 4:2:2 parent: pairs stay those of the parent's image under
       // a parent window that starts on an odd pixel (view pixel 0 is image
       // pixel 2 here).
        Img parent(in_space(kU8, MVCS_CBYCRY), 8, 1, &rng);
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), MVCS_RGB, 0), 0);
        ASSERT_EQ(view.ioset(&view, 0, MVTYPE_U8, 7), 1);
        uint8_t whole[24], part[24];
        ASSERT_EQ(view.ioread(&view, 0, whole, 8, 0, 0), 8u);
        parent.window(1, 0, 7, 1);
        mvimage inner;
        ASSERT_EQ(mvimage_colorconverter(&inner, parent.rec(), MVCS_RGB, 0), 0);
        ASSERT_EQ(mvimage_setwind(&inner, 1, 0, 5, 1), 0);
        for (const uint32_t mode : {0u, uint32_t{MVMODE_YSCAN}}) {
            ASSERT_EQ(inner.ioset(&inner, mode, MVTYPE_U8, 7), 1);
            for (uint32_t x = 0; x < 4; ++x) {
                ASSERT_EQ(inner.ioread(&inner, 0, part, 1, x, 0), 1u);
                ASSERT_EQ(0, std::memcmp(part, whole + 3 * (x + 2), 3)) << x << " mode " << mode;
            }
        }
    }
    {  // Writing into a 4:2:2 parent: pairs written together store the mean
       // chroma, a pixel written without its partner its own chroma; pixels
       // outside the run keep their values.
        Img parent(in_space(kU8, MVCS_YCBYCR), 6, 2);
        for (uint32_t i = 0; i < 12; ++i) parent.set(i % 6, i / 6, 0, 7), parent.set(i % 6, i / 6, 1, 9);
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), MVCS_RGB, 0), 0);
        ASSERT_EQ(view.ioset(&view, 0, MVTYPE_U8, 7), 1);
        uint8_t buf[9] = {200, 30, 40, 10, 220, 90, 60, 70, 250};
        ASSERT_EQ(view.iorite(&view, 0, buf, 3, 1, 0), 3u);  // pixels 1 (lone), 2 and 3 (a pair)
        Colour c[3];
        for (int i = 0; i < 3; ++i) c[i] = from_rgb(buf[3 * i], buf[3 * i + 1], buf[3 * i + 2], rg);
        EXPECT_EQ(parent.values(), (std::vector<double>{7, 9, round(c[0].y), round(c[0].cr), round(c[1].y),
                                                         round((c[1].cb + c[2].cb) / 2), round(c[2].y),
                                                         round((c[1].cr + c[2].cr) / 2), 7, 9, 7, 9, 7, 9, 7, 9, 7, 9, 7,
                                                         9, 7, 9, 7, 9}));
        // A column: every pixel is lone; reads of a column use the partner column.
        ASSERT_EQ(view.ioset(&view, MVMODE_YSCAN, MVTYPE_U8, 7), 1);
        ASSERT_EQ(view.iorite(&view, 0, buf, 2, 4, 0), 2u);
        EXPECT_EQ(parent.get(4, 0, 1), round(c[0].cb));
        EXPECT_EQ(parent.get(4, 1, 1), round(c[1].cb));
        EXPECT_EQ(parent.get(5, 0, 0), 7);
        uint8_t col[6], line[6];
        ASSERT_EQ(view.ioread(&view, 0, col, 2, 5, 0), 2u);
        ASSERT_EQ(view.ioset(&view, 0, MVTYPE_U8, 7), 1);
        ASSERT_EQ(view.ioread(&view, 0, line, 2, 4, 0), 2u);
        EXPECT_EQ(0, std::memcmp(col, line + 3, 3));
    }
    {  // Writing a 4:2:2 view: a pixel without its partner in the run takes
       // the partner's chroma from the parent.
        Img parent(in_space(kU8, MVCS_RGB), 4, 1);
        const double rgb[4][3] = {{200, 30, 40}, {10, 220, 90}, {60, 70, 250}, {5, 5, 5}};
        for (uint32_t i = 0; i < 12; ++i) parent.set(i / 3, 0, i % 3, rgb[i / 3][i % 3]);
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), MVCS_YCRYCB, 0), 0);
        ASSERT_EQ(view.ioset(&view, 0, MVTYPE_U8, 3), 1);
        uint8_t pair[4];
        ASSERT_EQ(view.ioread(&view, 0, pair, 2, 0, 0), 2u);  // (Y0, Cr), (Y1, Cb)
        uint8_t mine[2] = {120, 150};                          // pixel 1: Y, Cb
        ASSERT_EQ(view.iorite(&view, 0, mine, 1, 1, 0), 1u);
        const Colour want = from_ycc(120, pair[1], 150, rg);
        EXPECT_EQ(parent.values(), (std::vector<double>{200, 30, 40, round(want.r), round(want.g), round(want.b), 60, 70,
                                                         250, 5, 5, 5}));
    }
    // Where a pair cannot be formed, ioset answers -21.
    Img p422(in_space(kU8, MVCS_CBYCRY), 8, 2), rgb(in_space(kU8, MVCS_RGB), 7, 2);
    struct Case {
        Img* parent;
        uint32_t space;
        int8_t follow;
        mvywindow parent_window, view_window;
        int32_t rc;
    };
    const Case cases[] = {
        {&p422, MVCS_RGB, 1, {{0, 0}, {8, 2}}, {{1, 0}, {8, 2}}, MVERR_COLORS},
        {&p422, MVCS_RGB, 1, {{0, 0}, {8, 2}}, {{2, 0}, {5, 2}}, MVERR_COLORS},
        {&p422, MVCS_RGB, 1, {{0, 0}, {8, 2}}, {{2, 0}, {6, 2}}, 1},
        {&p422, MVCS_RGB, 0, {{1, 0}, {7, 2}}, {{1, 0}, {5, 2}}, 1},
        {&p422, MVCS_RGB, 0, {{1, 0}, {7, 2}}, {{0, 0}, {5, 2}}, MVERR_COLORS},
        {&p422, MVCS_YCRYCB, 0, {{1, 0}, {7, 2}}, {{1, 0}, {5, 2}}, MVERR_COLORS},
        {&p422, MVCS_YCRYCB, 0, {{2, 0}, {8, 2}}, {{0, 0}, {6, 2}}, 1},
        {&rgb, MVCS_YCBYCR, 0, {{0, 0}, {7, 2}}, {{0, 0}, {7, 2}}, MVERR_COLORS},
        {&rgb, MVCS_YCBYCR, 0, {{0, 0}, {7, 2}}, {{0, 0}, {6, 1}}, 1},
        {&rgb, MVCS_YCBYCR, 1, {{0, 0}, {7, 2}}, {{3, 0}, {5, 2}}, MVERR_COLORS},
        {&rgb, MVCS_YCBYCR, 1, {{0, 0}, {7, 2}}, {{4, 0}, {6, 2}}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.parent_window.nw.x << " " << c.view_window.nw.x << ".." << c.view_window.se.x);
        c.parent->window(c.parent_window.nw.x, c.parent_window.nw.y, c.parent_window.se.x, c.parent_window.se.y);
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, c.parent->rec(), c.space, c.follow), 0);
        ASSERT_EQ(mvimage_setwind(&view, c.view_window.nw.x, c.view_window.nw.y, c.view_window.se.x, c.view_window.se.y), 0);
        EXPECT_EQ(view.ioset(&view, 0, MVTYPE_U8, 1), c.rc);
        EXPECT_EQ(view.ioset(&view, MVMODE_YSCAN, MVTYPE_U8, 1), c.rc);
    }
}

// ---- exhaustive and round-trip checks ------------------------------------------

// An 8-bit image holding every colour once (or every `step`-th value of
// each component, and 255), in the given component order.
struct AllColours : Img {
    uint32_t n;
    AllColours(uint32_t space, uint32_t step) : Img(in_space(kU8, space), 4096, (count(step) + 4095) / 4096), n(count(step)) {
        const uint32_t per = (254 + step) / step + 1;
        auto value = [&](uint32_t j) { return static_cast<uint8_t>(std::min(255u, j * step)); };
        for (uint32_t i = 0; i < n; ++i) {
            const uint8_t r = value(i / (per * per)), g = value(i / per % per), b = value(i % per);
            uint8_t* q = at(0, 0, 0) + size_t{i} * pixies();
            if (space == MVCS_BGR || space == MVCS_BGRX) q[0] = b, q[1] = g, q[2] = r;
            else q[0] = r, q[1] = g, q[2] = b;
        }
    }
    static uint32_t count(uint32_t step) {
        const uint32_t per = (254 + step) / step + 1;
        return per * per * per;
    }
    const uint8_t* pixel(uint32_t i) const { return at(0, 0, 0) + size_t{i} * pixies(); }
};

// Reads all pixels of `im` (whole window, one continuing run).
std::vector<uint8_t> read_all(mvimage& im) {
    const uint32_t n = uint32_t(im.wind.se.x - im.wind.nw.x) * uint32_t(im.wind.se.y - im.wind.nw.y);
    std::vector<uint8_t> out(size_t{n} * im.pixelsize);
    EXPECT_EQ(im.ioset(&im, MVMODE_CONTINUE, im.pixfmt.datatype, (1u << im.pixfmt.pixies) - 1), 1);
    EXPECT_EQ(im.ioread(&im, 0, out.data(), n, 0, 0), n);
    return out;
}

TEST(ColorConverter, GreyFromEveryBgrColour) {
    for (const uint32_t space : {MVCS_BGR, MVCS_RGBX}) {
        AllColours all(space, space == MVCS_BGR ? 1 : 5);  // every colour for BGR; a sample for the padded order
        mvimage view;
        ASSERT_EQ(mvimage_colorconverter(&view, all.rec(), MVCS_GREY, 0), 0);
        const std::vector<uint8_t> grey = read_all(view);
        for (uint32_t i = 0; i < all.n; ++i) {
            const uint8_t* q = all.pixel(i);
            const uint32_t r = q[space == MVCS_BGR ? 2 : 0], g = q[1], b = q[space == MVCS_BGR ? 0 : 2];
            // 0.299 r + 0.587 g + 0.114 b, rounded half up, in exact arithmetic.
            ASSERT_EQ(grey[i], (299 * r + 587 * g + 114 * b + 500) / 1000) << r << "," << g << "," << b;
        }
    }
}

// Converts `src` into `space` through a view, stores the result in a memory
// image of that space, and converts it back into the source's space.
std::vector<uint8_t> round_trip(mvimage& src, uint32_t space) {
    mvimage there, back;
    EXPECT_EQ(mvimage_colorconverter(&there, &src, space, 0), 0);
    Img stored(in_space(kU8, space), uint32_t(there.imdim.se.x), uint32_t(there.imdim.se.y));
    const std::vector<uint8_t> mid = read_all(there);
    std::memcpy(stored.at(0, 0, 0), mid.data(), mid.size());
    EXPECT_EQ(mvimage_colorconverter(&back, stored.rec(), src.pixfmt.colorspace, 0), 0);
    return read_all(back);
}

// The inexact spaces over every colour (or a dense sample): there and back
// within a count, for HSB plus what a hue of 256 steps per turn resolves,
// up to (max - min) x 3 / 256.  (Orders and complements are exact: the
// model comparisons hold them.)
TEST(ColorConverter, RoundTrips8Bit) {
    for (const uint32_t space : {MVCS_YCRCB, MVCS_HSB}) {
        SCOPED_TRACE(mvcolorspace_name(space));
        AllColours rgb(MVCS_RGB, space == MVCS_HSB ? (kSanitized ? 5u : 2u) : kSanitized ? 3u : 1u);
        const std::vector<uint8_t> back = round_trip(*rgb.rec(), space);
        for (uint32_t i = 0; i < rgb.n; ++i) {
            const uint8_t* o = rgb.pixel(i);
            const uint8_t* b = back.data() + 3 * size_t{i};
            const int hi = std::max({o[0], o[1], o[2]}), lo = std::min({o[0], o[1], o[2]});
            const int allowed = space == MVCS_HSB ? 1 + (hi - lo) * 3 / 256 : 1;
            for (int k = 0; k < 3; ++k)
                ASSERT_LE(std::abs(int(b[k]) - int(o[k])), allowed)
                    << int(o[0]) << "," << int(o[1]) << "," << int(o[2]) << " -> " << int(b[0]) << "," << int(b[1])
                    << "," << int(b[2]);
        }
    }
}

// ---- equal spaces and request forms -------------------------------------------------

TEST(ColorConverter, EqualSpacesForwardMappingAndScatteredTransfers) {
    Rng rng(9);
    Img parent(in_space(kU16, MVCS_RGB), 5, 4, &rng);
    mvimage view;
    ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), MVCS_RGB, 1), 0);
    ASSERT_EQ(mvimage_setwind(&view, 1, 1, 4, 3), 0);
    ASSERT_GT(view.imapset(&view, 0, MVTYPE_U16, 7), 0);
    mvmapdesc d{};
    ASSERT_EQ(view.imap(&view, &d, 0, 0), 1);
    // The descriptor is 4-byte packed: copy its fields before comparing.
    const void* address = d.address;
    const uint64_t count = d.count;
    EXPECT_EQ(address, parent.at(1, 1, 0));
    EXPECT_EQ(count, 3u);
    view.imapr(&view, &d);
    ASSERT_GE(view.bxts(&view, 0, MVTYPE_U16, 7), 0);
    mvbxtentry list[2] = {{0, 0, 0}, {2, 1, 0}};
    uint16_t vals[6] = {};
    ASSERT_EQ(view.bxta(&view, -1, vals, list, 2, 2), 2u);
    EXPECT_EQ(vals[3], parent.get(3, 2, 0));
    EXPECT_EQ(vals[5], parent.get(3, 2, 2));
}

TEST(ColorConverter, RequestForms) {
    // 12-bit values handed out high-justified and in the other byte order;
    // written back in the same form they store the same grey in every
    // component.
    Img parent(in_space(kU16b12, MVCS_RGB), 4, 1);
    const double rgb[4][3] = {{4095, 0, 0}, {0, 4095, 0}, {100, 200, 300}, {4095, 4095, 4095}};
    mvimage view;
    ASSERT_EQ(mvimage_colorconverter(&view, parent.rec(), MVCS_GREY, 0), 0);
    // 0.299 x 4095 = 1224.4; 0.587 x 4095 = 2403.8; 181.5 exactly rounds up.
    const uint16_t lumas[4] = {1224, 2404, 182, 4095};
    for (const auto& [flags, shift] : {std::pair{MVREQ_LOW, 0}, {MVREQ_HIGH, 4}, {MVREQ_LOW | MVREQ_SWAPPED, 0},
                                       {MVREQ_HIGH | MVREQ_SWAPPED, 4}}) {
        for (uint32_t i = 0; i < 12; ++i) parent.set(i / 3, 0, i % 3, rgb[i / 3][i % 3]);
        ASSERT_EQ(view.ioset(&view, 0, MVTYPE_U16 | flags, 1), 1);
        uint16_t out[4];
        ASSERT_EQ(view.ioread(&view, 0, out, 4, 0, 0), 4u);
        for (int i = 0; i < 4; ++i) {
            const uint16_t want = static_cast<uint16_t>(lumas[i] << shift);
            EXPECT_EQ(out[i], (flags & MVREQ_SWAPPED) ? __builtin_bswap16(want) : want) << i << " flags " << flags;
        }
        ASSERT_EQ(view.iorite(&view, 0, out, 4, 0, 0), 4u);
        for (uint32_t i = 0; i < 12; ++i) EXPECT_EQ(parent.get(i / 3, 0, i % 3), lumas[i / 3]);
    }
}

}  // namespace
