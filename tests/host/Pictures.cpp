#include "host/Pictures.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace test {

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "velmaths-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) ADD_FAILURE() << "no temporary folder";
    m_path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

SmartPtr<velhost::Image> RandomPicture(Random& random, const PictureKind& kind, uint32_t width, uint32_t height) {
    using velhost::RowOrder;
    auto image = velhost::Image::Make({width, height, kind.bitsPerPixel, kind.format},
                                      random.Chance(50) ? RowOrder::BottomUp : RowOrder::TopDown);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint64_t i = 0; i < image->GetShape().RowBytes(); ++i) image->Row(y)[i] = random.Byte();
    }
    if (!kind.palette) return image;
    const uint32_t full = 1u << kind.bitsPerPixel;
    const auto entries = static_cast<uint32_t>(random.Int(2, static_cast<int>(full)));
    std::vector<RGBQUAD> palette;
    // The first entry is no grey, so that the palette is no grey ramp by accident.
    for (uint32_t i = 0; i < entries; ++i) {
        palette.push_back({static_cast<uint8_t>(i == 0 ? 77 : random.Byte()), random.Byte(),
                           static_cast<uint8_t>(i == 0 ? 3 : random.Byte()), 0});
    }
    EXPECT_TRUE(image->SetPalette(palette));
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t index = IndexAt(*image.Get(), x, y) % entries;
            uint8_t& byte = image->Row(y)[uint64_t{x} * kind.bitsPerPixel / 8];
            const uint32_t shift = 8 - kind.bitsPerPixel - x * kind.bitsPerPixel % 8;
            byte = static_cast<uint8_t>((byte & ~((full - 1) << shift)) | index << shift);
        }
    }
    return image;
}

uint32_t IndexAt(const velhost::Image& image, uint32_t x, uint32_t y) {
    const uint32_t bits = image.BitsPerPixel();
    const uint32_t shift = 8 - bits - x * bits % 8;
    return image.Row(y)[uint64_t{x} * bits / 8] >> shift & ((1u << bits) - 1);
}

testing::AssertionResult SamePicture(const velhost::Image& expected, const velhost::Image& actual) {
    const auto text = [](const velhost::Shape& s) {
        return std::to_string(s.width) + "x" + std::to_string(s.height) + ", " + std::to_string(s.bitsPerPixel) +
               " bits, code " + std::to_string(s.format) + ", planes " + std::to_string(s.planes);
    };
    if (expected.GetShape() != actual.GetShape()) {
        return testing::AssertionFailure() << text(actual.GetShape()) << " instead of " << text(expected.GetShape());
    }
    if (expected.Palette().empty() != actual.Palette().empty()) {
        return testing::AssertionFailure()
               << actual.Palette().size() << " palette entries instead of " << expected.Palette().size();
    }
    const size_t common = std::min(expected.Palette().size(), actual.Palette().size());
    for (size_t i = 0; i < common; ++i) {
        const RGBQUAD &a = expected.Palette()[i], &b = actual.Palette()[i];
        if (a.rgbBlue != b.rgbBlue || a.rgbGreen != b.rgbGreen || a.rgbRed != b.rgbRed) {
            return testing::AssertionFailure() << "another palette entry " << i;
        }
    }
    const bool low = expected.BitsPerPixel() < 8;
    for (uint32_t y = 0; y < expected.Height(); ++y) {
        for (uint32_t x = 0; x < expected.Width(); ++x) {
            const size_t bytes = expected.BitsPerPixel() / 8;
            const bool same = low ? IndexAt(expected, x, y) == IndexAt(actual, x, y)
                                  : std::memcmp(expected.Row(y) + x * bytes, actual.Row(y) + x * bytes, bytes) == 0;
            if (!same) return testing::AssertionFailure() << "another pixel at " << x << ", " << y;
            if (expected.BitsPerPixel() <= 8 && common != 0 && IndexAt(expected, x, y) >= common) {
                return testing::AssertionFailure() << "a used palette entry is missing";
            }
        }
    }
    return testing::AssertionSuccess();
}

bool HasFormat(const std::filesystem::path& name) { return !velhost::FormatOf(name).empty(); }

std::vector<uint8_t> ReadBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteBytes(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(out) << path;
}

}  // namespace test
