// Add, Subtract and AddScale: worked numbers, bytes walked at each depth, counts, masks and result codes.
#include <climits>
#include <cmath>
#include <limits>

#include "reference/Arithmetic.h"
#include "support/NewImages.h"

namespace {

using ref::kArgb;
using ref::kBgr;
using ref::kMono;
using test::ImageOf;
using test::TestImage;

class AddSubtract : public test::ComponentTest<IVELMaths> {
protected:
    ref::Image Sum(const ref::Image& first, const ref::Image& second, float divisor) {
        const auto a = TestImage::New(first), b = TestImage::New(second), to = TestImage::New();
        EXPECT_EQ(component->Add(to.Get(), a.Get(), b.Get(), divisor), S_OK);
        EXPECT_TRUE(test::SameBytes(first, a));
        EXPECT_TRUE(test::SameBytes(second, b));
        EXPECT_EQ(to->Count(), 1u);
        return to->Content();
    }
    int SumOfBytes(int first, int second, float divisor) {
        return Sum(ImageOf(1, 8, kMono, {{first}}), ImageOf(1, 8, kMono, {{second}}), divisor).Get(0, 0);
    }
    ref::Image Difference(const ref::Image& minuend, const ref::Image& subtrahend, int mode, HRESULT code) {
        const auto a = TestImage::New(minuend), b = TestImage::New(subtrahend);
        const auto to = TestImage::New(ref::CreatedLike(minuend));
        EXPECT_EQ(component->Subtract(to.Get(), a.Get(), b.Get(), mode), code);
        EXPECT_TRUE(test::SameBytes(minuend, a));
        EXPECT_TRUE(test::SameBytes(subtrahend, b));
        EXPECT_EQ(to->Count(), 1u);
        return to->Content();
    }
    ref::Image Weighted(const ref::Image& destination, const ref::Image& first, const ref::Image& second,
                        const ref::Image* maskContent, float firstFactor, float secondFactor, float offset,
                        HRESULT code) {
        const auto a = TestImage::New(first), b = TestImage::New(second), to = TestImage::New(destination);
        SmartPtr<TestImage> mask;
        if (maskContent) mask = TestImage::New(*maskContent);
        EXPECT_EQ(component->AddScale(to.Get(), a.Get(), b.Get(), mask.Get(), firstFactor, secondFactor, offset), code);
        EXPECT_TRUE(test::SameBytes(first, a));
        EXPECT_TRUE(test::SameBytes(second, b));
        return to->Content();
    }
    int WeightedByte(int first, int second, float firstFactor, float secondFactor, float offset) {
        return Weighted(ImageOf(1, 8, kMono, {{9}}), ImageOf(1, 8, kMono, {{first}}), ImageOf(1, 8, kMono, {{second}}),
                        nullptr, firstFactor, secondFactor, offset, S_OK)
            .Get(0, 0);
    }
};

constexpr int kLeft = ref::kCreatedByte;

// ---------------------------------------------------------------------------------------------------------------
// Add

TEST_F(AddSubtract, AddDividesOrKeepsTheSum) {
    EXPECT_EQ(SumOfBytes(100, 100, 0), 200);
    EXPECT_EQ(SumOfBytes(100, 100, -0.0f), 200);
    EXPECT_EQ(SumOfBytes(200, 100, 0), 255);
    EXPECT_EQ(SumOfBytes(100, 100, 4), 50);
    EXPECT_EQ(SumOfBytes(100, 100, 3), 66);
    EXPECT_EQ(SumOfBytes(100, 100, -1), 0);
    EXPECT_EQ(SumOfBytes(255, 255, 1), 255);
    EXPECT_EQ(SumOfBytes(100, 100, 0.5f), 255);
    EXPECT_EQ(SumOfBytes(0, 0, 0.5f), 0);
}

TEST_F(AddSubtract, AddMultipliesByFourForADivisorOf2) {
    EXPECT_EQ(SumOfBytes(100, 100, 2), 255);
    EXPECT_EQ(SumOfBytes(30, 33, 2), 252);
    EXPECT_EQ(SumOfBytes(30, 34, 2), 255);
    EXPECT_EQ(SumOfBytes(10, 1, 2), 44);
    EXPECT_EQ(SumOfBytes(100, 100, std::nextafter(2.0f, 3.0f)), 99);
}

TEST_F(AddSubtract, AddWithDivisorsThatAreNoUsualNumbers) {
    EXPECT_EQ(SumOfBytes(100, 100, std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(SumOfBytes(100, 100, std::numeric_limits<float>::infinity()), 0);
    EXPECT_EQ(SumOfBytes(100, 100, -std::numeric_limits<float>::infinity()), 0);
    EXPECT_EQ(SumOfBytes(100, 100, 1e-30f), 255);
    EXPECT_EQ(SumOfBytes(0, 0, 1e-30f), 0);
}

TEST_F(AddSubtract, AddOf24BitsSumsEveryByte) {
    EXPECT_TRUE(test::SameNewImage(
        ImageOf(2, 24, kBgr, {{11, 22, 33, 44, 55, 66}}),
        Sum(ImageOf(2, 24, kBgr, {{1, 2, 3, 4, 5, 6}}), ImageOf(2, 24, kBgr, {{10, 20, 30, 40, 50, 60}}), 0)));
}

TEST_F(AddSubtract, AddOf32BitsSumsThreeQuartersOfARow) {
    EXPECT_TRUE(test::SameNewImage(ImageOf(2, 32, kBgr, {{11, 22, 33, 44, 55, 66, kLeft, kLeft}}),
                                   Sum(ImageOf(2, 32, kBgr, {{1, 2, 3, 4, 5, 6, 7, 8}}),
                                       ImageOf(2, 32, kBgr, {{10, 20, 30, 40, 50, 60, 70, 80}}), 0)));
}

TEST_F(AddSubtract, AddOfOtherDepthsOnlyCreates) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        const ref::Image source(9, 3, 2, depth, kBgr);
        EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(source), Sum(source, source, 0)));
    }
}

