// The deformation inside the circle through an image's corners.
#pragma once

#include "Made.h"

namespace ref {

// `image` is what the source takes over.
Made CircleTransform(const Image& source, int32_t mode, int32_t opaque);

}  // namespace ref
