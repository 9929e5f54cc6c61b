#include "Point.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Pixels.inl"
#include "Point.inl"
}  // namespace
VEL_KERNEL_TABLE(Point, VEL_POINT_KERNELS)
}  // namespace vel
