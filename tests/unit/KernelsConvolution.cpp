#include <cstdlib>

#include "unit/SmallWindows.h"

namespace {

// Every way of dividing; `narrow` only where it may be.
vel::Quotient RandomQuotient(test::Random& random, bool narrow) {
    const int magnitude = random.Pick({1, 2, 3, 7, 9, 16, 52, 159, 273, random.Int(1, 5000), random.Int(1, INT32_MAX)});
    vel::Quotient quotient = {};
    quotient.negate = random.Chance(30) ? ~0u : 0u;
    quotient.offset = random.Chance(50) ? 0 : random.Int(-300, 300);
    quotient.divide = magnitude > 1;
    quotient.narrow = narrow;
    quotient.reciprocal = 1.0 / magnitude;
    const int64_t farthest = int64_t{magnitude} * (256 + std::abs(quotient.offset));
    if (random.Chance(50) && farthest < 1 << 22) quotient.farthest = static_cast<int32_t>(farthest);
    return quotient;
}

// Division of sums below 2^16 by multiplication, for a divisor that allows it for all of them.
vel::Quotient RandomWordQuotient(test::Random& random) {
    vel::Quotient quotient = RandomQuotient(random, true);
    const int shift = random.Int(1, 15);
    quotient.negate = 0;
    if (quotient.offset > 0) quotient.offset = -quotient.offset;
    quotient.divide = true;
    quotient.words = true;
    // Powers of 2, and 3 times one: 2^(16 + shift) / (3 * 2^(shift - 1)) = 2^17 / 3.
    const bool triple = random.Chance(50);
    quotient.reciprocal = 1.0 / (triple ? 3 << (shift - 1) : 1 << shift);
    quotient.multiplier = triple ? 43691 : 0;
    if (!triple) {
        quotient.multiplier = 32768;
        quotient.shift = static_cast<uint16_t>(shift - 1);
    } else {
        quotient.shift = static_cast<uint16_t>(shift);
    }
    return quotient;
}

// The layout of a quad is the level's own, so quads come from the same table as the kernel under test.
template <auto Member, class Kernel>
const vel::ConvolutionKernels& TableOf(Kernel kernel) {
    for (const vel::ConvolutionKernels* table : {
             &vel::ConvolutionKernels_plain, &vel::ConvolutionKernels_baseline,
#if defined(__x86_64__)
                 &vel::ConvolutionKernels_avx2, &vel::ConvolutionKernels_avx512,
#endif
         }) {
        if (table->*Member == kernel) return *table;
    }
    return vel::ConvolutionKernels_plain;
}

// Quads and coefficients for ConvolveRows and SumRows; `small`: sums that stay below 2^15.
struct TapsToSum {
    vel::TapPlan plan = {};
    const uint8_t* quads[8];
    size_t quadBytes;

    TapsToSum(test::KernelRun& run, const vel::ConvolutionKernels& table, bool small) {
        test::Random& random = run.random;
        plan.planes = small ? 1 : random.Int(1, 5);
        plan.quads = random.Int(1, small ? 2 : 6);
        plan.lastFrom = random.Int(0, 3);
        plan.narrow = small && random.Chance(70);
        plan.columns = static_cast<size_t>(random.Int(1, small ? 2 : 7));
        plan.step = random.Pick({1u, 3u, 4u});
        quadBytes = run.count + (plan.columns - 1) * plan.step;
        plan.taps = RandomTaps(run, small ? 7 : 63);
        for (int q = 0; q < plan.quads; ++q) {
            const uint8_t* rows[4];
            for (const uint8_t*& row : rows) row = run.In(quadBytes);
            uint8_t* quad = run.In(4 * quadBytes + vel::kQuadSlack);
            table.PrepareQuad(quad, rows, 0, quadBytes, quadBytes);
            quads[q] = quad;
        }
        run.Filled();
    }

private:
    const uint32_t* RandomTaps(test::KernelRun& run, int most) {
        const size_t inQuad = plan.columns * 4, inPlane = static_cast<size_t>(plan.quads) * inQuad;
        const size_t all = inPlane * static_cast<size_t>(plan.planes);
        uint32_t* taps = run.In<uint32_t>(all);
        for (size_t i = 0; i < all; ++i) {
            const bool lastQuad = i % inPlane / inQuad + 1 == static_cast<size_t>(plan.quads);
            taps[i] = 0;
            if (lastQuad && i % 4 < static_cast<size_t>(plan.lastFrom)) continue;
            for (int j = 0; j < 4; ++j) {
                taps[i] |= static_cast<uint32_t>(run.random.Int(-most, most) & 0xFF) << (8 * j);
            }
        }
        return taps;
    }
};

}  // namespace

VEL_CHECK(Convolution, PrepareQuad) {
    const size_t before = static_cast<size_t>(run.random.Int(0, 12)), bytes = run.count + before;
    const uint8_t* rows[4];
    for (const uint8_t*& row : rows) row = run.In(bytes);
    const uint8_t* const rest[4] = {rows[0] + before, rows[1] + before, rows[2] + before, rows[3] + before};
    uint8_t* quad = run.In(4 * bytes);
    kernel(quad, rows, 0, before, bytes);
    kernel(quad, rest, before, run.count, bytes);
    run.Filled();
    bool interleaved = true, inRows = true;
    for (size_t i = 0; i < 4 * bytes; ++i) {
        interleaved &= quad[i] == rows[i % 4][i / 4];
        inRows &= quad[i] == rows[i / bytes][i % bytes];
    }
    run.Returned(interleaved || inRows);
}

