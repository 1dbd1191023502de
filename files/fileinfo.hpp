// File recognition: the probes of the formats and the record helpers they
// share.
#pragma once

#include "mvip.h"

#include <cstdint>

namespace mvip::files {

// Fill the common head of a file-information record.
void fill_head(mvfileinfo* info, uint32_t width, uint32_t height, uint32_t images, const mvpixfmt& fmt,
               const char* format);

// Probes.  Each opens the file itself and reads only what it needs.  0 on
// success; -2 and -13 end recognition at once; other codes pass on to the
// next probe.
//
// TIFF: walks the whole chain; fills up to n records from image `first`
// on and sets `filled`.
int32_t tiff_probe(const char* name, mvfileinfo* info, uint32_t n, uint32_t first, uint32_t mode,
                   uint32_t& filled);
// BMP (icon = false) or icon (icon = true; not supported yet: -10).
int32_t bmp_probe(const char* name, mvfileinfo* info, uint32_t mode, bool icon);
// JPEG: the segments up to the first scan.
int32_t jpeg_probe(const char* name, mvfileinfo* info, uint32_t mode);
// AVI: the first video stream; images = the frames its indexes list.
int32_t avi_probe(const char* name, mvfileinfo* info, uint32_t mode);

}  // namespace mvip::files
