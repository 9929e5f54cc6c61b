// Rotation by any angle, into a new image or pasted into an existing one.
#include "PixelBlock.h"
#include "Sampling.h"
#include "Truncate.h"
#include "VELImageTransform.h"

using namespace vel;

namespace {

struct Turn {
    float cosine, sine;
    explicit Turn(double angle)
        : cosine(static_cast<float>(UTILMath::Cos(angle))), sine(static_cast<float>(UTILMath::Sin(angle))) {}
};

// The grid of whole pixels that covers a turned image: its size and the turned position of its first pixel.
struct TurnedGrid {
    int32_t width, height;
    float offsetX, offsetY;
};

// The size and first position along one axis, from the smallest and the largest corner coordinate.
void FitAxis(float low, float high, int32_t* size, float* offset) {
    *size = TruncateToInt(std::floor(high - low + 0.5f));
    *offset = (low + high - static_cast<float>(int64_t{*size} - 1)) * 0.5f;
}

// The grid over the corners of a width by height image, turned. Without a turn it is the image's own.
TurnedGrid GridOver(uint32_t width, uint32_t height, const Turn* turn) {
    float lowX = 0, highX = 0, lowY = 0, highY = 0;
    for (int corner = 0; corner < 4; ++corner) {
        const float x = corner & 1 ? static_cast<float>(width) - 0.5f : -0.5f;
        const float y = corner & 2 ? static_cast<float>(height) - 0.5f : -0.5f;
        const float turnedX = turn ? x * turn->cosine - y * turn->sine : x;
        const float turnedY = turn ? x * turn->sine + y * turn->cosine : y;
        lowX = corner == 0 ? turnedX : std::min(lowX, turnedX);
        highX = corner == 0 ? turnedX : std::max(highX, turnedX);
        lowY = corner == 0 ? turnedY : std::min(lowY, turnedY);
        highY = corner == 0 ? turnedY : std::max(highY, turnedY);
    }
    TurnedGrid grid{};
    FitAxis(lowX, highX, &grid.width, &grid.offsetX);
    FitAxis(lowY, highY, &grid.height, &grid.offsetY);
    return grid;
}

// Source positions of a run of destination pixels. Grid coordinates advance by adding 1, from the grid's first
// column in every row and from its first row, so their rounding is that of the repeated sum.
class Positions {
public:
    static constexpr int32_t kRun = 256;

    Positions(const TurnedGrid& grid, const Turn& turn, float addX, float addY)
        : m_turn(turn), m_firstColumn(grid.offsetX), m_column(grid.offsetX), m_row(grid.offsetY), m_addX(addX),
          m_addY(addY) {}

    void NextRow() {
        m_row += 1.0f;
        m_column = m_firstColumn;
    }
    // The next `count` (at most kRun) positions of the row.
    void Next(int32_t count) {
        for (int32_t i = 0; i < count; ++i, m_column += 1.0f) {
            x[i] = m_column * m_turn.cosine + m_row * m_turn.sine + m_addX;
            y[i] = m_row * m_turn.cosine - m_column * m_turn.sine + m_addY;
        }
    }

    float x[kRun], y[kRun];

private:
    Turn m_turn;
    float m_firstColumn, m_column, m_row, m_addX, m_addY;
};

// Writes the sampled pixels of Rotate, one after the other. Depths below 24 spill into the following rows or leave
// gaps: a sampled pixel takes one byte up to 15 bits and three at 16, one that is skipped always three.
class PixelWriter {
public:
    PixelWriter(const ImageView& dest, bool fourBytes)
        : m_block(dest), m_pixelBytes(fourBytes ? 4 : 3), m_writtenBytes(dest.bitsPerPixel > 15 ? m_pixelBytes : 1) {}

    void StartRow(int64_t row) { m_at = m_block.Row(row); }
    void Skip() { m_at += m_pixelBytes; }
    void Write(uint32_t colour) {
        if (m_writtenBytes == 1) {
            m_block.Put(m_at, static_cast<uint8_t>(RedOf(colour)));
        } else {
            const RGBQUAD bytes = QuadOf(colour);
            m_block.Write(m_at, &bytes.rgbBlue, m_pixelBytes);
        }
        m_at += m_writtenBytes;
    }

private:
    PixelBlock m_block;
    int m_pixelBytes, m_writtenBytes;
    int64_t m_at = 0;
};

// An image turned by a multiple of 90 degrees.
HRESULT QuarterTurned(CVELImageTransform& transform, IVEL* source, IVEL** destination, int angle) {
    SmartPtr<IVELImage> image = NewImageDIB();
    if (!image.Get()) return E_FAIL;
    const HRESULT result = transform.Rotate4(source, image.Get(), angle);
    *destination = image.Detach();
    return result;
}

// RotatePaste's writing of one sampled colour at `to`, whose pixel has a fourth byte when `hasFourth`.
struct Paste {
    bool blend;
    bool hasFourth;
    uint32_t transparent;

    void operator()(uint8_t* to, uint32_t colour) const {
        const RGBQUAD sample = QuadOf(colour);
        if (blend) {
            const auto own = static_cast<float>(sample.rgbReserved / 255.0);
            const auto other = static_cast<float>((255 - sample.rgbReserved) / 255.0);
            to[0] = Blended(sample.rgbBlue, to[0], own, other);
            to[1] = Blended(sample.rgbGreen, to[1], own, other);
            to[2] = Blended(sample.rgbRed, to[2], own, other);
        } else {
            if ((colour & 0x00FFFFFF) == transparent) return;
            to[0] = sample.rgbBlue;
            to[1] = sample.rgbGreen;
            to[2] = sample.rgbRed;
        }
        if (hasFourth) to[3] = sample.rgbReserved;
    }

