#include "Rank.h"

#include <cstring>

#include "Kernels/Kernels.h"
#include "SmallWindows.h"

namespace vel {
namespace {

// The rows of samples that a row of windows needs, and the brightness keys of the same, both from the windows' first
// column on. One row above them is still there.
class KeyedRows {
public:
    KeyedRows(const ImageView& image, const Window& window)
        : m_window(window),
          m_bytes(SampleBytes(image)),
          m_columns(image.width + window.Columns() - 1),
          m_next(-window.above),
          m_rows(image, {window.left, window.right, window.above + 1, window.below}),
          m_keys(m_bytes == 1 ? 0
                              : ArrayBytes(static_cast<uint64_t>(m_columns), static_cast<uint64_t>(window.Rows()) + 1)),
          m_pointers(ArrayBytes(static_cast<uint64_t>(window.Rows()), 2 * sizeof(uint8_t*))) {}
    bool Ready() const { return m_rows.Ready() && m_keys.Data() && m_pointers.Data(); }
    int64_t Columns() const { return m_columns; }
    const uint8_t* const* Keys() const { return m_pointers.As<const uint8_t*>(); }
    const uint8_t* const* Samples() const { return Keys() + m_window.Rows(); }

    // To the windows of row y; row by row.
    void MoveTo(int64_t y) {
        for (; m_bytes > 1 && m_next <= y + m_window.below; ++m_next) {
            Kernels().Rank().KeyRow(KeySlot(m_next), SampleRow(m_next), static_cast<size_t>(m_columns),
                                    static_cast<size_t>(m_bytes));
        }
        const uint8_t** keys = m_pointers.As<const uint8_t*>();
        // The last row first: it moves the others on.
        for (int64_t i = m_window.Rows(); i-- > 0;) {
            keys[m_window.Rows() + i] = SampleRow(y - m_window.above + i);
            keys[i] = KeyRow(y - m_window.above + i);
        }
    }
    // The keys that the last move left behind.
    const uint8_t* KeysLeft(int64_t y) { return KeyRow(y - m_window.above - 1); }

    uint8_t OutsideKey() const {
        const uint32_t colour = m_rows.OutsideColour();
        const uint8_t sample[3] = {static_cast<uint8_t>(BlueOf(colour)), static_cast<uint8_t>(GreenOf(colour)),
                                   static_cast<uint8_t>(RedOf(colour))};
        uint8_t key;
        Kernels().Rank().KeyRow(&key, sample, 1, 3);
        return key;
    }

private:
    const uint8_t* SampleRow(int64_t y) { return m_rows.Row(y) - m_window.left * m_bytes; }
    // A grey is its own key.
    const uint8_t* KeyRow(int64_t y) { return m_bytes == 1 ? SampleRow(y) : KeySlot(y); }
    uint8_t* KeySlot(int64_t y) const {
        return m_keys.Data() + (y + m_window.above + 1) % (m_window.Rows() + 1) * m_columns;
    }

    Window m_window;
    int64_t m_bytes, m_columns, m_next;
    PaddedRows m_rows;
    ScratchBuffer m_keys, m_pointers;
};

// Small windows: by comparing all their samples, many windows at a time.
HRESULT RankedMedians(const ImageView& target, const ImageView& source, const Window& window) {
    if (window.Columns() == 3 && SampleBytes(source) == 1) {
        const auto& kernels = Kernels().Rank();
        return MapWindows<1>(target, source,
                             [&](uint8_t* const* dst, const uint8_t* const* rows, int n, size_t, const NextRows& next,
                                 size_t count) { kernels.MedianGreyRows(dst, rows, n, next, count); });
    }
    KeyedRows rows(source, window);
    SampleWriter writer(target);
    if (!rows.Ready() || !writer.Ready()) return E_FAIL;
    for (int64_t y = 0; y < source.height; ++y) {
        rows.MoveTo(y);
        Kernels().Rank().MedianRow(writer.Begin(y), rows.Keys(), rows.Samples(), static_cast<size_t>(window.Rows()),
                                   source.width, SampleBytes(source));
        writer.End(y);
    }
    return S_OK;
}

// How often each key occurs, and each group of 16 keys.
struct KeyCounts {
    uint32_t of[kKeyCounts];

    void Add(uint8_t key, uint32_t count) {
        of[key] += count;
        of[kKeys + key / 16] += count;
    }
};

// Large windows: by counts of keys that slide along the row, made of counts for each column that slide down. The
// windows are clipped to the image and one sample around it; the samples further out only count, all of them with one
// key.
class CountedMedians {
public:
    // Of columns x to x + width - 1.
    CountedMedians(const ImageView& image, int64_t size, int64_t x, int64_t width)
        : m_x(x),
          m_width(width),
          m_bytes(SampleBytes(image)),
          m_full(Window::Square(size)),
          m_window(m_full.ClippedTo(image)),
          m_rank(static_cast<uint64_t>(size) * static_cast<uint64_t>(size) / 2),
          m_beyond(static_cast<uint64_t>(size) * static_cast<uint64_t>(size) -
                   static_cast<uint64_t>(m_window.Columns()) * static_cast<uint64_t>(m_window.Rows())),
          m_rows(image, m_window),
          m_counts(ArrayBytes(static_cast<uint64_t>(Columns()), sizeof(KeyCounts))) {}
    bool Ready() const { return m_rows.Ready() && m_counts.Data(); }

