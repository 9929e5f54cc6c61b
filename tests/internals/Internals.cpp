// The module's sources as a module of their own that also exports what the module keeps to itself, so that a test can
// load it afresh and watch its statics.
#include "Module.h"
#include "VELMathsHelpers.h"

extern "C" {
VEL_EXPORT IComponentCollection* Internal_GLOBALComponents() { return GLOBALComponents(); }
VEL_EXPORT IComponentString* Internal_GetComponentString(IString* name) { return GetComponentString(name); }
VEL_EXPORT ICreatableString* Internal_CreateString() { return CREFString::CreateString(); }
VEL_EXPORT IVELImageDIB* Internal_CreateImageDIB() { return VELObject::CreateImageDIB(); }
VEL_EXPORT FactoryFunction Internal_MODULECreateFunction(tagREFString module, tagREFString object) {
    return MODULECreateFunction(module, object);
}
}
