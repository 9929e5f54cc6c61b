// Convolution by taps: coefficients and rows of an image as the kernels ConvolveRows and SumRows take them.
#pragma once

#include "Coefficients.h"

namespace vel {

// Coefficients in planes of 7 bits, for four rows of the image at once; see TapPlan.
class Taps {
public:
    Taps(const Coefficients& coefficients, const SumRange& range, uint32_t sampleBytes);
    bool Ready() const { return m_taps.Data(); }
    const TapPlan& Plan() const { return m_plan; }
    int64_t Quads() const { return m_quads; }

private:
    void Fill(const Coefficients& coefficients);

    int m_planes;
    int64_t m_quads, m_columns;
    ScratchBuffer m_taps;
    TapPlan m_plan = {};
};

// The rows of an image in fours, widened by what lies outside.
class QuadRows {
public:
    // Of `quads` quads at a time.
    QuadRows(const ImageView& image, const Window& window, int64_t quads);
    // False when there was no memory; nothing else may be called then.
    bool Ready() const { return m_rows.Ready() && m_ring.Data() && m_pointers.Data() && m_filled; }
    SampleRows& Source() { return m_rows; }
    // Bytes of a widened row.
    size_t QuadBytes() const { return static_cast<size_t>(m_samples * m_sampleBytes); }

    // The quads that the windows of rows y to y + 3 need; y is a multiple of 4, in ascending order.
    const uint8_t* const* From(int64_t y);
    // What the next ones will be made of.
    NextRows Next() const { return m_rows.Next(4 * m_next - m_window.above, 4); }

private:
    bool FillOutside();
    uint8_t* Slot(int64_t quad) const { return m_ring.Data() + static_cast<size_t>(quad % m_quads) * m_pitch; }
    void Put(int64_t quad, const uint8_t* const* rows, int64_t sample, int64_t samples);

    Window m_window;
    int64_t m_sampleBytes, m_width, m_samples, m_quads;
    size_t m_pitch;
    int64_t m_next = 0;  // the first quad that is not prepared yet
    SampleRows m_rows;
    ScratchBuffer m_ring, m_pointers;
    bool m_filled;
};

}  // namespace vel
