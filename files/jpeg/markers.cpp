#include "files/jpeg/markers.hpp"

#include "files/stream.hpp"
#include "mvip.h"

#include <cstring>

namespace mvip::files::jpeg {

namespace {

uint32_t u16(const uint8_t* p) { return uint32_t(p[0]) << 8 | p[1]; }

int32_t read_frame(Header& h, const uint8_t* p, size_t n, uint8_t marker) {
    if (marker != kSof0 && marker != kSof1) return MVERR_UNSUPPORTED;
    if (h.frame.seen || n < 6) return MVERR_FORMAT;
    Frame& f = h.frame;
    f.seen = true;
    f.precision = p[0];
    f.height = u16(p + 1);
    f.width = u16(p + 3);
    f.count = p[5];
    if (f.count < 1 || f.count > 4 || n < 6 + 3 * size_t(f.count)) return MVERR_FORMAT;
    if (f.precision != 8 && f.precision != 12) return MVERR_UNSUPPORTED;
    f.hmax = f.vmax = 1;
    for (uint32_t i = 0; i < f.count; ++i) {
        const uint8_t* c = p + 6 + 3 * i;
        Component& comp = f.comp[i];
        comp.id = c[0];
        comp.h = uint8_t(c[1] >> 4);
        comp.v = uint8_t(c[1] & 15);
        comp.table = c[2];
        if (comp.h < 1 || comp.h > 4 || comp.v < 1 || comp.v > 4 || comp.table > 3) return MVERR_FORMAT;
        for (uint32_t j = 0; j < i; ++j)
            if (f.comp[j].id == comp.id) return MVERR_FORMAT;
        f.hmax = std::max<uint32_t>(f.hmax, comp.h);
        f.vmax = std::max<uint32_t>(f.vmax, comp.v);
    }
    return 0;
}

int32_t read_huffman(Header& h, const uint8_t* p, size_t n) {
    if (n < 17) return MVERR_FORMAT;
    while (n > 0) {
        if (n < 17) return MVERR_FORMAT;
        const uint32_t cls = p[0] >> 4, id = p[0] & 15;
        const uint32_t index = id * 2 + cls;
        if (cls > 1 || index >= 8) return MVERR_FORMAT;
        HuffTable& codes = h.huff[index];
        codes = HuffTable{};
        uint32_t total = 0;
        for (int i = 0; i < 16; ++i) total += codes.counts[i] = p[1 + i];
        if (total > 256 || n < 17 + size_t(total)) return MVERR_FORMAT;
        std::memcpy(codes.symbols, p + 17, total);
        h.have_huff[index] = true;
        p += 17 + total;
        n -= 17 + total;
    }
    return 0;
}

int32_t read_quant(Header& h, const uint8_t* p, size_t n) {
    if (n == 0) return MVERR_FORMAT;
    while (n > 0) {
        const uint32_t precision = p[0] >> 4, id = p[0] & 15;
        const size_t bytes = 1 + (precision != 0 ? 128 : 64);
        if (precision > 1 || id > 3 || n < bytes) return MVERR_FORMAT;
        for (int k = 0; k < 64; ++k)
            h.quant[id][kZigzag[k]] = uint16_t(precision != 0 ? u16(p + 1 + 2 * k) : p[1 + k]);
        h.have_quant[id] = true;
        p += bytes;
        n -= bytes;
    }
    return 0;
}

void read_comment(Header& h, const uint8_t* p, size_t n) {
    const size_t len = strnlen(reinterpret_cast<const char*>(p), n);
    if (len > kQualityKeyLength && std::memcmp(p, kQualityKey, kQualityKeyLength) == 0) {
        uint64_t q = 0;
        for (size_t i = kQualityKeyLength; i < len && p[i] >= '0' && p[i] <= '9'; ++i)
            q = std::min<uint64_t>(q * 10 + (p[i] - '0'), 0xFFFFFFFFu);
        h.quality = uint32_t(q);
        h.has_quality = true;
        return;
    }
    if (h.comment_count < 3) h.comments[h.comment_count++].assign(reinterpret_cast<const char*>(p), len);
}

int32_t read_scan(Header& h, const uint8_t* p, size_t n, Scan& scan) {
    const Frame& f = h.frame;
    if (!f.seen || n < 1) return MVERR_FORMAT;
    if (f.width == 0 || f.height == 0) return MVERR_FORMAT;  // sizes given later (DNL) are not read
    scan.count = p[0];
    if (scan.count < 1 || scan.count > f.count || n < 4 + 2 * size_t(scan.count)) return MVERR_FORMAT;
    uint32_t blocks = 0;
    for (uint32_t i = 0; i < scan.count; ++i) {
        const uint8_t id = p[1 + 2 * i];
        uint32_t c = 0;
        while (c < f.count && f.comp[c].id != id) ++c;
        if (c == f.count) return MVERR_FORMAT;
        for (uint32_t j = 0; j < i; ++j)
            if (scan.index[j] == c) return MVERR_FORMAT;
        scan.index[i] = uint8_t(c);
        scan.dc[i] = uint8_t(p[2 + 2 * i] >> 4);
        scan.ac[i] = uint8_t(p[2 + 2 * i] & 15);
        if (scan.dc[i] > 3 || scan.ac[i] > 3) return MVERR_FORMAT;
        blocks += uint32_t(f.comp[c].h) * f.comp[c].v;
    }
    if (scan.count > 1 && blocks > 10) return MVERR_FORMAT;
    const uint8_t* s = p + 1 + 2 * scan.count;
    if (s[0] != 0 || s[1] != 63 || s[2] != 0) return MVERR_FORMAT;  // a sequential scan codes everything
    return 0;
}

// The first byte after the entropy-coded data that starts at p: the 0xFF
// of the next marker other than a restart marker, or the end.
const uint8_t* scan_end(const uint8_t* p, const uint8_t* end) {
    while (p < end) {
        const void* ff = std::memchr(p, 0xFF, size_t(end - p));
        if (ff == nullptr) return end;
        p = static_cast<const uint8_t*>(ff);
        if (p + 1 >= end) return end;
        const uint8_t next = p[1];
        if (next == 0 || (next >= kRst0 && next <= kRst0 + 7)) p += 2;
        else if (next == 0xFF) p += 1;
        else return p;
    }
    return end;
}

}  // namespace

int32_t walk(const uint8_t* data, size_t size, Header& h, const ScanFn& on_scan) {
    if (size < 2 || data[0] != 0xFF || data[1] != kSoi) return MVERR_FORMAT;
    const uint8_t* p = data + 2;
    const uint8_t* const end = data + size;
    for (;;) {
        // The next marker: bytes that are none are passed over, and so are
        // fill bytes.
        while (p < end && *p != 0xFF) ++p;
        while (p < end && *p == 0xFF) ++p;
        if (p >= end) return h.frame.seen && h.scans > 0 ? 0 : MVERR_FORMAT;  // no EOI
        const uint8_t marker = *p++;
        switch (marker) {
            case 0x01: case 0xC8: case 0xDF: case 0xF0: case 0xFD:
            case 0xD0: case 0xD1: case 0xD2: case 0xD3: case 0xD4: case 0xD5: case 0xD6: case 0xD7:
                continue;  // no payload
            case kSoi:
                return MVERR_FORMAT;
            case kEoi:
                return h.frame.seen && h.frame.width != 0 && h.frame.height != 0 ? 0 : MVERR_FORMAT;
            default:
                break;
        }
        if (end - p < 2) return MVERR_FORMAT;
        const size_t len = u16(p);
        if (len < 2 || size_t(end - p) < len) return MVERR_FORMAT;
        const uint8_t* payload = p + 2;
        const size_t n = len - 2;
        p += len;
        int32_t rc = 0;
        switch (marker) {
            case 0xC0: case 0xC1: case 0xC2: case 0xC3: case 0xC5: case 0xC6: case 0xC7:
            case 0xC9: case 0xCA: case 0xCB: case 0xCD: case 0xCE: case 0xCF:
                rc = read_frame(h, payload, n, marker);
                break;
            case 0xDC:  // the height given after the first scan
                return MVERR_UNSUPPORTED;
            case kDht: rc = read_huffman(h, payload, n); break;
            case kDqt: rc = read_quant(h, payload, n); break;
            case kDri:
                if (n < 2) return MVERR_FORMAT;
                h.restart_interval = u16(payload);
                break;
            case kCom: read_comment(h, payload, n); break;
            case kApp0:
                if (!h.jfif && n >= 12 && std::memcmp(payload, "JFIF", 5) == 0) {
                    h.jfif = true;
                    h.unit = payload[7];
                    h.xdensity = u16(payload + 8);
                    h.ydensity = u16(payload + 10);
                }
                break;
            case kApp14:
                if (n >= 12 && std::memcmp(payload, "Adobe", 5) == 0) {
                    h.adobe = true;
                    h.adobe_transform = payload[11];
                }
                break;
            case kSos: {
                Scan scan;
                rc = read_scan(h, payload, n, scan);
                if (rc != 0) return rc;
                scan.begin = p;
                scan.end = scan_end(p, end);
                p = scan.end;
                ++h.scans;
                rc = on_scan(h, scan);
                if (rc == 1) return 0;
                break;
            }
            default:
                break;  // other application segments and the rest: passed over
        }
        if (rc != 0) return rc;
    }
}

int32_t load_file(Stream& s, std::vector<uint8_t>& data) {
    if (s.length() > (uint64_t(1) << 30)) return MVERR_UNSUPPORTED;
    data.resize(size_t(s.length()));
    s.read(0, data.data(), data.size());
    return s.status();
}

}  // namespace mvip::files::jpeg
