// The sampling functions, the Bessel function and the line stepper, called directly.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "BresenhamLine.h"
#include "GridSampler.h"
#include "reference/Geometry.h"
#include "support/Images.h"

namespace {

using test::TestImage;

class GeoSampling : public testing::Test {
protected:
    // Samples the image where a guard surrounds its pixels.
    static uint32_t Sample(const SmartPtr<TestImage>& image, float x, float y, int method) {
        const Rows rows(image);
        return GetPixelColorInterpolated(rows.bits, x, y, rows.width, rows.height, rows.stride, method, rows.depth);
    }
    static uint32_t Bilinear(const SmartPtr<TestImage>& image, int x, int y) {
        const Rows rows(image);
        return GetBilinearColor(rows.bits, x, y, rows.width, rows.height, rows.stride, rows.depth);
    }

private:
    struct Rows {
        explicit Rows(const SmartPtr<TestImage>& image) {
            uint32_t w = 0, h = 0, planes = 0, bpp = 0, format = 0;
            image->GetSize(&w, &h, &planes);
            image->GetFormat(&bpp, &format, nullptr);
            image->GetBits(0, nullptr, &bits, &stride);
            width = static_cast<int>(w);
            height = static_cast<int>(h);
            depth = static_cast<int>(bpp);
        }
        unsigned char* bits = nullptr;
        int width, height, stride = 0, depth;
    };
};

SmartPtr<TestImage> GreyRow(std::initializer_list<int> values) {
    return TestImage::New(test::ImageOf(static_cast<uint32_t>(values.size()), 8, ref::kMono, {values}));
}

SmartPtr<TestImage> Flat(uint32_t width, uint32_t height, uint32_t depth, uint8_t value) {
    ref::Image image(width, height, 1, depth, ref::kBgr);
    for (uint8_t& byte : image.store[0]) byte = value;
    return TestImage::New(image);
}

ref::Image Noise(uint32_t width, uint32_t height, uint32_t depth) {
    test::Random random(depth + width);
    return test::RandomImage(random, width, height, 1, depth, ref::kBgr);
}

TEST_F(GeoSampling, NearestRoundsTowardsZeroAfterAddingAHalf) {
    const auto image = GreyRow({10, 20, 30});
    EXPECT_EQ(Sample(image, -0.4f, 0, 0), 0x000A0A0Au);
    EXPECT_EQ(Sample(image, -0.6f, 0, 0), 0x000A0A0Au);
    EXPECT_EQ(Sample(image, -1.6f, 0, 0), 0x010A0A0Au);
    EXPECT_EQ(Sample(image, 0.5f, 0, 0), 0x00141414u);
    EXPECT_EQ(Sample(image, 2.4f, 0, 0), 0x001E1E1Eu);
    EXPECT_EQ(Sample(image, 2.5f, 0, 0), 0x010A0A0Au);
}

TEST_F(GeoSampling, BilinearTakesTheTruncatedPosition) {
    const auto image = GreyRow({10, 20, 30, 40});
    for (const float x : {2.0f, 2.1f, 2.5f, 2.9f, 2.999f}) EXPECT_EQ(Sample(image, x, 0, 1), 0x001E1E1Eu) << x;
    EXPECT_EQ(Sample(image, -0.9f, 0.9f, 1), 0x000A0A0Au);
    EXPECT_EQ(Sample(image, -1.0f, 0, 1), 0x010A0A0Au);
}

TEST_F(GeoSampling, BilinearAlphaDependsOnThePath) {
    ref::Image image = Noise(4, 3, 32);
    const auto host = TestImage::New(image);
    const uint32_t inner = ref::GetPixelColor(image, 2, 1), corner = ref::GetPixelColor(image, 3, 2);
    EXPECT_EQ(Bilinear(host, 2, 1), inner | 0xFF000000);
    EXPECT_EQ(Bilinear(host, 3, 2), corner);
    EXPECT_EQ(Bilinear(host, 4, 2) >> 24, 1u);
    EXPECT_EQ(Bilinear(host, -1, 0), (ref::GetPixelColor(image, 0, 0) & 0xFFFFFF) | 0x01000000);
    const auto colour = TestImage::New(Noise(4, 3, 24));
    EXPECT_EQ(Bilinear(colour, 0, 0) >> 24, 255u);
    EXPECT_EQ(Bilinear(colour, 3, 0) >> 24, 0u);
}

TEST_F(GeoSampling, DirectPathCarriesAlphaAndTheOtherDoesNot) {
    const auto image = Flat(4, 4, 32, 200);
    EXPECT_EQ(Sample(image, 1.5f, 1.5f, 4), 0xC8C8C8C8u);
    EXPECT_EQ(Sample(image, 0.5f, 0.5f, 4), 0x00C8C8C8u);
    // Lanczos sums alpha on both of its paths; column 20 is outside and has an alpha of 1.
    EXPECT_GT(Sample(Flat(20, 20, 32, 200), 9.5f, 9.5f, 5) >> 24, 190u);
    EXPECT_GT(Sample(Flat(20, 20, 32, 200), 14.5f, 9.5f, 5) >> 24, 190u);
}

TEST_F(GeoSampling, BoxTakesOnePixel) {
    const ref::Image image = Noise(9, 9, 24);
    const auto host = TestImage::New(image);
    for (int y = 0; y < 9; ++y) {
        for (int x = 0; x < 9; ++x) {
            EXPECT_EQ(Sample(host, static_cast<float>(x), static_cast<float>(y), 6), ref::GetPixelColor(image, x, y));
        }
    }
    EXPECT_EQ(Sample(host, 2.5f, 4.0f, 6), ref::GetPixelColor(image, 2, 4));
    EXPECT_EQ(Sample(host, 2.50001f, 4.0f, 6), ref::GetPixelColor(image, 3, 4));
}

TEST_F(GeoSampling, BlackmanAtWholePositionsSumsFourPixels) {
    ref::Image image(9, 9, 1, 24, ref::kBgr);
    for (uint8_t& byte : image.store[0]) byte = 1;
    ref::SetPixelColor(image, 3, 4, 0x010A14);
    ref::SetPixelColor(image, 5, 4, 0x020B15);
    ref::SetPixelColor(image, 3, 6, 0x030C16);
    ref::SetPixelColor(image, 5, 6, 0xF00D17);
    // Channels 20+21+22+23, 10+11+12+13, 1+2+3+240; each may fall one short of the exact sum.
    const uint32_t colour = Sample(TestImage::New(image), 3.0f, 4.0f, 10);
    EXPECT_NEAR(static_cast<int>(colour & 0xFF), 86, 1);
    EXPECT_NEAR(static_cast<int>(colour >> 8 & 0xFF), 46, 1);
    EXPECT_NEAR(static_cast<int>(colour >> 16 & 0xFF), 246, 1);
    EXPECT_EQ(Sample(Flat(9, 9, 24, 128), 3.0f, 4.0f, 10), 0x00FFFFFFu);
}

TEST_F(GeoSampling, BesselDarkensAtWholePositions) {
    ref::Image image(9, 9, 1, 24, ref::kBgr);
    ref::SetPixelColor(image, 4, 4, 0xFFFFFF);
    const uint32_t colour = Sample(TestImage::New(image), 4.0f, 4.0f, 11);
    EXPECT_EQ(colour & 0xFF, 157u);  // 255 (pi / 4)^2 = 157.29
}

TEST_F(GeoSampling, BorderOfTheRangeTest) {
    const auto image = Flat(6, 6, 24, 100);
    // Whole columns at 6 and 6.9 are just beyond the right edge and still interpolated; 7 is outside.
    EXPECT_EQ(Sample(image, 6.9f, 3.0f, 4) >> 24, 0u);
    EXPECT_EQ(Sample(image, 7.0f, 3.0f, 4), 0x01646464u);
    EXPECT_EQ(Sample(image, 3.0f, 7.0f, 4), 0x01646464u);
    // -1.0 counts as -2, which is within range, -1.5 as well; -2.0 counts as -3.
    EXPECT_EQ(Sample(image, -1.0f, 3.0f, 4) >> 24, 0u);
    EXPECT_EQ(Sample(image, -1.5f, 3.0f, 4) >> 24, 0u);
    EXPECT_EQ(Sample(image, -2.0f, 3.0f, 4), 0x01646464u);
    EXPECT_EQ(Sample(image, 3.0f, -2.0f, 4), 0x01646464u);
    // Lanczos reaches further: -6.0 counts as -7, and at the width plus five no tap is inside.
    EXPECT_EQ(Sample(image, -6.0f, 3.0f, 5), 0x01646464u);
    EXPECT_EQ(Sample(image, 11.0f, 3.0f, 5), 0x01646464u);
    EXPECT_EQ(Sample(image, 3.0f, 11.0f, 5), 0x01646464u);
}

TEST_F(GeoSampling, OtherMethodNumbersAreBilinear) {
    const auto image = TestImage::New(Noise(8, 8, 32));
    for (const int method : {16, 17, 1000, INT32_MAX, -1, -5, INT32_MIN}) {
        for (const float x : {-1.5f, 0.0f, 2.9f, 7.1f, 8.5f}) {
            EXPECT_EQ(Sample(image, x, 3.3f, method), Sample(image, x, 3.3f, 1)) << method << " at " << x;
        }
    }
}

TEST_F(GeoSampling, WildPositionsAreOutside) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const uint32_t depth : {1u, 8u, 24u, 32u}) {
        const ref::Image image = Noise(8, 8, depth);
        const auto host = TestImage::New(image);
        const uint32_t outside = (ref::GetPixelColor(image, 0, 0) & 0xFFFFFF) | 0x01000000;
        for (int method = -1; method <= 16; ++method) {
            for (const float wild :
                 {std::nanf(""), kInfinity, -kInfinity, 3e38f, -3e38f, 2147483648.0f, -2147483648.0f}) {
                EXPECT_EQ(Sample(host, wild, 3.0f, method), outside) << method << ", x = " << wild;
                EXPECT_EQ(Sample(host, 3.0f, wild, method), outside) << method << ", y = " << wild;
            }
        }
    }
}

