// Byte access that stays inside an image's pixel block.
#pragma once

#include <algorithm>
#include <cmath>

#include "Headers.h"

namespace vel {

// The bytes of one plane, addressed by their signed distance from row 0's first byte. A byte outside the pixel block
// reads as 0 and is never written: operations whose stated positions run past a row's end address memory through this.
class PixelBlock {
public:
    explicit PixelBlock(const ImageView& view) : m_bits(view.bits), m_stride(view.stride) {
        if (view.Empty()) return;
        m_begin = view.BlockBegin() - view.bits;
        m_end = view.BlockEnd() - view.bits;
    }
    int64_t Row(int64_t y) const { return y * m_stride; }

    void Read(int64_t at, uint8_t* to, int64_t bytes) const {
        const int64_t first = std::clamp(m_begin - at, int64_t{0}, bytes);
        const int64_t last = std::clamp(m_end - at, first, bytes);
        std::memset(to, 0, static_cast<size_t>(first));
        if (last > first) std::memcpy(to + first, m_bits + at + first, static_cast<size_t>(last - first));
        std::memset(to + last, 0, static_cast<size_t>(bytes - last));
    }
    void Write(int64_t at, const uint8_t* from, int64_t bytes) const {
        const int64_t first = std::clamp(m_begin - at, int64_t{0}, bytes);
        const int64_t last = std::clamp(m_end - at, first, bytes);
        if (last > first) std::memcpy(m_bits + at + first, from + first, static_cast<size_t>(last - first));
    }
    // `bytes` bytes in one piece, or null when they are not all inside.
    uint8_t* Inside(int64_t at, int64_t bytes) const {
        return at >= m_begin && at + bytes <= m_end ? m_bits + at : nullptr;
    }
    uint8_t Get(int64_t at) const { return at >= m_begin && at < m_end ? m_bits[at] : 0; }
    void Put(int64_t at, uint8_t value) const {
        if (at >= m_begin && at < m_end) m_bits[at] = value;
    }

private:
    uint8_t* m_bits;
    int64_t m_stride;
    int64_t m_begin = 0, m_end = 0;
};

// Asks for the cache lines of bytes that will be written soon, where nothing else foretells it: rows of a narrow strip
// are too far apart for the processor to guess the next one. Always inlined, because g++ drops calls of a function that
// only prefetches.
[[gnu::always_inline]] inline void FetchToWrite(const uint8_t* p, size_t bytes) {
    constexpr size_t kLine = 64;
    for (size_t i = 0; i < bytes; i += kLine) __builtin_prefetch(p + i, 1);
    __builtin_prefetch(p + bytes - 1, 1);
}

// True when pixels of that shape lie inside the view: a host may have refused the pixel store or made another one.
inline bool Holds(const ImageView& view, uint32_t width, uint32_t height, uint32_t bitsPerPixel) {
    return !view.Empty() && view.width >= width && view.height >= height && view.bitsPerPixel == bitsPerPixel;
}

}  // namespace vel
