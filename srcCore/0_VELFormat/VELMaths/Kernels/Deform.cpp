#include "Deform.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Gather.inl"
#include "Deform.inl"
}  // namespace
VEL_KERNEL_TABLE(Deform, VEL_DEFORM_KERNELS)
}  // namespace vel
