#include "Convolution.h"

#include <cstring>

#include "Kernels/Kernels.h"
#include "Neighbourhood.h"

namespace vel {
namespace {

// A kernel as the window clipped to the image needs it: coefficients that only ever meet the outside are summed into
// the outermost ones. Sums wrap.
class Coefficients {
public:
    Coefficients(const ImageView& image, const int* kernel, int size)
        : m_window(Window::Square(size).ClippedTo(image)),
          m_values(ArrayBytes(static_cast<uint64_t>(Count()), sizeof(uint32_t))) {
        if (!Ready()) return;
        std::memset(m_values.Data(), 0, static_cast<size_t>(Count()) * sizeof(uint32_t));
        const Window full = Window::Square(size);
        const auto place = [](int64_t offset, int64_t before, int64_t after) {
            return (offset < -before ? -before : offset > after ? after : offset) + before;
        };
        for (int64_t dy = -full.above; dy <= full.below; ++dy) {
            uint32_t* row = m_values.As<uint32_t>() + place(dy, m_window.above, m_window.below) * Columns();
            for (int64_t dx = -full.left; dx <= full.right; ++dx) {
                row[place(dx, m_window.left, m_window.right)] += static_cast<uint32_t>(*kernel++);
            }
        }
    }
    bool Ready() const { return m_values.Data(); }
    const Window& Reach() const { return m_window; }
    int64_t Columns() const { return m_window.Columns(); }
    int64_t Rows() const { return m_window.Rows(); }
    int64_t Count() const { return Columns() * Rows(); }
    // A coefficient stands for a number modulo 2^32; this is the one nearest to 0.
    int32_t At(int64_t column, int64_t row) const {
        return static_cast<int32_t>(m_values.As<uint32_t>()[row * Columns() + column]);
    }

private:
    Window m_window;
    ScratchBuffer m_values;
};

uint64_t Magnitude(int64_t value) { return static_cast<uint64_t>(value < 0 ? -value : value); }

// The greatest and the least sum that coefficients can make of bytes, not wrapped.
struct SumRange {
    uint64_t positive = 0, negative = 0;  // magnitudes

    void Add(int64_t coefficient) { (coefficient < 0 ? negative : positive) += 255 * Magnitude(coefficient); }
    uint64_t Magnitudes() const { return positive + negative; }
};

SumRange RangeOf(const Coefficients& coefficients) {
    SumRange range;
    for (int64_t row = 0; row < coefficients.Rows(); ++row) {
        for (int64_t column = 0; column < coefficients.Columns(); ++column) range.Add(coefficients.At(column, row));
    }
    return range;
}

constexpr SumRange kAnySum = {~uint64_t{0} / 2, ~uint64_t{0} / 2};

// sum / d is floor(sum * m / 2^n) for 0 <= sum <= greatest when m = ceil(2^n / d) and (m d - 2^n) * greatest < 2^n:
// the product exceeds the quotient by less than 1 / d then, too little to reach the next integer.
void AddWordDivision(Quotient& quotient, uint64_t greatest, uint32_t divisor) {
    uint32_t shift = 0;
    while (divisor >> (shift + 1)) ++shift;
    const uint64_t power = uint64_t{1} << (16 + shift), multiplier = (power + divisor - 1) / divisor;
    quotient.words = multiplier < 0x10000 && greatest < 0x10000 && (multiplier * divisor - power) * greatest < power;
    quotient.multiplier = static_cast<uint16_t>(multiplier);
    quotient.shift = static_cast<uint16_t>(shift);
}

Quotient QuotientFor(const SumRange& range, int divisor, int offset) {
    const uint64_t magnitude = Magnitude(divisor);
    Quotient quotient = {};
    quotient.negate = divisor < 0 ? ~0u : 0u;
    quotient.offset = offset;
    quotient.divide = magnitude > 1;
    quotient.narrow = range.Magnitudes() < uint64_t{1} << 22;
    quotient.reciprocal = magnitude > 1 ? 1.0 / static_cast<double>(magnitude) : 1.0;
    if (divisor > 1 && divisor < 0x10000 && offset <= 0 && offset > -0x10000 && quotient.narrow) {
        AddWordDivision(quotient, range.positive, static_cast<uint32_t>(divisor));
    }
    return quotient;
}

// Coefficients in planes of 7 bits, for four rows of the image at once; see TapPlan.
class Taps {
public:
    Taps(const Coefficients& coefficients, const SumRange& range, uint32_t sampleBytes)
        : m_planes(PlanesFor(coefficients)),
          m_quads((coefficients.Rows() + TapPlan::kRows - 2) / 4 + 1),
          m_columns(coefficients.Columns()),
          m_taps(ArrayBytes(static_cast<uint64_t>(m_planes * m_quads * m_columns), TapPlan::kRows * sizeof(uint32_t))) {
        if (!Ready()) return;
        m_plan.taps = m_taps.As<uint32_t>();
        m_plan.planes = m_planes;
        m_plan.quads = static_cast<int>(m_quads);
        m_plan.lastFrom = static_cast<int>(4 * (m_quads - 1) - coefficients.Rows() + 1);
        if (m_plan.lastFrom < 0) m_plan.lastFrom = 0;
        m_plan.narrow = m_planes == 1 && range.Magnitudes() < 0x8000;
        m_plan.columns = static_cast<size_t>(m_columns);
        m_plan.step = sampleBytes;
        Fill(coefficients);
    }
    bool Ready() const { return m_taps.Data(); }
    const TapPlan& Plan() const { return m_plan; }
    int64_t Quads() const { return m_quads; }

private:
    static constexpr int kHalfPlane = 1 << (TapPlan::kPlaneBits - 1);

