// The walk of operations whose windows are 3 x 3 or 5 x 5 and whose kernels read the image itself.
#pragma once

#include <cstring>

#include "Neighbourhood.h"

namespace vel {

// The first and the last columns of some rows: `radius` columns at each end have samples outside around them. Both ends
// are brought together, so that a kernel makes them at one go as kCount bytes; the results between them mean nothing.
template <int kFrom, int kRows, int radius>
class EndColumns {
public:
    static constexpr size_t kCount = 64;

    EndColumns(const SampleRows& rows, const ImageView& image)
        : m_bytes(SampleBytes(image)), m_rowBytes(image.width * m_bytes), m_narrow(m_rowBytes < kPart) {
        uint8_t outside[kMargin / 3 * 3];
        rows.FillOutside(outside, static_cast<int64_t>(sizeof outside / m_bytes));
        for (int i = 0; i < kFrom; ++i) {
            std::memset(m_from[i], 0, sizeof m_from[i]);
            std::memcpy(Row(i) - radius * m_bytes, outside, radius * m_bytes);
            std::memcpy(Row(i) + (m_narrow ? m_rowBytes : kLast + kPart), outside, radius * m_bytes);
        }
    }
    // An image so narrow that it is all ends.
    bool Narrow() const { return m_narrow; }
    void Put(int i, const uint8_t* row) {
        if (m_narrow) {
            std::memcpy(Row(i), row, m_rowBytes);
        } else {
            std::memcpy(Row(i), row, kPart);
            std::memcpy(Row(i) + kLast, row + m_rowBytes - kPart, kPart);
        }
    }
    const uint8_t* From(int i) const { return m_from[i] + kMargin; }
    uint8_t* Result(int i) { return m_results[i]; }
    // Writes some columns more than the ends, which have to be made later.
    void Take(int i, uint8_t* dst) const {
        if (m_narrow) {
            std::memcpy(dst, m_results[i], m_rowBytes);
        } else {
            std::memcpy(dst, m_results[i], kEnd);
            std::memcpy(dst + m_rowBytes - kEnd, m_results[i] + kLast + kPart - kEnd, kEnd);
        }
    }

private:
    // Bytes at each end that are read, and where the last ones are; bytes that are written. Samples of 3 and 4 bytes
    // stay in step.
    static constexpr size_t kPart = 16, kLast = 32, kEnd = 8, kMargin = 64;
    static_assert(2 * radius * 4 <= kPart && radius * 4 <= kEnd && (kLast + kPart) % 12 == 0);

    uint8_t* Row(int i) { return m_from[i] + kMargin; }

    size_t m_bytes, m_rowBytes;
    bool m_narrow;
    alignas(64) uint8_t m_from[kFrom][kMargin + kCount + kMargin];
    alignas(64) uint8_t m_results[kRows][kCount];
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
    EndColumns<kFrom, kRows, radius> ends(rows, source);
    for (int64_t y = 0; y < source.height; y += kRows) {
        uint8_t *dst[kRows], *shifted[kRows];
        const uint8_t *from[kFrom], *fromEnds[kFrom];
        for (int i = 0; i < kFrom; ++i) {
            from[i] = rows.Row(y - radius + i);
            ends.Put(i, from[i]);
            fromEnds[i] = ends.From(i);
            from[i] += radius * bytes;
        }
        for (int i = 0; i < kRows; ++i) shifted[i] = ends.Result(i);
        kernel(shifted, fromEnds, kRows, bytes, NextRows{}, ends.kCount);
        for (int i = 0; i < kRows; ++i) {
            dst[i] = writer.Begin(y + i);
            ends.Take(i, dst[i]);
            shifted[i] = dst[i] + radius * bytes;
        }
        if (!ends.Narrow() && source.width > 2 * radius) {
            kernel(shifted, from, kRows, bytes, rows.Next(y + kRows + radius, kRows),
                   (source.width - 2 * radius) * bytes);
        }
        for (int i = 0; i < kRows; ++i) writer.End(y + i);
    }
    return S_OK;
}

}  // namespace vel
