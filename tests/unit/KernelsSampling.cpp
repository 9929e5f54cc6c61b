#include <algorithm>
#include <cmath>
#include <vector>

#include "SamplingWeights.h"
#include "unit/KernelCheck.h"

namespace {

float* Positions(test::KernelRun& run, size_t count, double low, double high) {
    float* positions = run.In<float>(count);
    for (size_t k = 0; k < count; ++k) {
        const bool whole = run.random.Chance(20);
        const double at = run.random.Real(low, high);
        positions[k] = static_cast<float>(whole ? static_cast<double>(static_cast<int>(at)) : at);
        // Rounding to single precision must not reach the upper end.
        if (static_cast<double>(positions[k]) >= high) positions[k] = static_cast<float>(low);
    }
    return positions;
}

struct RandomPixels {
    vel::SampledPixels view;
    int width, height;
};

// An image of at least `least` columns and rows, in either row order, that ends where its buffer does.
RandomPixels Pixels(test::KernelRun& run, int least) {
    const int pixelBytes = run.random.Pick({1, 3, 4});
    const int width = run.random.Int(least, least + 40), height = run.random.Int(least, least + 12);
    const ptrdiff_t pitch = width * pixelBytes + run.random.Int(0, 5);
    const ptrdiff_t size = (height - 1) * pitch + width * pixelBytes;
    uint8_t* block = run.In(static_cast<size_t>(size));
    const bool bottomUp = run.random.Chance(50);
    const uint8_t* bits = bottomUp ? block + (height - 1) * pitch : block;
    return {{bits, bottomUp ? -pitch : pitch, block, block + size, pixelBytes}, width, height};
}

size_t BlockBytes(const RandomPixels& pixels) { return static_cast<size_t>(pixels.view.end - pixels.view.begin); }

// Brings one position's weights to that sum, unless theirs is next to 0.
void Scale(float* weights, size_t pitch, int taps, double sum) {
    double is = 0;
    for (size_t i = 0; i < static_cast<size_t>(taps); ++i) is += static_cast<double>(weights[i * pitch]);
    if (std::fabs(is) < 0.1) return;
    for (size_t i = 0; i < static_cast<size_t>(taps); ++i) {
        weights[i * pitch] = static_cast<float>(static_cast<double>(weights[i * pitch]) * sum / is);
    }
}

template <class Kernel>
void CheckAccumulation(Kernel kernel, test::KernelRun& run, int taps) {
    const RandomPixels pixels = Pixels(run, taps);
    int64_t* offsets = run.In<int64_t>(run.count);
    for (size_t k = 0; k < run.count; ++k) {
        const int column = run.random.Int(0, pixels.width - taps), row = run.random.Int(0, pixels.height - taps);
        offsets[k] = row * pixels.view.stride + column * pixels.view.pixelBytes;
    }
    const size_t columnPitch = run.count + static_cast<size_t>(run.random.Int(0, 9));
    const size_t rowPitch = run.count + static_cast<size_t>(run.random.Int(0, 9));
    float* columns = run.In<float>(columnPitch * static_cast<size_t>(taps));
    float* rows = run.In<float>(rowPitch * static_cast<size_t>(taps));
    for (size_t i = 0; i < columnPitch * static_cast<size_t>(taps); ++i) {
        columns[i] = static_cast<float>(run.random.Real(-0.4, 0.8));
    }
    for (size_t i = 0; i < rowPitch * static_cast<size_t>(taps); ++i) {
        rows[i] = static_cast<float>(run.random.Real(-0.4, 0.8));
    }
    // Mostly not more than a series' weights add up to; and flat images, whose sums are steps but for their rounding.
    const bool flat = run.random.Chance(30);
    if (flat) std::memset(const_cast<uint8_t*>(pixels.view.begin), run.random.Int(1, 255), BlockBytes(pixels));
    for (size_t k = 0; k < run.count; ++k) {
        Scale(columns + k, columnPitch, taps, flat ? 1 : run.random.Real(0.2, 4));
        Scale(rows + k, rowPitch, taps, flat ? 1 : run.random.Real(0.2, 4));
    }
    uint32_t* colours = run.Out<uint32_t>(run.count);
    run.Filled();
    const vel::TapRun tapRun{offsets, columns, columnPitch, rows, rowPitch};
    kernel(colours, &pixels.view, &tapRun, run.count);
}

}  // namespace

