#include "RandomFilters.h"

#include <cstdlib>
#include <cstring>

#include "Neighbourhood.h"

namespace vel {
namespace {

// A draw as a fraction from 0 to 1, rounded to single precision, less one half, times `scale`; truncated.
int32_t Displacement(double scale) {
    const float fraction = static_cast<float>(std::rand()) * 0x1p-31f;
    return static_cast<int32_t>((static_cast<double>(fraction) - 0.5) * scale);
}

uint32_t Clamp(int32_t value) { return static_cast<uint32_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

int64_t SignedSize(uint32_t size) { return static_cast<int32_t>(size); }

// Pixels of an image with whole bytes and memory, as colour words.
template <int bytes>
struct PlainPixels {
    const ImageView& image;
    uint32_t Colour(int64_t x, int64_t y) const {
        const uint8_t* p = image.Row(y) + x * bytes;
        if (bytes == 1) return *p * 0x010101u;
        return ColourWord(p[0], p[1], p[2], bytes == 4 ? p[3] : 0);
    }
};

// Pixels of any image.
struct AnyPixels {
    const ImageView& image;
    uint32_t Colour(int64_t x, int64_t y) const { return image.Colour(x, y); }
};

template <int bytes>
void StoreColour(uint8_t* dst, uint32_t colour) {
    if (bytes == 1) {
        *dst = static_cast<uint8_t>(NearestGreyIndex(BlueOf(colour) + GreenOf(colour) + RedOf(colour)));
        return;
    }
    const RGBQUAD quad = QuadOf(colour);
    std::memcpy(dst, &quad, bytes);
}

// Walks the pixels of an image; draw(pixels, x, y) makes a pixel's draws and returns its new colour.
template <int bytes, class Pixels, class Draw>
void DrawPixels(SampleWriter& writer, const ImageView& source, const Pixels& pixels, Draw draw) {
    for (int64_t y = 0; y < SignedSize(source.height); ++y) {
        uint8_t* dst = bytes ? writer.Begin(y) : nullptr;
        for (int64_t x = 0; x < SignedSize(source.width); ++x) {
            const uint32_t colour = draw(pixels, x, y);
            if (bytes) StoreColour<bytes>(dst + x * bytes, colour);
        }
        if (bytes) writer.End(y);
    }
}

template <class Draw>
HRESULT DrawImage(const ImageView& target, const ImageView& source, Draw draw) {
    SampleWriter writer(target);
    if (!writer.Ready()) return E_FAIL;
    const uint32_t bytes = HasWork(source, target) ? SampleBytes(target) : 0;
    const bool plain = source.bits && source.bitsPerPixel >= 8;
    switch (bytes + (plain ? 8 : 0)) {
        case 1: DrawPixels<1>(writer, source, AnyPixels{source}, draw); break;
        case 3: DrawPixels<3>(writer, source, AnyPixels{source}, draw); break;
        case 4: DrawPixels<4>(writer, source, AnyPixels{source}, draw); break;
        case 9: DrawPixels<1>(writer, source, PlainPixels<1>{source}, draw); break;
        case 11: DrawPixels<3>(writer, source, PlainPixels<3>{source}, draw); break;
        case 12: DrawPixels<4>(writer, source, PlainPixels<4>{source}, draw); break;
        default: DrawPixels<0>(writer, source, AnyPixels{source}, draw); break;
    }
    return S_OK;
}

}  // namespace

HRESULT JitterImage(const ImageView& target, const ImageView& source, int radius) {
    // The doubled radius wraps.
    const double scale = static_cast<int32_t>(static_cast<uint32_t>(radius) * 2);
    const int64_t width = SignedSize(source.width), height = SignedSize(source.height);
    return DrawImage(target, source, [=](const auto& pixels, int64_t x, int64_t y) {
        const int64_t fromX = x + Displacement(scale);
        const int64_t fromY = y + Displacement(scale);
        const bool inside = fromX >= 0 && fromX < width && fromY >= 0 && fromY < height;
        return pixels.Colour(inside ? fromX : x, inside ? fromY : y);
    });
}

HRESULT NoiseImage(const ImageView& target, const ImageView& source, int level) {
    const double scale = level;
    return DrawImage(target, source, [=](const auto& pixels, int64_t x, int64_t y) {
        const uint32_t colour = pixels.Colour(x, y);
        const auto moved = [=](uint32_t channel) { return Clamp(static_cast<int32_t>(channel) + Displacement(scale)); };
        const uint32_t red = moved(RedOf(colour)), green = moved(GreenOf(colour)), blue = moved(BlueOf(colour));
        return ColourWord(blue, green, red, AlphaOf(colour));
    });
}

}  // namespace vel
