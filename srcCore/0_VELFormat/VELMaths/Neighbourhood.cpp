#include "Neighbourhood.h"

#include <cstring>

#include "Kernels/Kernels.h"

namespace vel {
namespace {

int64_t Lesser(int64_t a, int64_t b) { return a < b ? a : b; }

bool HasPixels(const ImageView& image) {
    return static_cast<int32_t>(image.width) > 0 && static_cast<int32_t>(image.height) > 0;
}

// Bytes of a scratch block; more than any memory holds when the product does not fit.
uint64_t Product(uint64_t a, uint64_t b) {
    uint64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? ~uint64_t{0} : product;
}

void Fill(uint8_t* dst, uint32_t colour, uint64_t samples, uint32_t sampleBytes) {
    if (sampleBytes == 1) {
        std::memset(dst, static_cast<int>(BlueOf(colour)), samples);
        return;
    }
    for (uint64_t i = 0; i < samples; ++i, dst += sampleBytes) {
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

Window Window::ClippedTo(const ImageView& image) const {
    const int64_t width = image.width, height = image.height;
    return {Lesser(left, width), Lesser(right, width), Lesser(above, height), Lesser(below, height)};
}

PaddedRows::PaddedRows(const ImageView& image, const Window& window)
    : m_image(image),
      m_window(window),
      m_sampleBytes(SampleBytes(image)),
      m_outsideColour(image.Colour(-1, -1)),
      m_before(kSlack + static_cast<size_t>(window.left) * m_sampleBytes),
      m_pitch(static_cast<size_t>(window.left + image.width + window.right) * m_sampleBytes + 2 * kSlack),
      m_slots(image.bits ? Lesser(window.Rows(), image.height) : 0),
      m_ring(Product(static_cast<uint64_t>(m_slots), m_pitch)),
      m_outside(m_pitch) {
    if (!Ready()) return;
    const uint64_t left = static_cast<uint64_t>(window.left), right = static_cast<uint64_t>(window.right);
    std::memset(m_outside.Data(), 0, m_pitch);
    Fill(m_outside.Data() + kSlack, m_outsideColour, left + image.width + right, m_sampleBytes);
    for (int64_t i = 0; i < m_slots; ++i) {
        std::memcpy(m_ring.Data() + static_cast<size_t>(i) * m_pitch, m_outside.Data(), m_pitch);
    }
}

const uint8_t* PaddedRows::Row(int64_t y) {
    if (y < 0 || y >= m_image.height || !m_image.bits) return m_outside.Data() + m_before;
    while (m_next <= y) Load(m_next++);
    return Slot(y);
}

void PaddedRows::Load(int64_t y) {
    const uint8_t* row = m_image.Row(y);
    if (m_image.bitsPerPixel < 8) {
        Kernels().Samples().UnpackRow(Slot(y), row, m_image.width, m_image.bitsPerPixel);
    } else {
        std::memcpy(Slot(y), row, size_t{m_image.width} * m_sampleBytes);
    }
}

SampleWriter::SampleWriter(const ImageView& target)
    : m_target(target), m_packed(target.bitsPerPixel < 8), m_row(m_packed ? target.width : 0) {}

void SampleWriter::End(int64_t y) {
    if (m_packed) Kernels().Samples().PackRow(m_target.Row(y), m_row.Data(), m_target.width, m_target.bitsPerPixel);
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
