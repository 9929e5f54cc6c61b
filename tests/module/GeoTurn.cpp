// Flip, Mirror, FlipBits and the quarter turns: copies, to the byte.
#include <algorithm>

#include "support/Geometry.h"

namespace {

using test::TestImage;

class GeoTurn : public test::GeometryTest {
protected:
    static SmartPtr<TestImage> Run(HRESULT (*operation)(IVELTransform*, IVEL*, IVEL**), IVELTransform* object,
                                   const SmartPtr<TestImage>& source) {
        IVEL* out = nullptr;
        EXPECT_EQ(operation(object, source.Get(), &out), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        return Handed(out);
    }
    SmartPtr<TestImage> Flipped(const SmartPtr<TestImage>& source) const {
        return Run([](IVELTransform* t, IVEL* s, IVEL** o) { return t->Flip(s, o); }, transform.Get(), source);
    }
    SmartPtr<TestImage> Mirrored(const SmartPtr<TestImage>& source) const {
        return Run([](IVELTransform* t, IVEL* s, IVEL** o) { return t->Mirror(s, o); }, transform.Get(), source);
    }
    SmartPtr<TestImage> Turned(const SmartPtr<TestImage>& source, int angle) const {
        const auto destination = TestImage::New();
        destination->recipe = collection->recipe;
        EXPECT_EQ(Rotate4(source.Get(), destination.Get(), angle), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        EXPECT_EQ(destination->Count(), 1u);
        return destination;
    }
};

// A second, independent picture of the turns: rows of pixels, reversed and transposed whole. A pixel is its bytes.
using Pixels = std::vector<std::vector<uint32_t>>;

Pixels PixelsOf(const ref::Image& image, uint32_t plane = 0) {
    const int64_t size = image.bitsPerPixel / 8;
    Pixels rows(image.height, std::vector<uint32_t>(image.width));
    for (int64_t y = 0; y < image.height; ++y) {
        for (int64_t x = 0; x < image.width; ++x) {
            uint32_t& pixel = rows[static_cast<size_t>(y)][static_cast<size_t>(x)];
            for (int64_t b = 0; b < size; ++b) pixel = pixel << 8 | image.Get(y, x * size + b, plane);
        }
    }
    return rows;
}

Pixels UpsideDown(Pixels rows) {
    std::reverse(rows.begin(), rows.end());
    return rows;
}

Pixels LeftToRight(Pixels rows) {
    for (std::vector<uint32_t>& row : rows) std::reverse(row.begin(), row.end());
    return rows;
}

Pixels Transposed(const Pixels& rows) {
    Pixels columns(rows.empty() ? 0 : rows[0].size());
    for (const std::vector<uint32_t>& row : rows) {
        for (size_t i = 0; i < row.size(); ++i) columns[i].push_back(row[i]);
    }
    return columns;
}

TEST_F(GeoTurn, FlipOfOneRowCopiesIt) {
    const ref::Image row = test::ImageOf(3, 24, ref::kBgr, {{1, 2, 3, 4, 5, 6, 7, 8, 9}});
    EXPECT_TRUE(test::SamePixels(row, Flipped(TestImage::New(row))));
}

TEST_F(GeoTurn, FlipReversesRowsOfOneBit) {
    const auto source = TestImage::New(test::ImageOf(16, 1, ref::kMono, {{0x80, 0x01}, {0x12, 0x34}, {0xFE, 0xDC}}));
    EXPECT_TRUE(test::SamePixels(test::ImageOf(16, 1, ref::kMono, {{0xFE, 0xDC}, {0x12, 0x34}, {0x80, 0x01}}),
                                 Flipped(source)));
}

TEST_F(GeoTurn, MirrorOfSixteenBitsWritesNothing) {
    const auto source = TestImage::New(test::ImageOf(2, 16, ref::kBgr, {{1, 2, 3, 4}}));
    const auto result = Mirrored(source);
    EXPECT_TRUE(test::SameBytes(ref::Created(2, 1, 1, 16, ref::kBgr), result));
    EXPECT_EQ(result->log->created, (std::vector<test::CreateArguments>{{2, 1, 1, 16, ref::kBgr}}));
}

TEST_F(GeoTurn, FlipBitsTwiceRestores) {
    const ref::Image before = test::ImageOf(2, 32, ref::kBgr, {{1, 2, 3, 4, 5, 6, 7, 8}});
    const auto image = TestImage::New(before);
    EXPECT_EQ(transform->FlipBits(image.Get()), S_OK);
    EXPECT_TRUE(test::SameBytes(test::ImageOf(2, 32, ref::kBgr, {{3, 2, 1, 4, 7, 6, 5, 8}}), image));
    EXPECT_EQ(transform->FlipBits(image.Get()), S_OK);
    EXPECT_TRUE(test::SameBytes(before, image));
}

TEST_F(GeoTurn, FlipBitsLeavesEightBitsAlone) {
    const ref::Image before = test::GreyImage({{1, 2, 3}, {4, 5, 6}});
    const auto image = TestImage::New(before);
    EXPECT_EQ(transform->FlipBits(image.Get()), S_OK);
    EXPECT_TRUE(test::SameBytes(before, image));
}

TEST_F(GeoTurn, OtherAnglesLeaveTheDestinationUntouched) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}, {3, 4}}));
    for (const int angle : {45, -90, 0, 360, 89, 450, -180, INT32_MIN, INT32_MAX}) {
        const auto destination = TestImage::New();
        EXPECT_EQ(Rotate4(source.Get(), destination.Get(), angle), S_OK);
        EXPECT_TRUE(destination->log->created.empty()) << angle;
        EXPECT_TRUE(destination->Content().store.empty());
    }
}

