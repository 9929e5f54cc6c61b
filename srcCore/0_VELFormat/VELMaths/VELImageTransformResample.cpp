// Shear and change of size.
#include "PixelBlock.h"
#include "Sampling.h"
#include "Truncate.h"
#include "VELImageTransform.h"

using namespace vel;

namespace {

void StorePixel(const ImageView& to, int x, int y, uint32_t colour) {
    SetPixelColor(to.bits, x, y, static_cast<int>(to.width), static_cast<int>(to.height), to.stride, QuadOf(colour),
                  static_cast<int>(to.bitsPerPixel));
}

// Signed distance of a row or column from the pivot.
float FromPivot(int64_t index, int64_t pivot) { return static_cast<float>(index - pivot); }

// Source position of destination pixel `index` with the centres aligned.
float Centred(int32_t index, float scale) { return (static_cast<float>(index) + 0.5f) * scale - 0.5f; }

// At 24 and 32 bits the sampled column snaps to a multiple of the pixel's bytes.
float SnappedColumn(float column, uint32_t bitsPerPixel) {
    if (bitsPerPixel == 24) return static_cast<float>(TruncateToInt(column) / 3 * 3);
    if (bitsPerPixel == 32) return static_cast<float>(TruncateToInt(column) / 4 * 4);
    return column;
}

void SampleInto(const ImageView& from, const ImageView& to, int32_t width, int32_t height, float xScale, float yScale,
                int method, bool snapped) {
    const Sampler sampler(from, method);
    for (int32_t j = 0; j < height; ++j) {
        const float y = Centred(j, yScale);
        for (int32_t i = 0; i < width; ++i) {
            const float column = Centred(i, xScale);
            const float x = snapped ? SnappedColumn(column, from.bitsPerPixel) : column;
            uint32_t colour;
            sampler.Sample(&x, &y, &colour, 1);
            StorePixel(to, i, j, colour);
        }
    }
}

// Copies whole pixels. Rounding of the scales can lead one past the last row or column.
void Replicate(const ImageView& from, const ImageView& to, int32_t width, int32_t height, float xScale,
               float yScale) {
    const PixelBlock block(from);
    const int64_t pixelBytes = from.PixelBytes();
    for (int32_t j = 0; j < height; ++j) {
        const int64_t row = block.Row(TruncateToInt(std::floor(static_cast<float>(j) * yScale)));
        uint8_t* out = to.Row(j);
        for (int32_t i = 0; i < width; ++i, out += pixelBytes) {
            const int64_t column = TruncateToInt(std::floor(static_cast<float>(i) * xScale));
            block.Read(row + column * pixelBytes, out, pixelBytes);
        }
    }
}

}  // namespace

HRESULT CVELImageTransform::Skew(IVEL* source, IVEL** destination, float xFactor, float yFactor, int xPivot,
                                 int yPivot, int /*reserved*/, int force32) {
    if (!source) return E_FAIL;
    if (!destination) return E_POINTER;
    const ImageView from = ViewOf(source);
    const uint32_t depth = force32 ? 32 : from.bitsPerPixel;
    SmartPtr<IVELImage> image = NewImageFromCollection();
    if (!image.Get()) return E_FAIL;
    image->Create(from.width, from.height, from.planes, depth, force32 ? FORMAT_ARGB : from.format);
    const ImageView to = ViewOf(image.Get());
    if (!from.Empty() && Holds(to, from.width, from.height, depth)) {
        const int64_t pivotX = xPivot == 0 ? int64_t{from.width / 2} : xPivot;
        const int64_t pivotY = yPivot == 0 ? int64_t{from.height / 2} : yPivot;
        const auto width = static_cast<int32_t>(from.width), height = static_cast<int32_t>(from.height);
        for (int32_t j = 0; j < height; ++j) {
            const float dx = FromPivot(j, pivotY) * xFactor;
            for (int32_t i = 0; i < width; ++i) {
                const int32_t x = TruncateToInt(static_cast<float>(i) + dx);
                const int32_t y = TruncateToInt(FromPivot(i, pivotX) * yFactor + static_cast<float>(j));
                const uint32_t colour = from.Colour(x, y);
                const bool opaque = force32 && AlphaOf(colour) != kOutsideAlpha;
                StorePixel(to, i, j, opaque ? colour | 0xFF000000u : colour);
            }
        }
    }
    *destination = image.Detach();
    return S_OK;
}

HRESULT CVELImageTransform::Resample(IVEL* source, IVEL** destination, int newWidth, int newHeight, int method,
                                     int mode) {
    if (!source) return E_FAIL;
    if (!destination) return E_POINTER;
    uint32_t depth = 0, format = 0, unused = 0;
    const HRESULT formatResult = source->GetFormat(&depth, &format, &unused);
    if (Failed(formatResult)) return formatResult;
    const ImageView from = ViewOf(source);
    IVELImage* image = NewImageDIB().Detach();
    *destination = image;  // the caller's reference from here on
    if (!image) return E_FAIL;
    SmartPtr<IVELImageDIB> target;
    image->QueryInterface(IID_IVELImageDIB, target.Receive());
    if (!target.Get()) return E_FAIL;
    const auto width = static_cast<uint32_t>(newWidth), height = static_cast<uint32_t>(newHeight);
    target->Create(width, height, from.planes, from.bitsPerPixel, from.format);
    if (from.width == width && from.height == height) {
        target->Assign(source, 0);
        return S_OK;
    }
    const ImageView to = ViewOf(target.Get());
    if (newWidth <= 0 || newHeight <= 0 || !Holds(to, width, height, from.bitsPerPixel)) return S_OK;

    const float xScale = static_cast<float>(from.width) / static_cast<float>(newWidth);
    const float yScale = static_cast<float>(from.height) / static_cast<float>(newHeight);
    const bool shrinking = mode == 0 && (xScale > 1.0f || yScale > 1.0f);
    const bool copied = from.bitsPerPixel == 8 || from.bitsPerPixel == 16 || from.Coloured();
    if (!shrinking && copied) {
        Replicate(from, to, newWidth, newHeight, xScale, yScale);
    } else {
        SampleInto(from, to, newWidth, newHeight, xScale, yScale, method, shrinking);
    }
    return S_OK;
}
