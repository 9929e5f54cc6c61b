#include "SamplingWeights.h"

#include <cmath>

#include "UTILMath.h"

// All arithmetic is single precision, unless a function says otherwise.

namespace {

#include "Kernels/TapCurves.inl"

// Amplitude terms of the asymptotic form, from z = (8 / |x|) squared.
double KernelBessel_P1(double z) {
    static constexpr double Pone[] = {3.5224664913367982e+04, 6.2758845247161284e+04, 3.1353963110915956e+04,
                                      4.9854832060594335e+03, 2.1115291828539623e+02, 1.2571716929145342e+00};
    static constexpr double Qone[] = {3.5224664913367982e+04, 6.2694346959356051e+04, 3.1240406381904104e+04,
                                      4.9303964901810887e+03, 2.0307751891347593e+02, 1.0};
    return Polynomial(Pone, z) / Polynomial(Qone, z);
}

double KernelBessel_Q1(double z) {
    static constexpr double Pone[] = {3.5117519143035526e+02, 7.2103918049044751e+02, 4.2598730116544425e+02,
                                      8.3189895767385082e+01, 4.5681716295512267e+00, 3.5328400527401237e-02};
    static constexpr double Qone[] = {7.4917374171809124e+03, 1.5414177339265098e+04, 9.152231701516992e+03,
                                      1.8111867005523513e+03, 1.0381875854621337e+02, 1.0};
    return Polynomial(Pone, z) / Polynomial(Qone, z);
}

constexpr float kPiSingle = 3.1415927f;

float Sinc(float t) {
    if (t == 0) return 1;
    return static_cast<float>(UTILMath::Sin(t * UTILMath::kPi)) / (t * kPiSingle);
}

// The three terms are added in double precision and rounded once. There is no cut-off: the tap at 2 weighs 1 again.
float BlackmanWindow(float t) {
    return static_cast<float>(0.42 + 0.5 * UTILMath::Cos(UTILMath::kPi * t) +
                              0.08 * UTILMath::Cos(2 * UTILMath::kPi * t));
}

float Gaussian(float t) { return UTILMath::Exp(-2 * (t * t)) * 0.797884583f; }

float Lanczos6(float t) {
    if (std::fabs(t) > 6) return 0;
    if (t == 0) return 1;
    const auto u = static_cast<float>(t * UTILMath::kPi);
    return (UTILMath::Sin(u) / u) * (UTILMath::Sin(u / 6) / (u / 6));
}

}  // namespace

float KernelBessel_Order1(float x) {
    if (x == 0) return 0;
    const double p = std::fabs(static_cast<double>(x));
    if (p < 8) return static_cast<float>(KernelBessel_J1(p * p) * x);
    // sqrt(2 / (pi p)) (P1 cos(p - 3 pi / 4) - w Q1 sin(p - 3 pi / 4)), in single precision from here on.
    const double w = 8 / p;
    const auto p1 = static_cast<float>(KernelBessel_P1(w * w));
    const auto wq1 = static_cast<float>(KernelBessel_Q1(w * w) * w);
    const auto single = static_cast<float>(p);
    const float amplitude = UTILMath::Sqrt(2 / (kPiSingle * single));
    const float sine = UTILMath::Sin(single), cosine = UTILMath::Cos(single);
    const float value = ((sine - cosine) * 0.70710677f * p1 + (sine + cosine) * 0.70710677f * wq1) * amplitude;
    return x < 0 ? -value : value;
}

namespace vel {

float TapWeight(Interpolation method, float t) {
    switch (method) {
        case Interpolation::BSpline: return BSplineCurve::At(t);
        case Interpolation::BicubicSharp: return BicubicSharpCurve::At(t);
        case Interpolation::CatmullRom: return CatmullRomCurve::At(t);
        case Interpolation::Lanczos6: return Lanczos6(t);
        case Interpolation::Box: return BoxCurve::At(t);
        case Interpolation::Hermite: return HermiteCurve::At(t);
        case Interpolation::HermiteScaled: return HermiteScaledCurve::At(t);
        case Interpolation::Sinc: return Sinc(t);
        case Interpolation::BlackmanWindow: return BlackmanWindow(t);
        case Interpolation::Bessel: return BesselCurve::At(t);
        case Interpolation::Gaussian: return Gaussian(t);
        case Interpolation::Quadratic: return QuadraticCurve::At(t);
        case Interpolation::Mitchell: return MitchellCurve::At(t);
        case Interpolation::CatmullRomHalf: return CatmullRomHalfCurve::At(t);
        default: return 0;
    }
}

}  // namespace vel