    // The part of row y, whose samples are at dst; row by row.
    void MakeRow(uint8_t* dst, int64_t y) {
        const auto& kernels = Kernels().Rank();
        m_rows.MoveTo(y);
        CountColumns(y);
        const int64_t columns = m_window.Columns();
        const KeyCounts none = {};
        KeyCounts counts = {};
        for (int64_t x = 0; x < columns; ++x) kernels.SlideCounts(counts.of, Column(x).of, none.of);
        for (int64_t x = 0; x < m_width; ++x, dst += m_bytes) {
            uint64_t rank = m_rank;
            const uint8_t key = MiddleKey(counts, &rank);
            if (m_bytes == 1) {
                *dst = key;
            } else {
                const Place place =
                    key == m_outsideKey && m_beyond ? WeightedPlace(x, key, rank) : PlaceOf(x, key, rank);
                const uint8_t* sample = m_rows.Samples()[place.row] + (m_x + x + place.column) * m_bytes;
                std::memcpy(dst, sample, static_cast<size_t>(m_bytes));
            }
            if (x + 1 < m_width) kernels.SlideCounts(counts.of, Column(x + columns).of, Column(x).of);
        }
    }

private:
    struct Place {
        int64_t column, row;  // in the clipped window
    };

    // Columns from the first window's first one on.
    int64_t Columns() const { return m_width + m_window.Columns() - 1; }
    KeyCounts& Column(int64_t x) const { return m_counts.As<KeyCounts>()[x]; }
    const uint8_t* Keys(int64_t row) const { return m_rows.Keys()[row] + m_x; }

    void CountColumns(int64_t y) {
        if (y == 0) {
            m_outsideKey = m_rows.OutsideKey();
            std::memset(m_counts.Data(), 0, static_cast<size_t>(Columns()) * sizeof(KeyCounts));
            for (int64_t row = 0; row < m_window.Rows(); ++row) {
                for (int64_t x = 0; x < Columns(); ++x) Column(x).Add(Keys(row)[x], 1);
            }
            return;
        }
        const uint8_t *left = m_rows.KeysLeft(y) + m_x, *added = Keys(m_window.Rows() - 1);
        for (int64_t x = 0; x < Columns(); ++x) {
            Column(x).Add(left[x], ~0u);
            Column(x).Add(added[x], 1);
        }
    }

    // The key on which *rank falls; *rank becomes how many of the same come before.
    uint8_t MiddleKey(const KeyCounts& counts, uint64_t* rank) const {
        if (m_beyond == 0 && m_rank < uint64_t{1} << 30) {
            uint32_t narrow = static_cast<uint32_t>(*rank);
            const uint8_t key = Kernels().Rank().KeyAtRank(counts.of, &narrow);
            *rank = narrow;
            return key;
        }
        for (uint32_t key = 0;; ++key) {
            const uint64_t count = counts.of[key] + (key == m_outsideKey ? m_beyond : 0);
            if (*rank < count) return static_cast<uint8_t>(key);
            *rank -= count;
        }
    }

    // The sample of that key that has `rank` others before it, column by column.
    Place PlaceOf(int64_t x, uint8_t key, uint64_t rank) const {
        int64_t column = 0;
        for (; rank >= Column(x + column).of[key]; ++column) rank -= Column(x + column).of[key];
        for (int64_t row = 0;; ++row) {
            if (Keys(row)[x + column] == key && rank-- == 0) return {column, row};
        }
    }
    // The same where the window's outermost columns and rows stand for those further out as well.
    Place WeightedPlace(int64_t x, uint8_t key, uint64_t rank) const {
        const auto weight = [](int64_t at, int64_t count, int64_t before, int64_t after) {
            return static_cast<uint64_t>(1 + (at == 0 ? before : 0) + (at == count - 1 ? after : 0));
        };
        for (int64_t column = 0; column < m_window.Columns(); ++column) {
            const uint64_t columnWeight =
                weight(column, m_window.Columns(), m_full.left - m_window.left, m_full.right - m_window.right);
            for (int64_t row = 0; row < m_window.Rows(); ++row) {
                if (Keys(row)[x + column] != key) continue;
                const uint64_t here = columnWeight * weight(row, m_window.Rows(), m_full.above - m_window.above,
                                                            m_full.below - m_window.below);
                if (rank < here) return {column, row};
                rank -= here;
            }
        }
        return {0, 0};
    }

    int64_t m_x, m_width, m_bytes;
    Window m_full, m_window;
    uint64_t m_rank;
    uint64_t m_beyond;  // samples beyond the clipped window
    KeyedRows m_rows;
    ScratchBuffer m_counts;  // for each column
    uint8_t m_outsideKey = 0;
};

}  // namespace

HRESULT MedianImage(const ImageView& target, const ImageView& source, int size) {
    const Window window = Window::Square(size), clipped = window.ClippedTo(source);
    const bool small = size <= static_cast<int>(kMostRanked);
    if (small && clipped.left == window.left && clipped.above == window.above) {
        return RankedMedians(target, source, window);
    }
    // Strips so narrow that the counts of their columns stay in the second-level cache, but much wider than the window.
    // Packed rows are written whole.
    constexpr int64_t kStrip = 256;
    const int64_t bytes = SampleBytes(source), wide = 4 * clipped.Columns();
    const int64_t strip = source.bitsPerPixel < 8 ? source.width : wide > kStrip ? wide : kStrip;
    SampleWriter writer(target);
    for (int64_t x = 0; x < source.width; x += strip) {
        CountedMedians medians(source, size, x, source.width - x < strip ? source.width - x : strip);
        if (!medians.Ready() || !writer.Ready()) return E_FAIL;
        for (int64_t y = 0; y < source.height; ++y) {
            medians.MakeRow(writer.Begin(y) + x * bytes, y);
            writer.End(y);
        }
    }
    return S_OK;
}

}  // namespace vel
