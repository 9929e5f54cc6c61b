#include "PixelRows.h"

#include <cstring>

#include "Kernels/Kernels.h"

namespace vel {
namespace {

// A byte of 1- or 4-bit pixels maps as a whole: the table of bytes that a table of indexes makes.
void PackedTable(const uint8_t (&table)[256], uint32_t bitsPerPixel, uint8_t (&packed)[256]) {
    const uint32_t mask = (1u << bitsPerPixel) - 1;
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t mapped = 0;
        for (uint32_t shift = 0; shift < 8; shift += bitsPerPixel) {
            mapped |= (table[byte >> shift & mask] & mask) << shift;
        }
        packed[byte] = static_cast<uint8_t>(mapped);
    }
}

// The luma of an 8-bit row reads two bytes past its last pixel: whatever follows inside the pixel block, else 0.
void LumaRowAtEnd(uint8_t* dst, const uint8_t* src, size_t width, const uint8_t* blockEnd) {
    const auto& kernels = Kernels().Point();
    const size_t there = static_cast<size_t>(blockEnd - src);
    if (there >= width + 2) {
        kernels.LumaRow8(dst, src, width);
        return;
    }
    const size_t safe = width > 2 ? width - 2 : 0;
    kernels.LumaRow8(dst, src, safe);
    uint8_t tail[4] = {};
    std::memcpy(tail, src + safe, there - safe);
    kernels.LumaRow8(dst + safe, tail, width - safe);
}

}  // namespace

void MapIndexRows(const ImageView& view, const uint8_t (&table)[256]) {
    if (view.Empty()) return;
    const auto& kernels = Kernels().Point();
    if (view.bitsPerPixel == 8) {
        for (uint32_t y = 0; y < view.height; ++y) kernels.LookUpRow(view.Row(y), view.width, table);
        return;
    }
    uint8_t packed[256];
    PackedTable(table, view.bitsPerPixel, packed);
    const size_t whole = static_cast<size_t>(uint64_t{view.width} * view.bitsPerPixel / 8);
    const uint32_t restBits = view.width * view.bitsPerPixel % 8;
    const uint32_t restMask = 0xFF00u >> restBits & 0xFF;  // the pixels of a last, partly used byte
    for (uint32_t y = 0; y < view.height; ++y) {
        uint8_t* row = view.Row(y);
        kernels.LookUpRow(row, whole, packed);
        if (restBits) row[whole] = static_cast<uint8_t>((packed[row[whole]] & restMask) | (row[whole] & ~restMask));
    }
}

void GreyPixels(const ImageView& destination, const ImageView& source) {
    if (source.Empty() || destination.Empty()) return;
    const auto& kernels = Kernels().Point();
    const size_t width = source.width < destination.width ? source.width : destination.width;
    const uint32_t height = source.height < destination.height ? source.height : destination.height;
    if (source.bitsPerPixel != destination.bitsPerPixel) return;
    const uint8_t* end = source.BlockEnd();
    for (uint32_t y = 0; y < height; ++y) {
        switch (source.bitsPerPixel) {
            case 8: LumaRowAtEnd(destination.Row(y), source.Row(y), width, end); break;
            case 24: kernels.GreyRow24(destination.Row(y), source.Row(y), width); break;
            case 32: kernels.GreyRow32(destination.Row(y), source.Row(y), width); break;
            default: return;
        }
    }
}

}  // namespace vel
