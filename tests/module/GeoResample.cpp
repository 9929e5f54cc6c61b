// Skew and Resample.
#include <cmath>
#include <limits>

#include "support/Geometry.h"

namespace {

using test::TestImage;

class GeoResample : public test::GeometryTest {
protected:
    SmartPtr<TestImage> Skewed(const SmartPtr<TestImage>& source, float xFactor, float yFactor, int xPivot, int yPivot,
                               int force32) const {
        IVEL* out = nullptr;
        EXPECT_EQ(transform->Skew(source.Get(), &out, xFactor, yFactor, xPivot, yPivot, 12345, force32), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        return Handed(out);
    }
    SmartPtr<TestImage> Resampled(const SmartPtr<TestImage>& source, int width, int height, int method,
                                  int mode) const {
        IVEL* out = nullptr;
        EXPECT_EQ(transform->Resample(source.Get(), &out, width, height, method, mode), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        return Handed(out);
    }
};

TEST_F(GeoResample, SkewWithoutFactorsCopies) {
    test::Random random(1);
    for (const uint32_t depth : {1u, 4u, 8u, 24u, 32u}) {
        const ref::Image image = test::RandomImage(random, 9, 7, 1, depth, ref::kBgr);
        const auto source = TestImage::New(image);
        EXPECT_TRUE(test::SamePixels(image, Skewed(source, 0, 0, 0, 0, 0))) << depth;
        const auto forced = Skewed(source, 0, 0, 0, 0, 1);
        EXPECT_EQ(forced->log->created, (std::vector<test::CreateArguments>{{9, 7, 1, 32, ref::kArgb}}));
        const ref::Image pixels = forced->Content();
        for (int64_t y = 0; y < 7; ++y) {
            for (int64_t x = 0; x < 9; ++x) {
                const uint32_t colour = ref::GetPixelColor(image, x, y);
                // An alpha of 1 counts as a position outside and stays.
                const uint32_t alpha = colour >> 24 == 1 ? 1 : 255;
                EXPECT_EQ(ref::GetPixelColor(pixels, x, y), (colour & 0xFFFFFF) | alpha << 24);
            }
        }
    }
}

TEST_F(GeoResample, SkewByOnePixelARow) {
    test::Random random(2);
    ref::Image image = test::RandomImage(random, 10, 10, 1, 32, ref::kArgb);
    ref::SetPixelColor(image, 0, 0, 0x90706050);
    const ref::Image skewed = Skewed(TestImage::New(image), 1.0f, 0.0f, 0, 0, 0)->Content();
    for (int64_t x = 0; x < 10; ++x) {
        EXPECT_EQ(ref::GetPixelColor(skewed, x, 0), x < 5 ? 0x01706050 : ref::GetPixelColor(image, x - 5, 0));
        EXPECT_EQ(ref::GetPixelColor(skewed, x, 5), ref::GetPixelColor(image, x, 5));
    }
}

TEST_F(GeoResample, SkewOutsideKeepsTheMarkWhenForced) {
    const auto source = TestImage::New(test::ImageOf(2, 24, ref::kBgr, {{1, 2, 3, 4, 5, 6}, {7, 8, 9, 10, 11, 12}}));
    // Row 0 moves by -1 a row of distance from the pivot 1.
    const ref::Image skewed = Skewed(source, 1.0f, 0.0f, 0, 1, 1)->Content();
    EXPECT_EQ(ref::GetPixelColor(skewed, 0, 0), 0x01030201u);
    EXPECT_EQ(ref::GetPixelColor(skewed, 1, 0), 0xFF030201u);
    EXPECT_EQ(ref::GetPixelColor(skewed, 0, 1), 0xFF090807u);
}

TEST_F(GeoResample, SkewMatchesTheReference) {
    test::RandomCases(400, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestHeight = 60, .largestPlanes = 3});
        UseRandomRecipe(random);
        const auto factor = [&] {
            return random.Chance(30) ? random.Pick({0.0f, 1.0f, -1.0f, 0.5f, 100.0f, -1e-3f})
                                     : static_cast<float>(random.Real(-3.0, 3.0));
        };
        const float xFactor = factor(), yFactor = factor();
        const int xPivot = random.Chance(50) ? 0 : random.Int(-100, 200);
        const int yPivot = random.Chance(50) ? 0 : random.Int(-100, 200);
        const int force32 = random.Pick({0, 0, 1, -1});
        SCOPED_TRACE(test::Describe(image));
        SCOPED_TRACE(testing::Message() << "factors " << xFactor << ", " << yFactor << ", pivots " << xPivot << ", "
                                        << yPivot << ", force32 " << force32);
        const auto source = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        EXPECT_TRUE(test::SameBytes(ref::Skew(image, xFactor, yFactor, xPivot, yPivot, force32 != 0, host),
                                    Skewed(source, xFactor, yFactor, xPivot, yPivot, force32)));
        EXPECT_TRUE(test::SameBytes(image, source));
    });
}

