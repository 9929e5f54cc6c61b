// Transform, TransformPaste and FillVoids.
#include <cmath>
#include <limits>

#include "support/Geometry.h"

namespace {

using test::TestImage;
using test::TestMapping;

class GeoWarp : public test::GeometryTest {
protected:
    SmartPtr<TestImage> Warped(ITransform* mapping, const SmartPtr<TestImage>& source, int x0, int y0, uint32_t width,
                               uint32_t height) const {
        IVEL* out = nullptr;
        EXPECT_EQ(transform->Transform(mapping, source.Get(), &out, x0, y0, width, height, 7, -7), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        return Handed(out);
    }
    void Paste(ITransform* mapping, const SmartPtr<TestImage>& source, const SmartPtr<TestImage>& destination, int dx,
               int dy, short markVoids) const {
        EXPECT_EQ(transform->TransformPaste(mapping, source.Get(), destination.Get(), dx, dy, markVoids, 7), S_OK);
        EXPECT_EQ(source->Count(), 1u);
        EXPECT_EQ(destination->Count(), 1u);
    }
    ref::Image Filled(const ref::Image& image) const {
        const auto filled = TestImage::New(image);
        EXPECT_EQ(FillVoids(filled.Get()), S_OK);
        return filled->Content();
    }
};

struct NamedMapping {
    std::string name;
    ref::Mapping map;
};

// Identities, affine maps and maps that give anything.
NamedMapping RandomMapping(test::Random& random, double reach) {
    const int kind = random.Int(0, 5);
    if (kind == 0) return {"identity", [](double&, double&, double&) {}};
    if (kind == 1) {
        const double dx = random.Int(-5, 5), dy = random.Int(-5, 5);
        return {"shift", [=](double& x, double& y, double&) { x += dx, y += dy; }};
    }
    if (kind == 2 || kind == 3) {
        double m[6];
        for (double& value : m) value = random.Real(-1.5, 1.5);
        m[2] *= reach, m[5] *= reach;
        return {"affine",
                [a = m[0], b = m[1], c = m[2], d = m[3], e = m[4], f = m[5]](double& x, double& y, double& z) {
                    const double u = a * x + b * y + c;
                    y = d * x + e * y + f;
                    x = u;
                    z = u;
                }};
    }
    if (kind == 4) {
        const double k = random.Real(0.2, 3.0);
        return {"halves", [=](double& x, double& y, double&) { x = std::floor(x * k) + 0.5, y = std::floor(y) - 0.5; }};
    }
    const uint64_t seed = random.Bits();
    return {"wild", [=](double& x, double& y, double&) {
                // Depends on the point alone, so that both sides are given the same.
                test::Random own(seed ^ static_cast<uint64_t>(static_cast<int64_t>(x * 7919 + y * 104729)));
                const auto wild = [&] {
                    return own.Chance(60)
                               ? own.Real(-2.0, reach + 2.0)
                               : own.Pick({std::nan(""), 1e300, -1e300, std::numeric_limits<double>::infinity(),
                                           -std::numeric_limits<double>::infinity(), -0.0, -0.25, -0.5, 2147483647.5,
                                           -2147483648.5, 4294967296.0});
                };
                x = wild();
                y = wild();
            }};
}

// ---------------------------------------------------------------------------------------------------------------

TEST_F(GeoWarp, NoSizeOrTooLargeASizeIsTheSources) {
    const auto source = TestImage::New(test::GreyImage({{1, 2, 3}, {4, 5, 6}}));
    for (const uint32_t size : {0u, 70000u, 65536u, 0xFFFFFFFFu}) {
        EXPECT_TRUE(test::SamePixels(source->Content(), Warped(identity.Get(), source, 0, 0, size, size)));
    }
    EXPECT_EQ(Warped(identity.Get(), source, 0, 0, 65535, 1)->Content().width, 65535u);
}

TEST_F(GeoWarp, OffsetShiftsTheSourceAndLeavesABackground) {
    test::Random random(1);
    for (const auto& [depth, format, background] :
         {std::tuple{8u, ref::kMono, 0u}, std::tuple{24u, ref::kBgr, 0u}, std::tuple{32u, ref::kArgb, 0xFF000000u},
          std::tuple{32u, ref::kAbgr, 0xFF000000u}, std::tuple{32u, ref::kBgr, 0u}, std::tuple{32u, 0u, 0u}}) {
        ref::Image image(25, 3, 1, depth, format);
        for (uint8_t& byte : image.store[0]) byte = random.Byte();
        const auto result = Warped(identity.Get(), TestImage::New(image), 10, 0, 0, 0);
        EXPECT_EQ(result->log->filled, (std::vector<uint32_t>{background}));
        const ref::Image shifted = result->Content();
        for (int64_t y = 0; y < 3; ++y) {
            for (int64_t x = 0; x < 25; ++x) {
                EXPECT_EQ(ref::GetPixelColor(shifted, x, y),
                          x < 15 ? ref::GetPixelColor(image, x + 10, y) : background);
            }
        }
    }
}

TEST_F(GeoWarp, PointsAreTruncatedAndNegativeOnesAreOutside) {
    const auto source = TestImage::New(test::GreyImage({{11, 12}, {21, 22}}));
    const auto at = [&](double px, double py) {
        const auto mapping = TestMapping::New([=](double& x, double& y, double&) { x = px, y = py; });
        return Warped(mapping.Get(), source, 0, 0, 1, 1)->Content().Get(0, 0);
    };
    EXPECT_EQ(at(-0.5, 1), 0);
    EXPECT_EQ(at(0.9, 1), 21);
    EXPECT_EQ(at(1.999, 0.999), 12);
    EXPECT_EQ(at(2, 0), 0);
    EXPECT_EQ(at(0, 2), 0);
    EXPECT_EQ(at(-0.0, -0.0), 11);
    EXPECT_EQ(at(-1e-300, 0), 0);
    EXPECT_EQ(at(std::nan(""), 0), 0);
    EXPECT_EQ(at(0, std::nan("")), 0);
    EXPECT_EQ(at(std::numeric_limits<double>::infinity(), 0), 0);
}

TEST_F(GeoWarp, TransformAsksForEveryPixelInOrder) {
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const auto source = TestImage::New(ref::Image(4, 3, 1, depth, ref::kBgr));
        const auto mapping = TestMapping::New([](double& x, double& y, double& z) { x = y = z = 1e9; });
        mapping->answer = E_FAIL;  // is not looked at
        Warped(mapping.Get(), source, -3, 2000000000, 5, 2);
        std::vector<TestMapping::Point> expected;
        for (int j = 0; j < 2; ++j) {
            for (int i = 0; i < 5; ++i) expected.push_back({i - 3.0, j + 2000000000.0, 0.0});
        }
        EXPECT_EQ(mapping->points, expected);
        EXPECT_EQ(mapping->Count(), 1u);
    }
}

TEST_F(GeoWarp, OffsetsAtTheEndOfTheirRange) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}, {3, 4}}));
    Warped(identity.Get(), source, INT32_MAX, INT32_MIN, 2, 2);
    EXPECT_EQ(identity->points, (std::vector<TestMapping::Point>{{2147483647.0, -2147483648.0, 0},
                                                                 {2147483648.0, -2147483648.0, 0},
                                                                 {2147483647.0, -2147483647.0, 0},
                                                                 {2147483648.0, -2147483647.0, 0}}));
}

