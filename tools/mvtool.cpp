// mvtool - command-line front end of the mvip library: describe, convert
// and process image files, measure the library's speed, run the demo.
//
// This source holds main: it parses the subcommand, hands the remaining
// arguments to it and turns failures into messages and exit statuses.

#include "mvtool.hpp"

#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

namespace {

const char kUsage[] =
    "usage: mvtool COMMAND [ARGS...]\n"
    "\n"
    "Commands:\n"
    "  info FILE...              describe TIFF, BMP, JPEG and AVI files (every image of a TIFF file;\n"
    "                            pages of one size and pixel format as one stack)\n"
    "  convert IN OUT [--compression none|packbits|lzw|lzw-pred|arith] [--bits N] [--index I]\n"
    "                 [--quality Q]\n"
    "                            convert between TIFF, BMP and JPEG; OUT's extension (.tif,\n"
    "                            .tiff, .bmp, .jpg, .jpeg) gives the format, IN is recognised\n"
    "                            by its content; JPEG output at quality Q percent (default 75)\n"
    "                            and 8 bits, or 12 (--bits 12, or images of more than 8 bits);\n"
    "                            a headerless raw IN (also for op) is named\n"
    "                            raw:WIDTHxHEIGHT:TYPE:FILE, TYPE u8, u16, u32, float, double\n"
    "                            or with its bits (u16/12)\n"
    "                            every image of a TIFF file is kept unless --index picks one\n"
    "                            AVI (.avi) either way: a stack becomes one frame per plane\n"
    "                            ([--fps R], default 25; [--opendml], chosen past 1 GiB);\n"
    "                            a movie is read as a stack of its frames (--index picks one)\n"
    "  op NAME IN [IN2 [IN3]] OUT [ARGS...]\n"
    "                            run one operation of the library on image files; on a\n"
    "                            stack it runs on every page (other inputs serve every page\n"
    "                            when they are single images; of other multi-image files the\n"
    "                            first image is used)\n"
    "  op --list                 list the operations with their arguments\n"
    "  op --region FILE NAME IN OUT [ARGS...]\n"
    "                            the operation only inside the region of FILE (a region\n"
    "                            text file) laid over IN; OUT keeps IN elsewhere\n"
    "  bench [--repeat N] [--filter TEXT]\n"
    "                            time a selection of operations on a built-in 2048 x 2048\n"
    "                            image (one core) and print Mpixel/s\n"
    "  region info|scan FILE [--window X0,Y0,X1,Y1]\n"
    "                            describe a region text file (type, origin, bounds, area,\n"
    "                            runs) or list its scan list, one run \"x y len\" a line;\n"
    "                            the window clips it (default: the region's own bounds)\n"
    "  draw IN OUT FIGURE ARGS... [--width W] [--dots N] [--colour C[,C...]]\n"
    "                            draw into an image: line X0 Y0 X1 Y1, box X0 Y0 X1 Y1,\n"
    "                            ellipse CX CY A B [ANGLE], arrow X0 Y0 X1 Y1 [HEAD],\n"
    "                            curve X0 Y0 X1 Y1 X2 Y2 X3 Y3 [...], text X Y TEXT [SCALE],\n"
    "                            region FILE (its outline); colour words per pixie\n"
    "                            (default 255 each)\n"
    "  blobs IN [--test NAME|CODE] [--value V] [--connect 4|8] [--min W,H] [--max W,H]\n"
    "        [--fill-holes] [--no-border] [--count N] [--csv] [--draw OUT]\n"
    "                            find the blobs (connected passing pixels) of an image and\n"
    "                            print seed, box (right and bottom exclusive), area and\n"
    "                            centre of each; tests lt, le, eq, ge, gt, ne against V,\n"
    "                            in/out for the range V = LO | HI << 16 (default: ne 0,\n"
    "                            8 neighbours); box size limits inclusive; --no-border\n"
    "                            rejects blobs touching the image's edge; --draw writes the\n"
    "                            image in colour with each blob's box, centre and number\n"
    "  demo [OUTDIR]             run the demo pipeline on a built-in sample image; results\n"
    "                            go to OUTDIR (default out/)\n"
    "  help, --help              this text\n"
    "\n"
    "Exit status: 0 success, 1 bad command line, 2 the library reported a failure,\n"
    "3 a result check failed (demo), 130 interrupted (Ctrl-C).  Long steps show a\n"
    "progress bar when stderr is a terminal; Ctrl-C stops the running step cleanly\n"
    "and leaves no partly written output file.\n";

struct Command {
    const char* name;
    int (*run)(const std::vector<std::string>&);
};

constexpr Command kCommands[] = {
    {"info", mvtool::cmd_info},   {"convert", mvtool::cmd_convert}, {"op", mvtool::cmd_op},
    {"bench", mvtool::cmd_bench}, {"demo", mvtool::cmd_demo},
    {"region", mvtool::cmd_region}, {"draw", mvtool::cmd_draw}, {"blobs", mvtool::cmd_blobs},
};

}  // namespace

int main(int argc, char** argv) {
    using namespace mvtool;
    if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") ||
        !std::strcmp(argv[1], "help")) {
        std::fputs(kUsage, argc < 2 ? stderr : stdout);
        return argc < 2 ? kExitUsage : kExitOk;
    }
    install_interrupt_handler();
    const std::string name = argv[1];
    const std::vector<std::string> args(argv + 2, argv + argc);
    try {
        for (const Command& c : kCommands)
            if (name == c.name) return c.run(args);
        throw UsageError("unknown command '" + name + "'");
    } catch (const UsageError& e) {
        progress_done();
        std::fprintf(stderr, "mvtool: %s\nTry 'mvtool --help'.\n", e.what());
        return kExitUsage;
    } catch (const Failure& e) {
        progress_done();
        report(e);
        return e.code == MVERR_CANCELED ? kExitInterrupted : kExitFailure;
    } catch (const std::bad_alloc&) {
        progress_done();
        std::fprintf(stderr, "mvtool: %s (%d)\n", mverrnomesg(MVERR_MEMORY), int(MVERR_MEMORY));
        return kExitFailure;
    }
}
