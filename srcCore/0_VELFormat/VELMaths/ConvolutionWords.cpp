#include "ConvolutionWords.h"

#include "Kernels/Kernels.h"
#include "SmallWindows.h"

namespace vel {
namespace {

constexpr uint64_t kMostWord = 0xFFFF;

// False when they are too many or too great.
bool TakeCoefficients(const Coefficients& coefficients, WordPlan& plan) {
    const int64_t size = coefficients.Rows();
    if (coefficients.Columns() != size || (size != 3 && size != 5)) return false;
    plan.size = static_cast<int>(size);
    plan.mirrored = plan.folded = true;
    for (int64_t y = 0; y < size; ++y) {
        for (int64_t x = 0; x < size; ++x) {
            const int32_t value = coefficients.At(x, y);
            if (value < -64 || value > 64) return false;
            plan.taps[y][x] = static_cast<int8_t>(value);
            plan.mirrored &= value == coefficients.At(x, size - 1 - y);
            plan.folded &= value == coefficients.At(size - 1 - x, y);
        }
    }
    return true;
}

// False when a sum takes too many bits.
bool TakeRange(const SumRange& range, WordPlan& plan) {
    if (range.negative) {
        plan.range = WordRange::Signed;
        return range.positive < 0x8000 && range.negative <= 0x8000;
    }
    plan.range = range.positive <= kMostWord ? WordRange::Unsigned : WordRange::Above;
    uint64_t lastRow = 0;
    for (int x = 0; x < plan.size; ++x) lastRow += 255 * static_cast<uint64_t>(plan.taps[plan.size - 1][x]);
    return lastRow <= kMostWord && range.positive - lastRow <= kMostWord;
}

// Sums above 65535 are divided in two parts: s / d is 65535 / d plus what the excess adds to the remainder of that.
// When no multiplier above 2^n / d will do, one below it may, for a sum raised by 1: with m = floor(2^n / d),
// (s + 1) * m falls short of (s + 1) * 2^n / d by no more than 2^n / d as long as (s + 1) * (2^n - m d) <= 2^n. Sums of
// 65535 cannot be raised; they may fall short as they leave a remainder that is at least 1.
bool TakeDivision(const SumRange& range, uint64_t divisor, int offset, WordPlan& plan) {
    const bool above = plan.range == WordRange::Above;
    if (divisor < 2 || divisor > 0x7FFF || (above && divisor < 4)) return false;
    const uint64_t most = above ? kMostWord : range.positive;
    const Quotient quotient = QuotientFor({most, 0}, static_cast<int>(divisor), offset);
    plan.multiplier = quotient.multiplier;
    plan.shift = quotient.shift;
    plan.below = static_cast<uint16_t>(0u - static_cast<uint32_t>(offset));
    if (!above) return quotient.words;
    plan.rest = static_cast<uint16_t>(kMostWord % divisor);
    if (!quotient.words) {
        if (offset > 0 || offset <= -0x10000 || plan.rest == 0) return false;
        uint32_t shift = 0;
        while ((uint64_t{1} << (17 + shift)) / divisor <= kMostWord) ++shift;
        const uint64_t power = uint64_t{1} << (16 + shift), multiplier = power / divisor;
        if ((most + 1) * (power - multiplier * divisor) > power) return false;
        plan.multiplier = static_cast<uint16_t>(multiplier);
        plan.shift = static_cast<uint16_t>(shift);
        plan.raise = 1;
    }
    return range.positive - kMostWord + plan.rest + plan.raise <= kMostWord;
}

}  // namespace

bool IsWordPlan(const Coefficients& coefficients, const SumRange& range, int divisor, int offset, WordPlan* plan) {
    *plan = {};
    return divisor > 0 && TakeCoefficients(coefficients, *plan) && TakeRange(range, *plan) &&
           TakeDivision(range, static_cast<uint64_t>(divisor), offset, *plan) &&
           Kernels().Convolution().WordsWorthwhile(*plan);
}

HRESULT ConvolveByWords(const ImageView& target, const ImageView& source, WordPlan plan) {
    plan.step = SampleBytes(source);
    const auto& kernels = Kernels().Convolution();
    const auto windows = [&](uint8_t* const* dst, const uint8_t* const* rows, int n, size_t, const NextRows& next,
                             size_t count) { kernels.ConvolveWords(dst, rows, n, plan, next, count); };
    return plan.size == 3 ? MapWindows<1>(target, source, windows) : MapWindows<2>(target, source, windows);
}

}  // namespace vel
