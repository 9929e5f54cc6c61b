// What the registry's entries are written with.
#pragma once

#include "Registry.h"

namespace velhost::entries {

// One function per component, each in its own source.
void AddColorTransform(std::vector<Operation>& list);
void AddFilterTransform(std::vector<Operation>& list);
void AddImageDeform(std::vector<Operation>& list);
void AddImageTransform(std::vector<Operation>& list);
void AddWarp(std::vector<Operation>& list);
void AddMaths(std::vector<Operation>& list);

// --- Parameters -------------------------------------------------------------------------------------------------

Parameter Integer(std::string name, std::string doc, int64_t minimum, int64_t maximum, Value defaultValue = {},
                  std::string unit = {});
Parameter Real(std::string name, std::string doc, double minimum, double maximum, Value defaultValue = {},
               std::string unit = {});
Parameter Switch(std::string name, std::string doc, bool defaultValue = false);
Parameter Enumeration(std::string name, std::string doc, std::vector<Choice> choices, Value defaultValue = {});
Parameter Method(int64_t defaultMethod);               // the sixteen interpolation methods
Parameter Format(std::string doc);                     // colour-format codes; 0 by default
Parameter Depth(std::string doc, Value defaultValue);  // bits per pixel
// Sizes and points have whole numbers or fractions from `minimum` to `maximum` in both parts.
Parameter OfSize(std::string name, std::string doc, int64_t minimum, int64_t maximum, Value defaultValue = {});
Parameter OfPoint(std::string name, std::string doc, double minimum, double maximum, Value defaultValue = {},
                  bool whole = true);
Parameter Optional(Parameter parameter);

// --- Images -----------------------------------------------------------------------------------------------------

ImageArgument Input(std::string doc = "the image");
ImageArgument Mask(std::string doc);

struct ImageInfo {
    uint32_t width = 0, height = 0, planes = 0, bitsPerPixel = 0, format = 0;
    bool palette = false;  // it has one
    bool Mono() const { return format == FORMAT_MONO; }
    bool Mono32() const { return Mono() && bitsPerPixel == 32; }
};
// All zero for a null image.
ImageInfo InfoOf(IVEL* image);

// "24-bit", "32-bit integer"
std::string DepthText(const ImageInfo& info);

// The colour word blue bits 0-7, green 8-15, red 16-23, and the reverse, red in bits 0-7.
uint32_t BlueFirst(const Colour& colour);
uint32_t RedFirst(const Colour& colour);

// --- Runs -------------------------------------------------------------------------------------------------------

// A new image through CreateDestImage, shaped like `model`, as the call's result; 0 keeps the model's depth or format.
HRESULT MakeDestination(Call& call, IVEL* model, int bitsPerPixel, uint32_t format);
// The given destination, or else a new one like `model`, as the call's result.
HRESULT DestinationOr(Call& call, std::string_view name, IVEL* model, int bitsPerPixel, uint32_t format);
// The colour-format code that the call's "format" and "depth" ask for; 0 keeps the model's.
uint32_t MadeFormat(const Call& call);
// The code that images of a depth usually have: MONO, BGR or ARGB.
uint32_t UsualFormat(int bitsPerPixel);

// Runs an operation that stores a new image, and makes that image the result.
template <class Function>
HRESULT MakeNew(Call& call, Function&& operation) {
    IVEL* made = nullptr;
    const HRESULT code = operation(&made);
    call.result = SmartPtr<IVEL>::Adopt(made);
    return code;
}

// --- Texts that several cards share -----------------------------------------------------------------------------

extern const char* const kOutsideIsFirstPixel;
extern const char* const kNoWindow;
extern const char* const kNoBorder;
extern const char* const kAlphaKept;
extern const char* const kTileFree;
extern const char* const kTileMargin;

}  // namespace velhost::entries
