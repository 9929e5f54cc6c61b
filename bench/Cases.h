// What is measured: one case is an operation with its arguments at one depth, beside its peer's nearest call.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Component.h"
#include "Pictures.h"

namespace bench {

// One call each on prepared pixels; empty where there is nothing to compare with.
struct Calls {
    std::function<void()> ours;
    std::function<void()> peer;
    std::function<void()> floor;  // calls that bound the operation from below (rand, mappings); else a memory copy
};

struct Case {
    std::string name;
    uint32_t bitsPerPixel;
    std::string family;
    // The peer's job: "=" the same, "~" the same kind and amount of work, "<" easier, ">" harder; and its call.
    std::string relation, peerCall;
    std::function<Calls(Size)> prepare;
    // The literal reference of the same job on the same kind of pixels; empty where it is not timed.
    std::function<std::function<void()>(Size)> reference;
    bool boundByCalls = false;  // rand or mapping calls bound it, so it stays out of the mean
    double pixelRatio = 1;      // destination pixels per source pixel
    // The value of the parameter along which cost is followed (a window size), where the case is part of such a row.
    int growth = 0;
};

std::vector<Case>& AllCases();
void AddColourCases();
void AddFilterCases();
void AddGeometryCases();
void AddArithmeticCases();
// Registers the row kernels by themselves, one benchmark for each level that this machine runs.
void AddKernelBenchmarks();

}  // namespace bench
