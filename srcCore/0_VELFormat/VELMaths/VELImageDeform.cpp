#include "VELImageDeform.h"

#include <algorithm>

#include "Kernels/Kernels.h"

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

    int32_t Radius() const { return m_radius; }

private:
    static int64_t Truncated(double value) { return static_cast<int64_t>(value); }

    int m_mode;
    int64_t m_width, m_height, m_cx, m_cy;
    int32_t m_radius;
    float m_half;
    double m_pulled = 0;     // distance from the middle that the source point has
    bool m_carried = false;  // m_pulled is an earlier pixel's
};

// What one row needs to be gathered.
struct Gather {
    ImageView source;
    const uint8_t* lastWord;  // the last place in the source's pixel block where four bytes can be read
    uint32_t outside;         // colour of points outside the source
    uint32_t opaque;          // bits that every colour from inside gets
};

// A pixel as a colour word; one byte is a grey.
template <int kBytes>
uint32_t LoadColour(const uint8_t* pixel, const Gather& gather) {
    if (kBytes == 1) return pixel[0] * 0x00010101u;
    uint32_t word = 0;
    if (kBytes == 4 || pixel <= gather.lastWord) {
        std::memcpy(&word, pixel, 4);
        return kBytes == 4 ? word : word & 0x00FFFFFFu;
    }
    std::memcpy(&word, pixel, kBytes);
    return word;
}

template <int kFrom, int kTo>
void GatherRow(uint8_t* to, const int32_t* columns, const int32_t* rows, size_t count, const Gather& gather) {
    for (size_t i = 0; i < count; ++i, to += kTo) {
        const bool inside = static_cast<uint32_t>(columns[i]) < gather.source.width &&
                            static_cast<uint32_t>(rows[i]) < gather.source.height;
        uint32_t colour = gather.outside;
        if (inside) {
            colour = LoadColour<kFrom>(gather.source.Row(rows[i]) + int64_t{columns[i]} * kFrom, gather);
            // A pixel that carries the outside marker keeps it.
            if (kTo == 4 && vel::AlphaOf(colour) != kOutsideAlpha) colour |= gather.opaque;
        }
        // Three bytes are written as four where another pixel follows, which writes over the fourth.
        if (kTo == 3 && i + 1 < count) {
            std::memcpy(to, &colour, 4);
        } else {
            std::memcpy(to, &colour, kTo);
        }
    }
}

using GatherFunction = void (*)(uint8_t*, const int32_t*, const int32_t*, size_t, const Gather&);

// Null for depths that are not whole bytes on both sides.
GatherFunction GatherOf(uint32_t from, uint32_t to) {
    if (from == 8 && to == 8) return GatherRow<1, 1>;
    if (from == 24 && to == 24) return GatherRow<3, 3>;
    if (from == 32 && to == 32) return GatherRow<4, 4>;
    if (from == 8 && to == 32) return GatherRow<1, 4>;
    if (from == 24 && to == 32) return GatherRow<3, 4>;
    return nullptr;
}

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

// Rows in pieces: points by the kernel, those it is unsure of by the formula, then the pixels.
void DeformRows(const ImageView& target, const ImageView& source, int mode, bool opaque, GatherFunction gatherRow) {
    constexpr size_t kPiece = 512;
    int32_t columns[kPiece], rows[kPiece];
    const int32_t width = static_cast<int32_t>(source.width), height = static_cast<int32_t>(source.height);
    CircleMap map(width, height, mode);
    const Gather gather = {source, source.BlockEnd() - 4, source.Colour(-1, -1), opaque ? 0xFF000000u : 0u};
    const auto points = vel::Kernels().Deform().CirclePoints;
    for (int32_t y = 0; y < height; ++y) {
        const vel::CircleRow row = {mode, width / 2, height / 2, width, height, map.Radius(), height / 2 - y};
        for (int32_t x = 0; x < width; x += kPiece) {
            const size_t count = std::min(kPiece, static_cast<size_t>(width - x));
            points(columns, rows, &row, x, count);
            for (size_t i = 0; i < count; ++i) {
                if (columns[i] != vel::kUnsureColumn) continue;
                const CircleMap::Point from = map.From(x + static_cast<int32_t>(i), y);
                columns[i] = static_cast<int32_t>(from.x);
                rows[i] = static_cast<int32_t>(from.y);
            }
            gatherRow(target.Row(y) + int64_t{x} * target.PixelBytes(), columns, rows, count, gather);
        }
    }
}

void Deform(const ImageView& target, const ImageView& source, int mode, bool opaque) {
    // Sides beyond 2^20 would make the kernel's points less exact than it promises.
    constexpr uint32_t kGreatestSide = 1u << 20;
    if (static_cast<int32_t>(source.width) <= 0 || static_cast<int32_t>(source.height) <= 0 || !target.bits) return;
    const GatherFunction gather = GatherOf(source.bitsPerPixel, target.bitsPerPixel);
    if (!gather || !source.bits || mode < 0 || std::max(source.width, source.height) > kGreatestSide) {
        DeformPixels(target, source, mode, opaque);
    } else {
        DeformRows(target, source, mode, opaque, gather);
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
