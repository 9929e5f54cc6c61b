#include "Arithmetic.h"

namespace vel {
namespace {
#include "Bytes.inl"

#include "Floats.inl"
#include "Pixels.inl"
#include "Arithmetic.inl"
}  // namespace
VEL_KERNEL_TABLE(Arithmetic, VEL_ARITHMETIC_KERNELS)
}  // namespace vel
