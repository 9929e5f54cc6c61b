// Negative, Lut, GrayScale, ShiftRGB, Gamma, Light and Threshold.
#include <cmath>
#include <limits>

#include "reference/Colour.h"
#include "support/Images.h"
#include "support/Module.h"

namespace {

using test::ImageOf;
using test::RandomCases;
using test::SameBytes;
using test::SamePixels;
using test::TestImage;

class PointColour : public test::ModuleTest {
protected:
    void SetUp() override {
        test::ModuleTest::SetUp();
        colour = Make<IVELColorTransform>();
    }
    void TearDown() override {
        colour.Clear();
        test::ModuleTest::TearDown();
    }

    // The 8-bit image that holds 0 to 255 once: what comes out of it is the look-up table that an operation used.
    static ref::Image Ramp() {
        ref::Image ramp(256, 1, 1, 8, ref::kMono);
        for (int i = 0; i < 256; ++i) ramp.Put(0, i, static_cast<uint8_t>(i));
        return ramp;
    }
    // One operation on one random image in place against the reference.
    template <class Operation, class Reference>
    void Compare(test::Random& random, const Operation& operation, const Reference& reference,
                 const test::ImageChoice& choice = {}) {
        const ref::Image before = test::RandomImage(random, choice);
        SCOPED_TRACE(test::Describe(before));
        const auto image = TestImage::New(before, static_cast<size_t>(random.Int(0, 7)));
        ref::Image expected = before;
        const int32_t code = reference(expected);
        EXPECT_EQ(operation(image.Get()), code);
        EXPECT_TRUE(SameBytes(expected, image));
        EXPECT_EQ(image->Count(), 1u);
    }
    // The same for an operation that lets the image take over a new one.
    template <class Operation, class Reference>
    void CompareReplaced(test::Random& random, const Operation& operation, const Reference& reference) {
        const ref::Image before = test::RandomImage(random);
        SCOPED_TRACE(test::Describe(before));
        const auto image = TestImage::New(before, static_cast<size_t>(random.Int(0, 7)));
        collection->recipe = test::RandomRecipe(random);
        ref::Image expected = before;
        const int32_t code = reference(expected);
        EXPECT_EQ(operation(image.Get()), code);
        EXPECT_TRUE(SamePixels(expected, image));
        EXPECT_EQ(image->Count(), 1u);
    }

    SmartPtr<IVELColorTransform> colour;
};

// ---------------------------------------------------------------------------------------------------------------
// Named cases

TEST_F(PointColour, NullImageFailsInEveryOperation) {
    unsigned char table[256] = {};
    EXPECT_EQ(colour->Negative(nullptr), E_FAIL);
    EXPECT_EQ(colour->Lut(nullptr, table), E_FAIL);
    EXPECT_EQ(colour->GrayScale(nullptr), E_FAIL);
    EXPECT_EQ(colour->ShiftRGB(nullptr, 1, 2, 3), E_FAIL);
    EXPECT_EQ(colour->Gamma(nullptr, 1.0f), E_FAIL);
    EXPECT_EQ(colour->Light(nullptr, 1, 2), E_FAIL);
    EXPECT_EQ(colour->Threshold(nullptr, 100), E_FAIL);
}

TEST_F(PointColour, LutWithoutATableFails) {
    const auto image = TestImage::New(ImageOf(1, 8, ref::kMono, {{7}}));
    EXPECT_EQ(colour->Lut(image.Get(), nullptr), E_FAIL);
    EXPECT_EQ(colour->Lut(nullptr, nullptr), E_FAIL);
    EXPECT_TRUE(SameBytes(ImageOf(1, 8, ref::kMono, {{7}}), image));
}

TEST_F(PointColour, NegativeTwiceRestoresTheImage) {
    RandomCases(60, [&](test::Random& random) {
        const ref::Image before = test::RandomImage(random);
        const auto image = TestImage::New(before);
        ASSERT_EQ(colour->Negative(image.Get()), S_OK);
        ASSERT_EQ(colour->Negative(image.Get()), S_OK);
        EXPECT_TRUE(SameBytes(before, image));
    });
}

TEST_F(PointColour, NegativeKeepsAlpha) {
    const auto image = TestImage::New(ImageOf(2, 32, ref::kBgr, {{0, 1, 2, 3, 250, 251, 252, 253}}));
    ASSERT_EQ(colour->Negative(image.Get()), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(2, 32, ref::kBgr, {{255, 254, 253, 3, 5, 4, 3, 253}}), image));
}

