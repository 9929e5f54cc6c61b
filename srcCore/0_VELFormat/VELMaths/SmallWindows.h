// The walk of operations whose windows are 3 x 3 or 5 x 5 and whose kernels read the image itself.
#pragma once

#include "Neighbourhood.h"

namespace vel {

// The samples around the first and the last columns of n rows: `radius` columns at each end have some outside.
template <int n, int radius>
class EndColumns {
public:
    EndColumns(const SampleRows& rows, const ImageView& image) : m_bytes(SampleBytes(image)), m_width(image.width) {
        for (int i = 0; i < n; ++i) {
            rows.FillOutside(m_around[0][i], kAround);
            rows.FillOutside(m_around[1][i], kAround);
        }
    }
    void Put(int i, const uint8_t* row) {
        uint8_t* first = m_around[0][i] + radius * m_bytes;
        if (m_width < 2 * radius) {
            for (size_t x = 0; x < m_width; ++x) CopySample(first + x * m_bytes, row + x * m_bytes, m_bytes);
            return;
        }
        const uint8_t* fromLast = row + (m_width - 2 * radius) * m_bytes;
        for (size_t k = 0; k < 2 * radius; ++k) {
            CopySample(first + k * m_bytes, row + k * m_bytes, m_bytes);
            CopySample(m_around[1][i] + k * m_bytes, fromLast + k * m_bytes, m_bytes);
        }
    }
    // An image so narrow that the two would overlap has one end: all of it.
    int Ends() const { return m_width < 2 * radius ? 1 : 2; }
    size_t Count() const { return (m_width < 2 * radius ? m_width : radius) * m_bytes; }
    // Where the columns of an end (0 or 1) begin, in the image's rows and in those that were put.
    size_t At(int end) const { return end == 0 ? 0 : (m_width - radius) * m_bytes; }
    const uint8_t* Row(int end, int i) const { return m_around[end][i] + radius * m_bytes; }

private:
    static constexpr int kAround = 4 * radius;
    size_t m_bytes, m_width;
    uint8_t m_around[2][n][kAround * 4];
};

// Calls kernel(dst, rows, n, bytes, next, count) for all of the image, some rows at a time: n rows of `count` bytes
// from n + 2 * radius rows, each readable `radius` samples of `bytes` bytes before and after; `next` are rows of a
// later call. E_FAIL when there was no memory.
template <int radius, class Kernel>
HRESULT MapWindows(const ImageView& target, const ImageView& source, Kernel&& kernel) {
    constexpr int kRows = 16, kFrom = kRows + 2 * radius;  // at a time: so few are seen twice
    const size_t bytes = SampleBytes(source);
    SampleRows rows(source, kFrom);
    SampleWriter writer(target, kRows);
    if (!rows.Ready() || !writer.Ready()) return E_FAIL;
    EndColumns<kFrom, radius> ends(rows, source);
    for (int64_t y = 0; y < source.height; y += kRows) {
        uint8_t *dst[kRows], *shifted[kRows];
        const uint8_t* from[kFrom];
        for (int i = 0; i < kRows; ++i) dst[i] = writer.Begin(y + i);
        for (int i = 0; i < kFrom; ++i) {
            const uint8_t* row = rows.Row(y - radius + i);
            ends.Put(i, row);
            from[i] = row + radius * bytes;
        }
        if (source.width > 2 * radius) {
            for (int i = 0; i < kRows; ++i) shifted[i] = dst[i] + radius * bytes;
            kernel(shifted, from, kRows, bytes, rows.Next(y + kRows + radius, kRows),
                   (source.width - 2 * radius) * bytes);
        }
        for (int end = 0; end < ends.Ends(); ++end) {
            for (int i = 0; i < kRows; ++i) shifted[i] = dst[i] + ends.At(end);
            for (int i = 0; i < kFrom; ++i) from[i] = ends.Row(end, i);
            kernel(shifted, from, kRows, bytes, NextRows{}, ends.Count());
        }
        for (int i = 0; i < kRows; ++i) writer.End(y + i);
    }
    return S_OK;
}

}  // namespace vel
