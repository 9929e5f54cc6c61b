// Rotation by any angle, into a new image or pasted into an existing one.
#include <functional>

#include "PixelBlock.h"
#include "SamplingRows.h"
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

// Turned rows run across many source rows. Strips of columns, each taken from its first row to its last, keep the
// source pixels of neighbouring rows in the nearest caches.
constexpr float kRowsAhead = 16;

// Source positions of the destination's pixels. Grid coordinates advance by adding 1, from the first column in every
// row and from the first row, so their rounding is that of the repeated sum.
class Positions {
public:
    Positions(const TurnedGrid& grid, const Turn& turn, float addX, float addY)
        : m_terms{turn.cosine, turn.sine, addX, addY},
          m_firstRow(grid.offsetY),
          m_row(grid.offsetY),
          m_memory(static_cast<uint64_t>(grid.width) * sizeof(float)),
          m_columns(m_memory.As<float>()) {
        float column = grid.offsetX;
        for (int32_t i = 0; m_columns && i < grid.width; ++i, column += 1.0f) m_columns[i] = column;
    }
    // False when there was no memory.
    bool Ready() const { return m_columns; }
    void FirstRow() { m_row = m_firstRow; }
    void NextRow() { m_row += 1.0f; }

    float X(size_t i) const { return m_columns[i] * m_terms.cosine + m_row * m_terms.sine + m_terms.addX; }
    float Y(size_t i) const { return m_row * m_terms.cosine - m_columns[i] * m_terms.sine + m_terms.addY; }

    // The columns of `strip` at which neither x nor y is outside by the given tests. A position advances by a constant,
    // so x and y are monotone along a row, rounding included.
    template <class Below, class AboveX, class AboveY>
    Span Where(const Span& strip, Below below, AboveX aboveX, AboveY aboveY) {
        const size_t from = strip.first, count = strip.last - from;
        m_spanX = SpanBetween(
            count, [&](size_t i) { return X(from + i); }, below, aboveX, m_spanX);
        m_spanY = SpanBetween(
            count, [&](size_t i) { return Y(from + i); }, below, aboveY, m_spanY);
        const Span span = Intersection(m_spanX, m_spanY);
        return {from + span.first, from + span.last};
    }

    // The colours at some pixels of the row, as many as the sampler takes at a time.
    const uint32_t* Sample(const Sampler& sampler, size_t first, size_t count) {
        Place(first, count);
        sampler.Sample(m_x, m_y, m_colours, count, Ahead(sampler));
        return m_colours;
    }
    // The same as pixels of the source's depth, which must be Taken.
    void Take(const Sampler& sampler, size_t first, size_t count, uint8_t* to) {
        Place(first, count);
        sampler.Take(m_x, m_y, to, count, Ahead(sampler));
    }

private:
    void Place(size_t first, size_t count) {
        Kernels().Sampling().TurnRow(m_x, m_y, m_columns + first, m_row, &m_terms, count);
    }
    // What a later row of the strip will sample.
    ptrdiff_t Ahead(const Sampler& sampler) const {
        return sampler.Distance(static_cast<int>(m_terms.sine * kRowsAhead),
                                static_cast<int>(m_terms.cosine * kRowsAhead));
    }

    TurnTerms m_terms;
    float m_firstRow, m_row;
    ScratchBuffer m_memory;
    float* m_columns;
    Span m_spanX, m_spanY;  // of the row before: a good first guess
    alignas(64) float m_x[Sampler::kLongRun], m_y[Sampler::kLongRun];
    alignas(64) uint32_t m_colours[Sampler::kLongRun];
};

// Writes the sampled pixels of Rotate, one after the other. Depths below 24 spill into the following rows or leave
// gaps: a sampled pixel takes one byte, its red, up to 15 bits and three at 16, one that is skipped always three.
class PixelWriter {
public:
    PixelWriter(const ImageView& dest, bool fourBytes)
        : m_block(dest),
          m_depthBytes(static_cast<int>(dest.PixelBytes())),
          m_skippedBytes(fourBytes ? 4 : 3),
          m_writtenBytes(dest.bitsPerPixel > 15 ? m_skippedBytes : 1) {}

    // Whether every pixel has its own place, so that the order of writing does not matter.
    bool Ordered() const { return m_skippedBytes == m_depthBytes; }
    void StartRow(int64_t row) { m_at = m_block.Row(row); }
    void Skip(size_t count) { m_at += static_cast<int64_t>(count) * m_skippedBytes; }
    // Where the next pixels go, which then count as written; null when they are not all inside the image.
    uint8_t* Next(size_t count) {
        const int64_t bytes = static_cast<int64_t>(count) * m_writtenBytes;
        uint8_t* inside = m_block.Inside(m_at, bytes);
        if (inside) m_at += bytes;
        return inside;
    }
    void Write(const uint32_t* colours, size_t count) {
        if (uint8_t* place = Next(count)) return Pack(place, colours, count);
        const int64_t bytes = static_cast<int64_t>(count) * m_writtenBytes;
        alignas(64) uint8_t packed[4 * Sampler::kLongRun];
        Pack(packed, colours, count);
        m_block.Write(m_at, packed, bytes);
        m_at += bytes;
    }

private:
    void Pack(uint8_t* to, const uint32_t* colours, size_t count) const {
        if (m_writtenBytes == 4) {
            std::memcpy(to, colours, 4 * count);
        } else if (m_writtenBytes == 3) {
            Kernels().Sampling().StoreRow24(to, colours, count);
        } else {
            for (size_t k = 0; k < count; ++k) to[k] = static_cast<uint8_t>(RedOf(colours[k]));
        }
    }

