// One-pixel reads and writes, written as literally as they can be: plain loops, never optimised.
#pragma once

#include "Image.h"

namespace ref {

// Entry i of the palette that every pixel of 8 bits or less is read through: the grey (i, i, i, 0).
Quad DefaultPaletteEntry(int index);

// The palette index nearest to a colour word, by search over all 256 entries.
int NearestPaletteIndex(uint32_t colour);

// The index in pixel (x, y) at 1, 4 or 8 bits; 0 at any other depth.
int ReadIndex(const Image& image, int64_t x, int64_t y, uint32_t plane = 0);
// Writes the low bits of an index at 1, 4 or 8 bits; nothing at any other depth.
void WriteIndex(Image& image, int64_t x, int64_t y, int index, uint32_t plane = 0);

// Colour words: blue bits 0-7, green 8-15, red 16-23, alpha 24-31. An image without a store is one with null pixels.
uint32_t GetPixelColor(const Image& image, int64_t x, int64_t y, uint32_t plane = 0);
// Writes at x = width and y = height too, as far as that lies in the image's block.
void SetPixelColor(Image& image, int64_t x, int64_t y, uint32_t colour, uint32_t plane = 0);

// What a host's FillColor does to every plane: at 24 and 32 bits the colour's bytes, at 16 bits its 5-6-5 word, below
// that the nearest grey index.
void FillColor(Image& image, uint32_t colour);

inline uint32_t BlueOf(uint32_t colour) { return colour & 255; }
inline uint32_t GreenOf(uint32_t colour) { return (colour >> 8) & 255; }
inline uint32_t RedOf(uint32_t colour) { return (colour >> 16) & 255; }
inline uint32_t AlphaOf(uint32_t colour) { return (colour >> 24) & 255; }
inline uint32_t ColourOf(uint32_t blue, uint32_t green, uint32_t red, uint32_t alpha) {
    return blue | green << 8 | red << 16 | alpha << 24;
}

}  // namespace ref
