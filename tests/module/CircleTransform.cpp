// CircleTransform: worked positions of every mode, the marked outside, delivery, and the literal formula everywhere.
#include <climits>
#include <cmath>
#include <filesystem>

#include "reference/Deform.h"
#include "reference/Pixel.h"
#include "support/NewImages.h"

namespace {

using ref::GetPixelColor;
using ref::kBgr;
using test::Call;
using test::Random;

class CircleTransform : public test::ComponentTest<IVELDeform> {
protected:
    // The image after the call; it takes the result over.
    ref::Image Deformed(const ref::Image& source, int mode, int opaque) {
        const auto image = test::TestImage::New(source);
        EXPECT_EQ(component->CircleTransform(image.Get(), mode, opaque), S_OK);
        return image->Content();
    }
};

// Each pixel says where it comes from: blue and green are x and y of a 24-bit image.
ref::Image Positions(uint32_t width, uint32_t height) {
    ref::Image image(width, height, 1, 24, kBgr);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) ref::SetPixelColor(image, x, y, ref::ColourOf(x, y, 99, 0));
    }
    return image;
}

void ExpectFrom(const ref::Image& result, int x, int y, int fromX, int fromY) {
    const uint32_t colour = GetPixelColor(result, x, y);
    EXPECT_EQ(ref::BlueOf(colour), static_cast<uint32_t>(fromX)) << "column of " << x << ", " << y;
    EXPECT_EQ(ref::GreenOf(colour), static_cast<uint32_t>(fromY)) << "row of " << x << ", " << y;
}

TEST_F(CircleTransform, Mode0PullsFromNearerTheCentre) {
    const ref::Image result = Deformed(Positions(101, 101), 0, 0);
    ExpectFrom(result, 20, 50, 38, 50);  // d = 30: 50 - trunc(900 / 70)
    ExpectFrom(result, 50, 20, 50, 38);
    ExpectFrom(result, 80, 50, 62, 50);
    ExpectFrom(result, 50, 50, 50, 50);
}

TEST_F(CircleTransform, Mode1PullsFromFartherOut) {
    const ref::Image result = Deformed(Positions(101, 101), 1, 0);
    ExpectFrom(result, 60, 50, 76, 50);  // d = 10: 50 + trunc(sqrt(700))
    ExpectFrom(result, 40, 50, 24, 50);
    ExpectFrom(result, 50, 50, 50, 50);
}

TEST_F(CircleTransform, Mode2TurnsByOneRadianAtHalfTheRadius) {
    // R = 70, half = 35: at x = 15 the distance is 35 and the angle 0.
    const ref::Image result = Deformed(Positions(101, 101), 2, 0);
    ExpectFrom(result, 15, 50, 50 - static_cast<int>(35 * std::cos(1.0)), 50 - static_cast<int>(35 * std::sin(1.0)));
    ExpectFrom(result, 15, 50, 32, 21);
    ExpectFrom(result, 50, 50, 50, 50);
}

TEST_F(CircleTransform, TheCentreOfASwirlStaysAtEverySize) {
    for (uint32_t width = 1; width < 9; ++width) {
        for (uint32_t height = 1; height < 9; ++height) {
            const int cx = static_cast<int>(width / 2), cy = static_cast<int>(height / 2);
            if (cx * cx + cy * cy == 0) continue;
            ExpectFrom(Deformed(Positions(width, height), 2, 0), cx, cy, cx, cy);
        }
    }
}

TEST_F(CircleTransform, Mode3UnrollsAngleAndDistance) {
    const ref::Image result = Deformed(Positions(101, 101), 3, 0);
    ExpectFrom(result, 20, 50, 0, 43);   // angle 0; 30 * 101 / 70
    ExpectFrom(result, 80, 50, 50, 43);  // angle pi: 101 / 2
    ExpectFrom(result, 50, 20, 25, 43);  // angle pi / 2: 101 / 4
    ExpectFrom(result, 50, 80, 25, 43);  // the other way round counts the same
}

TEST_F(CircleTransform, HigherModesShiftSidewaysInASawTooth) {
    for (const int mode : {4, 5, 1000, INT_MAX}) {
        const ref::Image result = Deformed(Positions(101, 101), mode, 0);
        ExpectFrom(result, 48, 50, 48, 50);  // 48 mod 32 - 16 = 0
        ExpectFrom(result, 32, 50, 16, 50);
        ExpectFrom(result, 63, 40, 78, 40);
        ExpectFrom(result, 96, 50, 80, 50);
    }
}

