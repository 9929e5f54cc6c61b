#include "Samples.h"

namespace vel {
namespace {
#include "Samples.inl"
}
VEL_KERNEL_TABLE(Samples, VEL_SAMPLES_KERNELS)
}  // namespace vel
