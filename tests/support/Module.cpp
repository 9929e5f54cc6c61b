#include "support/Module.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cwchar>
#include <stdexcept>

namespace test {

std::string Module::File() {
    const char* file = std::getenv("VELMATHS_MODULE");
    return file ? file : VEL_TEST_MODULE;
}

Module::Module() : Module(File()) {}

Module::Module(const std::string& file) : m_library(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (!m_library) throw std::runtime_error(dlerror());
}

Module::~Module() { dlclose(m_library); }

void* Module::Symbol(const char* name) const { return dlsym(m_library, name); }

HRESULT Module::CreateFunction(const wchar_t* name, int32_t length, void** result) const {
    using Function = HRESULT (*)(tagREFString, void**);
    return reinterpret_cast<Function>(Symbol("CreateFunction"))({length, name}, result);
}

HRESULT Module::InitializeModule(void* reserved, IComponentCollection* collection) const {
    using Function = HRESULT (*)(void*, IComponentCollection*);
    // InitializeModule(void*, IComponentCollection*), decorated by the C++ rules of the platform
    return reinterpret_cast<Function>(Symbol("_Z16InitializeModulePvP20IComponentCollection"))(reserved, collection);
}

FactoryFunction Module::Factory(const wchar_t* object) const {
    void* factory = nullptr;
    EXPECT_EQ(CreateFunction(object, static_cast<int32_t>(std::wcslen(object)), &factory), S_OK);
    return reinterpret_cast<FactoryFunction>(factory);
}

void* Module::Create(const wchar_t* object, const IID& iid) const {
    void* result = nullptr;
    if (const FactoryFunction factory = Factory(object)) {
        EXPECT_EQ(factory(nullptr, &iid, &result), S_OK);
    }
    EXPECT_NE(result, nullptr);
    return result;
}

void ModuleTest::SetUp() {
    ASSERT_EQ(LiveObjects(), 0);
    module = std::make_unique<Module>();
    collection = TestCollection::New();
    module->InitializeModule(nullptr, collection.Get());
}

void ModuleTest::TearDown() {
    module.reset();
    if (collection.Get()) {
        EXPECT_EQ(collection->Count(), 1u) << "The module kept the collection after its unload.";
    }
    collection.Clear();
    EXPECT_EQ(LiveObjects(), 0) << "Objects of the host leaked.";
}

}  // namespace test
