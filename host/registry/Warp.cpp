// Geometric transforms by corners and by coordinate mappings.
#include "Entries.h"
#include "../Module.h"

namespace velhost::entries {
namespace {

IVELTransform* Component(Call& call) { return call.Components().Transform(); }

Operation Base(std::string name, std::string method, std::string summary, std::string details, RuleCard rules) {
    Operation operation;
    operation.name = std::move(name);
    operation.component = "VELTransform";
    operation.method = std::move(method);
    operation.summary = std::move(summary);
    operation.details = std::move(details);
    operation.images = {Input()};
    operation.rules = std::move(rules);
    return operation;
}

Verdict NeedsWholeBytes(const Call& call, const char* image, const char* what) {
    const ImageInfo info = InfoOf(call.Image(image));
    if (info.bitsPerPixel == 8 || info.bitsPerPixel == 24 || info.bitsPerPixel == 32) return {};
    return {Verdict::LeavesAlone, std::string(what) + " at " + DepthText(info) + " depth"};
}

Operation Quad() {
    RuleCard card;
    card.acts = {8, 16, 24, 32};
    card.leavesAlone = {1, 4};
    card.depths = "the palette is not copied; plane 0 only";
    card.border = "the outermost source rows and columns are never sampled; points there and outside become 0";
    card.rounding =
        "positions in 1/256 pixel (at 8 bits the ends of each row's walk in whole ones); the four-pixel blend rounds "
        "to "
        "nearest";
    card.saturation = "none needed";
    card.alpha = "blended or copied like the colours, 0 outside";
    card.window = "2 x 2 with --interpolate (not at 8 bits), else one pixel, anywhere in the image";
    card.tiling = "no: a pixel may come from anywhere";
    card.results = {{"S_OK", "done; the new image is delivered"},
                    {"E_FAIL", "no image was given, or the host made no new one"},
                    {"E_POINTER", "no place for the result was given"}};
    Operation op =
        Base("quad", "Quad", "Cut out a region with four corners and straighten it",
             "For photographed documents and screens: the four corners become the corners of the new image. The blend "
             "weighs the four pixels by the sum of their distances.",
             std::move(card));
    const auto corner = [](const char* name, const char* doc) { return OfPoint(name, doc, -1e6, 1e6, {}, false); };
    op.parameters = {
        corner("top-left", "the corner that becomes the first pixel"),
        corner("top-right", "the corner at the end of the first row"),
        corner("bottom-left", "the corner at the start of the last row"),
        corner("bottom-right", "the corner at the end of the last row"),
        OfSize("size", "the new size; 0 takes the shorter of the two opposite edges", 0, 65535, Size{0, 0}),
        Switch("interpolate", "blend four pixels (not at 8 bits)", true),
    };
    op.example = {
        {"top-left", "40,20"}, {"top-right", "230,50"}, {"bottom-left", "20,180"}, {"bottom-right", "250,200"}};
    op.palette = PaletteUse::Keeps;
    op.run = [](Call& call) {
        const Point& p0 = call.As<Point>("top-left");
        const Point& p1 = call.As<Point>("top-right");
        const Point& p2 = call.As<Point>("bottom-left");
        const Point& p3 = call.As<Point>("bottom-right");
        const Size& size = call.As<Size>("size");
        return MakeNew(call, [&](IVEL** made) {
            return Component(call)->Quad(call.Image("input"), made, p0.x, p0.y, p1.x, p1.y, p2.x, p2.y, p3.x, p3.y,
                                         static_cast<unsigned int>(size.width), static_cast<unsigned int>(size.height),
                                         call.Flag("interpolate"));
        });
    };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        if (info.bitsPerPixel >= 8) return Verdict{};
        return Verdict{Verdict::LeavesAlone, "no pixels are written at " + DepthText(info) + " depth"};
    };
    return op;
}

Parameter MappingParameter(const char* doc) { return {.name = "map", .type = ValueType::Mapping, .doc = doc}; }

Operation Transform() {
    RuleCard card;
    card.acts = {8, 24, 32};
    card.leavesAlone = {1, 4, 16};
    card.depths = "other depths give an image of the background; the palette is not copied; plane 0 only";
    card.border = "points outside keep the background: opaque black for 32-bit ARGB and ABGR, else 0";
    card.rounding = "positions are truncated toward zero; one source pixel each, no interpolation";
    card.saturation = "none needed";
    card.alpha = "moves with the pixel, 255 on the background of ARGB and ABGR";
    card.window = "one pixel of the image";
    card.tiling = "yes, by --offset and --size, given the whole source";
    card.results = {{"S_OK", "done; the new image is delivered"},
                    {"E_FAIL", "no image or an empty one was given, or the host made no new image"},
                    {"E_INVALIDARG", "no mapping was given"},
                    {"E_POINTER", "no place for the result was given"}};
    Operation op = Base("transform", "Transform", "Warp an image: each new pixel asks a mapping where it comes from",
                        "The mapping gives source positions for new positions (inverse mapping).", std::move(card));
    op.parameters = {
        MappingParameter("from new positions to source positions"),
        OfPoint("offset", "position of the new image's first pixel, added before the mapping", INT32_MIN, INT32_MAX,
                Point{0, 0}),
        OfSize("size", "the new size; 0 takes the image's", 0, 65535, Size{0, 0}),
    };
    op.example = {{"map", "affine:0.9,-0.2,60,0.2,0.9,-30"}};
    op.palette = PaletteUse::Keeps;
    op.run = [](Call& call) {
        const Point& offset = call.As<Point>("offset");
        const Size& size = call.As<Size>("size");
        return MakeNew(call, [&](IVEL** made) {
            return Component(call)->Transform(call.As<Mapping>("map").transform.Get(), call.Image("input"), made,
                                              static_cast<int>(offset.x), static_cast<int>(offset.y),
                                              static_cast<unsigned int>(size.width),
                                              static_cast<unsigned int>(size.height), 0, 0);
        });
    };
    op.verdict = [](const Call& call) {
        return NeedsWholeBytes(call, "input", "nothing but the background is written");
    };
    return op;
}

Operation TransformPaste() {
    RuleCard card;
    card.acts = {8, 24, 32};
    card.leavesAlone = {1, 4, 16};
    card.depths = "the destination needs the source's depth; at 8 bits the last source column is never drawn";
    card.border = "positions outside the destination are dropped";
    card.rounding = "positions are rounded to the nearest pixel, halves upwards";
    card.saturation = "none needed";
    card.alpha = "moves with the pixel";
    card.window = "one pixel of the source";
    card.tiling = "no: later pixels overwrite earlier ones";
    card.results = {{"S_OK", "always, also when nothing could be written"},
                    {"E_FAIL", "an image is missing"},
                    {"E_INVALIDARG", "no mapping was given"}};
    Operation op =
        Base("transform-paste", "TransformPaste",
             "Warp an image into another: each source pixel asks a mapping where it goes",
             "The mapping gives destination positions for source positions (forward mapping). The holes that it leaves "
             "are smeared over, or with --mark-voids filled from their neighbours.",
             std::move(card));
    op.images = {{.name = "source", .doc = "the image that is warped and drawn"},
                 {.name = "onto", .doc = "the image that is drawn into", .role = ImageArgument::Destination}};
    op.result = ResultKind::Destination;
    op.parameters = {
        MappingParameter("from source positions to destination positions"),
        OfPoint("offset", "added after the mapping", INT32_MIN, INT32_MAX, Point{0, 0}),
        Switch("mark-voids", "draw each pixel once and fill the holes from their neighbours (24 and 32 bits)"),
    };
    op.palette = PaletteUse::Keeps;
    op.example = {{"map", "affine:0.9,0.2,-40,-0.2,0.9,60"}};
    op.run = [](Call& call) {
        const Point& offset = call.As<Point>("offset");
        call.result = call.Image("onto");
        return Component(call)->TransformPaste(call.As<Mapping>("map").transform.Get(), call.Image("source"),
                                               call.Image("onto"), static_cast<int>(offset.x),
                                               static_cast<int>(offset.y), call.Flag("mark-voids"), 0);
    };
    op.verdict = [](const Call& call) {
        if (InfoOf(call.Image("source")).bitsPerPixel != InfoOf(call.Image("onto")).bitsPerPixel) {
            return Verdict{Verdict::LeavesAlone,
                           "source and destination must have the same depth; increase-bpp can bring the "
                           "smaller one to 24 or 32 bits"};
        }
        return NeedsWholeBytes(call, "source", "nothing is written");
    };
    op.rules.blueFirst = {32};
    return op;
}

Operation FillVoids() {
    RuleCard card;
    card.acts = {8, 24, 32};
    card.refuses = {1, 4, 16};
    card.border = "the outermost rows and columns are not filled, but count as neighbours";
    card.rounding = "integer division";
    card.saturation = "none; at 32 bits whole words are summed and carry from channel to channel";
    card.alpha = "255 in filled pixels of ARGB and ABGR images";
    card.window = "the four neighbours above, below, left and right; earlier results count";
    card.tiling = "no: values filled earlier count for later ones";
    card.results = {{"S_OK", "done"}, {"E_FAIL", "no image was given, or a depth other than 8, 24 or 32"}};
    Operation op =
        Base("fill-voids", "FillVoids", "Fill pixels that are 0 with the mean of their neighbours",
             "At 24 bits each channel by itself, and only where at least three neighbours are not 0. Reached through "
             "the class's own table, not through its interface.",
             std::move(card));
    op.result = ResultKind::InPlace;
    op.run = [](Call& call) {
        call.result = call.Image("input");
        return call.Components().TransformTable()->FillVoids(call.Image("input"));
    };
    op.window = [](const Call&) { return Window{1, 1, 1, 1}; };
    op.rules.blueFirst = {32};
    return op;
}

}  // namespace

void AddWarp(std::vector<Operation>& list) {
    for (auto* make : {Quad, Transform, TransformPaste, FillVoids}) list.push_back(make());
}

}  // namespace velhost::entries
