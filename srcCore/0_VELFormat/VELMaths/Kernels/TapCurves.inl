// The interpolation curves that need no transcendental function: what a tap at the signed distance t weighs.
// Included by kernels and by the per-pixel path, so that both have the same arithmetic: single precision, powers
// formed first, products from the left.

static inline float Magnitude(float t) { return t < 0 ? -t : t; }
static inline float CubeAbove0(float u) {
    const float above = u > 0 ? u : 0.0f;
    return above * above * above;
}

static inline float BSplineCurve(float t) {
    const float sum = CubeAbove0(t + 2) - 4 * CubeAbove0(t + 1) + 6 * CubeAbove0(t) - 4 * CubeAbove0(t - 1);
    return t > 2 ? 0.0f : sum * 0.16666667f;
}

// A cubic of a = |t| below 1, another one below 2.
static inline float TwoPieces(float a, float near, float far) { return a < 1 ? near : (a < 2 ? far : 0.0f); }

static inline float BicubicSharpCurve(float t) {
    const float a = Magnitude(t), squared = a * a, cubed = squared * a;
    return TwoPieces(a, cubed - 2 * squared + 1, -cubed + 5 * squared - 8 * a + 4);
}

static inline float CatmullRomCurve(float t) {
    const float a = Magnitude(t), squared = a * a, cubed = squared * a;
    return TwoPieces(a, 1.5f * cubed - 2.5f * squared + 1, -0.5f * cubed + 2.5f * squared - 4 * a + 2);
}

static inline float MitchellCurve(float t) {
    const float a = Magnitude(t), squared = a * a, cubed = squared * a;
    return TwoPieces(a, 1.1666666f * cubed - 2 * squared + 0.8888889f,
                     -0.38888887f * cubed + 2 * squared - 3.3333333f * a + 1.7777778f);
}

static inline float BoxCurve(float t) { return t >= -0.5f && t < 0.5f ? 1.0f : 0.0f; }

static inline float ScaledHermite(float t, float scale) {
    const float inside = scale * (2 * Magnitude(t) - 3) * (t * t) + 1;
    return t >= -1 && t < 1 ? inside : 0.0f;
}
static inline float HermiteCurve(float t) { return ScaledHermite(t, 1.0f); }
static inline float HermiteScaledCurve(float t) { return ScaledHermite(t, 0.92f); }

static inline float QuadraticCurve(float t) {
    const float left = 0.5f * ((t + 1.5f) * (t + 1.5f)), right = 0.5f * ((t - 1.5f) * (t - 1.5f));
    const float middle = 0.75f - t * t;
    return t < -1.5f ? 0.0f : t < -0.5f ? left : t < 0.5f ? middle : t < 1.5f ? right : 0.0f;
}

static inline float CatmullRomHalfCurve(float t) {
    const float squared = t * t, cubed = squared * t;
    const float farLeft = 0.5f * (cubed + 5 * squared + 8 * t + 4), left = 0.5f * (-3 * cubed - 5 * squared + 2);
    const float right = 0.5f * (3 * cubed - 5 * squared + 2), farRight = 0.5f * (-cubed + 5 * squared - 8 * t + 4);
    return t < -2 ? 0.0f : t < -1 ? farLeft : t < 0 ? left : t < 1 ? right : t < 2 ? farRight : 0.0f;
}
