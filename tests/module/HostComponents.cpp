// Where the module gets its collection, strings and images: from the collection that the host handed over, or from
// "CollectionsEx" that it loads itself. Reference counts are asserted exactly.
#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

#include <clocale>
#include <filesystem>

#include "internals/FakeModule.h"
#include "support/Images.h"
#include "support/Module.h"

namespace {

namespace fs = std::filesystem;
using test::Call;
using test::LiveObjects;
using test::TestCollection;
using test::TestComponentString;
using test::TestImage;
using test::TestString;

// What the fake module offers and what it was asked for.
struct FakeOffer {
    bool knowsCollection = true, knowsString = true;
    bool failCollection = false, failString = false;  // the factory answers E_FAIL and null
    SmartPtr<TestCollection> collection;
    SmartPtr<TestComponentString> string;
    std::vector<std::wstring> asked;
    std::vector<IComponentCollection*> initialised;
    int collectionCalls = 0, stringCalls = 0;
};
FakeOffer* g_offer = nullptr;

HRESULT CollectionFactory(void* outer, const IID* iid, void** object) {
    ++g_offer->collectionCalls;
    EXPECT_EQ(outer, nullptr);
    EXPECT_TRUE(*iid == test::InterfaceId("IComponentCollection"));
    *object = nullptr;
    if (g_offer->failCollection) return E_FAIL;
    return g_offer->collection->QueryInterface(*iid, object);
}

HRESULT StringFactory(void* outer, const IID* iid, void** object) {
    ++g_offer->stringCalls;
    EXPECT_EQ(outer, nullptr);
    EXPECT_TRUE(*iid == test::InterfaceId("IComponentString"));
    *object = nullptr;
    if (g_offer->failString) return E_FAIL;
    return g_offer->string->QueryInterface(*iid, object);
}

HRESULT FakeCreate(tagREFString name, void** result) {
    EXPECT_EQ(*result, nullptr);
    const std::wstring wanted(name.text, static_cast<size_t>(name.length));
    g_offer->asked.push_back(wanted);
    if (wanted == L"GlobalComponentCollection" && g_offer->knowsCollection) {
        *result = reinterpret_cast<void*>(&CollectionFactory);
        return S_OK;
    }
    if (wanted == L"ComponentString" && g_offer->knowsString) {
        *result = reinterpret_cast<void*>(&StringFactory);
        return S_OK;
    }
    return E_FAIL;
}

HRESULT FakeInitialize(void* reserved, IComponentCollection* collection) {
    EXPECT_EQ(reserved, nullptr);
    g_offer->initialised.push_back(collection);
    return S_OK;
}

// The module's internals, loaded afresh, in a current directory whose _binMAC holds what the test puts there.
class HostComponents : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(LiveObjects(), 0);
        home = fs::current_path();
        char name[] = "/tmp/velmaths-test-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
        fs::create_directory(folder / "_binMAC");
        fs::current_path(folder);
        offer.collection = TestCollection::New();
        offer.string = TestComponentString::New(offer.collection.Get());
        g_offer = &offer;
        module = std::make_unique<test::Module>(VEL_TEST_INTERNALS);
        given = TestCollection::New();
    }
    void TearDown() override {
        module.reset();
        UnloadFakes();
        g_offer = nullptr;
        EXPECT_EQ(offer.collection->Count(), 1u);
        EXPECT_EQ(offer.string->Count(), 1u);
        EXPECT_EQ(given->Count(), 1u);
        given.Clear();
        offer = {};
        EXPECT_EQ(LiveObjects(), 0);
        fs::current_path(home);
        fs::remove_all(folder);
    }

    // The module never closes what it loads, and the loader would answer the same relative path with the same library
    // for the next test.
    void UnloadFakes() {
        for (const fs::path& file : installed) {
            while (void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD)) {
                dlclose(library);
                dlclose(library);
            }
        }
    }

    // Puts one of the fakes into _binMAC under a name, with hooks to the offer above.
    void Install(const std::string& fake, const std::string& name) {
        const fs::path file = fs::path(VEL_TEST_FAKES) / (fake + ".so");
        fs::create_symlink(file, folder / "_binMAC" / (name + ".so"));
        void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        installed.push_back(file);
        using Hooks = test::FakeModuleHooks* (*)();
        *reinterpret_cast<Hooks>(dlsym(library, "FakeHooks"))() = {FakeCreate, FakeInitialize};
    }
    void Install() { Install("FakeModule", "CollectionsEx"); }
    void Give() { module->InitializeModule(nullptr, given.Get()); }

    SmartPtr<IComponentCollection> Collection() {
        using Function = IComponentCollection* (*)();
        return SmartPtr<IComponentCollection>::Adopt(
            reinterpret_cast<Function>(module->Symbol("Internal_GLOBALComponents"))());
    }
    SmartPtr<IComponentString> ComponentString(const std::wstring& text) {
        const auto name = TestString::New();
        name->text = text;
        using Function = IComponentString* (*)(IString*);
        auto result = SmartPtr<IComponentString>::Adopt(
            reinterpret_cast<Function>(module->Symbol("Internal_GetComponentString"))(name.Get()));
        EXPECT_EQ(name->Count(), 1u);
        return result;
    }
    SmartPtr<ICreatableString> String() {
        using Function = ICreatableString* (*)();
        return SmartPtr<ICreatableString>::Adopt(reinterpret_cast<Function>(module->Symbol("Internal_CreateString"))());
    }
    SmartPtr<IVELImageDIB> Image() {
        using Function = IVELImageDIB* (*)();
        return SmartPtr<IVELImageDIB>::Adopt(reinterpret_cast<Function>(module->Symbol("Internal_CreateImageDIB"))());
    }
    FactoryFunction Factory(const std::wstring& moduleName, const std::wstring& object) {
        using Function = FactoryFunction (*)(tagREFString, tagREFString);
        return reinterpret_cast<Function>(module->Symbol("Internal_MODULECreateFunction"))(
            {static_cast<int32_t>(moduleName.size()), moduleName.data()},
            {static_cast<int32_t>(object.size()), object.data()});
    }

    fs::path home, folder;
    FakeOffer offer;
    std::vector<fs::path> installed;
    std::unique_ptr<test::Module> module;
    SmartPtr<TestCollection> given;
};

