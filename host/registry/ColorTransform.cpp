// Colour transforms: every operation changes its image in place.
#include "Entries.h"
#include "../Module.h"

namespace velhost::entries {
namespace {

const std::vector<std::pair<std::string, std::string>> kResults = {
    {"S_OK", "done, also when the depth is one that is left alone"},
    {"E_FAIL", "no image was given"},
};
const std::vector<std::pair<std::string, std::string>> kAlphaResults = {
    {"S_OK", "done"},
    {"E_FAIL", "no image was given, or it has fewer than 25 bits per pixel (nothing is written)"},
};

IVELColorTransform* Component(Call& call) { return call.Components().Color(); }

HRESULT InPlace(Call& call, HRESULT code) {
    call.result = call.Image("input");
    return code;
}

// What all of them have in common: the pixel alone decides.
RuleCard PixelCard(std::vector<int> acts, std::vector<int> leavesAlone, std::vector<int> refuses = {}) {
    RuleCard card;
    card.acts = std::move(acts);
    card.leavesAlone = std::move(leavesAlone);
    card.refuses = std::move(refuses);
    card.border = kNoBorder;
    card.alpha = kAlphaKept;
    card.window = kNoWindow;
    card.tiling = kTileFree;
    card.tileable = true;
    card.results = kResults;
    return card;
}

Operation Base(std::string name, std::string method, std::string summary, std::string details, RuleCard rules) {
    Operation operation;
    operation.name = std::move(name);
    operation.component = "VELColorTransform";
    operation.method = std::move(method);
    operation.summary = std::move(summary);
    operation.details = std::move(details);
    operation.images = {Input()};
    operation.result = ResultKind::InPlace;
    operation.rules = std::move(rules);
    operation.window = [](const Call&) { return Window{}; };
    return operation;
}

Operation Colorize() {
    RuleCard card = PixelCard({1, 4, 8, 24, 32}, {16});
    card.depths =
        "1, 4 and 8 bits stay grey: the tinted colour is written back as the nearest grey, so only lightness changes";
    card.rounding =
        "lightness is (min + max + 1) / 2, rounded down; the conversion works in single precision and truncates; "
        "the mix is (old * (256 - a) + new * a) >> 8 with a = trunc(blend * 256)";
    card.saturation = "none needed";
    Operation op =
        Base("colorize", "Colorize", "Give the image one hue, keeping each pixel's lightness",
             "Every pixel keeps its lightness and takes the given hue and saturation; the result is mixed with the "
             "old colour by blend. Above 0.999 the old colour is replaced altogether.",
             std::move(card));
    op.parameters = {
        Integer("hue", "the hue: 0 red, 85 green, 170 blue, 255 red again", 0, 255, {}, "1/255 turn"),
        Integer("saturation", "0 gives greys, 255 pure colour", 0, 255, int64_t{128}),
        Real("blend", "part of the new colour: 0 changes nothing, 1 replaces the old colour", 0, 1, 1.0),
    };
    op.mainParameter = "hue";
    op.mainValues = {"0", "32", "85", "128", "170", "212"};
    op.example = {{"hue", "24"}};
    op.run = [](Call& call) {
        return InPlace(call, Component(call)->Colorize(call.Image("input"), static_cast<unsigned char>(call.Int("hue")),
                                                       static_cast<unsigned char>(call.Int("saturation")),
                                                       static_cast<float>(call.Float("blend"))));
    };
    op.rules.blueFirst = {24, 32};
    return op;
}

Operation Lut() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16});
    card.rounding = card.saturation = "none: the table's entries are the results";
    card.results = {kResults[0], {"E_FAIL", "no image or no table was given"}};
    Operation op =
        Base("lut", "Lut", "Send every channel value through a table of 256 entries",
             "At 24 and 32 bits blue, green and red go through the same table; at 8 bits the pixel's byte does.",
             std::move(card));
    op.parameters = {
        {.name = "table",
         .type = ValueType::Table,
         .doc = "256 values, or a curve of in:out points joined by straight lines (0:255,255:0), or @file"}};
    op.mainParameter = "table";
    op.mainValues = {"0:0,64:32,192:224,255:255", "0:64,255:192", "0:255,255:0"};
    op.example = {{"table", "0:0,64:32,192:224,255:255"}};
    op.run = [](Call& call) {
        Table table = call.As<Table>("table");
        return InPlace(call, Component(call)->Lut(call.Image("input"), table.data()));
    };
    return op;
}

Operation Negative() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16});
    card.rounding = card.saturation = "none needed";
    Operation op =
        Base("negative", "Negative", "Replace every channel value v by 255 - v",
             "Done twice it restores the image. An 8-bit image has its bytes complemented, whatever its palette.",
             std::move(card));
    op.run = [](Call& call) { return InPlace(call, Component(call)->Negative(call.Image("input"))); };
    return op;
}