TEST_F(GeoWarp, OtherDepthsHoldTheBackgroundOnly) {
    test::Random random(2);
    for (const uint32_t depth : {1u, 4u, 16u}) {
        const auto source = TestImage::New(test::RandomImage(random, 9, 4, 1, depth, ref::kArgb));
        const auto result = Warped(identity.Get(), source, 0, 0, 0, 0);
        EXPECT_EQ(result->log->filled, (std::vector<uint32_t>{0}));
        EXPECT_TRUE(identity->points.empty());
    }
}

TEST_F(GeoWarp, TransformMatchesTheReference) {
    test::RandomCases(400, [&](test::Random& random) {
        const ref::Image image =
            test::RandomImage(random, {.largestWidth = 70, .largestHeight = 50, .largestPlanes = 3});
        UseRandomRecipe(random);
        const NamedMapping named = RandomMapping(random, image.width);
        const auto mapping = TestMapping::New(named.map);
        const int x0 = random.Int(-10, 10), y0 = random.Int(-10, 10);
        const auto size = [&] { return random.Chance(50) ? 0 : test::RandomSize(random, 70); };
        const uint32_t width = size(), height = size();
        SCOPED_TRACE(test::Describe(image));
        SCOPED_TRACE(testing::Message() << named.name << ", offset " << x0 << ", " << y0 << ", " << width << " x "
                                        << height);
        std::vector<TestMapping::Point> asked;
        const ref::Mapping recording = [&](double& x, double& y, double& z) {
            asked.push_back({x, y, z});
            named.map(x, y, z);
        };
        const auto source = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        const ref::Outcome expected = ref::Transform(recording, image, x0, y0, width, height, host);
        if (expected.image) {
            EXPECT_TRUE(test::SameBytes(*expected.image, Warped(mapping.Get(), source, x0, y0, width, height)));
        } else {
            IVEL* out = nullptr;
            EXPECT_EQ(transform->Transform(mapping.Get(), source.Get(), &out, x0, y0, width, height, 0, 0),
                      expected.code);
            EXPECT_EQ(out, nullptr);
        }
        EXPECT_EQ(mapping->points, asked);
        EXPECT_TRUE(test::SameBytes(image, source));
    });
}