TEST_F(PointColour, LutTakesEveryChannelThroughTheSameTableAndKeepsAlpha) {
    unsigned char table[256] = {};
    table[10] = 1, table[20] = 2, table[30] = 3, table[40] = 4;
    const auto image = TestImage::New(ImageOf(1, 32, ref::kBgr, {{10, 20, 30, 40}}));
    ASSERT_EQ(colour->Lut(image.Get(), table), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(1, 32, ref::kBgr, {{1, 2, 3, 40}}), image));
}

TEST_F(PointColour, LutLeaves1And4And16BitsUnchanged) {
    unsigned char table[256] = {};
    RandomCases(40, [&](test::Random& random) {
        const ref::Image before = test::RandomImage(random, {.depths = {1, 4, 16}});
        const auto image = TestImage::New(before);
        EXPECT_EQ(colour->Lut(image.Get(), table), S_OK);
        EXPECT_EQ(colour->Negative(image.Get()), S_OK);
        EXPECT_EQ(colour->Gamma(image.Get(), 3.0f), S_OK);
        EXPECT_EQ(colour->Light(image.Get(), 50, 50), S_OK);
        EXPECT_TRUE(SameBytes(before, image));
    });
}

TEST_F(PointColour, LightOfNothingAndGammaOneLeaveTheImage) {
    RandomCases(40, [&](test::Random& random) {
        const ref::Image before = test::RandomImage(random);
        const auto image = TestImage::New(before);
        EXPECT_EQ(colour->Light(image.Get(), 0, 0), S_OK);
        EXPECT_TRUE(SameBytes(before, image));
        EXPECT_EQ(colour->Gamma(image.Get(), 1.0f), S_OK);
        EXPECT_TRUE(SameBytes(before, image));
    });
}

TEST_F(PointColour, LightWithContrastMinus100MapsEverythingTo128) {
    const auto image = TestImage::New(Ramp());
    ASSERT_EQ(colour->Light(image.Get(), 0, -100), S_OK);
    const ref::Image after = image->Content();
    for (int i = 0; i < 256; ++i) ASSERT_EQ(after.Get(0, i), 128) << i;
}

TEST_F(PointColour, GammaTwoMaps0To0And255To255And64To127) {
    const auto image = TestImage::New(Ramp());
    ASSERT_EQ(colour->Gamma(image.Get(), 2.0f), S_OK);
    const ref::Image after = image->Content();
    EXPECT_EQ(after.Get(0, 0), 0);
    EXPECT_EQ(after.Get(0, 64), 127);
    EXPECT_EQ(after.Get(0, 255), 255);
}

TEST_F(PointColour, ShiftBy300AndMinus300GivesRed255AndBlue0) {
    const auto image = TestImage::New(ImageOf(2, 24, ref::kBgr, {{10, 20, 30, 255, 0, 0}}));
    ASSERT_EQ(colour->ShiftRGB(image.Get(), 300, 0, -300), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(2, 24, ref::kBgr, {{0, 20, 255, 0, 0, 255}}), image));
}

TEST_F(PointColour, ShiftKeepsAlpha) {
    const auto image = TestImage::New(ImageOf(1, 32, ref::kBgr, {{10, 20, 30, 77}}));
    ASSERT_EQ(colour->ShiftRGB(image.Get(), 3, 2, 1), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(1, 32, ref::kBgr, {{11, 22, 33, 77}}), image));
}

TEST_F(PointColour, ShiftBelow24BitsWritesTheNearestIndex) {
    // (100 + 30) + 100 + (100 - 10) = 320: the nearest grey of (130, 100, 90) is 107
    const auto grey = TestImage::New(ImageOf(1, 8, ref::kMono, {{100}}));
    ASSERT_EQ(colour->ShiftRGB(grey.Get(), 30, 0, -10), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(1, 8, ref::kMono, {{107}}), grey));
    // index 1 is (1, 1, 1): + 3 gives 4, of which one bit is left
    const auto bits = TestImage::New(ImageOf(3, 1, ref::kMono, {{0xBF}}));
    ASSERT_EQ(colour->ShiftRGB(bits.Get(), 3, 3, 3), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(3, 1, ref::kMono, {{0x5F}}), bits));
}

TEST_F(PointColour, ThresholdAt100MakesMean103WhiteAndMean100Black) {
    const auto image = TestImage::New(ImageOf(2, 24, ref::kBgr, {{90, 110, 110, 100, 100, 100}}));
    ASSERT_EQ(colour->Threshold(image.Get(), 100), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(2, 24, ref::kBgr, {{255, 255, 255, 0, 0, 0}}), image));
}

