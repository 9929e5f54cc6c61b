#include "Neighbourhood.h"

#include <cstring>

#include "Kernels/Kernels.h"

namespace vel {
namespace {

int64_t Lesser(int64_t a, int64_t b) { return a < b ? a : b; }

bool HasPixels(const ImageView& image) {
    return static_cast<int32_t>(image.width) > 0 && static_cast<int32_t>(image.height) > 0;
}

void Fill(uint8_t* dst, uint32_t colour, int64_t samples, uint32_t sampleBytes) {
    if (sampleBytes == 1) {
        std::memset(dst, static_cast<int>(BlueOf(colour)), static_cast<size_t>(samples));
        return;
    }
    for (int64_t i = 0; i < samples; ++i, dst += sampleBytes) {
        dst[0] = static_cast<uint8_t>(BlueOf(colour));
        dst[1] = static_cast<uint8_t>(GreenOf(colour));
        dst[2] = static_cast<uint8_t>(RedOf(colour));
        if (sampleBytes == 4) dst[3] = static_cast<uint8_t>(AlphaOf(colour));
    }
}

}  // namespace

uint32_t SampleBytes(const ImageView& image) {
    if (image.Indexed()) return 1;
    const int32_t bits = static_cast<int32_t>(image.bitsPerPixel);
    return bits < 24 ? 0 : bits == 32 ? 4 : 3;
}

bool HasWork(const ImageView& source, const ImageView& target) {
    return HasPixels(source) && target.bits && SampleBytes(source) != 0;
}

uint64_t ArrayBytes(uint64_t count, uint64_t bytesEach) {
    uint64_t product = 0;
    return __builtin_mul_overflow(count, bytesEach, &product) ? ~uint64_t{0} : product;
}

Window Window::ClippedTo(const ImageView& image) const {
    const int64_t width = image.width, height = image.height;
    return {Lesser(left, width), Lesser(right, width), Lesser(above, height), Lesser(below, height)};
}

SampleRows::SampleRows(const ImageView& image, int64_t kept)
    : m_image(image),
      m_sampleBytes(SampleBytes(image)),
      m_outsideColour(image.Colour(-1, -1)),
      m_packed(image.bits && image.bitsPerPixel < 8),
      m_slots(m_packed ? Lesser(kept, image.height) : 0),
      m_outside(uint64_t{image.width} * m_sampleBytes),
      m_unpacked(ArrayBytes(static_cast<uint64_t>(m_slots), image.width)) {
    if (Ready()) FillOutside(m_outside.Data(), image.width);
}

const uint8_t* SampleRows::Row(int64_t y) {
    if (y < 0 || y >= m_image.height || !m_image.bits) return m_outside.Data();
    if (!m_packed) return m_image.Row(y);
    const auto slot = [&](int64_t row) { return m_unpacked.Data() + (row % m_slots) * m_image.width; };
    for (; m_next <= y; ++m_next) {
        Kernels().Samples().UnpackRow(slot(m_next), m_image.Row(m_next), m_image.width, m_image.bitsPerPixel);
    }
    return slot(y);
}

void SampleRows::CopyAlpha(uint8_t* dst, int64_t y, int64_t x, int64_t count) {
    const auto& kernels = Kernels().Samples();
    const int64_t inside = x >= m_image.width ? 0 : Lesser(count, m_image.width - x);
    kernels.CopyAlphaRow(dst, Row(y) + 4 * x, static_cast<size_t>(inside));
    kernels.CopyAlphaRow(dst + 4 * inside, m_outside.Data(), static_cast<size_t>(count - inside));
}

void SampleRows::CopySamples(uint8_t* dst, int64_t y, int64_t x, int64_t count) {
    const uint8_t* row = Row(y);
    for (; count > 0; --count, ++x, dst += m_sampleBytes) {
        const bool inside = x >= 0 && x < m_image.width;
        CopySample(dst, inside ? row + x * m_sampleBytes : m_outside.Data(), m_sampleBytes);
    }
}

NextRows SampleRows::Next(int64_t y, int64_t rows) const {
    const int64_t first = y < 0 ? 0 : y, last = Lesser(y + rows, m_image.height);
    if (m_packed || !m_image.bits || first >= last) return {nullptr, 0, 0};
    return {m_image.Row(first), m_image.stride, static_cast<int>(last - first)};
}

void SampleRows::FillOutside(uint8_t* dst, int64_t samples) const {
    Fill(dst, m_outsideColour, samples, m_sampleBytes);
}

PaddedRows::PaddedRows(const ImageView& image, const Window& window)
    : m_rows(image, 1),
      m_height(image.bits ? image.height : 0),
      m_before(static_cast<size_t>(window.left) * SampleBytes(image)),
      m_rowBytes(size_t{image.width} * SampleBytes(image)),
      m_pitch(static_cast<size_t>(window.left + image.width + window.right) * SampleBytes(image)),
      m_slots(Lesser(window.Rows(), m_height)),
      m_ring(ArrayBytes(static_cast<uint64_t>(m_slots), m_pitch)),
      m_outside(m_pitch) {
    if (!Ready()) return;
    const int64_t samples = window.left + image.width + window.right;
    m_rows.FillOutside(m_outside.Data(), samples);
    for (int64_t i = 0; i < m_slots; ++i) std::memcpy(Slot(i), m_outside.Data(), m_pitch);
}

const uint8_t* PaddedRows::Row(int64_t y) {
    if (y < 0 || y >= m_height) return m_outside.Data() + m_before;
    for (; m_next <= y; ++m_next) std::memcpy(Slot(m_next) + m_before, m_rows.Row(m_next), m_rowBytes);
    return Slot(y) + m_before;
}

SampleWriter::SampleWriter(const ImageView& target, int rows)
    : m_target(target),
      m_packed(target.bitsPerPixel < 8),
      m_rows(rows),
      m_rowBytes(int64_t{target.width} * SampleBytes(target)),
      m_scratch(m_packed || rows > 1 ? ArrayBytes(static_cast<uint64_t>(rows), static_cast<uint64_t>(m_rowBytes)) : 0) {
}

uint8_t* SampleWriter::Begin(int64_t y) { return m_packed || y >= m_target.height ? Scratch(y) : m_target.Row(y); }

void SampleWriter::End(int64_t y) {
    if (!m_packed || y >= m_target.height) return;
    Kernels().Samples().PackRow(m_target.Row(y), Scratch(y), m_target.width, m_target.bitsPerPixel);
}

HRESULT FillSamples(const ImageView& target, int value) {
    SampleWriter writer(target);
    if (!writer.Ready()) return E_FAIL;
    const uint32_t channel = static_cast<uint32_t>(value);
    for (int64_t y = 0; y < target.height; ++y) {
        Fill(writer.Begin(y), ColourWord(channel, channel, channel, 0), target.width, SampleBytes(target));
        writer.End(y);
    }
    return S_OK;
}

}  // namespace vel