TEST_F(AddSubtract, AddRefusesAnotherDepthOrCodeAndLeavesTheDestination) {
    const ref::Image before = ImageOf(2, 8, kMono, {{3, 4}}), grey(2, 2, 1, 8, kMono);
    for (const ref::Image& other :
         {ref::Image(2, 2, 1, 24, kMono), ref::Image(2, 2, 1, 8, kBgr), ref::Image(2, 2, 1, 8, 0)}) {
        const auto a = TestImage::New(grey), b = TestImage::New(other), to = TestImage::New(before);
        EXPECT_EQ(component->Add(to.Get(), a.Get(), b.Get(), 0), E_FAIL);
        EXPECT_EQ(component->Add(to.Get(), b.Get(), a.Get(), 0), E_FAIL);
        EXPECT_TRUE(to->log->created.empty());
        EXPECT_TRUE(test::SameBytes(before, to));
    }
}

TEST_F(AddSubtract, AddCreatesTheDestinationLikeTheFirstImage) {
    const auto a = TestImage::New(ref::Image(5, 4, 3, 24, kArgb)), b = TestImage::New(ref::Image(6, 7, 3, 24, kArgb));
    const auto to = TestImage::New(ImageOf(2, 8, kMono, {{3, 4}}));
    EXPECT_EQ(component->Add(to.Get(), a.Get(), b.Get(), 0), S_OK);
    EXPECT_EQ(to->log->created, (std::vector<test::CreateArguments>{{5, 4, 3, 24, kArgb}}));
}

TEST_F(AddSubtract, AddSumsEveryPlane) {
    ref::Image source(2, 1, 3, 8, kMono), expected(2, 1, 3, 8, kMono);
    for (uint32_t plane = 0; plane < 3; ++plane) {
        source.Put(0, 1, static_cast<uint8_t>(plane + 5), plane);
        expected.Put(0, 1, static_cast<uint8_t>(2 * plane + 10), plane);
    }
    EXPECT_TRUE(test::SameNewImage(expected, Sum(source, source, 0)));
}

