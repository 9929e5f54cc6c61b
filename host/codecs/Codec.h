// What a picture format gives the library, and what formats share.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Files.h"

namespace velhost {

using Bytes = std::span<const uint8_t>;

// One format. Functions throw Error (messages without the file's name, which the caller puts before them).
struct Codec {
    const char* name;
    const char* description;
    std::vector<std::string> extensions;
    std::string backend;
    // True when the content is of this format, judged by its first bytes.
    bool (*matches)(Bytes data);
    // Reads the header and, when `pixels`, the picture; else the image stays null.
    Loaded (*read)(Bytes data, const LoadOptions& options, bool pixels);
    void (*write)(const Image& image, const SaveOptions& options, std::vector<uint8_t>& out);
};

const Codec& BmpCodec();
const Codec& PngCodec();
const Codec& JpegCodec();
const Codec& TiffCodec();
const Codec& WebPCodec();

// Errors by kind; `text` is a printf format.
[[noreturn]] void ThrowDamaged(const char* text, ...) __attribute__((format(printf, 1, 2)));
[[noreturn]] void ThrowUnsupported(const char* text, ...) __attribute__((format(printf, 1, 2)));

// A new image for a decoded picture, after the limits. Throws Damaged for a side of 0, Limit and Memory.
SmartPtr<Image> NewPicture(const Shape& shape, const Limits& limits, RowOrder order = RowOrder::TopDown);
// The limits alone, for formats whose library allocates before an image is made.
void CheckLimits(const Shape& shape, const Limits& limits);

// Throws Argument unless the picture of that number is there.
void CheckPage(uint32_t page, uint32_t pages);

// What a file can be given of an image. Throws Unsupported when the image has no pixels or several planes.
enum class Pixels { Palette, Grey, Colour16, Colour24, Colour32, Alpha32, Integer32 };
Pixels PixelsOf(const Image& image, const SaveOptions& options);
// Throws Unsupported: which format cannot hold the image, and which can.
[[noreturn]] void RefuseToSave(const Image& image, const char* format);

// The palette, with black entries added for pixels whose index lies behind its last one.
std::vector<RGBQUAD> CompletePalette(const Image& image);
// The grey ramp of a depth from black (white when `falling`), as a palette of 2^bits entries.
std::vector<RGBQUAD> GreyRamp(uint32_t bits, bool falling = false);
bool SamePalette(std::span<const RGBQUAD> a, std::span<const RGBQUAD> b);

// A row of 2-bit values becomes a row of 4-bit values in its own place, each multiplied by `factor`.
void WidenRow2To4(uint8_t* row, uint32_t width, uint32_t factor);

// 0..65535 to 0..255, rounded.
inline uint8_t EightBits(uint32_t v) { return static_cast<uint8_t>((v * 255 + 32767) / 65535); }

// Orientation (1..8) in an EXIF block, which starts with its byte order; 1 when there is none.
uint32_t ExifOrientation(Bytes tiff);

inline uint32_t Word16(const uint8_t* p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }
inline uint32_t Word32(const uint8_t* p) { return Word16(p) | Word16(p + 2) << 16; }

}  // namespace velhost
