// Geometric transforms that need no coordinate mapping: flips, turns, shear, sizes, depths.
#include <algorithm>
#include <numbers>

#include "Entries.h"
#include "../Image.h"
#include "../Module.h"

namespace velhost::entries {
namespace {

IVELTransform* Component(Call& call) { return call.Components().Transform(); }

const std::vector<std::pair<std::string, std::string>> kNewImageResults = {
    {"S_OK", "done; the new image is delivered"},
    {"E_FAIL", "no image was given, or the host made no new one"},
};
const std::pair<std::string, std::string> kNoResultPlace = {"E_POINTER", "no place for the result was given"};

const char* const kMethodNote = "kernels are not normalised: weights that do not sum to 1 brighten or darken";

RuleCard CopyCard(std::vector<int> acts, std::vector<int> leavesAlone) {
    RuleCard card;
    card.acts = std::move(acts);
    card.leavesAlone = std::move(leavesAlone);
    card.border = kNoBorder;
    card.rounding = card.saturation = "none: pixels are copied";
    card.alpha = "moves with the pixel";
    card.results = kNewImageResults;
    return card;
}

Operation Base(std::string name, std::string method, std::string summary, std::string details, RuleCard rules) {
    Operation operation;
    operation.name = std::move(name);
    operation.component = "VELTransform";
    operation.method = std::move(method);
    operation.summary = std::move(summary);
    operation.details = std::move(details);
    operation.images = {Input()};
    operation.result = ResultKind::NewImage;
    operation.rules = std::move(rules);
    return operation;
}

Operation Flip() {
    RuleCard card = CopyCard({1, 4, 8, 16, 24, 32}, {});
    card.depths = "whole rows are copied; the palette is not";
    card.window = "the pixel in the same column, rows counted from the other end";
    card.tiling = "yes, with the rows in reverse order";
    card.tileable = true;
    Operation op = Base("flip", "Flip", "Reverse the order of the rows", "Upside down. Plane 0 only.", std::move(card));
    op.palette = PaletteUse::Keeps;
    op.run = [](Call& call) {
        return MakeNew(call, [&](IVEL** made) { return Component(call)->Flip(call.Image("input"), made); });
    };
    return op;
}

Operation Mirror() {
    RuleCard card = CopyCard({8, 24, 32}, {1, 4, 16});
    card.depths = "other depths give a new image that was never written; the palette is not copied";
    card.window = "the pixel in the same row, columns counted from the other end";
    card.tiling = "yes, by rows";
    card.tileable = true;
    Operation op = Base("mirror", "Mirror", "Reverse the order of the pixels in each row",
                        "Left to right. Plane 0 only.", std::move(card));
    op.palette = PaletteUse::Keeps;
    op.run = [](Call& call) {
        return MakeNew(call, [&](IVEL** made) { return Component(call)->Mirror(call.Image("input"), made); });
    };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        if (info.bitsPerPixel == 8 || info.bitsPerPixel == 24 || info.bitsPerPixel == 32) return Verdict{};
        return Verdict{Verdict::LeavesAlone,
                       "mirror copies nothing at " + DepthText(info) + " depth; the result is an unwritten image"};
    };
    return op;
}

Operation FlipBits() {
    RuleCard card = CopyCard({24, 32}, {1, 4, 8, 16});
    card.alpha = kAlphaKept;
    card.window = kNoWindow;
    card.tiling = kTileFree;
    card.tileable = true;
    card.results = {{"S_OK", "done, also when the depth is one that is left alone"}, {"E_FAIL", "no image was given"}};
    Operation op = Base("flip-bits", "FlipBits", "Exchange red and blue", "Nothing moves, the name notwithstanding.",
                        std::move(card));
    op.aliases = {"swap-red-blue"};
    op.result = ResultKind::InPlace;
    op.run = [](Call& call) {
        call.result = call.Image("input");
        return Component(call)->FlipBits(call.Image("input"));
    };
    op.window = [](const Call&) { return Window{}; };
    return op;
}

std::string NoTurn(const ImageInfo& info) {
    return "no pixels are turned at " + DepthText(info) + " depth; the result is an unwritten image";
}

Operation Rotate4() {
    RuleCard card = CopyCard({8, 16, 24, 32}, {1, 4});
    card.depths =
        "1 and 4 bits give an image of the turned size that was never written; the palette is not copied; all planes "
        "are turned";
    card.border = "180 degrees: the last column takes what lies before the row in memory";
    card.window = "one pixel of the image";
    card.tiling = "yes, with turned parts; not at 180 degrees";
    card.results = {{"S_OK", "done, also for an angle that is none of the three (nothing is made then)"},
                    {"other", "the failing result of the image's GetFormat"}};
    Operation op =
        Base("rotate4", "Rotate4", "Turn by a quarter, a half or three quarters without loss",
             "The half turn is one pixel off an exact reflection: column c takes column width - 2 - c. Reached "
             "through the class's own table, not through its interface.",
             std::move(card));
    op.parameters = {Enumeration("angle", "the turn in degrees",
                                 {{90, "90", "a quarter"}, {180, "180", "a half"}, {270, "270", "three quarters"}},
                                 int64_t{90})};
    op.mainParameter = "angle";
    op.mainValues = {"90", "180", "270"};
    op.palette = PaletteUse::Keeps;
    op.run = [](Call& call) {
        SmartPtr<Image> made = Image::New();
        call.result = made.Get();
        return call.Components().TransformTable()->Rotate4(call.Image("input"), made.Get(), call.Int("angle"));
    };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        if (info.bitsPerPixel >= 8) return Verdict{};
        return Verdict{Verdict::LeavesAlone, NoTurn(info)};
    };
    return op;
}

