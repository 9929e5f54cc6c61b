#include "Geometry.h"

namespace ref {

Outcome IncreaseBpp(const Image& source, int32_t newDepth, uint32_t format, const Host& host) {
    const uint32_t depth = static_cast<uint32_t>(newDepth);
    if (depth <= source.bitsPerPixel) return {kFalse, std::nullopt, true};
    Image destination = host.create(source.width, source.height, source.planes, depth, format);
    if (source.planes == 0) return {kOk, destination, false};
    const bool palette = !source.palette.empty(), indexed = source.bitsPerPixel <= 8;
    const int64_t size = depth / 8;
    for (int64_t y = 0; y < source.height; ++y) {
        for (int64_t x = 0; x < source.width; ++x) {
            const int64_t at = x * size;
            if (!palette && indexed && (depth == 32 || depth == 24)) {
                for (int64_t b = 0; b < 3; ++b) destination.Put(y, at + b, source.Get(y, x));
                if (depth == 32) destination.Put(y, at + 3, 255);
            } else if (!palette && source.bitsPerPixel == 24 && depth == 32) {
                for (int64_t b = 0; b < 3; ++b) destination.Put(y, at + b, source.Get(y, 3 * x + b));
                destination.Put(y, at + 3, 255);
            } else if (palette && ((indexed && depth == 24) || depth == 32)) {
                const uint32_t index = source.Get(y, x);
                const Quad entry = index < source.palette.size() ? source.palette[index] : Quad{0, 0, 0, 0};
                destination.Put(y, at, entry.blue);
                destination.Put(y, at + 1, entry.green);
                destination.Put(y, at + 2, entry.red);
            }
        }
    }
    return {kOk, destination, false};
}

}  // namespace ref
