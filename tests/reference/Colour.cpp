#include "Colour.h"

#include <algorithm>
#include <cmath>

#include "Pixel.h"

namespace ref {
namespace {

int PixelBytes(const Image& image) { return image.bitsPerPixel == 32 ? 4 : 3; }
bool HasColours(const Image& image) { return image.bitsPerPixel == 24 || image.bitsPerPixel == 32; }

// Writes blue, green and red at 24 and 32 bits and the nearest palette index below.
void StoreColour(Image& image, int64_t x, int64_t y, int blue, int green, int red) {
    if (HasColours(image)) {
        const int64_t at = x * PixelBytes(image);
        image.Put(y, at, static_cast<uint8_t>(blue));
        image.Put(y, at + 1, static_cast<uint8_t>(green));
        image.Put(y, at + 2, static_cast<uint8_t>(red));
    } else if (image.bitsPerPixel < 24) {
        const uint32_t colour =
            ColourOf(static_cast<uint32_t>(blue), static_cast<uint32_t>(green), static_cast<uint32_t>(red), 0);
        WriteIndex(image, x, y, NearestPaletteIndex(colour));
    }
}

int ClampChannel(int64_t value) {
    if (value < 1) return 0;
    if (value > 255) return 255;
    return static_cast<int>(value);
}

}  // namespace

int32_t Negative(Image& image) {
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            if (image.bitsPerPixel == 8) image.Put(y, x, static_cast<uint8_t>(255 - image.Get(y, x)));
            if (!HasColours(image)) continue;
            for (int64_t channel = 0; channel < 3; ++channel) {
                const int64_t at = x * PixelBytes(image) + channel;
                image.Put(y, at, static_cast<uint8_t>(255 - image.Get(y, at)));
            }
        }
    }
    return kOk;
}

int32_t Lut(Image& image, const uint8_t* table) {
    if (!table) return kFail;
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            if (image.bitsPerPixel == 8) image.Put(y, x, table[image.Get(y, x)]);
            if (!HasColours(image)) continue;
            for (int64_t channel = 0; channel < 3; ++channel) {
                const int64_t at = x * PixelBytes(image) + channel;
                image.Put(y, at, table[image.Get(y, at)]);
            }
        }
    }
    return kOk;
}

int32_t GrayScale(Image& image) {
    Image made = CreatedLike(image);
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            if (HasColours(image)) {
                const int64_t at = x * PixelBytes(image);
                const int grey = (image.Get(y, at) + image.Get(y, at + 1) + image.Get(y, at + 2)) / 3;
                for (int64_t channel = 0; channel < 3; ++channel) made.Put(y, at + channel, static_cast<uint8_t>(grey));
                if (image.bitsPerPixel == 32) made.Put(y, at + 3, image.Get(y, at + 3));
            }
            if (image.bitsPerPixel == 8) {
                const int luma = (117 * image.Get(y, x) + 601 * image.Get(y, x + 1) + 306 * image.Get(y, x + 2)) >> 10;
                made.Put(y, x, static_cast<uint8_t>(luma));
            }
        }
    }
    made.palette = image.palette;
    image = made;
    return kOk;
}

int32_t ShiftRGB(Image& image, int32_t redShift, int32_t greenShift, int32_t blueShift) {
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            const uint32_t colour = GetPixelColor(image, x, y);
            StoreColour(image, x, y, ClampChannel(int64_t{BlueOf(colour)} + blueShift),
                        ClampChannel(int64_t{GreenOf(colour)} + greenShift),
                        ClampChannel(int64_t{RedOf(colour)} + redShift));
        }
    }
    return kOk;
}

int32_t Gamma(Image& image, float gamma) {
    const double inverse = static_cast<double>(1.0f / gamma);
    const double norm = std::pow(255.0, inverse) / 255.0;
    uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
        const double t = std::pow(static_cast<double>(i), inverse) / norm;
        if (t >= 255.0) {
            table[i] = 255;
        } else if (t >= 1.0) {
            table[i] = static_cast<uint8_t>(static_cast<int>(t));
        } else {
            table[i] = 0;  // not a number included
        }
    }
    return Lut(image, table);
}

int32_t Light(Image& image, int32_t brightness, int32_t contrast) {
    const float scale = (static_cast<float>(contrast) + 100.0f) / 100.0f;
    const float offset = static_cast<float>(brightness) + 128.0f;
    uint8_t table[256];
    for (int i = 0; i < 256; ++i) {
        const float product = static_cast<float>(i - 128) * scale;
        const float t = product + offset;
        if (t <= 0.0f) {
            table[i] = 0;
        } else if (t >= 255.0f) {
            table[i] = 255;
        } else {
            table[i] = static_cast<uint8_t>(static_cast<int>(t));
        }
    }
    return Lut(image, table);
}

int32_t Threshold(Image& image, int32_t level, bool greyed) {
    if (greyed) GrayScale(image);
    const int32_t limit = static_cast<int32_t>(3u * static_cast<uint32_t>(level));
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            const uint32_t colour = GetPixelColor(image, x, y);
            const int32_t sum = static_cast<int32_t>(BlueOf(colour) + GreenOf(colour) + RedOf(colour));
            const int value = sum > limit ? 255 : 0;
            StoreColour(image, x, y, value, value, value);
        }
    }
    return kOk;
}

// ---------------------------------------------------------------------------------------------------------------