// The angles that rotate hands on to rotate4.
bool IsQuarterTurn(int angle) { return angle == 90 || angle == 180 || angle == 270 || angle == -90; }

Operation Rotate() {
    RuleCard card = CopyCard({1, 4, 8, 24, 32}, {16});
    card.depths =
        "made for 24 and 32 bits: at 8 bits and less written pixels are one byte and skipped ones three; 16-bit "
        "pixels are read as black; turns without loss are rotate4's at every depth, and keep the palette";
    card.border =
        "only positions from 3 to size - 4 are sampled; everything else is the colour of pixel (0, 0), opaque";
    card.rounding = std::string("truncated; ") + kMethodNote;
    card.saturation = "clamped to 0 to 255";
    card.alpha =
        "sampled like the colours (255 by integer-bilinear); with --force32 a 24-bit image's is 0 where it is sampled; "
        "255 where nothing is";
    card.window =
        "one pixel (nearest-neighbour, integer-bilinear), 12 x 12 (lanczos6), else 4 x 4, anywhere in the image";
    card.tiling = "no: a pixel may come from anywhere";
    card.results = {{"S_OK",
                     "done; the new image is delivered (the image itself for 0 degrees; an empty one when its "
                     "Create failed)"},
                    kNoResultPlace,
                    {"E_FAIL", "no image was given, or the host made no new one"}};
    Operation op =
        Base("rotate", "Rotate", "Turn by any whole number of degrees",
             "90, 180, 270 and -90 are turned without loss, as by rotate4; 0 gives the image itself.", std::move(card));
    op.parameters = {
        Integer("angle", "the turn; rotate-paste turns the other way", -1000000, 1000000, {}, "degrees"),
        Method(4),
        Switch("keep-size",
               "keep width and height and turn about the centre, instead of growing to hold the turned image"),
        Switch("force32", "make a 32-bit image"),
    };
    op.mainParameter = "angle";
    op.mainValues = {"-30", "15", "45", "90", "180"};
    op.example = {{"angle", "-30"}};
    op.run = [](Call& call) {
        return MakeNew(call, [&](IVEL** made) {
            return Component(call)->Rotate(call.Image("input"), made, call.Int("angle"), call.Int("method"),
                                           call.Flag("force32"), call.Flag("keep-size"));
        });
    };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        if (info.bitsPerPixel >= 24 || call.Int("angle") == 0) return Verdict{};
        if (IsQuarterTurn(call.Int("angle"))) {
            return info.bitsPerPixel >= 8 ? Verdict{} : Verdict{Verdict::LeavesAlone, NoTurn(info)};
        }
        if (info.bitsPerPixel == 16) return Verdict{Verdict::LeavesAlone, "16-bit pixels are read as black"};
        return Verdict{Verdict::Acts, "at " + DepthText(info) + " depth general angles leave the pixels scattered"};
    };
    op.paletteOf = [](const Call& call) {
        const bool copies = call.Int("angle") == 0 || IsQuarterTurn(call.Int("angle"));
        return copies ? PaletteUse::Keeps : PaletteUse::Ignores;
    };
    return op;
}

