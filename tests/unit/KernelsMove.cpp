#include <algorithm>

#include <algorithm>
#include <vector>

#include "unit/KernelCheck.h"

VEL_CHECK(Move, MirrorRow) {
    const int pixelBytes = run.random.Pick({1, 2, 3, 4, 6, 8});
    const size_t bytes = run.count * static_cast<size_t>(pixelBytes);
    uint8_t* dst = run.Out(bytes);
    kernel(dst, run.In(bytes), run.count, pixelBytes);
}

VEL_CHECK(Move, ExchangeRow) {
    const int pixelBytes = run.random.Pick({3, 4});
    kernel(run.InOut(run.count * static_cast<size_t>(pixelBytes)), run.count, pixelBytes);
}

VEL_CHECK(Move, Transpose) {
    const int pixelBytes = run.random.Pick({1, 2, 3, 4, 6, 8});
    const auto bytes = static_cast<size_t>(pixelBytes);
    // Few columns for many rows and the other way round, with rows in either order.
    const auto other = static_cast<size_t>(run.random.Int(0, 40));
    const bool tall = run.random.Chance(50);
    const size_t longSide = std::min<size_t>(run.count, 200);
    const size_t rows = tall ? longSide : other, columns = tall ? other : longSide;
    const size_t dstStride = columns * bytes + static_cast<size_t>(run.random.Int(0, 5));
    const size_t srcStride = rows * bytes + static_cast<size_t>(run.random.Int(0, 5));
    if (rows == 0 || columns == 0) return;
    uint8_t* dst = run.InOut((rows - 1) * dstStride + columns * bytes);
    const uint8_t* src = run.In((columns - 1) * srcStride + rows * bytes);
    auto dstStep = static_cast<ptrdiff_t>(dstStride), srcStep = static_cast<ptrdiff_t>(srcStride);
    if (run.random.Chance(50)) {
        dst += (rows - 1) * dstStride;
        dstStep = -dstStep;
    }
    if (run.random.Chance(50)) {
        src += (columns - 1) * srcStride;
        srcStep = -srcStep;
    }
    kernel(dst, dstStep, src, srcStep, rows, columns, pixelBytes);
}

VEL_CHECK(Move, PickRow) {
    const int pixelBytes = run.random.Pick({1, 2, 3, 4});
    const size_t room = run.count * 4 + 8 + static_cast<size_t>(pixelBytes);
    const uint8_t* src = run.In(room);
    uint32_t* offsets = run.In<uint32_t>(run.count);
    const int step = run.random.Pick({1, 2, 3, 4});
    uint32_t offset = static_cast<uint32_t>(run.random.Int(0, 8));
    for (size_t i = 0; i < run.count; ++i) {
        offsets[i] = offset;
        offset += static_cast<uint32_t>(run.random.Int(0, step));
    }
    uint8_t* dst = run.Out(run.count * static_cast<size_t>(pixelBytes));
    run.Filled();
    kernel(dst, src, src + room, offsets, run.count, pixelBytes);
}

VEL_CHECK(Move, PickBlocks) {
    const int pixelBytes = run.random.Pick({1, 2, 3, 4});
    const auto bytes = static_cast<size_t>(pixelBytes);
    vel::PickBlock block = {};
    block.pixels = static_cast<uint32_t>(run.random.Int(1, 64 / pixelBytes));
    // Offsets within a block, and of the next one.
    std::vector<uint32_t> within(block.pixels, 0);
    for (size_t i = 1; i < within.size(); ++i) {
        within[i] = std::min(within[i - 1] + static_cast<uint32_t>(run.random.Int(0, 4)), 128u - pixelBytes);
    }
    for (size_t i = 0; i < block.pixels * bytes; ++i) {
        block.places[i] = static_cast<uint8_t>(within[i / bytes] + i % bytes);
    }
    block.advance = within.back() + static_cast<uint32_t>(run.random.Int(0, 4));
    uint32_t* offsets = run.In<uint32_t>(run.count);
    const auto start = static_cast<uint32_t>(run.random.Int(0, 8));
    for (size_t i = 0; i < run.count; ++i) {
        offsets[i] = start + static_cast<uint32_t>(i / block.pixels) * block.advance + within[i % block.pixels];
    }
    const size_t room =
        (run.count ? offsets[run.count - 1] : start) + bytes + static_cast<size_t>(run.random.Int(0, 9));
    const uint8_t* src = run.In(room);
    uint8_t* dst = run.Out(run.count * bytes);
    run.Filled();
    kernel(dst, src, src + room, offsets, &block, run.count, pixelBytes);
}

VEL_CHECK(Move, GreyTo24) {
    uint8_t* dst = run.Out(run.count * 3);
    kernel(dst, run.In(run.count), run.count);
}

VEL_CHECK(Move, GreyTo32) {
    uint8_t* dst = run.Out(run.count * 4);
    kernel(dst, run.In(run.count), run.count);
}

VEL_CHECK(Move, ColourTo32) {
    uint8_t* dst = run.Out(run.count * 4);
    kernel(dst, run.In(run.count * 3), run.count);
}

VEL_CHECK(Move, PaletteTo24) {
    uint8_t* dst = run.Out(run.count * 3);
    const uint8_t* src = run.In(run.count);
    kernel(dst, src, run.count, run.In(1024));
}

VEL_CHECK(Move, PaletteTo32) {
    uint8_t* dst = run.InOut(run.count * 4);
    const uint8_t* src = run.In(run.count);
    kernel(dst, src, run.count, run.In(1024));
}

VEL_CHECK_FAMILY(Move, VEL_MOVE_KERNELS)
