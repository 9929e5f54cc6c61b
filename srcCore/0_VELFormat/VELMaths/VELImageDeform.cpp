#include "VELImageDeform.h"

#include <algorithm>
#include <cstring>

#include "Kernels/Kernels.h"
#include "PixelBlock.h"
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

// Rows in strips of columns, each taken from the image's top or bottom to its middle, so that the source pixels of
// neighbouring rows are still in the nearest caches: points by the kernel, those it is unsure of by the formula, then
// the pixels. The middle lies at (width / 2, height / 2), and about it the sure points are mirrored: truncation is the
// same on both sides of 0, so
//   fish-eye and bulge   (-dx, dy) and (dx, -dy) have the point's x or y mirrored,
//   swirl                (-dx, -dy) has both mirrored,
//   unwrap               (dx, -dy) has the same point.
// The saw-tooth has no use for that.
class CircleRows {
public:
    CircleRows(const ImageView& target, const ImageView& source, int mode, bool opaque)
        : m_kernels(vel::Kernels().Deform()),
          m_target(target),
          m_mode(mode),
          m_width(static_cast<int32_t>(source.width)),
          m_height(static_cast<int32_t>(source.height)),
          m_centreX(m_width / 2),
          m_centreY(m_height / 2),
          m_map(m_width, m_height, mode),
          m_source{vel::PixelsOf(source), m_width, m_height, source.Colour(-1, -1), opaque ? 0xFF000000u : 0u} {}

    void Run() {
        if (m_mode > 3) {
            for (int32_t y = 0; y < m_height; ++y) WriteSawTeeth(y);
            return;
        }
        const int32_t half = std::min(m_centreX + 1, m_width), made = m_mode < 2 ? half : m_width;
        for (int32_t first = 0; first < made; first += kStrip) {
            const Piece piece{first, std::min(first + kStrip, made)};
            for (int32_t y = 0; y <= m_centreY && y < m_height; ++y) {
                MakePoints(m_points, piece, y);
                LookAhead(m_points, piece, y);
                WriteMirrored(piece, y);
            }
        }
    }

private:
    static constexpr int32_t kStrip = 256;
    static constexpr int32_t kRowsAhead = 8;

    // Columns of a row.
    struct Piece {
        int32_t first, last;
        size_t Count() const { return static_cast<size_t>(last - first); }
    };
    struct Points {
        alignas(64) int32_t columns[kStrip];
        alignas(64) int32_t rows[kStrip];
        bool unsure = false;             // some points need the formula
        int32_t acrossAhead, downAhead;  // about how far the points will have moved kRowsAhead rows on
    };

    // Writes a piece of row y, at or above the middle, and those it is mirrored to.
    void WriteMirrored(const Piece& piece, int32_t y) {
        const int32_t across = 2 * m_centreX, down = 2 * m_centreY, below = down - y;
        const bool hasBelow = below > y && below < m_height;
        // Column 0 has no partner where the width is even, the middle one is its own.
        const Piece partners{std::max(piece.first, 1 - m_width % 2),
                             m_mode < 2 ? std::min(piece.last, m_centreX) : piece.last};
        if (m_mode < 2) WriteMirror(piece, partners, y, {across, vel::kNotMirrored});
        if (hasBelow && m_mode == 2) {
            WriteMirror(piece, partners, below, {across, down});
            if (partners.first > piece.first) WriteByFormula(0, below);
        } else if (hasBelow && (m_mode < 2 || m_points.unsure)) {
            WriteMirror(piece, piece, below, {vel::kNotMirrored, m_mode < 2 ? down : vel::kNotMirrored});
            if (m_mode < 2) WriteMirror(piece, partners, below, {across, down});
        }
        const bool same = hasBelow && m_mode == 3 && !m_points.unsure;
        Write(m_points, piece, y);
        if (same) std::memcpy(Pixel(piece.first, below), Pixel(piece.first, y), piece.Count() * m_target.PixelBytes());
    }

    uint8_t* Pixel(int32_t x, int32_t y) const {
        return m_target.Row(y) + static_cast<size_t>(x) * m_target.PixelBytes();
    }

    void MakePoints(Points& points, const Piece& piece, int32_t y) {
        const vel::CircleRow row = {m_mode, m_centreX, m_centreY, m_width, m_height, m_map.Radius(), m_centreY - y};
        points.unsure = m_kernels.CirclePoints(points.columns, points.rows, &row, piece.first, piece.Count()) != 0;
    }

