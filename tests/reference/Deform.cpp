#include "Deform.h"

#include <cmath>

#include "Pixel.h"

namespace ref {

Made CircleTransform(const Image& source, int32_t mode, int32_t opaque) {
    const uint32_t depth = opaque ? 32 : source.bitsPerPixel;
    Made result{kOk, Created(source.width, source.height, source.planes, depth, source.format)};
    const int64_t width = source.width, height = source.height;
    const int64_t cx = width / 2, cy = height / 2;
    const int32_t R = static_cast<int32_t>(std::sqrt(static_cast<double>(cx * cx + cy * cy)));
    const float half = static_cast<float>(R / 2);
    bool first = true;
    double r = 0;
    for (int64_t y = 0; y < height; ++y) {
        const int64_t dy = cy - y;
        for (int64_t x = 0; x < width; ++x) {
            const int64_t dx = cx - x;
            const float d = std::sqrt(static_cast<float>(dx * dx + dy * dy));
            int64_t fromX = -1, fromY = -1;
            if (d < static_cast<float>(R)) {
                double a = std::atan2(static_cast<double>(dy), static_cast<double>(dx));
                const double distance = d;
                // A negative mode keeps the radius of the pixel before; its first pixel is taken by mode 0.
                if (mode == 0 || (mode < 0 && first)) r = distance * distance / R;
                if (mode == 1) r = std::sqrt(distance * R);
                if (mode == 2) {
                    r = distance;
                    // The centre is not turned, also where the circle is too small for a half radius.
                    if (d != 0) a += static_cast<double>(d / half);
                }
                first = false;
                if (mode == 3) {
                    fromX = static_cast<int64_t>(std::fabs(a * static_cast<double>(width) / 6.2831852));
                    fromY = static_cast<int64_t>(std::fabs(distance * static_cast<double>(height) / R));
                } else if (mode > 3) {
                    fromX = x + x % 32 - 16;
                    fromY = y;
                } else {
                    fromX = cx - static_cast<int64_t>(r * std::cos(a));
                    fromY = cy - static_cast<int64_t>(r * std::sin(a));
                }
            }
            uint32_t colour = GetPixelColor(source, fromX, fromY);
            if (opaque && colour >> 24 != 1) colour |= 0xFF000000;
            SetPixelColor(result.image, x, y, colour);
        }
    }
    return result;
}

}  // namespace ref