TEST_F(GeoSampling, NoPixels) {
    unsigned char byte = 0;
    for (int method = -1; method <= 16; ++method) {
        EXPECT_EQ(GetPixelColorInterpolated(&byte, 0.5f, 0.5f, 0, 5, 4, method, 24), 0u) << method;
        EXPECT_EQ(GetPixelColorInterpolated(&byte, 0.5f, 0.5f, 5, 0, 4, method, 24), 0u) << method;
        EXPECT_EQ(GetPixelColorInterpolated(nullptr, -99.0f, 0.5f, 5, 5, 4, method, 24), 0x01000000u) << method;
    }
}

TEST_F(GeoSampling, MatchesTheReference) {
    test::RandomCases(300, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestWidth = 40, .largestHeight = 40});
        SCOPED_TRACE(test::Describe(image));
        const auto host = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        for (int k = 0; k < 100; ++k) {
            const auto position = [&](uint32_t size) {
                const int whole = random.Int(-8, static_cast<int>(size) + 8);
                const float fraction =
                    random.Pick({0.0f, 0.0f, 0.25f, 0.5f, 0.75f, 0.999f, static_cast<float>(random.Real(0.0, 1.0))});
                return static_cast<float>(whole) + fraction;
            };
            const float x = position(image.width), y = position(image.height);
            const int method = random.Int(0, 16);
            ASSERT_EQ(Sample(host, x, y, method), ref::GetPixelColorInterpolated(image, x, y, method))
                << std::hexfloat << "method " << method << " at " << x << ", " << y;
            const int column = random.Int(-3, static_cast<int>(image.width) + 2);
            const int row = random.Int(-3, static_cast<int>(image.height) + 2);
            ASSERT_EQ(Bilinear(host, column, row), ref::GetBilinearColor(image, column, row)) << column << ", " << row;
        }
    });
}

