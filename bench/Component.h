// The module under measurement, loaded by file name like in any host.
#pragma once

#include <string>

#include "Interface.h"

namespace bench {

// Loads the module and hands it a collection: one that makes bench::Picture images, or the reference host's own. Exits
// with a message on failure.
void LoadModule(const std::string& path, bool referenceHost);

IVELColorTransform* Colours();
IVELFilterTransform* Filters();
IVELDeform* Deforms();
IVELTransform* Transforms();
IVELMaths* Maths();

// A mapping of the host that turns by a small angle. Defined out of sight of those who call it, as a host's is.
ITransform* TurnMapping();

// Operations that only the classes' own tables hold.
HRESULT FilterKernel(IVEL* source, short* kernel, int size, int divisor, int offset, IVEL** dest);
HRESULT Rotate4(IVEL* source, IVELImage* destination, int angle);
HRESULT FillVoids(IVEL* image);

}  // namespace bench