TEST_F(GeoWarp, LargeImages) {
    test::Random random(6);
    const ref::Mapping turn = [](double& x, double& y, double&) {
        const double u = 0.98 * x - 0.199 * y + 9.7;
        y = 0.199 * x + 0.98 * y - 30.2;
        x = u;
    };
    const auto mapping = TestMapping::New(turn);
    for (const uint32_t depth : {8u, 24u, 32u}) {
        ref::Image image(700, 90, 1, depth, ref::kArgb), canvas(710, 120, 1, depth, ref::kArgb);
        for (uint8_t& byte : image.store[0]) byte = random.Byte();
        const auto source = TestImage::New(image, 1);
        EXPECT_TRUE(test::SameBytes(*ref::Transform(turn, image, -3, 4, 900, 100, host).image,
                                    Warped(mapping.Get(), source, -3, 4, 900, 100)));
        for (const short marks : {0, 1}) {
            const auto destination = TestImage::New(canvas);
            ref::Image expected = canvas;
            ref::TransformPaste(turn, image, expected, 5, -6, marks);
            Paste(mapping.Get(), source, destination, 5, -6, marks);
            EXPECT_TRUE(test::SameBytes(expected, destination));
        }
    }
}

TEST_F(GeoWarp, EmptySourcesFailBeforeAnythingIsMade) {
    IVEL* out = nullptr;
    for (const auto& [width, height] : {std::pair{0u, 5u}, std::pair{5u, 0u}, std::pair{0u, 0u}}) {
        const auto source = TestImage::New(ref::Image(width, height, 1, 24, ref::kBgr));
        EXPECT_EQ(transform->Transform(identity.Get(), source.Get(), &out, 0, 0, 4, 4, 0, 0), E_FAIL);
    }
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(collection->images.empty());
    EXPECT_TRUE(identity->points.empty());
}

TEST_F(GeoWarp, ExceptionsOfTheMappingPassAndLeakNothing) {
    test::Random random(3);
    // The first image leaves behind what the module keeps.
    Warped(identity.Get(), TestImage::New(test::GreyImage({{1}})), 0, 0, 0, 0);
    const int alive = test::LiveObjects();
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const auto source = TestImage::New(test::RandomImage(random, 6, 5, 1, depth, ref::kBgr));
        const auto destination = TestImage::New(test::RandomImage(random, 6, 5, 1, depth, ref::kBgr));
        for (const int call : {0, 1, 17, 23}) {
            const auto mapping = TestMapping::New([](double&, double&, double&) {});
            mapping->throwAt = call;
            IVEL* out = nullptr;
            EXPECT_THROW(transform->Transform(mapping.Get(), source.Get(), &out, 0, 0, 0, 0, 0, 0), test::HostError);
            EXPECT_EQ(out, nullptr);
            EXPECT_EQ(mapping->points.size(), static_cast<size_t>(call) + 1);
            for (const short marks : {0, 1}) {
                mapping->points.clear();
                EXPECT_THROW(transform->TransformPaste(mapping.Get(), source.Get(), destination.Get(), 0, 0, marks, 0),
                             test::HostError);
                EXPECT_EQ(mapping->points.size(), static_cast<size_t>(call) + 1);
            }
            EXPECT_EQ(mapping->Count(), 1u);
        }
        EXPECT_EQ(source->Count(), 1u);
        EXPECT_EQ(destination->Count(), 1u);
        EXPECT_EQ(test::LiveObjects(), alive + 2);  // source and destination
    }
}

