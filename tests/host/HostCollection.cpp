// The component collection and its strings, in the host and in CollectionsEx.so.
#include "host/Collection.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "host/Image.h"
#include "StringManipulate.h"

namespace {

using velhost::Collection;
using velhost::ComponentString;
using velhost::CreatableString;

SmartPtr<CreatableString> StringOf(const wchar_t* text) {
    return SmartPtr<CreatableString>::Adopt(new CreatableString(text));
}

std::wstring TextOf(IString& string) {
    tagREFString text{};
    EXPECT_EQ(string.GetString(&text), S_OK);
    return {text.text, static_cast<size_t>(text.length)};
}

uint32_t CountOf(IUnknown* object) {
    object->AddRef();
    return object->Release();
}

TEST(HostCollection, CreatableStringGrows) {
    const auto string = StringOf(L"");
    EXPECT_EQ(string->Append(3, L"VEL?"), S_OK);
    EXPECT_EQ(string->Append(0, nullptr), S_OK);
    EXPECT_EQ(string->Append(2, L"\U0001F600x"), S_OK);
    EXPECT_EQ(TextOf(*string.Get()), L"VEL\U0001F600x");
    EXPECT_EQ(string->Append(-1, L"x"), E_INVALIDARG);
    EXPECT_EQ(string->Append(1, nullptr), E_INVALIDARG);
    EXPECT_EQ(TextOf(*string.Get()).size(), 5u);
    SmartPtr<IString> base;
    EXPECT_EQ(string->QueryInterface(MakeInterfaceId("IString"), base.Receive()), S_OK);
    EXPECT_TRUE(base == static_cast<IUnknown*>(string.Get()));
}

TEST(HostCollection, ComponentStringMakesWhatItNames) {
    const auto component = SmartPtr<ComponentString>::Adopt(new ComponentString);
    void* object = component.Get();
    EXPECT_EQ(component->CreateInstance(nullptr, &object), E_FAIL);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(component->SetField(4, 11, L"Collections"), S_OK);
    EXPECT_EQ(component->SetField(1, 15, L"CreatableString"), S_OK);
    EXPECT_EQ(component->SetField(2, 1, L"x"), E_INVALIDARG);
    EXPECT_EQ(component->SetField(1, -1, L"x"), E_INVALIDARG);
    EXPECT_EQ(component->SetField(1, 1, nullptr), E_INVALIDARG);
    tagREFString field{};
    EXPECT_EQ(component->GetField(1, &field), S_OK);
    EXPECT_TRUE(SameName(field, RefString(L"CreatableString")));

    SmartPtr<ICreatableString> string;
    EXPECT_EQ(component->CreateInstance(&IID_ICreatableString, string.Receive()), S_OK);
    ASSERT_NE(string.Get(), nullptr);
    EXPECT_EQ(CountOf(string.Get()), 1u);
    EXPECT_EQ(component->CreateInstance(&IID_IVEL, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);

    EXPECT_EQ(component->SetField(1, 11, L"VELImageDIB"), S_OK);
    SmartPtr<IVELImageDIB> image;
    EXPECT_EQ(component->CreateInstance(&IID_IVELImageDIB, image.Receive()), S_OK);
    EXPECT_EQ(CountOf(image.Get()), 1u);
    for (const wchar_t* module : {L"NoSuchModule", L"../_binMAC/VELMaths", L"VEL/Maths", L"\x1234"}) {
        EXPECT_EQ(component->SetField(4, static_cast<int32_t>(std::wcslen(module)), module), S_OK);
        EXPECT_EQ(component->CreateInstance(nullptr, &object), E_FAIL);
    }
}

TEST(HostCollection, FindsByNameAndIndex) {
    const auto collection = Collection::Make();
    int32_t index = -7;
    EXPECT_EQ(collection->FindComponent(StringOf(L"VELImageDI").Get(), &index), E_FAIL);
    EXPECT_EQ(collection->FindComponent(StringOf(L"velimagedib").Get(), &index), E_FAIL);
    EXPECT_EQ(collection->FindComponent(StringOf(L"").Get(), &index), E_FAIL);
    EXPECT_EQ(index, -7);
    ASSERT_EQ(collection->FindComponent(StringOf(L"VELImageDIB").Get(), &index), S_OK);
    SmartPtr<IUnknown> unknown;
    ASSERT_EQ(collection->GetComponent(index, reinterpret_cast<IUnknown**>(unknown.Receive())), S_OK);
    EXPECT_EQ(CountOf(unknown.Get()), 2u);  // the collection's and ours
    SmartPtr<IComponentString> component;
    ASSERT_EQ(unknown->QueryInterface(IID_IComponentString, component.Receive()), S_OK);
    for (const int32_t bad : {-1, 1000, INT32_MIN}) {
        IUnknown* none = unknown.Get();
        EXPECT_EQ(collection->GetComponent(bad, &none), E_INVALIDARG);
        EXPECT_EQ(none, nullptr);
    }
}

TEST(HostCollection, CreateObjectWithoutIdentifierGivesTheComponentString) {
    const auto collection = Collection::Make();
    SmartPtr<IComponentString> component;
    EXPECT_EQ(collection->CreateObject(15, L"CreatableString", nullptr, component.Receive()), S_OK);
    ASSERT_NE(component.Get(), nullptr);
    SmartPtr<ICreatableString> string;
    EXPECT_EQ(component->CreateInstance(&IID_ICreatableString, string.Receive()), S_OK);
    SmartPtr<IVELImage> image;
    EXPECT_EQ(collection->CreateObject(11, L"VELImageDIB", &IID_IVELImage, image.Receive()), S_OK);
    EXPECT_EQ(CountOf(image.Get()), 1u);
    void* none = image.Get();
    EXPECT_EQ(collection->CreateObject(10, L"VELImageDIB", &IID_IVELImage, &none), E_FAIL);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(collection->CreateObject(0, L"VELImageDIB", &IID_IVELImage, &none), E_FAIL);
    EXPECT_EQ(collection->CreateObject(11, nullptr, &IID_IVELImage, &none), E_FAIL);
    EXPECT_EQ(collection->CreateObject(11, L"VELImageDIB", &IID_IVELMaths, &none), E_NOINTERFACE);
}

TEST(HostCollection, RegisteredComponentsComeAndGo) {
    const auto collection = Collection::Make();
    const FactoryFunction factory = [](void*, const IID* iid, void** object) {
        return velhost::Image::New()->QueryInterface(*iid, object);
    };
    collection->Register(L"Mine", L"Picture", factory);
    SmartPtr<IVEL> image;
    EXPECT_EQ(collection->CreateObject(7, L"Picture", &IID_IVEL, image.Receive()), S_OK);
    int32_t index = 0, again = 0;
    EXPECT_EQ(collection->FindComponent(StringOf(L"Picture").Get(), &index), S_OK);
    collection->Register(L"Mine", L"Picture", nullptr);
    EXPECT_EQ(collection->CreateObject(7, L"Picture", &IID_IVEL, image.Receive()), E_FAIL);
    collection->Register(L"Mine", L"Picture", factory);
    EXPECT_EQ(collection->FindComponent(StringOf(L"Picture").Get(), &again), S_OK);
    EXPECT_EQ(index, again);
}

TEST(HostCollection, ThreadsShareACollection) {
    const auto collection = Collection::Make();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                SmartPtr<IVELImage> image;
                ASSERT_EQ(collection->CreateObject(11, L"VELImageDIB", &IID_IVELImage, image.Receive()), S_OK);
                collection->Register(L"Mine", L"Object" + std::to_wstring(t * 1000 + i),
                                     [](void*, const IID*, void**) { return E_FAIL; });
            }
        });
    }
    for (auto& thread : threads) thread.join();
    int32_t index = 0;
    EXPECT_EQ(collection->FindComponent(StringOf(L"Object3499").Get(), &index), S_OK);
    EXPECT_EQ(CountOf(static_cast<IComponentCollection*>(collection.Get())), 1u);
}

