// mvio8_fileinfo, mvio8_fileinfoN, mvio8_fileinfodone: recognise a file by
// content, probing the formats in a fixed order.
#include "files/fileinfo.hpp"

#include "core/record.hpp"

#include <cstdlib>
#include <cstring>

namespace mvip::files {

void fill_head(mvfileinfo* info, uint32_t width, uint32_t height, uint32_t images, const mvpixfmt& fmt,
               const char* format) {
    info->window[0] = info->window[1] = 0;
    info->window[2] = width;
    info->window[3] = height;
    info->width = width;
    info->height = height;
    info->images = images;
    info->pixfmt = fmt;
    mvimage probe{};
    probe.pixfmt = fmt;
    derive_sizes(&probe);
    info->pixiesize = probe.pixiesize;
    info->pixelsize = probe.pixelsize;
    info->typeclass = probe.typeclass;
    info->pixfmt_reserved = 0;
    std::memset(info->format, 0, sizeof info->format);
    std::strncpy(info->format, format, sizeof info->format - 1);
}

namespace {

// Ends recognition for these codes; others pass on to the next probe.
bool final_failure(int32_t rc) { return rc == -2 || rc == -13; }

int32_t recognise(const char* name, mvfileinfo* info, uint32_t mode) {
    uint32_t filled = 0;
    int32_t rc = tiff_probe(name, info, 1, 0, mode, filled);
    if (rc == 0 || final_failure(rc)) return rc;
    mvio8_fileinfodone(info);
    std::memset(info, 0, sizeof *info);
    for (bool icon : {false, true}) {
        rc = bmp_probe(name, info, mode, icon);
        if (rc == 0 || final_failure(rc)) return rc;
        std::memset(info, 0, sizeof *info);
    }
    rc = jpeg_probe(name, info, mode);
    if (rc == 0 || final_failure(rc)) return rc;
    mvio8_fileinfodone(info);
    std::memset(info, 0, sizeof *info);
    // The FITS probe comes here once that format exists.
    rc = avi_probe(name, info, mode);
    if (rc == 0 || final_failure(rc)) return rc;
    mvio8_fileinfodone(info);
    std::memset(info, 0, sizeof *info);
    return -10;
}

}  // namespace

}  // namespace mvip::files

using namespace mvip::files;

extern "C" {

MVIP_API int32_t mvio8_fileinfo(const char* filename, mvfileinfo* info, uint32_t mode) {
    if (info == nullptr) return -1;
    std::memset(info, 0, sizeof *info);
    if (filename == nullptr) return -1;
    const int32_t rc = recognise(filename, info, mode);
    if (rc != 0) {
        mvio8_fileinfodone(info);
        std::memset(info, 0, sizeof *info);
    }
    return rc;
}

MVIP_API int32_t mvio8_fileinfoN(const char* filename, mvfileinfo* info, uint32_t n, uint32_t first,
                                 uint32_t mode) {
    if (info == nullptr || n == 0 || filename == nullptr) return -1;
    std::memset(info, 0, sizeof(mvfileinfo) * n);
    uint32_t filled = 0;
    const int32_t rc = tiff_probe(filename, info, n, first, mode, filled);
    if (rc == 0) return int32_t(filled);
    for (uint32_t i = 0; i < n; ++i) mvio8_fileinfodone(&info[i]);
    if (final_failure(rc)) return rc;
    const int32_t other = mvio8_fileinfo(filename, info, mode);
    return other == 0 ? 1 : other;
}

MVIP_API int32_t mvio8_fileinfodone(mvfileinfo* info) {
    if (info == nullptr) return 0;
    for (char*& text : info->texts) {
        std::free(text);
        text = nullptr;
    }
    return 0;
}

}  // extern "C"
