// Erode, Dilate, Edge, Contour: worked numbers and the rules at the borders and for tiny windows.
#include <climits>

#include "reference/Pixel.h"
#include "support/NewImages.h"

namespace {

using ref::AlphaOf;
using ref::GetPixelColor;
using ref::kBgr;
using test::Flat;
using test::ImageOf;

class Morphology : public test::ComponentTest<IVELFilterTransform> {
protected:
    ref::Image Erode(const ref::Image& source, int size) {
        return test::Result([&](IVEL* image, IVEL** dest) { return component->Erode(image, size, dest); }, source);
    }
    ref::Image Dilate(const ref::Image& source, int size) {
        return test::Result([&](IVEL* image, IVEL** dest) { return component->Dilate(image, size, dest); }, source);
    }
    ref::Image Edge(const ref::Image& source, int size) {
        return test::Result([&](IVEL* image, IVEL** dest) { return component->Edge(image, size, dest); }, source);
    }
    ref::Image Contour(const ref::Image& source) {
        return test::Result([&](IVEL* image, IVEL** dest) { return component->Contour(image, dest); }, source);
    }
};

// Every alpha differs from its neighbours' and none is 1.
ref::Image WithAlphas(uint32_t width, uint32_t height, uint32_t colour) {
    ref::Image image = Flat(width, height, 32, kBgr, colour);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) image.Put(y, 4 * x + 3, static_cast<uint8_t>(10 + y * width + x));
    }
    return image;
}

TEST_F(Morphology, ChannelsAreTakenOneByOne) {
    // blue, green, red of three pixels
    const ref::Image source = ImageOf(3, 24, kBgr, {{10, 200, 30, 40, 50, 60, 5, 90, 255}});
    EXPECT_EQ(GetPixelColor(Erode(source, 3), 1, 0), ref::ColourOf(5, 50, 30, 0));
    EXPECT_EQ(GetPixelColor(Dilate(source, 3), 1, 0), ref::ColourOf(40, 200, 255, 0));
    EXPECT_EQ(GetPixelColor(Edge(source, 3), 1, 0), ref::ColourOf(35, 150, 225, 0));
}

TEST_F(Morphology, TheFirstPixelsColourTakesPartAtTheBorders) {
    ref::Image source = Flat(6, 5, 8, kBgr, 0x00646464);
    source.Put(0, 0, 20);
    EXPECT_EQ(Erode(source, 3).Get(4, 5), 20);
    EXPECT_EQ(Erode(source, 3).Get(2, 5), 20);
    EXPECT_EQ(Erode(source, 3).Get(2, 3), 100);
    EXPECT_EQ(Edge(source, 3).Get(4, 2), 80);
    source.Put(0, 0, 220);
    EXPECT_EQ(Dilate(source, 3).Get(4, 5), 220);
    EXPECT_EQ(Dilate(source, 3).Get(3, 4), 100);
    EXPECT_EQ(Contour(source).Get(4, 5), 255 - 220);
    EXPECT_EQ(Contour(source).Get(3, 4), 255);
}

TEST_F(Morphology, AlphaIsOneWhereTheLastNeighbourIsOutside) {
    const ref::Image source = WithAlphas(9, 7, 0x00102030);
    for (const int size : {1, 2, 3, 4, 5, 8, 9, 20}) {
        const int reach = size - size / 2 - 1;
        for (const ref::Image& result : {Erode(source, size), Dilate(source, size), Edge(source, size)}) {
            for (int y = 0; y < 7; ++y) {
                for (int x = 0; x < 9; ++x) {
                    const bool outside = x + reach >= 9 || y + reach >= 7;
                    const uint32_t expected = outside ? 1 : AlphaOf(GetPixelColor(source, x + reach, y + reach));
                    EXPECT_EQ(AlphaOf(GetPixelColor(result, x, y)), expected) << size << ": " << x << ", " << y;
                }
            }
        }
    }
}

TEST_F(Morphology, SizeBelow1ReadsNothing) {
    const ref::Image source = WithAlphas(5, 4, 0x00102030);
    for (const int size : {0, -1, -2, -9, INT_MIN}) {
        EXPECT_TRUE(test::SamePixels(Flat(5, 4, 32, kBgr, 0x00FFFFFF), Erode(source, size)));
        EXPECT_TRUE(test::SamePixels(Flat(5, 4, 32, kBgr, 0x00000000), Dilate(source, size)));
        EXPECT_TRUE(test::SamePixels(Flat(5, 4, 32, kBgr, 0x00FFFFFF), Edge(source, size)));
    }
}

