// The interpolation curves that need no transcendental function: what a tap at the signed distance t weighs. Included
// by kernels and by the per-pixel path, so that both have the same arithmetic: single precision, powers formed first,
// products from the left.
//
// Each curve gives At(t) for every t, and Tap<k>(t) for tap k of 4 around a position of at least 1: there t is in (-2,
// -1],
// (-1, 0], (0, 1] and (1, 2] for k = 0 to 3, which leaves less to compute and the same result.

// By Horner's rule; coefficients from the constant term up. Not a loop, so that loops around it vectorise.
template <int kFirst = 0, int kCount, class Number>
static inline Number Polynomial(const Number (&coefficients)[kCount], Number z) {
    if constexpr (kFirst == kCount - 1) {
        return coefficients[kFirst];
    } else {
        return Polynomial<kFirst + 1>(coefficients, z) * z + coefficients[kFirst];
    }
}

static inline float Magnitude(float t) { return t < 0 ? -t : t; }
static inline float CubeOf(float u) { return u * u * u; }
static inline float CubeAbove0(float u) { return CubeOf(u > 0 ? u : 0.0f); }

struct BSplineCurve {
    static inline float At(float t) {
        const float sum = CubeAbove0(t + 2) - 4 * CubeAbove0(t + 1) + 6 * CubeAbove0(t) - 4 * CubeAbove0(t - 1);
        return t > 2 ? 0.0f : sum * 0.16666667f;
    }
    template <int k>
    static inline float Tap(float t) {
        float sum = CubeOf(t + 2);
        if (k >= 1) sum = sum - 4 * CubeOf(t + 1);
        if (k >= 2) sum = sum + 6 * CubeOf(t);
        if (k >= 3) sum = sum - 4 * CubeOf(t - 1);
        return sum * 0.16666667f;
    }
};

// A cubic of a = |t| below 1 and another one from there to 2.
template <class Cubic>
struct TwoPieceCurve {
    static inline float At(float t) {
        const float a = Magnitude(t);
        return a < 1 ? Cubic::Near(a) : a < 2 ? Cubic::Far(a) : 0.0f;
    }
    template <int k>
    static inline float Tap(float t) {
        const float a = k < 2 ? -t : t;
        if (k == 0) return Cubic::Far(a);
        if (k == 1) return Cubic::Near(a);
        if (k == 2) return a < 1 ? Cubic::Near(a) : Cubic::Far(1);
        return a < 2 ? Cubic::Far(a) : 0.0f;
    }
};

struct BicubicSharpCubic {
    static inline float Near(float a) { return a * a * a - 2 * (a * a) + 1; }
    static inline float Far(float a) { return -(a * a * a) + 5 * (a * a) - 8 * a + 4; }
};
struct CatmullRomCubic {
    static inline float Near(float a) { return 1.5f * (a * a * a) - 2.5f * (a * a) + 1; }
    static inline float Far(float a) { return -0.5f * (a * a * a) + 2.5f * (a * a) - 4 * a + 2; }
};
struct MitchellCubic {
    static inline float Near(float a) { return 1.1666666f * (a * a * a) - 2 * (a * a) + 0.8888889f; }
    static inline float Far(float a) { return -0.38888887f * (a * a * a) + 2 * (a * a) - 3.3333333f * a + 1.7777778f; }
};
typedef TwoPieceCurve<BicubicSharpCubic> BicubicSharpCurve;
typedef TwoPieceCurve<CatmullRomCubic> CatmullRomCurve;
typedef TwoPieceCurve<MitchellCubic> MitchellCurve;

struct BoxCurve {
    static inline float At(float t) { return t >= -0.5f && t < 0.5f ? 1.0f : 0.0f; }
    template <int k>
    static inline float Tap(float t) {
        return k == 1 ? (t >= -0.5f ? 1.0f : 0.0f) : k == 2 ? (t < 0.5f ? 1.0f : 0.0f) : 0.0f;
    }
};

