// Colour transforms on the reference's images; each changes its image and returns the result code.
#pragma once

#include "Image.h"
#include "Made.h"

namespace ref {

// What an operation that replaces its image's content left, with the store as a new image's Create lays it out: rows
// rounded up to 4 bytes, top-down.
int32_t GrayScale(Image& image);
// `greyed` says whether a new image could be made and was taken over.
int32_t Threshold(Image& image, int32_t level, bool greyed = true);

// In place. Only plane 0 is touched.
int32_t Negative(Image& image);
int32_t Lut(Image& image, const uint8_t* table);
int32_t ShiftRGB(Image& image, int32_t redShift, int32_t greenShift, int32_t blueShift);
int32_t Gamma(Image& image, float gamma);
int32_t Light(Image& image, int32_t brightness, int32_t contrast);

// Lightness in the blue byte, saturation in the green, hue in the red, alpha; gives a colour word.
uint32_t HSLtoRGB(uint32_t quad);
int32_t Colorize(Image& image, uint8_t hue, uint8_t saturation, float blend);

// Keys have red in the low byte.
int32_t SetImageAlpha(Image& image, int32_t alpha);
int32_t SetImageAlphaTransparency(Image& image, int32_t alpha, uint32_t key);
int32_t SetImageTransparentPixel(Image& image, uint32_t key);

}  // namespace ref
