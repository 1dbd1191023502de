// Reading, writing and describing TIFF, BMP, JPEG and AVI files into and
// from numpy arrays.  The package picks the format of a written file from
// its extension; reading recognises files by their content.

#include "module.hpp"

#include <cstring>

namespace mvpy {

namespace {

// Owns the texts of a file-information record.
struct Info {
    mvfileinfo r{};
    Info() = default;
    Info(const Info&) = delete;
    Info& operator=(const Info&) = delete;
    ~Info() { mvio8_fileinfodone(&r); }
    bool is(const char* format) const { return std::strcmp(r.format, format) == 0; }
};

// Colour images are presented as RGB when the file stores BGR, YCrCb or a
// palette; everything else (grey, RGB, CMYK, samples of no colour code) as
// stored.
constexpr uint32_t kConvertColour = 0x100;

mvpixfmt presented_format(const Info& info, const std::string& path) {
    mvpixfmt fmt = info.r.pixfmt;
    if (fmt.datatype == 0) throw LibraryError(path, MVERR_UNSUPPORTED);  // described, not readable
    if (fmt.colorspace == MVCS_PALETTE) mvpixfmt_set(&fmt, MVTYPE_U8, 8, 3, MVCS_RGB);
    else if (fmt.colorspace == MVCS_BGR || fmt.colorspace == MVCS_YCRCB) fmt.colorspace = MVCS_RGB;
    return fmt;
}

const char* text_names[4] = {"datetime", "software", "description", "copyright"};

py::dict describe(const Info& info) {
    const mvfileinfo& r = info.r;
    py::dict d;
    d["format"] = std::string(r.format);
    d["width"] = r.width;
    d["height"] = r.height;
    d["images"] = r.images;
    d["dtype"] = r.pixfmt.datatype != 0 ? py::object(dtype_of(r.pixfmt.datatype)) : py::object(py::none());
    d["bits"] = r.pixfmt.bits;
    d["pixies"] = r.pixfmt.pixies;
    d["colorspace"] = r.pixfmt.colorspace;
    const char* space = mvcolorspace_name(int32_t(r.pixfmt.colorspace));
    d["colorspace_name"] = space ? py::object(py::str(space)) : py::object(py::none());
    py::dict texts;
    for (int i = 0; i < 4; ++i)
        if (r.texts[i]) texts[text_names[i]] = py::bytes(r.texts[i]).attr("decode")("latin-1");
    d["texts"] = texts;
    if (info.is("tif")) {
        const mvfileinfo_tif& t = r.area.tif;
        d["compression"] = t.compression;
        d["resolution"] = py::make_tuple(py::make_tuple(t.xresnum, t.xresden), py::make_tuple(t.yresnum, t.yresden));
        d["resolution_unit"] = t.resunit;
        d["stripsize"] = t.stripsize;
    } else if (info.is("bmp")) {
        const mvfileinfo_bmp& b = r.area.bmp;
        d["bitcount"] = b.bitcount;
        d["palette_entries"] = b.palentries;
        d["compression"] = b.compression;
        d["pixels_per_metre"] = py::make_tuple(b.xppm, b.yppm);
    } else if (info.is("jpg")) {
        const mvfileinfo_jpg& j = r.area.jpg;
        d["quality"] = j.quality / 10.0;
        d["density"] = py::make_tuple(j.xdensity, j.ydensity);
        d["density_unit"] = j.unit;
    } else if (info.is("avi")) {
        const mvfileinfo_avi& a = r.area.avi;
        d["fps"] = a.scale ? double(a.rate) / a.scale : 0.0;
        d["opendml"] = bool(a.opendml);
        d["compression"] = a.compression;
        d["bitcount"] = a.bitcount;
        d["supported"] = bool(a.supported);
    }
    return d;
}

py::dict info(const std::string& path, uint32_t index) {
    Info info;
    int32_t n;
    {
        py::gil_scoped_release release;
        n = mvio8_fileinfoN(path.c_str(), &info.r, 1, index, 0);
    }
    check(n, path);
    if (n == 0) throw LibraryError(path + ": image " + std::to_string(index), MVERR_NOITEM);
    return describe(info);
}

py::array read(const std::string& path, uint32_t index, py::object abort) {
    Info info;
    const int32_t n = check(mvio8_fileinfoN(path.c_str(), &info.r, 1, index, 0), path);
    const bool tif = info.is("tif"), avi = info.is("avi");
    if (n == 0 || (index > 0 && !tif && !(avi && index < info.r.images)))
        throw LibraryError(path + ": image " + std::to_string(index), MVERR_NOITEM);
    const mvpixfmt fmt = presented_format(info, path);
    Hook hook(abort);
    if (avi) {  // one frame as a stack of one plane
        py::array planes = new_array(info.r.width, info.r.height, fmt, 1);
        ArrayStack dst(planes, "image", true, fmt.bits, fmt.colorspace);
        run_released(hook, path, [&](mvabort* h) {
            return mvio8_avireadseq(h, &dst.im, path.c_str(), index, kConvertColour);
        });
        return py::array(planes[py::int_(0)]);
    }
    py::array out = new_array(info.r.width, info.r.height, fmt);
    ArrayImage dst(out, "image", true, fmt.bits, fmt.colorspace);
    run_released(hook, path, [&](mvabort* h) {
        if (tif) return mvio8_tifread(h, &dst.im, nullptr, path.c_str(), index, nullptr, kConvertColour);
        if (info.is("jpg")) return mvio8_jpegread(h, &dst.im, path.c_str(), kConvertColour);
        return mvio8_bmpread(h, &dst.im, nullptr, path.c_str(), kConvertColour);
    });
    return out;
}

py::array read_stack(const std::string& path, py::object abort) {
    Info first;
    check(mvio8_fileinfo(path.c_str(), &first.r, 0), path);
    const bool tif = first.is("tif"), avi = first.is("avi");
    const uint32_t depth = tif || avi ? first.r.images : 1;
    if (tif && depth > 1) {  // every page must have the first one's size and format
        std::vector<mvfileinfo> pages(depth);
        const int32_t n = mvio8_fileinfoN(path.c_str(), pages.data(), depth, 0, 0);
        bool same = n == int32_t(depth);
        for (int32_t k = 0; k < n; ++k) {
            const mvfileinfo& p = pages[size_t(k)];
            same = same && p.width == first.r.width && p.height == first.r.height &&
                   p.pixfmt.datatype == first.r.pixfmt.datatype && p.pixfmt.bits == first.r.pixfmt.bits &&
                   p.pixfmt.pixies == first.r.pixfmt.pixies;
            mvio8_fileinfodone(&pages[size_t(k)]);
        }
        check(n, path);
        if (!same)
            throw py::value_error(path + ": the pages differ in size or pixel format; read them one by one with "
                                         "mvip.read(path, index)");
    }
    const mvpixfmt fmt = presented_format(first, path);
    py::array out = new_array(first.r.width, first.r.height, fmt, depth);
    ArrayStack dst(out, "stack", true, fmt.bits, fmt.colorspace);
    Hook hook(abort);
    if (tif || avi) {
        run_released(hook, path, [&](mvabort* h) {
            return tif ? mvio8_tifreadseq(h, &dst.im, nullptr, path.c_str(), 0, nullptr, kConvertColour)
                       : mvio8_avireadseq(h, &dst.im, path.c_str(), 0, kConvertColour);
        });
        return out;
    }
    mvimage plane{};
    check(mvimage_def2from3(&plane, &dst.im, 0, 2, 0), path);
    run_released(hook, path, [&](mvabort* h) {
        return first.is("jpg") ? mvio8_jpegread(h, &plane, path.c_str(), kConvertColour)
                               : mvio8_bmpread(h, &plane, nullptr, path.c_str(), kConvertColour);
    });
    return out;
}

// Writes `array` (an image, or with `stack` a stack) as a file of format
// `kind` ("tif", "bmp", "jpg", "avi").
void write(const std::string& kind, const std::string& path, py::handle array, bool stack, uint32_t bits,
           uint32_t compression, uint32_t quality, uint32_t rate, uint32_t scale, bool opendml,
           const std::string& description, py::object abort) {
    static char software[] = "mvip";
    mvfileinfo params{};
    params.texts[MVTEXT_SOFTWARE] = software;
    std::string text = description;
    if (!text.empty()) params.texts[MVTEXT_DESCRIPTION] = text.data();
    Hook hook(abort);
    if (stack || kind == "avi") {
        py::object planes = py::reinterpret_borrow<py::object>(array);
        if (!stack) planes = planes[py::make_tuple(py::none(), py::ellipsis())];  // one frame
        ArrayStack src(planes, "stack", false, bits);
        if (kind == "tif") {
            params.area.tif.compression = compression;
            const int32_t b = bits ? int32_t(bits) : int32_t(src.im.pixfmt.bits ? src.im.pixfmt.bits : 32);
            run_released(hook, path, [&](mvabort* h) {
                return mvio8_tifwriteseq(h, &src.im, nullptr, path.c_str(), b, 16, 0, &params);
            });
        } else if (kind == "avi") {
            params.area.avi.rate = rate;
            params.area.avi.scale = scale;
            run_released(hook, path, [&](mvabort* h) {
                return opendml ? mvio8_aviodmlwriteseq(h, &src.im, path.c_str(), &params, 0)
                               : mvio8_aviwriteseq(h, &src.im, path.c_str(), &params, 0);
            });
        } else {
            throw py::value_error(path + ": a " + kind + " file holds one image; write a stack as TIFF or AVI");
        }
        return;
    }
    ArrayImage src(array, "image", false, bits);
    if (kind == "tif") {
        params.area.tif.compression = compression;
        const int32_t b = bits ? int32_t(bits) : int32_t(src.im.pixfmt.bits ? src.im.pixfmt.bits : 32);
        run_released(hook, path, [&](mvabort* h) {
            return mvio8_tifwrite(h, &src.im, nullptr, path.c_str(), b, 16, 0, &params);
        });
    } else if (kind == "jpg") {
        params = mvfileinfo{};
        params.area.jpg.quality = quality;
        params.area.jpg.xdensity = params.area.jpg.ydensity = 1;
        const uint32_t b = bits ? bits : src.im.pixfmt.bits > 8 ? 12 : 8;
        run_released(hook, path, [&](mvabort* h) {
            return mvio8_jpegwrite(h, &src.im, nullptr, path.c_str(), b, &params);
        });
    } else if (kind == "bmp") {
        run_released(hook, path, [&](mvabort* h) { return mvio8_bmpwrite(h, &src.im, path.c_str(), 0); });
    } else {
        throw py::value_error("unknown file format '" + kind + "'");
    }
}

}  // namespace

void register_files(py::module_& m) {
    m.def("info", &info, py::arg("path"), py::arg("index") = 0);
    m.def("read", &read, py::arg("path"), py::arg("index") = 0, py::arg("abort") = py::none());
    m.def("read_stack", &read_stack, py::arg("path"), py::arg("abort") = py::none());
    m.def("write", &write, py::arg("kind"), py::arg("path"), py::arg("array"), py::arg("stack"), py::arg("bits"),
          py::arg("compression"), py::arg("quality"), py::arg("rate"), py::arg("scale"), py::arg("opendml"),
          py::arg("description"), py::arg("abort") = py::none());
}

}  // namespace mvpy
