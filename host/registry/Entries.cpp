#include "Entries.h"

#include "../Image.h"
#include "../Module.h"

namespace velhost::entries {

const char* const kOutsideIsFirstPixel = "pixels outside the image count as the colour of pixel (0, 0) with alpha 1";
const char* const kNoWindow = "the pixel alone";
const char* const kNoBorder = "nothing outside the image is looked at";
const char* const kAlphaKept = "kept";
const char* const kTileFree = "yes, pixel by pixel";
const char* const kTileMargin =
    "yes, with a margin of the window, given the whole image's first pixel for what lies outside";

// --- Parameters -------------------------------------------------------------------------------------------------

Parameter Integer(std::string name, std::string doc, int64_t minimum, int64_t maximum, Value defaultValue,
                  std::string unit) {
    return {.name = std::move(name),
            .type = ValueType::Integer,
            .doc = std::move(doc),
            .defaultValue = std::move(defaultValue),
            .minimum = static_cast<double>(minimum),
            .maximum = static_cast<double>(maximum),
            .unit = std::move(unit)};
}

Parameter Real(std::string name, std::string doc, double minimum, double maximum, Value defaultValue,
               std::string unit) {
    return {.name = std::move(name),
            .type = ValueType::Float,
            .doc = std::move(doc),
            .defaultValue = std::move(defaultValue),
            .minimum = minimum,
            .maximum = maximum,
            .unit = std::move(unit)};
}

Parameter Switch(std::string name, std::string doc, bool defaultValue) {
    return {.name = std::move(name), .type = ValueType::Boolean, .doc = std::move(doc), .defaultValue = defaultValue};
}

Parameter Enumeration(std::string name, std::string doc, std::vector<Choice> choices, Value defaultValue) {
    return {.name = std::move(name),
            .type = ValueType::Enumeration,
            .doc = std::move(doc),
            .defaultValue = std::move(defaultValue),
            .choices = std::move(choices)};
}

Parameter Method(int64_t defaultMethod) {
    return Enumeration(
        "method", "how positions between pixels are sampled",
        {{0, "nearest-neighbour", "the nearest pixel"},
         {1, "integer-bilinear", "the pixel at the truncated position"},
         {2, "b-spline", "cubic B-spline: smooth, blurs"},
         {3, "bicubic-sharp", "cubic convolution with parameter -1: crisp, rings"},
         {4, "catmull-rom", "cubic convolution with parameter -0.5"},
         {5, "lanczos6", "sinc windowed by sinc, 12 x 12 pixels"},
         {6, "box", "the pixel whose half-open unit square holds the position"},
         {7, "hermite", "cubic Hermite, 2 x 2 pixels"},
         {8, "hermite-scaled", "Hermite with its cubic part scaled by 0.92; slightly brighter"},
         {9, "sinc", "sinc without a window, cut at 4 x 4 pixels"},
         {10, "blackman-window", "the Blackman window as a kernel, without a cut: brightens up to white"},
         {11, "bessel", "first-order Bessel kernel; darkens or brightens"},
         {12, "gaussian", "Gaussian: smooth, blurs"},
         {13, "quadratic", "piecewise quadratic: smooth, blurs"},
         {14, "mitchell", "Mitchell-Netravali cubic, B = C = 1/3"},
         {15, "catmull-rom-half", "catmull-rom in another order of operations"}},
        defaultMethod);
}

Parameter Format(std::string doc) {
    return Enumeration("format", std::move(doc),
                       {{0, "auto", "the usual one"},
                        {FORMAT_MONO, "mono", "one value a pixel; a signed integer at 32 bits"},
                        {FORMAT_BGR, "bgr", "blue, green, red"},
                        {FORMAT_ABGR, "abgr", "with alpha"},
                        {FORMAT_ARGB, "argb", "with alpha"}},
                       int64_t{0});
}

Parameter Depth(std::string doc, Value defaultValue) {
    const bool mayKeep = defaultValue == Value(int64_t{0});
    std::vector<Choice> choices;
    if (mayKeep) choices.push_back({0, "same", "as the image has it"});
    for (const int depth : {1, 4, 8, 16, 24, 32}) choices.push_back({depth, std::to_string(depth), "bits per pixel"});
    return Enumeration("depth", std::move(doc), std::move(choices), std::move(defaultValue));
}

Parameter OfSize(std::string name, std::string doc, int64_t minimum, int64_t maximum, Value defaultValue) {
    Parameter parameter = Integer(std::move(name), std::move(doc), minimum, maximum, std::move(defaultValue), "pixels");
    parameter.type = ValueType::Size;
    return parameter;
}

Parameter OfPoint(std::string name, std::string doc, double minimum, double maximum, Value defaultValue, bool whole) {
    Parameter parameter = Real(std::move(name), std::move(doc), minimum, maximum, std::move(defaultValue), "pixels");
    parameter.type = ValueType::Point;
    parameter.whole = whole;
    return parameter;
}

Parameter Optional(Parameter parameter) {
    parameter.optional = true;
    return parameter;
}

// --- Images -----------------------------------------------------------------------------------------------------

ImageArgument Input(std::string doc) { return {.name = "input", .doc = std::move(doc)}; }

ImageArgument Mask(std::string doc) {
    return {.name = "mask", .doc = std::move(doc), .role = ImageArgument::Mask, .required = false};
}

ImageInfo InfoOf(IVEL* image) {
    ImageInfo info;
    if (!image) return info;
    uint32_t unused = 0;
    image->GetSize(&info.width, &info.height, &info.planes);
    image->GetFormat(&info.bitsPerPixel, &info.format, &unused);
    SmartPtr<IVELImagePalette> palette;
    if (!Failed(image->QueryInterface(IID_IVELImagePalette, palette.Receive())) && palette.Get()) {
        const RGBQUAD* entries = nullptr;
        uint32_t count = 0;
        info.palette = !Failed(palette->GetPalette(&entries, &count)) && count > 0;
    }
    return info;
}

std::string DepthText(const ImageInfo& info) {
    return std::to_string(info.bitsPerPixel) + (info.Mono32() ? "-bit integer" : "-bit");
}

uint32_t BlueFirst(const Colour& colour) {
    return uint32_t{colour.blue} | uint32_t{colour.green} << 8 | uint32_t{colour.red} << 16;
}

uint32_t RedFirst(const Colour& colour) {
    return uint32_t{colour.red} | uint32_t{colour.green} << 8 | uint32_t{colour.blue} << 16;
}

// --- Runs -------------------------------------------------------------------------------------------------------

HRESULT MakeDestination(Call& call, IVEL* model, int bitsPerPixel, uint32_t format) {
    return MakeNew(call, [&](IVEL** made) {
        return call.Components().Maths()->CreateDestImage(made, model, bitsPerPixel, static_cast<int>(format));
    });
}

HRESULT DestinationOr(Call& call, std::string_view name, IVEL* model, int bitsPerPixel, uint32_t format) {
    if (IVEL* given = call.Image(name)) {
        call.result = given;
        return S_OK;
    }
    return MakeDestination(call, model, bitsPerPixel, format);
}

uint32_t UsualFormat(int bitsPerPixel) {
    if (bitsPerPixel == 32) return FORMAT_ARGB;
    return bitsPerPixel > 8 ? FORMAT_BGR : FORMAT_MONO;
}

uint32_t MadeFormat(const Call& call) {
    if (const int64_t format = std::get<int64_t>(call.Get("format"))) return static_cast<uint32_t>(format);
    const int depth = call.Int("depth");
    return depth == 0 ? 0 : UsualFormat(depth);
}

}  // namespace velhost::entries