Operation GrayScale() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16});
    card.depths = "1, 4 and 16 bits: the image takes over a new one of its format whose pixels were never written";
    card.rounding =
        "24 and 32 bits: the mean of the three channels, rounded down; 8 bits: (117 a + 601 b + 306 c) >> 10";
    card.saturation = "none needed";
    card.border =
        "8 bits: the two bytes after a row's last pixel are read as they are in memory, 0 beyond the pixel block";
    card.window = "the pixel alone; at 8 bits the pixel and the two to its right";
    card.tiling = "yes at 24 and 32 bits; at 8 bits with a margin of two pixels to the right";
    card.results = {kResults[0],
                    {"E_FAIL", "no image was given, or the host made no new one (the image is unchanged)"}};
    Operation op =
        Base("grayscale", "GrayScale", "Make colours grey, keeping the depth",
             "The format stays what it was: a 24-bit image stays 24-bit with three equal channels. An 8-bit row is "
             "weighed as if three bytes in a row were blue, green and red.",
             std::move(card));
    op.aliases = {"gray-scale", "greyscale", "grey-scale"};
    op.result = ResultKind::Replaces;
    op.run = [](Call& call) { return InPlace(call, Component(call)->GrayScale(call.Image("input"))); };
    op.window = [](const Call& call) { return Window{0, 0, InfoOf(call.Image("input")).bitsPerPixel == 8 ? 2 : 0, 0}; };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        if (info.bitsPerPixel == 1 || info.bitsPerPixel == 4 || info.bitsPerPixel == 16) {
            return Verdict{Verdict::LeavesAlone, "at " + DepthText(info) + " depth the pixels are lost, not made grey"};
        }
        return Verdict{};
    };
    return op;
}

Operation ShiftRgb() {
    RuleCard card = PixelCard({1, 4, 8, 24, 32}, {16});
    card.depths = "1, 4 and 8 bits: the shifted colour is written back as the nearest grey";
    card.rounding = "none needed";
    card.saturation = "sums below 1 become 0, above 255 become 255";
    Operation op = Base("shift-rgb", "ShiftRGB", "Add a number to each of red, green and blue",
                        "The three shifts are independent of each other.", std::move(card));
    op.parameters = {
        Integer("red", "added to red", -255, 255, int64_t{0}, "levels"),
        Integer("green", "added to green", -255, 255, int64_t{0}, "levels"),
        Integer("blue", "added to blue", -255, 255, int64_t{0}, "levels"),
    };
    op.mainParameter = "red";
    op.mainValues = {"-120", "-60", "60", "120"};
    op.example = {{"red", "40"}, {"blue", "-40"}};
    op.run = [](Call& call) {
        return InPlace(
            call, Component(call)->ShiftRGB(call.Image("input"), call.Int("red"), call.Int("green"), call.Int("blue")));
    };
    op.rules.namesChannels = true;
    return op;
}

Operation Gamma() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16});
    card.rounding = "one table in double precision, truncated";
    card.saturation = "entries of 255 or more become 255, below 1 become 0";
    Operation op = Base("gamma", "Gamma", "Brighten (above 1) or darken (below 1) the middle tones",
                        "Value v becomes 255 (v / 255)^(1 / gamma); 0 and 255 stay where they are.", std::move(card));
    op.parameters = {Real("value", "the exponent's reciprocal; 1 changes nothing", 0.01, 100)};
    op.mainParameter = "value";
    op.mainValues = {"0.4", "0.7", "1.4", "2.2", "3"};
    op.example = {{"value", "1.8"}};
    op.run = [](Call& call) {
        return InPlace(call, Component(call)->Gamma(call.Image("input"), static_cast<float>(call.Float("value"))));
    };
    return op;
}

Operation Light() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16});
    card.rounding = "one table in single precision, truncated toward zero";
    card.saturation = "clamped to 0 to 255";
    Operation op = Base("light", "Light", "Change brightness and contrast",
                        "Value v becomes (v - 128) (contrast + 100) / 100 + brightness + 128.", std::move(card));
    op.parameters = {
        Integer("brightness", "added to every value", -1000, 1000, int64_t{0}, "levels"),
        Integer("contrast", "-100 makes everything the brightness, 100 doubles distances from the middle", -1000, 1000,
                int64_t{0}, "%"),
    };
    op.mainParameter = "contrast";
    op.mainValues = {"-60", "-30", "30", "80"};
    op.example = {{"contrast", "40"}, {"brightness", "10"}};
    op.run = [](Call& call) {
        return InPlace(call, Component(call)->Light(call.Image("input"), call.Int("brightness"), call.Int("contrast")));
    };
    return op;
}

RuleCard AlphaCard() {
    RuleCard card = PixelCard({32}, {}, {1, 4, 8, 16, 24});
    card.rounding = card.saturation = "the low byte of the number is written";
    card.results = kAlphaResults;
    return card;
}

