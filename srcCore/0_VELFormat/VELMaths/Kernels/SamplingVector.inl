// Weighted sums of 16 positions at once, one in each lane of a register: a lane's sum takes its terms in their order.

// 16 bytes from each of four positions, one in each quarter.
static inline __m512i LoadQuarters(const uint8_t* bits, const int64_t* offsets) {
    const auto load = [&](int i) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bits + offsets[i])); };
    const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(load(0)), load(1), 1);
    const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(load(2)), load(3), 1);
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

// Byte places for two-register permutes. Pairs: of the four pixels in each quarter of two registers (8 positions), the
// columns 2 * half and 2 * half + 1, a 4-byte word a position, the 8 positions of the first column first.
static constexpr BytePlaces PairPlaces(int pixelBytes, int half) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) {
        const int column = 2 * half + i / 32, position = i / 4 % 8;
        places.at[i] = static_cast<uint8_t>(position * 16 + column * pixelBytes + (i % 4) % pixelBytes);
    }
    return places;
}
static constexpr BytePlaces kPairPlaces3[2] = {PairPlaces(3, 0), PairPlaces(3, 1)};
static constexpr BytePlaces kPairPlaces4[2] = {PairPlaces(4, 0), PairPlaces(4, 1)};
// Channels: of two such pairs (16 positions), one channel of column 0 or 1 of the pair as the low byte of each word.
static constexpr BytePlaces ChannelPlaces(int column, int channel) {
    BytePlaces places{};
    for (int position = 0; position < 16; ++position) {
        places.at[4 * position] = static_cast<uint8_t>(position / 8 * 64 + column * 32 + position % 8 * 4 + channel);
    }
    return places;
}
static constexpr BytePlaces kChannelPlaces[2][4] = {
    {ChannelPlaces(0, 0), ChannelPlaces(0, 1), ChannelPlaces(0, 2), ChannelPlaces(0, 3)},
    {ChannelPlaces(1, 0), ChannelPlaces(1, 1), ChannelPlaces(1, 2), ChannelPlaces(1, 3)}};

static inline __m512 LowByteChannel(__m512i first, __m512i places, __m512i second) {
    return _mm512_cvtepi32_ps(_mm512_maskz_permutex2var_epi8(0x1111111111111111ull, first, places, second));
}

static inline __m512i BytesOfSums(__m512 sums) {
    const __m512 clamped = _mm512_min_ps(_mm512_max_ps(sums, _mm512_setzero_ps()), _mm512_set1_ps(255.0f));
    return _mm512_cvttps_epi32(clamped);
}

// NearStep for 16 sums.
static inline __mmask16 NearSteps(__m512 sums, __m512 tolerance) {
    const __m512 low = _mm512_max_ps(sums, _mm512_setzero_ps()), capped = _mm512_min_ps(low, _mm512_set1_ps(255.25f));
    const __m512 step = _mm512_cvtepi32_ps(_mm512_cvttps_epi32(_mm512_add_ps(capped, _mm512_set1_ps(0.5f))));
    return _mm512_cmp_ps_mask(step, _mm512_set1_ps(1.0f), _CMP_GE_OQ) &
           _mm512_cmp_ps_mask(_mm512_abs_ps(_mm512_sub_ps(sums, step)), tolerance, _CMP_LE_OQ);
}

// The sums of 16 positions, kept as SumTolerance and NearStep have it for one.
template <int kChannels, int kTaps, bool kGuarded>
struct GuardedChannels {
    __m512 sums[kChannels];
    __m512 columns, rows, partial;

