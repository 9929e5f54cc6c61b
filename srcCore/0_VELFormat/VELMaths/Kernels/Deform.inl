// Circular deformations; see Deform.h. Plain loops over lanes, which the compiler turns into vectors: of single
// precision where the squares of distances are exact in it, and of double precision for what that leaves unsure.

// Distances of up to this have squares, of legs no longer than they are, below 2^24.
static constexpr int32_t kMostSingleRadius = 2896;
static constexpr int32_t kMostSingleSize = 1 << 15;

template <class Real>
static constexpr bool kSingle = sizeof(Real) == sizeof(float);

// Adding it to a number below a quarter of it and taking it away again rounds to a whole number.
template <class Real>
static constexpr Real kRounding = kSingle<Real> ? Real{12582912} : Real{6755399441055744};

static inline float SquareRoot(float v) { return __builtin_sqrtf(v); }
static inline double SquareRoot(double v) { return __builtin_sqrt(v); }

// True where truncating the value cannot be wrong: not near a whole number other than 0. False for what is no number.
template <class Real>
static inline bool Sure(Real value, Real margin) {
    const Real whole = (value + kRounding<Real>)-kRounding<Real>;
    const Real off = value - whole;
    return ((off < 0 ? -off : off) > margin) | (whole == 0);
}

// How far values can be from those of the formula, with room to spare. In single precision, in parts of 2^-24: a unit
// vector is within 3, sine and cosine within 12 and the turned vector within 22; a radius, if not exact, within 3 of
// itself, which leaves 7 radii or, turned, 23. An angle is within 10, and 1 / (2 pi) of it within 3 of what it is
// multiplied by.
template <int kMode, class Real>
static inline Real PulledMargin(const CircleRow& row) {
    return kSingle<Real> ? Real(row.radius) * Real((kMode == 2 ? 24 : 10) / 16777216.0) : Real(1e-5);
}
template <class Real>
static inline Real UnwrappedMargin(const CircleRow& row) {
    const int32_t most = row.width > row.height ? row.width : row.height;
    return kSingle<Real> ? Real(most) * Real(4 / 16777216.0) : Real(1e-5);
}

// Sine and cosine of 0 to 3: series at an eighth of the angle, doubled three times, with an error below 1e-13; or at
// half of it, doubled once.
template <class Real>
static inline void SineCosine(Real angle, Real* sine, Real* cosine) {
    constexpr int kDoublings = kSingle<Real> ? 1 : 3;
    const Real x = angle * Real(1.0 / (1 << kDoublings)), z = x * x;
    Real s = x * (1 + z * (Real(-1.0 / 6) +
                           z * (Real(1.0 / 120) +
                                z * (Real(-1.0 / 5040) + z * (Real(1.0 / 362880) + z * Real(-1.0 / 39916800))))));
    Real c = 1 + z * (Real(-1.0 / 2) +
                      z * (Real(1.0 / 24) +
                           z * (Real(-1.0 / 720) +
                                z * (Real(1.0 / 40320) + z * (Real(-1.0 / 3628800) + z * Real(1.0 / 479001600))))));
    for (int i = 0; i < kDoublings; ++i) {
        const Real doubled = 2 * s * c;
        c = c * c - s * s;
        s = doubled;
    }
    *sine = s;
    *cosine = c;
}

// |atan2(y, x)|, 0 to pi. Above an eighth of the circle's quarter atan(s / l) = pi / 4 + atan((s - l) / (s + l)), which
// leaves tangents of up to tan(pi / 8); for them a polynomial through the arc tangent at nine Chebyshev nodes. Error
// below 1e-14, rounding apart.
template <class Real>
static inline Real AbsoluteAngle(Real y, Real x) {
    constexpr double kPi = 3.14159265358979323846;
    constexpr double kSeries[] = {0.030662440370424447, -0.05874505621307831, 0.07563703551915192,
                                  -0.09078392072943424, 0.11110385046148014,  -0.14285690423839287,
                                  0.19999999604891977,  -0.33333333330803444, 0.9999999999999732};
    const Real ax = x < 0 ? -x : x, ay = y < 0 ? -y : y;
    const Real large = ax > ay ? ax : ay, small = ax > ay ? ay : ax;
    const bool steep = small > Real(0.41421356237309503) * large;
    const Real t = (steep ? small - large : small) / (steep ? small + large : large), z = t * t;
    Real series = 0;
    for (const double term : kSeries) series = series * z + Real(term);
    Real angle = t * series + (steep ? Real(kPi / 4) : Real(0));
    angle = ax > ay ? angle : Real(kPi / 2) - angle;
    return x < 0 ? Real(kPi) - angle : angle;
}

// The inverse of the square root of `square`, of which `distance` is the rounded square root: in double precision by
// one Newton step, which squares that one's error of 1e-7.
static inline float InverseRoot(float, float distance) { return 1 / distance; }
static inline double InverseRoot(double square, float distance) {
    const double near = 1 / distance;
    return near * (1.5 - 0.5 * square * near * near);
}

