#include "Rank.h"

#include <cstring>

#include "Kernels/Kernels.h"
#include "Neighbourhood.h"

namespace vel {
namespace {

// Finds medians in windows of brightness keys that are clipped to the image and one sample around it; samples further
// out are not there but count, all of them with the outside key.
class MedianFinder {
public:
    MedianFinder(const ImageView& image, int size)
        : m_size(size), m_full(Window::Square(size)), m_window(m_full.ClippedTo(image)) {
        const uint64_t all = static_cast<uint64_t>(m_size * m_size);
        m_rank = all / 2;
        m_excess = all - static_cast<uint64_t>(m_window.Columns() * m_window.Rows());
    }
    const Window& Clipped() const { return m_window; }

    struct Position {
        int64_t column, row;  // in the clipped window
    };

    // keys[row] + x + column are the window's keys.
    Position Find(const uint8_t* const* keys, int64_t x, uint8_t outsideKey) const {
        uint64_t counts[256] = {};
        counts[outsideKey] = m_excess;
        for (int64_t row = 0; row < m_window.Rows(); ++row) {
            for (int64_t column = 0; column < m_window.Columns(); ++column) ++counts[keys[row][x + column]];
        }
        uint64_t rank = m_rank;
        uint32_t key = 0;
        while (rank >= counts[key]) rank -= counts[key++];
        for (int64_t column = 0; column < m_window.Columns(); ++column) {
            const uint64_t columnWeight =
                Weight(column, m_window.Columns(), m_full.left - m_window.left, m_full.right - m_window.right);
            for (int64_t row = 0; row < m_window.Rows(); ++row) {
                if (keys[row][x + column] != key) continue;
                const uint64_t weight = columnWeight * Weight(row, m_window.Rows(), m_full.above - m_window.above,
                                                              m_full.below - m_window.below);
                if (rank < weight) return {column, row};
                rank -= weight;
            }
        }
        return {0, 0};
    }

private:
    // How many columns (rows) of the full window the clipped window's first and last ones stand for.
    static uint64_t Weight(int64_t at, int64_t count, int64_t before, int64_t after) {
        return static_cast<uint64_t>(1 + (at == 0 ? before : 0) + (at == count - 1 ? after : 0));
    }

    int64_t m_size;
    Window m_full, m_window;
    uint64_t m_rank = 0, m_excess = 0;
};

}  // namespace

HRESULT MedianImage(const ImageView& target, const ImageView& source, int size) {
    const MedianFinder finder(source, size);
    const Window& window = finder.Clipped();
    PaddedRows rows(source, window);
    SampleWriter writer(target);
    const uint32_t bytes = SampleBytes(source);
    const int64_t columns = window.left + source.width + window.right, count = window.Rows();
    const ScratchBuffer keys(static_cast<uint64_t>(columns) * static_cast<uint64_t>(count));
    const ScratchBuffer pointers(static_cast<uint64_t>(count) * 2 * sizeof(uint8_t*));
    if (!rows.Ready() || !writer.Ready() || !keys.Data() || !pointers.Data()) return E_FAIL;
    const auto& kernels = Kernels().Rank();
    const auto keyRow = [&](int64_t y) { return keys.Data() + (y + window.above) % count * columns; };
    const auto load = [&](int64_t y) {
        kernels.KeyRow(keyRow(y), rows.Row(y) - window.left * bytes, static_cast<size_t>(columns), bytes);
    };
    const uint8_t** keyRows = pointers.As<const uint8_t*>();
    const uint8_t** sampleRows = keyRows + count;
    const uint32_t outside = rows.OutsideColour();
    const uint8_t outsideColour[3] = {static_cast<uint8_t>(BlueOf(outside)), static_cast<uint8_t>(GreenOf(outside)),
                                      static_cast<uint8_t>(RedOf(outside))};
    uint8_t outsideKey;
    kernels.KeyRow(&outsideKey, outsideColour, 1, bytes == 1 ? 1 : 3);
    for (int64_t y = -window.above; y < window.below; ++y) load(y);
    for (int64_t y = 0; y < source.height; ++y) {
        load(y + window.below);
        for (int64_t i = 0; i < count; ++i) {
            keyRows[i] = keyRow(y - window.above + i);
            sampleRows[i] = rows.Row(y - window.above + i) - window.left * bytes;
        }
        uint8_t* dst = writer.Begin(y);
        for (int64_t x = 0; x < source.width; ++x) {
            const MedianFinder::Position at = finder.Find(keyRows, x, outsideKey);
            std::memcpy(dst + x * bytes, sampleRows[at.row] + (x + at.column) * bytes, bytes);
        }
        writer.End(y);
    }
    return S_OK;
}

}  // namespace vel
