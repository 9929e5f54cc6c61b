#include "VELMathsImp.h"

#include <algorithm>
#include <optional>

#include "Kernels/Kernels.h"
#include "RowRuns.h"

using vel::ImageView;
using vel::RowRuns;
using vel::ViewOf;

namespace {

struct Extent {
    uint32_t width, height;
    // Sizes beyond 31 bits count as negative, hence empty.
    bool Empty() const { return static_cast<int32_t>(width) <= 0 || static_cast<int32_t>(height) <= 0; }
};

Extent Common(const ImageView& a, const ImageView& b) {
    return {std::min(a.width, b.width), std::min(a.height, b.height)};
}

bool SameFormat(const ImageView& a, const ImageView& b) {
    return a.bitsPerPixel == b.bitsPerPixel && a.format == b.format;
}

// Intermediate rows of a masked or mixed-depth operation pass through buffers of this many bytes, small enough to stay
// in the nearest cache.
constexpr size_t kPartBytes = 4096;

// Calls work(first, count) for `total` pixels in parts of at most `most`.
template <class Work>
void InParts(size_t total, size_t most, const Work& work) {
    for (size_t i = 0; i < total; i += most) work(i, std::min(most, total - i));
}

}  // namespace

HRESULT CVELMaths::CreateDestImage(IVEL** result, IVEL* model, int bitsPerPixel, int format) {
    if (!result || !model) return E_INVALIDARG;
    SmartPtr<IVELImage> made = vel::NewImageDIB();
    if (!made.Get()) return E_FAIL;
    uint32_t width = 0, height = 0, planes = 0, modelBits = 0, modelFormat = 0, unused = 0;
    model->GetSize(&width, &height, &planes);
    model->GetFormat(&modelBits, &modelFormat, &unused);
    made->Create(width, height, planes, bitsPerPixel ? static_cast<uint32_t>(bitsPerPixel) : modelBits,
                 format ? static_cast<uint32_t>(format) : modelFormat);
    *result = made.Detach();
    return S_OK;
}

// ---------------------------------------------------------------------------------------------------------------
// Copy

namespace {

// Conversions that Copy knows, of `pixels` pixels of one row.
using CopyRow = void (*)(const vel::KernelSet& kernels, uint8_t* dst, const uint8_t* src, size_t pixels);

void GreyTo24(const vel::KernelSet& kernels, uint8_t* dst, const uint8_t* src, size_t pixels) {
    kernels.Move().GreyTo24(dst, src, pixels);
}
void GreyTo32(const vel::KernelSet& kernels, uint8_t* dst, const uint8_t* src, size_t pixels) {
    kernels.Move().GreyTo32(dst, src, pixels);
}
void DropAlpha(const vel::KernelSet& kernels, uint8_t* dst, const uint8_t* src, size_t pixels) {
    kernels.Arithmetic().PackRow32To24(dst, src, pixels);
}
void WordsToBgr(const vel::KernelSet& kernels, uint8_t* dst, const uint8_t* src, size_t pixels) {
    kernels.Arithmetic().WordRow16To24(dst, src, pixels, 0);
}
void WordsToRgb(const vel::KernelSet& kernels, uint8_t* dst, const uint8_t* src, size_t pixels) {
    kernels.Arithmetic().WordRow16To24(dst, src, pixels, 1);
}

struct Conversion {
    HRESULT result;
    CopyRow row;  // null: nothing is written
};

Conversion ConversionOf(const ImageView& destination, const ImageView& source) {
    const uint32_t to = destination.bitsPerPixel;
    switch (source.bitsPerPixel) {
        case 8:
            return to == 32   ? Conversion{S_OK, GreyTo32}
                   : to == 24 ? Conversion{S_OK, GreyTo24}
                              : Conversion{E_FAIL, nullptr};
        case 32: return to == 24 ? Conversion{S_OK, DropAlpha} : Conversion{E_FAIL, nullptr};
        case 16:
            // 5-6-5 words are converted, into the byte order that the destination's code names, and reported as a
            // failure all the same.
            if (source.format != FORMAT_BGR || to != 24) return {E_FAIL, nullptr};
            return {E_FAIL, destination.format == FORMAT_BGR ? WordsToBgr
                            : destination.format == 0        ? WordsToRgb
                                                             : nullptr};
        default: return {E_FAIL, nullptr};
    }
}

}  // namespace

