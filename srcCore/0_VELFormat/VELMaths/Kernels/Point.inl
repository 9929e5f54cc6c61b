// Point kernels; see Point.h.

static void ComplementRow(uint8_t* row, size_t bytes, uint32_t mask) {
    const uint64_t wide = mask | static_cast<uint64_t>(mask) << 32;
    size_t i = 0;
#if VEL_VECTOR
    const Bytes pattern = Splat32(static_cast<int>(mask));
    for (; i + kVectorBytes <= bytes; i += kVectorBytes) StoreBytes(row + i, Xor(LoadBytes(row + i), pattern));
#endif
    for (; i + 8 <= bytes; i += 8) {
        uint64_t word;
        memcpy(&word, row + i, 8);
        word ^= wide;
        memcpy(row + i, &word, 8);
    }
    for (; i < bytes; ++i) row[i] ^= static_cast<uint8_t>(mask >> (8 * (i & 3)));
}

#if VEL_AVX2
// `keep`: 0xFF in the bytes of a vector that stay as they are. Returns how many bytes are done.
static size_t LookUpVectors(uint8_t* row, size_t bytes, const uint8_t* entries, Bytes keep) {
    if (bytes < kVectorBytes) return 0;
    const ByteTable table(entries);
    size_t i = 0;
    for (; i + kVectorBytes <= bytes; i += kVectorBytes) {
        const Bytes old = LoadBytes(row + i), found = LookUp(old, table);
        StoreBytes(row + i, Xor(found, And(Xor(found, old), keep)));
    }
    return i;
}
#endif

static void LookUpRow(uint8_t* row, size_t bytes, const uint8_t* table) {
    size_t i = 0;
#if VEL_AVX2
    i = LookUpVectors(row, bytes, table, Splat8(0));
#endif
    for (; i < bytes; ++i) row[i] = table[row[i]];
}

static void LookUpRow32(uint8_t* row, size_t pixels, const uint8_t* table) {
    size_t i = 0;
#if VEL_AVX2
    i = LookUpVectors(row, 4 * pixels, table, Splat32(static_cast<int>(0xFF000000u))) / 4;
#endif
    for (row += 4 * i; i < pixels; ++i, row += 4) {
        row[0] = table[row[0]];
        row[1] = table[row[1]];
        row[2] = table[row[2]];
    }
}

#if VEL_AVX2
// Pixels of 3 bytes spread to 4-byte lanes whose fourth byte is 0, and a byte of each lane repeated three times back.
// A step is 12 bytes a 128-bit lane; loading and storing touch `kSpreadSlack` bytes beyond the pixels at most.
#if VEL_AVX512
static constexpr size_t kSpreadPixels = 16, kSpreadSlack = 16;
static inline Bytes SpreadPixels(const uint8_t* p) {
    const __m512i places = _mm512_set_epi32(0x40'2F2E2D, 0x40'2C2B2A, 0x40'292827, 0x40'262524, 0x40'232221, 0x40'201F1E,
                                            0x40'1D1C1B, 0x40'1A1918, 0x40'171615, 0x40'141312, 0x40'11100F, 0x40'0E0D0C,
                                            0x40'0B0A09, 0x40'080706, 0x40'050403, 0x40'020100);
    const __m512i spread = _mm512_permutexvar_epi8(places, _mm512_loadu_si512(p));
    return _mm512_and_si512(spread, _mm512_set1_epi32(0x00FFFFFF));
}
static inline void StoreRepeated(uint8_t* p, Bytes lanes) {
    const __m512i places = _mm512_set_epi8(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                           60, 60, 60, 56, 56, 56, 52, 52, 52, 48, 48, 48, 44, 44, 44, 40,  //
                                           40, 40, 36, 36, 36, 32, 32, 32, 28, 28, 28, 24, 24, 24, 20, 20,  //
                                           20, 16, 16, 16, 12, 12, 12, 8, 8, 8, 4, 4, 4, 0, 0, 0);
    // Not one masked store: in place, the next load would overlap its masked-out bytes and wait for it.
    const __m512i bytes = _mm512_permutexvar_epi8(places, lanes);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm512_castsi512_si256(bytes));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 32), _mm512_extracti32x4_epi32(bytes, 2));
}
#else
static constexpr size_t kSpreadPixels = 8, kSpreadSlack = 4;
static inline Bytes SpreadPixels(const uint8_t* p) {
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 12));
    const __m256i places = _mm256_broadcastsi128_si256(
        _mm_set_epi8(-1, 11, 10, 9, -1, 8, 7, 6, -1, 5, 4, 3, -1, 2, 1, 0));
    return _mm256_shuffle_epi8(_mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1), places);
}
static inline void StoreRepeated(uint8_t* p, Bytes lanes) {
    const __m256i places = _mm256_broadcastsi128_si256(
        _mm_set_epi8(-1, -1, -1, -1, 12, 12, 12, 8, 8, 8, 4, 4, 4, 0, 0, 0));
    const __m256i bytes = _mm256_shuffle_epi8(lanes, places);
    const __m128i second = _mm256_extracti128_si256(bytes, 1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 12), second);
    const int last = _mm_extract_epi32(second, 2);
    memcpy(p + 20, &last, 4);
}
#endif

