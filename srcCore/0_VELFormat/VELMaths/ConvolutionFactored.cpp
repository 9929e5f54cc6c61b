#include "ConvolutionFactored.h"

#include <numeric>

#include "Kernels/Kernels.h"
#include "Taps.h"

namespace vel {

Factors::Factors(const Coefficients& coefficients)
    : m_down(Window{0, 0, coefficients.Reach().above, coefficients.Reach().below}),
      m_columns(coefficients.Columns()),
      m_across(ArrayBytes(static_cast<uint64_t>(m_columns), sizeof(uint32_t))) {
    if (!Ready() || !Split(coefficients)) return;
    FindFlat();
    // In products of bytes with taps, which four rows share, for as many sums as a vector holds.
    const int64_t tapsDown = (coefficients.Rows() + 3) / 4, slide = 6, throughMemory = 6;
    const int64_t separate = (m_flatDown ? slide : tapsDown) + (m_flatAcross ? slide : 2 * m_columns) + throughMemory;
    m_worthwhile = separate < tapsDown * m_columns;
}

// A row that is not 0, freed of its greatest common divisor, is the factor across; every row must be a multiple of it.
// These are equations between numbers, so they hold for the wrapped sums as well.
bool Factors::Split(const Coefficients& coefficients) {
    int64_t pivotRow = 0, pivot = 0, divisor = 0;
    for (; pivotRow < coefficients.Rows() && divisor == 0; ++pivotRow) {
        for (int64_t x = 0; x < m_columns; ++x) {
            if (divisor == 0) pivot = x;
            divisor = std::gcd(divisor, int64_t{coefficients.At(x, pivotRow)});
        }
    }
    if (divisor == 0) return false;
    uint32_t* across = m_across.As<uint32_t>();
    for (int64_t x = 0; x < m_columns; ++x) {
        across[x] = static_cast<uint32_t>(coefficients.At(x, pivotRow - 1) / divisor);
    }
    const auto factor = [&](int64_t x) { return int64_t{static_cast<int32_t>(across[x])}; };
    for (int64_t y = 0; y < coefficients.Rows(); ++y) {
        const int64_t times = coefficients.At(pivot, y) / factor(pivot);
        for (int64_t x = 0; x < m_columns; ++x) {
            if (times * factor(x) != coefficients.At(x, y)) return false;
        }
        m_down.Value(0, y) = static_cast<uint32_t>(times);
    }
    return true;
}

// A flat factor down leaves its value to the factor across.
void Factors::FindFlat() {
    uint32_t* across = m_across.As<uint32_t>();
    const uint32_t value = m_down.Value(0, 0);
    m_flatDown = true;
    for (int64_t y = 0; y < m_down.Rows(); ++y) m_flatDown = m_flatDown && m_down.Value(0, y) == value;
    m_flatAcross = true;
    for (int64_t x = 0; x < m_columns; ++x) m_flatAcross = m_flatAcross && across[x] == across[0];
    if (!m_flatDown) return;
    for (int64_t y = 0; y < m_down.Rows(); ++y) m_down.Value(0, y) = 1;
    for (int64_t x = 0; x < m_columns; ++x) across[x] *= value;
}

namespace {

// Rows of sums down an image's columns, widened by what lies outside.
class ColumnSums {
public:
    ColumnSums(const ImageView& image, const Window& window, const Factors& factors)
        : m_window(window),
          m_width(image.width),
          m_bytes(SampleBytes(image)),
          m_count((image.width + window.Columns() - 1) * m_bytes),
          m_flat(factors.FlatDown()),
          m_taps(factors.Down(), SumRange::Of(factors.Down()), SampleBytes(image)),
          m_quads(image, m_flat ? Window{0, 0, 0, 0} : window, m_flat ? 1 : m_taps.Quads()),
          m_rows(image, window.Rows() + 1),
          m_sums(ArrayBytes(static_cast<uint64_t>(m_count), TapPlan::kRows * sizeof(uint32_t))) {}
    bool Ready() const { return m_taps.Ready() && m_quads.Ready() && m_rows.Ready() && m_sums.Data(); }
    SampleRows& Source() { return m_rows; }

    // Of row y; called row by row.
    const uint32_t* Row(int64_t y) {
        if (m_flat) {
            if (y == 0)
                Start();
            else
                Slide(y);
            return Sums(0);
        }
        const int64_t row = y % TapPlan::kRows;
        if (row == 0) {
            uint32_t* const sums[] = {Sums(0), Sums(1), Sums(2), Sums(3)};
            Kernels().Convolution().SumRows(sums, m_quads.From(y), m_quads.QuadBytes(), m_taps.Plan(),
                                            static_cast<size_t>(m_count));
        }
        return Sums(row);
    }

private:
    uint32_t* Sums(int64_t row) const { return m_sums.As<uint32_t>() + row * m_count; }

    // Flat sums of row 0. What is added left and right of the image is the same in every row.
    void Start() {
        const int64_t left = m_window.left * m_bytes, right = m_window.right * m_bytes;
        uint8_t outside[4];
        m_rows.FillOutside(outside, 1);
        uint32_t* sums = Sums(0);
        const uint32_t rows = static_cast<uint32_t>(m_window.Rows());
        for (int64_t i = 0; i < left; ++i) sums[i] = rows * outside[i % m_bytes];
        for (int64_t i = 0; i < right; ++i) sums[m_count - right + i] = rows * outside[i % m_bytes];
        for (int64_t i = left; i < m_count - right; ++i) sums[i] = 0;
        for (int64_t dy = -m_window.above; dy <= m_window.below; ++dy) {
            const uint8_t* row = m_rows.Row(dy);
            for (int64_t i = 0; i < m_width * m_bytes; ++i) sums[left + i] += row[i];
        }
    }
    void Slide(int64_t y) {
        const uint8_t* added = m_rows.Row(y + m_window.below);
        Kernels().Convolution().SlideColumns(Sums(0) + m_window.left * m_bytes, added,
                                             m_rows.Row(y - m_window.above - 1),
                                             static_cast<size_t>(m_width * m_bytes));
    }

    Window m_window;
    int64_t m_width, m_bytes, m_count;
    bool m_flat;
    Taps m_taps;
    QuadRows m_quads;  // for taps
    SampleRows m_rows;
    ScratchBuffer m_sums;
};

}  // namespace

HRESULT ConvolveByFactors(const ImageView& target, const ImageView& source, const Window& window,
                          const Factors& factors, const Quotient& quotient) {
    const size_t step = SampleBytes(source), count = source.width * step,
                 columns = static_cast<size_t>(window.Columns());
    ColumnSums down(source, window, factors);
    SampleWriter writer(target);
    const ScratchBuffer result(count * sizeof(uint32_t));
    if (!down.Ready() || !writer.Ready() || !result.Data()) return E_FAIL;
    const auto& kernels = Kernels().Convolution();
    uint32_t* sums = result.As<uint32_t>();
    for (int64_t y = 0; y < source.height; ++y) {
        const uint32_t* columnSums = down.Row(y);
        if (factors.FlatAcross()) {
            kernels.SlideRow(sums, columnSums, columns, step, count);
            if (factors.Across()[0] != 1) kernels.WeighSums(sums, sums, factors.Across(), 1, step, count);
        } else {
            kernels.WeighSums(sums, columnSums, factors.Across(), columns, step, count);
        }
        uint8_t* dst = writer.Begin(y);
        kernels.QuotientRow(dst, sums, count, quotient);
        if (step == 4) down.Source().CopyAlpha(dst, y + window.below, window.right, source.width);
        writer.End(y);
    }
    return S_OK;
}

}  // namespace vel