TEST_F(GeoWarp, TransformResultCodes) {
    const auto source = TestImage::New(test::GreyImage({{1, 2}, {3, 4}}));
    IVEL* out = nullptr;
    EXPECT_EQ(transform->Transform(identity.Get(), nullptr, &out, 0, 0, 0, 0, 0, 0), E_FAIL);
    EXPECT_LT(transform->Transform(nullptr, source.Get(), &out, 0, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(out, nullptr);
    collection->refuseImages = true;
    EXPECT_EQ(transform->Transform(identity.Get(), source.Get(), &out, 0, 0, 0, 0, 0, 0), E_FAIL);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(source->Count(), 1u);
}

// ---------------------------------------------------------------------------------------------------------------

TEST_F(GeoWarp, EightBitPasteNeverPastesTheLastColumn) {
    const auto source = TestImage::New(test::GreyImage({{1, 2, 3}, {4, 5, 6}}));
    const auto destination = TestImage::New(test::GreyImage({{9, 9, 9}, {9, 9, 9}}));
    Paste(identity.Get(), source, destination, 0, 0, 0);
    EXPECT_TRUE(test::SameBytes(test::GreyImage({{1, 2, 2}, {4, 5, 5}}), destination));
    // A single column pastes nothing.
    const auto column = TestImage::New(test::GreyImage({{7}, {7}}));
    Paste(identity.Get(), column, destination, 0, 0, 0);
    EXPECT_TRUE(test::SameBytes(test::GreyImage({{1, 2, 2}, {4, 5, 5}}), destination));
}

TEST_F(GeoWarp, EightBitPasteSmearsRightAndDown) {
    const auto source = TestImage::New(test::GreyImage({{5, 0}}));
    const auto destination = TestImage::New(test::GreyImage({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}));
    Paste(identity.Get(), source, destination, 1, 1, 1);
    EXPECT_TRUE(test::SameBytes(test::GreyImage({{1, 1, 1}, {1, 5, 5}, {1, 5, 1}}), destination));
}

TEST_F(GeoWarp, ColourPasteSmearsBackToThePreviousColumn) {
    // Columns 1 and 4 of a row: the second pixel fills columns 4, 3, 2 of its row and the next.
    const auto source = TestImage::New(test::ImageOf(2, 24, ref::kBgr, {{1, 2, 3, 4, 5, 6}}));
    const auto mapping = TestMapping::New([](double& x, double& y, double&) { x = 3 * x + 1, y = 1; });
    const auto destination = TestImage::New(ref::Image(6, 4, 1, 24, ref::kBgr));
    Paste(mapping.Get(), source, destination, 0, 0, 0);
    ref::Image expected(6, 4, 1, 24, ref::kBgr);
    ref::SetPixelColor(expected, 1, 1, 0x030201);
    for (int64_t x = 2; x <= 4; ++x) {
        for (int64_t y = 1; y <= 2; ++y) ref::SetPixelColor(expected, x, y, 0x060504);
    }
    EXPECT_TRUE(test::SameBytes(expected, destination));
}

TEST_F(GeoWarp, ColourPasteMarksThenFills) {
    // One pixel with a zero channel in a ring of pixels; the void beside it has three neighbours in blue only.
    const auto source = TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{0, 7, 0}}));
    ref::Image canvas(3, 3, 1, 24, ref::kBgr);
    for (const auto& [x, y, colour] :
         {std::tuple{1, 0, 0x010014}, std::tuple{2, 1, 0x00001E}, std::tuple{1, 2, 0x010000}}) {
        ref::SetPixelColor(canvas, x, y, static_cast<uint32_t>(colour));
    }
    const auto destination = TestImage::New(canvas);
    Paste(identity.Get(), source, destination, 0, 1, 1);
    ref::SetPixelColor(canvas, 0, 1, 0x010701);
    // Blue 20, 30, 1 around it; red 1, 1, 1; green 7 only.
    ref::SetPixelColor(canvas, 1, 1, 0x010011);
    EXPECT_TRUE(test::SameBytes(canvas, destination));
}

