// Picture files of other programs, and what other programs make of ours. make_pictures.py does their part.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "host/Pictures.h"

namespace {

using velhost::Conversions;
using velhost::Image;
using velhost::LoadFile;
using velhost::LoadOptions;
using velhost::SaveOptions;

// Output of a command line; `status` gets its exit status.
std::string RunCommand(const std::string& command, int& status) {
    std::string output;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (!pipe) {
        status = -1;
        return {};
    }
    std::array<char, 4096> buffer;
    while (const size_t got = fread(buffer.data(), 1, buffer.size(), pipe)) output.append(buffer.data(), got);
    status = pclose(pipe);
    return output;
}

// The programs that make_pictures.py drives. CTest shows a test that says SKIPPED as skipped.
std::string Missing(const std::string& program) {
    int status = 0;
    if (program == "pillow") {
        RunCommand(VEL_PYTHON " -c 'import PIL.Image'", status);
    } else {
        RunCommand(VEL_CONVERT " -version && " VEL_PYTHON " -c pass", status);
    }
    if (status == 0) return {};
    const std::string package = program == "pillow" ? "python3-pil" : "imagemagick";
    std::printf("SKIPPED: %s is not installed\n", package.c_str());
    return package + " is not installed";
}

std::string Script(const std::string& verb, const std::filesystem::path& argument) {
    int status = 0;
    const std::string output =
        RunCommand("CONVERT=" VEL_CONVERT " " VEL_PYTHON " " VEL_TEST_SOURCE_DIR "/host/make_pictures.py " + verb +
                       " " + argument.string(),
                   status);
    EXPECT_EQ(status, 0) << output;
    return output;
}

std::vector<RGBQUAD> ParsePalette(const std::string& text) {
    std::vector<RGBQUAD> palette;
    for (size_t at = 0; text != "-" && at < text.size(); at += 7) {
        const unsigned long colour = std::stoul(text.substr(at, 6), nullptr, 16);
        palette.push_back(
            {static_cast<uint8_t>(colour), static_cast<uint8_t>(colour >> 8), static_cast<uint8_t>(colour >> 16), 0});
    }
    return palette;
}

SmartPtr<Image> Expected(std::istringstream& line, const std::vector<uint8_t>& raw, bool& bottomUp, int& tolerance) {
    uint32_t width = 0, height = 0, bits = 0;
    std::string code, order, palette;
    line >> width >> height >> bits >> code >> order >> tolerance >> palette;
    bottomUp = order == "bottom";
    code.resize(4, ' ');
    uint32_t format = 0;
    std::memcpy(&format, code.data(), 4);
    auto image = Image::Make({width, height, bits, format});
    const size_t rowBytes = image->GetShape().RowBytes();
    EXPECT_EQ(raw.size(), rowBytes * height);
    for (uint32_t y = 0; y < height && raw.size() == rowBytes * height; ++y) {
        std::memcpy(image->Row(y), &raw[y * rowBytes], rowBytes);
    }
    EXPECT_TRUE(image->SetPalette(ParsePalette(palette)));
    return image;
}

testing::AssertionResult Near(const Image& expected, const Image& actual, int tolerance) {
    if (tolerance == 0) return test::SamePicture(expected, actual);
    if (expected.GetShape() != actual.GetShape()) return testing::AssertionFailure() << "another shape";
    for (uint32_t y = 0; y < expected.Height(); ++y) {
        for (uint64_t i = 0; i < expected.GetShape().RowBytes(); ++i) {
            const int difference = std::abs(expected.Row(y)[i] - actual.Row(y)[i]);
            if (difference > tolerance) {
                return testing::AssertionFailure() << "row " << y << ", byte " << i << " differs by " << difference;
            }
        }
    }
    return testing::AssertionSuccess();
}

// A palette image against the colours of a PPM.
void CheckColours(const Image& image, const std::vector<uint8_t>& ppm) {
    ASSERT_EQ(image.BitsPerPixel() <= 8, true);
    ASSERT_FALSE(image.Palette().empty());
    const uint8_t* colours = ppm.data() + ppm.size() - size_t{image.Width()} * image.Height() * 3;
    for (uint32_t y = 0; y < image.Height(); ++y) {
        for (uint32_t x = 0; x < image.Width(); ++x, colours += 3) {
            const RGBQUAD entry = image.Palette()[test::IndexAt(image, x, y)];
            const uint8_t got[3] = {entry.rgbRed, entry.rgbGreen, entry.rgbBlue};
            ASSERT_EQ(std::memcmp(got, colours, 3), 0) << x << ", " << y;
        }
    }
}

void CheckList(const test::TemporaryFolder& folder, const std::string& listName, int atLeast) {
    std::ifstream list(folder / listName);
    int checked = 0;
    for (std::string text; std::getline(list, text); ++checked) {
        SCOPED_TRACE(text);
        std::istringstream line(text);
        std::string name, raw, convert;
        line >> name >> raw;
        if (!test::HasFormat(name)) continue;
        if (raw == "refused") {
            std::string words;
            std::getline(line >> std::ws, words);
            velhost::ErrorKind kind{};
            EXPECT_NE(test::ErrorOf([&] { LoadFile(folder / name); }, &kind).find(words), std::string::npos);
            EXPECT_EQ(kind, velhost::ErrorKind::Unsupported);
            EXPECT_EQ(test::ErrorOf([&] { velhost::ReadInfo(folder / name); }), "");
            continue;
        }
        if (raw == "info") {
            velhost::FileInfo expected;
            line >> expected.alpha >> expected.orientation >> expected.colourProfile >> expected.pages;
            std::getline(line >> std::ws, expected.stored);
            const velhost::FileInfo info = velhost::ReadInfo(folder / name);
            EXPECT_EQ(info.stored, expected.stored);
            EXPECT_EQ(info.alpha, expected.alpha);
            EXPECT_EQ(info.orientation, expected.orientation);
            EXPECT_EQ(info.colourProfile, expected.colourProfile);
            EXPECT_EQ(info.pages, expected.pages);
            continue;
        }
        if (raw == "colours") {
            std::string ppm;
            line >> ppm;
            CheckColours(*LoadFile(folder / name).image.Get(), test::ReadBytes(folder / ppm));
            continue;
        }
        LoadOptions options;
        line >> convert >> options.page;
        if (convert != "-") options.convert = Conversions::Parse(convert);
        bool bottomUp = false;
        int tolerance = 0;
        const auto expected = Expected(line, test::ReadBytes(folder / raw), bottomUp, tolerance);
        velhost::Loaded loaded;
        EXPECT_EQ(test::ErrorOf([&] { loaded = LoadFile(folder / name, options); }), "");
        if (!loaded.image.Get()) continue;
        EXPECT_TRUE(Near(*expected.Get(), *loaded.image.Get(), tolerance)) << loaded.info.stored;
        EXPECT_EQ(loaded.image->Order() == velhost::RowOrder::BottomUp, bottomUp);
        EXPECT_EQ(loaded.info.width, expected->Width());
        EXPECT_EQ(loaded.info.bottomUp, bottomUp);
    }
    EXPECT_GE(checked, atLeast);
}

TEST(CodecForeign, PillowsFiles) {
    if (const auto missing = Missing("pillow"); !missing.empty()) GTEST_SKIP() << missing;
    const test::TemporaryFolder folder;
    Script("pillow", folder.Path());
    CheckList(folder, "pillow.txt", 70);
}

TEST(CodecForeign, ImageMagicksFiles) {
    if (const auto missing = Missing("magick"); !missing.empty()) GTEST_SKIP() << missing;
    const test::TemporaryFolder folder;
    Script("magick", folder.Path());
    CheckList(folder, "magick.txt", 41);
}

TEST(CodecForeign, TiffByteByByte) {
    int status = 0;
    RunCommand(VEL_PYTHON " -c pass", status);
    if (status != 0) {
        std::printf("SKIPPED: python3 is not installed\n");
        GTEST_SKIP();
    }
    const test::TemporaryFolder folder;
    Script("plain", folder.Path());
    CheckList(folder, "plain.txt", 25);
}

// ---------------------------------------------------------------------------------------------------------------
// Ours in other programs

// Red, green, blue (and alpha) of a pixel as people see it.
void AppendColour(std::vector<uint8_t>& out, const Image& image, uint32_t x, uint32_t y, bool alpha) {
    const uint8_t* p = image.Row(y) + uint64_t{x} * image.BitsPerPixel() / 8;
    uint8_t blue = p[0], green = p[1], red = p[2], opacity = 255;
    if (image.BitsPerPixel() <= 8) {
        const uint32_t index = test::IndexAt(image, x, y);
        const auto grey = static_cast<uint8_t>(index * 255 / ((1u << image.BitsPerPixel()) - 1));
        RGBQUAD entry{grey, grey, grey, 0};
        if (!image.Palette().empty()) entry = image.Palette()[index];
        blue = entry.rgbBlue, green = entry.rgbGreen, red = entry.rgbRed;
    } else if (image.BitsPerPixel() == 16) {
        const uint32_t v = p[0] | p[1] << 8;
        blue = static_cast<uint8_t>((v & 0x1F) * 255 / 31);
        green = static_cast<uint8_t>((v >> 5 & 0x3F) * 255 / 63);
        red = static_cast<uint8_t>((v >> 11) * 255 / 31);
    } else if (image.Format() == FORMAT_ARGB) {
        opacity = p[3];
    }
    out.insert(out.end(), {red, green, blue});
    if (alpha) out.push_back(opacity);
}

struct Written {
    const char* extension;
    const char* kind;
    const char* tiffCompression = "lzw";
};
// What the other programs are known to read. They widen 5-6-5 to 8 bits each in its own way, so it is not here.
constexpr Written kForPillow[] = {
    {"png", "1-bit grey"},
    {"png", "4-bit grey"},
    {"png", "8-bit grey"},
    {"png", "1-bit palette"},
    {"png", "4-bit palette"},
    {"png", "8-bit palette"},
    {"png", "24 bits"},
    {"png", "32 bits"},
    {"png", "32 bits with alpha"},
    {"bmp", "1-bit grey"},
    {"bmp", "4-bit grey"},
    {"bmp", "8-bit grey"},
    {"bmp", "1-bit palette"},
    {"bmp", "4-bit palette"},
    {"bmp", "8-bit palette"},
    {"bmp", "24 bits"},
    {"bmp", "32 bits with alpha"},
    {"tiff", "1-bit grey"},
    {"tiff", "4-bit grey"},
    {"tiff", "8-bit grey"},
    {"tiff", "4-bit palette"},
    {"tiff", "8-bit palette"},
    {"tiff", "24 bits"},
    {"tiff", "24 bits", "none"},
    {"tiff", "24 bits", "deflate"},
    {"tiff", "24 bits", "packbits"},
    {"tiff", "1-bit grey", "group4"},
    {"tiff", "32 bits with alpha"},
    {"tiff", "32-bit integers"},
    {"webp", "24 bits"},
    {"webp", "32 bits with alpha"},
};
constexpr Written kForMagick[] = {
    {"png", "1-bit grey"},          {"png", "4-bit grey"},     {"png", "8-bit grey"},  {"png", "1-bit palette"},
    {"png", "4-bit palette"},       {"png", "8-bit palette"},  {"png", "24 bits"},     {"png", "32 bits with alpha"},
    {"bmp", "1-bit grey"},          {"bmp", "4-bit grey"},     {"bmp", "8-bit grey"},  {"bmp", "1-bit palette"},
    {"bmp", "4-bit palette"},       {"bmp", "8-bit palette"},  {"bmp", "24 bits"},     {"bmp", "32 bits with alpha"},
    {"tiff", "1-bit grey"},         {"tiff", "4-bit grey"},    {"tiff", "8-bit grey"}, {"tiff", "1-bit palette"},
    {"tiff", "4-bit palette"},      {"tiff", "8-bit palette"}, {"tiff", "24 bits"},    {"tiff", "1-bit grey", "group4"},
    {"tiff", "32 bits with alpha"},
};

void CheckReading(const std::string& verb, std::span<const Written> pictures) {
    const test::TemporaryFolder folder;
    test::Random random(20240611);
    std::ofstream list(folder / "list.txt");
    int number = 0;
    for (const Written& written : pictures) {
        if (!test::HasFormat(std::string("x.") + written.extension)) continue;
        const auto kind = std::find_if(std::begin(test::kPictureKinds), std::end(test::kPictureKinds),
                                       [&](const test::PictureKind& k) { return !std::strcmp(k.name, written.kind); });
        ASSERT_NE(kind, std::end(test::kPictureKinds)) << written.kind;
        const auto image = test::RandomPicture(random, *kind, 21, 17);
        const bool integers = kind->bitsPerPixel == 32 && kind->format == FORMAT_MONO;
        const bool alpha = kind->format == FORMAT_ARGB;
        std::vector<uint8_t> pixels;
        for (uint32_t y = 0; y < 17; ++y) {
            for (uint32_t x = 0; x < 21; ++x) {
                if (integers) {
                    pixels.insert(pixels.end(), image->Row(y) + 4 * x, image->Row(y) + 4 * x + 4);
                } else {
                    AppendColour(pixels, *image.Get(), x, y, alpha);
                }
            }
        }
        const std::string name = std::to_string(number++) + "." + written.extension;
        SaveOptions options;
        options.tiffCompression = written.tiffCompression;
        SaveFile(*image.Get(), folder / name, options);
        test::WriteBytes(folder / (name + ".raw"), pixels);
        list << name << (integers ? " I" : alpha ? " RGBA" : " RGB") << "\n";
    }
    list.close();
    EXPECT_EQ(Script(verb, folder / "list.txt"), "");
}

TEST(CodecForeign, PillowReadsOurs) {
    if (const auto missing = Missing("pillow"); !missing.empty()) GTEST_SKIP() << missing;
    CheckReading("check-pillow", kForPillow);
}

TEST(CodecForeign, ImageMagickReadsOurs) {
    if (const auto missing = Missing("magick"); !missing.empty()) GTEST_SKIP() << missing;
    CheckReading("check-magick", kForMagick);
}

}  // namespace
