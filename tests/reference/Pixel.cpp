#include "Pixel.h"

namespace ref {
namespace {

bool HasPixels(const Image& image) { return !image.store.empty() && !image.store[0].empty(); }

int64_t Square(int64_t value) { return value * value; }

// The grey ramp's entry nearest to the colour; the first of equally near ones.
uint32_t NearestIndex(uint32_t colour) {
    const int64_t blue = colour & 0xFF, green = colour >> 8 & 0xFF, red = colour >> 16 & 0xFF;
    int64_t best = 200000;
    uint32_t index = 0;
    for (uint32_t i = 0; i < 256; ++i) {
        const int64_t distance = Square(i - blue) + Square(i - green) + Square(i - red);
        if (distance == 0) return i;
        if (distance < best) {
            best = distance;
            index = i;
        }
    }
    return index;
}

}  // namespace

uint32_t GetPixelColor(const Image& image, int64_t x, int64_t y) {
    if (image.width == 0 || image.height == 0) return 0;
    const bool inside = x >= 0 && x < image.width && y >= 0 && y < image.height && HasPixels(image);
    if (!inside) {
        if (!HasPixels(image)) return 0x01000000;
        return (GetPixelColor(image, 0, 0) & 0x00FFFFFF) | 0x01000000;
    }
    if (image.bitsPerPixel >= 24) {
        const int64_t at = (image.bitsPerPixel == 32 ? 4 : 3) * x;
        uint32_t colour = image.Get(y, at) | image.Get(y, at + 1) << 8 | image.Get(y, at + 2) << 16;
        if (image.bitsPerPixel == 32) colour |= static_cast<uint32_t>(image.Get(y, at + 3)) << 24;
        return colour;
    }
    uint32_t index = 0;
    if (image.bitsPerPixel == 8) index = image.Get(y, x);
    if (image.bitsPerPixel == 4) index = x % 2 == 0 ? image.Get(y, x / 2) >> 4 : image.Get(y, x / 2) & 15;
    if (image.bitsPerPixel == 1) index = image.Get(y, x / 8) >> (7 - x % 8) & 1;
    return index | index << 8 | index << 16;
}

void SetPixelColor(Image& image, int64_t x, int64_t y, uint32_t colour) {
    if (!HasPixels(image) || x < 0 || y < 0 || x > image.width || y > image.height) return;
    if (image.bitsPerPixel >= 24) {
        const int64_t at = (image.bitsPerPixel == 32 ? 4 : 3) * x;
        image.Put(y, at, static_cast<uint8_t>(colour));
        image.Put(y, at + 1, static_cast<uint8_t>(colour >> 8));
        image.Put(y, at + 2, static_cast<uint8_t>(colour >> 16));
        if (image.bitsPerPixel == 32) image.Put(y, at + 3, static_cast<uint8_t>(colour >> 24));
        return;
    }
    const uint32_t index = NearestIndex(colour);
    if (image.bitsPerPixel == 8) image.Put(y, x, static_cast<uint8_t>(index));
    if (image.bitsPerPixel == 4) {
        const uint8_t byte = image.Get(y, x / 2);
        const uint32_t nibble = index & 15;
        image.Put(y, x / 2, static_cast<uint8_t>(x % 2 == 0 ? (byte & 0x0F) | nibble << 4 : (byte & 0xF0) | nibble));
    }
    if (image.bitsPerPixel == 1) {
        const int64_t shift = 7 - x % 8;
        image.Put(y, x / 8, static_cast<uint8_t>((image.Get(y, x / 8) & ~(1 << shift)) | (index & 1) << shift));
    }
}

}  // namespace ref