VEL_CHECK(Sampling, TurnRow) {
    float *x = run.Out<float>(run.count), *y = run.Out<float>(run.count);
    const float* columns = Positions(run, run.count, -300, 3000);
    run.Filled();
    const auto cosine = static_cast<float>(run.random.Real(-1, 1)), sine = static_cast<float>(run.random.Real(-1, 1));
    const vel::TurnTerms turn{cosine, sine, run.random.Chance(50) ? 0.0f : 960.5f, 12.25f};
    kernel(x, y, columns, static_cast<float>(run.random.Real(-3000, 3000)), &turn, run.count);
}

VEL_CHECK(Sampling, PrefetchRow) {
    const RandomPixels pixels = Pixels(run, 1);
    const float* x = Positions(run, run.count, 0, pixels.width);
    const float* y = Positions(run, run.count, 0, pixels.height);
    run.Filled();
    kernel(&pixels.view, x, y, run.random.Int(-3000000, 3000000), run.count);
}

VEL_CHECK(Sampling, AddRow) {
    float* sums = run.Out<float>(run.count);
    const float* values = Positions(run, run.count, -3000, 3000);
    run.Filled();
    kernel(sums, values, static_cast<float>(run.random.Real(-300, 300)), run.count);
}

VEL_CHECK(Sampling, NearestRow) {
    const RandomPixels pixels = Pixels(run, 1);
    const float add = run.random.Pick({0.0f, 0.5f});
    const float* x = Positions(run, run.count, 0, pixels.width - static_cast<double>(add));
    const float* y = Positions(run, run.count, 0, pixels.height - static_cast<double>(add));
    uint32_t* colours = run.Out<uint32_t>(run.count);
    run.Filled();
    kernel(colours, &pixels.view, x, y, add, run.random.Int(-3000000, 3000000), run.count);
}

VEL_CHECK(Sampling, TakeRow) {
    const RandomPixels pixels = Pixels(run, 1);
    const float add = run.random.Pick({0.0f, 0.5f});
    const float* x = Positions(run, run.count, 0, pixels.width - static_cast<double>(add));
    const float* y = Positions(run, run.count, 0, pixels.height - static_cast<double>(add));
    uint8_t* dst = run.Out<uint8_t>(run.count * static_cast<size_t>(pixels.view.pixelBytes));
    run.Filled();
    kernel(dst, &pixels.view, x, y, add, run.random.Int(-3000000, 3000000), run.count);
}

VEL_CHECK(Sampling, TapOffsets) {
    const RandomPixels pixels = Pixels(run, 12);
    const float* x = Positions(run, run.count, 5, 3000);
    const float* y = Positions(run, run.count, 5, 3000);
    int64_t* offsets = run.Out<int64_t>(run.count);
    run.Filled();
    kernel(offsets, &pixels.view, x, y, run.random.Pick({1, 5}), run.count);
}

VEL_CHECK(Sampling, TapWeights) {
    const size_t pitch = run.count + static_cast<size_t>(run.random.Int(0, 9));
    float* weights = run.InOut<float>(4 * pitch);
    const float* positions = Positions(run, run.count, 1, run.random.Pick({3.0, 300.0, 3e6}));
    run.Filled();
    kernel(weights, pitch, positions, run.count, run.random.Int(0, vel::kCatmullRomHalfCurve));
}

VEL_CHECK(Sampling, TapSeries) {
    const int curve = run.random.Int(0, vel::kLanczosSeries);
    const size_t pitch = run.count + static_cast<size_t>(run.random.Int(0, 9));
    float* weights = run.InOut<float>((curve == vel::kLanczosSeries ? 12 : 4) * pitch);
    uint32_t* doubts = run.Out<uint32_t>(run.count);
    const float* positions = Positions(run, run.count, 5, run.random.Pick({9.0, 300.0, 3e6}));
    run.Filled();
    kernel(weights, pitch, positions, doubts, run.count, curve);
}