TEST_F(AddSubtract, AddIntoASourceFindsItMadeAnew) {
    const ref::Image second = ImageOf(2, 8, kMono, {{1, 2}});
    const auto image = TestImage::New(ImageOf(2, 8, kMono, {{50, 60}})), b = TestImage::New(second);
    EXPECT_EQ(component->Add(image.Get(), image.Get(), b.Get(), 0), S_OK);
    EXPECT_TRUE(test::SameNewImage(ImageOf(2, 8, kMono, {{kLeft + 1, kLeft + 2}}), image->Content()));
}

// ---------------------------------------------------------------------------------------------------------------
// Subtract

TEST_F(AddSubtract, SubtractOf8BitsCountsNothing) {
    const ref::Image ten = ImageOf(1, 8, kMono, {{10}}), twenty = ImageOf(1, 8, kMono, {{20}});
    EXPECT_EQ(Difference(ten, twenty, 0, 0).Get(0, 0), 0);
    EXPECT_EQ(Difference(ten, twenty, 1, 0).Get(0, 0), 10);
    EXPECT_EQ(Difference(ten, twenty, 2, 0).Get(0, 0), 10);
    EXPECT_EQ(Difference(ten, twenty, INT_MIN, 0).Get(0, 0), 10);
    EXPECT_EQ(Difference(twenty, ten, 0, 0).Get(0, 0), 10);
}

TEST_F(AddSubtract, SubtractOf24BitsCountsValuesAbove1) {
    const ref::Image base = ImageOf(2, 24, kBgr, {{10, 20, 30, 40, 50, 60}});
    EXPECT_TRUE(test::SamePixels(ImageOf(2, 24, kBgr, {{0, 0, 0, 0, 0, 0}}), Difference(base, base, 0, 0)));
    EXPECT_EQ(Difference(ImageOf(2, 24, kBgr, {{10, 20, 30, 41, 50, 60}}), base, 0, 0).Get(0, 3), 1);
    EXPECT_EQ(Difference(ImageOf(2, 24, kBgr, {{10, 20, 30, 42, 50, 60}}), base, 0, 1).Get(0, 3), 2);
    // Clipped differences do not count, absolute ones do.
    const ref::Image darker = ImageOf(2, 24, kBgr, {{0, 0, 0, 30, 40, 61}});
    EXPECT_TRUE(test::SamePixels(ImageOf(2, 24, kBgr, {{0, 0, 0, 0, 0, 1}}), Difference(darker, base, 0, 0)));
    EXPECT_TRUE(test::SamePixels(ImageOf(2, 24, kBgr, {{10, 20, 30, 10, 10, 1}}), Difference(darker, base, 2, 5)));
}

TEST_F(AddSubtract, SubtractOf32BitsReadsItsModeBitByBit) {
    const ref::Image a = ImageOf(1, 32, kBgr, {{10, 200, 30, 77}}), b = ImageOf(1, 32, kBgr, {{20, 100, 31, 5}});
    EXPECT_TRUE(test::SamePixels(ImageOf(1, 32, kBgr, {{0, 100, 0, 255}}), Difference(a, b, 0, 1)));
    EXPECT_TRUE(test::SamePixels(ImageOf(1, 32, kBgr, {{10, 100, 1, 255}}), Difference(a, b, 1, 2)));
    EXPECT_TRUE(test::SamePixels(ImageOf(1, 32, kBgr, {{0, 100, 0, 0}}), Difference(a, b, 2, 1)));
    EXPECT_TRUE(test::SamePixels(ImageOf(1, 32, kBgr, {{10, 100, 1, 0}}), Difference(a, b, 3, 2)));
    EXPECT_TRUE(test::SamePixels(ImageOf(1, 32, kBgr, {{0, 100, 0, 255}}), Difference(a, b, 4, 1)));
}

TEST_F(AddSubtract, SubtractOfOtherDepthsWritesNothing) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        const ref::Image source = test::Flat(9, 3, depth, kBgr, 0x00FFFFFF);
        EXPECT_TRUE(test::SameBytes(ref::CreatedLike(source), Difference(source, source, 1, 0)));
    }
}