TEST_F(GeoWarp, WordPasteMarksBlackInTheLowestBit) {
    const auto source = TestImage::New(test::ImageOf(3, 32, ref::kArgb, {{0, 0, 0, 9, 0, 1, 0, 0, 0, 0, 0, 0}}));
    const auto destination = TestImage::New(ref::Image(3, 1, 1, 32, ref::kArgb));
    Paste(identity.Get(), source, destination, 0, 0, 1);
    EXPECT_TRUE(test::SameBytes(test::ImageOf(3, 32, ref::kArgb, {{1, 0, 0, 9, 0, 1, 0, 0, 1, 0, 0, 0}}), destination));
}

TEST_F(GeoWarp, PasteRoundsHalvesUpward) {
    const auto source = TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{1, 2, 3}}));
    const auto column = [&](double px, int dx) {
        const auto mapping = TestMapping::New([=](double& x, double&, double&) { x = px; });
        const auto destination = TestImage::New(ref::Image(4, 1, 1, 24, ref::kBgr));
        Paste(mapping.Get(), source, destination, dx, 0, 0);
        for (int64_t x = 0; x < 4; ++x) {
            if (ref::GetPixelColor(destination->Content(), x, 0)) return static_cast<int>(x);
        }
        return -1;
    };
    EXPECT_EQ(column(0.5, 0), 1);
    EXPECT_EQ(column(0.49, 0), 0);
    EXPECT_EQ(column(-0.5, 0), 0);
    EXPECT_EQ(column(-0.51, 0), -1);
    EXPECT_EQ(column(3.49, 0), 3);
    EXPECT_EQ(column(3.5, 0), -1);
    EXPECT_EQ(column(-1.5, 2), 1);
    EXPECT_EQ(column(1e18, 0), -1);
    EXPECT_EQ(column(std::nan(""), 0), -1);
}

TEST_F(GeoWarp, PasteAsksForEveryPastedPixelInOrder) {
    for (const uint32_t depth : {8u, 24u, 32u}) {
        const auto source = TestImage::New(ref::Image(3, 2, 1, depth, ref::kBgr));
        const auto destination = TestImage::New(ref::Image(3, 2, 1, depth, ref::kBgr));
        const auto mapping = TestMapping::New([](double& x, double& y, double& z) { x = y = z = -1e9; });
        mapping->answer = E_FAIL;
        Paste(mapping.Get(), source, destination, 100, 100, 0);
        std::vector<TestMapping::Point> expected;
        for (int j = 0; j < 2; ++j) {
            for (int i = 0; i < (depth == 8 ? 2 : 3); ++i) {
                expected.push_back({static_cast<double>(i), static_cast<double>(j), 0.0});
            }
        }
        EXPECT_EQ(mapping->points, expected) << depth;
    }
}

TEST_F(GeoWarp, PasteMatchesTheReference) {
    test::RandomCases(500, [&](test::Random& random) {
        const uint32_t depth = random.Pick({8u, 24u, 32u, 8u, 24u, 32u, 16u, 4u});
        const short marks = static_cast<short>(random.Pick({0, 0, 1, -1, 256}));
        test::ImageChoice choice{.depths = {depth}, .largestWidth = 50, .largestHeight = 40};
        ref::Image image = test::RandomImage(random, choice), canvas = test::RandomImage(random, choice);
        // Zeros are what voids are about.
        for (ref::Image* each : {&image, &canvas}) {
            for (uint8_t& byte : each->store[0]) byte = random.Chance(50) ? 0 : byte;
        }
        const NamedMapping named = RandomMapping(random, canvas.width);
        const auto mapping = TestMapping::New(named.map);
        const int dx = random.Int(-6, 6), dy = random.Int(-6, 6);
        // Rows of whole words where the filling pass and the pasting could differ about them.
        if (depth == 32 && marks != 0) {
            if (image.stride % 4 != 0 || canvas.stride % 4 != 0) return;
        }
        SCOPED_TRACE(test::Describe(image) + " onto " + test::Describe(canvas));
        SCOPED_TRACE(testing::Message() << named.name << ", offset " << dx << ", " << dy << ", marks " << marks);
        const auto source = TestImage::New(image), destination = TestImage::New(canvas);
        Paste(mapping.Get(), source, destination, dx, dy, marks);
        ref::TransformPaste(named.map, image, canvas, dx, dy, marks);
        EXPECT_TRUE(test::SameBytes(canvas, destination));
        EXPECT_TRUE(test::SameBytes(image, source));
    });
}

