#include "VELImageTransform.h"

// Operations that are not built yet answer E_FAIL.

HRESULT CVELImageTransform::IncreaseBpp(IVEL* /*source*/, IVEL** /*result*/, int /*bitsPerPixel*/, unsigned int /*format*/) { return E_FAIL; }
HRESULT CVELImageTransform::Resample(IVEL* /*source*/, IVEL** /*destination*/, int /*newWidth*/, int /*newHeight*/, int /*method*/, int /*mode*/) { return E_FAIL; }
HRESULT CVELImageTransform::Skew(IVEL* /*source*/, IVEL** /*destination*/, float /*xFactor*/, float /*yFactor*/, int /*xPivot*/, int /*yPivot*/, int /*reserved*/, int /*force32*/) { return E_FAIL; }
HRESULT CVELImageTransform::Rotate(IVEL* /*source*/, IVEL** /*destination*/, int /*angleDegrees*/, int /*method*/, int /*force32*/, int /*keepSize*/) { return E_FAIL; }
HRESULT CVELImageTransform::RotatePaste(IVEL* /*source*/, IVEL* /*destination*/, double /*angleRadians*/, int /*method*/, int /*transparentColour*/) { return E_FAIL; }
HRESULT CVELImageTransform::Mirror(IVEL* /*source*/, IVEL** /*destination*/) { return E_FAIL; }
HRESULT CVELImageTransform::Flip(IVEL* /*source*/, IVEL** /*destination*/) { return E_FAIL; }
HRESULT CVELImageTransform::FlipBits(IVEL* /*image*/) { return E_FAIL; }
HRESULT CVELImageTransform::Rotate4(IVEL* /*source*/, IVELImage* /*destination*/, int /*angle*/) { return E_FAIL; }
HRESULT CVELImageTransform::Quad(IVEL* /*source*/, IVEL** /*result*/, double /*x0*/, double /*y0*/, double /*x1*/, double /*y1*/, double /*x2*/, double /*y2*/, double /*x3*/, double /*y3*/, unsigned int /*width*/, unsigned int /*height*/, short /*interpolate*/) { return E_FAIL; }
HRESULT CVELImageTransform::Transform(ITransform* /*mapping*/, IVEL* /*source*/, IVEL** /*result*/, int /*x0*/, int /*y0*/, unsigned int /*width*/, unsigned int /*height*/, short /*unused1*/, short /*unused2*/) { return E_FAIL; }
HRESULT CVELImageTransform::TransformPaste(ITransform* /*mapping*/, IVEL* /*source*/, IVEL* /*destination*/, int /*dx*/, int /*dy*/, short /*markVoids*/, short /*unused*/) { return E_FAIL; }
HRESULT CVELImageTransform::FillVoids(IVEL* /*image*/) { return E_FAIL; }
