#include "codecs/Codec.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace velhost {

namespace {

std::string Format(const char* text, va_list arguments) {
    char buffer[512];
    std::vsnprintf(buffer, sizeof buffer, text, arguments);
    return buffer;
}

std::string Describe(const Image& image) {
    const std::string depth = std::to_string(image.BitsPerPixel()) + "-bit ";
    if (!image.Palette().empty()) return depth + "palette image";
    if (image.Format() == FORMAT_MONO) return depth + "\"MONO\" image";
    return depth + (image.BitsPerPixel() == 16 ? "5-6-5 image" : "image");
}

// Formats that hold what an image holds, best first, and the way for those that do not.
const char* Advice(const Image& image) {
    if (!image.Palette().empty()) return "png, bmp and tiff hold it; increase-bpp makes it 24 or 32 bits";
    if (image.BitsPerPixel() == 32 && image.Format() == FORMAT_MONO) return "tiff holds it; scale8 makes it 8 bits";
    switch (image.BitsPerPixel()) {
        case 1:
        case 4: return "png, bmp and tiff hold it";
        case 8: return "png, jpeg, bmp and tiff hold it; increase-bpp makes it 24 bits";
        case 16: return "bmp holds it";
        case 24: return "png, jpeg, bmp, tiff and webp hold it";
        default: return "png, webp, tiff and bmp hold it; saving without alpha ('drop') is possible";
    }
}

}  // namespace

void ThrowDamaged(const char* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    const std::string message = Format(text, arguments);
    va_end(arguments);
    throw Error(ErrorKind::Damaged, message);
}

void ThrowUnsupported(const char* text, ...) {
    va_list arguments;
    va_start(arguments, text);
    const std::string message = Format(text, arguments);
    va_end(arguments);
    throw Error(ErrorKind::Unsupported, message);
}

void CheckLimits(const Shape& shape, const Limits& limits) {
    if (shape.width == 0 || shape.height == 0) ThrowDamaged("a picture without pixels");
    const std::string size = std::to_string(shape.width) + "x" + std::to_string(shape.height);
    if (shape.width > limits.pixels / shape.height) {
        throw Error(ErrorKind::Limit,
                    size + " pixels are beyond the limit of " + std::to_string(limits.pixels) + " pixels");
    }
    if (shape.RowBytes() > limits.bytes / shape.height) {
        throw Error(ErrorKind::Limit, size + " pixels of " + std::to_string(shape.bitsPerPixel) +
                                          " bits are beyond the limit of " + std::to_string(limits.bytes) + " bytes");
    }
}

SmartPtr<Image> NewPicture(const Shape& shape, const Limits& limits, RowOrder order) {
    CheckLimits(shape, limits);
    SmartPtr<Image> image = Image::Make(shape, order);
    if (!image.Get()) {
        throw Error(ErrorKind::Memory, "no memory for " + std::to_string(shape.width) + "x" +
                                           std::to_string(shape.height) + " pixels of " +
                                           std::to_string(shape.bitsPerPixel) + " bits");
    }
    return image;
}

void CheckPage(uint32_t page, uint32_t pages) {
    if (page < pages) return;
    throw Error(ErrorKind::Argument, "there is no picture " + std::to_string(page) + ", the file holds " +
                                         std::to_string(pages) + " (counted from 0)");
}

Pixels PixelsOf(const Image& image, const SaveOptions& options) {
    if (image.Empty()) ThrowUnsupported("an image without pixels cannot be saved");
    if (image.Planes() != 1)
        ThrowUnsupported("an image of %u planes cannot be saved, only single ones", image.Planes());
    switch (image.BitsPerPixel()) {
        case 16: return Pixels::Colour16;
        case 24: return Pixels::Colour24;
        case 32: break;
        default: return image.Palette().empty() ? Pixels::Grey : Pixels::Palette;
    }
    if (image.Format() == FORMAT_MONO) return Pixels::Integer32;
    if (options.alpha == SaveOptions::Alpha::Keep) return Pixels::Alpha32;
    if (options.alpha == SaveOptions::Alpha::Drop || image.Format() == FORMAT_BGR) return Pixels::Colour32;
    return Pixels::Alpha32;
}

void RefuseToSave(const Image& image, const char* format) {
    const char* article = image.BitsPerPixel() == 8 ? "an" : "a";
    ThrowUnsupported("%s cannot hold %s %s: %s", format, article, Describe(image).c_str(), Advice(image));
}

std::vector<RGBQUAD> CompletePalette(const Image& image) {
    std::vector<RGBQUAD> palette(image.Palette().begin(), image.Palette().end());
    const uint32_t bits = image.BitsPerPixel();
    palette.resize(std::min<size_t>(palette.size(), size_t{1} << bits));
    uint32_t last = 0;
    for (uint32_t y = 0; y < image.Height() && palette.size() < size_t{1} << bits; ++y) {
        const uint8_t* row = image.Row(y);
        for (uint32_t x = 0; x < image.Width(); ++x) {
            const uint32_t bit = x * bits % 8;
            last = std::max(
                last, static_cast<uint32_t>(row[uint64_t{x} * bits / 8] >> (8 - bits - bit)) & ((1u << bits) - 1));
        }
    }
    if (palette.size() <= last) palette.resize(last + 1, RGBQUAD{0, 0, 0, 0});
    return palette;
}

std::vector<RGBQUAD> GreyRamp(uint32_t bits, bool falling) {
    const uint32_t top = (1u << bits) - 1;
    std::vector<RGBQUAD> ramp;
    for (uint32_t i = 0; i <= top; ++i) {
        const auto grey = static_cast<uint8_t>((falling ? top - i : i) * 255 / top);
        ramp.push_back({grey, grey, grey, 0});
    }
    return ramp;
}

bool SamePalette(std::span<const RGBQUAD> a, std::span<const RGBQUAD> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const RGBQUAD& x, const RGBQUAD& y) {
        return x.rgbBlue == y.rgbBlue && x.rgbGreen == y.rgbGreen && x.rgbRed == y.rgbRed;
    });
}

void WidenRow2To4(uint8_t* row, uint32_t width, uint32_t factor) {
    // From the right: the wider values never reach a source byte that is still to be read.
    for (int64_t i = (int64_t{width} + 1) / 2 - 1; i >= 0; --i) {
        const uint32_t source = row[i / 2];
        const uint32_t pair = i % 2 == 0 ? source >> 4 : source & 0x0F;
        row[i] = static_cast<uint8_t>((pair >> 2) * factor << 4 | (pair & 3) * factor);
    }
    if (width % 2 != 0) row[width / 2] &= 0xF0;
}

uint32_t ExifOrientation(Bytes tiff) {
    if (tiff.size() < 8) return 1;
    const bool big = tiff[0] == 'M';
    if (tiff[1] != tiff[0] || (!big && tiff[0] != 'I')) return 1;
    const auto word = [&](size_t at) { return big ? uint32_t{tiff[at]} << 8 | tiff[at + 1] : Word16(&tiff[at]); };
    const auto offset = big ? word(4) << 16 | word(6) : Word32(&tiff[4]);
    if (offset > tiff.size() - 2) return 1;
    const uint32_t entries = word(offset);
    for (size_t at = size_t{offset} + 2; at + 12 <= tiff.size() && at < size_t{offset} + 2 + 12 * size_t{entries};
         at += 12) {
        if (word(at) != 0x0112) continue;
        const uint32_t value = word(at + 8);
        return value >= 1 && value <= 8 ? value : 1;
    }
    return 1;
}

}  // namespace velhost
