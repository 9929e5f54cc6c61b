// Kernels of the median; see Rank.h.

#if VEL_VECTOR
// Keys of pixels in 32-bit lanes; the fourth byte does not count.
static inline Bytes KeysOfLanes(Bytes pixels) {
    const Bytes blueAndRed = And(pixels, Splat32(0x00FF00FF)), greenAndAlpha = VEL_BYTES_OP(srli_epi16)(pixels, 8);
    const Bytes sum = VEL_BYTES_OP(add_epi32)(VEL_BYTES_OP(madd_epi16)(blueAndRed, Splat32(306 << 16 | 117)),
                                              VEL_BYTES_OP(madd_epi16)(greenAndAlpha, Splat32(601)));
    return VEL_BYTES_OP(srli_epi32)(sum, 10);
}

static inline void StoreLanesAsBytes(uint8_t* dst, Bytes lanes) {
#if VEL_AVX512
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm512_cvtepi32_epi8(lanes));
#elif VEL_AVX2
    const Bytes words = _mm256_packus_epi32(lanes, lanes), bytes = _mm256_packus_epi16(words, words);
    const Bytes order = _mm256_setr_epi32(0, 4, 0, 4, 0, 4, 0, 4);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst),
                     _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(bytes, order)));
#else
    const Bytes words = _mm_packs_epi32(lanes, lanes);
    _mm_storeu_si32(dst, _mm_packus_epi16(words, words));
#endif
}
#endif

static void KeyRow(uint8_t* keys, const uint8_t* src, size_t pixels, size_t pixelBytes) {
    if (pixelBytes == 1) {
        memcpy(keys, src, pixels);  // the weights sum to 1024
        return;
    }
    size_t i = 0;
#if VEL_VECTOR
    if (pixelBytes == 4) {
        for (; i + kLanePixels <= pixels; i += kLanePixels) {
            StoreLanesAsBytes(keys + i, KeysOfLanes(LoadBytes(src + 4 * i)));
        }
    } else {
        for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
            StoreLanesAsBytes(keys + i, KeysOfLanes(SpreadPixels(src + 3 * i)));
        }
    }
#endif
    for (; i < pixels; ++i) {
        const uint8_t* p = src + i * pixelBytes;
        keys[i] = static_cast<uint8_t>((117u * p[0] + 601u * p[1] + 306u * p[2]) >> 10);
    }
}

static void SlideCounts(uint32_t* counts, const uint32_t* added, const uint32_t* dropped) {
    for (size_t i = 0; i < kKeyCounts; ++i) counts[i] += added[i] - dropped[i];
}

// The first of 16 counts whose sum with those before is above *rank, which becomes less by those before.
static inline uint32_t PlaceOfRank(const uint32_t* counts, uint32_t* rank) {
#if VEL_AVX512
    const __m512i nothing = _mm512_setzero_si512(), own = _mm512_loadu_si512(counts);
    __m512i sums = own;
    sums = _mm512_add_epi32(sums, _mm512_alignr_epi32(sums, nothing, 15));
    sums = _mm512_add_epi32(sums, _mm512_alignr_epi32(sums, nothing, 14));
    sums = _mm512_add_epi32(sums, _mm512_alignr_epi32(sums, nothing, 12));
    sums = _mm512_add_epi32(sums, _mm512_alignr_epi32(sums, nothing, 8));
    const uint32_t place = _tzcnt_u32(_mm512_cmpgt_epu32_mask(sums, _mm512_set1_epi32(static_cast<int>(*rank))));
    uint32_t before[16];
    _mm512_storeu_si512(before, _mm512_sub_epi32(sums, own));
    *rank -= before[place];
    return place;
#else
    uint32_t place = 0;
    for (; *rank >= counts[place]; ++place) *rank -= counts[place];
    return place;
#endif
}

static uint8_t KeyAtRank(const uint32_t* counts, uint32_t* rank) {
    const uint32_t group = PlaceOfRank(counts + kKeys, rank);
    return static_cast<uint8_t>(group * 16 + PlaceOfRank(counts + group * 16, rank));
}

