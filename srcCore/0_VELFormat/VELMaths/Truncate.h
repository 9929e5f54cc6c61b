// Conversions of floating-point positions to integers that are defined for every value.
#pragma once

#include <cstdint>

namespace vel {

// Towards zero. What does not fit, NaN included, becomes INT32_MIN, which lies outside every image.
inline int32_t TruncateToInt(float value) {
    return value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int32_t>(value) : INT32_MIN;
}
inline int32_t TruncateToInt(double value) {
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int32_t>(value) : INT32_MIN;
}

}  // namespace vel