    // The lowest plane of a coefficient, and what is left for the others.
    static int TakePlane(int64_t& value) {
        const int digit = static_cast<int>((value + kHalfPlane) & (2 * kHalfPlane - 1)) - kHalfPlane;
        value = (value - digit) / (2 * kHalfPlane);
        return digit;
    }
    static int PlanesFor(const Coefficients& coefficients) {
        int planes = 1;
        for (int64_t row = 0; row < coefficients.Rows(); ++row) {
            for (int64_t column = 0; column < coefficients.Columns(); ++column) {
                int64_t value = coefficients.At(column, row);
                int needed = 0;
                do {
                    TakePlane(value);
                    ++needed;
                } while (value);
                if (needed > planes) planes = needed;
            }
        }
        return planes;
    }
    void Fill(const Coefficients& coefficients) {
        const int64_t inPlane = m_quads * m_columns * TapPlan::kRows;
        uint8_t* bytes = m_taps.Data();
        std::memset(bytes, 0, static_cast<size_t>(m_planes * inPlane) * sizeof(uint32_t));
        for (int64_t column = 0; column < m_columns; ++column) {
            for (int64_t row = 0; row < coefficients.Rows(); ++row) {
                int64_t value = coefficients.At(column, row);
                for (int plane = 0; plane < m_planes; ++plane) {
                    const uint8_t digit = static_cast<uint8_t>(TakePlane(value));
                    // The window of image row r of four begins in row r of the first quad.
                    for (int r = 0; r < TapPlan::kRows; ++r) {
                        const int64_t quad = (row + r) / 4, inQuad = (row + r) % 4;
                        bytes[(plane * inPlane + (quad * m_columns + column) * TapPlan::kRows + r) * 4 + inQuad] =
                            digit;
                    }
                }
            }
        }
    }

    int m_planes;
    int64_t m_quads, m_columns;
    ScratchBuffer m_taps;
    TapPlan m_plan = {};
};

// The rows of an image in fours, widened by what lies outside, as ConvolveRows takes them.
class QuadRows {
public:
    QuadRows(const ImageView& image, const Window& window, int64_t quads)
        : m_window(window),
          m_sampleBytes(SampleBytes(image)),
          m_width(image.width),
          m_samples(image.width + window.Columns() - 1),
          m_quads(quads),
          m_pitch((4 * QuadBytes() + kQuadSlack + 63) / 64 * 64),
          m_rows(image, 4),
          m_lines(ArrayBytes(4, QuadBytes())),
          m_ring(ArrayBytes(static_cast<uint64_t>(quads), m_pitch)),
          m_pointers(ArrayBytes(static_cast<uint64_t>(quads), sizeof(uint8_t*))) {
        if (Ready()) m_rows.FillOutside(m_lines.Data(), 4 * m_samples);
    }
    bool Ready() const { return m_rows.Ready() && m_lines.Data() && m_ring.Data() && m_pointers.Data(); }
    SampleRows& Source() { return m_rows; }
    // Bytes of a widened row.
    size_t QuadBytes() const { return static_cast<size_t>(m_samples * m_sampleBytes); }

    // The quads that the windows of rows y to y + 3 need; y is a multiple of 4, in ascending order.
    const uint8_t* const* From(int64_t y) {
        const int64_t first = y / 4;
        for (; m_next < first + m_quads; ++m_next) Prepare(m_next);
        const uint8_t** pointers = m_pointers.As<const uint8_t*>();
        for (int64_t i = 0; i < m_quads; ++i) pointers[i] = Slot(first + i);
        return pointers;
    }

private:
    uint8_t* Slot(int64_t quad) const { return m_ring.Data() + static_cast<size_t>(quad % m_quads) * m_pitch; }
    void Prepare(int64_t quad) {
        const uint8_t* lines[4];
        const size_t rowBytes = static_cast<size_t>(m_width) * m_sampleBytes;
        for (int64_t i = 0; i < 4; ++i) {
            uint8_t* line = m_lines.Data() + static_cast<size_t>(i) * QuadBytes();
            std::memcpy(line + m_window.left * m_sampleBytes, m_rows.Row(4 * quad + i - m_window.above), rowBytes);
            lines[i] = line;
        }
        Kernels().Convolution().PrepareQuad(Slot(quad), lines, QuadBytes());
    }

