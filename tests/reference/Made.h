// New images of the reference.
#pragma once

#include "Image.h"

namespace ref {

// Result codes.
constexpr int32_t kOk = 0;
constexpr int32_t kFail = static_cast<int32_t>(0x80004005);
constexpr int32_t kInvalidArgument = static_cast<int32_t>(0x80070057);
constexpr int32_t kNotMonochrome = static_cast<int32_t>(0xF0040031);

// What every byte of a new image holds until an operation writes it.
constexpr uint8_t kCreatedByte = 0xA5;

// What an operation that makes a new image leaves; `image` is empty where the result code says that none was made.
struct Made {
    int32_t code = kOk;
    Image image;
};

// A new image of that shape with its bytes as Create leaves them. stride 0: rows rounded up to 4 bytes.
inline Image Created(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format,
                     int32_t stride = 0) {
    Image image(width, height, planes, bitsPerPixel, format, stride);
    for (auto& plane : image.store) plane.assign(plane.size(), kCreatedByte);
    return image;
}

inline Image CreatedLike(const Image& model) {
    return Created(model.width, model.height, model.planes, model.bitsPerPixel, model.format);
}

}  // namespace ref
