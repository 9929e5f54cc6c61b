// Single-precision lanes for the levels that have byte vectors (VEL_VECTOR). Included after Bytes.inl. Products and
// sums are never fused: each is rounded, except by Fused.

#if VEL_VECTOR
#if VEL_AVX512
typedef __m512 Floats;
#elif VEL_AVX2
typedef __m256 Floats;
#else
typedef __m128 Floats;
#endif
static inline Floats SplatFloat(float v) { return VEL_BYTES_OP(set1_ps)(v); }
static inline Floats Multiply(Floats a, Floats b) { return VEL_BYTES_OP(mul_ps)(a, b); }
static inline Floats Add(Floats a, Floats b) { return VEL_BYTES_OP(add_ps)(a, b); }
// a * b + c; whether the product is rounded is the level's.
static inline Floats Fused(Floats a, Floats b, Floats c) {
#if VEL_AVX2
    return VEL_BYTES_OP(fmadd_ps)(a, b, c);
#else
    return Add(Multiply(a, b), c);
#endif
}
static inline Floats LoadFloats(const float* p) { return VEL_BYTES_OP(loadu_ps)(p); }
static inline void StoreFloats(float* p, Floats v) { VEL_BYTES_OP(storeu_ps)(p, v); }
static inline Floats FloatsOf(Bytes ints) { return VEL_BYTES_OP(cvtepi32_ps)(ints); }

// Truncated, for values whose range below 0 and above `high` does not matter but for being there. A minimum answers
// with its second operand where one is NaN, and NaN and what is too low to be an integer become the lowest integer.
static inline Bytes TruncatedBelow(Floats v, float high) {
    return VEL_BYTES_OP(cvttps_epi32)(VEL_BYTES_OP(min_ps)(SplatFloat(high), v));
}

// A vector of bytes as four of floats, which keeps to the halves or quarters of a register, as Narrowed does: together
// they keep the order.
struct FourFloats {
    Floats part[4];
};
static inline FourFloats FloatsOfBytes(Bytes bytes) {
    const Bytes zero = Splat8(0);
    const Bytes low = VEL_BYTES_OP(unpacklo_epi8)(bytes, zero), high = VEL_BYTES_OP(unpackhi_epi8)(bytes, zero);
    return {{FloatsOf(VEL_BYTES_OP(unpacklo_epi16)(low, zero)), FloatsOf(VEL_BYTES_OP(unpackhi_epi16)(low, zero)),
             FloatsOf(VEL_BYTES_OP(unpacklo_epi16)(high, zero)), FloatsOf(VEL_BYTES_OP(unpackhi_epi16)(high, zero))}};
}
#endif
