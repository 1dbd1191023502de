// The table of the library's operations, shared by the command-line tool
// (`mvtool op`) and the Python module: each entry names an operation, the
// images it reads, its typed parameters, the form of its output and an
// adapter from the typed values to the library call.
#pragma once

#include "mvip.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace mvtool {

// A bad argument (command line, parameter value): the caller reports it
// as a usage error.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct OpParam {
    const char* name;
    char kind;  // 'u' unsigned, 'i' signed, 'd' real, 'l' list of integers,
                // 'L' list of reals (comma-separated), 'c' colour space,
                // 'm' colour map
};
struct OpValue {
    int64_t i = 0;
    double d = 0;
    std::vector<int32_t> list;
    std::vector<double> reals;
};
constexpr int kMaxOpParams = 5;
struct OpCall {
    mvabort* hook;
    mvimage* src[3];
    mvimage* dst;
    const OpValue* v;
    // Numbers an operation answers besides its image (e.g. the levels a
    // percentile stretch chose); filled when not null.
    std::vector<int64_t>* results = nullptr;
    uint32_t u(int k) const { return uint32_t(v[k].i); }
    int32_t s(int k) const { return int32_t(v[k].i); }
    double d(int k) const { return v[k].d; }
    const std::vector<int32_t>& list(int k) const { return v[k].list; }
    const std::vector<double>& reals(int k) const { return v[k].reals; }
};
enum class OpOutput {
    like_first,   // the first source's size and format
    like_second,  // the second source's (pairs form their result in it)
    sized,        // the first source's format, the size given by params 0, 1
    colour,       // the first source's size and type, the colour space of param 0
    rgb,          // the first source's size and type, three pixies, RGB
};
struct Op {
    const char* name;
    int sources;
    OpParam params[kMaxOpParams];
    OpOutput output;
    const char* help;
    int32_t (*run)(const OpCall& call);
    // What the numbers of OpCall::results are (null: none).
    const char* results = nullptr;
    int param_count() const;
};
const std::vector<Op>& op_table();
const Op* find_op(const std::string& name);
// Parses one argument for a parameter; throws UsageError.
OpValue parse_param(const Op& op, const OpParam& param, const std::string& text);

// The size and pixel format of the output of `op` for a first source of
// `width` x `height` in `first` and a second source in `second` (null for
// operations of one source); throws UsageError for a bad size and answers
// a negative result code (else 0) for a format the library refuses.
int32_t output_format(const Op& op, uint32_t width, uint32_t height, const mvpixfmt& first, const mvpixfmt* second,
                      const OpValue* values, uint32_t& out_width, uint32_t& out_height, mvpixfmt& out);

// Region forms of the point operations: the output starts as a copy of
// the first source and the operation works inside the region only.
struct RegionForm {
    const char* name;
    int32_t (*run)(const OpCall& c, mvimregion* r);
};
const std::vector<RegionForm>& region_forms();
const RegionForm* find_region_form(const std::string& name);

// Pseudo-colour through a table-mapping view: the named colour map
// ("rainbow", "heat", "grey") applied to a one-pixie integer image of at
// most 16 bits, into a three-pixie image of the same type.
int32_t colour_map_index(const std::string& name);  // -1 when unknown
int32_t pseudocolour(mvabort* hook, mvimage* src, mvimage* dst, int32_t map);

// A whole number in [low, high] (decimal, or 0x hexadecimal); throws
// UsageError naming `option`.
long long parse_integer(const std::string& option, const std::string& text, long long low, long long high);

// ---------------------------------------------------------------- drawing
struct Pen {
    uint32_t width = 1, dots = 1;
    uint32_t colour[4] = {255, 255, 255, 255};
};
// Draws `figure` with its arguments given as texts:
//   line X0 Y0 X1 Y1, box X0 Y0 X1 Y1, arrow X0 Y0 X1 Y1 [HEAD],
//   ellipse CX CY A B [ANGLE], curve X0 Y0 ... (3k + 1 points),
//   text X Y TEXT [SCALE], region FILE (its outline).
// Answers the library's result; throws UsageError for bad arguments.
int32_t draw_figure(mvabort* hook, mvimage* im, const std::string& figure, const std::vector<std::string>& args,
                    const Pen& pen);

// ------------------------------------------------------------- blob lists
// A blob test by name (lt, le, eq, ge, gt, ne, in, out) or code; throws
// UsageError.
uint32_t blob_test(const std::string& text);
// Every blob of a one-pixie u8/u16 image under the test (mvip8_bloblist,
// called in blocks from the window's first pixel), at most `most`, into
// `found`; the rejected count into *rejected when asked.  Answers the
// library's result (negative on failure).
int32_t find_blobs(mvabort* hook, mvimage* image, uint32_t test, uint32_t value, uint32_t flags,
                   const int32_t* limits, uint64_t most, std::vector<mvblob>& found, uint32_t* rejected = nullptr);

}  // namespace mvtool
