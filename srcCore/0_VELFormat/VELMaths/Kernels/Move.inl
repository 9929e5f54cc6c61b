// Pixel-moving kernels; see Move.h.

// Calls `action` with the pixel size as a constant, so that copies of one pixel become single moves.
#define VEL_WITH_PIXEL_BYTES(pixelBytes, action) \
    switch (pixelBytes) {                        \
        case 1: action(1); break;                \
        case 2: action(2); break;                \
        case 3: action(3); break;                \
        case 4: action(4); break;                \
        default: action(pixelBytes); break;      \
    }

static inline void MirrorPixels(uint8_t* dst, const uint8_t* src, size_t pixels, size_t bytes) {
    src += pixels * bytes;
    for (size_t i = 0; i < pixels; ++i) {
        src -= bytes;
        memcpy(dst, src, bytes);
        dst += bytes;
    }
}

static inline void TransposePixels(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride,
                                   size_t rows, size_t columns, size_t bytes) {
    for (size_t r = 0; r < rows; ++r, dst += dstStride, src += bytes) {
        const uint8_t* from = src;
        for (size_t c = 0; c < columns; ++c, from += srcStride) memcpy(dst + c * bytes, from, bytes);
    }
}

#if VEL_VECTOR && !VEL_AVX512
#include "MoveShuffles.inl"
#endif

#if VEL_AVX512
// The whole pixels of a register in reverse order, first of them at byte 0.
static constexpr BytePlaces MirrorPlaces(int pixelBytes) {
    BytePlaces places{};
    const int pixels = 64 / pixelBytes;
    for (int i = 0; i < pixels * pixelBytes; ++i) {
        places.at[i] = static_cast<uint8_t>((pixels - 1 - i / pixelBytes) * pixelBytes + i % pixelBytes);
    }
    return places;
}
static constexpr BytePlaces kMirrorPlaces[5] = {{}, MirrorPlaces(1), MirrorPlaces(2), MirrorPlaces(3), MirrorPlaces(4)};

static size_t MirrorVectors(uint8_t* dst, const uint8_t* src, size_t pixels, size_t bytes) {
    const size_t step = 64 / bytes;
    const __m512i places = kMirrorPlaces[bytes].Load();
    const __mmask64 kept = ~0ull >> (64 - step * bytes);
    size_t i = 0;
    // A register's last byte is no pixel's when pixels have 3 bytes; it is neither read nor written.
    for (; i + step <= pixels; i += step) {
        const uint8_t* from = src + (pixels - i - step) * bytes;
        const __m512i mirrored = _mm512_permutexvar_epi8(places, _mm512_maskz_loadu_epi8(kept, from));
        _mm512_mask_storeu_epi8(dst + i * bytes, kept, mirrored);
    }
    return i;
}
#endif

static void MirrorRow(uint8_t* dst, const uint8_t* src, size_t pixels, int pixelBytes) {
#if VEL_AVX2
    if (pixelBytes <= 4) {
        const auto bytes = static_cast<size_t>(pixelBytes);
        const size_t done = MirrorVectors(dst, src, pixels, bytes);
        dst += done * bytes;
        pixels -= done;
    }
#endif
#define VEL_MIRROR(bytes) MirrorPixels(dst, src, pixels, static_cast<size_t>(bytes))
    VEL_WITH_PIXEL_BYTES(pixelBytes, VEL_MIRROR)
#undef VEL_MIRROR
}

#if VEL_AVX512
// Bytes 0 and 2 of the 3-byte pixels in three neighbouring registers. A place of 64 and more is of the second register
// of the permute; the two bytes of the middle register that come from the first one are set apart.
static constexpr BytePlaces ExchangePlaces(int part) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) {
        const int at = 64 * part + i, channel = at % 3;
        const int from = channel == 0 ? at + 2 : channel == 2 ? at - 2 : at;
        places.at[i] = static_cast<uint8_t>((from - (part == 2 ? 64 : 64 * part)) & 127);
    }
    return places;
}
static constexpr BytePlaces kExchangePlaces[3] = {ExchangePlaces(0), ExchangePlaces(1), ExchangePlaces(2)};

