// Shear and change of size.
#include "GridSampler.h"
#include "PickedRow.h"
#include "PixelBlock.h"
#include "Truncate.h"
#include "VELImageTransform.h"

using namespace vel;

namespace {

// Signed distance of a row or column from the pivot.
float FromPivot(int64_t index, int64_t pivot) { return static_cast<float>(index - pivot); }

// Source position of destination pixel `index` with the centres aligned.
float Centred(uint32_t index, float scale) { return (static_cast<float>(index) + 0.5f) * scale - 0.5f; }

// At 24 and 32 bits the sampled column snaps to a multiple of the pixel's bytes.
float SnappedColumn(float column, uint32_t bitsPerPixel) {
    if (bitsPerPixel != 24 && bitsPerPixel != 32) return column;
    const int pixelBytes = bitsPerPixel == 24 ? 3 : 4;
    const int snapped = TruncateToInt(column) / pixelBytes * pixelBytes;
    return static_cast<float>(snapped);
}

// False when there was no memory.
bool SampleInto(const ImageView& from, const ImageView& to, float xScale, float yScale, int method, bool snapped) {
    const ScratchBuffer memory(uint64_t{to.width} * sizeof(float));
    const auto columns = memory.As<float>();
    if (!columns) return false;
    for (uint32_t i = 0; i < to.width; ++i) {
        const float column = Centred(i, xScale);
        columns[i] = snapped ? SnappedColumn(column, from.bitsPerPixel) : column;
    }
    GridSampler sampler(from, method, columns, to.width);
    if (!sampler.Ready()) return false;
    for (uint32_t j = 0; j < to.height; ++j) sampler.SampleRow(Centred(j, yScale), to, j);
    return true;
}

// Copies whole pixels, those of each source row once. Rounding of the scales can lead one past the last row or column.
// False when there was no memory.
bool Replicate(const ImageView& from, const ImageView& to, float xScale, float yScale) {
    const PixelBlock block(from);
    const uint32_t pixelBytes = from.PixelBytes();
    const ScratchBuffer memory(uint64_t{to.width} * sizeof(uint32_t));
    const auto offsets = memory.As<uint32_t>();
    if (!offsets) return false;
    const auto source = [](uint32_t index, float scale) {
        return TruncateToInt(std::floor(static_cast<float>(index) * scale));
    };
    bool inside = !from.Empty() && from.RowBytes() <= UINT32_MAX;
    for (uint32_t i = 0; inside && i < to.width; ++i) {
        const int32_t column = source(i, xScale);
        inside = column >= 0 && static_cast<uint32_t>(column) < from.width;
        offsets[i] = static_cast<uint32_t>(column) * pixelBytes;
    }
    const PickedRow picked = inside ? PickedRow(offsets, to.width, pixelBytes) : PickedRow();
    int32_t previous = -1;
    for (uint32_t j = 0; j < to.height; ++j) {
        const int32_t row = source(j, yScale);
        if (row == previous) {
            std::memcpy(to.Row(j), to.Row(int64_t{j} - 1), to.RowBytes());
        } else if (inside && row >= 0 && static_cast<uint32_t>(row) < from.height) {
            picked.Pick(to.Row(j), from.Row(row), from.BlockEnd());
        } else {
            for (uint32_t i = 0; i < to.width; ++i) {
                const int64_t column = source(i, xScale);
                block.Read(block.Row(row) + column * pixelBytes, to.Row(j) + int64_t{i} * pixelBytes, pixelBytes);
            }
        }
        previous = row;
    }
    return true;
}

// Rows between the one that is sampled and the one whose pixels are fetched meanwhile.
constexpr int kRowsAhead = 16;

// Takes the source pixel at (i + dx, (i - pivot) * yFactor + j), both truncated. False when there was no memory.
bool SkewInto(const ImageView& from, const ImageView& to, float xFactor, float yFactor, int64_t pivotX, int64_t pivotY,
              bool opaque) {
    const SamplingKernels& kernels = Kernels().Sampling();
    const ScratchBuffer memory(uint64_t{to.width} * 2 * sizeof(float));
    const auto columns = memory.As<float>();
    if (!columns) return false;
    float* rises = columns + to.width;
    for (uint32_t i = 0; i < to.width; ++i) {
        columns[i] = static_cast<float>(i);
        rises[i] = FromPivot(i, pivotX) * yFactor;
    }
    const Sampler sampler = Sampler::Truncating(from);
    const bool takes = !opaque && sampler.Takes(to.bitsPerPixel);
    const int columnsAhead = std::abs(xFactor) < 1000 ? static_cast<int>(xFactor * kRowsAhead) : 0;
    const ptrdiff_t ahead = sampler.Distance(columnsAhead, kRowsAhead);
    // Positions along a row are monotone unless a factor makes them no numbers.
    const size_t run = std::isfinite(xFactor) && std::isfinite(yFactor) ? sampler.Run() : 1;
    alignas(64) float x[Sampler::kLongRun], y[Sampler::kLongRun];
    alignas(64) uint32_t colours[Sampler::kLongRun];
    // Strips of columns, as rows may run across many source rows: those stay in the nearest caches.
    const size_t pixelBytes = to.PixelBytes();
    for (size_t i = 0; i < to.width; i += run) {
        const size_t count = std::min(run, to.width - i);
        for (uint32_t j = 0; j < to.height; ++j) {
            if (j + 1 < to.height) FetchToWrite(to.Row(j + 1) + i * pixelBytes, count * pixelBytes);
            kernels.AddRow(x, columns + i, FromPivot(j, pivotY) * xFactor, count);
            kernels.AddRow(y, rises + i, static_cast<float>(j), count);
            if (takes) {
                sampler.Take(x, y, to.Row(j) + i * pixelBytes, count, ahead);
                continue;
            }
            sampler.Sample(x, y, colours, count, ahead);
            if (opaque) kernels.OpaqueRow(colours, count);
            StoreColours(to, j, i, colours, count);
        }
    }
    return true;
}

}  // namespace

