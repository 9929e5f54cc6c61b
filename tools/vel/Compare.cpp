// `vel compare`: the same, or where and by how much.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"
#include "Picture.h"
#include "Registry.h"

namespace veltool {
namespace {

using nlohmann::json;
using velhost::Image;

struct CompareOptions {
    std::vector<std::string> files;
    std::string output, convert;
    int64_t tolerance = 0;
    bool colours = false, asJson = false, quiet = false, overwrite = false;
};

constexpr const char* kChannels[] = {"blue", "green", "red", "alpha", "value"};

struct Differences {
    std::vector<std::string> shape;  // what differs besides pixels, one line each
    bool compared = false;           // the pixels could be compared
    uint64_t pixels = 0, differing = 0;
    uint32_t left = UINT32_MAX, top = UINT32_MAX, right = 0, bottom = 0;
    int64_t largest = 0;
    uint32_t largestX = 0, largestY = 0;
    int largestChannel = 0;
    double sum = 0, squares = 0;
    uint64_t samples = 0;

    bool Same() const { return shape.empty() && compared && differing == 0; }
};

// Pixels of one image as numbers: blue, green, red, alpha, or a single integer.
class Samples {
public:
    explicit Samples(const SmartPtr<Image>& image)
        : m_integers(image->BitsPerPixel() == 32 && image->Format() == FORMAT_MONO),
          m_image(m_integers ? image : Expanded(image)) {}

    bool Integers() const { return m_integers; }
    void At(uint32_t x, uint32_t y, int64_t (&values)[4]) const {
        const uint8_t* row = m_image->Row(y);
        if (m_integers) {
            int32_t value;
            std::memcpy(&value, row + 4 * static_cast<size_t>(x), 4);
            values[0] = value;
            return;
        }
        const size_t step = m_image->BitsPerPixel() / 8;
        for (size_t c = 0; c < 3; ++c) values[c] = row[x * step + c];
        values[3] = step == 4 && m_image->Format() != FORMAT_BGR ? row[x * step + 3] : 255;
    }

private:
    bool m_integers;
    SmartPtr<Image> m_image;
};

void CompareShapes(const Image& a, const Image& b, bool colours, Differences* result) {
    const auto size = [](const Image& image) {
        return std::to_string(image.Width()) + "x" + std::to_string(image.Height());
    };
    if (size(a) != size(b)) result->shape.push_back("size: " + size(a) + ", " + size(b));
    if (colours) return;
    const auto depth = [](const Image& image) {
        return std::to_string(image.BitsPerPixel()) + "-bit " + FormatName(image.Format());
    };
    if (depth(a) != depth(b)) result->shape.push_back("depth: " + depth(a) + ", " + depth(b));
    const auto p = a.Palette(), q = b.Palette();
    const bool same = p.size() == q.size() && (p.empty() || std::memcmp(p.data(), q.data(), p.size_bytes()) == 0);
    if (!same)
        result->shape.push_back("palette: " + std::to_string(p.size()) + " entries, " + std::to_string(q.size()) +
                                " entries");
}

// `visit` gets every pixel's differences, four or one.
template <class Visit>
void ForEachDifference(const Samples& a, const Samples& b, uint32_t width, uint32_t height, Visit&& visit) {
    const int channels = a.Integers() ? 1 : 4;
    int64_t p[4] = {}, q[4] = {}, difference[4] = {};
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) {
            a.At(x, y, p);
            b.At(x, y, q);
            for (int c = 0; c < channels; ++c) difference[c] = std::abs(p[c] - q[c]);
            visit(x, y, difference, channels);
        }
    }
}

void ComparePixels(const Samples& a, const Samples& b, const Image& shape, int64_t tolerance, Differences* result) {
    result->compared = true;
    result->pixels = uint64_t{shape.Width()} * shape.Height();
    ForEachDifference(a, b, shape.Width(), shape.Height(),
                      [&](uint32_t x, uint32_t y, const int64_t* difference, int channels) {
                          bool differs = false;
                          for (int c = 0; c < channels; ++c) {
                              const auto d = static_cast<double>(difference[c]);
                              result->sum += d;
                              result->squares += d * d;
                              ++result->samples;
                              differs = differs || difference[c] > tolerance;
                              if (difference[c] <= result->largest) continue;
                              result->largest = difference[c];
                              result->largestX = x;
                              result->largestY = y;
                              result->largestChannel = channels == 1 ? 4 : c;
                          }
                          if (!differs) return;
                          ++result->differing;
                          result->left = std::min(result->left, x);
                          result->top = std::min(result->top, y);
                          result->right = std::max(result->right, x);
                          result->bottom = std::max(result->bottom, y);
                      });
}

// The differences of each channel (alpha in all three), stretched so that the largest is 255.
SmartPtr<Image> DifferencePicture(const Samples& a, const Samples& b, const Image& shape, int64_t largest) {
    SmartPtr<Image> picture = Image::Make({shape.Width(), shape.Height(), 24, FORMAT_BGR, 1});
    if (!picture.Get()) throw Failure(kOutput, "no memory for the difference picture");
    const auto stretch = [&](int64_t difference) {
        return static_cast<uint8_t>(largest == 0 ? 0 : (difference * 255 + largest - 1) / largest);
    };
    ForEachDifference(
        a, b, shape.Width(), shape.Height(), [&](uint32_t x, uint32_t y, const int64_t* difference, int channels) {
            uint8_t* pixel = picture->Row(y) + 3 * static_cast<size_t>(x);
            for (int c = 0; c < 3; ++c) {
                pixel[c] = stretch(channels == 1 ? difference[0] : std::max(difference[c], difference[3]));
            }
        });
    return picture;
}

