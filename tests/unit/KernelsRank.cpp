#include "unit/SmallWindows.h"

VEL_CHECK(Rank, KeyRow) {
    const size_t pixelBytes = run.random.Pick({1u, 3u, 4u});
    uint8_t* keys = run.Out(run.count);
    kernel(keys, run.In(run.count * pixelBytes), run.count, pixelBytes);
}

VEL_CHECK(Rank, MedianRow) {
    const size_t size = static_cast<size_t>(run.random.Int(1, vel::kMostRanked)), columns = run.count + size - 1;
    const size_t pixelBytes = run.random.Pick({1u, 3u, 4u});
    const bool few = run.random.Chance(50);  // many equal keys
    uint8_t* dst = run.Out(run.count * pixelBytes);
    const uint8_t *keys[vel::kMostRanked], *samples[vel::kMostRanked];
    for (size_t y = 0; y < size; ++y) {
        uint8_t* row = run.In(columns);
        for (size_t x = 0; few && x < columns; ++x) row[x] = static_cast<uint8_t>(100 + row[x] % 5);
        keys[y] = row;
        samples[y] = run.In(columns * pixelBytes);
    }
    run.Filled();
    kernel(dst, keys, samples, size, run.count, pixelBytes);
}

VEL_CHECK(Rank, SlideCounts) {
    uint32_t* counts = run.InOut<uint32_t>(vel::kKeyCounts);
    const uint32_t* added = run.In<uint32_t>(vel::kKeyCounts);
    kernel(counts, added, run.In<uint32_t>(vel::kKeyCounts));
}

VEL_CHECK(Rank, KeyAtRank) {
    uint32_t* counts = run.In<uint32_t>(vel::kKeyCounts);
    const int most = run.random.Pick({1, 40, 100000});
    for (size_t group = 0; group < vel::kKeyGroups; ++group) counts[vel::kKeys + group] = 0;
    uint32_t all = 0;
    for (size_t key = 0; key < vel::kKeys; ++key) {
        counts[key] = run.random.Chance(30) ? static_cast<uint32_t>(run.random.Int(0, most)) : 0;
        if (key == 255 && all == 0) counts[key] = 1;
        counts[vel::kKeys + key / 16] += counts[key];
        all += counts[key];
    }
    run.Filled();
    uint32_t rank = static_cast<uint32_t>(run.random.Int(0, static_cast<int>(all) - 1));
    run.Returned(kernel(counts, &rank));
    run.Returned(rank);
}

VEL_CHECK(Rank, MedianGreyRows) {
    const test::SmallWindows w(run, 3, 1);
    kernel(w.dst, w.rows, w.n, run.Next(), w.count);
}

VEL_CHECK_FAMILY(Rank, VEL_RANK_KERNELS)
