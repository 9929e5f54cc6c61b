#include "unit/KernelCheck.h"

VEL_CHECK(Rank, KeyRow) {
    const size_t pixelBytes = run.random.Pick({1u, 3u, 4u});
    uint8_t* keys = run.Out(run.count);
    kernel(keys, run.In(run.count * pixelBytes), run.count, pixelBytes);
}

VEL_CHECK_FAMILY(Rank, VEL_RANK_KERNELS)
