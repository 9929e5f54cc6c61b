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

static void LookUpRow(uint8_t* row, size_t bytes, const uint8_t* table) { LookUpBytes(row, row, bytes, table); }

static void LookUpRow32(uint8_t* row, size_t pixels, const uint8_t* table) {
#if VEL_AVX2
    if (4 * pixels >= kVectorBytes) {
        const ByteTable registers(table);
        const Bytes alpha = Splat32(static_cast<int>(0xFF000000u));
        MapBytes(row, row, 4 * pixels, [&](Bytes old) {
            const Bytes found = LookUp(old, registers);
            return Xor(found, And(Xor(found, old), alpha));
        });
        return;
    }
#endif
    for (size_t i = 0; i < pixels; ++i, row += 4) {
        row[0] = table[row[0]];
        row[1] = table[row[1]];
        row[2] = table[row[2]];
    }
}

#if VEL_VECTOR
static inline Bytes ThirdOfLanes(Bytes sums) { return VEL_BYTES_OP(mulhi_epu16)(sums, Splat16(21846)); }

// 0xFFFFFFFF in the lanes whose sum is above the limit.
static inline Bytes LanesAbove(Bytes sums, int limit) {
#if VEL_AVX512
    return _mm512_movm_epi32(_mm512_cmpgt_epi32_mask(sums, Splat32(limit)));
#else
    return VEL_BYTES_OP(cmpgt_epi32)(sums, Splat32(limit));
#endif
}
#endif

static void GreyRow24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_VECTOR
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
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
#if VEL_VECTOR
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

#if VEL_AVX512
// Byte places for four bytes from each of 16 places on, `less` fewer.
static constexpr BytePlaces WindowPlaces(int first, int less) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) places.at[i] = static_cast<uint8_t>(first - less + i / 4 + i % 4);
    return places;
}
static constexpr BytePlaces kWindowPlaces[4] = {WindowPlaces(0, 0), WindowPlaces(16, 0), WindowPlaces(32, 0),
                                                WindowPlaces(48, 4)};

// Luma of 64 places from the bytes that begin there and 4 further. The weights are 16 times small ones and others on
// top: 117 = 16 * 7 + 5, 601 = 16 * 37 + 9, 306 = 16 * 19 + 2.
static inline Bytes Luma64(Bytes start, Bytes end) {
    const Bytes sixteenths = Splat32(7 | 37 << 8 | 19 << 16), rest = Splat32(5 | 9 << 8 | 2 << 16);
    Bytes luma[4];
    for (int k = 0; k < 4; ++k) {
        const Bytes window = _mm512_permutexvar_epi8(kWindowPlaces[k].Load(), k < 3 ? start : end);
        const Bytes high = _mm512_slli_epi32(_mm512_dpbusd_epi32(Splat8(0), window, sixteenths), 4);
        luma[k] = _mm512_srli_epi32(_mm512_dpbusd_epi32(high, window, rest), 10);
    }
    return InMemoryOrder(Narrowed(luma[0], luma[1], luma[2], luma[3]));
}
#elif VEL_VECTOR
// A vector's worth of 16-bit lanes from bytes.
static inline Bytes LanesOfBytes(const uint8_t* p) {
#if VEL_AVX2
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
#else
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), Splat8(0));
#endif
}

// Luma of the bytes at p, p + 1, p + 2 for as many.
static inline Bytes LumaLanes(const uint8_t* p) {
    const Bytes a = LanesOfBytes(p), b = LanesOfBytes(p + 1), c = LanesOfBytes(p + 2);
    const Bytes first = Splat32(117 | 601 << 16), last = Splat32(306), zero = Splat8(0);
    const Bytes low = VEL_BYTES_OP(add_epi32)(VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpacklo_epi16)(a, b), first),
                                              VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpacklo_epi16)(c, zero), last));
    const Bytes high = VEL_BYTES_OP(add_epi32)(VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpackhi_epi16)(a, b), first),
                                               VEL_BYTES_OP(madd_epi16)(VEL_BYTES_OP(unpackhi_epi16)(c, zero), last));
    return VEL_BYTES_OP(packs_epi32)(VEL_BYTES_OP(srli_epi32)(low, 10), VEL_BYTES_OP(srli_epi32)(high, 10));
}
#endif

