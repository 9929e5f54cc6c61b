// Included first by every kernel source: which level this translation unit is compiled for.
//
// A kernel source is compiled once per level, with VEL_LEVEL naming it (plain, baseline, avx2, avx512) and the
// compiler's target options set to match. It may include C headers and intrinsics only, and everything in it but the
// level's table has internal linkage: a weak symbol compiled for one level could be picked by the linker for another.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

// `plain` is the tests' yardstick: the plain loops of every kernel, without any intrinsic form.
#if defined(__x86_64__) && !defined(VEL_PLAIN)
#include <immintrin.h>
#if defined(__AVX2__)
#define VEL_AVX2 1
#endif
#if defined(__AVX512VBMI__) && defined(__AVX512VBMI2__) && defined(__AVX512VNNI__)
#define VEL_AVX512 1
#endif
#endif

#define VEL_JOIN2(a, b) a##b
#define VEL_JOIN(a, b) VEL_JOIN2(a, b)

// The members of a family's table and its entries, from the family's list of X(result, name, arguments).
#define VEL_KERNEL_MEMBER(result, name, arguments) result(*name) arguments;
#define VEL_KERNEL_ENTRY(result, name, arguments) &name,

// One table of function pointers per family and level.
#define VEL_KERNEL_FAMILY(Family, LIST)                                                                 \
    struct Family##Kernels {                                                                            \
        LIST(VEL_KERNEL_MEMBER)                                                                         \
    };                                                                                                  \
    extern const Family##Kernels Family##Kernels_plain, Family##Kernels_baseline, Family##Kernels_avx2, \
        Family##Kernels_avx512;
#define VEL_KERNEL_TABLE(Family, LIST) \
    extern const Family##Kernels VEL_JOIN(Family##Kernels_, VEL_LEVEL) = {LIST(VEL_KERNEL_ENTRY)};
