// One pixel read or written, at any depth, in and around the image.
#include "Module.h"
#include "VELMathsHelpers.h"
#include "reference/Pixel.h"
#include "support/Images.h"

namespace {

using test::ImageOf;
using test::TestImage;

// The calls with an image's own size, rows and depth.
uint32_t Read(const SmartPtr<TestImage>& image, int x, int y) {
    const vel::ImageView view = vel::ViewOf(image.Get());
    return GetPixelColor(view.bits, x, y, static_cast<int>(view.width), static_cast<int>(view.height), view.stride,
                         static_cast<int>(view.bitsPerPixel));
}
void Write(const SmartPtr<TestImage>& image, int x, int y, uint32_t colour) {
    const vel::ImageView view = vel::ViewOf(image.Get());
    SetPixelColor(view.bits, x, y, static_cast<int>(view.width), static_cast<int>(view.height), view.stride,
                  vel::QuadOf(colour), static_cast<int>(view.bitsPerPixel));
}

TEST(PixelAccess, TheDefaultPaletteIsAGreyRamp) {
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(DefaultPalette[i].rgbBlue, i);
        EXPECT_EQ(DefaultPalette[i].rgbGreen, i);
        EXPECT_EQ(DefaultPalette[i].rgbRed, i);
        EXPECT_EQ(DefaultPalette[i].rgbReserved, 0);
    }
}

TEST(PixelAccess, AReadLeftOfTheImageIsTheFirstPixelMarkedAsOutside) {
    const auto image = TestImage::New(ImageOf(2, 24, ref::kBgr, {{10, 20, 30, 40, 50, 60}}));
    EXPECT_EQ(Read(image, -1, 0), 0x011E140Au);
    for (const auto& [x, y] : {std::pair{2, 0}, {0, 1}, {0, -1}, {INT32_MAX, INT32_MAX}, {INT32_MIN, INT32_MIN}}) {
        EXPECT_EQ(Read(image, x, y), 0x011E140Au);
    }
    EXPECT_EQ(Read(image, 1, 0), 0x003C3228u);
}

TEST(PixelAccess, OutsideAlphaReplacesTheAlphaOfA32BitPixel) {
    const auto image = TestImage::New(ImageOf(1, 32, ref::kBgr, {{10, 20, 30, 200}}));
    EXPECT_EQ(Read(image, 0, 0), 0xC81E140Au);
    EXPECT_EQ(Read(image, 1, 0), 0x011E140Au);
}

TEST(PixelAccess, WithoutABufferTheOutsideIs0x01000000AndWithWidth0Or_Height0TheColourIs0) {
    for (const int depth : {1, 4, 8, 16, 24, 32}) {
        EXPECT_EQ(GetPixelColor(nullptr, -1, 0, 5, 5, 20, depth), 0x01000000u);
        EXPECT_EQ(GetPixelColor(nullptr, 2, 2, 5, 5, 20, depth), 0x01000000u);
        EXPECT_EQ(GetPixelColor(nullptr, 0, 0, 0, 5, 20, depth), 0u);
        EXPECT_EQ(GetPixelColor(nullptr, 0, 0, 5, 0, 20, depth), 0u);
        unsigned char buffer[16] = {};
        EXPECT_EQ(GetPixelColor(buffer, 0, 0, 0, 5, 4, depth), 0u);
        EXPECT_EQ(GetPixelColor(buffer, 0, 0, 5, 0, 4, depth), 0u);
    }
}

TEST(PixelAccess, AnEightBitPixelOf200ReadsAsGreyWithAlpha0) {
    const auto image = TestImage::New(ImageOf(1, 8, ref::kMono, {{200}}));
    EXPECT_EQ(Read(image, 0, 0), 0x00C8C8C8u);
    for (int v = 0; v < 256; ++v) {
        const auto one = TestImage::New(ImageOf(1, 8, ref::kMono, {{v}}));
        EXPECT_EQ(Read(one, 0, 0), static_cast<uint32_t>(v) * 0x010101u);
    }
}

TEST(PixelAccess, AOneBitByteOf0x80ReadsAsIndex1ThenIndex0) {
    const auto image = TestImage::New(ImageOf(8, 1, ref::kMono, {{0x80}}));
    EXPECT_EQ(Read(image, 0, 0), 0x00010101u);
    for (int x = 1; x < 8; ++x) EXPECT_EQ(Read(image, x, 0), 0u);
}

TEST(PixelAccess, AnEvenPixelOf4BitsIsInTheHighNibble) {
    const auto image = TestImage::New(ImageOf(2, 4, ref::kMono, {{0xA3}}));
    EXPECT_EQ(Read(image, 0, 0), 0x000A0A0Au);
    EXPECT_EQ(Read(image, 1, 0), 0x00030303u);
}

TEST(PixelAccess, SixteenBitPixelsReadAsIndex0AndAreNotWritten) {
    const auto image = TestImage::New(ImageOf(2, 16, ref::kBgr, {{0x12, 0x34, 0x56, 0x78}}));
    EXPECT_EQ(Read(image, 1, 0), 0u);
    EXPECT_EQ(Read(image, 5, 0), 0x01000000u);
    Write(image, 1, 0, 0x00FFFFFF);
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 16, ref::kBgr, {{0x12, 0x34, 0x56, 0x78}}), image));
}

