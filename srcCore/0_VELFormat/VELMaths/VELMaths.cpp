// Entry points of the module, its object names and what runs at load.
#include "Headers.h"
#include "VELColorTransform.h"
#include "VELFilterTransform.h"
#include "VELImageDeform.h"
#include "VELImageTransform.h"
#include "VELMathsImp.h"

SmartPtr<IComponentCollection> gGlobalComponentCollection;

template <>
const tagREFString IObjectInfoImpl<CVELColorTransform>::m_ObjectName = RefString(L"VELColorTransform");
template <>
const tagREFString IObjectInfoImpl<CVELFilterTransform>::m_ObjectName = RefString(L"VELFilterTransform");
template <>
const tagREFString IObjectInfoImpl<CVELImageDeform>::m_ObjectName = RefString(L"VELDeform");
template <>
const tagREFString IObjectInfoImpl<CVELMaths>::m_ObjectName = RefString(L"VELMaths");
template <>
const tagREFString IObjectInfoImpl<CVELImageTransform>::m_ObjectName = RefString(L"VELTransform");

namespace {

// Hosts and module agree on identifiers by computing them; this runs before any entry point.
[[gnu::constructor]] void FillInterfaceIds() { InitialiseInterfaceIds(); }

template <class T>
constexpr FactoryFunction kFactory = &CObject<T>::_CreateInstance;

struct ClassEntry {
    const tagREFString& name;
    FactoryFunction factory;
};

// In the order in which names are tried.
const ClassEntry kClasses[] = {
    {IObjectInfoImpl<CVELColorTransform>::m_ObjectName, kFactory<CVELColorTransform>},
    {IObjectInfoImpl<CVELFilterTransform>::m_ObjectName, kFactory<CVELFilterTransform>},
    {IObjectInfoImpl<CVELImageDeform>::m_ObjectName, kFactory<CVELImageDeform>},
    {IObjectInfoImpl<CVELMaths>::m_ObjectName, kFactory<CVELMaths>},
    {IObjectInfoImpl<CVELImageTransform>::m_ObjectName, kFactory<CVELImageTransform>},
};

}  // namespace

// Exported under its decorated name only: a loader that looks for plain "InitializeModule" does not find it, and the
// module then fetches the collection itself. Hosts rely on that asymmetry.
VEL_EXPORT HRESULT InitializeModule(void* /*reserved*/, IComponentCollection* collection) {
    SmartPtr<IComponentCollection> added(collection);
    gGlobalComponentCollection.Clear();
    gGlobalComponentCollection = std::move(added);
    return S_OK;
}

// Stores the factory of the class with that object name; E_FAIL, and *result as it was, when there is none.
extern "C" VEL_EXPORT HRESULT CreateFunction(tagREFString name, void** result) {
    for (const ClassEntry& entry : kClasses) {
        if (SameName(entry.name, name)) {
            *result = reinterpret_cast<void*>(entry.factory);
            return S_OK;
        }
    }
    return E_FAIL;
}
