// IncreaseBpp.
#include "support/Geometry.h"

namespace {

using test::TestImage;

class GeoDepth : public test::GeometryTest {
protected:
    // The source itself is expected back.
    void ExpectSource(const SmartPtr<TestImage>& source, int depth) const {
        IVEL* out = nullptr;
        EXPECT_EQ(transform->IncreaseBpp(source.Get(), &out, depth, ref::kBgr), S_FALSE);
        EXPECT_EQ(out, static_cast<IVEL*>(static_cast<IVELImageDIB*>(source.Get())));
        EXPECT_EQ(source->Count(), 2u);
        if (out) out->Release();
    }
    SmartPtr<TestImage> Increased(const SmartPtr<TestImage>& source, int depth, uint32_t format = ref::kBgr) const {
        IVEL* out = nullptr;
        EXPECT_EQ(transform->IncreaseBpp(source.Get(), &out, depth, format), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        return Handed(out);
    }
};

ref::Image WithPalette(ref::Image image) {
    image.palette.assign(256, ref::Quad{0, 0, 0, 0});
    image.palette[5] = {10, 20, 30, 40};
    return image;
}

TEST_F(GeoDepth, NotGreaterIsTheSourceItself) {
    const auto source = TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{1, 2, 3}}));
    for (const int depth : {24, 16, 8, 0}) ExpectSource(source, depth);
    EXPECT_TRUE(collection->images.empty());
}

TEST_F(GeoDepth, GreyLevels) {
    const auto source = TestImage::New(test::GreyImage({{77}}));
    EXPECT_TRUE(test::SamePixels(test::ImageOf(1, 24, ref::kBgr, {{77, 77, 77}}), Increased(source, 24)));
    EXPECT_TRUE(
        test::SamePixels(test::ImageOf(1, 32, ref::kArgb, {{77, 77, 77, 255}}), Increased(source, 32, ref::kArgb)));
}

TEST_F(GeoDepth, PaletteColoursLeaveAlphaAlone) {
    const auto source = TestImage::New(WithPalette(test::GreyImage({{5}})));
    EXPECT_TRUE(test::SamePixels(test::ImageOf(1, 24, ref::kBgr, {{10, 20, 30}}), Increased(source, 24)));
    EXPECT_TRUE(
        test::SamePixels(test::ImageOf(1, 32, ref::kBgr, {{10, 20, 30, ref::kCreatedByte}}), Increased(source, 32)));
}

TEST_F(GeoDepth, ColourGetsOpaqueAlpha) {
    const auto source = TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{1, 2, 3}}));
    EXPECT_TRUE(test::SamePixels(test::ImageOf(1, 32, ref::kBgr, {{1, 2, 3, 255}}), Increased(source, 32)));
}

TEST_F(GeoDepth, OnlyTheFirstPlaneIsFilled) {
    test::Random random(1);
    const auto source = TestImage::New(test::RandomImage(random, 5, 3, 3, 8, ref::kMono));
    const ref::Image result = Increased(source, 24)->Content();
    ASSERT_EQ(result.planes, 3u);
    for (uint32_t plane = 1; plane < 3; ++plane) {
        EXPECT_EQ(result.store[plane], ref::Created(5, 3, 3, 24, ref::kBgr).store[plane]);
    }
    EXPECT_NE(result.store[0], result.store[1]);
}

TEST_F(GeoDepth, IndicesBeyondAShortPaletteAreBlack) {
    ref::Image image = test::GreyImage({{0, 1, 2, 3, 255}});
    image.palette = {{1, 2, 3, 4}, {5, 6, 7, 8}};
    const auto source = TestImage::New(image);
    EXPECT_TRUE(test::SamePixels(test::ImageOf(5, 24, ref::kBgr, {{1, 2, 3, 5, 6, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0}}),
                                 Increased(source, 24)));
    constexpr int kLeft = ref::kCreatedByte;
    EXPECT_TRUE(test::SamePixels(test::ImageOf(5, 32, ref::kBgr, {{1, 2,     3, kLeft, 5, 6,     7, kLeft, 0, 0,
                                                                   0, kLeft, 0, 0,     0, kLeft, 0, 0,     0, kLeft}}),
                                 Increased(source, 32)));
}

