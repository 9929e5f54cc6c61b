// Flip, mirror, quarter and half turns: exact copies.
#include "Kernels/Kernels.h"
#include "PixelBlock.h"
#include "VELImageTransform.h"

using namespace vel;

namespace {

// A new image of the source's shape; empty when the host makes none.
SmartPtr<IVELImage> NewLike(const ImageView& source) {
    SmartPtr<IVELImage> image = NewImageDIB();
    if (image.Get()) {
        image->Create(source.width, source.height, source.planes, source.bitsPerPixel, source.format);
    }
    return image;
}

// Without an output pointer the new image is dropped.
void HandOver(SmartPtr<IVELImage>& image, IVEL** destination) {
    if (destination) *destination = image.Detach();
}

// One plane by a quarter turn: destination row r, column c is source row height - 1 - c, column r at 90 degrees and
// source row c, column width - 1 - r at 270.
void QuarterTurn(const ImageView& source, const ImageView& dest, int angle) {
    const int64_t lastRow = int64_t{source.height} - 1, lastColumn = int64_t{source.width} - 1;
    // A transposition that walks the source's rows (90) or the destination's (270) backwards.
    const uint8_t* from = angle == 90 ? source.Row(lastRow) : source.bits;
    const ptrdiff_t fromStride = angle == 90 ? -ptrdiff_t{source.stride} : ptrdiff_t{source.stride};
    uint8_t* to = angle == 90 ? dest.bits : dest.Row(lastColumn);
    const ptrdiff_t toStride = angle == 90 ? ptrdiff_t{dest.stride} : -ptrdiff_t{dest.stride};
    Kernels().Move().Transpose(to, toStride, from, fromStride, source.width, source.height,
                               static_cast<int>(source.PixelBytes()));
}

// One plane by a half turn that is one pixel off: destination column c is source column width - 2 - c, so the last
// column receives the bytes that lie before the source row in memory.
void HalfTurn(const ImageView& source, const ImageView& dest) {
    const MoveKernels& kernels = Kernels().Move();
    const PixelBlock sourceBlock(source);
    const int pixelBytes = static_cast<int>(source.PixelBytes());
    const size_t turned = source.width - 1;
    for (int64_t r = 0; r < source.height; ++r) {
        const int64_t from = int64_t{source.height} - 1 - r;
        uint8_t* to = dest.Row(r);
        kernels.MirrorRow(to, source.Row(from), turned, pixelBytes);
        sourceBlock.Read(sourceBlock.Row(from) - pixelBytes, to + turned * source.PixelBytes(), pixelBytes);
    }
}

}  // namespace

HRESULT CVELImageTransform::Flip(IVEL* source, IVEL** destination) {
    if (!source) return E_FAIL;
    const ImageView from = ViewOf(source);
    SmartPtr<IVELImage> image = NewLike(from);
    if (!image.Get()) return E_FAIL;
    const ImageView to = ViewOf(image.Get());
    if (!from.Empty() && Holds(to, from.width, from.height, from.bitsPerPixel)) {
        // Whole rows, padding included, as far as both images' rows are long.
        const PixelBlock fromBlock(from), toBlock(to);
        const int64_t rowBytes = std::min(std::abs(int64_t{from.stride}), std::abs(int64_t{to.stride}));
        const int64_t pixelBytes = std::min(rowBytes, static_cast<int64_t>(from.RowBytes()));
        for (int64_t r = 0; r < from.height; ++r) {
            const int64_t at = fromBlock.Row(int64_t{from.height} - 1 - r);
            std::memcpy(to.Row(r), from.bits + at, static_cast<size_t>(pixelBytes));
            for (int64_t i = pixelBytes; i < rowBytes; ++i) toBlock.Put(toBlock.Row(r) + i, fromBlock.Get(at + i));
        }
    }
    HandOver(image, destination);
    return S_OK;
}

HRESULT CVELImageTransform::Mirror(IVEL* source, IVEL** destination) {
    if (!source) return E_FAIL;
    const ImageView from = ViewOf(source);
    SmartPtr<IVELImage> image = NewLike(from);
    if (!image.Get()) return E_FAIL;
    const ImageView to = ViewOf(image.Get());
    const bool mirrored = from.bitsPerPixel == 8 || from.Coloured();
    if (mirrored && !from.Empty() && Holds(to, from.width, from.height, from.bitsPerPixel)) {
        const MoveKernels& kernels = Kernels().Move();
        for (int64_t r = 0; r < from.height; ++r) {
            kernels.MirrorRow(to.Row(r), from.Row(r), from.width, static_cast<int>(from.PixelBytes()));
        }
    }
    HandOver(image, destination);
    return S_OK;
}

// Exchanges blue and red, despite the name.
HRESULT CVELImageTransform::FlipBits(IVEL* image) {
    if (!image) return E_FAIL;
    const ImageView view = ViewOf(image);
    if (view.Empty() || !view.Coloured()) return S_OK;
    const MoveKernels& kernels = Kernels().Move();
    for (int64_t r = 0; r < view.height; ++r) {
        kernels.ExchangeRow(view.Row(r), view.width, static_cast<int>(view.PixelBytes()));
    }
    return S_OK;
}

HRESULT CVELImageTransform::Rotate4(IVEL* source, IVELImage* destination, int angle) {
    if (!source || !destination) return E_FAIL;
    uint32_t bitsPerPixel = 0, format = 0, unused = 0;
    const HRESULT result = source->GetFormat(&bitsPerPixel, &format, &unused);
    if (Failed(result)) return result;
    if (angle != 90 && angle != 180 && angle != 270) return S_OK;

    uint32_t width = 0, height = 0, planes = 0;
    source->GetSize(&width, &height, &planes);
    const bool half = angle == 180;
    const uint32_t turnedWidth = half ? width : height, turnedHeight = half ? height : width;
    destination->Create(turnedWidth, turnedHeight, planes, bitsPerPixel, format);
    for (uint32_t plane = 0; plane < planes; ++plane) {
        const ImageView to = ViewOf(destination, plane), from = ViewOf(source, plane);
        if (from.Empty() || from.PixelBytes() == 0) continue;
        if (!Holds(to, half ? from.width : from.height, half ? from.height : from.width, from.bitsPerPixel)) continue;
        if (half) {
            HalfTurn(from, to);
        } else {
            QuarterTurn(from, to, angle);
        }
    }
    return S_OK;
}
