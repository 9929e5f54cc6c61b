// One hue for a whole image.
#include <cmath>
#include <limits>

#include "reference/Colour.h"
#include "reference/Pixel.h"
#include "support/Images.h"
#include "support/Module.h"

namespace {

using test::ImageOf;
using test::RandomCases;
using test::SameBytes;
using test::TestImage;

class Colorize : public test::ModuleTest {
protected:
    void SetUp() override {
        test::ModuleTest::SetUp();
        colour = Make<IVELColorTransform>();
    }
    void TearDown() override {
        colour.Clear();
        test::ModuleTest::TearDown();
    }
    // One 24-bit pixel (blue, green, red) colorized.
    uint32_t One(int blue, int green, int red, uint8_t hue, uint8_t saturation, float blend) {
        const auto image = TestImage::New(ImageOf(1, 24, ref::kBgr, {{blue, green, red}}));
        EXPECT_EQ(colour->Colorize(image.Get(), hue, saturation, blend), S_OK);
        return ref::GetPixelColor(image->Content(), 0, 0);
    }

    SmartPtr<IVELColorTransform> colour;
};

TEST_F(Colorize, NullImageFails) { EXPECT_EQ(colour->Colorize(nullptr, 1, 2, 0.5f), E_FAIL); }

TEST_F(Colorize, BlendAbove0_999ReplacesFully) {
    for (const float blend : {1.0f, 0.9991f, 7.0f, std::numeric_limits<float>::infinity()}) {
        EXPECT_EQ(One(127, 127, 127, 0, 255, blend), ref::HSLtoRGB(ref::ColourOf(127, 255, 0, 0))) << blend;
    }
}

TEST_F(Colorize, BlendOf0_999MixesWith255To1) {
    // (255, 255, 255) stays white as a lightness of 255, so take a grey: full red of lightness 128 and one part of old.
    const uint32_t full = ref::HSLtoRGB(ref::ColourOf(128, 255, 0, 0));
    const auto mixed = [](uint32_t was, uint32_t becomes) { return (was * 1 + becomes * 255) >> 8; };
    EXPECT_EQ(
        One(128, 128, 128, 0, 255, 0.999f),
        ref::ColourOf(mixed(128, ref::BlueOf(full)), mixed(128, ref::GreenOf(full)), mixed(128, ref::RedOf(full)), 0));
}

TEST_F(Colorize, BlendOf0OrLessLeavesEveryImage) {
    RandomCases(80, [&](test::Random& random) {
        const ref::Image before = test::RandomImage(random);
        SCOPED_TRACE(test::Describe(before));
        const auto image = TestImage::New(before);
        for (const float blend : {0.0f, -0.0f, -3.0f, -std::numeric_limits<float>::infinity()}) {
            EXPECT_EQ(colour->Colorize(image.Get(), random.Byte(), random.Byte(), blend), S_OK);
        }
        EXPECT_TRUE(SameBytes(before, image));
    });
}

TEST_F(Colorize, ABlendThatIsNoNumberLeavesTheImage) {
    const ref::Image before = ImageOf(1, 24, ref::kBgr, {{10, 20, 30}});
    const auto image = TestImage::New(before);
    colour->Colorize(image.Get(), 1, 200, std::nanf(""));
    EXPECT_TRUE(SameBytes(before, image));
}

TEST_F(Colorize, Saturation0GivesTheGreyOfTheLightness) {
    for (int i = 0; i < 256; ++i) {
        const uint32_t grey = static_cast<uint32_t>(i);
        ASSERT_EQ(One(i, i, i, 99, 0, 1.0f), ref::ColourOf(grey, grey, grey, 0));
    }
    // lightness of (10, 200, 35) is (10 + 200 + 1) / 2
    EXPECT_EQ(One(10, 200, 35, 99, 0, 1.0f), ref::ColourOf(105, 105, 105, 0));
}

TEST_F(Colorize, Hues0And255AreRed85IsGreen170IsBlue) {
    // lightness 100 / 255 and full saturation: the channels lie between 0 and 200
    EXPECT_EQ(One(100, 100, 100, 0, 255, 1.0f), ref::ColourOf(0, 0, 200, 0));
    EXPECT_EQ(One(100, 100, 100, 255, 255, 1.0f), ref::ColourOf(0, 0, 200, 0));
    EXPECT_EQ(One(100, 100, 100, 85, 255, 1.0f), ref::ColourOf(0, 200, 0, 0));
    EXPECT_EQ(One(100, 100, 100, 170, 255, 1.0f), ref::ColourOf(200, 0, 0, 0));
}

TEST_F(Colorize, APaletteImageStaysGrey) {
    const auto image = TestImage::New(ImageOf(3, 8, ref::kMono, {{0, 100, 255}}));
    ASSERT_EQ(colour->Colorize(image.Get(), 0, 255, 1.0f), S_OK);
    // 100 becomes red (200, 0, 0), whose nearest grey is 67
    EXPECT_TRUE(SameBytes(ImageOf(3, 8, ref::kMono, {{0, 67, 255}}), image));
}

TEST_F(Colorize, A16BitImageIsLeft) {
    test::Random random(4);
    const ref::Image before = test::RandomImage(random, 13, 5, 1, 16, ref::kBgr);
    const auto image = TestImage::New(before);
    EXPECT_EQ(colour->Colorize(image.Get(), 30, 200, 1.0f), S_OK);
    EXPECT_EQ(colour->Colorize(image.Get(), 30, 200, 0.5f), S_OK);
    EXPECT_TRUE(SameBytes(before, image));
}

TEST_F(Colorize, AlphaNeverChanges) {
    test::Random random(5);
    const ref::Image before = test::RandomImage(random, 40, 5, 1, 32, ref::kBgr);
    const auto image = TestImage::New(before);
    EXPECT_EQ(colour->Colorize(image.Get(), 30, 200, 1.0f), S_OK);
    EXPECT_EQ(colour->Colorize(image.Get(), 90, 100, 0.5f), S_OK);
    const ref::Image after = image->Content();
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 40; ++x) ASSERT_EQ(after.Get(y, 4 * x + 3), before.Get(y, 4 * x + 3));
    }
    EXPECT_NE(after.store, before.store);
}

