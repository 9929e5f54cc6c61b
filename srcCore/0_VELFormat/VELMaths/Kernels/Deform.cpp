#include "Deform.h"

namespace vel {
namespace {
#include "Deform.inl"
}
VEL_KERNEL_TABLE(Deform, VEL_DEFORM_KERNELS)
}  // namespace vel
