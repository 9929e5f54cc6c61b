#include "Warp.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Gather.inl"
#include "Warp.inl"
}  // namespace
VEL_KERNEL_TABLE(Warp, VEL_WARP_KERNELS)
}  // namespace vel