TEST_F(CircleTransform, NegativeModesKeepTheRadiusOfTheFirstPixel) {
    // 101 x 1: R = 50, so the first pixel inside is x = 1 with d = 49 and radius 49 * 49 / 50 = 48.
    const ref::Image result = Deformed(Positions(101, 1), -1, 0);
    for (int x = 1; x < 50; ++x) ExpectFrom(result, x, 0, 2, 0);
    for (int x = 51; x < 100; ++x) ExpectFrom(result, x, 0, 98, 0);
    ExpectFrom(result, 50, 0, 2, 0);
    ExpectFrom(result, 0, 0, 0, 0);
}

TEST_F(CircleTransform, APixelAtTheRadiusIsOutside) {
    // 6 x 8: R = 5, the corner (0, 0) lies at 5; (0, 1) lies at sqrt(18), and the swirl turns it 2.1 radians on, to the
    // right of the image.
    ref::Image source = Positions(6, 8);
    for (const int mode : {0, 1, 2, 3, 4, -1}) {
        const ref::Image result = Deformed(source, mode, 1);
        EXPECT_EQ(GetPixelColor(result, 0, 0), 0x01630000u) << mode;
        EXPECT_EQ(ref::AlphaOf(GetPixelColor(result, 0, 1)), mode == 2 || mode == 4 ? 1u : 0xFFu) << mode;
    }
}

TEST_F(CircleTransform, OpaqueMakes32BitsOutOf8) {
    const ref::Image source = test::Flat(21, 21, 8, kBgr, 0x00373737);
    const ref::Image result = Deformed(source, 0, 1);
    EXPECT_EQ(result.bitsPerPixel, 32u);
    EXPECT_EQ(result.format, kBgr);
    EXPECT_EQ(GetPixelColor(result, 10, 10), 0xFF373737u);
    EXPECT_EQ(GetPixelColor(result, 0, 0), 0x01373737u);
}

TEST_F(CircleTransform, OpaqueKeepsTheMarkerAndNothingElse) {
    ref::Image source = test::Flat(21, 21, 32, kBgr, 0x50373737);
    ref::SetPixelColor(source, 10, 10, 0x01123456);
    const ref::Image opaque = Deformed(source, 0, -7), plain = Deformed(source, 0, 0);
    EXPECT_EQ(GetPixelColor(opaque, 10, 10), 0x01123456u);
    EXPECT_EQ(GetPixelColor(opaque, 10, 5), 0xFF373737u);
    EXPECT_EQ(GetPixelColor(plain, 10, 5), 0x50373737u);
    EXPECT_EQ(GetPixelColor(plain, 0, 0), 0x01373737u);
}

TEST_F(CircleTransform, OpaqueOf16BitsIsBlack) {
    const ref::Image result = Deformed(ref::Image(9, 9, 1, 16, kBgr), 0, 1);
    EXPECT_EQ(GetPixelColor(result, 4, 4), 0xFF000000u);
    EXPECT_EQ(GetPixelColor(result, 0, 0), 0x01000000u);
}

TEST_F(CircleTransform, ANullImageFails) {
    EXPECT_EQ(component->CircleTransform(nullptr, 0, 0), E_FAIL);
    EXPECT_TRUE(collection->images.empty());
}

TEST_F(CircleTransform, ARefusingCollectionIsAFailure) {
    collection->refuseImages = true;
    const auto image = test::TestImage::New(Positions(9, 9));
    EXPECT_EQ(component->CircleTransform(image.Get(), 0, 0), E_FAIL);
    EXPECT_TRUE(test::SameBytes(Positions(9, 9), image));
    EXPECT_EQ(image->Count(), 1u);
}

