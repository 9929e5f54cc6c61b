#include <cmath>

#include "Geometry.h"

namespace ref {
namespace {

bool HasAlpha(uint32_t format) { return format == kAbgr || format == kArgb; }

// Rows of 32-bit pixels are addressed in words: what a stride has beyond whole words does not count.
int64_t RowOffset(const Image& image, int64_t y) { return image.stride / 4 * y * 4; }

uint32_t GetPixelWord(const Image& image, int64_t x, int64_t y) {
    return static_cast<uint32_t>(image.GetWord(0, RowOffset(image, y) + 4 * x));
}
void PutPixelWord(Image& image, int64_t x, int64_t y, uint32_t word) {
    image.PutWord(0, RowOffset(image, y) + 4 * x, word);
}

// The pixel at (i, j) of `from` to (x, y) of `to`, whole, at 8, 24 or 32 bits.
void CopyPixel(const Image& from, int64_t i, int64_t j, Image& to, int64_t x, int64_t y) {
    if (from.bitsPerPixel == 32) {
        PutPixelWord(to, x, y, GetPixelWord(from, i, j));
        return;
    }
    const int64_t size = from.bitsPerPixel / 8;
    for (int64_t b = 0; b < size; ++b) to.Put(y, x * size + b, from.Get(j, i * size + b));
}

// Where mapped pixels of one source row go.
struct Paster {
    const Image& source;
    Image& destination;
    bool marks;
    int64_t previous = 0;

    int64_t Right() const { return static_cast<int64_t>(destination.width) - 1; }
    int64_t Bottom() const { return static_cast<int64_t>(destination.height) - 1; }

