// Byte vectors of the level's width, and what several families share. Included inside a level's anonymous namespace.
//
// VEL_VECTOR is defined where the level has byte vectors (kVectorBytes of them in a `Bytes`): sse2 at baseline, avx2,
// avx512. One source then serves all levels; the plain level and other processors take the plain loops.

#if defined(__SSE2__) && !defined(VEL_PLAIN)
#define VEL_VECTOR 1
#if VEL_AVX512
typedef __m512i Bytes;
#define VEL_BYTES_OP(name) VEL_JOIN(_mm512_, name)
static inline Bytes LoadBytes(const void* p) { return _mm512_loadu_si512(p); }
static inline void StoreBytes(void* p, Bytes v) { _mm512_storeu_si512(p, v); }
static inline Bytes And(Bytes a, Bytes b) { return _mm512_and_si512(a, b); }
static inline Bytes Or(Bytes a, Bytes b) { return _mm512_or_si512(a, b); }
static inline Bytes Xor(Bytes a, Bytes b) { return _mm512_xor_si512(a, b); }
#elif VEL_AVX2
typedef __m256i Bytes;
#define VEL_BYTES_OP(name) VEL_JOIN(_mm256_, name)
static inline Bytes LoadBytes(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
static inline void StoreBytes(void* p, Bytes v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
static inline Bytes And(Bytes a, Bytes b) { return _mm256_and_si256(a, b); }
static inline Bytes Or(Bytes a, Bytes b) { return _mm256_or_si256(a, b); }
static inline Bytes Xor(Bytes a, Bytes b) { return _mm256_xor_si256(a, b); }
#else
typedef __m128i Bytes;
#define VEL_BYTES_OP(name) VEL_JOIN(_mm_, name)
static inline Bytes LoadBytes(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
static inline void StoreBytes(void* p, Bytes v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
static inline Bytes And(Bytes a, Bytes b) { return _mm_and_si128(a, b); }
static inline Bytes Or(Bytes a, Bytes b) { return _mm_or_si128(a, b); }
static inline Bytes Xor(Bytes a, Bytes b) { return _mm_xor_si128(a, b); }
#endif
static constexpr size_t kVectorBytes = sizeof(Bytes);
#if !VEL_AVX2
// The first four 3-byte pixels as words whose fourth byte is any: by shifts, as there is no byte permute.
static inline Bytes SpreadFour(Bytes bytes) {
    const Bytes low = _mm_unpacklo_epi32(bytes, _mm_srli_si128(bytes, 3));
    return _mm_unpacklo_epi64(low, _mm_unpacklo_epi32(_mm_srli_si128(bytes, 6), _mm_srli_si128(bytes, 9)));
}
#endif
static inline Bytes Splat8(int v) { return VEL_BYTES_OP(set1_epi8)(static_cast<char>(v)); }
static inline Bytes Splat16(int v) { return VEL_BYTES_OP(set1_epi16)(static_cast<short>(v)); }
static inline Bytes Splat32(int v) { return VEL_BYTES_OP(set1_epi32)(v); }
static inline Bytes AddSaturated(Bytes a, Bytes b) { return VEL_BYTES_OP(adds_epu8)(a, b); }
static inline Bytes SubtractSaturated(Bytes a, Bytes b) { return VEL_BYTES_OP(subs_epu8)(a, b); }
static inline Bytes Min8(Bytes a, Bytes b) { return VEL_BYTES_OP(min_epu8)(a, b); }
static inline Bytes Max8(Bytes a, Bytes b) { return VEL_BYTES_OP(max_epu8)(a, b); }

#if VEL_AVX512
// Lanes of the first `count` (below 64) bytes.
static inline __mmask64 FirstBytes(size_t count) { return ~0ull >> (64 - count) & (count ? ~0ull : 0ull); }

// The first `count` (below kVectorBytes) bytes, the others 0; and only those stored.
static inline Bytes LoadFirst(const void* p, size_t count) { return _mm512_maskz_loadu_epi8(FirstBytes(count), p); }
static inline void StoreFirst(void* p, Bytes v, size_t count) { _mm512_mask_storeu_epi8(p, FirstBytes(count), v); }
#else
static inline Bytes LoadFirst(const void* p, size_t count) {
    uint8_t part[kVectorBytes] = {};
    memcpy(part, p, count);
    return LoadBytes(part);
}
static inline void StoreFirst(void* p, Bytes v, size_t count) {
    uint8_t part[kVectorBytes];
    StoreBytes(part, v);
    memcpy(p, part, count);
}
#endif

// dst = step(src), or step(first, second), a vector of bytes at a time; dst may be a source.
template <class Step>
static inline void MapBytes(uint8_t* dst, const uint8_t* src, size_t bytes, const Step& step) {
    size_t i = 0;
    for (; i + kVectorBytes <= bytes; i += kVectorBytes) StoreBytes(dst + i, step(LoadBytes(src + i)));
    if (i < bytes) StoreFirst(dst + i, step(LoadFirst(src + i, bytes - i)), bytes - i);
}
template <class Step>
static inline void MapBytes(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes, const Step& step) {
    size_t i = 0;
    for (; i + kVectorBytes <= bytes; i += kVectorBytes) {
        StoreBytes(dst + i, step(LoadBytes(first + i), LoadBytes(second + i)));
    }
    if (i == bytes) return;
    const size_t rest = bytes - i;
    StoreFirst(dst + i, step(LoadFirst(first + i, rest), LoadFirst(second + i, rest)), rest);
}

// Four vectors of integers as bytes, saturated; keeps to the halves or quarters of a register.
static inline Bytes Narrowed(Bytes a, Bytes b, Bytes c, Bytes d) {
    return VEL_BYTES_OP(packus_epi16)(VEL_BYTES_OP(packs_epi32)(a, b), VEL_BYTES_OP(packs_epi32)(c, d));
}

// The order of bytes narrowed from four vectors of integers that follow each other in memory.
static inline Bytes InMemoryOrder(Bytes bytes) {
#if VEL_AVX512
    const __m512i places = _mm512_set_epi32(15, 11, 7, 3, 14, 10, 6, 2, 13, 9, 5, 1, 12, 8, 4, 0);
    return _mm512_permutexvar_epi32(places, bytes);
#elif VEL_AVX2
    return _mm256_permutevar8x32_epi32(bytes, _mm256_set_epi32(7, 3, 6, 2, 5, 1, 4, 0));
#else
    return bytes;
#endif
}

// Takes step(i) to vectors of bytes that cover 0 to count - 1, count being at least a vector: an unaligned one, then
// those that lie aligned in dst, then one that ends at the end; each begins at a multiple of `unit`, a power of 2 that
// count is a multiple of. They overlap, so no destination may be a source.
template <class Step>
static inline void ForVectors(const uint8_t* dst, size_t count, size_t unit, Step step) {
    step(size_t{0});
    size_t i = (kVectorBytes - reinterpret_cast<uintptr_t>(dst) % kVectorBytes) & ~(unit - 1);
    for (; i + kVectorBytes <= count; i += kVectorBytes) step(i);
    if (i < count) step(count - kVectorBytes);
}

// Of 4-byte pixels: the first three bytes of one, the fourth of the other.
static inline Bytes WithAlphaOf(Bytes colours, Bytes pixels) {
    return Or(And(colours, Splat32(0x00FFFFFF)), And(pixels, Splat32(static_cast<int>(0xFF000000u))));
}
#endif

#if VEL_AVX512
// Byte places for a permute, made at compile time.
struct alignas(64) BytePlaces {
    uint8_t at[64];
    __m512i Load() const { return _mm512_load_si512(at); }
};

// 16 pixels of 3 bytes to words whose fourth byte is 0, and back; as loaded and stored with k48Bytes.
static constexpr BytePlaces SpreadPlaces() {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) places.at[i] = static_cast<uint8_t>(i % 4 == 3 ? 63 : i / 4 * 3 + i % 4);
    return places;
}
static constexpr BytePlaces PackPlaces() {
    BytePlaces places{};
    for (int i = 0; i < 48; ++i) places.at[i] = static_cast<uint8_t>(i / 3 * 4 + i % 3);
    return places;
}
static constexpr BytePlaces kSpreadPlaces = SpreadPlaces(), kPackPlaces = PackPlaces();
static constexpr __mmask64 k48Bytes = 0x0000FFFFFFFFFFFFull;

// A 256-entry byte table in four registers.
struct ByteTable {
    __m512i part[4];
    explicit ByteTable(const uint8_t* entries)
        : part{_mm512_loadu_si512(entries), _mm512_loadu_si512(entries + 64), _mm512_loadu_si512(entries + 128),
               _mm512_loadu_si512(entries + 192)} {}
};

// 64 look-ups at once: two two-register permutes answer for the table's halves, the index's top bit chooses.
static inline Bytes LookUp(Bytes index, const ByteTable& table) {
    const __m512i low = _mm512_permutex2var_epi8(table.part[0], index, table.part[1]);
    const __m512i high = _mm512_permutex2var_epi8(table.part[2], index, table.part[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high);
}
#elif VEL_AVX2
// A 256-entry byte table as sixteen of 16 bytes, each kept as its difference (exclusive or) to the one before in its
// half.
struct ByteTable {
    __m128i part[16];
    explicit ByteTable(const uint8_t* entries) {
        for (int k = 0; k < 16; ++k) {
            part[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(entries + 16 * k));
            if (k % 8) {
                part[k] =
                    _mm_xor_si128(part[k], _mm_loadu_si128(reinterpret_cast<const __m128i*>(entries + 16 * k - 16)));
            }
        }
    }
};

// A byte shuffle answers 0 for an index with its top bit set, and else looks at the low nibble only. Taking 16 away
// (saturating as signed) after each part makes the answers of all parts up to the right one add up to its entry; the
// table's upper half is asked with the top bit flipped.
static inline Bytes LookUp(Bytes index, const ByteTable& table) {
    const __m256i step = _mm256_set1_epi8(16);
    __m256i low = index, high = _mm256_xor_si256(index, _mm256_set1_epi8(-128)), result = _mm256_setzero_si256();
    for (int k = 0; k < 8; ++k) {
        const __m256i lowPart = _mm256_broadcastsi128_si256(table.part[k]);
        const __m256i highPart = _mm256_broadcastsi128_si256(table.part[8 + k]);
        result = _mm256_xor_si256(result, _mm256_shuffle_epi8(lowPart, low));
        result = _mm256_xor_si256(result, _mm256_shuffle_epi8(highPart, high));
        low = _mm256_subs_epi8(low, step);
        high = _mm256_subs_epi8(high, step);
    }
    return result;
}
#endif

// Every byte through a 256-entry table; dst may be src.
static inline void LookUpBytes(uint8_t* dst, const uint8_t* src, size_t bytes, const uint8_t* table) {
#if VEL_AVX2
    if (bytes >= kVectorBytes) {
        const ByteTable registers(table);
        MapBytes(dst, src, bytes, [&](Bytes index) { return LookUp(index, registers); });
        return;
    }
#endif
    for (size_t i = 0; i < bytes; ++i) dst[i] = table[src[i]];
}

static inline uint8_t Saturate(int value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

// floor(sum / 3) for sums up to 765: 21846 / 2^16 is 1/3 + 1.1e-5, too little to reach the next integer.
static inline uint32_t ThirdOf(uint32_t sum) { return sum * 21846u >> 16; }

static inline uint32_t LoadWord(const uint8_t* bytes) {
    uint32_t word;
    memcpy(&word, bytes, 4);
    return word;
}

static inline void StoreWord(uint8_t* bytes, uint32_t word) { memcpy(bytes, &word, 4); }
