// Point kernels; see Point.h.

static void ComplementRow(uint8_t* row, size_t bytes, uint32_t mask) {
    const uint64_t wide = mask | static_cast<uint64_t>(mask) << 32;
    size_t i = 0;
    for (; i + 8 <= bytes; i += 8) {
        uint64_t word;
        memcpy(&word, row + i, 8);
        word ^= wide;
        memcpy(row + i, &word, 8);
    }
    for (; i < bytes; ++i) row[i] ^= static_cast<uint8_t>(mask >> (8 * (i & 3)));
}

#if VEL_AVX512
// 64 look-ups at once: the table lies in four registers, two two-register permutes answer for its halves and the top
// bit of the index chooses.
static inline __m512i LookUp64(__m512i index, const __m512i (&table)[4]) {
    const __m512i low = _mm512_permutex2var_epi8(table[0], index, table[1]);
    const __m512i high = _mm512_permutex2var_epi8(table[2], index, table[3]);
    return _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high);
}

// keep: bytes of each 64 that stay as they are.
static void LookUpBytes(uint8_t* row, size_t bytes, const uint8_t* entries, __mmask64 keep) {
    const __m512i table[4] = {_mm512_loadu_si512(entries), _mm512_loadu_si512(entries + 64),
                              _mm512_loadu_si512(entries + 128), _mm512_loadu_si512(entries + 192)};
    size_t i = 0;
    for (; i + 64 <= bytes; i += 64) {
        const __m512i old = _mm512_loadu_si512(row + i);
        _mm512_storeu_si512(row + i, _mm512_mask_mov_epi8(LookUp64(old, table), keep, old));
    }
    if (i < bytes) {
        const __mmask64 rest = (~0ull >> (64 - (bytes - i))) & ~keep;
        _mm512_mask_storeu_epi8(row + i, rest, LookUp64(_mm512_maskz_loadu_epi8(rest, row + i), table));
    }
}
#endif

static void LookUpRow(uint8_t* row, size_t bytes, const uint8_t* table) {
#if VEL_AVX512
    LookUpBytes(row, bytes, table, 0);
#else
    for (size_t i = 0; i < bytes; ++i) row[i] = table[row[i]];
#endif
}

static void LookUpRow32(uint8_t* row, size_t pixels, const uint8_t* table) {
#if VEL_AVX512
    LookUpBytes(row, pixels * 4, table, 0x8888888888888888ull);
#else
    for (size_t i = 0; i < pixels; ++i, row += 4) {
        row[0] = table[row[0]];
        row[1] = table[row[1]];
        row[2] = table[row[2]];
    }
#endif
}

// floor(sum / 3) for sums up to 765: 43691 / 2^17 is 1/3 + 2.5e-6, too little to reach the next integer.
static inline uint8_t ThirdOf(uint32_t sum) { return static_cast<uint8_t>(sum * 43691u >> 17); }

static void GreyRow24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        const uint8_t grey = ThirdOf(src[3 * i] + src[3 * i + 1] + src[3 * i + 2]);
        dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = grey;
    }
}

static void GreyRow32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        uint32_t word;
        memcpy(&word, src + 4 * i, 4);
        const uint32_t sum = (word & 0xFF) + (word >> 8 & 0xFF) + (word >> 16 & 0xFF);
        const uint32_t grey = sum * 43691u >> 17;
        word = (word & 0xFF000000u) | grey * 0x010101u;
        memcpy(dst + 4 * i, &word, 4);
    }
}

static void LumaRow8(uint8_t* dst, const uint8_t* src, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        dst[i] = static_cast<uint8_t>((117u * src[i] + 601u * src[i + 1] + 306u * src[i + 2]) >> 10);
    }
}

static inline uint8_t Saturate(int value) {
    return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

static void ShiftRow(uint8_t* row, size_t pixels, int pixelBytes, int blue, int green, int red) {
    if (pixelBytes == 3) {
        for (size_t i = 0; i < pixels; ++i) {
            row[3 * i] = Saturate(row[3 * i] + blue);
            row[3 * i + 1] = Saturate(row[3 * i + 1] + green);
            row[3 * i + 2] = Saturate(row[3 * i + 2] + red);
        }
    } else {
        for (size_t i = 0; i < pixels; ++i) {
            row[4 * i] = Saturate(row[4 * i] + blue);
            row[4 * i + 1] = Saturate(row[4 * i + 1] + green);
            row[4 * i + 2] = Saturate(row[4 * i + 2] + red);
        }
    }
}

static void ThresholdRow(uint8_t* row, size_t pixels, int pixelBytes, int limit) {
    for (size_t i = 0; i < pixels; ++i, row += pixelBytes) {
        const int sum = row[0] + row[1] + row[2];
        row[0] = row[1] = row[2] = sum > limit ? 255 : 0;
    }
}
