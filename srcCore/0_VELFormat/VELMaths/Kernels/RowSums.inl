// Weighted sums of rows of bytes, byte by byte.

static inline uint8_t SumOfRows(const uint8_t* const* rows, const float* weights, int taps, size_t at) {
    float sum = 0;
    for (int j = 0; j < taps; ++j) sum += weights[j] * static_cast<float>(rows[j][at]);
    return static_cast<uint8_t>(ByteOfSum(sum));
}

// What sums of all terms can differ by from the sums of the kept ones. A row's further terms change its sum by at most
// 255 * neglected * |the row's weight|, and its rounding by no more, as rounding to nearest never moves a sum further
// than the added term. The products round twice in both, and so do the sums, by 2^-24 of each partial sum.
struct RowTolerance {
    float fixed;
    RowTolerance(const float* weights, int taps, float neglected) : fixed(0) {
        for (int j = 0; j < taps; ++j) fixed += Magnitude(weights[j]);
        fixed = 255.0f * fixed * (2 * neglected + 4 / 16777216.0f);
    }
    // `partial` is the sum of the partial sums' magnitudes.
    float Value(float partial) const { return 1.05f * (2 / 16777216.0f * partial + fixed); }
};

static inline uint8_t GuardedSum(uint8_t* doubt, const uint8_t* const* rows, const float* weights, int taps, size_t at,
                                 const RowTolerance& tolerance) {
    float sum = 0, partial = 0;
    for (int j = 0; j < taps; ++j) {
        sum += weights[j] * static_cast<float>(rows[j][at]);
        partial += Magnitude(sum);
    }
    *doubt = NearStep(sum, tolerance.Value(partial)) ? 1 : 0;
    return static_cast<uint8_t>(ByteOfSum(sum));
}

#if VEL_VECTOR
// A register of bytes at a time, as four of floats.
static inline size_t SumVectors(uint8_t* dst, const uint8_t* const* rows, const float* weights, int taps,
                                size_t bytes) {
    size_t at = 0;
    for (; at + sizeof(Bytes) <= bytes; at += sizeof(Bytes)) {
        Floats sums[4];
        for (Floats& sum : sums) sum = SplatFloat(0);
        for (int j = 0; j < taps; ++j) {
            const Floats weight = SplatFloat(weights[j]);
            const FourFloats values = FloatsOfBytes(LoadBytes(rows[j] + at));
            for (int i = 0; i < 4; ++i) sums[i] = Add(sums[i], Multiply(weight, values.part[i]));
        }
        StoreBytes(dst + at,
                   Narrowed(BytesOfSums(sums[0]), BytesOfSums(sums[1]), BytesOfSums(sums[2]), BytesOfSums(sums[3])));
    }
    return at;
}

static inline size_t GuardedVectors(uint8_t* dst, uint8_t* doubts, const uint8_t* const* rows, const float* weights,
                                    int taps, const RowTolerance& tolerance, size_t bytes) {
    size_t at = 0;
    for (; at + sizeof(Bytes) <= bytes; at += sizeof(Bytes)) {
        Floats sums[4], partials[4];
        for (int i = 0; i < 4; ++i) sums[i] = partials[i] = SplatFloat(0);
        for (int j = 0; j < taps; ++j) {
            const Floats weight = SplatFloat(weights[j]);
            const FourFloats values = FloatsOfBytes(LoadBytes(rows[j] + at));
            for (int i = 0; i < 4; ++i) {
                sums[i] = Add(sums[i], Multiply(weight, values.part[i]));
                partials[i] = Add(partials[i], Magnitudes(sums[i]));
            }
        }
        Bytes whole[4], near[4];
        for (int i = 0; i < 4; ++i) {
            const Floats rounding = Multiply(SplatFloat(2 / 16777216.0f), partials[i]);
            whole[i] = BytesOfSums(sums[i]);
            near[i] = NearSteps(sums[i], Multiply(SplatFloat(1.05f), Add(rounding, SplatFloat(tolerance.fixed))));
        }
        StoreBytes(dst + at, Narrowed(whole[0], whole[1], whole[2], whole[3]));
        StoreBytes(doubts + at, Narrowed(near[0], near[1], near[2], near[3]));
    }
    return at;
}
#else
static inline size_t SumVectors(uint8_t*, const uint8_t* const*, const float*, int, size_t) { return 0; }
static inline size_t GuardedVectors(uint8_t*, uint8_t*, const uint8_t* const*, const float*, int, const RowTolerance&,
                                    size_t) {
    return 0;
}
#endif

static void SumRows(uint8_t* dst, const uint8_t* const* rows, const float* weights, int taps, size_t bytes) {
    size_t at = SumVectors(dst, rows, weights, taps, bytes);
    for (; at < bytes; ++at) dst[at] = SumOfRows(rows, weights, taps, at);
}

static int GuardedRows(uint8_t* dst, uint8_t* doubts, const uint8_t* const* rows, const float* weights, int taps,
                       float neglected, size_t bytes) {
    const RowTolerance tolerance(weights, taps, neglected);
    size_t at = GuardedVectors(dst, doubts, rows, weights, taps, tolerance, bytes);
    for (; at < bytes; ++at) dst[at] = GuardedSum(doubts + at, rows, weights, taps, at, tolerance);
    uint8_t any = 0;
    for (size_t i = 0; i < bytes; ++i) any |= doubts[i];
    return any;
}