TEST_F(PointColour, ThresholdKeepsAlpha) {
    const auto image = TestImage::New(ImageOf(2, 32, ref::kBgr, {{200, 200, 200, 9, 1, 2, 3, 200}}));
    ASSERT_EQ(colour->Threshold(image.Get(), 100), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(2, 32, ref::kBgr, {{255, 255, 255, 9, 0, 0, 0, 200}}), image));
}

TEST_F(PointColour, GrayScaleOf10And20And31Is20) {
    const auto image = TestImage::New(ImageOf(1, 24, ref::kBgr, {{10, 20, 31}}));
    ASSERT_EQ(colour->GrayScale(image.Get()), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(1, 24, ref::kBgr, {{20, 20, 20}}), image));
}

TEST_F(PointColour, GrayScaleAt8BitsReadsTwoBytesOfTheRowsPadding) {
    // 5 pixels and 3 bytes of padding; the last row ends at its last pixel, so what follows it counts as 0.
    const auto image = TestImage::New(ImageOf(5, 8, ref::kMono, {{1, 2, 3, 4, 5, 100, 200}, {9, 8, 7, 6, 5}}));
    ASSERT_EQ(colour->GrayScale(image.Get()), S_OK);
    const auto luma = [](int a, int b, int c) { return (117 * a + 601 * b + 306 * c) >> 10; };
    EXPECT_TRUE(SamePixels(ImageOf(5, 8, ref::kMono,
                                   {{luma(1, 2, 3), luma(2, 3, 4), luma(3, 4, 5), luma(4, 5, 100), luma(5, 100, 200)},
                                    {luma(9, 8, 7), luma(8, 7, 6), luma(7, 6, 5), luma(6, 5, 0), luma(5, 0, 0)}}),
                           image));
}

TEST_F(PointColour, GrayScaleAt8BitsOfTightNarrowRowsReadsTheNextRowsInMemory) {
    test::Random random(12);
    for (uint32_t width = 1; width <= 6; ++width) {
        for (uint32_t height = 1; height <= 4; ++height) {
            for (const int32_t sign : {1, -1}) {
                ref::Image before(width, height, 1, 8, ref::kMono, sign * static_cast<int32_t>(width));
                for (uint8_t& byte : before.store[0]) byte = random.Byte();
                SCOPED_TRACE(test::Describe(before));
                const auto image = TestImage::New(before);
                ref::Image expected = before;
                EXPECT_EQ(colour->GrayScale(image.Get()), ref::GrayScale(expected));
                EXPECT_TRUE(SamePixels(expected, image));
            }
        }
    }
}

TEST_F(PointColour, GrayScaleMakesAnImageOfTheSameFormatThroughTheCollection) {
    test::Random random(11);
    const auto image = TestImage::New(test::RandomImage(random, 7, 3, 2, 32, ref::kArgb));
    ASSERT_EQ(colour->GrayScale(image.Get()), S_OK);
    ASSERT_EQ(collection->objects.size(), 1u);
    EXPECT_EQ(collection->objects[0].name, L"VELImageDIB");
    EXPECT_FALSE(collection->objects[0].nullId);
    EXPECT_TRUE(collection->objects[0].iid == test::InterfaceId("IVELImage"));
    ASSERT_EQ(collection->images.size(), 1u);
    const std::vector<test::CreateArguments> created = {{7, 3, 2, 32, ref::kArgb}};
    EXPECT_EQ(collection->images[0]->created, created);
    ASSERT_EQ(image->log->assigned.size(), 1u);
    EXPECT_NE(image->log->assigned[0].first, nullptr);
    EXPECT_EQ(image->log->assigned[0].second, 0);
}

TEST_F(PointColour, GrayScaleAt1And4And16BitsKeepsWhatCreateGave) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        test::Random random(depth);
        const auto image = TestImage::New(test::RandomImage(random, 9, 4, 1, depth, ref::kMono));
        ASSERT_EQ(colour->GrayScale(image.Get()), S_OK);
        EXPECT_TRUE(SamePixels(ref::Created(9, 4, 1, depth, ref::kMono), image));
    }
}