// Lanes of bytes: a vector of them, or a single one for what is narrower than a vector.
struct OneLane {
    typedef uint8_t Type;
    static constexpr size_t kCount = 1;
    static Type Load(const uint8_t* p) { return *p; }
    static void Store(uint8_t* p, Type v) { *p = v; }
    static Type Splat(size_t v) { return static_cast<uint8_t>(v); }
    static Type Lesser(Type a, Type b) { return a < b ? a : b; }
    static Type Greater(Type a, Type b) { return a > b ? a : b; }
    static Type Plus(Type a, Type b) { return static_cast<uint8_t>(a + b); }
    static Type Minus(Type a, Type b) { return static_cast<uint8_t>(a - b); }
    // count + 1 where a == b, where a < b.
    static Type CountEqual(Type count, Type a, Type b) { return static_cast<uint8_t>(count + (a == b)); }
    static Type CountBelow(Type count, Type a, Type b) { return static_cast<uint8_t>(count + (a < b)); }
    // `then` where a <= b, else `otherwise`.
    static Type WhereNotAbove(Type a, Type b, Type then, Type otherwise) { return a <= b ? then : otherwise; }
};

#if VEL_VECTOR
struct VectorLanes {
    typedef Bytes Type;
    static constexpr size_t kCount = kVectorBytes;
    static Type Load(const uint8_t* p) { return LoadBytes(p); }
    static void Store(uint8_t* p, Type v) { StoreBytes(p, v); }
    static Type Splat(size_t v) { return Splat8(static_cast<int>(v)); }
    static Type Lesser(Type a, Type b) { return Min8(a, b); }
    static Type Greater(Type a, Type b) { return Max8(a, b); }
    static Type Plus(Type a, Type b) { return VEL_BYTES_OP(add_epi8)(a, b); }
    static Type Minus(Type a, Type b) { return VEL_BYTES_OP(sub_epi8)(a, b); }
    static Type CountBelow(Type count, Type a, Type b) {
        return Plus(count, Lesser(SubtractSaturated(b, a), Splat(1)));
    }
#if VEL_AVX512
    static Type CountEqual(Type count, Type a, Type b) {
        return _mm512_mask_sub_epi8(count, _mm512_cmpeq_epi8_mask(a, b), count, Splat8(-1));
    }
    static Type WhereNotAbove(Type a, Type b, Type then, Type otherwise) {
        return _mm512_mask_mov_epi8(otherwise, _mm512_cmple_epu8_mask(a, b), then);
    }
#else
    static Type CountEqual(Type count, Type a, Type b) { return Minus(count, VEL_BYTES_OP(cmpeq_epi8)(a, b)); }
    static Type WhereNotAbove(Type a, Type b, Type then, Type otherwise) {
        const Type chosen = VEL_BYTES_OP(cmpeq_epi8)(Min8(a, b), a);
        return Or(And(chosen, then), And(Xor(chosen, Splat8(-1)), otherwise));
    }
#endif
};
#endif

// Odd-even merge sort of n values as a list of exchanges. What does not lead to the value that is wanted in the end,
// the compiler leaves out.
template <int n>
struct SortingNetwork {
    uint8_t low[n * 8], high[n * 8];
    int count = 0;
    constexpr SortingNetwork() : low(), high() {
        for (int p = 1; p < n; p *= 2) {
            for (int k = p; k >= 1; k /= 2) {
                for (int j = k % p; j + k < n; j += 2 * k) {
                    for (int i = 0; i < k && i + j + k < n; ++i) {
                        if ((i + j) / (2 * p) != (i + j + k) / (2 * p)) continue;
                        low[count] = static_cast<uint8_t>(i + j);
                        high[count++] = static_cast<uint8_t>(i + j + k);
                    }
                }
            }
        }
    }
};

template <class L, int n, int at = 0>
[[gnu::always_inline]] static inline void Sort(typename L::Type (&v)[n]) {
    static constexpr SortingNetwork<n> network;
    if constexpr (at < network.count) {
        constexpr int low = network.low[at], high = network.high[at];
        const typename L::Type lesser = L::Lesser(v[low], v[high]);
        v[high] = L::Greater(v[low], v[high]);
        v[low] = lesser;
        Sort<L, n, at + 1>(v);
    }
}

// Three values in order.
template <class L>
struct SortedThree {
    typedef typename L::Type Type;
    Type low, middle, high;
    static SortedThree Of(Type a, Type b, Type c) {
        const Type lesser = L::Lesser(a, b), greater = L::Greater(a, b);
        return {L::Lesser(lesser, c), L::Greater(lesser, L::Lesser(greater, c)), L::Greater(greater, c)};
    }
};

