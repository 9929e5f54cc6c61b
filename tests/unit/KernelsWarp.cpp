#include "unit/KernelCheck.h"

namespace {

// A walk across an image whose points, neighbours included, all lie inside.
template <class Kernel>
void CheckWalk(Kernel kernel, test::KernelRun& run, int pixelBytes) {
    const int width = run.random.Int(4, 60), height = run.random.Int(4, 20);
    const ptrdiff_t pitch = width * pixelBytes + run.random.Int(0, 5);
    const ptrdiff_t size = (height - 1) * pitch + width * pixelBytes;
    const uint8_t* block = run.In(static_cast<size_t>(size));
    const bool bottomUp = run.random.Chance(50);
    const vel::SampledPixels pixels{bottomUp ? block + (height - 1) * pitch : block, bottomUp ? -pitch : pitch, block,
                                    block + size, pixelBytes};
    const auto count = static_cast<int>(run.count);
    const auto line = [&](int points, int32_t& first, int32_t& step) {
        const int low = 128, high = (points - 1) * 256 - 129;
        const int from = run.random.Int(low, high), to = run.random.Int(low, high);
        first = from;
        step = count > 1 ? (to - from) / (count - 1) : 0;
    };
    vel::FixedWalk walk;
    line(width, walk.x, walk.xStep);
    line(height, walk.y, walk.yStep);
    uint8_t* dst = run.Out(run.count * static_cast<size_t>(pixelBytes));
    kernel(dst, &pixels, &walk, run.count);
}

}  // namespace

VEL_CHECK(Warp, NearestWalk) { CheckWalk(kernel, run, run.random.Pick({0, 1, 2, 3, 4, 6})); }
VEL_CHECK(Warp, BlendedWalk) { CheckWalk(kernel, run, run.random.Pick({0, 2, 3, 4, 6})); }

VEL_CHECK(Warp, PlacesOfPoints) {
    const vel::PixelGrid grid = {run.random.Int(1, 3000), run.random.Int(1, 3000), run.random.Pick({1, 3, 4}),
                                 run.random.Pick({-9000, 9001, INT32_MAX})};
    int64_t* places = run.Out<int64_t>(run.count);
    double *x = run.In<double>(run.count), *y = run.In<double>(run.count);
    for (size_t k = 0; k < run.count; ++k) {
        // What is left of the random bits may be any number, or none.
        if (run.random.Chance(90)) x[k] = run.random.Real(-9, grid.width + 9);
        if (run.random.Chance(90)) y[k] = run.random.Real(-9, grid.height + 9);
        if (run.random.Chance(10)) x[k] = grid.width;
    }
    run.Filled();
    run.Returned(kernel(places, x, y, &grid, run.count));
}

VEL_CHECK_FAMILY(Warp, VEL_WARP_KERNELS)
