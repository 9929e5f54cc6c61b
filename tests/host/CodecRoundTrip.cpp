// Every kind of picture through every format: what goes in comes out, or is refused with a way to go.
#include <algorithm>
#include <cstring>
#include <sstream>

#include "host/Pictures.h"

namespace {

using test::PictureKind;
using velhost::Conversions;
using velhost::ErrorKind;
using velhost::Image;
using velhost::LoadMemory;
using velhost::SaveMemory;
using velhost::SaveOptions;

// Kinds (by position in kPictureKinds) that a format holds without loss.
struct Holding {
    const char* format;
    std::vector<int> kinds;
};
const Holding kHoldings[] = {
    {"png", {0, 1, 2, 3, 4, 5, 7, 9}},
    {"tiff", {0, 1, 2, 3, 4, 5, 7, 9, 10}},
    {"bmp", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}},
    {"webp", {7, 9}},
};

bool Holds(const std::string& format, int kind) {
    for (const Holding& holding : kHoldings) {
        if (holding.format != format) continue;
        return std::find(holding.kinds.begin(), holding.kinds.end(), kind) != holding.kinds.end();
    }
    return false;
}

SaveOptions Options(const std::string& format) {
    SaveOptions options;
    options.format = format;
    return options;
}

void CheckKept(const std::string& format, const PictureKind& kind) {
    SCOPED_TRACE(format + ", " + kind.name);
    test::RandomCases(20, [&](test::Random& random) {
        const auto width = static_cast<uint32_t>(random.Int(1, 70)), height = static_cast<uint32_t>(random.Int(1, 20));
        const auto image = test::RandomPicture(random, kind, width, height);
        using Rows = SaveOptions::Rows;
        SaveOptions options = Options(format);
        options.effort = random.Int(0, 9);
        options.tiffCompression = random.Pick({"none", "lzw", "deflate", "packbits"});
        options.rows = random.Pick({Rows::AsImage, Rows::TopDown, Rows::BottomUp});
        const auto loaded = LoadMemory(SaveMemory(*image.Get(), options));
        EXPECT_TRUE(test::SamePicture(*image.Get(), *loaded.image.Get())) << loaded.info.stored;
        EXPECT_EQ(loaded.info.format, format);
        EXPECT_EQ(loaded.info.alpha, kind.format == FORMAT_ARGB);
        const bool bottomUp = options.rows == Rows::AsImage ? image->Order() == velhost::RowOrder::BottomUp
                                                            : options.rows == Rows::BottomUp;
        EXPECT_EQ(loaded.image->Order() == velhost::RowOrder::BottomUp, format == "bmp" && bottomUp);
    });
}

TEST(CodecRoundTrip, KeepsEverything) {
    for (const auto& format : velhost::Formats()) {
        for (int kind = 0; kind < 11; ++kind) {
            if (Holds(format.name, kind)) CheckKept(format.name, test::kPictureKinds[kind]);
        }
    }
}

TEST(CodecRoundTrip, RefusalNamesAFormatThatHoldsIt) {
    int refusals = 0;
    for (const auto& format : velhost::Formats()) {
        for (int index = 0; index < 11; ++index) {
            const PictureKind& kind = test::kPictureKinds[index];
            const bool threeChannels = kind.bitsPerPixel == 32 && kind.format == FORMAT_BGR;
            const bool lossy = format.name == "jpeg" && (index == 2 || index == 7);
            if (Holds(format.name, index) || threeChannels || lossy) continue;
            test::Random random(7);
            const auto image = test::RandomPicture(random, kind, 5, 4);
            ErrorKind error{};
            const std::string message = test::ErrorOf([&] { SaveMemory(*image.Get(), Options(format.name)); }, &error);
            EXPECT_EQ(error, ErrorKind::Unsupported);
            EXPECT_EQ(message.find(format.name + " cannot hold"), 0u) << message;
            // The names behind the colon are formats that do hold it.
            const std::string advice = message.substr(message.find(':'));
            int named = 0;
            for (const Holding& holding : kHoldings) {
                if (advice.find(holding.format) == std::string::npos) continue;
                ++named;
                EXPECT_TRUE(Holds(holding.format, index)) << message;
            }
            EXPECT_GE(named, 1) << message;
            ++refusals;
        }
    }
    EXPECT_GE(refusals, 1);
}

void ExpectNear(const Image& expected, const Image& actual, double mean) {
    ASSERT_EQ(expected.GetShape(), actual.GetShape());
    double sum = 0;
    for (uint32_t y = 0; y < expected.Height(); ++y) {
        for (uint64_t i = 0; i < expected.GetShape().RowBytes(); ++i) {
            sum += std::abs(expected.Row(y)[i] - actual.Row(y)[i]);
        }
    }
    EXPECT_LT(sum / static_cast<double>(expected.GetShape().RowBytes() * expected.Height()), mean);
}

