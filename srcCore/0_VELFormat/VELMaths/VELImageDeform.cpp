#include "VELImageDeform.h"

#include <algorithm>

#include "Kernels/Kernels.h"
#include "SamplingRows.h"

using vel::ImageView;

namespace {

// The source points of one deformation. Inside the circle of radius R around the image's middle they are stated by
// the mode's formula; on it and outside there is none.
class CircleMap {
public:
    CircleMap(int64_t width, int64_t height, int mode)
        : m_mode(mode), m_width(width), m_height(height), m_cx(width / 2), m_cy(height / 2) {
        m_radius = static_cast<int32_t>(UTILMath::Sqrt(static_cast<double>(m_cx * m_cx + m_cy * m_cy)));
        const int32_t half = m_radius / 2;
        m_half = static_cast<float>(half);
    }

    struct Point {
        int64_t x, y;
    };

    // Called for every pixel in row order: negative modes keep the radius that the pixel before had.
    Point From(int64_t x, int64_t y) {
        const int64_t dx = m_cx - x, dy = m_cy - y;
        const float distance = Distance(dx, dy);
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

    bool Inside(int64_t x, int64_t y) const { return Distance(m_cx - x, m_cy - y) < static_cast<float>(m_radius); }
    int32_t Radius() const { return m_radius; }

private:
    static float Distance(int64_t dx, int64_t dy) { return UTILMath::Sqrt(static_cast<float>(dx * dx + dy * dy)); }
    static int64_t Truncated(double value) { return static_cast<int64_t>(value); }

    int m_mode;
    int64_t m_width, m_height, m_cx, m_cy;
    int32_t m_radius;
    float m_half;
    double m_pulled = 0;     // distance from the middle that the source point has
    bool m_carried = false;  // m_pulled is an earlier pixel's
};

// Any depths, any mode, a pixel at a time.
void DeformPixels(const ImageView& target, const ImageView& source, int mode, bool opaque) {
    const int width = static_cast<int>(source.width), height = static_cast<int>(source.height);
    CircleMap map(width, height, mode);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const CircleMap::Point from = map.From(x, y);
            uint32_t colour = source.Colour(from.x, from.y);
            if (opaque && vel::AlphaOf(colour) != kOutsideAlpha) colour |= 0xFF000000u;
            SetPixelColor(target.bits, x, y, width, height, target.stride, vel::QuadOf(colour),
                          static_cast<int>(target.bitsPerPixel));
        }
    }
}

// The points of a whole row and what of them is not sure yet.
struct RowPoints {
    int32_t* columns;
    int32_t* rows;
    int32_t* unsure;  // places whose points need the formula
    size_t unsureCount;
};

// Whole rows: points by the kernel, those it is unsure of by the formula, then the pixels. The middle lies at (width /
// 2, height / 2), and about it the sure points are mirrored: truncation is the same on both sides of 0, so
//   fish-eye and bulge   (-dx, dy) and (dx, -dy) have the point's x or y mirrored,
//   swirl                (-dx, -dy) has both mirrored,
//   unwrap               (dx, -dy) has the same point.
// The saw-tooth has no use for that.
class CircleRows {
public:
    CircleRows(const ImageView& target, const ImageView& source, int mode, bool opaque, const RowPoints& points)
        : m_kernels(vel::Kernels().Deform()),
          m_target(target),
          m_mode(mode),
          m_width(static_cast<int32_t>(source.width)),
          m_height(static_cast<int32_t>(source.height)),
          m_map(m_width, m_height, mode),
          m_source{vel::PixelsOf(source), m_width, m_height, source.Colour(-1, -1), opaque ? 0xFF000000u : 0u},
          m_points(points) {}

    void Run() {
        if (m_mode > 3) {
            for (int32_t y = 0; y < m_height; ++y) WriteSawTeeth(y);
            return;
        }
        const int32_t centre = m_height / 2;
        for (int32_t y = 0; y <= centre && y < m_height; ++y) {
            MakePoints(centre - y);
            Write(y);
            const int32_t mirrored = 2 * centre - y;
            if (mirrored == y || mirrored >= m_height) continue;
            MirrorPoints();
            Write(mirrored);
        }
    }

private:
    void MakePoints(int32_t dy) {
        const int32_t centre = m_width / 2;
        const vel::CircleRow row = {m_mode, centre, m_height / 2, m_width, m_height, m_map.Radius(), dy};
        if (m_mode > 1) {
            m_kernels.CirclePoints(m_points.columns, m_points.rows, &row, 0, static_cast<size_t>(m_width));
            FindUnsure(m_width);
            return;
        }
        const int32_t half = std::min(centre + 1, m_width);
        m_kernels.CirclePoints(m_points.columns, m_points.rows, &row, 0, static_cast<size_t>(half));
        FindUnsure(half);
        for (int32_t x = half; x < m_width; ++x) {
            // Unsigned because what is unsure is the least number.
            m_points.columns[x] = static_cast<int32_t>(2 * static_cast<uint32_t>(centre) -
                                                       static_cast<uint32_t>(m_points.columns[2 * centre - x]));
            m_points.rows[x] = m_points.rows[2 * centre - x];
        }
        for (size_t i = m_points.unsureCount; i-- > 0;) {
            const int32_t mirrored = 2 * centre - m_points.unsure[i];
            if (mirrored >= half && mirrored < m_width) m_points.unsure[m_points.unsureCount++] = mirrored;
        }
    }

