#include "Morphology.h"

#include <initializer_list>

#include "Kernels/Kernels.h"
#include "SmallWindows.h"

namespace vel {
namespace {

// The extreme of a run of n values is found from overlapping shorter runs: each pass combines up to kMostRows results
// of the pass before, at growing distances, so that a run of n costs about 2 log2(n) reads.
struct Pass {
    int count;
    int64_t offset[kMostRows];
};
int64_t Reach(const Pass& pass) { return pass.offset[pass.count - 1]; }

class RunPlan {
public:
    static constexpr int kMostPasses = 32;

    // From runs of `covered` to runs of `length`.
    explicit RunPlan(int64_t length, int64_t covered) {
        constexpr int kUsual = kMostRows - 1;
        do {
            const int64_t needed = (length + covered - 1) / covered;
            const bool last = needed <= kMostRows;
            Pass& pass = m_passes[m_count++];
            pass.count = last ? static_cast<int>(needed) : kUsual;
            for (int i = 0; i < pass.count; ++i) pass.offset[i] = i * covered;
            if (last) pass.offset[pass.count - 1] = length - covered;
            covered = last ? length : covered * kUsual;
        } while (covered < length);
    }
    int Passes() const { return m_count; }
    const Pass& operator[](int i) const { return m_passes[i]; }

private:
    int m_count = 0;
    Pass m_passes[kMostPasses];
};

struct LowAndHigh {
    uint8_t *low, *high;
};

// Rows of minima, of maxima, or of both, from rows of the same.
class Extremes {
public:
    explicit Extremes(Extremum wanted) : m_wanted(wanted), m_kernels(Kernels().Morphology()) {}
    bool Low() const { return m_wanted != Extremum::Maximum; }
    bool High() const { return m_wanted != Extremum::Minimum; }

    void Combine(LowAndHigh dst, const LowAndHigh* from, int n, size_t count) const {
        const uint8_t *lows[kMostRows], *highs[kMostRows];
        Split(from, n, lows, highs);
        if (Low()) m_kernels.LeastOfRows(dst.low, lows, n, count);
        if (High()) m_kernels.GreatestOfRows(dst.high, highs, n, count);
    }
    // Of `windows` windows of rows; see ExtremesOfWindows.
    void CombineWindows(const LowAndHigh* dst, const uint8_t* const* rows, int windows, int64_t run,
                        const NextRows& next, size_t count) const {
        uint8_t *lows[kMostWindows], *highs[kMostWindows];
        for (int w = 0; w < windows; ++w) {
            lows[w] = dst[w].low;
            highs[w] = dst[w].high;
        }
        m_kernels.ExtremesOfWindows(Low() ? lows : nullptr, High() ? highs : nullptr, rows, windows,
                                    static_cast<size_t>(run), next, count);
    }
    int64_t CoveredRun(int64_t run, int64_t step) const {
        return static_cast<int64_t>(m_kernels.CoveredRun(static_cast<size_t>(run), static_cast<size_t>(step)));
    }
    void CombineRuns(LowAndHigh dst, LowAndHigh from, int64_t run, int64_t step, size_t count) const {
        const size_t length = static_cast<size_t>(run), apart = static_cast<size_t>(step);
        if (Low()) m_kernels.LeastOfRuns(dst.low, from.low, length, apart, count);
        if (High()) m_kernels.GreatestOfRuns(dst.high, from.high, length, apart, count);
    }

