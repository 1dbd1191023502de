// Processor features: kernels with vector forms (AVX2, AVX-512) pick them
// per call from these answers; every vector form has a plain twin that
// gives exactly the same results.
//
// The answers come from the processor, asked once, capped by a
// process-wide limit that starts at the top level.  Only the twin tests
// lower it: they run each operation once with the limit at a vector level
// and once at `plain` and compare.  The limit is a hidden internal symbol
// (the shared library exports only the C API), so callers of the library
// cannot reach it; the tests link the library's objects into their own
// program to do so.  One switch here, rather than a test entry beside every
// kernel family, keeps the kernels and their choice exactly as the library
// runs them, selection logic included.
#pragma once

#include <cstdint>

namespace mvip::ops {

// Instruction levels, each including the ones before it.  `avx512` is
// AVX-512 F, BW, VL and VBMI (what the byte-table lookup and the point and
// pair kernels need); a processor with AVX-512 but without VBMI reports
// `avx2`.
enum class CpuLevel : uint8_t { plain, avx2, avx512 };

// The processor's level, no higher than the limit.
CpuLevel cpu_level();
// The processor's own level, whatever the limit.
CpuLevel cpu_detected();
// Sets the limit (tests only; not thread-safe against calls in flight).
void cpu_limit(CpuLevel most);

inline bool cpu_has_avx2() { return cpu_level() >= CpuLevel::avx2; }
inline bool cpu_has_avx512() { return cpu_level() >= CpuLevel::avx512; }

}  // namespace mvip::ops
