#include "LastSample.h"

#include <cstring>

#include "Coefficients.h"
#include "Kernels/Kernels.h"

namespace vel {
namespace {

// The values of a walk without samples: each is the quotient of the one before, so at most 256 bytes pass before they
// repeat.
class CarriedValues {
public:
    explicit CarriedValues(const Quotient& quotient) {
        const auto& kernels = Kernels().Convolution();
        int seenAt[256];
        for (int& at : seenAt) at = -1;
        for (uint32_t value = 0;; ++m_count) {
            uint8_t next;
            kernels.QuotientRow(&next, &value, 1, quotient);
            if (seenAt[next] >= 0) {
                m_cycle = static_cast<uint64_t>(seenAt[next]);
                return;
            }
            seenAt[next] = static_cast<int>(m_count);
            m_values[m_count] = next;
            value = next;
        }
    }
    uint32_t At(uint64_t step) const {
        return m_values[step < m_count ? step : m_cycle + (step - m_cycle) % (m_count - m_cycle)];
    }

private:
    uint8_t m_values[256];
    uint64_t m_count = 0, m_cycle = 0;
};

uint8_t* ValueRow(const ImageView& view, int64_t y) { return view.bits + y * view.stride * 4; }

}  // namespace

void WeighLastSample(const ImageView& target, const ImageView& source, const short* kernel, int size, int divisor,
                     int offset) {
    const int64_t width = static_cast<int32_t>(source.width), height = static_cast<int32_t>(source.height);
    if (width <= 0 || height <= 0 || !target.bits) return;
    const int64_t half = size / 2;
    const Quotient quotient = QuotientFor(SumRange::Any(), divisor, offset);
    if (size < 1) {
        const CarriedValues values(quotient);
        const uint64_t walked = static_cast<uint64_t>(width - size);
        for (int64_t y = 0; y < height; ++y) {
            uint8_t* row = ValueRow(target, y);
            for (int64_t x = 0; x < width; ++x) {
                const uint32_t value =
                    values.At(static_cast<uint64_t>(y - half) * walked + static_cast<uint64_t>(x - half));
                std::memcpy(row + 4 * x, &value, sizeof value);
            }
        }
        return;
    }
    const auto& kernels = Kernels().Convolution();
    const uint32_t factor = source.bits ? static_cast<uint32_t>(kernel[int64_t{size} * size - 1]) : 0;
    for (int64_t y = 0; y < height - size; ++y) {
        const uint8_t* last = source.bits ? ValueRow(source, y + size - 1) + 4 * int64_t{size - 1} : nullptr;
        uint8_t* dst = ValueRow(target, y + half) + 4 * half;
        kernels.WeighRow(dst, last ? last : dst, static_cast<size_t>(width - size), factor, quotient);
    }
}

}  // namespace vel
