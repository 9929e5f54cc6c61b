#include <algorithm>
#include <cmath>

#include "Geometry.h"

namespace ref {
namespace {

// Sums of fixed-point values wrap at 32 bits.
int32_t Sum(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }

int32_t Fixed(double value) { return static_cast<int32_t>(Truncated(value)); }

double Distance(double x0, double y0, double x1, double y1) {
    return std::sqrt((x1 - x0) * (x1 - x0) + (y1 - y0) * (y1 - y0));
}

uint32_t SideLength(double first, double second) {
    return static_cast<uint32_t>(std::max<int64_t>(0, Truncated(std::min(first, second))));
}

// Whole pixels of a fixed-point coordinate as a scan line's end; 8-bit images drop the fraction.
double ScanEnd(int32_t value, bool dropFraction) { return dropFraction ? value / 256 : value * 0.00390625; }

}  // namespace

void LineStepper::Initialize(double x0, double y0, double x1, double y1, double step) {
    const double n = Distance(x0, y0, x1, y1) / step;
    points = Fixed(1.0 + n);
    if (n > 0.001) {
        xStep = Fixed((x1 - x0) / n * 256.0 + 0.5);
        yStep = Fixed((y1 - y0) / n * 256.0 + 0.5);
    }
    x = Fixed(x0 * 256.0 + 0.5);
    y = Fixed(y0 * 256.0 + 0.5);
}

void LineStepper::Advance() {
    x = Sum(x, xStep);
    y = Sum(y, yStep);
}

uint32_t InterpolateCB(const Image& image, int32_t x, int32_t y, uint32_t pixelBytes) {
    const uint32_t fx = static_cast<uint32_t>(x) & 255, fy = static_cast<uint32_t>(y) & 255;
    const int64_t ix = x >> 8, iy = y >> 8, size = pixelBytes;
    uint32_t packed = 0;
    for (int64_t c = 0; c < size && c < 4; ++c) {
        const uint32_t p00 = image.Get(iy, ix * size + c), p10 = image.Get(iy, (ix + 1) * size + c);
        const uint32_t p01 = image.Get(iy + 1, ix * size + c), p11 = image.Get(iy + 1, (ix + 1) * size + c);
        const uint32_t sum =
            p00 * ((256 - fy) + (256 - fx)) + p10 * ((256 - fy) + fx) + p01 * ((256 - fx) + fy) + p11 * (fy + fx);
        packed |= (((sum >> 2) + 128) >> 8) << (8 * c);
    }
    return packed;
}

Image QuadRegion(const Image& source, const double (&p)[8], uint32_t width, uint32_t height, int16_t interpolate,
                 const Host& host) {
    const double top = Distance(p[0], p[1], p[2], p[3]), bottom = Distance(p[4], p[5], p[6], p[7]);
    const double leftSide = Distance(p[0], p[1], p[4], p[5]), rightSide = Distance(p[2], p[3], p[6], p[7]);
    const uint32_t w = width >= 1 && width <= 65535 ? width : SideLength(top, bottom);
    const uint32_t h = height >= 1 && height <= 65535 ? height : SideLength(leftSide, rightSide);
    Image result = host.create(w, h, 1, source.bitsPerPixel, source.format);
    if (w == 0 || h == 0) return result;

    const bool indexed = source.bitsPerPixel == 8;
    const uint32_t size = source.bitsPerPixel / 8;
    const int64_t lastX = static_cast<int64_t>(source.width) - 2, lastY = static_cast<int64_t>(source.height) - 2;
    LineStepper left, right;
    left.Initialize(p[0], p[1], p[4], p[5], leftSide / h);
    right.Initialize(p[2], p[3], p[6], p[7], rightSide / h);
    for (int64_t r = 0; r < h; ++r, left.Advance(), right.Advance()) {
        const double lx = ScanEnd(left.x, indexed), ly = ScanEnd(left.y, indexed);
        const double rx = ScanEnd(right.x, indexed), ry = ScanEnd(right.y, indexed);
        LineStepper scan;
        scan.Initialize(lx, ly, rx, ry, Distance(lx, ly, rx, ry) / w);
        for (int64_t k = 0; k < w; ++k, scan.Advance()) {
            const int64_t nearX = int64_t{scan.x} + 128, nearY = int64_t{scan.y} + 128;
            const int64_t px = nearX >> 8, py = nearY >> 8;
            const bool usable = nearX >= 256 && nearY >= 256 && px <= lastX && py <= lastY && source.planes > 0;
            const bool blends = usable && !indexed && interpolate != 0;
            const uint32_t blend = blends ? InterpolateCB(source, scan.x, scan.y, size) : 0;
            for (int64_t b = 0; b < size; ++b) {
                uint8_t value = 0;
                if (usable) value = blends ? static_cast<uint8_t>(blend >> (8 * b)) : source.Get(py, px * size + b);
                result.Put(r, k * size + b, value);
            }
        }
    }
    return result;
}

}  // namespace ref
