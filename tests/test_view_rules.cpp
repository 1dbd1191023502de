// Rules of records and views that outside checks found broken:
// self-parent views, the type converter's presented format and the slot
// routines exported by name.  (One-line pair operations, also found
// broken, are held to in the interlace tests.)
#include "test_util.hpp"

#include <source_location>

namespace {

using namespace mvtest;

mvpixfmt format_of(uint32_t type, uint32_t bits, uint32_t pixies) {
    mvpixfmt f{};
    EXPECT_EQ(0, mvpixfmt_set(&f, type, bits, pixies, pixies == 3 ? MVCS_RGB : MVCS_GREY));
    return f;
}

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
            const uint32_t request = view->pixfmt.datatype | MVREQ_LOW;
            EXPECT_EQ(MVERR_LOGIC, view->ioset(view, 0, request, 1));
            // So do the other set-ups, where the kind has them.
            EXPECT_TRUE(view->bxts == mvimnull2_bxts || view->bxts(view, 0, request, 1) == MVERR_LOGIC);
            EXPECT_TRUE(view->imapset == mvimnull2_imapset || view->imapset(view, 0, request, 1) == MVERR_LOGIC);
            uint8_t buffer[64] = {};
            EXPECT_EQ(0u, view->ioread(view, 0, buffer, 4, 0, 0));
            EXPECT_EQ(0u, view->aeiou(view, 'b', 0, 0));
        }
    }
}

// ---- the type converter's format ----------------------------------------------

TEST(ViewRules, ConverterPresentsTheGivenFormatWithNewbitsOrTheParentsBits) {
    Image parent(Format{MVTYPE_U16, 12, 3, 0, 1, MVCS_RGB}, 5, 3, Layout{0});
    parent.randomize(21);
    const mvpixfmt pf = parent.rec()->pixfmt;
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
        ASSERT_EQ(0, mvimage_converter(&view, parent.rec(), c.give ? &c.newfmt : nullptr, 1, 0, c.newbits, 0));
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
            ASSERT_EQ(c.expect(uint16_t(parent.get(i % 5, i / 5, 0))), value) << "pixel " << i;
        }
    }
}

// ---- slot routines by name ---------------------------------------------------

// A slot and the routine it should hold, found by its offset in the record.
struct SlotCheck {
    const char* slot;
    size_t offset;
    void* want;
};
#define SLOT(slot, routine) SlotCheck{#slot, offsetof(mvimage, slot), reinterpret_cast<void*>(routine)}
#define SLOT3(slot, routine) SlotCheck{#slot, offsetof(mvimage3, slot), reinterpret_cast<void*>(routine)}
// Slot `slot` holds the kind's routine of the same name.
#define OWN(kind, slot) SLOT(slot, mvim##kind##_##slot)
#define OWN3(kind, slot) SLOT3(slot, mvim##kind##_##slot)
// Every slot of a record holding the kind's routine of its name.
#define ALL_OWN(M, kind)                                                                                            \
    M(kind, ioread), M(kind, iorite), M(kind, iowait), M(kind, ioset), M(kind, iolen), M(kind, bxts), M(kind, bxtp), \
        M(kind, bxta), M(kind, bxtw), M(kind, imapset), M(kind, imap), M(kind, imapr), M(kind, aeiou), M(kind, xwind)

// The code an address leads to.  Under mingw-w64, g++ takes the address of
// an imported function inside some aggregate initialisers as the import
// library's thunk (jmp *__imp_name) instead of the function itself: follow
// such a thunk to the routine the DLL exports.
const void* code_of(const void* fn) {
    const auto* p = static_cast<const unsigned char*>(fn);
#ifdef _WIN32
    if (p && p[0] == 0xFF && p[1] == 0x25) {
        int32_t rel;
        std::memcpy(&rel, p + 2, 4);
        return *reinterpret_cast<const void* const*>(p + 6 + rel);
    }
#endif
    return p;
}

