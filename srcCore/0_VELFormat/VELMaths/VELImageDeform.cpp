#include "VELImageDeform.h"

using vel::ImageView;

namespace {

// The source points of one deformation. Inside the circle of radius R around the image's middle they are stated by
// the mode's formula; on it and outside there is none.
class CircleMap {
public:
    CircleMap(int64_t width, int64_t height, int mode)
        : m_mode(mode), m_width(width), m_height(height), m_cx(width / 2), m_cy(height / 2) {
        m_radius = static_cast<int32_t>(UTILMath::Sqrt(static_cast<double>(m_cx * m_cx + m_cy * m_cy)));
        m_half = static_cast<float>(m_radius / 2);
    }

    struct Point {
        int64_t x, y;
    };

    // Called for every pixel in row order: negative modes keep the radius that the pixel before had.
    Point From(int64_t x, int64_t y) {
        const int64_t dx = m_cx - x, dy = m_cy - y;
        const float distance = UTILMath::Sqrt(static_cast<float>(dx * dx + dy * dy));
        if (!(distance < static_cast<float>(m_radius))) return {-1, -1};
        if (m_mode > 3) return {x + x % 32 - 16, y};
        const double d = distance;
        double angle = UTILMath::Atan2(static_cast<double>(dy), static_cast<double>(dx));
        if (m_mode == 3) {
            // 2 pi cut to eight digits.
            return {Truncated(UTILMath::Abs(angle * static_cast<double>(m_width) / 6.2831852)),
                    Truncated(UTILMath::Abs(d * static_cast<double>(m_height) / m_radius))};
        }
        if (m_mode == 0 || (m_mode < 0 && !m_carried)) m_pulled = d * d / m_radius;
        if (m_mode == 1) m_pulled = UTILMath::Sqrt(d * m_radius);
        if (m_mode == 2) {
            m_pulled = d;
            // The centre is not turned; a circle of radius 1 has no other pixel and no half radius.
            if (distance > 0) angle += static_cast<double>(distance / m_half);
        }
        m_carried = true;
        return {m_cx - Truncated(m_pulled * UTILMath::Cos(angle)), m_cy - Truncated(m_pulled * UTILMath::Sin(angle))};
    }

private:
    static int64_t Truncated(double value) { return static_cast<int64_t>(value); }

    int m_mode;
    int64_t m_width, m_height, m_cx, m_cy;
    int32_t m_radius;
    float m_half;
    double m_pulled = 0;     // distance from the middle that the source point has
    bool m_carried = false;  // m_pulled is an earlier pixel's
};

void Deform(const ImageView& target, const ImageView& source, int mode, bool opaque) {
    const int64_t width = static_cast<int32_t>(source.width), height = static_cast<int32_t>(source.height);
    if (width <= 0 || height <= 0 || !target.bits) return;
    CircleMap map(width, height, mode);
    for (int64_t y = 0; y < height; ++y) {
        for (int64_t x = 0; x < width; ++x) {
            const CircleMap::Point from = map.From(x, y);
            uint32_t colour = source.Colour(from.x, from.y);
            if (opaque && vel::AlphaOf(colour) != kOutsideAlpha) colour |= 0xFF000000u;
            SetPixelColor(target.bits, static_cast<int>(x), static_cast<int>(y), static_cast<int>(width),
                          static_cast<int>(height), target.stride, vel::QuadOf(colour),
                          static_cast<int>(target.bitsPerPixel));
        }
    }
}

}  // namespace

HRESULT CVELImageDeform::CircleTransform(IVEL* image, int mode, int opaque) {
    if (!image) return E_FAIL;
    const ImageView source = vel::ViewOf(image);
    SmartPtr<IVELImage> made = vel::NewImageDIB();
    if (!made.Get()) return E_FAIL;
    ImageView target = source;
    target.bitsPerPixel = opaque ? 32 : source.bitsPerPixel;
    target.bits = nullptr;
    made->Create(target.width, target.height, target.planes, target.bitsPerPixel, target.format);
    uint32_t unused = 0;
    made->GetBits(0, &unused, &target.bits, &target.stride);
    Deform(target, source, mode, opaque != 0);
    return vel::DeliverImage(image, std::move(made), nullptr);
}