Operation RotatePaste() {
    RuleCard card = CopyCard({1, 4, 8, 16, 24, 32}, {});
    card.depths = "any source, 16-bit ones being read as black; the destination needs 24 or 32 bits";
    card.border = "positions from 0 to width and height (included) are sampled; beyond them the destination stays";
    card.rounding = std::string("truncated; ") + kMethodNote;
    card.saturation = "clamped to 0 to 255";
    card.alpha =
        "a 32-bit source is blended by its sampled alpha (0 near the border by the 4 x 4 kernels, 255 by "
        "integer-bilinear); the destination's alpha becomes the sampled one";
    card.window =
        "one pixel (nearest-neighbour, integer-bilinear), 12 x 12 (lanczos6), else 4 x 4, anywhere in the image";
    card.tiling = "no: a pixel may come from anywhere";
    card.results = {{"S_OK", "done"}, {"E_FAIL", "no image was given"}, {"E_POINTER", "no destination was given"}};
    Operation op = Base("rotate-paste", "RotatePaste", "Draw the turned image into the top left corner of another",
                        "The turned image's bounding box starts at the destination's first pixel.", std::move(card));
    op.images = {{.name = "source", .doc = "the image that is turned and drawn"},
                 {.name = "onto", .doc = "the image that is drawn into", .role = ImageArgument::Destination}};
    op.result = ResultKind::Destination;
    op.parameters = {
        Real("angle", "the turn, in the other sense than rotate's", -1000000, 1000000, {}, "degrees"),
        Method(4),
        Optional({.name = "transparent",
                  .type = ValueType::Colour,
                  .doc = "a colour that is not drawn (sources below 32 bits); none when left out"}),
    };
    op.mainParameter = "angle";
    op.mainValues = {"-30", "10", "45"};
    op.example = {{"angle", "15"}};
    op.run = [](Call& call) {
        // No 24-bit colour equals -1.
        const int transparent =
            call.Has("transparent") ? static_cast<int>(BlueFirst(call.As<Colour>("transparent"))) : -1;
        call.result = call.Image("onto");
        return Component(call)->RotatePaste(call.Image("source"), call.Image("onto"),
                                            call.Float("angle") * std::numbers::pi / 180.0, call.Int("method"),
                                            transparent);
    };
    op.verdict = [](const Call& call) {
        const ImageInfo onto = InfoOf(call.Image("onto"));
        if (onto.bitsPerPixel >= 24) {
            const bool black = InfoOf(call.Image("source")).bitsPerPixel == 16;
            return Verdict{Verdict::Acts, black ? "16-bit pixels are read as black" : ""};
        }
        return Verdict{Verdict::Impossible, "a " + DepthText(onto) +
                                                " image cannot be drawn into; increase-bpp brings 8-bit "
                                                "images to 24 or 32 bits"};
    };
    op.rules.namesChannels = true;
    return op;
}

