// Geometric transforms in plain loops: sampling, turns, shear, resizing, depth increase, warps.
//
// Floating-point arithmetic is single precision where nothing else is said, in the order written, never fused.
#pragma once

#include <functional>
#include <optional>

#include "Made.h"
#include "Pixel.h"

namespace ref {

constexpr int32_t kFalse = 1;

// What a host does for an operation: new images (their rows and first bytes are the host's choice), and one colour for
// a whole image.
struct Host {
    std::function<Image(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format)>
        create =
            [](uint32_t w, uint32_t h, uint32_t p, uint32_t bpp, uint32_t code) { return Created(w, h, p, bpp, code); };
    std::function<void(Image&, uint32_t)> fill = FillColor;
};

// Result code and what the caller is handed: a new image, the source itself, or nothing.
struct Outcome {
    int32_t code = kOk;
    std::optional<Image> image;
    bool isSource = false;
};

// Maps a point in place.
using Mapping = std::function<void(double&, double&, double&)>;

// Number of a float or double without its fraction; what 32 bits do not hold, and no number, counts as the least one.
int64_t Truncated(double value);

// Sampling: pixel (i, j) is the point (i, j).
float KernelBessel_Order1(float x);
uint32_t GetBilinearColor(const Image& image, int64_t x, int64_t y);
uint32_t GetPixelColorInterpolated(const Image& image, float x, float y, int32_t method);

// Turns that only copy.
Image Flip(const Image& source, const Host& host);
Image Mirror(const Image& source, const Host& host);
void FlipBits(Image& image);
// Nothing for an angle other than 90, 180 and 270.
std::optional<Image> Rotate4(const Image& source, int32_t angle, const Host& host);

// Turns by any angle.
Outcome Rotate(const Image& source, int32_t degrees, int32_t method, bool force32, bool keepSize, const Host& host);
void RotatePaste(const Image& source, Image& destination, double radians, int32_t method, int32_t transparentColour);

Image Skew(const Image& source, float xFactor, float yFactor, int32_t xPivot, int32_t yPivot, bool force32,
           const Host& host);
// Nothing where the new image takes over the source by Assign.
std::optional<Image> Resample(const Image& source, int32_t newWidth, int32_t newHeight, int32_t method, int32_t mode,
                              const Host& host);

Outcome IncreaseBpp(const Image& source, int32_t newDepth, uint32_t format, const Host& host);

// Fixed-point line walk, 8 fractional bits.
struct LineStepper {
    int32_t x = 0, y = 0, xStep = 0, yStep = 0, points = 0;
    void Initialize(double x0, double y0, double x1, double y1, double step);
    void Advance();
};
uint32_t InterpolateCB(const Image& image, int32_t x, int32_t y, uint32_t pixelBytes);
// Corners: top left, top right, bottom left, bottom right.
Image QuadRegion(const Image& source, const double (&corners)[8], uint32_t width, uint32_t height, int16_t interpolate,
                 const Host& host);

Outcome Transform(const Mapping& mapping, const Image& source, int32_t x0, int32_t y0, uint32_t width, uint32_t height,
                  const Host& host);
void TransformPaste(const Mapping& mapping, const Image& source, Image& destination, int32_t dx, int32_t dy,
                    int16_t markVoids);
int32_t FillVoids(Image& image);

}  // namespace ref
