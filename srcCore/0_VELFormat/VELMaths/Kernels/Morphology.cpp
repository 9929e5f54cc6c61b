#include "Morphology.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Morphology.inl"
}
VEL_KERNEL_TABLE(Morphology, VEL_MORPHOLOGY_KERNELS)
}  // namespace vel
