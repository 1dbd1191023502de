// Blob lists: scan for a passing pixel, grow its connected region, measure,
// keep or reject it, paint it over, go on.
//
// The scan and the growing run on the binary plane of the window (one pass
// of the pixel test over the image); the image itself is only painted.
// Area, box and first moments come from the runs as the grower finds them.
#include "regions/grow.hpp"
#include "regions/scanlist.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

using namespace mvip;
using namespace mvip::regions;

constexpr uint32_t kKeepImage = 2, kFillHoles = 4, kNoBorder = 8, kErase = 0x10;

struct Scan {
    mvabort* hook;
    int32_t* position;
    uint32_t* rejected_out;
    uint32_t rejected = 0;

    // The hook's answer of a stop: it hears (-1, 0) once more.
    int32_t stopped(int32_t answer) {
        hook->abortfn(hook, -1, 0);
        return finish(answer);
    }
    int32_t finish(int32_t rc) {
        if (rejected_out) *rejected_out = rejected;
        return rc;
    }
};

bool rejected_by(const Blob& b, const mvywindow& w, uint32_t flags, const int32_t* limits) {
    if ((flags & kNoBorder) &&
        (w.nw.x + b.left == 0 || w.nw.y + b.top == 0 || w.nw.x + b.right == w.se.x || w.nw.y + b.bottom == w.se.y))
        return true;
    if (limits) {
        const int64_t width = b.right - b.left, height = b.bottom - b.top;
        if (width < limits[0] || height < limits[1] || width > limits[2] || height > limits[3]) return true;
    }
    return false;
}

mvblob record_of(const Blob& b, int32_t sx, int32_t sy, const mvywindow& w) {
    mvblob r;
    r.seedx = sx;
    r.seedy = sy;
    r.left = w.nw.x + b.left;
    r.top = w.nw.y + b.top;
    r.right = w.nw.x + b.right;
    r.bottom = w.nw.y + b.bottom;
    r.area = b.area > UINT32_MAX ? UINT32_MAX : uint32_t(b.area);
    const double area = b.area ? double(b.area) : 1.0;
    r.centrex = double(b.sum_x + int64_t(b.area) * w.nw.x) / area;
    r.centrey = double(b.sum_y + int64_t(b.area) * w.nw.y) / area;
    return r;
}

