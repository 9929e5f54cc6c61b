// Geometric transforms: flips, rotations, shear, resizing, depth increase, warps.
#pragma once

#include "Headers.h"

// The declaration order is the order of the class's own table; Rotate4 and FillVoids are reachable through it alone.
class CVELImageTransform final : public CObject<CVELImageTransform>,
                                 public IObjectInfoImpl<CVELImageTransform>,
                                 public IVELTransform {
public:
    VEL_OBJECT_PARTS(CVELImageTransform, IVELTransform)

    HRESULT IncreaseBpp(IVEL* source, IVEL** result, int bitsPerPixel, unsigned int format) override;
    HRESULT Resample(IVEL* source, IVEL** destination, int newWidth, int newHeight, int method, int mode) override;
    HRESULT Skew(IVEL* source, IVEL** destination, float xFactor, float yFactor, int xPivot, int yPivot, int reserved,
                 int force32) override;
    HRESULT Rotate(IVEL* source, IVEL** destination, int angleDegrees, int method, int force32, int keepSize) override;
    HRESULT RotatePaste(IVEL* source, IVEL* destination, double angleRadians, int method,
                        int transparentColour) override;
    HRESULT Mirror(IVEL* source, IVEL** destination) override;
    HRESULT Flip(IVEL* source, IVEL** destination) override;
    HRESULT FlipBits(IVEL* image) override;
    virtual HRESULT Rotate4(IVEL* source, IVELImage* destination, int angle);
    HRESULT Quad(IVEL* source, IVEL** result, double x0, double y0, double x1, double y1, double x2, double y2,
                 double x3, double y3, unsigned int width, unsigned int height, short interpolate) override;
    HRESULT Transform(ITransform* mapping, IVEL* source, IVEL** result, int x0, int y0, unsigned int width,
                      unsigned int height, short unused1, short unused2) override;
    HRESULT TransformPaste(ITransform* mapping, IVEL* source, IVEL* destination, int dx, int dy, short markVoids,
                           short unused) override;
    virtual HRESULT FillVoids(IVEL* image);
};

template <>
const tagREFString IObjectInfoImpl<CVELImageTransform>::m_ObjectName;