    GuardedChannels(const TapRun& taps, size_t k, __mmask16 lanes)
        : columns(_mm512_setzero_ps()), rows(_mm512_setzero_ps()), partial(_mm512_setzero_ps()) {
        for (int c = 0; c < kChannels; ++c) sums[c] = _mm512_setzero_ps();
        for (size_t i = 0; kGuarded && i < kTaps; ++i) {
            const __m512 weight = _mm512_maskz_loadu_ps(lanes, taps.columns + i * taps.columnPitch + k);
            columns = _mm512_add_ps(columns, _mm512_abs_ps(weight));
        }
    }
    void EndRow(__m512 rowWeights) {
        if (!kGuarded) return;
        __m512 largest = _mm512_abs_ps(sums[0]);
        for (int c = 1; c < kChannels; ++c) largest = _mm512_max_ps(largest, _mm512_abs_ps(sums[c]));
        partial = _mm512_add_ps(partial, largest);
        rows = _mm512_add_ps(rows, _mm512_abs_ps(rowWeights));
    }
    __m512i Colours() const {
        if (kChannels == 1) return _mm512_mullo_epi32(BytesOfSums(sums[0]), _mm512_set1_epi32(0x010101));
        __m512i colours = BytesOfSums(sums[0]);
        for (int c = 1; c < kChannels; ++c) {
            colours = _mm512_or_si512(colours, _mm512_slli_epi32(BytesOfSums(sums[c]), static_cast<unsigned>(8 * c)));
        }
        return colours;
    }
    __mmask16 Doubtful() const {
        const auto constant = [](float value) { return _mm512_set1_ps(value); };
        const __m512 weights = _mm512_mul_ps(_mm512_mul_ps(constant(255.0f), columns), rows);
        const __m512 both = _mm512_add_ps(_mm512_add_ps(columns, rows), constant(kSeriesDeviation));
        const __m512 deviation = _mm512_mul_ps(constant(255.0f * kSeriesDeviation), both);
        const __m512 rounding =
            _mm512_add_ps(_mm512_mul_ps(constant(kTaps), partial), _mm512_mul_ps(constant(kTaps + 2), weights));
        const __m512 tolerance = _mm512_mul_ps(
            constant(1.05f), _mm512_add_ps(_mm512_mul_ps(constant(2.0f / 16777216.0f), rounding), deviation));
        __mmask16 doubtful = 0;
        for (int c = 0; c < kChannels; ++c) doubtful |= NearSteps(sums[c], tolerance);
        return doubtful;
    }
};

// Pixels of 3 or 4 bytes. A row is read in groups of four pixels, 16 bytes at a time, so 3-byte pixels have 4 bytes
// after the last tap read.
template <int kPixelBytes, int kTaps, bool kGuarded>
struct VectorSums : GuardedChannels<kPixelBytes, kTaps, kGuarded> {
    static constexpr int kOverread = 4 * (4 - kPixelBytes);

    VectorSums(const SampledPixels& source, const TapRun& taps, const int64_t* offsets, size_t k, __mmask16 lanes)
        : GuardedChannels<kPixelBytes, kTaps, kGuarded>(taps, k, lanes) {
        const BytePlaces(&pair)[2] = kPixelBytes == 3 ? kPairPlaces3 : kPairPlaces4;
        const uint8_t* row = source.bits;
        for (int j = 0; j < kTaps; ++j, row += source.stride) {
            const __m512 rowWeights =
                _mm512_maskz_loadu_ps(lanes, taps.rows + static_cast<size_t>(j) * taps.rowPitch + k);
            const float* columnWeights = taps.columns + k;
            for (int group = 0; group < kTaps / 4; ++group) {
                const uint8_t* at = row + group * 4 * kPixelBytes;
                const __m512i a = LoadQuarters(at, offsets), b = LoadQuarters(at, offsets + 4);
                const __m512i c4 = LoadQuarters(at, offsets + 8), d = LoadQuarters(at, offsets + 12);
                for (int half = 0; half < 2; ++half) {
                    const __m512i first = _mm512_permutex2var_epi8(a, pair[half].Load(), b);
                    const __m512i second = _mm512_permutex2var_epi8(c4, pair[half].Load(), d);
                    for (int column = 0; column < 2; ++column, columnWeights += taps.columnPitch) {
                        const __m512 weight = _mm512_mul_ps(_mm512_maskz_loadu_ps(lanes, columnWeights), rowWeights);
                        for (int c = 0; c < kPixelBytes; ++c) {
                            const __m512 value = LowByteChannel(first, kChannelPlaces[column][c].Load(), second);
                            this->sums[c] = _mm512_add_ps(this->sums[c], _mm512_mul_ps(weight, value));
                        }
                    }
                }
            }
            this->EndRow(rowWeights);
        }
    }
};

