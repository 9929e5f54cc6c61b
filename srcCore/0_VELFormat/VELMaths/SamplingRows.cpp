#include "SamplingRows.h"

#include <algorithm>
#include <cstring>

#include "Truncate.h"

namespace vel {
namespace {

// The curve of a method whose weights the row kernels compute outright; -1 for the others.
int CurveOf(Interpolation method) {
    switch (method) {
        case Interpolation::BSpline: return kBSplineCurve;
        case Interpolation::BicubicSharp: return kBicubicSharpCurve;
        case Interpolation::CatmullRom: return kCatmullRomCurve;
        case Interpolation::Box: return kBoxCurve;
        case Interpolation::Hermite: return kHermiteCurve;
        case Interpolation::HermiteScaled: return kHermiteScaledCurve;
        case Interpolation::Bessel: return kBesselCurve;
        case Interpolation::Quadratic: return kQuadraticCurve;
        case Interpolation::Mitchell: return kMitchellCurve;
        case Interpolation::CatmullRomHalf: return kCatmullRomHalfCurve;
        default: return -1;
    }
}

// The series of the other methods.
int SeriesOf(Interpolation method) {
    switch (method) {
        case Interpolation::Sinc: return kSincSeries;
        case Interpolation::BlackmanWindow: return kBlackmanSeries;
        case Interpolation::Gaussian: return kGaussianSeries;
        default: return kLanczosSeries;
    }
}

// What the weights on the direct path depend on: distances from taps are exact there, as positions are no nearer to 0.
float FractionOf(float position) { return position - static_cast<float>(TruncateToInt(position)); }

}  // namespace

SampledPixels PixelsOf(const ImageView& source) {
    SampledPixels pixels{};
    pixels.bits = source.bits;
    pixels.stride = source.stride;
    pixels.pixelBytes = static_cast<int>(source.PixelBytes());
    if (!source.Empty()) {
        pixels.begin = source.BlockBegin();
        pixels.end = source.BlockEnd();
    }
    return pixels;
}

// Grey images are sampled directly too: their colours have no alpha on either path.
Sampler::Sampler(const ImageView& source, int method)
    : m_kernels(Kernels().Sampling()),
      m_source(source),
      m_pixels(PixelsOf(source)),
      m_method(InterpolationOf(method)),
      m_taps(TapsOf(m_method)),
      m_add(m_method == Interpolation::NearestNeighbour ? 0.5f : 0.0f),
      m_outside(source.Colour(-999, -999)),
      m_direct(!source.Empty() && (source.bitsPerPixel == 8 || source.Coloured())) {}

Sampler Sampler::Truncating(const ImageView& source) {
    Sampler sampler(source, static_cast<int>(Interpolation::NearestNeighbour));
    sampler.m_add = 0;
    return sampler;
}

// By a method that takes one pixel.
uint32_t Sampler::ColourAt(float x, float y) const {
    const int column = TruncateToInt(x + m_add), row = TruncateToInt(y + m_add);
    if (m_method == Interpolation::NearestNeighbour) return m_source.Colour(column, row);
    return GetBilinearColor(m_source.bits, column, row, static_cast<int>(m_source.width),
                            static_cast<int>(m_source.height), m_source.stride,
                            static_cast<int>(m_source.bitsPerPixel));
}

// The positions whose taps all lie in an image of `size` columns or rows. The integer bilinear blender has a neighbour
// after its pixel; truncation towards zero brings everything above -1 to pixel 0.
Span Sampler::DirectSpan(const float* positions, size_t count, uint32_t size) const {
    const int64_t after = m_method == Interpolation::IntegerBilinear ? 1 : m_taps / 2;
    const int before = m_taps / 2 - 1;
    const auto firstCell = static_cast<float>(before);
    const auto below = [&](float position) {
        return m_taps == 1 ? !(position + m_add > -1) : !(position >= firstCell);
    };
    const auto above = [&](float position) {
        const float cell = position + m_add;
        return !(cell < 2147483648.0f) || int64_t{TruncateToInt(cell)} + after >= int64_t{size};
    };
    return SpanBetween(count, [&](size_t k) { return positions[k]; }, below, above, {0, count});
}

void Sampler::Weigh(const float* positions, float* weights, size_t pitch, size_t count) const {
    const int curve = CurveOf(m_method);
    if (curve >= 0) return m_kernels.TapWeights(weights, pitch, positions, count, curve);
    const bool series = m_method == Interpolation::Sinc || m_method == Interpolation::BlackmanWindow;
    for (size_t first = 0; first < count; first += kRun) {
        const size_t run = std::min(kRun, count - first);
        alignas(64) uint32_t doubts[kRun];
        std::fill_n(doubts, run, 1u);
        if (series) m_kernels.TapSeries(weights + first, pitch, positions + first, doubts, run, SeriesOf(m_method));
        uint32_t any = 0;
        for (size_t i = 0; i < run; ++i) any |= doubts[i];
        if (any == 0) continue;
        for (size_t i = first; i < first + run; ++i) {
            if (!doubts[i - first]) continue;
            if (i > 0 && FractionOf(positions[i]) == FractionOf(positions[i - 1])) {
                for (size_t k = 0; k < static_cast<size_t>(m_taps); ++k)
                    weights[k * pitch + i] = weights[k * pitch + i - 1];
            } else {
                WeighTaps(m_method, positions[i], weights + i, pitch);
            }
        }
    }
}

void Sampler::Accumulate(const SampledPixels& pixels, const TapRun& taps, uint32_t* colours, size_t count) const {
    if (m_taps == 12) {
        m_kernels.Accumulate12(colours, &pixels, &taps, count);
    } else {
        m_kernels.Accumulate4(colours, &pixels, &taps, count);
    }
}

void Sampler::SampleDirect(const float* x, const float* y, uint32_t* colours, size_t count, ptrdiff_t ahead) const {
    if (m_taps == 1) {
        m_kernels.NearestRow(colours, &m_pixels, x, y, m_add, ahead, count);
        if (m_method == Interpolation::IntegerBilinear && m_source.bitsPerPixel >= 24) {
            for (size_t k = 0; k < count; ++k) colours[k] |= 0xFF000000u;
        }
        return;
    }
    if (ahead != 0) m_kernels.PrefetchRow(&m_pixels, x, y, ahead, count);
    if (m_method == Interpolation::Gaussian || m_method == Interpolation::Lanczos6) {
        return SampleGuarded(x, y, colours, count);
    }
    alignas(64) float columns[4 * kRun], rows[4 * kRun];
    alignas(64) int64_t offsets[kRun];
    m_kernels.TapOffsets(offsets, &m_pixels, x, y, m_taps / 2 - 1, count);
    Weigh(x, columns, kRun, count);
    Weigh(y, rows, kRun, count);
    Accumulate(m_pixels, {offsets, columns, kRun, rows, kRun}, colours, count);
}

// Sums of approximate weights, and again with exact ones where that could make a difference.
void Sampler::SampleGuarded(const float* x, const float* y, uint32_t* colours, size_t count) const {
    alignas(64) float columns[12 * kRun], rows[12 * kRun];
    alignas(64) int64_t offsets[kRun];
    alignas(64) uint32_t doubts[kRun], rowDoubts[kRun];
    size_t places[kLongRun], doubtful = 0;
    for (size_t first = 0; first < count; first += kRun) {
        const size_t run = std::min(kRun, count - first);
        const float *runX = x + first, *runY = y + first;
        m_kernels.TapOffsets(offsets, &m_pixels, runX, runY, m_taps / 2 - 1, run);
        m_kernels.TapSeries(columns, kRun, runX, doubts, run, SeriesOf(m_method));
        m_kernels.TapSeries(rows, kRun, runY, rowDoubts, run, SeriesOf(m_method));
        for (size_t k = 0; k < run; ++k) doubts[k] |= rowDoubts[k];
        const TapRun taps{offsets, columns, kRun, rows, kRun};
        if (m_taps == 12) {
            m_kernels.GuardedSums12(colours + first, doubts, &m_pixels, &taps, run);
        } else {
            m_kernels.GuardedSums4(colours + first, doubts, &m_pixels, &taps, run);
        }
        for (size_t k = 0; k < run; ++k) {
            places[doubtful] = first + k;
            doubtful += doubts[k] != 0;
        }
    }
    for (size_t first = 0; first < doubtful; first += kExactRun) {
        SampleExactly(x, y, colours, places + first, std::min(kExactRun, doubtful - first));
    }
}

// Some positions of a run, with weights from the library.
void Sampler::SampleExactly(const float* x, const float* y, uint32_t* colours, const size_t* places,
                            size_t count) const {
    alignas(64) float columns[12 * kExactRun], rows[12 * kExactRun], exactX[kExactRun], exactY[kExactRun];
    alignas(64) int64_t offsets[kExactRun];
    alignas(64) uint32_t exact[kExactRun];
    for (size_t i = 0; i < count; ++i) {
        exactX[i] = x[places[i]];
        exactY[i] = y[places[i]];
        WeighTaps(m_method, exactX[i], columns + i, kExactRun);
        WeighTaps(m_method, exactY[i], rows + i, kExactRun);
    }
    m_kernels.TapOffsets(offsets, &m_pixels, exactX, exactY, m_taps / 2 - 1, count);
    Accumulate(m_pixels, {offsets, columns, kExactRun, rows, kExactRun}, exact, count);
    for (size_t i = 0; i < count; ++i) colours[places[i]] = exact[i];
}

// Positions that are not on the direct path. A pixel that is taken alone is an outside one there.
void Sampler::SampleSlowly(const float* x, const float* y, uint32_t* colours, size_t count) const {
    if (m_taps > 1) return SampleTiles(x, y, colours, count);
    if (m_direct && m_method == Interpolation::NearestNeighbour) {
        std::fill_n(colours, count, m_outside);
    } else {
        for (size_t k = 0; k < count; ++k) colours[k] = ColourAt(x[k], y[k]);
    }
}

// Every position's taps are brought together as a little image of colour words, pixel by pixel, those outside included.
// The 4 x 4 methods leave alpha out on this path.
void Sampler::SampleTiles(const float* x, const float* y, uint32_t* colours, size_t count) const {
    const auto taps = static_cast<size_t>(m_taps), tilePixels = taps * taps;
    const uint32_t kept = m_method == Interpolation::Lanczos6 ? 0xFFFFFFFFu : 0x00FFFFFFu;
    alignas(64) uint32_t tiles[12 * 12 * kExactRun];
    alignas(64) float columns[12 * kExactRun], rows[12 * kExactRun];
    alignas(64) int64_t offsets[kExactRun];
    size_t places[kExactRun], batched = 0;
    for (size_t i = 0; i < kExactRun; ++i) offsets[i] = static_cast<int64_t>(i * tilePixels * sizeof(uint32_t));
    const auto* begin = reinterpret_cast<const uint8_t*>(tiles);
    const SampledPixels pixels{begin, static_cast<ptrdiff_t>(taps * sizeof(uint32_t)), begin, begin + sizeof tiles, 4};
    for (size_t k = 0; k < count; ++k) {
        if (ReachOf(m_method, x[k], m_source.width).outside || ReachOf(m_method, y[k], m_source.height).outside) {
            colours[k] = m_outside;
        } else {
            WeighTaps(m_method, x[k], columns + batched, kExactRun);
            if (batched > 0 && y[k] == y[places[batched - 1]]) {
                for (size_t j = 0; j < taps; ++j) rows[j * kExactRun + batched] = rows[j * kExactRun + batched - 1];
            } else {
                WeighTaps(m_method, y[k], rows + batched, kExactRun);
            }
            CopyTile(FirstTap(m_method, x[k]), FirstTap(m_method, y[k]), tiles + batched * tilePixels);
            places[batched++] = k;
        }
        if (batched == kExactRun || k + 1 == count) {
            alignas(64) uint32_t sums[kExactRun];
            Accumulate(pixels, {offsets, columns, kExactRun, rows, kExactRun}, sums, batched);
            for (size_t i = 0; i < batched; ++i) colours[places[i]] = sums[i] & kept;
            batched = 0;
        }
    }
}

void Sampler::CopyTile(int64_t left, int64_t top, uint32_t* tile) const {
    const int64_t right = left + m_taps, width = m_source.width;
    const int64_t first = std::clamp(int64_t{0}, left, right), last = std::clamp(width, first, right);
    const bool anyInside = !m_source.Empty() && first < last && last <= width;
    for (int64_t y = top; y < top + m_taps; ++y, tile += m_taps) {
        std::fill_n(tile, m_taps, m_outside);
        if (!anyInside || y < 0 || y >= int64_t{m_source.height}) continue;
        const uint8_t* p = m_source.bits + y * m_source.stride + first * m_pixels.pixelBytes;
        for (int64_t x = first; x < last; ++x, p += m_pixels.pixelBytes) {
            tile[x - left] = m_source.Coloured() ? ColourWord(p[0], p[1], p[2], m_source.HasAlpha() ? p[3] : 0)
                                                 : m_source.Colour(x, y);
        }
    }
}

Span Sampler::DirectSpan(const float* x, const float* y, size_t count) const {
    if (!m_direct) return {};
    return Intersection(DirectSpan(x, count, m_source.width), DirectSpan(y, count, m_source.height));
}

void Sampler::Sample(const float* x, const float* y, uint32_t* colours, size_t count, ptrdiff_t ahead) const {
    const Span span = DirectSpan(x, y, count);
    SampleSlowly(x, y, colours, span.first);
    const size_t direct = span.last - span.first;
    if (direct > 0) SampleDirect(x + span.first, y + span.first, colours + span.first, direct, ahead);
    SampleSlowly(x + span.last, y + span.last, colours + span.last, count - span.last);
}

void Sampler::Take(const float* x, const float* y, uint8_t* to, size_t count, ptrdiff_t ahead) const {
    const Span span = DirectSpan(x, y, count);
    const auto pixelBytes = static_cast<size_t>(m_pixels.pixelBytes);
    const auto outside = [&](size_t first, size_t last) {
        alignas(64) uint32_t colours[kLongRun];
        SampleSlowly(x + first, y + first, colours, last - first);
        PackColours(to + first * pixelBytes, m_source.bitsPerPixel, colours, last - first);
    };
    if (span.first > 0) outside(0, span.first);
    m_kernels.TakeRow(to + span.first * pixelBytes, &m_pixels, x + span.first, y + span.first, m_add, ahead,
                      span.last - span.first);
    if (span.last < count) outside(span.last, count);
}

void PackColours(uint8_t* to, uint32_t bitsPerPixel, const uint32_t* colours, size_t count) {
    switch (bitsPerPixel) {
        case 32: std::memcpy(to, colours, 4 * count); break;
        case 24: Kernels().Sampling().StoreRow24(to, colours, count); break;
        default: Kernels().Sampling().StoreRow8(to, colours, count);
    }
}

void StoreColours(const ImageView& to, int64_t y, size_t x, const uint32_t* colours, size_t count) {
    switch (to.bitsPerPixel) {
        case 32:
        case 24:
        case 8: PackColours(to.Row(y) + x * to.PixelBytes(), to.bitsPerPixel, colours, count); break;
        default:
            for (size_t k = 0; k < count; ++k) {
                SetPixelColor(to.bits, static_cast<int>(x + k), static_cast<int>(y), static_cast<int>(to.width),
                              static_cast<int>(to.height), to.stride, QuadOf(colours[k]),
                              static_cast<int>(to.bitsPerPixel));
            }
    }
}

}  // namespace vel
