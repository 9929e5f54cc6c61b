// Sampling of the crossings of a grid whose columns are the same in every row.
#pragma once

#include "PickedRow.h"
#include "SamplingRows.h"

namespace vel {

// Weights of columns are computed once. Rows are first brought together for all columns where that serves several rows:
// pixels, where every position lies on a pixel column and the taps beside it weigh nothing, or so little that it cannot
// matter; sums of a grey row's columns, which round differently and so are guarded. Then they are summed downwards.
class GridSampler {
public:
    // `columns` are monotone and outlive the sampler. Not usable when Ready() is false: no memory.
    GridSampler(const ImageView& source, int method, const float* columns, size_t count);
    bool Ready() const { return m_scratch.Data() != nullptr; }

    // Samples one row at the height y into a row of `to`, which has the source's depth.
    void SampleRow(float y, const ImageView& to, int64_t row);

private:
    size_t DirectCount() const { return m_span.last - m_span.first; }
    bool IsDirect(size_t column) const { return column >= m_span.first && column < m_span.last; }
    // Calls body(column) for the columns that are not direct; for all of them unless the row is.
    template <class Body>
    void ForSlowColumns(bool directRow, Body&& body) const {
        for (size_t i = 0; i < (directRow ? m_span.first : m_count); ++i) body(i);
        for (size_t i = directRow ? m_span.last : m_count; i < m_count; ++i) body(i);
    }
    void WeighColumns();
    void FindPickedColumns();
    void SampleSlowly(float y, const ImageView& to, int64_t row, size_t first, size_t last) const;
    void SampleDirect(float y, const ImageView& to, int64_t row) const;
    void Hold(int64_t sourceRow, uint8_t* held) const;
    void SumColumns(const uint8_t* row, float* sums) const;
    void SumHeldRows(float y, uint8_t* dst);
    void ClearSlowAlpha(float y, uint8_t* dst) const;
    void SumDoubtfulAgain(float y, uint8_t* dst) const;
    void SumAgain(float y, const size_t* columns, size_t count, uint8_t* dst) const;
    void SumSlowly(float y, const size_t* columns, size_t count, uint8_t* dst) const;
    void StorePicked(uint8_t* dst, const size_t* columns, const uint32_t* colours, size_t count) const;
    TapRun RowTaps(float y, const float* columnWeights, const int64_t* offsets, size_t pitch, float* rows,
                   size_t count) const;

    Sampler m_sampler;
    const float* m_columns;
    size_t m_count;
    Span m_span;            // columns whose taps lie in the image
    bool m_picked = false;  // a position's result comes from one pixel column
    bool m_held = false;    // rows are brought together first, edges and all
    float m_neglected = 0;  // the largest sum of the weights of a position's other columns
    float m_reach = 0;      // the largest sum of a position's weights, as magnitudes
    int64_t m_kept[12];     // source rows that are held; row r in place r modulo the taps
    ScratchBuffer m_scratch;
    int64_t* m_offsets;  // of each position's first tap within its row
    float* m_weights;
    uint32_t* m_picks;      // offsets of the pixel columns
    PickedRow m_pickedRow;  // of the direct columns by one tap, of all by several
    uint8_t* m_rows;        // the held rows
    uint8_t* m_doubts;      // a row's doubtful bytes
};

}  // namespace vel