TEST_F(AddSubtract, SubtractTakesTheCommonSizeAndTheMinuendsPlanes) {
    const ref::Image a = ImageOf(3, 8, kMono, {{9, 9, 9}, {9, 9, 9}}),
                     b = ImageOf(2, 8, kMono, {{1, 2}, {3, 4}, {5, 6}});
    EXPECT_TRUE(test::SamePixels(ImageOf(3, 8, kMono, {{8, 7, kLeft}, {6, 5, kLeft}}), Difference(a, b, 0, 0)));
    const ref::Image two(2, 1, 2, 24, kBgr);
    ref::Image one(2, 1, 1, 24, kBgr), three(2, 1, 3, 24, kBgr);
    for (auto& plane : three.store) plane.assign(plane.size(), 3);
    EXPECT_EQ(Difference(two, three, 1, 12).Get(0, 5, 1), 3);
    EXPECT_EQ(Difference(one, three, 1, 6).Get(0, 5), 3);
}

TEST_F(AddSubtract, SubtractWithoutAnImageIsAnInvalidArgument) {
    const ref::Image content = ImageOf(1, 8, kMono, {{10}});
    const auto image = TestImage::New(content);
    EXPECT_EQ(component->Subtract(nullptr, image.Get(), image.Get(), 0), E_INVALIDARG);
    EXPECT_EQ(component->Subtract(image.Get(), nullptr, image.Get(), 0), E_INVALIDARG);
    EXPECT_EQ(component->Subtract(image.Get(), image.Get(), nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(component->Subtract(nullptr, nullptr, nullptr, 0), E_INVALIDARG);
    EXPECT_TRUE(test::SameBytes(content, image));
}

TEST_F(AddSubtract, SubtractRefusesAnotherDepthOrCode) {
    const ref::Image grey = ImageOf(1, 8, kMono, {{10}});
    EXPECT_TRUE(
        test::SameBytes(ref::CreatedLike(grey), Difference(grey, ImageOf(1, 24, kMono, {{1, 2, 3}}), 0, E_FAIL)));
    EXPECT_TRUE(test::SameBytes(ref::CreatedLike(grey), Difference(grey, ImageOf(1, 8, kBgr, {{1}}), 0, E_FAIL)));
}

TEST_F(AddSubtract, SubtractInPlace) {
    const auto image = TestImage::New(ImageOf(2, 24, kBgr, {{10, 20, 30, 40, 50, 60}}));
    const auto other = TestImage::New(ImageOf(2, 24, kBgr, {{11, 18, 30, 30, 51, 70}}));
    EXPECT_EQ(component->Subtract(image.Get(), image.Get(), other.Get(), 1), 3);
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 24, kBgr, {{1, 2, 0, 10, 1, 10}}), image));
    EXPECT_EQ(component->Subtract(image.Get(), image.Get(), image.Get(), 1), 0);
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 24, kBgr, {{0, 0, 0, 0, 0, 0}}), image));
}

// ---------------------------------------------------------------------------------------------------------------
// AddScale

TEST_F(AddSubtract, AddScaleWeighsAndSaturates) {
    EXPECT_EQ(WeightedByte(10, 21, 0.5f, 0.5f, 0), 15);
    EXPECT_EQ(WeightedByte(100, 60, 1, -1, 128), 168);
    EXPECT_EQ(WeightedByte(60, 100, 1, -1, 128), 88);
    EXPECT_EQ(WeightedByte(200, 100, 1, 1, 0), 255);
    EXPECT_EQ(WeightedByte(0, 200, 1, -1, 0), 0);
    EXPECT_EQ(WeightedByte(0, 0, 1, 1, 254.99f), 254);
    EXPECT_EQ(WeightedByte(0, 0, 1, 1, -0.5f), 0);
    EXPECT_EQ(WeightedByte(1, 1, 1e30f, -1e30f, 7), 7);
    EXPECT_EQ(WeightedByte(255, 255, 1e38f, 1e38f, 0), 255);
    // A NaN is 0.
    EXPECT_EQ(WeightedByte(1, 1, std::numeric_limits<float>::quiet_NaN(), 1, 7), 0);
    EXPECT_EQ(WeightedByte(1, 1, std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(), 7),
              0);
    EXPECT_EQ(WeightedByte(0, 1, std::numeric_limits<float>::infinity(), 1, 7), 0);
}

