// Entry point of the framework module CollectionsEx: "GlobalComponentCollection", the one component collection of the
// process, and "ComponentString", the name of a component.
#include "Collection.h"
#include "ModuleFile.h"
#include "StringManipulate.h"

namespace {

using velhost::Collection;
using velhost::ComponentString;

// Made on first use and kept until the process ends: modules that are unloaded later than this one still release
// what they hold of it.
Collection* GlobalCollection() {
    static Collection* collection = [] {
        SmartPtr<Collection> made = Collection::Make();
        made->SearchFolder(velhost::OwnFolder());
        return made.Detach();
    }();
    return collection;
}

const IID& Requested(const IID* iid) { return iid ? *iid : IID_IUnknown; }

HRESULT GiveCollection(void* /*outer*/, const IID* iid, void** object) {
    return GlobalCollection()->QueryInterface(Requested(iid), object);
}

HRESULT GiveString(void* /*outer*/, const IID* iid, void** object) {
    const auto string = SmartPtr<ComponentString>::Adopt(new ComponentString);
    return string->QueryInterface(Requested(iid), object);
}

struct ObjectEntry {
    tagREFString name;
    FactoryFunction factory;
};
constexpr ObjectEntry kObjects[] = {
    {RefString(L"GlobalComponentCollection"), GiveCollection},
    {RefString(L"ComponentString"), GiveString},
};

}  // namespace

// Stores the factory of the object with that name; E_FAIL, and *result as it was, when there is none.
extern "C" VEL_EXPORT HRESULT CreateFunction(tagREFString name, void** result) {
    for (const ObjectEntry& entry : kObjects) {
        if (SameName(entry.name, name)) {
            *result = reinterpret_cast<void*>(entry.factory);
            return S_OK;
        }
    }
    return E_FAIL;
}
