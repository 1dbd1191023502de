// The binary plane, the workspace over an image's window, the run grower
// and the hole filler.
#include "regions/grow.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace mvip::regions {

Connect connect_of(uint32_t mode) {
    switch (mode & 0x300) {
        case 0x100: return Connect::four;
        case 0x300: return Connect::filled;
        default: return Connect::eight;
    }
}

int32_t Plane::allocate(uint32_t width, uint32_t height, Filler filler, void* context) {
    width_ = width;
    height_ = height;
    filler_ = filler;
    context_ = context;
    // A zero word before each line and at least one after it.
    stride_ = (size_t{width} + 63) / 64 + 2;
    store_.reset(new (std::nothrow) uint64_t[stride_ * (size_t{height} + 2)]());
    filled_.reset(new (std::nothrow) uint8_t[size_t{height} + 2]());
    if (!store_ || !filled_) return MVERR_MEMORY;
    filled_[0] = filled_[size_t{height} + 1] = 1;  // the zero frame
    base_ = store_.get() + 1;
    return 0;
}

Workspace::~Workspace() {
    for (mvmapdesc& d : maps_) frame_.unmap(0, d);
}

int32_t Workspace::open(mvabort* hook, mvimage* image, uint32_t test, uint32_t value) {
    ops::Setup s;
    s.hook = hook;
    s.sources[0] = image;
    s.destination = image;
    s.options = MVTYPE_U8 | MVTYPE_U16;
    if (const int32_t rc = frame_.open(s); rc < 0) return rc;
    image_ = frame_.image(0);
    const bool wide = frame_.type() == MVTYPE_U16;
    const uint32_t top = wide ? 0xFFFF : 0xFF;
    if (!make_test(test, value, top, test_)) return MVERR_USAGE;
    can_fail_ = test_.failing_value(top, fail_);
    const uint32_t w = frame_.width(), h = frame_.height();
    auto filler = [](void* ws, int32_t y, uint64_t* line) { static_cast<Workspace*>(ws)->fill_line(y, line); };
    if (const int32_t rc = plane_.allocate(w, h, filler, this); rc < 0) return rc;
    try {
        maps_.resize(h);
        lines_.resize(h);
    } catch (const std::bad_alloc&) {
        return MVERR_MEMORY;
    }
    for (uint32_t y = 0; y < h && !lines_.empty(); ++y) {
        lines_[y] = frame_.map_line(0, y, maps_[y]);
        if (!lines_[y]) {
            for (mvmapdesc& d : maps_) frame_.unmap(0, d);
            lines_.clear();
        }
    }
    bytes_line_.reset(new (std::nothrow) uint8_t[size_t{w} + 1]);
    bits_line_.reset(new (std::nothrow) uint64_t[size_t{w} / 64 + 1]);
    if (!bytes_line_ || !bits_line_) return MVERR_MEMORY;
    bytes_ = !wide && !lines_.empty();
    if (can_fail_ && lines_.empty()) {
        fill_.reset(new (std::nothrow) unsigned char[size_t{w} * 2 + 2]);
        if (!fill_) return MVERR_MEMORY;
        if (wide) std::fill_n(reinterpret_cast<uint16_t*>(fill_.get()), w, uint16_t(fail_));
        else std::memset(fill_.get(), int(fail_), w);
    }
    return 0;
}

void Workspace::fill_line(int32_t y, uint64_t* bits) {
    const uint32_t w = frame_.width();
    const void* line = lines_.empty() ? nullptr : lines_[size_t(y)];
    if (!line) {
        frame_.read_line(0, frame_.buffer(0), uint32_t(y));
        line = frame_.buffer(0);
    }
    uint8_t* bytes = bytes_line_.get();
    if (frame_.type() == MVTYPE_U16) binarize_u16(static_cast<const uint16_t*>(line), bytes, w, test_);
    else binarize_u8(static_cast<const uint8_t*>(line), bytes, w, test_);
    pack_bits(bytes, bits, w);
}

void Workspace::paint_other(int32_t x, int32_t y, int32_t len) {
    if (!lines_.empty()) {
        if (frame_.type() == MVTYPE_U16)
            std::fill_n(static_cast<uint16_t*>(lines_[size_t(y)]) + x, len, uint16_t(fail_));
        else
            std::memset(static_cast<uint8_t*>(lines_[size_t(y)]) + x, int(fail_), size_t(len));
    } else {
        mvimage* im = frame_.image(ops::Frame::kDestination);
        im->iorite(im, 0, fill_.get(), uint32_t(len), x, y);
    }
}

void Workspace::paint_found() {
    if (!can_fail_ || lines_.empty()) return;
    const bool wide = frame_.type() == MVTYPE_U16;
    const uint32_t w = plane_.width();
    uint8_t* bytes = bytes_line_.get();
    uint64_t* bits = bits_line_.get();
    for (uint32_t y = 0; y < plane_.height(); ++y) {
        if (!plane_.filled(int32_t(y))) continue;
        void* line = lines_[y];
        if (wide) binarize_u16(static_cast<const uint16_t*>(line), bytes, w, test_);
        else binarize_u8(static_cast<const uint8_t*>(line), bytes, w, test_);
        pack_bits(bytes, bits, w);
        const uint64_t* left = plane_.row(int32_t(y));
        for (size_t k = 0; k < (size_t{w} + 63) / 64; ++k) bits[k] &= ~left[k];
        if (wide) store_masked_u16(static_cast<uint16_t*>(line), bits, w, uint16_t(fail_));
        else store_masked_u8(static_cast<uint8_t*>(line), bits, w, uint8_t(fail_));
    }
}

