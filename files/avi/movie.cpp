#include "files/avi/movie.hpp"

#include "files/avi/format.hpp"
#include "mvip.h"

#include <algorithm>

namespace mvip::files::avi {

namespace {

constexpr uint64_t kTextLimit = 1u << 16;  // INFO texts longer than this are cut

// A chunk header and its payload, the payload cut where its parent (or the
// file) ends.
struct Chunk {
    uint32_t id = 0;
    uint64_t pos = 0;   // the header
    uint64_t size = 0;  // payload bytes inside the parent
    uint64_t data() const { return pos + 8; }
    // Where the next chunk of the parent starts (payloads are padded to an
    // even length).
    uint64_t next() const { return data() + size + (size & 1); }
};

bool chunk_at(Stream& s, uint64_t pos, uint64_t limit, Chunk& c) {
    if (pos > limit || limit - pos < 8) return false;
    unsigned char b[8];
    s.read(pos, b, 8);
    if (s.status() != 0) return false;
    c.id = load_u32(b, false);
    c.pos = pos;
    c.size = std::min<uint64_t>(load_u32(b + 4, false), limit - pos - 8);
    return true;
}

uint32_t u32_at(Stream& s, uint64_t pos) {
    unsigned char b[4];
    s.read(pos, b, 4);
    return load_u32(b, false);
}

uint64_t u64_at(Stream& s, uint64_t pos) { return u32_at(s, pos) | uint64_t(u32_at(s, pos + 4)) << 32; }

// The children of a list whose type code sits at `c.data()`.
template <class Visit>
int32_t each_child(Stream& s, const Chunk& list, Visit visit) {
    if (list.size < 4) return 0;
    const uint64_t end = list.data() + list.size;
    Chunk c;
    for (uint64_t pos = list.data() + 4; chunk_at(s, pos, end, c); pos = c.next()) {
        if (const int32_t rc = visit(c); rc != 0) return rc;
    }
    return s.status();
}

uint32_t list_type(Stream& s, const Chunk& c) { return c.size >= 4 ? u32_at(s, c.data()) : 0; }

bool is_frame_id(uint32_t id, uint32_t stream) {
    const unsigned char c0 = uint8_t(id), c1 = uint8_t(id >> 8), c2 = uint8_t(id >> 16), c3 = uint8_t(id >> 24);
    return c0 == '0' + stream / 10 && c1 == '0' + stream % 10 && c2 == 'd' && (c3 == 'b' || c3 == 'c');
}

struct Layout {
    bool have_video = false;
    Chunk indx{}, idx1{};
    bool have_indx = false, have_idx1 = false;
    std::vector<Chunk> movi;  // every movi list, first one first
};

int32_t read_format(Stream& s, const Chunk& strf, Movie& m) {
    if (strf.size < 40) return MVERR_FORMAT;
    unsigned char b[40];
    s.read(strf.data(), b, 40);
    const uint32_t header = load_u32(b, false);
    const int32_t width = int32_t(load_u32(b + 4, false)), height = int32_t(load_u32(b + 8, false));
    if (header < 40 || width <= 0 || height == 0 || height == INT32_MIN) return MVERR_FORMAT;
    m.width = uint32_t(width);
    m.height = uint32_t(height < 0 ? -height : height);
    m.top_down = height < 0;
    m.bitcount = load_u16(b + 14, false);
    m.compression = load_u32(b + 16, false);
    if (m.bitcount <= 8 && m.bitcount != 0) {
        const uint32_t used = load_u32(b + 32, false);
        uint64_t entries = used != 0 ? used : 1u << m.bitcount;
        entries = std::min<uint64_t>({entries, 256, header < strf.size ? (strf.size - header) / 4 : 0});
        m.entries = uint32_t(entries);
        m.grey_palette = true;
        for (uint32_t i = 0; i < m.entries; ++i) {
            unsigned char e[4];
            s.read(strf.data() + header + 4 * i, e, 4);
            m.palette[i][0] = e[0], m.palette[i][1] = e[1], m.palette[i][2] = e[2];
            m.grey_palette = m.grey_palette && e[0] == e[1] && e[1] == e[2];
        }
        // A file without a palette is taken as grey.
    }
    return s.status();
}

int32_t read_stream_list(Stream& s, const Chunk& strl, uint32_t number, Movie& m, Layout& l) {
    bool video = false;
    Chunk strf{}, indx{};
    bool have_strf = false, have_indx = false;
    const int32_t rc = each_child(s, strl, [&](const Chunk& c) -> int32_t {
        if (c.id == kStrh && c.size >= 36) {
            unsigned char b[36];
            s.read(c.data(), b, 36);
            video = load_u32(b, false) == kVids;
            if (video) {
                m.handler = load_u32(b + 4, false);
                m.scale = load_u32(b + 20, false);
                m.rate = load_u32(b + 24, false);
                m.header_frames = load_u32(b + 32, false);
            }
        } else if (c.id == kStrf) {
            strf = c, have_strf = true;
        } else if (c.id == kIndx) {
            indx = c, have_indx = true;
        }
        return 0;
    });
    if (rc != 0 || !video) return rc;
    if (!have_strf) return MVERR_FORMAT;
    if (const int32_t f = read_format(s, strf, m); f != 0) return f;
    m.stream = number;
    l.have_video = true;
    l.indx = indx, l.have_indx = have_indx;
    return 0;
}

int32_t read_info(Stream& s, const Chunk& list, Movie& m) {
    return each_child(s, list, [&](const Chunk& c) -> int32_t {
        for (const InfoText& t : kInfoTexts) {
            if (c.id != t.id || m.has_text[t.slot]) continue;
            std::string text(size_t(std::min(c.size, kTextLimit)), '\0');
            s.read(c.data(), text.data(), text.size());
            text.resize(std::min(text.size(), text.find('\0')));
            m.texts[t.slot] = std::move(text);
            m.has_text[t.slot] = true;
        }
        return 0;
    });
}

// The children of one RIFF list (the first, "AVI ", or an "AVIX").
int32_t read_riff(Stream& s, const Chunk& riff, bool first, Movie& m, Layout& l) {
    return each_child(s, riff, [&](const Chunk& c) -> int32_t {
        if (c.id == kList) {
            const uint32_t type = list_type(s, c);
            if (type == kMovi) l.movi.push_back(c);
            if (!first) return 0;
            if (type == kHdrl) {
                uint32_t number = 0;
                return each_child(s, c, [&](const Chunk& h) -> int32_t {
                    if (h.id != kList || list_type(s, h) != kStrl) return 0;
                    const uint32_t n = number++;
                    return l.have_video || n > 99 ? 0 : read_stream_list(s, h, n, m, l);
                });
            }
            if (type == kInfo) return read_info(s, c, m);
        } else if (c.id == kIdx1 && first && !l.have_idx1) {
            l.idx1 = c, l.have_idx1 = true;
        }
        return 0;
    });
}

bool add_frame(Movie& m, uint64_t length, uint64_t pos, uint64_t size) {
    if (pos > length || size > length - pos) return false;
    m.frame_pos.push_back(pos);
    m.frame_size.push_back(uint32_t(size));
    return true;
}

// OpenDML: the super index names one standard index per RIFF list.
int32_t walk_odml(Stream& s, const Layout& l, Movie& m) {
    const uint64_t len = s.length();
    if (l.indx.size < kIndexHeader) return MVERR_FORMAT;
    unsigned char h[kIndexHeader];
    s.read(l.indx.data(), h, sizeof h);
    const uint32_t longs = load_u16(h, false), type = h[3], n = load_u32(h + 4, false);
    if (longs != 4 || type != 0) return MVERR_UNSUPPORTED;
    if (uint64_t(n) * 16 > l.indx.size - kIndexHeader) return MVERR_FORMAT;
    for (uint32_t i = 0; i < n; ++i) {
        const uint64_t ix = u64_at(s, l.indx.data() + kIndexHeader + 16 * uint64_t(i));
        Chunk c;
        if (!chunk_at(s, ix, len, c) || c.size < kIndexHeader) return MVERR_FORMAT;
        unsigned char b[kIndexHeader];
        s.read(c.data(), b, sizeof b);
        const uint32_t entry_longs = load_u16(b, false), sub = b[2], kind = b[3], count = load_u32(b + 4, false);
        if (entry_longs != 2 || kind != 1 || sub != 0) return MVERR_UNSUPPORTED;
        if (uint64_t(count) * 8 > c.size - kIndexHeader) return MVERR_FORMAT;
        // Every entry has its 8 bytes in the file: more entries than that
        // means standard indexes listed twice.
        if (m.frame_pos.size() + count > len / 8) return MVERR_FORMAT;
        const uint64_t base = load_u32(b + 12, false) | uint64_t(load_u32(b + 16, false)) << 32;
        std::vector<unsigned char> entries(size_t(count) * 8);
        s.read(c.data() + kIndexHeader, entries.data(), entries.size());
        for (uint32_t k = 0; k < count; ++k) {
            const uint64_t off = load_u32(entries.data() + 8 * k, false);
            const uint64_t size = load_u32(entries.data() + 8 * k + 4, false) & ~kNotKeyFrame;
            if (base > len || !add_frame(m, len, base + off, size)) return MVERR_FORMAT;
        }
    }
    m.opendml = true;
    return s.status();
}

// AVI 1.0: idx1 entries count from the "movi" code of the first movi list,
// or, in some writers' files, from the file's start.
int32_t walk_idx1(Stream& s, const Layout& l, Movie& m) {
    const uint64_t len = s.length();
    const uint64_t n = l.idx1.size / 16;
    std::vector<unsigned char> entries(size_t(n) * 16);
    s.read(l.idx1.data(), entries.data(), entries.size());
    if (const int32_t rc = s.status(); rc != 0) return rc;
    const uint64_t movi_code = l.movi.empty() ? 0 : l.movi[0].data();
    bool decided = false;
    uint64_t base = movi_code;
    for (uint64_t i = 0; i < n; ++i) {
        const unsigned char* e = entries.data() + 16 * i;
        const uint32_t id = load_u32(e, false);
        if (!is_frame_id(id, m.stream)) continue;
        const uint64_t off = load_u32(e + 8, false), size = load_u32(e + 12, false);
        if (!decided) {
            decided = true;
            if (base + off + 4 > len || u32_at(s, base + off) != id) base = 0;
        }
        if (!add_frame(m, len, base + off + 8, size)) return MVERR_FORMAT;
    }
    return s.status();
}

// No index: the frame chunks of every movi list (and its "rec " lists).
int32_t walk_movi(Stream& s, const Chunk& list, Movie& m) {
    return each_child(s, list, [&](const Chunk& c) -> int32_t {
        if (c.id == kList && list_type(s, c) == kRec) return walk_movi(s, c, m);
        if (is_frame_id(c.id, m.stream)) add_frame(m, s.length(), c.data(), c.size);
        return 0;
    });
}

// Every frame chunk of the file, by its index or by walking the lists.
int32_t find_frames(Stream& s, Movie& m) {
    const uint64_t len = s.length();
    Chunk riff;
    if (!chunk_at(s, 0, len, riff) || riff.id != kRiff || list_type(s, riff) != kAvi) return MVERR_FORMAT;
    Layout l;
    if (const int32_t rc = read_riff(s, riff, true, m, l); rc != 0) return rc;
    if (!l.have_video) return MVERR_FORMAT;
    m.riff_lists = 1;
    Chunk c;
    for (uint64_t pos = riff.next(); chunk_at(s, pos, len, c); pos = c.next()) {
        if (c.id != kRiff || list_type(s, c) != kAvix) break;
        ++m.riff_lists;
        if (const int32_t rc = read_riff(s, c, false, m, l); rc != 0) return rc;
    }
    m.frame_pos.clear();
    m.frame_size.clear();
    // A super index that lists standard indexes is the file's index; a
    // broken one is a broken file.  An empty one leaves the other ways.
    if (l.have_indx && l.indx.size >= kIndexHeader + 16 && u32_at(s, l.indx.data() + 4) != 0)
        return walk_odml(s, l, m);
    if (l.have_idx1) {
        const int32_t rc = walk_idx1(s, l, m);
        if (rc != 0) return rc;
        if (!m.frame_pos.empty() || l.movi.empty()) return 0;
    }
    for (const Chunk& movi : l.movi)
        if (const int32_t rc = walk_movi(s, movi, m); rc != 0) return rc;
    return 0;
}

// A frame chunk of no bytes is a frame the writer dropped (ffmpeg writes
// them where time stamps jump): it shows the frame before it again.  A
// first frame of no bytes stays empty, and reading it fails.
void repeat_dropped_frames(Movie& m) {
    for (size_t i = 1; i < m.frame_size.size(); ++i)
        if (m.frame_size[i] == 0) m.frame_pos[i] = m.frame_pos[i - 1], m.frame_size[i] = m.frame_size[i - 1];
}

}  // namespace

bool Movie::fourcc_grey() const {
    return bitcount == 8 && (compression == fourcc("Y800") || compression == fourcc("Y8  ") ||
                             compression == fourcc("GREY"));
}

bool Movie::decodable() const {
    if (fourcc_grey()) return true;
    return compression == 0 && (bitcount == 8 || bitcount == 24 || bitcount == 32);
}

uint64_t Movie::row_bytes() const {
    return fourcc_grey() ? width : dib_row_bytes(width, bitcount);
}

int32_t read_movie(Stream& s, Movie& m) {
    const int32_t rc = find_frames(s, m);
    if (rc == 0) repeat_dropped_frames(m);
    return rc;
}

}  // namespace mvip::files::avi
