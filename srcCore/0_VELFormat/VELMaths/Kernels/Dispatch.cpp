// Chooses the kernel level. VEL_FORCE_LEVEL, a build definition of the tests, pins it.
#include "Kernels.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace vel {
namespace {

#define VEL_FAMILY_BASELINE(Family) &Family##Kernels_baseline,
#define VEL_FAMILY_AVX2(Family) &Family##Kernels_avx2,
#define VEL_FAMILY_AVX512(Family) &Family##Kernels_avx512,

[[maybe_unused]] const KernelSet kBaseline = {"baseline", VEL_KERNEL_FAMILIES(VEL_FAMILY_BASELINE)};

#if defined(__x86_64__)
[[maybe_unused]] const KernelSet kAvx2 = {"avx2", VEL_KERNEL_FAMILIES(VEL_FAMILY_AVX2)};
[[maybe_unused]] const KernelSet kAvx512 = {"avx512", VEL_KERNEL_FAMILIES(VEL_FAMILY_AVX512)};

struct Registers {
    uint32_t eax, ebx, ecx, edx;
};

Registers Cpuid(uint32_t leaf) {
    Registers r{};
    __get_cpuid_count(leaf, 0, &r.eax, &r.ebx, &r.ecx, &r.edx);
    return r;
}

// Register state that the operating system saves: bits 1-2 for 256-bit registers, 5-7 for 512-bit ones.
uint64_t SavedState() {
    uint32_t low = 0, high = 0;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low | static_cast<uint64_t>(high) << 32;
}

constexpr bool All(uint64_t value, uint64_t bits) { return (value & bits) == bits; }
constexpr uint32_t Bit(int n) { return 1u << n; }

[[maybe_unused]] const KernelSet& Choose() {
    const Registers one = Cpuid(1), seven = Cpuid(7), extended = Cpuid(0x80000001u);
    if (!(one.ecx & Bit(27))) return kBaseline;  // no XGETBV
    const uint64_t saved = SavedState();
    // FMA, SSSE3, CX16, SSE4.1, SSE4.2, MOVBE, POPCNT, AVX, F16C; BMI1, AVX2, BMI2; LZCNT: x86-64-v3.
    const bool v3 =
        All(saved, 0x6) &&
        All(one.ecx, Bit(12) | Bit(9) | Bit(13) | Bit(19) | Bit(20) | Bit(22) | Bit(23) | Bit(28) | Bit(29)) &&
        All(seven.ebx, Bit(3) | Bit(5) | Bit(8)) && All(extended.ecx, Bit(5));
    if (!v3) return kBaseline;
    // AVX512 F, DQ, CD, BW, VL: x86-64-v4; and VBMI, VBMI2, VNNI.
    const bool v4 = All(saved, 0xE6) && All(seven.ebx, Bit(16) | Bit(17) | Bit(28) | Bit(30) | Bit(31)) &&
                    All(seven.ecx, Bit(1) | Bit(6) | Bit(11));
    return v4 ? kAvx512 : kAvx2;
}
#else
[[maybe_unused]] const KernelSet& Choose() { return kBaseline; }
#endif

}  // namespace

const KernelSet& Kernels() {
#if defined(VEL_FORCE_LEVEL)
    return VEL_JOIN(k, VEL_FORCE_LEVEL);
#else
    static const KernelSet& chosen = Choose();
    return chosen;
#endif
}

}  // namespace vel
