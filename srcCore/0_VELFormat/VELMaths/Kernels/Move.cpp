#include "Move.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Pixels.inl"
#include "Gather.inl"
#include "Move.inl"
}  // namespace
VEL_KERNEL_TABLE(Move, VEL_MOVE_KERNELS)
}  // namespace vel