TEST_F(CircleTransform, TheSourceTakesTheResultIfItCan) {
    const auto image = test::TestImage::New(Positions(9, 9));
    EXPECT_EQ(component->CircleTransform(image.Get(), 1, 1), S_OK);
    ASSERT_EQ(collection->images.size(), 1u);
    EXPECT_EQ(collection->images[0]->created, (std::vector<test::CreateArguments>{{9, 9, 1, 32, kBgr}}));
    ASSERT_EQ(image->log->assigned.size(), 1u);
    EXPECT_EQ(image->log->assigned[0].second, 0);
    EXPECT_EQ(image->Count(), 1u);

    const auto other = test::TestImage::New(Positions(9, 9));
    other->faults.noIVELImage = true;
    EXPECT_EQ(component->CircleTransform(other.Get(), 1, 1), S_OK);
    EXPECT_TRUE(test::SameBytes(Positions(9, 9), other));
    EXPECT_EQ(other->Count(), 1u);
}

TEST_F(CircleTransform, AnEmptyImageTakesAnEmptyImage) {
    for (const auto& [width, height] : {std::pair{0u, 5u}, {5u, 0u}, {0u, 0u}}) {
        const ref::Image result = Deformed(ref::Image(width, height, 1, 24, kBgr), 0, 1);
        EXPECT_EQ(result.width, width);
        EXPECT_EQ(result.height, height);
        EXPECT_EQ(result.bitsPerPixel, 32u);
    }
}

TEST_F(CircleTransform, ImagesWithoutPixelsDoNoHarm) {
    ref::Image empty = Positions(9, 9);
    empty.store.clear();
    EXPECT_TRUE(test::SameNewImage(ref::CircleTransform(empty, 0, 1).image, Deformed(empty, 0, 1)));
    collection->imageFaults.createSilent = true;
    const auto image = test::TestImage::New(Positions(9, 9));
    EXPECT_EQ(component->CircleTransform(image.Get(), 0, 0), S_OK);
}

TEST_F(CircleTransform, AnExceptionOfTheHostLeaksNothing) {
    const auto image = test::TestImage::New(Positions(9, 9));
    for (const Call call : {Call::GetSize, Call::GetBits, Call::GetFormat, Call::Assign}) {
        image->bomb.Arm(call);
        EXPECT_THROW(component->CircleTransform(image.Get(), 0, 0), test::HostError);
        EXPECT_EQ(image->Count(), 1u);
    }
    for (const Call call : {Call::Create, Call::GetBits}) {
        collection->imageBomb.Arm(call);
        EXPECT_THROW(component->CircleTransform(image.Get(), 0, 0), test::HostError);
    }
    EXPECT_TRUE(test::SameBytes(Positions(9, 9), image));
}

TEST_F(CircleTransform, AgreesWithTheLiteralFormula) {
    test::RandomCases(400, [&](Random& random) {
        const ref::Image source = test::Repainted(random, test::RandomImage(random, {.largestHeight = 60}));
        const int mode = random.Pick({0, 1, 2, 3, 4, 77, -1, INT_MIN});
        const int opaque = random.Pick({0, 1, -1, 256});
        RandomLayout(random);
        SCOPED_TRACE(test::Describe(source) + ", mode " + std::to_string(mode) + ", opaque " + std::to_string(opaque));
        const auto image = test::TestImage::New(source);
        ASSERT_EQ(component->CircleTransform(image.Get(), mode, opaque), S_OK);
        EXPECT_TRUE(test::SameNewImage(ref::CircleTransform(source, mode, opaque).image, image->Content()));
    });
}

// Positions that fall on whole numbers decide by their last bit; small sizes have the most of them.
TEST_F(CircleTransform, EverySmallSizeAgreesWithTheLiteralFormula) {
    for (uint32_t width = 1; width <= 34; ++width) {
        for (uint32_t height = 1; height <= 34; ++height) {
            const ref::Image source = Positions(width, height);
            for (const int mode : {0, 1, 2, 3, 4, -1}) {
                ASSERT_TRUE(test::SamePixels(ref::CircleTransform(source, mode, 1).image, Deformed(source, mode, 1)))
                    << width << " x " << height << ", mode " << mode;
            }
        }
    }
}

TEST_F(CircleTransform, LargeImagesAgreeWithTheLiteralFormula) {
    for (const auto& [width, height] : {std::pair{801u, 600u}, {600u, 801u}, {1000u, 1000u}}) {
        const ref::Image source = Positions(width, height);
        for (const int mode : {0, 1, 2, 3, 4, -1}) {
            EXPECT_TRUE(test::SamePixels(ref::CircleTransform(source, mode, 0).image, Deformed(source, mode, 0)))
                << width << " x " << height << ", mode " << mode;
        }
    }
}

}  // namespace