// Levels may doubt differently and be off by different amounts where they do, so doubtful colours count as the ones
// that are summed again.
template <class Kernel, class Exact>
void CheckGuardedSums(Kernel kernel, Exact exact, test::KernelRun& run, int taps) {
    uint32_t* doubts = run.InOut<uint32_t>(run.count);
    std::vector<uint32_t> before(doubts, doubts + run.count);
    CheckAccumulation(
        [&](uint32_t* colours, const vel::SampledPixels* pixels, const vel::TapRun* tapRun, size_t count) {
            kernel(colours, doubts, pixels, tapRun, count);
            std::vector<uint32_t> again(count);
            exact(again.data(), pixels, tapRun, count);
            for (size_t k = 0; k < count; ++k) {
                if (doubts[k] == before[k]) {
                    ASSERT_EQ(colours[k], again[k]) << "certain position " << k;
                }
                ASSERT_LE(doubts[k] - before[k], 1u);
                colours[k] = again[k];
                doubts[k] = before[k];
            }
        },
        run, taps);
}

VEL_CHECK(Sampling, Accumulate4) { CheckAccumulation(kernel, run, 4); }
VEL_CHECK(Sampling, Accumulate12) { CheckAccumulation(kernel, run, 12); }
VEL_CHECK(Sampling, GuardedSums4) { CheckGuardedSums(kernel, vel::SamplingKernels_plain.Accumulate4, run, 4); }
VEL_CHECK(Sampling, GuardedSums12) { CheckGuardedSums(kernel, vel::SamplingKernels_plain.Accumulate12, run, 12); }

// Rows of random bytes or, so that sums are steps but for their rounding, of one byte; and weights of which the series
// have any: too many to be whole numbers, few, and such as single precision sums without rounding.
struct WeightedRows {
    const uint8_t* rows[12];
    float* weights;
    int taps;

    explicit WeightedRows(test::KernelRun& run) : taps(run.random.Pick({4, 12})) {
        const bool flat = run.random.Chance(30);
        const int value = run.random.Int(0, 255);
        for (int j = 0; j < taps; ++j) {
            uint8_t* row = run.In(run.count);
            if (flat && run.count > 0) std::memset(row, value, run.count);
            rows[j] = row;
        }
        weights = run.In<float>(12);
        for (int j = 0; j < 12; ++j) weights[j] = static_cast<float>(run.random.Real(-0.4, 0.8));
        if (run.random.Chance(80)) Scale(weights, 1, taps, flat ? 1 : run.random.Real(0.2, 1.5));
        if (run.random.Chance(30)) {  // Multiples of 1/8, or of 2^-18 that add up to 1.
            const int unit = run.random.Chance(50) ? 8 : 1 << 18, most = unit / taps;
            int rest = unit;
            for (int j = 0; j < 12; ++j) {
                const int number = unit == 8       ? run.random.Int(-1, 2)
                                   : j + 1 == taps ? rest
                                                   : run.random.Int(-most, 2 * most);
                rest -= number;
                weights[j] = static_cast<float>(number) / static_cast<float>(unit);
            }
        }
        run.Filled();
    }
};

VEL_CHECK(Sampling, SumRows) {
    uint8_t* dst = run.Out(run.count);
    const WeightedRows in(run);
    kernel(dst, in.rows, in.weights, in.taps, run.count);
}

// Certain bytes are those of SumRows, which is within any tolerance; levels may doubt differently.
VEL_CHECK(Sampling, GuardedRows) {
    uint8_t *dst = run.Out(run.count), *doubts = run.Out(run.count);
    const float neglected = run.random.Pick({1e-8f, 1e-6f, 1e-3f});
    const WeightedRows in(run);
    const int answer = kernel(dst, doubts, in.rows, in.weights, in.taps, neglected, run.count);
    std::vector<uint8_t> exact(run.count);
    vel::SamplingKernels_plain.SumRows(exact.data(), in.rows, in.weights, in.taps, run.count);
    size_t doubtful = 0;
    for (size_t i = 0; i < run.count; ++i) {
        ASSERT_LE(doubts[i], 1);
        if (doubts[i] == 0) {
            ASSERT_EQ(dst[i], exact[i]) << "certain byte " << i;
        }
        doubtful += doubts[i];
        dst[i] = exact[i];
        doubts[i] = 0;
    }
    ASSERT_EQ(answer != 0, doubtful > 0);
}