    // The same as the result that was wanted.
    void Finish(uint8_t* dst, const LowAndHigh* from, int n, size_t count) const {
        const uint8_t *lows[kMostRows], *highs[kMostRows];
        Split(from, n, lows, highs);
        switch (m_wanted) {
            case Extremum::Minimum: m_kernels.LeastOfRows(dst, lows, n, count); break;
            case Extremum::Maximum: m_kernels.GreatestOfRows(dst, highs, n, count); break;
            case Extremum::Spread: m_kernels.SpreadOfRows(dst, lows, highs, n, count); break;
        }
    }
    void FinishRuns(uint8_t* dst, LowAndHigh from, int64_t run, int64_t step, size_t count) const {
        const size_t length = static_cast<size_t>(run), apart = static_cast<size_t>(step);
        switch (m_wanted) {
            case Extremum::Minimum: m_kernels.LeastOfRuns(dst, from.low, length, apart, count); break;
            case Extremum::Maximum: m_kernels.GreatestOfRuns(dst, from.high, length, apart, count); break;
            case Extremum::Spread: m_kernels.SpreadOfRuns(dst, from.low, from.high, length, apart, count); break;
        }
    }
    bool SquaresWorthwhile(int size, size_t bytes) const { return m_kernels.SquaresWorthwhile(size, bytes) != 0; }
    // Straight from the image, alphas and all.
    void FinishSquares(uint8_t* const* dst, const uint8_t* const* rows, int n, int size, size_t bytes,
                       const NextRows& next, size_t count) const {
        switch (m_wanted) {
            case Extremum::Minimum: m_kernels.LeastOfSquares(dst, rows, n, size, bytes, next, count); break;
            case Extremum::Maximum: m_kernels.GreatestOfSquares(dst, rows, n, size, bytes, next, count); break;
            case Extremum::Spread: m_kernels.SpreadOfSquares(dst, rows, n, size, bytes, next, count); break;
        }
    }

private:
    static void Split(const LowAndHigh* from, int n, const uint8_t** lows, const uint8_t** highs) {
        for (int i = 0; i < n; ++i) {
            lows[i] = from[i].low;
            highs[i] = from[i].high;
        }
    }

    Extremum m_wanted;
    const MorphologyKernels& m_kernels;
};

// Memory for `count` rows of minima and as many of maxima.
class ExtremeRows {
public:
    ExtremeRows(const Extremes& extremes, int64_t count, int64_t rowBytes)
        : m_pitch((rowBytes + 127) / 64 * 64),
          m_low(extremes.Low() ? ArrayBytes(static_cast<uint64_t>(count), static_cast<uint64_t>(m_pitch)) : 0),
          m_high(extremes.High() ? ArrayBytes(static_cast<uint64_t>(count), static_cast<uint64_t>(m_pitch)) : 0) {}
    bool Ready() const { return m_low.Data() && m_high.Data(); }
    LowAndHigh operator[](int64_t i) const { return {m_low.Data() + i * m_pitch, m_high.Data() + i * m_pitch}; }

private:
    int64_t m_pitch;
    ScratchBuffer m_low, m_high;
};

LowAndHigh Shifted(LowAndHigh rows, int64_t bytes) { return {rows.low + bytes, rows.high + bytes}; }

// Extremes of each column over the window's rows, for some rows of the image at once, because their windows overlap.
// Windows of many rows are combined from shorter ones.
class ColumnRuns {
public:
    ColumnRuns(const ImageView& image, const Window& window, const Extremes& extremes)
        : m_extremes(extremes),
          m_length(window.Rows()),
          m_direct(m_length <= kMostDirect ? m_length : kFirst),
          m_rowsAtOnce(1),
          m_plan(m_length, m_direct),
          m_next(-window.above),
          m_above(window.above),
          m_count(size_t{image.width} * SampleBytes(image)),
          m_rows(image, kMostDirect + kMostWindows),
          m_results(extremes, ResultsKept(), static_cast<int64_t>(m_count)) {
        while (m_rowsAtOnce * 2 <= kMostWindows && m_rowsAtOnce * 2 <= m_direct) m_rowsAtOnce *= 2;
        for (int64_t& next : m_nextOfPass) next = -m_above;
    }
    bool Ready() const { return m_rows.Ready() && m_results.Ready(); }
    SampleRows& Source() { return m_rows; }
    int RowsAtOnce() const { return m_rowsAtOnce; }