TEST_F(GeoResample, SkewByNoNumberIsOutside) {
    test::Random random(3);
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const ref::Image image = test::RandomImage(random, 20, 9, 1, depth, ref::kBgr);
        const auto source = TestImage::New(image);
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        for (const float factor : {std::nanf(""), kInfinity, -kInfinity, 3e38f, -3e38f}) {
            EXPECT_TRUE(test::SameBytes(ref::Skew(image, factor, 0.25f, 3, 4, true, host),
                                        Skewed(source, factor, 0.25f, 3, 4, 1)));
            EXPECT_TRUE(test::SameBytes(ref::Skew(image, 0.25f, factor, 3, 4, false, host),
                                        Skewed(source, 0.25f, factor, 3, 4, 0)));
        }
        Skewed(source, 0.0f, 0.0f, INT32_MIN, INT32_MIN, 0);
        Skewed(source, 1.0f, 1.0f, INT32_MAX, INT32_MAX, 0);
    }
}

// ---------------------------------------------------------------------------------------------------------------

TEST_F(GeoResample, SameSizeAssignsTheSource) {
    const ref::Image image = test::GreyImage({{1, 2, 3}, {4, 5, 6}});
    const auto source = TestImage::New(image);
    for (const int mode : {0, 1}) {
        const auto result = Resampled(source, 3, 2, 4, mode);
        IVEL* const given = static_cast<IVELImageDIB*>(source.Get());
        EXPECT_EQ(result->log->assigned, (std::vector<std::pair<IVEL*, int32_t>>{{given, 0}}));
        EXPECT_EQ(result->log->created, (std::vector<test::CreateArguments>{{3, 2, 1, 8, ref::kMono}}));
        EXPECT_TRUE(test::SamePixels(image, result));
        EXPECT_TRUE(test::SameBytes(image, source));
    }
}

TEST_F(GeoResample, ShrinkingSnapsColumnsToThePixelsByteCount) {
    // Column x holds x; rows are all alike.
    for (const uint32_t depth : {24u, 32u}) {
        const int64_t size = depth / 8;
        ref::Image ramp(240, 3, 1, depth, ref::kBgr);
        for (int64_t y = 0; y < 3; ++y) {
            for (int64_t x = 0; x < 240; ++x) ramp.Put(y, x * size, static_cast<uint8_t>(x));
        }
        const ref::Image small = Resampled(TestImage::New(ramp), 80, 1, 0, 0)->Content();
        for (int64_t i = 0; i < 80; ++i) EXPECT_EQ(small.Get(0, i * size), (3 * i + 1) / size * size) << i;
    }
}

TEST_F(GeoResample, SnappedColumnsOfThe300ColumnExample) {
    ref::Image ramp(300, 2, 1, 24, ref::kBgr);
    for (int64_t x = 0; x < 300; ++x) {
        for (int64_t y = 0; y < 2; ++y) ref::SetPixelColor(ramp, x, y, static_cast<uint32_t>(x));
    }
    const ref::Image small = Resampled(TestImage::New(ramp), 100, 2, 0, 0)->Content();
    EXPECT_EQ(ref::GetPixelColor(small, 0, 0), 0u);
    EXPECT_EQ(ref::GetPixelColor(small, 1, 0), 3u);
    EXPECT_EQ(ref::GetPixelColor(small, 99, 1), 297u);
}

TEST_F(GeoResample, ColumnsAreSnappedWhenOnlyRowsShrink) {
    ref::Image ramp(8, 4, 1, 32, ref::kBgr);
    for (int64_t x = 0; x < 8; ++x) {
        for (int64_t y = 0; y < 4; ++y) ref::SetPixelColor(ramp, x, y, static_cast<uint32_t>(x + 10 * y));
    }
    const ref::Image small = Resampled(TestImage::New(ramp), 8, 2, 0, 0)->Content();
    for (int64_t x = 0; x < 8; ++x) EXPECT_EQ(ref::GetPixelColor(small, x, 0), x < 4 ? 10u : 14u) << x;
}

