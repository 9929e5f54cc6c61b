#include <algorithm>

#include "Geometry.h"

namespace ref {
namespace {

Image CreateLike(const Image& source, uint32_t width, uint32_t height, const Host& host) {
    return host.create(width, height, source.planes, source.bitsPerPixel, source.format);
}

}  // namespace

Image Flip(const Image& source, const Host& host) {
    Image destination = CreateLike(source, source.width, source.height, host);
    if (source.planes == 0) return destination;
    // Whole rows of bytes, as far as a row of the destination is long.
    const int64_t bytes = std::min(std::llabs(source.stride), std::llabs(destination.stride));
    const int64_t height = source.height;
    for (int64_t r = 0; r < height; ++r) {
        for (int64_t b = 0; b < bytes; ++b) destination.Put(r, b, source.Get(height - 1 - r, b));
    }
    return destination;
}

Image Mirror(const Image& source, const Host& host) {
    Image destination = CreateLike(source, source.width, source.height, host);
    const int64_t size = source.bitsPerPixel / 8, width = source.width, height = source.height;
    if (source.planes == 0 || (source.bitsPerPixel != 8 && source.bitsPerPixel != 24 && source.bitsPerPixel != 32)) {
        return destination;
    }
    for (int64_t r = 0; r < height; ++r) {
        for (int64_t c = 0; c < width; ++c) {
            for (int64_t b = 0; b < size; ++b) {
                destination.Put(r, c * size + b, source.Get(r, (width - 1 - c) * size + b));
            }
        }
    }
    return destination;
}

void FlipBits(Image& image) {
    if (image.planes == 0 || (image.bitsPerPixel != 24 && image.bitsPerPixel != 32)) return;
    const int64_t size = image.bitsPerPixel / 8, width = image.width, height = image.height;
    for (int64_t r = 0; r < height; ++r) {
        for (int64_t c = 0; c < width; ++c) {
            const uint8_t blue = image.Get(r, c * size), red = image.Get(r, c * size + 2);
            image.Put(r, c * size, red);
            image.Put(r, c * size + 2, blue);
        }
    }
}

std::optional<Image> Rotate4(const Image& source, int32_t angle, const Host& host) {
    if (angle != 90 && angle != 180 && angle != 270) return std::nullopt;
    const int64_t width = source.width, height = source.height, size = source.bitsPerPixel / 8;
    const bool half = angle == 180;
    Image destination = half ? CreateLike(source, source.width, source.height, host)
                             : CreateLike(source, source.height, source.width, host);
    for (uint32_t plane = 0; plane < source.planes; ++plane) {
        for (int64_t r = 0; r < (half ? height : width); ++r) {
            for (int64_t c = 0; c < (half ? width : height); ++c) {
                int64_t row = 0, column = 0;
                if (angle == 90) row = height - 1 - c, column = r;
                if (angle == 180) row = height - 1 - r, column = width - 2 - c;
                if (angle == 270) row = c, column = width - 1 - r;
                for (int64_t b = 0; b < size; ++b) {
                    destination.Put(r, c * size + b, source.Get(row, column * size + b, plane), plane);
                }
            }
        }
    }
    return destination;
}

}  // namespace ref
