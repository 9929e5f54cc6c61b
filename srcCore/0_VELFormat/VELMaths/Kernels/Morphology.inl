// Kernels of minima and maxima; see Morphology.h.

static inline uint8_t Lesser(uint8_t a, uint8_t b) { return a < b ? a : b; }
static inline uint8_t Greater(uint8_t a, uint8_t b) { return a > b ? a : b; }
static inline uint8_t Difference(uint8_t a, uint8_t b) { return static_cast<uint8_t>(a - b); }
static inline void Load(uint8_t& v, const uint8_t* p) { v = *p; }
static inline void Store(uint8_t* p, uint8_t v) { *p = v; }

#if VEL_VECTOR
static inline Bytes Lesser(Bytes a, Bytes b) { return Min8(a, b); }
static inline Bytes Greater(Bytes a, Bytes b) { return Max8(a, b); }
static inline Bytes Difference(Bytes a, Bytes b) { return VEL_BYTES_OP(sub_epi8)(a, b); }
static inline void Load(Bytes& v, const uint8_t* p) { v = LoadBytes(p); }
static inline void Store(uint8_t* p, Bytes v) { StoreBytes(p, v); }
#endif

// n rows, and their extremes at one place; T is a byte or a vector of bytes.
template <int n>
struct Rows {
    const uint8_t* row[n];
    explicit Rows(const uint8_t* const* rows) {
        for (int j = 0; j < n; ++j) row[j] = rows[j];
    }
    template <class T>
    void Extremes(T& least, T& greatest, size_t i) const {
        Load(least, row[0] + i);
        greatest = least;
        for (int j = 1; j < n; ++j) {
            T value;
            Load(value, row[j] + i);
            least = Lesser(least, value);
            greatest = Greater(greatest, value);
        }
    }
    template <class T>
    T Least(size_t i) const {
        T least, unused;
        Extremes(least, unused, i);
        return least;
    }
    template <class T>
    T Greatest(size_t i) const {
        T unused, greatest;
        Extremes(unused, greatest, i);
        return greatest;
    }
};

// Takes step.operator()<T>(i) to every place of a row: by whole vectors, of which the last may overlap the one before,
// since no destination is a source; byte by byte where the row is shorter than a vector.
template <class Step>
static inline void ForPlaces(size_t count, Step step) {
#if VEL_VECTOR
    if (count >= kVectorBytes) {
        size_t i = 0;
        for (; i + kVectorBytes <= count; i += kVectorBytes) step.template operator()<Bytes>(i);
        if (i < count) step.template operator()<Bytes>(count - kVectorBytes);
        return;
    }
#endif
    for (size_t i = 0; i < count; ++i) step.template operator()<uint8_t>(i);
}

// The same, with vectors that lie aligned in dst and begin at multiples of `unit`; see ForVectors.
template <class Step>
static inline void ForAlignedPlaces([[maybe_unused]] const uint8_t* dst, size_t count, [[maybe_unused]] size_t unit,
                                    Step step) {
#if VEL_VECTOR
    if (count >= kVectorBytes) {
        return ForVectors(dst, count, unit, [=](size_t i) { step.template operator()<Bytes>(i); });
    }
#endif
    for (size_t i = 0; i < count; ++i) step.template operator()<uint8_t>(i);
}

// Calls body.operator()<n>(), so that the loops over rows are unrolled.
template <class Body>
static inline void WithRows(int n, Body body) {
    static_assert(kMostRows == 5);
    switch (n) {
        case 1: body.template operator()<1>(); break;
        case 2: body.template operator()<2>(); break;
        case 3: body.template operator()<3>(); break;
        case 4: body.template operator()<4>(); break;
        default: body.template operator()<5>(); break;
    }
}

static void LeastOfRows(uint8_t* dst, const uint8_t* const* rows, int n, size_t count) {
    WithRows(n, [=]<int known>() {
        const Rows<known> all(rows);
        ForPlaces(count, [=]<class T>(size_t i) { Store(dst + i, all.template Least<T>(i)); });
    });
}

static void GreatestOfRows(uint8_t* dst, const uint8_t* const* rows, int n, size_t count) {
    WithRows(n, [=]<int known>() {
        const Rows<known> all(rows);
        ForPlaces(count, [=]<class T>(size_t i) { Store(dst + i, all.template Greatest<T>(i)); });
    });
}

