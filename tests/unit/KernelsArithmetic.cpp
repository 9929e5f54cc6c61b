#include <cmath>
#include <limits>

#include "unit/KernelCheck.h"

namespace {

uint32_t Word(test::KernelRun& run) { return static_cast<uint32_t>(run.random.Bits()); }

// A destination and two sources, of which one may be the destination.
struct Triple {
    uint8_t *dst, *first, *second;
};
Triple TakeTriple(test::KernelRun& run, size_t bytes) {
    Triple t{run.Out(bytes), nullptr, nullptr};
    const int same = run.random.Int(0, 3);
    t.first = same == 1 || same == 3 ? t.dst : run.In(bytes);
    t.second = same == 2 || same == 3 ? t.dst : run.In(bytes);
    return t;
}

// Mostly around the range where results vary, now and then an extreme.
float Factor(test::KernelRun& run, float usual) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (run.random.Chance(85)) return static_cast<float>(run.random.Int(-1000, 1000)) / 1000 * usual;
    return run.random.Pick(
        {0.0f, -0.0f, 1.0f, 1e-40f, 1e30f, -1e30f, kInfinity, -kInfinity, std::numeric_limits<float>::quiet_NaN()});
}

// int32 values of every magnitude.
uint8_t* TakeInts(test::KernelRun& run) {
    auto* values = run.In(run.count * 4);
    for (size_t i = 0; i < run.count; ++i) {
        const int32_t value = static_cast<int32_t>(Word(run)) >> run.random.Int(0, 30);
        std::memcpy(values + 4 * i, &value, 4);
    }
    run.Filled();
    return values;
}

}  // namespace

VEL_CHECK(Arithmetic, FillRow24) { kernel(run.Out(run.count * 3), run.count, Word(run)); }
VEL_CHECK(Arithmetic, FillRow32) { kernel(run.Out(run.count * 4), run.count, Word(run)); }

VEL_CHECK(Arithmetic, StoreMaskedRow) {
    const size_t pixelBytes = static_cast<size_t>(run.random.Pick({1, 2, 3, 4, 6}));
    uint8_t* dst = run.InOut(run.count * pixelBytes);
    const uint8_t* src = run.In(run.count * pixelBytes);
    uint8_t* mask = pixelBytes == 1 && run.random.Chance(30) ? dst : run.In(run.count);
    const int share = run.random.Pick({0, 10, 50, 90, 100});
    for (size_t i = 0; i < run.count; ++i) {
        if (!run.random.Chance(share)) mask[i] = 0;
    }
    run.Filled();
    kernel(dst, src, mask, run.count, pixelBytes);
}

VEL_CHECK(Arithmetic, PackRow32To24) {
    uint8_t* dst = run.Out(run.count * 3);
    kernel(dst, run.In(run.count * 4), run.count);
}

VEL_CHECK(Arithmetic, ColourIntoRow32) {
    uint8_t* dst = run.InOut(run.count * 4);
    kernel(dst, run.In(run.count * 3), run.count);
}

VEL_CHECK(Arithmetic, GreyIntoRow32) {
    uint8_t* dst = run.InOut(run.count * 4);
    kernel(dst, run.In(run.count), run.count);
}

VEL_CHECK(Arithmetic, WordRow16To24) {
    uint8_t* dst = run.Out(run.count * 3);
    kernel(dst, run.In(run.count * 2), run.count, run.random.Int(0, 1));
}

VEL_CHECK(Arithmetic, LookUpTo) {
    const auto [dst, src] = run.OutAndMaybeSameIn(run.count);
    kernel(dst, src, run.count, run.In(256));
}

VEL_CHECK(Arithmetic, LookUpRow32To24) {
    uint8_t* dst = run.Out(run.count * 3);
    const uint8_t* src = run.In(run.count * 4);
    kernel(dst, src, run.count, run.In(256));
}

VEL_CHECK(Arithmetic, AddRow) {
    const Triple t = TakeTriple(run, run.count);
    kernel(t.dst, t.first, t.second, run.count);
}

