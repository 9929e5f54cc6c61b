// Scale and Scale8: linear maps of pixel values between integer, colour and 8-bit images.
#include <algorithm>

#include "Kernels/Kernels.h"
#include "OffsetScale.h"
#include "RowRuns.h"
#include "VELMathsImp.h"

using vel::ImageView;
using vel::RowRuns;
using vel::ViewOf;

namespace {

// How Scale limits a scaled byte.
enum class Range {
    None,     // the row does it
    Clamped,  // 0 to 255
    Floored,  // not below 0, without an upper limit; the low 8 bits are kept
};

struct Scaling {
    const vel::KernelSet& kernels;
    float factor, offset;
    uint8_t table[256];  // of a scaled byte, where a rule names a range
};

// One row: `mask` is null without one.
struct ScaledRow {
    uint8_t* dst;
    const uint8_t* src;
    const uint8_t* mask;
    size_t pixels;
};

using ScaleRow = void (*)(const Scaling& scaling, const ScaledRow& row);

// Rows that pass through bytes do it in parts that stay in the nearest cache.
constexpr size_t kPart = 4096;

template <class Work>
void InParts(size_t total, const Work& work) {
    for (size_t i = 0; i < total; i += kPart) work(i, std::min(kPart, total - i));
}

void IntTo8(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().ScaleIntTo8(row.dst, row.src, row.pixels, s.factor, s.offset);
}

void IntTo24(const Scaling& s, const ScaledRow& row) {
    uint8_t grey[kPart];
    InParts(row.pixels, [&](size_t i, size_t count) {
        s.kernels.Arithmetic().ScaleIntTo8(grey, row.src + 4 * i, count, s.factor, s.offset);
        s.kernels.Move().GreyTo24(row.dst + 3 * i, grey, count);
    });
}

void IntToColour32(const Scaling& s, const ScaledRow& row) {
    uint8_t grey[kPart];
    InParts(row.pixels, [&](size_t i, size_t count) {
        s.kernels.Arithmetic().ScaleIntTo8(grey, row.src + 4 * i, count, s.factor, s.offset);
        s.kernels.Arithmetic().GreyIntoRow32(row.dst + 4 * i, grey, count);
    });
}

void IntToInt(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().ScaleIntToInt(row.dst, row.src, row.pixels, s.factor, s.offset);
}

// As many bytes as the row has pixels, a third or a quarter of what it holds.
void FirstBytes(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().LookUpTo(row.dst, row.src, row.pixels, s.table);
}

// The first pixel only, whatever the width.
void FirstPixel(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().LookUpTo(row.dst, row.src, 3, s.table);
}

void Colour32To24(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().LookUpRow32To24(row.dst, row.src, row.pixels, s.table);
}

void Sum32To8(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().ScaleSumTo8(row.dst, row.src, row.pixels, 4, s.factor, s.offset);
}

void Sum24To8(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().ScaleSumTo8(row.dst, row.src, row.pixels, 3, s.factor, s.offset);
}

void ByteTo24(const Scaling& s, const ScaledRow& row) {
    uint8_t grey[kPart];
    InParts(row.pixels, [&](size_t i, size_t count) {
        s.kernels.Arithmetic().LookUpTo(grey, row.src + i, count, s.table);
        s.kernels.Move().GreyTo24(row.dst + 3 * i, grey, count);
    });
}

// The only row that minds a mask.
void ByteTo8(const Scaling& s, const ScaledRow& row) {
    if (!row.mask) {
        s.kernels.Arithmetic().LookUpTo(row.dst, row.src, row.pixels, s.table);
        return;
    }
    uint8_t scaled[kPart];
    InParts(row.pixels, [&](size_t i, size_t count) {
        s.kernels.Arithmetic().LookUpTo(scaled, row.src + i, count, s.table);
        s.kernels.Arithmetic().StoreMaskedRow(row.dst + i, scaled, row.mask + i, count, 1);
    });
}

void ByteToInt(const Scaling& s, const ScaledRow& row) {
    s.kernels.Arithmetic().ScaleByteToInt(row.dst, row.src, row.pixels, s.factor, s.offset);
}

enum class Code { Any, Mono, Other };

bool Matches(Code code, uint32_t format) {
    return code == Code::Any || (code == Code::Mono) == (format == FORMAT_MONO);
}

// The pairs that Scale knows; the first that matches is taken, and every other pair is refused.
struct ScaleRule {
    uint32_t sourceBits;
    Code source;
    uint32_t destinationBits;
    Code destination;
    ScaleRow row;
    Range range;
};

constexpr ScaleRule kScaleRules[] = {
    {32, Code::Mono, 24, Code::Any, IntTo24, Range::None},
    {32, Code::Mono, 8, Code::Any, IntTo8, Range::None},
    {32, Code::Mono, 32, Code::Mono, IntToInt, Range::None},
    {32, Code::Mono, 32, Code::Other, IntToColour32, Range::None},
    {32, Code::Other, 32, Code::Any, FirstBytes, Range::Floored},
    {32, Code::Other, 24, Code::Any, Colour32To24, Range::Clamped},
    {32, Code::Other, 8, Code::Any, Sum32To8, Range::None},
    {24, Code::Other, 32, Code::Any, FirstPixel, Range::Floored},
    {24, Code::Other, 24, Code::Any, FirstBytes, Range::Clamped},
    {24, Code::Other, 8, Code::Any, Sum24To8, Range::None},
    {8, Code::Any, 24, Code::Any, ByteTo24, Range::Clamped},
    {8, Code::Any, 8, Code::Any, ByteTo8, Range::Clamped},
    {8, Code::Any, 32, Code::Mono, ByteToInt, Range::None},
};

const ScaleRule* RuleOf(const ImageView& source, const ImageView& destination) {
    for (const ScaleRule& rule : kScaleRules) {
        if (rule.sourceBits == source.bitsPerPixel && rule.destinationBits == destination.bitsPerPixel &&
            Matches(rule.source, source.format) && Matches(rule.destination, destination.format)) {
            return &rule;
        }
    }
    return nullptr;
}

uint8_t ScaledByte(float value, Range range) {
    if (!(value > 0.0f)) return 0;  // NaN too
    if (range == Range::Clamped) return value < 255.0f ? static_cast<uint8_t>(value) : 255;
    // From 2^31 on a float is a multiple of 256.
    return value < 2147483648.0f ? static_cast<uint8_t>(static_cast<uint32_t>(value)) : 0;
}

}  // namespace