// Grey pixels: a word holds four columns of one position.
template <int kTaps, bool kGuarded>
struct VectorSums<1, kTaps, kGuarded> : GuardedChannels<1, kTaps, kGuarded> {
    static constexpr int kOverread = 0;

    VectorSums(const SampledPixels& source, const TapRun& taps, const int64_t* offsets, size_t k, __mmask16 lanes)
        : GuardedChannels<1, kTaps, kGuarded>(taps, k, lanes) {
        const __m512i low = _mm512_loadu_si512(offsets), high = _mm512_loadu_si512(offsets + 8);
        const uint8_t* row = source.bits;
        const __m512i byte = _mm512_set1_epi32(0xFF);
        for (int j = 0; j < kTaps; ++j, row += source.stride) {
            const __m512 rowWeights =
                _mm512_maskz_loadu_ps(lanes, taps.rows + static_cast<size_t>(j) * taps.rowPitch + k);
            const float* columnWeights = taps.columns + k;
            for (int group = 0; group < kTaps / 4; ++group) {
                const __m256i first = _mm512_i64gather_epi32(low, row + group * 4, 1);
                const __m256i second = _mm512_i64gather_epi32(high, row + group * 4, 1);
                __m512i words = _mm512_inserti64x4(_mm512_castsi256_si512(first), second, 1);
                for (int column = 0; column < 4; ++column, columnWeights += taps.columnPitch) {
                    const __m512 weight = _mm512_mul_ps(_mm512_maskz_loadu_ps(lanes, columnWeights), rowWeights);
                    const __m512 value = _mm512_cvtepi32_ps(_mm512_and_si512(words, byte));
                    this->sums[0] = _mm512_add_ps(this->sums[0], _mm512_mul_ps(weight, value));
                    words = _mm512_srli_epi32(words, 8);
                }
            }
            this->EndRow(rowWeights);
        }
    }
};

template <int kPixelBytes, int kTaps, bool kGuarded>
static void AccumulateRun(uint32_t* colours, uint32_t* doubts, const SampledPixels& source, const TapRun& taps,
                          size_t count) {
    using Sums = VectorSums<kPixelBytes, kTaps, kGuarded>;
    // From the first tap to the end of what is read of the row that lies highest in memory.
    const ptrdiff_t lastRow = source.stride > 0 ? (kTaps - 1) * source.stride : 0;
    const int64_t highest = source.end - source.bits - lastRow - kTaps * kPixelBytes - Sums::kOverread;
    const __m512i limit = _mm512_set1_epi64(highest);
    for (size_t k = 0; k < count; k += 16) {
        const size_t size = count - k < 16 ? count - k : 16;
        const int64_t* offsets = taps.offsets + k;
        int64_t padded[16];
        if (size < 16) {
            // Lanes beyond the run sample its first position with weights of 0.
            for (size_t i = 0; i < 16; ++i) padded[i] = offsets[i < size ? i : 0];
            offsets = padded;
        }
        const __m512i low = _mm512_loadu_si512(offsets), high = _mm512_loadu_si512(offsets + 8);
        if (_mm512_cmpgt_epi64_mask(_mm512_max_epi64(low, high), limit)) {
            AccumulatePlain<kPixelBytes, kTaps, kGuarded>(colours, doubts, source, taps, k, k + size);
            continue;
        }
        const auto lanes = static_cast<__mmask16>(0xFFFFu >> (16 - size));
        const Sums sums(source, taps, offsets, k, lanes);
        _mm512_mask_storeu_epi32(colours + k, lanes, sums.Colours());
        if (kGuarded) {
            const __m512i old = _mm512_maskz_loadu_epi32(lanes, doubts + k);
            const __m512i added = _mm512_add_epi32(old, _mm512_maskz_set1_epi32(sums.Doubtful(), 1));
            _mm512_mask_storeu_epi32(doubts + k, lanes, added);
        }
    }
}
