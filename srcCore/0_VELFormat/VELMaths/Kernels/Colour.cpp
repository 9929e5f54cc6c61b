#include "Colour.h"

namespace vel {
namespace {
#include "Bytes.inl"
#include "Pixels.inl"
#include "Colour.inl"
}  // namespace
VEL_KERNEL_TABLE(Colour, VEL_COLOUR_KERNELS)
}  // namespace vel
