// A framework module for tests that does what its hooks say. Loading the same file twice gives the same hooks.
#pragma once

#include "Interface.h"

namespace test {

struct FakeModuleHooks {
    HRESULT (*createFunction)(tagREFString name, void** result);
    HRESULT (*initializeModule)(void* reserved, IComponentCollection* collection);
};

}  // namespace test
