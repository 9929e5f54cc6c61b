#include "VELColorTransform.h"

// Operations that are not built yet answer E_FAIL.

HRESULT CVELColorTransform::Colorize(IVEL* /*image*/, unsigned char /*hue*/, unsigned char /*saturation*/, float /*blend*/) { return E_FAIL; }
HRESULT CVELColorTransform::Lut(IVEL* /*image*/, unsigned char* /*table*/) { return E_FAIL; }
HRESULT CVELColorTransform::Negative(IVEL* /*image*/) { return E_FAIL; }
HRESULT CVELColorTransform::GrayScale(IVEL* /*image*/) { return E_FAIL; }
HRESULT CVELColorTransform::ShiftRGB(IVEL* /*image*/, int /*redShift*/, int /*greenShift*/, int /*blueShift*/) { return E_FAIL; }
HRESULT CVELColorTransform::Gamma(IVEL* /*image*/, float /*gamma*/) { return E_FAIL; }
HRESULT CVELColorTransform::Light(IVEL* /*image*/, int /*brightness*/, int /*contrast*/) { return E_FAIL; }
HRESULT CVELColorTransform::SetImageAlpha(IVEL* /*image*/, int /*alpha*/, int /*unused*/) { return E_FAIL; }
HRESULT CVELColorTransform::SetImageAlphaTransparency(IVEL* /*image*/, int /*alpha*/, unsigned int /*key*/) { return E_FAIL; }
HRESULT CVELColorTransform::SetImageTransparentPixel(IVEL* /*image*/, unsigned int /*key*/) { return E_FAIL; }
HRESULT CVELColorTransform::Threshold(IVEL* /*image*/, int /*level*/) { return E_FAIL; }
