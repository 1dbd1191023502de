// mvtool convert - TIFF and BMP either way: the input is recognised by its
// content and loaded in the pixel format it presents, the output format
// comes from the output name's extension.

#include "mvtool.hpp"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace mvtool {

namespace {

// A whole number in [low, high]; throws UsageError.
long long parse_integer(const std::string& option, const std::string& text, long long low, long long high) {
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || errno != 0 || v < low || v > high)
        throw UsageError(option + ": expected a whole number from " + std::to_string(low) + " to " +
                         std::to_string(high) + ", got '" + text + "'");
    return v;
}

}  // namespace

int cmd_convert(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    WriteOptions options;
    bool compression_given = false, bits_given = false;
    uint32_t index = 0;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--compression" || a == "--bits" || a == "--index") {
            if (i + 1 >= args.size()) throw UsageError("convert: " + a + " needs a value");
            const std::string& v = args[++i];
            if (a == "--compression") {
                const int32_t code = compression_code(v);
                if (code < 0) throw UsageError("convert: unknown compression '" + v +
                                               "' (none, packbits, lzw, lzw-pred, arith)");
                options.compression = uint32_t(code);
                compression_given = true;
            } else if (a == "--bits") {
                options.bits = int32_t(parse_integer(a, v, 1, 32));
                bits_given = true;
            } else {
                index = uint32_t(parse_integer(a, v, 0, 0x7FFFFFFE));
            }
        } else if (a.size() > 1 && a[0] == '-') {
            throw UsageError("convert: unknown option '" + a + "'");
        } else {
            files.push_back(a);
        }
    }
    if (files.size() != 2) throw UsageError("convert: expected IN and OUT");
    const std::string &in = files[0], &out = files[1];
    const FileKind kind = kind_of(out);
    if (kind == FileKind::bmp && (compression_given || bits_given))
        throw UsageError("convert: --compression and --bits apply to TIFF output only");

    Image image;
    mvfileinfo info{};
    // The BMP writer stores one-pixie images as grey: a palette file goes
    // to BMP as its colours rather than its indices.
    load(in, image, index, kind == FileKind::bmp, &info);
    options.source = &info;
    try {
        save(image, out, options);
    } catch (...) {
        mvio8_fileinfodone(&info);
        throw;
    }
    mvio8_fileinfodone(&info);
    return kExitOk;
}

}  // namespace mvtool