// A run of positions that rise or fall steadily, in and out of a range of `size` pixels.
std::vector<float> Walk(test::Random& random, uint32_t size, size_t count) {
    const float step =
        random.Chance(30) ? random.Pick({0.0f, 1.0f, -1.0f, 0.5f, 3.0f}) : static_cast<float>(random.Real(-1.5, 1.5));
    float next = random.Chance(30) ? static_cast<float>(random.Int(-10, static_cast<int>(size) + 9)) / 2.0f
                                   : static_cast<float>(random.Real(-9.0, size + 9.0));
    std::vector<float> positions(count);
    for (float& position : positions) {
        position = next;
        next += step;
    }
    return positions;
}

// Runs of positions at once, as the operations sample them.
TEST_F(GeoSampling, RunsOfPositionsMatchTheReference) {
    test::RandomCases(600, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestWidth = 60, .largestHeight = 40});
        SCOPED_TRACE(test::Describe(image));
        const auto host = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        const int method = random.Int(-1, 16);
        const vel::Sampler sampler(vel::ViewOf(host.Get()), method);
        const size_t count = static_cast<size_t>(random.Int(0, static_cast<int>(vel::Sampler::kRun)));
        const std::vector<float> x = Walk(random, image.width, count), y = Walk(random, image.height, count);
        std::vector<uint32_t> colours(count, 0xDEADBEEF);
        sampler.Sample(x.data(), y.data(), colours.data(), count);
        for (size_t k = 0; k < count; ++k) {
            ASSERT_EQ(colours[k], ref::GetPixelColorInterpolated(image, x[k], y[k], method))
                << std::hexfloat << "method " << method << " at " << x[k] << ", " << y[k] << ", number " << k;
        }
    });
}

