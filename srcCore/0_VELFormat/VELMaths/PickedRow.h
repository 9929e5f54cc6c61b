// Rows of pixels that are picked from rows of another image, always the same columns.
#pragma once

#include "Kernels/Kernels.h"

namespace vel {

class PickedRow {
public:
    PickedRow() = default;
    // `offsets`, in bytes and not decreasing, outlive this.
    PickedRow(const uint32_t* offsets, size_t pixels, size_t pixelBytes);
    // dst pixel i = the pixel at src + offsets[i]. No byte at or beyond `end` is read.
    void Pick(uint8_t* dst, const uint8_t* src, const uint8_t* end) const;

private:
    const uint32_t* m_offsets = nullptr;
    size_t m_pixels = 0;
    int m_pixelBytes = 0;
    PickBlock m_block{};  // of no pixels where the columns' distances do not repeat
};

}  // namespace vel
