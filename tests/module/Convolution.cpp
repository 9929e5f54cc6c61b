// Filter and its fixed kernels: worked numbers and the rules at the borders, for tiny windows and beyond 32 bits.
#include <array>
#include <climits>

#include "reference/Pixel.h"
#include "support/NewImages.h"

namespace {

using ref::AlphaOf;
using ref::GetPixelColor;
using ref::kBgr;
using test::Flat;
using test::ImageOf;

using Operation = std::function<HRESULT(IVEL*, IVEL**)>;

class Convolution : public test::ComponentTest<IVELFilterTransform> {
protected:
    ref::Image Filtered(const ref::Image& source, std::vector<int> kernel, int size, int divisor, int offset) {
        return test::Result(
            [&](IVEL* image, IVEL** dest) {
                return component->Filter(image, kernel.data(), size, divisor, offset, dest);
            },
            source);
    }
    Operation Emboss() {
        return [this](IVEL* image, IVEL** dest) { return component->Emboss(image, dest); };
    }
    Operation Blur() {
        return [this](IVEL* image, IVEL** dest) { return component->Blur(image, dest); };
    }
    Operation Soften() {
        return [this](IVEL* image, IVEL** dest) { return component->Soften(image, dest); };
    }
    Operation Sharpen() {
        return [this](IVEL* image, IVEL** dest) { return component->Sharpen(image, dest); };
    }
    Operation GaussianBlur(int level) {
        return [this, level](IVEL* image, IVEL** dest) { return component->GaussianBlur(image, level, dest); };
    }

    // What the operation makes of a black image with one white pixel: by neighbour offset, 255 times the coefficient
    // divided. `coefficients` by rows, from the topmost neighbour.
    void ExpectImpulseResponse(const Operation& operation, const std::vector<int>& coefficients, int divisor,
                               int offset) {
        const int size = coefficients.size() == 9 ? 3 : 5, half = size / 2, centre = 6;
        ref::Image source = Flat(13, 13, 24, kBgr, 0);
        ref::SetPixelColor(source, centre, centre, 0x00FFFFFF);
        const ref::Image result = test::Result(operation, source);
        for (int dy = -half; dy <= half; ++dy) {
            for (int dx = -half; dx <= half; ++dx) {
                const int sum = 255 * coefficients[static_cast<size_t>((dy + half) * size + dx + half)];
                int value = (divisor ? sum / divisor : sum) + offset;
                value = value < 0 ? 0 : value > 255 ? 255 : value;
                EXPECT_EQ(GetPixelColor(result, centre - dx, centre - dy), 0x010101u * static_cast<uint32_t>(value))
                    << "neighbour at " << dx << ", " << dy;
            }
        }
        EXPECT_EQ(GetPixelColor(result, centre + half + 1, centre), 0x010101u * static_cast<uint32_t>(offset));
        EXPECT_EQ(GetPixelColor(result, centre, centre - half - 1), 0x010101u * static_cast<uint32_t>(offset));
    }
};

// A 32-bit image whose pixels all differ, alpha included (never 1).
ref::Image Numbered(uint32_t width, uint32_t height) {
    ref::Image image(width, height, 1, 32, kBgr);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            const uint32_t n = y * width + x;
            ref::SetPixelColor(image, x, y, ref::ColourOf(n * 3 & 255, n * 5 & 255, n * 7 & 255, 2 + n % 250));
        }
    }
    return image;
}

TEST_F(Convolution, AlphaIsOneAlongTheLastHalfRowsAndColumns) {
    const ref::Image source = Numbered(9, 7);
    const auto expectAlpha = [&](const ref::Image& result, int half) {
        for (int y = 0; y < 7; ++y) {
            for (int x = 0; x < 9; ++x) {
                const bool outside = x + half >= 9 || y + half >= 7;
                const uint32_t expected = outside ? 1 : AlphaOf(GetPixelColor(source, x + half, y + half));
                EXPECT_EQ(AlphaOf(GetPixelColor(result, x, y)), expected) << x << ", " << y;
            }
        }
    };
    for (const Operation& operation : {Emboss(), Blur(), Soften(), Sharpen(), GaussianBlur(0)}) {
        expectAlpha(test::Result(operation, source), 1);
    }
    for (const int level : {1, 2, 3}) expectAlpha(test::Result(GaussianBlur(level), source), 2);
    expectAlpha(Filtered(source, std::vector<int>(49, 1), 7, 49, 0), 3);
    expectAlpha(Filtered(source, {1}, 1, 1, 0), 0);
}