static inline float HermiteInside(float t, float scale) { return scale * (2 * Magnitude(t) - 3) * (t * t) + 1; }
template <bool kScaled>
struct ScaledHermiteCurve {
    static constexpr float kScale = kScaled ? 0.92f : 1.0f;
    static inline float At(float t) { return t >= -1 && t < 1 ? HermiteInside(t, kScale) : 0.0f; }
    template <int k>
    static inline float Tap(float t) {
        if (k == 0) return t >= -1 ? HermiteInside(-1, kScale) : 0.0f;
        if (k == 1) return HermiteInside(t, kScale);
        return k == 2 && t < 1 ? HermiteInside(t, kScale) : 0.0f;
    }
};
typedef ScaledHermiteCurve<false> HermiteCurve;
typedef ScaledHermiteCurve<true> HermiteScaledCurve;

struct QuadraticCurve {
    static inline float Side(float u) { return 0.5f * (u * u); }
    static inline float Middle(float t) { return 0.75f - t * t; }
    static inline float At(float t) {
        return t < -1.5f ? 0.0f : t < -0.5f ? Side(t + 1.5f) : t < 0.5f ? Middle(t) : t < 1.5f ? Side(t - 1.5f) : 0.0f;
    }
    template <int k>
    static inline float Tap(float t) {
        if (k == 0) return t < -1.5f ? 0.0f : Side(t + 1.5f);
        if (k == 1) return t < -0.5f ? Side(t + 1.5f) : Middle(t);
        if (k == 2) return t < 0.5f ? Middle(t) : Side(t - 1.5f);
        return t < 1.5f ? Side(t - 1.5f) : 0.0f;
    }
};

struct CatmullRomHalfCurve {
    static inline float FarLeft(float t) { return 0.5f * (t * t * t + 5 * (t * t) + 8 * t + 4); }
    static inline float Left(float t) { return 0.5f * (-3 * (t * t * t) - 5 * (t * t) + 2); }
    static inline float Right(float t) { return 0.5f * (3 * (t * t * t) - 5 * (t * t) + 2); }
    static inline float FarRight(float t) { return 0.5f * (-(t * t * t) + 5 * (t * t) - 8 * t + 4); }
    static inline float At(float t) {
        return t < -2 ? 0.0f : t < -1 ? FarLeft(t) : t < 0 ? Left(t) : t < 1 ? Right(t) : t < 2 ? FarRight(t) : 0.0f;
    }
    // Neighbouring pieces are the same number where they meet.
    template <int k>
    static inline float Tap(float t) {
        return k == 0 ? FarLeft(t) : k == 1 ? Left(t) : k == 2 ? Right(t) : FarRight(t);
    }
};

// J1(x) / x for |x| below 8, from z = x * x.
static inline double KernelBessel_J1(double z) {
    static constexpr double Pone[] = {5.8119935400160612e+20,  -6.6721065689249161e+19, 2.3164335806340024e+18,
                                      -3.5888175699101060e+16, 2.9087952638347756e+14,  -1.3229834803321265e+12,
                                      3.4132341823017006e+09,  -4.6957535306429956e+06, 2.7011227108923235e+03};
    static constexpr double Qone[] = {1.1623987080032122e+21, 1.185770712190321e+19,  6.0920613989175216e+16,
                                      2.0816612213076075e+14, 5.2437102621676495e+11, 1.013863514358674e+09,
                                      1.5017935949985855e+06, 1.6069315734814877e+03, 1.0};
    return Polynomial(Pone, z) / Polynomial(Qone, z);
}

struct BesselCurve {
    // J1(pi t) / (2 t) for |t| of at most 2, for which pi t stays below 8.
    static inline float At(float t) {
        const auto x = static_cast<double>(static_cast<float>(t * 3.141592653589793));
        const float value = static_cast<float>(KernelBessel_J1(x * x) * x) / (t + t);
        return t == 0 ? 0.7853982f : value;
    }
    template <int k>
    static inline float Tap(float t) {
        return At(t);
    }
};
