// The reference host's image.
//
// Pixels and format codes
//   depth  format code   palette   bytes of a pixel
//     1    FORMAT_MONO   none      bit 7 is the leftmost pixel; 0 black, 1 white
//     4    FORMAT_MONO   none      high nibble first; 0 black ... 15 white
//     8    FORMAT_MONO   none      one grey value
//  1 4 8   FORMAT_BGR    yes       an index into the palette
//    16    FORMAT_BGR    none      a little-endian 5-6-5 word, blue in the low five bits
//    24    FORMAT_BGR    none      blue, green, red
//    32    FORMAT_ARGB   none      blue, green, red, alpha (0 transparent, 255 opaque; colours not multiplied by alpha)
//    32    FORMAT_BGR    none      blue, green, red and a byte without a meaning
//    32    FORMAT_MONO   none      a signed 32-bit integer, in the machine's byte order
// That is what this library's readers produce and its writers take. An image itself holds any code with any depth, and
// a palette with any depth of 8 or less, whatever its code.
//
// Row 0 is the top of the picture. In a bottom-up image it is the last row in memory, and the stride is negative.
#pragma once

#include <span>
#include <vector>

#include "Interface.h"
#include "Object.h"
#include "SmartPtr.h"

namespace velhost {

enum class RowOrder { TopDown, BottomUp };

// Size and pixel format, as Create takes them.
struct Shape {
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // rows
    uint32_t bitsPerPixel = 0;
    uint32_t format = 0;  // colour-format code
    uint32_t planes = 1;

    bool operator==(const Shape&) const = default;
    // Bytes of a row that hold pixels, rounded up to whole bytes.
    uint64_t RowBytes() const { return (uint64_t{width} * bitsPerPixel + 7) / 8; }
};

// The depths an image can have: 1, 4, 8, 16, 24, 32.
bool IsDepth(uint32_t bitsPerPixel);

// An image is made empty, of a shape, over memory of the caller, or as a copy. Reference counts are safe from several
// threads; pixels, palette and shape are not guarded: one thread at a time changes an image.
class Image final : public Counted<Image, IVELImageDIB, IVELImagePalette> {
public:
    // An empty image: no pixels, every number of its shape 0.
    static SmartPtr<Image> New();

    // An image with pixels of its own, all 0, every row starting at a multiple of 64 bytes. Null when Create would
    // fail for that shape.
    static SmartPtr<Image> Make(const Shape& shape, RowOrder order = RowOrder::TopDown);

    // An image over memory of the caller, nothing copied and nothing freed. `row0` is the first byte of the top row and
    // `stride` the distance of rows in bytes, of any size and sign (0 repeats one row); plane p starts `planeDistance`
    // * p bytes further. The memory must outlive the image's use. Null when the depth is none of IsDepth, or row0 is
    // null for a picture that has pixels, or planes is 0.
    //
    // Create and Assign with exactly the shape it has write into the caller's memory; with another shape the image
    // leaves that memory as it is and gets a store of its own (Wrapped() is false from then on).
    static SmartPtr<Image> Wrap(void* row0, int32_t stride, const Shape& shape, int64_t planeDistance = 0);

    // A copy of any host's image with palette and row order, read through its interfaces. Null when `image` is null
    // or the pixels cannot be had.
    static SmartPtr<Image> CopyOf(IVEL* image);

    // Most bytes that one image's own pixels may take, for all images of the process; at first 16 GiB. Create fails
    // beyond it. Safe from several threads.
    static void SetByteLimit(uint64_t bytes);
    static uint64_t ByteLimit();

    const Shape& GetShape() const { return m_shape; }
    uint32_t Width() const { return m_shape.width; }
    uint32_t Height() const { return m_shape.height; }
    uint32_t Planes() const { return m_shape.planes; }
    uint32_t BitsPerPixel() const { return m_shape.bitsPerPixel; }
    uint32_t Format() const { return m_shape.format; }
    // Changes the code only, not the pixels.
    void SetFormat(uint32_t format) { m_shape.format = format; }
    RowOrder Order() const { return m_stride < 0 ? RowOrder::BottomUp : RowOrder::TopDown; }
    bool Wrapped() const { return m_row0 && !m_store; }
    // No pixels: nothing created yet, a failed Create, or a side of 0.
    bool Empty() const { return !m_row0; }
    // Signed distance of rows in bytes, whatever scope is active.
    int32_t Stride() const { return m_stride; }
    // First byte of row y (0 <= y < Height()) of a plane; null in an empty image.
    uint8_t* Row(uint32_t y, uint32_t plane = 0) const {
        return m_row0 ? m_row0 + int64_t{plane} * m_planeDistance + int64_t{y} * m_stride : nullptr;
    }