TEST_F(Convolution, EvenSizesTakeAlphaFromOneNeighbourLess) {
    const ref::Image source = Numbered(8, 8);
    const ref::Image result = Filtered(source, std::vector<int>(16, 1), 4, 16, 0);
    EXPECT_EQ(AlphaOf(GetPixelColor(result, 3, 2)), AlphaOf(GetPixelColor(source, 4, 3)));
    EXPECT_EQ(AlphaOf(GetPixelColor(result, 6, 6)), AlphaOf(GetPixelColor(source, 7, 7)));
    EXPECT_EQ(AlphaOf(GetPixelColor(result, 7, 0)), 1u);
}

TEST_F(Convolution, OutsideContributesTheFirstPixelsColour) {
    ref::Image source = Flat(5, 5, 24, kBgr, 0x005A5A5A);
    ref::SetPixelColor(source, 0, 0, 0);
    const ref::Image result = test::Result(Blur(), source);
    EXPECT_EQ(GetPixelColor(result, 4, 4), 0x00282828u);  // 4 of 9 inside: 4 * 90 / 9
    EXPECT_EQ(GetPixelColor(result, 3, 0), 0x003C3C3Cu);  // 6 of 9 inside
    EXPECT_EQ(GetPixelColor(result, 2, 2), 0x005A5A5Au);
    EXPECT_EQ(GetPixelColor(result, 0, 0), 0x001E1E1Eu);  // 3 of 9: itself is black too
}

TEST_F(Convolution, EmbossOfAFlatImageIs127) {
    for (const uint32_t colour : {0x00000000u, 0x00FFFFFFu, 0x00123456u}) {
        const ref::Image result = test::Result(Emboss(), Flat(40, 5, 24, kBgr, colour));
        EXPECT_TRUE(test::SamePixels(Flat(40, 5, 24, kBgr, 0x007F7F7F), result));
    }
    EXPECT_TRUE(
        test::SamePixels(Flat(40, 5, 8, kBgr, 0x007F7F7F), test::Result(Emboss(), Flat(40, 5, 8, kBgr, 0xC8C8C8))));
}

TEST_F(Convolution, EmbossSubtractsTheUpperRightFromTheLowerLeft) {
    const ref::Image source = ImageOf(3, 8, kBgr, {{1, 2, 100}, {4, 5, 6}, {30, 8, 9}});
    const ref::Image result = test::Result(Emboss(), source);
    EXPECT_EQ(result.Get(1, 1), 30 - 100 + 127);
    EXPECT_EQ(result.Get(0, 1), 4 - 1 + 127);  // the upper right lies outside
    EXPECT_EQ(result.Get(1, 2), 8 - 1 + 127);
    EXPECT_EQ(result.Get(2, 0), 1 - 5 + 127);
}

TEST_F(Convolution, SmoothingLeavesAFlatImageUnchanged) {
    for (const uint32_t grey : {0u, 1u, 127u, 128u, 254u, 255u}) {
        const ref::Image flat = Flat(33, 6, 24, kBgr, 0x010101 * grey);
        for (const Operation& operation :
             {Blur(), Soften(), Sharpen(), GaussianBlur(0), GaussianBlur(1), GaussianBlur(3)}) {
            EXPECT_TRUE(test::SamePixels(flat, test::Result(operation, flat)));
        }
    }
}

TEST_F(Convolution, GaussianBlurLevel2DarkensFlat255To250) {
    for (const uint32_t depth : {8u, 24u}) {
        EXPECT_TRUE(test::SamePixels(Flat(20, 9, depth, kBgr, 0x00FAFAFA),
                                     test::Result(GaussianBlur(2), Flat(20, 9, depth, kBgr, 0x00FFFFFF))));
    }
}

TEST_F(Convolution, FixedKernelsByTheirImpulse) {
    ExpectImpulseResponse(Emboss(), {0, 0, -1, 0, 0, 0, 1, 0, 0}, 0, 127);
    ExpectImpulseResponse(Blur(), {1, 1, 1, 1, 1, 1, 1, 1, 1}, 9, 0);
    ExpectImpulseResponse(Soften(), {1, 1, 1, 1, 8, 1, 1, 1, 1}, 16, 0);
    ExpectImpulseResponse(Sharpen(), {-1, -1, -1, -1, 15, -1, -1, -1, -1}, 7, 0);
}

TEST_F(Convolution, GaussianKernelsByTheirImpulse) {
    ExpectImpulseResponse(GaussianBlur(0), {1, 2, 1, 2, 4, 2, 1, 2, 1}, 16, 0);
    ExpectImpulseResponse(GaussianBlur(1), {0, 1, 2, 1, 0, 1, 3, 4, 3, 1, 2, 4, 8, 4, 2, 1, 3, 4, 3, 1, 0, 1, 2, 1, 0},
                          52, 0);
    // The middle row begins with 2 and ends with 7.
    ExpectImpulseResponse(GaussianBlur(2),
                          {1, 4, 7, 4, 1, 4, 16, 26, 16, 4, 2, 26, 41, 26, 7, 4, 16, 26, 16, 4, 1, 4, 7, 4, 1}, 273, 0);
    ExpectImpulseResponse(GaussianBlur(3),
                          {2, 4, 5, 4, 2, 4, 9, 12, 9, 4, 5, 12, 15, 12, 5, 4, 9, 12, 9, 4, 2, 4, 5, 4, 2}, 159, 0);
}

