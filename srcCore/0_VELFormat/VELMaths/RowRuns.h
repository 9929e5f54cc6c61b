// Rows of a plane as runs of bytes of a length and pitch that the operation states, whatever the image really holds.
//
// Where every run lies inside the pixel block, rows are handed out as they are. Otherwise a run passes through a
// buffer: what lies outside the block reads as 0 and is not written.
#pragma once

#include <optional>

#include "VELMathsHelpers.h"

namespace vel {

class RowRuns {
public:
    // `bytes` of each of `rows` rows that start `pitch` bytes apart, or the view's stride.
    RowRuns(const ImageView& view, size_t bytes, uint32_t rows, std::optional<int64_t> pitch = {});

    // False when there was no memory for the buffer.
    // Clang's analyzer does not see the constructor at work inside a std::optional.
    bool Ready() const { return m_direct || m_buffer.Data(); }  // NOLINT(clang-analyzer-core.uninitialized.Branch)
    bool Empty() const { return m_view.Empty(); }

    // The run of row y, to be read until the next call.
    const uint8_t* Read(int64_t y) { return Load(y); }
    // The run of row y, to be changed and then given to Store.
    uint8_t* Open(int64_t y) { return Load(y); }
    void Store(int64_t y) {
        if (!m_direct) StoreInside(y);
    }

private:
    // The part of a run that the pixel block holds.
    struct Inside {
        int64_t skipped;  // bytes of the run before that part
        size_t bytes;
    };
    Inside InsideOf(int64_t y) const;
    uint8_t* Load(int64_t y) { return m_direct ? m_view.bits + y * m_pitch : LoadInside(y); }
    uint8_t* LoadInside(int64_t y);
    void StoreInside(int64_t y);

    ImageView m_view;
    int64_t m_pitch;
    size_t m_bytes;
    bool m_direct;
    ScratchBuffer m_buffer;
};

// True when the pixel blocks of the two have a byte in common.
bool Overlapping(const ImageView& a, const ImageView& b);

}  // namespace vel