TEST_F(GeoSampling, TruncatingRunsTakeThePixelAtTheTruncatedPosition) {
    test::RandomCases(200, [&](test::Random& random) {
        const ref::Image image = test::RandomImage(random, {.largestWidth = 60, .largestHeight = 40});
        const auto host = TestImage::New(image);
        const vel::Sampler sampler = vel::Sampler::Truncating(vel::ViewOf(host.Get()));
        const std::vector<float> x = Walk(random, image.width, 100), y = Walk(random, image.height, 100);
        std::vector<uint32_t> colours(100, 0xDEADBEEF);
        sampler.Sample(x.data(), y.data(), colours.data(), 100);
        for (size_t k = 0; k < 100; ++k) {
            ASSERT_EQ(colours[k], ref::GetPixelColor(image, ref::Truncated(x[k]), ref::Truncated(y[k])))
                << test::Describe(image) << " at " << x[k] << ", " << y[k];
        }
    });
}

// Rows of a grid: any columns, or whole ones, which take another way.
TEST_F(GeoSampling, GridsMatchTheReference) {
    test::RandomCases(400, [&](test::Random& random) {
        const ref::Image image =
            test::RandomImage(random, {.largestWidth = 60, .largestHeight = 40, .zeroSizes = false});
        SCOPED_TRACE(test::Describe(image));
        const auto host = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        const int method = random.Int(-1, 16);
        const uint32_t count = static_cast<uint32_t>(random.Int(1, 400));
        std::vector<float> columns = Walk(random, image.width, count), rows = Walk(random, image.height, 6);
        if (random.Chance(50)) {
            for (float& column : columns) column = std::floor(column);
        }
        const auto target = TestImage::New(ref::Created(count, 6, 1, image.bitsPerPixel, image.format));
        ref::Image expected = target->Content();
        vel::GridSampler sampler(vel::ViewOf(host.Get()), method, columns.data(), count);
        ASSERT_TRUE(sampler.Ready());
        for (uint32_t j = 0; j < 6; ++j) {
            sampler.SampleRow(rows[j], vel::ViewOf(target.Get()), j);
            for (uint32_t i = 0; i < count; ++i) {
                const uint32_t colour = ref::GetPixelColorInterpolated(image, columns[i], rows[j], method);
                ref::SetPixelColor(expected, i, j, colour);
            }
        }
        ASSERT_TRUE(test::SamePixels(expected, target)) << "method " << method;
    });
}

TEST_F(GeoSampling, SpansAreThoseOfAScan) {
    test::RandomCases(2000, [&](test::Random& random) {
        const size_t count = static_cast<size_t>(random.Int(0, 70));
        const std::vector<float> values = Walk(random, 30, count);
        const float low = static_cast<float>(random.Int(-5, 20)), high = low + static_cast<float>(random.Int(0, 25));
        const vel::Span hint{static_cast<size_t>(random.Int(0, 80)), static_cast<size_t>(random.Int(0, 80))};
        const auto span = vel::SpanBetween(
            count, [&](size_t k) { return values[k]; }, [&](float v) { return v < low; },
            [&](float v) { return v > high; }, hint);
        for (size_t k = 0; k < count; ++k) {
            ASSERT_EQ(k >= span.first && k < span.last, values[k] >= low && values[k] <= high)
                << k << " of " << count << ": " << values[k] << " in " << low << " to " << high;
        }
        ASSERT_LE(span.last, count);
    });
}

