// Processor features.
#include "ops/cpu.hpp"

namespace mvip::ops {

bool cpu_has_avx2() {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
    static const bool yes = __builtin_cpu_supports("avx2");
    return yes;
#else
    return false;
#endif
}

}  // namespace mvip::ops
