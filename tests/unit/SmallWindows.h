// Rows for kernels of small windows.
#pragma once

#include "unit/KernelCheck.h"

namespace test {

// Some rows of square windows.
struct SmallWindows {
    int n;
    size_t step, count;
    uint8_t* dst[9];
    const uint8_t* rows[13];
    SmallWindows(KernelRun& run, int size) : SmallWindows(run, size, run.random.Pick({1u, 3u, 4u})) {}
    SmallWindows(KernelRun& run, int size, size_t bytes)
        : n(run.random.Int(1, 9)), step(bytes), count(step == 4 ? run.count / 4 * 4 : run.count) {
        const size_t reach = static_cast<size_t>(size / 2) * step;
        for (int y = 0; y < n; ++y) dst[y] = run.Out(count);
        for (int y = 0; y < n + size - 1; ++y) rows[y] = run.In(count + 2 * reach) + reach;
    }
};

}  // namespace test
