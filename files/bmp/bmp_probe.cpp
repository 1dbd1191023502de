#include "files/fileinfo.hpp"
namespace mvip::files {
int32_t bmp_probe(const char*, mvfileinfo*, uint32_t, bool) { return -10; }
}  // namespace mvip::files
