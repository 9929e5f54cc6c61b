#include "Picture.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace veltool {

using velhost::Error;
using velhost::ErrorKind;
using velhost::Image;

ExitCode CodeOf(const Error& error, bool reading) {
    if (error.Kind() == ErrorKind::Module) return kModule;
    return reading ? kInput : kOutput;
}

velhost::Loaded LoadPicture(const std::string& path, const velhost::LoadOptions& options) {
    try {
        if (path == "-") return velhost::LoadStream(std::cin, options, "standard input");
        return velhost::LoadFile(path, options);
    } catch (const Error& error) {
        const std::string text = error.what();
        const bool convertible = text.find("the conversion '") != std::string::npos;
        throw Failure(CodeOf(error, true), text + (convertible ? " (--convert NAME)" : ""));
    }
}

static void WriteAll(int descriptor, const std::vector<uint8_t>& bytes) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t written = write(descriptor, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) throw Failure(kOutput, std::string("standard output: ") + std::strerror(errno));
        done += static_cast<size_t>(written);
    }
}

void SavePicture(const Image& image, const std::string& path, const velhost::SaveOptions& options) {
    try {
        if (path == "-") {
            WriteAll(STDOUT_FILENO, velhost::SaveMemory(image, options));
        } else {
            velhost::SaveFile(image, path, options);
        }
    } catch (const Error& error) {
        const bool exists = error.Kind() == ErrorKind::Exists;
        throw Failure(CodeOf(error, false), std::string(error.what()) + (exists ? " (--overwrite replaces it)" : ""));
    }
}

namespace {

// Colour of every value that a pixel of the image can have, at 8 bits or less.
void FillColours(const Image& image, RGBQUAD (&colours)[256]) {
    const uint32_t most = (1u << image.BitsPerPixel()) - 1;
    for (uint32_t i = 0; i < 256; ++i) {
        const auto grey = static_cast<uint8_t>(i <= most ? i * 255 / most : 0);
        colours[i] = {grey, grey, grey, 0};
    }
    const auto palette = image.Palette();
    if (palette.empty()) return;
    for (uint32_t i = 0; i < 256; ++i) colours[i] = i < palette.size() ? palette[i] : RGBQUAD{};
}

uint32_t IndexAt(const uint8_t* row, uint32_t x, uint32_t bits) {
    if (bits == 8) return row[x];
    if (bits == 4) return x % 2 == 0 ? row[x / 2] >> 4 : row[x / 2] & 15;
    return row[x / 8] >> (7 - x % 8) & 1;
}

RGBQUAD Colour565(const uint8_t* bytes) {
    const uint32_t word = bytes[0] | static_cast<uint32_t>(bytes[1]) << 8;
    const auto widen = [](uint32_t value, uint32_t bits) {
        return static_cast<uint8_t>(value << (8 - bits) | value >> (2 * bits - 8));
    };
    return {widen(word & 31, 5), widen(word >> 5 & 63, 6), widen(word >> 11, 5), 0};
}

}  // namespace

SmartPtr<Image> Expanded(const SmartPtr<Image>& image) {
    if (image->BitsPerPixel() >= 24 || image->Empty()) return image;
    const uint32_t bits = image->BitsPerPixel();
    velhost::Shape shape = image->GetShape();
    shape.bitsPerPixel = 24;
    shape.format = FORMAT_BGR;
    shape.planes = 1;
    SmartPtr<Image> made = Image::Make(shape, image->Order());
    if (!made.Get()) throw Failure(kInput, "no memory for a 24-bit copy");
    RGBQUAD colours[256];
    if (bits <= 8) FillColours(*image.Get(), colours);
    for (uint32_t y = 0; y < shape.height; ++y) {
        const uint8_t* from = image->Row(y);
        uint8_t* to = made->Row(y);
        for (uint32_t x = 0; x < shape.width; ++x, to += 3) {
            const RGBQUAD colour = bits == 16 ? Colour565(from + 2 * x) : colours[IndexAt(from, x, bits)];
            to[0] = colour.rgbBlue;
            to[1] = colour.rgbGreen;
            to[2] = colour.rgbRed;
        }
    }
    return made;
}

std::string FormatName(uint32_t format) {
    switch (format) {
        case FORMAT_MONO: return "mono";
        case FORMAT_BGR: return "bgr";
        case FORMAT_ARGB: return "argb";
        case FORMAT_ABGR: return "abgr";
        default: break;
    }
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", format);
    return text;
}

std::string ShapeText(const Image& image) {
    return std::to_string(image.Width()) + "x" + std::to_string(image.Height()) + " " +
           std::to_string(image.BitsPerPixel()) + "-bit " + FormatName(image.Format());
}

}  // namespace veltool
