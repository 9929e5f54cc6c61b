#include "Morphology.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "NextRows.inl"
#include "Morphology.inl"
}  // namespace
VEL_KERNEL_TABLE(Morphology, VEL_MORPHOLOGY_KERNELS)
}  // namespace vel
