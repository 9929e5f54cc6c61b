// Warps through a coordinate mapping of the host, and the filling of the holes that a forward mapping leaves.
#include <cstring>

#include "Kernels/Kernels.h"
#include "PixelBlock.h"
#include "Truncate.h"
#include "VELImageTransform.h"

using namespace vel;

namespace {

bool HasAlphaCode(uint32_t format) { return format == FORMAT_ABGR || format == FORMAT_ARGB; }

bool Warped(uint32_t bitsPerPixel) { return bitsPerPixel == 8 || bitsPerPixel == 24 || bitsPerPixel == 32; }

// 32-bit rows are addressed in words: a stride that is no multiple of 4 loses its remainder.
ImageView WordRows(ImageView view) {
    if (view.bitsPerPixel == 32) view.stride = view.stride / 4 * 4;
    return view;
}

uint32_t LoadWord(const uint8_t* p) {
    uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

void StoreWord(uint8_t* p, uint32_t word) { std::memcpy(p, &word, 4); }

// Pixels of a row that the mapping is asked for at once.
constexpr int64_t kPiece = 128;

// Pulls every pixel of `to` from where the mapping sends it; a pixel that falls outside the source stays as it is. The
// mapping is asked for a piece of a row first, so that its calls and the copies do not wait for each other, and neither
// for memory: a piece's pixels are asked for as soon as they are known.
template <int kPixelBytes>
void Pull(ITransform* mapping, const ImageView& from, const ImageView& to, uint32_t width, uint32_t height, int x0,
          int y0) {
    const auto& kernels = Kernels().Warp();
    const PixelGrid grid = {static_cast<int32_t>(from.width), static_cast<int32_t>(from.height), kPixelBytes,
                            static_cast<int32_t>(from.stride)};
    alignas(64) double xs[kPiece], ys[kPiece];
    alignas(64) int64_t places[kPiece];
    for (uint32_t j = 0; j < height; ++j) {
        const double row = static_cast<double>(j) + y0;
        for (int64_t first = 0; first < width; first += kPiece) {
            const int64_t count = std::min(kPiece, width - first);
            for (int64_t i = 0; i < count; ++i) {
                double z = 0;
                xs[i] = static_cast<double>(first + i) + x0;
                ys[i] = row;
                mapping->TransformPoint(&xs[i], &ys[i], &z);
            }
            const auto size = static_cast<size_t>(count);
            const bool all = kernels.PlacesOfPoints(places, xs, ys, &grid, size) == size;
            // An address made of kNoPlace is none, and asking for it does nothing.
            const auto bits = reinterpret_cast<uintptr_t>(from.bits);
            for (int64_t i = 0; i < count; ++i) {
                __builtin_prefetch(reinterpret_cast<const void*>(bits + static_cast<uintptr_t>(places[i])));
            }
            uint8_t* out = to.Row(j) + first * kPixelBytes;
            for (int64_t i = 0; i < count; ++i, out += kPixelBytes) {
                if (all || places[i] != kNoPlace) std::memcpy(out, from.bits + places[i], kPixelBytes);
            }
        }
    }
}

// Where source pixels land, rounded to the nearest pixel, a half upward.
struct Landing {
    ITransform* mapping;
    double dx, dy, width, height;
};

// Calls paste(source column, source row, x, y) for every pixel of the first `columns` columns that lands inside `to`,
// in row order. The mapping is asked for a piece of a row first, so that its calls and the writes do not wait for each
// other, and neither for memory.
template <class Paste>
void ForEachLanding(const Landing& landing, const ImageView& from, int64_t columns, Paste&& paste) {
    double xs[kPiece], ys[kPiece];
    for (int64_t j = 0; j < from.height; ++j) {
        for (int64_t first = 0; first < columns; first += kPiece) {
            const int64_t count = std::min(kPiece, columns - first);
            for (int64_t i = 0; i < count; ++i) {
                double z = 0;
                xs[i] = static_cast<double>(first + i);
                ys[i] = static_cast<double>(j);
                landing.mapping->TransformPoint(&xs[i], &ys[i], &z);
            }
            for (int64_t i = 0; i < count; ++i) {
                const double x = xs[i] + landing.dx + 0.5, y = ys[i] + landing.dy + 0.5;
                // The bounds are whole numbers, so they hold of the floor as of the number itself, and above 0
                // truncation is the floor.
                if (!(x >= 0 && y >= 0 && x < landing.width && y < landing.height)) continue;
                paste(first + i, j, static_cast<int64_t>(x), static_cast<int64_t>(y));
            }
        }
    }
}

// Pushes `columns` pixels of every source row to where the mapping sends them. Each also smears into the pixel to
// its right and the one below, so that small gaps close.
template <int kPixelBytes>
void PushSmeared(const Landing& landing, const ImageView& from, const ImageView& to, int64_t columns) {
    ForEachLanding(landing, from, columns, [&](int64_t i, int64_t j, int64_t x, int64_t y) {
        uint8_t pixel[kPixelBytes];
        std::memcpy(pixel, from.Row(j) + i * kPixelBytes, kPixelBytes);
        uint8_t* target = to.Row(y) + x * kPixelBytes;
        if (x + 1 < to.width) std::memcpy(target + kPixelBytes, pixel, kPixelBytes);
        if (y + 1 < to.height) std::memcpy(target + to.stride, pixel, kPixelBytes);
        std::memcpy(target, pixel, kPixelBytes);
    });
}

// 24 bits: a pixel also fills the columns back to the row's previous one, on its own row and the one below.
void PushFilled24(const Landing& landing, const ImageView& from, const ImageView& to) {
    int64_t previous = 0, previousRow = -1;
    ForEachLanding(landing, from, from.width, [&](int64_t i, int64_t j, int64_t x, int64_t y) {
        if (j != previousRow) previous = 0;
        previousRow = j;
        uint8_t pixel[3];
        std::memcpy(pixel, from.Row(j) + 3 * i, 3);
        uint8_t* const row = to.Row(y);
        // Mostly the one column x is filled, or none: both write without a branch, what is not meant to a spare pixel.
        const bool fills = previous > 0 && x > previous, below = y + 1 < to.height;
        uint8_t spare[3];
        std::memcpy(fills && below ? row + to.stride + 3 * x : spare, pixel, 3);
        for (int64_t column = x - 1; fills && column > previous; --column) {
            std::memcpy(row + 3 * column, pixel, 3);
            if (below) std::memcpy(row + to.stride + 3 * column, pixel, 3);
        }
        std::memcpy(row + 3 * x, pixel, 3);
        previous = x;
    });
}

// Pixels land on their own place alone; what is 0 in the source is written as 1, so that 0 marks a void.
void PushMarked24(const Landing& landing, const ImageView& from, const ImageView& to) {
    ForEachLanding(landing, from, from.width, [&](int64_t i, int64_t j, int64_t x, int64_t y) {
        const uint8_t* pixel = from.Row(j) + 3 * i;
        const uint8_t marked[3] = {std::max<uint8_t>(pixel[0], 1), std::max<uint8_t>(pixel[1], 1),
                                   std::max<uint8_t>(pixel[2], 1)};
        std::memcpy(to.Row(y) + 3 * x, marked, 3);
    });
}

void PushMarked32(const Landing& landing, const ImageView& from, const ImageView& to) {
    ForEachLanding(landing, from, from.width, [&](int64_t i, int64_t j, int64_t x, int64_t y) {
        const uint32_t word = LoadWord(from.Row(j) + 4 * i);
        StoreWord(to.Row(y) + 4 * x, (word & 0x00FFFFFF) == 0 ? word | 1 : word);
    });
}

// Voids of single bytes, `channels` to a pixel: filled with the mean of the neighbours when at least `enough` of the
// four are not 0. Filled bytes count as neighbours of those that follow.
void FillByteVoids(const ImageView& view, int64_t channels, uint32_t enough) {
    const int64_t first = channels, last = (int64_t{view.width} - 1) * channels;
    for (int64_t y = 1; y + 1 < view.height; ++y) {
        uint8_t* row = view.Row(y);
        const uint8_t *below = view.Row(y + 1), *above = view.Row(y - 1);
        for (int64_t i = first; i < last; ++i) {
            if (row[i] != 0) {
                const void* next = std::memchr(row + i, 0, static_cast<size_t>(last - i));
                if (!next) break;
                i = static_cast<const uint8_t*>(next) - row;
            }
            const uint32_t left = row[i - channels], right = row[i + channels];
            const uint32_t n = (left != 0) + (right != 0) + (below[i] != 0) + (above[i] != 0);
            if (n >= enough) row[i] = static_cast<uint8_t>((left + right + below[i] + above[i]) / n);
        }
    }
}

// Voids of whole words: the packed words are summed and divided whole, so carries pass between channels.
void FillWordVoids(const ImageView& view) {
    const uint32_t kept = HasAlphaCode(view.format) ? 0x00FFFFFFu : 0xFFFFFFFFu;
    for (int64_t y = 1; y + 1 < view.height; ++y) {
        uint8_t* row = view.Row(y);
        const uint8_t *below = view.Row(y + 1), *above = view.Row(y - 1);
        for (int64_t x = 4; x < (int64_t{view.width} - 1) * 4; x += 4) {
            if (LoadWord(row + x) != 0) continue;
            const uint32_t neighbours[4] = {LoadWord(row + x - 4), LoadWord(row + x + 4), LoadWord(below + x),
                                            LoadWord(above + x)};
            uint32_t sum = 0;
            int32_t n = 0;
            for (const uint32_t word : neighbours) {
                sum += word & kept;
                n += word != 0;
            }
            if (n >= 1) StoreWord(row + x, static_cast<uint32_t>(static_cast<int32_t>(sum) / n) | ~kept);
        }
    }
}

HRESULT FillVoidsOf(const ImageView& view) {
    if (!Warped(view.bitsPerPixel)) return E_FAIL;
    if (view.Empty() || view.width <= 2 || view.height <= 2) return S_OK;
    switch (view.bitsPerPixel) {
        case 8: FillByteVoids(view, 1, 1); break;
        case 24: FillByteVoids(view, 3, 3); break;
        default: FillWordVoids(view); break;
    }
    return S_OK;
}

}  // namespace

HRESULT CVELImageTransform::Transform(ITransform* mapping, IVEL* source, IVEL** result, int x0, int y0,
                                      unsigned int width, unsigned int height, short /*unused1*/, short /*unused2*/) {
    if (!mapping) return E_INVALIDARG;
    if (!source) return E_FAIL;
    if (!result) return E_POINTER;
    const ImageView from = WordRows(ViewOf(source));
    if (from.width == 0 || from.height == 0) return E_FAIL;
    const uint32_t outWidth = width == 0 || width > 65535 ? from.width : width;
    const uint32_t outHeight = height == 0 || height > 65535 ? from.height : height;
    SmartPtr<IVELImage> image = NewImageDIB();
    if (!image.Get()) return E_FAIL;
    image->Create(outWidth, outHeight, 1, from.bitsPerPixel, from.format);
    image->FillColor(from.bitsPerPixel == 32 && HasAlphaCode(from.format) ? 0xFF000000u : 0u);
    const ImageView to = WordRows(ViewOf(image.Get()));
    if (!from.Empty() && Holds(to, outWidth, outHeight, from.bitsPerPixel)) {
        switch (from.bitsPerPixel) {
            case 8: Pull<1>(mapping, from, to, outWidth, outHeight, x0, y0); break;
            case 24: Pull<3>(mapping, from, to, outWidth, outHeight, x0, y0); break;
            case 32: Pull<4>(mapping, from, to, outWidth, outHeight, x0, y0); break;
            default: break;
        }
    }
    *result = image.Detach();
    return S_OK;
}

HRESULT CVELImageTransform::TransformPaste(ITransform* mapping, IVEL* source, IVEL* destination, int dx, int dy,
                                           short markVoids, short /*unused*/) {
    if (!mapping) return E_INVALIDARG;
    if (!source || !destination) return E_FAIL;
    ImageView from = WordRows(ViewOf(source));
    const ImageView to = WordRows(ViewOf(destination));
    if (to.Empty() || from.bitsPerPixel != to.bitsPerPixel) return S_OK;
    // Without source pixels the voids are still filled.
    if (from.Empty()) from.height = from.width = 0;
    const Landing landing{mapping, static_cast<double>(dx), static_cast<double>(dy), static_cast<double>(to.width),
                          static_cast<double>(to.height)};
    switch (from.bitsPerPixel) {
        // The last source column is never pasted.
        case 8: PushSmeared<1>(landing, from, to, int64_t{from.width} - 1); return S_OK;
        case 24: markVoids ? PushMarked24(landing, from, to) : PushFilled24(landing, from, to); break;
        case 32: markVoids ? PushMarked32(landing, from, to) : PushSmeared<4>(landing, from, to, from.width); break;
        default: return S_OK;
    }
    if (markVoids) FillVoidsOf(ViewOf(destination));
    return S_OK;
}

HRESULT CVELImageTransform::FillVoids(IVEL* image) {
    if (!image) return E_FAIL;
    return FillVoidsOf(ViewOf(image));
}