TEST_F(AddSubtract, AddScaleAddsTheProductsBeforeTheOffset) {
    // (2^24 + 1) in single precision loses the 1, so the order shows.
    EXPECT_EQ(WeightedByte(1, 1, 16777216.0f, 1.0f, -16777216.0f), 0);
    EXPECT_EQ(WeightedByte(1, 1, 16777216.0f, -16777216.0f, 1.0f), 1);
}

TEST_F(AddSubtract, AddScaleOf32BitsWeighsAlphaToo) {
    EXPECT_TRUE(test::SameBytes(ImageOf(1, 32, kArgb, {{2, 4, 6, 8}}),
                                Weighted(ImageOf(1, 32, kArgb, {{9, 9, 9, 9}}), ImageOf(1, 32, kBgr, {{1, 2, 3, 4}}),
                                         ImageOf(1, 32, kMono, {{1, 2, 3, 4}}), nullptr, 1, 1, 0, S_OK)));
}

TEST_F(AddSubtract, AddScaleOf16BitsGoesByteByByte) {
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 16, kBgr, {{11, 22, 33, 44}}),
                                Weighted(ref::Image(2, 1, 1, 16, kBgr), ImageOf(2, 16, kBgr, {{1, 2, 3, 4}}),
                                         ImageOf(2, 16, kBgr, {{10, 20, 30, 40}}), nullptr, 1, 1, 0, S_OK)));
}

TEST_F(AddSubtract, AddScaleOf1And4BitsWritesNothing) {
    for (const uint32_t depth : {1u, 4u}) {
        const ref::Image image = test::Flat(9, 3, depth, kBgr, 0x00FFFFFF),
                         mask = test::Flat(9, 3, 8, kBgr, 0x00FFFFFF);
        EXPECT_TRUE(test::SameBytes(image, Weighted(image, image, image, nullptr, 0, 0, 0, S_OK)));
        EXPECT_TRUE(test::SameBytes(image, Weighted(image, image, image, &mask, 0, 0, 0, S_OK)));
    }
}

TEST_F(AddSubtract, AddScaleWithAMaskKeepsTheOtherPixels) {
    const ref::Image mask = ImageOf(3, 8, kMono, {{0, 1, 128}});
    EXPECT_TRUE(test::SameBytes(ImageOf(3, 24, kBgr, {{9, 9, 9, 8, 10, 12, 14, 16, 18}}),
                                Weighted(ImageOf(3, 24, kBgr, {{9, 9, 9, 9, 9, 9, 9, 9, 9}}),
                                         ImageOf(3, 24, kBgr, {{1, 2, 3, 4, 5, 6, 7, 8, 9}}),
                                         ImageOf(3, 24, kBgr, {{1, 2, 3, 4, 5, 6, 7, 8, 9}}), &mask, 1, 1, 0, S_OK)));
}

TEST_F(AddSubtract, AddScaleOf24And32BitsKeepsAlpha) {
    const ref::Image triple = ImageOf(2, 24, kBgr, {{1, 2, 3, 4, 5, 6}}),
                     quad = ImageOf(2, 32, kArgb, {{10, 20, 30, 40, 50, 60, 70, 80}});
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 24, kBgr, {{11, 22, 33, 54, 65, 76}}),
                                Weighted(triple, triple, quad, nullptr, 1, 1, 0, S_OK)));
    EXPECT_TRUE(test::SameBytes(
        ImageOf(2, 32, kBgr, {{2, 4, 6, 9, 8, 10, 12, 9}}),
        Weighted(ImageOf(2, 32, kBgr, {{9, 9, 9, 9, 9, 9, 9, 9}}), triple, triple, nullptr, 1, 1, 0, S_OK)));
}

