#include "GridSampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Truncate.h"

namespace vel {
namespace {

// For each column: an offset, weights, a pick, held rows and doubts; parts begin at multiples of 64 bytes.
uint64_t RoundedUp(uint64_t bytes) { return (bytes + 63) / 64 * 64; }

struct Layout {
    uint64_t weights, picks, rows, doubts, bytes;
    Layout(uint64_t count, uint64_t taps, uint64_t pixelBytes)
        : weights(RoundedUp(count * sizeof(int64_t))),
          picks(weights + RoundedUp(count * taps * sizeof(float))),
          rows(picks + RoundedUp(count * sizeof(uint32_t))),
          doubts(rows + RoundedUp(count * taps * pixelBytes)),
          bytes(doubts + RoundedUp(count * pixelBytes)) {}
};

}  // namespace

GridSampler::GridSampler(const ImageView& source, int method, const float* columns, size_t count)
    : m_sampler(source, method),
      m_columns(columns),
      m_count(count),
      m_scratch(Layout(count, static_cast<uint64_t>(m_sampler.m_taps), source.PixelBytes()).bytes) {
    const Layout layout(count, static_cast<uint64_t>(m_sampler.m_taps), source.PixelBytes());
    uint8_t* memory = m_scratch.Data();
    m_offsets = reinterpret_cast<int64_t*>(memory);
    m_weights = reinterpret_cast<float*>(memory + layout.weights);
    m_picks = reinterpret_cast<uint32_t*>(memory + layout.picks);
    m_rows = memory + layout.rows;
    m_doubts = memory + layout.doubts;
    std::fill_n(m_kept, 12, int64_t{-1});
    if (!Ready() || !m_sampler.m_direct) return;
    m_span = m_sampler.DirectSpan(columns, count, source.width);
    if (m_sampler.m_taps > 1) {
        m_sampler.Weigh(columns + m_span.first, m_weights + m_span.first, count, DirectCount());
        const SampledPixels row{source.bits, 0, nullptr, nullptr, static_cast<int>(source.PixelBytes())};
        m_sampler.m_kernels.TapOffsets(m_offsets + m_span.first, &row, columns + m_span.first, columns + m_span.first,
                                       m_sampler.m_taps / 2 - 1, DirectCount());
    }
    FindPickedColumns();
}

// One pixel column counts when the others' weights are 0, or when they are so small that guarding the sums costs less
// than adding them up.
void GridSampler::FindPickedColumns() {
    const Sampler& sampler = m_sampler;
    const int centre = sampler.m_taps / 2 - (sampler.m_taps > 1 ? 1 : 0);
    m_picked = sampler.m_source.RowBytes() <= UINT32_MAX &&
               !(sampler.m_method == Interpolation::IntegerBilinear && sampler.m_source.HasAlpha());
    for (size_t i = m_span.first; m_picked && i < m_span.last; ++i) {
        float others = 0;
        for (int k = 0; k < sampler.m_taps && sampler.m_taps > 1; ++k) {
            const float weight = m_weights[static_cast<size_t>(k) * m_count + i];
            if (k != centre) others += std::fabs(weight);
            if (k == centre && weight != 1.0f) m_picked = false;
        }
        m_neglected = std::max(m_neglected, others);
        m_picks[i] = static_cast<uint32_t>(TruncateToInt(m_columns[i] + sampler.m_add)) * sampler.m_source.PixelBytes();
    }
    m_picked = m_picked && m_neglected < 1e-6f;
}

void GridSampler::SampleRow(float y, const ImageView& to, int64_t row) {
    const Span direct = m_sampler.m_direct ? m_sampler.DirectSpan(&y, 1, m_sampler.m_source.height) : Span{};
    if (direct.first == direct.last || DirectCount() == 0) return SampleSlowly(y, to, row, 0, m_count);
    SampleSlowly(y, to, row, 0, m_span.first);
    uint8_t* dst = to.Row(row) + m_span.first * to.PixelBytes();
    if (!m_picked) {
        SampleDirect(y, to, row);
    } else if (m_sampler.m_taps == 1) {
        PickRow(TruncateToInt(y + m_sampler.m_add), dst);
    } else {
        SumPickedRows(y, dst);
    }
    SampleSlowly(y, to, row, m_span.last, m_count);
}

// Columns first to last of a row, one of the two ways not being direct.
void GridSampler::SampleSlowly(float y, const ImageView& to, int64_t row, size_t first, size_t last) const {
    float rows[Sampler::kRun];
    uint32_t colours[Sampler::kRun];
    for (size_t i = first; i < last; i += Sampler::kRun) {
        const size_t count = std::min(Sampler::kRun, last - i);
        std::fill_n(rows, count, y);
        m_sampler.SampleSlowly(m_columns + i, rows, colours, count);
        StoreColours(to, row, i, colours, count);
    }
}

// Taps of positions in a row at the height y; its weights are repeated for each of `count` positions in `rows`.
TapRun GridSampler::RowTaps(float y, const float* columnWeights, const int64_t* offsets, size_t pitch, float* rows,
                            size_t count) const {
    float single[12];
    m_sampler.Weigh(&y, single, 1, 1);
    for (int j = 0; j < m_sampler.m_taps; ++j) {
        std::fill_n(rows + static_cast<size_t>(j) * Sampler::kRun, count, single[j]);
    }
    return {offsets, columnWeights, pitch, rows, Sampler::kRun};
}

void GridSampler::SampleDirect(float y, const ImageView& to, int64_t row) const {
    uint32_t colours[Sampler::kRun];
    if (m_sampler.m_taps == 1) {
        float rows[Sampler::kRun];
        for (size_t i = m_span.first; i < m_span.last; i += Sampler::kRun) {
            const size_t count = std::min(Sampler::kRun, m_span.last - i);
            std::fill_n(rows, count, y);
            m_sampler.SampleDirect(m_columns + i, rows, colours, count);
            StoreColours(to, row, i, colours, count);
        }
        return;
    }
    alignas(64) float rows[12 * Sampler::kRun];
    TapRun taps = RowTaps(y, nullptr, nullptr, m_count, rows, Sampler::kRun);
    SampledPixels from = m_sampler.m_pixels;
    from.bits = m_sampler.m_source.Row(TruncateToInt(y) - (m_sampler.m_taps / 2 - 1));
    for (size_t i = m_span.first; i < m_span.last; i += Sampler::kRun) {
        const size_t count = std::min(Sampler::kRun, m_span.last - i);
        taps.offsets = m_offsets + i;
        taps.columns = m_weights + i;
        m_sampler.Accumulate(from, taps, colours, count);
        StoreColours(to, row, i, colours, count);
    }
}

// The direct columns of a source row, one after the other.
void GridSampler::PickRow(int64_t sourceRow, uint8_t* dst) const {
    const ImageView& source = m_sampler.m_source;
    Kernels().Move().PickRow(dst, source.Row(sourceRow), source.BlockEnd(), m_picks + m_span.first, DirectCount(),
                             static_cast<int>(source.PixelBytes()));
}

void GridSampler::SumPickedRows(float y, uint8_t* dst) {
    const SamplingKernels& kernels = m_sampler.m_kernels;
    const int taps = m_sampler.m_taps;
    const uint32_t pixelBytes = m_sampler.m_source.PixelBytes();
    const size_t bytes = DirectCount() * pixelBytes;
    const int64_t top = TruncateToInt(y) - (taps / 2 - 1);
    const uint8_t* rows[12];
    for (int j = 0; j < taps; ++j) {
        const auto place = static_cast<size_t>((top + j) % taps);
        uint8_t* held = m_rows + place * m_count * pixelBytes;
        if (m_kept[place] != top + j) PickRow(top + j, held);
        m_kept[place] = top + j;
        rows[j] = held;
    }
    float weights[12];
    m_sampler.Weigh(&y, weights, 1, 1);
    if (m_neglected == 0) return kernels.SumRows(dst, rows, weights, taps, bytes);

    if (kernels.GuardedRows(dst, m_doubts, rows, weights, taps, m_neglected, bytes) == 0) return;
    size_t columns[Sampler::kRun], doubtful = 0;
    for (size_t i = 0; i < DirectCount(); ++i) {
        const uint8_t* doubts = m_doubts + i * pixelBytes;
        if (std::any_of(doubts, doubts + pixelBytes, [](uint8_t doubt) { return doubt != 0; })) columns[doubtful++] = i;
        if (doubtful == Sampler::kRun || i + 1 == DirectCount()) {
            SumAgain(y, columns, doubtful, dst);
            doubtful = 0;
        }
    }
}

// Some of the direct columns, with all their taps.
void GridSampler::SumAgain(float y, const size_t* columns, size_t count, uint8_t* dst) const {
    alignas(64) float weights[12 * Sampler::kRun], rows[12 * Sampler::kRun];
    int64_t offsets[Sampler::kRun];
    uint32_t colours[Sampler::kRun];
    for (size_t i = 0; i < count; ++i) {
        const size_t column = m_span.first + columns[i];
        offsets[i] = m_offsets[column];
        for (size_t k = 0; k < static_cast<size_t>(m_sampler.m_taps); ++k) {
            weights[k * Sampler::kRun + i] = m_weights[k * m_count + column];
        }
    }
    SampledPixels from = m_sampler.m_pixels;
    from.bits = m_sampler.m_source.Row(TruncateToInt(y) - (m_sampler.m_taps / 2 - 1));
    m_sampler.Accumulate(from, RowTaps(y, weights, offsets, Sampler::kRun, rows, count), colours, count);
    const size_t pixelBytes = m_sampler.m_source.PixelBytes();
    for (size_t i = 0; i < count; ++i) std::memcpy(dst + columns[i] * pixelBytes, &colours[i], pixelBytes);
}

}  // namespace vel