static void LumaRow8(uint8_t* dst, const uint8_t* src, size_t count) {
    size_t i = 0;
#if VEL_AVX512
    for (; i + 64 + 4 <= count + 2; i += 64) StoreBytes(dst + i, Luma64(LoadBytes(src + i), LoadBytes(src + i + 4)));
    while (i < count) {
        const size_t size = count - i < 64 ? count - i : 64, read = size + 2;
        const Bytes start = LoadFirst(src + i, read < 64 ? read : 64);
        const Bytes end = read > 4 ? LoadFirst(src + i + 4, read - 4) : start;
        StoreFirst(dst + i, Luma64(start, end), size);
        i += size;
    }
#elif VEL_AVX2
    for (; i + 32 <= count; i += 32) {
        const __m256i packed = _mm256_packus_epi16(LumaLanes(src + i), LumaLanes(src + i + 16));
        StoreBytes(dst + i, _mm256_permute4x64_epi64(packed, 0xD8));
    }
#elif VEL_VECTOR
    for (; i + 16 <= count; i += 16) {
        StoreBytes(dst + i, _mm_packus_epi16(LumaLanes(src + i), LumaLanes(src + i + 8)));
    }
#endif
    for (; i < count; ++i) {
        dst[i] = static_cast<uint8_t>((117u * src[i] + 601u * src[i + 1] + 306u * src[i + 2]) >> 10);
    }
}

static void ShiftRow(uint8_t* row, size_t bytes, const uint8_t* up, const uint8_t* down) {
    size_t i = 0;
#if VEL_VECTOR
    constexpr size_t kPeriod = 3 * kVectorBytes;
    static_assert(kShiftBytes >= kPeriod && kPeriod % kShiftPeriod == 0);
    Bytes ups[3], downs[3];
    for (size_t k = 0; k < 3; ++k) {
        ups[k] = LoadBytes(up + k * kVectorBytes);
        downs[k] = LoadBytes(down + k * kVectorBytes);
    }
    for (; i + kPeriod <= bytes; i += kPeriod) {
#pragma GCC unroll 3
        for (size_t k = 0; k < 3; ++k) {
            uint8_t* p = row + i + k * kVectorBytes;
            StoreBytes(p, SubtractSaturated(AddSaturated(LoadBytes(p), ups[k]), downs[k]));
        }
    }
#endif
    for (; i < bytes; ++i) row[i] = Saturate(row[i] + up[i % kShiftPeriod] - down[i % kShiftPeriod]);
}

static void ThresholdRow(uint8_t* dst, const uint8_t* src, size_t pixels, int pixelBytes, int limit) {
    size_t i = 0;
#if VEL_VECTOR
    if (pixelBytes == 3) {
        for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
            StoreRepeated(dst + 3 * i, LanesAbove(ChannelSums(SpreadPixels(src + 3 * i)), limit));
        }
    } else {
        for (; i + kVectorBytes / 4 <= pixels; i += kVectorBytes / 4) {
            const Bytes old = LoadBytes(src + 4 * i);
            StoreBytes(dst + 4 * i, WithAlphaOf(LanesAbove(ChannelSums(old), limit), old));
        }
    }
#endif
    dst += i * static_cast<size_t>(pixelBytes);
    src += i * static_cast<size_t>(pixelBytes);
    for (; i < pixels; ++i, dst += pixelBytes, src += pixelBytes) {
        const int sum = src[0] + src[1] + src[2];
        dst[0] = dst[1] = dst[2] = sum > limit ? 255 : 0;
        if (pixelBytes == 4) dst[3] = src[3];
    }
}
