// The kernels of the level that this machine runs.
#pragma once

#include "Arithmetic.h"
#include "Colour.h"
#include "Convolution.h"
#include "Deform.h"
#include "Morphology.h"
#include "Move.h"
#include "Point.h"
#include "Rank.h"
#include "Samples.h"
#include "Sampling.h"
#include "Warp.h"

namespace vel {

// Every family of kernels, once: generates the set below, its choice and the kernel checks.
#define VEL_KERNEL_FAMILIES(X) \
    X(Arithmetic)              \
    X(Colour) X(Convolution) X(Deform) X(Morphology) X(Move) X(Point) X(Rank) X(Samples) X(Sampling) X(Warp)

struct KernelSet {
    const char* level;
#define VEL_FAMILY_MEMBER(Family) const Family##Kernels* family##Family;
    VEL_KERNEL_FAMILIES(VEL_FAMILY_MEMBER)
#undef VEL_FAMILY_MEMBER

    const ArithmeticKernels& Arithmetic() const { return *familyArithmetic; }
    const ColourKernels& Colour() const { return *familyColour; }
    const ConvolutionKernels& Convolution() const { return *familyConvolution; }
    const DeformKernels& Deform() const { return *familyDeform; }
    const MorphologyKernels& Morphology() const { return *familyMorphology; }
    const MoveKernels& Move() const { return *familyMove; }
    const PointKernels& Point() const { return *familyPoint; }
    const RankKernels& Rank() const { return *familyRank; }
    const SamplesKernels& Samples() const { return *familySamples; }
    const SamplingKernels& Sampling() const { return *familySampling; }
    const WarpKernels& Warp() const { return *familyWarp; }
};

// Chosen on first use by what processor and operating system offer; the same set ever after. An operation fetches it
// once, not per row.
const KernelSet& Kernels();

}  // namespace vel
