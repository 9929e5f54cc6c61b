// Kernels of weighted sums; see Convolution.h.

static void AddScaledRow(uint32_t* sums, const uint8_t* src, size_t count, uint32_t factor) {
    for (size_t i = 0; i < count; ++i) sums[i] += factor * src[i];
}

static inline uint8_t ClampSum(uint32_t magnitude, uint32_t sign, int32_t offset) {
    const int32_t value = static_cast<int32_t>((magnitude ^ sign) - sign + static_cast<uint32_t>(offset));
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

// |s| / d is truncated by way of (|s| + 1/2) * (1 / d): the exact (|s| + 1/2) / d lies at least 1 / (2 d) away from
// every integer, and the roundings move it by less: by at most |s| / d * 2^-23 in single precision, below 2^22, and by
// |s| / d * 2^-52 in double precision, always.
static inline uint8_t QuotientOfNarrow(uint32_t sum, float reciprocal, uint32_t negate, int32_t offset) {
    const int32_t value = static_cast<int32_t>(sum);
    const int32_t magnitude = static_cast<int32_t>((fabsf(static_cast<float>(value)) + 0.5f) * reciprocal);
    return ClampSum(static_cast<uint32_t>(magnitude), static_cast<uint32_t>(value >> 31) ^ negate, offset);
}

static inline uint8_t QuotientOf(uint32_t sum, double reciprocal, uint32_t negate, int32_t offset) {
    const int32_t value = static_cast<int32_t>(sum);
    const int32_t magnitude = static_cast<int32_t>((fabs(static_cast<double>(value)) + 0.5) * reciprocal);
    return ClampSum(static_cast<uint32_t>(magnitude), static_cast<uint32_t>(value >> 31) ^ negate, offset);
}

static void QuotientRow(uint8_t* dst, const uint32_t* sums, size_t count, const Quotient& quotient) {
    const uint32_t negate = quotient.negate;
    const int32_t offset = quotient.offset;
    const double reciprocal = quotient.reciprocal;
    const float narrowReciprocal = static_cast<float>(reciprocal);
    if (!quotient.divide) {
        for (size_t i = 0; i < count; ++i) dst[i] = ClampSum(sums[i], negate, offset);
    } else if (quotient.narrow) {
        for (size_t i = 0; i < count; ++i) dst[i] = QuotientOfNarrow(sums[i], narrowReciprocal, negate, offset);
    } else {
        for (size_t i = 0; i < count; ++i) dst[i] = QuotientOf(sums[i], reciprocal, negate, offset);
    }
}

static void WeighRow(uint8_t* dst, const uint8_t* src, size_t count, uint32_t factor, const Quotient& quotient) {
    const uint32_t negate = quotient.negate;
    const int32_t offset = quotient.offset;
    const double reciprocal = quotient.reciprocal;
    const bool divide = quotient.divide;
    for (size_t i = 0; i < count; ++i) {
        uint32_t value;
        memcpy(&value, src + 4 * i, 4);
        value *= factor;
        const uint32_t result = divide ? QuotientOf(value, reciprocal, negate, offset) : ClampSum(value, negate, offset);
        memcpy(dst + 4 * i, &result, 4);
    }
}
