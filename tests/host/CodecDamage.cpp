// Truncated and corrupted picture files: a picture or one line of an error, never anything else.
#include <cstring>
#include <functional>

#include "host/Pictures.h"

namespace {

using velhost::Conversions;
using velhost::ErrorKind;
using velhost::Image;
using velhost::LoadMemory;
using velhost::LoadOptions;
using velhost::SaveMemory;
using velhost::SaveOptions;

using Bytes = std::vector<uint8_t>;

struct Sample {
    std::string name;
    Bytes bytes;
    bool lossy = false;
};

// Small files of every kind that every format holds, with several compressions.
std::vector<Sample> Samples() {
    std::vector<Sample> samples;
    test::Random random(42);
    for (const auto& format : velhost::Formats()) {
        for (const test::PictureKind& kind : test::kPictureKinds) {
            const auto image = test::RandomPicture(random, kind, 19, 11);
            for (const char* compression : {"none", "lzw", "deflate", "packbits", "group4"}) {
                SaveOptions options;
                options.format = format.name;
                options.tiffCompression = compression;
                options.lossless = std::strcmp(compression, "lzw") != 0;  // webp, both ways
                const bool once = format.name != "tiff" && format.name != "webp";
                if ((once && std::strcmp(compression, "none")) ||
                    (format.name == "webp" && !std::strcmp(compression, "deflate"))) {
                    continue;
                }
                Bytes bytes;
                if (!test::ErrorOf([&] { bytes = SaveMemory(*image.Get(), options); }).empty()) continue;
                samples.push_back({format.name + ", " + kind.name + ", " + compression, bytes,
                                   format.name == "jpeg" || (format.name == "webp" && !options.lossless)});
            }
        }
    }
    // A run-length BMP: ours are written plain.
    Bytes rle = {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 62, 0, 0, 0, 40, 0, 0,
                 0,   6,   0, 0, 0, 3, 0, 0, 0, 1, 0,  8, 0, 1, 0,  0, 0};
    rle.resize(46);
    rle.push_back(2);
    rle.resize(62);
    rle.insert(rle.end(), {3, 1, 0, 3, 1, 0, 1, 0, 0, 0, 0, 2, 2, 1, 2, 1, 0, 1});
    samples.push_back({"bmp, run-length", rle});
    return samples;
}

LoadOptions Small(bool convert) {
    LoadOptions options;
    options.limits.pixels = 1 << 20;  // flipped sizes: no reason to fill the machine's memory
    options.limits.bytes = 1 << 22;
    if (convert) options.convert = Conversions::Parse("all");
    return options;
}

// Loads, and reads every byte of what came out.
std::string Try(const Bytes& bytes, bool convert, ErrorKind* kind = nullptr) {
    return test::ErrorOf(
        [&] {
            const auto loaded = LoadMemory(bytes, Small(convert));
            ASSERT_NE(loaded.image.Get(), nullptr);
            ASSERT_FALSE(loaded.image->Empty());
            const auto copy = Image::CopyOf(loaded.image.Get());
            ASSERT_NE(copy.Get(), nullptr);
            EXPECT_TRUE(velhost::IsDepth(copy->BitsPerPixel()));
        },
        kind);
}

TEST(CodecDamage, SamplesAreWhole) {
    const auto samples = Samples();
    EXPECT_GE(samples.size(), 10u);
    for (const Sample& sample : samples) EXPECT_EQ(Try(sample.bytes, false), "") << sample.name;
}

TEST(CodecDamage, EveryPrefixOfEveryFile) {
    for (const Sample& sample : Samples()) {
        for (size_t length = 0; length < sample.bytes.size(); ++length) {
            // A block of its own of exactly that length, so that a read behind the end is seen.
            const Bytes prefix(sample.bytes.begin(), sample.bytes.begin() + static_cast<ptrdiff_t>(length));
            ErrorKind kind = ErrorKind::Damaged;
            const std::string message = Try(prefix, false, &kind);
            EXPECT_TRUE(kind == ErrorKind::Damaged || kind == ErrorKind::Unsupported) << sample.name << ": " << message;
            // BMP rows end with padding that nobody needs; libtiff's directory stands behind the pixels.
            if (message.empty()) {
                EXPECT_GE(length + 3, sample.bytes.size()) << sample.name << " cut to " << length << " bytes";
            }
        }
    }
}

TEST(CodecDamage, FlippedBytes) {
    const auto samples = Samples();
    test::RandomCases(60, [&](test::Random& random) {
        for (const Sample& sample : samples) {
            Bytes bytes = sample.bytes;
            const int flips = random.Int(1, 4);
            for (int i = 0; i < flips; ++i) {
                // Headers matter most.
                const size_t range = random.Chance(60) ? std::min<size_t>(bytes.size(), 80) : bytes.size();
                bytes[random.Bits() % range] =
                    random.Chance(50) ? random.Byte() : random.Pick<uint8_t>({0, 1, 0x7F, 0x80, 0xFF});
            }
            SCOPED_TRACE(sample.name);
            Try(bytes, random.Chance(50));
            test::ErrorOf([&] { velhost::ReadInfo(bytes, Small(false)); });
        }
    });
}

TEST(CodecDamage, InsertedAndRemovedBytes) {
    const auto samples = Samples();
    test::RandomCases(20, [&](test::Random& random) {
        for (const Sample& sample : samples) {
            Bytes bytes = sample.bytes;
            const size_t at = random.Bits() % bytes.size();
            const size_t count = std::min<size_t>(static_cast<size_t>(random.Int(1, 40)), bytes.size() - at);
            const auto where = bytes.begin() + static_cast<ptrdiff_t>(at);
            if (random.Chance(50)) {
                bytes.erase(where, where + static_cast<ptrdiff_t>(count));
            } else {
                bytes.insert(where, count, random.Byte());
            }
            SCOPED_TRACE(sample.name);
            Try(bytes, random.Chance(50));
        }
    });
}

TEST(CodecDamage, ContentsAreJudgedNotNames) {
    const test::TemporaryFolder folder;
    test::Random random(9);
    const auto image = test::RandomPicture(random, test::kPictureKinds[7], 8, 8);
    SaveOptions options;
    options.format = "bmp";
    velhost::SaveFile(*image.Get(), folder / "picture.png", options);
    EXPECT_EQ(velhost::LoadFile(folder / "picture.png").info.format, "bmp");
    for (const Bytes& bytes :
         {Bytes{'B', 'M'}, Bytes{0x89, 'P', 'N', 'G', 13, 10, 26, 10}, Bytes{0xFF, 0xD8, 0xFF}, Bytes{'I', 'I', 42, 0},
          Bytes{'M', 'M', 0, 43}, Bytes{'R', 'I', 'F', 'F', 9, 0, 0, 0, 'W', 'E', 'B', 'P'}}) {
        ErrorKind kind{};
        EXPECT_NE(Try(bytes, true, &kind), "");
        EXPECT_EQ(kind, ErrorKind::Damaged);
    }
}

}  // namespace