TEST_F(GeoWarp, PasteOntoAnotherDepthStaysInside) {
    test::RandomCases(100, [&](test::Random& random) {
        const auto source = TestImage::New(test::RandomImage(random, {.largestWidth = 40}));
        const auto destination = TestImage::New(test::RandomImage(random, {.largestWidth = 40}));
        const auto mapping = TestMapping::New(RandomMapping(random, 40).map);
        Paste(mapping.Get(), source, destination, 0, 0, static_cast<short>(random.Int(0, 1)));
        EXPECT_TRUE(destination->GuardsIntact());
    });
}

// Every pixel sees what the earlier ones have written.
TEST_F(GeoWarp, PasteOfAnImageIntoItself) {
    test::Random random(4);
    for (const uint32_t depth : {8u, 24u, 32u}) {
        for (const short marks : {0, 1}) {
            ref::Image picture(20, 9, 1, depth, ref::kArgb);
            for (uint8_t& byte : picture.store[0]) byte = random.Chance(40) ? 0 : random.Byte();
            const auto image = TestImage::New(picture);
            Paste(identity.Get(), image, image, 2, 1, marks);
            ref::TransformPaste([](double&, double&, double&) {}, picture, picture, 2, 1, marks);
            EXPECT_TRUE(test::SameBytes(picture, image)) << depth << ", marks " << marks;
        }
    }
}

TEST_F(GeoWarp, PasteWithoutImagesDoesNothing) {
    const ref::Image before = test::GreyImage({{1, 2}, {3, 4}});
    const auto image = TestImage::New(before);
    transform->TransformPaste(nullptr, image.Get(), image.Get(), 0, 0, 0, 0);
    transform->TransformPaste(identity.Get(), nullptr, image.Get(), 0, 0, 0, 0);
    transform->TransformPaste(identity.Get(), image.Get(), nullptr, 0, 0, 0, 0);
    transform->TransformPaste(nullptr, nullptr, nullptr, 0, 0, 0, 0);
    EXPECT_TRUE(test::SameBytes(before, image));
    EXPECT_EQ(image->Count(), 1u);
}

// ---------------------------------------------------------------------------------------------------------------

TEST_F(GeoWarp, VoidOfEightBitsBecomesTheMean) {
    EXPECT_TRUE(test::SameBytes(test::GreyImage({{0, 10, 0}, {20, 25, 30}, {0, 40, 0}}),
                                Filled(test::GreyImage({{0, 10, 0}, {20, 0, 30}, {0, 40, 0}}))));
    // One neighbour is enough; none leaves the void.
    EXPECT_TRUE(test::SameBytes(test::GreyImage({{0, 0, 0}, {7, 7, 0}, {0, 0, 0}}),
                                Filled(test::GreyImage({{0, 0, 0}, {7, 0, 0}, {0, 0, 0}}))));
    EXPECT_TRUE(test::SameBytes(test::GreyImage({{5, 0, 5}, {0, 0, 0}, {5, 0, 5}}),
                                Filled(test::GreyImage({{5, 0, 5}, {0, 0, 0}, {5, 0, 5}}))));
}

TEST_F(GeoWarp, VoidOf24BitsNeedsThreeNeighbours) {
    ref::Image image(3, 3, 1, 24, ref::kBgr);
    // Left, right, below, above: blue has one zero, green two, red none.
    ref::SetPixelColor(image, 0, 1, 0x0A0A0A);
    ref::SetPixelColor(image, 2, 1, 0x140014);
    ref::SetPixelColor(image, 1, 2, 0x1E1E00);
    ref::SetPixelColor(image, 1, 0, 0x28000F);
    ref::Image expected = image;
    ref::SetPixelColor(expected, 1, 1, 0x19000F);  // red 100 / 4, blue (10 + 20 + 15) / 3
    EXPECT_TRUE(test::SameBytes(expected, Filled(image)));
}

