// Image arithmetic: plane-wise arithmetic between images of given depths.
#pragma once

#include "Headers.h"

class CVELMaths final : public CObject<CVELMaths>, public IObjectInfoImpl<CVELMaths>, public IVELMaths {
public:
    VEL_OBJECT_PARTS(CVELMaths, IVELMaths)

    HRESULT Equal(IVEL* image, IVEL* mask, int value) override;
    HRESULT Copy(IVEL* destination, IVEL* source, IVEL* unused, int x, int y) override;
    HRESULT AddScale(IVEL* destination, IVEL* first, IVEL* second, IVEL* mask, float firstFactor, float secondFactor,
                     float offset) override;
    HRESULT Scale(IVEL* destination, IVEL* source, IVEL* mask, float factor, float offset) override;
    HRESULT Subtract(IVEL* destination, IVEL* minuend, IVEL* subtrahend, int mode) override;
    HRESULT CreateDestImage(IVEL** result, IVEL* model, int bitsPerPixel, int format) override;
    HRESULT Add(IVELImage* destination, IVEL* first, IVEL* second, float divisor) override;
    HRESULT Scale8(IVELImage* destination, IVEL* source, int offset, double factor) override;
};

template <>
const tagREFString IObjectInfoImpl<CVELMaths>::m_ObjectName;