TEST_F(GeoTurn, QuarterTurnOfThreeByTwo) {
    const auto source = TestImage::New(test::GreyImage({{1, 2, 3}, {4, 5, 6}}));
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{4, 1}, {5, 2}, {6, 3}}), Turned(source, 90)));
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{3, 6}, {2, 5}, {1, 4}}), Turned(source, 270)));
}

TEST_F(GeoTurn, HalfTurnIsOnePixelOff) {
    // Rows of three pixels and one byte of padding: that byte stands before the next row.
    ref::Image image(3, 3, 1, 8, ref::kMono, 4);
    image.store[0] = {1, 2, 3, 77, 4, 5, 6, 88, 7, 8, 9};
    const auto source = TestImage::New(image);
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{8, 7, 88}, {5, 4, 77}, {2, 1, 0}}), Turned(source, 180)));
}

TEST_F(GeoTurn, HalfTurnOfBottomUpRowsReadsTheRowBelowInMemory) {
    ref::Image image(2, 3, 1, 8, ref::kMono, -2);
    image.store[0] = {5, 6, 3, 4, 1, 2};  // rows 2, 1, 0
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{5, 0}, {3, 6}, {1, 4}}), Turned(TestImage::New(image), 180)));
}

TEST_F(GeoTurn, PlanesAreTurnedButOnlyTheFirstIsFlippedOrMirrored) {
    test::Random random(3);
    const ref::Image image = test::RandomImage(random, 5, 4, 3, 8, ref::kMono);
    const auto source = TestImage::New(image);
    const ref::Image turned = Turned(source, 90)->Content();
    const ref::Image flipped = Flipped(source)->Content(), mirrored = Mirrored(source)->Content();
    ASSERT_EQ(turned.planes, 3u);
    for (uint32_t plane = 0; plane < 3; ++plane) {
        EXPECT_EQ(PixelsOf(turned, plane), Transposed(UpsideDown(PixelsOf(image, plane)))) << plane;
    }
    EXPECT_EQ(PixelsOf(flipped), UpsideDown(PixelsOf(image)));
    EXPECT_EQ(PixelsOf(mirrored), LeftToRight(PixelsOf(image)));
    for (uint32_t plane = 1; plane < 3; ++plane) {
        EXPECT_EQ(PixelsOf(flipped, plane), PixelsOf(ref::Created(5, 4, 3, 8, ref::kMono), plane));
        EXPECT_EQ(PixelsOf(mirrored, plane), PixelsOf(ref::Created(5, 4, 3, 8, ref::kMono), plane));
    }
}

