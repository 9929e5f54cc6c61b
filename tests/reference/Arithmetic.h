// Image arithmetic. The destination may be the same image as a source; a missing plane is passed over.
#pragma once

#include "Made.h"

namespace ref {

// A new image shaped like the model, its bits per pixel and format code replaced where the arguments are not 0.
Made CreateDestImage(const Image& model, uint32_t bitsPerPixel, uint32_t format);
int32_t Copy(Image& destination, const Image& source, int32_t x, int32_t y);
int32_t Equal(Image& image, const Image* mask, int32_t value);

int32_t Add(Image& destination, const Image& first, const Image& second, float divisor);
int32_t Subtract(Image& destination, const Image& minuend, const Image& subtrahend, int32_t mode);
int32_t AddScale(Image& destination, const Image& first, const Image& second, const Image* mask, float firstFactor,
                 float secondFactor, float offset);

int32_t Scale(Image& destination, const Image& source, const Image* mask, float factor, float offset);
int32_t Scale8(Image& destination, const Image& source, int32_t offset, double factor);

}  // namespace ref