TEST_F(GeoWarp, VoidOf32BitsSumsWholeWords) {
    for (const uint32_t format : {ref::kArgb, ref::kAbgr, ref::kBgr, ref::kMono}) {
        const bool alpha = format == ref::kArgb || format == ref::kAbgr;
        ref::Image image(3, 3, 1, 32, format);
        image.PutWord(1, 0, 0xFF0000FF);
        image.PutWord(1, 8, 0xFF000003);
        image.PutWord(2, 4, 0x80FFFFFF);
        ref::Image expected = image;
        // Three words: carries pass between channels, and without an alpha channel the sum wraps and is signed.
        const uint32_t sum = alpha ? 0x000000FFu + 0x00000003u + 0x00FFFFFFu : 0xFF0000FFu + 0xFF000003u + 0x80FFFFFFu;
        const uint32_t mean = static_cast<uint32_t>(static_cast<int32_t>(sum) / 3) | (alpha ? 0xFF000000u : 0u);
        expected.PutWord(1, 4, mean);
        EXPECT_TRUE(test::SameBytes(expected, Filled(image)));
    }
}

TEST_F(GeoWarp, FilledVoidsCountForTheNextOnes) {
    EXPECT_TRUE(
        test::SameBytes(test::GreyImage({{0, 0, 0, 0, 0}, {8, 8, 8, 8, 0}, {0, 8, 8, 8, 0}, {0, 0, 0, 0, 0}}),
                        Filled(test::GreyImage({{0, 0, 0, 0, 0}, {8, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}}))));
}

TEST_F(GeoWarp, SmallImagesHaveNoInterior) {
    for (const auto& [width, height] : {std::pair{2u, 9u}, std::pair{1u, 9u}, std::pair{9u, 1u}, std::pair{9u, 2u},
                                        std::pair{0u, 9u}, std::pair{9u, 0u}}) {
        for (const uint32_t depth : {8u, 24u, 32u}) {
            test::Random random(width + 10 * height);
            ref::Image image = test::RandomImage(random, width, height, 1, depth, ref::kArgb);
            for (uint8_t& byte : image.store[0]) byte = random.Chance(50) ? 0 : byte;
            EXPECT_TRUE(test::SameBytes(image, Filled(image)));
        }
    }
}

TEST_F(GeoWarp, FillVoidsResultCodes) {
    test::Random random(5);
    for (const uint32_t depth : {1u, 4u, 16u, 48u}) {
        const ref::Image image = test::RandomImage(random, 9, 9, 1, depth, ref::kBgr);
        const auto same = TestImage::New(image);
        EXPECT_EQ(FillVoids(same.Get()), E_FAIL);
        EXPECT_TRUE(test::SameBytes(image, same));
    }
    EXPECT_EQ(FillVoids(nullptr), E_FAIL);
}

TEST_F(GeoWarp, FillVoidsMatchesTheReference) {
    test::RandomCases(400, [&](test::Random& random) {
        ref::Image image = test::RandomImage(random, {.depths = {8, 24, 32}, .largestHeight = 60});
        const int zeros = random.Pick({5, 50, 90, 100});
        const int64_t size = image.bitsPerPixel == 32 ? 4 : 1;
        for (size_t i = 0; i + static_cast<size_t>(size) <= image.store[0].size(); i += static_cast<size_t>(size)) {
            if (!random.Chance(zeros)) continue;
            for (int64_t b = 0; b < size; ++b) image.store[0][i + static_cast<size_t>(b)] = 0;
        }
        SCOPED_TRACE(test::Describe(image));
        const auto filled = TestImage::New(image, static_cast<size_t>(random.Int(0, 9)));
        EXPECT_EQ(FillVoids(filled.Get()), S_OK);
        ref::FillVoids(image);
        EXPECT_TRUE(test::SameBytes(image, filled));
    });
}

}  // namespace
