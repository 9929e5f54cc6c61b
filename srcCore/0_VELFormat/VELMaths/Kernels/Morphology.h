// Row kernels of minima and maxima over windows. Counts are bytes: each byte of a pixel is compared on its own.
#pragma once

#include "NextRows.h"

namespace vel {

// The most rows that one call combines, and the most windows of rows that one call makes.
constexpr int kMostRows = 5;
constexpr int kMostWindows = 16;

#define VEL_MORPHOLOGY_KERNELS(X)                                                                                      \
    /* dst[i] = the least (greatest) of rows[0][i] to rows[n - 1][i]; n is 1 to kMostRows. Rows may overlap            \
       each other, but not dst. */                                                                                     \
    X(void, LeastOfRows, (uint8_t * dst, const uint8_t* const* rows, int n, size_t count))                             \
    X(void, GreatestOfRows, (uint8_t * dst, const uint8_t* const* rows, int n, size_t count))                          \
    /* Extremes of `windows` windows of `run` rows each: low[w][i] = the least, high[w][i] = the greatest of           \
       rows[w][i] to rows[w + run - 1][i]; low or high may be null. `windows` is a power of 2, up to kMostWindows      \
       and to `run`. */                                                                                                \
    X(void, ExtremesOfWindows,                                                                                         \
      (uint8_t* const* low, uint8_t* const* high, const uint8_t* const* rows, int windows, size_t run,                 \
       const NextRows& next, size_t count))                                                                            \
    /* dst[i] = the greatest of n rows at highs less the least of n rows at lows */                                    \
    X(void, SpreadOfRows,                                                                                              \
      (uint8_t * dst, const uint8_t* const* lows, const uint8_t* const* highs, int n, size_t count))                   \
    /* How much of a run of `run` bytes, `step` (1, 3 or 4) apart, one of the next three can cover: at least 2, or     \
       all. */                                                                                                         \
    X(size_t, CoveredRun, (size_t run, size_t step))                                                                   \
    /* dst[i] = the least (greatest, greatest less least) of src[i], src[i + step] and so on, `run` of them. */        \
    X(void, LeastOfRuns, (uint8_t * dst, const uint8_t* src, size_t run, size_t step, size_t count))                   \
    X(void, GreatestOfRuns, (uint8_t * dst, const uint8_t* src, size_t run, size_t step, size_t count))                \
    X(void, SpreadOfRuns,                                                                                              \
      (uint8_t * dst, const uint8_t* low, const uint8_t* high, size_t run, size_t step, size_t count))                 \
    /* Extremes of squares of `size` (3 or 5) samples of `step` (1, 3 or 4) bytes: n rows from n + size - 1, each      \
       readable size / 2 samples before and after. The fourth byte of samples of four is that of the square's last. */ \
    X(void, LeastOfSquares,                                                                                            \
      (uint8_t* const* dst, const uint8_t* const* rows, int n, int size, size_t step, const NextRows& next,            \
       size_t count))                                                                                                  \
    X(void, GreatestOfSquares,                                                                                         \
      (uint8_t* const* dst, const uint8_t* const* rows, int n, int size, size_t step, const NextRows& next,            \
       size_t count))                                                                                                  \
    X(void, SpreadOfSquares,                                                                                           \
      (uint8_t* const* dst, const uint8_t* const* rows, int n, int size, size_t step, const NextRows& next,            \
       size_t count))                                                                                                  \
    /* Whether that is the faster way. */                                                                              \
    X(int, SquaresWorthwhile, (int size, size_t step))                                                                 \
    /* Contours of n rows from n + 2, each readable one sample before and after. The fourth byte is copied. */         \
    X(void, ContourRows,                                                                                               \
      (uint8_t* const* dst, const uint8_t* const* rows, int n, size_t step, const NextRows& next, size_t count))

VEL_KERNEL_FAMILY(Morphology, VEL_MORPHOLOGY_KERNELS)

}  // namespace vel
