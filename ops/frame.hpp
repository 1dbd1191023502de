// The operation frame shared by every image operation: the abort hook,
// argument and compatibility checks, opening images (through type
// converter views where needed), line buffers, direct mapping and the line
// walk.  Operations supply typed kernels and a parameter block.
#pragma once

#include "core/record.hpp"
#include "ops/cpu.hpp"

#include <array>
#include <memory>
#include <optional>

namespace mvip::ops {

// Options word of an operation.
enum Option : uint32_t {
    kTypeMask = 0x3F,              // data types accepted (codes 1, 2, 4, 16, 32)
    kColor = 1u << 8,              // images of two or more pixies accepted
    kPixiesFromImages = 1u << 9,   // pixies handled: the largest count, not the mask's
    kAnyDims = 1u << 10,           // window sizes may differ
    kAnyType = 1u << 11,           // data types may differ
    kAnyBits = 1u << 12,           // bits per pixie may differ
    kColumns = 1u << 13,           // walk column by column
    kFixedArgs = 1u << 14,         // kernels get the fixed values for x, y
    kConvert = 1u << 15,           // always access through a type converter
    kPerLine = 1u << 16,           // kernels take one line (or run) at a time, never a block
};
constexpr uint32_t kAllTypes = MVTYPE_U8 | MVTYPE_U16 | MVTYPE_U32 | MVTYPE_FLOAT | MVTYPE_DOUBLE;

// A kernel computes `count` values of one line.  lines[0 .. sources) are
// the sources' lines; lines[kOutLine] receives the result and may be the
// last source's line itself (the kernel then works in place).
using Kernel = void (*)(void* const* lines, size_t count, int32_t x, int32_t y, const void* params);
constexpr int kOutLine = 3;

// Kernel index of a data type: u8, u16, u32, float, double; -1 otherwise.
int type_slot(uint32_t datatype);
using KernelSet = std::array<Kernel, 5>;  // null entries: type not supported

// Calls the hook with (0, 0) at entry.  A non-zero answer stops the
// operation: the hook is asked again and its second answer (whatever it
// is, 0 included) is what the operation returns.  Empty: go on.
std::optional<int32_t> hook_at_entry(mvabort* hook);

// The record's validity check: its access slots are set and its format
// and dimensions are non-zero.
bool valid_record(const mvimage* im);

// The pixie maximum of an integer format: 2^bits - 1 (all ones for 32 bits
// or more).
uint32_t max_value(const mvpixfmt& fmt);

// The runs of a region-bounded walk, in the first source's image
// coordinates: inside its window, sorted by line and then by x, not
// overlapping.  The other images are addressed at the same window-relative
// places.
struct RunList {
    const mvscanrun* runs = nullptr;
    size_t count = 0;
};

struct Setup {
    mvabort* hook = nullptr;
    mvimage* sources[3] = {nullptr, nullptr, nullptr};
    int source_count = 1;            // 1 to 3; the last source's line takes the result
    mvimage* destination = nullptr;  // null: a source-only walk
    bool source_only = false;        // no destination expected (else null is -1)
    uint32_t options = 0;
    uint32_t mask = 1;               // pixies handled
    uint32_t fixed_type = 0;         // non-zero: open every image in this type
    int32_t fixed[2] = {0, 0};
    const RunList* runs = nullptr;   // non-null: only these runs are walked
};

class Frame {
public:
    Frame() = default;
    ~Frame();
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

    // Checks and opens the images and allocates one line buffer per source
    // (plus `extra_buffers`).  0 or a negative result code.
    int32_t open(const Setup& setup, int extra_buffers = 0);

    // Walks every line (or column) with the kernels: the in-place kernel on
    // image memory shared by source and destination, the buffered kernel on
    // working buffers.  With a run list, the kernels see each run instead
    // (its count, x and y).  0 or the hook's value.
    int32_t walk(Kernel in_place, Kernel buffered, const void* params);

