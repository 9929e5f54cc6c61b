// Neighbourhood filters: each makes a new image of the source's size and format.
#include "Entries.h"
#include "../Image.h"
#include "../Module.h"

namespace velhost::entries {
namespace {

const std::vector<std::pair<std::string, std::string>> kResults = {
    {"S_OK", "done; the new image is delivered"},
    {"E_FAIL", "no image was given, or the host made no new one"},
};

IVELFilterTransform* Component(Call& call) { return call.Components().Filter(); }

const char* const kAlphaOfLast =
    "at 32 bits the alpha of the neighbour at the window's lower right corner; 1 where that lies outside the image";

RuleCard FilterCard() {
    RuleCard card;
    card.acts = {1, 4, 8, 24, 32};
    card.leavesAlone = {16};
    card.depths =
        "1, 4 and 8 bits are read as greys and written as the nearest grey, whatever the image's palette; at 16 bits "
        "the new image is never written";
    card.border = kOutsideIsFirstPixel;
    card.alpha = kAlphaOfLast;
    card.tiling = kTileMargin;
    card.tileable = true;
    card.results = kResults;
    return card;
}

Operation Base(std::string name, std::string method, std::string summary, std::string details, RuleCard rules) {
    Operation operation;
    operation.name = std::move(name);
    operation.component = "VELFilterTransform";
    operation.method = std::move(method);
    operation.summary = std::move(summary);
    operation.details = std::move(details);
    operation.images = {Input()};
    operation.result = ResultKind::NewImage;
    operation.rules = std::move(rules);
    operation.verdict = [](const Call& call) {
        if (InfoOf(call.Image("input")).bitsPerPixel != 16) return Verdict{};
        return Verdict{Verdict::LeavesAlone, "filters do not write 16-bit images; the result is an unwritten image"};
    };
    return operation;
}

// The runs of operations that take nothing but the image, and of those that take one whole number.
template <auto Method>
HRESULT Plain(Call& call) {
    return MakeNew(call, [&](IVEL** made) { return (Component(call)->*Method)(call.Image("input"), made); });
}
template <auto Method, const auto& Name>
HRESULT WithInt(Call& call) {
    return MakeNew(call,
                   [&](IVEL** made) { return (Component(call)->*Method)(call.Image("input"), call.Int(Name), made); });
}
constexpr char kSize[] = "size";
constexpr char kLevel[] = "level";
constexpr char kRadius[] = "radius";

// Offsets of a window of `size`: an even size reaches one further to the left and upwards.
Window Square(int64_t size) {
    if (size < 1) return {};
    const int64_t half = size / 2;
    return {half, half, size - half - 1, size - half - 1};
}
Window Square3(const Call&) { return Square(3); }
const char* const kWindowBySize =
    "size x size, from -(size / 2) to size - size / 2 - 1: an even size reaches one further "
    "left and up";
const char* const kWindow3 = "3 x 3";

Parameter WindowSize() { return Integer("size", "width and height of the window", 1, 999, int64_t{3}, "pixels"); }

// The four fixed convolutions.
Operation Fixed(std::string name, std::string method, std::string summary, std::string details, std::string rounding,
                HRESULT (*run)(Call&)) {
    RuleCard card = FilterCard();
    card.rounding = std::move(rounding);
    card.saturation = "clamped to 0 to 255";
    card.window = kWindow3;
    Operation op = Base(std::move(name), std::move(method), std::move(summary), std::move(details), std::move(card));
    op.window = Square3;
    op.run = run;
    return op;
}

Operation Emboss() {
    return Fixed("emboss", "Emboss", "Turn brightness differences along the diagonal into a relief",
                 "Each channel becomes (lower left) - (upper right) + 127; a flat area becomes 127.",
                 "none: a difference", Plain<&IVELFilterTransform::Emboss>);
}
Operation Blur() {
    return Fixed("blur", "Blur", "Replace each pixel by the mean of its 3 x 3 neighbourhood",
                 "All nine weights are equal.", "sum / 9, truncated", Plain<&IVELFilterTransform::Blur>);
}
Operation Soften() {
    return Fixed("soften", "Soften", "Blur slightly",
                 "The centre weighs half, its eight neighbours share the other half.", "sum / 16, truncated",
                 Plain<&IVELFilterTransform::Soften>);
}
Operation Sharpen() {
    return Fixed("sharpen", "Sharpen", "Strengthen differences from the neighbourhood",
                 "The centre weighs 15, each of its eight neighbours -1.", "sum / 7, truncated toward zero",
                 Plain<&IVELFilterTransform::Sharpen>);
}

Operation GaussianBlur() {
    RuleCard card = FilterCard();
    card.rounding = "sum / divisor, truncated";
    card.saturation = "clamped to 0 to 255";
    card.window = "3 x 3 at level 0, 5 x 5 above";
    card.results.push_back({"E_FAIL", "a level other than 0 to 3 (nothing is created)"});
    Operation op =
        Base("gaussian-blur", "GaussianBlur", "Blur with one of four bell-shaped kernels",
             "Level 2 darkens slightly: its coefficients sum to 268 and are divided by 273.", std::move(card));
    op.parameters = {Enumeration("level", "the kernel",
                                 {{0, "fine", "3 x 3, divisor 16"},
                                  {1, "medium", "5 x 5, divisor 52"},
                                  {2, "wide", "5 x 5, divisor 273, slightly darker"},
                                  {3, "widest", "5 x 5, divisor 159"}},
                                 int64_t{0})};
    op.mainParameter = "level";
    op.mainValues = {"0", "1", "2", "3"};
    op.example = {{"level", "3"}};
    op.run = WithInt<&IVELFilterTransform::GaussianBlur, kLevel>;
    op.window = [](const Call& call) { return Square(call.Int("level") == 0 ? 3 : 5); };
    return op;
}

Parameter KernelParameter(std::string doc) {
    return {.name = "kernel", .type = ValueType::Kernel, .doc = std::move(doc)};
}
Parameter Divisor() {
    return Integer("divisor", "what the sum is divided by, truncated toward zero; 0 divides by nothing", INT32_MIN,
                   INT32_MAX, int64_t{0});
}
Parameter Offset() { return Integer("offset", "added after the division", INT32_MIN, INT32_MAX, int64_t{0}, "levels"); }

Operation Filter() {
    RuleCard card = FilterCard();
    card.rounding = "32-bit sums that wrap; sum / divisor truncated toward zero, then the offset is added";
    card.saturation = "clamped to 0 to 255";
    card.window = kWindowBySize;
    Operation op =
        Base("filter", "Filter", "Weigh each pixel's neighbourhood with a kernel of whole numbers",
             "The kernel's first row weighs the row above; nothing is mirrored. Mind the divisor: a kernel whose "
             "coefficients sum to n usually wants divisor n.",
             std::move(card));
    op.aliases = {"convolve"};
    op.parameters = {
        KernelParameter("coefficients row by row, rows separated by '/' (0 -1 0 / -1 5 -1 / 0 -1 0), or @file"),
        Divisor(), Offset()};
    op.mainParameter = "kernel";
    op.mainValues = {"0 -1 0 / -1 5 -1 / 0 -1 0", "-1 0 1 / -2 0 2 / -1 0 1", "-1 -1 -1 / -1 8 -1 / -1 -1 -1"};
    op.example = {{"kernel", "0 -1 0 / -1 5 -1 / 0 -1 0"}};
    op.run = [](Call& call) {
        Kernel kernel = call.As<Kernel>("kernel");
        return MakeNew(call, [&](IVEL** made) {
            return Component(call)->Filter(call.Image("input"), kernel.coefficients.data(), kernel.size,
                                           call.Int("divisor"), call.Int("offset"), made);
        });
    };
    op.window = [](const Call& call) { return Square(call.As<Kernel>("kernel").size); };
    return op;
}

Operation KernelOfIntegers() {
    RuleCard card = FilterCard();
    card.acts = {32};
    card.leavesAlone = {1, 4, 8, 16, 24};
    card.depths =
        "only 32-bit integer (MONO) images are computed; any other image gives a new one that was never written";
    card.border = "positions whose window leaves the image are not written";
    card.alpha = "there is none";
    card.rounding = "value / divisor truncated toward zero, then the offset is added";
    card.saturation = "clamped to 0 to 255";
    card.window = kWindowBySize;
    card.results = {
        {"S_OK", "done; the new image is delivered, written or not"},
        {"E_INVALIDARG", "no image or no kernel was given, or the kernel is larger than the image; nothing is made"},
        {"E_FAIL", "the host made no new image"}};
    Operation op = Base(
        "kernel", "Kernel", "Scale and shift a 32-bit integer image by a kernel's last coefficient",
        "Of the kernel only the last coefficient and of the window only the lower right pixel enter; the value "
        "goes to the window's centre. Nothing is computed when the height equals the kernel's size. Reached "
        "through the class's own table, not through its interface. A host's GetBits is taken to give the stride in "
        "32-bit values for it, not in bytes.",
        std::move(card));
    op.parameters = {KernelParameter("coefficients from -32768 to 32767, as for filter"), Divisor(), Offset()};
    op.parameters[0].minimum = INT16_MIN;
    op.parameters[0].maximum = INT16_MAX;
    op.example = {{"kernel", "0 0 0 / 0 0 0 / 0 0 1"}, {"divisor", "5"}};
    op.exampleFiles = "--convert widen -i measure.png -o result.tif";
    op.run = [](Call& call) {
        const Kernel& kernel = call.As<Kernel>("kernel");
        std::vector<short> coefficients(kernel.coefficients.begin(), kernel.coefficients.end());
        return MakeNew(call, [&](IVEL** made) {
            // This one operation counts a stride in pixels, and the host's images tell it so.
            const StrideInValues scope;
            return call.Components().FilterTable()->Kernel(call.Image("input"), coefficients.data(), kernel.size,
                                                           call.Int("divisor"), call.Int("offset"), made);
        });
    };
    op.window = [](const Call& call) { return Square(call.As<Kernel>("kernel").size); };
    op.verdict = [](const Call& call) {
        if (InfoOf(call.Image("input")).Mono32()) return Verdict{};
        return Verdict{Verdict::LeavesAlone,
                       "only 32-bit integer (MONO) images are computed; the result is an unwritten image; "
                       "'scale --depth 32 --format mono' makes such an image of an 8-bit one"};
    };
    return op;
}

Operation Morphology(std::string name, std::string method, std::string summary, std::string details,
                     HRESULT (*run)(Call&)) {
    RuleCard card = FilterCard();
    card.rounding = card.saturation = "none needed";
    card.window = kWindowBySize;
    Operation op = Base(std::move(name), std::move(method), std::move(summary), std::move(details), std::move(card));
    op.parameters = {WindowSize()};
    op.mainParameter = "size";
    op.mainValues = {"3", "5", "9", "15"};
    op.example = {{"size", "5"}};
    op.window = [](const Call& call) { return Square(call.Int("size")); };
    op.run = run;
    return op;
}

Operation Erode() {
    return Morphology("erode", "Erode", "Replace each channel by the darkest value around it",
                      "Channels are independent of each other.", WithInt<&IVELFilterTransform::Erode, kSize>);
}
Operation Dilate() {
    return Morphology("dilate", "Dilate", "Replace each channel by the brightest value around it",
                      "Channels are independent of each other.", WithInt<&IVELFilterTransform::Dilate, kSize>);
}
Operation Edge() {
    return Morphology("edge", "Edge", "Replace each channel by the spread of the values around it",
                      "Brightest minus darkest; a flat area becomes black.",
                      WithInt<&IVELFilterTransform::Edge, kSize>);
}
Operation Median() {
    Operation op = Morphology(
        "median", "Median", "Replace each pixel by the one of middle brightness around it",
        "Whole pixels are ranked by (117 blue + 601 green + 306 red) >> 10; with an even count it is the upper "
        "of the two in the middle. Pixels of equal rank stand in the order of the window's columns, from the left, "
        "each "
        "from the top, so the pick is always the same.",
        WithInt<&IVELFilterTransform::Median, kSize>);
    op.rules.alpha = "moves with the pixel that is chosen; 1 where that lies outside the image";
    op.rules.results = {{"S_OK", "done; the new image is delivered"},
                        {"E_INVALIDARG", "a size below 1; nothing is made"},
                        {"E_FAIL", "no image was given, no memory, or the host made no new image"}};
    op.rules.blueFirst = {24, 32};
    return op;
}

Operation Contour() {
    RuleCard card = FilterCard();
    card.rounding = "none needed";
    card.saturation = "none: bytes";
    card.alpha = kAlphaKept;
    card.window = kWindow3;
    Operation op =
        Base("contour", "Contour", "Draw dark lines where a neighbour is brighter than the pixel",
             "A running value m starts at 0; a neighbour whose difference from the centre exceeds m makes m the "
             "neighbour's own value; the channel becomes 255 - m. A flat area becomes white.",
             std::move(card));
    op.window = Square3;
    op.run = Plain<&IVELFilterTransform::Contour>;
    return op;
}

// The random filters draw from the process-wide generator, which the caller seeds.
Operation Random(std::string name, std::string method, std::string summary, std::string details, RuleCard card) {
    card.tileable = false;
    card.tiling = "no: the draws follow the order of the pixels";
    Operation op = Base(std::move(name), std::move(method), std::move(summary), std::move(details), std::move(card));
    return op;
}

Operation Jitter() {
    RuleCard card = FilterCard();
    card.border = "a displaced position outside falls back to the pixel itself";
    card.rounding = "offsets are truncated toward zero";
    card.saturation = "none needed";
    card.alpha = "moves with the pixel";
    card.random = "two draws of rand() a pixel, also with radius 0";
    card.window = "the pixels up to radius away in both directions";
    Operation op =
        Random("jitter", "Jitter", "Replace each pixel by one picked at random nearby",
               "Each offset is trunc((u - 0.5) * 2 * radius) with u from 0 to 1. The same seed gives the same image.",
               std::move(card));
    op.parameters = {Integer("radius", "the largest offset in each direction", 0, 32767, int64_t{4}, "pixels")};
    op.mainParameter = "radius";
    op.mainValues = {"2", "5", "10", "20"};
    op.run = WithInt<&IVELFilterTransform::Jitter, kRadius>;
    op.window = [](const Call& call) {
        const int64_t radius = call.Int("radius");
        return Window{radius, radius, radius, radius};
    };
    return op;
}

Operation Noise() {
    RuleCard card = FilterCard();
    card.border = kNoBorder;
    card.rounding = "amounts are truncated toward zero";
    card.saturation = "clamped to 0 to 255";
    card.alpha = kAlphaKept;
    card.random = "three draws of rand() a pixel (red, green, blue), also with level 0";
    card.window = kNoWindow;
    Operation op = Random("noise", "Noise", "Add random amounts to each channel",
                          "Each channel moves by at most level / 2 either way. The same seed gives the same image.",
                          std::move(card));
    op.parameters = {Integer("level", "width of the range of random amounts", 0, 65535, int64_t{40}, "levels")};
    op.mainParameter = "level";
    op.mainValues = {"16", "48", "96", "192"};
    op.run = WithInt<&IVELFilterTransform::Noise, kLevel>;
    op.window = [](const Call&) { return Window{}; };
    op.rules.blueFirst = {24, 32};
    return op;
}

}  // namespace

void AddFilterTransform(std::vector<Operation>& list) {
    for (auto* make : {Erode, Edge, Dilate, Filter, Contour, Jitter, Noise, Median, Emboss, Blur, Soften, Sharpen,
                       GaussianBlur, KernelOfIntegers}) {
        list.push_back(make());
    }
}

}  // namespace velhost::entries
