// A single-precision factor stands in for a double one only where no integer tells them apart.
#include "OffsetScale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "support/Images.h"

namespace {

int ByDouble(int32_t x, double factor, int offset) {
    return static_cast<int>(std::clamp<double>(std::trunc(x * factor) + offset, 0, 255));
}

int BySingle(int32_t x, float factor, int offset) {
    return static_cast<int>(std::clamp<double>(std::trunc(static_cast<float>(x) * factor) + offset, 0, 255));
}

// Integers around every step of the result, and some from everywhere.
std::vector<int32_t> Probes(test::Random& random, double factor, int offset) {
    std::vector<int32_t> probes = {INT32_MIN, INT32_MIN + 1, -1, 0, 1, INT32_MAX - 1, INT32_MAX};
    for (int level = -2 - offset; level <= 258 - offset; ++level) {
        for (int around = -3; around <= 3; ++around) {
            const double x = std::round(level / factor) + around;
            if (std::fabs(x) < 2147483647.0) probes.push_back(static_cast<int32_t>(x));
        }
    }
    for (int i = 0; i < 500; ++i) probes.push_back(static_cast<int32_t>(random.Bits()) >> random.Int(0, 30));
    return probes;
}

TEST(OffsetScale, ASingleFactorNeverTellsOnItself) {
    int found = 0;
    test::RandomCases(400, [&](test::Random& random) {
        const double factor = random.Chance(50)
                                  ? 1.0 / random.Int(2, 70000)
                                  : random.Pick({0.1, 0.25, 0.4, 0.5, 1.0 / 3, 1.0 / 257, random.Real(1e-6, 0.5)});
        const int offset = random.Chance(50) ? 0 : random.Int(-2000, 2000);
        SCOPED_TRACE("factor " + std::to_string(factor) + ", offset " + std::to_string(offset));
        const vel::OffsetScale scale = vel::OffsetScaleOf(factor, offset, true);
        EXPECT_EQ(scale.factor, factor);
        EXPECT_EQ(scale.offset, offset);
        if (scale.single == 0) return;
        ++found;
        for (const int32_t x : Probes(random, factor, offset)) {
            ASSERT_EQ(BySingle(x, scale.single, offset), ByDouble(x, factor, offset)) << x;
        }
    });
    EXPECT_GT(found, 100);
}

TEST(OffsetScale, UsualFactorsHaveOne) {
    for (const double factor : {0.5, 0.4, 0.25, 0.1, 1.0 / 256, 1.0 / 257}) {
        EXPECT_NE(vel::OffsetScaleOf(factor, 0, true).single, 0) << factor;
        EXPECT_NE(vel::OffsetScaleOf(factor, 10, true).single, 0) << factor;
    }
}

TEST(OffsetScale, NoneIsTakenWhereProductsOrOffsetsAreOutOfBounds) {
    for (const double factor : {0.0, -0.5, 0.51, 1.0, 1e-9, 1e300, std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(vel::OffsetScaleOf(factor, 0, true).single, 0) << factor;
    }
    for (const int offset : {-32001, 32001, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(vel::OffsetScaleOf(0.5, offset, true).single, 0) << offset;
    }
    EXPECT_EQ(vel::OffsetScaleOf(0.5, 0, false).single, 0);
}

}  // namespace