static size_t ExchangeVectors(uint8_t* row, size_t pixels, int pixelBytes) {
    size_t i = 0;
    if (pixelBytes == 4) {
        const __m512i places =
            _mm512_broadcast_i32x4(_mm_set_epi8(15, 12, 13, 14, 11, 8, 9, 10, 7, 4, 5, 6, 3, 0, 1, 2));
        for (; i + 16 <= pixels; i += 16) {
            const __m512i words = _mm512_loadu_si512(row + 4 * i);
            _mm512_storeu_si512(row + 4 * i, _mm512_shuffle_epi8(words, places));
        }
        return i;
    }
    const __m512i firstPlaces = kExchangePlaces[0].Load(), middlePlaces = kExchangePlaces[1].Load();
    const __m512i lastPlaces = kExchangePlaces[2].Load();
    for (; i + 64 <= pixels; i += 64) {
        uint8_t* p = row + 3 * i;
        const __m512i first = _mm512_loadu_si512(p), middle = _mm512_loadu_si512(p + 64);
        const __m512i last = _mm512_loadu_si512(p + 128);
        // Byte 65, the third of pixel 21, is byte 63; byte 126, the first of pixel 42, is byte 128.
        const __m512i inner = _mm512_permutex2var_epi8(middle, middlePlaces, last);
        const __m512i across = _mm512_castsi128_si512(_mm512_extracti32x4_epi32(first, 3));
        const __m512i joined = _mm512_mask_permutexvar_epi8(inner, 2, _mm512_set1_epi8(15), across);
        _mm512_storeu_si512(p, _mm512_permutex2var_epi8(first, firstPlaces, middle));
        _mm512_storeu_si512(p + 64, joined);
        _mm512_storeu_si512(p + 128, _mm512_permutex2var_epi8(middle, lastPlaces, last));
    }
    return i;
}
#endif

static void ExchangeRow(uint8_t* row, size_t pixels, int pixelBytes) {
    size_t i = 0;
#if VEL_AVX2
    i = ExchangeVectors(row, pixels, pixelBytes);
    row += i * static_cast<size_t>(pixelBytes);
#endif
    for (; i < pixels; ++i, row += pixelBytes) {
        const uint8_t first = row[0];
        row[0] = row[2];
        row[2] = first;
    }
}

#if VEL_AVX512
// Register c holds one source row of 16 words; afterwards register r holds one destination row.
static inline void TransposeWords(__m512i (&v)[16]) {
    __m512i w[16];
    for (int i = 0; i < 16; i += 4) {
        const __m512i a = _mm512_unpacklo_epi32(v[i], v[i + 1]), b = _mm512_unpackhi_epi32(v[i], v[i + 1]);
        const __m512i c = _mm512_unpacklo_epi32(v[i + 2], v[i + 3]), d = _mm512_unpackhi_epi32(v[i + 2], v[i + 3]);
        w[i] = _mm512_unpacklo_epi64(a, c);
        w[i + 1] = _mm512_unpackhi_epi64(a, c);
        w[i + 2] = _mm512_unpacklo_epi64(b, d);
        w[i + 3] = _mm512_unpackhi_epi64(b, d);
    }
    for (int i = 0; i < 4; ++i) {
        const __m512i a = _mm512_shuffle_i32x4(w[i], w[i + 4], 0x88), b = _mm512_shuffle_i32x4(w[i], w[i + 4], 0xDD);
        const __m512i c = _mm512_shuffle_i32x4(w[i + 8], w[i + 12], 0x88);
        const __m512i d = _mm512_shuffle_i32x4(w[i + 8], w[i + 12], 0xDD);
        v[i] = _mm512_shuffle_i32x4(a, c, 0x88);
        v[i + 8] = _mm512_shuffle_i32x4(a, c, 0xDD);
        v[i + 4] = _mm512_shuffle_i32x4(b, d, 0x88);
        v[i + 12] = _mm512_shuffle_i32x4(b, d, 0xDD);
    }
}

