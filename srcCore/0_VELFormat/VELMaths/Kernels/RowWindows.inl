// Windows along rows at avx512. Vectors of a row are made from its columns once each, one after the other, and windows
// take what lies to the left and right from the vectors beside theirs: a permute costs less than a load that is not
// aligned, which counts as two.

struct WholeLoad {
    Bytes operator()(const uint8_t* p) const { return LoadBytes(p); }
};
struct PartLoad {
    __mmask64 bytes;
    Bytes operator()(const uint8_t* p) const { return _mm512_maskz_loadu_epi8(bytes, p); }
};

// The bytes of places i to i + 63 that lie between `low` and `high`.
static inline __mmask64 BytesBetween(ptrdiff_t i, ptrdiff_t low, ptrdiff_t high) {
    if (i + 64 <= low || i >= high) return 0;
    const __mmask64 fromLow = i < low ? ~0ull << (low - i) : ~0ull;
    return i + 64 > high ? fromLow & ~0ull >> (i + 64 - high) : fromLow;
}

// Makes `count` bytes of dst: column(load, i) brings together the rows' columns at places i to i + 63, by load(row +
// i); finish(load, before, here, after, i) makes the results from three neighbouring ones, and may load as many bytes
// from other places. Rows are readable `reach` bytes before and after, at most 64; beyond that, loads give 0. Places
// are multiples of `unit`, a power of 2, and aligned in dst as far as that allows.
template <size_t unit, class Column, class Finish>
[[gnu::always_inline]] static inline void WalkRow(uint8_t* dst, size_t count, size_t reach, const NextRows& next,
                                                  Column column, Finish finish) {
    const auto end = static_cast<ptrdiff_t>(count), low = -static_cast<ptrdiff_t>(reach), high = end - low;
    ptrdiff_t i = -static_cast<ptrdiff_t>(reinterpret_cast<uintptr_t>(dst) % 64 / unit * unit);
    const auto part = [&](ptrdiff_t at) __attribute__((always_inline)) {
        return column(PartLoad{BytesBetween(at, low, high)}, at);
    };
    auto before = part(i - 64), here = part(i);
    const auto partly = [&]() __attribute__((always_inline)) {
        const auto after = part(i + 64);
        const __mmask64 stored = BytesBetween(i, 0, end);
        _mm512_mask_storeu_epi8(dst + i, stored, finish(PartLoad{stored}, before, here, after, i));
        before = here;
        here = after;
        i += 64;
    };
    partly();
    for (; i + 128 <= high; i += 64) {
        FetchNext(next, static_cast<size_t>(i), 64);
        const auto after = column(WholeLoad{}, i + 64);
        StoreBytes(dst + i, finish(WholeLoad{}, before, here, after, i));
        before = here;
        here = after;
    }
    while (i < end) partly();
}

// A vector's bytes from `by` (1 to 64) places to the left or right, the rest from the vector there.
struct BesidePlaces {
    Bytes left, right;
    explicit BesidePlaces(size_t by) {
        uint8_t own[64];
        for (int i = 0; i < 64; ++i) own[i] = static_cast<uint8_t>(i);
        right = _mm512_add_epi8(LoadBytes(own), Splat8(static_cast<int>(by)));
        left = _mm512_sub_epi8(_mm512_add_epi8(LoadBytes(own), Splat8(64)), Splat8(static_cast<int>(by)));
    }
    Bytes Left(Bytes before, Bytes here) const { return _mm512_permutex2var_epi8(before, left, here); }
    Bytes Right(Bytes here, Bytes after) const { return _mm512_permutex2var_epi8(here, right, after); }
};