SmartPtr<Image> Smooth(uint32_t bits, uint32_t format) {
    auto image = Image::Make({60, 40, bits, format}, velhost::RowOrder::BottomUp);
    for (uint32_t y = 0; y < 40; ++y) {
        for (uint32_t x = 0; x < 60; ++x) {
            const uint32_t channels[4] = {x * 4, y * 6, 255 - x * 2 - y * 2, x * y / 10};
            for (uint32_t c = 0; c < bits / 8; ++c)
                image->Row(y)[x * (bits / 8) + c] = static_cast<uint8_t>(channels[c]);
        }
    }
    return image;
}

TEST(CodecRoundTripLossy, JpegAndWebPStayNear) {
    for (const auto& [bits, format] : {std::pair{8u, FORMAT_MONO}, {24u, FORMAT_BGR}}) {
        if (!test::HasFormat("x.jpg")) continue;
        const auto image = Smooth(bits, format);
        SaveOptions options = Options("jpeg");
        options.quality = 95;
        const auto fine = SaveMemory(*image.Get(), options);
        ExpectNear(*image.Get(), *LoadMemory(fine).image.Get(), 1.5);
        options.quality = 20;
        const auto coarse = SaveMemory(*image.Get(), options);
        EXPECT_LT(coarse.size(), fine.size());
        ExpectNear(*image.Get(), *LoadMemory(coarse).image.Get(), 12);
    }
    if (!test::HasFormat("x.webp")) GTEST_SKIP() << "webp is not built in";
    const auto image = Smooth(32, FORMAT_ARGB);
    SaveOptions options = Options("webp");
    options.lossless = false;
    ExpectNear(*image.Get(), *LoadMemory(SaveMemory(*image.Get(), options)).image.Get(), 4);
}

TEST(CodecRoundTripFourthByte, IsKeptOrDroppedAsAsked) {
    test::Random random(3);
    for (const char* format : {"png", "tiff", "webp"}) {
        if (!test::HasFormat(std::string("x.") + format)) continue;
        for (const uint32_t code : {FORMAT_BGR, FORMAT_ARGB, FORMAT_ABGR, uint32_t{0}}) {
            auto image = test::RandomPicture(random, {"", 32, code}, 9, 7);
            for (const auto alpha :
                 {SaveOptions::Alpha::ByFormatCode, SaveOptions::Alpha::Keep, SaveOptions::Alpha::Drop}) {
                SaveOptions options = Options(format);
                options.alpha = alpha;
                const auto loaded = LoadMemory(SaveMemory(*image.Get(), options));
                const bool kept = alpha == SaveOptions::Alpha::Keep ||
                                  (alpha == SaveOptions::Alpha::ByFormatCode && code != FORMAT_BGR);
                ASSERT_EQ(loaded.image->BitsPerPixel(), kept ? 32u : 24u) << format << " " << code;
                const size_t step = kept ? 4 : 3;
                for (uint32_t y = 0; y < 7; ++y) {
                    for (uint32_t x = 0; x < 9; ++x) {
                        EXPECT_EQ(std::memcmp(image->Row(y) + x * 4, loaded.image->Row(y) + x * step, step), 0);
                    }
                }
            }
        }
    }
}

TEST(CodecRoundTripPalette, IndexesBehindTheLastEntryAreKept) {
    for (const char* format : {"png", "tiff", "bmp"}) {
        if (!test::HasFormat(std::string("x.") + format)) continue;
        for (const uint32_t bits : {8u, 4u}) {
            const auto image = Image::Make({3, 1, bits, FORMAT_BGR});
            const RGBQUAD entries[] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
            ASSERT_TRUE(image->SetPalette(entries));
            std::memcpy(image->Row(0), "\x01\x0C\x07", 3);
            const auto loaded = LoadMemory(SaveMemory(*image.Get(), Options(format)));
            EXPECT_EQ(std::memcmp(loaded.image->Row(0), image->Row(0), bits == 8 ? 3 : 1), 0) << format;
            EXPECT_GT(loaded.image->Palette().size(), bits == 8 ? 12u : 1u);
            EXPECT_EQ(loaded.image->Palette()[1].rgbRed, 6);
        }
    }
}