    // From the points of a row above the middle to those of the row as far below.
    void MirrorPoints() {
        int32_t *columns = m_points.columns, *rows = m_points.rows;
        const int32_t across = m_width / 2 * 2, down = m_height / 2 * 2;
        if (m_mode == 2) {
            for (size_t i = 0; i < m_points.unsureCount; ++i) columns[m_points.unsure[i]] = vel::kUnsureColumn;
            // Column 0 has no partner where the width is even.
            std::reverse(columns + 1 - m_width % 2, columns + m_width);
            std::reverse(rows + 1 - m_width % 2, rows + m_width);
            if (m_width % 2 == 0) columns[0] = vel::kUnsureColumn;
            FindUnsure(m_width);
            for (int32_t x = 0; x < m_width; ++x) {
                columns[x] = static_cast<int32_t>(static_cast<uint32_t>(across) - static_cast<uint32_t>(columns[x]));
            }
        }
        if (m_mode < 3) {
            for (int32_t x = 0; x < m_width; ++x) rows[x] = down - rows[x];
        }
    }

    // Nearly all pieces of a row have none.
    void FindUnsure(int32_t width) {
        constexpr int32_t kPiece = 256;
        m_points.unsureCount = 0;
        for (int32_t first = 0; first < width; first += kPiece) {
            const int32_t end = std::min(first + kPiece, width);
            int32_t any = 0;
            for (int32_t x = first; x < end; ++x) any |= m_points.columns[x] == vel::kUnsureColumn;
            if (!any) continue;
            for (int32_t x = first; x < end; ++x) {
                if (m_points.columns[x] == vel::kUnsureColumn) m_points.unsure[m_points.unsureCount++] = x;
            }
        }
    }

    void Write(int32_t y) {
        for (size_t i = 0; i < m_points.unsureCount; ++i) {
            const int32_t x = m_points.unsure[i];
            const CircleMap::Point from = m_map.From(x, y);
            m_points.columns[x] = static_cast<int32_t>(from.x);
            m_points.rows[x] = static_cast<int32_t>(from.y);
        }
        m_kernels.GatherPoints(m_target.Row(y), static_cast<int>(m_target.PixelBytes()), &m_source, m_points.columns,
                               m_points.rows, static_cast<size_t>(m_width));
    }

    // Every 32 columns the saw-tooth takes every second pixel of 64. Blocks whose pixels all are inside the circle and
    // the image go by themselves where pixels are copied as they are; what is left and right of them goes point by
    // point.
    void WriteSawTeeth(int32_t y) {
        constexpr int32_t kTooth = 32, kReach = 16;
        const ptrdiff_t pixelBytes = m_source.pixels.pixelBytes;
        const bool copied = pixelBytes == static_cast<ptrdiff_t>(m_target.PixelBytes()) && !m_source.opaque;
        int32_t first = 1, last = copied ? (m_width - kReach) / kTooth : 0;
        while (first < last && !m_map.Inside(first * kTooth, y)) ++first;
        while (first < last && !m_map.Inside(last * kTooth - 1, y)) --last;
        if (first >= last) return WritePoints(y, 0, m_width);
        WritePoints(y, 0, first * kTooth);
        m_kernels.HalveBlocks(
            m_target.Row(y) + first * kTooth * pixelBytes,
            m_source.pixels.bits + y * m_source.pixels.stride + (first * kTooth - kReach) * pixelBytes,
            static_cast<size_t>(last - first), static_cast<int>(pixelBytes));
        WritePoints(y, last * kTooth, m_width);
    }

    void WritePoints(int32_t y, int32_t first, int32_t last) {
        const vel::CircleRow row = {m_mode,   m_width / 2,    m_height / 2,    m_width,
                                    m_height, m_map.Radius(), m_height / 2 - y};
        const auto count = static_cast<size_t>(last - first);
        m_kernels.CirclePoints(m_points.columns, m_points.rows, &row, first, count);
        const size_t pixelBytes = m_target.PixelBytes();
        m_kernels.GatherPoints(m_target.Row(y) + static_cast<size_t>(first) * pixelBytes, static_cast<int>(pixelBytes),
                               &m_source, m_points.columns, m_points.rows, count);
    }

    const vel::DeformKernels& m_kernels;
    ImageView m_target;
    int m_mode;
    int32_t m_width, m_height;
    CircleMap m_map;
    vel::CircleSource m_source;
    RowPoints m_points;
};

// Depths that are whole bytes on both sides.
bool RowsCanBeGathered(uint32_t from, uint32_t to) {
    return (from == 8 || from == 24 || from == 32) && (to == from || to == 32);
}

HRESULT Deform(const ImageView& target, const ImageView& source, int mode, bool opaque) {
    // Sides beyond 2^20 would make the kernel's points less exact than it promises.
    constexpr uint32_t kGreatestSide = 1u << 20;
    if (static_cast<int32_t>(source.width) <= 0 || static_cast<int32_t>(source.height) <= 0 || !target.bits)
        return S_OK;
    if (!RowsCanBeGathered(source.bitsPerPixel, target.bitsPerPixel) || !source.bits || mode < 0 ||
        std::max(source.width, source.height) > kGreatestSide) {
        DeformPixels(target, source, mode, opaque);
        return S_OK;
    }
    const size_t width = source.width;
    const vel::ScratchBuffer scratch((3 * width + 1) * sizeof(int32_t));
    int32_t* points = scratch.As<int32_t>();
    if (!points) return E_FAIL;
    CircleRows(target, source, mode, opaque, {points, points + width, points + 2 * width, 0}).Run();
    return S_OK;
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
    if (const HRESULT code = Deform(target, source, mode, opaque != 0); Failed(code)) return code;
    return vel::DeliverImage(image, std::move(made), nullptr);
}
