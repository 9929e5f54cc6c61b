// Row kernels of the median: brightness keys, and the middle of windows by key.
#pragma once

#include "NextRows.h"

namespace vel {

// The largest windows that MedianRow takes: their samples are counted in bytes.
constexpr size_t kMostRanked = 15;

// How often each key occurs, and each group of 16 keys, one after the other.
constexpr size_t kKeys = 256, kKeyGroups = 16, kKeyCounts = kKeys + kKeyGroups;

#define VEL_RANK_KERNELS(X)                                                                                         \
    /* keys[i] = (117 blue + 601 green + 306 red) >> 10 of samples of 1 (the grey itself), 3 or 4 bytes */          \
    X(void, KeyRow, (uint8_t * keys, const uint8_t* src, size_t pixels, size_t pixelBytes))                         \
    /* Of each window of size x size samples, in the stable order by key: the one at size * size / 2, samples being \
       visited column by column. Window i lies in columns i to i + size - 1 of keys[0] to keys[size - 1] and of     \
       samples[0] to samples[size - 1]; size is 1 to kMostRanked. */                                                \
    X(void, MedianRow,                                                                                              \
      (uint8_t * dst, const uint8_t* const* keys, const uint8_t* const* samples, size_t size, size_t pixels,        \
       size_t pixelBytes))                                                                                          \
    /* The same of 3 x 3 greys: n rows from n + 2, each readable one byte before and after. */                      \
    X(void, MedianGreyRows,                                                                                         \
      (uint8_t* const* dst, const uint8_t* const* rows, int n, const NextRows& next, size_t count))                 \
    /* counts[i] += added[i] - dropped[i] for kKeyCounts counts */                                                  \
    X(void, SlideCounts, (uint32_t * counts, const uint32_t* added, const uint32_t* dropped))                       \
    /* The key that comes at *rank when all are sorted; *rank becomes how many of that key come before. It is less  \
       than the number of all, which is less than 2^31. */                                                          \
    X(uint8_t, KeyAtRank, (const uint32_t* counts, uint32_t* rank))

VEL_KERNEL_FAMILY(Rank, VEL_RANK_KERNELS)

}  // namespace vel