// Of four registers with four rows of 16 bytes each, four rows of the transposed block: bytes 4 * quarter and on.
static constexpr BytePlaces HalfPlaces(int half) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) places.at[i] = static_cast<uint8_t>(i % 8 * 16 + 8 * half + i / 8);
    return places;
}
static constexpr BytePlaces QuarterPlaces(int quarter) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) {
        places.at[i] = static_cast<uint8_t>(i % 16 / 8 * 64 + (4 * quarter + i / 16) * 8 + i % 8);
    }
    return places;
}
static constexpr BytePlaces kHalfPlaces[2] = {HalfPlaces(0), HalfPlaces(1)};
static constexpr BytePlaces kQuarterPlaces[2] = {QuarterPlaces(0), QuarterPlaces(1)};

static inline void TransposeBytes(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride) {
    __m512i rows[4];
    for (int i = 0; i < 4; ++i) {
        const auto row = [&](int k) {
            return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + (4 * i + k) * srcStride));
        };
        const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(row(0)), row(1), 1);
        const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(row(2)), row(3), 1);
        rows[i] = _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
    }
    for (int half = 0; half < 2; ++half) {
        const __m512i places = kHalfPlaces[half].Load();
        const __m512i first = _mm512_permutex2var_epi8(rows[0], places, rows[1]);
        const __m512i second = _mm512_permutex2var_epi8(rows[2], places, rows[3]);
        for (int quarter = 0; quarter < 2; ++quarter) {
            const __m512i four = _mm512_permutex2var_epi8(first, kQuarterPlaces[quarter].Load(), second);
            uint8_t* to = dst + (8 * half + 4 * quarter) * dstStride;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm512_castsi512_si128(four));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + dstStride), _mm512_extracti32x4_epi32(four, 1));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 2 * dstStride), _mm512_extracti32x4_epi32(four, 2));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 3 * dstStride), _mm512_extracti32x4_epi32(four, 3));
        }
    }
}

// A block of 16 by 16 pixels.
static inline void TransposeBlock(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride,
                                  size_t bytes) {
    if (bytes == 1) return TransposeBytes(dst, dstStride, src, srcStride);
    if (bytes == 2) return TransposePixels(dst, dstStride, src, srcStride, 16, 16, 2);
    __m512i rows[16];
    if (bytes == 4) {
        for (int i = 0; i < 16; ++i) rows[i] = _mm512_loadu_si512(src + i * srcStride);
        TransposeWords(rows);
        for (int i = 0; i < 16; ++i) _mm512_storeu_si512(dst + i * dstStride, rows[i]);
        return;
    }
    const __m512i spread = kSpreadPlaces.Load(), packed = kPackPlaces.Load();
    for (int i = 0; i < 16; ++i) {
        rows[i] = _mm512_permutexvar_epi8(spread, _mm512_maskz_loadu_epi8(k48Bytes, src + i * srcStride));
    }
    TransposeWords(rows);
    for (int i = 0; i < 16; ++i) {
        _mm512_mask_storeu_epi8(dst + i * dstStride, k48Bytes, _mm512_permutexvar_epi8(packed, rows[i]));
    }
}
#elif !VEL_VECTOR
static inline void TransposeBlock(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride,
                                  size_t bytes) {
    TransposePixels(dst, dstStride, src, srcStride, 16, 16, bytes);
}
#endif