// The scan-grow-reject loop shared by the blob lists.  keep(blob, seed x,
// seed y, window) is called for every blob that passes the flags and
// limits, after its holes are filled and the hook is asked; it answers 0
// (stored), 1 (rejected after all) or a negative result code, which ends
// the scan with that code.  need_runs: the blob's runs must be kept for it.
template <class Keep>
int32_t scan_blobs(mvabort* hook, mvimage* image, int32_t* position, uint32_t test, uint32_t value,
                   uint32_t flags, const int32_t* limits, uint64_t maxcount, uint32_t* rejected, bool need_runs,
                   Keep&& keep) {
    const bool polled = hook && hook->abortfn;
    Scan scan{polled ? hook : nullptr, position, rejected};
    try {
        Workspace ws;
        if (const int32_t rc = ws.open(nullptr, image, test, value); rc < 0) return scan.finish(rc);
        const mvywindow wind = ws.image().wind;
        Plane& plane = ws.plane();
        const int64_t w = plane.width(), h = plane.height();
        const Connect connect = connect_of(flags);
        int64_t x = int64_t(position[0]) - wind.nw.x, y = int64_t(position[1]) - wind.nw.y;
        if (y < 0) x = 0, y = 0;
        if (x < 0) x = 0;
        if (x >= w) x = 0, ++y;
        Blob blob;
        std::vector<mvscanrun> filled;
        // Blobs are painted where the scan leaves them (step 8 below).
        // Mapped images defer it to one pass when the scan ends, which
        // paints every pixel the growers took (paint_found); runs are then
        // kept only to fill holes, for the caller's measurements, or to give
        // back the blob that a stop leaves unpainted.
        const bool painting = !(flags & kKeepImage) && ws.can_fail();
        const bool deferred = painting && ws.mapped();
        const bool keep_runs =
            need_runs || (flags & kFillHoles) || connect == Connect::filled || polled || (painting && !deferred);
        auto paint_found = [&] {
            if (deferred) ws.paint_found();
        };
        uint64_t stored = 0;
        while (stored < maxcount) {
            // The next set pixel from (x, y); the hook hears of every
            // eighth line the scan enters.
            bool found = false;
            for (; y < h; ++y, x = 0) {
                if (x == 0 && polled && y % 8 == 0)
                    if (const int32_t stop = hook->abortfn(hook, int32_t(y), int32_t(h))) {
                        position[0] = int32_t(wind.nw.x + x);
                        position[1] = int32_t(wind.nw.y + y);
                        paint_found();
                        return scan.stopped(stop);
                    }
                const int32_t at = line::next_set(plane.row(int32_t(y)), int32_t(x), int32_t(w));
                if (at < w) {
                    x = at;
                    found = true;
                    break;
                }
            }
            if (!found) break;
            const int32_t sx = int32_t(wind.nw.x + x), sy = int32_t(wind.nw.y + y);
            position[0] = sx;
            position[1] = sy;
            if (connect == Connect::filled) {
                grow(plane, int32_t(x), int32_t(y), connect, blob);
            } else {
                blob.clear();
                grow_runs(plane, int32_t(x), int32_t(y), connect == Connect::eight, blob.stack,
                          [&](int32_t a, int32_t line, int32_t len) {
                              if (keep_runs) blob.add(a, line, len);
                              else blob.count(a, line, len);
                          });
            }
            bool holes = connect == Connect::filled;  // the region holds pixels that failed
            if (rejected_by(blob, wind, flags, limits)) {
                ++scan.rejected;
            } else {
                if ((flags & kFillHoles) && connect != Connect::filled) {
                    sort_runs(blob.runs);
                    fill_holes(blob.runs, connect, filled);
                    for (const mvscanrun& f : filled)
                        line::fill_bits(plane.row(f.coord.y), f.coord.x, f.coord.x + f.len);
                    blob.runs.swap(filled);
                    blob.recount();
                    holes = true;
                }
                if (polled)
                    if (const int32_t stop = hook->abortfn(hook, 0, 0)) {
                        // This blob is not painted: its pixels are given
                        // back to the plane before the deferred pass.
                        for (const mvscanrun& r : blob.runs)
                            line::fill_bits<true>(plane.row(r.coord.y), r.coord.x, r.coord.x + r.len);
                        paint_found();
                        return scan.stopped(stop);
                    }
                const int32_t kept = keep(blob, sx, sy, wind, stored);
                if (kept < 0) {
                    paint_found();
                    return scan.finish(kept);
                }
                if (kept == 0) ++stored;
                else ++scan.rejected;
            }
            if (painting && (!deferred || holes)) ws.paint(blob.runs.data(), blob.runs.size());
        }
        if (stored < maxcount) {
            position[0] = wind.nw.x;
            position[1] = int32_t(wind.nw.y + h);
        }
        paint_found();
        scan.finish(0);
        if (polled) hook->abortfn(hook, 1, 0);
        return int32_t(stored > INT32_MAX ? INT32_MAX : stored);
    } catch (const std::bad_alloc&) {
        return scan.finish(MVERR_MEMORY);
    }
}

}  // namespace

extern "C" MVIP_API int32_t mvip8_bloblist(mvabort* hook, mvimage* image, int32_t* position, uint32_t test,
                                           uint32_t value, uint32_t flags, const int32_t* limits,
                                           void* reserved1, uint32_t reserved2, uint64_t maxcount,
                                           mvblob* blobs, uint32_t* rejected) {
    (void)reserved1;
    (void)reserved2;
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!image || !position || !blobs) return MVERR_USAGE;
    return scan_blobs(hook, image, position, test, value, flags, limits, maxcount, rejected, false,
                      [&](const Blob& b, int32_t sx, int32_t sy, const mvywindow& w, uint64_t at) {
                          blobs[at] = record_of(b, sx, sy, w);
                          return 0;
                      });
}

extern "C" MVIP_API int32_t mvip8_bloblist3(mvabort* hook, mvimage* image, int32_t* position, uint32_t test,
                                            uint32_t value, uint32_t flags, const int32_t* limits,
                                            void* reserved1, uint32_t reserved2, uint64_t maxcount,
                                            mvblobf* blobs, uint32_t* rejected) {
    if (!blobs) return MVERR_USAGE;
    if (maxcount > SIZE_MAX / sizeof(mvblob)) return MVERR_MEMORY;
    auto* found = static_cast<mvblob*>(std::calloc(maxcount ? size_t(maxcount) : 1, sizeof(mvblob)));
    if (!found) return MVERR_MEMORY;
    const int32_t rc = mvip8_bloblist(hook, image, position, test, value, flags, limits, reserved1, reserved2,
                                      maxcount, found, rejected);
    // Every entry is converted, also those the search did not reach.
    for (uint64_t i = 0; i < maxcount; ++i) {
        const mvblob& b = found[i];
        blobs[i] = {double(b.seedx), double(b.seedy), double(b.left), double(b.top), double(b.right),
                    double(b.bottom), double(b.area), b.centrex, b.centrey};
    }
    std::free(found);
    return rc;
}

