#include "VELMathsHelpers.h"

#include "Module.h"
#include "StringManipulate.h"

#define VEL_GREY4(i) \
    {(i), (i), (i), 0}, {(i) + 1, (i) + 1, (i) + 1, 0}, {(i) + 2, (i) + 2, (i) + 2, 0}, { (i) + 3, (i) + 3, (i) + 3, 0 }
#define VEL_GREY16(i) VEL_GREY4(i), VEL_GREY4((i) + 4), VEL_GREY4((i) + 8), VEL_GREY4((i) + 12)
#define VEL_GREY64(i) VEL_GREY16(i), VEL_GREY16((i) + 16), VEL_GREY16((i) + 32), VEL_GREY16((i) + 48)
const RGBQUAD DefaultPalette[256] = {VEL_GREY64(0), VEL_GREY64(64), VEL_GREY64(128), VEL_GREY64(192)};
#undef VEL_GREY64
#undef VEL_GREY16
#undef VEL_GREY4

namespace {

// Position of a low-depth pixel in its byte: the leftmost pixel is in the high bits.
int BitShift(int x, int bitsPerPixel) { return bitsPerPixel == 1 ? 7 - (x & 7) : (x & 1 ? 0 : 4); }

uint32_t PaletteIndex(const unsigned char* row, int x, int bitsPerPixel) {
    switch (bitsPerPixel) {
        case 8: return row[x];
        case 4: return row[x >> 1] >> BitShift(x, 4) & 0x0F;
        case 1: return row[x >> 3] >> BitShift(x, 1) & 0x01;
        default: return 0;
    }
}

}  // namespace

uint32_t GetPixelColor(unsigned char* pixels, int x, int y, int width, int height, int stride, int bitsPerPixel) {
    if (width == 0 || height == 0) return 0;
    if (!pixels) return kOutsideAlpha << 24;
    const bool inside = x >= 0 && x < width && y >= 0 && y < height;
    if (!inside) {
        if (width < 0 || height < 0) return kOutsideAlpha << 24;
        return (GetPixelColor(pixels, 0, 0, width, height, stride, bitsPerPixel) & 0x00FFFFFF) | kOutsideAlpha << 24;
    }
    const unsigned char* row = pixels + int64_t{y} * stride;
    if (bitsPerPixel >= 24) {
        const unsigned char* p = row + int64_t{x} * (bitsPerPixel == 32 ? 4 : 3);
        return vel::ColourWord(p[0], p[1], p[2], bitsPerPixel == 32 ? p[3] : 0);
    }
    const RGBQUAD entry = DefaultPalette[PaletteIndex(row, x, bitsPerPixel)];
    return vel::ColourWord(entry.rgbBlue, entry.rgbGreen, entry.rgbRed, entry.rgbReserved);
}

void SetPixelColor(unsigned char* pixels, int x, int y, int width, int height, int stride, RGBQUAD colour,
                   int bitsPerPixel) {
    if (!pixels || x < 0 || y < 0 || x > width || y > height) return;
    unsigned char* row = pixels + int64_t{y} * stride;
    if (bitsPerPixel >= 24) {
        unsigned char* p = row + int64_t{x} * (bitsPerPixel == 32 ? 4 : 3);
        p[0] = colour.rgbBlue;
        p[1] = colour.rgbGreen;
        p[2] = colour.rgbRed;
        if (bitsPerPixel == 32) p[3] = colour.rgbReserved;
        return;
    }
    const uint32_t index = vel::NearestGreyIndex(uint32_t{colour.rgbBlue} + colour.rgbGreen + colour.rgbRed);
    if (bitsPerPixel == 8) {
        row[x] = static_cast<unsigned char>(index);
    } else if (bitsPerPixel == 4 || bitsPerPixel == 1) {
        const uint32_t mask = bitsPerPixel == 4 ? 0x0F : 0x01;
        unsigned char& byte = row[bitsPerPixel == 4 ? x >> 1 : x >> 3];
        const int shift = BitShift(x, bitsPerPixel);
        byte = static_cast<unsigned char>((byte & ~(mask << shift)) | (index & mask) << shift);
    }
}

namespace vel {

ImageView ViewOf(IVEL* image, uint32_t plane) {
    ImageView view;
    uint32_t unused = 0;
    image->GetSize(&view.width, &view.height, &view.planes);
    image->GetBits(plane, &unused, &view.bits, &view.stride);
    image->GetFormat(&view.bitsPerPixel, &view.format, &unused);
    return view;
}

SmartPtr<IVELImage> NewImageFromCollection() {
    const auto collection = SmartPtr<IComponentCollection>::Adopt(GLOBALComponents());
    SmartPtr<IVELImage> image;
    if (collection.Get()) {
        constexpr tagREFString name = RefString(L"VELImageDIB");
        collection->CreateObject(name.length, name.text, &IID_IVELImage, image.Receive());
    }
    return image;
}

SmartPtr<IVELImage> NewImageDIB() { return SmartPtr<IVELImage>::Adopt(VELObject::CreateImageDIB()); }

bool AssignImage(IVEL* target, IVELImage* image) {
    SmartPtr<IVELImage> taking;
    target->QueryInterface(IID_IVELImage, taking.Receive());
    return taking.Get() && !Failed(taking->Assign(image, 0));
}

HRESULT DeliverImage(IVEL* source, SmartPtr<IVELImage> image, IVEL** dest) {
    if (dest) {
        *dest = image.Detach();
        return S_OK;
    }
    AssignImage(source, image.Get());
    return S_OK;
}

}  // namespace vel

IVELImageDIB* VELObject::CreateImageDIB() {
    static SmartPtr<IComponentString> gVELImageDIB;
    if (!gVELImageDIB.Get()) {
        const auto name = SmartPtr<ICreatableString>::Adopt(CREFString::CreateString());
        if (!name.Get()) return nullptr;
        for (const char* c = "VELImageDIB"; *c; ++c) {
            const wchar_t character = static_cast<unsigned char>(*c);
            name->Append(1, &character);
        }
        gVELImageDIB = SmartPtr<IComponentString>::Adopt(GetComponentString(name.Get()));
        if (!gVELImageDIB.Get()) return nullptr;
    }
    IVELImageDIB* image = nullptr;
    gVELImageDIB->CreateInstance(&IID_IVELImageDIB, reinterpret_cast<void**>(&image));
    return image;
}
