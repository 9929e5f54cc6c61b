#include "Collection.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <vector>

#include "Image.h"
#include "ModuleFile.h"

namespace velhost {

namespace {

// Interfaces are called from code that knows no exceptions: lack of memory and file system trouble become E_FAIL.
template <class Function>
HRESULT Guarded(Function function) {
    try {
        return function();
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

// Hands out the interface asked for; the object's first reference belongs to this function.
template <class T>
HRESULT Deliver(T* made, const IID* iid, void** object) {
    const auto held = SmartPtr<T>::Adopt(made);
    return made->QueryInterface(iid ? *iid : IID_IUnknown, object);
}

HRESULT MakeImage(void*, const IID* iid, void** object) {
    return Guarded([&] {
        const SmartPtr<Image> image = Image::New();
        return image.Get() ? image->QueryInterface(iid ? *iid : IID_IUnknown, object) : E_FAIL;
    });
}
HRESULT MakeString(void*, const IID* iid, void** object) {
    return Guarded([&] { return Deliver(new CreatableString, iid, object); });
}
HRESULT MakeComponentString(void*, const IID* iid, void** object) {
    return Guarded([&] { return Deliver(new ComponentString, iid, object); });
}

struct BuiltIn {
    std::wstring_view object;
    FactoryFunction factory;
};
constexpr std::wstring_view kBuiltInModule = L"Collections";
constexpr BuiltIn kBuiltIns[] = {
    {L"VELImageDIB", MakeImage},
    {L"CreatableString", MakeString},
    {L"ComponentString", MakeComponentString},
};

// Letters, digits, '_', '-' and '.' as in file names of modules; nothing else names one.
std::optional<std::string> ModuleName(std::wstring_view name) {
    std::string narrow;
    for (const wchar_t c : name) {
        const bool plain = (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') ||
                           c == L'_' || c == L'-' || c == L'.';
        if (!plain) return std::nullopt;
        narrow += static_cast<char>(c);
    }
    if (narrow.empty()) return std::nullopt;
    return narrow;
}

FactoryFunction FactoryOf(std::wstring_view module, std::wstring_view object) {
    if (module.empty() || module == kBuiltInModule || module == L"CollectionsEx") {
        for (const BuiltIn& builtIn : kBuiltIns) {
            if (builtIn.object == object) return builtIn.factory;
        }
        return nullptr;
    }
    const auto name = ModuleName(module);
    if (!name) return nullptr;
    const std::filesystem::path own = OwnFolder();
    for (const auto& folder : {own, own / ".." / "_binMAC", std::filesystem::path("./_binMAC")}) {
        std::error_code error;
        const auto path = folder / (*name + kModuleSuffix);
        if (folder.empty() || !std::filesystem::exists(path, error)) continue;
        const ModuleFile file = ModuleFile::Open(path);
        return file.handle ? file.Factory(object) : nullptr;
    }
    return nullptr;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------
// Strings

HRESULT CreatableString::QueryInterface(const IID& iid, void** object) {
    if (!object) return E_POINTER;
    VELHOST_ANSWER(ICreatableString)
    VELHOST_ANSWER(IString)
    if (iid == IID_IUnknown) {
        *object = static_cast<ICreatableString*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

HRESULT CreatableString::GetString(tagREFString* text) {
    if (!text) return E_POINTER;
    *text = {static_cast<int32_t>(m_text.size()), m_text.c_str()};
    return S_OK;
}

HRESULT CreatableString::Append(int32_t count, const wchar_t* text) {
    if (count < 0 || (count > 0 && !text)) return E_INVALIDARG;
    if (m_text.size() + static_cast<size_t>(count) > INT32_MAX) return E_FAIL;
    return Guarded([&] {
        m_text.append(text, static_cast<size_t>(count));
        return S_OK;
    });
}

HRESULT ComponentString::QueryInterface(const IID& iid, void** object) {
    if (!object) return E_POINTER;
    VELHOST_ANSWER(IComponentString)
    if (iid == IID_IUnknown) {
        *object = static_cast<IComponentString*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

std::wstring* ComponentString::Field(int32_t field) {
    return field == kObjectField ? &m_object : field == kModuleField ? &m_module : nullptr;
}

HRESULT ComponentString::GetField(int32_t field, tagREFString* text) {
    if (!text) return E_POINTER;
    const std::lock_guard lock(m_mutex);
    const std::wstring* value = Field(field);
    if (!value) return E_INVALIDARG;
    *text = {static_cast<int32_t>(value->size()), value->c_str()};
    return S_OK;
}

HRESULT ComponentString::SetField(int32_t field, int32_t length, const wchar_t* text) {
    if (length < 0 || (length > 0 && !text)) return E_INVALIDARG;
    return Guarded([&] {
        const std::lock_guard lock(m_mutex);
        std::wstring* value = Field(field);
        if (!value) return E_INVALIDARG;
        *value = length > 0 ? std::wstring(text, static_cast<size_t>(length)) : std::wstring();
        m_factory = nullptr;
        return S_OK;
    });
}

HRESULT ComponentString::CreateInstance(const IID* iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    return Guarded([&] {
        FactoryFunction factory = nullptr;
        {
            const std::lock_guard lock(m_mutex);
            if (!m_factory) m_factory = FactoryOf(m_module, m_object);
            factory = m_factory;
        }
        return factory ? factory(nullptr, iid ? iid : &IID_IUnknown, object) : E_FAIL;
    });
}

// ---------------------------------------------------------------------------------------------------------------
// Collection

SmartPtr<Collection> Collection::Make() { return SmartPtr<Collection>::Adopt(new Collection); }

Collection::Collection() {
    for (const BuiltIn& builtIn : kBuiltIns) Register(kBuiltInModule, builtIn.object, builtIn.factory);
}

void Collection::Register(std::wstring_view module, std::wstring_view object, FactoryFunction factory) {
    SmartPtr<ComponentString> component;
    if (factory) component = SmartPtr<ComponentString>::Adopt(new ComponentString(module, object, factory));
    const std::lock_guard lock(m_mutex);
    const auto entry =
        std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.name == object; });
    if (entry != m_entries.end()) {
        entry->component.Swap(component);
    } else if (factory) {
        m_entries.push_back({std::wstring(object), component});
    }
}

void Collection::SearchFolder(const std::filesystem::path& folder) {
    const std::lock_guard lock(m_mutex);
    m_folder = folder;
}

HRESULT Collection::QueryInterface(const IID& iid, void** object) {
    if (!object) return E_POINTER;
    VELHOST_ANSWER(IComponentCollection)
    if (iid == IID_IUnknown) {
        *object = static_cast<IComponentCollection*>(this);
        AddRef();
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

int32_t Collection::Known(std::wstring_view name) const {
    for (size_t i = 0; i < m_entries.size(); ++i) {
        if (m_entries[i].component.Get() && m_entries[i].name == name) return static_cast<int32_t>(i);
    }
    return -1;
}

int32_t Collection::Find(std::wstring_view name) {
    std::filesystem::path folder;
    {
        const std::lock_guard lock(m_mutex);
        const int32_t known = Known(name);
        if (known >= 0 || m_folder.empty()) return known;
        folder = m_folder;
    }
    if (!FindInFolder(folder, name)) return -1;
    const std::lock_guard lock(m_mutex);
    return Known(name);
}

bool Collection::FindInFolder(const std::filesystem::path& folder, std::wstring_view name) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.path().extension() == kModuleSuffix) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& path : files) {
        const ModuleFile file = ModuleFile::Open(path);
        if (!file.handle) continue;
        const FactoryFunction factory = file.Factory(name);
        if (!factory) continue;
        // A module that was there before keeps the collection it has.
        if (!file.wasLoaded) file.Initialise(this);
        Register(path.stem().wstring(), name, factory);
        return true;
    }
    return false;
}

HRESULT Collection::GetComponent(int32_t index, IUnknown** component) {
    if (!component) return E_POINTER;
    *component = nullptr;
    const std::lock_guard lock(m_mutex);
    if (index < 0 || static_cast<size_t>(index) >= m_entries.size()) return E_INVALIDARG;
    const SmartPtr<ComponentString>& found = m_entries[static_cast<size_t>(index)].component;
    if (!found.Get()) return E_INVALIDARG;
    return found->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(component));
}

HRESULT Collection::FindComponent(IString* name, int32_t* index) {
    if (!name || !index) return E_POINTER;
    return Guarded([&] {
        tagREFString text{0, nullptr};
        if (Failed(name->GetString(&text)) || text.length <= 0 || !text.text) return E_FAIL;
        const int32_t found = Find({text.text, static_cast<size_t>(text.length)});
        if (found < 0) return E_FAIL;
        *index = found;
        return S_OK;
    });
}

HRESULT Collection::CreateObject(int32_t length, const wchar_t* name, const IID* iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (length <= 0 || !name) return E_FAIL;
    return Guarded([&] {
        const int32_t found = Find({name, static_cast<size_t>(length)});
        SmartPtr<IUnknown> unknown;
        SmartPtr<IComponentString> component;
        if (found >= 0) GetComponent(found, reinterpret_cast<IUnknown**>(unknown.Receive()));
        if (unknown.Get()) {
            unknown->QueryInterface(MakeInterfaceId("IComponentString"), component.Receive());
        }
        if (!component.Get()) return E_FAIL;
        if (iid) return component->CreateInstance(iid, object);
        *object = component.Detach();
        return S_OK;
    });
}

}  // namespace velhost