// Tiles whose source and destination lines stay in the first-level cache, in blocks of 16 by 16.
static inline void TransposeTiles(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride,
                                  size_t rows, size_t columns, size_t bytes) {
    const size_t tile = 64, block = 16;
    const auto to = [&](size_t r, size_t c) {
        return dst + static_cast<ptrdiff_t>(r) * dstStride + static_cast<ptrdiff_t>(c * bytes);
    };
    const auto from = [&](size_t r, size_t c) {
        return src + static_cast<ptrdiff_t>(c) * srcStride + static_cast<ptrdiff_t>(r * bytes);
    };
    const size_t wholeRows = bytes > 4 ? 0 : rows / block * block, wholeColumns = columns / block * block;
    for (size_t top = 0; top < wholeRows; top += tile) {
        const size_t bottom = top + tile < wholeRows ? top + tile : wholeRows;
        for (size_t left = 0; left < wholeColumns; left += tile) {
            const size_t right = left + tile < wholeColumns ? left + tile : wholeColumns;
            for (size_t r = top; r < bottom; r += block) {
                for (size_t c = left; c < right; c += block) {
                    TransposeBlock(to(r, c), dstStride, from(r, c), srcStride, bytes);
                }
            }
        }
    }
    TransposePixels(to(0, wholeColumns), dstStride, from(0, wholeColumns), srcStride, wholeRows, columns - wholeColumns,
                    bytes);
    TransposePixels(to(wholeRows, 0), dstStride, from(wholeRows, 0), srcStride, rows - wholeRows, columns, bytes);
}

static void Transpose(uint8_t* dst, ptrdiff_t dstStride, const uint8_t* src, ptrdiff_t srcStride, size_t rows,
                      size_t columns, int pixelBytes) {
#define VEL_TRANSPOSE(bytes) TransposeTiles(dst, dstStride, src, srcStride, rows, columns, static_cast<size_t>(bytes))
    VEL_WITH_PIXEL_BYTES(pixelBytes, VEL_TRANSPOSE)
#undef VEL_TRANSPOSE
}

template <size_t bytes>
static inline void PickPixels(uint8_t* dst, const uint8_t* src, [[maybe_unused]] const uint8_t* end,
                              const uint32_t* offsets, size_t pixels) {
    constexpr int kBytes = static_cast<int>(bytes);
    if constexpr (kCopiesPlaces && bytes != 2) {
        if (pixels > 0 && end - src - ptrdiff_t{offsets[pixels - 1]} >= 4) {
            CopyPlaces<kBytes, kBytes>(dst, src, offsets, 0, pixels);
            return;
        }
    }
    for (size_t i = 0; i < pixels; ++i) memcpy(dst + i * bytes, src + offsets[i], bytes);
}

#if VEL_AVX512
// Which offset gives each byte of a result of `bytes`-byte pixels, as a place among the low bytes of 32 offsets.
static constexpr BytePlaces OffsetPlaces(int pixelBytes) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) places.at[i] = static_cast<uint8_t>(i / pixelBytes * 4 & 127);
    return places;
}
static constexpr BytePlaces WithinPixel(int pixelBytes) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) places.at[i] = static_cast<uint8_t>(i % pixelBytes);
    return places;
}
static constexpr BytePlaces kOffsetPlaces[5] = {{}, OffsetPlaces(1), OffsetPlaces(2), OffsetPlaces(3), OffsetPlaces(4)};
static constexpr BytePlaces kWithinPixel[5] = {{}, WithinPixel(1), WithinPixel(2), WithinPixel(3), WithinPixel(4)};

