// libFuzzer target for the file readers: the input is written to a file and
// handed to the recognition calls and to the TIFF, BMP, JPEG or AVI
// reader (chosen by the build: MVIP_FUZZ_BMP selects BMP, MVIP_FUZZ_JPEG
// JPEG, MVIP_FUZZ_AVI the AVI reader, which fills a stack of two planes)
// with destinations of several
// formats.  Inputs whose image would need more than 64 MiB are only
// recognised, not decoded, so the fuzzer's memory limit measures leaks and
// not legitimately large images.
#include "mvip.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::string scratch_path() {
    const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(dir) + "/mvip-fuzz-" + std::to_string(getpid());
}

int32_t read_file(mvimage* im, mvimage* palette, const char* path, uint32_t index, uint32_t mode) {
#if defined(MVIP_FUZZ_AVI)
    (void)palette;
    // The destination's memory as a stack of two planes of half its height.
    mvimage3 stack;
    const uint32_t dims[3] = {uint32_t(im->imdim.se.x), uint32_t(im->imdim.se.y) / 2, 2};
    if (mvimage3_memory(&stack, im->priv, dims, 0, im->pixfmt.datatype, im->pixfmt.bits, im->pixfmt.pixies,
                        im->pixfmt.colorspace, 0) != 0)
        return -1;
    return mvio8_avireadseq(nullptr, &stack, path, index, mode);
#elif defined(MVIP_FUZZ_BMP)
    (void)index;
    return mvio8_bmpread(nullptr, im, palette, path, mode);
#elif defined(MVIP_FUZZ_JPEG)
    (void)index;
    (void)palette;
    return mvio8_jpegread(nullptr, im, path, mode);
#else
    return mvio8_tifread(nullptr, im, palette, path, index, nullptr, mode);
#endif
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = scratch_path();
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return 0;
    std::fwrite(data, 1, size, f);
    std::fclose(f);

    mvfileinfo info[3] = {};
    const int32_t listed = mvio8_fileinfoN(path.c_str(), info, 3, 0, 0);
    uint64_t bytes = 0;
    if (listed > 0) bytes = uint64_t(info[0].width) * info[0].height * (info[0].pixelsize ? info[0].pixelsize : 8);
    for (auto& i : info) mvio8_fileinfodone(&i);
    if (listed <= 0 || bytes > (64u << 20)) return 0;

    struct Dest {
        uint32_t type, bits, pixies, cs, w, h;
    } dests[] = {{MVTYPE_U8, 8, 1, MVCS_GREY, 17, 9}, {MVTYPE_U16, 12, 3, MVCS_BGR, 5, 31},
                 {MVTYPE_FLOAT, 0, 1, MVCS_GREY, 8, 8}};
    std::vector<uint8_t> pixels(31 * 17 * 12 + 64), palette_pixels(256 * 3 * 2);
    const uint32_t pal_dims[2] = {256, 1};
    mvimage palette;
    mvimage_memory(&palette, palette_pixels.data(), pal_dims, 0, MVTYPE_U16, 16, 3, MVCS_RGB, 0);
    for (const Dest& d : dests) {
        const uint32_t dims[2] = {d.w, d.h};
        mvimage im;
        mvimage_memory(&im, pixels.data(), dims, 0, d.type, d.bits, d.pixies, d.cs, 0);
        read_file(&im, d.type == MVTYPE_FLOAT ? nullptr : &palette, path.c_str(), uint32_t(size % 2), 'n');
    }
    return 0;
}
