// Kernels of minima and maxima; see Morphology.h.

static inline uint8_t Lesser(uint8_t a, uint8_t b) { return a < b ? a : b; }
static inline uint8_t Greater(uint8_t a, uint8_t b) { return a > b ? a : b; }

static void MinRow(uint8_t* dst, const uint8_t* a, const uint8_t* b, size_t count) {
    for (size_t i = 0; i < count; ++i) dst[i] = Lesser(a[i], b[i]);
}

static void MaxRow(uint8_t* dst, const uint8_t* a, const uint8_t* b, size_t count) {
    for (size_t i = 0; i < count; ++i) dst[i] = Greater(a[i], b[i]);
}

static void SpreadRow(uint8_t* dst, const uint8_t* high, const uint8_t* low, size_t count) {
    for (size_t i = 0; i < count; ++i) dst[i] = static_cast<uint8_t>(high[i] - low[i]);
}

// One step of the contour rule: the neighbour takes the mark's place when its excess over the centre is greater than
// the mark itself, which is a neighbour's value and not an excess. So the order of the steps matters.
static inline uint8_t Marked(uint8_t mark, uint8_t neighbour, uint8_t centre) {
    const uint8_t excess = static_cast<uint8_t>(Greater(neighbour, centre) - centre);
    return excess > mark ? neighbour : mark;
}

static void ContourRow(uint8_t* dst, const uint8_t* above, const uint8_t* row, const uint8_t* below, size_t count,
                       size_t pixelBytes) {
    for (size_t i = 0; i < count; ++i) {
        const uint8_t centre = row[i];
        uint8_t mark = 0;
        for (ptrdiff_t at = -static_cast<ptrdiff_t>(pixelBytes); at <= static_cast<ptrdiff_t>(pixelBytes);
             at += static_cast<ptrdiff_t>(pixelBytes)) {
            const ptrdiff_t p = static_cast<ptrdiff_t>(i) + at;
            mark = Marked(mark, above[p], centre);
            mark = Marked(mark, row[p], centre);
            mark = Marked(mark, below[p], centre);
        }
        dst[i] = static_cast<uint8_t>(~mark);
    }
}
