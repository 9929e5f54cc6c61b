#include "unit/KernelCheck.h"

VEL_CHECK(Point, ComplementRow) { kernel(run.InOut(run.count), run.count, static_cast<uint32_t>(run.random.Bits())); }

VEL_CHECK(Point, LookUpRow) {
    uint8_t* row = run.InOut(run.count);
    kernel(row, run.count, run.In(256));
}

VEL_CHECK(Point, LookUpRow32) {
    uint8_t* row = run.InOut(run.count * 4);
    kernel(row, run.count, run.In(256));
}

VEL_CHECK(Point, GreyRow24) {
    const auto [dst, src] = run.OutAndMaybeSameIn(run.count * 3);
    kernel(dst, src, run.count);
}

VEL_CHECK(Point, GreyRow32) {
    const auto [dst, src] = run.OutAndMaybeSameIn(run.count * 4);
    kernel(dst, src, run.count);
}

VEL_CHECK(Point, LumaRow8) {
    uint8_t* dst = run.Out(run.count);
    kernel(dst, run.In(run.count + 2), run.count);
}

VEL_CHECK(Point, ShiftRow) {
    uint8_t* row = run.InOut(run.count);
    uint8_t *up = run.In(vel::kShiftBytes), *down = run.In(vel::kShiftBytes);
    for (size_t i = 0; i < vel::kShiftPeriod; ++i) (run.random.Chance(50) ? up : down)[i] = 0;
    for (uint8_t* pattern : {up, down}) {
        for (size_t i = vel::kShiftPeriod; i < vel::kShiftBytes; ++i) pattern[i] = pattern[i - vel::kShiftPeriod];
    }
    run.Filled();
    kernel(row, run.count, up, down);
}

VEL_CHECK(Point, ThresholdRow) {
    const int pixelBytes = run.random.Pick({3, 4});
    const int limit = run.random.Chance(80) ? run.random.Int(-3, 768) : static_cast<int>(run.random.Bits());
    const auto [dst, src] = run.OutAndMaybeSameIn(run.count * static_cast<size_t>(pixelBytes));
    kernel(dst, src, run.count, pixelBytes, limit);
}

VEL_CHECK_FAMILY(Point, VEL_POINT_KERNELS)
