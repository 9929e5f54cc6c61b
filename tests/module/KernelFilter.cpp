// Kernel: an operation of the class only, called by its slot, on hosts that report strides in 32-bit values.
#include <climits>

#include "reference/Filter.h"
#include "support/NewImages.h"

namespace {

using ref::kBgr;
using ref::kMono;

class KernelFilter : public test::ComponentTest<IVELFilterTransform> {
protected:
    void SetUp() override {
        ComponentTest::SetUp();
        collection->recipe.strideInValues = true;
        component->QueryInterface(test::kUnknownId, primary.Receive());
    }
    void TearDown() override {
        primary.Clear();
        ComponentTest::TearDown();
    }

    // Slots 0 to 6 are the object model's; Kernel is the last of the class's own fourteen.
    HRESULT Kernel(IVEL* source, short* kernel, int size, int divisor, int offset, IVEL** dest) {
        return test::CallSlot<HRESULT>(primary.Get(), 20, source, kernel, size, divisor, offset, dest);
    }

    // What Kernel makes of the image; a test failure when it makes none.
    ref::Image Made(const ref::Image& source, std::vector<short> kernel, int size, int divisor, int offset) {
        const auto image = test::TestImage::New(source);
        image->recipe.strideInValues = source.format == kMono && source.bitsPerPixel == 32;
        IVEL* made = nullptr;
        EXPECT_EQ(Kernel(image.Get(), kernel.data(), size, divisor, offset, &made), S_OK);
        EXPECT_TRUE(test::SameBytes(source, image));
        EXPECT_NE(made, nullptr);
        if (!made) return ref::CreatedLike(source);
        const auto holder = SmartPtr<IVEL>::Adopt(made);
        return test::Behind(made)->Content();
    }

    SmartPtr<IUnknown> primary;
};

ref::Image Integers(uint32_t width, uint32_t height) {
    ref::Image image(width, height, 1, 32, kMono, static_cast<int32_t>(4 * width + 8));
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) image.PutWord(y, 4 * x, 10 * y + x);
    }
    return image;
}

constexpr int32_t kUnwritten = static_cast<int32_t>(0x01010101u * ref::kCreatedByte);

TEST_F(KernelFilter, OnlyTheLastCoefficientAndValueEnter) {
    const ref::Image result = Made(Integers(7, 6), {99, -99, 50, 1, 2, 3, 4, 5, 3}, 3, 2, 1);
    // Rows 0 to 2 and columns 0 to 3 are computed and stored one row and one column further.
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 7; ++x) {
            const bool computed = x >= 1 && x <= 4 && y >= 1 && y <= 3;
            const int value = 3 * (10 * (y + 1) + x + 1) / 2 + 1;
            EXPECT_EQ(result.GetWord(y, 4 * x), computed ? value : kUnwritten) << x << ", " << y;
        }
    }
}

TEST_F(KernelFilter, ValuesAreDividedOffsetAndClamped) {
    ref::Image source(3, 3, 1, 32, kMono);
    source.PutWord(0, 0, static_cast<uint32_t>(-7));
    const auto value = [&](short coefficient, int divisor, int offset) {
        return Made(source, {coefficient}, 1, divisor, offset).GetWord(0, 0);
    };
    EXPECT_EQ(value(1, 2, 10), 7);  // -7 / 2 = -3
    EXPECT_EQ(value(-1, 0, 0), 7);
    EXPECT_EQ(value(1, 0, 0), 0);
    EXPECT_EQ(value(-40, 0, 0), 255);
    EXPECT_EQ(value(-40, 0, -25), 255);
    EXPECT_EQ(value(-40, 0, -26), 254);
    source.PutWord(0, 0, 0x80000000u);
    EXPECT_EQ(value(1, -1, 0), 0);  // the quotient wraps
    EXPECT_EQ(value(2, 0, 5), 5);   // so does the product
}

TEST_F(KernelFilter, NothingIsComputedWhenTheSizeIsTheHeightOrTheWidth) {
    const std::vector<short> ones(36, 1);
    EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(Integers(8, 5)), Made(Integers(8, 5), ones, 5, 0, 0)));
    EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(Integers(5, 8)), Made(Integers(5, 8), ones, 5, 0, 0)));
    EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(Integers(6, 6)), Made(Integers(6, 6), ones, 6, 0, 0)));
}

TEST_F(KernelFilter, ASizeAboveTheImageIsRefused) {
    std::vector<short> ones(100, 1);
    for (const int size : {6, 8, 9, INT_MAX}) {
        const auto image = test::TestImage::New(Integers(8, 5));
        image->recipe.strideInValues = true;
        IVEL* dest = nullptr;
        EXPECT_EQ(Kernel(image.Get(), ones.data(), size, 1, 0, &dest), E_INVALIDARG);
        EXPECT_EQ(dest, nullptr);
        EXPECT_EQ(Kernel(image.Get(), ones.data(), size, 1, 0, nullptr), E_INVALIDARG);
        EXPECT_TRUE(test::SameBytes(Integers(8, 5), image));
        EXPECT_TRUE(collection->images.empty());
    }
}

