// mvtool info - print what mvio8_fileinfo tells about files, one block per
// image of a TIFF file, or one block for a stack (pages of one size and
// pixel format).

#include "mvtool.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace mvtool {

namespace {

const char* type_name(uint32_t datatype) {
    switch (datatype & 0xFFu) {
    case MVTYPE_U8: return "u8";
    case MVTYPE_U16: return "u16";
    case MVTYPE_U32: return "u32";
    case MVTYPE_I32: return "i32";
    case MVTYPE_FLOAT: return "float";
    case MVTYPE_DOUBLE: return "double";
    default: return nullptr;
    }
}

const char* sample_format_name(uint32_t code) {
    switch (code) {
    case 0:
    case 1: return "unsigned integer";
    case 2: return "signed integer";
    case 3: return "IEEE float";
    default: return "undefined";
    }
}

const char* bmp_compression_name(uint32_t code) {
    switch (code) {
    case 0: return "BI_RGB";
    case 1: return "RLE8";
    case 2: return "RLE4";
    case 3: return "BITFIELDS";
    default: return "other";
    }
}

void line(const char* key, const std::string& value) { std::printf("  %-13s %s\n", key, value.c_str()); }

// The values of the samples, once when they are all alike.
std::string join(const uint32_t* values, uint32_t n, const char* (*name)(uint32_t) = nullptr) {
    auto text = [&](uint32_t v) { return name ? std::string(name(v)) : std::to_string(v); };
    if (std::all_of(values, values + n, [&](uint32_t v) { return v == values[0]; }))
        return text(values[0]) + (n > 1 ? " (all " + std::to_string(n) + " samples)" : "");
    std::string s;
    for (uint32_t i = 0; i < n; ++i) s += (i ? ", " : "") + text(values[i]);
    return s;
}

std::string rational(uint32_t num, uint32_t den) {
    char buf[64];
    if (den == 0) return "?";
    std::snprintf(buf, sizeof buf, "%g", double(num) / den);
    return buf;
}

void print_pixels(const mvfileinfo& info, uint32_t depth) {
    const mvpixfmt& f = info.pixfmt;
    line("size", std::to_string(info.width) + " x " + std::to_string(info.height) +
                     (depth > 1 ? " x " + std::to_string(depth) + (is_avi(info) ? " (width x height x frames)" : " (width x height x pages)") : ""));
    const char* type = type_name(f.datatype);
    if (type == nullptr) {
        line("pixels", "not readable by this build");
        return;
    }
    const char* space = mvcolorspace_name(int32_t(f.colorspace));
    std::string s = std::string(type);
    if (f.bits) s += ", " + std::to_string(f.bits) + (f.bits == 1 ? " bit" : " bits");
    s += ", " + std::to_string(f.pixies) + (f.pixies == 1 ? " pixie, " : " pixies, ");
    s += std::string(space ? space : "unknown colour space") + " (" + std::to_string(f.colorspace) + ")";
    line("pixels", s);
}

void print_tiff(const mvfileinfo& info, uint32_t depth = 1) {
    const mvfileinfo_tif& t = info.area.tif;
    print_pixels(info, depth);
    const char* comp = compression_name(t.compression);
    line("compression", std::string(comp ? comp : "unknown") + " (" + std::to_string(t.compression) + ")");
    if (t.xresnum || t.yresnum) {
        const char* unit = t.resunit == 2 ? " per inch" : t.resunit == 3 ? " per centimetre" : " (no unit)";
        line("resolution", rational(t.xresnum, t.xresden) + " x " + rational(t.yresnum, t.yresden) + unit);
    } else {
        line("resolution", "not given");
    }
    line("strips", t.stripsize == 0xFFFFFFFFu ? std::string("one strip")
                                              : "largest " + std::to_string(t.stripsize) + " bytes");
    const uint32_t samples = info.pixfmt.pixies ? std::min(info.pixfmt.pixies, 4u) : 1u;
    line("bits", join(t.bits, samples));
    line("sample format", join(t.sampleformat, samples, sample_format_name));
    static const char* const kTextNames[4] = {"date, time", "software", "description", "copyright"};
    for (int i = 0; i < 4; ++i)
        if (info.texts[i]) line(kTextNames[i], info.texts[i]);
}

void print_bmp(const mvfileinfo& info) {
    const mvfileinfo_bmp& b = info.area.bmp;
    print_pixels(info, 1);
    line("bits/pixel", std::to_string(b.bitcount));
    line("palette", b.palentries ? std::to_string(b.palentries) + " entries" : std::string("none"));
    line("compression", std::string(bmp_compression_name(b.compression)) + " (" + std::to_string(b.compression) + ")");
    if (b.xppm || b.yppm) {
        char buf[96];
        std::snprintf(buf, sizeof buf, "%u x %u pixels per metre (%.1f x %.1f dpi)", b.xppm, b.yppm,
                      b.xppm * 0.0254, b.yppm * 0.0254);
        line("resolution", buf);
    } else {
        line("resolution", "not given");
    }
}

void print_jpeg(const mvfileinfo& info) {
    const mvfileinfo_jpg& j = info.area.jpg;
    print_pixels(info, 1);
    line("quality", j.quality ? std::to_string(j.quality / 10) + "." + std::to_string(j.quality % 10) + " %"
                              : std::string("not given"));
    static const char* const kUnits[3] = {"(aspect ratio)", "per inch", "per cm"};
    line("density", std::to_string(j.xdensity) + " x " + std::to_string(j.ydensity) + " " +
                        (j.unit < 3 ? kUnits[j.unit] : "(unknown unit)"));
    for (int i = 0; i < 3; ++i)
        if (info.texts[i]) line("comment", info.texts[i]);
}

// What differs between the pages of a stack beyond size and pixels.
std::string differences(const std::vector<mvfileinfo>& pages) {
    const mvfileinfo_tif& a = pages[0].area.tif;
    bool compression = false, strips = false, resolution = false;
    for (const mvfileinfo& p : pages) {
        const mvfileinfo_tif& b = p.area.tif;
        compression |= b.compression != a.compression;
        strips |= b.stripsize != a.stripsize;
        resolution |= b.xresnum != a.xresnum || b.xresden != a.xresden || b.yresnum != a.yresnum ||
                      b.yresden != a.yresden || b.resunit != a.resunit;
    }
    std::string s;
    for (auto [differs, name] : {std::pair{compression, "compression"}, std::pair{strips, "strips"},
                                 std::pair{resolution, "resolution"}})
        if (differs) s += (s.empty() ? "" : ", ") + std::string(name);
    return s;
}

// Describes one file; throws Failure.
void describe(const std::string& path) {
    const FilePages pages(path);
    const mvfileinfo& first = pages.pages[0];
    const bool tiff = pages.tiff();
    if (is_avi(first)) {
        std::printf("%s: AVI, %u frame%s, %llu bytes\n", path.c_str(), first.images, first.images == 1 ? "" : "s",
                    static_cast<unsigned long long>(file_size(path)));
        print_pixels(first, first.images);
        print_avi_fields(first);
        return;
    }
    const uint32_t images = tiff ? first.images : 1;
    const bool jpeg = std::strcmp(first.format, "jpg") == 0;
    std::printf("%s: %s, %u image%s, %llu bytes\n", path.c_str(), tiff ? "TIFF" : jpeg ? "JPEG" : "BMP", images,
                images == 1 ? "" : "s", static_cast<unsigned long long>(file_size(path)));
    if (jpeg) {
        print_jpeg(first);
        return;
    }
    if (!tiff) {
        print_bmp(first);
        return;
    }
    if (const uint32_t depth = pages.stack_depth(); depth > 1) {
        std::printf("a stack of %u pages of one size and pixel format; page 1:\n", depth);
        print_tiff(first, depth);
        if (const std::string d = differences(pages.pages); !d.empty()) line("pages differ", "in " + d);
        return;
    }
    if (pages.pages.size() == 1) {
        print_tiff(first);
        return;
    }
    for (size_t i = 0; i < pages.pages.size(); ++i) {
        std::printf("image %zu of %u:\n", i + 1, images);
        print_tiff(pages.pages[i]);
    }
}

}  // namespace

int cmd_info(const std::vector<std::string>& args) {
    if (args.empty()) throw UsageError("info: no file given");
    // Every file is described; the first failure decides the exit status.
    int status = kExitOk;
    for (size_t i = 0; i < args.size(); ++i) {
        // The probes take no hook: Ctrl-C is looked at between files.
        if (interrupted()) throw Failure(args[i], MVERR_CANCELED);
        if (i) std::printf("\n");
        try {
            describe(args[i]);
        } catch (const Failure& e) {
            report(e);
            if (status == kExitOk) status = kExitFailure;
        }
    }
    return status;
}

}  // namespace mvtool