TEST_F(GeoTurn, TurnsAgreeWithReversedAndTransposedRows) {
    test::RandomCases(300, [&](test::Random& random) {
        const ref::Image image =
            test::RandomImage(random, {.depths = {8, 16, 24, 32}, .largestHeight = 150, .largestPlanes = 1});
        SCOPED_TRACE(test::Describe(image));
        UseRandomRecipe(random);
        const auto source = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        const Pixels pixels = PixelsOf(image);
        EXPECT_EQ(PixelsOf(Flipped(source)->Content()), UpsideDown(pixels));
        if (image.bitsPerPixel != 16) {
            EXPECT_EQ(PixelsOf(Mirrored(source)->Content()), LeftToRight(pixels));
        }
        if (image.width == 0 || image.height == 0) return;
        EXPECT_EQ(PixelsOf(Turned(source, 90)->Content()), Transposed(UpsideDown(pixels)));
        EXPECT_EQ(PixelsOf(Turned(source, 270)->Content()), Transposed(LeftToRight(pixels)));
        Pixels half = UpsideDown(LeftToRight(pixels)), shifted = PixelsOf(Turned(source, 180)->Content());
        for (size_t y = 0; y < half.size(); ++y) {
            half[y].erase(half[y].begin());
            shifted[y].pop_back();
        }
        EXPECT_EQ(shifted, half);
    });
}

TEST_F(GeoTurn, MatchesTheReference) {
    test::RandomCases(400, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestHeight = 150, .largestPlanes = 3});
        SCOPED_TRACE(test::Describe(image));
        UseRandomRecipe(random);
        const auto source = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        // Between two rows Flip copies whatever stands there.
        EXPECT_TRUE(test::SamePixels(ref::Flip(image, host), Flipped(source)));
        EXPECT_TRUE(test::SameBytes(ref::Mirror(image, host), Mirrored(source)));
        for (const int angle : {90, 180, 270}) {
            SCOPED_TRACE(angle);
            EXPECT_TRUE(test::SameBytes(*ref::Rotate4(image, angle, host), Turned(source, angle)));
        }
        EXPECT_TRUE(test::SameBytes(image, source));
        ref::Image exchanged = image;
        ref::FlipBits(exchanged);
        EXPECT_EQ(transform->FlipBits(source.Get()), S_OK);
        EXPECT_TRUE(test::SameBytes(exchanged, source));
    });
}

TEST_F(GeoTurn, LargeImages) {
    test::Random random(7);
    for (const uint32_t depth : {8u, 16u, 24u, 32u}) {
        for (const auto& [width, height] : {std::pair{517u, 300u}, std::pair{1u, 2001u}, std::pair{2001u, 3u}}) {
            const ref::Image image = test::RandomImage(random, width, height, 1, depth, ref::kBgr);
            SCOPED_TRACE(test::Describe(image));
            const auto source = TestImage::New(image, 1);
            EXPECT_TRUE(test::SamePixels(ref::Flip(image, host), Flipped(source)));
            EXPECT_TRUE(test::SameBytes(ref::Mirror(image, host), Mirrored(source)));
            for (const int angle : {90, 180, 270}) {
                EXPECT_TRUE(test::SameBytes(*ref::Rotate4(image, angle, host), Turned(source, angle))) << angle;
            }
        }
    }
}

