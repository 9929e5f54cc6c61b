#include "Filter.h"

#include <algorithm>
#include <cstdlib>

#include "Pixel.h"

namespace ref {
namespace {

int32_t Blue(uint32_t colour) { return colour & 0xFF; }
int32_t Green(uint32_t colour) { return colour >> 8 & 0xFF; }
int32_t Red(uint32_t colour) { return colour >> 16 & 0xFF; }
uint32_t Alpha(uint32_t colour) { return colour >> 24; }

uint32_t Colour(uint32_t alpha, int32_t red, int32_t green, int32_t blue) {
    return alpha << 24 | static_cast<uint32_t>(red) << 16 | static_cast<uint32_t>(green) << 8 |
           static_cast<uint32_t>(blue);
}

// 32-bit signed arithmetic that wraps.
int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value))); }

int32_t Weighted(int32_t sum, int32_t divisor, int32_t offset) {
    int64_t value = sum;
    if (divisor != 0) value = Wrap(value / divisor);
    value = Wrap(value + offset);
    if (value < 0) return 0;
    if (value >= 256) return 255;
    return static_cast<int32_t>(value);
}

template <size_t n>
Made FixedFilter(const Image& source, const int32_t (&kernel)[n], int32_t size, int32_t divisor, int32_t offset) {
    static_assert(n == 9 || n == 25);
    return Filter(source, kernel, size, divisor, offset);
}

// The brightness that Median orders by.
uint32_t Key(uint32_t colour) {
    return (117u * static_cast<uint32_t>(Blue(colour)) + 601u * static_cast<uint32_t>(Green(colour)) +
            306u * static_cast<uint32_t>(Red(colour))) >>
           10;
}

// A draw turned into a fraction from 0 to 1.
double Fraction(int draw) {
    const float fraction = static_cast<float>(draw) * 4.656612873077392578125e-10f;
    return static_cast<double>(fraction);
}

}  // namespace

Made Filter(const Image& source, const int32_t* kernel, int32_t size, int32_t divisor, int32_t offset) {
    Made result{kOk, CreatedLike(source)};
    const int32_t half = size / 2;
    uint32_t alpha = 0;
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            int32_t red = 0, green = 0, blue = 0;
            for (int32_t dx = -half; dx <= size - half - 1; ++dx) {
                for (int32_t dy = -half; dy <= size - half - 1; ++dy) {
                    const uint32_t c = GetPixelColor(source, x + dx, y + dy);
                    const int64_t k = kernel[(dy + half) * size + (dx + half)];
                    red = Wrap(red + Red(c) * k);
                    green = Wrap(green + Green(c) * k);
                    blue = Wrap(blue + Blue(c) * k);
                    alpha = Alpha(c);
                }
            }
            SetPixelColor(result.image, x, y,
                          Colour(alpha, Weighted(red, divisor, offset), Weighted(green, divisor, offset),
                                 Weighted(blue, divisor, offset)));
        }
    }
    return result;
}

Made Emboss(const Image& source) { return FixedFilter(source, {0, 0, -1, 0, 0, 0, 1, 0, 0}, 3, 0, 127); }

Made Blur(const Image& source) { return FixedFilter(source, {1, 1, 1, 1, 1, 1, 1, 1, 1}, 3, 9, 0); }

Made Soften(const Image& source) { return FixedFilter(source, {1, 1, 1, 1, 8, 1, 1, 1, 1}, 3, 16, 0); }

Made Sharpen(const Image& source) { return FixedFilter(source, {-1, -1, -1, -1, 15, -1, -1, -1, -1}, 3, 7, 0); }

