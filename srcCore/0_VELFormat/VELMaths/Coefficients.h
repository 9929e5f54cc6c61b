// The coefficients of a convolution, what its sums can be, and how they are divided.
#pragma once

#include "Kernels/Convolution.h"
#include "Neighbourhood.h"

namespace vel {

// Rows of coefficients over a window. Sums wrap, so each stands for a number modulo 2^32.
class Coefficients {
public:
    // All 0.
    explicit Coefficients(const Window& window);
    // A kernel as the window clipped to the image needs it: what only ever meets the outside is summed into the
    // outermost coefficients.
    Coefficients(const ImageView& image, const int* kernel, int size);

    bool Ready() const { return m_values.Data(); }
    const Window& Reach() const { return m_window; }
    int64_t Columns() const { return m_window.Columns(); }
    int64_t Rows() const { return m_window.Rows(); }
    // The number nearest to 0 that it stands for.
    int32_t At(int64_t column, int64_t row) const {
        return static_cast<int32_t>(m_values.As<uint32_t>()[row * Columns() + column]);
    }
    uint32_t& Value(int64_t column, int64_t row) { return m_values.As<uint32_t>()[row * Columns() + column]; }

private:
    Window m_window;
    ScratchBuffer m_values;
};

// The greatest and the least sum of bytes weighed, before wrapping.
struct SumRange {
    uint64_t positive, negative;  // magnitudes

    static SumRange Of(const Coefficients& coefficients);
    static SumRange Any() { return {~uint64_t{0} / 2, ~uint64_t{0} / 2}; }
    uint64_t Magnitudes() const { return positive + negative; }
};

// A divisor of 0 divides by nothing.
Quotient QuotientFor(const SumRange& range, int divisor, int offset);

}  // namespace vel
