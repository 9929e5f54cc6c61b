// Image arithmetic: operations that combine whole images into a destination.
#include <algorithm>

#include "Entries.h"
#include "../Image.h"
#include "../Module.h"

namespace velhost::entries {
namespace {

IVELMaths* Component(Call& call) { return call.Components().Maths(); }

const ImageArgument kFirst = {.name = "first", .doc = "the first image"};
const ImageArgument kSecond = {.name = "second", .doc = "the second image"};

ImageArgument Onto(std::string doc, bool required) {
    return {.name = "onto", .doc = std::move(doc), .role = ImageArgument::Destination, .required = required};
}

const char* const kMaskDoc = "an image with one byte a pixel, at least as large; pixels are computed where it is not 0";

Operation Base(std::string name, std::string method, std::string summary, std::string details, RuleCard rules) {
    Operation operation;
    operation.name = std::move(name);
    operation.component = "VELMaths";
    operation.method = std::move(method);
    operation.summary = std::move(summary);
    operation.details = std::move(details);
    operation.result = ResultKind::Destination;
    operation.rules = std::move(rules);
    operation.window = [](const Call&) { return Window{}; };
    return operation;
}

RuleCard PixelCard(std::vector<int> acts, std::vector<int> leavesAlone, std::vector<int> refuses) {
    RuleCard card;
    card.acts = std::move(acts);
    card.leavesAlone = std::move(leavesAlone);
    card.refuses = std::move(refuses);
    card.border = kNoBorder;
    card.window = kNoWindow;
    card.tiling = kTileFree;
    card.tileable = true;
    return card;
}

const char* const kNoImage = "an image is missing (nothing is written)";

// Where a row's walk depends on its length, a part of a row is not computed like the whole.
void OnlyWholeRows(RuleCard& card, std::string tiling) {
    card.tiling = std::move(tiling);
    card.tileable = false;
}

const char* const kSameFormats =
    "the two images must have the same depth and colour format; increase-bpp brings 8- and "
    "24-bit images to a greater depth";

// The number that makes Equal write `colour` into an image of that shape.
int ColourValue(const Colour& colour, const ImageInfo& info) {
    if (info.bitsPerPixel == 24 && !info.Mono()) {
        // Written with its highest byte first, so blue goes there.
        return static_cast<int>(RedFirst(colour));
    }
    if (info.bitsPerPixel == 32 && !info.Mono()) return static_cast<int>(BlueFirst(colour) | 0xFF000000u);
    return (colour.red + colour.green + colour.blue + 1) / 3;
}

Operation Equal() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16}, {});
    card.depths =
        "the mask is ignored at 24 bits; MONO images of 1 and 4 bits are not allowed; MONO images of 16 and 24 bits "
        "are "
        "written as rows of 32-bit words; all planes are set";
    card.rounding = card.saturation = "8 bits: the low byte of the value";
    card.alpha = "part of the value (bits 24 to 31); 255 with --colour";
    card.results = {{"S_OK", "done, also when the depth is one that is left alone"}, {"E_INVALIDARG", kNoImage}};
    Operation op =
        Base("equal", "Equal", "Set every pixel, or every pixel under a mask, to one value",
             "An assignment, not a comparison. As a number the value is 0xAARRGGBB at 32 bits, 0xBBGGRR at 24 bits, "
             "the byte at 8 bits, the integer in MONO images; --colour puts the bytes right by itself.",
             std::move(card));
    op.aliases = {"fill"};
    op.images = {Input(), Mask(kMaskDoc)};
    op.result = ResultKind::InPlace;
    op.palette = PaletteUse::Keeps;
    op.parameters = {
        Integer("value", "the value as a number", INT32_MIN, UINT32_MAX, int64_t{0}),
        Optional({.name = "colour",
                  .type = ValueType::Colour,
                  .doc = "the value as a colour, in place of --value; the mean of the three below 24 bits"}),
    };
    op.mainParameter = "colour";
    op.mainValues = {"#d0452c", "#2c7bd0"};
    op.example = {{"colour", "#d0452c"}};
    op.run = [](Call& call) {
        IVEL* image = call.Image("input");
        const ImageInfo info = InfoOf(image);
        call.result = image;
        const int value = call.Has("colour")
                              ? ColourValue(call.As<Colour>("colour"), info)
                              : static_cast<int>(static_cast<uint32_t>(std::get<int64_t>(call.Get("value"))));
        return Component(call)->Equal(image, call.Image("mask"), value);
    };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        if (info.bitsPerPixel < 8 && info.Mono()) {
            return Verdict{Verdict::Impossible, DepthText(info) + " images without a palette cannot be set"};
        }
        if (info.bitsPerPixel == 24 && call.Image("mask") && !info.Mono()) {
            return Verdict{Verdict::Acts, "the mask is ignored at 24 bits: every pixel is set"};
        }
        if (info.Mono() && (info.bitsPerPixel == 16 || info.bitsPerPixel == 24)) {
            return Verdict{Verdict::Acts, DepthText(info) + " images are written as rows of 32-bit words"};
        }
        if (info.bitsPerPixel == 8 || info.bitsPerPixel == 24 || info.bitsPerPixel == 32) return Verdict{};
        return Verdict{Verdict::LeavesAlone, DepthText(info) + " images are not written"};
    };
    op.rules.namesChannels = true;
    return op;
}

