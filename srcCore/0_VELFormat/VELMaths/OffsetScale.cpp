#include "OffsetScale.h"

#include <cmath>
#include <optional>

namespace vel {
namespace {

// Both precisions truncate a product that grows with the integer, so they agree on every integer if they agree at the
// steps: the least integer whose product reaches a level, and the one before it. Only the levels that the offset brings
// to 1..255 count; below and above, results are cut off.

int64_t DoubleLevel(int64_t x, double factor) { return static_cast<int64_t>(static_cast<double>(x) * factor); }
int64_t SingleLevel(int64_t x, float factor) { return static_cast<int64_t>(static_cast<float>(x) * factor); }

// The least integer that reaches the level, for factors of 0 to 1/2; nothing when the estimate is off.
std::optional<int64_t> StepTo(int64_t level, double factor) {
    const double least = static_cast<double>(level > 0 ? level : level - 1) / factor;
    if (!(std::fabs(least) < 4e9)) return {};
    int64_t x = static_cast<int64_t>(std::floor(least)) - 1;
    for (int tries = 0; tries < 4; ++tries, ++x) {
        if (DoubleLevel(x, factor) >= level) return tries > 0 ? std::optional(x) : std::nullopt;
    }
    return {};
}

bool AgreeAtEveryStep(double factor, float single, int offset) {
    for (int result = 1; result <= 255; ++result) {
        const int64_t level = result - offset;
        const std::optional<int64_t> step = StepTo(level, factor);
        if (!step || *step > INT32_MAX || *step <= INT32_MIN) return false;
        if (SingleLevel(*step, single) < level || SingleLevel(*step - 1, single) >= level) return false;
    }
    return true;
}

}  // namespace

OffsetScale OffsetScaleOf(double factor, int offset, bool trySingle) {
    OffsetScale scale = {factor, 0.0f, offset};
    // Within these bounds products stay integers in single precision, and 16-bit arithmetic can add the offset.
    if (!trySingle || !(factor > 1e-7 && factor <= 0.5) || offset < -32000 || offset > 32000) return scale;
    const float nearest = static_cast<float>(factor);
    for (const float single : {nearest, std::nextafter(nearest, 1.0f), std::nextafter(nearest, 0.0f)}) {
        if (AgreeAtEveryStep(factor, single, offset)) {
            scale.single = single;
            break;
        }
    }
    return scale;
}

}  // namespace vel
