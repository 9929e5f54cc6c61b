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

// |atan2(y, x)|, 0 to pi. Above an eighth of the circle's quarter atan(s / l) = pi / 4 + atan((s - l) / (s + l)), which
// leaves tangents of up to tan(pi / 8); for them a polynomial through the arc tangent at nine Chebyshev nodes. Error
// below 1e-14, rounding apart.
static inline double AbsoluteAngle(double y, double x) {
    constexpr double kPi = 3.14159265358979323846;
    const double ax = x < 0 ? -x : x, ay = y < 0 ? -y : y;
    const double large = ax > ay ? ax : ay, small = ax > ay ? ay : ax;
    const bool steep = small > 0.41421356237309503 * large;
    const double t = (steep ? small - large : small) / (steep ? small + large : large), z = t * t;
    double series = 0.030662440370424447;
    series = series * z - 0.05874505621307831;
    series = series * z + 0.07563703551915192;
    series = series * z - 0.09078392072943424;
    series = series * z + 0.11110385046148014;
    series = series * z - 0.14285690423839287;
    series = series * z + 0.19999999604891977;
    series = series * z - 0.33333333330803444;
    series = series * z + 0.9999999999999732;
    double angle = t * series + (steep ? kPi / 4 : 0.0);
    angle = ax > ay ? angle : kPi / 2 - angle;
    return x < 0 ? kPi - angle : angle;
}

// Source points of modes 0 to 2: a radius times the direction, turned in mode 2.
template <int kMode>
static int PulledPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    const double dy = row->dy, radius = row->radius, inverseRadius = 1 / radius;
    const float limit = static_cast<float>(row->radius), half = static_cast<float>(row->radius / 2);
    int unsure = 0;
    for (size_t i = 0; i < count; ++i) {
        const double dx = row->centreX - first - static_cast<int32_t>(i);
        const double square = dx * dx + dy * dy;
        const float distance = __builtin_sqrtf(static_cast<float>(square));
        // 1 / sqrt(square): the single-precision distance and one Newton step, which squares its error of 1e-7.
        const double d = distance, near = 1 / distance, scale = near * (1.5 - 0.5 * square * near * near);
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
        unsure |= int{inside} & int{!sure};
    }
    return unsure;
}

static int UnwrappedPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    // 2 pi cut to eight digits.
    const double dy = row->dy, columnsPerRadian = row->width / 6.2831852;
    const double rowsPerPixel = static_cast<double>(row->height) / row->radius;
    const float limit = static_cast<float>(row->radius);
    int unsure = 0;
    for (size_t i = 0; i < count; ++i) {
        const double dx = row->centreX - first - static_cast<int32_t>(i);
        const float distance = __builtin_sqrtf(static_cast<float>(dx * dx + dy * dy));
        const double x = AbsoluteAngle(dy, dx) * columnsPerRadian;
        const double y = static_cast<double>(distance) * rowsPerPixel;
        const bool inside = distance < limit, sure = int{Sure(x)} & int{Sure(y)};
        const int32_t column = static_cast<int32_t>(sure ? x : 0.0);
        columns[i] = inside ? (sure ? column : kUnsureColumn) : -1;
        rows[i] = inside ? static_cast<int32_t>(sure ? y : 0.0) : -1;
        unsure |= int{inside} & int{!sure};
    }
    return unsure;
}

static int SawToothPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
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
    return 0;
}

static int CirclePoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    switch (row->mode) {
        case 0: return PulledPoints<0>(columns, rows, row, first, count);
        case 1: return PulledPoints<1>(columns, rows, row, first, count);
        case 2: return PulledPoints<2>(columns, rows, row, first, count);
        case 3: return UnwrappedPoints(columns, rows, row, first, count);
        default: return SawToothPoints(columns, rows, row, first, count);
    }
}

template <bool reversed>
static inline void MirrorRun(int32_t* toColumns, int32_t* toRows, const int32_t* columns, const int32_t* rows,
                             const CircleMirror& mirror, size_t count) {
    // Unsigned because what is unsure is the least number.
    const auto across = static_cast<uint32_t>(mirror.across), down = static_cast<uint32_t>(mirror.down);
    const bool below = mirror.down != kNotMirrored;
    for (size_t i = 0; i < count; ++i) {
        const size_t from = reversed ? count - 1 - i : i;
        const auto column = static_cast<uint32_t>(columns[from]), row = static_cast<uint32_t>(rows[from]);
        const auto mirrored = static_cast<int32_t>(reversed ? across - column : column);
        toColumns[i] = columns[from] == kUnsureColumn ? kUnsureColumn : mirrored;
        toRows[i] = static_cast<int32_t>(below ? down - row : row);
    }
}