// ---------------------------------------------------------------------------------------------------------------
// The collection

TEST_F(HostComponents, TheCollectionGivenComesBackWithAReferenceForTheCaller) {
    Install();
    Give();
    EXPECT_EQ(given->Count(), 2u);
    {
        const auto first = Collection();
        EXPECT_EQ(first.Get(), given.Get());
        EXPECT_EQ(given->Count(), 3u);
        const auto second = Collection();
        EXPECT_EQ(given->Count(), 4u);
    }
    EXPECT_EQ(given->Count(), 2u);
    EXPECT_TRUE(offer.asked.empty());
}

TEST_F(HostComponents, WithoutACollectionTheFirstCallLoadsCollectionsExAndTheSecondGivesTheSame) {
    Install();
    {
        const auto first = Collection();
        EXPECT_EQ(first.Get(), offer.collection.Get());
        EXPECT_EQ(offer.collection->Count(), 3u);  // the test's, the module's, the caller's
        const auto second = Collection();
        EXPECT_EQ(second.Get(), offer.collection.Get());
        EXPECT_EQ(offer.collection->Count(), 4u);
    }
    EXPECT_EQ(offer.collection->Count(), 2u);
    EXPECT_EQ(offer.asked, std::vector<std::wstring>{L"GlobalComponentCollection"});
    EXPECT_EQ(offer.collectionCalls, 1);
    EXPECT_TRUE(offer.initialised.empty());  // there was no collection to hand over
    module.reset();
    EXPECT_EQ(offer.collection->Count(), 1u);
}

TEST_F(HostComponents, ACollectionGivenLaterReplacesTheLoadedOneAndTakingItAwayLoadsAgain) {
    Install();
    Collection();
    Give();
    EXPECT_EQ(offer.collection->Count(), 1u);
    EXPECT_EQ(Collection().Get(), given.Get());
    module->InitializeModule(nullptr, nullptr);
    EXPECT_EQ(given->Count(), 1u);
    EXPECT_EQ(Collection().Get(), offer.collection.Get());
    EXPECT_EQ(offer.collectionCalls, 2);
}

TEST_F(HostComponents, WithoutAnyModuleThereIsNoCollection) {
    EXPECT_EQ(Collection().Get(), nullptr);
    EXPECT_EQ(ComponentString(L"VELImageDIB").Get(), nullptr);
    EXPECT_EQ(String().Get(), nullptr);
    EXPECT_EQ(Image().Get(), nullptr);
    Install();  // there from now on
    EXPECT_EQ(Collection().Get(), offer.collection.Get());
}