Operation Copy() {
    RuleCard card = PixelCard({8, 16, 24, 32}, {1, 4}, {});
    card.depths =
        "equal depths; 8 to 24 and 32 bits as grey; 32 to 24 without alpha; 16-bit BGR to 24 bits of format BGR or 0; "
        "all "
        "other pairs are refused. At 1 and 4 bits no whole byte is a pixel, and nothing is copied";
    card.border = "what does not fit into the destination is cut off";
    card.rounding = "5- and 6-bit channels are shifted up, low bits 0";
    card.saturation = "none needed";
    card.alpha = "copied at equal depth, 255 from 8 to 32 bits, dropped from 32 to 24";
    OnlyWholeRows(card, "the source can be pasted part by part, each at its own position");
    card.results = {{"S_OK", "done"},
                    {"E_INVALIDARG", kNoImage},
                    {"E_FAIL",
                     "a position outside the destination, or a pair of depths that is not handled (nothing is "
                     "written); always from 16 to 24 bits, although the pixels are written"}};
    Operation op =
        Base("copy", "Copy", "Paste one image into another at a position",
             "Plane 0 only. An image pasted into itself is copied row by row from the top.", std::move(card));
    op.aliases = {"paste"};
    op.images = {{.name = "source", .doc = "the image that is pasted"}, Onto("the image that is pasted into", true)};
    op.palette = PaletteUse::Keeps;
    op.parameters = {OfPoint("position", "where the source's first pixel goes", 0, INT32_MAX, Point{0, 0})};
    op.mainParameter = "position";
    op.mainValues = {"0,0", "40,30", "120,60"};
    op.run = [](Call& call) {
        const Point& position = call.As<Point>("position");
        call.result = call.Image("onto");
        return Component(call)->Copy(call.Image("onto"), call.Image("source"), nullptr, static_cast<int>(position.x),
                                     static_cast<int>(position.y));
    };
    op.verdict = [](const Call& call) {
        const ImageInfo source = InfoOf(call.Image("source")), onto = InfoOf(call.Image("onto"));
        const Point& position = call.As<Point>("position");
        if (position.x >= onto.width || position.y >= onto.height) {
            return Verdict{Verdict::Refuses, "the position lies outside the destination of " +
                                                 std::to_string(onto.width) + "x" + std::to_string(onto.height)};
        }
        if (source.bitsPerPixel == onto.bitsPerPixel) {
            if (source.bitsPerPixel >= 8) return Verdict{};
            return Verdict{Verdict::LeavesAlone, DepthText(source) + " images are not copied"};
        }
        const bool toColour = onto.bitsPerPixel == 24 || onto.bitsPerPixel == 32;
        if (source.bitsPerPixel == 8 && toColour) return Verdict{};
        if (source.bitsPerPixel == 32 && onto.bitsPerPixel == 24) return Verdict{};
        if (source.bitsPerPixel == 16 && source.format == FORMAT_BGR && onto.bitsPerPixel == 24 &&
            (onto.format == FORMAT_BGR || onto.format == 0)) {
            return Verdict{Verdict::ActsButFails, {}};
        }
        return Verdict{Verdict::Refuses, "there is no copy from " + DepthText(source) + " to " + DepthText(onto) +
                                             "; increase-bpp can bring the smaller depth to 24 or 32 bits"};
    };
    return op;
}