// Blocks of pixels that come from 128 neighbouring bytes are one permute of two registers.
template <size_t bytes>
static size_t PickVectors(uint8_t* dst, const uint8_t* src, const uint8_t* end, const uint32_t* offsets,
                          size_t pixels) {
    constexpr size_t block = bytes == 1 ? 32 : bytes == 2 ? 32 : 16;
    const __mmask64 kept = ~0ull >> (64 - block * bytes);
    const __m512i places = kOffsetPlaces[bytes].Load(), within = kWithinPixel[bytes].Load();
    size_t i = 0;
    for (; i + block <= pixels; i += block) {
        const uint32_t base = offsets[i];
        if (offsets[i + block - 1] - base + bytes > 128 || end - src < ptrdiff_t{base} + 128) {
            PickPixels<bytes>(dst + i * bytes, src, end, offsets + i, block);
            continue;
        }
        const __m512i start = _mm512_set1_epi32(static_cast<int>(base));
        const __m512i first = _mm512_sub_epi32(_mm512_loadu_si512(offsets + i), start);
        __m512i index;
        if (block == 32) {
            const __m512i second = _mm512_sub_epi32(_mm512_loadu_si512(offsets + i + 16), start);
            index = _mm512_permutex2var_epi8(first, places, second);
        } else {
            index = _mm512_permutexvar_epi8(places, first);
        }
        const __m512i picked = _mm512_permutex2var_epi8(_mm512_loadu_si512(src + base), _mm512_add_epi8(index, within),
                                                        _mm512_loadu_si512(src + base + 64));
        _mm512_mask_storeu_epi8(dst + i * bytes, kept, picked);
    }
    return i;
}
#else
template <size_t bytes>
static inline size_t PickVectors(uint8_t*, const uint8_t*, const uint8_t*, const uint32_t*, size_t) {
    return 0;
}
#endif

template <size_t bytes>
static inline void PickRowOf(uint8_t* dst, const uint8_t* src, const uint8_t* end, const uint32_t* offsets,
                             size_t pixels) {
    const size_t done = PickVectors<bytes>(dst, src, end, offsets, pixels);
    PickPixels<bytes>(dst + done * bytes, src, end, offsets + done, pixels - done);
}

static void PickRow(uint8_t* dst, const uint8_t* src, const uint8_t* end, const uint32_t* offsets, size_t pixels,
                    int pixelBytes) {
    switch (pixelBytes) {
        case 1: PickRowOf<1>(dst, src, end, offsets, pixels); break;
        case 2: PickRowOf<2>(dst, src, end, offsets, pixels); break;
        case 3: PickRowOf<3>(dst, src, end, offsets, pixels); break;
        default: PickRowOf<4>(dst, src, end, offsets, pixels);
    }
}

template <size_t bytes>
static inline void PickBlocksOf(uint8_t* dst, const uint8_t* src, const uint8_t* end, const uint32_t* offsets,
                                [[maybe_unused]] const PickBlock& block, size_t pixels) {
    size_t i = 0;
#if VEL_AVX512
    const __m512i places = LoadBytes(block.places);
    const __mmask64 stored = FirstBytes(block.pixels * bytes);
    for (; i + block.pixels <= pixels && end - src - ptrdiff_t{offsets[i]} >= 128; i += block.pixels) {
        const uint8_t* p = src + offsets[i];
        _mm512_mask_storeu_epi8(dst + i * bytes, stored,
                                _mm512_permutex2var_epi8(LoadBytes(p), places, LoadBytes(p + 64)));
    }
#endif
    PickRowOf<bytes>(dst + i * bytes, src, end, offsets + i, pixels - i);
}

static void PickBlocks(uint8_t* dst, const uint8_t* src, const uint8_t* end, const uint32_t* offsets,
                       const PickBlock* block, size_t pixels, int pixelBytes) {
    switch (pixelBytes) {
        case 1: PickBlocksOf<1>(dst, src, end, offsets, *block, pixels); break;
        case 2: PickBlocksOf<2>(dst, src, end, offsets, *block, pixels); break;
        case 3: PickBlocksOf<3>(dst, src, end, offsets, *block, pixels); break;
        default: PickBlocksOf<4>(dst, src, end, offsets, *block, pixels);
    }
}

