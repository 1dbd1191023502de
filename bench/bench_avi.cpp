// AVI movies: 300 frames of 1920 x 1080 BGR (about 1.87 GB) written to
// /dev/shm and read back, against a plain write(2) / read(2) of the same
// bytes, and against ffmpeg's AVI muxer storing the same raw frames
// (a child process: its start and its reading of the raw input count).
//
// Writing goes through the handle (the same four frames in turn, so that
// the source stays small); reading fills a stack of 300 planes.  Counters:
// bytes_per_second over the frame bytes.  Run with
// --benchmark_enable_random_interleaving=true --benchmark_repetitions=N.

#include "mvip.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr uint32_t kWidth = 1920, kHeight = 1080, kFrames = 300, kSources = 4;
constexpr size_t kFrameBytes = size_t(kWidth) * kHeight * 3;  // rows of 5,760 bytes need no padding

std::string scratch(const char* name) { return "/dev/shm/mvip-bench-" + std::to_string(getpid()) + "-" + name; }

struct Frames {
    std::vector<uint8_t> pixels;
    mvimage im[kSources];
    Frames() : pixels(kFrameBytes * kSources) {
        for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = uint8_t((i * 2654435761u) >> 24);
        const uint32_t dims[2] = {kWidth, kHeight};
        for (uint32_t k = 0; k < kSources; ++k)
            mvimage_memory(&im[k], pixels.data() + k * kFrameBytes, dims, 0, MVTYPE_U8, 8, 3, MVCS_BGR, 0);
    }
};
Frames& frames() {
    static Frames f;
    return f;
}

void bytes_done(benchmark::State& state) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kFrameBytes) * kFrames);
}

void BM_AviWrite(benchmark::State& state) {
    const bool odml = state.range(0) != 0;
    const std::string path = scratch("w.avi");
    Frames& f = frames();
    for (auto _ : state) {
        std::remove(path.c_str());
        mvavifile* h = nullptr;
        int32_t rc = odml ? mvio8_aviodmlwriteseqinit(nullptr, &h, path.c_str(), nullptr, 0)
                          : mvio8_aviwriteseqinit(nullptr, &h, path.c_str(), nullptr, 0);
        for (uint32_t k = 0; k < kFrames && rc == 0; ++k) rc = mvio8_aviwriteseqadd(nullptr, &h, nullptr, &f.im[k % kSources]);
        if (rc == 0) rc = mvio8_aviwriteseqdone(nullptr, &h, nullptr);
        if (rc != 0) state.SkipWithError("writing failed");
    }
    bytes_done(state);
    std::remove(path.c_str());
}
BENCHMARK(BM_AviWrite)->Arg(0)->Arg(1)->ArgName("opendml")->Unit(benchmark::kMillisecond)->UseRealTime();

// The same bytes with write(2), one call per frame.
void BM_PlainWrite(benchmark::State& state) {
    const std::string path = scratch("w.raw");
    Frames& f = frames();
    for (auto _ : state) {
        std::remove(path.c_str());
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        bool ok = fd >= 0;
        for (uint32_t k = 0; k < kFrames && ok; ++k)
            ok = write(fd, f.pixels.data() + (k % kSources) * kFrameBytes, kFrameBytes) == ssize_t(kFrameBytes);
        if (fd >= 0) close(fd);
        if (!ok) state.SkipWithError("write failed");
    }
    bytes_done(state);
    std::remove(path.c_str());
}
BENCHMARK(BM_PlainWrite)->Unit(benchmark::kMillisecond)->UseRealTime();

// ffmpeg's AVI muxer storing the raw frames (its raw encoder passes them on).
void BM_FfmpegMux(benchmark::State& state) {
    if (std::system("command -v ffmpeg >/dev/null 2>&1") != 0) {
        state.SkipWithError("ffmpeg is not installed");
        return;
    }
    const std::string raw = scratch("in.bgr"), out = scratch("ff.avi");
    Frames& f = frames();
    {
        FILE* file = std::fopen(raw.c_str(), "wb");
        for (uint32_t k = 0; k < kFrames && file; ++k) std::fwrite(f.pixels.data() + (k % kSources) * kFrameBytes, 1, kFrameBytes, file);
        if (file) std::fclose(file);
    }
    const std::string cmd = "ffmpeg -v error -y -f rawvideo -pix_fmt bgr24 -s 1920x1080 -r 25 -i " + raw +
                            " -c:v rawvideo -f avi " + out;
    for (auto _ : state) {
        std::remove(out.c_str());
        if (std::system(cmd.c_str()) != 0) state.SkipWithError("ffmpeg failed");
    }
    bytes_done(state);
    std::remove(out.c_str());
    std::remove(raw.c_str());
}
BENCHMARK(BM_FfmpegMux)->Unit(benchmark::kMillisecond)->UseRealTime();

// Reading: one stack of 300 planes, and the movies written from it once.
struct Stack {
    std::vector<uint8_t> pixels;
    mvimage3 im{};
    Stack() : pixels(kFrameBytes * kFrames) {
        const uint32_t dims[3] = {kWidth, kHeight, kFrames};
        mvimage3_memory(&im, pixels.data(), dims, 0, MVTYPE_U8, 8, 3, MVCS_BGR, 0);
        Frames& f = frames();
        for (uint32_t k = 0; k < kFrames; ++k)
            std::memcpy(pixels.data() + k * kFrameBytes, f.pixels.data() + (k % kSources) * kFrameBytes, kFrameBytes);
    }
};
Stack& stack() {
    static Stack s;
    return s;
}

struct Movie {
    std::string path;
    explicit Movie(bool odml) : path(scratch(odml ? "r-odml.avi" : "r-plain.avi")) {
        if ((odml ? mvio8_aviodmlwriteseq : mvio8_aviwriteseq)(nullptr, &stack().im, path.c_str(), nullptr, 0) != 0)
            path.clear();
    }
    ~Movie() {
        if (!path.empty()) std::remove(path.c_str());
    }
};
Movie& movie(bool odml) {
    static Movie plain(false), opendml(true);
    return odml ? opendml : plain;
}

void BM_AviRead(benchmark::State& state) {
    Movie& m = movie(state.range(0) != 0);
    if (m.path.empty()) {
        state.SkipWithError("writing the movie failed");
        return;
    }
    for (auto _ : state)
        if (mvio8_avireadseq(nullptr, &stack().im, m.path.c_str(), 0, 0) != 0) state.SkipWithError("reading failed");
    bytes_done(state);
}
BENCHMARK(BM_AviRead)->Arg(0)->Arg(1)->ArgName("opendml")->Unit(benchmark::kMillisecond)->UseRealTime();

// The same file's bytes with read(2), one call per frame, into the stack.
void BM_PlainRead(benchmark::State& state) {
    const Movie& plain = movie(false);
    Stack& st = stack();
    for (auto _ : state) {
        const int fd = open(plain.path.c_str(), O_RDONLY);
        bool ok = fd >= 0;
        for (uint32_t k = 0; k < kFrames && ok; ++k)
            ok = read(fd, st.pixels.data() + k * kFrameBytes, kFrameBytes) == ssize_t(kFrameBytes);
        if (fd >= 0) close(fd);
        if (!ok) state.SkipWithError("read failed");
    }
    bytes_done(state);
}
BENCHMARK(BM_PlainRead)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
