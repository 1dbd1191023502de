// mvtool blobs - find the connected groups of passing pixels of an image
// (blob list), print one line a blob (seed, box, area, centre) or CSV, and
// optionally draw the result: each blob's box, a cross-hair at its centre
// and its number, over the image in colour.

#include "mvtool.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace mvtool {

namespace {

// "W,H" or "WxH".
void parse_size(const std::string& option, const std::string& text, int32_t& w, int32_t& h) {
    const size_t sep = text.find_first_of(",x");
    if (sep == std::string::npos) throw UsageError(option + ": expected W,H");
    w = int32_t(parse_integer(option, text.substr(0, sep), 0, INT32_MAX));
    h = int32_t(parse_integer(option, text.substr(sep + 1), 0, INT32_MAX));
}

struct Options {
    std::string in, draw_to;
    uint32_t test = 93 ^ 0x80, value = 0, flags = 2;
    int32_t limits[4] = {0, 0, INT32_MAX, INT32_MAX};
    bool limited = false, csv = false;
    uint64_t most = UINT64_MAX;
};

// The image the scan works on: a one-pixie u8 or u16 image (colour images
// are turned grey first).
void working_image(const Image& source, Image& work) {
    const mvpixfmt& f = source.format();
    if (f.pixies == 1) {
        work.allocate_like(source);
        check(mvip8_copy(nullptr, const_cast<mvimage*>(&source.im), &work.im), "copy");
        return;
    }
    mvpixfmt grey{};
    mvpixfmt_set(&grey, f.datatype, f.bits, 1, MVCS_GREY);
    work.allocate(source.width(), source.height(), grey);
    check(mvip8_copycolorconvert(nullptr, const_cast<mvimage*>(&source.im), &work.im, 0, MVCS_GREY), "grey");
}

}  // namespace

void draw_blobs(Image& picture, const std::vector<mvblob>& blobs) {
    static const uint32_t box[4] = {60, 230, 60, 255}, cross[4] = {240, 40, 40, 255}, label[4] = {255, 230, 40, 255};
    mvimage* im = &picture.im;
    const uint32_t scale = picture.width() >= 800 ? 2 : 1;  // numbers readable on large pictures
    for (size_t i = 0; i < blobs.size(); ++i) {
        const mvblob& b = blobs[i];
        const int32_t corners[4] = {b.left - 1, b.top - 1, b.right, b.bottom};
        check(mvip8_drawbox(nullptr, im, corners, 1, 1, 'v', box, nullptr, nullptr), "drawbox");
        const int32_t cx = int32_t(std::lround(b.centrex)), cy = int32_t(std::lround(b.centrey));
        const int32_t arm = 6;
        const int32_t h0[2] = {cx - arm, cy}, h1[2] = {cx + arm, cy}, v0[2] = {cx, cy - arm}, v1[2] = {cx, cy + arm};
        check(mvip8_drawline(nullptr, im, h0, h1, 1, 1, 'v', cross, nullptr, nullptr), "drawline");
        check(mvip8_drawline(nullptr, im, v0, v1, 1, 1, 'v', cross, nullptr, nullptr), "drawline");
        const std::string number = std::to_string(i + 1);
        const int32_t at[2] = {b.left, b.top - int32_t(11 * scale)};
        check(mvip8_drawchars(nullptr, im, at, number.c_str(), scale, 1, 1, 'v', label, nullptr, nullptr), "drawchars");
    }
}

void colour_picture(const Image& source, Image& picture) {
    mvpixfmt rgb{};
    const mvpixfmt& f = source.format();
    mvpixfmt_set(&rgb, f.datatype, f.bits, 3, MVCS_RGB);
    picture.allocate(source.width(), source.height(), rgb);
    check(mvip8_copycolorconvert(nullptr, const_cast<mvimage*>(&source.im), &picture.im, 0, MVCS_RGB), "colour");
}

int cmd_blobs(const std::vector<std::string>& args) {
    Options o;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const auto value = [&]() -> const std::string& {
            if (i + 1 >= args.size()) throw UsageError("blobs: " + a + " needs a value");
            return args[++i];
        };
        if (a == "--test") o.test = blob_test(value());
        else if (a == "--value") o.value = uint32_t(parse_integer(a, value(), 0, 0xFFFFFFFFll));
        else if (a == "--connect") {
            const long long c = parse_integer(a, value(), 4, 8);
            if (c != 4 && c != 8) throw UsageError("--connect: 4 or 8");
            o.flags |= c == 4 ? 0x100 : 0x200;
        } else if (a == "--min") parse_size(a, value(), o.limits[0], o.limits[1]), o.limited = true;
        else if (a == "--max") parse_size(a, value(), o.limits[2], o.limits[3]), o.limited = true;
        else if (a == "--fill-holes") o.flags |= 4;
        else if (a == "--no-border") o.flags |= 8;
        else if (a == "--count") o.most = uint64_t(parse_integer(a, value(), 0, 1ll << 40));
        else if (a == "--csv") o.csv = true;
        else if (a == "--draw") o.draw_to = value();
        else if (!a.empty() && a[0] == '-') throw UsageError("blobs: unknown option " + a);
        else if (o.in.empty()) o.in = a;
        else throw UsageError("blobs: one input image");
    }
    if (o.in.empty()) throw UsageError("blobs: expected IN");
    Image source, work;
    load(o.in, source, 0, true);
    if (source.is_stack()) throw UsageError("blobs: " + o.in + " holds a stack; give one image");
    working_image(source, work);
    // The scan paints found blobs over in its working copy (flag 2 off).
    o.flags &= ~2u;
    uint32_t rejected = 0;
    std::vector<mvblob> blobs;
    check(find_blobs(progress("blobs"), &work.im, o.test, o.value, o.flags, o.limited ? o.limits : nullptr, o.most,
                     blobs, &rejected),
          "bloblist");
    progress_done();
    if (o.csv) std::printf("blob,seed_x,seed_y,left,top,right,bottom,area,centre_x,centre_y\n");
    else std::printf("%6s %6s %6s %6s %6s %6s %6s %10s %10s %10s\n", "blob", "seed_x", "seed_y", "left", "top",
                     "right", "bottom", "area", "centre_x", "centre_y");
    for (size_t i = 0; i < blobs.size(); ++i) {
        const mvblob& b = blobs[i];
        std::printf(o.csv ? "%zu,%d,%d,%d,%d,%d,%d,%u,%.3f,%.3f\n" : "%6zu %6d %6d %6d %6d %6d %6d %10u %10.3f %10.3f\n",
                    i + 1, b.seedx, b.seedy, b.left, b.top, b.right, b.bottom, b.area, b.centrex, b.centrey);
    }
    if (!o.csv) std::printf("%zu blobs, %u rejected\n", blobs.size(), rejected);
    if (!o.draw_to.empty()) {
        Image picture;
        colour_picture(source, picture);
        draw_blobs(picture, blobs);
        save(picture, o.draw_to);
    }
    return kExitOk;
}

}  // namespace mvtool
