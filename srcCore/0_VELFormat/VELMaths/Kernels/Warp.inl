// Fixed-point walks; see Warp.h.

#if VEL_AVX512
#define VEL_WORD_PLACES(places) static_cast<_MM_PERM_ENUM>(places)
#else
#define VEL_WORD_PLACES(places) (places)
#endif

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

// The places of a walk's pixels that CopyPlaces may read, all of them; false where it must not.
template <int kPixelBytes>
static inline bool PlacesOf(int32_t* places, const SampledPixels& source, const FixedWalk& walk, size_t count) {
    if (!kCopiesPlaces || source.end - source.begin >= 0x7FFFFFFF) return false;
    const auto stride = static_cast<int32_t>(source.stride);
    const auto x = static_cast<uint32_t>(walk.x) + 128, xStep = static_cast<uint32_t>(walk.xStep);
    const auto y = static_cast<uint32_t>(walk.y) + 128, yStep = static_cast<uint32_t>(walk.yStep);
    int32_t last = INT32_MIN;
    for (size_t i = 0; i < count; ++i) {
        const auto k = static_cast<uint32_t>(i);
        const int32_t column = static_cast<int32_t>(x + k * xStep) >> 8, row = static_cast<int32_t>(y + k * yStep) >> 8;
        places[k] = row * stride + column * kPixelBytes;
        last = places[k] > last ? places[k] : last;
    }
    return kPixelBytes == 1 || source.end - source.bits - last >= 4;
}

template <int kPixelBytes>
static void CopyWalk(uint8_t* dst, const SampledPixels& source, const FixedWalk& walk, size_t count) {
    constexpr size_t kPart = 128;
    alignas(64) int32_t places[kPart];
    for (size_t first = 0; first < count; first += kPart, dst += kPart * kPixelBytes) {
        const size_t part = count - first < kPart ? count - first : kPart;
        const FixedWalk from = Advanced(walk, first);
        if (PlacesOf<kPixelBytes>(places, source, from, part)) {
            CopyPlaces<kPixelBytes, kPixelBytes>(dst, source.bits, places, 0, part);
        } else {
            NearestPlain(dst, source, from, part);
        }
    }
}

#if VEL_VECTOR
// Four times as many positions as a vector has quarters, four apart in each: so packing four results brings them in
// order. Each quarter has the 8 bytes at its position, which hold the pixel and its right neighbour, then the 8 bytes
// of the row below.
static inline Bytes LoadNeighbours(const uint8_t* above, ptrdiff_t stride, const int32_t* offsets) {
    const auto load = [&](int i) {
        const uint8_t* p = above + offsets[4 * i];
        const __m128i upper = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        return _mm_unpacklo_epi64(upper, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + stride)));
    };
#if VEL_AVX2
    const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(load(0)), load(1), 1);
#if VEL_AVX512
    const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(load(2)), load(3), 1);
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
#else
    return low;
#endif
#else
    return load(0);
#endif
}

// A quarter's pixels of one row as words: channel c of the left and of the right one side by side.
template <int kPixelBytes, int kRow>
static inline Bytes PairChannels(Bytes bytes) {
#if VEL_AVX2
    alignas(16) int8_t places[16];
    for (int i = 0; i < 16; ++i) {
        const int channel = i / 4, right = i / 2 % 2;
        const bool used = i % 2 == 0 && channel < kPixelBytes;
        places[i] = static_cast<int8_t>(used ? 8 * kRow + right * kPixelBytes + channel : -1);
    }
    const __m128i quarter = _mm_load_si128(reinterpret_cast<const __m128i*>(places));
#if VEL_AVX512
    return _mm512_shuffle_epi8(bytes, _mm512_broadcast_i32x4(quarter));
#else
    return _mm256_shuffle_epi8(bytes, _mm256_broadcastsi128_si256(quarter));
#endif
#else
    const Bytes right = _mm_srli_epi64(bytes, 8 * kPixelBytes);
    const Bytes pairs = kRow == 0 ? _mm_unpacklo_epi8(bytes, right) : _mm_unpackhi_epi8(bytes, right);
    return _mm_unpacklo_epi8(pairs, _mm_setzero_si128());
#endif
}

// The weighted sums of a quarter's channels, one a word.
template <int kPixelBytes>
static inline Bytes SumNeighbours(Bytes bytes, Bytes aboveWeights, Bytes belowWeights) {
    return VEL_BYTES_OP(add_epi32)(VEL_BYTES_OP(madd_epi16)(PairChannels<kPixelBytes, 0>(bytes), aboveWeights),
                                   VEL_BYTES_OP(madd_epi16)(PairChannels<kPixelBytes, 1>(bytes), belowWeights));
}

// Positions and offsets of some pixels of a walk; false where their neighbours reach beyond what can be read.
struct WalkPart {
    static constexpr size_t kCount = 128;
    alignas(64) int32_t x[kCount], y[kCount], at[kCount];

    bool Take(const SampledPixels& source, const FixedWalk& from, int pixelBytes, size_t count) {
        const ptrdiff_t lower = source.stride > 0 ? source.stride : 0;
        const auto stride = static_cast<int32_t>(source.stride);
        int32_t last = INT32_MIN;
        for (size_t i = 0; i < count; ++i) {
            const auto k = static_cast<uint32_t>(i);
            x[i] = static_cast<int32_t>(static_cast<uint32_t>(from.x) + k * static_cast<uint32_t>(from.xStep));
            y[i] = static_cast<int32_t>(static_cast<uint32_t>(from.y) + k * static_cast<uint32_t>(from.yStep));
            at[i] = (y[i] >> 8) * stride + (x[i] >> 8) * pixelBytes;
            last = at[i] > last ? at[i] : last;
        }
        return source.end - source.bits - 8 - lower >= last;
    }
};

