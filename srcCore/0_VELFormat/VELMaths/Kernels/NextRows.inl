// See NextRows.h.

static constexpr size_t kLine = 64;  // of a cache

// Asks for the lines of the next rows that begin in bytes i to i + step - 1, taken from where i is 0. They go to the
// second-level cache: the first one is for what is at work. Always inlined, because g++ drops calls of a function that
// only prefetches: it has no result and no effect.
[[gnu::always_inline]] static inline void FetchNext(const NextRows& next, size_t i, size_t step) {
    if (i % kLine >= step) return;
    for (int j = 0; j < next.count; ++j) __builtin_prefetch(next.first + j * next.stride + i, 0, 2);
}

// One of them, for a kernel that makes one row after the other.
static inline NextRows NextRow(const NextRows& next, int y) {
    return {next.first + y * next.stride, 0, y < next.count ? 1 : 0};
}

// Asks for the lines two columns on, into the first-level cache, of rows that a kernel reads and writes column by
// column (vectors of `step` bytes at i): they are in the second one, but come back to each row too seldom for the
// processor to see it go on.
[[gnu::always_inline]] static inline void FetchOn(const uint8_t* row, size_t i, size_t step) {
    if (i % kLine < step) __builtin_prefetch(row + i + 2 * kLine, 0, 3);
}
[[gnu::always_inline]] static inline void FetchOnToWrite(uint8_t* row, size_t i, size_t step) {
    if (i % kLine < step) __builtin_prefetch(row + i + 2 * kLine, 1, 3);
}
