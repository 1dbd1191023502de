// mvirp_regionexport: the region text file writer.  Lines end in "\n", or
// in "\r\n" on Windows unless the mode asks for binary, as a text-mode
// stream would write them.  Floats are written as "%f" does (six decimals,
// no exponent) without depending on the process's locale.
#include "regions/path.hpp"
#include "regions/textkeys.hpp"

#include "files/stream.hpp"
#include "ops/frame.hpp"

#include <charconv>
#include <cstring>
#include <new>
#include <string>

namespace mvip::regions {

namespace {

class Writer {
public:
    explicit Writer(bool binary) {
#ifdef _WIN32
        eol_ = binary ? "\n" : "\r\n";
#else
        (void)binary;
        eol_ = "\n";
#endif
    }
    void line(const std::string& key, int64_t v) { text_ += key + "=" + std::to_string(v) + eol_; }
    void line_f(const std::string& key, float v) {
        char buf[400];
        const auto res = std::to_chars(buf, buf + sizeof buf, double(v), std::chars_format::fixed, 6);
        text_ += key + "=" + std::string(buf, res.ptr) + eol_;
    }
    void raw(const std::string& s) { text_ += s + eol_; }
    const std::string& text() const { return text_; }

private:
    std::string text_;
    const char* eol_;
};

// The shape lines of `r`; false when a list runs past its record.
bool write_shape(const mvimregion* r, Writer& w) {
    const uint32_t shape = shape_of(r);
    if (const TextShape* ts = text_shape(shape)) {
        const uint32_t* words = shape_words(r);
        for (int i = 0; i < ts->count; ++i) {
            const std::string key = std::string(ts->prefix) + ts->fields[i].name;
            if (ts->fields[i].is_float) {
                float f;
                std::memcpy(&f, &words[i], sizeof f);
                w.line_f(key, f);
            } else {
                w.line(key, int32_t(words[i]));
            }
        }
        return true;
    }
    if (shape == MVIMREGWIND) return true;
    if (!list_fits(r)) return false;
    const int32_t n = r->region.polygon.N;
    switch (shape) {
    case MVIMREGPOLYGON:
    case MVIMREGPOLYGONX:
    case MVIMREGPOLYLINE: {
        w.line("region.polygon.N", n);
        const mvpoint* v = vertices(r);
        for (int32_t i = 0; i < n; ++i) {
            const std::string k = "region.polygon.vertex." + std::to_string(i);
            w.line(k + ".x", v[i].x);
            w.line(k + ".y", v[i].y);
        }
        return true;
    }
    case MVIMREGSCANLIST:
    case MVIMREGSCANLISTB: {
        w.line("region.scanlist.N", n);
        const mvscanrun* s = runs(r);
        for (int32_t i = 0; i < n; ++i) {
            const std::string k = "region.scanlist.scanlists." + std::to_string(i);
            w.line(k + ".coord.x", s[i].coord.x);
            w.line(k + ".coord.y", s[i].coord.y);
            w.line(k + ".len", s[i].len);
        }
        return true;
    }
    case MVIMREGPATH: {
        w.line("region.path.N", n);
        const unsigned char* b = pathbytes(r);
        for (int32_t i = 0; i < n; ++i)
            w.line("region.path.pathlist.nibble." + std::to_string(i), nibble(b, uint64_t(i)));
        return true;
    }
    default:
        return false;
    }
}

}  // namespace

}  // namespace mvip::regions

using namespace mvip::regions;

extern "C" MVIP_API int32_t mvirp_regionexport(mvabort* hook, const mvimregion* region,
                                               const char* filename, const char* mode) {
    if (const auto stop = mvip::ops::hook_at_entry(hook)) return *stop;
    if (!region || !filename) return MVERR_USAGE;
    if (!mode) mode = "w";
    const bool append = mode[0] == 'a';
    if (mode[0] != 'w' && !append) return MVERR_NOTCREATABLE;
    // The text is formed first, so that nothing after the file is created
    // can run out of memory; an unknown type or a broken list still costs
    // the created file, as a failed writer always does.
    Writer w(std::strchr(mode, 'b') != nullptr);
    bool good = false;
    try {
        w.raw(kSection);
        const char* name = mvirp_regionname(region->regiontype);
        if (name && known_type(shape_of(region))) {
            w.raw(std::string("regiontype=") + name +
                  (is_negative(region) ? std::string("|") + kNegativeName : ""));
            w.line("origin.x", region->origin.x);
            w.line("origin.y", region->origin.y);
            good = write_shape(region, w);
        }
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
    mvip::files::Stream out;
    uint64_t at = 0;
    if (append && out.open(filename, "r+b") == 0) {
        at = out.length();
    } else if (const int32_t rc = out.open(filename, "wb"); rc < 0) {
        return rc == MVERR_MEMORY ? rc : MVERR_NOTCREATABLE;
    }
    if (!good) {
        out.close_and_remove();
        return MVERR_USAGE;
    }
    out.write(at, w.text().data(), w.text().size());
    if (out.flush() != 0) {
        out.close_and_remove();
        return MVERR_FILEIO;
    }
    if (out.close() != 0) {
        mvip::files::os_remove(filename);
        return MVERR_FILEIO;
    }
    return 0;
}