    // Calls f(x, y, n) for every stretch of the walk (window-relative start,
    // n pixels): each whole line, or each run of the run list.  The hook is
    // polled before every eighth line (with a run list: before the first
    // run of each band of eight lines that holds one).  0 or the hook's
    // value.
    template <class F>
    int32_t each_stretch(F&& f);

    // Primitives for operations that walk themselves.
    int32_t poll(uint32_t done, uint32_t total);  // hook every eighth step
    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }
    uint32_t pixies() const { return pixies_; }
    uint32_t value_bytes() const { return value_bytes_; }
    size_t line_values() const { return size_t{width_} * pixies_; }
    uint32_t type() const { return type_; }
    mvimage* image(int i) const { return images_[i]; }  // 0-2: sources; 3: destination
    void* buffer(int i) const { return buffers_[i].get(); }
    bool mapping() const { return mapping_; }
    uint32_t read_line(int i, void* buf, uint32_t y) const { return read_stretch(i, buf, 0, y, width_); }
    uint32_t write_line(int i, const void* buf, uint32_t y, uint32_t flags = 0) const {
        return write_stretch(i, buf, 0, y, width_, flags);
    }
    // n pixels from window-relative (x, y), cut to image i's window.
    uint32_t read_stretch(int i, void* buf, uint32_t x, uint32_t y, uint32_t n) const;
    uint32_t write_stretch(int i, const void* buf, uint32_t x, uint32_t y, uint32_t n,
                           uint32_t flags = 0) const;
    // A direct pointer to line y of image i covering the whole width, or
    // null; release it with unmap.
    void* map_line(int i, uint32_t y, mvmapdesc& desc) const { return map_stretch(i, 0, y, width_, desc); }
    // The same for n pixels from (x, y).
    void* map_stretch(int i, uint32_t x, uint32_t y, uint32_t n, mvmapdesc& desc) const;
    bool bounded() const { return setup_.runs != nullptr; }
    // A direct pointer to `rows` whole lines from line y of image i as one
    // contiguous run, or null (also when the image never maps so); release
    // it with unmap.
    void* map_block(int i, uint32_t y, uint32_t rows, mvmapdesc& desc) const;
    void unmap(int i, mvmapdesc& desc) const;
    // Whether a hook is polled.  Without one, walks take every line of the
    // window in one run where the images map as one block.
    bool polled() const { return setup_.hook && setup_.hook->abortfn; }
    // Lines in the next block from line y: eight (one hook period) when a
    // hook is polled, else the rest of the window.
    uint32_t block_rows(uint32_t y) const { return polled() ? std::min<uint32_t>(8, height_ - y) : height_ - y; }
    void stop_mapping() { mapping_ = false; }

    static constexpr int kDestination = 3;

private:
    int32_t open_image(int i, mvimage* im, uint32_t type);
    int32_t walk_rows(Kernel in_place, Kernel buffered, const void* params);
    void walk_stretch(uint32_t x, uint32_t y, uint32_t n, Kernel in_place, Kernel buffered,
                      const void* params);
    int32_t walk_runs(Kernel in_place, Kernel buffered, const void* params);
    bool walk_mapped_runs(uint32_t y, const mvscanrun* runs, size_t count, Kernel kernel,
                          const void* params);
    bool walk_block(uint32_t y, uint32_t rows, Kernel kernel, const void* params);
    int32_t walk_columns(Kernel buffered, const void* params);

    Setup setup_{};
    std::array<mvimage*, 4> images_{};
    std::array<std::unique_ptr<mvimage>, 4> views_{};      // converters we built
    std::array<std::unique_ptr<unsigned char[]>, 4> buffers_{};
    std::array<bool, 4> mappable_{};
    std::array<bool, 4> blockable_{};  // one mapping may cover many whole lines
    bool mapping_ = false;
    uint32_t width_ = 0, height_ = 0, pixies_ = 0, value_bytes_ = 0, type_ = 0;
    // Each image's own value size (operations that allow types to differ
    // see each image's memory in its own type).
    std::array<uint32_t, 4> image_value_bytes_{};
    uint32_t image_pixel_bytes(int i) const { return pixies_ * image_value_bytes_[i]; }
};

