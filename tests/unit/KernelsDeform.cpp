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
    kernel(columns, rows, &row, run.random.Int(0, row.width - 1), run.count);
}

VEL_CHECK_FAMILY(Deform, VEL_DEFORM_KERNELS)