// Of nine values in three columns: what is not the greatest of the low ones, the least of the high ones or the middle
// one of the middle ones has five others on one side.
template <class L>
static inline typename L::Type MiddleOfNine(const SortedThree<L>& a, const SortedThree<L>& b, const SortedThree<L>& c) {
    const typename L::Type low = L::Greater(L::Greater(a.low, b.low), c.low);
    const typename L::Type high = L::Lesser(L::Lesser(a.high, b.high), c.high);
    return SortedThree<L>::Of(low, SortedThree<L>::Of(a.middle, b.middle, c.middle).middle, high).middle;
}

template <class L>
static inline SortedThree<L> SortedColumn(const uint8_t* const* rows, size_t i) {
    return SortedThree<L>::Of(L::Load(rows[0] + i), L::Load(rows[1] + i), L::Load(rows[2] + i));
}

// The middle keys of small windows, by a network of exchanges.
template <class L, int size>
static inline typename L::Type SortedMiddle(const uint8_t* const* keys, size_t i) {
    if constexpr (size == 3) {
        return MiddleOfNine<L>(SortedColumn<L>(keys, i), SortedColumn<L>(keys, i + 1), SortedColumn<L>(keys, i + 2));
    } else {
        typename L::Type v[size * size];
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) v[y * size + x] = L::Load(keys[y] + i + x);
        }
        Sort<L, size * size>(v);
        return v[size * size / 2];
    }
}

// How many of a window's keys are above `limit`. `known` is the size where the compiler may unroll it, or 0.
template <class L, size_t known>
static inline typename L::Type CountAbove(const uint8_t* const* keys, size_t size, size_t i, typename L::Type limit) {
    if (known) size = known;
    typename L::Type count = L::Splat(0);
    for (size_t y = 0; y < size; ++y) {
        const uint8_t* row = keys[y] + i;
        for (size_t x = 0; x < size; ++x) count = L::CountBelow(count, limit, L::Load(row + x));
    }
    return count;
}

// The middle keys of larger windows, found bit by bit: the greatest value that at least n - n / 2 of the n keys reach.
template <class L, size_t known>
static inline typename L::Type SearchedMiddle(const uint8_t* const* keys, size_t size, size_t i) {
    const typename L::Type needed = L::Splat(size * size - size * size / 2);
    typename L::Type middle = L::Splat(0);
    for (size_t bit = 0x80; bit; bit >>= 1) {
        const typename L::Type candidate = L::Plus(middle, L::Splat(bit));
        const typename L::Type count = CountAbove<L, known>(keys, size, i, L::Minus(candidate, L::Splat(1)));
        middle = L::WhereNotAbove(needed, count, candidate, middle);
    }
    return middle;
}

template <class L>
static inline typename L::Type MiddleKeys(const uint8_t* const* keys, size_t size, size_t i) {
    switch (size) {
        case 2: return SortedMiddle<L, 2>(keys, i);
        case 3: return SortedMiddle<L, 3>(keys, i);
        case 4: return SortedMiddle<L, 4>(keys, i);
        case 5: return SortedMiddle<L, 5>(keys, i);
        case 7: return SearchedMiddle<L, 7>(keys, size, i);
        case 9: return SearchedMiddle<L, 9>(keys, size, i);
        default: return SearchedMiddle<L, 0>(keys, size, i);
    }
}

// Where, in the order of visiting, the samples lie that the rank falls on among those that have the middle key: as
// many come before as have seen fewer of them, themselves included, than the rank asks for.
template <class L, size_t known>
static inline typename L::Type MiddlePlaces(const uint8_t* const* keys, size_t size, size_t i,
                                            typename L::Type middle) {
    typedef typename L::Type T;
    if (known) size = known;
    T below = L::Splat(0);
    for (size_t y = 0; y < size; ++y) {
        for (size_t x = 0; x < size; ++x) below = L::CountBelow(below, L::Load(keys[y] + i + x), middle);
    }
    const T wanted = L::Minus(L::Splat(size * size / 2 + 1), below);
    T seen = L::Splat(0), place = L::Splat(0);
    for (size_t x = 0; x < size; ++x) {
        for (size_t y = 0; y < size; ++y) {
            seen = L::CountEqual(seen, L::Load(keys[y] + i + x), middle);
            place = L::CountBelow(place, seen, wanted);
        }
    }
    return place;
}

#if VEL_AVX512
// For windows of up to 5 x 5, by place or by number.
static constexpr BytePlaces PlaceTable(int divisor, int factor, bool remainder) {
    BytePlaces table{};
    for (int i = 0; i < 64; ++i) {
        table.at[i] = static_cast<uint8_t>((remainder ? i % divisor : i / divisor) * factor);
    }
    return table;
}
template <int size>
struct PlaceTables {
    static constexpr BytePlaces kColumn = PlaceTable(size, 1, false), kRow = PlaceTable(size, 1, true);
    static constexpr BytePlaces kColumnByte = PlaceTable(size, 3, false);  // of 3-byte pixels
};
static constexpr BytePlaces kOwn = PlaceTable(1, 1, false), kThird = PlaceTable(3, 1, false);

