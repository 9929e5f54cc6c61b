#include "Coefficients.h"

#include <cstring>

namespace vel {
namespace {

uint64_t Magnitude(int64_t value) { return static_cast<uint64_t>(value < 0 ? -value : value); }

// sum / d is floor(sum * m / 2^n) for 0 <= sum <= greatest when m = ceil(2^n / d) and (m d - 2^n) * greatest < 2^n:
// the product exceeds the quotient by less than 1 / d then, too little to reach the next integer. The least n that
// will do is taken, and m has 16 bits.
void AddWordDivision(Quotient& quotient, uint64_t greatest, uint32_t divisor) {
    if (greatest >= 0x10000) return;
    for (uint32_t shift = 0; shift < 16; ++shift) {
        const uint64_t power = uint64_t{1} << (16 + shift), multiplier = (power + divisor - 1) / divisor;
        if (multiplier >= 0x10000) return;
        if ((multiplier * divisor - power) * greatest < power) {
            quotient.words = true;
            quotient.multiplier = static_cast<uint16_t>(multiplier);
            quotient.shift = static_cast<uint16_t>(shift);
            return;
        }
    }
}

}  // namespace

Coefficients::Coefficients(const Window& window)
    : m_window(window),
      m_values(
          ArrayBytes(ArrayBytes(static_cast<uint64_t>(Columns()), static_cast<uint64_t>(Rows())), sizeof(uint32_t))) {
    if (Ready()) std::memset(m_values.Data(), 0, static_cast<size_t>(Columns() * Rows()) * sizeof(uint32_t));
}

Coefficients::Coefficients(const ImageView& image, const int* kernel, int size)
    : Coefficients(Window::Square(size).ClippedTo(image)) {
    if (!Ready()) return;
    const Window full = Window::Square(size);
    const auto place = [](int64_t offset, int64_t before, int64_t after) {
        return (offset < -before ? -before : offset > after ? after : offset) + before;
    };
    for (int64_t dy = -full.above; dy <= full.below; ++dy) {
        const int64_t row = place(dy, m_window.above, m_window.below);
        for (int64_t dx = -full.left; dx <= full.right; ++dx) {
            Value(place(dx, m_window.left, m_window.right), row) += static_cast<uint32_t>(*kernel++);
        }
    }
}

SumRange SumRange::Of(const Coefficients& coefficients) {
    SumRange range = {0, 0};
    for (int64_t row = 0; row < coefficients.Rows(); ++row) {
        for (int64_t column = 0; column < coefficients.Columns(); ++column) {
            const int64_t coefficient = coefficients.At(column, row);
            (coefficient < 0 ? range.negative : range.positive) += 255 * Magnitude(coefficient);
        }
    }
    return range;
}

Quotient QuotientFor(const SumRange& range, int divisor, int offset) {
    const uint64_t magnitude = Magnitude(divisor);
    Quotient quotient = {};
    quotient.negate = divisor < 0 ? ~0u : 0u;
    quotient.offset = offset;
    quotient.divide = magnitude > 1;
    quotient.narrow = range.Magnitudes() < uint64_t{1} << 22;
    // A quotient of 256 + |offset| or more ends at 0 or 255, its sign alone deciding.
    const uint64_t farthest = magnitude * (256 + Magnitude(offset));
    quotient.farthest = farthest < uint64_t{1} << 22 ? static_cast<int32_t>(farthest) : 0;
    quotient.reciprocal = magnitude > 1 ? 1.0 / static_cast<double>(magnitude) : 1.0;
    if (divisor > 1 && divisor < 0x10000 && offset <= 0 && offset > -0x10000 && quotient.narrow) {
        AddWordDivision(quotient, range.positive, static_cast<uint32_t>(divisor));
    }
    return quotient;
}

}  // namespace vel
