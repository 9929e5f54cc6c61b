// Whole-image walks that several colour operations share.
#pragma once

#include "VELMathsHelpers.h"

namespace vel {

// Replaces every index of a 1-, 4- or 8-bit image by table[index]; of an entry only the bits that the depth holds are
// kept. Bits of the last byte beyond the width stay as they are.
void MapIndexRows(const ImageView& view, const uint8_t (&table)[256]);

// Grey of `source` into `destination`, which has its size and depth: floor((blue + green + red) / 3) at 24 and 32 bits
// (alpha copied), luma of three consecutive bytes at 8 bits; other depths write nothing.
void GreyPixels(const ImageView& destination, const ImageView& source);

}  // namespace vel