#if VEL_AVX512
// Byte i of a register becomes pixel i: which byte comes next in the part-th register of the result.
static constexpr BytePlaces GreyPlaces(int pixelBytes, int part) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) places.at[i] = static_cast<uint8_t>((64 * part + i) / pixelBytes);
    return places;
}
static constexpr BytePlaces kGreyPlaces3[3] = {GreyPlaces(3, 0), GreyPlaces(3, 1), GreyPlaces(3, 2)};
static constexpr BytePlaces kGreyPlaces4[4] = {GreyPlaces(4, 0), GreyPlaces(4, 1), GreyPlaces(4, 2), GreyPlaces(4, 3)};

template <int kPixelBytes>
static inline size_t RepeatGreys(uint8_t* dst, const uint8_t* src, size_t pixels,
                                 const BytePlaces (&places)[kPixelBytes], __m512i set) {
    size_t i = 0;
    for (; i + 64 <= pixels; i += 64, dst += 64 * kPixelBytes) {
        const __m512i greys = _mm512_loadu_si512(src + i);
        for (int part = 0; part < kPixelBytes; ++part) {
            StoreBytes(dst + 64 * part, Or(_mm512_permutexvar_epi8(places[part].Load(), greys), set));
        }
    }
    return i;
}
#endif

static void GreyTo24(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_AVX512
    i = RepeatGreys(dst, src, pixels, kGreyPlaces3, Splat8(0));
#elif VEL_VECTOR
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
        StoreRepeated(dst + 3 * i, WidenBytes(src + i));
    }
#endif
    for (; i < pixels; ++i) dst[3 * i] = dst[3 * i + 1] = dst[3 * i + 2] = src[i];
}

static void GreyTo32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_AVX512
    i = RepeatGreys(dst, src, pixels, kGreyPlaces4, Splat32(static_cast<int>(0xFF000000)));
#elif VEL_AVX2
    const Bytes opaque = Splat32(static_cast<int>(0xFF000000));
    for (; i + kLanePixels <= pixels; i += kLanePixels) {
        StoreBytes(dst + 4 * i, Or(RepeatInLanes(WidenBytes(src + i)), opaque));
    }
#elif VEL_VECTOR
    for (; i + kVectorBytes <= pixels; i += kVectorBytes) {
        const Bytes greys = LoadBytes(src + i);
        const Bytes low = _mm_unpacklo_epi8(greys, greys), lowSet = _mm_unpacklo_epi8(greys, Splat8(-1));
        const Bytes high = _mm_unpackhi_epi8(greys, greys), highSet = _mm_unpackhi_epi8(greys, Splat8(-1));
        StoreBytes(dst + 4 * i, _mm_unpacklo_epi16(low, lowSet));
        StoreBytes(dst + 4 * i + 16, _mm_unpackhi_epi16(low, lowSet));
        StoreBytes(dst + 4 * i + 32, _mm_unpacklo_epi16(high, highSet));
        StoreBytes(dst + 4 * i + 48, _mm_unpackhi_epi16(high, highSet));
    }
#endif
    for (; i < pixels; ++i) {
        const uint32_t word = src[i] * 0x010101u | 0xFF000000u;
        memcpy(dst + 4 * i, &word, 4);
    }
}

static void ColourTo32(uint8_t* dst, const uint8_t* src, size_t pixels) {
    size_t i = 0;
#if VEL_VECTOR
    const Bytes opaque = Splat32(static_cast<int>(0xFF000000));
    for (; 3 * (i + kLanePixels) + kLaneSlack <= 3 * pixels; i += kLanePixels) {
        StoreBytes(dst + 4 * i, Or(SpreadPixels(src + 3 * i), opaque));
    }
#endif
    for (; i < pixels; ++i) {
        dst[4 * i] = src[3 * i];
        dst[4 * i + 1] = src[3 * i + 1];
        dst[4 * i + 2] = src[3 * i + 2];
        dst[4 * i + 3] = 255;
    }
}