template <class F>
int32_t Frame::each_stretch(F&& f) {
    if (!setup_.runs) {
        for (uint32_t y = 0; y < height_; ++y) {
            if (const int32_t stop = poll(y, height_)) return stop;
            f(0u, y, width_);
        }
        return 0;
    }
    const mvywindow& w = setup_.sources[0]->wind;
    uint32_t band = UINT32_MAX;
    for (size_t i = 0; i < setup_.runs->count; ++i) {
        const mvscanrun& r = setup_.runs->runs[i];
        const uint32_t x = uint32_t(r.coord.x) - uint32_t(w.nw.x);
        const uint32_t y = uint32_t(r.coord.y) - uint32_t(w.nw.y);
        if (r.len <= 0 || x >= width_ || y >= height_) continue;
        if (y / 8 != band) {
            band = y / 8;
            if (const int32_t stop = poll(y & ~7u, height_)) return stop;
        }
        f(x, y, std::min(uint32_t(r.len), width_ - x));
    }
    return 0;
}

// Runs a whole operation: entry hook, kernel choice by the source's type
// (-19 for a missing kernel), open, walk.
int32_t run(const Setup& setup, const KernelSet& in_place, const KernelSet& buffered,
            const void* params);

// Adapters from typed kernels.  An operation provides either
// Op::apply<T>(const T* in, T* out, size_t n, const Params&), reading one
// line and writing another (which may be the same), or
// Op::apply<T>(T* values, size_t n, const Params&), working in place (the
// line is then copied to the output first).
template <class Op, class T>
void typed_kernel(void* const* lines, size_t count, int32_t, int32_t, const void* params) {
    const auto& p = *static_cast<const typename Op::Params*>(params);
    const T* in = static_cast<const T*>(lines[0]);
    T* out = static_cast<T*>(lines[kOutLine]);
    if constexpr (requires { Op::template apply<T>(in, out, count, p); }) {
        Op::template apply<T>(in, out, count, p);
    } else if (out == in) {
        Op::template apply<T>(out, count, p);
    } else {
        // Copied and worked a piece at a time, so that the piece is still
        // in the first-level cache when the kernel reads it back (a run may
        // be a whole window).  Pieces are whole pixels.
        size_t piece = 2048;
        if constexpr (requires { p.pixies; }) piece *= p.pixies > 0 ? p.pixies : 1;
        for (size_t done = 0; done < count; done += piece) {
            const size_t n = std::min(piece, count - done);
            std::memcpy(out + done, in + done, n * sizeof(T));
            Op::template apply<T>(out + done, n, p);
        }
    }
}

// Vector forms run a long line in two parts, split where the output
// reaches a 64-byte boundary, so that the long second part stores whole
// cache lines (a store across two lines costs more, most with 64-byte
// vectors).  Values per part: the first, or 0 for no split.  Kernels of
// pixie-wise operations see whole pixels, so those runs are split only for
// single-pixie images; the result is the same either way.
template <class T, class P>
size_t aligned_head(const void* out, size_t count, const P& params) {
    if constexpr (requires { params.pixies; })
        if (params.pixies != 1) return 0;
    const size_t misaligned = reinterpret_cast<uintptr_t>(out) % 64;
    if (count < 1024 || misaligned == 0 || misaligned % sizeof(T) != 0) return 0;
    return (64 - misaligned) / sizeof(T);
}
template <class T, class P, class Run>
[[gnu::always_inline]] inline void in_two_parts(void* const* lines, size_t count, const void* params,
                                                Run run) {
    const size_t head = aligned_head<T>(lines[kOutLine], count, *static_cast<const P*>(params));
    if (head == 0) return run(lines, count);
    run(lines, head);
    void* rest[4];
    for (int i = 0; i < 4; ++i) rest[i] = lines[i] ? static_cast<T*>(lines[i]) + head : nullptr;
    run(rest, count - head);
}

