#include "Convolution.h"

#include "ConvolutionWords.h"
#include "ConvolutionFactored.h"
#include "ConvolutionSmall.h"
#include "Kernels/Kernels.h"
#include "Taps.h"

namespace vel {
namespace {

HRESULT ConvolveByTaps(const ImageView& target, const ImageView& source, const Coefficients& coefficients,
                       const SumRange& range, const Quotient& quotient) {
    constexpr int kRows = TapPlan::kRows;
    const Window& window = coefficients.Reach();
    const uint32_t bytes = SampleBytes(source);
    const Taps taps(coefficients, range, bytes);
    QuadRows quads(source, window, taps.Quads());
    SampleWriter writer(target, kRows);
    if (!taps.Ready() || !quads.Ready() || !writer.Ready()) return E_FAIL;
    for (int64_t y = 0; y < source.height; y += kRows) {
        uint8_t* dst[kRows];
        for (int i = 0; i < kRows; ++i) dst[i] = writer.Begin(y + i);
        const uint8_t* const* from = quads.From(y);  // before Next(), which moves on with it
        Kernels().Convolution().ConvolveRows(dst, from, quads.QuadBytes(), taps.Plan(), quotient, quads.Next(),
                                             size_t{source.width} * bytes);
        for (int i = 0; i < kRows; ++i) {
            if (bytes == 4) quads.Source().CopyAlpha(dst[i], y + i + window.below, window.right, source.width);
            writer.End(y + i);
        }
    }
    return S_OK;
}

}  // namespace

HRESULT ConvolveImage(const ImageView& target, const ImageView& source, const int* kernel, int size, int divisor,
                      int offset) {
    const Coefficients coefficients(source, kernel, size);
    if (!coefficients.Ready()) return E_FAIL;
    const SumRange range = SumRange::Of(coefficients);
    const Quotient quotient = QuotientFor(range, divisor, offset);
    SampleDifference difference;
    if (IsDifference(coefficients, quotient, &difference)) {
        return ConvolveDifference(target, source, coefficients.Reach(), difference);
    }
    Bell bell;
    if (IsBell(coefficients, range, quotient, &bell)) return ConvolveBell(target, source, bell);
    const Factors factors(coefficients);
    if (!factors.Ready()) return E_FAIL;
    if (factors.Worthwhile()) return ConvolveByFactors(target, source, coefficients.Reach(), factors, quotient);
    WordPlan plan;
    if (IsWordPlan(coefficients, range, divisor, offset, &plan)) {
        return ConvolveByWords(target, source, plan);
    }
    return ConvolveByTaps(target, source, coefficients, range, quotient);
}

}  // namespace vel
