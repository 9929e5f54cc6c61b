// Quad.
#include <array>
#include <cmath>
#include <limits>

#include "support/Geometry.h"

namespace {

using test::TestImage;

class GeoQuad : public test::GeometryTest {
protected:
    HRESULT Run(IVEL* source, IVEL** out, const double (&p)[8], uint32_t width, uint32_t height, int16_t flag) const {
        return transform->Quad(source, out, p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7], width, height, flag);
    }
    SmartPtr<TestImage> Cut(const SmartPtr<TestImage>& source, const double (&p)[8], uint32_t width, uint32_t height,
                            int16_t flag) const {
        IVEL* out = nullptr;
        EXPECT_EQ(Run(source.Get(), &out, p, width, height, flag), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        return Handed(out);
    }
};

TEST_F(GeoQuad, WholeImageLosesItsFirstRowAndColumn) {
    test::Random random(1);
    for (const uint32_t depth : {8u, 16u, 24u, 32u}) {
        ref::Image image = test::RandomImage(random, 9, 7, 1, depth, ref::kBgr);
        for (uint8_t& byte : image.store[0]) byte = static_cast<uint8_t>(byte | 1);
        const ref::Image cut = Cut(TestImage::New(image), {0, 0, 8, 0, 0, 6, 8, 6}, 0, 0, 0)->Content();
        ASSERT_EQ(cut.width, 8u);
        ASSERT_EQ(cut.height, 6u);
        const int64_t size = depth / 8;
        for (int64_t y = 0; y < 6; ++y) {
            for (int64_t x = 0; x < 8; ++x) {
                const bool usable = x > 0 && y > 0;
                for (int64_t b = 0; b < size; ++b) {
                    EXPECT_EQ(cut.Get(y, x * size + b), usable ? image.Get(y, x * size + b) : 0) << x << ", " << y;
                }
            }
        }
    }
}

TEST_F(GeoQuad, SizesAbove65535AreComputed) {
    const auto source = TestImage::New(test::GreyImage({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}));
    const double corners[8] = {0, 0, 5, 0, 0, 4.9, 7, 3};
    for (const uint32_t size : {100000u, 65536u, 0u, 0xFFFFFFFFu}) {
        const ref::Image cut = Cut(source, corners, size, size, 0)->Content();
        EXPECT_EQ(cut.width, 5u);   // the top edge; the bottom one is about 7.25 long
        EXPECT_EQ(cut.height, 3u);  // the right edge, about 3.6 long
    }
    EXPECT_EQ(Cut(source, corners, 65535, 1, 0)->Content().width, 65535u);
}

TEST_F(GeoQuad, BlendIsByTheSumOfTheDistances) {
    // Scan points at (1.5, 1.5): half-way between four pixels of which one is 255.
    ref::Image image(5, 5, 1, 24, ref::kBgr);
    image.Put(2, 6, 255);
    const ref::Image cut = Cut(TestImage::New(image), {1.5, 1.5, 2.5, 1.5, 1.5, 2.5, 2.5, 2.5}, 1, 1, 1)->Content();
    EXPECT_EQ(cut.Get(0, 0), 64);
    EXPECT_EQ(cut.Get(0, 1), 0);
}

TEST_F(GeoQuad, EightBitsIgnoreTheInterpolateFlag) {
    test::Random random(2);
    const auto source = TestImage::New(test::RandomImage(random, 30, 20, 1, 8, ref::kMono));
    const double corners[8] = {3.3, 2.2, 25.1, 4.7, 1.9, 17.2, 27.7, 16.6};
    const ref::Image plain = Cut(source, corners, 0, 0, 0)->Content();
    EXPECT_TRUE(test::SameBytes(plain, Cut(source, corners, 0, 0, 1)));
    EXPECT_TRUE(test::SameBytes(plain, Cut(source, corners, 0, 0, -1)));
}

TEST_F(GeoQuad, MatchesTheReference) {
    test::RandomCases(500, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestHeight = 80});
        UseRandomRecipe(random);
        const double w = image.width, h = image.height;
        double p[8] = {0, 0, w, 0, 0, h, w, h};
        const int kind = random.Int(0, 5);
        for (double& value : p) {
            if (kind == 0) value += random.Int(-3, 3);                       // about the image
            if (kind == 1) value = random.Real(-0.5, 1.5) * std::max(w, h);  // anywhere near
            if (kind == 2) value = random.Int(0, 9);                         // often degenerate
            if (kind == 3) value = random.Real(-3000, 3000);                 // mostly outside
            if (kind == 4) value = random.Real(0.2, 0.8) * std::min(w, h);   // inside
            if (kind == 5) value = value * random.Real(0.8, 1.0) + random.Real(0.0, 3.0);
        }
        const auto size = [&] {
            if (kind == 3) return static_cast<uint32_t>(random.Int(1, 40));
            return random.Chance(50) ? 0 : test::RandomSize(random, 120);
        };
        const uint32_t width = size(), height = size();
        const int16_t flag = static_cast<int16_t>(random.Pick({0, 1, -1, 256}));
        SCOPED_TRACE(test::Describe(image));
        SCOPED_TRACE(testing::Message() << std::hexfloat << "corners " << p[0] << ", " << p[1] << ", " << p[2] << ", "
                                        << p[3] << ", " << p[4] << ", " << p[5] << ", " << p[6] << ", " << p[7]
                                        << std::dec << ", " << width << " x " << height << ", flag " << flag);
        const auto source = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        EXPECT_TRUE(
            test::SameBytes(ref::QuadRegion(image, p, width, height, flag, host), Cut(source, p, width, height, flag)));
        EXPECT_TRUE(test::SameBytes(image, source));
    });
}