// blue + green + red of each 4-byte lane.
static inline Bytes ChannelSums(Bytes pixels) {
    const Bytes weights = Splat32(0x00010101);
#if VEL_AVX512
    return _mm512_dpbusd_epi32(_mm512_setzero_si512(), pixels, weights);
#else
    return VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(maddubs_epi16)(pixels, weights), Splat16(1));
#endif
}
static inline Bytes ThirdOfLanes(Bytes sums) { return VEL_BYTES_OP(mulhi_epu16)(sums, Splat16(21846)); }

// 0xFFFFFFFF in the lanes whose sum is above the limit.
static inline Bytes LanesAbove(Bytes sums, int limit) {
#if VEL_AVX512
    return _mm512_movm_epi32(_mm512_cmpgt_epi32_mask(sums, Splat32(limit)));
#else
    return _mm256_cmpgt_epi32(sums, Splat32(limit));
#endif
}

// The lowest byte of each lane in its three colour bytes.
static inline Bytes RepeatInLanes(Bytes lanes) {
    const __m128i places = _mm_set_epi8(-1, 12, 12, 12, -1, 8, 8, 8, -1, 4, 4, 4, -1, 0, 0, 0);
#if VEL_AVX512
    return _mm512_shuffle_epi8(lanes, _mm512_broadcast_i32x4(places));
#else
    return _mm256_shuffle_epi8(lanes, _mm256_broadcastsi128_si256(places));
#endif
}
static inline Bytes WithAlphaOf(Bytes colours, Bytes pixels) {
    const Bytes alpha = Splat32(static_cast<int>(0xFF000000u));
    return Or(And(colours, Splat32(0x00FFFFFF)), And(pixels, alpha));
}
#endif

static void GreyRow24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_AVX2
    for (; 3 * (i + kSpreadPixels) + kSpreadSlack <= 3 * pixels; i += kSpreadPixels) {
        StoreRepeated(dst + 3 * i, ThirdOfLanes(ChannelSums(SpreadPixels(src + 3 * i))));
    }
#endif
    for (; i < pixels; ++i) {
        const uint32_t grey = ThirdOf(src[3 * i] + src[3 * i + 1] + src[3 * i + 2]);
        dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = static_cast<uint8_t>(grey);
    }
}

static void GreyRow32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_AVX2
    for (; i + kVectorBytes / 4 <= pixels; i += kVectorBytes / 4) {
        const Bytes old = LoadBytes(src + 4 * i);
        StoreBytes(dst + 4 * i, WithAlphaOf(RepeatInLanes(ThirdOfLanes(ChannelSums(old))), old));
    }
