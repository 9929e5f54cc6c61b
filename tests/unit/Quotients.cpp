// Sums are divided by reciprocals, in single precision where that is exact; here beside a division of integers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Coefficients.h"
#include "Kernels/Kernels.h"
#include "support/Images.h"
#include "unit/KernelCheck.h"

namespace {

uint8_t Divided(int32_t sum, int divisor, int offset) {
    const int64_t quotient = divisor == 0 ? sum : int64_t{sum} / divisor;
    return static_cast<uint8_t>(std::clamp<int64_t>(quotient + offset, 0, 255));
}

// Sums around every step of the result, around the farthest one, and some from everywhere.
std::vector<int32_t> Probes(test::Random& random, int divisor, int offset, int32_t farthest) {
    // A sum that nothing divides may wrap when the offset is added.
    const bool whole = divisor < -1 || divisor > 1;
    std::vector<int32_t> probes = {-1, 0, 1, farthest - 1, farthest, -farthest, 1 - farthest};
    if (whole) probes.insert(probes.end(), {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX});
    if (farthest) probes.insert(probes.end(), {farthest + 1, -farthest - 1});
    for (int level = -2; level <= 258; ++level) {
        for (int around = -1; around <= 1; ++around) {
            const int64_t sum = int64_t{level - offset} * divisor + around;
            if (sum >= INT32_MIN && sum <= INT32_MAX) probes.push_back(static_cast<int32_t>(sum));
        }
    }
    for (int i = 0; i < 500; ++i)
        probes.push_back(static_cast<int32_t>(random.Bits()) >> random.Int(whole ? 0 : 8, 30));
    return probes;
}

TEST(Quotients, AreThoseOfIntegersAtEveryLevel) {
    std::vector<const vel::ConvolutionKernels*> kernelsHere = {&vel::ConvolutionKernels_plain,
                                                               &vel::ConvolutionKernels_baseline};
#if defined(__x86_64__)
    if (test::MachineHasLevel("avx2")) kernelsHere.push_back(&vel::ConvolutionKernels_avx2);
    if (test::MachineHasLevel("avx512")) kernelsHere.push_back(&vel::ConvolutionKernels_avx512);
#endif
    int withFarthest = 0;
    test::RandomCases(400, [&](test::Random& random) {
        const int magnitude = random.Pick({0, 1, 2, 3, 7, 16, 255, 256, 16383, 16384, random.Int(1, 20000)});
        const int divisor = random.Chance(50) ? magnitude : -magnitude;
        const int offset = random.Chance(50) ? 0 : random.Int(-2000, 2000);
        SCOPED_TRACE("divisor " + std::to_string(divisor) + ", offset " + std::to_string(offset));
        const vel::Quotient quotient = vel::QuotientFor(vel::SumRange::Any(), divisor, offset);
        EXPECT_FALSE(quotient.narrow);
        withFarthest += quotient.farthest != 0;
        const std::vector<int32_t> sums = Probes(random, divisor, offset, quotient.farthest);
        std::vector<uint8_t> results(sums.size()), weighed(4 * sums.size());
        for (const vel::ConvolutionKernels* kernels : kernelsHere) {
            kernels->QuotientRow(results.data(), reinterpret_cast<const uint32_t*>(sums.data()), sums.size(), quotient);
            kernels->WeighRow(weighed.data(), reinterpret_cast<const uint8_t*>(sums.data()), sums.size(), 1, quotient);
            for (size_t i = 0; i < sums.size(); ++i) {
                ASSERT_EQ(results[i], Divided(sums[i], divisor, offset)) << sums[i];
                ASSERT_EQ(weighed[4 * i], results[i]) << sums[i];
            }
        }
    });
    EXPECT_GT(withFarthest, 100);
}

}  // namespace