// Replication where the scale is a power of two: the exact position is i * W / W', without any rounding.
TEST_F(GeoResample, ReplicationIsIntegerScaling) {
    test::RandomCases(200, [&](test::Random& random) {
        const ref::Image image =
            test::RandomImage(random, {.depths = {8, 16, 24, 32}, .largestHeight = 40, .zeroSizes = false});
        UseRandomRecipe(random);
        const int64_t w = image.width, h = image.height;
        const int64_t up = random.Pick({2, 4, 8}), down = random.Pick({1, 2, 4});
        const int64_t newW = w * up, newH = h % down == 0 ? h / down : h;
        SCOPED_TRACE(test::Describe(image));
        const ref::Image scaled =
            Resampled(TestImage::New(image), static_cast<int>(newW), static_cast<int>(newH), 5, 1)->Content();
        const int64_t size = image.bitsPerPixel / 8;
        for (int64_t y = 0; y < newH; ++y) {
            for (int64_t x = 0; x < newW; ++x) {
                for (int64_t b = 0; b < size; ++b) {
                    ASSERT_EQ(scaled.Get(y, x * size + b), image.Get(y * h / newH, x * w / newW * size + b));
                }
            }
        }
    });
}

TEST_F(GeoResample, EnlargingReplicatesWhateverMethodAndMode) {
    test::Random random(8);
    const ref::Image image = test::RandomImage(random, 7, 5, 1, 32, ref::kArgb);
    const auto source = TestImage::New(image);
    const ref::Image expected = Resampled(source, 17, 5, 0, 1)->Content();
    for (int method = -1; method <= 16; ++method) {
        for (const int mode : {0, 1, -1}) {
            EXPECT_TRUE(test::SameBytes(expected, Resampled(source, 17, 5, method, mode)));
        }
    }
    EXPECT_EQ(ref::GetPixelColor(expected, 16, 4), ref::GetPixelColor(image, 6, 4));
}

TEST_F(GeoResample, ShrinkingInAnotherModeReplicates) {
    const auto source = TestImage::New(test::GreyImage({{10, 20, 30, 40, 50, 60}}));
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{10, 40}}), Resampled(source, 2, 1, 4, 1)));
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{10, 40}}), Resampled(source, 2, 1, 4, -3)));
    EXPECT_TRUE(test::SamePixels(test::GreyImage({{20, 50}}), Resampled(source, 2, 1, 0, 0)));
}

TEST_F(GeoResample, EveryMethodAtEveryDepth) {
    test::Random random(4);
    for (const uint32_t depth : {1u, 4u, 8u, 16u, 24u, 32u}) {
        const ref::Image image = test::RandomImage(random, 61, 37, 1, depth, ref::kBgr);
        const auto source = TestImage::New(image);
        for (int method = -1; method <= 17; ++method) {
            for (const auto& [width, height] : {std::pair{23, 17}, std::pair{70, 36}, std::pair{64, 40}}) {
                EXPECT_TRUE(test::SameBytes(*ref::Resample(image, width, height, method, 0, host),
                                            Resampled(source, width, height, method, 0)))
                    << "depth " << depth << ", method " << method << ", " << width << " x " << height;
            }
        }
    }
}

TEST_F(GeoResample, MatchesTheReference) {
    test::RandomCases(400, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestHeight = 50, .largestPlanes = 3});
        UseRandomRecipe(random);
        const auto size = [&](uint32_t old) {
            if (random.Chance(10)) return static_cast<int>(old);
            return random.Chance(5) ? 0 : static_cast<int>(test::RandomSize(random, 80));
        };
        const int width = size(image.width), height = size(image.height);
        const int method = random.Chance(5) ? random.Pick({-1, 16, 1000}) : random.Int(0, 15);
        const int mode = random.Pick({0, 0, 0, 1, -1});
        SCOPED_TRACE(test::Describe(image));
        SCOPED_TRACE(testing::Message() << width << " x " << height << ", method " << method << ", mode " << mode);
        const auto source = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        const auto result = Resampled(source, width, height, method, mode);
        if (const auto expected = ref::Resample(image, width, height, method, mode, host)) {
            EXPECT_TRUE(test::SameBytes(*expected, result));
            EXPECT_TRUE(result->log->assigned.empty());
        } else {
            EXPECT_EQ(result->log->assigned.size(), 1u);
            EXPECT_TRUE(test::SamePixels(image, result));
        }
        EXPECT_TRUE(test::SameBytes(image, source));
    });
}