HRESULT CVELMaths::Copy(IVEL* destination, IVEL* source, IVEL* /*unused*/, int x, int y) {
    if (!destination || !source) return E_INVALIDARG;
    const ImageView to = ViewOf(destination), from = ViewOf(source);
    // Unsigned, so a negative offset fails too.
    const uint32_t left = static_cast<uint32_t>(x), top = static_cast<uint32_t>(y);
    if (left >= to.width || top >= to.height) return E_FAIL;
    const Extent part = {std::min(from.width, to.width - left), std::min(from.height, to.height - top)};
    const size_t indent = size_t{left} * to.PixelBytes();
    const bool drawable = !to.Empty() && !from.Empty();
    if (to.bitsPerPixel == from.bitsPerPixel) {
        // Row after row from the top, each moved as a whole: that is what pasting an image into itself means.
        const size_t bytes = size_t{part.width} * to.PixelBytes();
        for (uint32_t r = 0; drawable && r < part.height; ++r) {
            std::memmove(to.Row(int64_t{top} + r) + indent, from.Row(r), bytes);
        }
        return S_OK;
    }
    const Conversion conversion = ConversionOf(to, from);
    if (!conversion.row || !drawable) return conversion.result;
    // Words are addressed by whole words, so half a word of an odd stride is lost.
    const int64_t pitch = from.bitsPerPixel == 16 ? int64_t{from.stride / 2} * 2 : from.stride;
    const vel::KernelSet& kernels = vel::Kernels();
    for (uint32_t r = 0; r < part.height; ++r) {
        conversion.row(kernels, to.Row(int64_t{top} + r) + indent, from.bits + r * pitch, part.width);
    }
    return conversion.result;
}

// ---------------------------------------------------------------------------------------------------------------
// Masks and Equal

namespace {

// Plane 0 of an image read as one byte a pixel, whatever its format; a pixel is selected where the byte is not 0.
class Mask {
public:
    Mask(IVEL* image, const Extent& extent, const ImageView& target)
        : m_view(ViewOf(image)),
          m_rows(m_view, extent.width, extent.height),
          m_ownPixels(Overlapping(m_view, target)) {}
    bool Ready() const { return m_rows.Ready(); }
    const uint8_t* Row(int64_t y) { return m_rows.Read(y); }

    // dst = src where selected. A mask among the wider pixels that it selects sees those before it changed, so it
    // goes one pixel at a time.
    void Store(uint8_t* dst, const uint8_t* src, const uint8_t* mask, size_t pixels, size_t pixelBytes) const {
        InParts(pixels, m_ownPixels && pixelBytes > 1 ? 1 : pixels, [&](size_t i, size_t count) {
            m_kernels.StoreMaskedRow(dst + i * pixelBytes, src + i * pixelBytes, mask + i, count, pixelBytes);
        });
    }

private:
    const vel::ArithmeticKernels& m_kernels = vel::Kernels().Arithmetic();
    ImageView m_view;
    RowRuns m_rows;
    bool m_ownPixels;
};

// How Equal writes one plane.
struct FillPlan {
    uint32_t pixelBytes = 0;  // 0: nothing is written
    uint32_t word = 0;        // a pixel's bytes in memory order
    int64_t pitch = 0;
    bool maskable = true;
};

FillPlan FillPlanOf(const ImageView& view, uint32_t value) {
    FillPlan plan;
    plan.word = value;
    plan.pitch = view.stride;
    if (view.bitsPerPixel == 8) {
        plan.pixelBytes = 1;
    } else if (view.format == FORMAT_MONO) {
        // Words, whatever the depth, and rows stride / PixelBytes() words apart: right at 32 bits, and all that other
        // depths get.
        if (view.PixelBytes() == 0) return plan;
        plan.pixelBytes = 4;
        plan.pitch = int64_t{view.stride / static_cast<int32_t>(view.PixelBytes())} * 4;
    } else if (view.bitsPerPixel == 32) {
        plan.pixelBytes = 4;
        plan.pitch = int64_t{view.stride / 4} * 4;
    } else if (view.bitsPerPixel == 24) {
        // The bytes of the value in reverse, and a mask does not count.
        plan.pixelBytes = 3;
        plan.word = (value >> 16 & 0xFF) | (value & 0xFF00) | (value & 0xFF) << 16;
        plan.maskable = false;
    }
    return plan;
}

void FillPixels(const vel::ArithmeticKernels& kernels, uint8_t* dst, size_t pixels, const FillPlan& plan) {
    switch (plan.pixelBytes) {
        case 1: std::memset(dst, static_cast<uint8_t>(plan.word), pixels); break;
        case 3: kernels.FillRow24(dst, pixels, plan.word); break;
        default: kernels.FillRow32(dst, pixels, plan.word); break;
    }
}

HRESULT FillPlane(const ImageView& view, IVEL* mask, uint32_t value) {
    const FillPlan plan = FillPlanOf(view, value);
    if (plan.pixelBytes == 0 || view.Empty()) return S_OK;
    const auto& kernels = vel::Kernels().Arithmetic();
    const Extent extent = {view.width, view.height};
    RowRuns rows(view, size_t{view.width} * plan.pixelBytes, view.height, plan.pitch);
    if (!rows.Ready()) return E_FAIL;
    if (!mask || !plan.maskable) {
        for (uint32_t y = 0; y < view.height; ++y) {
            FillPixels(kernels, rows.Open(y), view.width, plan);
            rows.Store(y);
        }
        return S_OK;
    }
    Mask selection(mask, extent, view);
    if (!selection.Ready()) return E_FAIL;
    constexpr size_t kPart = kPartBytes / 4;
    uint8_t pattern[kPartBytes];
    FillPixels(kernels, pattern, kPart, plan);
    for (uint32_t y = 0; y < view.height; ++y) {
        uint8_t* row = rows.Open(y);
        const uint8_t* selected = selection.Row(y);
        InParts(view.width, kPart, [&](size_t i, size_t count) {
            selection.Store(row + i * plan.pixelBytes, pattern, selected + i, count, plan.pixelBytes);
        });
        rows.Store(y);
    }
    return S_OK;
}

}  // namespace