VEL_CHECK(Sampling, SumColumns) {
    const int taps = run.random.Pick({4, 12}), width = taps + run.random.Int(0, 60);
    const uint8_t* row = run.In(static_cast<size_t>(width));
    int64_t* offsets = run.In<int64_t>(run.count);
    for (size_t k = 0; k < run.count; ++k) offsets[k] = run.random.Int(0, width - taps);
    const size_t pitch = run.count + static_cast<size_t>(run.random.Int(0, 9));
    float* weights = run.In<float>(pitch * static_cast<size_t>(taps));
    for (size_t i = 0; i < pitch * static_cast<size_t>(taps); ++i) {
        weights[i] = static_cast<float>(run.random.Real(-0.4, 0.8));
    }
    float* sums = run.Out<float>(run.count);
    run.Filled();
    kernel(sums, row, offsets, weights, pitch, taps, run.count);
}

VEL_CHECK(Sampling, GuardedSums) {
    const int taps = run.random.Pick({4, 12});
    const float* rows[12];
    for (int j = 0; j < taps; ++j) {
        float* row = run.In<float>(run.count);
        for (size_t i = 0; i < run.count; ++i) row[i] = static_cast<float>(run.random.Real(-200, 500));
        rows[j] = row;
    }
    float* weights = run.In<float>(12);
    for (int j = 0; j < 12; ++j) weights[j] = static_cast<float>(run.random.Real(-0.4, 0.8));
    uint8_t *dst = run.Out(run.count), *doubts = run.Out(run.count);
    run.Filled();
    run.Returned(kernel(dst, doubts, rows, weights, taps, run.random.Pick({1.0f, 1.9f, 20.0f}), run.count));
}

VEL_CHECK(Sampling, OpaqueRow) {
    uint32_t* colours = run.InOut<uint32_t>(run.count);
    for (size_t k = 0; k < run.count; k += 3) colours[k] = (colours[k] & 0x00FFFFFF) | 0x01000000;
    run.Filled();
    kernel(colours, run.count);
}

VEL_CHECK(Sampling, StoreRow24) {
    uint8_t* dst = run.Out(run.count * 3);
    kernel(dst, run.In<uint32_t>(run.count), run.count);
}

VEL_CHECK(Sampling, StoreRow8) {
    uint8_t* dst = run.Out(run.count);
    kernel(dst, run.In<uint32_t>(run.count), run.count);
}

VEL_CHECK(Sampling, BlendRow) {
    const int pixelBytes = run.random.Pick({3, 4});
    uint8_t* dst = run.InOut(run.count * static_cast<size_t>(pixelBytes));
    uint32_t* colours = run.In<uint32_t>(run.count);
    for (size_t k = 0; k < run.count; ++k) {
        const uint32_t alpha = run.random.Pick({0u, 255u, colours[k] >> 24});
        colours[k] = (colours[k] & 0x00FFFFFF) | alpha << 24;
    }
    run.Filled();
    kernel(dst, pixelBytes, colours, run.count);
}

VEL_CHECK(Sampling, KeyedRow) {
    const int pixelBytes = run.random.Pick({3, 4});
    uint8_t* dst = run.InOut(run.count * static_cast<size_t>(pixelBytes));
    uint32_t* colours = run.In<uint32_t>(run.count);
    const auto key = static_cast<uint32_t>(run.random.Bits() & 0x00FFFFFF);
    for (size_t k = 0; k < run.count; ++k) {
        if (run.random.Chance(40)) colours[k] = (colours[k] & 0xFF000000) | key;
    }
    run.Filled();
    kernel(dst, pixelBytes, colours, run.random.Chance(10) ? key | 0x01000000 : key, run.count);
}