TEST_F(PointColour, GrayScaleWithoutADestinationFailsAndChangesNothing) {
    const ref::Image before = ImageOf(1, 24, ref::kBgr, {{10, 20, 31}});
    const auto image = TestImage::New(before);
    collection->refuseImages = true;
    EXPECT_EQ(colour->GrayScale(image.Get()), E_FAIL);
    EXPECT_TRUE(SameBytes(before, image));
    module->InitializeModule(nullptr, nullptr);
    EXPECT_EQ(colour->GrayScale(image.Get()), E_FAIL);
    EXPECT_TRUE(SameBytes(before, image));
}

TEST_F(PointColour, ThresholdGoesOnWhereNoGreyImageCouldBeMade) {
    collection->refuseImages = true;
    RandomCases(40, [&](test::Random& random) {
        const int level = random.Int(0, 255);
        Compare(
            random, [&](IVEL* image) { return colour->Threshold(image, level); },
            [&](ref::Image& image) { return ref::Threshold(image, level, false); });
    });
}

// A sum of 61 is above 3 * 20, three times its third is not.
TEST_F(PointColour, ThresholdOfAnImageThatTakesNoGreyOneGoesByItsOwnChannels) {
    const ref::Image before = ImageOf(1, 24, ref::kBgr, {{10, 20, 31}});
    const auto grey = TestImage::New(before);
    ASSERT_EQ(colour->Threshold(grey.Get(), 20), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(1, 24, ref::kBgr, {{0, 0, 0}}), grey));
    for (const bool failing : {false, true}) {
        const auto image = TestImage::New(before);
        image->faults = {.noIVELImage = !failing, .assign = failing};
        EXPECT_EQ(colour->Threshold(image.Get(), 20), S_OK);
        EXPECT_TRUE(SameBytes(ImageOf(1, 24, ref::kBgr, {{255, 255, 255}}), image));
        EXPECT_EQ(image->Count(), 1u);
    }
}

TEST_F(PointColour, GrayScaleOfASourceWithoutIVELImageChangesNothingAndSucceeds) {
    const ref::Image before = ImageOf(1, 24, ref::kBgr, {{10, 20, 31}});
    const auto image = TestImage::New(before);
    image->faults.noIVELImage = true;
    EXPECT_EQ(colour->GrayScale(image.Get()), S_OK);
    EXPECT_EQ(collection->images.size(), 1u);
    EXPECT_TRUE(SameBytes(before, image));
    EXPECT_EQ(image->Count(), 1u);
}

TEST_F(PointColour, OnlyPlane0IsTouched) {
    test::Random random(3);
    const ref::Image before = test::RandomImage(random, 11, 5, 3, 24, ref::kBgr);
    const auto image = TestImage::New(before);
    ASSERT_EQ(colour->Negative(image.Get()), S_OK);
    ASSERT_EQ(colour->ShiftRGB(image.Get(), 9, 9, 9), S_OK);
    EXPECT_NE(image->Content().store[0], before.store[0]);
    EXPECT_EQ(image->Content().store[1], before.store[1]);
    EXPECT_EQ(image->Content().store[2], before.store[2]);
}

// ---------------------------------------------------------------------------------------------------------------
// Hosts that give less than they should

TEST_F(PointColour, ImagesWithoutPixelsAreLeftInPeace) {
    unsigned char table[256] = {};
    const auto all = [&](TestImage* image) {
        EXPECT_EQ(colour->Negative(image), S_OK);
        EXPECT_EQ(colour->Lut(image, table), S_OK);
        EXPECT_EQ(colour->GrayScale(image), S_OK);
        EXPECT_EQ(colour->ShiftRGB(image, 1, 2, 3), S_OK);
        EXPECT_EQ(colour->Gamma(image, 2.0f), S_OK);
        EXPECT_EQ(colour->Light(image, 1, 2), S_OK);
        EXPECT_EQ(colour->Threshold(image, 100), S_OK);
        EXPECT_EQ(image->Count(), 1u);
    };
    for (const uint32_t depth : {1u, 4u, 8u, 16u, 24u, 32u}) {
        test::Random random(depth);
        const ref::Image content = test::RandomImage(random, 5, 4, 1, depth, ref::kMono);
        SCOPED_TRACE(test::Describe(content));
        for (int fault = 0; fault < 4; ++fault) {
            SCOPED_TRACE(fault);
            const auto image = TestImage::New(content);
            image->faults.nullBits = fault == 0;
            image->faults.getBits = fault == 1;
            image->faults.getFormat = fault == 2;
            image->faults.getSize = fault == 3;
            image->faults.noIVELImage = true;  // so that nothing is taken over
            all(image.Get());
            image->faults = {};
            EXPECT_TRUE(SameBytes(content, image));
        }
        const auto empty = TestImage::New();
        all(empty.Get());
    }
}

