#include "GridSampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "Truncate.h"

namespace vel {
namespace {

// For each column: an offset, weights, a pick, held rows and doubts; parts begin at multiples of 64 bytes.
uint64_t RoundedUp(uint64_t bytes) { return (bytes + 63) / 64 * 64; }

// A held row has a pixel of up to 4 bytes or a sum for each column.
uint64_t HeldRowBytes(uint64_t count) { return RoundedUp(count * sizeof(float)); }

struct Layout {
    uint64_t weights, picks, rows, doubts, bytes;
    Layout(uint64_t count, uint64_t taps, uint64_t pixelBytes)
        : weights(RoundedUp(count * sizeof(int64_t))),
          picks(weights + RoundedUp(count * taps * sizeof(float))),
          rows(picks + RoundedUp(count * sizeof(uint32_t))),
          doubts(rows + taps * HeldRowBytes(count)),
          bytes(doubts + RoundedUp(count * pixelBytes)) {}
};

constexpr int64_t kNoRow = INT64_MIN;

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
    std::fill_n(m_kept, 12, kNoRow);
    if (!Ready() || !m_sampler.m_direct) return;
    m_span = m_sampler.DirectSpan(columns, count, source.width);
    if (m_sampler.m_taps > 1) WeighColumns();
    FindPickedColumns();
    const auto outside = [&](float column) { return ReachOf(m_sampler.m_method, column, source.width).outside; };
    m_held = m_sampler.m_taps > 1 && (m_picked || source.bitsPerPixel == 8) && DirectCount() > 0 &&
             std::none_of(columns, columns + count, outside);
}

void GridSampler::WeighColumns() {
    const Sampler& sampler = m_sampler;
    sampler.Weigh(m_columns + m_span.first, m_weights + m_span.first, m_count, DirectCount());
    const SampledPixels row{sampler.m_source.bits, 0, nullptr, nullptr, sampler.m_pixels.pixelBytes};
    sampler.m_kernels.TapOffsets(m_offsets + m_span.first, &row, m_columns + m_span.first, m_columns + m_span.first,
                                 sampler.m_taps / 2 - 1, DirectCount());
    for (size_t i = 0; i < m_count; ++i) {
        if (!IsDirect(i)) WeighTaps(sampler.m_method, m_columns[i], m_weights + i, m_count);
        float reach = 0;
        for (int k = 0; k < sampler.m_taps; ++k) reach += std::fabs(m_weights[static_cast<size_t>(k) * m_count + i]);
        m_reach = std::max(m_reach, reach);
    }
}

// One pixel column counts when the others' weights are 0, or when they are so small that guarding the sums costs less
// than adding them up. A single tap is an outside one where it is not direct.
void GridSampler::FindPickedColumns() {
    const Sampler& sampler = m_sampler;
    const int centre = sampler.m_taps / 2 - (sampler.m_taps > 1 ? 1 : 0);
    m_picked = sampler.m_source.RowBytes() <= UINT32_MAX &&
               !(sampler.m_method == Interpolation::IntegerBilinear && sampler.m_source.HasAlpha());
    const Span span = sampler.m_taps > 1 ? Span{0, m_count} : m_span;
    for (size_t i = span.first; m_picked && i < span.last; ++i) {
        float others = 0;
        for (int k = 0; k < sampler.m_taps && sampler.m_taps > 1; ++k) {
            const float weight = m_weights[static_cast<size_t>(k) * m_count + i];
            if (k != centre) others += std::fabs(weight);
            if (k == centre && weight != 1.0f) m_picked = false;
        }
        m_neglected = std::max(m_neglected, others);
        const int column = TruncateToInt(m_columns[i] + sampler.m_add);
        if (column < 0 || static_cast<uint32_t>(column) >= sampler.m_source.width) m_picked = false;
        m_picks[i] = static_cast<uint32_t>(column) * sampler.m_source.PixelBytes();
    }
    m_picked = m_picked && m_neglected < 1e-6f;
    if (m_picked) m_pickedRow = PickedRow(m_picks + span.first, span.last - span.first, sampler.m_source.PixelBytes());
}

void GridSampler::SampleRow(float y, const ImageView& to, int64_t row) {
    if (m_held && !ReachOf(m_sampler.m_method, y, m_sampler.m_source.height).outside)
        return SumHeldRows(y, to.Row(row));
    const Span direct = m_sampler.m_direct ? m_sampler.DirectSpan(&y, 1, m_sampler.m_source.height) : Span{};
    if (direct.first == direct.last || DirectCount() == 0) return SampleSlowly(y, to, row, 0, m_count);
    SampleSlowly(y, to, row, 0, m_span.first);
    if (m_picked && m_sampler.m_taps == 1) {
        const ImageView& source = m_sampler.m_source;
        m_pickedRow.Pick(to.Row(row) + m_span.first * to.PixelBytes(), source.Row(TruncateToInt(y + m_sampler.m_add)),
                         source.BlockEnd());
    } else {
        SampleDirect(y, to, row);
    }
    SampleSlowly(y, to, row, m_span.last, m_count);
}

// Columns first to last of a row, one of the two ways not being direct.
void GridSampler::SampleSlowly(float y, const ImageView& to, int64_t row, size_t first, size_t last) const {
    alignas(64) float rows[Sampler::kRun];
    alignas(64) uint32_t colours[Sampler::kRun];
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
    alignas(64) uint32_t colours[Sampler::kRun];
    if (m_sampler.m_taps == 1) {
        alignas(64) float rows[Sampler::kRun];
        for (size_t i = m_span.first; i < m_span.last; i += Sampler::kRun) {
            const size_t count = std::min(Sampler::kRun, m_span.last - i);
            std::fill_n(rows, count, y);
            m_sampler.SampleDirect(m_columns + i, rows, colours, count, 0);
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

// Brings a source row, or what lies beyond the image, together for all columns.
void GridSampler::Hold(int64_t sourceRow, uint8_t* held) const {
    const ImageView& source = m_sampler.m_source;
    const bool inside = sourceRow >= 0 && sourceRow < int64_t{source.height};
    const size_t pixelBytes = source.PixelBytes();
    if (!m_picked) {
        SumColumns(inside ? source.Row(sourceRow) : nullptr, reinterpret_cast<float*>(held));
    } else if (inside) {
        m_pickedRow.Pick(held, source.Row(sourceRow), source.BlockEnd());
    } else {
        for (size_t i = 0; i < m_count; ++i) std::memcpy(held + i * pixelBytes, &m_sampler.m_outside, pixelBytes);
    }
}

// Weighted sums of a grey row's columns; of outside pixels when there is no row.
void GridSampler::SumColumns(const uint8_t* row, float* sums) const {
    const auto taps = static_cast<size_t>(m_sampler.m_taps);
    if (row) {
        m_sampler.m_kernels.SumColumns(sums + m_span.first, row, m_offsets + m_span.first, m_weights + m_span.first,
                                       m_count, m_sampler.m_taps, DirectCount());
    }
    const auto outside = static_cast<float>(m_sampler.m_outside & 0xFF);
    ForSlowColumns(row != nullptr, [&](size_t i) {
        const int64_t first = FirstTap(m_sampler.m_method, m_columns[i]);
        sums[i] = 0;
        for (size_t k = 0; k < taps; ++k) {
            const int64_t x = first + static_cast<int64_t>(k);
            const bool inside = row && x >= 0 && x < int64_t{m_sampler.m_source.width};
            sums[i] += m_weights[k * m_count + i] * (inside ? static_cast<float>(row[x]) : outside);
        }
    });
}

void GridSampler::SumHeldRows(float y, uint8_t* dst) {
    const SamplingKernels& kernels = m_sampler.m_kernels;
    const int taps = m_sampler.m_taps;
    const size_t bytes = m_count * m_sampler.m_source.PixelBytes();
    const int64_t top = FirstTap(m_sampler.m_method, y);
    const uint8_t* rows[12];
    const float* sums[12];
    for (int j = 0; j < taps; ++j) {
        const auto place = static_cast<size_t>(((top + j) % taps + taps) % taps);
        uint8_t* held = m_rows + place * HeldRowBytes(m_count);
        if (m_kept[place] != top + j) Hold(top + j, held);
        m_kept[place] = top + j;
        rows[j] = held;
        sums[j] = reinterpret_cast<const float*>(held);
    }
    float weights[12];
    WeighTaps(m_sampler.m_method, y, weights, 1);
    if (m_picked && m_neglected == 0) {
        kernels.SumRows(dst, rows, weights, taps, bytes);
    } else if (m_picked ? kernels.GuardedRows(dst, m_doubts, rows, weights, taps, m_neglected, bytes)
                        : kernels.GuardedSums(dst, m_doubts, sums, weights, taps, m_reach, bytes)) {
        SumDoubtfulAgain(y, dst);
    }
    if (m_sampler.m_source.HasAlpha() && taps == 4) ClearSlowAlpha(y, dst);
}

// Alpha of what is not on the direct path, where the 4 x 4 methods leave it out.
void GridSampler::ClearSlowAlpha(float y, uint8_t* dst) const {
    const bool inside = ReachOf(m_sampler.m_method, y, m_sampler.m_source.height).inside;
    ForSlowColumns(inside, [&](size_t i) { dst[4 * i + 3] = 0; });
}

void GridSampler::SumDoubtfulAgain(float y, uint8_t* dst) const {
    const bool inside = ReachOf(m_sampler.m_method, y, m_sampler.m_source.height).inside;
    const size_t pixelBytes = m_sampler.m_source.PixelBytes();
    size_t direct[Sampler::kRun], directCount = 0;
    size_t slow[Sampler::kRun], slowCount = 0;
    const uint8_t* const end = m_doubts + m_count * pixelBytes;
    const uint8_t* doubt = m_doubts;
    while ((doubt = static_cast<const uint8_t*>(std::memchr(doubt, 1, static_cast<size_t>(end - doubt))))) {
        const size_t column = static_cast<size_t>(doubt - m_doubts) / pixelBytes;
        if (inside && IsDirect(column)) {
            direct[directCount++] = column;
        } else {
            slow[slowCount++] = column;
        }
        if (directCount == Sampler::kRun) SumAgain(y, direct, std::exchange(directCount, 0), dst);
        if (slowCount == Sampler::kRun) SumSlowly(y, slow, std::exchange(slowCount, 0), dst);
        doubt = m_doubts + (column + 1) * pixelBytes;
    }
    if (directCount > 0) SumAgain(y, direct, directCount, dst);
    if (slowCount > 0) SumSlowly(y, slow, slowCount, dst);
}

// Some of the direct columns, with all their taps.
void GridSampler::SumAgain(float y, const size_t* columns, size_t count, uint8_t* dst) const {
    alignas(64) float weights[12 * Sampler::kRun], rows[12 * Sampler::kRun];
    alignas(64) int64_t offsets[Sampler::kRun];
    alignas(64) uint32_t colours[Sampler::kRun];
    for (size_t i = 0; i < count; ++i) {
        offsets[i] = m_offsets[columns[i]];
        for (size_t k = 0; k < static_cast<size_t>(m_sampler.m_taps); ++k) {
            weights[k * Sampler::kRun + i] = m_weights[k * m_count + columns[i]];
        }
    }
    SampledPixels from = m_sampler.m_pixels;
    from.bits = m_sampler.m_source.Row(TruncateToInt(y) - (m_sampler.m_taps / 2 - 1));
    m_sampler.Accumulate(from, RowTaps(y, weights, offsets, Sampler::kRun, rows, count), colours, count);
    StorePicked(dst, columns, colours, count);
}

// Some of the others.
void GridSampler::SumSlowly(float y, const size_t* columns, size_t count, uint8_t* dst) const {
    alignas(64) float x[Sampler::kRun] = {}, rows[Sampler::kRun];
    alignas(64) uint32_t colours[Sampler::kRun];
    for (size_t i = 0; i < count; ++i) x[i] = m_columns[columns[i]];
    std::fill_n(rows, Sampler::kRun, y);
    m_sampler.SampleSlowly(x, rows, colours, count);
    StorePicked(dst, columns, colours, count);
}

// Colours into some columns; of a grey any channel.
void GridSampler::StorePicked(uint8_t* dst, const size_t* columns, const uint32_t* colours, size_t count) const {
    const size_t pixelBytes = m_sampler.m_source.PixelBytes();
    for (size_t i = 0; i < count; ++i) std::memcpy(dst + columns[i] * pixelBytes, &colours[i], pixelBytes);
}

}  // namespace vel
