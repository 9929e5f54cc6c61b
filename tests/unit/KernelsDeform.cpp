#include "unit/KernelCheck.h"

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