TEST_F(HostComponents, AModuleThatKnowsNoCollectionOrGivesNoneEndsInNull) {
    Install();
    offer.knowsCollection = false;
    EXPECT_EQ(Collection().Get(), nullptr);
    EXPECT_EQ(offer.collectionCalls, 0);
    offer.knowsCollection = true;
    offer.failCollection = true;
    EXPECT_EQ(Collection().Get(), nullptr);
    EXPECT_EQ(offer.collectionCalls, 1);
    offer.failCollection = false;
    EXPECT_EQ(Collection().Get(), offer.collection.Get());
}

TEST_F(HostComponents, AModuleWithoutCreateFunctionEndsInNull) {
    Install("FakeWithoutCreate", "CollectionsEx");
    EXPECT_EQ(Collection().Get(), nullptr);
    EXPECT_EQ(Image().Get(), nullptr);
    EXPECT_TRUE(offer.initialised.empty());
}

// ---------------------------------------------------------------------------------------------------------------
// Other modules' factories

TEST_F(HostComponents, AFactoryOfAnotherModuleIsFoundByItsName) {
    Install("FakeModule", "Other");
    EXPECT_EQ(Factory(L"Other", L"ComponentString"), &StringFactory);
    EXPECT_EQ(Factory(L"Other", L"Nothing"), nullptr);
    EXPECT_EQ(offer.asked, (std::vector<std::wstring>{L"ComponentString", L"Nothing"}));
    EXPECT_EQ(Factory(L"NotThere", L"ComponentString"), nullptr);
}

TEST_F(HostComponents, ALoadedModuleIsHandedTheCollectionThatThereIs) {
    Install("FakeModule", "Other");
    Factory(L"Other", L"ComponentString");
    EXPECT_TRUE(offer.initialised.empty());
    Give();
    Factory(L"Other", L"ComponentString");
    Factory(L"Other", L"ComponentString");
    EXPECT_EQ(offer.initialised, (std::vector<IComponentCollection*>{given.Get(), given.Get()}));
    EXPECT_EQ(given->Count(), 2u);
}

TEST_F(HostComponents, AModuleNeedsNoInitializeModule) {
    Install("FakeWithoutInitialize", "Other");
    Give();
    EXPECT_EQ(Factory(L"Other", L"ComponentString"), &StringFactory);
}

TEST_F(HostComponents, AFileThatIsNoLibraryEndsInNull) {
    FILE* file = std::fopen("_binMAC/Broken.so", "w");
    std::fputs("not a library\n", file);
    std::fclose(file);
    EXPECT_EQ(Factory(L"Broken", L"ComponentString"), nullptr);
}

TEST_F(HostComponents, AModuleNameThatFillsThePathBufferIsLoadedAndALongerOneRefused) {
    // "./_binMAC/" + name + ".so" + the terminator are 256 bytes
    const std::string fits(256 - 10 - 3 - 1, 'n'), tooLong(fits + 'n');
    Install("FakeModule", fits);
    Install("FakeModule", tooLong);
    fs::create_symlink(fs::path(VEL_TEST_FAKES) / "FakeModule.so", folder / "_binMAC" / (tooLong + ".s"));  // cut off
    EXPECT_EQ(Factory(std::wstring(fits.begin(), fits.end()), L"ComponentString"), &StringFactory);
    EXPECT_EQ(Factory(std::wstring(tooLong.begin(), tooLong.end()), L"ComponentString"), nullptr);
    for (const size_t length : {size_t{255}, size_t{256}, size_t{257}, size_t{1000}, size_t{100000}}) {
        EXPECT_EQ(Factory(std::wstring(length, L'n'), L"ComponentString"), nullptr);
    }
    EXPECT_EQ(offer.asked.size(), 1u);
}

TEST_F(HostComponents, AModuleNameWithoutCharactersOrWithUnconvertibleOnesIsRefused) {
    using Function = FactoryFunction (*)(tagREFString, tagREFString);
    const auto function = reinterpret_cast<Function>(module->Symbol("Internal_MODULECreateFunction"));
    EXPECT_EQ(function({-1, L"Other"}, {1, L"x"}), nullptr);
    EXPECT_EQ(function({5, nullptr}, {1, L"x"}), nullptr);
    EXPECT_EQ(function({INT32_MAX, L"Other"}, {1, L"x"}), nullptr);
    const wchar_t odd[] = {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(0xD800)};
    EXPECT_EQ(function({2, odd}, {1, L"x"}), nullptr);
}

