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

uint8_t Clamp(int32_t value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

int64_t SignedSize(uint32_t size) { return static_cast<int32_t>(size); }

void StoreSample(uint8_t* dst, uint32_t colour, uint32_t bytes) {
    if (bytes == 1) {
        *dst = static_cast<uint8_t>(NearestGreyIndex(BlueOf(colour) + GreenOf(colour) + RedOf(colour)));
        return;
    }
    const uint8_t stored[4] = {static_cast<uint8_t>(BlueOf(colour)), static_cast<uint8_t>(GreenOf(colour)),
                               static_cast<uint8_t>(RedOf(colour)), static_cast<uint8_t>(AlphaOf(colour))};
    std::memcpy(dst, stored, bytes);
}

// Walks the image's pixels; drawColour(x, y) makes its draws and returns the pixel's new colour.
template <class DrawColour>
HRESULT DrawPixels(const ImageView& target, const ImageView& source, DrawColour drawColour) {
    const uint32_t bytes = SampleBytes(target);
    const bool written = HasWork(source, target);
    SampleWriter writer(target);
    if (written && !writer.Ready()) return E_FAIL;
    for (int64_t y = 0; y < SignedSize(source.height); ++y) {
        uint8_t* dst = written ? writer.Begin(y) : nullptr;
        for (int64_t x = 0; x < SignedSize(source.width); ++x) {
            const uint32_t colour = drawColour(x, y);
            if (written) StoreSample(dst + x * bytes, colour, bytes);
        }
        if (written) writer.End(y);
    }
    return S_OK;
}

}  // namespace

HRESULT JitterImage(const ImageView& target, const ImageView& source, int radius) {
    // The doubled radius wraps.
    const double scale = static_cast<int32_t>(static_cast<uint32_t>(radius) * 2);
    return DrawPixels(target, source, [&](int64_t x, int64_t y) {
        const int64_t fromX = x + Displacement(scale);
        const int64_t fromY = y + Displacement(scale);
        const bool inside =
            fromX >= 0 && fromX < SignedSize(source.width) && fromY >= 0 && fromY < SignedSize(source.height);
        return inside ? source.Colour(fromX, fromY) : source.Colour(x, y);
    });
}

HRESULT NoiseImage(const ImageView& target, const ImageView& source, int level) {
    const double scale = level;
    return DrawPixels(target, source, [&](int64_t x, int64_t y) {
        const uint32_t colour = source.Colour(x, y);
        const auto moved = [&](uint32_t channel) { return Clamp(static_cast<int32_t>(channel) + Displacement(scale)); };
        const uint32_t red = moved(RedOf(colour)), green = moved(GreenOf(colour)), blue = moved(BlueOf(colour));
        return ColourWord(blue, green, red, AlphaOf(colour));
    });
}

}  // namespace vel