template <class Record>
void expect_slots(const Record& im, std::initializer_list<SlotCheck> checks,
                  std::source_location where = std::source_location::current()) {
    for (const SlotCheck& c : checks) {
        void* held;
        std::memcpy(&held, reinterpret_cast<const char*>(&im) + c.offset, sizeof held);
        EXPECT_EQ(code_of(held), code_of(c.want)) << c.slot << ", checked at line " << where.line();
    }
}

// A memory image that serves whole pixels only, as some frame buffers do.
int32_t whole_pixels_only(mvimage* im, uint32_t mode, uint32_t type, uint32_t mask) {
    if (mask != (1u << im->pixfmt.pixies) - 1) return MVERR_COLORS;
    return mvimmem_ioset(im, mode, type, mask);
}

TEST(ViewRules, SlotsHoldTheExportedRoutines) {
    mvimage null_image;
    mvimage_defnull(&null_image);
    expect_slots(null_image, {ALL_OWN(OWN, null2)});
    mvimage3 null3;
    mvimage3_defnull(&null3);
    expect_slots(null3, {ALL_OWN(OWN3, null3)});

    Image rgb(Format{MVTYPE_U16, 12, 3, 0, 1, MVCS_RGB}, 8, 4, Layout{0});
    mvimage& mem = *rgb.rec();
    const uint32_t all = 7, low16 = MVTYPE_U16 | MVREQ_LOW;
    // Idle: the kind's set-up slots, the null image's for the rest.
    expect_slots(mem, {OWN(mem, ioset), OWN(mem, bxts), OWN(mem, imapset), OWN(mem, aeiou), OWN(mem, xwind), OWN(null2, ioread),
                       OWN(null2, iorite), OWN(null2, iowait), OWN(null2, iolen), OWN(null2, bxtp), OWN(null2, bxta),
                       OWN(null2, bxtw), OWN(null2, imap), OWN(null2, imapr)});
    ASSERT_EQ(1, mem.ioset(&mem, 0, low16, all));
    expect_slots(mem, {SLOT(ioread, mvimmem_ioreadxscan), SLOT(iorite, mvimmem_ioritexscan), OWN(mem, iolen)});
    ASSERT_EQ(1, mem.ioset(&mem, MVMODE_YSCAN, low16, 2));
    expect_slots(mem, {SLOT(ioread, mvimmem_ioreadyscan), SLOT(iorite, mvimmem_ioriteyscan)});
    ASSERT_EQ(1, mem.bxts(&mem, 0, low16, all));
    expect_slots(mem, {OWN(mem, bxtp), SLOT(bxta, mvimmem_bxtauint16)});
    ASSERT_GT(mem.imapset(&mem, 0, low16, all), 0);
    expect_slots(mem, {OWN(mem, imap), OWN(mem, imapr)});
    const std::pair<uint32_t, mvslot_bxta> bxtas[] = {
        {MVTYPE_U8, mvimmem_bxtauint8},  {MVTYPE_U32, mvimmem_bxtauint32}, {MVTYPE_I32, mvimmem_bxtauint32},
        {MVTYPE_FLOAT, mvimmem_bxtafloat}, {MVTYPE_DOUBLE, mvimmem_bxtadouble}};
    for (const auto& [type, routine] : bxtas) {
        Image m(Format{type, 0, 1}, 2, 2);
        ASSERT_EQ(1, m.rec()->bxts(m.rec(), 0, type, 1));
        EXPECT_EQ(code_of(reinterpret_cast<void*>(m.rec()->bxta)), code_of(reinterpret_cast<void*>(routine))) << type;
    }

    // The line views.
    mvimage v;
    ASSERT_EQ(0, mvimage_yinv(&v, &mem, 0));
    expect_slots(v, {OWN(yinv, ioset), OWN(yinv, bxts), OWN(yinv, bxtp), OWN(yinv, bxta), OWN(yinv, bxtw), OWN(yinv, imapset),
                     OWN(yinv, imap), OWN(yinv, imapr), OWN(yinv, aeiou), OWN(yinv, xwind)});
    ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
    expect_slots(v, {SLOT(ioread, mvimyinv_ioreadxscan), SLOT(iorite, mvimyinv_ioritexscan), OWN(yinv, iolen)});
    ASSERT_EQ(1, v.ioset(&v, MVMODE_YSCAN, low16, all));
    expect_slots(v, {SLOT(ioread, mvimyinv_ioreadyscan), SLOT(iorite, mvimyinv_ioriteyscan)});
    ASSERT_EQ(0, mvimage_yodd(&v, &mem, 0, 1));
    expect_slots(v, {OWN(yodd, ioset), OWN(yodd, bxts), OWN(yodd, bxtp), OWN(yodd, bxta), OWN(yodd, bxtw), OWN(yodd, imapset),
                     OWN(yodd, imap), OWN(yodd, imapr), OWN(yodd, aeiou), OWN(yodd, xwind)});
    ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
    expect_slots(v, {SLOT(ioread, mvimyodd_ioreadxscan), SLOT(iorite, mvimyodd_ioritexscan), OWN(yodd, iolen)});
    ASSERT_EQ(1, v.ioset(&v, MVMODE_YSCAN, low16, all));
    expect_slots(v, {SLOT(ioread, mvimyodd_ioreadyscan), SLOT(iorite, mvimyodd_ioriteyscan)});

    // The clipping view.
    const mvywindow clips[1] = {{{0, 0}, {2, 2}}};
    ASSERT_EQ(0, mvimage_clipper(&v, &mem, clips, 1, 0));
    expect_slots(v, {OWN(null2, ioread), OWN(clip, ioset), OWN(null2, bxts), OWN(clip, aeiou), OWN(clip, xwind)});
    ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
    expect_slots(v, {OWN(null2, ioread), OWN(clip, iorite), OWN(clip, iolen)});

    // The type converter: its three strategies.
    const mvpixfmt u8 = format_of(MVTYPE_U8, 8, 3);
    ASSERT_EQ(0, mvimage_converter(&v, &mem, nullptr, 0, 0, 0, 0));
    expect_slots(v, {OWN(conv, ioset), OWN(conv, bxts), OWN(conv, imapset), OWN(conv, aeiou), OWN(conv, xwind)});
    ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
    expect_slots(v, {SLOT(ioread, mvimconv_ioread_supported), SLOT(iorite, mvimconv_iorite_supported),
                     SLOT(iowait, mvimconv_iowait_supported), SLOT(iolen, mvimconv_iolen_supported)});
    ASSERT_EQ(1, v.bxts(&v, 0, low16, all));
    expect_slots(v, {OWN(conv, bxtp), SLOT(bxta, mvimconv_bxta_supported), OWN(conv, bxtw)});
    ASSERT_GT(v.imapset(&v, 0, low16, all), 0);
    expect_slots(v, {OWN(conv, imap), OWN(conv, imapr)});
    ASSERT_EQ(0, mvimage_converter(&v, &mem, &u8, 0, 0, 8, 0));
    ASSERT_EQ(1, v.ioset(&v, 0, MVTYPE_U8, all));
    expect_slots(v, {SLOT(ioread, mvimconv_ioread_almostsupported), SLOT(iorite, mvimconv_iorite_almostsupported),
                     SLOT(iowait, mvimconv_iowait_supported), SLOT(iolen, mvimconv_iolen_supported)});
    ASSERT_EQ(1, v.ioset(&v, MVMODE_YSCAN, MVTYPE_U8, all));
    expect_slots(v, {SLOT(ioread, mvimconv_ioreadpfbix), SLOT(iorite, mvimconv_ioritepfbix)});
    ASSERT_EQ(1, v.bxts(&v, 0, MVTYPE_U8, all));
    expect_slots(v, {SLOT(bxta, mvimconv_bxta_unsupported)});

    // The colour converter: unchanged and converted runs.
    ASSERT_EQ(0, mvimage_colorconverter(&v, &mem, MVCS_RGB, 0));
    expect_slots(v, {OWN(clr, ioset), OWN(clr, bxts), OWN(clr, imapset), OWN(clr, aeiou), OWN(clr, xwind)});
    ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
    expect_slots(v, {SLOT(ioread, mvimclr_ioread_supported), SLOT(iorite, mvimclr_iorite_supported), OWN(clr, iolen)});
    ASSERT_EQ(1, v.bxts(&v, 0, low16, all));
    expect_slots(v, {OWN(clr, bxtp), OWN(clr, bxta), OWN(clr, bxtw)});
    ASSERT_GT(v.imapset(&v, 0, low16, all), 0);
    expect_slots(v, {OWN(clr, imap), OWN(clr, imapr)});
    ASSERT_EQ(0, mvimage_colorconverter(&v, &mem, MVCS_HSB, 0));
    ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
    expect_slots(v, {SLOT(ioread, mvimclr_ioreadpfbix), SLOT(iorite, mvimclr_ioritepfbix), OWN(clr, iolen)});

    // The colour slice: its three strategies.
    ASSERT_EQ(0, mvimage_colorslice(&v, &mem, 0, 2));
    expect_slots(v, {OWN(clrslice, ioset), OWN(clrslice, bxts), OWN(null2, imapset), OWN(clrslice, aeiou), OWN(clrslice, xwind)});
    ASSERT_EQ(1, v.ioset(&v, 0, low16, 1));
    expect_slots(v, {SLOT(ioread, mvimclrslice_ioreadpassthru), SLOT(iorite, mvimclrslice_ioritepassthru),
                     OWN(clrslice, iowait), OWN(clrslice, iolen)});
    ASSERT_EQ(1, v.bxts(&v, 0, low16, 1));
    expect_slots(v, {OWN(clrslice, bxtp), OWN(clrslice, bxta), OWN(clrslice, bxtw)});
    ASSERT_EQ(0, mvimage_setwind(&v, 1, 0, 3, 2));
    ASSERT_EQ(1, v.ioset(&v, 0, low16, 1));
    expect_slots(v, {SLOT(ioread, mvimclrslice_ioreadopaque), SLOT(iorite, mvimclrslice_ioriteopaque)});
    mvimage picky = mem;
    picky.ioset = whole_pixels_only;
    ASSERT_EQ(0, mvimage_colorslice(&v, &picky, 0, 2));  // following would reset picky.ioset
    ASSERT_EQ(1, v.ioset(&v, 0, low16, 1));
    expect_slots(v, {SLOT(ioread, mvimclrslice_ioreadpfbix), SLOT(iorite, mvimclrslice_ioritepfbix)});

    // The 3-D memory image and the views over or into 3-D records.
    uint16_t voxels[4 * 3 * 2 * 3] = {};
    const uint32_t dims3[3] = {4, 3, 2};
    mvimage3 m3, v3;
    ASSERT_EQ(0, mvimage3_memory(&m3, voxels, dims3, 0, MVTYPE_U16, 12, 3, MVCS_RGB, 0));
    expect_slots(m3, {OWN3(mem3, ioset), OWN3(mem3, bxts), OWN3(mem3, imapset), OWN3(mem3, aeiou), OWN3(mem3, xwind)});
    const std::pair<uint32_t, std::pair<mvslot3_io, mvslot3_io>> scans[] = {
        {0, {mvimmem3_ioreadxscan, mvimmem3_ioritexscan}},
        {MVMODE_YSCAN, {mvimmem3_ioreadyscan, mvimmem3_ioriteyscan}},
        {MVMODE_ZSCAN, {mvimmem3_ioreadzscan, mvimmem3_ioritezscan}}};
    for (const auto& [mode, routines] : scans) {
        ASSERT_EQ(1, m3.ioset(&m3, mode, low16, all));
        expect_slots(m3, {SLOT3(ioread, routines.first), SLOT3(iorite, routines.second), OWN3(mem3, iolen)});
    }
    ASSERT_EQ(1, m3.bxts(&m3, 0, low16, all));
    expect_slots(m3, {OWN3(mem3, bxtp), SLOT3(bxta, mvimmem3_bxtauint16)});
    ASSERT_GT(m3.imapset(&m3, 0, low16, all), 0);
    expect_slots(m3, {OWN3(mem3, imap), OWN3(mem3, imapr)});
    ASSERT_EQ(0, mvimage_def2from3(&v, &m3, 0, 4, 1));
    ASSERT_EQ(1, v.ioset(&v, 0, low16, all));
    ASSERT_GT(v.imapset(&v, 0, low16, all), 0);
    ASSERT_EQ(1, v.bxts(&v, 0, low16, all));
    expect_slots(v, {ALL_OWN(OWN, 3to2)});
    ASSERT_EQ(0, mvimage_def3from2(&v3, &mem, 0));
    ASSERT_EQ(1, v3.ioset(&v3, MVMODE_ZSCAN, low16, all));
    ASSERT_GT(v3.imapset(&v3, 0, low16, all), 0);
    ASSERT_EQ(1, v3.bxts(&v3, 0, low16, all));
    expect_slots(v3, {ALL_OWN(OWN3, 2to3)});
    ASSERT_EQ(0, mvimage3_def3from3(&v3, &m3, 1, 0, 0, 0));
    ASSERT_GE(v3.ioset(&v3, 0, low16, all), 0);
    ASSERT_GE(v3.bxts(&v3, 0, low16, all), 0);
    expect_slots(v3, {OWN3(3to3, ioread), OWN3(3to3, iorite), OWN3(3to3, iowait), OWN3(3to3, ioset), OWN3(3to3, iolen),
                      OWN3(3to3, bxts), OWN3(3to3, bxtp), OWN3(3to3, bxta), OWN3(3to3, bxtw), OWN3(null3, imapset),
                      OWN3(3to3, aeiou), OWN3(3to3, xwind)});
    // The plane-wise kinds share their code but hold routines of their own names.
    ASSERT_EQ(0, mvimage3_converter(&v3, &m3, nullptr, 0, 0, 0, 0));
    ASSERT_EQ(1, v3.ioset(&v3, 0, low16, all));
    expect_slots(v3, {OWN3(con3, ioread), OWN3(con3, iorite), OWN3(con3, iowait), OWN3(con3, iolen), OWN3(con3, ioset),
                      OWN3(con3, bxts), OWN3(con3, imapset), OWN3(con3, aeiou), OWN3(con3, xwind)});
    ASSERT_EQ(0, mvimage3_colorconverter(&v3, &m3, MVCS_RGB, 0));
    ASSERT_EQ(1, v3.bxts(&v3, 0, low16, all));
    ASSERT_GT(v3.imapset(&v3, 0, low16, all), 0);
    expect_slots(v3, {OWN3(clr3, bxtp), OWN3(clr3, bxta), OWN3(clr3, bxtw), OWN3(clr3, imap), OWN3(clr3, imapr),
                      OWN3(clr3, ioset), OWN3(clr3, xwind)});
    ASSERT_EQ(0, mvimage3_colorslice(&v3, &m3, 0, 2));
    ASSERT_EQ(1, v3.ioset(&v3, 0, low16, 1));
    expect_slots(v3, {OWN3(clrslic3, ioread), OWN3(clrslic3, iorite), OWN3(clrslic3, ioset), OWN3(clrslic3, aeiou)});

    // Called by name, a routine does what the slot does; a null record is
    // refused.
    uint16_t line[8 * 3] = {};
    ASSERT_EQ(1, mvimmem_ioset(&mem, 0, low16, all));
    EXPECT_EQ(8u, mvimmem_ioreadxscan(&mem, 0, line, 8, 0, 1));
    EXPECT_EQ(0, std::memcmp(line, rgb.row(1), sizeof line));
    EXPECT_EQ(MVERR_USAGE, mvimmem_ioset(nullptr, 0, low16, all));
    EXPECT_EQ(0u, mvimconv_ioreadpfbix(nullptr, 0, line, 8, 0, 0));
    EXPECT_EQ(nullptr, mvimyinv_xwind(nullptr, nullptr, 's'));
    EXPECT_EQ(0u, mvimmem3_ioreadzscan(nullptr, 0, line, 2, 0, 0, 0));
    EXPECT_EQ(MVERR_USAGE, mvimclrslic3_ioset(nullptr, 0, low16, 1));
}

}  // namespace
