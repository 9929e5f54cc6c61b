#include <cmath>

#include "Geometry.h"

namespace ref {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr float kPiSingle = 3.1415927f;

// Coefficients of the rational approximations, constant term first.
constexpr double kJ1P[] = {5.8119935400160612e+20,  -6.6721065689249161e+19, 2.3164335806340024e+18,
                           -3.5888175699101060e+16, 2.9087952638347756e+14,  -1.3229834803321265e+12,
                           3.4132341823017006e+09,  -4.6957535306429956e+06, 2.7011227108923235e+03};
constexpr double kJ1Q[] = {1.1623987080032122e+21, 1.185770712190321e+19,  6.0920613989175216e+16,
                           2.0816612213076075e+14, 5.2437102621676495e+11, 1.013863514358674e+09,
                           1.5017935949985855e+06, 1.6069315734814877e+03, 1.0};
constexpr double kP1P[] = {3.5224664913367982e+04, 6.2758845247161284e+04, 3.1353963110915956e+04,
                           4.9854832060594335e+03, 2.1115291828539623e+02, 1.2571716929145342e+00};
constexpr double kP1Q[] = {3.5224664913367982e+04, 6.2694346959356051e+04, 3.1240406381904104e+04,
                           4.9303964901810887e+03, 2.0307751891347593e+02, 1.0};
constexpr double kQ1P[] = {3.5117519143035526e+02, 7.2103918049044751e+02, 4.2598730116544425e+02,
                           8.3189895767385082e+01, 4.5681716295512267e+00, 3.5328400527401237e-02};
constexpr double kQ1Q[] = {7.4917374171809124e+03, 1.5414177339265098e+04, 9.152231701516992e+03,
                           1.8111867005523513e+03, 1.0381875854621337e+02, 1.0};

template <size_t n>
double Horner(const double (&coefficients)[n], double z) {
    double sum = coefficients[n - 1];
    for (size_t i = n - 1; i > 0; --i) sum = sum * z + coefficients[i - 1];
    return sum;
}

float CubeAbove0(float u) { return u > 0.0f ? u * u * u : 0.0f; }

float BSpline(float t) {
    if (t > 2.0f) return 0.0f;
    const float sum =
        CubeAbove0(t + 2.0f) - 4.0f * CubeAbove0(t + 1.0f) + 6.0f * CubeAbove0(t) - 4.0f * CubeAbove0(t - 1.0f);
    return sum * 0.16666667f;
}

float BicubicSharp(float t) {
    const float a = std::fabs(t), a2 = a * a, a3 = a2 * a;
    if (a < 1.0f) return a3 - 2.0f * a2 + 1.0f;
    if (a < 2.0f) return -a3 + 5.0f * a2 - 8.0f * a + 4.0f;
    return 0.0f;
}

float CatmullRom(float t) {
    const float a = std::fabs(t), a2 = a * a, a3 = a2 * a;
    if (a < 1.0f) return 1.5f * a3 - 2.5f * a2 + 1.0f;
    if (a < 2.0f) return -0.5f * a3 + 2.5f * a2 - 4.0f * a + 2.0f;
    return 0.0f;
}

float Box(float t) { return t >= -0.5f && t < 0.5f ? 1.0f : 0.0f; }

float Hermite(float t) {
    if (!(t >= -1.0f && t < 1.0f)) return 0.0f;
    return (2.0f * std::fabs(t) - 3.0f) * (t * t) + 1.0f;
}

float HermiteScaled(float t) {
    if (!(t >= -1.0f && t < 1.0f)) return 0.0f;
    return 0.92f * (2.0f * std::fabs(t) - 3.0f) * (t * t) + 1.0f;
}

float Sinc(float t) {
    if (t == 0.0f) return 1.0f;
    return static_cast<float>(std::sin(static_cast<double>(t) * kPi)) / (t * kPiSingle);
}

float BlackmanWindow(float t) {
    const double wide = t;
    return static_cast<float>(0.42 + 0.5 * std::cos(kPi * wide) + 0.08 * std::cos(2.0 * kPi * wide));
}

float Bessel(float t) {
    if (t == 0.0f) return 0.7853982f;
    return KernelBessel_Order1(static_cast<float>(static_cast<double>(t) * kPi)) / (t + t);
}

float Gaussian(float t) { return std::exp(-2.0f * (t * t)) * 0.797884583f; }

float Quadratic(float t) {
    if (t < -1.5f) return 0.0f;
    if (t < -0.5f) return 0.5f * ((t + 1.5f) * (t + 1.5f));
    if (t < 0.5f) return 0.75f - t * t;
    if (t < 1.5f) return 0.5f * ((t - 1.5f) * (t - 1.5f));
    return 0.0f;
}

float Mitchell(float t) {
    const float a = std::fabs(t), a2 = a * a, a3 = a2 * a;
    if (a < 1.0f) return 1.1666666f * a3 - 2.0f * a2 + 0.8888889f;
    if (a < 2.0f) return -0.38888887f * a3 + 2.0f * a2 - 3.3333333f * a + 1.7777778f;
    return 0.0f;
}

float CatmullRomHalf(float t) {
    const float t2 = t * t, t3 = t2 * t;
    if (t < -2.0f) return 0.0f;
    if (t < -1.0f) return 0.5f * (t3 + 5.0f * t2 + 8.0f * t + 4.0f);
    if (t < 0.0f) return 0.5f * (-3.0f * t3 - 5.0f * t2 + 2.0f);
    if (t < 1.0f) return 0.5f * (3.0f * t3 - 5.0f * t2 + 2.0f);
    if (t < 2.0f) return 0.5f * (-t3 + 5.0f * t2 - 8.0f * t + 4.0f);
    return 0.0f;
}

float Lanczos6(float t) {
    if (std::fabs(t) > 6.0f) return 0.0f;
    if (t == 0.0f) return 1.0f;
    const float u = static_cast<float>(static_cast<double>(t) * kPi);
    return (std::sin(u) / u) * (std::sin(u / 6.0f) / (u / 6.0f));
}

float Weight(int32_t method, float t) {
    switch (method) {
        case 2: return BSpline(t);
        case 3: return BicubicSharp(t);
        case 4: return CatmullRom(t);
        case 5: return Lanczos6(t);
        case 6: return Box(t);
        case 7: return Hermite(t);
        case 8: return HermiteScaled(t);
        case 9: return Sinc(t);
        case 10: return BlackmanWindow(t);
        case 11: return Bessel(t);
        case 12: return Gaussian(t);
        case 13: return Quadratic(t);
        case 14: return Mitchell(t);
        default: return CatmullRomHalf(t);
    }
}

uint32_t OutsideColour(const Image& image) { return GetPixelColor(image, -999, -999); }

uint32_t Channel(uint32_t colour, int channel) { return colour >> (8 * channel) & 0xFF; }

uint32_t ClampedByte(float sum) {
    if (!(sum > 0.0f)) return 0;
    if (sum > 255.0f) return 255;
    return static_cast<uint32_t>(sum);
}

// Integral part, one less where the position is below 0 (also for integral positions).
int64_t IntegerPart(float position) { return Truncated(position) - (position < 0.0f ? 1 : 0); }

struct Window {
    int64_t before, size;  // taps before the integral position, taps in a row
};

// The weighted sum of a window of pixels. Whether alpha is summed depends on whether the window reaches the border.
uint32_t WindowColour(const Image& image, float x, float y, int32_t method, Window window, bool alphaAtBorder) {
    const int64_t width = image.width, height = image.height;
    const int64_t left = IntegerPart(x) - window.before, top = IntegerPart(y) - window.before;
    float wx[12], wy[12];
    for (int64_t k = 0; k < window.size; ++k) wx[k] = Weight(method, static_cast<float>(left + k) - x);
    for (int64_t k = 0; k < window.size; ++k) wy[k] = Weight(method, static_cast<float>(top + k) - y);

    const bool inner = left >= 0 && left + window.size - 1 < width && top >= 0 && top + window.size - 1 < height &&
                       image.bitsPerPixel >= 24;
    const int channels = inner || alphaAtBorder ? 4 : 3;
    float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    for (int64_t j = 0; j < window.size; ++j) {
        for (int64_t i = 0; i < window.size; ++i) {
            const uint32_t colour = GetPixelColor(image, left + i, top + j);
            for (int c = 0; c < channels; ++c) sum[c] += (wx[i] * wy[j]) * static_cast<float>(Channel(colour, c));
        }
    }
    uint32_t colour = 0;
    for (int c = 0; c < 4; ++c) colour |= ClampedByte(sum[c]) << (8 * c);
    return colour;
}

uint32_t Kernel4Colour(const Image& image, float x, float y, int32_t method) {
    const int64_t width = image.width, height = image.height, xi = IntegerPart(x), yi = IntegerPart(y);
    if (xi < -2 || xi > width || yi < -2 || yi > height) return OutsideColour(image);
    return WindowColour(image, x, y, method, {1, 4}, false);
}

uint32_t Kernel12Colour(const Image& image, float x, float y) {
    const int64_t width = image.width, height = image.height, xi = IntegerPart(x), yi = IntegerPart(y);
    if (xi < -6 || xi - 5 >= width || yi < -6 || yi - 5 >= height) return OutsideColour(image);
    return WindowColour(image, x, y, 5, {5, 12}, true);
}

}  // namespace

