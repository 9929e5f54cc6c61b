// SetImageAlpha, SetImageAlphaTransparency and SetImageTransparentPixel.
#include "reference/Colour.h"
#include "support/Images.h"
#include "support/Module.h"

namespace {

using test::ImageOf;
using test::RandomCases;
using test::SameBytes;
using test::TestImage;

class ImageAlpha : public test::ModuleTest {
protected:
    void SetUp() override {
        test::ModuleTest::SetUp();
        colour = Make<IVELColorTransform>();
    }
    void TearDown() override {
        colour.Clear();
        test::ModuleTest::TearDown();
    }

    SmartPtr<IVELColorTransform> colour;
};

TEST_F(ImageAlpha, NullImageFails) {
    EXPECT_EQ(colour->SetImageAlpha(nullptr, 1, 0), E_FAIL);
    EXPECT_EQ(colour->SetImageAlphaTransparency(nullptr, 1, 0), E_FAIL);
    EXPECT_EQ(colour->SetImageTransparentPixel(nullptr, 0), E_FAIL);
}

TEST_F(ImageAlpha, Alpha0Writes1And255Writes255And256Writes0And300Writes44) {
    const int cases[][2] = {{0, 1}, {255, 255}, {256, 0}, {300, 44}, {-1, 255}, {INT32_MIN, 0}};
    for (const auto& [alpha, written] : cases) {
        const auto image = TestImage::New(ImageOf(2, 32, ref::kBgr, {{1, 2, 3, 4, 5, 6, 7, 8}}));
        EXPECT_EQ(colour->SetImageAlpha(image.Get(), alpha, 0), S_OK);
        EXPECT_TRUE(SameBytes(ImageOf(2, 32, ref::kBgr, {{1, 2, 3, written, 5, 6, 7, written}}), image)) << alpha;
    }
}

TEST_F(ImageAlpha, TheThirdArgumentOfSetImageAlphaHasNoEffect) {
    for (const int unused : {0, 1, -1, 255, INT32_MAX}) {
        const auto image = TestImage::New(ImageOf(1, 32, ref::kBgr, {{1, 2, 3, 4}}));
        EXPECT_EQ(colour->SetImageAlpha(image.Get(), 9, unused), S_OK);
        EXPECT_TRUE(SameBytes(ImageOf(1, 32, ref::kBgr, {{1, 2, 3, 9}}), image)) << unused;
    }
}

TEST_F(ImageAlpha, TransparencyWithAlpha0Writes1BesideTheKeyAnd0IntoIt) {
    const auto image = TestImage::New(ImageOf(2, 32, ref::kBgr, {{1, 2, 3, 77, 5, 6, 7, 77}}));
    EXPECT_EQ(colour->SetImageAlphaTransparency(image.Get(), 0, 0x00010203), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(2, 32, ref::kBgr, {{1, 2, 3, 0, 5, 6, 7, 1}}), image));
}

TEST_F(ImageAlpha, Key0x000000FFMarksPureRedNotPureBlue) {
    const auto image = TestImage::New(ImageOf(2, 32, ref::kBgr, {{0, 0, 255, 9, 255, 0, 0, 9}}));
    EXPECT_EQ(colour->SetImageTransparentPixel(image.Get(), 0x000000FF), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(2, 32, ref::kBgr, {{0, 0, 255, 0, 255, 0, 0, 9}}), image));
    const auto other = TestImage::New(ImageOf(2, 32, ref::kBgr, {{0, 0, 255, 9, 255, 0, 0, 9}}));
    EXPECT_EQ(colour->SetImageAlphaTransparency(other.Get(), 5, 0xAB0000FF), S_OK);  // the key's top byte is ignored
    EXPECT_TRUE(SameBytes(ImageOf(2, 32, ref::kBgr, {{0, 0, 255, 0, 255, 0, 0, 5}}), other));
}

TEST_F(ImageAlpha, TransparentPixelLeavesOtherPixelsAndTransparencyOverwritesThem) {
    const auto kept = TestImage::New(ImageOf(1, 32, ref::kBgr, {{5, 6, 7, 200}}));
    EXPECT_EQ(colour->SetImageTransparentPixel(kept.Get(), 0x00010203), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(1, 32, ref::kBgr, {{5, 6, 7, 200}}), kept));
    const auto overwritten = TestImage::New(ImageOf(1, 32, ref::kBgr, {{5, 6, 7, 200}}));
    EXPECT_EQ(colour->SetImageAlphaTransparency(overwritten.Get(), 100, 0x00010203), S_OK);
    EXPECT_TRUE(SameBytes(ImageOf(1, 32, ref::kBgr, {{5, 6, 7, 100}}), overwritten));
}

