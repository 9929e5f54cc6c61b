// Images for tests of the C interface, which know nothing of the library but its header.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "vel.h"

namespace capitest {

struct Release {
    void operator()(vel_image* image) const { vel_image_release(image); }
};
using Owned = std::unique_ptr<vel_image, Release>;

#define EXPECT_VEL(call) EXPECT_EQ(call, VEL_OK) << vel_last_error()
#define ASSERT_VEL(call) ASSERT_EQ(call, VEL_OK) << vel_last_error()

inline vel_image_info InfoOf(vel_image* image) {
    vel_image_info info{};
    info.size = sizeof info;
    EXPECT_VEL(vel_image_get_info(image, &info));
    return info;
}

// The rows' pixels, top to bottom.
inline std::vector<uint8_t> Bytes(vel_image* image) {
    const vel_image_info info = InfoOf(image);
    std::vector<uint8_t> bytes;
    for (uint32_t y = 0; y < info.height && info.width != 0; ++y) {
        uint8_t* row = nullptr;
        EXPECT_VEL(vel_image_row(image, y, &row));
        bytes.insert(bytes.end(), row, row + info.row_bytes);
    }
    return bytes;
}

// Pixels that differ from their neighbours in every direction.
inline Owned Picture(uint32_t width, uint32_t height, uint32_t bits, uint32_t format, uint32_t seed = 0) {
    vel_image* image = nullptr;
    EXPECT_VEL(vel_image_create(width, height, bits, format, &image));
    const vel_image_info info = InfoOf(image);
    for (uint32_t y = 0; y < height; ++y) {
        uint8_t* row = nullptr;
        EXPECT_VEL(vel_image_row(image, y, &row));
        for (uint64_t x = 0; x < info.row_bytes; ++x) row[x] = static_cast<uint8_t>(x * 37 + y * 101 + x * y + seed);
    }
    return Owned(image);
}

inline vel_argument Text(const char* name, const char* text) {
    vel_argument argument{};
    argument.name = name;
    argument.kind = VEL_TEXT;
    argument.value.text = text;
    return argument;
}

}  // namespace capitest
