// Entry points, factories, reference counting, identifiers.
#include <cstring>
#include <thread>

#include "support/Images.h"
#include "support/Module.h"

namespace {

using test::InterfaceId;

const IID kNobodysId = InterfaceId("INobodyHasThis");

struct Names {
    const wchar_t* object;
    int32_t length;
    const char* interfaceName;
};
const Names kNames[] = {{L"VELColorTransform", 17, "IVELColorTransform"},
                        {L"VELFilterTransform", 18, "IVELFilterTransform"},
                        {L"VELDeform", 9, "IVELDeform"},
                        {L"VELTransform", 12, "IVELTransform"},
                        {L"VELMaths", 8, "IVELMaths"}};

class ModuleEntry : public test::ModuleTest {
protected:
    // What CreateFunction leaves where it finds nothing.
    void ExpectUnknown(const wchar_t* name, int32_t length) const {
        int sentinel = 0;
        void* result = &sentinel;
        EXPECT_EQ(module->CreateFunction(name, length, &result), E_FAIL);
        EXPECT_EQ(result, &sentinel);
    }
};

TEST_F(ModuleEntry, EveryObjectNameGivesItsOwnFactory) {
    std::vector<void*> factories;
    for (const Names& names : kNames) {
        void* factory = nullptr;
        EXPECT_EQ(module->CreateFunction(names.object, names.length, &factory), S_OK);
        ASSERT_NE(factory, nullptr);
        for (const void* other : factories) EXPECT_NE(factory, other);
        factories.push_back(factory);
    }
}

TEST_F(ModuleEntry, VELMathsWithLength8IsFoundAndWith7Or9OrInLowerCaseIsNot) {
    void* factory = nullptr;
    EXPECT_EQ(module->CreateFunction(L"VELMathsX", 8, &factory), S_OK);
    EXPECT_NE(factory, nullptr);
    ExpectUnknown(L"VELMaths", 7);
    ExpectUnknown(L"VELMaths", 9);
    ExpectUnknown(L"VELMathsX", 9);
    ExpectUnknown(L"velmaths", 8);
    ExpectUnknown(L"VELMathS", 8);
}

TEST_F(ModuleEntry, LengthsOf0AndLessMatchNothing) {
    ExpectUnknown(L"VELMaths", 0);
    ExpectUnknown(L"VELMaths", -1);
    ExpectUnknown(L"VELMaths", INT32_MIN);
    ExpectUnknown(L"", 0);
    ExpectUnknown(nullptr, 0);
}

TEST_F(ModuleEntry, CharactersAreComparedInAll32Bits) {
    wchar_t name[8];
    std::memcpy(name, L"VELMaths", sizeof name);
    name[0] = static_cast<wchar_t>('V' + 0x10000);
    ExpectUnknown(name, 8);
}

TEST_F(ModuleEntry, AFactoryIgnoresOuterAndGivesOneReference) {
    for (const Names& names : kNames) {
        int outer = 0;
        void* object = &outer;
        const IID iid = InterfaceId(names.interfaceName);
        EXPECT_EQ(module->Factory(names.object)(&outer, &iid, &object), S_OK);
        ASSERT_NE(object, nullptr);
        IUnknown* unknown = static_cast<IUnknown*>(object);
        EXPECT_EQ(unknown->AddRef(), 2u);
        EXPECT_EQ(unknown->Release(), 1u);
        EXPECT_EQ(unknown->Release(), 0u);
    }
}

TEST_F(ModuleEntry, AFactoryAskedForIObjectInfoGivesThatPartWithACountOf1) {
    for (const Names& names : kNames) {
        auto* info = static_cast<IObjectInfo*>(module->Create(names.object, InterfaceId("IObjectInfo")));
        ASSERT_NE(info, nullptr);
        tagREFString name{0, nullptr};
        EXPECT_EQ(info->GetName(0, &name), S_OK);
        EXPECT_EQ(name.length, names.length);
        EXPECT_EQ(std::wstring(name.text, static_cast<size_t>(name.length)), names.object);
        EXPECT_EQ(info->Release(), 0u);
    }
}

TEST_F(ModuleEntry, NamesAreTheModulesConstants) {
    auto* first = static_cast<IObjectInfo*>(module->Create(L"VELDeform", InterfaceId("IObjectInfo")));
    auto* second = static_cast<IObjectInfo*>(module->Create(L"VELDeform", InterfaceId("IObjectInfo")));
    tagREFString a{0, nullptr}, b{0, nullptr};
    first->GetName(1, &a);
    second->GetName(-7, &b);
    EXPECT_EQ(a.text, b.text);
    EXPECT_EQ(first->Release(), 0u);
    EXPECT_EQ(second->Release(), 0u);
}

TEST_F(ModuleEntry, AFactoryAskedForAnUnknownInterfaceFailsAndFreesTheObject) {
    for (const Names& names : kNames) {
        int sentinel = 0;
        void* object = &sentinel;
        EXPECT_EQ(module->Factory(names.object)(nullptr, &kNobodysId, &object), E_NOINTERFACE);
        EXPECT_EQ(object, nullptr);
    }
}

TEST_F(ModuleEntry, AQueryForAnUnknownInterfaceWritesNullAndKeepsTheCount) {
    for (const Names& names : kNames) {
        auto* object = static_cast<IUnknown*>(module->Create(names.object, test::kUnknownId));
        for (const IID& iid : {kNobodysId, InterfaceId("IVELImage"), InterfaceId("IComponentCollection"), IID{}}) {
            int sentinel = 0;
            void* answer = &sentinel;
            EXPECT_EQ(object->QueryInterface(iid, &answer), E_NOINTERFACE);
            EXPECT_EQ(answer, nullptr);
        }
        for (const Names& other : kNames) {
            if (&other == &names) continue;
            void* answer = nullptr;
            EXPECT_EQ(object->QueryInterface(InterfaceId(other.interfaceName), &answer), E_NOINTERFACE);
        }
        EXPECT_EQ(object->Release(), 0u);
    }
}

TEST_F(ModuleEntry, OneWordOfDifferenceInTheIdentifierIsNoMatch) {
    auto* object = static_cast<IUnknown*>(module->Create(L"VELMaths", test::kUnknownId));
    for (int word = 0; word < 4; ++word) {
        IID iid = InterfaceId("IVELMaths");
        iid.word[word] ^= 0x80000000u;
        void* answer = nullptr;
        EXPECT_EQ(object->QueryInterface(iid, &answer), E_NOINTERFACE);
    }
    EXPECT_EQ(object->Release(), 0u);
}

TEST_F(ModuleEntry, EveryPartAnswersEveryQueryAlike) {
    for (const Names& names : kNames) {
        auto* primary = static_cast<IUnknown*>(module->Create(names.object, test::kUnknownId));
        const IID ids[] = {test::kUnknownId, InterfaceId("IObjectInfo"), InterfaceId(names.interfaceName)};
        void* parts[3];
        for (int i = 0; i < 3; ++i) EXPECT_EQ(primary->QueryInterface(ids[i], &parts[i]), S_OK);
        EXPECT_EQ(parts[0], primary);
        for (void* part : parts) {
            for (int i = 0; i < 3; ++i) {
                void* answer = nullptr;
                EXPECT_EQ(static_cast<IUnknown*>(part)->QueryInterface(ids[i], &answer), S_OK);
                EXPECT_EQ(answer, parts[i]);
                primary->Release();
            }
        }
        for (uint32_t left = 3; left > 0; --left) EXPECT_EQ(static_cast<IUnknown*>(parts[left - 1])->Release(), left);
        EXPECT_EQ(primary->Release(), 0u);
    }
}

TEST_F(ModuleEntry, ReleaseFromManyThreadsAtOnceLosesNoCount) {
    auto* object = static_cast<IUnknown*>(module->Create(L"VELMaths", InterfaceId("IVELMaths")));
    constexpr int kThreads = 4, kTurns = 20000;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([object] {
            for (int turn = 0; turn < kTurns; ++turn) {
                object->AddRef();
                object->Release();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(object->AddRef(), 2u);
    EXPECT_EQ(object->Release(), 1u);
    EXPECT_EQ(object->Release(), 0u);
}

// ---------------------------------------------------------------------------------------------------------------
// InitializeModule

TEST_F(ModuleEntry, InitializeModuleHasItsDecoratedNameOnly) {
    EXPECT_EQ(module->Symbol("InitializeModule"), nullptr);
    EXPECT_NE(module->Symbol("_Z16InitializeModulePvP20IComponentCollection"), nullptr);
    EXPECT_NE(module->Symbol("CreateFunction"), nullptr);
}

TEST_F(ModuleEntry, InitializeModuleKeepsOneReferenceAndReplacesTheCollection) {
    EXPECT_EQ(collection->Count(), 2u);
    const auto other = test::TestCollection::New();
    int reserved = 0;
    EXPECT_EQ(module->InitializeModule(&reserved, other.Get()), S_OK);
    EXPECT_EQ(collection->Count(), 1u);
    EXPECT_EQ(other->Count(), 2u);
    EXPECT_EQ(module->InitializeModule(nullptr, other.Get()), S_OK);
    EXPECT_EQ(other->Count(), 2u);
    EXPECT_EQ(module->InitializeModule(nullptr, collection.Get()), S_OK);
    EXPECT_EQ(other->Count(), 1u);
    EXPECT_EQ(collection->Count(), 2u);
    EXPECT_TRUE(other->calls.empty());
}

TEST_F(ModuleEntry, InitializeModuleWithTheOnlyReferenceLeftToTheModuleKeepsItAlive) {
    test::TestCollection* raw = collection.Get();
    EXPECT_EQ(module->InitializeModule(nullptr, raw), S_OK);
    collection.Clear();
    EXPECT_EQ(module->InitializeModule(nullptr, raw), S_OK);
    EXPECT_EQ(raw->Count(), 1u);
    EXPECT_EQ(test::LiveObjects(), 1);
}

TEST_F(ModuleEntry, InitializeModuleWithNullReleasesTheCollectionAndLeavesNone) {
    EXPECT_EQ(module->InitializeModule(nullptr, nullptr), S_OK);
    EXPECT_EQ(collection->Count(), 1u);
    EXPECT_EQ(module->InitializeModule(nullptr, nullptr), S_OK);
    const auto colour = Make<IVELColorTransform>();
    const auto image = test::TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{1, 2, 3}}));
    EXPECT_EQ(colour->GrayScale(image.Get()), E_FAIL);
    EXPECT_TRUE(collection->calls.empty());
}

TEST_F(ModuleEntry, AnObjectMadeBeforeInitializeModuleFindsTheCollectionGivenAfterwards) {
    module->InitializeModule(nullptr, nullptr);
    const auto colour = Make<IVELColorTransform>();
    module->InitializeModule(nullptr, collection.Get());
    const auto image = test::TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{1, 2, 3}}));
    EXPECT_EQ(colour->GrayScale(image.Get()), S_OK);
}