Operation Skew() {
    RuleCard card = CopyCard({1, 4, 8, 24, 32}, {16});
    card.depths = "1, 4 and 8 bits are read as greys and written as the nearest grey; 16-bit pixels are read as black";
    card.border = kOutsideIsFirstPixel;
    card.rounding = "source positions are truncated toward zero; one source pixel each, no interpolation";
    card.alpha = "moves with the pixel, 1 where the source lies outside; with --force32 255 inside";
    card.window = "one pixel of the image";
    card.tiling = "no: a pixel may come from anywhere";
    card.results.push_back(kNoResultPlace);
    Operation op = Base("skew", "Skew", "Shear along the rows, the columns or both",
                        "The size stays; what leaves the frame is lost.", std::move(card));
    op.parameters = {
        Real("x-factor", "shift along the row for each row of distance from the pivot", -1000, 1000, 0.0, "pixels/row"),
        Real("y-factor", "shift along the column for each column of distance from the pivot", -1000, 1000, 0.0,
             "pixels/column"),
        OfPoint("pivot", "the point that stays; 0 means the middle, in each direction", INT32_MIN, INT32_MAX,
                Point{0, 0}),
        Switch("force32", "make a 32-bit image with alpha"),
    };
    op.mainParameter = "x-factor";
    op.mainValues = {"-0.5", "-0.2", "0.2", "0.5"};
    op.example = {{"x-factor", "0.3"}};
    op.run = [](Call& call) {
        const Point& pivot = call.As<Point>("pivot");
        return MakeNew(call, [&](IVEL** made) {
            return Component(call)->Skew(call.Image("input"), made, static_cast<float>(call.Float("x-factor")),
                                         static_cast<float>(call.Float("y-factor")), static_cast<int>(pivot.x),
                                         static_cast<int>(pivot.y), 0, call.Flag("force32"));
        });
    };
    op.verdict = [](const Call& call) {
        if (InfoOf(call.Image("input")).bitsPerPixel != 16) return Verdict{};
        if (call.Flag("force32")) return Verdict{Verdict::Acts, "16-bit pixels are read as black"};
        return Verdict{Verdict::LeavesAlone, "16-bit pixels are read as black and not written"};
    };
    return op;
}

// A side of 0 follows the other in the image's proportion.
Size Proportional(Size size, const ImageInfo& info) {
    const auto scaled = [](int64_t side, int64_t from, int64_t to) {
        return from > 0 ? std::max<int64_t>(1, (side * to + from / 2) / from) : side;
    };
    if (size.width == 0 && size.height == 0) return {info.width, info.height};
    if (size.width == 0) size.width = scaled(size.height, info.height, info.width);
    if (size.height == 0) size.height = scaled(size.width, info.width, info.height);
    return size;
}

// Whether resample samples between pixels, instead of copying some.
bool Interpolates(const Call& call) {
    const ImageInfo info = InfoOf(call.Image("input"));
    const Size size = Proportional(call.As<Size>("size"), info);
    if (size.width == info.width && size.height == info.height) return false;
    return info.bitsPerPixel < 8 || (call.Int("mode") == 0 && (size.width < info.width || size.height < info.height));
}

Operation Resample() {
    RuleCard card = CopyCard({1, 4, 8, 16, 24, 32}, {});
    card.depths =
        "shrinking by interpolation does not write 16-bit images; at 1 and 4 bits every path samples with the method";
    card.border = "positions outside take the colour of pixel (0, 0)";
    card.rounding =
        std::string("shrinking: truncated, and columns snap to multiples of 3 at 24 bits and of 4 at 32 bits; ") +
        kMethodNote + "; otherwise pixels are copied from floor(position)";
    card.saturation = "clamped to 0 to 255";
    card.alpha =
        "copied; when shrinking as the method samples it: 0 near the border by the 4 x 4 kernels, 255 by "
        "integer-bilinear but for the last row and column";
    card.window = "one pixel, or the method's 4 x 4 or 12 x 12 when shrinking";
    card.tiling = "yes, with the positions of the whole image";
    card.results.push_back(kNoResultPlace);
    card.results.push_back({"other", "the failing result of the image's GetFormat"});
    Operation op = Base(
        "resample", "Resample", "Scale to a width and height",
        "Shrinking samples with the method; enlarging, and shrinking with mode replicate, repeats or drops pixels. "
        "The same size gives a copy.",
        std::move(card));
    op.aliases = {"resize"};
    op.parameters = {
        OfSize("size", "the new size; a side of 0 (or left out: 800x) keeps the proportion", 0, INT32_MAX),
        Method(4),
        Enumeration("mode", "how to shrink",
                    {{0, "interpolate", "sample with the method"}, {1, "replicate", "pick pixels"}}, int64_t{0}),
    };
    op.mainParameter = "size";
    op.mainValues = {"64x", "160x", "320x"};
    op.example = {{"size", "160x"}};
    op.run = [](Call& call) {
        const Size size = Proportional(call.As<Size>("size"), InfoOf(call.Image("input")));
        return MakeNew(call, [&](IVEL** made) {
            return Component(call)->Resample(call.Image("input"), made, static_cast<int>(size.width),
                                             static_cast<int>(size.height), call.Int("method"), call.Int("mode"));
        });
    };
    op.verdict = [](const Call& call) {
        if (InfoOf(call.Image("input")).bitsPerPixel != 16 || !Interpolates(call)) return Verdict{};
        return Verdict{Verdict::LeavesAlone,
                       "16-bit images are not written when they are interpolated; --mode replicate does"};
    };
    op.paletteOf = [](const Call& call) { return Interpolates(call) ? PaletteUse::Ignores : PaletteUse::Keeps; };
    return op;
}

