#include "Morphology.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "NextRows.inl"
#if VEL_AVX512
#include "RowWindows.inl"
#endif
#include "Morphology.inl"
}  // namespace
VEL_KERNEL_TABLE(Morphology, VEL_MORPHOLOGY_KERNELS)
}  // namespace vel
