// VELMaths.so in the reference host: loading, both ways to a collection, the classes' own tables.
#include "host/Module.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "host/Image.h"

namespace {

using velhost::Collection;
using velhost::Error;
using velhost::ErrorKind;
using velhost::Image;
using velhost::Module;
using velhost::StrideInValues;

const char* kModuleFile = "./_binMAC/VELMaths.so";

SmartPtr<Image> Ramp(uint32_t width, uint32_t height, uint32_t bits, uint32_t format) {
    auto image = Image::Make({width, height, bits, format});
    for (uint32_t y = 0; y < height; ++y) {
        for (uint64_t i = 0; i < image->GetShape().RowBytes(); ++i) image->Row(y)[i] = static_cast<uint8_t>(16 * y + i);
    }
    return image;
}

uint32_t CountOf(Collection& collection) {
    collection.AddRef();
    return collection.Release();
}

TEST(HostModule, IsFoundBesideTheProgram) {
    const Module module;
    EXPECT_TRUE(std::filesystem::equivalent(module.Path(), kModuleFile)) << module.Path();
    EXPECT_EQ(Module::SearchPaths().back(), "./_binMAC/VELMaths.so");
}

TEST(HostModule, FailuresAreOneLine) {
    try {
        Module module("/no/such/folder/VELMaths.so");
        FAIL();
    } catch (const Error& error) {
        EXPECT_EQ(error.Kind(), ErrorKind::Module);
        EXPECT_NE(std::string(error.what()).find("/no/such/folder/VELMaths.so"), std::string::npos);
        EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    }
    // A library without the components.
    try {
        Module module("./_binMAC/CollectionsEx.so");
        FAIL();
    } catch (const Error& error) {
        EXPECT_EQ(error.Kind(), ErrorKind::Module);
        EXPECT_NE(std::string(error.what()).find("IVELColorTransform"), std::string::npos);
    }
    const auto broken = std::filesystem::temp_directory_path() / "broken_module.so";
    std::ofstream(broken) << "no library";
    EXPECT_THROW(Module{broken}, Error);
    std::filesystem::remove(broken);
}

TEST(HostModule, GivesComponentsAndGetsTheCollectionBack) {
    auto collection = Collection::Make();
    {
        Module module(kModuleFile, collection);
        EXPECT_EQ(CountOf(*collection.Get()), 3u);  // ours, the module's, the host class's
        const auto image = Ramp(5, 4, 24, FORMAT_BGR);
        EXPECT_EQ(module.Color()->Negative(image.Get()), S_OK);
        EXPECT_EQ(image->Row(3)[14], 255 - (48 + 14));
        SmartPtr<IVEL> blurred;
        EXPECT_EQ(module.Filter()->Blur(image.Get(), reinterpret_cast<IVEL**>(blurred.Receive())), S_OK);
        EXPECT_NE(blurred.Get(), nullptr);
        SmartPtr<IVELDeform> deform;
        EXPECT_EQ(collection->CreateObject(9, L"VELDeform", &IID_IVELDeform, deform.Receive()), S_OK);
    }
    EXPECT_EQ(CountOf(*collection.Get()), 1u);
    void* none = nullptr;
    EXPECT_EQ(collection->CreateObject(9, L"VELDeform", &IID_IVELDeform, &none), E_FAIL);
}

TEST(HostModule, SeveralShareTheLoadedFile) {
    const auto works = [](const Module& module) {
        const auto image = Ramp(5, 4, 24, FORMAT_BGR);
        SmartPtr<IVEL> blurred;
        return module.Filter()->Blur(image.Get(), reinterpret_cast<IVEL**>(blurred.Receive())) == S_OK &&
               module.Color()->GrayScale(image.Get()) == S_OK;
    };
    auto first = std::make_unique<Module>(kModuleFile);
    const Collection* firstCollection = first->Components();
    auto second = std::make_unique<Module>(kModuleFile);
    EXPECT_NE(second->Components(), firstCollection);
    EXPECT_TRUE(works(*first) && works(*second));
    auto third = std::make_unique<Module>(kModuleFile);
    EXPECT_EQ(CountOf(*second->Components()), 1u);  // the module has the third's
    third.reset();
    EXPECT_EQ(CountOf(*second->Components()), 2u);  // and gets the second's back
    EXPECT_TRUE(works(*first) && works(*second));
    first.reset();
    EXPECT_TRUE(works(*second));
    second.reset();
    EXPECT_EQ(velhost::ModuleFile::Open(kModuleFile).wasLoaded, false);
}

TEST(HostModule, WithoutACollectionTheModuleLoadsCollectionsEx) {
    // The same calls with the collection handed over and without: the same picture.
    SmartPtr<Image> results[2];
    for (const bool handed : {true, false}) {
        Module module(kModuleFile);
        if (!handed) {
            auto file = velhost::ModuleFile::Open(kModuleFile);
            ASSERT_TRUE(file.wasLoaded);
            file.Initialise(nullptr);
            file.Close();
        }
        const auto image = Ramp(9, 7, 24, FORMAT_BGR);
        // One operation of each way to a new image: the component string, and the collection.
        SmartPtr<IVEL> blurred;
        ASSERT_EQ(module.Filter()->Blur(image.Get(), reinterpret_cast<IVEL**>(blurred.Receive())), S_OK);
        ASSERT_EQ(module.Color()->GrayScale(image.Get()), S_OK);
        ASSERT_GE(module.Maths()->Subtract(blurred.Get(), blurred.Get(), image.Get(), 1), 0);
        results[handed] = Image::CopyOf(blurred.Get());
        ASSERT_NE(results[handed].Get(), nullptr);
        EXPECT_EQ(results[handed]->GetShape(), image->GetShape());
    }
    for (uint32_t y = 0; y < 7; ++y) EXPECT_EQ(std::memcmp(results[0]->Row(y), results[1]->Row(y), 27), 0);
}

TEST(HostModule, KernelCountsStridesInValues) {
    Module module(kModuleFile);
    const auto image = Image::Make({20, 6, 32, FORMAT_MONO});
    const auto at = [](const Image& picture, uint32_t x, uint32_t y) {
        int32_t value = 0;
        std::memcpy(&value, picture.Row(y) + 4 * x, 4);
        return value;
    };
    for (uint32_t y = 0; y < 6; ++y) {
        for (uint32_t x = 0; x < 20; ++x) {
            const int32_t value = static_cast<int32_t>(20 * y + x);
            std::memcpy(image->Row(y) + 4 * x, &value, 4);
        }
    }
    // Only the last coefficient counts: each value is the source's two to the right and two below, plus 5, and lands
    // one to the right and one below.
    short kernel[9] = {9, 9, 9, 9, 9, 9, 9, 9, 1};
    SmartPtr<IVEL> made;
    {
        const StrideInValues scope;
        ASSERT_EQ(module.FilterTable()->Kernel(image.Get(), kernel, 3, 0, 5, reinterpret_cast<IVEL**>(made.Receive())),
                  S_OK);
    }
    const auto result = Image::CopyOf(made.Get());
    for (uint32_t y = 0; y < 6; ++y) {
        for (uint32_t x = 0; x < 20; ++x) {
            const bool inside = x >= 1 && x <= 17 && y >= 1 && y <= 3;
            EXPECT_EQ(at(*result.Get(), x, y), inside ? at(*image.Get(), x + 1, y + 1) + 5 : 0) << x << "," << y;
        }
    }
    // In place: the source takes the result over.
    {
        const StrideInValues scope;
        ASSERT_EQ(module.FilterTable()->Kernel(image.Get(), kernel, 3, 0, 5, nullptr), S_OK);
    }
    for (uint32_t y = 0; y < 6; ++y) EXPECT_EQ(std::memcmp(image->Row(y), result->Row(y), 80), 0);
}

TEST(HostModule, TableReachesRotate4AndFillVoids) {
    Module module(kModuleFile);
    const auto image = Image::Make({3, 2, 8, FORMAT_MONO});
    std::memcpy(image->Row(0), "abc", 3);
    std::memcpy(image->Row(1), "def", 3);
    const auto turned = Image::New();
    ASSERT_EQ(module.TransformTable()->Rotate4(image.Get(), turned.Get(), 90), S_OK);
    ASSERT_EQ(turned->GetShape(), (velhost::Shape{2, 3, 8, FORMAT_MONO}));
    EXPECT_EQ(std::memcmp(turned->Row(0), "da", 2), 0);
    EXPECT_EQ(std::memcmp(turned->Row(2), "fc", 2), 0);

    const auto voids = Image::Make({3, 3, 8, FORMAT_MONO});
    voids->Row(0)[1] = 10;
    voids->Row(1)[0] = 20;
    voids->Row(1)[2] = 30;
    voids->Row(2)[1] = 40;
    EXPECT_EQ(module.TransformTable()->FillVoids(voids.Get()), S_OK);
    EXPECT_EQ(voids->Row(1)[1], 25);
}

}  // namespace
