// Circular deformations; see Deform.h. Plain loops over double lanes, which the compiler turns into vectors.

static constexpr double kUnsure = 1e-5;
// Adding it to a double below 2^51 and taking it away again rounds to a whole number.
static constexpr double kRounding = 6755399441055744.0;

// True where truncating the value cannot be wrong: not near a whole number other than 0. False for what is no number.
static inline bool Sure(double value) {
    const double whole = (value + kRounding) - kRounding;
    const double off = value - whole;
    return ((off < 0 ? -off : off) > kUnsure) | (whole == 0);
}

// Sine and cosine of 0 to 4: series at an eighth of the angle, doubled three times. Error below 1e-13.
static inline void SineCosine(double angle, double* sine, double* cosine) {
    const double x = angle * 0.125, z = x * x;
    double s =
        x * (1 + z * (-1.0 / 6 + z * (1.0 / 120 + z * (-1.0 / 5040 + z * (1.0 / 362880 + z * (-1.0 / 39916800))))));
    double c =
        1 + z * (-1.0 / 2 +
                 z * (1.0 / 24 + z * (-1.0 / 720 + z * (1.0 / 40320 + z * (-1.0 / 3628800 + z * (1.0 / 479001600))))));
    for (int i = 0; i < 3; ++i) {
        const double doubled = 2 * s * c;
        c = c * c - s * s;
        s = doubled;
    }
    *sine = s;
    *cosine = c;
}

// Arc tangent of 0 to 1: halved twice by tan(a / 2) = t / (1 + sqrt(1 + t^2)), then a series. Error below 1e-12.
static inline double ArcTangent(double t) {
    t = t / (1 + __builtin_sqrt(1 + t * t));
    t = t / (1 + __builtin_sqrt(1 + t * t));
    const double z = t * t;
    const double series =
        1 + z * (-1.0 / 3 +
                 z * (1.0 / 5 + z * (-1.0 / 7 + z * (1.0 / 9 + z * (-1.0 / 11 + z * (1.0 / 13 + z * (-1.0 / 15)))))));
    return 4 * t * series;
}

// |atan2(y, x)|, 0 to pi.
static inline double AbsoluteAngle(double y, double x) {
    constexpr double kPi = 3.14159265358979323846;
    const double ax = x < 0 ? -x : x, ay = y < 0 ? -y : y;
    const double large = ax > ay ? ax : ay, small = ax > ay ? ay : ax;
    double angle = ArcTangent(small / large);
    angle = ax > ay ? angle : kPi / 2 - angle;
    return x < 0 ? kPi - angle : angle;
}

// Source points of modes 0 to 2: a radius times the direction, turned in mode 2.
template <int kMode>
static void PulledPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    const double dy = row->dy, radius = row->radius, inverseRadius = 1 / radius;
    const float limit = static_cast<float>(row->radius), half = static_cast<float>(row->radius / 2);
    for (size_t i = 0; i < count; ++i) {
        const double dx = row->centreX - first - static_cast<int32_t>(i);
        const double square = dx * dx + dy * dy;
        const float distance = __builtin_sqrtf(static_cast<float>(square));
        // 1 / sqrt(square): the single-precision distance and one Newton step, which squares its error of 1e-7.
        const double d = distance, near = 1 / d, scale = near * (1.5 - 0.5 * square * near * near);
        double ux = dx * scale, uy = dy * scale;
        double pulled = d;
        if (kMode == 0) pulled = d * d * inverseRadius;
        if (kMode == 1) pulled = __builtin_sqrt(d * radius);
        if (kMode == 2) {
            double sine, cosine;
            SineCosine(static_cast<double>(distance / half), &sine, &cosine);
            const double turned = ux * cosine - uy * sine;
            uy = ux * sine + uy * cosine;
            ux = turned;
        }
        const double x = pulled * ux, y = pulled * uy;
        const bool inside = distance < limit, sure = int{Sure(x)} & int{Sure(y)};
        // What is no number is unsure and must not be converted.
        const int32_t column = row->centreX - static_cast<int32_t>(sure ? x : 0.0);
        const int32_t line = row->centreY - static_cast<int32_t>(sure ? y : 0.0);
        columns[i] = inside ? (sure ? column : kUnsureColumn) : -1;
        rows[i] = inside ? line : -1;
    }
}

