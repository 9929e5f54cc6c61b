// Pixels gathered by offsets.

#if VEL_VECTOR
// Words at 32- or 64-bit offsets, one in each lane. Loads by themselves: the processor's own gather takes up to three
// times as long where the words are not in the first cache.
template <class Offset>
static inline __m128i FourWords(const uint8_t* bits, const Offset* offsets) {
    __m128i word[4];
    for (int i = 0; i < 4; ++i) word[i] = _mm_loadu_si32(bits + offsets[i]);
    return _mm_unpacklo_epi64(_mm_unpacklo_epi32(word[0], word[1]), _mm_unpacklo_epi32(word[2], word[3]));
}

template <class Offset>
static inline Bytes WordsAt(const uint8_t* bits, const Offset* offsets) {
#if VEL_AVX2
    const __m256i low = _mm256_set_m128i(FourWords(bits, offsets + 4), FourWords(bits, offsets));
#if VEL_AVX512
    const __m256i high = _mm256_set_m128i(FourWords(bits, offsets + 12), FourWords(bits, offsets + 8));
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
#else
    return low;
#endif
#else
    return FourWords(bits, offsets);
#endif
}
#endif

#if VEL_AVX2
// Offsets into the pixel block fit 32 bits, and it holds at least one word.
static inline bool GathersReach(const SampledPixels& source) {
    return source.end - source.begin >= 4 && source.end - source.begin < 0x7FFFFFFF;
}

// Reads 4 bytes at each offset from `bits`; where that would pass the last readable word, the word is fetched from
// there and shifted down.
static inline Bytes GatherWords(const uint8_t* bits, Bytes offsets, Bytes last) {
    const Bytes at = VEL_BYTES_OP(min_epi32)(offsets, last);
    const Bytes shift = VEL_BYTES_OP(slli_epi32)(VEL_BYTES_OP(sub_epi32)(offsets, at), 3);
    alignas(sizeof(Bytes)) int32_t places[sizeof(Bytes) / 4];
    StoreBytes(places, at);
    return VEL_BYTES_OP(srlv_epi32)(WordsAt(bits, places), shift);
}

static inline Bytes PixelOffsets(Bytes column, Bytes row, Bytes stride, int pixelBytes) {
    const Bytes start = VEL_BYTES_OP(mullo_epi32)(row, stride);
    const Bytes within = pixelBytes == 4   ? VEL_BYTES_OP(slli_epi32)(column, 2)
                         : pixelBytes == 3 ? VEL_BYTES_OP(add_epi32)(column, VEL_BYTES_OP(slli_epi32)(column, 1))
                                           : column;
    return VEL_BYTES_OP(add_epi32)(start, within);
}
#endif

#if VEL_AVX512
// 16 pixels, one in each word, of 1, 3 or 4 bytes.
static inline void StorePixels(uint8_t* dst, __m512i words, int pixelBytes) {
    if (pixelBytes == 4) {
        _mm512_storeu_si512(dst, words);
    } else if (pixelBytes == 3) {
        _mm512_mask_storeu_epi8(dst, k48Bytes, _mm512_permutexvar_epi8(kPackPlaces.Load(), words));
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm512_cvtepi32_epi8(words));
    }
}
#endif