TEST_F(GeoDepth, PaletteOfADeeperSourceIsIndexedByItsBytes) {
    ref::Image image = WithPalette(test::ImageOf(2, 24, ref::kBgr, {{5, 0, 7, 9, 9, 9}}));
    constexpr int kLeft = ref::kCreatedByte;
    EXPECT_TRUE(test::SamePixels(test::ImageOf(2, 32, ref::kBgr, {{10, 20, 30, kLeft, 0, 0, 0, kLeft}}),
                                 Increased(TestImage::New(image), 32)));
}

TEST_F(GeoDepth, UnsupportedPairsAreLeftAsCreated) {
    test::Random random(2);
    for (const auto& [from, to] : {std::pair{16u, 24}, std::pair{16u, 32}, std::pair{8u, 16}, std::pair{1u, 8},
                                   std::pair{4u, 8}, std::pair{24u, 48}}) {
        const auto source = TestImage::New(test::RandomImage(random, 6, 4, 1, from, ref::kBgr));
        const auto result = Increased(source, to);
        EXPECT_TRUE(test::SameBytes(ref::Created(6, 4, 1, static_cast<uint32_t>(to), ref::kBgr), result))
            << from << " to " << to;
    }
}

TEST_F(GeoDepth, MatchesTheReference) {
    test::RandomCases(400, [&](test::Random& random) {
        ref::Image image = test::RandomImage(random, {.largestPlanes = 3});
        if (random.Chance(50)) {
            image.palette.resize(static_cast<size_t>(random.Pick({1, 2, 16, 100, 255, 256, 300})));
            for (ref::Quad& entry : image.palette) entry = {random.Byte(), random.Byte(), random.Byte(), random.Byte()};
        }
        UseRandomRecipe(random);
        const int depth = random.Pick({8, 16, 24, 24, 32, 32, 48, 0});
        const uint32_t format = random.Pick({ref::kBgr, ref::kArgb, 0u});
        SCOPED_TRACE(test::Describe(image));
        SCOPED_TRACE(testing::Message() << image.palette.size() << " entries, to " << depth << " bits");
        const auto source = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        const ref::Outcome expected = ref::IncreaseBpp(image, depth, format, host);
        if (expected.isSource) {
            ExpectSource(source, depth);
        } else {
            EXPECT_TRUE(test::SameBytes(*expected.image, Increased(source, depth, format)));
        }
        EXPECT_TRUE(test::SameBytes(image, source));
    });
}

TEST_F(GeoDepth, LargeImages) {
    test::Random random(3);
    for (const auto& [from, to] :
         {std::pair{8u, 24}, std::pair{8u, 32}, std::pair{24u, 32}, std::pair{4u, 24}, std::pair{1u, 32}}) {
        for (const size_t entries : {0u, 7u, 256u}) {
            ref::Image image = test::RandomImage(random, 19990, 3, 1, from, ref::kBgr);
            image.palette.resize(entries);
            for (ref::Quad& entry : image.palette) entry = {random.Byte(), random.Byte(), random.Byte(), random.Byte()};
            EXPECT_TRUE(test::SameBytes(*ref::IncreaseBpp(image, to, ref::kBgr, host).image,
                                        Increased(TestImage::New(image, 3), to)))
                << from << " to " << to << ", " << entries;
        }
    }
}

TEST_F(GeoDepth, ResultCodes) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}}));
    IVEL* const untouched = static_cast<IVELImageDIB*>(source.Get());
    IVEL* out = untouched;
    EXPECT_EQ(transform->IncreaseBpp(nullptr, &out, 32, 0), E_FAIL);
    EXPECT_EQ(out, untouched);
    collection->refuseImages = true;
    EXPECT_EQ(transform->IncreaseBpp(source.Get(), &out, 32, 0), E_FAIL);
    EXPECT_EQ(out, untouched);
    collection->refuseImages = false;
    collection->imageFaults.create = true;
    EXPECT_EQ(transform->IncreaseBpp(source.Get(), &out, 32, 0), E_FAIL);
    EXPECT_EQ(out, untouched);
    EXPECT_EQ(source->Count(), 1u);
    // A depth below 0 is a large one, which no host makes.
    EXPECT_EQ(transform->IncreaseBpp(source.Get(), &out, -1, 0), E_FAIL);
    EXPECT_EQ(collection->images.back()->created.at(0).bitsPerPixel, 0xFFFFFFFFu);
    EXPECT_EQ(out, untouched);
    EXPECT_EQ(source->Count(), 1u);
}

}  // namespace
