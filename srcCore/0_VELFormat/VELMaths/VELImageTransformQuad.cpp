// A four-cornered region straightened into a rectangle.
#include "BresenhamLine.h"
#include "PixelBlock.h"
#include "SamplingRows.h"
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
    const int column = edge.m_x / 256, row = edge.m_y / 256;
    if (bitsPerPixel == 8) return {static_cast<double>(column), static_cast<double>(row)};
    return {edge.m_x * 0.00390625, edge.m_y * 0.00390625};
}

// A walk, point by point, without the wrap-around of its 32 bits.
struct WalkPoints {
    int64_t first, step;
    int64_t operator()(size_t k) const { return first + static_cast<int64_t>(k) * step; }
    bool Fits(size_t count) const {
        const int64_t last = (*this)(count);
        return last + 128 <= INT32_MAX && first + 128 <= INT32_MAX && last >= INT32_MIN;
    }
};

// Writes one row of the result along a walk; what cannot be sampled becomes 0. The source's outermost rows and columns
// are never sampled: they leave room for the neighbours that interpolation reads.
class RowWarper {
public:
    RowWarper(const ImageView& source, bool blend)
        : m_kernels(Kernels().Warp()),
          m_pixels(PixelsOf(source)),
          m_blend(blend),
          m_lastX(source.Empty() ? 0 : int64_t{source.width} - 2),
          m_lastY(int64_t{source.height} - 2) {}

    void Warp(uint8_t* out, const CBresenhamLineFPB& scan, size_t count) {
        const WalkPoints x{scan.m_x, scan.m_xStep}, y{scan.m_y, scan.m_yStep};
        const auto bytes = static_cast<size_t>(m_pixels.pixelBytes);
        if (!x.Fits(count) || !y.Fits(count)) return WarpSlowly(out, scan, count);
        m_spanX = UsableSpan(x, count, m_lastX, m_spanX);
        m_spanY = UsableSpan(y, count, m_lastY, m_spanY);
        const Span span = Intersection(m_spanX, m_spanY);
        std::memset(out, 0, span.first * bytes);
        if (span.first < span.last) {
            const FixedWalk walk{static_cast<int32_t>(x(span.first)), static_cast<int32_t>(y(span.first)), scan.m_xStep,
                                 scan.m_yStep};
            WarpUsable(out + span.first * bytes, walk, span.last - span.first);
        }
        std::memset(out + span.last * bytes, 0, (count - span.last) * bytes);
    }

private:
    static Span UsableSpan(const WalkPoints& points, size_t count, int64_t last, const Span& hint) {
        return SpanBetween(
            count, points, [](int64_t p) { return p + 128 < 256; }, [=](int64_t p) { return (p + 128) >> 8 > last; },
            hint);
    }
    // Coordinates that pass 32 bits wrap around, and with them what is usable.
    void WarpSlowly(uint8_t* out, CBresenhamLineFPB scan, size_t count) const {
        const auto bytes = static_cast<size_t>(m_pixels.pixelBytes);
        for (size_t k = 0; k < count; ++k, out += bytes, scan.Advance()) {
            const int64_t px = (int64_t{scan.m_x} + 128) >> 8, py = (int64_t{scan.m_y} + 128) >> 8;
            if (px >= 1 && py >= 1 && px <= m_lastX && py <= m_lastY) {
                WarpUsable(out, {scan.m_x, scan.m_y, 0, 0}, 1);
            } else {
                std::memset(out, 0, bytes);
            }
        }
    }
    void WarpUsable(uint8_t* out, const FixedWalk& walk, size_t count) const {
        if (m_blend) {
            m_kernels.BlendedWalk(out, &m_pixels, &walk, count);
        } else {
            m_kernels.NearestWalk(out, &m_pixels, &walk, count);
        }
    }

    const WarpKernels& m_kernels;
    SampledPixels m_pixels;
    bool m_blend;
    int64_t m_lastX, m_lastY;
    Span m_spanX, m_spanY;  // of the row before: a good first guess
};

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
        RowWarper warper(from, from.bitsPerPixel != 8 && interpolate != 0);
        for (uint32_t r = 0; r < outHeight; ++r, left.Advance(), right.Advance()) {
            CBresenhamLineFPB scan;
            StartWalk(scan, EdgePoint(left, from.bitsPerPixel), EdgePoint(right, from.bitsPerPixel), outWidth);
            warper.Warp(to.Row(r), scan, outWidth);
        }
    }
    *result = image.Detach();
    return S_OK;
}