// Weights of every method at positions on a fine grid, seen through a single white pixel.
TEST_F(GeoSampling, EveryFractionOfEveryMethod) {
    const ref::Image image = Noise(24, 24, 32);
    const auto host = TestImage::New(image);
    for (int method = 0; method <= 15; ++method) {
        for (int k = 0; k <= 512; ++k) {
            const float x = 10.0f + static_cast<float>(k) / 256.0f, y = 12.0f - static_cast<float>(k) / 640.0f;
            ASSERT_EQ(Sample(host, x, y, method), ref::GetPixelColorInterpolated(image, x, y, method))
                << method << " " << k;
        }
    }
}

// Where a kernel's weights sum to 1 a flat area stays what it is, at the border too; truncation may take one.
TEST_F(GeoSampling, NormalisedKernelsKeepFlatAreas) {
    for (const int method : {2, 3, 4, 6, 7, 13, 14, 15}) {
        for (const float x : {0.0f, 0.3f, 4.0f, 4.5f, 4.9f, 8.7f}) {
            const uint32_t colour = Sample(Flat(10, 10, 24, 77), x, 4.25f, method);
            for (int c = 0; c < 3; ++c) {
                const int value = static_cast<int>(colour >> (8 * c) & 0xFF);
                EXPECT_TRUE(value == 77 || value == 76) << method << " at " << x << ": " << value;
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------

// J1 as printed in tables of Bessel functions.
TEST_F(GeoSampling, BesselAgainstPrintedTables) {
    const std::pair<float, double> table[] = {{0.5f, 0.2422684577},  {1.0f, 0.4400505857},  {2.0f, 0.5767248078},
                                              {3.0f, 0.3390589585},  {4.0f, -0.0660433280}, {5.0f, -0.3275791376},
                                              {6.0f, -0.2766838581}, {7.0f, -0.0046828235}, {8.0f, 0.2346363469},
                                              {9.0f, 0.2453117866},  {10.0f, 0.0434727462}, {15.0f, 0.2051040386},
                                              {20.0f, 0.0668331242}};
    for (const auto& [x, value] : table) {
        EXPECT_NEAR(KernelBessel_Order1(x), value, 2e-7) << x;
        EXPECT_EQ(KernelBessel_Order1(-x), -KernelBessel_Order1(x)) << x;
    }
    EXPECT_EQ(KernelBessel_Order1(0.0f), 0.0f);
    EXPECT_EQ(KernelBessel_Order1(-0.0f), 0.0f);
}

// The C library's j1 is a third party to both.
TEST_F(GeoSampling, BesselAgainstTheCLibrary) {
    for (int k = 1; k <= 40000; ++k) {
        const float x = static_cast<float>(k) / 512.0f;
        const double exact = j1(static_cast<double>(x));
        // Below 8 only the last conversion rounds; beyond, single-precision sines and sums do, on the wave's scale.
        const double allowed = x < 8.0f ? 1e-7 * std::fabs(exact) + 1e-15 : 1e-6 * std::sqrt(2.0 / (3.14159265 * x));
        ASSERT_NEAR(KernelBessel_Order1(x), exact, allowed) << x;
        ASSERT_EQ(KernelBessel_Order1(-x), -KernelBessel_Order1(x)) << x;
    }
}

TEST_F(GeoSampling, BesselMatchesTheReferenceBelow8) {
    for (float x = -7.999f; x < 8.0f; x += 0.00137f) {
        ASSERT_EQ(KernelBessel_Order1(x), ref::KernelBessel_Order1(x)) << x;
    }
    // 8 itself takes the asymptotic form, and the two forms meet there.
    EXPECT_NEAR(KernelBessel_Order1(8.0f), KernelBessel_Order1(std::nextafter(8.0f, 0.0f)), 1e-6);
    EXPECT_NEAR(KernelBessel_Order1(8.0f), ref::KernelBessel_Order1(8.0f), 1e-7);
}

// ---------------------------------------------------------------------------------------------------------------

TEST_F(GeoSampling, LineOfElevenPoints) {
    CBresenhamLineFPB line;
    line.Initialize(0, 0, 10, 0, 1);
    EXPECT_EQ(line.m_points, 11);
    EXPECT_EQ(line.m_xStep, 256);
    EXPECT_EQ(line.m_yStep, 0);
    EXPECT_EQ(line.m_x, 0);
    EXPECT_EQ(line.m_y, 0);
    line.Initialize(0, 0, 10, 0, 0.5);
    EXPECT_EQ(line.m_points, 21);
    EXPECT_EQ(line.m_xStep, 128);
}

TEST_F(GeoSampling, LineWithoutLengthKeepsItsSteps) {
    CBresenhamLineFPB line;
    line.m_xStep = 7;
    line.m_yStep = -9;
    line.Initialize(1.25, 2.5, 1.25, 2.5, 1);
    EXPECT_EQ(line.m_xStep, 7);
    EXPECT_EQ(line.m_yStep, -9);
    EXPECT_EQ(line.m_x, 320);
    EXPECT_EQ(line.m_y, 640);
    EXPECT_EQ(line.m_points, 1);
    const CBresenhamLineFPB fresh;
    EXPECT_EQ(fresh.m_xStep, 0);
    EXPECT_EQ(fresh.m_yStep, 0);
}

TEST_F(GeoSampling, LineStepsAreTruncatedTowardsZero) {
    CBresenhamLineFPB line;
    line.Initialize(-1.3, 0.7, -4.3, 0.7, 1);
    EXPECT_EQ(line.m_xStep, -255);  // -256 + 0.5
    EXPECT_EQ(line.m_x, -332);      // -332.8 + 0.5
}

TEST_F(GeoSampling, LineIsFiveIntegers) { EXPECT_EQ(sizeof(CBresenhamLineFPB), 5 * sizeof(int32_t)); }

TEST_F(GeoSampling, LinesMatchTheReference) {
    test::RandomCases(2000, [&](test::Random& random) {
        const double x0 = random.Real(-3000, 3000), y0 = random.Int(-3000, 3000), x1 = random.Real(-3000, 3000),
                     y1 = random.Chance(20) ? y0 : random.Real(-3000, 3000), step = random.Real(0.01, 50);
        CBresenhamLineFPB line;
        ref::LineStepper expected;
        line.Initialize(x0, y0, x1, y1, step);
        expected.Initialize(x0, y0, x1, y1, step);
        EXPECT_EQ(line.m_x, expected.x);
        EXPECT_EQ(line.m_y, expected.y);
        EXPECT_EQ(line.m_xStep, expected.xStep);
        EXPECT_EQ(line.m_yStep, expected.yStep);
        EXPECT_EQ(line.m_points, expected.points);
    });
}

TEST_F(GeoSampling, BlendOfFourPixels) {
    const unsigned char last[] = {0, 0, 0, 255}, all[] = {100, 20, 60, 7}, same[] = {9, 9, 9, 200};
    EXPECT_EQ(CBresenhamLineFPB::InterpolateCB(128, 128, last, 2, 1), 64);
    EXPECT_EQ(CBresenhamLineFPB::InterpolateCB(0, 0, last, 2, 1), 0);
    // On a pixel the blend is half that pixel and a quarter of each neighbour on its row and column.
    EXPECT_EQ(CBresenhamLineFPB::InterpolateCB(0, 0, all, 2, 1), 70);
    EXPECT_EQ(CBresenhamLineFPB::InterpolateCB(0, 0, same, 2, 1), 9);
    EXPECT_EQ(CBresenhamLineFPB::InterpolateCB(128, 128, all, 2, 0), 0);
    EXPECT_EQ(CBresenhamLineFPB::InterpolateCB(128, 128, all, 2, -4), 0);
}

TEST_F(GeoSampling, BlendsMatchTheReference) {
    test::Random random(9);
    for (const uint32_t depth : {8u, 16u, 24u, 32u}) {
        const ref::Image image = test::RandomImage(random, 6, 5, 1, depth, ref::kBgr);
        const unsigned char* bits = image.store[0].data() + image.Position(0, 0);
        const int bytes = static_cast<int>(depth / 8);
        for (int y = 0; y < 4 * 256; y += 13) {
            for (int x = 0; x < 5 * 256; x += 7) {
                const uint32_t blend =
                    static_cast<uint32_t>(CBresenhamLineFPB::InterpolateCB(x, y, bits, image.stride, bytes));
                ASSERT_EQ(blend, ref::InterpolateCB(image, x, y, depth / 8)) << x << ", " << y;
            }
        }
    }
}

}  // namespace