// Samples of 64 windows by their places, 16 at a time: those of each row of the window are permuted to where that row
// is meant.
template <int size>
static inline void PickPixels24(uint8_t* dst, const uint8_t* const* samples, size_t i, Bytes places) {
    const Bytes columns = _mm512_permutexvar_epi8(places, PlaceTables<size>::kColumnByte.Load());
    const Bytes rows = _mm512_permutexvar_epi8(places, PlaceTables<size>::kRow.Load());
    const __mmask64 there = FirstBytes(3 * (16 + size - 1));
    for (size_t k = 0; k < 64; k += 16) {
        const Bytes third = _mm512_add_epi8(kThird.Load(), Splat8(static_cast<int>(k)));
        const Bytes from = _mm512_add_epi8(kOwn.Load(), _mm512_permutexvar_epi8(third, columns));
        const Bytes row = _mm512_permutexvar_epi8(third, rows);
        Bytes picked = _mm512_permutexvar_epi8(from, _mm512_maskz_loadu_epi8(there, samples[0] + 3 * (i + k)));
        for (int y = 1; y < size; ++y) {
            const Bytes pixels = _mm512_maskz_loadu_epi8(there, samples[y] + 3 * (i + k));
            const __mmask64 meant = _mm512_cmpeq_epi8_mask(row, Splat8(y));
            picked = _mm512_mask_permutexvar_epi8(picked, meant, from, pixels);
        }
        _mm512_mask_storeu_epi8(dst + 3 * (i + k), FirstBytes(48), picked);
    }
}

template <int size>
static inline void PickPixels32(uint8_t* dst, const uint8_t* const* samples, size_t i, Bytes places) {
    __m128i columns[4], rows[4];
    StoreBytes(columns, _mm512_permutexvar_epi8(places, PlaceTables<size>::kColumn.Load()));
    StoreBytes(rows, _mm512_permutexvar_epi8(places, PlaceTables<size>::kRow.Load()));
    const __mmask16 behind = static_cast<__mmask16>(FirstBytes(size - 1));
    const __m512i own = _mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    for (size_t k = 0; k < 4; ++k) {
        const __m512i from = _mm512_add_epi32(own, _mm512_cvtepu8_epi32(columns[k]));
        const __m512i row = _mm512_cvtepu8_epi32(rows[k]);
        __m512i picked = Splat8(0);
        for (int y = 0; y < size; ++y) {
            const uint8_t* p = samples[y] + 4 * (i + 16 * k);
            const __m512i pixels =
                _mm512_permutex2var_epi32(LoadBytes(p), from, _mm512_maskz_loadu_epi32(behind, p + 64));
            picked = _mm512_mask_mov_epi32(picked, _mm512_cmpeq_epi32_mask(row, Splat32(y)), pixels);
        }
        StoreBytes(dst + 4 * (i + 16 * k), picked);
    }
}

template <int size>
static void MedianRowInRegisters(uint8_t* dst, const uint8_t* const* keys, const uint8_t* const* samples, size_t pixels,
                                 size_t pixelBytes) {
    for (size_t i = 0;;) {
        const Bytes places = MiddlePlaces<VectorLanes, size>(keys, size, i, SortedMiddle<VectorLanes, size>(keys, i));
        if (pixelBytes == 3) {
            PickPixels24<size>(dst, samples, i, places);
        } else {
            PickPixels32<size>(dst, samples, i, places);
        }
        if (i + 64 == pixels) return;
        i = i + 128 <= pixels ? i + 64 : pixels - 64;
    }
}
#endif

// Where each place of window 0 lies in memory.
struct PlacePointers {
    const uint8_t* at[kMostRanked * kMostRanked];
    PlacePointers(const uint8_t* const* samples, size_t size, size_t pixelBytes) {
        for (size_t x = 0; x < size; ++x) {
            for (size_t y = 0; y < size; ++y) at[x * size + y] = samples[y] + x * pixelBytes;
        }
    }
};

