#include "files/fileinfo.hpp"
namespace mvip::files {
int32_t tiff_probe(const char*, mvfileinfo*, uint32_t, uint32_t, uint32_t, uint32_t& filled) {
    filled = 0;
    return -10;
}
}  // namespace mvip::files