    static uint8_t Blended(uint8_t sample, uint8_t old, float own, float other) {
        return static_cast<uint8_t>(static_cast<float>(sample) * own + static_cast<float>(old) * other);
    }
};

}  // namespace

HRESULT CVELImageTransform::Rotate(IVEL* source, IVEL** destination, int angleDegrees, int method, int force32,
                                   int keepSize) {
    if (!source) return E_FAIL;
    if (!destination) return E_POINTER;
    if (angleDegrees == 0) {
        source->AddRef();
        *destination = source;
        return S_OK;
    }
    if (angleDegrees == 90 || angleDegrees == 180 || angleDegrees == 270 || angleDegrees == -90) {
        return QuarterTurned(*this, source, destination, angleDegrees == -90 ? 270 : angleDegrees);
    }

    const float angle = -static_cast<float>(angleDegrees) * 1.5707964f / 90.0f;
    const Turn turn(angle);
    const ImageView from = ViewOf(source);
    TurnedGrid grid = GridOver(from.width, from.height, keepSize ? nullptr : &turn);
    float addX = 0, addY = 0;
    if (keepSize) {  // about the image's centre, within its own frame
        grid.offsetX -= static_cast<float>(from.width) * 0.5f;
        grid.offsetY -= static_cast<float>(from.height) * 0.5f;
        addX = static_cast<float>(grid.width) * 0.5f;
        addY = static_cast<float>(grid.height) * 0.5f;
    }
    const uint32_t depth = force32 ? 32 : from.bitsPerPixel;
    SmartPtr<IVELImage> image = NewImageDIB();
    if (!image.Get()) return E_FAIL;
    const HRESULT created = image->Create(static_cast<uint32_t>(grid.width), static_cast<uint32_t>(grid.height),
                                          from.planes, depth, force32 ? 0 : from.format);
    if (Failed(created)) {
        *destination = image.Detach();
        return S_OK;
    }
    const ImageView to = ViewOf(image.Get());
    image->FillColor(from.Colour(0, 0) | 0xFF000000u);
    const bool fits = grid.width > 0 && grid.height > 0 &&
                      Holds(to, static_cast<uint32_t>(grid.width), static_cast<uint32_t>(grid.height), depth);
    if (fits && !from.Empty()) {
        // The outer four columns and rows, three on the low side, are never sampled.
        const float right = static_cast<float>(from.width) - 4.0f;
        const float bottom = static_cast<float>(from.height) - 4.0f;
        const Sampler sampler(from, method);
        PixelWriter writer(to, depth == 32 || force32);
        Positions at(grid, turn, addX, addY);
        for (int32_t j = 0; j < grid.height; ++j, at.NextRow()) {
            writer.StartRow(j);
            for (int32_t i = 0; i < grid.width; i += Positions::kRun) {
                const int32_t count = std::min(Positions::kRun, grid.width - i);
                at.Next(count);
                for (int32_t k = 0; k < count; ++k) {
                    if (at.x[k] > 3.0f && at.x[k] < right && at.y[k] > 3.0f && at.y[k] < bottom) {
                        uint32_t colour;
                        sampler.Sample(&at.x[k], &at.y[k], &colour, 1);
                        writer.Write(colour);
                    } else {
                        writer.Skip();
                    }
                }
            }
        }
    }
    *destination = image.Detach();
    return S_OK;
}

HRESULT CVELImageTransform::RotatePaste(IVEL* source, IVEL* destination, double angleRadians, int method,
                                        int transparentColour) {
    if (!source) return E_FAIL;
    if (!destination) return E_POINTER;
    const Turn turn(angleRadians);
    const ImageView from = ViewOf(source), to = ViewOf(destination);
    if (!from.bits || to.Empty() || to.bitsPerPixel < 24) return S_OK;
    const TurnedGrid grid = GridOver(from.width, from.height, &turn);
    const int32_t rows = std::min(static_cast<int32_t>(to.height), grid.height);
    const int32_t columns = std::min(static_cast<int32_t>(to.width), grid.width);
    const float right = static_cast<float>(from.width), bottom = static_cast<float>(from.height);
    const Paste paste{from.bitsPerPixel >= 25, to.bitsPerPixel > 24, static_cast<uint32_t>(transparentColour)};
    const Sampler sampler(from, method);
    const int64_t pixelBytes = to.bitsPerPixel > 24 ? 4 : 3;
    Positions at(grid, turn, 0, 0);
    for (int32_t j = 0; j < rows; ++j, at.NextRow()) {
        uint8_t* out = to.Row(j);
        for (int32_t i = 0; i < columns; i += Positions::kRun) {
            const int32_t count = std::min(Positions::kRun, columns - i);
            at.Next(count);
            for (int32_t k = 0; k < count; ++k, out += pixelBytes) {
                if (at.x[k] < 0 || at.y[k] < 0 || at.x[k] > right || at.y[k] > bottom) continue;
                uint32_t colour;
                sampler.Sample(&at.x[k], &at.y[k], &colour, 1);
                paste(out, colour);
            }
        }
    }
    return S_OK;
}