TEST_F(AddSubtract, AddScaleOfMixedDepthsWithAMaskFailsAfterWriting) {
    const ref::Image triple = ImageOf(2, 24, kBgr, {{1, 2, 3, 4, 5, 6}}),
                     quad = ImageOf(2, 32, kArgb, {{10, 20, 30, 40, 50, 60, 70, 80}});
    const ref::Image mask = ImageOf(2, 8, kMono, {{0, 1}}), full = ImageOf(2, 8, kMono, {{1, 1}});
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 24, kBgr, {{1, 2, 3, 54, 65, 76}}),
                                Weighted(triple, triple, quad, &mask, 1, 1, 0, E_FAIL)));
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 32, kArgb, {{11, 22, 33, 40, 54, 65, 76, 80}}),
                                Weighted(quad, triple, quad, &full, 1, 1, 0, E_FAIL)));
    Weighted(ref::Image(2, 0, 1, 24, kBgr), ref::Image(2, 0, 1, 24, kBgr), ref::Image(2, 0, 1, 32, kBgr), &full, 1, 1,
             0, E_FAIL);
    Weighted(ref::Image(2, 0, 1, 24, kBgr), ref::Image(2, 0, 1, 24, kBgr), ref::Image(2, 0, 1, 32, kBgr), nullptr, 1, 1,
             0, S_OK);
}

TEST_F(AddSubtract, AddScaleRefusesMixedDepthsBelow24) {
    const ref::Image grey = ImageOf(1, 8, kMono, {{10}}), triple = ImageOf(1, 24, kBgr, {{1, 2, 3}}),
                     quad = ImageOf(1, 32, kBgr, {{1, 2, 3, 4}});
    EXPECT_TRUE(test::SameBytes(triple, Weighted(triple, grey, triple, nullptr, 1, 1, 0, E_FAIL)));
    EXPECT_TRUE(test::SameBytes(triple, Weighted(triple, triple, grey, nullptr, 1, 1, 0, E_FAIL)));
    EXPECT_TRUE(test::SameBytes(grey, Weighted(grey, triple, quad, nullptr, 1, 1, 0, E_FAIL)));
    EXPECT_TRUE(test::SameBytes(grey, Weighted(grey, triple, triple, &grey, 1, 1, 0, E_FAIL)));
}

TEST_F(AddSubtract, AddScaleTakesTheCommonSizeAndPlane0) {
    const ref::Image a = ImageOf(3, 8, kMono, {{1, 2, 3}, {4, 5, 6}}), b(2, 3, 1, 8, kMono);
    EXPECT_TRUE(test::SameBytes(ImageOf(4, 8, kBgr, {{1, 2, 0, 0}, {4, 5, 0, 0}, {0, 0, 0, 0}}),
                                Weighted(ref::Image(4, 3, 1, 8, kBgr), a, b, nullptr, 1, 1, 0, S_OK)));
    ref::Image expected(2, 1, 2, 8, kMono);
    expected.Put(0, 0, 5);
    expected.Put(0, 1, 5);
    const ref::Image planes(2, 1, 2, 8, kMono);
    EXPECT_TRUE(test::SameBytes(expected, Weighted(planes, planes, planes, nullptr, 1, 1, 5, S_OK)));
}

TEST_F(AddSubtract, WithoutImagesOrPixelsNothingIsHarmed) {
    const ref::Image content = ImageOf(2, 8, kMono, {{10, 20}});
    const auto image = TestImage::New(content), empty = TestImage::New(content);
    empty->faults.nullBits = true;
    EXPECT_LT(component->AddScale(nullptr, image.Get(), image.Get(), nullptr, 1, 1, 0), 0);
    EXPECT_LT(component->AddScale(image.Get(), nullptr, image.Get(), nullptr, 1, 1, 0), 0);
    EXPECT_LT(component->AddScale(image.Get(), image.Get(), nullptr, nullptr, 1, 1, 0), 0);
    EXPECT_LT(component->Add(nullptr, image.Get(), image.Get(), 1), 0);
    EXPECT_LT(component->Add(image.Get(), nullptr, image.Get(), 1), 0);
    EXPECT_LT(component->Add(image.Get(), image.Get(), nullptr, 1), 0);
    for (int role = 0; role < 3; ++role) {
        IVEL* const first = role == 1 ? empty.Get() : image.Get();
        IVEL* const second = role == 2 ? empty.Get() : image.Get();
        IVELImage* const to = role == 0 ? empty.Get() : TestImage::New(content).Detach();
        component->AddScale(to, first, second, nullptr, 1, 1, 0);
        component->Subtract(to, first, second, 1);
        component->Add(to, first, second, 1);
        if (role != 0) to->Release();
    }
    EXPECT_TRUE(test::SameBytes(content, image));
}

}  // namespace
