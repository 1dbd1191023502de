// mvtool bench - a quick measure of the library's speed on this machine:
// a selection of operations (through the operation table) and file writes
// and reads on a built-in 2048 x 2048 u8 image, timed on one core (the
// library starts no threads).  bench/ holds the thorough benchmarks.

#include "mvtool.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace mvtool {

namespace {

constexpr uint32_t kSize = 2048;

struct OpCase {
    const char* op;
    std::vector<std::string> args;
};

const OpCase kOpCases[] = {
    {"pixneg", {}},
    {"pixthreshold2", {"64", "192", "255", "0"}},
    {"pixadd", {"40", "2"}},
    {"pixcontrast", {"20", "230"}},
    {"pixgamma", {"0.8"}},
    {"pairadd", {"2"}},
    {"pairsub", {"7"}},
    {"pairave", {}},
    {"copy", {}},
    {"copyreverse", {"3"}},
    {"copyshift", {"5", "7"}},
    {"copyinterpbilinear", {"1536", "1536"}},
    {"copycolorconvert", {"rgb"}},
    {"ilacelinetofield", {}},
    {"3x3lowpassf", {}},
    {"3x3median", {}},
    {"3x3rankhigh", {}},
    {"3x3sobel", {"3"}},
    {"2x2roberts", {"0"}},
    {"NxNconvolve", {"5", "1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1", "0", "0", "0"}},
    {"NxNdynthreshold", {"15", "0"}},
};

using Clock = std::chrono::steady_clock;

// Runs `step` `repeat` times; the median time in seconds.
template <class Step>
double median_seconds(int repeat, Step step) {
    std::vector<double> t;
    for (int i = 0; i < repeat; ++i) {
        const auto start = Clock::now();
        step();
        t.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    }
    std::sort(t.begin(), t.end());
    return t[t.size() / 2];
}

void print_row(const std::string& label, double pixels, double seconds) {
    std::printf("  %-36s %9.1f Mpixel/s  %8.2f ms\n", label.c_str(), pixels / seconds / 1e6, seconds * 1e3);
    std::fflush(stdout);
}

bool selected(const std::string& label, const std::string& filter) {
    return filter.empty() || label.find(filter) != std::string::npos;
}

}  // namespace

int cmd_bench(const std::vector<std::string>& args) {
    int repeat = 5;
    std::string filter;
    for (size_t i = 0; i < args.size(); ++i) {
        if ((args[i] == "--repeat" || args[i] == "--filter") && i + 1 < args.size()) {
            if (args[i] == "--filter") {
                filter = args[++i];
                continue;
            }
            const std::string& v = args[++i];
            char* end = nullptr;
            const long n = std::strtol(v.c_str(), &end, 10);
            if (v.empty() || *end != '\0' || n < 1 || n > 1000)
                throw UsageError("bench: --repeat: expected 1 to 1000, got '" + v + "'");
            repeat = int(n);
        } else {
            throw UsageError("bench: unknown argument '" + args[i] + "'");
        }
    }

    Image a, b;
    make_gradient(a, kSize, kSize, 1);
    make_gradient(b, kSize, kSize, 2);
    Image* sources[3] = {&a, &b, &a};
    std::printf("mvtool bench: %u x %u u8 image (gradient with mild noise), one core, median of %d runs\n\n",
                kSize, kSize, repeat);

    for (const OpCase& k : kOpCases) {
        const Op* op = find_op(k.op);
        std::string label = k.op;
        for (const std::string& s : k.args) label += " " + (s.size() > 12 ? s.substr(0, 9) + "..." : s);
        if (op == nullptr || !selected(label, filter)) continue;
        OpValue values[kMaxOpParams];
        for (int p = 0; p < op->param_count(); ++p) values[p] = parse_param(*op, op->params[p], k.args[size_t(p)]);
        Image out;
        allocate_output(*op, sources, values, out);
        OpCall call{};
        for (int s = 0; s < op->sources; ++s) call.src[s] = &sources[s]->im;
        call.dst = &out.im;
        call.v = values;
        check(op->run(call), op->name);  // once untimed: warms caches and tables
        const double seconds = median_seconds(repeat, [&] {
            call.hook = progress(label);
            check(op->run(call), op->name);
            progress_done();
        });
        print_row(label, double(out.width()) * out.height(), seconds);
    }

    // Files: written to and read from the temporary folder.
    const auto stamp = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch()).count();
    const std::filesystem::path dir = std::filesystem::temp_directory_path();
    const std::string tif = (dir / ("mvtool-bench-" + std::to_string(stamp) + ".tif")).string();
    const std::string bmp = (dir / ("mvtool-bench-" + std::to_string(stamp) + ".bmp")).string();
    const double pixels = double(kSize) * kSize;
    try {
        for (const char* c : {"none", "packbits", "lzw", "lzw-pred", "arith"}) {
            WriteOptions options;
            options.compression = uint32_t(compression_code(c));
            const std::string write_label = std::string("tiff write ") + c;
            const std::string read_label = std::string("tiff read ") + c;
            if (selected(write_label, filter) || selected(read_label, filter)) save(a, tif, options);
            if (selected(write_label, filter))
                print_row(write_label, pixels, median_seconds(repeat, [&] { save(a, tif, options); }));
            if (selected(read_label, filter)) {
                Image back;
                print_row(read_label, pixels, median_seconds(repeat, [&] { load(tif, back); }));
            }
        }
        if (selected("bmp write", filter) || selected("bmp read", filter)) save(a, bmp);
        if (selected("bmp write", filter)) print_row("bmp write", pixels, median_seconds(repeat, [&] { save(a, bmp); }));
        if (selected("bmp read", filter)) {
            Image back;
            print_row("bmp read", pixels, median_seconds(repeat, [&] { load(bmp, back); }));
        }
    } catch (...) {
        std::remove(tif.c_str());
        std::remove(bmp.c_str());
        throw;
    }
    std::remove(tif.c_str());
    std::remove(bmp.c_str());
    return kExitOk;
}

}  // namespace mvtool