#endif
    for (; i < pixels; ++i) {
        uint32_t word;
        memcpy(&word, src + 4 * i, 4);
        const uint32_t grey = ThirdOf((word & 0xFF) + (word >> 8 & 0xFF) + (word >> 16 & 0xFF));
        word = (word & 0xFF000000u) | grey * 0x010101u;
        memcpy(dst + 4 * i, &word, 4);
    }
}

#if VEL_AVX2
// Luma of the bytes at p, p + 1, p + 2 for a vector's worth of 16-bit lanes.
static inline Bytes LumaLanes(const uint8_t* p) {
#if VEL_AVX512
    const __m512i a = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
    const __m512i b = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 1)));
    const __m512i c = _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 2)));
#else
    const __m256i a = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    const __m256i b = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1)));
    const __m256i c = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2)));
#endif
    const Bytes first = Splat32(117 | 601 << 16), last = Splat32(306), zero = Splat8(0);
    const Bytes low = VEL_BYTES_OP(add_epi32)(
        VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpacklo_epi16)(a, b), first),
        VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpacklo_epi16)(c, zero), last));
    const Bytes high = VEL_BYTES_OP(add_epi32)(
        VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpackhi_epi16)(a, b), first),
        VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpackhi_epi16)(c, zero), last));
    return VEL_BYTES_OP(packus_epi32)(VEL_BYTES_OP(srli_epi32)(low, 10), VEL_BYTES_OP(srli_epi32)(high, 10));
}
#endif

static void LumaRow8(uint8_t* dst, const uint8_t* src, size_t count) {
    size_t i = 0;
#if VEL_AVX512
    for (; i + 32 <= count; i += 32) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), _mm512_cvtepi16_epi8(LumaLanes(src + i)));
    }
#elif VEL_AVX2
    for (; i + 32 <= count; i += 32) {
        const __m256i packed = _mm256_packus_epi16(LumaLanes(src + i), LumaLanes(src + i + 16));
        StoreBytes(dst + i, _mm256_permute4x64_epi64(packed, 0xD8));
    }
#endif
    for (; i < count; ++i) {
        dst[i] = static_cast<uint8_t>((117u * src[i] + 601u * src[i + 1] + 306u * src[i + 2]) >> 10);
    }
}

static void ShiftRow(uint8_t* row, size_t bytes, const uint8_t* up, const uint8_t* down) {
    for (; bytes > 0;) {
        const size_t chunk = bytes < kShiftPeriod ? bytes : kShiftPeriod;
        size_t i = 0;
#if VEL_VECTOR
        for (; i + kVectorBytes <= chunk; i += kVectorBytes) {
            const Bytes raised = AddSaturated(LoadBytes(row + i), LoadBytes(up + i));
            StoreBytes(row + i, SubtractSaturated(raised, LoadBytes(down + i)));
        }
#endif
        for (; i < chunk; ++i) row[i] = Saturate(row[i] + up[i] - down[i]);
        row += chunk;
        bytes -= chunk;
    }
}

static void ThresholdRow(uint8_t* row, size_t pixels, int pixelBytes, int limit) {
    size_t i = 0;
#if VEL_AVX2
    if (pixelBytes == 3) {
        for (; 3 * (i + kSpreadPixels) + kSpreadSlack <= 3 * pixels; i += kSpreadPixels) {
            StoreRepeated(row + 3 * i, LanesAbove(ChannelSums(SpreadPixels(row + 3 * i)), limit));
        }
    } else {
        for (; i + kVectorBytes / 4 <= pixels; i += kVectorBytes / 4) {
            const Bytes old = LoadBytes(row + 4 * i);
            StoreBytes(row + 4 * i, WithAlphaOf(LanesAbove(ChannelSums(old), limit), old));
        }
    }
#endif
    row += i * static_cast<size_t>(pixelBytes);
    for (; i < pixels; ++i, row += pixelBytes) {
        const int sum = row[0] + row[1] + row[2];
        row[0] = row[1] = row[2] = sum > limit ? 255 : 0;
    }
}