Verdict SameDepthAndFormat(const Call& call) {
    const ImageInfo first = InfoOf(call.Image("first")), second = InfoOf(call.Image("second"));
    if (first.bitsPerPixel != second.bitsPerPixel || first.format != second.format) {
        return {Verdict::Refuses, DepthText(first) + " and " + DepthText(second) + ": " + kSameFormats};
    }
    if (first.bitsPerPixel == 8 || first.bitsPerPixel == 24 || first.bitsPerPixel == 32) return {};
    return {Verdict::LeavesAlone, DepthText(first) + " images are not computed; the result is an unwritten image"};
}

Operation Add() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16}, {});
    card.depths = std::string(kSameFormats) +
                  "; 32-bit rows are walked as if they were 24-bit ones: their last quarter is not "
                  "written; all planes";
    card.rounding = "sum / divisor in single precision, truncated toward zero";
    card.saturation = "clamped to 0 to 255";
    card.alpha = "32 bits: summed like the other bytes in the first three quarters of a row, 0 in the last";
    card.border = "the second image must be at least as large as the first";
    OnlyWholeRows(card, "yes, pixel by pixel, at 8 and 24 bits; at 32 bits in whole rows only");
    card.results = {{"S_OK", "done; the destination has the first image's size and format"},
                    {"E_INVALIDARG", "an image is missing (nothing is made)"},
                    {"E_FAIL", "the depths or formats differ (nothing is made)"}};
    Operation op =
        Base("add", "Add", "Add two images, channel by channel, and divide",
             "Divisor 0 does not divide. Divisor 2 multiplies by 4: use add-scale to average. The destination is made "
             "anew before the sources are read, so a source that is the destination too is empty by then.",
             std::move(card));
    op.images = {kFirst, kSecond};
    op.result = ResultKind::NewImage;
    op.parameters = {Real("divisor", "what the sum is divided by; 0 divides by nothing", -1e9, 1e9, 0.0)};
    op.mainParameter = "divisor";
    op.mainValues = {"0", "1.5", "3", "4"};
    op.run = [](Call& call) {
        SmartPtr<Image> made = Image::New();
        call.result = made.Get();
        return Component(call)->Add(made.Get(), call.Image("first"), call.Image("second"),
                                    static_cast<float>(call.Float("divisor")));
    };
    op.verdict = [](const Call& call) {
        const ImageInfo first = InfoOf(call.Image("first")), second = InfoOf(call.Image("second"));
        if (second.width < first.width || second.height < first.height) {
            return Verdict{Verdict::Impossible,
                           "the second image (" + std::to_string(second.width) + "x" + std::to_string(second.height) +
                               ") must be at least as large as the first (" + std::to_string(first.width) + "x" +
                               std::to_string(first.height) + ")"};
        }
        return SameDepthAndFormat(call);
    };
    op.rules.blueFirst = {32};
    return op;
}