TEST_F(Convolution, GaussianBlurRefusesOtherLevels) {
    const ref::Image source = Numbered(4, 4);
    for (const int level : {-1, 4, INT_MIN, INT_MAX}) {
        const auto image = test::TestImage::New(source);
        IVEL* dest = nullptr;
        EXPECT_EQ(component->GaussianBlur(image.Get(), level, &dest), E_FAIL);
        EXPECT_EQ(dest, nullptr);
        EXPECT_EQ(component->GaussianBlur(image.Get(), level, nullptr), E_FAIL);
        EXPECT_TRUE(test::SameBytes(source, image));
        EXPECT_TRUE(collection->images.empty()) << "An image was made.";
    }
}

TEST_F(Convolution, ASingleOneAtTheCentreCopiesTheColour) {
    const ref::Image source = Numbered(6, 5);
    const ref::Image result = Filtered(source, {0, 0, 0, 0, 1, 0, 0, 0, 0}, 3, 0, 0);
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 6; ++x) {
            EXPECT_EQ(GetPixelColor(result, x, y) & 0xFFFFFF, GetPixelColor(source, x, y) & 0xFFFFFF);
        }
    }
}

TEST_F(Convolution, Size4ReachesFromMinus2To1) {
    const ref::Image source = Numbered(8, 8);
    const auto single = [&](size_t at) {
        std::vector<int> kernel(16, 0);
        kernel[at] = 1;
        return Filtered(source, kernel, 4, 0, 0);
    };
    const auto colour = [](const ref::Image& image, int x, int y) { return GetPixelColor(image, x, y) & 0xFFFFFF; };
    EXPECT_EQ(colour(single(0), 4, 5), colour(source, 2, 3));
    EXPECT_EQ(colour(single(15), 4, 5), colour(source, 5, 6));
    EXPECT_EQ(colour(single(3), 4, 5), colour(source, 5, 3));
    EXPECT_EQ(colour(single(12), 4, 5), colour(source, 2, 6));
    EXPECT_EQ(colour(single(0), 1, 5), colour(source, 0, 0));  // outside
}

TEST_F(Convolution, SizeBelow1WritesTheOffset) {
    const ref::Image source = Numbered(5, 4);
    for (const int size : {0, -1, -2, -7, INT_MIN}) {
        for (const int divisor : {0, 1, -3}) {
            EXPECT_TRUE(test::SamePixels(Flat(5, 4, 32, kBgr, 0x00646464), Filtered(source, {}, size, divisor, 100)));
            EXPECT_TRUE(test::SamePixels(Flat(5, 4, 32, kBgr, 0x00000000), Filtered(source, {}, size, divisor, -5)));
            EXPECT_TRUE(test::SamePixels(Flat(5, 4, 32, kBgr, 0x00FFFFFF), Filtered(source, {}, size, divisor, 300)));
        }
    }
}

TEST_F(Convolution, DivisionTruncatesTowardZeroAndComesBeforeTheOffset) {
    const ref::Image source = ImageOf(1, 8, kBgr, {{7}});
    EXPECT_EQ(Filtered(source, {-1}, 1, 2, 10).Get(0, 0), 7);  // -7 / 2 = -3
    EXPECT_EQ(Filtered(source, {1}, 1, -2, 10).Get(0, 0), 7);  // 7 / -2 = -3
    EXPECT_EQ(Filtered(source, {1}, 1, 2, 10).Get(0, 0), 13);
    EXPECT_EQ(Filtered(source, {1}, 1, 0, 10).Get(0, 0), 17);
    EXPECT_EQ(Filtered(source, {1}, 1, INT_MIN, 10).Get(0, 0), 10);
}

TEST_F(Convolution, ValuesAreClamped) {
    const ref::Image source = ImageOf(1, 8, kBgr, {{128}});
    EXPECT_EQ(Filtered(source, {2}, 1, 0, -1).Get(0, 0), 255);
    EXPECT_EQ(Filtered(source, {2}, 1, 0, 0).Get(0, 0), 255);
    EXPECT_EQ(Filtered(source, {2}, 1, 0, -2).Get(0, 0), 254);
    EXPECT_EQ(Filtered(source, {-1}, 1, 0, 127).Get(0, 0), 0);
    EXPECT_EQ(Filtered(source, {-1}, 1, 0, 129).Get(0, 0), 1);
}