TEST_F(Colorize, ImagesWithoutPixelsAreLeftInPeace) {
    for (const uint32_t depth : {1u, 8u, 24u, 32u}) {
        test::Random random(depth);
        const ref::Image content = test::RandomImage(random, 5, 4, 1, depth, ref::kMono);
        for (int fault = 0; fault < 4; ++fault) {
            const auto image = TestImage::New(content);
            image->faults.nullBits = fault == 0;
            image->faults.getBits = fault == 1;
            image->faults.getFormat = fault == 2;
            image->faults.getSize = fault == 3;
            EXPECT_EQ(colour->Colorize(image.Get(), 30, 200, 0.5f), S_OK);
            EXPECT_EQ(colour->Colorize(image.Get(), 30, 200, 1.0f), S_OK);
            image->faults = {};
            EXPECT_TRUE(SameBytes(content, image));
        }
    }
}

TEST_F(Colorize, WhatTheHostThrowsPassesThrough) {
    for (const test::Call call : {test::Call::GetSize, test::Call::GetBits, test::Call::GetFormat}) {
        const auto image = TestImage::New(ImageOf(1, 24, ref::kBgr, {{10, 20, 31}}));
        image->bomb.Arm(call);
        EXPECT_THROW(colour->Colorize(image.Get(), 1, 2, 1.0f), test::HostError);
        EXPECT_EQ(image->Count(), 1u);
    }
}

// Every lightness at a sample of hues and saturations.
TEST_F(Colorize, EveryConversionOfASampleOfHuesAndSaturations) {
    for (int hue = 0; hue < 256; hue += 5) {
        for (int saturation = 0; saturation < 256; saturation += 15) {
            ref::Image greys(256, 1, 1, 24, ref::kBgr);
            for (int i = 0; i < 256 * 3; ++i) greys.Put(0, i, static_cast<uint8_t>(i / 3));
            const auto image = TestImage::New(greys);
            ref::Image expected = greys;
            ref::Colorize(expected, static_cast<uint8_t>(hue), static_cast<uint8_t>(saturation), 1.0f);
            colour->Colorize(image.Get(), static_cast<uint8_t>(hue), static_cast<uint8_t>(saturation), 1.0f);
            ASSERT_TRUE(SameBytes(expected, image)) << "hue " << hue << ", saturation " << saturation;
        }
    }
}

TEST_F(Colorize, AgainstReference) {
    RandomCases(800, [&](test::Random& random) {
        const ref::Image before = test::RandomImage(random);
        const uint8_t hue = random.Byte(),
                      saturation = random.Chance(15) ? random.Pick<uint8_t>({0, 1, 255}) : random.Byte();
        const float blend = random.Chance(30)
                                ? random.Pick({0.0f, 1.0f, 0.999f, 0.9990001f, 0.5f, -1.0f, 2.0f, 1.0f / 256})
                                : static_cast<float>(random.Real(-0.1, 1.1));
        SCOPED_TRACE(testing::Message() << test::Describe(before) << ", hue " << int{hue} << ", saturation "
                                        << int{saturation} << ", blend " << blend);
        const auto image = TestImage::New(before, static_cast<size_t>(random.Int(0, 7)));
        ref::Image expected = before;
        EXPECT_EQ(colour->Colorize(image.Get(), hue, saturation, blend),
                  ref::Colorize(expected, hue, saturation, blend));
        EXPECT_TRUE(SameBytes(expected, image));
        EXPECT_EQ(image->Count(), 1u);
    });
}

}  // namespace