TEST_F(GeoTurn, OddDepths) {
    test::RandomCases(60, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.depths = {2, 12, 15, 40, 48, 64}, .largestWidth = 40});
        SCOPED_TRACE(test::Describe(image));
        UseRandomRecipe(random);
        const auto source = TestImage::New(image);
        EXPECT_TRUE(test::SamePixels(ref::Flip(image, host), Flipped(source)));
        EXPECT_TRUE(test::SameBytes(ref::Mirror(image, host), Mirrored(source)));
        for (const int angle : {90, 180, 270}) {
            EXPECT_TRUE(test::SameBytes(*ref::Rotate4(image, angle, host), Turned(source, angle)));
        }
        EXPECT_EQ(transform->FlipBits(source.Get()), S_OK);
        EXPECT_TRUE(test::SameBytes(image, source));
    });
}

TEST_F(GeoTurn, WithoutADestinationTheNewImageIsReleased) {
    const ref::Image image = test::GreyImage({{1, 2}, {3, 4}});
    const auto source = TestImage::New(image);
    EXPECT_EQ(transform->Flip(source.Get(), nullptr), S_OK);
    EXPECT_EQ(transform->Mirror(source.Get(), nullptr), S_OK);
    EXPECT_TRUE(test::SameBytes(image, source));
    EXPECT_TRUE(source->log->assigned.empty());
    EXPECT_EQ(source->Count(), 1u);
    EXPECT_EQ(collection->images.size(), 2u);
}

TEST_F(GeoTurn, NullSources) {
    IVEL* out = nullptr;
    EXPECT_EQ(transform->Flip(nullptr, &out), E_FAIL);
    EXPECT_EQ(transform->Mirror(nullptr, &out), E_FAIL);
    EXPECT_EQ(transform->FlipBits(nullptr), E_FAIL);
    EXPECT_EQ(out, nullptr);
    const auto image = TestImage::New(test::GreyImage({{1}}));
    EXPECT_LT(Rotate4(nullptr, image.Get(), 90), 0);
    EXPECT_LT(Rotate4(image.Get(), nullptr, 90), 0);
    EXPECT_TRUE(test::SameBytes(test::GreyImage({{1}}), image));
}

TEST_F(GeoTurn, QuarterTurnHandsOnTheFailureOfGetFormat) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}})), destination = TestImage::New();
    source->faults.getFormat = true;
    EXPECT_EQ(Rotate4(source.Get(), destination.Get(), 90), E_FAIL);
    EXPECT_EQ(Rotate4(source.Get(), destination.Get(), 45), E_FAIL);
    EXPECT_TRUE(destination->log->created.empty());
}

TEST_F(GeoTurn, QuarterTurnIgnoresAFailingCreate) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}}));
    for (const bool silent : {false, true}) {
        const auto destination = TestImage::New();
        (silent ? destination->faults.createSilent : destination->faults.create) = true;
        EXPECT_EQ(Rotate4(source.Get(), destination.Get(), 90), S_OK);
    }
}

TEST_F(GeoTurn, TurningAnImageIntoItselfStaysInsideIt) {
    test::Random random(5);
    for (const uint32_t depth : {8u, 24u, 32u}) {
        for (const int angle : {90, 180, 270}) {
            const auto image = TestImage::New(test::RandomImage(random, 37, 5, 1, depth, ref::kBgr));
            EXPECT_EQ(Rotate4(image.Get(), image.Get(), angle), S_OK);
            EXPECT_TRUE(image->GuardsIntact());
        }
    }
}

TEST_F(GeoTurn, NoPlanesNoPixels) {
    const auto source = TestImage::New(ref::Image(4, 3, 0, 24, ref::kBgr));
    EXPECT_EQ(Flipped(source)->Content().planes, 0u);
    EXPECT_EQ(Mirrored(source)->Content().planes, 0u);
    EXPECT_EQ(Turned(source, 90)->Content().width, 3u);
    EXPECT_EQ(transform->FlipBits(source.Get()), S_OK);
}

}  // namespace
