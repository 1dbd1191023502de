// mvtool demo - a short pipeline on a built-in colour scene: write it, read
// it back, turn it grey, remove the noise, smooth, find edges, threshold
// them, find the dark parts as blobs, and write the results as TIFF (several
// compressions) and BMP, ending with the scene with the blobs marked.  Every
// file written is read back and compared with what was written.

#include "mvtool.hpp"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace mvtool {

namespace {

constexpr uint32_t kWidth = 1024, kHeight = 768;

using Clock = std::chrono::steady_clock;

class Demo {
public:
    explicit Demo(std::string dir) : dir_(std::move(dir)) {}

    // Runs `step` and prints its line: what, time, and the file with its
    // size when the step wrote one (and the size against `raw` bytes).
    template <class Step>
    void step(const std::string& what, Step work, const std::string& file = "", double raw = 0) {
        const auto start = Clock::now();
        work();
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        if (file.empty()) {
            std::printf("  %-44s %8.1f ms\n", what.c_str(), ms);
        } else {
            const uint64_t size = file_size(file);
            std::printf("  %-44s %8.1f ms  %-26s %9llu bytes", what.c_str(), ms, file.c_str(),
                        static_cast<unsigned long long>(size));
            if (raw > 0) std::printf(" (%.0f %%)", 100.0 * double(size) / raw);
            std::printf("\n");
            ++files_;
            bytes_ += size;
        }
        std::fflush(stdout);
    }
    // Writes `image` to dir/name, reads it back and compares.
    void write_checked(const Image& image, const std::string& name, const char* compression = "none") {
        const std::string file = path(name);
        WriteOptions options;
        options.compression = uint32_t(compression_code(compression));
        const bool tiff = kind_of(file) == FileKind::tiff;
        std::string what = "write " + name;
        if (tiff) what += std::string(" (") + compression + ")";
        step(what, [&] { save(image, file, options); }, file, double(image.bytes()));
        Image back;
        step("  read it back and compare", [&] {
            load(file, back);
            compare(image, back, file);
        });
    }
    // A check decided by the caller.
    void count_check(bool passed, const std::string& what) {
        ++checks_;
        if (!passed) {
            ++mismatches_;
            std::printf("  !! %s failed its check\n", what.c_str());
        }
    }
    void compare(const Image& want, const Image& got, const std::string& what) {
        ++checks_;
        if (!want.same_pixels(got)) {
            ++mismatches_;
            std::printf("  !! %s does not hold what was written\n", what.c_str());
        }
    }
    std::string path(const std::string& name) const { return (std::filesystem::path(dir_) / name).string(); }
    int files() const { return files_; }
    uint64_t bytes() const { return bytes_; }
    int checks() const { return checks_; }
    int mismatches() const { return mismatches_; }

private:
    std::string dir_;
    int files_ = 0;
    uint64_t bytes_ = 0;
    int checks_ = 0;
    int mismatches_ = 0;
};

// Runs a library operation under the progress hook; throws Failure.
template <class Call>
void run(const char* name, Call call) {
    check(call(progress(name)), name);
    progress_done();
}

}  // namespace

