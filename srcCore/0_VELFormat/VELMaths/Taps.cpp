#include "Taps.h"

#include <cstring>

#include "Kernels/Kernels.h"

namespace vel {
namespace {

constexpr int kHalfPlane = 1 << (TapPlan::kPlaneBits - 1);

// The lowest plane of a coefficient, and what is left for the others.
int TakePlane(int64_t& value) {
    const int digit = static_cast<int>((value + kHalfPlane) & (2 * kHalfPlane - 1)) - kHalfPlane;
    value = (value - digit) / (2 * kHalfPlane);
    return digit;
}

int PlanesFor(const Coefficients& coefficients) {
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

}  // namespace

Taps::Taps(const Coefficients& coefficients, const SumRange& range, uint32_t sampleBytes)
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

void Taps::Fill(const Coefficients& coefficients) {
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
                    bytes[(plane * inPlane + (quad * m_columns + column) * TapPlan::kRows + r) * 4 + inQuad] = digit;
                }
            }
        }
    }
}

QuadRows::QuadRows(const ImageView& image, const Window& window, int64_t quads)
    : m_window(window),
      m_sampleBytes(SampleBytes(image)),
      m_width(image.width),
      m_samples(image.width + window.Columns() - 1),
      m_quads(quads),
      m_pitch((4 * QuadBytes() + kQuadSlack + 63) / 64 * 64),
      m_rows(image, 4),
      m_ring(ArrayBytes(static_cast<uint64_t>(quads), m_pitch)),
      m_pointers(ArrayBytes(static_cast<uint64_t>(quads), sizeof(uint8_t*))),
      m_filled(FillOutside()) {}

// Puts what lies left and right of the rows, for good. False when there was no memory.
bool QuadRows::FillOutside() {
    const ScratchBuffer outside(static_cast<uint64_t>(m_window.Columns() * m_sampleBytes));
    if (!m_rows.Ready() || !m_ring.Data() || !outside.Data()) return false;
    m_rows.FillOutside(outside.Data(), m_window.Columns());
    const uint8_t* const rows[4] = {outside.Data(), outside.Data(), outside.Data(), outside.Data()};
    for (int64_t i = 0; i < m_quads; ++i) {
        Put(i, rows, 0, m_window.left);
        Put(i, rows, m_window.left + m_width, m_window.right);
    }
    return true;
}

void QuadRows::Put(int64_t quad, const uint8_t* const* rows, int64_t sample, int64_t samples) {
    Kernels().Convolution().PrepareQuad(Slot(quad), rows, static_cast<size_t>(sample * m_sampleBytes),
                                        static_cast<size_t>(samples * m_sampleBytes), QuadBytes());
}

const uint8_t* const* QuadRows::From(int64_t y) {
    const int64_t first = y / 4;
    for (; m_next < first + m_quads; ++m_next) {
        const uint8_t* rows[4];
        for (int64_t i = 0; i < 4; ++i) rows[i] = m_rows.Row(4 * m_next + i - m_window.above);
        Put(m_next, rows, m_window.left, m_width);
    }
    const uint8_t** pointers = m_pointers.As<const uint8_t*>();
    for (int64_t i = 0; i < m_quads; ++i) pointers[i] = Slot(first + i);
    return pointers;
}

}  // namespace vel
