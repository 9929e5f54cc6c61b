// Tinting: hue, saturation and lightness to colour, and the tables that Colorize works from.
#pragma once

#include "Headers.h"

// Colour word of a quad that carries lightness in its blue, saturation in its green and hue in its red byte (hue 0 to
// 255 is 0 to 360 degrees); its reserved byte becomes the alpha.
uint32_t HSLtoRGB(RGBQUAD hsl);