TEST_F(Morphology, Size1CopiesAndEdgeIsBlack) {
    const ref::Image source = WithAlphas(5, 4, 0x00102030);
    EXPECT_TRUE(test::SamePixels(source, Erode(source, 1)));
    EXPECT_TRUE(test::SamePixels(source, Dilate(source, 1)));
    EXPECT_TRUE(test::SamePixels(WithAlphas(5, 4, 0), Edge(source, 1)));
}

TEST_F(Morphology, Size4ReachesFromMinus2To1) {
    ref::Image source = Flat(12, 12, 8, kBgr, 0x00646464);
    source.Put(6, 6, 200);
    const ref::Image result = Dilate(source, 4);
    for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 12; ++x) {
            // The bright pixel is seen from 1 before it to 2 behind it.
            const bool sees = x >= 5 && x <= 8 && y >= 5 && y <= 8;
            EXPECT_EQ(result.Get(y, x), sees ? 200 : 100) << x << ", " << y;
        }
    }
}

TEST_F(Morphology, AFlatImageHasBlackEdgesAndAWhiteContour) {
    for (const uint32_t depth : {1u, 4u, 8u, 24u}) {
        for (const uint32_t colour : {0x00000000u, 0x00FFFFFFu}) {
            const ref::Image flat = Flat(19, 6, depth, kBgr, colour);
            for (const int size : {1, 2, 3, 8}) {
                EXPECT_TRUE(test::SamePixels(Flat(19, 6, depth, kBgr, 0), Edge(flat, size)));
            }
            EXPECT_TRUE(test::SamePixels(Flat(19, 6, depth, kBgr, 0x00FFFFFF), Contour(flat)));
        }
    }
}

TEST_F(Morphology, ContourComparesADifferenceWithAValue) {
    // Visiting order: columns outer, rows inner. Around 100: 150 (difference 50 > 0) is taken, then 180 (80 is not
    // above 150), then 240 (140 is not above 150).
    const ref::Image source = ImageOf(3, 8, kBgr, {{100, 100, 240}, {150, 100, 100}, {180, 100, 100}});
    EXPECT_EQ(Contour(source).Get(1, 1), 255 - 150);
    // From 10, a small value taken first is beaten by a difference above it.
    const ref::Image dark = ImageOf(3, 8, kBgr, {{10, 10, 10}, {20, 10, 10}, {10, 10, 45}});
    EXPECT_EQ(Contour(dark).Get(1, 1), 255 - 45);  // 45 - 10 > 20
    const ref::Image darker = ImageOf(3, 8, kBgr, {{10, 10, 10}, {20, 10, 10}, {10, 10, 30}});
    EXPECT_EQ(Contour(darker).Get(1, 1), 255 - 20);  // 30 - 10 is not above 20
}

TEST_F(Morphology, ContourWithoutABrighterNeighbourIsWhite) {
    const ref::Image source = ImageOf(3, 8, kBgr, {{9, 9, 9}, {9, 200, 9}, {9, 9, 9}});
    EXPECT_EQ(Contour(source).Get(1, 1), 255);
    EXPECT_EQ(Contour(source).Get(0, 0), 255 - 200);
}

TEST_F(Morphology, ContourKeepsEachPixelsAlpha) {
    const ref::Image source = WithAlphas(6, 5, 0x00102030);
    EXPECT_TRUE(test::SamePixels(WithAlphas(6, 5, 0x00FFFFFF), Contour(source)));
}

TEST_F(Morphology, WindowsBeyondTheImageSeeAllOfItAndTheFirstPixel) {
    const ref::Image source = ImageOf(3, 8, kBgr, {{50, 60, 70}, {80, 90, 40}});
    for (const int size : {7, 8, 31, 500}) {
        for (int i = 0; i < 6; ++i) {
            EXPECT_EQ(Erode(source, size).Get(i / 3, i % 3), 40);
            EXPECT_EQ(Dilate(source, size).Get(i / 3, i % 3), 90);
            EXPECT_EQ(Edge(source, size).Get(i / 3, i % 3), 50);
        }
    }
}

}  // namespace
