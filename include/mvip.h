/*
 * mvip.h - public interface of the mvip image-processing library.
 *
 * Valid C11 and C++.  Every exported function returns a signed 32-bit
 * result (0 or a positive count on success, a negative result code on
 * failure) unless its description says otherwise.
 *
 * Images are described by one access record, the mvimage (mvimage3 for
 * three dimensions).  Both share one 452-byte layout, packed on 4-byte
 * boundaries, so a 2-D and a 3-D record are interchangeable in memory.
 * Pixels are never addressed directly by operations: they go through the
 * fourteen access slots of the record (see "Access protocol" below).
 */
#ifndef MVIP_H
#define MVIP_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#  if defined(MVIP_BUILDING)
#    define MVIP_API __declspec(dllexport)
#  else
#    define MVIP_API __declspec(dllimport)
#  endif
#elif defined(__GNUC__)
#  define MVIP_API __attribute__((visibility("default")))
#else
#  define MVIP_API
#endif

#ifdef __cplusplus
#  define MVIP_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
extern "C" {
#else
#  define MVIP_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

/* ------------------------------------------------------------------ */
/* Result codes.  Messages come from mverrnomesg().                     */
/* ------------------------------------------------------------------ */
#define MVERR_USAGE          (-1)  /* usage or internal error */
#define MVERR_MEMORY         (-2)  /* heap allocation failed */
#define MVERR_CANCELED       (-4)  /* canceled by user */
#define MVERR_LOGIC          (-5)  /* internal inconsistency */
#define MVERR_FILEIO         (-7)  /* file read/write error */
#define MVERR_FORMAT         (-10) /* invalid file format */
#define MVERR_UNSUPPORTED    (-11) /* option/feature/operation not supported */
#define MVERR_NOITEM         (-12) /* no such item or object */
#define MVERR_FILENOTFOUND   (-13)
#define MVERR_NOTCREATABLE   (-14)
#define MVERR_TABLESPACE     (-15)
#define MVERR_MATH           (-17)
#define MVERR_PARAM          (-18)
#define MVERR_DATATYPE       (-19) /* data type or size not supported */
#define MVERR_COLORS         (-21) /* colour(s) / pixie selection not supported */
#define MVERR_AREATOOSMALL   (-31)
#define MVERR_UNKNOWN        (-51)

/* Marker bit that may ride on a result code's magnitude, e.g. -(0x4000|2);
 * mverrnomesg ignores it.  Positive mapping grants carry it too. */
#define MVERR_MARKER 0x4000

/* Message for a result code: a constant string owned by the library.
 * Null for zero or positive codes; "Unknown error" for codes beyond the
 * table and for -29, which has no message of its own.  The 0x4000 marker
 * bit of the magnitude is ignored. */
MVIP_API const char *mverrnomesg(int32_t code);

/* ------------------------------------------------------------------ */
/* Data types, request flags, mode bits                                */
/* ------------------------------------------------------------------ */
#define MVTYPE_U8      1u
#define MVTYPE_U16     2u
#define MVTYPE_U32     4u
#define MVTYPE_I32     8u   /* second 32-bit integer type: moved exactly as MVTYPE_U32 */
#define MVTYPE_FLOAT   16u
#define MVTYPE_DOUBLE  32u

#define MVREQ_HIGH     0x100u /* caller wants values in the high `bits` bits */
#define MVREQ_LOW      0x200u /* caller wants values in the low `bits` bits */
#define MVREQ_DIRTY    0x400u /* bits outside the significant bits tolerated / carried */
#define MVREQ_SWAPPED  0x800u /* caller's pixies are in the opposite byte order */

#define MVVALFORM_HIGH 0x100u
#define MVVALFORM_LOW  0x200u
#define MVVALFORM_FULL 0x300u
#define MVVALFLAG_DIRTY 0x400u /* in the low (read) or high (write) half of valflags */
#define MVFLOAT_ONE_BITS 0x3F800000u /* bit pattern of 1.0f */

#define MVMODE_WRITE    0x0001u /* set internally for the write side */
#define MVMODE_YSCAN    0x0002u /* runs go down a column */
#define MVMODE_ZSCAN    0x0004u /* runs go through planes (3-D only) */
#define MVMODE_CONTINUE 0x0040u /* runs continue across lines / columns */
#define MVMODE_NOCHECK  0x2000u /* caller guarantees coordinates lie inside */

/* Mapping grants answered by imapset. */
#define MVMAP_GRANT          16389 /* 0x4005: one line (or column) per run */
#define MVMAP_GRANT_CONTINUE 16397 /* 0x400D: one run may cover the whole window */

/* Colour-space codes: the low four bits give the pixie count. */
#define MVCS_UNKNOWN   0
#define MVCS_GREY      1
#define MVCS_COMPLEX   2
#define MVCS_BGR       3
#define MVCS_BGRX      4
#define MVCS_PALETTE   17
#define MVCS_CBYCRY    18
#define MVCS_YCRCB     19
#define MVCS_YCRCBX    20
#define MVCS_BAYER     33
#define MVCS_YCBYCR    34
#define MVCS_HSB       35
#define MVCS_RGBX      36
#define MVCS_CRYCBY    50
#define MVCS_BAYER4    52
#define MVCS_YCRYCB    66
#define MVCS_RGB       67
#define MVCS_CMYK      68
#define MVCS_YIQ       83
#define MVCS_CMY       99

/* Unit codes of the physical pixel widths. */
#define MVUNITS_UNKNOWN    0
#define MVUNITS_METER      109
#define MVUNITS_RATIO      114 /* widths give only an aspect ratio */
#define MVUNITS_SECOND     131
#define MVUNITS_CENTIMETER 171
#define MVUNITS_MILLIMETER 183
#define MVUNITS_FOOT       184
#define MVUNITS_INCH       188

/* ------------------------------------------------------------------ */
/* Records                                                             */
/* ------------------------------------------------------------------ */
#pragma pack(push, 4)

/* A rectangle: nw inclusive, se exclusive. */
typedef struct mvpoint { int32_t x, y; } mvpoint;
typedef struct mvywindow { mvpoint nw, se; } mvywindow;
/* A box: nw inclusive, se exclusive. */
typedef struct mvpoint3 { int32_t x, y, z; } mvpoint3;
typedef struct mvyzwindow { mvpoint3 nw, se; } mvyzwindow;

/* Pixel format: seven 32-bit words.
 * - datatype: data type code (MVTYPE_*) in the low byte.
 * - pixies: values per pixel, 1..32.
 * - colorspace: MVCS_* code.
 * - bits: significant bits per pixie (integer types), 0 for floats.
 * - valform: integers: MVVALFORM_FULL / _LOW / _HIGH; floats: the bit
 *   pattern of the float value that is the top of the value range
 *   (1.0f for fresh images).
 * - valflags: integers: low half = read side, high half = write side,
 *   MVVALFLAG_DIRTY in a half means bits outside the significant bits may
 *   be non-zero.  Floats: the bit pattern of the float value that is the
 *   bottom of the value range (0.0f for fresh images).
 * - byteorder: 0, or MVREQ_SWAPPED when stored in the opposite byte order. */
typedef struct mvpixfmt {
    uint32_t datatype;
    uint32_t pixies;
    uint32_t colorspace;
    uint32_t bits;
    uint32_t valform;
    uint32_t valflags;
    uint32_t byteorder;
} mvpixfmt;

/* Physical pixel size: widths and units as stored in the record. */
typedef struct mvgeometry {
    float xwidth, ywidth, zwidth;
    uint8_t xunits, yunits, zunits, reserved;
} mvgeometry;

/* Map descriptor filled by imap. */
typedef struct mvmapdesc {
    uint32_t runs;     /* 1 when a run was mapped, 0 when not */
    void *address;     /* first pixel of the run */
    uint64_t stride;   /* bytes from one pixel of the run to the next */
    uint64_t count;    /* pixels in the run */
} mvmapdesc;

/* Entry of a scattered-transfer list.  bxtp replaces x and y (the first
 * two words) by the pixel's signed 64-bit byte offset; `tag` is left as
 * the caller set it. */
typedef struct mvbxtentry {
    int32_t x, y;
    uint32_t tag;
} mvbxtentry;

#pragma pack(pop)

typedef struct mvimage mvimage;
typedef struct mvimage3 mvimage3;

/* Access slots of a 2-D record.  Coordinates are relative to wind.nw. */
typedef uint32_t (*mvslot_io)(mvimage *im, uint32_t flags, void *buffer,
                              uint32_t count, int32_t x, int32_t y);
typedef int32_t (*mvslot_wait)(mvimage *im);
typedef int32_t (*mvslot_set)(mvimage *im, uint32_t mode, uint32_t type,
                              uint32_t mask);
typedef uint32_t (*mvslot_len)(mvimage *im, uint32_t count, int32_t x,
                               int32_t y);
typedef int32_t (*mvslot_bxtp)(mvimage *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
typedef uint32_t (*mvslot_bxta)(mvimage *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count,
                                int32_t code);
typedef int32_t (*mvslot_imap)(mvimage *im, mvmapdesc *desc, int32_t x,
                               int32_t y);
typedef int32_t (*mvslot_imapr)(mvimage *im, mvmapdesc *desc);
/* aeiou: one inquiry code and two further arguments whose meaning depends
 * on the code.  They are integers wide enough to carry a pointer, so that
 * a code may pass either; callers give 0 for arguments a code does not
 * use.  The codes that read them today are all 'e' (the file-error
 * inquiry): a file-backed image clears its sticky error flags after
 * answering when arg1 is non-zero; a clipping view or a table view passes
 * 'e' (with both arguments) to its parent only when arg2 is non-zero, and
 * answers 0 otherwise.  So aeiou(v, 'e', 1, 1) on a clipping view over a
 * file image answers the file's status and clears it. */
typedef uint32_t (*mvslot_aeiou)(mvimage *im, uint32_t code, intptr_t arg1,
                                 intptr_t arg2);
typedef mvywindow *(*mvslot_xwind)(mvimage *im, mvywindow *window,
                                   int32_t code);

/* Access slots of a 3-D record: as above with a z coordinate. */
typedef uint32_t (*mvslot3_io)(mvimage3 *im, uint32_t flags, void *buffer,
                               uint32_t count, int32_t x, int32_t y,
                               int32_t z);
typedef int32_t (*mvslot3_wait)(mvimage3 *im);
typedef int32_t (*mvslot3_set)(mvimage3 *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
typedef uint32_t (*mvslot3_len)(mvimage3 *im, uint32_t count, int32_t x,
                                int32_t y, int32_t z);
typedef int32_t (*mvslot3_bxtp)(mvimage3 *im, int32_t operation,
                                mvbxtentry *list, uint32_t count);
typedef uint32_t (*mvslot3_bxta)(mvimage3 *im, int32_t operation,
                                 void *buffer, mvbxtentry *list,
                                 uint32_t count, int32_t code);
typedef int32_t (*mvslot3_imap)(mvimage3 *im, mvmapdesc *desc, int32_t x,
                                int32_t y, int32_t z);
typedef int32_t (*mvslot3_imapr)(mvimage3 *im, mvmapdesc *desc);
typedef uint32_t (*mvslot3_aeiou)(mvimage3 *im, uint32_t code, intptr_t arg1,
                                  intptr_t arg2);
typedef mvyzwindow *(*mvslot3_xwind)(mvimage3 *im, mvyzwindow *window,
                                     int32_t code);

#define MVIMAGE_STATE_WORDS 55

#pragma pack(push, 4)

/* The 2-D image access record (452 bytes). */
struct mvimage {
    mvywindow wind;          /* current window; nw inclusive, se exclusive */
    int32_t wind_reserved[2];/* kept zero */
    mvywindow imdim;         /* whole image: nw = 0, se = dimensions */
    int32_t imdim_reserved[2];
    char kind[8];            /* NUL-padded kind tag, e.g. "MVIMMEM" */
    void *priv;              /* pixel memory (memory images) or kind's word */
    uint32_t state[MVIMAGE_STATE_WORDS]; /* owned by the kind */
    mvpixfmt pixfmt;
    uint32_t pixiesize;      /* derived: bytes per pixie */
    uint32_t pixelsize;      /* derived: bytes per pixel */
    uint32_t typeclass;      /* derived: bit 0 integer, bit 1 floating */
    float xwidth, ywidth, zwidth;
    uint8_t xunits, yunits, zunits, units_reserved;
    mvslot_io ioread;
    mvslot_io iorite;
    mvslot_wait iowait;
    mvslot_set ioset;
    mvslot_len iolen;
    mvslot_set bxts;
    mvslot_bxtp bxtp;
    mvslot_bxta bxta;
    mvslot_wait bxtw;
    mvslot_set imapset;
    mvslot_imap imap;
    mvslot_imapr imapr;
    mvslot_aeiou aeiou;
    mvslot_xwind xwind;
};

/* The 3-D image access record: the same layout with 3-D windows and
 * slots that take a z coordinate. */
struct mvimage3 {
    mvyzwindow wind;
    mvyzwindow imdim;
    char kind[8];
    void *priv;
    uint32_t state[MVIMAGE_STATE_WORDS];
    mvpixfmt pixfmt;
    uint32_t pixiesize;
    uint32_t pixelsize;
    uint32_t typeclass;
    float xwidth, ywidth, zwidth;
    uint8_t xunits, yunits, zunits, units_reserved;
    mvslot3_io ioread;
    mvslot3_io iorite;
    mvslot3_wait iowait;
    mvslot3_set ioset;
    mvslot3_len iolen;
    mvslot3_set bxts;
    mvslot3_bxtp bxtp;
    mvslot3_bxta bxta;
    mvslot3_wait bxtw;
    mvslot3_set imapset;
    mvslot3_imap imap;
    mvslot3_imapr imapr;
    mvslot3_aeiou aeiou;
    mvslot3_xwind xwind;
};

#pragma pack(pop)

/* Layout checks: the record is the library's binary interface. */
MVIP_STATIC_ASSERT(sizeof(mvpixfmt) == 28, "mvpixfmt size");
MVIP_STATIC_ASSERT(sizeof(mvywindow) == 16, "mvywindow size");
MVIP_STATIC_ASSERT(sizeof(mvyzwindow) == 24, "mvyzwindow size");
MVIP_STATIC_ASSERT(sizeof(mvgeometry) == 16, "mvgeometry size");
MVIP_STATIC_ASSERT(sizeof(mvmapdesc) == 28, "mvmapdesc size");
MVIP_STATIC_ASSERT(offsetof(mvmapdesc, address) == 4, "mvmapdesc.address");
MVIP_STATIC_ASSERT(offsetof(mvmapdesc, stride) == 12, "mvmapdesc.stride");
MVIP_STATIC_ASSERT(offsetof(mvmapdesc, count) == 20, "mvmapdesc.count");
MVIP_STATIC_ASSERT(sizeof(mvbxtentry) == 12, "mvbxtentry size");
MVIP_STATIC_ASSERT(sizeof(mvimage) == 452, "mvimage size");
MVIP_STATIC_ASSERT(sizeof(mvimage3) == 452, "mvimage3 size");
#define MVIP_CHECK_OFFSET(field, off)                                        \
    MVIP_STATIC_ASSERT(offsetof(mvimage, field) == (off), "mvimage." #field); \
    MVIP_STATIC_ASSERT(offsetof(mvimage3, field) == (off), "mvimage3." #field)
MVIP_CHECK_OFFSET(wind, 0);
MVIP_CHECK_OFFSET(imdim, 24);
MVIP_CHECK_OFFSET(kind, 48);
MVIP_CHECK_OFFSET(priv, 56);
MVIP_CHECK_OFFSET(state, 64);
MVIP_CHECK_OFFSET(pixfmt, 284);
MVIP_CHECK_OFFSET(pixiesize, 312);
MVIP_CHECK_OFFSET(pixelsize, 316);
MVIP_CHECK_OFFSET(typeclass, 320);
MVIP_CHECK_OFFSET(xwidth, 324);
MVIP_CHECK_OFFSET(ywidth, 328);
MVIP_CHECK_OFFSET(zwidth, 332);
MVIP_CHECK_OFFSET(xunits, 336);
MVIP_CHECK_OFFSET(yunits, 337);
MVIP_CHECK_OFFSET(zunits, 338);
MVIP_CHECK_OFFSET(ioread, 340);
MVIP_CHECK_OFFSET(iorite, 348);
MVIP_CHECK_OFFSET(iowait, 356);
MVIP_CHECK_OFFSET(ioset, 364);
MVIP_CHECK_OFFSET(iolen, 372);
MVIP_CHECK_OFFSET(bxts, 380);
MVIP_CHECK_OFFSET(bxtp, 388);
MVIP_CHECK_OFFSET(bxta, 396);
MVIP_CHECK_OFFSET(bxtw, 404);
MVIP_CHECK_OFFSET(imapset, 412);
MVIP_CHECK_OFFSET(imap, 420);
MVIP_CHECK_OFFSET(imapr, 428);
MVIP_CHECK_OFFSET(aeiou, 436);
MVIP_CHECK_OFFSET(xwind, 444);
MVIP_STATIC_ASSERT(offsetof(mvimage, wind_reserved) == 16, "mvimage.wind_reserved");
MVIP_STATIC_ASSERT(offsetof(mvimage, imdim_reserved) == 40, "mvimage.imdim_reserved");

/* Abort hook: the first argument of every image operation (may be null).
 * The operation calls abortfn(hook, done, total) at entry with (0, 0) and
 * then before every eighth line (or column) with the line index and the
 * line count; a non-zero answer stops the operation, which returns that
 * value (conventionally MVERR_CANCELED).  When the entry call answers
 * non-zero, the hook is called once more and its second answer returned.
 * The record may carry caller data behind the function. */
typedef struct mvabort mvabort;
struct mvabort {
    int32_t (*abortfn)(mvabort *hook, int32_t done, int32_t total);
};

/* ------------------------------------------------------------------ */
/* Access protocol (summary)                                           */
/* ------------------------------------------------------------------ */
/*
 * 1. Set the window: mvimage_setwind() or im->xwind(im, w, 's').
 *    xwind codes: 's' set (null = whole image; on failure the window is
 *    zeroed, the record transfers nothing and the result is null), 'w'
 *    inquire the window, 'i' inquire the dimensions.
 * 2. im->ioset(im, mode, type | request flags, pixie mask): negative on
 *    failure (-19 wrong data type, -21 bad mask, -11 unsupported mode).
 *    The mask must be one contiguous run of set bits within the pixies.
 * 3. im->ioread / im->iorite(im, flags, buffer, count, x, y) move runs
 *    from window-relative (x, y) in the chosen scan order and answer the
 *    number of pixels moved; im->iolen(im, count, x, y) answers how many
 *    one call can move.  Run lengths, with w, h the window size:
 *      x-major w-x; y-major h-y; x continuing (h-y-1)*w + (w-x);
 *      y continuing (w-x-1)*h + (h-y); 0 for a start outside the window
 *      unless MVMODE_NOCHECK is given (unsigned 32-bit arithmetic).
 * 4. im->iowait(im) before results are used.
 * Direct mapping: im->imapset(...) answers MVMAP_GRANT(_CONTINUE) or a
 * negative code; then im->imap(im, &desc, x, y) per run, im->imapr().
 * Scattered pixels: im->bxts(...), im->bxtp(im, op, list, n) with a
 * negative low byte in op, im->bxta(im, op, buffer, list, n, code):
 *   code 0 exchange, 1 add, 2 read, 3 write, 4 xor (floats: multiply),
 *   5 subtract; integers wrap.
 *
 * aeiou inquiries: 'B' 357913941; 'I' 4294967295 / pixelsize; 'b', 'i',
 * 'm' the inquiry-size value plus 1 (null images 0); others 0.
 */

/* ------------------------------------------------------------------ */
/* Pixel formats and name tables                                       */
/* ------------------------------------------------------------------ */

/* Fill a format from data type, bits (0 = whole container), pixies and
 * colour space.  0 on success; -1 (and all seven words cleared) for an
 * invalid data type, pixie count or bit count.  For floating types
 * `valflags` and `byteorder` keep what the storage held. */
MVIP_API int32_t mvpixfmt_set(mvpixfmt *fmt, uint32_t datatype, uint32_t bits,
                              uint32_t pixies, uint32_t colorspace);
/* Recompute pixiesize, pixelsize and typeclass from im->pixfmt.  -1 for
 * a null record. */
MVIP_API int32_t mvimage_derivesizes(mvimage *im);

/* Colour-space name for a code; null for a code not in the table. */
MVIP_API const char *mvcolorspace_name(int32_t code);
/* Colour-space code for a name (case-insensitive); -1 when none. */
MVIP_API int32_t mvcolorspace_code(const char *name);
/* The colour space with the components in reverse order (BGR <-> RGB,
 * BGRX <-> RGBX); every other code maps to itself. */
MVIP_API int32_t mvcolorspace_swaporder(int32_t code);
/* Unit name for a code; null for a code not in the table. */
MVIP_API const char *mvunits_name(int32_t code);
/* Unit code for a name (case-insensitive); -1 when none. */
MVIP_API int32_t mvunits_code(const char *name);

/* ------------------------------------------------------------------ */
/* Null images and windows                                             */
/* ------------------------------------------------------------------ */

/* Clear the record and make it a null image ("NULL2" / "NULL3"): empty
 * window, every slot a harmless no-op.  A null pointer is ignored. */
MVIP_API void mvimage_defnull(mvimage *im);
MVIP_API void mvimage3_defnull(mvimage3 *im);
/* A null image that still has a shape: dimensions (two unsigned words,
 * may be null), a pixel format (may be null) and geometry (may be null).
 * 0, or -1 for a null record. */
MVIP_API int32_t mvimage_defnop(mvimage *im, const uint32_t dims[2],
                                const mvpixfmt *fmt, const mvgeometry *geom);

/* Set the window.  A negative se coordinate stands for the dimension on
 * that axis.  0 when the image took the window exactly as asked; -1 when
 * it rejected or changed it, or for a null record. */
MVIP_API int32_t mvimage_setwind(mvimage *im, int32_t nwx, int32_t nwy,
                                 int32_t sex, int32_t sey);
MVIP_API int32_t mvimage3_setwind(mvimage3 *im, int32_t nwx, int32_t nwy,
                                  int32_t nwz, int32_t sex, int32_t sey,
                                  int32_t sez);

/* ------------------------------------------------------------------ */
/* Memory images ("MVIMMEM")                                           */
/* ------------------------------------------------------------------ */
/*
 * Pixels lie line after line, pixel after pixel, pixie after pixie.  The
 * byte address of window-relative pixel (x, y) is
 *   priv + (wind.nw.x + x) * pixelsize + (wind.nw.y + y) * pitch.
 * The pitch is signed: a negative pitch describes lines stored bottom-up
 * (priv then addresses line 0, the top line).  A pitch of 0 means packed
 * lines (pixelsize * xdim).  Dimensions must be 1 .. 2^31-1.
 *
 * Constructors answer 0, or -1 for bad arguments (record left a null
 * image), -2 when memory cannot be had.  The inquiry-size (0 = 512) is
 * what aeiou('b'/'i'/'m') answers minus 1.
 *
 * Value adjustment on transfers (integer types): callers ask MVREQ_HIGH
 * or MVREQ_LOW to receive the significant bits high- or low-justified;
 * values are shifted when the stored form differs, or masked when the
 * caller does not tolerate bits outside the significant bits and the
 * image may hold such bits.  MVREQ_SWAPPED byte-swaps where the caller's
 * byte order differs from the stored one; this applies to 2- and 4-byte
 * pixies (u16, u32, the second 32-bit type and floats); 1-byte pixies and
 * doubles are copied unchanged whatever the byte orders.  Swaps always
 * happen on the foreign side: a foreign stored value is swapped before it
 * is adjusted, a value for a foreign caller after.
 *
 * Direct mapping (imapset) hands out raw memory, so the stored form must
 * be what the caller asks for; the byte order is checked for every data
 * type.  Y-major mapping needs MVREQ_DIRTY (0x400) in the mode and a
 * positive pitch (a bottom-up image answers -11).
 *
 * Transfers never touch memory outside the image: ioread/iorite refuse
 * (move 0 pixels) a start outside the window even under MVMODE_NOCHECK,
 * which only skips the test in iolen; bxta skips entries whose offset
 * lies outside the image (and bxtp stores such an offset for entries
 * outside the window).
 */
MVIP_API int32_t mvimage_memory(mvimage *im, void *pixels,
                                const uint32_t dims[2], int32_t pitch,
                                uint32_t datatype, uint32_t bits,
                                uint32_t pixies, uint32_t colorspace,
                                uint32_t inquirysize);
MVIP_API int32_t mvimage_memory2(mvimage *im, void *pixels,
                                 const uint32_t dims[2], int32_t pitch,
                                 uint32_t datatype, uint32_t bits,
                                 uint32_t pixies, uint32_t colorspace,
                                 uint32_t inquirysize, float xwidth,
                                 float ywidth, uint32_t units);
MVIP_API int32_t mvimage_memory3(mvimage *im, void *pixels, uint64_t size,
                                 const uint32_t dims[2], int32_t pitch,
                                 uint32_t datatype, uint32_t bits,
                                 uint32_t pixies, uint32_t colorspace,
                                 uint32_t inquirysize, float xwidth,
                                 float ywidth, uint32_t units);
/* The general form: the format is taken as given.  With a non-zero size,
 * ydim * |pitch| must not exceed it. */
MVIP_API int32_t mvimage_memdata(mvimage *im, void *pixels, uint64_t size,
                                 const uint32_t dims[2], int32_t pitch,
                                 const mvpixfmt *fmt, const mvgeometry *geom,
                                 uint32_t inquirysize);
/* Allocate packed pixel memory (zeroed) for dims (both >= 1); *pixels
 * must hold null on entry and receives the address.  Free with
 * mvimage_memfree. */
MVIP_API int32_t mvimage_memmalloc(mvimage *im, void **pixels,
                                   const uint32_t dims[2], uint32_t datatype,
                                   uint32_t bits, uint32_t pixies,
                                   uint32_t colorspace);
/* Free a buffer from mvimage_memmalloc (if non-null) and make the record
 * a null image (if non-null).  Always 0. */
MVIP_API int32_t mvimage_memfree(mvimage *im, void *pixels);
/* Allocate a record (and, for a null buffer, zeroed pixel memory);
 * returns the record or null.  Free with mvimage_memfree2. */
MVIP_API mvimage *mvimage_memmalloc2(void *pixels, uint32_t datatype,
                                     uint32_t bits, uint32_t pixies,
                                     uint32_t colorspace, int32_t xdim,
                                     int32_t ydim, float xwidth,
                                     float ywidth, uint32_t units);
/* Free a record made by mvimage_memmalloc2 and, unless keep is non-zero,
 * its pixel memory (also a buffer the caller supplied).  -1 for any other
 * record (kind other than "MVIMMEM", or not made by mvimage_memmalloc2);
 * 0 for a null record. */
MVIP_API int32_t mvimage_memfree2(mvimage *im, int32_t keep);

/* ------------------------------------------------------------------ */
/* 3-D memory images ("MVIMMEM3"): stacks of planes                    */
/* ------------------------------------------------------------------ */
/*
 * Planes lie one after another, each a 2-D memory image.  The byte
 * address of window-relative pixel (x, y, z) is
 *   priv + (wind.nw.x + x) * pixelsize + (wind.nw.y + y) * pitch
 *        + (wind.nw.z + z) * planepitch.
 * The line pitch is signed as for 2-D images (0 = packed lines).  Only
 * mvimage3_memdata takes a plane pitch; every other constructor (and a
 * plane pitch of 0) uses pixelsize * xdim * ydim, even when the lines are
 * padded.  Dimensions are three words xdim, ydim, zdim, each 1 .. 2^31-1;
 * windows, dimensions and mvimage3_setwind use all six words.
 *
 * Scan orders (ioset, imapset): x-major (mode 0), y-major (0x0002) and
 * z-major (0x0004: runs go through the planes, stride planepitch); both
 * bits at once is -11.  Run lengths from window-relative (x, y, z) with
 * w, h, d the window's extents:
 *   x: w-x;  y: h-y;  z: d-z;
 *   x continuing (0x0040), x fastest, then y, then z:
 *     ((d-z-1)*h + (h-y) - 1)*w + (w-x)
 *   y continuing (0x0042), y fastest, then x, then z:
 *     ((d-z-1)*w + (w-x) - 1)*h + (h-y)
 *   z continuing (0x0044), z fastest, then x, then y:
 *     ((h-y-1)*w + (w-x) - 1)*d + (d-z)
 * A start outside the box in any axis yields 0 unless MVMODE_NOCHECK is
 * given; arithmetic is unsigned 32-bit, as for 2-D images.  Transfers
 * never touch memory outside the image, as for 2-D images.  Values are
 * adjusted and swapped exactly as for 2-D images; z-scans are served like
 * y-scans with the plane pitch as their stride.
 * Mapping: x-major runs have stride pixelsize (a continuing run is handed
 * out up to where lines, and planes, stop following each other in
 * memory); y-major and z-major mappings need MVREQ_DIRTY (0x400) in the
 * mode, as 2-D y-major ones do, and hand out one column (stride pitch) or
 * one pillar through the planes (stride planepitch) per run.
 * Scattered transfers: the third word of an entry (`tag`) is its z
 * coordinate; bxtp stores the offset in the first two words and leaves it.
 * aeiou answers as for 2-D memory images.
 */
/* mvimage3_memory(im, pixels, dims, pitch, datatype, bits, pixies,
 * colorspace, inquirysize): 0, or -1 (null record, null memory, a null
 * dimension pointer, a dimension of 0 or above 2^31-1, or a stack whose
 * byte offsets do not fit 63 bits; a 3-D null image is left). */
MVIP_API int32_t mvimage3_memory(mvimage3 *im, void *pixels,
                                 const uint32_t dims[3], int32_t pitch,
                                 uint32_t datatype, uint32_t bits,
                                 uint32_t pixies, uint32_t colorspace,
                                 uint32_t inquirysize);
/* As mvimage3_memory with x and y widths and their units, then the z
 * width and its units. */
MVIP_API int32_t mvimage3_memory2(mvimage3 *im, void *pixels,
                                  const uint32_t dims[3], int32_t pitch,
                                  uint32_t datatype, uint32_t bits,
                                  uint32_t pixies, uint32_t colorspace,
                                  uint32_t inquirysize, float xwidth,
                                  float ywidth, uint32_t units, float zwidth,
                                  uint32_t zunits);
/* mvimage3_memdata with a memory size (0 = unchecked) and packed planes. */
MVIP_API int32_t mvimage3_memory3(mvimage3 *im, void *pixels, uint64_t size,
                                  const uint32_t dims[3], int32_t pitch,
                                  uint32_t datatype, uint32_t bits,
                                  uint32_t pixies, uint32_t colorspace,
                                  uint32_t inquirysize, float xwidth,
                                  float ywidth, uint32_t units, float zwidth,
                                  uint32_t zunits);
/* The general form: the format taken as given (-1 when null), geometry
 * optional.  planepitch 0 packs the planes by pixel size; a plane pitch
 * given must be at least ydim * |pitch| (a plane's lines), else -1.  With
 * a non-zero size, zdim * planepitch and the bytes up to the end of the
 * last plane's lines ((zdim-1) * planepitch + ydim * |pitch|) must not
 * exceed it, else -1.  (The plane pitch is a 64-bit word so that planes of
 * 4 GiB and more can be described.) */
MVIP_API int32_t mvimage3_memdata(mvimage3 *im, void *pixels, uint64_t size,
                                  const uint32_t dims[3], int32_t pitch,
                                  uint64_t planepitch, const mvpixfmt *fmt,
                                  const mvgeometry *geom, uint32_t inquirysize);
/* Allocate zeroed packed memory for xdim * ydim * zdim pixels (every
 * product guarded in double precision against 2^64); *pixels must hold
 * null and receives the address.  -1 bad arguments (a dimension of 0
 * included), -2 overflow, an invalid format or no memory.  Free with
 * mvimage3_memfree. */
MVIP_API int32_t mvimage3_memmalloc(mvimage3 *im, void **pixels,
                                    const uint32_t dims[3], uint32_t datatype,
                                    uint32_t bits, uint32_t pixies,
                                    uint32_t colorspace);
/* Free the buffer (if non-null); the record (if non-null) becomes a 3-D
 * null image.  Always 0. */
MVIP_API int32_t mvimage3_memfree(mvimage3 *im, void *pixels);
/* Allocate a record (and, for a null buffer, zeroed memory); null on any
 * failure, all three dimensions must be above 0.  Free with
 * mvimage3_memfree2. */
MVIP_API mvimage3 *mvimage3_memmalloc2(void *pixels, uint32_t datatype,
                                       uint32_t bits, uint32_t pixies,
                                       uint32_t colorspace, int32_t xdim,
                                       int32_t ydim, float xwidth, float ywidth,
                                       uint32_t units, int32_t zdim,
                                       float zwidth, uint32_t zunits);
/* Free a record from mvimage3_memmalloc2 and, unless keep is non-zero, its
 * pixel memory.  -1 for any other record ("MVIMMEM3" made elsewhere, or
 * another kind); 0 for a null record. */
MVIP_API int32_t mvimage3_memfree2(mvimage3 *im, int32_t keep);

/* ------------------------------------------------------------------ */
/* Views                                                               */
/* ------------------------------------------------------------------ */
/*
 * A view is a record whose slots translate every access into accesses on
 * a parent image; it owns no pixels and never frees its parent.
 *
 * Parent reference: the parent's address, or a small negative index
 * MVPARENT_REL(i), i = -128..-1, designating the record at position
 * (i + 65) from the view in an array of consecutive records: -64 is the
 * next record, -66 the previous one, -65 the view itself.  A view that is
 * its own parent (by -65 or by its own address) is built without reading
 * its record, whatever that held: it has no pixels (an empty image and
 * window) and an empty format, and its ioset answers -5.  Relative
 * references keep working when the array is moved as a whole.
 *
 * Follow-window flag: non-zero, the view has the parent's dimensions and
 * window, setting the view's window sets the parent's, and coordinates go
 * to the parent unchanged.  Zero, the view's image is the parent's window
 * at construction and coordinates are offset by the view's window corner.
 *
 * A view forwards inquiries to its parent; its answer to 'b', 'i', 'm'
 * is the parent's with the low byte (access layers) increased by one.
 * Transfers starting outside a view's window move nothing.
 */
#define MVPARENT_REL(i) ((mvimage *)(intptr_t)(i))
#define MVPARENT_REL3(i) ((mvimage3 *)(intptr_t)(i))

/* Vertical inversion ("MVIMYInv"): view line y shows parent line
 * H - oy - y - 1, with H the view's full height and oy the view's window
 * top (0 when following).  Lines map to parent lines, so scattered
 * transfers and x-major mapping (one line per run) are forwarded; y-major
 * mapping answers -11.  0, or -1 for a null view or parent. */
MVIP_API int32_t mvimage_yinv(mvimage *view, mvimage *parent, uint8_t follow);
/* Field view ("MVIMYOdd"): field 0 shows the even lines, field 1 the odd
 * lines, each on two view lines (the view keeps the frame's height):
 * parent line = ((oy + y) | f) & ~(f ^ 1).  -1 for a null view or parent,
 * a field other than 0 or 1, or field 1 on a one-line view. */
MVIP_API int32_t mvimage_yodd(mvimage *view, mvimage *parent, uint8_t follow,
                              uint32_t field);
/* Clipping view ("MVIMCLIP"): write-only.  Writes reach the parent only
 * inside the rectangles of `list` (parent window coordinates, searched in
 * order, kept by the caller while the view is used); pixels outside every
 * rectangle are skipped but counted as written.  Reads move nothing; only
 * x-major runs are supported.  -1 for a null view, parent or list. */
MVIP_API int32_t mvimage_clipper(mvimage *view, mvimage *parent,
                                 const mvywindow *list, uint32_t count,
                                 uint8_t follow);

/* ---- Dimension views: sections, one-plane stacks, rings of planes ----
 * Axis codes: 0 x, 2 y, 4 z (the scan bits).  3-D parents go by
 * MVPARENT_REL3(i) or address, 2-D ones by MVPARENT_REL(i) or address.
 *
 * Section ("MVIM3to2"): a 2-D view of a 3-D parent through two of its axes,
 * parent axis `xaxis` along the view's x and `yaxis` along its y (any two
 * different axes, either order: planes, x-z and y-z sections, transposed
 * ones), at coordinate `fixed` on the third axis.  The view's dimensions are
 * the parent window's extents along the two axes; its coordinates and
 * `fixed` are relative to the parent's window.  An x-major access of the
 * view is an access of the parent along `xaxis`, a y-major one along
 * `yaxis`; z-major accesses answer -11 (ioset) and -1 (imapset).  A
 * continuing run (0x0040) goes to the parent in one call where the parent's
 * own continuing order visits the same pixels (the parent axis after the
 * running one in its order is the view's other axis, and the view's lines
 * cover the parent's window); otherwise it goes line by line.  Scattered
 * transfers and mapping translate coordinates likewise (the entries' third
 * words are kept as the caller set them); mapping grants continuing runs
 * under the same condition.
 * 0; -1 for a null view, a null parent, an axis code other than 0, 2, 4,
 * equal axes, or `fixed` outside the parent's window on the third axis (a
 * null image is left).  A view that is its own parent is built empty and
 * answers ioset, bxts and imapset with -5. */
MVIP_API int32_t mvimage_def2from3(mvimage *view, mvimage3 *parent,
                                   uint32_t xaxis, uint32_t yaxis,
                                   uint32_t fixed);
/* One plane ("MVIM2to3"): a 2-D parent as a 3-D image one plane deep.
 * Following (follow non-zero), the view has the parent's dimensions and
 * window with z 0..1 and setting its window sets the parent's (x and y);
 * otherwise its image is the parent's window.  Transfers at z other than 0
 * move nothing.  A z-major access is served: a pillar through one plane is
 * one pixel, so a z-major run is one pixel long and a continuing one
 * (z, then x, then y) visits pixels as a continuing x-major run does; the
 * parent is asked for that x-major access.  z-major mapping answers -11 (the
 * caller falls back to runs); x- and y-major mapping go to the parent.
 * Scattered entries with a third word (z) other than 0 are outside.
 * 0; -1 for a null view or parent (a 3-D null image is left). */
MVIP_API int32_t mvimage_def3from2(mvimage3 *view, mvimage *parent,
                                   uint8_t follow);
/* Ring of planes ("MVIM3to3"): view plane Z (whole-image coordinates) shows
 * parent plane (Z + offset) mod D, D the parent's depth; the offset is taken
 * modulo D, so any offset rotates.  The view has the parent's dimensions;
 * its coordinates go to the parent relative to the parent's window.
 * Following, the parent's window is reset to its whole image at
 * construction, and setting the view's window sets the parent's to the same
 * x-y rectangle through all its planes.  Runs never go on from one view
 * plane into the next in one parent call, and without following are also
 * cut at line ends; z-major runs are cut where the parent's planes wrap.
 * ioset answers 0 (or the parent's failure, -5 for a view that is its own
 * parent, -1 for both scan bits); scattered transfers translate
 * coordinates; mapping is not offered (-11).  The two reserved arguments
 * are not used.  0; -1 for a null view or parent or a parent of depth 0. */
MVIP_API int32_t mvimage3_def3from3(mvimage3 *view, mvimage3 *parent,
                                    uint32_t offset, uint32_t reserved1,
                                    uint32_t reserved2, uint8_t follow);

/* Type converter ("MVIMCONV"): presents the parent in another data type
 * and bit depth.  The view's format is the seven words of newfmt (null:
 * the parent's) as given, except its significant bits: newbits when
 * non-zero, else the parent's (integer bits of 0 or beyond the container
 * become the container, a valform of 0x300 becomes 0x200 when those bits
 * do not fill the container; floats have no bits).  For float types
 * valflags and valform give the value range (low, high, read as floats).
 * Requests are answered as for a memory image holding the view's format:
 * a request that names no justification gets the view's valform, the
 * caller always receives its own byte order (MVREQ_SWAPPED or not), and
 * pixies are selected from the parent's pixels in order, so a view of
 * fewer pixies shows the parent's first ones and a mask beyond the
 * parent's pixies is refused by the parent (-21).  tolerate (integer
 * parents): the parent is read with MVREQ_DIRTY and its values are masked
 * to their significant bits here.  mode is reserved (pass 0).
 * Conversions: integer to integer shifts by the difference of bits (no
 * rounding); integer to float maps v / maxval linearly onto [low, high];
 * float to integer maps (v - low) / (high - low) * maxval, rounded half
 * away from zero, clipped to [0, maxval], NaN (and an empty range) giving
 * 0; float to float keeps the value.  Requests the parent can serve itself
 * (same data type and, for integers, the same bits placed the same way or
 * a request that names the placement) go to it unchanged; others are
 * staged in the parent's own form and converted.  Direct mapping is
 * granted only in the first case.  0, or -1 for a null view or parent or
 * an invalid newfmt data type. */
MVIP_API int32_t mvimage_converter(mvimage *view, mvimage *parent,
                                   const mvpixfmt *newfmt, uint8_t follow,
                                   int32_t tolerate, uint32_t newbits,
                                   uint8_t mode);
/* 3-D form ("MVIMCON3"): the same conversion over a 3-D parent, with the
 * same arguments and answers (a 3-D null image left on failure).  See "3-D
 * forms of the per-pixel views" below. */
MVIP_API int32_t mvimage3_converter(mvimage3 *view, mvimage3 *parent,
                                    const mvpixfmt *newfmt, uint8_t follow,
                                    int32_t tolerate, uint32_t newbits,
                                    uint8_t mode);

/* Colour slice ("ClrSlice"): one pixie of each parent pixel (mask: one
 * set bit within the parent's pixies) shown as a one-pixie image with the
 * parent's format otherwise.  Callers use mask 1 (-21 otherwise).  When the
 * parent serves the slice itself, runs go to it whole (the view spans the
 * parent's full width, for y-scans its full height, or follows its window)
 * or line by line (column by column); when it
 * serves only whole pixels, the view stages 2048 bytes of whole pixels at a
 * time and takes the pixie out, or, on writes, reads the pixels, puts the
 * pixie in and writes them back.  Scattered transfers go to the parent with
 * the slice mask; direct mapping is not offered (-11).  0, or -1 for a null
 * view or parent or a bad mask (a null image is left). */
MVIP_API int32_t mvimage_colorslice(mvimage *view, mvimage *parent,
                                    uint8_t follow, uint32_t mask);
/* 3-D form ("ClrSlic3"): the same over a 3-D parent, with the same
 * arguments and answers (a 3-D null image left on failure). */
MVIP_API int32_t mvimage3_colorslice(mvimage3 *view, mvimage3 *parent,
                                     uint8_t follow, uint32_t mask);

/* Table-resizing view ("MVIMLUT"): a lookup table held as a one-line image
 * whose width is a power of two, presented `length` entries long (a power
 * of two).  Longer: each parent entry repeats (view entries 0..3 of a 256
 * to 1024 stretch all show entry 0).  Shorter: mode non-zero subsamples
 * (every n-th entry), mode 0 truncates (the first entries).  Pixels move
 * one at a time, any pixie mask the parent serves, x- or y-major runs.
 * Inquiries 'b' add two access layers, 'i' and 'm' one (flag 0x10000);
 * 'e' is forwarded only when arg2 is non-zero.  0, or -1 for a
 * null view or parent, a parent not one line high or not a power of two
 * wide, or a length not a power of two (a null image is left). */
MVIP_API int32_t mvimage_lutconvert(mvimage *view, mvimage *parent, uint32_t length, uint32_t mode);

/* Table-mapping view ("MVIMLUT2"): value v of view pixie i reads as
 * outtables[i][v] and is written through intables[i][v] (pass identity
 * tables to write the parent unchanged).  A table is an array of the
 * parent's pixie type (uint8_t, uint16_t, uint32_t) with 2^bits entries.
 * The parent is an integer image of 1 to 4 pixies.  pixies 0 keeps the
 * parent's pixies and colour space; non-zero pixies (at most 4, over a
 * one-pixie parent, colour space of at most 4 pixies) presents that many
 * pixies, view pixie i being outtables[i] applied to the one parent value
 * (pseudo-colour; read-only: writes move nothing).  Choices of ours: table
 * indexes and the values the tables give are both masked to the parent's
 * significant bits (a table is never read past 2^bits entries, and the
 * view's values stay clean); values are low-justified in machine order
 * (the view's format says so: valform 0x100 becomes 0x200, the read-side
 * tolerance and byte order are cleared).  Requests must suit that format
 * as a mapping would (-19); the mask selects one pixie or all (-21); z
 * scans -11.  Transfers are staged 2048 bytes at a time; the caller's
 * buffer is not changed by a write.  Inquiries: 'B' and 'I' as a memory
 * image of the view's pixel size, 'b', 'i', 'm' the parent's with one more
 * layer, other codes (file errors among them) the parent's answer.  No
 * scattered transfers or mapping (-11).  0, -1 for a null view, parent or
 * table list, a null table of a view pixie, a parent of 5 or more pixies
 * or a pseudo-colour request that does not fit; -19 for a float parent. */
MVIP_API int32_t mvimage_lut2(mvimage *view, mvimage *parent, uint8_t follow, const void *const *outtables, const void *const *intables, uint32_t pixies, uint32_t colorspace);
/* The same with the eight table addresses one by one (unused ones null). */
MVIP_API int32_t mvimage_lut2a(mvimage *view, mvimage *parent, uint8_t follow, const void *out0, const void *out1, const void *out2, const void *out3, const void *in0, const void *in1, const void *in2, const void *in3, uint32_t pixies, uint32_t colorspace);

/* File-backed image ("MVIMFIB"): raw pixels of a file (no header, no
 * padding; pixel (X, Y) at byte (Y * xdim + X) * pixiesize, one value per
 * pixel) presented as an image; runs become positioned reads and writes on
 * a buffered file with 64-bit positions.  Values are adjusted between
 * stored and caller form as for a memory image (justification, mask, byte
 * order).  ioset: the requested type's byte size must equal the pixie size
 * (-19; the type code itself is not compared), mask 1 (-21), x- or
 * y-major (-11).  Transfer results are never shortened by file errors;
 * they are kept as sticky flags answered by the inquiry 'e': -7 after an
 * input/output failure, else -10 after a read past the end (the missing
 * values read as 0), else 0; a non-zero arg1 clears both after the
 * answer.  Other inquiries: 'B' 357913941, 'I' 4294967295 / pixelsize,
 * 'b' 8194, 'i' and 'm' 8193.  Choices of ours: a write past the end of
 * the file extends it (the gap reads as zeros); iowait writes buffered
 * bytes out to the file; no mapping (imapset -11).  Scattered transfers:
 * bxts checks as ioset does (-19, -21); bxtp stores each entry's 64-bit
 * byte position in the file; bxta reads each entry's stored value, applies
 * the operation code as a memory image does and writes it back (not for
 * code 2); entries outside the window are skipped.
 *
 * mvimage_file opens `path` by an fopen-style mode (null: "wb"; "rb",
 * "r+b", "w+b" as usual) with a buffer of 2^k bytes, k = floor(log2(size))
 * where size is bufsize or, when 0, the larger of dims[0] and 16384 (k 14
 * for sizes below 2).  The file object goes to *handlevar (which must hold
 * null) and is released by mvimage_filedone.  0, -1 for a null image,
 * handle variable, path or dims or a handle variable that holds an object
 * (nothing is opened), -2 no memory, -13/-14 the file cannot be opened or
 * created, -5 a zero dimension (the file is closed again). */
MVIP_API int32_t mvimage_file(mvimage *im, void **handlevar, const char *path, const char *mode, const uint32_t dims[2], uint32_t datatype, uint32_t bits, uint32_t pixies, uint32_t colorspace, uint32_t bufsize);
/* Wraps a file object from mvimage_file (for instance in another format):
 * 0, -1 for a null image, object, dims or format, -5 for a zero dimension
 * (a null image is left). */
MVIP_API int32_t mvimage_filebufio(mvimage *im, void *fileobject, const uint32_t dims[2], const mvpixfmt *fmt);
/* Closes and frees the object in *handlevar (if any; the variable becomes
 * null) and makes the image (if non-null) a null image.  Always 0. */
MVIP_API int32_t mvimage_filedone(mvimage *im, void **handlevar);

/* Colour converter ("MVIMCLR"): presents the parent in another colour
 * space, in the parent's data type; the view has the pixie count of the
 * target space (low four bits of its code).  `flag` is the follow-window
 * flag.  0, or a negative result code (-1 null view or parent, -19 a
 * parent of no valid data type, -21 a space that is not one of those
 * below, or a parent whose pixie count is not its space's).
 * Spaces: grey, BGR, BGRx, RGBx, RGB, YCrCb, YCrCbx, CbYCrY, YCbYCr,
 * CrYCbY, YCrYCb, HSB (pixies B, S, H), YIQ, CMY, CMYK; any pair converts.
 * Values range 0..maxval (integers, maxval = 2^bits - 1 of the parent) or
 * over the parent's [low, high] (floats); mid is (maxval + 1) / 2, or
 * (low + high) / 2.  Grey = (299 R + 587 G + 114 B) / 1000; grey to colour
 * repeats it.  YCrCb is full-range BT.601 (JFIF): Y as grey,
 * Cr = mid + (R - Y) / 1.402, Cb = mid + (B - Y) / 1.772; back
 * R = Y + 1.402 Cr', G = Y - 0.344136 Cb' - 0.714136 Cr', B = Y + 1.772 Cb'
 * (Cr' = Cr - mid ...).  HSB: B = max(R, G, B), S = (max - min) / max,
 * H = hexcone hue as a fraction of a turn times maxval + 1 (wrapping to 0;
 * floats: onto [low, high)).  8-bit RGB -> HSB -> RGB comes back within
 * 1 + (max - min) * 3 / 256 counts, 3 at most; no 8-bit HSB with these B
 * and S can do better: the 1530 colours of full saturation and brightness
 * (max 255, min 0) all have B = S = 255 and share the 256 hues, so six of
 * them meet on some hue and one of those six is 3 counts from its decoded
 * colour.  YCrCb comes back within 1.  YIQ: I = 0.595716 R - 0.274453 G - 0.321263 B,
 * Q = 0.211456 R - 0.522591 G + 0.311135 B, scaled by 1 / (2 x 0.595716)
 * and 1 / (2 x 0.522591), plus mid.  CMY: C = maxval - R (floats:
 * low + high - R).  CMYK on 0..1: K = 1 - max, C = (max - R) / max ...
 * Integer results are rounded half away from zero and clipped to
 * [0, maxval]; float results are not clipped.  Between grey and the YCrCb
 * spaces Y, Cr, Cb pass directly; other pairs go through R, G, B, clipped
 * (integers) when they come from YCrCb or YIQ values.  Pads read as 0 and
 * are written as 0.  4:2:2: pixels 2k, 2k+1 of the 4:2:2 image share their
 * chroma (the mean of the pair's own); reads widen runs to whole pairs, so
 * a pixel reads alike in any run; writes change only the run's pixels, and
 * into a 4:2:2 parent a pixel written without its partner (run ends, y-scan)
 * stores its own chroma.  ioset answers -21 when a pixel of the window has
 * its partner outside the parent's window, or when both sides are 4:2:2
 * with pairs that do not coincide.  Equal spaces: everything goes to the
 * parent unchanged.  Otherwise runs are converted through a staging area
 * (x- and y-scan); writes that set only some pixies, that go through a view
 * of more pixies than the parent or through a 4:2:2 view read the run
 * first and write it back with access flag 0x1000; scattered transfers
 * answer -11 and mapping -19. */
MVIP_API int32_t mvimage_colorconverter(mvimage *view, mvimage *parent,
                                        uint32_t colorspace, int8_t flag);
/* 3-D form ("MVIMCLR3"): the same over a 3-D parent, with the same
 * arguments and answers (a 3-D null image left on failure). */
MVIP_API int32_t mvimage3_colorconverter(mvimage3 *view, mvimage3 *parent,
                                         uint32_t colorspace, int8_t flag);

/* 3-D forms of the per-pixel views (type converter, colour converter,
 * colour slice).  Each presents every pixel of its 3-D parent as its 2-D
 * form presents a 2-D parent's, and is that 2-D form run over sections of
 * the parent: x- and y-major runs through the plane (x, y) at the run's z,
 * z-major runs through the section (x, z) at the run's y, so x keeps its
 * place (4:2:2 pairs stay pairs along x).  A continuing run goes section by
 * section: plane after plane, or for z-major runs (z, then x, then y) y
 * after y.  The follow-window flag works as for the 2-D forms, in three
 * axes.  ioset answers what the 2-D form answers on the access's first
 * section (-11 for both scan bits, -5 for a view that is its own parent).
 * Scattered entries carry z in their third word, as for 3-D memory images;
 * mapping is granted where the 2-D form grants it (the type converter
 * keeping its parent's form, the colour converter between equal spaces)
 * and hands out the parent's runs, z-major ones included.  The 2-D form is
 * built anew for every run (about 140 ns), so these views suit long runs
 * (continuing runs pay it once per plane) rather than single pixels. */

/* ------------------------------------------------------------------ */
/* Access functions by name                                            */
/* ------------------------------------------------------------------ */
/*
 * The slot routines of every kind of record, exported so that
 * applications and bindings in other languages can call them (or compare
 * a record's slots with them).  Each is the very routine a record of that
 * kind holds in the slot, not a copy: after a kind's constructor, window
 * setting or set-up call, its slots compare equal to these names.  Names
 * are mvim<kind>_<slot>: <kind> is the kind tag in lower case, with "mvim"
 * in front where the tag does not begin with it ("MVIMMEM" mvimmem,
 * "MVIMYInv" mvimyinv, "NULL2" mvimnull2, "ClrSlice" mvimclrslice), and
 * <slot> the slot, followed by the variant where a slot has several
 * routines chosen per access (xscan / yscan / zscan, _supported /
 * _almostsupported / pfbix, passthru / opaque, or the data type of bxta).  Slots a kind
 * leaves idle hold the null image's routines.
 *
 * Each takes the arguments of its slot (the typedefs above), the record
 * first, and behaves exactly as the slot: it expects a record of its own
 * kind, set up as the protocol requires (a run routine after the ioset
 * that chose it); the kind is not checked (the library also presents
 * memory images under other tags, e.g. the file readers' "TIFF").  A null
 * record is refused: 0 from the unsigned routines, -1 from the signed
 * ones, null from xwind; the null image's routines, which never look at
 * the record, answer as always.
 */
/* Null images ("NULL2", "NULL3"): the no-op slots every kind installs where
 * it has nothing to do, and the null image's inquiries and window setting
 * ('s' keeps the window). */
MVIP_API uint32_t mvimnull2_ioread(mvimage *im, uint32_t flags, void *buffer,
                                   uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimnull2_iorite(mvimage *im, uint32_t flags, void *buffer,
                                   uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvimnull2_iowait(mvimage *im);
MVIP_API int32_t mvimnull2_ioset(mvimage *im, uint32_t mode, uint32_t type,
                                 uint32_t mask);
MVIP_API uint32_t mvimnull2_iolen(mvimage *im, uint32_t count, int32_t x,
                                  int32_t y);
MVIP_API int32_t mvimnull2_bxts(mvimage *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API int32_t mvimnull2_bxtp(mvimage *im, int32_t operation,
                                mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimnull2_bxta(mvimage *im, int32_t operation, void *buffer,
                                 mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimnull2_bxtw(mvimage *im);
MVIP_API int32_t mvimnull2_imapset(mvimage *im, uint32_t mode, uint32_t type,
                                   uint32_t mask);
MVIP_API int32_t mvimnull2_imap(mvimage *im, mvmapdesc *desc, int32_t x,
                                int32_t y);
MVIP_API int32_t mvimnull2_imapr(mvimage *im, mvmapdesc *desc);
MVIP_API uint32_t mvimnull2_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimnull2_xwind(mvimage *im, mvywindow *window,
                                    int32_t code);
MVIP_API uint32_t mvimnull3_ioread(mvimage3 *im, uint32_t flags, void *buffer,
                                   uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API uint32_t mvimnull3_iorite(mvimage3 *im, uint32_t flags, void *buffer,
                                   uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API int32_t mvimnull3_iowait(mvimage3 *im);
MVIP_API int32_t mvimnull3_ioset(mvimage3 *im, uint32_t mode, uint32_t type,
                                 uint32_t mask);
MVIP_API uint32_t mvimnull3_iolen(mvimage3 *im, uint32_t count, int32_t x,
                                  int32_t y, int32_t z);
MVIP_API int32_t mvimnull3_bxts(mvimage3 *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API int32_t mvimnull3_bxtp(mvimage3 *im, int32_t operation,
                                mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimnull3_bxta(mvimage3 *im, int32_t operation, void *buffer,
                                 mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimnull3_bxtw(mvimage3 *im);
MVIP_API int32_t mvimnull3_imapset(mvimage3 *im, uint32_t mode, uint32_t type,
                                   uint32_t mask);
MVIP_API int32_t mvimnull3_imap(mvimage3 *im, mvmapdesc *desc, int32_t x,
                                int32_t y, int32_t z);
MVIP_API int32_t mvimnull3_imapr(mvimage3 *im, mvmapdesc *desc);
MVIP_API uint32_t mvimnull3_aeiou(mvimage3 *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvyzwindow *mvimnull3_xwind(mvimage3 *im, mvyzwindow *window,
                                     int32_t code);
/* Memory images ("MVIMMEM").  ioset installs the x-scan or y-scan run
 * routines; bxts one bxta per data type (uint32 also serves the second
 * 32-bit type); iowait and bxtw are the null image's. */
MVIP_API uint32_t mvimmem_ioreadxscan(mvimage *im, uint32_t flags, void *buffer,
                                      uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimmem_ioreadyscan(mvimage *im, uint32_t flags, void *buffer,
                                      uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimmem_ioritexscan(mvimage *im, uint32_t flags, void *buffer,
                                      uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimmem_ioriteyscan(mvimage *im, uint32_t flags, void *buffer,
                                      uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimmem_iolen(mvimage *im, uint32_t count, int32_t x,
                                int32_t y);
MVIP_API int32_t mvimmem_ioset(mvimage *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvimmem_bxts(mvimage *im, uint32_t mode, uint32_t type,
                              uint32_t mask);
MVIP_API int32_t mvimmem_bxtp(mvimage *im, int32_t operation,
                              mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimmem_bxtauint8(mvimage *im, int32_t operation, void *buffer,
                                    mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem_bxtauint16(mvimage *im, int32_t operation, void *buffer,
                                     mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem_bxtauint32(mvimage *im, int32_t operation, void *buffer,
                                     mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem_bxtafloat(mvimage *im, int32_t operation, void *buffer,
                                    mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem_bxtadouble(mvimage *im, int32_t operation, void *buffer,
                                     mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimmem_imapset(mvimage *im, uint32_t mode, uint32_t type,
                                 uint32_t mask);
MVIP_API int32_t mvimmem_imap(mvimage *im, mvmapdesc *desc, int32_t x,
                              int32_t y);
MVIP_API int32_t mvimmem_imapr(mvimage *im, mvmapdesc *desc);
MVIP_API uint32_t mvimmem_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimmem_xwind(mvimage *im, mvywindow *window,
                                  int32_t code);
/* 3-D memory images ("MVIMMEM3").  ioset installs the x-scan, y-scan or
 * z-scan run routines; bxts one bxta per data type as for "MVIMMEM";
 * iowait and bxtw are the null image's. */
MVIP_API uint32_t mvimmem3_ioreadxscan(mvimage3 *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API uint32_t mvimmem3_ioreadyscan(mvimage3 *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API uint32_t mvimmem3_ioreadzscan(mvimage3 *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API uint32_t mvimmem3_ioritexscan(mvimage3 *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API uint32_t mvimmem3_ioriteyscan(mvimage3 *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API uint32_t mvimmem3_ioritezscan(mvimage3 *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y, int32_t z);
MVIP_API uint32_t mvimmem3_iolen(mvimage3 *im, uint32_t count, int32_t x,
                                 int32_t y, int32_t z);
MVIP_API int32_t mvimmem3_ioset(mvimage3 *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API int32_t mvimmem3_bxts(mvimage3 *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvimmem3_bxtp(mvimage3 *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimmem3_bxtauint8(mvimage3 *im, int32_t operation, void *buffer,
                                     mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem3_bxtauint16(mvimage3 *im, int32_t operation, void *buffer,
                                      mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem3_bxtauint32(mvimage3 *im, int32_t operation, void *buffer,
                                      mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem3_bxtafloat(mvimage3 *im, int32_t operation, void *buffer,
                                     mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimmem3_bxtadouble(mvimage3 *im, int32_t operation, void *buffer,
                                      mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimmem3_imapset(mvimage3 *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvimmem3_imap(mvimage3 *im, mvmapdesc *desc, int32_t x,
                               int32_t y, int32_t z);
MVIP_API int32_t mvimmem3_imapr(mvimage3 *im, mvmapdesc *desc);
MVIP_API uint32_t mvimmem3_aeiou(mvimage3 *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvyzwindow *mvimmem3_xwind(mvimage3 *im, mvyzwindow *window,
                                    int32_t code);
/* Vertical inversion ("MVIMYInv") and field views ("MVIMYOdd"): x-scan
 * and y-scan run routines; iowait is the null image's. */
MVIP_API uint32_t mvimyinv_ioreadxscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyinv_ioreadyscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyinv_ioritexscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyinv_ioriteyscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyinv_iolen(mvimage *im, uint32_t count, int32_t x,
                                 int32_t y);
MVIP_API int32_t mvimyinv_ioset(mvimage *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API int32_t mvimyinv_bxts(mvimage *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvimyinv_bxtp(mvimage *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimyinv_bxta(mvimage *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimyinv_bxtw(mvimage *im);
MVIP_API int32_t mvimyinv_imapset(mvimage *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvimyinv_imap(mvimage *im, mvmapdesc *desc, int32_t x,
                               int32_t y);
MVIP_API int32_t mvimyinv_imapr(mvimage *im, mvmapdesc *desc);
MVIP_API uint32_t mvimyinv_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimyinv_xwind(mvimage *im, mvywindow *window,
                                   int32_t code);
MVIP_API uint32_t mvimyodd_ioreadxscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyodd_ioreadyscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyodd_ioritexscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyodd_ioriteyscan(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimyodd_iolen(mvimage *im, uint32_t count, int32_t x,
                                 int32_t y);
MVIP_API int32_t mvimyodd_ioset(mvimage *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API int32_t mvimyodd_bxts(mvimage *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvimyodd_bxtp(mvimage *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimyodd_bxta(mvimage *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimyodd_bxtw(mvimage *im);
MVIP_API int32_t mvimyodd_imapset(mvimage *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvimyodd_imap(mvimage *im, mvmapdesc *desc, int32_t x,
                               int32_t y);
MVIP_API int32_t mvimyodd_imapr(mvimage *im, mvmapdesc *desc);
MVIP_API uint32_t mvimyodd_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimyodd_xwind(mvimage *im, mvywindow *window,
                                   int32_t code);
/* Clipping view ("MVIMCLIP"): write-only; the other slots are the null
 * image's. */
MVIP_API int32_t mvimclip_ioset(mvimage *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API uint32_t mvimclip_iorite(mvimage *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclip_iolen(mvimage *im, uint32_t count, int32_t x,
                                 int32_t y);
MVIP_API uint32_t mvimclip_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimclip_xwind(mvimage *im, mvywindow *window,
                                   int32_t code);
/* Type converter ("MVIMCONV").  ioset chooses per access: _supported when
 * the parent serves the request itself (runs go to it unchanged);
 * _almostsupported when the parent needs converting but hands out its
 * lines in its own form (imapset grants them): reads convert straight from
 * the parent's memory, writes are staged as pfbix; pfbix otherwise: runs
 * are fetched in the parent's form into a staging area and converted.
 * iolen_supported and iowait_supported (which waits for the parent) serve
 * every access.  bxta_supported forwards scattered transfers, and
 * bxta_unsupported stages and converts them. */
MVIP_API int32_t mvimconv_ioset(mvimage *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API uint32_t mvimconv_ioread_supported(mvimage *im, uint32_t flags, void *buffer,
                                            uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimconv_iorite_supported(mvimage *im, uint32_t flags, void *buffer,
                                            uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvimconv_iowait_supported(mvimage *im);
MVIP_API uint32_t mvimconv_iolen_supported(mvimage *im, uint32_t count, int32_t x,
                                           int32_t y);
MVIP_API uint32_t mvimconv_ioread_almostsupported(mvimage *im, uint32_t flags, void *buffer,
                                                  uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimconv_iorite_almostsupported(mvimage *im, uint32_t flags, void *buffer,
                                                  uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimconv_ioreadpfbix(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimconv_ioritepfbix(mvimage *im, uint32_t flags, void *buffer,
                                       uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvimconv_bxts(mvimage *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvimconv_bxtp(mvimage *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimconv_bxta_supported(mvimage *im, int32_t operation, void *buffer,
                                          mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API uint32_t mvimconv_bxta_unsupported(mvimage *im, int32_t operation, void *buffer,
                                            mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimconv_bxtw(mvimage *im);
MVIP_API int32_t mvimconv_imapset(mvimage *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvimconv_imap(mvimage *im, mvmapdesc *desc, int32_t x,
                               int32_t y);
MVIP_API int32_t mvimconv_imapr(mvimage *im, mvmapdesc *desc);
MVIP_API uint32_t mvimconv_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimconv_xwind(mvimage *im, mvywindow *window,
                                   int32_t code);
/* Colour converter ("MVIMCLR"): _supported runs go to the parent unchanged
 * (equal colour spaces); pfbix runs are staged and converted. */
MVIP_API int32_t mvimclr_ioset(mvimage *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API uint32_t mvimclr_ioread_supported(mvimage *im, uint32_t flags, void *buffer,
                                           uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclr_iorite_supported(mvimage *im, uint32_t flags, void *buffer,
                                           uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclr_ioreadpfbix(mvimage *im, uint32_t flags, void *buffer,
                                      uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclr_ioritepfbix(mvimage *im, uint32_t flags, void *buffer,
                                      uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclr_iolen(mvimage *im, uint32_t count, int32_t x,
                                int32_t y);
MVIP_API int32_t mvimclr_bxts(mvimage *im, uint32_t mode, uint32_t type,
                              uint32_t mask);
MVIP_API int32_t mvimclr_bxtp(mvimage *im, int32_t operation,
                              mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimclr_bxta(mvimage *im, int32_t operation, void *buffer,
                               mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimclr_bxtw(mvimage *im);
MVIP_API int32_t mvimclr_imapset(mvimage *im, uint32_t mode, uint32_t type,
                                 uint32_t mask);
MVIP_API int32_t mvimclr_imap(mvimage *im, mvmapdesc *desc, int32_t x,
                              int32_t y);
MVIP_API int32_t mvimclr_imapr(mvimage *im, mvmapdesc *desc);
MVIP_API uint32_t mvimclr_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimclr_xwind(mvimage *im, mvywindow *window,
                                  int32_t code);
/* Colour slice ("ClrSlice"): the three strategies of the view (passthru,
 * opaque, pfbix); imapset and friends are the null image's. */
MVIP_API int32_t mvimclrslice_ioset(mvimage *im, uint32_t mode, uint32_t type,
                                    uint32_t mask);
MVIP_API uint32_t mvimclrslice_ioreadpassthru(mvimage *im, uint32_t flags, void *buffer,
                                              uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclrslice_ioritepassthru(mvimage *im, uint32_t flags, void *buffer,
                                              uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclrslice_ioreadopaque(mvimage *im, uint32_t flags, void *buffer,
                                            uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclrslice_ioriteopaque(mvimage *im, uint32_t flags, void *buffer,
                                            uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclrslice_ioreadpfbix(mvimage *im, uint32_t flags, void *buffer,
                                           uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclrslice_ioritepfbix(mvimage *im, uint32_t flags, void *buffer,
                                           uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimclrslice_iolen(mvimage *im, uint32_t count, int32_t x,
                                     int32_t y);
MVIP_API int32_t mvimclrslice_iowait(mvimage *im);
MVIP_API int32_t mvimclrslice_bxts(mvimage *im, uint32_t mode, uint32_t type,
                                   uint32_t mask);
MVIP_API int32_t mvimclrslice_bxtp(mvimage *im, int32_t operation,
                                   mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimclrslice_bxta(mvimage *im, int32_t operation, void *buffer,
                                    mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimclrslice_bxtw(mvimage *im);
MVIP_API uint32_t mvimclrslice_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimclrslice_xwind(mvimage *im, mvywindow *window,
                                       int32_t code);
/* Table-resizing view ("MVIMLUT"); iowait waits for the parent; the other
 * slots are the null image's. */
MVIP_API int32_t mvimlut_ioset(mvimage *im, uint32_t mode, uint32_t type, uint32_t mask);
MVIP_API uint32_t mvimlut_ioread(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimlut_iorite(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimlut_iolen(mvimage *im, uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvimlut_iowait(mvimage *im);
MVIP_API uint32_t mvimlut_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimlut_xwind(mvimage *im, mvywindow *window, int32_t code);
/* Table-mapping view ("MVIMLUT2"): full (all pixies), single (one pixie)
 * and expanding (pseudo-colour) transfers; iowait waits for the parent;
 * the other slots are the null image's. */
MVIP_API int32_t mvimlut2_ioset(mvimage *im, uint32_t mode, uint32_t type, uint32_t mask);
MVIP_API uint32_t mvimlut2_ioreadfull(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimlut2_ioritefull(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimlut2_ioreadsingle(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimlut2_ioritesingle(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimlut2_ioreadexpand(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimlut2_iolen(mvimage *im, uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvimlut2_iowait(mvimage *im);
MVIP_API uint32_t mvimlut2_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimlut2_xwind(mvimage *im, mvywindow *window, int32_t code);
/* File-backed image ("MVIMFIB"); the other slots are the null image's. */
MVIP_API int32_t mvimfib_ioset(mvimage *im, uint32_t mode, uint32_t type, uint32_t mask);
MVIP_API uint32_t mvimfib_ioread(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimfib_iorite(mvimage *im, uint32_t flags, void *buffer, uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvimfib_iolen(mvimage *im, uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvimfib_iowait(mvimage *im);
MVIP_API int32_t mvimfib_bxts(mvimage *im, uint32_t mode, uint32_t type, uint32_t mask);
MVIP_API int32_t mvimfib_bxtp(mvimage *im, int32_t operation, mvbxtentry *list, uint32_t n);
MVIP_API uint32_t mvimfib_bxta(mvimage *im, int32_t operation, void *buffer, mvbxtentry *list, uint32_t n, int32_t code);
MVIP_API uint32_t mvimfib_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvimfib_xwind(mvimage *im, mvywindow *window, int32_t code);

/* Section views ("MVIM3to2"): one run routine per direction, whatever the
 * scan. */
MVIP_API uint32_t mvim3to2_ioread(mvimage *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y);
MVIP_API uint32_t mvim3to2_iorite(mvimage *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvim3to2_iowait(mvimage *im);
MVIP_API int32_t mvim3to2_ioset(mvimage *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API uint32_t mvim3to2_iolen(mvimage *im, uint32_t count, int32_t x,
                                 int32_t y);
MVIP_API int32_t mvim3to2_bxts(mvimage *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvim3to2_bxtp(mvimage *im, int32_t operation, mvbxtentry *list,
                               uint32_t count);
MVIP_API uint32_t mvim3to2_bxta(mvimage *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvim3to2_bxtw(mvimage *im);
MVIP_API int32_t mvim3to2_imapset(mvimage *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvim3to2_imap(mvimage *im, mvmapdesc *desc, int32_t x,
                               int32_t y);
MVIP_API int32_t mvim3to2_imapr(mvimage *im, mvmapdesc *desc);
MVIP_API uint32_t mvim3to2_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvim3to2_xwind(mvimage *im, mvywindow *window,
                                   int32_t code);
/* One-plane views ("MVIM2to3"): one run routine per direction, whatever
 * the scan. */
MVIP_API uint32_t mvim2to3_ioread(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API uint32_t mvim2to3_iorite(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API int32_t mvim2to3_iowait(mvimage3 *im);
MVIP_API int32_t mvim2to3_ioset(mvimage3 *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API uint32_t mvim2to3_iolen(mvimage3 *im, uint32_t count, int32_t x,
                                 int32_t y, int32_t z);
MVIP_API int32_t mvim2to3_bxts(mvimage3 *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvim2to3_bxtp(mvimage3 *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvim2to3_bxta(mvimage3 *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvim2to3_bxtw(mvimage3 *im);
MVIP_API int32_t mvim2to3_imapset(mvimage3 *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvim2to3_imap(mvimage3 *im, mvmapdesc *desc, int32_t x,
                               int32_t y, int32_t z);
MVIP_API int32_t mvim2to3_imapr(mvimage3 *im, mvmapdesc *desc);
MVIP_API uint32_t mvim2to3_aeiou(mvimage3 *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvyzwindow *mvim2to3_xwind(mvimage3 *im, mvyzwindow *window,
                                    int32_t code);
/* Ring views ("MVIM3to3"): one run routine per direction, whatever the
 * scan; no mapping (imapset, imap and imapr are the null image's). */
MVIP_API uint32_t mvim3to3_ioread(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API uint32_t mvim3to3_iorite(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API int32_t mvim3to3_iowait(mvimage3 *im);
MVIP_API int32_t mvim3to3_ioset(mvimage3 *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API uint32_t mvim3to3_iolen(mvimage3 *im, uint32_t count, int32_t x,
                                 int32_t y, int32_t z);
MVIP_API int32_t mvim3to3_bxts(mvimage3 *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvim3to3_bxtp(mvimage3 *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvim3to3_bxta(mvimage3 *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvim3to3_bxtw(mvimage3 *im);
MVIP_API uint32_t mvim3to3_aeiou(mvimage3 *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvyzwindow *mvim3to3_xwind(mvimage3 *im, mvyzwindow *window,
                                    int32_t code);
/* 3-D type converters ("MVIMCON3"), colour converters ("MVIMCLR3") and
 * colour slices ("ClrSlic3"): one run routine per direction, whatever
 * the scan; the three kinds share their code but not their names. */
MVIP_API uint32_t mvimcon3_ioread(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API uint32_t mvimcon3_iorite(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API int32_t mvimcon3_iowait(mvimage3 *im);
MVIP_API int32_t mvimcon3_ioset(mvimage3 *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API uint32_t mvimcon3_iolen(mvimage3 *im, uint32_t count, int32_t x,
                                 int32_t y, int32_t z);
MVIP_API int32_t mvimcon3_bxts(mvimage3 *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvimcon3_bxtp(mvimage3 *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimcon3_bxta(mvimage3 *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimcon3_bxtw(mvimage3 *im);
MVIP_API int32_t mvimcon3_imapset(mvimage3 *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvimcon3_imap(mvimage3 *im, mvmapdesc *desc, int32_t x,
                               int32_t y, int32_t z);
MVIP_API int32_t mvimcon3_imapr(mvimage3 *im, mvmapdesc *desc);
MVIP_API uint32_t mvimcon3_aeiou(mvimage3 *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvyzwindow *mvimcon3_xwind(mvimage3 *im, mvyzwindow *window,
                                    int32_t code);
MVIP_API uint32_t mvimclr3_ioread(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API uint32_t mvimclr3_iorite(mvimage3 *im, uint32_t flags, void *buffer,
                                  uint32_t count, int32_t x, int32_t y,
                                  int32_t z);
MVIP_API int32_t mvimclr3_iowait(mvimage3 *im);
MVIP_API int32_t mvimclr3_ioset(mvimage3 *im, uint32_t mode, uint32_t type,
                                uint32_t mask);
MVIP_API uint32_t mvimclr3_iolen(mvimage3 *im, uint32_t count, int32_t x,
                                 int32_t y, int32_t z);
MVIP_API int32_t mvimclr3_bxts(mvimage3 *im, uint32_t mode, uint32_t type,
                               uint32_t mask);
MVIP_API int32_t mvimclr3_bxtp(mvimage3 *im, int32_t operation,
                               mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimclr3_bxta(mvimage3 *im, int32_t operation, void *buffer,
                                mvbxtentry *list, uint32_t count, int32_t code);
MVIP_API int32_t mvimclr3_bxtw(mvimage3 *im);
MVIP_API int32_t mvimclr3_imapset(mvimage3 *im, uint32_t mode, uint32_t type,
                                  uint32_t mask);
MVIP_API int32_t mvimclr3_imap(mvimage3 *im, mvmapdesc *desc, int32_t x,
                               int32_t y, int32_t z);
MVIP_API int32_t mvimclr3_imapr(mvimage3 *im, mvmapdesc *desc);
MVIP_API uint32_t mvimclr3_aeiou(mvimage3 *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvyzwindow *mvimclr3_xwind(mvimage3 *im, mvyzwindow *window,
                                    int32_t code);
MVIP_API uint32_t mvimclrslic3_ioread(mvimage3 *im, uint32_t flags,
                                      void *buffer, uint32_t count, int32_t x,
                                      int32_t y, int32_t z);
MVIP_API uint32_t mvimclrslic3_iorite(mvimage3 *im, uint32_t flags,
                                      void *buffer, uint32_t count, int32_t x,
                                      int32_t y, int32_t z);
MVIP_API int32_t mvimclrslic3_iowait(mvimage3 *im);
MVIP_API int32_t mvimclrslic3_ioset(mvimage3 *im, uint32_t mode, uint32_t type,
                                    uint32_t mask);
MVIP_API uint32_t mvimclrslic3_iolen(mvimage3 *im, uint32_t count, int32_t x,
                                     int32_t y, int32_t z);
MVIP_API int32_t mvimclrslic3_bxts(mvimage3 *im, uint32_t mode, uint32_t type,
                                   uint32_t mask);
MVIP_API int32_t mvimclrslic3_bxtp(mvimage3 *im, int32_t operation,
                                   mvbxtentry *list, uint32_t count);
MVIP_API uint32_t mvimclrslic3_bxta(mvimage3 *im, int32_t operation,
                                    void *buffer, mvbxtentry *list,
                                    uint32_t count, int32_t code);
MVIP_API int32_t mvimclrslic3_bxtw(mvimage3 *im);
MVIP_API int32_t mvimclrslic3_imapset(mvimage3 *im, uint32_t mode,
                                      uint32_t type, uint32_t mask);
MVIP_API int32_t mvimclrslic3_imap(mvimage3 *im, mvmapdesc *desc, int32_t x,
                                   int32_t y, int32_t z);
MVIP_API int32_t mvimclrslic3_imapr(mvimage3 *im, mvmapdesc *desc);
MVIP_API uint32_t mvimclrslic3_aeiou(mvimage3 *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvyzwindow *mvimclrslic3_xwind(mvimage3 *im, mvyzwindow *window,
                                        int32_t code);

/* ------------------------------------------------------------------ */
/* Image operations: common rules                                      */
/* ------------------------------------------------------------------ */
/*
 * Operations take the abort hook, the source image(s), the destination
 * (which may be the source record, or a view of the same memory: the work
 * is then done in place) and their own values, and return 0, the hook's
 * value when stopped, or a negative code: -1 null images, invalid records,
 * windows, data types, bits or pixie counts that differ between images;
 * -19 a data type the operation has no kernel for; -21 a colour image
 * given to a one-pixie operation; -2 buffers that cannot be had; the
 * code of an image slot that refused.  Only the windows take part.  When
 * an image cannot serve the requested data type itself, the operation
 * reads and writes it through a type converter view.  When the hook stops
 * an operation, the lines before the stop are done and the rest untouched.
 * maxval is 2^bits - 1 of the source; lo and hi are a float image's range.
 */

/* ------------------------------------------------------------------ */
/* Point operations                                                    */
/* ------------------------------------------------------------------ */
/* Integer operations on large enough images build a table of all 2^bits
 * results once and map the image through it; the result is the same as
 * computing every pixel. */
/* maxval - v; floats (lo + hi) - v.  All five types. */
MVIP_API int32_t mvip8_pixneg(mvabort *hook, mvimage *src, mvimage *dst);
/* v >> (n mod 32), logical.  Integer types. */
MVIP_API int32_t mvip8_pixshr(mvabort *hook, mvimage *src, mvimage *dst, uint32_t n);
/* v << (n mod 32) truncated to the container, not clipped.  Integers. */
MVIP_API int32_t mvip8_pixshl(mvabort *hook, mvimage *src, mvimage *dst, uint32_t n);
/* v AND / OR / XOR m.  Integer types. */
MVIP_API int32_t mvip8_pixand(mvabort *hook, mvimage *src, mvimage *dst, uint32_t m);
MVIP_API int32_t mvip8_pixor(mvabort *hook, mvimage *src, mvimage *dst, uint32_t m);
MVIP_API int32_t mvip8_pixxor(mvabort *hook, mvimage *src, mvimage *dst, uint32_t m);
/* maxval where bit (bits - 1) is set, else 0.  Integer types. */
MVIP_API int32_t mvip8_pixmsb(mvabort *hook, mvimage *src, mvimage *dst);
/* value where low <= v <= high, others unchanged.  u8, u16. */
MVIP_API int32_t mvip8_pixthreshold(mvabort *hook, mvimage *src, mvimage *dst,
                                    uint32_t low, uint32_t high, uint32_t value);
/* inside where low <= v <= high, else outside.  u8, u16. */
MVIP_API int32_t mvip8_pixthreshold2(mvabort *hook, mvimage *src, mvimage *dst,
                                     uint32_t low, uint32_t high, uint32_t inside,
                                     uint32_t outside);
/* Colour threshold (three or more pixies): a pixel whose first three
 * pixies all lie in [low[k], high[k]] gets value[0..2] in them; other
 * pixels are unchanged.  u8, u16; -21 for fewer than three pixies. */
MVIP_API int32_t mvip8_pixthreshold3(mvabort *hook, mvimage *src, mvimage *dst,
                                     const uint32_t low[3], const uint32_t high[3],
                                     const uint32_t value[3]);
/* v <= low: 0; else ((v - low) * maxval) / (high - low) in unsigned
 * arithmetic, truncated, clipped to maxval; low == high: maxval.  u8, u16. */
MVIP_API int32_t mvip8_pixcontrast(mvabort *hook, mvimage *src, mvimage *dst,
                                   int32_t low, int32_t high);
/* mode 2: v + value clipped to [0, maxval]; other modes wrap in the
 * container.  u8, u16. */
MVIP_API int32_t mvip8_pixadd(mvabort *hook, mvimage *src, mvimage *dst,
                              int32_t value, int32_t mode);
/* table[v AND maxval].  pixmap: u8 images and tables, which must have at
 * least 2^bits entries (-1 otherwise).  pixmaps (u16) and pixmapl (u32)
 * accept any table of one entry or more (0 entries: -1): a value (masked
 * to its bits) at or beyond the table's end passes unchanged, so a short
 * table remaps the values it covers and leaves the others; this lets
 * pixmapl map 32-bit images. */
MVIP_API int32_t mvip8_pixmap(mvabort *hook, mvimage *src, mvimage *dst,
                              const uint8_t *table, uint32_t entries);
MVIP_API int32_t mvip8_pixmaps(mvabort *hook, mvimage *src, mvimage *dst,
                               const uint16_t *table, uint32_t entries);
MVIP_API int32_t mvip8_pixmapl(mvabort *hook, mvimage *src, mvimage *dst,
                               const uint32_t *table, uint32_t entries);
/* As pixmap/pixmaps/pixmapl with the table held in an image: the first
 * line of lut's window, read in the source's data type (through a type
 * converter if needed); its width is the entry count (u16 and u32 sources:
 * values beyond it pass unchanged). */
MVIP_API int32_t mvip8_pixmaplut(mvabort *hook, mvimage *src, mvimage *dst,
                                 mvimage *lut);
/* min(maxval of the destination, (v * a) / b), 64-bit, truncated; source
 * and destination may differ in bits.  b == 0: -1.  Integer types. */
MVIP_API int32_t mvip8_pixscale(mvabort *hook, mvimage *src, mvimage *dst,
                                uint32_t a, uint32_t b);
/* p = pivot2 / 2: (v - p) * gain + p clamped to [0, maxval], + 0.5,
 * truncated.  u8, u16. */
MVIP_API int32_t mvip8_pixcontrastpivot(mvabort *hook, mvimage *src, mvimage *dst,
                                        uint32_t pivot2, double gain);
/* g = trunc(gamma * 1000) / 1000; maxval * (v / maxval)^g rounded to
 * nearest.  u8, u16. */
MVIP_API int32_t mvip8_pixgamma(mvabort *hook, mvimage *src, mvimage *dst,
                                double gamma);
/* The values at percentiles lowperc and highperc (0..100) of the source's
 * histogram (stored through the non-null pointers), then pixcontrast with
 * them.  The hook is also called with (1, -2) and (2, -2) as phase marks.
 * u8, u16. */
MVIP_API int32_t mvip8_pixcontrastperc(mvabort *hook, mvimage *src, mvimage *dst,
                                       uint32_t lowperc, uint32_t highperc,
                                       uint32_t *lowvalue, uint32_t *highvalue);
/* Every pixie of the window becomes value.  u8, u16, u32. */
MVIP_API int32_t mvip8_pixset(mvabort *hook, mvimage *im, uint32_t value);
/* The first three pixies of every pixel become v0, v1, v2 (others stay);
 * -21 for fewer than three pixies.  u8, u16, u32; the float form takes
 * doubles for all five types (integers rounded and clipped to maxval). */
MVIP_API int32_t mvip8_pixset3(mvabort *hook, mvimage *im, uint32_t v0,
                               uint32_t v1, uint32_t v2);
MVIP_API int32_t mvipf_pixset3(mvabort *hook, mvimage *im, double v0, double v1,
                               double v2);
/* In every pixel the pixies selected by `to` take pixie `from`'s value;
 * -1 (checked first) unless from < pixies, to selects a pixie and the
 * image has two or more.  All five types. */
MVIP_API int32_t mvip8_pixiecopy(mvabort *hook, mvimage *src, mvimage *dst,
                                 uint32_t from, uint32_t to);
/* Every pixie takes the smallest / largest / average (integers: sum /
 * count rounded down; floats exact) of its pixel's pixies. */
MVIP_API int32_t mvip8_pixiemin(mvabort *hook, mvimage *src, mvimage *dst);
MVIP_API int32_t mvip8_pixiemax(mvabort *hook, mvimage *src, mvimage *dst);
MVIP_API int32_t mvip8_pixieave(mvabort *hook, mvimage *src, mvimage *dst);
/* Float-argument forms, all five types; integer results rounded half away
 * from zero and clipped to [0, maxval].
 * pixcontrast: [low, high] stretched linearly onto [0, maxval] (floats:
 *   [lo, hi]), values outside clipped; low == high: v <= low gives the
 *   bottom, others the top.
 * pixscale: v * factor, clipped (floats to [lo, hi]).
 * pixadd: v + value, integers clipped, floats not. */
MVIP_API int32_t mvipf_pixcontrast(mvabort *hook, mvimage *src, mvimage *dst,
                                   double low, double high);
MVIP_API int32_t mvipf_pixscale(mvabort *hook, mvimage *src, mvimage *dst,
                                double factor);
MVIP_API int32_t mvipf_pixadd(mvabort *hook, mvimage *src, mvimage *dst,
                              double value);

/* Histogram: hist[0 .. 2^bits) cleared, then every value of the window
 * (all pixies) counted; bins must be at least 2^bits (-1).  Integer
 * types of up to 31 bits. */
MVIP_API int32_t mvip8_histab2(mvabort *hook, mvimage *src, uint32_t *hist,
                               uint32_t bins);
/* For every whole percentile p = 0..100, the smallest value at which the
 * cumulative count reaches p percent of the total (0 for an empty
 * histogram). */
MVIP_API int32_t mvip8_histstat2f(const uint32_t *hist, uint32_t bins,
                                  uint32_t percentiles[101]);

/* Counting threshold: as mvip8_pixthreshold (value where low <= v <= high,
 * others unchanged; u8, u16), answering the number of values (pixies)
 * that lay in the band, saturated at 2147483647.  The float form compares
 * every type's values with double bounds and stores value as the image
 * holds it (integers rounded half away from zero, clipped to [0, maxval]);
 * all five types.  Example: an 8-bit image of the values 10, 20, 30 with
 * low 15, high 40, value 0 becomes 10, 0, 0 and the result is 2. */
MVIP_API int32_t mvip8_pixthresholdcnt(mvabort *hook, mvimage *src, mvimage *dst,
                                       uint32_t low, uint32_t high, uint32_t value);
MVIP_API int32_t mvipf_pixthresholdcnt(mvabort *hook, mvimage *src, mvimage *dst,
                                       double low, double high, double value);

/* Binned histograms.  A value v of `bits` bits falls into bin
 * (v * bins) >> bits, so `bins` bins of equal width cover the whole range
 * (bins = 2^bits: one bin per value; 256 bins of a 12-bit image: v >> 4).
 * bins must be 1 .. 2^bits (-1).  Integer types of 1 to 32 bits (-19);
 * the table is cleared first.
 * mvip8_histab: hist[bins]; every value of the window counted, all pixies
 *   into the one histogram.
 * mvip8_histab3: hist[3 * bins]; pixie k (0, 1, 2) of every pixel counted
 *   into hist[k * bins ...]; -21 for fewer than three pixies (further
 *   pixies are not counted).
 * mvip8_histabpair: the joint histogram of two images of equal window
 *   size, data type, bits and pixie count (-1 otherwise):
 *   hist[bins * bins], the pair (a, b) of values at the same place (pixie
 *   by pixie) counted at hist[bin(a) * bins + bin(b)]. */
MVIP_API int32_t mvip8_histab(mvabort *hook, mvimage *src, uint32_t *hist, uint32_t bins);
MVIP_API int32_t mvip8_histab3(mvabort *hook, mvimage *src, uint32_t *hist, uint32_t bins);
MVIP_API int32_t mvip8_histabpair(mvabort *hook, mvimage *src, mvimage *src2,
                                  uint32_t *hist, uint32_t bins);

/* Image moments.  With w the weight of the pixel at image coordinates
 * (x, y) (its value), m[k] = sum w x^p y^q and mu[k] = sum w (x - xc)^p
 * (y - yc)^q for (p, q) in the order 00, 10, 01, 20, 11, 02, 30, 21, 12,
 * 03; (xc, yc) = (m10 / m00, m01 / m00) is the centre of mass (0 offsets
 * from the window's corner, and so the corner itself, when m00 is 0).
 * mu[1] = mu[2] = 0.  Coordinates are those of the image, not of the
 * window: a single pixel of value 1 at (5, 7) gives m = 1, 5, 7, 25, 35,
 * 49, ... and xc = 5, yc = 7. */
typedef struct mvmoments {
    double m[10];   /* raw moments */
    double mu[10];  /* central moments */
    double xc, yc;  /* centre of mass */
} mvmoments;

/* mvip8_moments: one-pixie u8 and u16 images (-19, colour -21); summed in
 * exact integer arithmetic for windows of up to 2^22 pixels a side, in
 * doubles beyond.  mvip8_momentsf: the same for all five types (u32,
 * float and double values summed in doubles; a float image weighs by its
 * values, negative ones included).
 * mvip8_masscenter: the centre of mass of a grey image (u8, u16): *xc,
 *   *yc (either may be null); -31 ("Area too small") and nothing stored
 *   when the mass is 0.
 * mvip8_masscenterbin: every non-zero pixel weighs 1 (u8, u16, u32): the
 *   area (pixel count) into *area (may be null; stored also when 0) and
 *   its centre into *xc, *yc; -31 for no pixel.
 * mvip8_masscenterpow: the weight is v^power (power >= 0 and finite, else
 *   -1; 0^0 = 1, so power 0 weighs every pixel 1); u8, u16; -31 for a
 *   zero mass. */
MVIP_API int32_t mvip8_moments(mvabort *hook, mvimage *src, mvmoments *out);
MVIP_API int32_t mvip8_momentsf(mvabort *hook, mvimage *src, mvmoments *out);
MVIP_API int32_t mvip8_masscenter(mvabort *hook, mvimage *src, double *xc, double *yc);
MVIP_API int32_t mvip8_masscenterbin(mvabort *hook, mvimage *src, double *xc, double *yc,
                                     uint64_t *area);
MVIP_API int32_t mvip8_masscenterpow(mvabort *hook, mvimage *src, double power, double *xc,
                                     double *yc);

/* ------------------------------------------------------------------ */
/* Pair and triple operations                                          */
/* ------------------------------------------------------------------ */
/* (hook, a, b, destination, ...): a is the first source's value, b the
 * second's, M = 2^bits - 1 and H = 2^(bits - 1) of the first source.  The
 * result is formed in the second source's line, so a destination that is
 * (or shares the memory of) the second source is worked in place.  Float
 * images use their range: hi for M, lo for 0 and (lo + hi) / 2 for H and
 * M/2; differences that wrap for integers are plain for floats. */
/* mode 1: b + a wrapping; mode 2: min(b + a, M); other modes -1.  Mode 1
 * also accumulates a narrower first source into a wider second one (u8
 * into u16 or u32, u16 into u32, float into double) when the destination
 * has the second's type.  All five types, colour. */
MVIP_API int32_t mvip8_pairadd(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                               int32_t mode);
/* mode 1 b-a wrapping, 2 max(b-a, 0), 3 |b-a|, 4 floor((b-a)/2) + H in the
 * container, 5 a-b wrapping, 6 max(a-b, 0), 7 |a-b|, 8 floor((a-b)/2) + H,
 * 9 clamp(b-a + M/2), 10 clamp(M/2 + 2(b-a)), 11 clamp(a-b + M/2),
 * 12 clamp(M/2 + 2(a-b)), 100 clamp(2b-a), 101 clamp(3b-2a),
 * 102 clamp(5b-4a); clamps to [0, M], M/2 = (M-1)/2; other modes -1.
 * All five types, colour. */
MVIP_API int32_t mvip8_pairsub(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                               int32_t mode);
/* (a + b) >> 1 (floats: the exact mean); max; min.  All five types. */
MVIP_API int32_t mvip8_pairave(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst);
MVIP_API int32_t mvip8_pairmax(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst);
MVIP_API int32_t mvip8_pairmin(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst);
/* a AND / OR / XOR b.  Integer types, colour. */
MVIP_API int32_t mvip8_pairand(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst);
MVIP_API int32_t mvip8_pairor(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst);
MVIP_API int32_t mvip8_pairxor(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst);
/* 0 where |a - b| <= threshold, else b.  u8, u16, one pixie. */
MVIP_API int32_t mvip8_pairinsdiff(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                                   uint32_t threshold);
/* a where b == 0, else b.  u8, u16, one pixie. */
MVIP_API int32_t mvip8_pairinsert(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst);
/* clamp(((a p0 + p1) (b p2 + p3)) / d, 0, M), d = p4 or 1 when p4 == 0,
 * in wrapping signed 32-bit arithmetic, truncating.  Integer types. */
MVIP_API int32_t mvip8_pairprod(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                                int32_t reserved, const int32_t coef[5]);
/* den = a q2 + q3; den == 0: M; else clamp((b q0 + q1) / den, 0, M).
 * Integer types. */
MVIP_API int32_t mvip8_pairratio(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                                 int32_t reserved, const int32_t coef[4]);
/* Per pixel: when any pixie of a differs from key[pixie], the whole pixel
 * of a replaces b's; pixels equal to the key are transparent.  u8, u16. */
MVIP_API int32_t mvip8_pairoverlay(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                                   int32_t reserved, const uint32_t *key);
/* Float forms (float and double images): double coefficients and key, no
 * clipping; pairratio gives hi for a zero denominator. */
MVIP_API int32_t mvipf_pairprod(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                                int32_t reserved, const double coef[5]);
MVIP_API int32_t mvipf_pairratio(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                                 int32_t reserved, const double coef[4]);
MVIP_API int32_t mvipf_pairoverlay(mvabort *hook, mvimage *a, mvimage *b, mvimage *dst,
                                   int32_t reserved, const double *key);
/* Weight w from the second source: min(M, ((M - w) c) / M + (a w) / M),
 * each quotient truncated.  u8, u16, colour. */
MVIP_API int32_t mvip8_pairblend(mvabort *hook, mvimage *a, mvimage *weight, mvimage *c,
                                 mvimage *dst);
/* With l, h, v the three sources: v < l: 0; l < h: min(M, ((v - l) scale)
 * / (h - l)); otherwise M.  u8, u16, colour. */
MVIP_API int32_t mvip8_tripletnormalize(mvabort *hook, mvimage *low, mvimage *high,
                                        mvimage *value, mvimage *dst, uint32_t scale);

/* ------------------------------------------------------------------ */
/* Neighbourhood filters                                               */
/* ------------------------------------------------------------------ */
/* Every destination pixel, borders included, is computed from the source
 * extended beyond its window: smoothing, sharpening, rank, median and
 * binary-median filters and mode 1 of the edge operators replicate the
 * edge pixels outward; the other edge modes and life read zeros outside.
 * Colour images are filtered one pixie plane at a time; the hook counts
 * lines over all planes (line y of plane k is step k H + y of P H), so a
 * stop leaves the earlier planes and lines done.  In place (the
 * destination is the source) works.  A..C..B name the rows above, at and
 * below the pixel, 0..2 the columns left to right, C the centre.  Kernels
 * with an AVX2 form use it when the processor has one (same results). */
/* min(maxval, (A0+A1+A2+M0+M2+B0+B1+B2 + w C + (w+8)/2) / (w+8)), the
 * division signed and truncating toward zero; 64-bit arithmetic when
 * (w+8) maxval needs more than 32 bits; w + 8 <= 0: -1.  Only the top is
 * clipped: with a negative weight a negative result keeps its low `bits`
 * bits (it wraps within the significant bits).  u8, u16. */
MVIP_API int32_t mvip8_3x3lowpass(mvabort *hook, mvimage *src, mvimage *dst, int32_t weight);
/* (A0 + 2A1 + A2 + 2M0 + 4C + 2M2 + B0 + 2B1 + B2 + 8) >> 4, the rounded
 * binomial (1-2-1) lowpass.  u8, u16. */
MVIP_API int32_t mvip8_3x3lowpassf(mvabort *hook, mvimage *src, mvimage *dst);
/* clamp(5C - A1 - M0 - M2 - B1, 0, maxval), four-neighbour Laplacian
 * sharpening.  u8, u16. */
MVIP_API int32_t mvip8_3x3sharpenl(mvabort *hook, mvimage *src, mvimage *dst);
/* The rounded mean (sum + n/2) / n of the centre and of the neighbours
 * within [max(C - t, 0), min(C + t, maxval)], n counting the centre and the
 * neighbours taken.  u8, u16. */
MVIP_API int32_t mvip8_3x3lowpassmear(mvabort *hook, mvimage *src, mvimage *dst,
                                      uint32_t tolerance);
/* Salt removal.  neighbours == 8: when C > n + t for all eight neighbours
 * n, (sum of the eight + 4) >> 3, else C.  Any other count: the same test
 * on A1, M0, M2, B1 and (their sum + 2) >> 2.  u8, u16. */
MVIP_API int32_t mvip8_3x3lowpasssalt(mvabort *hook, mvimage *src, mvimage *dst,
                                      uint32_t threshold, uint32_t neighbours);
/* The minimum / the maximum of the nine values.  u8, u16. */
MVIP_API int32_t mvip8_3x3ranklow(mvabort *hook, mvimage *src, mvimage *dst);
MVIP_API int32_t mvip8_3x3rankhigh(mvabort *hook, mvimage *src, mvimage *dst);
/* The median (fifth smallest) of the nine values.  u8, u16. */
MVIP_API int32_t mvip8_3x3median(mvabort *hook, mvimage *src, mvimage *dst);
/* The sixth of eleven: the nine values with the centre counted three
 * times.  u8, u16. */
MVIP_API int32_t mvip8_3x3medianw(mvabort *hook, mvimage *src, mvimage *dst);
/* h = 2^(bits-1) where at least five of the nine values have bit h set,
 * else 0 (the output is h, not maxval).  u8, u16. */
MVIP_API int32_t mvip8_3x3binmedian(mvabort *hook, mvimage *src, mvimage *dst);
/* Sobel gradient on 8-bit values (other types are read and written through
 * a type converter at 8 bits): gx = (A2 + 2M2 + B2) - (A0 + 2M0 + B0),
 * gy = (A0 + 2A1 + A2) - (B0 + 2B1 + B2), mag = isqrt(gx^2 + gy^2) (exact),
 * at most 1140.  mode & 3: 0 (mag 255 + 570) / 1140; 1 clamp(C - that, 0,
 * 255) on the replicated border; 2 T[mag] << 3 | d with T[i] =
 * trunc(ln(i + 1) 31 / ln 1141 + 0.5) (1141-byte table built per call, -2
 * when it cannot be had) and d the chain direction of (gx, gy): 0 east,
 * counter-clockwise in 45-degree sectors centred on each code (1 up-right,
 * 2 up, 4 west, 6 down), 0 when T[mag] is 0; 3 min(mag, 255).  Modes 0, 2, 3
 * read zeros outside the window. */
MVIP_API int32_t mvip8_3x3sobel(mvabort *hook, mvimage *src, mvimage *dst, uint32_t mode);
/* As mvip8_3x3sobel on the 3-10-3 gradient: gx = 3(A2 - A0) + 10(M2 - M0)
 * + 3(B2 - B0), gy = 3(A0 - B0) + 10(A1 - B1) + 3(A2 - B2); the largest
 * magnitude is 4811, so mode 0 is (mag 255 + 2405) / 4811 and mode 2 uses a
 * 4812-entry table with ln 4812. */
MVIP_API int32_t mvip8_3x3sobela(mvabort *hook, mvimage *src, mvimage *dst, uint32_t mode);
/* Roberts cross on 8-bit values over lines y (U) and y + 1 (L):
 * sum = |L[x+1] - U[x]| + |U[x+1] - L[x]| (0..510).  mode & 3: 0 sum / 2;
 * 1 clamp(U[x] - sum / 2, 0, 255) on the replicated border; 2 T[sum] << 3 | d,
 * T[i] = trunc(ln(i + 1) 31 / ln 511 + 0.5) (511-byte table per call, -2),
 * d the chain direction (as Sobel) of gx = (U[x+1] + L[x+1]) - (U[x] + L[x]),
 * gy = (U[x] + U[x+1]) - (L[x] + L[x+1]), 0 when T[sum] is 0;
 * 3 min(sum, 255).  Zeros outside the window except in mode 1. */
MVIP_API int32_t mvip8_2x2roberts(mvabort *hook, mvimage *src, mvimage *dst, uint32_t mode);
/* Kirsch compass on 8-bit values: n = A0 A1 A2 M2 B2 B1 B0 M0; response
 * of direction k = 5 (n[k] + n[k+1] + n[k+2]) - 3 (the other five), indices
 * mod 8; the largest (earliest k on ties) is kept; it is never negative,
 * the eight responses summing to zero.  mode & 3: 0 max / 15; 1 clamp(C -
 * max / 15, 0, 255) on the replicated border; 2 ((trunc(ln(max + 1) 31 /
 * 8.24957515) & 31) << 3) | ((2 - k) & 7), direction bits 0 when the field
 * is 0; 3 min(max, 255).  Zeros outside the window except in mode 1. */
MVIP_API int32_t mvip8_3x3kirsch(mvabort *hook, mvimage *src, mvimage *dst, uint32_t mode);
/* One generation of life on u8 images (other types -19): alive = value >=
 * 128; s = live cells of the nine, centre included; a live cell survives
 * when s is 3 or 4, a dead one is born when s is 3; the new value is
 * (C >> 2) | (128 if alive).  Cells outside the window are dead. */
MVIP_API int32_t mvip8_3x3life(mvabort *hook, mvimage *src, mvimage *dst);
/* n x n convolution, n odd, 3..15; coef: n*n signed values row by row.
 * r = sum(coef v), exact; d = divisor, or the sum of the coefficients when
 * divisor is 0, or 1 when that is 0 too; q = r / d rounded half away from
 * zero.  Output clipped to [0, maxval]: mode 0 q + offset; 1 |q| + offset;
 * 2 q + offset + (maxval + 1) / 2; 3 C + q + offset (the response added to
 * the source).  For n = 3 the common masks (1 2 1 / 2 4 2 / 1 2 1, the
 * sharpening, Laplacian and edge masks) run built-in kernels with the same
 * results.  -1: null coef, n even or outside 3..15, mode > 3.  u8, u16. */
MVIP_API int32_t mvip8_NxNconvolve(mvabort *hook, mvimage *src, mvimage *dst, uint32_t n,
                                   const int32_t *coef, int32_t offset, int32_t divisor,
                                   uint32_t mode);
/* As NxNconvolve with double coefficients, offset and divisor (all finite,
 * else -1): r summed in double precision, q = r / d, then the four modes
 * (mode 2 adds the middle of the value range: (maxval + 1) / 2, or
 * (lo + hi) / 2 for float images).  Integer images: clipped to [0, maxval],
 * rounded half away from zero; float and double images: not clipped.
 * u8, u16, float, double. */
MVIP_API int32_t mvip8_NxNconvolvef(mvabort *hook, mvimage *src, mvimage *dst, uint32_t n,
                                    const double *coef, double offset, double divisor,
                                    uint32_t mode);
/* maxval where the pixel exceeds the mean of its n x n neighbourhood plus
 * offset, compared exactly as v n^2 > sum + offset n^2; else 0.  n odd,
 * 3..15 (else -1).  u8, u16. */
MVIP_API int32_t mvip8_NxNdynthreshold(mvabort *hook, mvimage *src, mvimage *dst, uint32_t n,
                                       int32_t offset);

/* ------------------------------------------------------------------ */
/* Copies                                                              */
/* ------------------------------------------------------------------ */
/*
 * Common to the copies and the interlace reorderings: the first argument
 * is the abort hook (called at entry and every eighth line, see mvabort);
 * all pixies of a pixel move together; all five data types (u8, u16, u32,
 * float, double) are accepted, colour included.  Only the windows take
 * part: memory outside the destination window is never written.  Unless
 * an operation says otherwise, source and destination must agree in data
 * type, bits per pixie and pixie count, and their windows in size (-1
 * otherwise; an image that cannot serve the source's pixies may answer
 * its own code, e.g. -21).  A null image is -1, a data type outside the
 * five -19, a failed working allocation -2.  Stopped by the hook, an
 * operation returns the hook's value with the lines before the stop done
 * and the rest untouched.  The destination may be the source itself (in
 * place); windows of one image that overlap without being the same window
 * are supported only where stated.
 */

/* Copy the source window into the destination window.  A line is one
 * memory copy; each side uses its directly mapped line when the image
 * grants one, else a buffer (written back with access flag 0x1000).  When
 * the destination maps the very memory of the source nothing moves, so
 * copying an image onto itself changes nothing.  Windows of one image that
 * overlap within a line are copied correctly; windows overlapping on
 * different lines are copied top to bottom, line by line. */
MVIP_API int32_t mvip8_copy(mvabort *hook, mvimage *src, mvimage *dst);
/* Exchange the contents of two windows of equal size and format.  Both
 * lines y are read before either is written, so the exchange is exact
 * also for two records over the same memory; exchanging twice restores
 * both images. */
MVIP_API int32_t mvip8_copyexchange(mvabort *hook, mvimage *first,
                                    mvimage *second);
/* Copy pixie srcindex (0-based) of every source pixel into pixie dstindex
 * of the destination pixel; the other pixies of the destination keep their
 * values.  The pixie counts may differ; data type and bits must agree.
 * Null images and indexes outside 0 .. pixies - 1 answer -1 before the
 * hook is called.  Source and destination may be one record (one pixie
 * into another of the same image); two different records that are views of
 * one parent record are not supported, as each would set up the parent's
 * access for its own pixie. */
MVIP_API int32_t mvip8_copyslice(mvabort *hook, mvimage *src, mvimage *dst,
                                 int32_t srcindex, int32_t dstindex);
/* Copy the source presented in colour space `colorspace` (a colour
 * converter view over the source's window; see mvimage_colorconverter);
 * the destination must have that space's pixie count.  A source already
 * in that space is copied as mvip8_copy does.  colorspace 0, or a null
 * image: -1; a pair of spaces that cannot be converted: the converter's
 * code (-21).  The fourth argument is reserved and ignored. */
MVIP_API int32_t mvip8_copycolorconvert(mvabort *hook, mvimage *src,
                                        mvimage *dst, int32_t reserved,
                                        uint32_t colorspace);
/* Resampling copies: the source window resampled to the destination
 * window's size (the sizes may differ on either axis; data type, bits and
 * pixies must agree).  Pixel centres are aligned: destination column x
 * samples source coordinate cx = (x + 0.5) * sw / dw - 0.5, and likewise
 * destination line y at cy with the heights (sw, dw: source and
 * destination window widths).
 *  - nearest: the source pixel at cx, cy rounded half away from zero and
 *    clamped to the source window;
 *  - bilinear: cx, cy clamped to [0, size - 1]; with i = floor(cx),
 *    fx = cx - i, j = floor(cy), fy = cy - j and neighbours i + 1, j + 1
 *    clamped to the window, p(x, y) the source value:
 *      top = p(i, j) (1 - fx) + p(i + 1, j) fx
 *      bottom = p(i, j + 1) (1 - fx) + p(i + 1, j + 1) fx
 *      value = top (1 - fy) + bottom fy
 *    computed in double precision per pixie; integer results rounded half
 *    away from zero, float results rounded once to float.
 * Equal window sizes are a plain copy (mvip8_copy).  An empty destination
 * window answers 0; an empty source window with a non-empty destination
 * -1.  Works one destination line at a time with per-column tables built
 * once per call; the hook is told (y, destination height).  The two
 * windows must not overlap in memory unless they are the same window. */
MVIP_API int32_t mvip8_copyinterpnearest(mvabort *hook, mvimage *src,
                                         mvimage *dst);
MVIP_API int32_t mvip8_copyinterpbilinear(mvabort *hook, mvimage *src,
                                          mvimage *dst);
/* Copy displaced by (dx, dy) between windows of equal size: destination
 * pixel (x, y) takes source pixel (x - dx, y - dy); destination pixels
 * without a source keep their values (a displacement of the window's size
 * or more changes nothing).  In place the result is that of a copy into
 * another image: lines are taken bottom up when dy > 0, else top down, and
 * each line is read whole before it is written.  The hook is told the
 * count of lines done and the count of lines that have a source
 * (H - |dy|). */
MVIP_API int32_t mvip8_copyshift(mvabort *hook, mvimage *src, mvimage *dst,
                                 int32_t dx, int32_t dy);
/* Mirrored copy between windows of equal size: mode 1 reverses left to
 * right (destination pixel x takes source pixel W - 1 - x), mode 2 top to
 * bottom (line y takes line H - 1 - y), mode 3 both, mode 0 is a plain
 * copy; other mode bits: -1.  Top to bottom works on line pairs (y,
 * H - 1 - y), both read before either is written, so in place gives the
 * same result as into another image; the hook is then told the count of
 * pairs done and (H + 1) / 2 (a stop leaves the first and last lines of
 * the window written). */
MVIP_API int32_t mvip8_copyreverse(mvabort *hook, mvimage *src, mvimage *dst,
                                   uint32_t mode);
/* The source window repeated (tiled) over the destination window, of any
 * sizes: destination pixel (x, y) takes source pixel (x mod sw, y mod sh).
 * Equal sizes are a plain copy; an empty destination window answers 0, an
 * empty source window with a non-empty destination -1.  The two windows
 * must not overlap in memory unless they are the same window. */
MVIP_API int32_t mvip8_copyreplic(mvabort *hook, mvimage *src, mvimage *dst);

/* ------------------------------------------------------------------ */
/* Interlace reordering                                                */
/* ------------------------------------------------------------------ */
/* Whole lines of the window (H lines) are reordered, averaged or
 * duplicated; source and destination windows must agree in size and
 * format (see "Copies" above).  In place (the destination is the source)
 * the result is the same as into another image.  The line permutations
 * answer -1 for a window of fewer than 2 lines, the pair operations for a
 * window of no line.
 *
 * Line permutations: source line i goes to destination line dest(i) for
 * the largest multiple M of N lines; the trailing H mod N lines are copied
 * unchanged (first, before the permutation).  With integer division:
 *   linetofield (N = 2): even i to i / 2, odd i to M/2 + i / 2 (even lines
 *     to the top half, odd lines to the bottom half);
 *   fieldtoline (N = 2): i < M/2 to 2i, else to 2(i - M/2) + 1 (the
 *     inverse);
 *   linetoNfield: i to i / N + ((i mod N) * M) / N;
 *   Nfieldtoline: i to i / (M/N) + (i mod (M/N)) * N (the inverse).
 * N < 1 answers -1; N = 1, or N greater than H, leaves the lines as they
 * are.  Each cycle of the permutation is followed with two line buffers
 * and one visited bit per line ((H + 7) / 8 bytes; -2 when it cannot be
 * had).  The hook is told (s, M) at every start line s that is a multiple
 * of 8 and (moves, M) at every eighth line moved; a stop leaves each line
 * either in its final place or untouched. */
MVIP_API int32_t mvip8_ilacelinetofield(mvabort *hook, mvimage *src,
                                        mvimage *dst);
MVIP_API int32_t mvip8_ilacefieldtoline(mvabort *hook, mvimage *src,
                                        mvimage *dst);
MVIP_API int32_t mvip8_ilacelinetoNfield(mvabort *hook, mvimage *src,
                                         mvimage *dst, int32_t n);
MVIP_API int32_t mvip8_ilaceNfieldtoline(mvabort *hook, mvimage *src,
                                         mvimage *dst, int32_t n);
/* Pair operations on lines (2k, 2k + 1); the last line of an odd height
 * has no partner and is copied unchanged (a one-line window is copied).
 * The hook is told (y, H) at every eighth line. */
/* Both lines of every pair become their average, value by value:
 * (a + b) >> 1 for integers, the mean for float (rounded once) and double
 * (half of each value when the sum would overflow). */
MVIP_API int32_t mvip8_ilacepairave(mvabort *hook, mvimage *src,
                                    mvimage *dst);
/* Both lines of every pair receive the odd line when `which` is odd
 * (negative odd values included), else the even line. */
MVIP_API int32_t mvip8_ilacepairdup(mvabort *hook, mvimage *src,
                                    mvimage *dst, int32_t which);
/* The two lines of every pair are swapped. */
MVIP_API int32_t mvip8_ilacepairswap(mvabort *hook, mvimage *src,
                                     mvimage *dst);


/* ------------------------------------------------------------------ */
/* Image files                                                         */
/* ------------------------------------------------------------------ */
/*
 * Every file call opens, reads or writes its file through one buffered
 * file layer and closes it before returning.  Result codes: -1 a bad
 * argument, -2 memory, -7 a read or write on the open file failed, -10 not
 * a file of the format or a broken structure, -11 content or an option
 * this build does not support, -13 a file that cannot be opened for
 * reading or update, -14 a file that cannot be created.  A writer that
 * fails deletes its file (also a file it was appending to).  Every file
 * call polls the abort hook once at entry, with (0, 0): a non-zero answer
 * is returned at once and nothing is touched (no file made, changed or
 * deleted; a sequence handle stays open).
 *
 * Reading frame (mvio8_tifread, mvio8_bmpread): the file's image is
 * presented in the caller's image as follows.
 *  - Colour: a caller image of one pixie and a file of three is given the
 *    grey of the file (colour converter); a caller image of two or more
 *    pixies and a file of one gets the file converted to the caller's
 *    colour code; otherwise, with mode bit 0x100 and a caller colour code
 *    that is non-zero and not the file's, the file is converted to it.
 *  - Pixel format: a type converter into the caller's data type and bits
 *    (values are rescaled by the difference of bits, as the converter
 *    does).
 *  - Size: equal window sizes copy plainly; otherwise the file image is
 *    resampled into the caller's window, nearest neighbour when the mode's
 *    low byte is 'n', bilinear otherwise.
 *  - A palette, when the file has one and a palette image is given, goes
 *    into the palette image's first line (entry x at pixel x, converted to
 *    its colour order and bits); the call then answers 1 instead of 0.
 */

#define MVTEXT_DATETIME    0
#define MVTEXT_SOFTWARE    1
#define MVTEXT_DESCRIPTION 2
#define MVTEXT_COPYRIGHT   3

#define MVFILEINFO_AREA_WORDS 40

#pragma pack(push, 4)

/* TIFF fields of the file-information record.  Filled by mvio8_fileinfo
 * and read by the TIFF writers as their parameters. */
typedef struct mvfileinfo_tif {
    uint32_t xresnum, xresden;  /* XResolution (0/0 when absent) */
    uint32_t yresnum, yresden;  /* YResolution */
    uint32_t resunit;           /* ResolutionUnit, 0 when the file has none */
    uint32_t compression;       /* 1 none, 5 LZW, 517 LZW with horizontal
                                   differencing, 32773 PackBits, 32885 the
                                   library's arithmetic code (0 = none) */
    uint32_t stripsize;         /* largest strip in bytes; 0xFFFFFFFF for a
                                   one-strip file (writer: target strip size,
                                   0 = 65536, 0xFFFFFFFF = one strip) */
    uint32_t bits[4];           /* BitsPerSample of up to four samples */
    uint32_t sampleformat[4];   /* SampleFormat of up to four samples */
    uint32_t zero;
    uint32_t ifdcount;          /* images in the file, counted by walking */
    uint32_t mode;              /* the mode word given to the call */
} mvfileinfo_tif;

/* BMP fields (format "bmp"). */
typedef struct mvfileinfo_bmp {
    uint32_t zero[2];
    uint32_t planes;
    uint32_t bitcount;          /* bits per pixel of the file */
    uint32_t palentries;        /* palette entries, 0 for 24/32-bit files */
    uint32_t compression;       /* 0 BI_RGB, 1 RLE8, 2 RLE4, 3 BITFIELDS */
    uint32_t xppm, yppm;        /* pixels per metre */
    uint32_t one;               /* always 1 */
} mvfileinfo_bmp;

/* AVI fields (format "avi").  The writers read scale and rate from a
 * record given as their parameters. */
typedef struct mvfileinfo_avi {
    uint32_t scale;             /* time units of one frame (writer: 0 = 1) */
    uint32_t rate;              /* time units per second: frames per second
                                   = rate / scale (writer: 0 = 25 fps) */
    uint32_t opendml;           /* 1 when the frames are listed by OpenDML
                                   indexes */
    uint32_t rifflists;         /* RIFF lists: 1 + the "AVIX" extensions */
    uint32_t compression;       /* bitmap compression of the frames: 0
                                   uncompressed, else its four-character
                                   code */
    uint32_t bitcount;          /* bits per pixel of the stored frames */
    uint32_t headerframes;      /* the frame count the stream header states
                                   (images holds the frames the indexes
                                   list) */
    uint32_t supported;         /* 1 when mvio8_avireadseq decodes them */
} mvfileinfo_avi;

/* JPEG fields (format "jpg"): the writer's parameters and the reader's
 * report.  The comment texts are the first three text pointers. */
typedef struct mvfileinfo_jpg {
    uint32_t quality;           /* tenths of a percent, 0 .. 1000 (750 = 75 %);
                                   reading: from the quality comment, else 0 */
    uint16_t xdensity;          /* JFIF horizontal density */
    uint16_t ydensity;          /* JFIF vertical density */
    uint16_t unit;              /* 0 none (aspect ratio), 1 per inch, 2 per cm */
    uint16_t zero;
} mvfileinfo_jpg;

/* The file-information record (280 bytes, zero-filled before use). */
typedef struct mvfileinfo {
    uint32_t window[4];         /* 0, 0, width, height */
    uint32_t zero[3];
    uint32_t width;
    uint32_t height;
    uint32_t images;            /* images in the file (1 for single-image
                                   formats) */
    mvpixfmt pixfmt;            /* pixel format of the file's image, as the */
    uint32_t pixiesize;         /* reader presents it, with its derived     */
    uint32_t pixelsize;         /* sizes; the eleventh word is kept zero    */
    uint32_t typeclass;
    uint32_t pixfmt_reserved;
    char format[4];             /* "tif", "bmp", ... zero-terminated */
    union {
        uint32_t words[MVFILEINFO_AREA_WORDS];
        mvfileinfo_tif tif;
        mvfileinfo_bmp bmp;
        mvfileinfo_avi avi;
        mvfileinfo_jpg jpg;
    } area;
    /* Texts (TIFF: DateTime, Software, ImageDescription, Copyright; index
     * with MVTEXT_*).  Copies owned by the record when filled by
     * mvio8_fileinfo (free with mvio8_fileinfodone); the caller's when the
     * record is handed to a writer. */
    char *texts[4];
} mvfileinfo;

#pragma pack(pop)

MVIP_STATIC_ASSERT(sizeof(mvfileinfo_tif) == 72, "mvfileinfo_tif size");
MVIP_STATIC_ASSERT(sizeof(mvfileinfo_bmp) == 36, "mvfileinfo_bmp size");
MVIP_STATIC_ASSERT(sizeof(mvfileinfo_avi) == 32, "mvfileinfo_avi size");
MVIP_STATIC_ASSERT(sizeof(mvfileinfo_jpg) == 12, "mvfileinfo_jpg size");
MVIP_STATIC_ASSERT(offsetof(mvfileinfo, width) == 28, "mvfileinfo.width");
MVIP_STATIC_ASSERT(offsetof(mvfileinfo, images) == 36, "mvfileinfo.images");
MVIP_STATIC_ASSERT(offsetof(mvfileinfo, pixfmt) == 40, "mvfileinfo.pixfmt");
MVIP_STATIC_ASSERT(offsetof(mvfileinfo, format) == 84, "mvfileinfo.format");
MVIP_STATIC_ASSERT(offsetof(mvfileinfo, area) == 88, "mvfileinfo.area");
MVIP_STATIC_ASSERT(offsetof(mvfileinfo, texts) == 248, "mvfileinfo.texts");
MVIP_STATIC_ASSERT(sizeof(mvfileinfo) == 280, "mvfileinfo size");

/* Recognise a file by its content (never by its name) and describe it.
 * The record is zeroed, then the probes are tried in the order TIFF, BMP,
 * AVI (further formats pass on to the next probe).  0; -1 for a null record;
 * -13 for a file that cannot be opened; -2 memory; -10 when no probe
 * recognises the file.  TIFF images that the reader refuses (tiles, JPEG
 * or Deflate strips, ...) are still described: size, samples, bits, the
 * type those need and the colour code, as far as the file tells them. */
MVIP_API int32_t mvio8_fileinfo(const char *filename, mvfileinfo *info,
                                uint32_t mode);
/* Describe up to n images: for a TIFF file one record per image from
 * number `first` (0-based) on, answering the number filled (the whole
 * chain is walked and must be sound, else -10); for any other format one
 * record and the answer 1.  Null records or n = 0: -1. */
MVIP_API int32_t mvio8_fileinfoN(const char *filename, mvfileinfo *info,
                                 uint32_t n, uint32_t first, uint32_t mode);
/* Free the texts a record owns and clear their pointers.  Safe on a
 * zeroed record, on a record of any format and on null.  Always 0. */
MVIP_API int32_t mvio8_fileinfodone(mvfileinfo *info);

/* TIFF files.
 *
 * Writing: new files are little-endian; each image is one IFD with
 * NewSubfileType, ImageWidth, ImageLength, BitsPerSample, Compression,
 * PhotometricInterpretation, StripOffsets, SamplesPerPixel, RowsPerStrip,
 * StripByteCounts, PlanarConfiguration 1, DateTime (the parameters' text,
 * else the local time as "YYYY:MM:DD hh:mm:ss"), and, when they apply,
 * ImageDescription, X/YResolution with ResolutionUnit, Software, Predictor,
 * ColorMap, ExtraSamples, SampleFormat, YCbCrSubSampling,
 * ReferenceBlackWhite and Copyright (the last three and ExtraSamples go
 * beyond the original 21 tags: without them other readers misread alpha
 * and YCbCr images).  Text counts include the terminating zero; a zero
 * that pads an odd length stays outside the count.
 *  - bits: 1..32 rescales integer values to that many bits per sample;
 *    -1..-32 writes them unscaled in |bits| bits (-1 when |bits| is below
 *    the image's bits).  0 and |bits| > 32: -1.  Float and double images
 *    are written as 32/64-bit IEEE samples (SampleFormat 3) and bits is
 *    not looked at; they take no compression (-1).  Samples narrower than
 *    a byte are packed most significant bit first; rows start on a byte;
 *    widths that are not 8, 16 or 32 bits form one bit string, most
 *    significant bit first, except that 24-bit samples in big-endian files
 *    (when appending to one) have their three bytes reversed, as libtiff
 *    converts them between the byte orders.
 *  - Photometric: 3 Palette for a one-pixie image with a palette; 5 CMYK
 *    (4 samples) for colour code 68; 6 YCbCr for codes 19 and 20 (samples
 *    stored Y, Cb, Cr); 2 RGB for codes 3, 4 (BGR pixels reordered to R, G,
 *    B, a fourth pixie dropped), 36 and 67 (first three pixies); 2 RGB with
 *    a fourth sample for 4 pixies of colour code 0 (RGBA); otherwise 1
 *    BlackIsZero with one sample per pixie.  More than 4 samples: -1.
 *    Samples beyond the photometric's colour channels are listed in
 *    ExtraSamples: the second pixie of a 2-pixie image and the fourth of a
 *    4-pixie image of colour code 0 as unassociated alpha (2; the library's
 *    pixels are never premultiplied, and readers then show them as grey
 *    or RGB with alpha), every other extra sample (complex pairs, 3 pixies
 *    of no colour code, ...) as unspecified (0).
 *  - YCbCr files say YCbCrSubSampling 1, 1 (chroma at full resolution)
 *    and ReferenceBlackWhite 0, top, half, top, half, top (top = 2^bits -
 *    1, half = 2^(bits - 1)): full-range values as the colour converter
 *    makes them.
 *  - palette: null, or an integer image of 3 or 4 pixies whose first line
 *    holds entry x at pixel x (2^bits entries; missing entries are 0);
 *    used for one-pixie images; converted to `palbits` bits (16 is what
 *    readers expect; 0 means 16).  ColorMap is SHORT, LONG beyond 16 bits
 *    of index.  A palette of BGR order is reordered.
 *  - position: 0 creates (or truncates) the file; n >= 1 appends after the
 *    n-th image of an existing file of either byte order (images after it
 *    are cut off), writing in that file's byte order; a chain shorter than
 *    n gives -10.
 *  - params: null for the defaults, else a record as mvio8_fileinfo fills
 *    it: tif.compression (0/1 none, 5 LZW, 517 LZW with horizontal
 *    differencing, 32773 PackBits, 32885 the library's arithmetic code;
 *    others -1), tif.stripsize (target bytes per strip; 0 = 65536,
 *    0xFFFFFFFF = one strip), resolutions and unit (taken as they stand),
 *    texts (null = none; DateTime null = now).
 *  - LZW follows TIFF 6.0 (no old-style codes).  Horizontal differencing
 *    works on 8-, 16- and 32-bit samples; other widths with 517 give -1.
 *  - Code 32885 codes 1 to 12-bit samples (else -1), each strip on its own,
 *    pixels interleaved.  Prediction per sample (L left, A above, C
 *    above-left, half = 2^(bits-1)): the first pixel of every row P = half;
 *    the rest of a strip's first row P = L; later rows
 *    P = (9 (A + L) - 8 C + 5) / 10 in 32-bit integers, dividing towards 0.
 *    The residual (value - P) mod 2^bits is coded with one adaptive model
 *    per sample: counts of all 2^bits symbols start at 1, grow by 24 when
 *    coded, and are halved ((c + 1) / 2) when their total reaches 16384.
 *    Range coder of 32 bits, bytes most significant first: per symbol
 *    r = range / total, low += r * cum, range = r * count (a carry goes into
 *    the bytes written), and while range < 2^24 the top byte of low is
 *    written and low, range shift up 8 bits; a strip ends with low rounded
 *    up to a multiple of 2^24 and its top byte written.  The decoder starts
 *    from the first 4 bytes and reads zeros past the strip's end (a strip
 *    read more than 3 bytes past its end answers -10).
 *  - hook: after the entry poll, called with (row, height) before every
 *    row; a non-zero answer (positive too) stops the writing and is
 *    returned.
 * Any failure after the entry poll deletes the file, also one that was
 * being appended to: refused arguments (the file named is deleted even
 * though it was not opened), a stop by the hook, a failed write.  Only a
 * file that cannot be opened (-13, -14) or a null filename is left as it
 * is. */
typedef struct mvtiffile mvtiffile;
MVIP_API int32_t mvio8_tifwrite(mvabort *hook, mvimage *im, mvimage *palette,
                                const char *filename, int32_t bits,
                                int32_t palbits, uint32_t position,
                                const mvfileinfo *params);
/* Every plane of the window of a 3-D image as one IFD, in order, in one
 * file: the planes go through mvio8_tifwrite's front end one by one (bits,
 * palette, params and position as there; the palette serves every plane),
 * each an image of the window's width and height.  The hook is called with
 * (0, 0) at entry, then before each plane with (ordinal, planes), ordinals
 * from 1; while a plane is written its row polls reach the hook with the
 * same two numbers (not rows), so a stop takes effect within a plane and a
 * progress display counts planes.  A non-zero answer stops the writing and
 * is returned.  0; -1 for a null image, a window of no planes or refused
 * arguments (checked before the file is opened); -1 for a null filename.
 * Any failure, a stop included, deletes the file, also one appended to. */
MVIP_API int32_t mvio8_tifwriteseq(mvabort *hook, mvimage3 *im,
                                   mvimage *palette, const char *filename,
                                   int32_t bits, int32_t palbits,
                                   uint32_t position,
                                   const mvfileinfo *params);
/* A sequence written image by image through a handle.  init: *handle must
 * be null and filename given (else -1); position as for mvio8_tifwrite (0
 * creates the file, n >= 1 appends after image n).  add: one image as the
 * next IFD, with mvio8_tifwrite's front end; a failure or a stop by the
 * hook while writing deletes the file and frees the handle (*handle
 * becomes null).  done: closes and frees; -1
 * without a handle.  The filename arguments of add and done are not used
 * (the handle has the file). */
MVIP_API int32_t mvio8_tifwriteseqinit(mvabort *hook, mvtiffile **handle,
                                       const char *filename,
                                       uint32_t position);
MVIP_API int32_t mvio8_tifwriteseqadd(mvabort *hook, mvtiffile **handle,
                                      const char *filename, mvimage *im,
                                      mvimage *palette, int32_t bits,
                                      int32_t palbits,
                                      const mvfileinfo *params);
MVIP_API int32_t mvio8_tifwriteseqdone(mvabort *hook, mvtiffile **handle,
                                       const char *filename);
/* Read image `index` (0 = first) of a TIFF file of either byte order into
 * the caller's image by the reading frame above.  Accepted: compression
 * 1, 5 (Predictor 1 or 2; 2 on 8-, 16- and 32-bit samples), 32773,
 * 32885; FillOrder 1 or 2 (2: the bits of every stored byte are reversed
 * before decoding); strips (not tiles); up to 4 samples; chunky samples of
 * one width, or planar with one sample; unsigned integers of 1 to 32 bits
 * (presented in the smallest container: u8 up to 8 bits, u16 up to 16, u32
 * above, with the file's bits as the significant bits) or 32/64-bit IEEE
 * floats, with any of these compressions.  24-bit samples are read in
 * the byte order the writer describes.  YCbCr files with
 * YCbCrSubSampling other than 1, 1: -11 (a file without the tag is taken
 * as 1, 1, as earlier versions of this library wrote them).  ExtraSamples
 * is not needed: extra samples are presented as further pixies.
 * Anything else: -11.  Colour
 * code of the file image: grey for one sample with Photometric 0 or 1
 * (Photometric 0 is inverted to BlackIsZero on reading), RGB for 3 samples
 * with Photometric 2, YCrCb for 6, CMYK for 4 samples with 5; else 0.
 * Resolutions set the pixel widths (denominator / numerator).  palette:
 * null, or an integer image of 3 pixies (else -1; also -1 when the
 * caller's image is float or double); the ColorMap, when the file has one,
 * goes into its first line and the call answers 1.  `reserved` is not
 * used.  0, 1, or a negative code. */
MVIP_API int32_t mvio8_tifread(mvabort *hook, mvimage *im, mvimage *palette,
                               const char *filename, uint32_t index,
                               void *reserved, uint32_t mode);
/* Consecutive images from `index` on (0 = first) into the planes of the
 * window of a 3-D image, image index + z into plane z, each read as
 * mvio8_tifread reads one image into a 2-D image of the window's width and
 * height (converted and resampled likewise; images may differ in size and
 * form).  The file must hold as many images from `index` on as the window
 * has planes, else -10, found before any plane is touched; a file with more
 * images is read as far as the planes go.  The hook is called as by
 * mvio8_tifwriteseq: (0, 0) at entry, then (ordinal, planes) before each
 * plane and for every poll while the plane is read.  The pixel widths come
 * from the first image, and so does the palette: when the first image has a
 * ColorMap and a palette image is given it goes there and the call answers
 * 1 (later images are taken as indices into that palette, or shown in their
 * own colours when the stack has two or more pixies).  0, 1; -1 for a null
 * image or filename, a window of no planes or a refused palette image; a
 * failure on a later image leaves the planes before it filled. */
MVIP_API int32_t mvio8_tifreadseq(mvabort *hook, mvimage3 *im,
                                  mvimage *palette, const char *filename,
                                  uint32_t index, void *reserved,
                                  uint32_t mode);

/* Windows BMP files.
 * Reading: files with the 12-byte OS/2 core header or a 40-, 52-, 56-, 64-,
 * 108- or 124-byte info header; 1-, 4- and 8-bit palette files
 * (uncompressed, RLE8, RLE4); 16-, 24- and 32-bit files, uncompressed
 * (16-bit as 5-5-5, 32-bit as B, G, R and an unused byte) or BI_BITFIELDS
 * with masks that are each one run of bits (every channel rescaled to 8
 * bits, rounded); bottom-up and top-down lines.  Palette files whose
 * entries all have R = G = B are presented as u8 grey (colour code 1, the
 * entry's value); other palette files and colour files as u8 BGR (colour
 * code 3).  Indices beyond the palette's entries read as 0; pixels that no
 * run-length code sets are 0; codes beyond the right edge or the top line
 * are dropped.  A data offset of 0 means the pixels follow the palette.
 * The palette, when the file has one and a palette image is given (an
 * integer image of 3 pixies, else -1), goes into its first line as for
 * TIFF and the call answers 1.  mode as for the reading frame above.
 * -10: sizes of 0, more palette entries than the bits allow, pixel data
 * beyond the end of the file, top-down run-length files, run-length codes
 * that end before the image does.  -11: JPEG or PNG inside, 2-bit pixels,
 * masks that are not one run of bits, run-length images that decode to
 * more than 1 GiB, or beyond 16 MiB to more than 256 bytes per byte of the
 * file.  mvio8_fileinfo describes a file with the pixel format the reader
 * presents; files the reader refuses are not recognised.
 * Writing: a one-pixie image as 8-bit grey with a 256-entry grey palette;
 * an image of 3 or more pixies as 24-bit colour (codes 3, 4 and 0 give
 * their first three pixies as B, G, R; codes 36 and 67 are reordered;
 * other codes are converted to BGR); two pixies: -11.  Values are rescaled
 * to 8 bits as the type converter does; lines bottom-up, padded to 4 bytes;
 * pixels per metre from the image's pixel widths when their units are
 * metres, centimetres, millimetres or inches (rounded), else 0.  A file
 * beyond 4 GiB: -11.  The hook is called with (0, 0) at entry and before
 * every eighth line with (lines written, height); a non-zero answer at
 * entry is returned at once.  Null image or filename,
 * or an empty window: -1 before any file is touched.  mode is reserved
 * (pass 0).  Any failure, a stop by the hook included, deletes the file. */
MVIP_API int32_t mvio8_bmpread(mvabort *hook, mvimage *im, mvimage *palette,
                               const char *filename, uint32_t mode);
MVIP_API int32_t mvio8_bmpwrite(mvabort *hook, mvimage *im,
                                const char *filename, uint32_t mode);

/* AVI movies.
 *
 * Writing: every frame is an uncompressed device-independent bitmap in a
 * "00db" chunk, bottom line first, rows padded to 4 bytes.  The first
 * frame fixes the format: an image of one pixie gives 8-bit grey frames
 * (with a 256-entry grey palette), an image of three or more pixies 24-bit
 * B, G, R frames (colour codes 0, 3 and 4 give their first three pixies as
 * they are, 36 and 67 are reordered, other colour codes are converted to
 * BGR); values of any data type are rescaled to 8 bits as the type
 * converter does; two pixies: -11.  Every later frame must have the first
 * one's width, height and pixie count (grey or colour), else -1.
 *  - params: null, or a record whose area.avi.scale and area.avi.rate
 *    give the stream's time base (frames per second = rate / scale; rate 0
 *    means 25 frames per second) and whose texts become INFO chunks:
 *    Software ISFT, ImageDescription ICMT, Copyright ICOP, DateTime ICRD.
 *    The INFO list is written only when Software, ImageDescription or
 *    Copyright is given (a date alone writes none).
 *  - Plain files (mvio8_aviwriteseq, mvio8_aviwriteseqinit): one RIFF
 *    "AVI " list with a 64-byte stream header (32-bit frame rectangle) and
 *    an idx1 index; a file that would pass 4 GiB is refused with -11
 *    (before it is made by mvio8_aviwriteseq; at the frame that would not
 *    fit by a handle).  Readers commonly expect plain files below 1 GiB:
 *    use OpenDML beyond.
 *  - OpenDML files (mvio8_aviodmlwriteseq, mvio8_aviodmlwriteseqinit):
 *    2^30 / row bytes / height frames (at least 1) per RIFF list, the
 *    first "AVI ", the rest "AVIX"; a 56-byte stream header (16-bit frame
 *    rectangle, values above 32767 clipped); a super index "indx" in the
 *    stream list with one entry per list (and one zero entry more); in
 *    every movi list an "ix00" standard index whose base is the movi
 *    list's header; LIST "odml" with the 248-byte "dmlh" holding the total
 *    frame count; JUNK so that LIST "movi" starts on a multiple of 8,192
 *    bytes; idx1 for the first list's frames.  A frame of 2 GiB or more:
 *    -11.  A handle reserves super index entries for 1 TiB of frames
 *    (more lists: -11); mvio8_aviodmlwriteseq reserves exactly what the
 *    stack needs.
 *  - Header values: main header flags HASINDEX (0x10) and ISINTERLEAVED
 *    (0x100), microseconds per frame and bytes per second from the rate,
 *    one stream, suggested buffer the frame chunk's size, total frames (of
 *    the first list in OpenDML files, where dmlh has the total); stream
 *    header handler "DIB ", length the total frame count, quality -1,
 *    sample size 0.  idx1 entries carry the key-frame flag (0x10) and
 *    count from the "movi" code (the first frame is at 4); ix00 sizes
 *    have bit 31 clear (key frames).
 *  - hook: called with (0, 0) at entry of every call (a non-zero answer is
 *    returned at once, touching nothing); the whole-stack writers and
 *    mvio8_aviwriteseq2 call it before each plane with (ordinal, planes),
 *    ordinals from 1, and with the same numbers while a plane is packed;
 *    mvio8_aviwriteseqadd passes it to the packing of its frame (row,
 *    height).  A non-zero answer stops the writing and is returned.
 * Any failure after the entry poll deletes the file: refused arguments of
 * the whole-stack writers (the named file is deleted though it was not
 * opened), a stop by the hook, a frame refused by a handle (the handle is
 * then freed and *handle becomes null), a failed write.  A file that
 * cannot be created (-14) or a null filename is left as it is.
 * The whole-stack writers write every plane of the 3-D window in order:
 * 0; -1 for a null image, an invalid window or one of no planes (a 2-D
 * record given here is refused so), or a null filename; -11 as above;
 * -2 memory; -7 a failed write. */
typedef struct mvavifile mvavifile;
MVIP_API int32_t mvio8_aviwriteseq(mvabort *hook, mvimage3 *im, const char *filename, const mvfileinfo *params, uint32_t mode);
MVIP_API int32_t mvio8_aviodmlwriteseq(mvabort *hook, mvimage3 *im, const char *filename, const mvfileinfo *params, uint32_t mode);
/* Handle forms.  init: *handle must be null and filename given (else -1);
 * creates the file (-14 when it cannot) and takes the parameters (texts
 * are copied); the headers are written with the first frame.  add: one
 * 2-D image as the next frame.  mvio8_aviwriteseq2: every plane of a 3-D
 * window as the next frames.  done: completes the indexes and headers and
 * closes the file; -1 without a frame (the file is deleted).  add, seq2
 * and done answer -1 for a null handle, so a handle pointer used after
 * done (which clears it) or after a failure is refused.  mode is
 * reserved (pass 0); the filename arguments of add, seq2 and done are not
 * used. */
MVIP_API int32_t mvio8_aviwriteseqinit(mvabort *hook, mvavifile **handle, const char *filename, const mvfileinfo *params, uint32_t mode);
MVIP_API int32_t mvio8_aviodmlwriteseqinit(mvabort *hook, mvavifile **handle, const char *filename, const mvfileinfo *params, uint32_t mode);
MVIP_API int32_t mvio8_aviwriteseqadd(mvabort *hook, mvavifile **handle, const char *filename, mvimage *im);
MVIP_API int32_t mvio8_aviwriteseq2(mvabort *hook, mvavifile **handle, const char *filename, mvimage3 *im);
MVIP_API int32_t mvio8_aviwriteseqdone(mvabort *hook, mvavifile **handle, const char *filename);
/* Read frames `first`, first + 1, ... of the file's first video stream
 * into the planes of the 3-D window, frame first + z into plane z, each by
 * the reading frame above (the frame is an image of kind "MVIMAVI": u8
 * grey, colour code 1, or u8 BGR, colour code 3; converted and resampled
 * into the plane as there).  The frames are those the file's indexes list:
 * the OpenDML super and standard indexes when the stream has a super index
 * in use, else idx1 (offsets from the "movi" code, or from the file's
 * start when that is where the chunks are), else the frame chunks found
 * in the movi lists; header frame counts are not trusted.  Accepted:
 * uncompressed bitmaps of 8 bits (with a palette: grey when all entries
 * are grey, else BGR; without one: grey), 24 and 32 bits (B, G, R and an
 * unused byte), bottom-up or top-down, and 8-bit grey of the codes "Y800",
 * "Y8  ", "GREY" (top line first, rows not padded); anything else -11,
 * frames of 2 GiB or more -11.  The file must hold first + planes frames,
 * else -10 before any plane is touched; a frame chunk smaller than a
 * frame, and index entries or chunks outside the file, -10.  A frame
 * chunk of no bytes (a dropped frame, as ffmpeg writes where time stamps
 * jump) shows the frame before it again; as the first frame it is -10.
 * fileinfo counts such frames as frames.  The hook is
 * called as by the whole-stack writers.  mode as for the reading frame.
 * 0; -1 for a null image or filename, or a window of no planes; -13. */
MVIP_API int32_t mvio8_avireadseq(mvabort *hook, mvimage3 *im, const char *filename, uint32_t first, uint32_t mode);

/* ------------------------------------------------------------------ */
/* Regions                                                             */
/* ------------------------------------------------------------------ */
/*
 * A region names a set of pixels of one image.  The record begins with a
 * whole mvimage (the image the region applies to; its window clips the
 * region), so a region can be passed wherever an image is expected.  Shapes
 * with lists (polygons, scan lists, paths) extend the record past its fixed
 * 512 bytes; reclen says how many bytes the whole record has, and must be
 * set by callers that build a list shape themselves (fixed shapes ignore
 * it).  Regions made by the library are one block released with
 * mvirp_regionfree.  A record of any size is built as far as memory allows
 * (-2 when it does not): there is no upper limit on a computed scan list or
 * path.
 *
 * Geometry conventions (one outline per shape; the scan conversion, the
 * bounds and the paths all derive from it, so fill and outline agree):
 *  - Ellipses (integer and float, and the ellipses of rings and sectors)
 *    have semi-axes width/2 and height/2; a pixel belongs to the ellipse
 *    when its centre lies inside or on it.  An integer ellipse of odd
 *    width counts pixels like a rectangle: 41 x 21 centred on (100, 80)
 *    spans x 80..120 and y 70..90; an even width has one pixel more
 *    (40 x 20 spans 41 x 21), as the rectangle of the same width does.
 *  - Rectangles are the four-vertex polygons of mvirp_xlaterecttopoly.
 *  - Polygons (and paths, closed back to their start) hold every pixel of
 *    their outline (the line walk from vertex to vertex) and every pixel
 *    whose centre lies inside.  The general converter (polygons, paths,
 *    sectors) decides "inside" by the even-odd rule; an option of 1 to
 *    mvirp_xlatetoscanlist selects the non-zero winding rule instead.
 *  - Rings (annulus, frame) are the outer shape's pixels less the inner
 *    shape's pixels: the inner outline lies just inside the hole.
 *  - Sectors run counter-clockwise as displayed from starta to enda; an
 *    enda below starta wraps round (0 to -pi/2 is three quarters of a
 *    turn); ends a full turn or more apart keep the whole ring; equal ends
 *    keep only the outline points on that ray.  A sector is bounded by the
 *    outer outline's points within the angles (pass 0) and the inner
 *    outline's points within them (pass 1; the centre when the inner
 *    ellipse is empty, giving a pie slice).
 *  - Shapes with a width or height of 0 or less are empty (float sizes
 *    below 0 count as 0), except a float rectangle, which shrinks to the
 *    line or point its corners give; shapes with a parameter that is not
 *    finite, or whose centre or size passes 2^30, are empty.
 *  - The outline of a scan list is the first and last pixel of each run;
 *    a path's outline is its own points.  The work of converting, bounding
 *    or tracing a shape grows with the length of its outline, wherever the
 *    window lies.
 *  - Paths, polygons and sector outlines are closed by the line walk from
 *    their last point to their first; the general converter joins points
 *    that are not neighbours by the line walk as well.
 *  - A scan list given to be complemented must be sorted (y, then x)
 *    without overlaps; one out of order gives -5.
 *  - Paths are extended only as records made by the library (they may be
 *    moved to a larger block).
 */
#define MVIMREGWIND        0
#define MVIMREGELLIPSE     1
#define MVIMREGRECTANGLE   2
#define MVIMREGPOLYGON     3
#define MVIMREGPOLYGONX    4
#define MVIMREGSCANLIST    5
#define MVIMREGPATH        6
#define MVIMREGSCANLISTB   7
#define MVIMREGPOLYLINE    8
#define MVIMREGANNULUS     9
#define MVIMREGANNULUSARC  10
#define MVIMREGFRAME       11
#define MVIMREGWINDOW      12
#define MVIMREGELLIPSEF    13
#define MVIMREGRECTANGLEF  14
#define MVIMREGANNULUSF    17
#define MVIMREGANNULUSARCF 18
#define MVIMREGFRAMEF      19
#define MVIMREGNEGATIVE    0x100  /* or-ed in: the complement in the window */

#pragma pack(push, 4)
typedef struct mvregshape { int32_t width, height; float angle; } mvregshape;
typedef struct mvregpolygon { int32_t N; mvpoint vertex[4]; } mvregpolygon;
typedef struct mvscanrun { mvpoint coord; int32_t len; } mvscanrun;
typedef struct mvregscanlist { int32_t N; mvscanrun scanlists[3]; } mvregscanlist;
typedef struct mvregpath { int32_t N; mvpoint lastpt; uint8_t pathlist[28]; } mvregpath;
typedef struct mvregannulus {
    int32_t outerwidth, outerheight; float outerangle;
    int32_t innerwidth, innerheight; float innerangle;
} mvregannulus;
typedef struct mvregannulusarc {
    int32_t outerwidth, outerheight; float outerangle;
    int32_t innerwidth, innerheight; float innerangle;
    float starta, enda;
} mvregannulusarc;
typedef struct mvregwindow { int32_t width, height; } mvregwindow;
typedef struct mvpointf { float xf, yf; } mvpointf;
typedef struct mvregshapef { mvpointf originf; float width, height, angle; } mvregshapef;
typedef struct mvregannulusf {
    mvpointf originf;
    float outerwidth, outerheight, outerangle, innerwidth, innerheight, innerangle;
} mvregannulusf;
typedef struct mvregannulusarcf {
    mvpointf originf;
    float outerwidth, outerheight, outerangle, innerwidth, innerheight, innerangle;
    float starta, enda;
} mvregannulusarcf;

/* The region record.  Lists run on past the declared array sizes, up to
 * reclen bytes from the start of the record. */
typedef struct mvimregion {
    mvimage image;
    uint32_t regiontype;
    uint64_t reclen;
    mvpoint origin;
    union {
        mvregshape ellipse, rectangle;
        mvregpolygon polygon;
        mvregscanlist scanlist;
        mvregpath path;
        mvregannulus annulus, frame;
        mvregannulusarc annulusarc;
        mvregwindow window;
        mvregshapef ellipsef, rectanglef;
        mvregannulusf annulusf, framef;
        mvregannulusarcf annulusarcf;
    } region;
} mvimregion;
#pragma pack(pop)

#define MVIMREGION_FIXED 512           /* bytes of the fixed part */
#define MVIMREGION_POLYGON_AT 476      /* offset of the first vertex */
#define MVIMREGION_SCANLIST_AT 476     /* offset of the first run */
#define MVIMREGION_PATHLIST_AT 484     /* offset of the first chain code byte */
MVIP_STATIC_ASSERT(sizeof(mvimregion) == MVIMREGION_FIXED, "mvimregion size");
MVIP_STATIC_ASSERT(offsetof(mvimregion, regiontype) == 452, "mvimregion.regiontype");
MVIP_STATIC_ASSERT(offsetof(mvimregion, reclen) == 456, "mvimregion.reclen");
MVIP_STATIC_ASSERT(offsetof(mvimregion, origin) == 464, "mvimregion.origin");
MVIP_STATIC_ASSERT(offsetof(mvimregion, region) == 472, "mvimregion.region");
MVIP_STATIC_ASSERT(offsetof(mvimregion, region.polygon.vertex) == MVIMREGION_POLYGON_AT,
                   "mvimregion.region.polygon.vertex");
MVIP_STATIC_ASSERT(offsetof(mvimregion, region.scanlist.scanlists) == MVIMREGION_SCANLIST_AT,
                   "mvimregion.region.scanlist.scanlists");
MVIP_STATIC_ASSERT(offsetof(mvimregion, region.path.lastpt) == 476, "mvimregion.region.path.lastpt");
MVIP_STATIC_ASSERT(offsetof(mvimregion, region.path.pathlist) == MVIMREGION_PATHLIST_AT,
                   "mvimregion.region.path.pathlist");
MVIP_STATIC_ASSERT(offsetof(mvimregion, region.annulusarcf.enda) == 508,
                   "mvimregion.region.annulusarcf.enda");
MVIP_STATIC_ASSERT(sizeof(mvscanrun) == 12, "mvscanrun size");

/* Type names: entry i of the table has a code and a name ("MVIMREGWIND",
 * ...); the entry after the last has a null name.  mvirp_regionname
 * answers the name of a code (flag stripped) or null; mvirp_regioncode the
 * code of an exactly matching name or -1. */
typedef struct mvregname { int32_t code; const char *name; } mvregname;
MVIP_API const mvregname *mvirp_regionnames(void);
MVIP_API const char *mvirp_regionname(uint32_t code);
MVIP_API int32_t mvirp_regioncode(const char *name);

/* Release a region made by the library and set *region to null; a null
 * address or a null *region does nothing. */
MVIP_API void mvirp_regionfree(mvimregion **region);

/* Chain-coded paths.  Codes 0..7 step (+1,0) (+1,-1) (0,-1) (-1,-1) (-1,0)
 * (-1,+1) (0,+1) (+1,+1); a code of 8 or more is a run of (next nibble + 2)
 * steps in direction code & 7.  Two codes a byte, low nibble first.
 * mvirp_pathcreate: *path must be null; a new path at (x, y).  -1, -2.
 * mvirp_pathextend: appends the line walk from lastpt to (x, y) (the walk
 * starts with the error 2m - (M - 1): (0,0) to (3,1) gives 7, 0, 0); the
 * record may move.  -1 for a null or non-path record; -2 when growing
 * fails, the path then as it was before the call.  A full path (N of
 * 0x7fffffff) ignores further steps.
 * mvirp_pathextend1: one code from the signs of (x, y) - lastpt (0 for the
 * same point), then lastpt = (x, y) even when it is not a neighbour.
 * -1, -2, -15 for a full path.
 * mvirp_pathcompress: a new copy with runs of one direction as run codes;
 * -1 unless src is a path (no negative flag) and *dst is null. */
MVIP_API int32_t mvirp_pathcreate(mvimregion **path, int32_t x, int32_t y);
MVIP_API int32_t mvirp_pathextend(mvimregion **path, int32_t x, int32_t y);
MVIP_API int32_t mvirp_pathextend1(mvimregion **path, int32_t x, int32_t y);
MVIP_API int32_t mvirp_pathcompress(const mvimregion *src, mvimregion **dst);

/* mvirp_xlatetoscanlist: a new clipped, sorted MVIMREGSCANLIST of the
 * region's pixels in *dst (which must be null).  Scan lists given as
 * MVIMREGSCANLISTB (or negative scan lists) are copied and clipped;
 * negative regions give their complement within the window.  option 1
 * selects the non-zero rule of the general converter (else even-odd).  The
 * hook is asked at entry.  -1: null pointers, *dst not null, an invalid
 * image, a plain MVIMREGSCANLIST, a polyline, an unknown type or a list
 * longer than its record; -2 memory; -5 a complement whose input is out of
 * order.
 * mvirp_xlatetopath: a new path following the region's outline (the
 * negative flag carried over); -1 as above.
 * mvirp_xlaterecttopoly: a (float) rectangle becomes in place the
 * four-vertex MVIMREGPOLYGONX of its corners; -1 for other types.
 * mvirp_regionbounds: left, top, right, bottom (exclusive) of the region's
 * outline into *bounds.  mode 0x100: a negative region's own shape (else
 * its window); any non-zero mode answers 0 when the bounds miss the window;
 * (mode & 0x7f) == 'w' clips them to the window.  1 stored, 0 empty (bounds
 * untouched), -1 invalid image or type.
 * mvirp_regionarea: the number of pixels into *count (may be null); 0 or
 * the conversion's error. */
MVIP_API int32_t mvirp_xlatetoscanlist(mvabort *hook, const mvimregion *region,
                                       mvimregion **dst, uint32_t option);
MVIP_API int32_t mvirp_xlatetopath(mvabort *hook, const mvimregion *region,
                                   mvimregion **dst);
MVIP_API int32_t mvirp_xlaterecttopoly(mvimregion *region);
MVIP_API int32_t mvirp_regionbounds(const mvimregion *region, mvywindow *bounds, uint32_t mode);
MVIP_API int32_t mvirp_regionarea(const mvimregion *region, uint32_t *count);

/* The region text file: a "[mvimregion]" section of key=value lines (type
 * name, origin, shape parameters; integers "%d", floats "%f").  Export:
 * mode null means "w" ("a" appends); 0, -1 null arguments or an unknown
 * type (no file is left), -14 not creatable, -7 write error (the file is
 * deleted).  Import: *region must be null; mode null means "r"; the header
 * line is optional, keys must come in the written order with blanks
 * allowed around "=", indexed keys with their index.  0, -1, -13 not
 * found, -10 format, -2 memory.  The imported region carries a null image.
 * The reader closes its file on every path.  A compressed path travels
 * with N nibbles (short by one nibble a run). */
MVIP_API int32_t mvirp_regionexport(mvabort *hook, const mvimregion *region,
                                    const char *filename, const char *mode);
MVIP_API int32_t mvirp_regionimport(mvabort *hook, mvimregion **region,
                                    const char *filename, const char *mode);

/* ---- Region-bounded operations ----------------------------------------
 * The mvirp8_ / mvirpf_ functions below take a region in the place of the
 * first image of their whole-image counterpart (same name with mvip8_ /
 * mvipf_; same further arguments, same results and codes) and touch or
 * count only the pixels of the region's image that lie in the region:
 * other pixels are neither read into results nor written.
 *  - The hook is asked first (its second answer returned when it stops the
 *    call); a null region gives -1.
 *  - A region of type MVIMREGWIND exactly (no negative flag) runs the
 *    whole-image counterpart on region->image and returns its result.
 *  - Otherwise region->image must be a valid record (-1) of data type u8
 *    or u16 (-19); the region is turned into runs (a MVIMREGSCANLIST is
 *    used as it is, cut to the window; any other type goes through
 *    mvirp_xlatetoscanlist with option 0, whose negative codes are
 *    returned), and the counterpart's own kernels run on each run, the
 *    hook being polled before the first run of every band of eight window
 *    lines that holds runs.
 *  - Runs are in the image's coordinates.  A scan list whose runs are out
 *    of order (by line, then x) or overlap is sorted and merged first, so
 *    every pixel is taken once; runs of length 0 or less are ignored.
 *  - Operations with a destination (src -> dst) read the region's pixels
 *    from region->image and write the same window-relative places of dst:
 *    with equal windows (required, as for the whole-image forms) the same
 *    pixels.  dst may be region->image itself (or another record of the
 *    same memory): the operation then works in place.  Pixels of dst
 *    outside the region are left as they were.
 *  - The counting threshold counts region pixels only; histograms hold
 *    region pixels only; moments and mass centres sum over region pixels
 *    only (in image coordinates), and -31 means that the region holds no
 *    mass.
 * mvirp8_copy(hook, src, dst) takes two regions: the pixels at the
 * window-relative places that lie in both (each region taken relative to
 * its own image's window) are copied from src->image to dst->image.  Only
 * when both are MVIMREGWIND is it mvip8_copy(hook, &src->image,
 * &dst->image).  Both images must be u8 or u16 otherwise.
 * Example: negating a disc of radius 20 around (64, 64) of an 8-bit image
 *     mvimregion e = {0};  e.image = *im;  e.regiontype = MVIMREGELLIPSE;
 *     e.origin.x = 64; e.origin.y = 64;
 *     e.region.ellipse.width = 41; e.region.ellipse.height = 41;
 *     mvirp8_pixneg(NULL, &e, im);
 */
MVIP_API int32_t mvirp8_copy(mvabort *hook, mvimregion *src, mvimregion *dst);
MVIP_API int32_t mvirp8_pixset(mvabort *hook, mvimregion *region, uint32_t value);
MVIP_API int32_t mvirp8_pixset3(mvabort *hook, mvimregion *region, uint32_t v0, uint32_t v1,
                                uint32_t v2);
MVIP_API int32_t mvirpf_pixset3(mvabort *hook, mvimregion *region, double v0, double v1,
                                double v2);
MVIP_API int32_t mvirp8_pixneg(mvabort *hook, mvimregion *region, mvimage *dst);
MVIP_API int32_t mvirp8_pixshr(mvabort *hook, mvimregion *region, mvimage *dst, uint32_t n);
MVIP_API int32_t mvirp8_pixshl(mvabort *hook, mvimregion *region, mvimage *dst, uint32_t n);
MVIP_API int32_t mvirp8_pixand(mvabort *hook, mvimregion *region, mvimage *dst, uint32_t m);
MVIP_API int32_t mvirp8_pixor(mvabort *hook, mvimregion *region, mvimage *dst, uint32_t m);
MVIP_API int32_t mvirp8_pixxor(mvabort *hook, mvimregion *region, mvimage *dst, uint32_t m);
MVIP_API int32_t mvirp8_pixmsb(mvabort *hook, mvimregion *region, mvimage *dst);
MVIP_API int32_t mvirp8_pixiemin(mvabort *hook, mvimregion *region, mvimage *dst);
MVIP_API int32_t mvirp8_pixiemax(mvabort *hook, mvimregion *region, mvimage *dst);
MVIP_API int32_t mvirp8_pixieave(mvabort *hook, mvimregion *region, mvimage *dst);
MVIP_API int32_t mvirp8_pixiecopy(mvabort *hook, mvimregion *region, mvimage *dst,
                                  uint32_t from, uint32_t to);
MVIP_API int32_t mvirp8_pixthreshold(mvabort *hook, mvimregion *region, mvimage *dst,
                                     uint32_t low, uint32_t high, uint32_t value);
MVIP_API int32_t mvirp8_pixthreshold2(mvabort *hook, mvimregion *region, mvimage *dst,
                                      uint32_t low, uint32_t high, uint32_t inside,
                                      uint32_t outside);
MVIP_API int32_t mvirp8_pixthreshold3(mvabort *hook, mvimregion *region, mvimage *dst,
                                      const uint32_t low[3], const uint32_t high[3],
                                      const uint32_t value[3]);
MVIP_API int32_t mvirp8_pixthresholdcnt(mvabort *hook, mvimregion *region, mvimage *dst,
                                        uint32_t low, uint32_t high, uint32_t value);
MVIP_API int32_t mvirpf_pixthresholdcnt(mvabort *hook, mvimregion *region, mvimage *dst,
                                        double low, double high, double value);
MVIP_API int32_t mvirp8_pixcontrast(mvabort *hook, mvimregion *region, mvimage *dst,
                                    int32_t low, int32_t high);
MVIP_API int32_t mvirpf_pixcontrast(mvabort *hook, mvimregion *region, mvimage *dst,
                                    double low, double high);
MVIP_API int32_t mvirp8_pixcontrastpivot(mvabort *hook, mvimregion *region, mvimage *dst,
                                         uint32_t pivot2, double gain);
/* The percentiles are those of the region's pixels. */
MVIP_API int32_t mvirp8_pixcontrastperc(mvabort *hook, mvimregion *region, mvimage *dst,
                                        uint32_t lowperc, uint32_t highperc,
                                        uint32_t *lowvalue, uint32_t *highvalue);
MVIP_API int32_t mvirp8_pixgamma(mvabort *hook, mvimregion *region, mvimage *dst, double gamma);
MVIP_API int32_t mvirp8_pixscale(mvabort *hook, mvimregion *region, mvimage *dst, uint32_t a,
                                 uint32_t b);
MVIP_API int32_t mvirpf_pixscale(mvabort *hook, mvimregion *region, mvimage *dst, double factor);
MVIP_API int32_t mvirp8_pixadd(mvabort *hook, mvimregion *region, mvimage *dst, int32_t value,
                               int32_t mode);
MVIP_API int32_t mvirpf_pixadd(mvabort *hook, mvimregion *region, mvimage *dst, double value);
MVIP_API int32_t mvirp8_pixmap(mvabort *hook, mvimregion *region, mvimage *dst,
                               const uint8_t *table, uint32_t entries);
MVIP_API int32_t mvirp8_pixmaps(mvabort *hook, mvimregion *region, mvimage *dst,
                                const uint16_t *table, uint32_t entries);
MVIP_API int32_t mvirp8_pixmapl(mvabort *hook, mvimregion *region, mvimage *dst,
                                const uint32_t *table, uint32_t entries);
MVIP_API int32_t mvirp8_histab(mvabort *hook, mvimregion *region, uint32_t *hist, uint32_t bins);
MVIP_API int32_t mvirp8_histab2(mvabort *hook, mvimregion *region, uint32_t *hist,
                                uint32_t bins);
MVIP_API int32_t mvirp8_histab3(mvabort *hook, mvimregion *region, uint32_t *hist,
                                uint32_t bins);
/* src2 is read at the region's window-relative places. */
MVIP_API int32_t mvirp8_histabpair(mvabort *hook, mvimregion *region, mvimage *src2,
                                   uint32_t *hist, uint32_t bins);
MVIP_API int32_t mvirp8_moments(mvabort *hook, mvimregion *region, mvmoments *out);
MVIP_API int32_t mvirp8_momentsf(mvabort *hook, mvimregion *region, mvmoments *out);
MVIP_API int32_t mvirp8_masscenter(mvabort *hook, mvimregion *region, double *xc, double *yc);
MVIP_API int32_t mvirp8_masscenterbin(mvabort *hook, mvimregion *region, double *xc,
                                      double *yc, uint64_t *area);
MVIP_API int32_t mvirp8_masscenterpow(mvabort *hook, mvimregion *region, double power,
                                      double *xc, double *yc);

/* ---- Region views ------------------------------------------------------
 * mvimmvirprectacc(view, region, fill): a view of kind "MVRPREGD" that
 * shows the pixels of a MVIMREGSCANLIST region (code 5 exactly; else the
 * view becomes a null image and -1) at their places in region->image, and
 * `fill` everywhere else.  The view copies the image's dimensions, pixel
 * format and geometry, and its window is first the whole image; it keeps
 * the region (read at every transfer, never owned: the region must stay
 * in place while the view is used; the view's transfers go through the
 * slots of region->image, whose access state they set).  Its window is its own: (x, y) of a
 * transfer is relative to the view's window, the image's pixel at that
 * place is read or written through the image's own slots (relative to the
 * image's window).  fill is stored into each pixie as the data type holds
 * it (truncated to integer containers; converted for float types).
 *  - ioset(mode, type, mask): -19 unless type's low byte is the image's
 *    data type, -21 unless mask is 1 (one pixie), the image's own ioset
 *    (its negative code returned), -11 for y- or z-major modes; then 1.
 *    Runs may continue across lines (mode 0x0040).
 *  - ioread: per line, stretches inside the line's runs are read from the
 *    image, the rest filled; iorite writes only the stretches inside runs
 *    and drops the rest.  Both answer the pixels handled (iolen's count).
 *    A line's first run is found by a linear search that stops at the
 *    first run of a later line; the view remembers where the previous
 *    request's line began and searches on from there for a later line, so
 *    a walk down the image costs in proportion to the runs, not runs x
 *    lines.  Runs of length 0 carry nothing; touching runs read as one
 *    stretch; a run that starts before the end of the previous one on its
 *    line is taken from that end on.
 *  - aeiou: 'b', 'i', 'm' answer 0x800001; 'B', 'I' and (with arg2
 *    non-zero) 'e' are answered by the image; others 0.
 *  - xwind: as for every image; setting the window returns the transfer
 *    slots to no-ops until the next ioset.  Other slots are no-ops.
 * mvimmvirprectacc2(view, region, option): a read-only view of kind
 * "MVRPREGE", u8, one pixie, of the dimensions of region->image, showing
 * a MVIMREGPATH (code 6 exactly; else a null image and -1): a pixel off
 * the path reads 0, a pixel on it 0x80 | (the number of times the walk of
 * the path from its origin passes it, modulo 128).  option is handed to
 * the outline walker (non-zero: the negative flag is ignored, which a
 * plain path never has).  Its ioset also refuses types other than u8
 * (-19) and does not consult the image; it has no writer.  Every request
 * walks the whole path once per line.
 * Both constructors clear the record first and answer 0; a null view
 * gives -1. */
MVIP_API int32_t mvimmvirprectacc(mvimage *view, const mvimregion *region, uint32_t fill);
MVIP_API int32_t mvimmvirprectacc2(mvimage *view, const mvimregion *region, uint32_t option);
MVIP_API uint32_t mvrpregd_ioread(mvimage *im, uint32_t flags, void *buffer, uint32_t count,
                                  int32_t x, int32_t y);
MVIP_API uint32_t mvrpregd_iorite(mvimage *im, uint32_t flags, void *buffer, uint32_t count,
                                  int32_t x, int32_t y);
MVIP_API uint32_t mvrpregd_iolen(mvimage *im, uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvrpregd_ioset(mvimage *im, uint32_t mode, uint32_t type, uint32_t mask);
MVIP_API uint32_t mvrpregd_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvrpregd_xwind(mvimage *im, mvywindow *window, int32_t code);
MVIP_API uint32_t mvrprege_ioread(mvimage *im, uint32_t flags, void *buffer, uint32_t count,
                                  int32_t x, int32_t y);
MVIP_API uint32_t mvrprege_iolen(mvimage *im, uint32_t count, int32_t x, int32_t y);
MVIP_API int32_t mvrprege_ioset(mvimage *im, uint32_t mode, uint32_t type, uint32_t mask);
MVIP_API uint32_t mvrprege_aeiou(mvimage *im, uint32_t code, intptr_t arg1, intptr_t arg2);
MVIP_API mvywindow *mvrprege_xwind(mvimage *im, mvywindow *window, int32_t code);

/* JPEG (JFIF) files.
 * Writing (mvio8_jpegwrite): a baseline file of `bits` 8 or 12 bits per
 * sample (else -1), no subsampling, no restart intervals, one sequential
 * scan.  The image must have 1, 3 or 4 pixies (else -21) of an integer
 * type (else -19); it is viewed through the type converter at `bits` bits,
 * and an image of two or more pixies whose colour code is not RGB (67)
 * through a colour converter to RGB (a 4-pixie image thus becomes RGB).
 * Grey images are written as one component, colour images as YCbCr.
 * Markers in order: SOI; APP0 JFIF 1.02 with the record's density unit and
 * densities (0, 1, 1 without a record); a comment for each of the
 * record's first three texts that is not null; with a record, the comment
 * "CompressionQuality=" and the record's quality in tenths as printed with
 * %d; the quantisation tables (luminance, and chrominance for colour
 * images) scaled by quality q = quality / 10 (capped at 100; 50 without a
 * record) with factor 5000 / q below 50, 200 - 2q from 50 on, 5000 for
 * q = 0, entries clamped to 1 .. 255; SOF0 (also for 12-bit files: strict
 * decoders expect SOF1 there and may refuse them); the Huffman tables; SOS;
 * the data; EOI.  8-bit files use the standard Huffman tables; 12-bit
 * files carry tables made to measure for the image (the standard ones have
 * no codes for the larger values of 12-bit samples).  The transform and
 * colour arithmetic is single-precision float; quantised values are
 * rounded half away from zero.  Sizes above 65535: -19.  The hook is
 * called with (0, 0) at entry and before each band of 8 lines with (line,
 * height) (12-bit files: twice over the image).  `reserved` is not used.
 * 0 or a negative code; any failure, a stop by the hook included, deletes
 * the file.
 * mvio8_jpegwrite2: the same with the record's fields as arguments (the
 * comment in the first text slot; the four pointers are reserved).
 * Reading (mvio8_jpegread, the reading frame above, file image of kind
 * "JPEG"): Huffman-coded sequential files, SOF0 and also SOF1 (the marker
 * other programs give 12-bit files), 8- or 12-bit (presented as u8, or as
 * u16 with 12 bits), 1 to 4 components with any sampling factors 1 .. 4,
 * several scans, restart intervals.  Subsampled components are upsampled
 * to the image's size: by a factor of 2 with the triangle filter (3/4 of
 * the nearer and 1/4 of the farther sample, the edge samples repeated),
 * other factors by repetition.  8-bit chroma at half the width (4:2:0,
 * 4:2:2) is filtered in integers and rounded once to 8 bits before the
 * colour conversion; other cases are filtered in floating point.  Colour: one component is grey; three are
 * YCbCr, or RGB with an Adobe segment of transform 0 or components named
 * 'R', 'G', 'B', presented as RGB (67); four are CMYK (68) as stored, YCCK
 * with an Adobe segment of transform 2 converted to CMYK, and the values
 * of files with an Adobe segment inverted (such files store 255 - ink).
 * JFIF densities give the pixel widths (1 / density; unit inch or
 * centimetre, or an aspect ratio for unit 0 with unequal densities).
 * Progressive, lossless, arithmetic-coded and hierarchical files, other
 * precisions, and DNL: -11.  Broken structure (no SOI, segments beyond the
 * end, bad Huffman or quantisation tables, quantisation tables other than
 * 0 and 1, tables missing at a scan, more than 4 components, a scan that
 * needs more data than it has, a code that is no code, a missing restart
 * marker): -10.  Sizes are checked against the file's length before any
 * pixel memory is taken.  mvio8_fileinfo describes JPEG files in "jpg"
 * records (quality, densities, unit, up to three comments); files the
 * reader refuses are not recognised. */
MVIP_API int32_t mvio8_jpegwrite(mvabort *hook, mvimage *im, void *reserved, const char *filename, uint32_t bits, const mvfileinfo *info);
MVIP_API int32_t mvio8_jpegwrite2(mvabort *hook, mvimage *im, void *reserved, const char *filename, uint32_t bits, uint16_t unit, uint16_t xdensity, uint16_t ydensity, uint32_t quality, void *reserved1, void *reserved2, void *reserved3, void *reserved4, const char *comment);
MVIP_API int32_t mvio8_jpegread(mvabort *hook, mvimage *im, const char *filename, uint32_t mode);

/* ---- Drawing ----------------------------------------------------------
 * Figures are drawn into an image by a pen built for one call.  Every
 * drawing call takes the same tail of arguments:
 *   dotspacing  n > 1 plots every n-th point only: a countdown from n,
 *               separate for explicit points (the ends and corners a figure
 *               plots itself) and for walked points (its line walks);
 *   width       w > 1 plots a disc round every point: r = w / 2, r2 =
 *               (w / 2.0)^2 rounded half away from zero; explicit points
 *               fill the offsets with dx^2 + dy^2 <= r2, walked points those
 *               with dx^2 + dy^2 < r2 (the ends of a thick line are rounder);
 *               0 and 1 plot single pixels;
 *   mode        0 writes nothing (the figure is walked, the pattern phase
 *               still advances); 'v' (118) and every other mode write the
 *               colour; 'c' (99) copies from the source (below);
 *   colour      up to four words, one per pixie (null: zeros).  Integer
 *               images take each word's low bits; float and double images
 *               map 0 .. 4294967295 onto their range (low .. high), so
 *               4294967295 draws the range's high value;
 *   source      optional image whose pixel at the same window-relative
 *               position is written instead of the colour (points outside
 *               the source's window keep the colour).  It must have the
 *               image's pixel size and, except for 'c', its pixie count;
 *               'c' needs a source of two pixies or 4-byte pixels.  Its
 *               pixels' bytes are copied unchanged.  Otherwise -1;
 *   state       optional word carrying the dot pattern's phase (walked
 *               points since the last plotted one) in and out, so that a
 *               dotted figure drawn in several calls continues its pattern.
 * Points outside the image's window are dropped (not an error).  Points
 * are written in batches through the image's scattered transfers, or one
 * pixel at a time through iorite for kinds without them.  The hook is
 * called with (0, 0) at entry; a non-zero answer is asked again and that
 * answer returned.  -1 for null geometry or an invalid image record; -1
 * or -2 when no point buffer can be sized or allocated.
 *
 * mvip8_drawline: p0 and p1 are (x, y) pairs; p0 is plotted as an
 * explicit point, the line walk visits the pixels between them, p1 is
 * plotted as an explicit point (equal ends: that point twice, no walk).
 * The line walk steps along the longer axis (y on a diagonal) with the
 * error term 2m - (M - 1): (0, 0) to (3, 1) visits (1, 1), (2, 1).
 * mvip8_drawbox: box is x0, y0, x1, y1; the four corners are explicit
 * points, each written once, and the sides are walked in the order
 * (x0,y0) -> (x1,y0) -> (x1,y1) -> (x0,y1) -> (x0,y0). */
MVIP_API int32_t mvip8_drawline(mvabort *hook, mvimage *image, const int32_t *p0, const int32_t *p1, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);
MVIP_API int32_t mvip8_drawbox(mvabort *hook, mvimage *image, const int32_t *box, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);

/* mvip8_drawchars: draws `text` (a null-terminated string) in the built-in
 * 5 x 9 bitmap font of printable ASCII, with the pen's tail of arguments.
 * origin is the (x, y) of the first character cell's top-left corner; each
 * font pixel becomes a scale x scale block of explicit pen points (scale 0
 * counts as 1, at most 1024).  Cells advance 6 x scale pixels; '\n' starts a
 * new line 10 x scale pixels lower at origin's x; other characters outside
 * 32 .. 126 leave an empty cell.  Capitals and digits are 7 font pixels
 * high from the cell's second row, the baseline under the eighth row,
 * descenders in the ninth.  -1 for a null origin or text. */
MVIP_API int32_t mvip8_drawchars(mvabort *hook, mvimage *image, const int32_t *origin, const char *text, uint32_t scale, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);

/* ---- Icons and cursors ------------------------------------------------
 * An icon is a bitmap placed by its hot spot, or (bitmap null) a cross-hair.
 * position: (x, y) of the hot spot in image coordinates.  bitmap: rows of
 * (width + 7) / 8 bytes, top row first, the first pixel of each byte in its
 * most significant bit; a set bit is an icon pixel.  size: (width, height),
 * each 1 to 128.  hotspot: with a bitmap, bitmap pixel (i, j) lands at
 * (x - hx + i, y - hy + j); without, the bar thicknesses (tw, th), 1 to 128:
 * a horizontal bar width x th and a vertical bar tw x height, both centred
 * on the position (a bar of n pixels has its centre at pixel n / 2), the
 * vertical bar without the lines the horizontal one covers, and the
 * position's own pixel left out so that it stays visible.  With force 0 an
 * icon whose position lies outside the image window is not drawn.
 *
 * The handle remembers the points inside the window and the pixels
 * beneath them (read when it is made):
 *   mvip8_drawiconinit: -1 for a bad argument or a handle variable that
 *     does not hold null, -2 for memory; 0 otherwise, leaving the variable
 *     null when nothing is to be drawn.
 *   mvip8_drawiconhit: writes the handle's buffer at its points with the
 *     image's scattered-transfer code chosen by mode: '+' buffer filled
 *     with the colour, added (1); 's' colour, exchanged (0: the image shows
 *     the colour and the buffer holds what was there); 'x' colour, XOR (4);
 *     '-' the buffer as it is, subtracted (5); 'b' the buffer read from
 *     `second` at the same points, exchanged (0); any other letter the
 *     buffer as it is, exchanged (0).  So '+' then '-' restores the image,
 *     as do 'x' twice and 's' then any other letter.  The colour gives one
 *     word per pixie, its low byte for 1-byte pixies and low 16 bits for
 *     2-byte pixies; for '+', 's' and 'x' an image with other pixies is left
 *     untouched.  Returns 0 (also for a null handle).
 *   mvip8_drawiconhitw: waits for the image's scattered transfer (bxtw);
 *     when it answers 1, mode is 'b' and `second` is given, writes the
 *     buffer to `second` at the points.  Returns the wait's answer (1 for
 *     a null handle); `wait` is reserved.
 *   mvip8_drawiconfree: waits, frees the handle and nulls the variable; 0.
 * mvip8_drawicon draws the icon's pixels once as explicit points of the
 * drawing pen (width and dot spacing 1), with the pen's mode, colour,
 * source and state; 0 or the pen's error. */
typedef struct mvicon {
    uint32_t count;      /* points kept */
    mvbxtentry *points;  /* prepared for the image's scattered transfers */
    void *pixels;        /* count pixels of the image's pixel size */
} mvicon;
MVIP_API int32_t mvip8_drawiconinit(mvimage *image, const int32_t *position, const uint8_t *bitmap, const int32_t *size, const int32_t *hotspot, uint32_t force, mvicon **handle);
MVIP_API int32_t mvip8_drawiconhit(mvimage *image, mvicon *icon, uint32_t mode, const uint32_t *colour, mvimage *second);
MVIP_API int32_t mvip8_drawiconhitw(mvimage *image, mvicon *icon, uint32_t wait, uint32_t mode, mvimage *second);
MVIP_API int32_t mvip8_drawiconfree(mvimage *image, mvicon **icon);
MVIP_API int32_t mvip8_drawicon(mvimage *image, const int32_t *position, const uint8_t *bitmap, const int32_t *size, const int32_t *hotspot, uint32_t force, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);

/* Curves and composite figures, with the pen's tail of arguments.
 * mvip8_drawellipse: centre (x, y), half-axes a and b (nothing is drawn
 * unless both are positive), angle in radians turning the a axis
 * counter-clockwise as displayed.  Half-axes strictly between 10 and 1600
 * use the regions' ellipse outline: the pixels drawn are exactly the
 * outline of the region ellipse of width 2a + 1 and height 2b + 1 centred
 * there (so the drawn ellipse spans x - a .. x + a along its axis).  Other
 * sizes are swept by angle, about one sample per pixel of the larger
 * half-axis (at most 2^20 samples), joined by line walks.
 * mvip8_drawellipsesect: the arc of that ellipse from parameter angle
 * starta to enda, counter-clockwise as displayed (the point of parameter t
 * is the centre + (a cos t, -b sin t) turned by angle); an enda below
 * starta wraps round, a span of a turn or more draws the whole ellipse.
 * The arc is always swept.  Non-finite angles draw nothing.
 * mvip8_drawarrow: the line p0 -> p1 and, at p1, two strokes of
 * headlength pixels at 30 degrees either side of the shaft (headlength 0:
 * no head).
 * mvip8_drawbezier: npoints control points (x, y pairs), 3k + 1 of them
 * (k >= 1): k cubic segments sharing their end points, each sampled about
 * every two pixels of its control polygon and joined by line walks;
 * other counts -1.
 * mvirp8_drawpath: draws a path region (type MVIMREGPATH, the negative
 * flag ignored) into the region's image: its points from the origin, the
 * first `skip` left out, at most `visits` drawn (0: all); firstpt and
 * lastpt receive the first and last point drawn (unchanged when none).
 * mvirp8_drawboundary: draws the outline of any region into its image,
 * both passes of rings and sectors; option non-zero ignores the negative
 * flag (else a negative region's outline includes the window's).
 * Curve and outline points are walked points of the pen. */
MVIP_API int32_t mvip8_drawellipse(mvabort *hook, mvimage *image, const int32_t *centre, int32_t a, int32_t b, double angle, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);
MVIP_API int32_t mvip8_drawellipsesect(mvabort *hook, mvimage *image, const int32_t *centre, int32_t a, int32_t b, double angle, double starta, double enda, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);
MVIP_API int32_t mvip8_drawarrow(mvabort *hook, mvimage *image, const int32_t *p0, const int32_t *p1, uint32_t headlength, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);
MVIP_API int32_t mvip8_drawbezier(mvabort *hook, mvimage *image, uint32_t npoints, const int32_t *points, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);
MVIP_API int32_t mvirp8_drawpath(mvabort *hook, mvimregion *path, uint32_t skip, uint32_t visits, mvpoint *firstpt, mvpoint *lastpt, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);
MVIP_API int32_t mvirp8_drawboundary(mvabort *hook, mvimregion *region, uint32_t option, uint32_t dotspacing, uint32_t width, uint32_t mode, const uint32_t *colour, mvimage *source, uint32_t *state);

/* ---- Pixel search, connected regions, blob lists ----------------------
 * Pixel tests.  A test code and a 32-bit value say which pixels pass; the
 * image must be one pixie of u8 or u16 (else -19; colour -21), and values
 * are compared as stored.
 *   91  p <  v        92  p <= v        93  p == v
 *   94  p >= v        95  p >  v
 *   101 lo <= p <= hi, with lo the value's low 16 bits and hi its high 16
 *       bits (0x00FF0040: 64 .. 255)
 * The code with bit 0x80 inverted is the opposite test: 221 (93 ^ 0x80)
 * is p != v, 229 is "outside lo .. hi", 219 is p >= v.  Other codes: -1.
 * Every test is one range comparison inside the library, which is why 101
 * names the region growers' mode below.
 *
 * mvip8_findpixel: from *position (x, y in image coordinates) onwards in
 * scan order (the rest of that line, then line after line to the window's
 * bottom), the first pixel that passes; its coordinates are stored in
 * *position and the result is 1.  None: 0, and *position becomes (left,
 * bottom), just past the window.  A position above the window starts at
 * its first pixel, one left of it at its line's start, one right of it at
 * the next line.  mvip8_findpixelback searches backwards from the
 * position (the line's start first, then line after line upwards); none
 * leaves (right - 1, top - 1).  mvip8_findpixelnot is mvip8_findpixel for
 * the opposite test: the next pixel that fails (the end of a run of
 * passing pixels, say).  The hook is asked at entry; then with (line,
 * height) whenever the search enters a line, counted from the window's
 * first line (backwards: from its last), that is a multiple of 8; a
 * non-zero answer is returned at once.  -1 for null arguments. */
MVIP_API int32_t mvip8_findpixel(mvabort *hook, mvimage *image, int32_t *position, uint32_t test, uint32_t value);
MVIP_API int32_t mvip8_findpixelback(mvabort *hook, mvimage *image, int32_t *position, uint32_t test, uint32_t value);
MVIP_API int32_t mvip8_findpixelnot(mvabort *hook, mvimage *image, int32_t *position, uint32_t test, uint32_t value);

/* Connected regions.  The region of a seed is every passing pixel of the
 * window that a chain of passing neighbours links to it.  Mode: 101 or-ed
 * with connectivity bits (any other mode: -1):
 *   101            8 neighbours (edges and corners)
 *   101 | 0x100    4 neighbours (edges only)
 *   101 | 0x200    8 neighbours
 *   101 | 0x300    (869) the boundary-based form: the area inside the outer
 *                  boundary of the 8-connected region, its holes (and
 *                  whatever lies in them) included.
 * The growers test the whole window once, then grow by runs: the seed's run
 * on its line, then the runs that touch it on the lines above and below
 * (for 8 neighbours, also diagonally), and so on; any number of runs.
 * mvirp8_connectregionv(hook, image, x, y, area, test, value, region,
 * mode): the region of the seed (x, y) (image coordinates, inside the
 * window, else -1) under the test, as a new MVIMREGSCANLIST in *region
 * (which must hold null) in image coordinates, sorted by line and x, its
 * image a copy of *image and its origin the seed; *area (must not be null)
 * receives its pixel count.  A seed that fails gives an empty list.  -2
 * memory, -19/-21 as for the tests.
 * mvirp8_connectregion: the same with the fixed test 93, pixels equal to
 * `value`; `reserved` is not read.
 * mvirp8_followregionv: the outer boundary of the seed's region as a new
 * closed MVIMREGPATH in *path: it starts at the region's first pixel in
 * scan order and goes round counter-clockwise as displayed (down the left
 * side first), each step to a neighbour (4 neighbours with 0x100, else 8).
 * Pixels on the boundary are visited as often as the boundary passes them;
 * a region of one pixel gives a path of no steps.  *steps (may be null)
 * receives the number of steps.
 * mvirp8_paintregion: writes `value` into every pixel of any region
 * (converted to a scan list as mvirp_xlatetoscanlist does) of a u8 or u16
 * image, within its window. */
MVIP_API int32_t mvirp8_connectregion(mvabort *hook, mvimage *image, int32_t x, int32_t y, uint32_t *area, uint32_t reserved, uint32_t value, mvimregion **region, uint32_t mode);
MVIP_API int32_t mvirp8_connectregionv(mvabort *hook, mvimage *image, int32_t x, int32_t y, uint32_t *area, uint32_t test, uint32_t value, mvimregion **region, uint32_t mode);
MVIP_API int32_t mvirp8_followregionv(mvabort *hook, mvimage *image, int32_t x, int32_t y, uint32_t *steps, uint32_t test, uint32_t value, mvimregion **path, uint32_t mode);
MVIP_API int32_t mvirp8_paintregion(mvabort *hook, mvimregion *region, uint32_t value);

/* Blob lists.  mvip8_bloblist(hook, image, position, test, value, flags,
 * limits, reserved1, reserved2, maxcount, blobs, rejected) finds the
 * connected regions (blobs) of pixels passing the test one after another:
 * from *position (image coordinates, as for mvip8_findpixel) it scans for
 * a passing pixel (the seed), grows its region, measures it, stores a
 * record unless it is rejected, and paints the region over in the image
 * with a value that fails the test, so that the scan never meets it again;
 * then it scans on from the seed.  It stops when maxcount records are
 * stored (*position is then the last seed, so that a further call goes on
 * from there) or the window is exhausted (*position becomes (left,
 * bottom)).  Flags:
 *   2      the image is not painted (the scan still skips found blobs
 *          within the call; a further call meets again what lies past the
 *          position);
 *   4      a kept blob is replaced by the area inside its outer boundary
 *          (its holes filled, and what lies in them painted with it)
 *          before it is measured;
 *   8      a blob is rejected when left = 0, top = 0, right = the window's
 *          right or bottom = the window's bottom: the left and top tests
 *          are against 0, not against the window's own edges;
 *   0x100, 0x200  connectivity as for the growers' mode (none: 8 neighbours;
 *          both: the boundary-based form).
 * limits (null: none) are four int32: minimum width, minimum height,
 * maximum width, maximum height of the box, inclusive; a blob outside them
 * is rejected.  Rejected blobs are counted into *rejected (may be null; it
 * is stored on every return after the entry checks) and painted over too.
 * A test that every value passes leaves nothing to paint with: the image
 * is then left as it is (the whole window is one blob).  reserved1 and
 * reserved2 are not read.  Records: seed (the first pixel met by the
 * scan), box (left, top inclusive; right, bottom exclusive), area (pixels)
 * and centre (first moments over the area, exactly summed) in image
 * coordinates.  Result: the number of records stored, or -1 for a null
 * image, position or array, -19/-21 for the image's type or pixies, -2 for
 * memory.  The hook: (0, 0) at entry (a non-zero answer is asked again and
 * that answer returned); (line, height) whenever the scan enters a window
 * line that is a multiple of 8 at its first pixel; (0, 0) before each
 * record is stored; a non-zero answer to either is followed by a call with
 * (-1, 0) and returned (the records stored so far stay); (1, 0) after a
 * search that ends normally.
 * Cost: a call tests the window's lines only as the scan or a growing
 * region first reaches them, so a caller that asks for one blob a call
 * and goes on from *position pays for about one pass over the window in
 * all, not one a call.
 * Example: blobs of pixels >= 128 in an 8-bit image, 8 neighbours, the
 * image left untouched, at most 100 records:
 *     int32_t pos[2] = {0, 0}; mvblob found[100]; uint32_t rejected;
 *     int32_t n = mvip8_bloblist(NULL, &im, pos, 94, 128, 2, NULL, NULL, 0,
 *                                100, found, &rejected);
 * mvip8_bloblist3: the same into records of nine doubles; it runs
 * mvip8_bloblist into a zeroed temporary array of maxcount records and
 * converts all maxcount entries (those not reached are zeros); -1 for a
 * null array, -2 when the temporary array cannot be had. */
#pragma pack(push, 4)
typedef struct mvblob {
    int32_t seedx, seedy;
    int32_t left, top, right, bottom;
    uint32_t area;
    double centrex, centrey;
} mvblob;
typedef struct mvblobf {
    double seedx, seedy, left, top, right, bottom, area, centrex, centrey;
} mvblobf;
#pragma pack(pop)
MVIP_STATIC_ASSERT(sizeof(mvblob) == 44, "mvblob size");
MVIP_STATIC_ASSERT(sizeof(mvblobf) == 72, "mvblobf size");
MVIP_API int32_t mvip8_bloblist(mvabort *hook, mvimage *image, int32_t *position, uint32_t test, uint32_t value, uint32_t flags, const int32_t *limits, void *reserved1, uint32_t reserved2, uint64_t maxcount, mvblob *blobs, uint32_t *rejected);
MVIP_API int32_t mvip8_bloblist3(mvabort *hook, mvimage *image, int32_t *position, uint32_t test, uint32_t value, uint32_t flags, const int32_t *limits, void *reserved1, uint32_t reserved2, uint64_t maxcount, mvblobf *blobs, uint32_t *rejected);

/* mvirp_regionshapef: shape measures of any region (converted to a scan
 * list as mvirp_xlatetoscanlist does; overlapping runs count once), from
 * its pixel centres:
 *   area         pixels;
 *   centrex, centrey   the mean pixel centre;
 *   perimeter    the length of the boundary between the region and the
 *                rest, in pixel edges (holes' boundaries included): a
 *                w x h box has 2 (w + h);
 *   orientation  radians in [-pi/2, pi/2], counter-clockwise as displayed,
 *                of the axis along which the pixels spread most (from the
 *                second central moments mu20, mu02, mu11 over the area:
 *                -atan2(2 mu11, mu20 - mu02) / 2);
 *   major, minor the full axis lengths of the ellipse with the same second
 *                moments: 4 sqrt of the larger and smaller eigenvalue of
 *                the moment matrix (a w x 1 line has major
 *                4 sqrt((w^2 - 1) / 12) and minor 0);
 *   elongation   1 - minor / major (0 for a disc or a single pixel, 1 for a
 *                line);
 *   compactness  4 pi area / perimeter^2 (pi / 4 for a square).
 * An empty region gives all zeros.  0, -1 for null arguments or an invalid
 * image, the conversion's error, -2 memory. */
typedef struct mvshapemeasures {
    double area, centrex, centrey, perimeter, orientation, major, minor, elongation, compactness;
} mvshapemeasures;
MVIP_API int32_t mvirp_regionshapef(const mvimregion *region, mvshapemeasures *shape);

/* mvip8_bloblist2: the blob list with measurements of each kept blob.
 * Arguments, in order: hook, image, position, test, value, flags, limits
 * (as mvip8_bloblist); measure, the image whose values are measured (null:
 * the scanned image before it is painted; else a one-pixie u8 or u16
 * image of the same window size, read at the same window-relative places);
 * minarea and maxarea, pixel counts a kept blob must lie within (inclusive;
 * maxarea 0: no maximum; counted after holes are filled, and rejected
 * blobs count into *rejected); erasevalue, written over every kept blob in
 * the measured image when flag 0x10 is set; lowperc and highperc,
 * percentiles 0 .. 100 whose values are reported; maxcount; blobs, the
 * records; recordsize, which must be sizeof(mvblob2) (so a later, longer
 * record is told apart); rejected (may be null); reserved (not read).
 * Each record holds the mvip8_bloblist record, then the histogram
 * statistics of the measured values over the blob (smallest, largest,
 * median, the most frequent value (the smallest of equals), the values at
 * the two percentiles, mean and standard deviation over all its pixels),
 * its moments (mvirp8_momentsf of the measured image over the blob, image
 * coordinates) and its shape (mvirp_regionshapef).  Result and hook calls
 * as for mvip8_bloblist; -1 also for a recordsize, percentile or measured
 * window that does not fit, -19/-21 for a measured image that is not one
 * pixie of u8 or u16 (of at most 16 bits).  It costs a histogram of 2^bits
 * counts and a region record per kept blob: for many small blobs
 * mvip8_bloblist is much faster. */
#pragma pack(push, 4)
typedef struct mvblob2 {
    mvblob blob;
    uint32_t minimum, maximum, median, mode, lowvalue, highvalue;
    double mean, stddev;
    mvmoments moments;
    mvshapemeasures shape;
} mvblob2;
#pragma pack(pop)
MVIP_STATIC_ASSERT(sizeof(mvblob2) == 332, "mvblob2 size");
MVIP_STATIC_ASSERT(offsetof(mvblob2, mean) == 68, "mvblob2.mean");
MVIP_API int32_t mvip8_bloblist2(mvabort *hook, mvimage *image, int32_t *position, uint32_t test, uint32_t value, uint32_t flags, const int32_t *limits, mvimage *measure, uint32_t minarea, uint32_t maxarea, uint32_t erasevalue, uint32_t lowperc, uint32_t highperc, uint64_t maxcount, mvblob2 *blobs, uint32_t recordsize, uint32_t *rejected, void *reserved);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* MVIP_H */