// The rows before the last one of the first window are each in some windows only; the extremes from each of them on
// wait in registers while the window moves down. So `windows` windows cost windows + run - 1 reads.
template <int windows, class T, class Pick>
static inline void WindowsAt(uint8_t* const* dst, const uint8_t* const* rows, size_t run, size_t i, Pick pick) {
    T from[windows], value;
    for (int w = windows - 2; w >= 0; --w) {
        Load(from[w], rows[w] + i);
        if (w < windows - 2) from[w] = pick(from[w], from[w + 1]);
    }
    T common;
    Load(common, rows[windows - 1] + i);
    for (size_t j = windows; j < run; ++j) {
        Load(value, rows[j] + i);
        common = pick(common, value);
    }
    for (int w = 0; w < windows - 1; ++w) {
        Store(dst[w] + i, pick(from[w], common));
        Load(value, rows[run + static_cast<size_t>(w)] + i);
        common = pick(common, value);
    }
    Store(dst[windows - 1] + i, common);
}

template <class Body>
static inline void WithWindows(int windows, Body body) {
    static_assert(kMostWindows == 16);
    switch (windows) {
        case 1: body.template operator()<1>(); break;
        case 2: body.template operator()<2>(); break;
        case 4: body.template operator()<4>(); break;
        case 8: body.template operator()<8>(); break;
        default: body.template operator()<16>(); break;
    }
}

static void ExtremesOfWindows(uint8_t* const* low, uint8_t* const* high, const uint8_t* const* rows, int windows,
                              size_t run, const NextRows& next, size_t count) {
    const NextRows fetched = next;
    WithWindows(windows, [=]<int known>() {
        ForPlaces(count, [=]<class T>(size_t i) {
            FetchNext(fetched, i, sizeof(T));
            if (low) WindowsAt<known, T>(low, rows, run, i, [](T a, T b) { return Lesser(a, b); });
            if (high) WindowsAt<known, T>(high, rows, run, i, [](T a, T b) { return Greater(a, b); });
        });
    });
}

static void SpreadOfRows(uint8_t* dst, const uint8_t* const* lows, const uint8_t* const* highs, int n, size_t count) {
    WithRows(n, [=]<int known>() {
        const Rows<known> low(lows), high(highs);
        ForPlaces(count, [=]<class T>(size_t i) {
            Store(dst + i, Difference(high.template Greatest<T>(i), low.template Least<T>(i)));
        });
    });
}

static inline uint8_t Complement(uint8_t v) { return static_cast<uint8_t>(~v); }

#if VEL_AVX512
// Runs are doubled in registers: the extremes of 2 bytes, of those 4, and so on, the last time by less. Each time a
// vector meets itself shifted by some bytes, which brings in bytes of the vector to its right; vectors are taken from
// the row's end, so that one is at hand.
constexpr int kMostShifts = 7;
constexpr size_t kFarthestShift = 64;

struct Shifts {
    int count = 0;
    size_t covered = 1;
    uint8_t bytes[kMostShifts];
    Shifts(size_t run, size_t step) {
        while (covered < run && count < kMostShifts) {
            const size_t by = run - covered < covered ? run - covered : covered;
            if (by * step > kFarthestShift) break;
            bytes[count++] = static_cast<uint8_t>(by * step);
            covered += by;
        }
    }
};

template <int n>
struct ShiftPlaces {
    Bytes place[n];  // byte i of a vector shifted, as a place in the pair of it and the vector to its right
    explicit ShiftPlaces(const Shifts& shifts) {
        uint8_t own[64];
        for (int i = 0; i < 64; ++i) own[i] = static_cast<uint8_t>(i);
        const Bytes unshifted = LoadBytes(own);
        for (int k = 0; k < n; ++k) place[k] = _mm512_add_epi8(unshifted, Splat8(shifts.bytes[k]));
    }
};

struct PickLesser {
    static Bytes Of(Bytes a, Bytes b) { return Lesser(a, b); }
};
struct PickGreater {
    static Bytes Of(Bytes a, Bytes b) { return Greater(a, b); }
};

// The row `src`, from its end; Next() is the run's extremes at the vector before.
template <int n, class Pick>
struct BackwardRuns {
    const uint8_t* src;
    size_t bytes;
    Bytes right[n];
    BackwardRuns(const uint8_t* row, size_t rowBytes) : src(row), bytes(rowBytes) {
        for (int k = 0; k < n; ++k) right[k] = Splat8(0);
    }
    Bytes At(size_t i, const ShiftPlaces<n>& places) {
        Bytes v = i + 64 <= bytes ? LoadBytes(src + i) : _mm512_maskz_loadu_epi8(FirstBytes(bytes - i), src + i);
        for (int k = 0; k < n; ++k) {
            const Bytes shifted = _mm512_permutex2var_epi8(v, places.place[k], right[k]);
            right[k] = v;
            v = Pick::Of(v, shifted);
        }
        return v;
    }
};

