// Rules of records, views and a few operations that outside checks found
// broken: self-parent views, byte swapping by pixie size, the type
// converter's presented format, short mapping tables, negative lowpass
// weights and one-line pair operations.
#include "mvip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <source_location>
#include <string>
#include <vector>

namespace {

// A packed memory image over its own bytes.
struct Mem {
    std::vector<uint8_t> bytes;
    mvimage im{};
    Mem(uint32_t w, uint32_t h, const mvpixfmt& fmt) {
        mvimage probe{};
        mvimage_defnop(&probe, nullptr, &fmt, nullptr);
        bytes.assign(size_t{w} * h * probe.pixelsize, 0);
        const uint32_t dims[2] = {w, h};
        EXPECT_EQ(0, mvimage_memdata(&im, bytes.data(), 0, dims, 0, &fmt, nullptr, 0));
    }
    Mem(uint32_t w, uint32_t h, uint32_t type, uint32_t bits, uint32_t pixies = 1)
        : Mem(w, h, format(type, bits, pixies)) {}
    static mvpixfmt format(uint32_t type, uint32_t bits, uint32_t pixies) {
        mvpixfmt f{};
        EXPECT_EQ(0, mvpixfmt_set(&f, type, bits, pixies, pixies == 3 ? MVCS_RGB : MVCS_GREY));
        return f;
    }
    template <class T>
    T* values() { return reinterpret_cast<T*>(bytes.data()); }
    void randomize(std::mt19937& rng, uint32_t maxval) {
        const size_t n = bytes.size() / im.pixiesize;
        for (size_t i = 0; i < n; ++i) {
            const uint32_t v = rng() & maxval;
            std::memcpy(&bytes[i * im.pixiesize], &v, im.pixiesize);  // little-endian host
        }
    }
};

// ---- views whose parent reference designates themselves --------------------

TEST(ViewRules, SelfParentViewsAnswerFiveWhateverTheRecordHeld) {
    using Build = std::function<int32_t(mvimage* view, mvimage* parent)>;
    const mvywindow clips[1] = {{{0, 0}, {4, 4}}};
    static const uint8_t table[256] = {};
    const void* const tables[4] = {table, table, table, table};
    mvpixfmt u16{};
    ASSERT_EQ(0, mvpixfmt_set(&u16, MVTYPE_U16, 12, 1, MVCS_GREY));
    const std::pair<const char*, Build> kinds[] = {
        {"inversion", [](mvimage* v, mvimage* p) { return mvimage_yinv(v, p, 0); }},
        {"inversion following", [](mvimage* v, mvimage* p) { return mvimage_yinv(v, p, 1); }},
        {"even field", [](mvimage* v, mvimage* p) { return mvimage_yodd(v, p, 0, 0); }},
        {"odd field", [](mvimage* v, mvimage* p) { return mvimage_yodd(v, p, 1, 1); }},
        {"clipper", [&](mvimage* v, mvimage* p) { return mvimage_clipper(v, p, clips, 1, 0); }},
        {"converter", [](mvimage* v, mvimage* p) { return mvimage_converter(v, p, nullptr, 0, 0, 0, 0); }},
        {"converter to u16", [&](mvimage* v, mvimage* p) { return mvimage_converter(v, p, &u16, 1, 1, 0, 0); }},
        {"colour converter", [](mvimage* v, mvimage* p) { return mvimage_colorconverter(v, p, MVCS_GREY, 0); }},
        {"colour slice", [](mvimage* v, mvimage* p) { return mvimage_colorslice(v, p, 0, 1); }},
        {"colour slice, third pixie", [](mvimage* v, mvimage* p) { return mvimage_colorslice(v, p, 1, 4); }},
        {"table resizing", [](mvimage* v, mvimage* p) { return mvimage_lutconvert(v, p, 256, 1); }},
        {"table mapping", [&](mvimage* v, mvimage* p) { return mvimage_lut2(v, p, 1, tables, tables, 0, 0); }},
    };
    std::mt19937 rng(12);
    for (const auto& [name, build] : kinds) {
        for (int trial = 0; trial < 40; ++trial) {
            SCOPED_TRACE(std::string(name) + " #" + std::to_string(trial));
            // Three neighbouring records full of whatever memory held; the
            // view is the middle one, by relative reference and by address.
            std::vector<mvimage> records(3);
            auto* raw = reinterpret_cast<uint8_t*>(records.data());
            for (size_t i = 0; i < sizeof(mvimage) * records.size(); ++i) raw[i] = uint8_t(rng());
            mvimage* view = &records[1];
            mvimage* parent = trial % 2 ? MVPARENT_REL(-65) : view;
            ASSERT_EQ(0, build(view, parent));
            EXPECT_EQ(MVERR_LOGIC, view->ioset(view, 0, view->pixfmt.datatype | MVREQ_LOW, 1));
            uint8_t buffer[64] = {};
            EXPECT_EQ(0u, view->ioread(view, 0, buffer, 4, 0, 0));
        }
    }
}

// ---- the type converter's format ----------------------------------------------

TEST(ViewRules, ConverterPresentsTheGivenFormatWithNewbitsOrTheParentsBits) {
    std::mt19937 rng(21);
    Mem parent(5, 3, MVTYPE_U16, 12, 3);
    parent.randomize(rng, 0xFFF);
    const uint16_t* pv = parent.values<uint16_t>();
    const mvpixfmt pf = parent.im.pixfmt;
    const uint32_t two = 0x40000000u, minus_one = 0xBF800000u;  // 2.0f, -1.0f
    struct Case {
        const char* name;
        bool give;
        mvpixfmt newfmt;
        uint32_t newbits;
        mvpixfmt want;
        uint32_t request;  // a read whose first value is checked
        uint32_t (*expect)(uint16_t parent_value);
    };
    const Case cases[] = {
        {"the parent's", false, {}, 0, pf, MVTYPE_U16, [](uint16_t v) -> uint32_t { return v; }},
        {"the parent's, newbits", false, {}, 10,
         {MVTYPE_U16, 3, MVCS_RGB, 10, MVVALFORM_LOW, 0, 0}, MVTYPE_U16 | MVREQ_LOW,
         [](uint16_t v) -> uint32_t { return v >> 2; }},
        {"every word given", true,
         {MVTYPE_U16, 3, MVCS_BGR, 5, MVVALFORM_HIGH, MVVALFLAG_DIRTY << 16, MVREQ_SWAPPED}, 0,
         {MVTYPE_U16, 3, MVCS_BGR, 12, MVVALFORM_HIGH, MVVALFLAG_DIRTY << 16, MVREQ_SWAPPED},
         MVTYPE_U16,  // no justification asked: the view's own, high
         [](uint16_t v) -> uint32_t { return uint32_t(v) << 4; }},
        {"every word given, read swapped", true,
         {MVTYPE_U16, 3, MVCS_BGR, 5, MVVALFORM_HIGH, 0, MVREQ_SWAPPED}, 0,
         {MVTYPE_U16, 3, MVCS_BGR, 12, MVVALFORM_HIGH, 0, MVREQ_SWAPPED},
         MVTYPE_U16 | MVREQ_LOW | MVREQ_SWAPPED,
         [](uint16_t v) -> uint32_t { return __builtin_bswap16(v); }},
        {"fewer pixies, newbits", true, {MVTYPE_U8, 1, MVCS_GREY, 3, MVVALFORM_LOW, 0, 0}, 6,
         {MVTYPE_U8, 1, MVCS_GREY, 6, MVVALFORM_LOW, 0, 0}, MVTYPE_U8,
         [](uint16_t v) -> uint32_t { return v >> 6; }},
        {"float, newbits ignored", true, {MVTYPE_FLOAT, 3, MVCS_RGB, 0, two, minus_one, 0}, 7,
         {MVTYPE_FLOAT, 3, MVCS_RGB, 0, two, minus_one, 0}, 0, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        mvimage view;
        ASSERT_EQ(0, mvimage_converter(&view, &parent.im, c.give ? &c.newfmt : nullptr, 1, 0, c.newbits, 0));
        const uint32_t* got = reinterpret_cast<const uint32_t*>(&view.pixfmt);
        const uint32_t* want = reinterpret_cast<const uint32_t*>(&c.want);
        for (int i = 0; i < 7; ++i) EXPECT_EQ(want[i], got[i]) << "format word " << i;
        if (!c.expect) continue;
        ASSERT_GE(view.ioset(&view, MVMODE_CONTINUE, c.request, 1), 0);
        uint32_t value = 0;
        uint8_t buffer[64] = {};
        ASSERT_EQ(15u, view.ioread(&view, 0, buffer, 15, 0, 0));
        for (uint32_t i = 0; i < 15; ++i) {
            std::memcpy(&value, buffer + i * view.pixiesize, view.pixiesize);
            ASSERT_EQ(c.expect(pv[3 * i]), value) << "pixel " << i;
        }
    }
}

// ---- slot routines by name ---------------------------------------------------

// The slots a record should hold; null entries are not checked.
struct Slots {
    mvslot_io ioread = nullptr, iorite = nullptr;
    mvslot_wait iowait = nullptr;
    mvslot_set ioset = nullptr;
    mvslot_len iolen = nullptr;
    mvslot_set bxts = nullptr;
    mvslot_bxtp bxtp = nullptr;
    mvslot_bxta bxta = nullptr;
    mvslot_wait bxtw = nullptr;
    mvslot_set imapset = nullptr;
    mvslot_imap imap = nullptr;
    mvslot_imapr imapr = nullptr;
    mvslot_aeiou aeiou = nullptr;
    mvslot_xwind xwind = nullptr;
};

// The code an address leads to.  Under mingw-w64, g++ takes the address of
// an imported function inside some aggregate initialisers as the import
// library's thunk (jmp *__imp_name) instead of the function itself: follow
// such a thunk to the routine the DLL exports.
template <class Fn>
const void* code_of(Fn fn) {
    const auto* p = reinterpret_cast<const unsigned char*>(fn);
#ifdef _WIN32
    if (p[0] == 0xFF && p[1] == 0x25) {
        int32_t rel;
        std::memcpy(&rel, p + 2, 4);
        return *reinterpret_cast<const void* const*>(p + 6 + rel);
    }
#endif
    return p;
}

template <class Fn>
void expect_slot(const char* slot, Fn held, Fn want) {
    if (want) {
        EXPECT_TRUE(code_of(held) == code_of(want)) << slot;
    }
}

void expect_slots(const mvimage& im, const Slots& want,
                  std::source_location where = std::source_location::current()) {
    SCOPED_TRACE("slots checked at line " + std::to_string(where.line()));
    expect_slot("ioread", im.ioread, want.ioread);
    expect_slot("iorite", im.iorite, want.iorite);
    expect_slot("iowait", im.iowait, want.iowait);
    expect_slot("ioset", im.ioset, want.ioset);
    expect_slot("iolen", im.iolen, want.iolen);
    expect_slot("bxts", im.bxts, want.bxts);
    expect_slot("bxtp", im.bxtp, want.bxtp);
    expect_slot("bxta", im.bxta, want.bxta);
    expect_slot("bxtw", im.bxtw, want.bxtw);
    expect_slot("imapset", im.imapset, want.imapset);
    expect_slot("imap", im.imap, want.imap);
    expect_slot("imapr", im.imapr, want.imapr);
    expect_slot("aeiou", im.aeiou, want.aeiou);
    expect_slot("xwind", im.xwind, want.xwind);
}

// A memory image that serves whole pixels only, as some frame buffers do.
int32_t whole_pixels_only(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    if (mask != (1u << im->pixfmt.pixies) - 1) return MVERR_COLORS;
    return mvimmem_ioset(im, mode, type, mask);
}

TEST(ViewRules, SlotsHoldTheExportedRoutines) {
    const Slots null2{mvimnull2_ioread, mvimnull2_iorite, mvimnull2_iowait, mvimnull2_ioset,
                      mvimnull2_iolen,  mvimnull2_bxts,   mvimnull2_bxtp,   mvimnull2_bxta,
                      mvimnull2_bxtw,   mvimnull2_imapset, mvimnull2_imap,  mvimnull2_imapr,
                      mvimnull2_aeiou,  mvimnull2_xwind};
    mvimage null_image;
    mvimage_defnull(&null_image);
    expect_slots(null_image, null2);
    mvimage3 null3;
    mvimage3_defnull(&null3);
    EXPECT_TRUE(null3.ioread == mvimnull3_ioread && null3.iorite == mvimnull3_iorite &&
                null3.iowait == mvimnull3_iowait && null3.ioset == mvimnull3_ioset &&
                null3.iolen == mvimnull3_iolen && null3.bxts == mvimnull3_bxts &&
                null3.bxtp == mvimnull3_bxtp && null3.bxta == mvimnull3_bxta &&
                null3.bxtw == mvimnull3_bxtw && null3.imapset == mvimnull3_imapset &&
                null3.imap == mvimnull3_imap && null3.imapr == mvimnull3_imapr &&
                null3.aeiou == mvimnull3_aeiou && null3.xwind == mvimnull3_xwind);

    Mem rgb(8, 4, MVTYPE_U16, 12, 3);
    mvimage& mem = rgb.im;
    const uint32_t all = 7, low16 = MVTYPE_U16 | MVREQ_LOW;
    // Idle: the kind's set-up slots, the null image's for the rest.
    Slots idle = null2;
    idle.ioset = mvimmem_ioset, idle.bxts = mvimmem_bxts, idle.imapset = mvimmem_imapset;
    idle.aeiou = mvimmem_aeiou, idle.xwind = mvimmem_xwind;
    expect_slots(mem, idle);
    ASSERT_EQ(1, mem.ioset(&mem, 0, low16, all));
    expect_slots(mem, {.ioread = mvimmem_ioreadxscan, .iorite = mvimmem_ioritexscan, .iolen = mvimmem_iolen});
    ASSERT_EQ(1, mem.ioset(&mem, MVMODE_YSCAN, low16, 2));
    expect_slots(mem, {.ioread = mvimmem_ioreadyscan, .iorite = mvimmem_ioriteyscan});
    ASSERT_EQ(1, mem.bxts(&mem, 0, low16, all));
    expect_slots(mem, {.bxtp = mvimmem_bxtp, .bxta = mvimmem_bxtauint16});
    ASSERT_GT(mem.imapset(&mem, 0, low16, all), 0);
    expect_slots(mem, {.imap = mvimmem_imap, .imapr = mvimmem_imapr});
    const std::pair<uint32_t, mvslot_bxta> bxtas[] = {
        {MVTYPE_U8, mvimmem_bxtauint8},  {MVTYPE_U32, mvimmem_bxtauint32}, {MVTYPE_I32, mvimmem_bxtauint32},
        {MVTYPE_FLOAT, mvimmem_bxtafloat}, {MVTYPE_DOUBLE, mvimmem_bxtadouble}};
    for (const auto& [type, routine] : bxtas) {
        Mem m(2, 2, type, 0);
        ASSERT_EQ(1, m.im.bxts(&m.im, 0, type, 1));
        EXPECT_TRUE(code_of(m.im.bxta) == code_of(routine)) << type;
    }

    // The line views.
    struct LineKind {
        const char* name;
        int32_t (*build)(mvimage*, mvimage*);
        Slots idle, xscan, yscan, mapped;
    };
    const LineKind lines[] = {
        {"inversion", [](mvimage* v, mvimage* p) { return mvimage_yinv(v, p, 0); },
         {.ioset = mvimyinv_ioset, .bxts = mvimyinv_bxts, .bxtp = mvimyinv_bxtp, .bxta = mvimyinv_bxta,
          .bxtw = mvimyinv_bxtw, .imapset = mvimyinv_imapset, .imap = mvimyinv_imap,
          .imapr = mvimyinv_imapr, .aeiou = mvimyinv_aeiou, .xwind = mvimyinv_xwind},
         {.ioread = mvimyinv_ioreadxscan, .iorite = mvimyinv_ioritexscan, .iolen = mvimyinv_iolen},
         {.ioread = mvimyinv_ioreadyscan, .iorite = mvimyinv_ioriteyscan},
         {.imap = mvimyinv_imap, .imapr = mvimyinv_imapr}},
        {"field", [](mvimage* v, mvimage* p) { return mvimage_yodd(v, p, 0, 1); },
         {.ioset = mvimyodd_ioset, .bxts = mvimyodd_bxts, .bxtp = mvimyodd_bxtp, .bxta = mvimyodd_bxta,
          .bxtw = mvimyodd_bxtw, .imapset = mvimyodd_imapset, .imap = mvimyodd_imap,
          .imapr = mvimyodd_imapr, .aeiou = mvimyodd_aeiou, .xwind = mvimyodd_xwind},
         {.ioread = mvimyodd_ioreadxscan, .iorite = mvimyodd_ioritexscan, .iolen = mvimyodd_iolen},
         {.ioread = mvimyodd_ioreadyscan, .iorite = mvimyodd_ioriteyscan},
         {.imap = mvimyodd_imap, .imapr = mvimyodd_imapr}},
    };
    for (const LineKind& k : lines) {
        SCOPED_TRACE(k.name);
        mvimage v;
        ASSERT_EQ(0, k.build(&v, &mem));
        expect_slots(v, k.idle);
        ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
        expect_slots(v, k.xscan);
        ASSERT_EQ(1, v.ioset(&v, MVMODE_YSCAN, low16, all));
        expect_slots(v, k.yscan);
        ASSERT_GT(v.imapset(&v, 0, low16, all), 0);
        expect_slots(v, k.mapped);
    }

    // The clipping view.
    const mvywindow clips[1] = {{{0, 0}, {2, 2}}};
    mvimage clip;
    ASSERT_EQ(0, mvimage_clipper(&clip, &mem, clips, 1, 0));
    expect_slots(clip, {.ioread = mvimnull2_ioread, .ioset = mvimclip_ioset, .bxts = mvimnull2_bxts,
                        .aeiou = mvimclip_aeiou, .xwind = mvimclip_xwind});
    ASSERT_EQ(1, clip.ioset(&clip, 0, low16, all));
    expect_slots(clip, {.ioread = mvimnull2_ioread, .iorite = mvimclip_iorite, .iolen = mvimclip_iolen});

    // The type converter: its three strategies.
    mvimage conv;
    mvpixfmt u8 = Mem::format(MVTYPE_U8, 8, 3);
    ASSERT_EQ(0, mvimage_converter(&conv, &mem, nullptr, 0, 0, 0, 0));
    expect_slots(conv, {.ioset = mvimconv_ioset, .bxts = mvimconv_bxts, .imapset = mvimconv_imapset,
                        .aeiou = mvimconv_aeiou, .xwind = mvimconv_xwind});
    ASSERT_EQ(1, conv.ioset(&conv, 0, low16, all));
    const Slots supported{.ioread = mvimconv_ioread_supported, .iorite = mvimconv_iorite_supported,
                          .iowait = mvimconv_iowait_supported, .iolen = mvimconv_iolen_supported};
    expect_slots(conv, supported);
    ASSERT_EQ(1, conv.bxts(&conv, 0, low16, all));
    expect_slots(conv, {.bxtp = mvimconv_bxtp, .bxta = mvimconv_bxta_supported, .bxtw = mvimconv_bxtw});
    ASSERT_GT(conv.imapset(&conv, 0, low16, all), 0);
    expect_slots(conv, {.imap = mvimconv_imap, .imapr = mvimconv_imapr});
    ASSERT_EQ(0, mvimage_converter(&conv, &mem, &u8, 0, 0, 8, 0));
    ASSERT_EQ(1, conv.ioset(&conv, 0, MVTYPE_U8, all));
    expect_slots(conv, {.ioread = mvimconv_ioread_almostsupported, .iorite = mvimconv_iorite_almostsupported,
                        .iowait = mvimconv_iowait_supported, .iolen = mvimconv_iolen_supported});
    ASSERT_EQ(1, conv.ioset(&conv, MVMODE_YSCAN, MVTYPE_U8, all));
    expect_slots(conv, {.ioread = mvimconv_ioreadpfbix, .iorite = mvimconv_ioritepfbix});
    ASSERT_EQ(1, conv.bxts(&conv, 0, MVTYPE_U8, all));
    expect_slots(conv, {.bxta = mvimconv_bxta_unsupported});

    // The colour converter: unchanged and converted runs.
    mvimage clr;
    ASSERT_EQ(0, mvimage_colorconverter(&clr, &mem, MVCS_RGB, 0));
    expect_slots(clr, {.ioset = mvimclr_ioset, .bxts = mvimclr_bxts, .imapset = mvimclr_imapset,
                       .aeiou = mvimclr_aeiou, .xwind = mvimclr_xwind});
    ASSERT_EQ(1, clr.ioset(&clr, 0, low16, all));
    expect_slots(clr, {.ioread = mvimclr_ioread_supported, .iorite = mvimclr_iorite_supported,
                       .iolen = mvimclr_iolen});
    ASSERT_EQ(1, clr.bxts(&clr, 0, low16, all));
    expect_slots(clr, {.bxtp = mvimclr_bxtp, .bxta = mvimclr_bxta, .bxtw = mvimclr_bxtw});
    ASSERT_GT(clr.imapset(&clr, 0, low16, all), 0);
    expect_slots(clr, {.imap = mvimclr_imap, .imapr = mvimclr_imapr});
    ASSERT_EQ(0, mvimage_colorconverter(&clr, &mem, MVCS_HSB, 0));
    ASSERT_EQ(1, clr.ioset(&clr, 0, low16, all));
    expect_slots(clr, {.ioread = mvimclr_ioreadpfbix, .iorite = mvimclr_ioritepfbix, .iolen = mvimclr_iolen});

    // The colour slice: its three strategies.
    mvimage slice;
    ASSERT_EQ(0, mvimage_colorslice(&slice, &mem, 0, 2));
    expect_slots(slice, {.ioset = mvimclrslice_ioset, .bxts = mvimclrslice_bxts, .imapset = mvimnull2_imapset,
                         .aeiou = mvimclrslice_aeiou, .xwind = mvimclrslice_xwind});
    const Slots passthru{.ioread = mvimclrslice_ioreadpassthru, .iorite = mvimclrslice_ioritepassthru,
                         .iowait = mvimclrslice_iowait, .iolen = mvimclrslice_iolen};
    ASSERT_EQ(1, slice.ioset(&slice, 0, low16, 1));
    expect_slots(slice, passthru);
    ASSERT_EQ(1, slice.bxts(&slice, 0, low16, 1));
    expect_slots(slice, {.bxtp = mvimclrslice_bxtp, .bxta = mvimclrslice_bxta, .bxtw = mvimclrslice_bxtw});
    ASSERT_EQ(0, mvimage_setwind(&slice, 1, 0, 3, 2));
    ASSERT_EQ(1, slice.ioset(&slice, 0, low16, 1));
    expect_slots(slice, {.ioread = mvimclrslice_ioreadopaque, .iorite = mvimclrslice_ioriteopaque});
    mvimage picky = mem;
    picky.ioset = whole_pixels_only;
    ASSERT_EQ(0, mvimage_colorslice(&slice, &picky, 0, 2));  // following would reset picky.ioset
    ASSERT_EQ(1, slice.ioset(&slice, 0, low16, 1));
    expect_slots(slice, {.ioread = mvimclrslice_ioreadpfbix, .iorite = mvimclrslice_ioritepfbix});

    // Called by name, a routine does what the slot does; a null record is
    // refused.
    uint16_t line[8 * 3] = {};
    ASSERT_EQ(1, mvimmem_ioset(&mem, 0, low16, all));
    EXPECT_EQ(8u, mvimmem_ioreadxscan(&mem, 0, line, 8, 0, 1));
    EXPECT_EQ(0, std::memcmp(line, rgb.bytes.data() + 8 * mem.pixelsize, sizeof line));
    EXPECT_EQ(MVERR_USAGE, mvimmem_ioset(nullptr, 0, low16, all));
    EXPECT_EQ(0u, mvimconv_ioreadpfbix(nullptr, 0, line, 8, 0, 0));
    EXPECT_EQ(nullptr, mvimyinv_xwind(nullptr, nullptr, 's'));
}

// ---- byte swapping --------------------------------------------------------

TEST(ViewRules, ByteSwapsApplyToTwoAndFourBytePixiesOnly) {
    struct Case {
        uint32_t type;
        bool swaps;
    };
    const Case cases[] = {{MVTYPE_U8, false},    {MVTYPE_U16, true},   {MVTYPE_U32, true},
                          {MVTYPE_I32, true},    {MVTYPE_FLOAT, true}, {MVTYPE_DOUBLE, false}};
    const uint8_t pattern[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    for (const Case& c : cases) {
        for (const bool stored_foreign : {true, false}) {
            SCOPED_TRACE("type " + std::to_string(c.type) + (stored_foreign ? " stored" : " asked") + " swapped");
            mvpixfmt f = Mem::format(c.type, 0, 2);
            if (stored_foreign) f.byteorder = MVREQ_SWAPPED;
            Mem m(1, 1, f);
            std::memcpy(m.bytes.data(), pattern, m.bytes.size());
            const uint32_t request = c.type | (stored_foreign ? 0 : MVREQ_SWAPPED);
            // Runs, both directions.
            ASSERT_EQ(1, m.im.ioset(&m.im, 0, request, 3));
            uint8_t got[16] = {};
            ASSERT_EQ(1u, m.im.ioread(&m.im, 0, got, 1, 0, 0));
            const uint32_t size = m.im.pixiesize;
            for (uint32_t i = 0; i < m.bytes.size(); ++i) {
                const uint32_t from = c.swaps ? (i / size) * size + (size - 1 - i % size) : i;
                ASSERT_EQ(pattern[from], got[i]) << "byte " << i;
            }
            ASSERT_EQ(1u, m.im.iorite(&m.im, 0, got, 1, 0, 0));
            EXPECT_EQ(0, std::memcmp(m.bytes.data(), pattern, m.bytes.size()));
            // Scattered reads take the same rule.
            ASSERT_EQ(1, m.im.bxts(&m.im, 0, request, 3));
            mvbxtentry list[1] = {{0, 0, 0}};
            uint8_t scattered[16] = {};
            ASSERT_EQ(1u, m.im.bxta(&m.im, -1, scattered, list, 1, 2));
            EXPECT_EQ(0, std::memcmp(scattered, got, m.bytes.size()));
        }
    }
}

// ---- mapping through short tables -----------------------------------------

TEST(ViewRules, ShortTablesMapWhatTheyCoverAndPassTheRest) {
    std::mt19937 rng(5);
    struct Case {
        uint32_t type, bits, entries;
    };
    const Case cases[] = {{MVTYPE_U16, 16, 300}, {MVTYPE_U16, 12, 4095}, {MVTYPE_U16, 12, 1},
                          {MVTYPE_U32, 32, 1000}, {MVTYPE_U32, 20, 70000}};
    for (const Case& c : cases) {
        SCOPED_TRACE("type " + std::to_string(c.type) + "/" + std::to_string(c.bits) + ", " +
                     std::to_string(c.entries) + " entries");
        const uint32_t maxval = c.bits == 32 ? 0xFFFFFFFFu : (1u << c.bits) - 1;
        Mem src(37, 9, c.type, c.bits), dst(37, 9, c.type, c.bits);
        src.randomize(rng, maxval);
        // Half the values inside the table.
        for (size_t i = 0; i < src.bytes.size() / src.im.pixiesize; i += 2) {
            const uint32_t v = rng() % c.entries;
            std::memcpy(&src.bytes[i * src.im.pixiesize], &v, src.im.pixiesize);
        }
        std::vector<uint32_t> table(c.entries);
        for (auto& t : table) t = rng() & maxval;
        int32_t rc;
        if (c.type == MVTYPE_U16) {
            const std::vector<uint16_t> t16(table.begin(), table.end());
            rc = mvip8_pixmaps(nullptr, &src.im, &dst.im, t16.data(), c.entries);
        } else {
            rc = mvip8_pixmapl(nullptr, &src.im, &dst.im, table.data(), c.entries);
        }
        ASSERT_EQ(0, rc);
        for (size_t i = 0; i < src.bytes.size() / src.im.pixiesize; ++i) {
            uint32_t v = 0, got = 0;
            std::memcpy(&v, &src.bytes[i * src.im.pixiesize], src.im.pixiesize);
            std::memcpy(&got, &dst.bytes[i * dst.im.pixiesize], dst.im.pixiesize);
            ASSERT_EQ(v < c.entries ? table[v] : v, got) << "value " << v;
        }
    }
    // A table held in an image follows the same rule; an empty table is refused.
    Mem src(4, 1, MVTYPE_U16, 16), dst(4, 1, MVTYPE_U16, 16), lut(3, 1, MVTYPE_U16, 16);
    const uint16_t values[4] = {0, 2, 3, 60000}, entries[3] = {7, 8, 9};
    std::memcpy(src.bytes.data(), values, sizeof values);
    std::memcpy(lut.bytes.data(), entries, sizeof entries);
    ASSERT_EQ(0, mvip8_pixmaplut(nullptr, &src.im, &dst.im, &lut.im));
    const uint16_t want[4] = {7, 9, 3, 60000};
    EXPECT_EQ(0, std::memcmp(dst.bytes.data(), want, sizeof want));
    EXPECT_EQ(MVERR_USAGE, mvip8_pixmaps(nullptr, &src.im, &dst.im, entries, 0));
}

// ---- 3 x 3 lowpass with a negative weight -----------------------------------

TEST(ViewRules, LowpassWithNegativeWeightClipsOnlyAbove) {
    std::mt19937 rng(8);
    for (const uint32_t bits : {8u, 12u, 16u}) {
        const uint32_t type = bits == 8 ? MVTYPE_U8 : MVTYPE_U16;
        const int64_t top = (int64_t{1} << bits) - 1;
        for (const int32_t w : {-7, -5, -1}) {
            SCOPED_TRACE(std::to_string(bits) + " bits, weight " + std::to_string(w));
            const uint32_t W = 19, H = 6;
            Mem src(W, H, type, bits), dst(W, H, type, bits);
            src.randomize(rng, uint32_t(top));
            auto at = [&](const Mem& m, int x, int y) {
                x = std::clamp(x, 0, int(W) - 1);
                y = std::clamp(y, 0, int(H) - 1);
                uint32_t v = 0;
                std::memcpy(&v, &m.bytes[(size_t(y) * W + x) * m.im.pixiesize], m.im.pixiesize);
                return int64_t{v};
            };
            ASSERT_EQ(0, mvip8_3x3lowpass(nullptr, &src.im, &dst.im, w));
            int negative = 0;
            for (int y = 0; y < int(H); ++y)
                for (int x = 0; x < int(W); ++x) {
                    int64_t ring = 0;
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dx = -1; dx <= 1; ++dx)
                            if (dx || dy) ring += at(src, x + dx, y + dy);
                    const int64_t div = w + 8;
                    // Signed division truncating toward zero, then min(maxval, .);
                    // a negative result keeps its low bits.
                    const int64_t q = std::min<int64_t>(top, (ring + w * at(src, x, y) + div / 2) / div);
                    negative += q < 0;
                    ASSERT_EQ(q & top, at(dst, x, y)) << "at " << x << "," << y;
                }
            if (w <= -5) {
                EXPECT_GT(negative, 0);
            }
        }
    }
}

// ---- pair operations on a one-line window -----------------------------------

TEST(ViewRules, PairOperationsCopyALoneLine) {
    using Op = std::function<int32_t(mvimage*, mvimage*)>;
    const std::pair<const char*, Op> ops[] = {
        {"pairave", [](mvimage* s, mvimage* d) { return mvip8_ilacepairave(nullptr, s, d); }},
        {"pairdup even", [](mvimage* s, mvimage* d) { return mvip8_ilacepairdup(nullptr, s, d, 0); }},
        {"pairdup odd", [](mvimage* s, mvimage* d) { return mvip8_ilacepairdup(nullptr, s, d, 1); }},
        {"pairswap", [](mvimage* s, mvimage* d) { return mvip8_ilacepairswap(nullptr, s, d); }},
    };
    std::mt19937 rng(3);
    for (const auto& [name, op] : ops) {
        SCOPED_TRACE(name);
        Mem src(6, 4, MVTYPE_U16, 16, 3), dst(6, 4, MVTYPE_U16, 16, 3);
        src.randomize(rng, 0xFFFF);
        const std::vector<uint8_t> before = src.bytes;
        ASSERT_EQ(0, mvimage_setwind(&src.im, 1, 2, 5, 3));
        ASSERT_EQ(0, mvimage_setwind(&dst.im, 2, 0, 6, 1));
        ASSERT_EQ(0, op(&src.im, &dst.im));
        const size_t pixel = src.im.pixelsize;
        const std::vector<uint8_t> zeros(pixel, 0);
        for (uint32_t y = 0; y < 4; ++y)
            for (uint32_t x = 0; x < 6; ++x) {
                const bool hit = y == 0 && x >= 2;
                const uint8_t* want = hit ? &before[(2 * 6 + x - 1) * pixel] : zeros.data();
                ASSERT_EQ(0, std::memcmp(&dst.bytes[(y * 6 + x) * pixel], want, pixel)) << x << "," << y;
            }
        ASSERT_EQ(0, op(&src.im, &src.im));  // in place: unchanged
        EXPECT_EQ(before, src.bytes);
    }
}

}  // namespace
