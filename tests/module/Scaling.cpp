// Scale and Scale8: every row of the table of source and destination formats, ranges, planes, masks, result codes.
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

class Scaling : public test::ComponentTest<IVELMaths> {
protected:
    ref::Image Scaled(const ref::Image& destination, const ref::Image& source, float factor, float offset,
                      HRESULT code = S_OK, const ref::Image* maskContent = nullptr) {
        const auto from = TestImage::New(source), to = TestImage::New(destination);
        SmartPtr<TestImage> mask;
        if (maskContent) mask = TestImage::New(*maskContent);
        EXPECT_EQ(component->Scale(to.Get(), from.Get(), mask.Get(), factor, offset), code);
        EXPECT_TRUE(test::SameBytes(source, from));
        EXPECT_EQ(to->Count(), 1u);
        return to->Content();
    }
    // A destination of 0xEE bytes.
    ref::Image ScaledInto(uint32_t bitsPerPixel, uint32_t format, const ref::Image& source, float factor, float offset,
                          HRESULT code = S_OK) {
        ref::Image destination(source.width, source.height, 1, bitsPerPixel, format);
        destination.store[0].assign(destination.store[0].size(), 0xEE);
        return Scaled(destination, source, factor, offset, code);
    }
    ref::Image Scaled8(const ref::Image& source, int offset, double factor) {
        const auto from = TestImage::New(source), to = TestImage::New();
        EXPECT_EQ(component->Scale8(to.Get(), from.Get(), offset, factor), S_OK);
        EXPECT_TRUE(test::SameBytes(source, from));
        EXPECT_EQ(to->Count(), 1u);
        return to->Content();
    }
};

ref::Image Integers(std::initializer_list<int32_t> values) {
    ref::Image image(static_cast<uint32_t>(values.size()), 1, 1, 32, kMono);
    int64_t at = 0;
    for (const int32_t value : values) image.PutWord(0, at++ * 4, static_cast<uint32_t>(value));
    return image;
}

std::vector<int32_t> ValuesOf(const ref::Image& image) {
    std::vector<int32_t> values;
    for (uint32_t x = 0; x < image.width; ++x) values.push_back(image.GetWord(0, 4 * x));
    return values;
}

std::vector<int> RowOf(const ref::Image& image, int64_t y = 0) {
    std::vector<int> bytes;
    for (uint64_t i = 0; i < image.RowBytes(); ++i) bytes.push_back(image.Get(y, static_cast<int64_t>(i)));
    return bytes;
}

using Bytes = std::vector<int>;
using Values = std::vector<int32_t>;

// ---------------------------------------------------------------------------------------------------------------
// Scale, by rows of its table

TEST_F(Scaling, From32MonoTo24WritesThreeClampedBytes) {
    EXPECT_EQ(RowOf(ScaledInto(24, kBgr, Integers({-5, 100, 1000}), 1, 0)),
              (Bytes{0, 0, 0, 100, 100, 100, 255, 255, 255}));
}

TEST_F(Scaling, From32MonoTo8WritesAClampedByte) {
    EXPECT_EQ(RowOf(ScaledInto(8, kBgr, Integers({-5, 100, 1000}), 1, 0)), (Bytes{0, 100, 255}));
    EXPECT_EQ(RowOf(ScaledInto(8, kMono, Integers({-500, 7, 1000000}), 0.5f, 20)), (Bytes{0, 23, 255}));
}

TEST_F(Scaling, From32MonoTo32MonoIsFlooredOnly) {
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, Integers({-5, 100, 1000}), 1, 0)), (Values{0, 100, 1000}));
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, Integers({-5, 100, 1000}), -2.5f, 3)), (Values{15, 0, 0}));
    // Single precision rounds to 24 bits.
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, Integers({16777217, 2147483520}), 1, 0)), (Values{16777216, 2147483520}));
}

TEST_F(Scaling, From32MonoTo32ColourKeepsAlpha) {
    for (const uint32_t format : {kBgr, kArgb, 0u}) {
        EXPECT_EQ(RowOf(ScaledInto(32, format, Integers({-5, 100, 1000}), 1, 0)),
                  (Bytes{0, 0, 0, 0xEE, 100, 100, 100, 0xEE, 255, 255, 255, 0xEE}));
    }
}

