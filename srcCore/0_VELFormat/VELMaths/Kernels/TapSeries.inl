// Weights of the curves that the per-pixel path takes from the mathematics library. Taps are numbered as in TapWeights;
// f is the position's distance from its pixel, from 0 up to 1.
//
// Two ways lead to the same result without calling the library for every tap:
// - Sinc and the Blackman window: one sine or cosine in double precision serves all taps, as theirs differ by the sign.
//   It is off from the library's by less than kSeriesError; where all numbers that near round to one single-precision
//   number, that is the library's as well. Elsewhere the position is doubtful.
// - Lanczos and the Gaussian: the library's single-precision functions are not that predictable. Their weights are
//   approximated, and a sum of taps is doubtful where the approximation could change its truncation (GuardedSums).
// The caller computes what is doubtful by the library.
//
// More pointers that could overlap than a compiler cares to check are __restrict.

// sin(r) for r from 0 to pi / 2, by its series up to r^19: the rest is below 2e-16 of the result.
static inline double SineSeries(double r) {
    static constexpr double terms[] = {1.0,
                                       -1.0 / 6,
                                       1.0 / 120,
                                       -1.0 / 5040,
                                       1.0 / 362880,
                                       -1.0 / 39916800,
                                       1.0 / 6227020800,
                                       -1.0 / 1307674368000,
                                       1.0 / 355687428096000,
                                       -1.0 / 121645100408832000};
    return r * Polynomial(terms, r * r);
}

// The argument's rounding to double precision moves the library's result by at most 7e-16 up to 2 pi, its own error and
// that of the series add less than that, and the window's sum of terms three roundings below 1.
static constexpr double kSeriesError = 6e-15;
static constexpr double kSeriesPi = 3.141592653589793;

static inline bool RoundsAlike(double value) {
    return static_cast<float>(value - kSeriesError) == static_cast<float>(value + kSeriesError);
}

static void SincTaps(float* weights, size_t pitch, const float* __restrict positions, uint32_t* __restrict doubts,
                     size_t count) {
    constexpr float pi = 3.1415927f;
    for (size_t i = 0; i < count; ++i) {
        const float position = positions[i], cell = static_cast<float>(static_cast<int32_t>(position));
        const double f = static_cast<double>(position) - static_cast<double>(cell);
        const double sine = SineSeries(kSeriesPi * (f <= 0.5 ? f : 1 - f));
        const auto s = static_cast<float>(sine);
        weights[i] = -s / ((position - (cell - 1)) * pi);
        weights[pitch + i] = s / ((position - cell) * pi);
        weights[2 * pitch + i] = s / (((cell + 1) - position) * pi);
        weights[3 * pitch + i] = -s / (((cell + 2) - position) * pi);
        doubts[i] = RoundsAlike(sine) ? 0 : 1;
    }
}

static void BlackmanTaps(float* weights, size_t pitch, const float* __restrict positions, uint32_t* __restrict doubts,
                         size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const double position = static_cast<double>(positions[i]);
        const double fromMiddle = 0.5 - (position - static_cast<double>(static_cast<int32_t>(position)));
        const double magnitude = SineSeries(kSeriesPi * (fromMiddle < 0 ? -fromMiddle : fromMiddle));
        const double cosine = fromMiddle < 0 ? -magnitude : magnitude;
        const double twice = 0.08 * (2 * (magnitude * magnitude) - 1);
        const double even = 0.42 + 0.5 * cosine + twice, odd = 0.42 - 0.5 * cosine + twice;
        weights[i] = weights[2 * pitch + i] = static_cast<float>(odd);
        weights[pitch + i] = weights[3 * pitch + i] = static_cast<float>(even);
        doubts[i] = RoundsAlike(even) && RoundsAlike(odd) ? 0 : 1;
    }
}

// exp(-x) for x from 0 to 4: exp(-x / 8) by its series, squared three times.
static inline float ExpOfMinus(float x) {
    static constexpr float terms[] = {1.0f,      -1.0f,       1.0f / 2,   -1.0f / 6,
                                      1.0f / 24, -1.0f / 120, 1.0f / 720, -1.0f / 5040};
    const float root = Polynomial(terms, x * 0.125f), square = root * root, fourth = square * square;
    return fourth * fourth;
}

static void GaussianTaps(float* weights, size_t pitch, const float* __restrict positions, uint32_t* __restrict doubts,
                         size_t count) {
    constexpr float scale = 0.797884583f, farScale = 0.797884583f * 0.13533528f;  // the second times exp(-2)
    for (size_t i = 0; i < count; ++i) {
        const float position = positions[i], cell = static_cast<float>(static_cast<int32_t>(position));
        const float f = position - cell, g = (cell + 1) - position;
        const float left = ExpOfMinus(2 * (f * f)), right = ExpOfMinus(2 * (g * g));
        // (1 + f)^2 = 1 + 2 f + f^2.
        weights[i] = farScale * left * ExpOfMinus(4 * f);
        weights[pitch + i] = scale * left;
        weights[2 * pitch + i] = scale * right;
        weights[3 * pitch + i] = farScale * right * ExpOfMinus(4 * g);
        doubts[i] = 0;
    }
}

