// Result codes as Python exceptions: a LibraryError becomes mvip.Error
// (defined by the package in Python, looked up when first needed); a bad
// parameter from the operation table becomes ValueError.

#include "module.hpp"
#include "optable.hpp"

namespace mvpy {

int32_t check(int32_t code, const std::string& subject) {
    if (code < 0) throw LibraryError(subject, code);
    return code;
}

void register_errors(py::module_&) {
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const LibraryError& e) {
            const char* message = mverrnomesg(e.code);
            py::object cls = py::module_::import("mvip").attr("Error");
            py::object error = cls(e.code, message ? message : "Unknown error", e.what());
            PyErr_SetObject(cls.ptr(), error.ptr());
        } catch (const mvtool::UsageError& e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        }
    });
}

}  // namespace mvpy