static void UnwrappedPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    const double dy = row->dy, radius = row->radius, width = row->width, height = row->height;
    const float limit = static_cast<float>(row->radius);
    for (size_t i = 0; i < count; ++i) {
        const double dx = row->centreX - first - static_cast<int32_t>(i);
        const float distance = __builtin_sqrtf(static_cast<float>(dx * dx + dy * dy));
        // 2 pi cut to eight digits.
        const double x = AbsoluteAngle(dy, dx) * width / 6.2831852;
        const double y = static_cast<double>(distance) * height / radius;
        const bool inside = distance < limit, sure = Sure(x);
        const int32_t column = static_cast<int32_t>(sure ? x : 0.0);
        columns[i] = inside ? (sure ? column : kUnsureColumn) : -1;
        rows[i] = inside ? static_cast<int32_t>(inside ? y : 0.0) : -1;
    }
}

static void SawToothPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    const double dy = row->dy;
    const float limit = static_cast<float>(row->radius);
    const int32_t line = row->centreY - row->dy;
    for (size_t i = 0; i < count; ++i) {
        const int32_t x = first + static_cast<int32_t>(i);
        const double dx = row->centreX - x;
        const bool inside = __builtin_sqrtf(static_cast<float>(dx * dx + dy * dy)) < limit;
        columns[i] = inside ? x + (x & 31) - 16 : -1;
        rows[i] = inside ? line : -1;
    }
}

static void CirclePoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    switch (row->mode) {
        case 0: PulledPoints<0>(columns, rows, row, first, count); break;
        case 1: PulledPoints<1>(columns, rows, row, first, count); break;
        case 2: PulledPoints<2>(columns, rows, row, first, count); break;
        case 3: UnwrappedPoints(columns, rows, row, first, count); break;
        default: SawToothPoints(columns, rows, row, first, count); break;
    }
}

// A pixel as a colour word; one byte is a grey. The last pixels of the block are not read as whole words.
static inline uint32_t LoadColour(const uint8_t* p, const SampledPixels& pixels) {
    uint32_t word = 0;
    if (pixels.pixelBytes == 1) return p[0] * 0x00010101u;
    if (p + 4 <= pixels.end) {
        memcpy(&word, p, 4);
    } else {
        memcpy(&word, p, 3);
    }
    return pixels.pixelBytes == 3 ? word & 0x00FFFFFFu : word;
}

// `bytes` and the source's pixel bytes are constants to the compiler in each of its calls.
static inline __attribute__((always_inline)) void GatherPlain(uint8_t* dst, int bytes, int fromBytes,
                                                              const CircleSource& source, const int32_t* columns,
                                                              const int32_t* rows, size_t count) {
    SampledPixels pixels = source.pixels;
    pixels.pixelBytes = fromBytes;
    const auto width = static_cast<uint32_t>(source.width), height = static_cast<uint32_t>(source.height);
    for (size_t i = 0; i < count; ++i, dst += bytes) {
        const bool inside = (static_cast<uint32_t>(columns[i]) < width) & (static_cast<uint32_t>(rows[i]) < height);
        uint32_t colour = source.outside;
        if (inside) {
            colour = LoadColour(pixels.bits + rows[i] * pixels.stride + ptrdiff_t{columns[i]} * fromBytes, pixels);
            if (colour >> 24 != kMarkedAlpha) colour |= source.opaque;
        }
        // Three bytes are written as four where another pixel follows, which writes over the fourth.
        memcpy(dst, &colour, bytes == 3 && i + 1 < count ? 4 : static_cast<size_t>(bytes));
    }
}

#if VEL_AVX512
static size_t GatherVectors(uint8_t* dst, int bytes, const CircleSource& source, const int32_t* columns,
                            const int32_t* rows, size_t count) {
    const SampledPixels& pixels = source.pixels;
    if (!GathersReach(pixels)) return 0;
    const __m512i stride = _mm512_set1_epi32(static_cast<int>(pixels.stride));
    const __m512i last = _mm512_set1_epi32(static_cast<int>(pixels.end - pixels.bits - 4));
    const __m512i width = _mm512_set1_epi32(source.width), height = _mm512_set1_epi32(source.height);
    const __m512i outside = _mm512_set1_epi32(static_cast<int>(source.outside));
    const __m512i opaque = _mm512_set1_epi32(static_cast<int>(source.opaque));
    const __m512i colours = _mm512_set1_epi32(0x00FFFFFF);
    size_t i = 0;
    for (; i + 16 <= count; i += 16, dst += 16 * bytes) {
        const __m512i column = _mm512_loadu_si512(columns + i), row = _mm512_loadu_si512(rows + i);
        const __mmask16 inside = _mm512_cmplt_epu32_mask(column, width) & _mm512_cmplt_epu32_mask(row, height);
        // Points outside fetch the first pixel, which nobody uses.
        const __m512i offsets = _mm512_maskz_mov_epi32(inside, PixelOffsets(column, row, stride, pixels.pixelBytes));
        __m512i words = GatherWords(pixels.bits, offsets, last);
        if (pixels.pixelBytes == 3) words = _mm512_and_si512(words, colours);
        if (pixels.pixelBytes == 1) {
            words = _mm512_mullo_epi32(_mm512_and_si512(words, _mm512_set1_epi32(255)), _mm512_set1_epi32(0x00010101));
        }
        const __mmask16 unmarked =
            _mm512_cmpneq_epi32_mask(_mm512_srli_epi32(words, 24), _mm512_set1_epi32(kMarkedAlpha));
        words = _mm512_mask_or_epi32(words, unmarked, words, opaque);
        StorePixels(dst, _mm512_mask_mov_epi32(outside, inside, words), bytes);
    }
    return i;
}
#else
static inline size_t GatherVectors(uint8_t*, int, const CircleSource&, const int32_t*, const int32_t*, size_t) {
    return 0;
}
#endif

