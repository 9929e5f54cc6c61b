#include "Convolution.h"

#include <cstring>

#include "Kernels/Kernels.h"
#include "Neighbourhood.h"

namespace vel {
namespace {

// The coefficients that a window clipped to the image needs: those that only ever meet the outside are summed into
// the outermost ones. Sums wrap.
void FoldCoefficients(uint32_t* folded, const Window& clipped, const int* kernel, int size) {
    const Window full = Window::Square(size);
    std::memset(folded, 0, static_cast<size_t>(clipped.Columns() * clipped.Rows()) * sizeof *folded);
    const auto place = [](int64_t offset, int64_t before, int64_t after) {
        return (offset < -before ? -before : offset > after ? after : offset) + before;
    };
    for (int64_t dy = -full.above; dy <= full.below; ++dy) {
        uint32_t* row = folded + place(dy, clipped.above, clipped.below) * clipped.Columns();
        for (int64_t dx = -full.left; dx <= full.right; ++dx) {
            row[place(dx, clipped.left, clipped.right)] += static_cast<uint32_t>(*kernel++);
        }
    }
}

uint64_t Magnitude(int64_t value) { return static_cast<uint64_t>(value < 0 ? -value : value); }

// greatest: the greatest magnitude that a sum can have.
Quotient QuotientFor(uint64_t greatest, int divisor, int offset) {
    const double magnitude = static_cast<double>(Magnitude(divisor));
    return {divisor < 0 ? ~0u : 0u, offset, magnitude > 1,
            greatest<uint64_t{1} << 22, magnitude> 1 ? 1.0 / magnitude : 1.0};
}

uint64_t GreatestSum(const uint32_t* coefficients, int64_t count) {
    uint64_t sum = 0;
    for (int64_t i = 0; i < count; ++i) sum += 255 * Magnitude(static_cast<int32_t>(coefficients[i]));
    return sum;
}

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

HRESULT ConvolveImage(const ImageView& target, const ImageView& source, const int* kernel, int size, int divisor,
                      int offset) {
    const Window window = Window::Square(size).ClippedTo(source);
    const int64_t columns = window.Columns(), count = columns * window.Rows();
    const uint32_t bytes = SampleBytes(source);
    const size_t rowBytes = size_t{source.width} * bytes;
    PaddedRows rows(source, window);
    SampleWriter writer(target);
    const ScratchBuffer folded(static_cast<uint64_t>(count) * sizeof(uint32_t)), sums(rowBytes * sizeof(uint32_t));
    if (!rows.Ready() || !writer.Ready() || !folded.Data() || !sums.Data()) return E_FAIL;
    uint32_t* coefficients = folded.As<uint32_t>();
    FoldCoefficients(coefficients, window, kernel, size);
    const Quotient quotient = QuotientFor(GreatestSum(coefficients, count), divisor, offset);
    const auto& kernels = Kernels().Convolution();
    for (int64_t y = 0; y < source.height; ++y) {
        std::memset(sums.Data(), 0, rowBytes * sizeof(uint32_t));
        const uint32_t* coefficient = coefficients;
        for (int64_t dy = -window.above; dy <= window.below; ++dy) {
            const uint8_t* row = rows.Row(y + dy);
            for (int64_t dx = -window.left; dx <= window.right; ++dx, ++coefficient) {
                if (*coefficient) kernels.AddScaledRow(sums.As<uint32_t>(), row + dx * bytes, rowBytes, *coefficient);
            }
        }
        uint8_t* dst = writer.Begin(y);
        kernels.QuotientRow(dst, sums.As<uint32_t>(), rowBytes, quotient);
        if (bytes == 4)
            Kernels().Samples().CopyAlphaRow(dst, rows.Row(y + window.below) + window.right * 4, source.width);
        writer.End(y);
    }
    return S_OK;
}

void WeighLastSample(const ImageView& target, const ImageView& source, const short* kernel, int size, int divisor,
                     int offset) {
    const int64_t width = static_cast<int32_t>(source.width), height = static_cast<int32_t>(source.height);
    if (width <= 0 || height <= 0 || !target.bits) return;
    const int64_t half = size / 2;
    const Quotient quotient = QuotientFor(~uint64_t{0}, divisor, offset);
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
