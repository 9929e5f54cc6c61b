#include "unit/SmallWindows.h"

namespace {

// Rows that overlap, as shifted views of one row do, or that do not.
struct RowsToCombine {
    const uint8_t* row[vel::kMostRows];
    int n;
    explicit RowsToCombine(test::KernelRun& run) : n(run.random.Int(1, vel::kMostRows)) {
        const bool shifted = run.random.Chance(50);
        const uint8_t* line = shifted ? run.In(run.count + 40) : nullptr;
        for (int i = 0; i < n; ++i) row[i] = shifted ? line + run.random.Int(0, 40) : run.In(run.count);
    }
};

}  // namespace

VEL_CHECK(Morphology, LeastOfRows) {
    const RowsToCombine rows(run);
    kernel(run.Out(run.count), rows.row, rows.n, run.count);
}

VEL_CHECK(Morphology, GreatestOfRows) {
    const RowsToCombine rows(run);
    kernel(run.Out(run.count), rows.row, rows.n, run.count);
}

VEL_CHECK(Morphology, ExtremesOfWindows) {
    const int windows = run.random.Pick({1, 2, 4, 8, 16}), most = run.random.Pick({1, 3, 10, 40});
    const int length = windows + run.random.Int(0, most);
    const int wanted = run.random.Int(1, 3);
    const uint8_t* rows[vel::kMostWindows + 100];
    uint8_t *lows[vel::kMostWindows], *highs[vel::kMostWindows];
    const uint8_t* all = run.In(run.count + 200);
    for (int i = 0; i < windows + length - 1; ++i) rows[i] = all + run.random.Int(0, 200);
    uint8_t* made = run.Out(run.count * 2 * static_cast<size_t>(windows));
    for (int w = 0; w < windows; ++w) {
        lows[w] = made + run.count * 2 * static_cast<size_t>(w);
        highs[w] = lows[w] + run.count;
    }
    kernel(wanted & 1 ? lows : nullptr, wanted & 2 ? highs : nullptr, rows, windows, static_cast<size_t>(length),
           run.Next(), run.count);
}

VEL_CHECK(Morphology, SpreadOfRows) {
    const RowsToCombine lows(run);
    RowsToCombine highs(run);
    for (int i = highs.n; i < lows.n; ++i) highs.row[i] = lows.row[i];
    kernel(run.Out(run.count), lows.row, highs.row, lows.n, run.count);
}

VEL_CHECK(Morphology, CoveredRun) {
    // How far a level gets is its own affair, within bounds.
    const size_t length = static_cast<size_t>(run.random.Int(1, 200));
    const size_t covered = kernel(length, run.random.Pick({1u, 3u, 4u}));
    run.Returned(covered == length || (covered >= 2 && covered < length));
}

namespace {

// A run that every level does in one go.
struct RunToCombine {
    size_t step, length, bytes;
    explicit RunToCombine(test::KernelRun& run)
        : step(run.random.Pick({1u, 3u, 4u})),
          length(static_cast<size_t>(run.random.Int(1, vel::kMostRows))),
          bytes(run.count + (length - 1) * step) {}
};

template <class Kernel>
void CheckSquares(test::KernelRun& run, Kernel kernel) {
    const int size = run.random.Pick({3, 5});
    const test::SmallWindows w(run, size);
    kernel(w.dst, w.rows, w.n, size, w.step, run.Next(), w.count);
}

}  // namespace

VEL_CHECK(Morphology, LeastOfRuns) {
    const RunToCombine r(run);
    uint8_t* dst = run.Out(run.count);
    kernel(dst, run.In(r.bytes), r.length, r.step, run.count);
}

VEL_CHECK(Morphology, GreatestOfRuns) {
    const RunToCombine r(run);
    uint8_t* dst = run.Out(run.count);
    kernel(dst, run.In(r.bytes), r.length, r.step, run.count);
}

VEL_CHECK(Morphology, SpreadOfRuns) {
    const RunToCombine r(run);
    uint8_t *dst = run.Out(run.count), *low = run.In(r.bytes);
    kernel(dst, low, run.In(r.bytes), r.length, r.step, run.count);
}

VEL_CHECK(Morphology, LeastOfSquares) { CheckSquares(run, kernel); }
VEL_CHECK(Morphology, GreatestOfSquares) { CheckSquares(run, kernel); }
VEL_CHECK(Morphology, SpreadOfSquares) { CheckSquares(run, kernel); }

// Levels may judge differently; the answer only chooses between two ways to the same bits.
VEL_CHECK(Morphology, SquaresWorthwhile) {
    const int worth = kernel(run.random.Pick({3, 5}), run.random.Pick({1u, 3u, 4u}));
    run.Returned(worth == 0 || worth == 1);
}

VEL_CHECK(Morphology, ContourRows) {
    const test::SmallWindows w(run, 3);
    kernel(w.dst, w.rows, w.n, w.step, run.Next(), w.count);
}

VEL_CHECK_FAMILY(Morphology, VEL_MORPHOLOGY_KERNELS)