TEST_F(HostComponents, AModuleNameIsConvertedToAtMostAsManyBytesAsItHasCharacters) {
    if (!std::setlocale(LC_CTYPE, "C.UTF-8")) GTEST_SKIP() << "There is no C.UTF-8 locale.";
    Install("FakeModule", "\xC3\xA4");
    // a-umlaut has two bytes, so that the second character has no room left
    const FactoryFunction factory = Factory(L"\u00E4b", L"ComponentString");
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ(factory, &StringFactory);
}

// ---------------------------------------------------------------------------------------------------------------
// Strings

TEST_F(HostComponents, AStringComesFromTheCollectionsComponentString) {
    Install();
    Give();
    {
        const auto string = String();
        ASSERT_NE(string.Get(), nullptr);
        ASSERT_EQ(given->objects.size(), 1u);
        EXPECT_EQ(given->objects[0].name, L"CreatableString");
        EXPECT_TRUE(given->objects[0].nullId);
        EXPECT_EQ(string->AddRef(), 2u);
        EXPECT_EQ(string->Release(), 1u);
        const auto another = String();
        EXPECT_NE(another.Get(), string.Get());
    }
    EXPECT_EQ(given->objects.size(), 1u);  // the component string is kept
    EXPECT_EQ(given->Count(), 2u);
    EXPECT_TRUE(offer.asked.empty());
    EXPECT_EQ(LiveObjects(), 4);  // two collections, the offered string, the kept component string
    module.reset();
    EXPECT_EQ(LiveObjects(), 3);
}

TEST_F(HostComponents, WithoutACollectionAStringComesFromTheModulesComponentString) {
    Install();
    {
        const auto string = String();
        ASSERT_NE(string.Get(), nullptr);
        EXPECT_EQ(string->AddRef(), 2u);
        EXPECT_EQ(string->Release(), 1u);
        String();
    }
    EXPECT_EQ(offer.asked, std::vector<std::wstring>{L"ComponentString"});
    EXPECT_EQ(offer.stringCalls, 1);
    EXPECT_EQ(offer.string->fields[4], L"Collections");
    EXPECT_EQ(offer.string->fields[1], L"CreatableString");
    EXPECT_EQ(offer.string->Count(), 3u);  // the test's, the factory's, the one added when it was kept
    module.reset();
    EXPECT_EQ(offer.string->Count(), 1u);
}

TEST_F(HostComponents, ACollectionThatHasNoStringsLeavesItToTheModule) {
    Install();
    Give();
    given->refuseStrings = true;
    const auto string = String();
    EXPECT_NE(string.Get(), nullptr);
    EXPECT_EQ(given->objects.size(), 1u);
    EXPECT_EQ(offer.stringCalls, 1);
}

TEST_F(HostComponents, NoStringComponentAnywhereEndsInNull) {
    Give();
    given->refuseStrings = true;
    EXPECT_EQ(String().Get(), nullptr);
    Install();
    offer.knowsString = false;
    EXPECT_EQ(String().Get(), nullptr);
    offer.knowsString = true;
    offer.failString = true;
    EXPECT_EQ(String().Get(), nullptr);
    EXPECT_EQ(Image().Get(), nullptr);
    given->refuseStrings = false;
    EXPECT_NE(String().Get(), nullptr);
}

TEST_F(HostComponents, AStringComponentThatMakesNoStringEndsInNull) {
    Give();
    String();
    given->refuseStrings = true;  // CreateInstance of the kept one fails from now on
    EXPECT_EQ(String().Get(), nullptr);
    EXPECT_EQ(Image().Get(), nullptr);
}

// ---------------------------------------------------------------------------------------------------------------
// Component strings by name

TEST_F(HostComponents, AComponentStringIsFoundByNameWithOneReference) {
    Give();
    const auto string = ComponentString(L"VELImageDIB");
    ASSERT_NE(string.Get(), nullptr);
    EXPECT_EQ(given->looked, std::vector<std::wstring>{L"VELImageDIB"});
    EXPECT_EQ(given->calls, (std::vector<Call>{Call::FindComponent, Call::GetComponent}));
    EXPECT_EQ(given->Count(), 2u);
    EXPECT_EQ(string->AddRef(), 2u);
    EXPECT_EQ(string->Release(), 1u);
}

