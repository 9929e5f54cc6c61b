// The literal reference's own picture of an image: plain memory, every access checked against the pixel block.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace ref {

constexpr uint32_t kMono = 0x4F4E4F4D, kBgr = 0x20524742, kAbgr = 0x52474241, kArgb = 0x42475241;

struct Quad {
    uint8_t blue, green, red, reserved;
};

// `store[p]` is plane p's pixel block: from the lowest row's first byte to the last pixel byte of the highest row.
// A byte outside the block reads as 0 and is never written.
struct Image {
    uint32_t width = 0, height = 0, planes = 1, bitsPerPixel = 0, format = 0;
    int32_t stride = 0;  // signed bytes from one row to the next
    std::vector<std::vector<uint8_t>> store;
    std::vector<Quad> palette;

    Image() = default;
    // stride 0: rows rounded up to 4 bytes, top-down. New bytes are 0.
    Image(uint32_t w, uint32_t h, uint32_t p, uint32_t bpp, uint32_t code, int32_t rowStride = 0)
        : width(w), height(h), planes(p), bitsPerPixel(bpp), format(code), stride(rowStride) {
        if (stride == 0) stride = static_cast<int32_t>((RowBytes() + 3) / 4 * 4);
        const int64_t bytes =
            w == 0 || h == 0 ? 0 : static_cast<int64_t>(h - 1) * std::llabs(stride) + static_cast<int64_t>(RowBytes());
        store.assign(p, std::vector<uint8_t>(static_cast<size_t>(bytes), 0));
    }
    uint64_t RowBytes() const { return (static_cast<uint64_t>(width) * bitsPerPixel + 7) / 8; }

    // Position of byte `offset` of row `y` in the plane's block.
    int64_t Position(int64_t y, int64_t offset) const {
        const int64_t first = stride < 0 ? (static_cast<int64_t>(height) - 1) * -static_cast<int64_t>(stride) : 0;
        return first + y * stride + offset;
    }
    uint8_t Get(int64_t y, int64_t offset, uint32_t plane = 0) const {
        const int64_t at = Position(y, offset);
        return at >= 0 && at < static_cast<int64_t>(store[plane].size()) ? store[plane][static_cast<size_t>(at)] : 0;
    }
    void Put(int64_t y, int64_t offset, uint8_t value, uint32_t plane = 0) {
        const int64_t at = Position(y, offset);
        if (at >= 0 && at < static_cast<int64_t>(store[plane].size())) store[plane][static_cast<size_t>(at)] = value;
    }
    int32_t GetWord(int64_t y, int64_t offset, uint32_t plane = 0) const {
        uint32_t word = 0;
        for (int i = 0; i < 4; ++i) word |= static_cast<uint32_t>(Get(y, offset + i, plane)) << (8 * i);
        return static_cast<int32_t>(word);
    }
    void PutWord(int64_t y, int64_t offset, uint32_t word, uint32_t plane = 0) {
        for (int i = 0; i < 4; ++i) Put(y, offset + i, static_cast<uint8_t>(word >> (8 * i)), plane);
    }
};

}  // namespace ref