Operation Subtract() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16}, {});
    card.depths = std::string(kSameFormats) + "; the smaller of both widths and heights is computed; all planes";
    card.rounding = "none needed";
    card.saturation = "negative differences become 0, or positive in the absolute modes";
    card.alpha = "32 bits: 255, or 0 in the modes with alpha 0";
    card.results = {
        {"0 or more", "done; the number of colour values above 1 that were stored (24 and 32 bits), else 0"},
        {"E_INVALIDARG", kNoImage},
        {"E_FAIL", "the depths or formats differ (nothing is written)"}};
    Operation op = Base("subtract", "Subtract", "Subtract one image from another and count the differences",
                        "At 8 and 24 bits every mode but clip means absolute differences.", std::move(card));
    op.images = {kFirst, kSecond, Onto("where the difference goes; made like the first image when left out", false)};
    op.parameters = {Enumeration("mode", "what becomes of negative differences",
                                 {{0, "clip", "they become 0; alpha 255"},
                                  {1, "absolute", "they become positive; alpha 255"},
                                  {2, "clip-alpha-0", "32 bits: as clip with alpha 0; else absolute"},
                                  {3, "absolute-alpha-0", "as absolute with alpha 0"}},
                                 int64_t{0})};
    op.mainParameter = "mode";
    op.mainValues = {"clip", "absolute"};
    op.example = {{"mode", "absolute"}};
    op.counts = "colour values above 1 that were stored, at 24 and 32 bits; 0 at 8 bits";
    op.run = [](Call& call) {
        if (const HRESULT code = DestinationOr(call, "onto", call.Image("first"), 0, 0); Failed(code)) return code;
        const HRESULT code =
            Component(call)->Subtract(call.result.Get(), call.Image("first"), call.Image("second"), call.Int("mode"));
        if (!Failed(code)) call.count = code;
        return code;
    };
    op.verdict = [](const Call& call) {
        if (IVEL* onto = call.Image("onto")) {
            const ImageInfo first = InfoOf(call.Image("first")), second = InfoOf(call.Image("second"));
            const ImageInfo info = InfoOf(onto);
            if (info.bitsPerPixel != first.bitsPerPixel || info.width < std::min(first.width, second.width) ||
                info.height < std::min(first.height, second.height) || info.planes < first.planes) {
                return Verdict{Verdict::Impossible,
                               "the destination must have the depth of the first image and hold the "
                               "smaller of both sizes"};
            }
        }
        return SameDepthAndFormat(call);
    };
    return op;
}

Operation AddScale() {
    RuleCard card = PixelCard({8, 16, 24, 32}, {1, 4}, {});
    card.depths =
        "equal depths of the two images and the destination: every byte is computed, also each byte of 16 bits; mixes "
        "of 24 and 32 bits: the "
        "colours "
        "are; any other mix is refused; the smallest of the sizes; plane 0 only";
    card.rounding = "single precision, product + product + offset, each step rounded, the result truncated";
    card.saturation = "clamped to 0 to 255";
    card.alpha = "computed like the colours when all depths are equal, else not written";
    card.results = {{"S_OK", "done"},
                    {"E_INVALIDARG", "one of the two images or the destination is missing (nothing is written)"},
                    {"E_FAIL",
                     "a mix of depths with one below 24 (nothing is written); always for a masked mix of 24 and 32 "
                     "bits, although the pixels are written"}};
    Operation op =
        Base("add-scale", "AddScale", "Weighted sum of two images and an offset, where a mask says so",
             "first * first-factor + second * second-factor + offset. Without --onto the destination is made like "
             "the first image, all 0, and stays so where the mask is 0.",
             std::move(card));
    op.aliases = {"blend"};
    op.images = {kFirst, kSecond, Onto("where the sum goes; made like the first image when left out", false),
                 Mask(kMaskDoc)};
    op.parameters = {
        Real("first-factor", "weight of the first image", -1e9, 1e9, 0.5),
        Real("second-factor", "weight of the second image", -1e9, 1e9, 0.5),
        Real("offset", "added to the sum", -1e9, 1e9, 0.0, "levels"),
    };
    op.mainParameter = "second-factor";
    op.mainValues = {"-0.5", "0.2", "0.5", "1"};
    op.run = [](Call& call) {
        if (const HRESULT code = DestinationOr(call, "onto", call.Image("first"), 0, 0); Failed(code)) return code;
        return Component(call)->AddScale(call.result.Get(), call.Image("first"), call.Image("second"),
                                         call.Image("mask"), static_cast<float>(call.Float("first-factor")),
                                         static_cast<float>(call.Float("second-factor")),
                                         static_cast<float>(call.Float("offset")));
    };
    op.verdict = [](const Call& call) {
        const ImageInfo first = InfoOf(call.Image("first")), second = InfoOf(call.Image("second"));
        const ImageInfo onto = call.Image("onto") ? InfoOf(call.Image("onto")) : first;
        if (first.bitsPerPixel == second.bitsPerPixel && first.bitsPerPixel == onto.bitsPerPixel) {
            if (first.bitsPerPixel >= 8) return Verdict{};
            return Verdict{Verdict::LeavesAlone, DepthText(first) + " images are not computed"};
        }
        if (std::min({first.bitsPerPixel, second.bitsPerPixel, onto.bitsPerPixel}) < 24) {
            return Verdict{Verdict::Refuses, DepthText(first) + ", " + DepthText(second) + " and " + DepthText(onto) +
                                                 " cannot be mixed; increase-bpp brings 8-bit images to 24 or 32 bits"};
        }
        return Verdict{call.Image("mask") ? Verdict::ActsButFails : Verdict::Acts, {}};
    };
    return op;
}

