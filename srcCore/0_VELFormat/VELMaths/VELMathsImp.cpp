#include "VELMathsImp.h"

// Operations that are not built yet answer E_FAIL.

HRESULT CVELMaths::Equal(IVEL* /*image*/, IVEL* /*mask*/, int /*value*/) { return E_FAIL; }
HRESULT CVELMaths::Copy(IVEL* /*destination*/, IVEL* /*source*/, IVEL* /*unused*/, int /*x*/, int /*y*/) { return E_FAIL; }
HRESULT CVELMaths::AddScale(IVEL* /*destination*/, IVEL* /*first*/, IVEL* /*second*/, IVEL* /*mask*/, float /*firstFactor*/, float /*secondFactor*/, float /*offset*/) { return E_FAIL; }
HRESULT CVELMaths::Scale(IVEL* /*destination*/, IVEL* /*source*/, IVEL* /*mask*/, float /*factor*/, float /*offset*/) { return E_FAIL; }
HRESULT CVELMaths::Subtract(IVEL* /*destination*/, IVEL* /*minuend*/, IVEL* /*subtrahend*/, int /*mode*/) { return E_FAIL; }
HRESULT CVELMaths::CreateDestImage(IVEL** /*result*/, IVEL* /*model*/, int /*bitsPerPixel*/, int /*format*/) { return E_FAIL; }
HRESULT CVELMaths::Add(IVELImage* /*destination*/, IVEL* /*first*/, IVEL* /*second*/, float /*divisor*/) { return E_FAIL; }
HRESULT CVELMaths::Scale8(IVELImage* /*destination*/, IVEL* /*source*/, int /*offset*/, double /*factor*/) { return E_FAIL; }