bool Workspace::paint(const mvscanrun* runs, size_t n) {
    if (!can_fail_) return false;
    for (size_t i = 0; i < n; ++i) paint_run(runs[i].coord.x, runs[i].coord.y, runs[i].len);
    return true;
}

void Blob::clear() {
    runs.clear();
    area = 0;
    sum_x = sum_y = 0;
    left = top = INT32_MAX;
    right = bottom = INT32_MIN;
}

void Blob::recount() {
    std::vector<mvscanrun> r;
    r.swap(runs);
    clear();
    runs.reserve(r.size());
    for (const mvscanrun& s : r) add(s.coord.x, s.coord.y, s.len);
}

void grow(Plane& plane, int32_t x, int32_t y, Connect c, Blob& blob) {
    blob.clear();
    grow_runs(plane, x, y, c != Connect::four, blob.stack,
              [&](int32_t a, int32_t line, int32_t len) { blob.add(a, line, len); });
    if (c == Connect::filled) {
        sort_runs(blob.runs);
        std::vector<mvscanrun> filled;
        fill_holes(blob.runs, Connect::eight, filled);
        for (const mvscanrun& f : filled) line::fill_bits(plane.row(f.coord.y), f.coord.x, f.coord.x + f.len);
        blob.runs.swap(filled);
        blob.recount();
    }
}

void sort_runs(std::vector<mvscanrun>& runs) {
    if (runs.size() < 2) return;
    int32_t lo = INT32_MAX, hi = INT32_MIN;
    for (const mvscanrun& r : runs) {
        lo = std::min(lo, r.coord.y);
        hi = std::max(hi, r.coord.y);
    }
    std::vector<uint32_t> at(size_t(int64_t(hi) - lo) + 2, 0);
    for (const mvscanrun& r : runs) ++at[size_t(r.coord.y - lo) + 1];
    for (size_t i = 1; i < at.size(); ++i) at[i] += at[i - 1];
    std::vector<mvscanrun> out(runs.size());
    std::vector<uint32_t> fill(at.begin(), at.end() - 1);
    for (const mvscanrun& r : runs) out[fill[size_t(r.coord.y - lo)]++] = r;
    auto by_x = [](const mvscanrun& a, const mvscanrun& b) { return a.coord.x < b.coord.x; };
    for (size_t line = 0; line + 1 < at.size(); ++line) {
        mvscanrun* first = out.data() + at[line];
        mvscanrun* last = out.data() + at[line + 1];
        if (last - first > 1) std::sort(first, last, by_x);
    }
    runs.swap(out);
}

void fill_holes(const std::vector<mvscanrun>& runs, Connect c, std::vector<mvscanrun>& out) {
    out.clear();
    if (runs.empty()) return;
    int32_t left = INT32_MAX, right = INT32_MIN;
    for (const mvscanrun& r : runs) {
        left = std::min(left, r.coord.x);
        right = std::max(right, r.coord.x + r.len);
    }
    const int32_t top = runs.front().coord.y, bottom = runs.back().coord.y + 1;
    // The gaps of every line inside the box, and where each line's start.
    std::vector<mvscanrun> gaps;
    std::vector<size_t> line_at(size_t(bottom - top) + 1, 0);
    size_t i = 0;
    for (int32_t y = top; y < bottom; ++y) {
        line_at[size_t(y - top)] = gaps.size();
        int32_t x = left;
        for (; i < runs.size() && runs[i].coord.y == y; ++i) {
            if (runs[i].coord.x > x) gaps.push_back({{x, y}, runs[i].coord.x - x});
            x = std::max(x, runs[i].coord.x + runs[i].len);
        }
        if (x < right) gaps.push_back({{x, y}, right - x});
    }
    line_at.back() = gaps.size();
    // Gaps connected to each other (the opposite connectivity of the
    // region's), and whether a group reaches the box's edge.
    std::vector<uint32_t> parent(gaps.size());
    for (size_t k = 0; k < parent.size(); ++k) parent[k] = uint32_t(k);
    auto find = [&](uint32_t k) {
        while (parent[k] != k) k = parent[k] = parent[parent[k]];
        return k;
    };
    const int32_t reach = c == Connect::four ? 1 : 0;
    for (int32_t y = top; y + 1 < bottom; ++y) {
        size_t a = line_at[size_t(y - top)], ae = line_at[size_t(y - top) + 1];
        size_t b = ae, be = line_at[size_t(y - top) + 2];
        while (a < ae && b < be) {
            const mvscanrun &p = gaps[a], &q = gaps[b];
            if (p.coord.x < q.coord.x + q.len + reach && q.coord.x < p.coord.x + p.len + reach)
                parent[find(uint32_t(a))] = find(uint32_t(b));
            (p.coord.x + p.len < q.coord.x + q.len ? a : b)++;
        }
    }
    std::vector<uint8_t> outside(gaps.size(), 0);
    for (size_t k = 0; k < gaps.size(); ++k) {
        const mvscanrun& g = gaps[k];
        if (g.coord.y == top || g.coord.y == bottom - 1 || g.coord.x == left || g.coord.x + g.len == right)
            outside[find(uint32_t(k))] = 1;
    }
    // Each line: the box less the gaps that reach outside.
    for (int32_t y = top; y < bottom; ++y) {
        int32_t x = left;
        for (size_t k = line_at[size_t(y - top)]; k < line_at[size_t(y - top) + 1]; ++k) {
            if (!outside[find(uint32_t(k))]) continue;
            if (gaps[k].coord.x > x) out.push_back({{x, y}, gaps[k].coord.x - x});
            x = gaps[k].coord.x + gaps[k].len;
        }
        if (x < right) out.push_back({{x, y}, right - x});
    }
}

}  // namespace mvip::regions
