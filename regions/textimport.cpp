// mvirp_regionimport: the region text file reader.
//
// The first line (at most 78 characters) is skipped when it begins with
// "[", whatever section it names.  The type line is parsed by hand; every
// later item is read as by a formatted read whose blanks match any run of
// white space (line ends included), so blanks around "=" and blank lines
// are accepted, while keys must come in the written order and indexed keys
// must carry their expected index.  Numbers are read without regard to the
// process's locale.  The file is closed on every path and the record is
// allocated once, at its final size.
#include "regions/path.hpp"
#include "regions/textkeys.hpp"

#include "files/stream.hpp"
#include "ops/frame.hpp"

#include <cctype>
#include <charconv>
#include <cstring>
#include <new>
#include <string>
#include <vector>

namespace mvip::regions {

namespace {

constexpr size_t kLineMax = 78;

bool space(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

class Reader {
public:
    explicit Reader(std::vector<char> text) : text_(std::move(text)) {}

    // One line as a bounded line read takes it: up to kLineMax characters,
    // the line end included when it fits.
    std::string line() {
        std::string s;
        while (pos_ < text_.size() && s.size() < kLineMax) {
            const char c = text_[pos_++];
            s += c;
            if (c == '\n') break;
        }
        return s;
    }
    void skip_space() {
        while (pos_ < text_.size() && space(text_[pos_])) ++pos_;
    }
    bool literal(const std::string& s) {
        if (text_.size() - pos_ < s.size() || std::memcmp(&text_[pos_], s.data(), s.size()) != 0)
            return false;
        pos_ += s.size();
        return true;
    }
    bool integer(int32_t& v) {
        skip_space();
        size_t p = pos_;
        bool neg = false;
        if (p < text_.size() && (text_[p] == '+' || text_[p] == '-')) neg = text_[p++] == '-';
        int64_t value = 0;
        const size_t digits = p;
        while (p < text_.size() && text_[p] >= '0' && text_[p] <= '9') {
            value = value * 10 + (text_[p++] - '0');
            if (value > int64_t(INT32_MAX) + 1) return false;  // out of range
        }
        if (p == digits) return false;
        if (neg) value = -value;
        if (value > INT32_MAX || value < INT32_MIN) return false;
        v = int32_t(value);
        pos_ = p;
        return true;
    }
    bool real(float& v) {
        skip_space();
        size_t p = pos_;
        if (p < text_.size() && text_[p] == '+') ++p;
        const char* first = text_.data() + p;
        const char* last = text_.data() + text_.size();
        if (first < last && *first == '+') return false;
        double d = 0;
        const auto res = std::from_chars(first, last, d, std::chars_format::general);
        // A number beyond the range of a double is refused.
        if (res.ec != std::errc() || res.ptr == first) return false;
        v = float(d);
        pos_ = size_t(res.ptr - text_.data());
        return true;
    }
    // " key = %d \n" and " key = %f \n".
    bool item(const std::string& key, int32_t& v) {
        skip_space();
        if (!literal(key)) return false;
        skip_space();
        if (!literal("=")) return false;
        if (!integer(v)) return false;
        skip_space();
        return true;
    }
    bool item_f(const std::string& key, float& v) {
        skip_space();
        if (!literal(key)) return false;
        skip_space();
        if (!literal("=")) return false;
        if (!real(v)) return false;
        skip_space();
        return true;
    }
    size_t remaining() const { return text_.size() - pos_; }

private:
    std::vector<char> text_;
    size_t pos_ = 0;
};

// The type line: "regiontype = NAME [| MVIMREGNEGATIVE]".  -1 when it does
// not parse.
int64_t parse_type(const std::string& s) {
    size_t p = 0;
    auto skip = [&] {
        while (p < s.size() && space(s[p])) ++p;
    };
    skip();
    if (s.compare(p, 10, "regiontype") != 0) return -1;
    p += 10;
    skip();
    if (p >= s.size() || s[p] != '=') return -1;
    ++p;
    skip();
    const size_t start = p;
    while (p < s.size() && std::isalpha(static_cast<unsigned char>(s[p]))) ++p;
    const int32_t code = mvirp_regioncode(s.substr(start, p - start).c_str());
    if (code < 0) return -1;
    uint32_t type = uint32_t(code);
    skip();
    if (p < s.size() && s[p] == '|') ++p;
    skip();
    if (s.compare(p, 15, kNegativeName) == 0) type |= MVIMREGNEGATIVE;
    return type;
}

// Shortest text one list entry can take, to refuse an N the file cannot
// hold before anything is allocated.
constexpr size_t kMinEntryBytes = 20;

int32_t read_region(Reader& in, mvimregion*& result) {
    mvimregion head{};
    mvimage_defnull(&head.image);
    std::string first = in.line();
    if (!first.empty() && first[0] == '[') first = in.line();
    const int64_t type = parse_type(first);
    if (type < 0) return MVERR_FORMAT;
    head.regiontype = uint32_t(type);
    if (!in.item("origin.x", head.origin.x) || !in.item("origin.y", head.origin.y)) return MVERR_FORMAT;
    const uint32_t shape = uint32_t(type) & ~kNegative;
    if (const TextShape* ts = text_shape(shape)) {
        uint32_t* words = shape_words(&head);
        for (int i = 0; i < ts->count; ++i) {
            const std::string key = std::string(ts->prefix) + ts->fields[i].name;
            if (ts->fields[i].is_float) {
                float f;
                if (!in.item_f(key, f)) return MVERR_FORMAT;
                std::memcpy(&words[i], &f, sizeof f);
            } else {
                int32_t v;
                if (!in.item(key, v)) return MVERR_FORMAT;
                words[i] = uint32_t(v);
            }
        }
    }
    if (shape == MVIMREGWIND || text_shape(shape)) {
        RegionPtr r(alloc_region(MVIMREGION_FIXED));
        if (!r.p) return MVERR_MEMORY;
        std::memcpy(r.p, &head, sizeof head);
        r.p->reclen = MVIMREGION_FIXED;
        result = r.release();
        return 0;
    }
    // List shapes.
    const bool poly = shape == MVIMREGPOLYGON || shape == MVIMREGPOLYGONX || shape == MVIMREGPOLYLINE;
    const bool scan = shape == MVIMREGSCANLIST || shape == MVIMREGSCANLISTB;
    const char* nkey = poly ? "region.polygon.N" : scan ? "region.scanlist.N" : "region.path.N";
    int32_t n = 0;
    if (!in.item(nkey, n) || n < 0) return MVERR_FORMAT;
    if (uint64_t(n) > in.remaining() / kMinEntryBytes) return MVERR_FORMAT;
    const uint64_t extra = poly ? 8 * uint64_t(n) : scan ? 12 * uint64_t(n) : (uint64_t(n) + 1) / 2 * 2;
    RegionPtr r(alloc_region(MVIMREGION_FIXED + extra));
    if (!r.p) return MVERR_MEMORY;
    const uint64_t reclen = r.p->reclen;
    std::memcpy(r.p, &head, sizeof head);
    r.p->reclen = reclen;
    r.p->region.polygon.N = n;
    for (int32_t i = 0; i < n; ++i) {
        const std::string idx = std::to_string(i);
        if (poly) {
            mvpoint& v = vertices(r.p)[i];
            const std::string k = "region.polygon.vertex." + idx;
            if (!in.item(k + ".x", v.x) || !in.item(k + ".y", v.y)) return MVERR_FORMAT;
        } else if (scan) {
            mvscanrun& s = runs(r.p)[i];
            const std::string k = "region.scanlist.scanlists." + idx;
            if (!in.item(k + ".coord.x", s.coord.x) || !in.item(k + ".coord.y", s.coord.y) ||
                !in.item(k + ".len", s.len))
                return MVERR_FORMAT;
        } else {
            int32_t v;
            if (!in.item("region.path.pathlist.nibble." + idx, v)) return MVERR_FORMAT;
            unsigned char* b = pathbytes(r.p);
            if (i & 1) b[i / 2] = uint8_t((b[i / 2] & 15) | (uint32_t(v) << 4));
            else b[i / 2] = uint8_t(v);
        }
    }
    result = r.release();
    return 0;
}

}  // namespace

}  // namespace mvip::regions

using namespace mvip::regions;

extern "C" MVIP_API int32_t mvirp_regionimport(mvabort* hook, mvimregion** region,
                                               const char* filename, const char* mode) {
    if (const auto stop = mvip::ops::hook_at_entry(hook)) return *stop;
    if (!region || *region || !filename) return MVERR_USAGE;
    if (!mode) mode = "r";
    if (mode[0] != 'r') return MVERR_FILENOTFOUND;
    try {
        std::vector<char> text;
        {
            mvip::files::Stream in;
            if (in.open(filename, "rb") < 0) return MVERR_FILENOTFOUND;
            if (in.length() > SIZE_MAX / 2) return MVERR_MEMORY;
            text.resize(size_t(in.length()));
            if (!text.empty()) in.read(0, text.data(), text.size());
            if (const int32_t st = in.status(); st < 0) return st == MVERR_FORMAT ? MVERR_FORMAT : MVERR_FILEIO;
        }
        Reader reader(std::move(text));
        mvimregion* out = nullptr;
        if (const int32_t rc = read_region(reader, out); rc < 0) return rc;
        *region = out;
        return 0;
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
}
