// mvtool op - runs an operation of the table (optable.hpp) on image files:
// every plane of a stack, or inside a region.

#include "mvtool.hpp"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace mvtool {

namespace {

// Owns an imported region.
struct ImportedRegion {
    mvimregion* p = nullptr;
    ~ImportedRegion() { mvirp_regionfree(&p); }
};

std::string synopsis(const Op& op) {
    static const char* const kInputs[] = {"IN", "IN IN2", "IN IN2 IN3"};
    std::string s = std::string(op.name) + " " + kInputs[op.sources - 1] + " OUT";
    for (int k = 0; k < op.param_count(); ++k) s += std::string(" ") + op.params[k].name;
    return s;
}

void list_ops() {
    std::printf("Operations (mvtool op NAME IN [IN2 [IN3]] OUT [ARGS...]):\n");
    for (const Op& op : op_table()) std::printf("  %-50s %s\n", synopsis(op).c_str(), op.help);
    std::printf("\nNumbers may be decimal or 0x hexadecimal; lists are comma-separated (1,2,1).\n"
                "The output has the first input's size and pixel format unless the operation\n"
                "says otherwise; its file format comes from OUT's extension (.tif, .tiff, .bmp).\n"
                "\nWith --region FILE (mvtool op --region FILE NAME IN OUT [ARGS...]) the operation\n"
                "works only inside the region of FILE laid over IN; OUT keeps IN elsewhere.\n"
                "Operations with a region form:");
    for (const RegionForm& f : region_forms()) std::printf(" %s", f.name);
    std::printf("\n");
}

}  // namespace

void allocate_output(const Op& op, Image* const sources[], const OpValue* v, Image& out, uint32_t depth) {
    const Image& first = *sources[0];
    const Image* second = op.sources > 1 ? sources[1] : nullptr;
    uint32_t width = 0, height = 0;
    mvpixfmt fmt{};
    const mvpixfmt first_fmt = op.output == OpOutput::rgb ? first.im.pixfmt : first.format();
    check(output_format(op, first.width(), first.height(), first_fmt, second ? &second->format() : nullptr, v, width,
                        height, fmt),
          op.name);
    if (op.output == OpOutput::like_second) width = second->width(), height = second->height();
    // Single images only for pseudo-colour (one view of one plane).
    out.allocate(width, height, fmt, op.output == OpOutput::rgb ? 1 : depth);
    if (op.output == OpOutput::like_second) out.copy_palette_from(*second);
    else if (op.output == OpOutput::like_first || op.output == OpOutput::sized) out.copy_palette_from(first);
}

int cmd_op(const std::vector<std::string>& all_args) {
    std::vector<std::string> args = all_args;
    std::string region_path;
    if (args.size() >= 2 && args[0] == "--region") {
        region_path = args[1];
        args.erase(args.begin(), args.begin() + 2);
    }
    if (args.empty()) throw UsageError("op: expected NAME IN ... OUT, or --list");
    if (args[0] == "--list" || args[0] == "-l") {
        list_ops();
        return kExitOk;
    }
    const Op* op = find_op(args[0]);
    if (op == nullptr) throw UsageError("op: unknown operation '" + args[0] + "' (mvtool op --list)");
    const RegionForm* form = nullptr;
    ImportedRegion region;
    if (!region_path.empty()) {
        form = find_region_form(op->name);
        if (!form) throw UsageError("op: " + std::string(op->name) + " has no region form (mvtool op --list)");
        check(mvirp_regionimport(nullptr, &region.p, region_path.c_str(), nullptr), region_path);
    }
    const size_t files = size_t(op->sources) + 1, params = size_t(op->param_count());
    if (args.size() != 1 + files + params)
        throw UsageError("op: usage: mvtool op " + synopsis(*op) + "\n  " + op->help);

    const std::string& out_path = args[files];
    const bool to_bmp = kind_of(out_path) == FileKind::bmp;
    OpValue values[kMaxOpParams];
    for (size_t k = 0; k < params; ++k) values[k] = parse_param(*op, op->params[k], args[1 + files + k]);

    // A stack (a TIFF file of pages of one size and format) is loaded whole
    // and the operation runs on every plane; 2-D inputs beside it serve
    // every plane.
    Image inputs[3];
    Image* sources[3] = {&inputs[0], &inputs[1], &inputs[2]};
    uint32_t depth = 1;
    for (int k = 0; k < op->sources; ++k) {
        const std::string& path = args[1 + size_t(k)];
        if (is_raw(path)) {  // a raw input is one image
            load(path, inputs[k], 0, to_bmp);
            continue;
        }
        const FilePages pages(path);
        const uint32_t d = pages.stack_depth();
        if (d == 1) {
            load(path, inputs[k], 0, to_bmp);
            continue;
        }
        if (depth > 1 && d != depth)
            throw UsageError("op: the stacks differ in depth (" + std::to_string(depth) + " and " + std::to_string(d) +
                             " pages)");
        if (to_bmp)
            throw UsageError("op: " + path + " is a stack of " + std::to_string(d) +
                             " pages and a BMP file holds one image: write TIFF");
        depth = d;
        load_stack(path, pages, inputs[k], to_bmp);
    }
    Image out;
    allocate_output(*op, sources, values, out, depth);

    OpCall call{};
    call.v = values;
    std::vector<int64_t> results;
    call.results = &results;
    mvimage views[4];
    call.hook = progress(op->name);
    for (uint32_t z = 0; z < depth; ++z) {
        // On a stack the bar counts planes.
        if (depth > 1) call.hook = progress_plane(z, depth);
        for (int k = 0; k < op->sources; ++k) call.src[k] = inputs[k].plane(z, views[k]);
        call.dst = out.plane(z, views[3]);
        const std::string subject =
            depth > 1 ? std::string(op->name) + " (plane " + std::to_string(z + 1) + ")" : op->name;
        if (form) {
            check(mvip8_copy(call.hook, call.src[0], call.dst), subject);
            region.p->image = *call.src[0];
            check(form->run(call, region.p), subject);
        } else {
            check(op->run(call), subject);
        }
    }
    progress_done();
    if (op->results && results.size() == 2)
        std::printf("%s: %s %lld .. %lld\n", op->name, op->results, (long long)results[0], (long long)results[1]);
    save(out, out_path);
    return kExitOk;
}

}  // namespace mvtool
