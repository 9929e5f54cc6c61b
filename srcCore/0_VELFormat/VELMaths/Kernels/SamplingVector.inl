// Weighted sums of as many positions at once as the level has lanes, one position in each lane: a lane's sum takes its
// terms in their order.

static constexpr size_t kLanes = sizeof(Floats) / sizeof(float);

// The first n lanes, the others 0.
static inline Floats LoadLanes(const float* p, size_t n) {
#if !VEL_AVX512
    if (n == kLanes) return VEL_BYTES_OP(loadu_ps)(p);
    alignas(Floats) float lanes[kLanes] = {};
    for (size_t i = 0; i < n; ++i) lanes[i] = p[i];
    return VEL_BYTES_OP(load_ps)(lanes);
#else
    return _mm512_castsi512_ps(LoadFirst(p, n * sizeof(float)));
#endif
}

static inline Floats Magnitudes(Floats a) { return VEL_BYTES_OP(andnot_ps)(SplatFloat(-0.0f), a); }

// 1 where a <= b, else 0.
static inline Bytes NotAbove(Floats a, Floats b) {
#if VEL_AVX512
    return _mm512_maskz_set1_epi32(_mm512_cmp_ps_mask(a, b, _CMP_LE_OQ), 1);
#elif VEL_AVX2
    return _mm256_srli_epi32(_mm256_castps_si256(_mm256_cmp_ps(a, b, _CMP_LE_OQ)), 31);
#else
    return _mm_srli_epi32(_mm_castps_si128(_mm_cmple_ps(a, b)), 31);
#endif
}

// The words of the four quarters of four registers, exchanged: word i of all of them in columns[i]. Each half
// or quarter of a register by itself.
static inline void ExchangeWords(Bytes* columns, Bytes a, Bytes b, Bytes c, Bytes d) {
    const Bytes low01 = VEL_BYTES_OP(unpacklo_epi32)(a, b), high01 = VEL_BYTES_OP(unpackhi_epi32)(a, b);
    const Bytes low23 = VEL_BYTES_OP(unpacklo_epi32)(c, d), high23 = VEL_BYTES_OP(unpackhi_epi32)(c, d);
    columns[0] = VEL_BYTES_OP(unpacklo_epi64)(low01, low23);
    columns[1] = VEL_BYTES_OP(unpackhi_epi64)(low01, low23);
    columns[2] = VEL_BYTES_OP(unpacklo_epi64)(high01, high23);
    columns[3] = VEL_BYTES_OP(unpackhi_epi64)(high01, high23);
}

// Four pixels from each position's place on; Channel() is one byte of one column of them all. Grey pixels read 4 bytes,
// the others 16.
#if VEL_AVX512
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

template <int kPixelBytes>
struct ColumnGroup {
    __m512i first[2], second[2];

    ColumnGroup(const uint8_t* at, const int64_t* offsets) {
        const BytePlaces(&pair)[2] = kPixelBytes == 3 ? kPairPlaces3 : kPairPlaces4;
        const __m512i a = LoadQuarters(at, offsets), b = LoadQuarters(at, offsets + 4);
        const __m512i c = LoadQuarters(at, offsets + 8), d = LoadQuarters(at, offsets + 12);
        for (int half = 0; half < 2; ++half) {
            first[half] = _mm512_permutex2var_epi8(a, pair[half].Load(), b);
            second[half] = _mm512_permutex2var_epi8(c, pair[half].Load(), d);
        }
    }
    Floats Channel(int column, int channel) const {
        const __m512i places = kChannelPlaces[column % 2][channel].Load();
        return FloatsOf(
            _mm512_maskz_permutex2var_epi8(0x1111111111111111ull, first[column / 2], places, second[column / 2]));
    }
};
#else
// Four pixels of one position as words; at avx2 those of the position four further in the upper half.
template <int kPixelBytes>
static inline Bytes LoadPixels(const uint8_t* at, const int64_t* offsets) {
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + offsets[0]));
#if VEL_AVX2
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + offsets[4]));
    const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    if (kPixelBytes == 4) return both;
    const __m128i places = _mm_set_epi8(-1, 11, 10, 9, -1, 8, 7, 6, -1, 5, 4, 3, -1, 2, 1, 0);
    return _mm256_shuffle_epi8(both, _mm256_broadcastsi128_si256(places));
#else
    return kPixelBytes == 4 ? low : SpreadFour(low);
#endif
}

template <int kPixelBytes>
struct ColumnGroup {
    Bytes columns[4];

    ColumnGroup(const uint8_t* at, const int64_t* offsets) {
        ExchangeWords(columns, LoadPixels<kPixelBytes>(at, offsets), LoadPixels<kPixelBytes>(at, offsets + 1),
                      LoadPixels<kPixelBytes>(at, offsets + 2), LoadPixels<kPixelBytes>(at, offsets + 3));
    }
    Floats Channel(int column, int channel) const {
        return FloatsOf(And(VEL_BYTES_OP(srli_epi32)(columns[column], 8 * channel), Splat32(255)));
    }
};
#endif

