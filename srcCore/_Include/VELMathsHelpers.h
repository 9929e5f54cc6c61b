// What the module's operations share: views of host images, one-pixel access, new images and their delivery.
#pragma once

#include <cstddef>
#include <cstdlib>

#include "Interface.h"
#include "SmartPtr.h"

// Grey ramp, entry i = (i, i, i, 0). Every pixel of 8 bits or less is read through it; an image's own palette is not.
extern const RGBQUAD DefaultPalette[256];

// Alpha byte of a colour that was read outside an image.
constexpr uint32_t kOutsideAlpha = 0x01;

// The colour word of pixel (x, y): blue bits 0-7, green 8-15, red 16-23, alpha 24-31 (0 below 32 bits).
// `pixels` is the first byte of row 0, `stride` the signed distance of rows in bytes. Outside the image it is the
// colour of pixel (0, 0) with alpha 0x01 (0x01000000 without pixels); 0 when the width or height is 0. Depths below
// 24 other than 1, 4 and 8 read as index 0.
uint32_t GetPixelColor(unsigned char* pixels, int x, int y, int width, int height, int stride, int bitsPerPixel);

// Writes pixel (x, y); below 24 bits the index of the nearest grey. The upper bounds are inclusive: x = width and
// y = height are written too, and whoever calls this keeps to the image.
void SetPixelColor(unsigned char* pixels, int x, int y, int width, int height, int stride, RGBQUAD colour,
                   int bitsPerPixel);

namespace vel {

constexpr uint32_t ColourWord(uint32_t blue, uint32_t green, uint32_t red, uint32_t alpha) {
    return blue | green << 8 | red << 16 | alpha << 24;
}
constexpr uint32_t BlueOf(uint32_t colour) { return colour & 0xFF; }
constexpr uint32_t GreenOf(uint32_t colour) { return colour >> 8 & 0xFF; }
constexpr uint32_t RedOf(uint32_t colour) { return colour >> 16 & 0xFF; }
constexpr uint32_t AlphaOf(uint32_t colour) { return colour >> 24; }
constexpr RGBQUAD QuadOf(uint32_t colour) {
    return {static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 8), static_cast<uint8_t>(colour >> 16),
            static_cast<uint8_t>(colour >> 24)};
}

// Index of the palette entry nearest to a colour whose channels sum to `sum`: on the grey ramp the squared distance
// is least at sum / 3, and no sum is half-way between two entries.
constexpr uint32_t NearestGreyIndex(uint32_t sum) { return (sum + 1) / 3; }

// The pixels of one plane of an image. Made once per operation and passed by value; owns nothing.
struct ImageView {
    uint8_t* bits = nullptr;  // first byte of row 0
    int32_t stride = 0;       // bytes from one row to the next, signed
    uint32_t width = 0;       // pixels
    uint32_t height = 0;      // rows
    uint32_t planes = 0;
    uint32_t bitsPerPixel = 0;
    uint32_t format = 0;  // colour-format code

    // Nothing to read or write. Sizes beyond 31 bits count as negative, hence empty.
    bool Empty() const { return !bits || static_cast<int32_t>(width) <= 0 || static_cast<int32_t>(height) <= 0; }
    uint8_t* Row(int64_t y) const { return bits + y * stride; }
    // Bytes of a row that hold pixels; padding up to the stride is not counted.
    size_t RowBytes() const { return static_cast<size_t>((uint64_t{width} * bitsPerPixel + 7) / 8); }
    // Whole bytes of a pixel; 0 at 1 and 4 bits.
    uint32_t PixelBytes() const { return bitsPerPixel / 8; }
    // The image's pixel block: from the lowest row's first byte to the end of the highest row's pixels.
    uint8_t* BlockBegin() const { return stride < 0 ? Row(int64_t{height} - 1) : bits; }
    uint8_t* BlockEnd() const { return (stride < 0 ? bits : Row(int64_t{height} - 1)) + RowBytes(); }
    // True when the depth is 1, 4 or 8: a pixel is an index into the grey ramp.
    bool Indexed() const { return bitsPerPixel == 8 || bitsPerPixel == 4 || bitsPerPixel == 1; }
    // True when the depth is 24 or 32: a pixel starts with blue, green, red bytes.
    bool Coloured() const { return bitsPerPixel == 24 || bitsPerPixel == 32; }
    bool HasAlpha() const { return bitsPerPixel == 32; }

    uint32_t Colour(int64_t x, int64_t y) const {
        return GetPixelColor(bits, static_cast<int>(x), static_cast<int>(y), static_cast<int>(width),
                             static_cast<int>(height), stride, static_cast<int>(bitsPerPixel));
    }
};

// Size, format and rows of one plane. Null pixels where the host gives none.
ImageView ViewOf(IVEL* image, uint32_t plane = 0);

// A new image without a pixel store, by the collection's "VELImageDIB"; empty when the host makes none.
SmartPtr<IVELImage> NewImageFromCollection();
// The same by the kept component string (VELObject::CreateImageDIB).
SmartPtr<IVELImage> NewImageDIB();

// Gives the target the image's content; false when it offers no IVELImage or does not take it.
bool AssignImage(IVEL* target, IVELImage* image);

// Hands a finished image over: to *dest when the caller gave one (the caller gets the reference), else to the source,
// which takes over its content when it offers IVELImage. S_OK in every case.
HRESULT DeliverImage(IVEL* source, SmartPtr<IVELImage> image, IVEL** dest);

// Scratch memory of an operation, 64-byte aligned, released at the end of the scope. Never throws: a null Data() is
// for the operation to turn into E_FAIL.
class ScratchBuffer {
public:
    ScratchBuffer() : m_data(nullptr) {}
    explicit ScratchBuffer(uint64_t bytes)
        : m_data(bytes < (uint64_t{1} << 62) ? static_cast<uint8_t*>(std::aligned_alloc(64, RoundUp(bytes)))
                                             : nullptr) {}
    ScratchBuffer(const ScratchBuffer&) = delete;
    ScratchBuffer& operator=(const ScratchBuffer&) = delete;
    // Clang's analyzer believes that a std::optional destroys its value twice.
    ~ScratchBuffer() { std::free(m_data); }  // NOLINT(clang-analyzer-unix.Malloc)
    uint8_t* Data() const { return m_data; }
    template <class T>
    T* As() const {
        return reinterpret_cast<T*>(m_data);
    }

private:
    static size_t RoundUp(uint64_t bytes) { return static_cast<size_t>((bytes + 64) / 64 * 64); }
    uint8_t* m_data;
};

}  // namespace vel

struct VELObject {
    // A new image without a pixel store, with one reference for the caller; null when the host makes none.
    static IVELImageDIB* CreateImageDIB();
};
