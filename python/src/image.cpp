// numpy arrays as the library's memory images, over the arrays' own
// memory: the library reads and writes the caller's pixels in place.

#include "module.hpp"

#include <pybind11/stl.h>

#include <bit>
#include <climits>

namespace mvpy {

namespace {

struct TypeEntry {
    char kind;
    py::ssize_t size;
    uint32_t datatype;
};
constexpr TypeEntry kTypes[] = {
    {'u', 1, MVTYPE_U8}, {'u', 2, MVTYPE_U16}, {'u', 4, MVTYPE_U32}, {'f', 4, MVTYPE_FLOAT}, {'f', 8, MVTYPE_DOUBLE},
};

[[noreturn]] void refuse(PyObject* kind, const std::string& text) {
    PyErr_SetString(kind, text.c_str());
    throw py::error_already_set();
}

// The format of an array's pixels; raises TypeError / ValueError.
mvpixfmt format_of(const py::array& a, int pixie_axis, const char* what, uint32_t bits, uint32_t colorspace) {
    const uint32_t datatype = datatype_of(a.dtype());
    if (datatype == 0)
        refuse(PyExc_TypeError, std::string(what) + ": dtype " + py::str(a.dtype()).cast<std::string>() +
                                    " is not one of uint8, uint16, uint32, float32, float64");
    const uint32_t pixies = a.ndim() > pixie_axis ? uint32_t(a.shape(pixie_axis)) : 1;
    const bool real = datatype == MVTYPE_FLOAT || datatype == MVTYPE_DOUBLE;
    if (colorspace == kDefaultSpace) colorspace = default_colorspace(pixies);
    mvpixfmt fmt{};
    if (mvpixfmt_set(&fmt, datatype, real ? 0 : bits, pixies, colorspace) < 0)
        refuse(PyExc_ValueError, std::string(what) + ": " + std::to_string(pixies) + " pixies of " +
                                     std::to_string(bits) + " bits are not a pixel format of the library");
    return fmt;
}

// True when pixies and pixels lie together from axis `x` on and the line
// stride (axis x - 1) fits a pitch.
bool fits(const py::array& a, int x) {
    const py::ssize_t item = a.itemsize();
    const char order = a.dtype().byteorder();
    const char native = std::endian::native == std::endian::little ? '<' : '>';
    if (order != '=' && order != '|' && order != native) return false;
    py::ssize_t pixel = item;
    if (a.ndim() > x + 1) {
        if (a.shape(x + 1) > 1 && a.strides(x + 1) != item) return false;
        pixel = item * a.shape(x + 1);
    }
    if (a.shape(x) > 1 && a.strides(x) != pixel) return false;
    const py::ssize_t pitch = a.strides(x - 1);
    return pitch % item == 0 && pitch >= INT32_MIN && pitch <= INT32_MAX;
}

// The array to wrap: `object` itself when it fits, else (sources only) a
// packed copy.
py::array prepare(py::handle object, const char* what, bool writable, int min_dims, int max_dims) {
    if (!py::isinstance<py::array>(object))
        refuse(PyExc_TypeError, std::string(what) + ": expected a numpy array, got " +
                                    py::str(py::type::handle_of(object).attr("__name__")).cast<std::string>());
    py::array a = py::reinterpret_borrow<py::array>(object);
    if (a.ndim() < min_dims || a.ndim() > max_dims)
        refuse(PyExc_ValueError, std::string(what) + ": expected " + std::to_string(min_dims) + " or " +
                                     std::to_string(max_dims) + " dimensions, got " + std::to_string(a.ndim()));
    for (int k = 0; k < a.ndim(); ++k)
        if (a.shape(k) < 1 || a.shape(k) > INT32_MAX)
            refuse(PyExc_ValueError, std::string(what) + ": every dimension must be 1 .. 2^31-1");
    const int x = min_dims - 1;  // the x axis
    if (writable) {
        if (!a.writeable()) refuse(PyExc_ValueError, std::string(what) + ": the array is read-only");
        if (!fits(a, x))
            refuse(PyExc_ValueError, std::string(what) + ": the pixels of a line must lie together (pixie stride = "
                                                         "itemsize, pixel stride = pixies * itemsize, native byte "
                                                         "order); pass such an array, e.g. numpy.empty(...)");
        return a;
    }
    if (fits(a, x)) return a;
    // One packed copy in native byte order.
    return py::array(py::module_::import("numpy").attr("ascontiguousarray")(
        a, a.dtype().attr("newbyteorder")("=")));
}

}  // namespace

uint32_t datatype_of(const py::dtype& dtype) {
    for (const TypeEntry& t : kTypes)
        if (dtype.kind() == t.kind && dtype.itemsize() == t.size) return t.datatype;
    return 0;
}

py::dtype dtype_of(uint32_t datatype) {
    switch (datatype & 0xFFu) {
    case MVTYPE_U8: return py::dtype::of<uint8_t>();
    case MVTYPE_U16: return py::dtype::of<uint16_t>();
    case MVTYPE_U32:
    case MVTYPE_I32: return py::dtype::of<uint32_t>();
    case MVTYPE_FLOAT: return py::dtype::of<float>();
    case MVTYPE_DOUBLE: return py::dtype::of<double>();
    default: throw LibraryError("pixel format", MVERR_DATATYPE);
    }
}

uint32_t default_colorspace(uint32_t pixies) {
    switch (pixies) {
    case 1: return MVCS_GREY;
    case 3: return MVCS_RGB;
    case 4: return MVCS_RGBX;
    default: return MVCS_UNKNOWN;
    }
}

ArrayImage::ArrayImage(py::handle object, const char* what, bool writable, uint32_t bits, uint32_t colorspace)
    : array(prepare(object, what, writable, 2, 3)) {
    const mvpixfmt fmt = format_of(array, 2, what, bits, colorspace);
    const uint32_t dims[2] = {uint32_t(array.shape(1)), uint32_t(array.shape(0))};
    void* pixels = writable ? array.mutable_data() : const_cast<void*>(array.data());
    if (mvimage_memdata(&im, pixels, 0, dims, int32_t(array.strides(0)), &fmt, nullptr, 0) < 0)
        refuse(PyExc_ValueError, std::string(what) + ": the library refused the array as an image");
}

ArrayStack::ArrayStack(py::handle object, const char* what, bool writable, uint32_t bits, uint32_t colorspace)
    : array(prepare(object, what, writable, 3, 4)) {
    if (array.strides(0) < 0) {
        if (writable) refuse(PyExc_ValueError, std::string(what) + ": the planes must follow each other forwards");
        array = py::array(py::module_::import("numpy").attr("ascontiguousarray")(array));
    }
    const mvpixfmt fmt = format_of(array, 3, what, bits, colorspace);
    const uint32_t dims[3] = {uint32_t(array.shape(2)), uint32_t(array.shape(1)), uint32_t(array.shape(0))};
    void* pixels = writable ? array.mutable_data() : const_cast<void*>(array.data());
    if (mvimage3_memdata(&im, pixels, 0, dims, int32_t(array.strides(1)), uint64_t(array.strides(0)), &fmt, nullptr,
                         0) < 0)
        refuse(PyExc_ValueError, std::string(what) + ": the library refused the array as a stack");
}

py::array new_array(uint32_t width, uint32_t height, const mvpixfmt& fmt, uint32_t depth) {
    std::vector<py::ssize_t> shape;
    if (depth > 0) shape.push_back(depth);
    shape.push_back(height);
    shape.push_back(width);
    if (fmt.pixies > 1) shape.push_back(fmt.pixies);
    // numpy.zeros: memory the system hands out zeroed costs nothing to clear.
    static PyObject* zeros = py::object(py::module_::import("numpy").attr("zeros")).release().ptr();
    return py::array(py::reinterpret_borrow<py::object>(zeros)(py::tuple(py::cast(shape)), dtype_of(fmt.datatype)));
}

}  // namespace mvpy