    // Colour table; empty means none. At most 256 entries are kept. Lost by Create.
    std::span<const RGBQUAD> Palette() const { return {m_palette.data(), m_paletteEntries}; }
    bool SetPalette(std::span<const RGBQUAD> entries);  // false: no memory, the palette is empty then

    // IUnknown: IVEL, IVELImage, IVELImageDIB and IVELImagePalette are answered.
    HRESULT QueryInterface(const IID& iid, void** object) override;

    // IVEL. A null output is skipped.
    HRESULT GetSize(uint32_t* width, uint32_t* height, uint32_t* planes) override;
    HRESULT GetFormat(uint32_t* bitsPerPixel, uint32_t* format, uint32_t* unused) override;
    // E_INVALIDARG, null and 0 for a plane that is not there. An image without pixels answers null and S_OK.
    HRESULT GetBits(uint32_t plane, uint32_t* unused, uint8_t** bits, int32_t* stride) override;

    // IVELImage. Create replaces earlier pixels and palette by pixels of that shape, all 0, top-down; a side of 0 is
    // allowed. E_INVALIDARG: a depth that is none of IsDepth, no planes, a side or a row beyond 31 bits. E_FAIL: beyond
    // the byte limit, or no memory. After a failure the image is empty.
    HRESULT Create(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format) override;
    HRESULT Reserved5() override { return E_FAIL; }
    // Copies pixels, palette and row order of any host's image, which stays as it is. Pixels of the same shape and row
    // order stay where they are in memory. E_INVALIDARG for a null image and E_FAIL for one whose pixels cannot be
    // copied: this image is unchanged then.
    HRESULT Assign(IVEL* image, int32_t flags) override;
    // Every pixel of every plane: at 24 and 32 bits (an integer at 32 bits "MONO") the word's bytes, at 16 bits its
    // channels cut to 5-6-5, below that the nearest entry of the palette or else of the grey levels of the depth.
    // E_FAIL for an image without pixels.
    HRESULT FillColor(uint32_t colour) override;

    // IVELImagePalette.
    HRESULT Reserved1() override { return E_FAIL; }
    // The table always has room for 256 entries, black behind the last one: any index may be looked up in it.
    HRESULT GetPalette(const RGBQUAD** entries, uint32_t* count) override;

private:
    friend class Counted<Image, IVELImageDIB, IVELImagePalette>;
    Image() = default;
    ~Image() { Reset(); }

    HRESULT Allocate(const Shape& shape, RowOrder order);
    // Lays an image over what a ResultMemory scope offers, if that has the shape.
    void TakeResultMemory(const Shape& shape);
    struct Source;
    // Makes this image, which owns nothing yet, a copy of what was read.
    HRESULT CopyFrom(const Source& source);
    void CopyRows(const Source& source);
    // Some byte between the first and the last row belongs to one of the source's planes too.
    bool Overlaps(const Source& source) const;
    void Reset();
    void ClearPalette();
    void SwapContent(Image& other);

    Shape m_shape{0, 0, 0, 0, 0};
    uint8_t* m_row0 = nullptr;  // first byte of row 0 of plane 0
    int32_t m_stride = 0;
    int64_t m_planeDistance = 0;
    void* m_store = nullptr;         // what to free; null when the memory is the caller's
    std::vector<RGBQUAD> m_palette;  // none or 256
    uint32_t m_paletteEntries = 0;
};

// While one is alive, images of this library report to the thread that made it the stride of 32-bit "MONO" images in
// 32-bit values instead of bytes. The convolution of integer images (FilterClass::Kernel) counts strides that way, in
// its source and in the image that it makes:
//     StrideInValues scope;
//     module.FilterTable()->Kernel(image, kernel, size, divisor, offset, &result);
// A stride that is no multiple of 4 (possible over caller's memory) cannot be said so: GetBits fails then, and the
// caller copies the image first (Image::CopyOf). Scopes nest.
class StrideInValues {
public:
    StrideInValues();
    ~StrideInValues();
    StrideInValues(const StrideInValues&) = delete;
    StrideInValues& operator=(const StrideInValues&) = delete;
};

// While one is alive, the first image that its thread creates (Image::Create) with the size and depth of `target` lies
// over target's pixels instead of a store of its own: a new image's pixels are computed right where they shall go.
// The target outlives that image and is none of the images that are read meanwhile; operations may write between its
// rows. Scopes do not nest.
class ResultMemory {
public:
    explicit ResultMemory(const Image& target);
    ~ResultMemory();
    ResultMemory(const ResultMemory&) = delete;
    ResultMemory& operator=(const ResultMemory&) = delete;
};

}  // namespace velhost
