// Row kernels of weighted sums over windows. A sum is 32 bits wide and wraps; counts are bytes, each byte of a pixel
// being summed on its own.
#pragma once

#include "NextRows.h"

namespace vel {

// What becomes of a sum: sum / divisor, truncated towards zero, plus offset, clamped to a byte.
struct Quotient {
    uint32_t negate;  // all bits set when the divisor is negative
    int32_t offset;
    bool divide;        // false when the divisor's magnitude is 1, or when there is none
    bool narrow;        // magnitudes of sums stay below 2^22
    int32_t farthest;   // sums beyond it in magnitude have the results of +- it; below 2^22, or 0 where that fails
    double reciprocal;  // of the divisor's magnitude
    // A short cut for sums below 2^16: negative ones and a negative offset end at 0, and the others divided are
    // sum * multiplier >> (16 + shift).
    bool words;
    uint16_t multiplier;
    uint16_t shift;
};

// A kernel for ConvolveRows. Sums are made for four rows of the image at once, from rows taken in fours ("quads").
// Coefficients lie in planes of 7 bits, -64 to 63: a sum is that of plane 0, times 128 plus that of plane 1, and so on.
struct TapPlan {
    static constexpr int kRows = 4;
    static constexpr int kPlaneBits = 7;
    // [plane][quad][column][row of the image]: the coefficients of the quad's four rows, the first in the low byte.
    const uint32_t* taps;
    int planes, quads;
    int lastFrom;  // the last quad concerns the rows of the image from this one on
    bool narrow;   // one plane, and every partial sum fits 16 bits signed
    size_t columns;
    size_t step;  // bytes from one column to the next
};

// A 3 x 3 kernel: (1 b 1) down times (1 b 1) across, b being 1 or 2, added or subtracted, plus `centre` times the
// middle sample. Every sum lies between -2^15 and 2^15 - 1; negative ones become 0, the others sum * multiplier >> 16.
struct Bell {
    bool doubled;   // b is 2
    bool negative;  // subtracted
    int16_t centre;
    uint16_t multiplier;
};

// What the sums of a WordPlan can be: no more than 2^15 - 1 nor less than -2^15; or not negative, and below 2^16, or
// below it without the last row and below it in the last row.
enum class WordRange { Signed, Unsigned, Above };

// A kernel of 3 x 3 or 5 x 5 coefficients from -64 to 64, whose sums are made in 16 bits. Of a sum s, negative ones
// being 0, with t = s + raise the result is min(t, 65535) * multiplier >> (16 + shift), plus the same of
// t - min(t, 65535) + rest, less `below`. Raise and rest are 0 but for WordRange::Above.
struct WordPlan {
    static constexpr int kMostSize = 5;
    int size;
    int8_t taps[kMostSize][kMostSize];
    bool mirrored;  // the rows are the same from the last one up
    bool folded;    // and each row is the same from right to left
    WordRange range;
    uint16_t multiplier, shift, raise, rest, below;
    size_t step;  // bytes from one column to the next; samples of 4 bytes have alphas
};

// Bytes behind a prepared quad that ConvolveRows and SumRows may read.
constexpr size_t kQuadSlack = 256;

#define VEL_CONVOLUTION_KERNELS(X)                                                                                   \
    /* Brings `count` bytes of each of four rows into a quad, as its bytes from `at` on, in the order that the level \
       likes. The quad has 4 * quadBytes bytes. */                                                                   \
    X(void, PrepareQuad, (uint8_t * quad, const uint8_t* const* rows, size_t at, size_t count, size_t quadBytes))    \
    /* Quotients of weighted sums, or the sums themselves, for four rows: byte i of row r has the sum over the       \
       plan's quads and columns of coefficient * quads[quad][i + column * step].                                     \
       */                                                                                                            \
    X(void, ConvolveRows,                                                                                            \
      (uint8_t* const* dst, const uint8_t* const* quads, size_t quadBytes, const TapPlan& plan,                      \
       const Quotient& quotient, const NextRows& next, size_t count))                                                \
    X(void, SumRows,                                                                                                 \
      (uint32_t* const* sums, const uint8_t* const* quads, size_t quadBytes, const TapPlan& plan, size_t count))     \
    /* n rows of a Bell from n + 2, each readable one sample of `step` bytes before and after. The fourth byte of    \
       samples of four is the one of the sample after, in the row below: the window's last. */                       \
    X(void, BellRows,                                                                                                \
      (uint8_t* const* dst, const uint8_t* const* rows, int n, const Bell& bell, size_t step, const NextRows& next,  \
       size_t count))                                                                                                \
    /* n rows from n + size - 1, each readable size / 2 samples before and after: byte i of row y has the result of  \
       the sum of coefficient * rows[y + row][i + (column - size / 2) * step]. Alphas as in BellRows. */             \
    X(void, ConvolveWords,                                                                                           \
      (uint8_t* const* dst, const uint8_t* const* rows, int n, const WordPlan& plan, const NextRows& next,           \
       size_t count))                                                                                                \
    /* Whether that is the faster way for a plan that ConvolveRows could take. */                                    \
    X(int, WordsWorthwhile, (const WordPlan& plan))                                                                  \
    /* dst[i] = plus[i] - minus[i] + offset, clamped */                                                              \
    X(void, DifferenceRow, (uint8_t * dst, const uint8_t* plus, const uint8_t* minus, size_t count, uint8_t offset)) \
    /* dst[i] = the quotient of sums[i] */                                                                           \
    X(void, QuotientRow, (uint8_t * dst, const uint32_t* sums, size_t count, const Quotient& quotient))              \
    /* dst[i] = the sum of factors[j] * src[i + j * step], j below n; dst may be src when n is 1 */                  \
    X(void, WeighSums,                                                                                               \
      (uint32_t * dst, const uint32_t* src, const uint32_t* factors, size_t n, size_t step, size_t count))           \
    /* sums[i] += added[i] - dropped[i] */                                                                           \
    X(void, SlideColumns, (uint32_t * sums, const uint8_t* added, const uint8_t* dropped, size_t count))             \
    /* dst[i] = the sum of src[i + j * step], j below n; count is a multiple of step (1, 3 or 4) */                  \
    X(void, SlideRow, (uint32_t * dst, const uint32_t* src, size_t n, size_t step, size_t count))                    \
    /* 32-bit integers: dst[i] = the quotient of factor * src[i] */                                                  \
    X(void, WeighRow, (uint8_t * dst, const uint8_t* src, size_t count, uint32_t factor, const Quotient& quotient))

VEL_KERNEL_FAMILY(Convolution, VEL_CONVOLUTION_KERNELS)

}  // namespace vel