// What the guarded sums rely on: exact weights of the certain positions, and near ones of the others.
TEST(KernelsSamplingSeries, WeightsAreAsNearAsPromised) {
    const struct {
        vel::Interpolation method;
        vel::TapSeriesCurve curve;
        bool exact;
    } cases[] = {{vel::Interpolation::Sinc, vel::kSincSeries, true},
                 {vel::Interpolation::BlackmanWindow, vel::kBlackmanSeries, true},
                 {vel::Interpolation::Gaussian, vel::kGaussianSeries, false},
                 {vel::Interpolation::Lanczos6, vel::kLanczosSeries, false}};
    for (const auto& one : cases) {
        const int taps = vel::TapsOf(one.method);
        int certain = 0, total = 0;
        double worst = 0;
        for (const float start : {5.0f, 9.0f, 100.0f, 1000.0f, 16000.0f}) {
            for (int k = 0; k <= 60000; ++k) {
                const float position = start + static_cast<float>(k) / 60000.0f;
                float weights[12];
                uint32_t doubt;
                vel::Kernels().Sampling().TapSeries(weights, 1, &position, &doubt, 1, one.curve);
                ++total;
                if (doubt) continue;
                ++certain;
                double deviation = 0;
                for (int i = 0; i < taps; ++i) {
                    const int column = static_cast<int>(position) - (taps / 2 - 1) + i;
                    const float exact = vel::TapWeight(one.method, static_cast<float>(column) - position);
                    deviation += std::fabs(static_cast<double>(exact) - static_cast<double>(weights[i]));
                }
                worst = std::max(worst, deviation);
            }
        }
        EXPECT_GT(certain, total * 99 / 100) << "method " << static_cast<int>(one.method);
        // Two thirds of what is promised: the rest is for other mathematics libraries.
        EXPECT_LE(worst, one.exact ? 0.0 : static_cast<double>(vel::kSeriesDeviation) * 2 / 3)
            << "method " << static_cast<int>(one.method);
    }
}

// Doubt costs time, and doubting everything would be right as well.
TEST(KernelsSamplingSeries, FewSumsAreDoubtful) {
    constexpr size_t kCount = 4096;
    const int side = 64;
    for (const int pixelBytes : {1, 3, 4}) {
        test::Random random(static_cast<uint64_t>(pixelBytes));
        std::vector<uint8_t> image(static_cast<size_t>(side * side * pixelBytes));
        for (uint8_t& byte : image) byte = static_cast<uint8_t>(random.Bits());
        const vel::SampledPixels pixels{image.data(), side * pixelBytes, image.data(), image.data() + image.size(),
                                        pixelBytes};
        std::vector<float> x(kCount), y(kCount), columns(12 * kCount), rows(12 * kCount);
        std::vector<int64_t> offsets(kCount);
        std::vector<uint32_t> doubts(kCount), unused(kCount), colours(kCount);
        for (size_t k = 0; k < kCount; ++k) {
            x[k] = static_cast<float>(random.Real(5, side - 8));
            y[k] = static_cast<float>(random.Real(5, side - 8));
        }
        const vel::SamplingKernels& kernels = vel::Kernels().Sampling();
        kernels.TapOffsets(offsets.data(), &pixels, x.data(), y.data(), 5, kCount);
        kernels.TapSeries(columns.data(), kCount, x.data(), doubts.data(), kCount, vel::kLanczosSeries);
        kernels.TapSeries(rows.data(), kCount, y.data(), unused.data(), kCount, vel::kLanczosSeries);
        const vel::TapRun taps{offsets.data(), columns.data(), kCount, rows.data(), kCount};
        kernels.GuardedSums12(colours.data(), doubts.data(), &pixels, &taps, kCount);
        const auto doubtful = kCount - static_cast<size_t>(std::count(doubts.begin(), doubts.end(), 0u));
        EXPECT_LT(doubtful, kCount * static_cast<size_t>(pixelBytes) / 60) << pixelBytes << " bytes";
        EXPECT_GT(doubtful, 0u);
    }
}

VEL_CHECK_FAMILY(Sampling, VEL_SAMPLING_KERNELS)