    PixelBlock m_block;
    int m_depthBytes, m_skippedBytes, m_writtenBytes;
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

// True when two images share memory: then every pixel must see what the earlier ones wrote.
bool Overlap(const ImageView& a, const ImageView& b) {
    return std::less<>()(a.BlockBegin(), b.BlockEnd()) && std::less<>()(b.BlockBegin(), a.BlockEnd());
}

// Samples every position that lies in the source but for its outer four columns and rows, three on the low side.
void TurnInto(const ImageView& from, const ImageView& to, Positions& at, int method, bool fourBytes) {
    const float right = static_cast<float>(from.width) - 4.0f, bottom = static_cast<float>(from.height) - 4.0f;
    const Sampler sampler(from, method);
    const bool takes = sampler.Takes(to.bitsPerPixel);
    const size_t run = sampler.Run();
    PixelWriter writer(to, fourBytes);
    const size_t stripWidth = writer.Ordered() ? run : to.width;
    for (Span strip{0, 0}; strip.last < to.width; strip.first = strip.last) {
        strip.last = std::min<size_t>(strip.first + stripWidth, to.width);
        at.FirstRow();
        for (uint32_t j = 0; j < to.height; ++j, at.NextRow()) {
            const Span span = at.Where(
                strip, [](float p) { return !(p > 3.0f); }, [=](float x) { return !(x < right); },
                [=](float y) { return !(y < bottom); });
            writer.StartRow(j);
            writer.Skip(span.first);
            for (size_t i = span.first; i < span.last; i += run) {
                const size_t count = std::min(run, span.last - i);
                if (j + 1 < to.height) FetchToWrite(to.Row(j + 1) + i * to.PixelBytes(), count * to.PixelBytes());
                uint8_t* place = takes ? writer.Next(count) : nullptr;
                if (place) {
                    at.Take(sampler, i, count, place);
                } else {
                    writer.Write(at.Sample(sampler, i, count), count);
                }
            }
        }
    }
}

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
    ImageView to = ViewOf(image.Get());
    image->FillColor(from.Colour(0, 0) | 0xFF000000u);
    const bool fits = grid.width > 0 && grid.height > 0 &&
                      Holds(to, static_cast<uint32_t>(grid.width), static_cast<uint32_t>(grid.height), depth);
    if (fits && !from.Empty()) {
        Positions positions(grid, turn, addX, addY);
        if (!positions.Ready()) return E_FAIL;
        to.width = static_cast<uint32_t>(grid.width);
        to.height = static_cast<uint32_t>(grid.height);
        TurnInto(from, to, positions, method, depth == 32 || force32);
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
    if (!from.bits || to.Empty() || (to.bitsPerPixel != 24 && to.bitsPerPixel < 32)) return S_OK;
    const TurnedGrid grid = GridOver(from.width, from.height, &turn);
    const int32_t rows = std::min(static_cast<int32_t>(to.height), grid.height);
    const int32_t columns = std::min(static_cast<int32_t>(to.width), grid.width);
    if (rows <= 0 || columns <= 0) return S_OK;
    Positions at(grid, turn, 0, 0);
    if (!at.Ready()) return E_FAIL;

    const float right = static_cast<float>(from.width), bottom = static_cast<float>(from.height);
    const SamplingKernels& kernels = Kernels().Sampling();
    const Sampler sampler(from, method);
    const int pixelBytes = to.bitsPerPixel == 24 ? 3 : 4;
    const auto width = static_cast<size_t>(columns);
    const bool overlap = Overlap(from, to);
    const size_t run = overlap ? 1 : sampler.Run(), stripWidth = overlap ? width : run;
    for (Span strip{0, 0}; strip.last < width; strip.first = strip.last) {
        strip.last = std::min(strip.first + stripWidth, width);
        at.FirstRow();
        for (int32_t j = 0; j < rows; ++j, at.NextRow()) {
            const Span span = at.Where(
                strip, [](float p) { return p < 0; }, [=](float x) { return x > right; },
                [=](float y) { return y > bottom; });
            for (size_t i = span.first; i < span.last; i += run) {
                const size_t count = std::min(run, span.last - i);
                if (j + 1 < rows) FetchToWrite(to.Row(j + 1) + i * to.PixelBytes(), count * to.PixelBytes());
                const uint32_t* colours = at.Sample(sampler, i, count);
                uint8_t* out = to.Row(j) + i * static_cast<size_t>(pixelBytes);
                if (from.bitsPerPixel >= 25) {
                    kernels.BlendRow(out, pixelBytes, colours, count);
                } else {
                    kernels.KeyedRow(out, pixelBytes, colours, static_cast<uint32_t>(transparentColour), count);
                }
            }
        }
    }
    return S_OK;
}
