// Rotate and RotatePaste.
#include <cmath>
#include <limits>

#include "support/Geometry.h"

namespace {

using test::TestImage;

constexpr double kPi = 3.141592653589793;

class GeoRotate : public test::GeometryTest {
protected:
    SmartPtr<TestImage> Rotated(const SmartPtr<TestImage>& source, int degrees, int method, int force32 = 0,
                                int keepSize = 0) const {
        IVEL* out = nullptr;
        EXPECT_EQ(transform->Rotate(source.Get(), &out, degrees, method, force32, keepSize), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        return Handed(out);
    }
    // Of a source that is in no other way involved.
    testing::AssertionResult RotatesLikeTheReference(const ref::Image& image, int degrees, int method, bool force32,
                                                     bool keepSize) const {
        const auto source = TestImage::New(image);
        const auto result = Rotated(source, degrees, method, force32, keepSize);
        const ref::Outcome expected = ref::Rotate(image, degrees, method, force32, keepSize, host);
        if (const auto same = test::SameBytes(*expected.image, result); !same) return same;
        return test::SameBytes(image, source);
    }
    static int RandomMethod(test::Random& random) {
        return random.Chance(5) ? random.Pick({-1, 16, 17, INT32_MIN, INT32_MAX}) : random.Int(0, 16);
    }
};

// A picture whose pixels all differ from the first one.
ref::Image Picture(uint32_t width, uint32_t height, uint32_t depth) {
    test::Random random(width * 1000 + height);
    ref::Image image = test::RandomImage(random, width, height, 1, depth, ref::kBgr);
    for (uint8_t& byte : image.store[0]) byte = static_cast<uint8_t>(byte | 1);
    ref::SetPixelColor(image, 0, 0, 0x28140A);
    return image;
}

TEST_F(GeoRotate, ByZeroIsTheSourceItself) {
    const auto source = TestImage::New(Picture(5, 4, 24));
    IVEL* out = nullptr;
    EXPECT_EQ(transform->Rotate(source.Get(), &out, 0, 4, 1, 1), S_OK);
    EXPECT_EQ(out, static_cast<IVEL*>(static_cast<IVELImageDIB*>(source.Get())));
    EXPECT_EQ(source->Count(), 2u);
    if (out) out->Release();
    EXPECT_TRUE(collection->images.empty());
}

TEST_F(GeoRotate, QuarterTurns) {
    for (const uint32_t depth : {1u, 8u, 16u, 24u, 32u}) {
        const ref::Image image = Picture(7, 5, depth);
        const auto source = TestImage::New(image);
        for (const int degrees : {90, 180, 270, -90}) {
            SCOPED_TRACE(degrees);
            // The other arguments do not matter here.
            EXPECT_TRUE(test::SameBytes(*ref::Rotate4(image, degrees == -90 ? 270 : degrees, host),
                                        Rotated(source, degrees, 99, 1, 1)));
        }
    }
}

TEST_F(GeoRotate, MinusNinetyEquals270) {
    const auto source = TestImage::New(Picture(6, 3, 24));
    const ref::Image expected = Rotated(source, 270, 4)->Content();
    EXPECT_TRUE(test::SameBytes(expected, Rotated(source, -90, 4)));
}

TEST_F(GeoRotate, By360TakesTheGeneralPathAndKeepsAMargin) {
    const ref::Image image = Picture(20, 16, 24);
    const auto result = Rotated(TestImage::New(image), 360, 0);
    const ref::Image turned = result->Content();
    ASSERT_EQ(turned.width, 20u);
    ASSERT_EQ(turned.height, 16u);
    EXPECT_EQ(result->log->filled, (std::vector<uint32_t>{0xFF28140A}));
    for (int64_t y = 0; y < 16; ++y) {
        for (int64_t x = 0; x < 20; ++x) {
            // Positions are a hair off the whole ones, so what lies at the margin's edge may go either way.
            if (x == 3 || y == 3 || x == 16 || y == 12) continue;
            const bool inner = x > 3 && x < 16 && y > 3 && y < 12;
            EXPECT_EQ(ref::GetPixelColor(turned, x, y), inner ? ref::GetPixelColor(image, x, y) : 0x28140A)
                << x << ", " << y;
        }
    }
}

TEST_F(GeoRotate, MinusHalfTurnIsNotAShortcut) {
    const ref::Image image = Picture(20, 16, 24);
    const ref::Image turned = Rotated(TestImage::New(image), -180, 0)->Content();
    ASSERT_EQ(turned.width, 20u);
    EXPECT_EQ(ref::GetPixelColor(turned, 0, 0), 0x28140Au);
    EXPECT_EQ(ref::GetPixelColor(turned, 10, 8), ref::GetPixelColor(image, 9, 7));
}

TEST_F(GeoRotate, By45GrowsToTheBoundingBox) {
    const ref::Image turned = Rotated(TestImage::New(Picture(100, 100, 8)), 45, 6)->Content();
    EXPECT_EQ(turned.width, 141u);
    EXPECT_EQ(turned.height, 141u);
}

TEST_F(GeoRotate, SmallImagesAreFillOnly) {
    for (const uint32_t depth : {8u, 16u, 24u, 32u}) {
        const ref::Image turned = Rotated(TestImage::New(Picture(7, 7, depth)), 30, 4)->Content();
        ref::Image expected = turned;
        ref::FillColor(expected, ref::GetPixelColor(Picture(7, 7, depth), 0, 0) | 0xFF000000);
        EXPECT_TRUE(test::SameBytes(expected, turned));
    }
}

TEST_F(GeoRotate, KeepSizeKeepsTheSize) {
    const auto source = TestImage::New(Picture(33, 21, 24));
    for (const int degrees : {1, 30, 100, 200, -77, 360, 1000}) {
        const ref::Image turned = Rotated(source, degrees, 4, 0, 1)->Content();
        EXPECT_EQ(turned.width, 33u);
        EXPECT_EQ(turned.height, 21u);
    }
}

TEST_F(GeoRotate, ForcedTo32Bits) {
    const auto result = Rotated(TestImage::New(Picture(20, 20, 24)), 10, 1, -5);
    EXPECT_EQ(result->log->created.at(0).bitsPerPixel, 32u);
    EXPECT_EQ(result->log->created.at(0).format, 0u);
    // The centre: the bilinear method makes opaque pixels of 24-bit ones.
    const ref::Image turned = result->Content();
    EXPECT_EQ(turned.Get(turned.height / 2, 4 * (turned.width / 2) + 3), 255);
}

TEST_F(GeoRotate, EveryWholeDegree) {
    const ref::Image image = Picture(13, 11, 24);
    for (int degrees = -360; degrees <= 720; ++degrees) {
        if (degrees == 0) continue;
        ASSERT_TRUE(RotatesLikeTheReference(image, degrees, (degrees + 360) % 16, false, degrees % 3 == 0)) << degrees;
    }
}

TEST_F(GeoRotate, EveryMethodAtEveryDepth) {
    for (const uint32_t depth : {1u, 4u, 8u, 16u, 24u, 32u}) {
        const ref::Image image = Picture(40, 37, depth);
        for (int method = -1; method <= 17; ++method) {
            for (const int force32 : {0, 1}) {
                ASSERT_TRUE(RotatesLikeTheReference(image, 23, method, force32 != 0, method % 2 == 0))
                    << "depth " << depth << ", method " << method << ", force32 " << force32;
            }
        }
    }
}

TEST_F(GeoRotate, MatchesTheReference) {
    test::RandomCases(250, [&](test::Random& random) {
        const ref::Image image =
            test::RandomImage(random, {.largestWidth = 70, .largestHeight = 60, .largestPlanes = 3});
        UseRandomRecipe(random);
        const int degrees = random.Chance(80) ? random.Int(-180, 180) : random.Int(-100000, 100000);
        const int method = RandomMethod(random);
        const bool force32 = random.Chance(40), keepSize = random.Chance(40);
        if (degrees == 0) return;
        EXPECT_TRUE(RotatesLikeTheReference(image, degrees, method, force32, keepSize))
            << test::Describe(image) << "\ndegrees " << degrees << ", method " << method << ", force32 " << force32
            << ", keepSize " << keepSize;
    });
}

// Long rows: positions add up one by one, and their rounding with them.
TEST_F(GeoRotate, LargeImages) {
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const ref::Image image = Picture(1100, 30, depth);
        for (const int degrees : {1, 7, 89, 174, 181}) {
            for (const int method : {0, 4}) {
                ASSERT_TRUE(RotatesLikeTheReference(image, degrees, method, false, degrees == 7 || degrees == 174))
                    << degrees << ", " << method;
            }
        }
        ASSERT_TRUE(RotatesLikeTheReference(image, 1, 5, false, true));
    }
}

TEST_F(GeoRotate, ExtremeAnglesAreDefined) {
    const ref::Image image = Picture(20, 17, 32);
    for (const int degrees : {INT32_MIN, INT32_MAX, 1000000007}) {
        EXPECT_TRUE(RotatesLikeTheReference(image, degrees, 4, false, false)) << degrees;
    }
}

TEST_F(GeoRotate, ResultCodes) {
    const auto source = TestImage::New(Picture(9, 9, 24));
    IVEL* out = nullptr;
    EXPECT_EQ(transform->Rotate(nullptr, &out, 10, 0, 0, 0), E_FAIL);
    EXPECT_EQ(transform->Rotate(nullptr, nullptr, 0, 0, 0, 0), E_FAIL);
    for (const int degrees : {0, 90, 10}) {
        EXPECT_EQ(transform->Rotate(source.Get(), nullptr, degrees, 0, 0, 0), E_POINTER);
    }
    collection->refuseImages = true;
    for (const int degrees : {90, 180, 270, -90, 10, 360}) {
        EXPECT_EQ(transform->Rotate(source.Get(), &out, degrees, 0, 0, 0), E_FAIL) << degrees;
        EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(source->Count(), 1u);
}

TEST_F(GeoRotate, ImageWithoutPixelsIsHandedOverWhenCreateFails) {
    const auto source = TestImage::New(Picture(20, 20, 24));
    collection->imageFaults.create = true;
    for (const int degrees : {90, 180, 10}) {
        const auto result = Rotated(source, degrees, 4);
        EXPECT_TRUE(result->Content().store.empty());
        EXPECT_TRUE(result->log->filled.empty());
    }
}

TEST_F(GeoRotate, QuarterTurnHandsOnTheFailureOfGetFormat) {
    const auto source = TestImage::New(Picture(9, 9, 24));
    source->faults.getFormat = true;
    IVEL* out = nullptr;
    EXPECT_EQ(transform->Rotate(source.Get(), &out, 90, 0, 0, 0), E_FAIL);
    Handed(out);
}

// ---------------------------------------------------------------------------------------------------------------

TEST_F(GeoRotate, PasteCoversTheBoxAsFarAsTheDestinationGoes) {
    // Unturned: the box is the source, drawn from the destination's first pixel on.
    const ref::Image small = Picture(6, 5, 24);
    const auto source = TestImage::New(small);
    for (const auto& [width, height] : {std::pair{4u, 3u}, std::pair{9u, 8u}}) {
        ref::Image expected(width, height, 1, 24, ref::kBgr);
        const auto destination = TestImage::New(expected);
        EXPECT_EQ(transform->RotatePaste(source.Get(), destination.Get(), 0.0, 0, -1), S_OK);
        for (uint32_t y = 0; y < std::min(height, 5u); ++y) {
            for (uint32_t x = 0; x < std::min(width, 6u); ++x) {
                ref::SetPixelColor(expected, x, y, ref::GetPixelColor(small, x, y));
            }
        }
        EXPECT_TRUE(test::SameBytes(expected, destination));
    }
}

TEST_F(GeoRotate, PasteSkipsTheTransparentColour) {
    const auto source = TestImage::New(test::ImageOf(2, 24, ref::kBgr, {{1, 2, 3, 4, 5, 6}}));
    const auto destination = TestImage::New(test::ImageOf(2, 24, ref::kBgr, {{9, 9, 9, 9, 9, 9}}));
    EXPECT_EQ(transform->RotatePaste(source.Get(), destination.Get(), 0.0, 0, 0x060504), S_OK);
    EXPECT_TRUE(test::SameBytes(test::ImageOf(2, 24, ref::kBgr, {{1, 2, 3, 9, 9, 9}}), destination));
}

TEST_F(GeoRotate, PasteOfATransparentPixelLeavesTheColourButNotTheAlpha) {
    const auto source = TestImage::New(test::ImageOf(3, 32, ref::kArgb, {{1, 2, 3, 0, 4, 5, 6, 255, 200, 100, 0, 51}}));
    const auto destination =
        TestImage::New(test::ImageOf(3, 32, ref::kArgb, {{9, 8, 7, 99, 9, 8, 7, 99, 100, 100, 100, 99}}));
    EXPECT_EQ(transform->RotatePaste(source.Get(), destination.Get(), 0.0, 0, 0), S_OK);
    // 51 / 255 is a fifth: 200/5 + 80 = 120, 100, 80.
    EXPECT_TRUE(
        test::SameBytes(test::ImageOf(3, 32, ref::kArgb, {{9, 8, 7, 0, 4, 5, 6, 255, 120, 100, 80, 51}}), destination));
}

TEST_F(GeoRotate, PasteLeavesDestinationsBelow24BitsAlone) {
    const auto source = TestImage::New(Picture(6, 5, 24));
    for (const uint32_t depth : {1u, 4u, 8u, 16u}) {
        const ref::Image before = Picture(6, 5, depth);
        const auto destination = TestImage::New(before);
        EXPECT_EQ(transform->RotatePaste(source.Get(), destination.Get(), 0.3, 0, -1), S_OK);
        EXPECT_TRUE(test::SameBytes(before, destination));
    }
}

TEST_F(GeoRotate, PasteResultCodes) {
    const auto image = TestImage::New(Picture(6, 5, 24));
    EXPECT_EQ(transform->RotatePaste(nullptr, image.Get(), 0.0, 0, 0), E_FAIL);
    EXPECT_EQ(transform->RotatePaste(nullptr, nullptr, 0.0, 0, 0), E_FAIL);
    EXPECT_EQ(transform->RotatePaste(image.Get(), nullptr, 0.0, 0, 0), E_POINTER);
    EXPECT_TRUE(test::SameBytes(Picture(6, 5, 24), image));
}

TEST_F(GeoRotate, PasteByNoNumberAtAllPastesNothing) {
    const auto source = TestImage::New(Picture(6, 5, 32));
    for (const double radians :
         {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        const ref::Image before = Picture(9, 9, 32);
        const auto destination = TestImage::New(before);
        EXPECT_EQ(transform->RotatePaste(source.Get(), destination.Get(), radians, 4, 0), S_OK);
        EXPECT_TRUE(test::SameBytes(before, destination));
    }
}

// Every pixel sees what the earlier ones have written.
TEST_F(GeoRotate, PasteOfAnImageIntoItself) {
    for (const uint32_t depth : {24u, 32u}) {
        for (const int method : {0, 1, 4, 5}) {
            ref::Image picture = Picture(300, 30, depth);
            const auto image = TestImage::New(picture);
            EXPECT_EQ(transform->RotatePaste(image.Get(), image.Get(), 0.1, method, 0), S_OK);
            ref::RotatePaste(picture, picture, 0.1, method, 0);
            EXPECT_TRUE(test::SameBytes(picture, image)) << depth << ", method " << method;
            EXPECT_EQ(image->Count(), 1u);
        }
    }
}

TEST_F(GeoRotate, PasteOfLargeImages) {
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const ref::Image image = Picture(900, 40, depth);
        for (const uint32_t canvasDepth : {24u, 32u}) {
            for (const double radians : {0.0, 0.02, -1.5}) {
                ref::Image canvas = Picture(700, 400, canvasDepth);
                const auto source = TestImage::New(image), destination = TestImage::New(canvas);
                EXPECT_EQ(transform->RotatePaste(source.Get(), destination.Get(), radians, 4, 5), S_OK);
                ref::RotatePaste(image, canvas, radians, 4, 5);
                ASSERT_TRUE(test::SameBytes(canvas, destination)) << depth << " " << canvasDepth << " " << radians;
            }
        }
    }
}

TEST_F(GeoRotate, PasteMatchesTheReference) {
    test::RandomCases(300, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestWidth = 60, .largestHeight = 50});
        ref::Image canvas = test::RandomImage(
            random, {.depths = {24, 32, 24, 32, 24, 32, 16, 8, 1}, .largestWidth = 90, .largestHeight = 80});
        const double radians = random.Chance(30) ? random.Pick({0.0, kPi / 2, kPi, -kPi / 2, 2 * kPi, 1e9, -1e-9})
                                                 : random.Real(-7.0, 7.0);
        const int method = RandomMethod(random);
        int key = random.Pick({-1, 0, 0x1000000});
        if (random.Chance(40)) {
            key = static_cast<int>(ref::GetPixelColor(image, random.Int(0, 30), random.Int(0, 30)) & 0xFFFFFF);
        }
        SCOPED_TRACE(test::Describe(image) + " onto " + test::Describe(canvas));
        SCOPED_TRACE(testing::Message() << "radians " << radians << ", method " << method << ", key " << key);
        const auto source = TestImage::New(image), destination = TestImage::New(canvas);
        EXPECT_EQ(transform->RotatePaste(source.Get(), destination.Get(), radians, method, key), S_OK);
        ref::RotatePaste(image, canvas, radians, method, key);
        EXPECT_TRUE(test::SameBytes(canvas, destination));
        EXPECT_TRUE(test::SameBytes(image, source));
        EXPECT_EQ(source->Count(), 1u);
        EXPECT_EQ(destination->Count(), 1u);
    });
}

}  // namespace
