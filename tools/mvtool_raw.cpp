// mvtool - headerless raw files as input: "raw:WIDTHxHEIGHT:TYPE:FILE",
// TYPE one of u8, u16, u32, float, double, optionally with the significant
// bits ("u16/12").  The file is read through a file-backed image, so only
// the image itself is held in memory.

#include "mvtool.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace mvtool {

namespace {

struct RawSpec {
    uint32_t width = 0, height = 0, type = 0, bits = 0;
    std::string file;
};

bool parse_dims(const std::string& text, uint32_t& w, uint32_t& h) {
    unsigned long a = 0, b = 0;
    char x = 0, rest = 0;
    if (std::sscanf(text.c_str(), "%lu%c%lu%c", &a, &x, &b, &rest) != 3 || (x != 'x' && x != 'X'))
        return false;
    if (a < 1 || b < 1 || a > 0x7FFFFFFFul || b > 0x7FFFFFFFul) return false;
    w = uint32_t(a);
    h = uint32_t(b);
    return true;
}

bool parse_type(std::string text, uint32_t& type, uint32_t& bits) {
    bits = 0;
    const size_t slash = text.find('/');
    if (slash != std::string::npos) {
        char* end = nullptr;
        const unsigned long b = std::strtoul(text.c_str() + slash + 1, &end, 10);
        if (*end != '\0' || b < 1 || b > 32) return false;
        bits = uint32_t(b);
        text.resize(slash);
    }
    const struct { const char* name; uint32_t type; } kTypes[] = {
        {"u8", MVTYPE_U8}, {"u16", MVTYPE_U16}, {"u32", MVTYPE_U32},
        {"float", MVTYPE_FLOAT}, {"double", MVTYPE_DOUBLE}};
    for (const auto& t : kTypes)
        if (text == t.name) {
            type = t.type;
            return true;
        }
    return false;
}

RawSpec parse_raw(const std::string& path) {
    // raw:DIMS:TYPE:FILE; the file name may itself hold colons.
    const size_t a = path.find(':', 4), b = a == std::string::npos ? a : path.find(':', a + 1);
    RawSpec spec;
    if (b == std::string::npos || !parse_dims(path.substr(4, a - 4), spec.width, spec.height) ||
        !parse_type(path.substr(a + 1, b - a - 1), spec.type, spec.bits) || b + 1 >= path.size())
        throw UsageError("'" + path + "': expected raw:WIDTHxHEIGHT:TYPE:FILE, TYPE u8, u16, u32, "
                         "float or double (u16/12: 12 significant bits)");
    spec.file = path.substr(b + 1);
    return spec;
}

}  // namespace

bool is_raw(const std::string& path) { return path.rfind("raw:", 0) == 0; }

void load_raw(const std::string& path, Image& image) {
    const RawSpec spec = parse_raw(path);
    mvpixfmt fmt{};
    check(mvpixfmt_set(&fmt, spec.type, spec.bits, 1, MVCS_GREY), path);
    mvimage file{};
    void* handle = nullptr;
    const uint32_t dims[2] = {spec.width, spec.height};
    check(mvimage_file(&file, &handle, spec.file.c_str(), "rb", dims, spec.type, spec.bits, 1, MVCS_GREY, 0),
          spec.file);
    try {
        image.allocate(spec.width, spec.height, file.pixfmt);
        mvabort* hook = progress("reading " + spec.file);
        check(mvip8_copy(hook, &file, &image.im), spec.file);
        progress_done();
        // A file shorter than the image: the inquiry reports a read past its end.
        check(int32_t(file.aeiou(&file, 'e', 1, 0)), spec.file);
    } catch (...) {
        mvimage_filedone(&file, &handle);
        throw;
    }
    mvimage_filedone(&file, &handle);
}

}  // namespace mvtool
