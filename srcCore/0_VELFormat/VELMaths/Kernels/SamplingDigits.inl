// Guarded sums of 12 x 12 taps by whole numbers. A column weight is a whole number of 2^-22 and that a sum of three
// signed bytes, its digits; one instruction adds up four products of pixels and digits of the same rank. The rows'
// sums go on in single precision.
//
// Column weights whose magnitudes add up to less than 2 keep a row's sum below 2^31; where they do not, the sum is
// doubtful. Those of Lanczos add up to 1.98 at most.

static constexpr float kDigitUnit = 1 / 4194304.0f;
static constexpr int kDigits = 3, kTapGroups = 3;
// Bytes of a number raised by this, less 128 each, are its signed digits.
static constexpr int32_t kDigitBias = 0x00808080;

// In each word bytes of two registers: byte `low` of both, then byte `high`.
static constexpr BytePlaces DigitPlaces(int low, int high) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) {
        places.at[i] = static_cast<uint8_t>(i / 4 * 4 + (i % 4 < 2 ? low : high) + i % 2 * 64);
    }
    return places;
}
static constexpr BytePlaces kLowDigitPlaces = DigitPlaces(0, 1), kTopDigitPlaces = DigitPlaces(2, 2);

// The digits of 16 positions' weights: of each rank, lowest first, and group of four taps a word a position.
struct WeightDigits {
    __m512i words[kDigits][kTapGroups];
    SumTolerance<FloatLanes> tolerance{};
    __m512 error;  // how far a row's sum of values from 0 to 1 can be off because weights are whole numbers

    WeightDigits(const float* weights, size_t pitch, size_t lanes) {
        __m512 above = SplatFloat(0), below = SplatFloat(0);
        for (int group = 0; group < kTapGroups; ++group) {
            __m512i numbers[4];
            for (int i = 0; i < 4; ++i, weights += pitch) {
                const __m512 weight = LoadLanes(weights, lanes), scaled = Multiply(weight, SplatFloat(1 / kDigitUnit));
                tolerance.AddColumn(Magnitudes(weight));
                const __m512i number = _mm512_cvtps_epi32(scaled);
                const __m512 rest = _mm512_sub_ps(scaled, FloatsOf(number));
                above = Add(above, _mm512_max_ps(rest, SplatFloat(0)));
                below = _mm512_sub_ps(below, _mm512_min_ps(rest, SplatFloat(0)));
                const __m512i bias = _mm512_set1_epi32(kDigitBias);
                numbers[i] = _mm512_xor_si512(_mm512_add_epi32(number, bias), bias);
            }
            SetGroup(group, numbers);
        }
        error = Multiply(_mm512_max_ps(above, below), SplatFloat(kDigitUnit));
    }

private:
    // Word by word, the bytes of one rank of four registers.
    void SetGroup(int group, const __m512i* numbers) {
        const __m512i lowPlaces = kLowDigitPlaces.Load(), topPlaces = kTopDigitPlaces.Load();
        const __m512i low01 = _mm512_permutex2var_epi8(numbers[0], lowPlaces, numbers[1]);
        const __m512i low23 = _mm512_permutex2var_epi8(numbers[2], lowPlaces, numbers[3]);
        const __m512i top01 = _mm512_permutex2var_epi8(numbers[0], topPlaces, numbers[1]);
        const __m512i top23 = _mm512_permutex2var_epi8(numbers[2], topPlaces, numbers[3]);
        const __mmask32 upper = 0xAAAAAAAA;
        words[0][group] = _mm512_mask_blend_epi16(upper, low01, _mm512_slli_epi32(low23, 16));
        words[1][group] = _mm512_mask_blend_epi16(upper, _mm512_srli_epi32(low01, 16), low23);
        words[2][group] = _mm512_mask_blend_epi16(upper, top01, _mm512_slli_epi32(top23, 16));
    }
};

// The sums of groups of four samples with digits(rank, group), lowest rank first.
template <int kGroups, class Digits>
static inline __m512i SumOfDigits(const __m512i* samples, Digits digits) {
    __m512i sum = _mm512_setzero_si512();
    for (int rank = kDigits - 1; rank >= 0; --rank) {
        sum = _mm512_slli_epi32(sum, 8);
        for (int group = 0; group < kGroups; ++group) {
            sum = _mm512_dpbusd_epi32(sum, samples[group], digits(rank, group));
        }
    }
    return sum;
}

template <int kPixelBytes>
struct GuardedDigitSums : LaneSums<kPixelBytes> {
    const WeightDigits weights;
    SumTolerance<FloatLanes> tolerance;

    GuardedDigitSums(const TapRun& taps, size_t k, size_t lanes)
        : weights(taps.columns + k, taps.columnPitch, lanes), tolerance(weights.tolerance) {
        for (__m512& sum : this->sums) sum = SplatFloat(0);
        for (size_t j = 0; j < 12; ++j) {
            tolerance.rows = Add(tolerance.rows, Magnitudes(LoadLanes(taps.rows + j * taps.rowPitch + k, lanes)));
        }
    }
    Bytes Doubtful() const {
        return Or(this->Near(tolerance.OfDigits(12, weights.error)), NotAbove(SplatFloat(1.99f), tolerance.columns));
    }
};

// Four positions at a time: each channel has a quarter of a register, each position a word of it.
template <int kPixelBytes>
struct DigitSums : GuardedDigitSums<kPixelBytes> {
    static constexpr int kOverread = 64 - 12 * kPixelBytes;