// CollectionsEx.so by its entry point, as a module gets it.
class HostCollectionModule : public testing::Test {
protected:
    void SetUp() override {
        m_library = dlopen("./_binMAC/CollectionsEx.so", RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_library, nullptr) << dlerror();
        m_create = reinterpret_cast<HRESULT (*)(tagREFString, void**)>(dlsym(m_library, "CreateFunction"));
        ASSERT_NE(m_create, nullptr);
    }
    FactoryFunction Factory(tagREFString name) {
        void* factory = nullptr;
        EXPECT_EQ(m_create(name, &factory), S_OK);
        return reinterpret_cast<FactoryFunction>(factory);
    }
    void* m_library = nullptr;
    HRESULT (*m_create)(tagREFString, void**) = nullptr;
};

TEST_F(HostCollectionModule, KnowsItsTwoObjects) {
    void* untouched = this;
    EXPECT_EQ(m_create(RefString(L"GlobalComponentCollectio"), &untouched), E_FAIL);
    EXPECT_EQ(m_create({0, L""}, &untouched), E_FAIL);
    EXPECT_EQ(untouched, this);
    EXPECT_EQ(dlsym(m_library, "InitializeModule"), nullptr);
    EXPECT_EQ(dlsym(m_library, "IID_IVEL"), nullptr);
    void* none = this;
    EXPECT_EQ(Factory(RefString(L"ComponentString"))(nullptr, &IID_IVEL, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
}

TEST_F(HostCollectionModule, OneCollectionForEveryone) {
    const FactoryFunction factory = Factory(RefString(L"GlobalComponentCollection"));
    SmartPtr<IComponentCollection> first, second;
    EXPECT_EQ(factory(nullptr, &IID_IComponentCollection, first.Receive()), S_OK);
    const uint32_t count = CountOf(first.Get());
    EXPECT_EQ(factory(nullptr, &IID_IComponentCollection, second.Receive()), S_OK);
    EXPECT_EQ(first.Get(), second.Get());
    EXPECT_EQ(CountOf(first.Get()), count + 1);
    SmartPtr<IVELImage> image;
    EXPECT_EQ(first->CreateObject(11, L"VELImageDIB", &IID_IVELImage, image.Receive()), S_OK);
    EXPECT_EQ(image->Create(5, 5, 1, 24, FORMAT_BGR), S_OK);
}

TEST_F(HostCollectionModule, FindsComponentsOfTheModulesBesideIt) {
    SmartPtr<IComponentCollection> collection;
    ASSERT_EQ(
        Factory(RefString(L"GlobalComponentCollection"))(nullptr, &IID_IComponentCollection, collection.Receive()),
        S_OK);
    SmartPtr<IVELMaths> maths;
    EXPECT_EQ(collection->CreateObject(8, L"VELMaths", &IID_IVELMaths, maths.Receive()), S_OK);
    ASSERT_NE(maths.Get(), nullptr);
    // The module was handed the collection: it can make an image of its own.
    SmartPtr<IVELImage> model;
    ASSERT_EQ(collection->CreateObject(11, L"VELImageDIB", &IID_IVELImage, model.Receive()), S_OK);
    ASSERT_EQ(model->Create(3, 2, 1, 24, FORMAT_BGR), S_OK);
    SmartPtr<IVEL> made;
    EXPECT_EQ(maths->CreateDestImage(reinterpret_cast<IVEL**>(made.Receive()), model.Get(), 8, FORMAT_MONO), S_OK);
    ASSERT_NE(made.Get(), nullptr);
    uint32_t width = 0, height = 0, planes = 0;
    made->GetSize(&width, &height, &planes);
    EXPECT_EQ(width * 100 + height * 10 + planes, 321u);
    void* none = nullptr;
    EXPECT_EQ(collection->CreateObject(9, L"NoSuchOne", &IID_IVEL, &none), E_FAIL);
}

TEST_F(HostCollectionModule, ComponentStringLoadsModulesByName) {
    SmartPtr<IComponentString> component;
    ASSERT_EQ(Factory(RefString(L"ComponentString"))(nullptr, &IID_IComponentString, component.Receive()), S_OK);
    EXPECT_EQ(component->SetField(4, 8, L"VELMaths"), S_OK);
    EXPECT_EQ(component->SetField(1, 9, L"VELDeform"), S_OK);
    SmartPtr<IVELDeform> deform;
    EXPECT_EQ(component->CreateInstance(&IID_IVELDeform, deform.Receive()), S_OK);
    EXPECT_NE(deform.Get(), nullptr);
}

}  // namespace
