// How window operations see an image: rows of samples, widened on all sides by what lies outside.
//
// A read outside an image is the colour of pixel (0, 0) with alpha 1. Here, and only here, that colour becomes memory:
// rows above and below the image, and samples left and right of each row. A window then walks plain rows and never
// asks where the image ends.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

// Bytes of a pixel in a row of samples: 1 at 1, 4 and 8 bits (the grey index), 3 or 4 at 24 bits and more; 0 at the
// other depths, whose pixels are never written.
uint32_t SampleBytes(const ImageView& image);

// A window operation computes pixels: the image has some, and `target` can take them.
bool HasWork(const ImageView& source, const ImageView& target);

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

// The rows of an image as samples, each widened to the window's reach and followed by slack that vectors may touch.
// Rows are asked for in ascending order; the last Window::Rows() of them stay valid.
class PaddedRows {
public:
    static constexpr size_t kSlack = 64;  // bytes before and after a padded row that may be read

    PaddedRows(const ImageView& image, const Window& window);
    // False when there was no memory; nothing else may be called then.
    bool Ready() const { return m_ring.Data() && m_outside.Data(); }
    // First sample of row y, from -above to height + below - 1.
    const uint8_t* Row(int64_t y);
    uint32_t OutsideColour() const { return m_outsideColour; }

private:
    uint8_t* Slot(int64_t y) const { return m_ring.Data() + static_cast<size_t>(y % m_slots) * m_pitch + m_before; }
    void Load(int64_t y);

    ImageView m_image;
    Window m_window;
    uint32_t m_sampleBytes;
    uint32_t m_outsideColour;
    size_t m_before;  // bytes from the start of a slot to its first sample
    size_t m_pitch;
    int64_t m_slots;
    int64_t m_next = 0;  // the first row that is not loaded yet
    ScratchBuffer m_ring, m_outside;
};

// Destination rows as samples: the image's own where it stores whole bytes, else a scratch row that is packed at the
// end.
class SampleWriter {
public:
    explicit SampleWriter(const ImageView& target);
    bool Ready() const { return m_row.Data(); }
    // The samples of row y are written between Begin and End.
    uint8_t* Begin(int64_t y) { return m_packed ? m_row.Data() : m_target.Row(y); }
    void End(int64_t y);

private:
    ImageView m_target;
    bool m_packed;
    ScratchBuffer m_row;
};

// Every sample byte of the image becomes `value`, every alpha 0. E_FAIL without memory.
HRESULT FillSamples(const ImageView& target, int value);

}  // namespace vel
