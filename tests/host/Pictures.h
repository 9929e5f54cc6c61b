// Images and folders for the tests of picture files.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "host/Files.h"
#include "support/Images.h"

namespace test {

// A folder of its own, deleted at the end of the scope.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

// A kind of picture that images can hold.
struct PictureKind {
    const char* name;
    uint32_t bitsPerPixel;
    uint32_t format;
    bool palette = false;
};
inline constexpr PictureKind kPictureKinds[] = {
    {"1-bit grey", 1, FORMAT_MONO},
    {"4-bit grey", 4, FORMAT_MONO},
    {"8-bit grey", 8, FORMAT_MONO},
    {"1-bit palette", 1, FORMAT_BGR, true},
    {"4-bit palette", 4, FORMAT_BGR, true},
    {"8-bit palette", 8, FORMAT_BGR, true},
    {"5-6-5", 16, FORMAT_BGR},
    {"24 bits", 24, FORMAT_BGR},
    {"32 bits", 32, FORMAT_BGR},
    {"32 bits with alpha", 32, FORMAT_ARGB},
    {"32-bit integers", 32, FORMAT_MONO},
};

// Random pixels, row order and palette (two entries at least, indexes within it).
SmartPtr<velhost::Image> RandomPicture(Random& random, const PictureKind& kind, uint32_t width, uint32_t height);

// Index of a pixel of 8 bits or less.
uint32_t IndexAt(const velhost::Image& image, uint32_t x, uint32_t y);

// Shape, pixels (unused low bits of a row's last byte apart) and palette: entries that only one of them has must be
// unused ones.
testing::AssertionResult SamePicture(const velhost::Image& expected, const velhost::Image& actual);

// Whether this build reads and writes files of that extension.
bool HasFormat(const std::filesystem::path& name);

std::vector<uint8_t> ReadBytes(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, std::span<const uint8_t> bytes);

// The message of the velhost::Error that `action` throws, checked to be one line; empty when it throws none.
template <class Action>
std::string ErrorOf(Action action, velhost::ErrorKind* kind = nullptr) {
    try {
        action();
    } catch (const velhost::Error& error) {
        if (kind) *kind = error.Kind();
        const std::string message = error.what();
        EXPECT_FALSE(message.empty());
        EXPECT_EQ(message.find_first_of("\n\r\t"), std::string::npos) << message;
        return message;
    }
    return {};
}

}  // namespace test