// Source points of modes 0 to 2: a radius times the direction, turned in mode 2.
template <int kMode, class Real>
static int PulledPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    const Real dy = static_cast<Real>(row->dy), radius = static_cast<Real>(row->radius), inverseRadius = 1 / radius;
    const Real margin = PulledMargin<kMode, Real>(*row);
    const float limit = static_cast<float>(row->radius), half = static_cast<float>(row->radius / 2);
    int unsure = 0;
    for (size_t i = 0; i < count; ++i) {
        const Real dx = static_cast<Real>(row->centreX - first - static_cast<int32_t>(i));
        const Real square = dx * dx + dy * dy;
        const float distance = __builtin_sqrtf(static_cast<float>(square));
        const Real d = distance, scale = InverseRoot(square, distance);
        Real ux = dx * scale, uy = dy * scale;
        Real pulled = d;
        if (kMode == 0) pulled = d * d * inverseRadius;
        if (kMode == 1) pulled = SquareRoot(d * radius);
        if (kMode == 2) {
            Real sine, cosine;
            SineCosine<Real>(distance / half, &sine, &cosine);
            const Real turned = ux * cosine - uy * sine;
            uy = ux * sine + uy * cosine;
            ux = turned;
        }
        const Real x = pulled * ux, y = pulled * uy;
        const bool inside = distance < limit, sure = int{inside} & int{Sure(x, margin)} & int{Sure(y, margin)};
        // What is no number, and what lies outside and may be any, must not be converted.
        const int32_t column = row->centreX - static_cast<int32_t>(sure ? x : Real{0});
        const int32_t line = row->centreY - static_cast<int32_t>(sure ? y : Real{0});
        columns[i] = inside ? (sure ? column : kUnsureColumn) : -1;
        rows[i] = inside ? line : -1;
        unsure |= int{inside} & int{!sure};
    }
    return unsure;
}

template <class Real>
static int UnwrappedPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    // 2 pi cut to eight digits.
    const Real columnsPerRadian = static_cast<Real>(row->width / 6.2831852), dy = static_cast<Real>(row->dy);
    const Real rowsPerPixel = static_cast<Real>(static_cast<double>(row->height) / row->radius);
    const Real margin = UnwrappedMargin<Real>(*row);
    const float limit = static_cast<float>(row->radius);
    int unsure = 0;
    for (size_t i = 0; i < count; ++i) {
        const Real dx = static_cast<Real>(row->centreX - first - static_cast<int32_t>(i));
        const float distance = __builtin_sqrtf(static_cast<float>(dx * dx + dy * dy));
        const Real x = AbsoluteAngle(dy, dx) * columnsPerRadian;
        const Real y = static_cast<Real>(distance) * rowsPerPixel;
        const bool inside = distance < limit, sure = int{inside} & int{Sure(x, margin)} & int{Sure(y, margin)};
        const int32_t column = static_cast<int32_t>(sure ? x : Real{0});
        columns[i] = inside ? (sure ? column : kUnsureColumn) : -1;
        rows[i] = inside ? static_cast<int32_t>(sure ? y : Real{0}) : -1;
        unsure |= int{inside} & int{!sure};
    }
    return unsure;
}

typedef int FindPoints(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count);

// In single precision first, where there can be; what that leaves unsure in double precision.
template <FindPoints single, FindPoints twice>
static int PointsByBoth(int32_t* columns, int32_t* rows, const CircleRow* row, int32_t first, size_t count) {
    if (row->radius > kMostSingleRadius || row->width > kMostSingleSize || row->height > kMostSingleSize) {
        return twice(columns, rows, row, first, count);
    }
    constexpr size_t kBlock = 64;
    int unsure = 0;
    for (size_t i = 0; i < count; i += kBlock) {
        const size_t size = count - i < kBlock ? count - i : kBlock;
        if (!single(columns + i, rows + i, row, first + static_cast<int32_t>(i), size)) continue;
        for (size_t k = i; k < i + size; ++k) {
            if (columns[k] != kUnsureColumn) continue;
            unsure |= twice(columns + k, rows + k, row, first + static_cast<int32_t>(k), 1);
        }
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
    const auto by = [=](FindPoints* find) { return find(columns, rows, row, first, count); };
    switch (row->mode) {
        case 0: return by(PointsByBoth<PulledPoints<0, float>, PulledPoints<0, double>>);
        case 1: return by(PointsByBoth<PulledPoints<1, float>, PulledPoints<1, double>>);
        case 2: return by(PointsByBoth<PulledPoints<2, float>, PulledPoints<2, double>>);
        case 3: return by(PointsByBoth<UnwrappedPoints<float>, UnwrappedPoints<double>>);
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
