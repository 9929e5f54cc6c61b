#include "support/Images.h"

#include <cstdlib>
#include <sstream>

namespace test {
namespace {

uint64_t NameSeed() {
    const testing::TestInfo* info = testing::UnitTest::GetInstance()->current_test_info();
    uint64_t hash = 0xCBF29CE484222325ull;
    if (info) {
        for (const char c : std::string(info->test_suite_name()) + "." + info->name()) {
            hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3ull;
        }
    }
    return hash;
}

std::string FormatName(uint32_t format) {
    std::string name;
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>(format >> (8 * i));
        name += c >= ' ' && c <= '~' ? c : '.';
    }
    return format ? name : "0";
}

testing::AssertionResult SameShape(const ref::Image& expected, const ref::Image& actual) {
    if (expected.width == actual.width && expected.height == actual.height && expected.planes == actual.planes &&
        expected.bitsPerPixel == actual.bitsPerPixel && expected.format == actual.format &&
        expected.store.size() == actual.store.size()) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "expected " << Describe(expected) << " (" << expected.store.size()
                                       << " stored), got " << Describe(actual) << " (" << actual.store.size()
                                       << " stored)";
}

// Counts differences and remembers the first.
class Differences {
public:
    void Compare(uint32_t plane, uint32_t y, int64_t byte, int expected, int actual) {
        if (expected == actual) return;
        if (m_count++ == 0) {
            m_first << "plane " << plane << ", row " << y << ", byte " << byte << ": expected " << expected << ", got "
                    << actual;
        }
    }
    testing::AssertionResult Result(const ref::Image& expected) const {
        if (m_count == 0) return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << Describe(expected) << ": " << m_count << " bytes differ, first " << m_first.str();
    }

private:
    int64_t m_count = 0;
    std::ostringstream m_first;
};

}  // namespace

void RandomCases(int rounds, const std::function<void(Random&)>& body) {
    const char* only = std::getenv("VELMATHS_TEST_SEED");
    const char* factor = std::getenv("VELMATHS_TEST_ROUNDS");
    const int cases = only ? 1 : rounds * (factor ? std::atoi(factor) : 1);
    for (int i = 0; i < cases; ++i) {
        Random random(only ? std::strtoull(only, nullptr, 0) : NameSeed() + static_cast<uint64_t>(i));
        SCOPED_TRACE("repeat this case with VELMATHS_TEST_SEED=" + std::to_string(random.Seed()));
        body(random);
        if (testing::Test::HasFailure()) return;
    }
}

uint32_t RandomSize(Random& random, uint32_t largest) {
    const uint32_t size = random.Chance(60)
                              ? random.Pick<uint32_t>({1,  2,  3,  5,  7,  11, 13, 15,  16,  17,  31,  32, 33,
                                                       47, 61, 63, 64, 65, 67, 97, 127, 128, 129, 131, 149})
                              : static_cast<uint32_t>(random.Int(1, static_cast<int>(largest)));
    return size <= largest ? size : static_cast<uint32_t>(random.Int(1, static_cast<int>(largest)));
}

ref::Image RandomImage(Random& random, uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel,
                       uint32_t format) {
    const uint64_t rowBytes = (uint64_t{width} * bitsPerPixel + 7) / 8;
    int32_t stride = static_cast<int32_t>(rowBytes) + random.Pick({0, 0, 1, 2, 3, 5, 40});
    if (random.Chance(40)) stride = static_cast<int32_t>((rowBytes + 3) / 4 * 4);
    if (stride == 0) stride = 4;
    ref::Image image(width, height, planes, bitsPerPixel, format, random.Chance(50) ? stride : -stride);
    for (std::vector<uint8_t>& plane : image.store) {
        for (uint8_t& byte : plane) byte = random.Byte();
    }
    return image;
}