TEST(CodecRoundTripStrange, ImagesThatNoFileHolds) {
    for (const auto& format : velhost::Formats()) {
        const auto refused = [&](const Image& image, const char* words) {
            ErrorKind kind{};
            const auto message = test::ErrorOf([&] { SaveMemory(image, Options(format.name)); }, &kind);
            EXPECT_NE(message.find(words), std::string::npos) << message;
            EXPECT_EQ(kind, ErrorKind::Unsupported);
        };
        refused(*Image::New().Get(), "without pixels");
        refused(*Image::Make({0, 5, 24, FORMAT_BGR}).Get(), "without pixels");
        refused(*Image::Make({5, 5, 8, FORMAT_MONO, 3}).Get(), "3 planes");
    }
    const auto wide = Image::Make({70000, 1, 24, FORMAT_BGR});
    if (test::HasFormat("x.jpg")) {
        EXPECT_NE(test::ErrorOf([&] { SaveMemory(*wide.Get(), Options("jpeg")); }).find("65500"), std::string::npos);
    }
    if (test::HasFormat("x.webp")) {
        EXPECT_NE(test::ErrorOf([&] { SaveMemory(*wide.Get(), Options("webp")); }).find("16383"), std::string::npos);
    }
    if (test::HasFormat("x.tif")) {
        SaveOptions options = Options("tiff");
        options.tiffCompression = "group4";
        EXPECT_NE(test::ErrorOf([&] { SaveMemory(*wide.Get(), options); }).find("1-bit"), std::string::npos);
        options.tiffCompression = "best";
        EXPECT_NE(test::ErrorOf([&] { SaveMemory(*wide.Get(), options); }).find("'best'"), std::string::npos);
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Limits, names, conversions

TEST(CodecRoundTripLimits, AreTestedBeforeAnythingIsAllocated) {
    test::Random random(11);
    for (const auto& format : velhost::Formats()) {
        const auto bytes =
            SaveMemory(*test::RandomPicture(random, test::kPictureKinds[7], 40, 30).Get(), Options(format.name));
        velhost::LoadOptions options;
        options.limits.pixels = 1200;
        EXPECT_EQ(test::ErrorOf([&] { LoadMemory(bytes, options); }), "") << format.name;
        options.limits.pixels = 1199;
        ErrorKind kind{};
        EXPECT_NE(test::ErrorOf([&] { LoadMemory(bytes, options); }, &kind).find("40x30"), std::string::npos);
        EXPECT_EQ(kind, ErrorKind::Limit);
        EXPECT_EQ(velhost::ReadInfo(bytes, options).width, 40u);
        options = {};
        options.limits.bytes = 40 * 3 * 30 - 1;
        EXPECT_NE(test::ErrorOf([&] { LoadMemory(bytes, options); }, &kind), "");
        EXPECT_EQ(kind, ErrorKind::Limit) << format.name;
        options = {};
        options.limits.fileBytes = bytes.size() - 1;
        EXPECT_NE(test::ErrorOf([&] { LoadMemory(bytes, options); }, &kind), "");
        EXPECT_EQ(kind, ErrorKind::Limit);
        options = {};
        options.page = 1;
        EXPECT_NE(test::ErrorOf([&] { LoadMemory(bytes, options); }, &kind), "");
        EXPECT_EQ(kind, ErrorKind::Argument);
    }
}

TEST(CodecRoundTripNames, FormatsByExtensionAndName) {
    EXPECT_EQ(velhost::FormatOf("a/b.BMP"), "bmp");
    EXPECT_EQ(velhost::FormatOf("x.dib"), "bmp");
    EXPECT_EQ(velhost::FormatOf("x.txt"), "");
    EXPECT_EQ(velhost::FormatOf("bmp"), "");
    for (const auto& format : velhost::Formats()) {
        for (const auto& extension : format.extensions) EXPECT_EQ(velhost::FormatOf("x." + extension), format.name);
    }
    test::Random random(1);
    const auto image = test::RandomPicture(random, test::kPictureKinds[7], 3, 3);
    ErrorKind kind{};
    EXPECT_NE(test::ErrorOf([&] { SaveMemory(*image.Get(), Options("gif")); }, &kind).find("bmp"), std::string::npos);
    EXPECT_EQ(kind, ErrorKind::Argument);
    EXPECT_NE(test::ErrorOf([&] { SaveMemory(*image.Get(), Options("")); }), "");
}

TEST(CodecRoundTripNames, ConversionLists) {
    const Conversions none = Conversions::Parse("widen,rgb");
    EXPECT_TRUE(none.widen && none.rgb && !none.eightBit && !none.round);
    EXPECT_TRUE(Conversions::Parse("8bit").eightBit);
    EXPECT_TRUE(Conversions::Parse("all").widen && Conversions::Parse("all").round);
    for (const char* bad : {"", "wide", "widen,", ",", "8bit;rgb"}) {
        EXPECT_NE(test::ErrorOf([&] { Conversions::Parse(bad); }).find("widen, 8bit, rgb, round"), std::string::npos);
    }
}

TEST(CodecRoundTripStream, LoadsAsFromMemory) {
    test::Random random(5);
    const auto image = test::RandomPicture(random, test::kPictureKinds[7], 300, 200);
    const auto bytes = SaveMemory(*image.Get(), Options("bmp"));
    std::istringstream stream(std::string(bytes.begin(), bytes.end()));
    EXPECT_TRUE(test::SamePicture(*image.Get(), *velhost::LoadStream(stream).image.Get()));
    std::istringstream empty("");
    EXPECT_EQ(test::ErrorOf([&] { velhost::LoadStream(empty, {}, "standard input"); }),
              "standard input: the file is empty");
    std::istringstream text("Hello, world");
    EXPECT_NE(test::ErrorOf([&] { velhost::LoadStream(text); }).find("not a picture"), std::string::npos);
}

}  // namespace