namespace {

uint32_t HueChannel(float m1, float m2, float h) {
    float value;
    if (h < 60.0f) {
        value = m1 + (m2 - m1) * h / 60.0f;
    } else if (h < 180.0f) {
        value = m2;
    } else if (h < 240.0f) {
        value = m1 + (m2 - m1) * (240.0f - h) / 60.0f;
    } else {
        value = m1;
    }
    return static_cast<uint32_t>(static_cast<int>(value * 255.0f)) & 255;
}

// The pixel's own alpha, the given hue and saturation, the pixel's lightness.
uint32_t Converted(uint32_t colour, uint8_t hue, uint8_t saturation) {
    const uint32_t largest = std::max(std::max(BlueOf(colour), GreenOf(colour)), RedOf(colour));
    const uint32_t smallest = std::min(std::min(BlueOf(colour), GreenOf(colour)), RedOf(colour));
    const uint32_t lightness = ((smallest + largest) * 255 + 255) / 510;
    return HSLtoRGB(ColourOf(lightness, saturation, hue, AlphaOf(colour)));
}

void StoreWithAlpha(Image& image, int64_t x, int64_t y, uint32_t colour) {
    StoreColour(image, x, y, static_cast<int>(BlueOf(colour)), static_cast<int>(GreenOf(colour)),
                static_cast<int>(RedOf(colour)));
    if (image.bitsPerPixel == 32) image.Put(y, 4 * x + 3, static_cast<uint8_t>(AlphaOf(colour)));
}

}  // namespace

uint32_t HSLtoRGB(uint32_t quad) {
    const float lightness = static_cast<float>(BlueOf(quad)) / 255.0f;
    const float saturation = static_cast<float>(GreenOf(quad)) / 255.0f;
    float m2;
    if (lightness <= 0.5f) {
        m2 = lightness * (1.0f + saturation);
    } else {
        m2 = lightness + saturation - lightness * saturation;
    }
    const float m1 = 2.0f * lightness - m2;
    if (saturation == 0.0f) {
        const uint32_t grey = static_cast<uint32_t>(static_cast<int>(lightness * 255.0f)) & 255;
        return ColourOf(grey, grey, grey, AlphaOf(quad));
    }
    const float hue = static_cast<float>(RedOf(quad)) * 360.0f / 255.0f;
    float redAngle = hue + 120.0f;
    if (redAngle > 360.0f) redAngle -= 360.0f;
    float greenAngle = hue;
    if (greenAngle > 360.0f) greenAngle -= 360.0f;
    float blueAngle = hue - 120.0f;
    if (blueAngle > 360.0f) blueAngle -= 360.0f;
    if (blueAngle < 0.0f) blueAngle += 360.0f;
    return ColourOf(HueChannel(m1, m2, blueAngle), HueChannel(m1, m2, greenAngle), HueChannel(m1, m2, redAngle),
                    AlphaOf(quad));
}

int32_t Colorize(Image& image, uint8_t hue, uint8_t saturation, float blend) {
    if (blend != blend) blend = 0.0f;
    const float weight = std::min(1.0f, std::max(0.0f, blend));
    const int a = static_cast<int>(weight * 256.0f);
    const int b = 256 - a;
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            const uint32_t old = GetPixelColor(image, x, y);
            const uint32_t converted = Converted(old, hue, saturation);
            if (weight > 0.999f) {
                StoreWithAlpha(image, x, y, converted);
                continue;
            }
            const auto mixed = [&](uint32_t was, uint32_t becomes) {
                return static_cast<uint32_t>((static_cast<int>(was) * b + static_cast<int>(becomes) * a) >> 8);
            };
            StoreWithAlpha(image, x, y,
                           ColourOf(mixed(BlueOf(old), BlueOf(converted)), mixed(GreenOf(old), GreenOf(converted)),
                                    mixed(RedOf(old), RedOf(converted)), AlphaOf(old)));
        }
    }
    return kOk;
}

// ---------------------------------------------------------------------------------------------------------------

namespace {

bool IsKey(const Image& image, int64_t x, int64_t y, uint32_t key) {
    const int64_t at = x * PixelBytes(image);
    return image.Get(y, at) == ((key >> 16) & 255) && image.Get(y, at + 1) == ((key >> 8) & 255) &&
           image.Get(y, at + 2) == (key & 255);
}

}  // namespace

int32_t SetImageAlpha(Image& image, int32_t alpha) {
    if (image.bitsPerPixel < 25) return kFail;
    const uint8_t value = alpha == 0 ? 1 : static_cast<uint8_t>(alpha);
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t i = 0; i < int64_t{image.width} * 4; i += 4) image.Put(y, i + 3, value);
    }
    return kOk;
}

int32_t SetImageAlphaTransparency(Image& image, int32_t alpha, uint32_t key) {
    if (image.bitsPerPixel < 25) return kFail;
    const int32_t others = alpha == 0 ? 1 : alpha;
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            const int32_t value = IsKey(image, x, y, key) ? 0 : others;
            if (image.bitsPerPixel == 32) image.Put(y, 4 * x + 3, static_cast<uint8_t>(value));
        }
    }
    return kOk;
}

int32_t SetImageTransparentPixel(Image& image, uint32_t key) {
    if (image.bitsPerPixel < 25) return kFail;
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            if (IsKey(image, x, y, key) && image.bitsPerPixel == 32) image.Put(y, 4 * x + 3, 0);
        }
    }
    return kOk;
}

}  // namespace ref