HRESULT CVELMaths::Scale(IVEL* destination, IVEL* source, IVEL* mask, float factor, float offset) {
    if (!destination || !source) return E_INVALIDARG;
    const ImageView from = ViewOf(source), to = ViewOf(destination);
    const ScaleRule* rule = RuleOf(from, to);
    if (!rule) return E_FAIL;
    const uint32_t width = std::min(from.width, to.width), height = std::min(from.height, to.height);
    Scaling scaling = {vel::Kernels(), factor, offset, {}};
    if (rule->range != Range::None) {
        for (int i = 0; i < 256; ++i) {
            scaling.table[i] = ScaledByte(static_cast<float>(i) * factor + offset, rule->range);
        }
    }
    // From 8 to 8 bits only plane 0 is scaled.
    const bool bytes = from.bitsPerPixel == 8 && to.bitsPerPixel == 8;
    const uint32_t planes = bytes ? std::min(from.planes, 1u) : from.planes;
    const ImageView maskView = bytes && mask ? ViewOf(mask) : ImageView{};
    RowRuns maskRows(maskView, width, bytes && mask ? height : 0);
    if (!maskRows.Ready()) return E_FAIL;
    for (uint32_t p = 0; p < planes; ++p) {
        const ImageView src = ViewOf(source, p), dst = ViewOf(destination, p);
        if (src.Empty() || dst.Empty()) continue;
        for (uint32_t y = 0; y < height; ++y) {
            rule->row(scaling, {dst.Row(y), src.Row(y), bytes && mask ? maskRows.Read(y) : nullptr, width});
        }
    }
    return S_OK;
}

namespace {

// Pixels from which on a cheaper scale is worth looking for.
constexpr uint64_t kLargeImage = 1 << 16;

}  // namespace

HRESULT CVELMaths::Scale8(IVELImage* destination, IVEL* source, int offset, double factor) {
    if (!destination || !source) return E_INVALIDARG;
    const ImageView model = ViewOf(source);
    if (model.format != FORMAT_MONO) return E_NOTMONOCHROME;
    destination->Create(model.width, model.height, model.planes, 8, FORMAT_MONO);
    // An 8-bit source is not copied; below 8 bits there is no pitch.
    if (model.bitsPerPixel == 8 || model.PixelBytes() == 0) return S_OK;
    const auto& kernels = vel::Kernels().Arithmetic();
    const bool large = uint64_t{model.width} * model.height >= kLargeImage;
    const vel::OffsetScale scale = vel::OffsetScaleOf(factor, offset, large);
    for (uint32_t p = 0; p < model.planes; ++p) {
        const ImageView to = ViewOf(destination, p);
        const ImageView from = ViewOf(source, p);
        if (from.Empty() || to.Empty()) continue;
        // Words, whatever the depth, and rows stride / PixelBytes() words apart: right at 32 bits.
        const int64_t pitch = int64_t{from.stride / static_cast<int32_t>(model.PixelBytes())} * 4;
        RowRuns words(from, size_t{model.width} * 4, model.height, pitch);
        RowRuns bytes(to, model.width, model.height);
        if (!words.Ready() || !bytes.Ready()) return E_FAIL;
        for (uint32_t y = 0; y < model.height; ++y) {
            kernels.ScaleOffsetIntTo8(bytes.Open(y), words.Read(y), model.width, &scale);
            bytes.Store(y);
        }
    }
    return S_OK;
}
