// mvdemo - a short tour of mvip memory images.
//
// Builds small images in several pixel formats, sets windows, moves runs
// (x-scan, y-scan, continuing), scattered pixels and mapped lines through
// them, and shows what the library answers to a few requests it must
// refuse.  Every step is checked; the exit status is 0 only when every
// step gave the expected answer.

#include "mvip.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

int g_steps = 0;
int g_failures = 0;

bool check(bool ok, const char* what) {
    ++g_steps;
    if (!ok) {
        ++g_failures;
        std::printf("  !! FAILED: %s\n", what);
    }
    return ok;
}

bool check_eq(long long got, long long want, const char* what) {
    ++g_steps;
    if (got != want) {
        ++g_failures;
        std::printf("  !! FAILED: %s: got %lld, expected %lld\n", what, got, want);
        return false;
    }
    return true;
}

// A result code the library must give, printed with its message.
void expect_code(const char* what, long long got, long long want) {
    const char* msg = mverrnomesg(int32_t(got));
    std::printf("  %-46s -> %4lld  %s\n", what, got, msg ? msg : "");
    check_eq(got, want, what);
}

void heading(const char* title) { std::printf("\n== %s\n", title); }

void show(const char* label, const uint8_t* v, size_t n) {
    std::printf("  %-30s", label);
    for (size_t i = 0; i < n; ++i) std::printf(" %3u", unsigned(v[i]));
    std::printf("\n");
}
void show_hex(const char* label, const uint16_t* v, size_t n) {
    std::printf("  %-30s", label);
    for (size_t i = 0; i < n; ++i) std::printf(" %04X", unsigned(v[i]));
    std::printf("\n");
}
template <class F>
void show_real(const char* label, const F* v, size_t n) {
    std::printf("  %-30s", label);
    for (size_t i = 0; i < n; ++i) std::printf(" %6.2f", double(v[i]));
    std::printf("\n");
}

template <class T>
bool same(const T* a, const T* b, size_t n) {
    return std::memcmp(a, b, n * sizeof(T)) == 0;
}

