// Processor features.
#include "ops/cpu.hpp"

#include <algorithm>
#include <atomic>

namespace mvip::ops {
namespace {

CpuLevel ask_processor() {
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx2"))
        return CpuLevel::avx512;
    if (__builtin_cpu_supports("avx2")) return CpuLevel::avx2;
#endif
    return CpuLevel::plain;
}

std::atomic<CpuLevel> limit{CpuLevel::avx512};

}  // namespace

CpuLevel cpu_detected() {
    static const CpuLevel level = ask_processor();
    return level;
}

CpuLevel cpu_level() {
    return std::min(cpu_detected(), limit.load(std::memory_order_relaxed));
}

void cpu_limit(CpuLevel most) { limit.store(most, std::memory_order_relaxed); }

}  // namespace mvip::ops
