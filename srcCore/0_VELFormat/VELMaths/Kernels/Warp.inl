// Fixed-point walks; see Warp.h.

static inline FixedWalk Advanced(const FixedWalk& walk, size_t points) {
    const auto k = static_cast<uint32_t>(points);
    FixedWalk result = walk;
    result.x = static_cast<int32_t>(static_cast<uint32_t>(walk.x) + k * static_cast<uint32_t>(walk.xStep));
    result.y = static_cast<int32_t>(static_cast<uint32_t>(walk.y) + k * static_cast<uint32_t>(walk.yStep));
    return result;
}

static void NearestPlain(uint8_t* dst, const SampledPixels& source, FixedWalk walk, size_t count) {
    const auto bytes = static_cast<size_t>(source.pixelBytes);
    for (size_t k = 0; k < count; ++k, dst += bytes, walk = Advanced(walk, 1)) {
        const ptrdiff_t column = (walk.x + 128) >> 8, row = (walk.y + 128) >> 8;
        const uint8_t* p = source.bits + row * source.stride + column * source.pixelBytes;
        for (size_t c = 0; c < bytes; ++c) dst[c] = p[c];
    }
}

static void BlendedPlain(uint8_t* dst, const SampledPixels& source, FixedWalk walk, size_t count) {
    const ptrdiff_t bytes = source.pixelBytes;
    for (size_t k = 0; k < count; ++k, dst += bytes, walk = Advanced(walk, 1)) {
        const uint32_t fx = walk.x & 255, fy = walk.y & 255;
        const uint8_t* above = source.bits + (walk.y >> 8) * source.stride + (walk.x >> 8) * bytes;
        const uint8_t* below = above + source.stride;
        for (ptrdiff_t c = 4; c < bytes; ++c) dst[c] = 0;
        for (ptrdiff_t c = 0; c < bytes && c < 4; ++c) {
            const uint32_t sum = above[c] * (512 - fx - fy) + above[c + bytes] * (256 - fy + fx) +
                                 below[c] * (256 - fx + fy) + below[c + bytes] * (fx + fy);
            dst[c] = static_cast<uint8_t>(((sum >> 2) + 128) >> 8);
        }
    }
}

#if VEL_AVX512
static inline bool HasGather(int pixelBytes) { return pixelBytes == 1 || pixelBytes == 3 || pixelBytes == 4; }

static inline __m512i WalkPoints(int32_t first, int32_t step) {
    const __m512i number = _mm512_set_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
    return _mm512_add_epi32(_mm512_set1_epi32(first), _mm512_mullo_epi32(number, _mm512_set1_epi32(step)));
}

static size_t NearestVectors(uint8_t* dst, const SampledPixels& source, const FixedWalk& walk, size_t count) {
    if (!GathersReach(source) || !HasGather(source.pixelBytes)) return 0;
    const __m512i stride = _mm512_set1_epi32(static_cast<int>(source.stride)), half = _mm512_set1_epi32(128);
    const __m512i last = _mm512_set1_epi32(static_cast<int>(source.end - source.bits - 4));
    const __m512i xStep = _mm512_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(walk.xStep) * 16u));
    const __m512i yStep = _mm512_set1_epi32(static_cast<int32_t>(static_cast<uint32_t>(walk.yStep) * 16u));
    __m512i x = _mm512_add_epi32(WalkPoints(walk.x, walk.xStep), half);
    __m512i y = _mm512_add_epi32(WalkPoints(walk.y, walk.yStep), half);
    size_t k = 0;
    for (; k + 16 <= count; k += 16, dst += 16 * source.pixelBytes) {
        const __m512i offsets =
            PixelOffsets(_mm512_srai_epi32(x, 8), _mm512_srai_epi32(y, 8), stride, source.pixelBytes);
        StorePixels(dst, GatherWords(source.bits, offsets, last), source.pixelBytes);
        x = _mm512_add_epi32(x, xStep);
        y = _mm512_add_epi32(y, yStep);
    }
    return k;
}

// Four positions, one in each quarter: the 8 bytes at it, which hold the pixel and its right neighbour, then the 8
// bytes of the row below.
static inline __m512i LoadNeighbours(const uint8_t* above, ptrdiff_t stride, const int32_t* offsets) {
    const auto load = [&](int i) {
        const uint8_t* p = above + offsets[i];
        const __m128d upper = _mm_castsi128_pd(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
        double lower;
        memcpy(&lower, p + stride, 8);
        return _mm_castpd_si128(_mm_unpacklo_pd(upper, _mm_set_sd(lower)));
    };
    const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(load(0)), load(1), 1);
    const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(load(2)), load(3), 1);
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

