// Median, Jitter, Noise: worked numbers, borders, and the random numbers that are drawn.
#include <climits>
#include <cstdlib>

#include "reference/Pixel.h"
#include "support/NewImages.h"

namespace {

using ref::GetPixelColor;
using ref::kBgr;
using test::Flat;
using test::ImageOf;

class RankAndRandom : public test::ComponentTest<IVELFilterTransform> {
protected:
    ref::Image Median(const ref::Image& source, int size) {
        return test::Result([&](IVEL* image, IVEL** dest) { return component->Median(image, size, dest); }, source);
    }
    ref::Image Jitter(const ref::Image& source, int radius) {
        return test::Result([&](IVEL* image, IVEL** dest) { return component->Jitter(image, radius, dest); }, source);
    }
    ref::Image Noise(const ref::Image& source, int level) {
        return test::Result([&](IVEL* image, IVEL** dest) { return component->Noise(image, level, dest); }, source);
    }
};

ref::Image Numbered32(uint32_t width, uint32_t height) {
    ref::Image image(width, height, 1, 32, kBgr);
    uint8_t next = 0;
    for (uint8_t& byte : image.store[0]) byte = next += 29;
    return image;
}

// The next number of the generator after `count` draws from this seed.
int DrawAfter(unsigned seed, uint32_t count) {
    std::srand(seed);
    for (uint32_t i = 0; i < count; ++i) std::rand();
    return std::rand();
}

TEST_F(RankAndRandom, MedianOfSize1Copies) {
    EXPECT_TRUE(test::SamePixels(Numbered32(19, 5), Median(Numbered32(19, 5), 1)));
}

TEST_F(RankAndRandom, ALoneBrightPixelDisappears) {
    ref::Image source = Flat(7, 7, 24, kBgr, 0x00101010);
    ref::SetPixelColor(source, 3, 3, 0x00FFFFFF);
    EXPECT_TRUE(test::SamePixels(Flat(7, 7, 24, kBgr, 0x00101010), Median(source, 3)));
}

TEST_F(RankAndRandom, MedianOrdersByWeightedBrightness) {
    // Keys of pure green 100, red 190 and blue 255: 58, 56 and 29.
    const uint32_t green = 0x00006400, red = 0x00BE0000, blue = 0x000000FF;
    ref::Image source(3, 3, 1, 24, kBgr);
    for (int y = 0; y < 3; ++y) {
        ref::SetPixelColor(source, 0, y, green);
        ref::SetPixelColor(source, 1, y, blue);
        ref::SetPixelColor(source, 2, y, red);
    }
    EXPECT_EQ(GetPixelColor(Median(source, 3), 1, 1), red);
}

TEST_F(RankAndRandom, MedianOfAnEvenCountIsTheUpperOne) {
    // Size 2 sees offsets -1 and 0: four samples, the third smallest is written.
    const ref::Image source = ImageOf(2, 8, kBgr, {{10, 40}, {30, 20}});
    EXPECT_EQ(Median(source, 2).Get(1, 1), 30);
}

TEST_F(RankAndRandom, AmongEqualKeysTheVisitingOrderDecides) {
    // Nine colours with key 50; the fifth visited (columns outer, rows inner) is the centre.
    ref::Image source(3, 3, 1, 32, kBgr);
    for (uint32_t y = 0; y < 3; ++y) {
        for (uint32_t x = 0; x < 3; ++x) ref::SetPixelColor(source, x, y, 0x00323232 | (10 * x + y + 2) << 24);
    }
    EXPECT_EQ(GetPixelColor(Median(source, 3), 1, 1), 0x0D323232u);  // alpha 10 * 1 + 1 + 2
    // With one darker sample, in whatever place, the fifth is the fourth of the equal ones.
    ref::SetPixelColor(source, 2, 2, 0x77000000);
    EXPECT_EQ(GetPixelColor(Median(source, 3), 1, 1), 0x0C323232u);  // column 1, row 0
    // With one brighter sample before them it is the sixth visited.
    ref::SetPixelColor(source, 2, 2, 0x18323232);
    ref::SetPixelColor(source, 0, 0, 0x77FFFFFF);
    EXPECT_EQ(GetPixelColor(Median(source, 3), 1, 1), 0x0E323232u);  // column 1, row 2
}

TEST_F(RankAndRandom, ASampleFromOutsideCanBeChosen) {
    ref::Image source = Flat(4, 4, 32, kBgr, 0xC8000000);
    ref::SetPixelColor(source, 0, 0, 0xC8646464);
    // In the last corner five of nine samples lie outside and read as pixel (0, 0) with alpha 1.
    EXPECT_EQ(GetPixelColor(Median(source, 3), 3, 3), 0x01646464u);
    EXPECT_EQ(GetPixelColor(Median(source, 3), 2, 2), 0xC8000000u);
}

TEST_F(RankAndRandom, MedianRefusesSizesBelow1) {
    for (const int size : {0, -1, INT_MIN}) {
        const auto image = test::TestImage::New(Numbered32(5, 5));
        IVEL* dest = nullptr;
        EXPECT_EQ(component->Median(image.Get(), size, &dest), E_INVALIDARG);
        EXPECT_EQ(dest, nullptr);
        EXPECT_EQ(component->Median(image.Get(), size, nullptr), E_INVALIDARG);
        EXPECT_TRUE(test::SameBytes(Numbered32(5, 5), image));
        EXPECT_TRUE(collection->images.empty());
    }
}

TEST_F(RankAndRandom, JitterWithRadius0CopiesAndDrawsTwicePerPixel) {
    std::srand(77);
    const ref::Image result = Jitter(Numbered32(19, 7), 0);
    const int next = std::rand();
    EXPECT_TRUE(test::SamePixels(Numbered32(19, 7), result));
    EXPECT_EQ(next, DrawAfter(77, 2 * 19 * 7));
}

TEST_F(RankAndRandom, JitterTakesPixelsWithinTheRadiusAndNeverFromOutside) {
    // Row and column of each pixel are its colour; alpha 1 would mark a read from outside.
    ref::Image source(30, 20, 1, 32, kBgr);
    for (uint32_t y = 0; y < 20; ++y) {
        for (uint32_t x = 0; x < 30; ++x) ref::SetPixelColor(source, x, y, ref::ColourOf(x, y, 0, 200));
    }
    std::srand(5);
    const ref::Image result = Jitter(source, 3);
    bool moved = false;
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 30; ++x) {
            const uint32_t colour = GetPixelColor(result, x, y);
            EXPECT_EQ(ref::AlphaOf(colour), 200u);
            const int dx = static_cast<int>(ref::BlueOf(colour)) - x, dy = static_cast<int>(ref::GreenOf(colour)) - y;
            EXPECT_LE(std::abs(dx), 3);
            EXPECT_LE(std::abs(dy), 3);
            moved |= dx != 0 || dy != 0;
        }
    }
    EXPECT_TRUE(moved);
}

