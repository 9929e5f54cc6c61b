// What a host and a module agree on: basic types, result codes and every interface, operations in contract order.
//
// Callers reach an operation by its position in the table, so an interface never gains, loses or reorders an
// operation, and none has a virtual destructor (it would take table slots).
#pragma once

#include <cstdint>

static_assert(sizeof(wchar_t) == 4, "names travel as 32-bit characters");

// ---------------------------------------------------------------------------------------------------------------
// Result codes: signed 32 bits, negative means failure.

using HRESULT = int32_t;

constexpr HRESULT MakeResult(uint32_t code) { return static_cast<HRESULT>(code); }
constexpr bool Failed(HRESULT result) { return result < 0; }

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;                                // nothing to do
constexpr HRESULT E_NOINTERFACE = MakeResult(0x80004002u);    // the object does not offer that interface
constexpr HRESULT E_POINTER = MakeResult(0x80004003u);        // a required output or destination pointer is null
constexpr HRESULT E_FAIL = MakeResult(0x80004005u);           // null image, unsupported depth, no destination
constexpr HRESULT E_INVALIDARG = MakeResult(0x80070057u);     // an argument that makes no sense
constexpr HRESULT E_NOTMONOCHROME = MakeResult(0xF0040031u);  // Scale8: the source is not a "MONO" image

// ---------------------------------------------------------------------------------------------------------------
// Basic types

// 16-byte interface identifier, compared as four 32-bit words.
struct IID {
    uint32_t word[4];
    friend bool operator==(const IID& a, const IID& b) {
        return a.word[0] == b.word[0] && a.word[1] == b.word[1] && a.word[2] == b.word[2] && a.word[3] == b.word[3];
    }
};

// Counted wide string, passed by value. No terminator is read.
struct tagREFString {
    int32_t length;       // characters
    const wchar_t* text;  // UTF-32
};

// A pixel colour; read as a little-endian word: blue bits 0-7, green 8-15, red 16-23, alpha 24-31.
struct RGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
};

constexpr uint32_t FourCC(char a, char b, char c, char d) {
    return static_cast<uint32_t>(static_cast<uint8_t>(a)) | static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16 | static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24;
}

// Colour-format codes (second value of IVEL::GetFormat); 0 also occurs.
constexpr uint32_t FORMAT_MONO = FourCC('M', 'O', 'N', 'O');  // one value a pixel; at 32 bits a signed integer
constexpr uint32_t FORMAT_BGR = FourCC('B', 'G', 'R', ' ');
constexpr uint32_t FORMAT_ABGR = FourCC('A', 'B', 'G', 'R');
constexpr uint32_t FORMAT_ARGB = FourCC('A', 'R', 'G', 'B');

// ---------------------------------------------------------------------------------------------------------------
// Object model

struct IUnknown {
    virtual HRESULT QueryInterface(const IID& iid, void** object) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
};

struct IObjectInfo : IUnknown {
    // Copies length and pointer of the object's name; the characters stay the module's. `index` is not used.
    virtual HRESULT GetName(int32_t index, tagREFString* name) = 0;
};

// What CreateFunction hands out for an object name.
using FactoryFunction = HRESULT (*)(void* outer, const IID* iid, void** object);

struct IString : IUnknown {
    virtual HRESULT GetString(tagREFString* text) = 0;
};

struct ICreatableString : IString {
    virtual HRESULT Append(int32_t count, const wchar_t* text) = 0;
};

struct IComponentString : IUnknown {
    virtual HRESULT GetField(int32_t field, tagREFString* text) = 0;
    virtual HRESULT CreateInstance(const IID* iid, void** object) = 0;
    // Field 1 is the object name, field 4 the module name.
    virtual HRESULT SetField(int32_t field, int32_t length, const wchar_t* text) = 0;
};

