// Sums of rows of bytes by whole numbers, four rows' bytes and weights' digits at a time.

// Row weights as whole numbers of kDigitUnit, by ranks and groups of four rows.
template <int kTaps>
struct RowDigits {
    uint32_t words[kDigits][kTaps / 4] = {};
    float error = 0;    // how far a sum of values from 0 to 1 can be off because weights are whole numbers
    bool usable;        // sums stay below 2^31
    bool exact = true;  // neither these sums nor those in single precision are ever rounded

    explicit RowDigits(const float* weights) {
        float total = 0;
        for (int j = 0; j < kTaps; ++j) total += Magnitude(weights[j]);
        usable = total < 1.99f;
        for (int j = 0; usable && j < kTaps; ++j) {
            const float scaled = weights[j] * (1 / kDigitUnit);
            const auto number = static_cast<int32_t>(scaled + (scaled < 0 ? -0.5f : 0.5f));
            const float rest = Magnitude(scaled - static_cast<float>(number));
            error += rest * kDigitUnit;
            // Sums of bytes with such weights are below 2^9 and multiples of 2^-15.
            exact = exact && rest == 0 && number % 128 == 0;
            const uint32_t digits = static_cast<uint32_t>((number + kDigitBias) ^ kDigitBias);
            for (int rank = 0; rank < kDigits; ++rank) {
                words[rank][j / 4] |= (digits >> 8 * rank & 255) << 8 * (j % 4);
            }
        }
    }

    // The sums of 64 bytes' columns from `at` on, which keep to the quarters of a register.
    void Sum(__m512i* sums, const uint8_t* const* rows, size_t at) const {
        __m512i quads[4][kTaps / 4];
        for (int group = 0; group < kTaps / 4; ++group) LoadQuads(quads, group, rows + 4 * group, at);
        for (int i = 0; i < 4; ++i) {
            sums[i] = SumOfDigits<kTaps / 4>(
                quads[i], [&](int rank, int group) { return _mm512_set1_epi32(static_cast<int>(words[rank][group])); });
        }
    }

private:
    // Bytes of four rows as words.
    static void LoadQuads(__m512i (*quads)[kTaps / 4], int group, const uint8_t* const* rows, size_t at) {
        const __m512i a = LoadBytes(rows[0] + at), b = LoadBytes(rows[1] + at);
        const __m512i c = LoadBytes(rows[2] + at), d = LoadBytes(rows[3] + at);
        const __m512i lowAB = _mm512_unpacklo_epi8(a, b), highAB = _mm512_unpackhi_epi8(a, b);
        const __m512i lowCD = _mm512_unpacklo_epi8(c, d), highCD = _mm512_unpackhi_epi8(c, d);
        quads[0][group] = _mm512_unpacklo_epi16(lowAB, lowCD);
        quads[1][group] = _mm512_unpackhi_epi16(lowAB, lowCD);
        quads[2][group] = _mm512_unpacklo_epi16(highAB, highCD);
        quads[3][group] = _mm512_unpackhi_epi16(highAB, highCD);
    }
};

static inline __m512i BytesOfDigitSums(const __m512i* sums) {
    __m512i whole[4];
    for (int i = 0; i < 4; ++i) whole[i] = _mm512_srai_epi32(sums[i], 22);
    return Narrowed(whole[0], whole[1], whole[2], whole[3]);
}

// NearStep for sums of whole numbers.
struct DigitSteps {
    __m512i tolerance, twice;

    explicit DigitSteps(float bound) {
        const int units = static_cast<int>(bound * (1 / kDigitUnit)) + 1;
        tolerance = _mm512_set1_epi32(units);
        twice = _mm512_set1_epi32(2 * units);
    }
    __mmask16 Near(__m512i sum) const {
        const __m512i above = _mm512_add_epi32(sum, tolerance), step = _mm512_set1_epi32(1 << 22);
        const __m512i fraction = _mm512_and_si512(above, _mm512_set1_epi32((1 << 22) - 1));
        return _mm512_mask_cmple_epu32_mask(_mm512_cmpge_epi32_mask(above, step), fraction, twice);
    }
};

// Blocks with a sum near a step are added up in single precision.
template <int kTaps>
static inline size_t SumDigitRows(uint8_t* dst, const uint8_t* const* rows, const float* weights, size_t bytes) {
    const RowDigits<kTaps> digits(weights);
    if (!digits.usable) return 0;
    const DigitSteps steps(ToleranceOfFew(weights, kTaps, 0) + Tolerance(255 * digits.error));
    size_t at = 0;
    for (; at + 64 <= bytes; at += 64) {
        __m512i sums[4];
        digits.Sum(sums, rows, at);
        if (!digits.exact && (steps.Near(sums[0]) | steps.Near(sums[1]) | steps.Near(sums[2]) | steps.Near(sums[3]))) {
            SumBlock(dst, rows, weights, kTaps, at);
        } else {
            StoreBytes(dst + at, BytesOfDigitSums(sums));
        }
    }
    return at;
}

template <int kTaps>
static inline size_t GuardDigitRows(uint8_t* dst, uint8_t* doubts, const uint8_t* const* rows, const float* weights,
                                    float tolerance, size_t bytes) {
    const RowDigits<kTaps> digits(weights);
    if (!digits.usable) return 0;
    const DigitSteps steps(tolerance + Tolerance(255 * digits.error));
    size_t at = 0;
    for (; at + 64 <= bytes; at += 64) {
        __m512i sums[4], near[4];
        digits.Sum(sums, rows, at);
        for (int i = 0; i < 4; ++i) near[i] = _mm512_maskz_set1_epi32(steps.Near(sums[i]), 1);
        StoreBytes(dst + at, BytesOfDigitSums(sums));
        StoreBytes(doubts + at, Narrowed(near[0], near[1], near[2], near[3]));
    }
    return at;
}