VEL_CHECK(Convolution, ConvolveRows) {
    const bool small = run.random.Chance(70);
    const vel::Quotient quotient =
        small && run.random.Chance(50) ? RandomWordQuotient(run.random) : RandomQuotient(run.random, small);
    uint8_t* dst[4];
    for (uint8_t*& row : dst) row = run.Out(run.count);
    const TapsToSum sum(run, TableOf<&vel::ConvolutionKernels::ConvolveRows>(kernel), small);
    kernel(dst, sum.quads, sum.quadBytes, sum.plan, quotient, run.Next(), run.count);
}

VEL_CHECK(Convolution, SumRows) {
    uint32_t* sums[4];
    for (uint32_t*& row : sums) row = run.Out<uint32_t>(run.count);
    const TapsToSum sum(run, TableOf<&vel::ConvolutionKernels::SumRows>(kernel), run.random.Chance(30));
    kernel(sums, sum.quads, sum.quadBytes, sum.plan, run.count);
}

VEL_CHECK(Convolution, WeighSums) {
    const size_t n = static_cast<size_t>(run.random.Int(1, 9)), step = run.random.Pick({1u, 3u, 4u});
    uint32_t* dst = run.Out<uint32_t>(run.count);
    const uint32_t* src = run.In<uint32_t>(run.count + (n - 1) * step);
    kernel(dst, src, run.In<uint32_t>(n), n, step, run.count);
}

VEL_CHECK(Convolution, SlideColumns) {
    uint32_t* sums = run.InOut<uint32_t>(run.count);
    const uint8_t* added = run.In(run.count);
    kernel(sums, added, run.In(run.count), run.count);
}

VEL_CHECK(Convolution, SlideRow) {
    const size_t n = static_cast<size_t>(run.random.Int(1, 9)), step = run.random.Pick({1u, 3u, 4u});
    uint32_t* dst = run.Out<uint32_t>(run.count * step);
    kernel(dst, run.In<uint32_t>((run.count + n - 1) * step), n, step, run.count * step);
}

VEL_CHECK(Convolution, BellRows) {
    vel::Bell bell = {};
    bell.doubled = run.random.Chance(50);
    bell.negative = run.random.Chance(50);
    bell.centre = static_cast<int16_t>(run.random.Int(-100, 100));
    // As many results as possible below 255.
    bell.multiplier = static_cast<uint16_t>(run.random.Int(1, 12000));
    const test::SmallWindows w(run, 3);
    kernel(w.dst, w.rows, w.n, bell, w.step, run.Next(), w.count);
}

VEL_CHECK(Convolution, ConvolveWords) {
    test::Random& random = run.random;
    vel::WordPlan plan = {};
    plan.range = random.Pick({vel::WordRange::Signed, vel::WordRange::Unsigned, vel::WordRange::Above});
    plan.size = random.Pick({3, 5});
    plan.mirrored = random.Chance(50);
    plan.folded = plan.mirrored && random.Chance(50);
    plan.step = random.Pick({1u, 3u, 4u});
    // All of them stay within the range: at most 9 and 25 coefficients.
    const bool above = plan.range == vel::WordRange::Above;
    const int most = (above ? 288 : plan.range == vel::WordRange::Unsigned ? 250 : 120) / (plan.size * plan.size);
    for (int y = 0; y < plan.size; ++y) {
        for (int x = 0; x < plan.size; ++x) {
            const int tap = random.Int(plan.range == vel::WordRange::Signed ? -most : most / 2, most);
            const int column = plan.folded && 2 * x >= plan.size ? plan.size - 1 - x : x;
            const int row = plan.mirrored && 2 * y >= plan.size ? plan.size - 1 - y : y;
            plan.taps[y][x] = row == y && column == x ? static_cast<int8_t>(tap) : plan.taps[row][column];
        }
    }
    plan.multiplier = static_cast<uint16_t>(random.Int(1, above ? 0x3FFF : 0x7FFF));
    plan.shift = static_cast<uint16_t>(random.Int(0, above ? 9 : 6));
    plan.raise = static_cast<uint16_t>(above ? random.Int(0, 1) : 0);
    plan.rest = static_cast<uint16_t>(above ? random.Int(0, 300) : 0);
    plan.below = static_cast<uint16_t>(random.Chance(50) ? 0 : random.Int(0, 300));
    const test::SmallWindows w(run, plan.size, plan.step);
    kernel(w.dst, w.rows, w.n, plan, run.Next(), w.count);
}

// Levels may judge differently; the answer only chooses between two ways to the same bits.
VEL_CHECK(Convolution, WordsWorthwhile) {
    const vel::WordPlan plan = {};
    run.Returned(kernel(plan) == 0 || kernel(plan) == 1);
}

VEL_CHECK(Convolution, DifferenceRow) {
    uint8_t *dst = run.Out(run.count), *plus = run.In(run.count);
    kernel(dst, plus, run.In(run.count), run.count, run.random.Byte());
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
