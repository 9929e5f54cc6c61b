// See NextRows.h.

// Asks for the lines of the next rows that begin in bytes i to i + step - 1, taken from where i is 0. They go to the
// second-level cache: the first one is for what is at work. Always inlined, because g++ drops calls of a function that
// only prefetches: it has no result and no effect.
[[gnu::always_inline]] static inline void FetchNext(const NextRows& next, size_t i, size_t step) {
    constexpr size_t kLine = 64;
    if (i % kLine >= step) return;
    for (int j = 0; j < next.count; ++j) __builtin_prefetch(next.first + j * next.stride + i, 0, 2);
}

// One of them, for a kernel that makes one row after the other.
static inline NextRows NextRow(const NextRows& next, int y) {
    return {next.first + y * next.stride, 0, y < next.count ? 1 : 0};
}