// Within a quarter: channel c of the left and of the right pixel of one row as the low and high half of word c.
static inline __m512i NeighbourPlaces(int pixelBytes, int row) {
    alignas(16) int8_t places[16];
    for (int i = 0; i < 16; ++i) {
        const int channel = i / 4, right = i / 2 % 2;
        const bool used = i % 2 == 0 && channel < pixelBytes;
        places[i] = static_cast<int8_t>(used ? 8 * row + right * pixelBytes + channel : -1);
    }
    return _mm512_broadcast_i32x4(_mm_load_si128(reinterpret_cast<const __m128i*>(places)));
}

// Each of four words four times.
static inline __m512i FourTimes(__m512i words, int first) {
    const __m512i number = _mm512_set_epi32(3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 0, 0, 0, 0);
    return _mm512_permutexvar_epi32(_mm512_add_epi32(number, _mm512_set1_epi32(first)), words);
}

static size_t BlendedVectors(uint8_t* dst, const SampledPixels& source, const FixedWalk& walk, size_t count) {
    if (!GathersReach(source) || !HasGather(source.pixelBytes) || source.pixelBytes == 1) return 0;
    const ptrdiff_t lower = source.stride > 0 ? source.stride : 0;
    const __m512i stride = _mm512_set1_epi32(static_cast<int>(source.stride));
    const __m512i limit = _mm512_set1_epi32(static_cast<int>(source.end - source.bits - 8 - lower));
    const __m512i fraction = _mm512_set1_epi32(255), one = _mm512_set1_epi32(256), two = _mm512_set1_epi32(512);
    const __m512i abovePlaces = NeighbourPlaces(source.pixelBytes, 0);
    const __m512i belowPlaces = NeighbourPlaces(source.pixelBytes, 1);
    size_t k = 0;
    for (; k + 16 <= count; k += 16, dst += 16 * source.pixelBytes) {
        const FixedWalk from = Advanced(walk, k);
        const __m512i x = WalkPoints(from.x, from.xStep), y = WalkPoints(from.y, from.yStep);
        const __m512i offsets =
            PixelOffsets(_mm512_srai_epi32(x, 8), _mm512_srai_epi32(y, 8), stride, source.pixelBytes);
        if (_mm512_cmpgt_epi32_mask(offsets, limit)) {
            BlendedPlain(dst, source, from, 16);
            continue;
        }
        const __m512i fx = _mm512_and_si512(x, fraction), fy = _mm512_and_si512(y, fraction);
        const __m512i sum = _mm512_add_epi32(fx, fy), difference = _mm512_sub_epi32(fx, fy);
        const __m512i aboveWeights =
            _mm512_or_si512(_mm512_sub_epi32(two, sum), _mm512_slli_epi32(_mm512_add_epi32(one, difference), 16));
        const __m512i belowWeights = _mm512_or_si512(_mm512_sub_epi32(one, difference), _mm512_slli_epi32(sum, 16));
        alignas(64) int32_t at[16];
        _mm512_store_si512(at, offsets);
        __m128i four[4];
        for (int part = 0; part < 4; ++part) {
            const __m512i bytes = LoadNeighbours(source.bits, source.stride, at + 4 * part);
            const __m512i above = _mm512_shuffle_epi8(bytes, abovePlaces),
                          below = _mm512_shuffle_epi8(bytes, belowPlaces);
            const __m512i sums = _mm512_add_epi32(_mm512_madd_epi16(above, FourTimes(aboveWeights, 4 * part)),
                                                  _mm512_madd_epi16(below, FourTimes(belowWeights, 4 * part)));
            // ((sum >> 2) + 128) >> 8.
            four[part] = _mm512_cvtepi32_epi8(_mm512_srli_epi32(_mm512_add_epi32(sums, two), 10));
        }
        const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(four[0]), four[1], 1);
        const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(four[2]), four[3], 1);
        StorePixels(dst, _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1), source.pixelBytes);
    }
    return k;
}
#else
static inline size_t NearestVectors(uint8_t*, const SampledPixels&, const FixedWalk&, size_t) { return 0; }
static inline size_t BlendedVectors(uint8_t*, const SampledPixels&, const FixedWalk&, size_t) { return 0; }
#endif

static void NearestWalk(uint8_t* dst, const SampledPixels* pixels, const FixedWalk* walk, size_t count) {
    const size_t done = NearestVectors(dst, *pixels, *walk, count);
    NearestPlain(dst + done * static_cast<size_t>(pixels->pixelBytes), *pixels, Advanced(*walk, done), count - done);
}

static void BlendedWalk(uint8_t* dst, const SampledPixels* pixels, const FixedWalk* walk, size_t count) {
    const size_t done = BlendedVectors(dst, *pixels, *walk, count);
    BlendedPlain(dst + done * static_cast<size_t>(pixels->pixelBytes), *pixels, Advanced(*walk, done), count - done);
}
