#include "Sampling.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Floats.inl"
#include "Gather.inl"
#include "TapCurves.inl"
#include "TapSeries.inl"
#include "Sampling.inl"
}  // namespace
VEL_KERNEL_TABLE(Sampling, VEL_SAMPLING_KERNELS)
}  // namespace vel