#if VEL_AVX512
// One channel of a 4-byte palette as a table of bytes.
static inline ByteTable ChannelTable(const uint8_t* palette, unsigned channel) {
    uint8_t entries[256];
    for (int i = 0; i < 16; ++i) {
        const __m512i words = _mm512_srli_epi32(_mm512_loadu_si512(palette + 64 * i), 8 * channel);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(entries + 16 * i), _mm512_cvtepi32_epi8(words));
    }
    return ByteTable(entries);
}

// Three registers of 64 channel bytes each joined pixel by pixel: which byte of blue (0 to 63) and green (64 to 127),
// or of red, comes next in the part-th register of the result.
static constexpr BytePlaces JoinPlaces(int pixelBytes, int part, bool red) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) {
        const int pixel = (64 * part + i) / pixelBytes, channel = (64 * part + i) % pixelBytes;
        places.at[i] = static_cast<uint8_t>(red ? pixel : pixel + (channel == 1 ? 64 : 0));
    }
    return places;
}
static constexpr uint64_t ChannelBytes(int pixelBytes, int part, int first, int last) {
    uint64_t mask = 0;
    for (int i = 0; i < 64; ++i) {
        const int channel = (64 * part + i) % pixelBytes;
        if (channel >= first && channel <= last) mask |= uint64_t{1} << i;
    }
    return mask;
}
template <int kPixelBytes, int kPart>
static inline void StoreJoined(uint8_t* dst, const __m512i (&channels)[3]) {
    static constexpr BytePlaces pairPlaces = JoinPlaces(kPixelBytes, kPart, false);
    static constexpr BytePlaces redPlaces = JoinPlaces(kPixelBytes, kPart, true);
    constexpr uint64_t red = ChannelBytes(kPixelBytes, kPart, 2, 2), written = ChannelBytes(kPixelBytes, kPart, 0, 2);
    const __m512i pair = _mm512_permutex2var_epi8(channels[0], pairPlaces.Load(), channels[1]);
    const __m512i joined = _mm512_mask_permutexvar_epi8(pair, red, redPlaces.Load(), channels[2]);
    if (written == ~uint64_t{0}) {
        _mm512_storeu_si512(dst + 64 * kPart, joined);
    } else {
        _mm512_mask_storeu_epi8(dst + 64 * kPart, written, joined);
    }
}

template <int kPixelBytes>
static size_t PaletteVectors(uint8_t* dst, const uint8_t* src, size_t pixels, const uint8_t* palette) {
    if (pixels < 64) return 0;
    const ByteTable blue = ChannelTable(palette, 0), green = ChannelTable(palette, 1), red = ChannelTable(palette, 2);
    size_t i = 0;
    for (; i + 64 <= pixels; i += 64, dst += 64 * kPixelBytes) {
        const __m512i index = _mm512_loadu_si512(src + i);
        const __m512i channels[3] = {LookUp(index, blue), LookUp(index, green), LookUp(index, red)};
        StoreJoined<kPixelBytes, 0>(dst, channels);
        StoreJoined<kPixelBytes, 1>(dst, channels);
        StoreJoined<kPixelBytes, 2>(dst, channels);
        if (kPixelBytes == 4) StoreJoined<4, 3>(dst, channels);
    }
    return i;
}
#else
template <int kPixelBytes>
static inline size_t PaletteVectors(uint8_t*, const uint8_t*, size_t, const uint8_t*) {
    return 0;
}
#endif

static void PaletteTo24(uint8_t* dst, const uint8_t* src, size_t pixels, const uint8_t* palette) {
    for (size_t i = PaletteVectors<3>(dst, src, pixels, palette); i < pixels; ++i) {
        memcpy(dst + 3 * i, palette + 4 * src[i], 3);
    }
}

static void PaletteTo32(uint8_t* dst, const uint8_t* src, size_t pixels, const uint8_t* palette) {
    for (size_t i = PaletteVectors<4>(dst, src, pixels, palette); i < pixels; ++i) {
        memcpy(dst + 4 * i, palette + 4 * src[i], 3);
    }
}
