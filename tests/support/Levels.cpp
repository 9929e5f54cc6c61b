#include "support/Levels.h"

#include <cstring>

namespace test {

bool MachineHasLevel(const char* level) {
#if defined(__x86_64__)
    const bool v3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma");
    if (!std::strcmp(level, "avx2")) return v3;
    if (!std::strcmp(level, "avx512")) {
        return v3 && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq") &&
               __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") &&
               __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("avx512vnni");
    }
#endif
    return !std::strcmp(level, "baseline") || !std::strcmp(level, "plain");
}

}  // namespace test
