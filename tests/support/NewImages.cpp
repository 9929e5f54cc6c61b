#include "support/NewImages.h"

#include <cstdlib>

#include "reference/Pixel.h"

namespace test {

testing::AssertionResult SameNewImage(const ref::Image& expected, const ref::Image& actual) {
    ref::Image laid = ref::Created(expected.width, expected.height, expected.planes, expected.bitsPerPixel,
                                   expected.format, actual.stride);
    for (uint32_t plane = 0; plane < expected.store.size(); ++plane) {
        for (uint32_t y = 0; y < expected.height; ++y) {
            for (int64_t i = 0; i < static_cast<int64_t>(expected.RowBytes()); ++i) {
                laid.Put(y, i, expected.Get(y, i, plane), plane);
            }
        }
    }
    return SameBytes(laid, actual);
}

void Compare(const NewImageCall& call, const ref::Image& source, Delivery delivery, size_t misalign) {
    SCOPED_TRACE(call.text + " of " + Describe(source) + (delivery == Delivery::IntoSource ? ", into the source" : ""));
    const unsigned seed = 12345u + source.width;
    const SmartPtr<TestImage> image = TestImage::New(source, misalign);
    IVEL* made = nullptr;
    std::srand(seed);
    const HRESULT code = call.module(image.Get(), delivery == Delivery::OutputPointer ? &made : nullptr);
    const int next = std::rand();
    const SmartPtr<IVEL> holder = SmartPtr<IVEL>::Adopt(made);

    std::srand(seed);
    const ref::Made expected = call.reference(source);
    EXPECT_EQ(std::rand(), next) << "Another count of random numbers was drawn.";
    EXPECT_EQ(code, expected.code);
    EXPECT_EQ(image->Count(), 1u);
    if (expected.code != ref::kOk) {
        EXPECT_EQ(made, nullptr);
        EXPECT_TRUE(SameBytes(source, image));
    } else if (delivery == Delivery::IntoSource) {
        EXPECT_TRUE(SameNewImage(expected.image, image->Content()));
    } else {
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(Behind(made)->Count(), 1u);
        EXPECT_TRUE(SameNewImage(expected.image, Behind(made)->Content()));
        EXPECT_TRUE(SameBytes(source, image)) << "The source was changed.";
    }
}

ref::Image Result(const std::function<HRESULT(IVEL* source, IVEL** dest)>& module, const ref::Image& source) {
    const SmartPtr<TestImage> image = TestImage::New(source);
    IVEL* made = nullptr;
    EXPECT_EQ(module(image.Get(), &made), S_OK);
    EXPECT_NE(made, nullptr);
    if (!made) return ref::Image(source.width, source.height, source.planes, source.bitsPerPixel, source.format);
    const SmartPtr<IVEL> holder = SmartPtr<IVEL>::Adopt(made);
    return Behind(made)->Content();
}

ref::Image Flat(uint32_t width, uint32_t height, uint32_t bitsPerPixel, uint32_t format, uint32_t colour) {
    ref::Image image(width, height, 1, bitsPerPixel, format);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) ref::SetPixelColor(image, x, y, colour);
    }
    return image;
}

ref::Image Repainted(Random& random, ref::Image image) {
    const int kind = random.Int(0, 4);
    if (kind <= 1) return image;
    const uint8_t low = random.Byte(), high = random.Byte();
    const int edge = random.Int(0, static_cast<int>(image.RowBytes()));
    for (std::vector<uint8_t>& plane : image.store) {
        size_t i = 0;
        for (uint8_t& byte : plane) {
            const size_t column = i % static_cast<size_t>(image.stride == 0 ? 1 : std::abs(image.stride));
            if (kind == 2) byte = static_cast<uint8_t>(byte % 3 * 100);
            if (kind == 3) byte = static_cast<int>(column) < edge ? low : high;
            if (kind == 4) byte = static_cast<uint8_t>(i);
            ++i;
        }
    }
    return image;
}

}  // namespace test