// A word holds four columns of one position.
template <>
struct ColumnGroup<1> {
    Bytes words;

    ColumnGroup(const uint8_t* at, const int64_t* offsets) : words(WordsAt(at, offsets)) {}
    Floats Channel(int column, int /*channel*/) const {
        return FloatsOf(And(VEL_BYTES_OP(srli_epi32)(words, static_cast<unsigned>(8 * column)), Splat32(255)));
    }
};

static inline Bytes BytesOfSums(Floats sums) {
    const Floats low = VEL_BYTES_OP(max_ps)(sums, SplatFloat(0));
    return VEL_BYTES_OP(cvttps_epi32)(VEL_BYTES_OP(min_ps)(low, SplatFloat(255)));
}

// NearStep for all lanes: 1 or 0.
static inline Bytes NearSteps(Floats sums, Floats tolerance) {
    const Floats low = VEL_BYTES_OP(max_ps)(sums, SplatFloat(0));
    const Floats capped = VEL_BYTES_OP(min_ps)(low, SplatFloat(255.25f));
    const Floats step = FloatsOf(VEL_BYTES_OP(cvttps_epi32)(Add(capped, SplatFloat(0.5f))));
    const Floats off = Magnitudes(VEL_BYTES_OP(sub_ps)(sums, step));
    return And(NotAbove(SplatFloat(1), step), NotAbove(off, tolerance));
}

// The channels' sums of a register's positions.
template <int kPixelBytes>
struct LaneSums {
    Floats sums[kPixelBytes];

    Bytes Colours() const {
        const Bytes first = BytesOfSums(sums[0]);
        if (kPixelBytes == 1) {
            return Or(first, Or(VEL_BYTES_OP(slli_epi32)(first, 8), VEL_BYTES_OP(slli_epi32)(first, 16)));
        }
        Bytes colours = first;
        for (int c = 1; c < kPixelBytes; ++c) {
            colours = Or(colours, VEL_BYTES_OP(slli_epi32)(BytesOfSums(sums[c]), static_cast<unsigned>(8 * c)));
        }
        return colours;
    }
    Bytes Near(Floats tolerance) const {
        Bytes near = NearSteps(sums[0], tolerance);
        for (int c = 1; c < kPixelBytes; ++c) near = Or(near, NearSteps(sums[c], tolerance));
        return near;
    }
    Floats Largest() const {
        Floats largest = Magnitudes(sums[0]);
        for (int c = 1; c < kPixelBytes; ++c) largest = VEL_BYTES_OP(max_ps)(largest, Magnitudes(sums[c]));
        return largest;
    }
};

// Rows are read in groups of four pixels, 16 bytes at a time, so 3-byte pixels have 4 bytes after the last tap read.
template <int kPixelBytes, int kTaps>
struct VectorSums : LaneSums<kPixelBytes> {
    static constexpr int kOverread = kPixelBytes == 3 ? 4 : 0;

    VectorSums(const SampledPixels& source, const TapRun& taps, const int64_t* offsets, size_t k, size_t lanes) {
        for (Floats& sum : this->sums) sum = SplatFloat(0);
        const uint8_t* row = source.bits;
        for (size_t j = 0; j < kTaps; ++j, row += source.stride) {
            const Floats rowWeights = LoadLanes(taps.rows + j * taps.rowPitch + k, lanes);
            const float* columnWeights = taps.columns + k;
            for (int group = 0; group < kTaps / 4; ++group) {
                const ColumnGroup<kPixelBytes> pixels(row + group * 4 * kPixelBytes, offsets);
                for (int column = 0; column < 4; ++column, columnWeights += taps.columnPitch) {
                    const Floats weight = Multiply(LoadLanes(columnWeights, lanes), rowWeights);
                    for (int c = 0; c < kPixelBytes; ++c) {
                        this->sums[c] = Add(this->sums[c], Multiply(weight, pixels.Channel(column, c)));
                    }
                }
            }
        }
    }
};

struct FloatLanes {
    typedef Floats Number;
};

// What GuardPlain has for one position.
template <int kPixelBytes, int kTaps>
struct GuardedVectorSums : LaneSums<kPixelBytes> {
    static constexpr int kOverread = VectorSums<kPixelBytes, kTaps>::kOverread;

    SumTolerance<FloatLanes> tolerance{};

