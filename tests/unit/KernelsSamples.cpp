#include "unit/KernelCheck.h"

VEL_CHECK(Samples, UnpackRow) {
    const uint32_t bits = run.random.Pick({1u, 4u});
    uint8_t* dst = run.Out(run.count);
    kernel(dst, run.In((run.count * bits + 7) / 8), run.count, bits);
}

VEL_CHECK(Samples, PackRow) {
    const uint32_t bits = run.random.Pick({1u, 4u});
    uint8_t* dst = run.InOut((run.count * bits + 7) / 8);
    kernel(dst, run.In(run.count), run.count, bits);
}

VEL_CHECK(Samples, CopyAlphaRow) {
    uint8_t* dst = run.InOut(run.count * 4);
    kernel(dst, run.In(run.count * 4), run.count);
}

VEL_CHECK_FAMILY(Samples, VEL_SAMPLES_KERNELS)
