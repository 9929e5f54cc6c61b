#include "Convolution.h"

#include <math.h>

namespace vel {
namespace {
#include "Bytes.inl"
#include "NextRows.inl"
#include "Convolution.inl"
}  // namespace
VEL_KERNEL_TABLE(Convolution, VEL_CONVOLUTION_KERNELS)
}  // namespace vel
