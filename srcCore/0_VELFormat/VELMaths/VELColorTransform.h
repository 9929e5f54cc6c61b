// Colour transforms: per-pixel colour changes made in the caller's image.
#pragma once

#include "Headers.h"

class CVELColorTransform final : public CObject<CVELColorTransform>,
                                 public IObjectInfoImpl<CVELColorTransform>,
                                 public IVELColorTransform {
public:
    VEL_OBJECT_PARTS(CVELColorTransform, IVELColorTransform)

    HRESULT Colorize(IVEL* image, unsigned char hue, unsigned char saturation, float blend) override;
    HRESULT Lut(IVEL* image, unsigned char* table) override;
    HRESULT Negative(IVEL* image) override;
    HRESULT GrayScale(IVEL* image) override;
    HRESULT ShiftRGB(IVEL* image, int redShift, int greenShift, int blueShift) override;
    HRESULT Gamma(IVEL* image, float gamma) override;
    HRESULT Light(IVEL* image, int brightness, int contrast) override;
    HRESULT SetImageAlpha(IVEL* image, int alpha, int unused) override;
    HRESULT SetImageAlphaTransparency(IVEL* image, int alpha, unsigned int key) override;
    HRESULT SetImageTransparentPixel(IVEL* image, unsigned int key) override;
    HRESULT Threshold(IVEL* image, int level) override;
};

template <>
const tagREFString IObjectInfoImpl<CVELColorTransform>::m_ObjectName;
