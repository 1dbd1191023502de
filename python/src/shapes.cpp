// Blob lists and drawing on numpy arrays, through the blob search and the
// figure table that mvtool uses (optable.hpp).

#include "module.hpp"
#include "optable.hpp"

#include <pybind11/stl.h>

#include <algorithm>
#include <climits>
#include <vector>

namespace mvpy {

namespace {

// The blobs of a one-pixie u8/u16 image as the packed records (44 bytes
// each: seed x, y, left, top, right, bottom, area, centre x, y) and the
// count of blobs the limits rejected.  The search paints what it found in
// a copy of the image; the caller's array is not touched.
py::tuple blobs(py::handle image, py::object test, uint32_t value, int connect, py::object limits, bool fill_holes,
                bool no_border, uint64_t most, uint32_t bits, py::object abort) {
    const uint32_t code =
        py::isinstance<py::str>(test) ? mvtool::blob_test(test.cast<std::string>()) : test.cast<uint32_t>();
    if (connect != 4 && connect != 8) throw py::value_error("connect: 4 or 8");
    uint32_t flags = connect == 4 ? 0x100u : 0x200u;
    if (fill_holes) flags |= 4;
    if (no_border) flags |= 8;
    int32_t box[4] = {0, 0, INT32_MAX, INT32_MAX};
    const bool limited = !limits.is_none();
    if (limited) {
        const auto v = limits.cast<std::vector<int32_t>>();
        if (v.size() != 4) throw py::value_error("limits: (min width, min height, max width, max height)");
        std::copy(v.begin(), v.end(), box);
    }
    ArrayImage source(image, "image", false, bits);
    py::array copy = py::module_::import("numpy").attr("array")(source.array, py::arg("order") = "C");
    ArrayImage work(copy, "image", true, source.im.pixfmt.bits, source.im.pixfmt.colorspace);
    std::vector<mvblob> found;
    uint32_t rejected = 0;
    Hook hook(abort);
    run_released(hook, "bloblist", [&](mvabort* h) {
        return mvtool::find_blobs(h, &work.im, code, value, flags, limited ? box : nullptr, most, found, &rejected);
    });
    return py::make_tuple(py::bytes(reinterpret_cast<const char*>(found.data()), found.size() * sizeof(mvblob)),
                          rejected);
}

// Draws a figure of the table into the array, in place.
void draw(py::handle image, const std::string& figure, py::tuple args, py::object colour, uint32_t width,
          uint32_t dots, uint32_t bits, py::object abort) {
    ArrayImage target(image, "image", true, bits);
    std::vector<std::string> texts;
    for (py::handle a : args) texts.push_back(py::str(a).cast<std::string>());
    mvtool::Pen pen;
    pen.width = width;
    pen.dots = dots;
    std::vector<uint32_t> c;
    if (py::isinstance<py::int_>(colour)) c.push_back(colour.cast<uint32_t>());
    else c = colour.cast<std::vector<uint32_t>>();
    if (c.empty() || c.size() > 4) throw py::value_error("colour: one to four values (the last one repeats)");
    for (size_t k = 0; k < 4; ++k) pen.colour[k] = c[std::min(k, c.size() - 1)];
    Hook hook(abort);
    run_released(hook, "draw " + figure,
                 [&](mvabort* h) { return mvtool::draw_figure(h, &target.im, figure, texts, pen); });
}

}  // namespace

void register_shapes(py::module_& m) {
    m.def("blobs", &blobs, py::arg("image"), py::arg("test"), py::arg("value"), py::arg("connect"),
          py::arg("limits"), py::arg("fill_holes"), py::arg("no_border"), py::arg("most"), py::arg("bits"),
          py::arg("abort") = py::none());
    m.def("draw", &draw, py::arg("image"), py::arg("figure"), py::arg("args"), py::arg("colour"), py::arg("width"),
          py::arg("dots"), py::arg("bits"), py::arg("abort") = py::none());
}

}  // namespace mvpy