TEST_F(HostComponents, AnUnknownComponentEndsInNullAndKeepsNoReference) {
    Give();
    EXPECT_EQ(ComponentString(L"Nothing").Get(), nullptr);
    EXPECT_EQ(given->Count(), 2u);
    given->refuseGet = true;
    EXPECT_EQ(ComponentString(L"VELImageDIB").Get(), nullptr);
    given->refuseGet = false;
    given->componentWithoutInterface = true;
    EXPECT_EQ(ComponentString(L"VELImageDIB").Get(), nullptr);
    EXPECT_EQ(given->Count(), 2u);
    EXPECT_EQ(LiveObjects(), 3);  // two collections, the offered string
}

// ---------------------------------------------------------------------------------------------------------------
// Images

TEST_F(HostComponents, AnImageIsMadeByTheComponentStringThatIsLookedUpOnce) {
    Install();
    Give();
    {
        const auto image = Image();
        ASSERT_NE(image.Get(), nullptr);
        EXPECT_EQ(given->looked, std::vector<std::wstring>{L"VELImageDIB"});
        EXPECT_EQ(given->appends, std::vector<int32_t>(11, 1));
        EXPECT_EQ(given->calls, (std::vector<Call>{Call::CreateObject, Call::CreateInstance, Call::FindComponent,
                                                   Call::GetComponent, Call::CreateInstance}));
        EXPECT_EQ(image->AddRef(), 2u);
        EXPECT_EQ(image->Release(), 1u);
        EXPECT_TRUE(TestImage::Of(image.Get())->Content().store.empty());
        // two collections, the offered string, two kept component strings, the image
        EXPECT_EQ(LiveObjects(), 6);
        const auto another = Image();
        EXPECT_NE(another.Get(), image.Get());
        EXPECT_EQ(given->looked.size(), 1u);
        EXPECT_EQ(LiveObjects(), 7);
    }
    EXPECT_EQ(LiveObjects(), 5);
    EXPECT_EQ(given->Count(), 2u);
    EXPECT_TRUE(offer.asked.empty());
    module.reset();
    EXPECT_EQ(LiveObjects(), 3);
    EXPECT_EQ(given->Count(), 1u);
}

TEST_F(HostComponents, WithoutACollectionAnImageIsMadeThroughCollectionsEx) {
    Install();
    {
        const auto image = Image();
        ASSERT_NE(image.Get(), nullptr);
        EXPECT_EQ(offer.asked, (std::vector<std::wstring>{L"ComponentString", L"GlobalComponentCollection"}));
        EXPECT_EQ(offer.collection->looked, std::vector<std::wstring>{L"VELImageDIB"});
        Image();
    }
    EXPECT_EQ(offer.collectionCalls, 1);
    EXPECT_EQ(offer.stringCalls, 1);
    EXPECT_EQ(offer.collection->Count(), 2u);
    EXPECT_EQ(offer.string->Count(), 3u);
    EXPECT_EQ(LiveObjects(), 4);  // two collections, the offered string, the kept component string of images
    module.reset();
    EXPECT_EQ(LiveObjects(), 3);
}

TEST_F(HostComponents, EveryRefusalOnTheWayToAnImageEndsInNullAndIsForgotten) {
    Give();
    bool TestCollection::*const refusals[] = {&TestCollection::refuseStrings, &TestCollection::refuseFind,
                                              &TestCollection::refuseGet, &TestCollection::componentWithoutInterface,
                                              &TestCollection::refuseImages};
    for (bool TestCollection::*refusal : refusals) {
        given.Get()->*refusal = true;
        EXPECT_EQ(Image().Get(), nullptr);
        EXPECT_EQ(given->Count(), 2u);
        given.Get()->*refusal = false;
    }
    EXPECT_NE(Image().Get(), nullptr);
}

TEST_F(HostComponents, WhatTheHostThrowsOnTheWayToAnImagePassesThroughAndNothingLeaks) {
    Give();
    const std::pair<Call, int> calls[] = {{Call::CreateObject, 0}, {Call::CreateInstance, 0}, {Call::Append, 0},
                                          {Call::Append, 10},      {Call::GetString, 0},      {Call::FindComponent, 0},
                                          {Call::GetComponent, 0}, {Call::CreateInstance, 1}};
    int kept = LiveObjects();
    for (const auto& [call, before] : calls) {
        SCOPED_TRACE(static_cast<int>(call));
        given->bomb.Arm(call, before);
        EXPECT_THROW(Image(), test::HostError);
        EXPECT_EQ(given->Count(), 2u);
        EXPECT_LE(LiveObjects(), kept + 2);  // at most the two component strings that the module keeps
    }
    EXPECT_NE(Image().Get(), nullptr);
    EXPECT_EQ(LiveObjects(), kept + 2);
}

}  // namespace
