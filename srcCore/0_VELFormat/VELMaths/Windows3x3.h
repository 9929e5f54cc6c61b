// The walk of operations whose windows are 3 x 3 and whose kernels read the image itself.
#pragma once

#include "Neighbourhood.h"

namespace vel {

// The samples around the first and the last column of some rows, one of which lies outside.
template <int n>
class EndColumns {
public:
    EndColumns(const SampleRows& rows, const ImageView& image)
        : m_bytes(SampleBytes(image)), m_last((size_t{image.width} - 1) * m_bytes), m_single(image.width == 1) {
        for (int i = 0; i < n; ++i) {
            rows.FillOutside(m_around[0][i], 3);
            rows.FillOutside(m_around[1][i], 3);
        }
    }
    void Put(int i, const uint8_t* row) {
        uint8_t *first = m_around[0][i] + m_bytes, *last = m_around[1][i] + m_bytes;
        CopySample(first, row, m_bytes);
        CopySample(last, row + m_last, m_bytes);
        if (m_single) return;
        CopySample(first + m_bytes, row + m_bytes, m_bytes);
        CopySample(last - m_bytes, row + m_last - m_bytes, m_bytes);
    }
    // Samples of row i, from the one before the first (0) or last (1) column on.
    const uint8_t* Around(int end, int i) const { return m_around[end][i]; }
    // Where that column is in a row.
    size_t At(int end) const { return end == 0 ? 0 : m_last; }

private:
    size_t m_bytes, m_last;
    bool m_single;
    uint8_t m_around[2][n][3 * 4];
};

// Calls kernel(dst, rows, n, bytes, next, count) for all of the image, some rows at a time: n rows of `count` bytes
// from n + 2 rows, each readable one sample of `bytes` bytes before and after; `next` are rows of a later call. E_FAIL
// when there was no memory.
template <class Kernel>
HRESULT MapWindows3x3(const ImageView& target, const ImageView& source, Kernel&& kernel) {
    constexpr int kRows = 16;  // at a time: so few are seen twice
    const size_t bytes = SampleBytes(source);
    SampleRows rows(source, kRows + 2);
    SampleWriter writer(target, kRows);
    if (!rows.Ready() || !writer.Ready()) return E_FAIL;
    EndColumns<kRows + 2> ends(rows, source);
    for (int64_t y = 0; y < source.height; y += kRows) {
        uint8_t *dst[kRows], *shifted[kRows];
        const uint8_t* from[kRows + 2];
        for (int i = 0; i < kRows; ++i) dst[i] = writer.Begin(y + i);
        for (int i = 0; i < kRows + 2; ++i) {
            const uint8_t* row = rows.Row(y - 1 + i);
            ends.Put(i, row);
            from[i] = row + bytes;
        }
        if (source.width > 2) {
            for (int i = 0; i < kRows; ++i) shifted[i] = dst[i] + bytes;
            kernel(shifted, from, kRows, bytes, rows.Next(y + kRows + 1, kRows), (source.width - 2) * bytes);
        }
        for (int end = 0; end < 2; ++end) {
            for (int i = 0; i < kRows; ++i) shifted[i] = dst[i] + ends.At(end);
            for (int i = 0; i < kRows + 2; ++i) from[i] = ends.Around(end, i) + bytes;
            kernel(shifted, from, kRows, bytes, NextRows{}, bytes);
        }
        for (int i = 0; i < kRows; ++i) writer.End(y + i);
    }
    return S_OK;
}

}  // namespace vel
