// mvtool - Ctrl-C and the progress bar, both through the library's abort
// hook: every operation and file call asks the hook before every few lines
// whether to go on, telling it how far it has come.

#include "mvtool.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>

#ifdef _WIN32
#include <io.h>
#define MVTOOL_ISATTY(fd) _isatty(fd)
#else
#include <unistd.h>
#define MVTOOL_ISATTY(fd) isatty(fd)
#endif

namespace mvtool {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

extern "C" void on_sigint(int) {
    g_interrupted = 1;
    // A second Ctrl-C ends the program at once.
    std::signal(SIGINT, SIG_DFL);
}

using Clock = std::chrono::steady_clock;

// Steps shorter than this never show a bar.
constexpr auto kQuietTime = std::chrono::milliseconds(300);
constexpr int kBarWidth = 30;

struct State {
    mvabort hook{};
    mvabort plane_hook{};  // reports the plane below instead of the library's counts
    int32_t plane_done = 0, plane_total = 0;
    bool tty = false;
    std::string label;
    Clock::time_point start{};
    bool drawn = false;
    int last_percent = -1;
};
State g_state;

void draw(int percent) {
    const int filled = percent * kBarWidth / 100;
    std::string label = g_state.label.size() > 36 ? "..." + g_state.label.substr(g_state.label.size() - 33)
                                                   : g_state.label;
    std::fprintf(stderr, "\r%-36s [%s%s] %3d%%", label.c_str(), std::string(size_t(filled), '#').c_str(),
                 std::string(size_t(kBarWidth - filled), ' ').c_str(), percent);
    g_state.drawn = true;
    g_state.last_percent = percent;
}

int32_t on_progress(mvabort*, int32_t done, int32_t total) {
    if (g_interrupted) return MVERR_CANCELED;
    if (!g_state.tty || total <= 0 || done < 0) return 0;
    const int percent = int(std::min<int64_t>(100, int64_t(done) * 100 / total));
    if (percent == g_state.last_percent) return 0;
    if (!g_state.drawn && Clock::now() - g_state.start < kQuietTime) return 0;
    draw(percent);
    return 0;
}

int32_t on_plane_progress(mvabort* hook, int32_t, int32_t) {
    return on_progress(hook, g_state.plane_done, g_state.plane_total);
}

}  // namespace

void install_interrupt_handler() {
    g_state.hook.abortfn = on_progress;
    g_state.plane_hook.abortfn = on_plane_progress;
    g_state.tty = MVTOOL_ISATTY(2) != 0;
    std::signal(SIGINT, on_sigint);
}

bool interrupted() { return g_interrupted != 0; }

mvabort* progress(const std::string& label) {
    progress_done();
    g_state.label = label;
    g_state.start = Clock::now();
    g_state.last_percent = -1;
    return &g_state.hook;
}

mvabort* progress_plane(uint32_t done, uint32_t total) {
    g_state.plane_done = int32_t(done);
    g_state.plane_total = int32_t(total);
    return &g_state.plane_hook;
}

void progress_done() {
    if (g_state.drawn) std::fprintf(stderr, "\r%*s\r", 36 + kBarWidth + 8, "");
    g_state.drawn = false;
}

}  // namespace mvtool
