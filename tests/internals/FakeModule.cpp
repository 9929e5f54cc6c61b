#include "internals/FakeModule.h"

#define VEL_TEST_EXPORT extern "C" __attribute__((visibility("default")))

static test::FakeModuleHooks g_hooks = {nullptr, nullptr};

VEL_TEST_EXPORT test::FakeModuleHooks* FakeHooks() { return &g_hooks; }

#if !defined(VEL_FAKE_WITHOUT_CREATE)
VEL_TEST_EXPORT HRESULT CreateFunction(tagREFString name, void** result) {
    return g_hooks.createFunction ? g_hooks.createFunction(name, result) : E_FAIL;
}
#endif

#if !defined(VEL_FAKE_WITHOUT_INITIALIZE)
VEL_TEST_EXPORT HRESULT InitializeModule(void* reserved, IComponentCollection* collection) {
    return g_hooks.initializeModule ? g_hooks.initializeModule(reserved, collection) : S_OK;
}
#endif