// A module uses positions 1, 2 and 13 only; the reserved ones keep the places of operations that belong to hosts.
struct IComponentCollection : IUnknown {
    virtual HRESULT GetComponent(int32_t index, IUnknown** component) = 0;
    virtual HRESULT FindComponent(IString* name, int32_t* index) = 0;
    virtual HRESULT Reserved3() = 0;
    virtual HRESULT Reserved4() = 0;
    virtual HRESULT Reserved5() = 0;
    virtual HRESULT Reserved6() = 0;
    virtual HRESULT Reserved7() = 0;
    virtual HRESULT Reserved8() = 0;
    virtual HRESULT Reserved9() = 0;
    virtual HRESULT Reserved10() = 0;
    virtual HRESULT Reserved11() = 0;
    virtual HRESULT Reserved12() = 0;
    virtual HRESULT CreateObject(int32_t length, const wchar_t* name, const IID* iid, void** object) = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// Images: owned and defined by the host

struct IVEL : IUnknown {
    // Width and height in pixels, number of pixel planes.
    virtual HRESULT GetSize(uint32_t* width, uint32_t* height, uint32_t* planes) = 0;
    // Bits per pixel, colour-format code, and a third value without a meaning here.
    virtual HRESULT GetFormat(uint32_t* bitsPerPixel, uint32_t* format, uint32_t* unused) = 0;
    // Row y of the plane starts at bits + y * stride, the signed stride widened to 64 bits before the product.
    virtual HRESULT GetBits(uint32_t plane, uint32_t* unused, uint8_t** bits, int32_t* stride) = 0;
};

struct IVELImage : IVEL {
    // Gives the image a pixel store of that shape; an earlier store is replaced.
    virtual HRESULT Create(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel,
                           uint32_t format) = 0;
    virtual HRESULT Reserved5() = 0;
    // Takes over the content of `image`, which stays usable. `flags` is always 0.
    virtual HRESULT Assign(IVEL* image, int32_t flags) = 0;
    // Sets every pixel to the colour word.
    virtual HRESULT FillColor(uint32_t colour) = 0;
};

struct IVELImageDIB : IVELImage {};

struct IVELImagePalette : IUnknown {
    virtual HRESULT Reserved1() = 0;
    // Colour table and number of entries; 0 entries means no palette.
    virtual HRESULT GetPalette(const RGBQUAD** entries, uint32_t* count) = 0;
};

// A coordinate mapping of the host.
struct ITransform : IUnknown {
    // Maps (x, y) in place; z is 0 on entry and is not read afterwards; the result is ignored.
    virtual HRESULT TransformPoint(double* x, double* y, double* z) = 0;
};

// ---------------------------------------------------------------------------------------------------------------
// The five components

struct IVELColorTransform : IUnknown {
    virtual HRESULT Colorize(IVEL* image, unsigned char hue, unsigned char saturation, float blend) = 0;
    virtual HRESULT Lut(IVEL* image, unsigned char* table) = 0;
    virtual HRESULT Negative(IVEL* image) = 0;
    virtual HRESULT GrayScale(IVEL* image) = 0;
    virtual HRESULT ShiftRGB(IVEL* image, int redShift, int greenShift, int blueShift) = 0;
    virtual HRESULT Gamma(IVEL* image, float gamma) = 0;
    virtual HRESULT Light(IVEL* image, int brightness, int contrast) = 0;
    virtual HRESULT SetImageAlpha(IVEL* image, int alpha, int unused) = 0;
    virtual HRESULT SetImageAlphaTransparency(IVEL* image, int alpha, unsigned int key) = 0;
    virtual HRESULT SetImageTransparentPixel(IVEL* image, unsigned int key) = 0;
    virtual HRESULT Threshold(IVEL* image, int level) = 0;
};

struct IVELFilterTransform : IUnknown {
    virtual HRESULT Erode(IVEL* src, int size, IVEL** dest) = 0;
    virtual HRESULT Edge(IVEL* src, int size, IVEL** dest) = 0;
    virtual HRESULT Dilate(IVEL* src, int size, IVEL** dest) = 0;
    virtual HRESULT Filter(IVEL* src, int* kernel, int size, int divisor, int offset, IVEL** dest) = 0;
    virtual HRESULT Contour(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Jitter(IVEL* src, int radius, IVEL** dest) = 0;
    virtual HRESULT Noise(IVEL* src, int level, IVEL** dest) = 0;
    virtual HRESULT Median(IVEL* src, int size, IVEL** dest) = 0;
    virtual HRESULT Emboss(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Blur(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Soften(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT Sharpen(IVEL* src, IVEL** dest) = 0;
    virtual HRESULT GaussianBlur(IVEL* src, int level, IVEL** dest) = 0;
};

struct IVELDeform : IUnknown {
    virtual HRESULT CircleTransform(IVEL* image, int mode, int opaque) = 0;
};

struct IVELTransform : IUnknown {
    virtual HRESULT Flip(IVEL* source, IVEL** destination) = 0;
    virtual HRESULT Mirror(IVEL* source, IVEL** destination) = 0;
    virtual HRESULT Rotate(IVEL* source, IVEL** destination, int angleDegrees, int method, int force32,
                           int keepSize) = 0;
    virtual HRESULT Skew(IVEL* source, IVEL** destination, float xFactor, float yFactor, int xPivot, int yPivot,
                         int reserved, int force32) = 0;
    virtual HRESULT Resample(IVEL* source, IVEL** destination, int newWidth, int newHeight, int method, int mode) = 0;
    virtual HRESULT IncreaseBpp(IVEL* source, IVEL** result, int bitsPerPixel, unsigned int format) = 0;
    virtual HRESULT RotatePaste(IVEL* source, IVEL* destination, double angleRadians, int method,
                                int transparentColour) = 0;
    virtual HRESULT FlipBits(IVEL* image) = 0;
    virtual HRESULT Quad(IVEL* source, IVEL** result, double x0, double y0, double x1, double y1, double x2, double y2,
                         double x3, double y3, unsigned int width, unsigned int height, short interpolate) = 0;
    virtual HRESULT Transform(ITransform* mapping, IVEL* source, IVEL** result, int x0, int y0, unsigned int width,
                              unsigned int height, short unused1, short unused2) = 0;
    virtual HRESULT TransformPaste(ITransform* mapping, IVEL* source, IVEL* destination, int dx, int dy,
                                   short markVoids, short unused) = 0;
};

struct IVELMaths : IUnknown {
    virtual HRESULT Equal(IVEL* image, IVEL* mask, int value) = 0;
    virtual HRESULT Copy(IVEL* destination, IVEL* source, IVEL* unused, int x, int y) = 0;
    virtual HRESULT AddScale(IVEL* destination, IVEL* first, IVEL* second, IVEL* mask, float firstFactor,
                             float secondFactor, float offset) = 0;
    virtual HRESULT Scale(IVEL* destination, IVEL* source, IVEL* mask, float factor, float offset) = 0;
    virtual HRESULT Subtract(IVEL* destination, IVEL* minuend, IVEL* subtrahend, int mode) = 0;
    virtual HRESULT CreateDestImage(IVEL** result, IVEL* model, int bitsPerPixel, int format) = 0;
    virtual HRESULT Add(IVELImage* destination, IVEL* first, IVEL* second, float divisor) = 0;
    virtual HRESULT Scale8(IVELImage* destination, IVEL* source, int offset, double factor) = 0;
};
