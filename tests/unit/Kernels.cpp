// Of all families: each has its checks, each level offers every kernel, and the module chooses a level that runs.
#include "unit/KernelCheck.h"

#include <gtest/gtest-spi.h>

#include <algorithm>

namespace {

TEST(Kernels, EveryFamilyHasATestSource) {
    const std::vector<std::string>& checked = test::CheckedFamilies();
#define VEL_EXPECT_CHECKED(Family)                                                                               \
    EXPECT_NE(std::find(checked.begin(), checked.end(), #Family), checked.end()) << "tests/unit/Kernels" #Family \
                                                                                    ".cp"                        \
                                                                                    "p";
    VEL_KERNEL_FAMILIES(VEL_EXPECT_CHECKED)
#undef VEL_EXPECT_CHECKED
}

TEST(Kernels, TheChosenLevelRunsHere) {
    const vel::KernelSet& kernels = vel::Kernels();
    EXPECT_TRUE(test::MachineHasLevel(kernels.level)) << kernels.level;
    EXPECT_EQ(&kernels, &vel::Kernels());
}

TEST(Kernels, TheBestLevelIsChosen) {
    const char* best = test::MachineHasLevel("avx512") ? "avx512" : test::MachineHasLevel("avx2") ? "avx2" : "baseline";
    EXPECT_STREQ(vel::Kernels().level, best);
}

// The yardstick must be able to fail: a kernel that misses one pixel, one that runs over, one that changes its source.
TEST(Kernels, ACheckFindsAWrongByteAndAWriteOutside) {
    const test::KernelCall right = [](test::KernelRun& run) {
        uint8_t* row = run.InOut(run.count);
        for (size_t i = 0; i < run.count; ++i) row[i] ^= 0xFF;
    };
    const auto fails = [&](const test::KernelCall& wrong) {
        testing::TestPartResultArray results;
        {
            testing::ScopedFakeTestPartResultReporter reporter(
                testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
            test::CheckKernel("sample", "baseline", right, wrong);
        }
        return results.size() > 0;
    };
    EXPECT_FALSE(fails(right));
    EXPECT_TRUE(fails([](test::KernelRun& run) {
        uint8_t* row = run.InOut(run.count);
        for (size_t i = 0; i + 1 < run.count; ++i) row[i] ^= 0xFF;
    }));
    EXPECT_TRUE(fails([](test::KernelRun& run) {
        uint8_t* row = run.InOut(run.count);
        for (size_t i = 0; i < run.count; ++i) row[i] ^= 0xFF;
        const bool room = reinterpret_cast<uintptr_t>(row + run.count) % 4096 != 0;  // not at the forbidden page
        if (room) row[run.count] ^= 1;
    }));
}

}  // namespace