    GuardedVectorSums(const SampledPixels& source, const TapRun& taps, const int64_t* offsets, size_t k, size_t lanes) {
        for (Floats& sum : this->sums) sum = SplatFloat(0);
        for (size_t i = 0; i < kTaps; ++i) {
            tolerance.AddColumn(Magnitudes(LoadLanes(taps.columns + i * taps.columnPitch + k, lanes)));
        }
        const uint8_t* row = source.bits;
        for (size_t j = 0; j < kTaps; ++j, row += source.stride) {
            Floats ofRow[kPixelBytes];
            for (Floats& sum : ofRow) sum = SplatFloat(0);
            const float* columnWeights = taps.columns + k;
            for (int group = 0; group < kTaps / 4; ++group) {
                const ColumnGroup<kPixelBytes> pixels(row + group * 4 * kPixelBytes, offsets);
                for (int column = 0; column < 4; ++column, columnWeights += taps.columnPitch) {
                    const Floats weight = LoadLanes(columnWeights, lanes);
                    for (int c = 0; c < kPixelBytes; ++c) ofRow[c] = Fused(weight, pixels.Channel(column, c), ofRow[c]);
                }
            }
            const Floats rowWeights = LoadLanes(taps.rows + j * taps.rowPitch + k, lanes);
            for (int c = 0; c < kPixelBytes; ++c) this->sums[c] = Fused(rowWeights, ofRow[c], this->sums[c]);
            tolerance.partial = Add(tolerance.partial, this->Largest());
            tolerance.rows = Add(tolerance.rows, Magnitudes(rowWeights));
        }
    }
    Bytes Doubtful() const { return this->Near(tolerance.OfRowSums(kTaps)); }
};

#if VEL_AVX512
#include "SamplingDigits.inl"
#endif

// Calls vectors(offsets, first, size) for as many positions at a time as the level has lanes, where all that `Sums`
// reads of them lies in the block, and plain(first, last) elsewhere. Lanes beyond the run have its first position.
template <class Sums, int kPixelBytes, int kTaps, class Vectors, class Plain>
static inline void ForLanes(const SampledPixels& source, const TapRun& taps, size_t count, Vectors vectors,
                            Plain plain) {
    // From the first tap to the end of what is read of the row that lies highest in memory.
    const ptrdiff_t lastRow = source.stride > 0 ? (kTaps - 1) * source.stride : 0;
    const int64_t limit = source.end - source.bits - lastRow - kTaps * kPixelBytes - Sums::kOverread;
    for (size_t k = 0; k < count; k += kLanes) {
        const size_t size = count - k < kLanes ? count - k : kLanes;
        int64_t offsets[kLanes];
        bool beyond = false;
        for (size_t i = 0; i < kLanes; ++i) {
            offsets[i] = taps.offsets[k + (i < size ? i : 0)];
            beyond |= offsets[i] > limit;
        }
        if (beyond) {
            plain(k, k + size);
        } else {
            vectors(offsets, k, size);
        }
    }
}

template <int kPixelBytes, int kTaps>
static void AccumulateRun(uint32_t* colours, const SampledPixels& source, const TapRun& taps, size_t count) {
    using Sums = VectorSums<kPixelBytes, kTaps>;
    const auto vectors = [&](const int64_t* offsets, size_t k, size_t size) {
        StoreFirst(colours + k, Sums(source, taps, offsets, k, size).Colours(), size * sizeof(uint32_t));
    };
    ForLanes<Sums, kPixelBytes, kTaps>(source, taps, count, vectors, [&](size_t first, size_t last) {
        AccumulatePlain<kPixelBytes, kTaps>(colours, source, taps, first, last);
    });
}

template <class Sums, int kPixelBytes, int kTaps>
static void GuardLanes(uint32_t* colours, uint32_t* doubts, const SampledPixels& source, const TapRun& taps,
                       size_t count) {
    const auto vectors = [&](const int64_t* offsets, size_t k, size_t size) {
        const Sums sums(source, taps, offsets, k, size);
        StoreFirst(colours + k, sums.Colours(), size * sizeof(uint32_t));
        const Bytes old = LoadFirst(doubts + k, size * sizeof(uint32_t));
        StoreFirst(doubts + k, VEL_BYTES_OP(add_epi32)(old, sums.Doubtful()), size * sizeof(uint32_t));
    };
    ForLanes<Sums, kPixelBytes, kTaps>(source, taps, count, vectors, [&](size_t first, size_t last) {
        GuardPlain<kPixelBytes, kTaps>(colours, doubts, source, taps, first, last);
    });
}

template <int kPixelBytes, int kTaps>
static void GuardRun(uint32_t* colours, uint32_t* doubts, const SampledPixels& source, const TapRun& taps,
                     size_t count) {
#if VEL_AVX512
    if constexpr (kTaps == 12) {
        GuardLanes<DigitSums<kPixelBytes>, kPixelBytes, kTaps>(colours, doubts, source, taps, count);
        return;
    }
#endif
    GuardLanes<GuardedVectorSums<kPixelBytes, kTaps>, kPixelBytes, kTaps>(colours, doubts, source, taps, count);
}