static void GatherPoints(uint8_t* dst, int bytes, const CircleSource* source, const int32_t* columns,
                         const int32_t* rows, size_t count) {
    const size_t done = GatherVectors(dst, bytes, *source, columns, rows, count);
    dst += done * static_cast<size_t>(bytes);
    columns += done;
    rows += done;
    count -= done;
    const int from = source->pixels.pixelBytes;
    if (from == 1 && bytes == 1) GatherPlain(dst, 1, 1, *source, columns, rows, count);
    if (from == 3 && bytes == 3) GatherPlain(dst, 3, 3, *source, columns, rows, count);
    if (from == 4) GatherPlain(dst, 4, 4, *source, columns, rows, count);
    if (from == 1 && bytes == 4) GatherPlain(dst, 4, 1, *source, columns, rows, count);
    if (from == 3 && bytes == 4) GatherPlain(dst, 4, 3, *source, columns, rows, count);
}

#if VEL_AVX512
// Every second of `pixelBytes`-byte pixels: places of results from byte `firstByte`
// on, in two registers that begin at byte `from`.
static constexpr BytePlaces EvenPlaces(int pixelBytes, int from, int firstByte) {
    BytePlaces places{};
    for (int i = 0; i < 64; ++i) {
        const int byte = firstByte + i;
        places.at[i] = static_cast<uint8_t>(byte / pixelBytes * 2 * pixelBytes + byte % pixelBytes - from);
    }
    return places;
}
static constexpr BytePlaces kEvenLow3 = EvenPlaces(3, 0, 0), kEvenHigh3 = EvenPlaces(3, 64, 64);
static constexpr BytePlaces kEven1 = EvenPlaces(1, 0, 0), kEven4 = EvenPlaces(4, 0, 0);

static inline void HalveBlock(uint8_t* dst, const uint8_t* src, int pixelBytes) {
    const __m512i a = _mm512_loadu_si512(src);
    if (pixelBytes == 1) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst),
                            _mm512_castsi512_si256(_mm512_permutexvar_epi8(kEven1.Load(), a)));
        return;
    }
    const __m512i b = _mm512_loadu_si512(src + 64), c = _mm512_loadu_si512(src + 128);
    if (pixelBytes == 3) {
        _mm512_storeu_si512(dst, _mm512_permutex2var_epi8(a, kEvenLow3.Load(), b));
        const __m512i high = _mm512_permutex2var_epi8(b, kEvenHigh3.Load(), c);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 64), _mm512_castsi512_si256(high));
        return;
    }
    const __m512i d = _mm512_loadu_si512(src + 192);
    _mm512_storeu_si512(dst, _mm512_permutex2var_epi8(a, kEven4.Load(), b));
    _mm512_storeu_si512(dst + 64, _mm512_permutex2var_epi8(c, kEven4.Load(), d));
}
#else
static inline __attribute__((always_inline)) void HalveBlock(uint8_t* dst, const uint8_t* src, int pixelBytes) {
    // Three bytes are written as four where another pixel follows, which writes over the fourth.
    for (int i = 0; i < 31; ++i) {
        memcpy(dst + i * pixelBytes, src + 2 * i * pixelBytes, pixelBytes == 1 ? 1 : 4);
    }
    memcpy(dst + 31 * pixelBytes, src + 62 * pixelBytes, static_cast<size_t>(pixelBytes));
}
#endif

static void HalveBlocks(uint8_t* dst, const uint8_t* src, size_t blocks, int pixelBytes) {
#define VEL_HALVE(bytes) \
    for (size_t i = 0; i < blocks; ++i, dst += 32 * (bytes), src += 32 * (bytes)) HalveBlock(dst, src, bytes)
    switch (pixelBytes) {
        case 1: VEL_HALVE(1); break;
        case 3: VEL_HALVE(3); break;
        default: VEL_HALVE(4); break;
    }
#undef VEL_HALVE
}