Operation IncreaseBpp() {
    RuleCard card = CopyCard({1, 4, 8, 24}, {16, 32});
    card.depths =
        "8 to 24 or 32 bits through the image's palette or as grey, 24 to 32; other pairs give a new image that was "
        "never written; a depth that is not greater gives the image itself; 1- and 4-bit images are read one byte "
        "a pixel, which is not what they hold";
    card.alpha = "255 from greys and from 24 bits; 0, as the new image has it, from a palette";
    card.window = kNoWindow;
    card.tiling = kTileFree;
    card.tileable = true;
    card.results = {{"S_OK", "done; the new image is delivered"},
                    {"S_FALSE", "the depth is not greater: the image itself is the result"},
                    {"E_FAIL", "no image was given, or the host made no new one"},
                    kNoResultPlace,
                    {"other", "the failing result of the new image's Create"}};
    Operation op = Base("increase-bpp", "IncreaseBpp", "Convert to a greater depth: 8 to 24 or 32 bits, 24 to 32",
                        "The way to make an 8-bit or palette image ready for the colour operations.", std::move(card));
    op.aliases = {"to-depth"};
    op.parameters = {
        Depth("the new depth", int64_t{24}),
        Format("colour-format code of the new image; auto is BGR at 24 bits and ARGB at 32"),
    };
    op.mainParameter = "depth";
    op.mainValues = {"24", "32"};
    op.palette = PaletteUse::Reads;
    op.run = [](Call& call) {
        return MakeNew(call, [&](IVEL** made) {
            return Component(call)->IncreaseBpp(call.Image("input"), made, call.Int("depth"), MadeFormat(call));
        });
    };
    op.window = [](const Call&) { return Window{}; };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        const uint32_t depth = static_cast<uint32_t>(call.Int("depth"));
        if (depth <= info.bitsPerPixel) {
            return Verdict{Verdict::LeavesAlone,
                           "the image has " + std::to_string(info.bitsPerPixel) + " bits already"};
        }
        if (info.bitsPerPixel == 8 && info.palette && depth == 32) {
            return Verdict{Verdict::Acts,
                           "alpha is 0 everywhere when a palette is expanded to 32 bits; set-image-alpha --alpha 255 "
                           "makes the image opaque"};
        }
        if (info.bitsPerPixel < 8 && depth >= 24) {
            return Verdict{Verdict::Acts,
                           "bytes are read one a pixel, which is not what a " + DepthText(info) + " image holds"};
        }
        if ((info.bitsPerPixel == 8 && depth >= 24) || (info.bitsPerPixel == 24 && depth == 32)) return Verdict{};
        return Verdict{Verdict::LeavesAlone, "there is no conversion from " + DepthText(info) + " to " +
                                                 std::to_string(depth) + " bits; the result is an unwritten image"};
    };
    return op;
}

}  // namespace

void AddImageTransform(std::vector<Operation>& list) {
    for (auto* make : {Flip, Mirror, Rotate, Skew, Resample, IncreaseBpp, RotatePaste, FlipBits, Rotate4}) {
        list.push_back(make());
    }
}

}  // namespace velhost::entries
