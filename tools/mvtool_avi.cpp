// mvtool - AVI movies: a stack (or one image) written frame by frame,
// a movie loaded as a stack, and the AVI lines of `info`.

#include "mvtool.hpp"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

namespace mvtool {

namespace {

// Plain files stay below this size; beyond it OpenDML is chosen, since
// readers commonly stop reading plain files there.
constexpr uint64_t kPlainLimit = uint64_t(1) << 30;

// Stored bytes of the movie: rows of 8-bit grey or 24-bit BGR, padded to
// 4 bytes.
uint64_t movie_bytes(const Image& image) {
    const uint64_t bits = image.format().pixies == 1 ? 8 : 24;
    return (uint64_t(image.width()) * bits + 31) / 32 * 4 * image.height() * image.depth();
}

}  // namespace

bool is_avi(const mvfileinfo& info) { return std::strcmp(info.format, "avi") == 0; }

void avi_rate(double fps, uint32_t& rate, uint32_t& scale) {
    if (!(fps > 0.0 && fps <= 1e6)) throw UsageError("--fps: expected a rate above 0 and at most 1000000");
    if (fps == std::floor(fps)) {
        rate = uint32_t(fps);
        scale = 1;
    } else if (const double n = std::round(fps * 1.001); std::fabs(fps - n * 1000.0 / 1001.0) < 0.005) {
        rate = uint32_t(n * 1000.0);  // 29.97 as 30000/1001
        scale = 1001;
    } else {
        rate = uint32_t(std::round(fps * 1000.0));
        scale = 1000;
    }
}

void save_avi(const Image& image, const std::string& path, const WriteOptions& options) {
    const mvpixfmt& f = image.format();
    if (f.pixies == 2) throw UsageError(path + ": AVI frames are grey or colour; this image has two pixies");
    mvfileinfo params{};
    static char software[] = "mvip mvtool";
    if (const mvfileinfo* src = options.source)
        for (int i = 0; i < 4; ++i) params.texts[i] = src->texts[i];
    if (params.texts[MVTEXT_SOFTWARE] == nullptr) params.texts[MVTEXT_SOFTWARE] = software;
    uint32_t rate = 25, scale = 1;
    if (options.fps > 0) avi_rate(options.fps, rate, scale);
    params.area.avi.rate = rate;
    params.area.avi.scale = scale;
    const bool opendml = options.opendml > 0 || (options.opendml < 0 && movie_bytes(image) > kPlainLimit);
    mvabort* hook = progress("writing " + path);
    if (image.is_stack()) {
        mvimage3* im = const_cast<mvimage3*>(&image.im3);
        check(opendml ? mvio8_aviodmlwriteseq(hook, im, path.c_str(), &params, 0)
                      : mvio8_aviwriteseq(hook, im, path.c_str(), &params, 0),
              path);
    } else {
        mvavifile* handle = nullptr;
        check(opendml ? mvio8_aviodmlwriteseqinit(hook, &handle, path.c_str(), &params, 0)
                      : mvio8_aviwriteseqinit(hook, &handle, path.c_str(), &params, 0),
              path);
        const int32_t added = mvio8_aviwriteseqadd(hook, &handle, nullptr, const_cast<mvimage*>(&image.im));
        if (added != 0 && handle != nullptr) {  // a stop at entry leaves the handle open
            mvio8_aviwriteseqdone(nullptr, &handle, nullptr);
            std::remove(path.c_str());
        }
        check(added, path);
        check(mvio8_aviwriteseqdone(nullptr, &handle, nullptr), path);
    }
    progress_done();
}

void load_avi(const std::string& path, const mvfileinfo& info, Image& image, int64_t frame) {
    if (!info.area.avi.supported) throw Failure(path, MVERR_UNSUPPORTED);
    if (info.images == 0) throw Failure(path + ": no frames", MVERR_NOITEM);
    if (frame >= int64_t(info.images)) throw Failure(path + ": frame " + std::to_string(frame), MVERR_NOITEM);
    const uint32_t depth = frame >= 0 ? 1 : info.images;
    image.allocate(info.width, info.height, info.pixfmt, depth);
    // A single frame is read through a one-plane stack over the image.
    mvimage3 one{};
    mvimage3* target = &image.im3;
    if (!image.is_stack()) {
        const uint32_t dims[3] = {info.width, info.height, 1};
        check(mvimage3_memory(&one, image.data(), dims, 0, info.pixfmt.datatype, info.pixfmt.bits,
                              info.pixfmt.pixies, info.pixfmt.colorspace, 0),
              "memory image");
        target = &one;
    }
    check(mvio8_avireadseq(progress("reading " + path), target, path.c_str(), frame >= 0 ? uint32_t(frame) : 0, 0),
          path);
    progress_done();
}

void print_avi_fields(const mvfileinfo& info) {
    const mvfileinfo_avi& a = info.area.avi;
    auto line = [](const char* key, const std::string& value) { std::printf("  %-13s %s\n", key, value.c_str()); };
    char buf[96];
    if (a.scale != 0 && a.rate != 0) {
        std::snprintf(buf, sizeof buf, "%g frames per second (%u / %u)", double(a.rate) / a.scale, a.rate, a.scale);
        line("rate", buf);
    } else {
        line("rate", "not given");
    }
    line("frames", std::to_string(info.images) + (a.headerframes != info.images
                                                      ? " (the header says " + std::to_string(a.headerframes) + ")"
                                                      : std::string()));
    line("layout", a.opendml ? "OpenDML, " + std::to_string(a.rifflists) + " RIFF list" + (a.rifflists == 1 ? "" : "s")
                             : std::string("AVI 1.0"));
    std::string comp = "uncompressed";
    if (a.compression != 0) {
        comp.assign(reinterpret_cast<const char*>(&a.compression), 4);
        comp = "'" + comp + "'";
    }
    line("frames hold", comp + ", " + std::to_string(a.bitcount) + " bits per pixel" +
                            (a.supported ? "" : " (not readable by this build)"));
    static const char* const kTextNames[4] = {"date, time", "software", "description", "copyright"};
    for (int i = 0; i < 4; ++i)
        if (info.texts[i]) line(kTextNames[i], info.texts[i]);
}

}  // namespace mvtool