static void MirrorPoints(int32_t* toColumns, int32_t* toRows, const int32_t* columns, const int32_t* rows,
                         const CircleMirror* mirror, size_t count) {
    if (mirror->across == kNotMirrored) {
        MirrorRun<false>(toColumns, toRows, columns, rows, *mirror, count);
    } else {
        MirrorRun<true>(toColumns, toRows, columns, rows, *mirror, count);
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

static inline bool HasPoint(const CircleSource& source, int32_t column, int32_t row) {
    return (static_cast<uint32_t>(column) < static_cast<uint32_t>(source.width)) &
           (static_cast<uint32_t>(row) < static_cast<uint32_t>(source.height));
}

// The places of points from row 0 on, that of the first pixel where there is none; how many have one. False where
// CopyPlaces must not read them.
template <int kFrom>
static inline bool PlacesOf(int32_t* places, const CircleSource& source, const int32_t* columns, const int32_t* rows,
                            size_t count, size_t* inside) {
    if (!kCopiesPlaces || source.pixels.end - source.pixels.begin >= 0x7FFFFFFF) return false;
    const auto stride = static_cast<uint32_t>(source.pixels.stride);
    int32_t last = 0, points = 0;
    for (size_t i = 0; i < count; ++i) {
        // What overflows is not inside.
        const uint32_t place = static_cast<uint32_t>(rows[i]) * stride + static_cast<uint32_t>(columns[i]) * kFrom;
        const bool has = HasPoint(source, columns[i], rows[i]);
        places[i] = static_cast<int32_t>(has ? place : 0u);
        points += has;
        last = places[i] > last ? places[i] : last;
    }
    *inside = static_cast<size_t>(points);
    return source.pixels.end - source.pixels.bits - last >= 4;
}

template <int kFrom, int kTo>
static void GatherPart(uint8_t* dst, const CircleSource& source, const int32_t* columns, const int32_t* rows,
                       const int32_t* places, size_t inside, ptrdiff_t ahead, size_t count) {
    CopyPlaces<kFrom, kTo>(dst, source.pixels.bits, places, ahead, count);
    for (size_t i = 0; kTo == 4 && source.opaque && i < count; ++i) {
        uint32_t colour;
        memcpy(&colour, dst + i * kTo, 4);
        colour = colour >> 24 == kMarkedAlpha ? colour : colour | source.opaque;
        memcpy(dst + i * kTo, &colour, 4);
    }
    if (inside == count) return;
    for (size_t i = 0; i < count; ++i) {
        if (!HasPoint(source, columns[i], rows[i])) memcpy(dst + i * kTo, &source.outside, kTo);
    }
}

template <int kFrom, int kTo>
static void GatherPixels(uint8_t* dst, const CircleSource& source, const int32_t* columns, const int32_t* rows,
                         ptrdiff_t ahead, size_t count) {
    constexpr size_t kPart = 128;
    alignas(64) int32_t places[kPart];
    for (size_t first = 0; first < count; first += kPart) {
        const size_t part = count - first < kPart ? count - first : kPart;
        size_t inside = 0;
        if (PlacesOf<kFrom>(places, source, columns + first, rows + first, part, &inside)) {
            GatherPart<kFrom, kTo>(dst + first * kTo, source, columns + first, rows + first, places, inside, ahead,
                                   part);
        } else {
            GatherPlain(dst + first * kTo, kTo, kFrom, source, columns + first, rows + first, part);
        }
    }
}

static void GatherPoints(uint8_t* dst, int bytes, const CircleSource* source, const int32_t* columns,
                         const int32_t* rows, ptrdiff_t ahead, size_t count) {
    const int from = source->pixels.pixelBytes;
    if (from == 1 && bytes == 1) GatherPixels<1, 1>(dst, *source, columns, rows, ahead, count);
    if (from == 3 && bytes == 3) GatherPixels<3, 3>(dst, *source, columns, rows, ahead, count);
    if (from == 4) GatherPixels<4, 4>(dst, *source, columns, rows, ahead, count);
    if (from == 1 && bytes == 4) GatherPixels<1, 4>(dst, *source, columns, rows, ahead, count);
    if (from == 3 && bytes == 4) GatherPixels<3, 4>(dst, *source, columns, rows, ahead, count);
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
