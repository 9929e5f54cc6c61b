#include "Morphology.h"

#include <cstring>

#include "Kernels/Kernels.h"
#include "Neighbourhood.h"

namespace vel {
namespace {

using Combine = void (*)(uint8_t*, const uint8_t*, const uint8_t*, size_t);

// Extremum of the window below and right of each sample of `rows`' row y - above: columns are combined first, then
// doubled runs of columns.
void WindowExtremum(uint8_t* line, PaddedRows& rows, const Window& window, int64_t y, size_t samples, size_t bytes,
                    Combine combine) {
    const size_t left = static_cast<size_t>(window.left) * bytes, columns = static_cast<size_t>(window.Columns());
    const size_t lineBytes = (samples + columns - 1) * bytes;
    std::memcpy(line, rows.Row(y - window.above) - left, lineBytes);
    for (int64_t dy = 1 - window.above; dy <= window.below; ++dy)
        combine(line, line, rows.Row(y + dy) - left, lineBytes);
    size_t covered = 1;
    for (; covered * 2 <= columns; covered *= 2) {
        combine(line, line, line + covered * bytes, (samples + columns - 2 * covered) * bytes);
    }
    if (covered < columns) combine(line, line, line + (columns - covered) * bytes, samples * bytes);
}

}  // namespace

HRESULT ExtremumImage(const ImageView& target, const ImageView& source, int size, Extremum extremum) {
    const Window window = Window::Square(size).ClippedTo(source);
    const size_t bytes = SampleBytes(source), samples = source.width, rowBytes = samples * bytes;
    PaddedRows rows(source, window);
    SampleWriter writer(target);
    const size_t lineBytes = (samples + static_cast<size_t>(window.Columns())) * bytes;
    const ScratchBuffer low(lineBytes), high(lineBytes);
    if (!rows.Ready() || !writer.Ready() || !low.Data() || !high.Data()) return E_FAIL;
    const auto& kernels = Kernels().Morphology();
    for (int64_t y = 0; y < source.height; ++y) {
        uint8_t* dst = writer.Begin(y);
        if (extremum != Extremum::Maximum) {
            WindowExtremum(low.Data(), rows, window, y, samples, bytes, kernels.MinRow);
        }
        if (extremum != Extremum::Minimum) {
            WindowExtremum(high.Data(), rows, window, y, samples, bytes, kernels.MaxRow);
        }
        switch (extremum) {
            case Extremum::Minimum: std::memcpy(dst, low.Data(), rowBytes); break;
            case Extremum::Maximum: std::memcpy(dst, high.Data(), rowBytes); break;
            case Extremum::Spread: kernels.SpreadRow(dst, high.Data(), low.Data(), rowBytes); break;
        }
        if (bytes == 4) Kernels().Samples().CopyAlphaRow(dst, rows.Row(y + window.below) + window.right * 4, samples);
        writer.End(y);
    }
    return S_OK;
}

HRESULT ContourImage(const ImageView& target, const ImageView& source) {
    const size_t bytes = SampleBytes(source);
    PaddedRows rows(source, Window::Square(3));
    SampleWriter writer(target);
    if (!rows.Ready() || !writer.Ready()) return E_FAIL;
    const auto& kernels = Kernels().Morphology();
    for (int64_t y = 0; y < source.height; ++y) {
        const uint8_t* above = rows.Row(y - 1);
        const uint8_t* row = rows.Row(y);
        const uint8_t* below = rows.Row(y + 1);
        uint8_t* dst = writer.Begin(y);
        kernels.ContourRow(dst, above, row, below, source.width * bytes, bytes);
        if (bytes == 4) Kernels().Samples().CopyAlphaRow(dst, row, source.width);
        writer.End(y);
    }
    return S_OK;
}

}  // namespace vel
