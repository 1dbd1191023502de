// Internal entry point shared by the files of the copy family.
#pragma once

#include "mvip.h"

namespace mvip::ops {

// The line walk of mvip8_copy without its entry call of the hook: checks
// the pointers, opens src and dst in one frame and copies the window line
// by line.  0, the hook's value when stopped, or a negative result code.
int32_t copy_window(mvabort* hook, mvimage* src, mvimage* dst);

}  // namespace mvip::ops
