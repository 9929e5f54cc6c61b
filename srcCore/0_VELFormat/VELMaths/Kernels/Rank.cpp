#include "Rank.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Pixels.inl"
#include "Rank.inl"
}  // namespace
VEL_KERNEL_TABLE(Rank, VEL_RANK_KERNELS)
}  // namespace vel