HRESULT CVELImageTransform::Skew(IVEL* source, IVEL** destination, float xFactor, float yFactor, int xPivot, int yPivot,
                                 int /*reserved*/, int force32) {
    if (!source) return E_FAIL;
    if (!destination) return E_POINTER;
    const ImageView from = ViewOf(source);
    const uint32_t depth = force32 ? 32 : from.bitsPerPixel;
    SmartPtr<IVELImage> image = NewImageFromCollection();
    if (!image.Get()) return E_FAIL;
    image->Create(from.width, from.height, from.planes, depth, force32 ? FORMAT_ARGB : from.format);
    ImageView to = ViewOf(image.Get());
    if (!from.Empty() && Holds(to, from.width, from.height, depth)) {
        to.width = from.width;
        to.height = from.height;
        const int64_t pivotX = xPivot == 0 ? int64_t{from.width / 2} : xPivot;
        const int64_t pivotY = yPivot == 0 ? int64_t{from.height / 2} : yPivot;
        if (!SkewInto(from, to, xFactor, yFactor, pivotX, pivotY, force32 != 0)) return E_FAIL;
    }
    *destination = image.Detach();
    return S_OK;
}

HRESULT CVELImageTransform::Resample(IVEL* source, IVEL** destination, int newWidth, int newHeight, int method,
                                     int mode) {
    if (!source) return E_FAIL;
    if (!destination) return E_POINTER;
    uint32_t depth = 0, format = 0, unused = 0;
    const HRESULT formatResult = source->GetFormat(&depth, &format, &unused);
    if (Failed(formatResult)) return formatResult;
    const ImageView from = ViewOf(source);
    IVELImage* image = NewImageDIB().Detach();
    *destination = image;  // the caller's reference from here on
    if (!image) return E_FAIL;
    SmartPtr<IVELImageDIB> target;
    image->QueryInterface(IID_IVELImageDIB, target.Receive());
    if (!target.Get()) return E_FAIL;
    const auto width = static_cast<uint32_t>(newWidth), height = static_cast<uint32_t>(newHeight);
    target->Create(width, height, from.planes, from.bitsPerPixel, from.format);
    if (from.width == width && from.height == height) {
        target->Assign(source, 0);
        return S_OK;
    }
    ImageView to = ViewOf(target.Get());
    if (newWidth <= 0 || newHeight <= 0 || !Holds(to, width, height, from.bitsPerPixel)) return S_OK;
    to.width = width;
    to.height = height;

    const float xScale = static_cast<float>(from.width) / static_cast<float>(newWidth);
    const float yScale = static_cast<float>(from.height) / static_cast<float>(newHeight);
    const bool shrinking = mode == 0 && (xScale > 1.0f || yScale > 1.0f);
    const bool copied = from.bitsPerPixel == 8 || from.bitsPerPixel == 16 || from.Coloured();
    const bool done = !shrinking && copied ? Replicate(from, to, xScale, yScale)
                                           : SampleInto(from, to, xScale, yScale, method, shrinking);
    return done ? S_OK : E_FAIL;
}