    DigitSums(const SampledPixels& source, const TapRun& taps, const int64_t* offsets, size_t k, size_t lanes)
        : GuardedDigitSums<kPixelBytes>(taps, k, lanes) {
        alignas(64) float rowWeights[12][16];
        for (size_t j = 0; j < 12; ++j) StoreFloats(rowWeights[j], LoadLanes(taps.rows + j * taps.rowPitch + k, lanes));
        __m512 channels[4], partials[4];
        for (size_t i = 0; i < 4; ++i) {
            const FourSums four = SumFour(source, offsets, 4 * i, rowWeights);
            channels[i] = four.sums;
            partials[i] = four.partials;
        }
        ExchangeQuarters(channels);
        ExchangeQuarters(partials);
        for (int c = 0; c < kPixelBytes; ++c) {
            this->sums[c] = Multiply(channels[c], SplatFloat(kDigitUnit));
            this->tolerance.partial = _mm512_max_ps(this->tolerance.partial, partials[c]);
        }
        this->tolerance.partial = Multiply(this->tolerance.partial, SplatFloat(kDigitUnit));
    }

private:
    // A row's bytes: for each channel a quarter with three groups of four.
    static constexpr BytePlaces RowPlaces() {
        BytePlaces places{};
        for (int i = 0; i < 64; ++i) {
            const int channel = i / 16, tap = i % 16;
            if (channel < kPixelBytes && tap < 12) places.at[i] = static_cast<uint8_t>(tap * kPixelBytes + channel);
        }
        return places;
    }
    static constexpr BytePlaces kRowPlaces = RowPlaces();

    static __m512i RepeatFour(const void* words) {
        return _mm512_broadcast_i32x4(_mm_load_si128(static_cast<const __m128i*>(words)));
    }

    // The sums over the rows of four positions, and those of their magnitudes after each row.
    struct FourSums {
        __m512 sums, partials;
    };
    FourSums SumFour(const SampledPixels& source, const int64_t* offsets, size_t first,
                     const float (*rowWeights)[16]) const {
        __m512i digits[kDigits][kTapGroups];
        for (int rank = 0; rank < kDigits; ++rank) {
            for (int group = 0; group < kTapGroups; ++group) {
                digits[rank][group] =
                    RepeatFour(reinterpret_cast<const uint32_t*>(&this->weights.words[rank][group]) + first);
            }
        }
        __m512 total = SplatFloat(0), partials = SplatFloat(0);
        const uint8_t* rows[4];
        for (size_t i = 0; i < 4; ++i) rows[i] = source.bits + offsets[first + i];
        for (int j = 0; j < 12; ++j) {
            __m512i pixels[4];
            for (int i = 0; i < 4; ++i) {
                const __m512i row = _mm512_loadu_si512(rows[i]);
                pixels[i] = _mm512_permutexvar_epi8(kRowPlaces.Load(), row);
                rows[i] += source.stride;
            }
            __m512i groups[4];
            ExchangeWords(groups, pixels[0], pixels[1], pixels[2], pixels[3]);
            const __m512i sum =
                SumOfDigits<kTapGroups>(groups, [&](int rank, int group) { return digits[rank][group]; });
            total = Fused(FloatsOf(sum), _mm512_castsi512_ps(RepeatFour(rowWeights[j] + first)), total);
            partials = Add(partials, Magnitudes(total));
        }
        return {total, partials};
    }
    // Quarter j of register i becomes quarter i of register j.
    static void ExchangeQuarters(__m512* a) {
        const __m512 low01 = _mm512_shuffle_f32x4(a[0], a[1], 0x44), high01 = _mm512_shuffle_f32x4(a[0], a[1], 0xEE);
        const __m512 low23 = _mm512_shuffle_f32x4(a[2], a[3], 0x44), high23 = _mm512_shuffle_f32x4(a[2], a[3], 0xEE);
        a[0] = _mm512_shuffle_f32x4(low01, low23, 0x88);
        a[1] = _mm512_shuffle_f32x4(low01, low23, 0xDD);
        a[2] = _mm512_shuffle_f32x4(high01, high23, 0x88);
        a[3] = _mm512_shuffle_f32x4(high01, high23, 0xDD);
    }
};

// Grey: 16 positions at a time, a word of each for a group of four pixels. Reads 16 bytes of a row.
template <>
struct DigitSums<1> : GuardedDigitSums<1> {
    static constexpr int kOverread = 4;

    DigitSums(const SampledPixels& source, const TapRun& taps, const int64_t* offsets, size_t k, size_t lanes)
        : GuardedDigitSums<1>(taps, k, lanes) {
        // Positions in the order in which ExchangeWords brings them together.
        int64_t places[16];
        for (int i = 0; i < 16; ++i) places[i] = offsets[i % 4 * 4 + i / 4];
        const uint8_t* row = source.bits;
        for (size_t j = 0; j < 12; ++j, row += source.stride) {
            __m512i pixels[4];
            ExchangeWords(pixels, LoadQuarters(row, places), LoadQuarters(row, places + 4),
                          LoadQuarters(row, places + 8), LoadQuarters(row, places + 12));
            const __m512i sum =
                SumOfDigits<kTapGroups>(pixels, [&](int rank, int group) { return weights.words[rank][group]; });
            sums[0] = Fused(FloatsOf(sum), LoadLanes(taps.rows + j * taps.rowPitch + k, lanes), sums[0]);
            tolerance.partial = Add(tolerance.partial, Magnitudes(sums[0]));
        }
        sums[0] = Multiply(sums[0], SplatFloat(kDigitUnit));
        tolerance.partial = Multiply(tolerance.partial, SplatFloat(kDigitUnit));
    }
};
