// BMP files written byte by byte.
#include <cstring>

#include "host/Pictures.h"

namespace {

using velhost::ErrorKind;
using velhost::Image;
using velhost::LoadMemory;
using velhost::LoadOptions;

using Bytes = std::vector<uint8_t>;

// A file from its parts. Fields are what the header says, whatever the rest is.
struct BmpFile {
    uint32_t headerSize = 40;
    int32_t width = 1, height = 1;
    uint32_t bits = 24, compression = 0, colours = 0;
    Bytes extra = {};  // behind the first 40 (or 12) bytes: masks, or the rest of a larger header
    Bytes palette = {};
    Bytes pixels = {};
    uint32_t offset = 0;  // 0: where the pixels are

    Bytes Make() const {
        Bytes out = {'B', 'M'};
        const auto put = [&out](uint32_t v, int bytes) {
            for (int i = 0; i < bytes; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
        };
        const size_t header = headerSize == 12 ? 12 : 40;
        const size_t at = 14 + header + extra.size() + palette.size();
        put(static_cast<uint32_t>(at + pixels.size()), 4);
        put(0, 4);
        put(offset ? offset : static_cast<uint32_t>(at), 4);
        put(headerSize, 4);
        const int side = headerSize == 12 ? 2 : 4;
        put(static_cast<uint32_t>(width), side);
        put(static_cast<uint32_t>(height), side);
        put(1, 2);
        put(bits, 2);
        if (headerSize != 12) {
            put(compression, 4);
            for (int i = 0; i < 3; ++i) put(0, 4);
            put(colours, 4);
            put(0, 4);
        }
        out.insert(out.end(), extra.begin(), extra.end());
        out.insert(out.end(), palette.begin(), palette.end());
        out.insert(out.end(), pixels.begin(), pixels.end());
        return out;
    }
};

Bytes Masks(std::initializer_list<uint32_t> masks) {
    Bytes out;
    for (const uint32_t m : masks) {
        for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(m >> (8 * i)));
    }
    return out;
}

const Bytes kFourColours = {1, 2, 3, 0, 10, 20, 30, 0, 100, 110, 120, 0, 200, 210, 220, 0};

void ExpectRow(const Image& image, uint32_t y, const Bytes& expected) {
    EXPECT_EQ(Bytes(image.Row(y), image.Row(y) + expected.size()), expected) << "row " << y;
}

std::string Refusal(const BmpFile& file, ErrorKind expected) {
    ErrorKind kind{};
    const std::string message = test::ErrorOf([&] { LoadMemory(file.Make()); }, &kind);
    EXPECT_EQ(kind, expected) << message;
    return message;
}

TEST(CodecBmp, RowOrders) {
    BmpFile file{.width = 1, .height = 2, .pixels = {1, 2, 3, 0, 4, 5, 6, 0}};
    auto loaded = LoadMemory(file.Make());
    EXPECT_LT(loaded.image->Stride(), 0);
    ExpectRow(*loaded.image.Get(), 0, {4, 5, 6});
    EXPECT_EQ(loaded.image->Row(1) - loaded.image->Row(0), -64);
    file.height = -2;
    loaded = LoadMemory(file.Make());
    EXPECT_GT(loaded.image->Stride(), 0);
    ExpectRow(*loaded.image.Get(), 0, {1, 2, 3});
    EXPECT_FALSE(loaded.info.bottomUp);
}

TEST(CodecBmp, OldestHeaderHasTripletsInItsPalette) {
    const BmpFile file{
        .headerSize = 12, .width = 3, .height = 1, .bits = 1, .palette = {9, 8, 7, 3, 2, 1}, .pixels = {0xA0, 0, 0, 0}};
    const auto loaded = LoadMemory(file.Make());
    EXPECT_EQ(loaded.image->BitsPerPixel(), 1u);
    ASSERT_EQ(loaded.image->Palette().size(), 2u);
    EXPECT_EQ(loaded.image->Palette()[0].rgbBlue, 9);
    EXPECT_EQ(loaded.image->Palette()[1].rgbRed, 1);
    ExpectRow(*loaded.image.Get(), 0, {0xA0});
}

TEST(CodecBmp, TwoBitsArriveAtFour) {
    // 0 1 2 3 | 3 as two-bit indexes
    const BmpFile file{
        .width = 5, .height = 1, .bits = 2, .colours = 4, .palette = kFourColours, .pixels = {0x1B, 0xC0, 0, 0}};
    const auto loaded = LoadMemory(file.Make());
    EXPECT_EQ(loaded.image->BitsPerPixel(), 4u);
    EXPECT_EQ(loaded.image->Palette().size(), 4u);
    ExpectRow(*loaded.image.Get(), 0, {0x01, 0x23, 0x30});
}

TEST(CodecBmp, FiveFiveFiveIsWidenedOnlyOnRequest) {
    // blue 1, green 17, red 31; and green 16
    BmpFile file{.width = 2, .height = 1, .bits = 16, .pixels = {0x21, 0x7E, 0x00, 0x02}};
    EXPECT_NE(Refusal(file, ErrorKind::Unsupported).find("'widen'"), std::string::npos);
    LoadOptions options;
    options.convert.widen = true;
    auto loaded = LoadMemory(file.Make(), options);
    EXPECT_EQ(loaded.image->BitsPerPixel(), 16u);
    // 17 becomes 35 (100011), 16 becomes 33.
    const uint32_t first = 1 | 35 << 5 | 31 << 11, second = 33 << 5;
    ExpectRow(*loaded.image.Get(), 0, {first & 0xFF, first >> 8, second & 0xFF, second >> 8});

    file.compression = 3;
    file.extra = Masks({0x7C00, 0x03E0, 0x001F});
    EXPECT_NE(Refusal(file, ErrorKind::Unsupported).find("5-5-5"), std::string::npos);
    file.extra = Masks({0xF800, 0x07E0, 0x001F});
    loaded = LoadMemory(file.Make());
    ExpectRow(*loaded.image.Get(), 0, {0x21, 0x7E, 0x00, 0x02});
    file.extra = Masks({0x0F00, 0x00F0, 0x000F});
    EXPECT_NE(Refusal(file, ErrorKind::Unsupported).find("0F00 00F0 000F"), std::string::npos);
}

TEST(CodecBmp, MasksOfWholeBytesInAnyOrder) {
    BmpFile file{.width = 1, .height = 1, .bits = 32, .pixels = {1, 2, 3, 4}};
    auto loaded = LoadMemory(file.Make());
    EXPECT_EQ(loaded.image->Format(), FORMAT_BGR);
    ExpectRow(*loaded.image.Get(), 0, {1, 2, 3, 4});

    file.compression = 3;
    file.extra = Masks({0x000000FF, 0x0000FF00, 0x00FF0000});  // red first
    loaded = LoadMemory(file.Make());
    EXPECT_EQ(loaded.image->Format(), FORMAT_BGR);
    ExpectRow(*loaded.image.Get(), 0, {3, 2, 1, 4});

    file.headerSize = 108;  // with alpha, in the first byte
    file.extra = Masks({0xFF000000, 0x00FF0000, 0x0000FF00, 0x000000FF});
    file.extra.resize(108 - 40);
    loaded = LoadMemory(file.Make());
    EXPECT_EQ(loaded.image->Format(), FORMAT_ARGB);
    EXPECT_TRUE(loaded.info.alpha);
    ExpectRow(*loaded.image.Get(), 0, {2, 3, 4, 1});

    for (const auto& masks : {Masks({0x3FF00000, 0x000FFC00, 0x000003FF, 0}), Masks({0xFF, 0xFF, 0xFF00, 0}),
                              Masks({0xFF, 0xFF00, 0xFF0000, 0xFF00}), Masks({0, 0, 0, 0})}) {
        file.extra = masks;
        file.extra.resize(108 - 40);
        EXPECT_NE(Refusal(file, ErrorKind::Unsupported).find("masks"), std::string::npos);
    }
}

TEST(CodecBmp, GreyRampMeansGrey) {
    BmpFile file{.width = 2, .height = 1, .bits = 4, .pixels = {0x5A, 0, 0, 0}};
    for (int i = 0; i < 16; ++i) {
        for (int c = 0; c < 3; ++c) file.palette.push_back(static_cast<uint8_t>(i * 17));
        file.palette.push_back(0);
    }
    EXPECT_EQ(LoadMemory(file.Make()).image->Format(), FORMAT_MONO);
    EXPECT_TRUE(LoadMemory(file.Make()).image->Palette().empty());
    file.palette[4] = 16;  // one entry is not the ramp's
    EXPECT_EQ(LoadMemory(file.Make()).image->Format(), FORMAT_BGR);
    EXPECT_EQ(LoadMemory(file.Make()).image->Palette().size(), 16u);
}

TEST(CodecBmp, RunLength8) {
    // Bottom row: 3 times 1, literal 2 3 0 (padded), end of row. Then move 2 right, 1 up; 2 times 3; end of picture.
    const BmpFile file{.width = 6,
                       .height = 3,
                       .bits = 8,
                       .compression = 1,
                       .colours = 4,
                       .palette = kFourColours,
                       .pixels = {3, 1, 0, 3, 2, 3, 0, 0xFF, 0, 0, 0, 2, 2, 1, 2, 3, 0, 1}};
    const auto loaded = LoadMemory(file.Make());
    EXPECT_EQ(loaded.info.stored, "8-bit palette, run-length");
    ExpectRow(*loaded.image.Get(), 2, {1, 1, 1, 2, 3, 0});
    ExpectRow(*loaded.image.Get(), 1, {0, 0, 0, 0, 0, 0});
    ExpectRow(*loaded.image.Get(), 0, {0, 0, 3, 3, 0, 0});
}

TEST(CodecBmp, RunLength4) {
    // 5 values 1 2 1 2 1, literal 3 0 3, end of row; 7 times 1 (one beyond the row), end of picture.
    const BmpFile file{.width = 8,
                       .height = 2,
                       .bits = 4,
                       .compression = 2,
                       .colours = 4,
                       .palette = kFourColours,
                       .pixels = {5, 0x12, 0, 3, 0x30, 0x30, 0, 0, 9, 0x11, 0, 1}};
    const auto loaded = LoadMemory(file.Make());
    ExpectRow(*loaded.image.Get(), 1, {0x12, 0x12, 0x13, 0x03});
    ExpectRow(*loaded.image.Get(), 0, {0x11, 0x11, 0x11, 0x11});
}

TEST(CodecBmp, RunLengthThatEndsEarlyIsDamage) {
    BmpFile file{.width = 6, .height = 3, .bits = 8, .compression = 1, .colours = 4, .palette = kFourColours};
    for (const Bytes& pixels : {Bytes{}, Bytes{3}, Bytes{3, 1}, Bytes{0, 5, 1, 2}, Bytes{0, 2, 1}, Bytes{0, 0, 0, 0}}) {
        file.pixels = pixels;
        EXPECT_NE(Refusal(file, ErrorKind::Damaged).find("ends within its pixels"), std::string::npos);
    }
    // Moves far beyond the picture end it.
    file.pixels = {0, 2, 255, 255, 9, 9};
    EXPECT_EQ(test::ErrorOf([&] { LoadMemory(file.Make()); }), "");
}

TEST(CodecBmp, NonsenseIsRefused) {
    const auto with = [](auto change) {
        BmpFile file{.width = 2, .height = 2, .pixels = Bytes(16)};
        change(file);
        return file;
    };
    Refusal(with([](BmpFile& f) { f.width = 0; }), ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) { f.width = -2; }), ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) { f.height = 0; }), ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) { f.height = INT32_MIN; }), ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) { f.headerSize = 41; }), ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) { f.bits = 7; }), ErrorKind::Unsupported);
    Refusal(with([](BmpFile& f) { f.bits = 0; }), ErrorKind::Unsupported);
    Refusal(with([](BmpFile& f) { f.compression = 1; }), ErrorKind::Unsupported);  // 8-bit runs of 24-bit pixels
    EXPECT_NE(Refusal(with([](BmpFile& f) { f.compression = 5; }), ErrorKind::Unsupported).find("PNG"),
              std::string::npos);
    Refusal(with([](BmpFile& f) { f.offset = 0xFFFFFFFF; }), ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) { f.offset = 69; }), ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) {
                f.bits = 8;
                f.palette.clear();
            }),
            ErrorKind::Damaged);
    Refusal(with([](BmpFile& f) { f.height = 3; }), ErrorKind::Damaged);
    // The largest sizes that the header can say, in a file of 70 bytes.
    Refusal(with([](BmpFile& f) { f.width = f.height = INT32_MAX; }), ErrorKind::Limit);
    Refusal(with([](BmpFile& f) {
                f.width = 16000;
                f.height = 16000;
            }),
            ErrorKind::Damaged);
}

TEST(CodecBmp, LastRowsPaddingMayBeMissing) {
    const BmpFile file{.width = 1, .height = 2, .pixels = {1, 2, 3, 0, 4, 5, 6}};
    ExpectRow(*LoadMemory(file.Make()).image.Get(), 0, {4, 5, 6});
}

}  // namespace
