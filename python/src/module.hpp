// Declarations shared by the sources of the compiled module mvip._mvip:
// numpy arrays as the library's memory images, result codes as Python
// exceptions, and the abort hook that lets a call run without the
// interpreter lock while Ctrl-C and a Python callable can still stop it.
#pragma once

#include "mvip.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace mvpy {

namespace py = pybind11;

// ------------------------------------------------------------------ errors
// A negative result code of the library for `subject` (an operation or a
// file name); raised in Python as mvip.Error with .code, .message and
// .subject (the message from mverrnomesg).
struct LibraryError : std::runtime_error {
    LibraryError(std::string subject, int32_t code) : std::runtime_error(std::move(subject)), code(code) {}
    int32_t code;
};
// Throws LibraryError for a negative code, answers it otherwise.
int32_t check(int32_t code, const std::string& subject);
void register_errors(py::module_& m);

// ------------------------------------------------------------------- hook
// The abort hook of one call.  The library polls it every few lines; it
// takes the interpreter lock only when it has something to ask Python:
// the user's callable (every poll), or, on the main thread, pending
// signals (Ctrl-C) at most every few milliseconds.  Calls on fewer than
// kSignalPixels pixels go without a hook unless there is a callable: they
// end within a few milliseconds anyway, and the library works in larger
// blocks without one.  An exception raised
// there is kept and the call stops with MVERR_CANCELED; rethrow() raises
// it once the library has returned.
class Hook {
public:
    static constexpr uint64_t kSignalPixels = uint64_t{1} << 20;
    explicit Hook(py::object callable, uint64_t pixels = UINT64_MAX);
    Hook(const Hook&) = delete;
    Hook& operator=(const Hook&) = delete;
    ~Hook();
    // The record to pass to the library (null when nothing needs asking).
    mvabort* get() { return active_ ? &record_.base : nullptr; }
    // Raises the kept exception, if any (the lock must be held).
    void rethrow();

private:
    struct Record {
        mvabort base;
        Hook* self;
    };
    static int32_t poll(mvabort* hook, int32_t done, int32_t total);
    int32_t ask(int32_t done, int32_t total);

    Record record_{};
    py::object callable_;
    bool active_ = false, main_thread_ = false;
    bool failed_ = false;
    PyObject *type_ = nullptr, *value_ = nullptr, *trace_ = nullptr;
    uint32_t polls_ = 0;
    std::chrono::steady_clock::time_point next_signal_check_{};
};

// Runs `call` (a library call answering a result code) without the
// interpreter lock, then raises what the hook kept or the library's error.
template <class F>
int32_t run_released(Hook& hook, const std::string& subject, F&& call) {
    int32_t rc;
    {
        py::gil_scoped_release release;
        rc = call(hook.get());
    }
    hook.rethrow();
    return check(rc, subject);
}

// ----------------------------------------------------------------- images
// The library's data type for a numpy dtype (0 when there is none).
uint32_t datatype_of(const py::dtype& dtype);
py::dtype dtype_of(uint32_t datatype);
// The default colour code for a pixie count: 1 grey, 3 RGB, 4 RGBX.
uint32_t default_colorspace(uint32_t pixies);
constexpr uint32_t kDefaultSpace = 0xFFFFFFFFu;

// A numpy array seen as a memory image.  A 2-D array is (height, width);
// a 3-D array (height, width, pixies).  Pixies and pixels must lie
// together (the pixie stride the item size, the pixel stride the pixel
// size); the line stride becomes the pitch and may be anything, negative
// included.  A source in another layout (or byte order) is copied once
// into a packed array; a destination must fit as it is.
struct ArrayImage {
    // bits 0: the whole container; colorspace kDefaultSpace:
    // default_colorspace().
    ArrayImage(py::handle object, const char* what, bool writable, uint32_t bits = 0,
               uint32_t colorspace = kDefaultSpace);
    py::array array;
    mvimage im{};
};
// A numpy array as a stack: (depth, height, width[, pixies]), planes
// apart by their stride (which must not be negative).
struct ArrayStack {
    ArrayStack(py::handle object, const char* what, bool writable, uint32_t bits = 0,
               uint32_t colorspace = kDefaultSpace);
    py::array array;
    mvimage3 im{};
};
// A zeroed array for an image (depth 0) or a stack of a size and format.
py::array new_array(uint32_t width, uint32_t height, const mvpixfmt& fmt, uint32_t depth = 0);

// ------------------------------------------------------------ the module
void register_ops(py::module_& m);
void register_files(py::module_& m);
void register_shapes(py::module_& m);

}  // namespace mvpy
