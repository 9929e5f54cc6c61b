// A four-cornered region straightened into a rectangle.
#include "BresenhamLine.h"
#include "PixelBlock.h"
#include "Truncate.h"
#include "VELImageTransform.h"

using namespace vel;

namespace {

struct Point {
    double x, y;
};

double Distance(const Point& a, const Point& b) {
    const double dx = b.x - a.x, dy = b.y - a.y;
    return UTILMath::Sqrt(dx * dx + dy * dy);
}

// The requested size when it is 1 to 65535, else the shorter of two opposite edges; 0 when that is no number.
uint32_t OutputSize(uint32_t requested, double edge, double opposite) {
    if (requested >= 1 && requested <= 65535) return requested;
    return static_cast<uint32_t>(std::max(0, TruncateToInt(std::min(edge, opposite))));
}

void StartWalk(CBresenhamLineFPB& walk, const Point& from, const Point& to, uint32_t points) {
    walk.Initialize(from.x, from.y, to.x, to.y, Distance(from, to) / points);
}

// The current point of an edge walk in pixels. 8-bit images drop the fraction; the others keep it.
Point EdgePoint(const CBresenhamLineFPB& edge, uint32_t bitsPerPixel) {
    if (bitsPerPixel == 8) return {static_cast<double>(edge.m_x / 256), static_cast<double>(edge.m_y / 256)};
    return {edge.m_x * 0.00390625, edge.m_y * 0.00390625};
}

int32_t NearestPixel(int32_t position) { return static_cast<int32_t>(static_cast<uint32_t>(position) + 128u) >> 8; }

// One row of the result, along `scan`. The source's outermost rows and columns are never sampled: they leave room for
// the neighbours that interpolation reads. What falls there or outside becomes 0.
void WarpRow(uint8_t* out, const ImageView& source, CBresenhamLineFPB scan, uint32_t count, bool interpolate) {
    const auto pixelBytes = static_cast<int>(source.PixelBytes());
    const int64_t lastX = source.Empty() ? 0 : int64_t{source.width} - 2, lastY = int64_t{source.height} - 2;
    for (uint32_t k = 0; k < count; ++k, out += pixelBytes, scan.Advance()) {
        const int32_t px = NearestPixel(scan.m_x), py = NearestPixel(scan.m_y);
        const bool usable = px >= 1 && py >= 1 && px <= lastX && py <= lastY;
        if (!usable) {
            std::memset(out, 0, static_cast<size_t>(pixelBytes));
        } else if (interpolate) {
            const int colour =
                CBresenhamLineFPB::InterpolateCB(scan.m_x, scan.m_y, source.bits, source.stride, pixelBytes);
            for (int c = 0; c < pixelBytes; ++c) out[c] = c < 4 ? static_cast<uint8_t>(colour >> (8 * c)) : 0;
        } else {
            std::memcpy(out, source.Row(py) + int64_t{px} * pixelBytes, static_cast<size_t>(pixelBytes));
        }
    }
}

}  // namespace

HRESULT CVELImageTransform::Quad(IVEL* source, IVEL** result, double x0, double y0, double x1, double y1, double x2,
                                 double y2, double x3, double y3, unsigned int width, unsigned int height,
                                 short interpolate) {
    if (!source) return E_FAIL;
    if (!result) return E_POINTER;
    const Point topLeft{x0, y0}, topRight{x1, y1}, bottomLeft{x2, y2}, bottomRight{x3, y3};
    const ImageView from = ViewOf(source);
    const uint32_t outWidth = OutputSize(width, Distance(topLeft, topRight), Distance(bottomLeft, bottomRight));
    const uint32_t outHeight = OutputSize(height, Distance(topLeft, bottomLeft), Distance(topRight, bottomRight));
    SmartPtr<IVELImage> image = NewImageDIB();
    if (!image.Get()) return E_FAIL;
    image->Create(outWidth, outHeight, 1, from.bitsPerPixel, from.format);
    const ImageView to = ViewOf(image.Get());
    if (outWidth > 0 && outHeight > 0 && Holds(to, outWidth, outHeight, from.bitsPerPixel)) {
        // Walks start with steps of 0: an edge or a row whose ends coincide stays on one point.
        CBresenhamLineFPB left, right;
        StartWalk(left, topLeft, bottomLeft, outHeight);
        StartWalk(right, topRight, bottomRight, outHeight);
        const bool blend = from.bitsPerPixel != 8 && interpolate != 0;
        for (uint32_t r = 0; r < outHeight; ++r, left.Advance(), right.Advance()) {
            CBresenhamLineFPB scan;
            StartWalk(scan, EdgePoint(left, from.bitsPerPixel), EdgePoint(right, from.bitsPerPixel), outWidth);
            WarpRow(to.Row(r), from, scan, outWidth, blend);
        }
    }
    *result = image.Detach();
    return S_OK;
}