template <int kPixelBytes>
static inline void BlendGroup(uint8_t* dst, const SampledPixels& source, const WalkPart& part, size_t k) {
    const Bytes fraction = Splat32(255), one = Splat32(256), two = Splat32(512);
    const Bytes fx = And(LoadBytes(part.x + k), fraction), fy = And(LoadBytes(part.y + k), fraction);
    const Bytes sum = VEL_BYTES_OP(add_epi32)(fx, fy), difference = VEL_BYTES_OP(sub_epi32)(fx, fy);
    const Bytes aboveRight = VEL_BYTES_OP(slli_epi32)(VEL_BYTES_OP(add_epi32)(one, difference), 16);
    const Bytes above = Or(VEL_BYTES_OP(sub_epi32)(two, sum), aboveRight);
    const Bytes below = Or(VEL_BYTES_OP(sub_epi32)(one, difference), VEL_BYTES_OP(slli_epi32)(sum, 16));
    // ((sum >> 2) + 128) >> 8. A quarter's word i has the weights of its i-th position.
    Bytes four[4];
#define VEL_BLEND(i)                                                                                       \
    four[i] = SumNeighbours<kPixelBytes>(LoadNeighbours(source.bits, source.stride, part.at + k + (i)),    \
                                         VEL_BYTES_OP(shuffle_epi32)(above, VEL_WORD_PLACES(0x55 * (i))),  \
                                         VEL_BYTES_OP(shuffle_epi32)(below, VEL_WORD_PLACES(0x55 * (i)))); \
    four[i] = VEL_BYTES_OP(srli_epi32)(VEL_BYTES_OP(add_epi32)(four[i], two), 10)
    VEL_BLEND(0);
    VEL_BLEND(1);
    VEL_BLEND(2);
    VEL_BLEND(3);
#undef VEL_BLEND
    const Bytes colours = VEL_BYTES_OP(packus_epi16)(VEL_BYTES_OP(packs_epi32)(four[0], four[1]),
                                                     VEL_BYTES_OP(packs_epi32)(four[2], four[3]));
    if (kPixelBytes == 4) {
        StoreBytes(dst, colours);
    } else {
        StorePixels(dst, colours);
    }
}

template <int kPixelBytes>
static size_t BlendGroups(uint8_t* dst, const SampledPixels& source, const FixedWalk& walk, size_t count) {
    constexpr size_t kGroup = kVectorBytes / 4;
    if (source.end - source.begin >= 0x7FFFFFFF) return 0;
    const size_t whole = count - count % kGroup;
    WalkPart part;
    for (size_t first = 0; first < whole; first += WalkPart::kCount, dst += WalkPart::kCount * kPixelBytes) {
        const size_t size = whole - first < WalkPart::kCount ? whole - first : WalkPart::kCount;
        const FixedWalk from = Advanced(walk, first);
        if (!part.Take(source, from, kPixelBytes, size)) {
            BlendedPlain(dst, source, from, size);
            continue;
        }
        for (size_t k = 0; k < size; k += kGroup) BlendGroup<kPixelBytes>(dst + k * kPixelBytes, source, part, k);
    }
    return whole;
}
#endif

static size_t BlendedVectors([[maybe_unused]] uint8_t* dst, [[maybe_unused]] const SampledPixels& source,
                             [[maybe_unused]] const FixedWalk& walk, [[maybe_unused]] size_t count) {
#if VEL_VECTOR
    if (source.pixelBytes == 3) return BlendGroups<3>(dst, source, walk, count);
    if (source.pixelBytes == 4) return BlendGroups<4>(dst, source, walk, count);
#endif
    return 0;
}

static void NearestWalk(uint8_t* dst, const SampledPixels* pixels, const FixedWalk* walk, size_t count) {
    switch (pixels->pixelBytes) {
        case 1: CopyWalk<1>(dst, *pixels, *walk, count); break;
        case 3: CopyWalk<3>(dst, *pixels, *walk, count); break;
        case 4: CopyWalk<4>(dst, *pixels, *walk, count); break;
        default: NearestPlain(dst, *pixels, *walk, count);
    }
}

static void BlendedWalk(uint8_t* dst, const SampledPixels* pixels, const FixedWalk* walk, size_t count) {
    const size_t done = BlendedVectors(dst, *pixels, *walk, count);
    BlendedPlain(dst + done * static_cast<size_t>(pixels->pixelBytes), *pixels, Advanced(*walk, done), count - done);
}

// A plain loop over double lanes, which the compiler turns into vectors.
static size_t PlacesOfPoints(int64_t* places, const double* x, const double* y, const PixelGrid* grid, size_t count) {
    const double right = grid->width, bottom = grid->height;
    const int64_t stride = grid->stride, bytes = grid->bytes;
    size_t found = 0;
    for (size_t k = 0; k < count; ++k) {
        const int inside = int{x[k] >= 0} & int{y[k] >= 0} & int{x[k] < right} & int{y[k] < bottom};
        const auto column = static_cast<int32_t>(inside ? x[k] : 0.0), row = static_cast<int32_t>(inside ? y[k] : 0.0);
        const int64_t place = row * stride + column * bytes;
        places[k] = inside ? place : kNoPlace;
        found += static_cast<size_t>(inside);
    }
    return found;
}
