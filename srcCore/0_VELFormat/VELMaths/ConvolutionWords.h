// Small convolutions whose sums fit 16 bits, or little more, and are divided in them.
#pragma once

#include "Coefficients.h"

namespace vel {

// Whether the coefficients can be summed so, and the level gains by it. Sets *plan then, but for its step.
bool IsWordPlan(const Coefficients& coefficients, const SumRange& range, int divisor, int offset, WordPlan* plan);
HRESULT ConvolveByWords(const ImageView& target, const ImageView& source, WordPlan plan);

}  // namespace vel