    Window m_window;
    uint32_t m_sampleBytes;
    int64_t m_width, m_samples, m_quads;
    size_t m_pitch;
    int64_t m_next = 0;  // the first quad that is not prepared yet
    SampleRows m_rows;
    ScratchBuffer m_lines, m_ring, m_pointers;
};

HRESULT ConvolveByTaps(const ImageView& target, const ImageView& source, const Coefficients& coefficients,
                       const SumRange& range, const Quotient& quotient) {
    constexpr int kRows = TapPlan::kRows;
    const Window& window = coefficients.Reach();
    const uint32_t bytes = SampleBytes(source);
    const Taps taps(coefficients, range, bytes);
    QuadRows quads(source, window, taps.Quads());
    SampleWriter writer(target, kRows);
    if (!taps.Ready() || !quads.Ready() || !writer.Ready()) return E_FAIL;
    for (int64_t y = 0; y < source.height; y += kRows) {
        uint8_t* dst[kRows];
        for (int i = 0; i < kRows; ++i) dst[i] = writer.Begin(y + i);
        Kernels().Convolution().ConvolveRows(dst, quads.From(y), quads.QuadBytes(), taps.Plan(), quotient,
                                             size_t{source.width} * bytes);
        for (int i = 0; i < kRows; ++i) {
            if (bytes == 4) quads.Source().CopyAlpha(dst[i], y + i + window.below, window.right, source.width);
            writer.End(y + i);
        }
    }
    return S_OK;
}

// The values of a walk without samples: each is the quotient of the one before, so at most 256 bytes pass before they
// repeat.
class CarriedValues {
public:
    explicit CarriedValues(const Quotient& quotient) {
        const auto& kernels = Kernels().Convolution();
        int seenAt[256];
        for (int& at : seenAt) at = -1;
        for (uint32_t value = 0;; ++m_count) {
            uint8_t next;
            kernels.QuotientRow(&next, &value, 1, quotient);
            if (seenAt[next] >= 0) {
                m_cycle = static_cast<uint64_t>(seenAt[next]);
                return;
            }
            seenAt[next] = static_cast<int>(m_count);
            m_values[m_count] = next;
            value = next;
        }
    }
    uint32_t At(uint64_t step) const {
        return m_values[step < m_count ? step : m_cycle + (step - m_cycle) % (m_count - m_cycle)];
    }

private:
    uint8_t m_values[256];
    uint64_t m_count = 0, m_cycle = 0;
};

uint8_t* ValueRow(const ImageView& view, int64_t y) { return view.bits + y * view.stride * 4; }

}  // namespace

HRESULT ConvolveImage(const ImageView& target, const ImageView& source, const int* kernel, int size, int divisor,
                      int offset) {
    const Coefficients coefficients(source, kernel, size);
    if (!coefficients.Ready()) return E_FAIL;
    const SumRange range = RangeOf(coefficients);
    return ConvolveByTaps(target, source, coefficients, range, QuotientFor(range, divisor, offset));
}

void WeighLastSample(const ImageView& target, const ImageView& source, const short* kernel, int size, int divisor,
                     int offset) {
    const int64_t width = static_cast<int32_t>(source.width), height = static_cast<int32_t>(source.height);
    if (width <= 0 || height <= 0 || !target.bits) return;
    const int64_t half = size / 2;
    const Quotient quotient = QuotientFor(kAnySum, divisor, offset);
    if (size < 1) {
        const CarriedValues values(quotient);
        const uint64_t walked = static_cast<uint64_t>(width - size);
        for (int64_t y = 0; y < height; ++y) {
            uint8_t* row = ValueRow(target, y);
            for (int64_t x = 0; x < width; ++x) {
                const uint32_t value =
                    values.At(static_cast<uint64_t>(y - half) * walked + static_cast<uint64_t>(x - half));
                std::memcpy(row + 4 * x, &value, sizeof value);
            }
        }
        return;
    }
    const auto& kernels = Kernels().Convolution();
    const uint32_t factor = source.bits ? static_cast<uint32_t>(kernel[int64_t{size} * size - 1]) : 0;
    for (int64_t y = 0; y < height - size; ++y) {
        const uint8_t* last = source.bits ? ValueRow(source, y + size - 1) + 4 * int64_t{size - 1} : nullptr;
        uint8_t* dst = ValueRow(target, y + half) + 4 * half;
        kernels.WeighRow(dst, last ? last : dst, static_cast<size_t>(width - size), factor, quotient);
    }
}

}  // namespace vel
