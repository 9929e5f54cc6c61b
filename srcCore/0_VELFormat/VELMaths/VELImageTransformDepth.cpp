// Copies of an image at a greater depth.
#include "Kernels/Kernels.h"
#include "PixelBlock.h"
#include "VELImageTransform.h"

using namespace vel;

namespace {

// An image's own palette: 256 entries, black beyond those it has.
struct Palette {
    RGBQUAD entries[256] = {};
    bool present = false;
};

Palette PaletteOf(IVELImagePalette* source) {
    Palette palette;
    if (!source) return palette;
    const RGBQUAD* entries = nullptr;
    uint32_t count = 0;
    source->GetPalette(&entries, &count);
    if (!entries || count == 0) return palette;
    std::memcpy(palette.entries, entries, std::min(count, 256u) * sizeof(RGBQUAD));
    palette.present = true;
    return palette;
}

// One byte a pixel, whatever the depth below or above 8. Rows of fewer bits run past their end into what follows.
void ConvertBytes(const ImageView& from, const ImageView& to, const Palette& palette) {
    constexpr int64_t kChunk = 4096;
    const MoveKernels& kernels = Kernels().Move();
    const PixelBlock block(from);
    const auto* entries = reinterpret_cast<const uint8_t*>(palette.entries);
    uint8_t chunk[kChunk];
    for (int64_t y = 0; y < from.height; ++y) {
        for (int64_t x = 0; x < from.width; x += kChunk) {
            const int64_t pixels = std::min<int64_t>(kChunk, from.width - x);
            const uint8_t* bytes = from.Row(y) + x;
            if (from.bitsPerPixel < 8) {
                block.Read(block.Row(y) + x, chunk, pixels);
                bytes = chunk;
            }
            uint8_t* target = to.Row(y) + x * to.PixelBytes();
            const auto count = static_cast<size_t>(pixels);
            if (to.bitsPerPixel == 24) {
                palette.present ? kernels.PaletteTo24(target, bytes, count, entries)
                                : kernels.GreyTo24(target, bytes, count);
            } else {
                palette.present ? kernels.PaletteTo32(target, bytes, count, entries)
                                : kernels.GreyTo32(target, bytes, count);
            }
        }
    }
}

void ConvertPixels(const ImageView& from, const ImageView& to, const Palette& palette) {
    if (palette.present && to.bitsPerPixel == 32) return ConvertBytes(from, to, palette);
    if (from.bitsPerPixel <= 8 && to.Coloured()) return ConvertBytes(from, to, palette);
    if (palette.present || from.bitsPerPixel != 24 || to.bitsPerPixel != 32) return;
    const MoveKernels& kernels = Kernels().Move();
    for (int64_t y = 0; y < from.height; ++y) kernels.ColourTo32(to.Row(y), from.Row(y), from.width);
}

}  // namespace

HRESULT CVELImageTransform::IncreaseBpp(IVEL* source, IVEL** result, int bitsPerPixel, unsigned int format) {
    if (!source) return E_FAIL;
    if (!result) return E_POINTER;
    const ImageView from = ViewOf(source);
    const auto newDepth = static_cast<uint32_t>(bitsPerPixel);
    if (newDepth <= from.bitsPerPixel) {
        source->AddRef();
        *result = source;
        return S_FALSE;
    }
    SmartPtr<IVELImage> image = NewImageDIB();
    SmartPtr<IVELImagePalette> paletteSource;
    source->QueryInterface(IID_IVELImagePalette, paletteSource.Receive());
    const Palette palette = PaletteOf(paletteSource.Get());
    if (!image.Get()) return E_FAIL;
    const HRESULT created = image->Create(from.width, from.height, from.planes, newDepth, format);
    if (Failed(created)) return created;
    const ImageView to = ViewOf(image.Get());
    if (!from.Empty() && Holds(to, from.width, from.height, newDepth)) ConvertPixels(from, to, palette);
    *result = image.Detach();
    return S_OK;
}
