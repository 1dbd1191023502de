// The abort hook of one call: the user's callable and Ctrl-C reach a
// library call that runs without the interpreter lock.

#include "module.hpp"

#include <pythread.h>

namespace mvpy {

namespace {

// Pending signals are looked at this often on the main thread; the clock
// is read every few polls only (a poll comes every eighth line).
constexpr auto kSignalInterval = std::chrono::milliseconds(20);
constexpr uint32_t kPollsPerClockRead = 8;

unsigned long main_thread_ident() {
    static const unsigned long ident =
        py::module_::import("threading").attr("main_thread")().attr("ident").cast<unsigned long>();
    return ident;
}

}  // namespace

Hook::Hook(py::object callable, uint64_t pixels) : callable_(std::move(callable)) {
    record_.base.abortfn = &Hook::poll;
    record_.self = this;
    if (callable_.is_none()) callable_ = py::object();
    main_thread_ = pixels >= kSignalPixels && PyThread_get_thread_ident() == main_thread_ident();
    active_ = bool(callable_) || main_thread_;
}

Hook::~Hook() {
    Py_XDECREF(type_);
    Py_XDECREF(value_);
    Py_XDECREF(trace_);
}

int32_t Hook::poll(mvabort* hook, int32_t done, int32_t total) {
    return reinterpret_cast<Record*>(hook)->self->ask(done, total);
}

int32_t Hook::ask(int32_t done, int32_t total) {
    if (failed_) return MVERR_CANCELED;
    bool signals = false;
    if (main_thread_ && ++polls_ % kPollsPerClockRead == 0) {
        // The first reading only starts the interval: short calls never
        // take the lock.
        const auto now = std::chrono::steady_clock::now();
        if (next_signal_check_ == std::chrono::steady_clock::time_point{}) {
            next_signal_check_ = now + kSignalInterval;
        } else if (now >= next_signal_check_) {
            signals = true;
            next_signal_check_ = now + kSignalInterval;
        }
    }
    if (!signals && !callable_) return 0;
    py::gil_scoped_acquire acquire;
    int32_t answer = 0;
    if (signals && PyErr_CheckSignals() != 0) {
        answer = MVERR_CANCELED;
    } else if (callable_) {
        PyObject* result = PyObject_CallFunction(callable_.ptr(), "ii", int(done), int(total));
        if (result == nullptr) {
            answer = MVERR_CANCELED;
        } else {
            const int stop = PyObject_IsTrue(result);
            Py_DECREF(result);
            if (stop != 0) answer = MVERR_CANCELED;  // -1: the truth test raised
        }
    }
    if (PyErr_Occurred()) {
        PyErr_Fetch(&type_, &value_, &trace_);
        failed_ = true;
    }
    return answer;
}

void Hook::rethrow() {
    if (!failed_) return;
    failed_ = false;
    PyErr_Restore(type_, value_, trace_);
    type_ = value_ = trace_ = nullptr;
    throw py::error_already_set();
}

}  // namespace mvpy