template <size_t pixelBytes>
static inline void PickSamples(uint8_t* dst, const PlacePointers& pointers, const uint8_t* places, size_t i,
                               size_t count) {
    // Three bytes are copied as four where another pixel follows, which writes over the fourth.
    constexpr size_t kCopied = pixelBytes == 3 ? 4 : pixelBytes;
    for (size_t k = 0; k + 1 < count; ++k) {
        memcpy(dst + (i + k) * pixelBytes, pointers.at[places[k]] + (i + k) * pixelBytes, kCopied);
    }
    const size_t last = i + count - 1;
    memcpy(dst + last * pixelBytes, pointers.at[places[count - 1]] + last * pixelBytes, pixelBytes);
}

template <class L>
static inline void MedianAt(uint8_t* dst, const uint8_t* const* keys, const PlacePointers& pointers, size_t size,
                            size_t i, size_t pixelBytes) {
    const typename L::Type middle = MiddleKeys<L>(keys, size, i);
    if (pixelBytes == 1) {
        L::Store(dst + i, middle);
        return;
    }
    uint8_t places[L::kCount];
    L::Store(places, size == 3   ? MiddlePlaces<L, 3>(keys, size, i, middle)
                     : size == 5 ? MiddlePlaces<L, 5>(keys, size, i, middle)
                                 : MiddlePlaces<L, 0>(keys, size, i, middle));
    if (pixelBytes == 3) {
        PickSamples<3>(dst, pointers, places, i, L::kCount);
    } else {
        PickSamples<4>(dst, pointers, places, i, L::kCount);
    }
}

static void MedianRow(uint8_t* dst, const uint8_t* const* keys, const uint8_t* const* samples, size_t size,
                      size_t pixels, size_t pixelBytes) {
#if VEL_AVX512
    if (pixels >= kVectorBytes) {
        if (size == 3 && pixelBytes > 1) return MedianRowInRegisters<3>(dst, keys, samples, pixels, pixelBytes);
        if (size == 5 && pixelBytes > 1) return MedianRowInRegisters<5>(dst, keys, samples, pixels, pixelBytes);
    }
#endif
    const PlacePointers pointers(samples, size, pixelBytes);
#if VEL_VECTOR
    if (pixels >= kVectorBytes) {
        for (size_t i = 0;;) {
            MedianAt<VectorLanes>(dst, keys, pointers, size, i, pixelBytes);
            if (i + kVectorBytes == pixels) return;
            i = i + 2 * kVectorBytes <= pixels ? i + kVectorBytes : pixels - kVectorBytes;
        }
    }
#endif
    for (size_t i = 0; i < pixels; ++i) MedianAt<OneLane>(dst, keys, pointers, size, i, pixelBytes);
}

#if VEL_AVX512
static inline void MedianGreys(uint8_t* dst, const uint8_t* const* rows, const NextRows& next, size_t count) {
    typedef SortedThree<VectorLanes> Column;
    const uint8_t *const top = rows[0], *const middle = rows[1], *const bottom = rows[2];
    const BesidePlaces beside(1);
    const auto column = [=](auto load, ptrdiff_t i) __attribute__((always_inline)) {
        return Column::Of(load(top + i), load(middle + i), load(bottom + i));
    };
    const auto finish = [=](auto, const Column& before, const Column& here, const Column& after, ptrdiff_t)
        __attribute__((always_inline)) {
        const Column left = {beside.Left(before.low, here.low), beside.Left(before.middle, here.middle),
                             beside.Left(before.high, here.high)};
        const Column right = {beside.Right(here.low, after.low), beside.Right(here.middle, after.middle),
                              beside.Right(here.high, after.high)};
        return MiddleOfNine<VectorLanes>(left, here, right);
    };
    WalkRow<1>(dst, count, 1, next, column, finish);
}
#else
static inline void MedianGreys(uint8_t* dst, const uint8_t* const* rows, [[maybe_unused]] const NextRows& next,
                               size_t count) {
    const uint8_t* const left[] = {rows[0] - 1, rows[1] - 1, rows[2] - 1};
#if VEL_VECTOR
    if (count >= kVectorBytes) {
        ForVectors(dst, count, 1, [=](size_t at) {
            FetchNext(next, at, kVectorBytes);
            StoreBytes(dst + at, SortedMiddle<VectorLanes, 3>(left, at));
        });
        return;
    }
#endif
    for (size_t i = 0; i < count; ++i) dst[i] = SortedMiddle<OneLane, 3>(left, i);
}
#endif

static void MedianGreyRows(uint8_t* const* dst, const uint8_t* const* rows, int n, const NextRows& next, size_t count) {
    for (int y = 0; y < n; ++y) MedianGreys(dst[y], rows + y, NextRow(next, y), count);
}