TEST_F(Scaling, From32MonoToOtherDepthsFails) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        const ref::Image result = ScaledInto(depth, kBgr, Integers({1, 2}), 1, 0, E_FAIL);
        for (const int byte : RowOf(result)) EXPECT_EQ(byte, 0xEE);
    }
}

TEST_F(Scaling, From32ColourTo32WritesTheFirstBytesOfARow) {
    const ref::Image source = ImageOf(2, 32, kBgr, {{10, 20, 30, 40, 50, 60, 70, 80}});
    for (const uint32_t format : {kBgr, kMono}) {
        EXPECT_EQ(RowOf(ScaledInto(32, format, source, 2, 1)), (Bytes{21, 41, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
        // 300 and 600 keep their low 8 bits.
        EXPECT_EQ(RowOf(ScaledInto(32, format, source, 30, 0)),
                  (Bytes{300 - 256, 600 - 512, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
        EXPECT_EQ(RowOf(ScaledInto(32, format, source, -1, 15)), (Bytes{5, 0, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    }
}

TEST_F(Scaling, From32ColourTo24ScalesEachChannel) {
    EXPECT_EQ(RowOf(ScaledInto(24, kBgr, ImageOf(2, 32, kArgb, {{10, 20, 200, 40, 50, 60, 70, 80}}), 2, 1)),
              (Bytes{21, 41, 255, 101, 121, 141}));
}

TEST_F(Scaling, From32ColourTo8ScalesTheSum) {
    EXPECT_EQ(RowOf(ScaledInto(8, kBgr, ImageOf(2, 32, kBgr, {{10, 20, 30, 99, 200, 200, 200, 99}}), 0.5f, 1)),
              (Bytes{31, 255}));
}

TEST_F(Scaling, From32ColourToOtherDepthsFails) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        const ref::Image result = ScaledInto(depth, kMono, ImageOf(1, 32, kBgr, {{1, 2, 3, 4}}), 1, 0, E_FAIL);
        for (const int byte : RowOf(result)) EXPECT_EQ(byte, 0xEE);
    }
}

TEST_F(Scaling, From24To32WritesTheFirstPixelOfEachRow) {
    const ref::Image source = ImageOf(2, 24, kBgr, {{10, 20, 30, 40, 50, 60}, {1, 2, 3, 4, 5, 6}});
    for (const uint32_t format : {kBgr, kMono}) {
        const ref::Image result = ScaledInto(32, format, source, 2, 0);
        EXPECT_EQ(RowOf(result, 0), (Bytes{20, 40, 60, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
        EXPECT_EQ(RowOf(result, 1), (Bytes{2, 4, 6, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    }
    EXPECT_EQ(RowOf(ScaledInto(32, kBgr, source, 30, 0)),
              (Bytes{300 - 256, 600 - 512, 900 - 768, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_TRUE(test::SameBytes(ref::Image(0, 2, 1, 32, kBgr), Scaled(ref::Image(0, 2, 1, 32, kBgr), source, 1, 0)));
}

TEST_F(Scaling, From24To24WritesTheFirstBytesOfARow) {
    const ref::Image source = ImageOf(
        4, 24, kBgr, {{10, 20, 30, 200, 50, 60, 70, 80, 90, 91, 92, 93}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}});
    const ref::Image result = ScaledInto(24, kMono, source, 2, 0);
    EXPECT_EQ(RowOf(result, 0), (Bytes{20, 40, 60, 255, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(RowOf(result, 1), (Bytes{2, 4, 6, 8, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));
}

TEST_F(Scaling, From24To8ScalesTheSum) {
    EXPECT_EQ(RowOf(ScaledInto(8, kMono, ImageOf(1, 24, kBgr, {{10, 20, 30}}), 1.0f / 3, 0)), (Bytes{20}));
    EXPECT_EQ(RowOf(ScaledInto(8, kMono, ImageOf(2, 24, kArgb, {{10, 20, 30, 200, 100, 0}}), 1, -50)),
              (Bytes{10, 250}));
}

TEST_F(Scaling, From24ToOtherDepthsFails) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        const ref::Image result = ScaledInto(depth, kMono, ImageOf(1, 24, kBgr, {{1, 2, 3}}), 1, 0, E_FAIL);
        for (const int byte : RowOf(result)) EXPECT_EQ(byte, 0xEE);
    }
}

TEST_F(Scaling, From8To24WritesThreeClampedBytes) {
    EXPECT_EQ(RowOf(ScaledInto(24, kArgb, ImageOf(2, 8, kMono, {{10, 200}}), 2, 1)),
              (Bytes{21, 21, 21, 255, 255, 255}));
}

TEST_F(Scaling, From8To8WritesAClampedByteOfPlane0) {
    EXPECT_EQ(RowOf(ScaledInto(8, kBgr, ImageOf(3, 8, kMono, {{10, 200, 0}}), 2, -3)), (Bytes{17, 255, 0}));
    ref::Image source(1, 1, 2, 8, kMono), expected(1, 1, 2, 8, kMono);
    source.Put(0, 0, 5, 0);
    source.Put(0, 0, 6, 1);
    expected.Put(0, 0, 5, 0);
    EXPECT_TRUE(test::SameBytes(expected, Scaled(ref::Image(1, 1, 2, 8, kMono), source, 1, 0)));
}

TEST_F(Scaling, From8To8WithAMaskKeepsTheOtherBytes) {
    const ref::Image mask = ImageOf(3, 8, kMono, {{0, 1, 255}}), source = ImageOf(3, 8, kMono, {{10, 20, 30}});
    EXPECT_EQ(RowOf(Scaled(ImageOf(3, 8, kBgr, {{7, 7, 7}}), source, 2, 0, S_OK, &mask)), (Bytes{7, 40, 60}));
}

TEST_F(Scaling, TheMaskCountsBetween8BitImagesOnly) {
    const ref::Image none = ImageOf(2, 8, kMono, {{0, 0}});
    EXPECT_EQ(RowOf(Scaled(ref::Image(2, 1, 1, 24, kBgr), ImageOf(2, 8, kMono, {{10, 20}}), 1, 0, S_OK, &none)),
              (Bytes{10, 10, 10, 20, 20, 20}));
    EXPECT_EQ(RowOf(Scaled(ref::Image(2, 1, 1, 8, kBgr), Integers({10, 20}), 1, 0, S_OK, &none)), (Bytes{10, 20}));
}

TEST_F(Scaling, From8To32MonoIsFlooredOnly) {
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, ImageOf(3, 8, kBgr, {{10, 200, 0}}), 1000, -10001)),
              (Values{0, 189999, 0}));
}

TEST_F(Scaling, From8To32ColourFails) {
    for (const uint32_t format : {kBgr, kArgb, 0u}) {
        EXPECT_EQ(RowOf(ScaledInto(32, format, ImageOf(1, 8, kMono, {{10}}), 1, 0, E_FAIL)),
                  (Bytes{0xEE, 0xEE, 0xEE, 0xEE}));
    }
}

TEST_F(Scaling, From8ToOtherDepthsFails) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        const ref::Image result = ScaledInto(depth, kMono, ImageOf(1, 8, kMono, {{9}}), 1, 0, E_FAIL);
        for (const int byte : RowOf(result)) EXPECT_EQ(byte, 0xEE);
    }
}

TEST_F(Scaling, FromAnyOtherSourceFails) {
    for (const auto& [depth, format] : {std::pair{1u, kMono}, {4u, kMono}, {16u, kBgr}, {16u, kMono}, {24u, kMono}}) {
        for (const uint32_t to : {1u, 4u, 8u, 16u, 24u, 32u}) {
            const ref::Image result = ScaledInto(to, kMono, ref::Image(3, 1, 1, depth, format), 1, 0, E_FAIL);
            for (const int byte : RowOf(result)) EXPECT_EQ(byte, 0xEE);
        }
    }
}

TEST_F(Scaling, EveryPlaneIsScaled) {
    ref::Image source(1, 1, 3, 8, kMono), expected(1, 1, 3, 24, kBgr);
    for (uint32_t plane = 0; plane < 3; ++plane) {
        source.Put(0, 0, static_cast<uint8_t>(plane + 5), plane);
        for (int k = 0; k < 3; ++k) expected.Put(0, k, static_cast<uint8_t>(plane + 5), plane);
    }
    EXPECT_TRUE(test::SameBytes(expected, Scaled(ref::Image(1, 1, 3, 24, kBgr), source, 1, 0)));
    ref::Image first(1, 1, 1, 24, kBgr);
    first.store[0] = {5, 5, 5};
    EXPECT_TRUE(test::SameBytes(first, Scaled(ref::Image(1, 1, 1, 24, kBgr), source, 1, 0)));
}

TEST_F(Scaling, TheCommonSizeIsScaled) {
    EXPECT_TRUE(test::SameBytes(ImageOf(3, 8, kMono, {{1, 2, 0}, {0, 0, 0}}),
                                Scaled(ref::Image(3, 2, 1, 8, kMono), ImageOf(2, 8, kMono, {{1, 2}}), 1, 0)));
    EXPECT_TRUE(
        test::SameBytes(ImageOf(2, 8, kMono, {{1, 2}}),
                        Scaled(ref::Image(2, 1, 1, 8, kMono), ImageOf(3, 8, kMono, {{1, 2, 3}, {4, 5, 6}}), 1, 0)));
}

TEST_F(Scaling, ANaNIs0) {
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinite = std::numeric_limits<float>::infinity();
    EXPECT_EQ(RowOf(ScaledInto(8, kMono, ImageOf(2, 8, kMono, {{10, 0}}), nan, 5)), (Bytes{0, 0}));
    EXPECT_EQ(RowOf(ScaledInto(8, kMono, ImageOf(2, 8, kMono, {{10, 0}}), infinite, 5)), (Bytes{255, 0}));
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, Integers({7}), nan, 5)), (Values{0}));
    EXPECT_EQ(RowOf(ScaledInto(32, kBgr, ImageOf(1, 32, kBgr, {{7, 7, 7, 7}}), nan, 5)), (Bytes{0, 0xEE, 0xEE, 0xEE}));
}

TEST_F(Scaling, WhatDoesNotFitInto32BitsIsTheGreatestValue) {
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, Integers({INT_MAX, INT_MIN}), 1, 0)), (Values{INT_MAX, 0}));
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, Integers({1, -1}), 1e20f, 0)), (Values{INT_MAX, 0}));
    EXPECT_EQ(ValuesOf(ScaledInto(32, kMono, ImageOf(1, 8, kMono, {{1}}), std::numeric_limits<float>::infinity(), 0)),
              (Values{INT_MAX}));
}

TEST_F(Scaling, InPlace) {
    const auto image = TestImage::New(ImageOf(3, 8, kMono, {{10, 20, 200}}));
    EXPECT_EQ(component->Scale(image.Get(), image.Get(), nullptr, 2, 1), S_OK);
    EXPECT_TRUE(test::SameBytes(ImageOf(3, 8, kMono, {{21, 41, 255}}), image));
    const auto values = TestImage::New(Integers({1, 2, 3}));
    EXPECT_EQ(component->Scale(values.Get(), values.Get(), nullptr, 10, 0), S_OK);
    EXPECT_EQ(ValuesOf(values->Content()), (Values{10, 20, 30}));
}

// ---------------------------------------------------------------------------------------------------------------
// Scale8

TEST_F(Scaling, Scale8MapsIntegers) {
    EXPECT_TRUE(test::SameNewImage(ImageOf(5, 8, kMono, {{60, 0, 255, 10, 9}}),
                                   Scaled8(Integers({100, -100, 600, 1, -2}), 10, 0.5)));
}

TEST_F(Scaling, Scale8TruncatesBeforeTheOffset) {
    // 0.9 and -0.9 both become 0, then 7.
    EXPECT_TRUE(test::SameNewImage(ImageOf(4, 8, kMono, {{7, 7, 8, 6}}), Scaled8(Integers({9, -9, 10, -10}), 7, 0.1)));
    EXPECT_TRUE(test::SameNewImage(ImageOf(2, 8, kMono, {{255, 254}}), Scaled8(Integers({255, 254}), 0, 1)));
}

TEST_F(Scaling, Scale8IsDoublePrecision) {
    EXPECT_TRUE(
        test::SameNewImage(ImageOf(2, 8, kMono, {{1, 2}}), Scaled8(Integers({16777217, 16777218}), -16777216, 1)));
}

TEST_F(Scaling, Scale8BeyondAllBounds) {
    EXPECT_TRUE(
        test::SameNewImage(ImageOf(3, 8, kMono, {{255, 0, 5}}), Scaled8(Integers({INT_MAX, INT_MIN, 0}), 5, 1e300)));
    EXPECT_TRUE(test::SameNewImage(ImageOf(2, 8, kMono, {{255, 0}}), Scaled8(Integers({INT_MAX, INT_MIN}), 0, 1)));
    EXPECT_TRUE(test::SameNewImage(ImageOf(2, 8, kMono, {{255, 255}}), Scaled8(Integers({1, INT_MAX}), INT_MAX, 1)));
    EXPECT_TRUE(test::SameNewImage(ImageOf(2, 8, kMono, {{0, 0}}), Scaled8(Integers({-1, INT_MIN}), INT_MIN, 1)));
}

TEST_F(Scaling, Scale8OfAn8BitSourceOnlyCreates) {
    const ref::Image source = ImageOf(3, 8, kMono, {{1, 2, 3}});
    EXPECT_TRUE(test::SameNewImage(ref::CreatedLike(source), Scaled8(source, 10, 2)));
}

TEST_F(Scaling, Scale8OfShallowSourcesOnlyCreates) {
    for (const uint32_t depth : {1u, 4u}) {
        const ref::Image source(9, 3, 2, depth, kMono);
        EXPECT_TRUE(test::SameNewImage(ref::Created(9, 3, 2, 8, kMono), Scaled8(source, 10, 2)));
    }
}

TEST_F(Scaling, Scale8RefusesColourImages) {
    const ref::Image before = ImageOf(2, 8, kBgr, {{3, 4}});
    for (const auto& [depth, format] : {std::pair{24u, kBgr}, {32u, kArgb}, {8u, kBgr}, {32u, 0u}}) {
        const auto from = TestImage::New(ref::Image(3, 2, 1, depth, format)), to = TestImage::New(before);
        EXPECT_EQ(component->Scale8(to.Get(), from.Get(), 0, 1), static_cast<HRESULT>(0xF0040031));
        EXPECT_TRUE(to->log->created.empty());
        EXPECT_TRUE(test::SameBytes(before, to));
    }
}

TEST_F(Scaling, Scale8TakesEveryPlaneAndANegativeStride) {
    ref::Image source(2, 2, 2, 32, kMono, -12), expected(2, 2, 2, 8, kMono);
    for (uint32_t plane = 0; plane < 2; ++plane) {
        for (int i = 0; i < 4; ++i) {
            source.PutWord(i / 2, 4 * (i % 2), static_cast<uint32_t>(10 * i + 100 * static_cast<int>(plane)), plane);
            expected.Put(i / 2, i % 2, static_cast<uint8_t>(10 * i + 100 * static_cast<int>(plane) + 1), plane);
        }
    }
    EXPECT_TRUE(test::SameNewImage(expected, Scaled8(source, 1, 1)));
}

TEST_F(Scaling, WithoutImagesOrPixelsNothingIsHarmed) {
    const ref::Image content = Integers({10, 20});
    const auto image = TestImage::New(content), empty = TestImage::New(content);
    empty->faults.nullBits = true;
    EXPECT_LT(component->Scale(nullptr, image.Get(), nullptr, 1, 0), 0);
    EXPECT_LT(component->Scale(image.Get(), nullptr, nullptr, 1, 0), 0);
    EXPECT_LT(component->Scale8(nullptr, image.Get(), 0, 1), 0);
    EXPECT_LT(component->Scale8(image.Get(), nullptr, 0, 1), 0);
    component->Scale(image.Get(), empty.Get(), nullptr, 1, 0);
    component->Scale(empty.Get(), image.Get(), nullptr, 1, 0);
    EXPECT_TRUE(test::SameBytes(content, image));
    const auto to = TestImage::New();
    EXPECT_EQ(component->Scale8(to.Get(), empty.Get(), 0, 1), S_OK);
    EXPECT_TRUE(test::SameNewImage(ref::Created(2, 1, 1, 8, kMono), to->Content()));
    component->Scale8(empty.Get(), image.Get(), 0, 1);
}

}  // namespace
