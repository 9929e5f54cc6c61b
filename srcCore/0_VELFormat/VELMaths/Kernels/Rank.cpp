#include "Rank.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "NextRows.inl"
#include "Pixels.inl"
#if VEL_AVX512
#include "RowWindows.inl"
#endif
#include "Rank.inl"
}  // namespace
VEL_KERNEL_TABLE(Rank, VEL_RANK_KERNELS)
}  // namespace vel