    // Of the windows of rows y to y + RowsAtOnce() - 1; called in ascending order.
    void Make(const LowAndHigh* dst, int64_t y) {
        if (m_direct == m_length) {
            MakeDirect(dst, y - m_above);
        } else {
            for (int i = 0; i < m_rowsAtOnce; ++i) RunPass(m_plan.Passes() - 1, dst[i], y - m_above + i);
        }
    }

private:
    static constexpr int kMostDirect = 64, kFirst = 32;

    // Extremes of m_direct rows each, from row y of the image on.
    void MakeDirect(const LowAndHigh* dst, int64_t y) {
        const uint8_t* rows[kMostDirect + kMostWindows];
        for (int64_t i = 0; i < m_direct + m_rowsAtOnce - 1; ++i) rows[i] = m_rows.Row(y + i);
        const NextRows next = m_rows.Next(y + m_direct + m_rowsAtOnce - 1, m_rowsAtOnce);
        m_extremes.CombineWindows(dst, rows, m_rowsAtOnce, m_direct, next, m_count);
    }
    void RunPass(int pass, LowAndHigh dst, int64_t y) {
        const Pass& p = m_plan[pass];
        LowAndHigh from[kMostRows];
        for (int i = 0; i < p.count; ++i)
            from[i] = pass == 0 ? Direct(y + p.offset[i]) : Result(pass - 1, y + p.offset[i]);
        m_extremes.Combine(dst, from, p.count, m_count);
    }
    // What the direct way, or a pass, makes of the rows from y on.
    LowAndHigh Direct(int64_t y) {
        const int64_t kept = KeptDirect();
        for (; m_next <= y; m_next += m_rowsAtOnce) {
            LowAndHigh made[kMostWindows];
            for (int i = 0; i < m_rowsAtOnce; ++i) made[i] = m_results[(m_next + m_above + i) % kept];
            MakeDirect(made, m_next);
        }
        return m_results[(y + m_above) % kept];
    }
    LowAndHigh Result(int pass, int64_t y) {
        int64_t first = KeptDirect();
        for (int i = 0; i < pass; ++i) first += Kept(i);
        const auto slot = [&](int64_t row) { return m_results[first + (row + m_above) % Kept(pass)]; };
        for (; m_nextOfPass[pass] <= y; ++m_nextOfPass[pass])
            RunPass(pass, slot(m_nextOfPass[pass]), m_nextOfPass[pass]);
        return slot(y);
    }
    // How many results are needed again.
    int64_t KeptDirect() const { return Reach(m_plan[0]) + kMostWindows; }
    int64_t Kept(int pass) const { return Reach(m_plan[pass + 1]) + 1; }
    int64_t ResultsKept() const {
        if (m_direct == m_length) return 0;
        int64_t kept = KeptDirect();
        for (int pass = 0; pass + 1 < m_plan.Passes(); ++pass) kept += Kept(pass);
        return kept;
    }

    const Extremes& m_extremes;
    int64_t m_length, m_direct;
    int m_rowsAtOnce;
    RunPlan m_plan;
    int64_t m_next, m_nextOfPass[RunPlan::kMostPasses];  // the first rows that are not made yet
    int64_t m_above;
    size_t m_count;
    SampleRows m_rows;
    ExtremeRows m_results;
};

// Extremes along rows of column extremes.
class RunExtremes {
public:
    RunExtremes(const ImageView& image, const Window& window, const Extremes& extremes, int rowsAtOnce)
        : m_extremes(extremes),
          m_columns(window.Columns()),
          m_bytes(SampleBytes(image)),
          m_covered(extremes.CoveredRun(m_columns, m_bytes)),
          m_plan(m_columns, m_covered),
          m_samples(image.width),
          m_left(window.left),
          m_rowsAtOnce(rowsAtOnce),
          m_lines(extremes, rowsAtOnce + 2, (m_samples + m_columns) * m_bytes) {}
    bool Ready() const { return m_lines.Ready(); }