// What Scale makes of a pair of shapes.
Verdict ScalePair(const ImageInfo& from, const ImageInfo& to) {
    Verdict refused{Verdict::Refuses, "there is no scaling from " + DepthText(from) + " to " + DepthText(to)};
    const bool colour = from.bitsPerPixel == 32 || from.bitsPerPixel == 24;
    if (from.Mono32()) {
        return to.bitsPerPixel == 8 || to.bitsPerPixel == 24 || to.bitsPerPixel == 32 ? Verdict{} : refused;
    }
    if (from.bitsPerPixel == 8) {
        return to.bitsPerPixel == 8 || to.bitsPerPixel == 24 || to.Mono32() ? Verdict{} : refused;
    }
    if (!colour || (from.bitsPerPixel == 24 && from.Mono())) return refused;
    if (to.bitsPerPixel == 8 || (from.bitsPerPixel == 32 && to.bitsPerPixel == 24)) return {};
    if (from.bitsPerPixel == 24 && to.bitsPerPixel == 32) {
        return {Verdict::Acts, "from 24 to 32 bits only the first pixel of each row is written"};
    }
    if (from.bitsPerPixel == to.bitsPerPixel) {
        return {Verdict::Acts, "between colour images of equal depth only the first " + std::to_string(from.width) +
                                   " bytes of each row are written"};
    }
    return refused;
}

Operation Scale() {
    RuleCard card = PixelCard({8, 24, 32}, {}, {1, 4, 16});
    card.depths =
        "32-bit integers to 8, 24, 32 bits and integers; 32-bit colour to 24, to 8 (of the sum blue + green + red), to "
        "32 "
        "(the first width bytes of a row only); 24-bit colour to 8 (of the sum), to 24 (the first width bytes of a row "
        "only), to 32 (the first pixel of a row only); 8 bits to 8, 24 and 32-bit integers. The smaller of both sizes; "
        "all planes, at 8 to 8 bits plane 0";
    card.rounding = "value * factor + offset in single precision, truncated";
    card.saturation =
        "clamped to 0 to 255; integers to 0 to 2147483647; the 24- and 32-bit colour to 32-bit cases only from below, "
        "bytes then keep their low 8 bits";
    card.alpha = "not written, but for bytes among the first of a 32-bit row";
    OnlyWholeRows(card, "yes, pixel by pixel; in whole rows only where a part of the row is written");
    card.results = {{"S_OK", "done"},
                    {"E_INVALIDARG", "the source or the destination is missing (nothing is written)"},
                    {"E_FAIL", "a pair of formats that is not handled (nothing is written)"}};
    Operation op =
        Base("scale", "Scale", "Map values linearly into an image of the same or another depth",
             "How measured integers become a picture, and 8-bit greys integers. The mask counts only from 8 to 8 bits. "
             "Without --onto the destination is made like the source, with --depth and --format.",
             std::move(card));
    op.images = {{.name = "source", .doc = "the image whose values are mapped"},
                 Onto("where the values go; made like the source when left out", false),
                 Mask(kMaskDoc)};
    op.parameters = {
        Real("factor", "what each value is multiplied by", -1e30, 1e30, 1.0),
        Real("offset", "added to each product", -1e30, 1e30, 0.0),
        Depth("depth of the destination that is made; 0 keeps the source's", int64_t{0}),
        Format("colour-format code of the destination that is made; auto follows from its depth, or is the source's"),
    };
    op.mainParameter = "factor";
    op.mainValues = {"0.25", "0.5", "2"};
    op.example = {{"factor", "0.3333333"}, {"depth", "8"}};
    op.run = [](Call& call) {
        if (const HRESULT code = DestinationOr(call, "onto", call.Image("source"), call.Int("depth"), MadeFormat(call));
            Failed(code)) {
            return code;
        }
        return Component(call)->Scale(call.result.Get(), call.Image("source"), call.Image("mask"),
                                      static_cast<float>(call.Float("factor")),
                                      static_cast<float>(call.Float("offset")));
    };
    op.verdict = [](const Call& call) {
        const ImageInfo source = InfoOf(call.Image("source"));
        if (call.Image("onto")) return ScalePair(source, InfoOf(call.Image("onto")));
        ImageInfo made = source;
        if (call.Int("depth") != 0) made.bitsPerPixel = static_cast<uint32_t>(call.Int("depth"));
        if (const uint32_t format = MadeFormat(call)) made.format = format;
        return ScalePair(source, made);
    };
    return op;
}

