#include <cmath>
#include <cstdlib>

#include "Kernels/Kernels.h"
#include "unit/KernelCheck.h"

namespace {

struct Point {
    int64_t column, row;
};

// The stated formula, in double precision but for the distance and its part of half the radius.
Point CirclePoint(const vel::CircleRow& at, int32_t x) {
    const int64_t dx = at.centreX - x, dy = at.dy;
    const float d = std::sqrt(static_cast<float>(dx * dx + dy * dy));
    if (!(d < static_cast<float>(at.radius))) return {-1, -1};
    const double distance = d;
    double angle = std::atan2(static_cast<double>(dy), static_cast<double>(dx)), radius = distance;
    if (at.mode == 3) {
        return {static_cast<int64_t>(std::fabs(angle * at.width / 6.2831852)),
                static_cast<int64_t>(std::fabs(distance * at.height / at.radius))};
    }
    if (at.mode == 0) radius = distance * distance / at.radius;
    if (at.mode == 1) radius = std::sqrt(distance * at.radius);
    if (at.mode == 2 && d != 0) angle += static_cast<double>(d / static_cast<float>(at.radius / 2));
    return {at.centreX - static_cast<int64_t>(radius * std::cos(angle)),
            at.centreY - static_cast<int64_t>(radius * std::sin(angle))};
}

}  // namespace

// On both sides of the radius up to which single precision comes first.
TEST(KernelsDeformPoints, AgreeWithTheFormulaOrSayThatTheyAreUnsure) {
    test::Random random(20261121);
    size_t points = 0, unsure = 0;
    std::vector<int32_t> columns(6001), rows(columns.size());
    for (int i = 0; i < 600; ++i) {
        vel::CircleRow at{};
        at.mode = i % 4;
        const int most = random.Pick({9, 300, 4096, 6000});
        at.width = random.Int(1, most);
        at.height = random.Int(1, most);
        at.centreX = at.width / 2;
        at.centreY = at.height / 2;
        at.radius = static_cast<int32_t>(std::hypot(at.centreX, at.centreY));
        at.dy = at.centreY - random.Int(0, at.height - 1);
        const auto count = static_cast<size_t>(at.width);
        vel::Kernels().Deform().CirclePoints(columns.data(), rows.data(), &at, 0, count);
        for (size_t x = 0; x < count; ++x) {
            ++points;
            if (columns[x] == vel::kUnsureColumn) {
                ++unsure;
                continue;
            }
            const Point point = CirclePoint(at, static_cast<int32_t>(x));
            ASSERT_EQ(point.column, columns[x]) << at.mode << ' ' << at.width << 'x' << at.height << ' ' << x;
            ASSERT_EQ(point.row, rows[x]) << at.mode << ' ' << at.width << 'x' << at.height << ' ' << x;
        }
    }
    EXPECT_GT(points, 300000u);
    EXPECT_LT(unsure, points / 100);
}

VEL_CHECK(Deform, CirclePoints) {
    int32_t* columns = run.Out<int32_t>(run.count);
    int32_t* rows = run.Out<int32_t>(run.count);
    vel::CircleRow row{};
    row.mode = run.random.Int(0, 5);
    row.width = run.random.Int(1, 3000);
    row.height = run.random.Int(1, 3000);
    row.centreX = row.width / 2;
    row.centreY = row.height / 2;
    row.radius = run.random.Int(0, 2200);
    row.dy = row.centreY - run.random.Int(0, row.height - 1);
    run.Returned(kernel(columns, rows, &row, run.random.Int(0, row.width - 1), run.count));
}

VEL_CHECK(Deform, MirrorPoints) {
    int32_t* toColumns = run.Out<int32_t>(run.count);
    int32_t* toRows = run.Out<int32_t>(run.count);
    int32_t* columns = run.In<int32_t>(run.count);
    int32_t* rows = run.In<int32_t>(run.count);
    for (size_t i = 0; i < run.count; ++i) {
        columns[i] = run.random.Chance(90) ? run.random.Int(-1, 3000) : vel::kUnsureColumn;
        rows[i] = run.random.Int(-1, 3000);
    }
    run.Filled();
    const vel::CircleMirror mirror{run.random.Chance(50) ? vel::kNotMirrored : run.random.Int(0, 3000),
                                   run.random.Chance(50) ? vel::kNotMirrored : run.random.Int(0, 3000)};
    kernel(toColumns, toRows, columns, rows, &mirror, run.count);
}

VEL_CHECK(Deform, GatherPoints) {
    const int from = run.random.Pick({1, 3, 4}), to = run.random.Chance(50) ? from : 4;
    const int width = run.random.Int(1, 40), height = run.random.Int(1, 20);
    const int rowBytes = width * from, gap = run.random.Int(0, 9);
    uint8_t* store = run.In(static_cast<size_t>((height - 1) * (rowBytes + gap) + rowBytes));
    for (int i = 3; from == 4 && i < rowBytes; i += 4) store[i] = static_cast<uint8_t>(run.random.Int(0, 2));
    run.Filled();
    const bool bottomUp = run.random.Chance(50);
    vel::CircleSource source{};
    source.pixels.begin = store;
    source.pixels.end = store + (height - 1) * (rowBytes + gap) + rowBytes;
    source.pixels.bits = bottomUp ? store + (height - 1) * (rowBytes + gap) : store;
    source.pixels.stride = bottomUp ? -(rowBytes + gap) : rowBytes + gap;
    source.pixels.pixelBytes = from;
    source.width = width;
    source.height = height;
    source.outside = static_cast<uint32_t>(run.random.Bits());
    source.opaque = run.random.Chance(50) ? 0xFF000000u : 0;
    int32_t* columns = run.In<int32_t>(run.count);
    int32_t* rows = run.In<int32_t>(run.count);
    for (size_t i = 0; i < run.count; ++i) {
        columns[i] = run.random.Chance(90) ? run.random.Int(0, width - 1) : run.random.Int(-9, width + 9);
        rows[i] = run.random.Chance(90) ? run.random.Int(0, height - 1) : run.random.Int(-9, height + 9);
    }
    run.Filled();
    kernel(run.Out(run.count * static_cast<size_t>(to)), to, &source, columns, rows, run.random.Int(-3000000, 3000000),
           run.count);
}

VEL_CHECK(Deform, HalveBlocks) {
    const int pixelBytes = run.random.Pick({1, 3, 4});
    const size_t blocks = run.count % 40, pixels = blocks == 0 ? 0 : 32 * blocks + 32;
    uint8_t* dst = run.Out(32 * blocks * static_cast<size_t>(pixelBytes));
    kernel(dst, run.In(pixels * static_cast<size_t>(pixelBytes)), blocks, pixelBytes);
}

VEL_CHECK_FAMILY(Deform, VEL_DEFORM_KERNELS)
