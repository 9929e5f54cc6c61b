#include "ConvolutionSmall.h"

#include "Kernels/Kernels.h"
#include "SmallWindows.h"

namespace vel {

bool IsBell(const Coefficients& coefficients, const SumRange& range, const Quotient& quotient, Bell* bell) {
    if (coefficients.Columns() != 3 || coefficients.Rows() != 3) return false;
    const int64_t corner = coefficients.At(0, 0), side = coefficients.At(1, 0);
    const bool alike = coefficients.At(2, 0) == corner && coefficients.At(0, 2) == corner &&
                       coefficients.At(2, 2) == corner && coefficients.At(0, 1) == side &&
                       coefficients.At(2, 1) == side && coefficients.At(1, 2) == side;
    if (!alike || (corner != 1 && corner != -1) || (side != corner && side != 2 * corner)) return false;
    const int64_t centre = coefficients.At(1, 1) - corner * side * side;
    if (centre < INT16_MIN || centre > INT16_MAX || range.positive > 0x7FFF || range.negative > 0x8000) return false;
    if (!quotient.words || quotient.shift != 0 || quotient.offset != 0) return false;
    *bell = {side != corner, corner < 0, static_cast<int16_t>(centre), quotient.multiplier};
    return true;
}

HRESULT ConvolveBell(const ImageView& target, const ImageView& source, const Bell& bell) {
    const auto& kernels = Kernels().Convolution();
    return MapWindows<1>(target, source,
                         [&](uint8_t* const* dst, const uint8_t* const* rows, int n, size_t bytes, const NextRows& next,
                             size_t count) { kernels.BellRows(dst, rows, n, bell, bytes, next, count); });
}

bool IsDifference(const Coefficients& coefficients, const Quotient& quotient, SampleDifference* difference) {
    if (quotient.divide || quotient.negate || quotient.offset < 0 || quotient.offset > 255) return false;
    int found[2] = {0, 0};  // coefficients that are 1, that are -1
    for (int64_t row = 0; row < coefficients.Rows(); ++row) {
        for (int64_t column = 0; column < coefficients.Columns(); ++column) {
            const int32_t value = coefficients.At(column, row);
            if (value == 0) continue;
            if (value != 1 && value != -1) return false;
            const int64_t x = column - coefficients.Reach().left, y = row - coefficients.Reach().above;
            (value == 1 ? difference->plusX : difference->minusX) = x;
            (value == 1 ? difference->plusY : difference->minusY) = y;
            if (++found[value == 1 ? 0 : 1] > 1) return false;
        }
    }
    difference->offset = static_cast<uint8_t>(quotient.offset);
    return found[0] == 1 && found[1] == 1;
}

HRESULT ConvolveDifference(const ImageView& target, const ImageView& source, const Window& window,
                           const SampleDifference& difference) {
    const int64_t bytes = SampleBytes(source), width = source.width;
    // Variables, not a structured binding, which lambdas of older compilers cannot capture.
    const int64_t plusX = difference.plusX, plusY = difference.plusY;
    const int64_t minusX = difference.minusX, minusY = difference.minusY;
    const uint8_t offset = difference.offset;
    SampleRows rows(source, window.Rows());
    SampleWriter writer(target);
    const ScratchBuffer ends(static_cast<uint64_t>(2 * width * bytes));
    if (!rows.Ready() || !writer.Ready() || !ends.Data()) return E_FAIL;
    const auto& kernels = Kernels().Convolution();
    // The columns whose samples both lie inside.
    const int64_t least = plusX < minusX ? plusX : minusX, greatest = plusX < minusX ? minusX : plusX;
    const int64_t first = least < 0 ? (-least < width ? -least : width) : 0;
    const int64_t inside = width - (greatest > 0 ? greatest : 0), end = inside > first ? inside : first;
    for (int64_t y = 0; y < source.height; ++y) {
        uint8_t* dst = writer.Begin(y);
        // The lower row is asked for first, so that a ring of rows moves on before the upper one is used.
        rows.Row(y + (plusY > minusY ? plusY : minusY));
        const uint8_t *plus = rows.Row(y + plusY), *minus = rows.Row(y + minusY);
        kernels.DifferenceRow(dst + first * bytes, plus + (first + plusX) * bytes, minus + (first + minusX) * bytes,
                              static_cast<size_t>((end - first) * bytes), offset);
        const auto atEnd = [&](int64_t x, int64_t count) {
            uint8_t* minusSamples = ends.Data() + width * bytes;
            rows.CopySamples(ends.Data(), y + plusY, x + plusX, count);
            rows.CopySamples(minusSamples, y + minusY, x + minusX, count);
            kernels.DifferenceRow(dst + x * bytes, ends.Data(), minusSamples, static_cast<size_t>(count * bytes),
                                  offset);
        };
        atEnd(0, first);
        atEnd(end, width - end);
        if (bytes == 4) rows.CopyAlpha(dst, y + window.below, window.right, width);
        writer.End(y);
    }
    return S_OK;
}

}  // namespace vel