Made GaussianBlur(const Image& source, int32_t level) {
    switch (level) {
        case 0:
            return FixedFilter(source,
                               {1, 2, 1,  //
                                2, 4, 2,  //
                                1, 2, 1},
                               3, 16, 0);
        case 1:
            return FixedFilter(source, {0, 1, 2, 1, 0,  //
                                        1, 3, 4, 3, 1,  //
                                        2, 4, 8, 4, 2,  //
                                        1, 3, 4, 3, 1,  //
                                        0, 1, 2, 1, 0},
                               5, 52, 0);
        case 2:
            return FixedFilter(source, {1, 4,  7,  4,  1,  //
                                        4, 16, 26, 16, 4,  //
                                        2, 26, 41, 26, 7,  //
                                        4, 16, 26, 16, 4,  //
                                        1, 4,  7,  4,  1},
                               5, 273, 0);
        case 3:
            return FixedFilter(source, {2, 4,  5,  4,  2,  //
                                        4, 9,  12, 9,  4,  //
                                        5, 12, 15, 12, 5,  //
                                        4, 9,  12, 9,  4,  //
                                        2, 4,  5,  4,  2},
                               5, 159, 0);
    }
    return {kFail, {}};
}

Made Kernel(const Image& source, const int16_t* kernel, int32_t size, int32_t divisor, int32_t offset) {
    if (size > static_cast<int64_t>(source.width) || size > static_cast<int64_t>(source.height)) {
        return {kInvalidArgument, {}};
    }
    Made result{kOk, CreatedLike(source)};
    if (source.bitsPerPixel != 32 || source.format != kMono) return result;
    Image& made = result.image;
    const int32_t half = size / 2;
    const uint32_t columns = source.width - static_cast<uint32_t>(size);
    const uint32_t rows = source.height - static_cast<uint32_t>(size);
    if (source.height == static_cast<uint32_t>(size)) return result;
    int32_t v = 0;
    for (uint32_t y = 0; y < rows; ++y) {
        for (uint32_t x = 0; x < columns; ++x) {
            if (size >= 1) {
                const int64_t last = kernel[size * size - 1];
                v = Wrap(last * source.GetWord(int64_t{y} + size - 1, 4 * (int64_t{x} + size - 1)));
            }
            if (divisor != 0) v = Wrap(static_cast<int64_t>(v) / divisor);
            v = Wrap(static_cast<int64_t>(v) + offset);
            if (v < 0) v = 0;
            if (v > 255) v = 255;
            // A size below 1 reaches positions outside the image; nothing is stored there.
            const int64_t column = int64_t{x} + half, row = int64_t{y} + half;
            if (column < 0 || row < 0 || column >= made.width || row >= made.height) continue;
            made.PutWord(row, 4 * column, static_cast<uint32_t>(v));
        }
    }
    return result;
}

Made Erode(const Image& source, int32_t size) {
    Made result{kOk, CreatedLike(source)};
    const int32_t half = size / 2;
    uint32_t alpha = 0;
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            int32_t minR = 255, minG = 255, minB = 255;
            for (int32_t dx = -half; dx <= size - half - 1; ++dx) {
                for (int32_t dy = -half; dy <= size - half - 1; ++dy) {
                    const uint32_t c = GetPixelColor(source, x + dx, y + dy);
                    if (Red(c) < minR) minR = Red(c);
                    if (Green(c) < minG) minG = Green(c);
                    if (Blue(c) < minB) minB = Blue(c);
                    alpha = Alpha(c);
                }
            }
            SetPixelColor(result.image, x, y, Colour(alpha, minR, minG, minB));
        }
    }
    return result;
}

Made Dilate(const Image& source, int32_t size) {
    Made result{kOk, CreatedLike(source)};
    const int32_t half = size / 2;
    uint32_t alpha = 0;
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            int32_t maxR = 0, maxG = 0, maxB = 0;
            for (int32_t dx = -half; dx <= size - half - 1; ++dx) {
                for (int32_t dy = -half; dy <= size - half - 1; ++dy) {
                    const uint32_t c = GetPixelColor(source, x + dx, y + dy);
                    if (Red(c) > maxR) maxR = Red(c);
                    if (Green(c) > maxG) maxG = Green(c);
                    if (Blue(c) > maxB) maxB = Blue(c);
                    alpha = Alpha(c);
                }
            }
            SetPixelColor(result.image, x, y, Colour(alpha, maxR, maxG, maxB));
        }
    }
    return result;
}

