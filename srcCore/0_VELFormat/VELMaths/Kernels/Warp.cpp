#include "Warp.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Pixels.inl"
#include "Gather.inl"
#include "Warp.inl"
}  // namespace
VEL_KERNEL_TABLE(Warp, VEL_WARP_KERNELS)
}  // namespace vel