TEST_F(PointColour, AGreyImageThatGetsNoStoreEndsInSuccessWithoutPixels) {
    for (const bool silent : {false, true}) {
        collection->imageFaults = {.create = !silent, .createSilent = silent};
        const auto image = TestImage::New(ImageOf(1, 24, ref::kBgr, {{10, 20, 31}}));
        EXPECT_EQ(colour->GrayScale(image.Get()), S_OK);
        EXPECT_TRUE(image->Content().store.empty());
        const auto other = TestImage::New(ImageOf(1, 24, ref::kBgr, {{10, 20, 31}}));
        EXPECT_EQ(colour->Threshold(other.Get(), 100), S_OK);
        EXPECT_TRUE(other->Content().store.empty());
    }
}

TEST_F(PointColour, WhatTheHostThrowsPassesThroughAndNothingLeaks) {
    using test::Call;
    const ref::Image before = ImageOf(1, 24, ref::kBgr, {{10, 20, 31}});
    for (const Call call : {Call::GetSize, Call::GetBits, Call::GetFormat}) {
        for (int skip = 0; skip < 2; ++skip) {
            const auto image = TestImage::New(before);
            image->bomb.Arm(call, skip);
            EXPECT_THROW(colour->Threshold(image.Get(), 100), test::HostError);
            EXPECT_EQ(image->Count(), 1u);
        }
        const auto image = TestImage::New(before);
        image->bomb.Arm(call);
        EXPECT_THROW(colour->Negative(image.Get()), test::HostError);
        EXPECT_TRUE(SameBytes(before, image));
    }
    const auto image = TestImage::New(before);
    image->bomb.Arm(Call::Assign);
    EXPECT_THROW(colour->GrayScale(image.Get()), test::HostError);
    EXPECT_EQ(image->Count(), 1u);
    EXPECT_TRUE(SameBytes(before, image));
    for (const Call call : {Call::Create, Call::GetBits}) {
        collection->imageBomb.Arm(call);
        EXPECT_THROW(colour->GrayScale(image.Get()), test::HostError);
        EXPECT_EQ(image->Count(), 1u);
        EXPECT_TRUE(SameBytes(before, image));
        collection->imageBomb = {};
    }
    collection->bomb.Arm(Call::CreateObject);
    EXPECT_THROW(colour->GrayScale(image.Get()), test::HostError);
    EXPECT_EQ(collection->Count(), 2u);  // ours and the module's own
}

TEST_F(PointColour, RowsThatShareTheirBytesAreWalkedOneAfterTheOther) {
    unsigned char table[256];
    for (int i = 0; i < 256; ++i) table[i] = static_cast<unsigned char>(i * 5 + 1);
    test::Random random(13);
    for (const uint32_t depth : {8u, 24u, 32u}) {
        for (const int32_t stride : {1, -1, 2, -3, 40, -40}) {
            ref::Image before(30, 5, 1, depth, ref::kMono, stride);
            for (uint8_t& byte : before.store[0]) byte = random.Byte();
            SCOPED_TRACE(test::Describe(before));
            const auto image = TestImage::New(before);
            ref::Image expected = before;
            EXPECT_EQ(colour->Negative(image.Get()), ref::Negative(expected));
            EXPECT_TRUE(SameBytes(expected, image));
            EXPECT_EQ(colour->Lut(image.Get(), table), ref::Lut(expected, table));
            EXPECT_TRUE(SameBytes(expected, image));
            EXPECT_EQ(colour->ShiftRGB(image.Get(), 9, -7, 80), ref::ShiftRGB(expected, 9, -7, 80));
            EXPECT_TRUE(SameBytes(expected, image));
        }
    }
}

TEST_F(PointColour, OddDepthsDoNotCrash) {
    RandomCases(60, [&](test::Random& random) {
        ref::Image content = test::RandomImage(random, {.depths = {0, 2, 3, 7, 12, 15, 20, 23, 25, 31, 40, 48, 64}});
        const auto image = TestImage::New(content);
        unsigned char table[256] = {};
        EXPECT_EQ(colour->Negative(image.Get()), S_OK);
        EXPECT_EQ(colour->Lut(image.Get(), table), S_OK);
        EXPECT_EQ(colour->ShiftRGB(image.Get(), 1, 2, 3), S_OK);
        EXPECT_EQ(colour->Gamma(image.Get(), 2.0f), S_OK);
        EXPECT_EQ(colour->Light(image.Get(), 1, 2), S_OK);
        EXPECT_TRUE(SameBytes(content, image));
        EXPECT_EQ(colour->GrayScale(image.Get()), S_OK);
        EXPECT_EQ(colour->Threshold(image.Get(), 100), S_OK);
    });
}