json Facts(const CompareOptions& options, const Differences& found) {
    json facts = {
        {"a", options.files[0]}, {"b", options.files[1]}, {"same", found.Same()}, {"differs-in", found.shape}};
    if (!found.compared) return facts;
    facts["pixels"] = found.pixels;
    facts["differing-pixels"] = found.differing;
    facts["largest"] = found.largest;
    const double count = static_cast<double>(std::max<uint64_t>(found.samples, 1));
    facts["mean"] = found.sum / count;
    // Of 8-bit channels; nothing where all are equal.
    if (found.squares > 0 && found.largestChannel != 4) {
        facts["psnr"] = 10 * std::log10(255.0 * 255.0 * count / found.squares);
    }
    if (found.largest > 0) {
        facts["largest-at"] = {found.largestX, found.largestY};
        facts["largest-channel"] = kChannels[found.largestChannel];
    }
    if (found.differing > 0) facts["where"] = {found.left, found.top, found.right, found.bottom};
    return facts;
}

void Print(const CompareOptions& options, const Differences& found) {
    if (found.Same()) {
        const bool exact = found.largest == 0;
        std::printf("%s%s\n", Paint(Tone::Green, "the same").c_str(),
                    exact ? "" : (" (differences up to " + std::to_string(found.largest) + ")").c_str());
        return;
    }
    std::printf("%s: %s, %s\n", Paint(Tone::Red, "different").c_str(), options.files[0].c_str(),
                options.files[1].c_str());
    for (const std::string& line : found.shape) std::printf("  %s\n", line.c_str());
    if (!found.compared) return;
    const json facts = Facts(options, found);
    std::printf(
        "  pixels: %llu of %llu (%.3g %%)\n", static_cast<unsigned long long>(found.differing),
        static_cast<unsigned long long>(found.pixels),
        100.0 * static_cast<double>(found.differing) / static_cast<double>(std::max<uint64_t>(found.pixels, 1)));
    if (found.differing > 0) {
        std::printf("  where: %u,%u to %u,%u\n", found.left, found.top, found.right, found.bottom);
        std::printf("  largest: %lld in %s at %u,%u\n", static_cast<long long>(found.largest),
                    kChannels[found.largestChannel], found.largestX, found.largestY);
        std::printf("  mean: %.4g\n", facts["mean"].get<double>());
        if (facts.contains("psnr")) std::printf("  psnr: %.2f dB\n", facts["psnr"].get<double>());
    }
}

CompareOptions ParseOptions(Words words) {
    CompareOptions options;
    CLI::App app;
    app.set_help_flag();
    app.add_option("files", options.files);
    app.add_option("-o,--out", options.output);
    app.add_option("--tolerance", options.tolerance)->check(CLI::NonNegativeNumber);
    app.add_option("--convert", options.convert);
    app.add_flag("--colours", options.colours);
    app.add_flag("--json", options.asJson);
    app.add_flag("-q,--quiet", options.quiet);
    app.add_flag("--overwrite", options.overwrite);
    std::reverse(words.begin(), words.end());
    try {
        app.parse(words);
    } catch (const CLI::ParseError& error) {
        throw Failure(kUsage, std::string("compare: ") + error.what());
    }
    if (options.files.size() != 2)
        throw Failure(kUsage, "compare: two pictures, not " + std::to_string(options.files.size()));
    return options;
}

}  // namespace

int CompareCommand(const Words& words) {
    const CompareOptions options = ParseOptions(words);
    velhost::LoadOptions load;
    try {
        if (!options.convert.empty()) load.convert = velhost::Conversions::Parse(options.convert);
    } catch (const velhost::Error& error) {
        throw Failure(kUsage, std::string("compare: --convert: ") + error.what());
    }
    const SmartPtr<Image> a = LoadPicture(options.files[0], load).image, b = LoadPicture(options.files[1], load).image;
    Differences found;
    CompareShapes(*a.Get(), *b.Get(), options.colours, &found);
    const Samples left(a), right(b);
    const bool sameSize = a->Width() == b->Width() && a->Height() == b->Height();
    if (left.Integers() != right.Integers()) {
        if (options.colours) found.shape.push_back("an integer image and a colour image");
    } else if (sameSize) {
        ComparePixels(left, right, *a.Get(), options.tolerance, &found);
    }
    if (options.asJson) {
        std::printf("%s\n", Facts(options, found).dump(2).c_str());
    } else if (!options.quiet) {
        Print(options, found);
    }
    if (!options.output.empty()) {
        if (!found.compared) throw Failure(kUsage, "compare: there is no difference picture of these two");
        velhost::SaveOptions save;
        save.overwrite = options.overwrite;
        SavePicture(*DifferencePicture(left, right, *a.Get(), found.largest).Get(), options.output, save);
    }
    return found.Same() ? kOk : kDifferent;
}

}  // namespace veltool
