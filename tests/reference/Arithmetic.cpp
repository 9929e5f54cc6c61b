#include "Arithmetic.h"

#include <algorithm>
#include <cmath>

namespace ref {
namespace {

bool HasPlane(const Image& image, uint32_t plane) { return plane < image.store.size() && !image.store[plane].empty(); }

bool Selected(const Image& mask, int64_t x, int64_t y) { return HasPlane(mask, 0) && mask.Get(y, x) != 0; }

// Stores a 32-bit word at a byte offset from the start of row 0, whatever row that falls into.
void PutWordFromStart(Image& image, int64_t offset, uint32_t word, uint32_t plane) {
    image.PutWord(0, offset, word, plane);
}

// value * factor + offset within 0 to 255; a NaN is 0.
uint8_t Clamped(float value) {
    if (!(value > 0)) return 0;
    if (value > 255) return 255;
    return static_cast<uint8_t>(value);
}

// Without an upper limit; what does not fit into 32 bits is the greatest value.
int32_t Floored(float value) {
    if (!(value > 0)) return 0;
    if (value >= 2147483648.0f) return 2147483647;
    return static_cast<int32_t>(value);
}

// The low 8 bits of the same without that limit: from 2^31 on a float is a multiple of 256.
uint32_t FlooredByte(float value) { return value >= 2147483648.0f ? 0 : static_cast<uint32_t>(Floored(value)) & 0xFF; }

float Scaled(int32_t x, float factor, float offset) {
    const float product = static_cast<float>(x) * factor;
    return product + offset;
}

float WeightedSum(uint8_t first, uint8_t second, float firstFactor, float secondFactor, float offset) {
    const float a = static_cast<float>(first) * firstFactor;
    const float b = static_cast<float>(second) * secondFactor;
    const float sum = a + b;
    return sum + offset;
}

}  // namespace

Made CreateDestImage(const Image& model, uint32_t bitsPerPixel, uint32_t format) {
    const uint32_t depth = bitsPerPixel != 0 ? bitsPerPixel : model.bitsPerPixel;
    const uint32_t code = format != 0 ? format : model.format;
    return {kOk, Created(model.width, model.height, model.planes, depth, code)};
}

int32_t Copy(Image& destination, const Image& source, int32_t x, int32_t y) {
    const uint32_t column = static_cast<uint32_t>(x), row = static_cast<uint32_t>(y);
    if (column >= destination.width || row >= destination.height) return kFail;
    int64_t width = source.width, height = source.height;
    if (column + width > destination.width) width = destination.width - column;
    if (row + height > destination.height) height = destination.height - row;
    const bool both = HasPlane(destination, 0) && HasPlane(source, 0);
    const uint32_t from = source.bitsPerPixel, to = destination.bitsPerPixel;

    if (from == to) {
        const int64_t pixelBytes = to / 8;
        for (int64_t r = 0; both && r < height; ++r) {
            std::vector<uint8_t> bytes;
            for (int64_t i = 0; i < width * pixelBytes; ++i) bytes.push_back(source.Get(r, i));
            for (int64_t i = 0; i < width * pixelBytes; ++i) {
                destination.Put(row + r, column * pixelBytes + i, bytes[static_cast<size_t>(i)]);
            }
        }
        return kOk;
    }
    if (from == 8) {
        if (to != 32 && to != 24) return kFail;
        const int64_t step = to / 8;
        for (int64_t r = 0; both && r < height; ++r) {
            for (int64_t i = 0; i < width; ++i) {
                const uint8_t grey = source.Get(r, i);
                const int64_t at = (column + i) * step;
                destination.Put(row + r, at, grey);
                destination.Put(row + r, at + 1, grey);
                destination.Put(row + r, at + 2, grey);
                if (to == 32) destination.Put(row + r, at + 3, 255);
            }
        }
        return kOk;
    }
    if (from == 32 && to == 24) {
        for (int64_t r = 0; both && r < height; ++r) {
            for (int64_t i = 0; i < width; ++i) {
                for (int64_t k = 0; k < 3; ++k) {
                    destination.Put(row + r, (column + i) * 3 + k, source.Get(r, i * 4 + k));
                }
            }
        }
        return kOk;
    }
    if (from == 16 && source.format == kBgr && to == 24) {
        const int64_t pitch = source.stride / 2;
        for (int64_t r = 0; both && r < height; ++r) {
            for (int64_t i = 0; i < width; ++i) {
                const int64_t word = 2 * (r * pitch + i);
                const uint32_t v = source.Get(0, word) | static_cast<uint32_t>(source.Get(0, word + 1)) << 8;
                const uint8_t low = static_cast<uint8_t>((v & 0x1F) << 3);
                const uint8_t middle = static_cast<uint8_t>(v >> 3 & 0xFC);
                const uint8_t high = static_cast<uint8_t>(v >> 8 & 0xF8);
                const int64_t at = (column + i) * 3;
                if (destination.format == kBgr) {
                    destination.Put(row + r, at, low);
                    destination.Put(row + r, at + 1, middle);
                    destination.Put(row + r, at + 2, high);
                } else if (destination.format == 0) {
                    destination.Put(row + r, at, high);
                    destination.Put(row + r, at + 1, middle);
                    destination.Put(row + r, at + 2, low);
                }
            }
        }
    }
    // Also after the 16-bit conversion.
    return kFail;
}

int32_t Equal(Image& image, const Image* mask, int32_t value) {
    const uint32_t word = static_cast<uint32_t>(value);
    const bool mono = image.format == kMono;
    for (uint32_t p = 0; p < image.planes; ++p) {
        if (!HasPlane(image, p)) continue;
        for (int64_t j = 0; j < image.height; ++j) {
            for (int64_t i = 0; i < image.width; ++i) {
                const bool selected = !mask || Selected(*mask, i, j);
                if (image.bitsPerPixel == 8) {
                    if (selected) image.Put(j, i, static_cast<uint8_t>(word), p);
                } else if (mono && image.bitsPerPixel > 8) {
                    const int64_t pitch = image.stride / static_cast<int32_t>(image.bitsPerPixel / 8);
                    if (selected) PutWordFromStart(image, j * pitch * 4 + i * 4, word, p);
                } else if (!mono && image.bitsPerPixel == 32) {
                    const int64_t pitch = image.stride / 4;
                    if (selected) PutWordFromStart(image, j * pitch * 4 + i * 4, word, p);
                } else if (!mono && image.bitsPerPixel == 24) {
                    image.Put(j, 3 * i, static_cast<uint8_t>(word >> 16), p);
                    image.Put(j, 3 * i + 1, static_cast<uint8_t>(word >> 8), p);
                    image.Put(j, 3 * i + 2, static_cast<uint8_t>(word), p);
                }
            }
        }
    }
    return kOk;
}

int32_t Add(Image& destination, const Image& first, const Image& second, float divisor) {
    const uint32_t depth = first.bitsPerPixel, format = first.format;
    if (second.bitsPerPixel != depth || second.format != format) return kFail;
    const uint32_t width = first.width, height = first.height, planes = first.planes;
    // A source that is the destination too is made anew here, and read as it was made.
    destination = Created(width, height, planes, depth, format);
    int64_t bytes = 0;
    if (depth == 8) bytes = width;
    if (depth == 24 || depth == 32) bytes = int64_t{3} * width;
    for (uint32_t p = 0; p < planes; ++p) {
        if (!HasPlane(first, p) || !HasPlane(second, p) || !HasPlane(destination, p)) continue;
        for (int64_t j = 0; j < height; ++j) {
            for (int64_t i = 0; i < bytes; ++i) {
                const int32_t s = first.Get(j, i, p) + second.Get(j, i, p);
                uint8_t stored;
                if (divisor == 0.0f) {
                    stored = static_cast<uint8_t>(std::min(s, 255));
                } else if (divisor == 2.0f) {
                    stored = static_cast<uint8_t>(std::min(s * 4, 255));
                } else {
                    stored = Clamped(static_cast<float>(s) / divisor);
                }
                destination.Put(j, i, stored, p);
            }
        }
    }
    return kOk;
}

int32_t Subtract(Image& destination, const Image& minuend, const Image& subtrahend, int32_t mode) {
    const uint32_t depth = minuend.bitsPerPixel;
    if (subtrahend.bitsPerPixel != depth || subtrahend.format != minuend.format) return kFail;
    const int64_t width = std::min(minuend.width, subtrahend.width);
    const int64_t height = std::min(minuend.height, subtrahend.height);
    int32_t count = 0;
    for (uint32_t p = 0; p < minuend.planes; ++p) {
        if (!HasPlane(minuend, p) || !HasPlane(subtrahend, p) || !HasPlane(destination, p)) continue;
        const auto store = [&](int64_t row, int64_t at, bool absolute) {
            int32_t d = minuend.Get(row, at, p) - subtrahend.Get(row, at, p);
            if (d < 0) d = absolute ? -d : 0;
            if (d >= 255) d = 255;
            destination.Put(row, at, static_cast<uint8_t>(d), p);
            return d;
        };
        for (int64_t j = 0; j < height; ++j) {
            if (depth == 8) {
                for (int64_t i = 0; i < width; ++i) store(j, i, mode != 0);
            } else if (depth == 24) {
                for (int64_t i = 0; i < 3 * width; ++i) {
                    if (store(j, i, mode != 0) > 1) ++count;
                }
            } else if (depth == 32) {
                for (int64_t i = 0; i < width; ++i) {
                    for (int64_t k = 0; k < 3; ++k) {
                        if (store(j, 4 * i + k, (mode & 1) != 0) > 1) ++count;
                    }
                    destination.Put(j, 4 * i + 3, (mode & 2) != 0 ? 0 : 255, p);
                }
            }
        }
    }
    return count;
}

int32_t AddScale(Image& destination, const Image& first, const Image& second, const Image* mask, float firstFactor,
                 float secondFactor, float offset) {
    const int64_t width = std::min({first.width, second.width, destination.width});
    const int64_t height = std::min({first.height, second.height, destination.height});
    const bool present = HasPlane(first, 0) && HasPlane(second, 0) && HasPlane(destination, 0);
    const auto value = [&](int64_t row, int64_t firstAt, int64_t secondAt) {
        return Clamped(
            WeightedSum(first.Get(row, firstAt), second.Get(row, secondAt), firstFactor, secondFactor, offset));
    };
    const uint32_t depth = destination.bitsPerPixel;
    if (first.bitsPerPixel == depth && second.bitsPerPixel == depth) {
        const int64_t pixelBytes = depth / 8;
        for (int64_t j = 0; present && j < height; ++j) {
            for (int64_t i = 0; i < width; ++i) {
                if (mask && !Selected(*mask, i, j)) continue;
                for (int64_t at = i * pixelBytes; at < (i + 1) * pixelBytes; ++at) {
                    destination.Put(j, at, value(j, at, at));
                }
            }
        }
        return kOk;
    }
    if (first.bitsPerPixel < 24 || second.bitsPerPixel < 24 || depth < 24) return kFail;
    const int64_t stepFirst = first.bitsPerPixel > 24 ? 4 : 3;
    const int64_t stepSecond = second.bitsPerPixel > 24 ? 4 : 3;
    const int64_t step = depth > 24 ? 4 : 3;
    for (int64_t j = 0; present && j < height; ++j) {
        for (int64_t i = 0; i < width; ++i) {
            if (mask && !Selected(*mask, i, j)) continue;
            for (int64_t k = 0; k < 3; ++k) {
                destination.Put(j, i * step + k, value(j, i * stepFirst + k, i * stepSecond + k));
            }
        }
    }
    return mask ? kFail : kOk;
}

int32_t Scale(Image& destination, const Image& source, const Image* mask, float factor, float offset) {
    enum class From { Integer, Quad, Triple, Byte } from;
    const bool sourceMono = source.format == kMono;
    if (source.bitsPerPixel == 32)
        from = sourceMono ? From::Integer : From::Quad;
    else if (source.bitsPerPixel == 24 && !sourceMono)
        from = From::Triple;
    else if (source.bitsPerPixel == 8)
        from = From::Byte;
    else
        return kFail;

    const uint32_t to = destination.bitsPerPixel;
    const bool toInteger = to == 32 && destination.format == kMono;
    if (to != 32 && to != 24 && to != 8) return kFail;
    if (from == From::Byte && to == 32 && !toInteger) return kFail;

    const int64_t width = std::min(source.width, destination.width);
    const int64_t height = std::min(source.height, destination.height);
    const bool plane0Only = from == From::Byte && to == 8;
    const uint32_t planes = plane0Only ? 1 : source.planes;
    for (uint32_t p = 0; p < planes; ++p) {
        if (!HasPlane(source, p) || !HasPlane(destination, p)) continue;
        for (int64_t j = 0; j < height; ++j) {
            const auto byte = [&](int64_t at) { return source.Get(j, at, p); };
            const auto put = [&](int64_t at, uint32_t v) { destination.Put(j, at, static_cast<uint8_t>(v), p); };
            const auto scaled = [&](int32_t x) { return Scaled(x, factor, offset); };
            for (int64_t i = 0; i < width; ++i) {
                switch (from) {
                    case From::Integer: {
                        const float v = scaled(source.GetWord(j, 4 * i, p));
                        if (to == 8) put(i, Clamped(v));
                        if (to == 24)
                            for (int k = 0; k < 3; ++k) put(3 * i + k, Clamped(v));
                        if (toInteger) destination.PutWord(j, 4 * i, static_cast<uint32_t>(Floored(v)), p);
                        if (to == 32 && !toInteger)
                            for (int k = 0; k < 3; ++k) put(4 * i + k, Clamped(v));
                        break;
                    }
                    case From::Quad:
                        if (to == 32) put(i, FlooredByte(scaled(byte(i))));
                        if (to == 24)
                            for (int k = 0; k < 3; ++k) put(3 * i + k, Clamped(scaled(byte(4 * i + k))));
                        if (to == 8) put(i, Clamped(scaled(byte(4 * i) + byte(4 * i + 1) + byte(4 * i + 2))));
                        break;
                    case From::Triple:
                        if (to == 32 && i == 0) {
                            for (int k = 0; k < 3; ++k) put(k, FlooredByte(scaled(byte(k))));
                        }
                        if (to == 24) put(i, Clamped(scaled(byte(i))));
                        if (to == 8) put(i, Clamped(scaled(byte(3 * i) + byte(3 * i + 1) + byte(3 * i + 2))));
                        break;
                    case From::Byte: {
                        const float v = scaled(byte(i));
                        if (to == 24)
                            for (int k = 0; k < 3; ++k) put(3 * i + k, Clamped(v));
                        if (to == 8 && (!mask || Selected(*mask, i, j))) put(i, Clamped(v));
                        if (toInteger) destination.PutWord(j, 4 * i, static_cast<uint32_t>(Floored(v)), p);
                        break;
                    }
                }
            }
        }
    }
    return kOk;
}

int32_t Scale8(Image& destination, const Image& source, int32_t offset, double factor) {
    const uint32_t depth = source.bitsPerPixel;
    if (source.format != kMono) return kNotMonochrome;
    const uint32_t width = source.width, height = source.height, planes = source.planes;
    destination = Created(width, height, planes, 8, kMono);
    if (depth <= 8) return kOk;
    for (uint32_t p = 0; p < planes; ++p) {
        if (!HasPlane(source, p) || !HasPlane(destination, p)) continue;
        const int64_t pitch = source.stride / static_cast<int32_t>(depth / 8);
        for (int64_t j = 0; j < height; ++j) {
            for (int64_t i = 0; i < width; ++i) {
                const double product = static_cast<double>(source.GetWord(0, 4 * (j * pitch + i), p)) * factor;
                // Far beyond 32 bits the offset does not matter any more. A NaN counts as 0.
                double n = std::trunc(product);
                if (std::isnan(n)) n = 0;
                n = std::min(std::max(n, -1e15), 1e15) + offset;
                destination.Put(j, i, n < 0 ? 0 : n >= 255 ? 255 : static_cast<uint8_t>(n), p);
            }
        }
    }
    return kOk;
}

}  // namespace ref
