// mvtool - colour maps for pseudo-colour, built in code as piecewise
// linear ramps between a few key colours, and their application through a
// table-mapping view (one table per output pixie) and a copy.

#include "optable.hpp"

#include <cmath>
#include <cstring>
#include <vector>

namespace mvtool {

namespace {

struct Key {
    double at, r, g, b;  // position 0..1, colour 0..1
};
struct ColourMap {
    const char* name;
    std::vector<Key> keys;
};

const ColourMap kMaps[] = {
    // Hue from blue through cyan, green and yellow to red.
    {"rainbow", {{0.0, 0, 0, 1}, {0.25, 0, 1, 1}, {0.5, 0, 1, 0}, {0.75, 1, 1, 0}, {1.0, 1, 0, 0}}},
    // Black through red and yellow to white, as glowing metal.
    {"heat", {{0.0, 0, 0, 0}, {0.375, 1, 0, 0}, {0.75, 1, 1, 0}, {1.0, 1, 1, 1}}},
    {"grey", {{0.0, 0, 0, 0}, {1.0, 1, 1, 1}}},
};

// The colour at t in [0, 1], component c (0 red, 1 green, 2 blue).
double colour_at(const ColourMap& map, double t, int c) {
    const Key* lo = &map.keys.front();
    for (const Key& k : map.keys) {
        if (k.at >= t) {
            const double span = k.at - lo->at;
            const double f = span > 0 ? (t - lo->at) / span : 0;
            const double a = c == 0 ? lo->r : c == 1 ? lo->g : lo->b;
            const double b = c == 0 ? k.r : c == 1 ? k.g : k.b;
            return a + (b - a) * f;
        }
        lo = &k;
    }
    return c == 0 ? lo->r : c == 1 ? lo->g : lo->b;
}

template <class T>
void fill(std::vector<uint8_t>& table, const ColourMap& map, int c, uint32_t bits) {
    const uint32_t entries = 1u << bits;
    const double maxval = double(entries - 1);
    table.resize(size_t{entries} * sizeof(T));
    T* t = reinterpret_cast<T*>(table.data());
    for (uint32_t v = 0; v < entries; ++v)
        t[v] = T(std::lround(colour_at(map, entries > 1 ? v / maxval : 0, c) * maxval));
}

}  // namespace


int32_t colour_map_index(const std::string& name) {
    for (size_t i = 0; i < sizeof kMaps / sizeof kMaps[0]; ++i)
        if (name == kMaps[i].name) return int32_t(i);
    return -1;
}

int32_t pseudocolour(mvabort* hook, mvimage* src, mvimage* dst, int32_t map) {
    if (map < 0 || map >= int32_t(sizeof kMaps / sizeof kMaps[0])) return MVERR_USAGE;
    const mvpixfmt& f = src->pixfmt;
    if (f.pixies != 1) return MVERR_COLORS;
    // Tables of 2^bits entries: integer images of at most 16 bits.
    if (f.bits < 1 || f.bits > 16) return MVERR_DATATYPE;
    std::vector<uint8_t> tables[3];
    for (int c = 0; c < 3; ++c) {
        switch (f.datatype & 0xFFu) {
        case MVTYPE_U8: fill<uint8_t>(tables[c], kMaps[map], c, f.bits); break;
        case MVTYPE_U16: fill<uint16_t>(tables[c], kMaps[map], c, f.bits); break;
        case MVTYPE_U32:
        case MVTYPE_I32: fill<uint32_t>(tables[c], kMaps[map], c, f.bits); break;
        default: return MVERR_DATATYPE;
        }
    }
    const void* out[3] = {tables[0].data(), tables[1].data(), tables[2].data()};
    mvimage view{};
    // The view is read-only: the incoming tables are never used.
    const int32_t rc = mvimage_lut2(&view, src, 1, out, out, 3, MVCS_RGB);
    if (rc < 0) return rc;
    return mvip8_copy(hook, &view, dst);
}

}  // namespace mvtool