// ---------------------------------------------------------------------------
// 8-bit grey, 16 x 8, pixel memory from mvimage_memmalloc.
void demo_grey8(mvimage* im) {
    heading("8-bit grey 16 x 8 (mvimage_memmalloc)");
    mvimage& r = *im;
    std::printf("  kind %s, %d x %d, %u byte(s)/pixel, %s\n", r.kind, r.imdim.se.x,
                r.imdim.se.y, r.pixelsize, mvcolorspace_name(int32_t(r.pixfmt.colorspace)));
    std::printf("  aeiou: 'I' %u pixels per transfer, 'b' %u\n", r.aeiou(im, 'I', 0, 0),
                r.aeiou(im, 'b', 0, 0));
    check_eq(r.aeiou(im, 'b', 0, 0), 2, "aeiou('b') of a library-allocated image");

    // Fill every line with 16*y + x, one iorite per line.
    check_eq(mvimage_setwind(im, 0, 0, -1, -1), 0, "whole-image window");
    check_eq(r.ioset(im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1, "ioset x-scan");
    uint8_t line[16];
    for (int32_t y = 0; y < 8; ++y) {
        for (int x = 0; x < 16; ++x) line[x] = uint8_t(16 * y + x);
        check_eq(r.iorite(im, 0, line, 16, 0, y), 16, "iorite one line");
    }
    std::printf("  wrote 16*y + x into every pixel, one iorite per line\n");

    // A window: x 4..11, y 2..5.  Coordinates are now window-relative.
    check_eq(mvimage_setwind(im, 4, 2, 12, 6), 0, "window (4,2)-(12,6)");
    std::printf("  window (4,2)-(12,6), 8 x 4\n");
    uint8_t buf[32] = {};
    check_eq(r.ioset(im, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1, "ioset x-scan");
    check_eq(r.iolen(im, 100, 0, 0), 8, "iolen of a line");
    check_eq(r.ioread(im, 0, buf, 100, 0, 0), 8, "ioread line 0");
    show("x-scan line 0 (asked 100):", buf, 8);
    const uint8_t want_line[8] = {36, 37, 38, 39, 40, 41, 42, 43};
    check(same(buf, want_line, 8), "x-scan values");

    check_eq(r.ioset(im, MVMODE_YSCAN, MVTYPE_U8 | MVREQ_LOW, 1), 1, "ioset y-scan");
    check_eq(r.ioread(im, 0, buf, 100, 2, 0), 4, "ioread column 2");
    show("y-scan column 2:", buf, 4);
    const uint8_t want_col[4] = {38, 54, 70, 86};
    check(same(buf, want_col, 4), "y-scan values");

    check_eq(r.ioset(im, MVMODE_CONTINUE, MVTYPE_U8 | MVREQ_LOW, 1), 1, "ioset continuing");
    check_eq(r.iolen(im, 100, 6, 0), 26, "iolen of a continuing run from (6,0)");
    check_eq(r.ioread(im, 0, buf, 10, 6, 0), 10, "continuing ioread");
    show("continuing run from (6,0):", buf, 10);
    const uint8_t want_cont[10] = {42, 43, 52, 53, 54, 55, 56, 57, 58, 59};
    check(same(buf, want_cont, 10), "continuing run values");

    check_eq(r.ioset(im, MVMODE_YSCAN | MVMODE_CONTINUE, MVTYPE_U8 | MVREQ_LOW, 1), 1,
             "ioset y continuing");
    check_eq(r.ioread(im, 0, buf, 10, 6, 2), 6, "y continuing ioread (ends at window)");
    show("y continuing from (6,2):", buf, 6);
    const uint8_t want_ycont[6] = {74, 90, 43, 59, 75, 91};
    check(same(buf, want_ycont, 6), "y continuing values");

    // One continuing write of 12 pixels, then the whole image.
    check_eq(r.ioset(im, MVMODE_CONTINUE, MVTYPE_U8 | MVREQ_LOW, 1), 1, "ioset continuing");
    for (int i = 0; i < 12; ++i) buf[i] = uint8_t(200 + i);
    check_eq(r.iorite(im, 0, buf, 12, 4, 1), 12, "continuing iorite");
    std::printf("  wrote 200..211 as one run from window (4,1); the whole image now:\n");
    check_eq(mvimage_setwind(im, 0, 0, -1, -1), 0, "whole-image window");
    check_eq(r.ioset(im, MVMODE_CONTINUE, MVTYPE_U8 | MVREQ_LOW, 1), 1, "ioset continuing");
    uint8_t all[128];
    check_eq(r.ioread(im, 0, all, 128, 0, 0), 128, "whole image in one continuing run");
    for (int y = 0; y < 8; ++y) {
        std::printf("   ");
        for (int x = 0; x < 16; ++x) std::printf(" %3u", unsigned(all[16 * y + x]));
        std::printf("\n");
    }
    check(all[3 * 16 + 8] == 200 && all[3 * 16 + 11] == 203 && all[4 * 16 + 4] == 204 &&
              all[4 * 16 + 11] == 211 && all[4 * 16 + 12] == 76,
          "continuing write landed inside the window only");
}

// ---------------------------------------------------------------------------
// 8-bit BGR, 6 x 4, record and pixels from mvimage_memmalloc2.
void demo_bgr(mvimage* im) {
    heading("8-bit BGR 6 x 4 (mvimage_memmalloc2)");
    mvimage& r = *im;
    std::printf("  kind %s, %u pixies (%s), %u bytes/pixel, pixel %.2f x %.2f %s\n", r.kind,
                r.pixfmt.pixies, mvcolorspace_name(int32_t(r.pixfmt.colorspace)), r.pixelsize,
                double(r.xwidth), double(r.ywidth), mvunits_name(r.xunits));

    check_eq(r.ioset(im, 0, MVTYPE_U8 | MVREQ_LOW, 7), 1, "ioset all pixies");
    uint8_t px[18];
    for (int32_t y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x) {
            px[3 * x + 0] = uint8_t(10 * x);      // blue
            px[3 * x + 1] = uint8_t(100 + y);     // green
            px[3 * x + 2] = uint8_t(200 + x);     // red
        }
        check_eq(r.iorite(im, 0, px, 6, 0, y), 6, "iorite BGR line");
    }
    std::printf("  wrote B = 10*x, G = 100 + y, R = 200 + x\n");

    uint8_t buf[24] = {};
    check_eq(r.ioset(im, 0, MVTYPE_U8 | MVREQ_LOW, 2), 1, "ioset green only (mask 2)");
    check_eq(r.ioread(im, 0, buf, 6, 0, 1), 6, "read green of line 1");
    show("green of line 1:", buf, 6);
    check(buf[0] == 101 && buf[5] == 101, "green slice values");

    check_eq(r.ioset(im, 0, MVTYPE_U8 | MVREQ_LOW, 4), 1, "ioset red only (mask 4)");
    uint8_t zeros[6] = {};
    check_eq(r.iorite(im, 0, zeros, 6, 0, 2), 6, "write red of line 2");
    check_eq(r.ioset(im, 0, MVTYPE_U8 | MVREQ_LOW, 7), 1, "ioset all pixies");
    check_eq(r.ioread(im, 0, buf, 6, 0, 2), 6, "read line 2");
    show("line 2 after red := 0 (BGR):", buf, 18);
    check(buf[0] == 0 && buf[1] == 102 && buf[2] == 0 && buf[15] == 50 && buf[17] == 0,
          "red slice write touched red only");

    check_eq(r.ioset(im, MVMODE_YSCAN, MVTYPE_U8 | MVREQ_LOW, 6), 1, "ioset y-scan G+R (mask 6)");
    check_eq(r.ioread(im, 0, buf, 4, 3, 0), 4, "read column 3, green and red");
    show("column 3, (G,R) pairs:", buf, 8);
    check(buf[0] == 100 && buf[1] == 203 && buf[4] == 102 && buf[5] == 0 && buf[7] == 203,
          "y-scan slice values");

    // Scattered pixels: prepare a list once, then use it with several codes.
    check_eq(r.bxts(im, 0, MVTYPE_U8 | MVREQ_LOW, 7), 1, "bxts all pixies");
    mvbxtentry list[3] = {{0, 0, 0}, {5, 3, 0}, {2, 1, 0}};
    check_eq(r.bxtp(im, -1, list, 3), -1, "bxtp answers the operation");
    int64_t off[3];
    for (int i = 0; i < 3; ++i) std::memcpy(&off[i], &list[i], sizeof off[i]);
    std::printf("  bxtp: (0,0) (5,3) (2,1) -> byte offsets %" PRId64 " %" PRId64 " %" PRId64 "\n",
                off[0], off[1], off[2]);
    check(off[0] == 0 && off[1] == 69 && off[2] == 24, "bxtp offsets");
    check_eq(r.bxta(im, 0, buf, list, 3, 2), 3, "bxta read");
    show("bxta read (code 2):", buf, 9);
    const uint8_t add[9] = {1, 1, 1, 2, 2, 2, 3, 3, 3};
    std::memcpy(buf, add, sizeof add);
    check_eq(r.bxta(im, 0, buf, list, 3, 1), 3, "bxta add");
    check_eq(r.bxta(im, 0, buf, list, 3, 2), 3, "bxta read");
    show("after add 1,2,3 (code 1):", buf, 9);
    const uint8_t want_add[9] = {1, 101, 201, 52, 105, 207, 23, 104, 205};
    check(same(buf, want_add, 9), "bxta add values");
    const uint8_t flip[9] = {0xFF, 0, 0, 0xFF, 0, 0, 0xFF, 0, 0};
    std::memcpy(buf, flip, sizeof flip);
    check_eq(r.bxta(im, 0, buf, list, 3, 4), 3, "bxta xor");
    check_eq(r.bxta(im, 0, buf, list, 3, 2), 3, "bxta read");
    show("after blue ^= 255 (code 4):", buf, 9);
    check(buf[0] == 254 && buf[3] == 203 && buf[6] == 232, "bxta xor values");
    // A fresh list with a negative operation is prepared by bxta itself.
    mvbxtentry one[1] = {{1, 0, 0}};
    const uint8_t grey[3] = {128, 128, 128};
    std::memcpy(buf, grey, sizeof grey);
    check_eq(r.bxta(im, -1, buf, one, 1, 0), 1, "bxta exchange on an unprepared list");
    show("exchange at (1,0) gave back:", buf, 3);
    check(buf[0] == 10 && buf[1] == 100 && buf[2] == 201, "bxta exchange values");
}

// ---------------------------------------------------------------------------
// 16-bit containers holding 12 significant bits, over the caller's buffer.
void demo_u12(mvimage* im, const uint16_t* store) {
    heading("12 bits in 16, 8 x 2 (mvimage_memory over a caller's buffer)");
    mvimage& r = *im;
    std::printf("  bits %u, valform 0x%X (low-justified), aeiou('b') %u\n", r.pixfmt.bits,
                r.pixfmt.valform, r.aeiou(im, 'b', 0, 0));
    check_eq(r.pixfmt.valform, MVVALFORM_LOW, "12-bit image is low-justified");

    uint16_t vals[8] = {0x000, 0x123, 0x456, 0x789, 0xABC, 0xDEF, 0x800, 0xFFF};
    check_eq(r.ioset(im, 0, MVTYPE_U16 | MVREQ_LOW, 1), 1, "ioset low-justified");
    check_eq(r.iorite(im, 0, vals, 8, 0, 0), 8, "write line 0");
    show_hex("wrote low-justified:", vals, 8);

    uint16_t buf[8] = {};
    check_eq(r.ioset(im, 0, MVTYPE_U16 | MVREQ_HIGH, 1), 1, "ioset high-justified (0x100)");
    check_eq(r.ioread(im, 0, buf, 8, 0, 0), 8, "read line 0 high");
    show_hex("read high-justified:", buf, 8);
    check(buf[1] == 0x1230 && buf[7] == 0xFFF0, "read shifted left by 4");

    uint16_t high[8] = {0xFFF0, 0x8000, 0x0010, 0x1230, 0x4560, 0x7890, 0xABC0, 0xDEF0};
    check_eq(r.iorite(im, 0, high, 8, 0, 1), 8, "write line 1 high");
    show_hex("wrote high-justified:", high, 8);
    show_hex("stored line 1 (raw memory):", store + 8, 8);
    check(store[8] == 0x0FFF && store[9] == 0x0800 && store[10] == 0x0001,
          "write shifted right by 4");

    check_eq(r.ioset(im, 0, MVTYPE_U16 | MVREQ_SWAPPED | MVREQ_LOW, 1), 1, "ioset swapped");
    check_eq(r.ioread(im, 0, buf, 8, 0, 0), 8, "read line 0 swapped");
    show_hex("read byte-swapped (0x800):", buf, 8);
    check(buf[1] == 0x2301 && buf[7] == 0xFF0F, "byte-swapped values");

    check_eq(r.ioset(im, 0, MVTYPE_U16 | MVREQ_SWAPPED | MVREQ_HIGH, 1), 1,
             "ioset swapped + high");
    check_eq(r.ioread(im, 0, buf, 8, 0, 0), 8, "read line 0 swapped high");
    show_hex("read swapped + high:", buf, 8);
    check(buf[1] == 0x3012 && buf[7] == 0xF0FF, "shifted, then swapped");

    check_eq(r.bxts(im, 0, MVTYPE_U16 | MVREQ_LOW, 1), 1, "bxts");
    mvbxtentry list[2] = {{1, 0, 0}, {3, 0, 0}};
    uint16_t delta[2] = {0x100, 0x007};
    check_eq(r.bxta(im, -1, delta, list, 2, 1), 2, "bxta add");
    std::printf("  bxta add 0x100 at (1,0), 0x007 at (3,0): stored %03X %03X\n",
                unsigned(store[1]), unsigned(store[3]));
    check(store[1] == 0x223 && store[3] == 0x790, "bxta add on 16-bit");
}

// ---------------------------------------------------------------------------
// float, 5 x 3 with padded lines, over the caller's buffer via memdata.
void demo_float(mvimage* im) {
    heading("float 5 x 3, lines padded to 8 floats (mvimage_memdata)");
    mvimage& r = *im;
    std::printf("  pitch 32 bytes for 20-byte lines; valform 0x%08X (1.0f), pixel %.2f %s\n",
                r.pixfmt.valform, double(r.xwidth), mvunits_name(r.xunits));

    check_eq(r.ioset(im, 0, MVTYPE_FLOAT, 1), 1, "ioset float");
    float line[5];
    for (int32_t y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) line[x] = 0.5f * float(x) + float(y);
        check_eq(r.iorite(im, 0, line, 5, 0, y), 5, "write float line");
    }
    std::printf("  wrote 0.5*x + y\n");

    // Padded lines cannot be one run: the continuing request is narrowed.
    const int32_t grant = r.imapset(im, MVMODE_CONTINUE, MVTYPE_FLOAT, 1);
    std::printf("  imapset continuing on padded lines -> %d (one line per run)\n", grant);
    check_eq(grant, MVMAP_GRANT, "imapset grant for padded lines");
    mvmapdesc d{};
    for (int32_t y = 0; y < 3; ++y) {
        check_eq(r.imap(im, &d, 0, y), 1, "imap line");
        check(d.count == 5 && d.stride == 4, "imap run of 5, stride 4");
        for (uint64_t i = 0; i < d.count; ++i) {
            float* p = reinterpret_cast<float*>(static_cast<char*>(d.address) + i * d.stride);
            *p *= 2.0f;
        }
    }
    r.imapr(im, &d);
    check_eq(d.runs, 0, "imapr clears the run count");
    std::printf("  doubled every value in place through imap (run of %" PRIu64
                ", stride %" PRIu64 ")\n", d.count, d.stride);

    check_eq(r.bxts(im, 0, MVTYPE_FLOAT, 1), 1, "bxts float");
    mvbxtentry list[2] = {{1, 1, 0}, {4, 2, 0}};
    float factor[2] = {10.0f, -1.0f};
    check_eq(r.bxta(im, -1, factor, list, 2, 4), 2, "bxta multiply");
    std::printf("  bxta code 4 on floats multiplies: (1,1) *= 10, (4,2) *= -1\n");

    check_eq(r.ioset(im, 0, MVTYPE_FLOAT, 1), 1, "ioset float");
    float buf[5];
    for (int32_t y = 0; y < 3; ++y) {
        check_eq(r.ioread(im, 0, buf, 5, 0, y), 5, "read float line");
        char label[32];
        std::snprintf(label, sizeof label, "line %d:", int(y));
        show_real(label, buf, 5);
    }
    check(buf[4] == -8.0f, "multiplied by -1");
    check_eq(r.ioread(im, 0, buf, 5, 0, 1), 5, "read float line");
    check(buf[0] == 2.0f && buf[1] == 30.0f, "multiplied by 10");

    check_eq(r.ioset(im, 0, MVTYPE_FLOAT | MVREQ_SWAPPED, 1), 1, "ioset float swapped");
    check_eq(r.ioread(im, 0, buf, 1, 0, 1), 1, "read swapped float");
    uint32_t bits;
    std::memcpy(&bits, buf, sizeof bits);
    std::printf("  2.0f read byte-swapped: bits 0x%08X\n", bits);
    check_eq(bits, 0x00000040, "float byte swap");
}