HRESULT CVELMaths::Equal(IVEL* image, IVEL* mask, int value) {
    if (!image) return E_INVALIDARG;
    const uint32_t planes = ViewOf(image).planes;
    HRESULT result = S_OK;
    for (uint32_t p = 0; p < planes && result == S_OK; ++p) {
        result = FillPlane(ViewOf(image, p), mask, static_cast<uint32_t>(value));
    }
    return result;
}

// ---------------------------------------------------------------------------------------------------------------
// Add

namespace {

// Bytes of a row that Add sums; 0: none. A 32-bit row is walked as if it were a 24-bit one, so its last quarter is
// never reached.
size_t SummedBytes(const ImageView& view) {
    switch (view.bitsPerPixel) {
        case 8: return view.width;
        case 24:
        case 32: return size_t{view.width} * 3;
        default: return 0;
    }
}

constexpr int kGreatestSum = 510;

// What Add makes of a sum of two bytes. A divisor of exactly 2 multiplies by 4.
uint8_t Divided(int sum, float divisor) {
    const float quotient = divisor == 2.0f ? static_cast<float>(sum * 4) : static_cast<float>(sum) / divisor;
    if (!(quotient > 0.0f)) return 0;  // NaN too
    return quotient < 255.0f ? static_cast<uint8_t>(quotient) : 255;
}

bool Gives(uint32_t multiplier, const vel::SumTable& table) {
    for (uint32_t sum = 0; sum <= kGreatestSum; ++sum) {
        if (std::min(sum * multiplier >> 16, 255u) != table.entry[sum]) return false;
    }
    return true;
}

// A divisor above 1 is mostly a product in disguise, which is tried out on every sum.
vel::SumTable SumTableOf(float divisor) {
    vel::SumTable table = {};
    for (int sum = 0; sum <= kGreatestSum; ++sum) table.entry[sum] = Divided(sum, divisor);
    if (divisor > 1.0f) {
        const uint32_t least = static_cast<uint32_t>(65536.0f / divisor);
        for (const uint32_t multiplier : {least, least + 1}) {
            if (multiplier < 65536 && Gives(multiplier, table)) table.multiplier = multiplier;
        }
    }
    return table;
}

}  // namespace

