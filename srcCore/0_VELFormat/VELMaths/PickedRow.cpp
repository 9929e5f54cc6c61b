#include "PickedRow.h"

namespace vel {
namespace {

// Whether offsets repeat themselves after `block` pixels, further on by the same distance each time.
bool Repeats(const uint32_t* offsets, size_t pixels, size_t block) {
    for (size_t i = block; i < pixels; ++i) {
        if (offsets[i] - offsets[i - block] != offsets[block] - offsets[0]) return false;
    }
    return true;
}

}  // namespace

// Blocks whose pixels fill a vector, or a part of one, and come from two neighbouring vectors.
PickedRow::PickedRow(const uint32_t* offsets, size_t pixels, size_t pixelBytes)
    : m_offsets(offsets), m_pixels(pixels), m_pixelBytes(static_cast<int>(pixelBytes)) {
    constexpr size_t kVector = sizeof m_block.places;
    for (size_t block = kVector / pixelBytes; block >= 8; block /= 2) {
        if (block >= pixels || offsets[block - 1] - offsets[0] + pixelBytes > 2 * kVector) continue;
        if (!Repeats(offsets, pixels, block)) continue;
        m_block.pixels = static_cast<uint32_t>(block);
        m_block.advance = offsets[block] - offsets[0];
        for (size_t i = 0; i < block * pixelBytes; ++i) {
            m_block.places[i] = static_cast<uint8_t>(offsets[i / pixelBytes] - offsets[0] + i % pixelBytes);
        }
        return;
    }
}

void PickedRow::Pick(uint8_t* dst, const uint8_t* src, const uint8_t* end) const {
    const MoveKernels& kernels = Kernels().Move();
    if (m_block.pixels > 0) {
        kernels.PickBlocks(dst, src, end, m_offsets, &m_block, m_pixels, m_pixelBytes);
    } else {
        kernels.PickRow(dst, src, end, m_offsets, m_pixels, m_pixelBytes);
    }
}

}  // namespace vel