ref::Image RandomImage(Random& random, const ImageChoice& choice) {
    const uint32_t bitsPerPixel = random.Pick(choice.depths);
    uint32_t format = 0;
    if (!choice.formats.empty()) {
        format = random.Pick(choice.formats);
    } else if (bitsPerPixel >= 24) {
        format = random.Pick({ref::kBgr, ref::kBgr, ref::kAbgr, ref::kArgb, ref::kMono, uint32_t{0}});
    } else if (bitsPerPixel == 16) {
        format = random.Pick({ref::kBgr, ref::kMono, uint32_t{0}});
    } else {
        format = random.Pick({ref::kMono, ref::kMono, ref::kBgr, uint32_t{0}});
    }
    uint32_t width = RandomSize(random, choice.largestWidth), height = RandomSize(random, choice.largestHeight);
    if (choice.zeroSizes && random.Chance(6)) (random.Chance(50) ? width : height) = 0;
    const uint32_t planes = choice.largestPlanes > 1 && random.Chance(10)
                                ? static_cast<uint32_t>(random.Int(2, static_cast<int>(choice.largestPlanes)))
                                : 1;
    return RandomImage(random, width, height, planes, bitsPerPixel, format);
}

ref::Image Relaid(Random& random, const ref::Image& image) {
    ref::Image copy = RandomImage(random, image.width, image.height, image.planes, image.bitsPerPixel, image.format);
    copy.palette = image.palette;
    for (uint32_t plane = 0; plane < image.store.size(); ++plane) {
        for (uint32_t y = 0; y < image.height; ++y) {
            for (int64_t i = 0; i < static_cast<int64_t>(image.RowBytes()); ++i)
                copy.Put(y, i, image.Get(y, i, plane), plane);
        }
    }
    return copy;
}

StoreRecipe RandomRecipe(Random& random) {
    return {random.Pick({0, 0, 1, 3, 4, 16}), random.Chance(50), ref::kCreatedByte,
            static_cast<size_t>(random.Pick({0, 0, 1, 3, 8}))};
}

std::string Describe(const ref::Image& image) {
    std::ostringstream text;
    text << image.bitsPerPixel << " bits " << FormatName(image.format) << ", " << image.width << " x " << image.height
         << ", " << image.planes << (image.planes == 1 ? " plane" : " planes") << ", stride " << image.stride;
    return text.str();
}

testing::AssertionResult SameBytes(const ref::Image& expected, const ref::Image& actual) {
    if (const testing::AssertionResult shape = SameShape(expected, actual); !shape) return shape;
    if (expected.stride != actual.stride) {
        return testing::AssertionFailure() << "expected stride " << expected.stride << ", got " << actual.stride;
    }
    Differences differences;
    for (uint32_t plane = 0; plane < expected.store.size(); ++plane) {
        const std::vector<uint8_t>&a = expected.store[plane], &b = actual.store[plane];
        if (a.size() != b.size()) return testing::AssertionFailure() << "the pixel blocks differ in size";
        const int64_t rows = expected.height, pitch = std::llabs(expected.stride);
        for (size_t i = 0; i < a.size(); ++i) {
            if (a[i] == b[i]) continue;
            const int64_t inMemory = static_cast<int64_t>(i) / pitch;
            const int64_t y = expected.stride < 0 ? rows - 1 - inMemory : inMemory;
            differences.Compare(plane, static_cast<uint32_t>(y), static_cast<int64_t>(i) % pitch, a[i], b[i]);
        }
    }
    return differences.Result(expected);
}

testing::AssertionResult SamePixels(const ref::Image& expected, const ref::Image& actual) {
    if (const testing::AssertionResult shape = SameShape(expected, actual); !shape) return shape;
    Differences differences;
    const int64_t bits = static_cast<int64_t>(expected.width) * expected.bitsPerPixel;
    for (uint32_t plane = 0; plane < expected.store.size(); ++plane) {
        for (uint32_t y = 0; y < expected.height; ++y) {
            for (int64_t i = 0; i < (bits + 7) / 8; ++i) {
                const int64_t used = bits - 8 * i >= 8 ? 8 : bits - 8 * i;
                const int mask = 0xFF & (0xFF << (8 - used));
                differences.Compare(plane, y, i, expected.Get(y, i, plane) & mask, actual.Get(y, i, plane) & mask);
            }
        }
    }
    return differences.Result(expected);
}

ref::Image ImageOf(uint32_t width, uint32_t bitsPerPixel, uint32_t format,
                   std::initializer_list<std::initializer_list<int>> rows) {
    ref::Image image(width, static_cast<uint32_t>(rows.size()), 1, bitsPerPixel, format);
    int64_t y = 0;
    for (const std::initializer_list<int>& row : rows) {
        int64_t offset = 0;
        for (const int byte : row) image.Put(y, offset++, static_cast<uint8_t>(byte));
        ++y;
    }
    return image;
}

}  // namespace test
