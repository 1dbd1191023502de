// Internal entry point shared by the files of the copy family.
#pragma once

#include "ops/frame.hpp"

namespace mvip::ops {

// The line walk of mvip8_copy without its entry call of the hook: checks
// the pointers, opens src and dst in one frame and copies the window line
// by line.  0, the hook's value when stopped, or a negative result code.
int32_t copy_window(mvabort* hook, mvimage* src, mvimage* dst);

// The frame set-up of a copy from src to dst: every data type, colour,
// the pixies of `mask`, optionally bounded by runs.
Setup window_copy_setup(mvabort* hook, mvimage* src, mvimage* dst, uint32_t mask,
                 const RunList* runs = nullptr);

}  // namespace mvip::ops
