// How window operations see an image: rows of samples, widened on all sides by what lies outside.
//
// A read outside an image is the colour of pixel (0, 0) with alpha 1. Here, and only here, that colour becomes memory:
// rows above and below the image, and samples left and right of each row. A window then walks plain rows and never
// asks where the image ends.
#pragma once

#include "Kernels/NextRows.h"
#include "VELMathsHelpers.h"

namespace vel {

// Bytes of a pixel in a row of samples: 1 at 1, 4 and 8 bits (the grey index), 3 or 4 at 24 bits and more; 0 at the
// other depths, whose pixels are never written.
uint32_t SampleBytes(const ImageView& image);

// A sample of 1, 3 or 4 bytes. Inline, for copies of single ones are frequent.
inline void CopySample(uint8_t* dst, const uint8_t* src, size_t bytes) {
    dst[0] = src[0];
    if (bytes == 1) return;
    dst[1] = src[1];
    dst[2] = src[2];
    if (bytes == 4) dst[3] = src[3];
}

// A window operation computes pixels: the image has some, and `target` can take them.
bool HasWork(const ImageView& source, const ImageView& target);

// Bytes of an array for ScratchBuffer; more than any memory holds when the product overflows.
uint64_t ArrayBytes(uint64_t count, uint64_t bytesEach);

// How far a window reaches from its pixel in each direction, in pixels.
struct Window {
    int64_t left, right, above, below;

    int64_t Columns() const { return left + 1 + right; }
    int64_t Rows() const { return above + 1 + below; }

    // The square of `size` (1 or more), which reaches one further to the left and above when the size is even.
    static Window Square(int64_t size) { return {size / 2, size - size / 2 - 1, size / 2, size - size / 2 - 1}; }
    // No further than just outside the image: all that lies beyond is one colour.
    Window ClippedTo(const ImageView& image) const;
};

// The rows of an image as samples, and the rows above and below it.
class SampleRows {
public:
    // The last `kept` rows asked for stay valid; rows are asked for in ascending order.
    SampleRows(const ImageView& image, int64_t kept);
    // False when there was no memory; nothing else may be called then.
    bool Ready() const { return m_outside.Data() && m_unpacked.Data(); }
    // The `width` samples of row y, which may lie in the image itself.
    const uint8_t* Row(int64_t y);
    // Alphas of `count` samples of row y from column x (0 or more) on, into a row of 4-byte pixels.
    void CopyAlpha(uint8_t* dst, int64_t y, int64_t x, int64_t count);
    // `count` samples of row y from column x on, those outside included.
    void CopySamples(uint8_t* dst, int64_t y, int64_t x, int64_t count);
    // Those of `rows` rows from y on that a kernel can ask for ahead.
    NextRows Next(int64_t y, int64_t rows) const;
    uint32_t OutsideColour() const { return m_outsideColour; }
    // Samples as they lie outside.
    void FillOutside(uint8_t* dst, int64_t samples) const;

private:
    ImageView m_image;
    uint32_t m_sampleBytes;
    uint32_t m_outsideColour;
    bool m_packed;  // 1 and 4 bits: rows are unpacked into a ring
    int64_t m_slots;
    int64_t m_next = 0;  // the first row that is not unpacked yet
    ScratchBuffer m_outside, m_unpacked;
};

// The rows of an image as samples, each widened to the window's reach. Rows are asked for in ascending order; the last
// Window::Rows() of them stay valid.
class PaddedRows {
public:
    PaddedRows(const ImageView& image, const Window& window);
    bool Ready() const { return m_rows.Ready() && m_ring.Data() && m_outside.Data(); }
    // First sample of row y, from -above to height + below - 1.
    const uint8_t* Row(int64_t y);
    uint32_t OutsideColour() const { return m_rows.OutsideColour(); }

private:
    uint8_t* Slot(int64_t y) const { return m_ring.Data() + static_cast<size_t>(y % m_slots) * m_pitch; }

    SampleRows m_rows;
    int64_t m_height;  // rows inside the image
    size_t m_before;   // bytes from the start of a slot to its first sample
    size_t m_rowBytes, m_pitch;
    int64_t m_slots;
    int64_t m_next = 0;  // the first row that is not there yet
    ScratchBuffer m_ring, m_outside;
};

// Destination rows as samples: the image's own where it stores whole bytes, else scratch rows that are packed at the
// end.
class SampleWriter {
public:
    // Up to `rows` rows are written at a time.
    explicit SampleWriter(const ImageView& target, int rows = 1);
    bool Ready() const { return m_scratch.Data(); }
    // The samples of row y are written between Begin and End. Rows below the image are written in vain.
    uint8_t* Begin(int64_t y);
    void End(int64_t y);

private:
    uint8_t* Scratch(int64_t y) const { return m_scratch.Data() + (y % m_rows) * m_rowBytes; }

    ImageView m_target;
    bool m_packed;
    int64_t m_rows, m_rowBytes;
    ScratchBuffer m_scratch;
};

// Every sample byte of the image becomes `value`, every alpha 0. E_FAIL without memory.
HRESULT FillSamples(const ImageView& target, int value);

}  // namespace vel