TEST_F(GeoResample, LargeImages) {
    test::Random random(5);
    for (const uint32_t depth : {1u, 8u, 16u, 24u, 32u}) {
        const ref::Image image = test::RandomImage(random, 1203, 21, 1, depth, ref::kBgr);
        SCOPED_TRACE(test::Describe(image));
        const auto source = TestImage::New(image, 1);
        for (const auto& [width, height, mode] :
             {std::tuple{701, 13, 0}, std::tuple{1300, 19, 0}, std::tuple{2999, 23, 0}, std::tuple{333, 13, 1}}) {
            for (const int method : {0, 4}) {
                ASSERT_TRUE(test::SameBytes(*ref::Resample(image, width, height, method, mode, host),
                                            Resampled(source, width, height, method, mode)))
                    << width << " x " << height << ", method " << method << ", mode " << mode;
            }
        }
        EXPECT_TRUE(test::SameBytes(*ref::Resample(image, 701, 6, 5, 0, host), Resampled(source, 701, 6, 5, 0)));
        EXPECT_TRUE(
            test::SameBytes(ref::Skew(image, 0.37f, -0.01f, 0, 0, true, host), Skewed(source, 0.37f, -0.01f, 0, 0, 1)));
    }
}

TEST_F(GeoResample, LargeReductionsAndEnlargements) {
    test::Random random(6);
    for (const uint32_t depth : {1u, 8u, 24u, 32u}) {
        const ref::Image wide = test::RandomImage(random, 5000, 3, 1, depth, ref::kBgr);
        const ref::Image tiny = test::RandomImage(random, 1, 1, 1, depth, ref::kBgr);
        for (const int method : {0, 1, 4, 5, 10}) {
            EXPECT_TRUE(test::SameBytes(*ref::Resample(wide, 7, 2, method, 0, host),
                                        Resampled(TestImage::New(wide), 7, 2, method, 0)));
            EXPECT_TRUE(test::SameBytes(*ref::Resample(tiny, 999, 3, method, 0, host),
                                        Resampled(TestImage::New(tiny), 999, 3, method, 0)));
        }
    }
}

// Few columns become many while rows shrink: what lies near the left and right border spans many runs of columns.
TEST_F(GeoResample, ColumnsGrowWhileRowsShrink) {
    test::Random random(7);
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const ref::Image image = test::RandomImage(random, 14, 30, 1, depth, ref::kBgr);
        const auto source = TestImage::New(image);
        for (const int method : {0, 1, 4, 5}) {
            EXPECT_TRUE(
                test::SameBytes(*ref::Resample(image, 3000, 7, method, 0, host), Resampled(source, 3000, 7, method, 0)))
                << depth << ", method " << method;
        }
    }
}

TEST_F(GeoResample, NegativeSizesAreForTheHostToRefuse) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}, {3, 4}}));
    collection->imageFaults.createSilent = true;
    for (const auto& [width, height] : {std::pair{-1, -1}, std::pair{INT32_MIN, 3}, std::pair{3, INT32_MIN}}) {
        const auto result = Resampled(source, width, height, 4, 0);
        EXPECT_EQ(result->log->created.at(0).width, static_cast<uint32_t>(width));
        EXPECT_EQ(result->log->created.at(0).height, static_cast<uint32_t>(height));
    }
}

TEST_F(GeoResample, ResultCodes) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}, {3, 4}}));
    IVEL* out = nullptr;
    EXPECT_EQ(transform->Skew(nullptr, &out, 0, 0, 0, 0, 0, 0), E_FAIL);
    EXPECT_EQ(transform->Resample(nullptr, &out, 3, 3, 0, 0), E_FAIL);
    EXPECT_EQ(out, nullptr);
    collection->refuseImages = true;
    EXPECT_EQ(transform->Skew(source.Get(), &out, 0, 0, 0, 0, 0, 0), E_FAIL);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(transform->Resample(source.Get(), &out, 3, 3, 0, 0), E_FAIL);
    EXPECT_EQ(out, nullptr);
    collection->refuseImages = false;
    source->faults.getFormat = true;
    EXPECT_EQ(transform->Resample(source.Get(), &out, 3, 3, 0, 0), E_FAIL);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(source->Count(), 1u);
}

}  // namespace
