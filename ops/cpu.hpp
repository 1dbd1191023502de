// Processor features, asked once: kernels with wider vector forms pick them
// per call from these answers.
#pragma once

namespace mvip::ops {

bool cpu_has_avx2();

}  // namespace mvip::ops
