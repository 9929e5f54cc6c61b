#include <cmath>

#include "Geometry.h"

namespace ref {

Image Skew(const Image& source, float xFactor, float yFactor, int32_t xPivot, int32_t yPivot, bool force32,
           const Host& host) {
    const int64_t width = source.width, height = source.height;
    Image destination = host.create(source.width, source.height, source.planes, force32 ? 32 : source.bitsPerPixel,
                                    force32 ? kArgb : source.format);
    if (source.planes == 0) return destination;
    const int64_t pivotX = xPivot == 0 ? width / 2 : xPivot, pivotY = yPivot == 0 ? height / 2 : yPivot;
    for (int64_t j = 0; j < height; ++j) {
        const float dx = static_cast<float>(j - pivotY) * xFactor;
        for (int64_t i = 0; i < width; ++i) {
            const int64_t sx = Truncated(static_cast<float>(i) + dx);
            const int64_t sy = Truncated(static_cast<float>(i - pivotX) * yFactor + static_cast<float>(j));
            uint32_t colour = GetPixelColor(source, sx, sy);
            if (force32 && colour >> 24 != 1) colour |= 0xFF000000;
            SetPixelColor(destination, i, j, colour);
        }
    }
    return destination;
}

std::optional<Image> Resample(const Image& source, int32_t newWidth, int32_t newHeight, int32_t method, int32_t mode,
                              const Host& host) {
    const uint32_t depth = source.bitsPerPixel;
    if (source.width == static_cast<uint32_t>(newWidth) && source.height == static_cast<uint32_t>(newHeight)) {
        return std::nullopt;
    }
    Image destination = host.create(static_cast<uint32_t>(newWidth), static_cast<uint32_t>(newHeight), source.planes,
                                    depth, source.format);
    if (source.planes == 0) return destination;
    const float xScale = static_cast<float>(source.width) / static_cast<float>(newWidth);
    const float yScale = static_cast<float>(source.height) / static_cast<float>(newHeight);
    const bool shrinks = mode == 0 && (xScale > 1.0f || yScale > 1.0f);
    const bool copies = !shrinks && (depth == 8 || depth == 16 || depth == 24 || depth == 32);

    for (int64_t j = 0; j < newHeight; ++j) {
        for (int64_t i = 0; i < newWidth; ++i) {
            if (copies) {
                const int64_t row = Truncated(std::floor(static_cast<float>(j) * yScale));
                const int64_t column = Truncated(std::floor(static_cast<float>(i) * xScale));
                const int64_t size = depth / 8;
                for (int64_t b = 0; b < size; ++b) destination.Put(j, i * size + b, source.Get(row, column * size + b));
                continue;
            }
            float x = (static_cast<float>(i) + 0.5f) * xScale - 0.5f;
            const float y = (static_cast<float>(j) + 0.5f) * yScale - 0.5f;
            if (shrinks && depth == 24) x = static_cast<float>(Truncated(x) / 3 * 3);
            if (shrinks && depth == 32) x = static_cast<float>(Truncated(x) / 4 * 4);
            SetPixelColor(destination, i, j, GetPixelColorInterpolated(source, x, y, method));
        }
    }
    return destination;
}

}  // namespace ref