TEST_F(GeoQuad, LargeImages) {
    test::Random random(4);
    const double corners[8] = {12.3, 7.7, 1180.9, 3.2, 30.1, 80.5, 1190.6, 95.4};
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const ref::Image image = test::RandomImage(random, 1200, 100, 1, depth, ref::kBgr);
        const auto source = TestImage::New(image);
        for (const int16_t flag : {int16_t{0}, int16_t{1}}) {
            EXPECT_TRUE(
                test::SameBytes(ref::QuadRegion(image, corners, 0, 0, flag, host), Cut(source, corners, 0, 0, flag)));
            EXPECT_TRUE(test::SameBytes(ref::QuadRegion(image, corners, 3001, 40, flag, host),
                                        Cut(source, corners, 3001, 40, flag)));
        }
    }
}

TEST_F(GeoQuad, DegenerateRegionsStandStill) {
    const auto source = TestImage::New(test::GreyImage({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}}));
    // One point: nothing without a size, that pixel over and over with one.
    const double point[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(Cut(source, point, 0, 0, 0)->Content().store[0].size(), 0u);
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{6, 6, 6}, {6, 6, 6}}), Cut(source, point, 3, 2, 0)));
    // A line walked across.
    const double line[8] = {1, 1, 3, 1, 1, 1, 3, 1};
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{6, 7}, {6, 7}}), Cut(source, line, 2, 2, 0)));
}

TEST_F(GeoQuad, SmallSourcesHaveNothingUsable) {
    for (const auto& rows : {test::GreyImage({{9}}), test::GreyImage({{9, 9}, {9, 9}}), test::GreyImage({{9, 9, 9}})}) {
        const ref::Image cut = Cut(TestImage::New(rows), {0, 0, 2, 0, 0, 2, 2, 2}, 4, 4, 0)->Content();
        ref::Image black = cut;
        for (uint8_t& byte : black.store[0]) byte = byte == ref::kCreatedByte ? byte : 0;
        EXPECT_TRUE(test::SamePixels(black, cut));
        EXPECT_EQ(cut.Get(0, 0), 0);
        EXPECT_EQ(cut.Get(3, 3), 0);
    }
}

TEST_F(GeoQuad, CornersThatAreNoNumbersOrFarAwayAreBlack) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    test::Random random(3);
    for (const uint32_t depth : {1u, 8u, 16u, 24u, 32u}) {
        const auto source = TestImage::New(test::RandomImage(random, 20, 15, 1, depth, ref::kBgr));
        for (const double value : {std::nan(""), kInfinity, -kInfinity, 1e300, -1e300, 1e10, -1e10}) {
            const double corners[8] = {value, value, value, value, value, value, value, value};
            const ref::Image cut = Cut(source, corners, 6, 5, 1)->Content();
            const int64_t bytes = 6 * (depth / 8);
            for (int64_t y = 0; y < 5; ++y) {
                for (int64_t b = 0; b < bytes; ++b) ASSERT_EQ(cut.Get(y, b), 0) << value;
            }
        }
    }
}

TEST_F(GeoQuad, SingleWildCornersStayInside) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    test::RandomCases(100, [&](test::Random& random) {
        const auto source = TestImage::New(test::RandomImage(random, {.largestWidth = 30}));
        double p[8] = {0, 0, 20, 0, 0, 20, 20, 20};
        p[random.Int(0, 7)] = random.Pick({std::nan(""), kInfinity, -kInfinity, 1e300, 8388607.9, -8388608.5, 1e7});
        IVEL* out = nullptr;
        EXPECT_EQ(Run(source.Get(), &out, p, 25, 25, 1), S_OK);
        Handed(out);
    });
}

TEST_F(GeoQuad, SizesThatCannotBeMade) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const auto source = TestImage::New(test::GreyImage({{1, 2}, {3, 4}}));
    // A host that makes nothing of that size.
    collection->imageFaults.createSilent = true;
    for (const double value : {std::nan(""), kInfinity, 1e300, 1e12, -1e12}) {
        const double corners[8] = {0, 0, value, 0, 0, value, value, value};
        IVEL* out = nullptr;
        const HRESULT result = Run(source.Get(), &out, corners, 0, 0, 0);
        EXPECT_EQ(out != nullptr, result == S_OK) << value;
        if (out) Handed(out);
        EXPECT_EQ(source->Count(), 1u);
    }
}

TEST_F(GeoQuad, ResultCodes) {
    const double corners[8] = {0, 0, 2, 0, 0, 2, 2, 2};
    IVEL* out = nullptr;
    EXPECT_EQ(Run(nullptr, &out, corners, 0, 0, 0), E_FAIL);
    const auto source = TestImage::New(test::GreyImage({{1, 2}, {3, 4}}));
    collection->refuseImages = true;
    EXPECT_EQ(Run(source.Get(), &out, corners, 0, 0, 0), E_FAIL);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(source->Count(), 1u);
}

}  // namespace