HRESULT CVELMaths::Add(IVELImage* destination, IVEL* first, IVEL* second, float divisor) {
    if (!destination || !first || !second) return E_INVALIDARG;
    const ImageView model = ViewOf(first);
    if (!SameFormat(model, ViewOf(second))) return E_FAIL;
    // A source that is the destination too is empty from here on: rows are fetched afterwards.
    destination->Create(model.width, model.height, model.planes, model.bitsPerPixel, model.format);
    const size_t bytes = SummedBytes(model);
    if (bytes == 0 || Extent{model.width, model.height}.Empty()) return S_OK;

    const auto& kernels = vel::Kernels().Arithmetic();
    const bool divided = divisor != 0.0f;
    const vel::SumTable table = divided ? SumTableOf(divisor) : vel::SumTable{};
    for (uint32_t p = 0; p < model.planes; ++p) {
        RowRuns a(ViewOf(first, p), bytes, model.height), b(ViewOf(second, p), bytes, model.height);
        RowRuns sums(ViewOf(destination, p), bytes, model.height);
        if (a.Empty() || b.Empty() || sums.Empty()) continue;
        if (!a.Ready() || !b.Ready() || !sums.Ready()) return E_FAIL;
        for (uint32_t y = 0; y < model.height; ++y) {
            if (divided) {
                kernels.AddLookUpRow(sums.Open(y), a.Read(y), b.Read(y), bytes, &table);
            } else {
                kernels.AddRow(sums.Open(y), a.Read(y), b.Read(y), bytes);
            }
            sums.Store(y);
        }
    }
    return S_OK;
}

// ---------------------------------------------------------------------------------------------------------------
// Subtract

namespace {

// The bits of Subtract's mode mean different things at different depths.
struct SubtractMode {
    int magnitude;  // else negative differences become 0
    uint8_t alpha;
};

SubtractMode SubtractModeOf(int mode, uint32_t bitsPerPixel) {
    if (bitsPerPixel != 32) return {mode != 0, 0};
    return {mode & 1, static_cast<uint8_t>(mode & 2 ? 0 : 255)};
}

}  // namespace

HRESULT CVELMaths::Subtract(IVEL* destination, IVEL* minuend, IVEL* subtrahend, int mode) {
    if (!destination || !minuend || !subtrahend) return E_INVALIDARG;
    const ImageView model = ViewOf(minuend), other = ViewOf(subtrahend);
    if (!SameFormat(model, other)) return E_FAIL;
    const Extent extent = Common(model, other);
    if (extent.Empty() || !(model.bitsPerPixel == 8 || model.Coloured())) return 0;

    const auto& kernels = vel::Kernels().Arithmetic();
    const SubtractMode how = SubtractModeOf(mode, model.bitsPerPixel);
    const size_t bytes = size_t{extent.width} * model.PixelBytes();
    uint64_t above = 0;
    for (uint32_t p = 0; p < model.planes; ++p) {
        RowRuns a(ViewOf(minuend, p), bytes, extent.height), b(ViewOf(subtrahend, p), bytes, extent.height);
        RowRuns differences(ViewOf(destination, p), bytes, extent.height);
        if (a.Empty() || b.Empty() || differences.Empty()) continue;
        if (!a.Ready() || !b.Ready() || !differences.Ready()) return E_FAIL;
        for (uint32_t y = 0; y < extent.height; ++y) {
            uint8_t* row = differences.Open(y);
            above += model.HasAlpha()
                         ? kernels.SubtractRow32(row, a.Read(y), b.Read(y), extent.width, how.magnitude, how.alpha)
                         : kernels.SubtractRow(row, a.Read(y), b.Read(y), bytes, how.magnitude);
            differences.Store(y);
        }
    }
    // A count is asked for at 24 and 32 bits only, and it never turns negative.
    if (model.bitsPerPixel == 8) return 0;
    return static_cast<HRESULT>(std::min<uint64_t>(above, INT32_MAX));
}

// ---------------------------------------------------------------------------------------------------------------
// AddScale

