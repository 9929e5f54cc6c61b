#include "unit/KernelCheck.h"

namespace {

// Every way of dividing; `narrow` only where it may be.
vel::Quotient RandomQuotient(test::Random& random, bool narrow) {
    const int magnitude = random.Pick({1, 2, 3, 7, 9, 16, 52, 159, 273, random.Int(1, 5000), random.Int(1, INT32_MAX)});
    return {random.Chance(30) ? ~0u : 0u, random.Chance(50) ? 0 : random.Int(-300, 300), magnitude > 1, narrow,
            1.0 / magnitude};
}

}  // namespace

VEL_CHECK(Convolution, AddScaledRow) {
    uint32_t* sums = run.InOut<uint32_t>(run.count);
    kernel(sums, run.In(run.count), run.count, static_cast<uint32_t>(run.random.Bits()));
}

VEL_CHECK(Convolution, QuotientRow) {
    const bool narrow = run.random.Chance(60);
    uint8_t* dst = run.Out(run.count);
    uint32_t* sums = run.In<uint32_t>(run.count);
    for (size_t i = 0; narrow && i < run.count; ++i) sums[i] = sums[i] % (1u << 23) - (1u << 22) + 1;
    run.Filled();
    kernel(dst, sums, run.count, RandomQuotient(run.random, narrow));
}

VEL_CHECK(Convolution, WeighRow) {
    uint8_t* dst = run.Out(run.count * 4);
    const uint8_t* src = run.In(run.count * 4);
    const uint32_t factor = run.random.Chance(50) ? 1 : static_cast<uint32_t>(run.random.Int(-32768, 32767));
    kernel(dst, src, run.count, factor, RandomQuotient(run.random, false));
}

VEL_CHECK_FAMILY(Convolution, VEL_CONVOLUTION_KERNELS)
