// Pixels gathered by 32-bit offsets.

#if VEL_AVX512
// Offsets into the pixel block fit 32 bits, and it holds at least one word.
static inline bool GathersReach(const SampledPixels& source) {
    return source.end - source.begin >= 4 && source.end - source.begin < 0x7FFFFFFF;
}

// Reads 4 bytes at each offset from `bits`; where that would pass the last readable word, the word is fetched from
// there and shifted down.
static inline __m512i GatherWords(const uint8_t* bits, __m512i offsets, __m512i last) {
    const __m512i at = _mm512_min_epi32(offsets, last);
    const __m512i shift = _mm512_slli_epi32(_mm512_sub_epi32(offsets, at), 3);
    return _mm512_srlv_epi32(_mm512_i32gather_epi32(at, bits, 1), shift);
}

static inline __m512i PixelOffsets(__m512i column, __m512i row, __m512i stride, int pixelBytes) {
    const __m512i start = _mm512_mullo_epi32(row, stride);
    const __m512i within = pixelBytes == 4   ? _mm512_slli_epi32(column, 2)
                           : pixelBytes == 3 ? _mm512_add_epi32(column, _mm512_slli_epi32(column, 1))
                                             : column;
    return _mm512_add_epi32(start, within);
}

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