static inline void StoreFirst(uint8_t* dst, size_t i, size_t count, Bytes v) {
    if (i + 64 <= count) {
        StoreBytes(dst + i, v);
    } else if (i < count) {
        _mm512_mask_storeu_epi8(dst + i, FirstBytes(count - i), v);
    }
}

template <class Body>
static inline void WithShifts(int n, Body body) {
    static_assert(kMostShifts == 7);
    switch (n) {
        case 1: body.template operator()<1>(); break;
        case 2: body.template operator()<2>(); break;
        case 3: body.template operator()<3>(); break;
        case 4: body.template operator()<4>(); break;
        case 5: body.template operator()<5>(); break;
        case 6: body.template operator()<6>(); break;
        case 7: body.template operator()<7>(); break;
        default: break;
    }
}

template <class Pick>
static void ExtremesOfRuns(uint8_t* dst, const uint8_t* src, size_t run, size_t step, size_t count) {
    const Shifts shifts(run, step);
    const size_t bytes = count + (run - 1) * step;
    WithShifts(shifts.count, [=, &shifts]<int n>() {
        const ShiftPlaces<n> places(shifts);
        BackwardRuns<n, Pick> runs(src, bytes);
        for (size_t i = (bytes + 63) / 64 * 64; i > 0;) {
            i -= 64;
            StoreFirst(dst, i, count, runs.At(i, places));
        }
    });
}
#endif

static size_t CoveredRun(size_t run, size_t step) {
#if VEL_AVX512
    return Shifts(run, step).covered;
#else
    (void)step;
    return run <= kMostRows ? run : kMostRows - 1;
#endif
}

// Views of a row, each a step further.
struct ShiftedRows {
    const uint8_t* row[kMostRows];
    ShiftedRows(const uint8_t* src, size_t run, size_t step) {
        for (size_t j = 0; j < run; ++j) row[j] = src + j * step;
    }
};

static void LeastOfRuns(uint8_t* dst, const uint8_t* src, size_t run, size_t step, size_t count) {
#if VEL_AVX512
    if (run > 1) return ExtremesOfRuns<PickLesser>(dst, src, run, step, count);
#endif
    LeastOfRows(dst, ShiftedRows(src, run, step).row, static_cast<int>(run), count);
}

static void GreatestOfRuns(uint8_t* dst, const uint8_t* src, size_t run, size_t step, size_t count) {
#if VEL_AVX512
    if (run > 1) return ExtremesOfRuns<PickGreater>(dst, src, run, step, count);
#endif
    GreatestOfRows(dst, ShiftedRows(src, run, step).row, static_cast<int>(run), count);
}

static void SpreadOfRuns(uint8_t* dst, const uint8_t* low, const uint8_t* high, size_t run, size_t step, size_t count) {
#if VEL_AVX512
    const Shifts shifts(run, step);
    const size_t bytes = count + (run - 1) * step;
    if (run > 1) {
        WithShifts(shifts.count, [=, &shifts]<int n>() {
            const ShiftPlaces<n> places(shifts);
            BackwardRuns<n, PickLesser> lows(low, bytes);
            BackwardRuns<n, PickGreater> highs(high, bytes);
            for (size_t i = (bytes + 63) / 64 * 64; i > 0;) {
                i -= 64;
                StoreFirst(dst, i, count, Difference(highs.At(i, places), lows.At(i, places)));
            }
        });
        return;
    }
#endif
    const int n = static_cast<int>(run);
    SpreadOfRows(dst, ShiftedRows(low, run, step).row, ShiftedRows(high, run, step).row, n, count);
}

