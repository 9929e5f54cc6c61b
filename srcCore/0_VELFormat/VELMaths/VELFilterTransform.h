// Neighbourhood filters: each makes a new image of the source's size and format.
#pragma once

#include "Headers.h"

// The declaration order is the order of the class's own table, Kernel being reachable through it alone.
class CVELFilterTransform final : public CObject<CVELFilterTransform>,
                                  public IObjectInfoImpl<CVELFilterTransform>,
                                  public IVELFilterTransform {
public:
    VEL_OBJECT_PARTS(CVELFilterTransform, IVELFilterTransform)

    HRESULT GaussianBlur(IVEL* src, int level, IVEL** dest) override;
    HRESULT Sharpen(IVEL* src, IVEL** dest) override;
    HRESULT Soften(IVEL* src, IVEL** dest) override;
    HRESULT Blur(IVEL* src, IVEL** dest) override;
    HRESULT Emboss(IVEL* src, IVEL** dest) override;
    HRESULT Median(IVEL* src, int size, IVEL** dest) override;
    HRESULT Noise(IVEL* src, int level, IVEL** dest) override;
    HRESULT Jitter(IVEL* src, int radius, IVEL** dest) override;
    HRESULT Contour(IVEL* src, IVEL** dest) override;
    HRESULT Filter(IVEL* src, int* kernel, int size, int divisor, int offset, IVEL** dest) override;
    HRESULT Dilate(IVEL* src, int size, IVEL** dest) override;
    HRESULT Edge(IVEL* src, int size, IVEL** dest) override;
    HRESULT Erode(IVEL* src, int size, IVEL** dest) override;
    virtual HRESULT Kernel(IVEL* src, short* kernel, int size, int divisor, int offset, IVEL** dest);
};

template <>
const tagREFString IObjectInfoImpl<CVELFilterTransform>::m_ObjectName;
