// One pixel as a colour word: blue bits 0-7, green 8-15, red 16-23, alpha 24-31.
#pragma once

#include "Image.h"

namespace ref {

// Colour of pixel (x, y) of plane 0. Outside the image: the colour of pixel (0, 0) with alpha 1, or 0x01000000 where
// the image has no pixel block. 0 where the width or the height is 0.
uint32_t GetPixelColor(const Image& image, int64_t x, int64_t y);

// Writes pixel (x, y) of plane 0; x = width and y = height are written too, as far as they lie in the pixel block.
void SetPixelColor(Image& image, int64_t x, int64_t y, uint32_t colour);

}  // namespace ref
