#include "Module.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "OS.h"

namespace {

constexpr size_t kPathBytes = 256;

// "./_binMAC/<module>.so"; false when the name cannot be converted or does not fit.
bool ModulePath(const tagREFString& module, char (&path)[kPathBytes]) {
    const size_t prefix = std::strlen(OS::kModuleFolder);
    const size_t suffix = std::strlen(OS::kModuleSuffix);
    if (module.length < 0 || !module.text) return false;
    const size_t length = static_cast<size_t>(module.length);
    if (prefix + length + suffix + 1 > kPathBytes) return false;

    wchar_t wide[kPathBytes];
    std::memcpy(wide, module.text, length * sizeof(wchar_t));
    wide[length] = L'\0';
    char name[kPathBytes] = {};
    if (std::wcstombs(name, wide, length) == static_cast<size_t>(-1)) return false;
    name[length] = '\0';
    std::snprintf(path, kPathBytes, "%s%s%s", OS::kModuleFolder, name, OS::kModuleSuffix);
    return true;
}

}  // namespace

FactoryFunction MODULECreateFunction(tagREFString module, tagREFString objectName) {
    char path[kPathBytes];
    if (!ModulePath(module, path)) return nullptr;
    void* library = OS::OpenLibrary(path);
    if (!library) {
        _TRACE_("Module not available %s, error %s\n", path, OS::LastError());
        return nullptr;
    }
    using CreateFunctionType = HRESULT (*)(tagREFString, void**);
    using InitializeModuleType = HRESULT (*)(void*, IComponentCollection*);
    const auto create = reinterpret_cast<CreateFunctionType>(OS::FindSymbol(library, "CreateFunction"));
    const auto initialize = reinterpret_cast<InitializeModuleType>(OS::FindSymbol(library, "InitializeModule"));
    if (!create) return nullptr;
    if (initialize && gGlobalComponentCollection.Get()) initialize(nullptr, gGlobalComponentCollection.Get());
    void* factory = nullptr;
    create(objectName, &factory);
    return reinterpret_cast<FactoryFunction>(factory);
}

IComponentCollection* GLOBALComponents() {
    if (!gGlobalComponentCollection.Get()) {
        const FactoryFunction factory =
            MODULECreateFunction(RefString(L"CollectionsEx"), RefString(L"GlobalComponentCollection"));
        if (factory) factory(nullptr, &IID_IComponentCollection, gGlobalComponentCollection.Receive());
    }
    IComponentCollection* collection = gGlobalComponentCollection.Get();
    if (collection) collection->AddRef();
    return collection;
}

IComponentString* GetComponentString(IString* name) {
    const auto collection = SmartPtr<IComponentCollection>::Adopt(GLOBALComponents());
    if (!collection.Get()) return nullptr;
    int32_t index = 0;
    if (Failed(collection->FindComponent(name, &index))) return nullptr;
    SmartPtr<IUnknown> component;
    collection->GetComponent(index, reinterpret_cast<IUnknown**>(component.Receive()));
    if (!component.Get()) return nullptr;
    SmartPtr<IComponentString> result;
    component->QueryInterface(IID_IComponentString, result.Receive());
    return result.Detach();
}

ICreatableString* CREFString::CreateString() {
    static SmartPtr<IComponentString> gStringComponent;
    if (!gStringComponent.Get() && gGlobalComponentCollection.Get()) {
        constexpr tagREFString name = RefString(L"CreatableString");
        gGlobalComponentCollection->CreateObject(name.length, name.text, nullptr, gStringComponent.Receive());
    }
    if (!gStringComponent.Get()) {
        // The factory's own reference stays with the module, beside the one that gStringComponent takes.
        static SmartPtr<IComponentString> gFactoryReference;
        const FactoryFunction factory =
            MODULECreateFunction(RefString(L"CollectionsEx"), RefString(L"ComponentString"));
        if (factory) factory(nullptr, &IID_IComponentString, gFactoryReference.Receive());
        if (!gFactoryReference.Get()) return nullptr;
        gStringComponent = gFactoryReference.Get();
        constexpr tagREFString module = RefString(L"Collections");
        constexpr tagREFString object = RefString(L"CreatableString");
        gStringComponent->SetField(4, module.length, module.text);
        gStringComponent->SetField(1, object.length, object.text);
    }
    ICreatableString* string = nullptr;
    gStringComponent->CreateInstance(&IID_ICreatableString, reinterpret_cast<void**>(&string));
    return string;
}