TEST_F(ModuleEntry, UnloadReleasesTheCollection) {
    EXPECT_EQ(collection->Count(), 2u);
    module.reset();
    EXPECT_EQ(collection->Count(), 1u);
}

// ---------------------------------------------------------------------------------------------------------------
// Identifiers as the loaded module holds them

TEST_F(ModuleEntry, IdentifiersAreFilledAtLoad) {
    const char* const names[] = {"IComponentCollection",
                                 "IComponentString",
                                 "ICreatableString",
                                 "IObjectInfo",
                                 "IString",
                                 "ITransform",
                                 "IVEL",
                                 "IVELImage",
                                 "IVELImageDIB",
                                 "IVELImagePalette",
                                 "IVELColorTransform",
                                 "IVELFilterTransform",
                                 "IVELDeform",
                                 "IVELTransform",
                                 "IVELMaths"};
    for (const char* name : names) {
        const auto* iid = static_cast<const IID*>(module->Symbol((std::string("IID_") + name).c_str()));
        ASSERT_NE(iid, nullptr) << name;
        EXPECT_TRUE(*iid == InterfaceId(name)) << name;
    }
}

TEST_F(ModuleEntry, TheIdentifierOfIUnknownIsTheStandardConstant) {
    const uint8_t bytes[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46};
    const void* iid = module->Symbol("IID_IUnknown");
    ASSERT_NE(iid, nullptr);
    EXPECT_EQ(std::memcmp(iid, bytes, 16), 0);
}

TEST_F(ModuleEntry, TheIdentifierOfIStringHasTheBytesThatTheRuleGives) {
    const uint8_t bytes[16] = {0x69, 0x52, 0x99, 0xDC, 0x01};
    const void* iid = module->Symbol("IID_IString");
    ASSERT_NE(iid, nullptr);
    EXPECT_EQ(std::memcmp(iid, bytes, 16), 0);
}

}  // namespace