    // As far as the piece's middle point has moved since as many rows ago. A strip begins with y = 0.
    void LookAhead(Points& points, const Piece& piece, int32_t y) {
        const size_t middle = piece.Count() / 2;
        const auto column = points.columns[middle], row = points.rows[middle];
        Place& before = m_before[y % kRowsAhead];
        const bool known = y >= kRowsAhead && before.column >= 0 && column >= 0;
        points.acrossAhead = known ? column - before.column : 0;
        points.downAhead = known ? row - before.row : 0;
        before = {column, row};
    }

    // Writes row y's piece that lies opposite of `part`, a part of the piece that m_points belong to.
    void WriteMirror(const Piece& piece, const Piece& part, int32_t y, const vel::CircleMirror& mirror) {
        if (part.first >= part.last) return;
        const int32_t skipped = part.first - piece.first;
        m_kernels.MirrorPoints(m_mirrored.columns, m_mirrored.rows, m_points.columns + skipped, m_points.rows + skipped,
                               &mirror, part.Count());
        const bool reversed = mirror.across != vel::kNotMirrored;
        m_mirrored.unsure = m_points.unsure;
        m_mirrored.acrossAhead = reversed ? -m_points.acrossAhead : m_points.acrossAhead;
        m_mirrored.downAhead = mirror.down != vel::kNotMirrored ? -m_points.downAhead : m_points.downAhead;
        Write(m_mirrored, reversed ? Piece{mirror.across - part.last + 1, mirror.across - part.first + 1} : part, y);
    }

    void WriteByFormula(int32_t x, int32_t y) {
        m_mirrored.columns[0] = vel::kUnsureColumn;
        m_mirrored.acrossAhead = m_mirrored.downAhead = 0;
        m_mirrored.unsure = true;
        Write(m_mirrored, {x, x + 1}, y);
    }

    void Write(Points& points, const Piece& piece, int32_t y) {
        const int32_t next = y <= m_centreY ? y + 1 : y - 1;
        if (next >= 0 && next < m_height && piece.first < piece.last) {
            vel::FetchToWrite(Pixel(piece.first, next), piece.Count() * m_target.PixelBytes());
        }
        for (int32_t x = piece.first; points.unsure && x < piece.last; ++x) {
            const int32_t i = x - piece.first;
            if (points.columns[i] != vel::kUnsureColumn) continue;
            const CircleMap::Point from = m_map.From(x, y);
            points.columns[i] = static_cast<int32_t>(from.x);
            points.rows[i] = static_cast<int32_t>(from.y);
        }
        const vel::SampledPixels& pixels = m_source.pixels;
        const ptrdiff_t ahead = points.downAhead * pixels.stride + ptrdiff_t{points.acrossAhead} * pixels.pixelBytes;
        m_kernels.GatherPoints(Pixel(piece.first, y), static_cast<int>(m_target.PixelBytes()), &m_source,
                               points.columns, points.rows, ahead, piece.Count());
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
        for (; first < last; first += kStrip) {
            const Piece piece{first, std::min(first + kStrip, last)};
            MakePoints(m_points, piece, y);
            m_points.acrossAhead = m_points.downAhead = 0;
            Write(m_points, piece, y);
        }
    }

    const vel::DeformKernels& m_kernels;
    ImageView m_target;
    int m_mode;
    int32_t m_width, m_height, m_centreX, m_centreY;
    CircleMap m_map;
    vel::CircleSource m_source;
    Points m_points, m_mirrored;
    struct Place {
        int32_t column, row;
    } m_before[kRowsAhead];  // the last middle points of the strip
};

// Depths that are whole bytes on both sides.
bool RowsCanBeGathered(uint32_t from, uint32_t to) {
    return (from == 8 || from == 24 || from == 32) && (to == from || to == 32);
}

void Deform(const ImageView& target, const ImageView& source, int mode, bool opaque) {
    // Sides beyond 2^20 would make the kernel's points less exact than it promises.
    constexpr uint32_t kGreatestSide = 1u << 20;
    if (static_cast<int32_t>(source.width) <= 0 || static_cast<int32_t>(source.height) <= 0 || !target.bits) return;
    if (!RowsCanBeGathered(source.bitsPerPixel, target.bitsPerPixel) || !source.bits || mode < 0 ||
        std::max(source.width, source.height) > kGreatestSide) {
        DeformPixels(target, source, mode, opaque);
    } else {
        CircleRows(target, source, mode, opaque).Run();
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