    // Puts what lies left and right of the rows, for good.
    void FillOutside(const SampleRows& rows) {
        const int64_t right = m_columns - 1 - m_left;
        for (int i = 0; i < m_rowsAtOnce; ++i) {
            for (uint8_t* line :
                 {m_extremes.Low() ? m_lines[i].low : nullptr, m_extremes.High() ? m_lines[i].high : nullptr}) {
                if (!line) continue;
                rows.FillOutside(line, m_left);
                rows.FillOutside(line + (m_left + m_samples) * m_bytes, right);
            }
        }
    }
    // Where the column extremes of a row are to be put.
    LowAndHigh Columns(int row) const { return Shifted(m_lines[row], m_left * m_bytes); }

    void Make(uint8_t* dst, int row) const {
        LowAndHigh line = m_lines[row], next = m_lines[m_rowsAtOnce], spare = m_lines[m_rowsAtOnce + 1];
        if (m_covered == m_columns) {
            m_extremes.FinishRuns(dst, line, m_covered, m_bytes, static_cast<size_t>(m_samples * m_bytes));
            return;
        }
        int64_t samples = m_samples + m_columns - m_covered;
        m_extremes.CombineRuns(next, line, m_covered, m_bytes, static_cast<size_t>(samples * m_bytes));
        for (int pass = 0;; ++pass) {
            line = next;
            next = spare;
            spare = line;
            const Pass& p = m_plan[pass];
            LowAndHigh from[kMostRows];
            for (int i = 0; i < p.count; ++i) from[i] = Shifted(line, p.offset[i] * m_bytes);
            samples -= Reach(p);
            const size_t count = static_cast<size_t>(samples * m_bytes);
            if (pass == m_plan.Passes() - 1) {
                m_extremes.Finish(dst, from, p.count, count);
                return;
            }
            m_extremes.Combine(next, from, p.count, count);
        }
    }

private:
    const Extremes& m_extremes;
    int64_t m_columns, m_bytes;
    int64_t m_covered;  // of the run's columns, by the first pass
    RunPlan m_plan;     // of the passes after it
    int64_t m_samples, m_left;
    int m_rowsAtOnce;
    ExtremeRows m_lines;  // the padded rows, and two that the passes write in turn
};

}  // namespace

HRESULT ExtremumImage(const ImageView& target, const ImageView& source, int size, Extremum extremum) {
    const Extremes extremes(extremum);
    const auto squares = [&](uint8_t* const* dst, const uint8_t* const* rows, int n, size_t bytes, const NextRows& next,
                             size_t count) { extremes.FinishSquares(dst, rows, n, size, bytes, next, count); };
    if ((size == 3 || size == 5) && extremes.SquaresWorthwhile(size, SampleBytes(source))) {
        return size == 3 ? MapWindows<1>(target, source, squares) : MapWindows<2>(target, source, squares);
    }
    const Window window = Window::Square(size).ClippedTo(source);
    ColumnRuns columns(source, window, extremes);
    const int rowsAtOnce = columns.RowsAtOnce();
    RunExtremes rows(source, window, extremes, rowsAtOnce);
    SampleWriter writer(target);
    if (!columns.Ready() || !rows.Ready() || !writer.Ready()) return E_FAIL;
    rows.FillOutside(columns.Source());
    LowAndHigh lines[kMostWindows];
    for (int i = 0; i < rowsAtOnce; ++i) lines[i] = rows.Columns(i);
    for (int64_t y = 0; y < source.height; ++y) {
        const int row = static_cast<int>(y % rowsAtOnce);
        if (row == 0) columns.Make(lines, y);
        uint8_t* dst = writer.Begin(y);
        rows.Make(dst, row);
        if (source.HasAlpha()) columns.Source().CopyAlpha(dst, y + window.below, window.right, source.width);
        writer.End(y);
    }
    return S_OK;
}

HRESULT ContourImage(const ImageView& target, const ImageView& source) {
    const auto& kernels = Kernels().Morphology();
    return MapWindows<1>(target, source,
                         [&](uint8_t* const* dst, const uint8_t* const* rows, int n, size_t bytes, const NextRows& next,
                             size_t count) { kernels.ContourRows(dst, rows, n, bytes, next, count); });
}

}  // namespace vel