// The same adapter compiled for AVX2 and for AVX-512 (F, BW, VL): the
// operation's loops are inlined into it (flatten) and vectorised for the
// wider registers.  Same arithmetic, same results as the plain form.
// The AVX-512 form calls the AVX2 one (never inlined into it, which would
// widen it again) when source and destination differ:
// on the AMD Zen 4 we measured, a read stream and a separate write stream
// of 64-byte vectors took up to 1.25 times as long as with 32-byte ones
// (u16 band test, 2048 x 2048), while in place the 64-byte ones were
// faster (0.85 times).
template <class Op, class T>
__attribute__((target("avx2"), flatten, noinline)) void typed_kernel_avx2(void* const* lines, size_t count,
                                                                          int32_t x, int32_t y,
                                                                          const void* params) {
    in_two_parts<T, typename Op::Params>(lines, count, params, [&](void* const* l, size_t n) {
        typed_kernel<Op, T>(l, n, x, y, params);
    });
}
template <class Op, class T>
__attribute__((target("avx512f,avx512bw,avx512vl,avx2"), flatten)) void typed_kernel_avx512(
    void* const* lines, size_t count, int32_t x, int32_t y, const void* params) {
    if (lines[0] != lines[kOutLine]) return typed_kernel_avx2<Op, T>(lines, count, x, y, params);
    in_two_parts<T, typename Op::Params>(lines, count, params, [&](void* const* l, size_t n) {
        typed_kernel<Op, T>(l, n, x, y, params);
    });
}

// The data-type codes a kernel set serves.
constexpr uint32_t types_of(const KernelSet& k) {
    return (k[0] ? MVTYPE_U8 : 0u) | (k[1] ? MVTYPE_U16 : 0u) | (k[2] ? MVTYPE_U32 : 0u) |
           (k[3] ? MVTYPE_FLOAT : 0u) | (k[4] ? MVTYPE_DOUBLE : 0u);
}
// Which value types an operation has kernels for.
enum TypeSet : unsigned { kU8 = 1, kU16 = 2, kU32 = 4, kF32 = 8, kF64 = 16,
                          kU8U16 = 3, kInts = 7, kFloats = 24, kEvery = 31 };

// Kernel sets by instruction level (indexed by CpuLevel), and the one for
// this call's processor.
using LevelKernels = std::array<KernelSet, 3>;
inline const KernelSet& for_this_cpu(const LevelKernels& k) {
    return k[static_cast<size_t>(cpu_level())];
}

// A kernel set of one level from Forms::get<T, level>().
template <class Forms, unsigned Set, CpuLevel L>
constexpr KernelSet set_of() {
    KernelSet k{};
    if constexpr (Set & kU8) k[0] = Forms::template get<uint8_t, L>();
    if constexpr (Set & kU16) k[1] = Forms::template get<uint16_t, L>();
    if constexpr (Set & kU32) k[2] = Forms::template get<uint32_t, L>();
    if constexpr (Set & kF32) k[3] = Forms::template get<float, L>();
    if constexpr (Set & kF64) k[4] = Forms::template get<double, L>();
    return k;
}
template <class Forms, unsigned Set>
constexpr LevelKernels levels_of() {
    return {set_of<Forms, Set, CpuLevel::plain>(), set_of<Forms, Set, CpuLevel::avx2>(),
            set_of<Forms, Set, CpuLevel::avx512>()};
}

template <class Op>
struct TypedForms {
    template <class T, CpuLevel L>
    static constexpr Kernel get() {
        if constexpr (L == CpuLevel::avx512) return typed_kernel_avx512<Op, T>;
        else if constexpr (L == CpuLevel::avx2) return typed_kernel_avx2<Op, T>;
        else return typed_kernel<Op, T>;
    }
};

// The plain kernels of an operation, and its kernels at every level.
template <class Op, unsigned Set>
constexpr KernelSet kernels_for() {
    return set_of<TypedForms<Op>, Set, CpuLevel::plain>();
}
template <class Op, unsigned Set>
constexpr LevelKernels kernel_levels() {
    return levels_of<TypedForms<Op>, Set>();
}

}  // namespace mvip::ops
