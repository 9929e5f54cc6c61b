// The operations of the colour transform that write alpha.
#include "Kernels/Kernels.h"
#include "RowRuns.h"
#include "VELColorTransform.h"

using vel::ImageView;
using vel::RowRuns;

namespace {

constexpr uint32_t kLeastBits = 25;  // below, there is no alpha to write

// Alpha 0 is kept for key colours: asking for 0 gives 1. Other values give their low byte, so 256 does give 0.
uint8_t AlphaByte(int alpha) { return alpha == 0 ? 1 : static_cast<uint8_t>(alpha); }

// A key colour has red in its low byte; pixels have blue there.
uint32_t PixelColourOf(uint32_t key) { return vel::ColourWord(key >> 16 & 0xFF, key >> 8 & 0xFF, key & 0xFF, 0); }

}  // namespace

HRESULT CVELColorTransform::SetImageAlpha(IVEL* image, int alpha, int /*unused*/) {
    if (!image) return E_FAIL;
    const ImageView view = vel::ViewOf(image);
    if (view.bitsPerPixel < kLeastBits) return E_FAIL;
    if (view.Empty()) return S_OK;
    // Four bytes a pixel at every depth.
    RowRuns rows(view, size_t{view.width} * 4, view.height);
    if (!rows.Ready()) return E_FAIL;
    const auto& kernels = vel::Kernels().Colour();
    for (uint32_t y = 0; y < view.height; ++y) {
        kernels.AlphaRow(rows.Open(y), view.width, AlphaByte(alpha));
        rows.Store(y);
    }
    return S_OK;
}

HRESULT CVELColorTransform::SetImageAlphaTransparency(IVEL* image, int alpha, unsigned int key) {
    if (!image) return E_FAIL;
    const ImageView view = vel::ViewOf(image);
    if (view.bitsPerPixel < kLeastBits) return E_FAIL;
    if (view.Empty() || !view.HasAlpha()) return S_OK;
    const auto& kernels = vel::Kernels().Colour();
    for (uint32_t y = 0; y < view.height; ++y) {
        kernels.KeyAlphaRow(view.Row(y), view.width, PixelColourOf(key), AlphaByte(alpha));
    }
    return S_OK;
}

HRESULT CVELColorTransform::SetImageTransparentPixel(IVEL* image, unsigned int key) {
    if (!image) return E_FAIL;
    const ImageView view = vel::ViewOf(image);
    if (view.bitsPerPixel < kLeastBits) return E_FAIL;
    if (view.Empty() || !view.HasAlpha()) return S_OK;
    const auto& kernels = vel::Kernels().Colour();
    for (uint32_t y = 0; y < view.height; ++y) kernels.KeyRow(view.Row(y), view.width, PixelColourOf(key));
    return S_OK;
}
