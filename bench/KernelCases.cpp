// Row kernels by themselves, on a row that stays in the first cache: what the arithmetic costs at each level when
// neither memory nor the host takes part. Names are kernel/family.name/level.
#include <benchmark/benchmark.h>

#include <array>
#include <cstring>

#include "Cases.h"
#include "Kernels/Kernels.h"

namespace bench {
namespace {

constexpr size_t kPixels = 1920;

// Rows of up to four bytes a pixel, with room for what kernels read behind them.
struct Rows {
    std::array<std::array<uint8_t, kPixels * 4 + 512>, 5> row;
    std::array<uint8_t, 768> table;
    Rows() {
        uint32_t state = 1;
        const auto fill = [&](auto& bytes) {
            for (uint8_t& byte : bytes) byte = static_cast<uint8_t>((state = state * 1664525u + 1013904223u) >> 24);
        };
        for (auto& bytes : row) fill(bytes);
        fill(table);
    }
    uint8_t* operator[](size_t i) { return row[i].data() + 64; }
};

struct Level {
    const char* name;
    bool runs;
};

const std::array<Level, 4>& Levels() {
    static const std::array<Level, 4> levels = {{
        {"plain", true},
        {"baseline", true},
        {"avx2", __builtin_cpu_supports("avx2") != 0},
        {"avx512", __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("avx512vnni")},
    }};
    return levels;
}

template <class Table, class Call>
void AddKernel(const char* name, const std::array<const Table*, 4>& tables, Call call) {
    for (size_t i = 0; i < tables.size(); ++i) {
        if (!Levels()[i].runs) continue;
        const Table* table = tables[i];
        const std::string full = std::string("kernel/") + name + "/" + Levels()[i].name;
        benchmark::RegisterBenchmark(full.c_str(), [=](benchmark::State& state) {
            static Rows rows;
            for (auto _ : state) {
                call(*table, rows);
                benchmark::ClobberMemory();
            }
            state.counters["pixels"] = double(kPixels);
        })->Unit(benchmark::kMicrosecond);
    }
}

#define VEL_TABLES(Family)                                                                       \
    std::array<const vel::Family##Kernels*, 4> {                                                 \
        &vel::Family##Kernels_plain, &vel::Family##Kernels_baseline, &vel::Family##Kernels_avx2, \
            &vel::Family##Kernels_avx512                                                         \
    }
// A kernel called on rows r[0] (the destination) to r[4].
#define VEL_KERNEL_CASE(Family, Name, ...)           \
    AddKernel(#Family "." #Name, VEL_TABLES(Family), \
              [](const vel::Family##Kernels& k, Rows& r) { k.Name(__VA_ARGS__); })

void AddColourKernels() {
    VEL_KERNEL_CASE(Point, ComplementRow, r[0], kPixels * 3, 0xFFFFFFFFu);
    VEL_KERNEL_CASE(Point, LookUpRow, r[0], kPixels * 3, r.table.data());
    VEL_KERNEL_CASE(Point, LookUpRow32, r[0], kPixels, r.table.data());
    VEL_KERNEL_CASE(Point, GreyRow24, r[0], r[1], kPixels);
    VEL_KERNEL_CASE(Point, GreyRow32, r[0], r[1], kPixels);
    VEL_KERNEL_CASE(Point, LumaRow8, r[0], r[1], kPixels);
    VEL_KERNEL_CASE(Point, ShiftRow, r[0], kPixels * 3, r[1], r[2]);
    VEL_KERNEL_CASE(Point, ThresholdRow, r[0], r[1], kPixels, 3, 384);
    VEL_KERNEL_CASE(Colour, AlphaRow, r[0], kPixels, 128);
    VEL_KERNEL_CASE(Colour, KeyAlphaRow, r[0], kPixels, 0x00102030u, 128);
    VEL_KERNEL_CASE(Colour, KeyRow, r[0], kPixels, 0x00102030u);
    VEL_KERNEL_CASE(Rank, KeyRow, r[0], r[1], kPixels, 3);
}

void AddMoveKernels() {
    VEL_KERNEL_CASE(Move, MirrorRow, r[0], r[1], kPixels, 3);
    VEL_KERNEL_CASE(Move, ExchangeRow, r[0], kPixels, 3);
    VEL_KERNEL_CASE(Move, GreyTo24, r[0], r[1], kPixels);
    VEL_KERNEL_CASE(Move, ColourTo32, r[0], r[1], kPixels);
    VEL_KERNEL_CASE(Move, PaletteTo24, r[0], r[1], kPixels, r.table.data());
}

void AddArithmeticKernels() {
    VEL_KERNEL_CASE(Arithmetic, FillRow24, r[0], kPixels, 0x00102030u);
    VEL_KERNEL_CASE(Arithmetic, FillRow32, r[0], kPixels, 0x00102030u);
    VEL_KERNEL_CASE(Arithmetic, PackRow32To24, r[0], r[1], kPixels);
    VEL_KERNEL_CASE(Arithmetic, LookUpRow32To24, r[0], r[1], kPixels, r.table.data());
    VEL_KERNEL_CASE(Arithmetic, AddRow, r[0], r[1], r[2], kPixels * 3);
    VEL_KERNEL_CASE(Arithmetic, SubtractRow, r[0], r[1], r[2], kPixels * 3, 1);
}

template <int kRows>
void LeastOfRows(const vel::MorphologyKernels& k, Rows& r) {
    const uint8_t* rows[5] = {r[1], r[2], r[3], r[4], r[1] + 3};
    k.LeastOfRows(r[0], rows, kRows, kPixels * 3);
}

// One row of windows of 3 x 3.
void LeastOfSquares(const vel::MorphologyKernels& k, Rows& r) {
    uint8_t* dst[1] = {r[0] + 3};
    const uint8_t* rows[3] = {r[1] + 3, r[2] + 3, r[3] + 3};
    k.LeastOfSquares(dst, rows, 1, 3, 3, {}, (kPixels - 2) * 3);
}

void ContourRows(const vel::MorphologyKernels& k, Rows& r) {
    uint8_t* dst[1] = {r[0] + 3};
    const uint8_t* rows[3] = {r[1] + 3, r[2] + 3, r[3] + 3};
    k.ContourRows(dst, rows, 1, 3, {}, (kPixels - 2) * 3);
}

void AddWindowKernels() {
    AddKernel("Morphology.LeastOfRows3", VEL_TABLES(Morphology), LeastOfRows<3>);
    AddKernel("Morphology.LeastOfRows5", VEL_TABLES(Morphology), LeastOfRows<5>);
    AddKernel("Morphology.LeastOfSquares", VEL_TABLES(Morphology), LeastOfSquares);
    AddKernel("Morphology.ContourRows", VEL_TABLES(Morphology), ContourRows);
}

}  // namespace

void AddKernelBenchmarks() {
    AddColourKernels();
    AddMoveKernels();
    AddArithmeticKernels();
    AddWindowKernels();
}

}  // namespace bench
