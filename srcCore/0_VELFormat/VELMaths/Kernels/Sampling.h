// Row kernels of sampling: positions, weights and weighted sums of one run of destination pixels. Positions are single
// precision, pixel (i, j) being the point (i, j). Colours are words: blue, green, red, alpha from the low byte up.
#pragma once

#include "Level.h"

namespace vel {

// What is sampled. Pixels of 1 (grey), 3 (blue, green, red) or 4 bytes; no byte outside [begin, end) is read.
struct SampledPixels {
    const uint8_t* bits;   // first byte of row 0
    ptrdiff_t stride;      // bytes from one row to the next
    const uint8_t* begin;  // of the pixel block
    const uint8_t* end;
    int pixelBytes;
};

// A turn in the plane and what is added after it.
struct TurnTerms {
    float cosine, sine, addX, addY;
};

// Where the taps of a run lie, and what they weigh: tap (i, j) of position k is the pixel i columns right of and j rows
// below the one at bits + offsets[k], and weighs columns[i * columnPitch + k] * rows[j * rowPitch + k].
struct TapRun {
    const int64_t* offsets;
    const float* columns;
    size_t columnPitch;
    const float* rows;
    size_t rowPitch;
};

// Curves that TapWeights knows exactly.
enum TapCurve {
    kBSplineCurve,
    kBicubicSharpCurve,
    kCatmullRomCurve,
    kBoxCurve,
    kHermiteCurve,
    kHermiteScaledCurve,
    kBesselCurve,
    kQuadraticCurve,
    kMitchellCurve,
    kCatmullRomHalfCurve
};

// Curves of TapSeries. The weights of the first two are exact where not doubtful; those of the others approximate: the
// errors of a position's taps add up to less than kSeriesDeviation.
enum TapSeriesCurve { kSincSeries, kBlackmanSeries, kGaussianSeries, kLanczosSeries };
constexpr float kSeriesDeviation = 12 / 16777216.0f;

#define VEL_SAMPLING_KERNELS(X)                                                                                        \
    /* x[k] = columns[k] * cosine + row * sine + addX, y[k] = row * cosine - columns[k] * sine + addY. */              \
    X(void, TurnRow, (float* x, float* y, const float* columns, float row, const TurnTerms* turn, size_t count))       \
    /* The colours of the pixels at (x, y) + add, truncated; all are inside. Grey repeats in three channels; alpha     \
       is 0 below 4 bytes. Asks for the cache lines `ahead` bytes from them, which need not be inside. */              \
    X(void, NearestRow,                                                                                                \
      (uint32_t * colours, const SampledPixels* pixels, const float* x, const float* y, float add, ptrdiff_t ahead,    \
       size_t count))                                                                                                  \
    /* The same pixels as they are, in their own bytes. */                                                             \
    X(void, TakeRow,                                                                                                   \
      (uint8_t * dst, const SampledPixels* pixels, const float* x, const float* y, float add, ptrdiff_t ahead,         \
       size_t count))                                                                                                  \
    /* Asks for the cache lines `ahead` bytes from the pixels at (x, y), truncated. */                                 \
    X(void, PrefetchRow, (const SampledPixels* pixels, const float* x, const float* y, ptrdiff_t ahead, size_t count)) \
    /* sums[k] = values[k] + add */                                                                                    \
    X(void, AddRow, (float* sums, const float* values, float add, size_t count))                                       \
    /* Offset of the pixel `back` columns and rows before the truncated position; positions are not negative. */       \
    X(void, TapOffsets,                                                                                                \
      (int64_t * offsets, const SampledPixels* pixels, const float* x, const float* y, int back, size_t count))        \
    /* weights[k * pitch + i] = the weight of tap k of 4 around positions[i], for positions of at least 1. */          \
    X(void, TapWeights, (float* weights, size_t pitch, const float* positions, size_t count, int curve))               \
    /* The same by series; doubts[i] is 1 where that is not certain of the library's weights, else 0. Lanczos has 12   \
       taps and positions of at least 5. */                                                                            \
    X(void, TapSeries,                                                                                                 \
      (float* weights, size_t pitch, const float* positions, uint32_t* doubts, size_t count, int curve))               \
    /* Sums of 4 x 4 taps, rows outer, columns inner, (column * row) * channel, in single precision; clamped to 0      \
       to 255 and truncated. Grey repeats in three channels. */                                                        \
    X(void, Accumulate4, (uint32_t * colours, const SampledPixels* pixels, const TapRun* taps, size_t count))          \
    /* The same of 12 x 12 taps. */                                                                                    \
    X(void, Accumulate12, (uint32_t * colours, const SampledPixels* pixels, const TapRun* taps, size_t count))         \
    /* The same for approximate weights; adds 1 to doubts[k] where a truncation could differ with the exact ones. */   \
    X(void, GuardedSums4,                                                                                              \
      (uint32_t * colours, uint32_t * doubts, const SampledPixels* pixels, const TapRun* taps, size_t count))          \
    X(void, GuardedSums12,                                                                                             \
      (uint32_t * colours, uint32_t * doubts, const SampledPixels* pixels, const TapRun* taps, size_t count))          \
    /* dst[i] = the sum of weights[j] * rows[j][i], j from 0 up, clamped and truncated. */                             \
    X(void, SumRows, (uint8_t * dst, const uint8_t* const* rows, const float* weights, int taps, size_t bytes))        \
    /* The same where each byte has further terms whose weights add up to `neglected` at most in every row; doubts[i]  \
       is 1 where they could make a difference, else 0. Returns whether any is 1. */                                   \
    X(int, GuardedRows,                                                                                                \
      (uint8_t * dst, uint8_t * doubts, const uint8_t* const* rows, const float* weights, int taps, float neglected,   \
       size_t bytes))                                                                                                  \
    /* Grey pixels: sums[k] = the sum of weights[i * pitch + k] * row[offsets[k] + i], i from 0 to 3 or 11. */         \
    X(void, SumColumns,                                                                                                \
      (float* sums, const uint8_t* row, const int64_t* offsets, const float* weights, size_t pitch, int taps,          \
       size_t count))                                                                                                  \
    /* dst[i] = the sum of weights[j] * rows[j][i], j from 0 up, clamped and truncated, the rows being SumColumns of   \
       weights of which no position's add up to more than `reach`; doubts[i] is 1 where Accumulate could differ, else  \
       0. Returns whether any is 1. */                                                                                 \
    X(int, GuardedSums,                                                                                                \
      (uint8_t * dst, uint8_t * doubts, const float* const* rows, const float* weights, int taps, float reach,         \
       size_t count))                                                                                                  \
    /* Alpha becomes 255, except where it is 1, the mark of a colour from outside. */                                  \
    X(void, OpaqueRow, (uint32_t * colours, size_t count))                                                             \
    /* Blue, green and red of colour words as 3-byte pixels. */                                                        \
    X(void, StoreRow24, (uint8_t * dst, const uint32_t* colours, size_t count))                                        \
    /* The nearest grey of each colour: (blue + green + red + 1) / 3. */                                               \
    X(void, StoreRow8, (uint8_t * dst, const uint32_t* colours, size_t count))                                         \
    /* Blends 3- or 4-byte pixels with colours by the colours' alpha A: channel * (A / 255) + old * ((255 - A) /       \
       255), truncated. A fourth byte becomes A. */                                                                    \
    X(void, BlendRow, (uint8_t * dst, int dstBytes, const uint32_t* colours, size_t count))                            \
    /* Writes the colours except those whose low 24 bits are `key`; a fourth byte becomes the colour's alpha. */       \
    X(void, KeyedRow, (uint8_t * dst, int dstBytes, const uint32_t* colours, uint32_t key, size_t count))

VEL_KERNEL_FAMILY(Sampling, VEL_SAMPLING_KERNELS)

}  // namespace vel