// ---------------------------------------------------------------------------
// double, 4 x 3, from mvimage_memmalloc2: written down the columns, mapped.
void demo_double(mvimage* im) {
    heading("double 4 x 3 (mvimage_memmalloc2)");
    mvimage& r = *im;
    check_eq(r.ioset(im, MVMODE_YSCAN, MVTYPE_DOUBLE, 1), 1, "ioset y-scan double");
    for (int32_t x = 0; x < 4; ++x) {
        double col[3] = {x + 0.0, x + 0.1, x + 0.2};
        check_eq(r.iorite(im, 0, col, 3, x, 0), 3, "write one column");
    }
    std::printf("  wrote x + y/10, one y-scan iorite per column\n");

    const int32_t grant = r.imapset(im, MVMODE_CONTINUE, MVTYPE_DOUBLE, 1);
    std::printf("  imapset continuing on packed whole lines -> %d (whole window one run)\n",
                grant);
    check_eq(grant, MVMAP_GRANT_CONTINUE, "imapset grant for packed lines");
    mvmapdesc d{};
    check_eq(r.imap(im, &d, 0, 0), 1, "imap whole window");
    double sum = 0;
    for (uint64_t i = 0; i < d.count; ++i)
        sum += *reinterpret_cast<double*>(static_cast<char*>(d.address) + i * d.stride);
    r.imapr(im, &d);
    std::printf("  one run of %" PRIu64 " pixels, sum %.2f\n", d.count, sum);
    check(d.count == 12 && sum > 19.199 && sum < 19.201, "sum over the mapped window");

    const int32_t ygrant = r.imapset(im, MVMODE_YSCAN | 0x400u, MVTYPE_DOUBLE, 1);
    check_eq(ygrant, MVMAP_GRANT, "imapset y-major with strided runs allowed");
    check_eq(r.imap(im, &d, 2, 0), 1, "imap column 2");
    std::printf("  y-major map of column 2 -> %d: %" PRIu64 " pixels, stride %" PRIu64 ":",
                ygrant, d.count, d.stride);
    for (uint64_t i = 0; i < d.count; ++i)
        std::printf(" %.1f", *reinterpret_cast<double*>(static_cast<char*>(d.address) + i * d.stride));
    std::printf("\n");
    check(d.count == 3 && d.stride == 32, "column run");
    r.imapr(im, &d);

    check_eq(mvimage_setwind(im, 1, 0, 3, 3), 0, "window (1,0)-(3,3)");
    check_eq(r.imapset(im, MVMODE_CONTINUE, MVTYPE_DOUBLE, 1), MVMAP_GRANT,
             "narrow window maps line by line");
    check_eq(r.bxts(im, 0, MVTYPE_DOUBLE, 1), 1, "bxts double");
    mvbxtentry list[2] = {{0, 0, 0}, {1, 2, 0}};
    double v[2] = {0.5, 100.0};
    check_eq(r.bxta(im, -1, v, list, 2, 5), 2, "bxta subtract");
    mvbxtentry again[2] = {{0, 0, 0}, {1, 2, 0}};
    check_eq(r.bxta(im, -1, v, again, 2, 2), 2, "bxta read");
    std::printf("  in window (1,0)-(3,3): (0,0) -= 0.5, (1,2) -= 100 -> %.2f %.2f\n", v[0], v[1]);
    check(v[0] == 0.5 && v[1] > -97.801 && v[1] < -97.799, "bxta subtract values");
}

