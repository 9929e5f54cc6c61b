#include "RowRuns.h"

#include <algorithm>
#include <cstring>

namespace vel {
namespace {

// The pixel block as offsets from the first byte of row 0.
struct Block {
    int64_t begin, end;
};

Block BlockOf(const ImageView& view) {
    if (view.Empty()) return {0, 0};
    const int64_t last = (int64_t{view.height} - 1) * view.stride;
    return {std::min<int64_t>(last, 0), std::max<int64_t>(last, 0) + static_cast<int64_t>(view.RowBytes())};
}

bool AllInside(const ImageView& view, size_t bytes, uint32_t rows, int64_t pitch) {
    if (rows == 0 || bytes == 0) return true;
    const Block block = BlockOf(view);
    const int64_t last = (int64_t{rows} - 1) * pitch;
    return std::min<int64_t>(last, 0) >= block.begin &&
           std::max<int64_t>(last, 0) + static_cast<int64_t>(bytes) <= block.end;
}

}  // namespace

RowRuns::RowRuns(const ImageView& view, size_t bytes, uint32_t rows, std::optional<int64_t> pitch)
    : m_view(view),
      m_pitch(pitch.value_or(view.stride)),
      m_bytes(bytes),
      m_direct(AllInside(view, bytes, rows, m_pitch)),
      m_buffer(m_direct ? ScratchBuffer() : ScratchBuffer(bytes)) {}

RowRuns::Inside RowRuns::InsideOf(int64_t y) const {
    const Block block = BlockOf(m_view);
    const int64_t start = y * m_pitch;
    const int64_t from = std::max(start, block.begin);
    const int64_t to = std::min(start + static_cast<int64_t>(m_bytes), block.end);
    return {from - start, from < to ? static_cast<size_t>(to - from) : 0};
}

uint8_t* RowRuns::LoadInside(int64_t y) {
    uint8_t* run = m_buffer.Data();
    std::memset(run, 0, m_bytes);
    const Inside inside = InsideOf(y);
    if (inside.bytes) std::memcpy(run + inside.skipped, m_view.bits + (y * m_pitch + inside.skipped), inside.bytes);
    return run;
}

void RowRuns::StoreInside(int64_t y) {
    const Inside inside = InsideOf(y);
    if (!inside.bytes) return;
    std::memcpy(m_view.bits + (y * m_pitch + inside.skipped), m_buffer.Data() + inside.skipped, inside.bytes);
}

bool Overlapping(const ImageView& a, const ImageView& b) {
    if (a.Empty() || b.Empty()) return false;
    const auto at = [](const uint8_t* byte) { return reinterpret_cast<uintptr_t>(byte); };
    return at(a.BlockBegin()) < at(b.BlockEnd()) && at(b.BlockBegin()) < at(a.BlockEnd());
}

}  // namespace vel