namespace {

struct Weights {
    const vel::ArithmeticKernels& kernels;
    float first, second, offset;
};

void Weigh(uint8_t* dst, const uint8_t* first, const uint8_t* second, size_t bytes, const Weights& w) {
    w.kernels.WeightedRow(dst, first, second, bytes, w.first, w.second, w.offset);
}

// All bytes of the selected pixels.
void WeighMasked(uint8_t* dst, const uint8_t* first, const uint8_t* second, const uint8_t* mask, const Mask& selection,
                 size_t pixels, size_t pixelBytes, const Weights& w) {
    uint8_t sums[kPartBytes];
    InParts(pixels, kPartBytes / pixelBytes, [&](size_t i, size_t count) {
        const size_t at = i * pixelBytes;
        Weigh(sums, first + at, second + at, count * pixelBytes, w);
        selection.Store(dst + at, sums, mask + i, count, pixelBytes);
    });
}

// One row of three, of which some have 3-byte and some 4-byte pixels: colours pass through 3-byte pixels, and a fourth
// byte of the destination is kept. `selection` may be null.
void WeighMixed(uint8_t* dst, size_t dstStep, const uint8_t* first, size_t firstStep, const uint8_t* second,
                size_t secondStep, const uint8_t* mask, const Mask* selection, size_t pixels, const Weights& w) {
    uint8_t firstColours[kPartBytes], secondColours[kPartBytes], sums[kPartBytes], merged[kPartBytes];
    InParts(pixels, kPartBytes / 4, [&](size_t i, size_t count) {
        const auto colours = [&](const uint8_t* row, size_t step, uint8_t* buffer) {
            if (step == 3) return row + i * 3;
            w.kernels.PackRow32To24(buffer, row + i * 4, count);
            return static_cast<const uint8_t*>(buffer);
        };
        const uint8_t* a = colours(first, firstStep, firstColours);
        const uint8_t* b = colours(second, secondStep, secondColours);
        uint8_t* target = dst + i * dstStep;
        if (!selection && dstStep == 3) {
            Weigh(target, a, b, count * 3, w);
            return;
        }
        Weigh(sums, a, b, count * 3, w);
        if (!selection) {
            w.kernels.ColourIntoRow32(target, sums, count);
        } else if (dstStep == 3) {
            selection->Store(target, sums, mask + i, count, 3);
        } else {
            std::memcpy(merged, target, count * 4);
            w.kernels.ColourIntoRow32(merged, sums, count);
            selection->Store(target, merged, mask + i, count, 4);
        }
    });
}

}  // namespace

HRESULT CVELMaths::AddScale(IVEL* destination, IVEL* first, IVEL* second, IVEL* mask, float firstFactor,
                            float secondFactor, float offset) {
    if (!destination || !first || !second) return E_INVALIDARG;
    const ImageView a = ViewOf(first), b = ViewOf(second), to = ViewOf(destination);
    const bool mixed = a.bitsPerPixel != b.bitsPerPixel || a.bitsPerPixel != to.bitsPerPixel;
    if (mixed && std::min({a.bitsPerPixel, b.bitsPerPixel, to.bitsPerPixel}) < 24) return E_FAIL;
    // With a mask, images of mixed depths report a failure although they are computed.
    const HRESULT result = mixed && mask ? E_FAIL : S_OK;
    const Extent extent = {std::min({a.width, b.width, to.width}), std::min({a.height, b.height, to.height})};
    if (a.Empty() || b.Empty() || to.Empty()) return result;

    const auto step = [&](const ImageView& view) -> size_t {
        return !mixed ? view.PixelBytes() : view.bitsPerPixel > 24 ? 4 : 3;
    };
    const size_t width = extent.width;
    if (step(to) == 0 || step(to) > kPartBytes) return result;  // no whole byte, or no depth that images have
    RowRuns aRows(a, width * step(a), extent.height), bRows(b, width * step(b), extent.height);
    RowRuns toRows(to, width * step(to), extent.height);
    std::optional<Mask> selection;
    if (mask) selection.emplace(mask, extent, to);
    if (!aRows.Ready() || !bRows.Ready() || !toRows.Ready() || (selection && !selection->Ready())) return E_FAIL;
    const Weights weights = {vel::Kernels().Arithmetic(), firstFactor, secondFactor, offset};
    for (uint32_t y = 0; y < extent.height; ++y) {
        uint8_t* row = toRows.Open(y);
        const uint8_t* selected = selection ? selection->Row(y) : nullptr;
        if (mixed) {
            WeighMixed(row, step(to), aRows.Read(y), step(a), bRows.Read(y), step(b), selected,
                       selection ? &*selection : nullptr, width, weights);
        } else if (selection) {
            WeighMasked(row, aRows.Read(y), bRows.Read(y), selected, *selection, width, step(to), weights);
        } else {
            Weigh(row, aRows.Read(y), bRows.Read(y), width * step(to), weights);
        }
        toRows.Store(y);
    }
    return result;
}