TEST(PixelAccess, RedWrites85At8BitsAndSetsTheBitAt1Bit) {
    const auto grey = TestImage::New(ImageOf(1, 8, ref::kMono, {{0}}));
    Write(grey, 0, 0, 0x00FF0000);
    EXPECT_TRUE(test::SameBytes(ImageOf(1, 8, ref::kMono, {{85}}), grey));
    const auto bits = TestImage::New(ImageOf(8, 1, ref::kMono, {{0}}));
    Write(bits, 2, 0, 0x00FF0000);
    EXPECT_TRUE(test::SameBytes(ImageOf(8, 1, ref::kMono, {{0x20}}), bits));
    const auto nibbles = TestImage::New(ImageOf(2, 4, ref::kMono, {{0xFF}}));
    Write(nibbles, 1, 0, 0x00FF0000);  // 85 is 0x55
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 4, ref::kMono, {{0xF5}}), nibbles));
}

TEST(PixelAccess, AWriteAtXEqualToWidthGoesJustPastTheRowsLastPixel) {
    const auto image = TestImage::New(ImageOf(1, 24, ref::kBgr, {{1, 2, 3, 9, 9, 9}, {4, 5, 6}}));
    Write(image, 1, 0, 0x00302010);
    EXPECT_EQ(image->Content().Get(0, 3), 0x10);
    EXPECT_EQ(image->Content().Get(0, 4), 0x20);  // the next row's first byte, as rows are 4 bytes apart
    EXPECT_EQ(image->Content().Get(0, 5), 0x30);
}

TEST(PixelAccess, AWriteAtYEqualToHeightGoesToTheRowBelow) {
    unsigned char buffer[8] = {};
    SetPixelColor(buffer, 0, 1, 4, 1, 4, {7, 7, 7, 7}, 8);
    EXPECT_EQ(buffer[4], 7);
    SetPixelColor(buffer + 4, 0, 1, 4, 1, -4, {9, 9, 9, 9}, 8);
    EXPECT_EQ(buffer[0], 9);
}

TEST(PixelAccess, WritesFurtherOutAreDropped) {
    test::Random random(2);
    for (const uint32_t depth : {1u, 4u, 8u, 16u, 24u, 32u}) {
        const ref::Image before = test::RandomImage(random, 5, 3, 1, depth, ref::kMono);
        const auto image = TestImage::New(before);
        for (const auto& [x, y] :
             {std::pair{-1, 0}, {0, -1}, {6, 0}, {0, 4}, {INT32_MIN, 0}, {INT32_MAX, 0}, {0, INT32_MAX}}) {
            Write(image, x, y, 0x12345678);
        }
        EXPECT_TRUE(test::SameBytes(before, image));
        SetPixelColor(nullptr, 0, 0, 5, 3, 20, {1, 2, 3, 4}, static_cast<int>(depth));
    }
}

TEST(PixelAccess, A24BitWriteLeavesTheNeighbourAndA32BitWriteSetsAlpha) {
    const auto image = TestImage::New(ImageOf(2, 24, ref::kBgr, {{1, 2, 3, 4, 5, 6}}));
    Write(image, 0, 0, 0xAABBCCDD);
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 24, ref::kBgr, {{0xDD, 0xCC, 0xBB, 4, 5, 6}}), image));
    const auto alpha = TestImage::New(ImageOf(1, 32, ref::kBgr, {{1, 2, 3, 4}}));
    Write(alpha, 0, 0, 0xAABBCCDD);
    EXPECT_TRUE(test::SameBytes(ImageOf(1, 32, ref::kBgr, {{0xDD, 0xCC, 0xBB, 0xAA}}), alpha));
}

TEST(PixelAccess, ANegativeStrideIsFollowedDownwards) {
    ref::Image content(1, 3, 1, 8, ref::kMono, -4);
    for (int y = 0; y < 3; ++y) content.Put(y, 0, static_cast<uint8_t>(50 + y));
    const auto image = TestImage::New(content);
    for (int y = 0; y < 3; ++y) EXPECT_EQ(Read(image, 0, y) & 0xFF, static_cast<uint32_t>(50 + y));
    EXPECT_EQ(Read(image, 0, 3), 0x01323232u);
}

// The nearest entry of all 16.7 million colours, by the sum that decides it.
TEST(PixelAccess, TheNearestGreyOfEveryColourIsTheOneThatTheSearchFinds) {
    for (int blue = 0; blue < 256; blue += 15) {
        for (int green = 0; green < 256; green += 5) {
            for (int red = 0; red < 256; ++red) {
                const uint32_t colour = ref::ColourOf(static_cast<uint32_t>(blue), static_cast<uint32_t>(green),
                                                      static_cast<uint32_t>(red), 0);
                ASSERT_EQ(static_cast<int>(vel::NearestGreyIndex(static_cast<uint32_t>(blue + green + red))),
                          ref::NearestPaletteIndex(colour));
            }
        }
    }
}

TEST(PixelAccess, AgainstReference) {
    test::RandomCases(400, [](test::Random& random) {
        const ref::Image before =
            test::RandomImage(random, {.largestWidth = 40, .largestHeight = 9, .largestPlanes = 1});
        SCOPED_TRACE(test::Describe(before));
        const auto image = TestImage::New(before);
        ref::Image expected = before;
        const int width = static_cast<int>(before.width), height = static_cast<int>(before.height);
        for (int i = 0; i < 40; ++i) {
            const int x = random.Int(-2, width + 2), y = random.Int(-2, height + 2);
            EXPECT_EQ(Read(image, x, y), ref::GetPixelColor(expected, x, y)) << x << ", " << y;
            // A write at an inclusive bound may leave the block, which is the caller's business.
            if (x >= width || y >= height) continue;
            const uint32_t colour = static_cast<uint32_t>(random.Bits());
            Write(image, x, y, colour);
            ref::SetPixelColor(expected, x, y, colour);
        }
        EXPECT_TRUE(test::SameBytes(expected, image));
    });
}

}  // namespace