// ---------------------------------------------------------------------------
void demo_refusals(mvimage* grey, mvimage* bgr, mvimage* u12) {
    heading("Requests that must be refused");
    expect_code("ioset 16-bit image asked for 8-bit data", u12->ioset(u12, 0, MVTYPE_U8 | MVREQ_LOW, 1),
                MVERR_DATATYPE);
    expect_code("ioset BGR with mask 0b101", bgr->ioset(bgr, 0, MVTYPE_U8 | MVREQ_LOW, 5),
                MVERR_COLORS);
    expect_code("ioset BGR with mask 0", bgr->ioset(bgr, 0, MVTYPE_U8 | MVREQ_LOW, 0), MVERR_COLORS);
    expect_code("ioset BGR with mask 0b1000", bgr->ioset(bgr, 0, MVTYPE_U8 | MVREQ_LOW, 8),
                MVERR_COLORS);
    expect_code("ioset z-scan on a 2-D image", grey->ioset(grey, MVMODE_ZSCAN, MVTYPE_U8 | MVREQ_LOW, 1),
                MVERR_UNSUPPORTED);
    expect_code("bxts 16-bit image asked for floats", u12->bxts(u12, 0, MVTYPE_FLOAT, 1),
                MVERR_DATATYPE);
    expect_code("imapset BGR green only", bgr->imapset(bgr, 0, MVTYPE_U8, 2), MVERR_COLORS);
    expect_code("imapset y-major without strided runs", grey->imapset(grey, MVMODE_YSCAN, MVTYPE_U8, 1),
                MVERR_UNSUPPORTED);
    expect_code("imapset z-major on a 2-D image", grey->imapset(grey, MVMODE_ZSCAN, MVTYPE_U8, 1),
                MVERR_USAGE);

    expect_code("window (10,4)-(20,8) on a 16 x 8 image", mvimage_setwind(grey, 10, 4, 20, 8),
                MVERR_USAGE);
    std::printf("  %-46s    window now (%d,%d)-(%d,%d)\n", "", grey->wind.nw.x, grey->wind.nw.y,
                grey->wind.se.x, grey->wind.se.y);
    check(grey->wind.nw.x == 0 && grey->wind.se.x == 0 && grey->wind.se.y == 0,
          "refused window is cleared");
    uint8_t buf[16] = {};
    expect_code("  then ioset", grey->ioset(grey, 0, MVTYPE_U8 | MVREQ_LOW, 1), 0);
    expect_code("  then ioread (pixels moved)", grey->ioread(grey, 0, buf, 16, 0, 0), 0);
    expect_code("  then imapset", grey->imapset(grey, 0, MVTYPE_U8, 1), MVERR_UNSUPPORTED);
    expect_code("window (0,0)-(16,8) again", mvimage_setwind(grey, 0, 0, -1, -1), 0);
    check_eq(grey->ioset(grey, 0, MVTYPE_U8 | MVREQ_LOW, 1), 1, "ioset after a valid window");
    check_eq(grey->ioread(grey, 0, buf, 16, 0, 0), 16, "image usable again");

    const uint32_t dims[2] = {4, 4};
    uint8_t small[15];
    mvpixfmt fmt{};
    mvpixfmt_set(&fmt, MVTYPE_U8, 0, 1, MVCS_GREY);
    mvimage tmp{};
    expect_code("memdata 4 x 4 over a 15-byte buffer", mvimage_memdata(&tmp, small, sizeof small, dims, 0, &fmt, nullptr, 0),
                MVERR_USAGE);
    check(std::memcmp(tmp.kind, "NULL2", 6) == 0, "failed constructor leaves a null image");
    expect_code("memfree2 of a null image record", mvimage_memfree2(&tmp, 0), MVERR_USAGE);
    const char* marked = mverrnomesg(-(MVERR_MARKER | 2));
    const char* plain = mverrnomesg(MVERR_MEMORY);
    std::printf("  %-46s -> %s\n", "message for -(0x4000|2) (marker ignored)",
                marked ? marked : "(none)");
    check(marked && plain && std::strcmp(marked, plain) == 0, "marker bit ignored by mverrnomesg");
}

}  // namespace

