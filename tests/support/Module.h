// The module under test, reached as a host reaches it: a file, two entry points, tables of functions.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "Interface.h"
#include "SmartPtr.h"
#include "support/TestHost.h"

namespace test {

// One loading of a module file. Unloaded at the end, so that the next loading starts afresh.
class Module {
public:
    // The file that the environment variable VELMATHS_MODULE names, else the module of this build.
    Module();
    explicit Module(const std::string& file);
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    // Null when there is no such symbol.
    void* Symbol(const char* name) const;
    HRESULT CreateFunction(const wchar_t* name, int32_t length, void** result) const;
    HRESULT InitializeModule(void* reserved, IComponentCollection* collection) const;
    // The class's factory; a test failure when there is none.
    FactoryFunction Factory(const wchar_t* object) const;
    // An object's interface with one reference; a test failure when there is none.
    void* Create(const wchar_t* object, const IID& iid) const;

    static std::string File();

private:
    void* m_library = nullptr;
};

// The components: object name and interface name of each functional interface.
template <class I>
struct Component;
#define VEL_TEST_COMPONENT(I, object)                        \
    template <>                                              \
    struct Component<I> {                                    \
        static constexpr const wchar_t* kObject = L##object; \
        static constexpr const char* kInterface = #I;        \
    };
VEL_TEST_COMPONENT(IVELColorTransform, "VELColorTransform")
VEL_TEST_COMPONENT(IVELFilterTransform, "VELFilterTransform")
VEL_TEST_COMPONENT(IVELDeform, "VELDeform")
VEL_TEST_COMPONENT(IVELTransform, "VELTransform")
VEL_TEST_COMPONENT(IVELMaths, "VELMaths")
#undef VEL_TEST_COMPONENT

// Calls slot `slot` of the table that `part` points to: CallSlot<HRESULT>(part, 3, argument...). Arguments must have
// exactly the types of the contract.
template <class Result, class... Arguments>
#if defined(__clang__)
__attribute__((no_sanitize("function")))
#endif
Result
CallSlot(void* part, int slot, Arguments... arguments) {
    void* const* table;
    std::memcpy(&table, part, sizeof table);
    using Function = Result (*)(void*, Arguments...);
    return reinterpret_cast<Function>(table[slot])(part, arguments...);
}

// Each test loads the module afresh and hands it a collection; afterwards the module is unloaded and nothing of the
// test host may be left alive.
class ModuleTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    template <class I>
    SmartPtr<I> Make() const {
        return SmartPtr<I>::Adopt(
            static_cast<I*>(module->Create(Component<I>::kObject, InterfaceId(Component<I>::kInterface))));
    }

    std::unique_ptr<Module> module;
    SmartPtr<TestCollection> collection;
};

}  // namespace test