// One step of the contour rule: the neighbour takes the mark's place when its excess over the centre is greater than
// the mark itself, which is a neighbour's value and not an excess. So the order of the steps matters.
static inline uint8_t Marked(uint8_t mark, uint8_t neighbour, uint8_t centre) {
    return Greater(neighbour, centre) - centre > mark ? neighbour : mark;
}
#if VEL_VECTOR
static inline Bytes Complement(Bytes v) { return Xor(v, Splat8(-1)); }
static inline Bytes Marked(Bytes mark, Bytes neighbour, Bytes centre) {
    const Bytes excess = SubtractSaturated(neighbour, centre);
#if VEL_AVX512
    return _mm512_mask_mov_epi8(mark, _mm512_cmpgt_epu8_mask(excess, mark), neighbour);
#else
    // Where the excess is not above the mark, their difference is 0. Where it is, so is the neighbour.
    const Bytes kept = VEL_BYTES_OP(cmpeq_epi8)(SubtractSaturated(excess, mark), Splat8(0));
    return Greater(mark, SubtractSaturated(neighbour, kept));
#endif
}
#endif

// Pixels of four bytes: the fourth comes from another one.
static inline uint8_t WithAlpha(uint8_t colour, uint8_t other, size_t i) { return i % 4 == 3 ? other : colour; }
#if VEL_VECTOR
static inline Bytes WithAlpha(Bytes colours, Bytes others, size_t) { return WithAlphaOf(colours, others); }
#endif

#if VEL_AVX512
// Extremes of a vector's columns.
struct ColumnExtremes {
    Bytes least, greatest;
};

// Extremes of squares along one row after the other. The square's last sample gives the alpha.
template <int size, bool low, bool high, bool alpha>
static inline void ExtremesOfSquares(uint8_t* const* dst, const uint8_t* const* rows, int n, size_t step,
                                     const NextRows& next, size_t count) {
    constexpr int radius = size / 2;
    const size_t reach = radius * step;
    const BesidePlaces nearest(step), farthest(reach);
    for (int y = 0; y < n; ++y) {
        const Rows<size> around(rows + y);
        const auto column = [=](auto load, ptrdiff_t i) __attribute__((always_inline)) {
            ColumnExtremes of;
            of.least = of.greatest = load(around.row[0] + i);
            for (int j = 1; j < size; ++j) {
                const Bytes value = load(around.row[j] + i);
                if (low) of.least = Lesser(of.least, value);
                if (high) of.greatest = Greater(of.greatest, value);
            }
            return of;
        };
        const auto finish = [=](auto load, const ColumnExtremes& before, const ColumnExtremes& here,
                                const ColumnExtremes& after, ptrdiff_t i) __attribute__((always_inline)) {
            Bytes least = here.least, greatest = here.greatest;
            const auto add = [&](const BesidePlaces& beside) __attribute__((always_inline)) {
                if (low) least = Lesser(least, beside.Left(before.least, here.least));
                if (low) least = Lesser(least, beside.Right(here.least, after.least));
                if (high) greatest = Greater(greatest, beside.Left(before.greatest, here.greatest));
                if (high) greatest = Greater(greatest, beside.Right(here.greatest, after.greatest));
            };
            add(nearest);
            if (radius == 2) add(farthest);
            const Bytes result = !high ? least : !low ? greatest : Difference(greatest, least);
            return alpha ? WithAlphaOf(result, load(around.row[size - 1] + i + reach)) : result;
        };
        WalkRow<alpha ? 4 : 1>(dst[y], count, reach, NextRow(next, y), column, finish);
    }
}

template <int size, bool low, bool high>
static inline void ExtremesOfSquares(uint8_t* const* dst, const uint8_t* const* rows, int n, size_t step,
                                     const NextRows& next, size_t count) {
    if (step == 4) {
        ExtremesOfSquares<size, low, high, true>(dst, rows, n, 4, next, count);
    } else {
        ExtremesOfSquares<size, low, high, false>(dst, rows, n, step, next, count);
    }
}
#else
// The extreme of the last `size` values put, from the extremes of pairs of them.
template <int size, class T, T (*pick)(T, T)>
struct SlidingExtreme {
    T last{}, pairs[size - 2]{};  // pairs[0] is of the last two, pairs[1] of those one back
    T With(T value) const {
        for (int k = 0; k < size - 2; k += 2) value = pick(value, pairs[k]);
        return value;
    }
    void Put(T value) {
        for (int k = size - 3; k > 0; --k) pairs[k] = pairs[k - 1];
        pairs[0] = pick(last, value);
        last = value;
    }
};

