#include "Sampling.h"

#include "Truncate.h"

using namespace vel;

namespace {

// The taps of one position along one axis.
struct Taps {
    int64_t first;
    float weights[12];
    Taps(Interpolation method, float position) : first(FirstTap(method, position)) {
        WeighTaps(method, position, weights, 1);
    }
};

// Channel sums of one pixel, blue first.
struct ChannelSums {
    float channel[4] = {};

    void Add(float weight, uint32_t colour, int channels) {
        for (int c = 0; c < channels; ++c) channel[c] += weight * static_cast<float>(colour >> (8 * c) & 0xFF);
    }
    // Clamped and truncated, not rounded.
    uint32_t Colour() const {
        uint32_t colour = 0;
        for (int c = 0; c < 4; ++c) {
            const float value = channel[c] > 0 ? (channel[c] < 255 ? channel[c] : 255.0f) : 0.0f;
            colour |= static_cast<uint32_t>(value) << (8 * c);
        }
        return colour;
    }
};

}  // namespace

namespace vel {

int64_t CellOf(float position) { return int64_t{TruncateToInt(position)} - (position < 0 ? 1 : 0); }

Reach ReachOf(Interpolation method, float position, int64_t size) {
    const int64_t cell = CellOf(position);
    if (method == Interpolation::Lanczos6) return {cell < -6 || cell - 5 >= size, cell >= 5 && cell + 6 < size};
    return {cell < -2 || cell > size, cell >= 1 && cell + 2 < size};
}

void WeighTaps(Interpolation method, float position, float* weights, size_t pitch) {
    const int64_t first = FirstTap(method, position);
    for (int k = 0; k < TapsOf(method); ++k) {
        weights[static_cast<size_t>(k) * pitch] = TapWeight(method, static_cast<float>(first + k) - position);
    }
}

}  // namespace vel

uint32_t GetBilinearColor(unsigned char* bits, int x, int y, int width, int height, int stride, int bitsPerPixel) {
    const auto pixel = [&](int64_t column, int64_t row) {
        return GetPixelColor(bits, static_cast<int>(column), static_cast<int>(row), width, height, stride,
                             bitsPerPixel);
    };
    const int64_t x0 = int64_t{x} - (x < 0 ? 1 : 0), y0 = int64_t{y} - (y < 0 ? 1 : 0);
    if (x0 < -1 || x0 >= width || y0 < -1 || y0 >= height) return pixel(-999, -999);
    // No position that gets here is negative, so the fractions are 0 and the blend is its first pixel: by whole
    // numbers with opaque alpha, or pixel by pixel with the pixel's own.
    const bool blended = x0 + 1 < width && y0 + 1 < height && bitsPerPixel >= 24;
    return blended ? pixel(x0, y0) | 0xFF000000u : pixel(x0, y0);
}

uint32_t GetPixelColorInterpolated(unsigned char* bits, float x, float y, int width, int height, int stride,
                                   int methodNumber, int bitsPerPixel) {
    const auto pixel = [&](int64_t column, int64_t row) {
        return GetPixelColor(bits, static_cast<int>(column), static_cast<int>(row), width, height, stride,
                             bitsPerPixel);
    };
    const Interpolation method = InterpolationOf(methodNumber);
    if (method == Interpolation::IntegerBilinear) {
        return GetBilinearColor(bits, TruncateToInt(x), TruncateToInt(y), width, height, stride, bitsPerPixel);
    }
    if (method == Interpolation::NearestNeighbour) return pixel(TruncateToInt(x + 0.5f), TruncateToInt(y + 0.5f));

    const Reach reachX = ReachOf(method, x, width), reachY = ReachOf(method, y, height);
    if (reachX.outside || reachY.outside) return pixel(-999, -999);
    // A pixel read from memory brings its alpha; pixel by pixel, the 4 x 4 methods leave it out.
    const bool direct = reachX.inside && reachY.inside && bitsPerPixel >= 24;
    const int channels = direct || method == Interpolation::Lanczos6 ? 4 : 3;
    const Taps columns(method, x), rows(method, y);
    const int taps = TapsOf(method);
    ChannelSums sums;
    for (int j = 0; j < taps; ++j) {
        for (int i = 0; i < taps; ++i) {
            sums.Add(columns.weights[i] * rows.weights[j], pixel(columns.first + i, rows.first + j), channels);
        }
    }
    return sums.Colour();
}
