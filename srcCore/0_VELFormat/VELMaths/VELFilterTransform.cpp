#include "VELFilterTransform.h"

#include "Convolution.h"
#include "LastSample.h"
#include "Morphology.h"
#include "Neighbourhood.h"
#include "RandomFilters.h"
#include "Rank.h"

using vel::Extremum;
using vel::HasWork;
using vel::ImageView;

namespace {

using NewImage = SmartPtr<IVELImage> (*)();

// What every filter does around its pixels: a new image of the source's size and format, which `compute` fills, goes
// to *dest or into the source.
template <class Compute>
HRESULT Deliver(IVEL* src, const ImageView& source, IVEL** dest, NewImage newImage, Compute compute) {
    SmartPtr<IVELImage> image = newImage();
    if (!image.Get()) return E_FAIL;
    image->Create(source.width, source.height, source.planes, source.bitsPerPixel, source.format);
    ImageView target = source;
    target.bits = nullptr;
    uint32_t unused = 0;
    image->GetBits(0, &unused, &target.bits, &target.stride);
    const HRESULT result = compute(target);
    return Failed(result) ? result : vel::DeliverImage(src, std::move(image), dest);
}

// The same where nothing is computed unless the image has pixels that are ever written.
template <class Compute>
HRESULT FilterPixels(IVEL* src, IVEL** dest, NewImage newImage, Compute compute) {
    if (!src) return E_FAIL;
    const ImageView source = vel::ViewOf(src);
    return Deliver(src, source, dest, newImage,
                   [&](const ImageView& target) { return HasWork(source, target) ? compute(target, source) : S_OK; });
}

HRESULT FilterExtremum(IVEL* src, int size, IVEL** dest, NewImage newImage, Extremum extremum) {
    return FilterPixels(src, dest, newImage, [&](const ImageView& target, const ImageView& source) {
        if (size >= 1) return vel::ExtremumImage(target, source, size, extremum);
        // No sample at all: the values that the search starts from.
        return vel::FillSamples(target, extremum == Extremum::Maximum ? 0 : 255);
    });
}

struct FixedKernel {
    int size;
    int divisor, offset;
    int coefficients[25];
};

// clang-format off
constexpr FixedKernel kEmboss = {3, 0, 127, {0, 0, -1,
                                             0, 0,  0,
                                             1, 0,  0}};
constexpr FixedKernel kBlur = {3, 9, 0, {1, 1, 1,
                                         1, 1, 1,
                                         1, 1, 1}};
constexpr FixedKernel kSoften = {3, 16, 0, {1, 1, 1,
                                            1, 8, 1,
                                            1, 1, 1}};
constexpr FixedKernel kSharpen = {3, 7, 0, {-1, -1, -1,
                                            -1, 15, -1,
                                            -1, -1, -1}};
constexpr FixedKernel kGaussian[] = {
    {3, 16, 0, {1, 2, 1,
                2, 4, 2,
                1, 2, 1}},
    {5, 52, 0, {0, 1, 2, 1, 0,
                1, 3, 4, 3, 1,
                2, 4, 8, 4, 2,
                1, 3, 4, 3, 1,
                0, 1, 2, 1, 0}},
    // The middle row begins with 2 and ends with 7, so a flat area darkens by 5 parts in 273: meant so.
    {5, 273, 0, {1,  4,  7,  4, 1,
                 4, 16, 26, 16, 4,
                 2, 26, 41, 26, 7,
                 4, 16, 26, 16, 4,
                 1,  4,  7,  4, 1}},
    {5, 159, 0, {2,  4,  5,  4, 2,
                 4,  9, 12,  9, 4,
                 5, 12, 15, 12, 5,
                 4,  9, 12,  9, 4,
                 2,  4,  5,  4, 2}},
};
// clang-format on

HRESULT FilterFixed(CVELFilterTransform& filter, IVEL* src, FixedKernel kernel, IVEL** dest) {
    return filter.Filter(src, kernel.coefficients, kernel.size, kernel.divisor, kernel.offset, dest);
}

}  // namespace