const char* const kAlphaDoc = "the alpha: 255 opaque; 0 writes 1, and 256 writes 0";

Operation SetImageAlpha() {
    RuleCard card = AlphaCard();
    card.alpha = "set to the given value everywhere";
    Operation op =
        Base("set-image-alpha", "SetImageAlpha", "Give every pixel one alpha value",
             "Colours stay as they are. Alpha 0 is kept for key colours: asking for 0 writes 1.", std::move(card));
    op.aliases = {"set-alpha"};
    op.parameters = {Integer("alpha", kAlphaDoc, 0, 256)};
    op.mainParameter = "alpha";
    op.mainValues = {"32", "96", "160", "224"};
    op.example = {{"alpha", "128"}};
    op.run = [](Call& call) {
        return InPlace(call, Component(call)->SetImageAlpha(call.Image("input"), call.Int("alpha"), 0));
    };
    return op;
}

Operation SetImageAlphaTransparency() {
    RuleCard card = AlphaCard();
    card.alpha = "0 where the colour equals the key, the given value elsewhere";
    Operation op = Base("set-image-alpha-transparency", "SetImageAlphaTransparency",
                        "Make one colour transparent and give all others one alpha value",
                        "The key must match exactly. Colours stay as they are.", std::move(card));
    op.parameters = {
        Integer("alpha", kAlphaDoc, 0, 256, int64_t{255}),
        {.name = "key", .type = ValueType::Colour, .doc = "the colour that becomes transparent"},
    };
    op.mainParameter = "alpha";
    op.mainValues = {"64", "128", "255"};
    op.example = {{"alpha", "128"}, {"key", "#ffffff"}};
    op.run = [](Call& call) {
        return InPlace(call, Component(call)->SetImageAlphaTransparency(call.Image("input"), call.Int("alpha"),
                                                                        RedFirst(call.As<Colour>("key"))));
    };
    op.rules.namesChannels = true;
    return op;
}

Operation SetImageTransparentPixel() {
    RuleCard card = AlphaCard();
    card.alpha = "0 where the colour equals the key, kept elsewhere";
    card.rounding = card.saturation = "none needed";
    Operation op = Base("set-image-transparent-pixel", "SetImageTransparentPixel",
                        "Make one colour transparent and leave all other pixels alone",
                        "The key must match exactly. Colours stay as they are.", std::move(card));
    op.parameters = {{.name = "key", .type = ValueType::Colour, .doc = "the colour that becomes transparent"}};
    op.example = {{"key", "#ffffff"}};
    op.run = [](Call& call) {
        return InPlace(
            call, Component(call)->SetImageTransparentPixel(call.Image("input"), RedFirst(call.As<Colour>("key"))));
    };
    op.rules.namesChannels = true;
    return op;
}

Operation Threshold() {
    RuleCard card = PixelCard({8, 24, 32}, {1, 4, 16});
    card.depths =
        "the image is made grey first; at 1 and 4 bits that loses the pixels, so what is compared is a new, "
        "unwritten image";
    card.rounding = "blue + green + red of the grey pixel is compared with 3 * level";
    card.saturation = "none needed";
    card.border = "8 bits: as grayscale";
    card.window = "the pixel alone; at 8 bits the pixel and the two to its right";
    card.tiling = "yes at 24 and 32 bits; at 8 bits with a margin of two pixels to the right";
    Operation op = Base("threshold", "Threshold", "Make pixels white above a level and black at or below it",
                        "The image goes through grayscale first.", std::move(card));
    op.parameters = {Integer("level", "the brightest grey that becomes black", -1, 255, int64_t{127}, "levels")};
    op.mainParameter = "level";
    op.mainValues = {"64", "96", "128", "160", "192"};
    op.run = [](Call& call) {
        return InPlace(call, Component(call)->Threshold(call.Image("input"), call.Int("level")));
    };
    op.window = [](const Call& call) { return Window{0, 0, InfoOf(call.Image("input")).bitsPerPixel == 8 ? 2 : 0, 0}; };
    op.verdict = [](const Call& call) {
        const ImageInfo info = InfoOf(call.Image("input"));
        if (info.bitsPerPixel == 1 || info.bitsPerPixel == 4 || info.bitsPerPixel == 16) {
            return Verdict{Verdict::LeavesAlone, "at " + DepthText(info) + " depth the pixels are lost, not compared"};
        }
        return Verdict{};
    };
    return op;
}

}  // namespace

void AddColorTransform(std::vector<Operation>& list) {
    for (auto* make : {Colorize, Lut, Negative, GrayScale, ShiftRgb, Gamma, Light, SetImageAlpha,
                       SetImageAlphaTransparency, SetImageTransparentPixel, Threshold}) {
        list.push_back(make());
    }
}

}  // namespace velhost::entries