TEST_F(RankAndRandom, JitterFollowsTheDraws) {
    ref::Image source(64, 3, 1, 8, kBgr);
    for (int x = 0; x < 64; ++x) source.Put(1, x, static_cast<uint8_t>(x));
    std::srand(4242);
    const ref::Image result = Jitter(source, 5);
    std::srand(4242);
    for (int i = 0; i < 64 * 3; ++i) {
        const double u1 = static_cast<float>(std::rand()) * 0x1p-31f, u2 = static_cast<float>(std::rand()) * 0x1p-31f;
        int x = i % 64 + static_cast<int>((u1 - 0.5) * 10), y = i / 64 + static_cast<int>((u2 - 0.5) * 10);
        if (x < 0 || x >= 64 || y < 0 || y >= 3) x = i % 64, y = i / 64;
        EXPECT_EQ(result.Get(i / 64, i % 64), source.Get(y, x)) << i;
    }
}

TEST_F(RankAndRandom, NoiseWithLevel0CopiesAndDrawsThreeTimesPerPixel) {
    std::srand(78);
    const ref::Image result = Noise(Numbered32(19, 7), 0);
    const int next = std::rand();
    EXPECT_TRUE(test::SamePixels(Numbered32(19, 7), result));
    EXPECT_EQ(next, DrawAfter(78, 3 * 19 * 7));
}

TEST_F(RankAndRandom, NoiseDrawsForRedThenGreenThenBlue) {
    const ref::Image source = Flat(9, 5, 32, kBgr, 0xC8808080);
    std::srand(99);
    const ref::Image result = Noise(source, 100);
    std::srand(99);
    for (int i = 0; i < 45; ++i) {
        uint32_t value[3];
        for (uint32_t& v : value) {
            const double u = static_cast<float>(std::rand()) * 0x1p-31f;
            v = static_cast<uint32_t>(128 + static_cast<int>((u - 0.5) * 100));
            EXPECT_GE(v, 78u);
            EXPECT_LE(v, 178u);
        }
        EXPECT_EQ(GetPixelColor(result, i % 9, i / 9), ref::ColourOf(value[2], value[1], value[0], 200));
    }
}

TEST_F(RankAndRandom, NoiseOfANegativeLevelHasTheSameSpread) {
    std::srand(7);
    const ref::Image down = Noise(Flat(20, 20, 24, kBgr, 0x00808080), -60);
    std::srand(7);
    const ref::Image up = Noise(Flat(20, 20, 24, kBgr, 0x00808080), 60);
    for (int i = 0; i < 400 * 3; ++i) {
        EXPECT_EQ(down.Get(i / 60, i % 60) - 128, 128 - up.Get(i / 60, i % 60));
        EXPECT_LE(std::abs(down.Get(i / 60, i % 60) - 128), 30);
    }
}

TEST_F(RankAndRandom, NoiseIsClamped) {
    std::srand(3);
    const ref::Image dark = Noise(Flat(20, 20, 24, kBgr, 0), 2000),
                     bright = Noise(Flat(20, 20, 24, kBgr, 0x00FFFFFF), 2000);
    int blacks = 0, whites = 0;
    for (const uint8_t byte : dark.store[0]) blacks += byte == 0;
    for (const uint8_t byte : bright.store[0]) whites += byte == 255;
    EXPECT_GT(blacks, 400);
    EXPECT_GT(whites, 400);
}

TEST_F(RankAndRandom, DepthsThatAreNotWrittenStillDraw) {
    const ref::Image source = Flat(6, 4, 16, kBgr, 0);
    std::srand(11);
    EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(source), Jitter(source, 4)));
    const int afterJitter = std::rand();
    EXPECT_EQ(afterJitter, DrawAfter(11, 2 * 24));
    std::srand(12);
    EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(source), Noise(source, 4)));
    const int afterNoise = std::rand();
    EXPECT_EQ(afterNoise, DrawAfter(12, 3 * 24));
}

}  // namespace