namespace {

// The statistics of a histogram of `bins` single values.
void histogram_stats(const uint32_t* hist, uint32_t bins, uint32_t lowperc, uint32_t highperc, mvblob2& r) {
    uint64_t n = 0, top = 0;
    double sum = 0, squares = 0;
    bool any = false;
    for (uint32_t v = 0; v < bins; ++v) {
        if (!hist[v]) continue;
        if (!any) r.minimum = v, any = true;
        r.maximum = v;
        if (hist[v] > top) top = hist[v], r.mode = v;
        n += hist[v];
        sum += double(hist[v]) * v;
        squares += double(hist[v]) * v * double(v);
    }
    if (!n) return;
    r.mean = sum / double(n);
    r.stddev = std::sqrt(std::max(0.0, squares / double(n) - r.mean * r.mean));
    uint32_t perc[101];
    mvip8_histstat2f(hist, bins, perc);
    r.median = perc[50];
    r.lowvalue = perc[lowperc];
    r.highvalue = perc[highperc];
}

}  // namespace

extern "C" MVIP_API int32_t mvip8_bloblist2(mvabort* hook, mvimage* image, int32_t* position, uint32_t test,
                                            uint32_t value, uint32_t flags, const int32_t* limits,
                                            mvimage* measure, uint32_t minarea, uint32_t maxarea,
                                            uint32_t erasevalue, uint32_t lowperc, uint32_t highperc,
                                            uint64_t maxcount, mvblob2* blobs, uint32_t recordsize,
                                            uint32_t* rejected, void* reserved) {
    (void)reserved;
    if (const auto stop = ops::hook_at_entry(hook)) return *stop;
    if (!image || !position || !blobs || recordsize != sizeof(mvblob2) || lowperc > 100 || highperc > 100)
        return MVERR_USAGE;
    if (!measure) measure = image;
    if (!ops::valid_record(measure) || !ops::valid_record(image) ||
        wind_width(measure) != wind_width(image) || wind_height(measure) != wind_height(image))
        return MVERR_USAGE;
    const uint32_t type = type_of(measure->pixfmt.datatype);
    if (type != MVTYPE_U8 && type != MVTYPE_U16) return MVERR_DATATYPE;
    if (measure->pixfmt.pixies != 1) return MVERR_COLORS;
    const uint32_t bits = measure->pixfmt.bits;
    if (bits == 0 || bits > 16) return MVERR_DATATYPE;
    const uint32_t bins = 1u << bits;
    std::vector<uint32_t> hist(bins);
    std::vector<mvscanrun> runs;
    // The measured image's window is addressed at the same window-relative
    // places as the scanned one.
    mvimregion like{};
    like.image = *measure;
    like.regiontype = MVIMREGSCANLIST;
    return scan_blobs(
        hook, image, position, test, value, flags, limits, maxcount, rejected, true,
        [&](const Blob& b, int32_t sx, int32_t sy, const mvywindow& w, uint64_t at) -> int32_t {
            if (b.area < minarea || (maxarea && b.area > maxarea)) return 1;
            runs.assign(b.runs.begin(), b.runs.end());
            sort_runs(runs);
            for (mvscanrun& r : runs) {
                r.coord.x += measure->wind.nw.x;
                r.coord.y += measure->wind.nw.y;
            }
            like.origin = {sx - w.nw.x + measure->wind.nw.x, sy - w.nw.y + measure->wind.nw.y};
            RegionPtr region(make_scanlist(&like, runs));
            if (!region.p) return MVERR_MEMORY;
            mvblob2 r{};
            r.blob = record_of(b, sx, sy, w);
            int32_t rc = mvirp8_histab2(nullptr, region.p, hist.data(), bins);
            if (rc >= 0) histogram_stats(hist.data(), bins, lowperc, highperc, r);
            // The record is packed to 4 bytes: its doubles may lie off their
            // natural alignment, so the measures are made aside and copied.
            mvmoments moments{};
            mvshapemeasures shape{};
            if (rc >= 0) rc = mvirp8_momentsf(nullptr, region.p, &moments);
            if (rc >= 0) rc = mvirp_regionshapef(region.p, &shape);
            std::memcpy(&r.moments, &moments, sizeof moments);
            std::memcpy(&r.shape, &shape, sizeof shape);
            if (rc >= 0 && (flags & kErase)) rc = mvirp8_pixset(nullptr, region.p, erasevalue);
            if (rc < 0) return rc;
            blobs[at] = r;
            return 0;
        });
}
