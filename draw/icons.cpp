// Icons and cursors: drawn once with the pen, or kept in a handle that
// remembers the points and the pixels beneath them, so that a cursor can
// be drawn, erased and drawn again through the image's scattered
// transfers.
#include "draw/figure.hpp"
#include "draw/iconshape.hpp"

#include <cstring>
#include <new>
#include <vector>

using namespace mvip;
using namespace mvip::draw;

namespace {

constexpr int32_t kPrepare = 0x80;  // bxtp/bxta operation whose low byte is negative
constexpr int32_t kPrepared = 0;    // the entries already hold byte offsets

bool inside_window(const mvimage* im, int32_t x, int32_t y) {
    return x >= im->wind.nw.x && x < im->wind.se.x && y >= im->wind.nw.y && y < im->wind.se.y;
}

uint32_t all_pixies(const mvimage* im) {
    return im->pixfmt.pixies >= 32 ? 0xFFFFFFFFu : (1u << im->pixfmt.pixies) - 1u;
}

// The handle as the caller sees it, and the window-relative positions that
// the prepared entries replaced (a second image has offsets of its own).
struct Handle {
    mvicon pub;
    mvbxtentry* positions;
};
Handle* handle_of(mvicon* icon) { return reinterpret_cast<Handle*>(icon); }

void free_handle(Handle* h) {
    if (!h) return;
    delete[] h->pub.points;
    delete[] h->positions;
    delete[] static_cast<unsigned char*>(h->pub.pixels);
    delete h;
}

// Applies `code` between the handle's pixel buffer and `other` at the
// handle's points (positions prepared afresh for that image).
void transfer_other(mvimage* other, Handle* h, int32_t code) {
    if (!other || !other->bxts || h->pub.count == 0) return;
    std::vector<mvbxtentry> scratch(h->positions, h->positions + h->pub.count);
    if (other->bxts(other, 0, other->pixfmt.datatype, all_pixies(other)) < 0) return;
    other->bxta(other, kPrepare, h->pub.pixels, scratch.data(), h->pub.count, code);
    other->bxtw(other);
}

}  // namespace

extern "C" MVIP_API int32_t mvip8_drawiconinit(mvimage* image, const int32_t* position,
                                               const uint8_t* bitmap, const int32_t* size,
                                               const int32_t* hotspot, uint32_t force, mvicon** handle) {
    if (!handle || *handle || !image || !ops::valid_record(image) || !position || !size || !hotspot)
        return MVERR_USAGE;
    const IconShape shape{position[0], position[1], bitmap, size[0], size[1], hotspot[0], hotspot[1]};
    if (!shape.valid()) return MVERR_USAGE;
    const uint64_t count = shape.count();
    if (count == 0) return 0;
    if (!force && !inside_window(image, shape.x, shape.y)) return 0;

    auto* h = new (std::nothrow) Handle{};
    if (!h) return MVERR_MEMORY;
    h->pub.points = new (std::nothrow) mvbxtentry[count];
    h->positions = new (std::nothrow) mvbxtentry[count];
    h->pub.pixels = new (std::nothrow) unsigned char[count * image->pixelsize];
    if (!h->pub.points || !h->positions || !h->pub.pixels) {
        free_handle(h);
        return MVERR_MEMORY;
    }
    uint32_t kept = 0;
    shape.each([&](int32_t x, int32_t y) {
        if (kept < count && inside_window(image, x, y))
            h->positions[kept++] = mvbxtentry{x - image->wind.nw.x, y - image->wind.nw.y, 0};
    });
    h->pub.count = kept;
    std::memcpy(h->pub.points, h->positions, size_t{kept} * sizeof(mvbxtentry));
    if (kept && image->bxts(image, 0, image->pixfmt.datatype, all_pixies(image)) >= 0) {
        image->bxtp(image, kPrepare, h->pub.points, kept);
        image->bxta(image, kPrepared, h->pub.pixels, h->pub.points, kept, 2);
        image->bxtw(image);
    }
    *handle = &h->pub;
    return 0;
}

extern "C" MVIP_API int32_t mvip8_drawiconhit(mvimage* image, mvicon* icon, uint32_t mode,
                                              const uint32_t* colour, mvimage* second) {
    if (!icon || !image || icon->count == 0) return 0;
    Handle* h = handle_of(icon);
    image->bxtw(image);
    const uint32_t pixie = image->pixiesize, pixies = image->pixfmt.pixies;
    int32_t code = 0;
    switch (mode) {
        case '+': code = 1; break;
        case 's': code = 0; break;
        case 'x': code = 4; break;
        case '-': code = 5; break;
        case 'b': transfer_other(second, h, 2); break;
        default: break;
    }
    if (mode == '+' || mode == 's' || mode == 'x') {
        if (pixie != 1 && pixie != 2) return 0;
        auto* px = static_cast<unsigned char*>(icon->pixels);
        for (uint32_t i = 0; i < icon->count; ++i)
            for (uint32_t k = 0; k < pixies; ++k) {
                const uint32_t c = colour && k < 4 ? colour[k] : 0;
                const uint16_t v16 = uint16_t(c);
                const uint8_t v8 = uint8_t(c);
                std::memcpy(px + (size_t{i} * pixies + k) * pixie, pixie == 1 ? (const void*)&v8 : &v16, pixie);
            }
    }
    if (image->bxts(image, 0, image->pixfmt.datatype, all_pixies(image)) < 0) return 0;
    image->bxta(image, kPrepared, icon->pixels, icon->points, icon->count, code);
    return 0;
}

extern "C" MVIP_API int32_t mvip8_drawiconhitw(mvimage* image, mvicon* icon, uint32_t wait,
                                               uint32_t mode, mvimage* second) {
    (void)wait;
    if (!icon) return 1;
    if (!image) return MVERR_USAGE;
    const int32_t done = image->bxtw(image);
    if (done == 1 && mode == 'b' && second) transfer_other(second, handle_of(icon), 3);
    return done;
}

extern "C" MVIP_API int32_t mvip8_drawiconfree(mvimage* image, mvicon** icon) {
    if (!icon || !*icon) return 0;
    if (image && image->bxtw) image->bxtw(image);
    free_handle(handle_of(*icon));
    *icon = nullptr;
    return 0;
}

extern "C" MVIP_API int32_t mvip8_drawicon(mvimage* image, const int32_t* position, const uint8_t* bitmap,
                                           const int32_t* size, const int32_t* hotspot, uint32_t force,
                                           uint32_t mode, const uint32_t* colour, mvimage* source,
                                           uint32_t* state) {
    if (!position || !size || !hotspot) return MVERR_USAGE;
    const IconShape shape{position[0], position[1], bitmap, size[0], size[1], hotspot[0], hotspot[1]};
    if (!shape.valid()) return MVERR_USAGE;
    if (image && !force && ops::valid_record(image) && !inside_window(image, shape.x, shape.y)) return 0;
    return draw_with_pen(nullptr, image, true, {1, 1, mode, colour, source, state}, [&](Pen& pen) {
        shape.each([&](int32_t x, int32_t y) { pen.point(x, y); });
    });
}
