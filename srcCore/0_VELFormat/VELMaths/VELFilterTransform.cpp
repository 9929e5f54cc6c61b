#include "VELFilterTransform.h"

// Operations that are not built yet answer E_FAIL.

HRESULT CVELFilterTransform::GaussianBlur(IVEL* /*src*/, int /*level*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Sharpen(IVEL* /*src*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Soften(IVEL* /*src*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Blur(IVEL* /*src*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Emboss(IVEL* /*src*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Median(IVEL* /*src*/, int /*size*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Noise(IVEL* /*src*/, int /*level*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Jitter(IVEL* /*src*/, int /*radius*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Contour(IVEL* /*src*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Filter(IVEL* /*src*/, int* /*kernel*/, int /*size*/, int /*divisor*/, int /*offset*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Dilate(IVEL* /*src*/, int /*size*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Edge(IVEL* /*src*/, int /*size*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Erode(IVEL* /*src*/, int /*size*/, IVEL** /*dest*/) { return E_FAIL; }
HRESULT CVELFilterTransform::Kernel(IVEL* /*src*/, short* /*kernel*/, int /*size*/, int /*divisor*/, int /*offset*/, IVEL** /*dest*/) { return E_FAIL; }