int64_t Truncated(double value) {
    if (!(value > -2147483648.0 && value < 2147483648.0)) return -2147483648LL;
    return static_cast<int64_t>(value);
}

float KernelBessel_Order1(float x) {
    if (x == 0.0f) return 0.0f;
    const double p = std::fabs(static_cast<double>(x));
    if (p < 8.0) return static_cast<float>(Horner(kJ1P, p * p) / Horner(kJ1Q, p * p) * static_cast<double>(x));
    const double w = 8.0 / p, z = w * w;
    const float p1 = static_cast<float>(Horner(kP1P, z) / Horner(kP1Q, z));
    const float q1w = static_cast<float>(Horner(kQ1P, z) / Horner(kQ1Q, z) * w);
    const float sp = std::sin(static_cast<float>(p)), cp = std::cos(static_cast<float>(p));
    const float amplitude = std::sqrt(2.0f / (kPiSingle * static_cast<float>(p)));
    const float result = ((sp - cp) * 0.70710677f * p1 + (sp + cp) * 0.70710677f * q1w) * amplitude;
    return x < 0.0f ? -result : result;
}

uint32_t GetBilinearColor(const Image& image, int64_t x, int64_t y) {
    const int64_t width = image.width, height = image.height;
    const int64_t x0 = x < 0 ? x - 1 : x, y0 = y < 0 ? y - 1 : y;
    const float fx = x < 0 ? 1.0f : 0.0f, fy = y < 0 ? 1.0f : 0.0f;
    if (x0 < -1 || x0 >= width || y0 >= height || y0 < -1) return OutsideColour(image);
    const uint32_t p00 = GetPixelColor(image, x0, y0), p10 = GetPixelColor(image, x0 + 1, y0);
    const uint32_t p01 = GetPixelColor(image, x0, y0 + 1), p11 = GetPixelColor(image, x0 + 1, y0 + 1);
    uint32_t colour = 0;
    if (x0 >= 0 && x0 + 1 < width && y0 >= 0 && y0 + 1 < height && image.bitsPerPixel >= 24) {
        const uint32_t ix = static_cast<uint32_t>(fx * 256.0f), iy = static_cast<uint32_t>(fy * 256.0f);
        const uint32_t w11 = (ix * iy) >> 8, w10 = ix - w11, w01 = iy - w11, w00 = 256 - ix - w01;
        for (int c = 0; c < 3; ++c) {
            const uint32_t sum =
                w00 * Channel(p00, c) + w10 * Channel(p10, c) + w01 * Channel(p01, c) + w11 * Channel(p11, c);
            colour |= ((sum & 0xFFFF) >> 8) << (8 * c);
        }
        return colour | 0xFF000000;
    }
    const float w11 = fx * fy, w01 = fy - w11, w10 = fx - w11, w00 = 1.0f - fx - w01;
    for (int c = 0; c < 4; ++c) {
        const float sum = w00 * static_cast<float>(Channel(p00, c)) + w10 * static_cast<float>(Channel(p10, c)) +
                          w01 * static_cast<float>(Channel(p01, c)) + w11 * static_cast<float>(Channel(p11, c));
        colour |= (static_cast<uint32_t>(sum) & 0xFF) << (8 * c);
    }
    return colour;
}

uint32_t GetPixelColorInterpolated(const Image& image, float x, float y, int32_t method) {
    if (method < 0 || method > 15 || method == 1) return GetBilinearColor(image, Truncated(x), Truncated(y));
    if (method == 0) return GetPixelColor(image, Truncated(x + 0.5f), Truncated(y + 0.5f));
    if (method == 5) return Kernel12Colour(image, x, y);
    return Kernel4Colour(image, x, y, method);
}

}  // namespace ref
