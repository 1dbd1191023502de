// mvtool convert - TIFF, BMP, JPEG and AVI in any direction: the input is
// recognised by its content and loaded in the pixel format it presents, the
// output format comes from the output name's extension.  A TIFF file of
// several images keeps them all (a stack, whose pages agree in size and
// format, through 3-D images; other files page by page) unless --index
// picks one; an AVI movie is loaded as a stack of its frames (--index picks
// one frame), and a stack goes to AVI as one frame per plane.

#include "mvtool.hpp"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

namespace mvtool {



int cmd_convert(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    WriteOptions options;
    bool compression_given = false, bits_given = false, index_given = false, avi_given = false,
         quality_given = false;
    uint32_t index = 0;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--opendml") {
            options.opendml = 1;
            avi_given = true;
        } else if (a == "--fps") {
            if (i + 1 >= args.size()) throw UsageError("convert: --fps needs a value");
            char* end = nullptr;
            options.fps = std::strtod(args[++i].c_str(), &end);
            uint32_t rate, scale;
            if (args[i].empty() || *end != '\0') throw UsageError("convert: --fps: expected a number, got '" + args[i] + "'");
            avi_rate(options.fps, rate, scale);  // throws for rates out of range
            avi_given = true;
        } else if (a == "--compression" || a == "--bits" || a == "--index" || a == "--quality") {
            if (i + 1 >= args.size()) throw UsageError("convert: " + a + " needs a value");
            const std::string& v = args[++i];
            if (a == "--compression") {
                const int32_t code = compression_code(v);
                if (code < 0) throw UsageError("convert: unknown compression '" + v +
                                               "' (none, packbits, lzw, lzw-pred, arith)");
                options.compression = uint32_t(code);
                compression_given = true;
            } else if (a == "--quality") {
                options.quality = uint32_t(parse_integer(a, v, 0, 100)) * 10;
                quality_given = true;
            } else if (a == "--bits") {
                options.bits = int32_t(parse_integer(a, v, 1, 32));
                bits_given = true;
            } else {
                index = uint32_t(parse_integer(a, v, 0, 0x7FFFFFFE));
                index_given = true;
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
    if ((kind == FileKind::bmp || kind == FileKind::avi) && (compression_given || bits_given))
        throw UsageError("convert: --compression and --bits apply to TIFF and JPEG output only");
    if (kind == FileKind::jpeg && compression_given)
        throw UsageError("convert: --compression applies to TIFF output only");
    if (kind == FileKind::jpeg && bits_given && options.bits != 8 && options.bits != 12)
        throw UsageError("convert: JPEG files hold 8 or 12 bits");
    if (kind != FileKind::jpeg && quality_given) throw UsageError("convert: --quality applies to JPEG output only");
    if (kind != FileKind::avi && avi_given) throw UsageError("convert: --fps and --opendml apply to AVI output only");

    if (!is_raw(in)) {  // a movie: all its frames as a stack, or the one --index picks
        mvfileinfo info{};
        check(mvio8_fileinfo(in.c_str(), &info, 0), in);
        if (is_avi(info)) {
            Image frames;
            try {
                load_avi(in, info, frames, index_given ? int64_t(index) : -1);
                if ((kind == FileKind::bmp || kind == FileKind::jpeg) && frames.is_stack())
                    throw UsageError("convert: " + in + " holds " + std::to_string(frames.depth()) + " frames and a " +
                                     (kind == FileKind::bmp ? "BMP" : "JPEG") + " file one: pick one with --index I");
                options.source = &info;
                save(frames, out, options);
            } catch (...) {
                mvio8_fileinfodone(&info);
                throw;
            }
            mvio8_fileinfodone(&info);
            return kExitOk;
        }
        mvio8_fileinfodone(&info);
    }

    if (!index_given && !is_raw(in)) {  // a raw input is one image
        const FilePages pages(in);
        const size_t n = pages.pages.size();
        if (n > 1 && (kind == FileKind::bmp || kind == FileKind::jpeg))
            throw UsageError("convert: " + in + " holds " + std::to_string(n) + " images and a " +
                             (kind == FileKind::bmp ? "BMP" : "JPEG") + " file one: pick one with --index I");
        if (n > 1 && pages.stack_depth() > 1) {
            Image stack;
            load_stack(in, pages, stack);
            options.source = &pages.pages[0];  // resolution and texts of the first page
            save(stack, out, options);
            return kExitOk;
        }
        if (n > 1 && kind == FileKind::avi)
            throw UsageError("convert: the pages of " + in + " differ in size or format: pick one with --index I");
        if (n > 1) {
            TiffPages writer(out);
            for (uint32_t k = 0; k < n; ++k) {
                Image page;
                load(in, page, k, false);
                options.source = &pages.pages[k];
                writer.add(page, options);
            }
            writer.done();
            return kExitOk;
        }
    }

    Image image;
    mvfileinfo info{};
    // The BMP and JPEG writers store one-pixie images as grey: a palette
    // file goes to them as its colours rather than its indices.
    load(in, image, index, kind == FileKind::bmp || kind == FileKind::jpeg, &info);
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