int cmd_demo(const std::vector<std::string>& args) {
    if (args.size() > 1) throw UsageError("demo: expected at most one argument, the output folder");
    const std::string dir = args.empty() ? "out" : args[0];
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec || !std::filesystem::is_directory(dir)) throw Failure(dir, MVERR_NOTCREATABLE);

    std::printf("mvtool demo: a pipeline on a built-in %u x %u colour scene; results in %s/\n\n", kWidth, kHeight,
                dir.c_str());
    const auto start = Clock::now();
    Demo demo(dir);

    Image scene, grey, denoised, smooth, edges, mask;
    demo.step("make the sample scene (RGB, u8)", [&] { make_scene(scene, kWidth, kHeight, 2024); });
    demo.write_checked(scene, "sample.tif");
    demo.step("write sample.bmp", [&] { save(scene, demo.path("sample.bmp")); }, demo.path("sample.bmp"),
              double(scene.bytes()));
    demo.step("  read it back as RGB and compare", [&] {
        // BMP files hold B, G, R; mode bit 0x100 has the reader convert the
        // file to the colour space of the image it reads into.
        Image back;
        back.allocate_like(scene);
        const std::string file = demo.path("sample.bmp");
        check(mvio8_bmpread(progress("reading " + file), &back.im, nullptr, file.c_str(), 0x100), file);
        progress_done();
        demo.compare(scene, back, file);
    });

    {
        // JPEG is lossy: the read-back is compared by its largest error, and
        // the file reports the quality it was written with.
        const std::string file = demo.path("sample.jpg");
        WriteOptions options;
        options.quality = 900;
        demo.step("write sample.jpg (quality 90)", [&] { save(scene, file, options); }, file, double(scene.bytes()));
        demo.step("  read it back: its quality and largest error", [&] {
            Image back;
            mvfileinfo info{};
            load(file, back, 0, false, &info);
            const uint32_t quality = info.area.jpg.quality;
            mvio8_fileinfodone(&info);
            const int error = scene.largest_difference(back);
            std::printf("  quality %u.%u %%, largest error %d\n", quality / 10, quality % 10, error);
            demo.count_check(quality == 900 && error >= 0 && error <= 64, file);
        });
    }

    demo.step("grey (copycolorconvert)", [&] {
        mvpixfmt fmt{};
        mvpixfmt_set(&fmt, MVTYPE_U8, 8, 1, MVCS_GREY);
        grey.allocate(kWidth, kHeight, fmt);
        run("copycolorconvert", [&](mvabort* h) { return mvip8_copycolorconvert(h, &scene.im, &grey.im, 0, MVCS_GREY); });
    });
    demo.step("remove the noise (3x3median)", [&] {
        denoised.allocate_like(grey);
        run("3x3median", [&](mvabort* h) { return mvip8_3x3median(h, &grey.im, &denoised.im); });
    });
    demo.step("smooth (3x3lowpassf)", [&] {
        smooth.allocate_like(grey);
        run("3x3lowpassf", [&](mvabort* h) { return mvip8_3x3lowpassf(h, &denoised.im, &smooth.im); });
    });
    demo.step("edges (3x3sobel, magnitude)", [&] {
        edges.allocate_like(grey);
        run("3x3sobel", [&](mvabort* h) { return mvip8_3x3sobel(h, &smooth.im, &edges.im, 3); });
    });
    demo.step("edge mask (pixthreshold2 at 40)", [&] {
        mask.allocate_like(grey);
        run("pixthreshold2", [&](mvabort* h) { return mvip8_pixthreshold2(h, &edges.im, &mask.im, 40, 255, 255, 0); });
    });

    std::vector<mvblob> blobs;
    uint32_t specks = 0;
    demo.step("dark parts (bloblist: below 60, at least 3x3)", [&] {
        Image work;  // the scan paints what it found over in its copy
        work.allocate_like(denoised);
        run("copy", [&](mvabort* h) { return mvip8_copy(h, &denoised.im, &work.im); });
        const int32_t limits[4] = {3, 3, INT32_MAX, INT32_MAX};
        check(find_blobs(progress("bloblist"), &work.im, 91, 60, 0x200, limits, UINT64_MAX, blobs, &specks),
              "bloblist");
        progress_done();
    });
    {
        const auto largest = std::max_element(blobs.begin(), blobs.end(),
                                              [](const mvblob& a, const mvblob& b) { return a.area < b.area; });
        std::printf("  %zu blobs (%u specks rejected)", blobs.size(), specks);
        if (largest != blobs.end())
            std::printf("; the largest: %u pixels, box %d,%d..%d,%d, centre (%.1f, %.1f)", largest->area,
                        largest->left, largest->top, largest->right, largest->bottom, largest->centrex,
                        largest->centrey);
        std::printf("\n");
        demo.count_check(blobs.size() == 27, "the blob count (a rectangle and 26 dots)");
    }

    std::printf("\n");
    for (const char* c : {"none", "packbits", "lzw", "lzw-pred", "arith"})
        demo.write_checked(grey, std::string("grey-") + c + ".tif", c);
    demo.write_checked(denoised, "denoised.tif", "lzw-pred");
    demo.write_checked(edges, "edges.tif", "arith");
    demo.write_checked(edges, "edges.bmp");
    demo.write_checked(mask, "mask.tif", "packbits");
    {
        // One bit per pixel: the writer rescales 0/255 to 0/1.
        const std::string file = demo.path("mask-1bit.tif");
        WriteOptions options;
        options.compression = uint32_t(compression_code("packbits"));
        options.bits = 1;
        demo.step("write mask-1bit.tif (packbits, 1 bit)", [&] { save(mask, file, options); }, file,
                  double(mask.bytes()));
        demo.step("  read it back and compare", [&] {
            Image back, scaled;
            load(file, back);  // u8 with 1 significant bit
            scaled.allocate_like(mask);
            run("pixscale", [&](mvabort* h) { return mvip8_pixscale(h, &back.im, &scaled.im, 255, 1); });
            demo.compare(mask, scaled, file);
        });
    }

    {
        // The scene with every blob found marked: box, centre, number.
        Image picture;
        colour_picture(scene, picture);
        draw_blobs(picture, blobs);
        demo.write_checked(picture, "blobs.tif", "lzw");
    }

    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("\ndemo: %d files (%.1f MB) in %s/ in %.2f s; %d of %d read-back checks matched\n", demo.files(),
                double(demo.bytes()) / 1e6, dir.c_str(), seconds, demo.checks() - demo.mismatches(), demo.checks());
    return demo.mismatches() ? kExitCheck : kExitOk;
}

}  // namespace mvtool
