// Median by brightness.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

// Of each window's `size` x `size` samples, size being 1 or more, the one in the middle (index n / 2) of the stable
// order by brightness: samples of equal brightness keep the order in which they are visited, column by column.
// E_FAIL without memory.
HRESULT MedianImage(const ImageView& target, const ImageView& source, int size);

}  // namespace vel