// Tap k of 12 is at t = k - 5 - f and weighs sin(pi t) / (pi t) * sin(pi t / 6) / (pi t / 6). The nearest two, 5 and 6,
// take both quotients by their series in t * t, which keeps the largest weights' errors smallest. For the others
// sin(pi t) is the same but for its sign, and sin(pi t / 6) is a sum of two products. These are what the taps of a
// block of positions share.
struct LanczosBlock {
    static constexpr size_t kSize = 64;
    float f[kSize], sine[kSize];                 // the sine of pi f times 6 / pi^2
    float sixthSine[kSize], sixthCosine[kSize];  // of pi f / 6

    // sin(pi t) / (pi t) and sin(pi t / 6) / (pi t / 6) for t * t up to 1.
    static float Quotient(float square) {
        static constexpr float terms[] = {1.0f,          -1.64493394f,    0.811741233f,   -0.190744728f,
                                          0.0261274297f, -0.00231576315f, 0.000125807783f};
        return Polynomial(terms, square);
    }
    static float SixthQuotient(float square) {
        static constexpr float terms[] = {1.0f, -0.0456926078f, 0.000626325083f, -4.05744458e-06f};
        return Polynomial(terms, square);
    }

    // Also weighs taps 5 and 6.
    void Prepare(float* __restrict left, float* __restrict right, const float* __restrict positions,
                 uint32_t* __restrict doubts, size_t count) {
        static constexpr float sixthCosineTerms[] = {1.0f, -0.137077839f, 0.00313172232f, -2.86193454e-05f,
                                                     1.40108588e-07f};
        for (size_t i = 0; i < count; ++i) {
            const float fraction = positions[i] - static_cast<float>(static_cast<int32_t>(positions[i]));
            const float a = fraction == 0 ? 0.5f : fraction, g = 1 - a;
            const float quotient = Quotient(a * a), other = Quotient(g * g), sixth = SixthQuotient(a * a);
            f[i] = a;
            sine[i] = 1.90985932f * (a < g ? a * quotient : g * other);
            sixthSine[i] = 0.523598776f * (a * sixth);
            sixthCosine[i] = Polynomial(sixthCosineTerms, a * a);
            left[i] = quotient * sixth;
            right[i] = other * SixthQuotient(g * g);
            doubts[i] = fraction == 0 ? 1 : 0;
        }
    }

    // sin(pi t / 6) times `sine`, with the sign of sin(pi t); sines and cosines of pi (k - 5) / 6.
    template <int kTap>
    float Numerator(size_t i) const {
        constexpr float half = 0.5f, root = 0.866025404f;
        constexpr float sines[] = {-half, -root, -1, -root, -half, 0, half, root, 1, root, half, 0};
        constexpr float cosines[] = {-root, -half, 0, half, root, 1, root, half, 0, -half, -root, -1};
        const float sixth = sines[kTap] * sixthCosine[i] - cosines[kTap] * sixthSine[i];
        return kTap % 2 ? -sine[i] * sixth : sine[i] * sixth;
    }
    template <int kTap>
    float Square(size_t i) const {
        const float t = static_cast<float>(kTap - 5) - f[i];
        return t * t;
    }
    // Two or four taps, whose reciprocals come from one division.
    template <int kA, int kB>
    void WeighTwo(float* weights, size_t pitch, size_t count) const {
        for (size_t i = 0; i < count; ++i) {
            const float a = Square<kA>(i), b = Square<kB>(i), inverse = 1.0f / (a * b);
            weights[kA * pitch + i] = Numerator<kA>(i) * (inverse * b);
            weights[kB * pitch + i] = Numerator<kB>(i) * (inverse * a);
        }
    }
    template <int kA, int kB, int kC, int kD>
    void WeighFour(float* weights, size_t pitch, size_t count) const {
        for (size_t i = 0; i < count; ++i) {
            const float a = Square<kA>(i), b = Square<kB>(i), c = Square<kC>(i), d = Square<kD>(i);
            const float low = a * b, high = c * d, inverse = 1.0f / (low * high);
            const float ofLow = inverse * high, ofHigh = inverse * low;
            weights[kA * pitch + i] = Numerator<kA>(i) * (ofLow * b);
            weights[kB * pitch + i] = Numerator<kB>(i) * (ofLow * a);
            weights[kC * pitch + i] = Numerator<kC>(i) * (ofHigh * d);
            weights[kD * pitch + i] = Numerator<kD>(i) * (ofHigh * c);
        }
    }
};

static void LanczosTaps(float* weights, size_t pitch, const float* positions, uint32_t* doubts, size_t count) {
    LanczosBlock block;
    for (size_t first = 0; first < count; first += LanczosBlock::kSize) {
        const size_t size = count - first < LanczosBlock::kSize ? count - first : LanczosBlock::kSize;
        float* out = weights + first;
        block.Prepare(out + 5 * pitch, out + 6 * pitch, positions + first, doubts + first, size);
        block.WeighFour<0, 1, 2, 3>(out, pitch, size);
        block.WeighTwo<4, 7>(out, pitch, size);
        block.WeighFour<8, 9, 10, 11>(out, pitch, size);
    }
}

static void TapSeries(float* weights, size_t pitch, const float* positions, uint32_t* doubts, size_t count, int curve) {
    switch (curve) {
        case kSincSeries: SincTaps(weights, pitch, positions, doubts, count); break;
        case kBlackmanSeries: BlackmanTaps(weights, pitch, positions, doubts, count); break;
        case kGaussianSeries: GaussianTaps(weights, pitch, positions, doubts, count); break;
        default: LanczosTaps(weights, pitch, positions, doubts, count); break;
    }
}
