#include "Pixel.h"

namespace ref {

Quad DefaultPaletteEntry(int index) {
    const uint8_t grey = static_cast<uint8_t>(index);
    return {grey, grey, grey, 0};
}

int NearestPaletteIndex(uint32_t colour) {
    int best = 200000;
    int index = 0;
    for (int i = 0; i < 256; ++i) {
        const Quad entry = DefaultPaletteEntry(i);
        const int blue = entry.blue - static_cast<int>(BlueOf(colour));
        const int green = entry.green - static_cast<int>(GreenOf(colour));
        const int red = entry.red - static_cast<int>(RedOf(colour));
        const int distance = blue * blue + green * green + red * red;
        if (distance == 0) return i;
        if (distance < best) {
            best = distance;
            index = i;
        }
    }
    return index;
}

int ReadIndex(const Image& image, int64_t x, int64_t y, uint32_t plane) {
    if (image.bitsPerPixel == 8) return image.Get(y, x, plane);
    if (image.bitsPerPixel == 4) {
        const int byte = image.Get(y, x / 2, plane);
        return x % 2 == 0 ? byte >> 4 : byte & 15;
    }
    if (image.bitsPerPixel == 1) return (image.Get(y, x / 8, plane) >> (7 - x % 8)) & 1;
    return 0;
}

void WriteIndex(Image& image, int64_t x, int64_t y, int index, uint32_t plane) {
    if (image.bitsPerPixel == 8) image.Put(y, x, static_cast<uint8_t>(index), plane);
    if (image.bitsPerPixel == 4) {
        int byte = image.Get(y, x / 2, plane);
        if (x % 2 == 0) {
            byte = (byte & 0x0F) | (index & 15) << 4;
        } else {
            byte = (byte & 0xF0) | (index & 15);
        }
        image.Put(y, x / 2, static_cast<uint8_t>(byte), plane);
    }
    if (image.bitsPerPixel == 1) {
        const int bit = static_cast<int>(7 - x % 8);
        int byte = image.Get(y, x / 8, plane);
        byte = (byte & ~(1 << bit)) | (index & 1) << bit;
        image.Put(y, x / 8, static_cast<uint8_t>(byte), plane);
    }
}

uint32_t GetPixelColor(const Image& image, int64_t x, int64_t y, uint32_t plane) {
    if (image.width == 0 || image.height == 0) return 0;
    const bool pixels = plane < image.store.size();
    const bool inside = x >= 0 && x < image.width && y >= 0 && y < image.height && pixels;
    if (!inside) {
        if (!pixels) return 0x01000000;
        return (GetPixelColor(image, 0, 0, plane) & 0x00FFFFFF) | 0x01000000;
    }
    if (image.bitsPerPixel >= 24) {
        const int64_t at = x * (image.bitsPerPixel == 32 ? 4 : 3);
        const uint32_t alpha = image.bitsPerPixel == 32 ? image.Get(y, at + 3, plane) : 0;
        return ColourOf(image.Get(y, at, plane), image.Get(y, at + 1, plane), image.Get(y, at + 2, plane), alpha);
    }
    const Quad entry = DefaultPaletteEntry(ReadIndex(image, x, y, plane));
    return ColourOf(entry.blue, entry.green, entry.red, entry.reserved);
}

void SetPixelColor(Image& image, int64_t x, int64_t y, uint32_t colour, uint32_t plane) {
    if (plane >= image.store.size()) return;
    if (x < 0 || y < 0 || x > image.width || y > image.height) return;
    if (image.bitsPerPixel >= 24) {
        const int64_t at = x * (image.bitsPerPixel == 32 ? 4 : 3);
        image.Put(y, at, static_cast<uint8_t>(BlueOf(colour)), plane);
        image.Put(y, at + 1, static_cast<uint8_t>(GreenOf(colour)), plane);
        image.Put(y, at + 2, static_cast<uint8_t>(RedOf(colour)), plane);
        if (image.bitsPerPixel == 32) image.Put(y, at + 3, static_cast<uint8_t>(AlphaOf(colour)), plane);
        return;
    }
    WriteIndex(image, x, y, NearestPaletteIndex(colour), plane);
}

void FillColor(Image& image, uint32_t colour) {
    for (uint32_t plane = 0; plane < image.store.size(); ++plane) {
        for (uint32_t y = 0; y < image.height; ++y) {
            for (uint32_t x = 0; x < image.width; ++x) {
                if (image.bitsPerPixel == 16) {
                    const uint32_t word =
                        BlueOf(colour) >> 3 | (GreenOf(colour) >> 2) << 5 | (RedOf(colour) >> 3) << 11;
                    image.Put(y, int64_t{2} * x, static_cast<uint8_t>(word), plane);
                    image.Put(y, int64_t{2} * x + 1, static_cast<uint8_t>(word >> 8), plane);
                } else {
                    SetPixelColor(image, x, y, colour, plane);
                }
            }
        }
    }
}

}  // namespace ref
