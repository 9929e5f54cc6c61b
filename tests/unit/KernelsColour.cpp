#include "unit/KernelCheck.h"

namespace {

// Random tints; the table's two forms agree.
vel::TintTable* TakeTints(test::KernelRun& run) {
    auto* table = run.In<vel::TintTable>(1);
    for (int i = 0; i < 256; ++i) {
        const uint32_t colour = static_cast<uint32_t>(run.random.Bits()) & 0x00FFFFFF;
        table->colour[i] = colour;
        table->blue[i] = static_cast<uint8_t>(colour);
        table->green[i] = static_cast<uint8_t>(colour >> 8);
        table->red[i] = static_cast<uint8_t>(colour >> 16);
    }
    run.Filled();
    return table;
}

// 4-byte pixels of few colours, so that a key is met; the key.
uint32_t TakeKeyed(test::KernelRun& run, uint8_t*& row) {
    row = run.InOut(run.count * 4);
    const uint32_t key = static_cast<uint32_t>(run.random.Bits()) & 0x00FFFFFF;
    for (size_t i = 0; i < run.count; ++i) {
        const uint32_t nearby = key ^ (run.random.Chance(50) ? 0 : 1u << run.random.Int(0, 23));
        for (size_t k = 0; k < 3; ++k) row[4 * i + k] = static_cast<uint8_t>(nearby >> (8 * k));
    }
    run.Filled();
    return key;
}

}  // namespace

VEL_CHECK(Colour, TintRow24) {
    uint8_t* row = run.InOut(run.count * 3);
    kernel(row, run.count, TakeTints(run));
}

VEL_CHECK(Colour, TintRow32) {
    uint8_t* row = run.InOut(run.count * 4);
    kernel(row, run.count, TakeTints(run));
}

VEL_CHECK(Colour, BlendTintRow24) {
    uint8_t* row = run.InOut(run.count * 3);
    kernel(row, run.count, TakeTints(run), run.random.Int(1, 255));
}

VEL_CHECK(Colour, BlendTintRow32) {
    uint8_t* row = run.InOut(run.count * 4);
    kernel(row, run.count, TakeTints(run), run.random.Int(1, 255));
}

VEL_CHECK(Colour, AlphaRow) { kernel(run.InOut(run.count * 4), run.count, static_cast<uint8_t>(run.random.Bits())); }

VEL_CHECK(Colour, KeyAlphaRow) {
    uint8_t* row;
    const uint32_t key = TakeKeyed(run, row);
    kernel(row, run.count, key, static_cast<uint8_t>(run.random.Bits()));
}

VEL_CHECK(Colour, KeyRow) {
    uint8_t* row;
    const uint32_t key = TakeKeyed(run, row);
    kernel(row, run.count, key);
}

VEL_CHECK_FAMILY(Colour, VEL_COLOUR_KERNELS)