Operation CreateDestImage() {
    RuleCard card = PixelCard({1, 4, 8, 16, 24, 32}, {}, {});
    card.rounding = card.saturation = "none needed";
    card.alpha = "0, as the new image has it";
    card.results = {{"S_OK", "done; the new image is delivered"},
                    {"E_INVALIDARG", "no model was given"},
                    {"E_FAIL", "the host made no new image"}};
    Operation op = Base("create-dest-image", "CreateDestImage", "Make an empty image shaped like another",
                        "Size and planes are the model's; every pixel is 0.", std::move(card));
    op.aliases = {"new-like"};
    op.images = {{.name = "model", .doc = "the image whose shape is taken"}};
    op.result = ResultKind::NewImage;
    op.palette = PaletteUse::Keeps;
    op.parameters = {Depth("the new image's depth; 0 keeps the model's", int64_t{0}),
                     Format("colour-format code of the new image; auto follows from its depth, or is the model's")};
    op.mainParameter = "depth";
    op.run = [](Call& call) { return MakeDestination(call, call.Image("model"), call.Int("depth"), MadeFormat(call)); };
    return op;
}

Operation Scale8() {
    RuleCard card = PixelCard({32}, {1, 4, 8}, {16, 24});
    card.depths =
        "the source must be MONO: 32 bits are scaled, less than 9 bits give an unwritten image, 16 and 24 bits (if "
        "they "
        "are MONO) are read as rows of 32-bit words; all planes";
    card.rounding = "value * factor in double precision, truncated toward zero, then the offset is added";
    card.saturation = "clamped to 0 to 255";
    card.alpha = "there is none";
    card.results = {{"S_OK", "done; an 8-bit MONO image"},
                    {"E_INVALIDARG", "an image is missing (nothing is made)"},
                    {"0xF0040031", "the source is not MONO (nothing is made)"}};
    Operation op = Base("scale8", "Scale8", "Turn a 32-bit integer image into an 8-bit one",
                        "value * factor + offset, clamped.", std::move(card));
    op.images = {{.name = "source", .doc = "the integer image"}};
    op.result = ResultKind::NewImage;
    op.parameters = {Integer("offset", "added to each product", INT32_MIN / 2, INT32_MAX / 2, int64_t{0}, "levels"),
                     Real("factor", "what each value is multiplied by", -1e9, 1e9, 1.0)};
    op.mainParameter = "factor";
    op.mainValues = {"0.001", "0.01", "0.1"};
    op.example = {{"factor", "0.2"}};
    op.exampleFiles = "--convert widen -i measure.png -o result.png";
    op.run = [](Call& call) {
        SmartPtr<Image> made = Image::New();
        call.result = made.Get();
        return Component(call)->Scale8(made.Get(), call.Image("source"), call.Int("offset"), call.Float("factor"));
    };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("source"));
        if (!info.Mono()) {
            return Verdict{Verdict::Refuses, DepthText(info) + " images are not MONO; scale takes colour images"};
        }
        if (info.bitsPerPixel == 32) return Verdict{};
        if (info.bitsPerPixel > 8) {
            return Verdict{Verdict::Acts, DepthText(info) + " rows are read as 32-bit integers"};
        }
        return Verdict{Verdict::LeavesAlone, "only 32-bit integers are scaled; the result is an unwritten 8-bit image"};
    };
    return op;
}

}  // namespace

void AddMaths(std::vector<Operation>& list) {
    for (auto* make : {Equal, Copy, AddScale, Scale, Subtract, CreateDestImage, Add, Scale8}) list.push_back(make());
}

}  // namespace velhost::entries
