// mvip._mvip: the compiled half of the Python package.  Every function
// runs the library without the interpreter lock.

#include "module.hpp"

PYBIND11_MODULE(_mvip, m) {
    m.doc() = "The mvip image-processing library on numpy arrays (compiled part of the mvip package).";
    mvpy::register_errors(m);
    mvpy::register_ops(m);
    mvpy::register_files(m);
    mvpy::register_shapes(m);
    m.attr("MVERR_CANCELED") = MVERR_CANCELED;
    m.def("errmessage", [](int32_t code) {
        const char* s = mverrnomesg(code);
        return s ? pybind11::object(pybind11::str(s)) : pybind11::object(pybind11::none());
    });
}
