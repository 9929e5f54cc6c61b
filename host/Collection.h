// The component collection and the strings that a module asks its host for.
//
// Built-in components: "VELImageDIB" (images, Image.h), "CreatableString" (growing strings), "ComponentString" (names
// of components). Others are registered, or found in the modules of a folder when they are first asked for.
#pragma once

#include <deque>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>

#include "Interface.h"
#include "Object.h"
#include "SmartPtr.h"

namespace velhost {

// A string that grows. One thread at a time changes it.
class CreatableString final : public Counted<CreatableString, ICreatableString> {
public:
    explicit CreatableString(std::wstring_view text = {}) : m_text(text) {}

    // IUnknown, IString, ICreatableString.
    HRESULT QueryInterface(const IID& iid, void** object) override;
    // The characters stay this string's, until the next Append.
    HRESULT GetString(tagREFString* text) override;
    // E_INVALIDARG for a negative count or missing characters, E_FAIL without memory; the string is unchanged then.
    HRESULT Append(int32_t count, const wchar_t* text) override;

private:
    friend class Counted<CreatableString, ICreatableString>;
    ~CreatableString() = default;
    std::wstring m_text;
};

// The name of a component: which object of which module. Makes objects of that component.
class ComponentString final : public Counted<ComponentString, IComponentString> {
public:
    static constexpr int32_t kObjectField = 1;
    static constexpr int32_t kModuleField = 4;

    ComponentString() = default;
    // A component whose factory is known; module and object name only describe it.
    ComponentString(std::wstring_view module, std::wstring_view object, FactoryFunction factory)
        : m_object(object), m_module(module), m_factory(factory) {}

    // IUnknown, IComponentString.
    HRESULT QueryInterface(const IID& iid, void** object) override;
    // The characters stay this string's, until the field is set again. E_INVALIDARG for a field that is none.
    HRESULT GetField(int32_t field, tagREFString* text) override;
    // Forgets the factory: it is looked up anew. E_INVALIDARG for a field that is none, or missing characters.
    HRESULT SetField(int32_t field, int32_t length, const wchar_t* text) override;
    // A new object, asked for `iid` (null: IUnknown). The object name is one of the built-in components, or the module
    // is loaded from the folder of modules beside this library or from ./_binMAC/. E_FAIL when there is no such
    // component, else what its factory says.
    HRESULT CreateInstance(const IID* iid, void** object) override;

private:
    friend class Counted<ComponentString, IComponentString>;
    ~ComponentString() = default;
    std::wstring* Field(int32_t field);

    std::mutex m_mutex;
    std::wstring m_object;
    std::wstring m_module;
    FactoryFunction m_factory = nullptr;
};

// Safe from several threads. A component's index never changes.
class Collection final : public Counted<Collection, IComponentCollection> {
public:
    // A collection of the built-in components.
    static SmartPtr<Collection> Make();

    // Adds a component, or gives one of that name another factory. A null factory takes it away.
    void Register(std::wstring_view module, std::wstring_view object, FactoryFunction factory);

    // A name that is not known is looked up in the modules (*.so) of this folder, in the order of their names; those
    // modules are loaded, handed this collection and stay loaded. Empty: no look-up (as at first).
    void SearchFolder(const std::filesystem::path& folder);

    // IUnknown, IComponentCollection.
    HRESULT QueryInterface(const IID& iid, void** object) override;
    // The component string at that index as IUnknown; E_INVALIDARG and null for an index that is none.
    HRESULT GetComponent(int32_t index, IUnknown** component) override;
    // E_FAIL, and *index as it was, when there is no component of that name.
    HRESULT FindComponent(IString* name, int32_t* index) override;
    HRESULT Reserved3() override { return E_FAIL; }
    HRESULT Reserved4() override { return E_FAIL; }
    HRESULT Reserved5() override { return E_FAIL; }
    HRESULT Reserved6() override { return E_FAIL; }
    HRESULT Reserved7() override { return E_FAIL; }
    HRESULT Reserved8() override { return E_FAIL; }
    HRESULT Reserved9() override { return E_FAIL; }
    HRESULT Reserved10() override { return E_FAIL; }
    HRESULT Reserved11() override { return E_FAIL; }
    HRESULT Reserved12() override { return E_FAIL; }
    // A new object of the named component, asked for *iid; with a null iid the component string itself. E_FAIL and
    // null when there is none.
    HRESULT CreateObject(int32_t length, const wchar_t* name, const IID* iid, void** object) override;

private:
    friend class Counted<Collection, IComponentCollection>;
    Collection();
    ~Collection() = default;

    struct Entry {
        std::wstring name;
        SmartPtr<ComponentString> component;  // empty: taken away
    };
    // Position of a component that is there, or -1. The mutex is held.
    int32_t Known(std::wstring_view name) const;
    int32_t Find(std::wstring_view name);
    bool FindInFolder(const std::filesystem::path& folder, std::wstring_view name);

    mutable std::mutex m_mutex;
    std::deque<Entry> m_entries;
    std::filesystem::path m_folder;
};

}  // namespace velhost
