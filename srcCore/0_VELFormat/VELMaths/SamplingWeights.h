// The interpolation kernels: what a tap at a signed distance from the sampled position weighs.
#pragma once

#include <cstdint>

// Bessel function of the first kind of order 1.
float KernelBessel_Order1(float x);

namespace vel {

// Method numbers as callers pass them; every other number behaves as IntegerBilinear.
enum class Interpolation : int32_t {
    NearestNeighbour,
    IntegerBilinear,
    BSpline,
    BicubicSharp,
    CatmullRom,
    Lanczos6,
    Box,
    Hermite,
    HermiteScaled,
    Sinc,
    BlackmanWindow,
    Bessel,
    Gaussian,
    Quadratic,
    Mitchell,
    CatmullRomHalf,
};

constexpr Interpolation InterpolationOf(int method) {
    return method >= 0 && method <= 15 ? static_cast<Interpolation>(method) : Interpolation::IntegerBilinear;
}

constexpr bool IsPointMethod(Interpolation method) {
    return method == Interpolation::NearestNeighbour || method == Interpolation::IntegerBilinear;
}

// Taps along each axis.
constexpr int TapsOf(Interpolation method) {
    return IsPointMethod(method) ? 1 : method == Interpolation::Lanczos6 ? 12 : 4;
}

// The weight of a tap at the signed distance t, for every method with more than one tap. Weights are used as they
// are: they need not add up to 1.
float TapWeight(Interpolation method, float t);

}  // namespace vel