// ---------------------------------------------------------------------------------------------------------------
// Against the reference

TEST_F(PointColour, NegativeAgainstReference) {
    RandomCases(500, [&](test::Random& random) {
        Compare(
            random, [&](IVEL* image) { return colour->Negative(image); }, ref::Negative);
    });
}

TEST_F(PointColour, LutAgainstReference) {
    RandomCases(500, [&](test::Random& random) {
        unsigned char table[256];
        for (unsigned char& entry : table) entry = random.Byte();
        Compare(
            random, [&](IVEL* image) { return colour->Lut(image, table); },
            [&](ref::Image& image) { return ref::Lut(image, table); });
    });
}

TEST_F(PointColour, GrayScaleAgainstReference) {
    RandomCases(600, [&](test::Random& random) {
        CompareReplaced(
            random, [&](IVEL* image) { return colour->GrayScale(image); }, ref::GrayScale);
    });
}

TEST_F(PointColour, ShiftRGBAgainstReference) {
    RandomCases(600, [&](test::Random& random) {
        const auto shift = [&] {
            return random.Chance(15) ? random.Pick({INT32_MIN, INT32_MAX, 256, -256, 255, -255, 254, 1, -1, 0})
                                     : random.Int(-300, 300);
        };
        const int red = shift(), green = shift(), blue = shift();
        SCOPED_TRACE(testing::Message() << "red " << red << ", green " << green << ", blue " << blue);
        Compare(
            random, [&](IVEL* image) { return colour->ShiftRGB(image, red, green, blue); },
            [&](ref::Image& image) { return ref::ShiftRGB(image, red, green, blue); });
    });
}

TEST_F(PointColour, GammaAgainstReference) {
    const float extreme[] = {0.0f,
                             -0.0f,
                             -1.0f,
                             -2.5f,
                             1e-6f,
                             1e-3f,
                             1e6f,
                             1e30f,
                             std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity(),
                             std::nanf(""),
                             1e-45f};
    for (const float gamma : extreme) {
        SCOPED_TRACE(gamma);
        const auto image = TestImage::New(Ramp());
        ref::Image expected = Ramp();
        ref::Gamma(expected, gamma);
        EXPECT_EQ(colour->Gamma(image.Get(), gamma), S_OK);
        EXPECT_TRUE(SameBytes(expected, image));
    }
    RandomCases(400, [&](test::Random& random) {
        const float gamma = static_cast<float>(random.Chance(50) ? random.Real(0.05, 5.0) : random.Int(1, 12) / 4.0);
        SCOPED_TRACE(gamma);
        Compare(
            random, [&](IVEL* image) { return colour->Gamma(image, gamma); },
            [&](ref::Image& image) { return ref::Gamma(image, gamma); });
    });
}

TEST_F(PointColour, LightAgainstReference) {
    RandomCases(600, [&](test::Random& random) {
        const auto value = [&] {
            return random.Chance(15) ? random.Pick({INT32_MIN, INT32_MAX, 255, -255, 1000000, -1000000, -100, 100, 0})
                                     : random.Int(-300, 300);
        };
        const int brightness = value(), contrast = value();
        SCOPED_TRACE(testing::Message() << "brightness " << brightness << ", contrast " << contrast);
        Compare(
            random, [&](IVEL* image) { return colour->Light(image, brightness, contrast); },
            [&](ref::Image& image) { return ref::Light(image, brightness, contrast); });
        const auto image = TestImage::New(Ramp());
        ref::Image expected = Ramp();
        ref::Light(expected, brightness, contrast);
        colour->Light(image.Get(), brightness, contrast);
        EXPECT_TRUE(SameBytes(expected, image));
    });
}

TEST_F(PointColour, ThresholdAgainstReference) {
    RandomCases(600, [&](test::Random& random) {
        const int level =
            random.Chance(15)
                ? random.Pick({INT32_MIN, INT32_MAX, -1, 0, 254, 255, 256, 715827882, 715827883, -715827883})
                : random.Int(-10, 260);
        SCOPED_TRACE(level);
        CompareReplaced(
            random, [&](IVEL* image) { return colour->Threshold(image, level); },
            [&](ref::Image& image) { return ref::Threshold(image, level); });
    });
}

}  // namespace