Made Edge(const Image& source, int32_t size) {
    Made result{kOk, CreatedLike(source)};
    const int32_t half = size / 2;
    uint32_t alpha = 0;
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            int32_t maxR = 0, maxG = 0, maxB = 0;
            int32_t minR = 255, minG = 255, minB = 255;
            for (int32_t dx = -half; dx <= size - half - 1; ++dx) {
                for (int32_t dy = -half; dy <= size - half - 1; ++dy) {
                    const uint32_t c = GetPixelColor(source, x + dx, y + dy);
                    if (Red(c) > maxR) maxR = Red(c);
                    if (Green(c) > maxG) maxG = Green(c);
                    if (Blue(c) > maxB) maxB = Blue(c);
                    if (Red(c) < minR) minR = Red(c);
                    if (Green(c) < minG) minG = Green(c);
                    if (Blue(c) < minB) minB = Blue(c);
                    alpha = Alpha(c);
                }
            }
            SetPixelColor(result.image, x, y,
                          Colour(alpha, std::abs(maxR - minR), std::abs(maxG - minG), std::abs(maxB - minB)));
        }
    }
    return result;
}

Made Contour(const Image& source) {
    Made result{kOk, CreatedLike(source)};
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            const uint32_t c0 = GetPixelColor(source, x, y);
            int32_t mR = 0, mG = 0, mB = 0;
            for (int32_t dx = -1; dx <= 1; ++dx) {
                for (int32_t dy = -1; dy <= 1; ++dy) {
                    const uint32_t n = GetPixelColor(source, x + dx, y + dy);
                    // A difference is compared with a value, on purpose.
                    if (Red(n) - Red(c0) > mR) mR = Red(n);
                    if (Green(n) - Green(c0) > mG) mG = Green(n);
                    if (Blue(n) - Blue(c0) > mB) mB = Blue(n);
                }
            }
            SetPixelColor(result.image, x, y, Colour(Alpha(c0), 255 - mR, 255 - mG, 255 - mB));
        }
    }
    return result;
}

Made Median(const Image& source, int32_t size) {
    if (size < 1) return {kInvalidArgument, {}};
    Made result{kOk, CreatedLike(source)};
    const int32_t half = size / 2;
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            std::vector<uint32_t> samples;
            for (int32_t dx = -half; dx <= size - half - 1; ++dx) {
                for (int32_t dy = -half; dy <= size - half - 1; ++dy) {
                    samples.push_back(GetPixelColor(source, x + dx, y + dy));
                }
            }
            std::stable_sort(samples.begin(), samples.end(), [](uint32_t a, uint32_t b) { return Key(a) < Key(b); });
            SetPixelColor(result.image, x, y, samples[samples.size() / 2]);
        }
    }
    return result;
}

Made Jitter(const Image& source, int32_t radius) {
    Made result{kOk, CreatedLike(source)};
    const double scale = static_cast<double>(Wrap(2 * static_cast<int64_t>(radius)));
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            const int r1 = std::rand();
            const int r2 = std::rand();
            const int64_t dx = static_cast<int64_t>((Fraction(r1) - 0.5) * scale);
            const int64_t dy = static_cast<int64_t>((Fraction(r2) - 0.5) * scale);
            int64_t nx = x + dx, ny = y + dy;
            if (nx < 0 || nx >= source.width || ny < 0 || ny >= source.height) {
                nx = x;
                ny = y;
            }
            SetPixelColor(result.image, x, y, GetPixelColor(source, nx, ny));
        }
    }
    return result;
}

Made Noise(const Image& source, int32_t level) {
    Made result{kOk, CreatedLike(source)};
    const double scale = static_cast<double>(level);
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            const uint32_t p = GetPixelColor(source, x, y);
            int64_t channel[3] = {Red(p), Green(p), Blue(p)};
            for (int64_t& v : channel) {
                const int r = std::rand();
                v += static_cast<int64_t>((Fraction(r) - 0.5) * scale);
                if (v >= 256) v = 255;
                if (v <= 0) v = 0;
            }
            SetPixelColor(result.image, x, y,
                          Colour(Alpha(p), static_cast<int32_t>(channel[0]), static_cast<int32_t>(channel[1]),
                                 static_cast<int32_t>(channel[2])));
        }
    }
    return result;
}

}  // namespace ref
