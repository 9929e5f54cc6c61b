#include "unit/KernelCheck.h"

VEL_CHECK(Morphology, MinRow) {
    uint8_t* dst = run.Out(run.count);
    const uint8_t* a = run.In(run.count);
    kernel(dst, a, run.In(run.count), run.count);
}

VEL_CHECK(Morphology, MaxRow) {
    uint8_t* dst = run.Out(run.count);
    const uint8_t* a = run.In(run.count);
    kernel(dst, a, run.In(run.count), run.count);
}

VEL_CHECK(Morphology, SpreadRow) {
    uint8_t* dst = run.Out(run.count);
    const uint8_t* high = run.In(run.count);
    kernel(dst, high, run.In(run.count), run.count);
}

VEL_CHECK(Morphology, ContourRow) {
    const size_t pixelBytes = run.random.Pick({1u, 3u, 4u});
    uint8_t* dst = run.Out(run.count);
    const uint8_t* rows[3];
    for (const uint8_t*& row : rows) row = run.In(run.count + 2 * pixelBytes) + pixelBytes;
    kernel(dst, rows[0], rows[1], rows[2], run.count, pixelBytes);
}

VEL_CHECK_FAMILY(Morphology, VEL_MORPHOLOGY_KERNELS)
