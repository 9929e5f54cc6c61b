// Convolutions whose kernels are so simple that no general sum is needed.
#pragma once

#include "Coefficients.h"

namespace vel {

// Whether the coefficients are those of a Bell, its sums fit 16 bits and are divided in them. Sets *bell then.
bool IsBell(const Coefficients& coefficients, const SumRange& range, const Quotient& quotient, Bell* bell);
HRESULT ConvolveBell(const ImageView& target, const ImageView& source, const Bell& bell);

// One sample less another: where they lie, as offsets from the pixel.
struct SampleDifference {
    int64_t plusX, plusY, minusX, minusY;
    uint8_t offset;
};

// Whether all that is done is such a difference, with an offset that fits a byte. Sets *difference then.
bool IsDifference(const Coefficients& coefficients, const Quotient& quotient, SampleDifference* difference);
HRESULT ConvolveDifference(const ImageView& target, const ImageView& source, const Window& window,
                           const SampleDifference& difference);

}  // namespace vel
