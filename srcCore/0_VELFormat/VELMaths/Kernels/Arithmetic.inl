// Arithmetic kernels; see Arithmetic.h.

static void FillRow24(uint8_t* dst, size_t pixels, uint32_t word) {
    for (size_t i = 0; i < pixels; ++i) {
        dst[3 * i] = static_cast<uint8_t>(word);
        dst[3 * i + 1] = static_cast<uint8_t>(word >> 8);
        dst[3 * i + 2] = static_cast<uint8_t>(word >> 16);
    }
}

static void FillRow32(uint8_t* dst, size_t pixels, uint32_t word) {
    for (size_t i = 0; i < pixels; ++i) StoreWord(dst + 4 * i, word);
}

static void StoreMaskedRow(uint8_t* dst, const uint8_t* src, const uint8_t* mask, size_t pixels, size_t pixelBytes) {
    for (size_t i = 0; i < pixels; ++i) {
        if (!mask[i]) continue;
        for (size_t k = 0; k < pixelBytes; ++k) dst[i * pixelBytes + k] = src[i * pixelBytes + k];
    }
}

static void GreyToRow24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = src[i];
}

static void GreyToRow32(uint8_t* dst, const uint8_t* src, size_t pixels, int alpha) {
    const uint32_t keep = alpha < 0 ? 0xFF000000u : 0;
    const uint32_t top = alpha < 0 ? 0 : static_cast<uint32_t>(alpha) << 24;
    for (size_t i = 0; i < pixels; ++i) {
        StoreWord(dst + 4 * i, (LoadWord(dst + 4 * i) & keep) | top | src[i] * 0x010101u);
    }
}

static void PackRow32To24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        dst[3 * i] = src[4 * i];
        dst[3 * i + 1] = src[4 * i + 1];
        dst[3 * i + 2] = src[4 * i + 2];
    }
}

static void SpreadRow24To32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        dst[4 * i] = src[3 * i];
        dst[4 * i + 1] = src[3 * i + 1];
        dst[4 * i + 2] = src[3 * i + 2];
    }
}

static void WordRow16To24(uint8_t* dst, const uint8_t* src, size_t pixels, int reversed) {
    const size_t first = reversed ? 2 : 0;
    for (size_t i = 0; i < pixels; ++i) {
        uint16_t word;
        memcpy(&word, src + 2 * i, 2);
        dst[3 * i + first] = static_cast<uint8_t>(word << 3 & 0xF8);
        dst[3 * i + 1] = static_cast<uint8_t>(word >> 3 & 0xFC);
        dst[3 * i + 2 - first] = static_cast<uint8_t>(word >> 8 & 0xF8);
    }
}

static void LookUpTo(uint8_t* dst, const uint8_t* src, size_t bytes, const uint8_t* table) {
    for (size_t i = 0; i < bytes; ++i) dst[i] = table[src[i]];
}

static void AddRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) {
        const uint8_t sum = static_cast<uint8_t>(first[i] + second[i]);
        dst[i] = static_cast<uint8_t>(sum < first[i] ? 255 : sum);
    }
}

static void AddLookUpRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes,
                         const uint8_t* table) {
    for (size_t i = 0; i < bytes; ++i) dst[i] = table[first[i] + second[i]];
}

static inline uint8_t Difference(uint8_t first, uint8_t second, int magnitude) {
    if (first >= second) return static_cast<uint8_t>(first - second);
    return magnitude ? static_cast<uint8_t>(second - first) : 0;
}

static size_t SubtractRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes, int magnitude) {
    size_t above = 0;
    for (size_t i = 0; i < bytes; ++i) {
        dst[i] = Difference(first[i], second[i], magnitude);
        above += dst[i] > 1;
    }
    return above;
}

static size_t SubtractRow32(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t pixels, int magnitude,
                            uint8_t alpha) {
    size_t above = 0;
    for (size_t i = 0; i < 4 * pixels; i += 4) {
        for (size_t k = i; k < i + 3; ++k) {
            dst[k] = Difference(first[k], second[k], magnitude);
            above += dst[k] > 1;
        }
        dst[i + 3] = alpha;
    }
    return above;
}

// A comparison with NaN fails, so NaN takes the lower limit.
static inline float Limited(float value, float high) {
    const float floored = value > 0.0f ? value : 0.0f;
    return floored < high ? floored : high;
}

static inline uint8_t ClampedByte(float value) { return static_cast<uint8_t>(static_cast<int32_t>(Limited(value, 255.0f))); }

// The greatest int32 is no float: what reaches 2^31 becomes it.
static inline int32_t FlooredInt(float value) {
    const int32_t truncated = static_cast<int32_t>(Limited(value, 2147483520.0f));
    return value >= 2147483648.0f ? INT32_MAX : truncated;
}

static void WeightedRow(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes, float firstFactor,
                        float secondFactor, float offset) {
    for (size_t i = 0; i < bytes; ++i) {
        dst[i] = ClampedByte((first[i] * firstFactor + second[i] * secondFactor) + offset);
    }
}

static void ScaleSumTo8(uint8_t* dst, const uint8_t* src, size_t pixels, size_t pixelBytes, float factor,
                        float offset) {
    for (size_t i = 0; i < pixels; ++i, src += pixelBytes) {
        dst[i] = ClampedByte(static_cast<float>(src[0] + src[1] + src[2]) * factor + offset);
    }
}

static inline float LoadInt(const uint8_t* bytes) { return static_cast<float>(static_cast<int32_t>(LoadWord(bytes))); }

static void ScaleIntTo8(uint8_t* dst, const uint8_t* src, size_t pixels, float factor, float offset) {
    for (size_t i = 0; i < pixels; ++i) dst[i] = ClampedByte(LoadInt(src + 4 * i) * factor + offset);
}

static void ScaleIntToInt(uint8_t* dst, const uint8_t* src, size_t pixels, float factor, float offset) {
    for (size_t i = 0; i < pixels; ++i) {
        StoreWord(dst + 4 * i, static_cast<uint32_t>(FlooredInt(LoadInt(src + 4 * i) * factor + offset)));
    }
}

static void ScaleByteToInt(uint8_t* dst, const uint8_t* src, size_t pixels, float factor, float offset) {
    for (size_t i = 0; i < pixels; ++i) {
        StoreWord(dst + 4 * i, static_cast<uint32_t>(FlooredInt(static_cast<float>(src[i]) * factor + offset)));
    }
}

static void ScaleOffsetIntTo8(uint8_t* dst, const uint8_t* src, size_t pixels, double factor, int offset) {
    // Products beyond these limits end at 0 or 255 like the limits themselves.
    const double low = -1.0 - offset, high = 256.0 - offset;
    for (size_t i = 0; i < pixels; ++i) {
        const double product = static_cast<int32_t>(LoadWord(src + 4 * i)) * factor;
        const double number = product == product ? product : 0.0;
        const double raised = number > low ? number : low;
        const int64_t value = static_cast<int64_t>(raised < high ? raised : high) + offset;
        dst[i] = static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
}