int main() {
    std::printf("mvdemo: memory images with mvip\n");

    // 8-bit grey: the library allocates the pixels, the record is ours.
    mvimage grey{};
    void* grey_pixels = nullptr;
    const uint32_t grey_dims[2] = {16, 8};
    const bool grey_ok =
        check_eq(mvimage_memmalloc(&grey, &grey_pixels, grey_dims, MVTYPE_U8, 0, 1, MVCS_GREY), 0,
                 "mvimage_memmalloc 16 x 8 u8");

    // BGR: record and pixels both from the library.
    mvimage* bgr = mvimage_memmalloc2(nullptr, MVTYPE_U8, 0, 3, MVCS_BGR, 6, 4, 0.25f, 0.25f,
                                      MVUNITS_MILLIMETER);
    check(bgr != nullptr, "mvimage_memmalloc2 6 x 4 BGR");

    // 12 bits in 16: our own buffer, packed lines.
    std::vector<uint16_t> u12_store(8 * 2, 0);
    mvimage u12{};
    const uint32_t u12_dims[2] = {8, 2};
    const bool u12_ok = check_eq(mvimage_memory(&u12, u12_store.data(), u12_dims, 0, MVTYPE_U16, 12,
                                                1, MVCS_GREY, 0),
                                 0, "mvimage_memory 8 x 2 u16/12");

    // float: our own buffer, lines padded to 8 floats, format built first.
    std::vector<float> float_store(8 * 3, -1.0f);
    mvimage flt{};
    mvpixfmt ffmt{};
    check_eq(mvpixfmt_set(&ffmt, MVTYPE_FLOAT, 0, 1, MVCS_GREY), 0, "mvpixfmt_set float");
    const mvgeometry geom = {0.1f, 0.1f, 0.0f, MVUNITS_MILLIMETER, MVUNITS_MILLIMETER, 0, 0};
    const uint32_t flt_dims[2] = {5, 3};
    const bool flt_ok = check_eq(mvimage_memdata(&flt, float_store.data(), float_store.size() * sizeof(float),
                                                 flt_dims, 8 * sizeof(float), &ffmt, &geom, 0),
                                 0, "mvimage_memdata 5 x 3 float");

    // double: library record and pixels.
    mvimage* dbl = mvimage_memmalloc2(nullptr, MVTYPE_DOUBLE, 0, 1, MVCS_GREY, 4, 3, 0, 0, 0);
    check(dbl != nullptr, "mvimage_memmalloc2 4 x 3 double");

    if (grey_ok) demo_grey8(&grey);
    if (bgr) demo_bgr(bgr);
    if (u12_ok) demo_u12(&u12, u12_store.data());
    if (flt_ok) demo_float(&flt);
    if (dbl) demo_double(dbl);
    if (grey_ok && bgr && u12_ok) demo_refusals(&grey, bgr, &u12);

    // Library buffers go back to the library; our own buffers stay ours.
    mvimage_memfree(&grey, grey_pixels);
    check_eq(mvimage_memfree2(bgr, 0), 0, "mvimage_memfree2 BGR");
    check_eq(mvimage_memfree2(dbl, 0), 0, "mvimage_memfree2 double");
    mvimage_memfree(&u12, nullptr);
    mvimage_memfree(&flt, nullptr);

    std::printf("\n%d steps, %d failed\n", g_steps, g_failures);
    return g_failures == 0 ? 0 : 1;
}
