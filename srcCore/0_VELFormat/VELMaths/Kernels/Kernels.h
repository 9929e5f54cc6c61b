// The kernels of the level that this machine runs.
#pragma once

#include "Arithmetic.h"
#include "Colour.h"
#include "Move.h"
#include "Point.h"

namespace vel {

// Every family of kernels, once: generates the set below, its choice and the kernel checks.
#define VEL_KERNEL_FAMILIES(X) X(Arithmetic) X(Colour) X(Move) X(Point)

struct KernelSet {
    const char* level;
#define VEL_FAMILY_MEMBER(Family) const Family##Kernels* family##Family;
    VEL_KERNEL_FAMILIES(VEL_FAMILY_MEMBER)
#undef VEL_FAMILY_MEMBER

    const ArithmeticKernels& Arithmetic() const { return *familyArithmetic; }
    const ColourKernels& Colour() const { return *familyColour; }
    const MoveKernels& Move() const { return *familyMove; }
    const PointKernels& Point() const { return *familyPoint; }
};

// Chosen on first use by what processor and operating system offer; the same set ever after. An operation fetches it
// once, not per row.
const KernelSet& Kernels();

}  // namespace vel