TEST_F(Convolution, SumsWrapAt32Bits) {
    const ref::Image white = Flat(3, 3, 24, kBgr, 0x00FFFFFF);
    // 255 * 16843010 = 2^32 + 254
    EXPECT_TRUE(test::SamePixels(Flat(3, 3, 24, kBgr, 0x00FEFEFE), Filtered(white, {16843010}, 1, 0, 0)));
    // 9 * 255 * 1871445 = 2^32 - 1021
    EXPECT_TRUE(
        test::SamePixels(Flat(3, 3, 24, kBgr, 0x00666666), Filtered(white, std::vector<int>(9, 1871445), 3, -10, 0)));
}

TEST_F(Convolution, TheLeastSumDividedByMinusOneWraps) {
    const ref::Image source = ImageOf(1, 8, kBgr, {{128}});  // 128 * -2^24 is the least 32-bit number
    EXPECT_EQ(Filtered(source, {-(1 << 24)}, 1, -1, 0).Get(0, 0), 0);
    EXPECT_EQ(Filtered(source, {-(1 << 24)}, 1, -1, INT_MAX).Get(0, 0), 0);
    EXPECT_EQ(Filtered(source, {-(1 << 24)}, 1, 1 << 24, 228).Get(0, 0), 100);
}

// The sums around multiples of the divisor, where a quotient that is only nearly right shows. Each sum is made of the
// digits of one run of five pixels; the offset moves its quotient into 0 to 255.
TEST_F(Convolution, QuotientsAreExactAroundMultiplesOfTheDivisor) {
    struct Digits {
        std::array<int, 4> units;  // coefficients of the run's last four pixels
        int64_t limit;             // greatest sum
    };
    const Digits digits[] = {
        {{1 << 24, 1 << 16, 1 << 8, 1}, INT_MAX}, {{0, 1 << 13, 1 << 6, 1}, 2000000}, {{0, 0, 16, 1}, 4000}};
    test::RandomCases(600, [&](test::Random& random) {
        const Digits& system = digits[random.Int(0, 2)];
        const int64_t divisor =
            random.Chance(70) ? random.Int(2, 1100) : random.Int(2, static_cast<int>(system.limit / 4));
        const int64_t middle = random.Int(0, static_cast<int>(system.limit / divisor));
        const int sign = random.Pick({1, -1}), divisorSign = random.Pick({1, -1});
        std::vector<int64_t> sums;
        for (int64_t quotient = std::max<int64_t>(0, middle - 40); quotient < middle + 40; ++quotient) {
            for (int64_t sum = quotient * divisor - 1; sum <= quotient * divisor + 1; ++sum) {
                if (sum >= 0 && sum <= system.limit) sums.push_back(sum);
            }
        }
        ref::Image source(static_cast<uint32_t>(5 * sums.size()), 1, 1, 8, kBgr);
        for (size_t i = 0; i < sums.size(); ++i) {
            int64_t rest = sums[i];
            for (size_t k = 0; k < 4; ++k) {
                const int64_t digit = system.units[k] ? rest / system.units[k] : 0;
                source.Put(0, static_cast<int64_t>(5 * i + 1 + k), static_cast<uint8_t>(digit));
                rest -= digit * system.units[k];
            }
            ASSERT_EQ(rest, 0) << sums[i];
        }
        std::vector<int> kernel(25, 0);
        for (size_t k = 0; k < 4; ++k) kernel[11 + k] = sign * system.units[k];
        const int turn = sign * divisorSign;
        const ref::Image result =
            Filtered(source, kernel, 5, static_cast<int>(divisorSign * divisor), static_cast<int>(128 - turn * middle));
        for (size_t i = 0; i < sums.size(); ++i) {
            EXPECT_EQ(result.Get(0, static_cast<int64_t>(5 * i + 2)), turn * (sums[i] / divisor) + 128 - turn * middle)
                << sign * sums[i] << " / " << divisorSign * divisor;
        }
    });
}

TEST_F(Convolution, DepthsThatAreNotWrittenKeepWhatCreateLeft) {
    const ref::Image source = Flat(5, 4, 16, kBgr, 0);
    EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(source), test::Result(Blur(), source)));
}

TEST_F(Convolution, OnlyPlane0IsFiltered) {
    ref::Image source = Flat(5, 4, 8, kBgr, 0x00323232);
    source.planes = 3;
    source.store.resize(3, std::vector<uint8_t>(source.store[0].size(), 7));
    ref::Image expected = ref::CreatedLike(source);
    expected.store[0] = source.store[0];
    EXPECT_TRUE(test::SamePixels(expected, test::Result(Blur(), source)));
}

}  // namespace