TEST_F(KernelFilter, SizeBelow1CarriesTheValueStoredBefore) {
    const ref::Image result = Made(Integers(3, 2), {}, 0, 2, 100);
    EXPECT_EQ(result.GetWord(0, 0), 100);
    EXPECT_EQ(result.GetWord(0, 4), 150);
    EXPECT_EQ(result.GetWord(0, 8), 175);
    EXPECT_EQ(result.GetWord(1, 0), 187);
    EXPECT_EQ(result.GetWord(1, 4), 193);
    EXPECT_EQ(result.GetWord(1, 8), 196);
}

TEST_F(KernelFilter, OtherFormatsGiveAnImageThatIsNotWritten) {
    std::vector<short> ones(9, 1);
    for (const auto& [depth, format] : {std::pair{24u, kBgr}, {24u, kMono}, {32u, kBgr}, {32u, 0u}, {8u, kMono}}) {
        const ref::Image source(7, 6, 2, depth, format);
        EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(source), Made(source, ones, 3, 9, 0))) << depth;
    }
}

TEST_F(KernelFilter, ANullImageIsAnInvalidArgument) {
    short one = 1;
    IVEL* dest = nullptr;
    EXPECT_EQ(Kernel(nullptr, &one, 1, 1, 0, &dest), E_INVALIDARG);
    EXPECT_EQ(Kernel(nullptr, &one, 1, 1, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(dest, nullptr);
    EXPECT_TRUE(collection->images.empty());
}

TEST_F(KernelFilter, ARefusedImageIsAFailure) {
    short one = 1;
    IVEL* dest = nullptr;
    const auto image = test::TestImage::New(Integers(3, 3));
    image->recipe.strideInValues = true;
    collection->refuseImages = true;
    EXPECT_EQ(Kernel(image.Get(), &one, 1, 1, 0, &dest), E_FAIL);
    EXPECT_EQ(dest, nullptr);
    EXPECT_EQ(Kernel(image.Get(), &one, 1, 1, 0, nullptr), E_FAIL);
    EXPECT_TRUE(test::SameBytes(Integers(3, 3), image));
    EXPECT_EQ(image->Count(), 1u);
}

TEST_F(KernelFilter, WithoutAnOutputPointerTheSourceTakesTheResult) {
    short two = 2;
    const auto image = test::TestImage::New(Integers(4, 3));
    image->recipe.strideInValues = true;
    EXPECT_EQ(Kernel(image.Get(), &two, 1, 0, 1, nullptr), S_OK);
    EXPECT_TRUE(test::SameNewImage(ref::Kernel(Integers(4, 3), &two, 1, 0, 1).image, image->Content()));
    EXPECT_EQ(image->Count(), 1u);
}

TEST_F(KernelFilter, AgreesWithTheReference) {
    test::RandomCases(300, [&](test::Random& random) {
        const uint32_t width = test::RandomSize(random, 40), height = test::RandomSize(random, 20);
        ref::Image source(
            width, height, 1, 32, kMono,
            static_cast<int32_t>(4 * (width + static_cast<uint32_t>(random.Int(0, 5)))) * (random.Chance(50) ? 1 : -1));
        for (uint8_t& byte : source.store[0]) byte = random.Byte();
        if (random.Chance(50)) {
            for (uint32_t y = 0; y < height; ++y) {
                for (uint32_t x = 0; x < width; ++x)
                    source.PutWord(y, 4 * x, static_cast<uint32_t>(random.Int(-300, 300)));
            }
        }
        const int size = random.Int(-3, static_cast<int>(std::max(width, height)) + 1);
        std::vector<short> kernel(static_cast<size_t>(size > 0 ? size * size : 1));
        for (short& k : kernel)
            k = static_cast<short>(random.Chance(50) ? random.Int(-5, 5) : random.Int(SHRT_MIN, SHRT_MAX));
        const int divisor = random.Pick({0, 1, -1, 3, -7, 1000, INT_MIN, INT_MAX});
        const int offset = random.Pick({0, 127, -50, 1, INT_MIN, INT_MAX});
        collection->recipe = test::RandomRecipe(random);
        collection->recipe.padding &= ~3;
        collection->recipe.strideInValues = true;
        const auto image = test::TestImage::New(source);
        image->recipe.strideInValues = true;
        const ref::Made expected = ref::Kernel(source, kernel.data(), size, divisor, offset);
        SCOPED_TRACE(test::Describe(source) + ", size " + std::to_string(size) + ", divisor " +
                     std::to_string(divisor) + ", offset " + std::to_string(offset));
        IVEL* made = nullptr;
        ASSERT_EQ(Kernel(image.Get(), kernel.data(), size, divisor, offset, &made), expected.code);
        const auto holder = SmartPtr<IVEL>::Adopt(made);
        if (expected.code == ref::kOk) {
            EXPECT_TRUE(test::SameNewImage(expected.image, test::Behind(made)->Content()));
        }
        EXPECT_TRUE(test::SameBytes(source, image));
    });
}

}  // namespace