VEL_CHECK(Arithmetic, AddLookUpRow) {
    const Triple t = TakeTriple(run, run.count);
    auto* table = run.In<vel::SumTable>(1);
    table->multiplier = run.random.Chance(50) ? 0 : static_cast<uint32_t>(run.random.Int(1, 65535));
    for (uint32_t sum = 0; table->multiplier && sum < 512; ++sum) {
        const uint32_t quotient = sum * table->multiplier >> 16;
        table->entry[sum] = static_cast<uint8_t>(quotient < 255 ? quotient : 255);
    }
    run.Filled();
    kernel(t.dst, t.first, t.second, run.count, table);
}

VEL_CHECK(Arithmetic, SubtractRow) {
    const Triple t = TakeTriple(run, run.count);
    run.Returned(kernel(t.dst, t.first, t.second, run.count, run.random.Int(0, 1)));
}

VEL_CHECK(Arithmetic, SubtractRow32) {
    const Triple t = TakeTriple(run, run.count * 4);
    const int magnitude = run.random.Int(0, 1);
    run.Returned(kernel(t.dst, t.first, t.second, run.count, magnitude, static_cast<uint8_t>(Word(run))));
}

VEL_CHECK(Arithmetic, WeightedRow) {
    const Triple t = TakeTriple(run, run.count);
    const float first = Factor(run, 1.5f), second = Factor(run, 1.5f), offset = Factor(run, 200.0f);
    kernel(t.dst, t.first, t.second, run.count, first, second, offset);
}

VEL_CHECK(Arithmetic, ScaleSumTo8) {
    const size_t pixelBytes = static_cast<size_t>(run.random.Pick({3, 4}));
    uint8_t* dst = run.Out(run.count);
    const float factor = Factor(run, 0.7f), offset = Factor(run, 200.0f);
    kernel(dst, run.In(run.count * pixelBytes), run.count, pixelBytes, factor, offset);
}

VEL_CHECK(Arithmetic, ScaleIntTo8) {
    uint8_t* dst = run.Out(run.count);
    const float factor = Factor(run, run.random.Pick({2.0f, 1e-3f, 1e-7f})), offset = Factor(run, 200.0f);
    kernel(dst, TakeInts(run), run.count, factor, offset);
}

VEL_CHECK(Arithmetic, ScaleIntToInt) {
    uint8_t* dst = run.Out(run.count * 4);
    const float factor = Factor(run, 3.0f), offset = Factor(run, run.random.Pick({200.0f, 3e9f}));
    kernel(dst, TakeInts(run), run.count, factor, offset);
}

VEL_CHECK(Arithmetic, ScaleByteToInt) {
    uint8_t* dst = run.Out(run.count * 4);
    const float factor = Factor(run, run.random.Pick({3.0f, 2e7f})), offset = Factor(run, 200.0f);
    kernel(dst, run.In(run.count), run.count, factor, offset);
}

VEL_CHECK(Arithmetic, ScaleOffsetIntTo8) {
    uint8_t* dst = run.Out(run.count);
    auto* scale = run.In<vel::OffsetScale>(1);
    scale->single = 0.0f;
    if (run.random.Chance(30)) {
        // A power of two is the same in both precisions.
        scale->factor = scale->single = std::ldexp(1.0f, -run.random.Int(1, 12));
        scale->offset = run.random.Int(-500, 500);
    } else {
        scale->factor =
            run.random.Pick({static_cast<double>(Factor(run, 1.0f)), 0.001, 1e-7, 1.0 / 3, -0.5, 1.0, -1.0});
        const int offset = run.random.Chance(80) ? run.random.Int(-500, 500) : static_cast<int>(Word(run));
        scale->offset = run.random.Pick({offset, offset, offset, offset, INT32_MIN, INT32_MIN + 100, INT32_MAX});
    }
    run.Filled();
    kernel(dst, TakeInts(run), run.count, scale);
}

VEL_CHECK_FAMILY(Arithmetic, VEL_ARITHMETIC_KERNELS)
