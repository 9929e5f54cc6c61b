// What every source of the module includes.
#pragma once

#include <cstdint>
#include <cstring>

#include "Interface.h"
#include "Module.h"
#include "SmartPtr.h"
#include "UTILMath.h"
#include "VELMathsHelpers.h"
