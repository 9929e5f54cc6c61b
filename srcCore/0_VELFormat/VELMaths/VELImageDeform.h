// Circular deformations: fish-eye, bulge, swirl, polar unwrap, saw-tooth.
#pragma once

#include "Headers.h"

class CVELImageDeform final : public CObject<CVELImageDeform>,
                              public IObjectInfoImpl<CVELImageDeform>,
                              public IVELDeform {
public:
    VEL_OBJECT_PARTS(CVELImageDeform, IVELDeform)

    HRESULT CircleTransform(IVEL* image, int mode, int opaque) override;
};

template <>
const tagREFString IObjectInfoImpl<CVELImageDeform>::m_ObjectName;