TEST_F(ImageAlpha, ImagesOf24BitsAndLessAreRejected) {
    for (const uint32_t depth : {1u, 4u, 8u, 16u, 24u}) {
        test::Random random(depth);
        const ref::Image before = test::RandomImage(random, 5, 3, 1, depth, ref::kBgr);
        const auto image = TestImage::New(before);
        EXPECT_EQ(colour->SetImageAlpha(image.Get(), 9, 0), E_FAIL);
        EXPECT_EQ(colour->SetImageAlphaTransparency(image.Get(), 9, 0), E_FAIL);
        EXPECT_EQ(colour->SetImageTransparentPixel(image.Get(), 0), E_FAIL);
        EXPECT_TRUE(SameBytes(before, image));
    }
}

TEST_F(ImageAlpha, ImagesWithoutPixelsAreLeftInPeace) {
    test::Random random(1);
    const ref::Image content = test::RandomImage(random, 5, 4, 1, 32, ref::kBgr);
    for (int fault = 0; fault < 4; ++fault) {
        SCOPED_TRACE(fault);
        const auto image = TestImage::New(content);
        image->faults.nullBits = fault == 0;
        image->faults.getBits = fault == 1;
        image->faults.getSize = fault == 2;
        image->faults.getFormat = fault == 3;
        const HRESULT code = fault == 3 ? E_FAIL : S_OK;  // no format: no depth that has alpha
        EXPECT_EQ(colour->SetImageAlpha(image.Get(), 9, 0), code);
        EXPECT_EQ(colour->SetImageAlphaTransparency(image.Get(), 9, 0), code);
        EXPECT_EQ(colour->SetImageTransparentPixel(image.Get(), 0), code);
        image->faults = {};
        EXPECT_TRUE(SameBytes(content, image));
    }
}

TEST_F(ImageAlpha, WhatTheHostThrowsPassesThrough) {
    for (const test::Call call : {test::Call::GetSize, test::Call::GetBits, test::Call::GetFormat}) {
        const auto image = TestImage::New(ImageOf(1, 32, ref::kBgr, {{10, 20, 31, 1}}));
        image->bomb.Arm(call);
        EXPECT_THROW(colour->SetImageAlpha(image.Get(), 1, 0), test::HostError);
        image->bomb.Arm(call);
        EXPECT_THROW(colour->SetImageAlphaTransparency(image.Get(), 1, 0), test::HostError);
        image->bomb.Arm(call);
        EXPECT_THROW(colour->SetImageTransparentPixel(image.Get(), 1), test::HostError);
        EXPECT_EQ(image->Count(), 1u);
    }
}

// Depths from 25 to 31 bits: pixels 3 bytes apart that are never written, but SetImageAlpha writes every fourth byte
// all the same, as far as the pixel block goes.
TEST_F(ImageAlpha, AgainstReference) {
    RandomCases(900, [&](test::Random& random) {
        ref::Image before =
            test::RandomImage(random, {.depths = {32, 32, 32, 32, 32, 24, 8, 25, 28, 31}, .formats = {}});
        // Few colours, so that keys match.
        for (uint8_t& byte : before.store.empty() ? std::vector<uint8_t>() : before.store[0]) byte &= 0x81;
        const int alpha = random.Chance(30) ? random.Pick({0, 256, -1, INT32_MIN, INT32_MAX, 300}) : random.Int(1, 255);
        const uint32_t key = static_cast<uint32_t>(random.Bits()) & (random.Chance(50) ? 0xFF818181 : 0x00818181);
        SCOPED_TRACE(testing::Message() << test::Describe(before) << ", alpha " << alpha << ", key " << key);
        const auto image = TestImage::New(before, static_cast<size_t>(random.Int(0, 7)));
        ref::Image expected = before;
        EXPECT_EQ(colour->SetImageTransparentPixel(image.Get(), key), ref::SetImageTransparentPixel(expected, key));
        EXPECT_TRUE(SameBytes(expected, image));
        EXPECT_EQ(colour->SetImageAlphaTransparency(image.Get(), alpha, key),
                  ref::SetImageAlphaTransparency(expected, alpha, key));
        EXPECT_TRUE(SameBytes(expected, image));
        EXPECT_EQ(colour->SetImageAlpha(image.Get(), alpha, random.Int(-9, 9)), ref::SetImageAlpha(expected, alpha));
        EXPECT_TRUE(SameBytes(expected, image));
        EXPECT_EQ(image->Count(), 1u);
    });
}

}  // namespace
