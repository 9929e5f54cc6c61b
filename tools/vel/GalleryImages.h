// Pictures of every depth made from one, for the gallery.
#pragma once

#include <string>
#include <vector>

#include "Picture.h"

namespace veltool {

// The kinds of picture that the gallery shows operations on, most telling first.
const std::vector<std::string>& GalleryDepths();  // "24", "32", "8", "integer", "16", "4", "1"

// A 24-bit picture reduced by whole steps (means of squares) until neither side is longer than `longest`.
SmartPtr<velhost::Image> Reduced(const SmartPtr<velhost::Image>& picture, uint32_t longest);

// A 24-bit picture in one of GalleryDepths(): 32 with an oval of alpha, 8 to 1 as greys, integer as thousands.
SmartPtr<velhost::Image> InDepth(const SmartPtr<velhost::Image>& picture, const std::string& depth);

// A rectangle of a picture of 24 or 32 bits.
SmartPtr<velhost::Image> Cropped(const SmartPtr<velhost::Image>& picture, uint32_t x, uint32_t y, uint32_t width,
                                 uint32_t height);

// What a browser can show: 24 or 32 bits; integers from their least to their greatest value.
SmartPtr<velhost::Image> Viewable(const SmartPtr<velhost::Image>& picture);

// A 24-bit copy with alpha laid over a checkerboard, reduced to `longest`.
SmartPtr<velhost::Image> FlattenedOnGrey(const SmartPtr<velhost::Image>& picture, uint32_t longest);

// Two 24-bit pictures side by side on white, `gap` pixels apart.
SmartPtr<velhost::Image> Beside(const SmartPtr<velhost::Image>& left, const SmartPtr<velhost::Image>& right,
                                uint32_t gap);

// FNV-1a, 64 bits, of size, depth, format code and pixels, in hexadecimal.
std::string PictureHash(const velhost::Image& picture);

}  // namespace veltool