    void Paste(int64_t i, int64_t j, int64_t x, int64_t y) {
        if (source.bitsPerPixel == 8) return WithNeighbours(i, j, x, y);
        if (source.bitsPerPixel == 24) return marks ? Marked24(i, j, x, y) : Smeared24(i, j, x, y);
        return marks ? Marked32(i, j, x, y) : WithNeighbours(i, j, x, y);
    }
    void WithNeighbours(int64_t i, int64_t j, int64_t x, int64_t y) {
        if (x < Right()) CopyPixel(source, i, j, destination, x + 1, y);
        if (y < Bottom()) CopyPixel(source, i, j, destination, x, y + 1);
        CopyPixel(source, i, j, destination, x, y);
    }
    void Smeared24(int64_t i, int64_t j, int64_t x, int64_t y) {
        const int64_t n = x - previous;
        if (previous > 0 && n >= 1) {
            for (int64_t k = 0; k < n; ++k) {
                CopyPixel(source, i, j, destination, x - k, y);
                if (y < Bottom()) CopyPixel(source, i, j, destination, x - k, y + 1);
            }
        }
        CopyPixel(source, i, j, destination, x, y);
        previous = x;
    }
    void Marked24(int64_t i, int64_t j, int64_t x, int64_t y) {
        for (int64_t b = 0; b < 3; ++b) {
            const uint8_t value = source.Get(j, 3 * i + b);
            destination.Put(y, 3 * x + b, value == 0 ? 1 : value);
        }
    }
    void Marked32(int64_t i, int64_t j, int64_t x, int64_t y) {
        const uint32_t word = GetPixelWord(source, i, j);
        PutPixelWord(destination, x, y, (word & 0x00FFFFFF) == 0 ? word | 1 : word);
    }
};

// A void byte that enough of its neighbours surround becomes their mean.
void FillVoidByte(Image& image, int64_t y, int64_t offset, int64_t step, uint32_t enough) {
    if (image.Get(y, offset) != 0) return;
    const uint32_t neighbours[4] = {image.Get(y, offset - step), image.Get(y, offset + step), image.Get(y + 1, offset),
                                    image.Get(y - 1, offset)};
    uint32_t n = 0, sum = 0;
    for (uint32_t value : neighbours) {
        if (value != 0) ++n;
        sum += value;
    }
    if (n >= enough) image.Put(y, offset, static_cast<uint8_t>(sum / n));
}

void FillVoidWord(Image& image, int64_t y, int64_t x) {
    if (image.GetWord(y, 4 * x) != 0) return;
    const uint32_t mask = HasAlpha(image.format) ? 0x00FFFFFF : 0xFFFFFFFF;
    const uint32_t opaque = HasAlpha(image.format) ? 0xFF000000 : 0;
    const int32_t neighbours[4] = {image.GetWord(y, 4 * (x - 1)), image.GetWord(y, 4 * (x + 1)),
                                   image.GetWord(y + 1, 4 * x), image.GetWord(y - 1, 4 * x)};
    int32_t n = 0;
    uint32_t sum = 0;
    for (int32_t word : neighbours) {
        if (word != 0) ++n;
        sum += static_cast<uint32_t>(word) & mask;
    }
    if (n >= 1) image.PutWord(y, 4 * x, static_cast<uint32_t>(static_cast<int32_t>(sum) / n) | opaque);
}

}  // namespace

Outcome Transform(const Mapping& mapping, const Image& source, int32_t x0, int32_t y0, uint32_t width, uint32_t height,
                  const Host& host) {
    if (source.width == 0 || source.height == 0) return {kFail, std::nullopt, false};
    const uint32_t w = width == 0 || width > 65535 ? source.width : width;
    const uint32_t h = height == 0 || height > 65535 ? source.height : height;
    const uint32_t depth = source.bitsPerPixel;
    Image result = host.create(w, h, 1, depth, source.format);
    host.fill(result, depth == 32 && HasAlpha(source.format) ? 0xFF000000 : 0);
    if (depth != 8 && depth != 24 && depth != 32) return {kOk, result, false};
    for (int64_t j = 0; j < h; ++j) {
        for (int64_t i = 0; i < w; ++i) {
            double x = static_cast<double>(i) + x0, y = static_cast<double>(j) + y0, z = 0.0;
            mapping(x, y, z);
            if (!(x >= 0.0 && y >= 0.0 && x < source.width && y < source.height)) continue;
            if (source.planes > 0) CopyPixel(source, Truncated(x), Truncated(y), result, i, j);
        }
    }
    return {kOk, result, false};
}

void TransformPaste(const Mapping& mapping, const Image& source, Image& destination, int32_t dx, int32_t dy,
                    int16_t markVoids) {
    const uint32_t depth = source.bitsPerPixel;
    if (depth != 8 && depth != 24 && depth != 32) return;
    const int64_t columns = depth == 8 ? static_cast<int64_t>(source.width) - 1 : source.width;
    for (int64_t j = 0; j < source.height; ++j) {
        Paster paster{source, destination, markVoids != 0};
        for (int64_t i = 0; i < columns; ++i) {
            double x = static_cast<double>(i), y = static_cast<double>(j), z = 0.0;
            mapping(x, y, z);
            const double toX = std::floor(x + dx + 0.5), toY = std::floor(y + dy + 0.5);
            if (!(toX >= 0.0 && toY >= 0.0 && toX < destination.width && toY < destination.height)) continue;
            paster.Paste(i, j, Truncated(toX), Truncated(toY));
        }
    }
    if (markVoids != 0 && depth != 8) FillVoids(destination);
}

int32_t FillVoids(Image& image) {
    const uint32_t depth = image.bitsPerPixel;
    if (depth != 8 && depth != 24 && depth != 32) return kFail;
    const int64_t width = image.width, height = image.height;
    for (int64_t y = 1; y <= height - 2; ++y) {
        for (int64_t x = 1; x <= width - 2; ++x) {
            if (depth == 8) FillVoidByte(image, y, x, 1, 1);
            if (depth == 24) {
                for (int64_t b = 0; b < 3; ++b) FillVoidByte(image, y, 3 * x + b, 3, 3);
            }
            if (depth == 32) FillVoidWord(image, y, x);
        }
    }
    return kOk;
}

}  // namespace ref
