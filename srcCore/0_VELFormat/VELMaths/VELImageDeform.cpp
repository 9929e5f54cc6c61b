#include "VELImageDeform.h"

// Operations that are not built yet answer E_FAIL.

HRESULT CVELImageDeform::CircleTransform(IVEL* /*image*/, int /*mode*/, int /*opaque*/) { return E_FAIL; }
