#include "VELColorTransform.h"

#include "Kernels/Kernels.h"
#include "PixelRows.h"

using vel::ImageView;
using vel::ViewOf;

namespace {

constexpr int kTableSize = 256;

int Clamp(int64_t value, int low, int high) {
    return static_cast<int>(value < low ? low : value > high ? high : value);
}

// Below 24 bits a pixel is a grey index, so any change of colour is a table from index to index; depths that are not
// indexed are never written.
void MapIndexes(const ImageView& view, const uint8_t (&table)[kTableSize]) {
    if (view.Indexed()) vel::MapIndexRows(view, table);
}

bool SameShape(const ImageView& a, const ImageView& b) {
    return !a.Empty() && a.width == b.width && a.height == b.height && a.bitsPerPixel == b.bitsPerPixel;
}

// An image of the same shape, filled by fill(destination, source); null when the host makes none.
template <class Fill>
SmartPtr<IVELImage> Remade(IVEL* image, Fill fill) {
    const ImageView source = ViewOf(image);
    SmartPtr<IVELImage> made = vel::NewImageFromCollection();
    if (!made.Get()) return made;
    made->Create(source.width, source.height, source.planes, source.bitsPerPixel, source.format);
    fill(ViewOf(made.Get()), source);
    return made;
}

// The sums of channels that make a grey whose threefold is above the limit are those above this one: 3 * floor(sum / 3)
// is above it from the next multiple of 3 on. No sum is above 765.
int LimitOfSums(int limit) { return limit < 0 || limit >= 765 ? limit : limit / 3 * 3 + 2; }

// White where the sum of a pixel's channels is above the limit, else black.
void ThresholdPixels(const ImageView& destination, const ImageView& source, int limit) {
    const auto& kernels = vel::Kernels().Point();
    const int bytes = static_cast<int>(source.PixelBytes());
    for (uint32_t y = 0; y < source.height; ++y) {
        kernels.ThresholdRow(destination.Row(y), source.Row(y), source.width, bytes, limit);
    }
}

}  // namespace

HRESULT CVELColorTransform::Negative(IVEL* image) {
    if (!image) return E_FAIL;
    const ImageView view = ViewOf(image);
    if (view.Empty() || !(view.bitsPerPixel == 8 || view.Coloured())) return S_OK;
    const auto& kernels = vel::Kernels().Point();
    const uint32_t mask = view.HasAlpha() ? 0x00FFFFFFu : 0xFFFFFFFFu;
    for (uint32_t y = 0; y < view.height; ++y) kernels.ComplementRow(view.Row(y), view.RowBytes(), mask);
    return S_OK;
}

HRESULT CVELColorTransform::Lut(IVEL* image, unsigned char* table) {
    if (!image || !table) return E_FAIL;
    const ImageView view = ViewOf(image);
    if (view.Empty()) return S_OK;
    const auto& kernels = vel::Kernels().Point();
    if (view.bitsPerPixel == 8 || view.bitsPerPixel == 24) {
        for (uint32_t y = 0; y < view.height; ++y) kernels.LookUpRow(view.Row(y), view.RowBytes(), table);
    } else if (view.HasAlpha()) {
        for (uint32_t y = 0; y < view.height; ++y) kernels.LookUpRow32(view.Row(y), view.width, table);
    }
    return S_OK;
}

HRESULT CVELColorTransform::GrayScale(IVEL* image) {
    if (!image) return E_FAIL;
    SmartPtr<IVELImage> made = Remade(image, vel::GreyPixels);
    return made.Get() ? vel::DeliverImage(image, std::move(made), nullptr) : E_FAIL;
}

HRESULT CVELColorTransform::ShiftRGB(IVEL* image, int redShift, int greenShift, int blueShift) {
    if (!image) return E_FAIL;
    const ImageView view = ViewOf(image);
    if (view.Empty()) return S_OK;
    if (view.Coloured()) {
        const int shifts[4] = {blueShift, greenShift, redShift, 0};
        uint8_t up[vel::kShiftBytes], down[vel::kShiftBytes];
        for (size_t i = 0; i < vel::kShiftBytes; ++i) {
            const int64_t shift = shifts[i % view.PixelBytes()];
            up[i] = static_cast<uint8_t>(Clamp(shift, 0, 255));
            down[i] = static_cast<uint8_t>(Clamp(-shift, 0, 255));
        }
        const auto& kernels = vel::Kernels().Point();
        for (uint32_t y = 0; y < view.height; ++y) kernels.ShiftRow(view.Row(y), view.RowBytes(), up, down);
        return S_OK;
    }
    uint8_t table[kTableSize];
    for (int i = 0; i < kTableSize; ++i) {
        const int sum = Clamp(int64_t{i} + blueShift, 0, 255) + Clamp(int64_t{i} + greenShift, 0, 255) +
                        Clamp(int64_t{i} + redShift, 0, 255);
        table[i] = static_cast<uint8_t>(vel::NearestGreyIndex(static_cast<uint32_t>(sum)));
    }
    MapIndexes(view, table);
    return S_OK;
}

HRESULT CVELColorTransform::Gamma(IVEL* image, float gamma) {
    const double inverse = 1.0f / gamma;
    const double norm = UTILMath::Pow(255.0, inverse) / 255.0;
    uint8_t table[kTableSize];
    for (int i = 0; i < kTableSize; ++i) {
        const double t = UTILMath::Pow(i, inverse) / norm;
        // A t that is no number takes neither limit; its integer is out of range, which is below 1.
        table[i] = t >= 255 ? 255 : t >= 1 ? static_cast<uint8_t>(t) : 0;
    }
    return Lut(image, table);
}

HRESULT CVELColorTransform::Light(IVEL* image, int brightness, int contrast) {
    const float scale = (static_cast<float>(contrast) + 100.0f) / 100.0f;
    const float offset = static_cast<float>(brightness) + 128.0f;
    uint8_t table[kTableSize];
    for (int i = 0; i < kTableSize; ++i) {
        const float t = static_cast<float>(i - 128) * scale + offset;
        table[i] = t >= 255.0f ? 255 : t >= 1.0f ? static_cast<uint8_t>(t) : 0;
    }
    return Lut(image, table);
}

HRESULT CVELColorTransform::Threshold(IVEL* image, int level) {
    if (!image) return E_FAIL;
    // 3 * level in 32-bit arithmetic, so an absurd level wraps.
    const int limit = static_cast<int>(3u * static_cast<uint32_t>(level));
    bool done = false;
    const SmartPtr<IVELImage> made = Remade(image, [&](const ImageView& target, const ImageView& source) {
        done = source.Coloured() && !source.Empty() && SameShape(target, source);
        if (done) {
            ThresholdPixels(target, source, LimitOfSums(limit));
        } else {
            vel::GreyPixels(target, source);
        }
    });
    const bool taken = made.Get() && vel::AssignImage(image, made.Get());
    const ImageView view = ViewOf(image);
    if (view.Empty() || (done && taken)) return S_OK;
    // What could not be made grey is taken as it is.
    if (view.Coloured()) {
        ThresholdPixels(view, view, limit);
        return S_OK;
    }
    uint8_t table[kTableSize];
    for (int i = 0; i < kTableSize; ++i) table[i] = 3 * i > limit ? 255 : 0;
    MapIndexes(view, table);
    return S_OK;
}
