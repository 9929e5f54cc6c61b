// Sampling of whole runs of positions, with the colours that GetPixelColorInterpolated gives: the span of a run whose
// taps all lie in the image is sampled in place (the direct path), the rest from copies of its taps.
#pragma once

#include <algorithm>

#include "Kernels/Kernels.h"
#include "Sampling.h"

namespace vel {

// The pixels of a view as kernels take them.
SampledPixels PixelsOf(const ImageView& source);

// A run of indices, empty when first == last.
struct Span {
    size_t first = 0, last = 0;
};

// First index of [from, count) at which `holds` is true, for a predicate that is false up to some index and true from
// there on. `hint` is where to look first: the cost grows with the logarithm of the distance.
template <class Predicate>
size_t FirstIndex(size_t from, size_t count, size_t hint, Predicate holds) {
    size_t low = from, high = count, step = 1;  // false before low, true from high on
    hint = std::min(std::max(hint, from), count);
    if (hint < count && !holds(hint)) {
        for (low = hint + 1; low + step < count && !holds(low + step); step *= 2) low += step + 1;
        high = std::min(low + step, count);
    } else {
        for (high = hint; high - from > step && holds(high - step); step *= 2) high -= step;
        low = high - from > step ? high - step + 1 : from;
    }
    while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (holds(middle)) {
            high = middle;
        } else {
            low = middle + 1;
        }
    }
    return low;
}

// The indices of a monotone sequence `at(k)`, k < count, whose values are neither `below` nor `above`: the one holds on
// the low side of the sequence alone, the other on its high side. `hint` is the span of a similar sequence.
template <class Sequence, class Below, class Above>
Span SpanBetween(size_t count, Sequence at, Below below, Above above, Span hint = {}) {
    if (count == 0) return {};
    const bool rising = at(0) <= at(count - 1);
    const size_t first =
        FirstIndex(0, count, hint.first, [&](size_t k) { return rising ? !below(at(k)) : !above(at(k)); });
    const size_t last =
        FirstIndex(first, count, hint.last, [&](size_t k) { return rising ? above(at(k)) : below(at(k)); });
    return {first, last};
}

inline Span Intersection(const Span& a, const Span& b) {
    const size_t first = std::max(a.first, b.first), last = std::min(a.last, b.last);
    return first < last ? Span{first, last} : Span{first, first};
}

// What is sampled, and how.
class Sampler {
public:
    static constexpr size_t kRun = 128;
    static constexpr size_t kLongRun = 2 * kRun;

    Sampler(const ImageView& source, int method);
    // Takes the pixel at the truncated position, as the nearest-neighbour method would without adding a half.
    static Sampler Truncating(const ImageView& source);

    // The most positions at a time: more by a method that takes one pixel or so many that some have to be summed again.
    size_t Run() const { return m_taps == 4 ? kRun : kLongRun; }

    // Bytes from a pixel to the one (dx, dy) from it.
    ptrdiff_t Distance(int dx, int dy) const { return dy * m_pixels.stride + ptrdiff_t{dx} * m_pixels.pixelBytes; }

    // colours[k] = the colour at (x[k], y[k]) for at most Run() positions that are monotone in x and in y. Fetches the
    // pixels `ahead` bytes from those inside the image into the caches.
    void Sample(const float* x, const float* y, uint32_t* colours, size_t count, ptrdiff_t ahead = 0) const;

    // Whether a destination of that depth takes the image's pixels as they are.
    bool Takes(uint32_t bitsPerPixel) const {
        return m_direct && m_method == Interpolation::NearestNeighbour && bitsPerPixel == m_source.bitsPerPixel;
    }
    // Writes the same colours as pixels of the image's own depth, which must be Taken, for at most Run() positions.
    void Take(const float* x, const float* y, uint8_t* to, size_t count, ptrdiff_t ahead) const;

private:
    friend class GridSampler;
    static constexpr size_t kExactRun = 16;  // as many as the widest level sums at a time

    uint32_t ColourAt(float x, float y) const;
    Span DirectSpan(const float* positions, size_t count, uint32_t size) const;
    void SampleSlowly(const float* x, const float* y, uint32_t* colours, size_t count) const;
    void SampleTiles(const float* x, const float* y, uint32_t* colours, size_t count) const;
    void CopyTile(int64_t left, int64_t top, uint32_t* tile) const;
    void SampleDirect(const float* x, const float* y, uint32_t* colours, size_t count, ptrdiff_t ahead) const;
    void SampleGuarded(const float* x, const float* y, uint32_t* colours, size_t count) const;
    void SampleExactly(const float* x, const float* y, uint32_t* colours, const size_t* places, size_t count) const;
    Span DirectSpan(const float* x, const float* y, size_t count) const;
    // weights[k * pitch + i] = the weight of tap k around positions[i], for positions on the direct path.
    void Weigh(const float* positions, float* weights, size_t pitch, size_t count) const;
    void Accumulate(const SampledPixels& pixels, const TapRun& taps, uint32_t* colours, size_t count) const;

    const SamplingKernels& m_kernels;
    ImageView m_source;
    SampledPixels m_pixels;
    Interpolation m_method;
    int m_taps;
    float m_add = 0;     // before truncation, for the methods that take one pixel
    uint32_t m_outside;  // the colour beyond the image
    bool m_direct;       // there are row kernels for the depth
};

// The colours as pixels of 8, 24 or 32 bits.
void PackColours(uint8_t* to, uint32_t bitsPerPixel, const uint32_t* colours, size_t count);

// Writes a run of colours into row y from column x on, at any depth that holds colours or greys.
void StoreColours(const ImageView& to, int64_t y, size_t x, const uint32_t* colours, size_t count);

}  // namespace vel
