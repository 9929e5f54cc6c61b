#include "Component.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "0_Base_i.h"
#include "Pictures.h"
#include "host/Collection.h"
#include "StringManipulate.h"

namespace bench {
namespace {

// Strings, component strings and the collection: as little of each as the module calls, never freed.

struct Name final : ICreatableString {
    HRESULT QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT GetString(tagREFString*) override { return E_FAIL; }
    HRESULT Append(int32_t, const wchar_t*) override { return S_OK; }
};

struct PictureFactory final : IComponentString {
    HRESULT QueryInterface(const IID&, void** object) override {
        *object = this;
        return S_OK;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT GetField(int32_t, tagREFString*) override { return E_FAIL; }
    HRESULT CreateInstance(const IID* iid, void** object) override {
        static Name name;
        if (*iid == IID_ICreatableString) {
            *object = &name;
            return S_OK;
        }
        *object = static_cast<IVELImageDIB*>(Picture::Make().Detach());
        return S_OK;
    }
    HRESULT SetField(int32_t, int32_t, const wchar_t*) override { return S_OK; }
};

struct Collection final : IComponentCollection {
    PictureFactory factory;
    HRESULT QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT GetComponent(int32_t, IUnknown** component) override {
        *component = &factory;
        return S_OK;
    }
    HRESULT FindComponent(IString*, int32_t* index) override {
        *index = 0;
        return S_OK;
    }
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
    HRESULT CreateObject(int32_t, const wchar_t*, const IID* iid, void** object) override {
        if (!iid) {
            *object = &factory;
            return S_OK;
        }
        *object = static_cast<IVELImageDIB*>(Picture::Make().Detach());
        return S_OK;
    }
};

struct Turn final : ITransform {
    HRESULT QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT TransformPoint(double* x, double* y, double* /*z*/) override {
        const double u = *x, v = *y;
        *x = 0.98 * u - 0.17 * v + 20.0;
        *y = 0.17 * u + 0.98 * v - 15.0;
        return S_OK;
    }
};

using CreateFunctionType = HRESULT (*)(tagREFString, void**);
CreateFunctionType gCreate = nullptr;

template <class Interface>
Interface* Component(tagREFString name, const IID& iid) {
    void* factory = nullptr;
    void* object = nullptr;
    if (Failed(gCreate(name, &factory)) || Failed(reinterpret_cast<FactoryFunction>(factory)(nullptr, &iid, &object))) {
        std::fprintf(stderr, "vel_bench: the module does not make its components\n");
        std::exit(1);
    }
    return static_cast<Interface*>(object);
}

// Calls operation `slot` of an object's own table.
template <class... Arguments>
HRESULT CallSlot(IUnknown* object, int slot, Arguments... arguments) {
    using Operation = HRESULT (*)(IUnknown*, Arguments...);
    return reinterpret_cast<Operation>((*reinterpret_cast<void***>(object))[slot])(object, arguments...);
}

}  // namespace

void LoadModule(const std::string& path, bool referenceHost) {
    InitialiseInterfaceIds();
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        std::fprintf(stderr, "vel_bench: %s\n", dlerror());
        std::exit(1);
    }
    gCreate = reinterpret_cast<CreateFunctionType>(dlsym(library, "CreateFunction"));
    using InitializeType = HRESULT (*)(void*, IComponentCollection*);
    const auto initialize =
        reinterpret_cast<InitializeType>(dlsym(library, "_Z16InitializeModulePvP20IComponentCollection"));
    static auto* pooled = new Collection;
    static const auto* own = new SmartPtr<velhost::Collection>(velhost::Collection::Make());
    initialize(nullptr, referenceHost ? static_cast<IComponentCollection*>(own->Get()) : pooled);
}

IVELColorTransform* Colours() {
    static auto* c = Component<IVELColorTransform>(RefString(L"VELColorTransform"), IID_IVELColorTransform);
    return c;
}
IVELFilterTransform* Filters() {
    static auto* c = Component<IVELFilterTransform>(RefString(L"VELFilterTransform"), IID_IVELFilterTransform);
    return c;
}
IVELDeform* Deforms() {
    static auto* c = Component<IVELDeform>(RefString(L"VELDeform"), IID_IVELDeform);
    return c;
}
IVELTransform* Transforms() {
    static auto* c = Component<IVELTransform>(RefString(L"VELTransform"), IID_IVELTransform);
    return c;
}
IVELMaths* Maths() {
    static auto* c = Component<IVELMaths>(RefString(L"VELMaths"), IID_IVELMaths);
    return c;
}

ITransform* TurnMapping() {
    static Turn turn;
    return &turn;
}

HRESULT FilterKernel(IVEL* source, short* kernel, int size, int divisor, int offset, IVEL** dest) {
    static auto* c = Component<IUnknown>(RefString(L"VELFilterTransform"), IID_IUnknown);
    return CallSlot(c, 20, source, kernel, size, divisor, offset, dest);
}
HRESULT Rotate4(IVEL* source, IVELImage* destination, int angle) {
    static auto* c = Component<IUnknown>(RefString(L"VELTransform"), IID_IUnknown);
    return CallSlot(c, 15, source, destination, angle);
}
HRESULT FillVoids(IVEL* image) {
    static auto* c = Component<IUnknown>(RefString(L"VELTransform"), IID_IUnknown);
    return CallSlot(c, 19, image);
}

}  // namespace bench