// Extremes of squares down all rows. The square's last sample gives the alpha.
template <int size, bool low, bool high, bool alpha, class T>
static inline void ExtremesOfSquaresAt(uint8_t* const* dst, const uint8_t* const* rows, int n, size_t step, size_t i) {
    SlidingExtreme<size, T, Lesser> lows;
    SlidingExtreme<size, T, Greater> highs;
    for (int y = 0; y < n + size - 1; ++y) {
        const uint8_t* p = rows[y] + i - size / 2 * step;
        FetchOn(rows[y], i, sizeof(T));
        T sample;
        Load(sample, p);
        T least = sample, greatest = sample;
        for (size_t x = 1; x < size; ++x) {
            Load(sample, p + x * step);
            least = Lesser(least, sample);
            greatest = Greater(greatest, sample);
        }
        if (y >= size - 1) {
            const T all = lows.With(least), most = highs.With(greatest);
            const T result = !high ? all : !low ? most : Difference(most, all);
            FetchOnToWrite(dst[y - size + 1], i, sizeof(T));
            Store(dst[y - size + 1] + i, alpha ? WithAlpha(result, sample, i) : result);
        }
        lows.Put(least);
        highs.Put(greatest);
    }
}

template <int size, bool low, bool high>
static inline void ExtremesOfSquares(uint8_t* const* dst, const uint8_t* const* rows, int n, size_t step,
                                     const NextRows& next, size_t count) {
    const NextRows fetched = next;
    if (step == 4) {
        ForAlignedPlaces(dst[0], count, 4, [=]<class T>(size_t i) {
            FetchNext(fetched, i, sizeof(T));
            ExtremesOfSquaresAt<size, low, high, true, T>(dst, rows, n, 4, i);
        });
    } else {
        ForAlignedPlaces(dst[0], count, 1, [=]<class T>(size_t i) {
            FetchNext(fetched, i, sizeof(T));
            ExtremesOfSquaresAt<size, low, high, false, T>(dst, rows, n, step, i);
        });
    }
}
#endif

static void LeastOfSquares(uint8_t* const* dst, const uint8_t* const* rows, int n, int size, size_t step,
                           const NextRows& next, size_t count) {
    const auto of = size == 3 ? ExtremesOfSquares<3, true, false> : ExtremesOfSquares<5, true, false>;
    of(dst, rows, n, step, next, count);
}

static void GreatestOfSquares(uint8_t* const* dst, const uint8_t* const* rows, int n, int size, size_t step,
                              const NextRows& next, size_t count) {
    const auto of = size == 3 ? ExtremesOfSquares<3, false, true> : ExtremesOfSquares<5, false, true>;
    of(dst, rows, n, step, next, count);
}

static void SpreadOfSquares(uint8_t* const* dst, const uint8_t* const* rows, int n, int size, size_t step,
                            const NextRows& next, size_t count) {
    const auto of = size == 3 ? ExtremesOfSquares<3, true, true> : ExtremesOfSquares<5, true, true>;
    of(dst, rows, n, step, next, count);
}

// Against rows of column extremes, of which long vectors bring runs together in registers; that brings no alphas.
static int SquaresWorthwhile(int size, size_t step) {
#if VEL_AVX2
    (void)step;
    return size <= 5;
#else
    return size == 3 || (size == 5 && step == 4);
#endif
}

template <int step>
static inline void ContourRow(uint8_t* dst, const uint8_t* const* rows, const NextRows& next, size_t count) {
    // Column by column; the centre, having no excess, is left out.
    const uint8_t *const row = rows[1], *const neighbours[] = {rows[0] - step, row - step,    rows[2] - step,
                                                               rows[0],        rows[2],       rows[0] + step,
                                                               row + step,     rows[2] + step};
    const NextRows fetched = next;
    ForAlignedPlaces(dst, count, step == 4 ? 4 : 1, [=]<class T>(size_t i) {
        FetchNext(fetched, i, sizeof(T));
        T centre, neighbour;
        Load(centre, row + i);
        T mark = Difference(centre, centre);
        for (const uint8_t* from : neighbours) {
            Load(neighbour, from + i);
            mark = Marked(mark, neighbour, centre);
        }
        const T contour = Complement(mark);
        Store(dst + i, step == 4 ? WithAlpha(contour, centre, i) : contour);
    });
}

static void ContourRows(uint8_t* const* dst, const uint8_t* const* rows, int n, size_t step, const NextRows& next,
                        size_t count) {
    for (int y = 0; y < n; ++y) {
        const NextRows row = NextRow(next, y);
        switch (step) {
            case 1: ContourRow<1>(dst[y], rows + y, row, count); break;
            case 3: ContourRow<3>(dst[y], rows + y, row, count); break;
            default: ContourRow<4>(dst[y], rows + y, row, count); break;
        }
    }
}