HRESULT CVELFilterTransform::GaussianBlur(IVEL* src, int level, IVEL** dest) {
    if (level < 0 || level > 3) return E_FAIL;
    return FilterFixed(*this, src, kGaussian[level], dest);
}

HRESULT CVELFilterTransform::Sharpen(IVEL* src, IVEL** dest) { return FilterFixed(*this, src, kSharpen, dest); }
HRESULT CVELFilterTransform::Soften(IVEL* src, IVEL** dest) { return FilterFixed(*this, src, kSoften, dest); }
HRESULT CVELFilterTransform::Blur(IVEL* src, IVEL** dest) { return FilterFixed(*this, src, kBlur, dest); }
HRESULT CVELFilterTransform::Emboss(IVEL* src, IVEL** dest) { return FilterFixed(*this, src, kEmboss, dest); }

HRESULT CVELFilterTransform::Median(IVEL* src, int size, IVEL** dest) {
    if (src && size < 1) return E_INVALIDARG;
    return FilterPixels(src, dest, vel::NewImageFromCollection, [&](const ImageView& target, const ImageView& source) {
        return vel::MedianImage(target, source, size);
    });
}

HRESULT CVELFilterTransform::Noise(IVEL* src, int level, IVEL** dest) {
    if (!src) return E_FAIL;
    const ImageView source = vel::ViewOf(src);
    return Deliver(src, source, dest, vel::NewImageDIB,
                   [&](const ImageView& target) { return vel::NoiseImage(target, source, level); });
}

HRESULT CVELFilterTransform::Jitter(IVEL* src, int radius, IVEL** dest) {
    if (!src) return E_FAIL;
    const ImageView source = vel::ViewOf(src);
    return Deliver(src, source, dest, vel::NewImageDIB,
                   [&](const ImageView& target) { return vel::JitterImage(target, source, radius); });
}

HRESULT CVELFilterTransform::Contour(IVEL* src, IVEL** dest) {
    return FilterPixels(src, dest, vel::NewImageDIB, vel::ContourImage);
}

HRESULT CVELFilterTransform::Filter(IVEL* src, int* kernel, int size, int divisor, int offset, IVEL** dest) {
    if (src && size >= 1 && !kernel) return E_INVALIDARG;
    return FilterPixels(src, dest, vel::NewImageDIB, [&](const ImageView& target, const ImageView& source) {
        if (size >= 1) return vel::ConvolveImage(target, source, kernel, size, divisor, offset);
        return vel::FillSamples(target, offset < 0 ? 0 : offset > 255 ? 255 : offset);
    });
}

HRESULT CVELFilterTransform::Dilate(IVEL* src, int size, IVEL** dest) {
    return FilterExtremum(src, size, dest, vel::NewImageDIB, Extremum::Maximum);
}

HRESULT CVELFilterTransform::Edge(IVEL* src, int size, IVEL** dest) {
    return FilterExtremum(src, size, dest, vel::NewImageFromCollection, Extremum::Spread);
}

HRESULT CVELFilterTransform::Erode(IVEL* src, int size, IVEL** dest) {
    return FilterExtremum(src, size, dest, vel::NewImageFromCollection, Extremum::Minimum);
}

HRESULT CVELFilterTransform::Kernel(IVEL* src, short* kernel, int size, int divisor, int offset, IVEL** dest) {
    if (!src) return E_INVALIDARG;
    ImageView source;
    uint32_t unused = 0;
    src->GetSize(&source.width, &source.height, &source.planes);
    src->GetFormat(&source.bitsPerPixel, &source.format, &unused);
    if (size > 0 && (static_cast<uint32_t>(size) > source.width || static_cast<uint32_t>(size) > source.height)) {
        return E_INVALIDARG;
    }
    const bool mono = source.bitsPerPixel == 32 && source.format == FORMAT_MONO;
    if (mono && size >= 1 && !kernel) return E_INVALIDARG;
    if (mono) src->GetBits(0, &unused, &source.bits, &source.stride);
    return Deliver(src, source, dest, vel::NewImageDIB, [&](const ImageView& target) {
        if (mono) vel::WeighLastSample(target, source, kernel, size, divisor, offset);
        return S_OK;
    });
}
