// The library's operations from the shared operation table (optable.hpp):
// one generic entry point runs any of them on numpy arrays; the package
// makes a Python function of each entry at import.

#include "module.hpp"
#include "optable.hpp"

#include <pybind11/stl.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <optional>
#include <vector>

namespace mvpy {

namespace {

const char* output_name(mvtool::OpOutput output) {
    switch (output) {
    case mvtool::OpOutput::like_first: return "like_first";
    case mvtool::OpOutput::like_second: return "like_second";
    case mvtool::OpOutput::sized: return "sized";
    case mvtool::OpOutput::colour: return "colour";
    case mvtool::OpOutput::rgb: return "rgb";
    }
    return "";
}

[[noreturn]] void bad_value(const mvtool::Op& op, const mvtool::OpParam& p, const char* expected) {
    throw mvtool::UsageError(std::string(op.name) + ": " + p.name + ": expected " + expected);
}

int64_t whole(py::handle value, const mvtool::Op& op, const mvtool::OpParam& p, int64_t low, int64_t high) {
    PyObject* index = PyNumber_Index(value.ptr());
    if (index == nullptr) {
        PyErr_Clear();
        bad_value(op, p, "a whole number");
    }
    int overflow = 0;
    const long long n = PyLong_AsLongLongAndOverflow(index, &overflow);
    Py_DECREF(index);
    if (overflow != 0 || n < low || n > high)
        throw mvtool::UsageError(std::string(op.name) + ": " + p.name + ": " + py::str(value).cast<std::string>() +
                                 " is out of range " + std::to_string(low) + " .. " + std::to_string(high));
    return n;
}

double real(py::handle value, const mvtool::Op& op, const mvtool::OpParam& p) {
    const double d = PyFloat_AsDouble(value.ptr());
    if (d == -1.0 && PyErr_Occurred()) {
        PyErr_Clear();
        bad_value(op, p, "a number");
    }
    return d;
}

// A Python value for a parameter of the table; names (colour spaces and
// maps) go through the table's own parser.
mvtool::OpValue convert(const mvtool::Op& op, const mvtool::OpParam& p, py::handle value) {
    mvtool::OpValue v;
    switch (p.kind) {
    case 'u':
        v.i = whole(value, op, p, 0, UINT32_MAX);
        v.d = double(v.i);
        break;
    case 'i':
        v.i = whole(value, op, p, INT32_MIN, INT32_MAX);
        v.d = double(v.i);
        break;
    case 'd': v.d = real(value, op, p); break;
    case 'l':
    case 'L':
        if (!py::isinstance<py::iterable>(value) || py::isinstance<py::str>(value)) bad_value(op, p, "a sequence");
        for (py::handle item : py::reinterpret_borrow<py::iterable>(value)) {
            if (p.kind == 'l') v.list.push_back(int32_t(uint32_t(whole(item, op, p, INT32_MIN, UINT32_MAX))));
            else v.reals.push_back(real(item, op, p));
        }
        break;
    default:  // 'c', 'm': a name (or a colour code)
        v = mvtool::parse_param(op, p, py::str(value).cast<std::string>());
        break;
    }
    return v;
}

const mvtool::Op& find(const std::string& name) {
    const mvtool::Op* op = mvtool::find_op(name);
    if (op == nullptr) throw py::value_error("unknown operation '" + name + "'");
    return *op;
}

struct Region {
    mvimregion* p = nullptr;
    ~Region() { mvirp_regionfree(&p); }
};

// Runs operation `name` on the arrays of `images` with the parameter
// values of `values`; answers the output array, or (array, results) for
// operations that answer numbers too.
py::object run(const std::string& name, py::tuple images, py::tuple values, py::object out, py::object abort,
               uint32_t bits, py::object region_path) {
    const mvtool::Op& op = find(name);
    if (int(images.size()) != op.sources)
        throw py::type_error(name + " takes " + std::to_string(op.sources) + " image(s), got " +
                             std::to_string(images.size()));
    if (int(values.size()) != op.param_count())
        throw py::type_error(name + " takes " + std::to_string(op.param_count()) + " parameter(s), got " +
                             std::to_string(values.size()));
    static const char* const kWhat[] = {"image 1", "image 2", "image 3"};
    std::vector<std::unique_ptr<ArrayImage>> sources;
    for (int k = 0; k < op.sources; ++k)
        sources.push_back(std::make_unique<ArrayImage>(images[size_t(k)], kWhat[k], false, bits));
    mvtool::OpValue v[mvtool::kMaxOpParams];
    for (int k = 0; k < op.param_count(); ++k) v[k] = convert(op, op.params[k], values[size_t(k)]);

    const mvimage& first = sources[0]->im;
    const mvimage* second = op.sources > 1 ? &sources[1]->im : nullptr;
    uint32_t width = 0, height = 0;
    mvpixfmt fmt{};
    check(mvtool::output_format(op, uint32_t(first.imdim.se.x), uint32_t(first.imdim.se.y), first.pixfmt,
                                second ? &second->pixfmt : nullptr, v, width, height, fmt),
          name);
    if (op.output == mvtool::OpOutput::like_second) width = uint32_t(second->imdim.se.x), height = uint32_t(second->imdim.se.y);
    if (out.is_none()) out = new_array(width, height, fmt);
    ArrayImage dst(out, "out", true, fmt.bits, fmt.colorspace);
    if (uint32_t(dst.im.imdim.se.x) != width || uint32_t(dst.im.imdim.se.y) != height || dst.im.pixfmt.pixies != fmt.pixies ||
        dst.im.pixfmt.datatype != fmt.datatype)
        throw py::value_error(name + ": out must be " + std::to_string(height) + " x " + std::to_string(width) +
                              (fmt.pixies > 1 ? " x " + std::to_string(fmt.pixies) : std::string()) + " of " +
                              py::str(dtype_of(fmt.datatype)).cast<std::string>());

    const mvtool::RegionForm* form = nullptr;
    Region region;
    if (!region_path.is_none()) {
        form = mvtool::find_region_form(op.name);
        if (form == nullptr) throw py::value_error(name + " has no region form");
        const std::string path = py::str(region_path).cast<std::string>();
        check(mvirp_regionimport(nullptr, &region.p, path.c_str(), nullptr), path);
    }
    std::vector<int64_t> results;
    mvtool::OpCall call{};
    call.v = v;
    call.results = &results;
    for (int k = 0; k < op.sources; ++k) call.src[k] = &sources[size_t(k)]->im;
    call.dst = &dst.im;
    Hook hook(abort, std::max(uint64_t(width) * height, uint64_t(first.imdim.se.x) * uint64_t(first.imdim.se.y)));
    run_released(hook, name, [&](mvabort* h) {
        call.hook = h;
        if (!form) return op.run(call);
        const int32_t rc = mvip8_copy(h, call.src[0], call.dst);
        if (rc != 0) return rc;
        region.p->image = *call.src[0];
        return form->run(call, region.p);
    });
    if (op.results) return py::make_tuple(out, py::tuple(py::cast(results)));
    return out;
}

}  // namespace

void register_ops(py::module_& m) {
    m.def(
        "ops",
        [] {
            py::list list;
            for (const mvtool::Op& op : mvtool::op_table()) {
                py::list params;
                for (int k = 0; k < op.param_count(); ++k)
                    params.append(py::make_tuple(op.params[k].name, std::string(1, op.params[k].kind)));
                list.append(py::make_tuple(op.name, op.sources, params, output_name(op.output), op.help,
                                           op.results ? py::object(py::str(op.results)) : py::object(py::none()),
                                           mvtool::find_region_form(op.name) != nullptr));
            }
            return list;
        },
        "The operation table: (name, images, [(parameter, kind)], output, help, results, has region form).");
    m.def("run", &run, py::arg("name"), py::arg("images"), py::arg("values"), py::arg("out") = py::none(),
          py::arg("abort") = py::none(), py::arg("bits") = 0, py::arg("region") = py::none(),
          "Runs one operation of the table on numpy arrays.");
}

}  // namespace mvpy
