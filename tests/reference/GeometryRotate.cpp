#include <algorithm>
#include <cmath>

#include "Geometry.h"

namespace ref {
namespace {

// The grid of destination pixels that covers the turned source.
struct Grid {
    float offX, offY;
    int64_t width, height;
};

Grid GridOver(const float (&x)[4], const float (&y)[4]) {
    const float minX = std::min({x[0], x[1], x[2], x[3]}), maxX = std::max({x[0], x[1], x[2], x[3]});
    const float minY = std::min({y[0], y[1], y[2], y[3]}), maxY = std::max({y[0], y[1], y[2], y[3]});
    Grid grid;
    grid.width = Truncated(std::floor(maxX - minX + 0.5f));
    grid.height = Truncated(std::floor(maxY - minY + 0.5f));
    grid.offX = (minX + maxX - static_cast<float>(grid.width - 1)) * 0.5f;
    grid.offY = (minY + maxY - static_cast<float>(grid.height - 1)) * 0.5f;
    return grid;
}

Grid TurnedGrid(const Image& source, float ca, float sa, bool turn) {
    const float right = static_cast<float>(source.width) - 0.5f, bottom = static_cast<float>(source.height) - 0.5f;
    const float cornerX[4] = {-0.5f, right, -0.5f, right}, cornerY[4] = {-0.5f, -0.5f, bottom, bottom};
    float x[4], y[4];
    for (int i = 0; i < 4; ++i) {
        x[i] = turn ? cornerX[i] * ca - cornerY[i] * sa : cornerX[i];
        y[i] = turn ? cornerX[i] * sa + cornerY[i] * ca : cornerY[i];
    }
    return GridOver(x, y);
}

Image GeneralRotate(const Image& source, int32_t degrees, int32_t method, bool force32, bool keepSize,
                    const Host& host) {
    const float angle = -static_cast<float>(degrees) * 1.5707964f / 90.0f;
    const float ca = static_cast<float>(std::cos(static_cast<double>(angle)));
    const float sa = static_cast<float>(std::sin(static_cast<double>(angle)));
    const float width = static_cast<float>(source.width), height = static_cast<float>(source.height);
    Grid grid = TurnedGrid(source, ca, sa, !keepSize);
    if (keepSize) {
        grid.offX -= width * 0.5f;
        grid.offY -= height * 0.5f;
    }
    Image destination = host.create(static_cast<uint32_t>(grid.width), static_cast<uint32_t>(grid.height),
                                    source.planes, force32 ? 32 : source.bitsPerPixel, force32 ? 0 : source.format);
    if (source.planes == 0) return destination;
    host.fill(destination, GetPixelColor(source, 0, 0) | 0xFF000000);

    const int64_t pixelSize = destination.bitsPerPixel != 32 && !force32 ? 3 : 4;
    float oy = grid.offY;
    for (int64_t j = 0; j < grid.height; ++j, oy += 1.0f) {
        float ox = grid.offX;
        int64_t at = 0;
        for (int64_t i = 0; i < grid.width; ++i, ox += 1.0f) {
            float x = ox * ca + oy * sa, y = oy * ca - ox * sa;
            if (keepSize) {
                x += static_cast<float>(grid.width) * 0.5f;
                y += static_cast<float>(grid.height) * 0.5f;
            }
            if (!(x > 3.0f && x < width - 4.0f && y > 3.0f && y < height - 4.0f)) {
                at += pixelSize;
                continue;
            }
            const uint32_t colour = GetPixelColorInterpolated(source, x, y, method);
            if (destination.bitsPerPixel <= 15) {
                destination.Put(j, at, static_cast<uint8_t>(colour >> 16));
                at += 1;
                continue;
            }
            for (int64_t b = 0; b < pixelSize; ++b) destination.Put(j, at + b, static_cast<uint8_t>(colour >> (8 * b)));
            at += pixelSize;
        }
    }
    return destination;
}

}  // namespace

Outcome Rotate(const Image& source, int32_t degrees, int32_t method, bool force32, bool keepSize, const Host& host) {
    if (degrees == 0) return {kOk, std::nullopt, true};
    const int32_t turn = degrees == -90 ? 270 : degrees;
    if (turn == 90 || turn == 180 || turn == 270) return {kOk, Rotate4(source, turn, host), false};
    return {kOk, GeneralRotate(source, degrees, method, force32, keepSize, host), false};
}

void RotatePaste(const Image& source, Image& destination, double radians, int32_t method, int32_t transparentColour) {
    if (destination.bitsPerPixel < 24 || source.planes == 0 || destination.planes == 0) return;
    const float ca = static_cast<float>(std::cos(radians)), sa = static_cast<float>(std::sin(radians));
    const float width = static_cast<float>(source.width), height = static_cast<float>(source.height);
    const Grid grid = TurnedGrid(source, ca, sa, true);
    const int64_t rows = std::min<int64_t>(destination.height, grid.height);
    const int64_t columns = std::min<int64_t>(destination.width, grid.width);
    const bool fourBytes = destination.bitsPerPixel > 24;

    float oy = grid.offY;
    for (int64_t j = 0; j < rows; ++j, oy += 1.0f) {
        float ox = grid.offX;
        for (int64_t i = 0; i < columns; ++i, ox += 1.0f) {
            const float x = ox * ca + oy * sa, y = oy * ca - ox * sa;
            if (x < 0.0f || y < 0.0f || x > width || y > height) continue;
            const uint32_t sample = GetPixelColorInterpolated(source, x, y, method);
            const uint32_t alpha = sample >> 24;
            const int64_t at = i * (fourBytes ? 4 : 3);
            if (source.bitsPerPixel >= 25) {
                const float f = static_cast<float>(alpha / 255.0), g = static_cast<float>((255 - alpha) / 255.0);
                for (int64_t b = 0; b < 3; ++b) {
                    const float blend = static_cast<float>(sample >> (8 * b) & 0xFF) * f +
                                        static_cast<float>(destination.Get(j, at + b)) * g;
                    destination.Put(j, at + b, static_cast<uint8_t>(blend));
                }
            } else {
                if (static_cast<int32_t>(sample & 0x00FFFFFF) == transparentColour) continue;
                for (int64_t b = 0; b < 3; ++b) destination.Put(j, at + b, static_cast<uint8_t>(sample >> (8 * b)));
            }
            if (fourBytes) destination.Put(j, at + 3, static_cast<uint8_t>(alpha));
        }
    }
}

}  // namespace ref
