// What all filters share: null arguments, images that cannot be made, delivery, reference counts, host exceptions.
#include <climits>
#include <cstdlib>
#include <filesystem>

#include "reference/Filter.h"
#include "support/NewImages.h"

namespace {

using test::Call;

struct Operation {
    const char* name;
    HRESULT (*call)(IVELFilterTransform*, IVEL*, IVEL**);
    ref::Made (*reference)(const ref::Image&);
};

int g_kernel[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};

const Operation kOperations[] = {
    {"Erode", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Erode(s, 3, d); },
     [](const ref::Image& s) { return ref::Erode(s, 3); }},
    {"Edge", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Edge(s, 3, d); },
     [](const ref::Image& s) { return ref::Edge(s, 3); }},
    {"Dilate", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Dilate(s, 3, d); },
     [](const ref::Image& s) { return ref::Dilate(s, 3); }},
    {"Filter", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Filter(s, g_kernel, 3, 45, 1, d); },
     [](const ref::Image& s) { return ref::Filter(s, g_kernel, 3, 45, 1); }},
    {"Contour", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Contour(s, d); },
     [](const ref::Image& s) { return ref::Contour(s); }},
    {"Jitter", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Jitter(s, 2, d); },
     [](const ref::Image& s) { return ref::Jitter(s, 2); }},
    {"Noise", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Noise(s, 20, d); },
     [](const ref::Image& s) { return ref::Noise(s, 20); }},
    {"Median", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Median(s, 3, d); },
     [](const ref::Image& s) { return ref::Median(s, 3); }},
    {"Emboss", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Emboss(s, d); },
     [](const ref::Image& s) { return ref::Emboss(s); }},
    {"Blur", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Blur(s, d); },
     [](const ref::Image& s) { return ref::Blur(s); }},
    {"Soften", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Soften(s, d); },
     [](const ref::Image& s) { return ref::Soften(s); }},
    {"Sharpen", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->Sharpen(s, d); },
     [](const ref::Image& s) { return ref::Sharpen(s); }},
    {"GaussianBlur", [](IVELFilterTransform* f, IVEL* s, IVEL** d) { return f->GaussianBlur(s, 1, d); },
     [](const ref::Image& s) { return ref::GaussianBlur(s, 1); }},
};

class FilterDelivery : public test::ComponentTest<IVELFilterTransform>, public testing::WithParamInterface<Operation> {
protected:
    HRESULT Run(IVEL* source, IVEL** dest) { return GetParam().call(component.Get(), source, dest); }
    test::NewImageCall Both() {
        return {GetParam().name, [this](IVEL* source, IVEL** dest) { return Run(source, dest); }, GetParam().reference};
    }
};

ref::Image Picture() {
    ref::Image image(11, 6, 2, 32, ref::kArgb, -52);
    uint8_t next = 0;
    for (std::vector<uint8_t>& plane : image.store) {
        for (uint8_t& byte : plane) byte = next += 83;
    }
    return image;
}

TEST_P(FilterDelivery, ANullSourceFails) {
    IVEL* dest = nullptr;
    EXPECT_EQ(Run(nullptr, &dest), E_FAIL);
    EXPECT_EQ(dest, nullptr);
    EXPECT_EQ(Run(nullptr, nullptr), E_FAIL);
    EXPECT_TRUE(collection->images.empty());
}

TEST_P(FilterDelivery, TheCallerGetsTheOnlyReference) {
    test::Compare(Both(), Picture(), test::Delivery::OutputPointer);
}

TEST_P(FilterDelivery, WithoutAnOutputPointerTheSourceTakesTheResult) {
    test::Compare(Both(), Picture(), test::Delivery::IntoSource);
    EXPECT_EQ(collection->images.size(), 1u);
}

TEST_P(FilterDelivery, TheNewImageIsCreatedLikeTheSource) {
    const auto image = test::TestImage::New(Picture());
    ASSERT_EQ(Run(image.Get(), nullptr), S_OK);
    ASSERT_EQ(collection->images.size(), 1u);
    const test::ImageLog& log = *collection->images[0];
    EXPECT_EQ(log.created, (std::vector<test::CreateArguments>{{11, 6, 2, 32, ref::kArgb}}));
    EXPECT_TRUE(log.filled.empty());
    EXPECT_TRUE(log.assigned.empty());
    ASSERT_EQ(image->log->assigned.size(), 1u);
    EXPECT_EQ(image->log->assigned[0].second, 0);
    EXPECT_TRUE(image->log->created.empty());
    EXPECT_TRUE(image->log->filled.empty());
}

TEST_P(FilterDelivery, ASourceThatTakesNothingLosesTheResult) {
    const auto image = test::TestImage::New(Picture());
    image->faults.noIVELImage = true;
    EXPECT_EQ(Run(image.Get(), nullptr), S_OK);
    EXPECT_TRUE(test::SameBytes(Picture(), image));
    EXPECT_EQ(image->Count(), 1u);
    // ModuleTest counts what is left alive.
}

TEST_P(FilterDelivery, ARefusingCollectionIsAFailure) {
    collection->refuseImages = true;
    const auto image = test::TestImage::New(Picture());
    IVEL* dest = nullptr;
    EXPECT_EQ(Run(image.Get(), &dest), E_FAIL);
    EXPECT_EQ(dest, nullptr);
    EXPECT_EQ(Run(image.Get(), nullptr), E_FAIL);
    EXPECT_TRUE(test::SameBytes(Picture(), image));
    EXPECT_EQ(image->Count(), 1u);
    // The next call finds a collection that makes images again.
    collection->refuseImages = false;
    EXPECT_EQ(Run(image.Get(), &dest), S_OK);
    ASSERT_NE(dest, nullptr);
    EXPECT_EQ(dest->Release(), 0u);
}

// Erode, Edge and Median ask the collection itself; the others look the component up, once.
TEST_P(FilterDelivery, ACollectionThatKnowsNoImageComponentIsAFailure) {
    const std::string name = GetParam().name;
    const bool direct = name == "Erode" || name == "Edge" || name == "Median";
    bool test::TestCollection::*const refusals[] = {&test::TestCollection::refuseStrings,
                                                    &test::TestCollection::refuseFind, &test::TestCollection::refuseGet,
                                                    &test::TestCollection::componentWithoutInterface};
    const auto image = test::TestImage::New(Picture());
    for (const auto refusal : refusals) {
        // The module falls back on a string component of its own below the current folder where it is refused one.
        if (refusal == &test::TestCollection::refuseStrings && !direct) continue;
        collection.Get()->*refusal = true;
        IVEL* dest = nullptr;
        EXPECT_EQ(Run(image.Get(), &dest), direct ? S_OK : E_FAIL);
        const SmartPtr<IVEL> holder = SmartPtr<IVEL>::Adopt(dest);
        EXPECT_EQ(image->Count(), 1u);
        collection.Get()->*refusal = false;
    }
}

TEST_P(FilterDelivery, ASourceThatRefusesItsCallsDoesNoHarm) {
    for (bool test::ImageFaults::*const fault : {&test::ImageFaults::getSize, &test::ImageFaults::getFormat,
                                                 &test::ImageFaults::getBits, &test::ImageFaults::nullBits}) {
        const auto image = test::TestImage::New(Picture());
        image->faults.*fault = true;
        IVEL* dest = nullptr;
        Run(image.Get(), &dest);
        const SmartPtr<IVEL> holder = SmartPtr<IVEL>::Adopt(dest);
        EXPECT_EQ(image->Count(), 1u);
        image->faults = {};
        EXPECT_TRUE(test::SameBytes(Picture(), image));
    }
}

TEST_P(FilterDelivery, OddDepthsDoNoHarm) {
    for (const uint32_t depth : {0u, 2u, 12u, 15u, 20u, 25u, 31u, 40u, 48u, 64u}) {
        const auto image = test::TestImage::New(ref::Image(17, 5, 1, depth, ref::kBgr));
        IVEL* dest = nullptr;
        EXPECT_EQ(Run(image.Get(), &dest), S_OK) << depth;
        ASSERT_NE(dest, nullptr);
        EXPECT_EQ(dest->Release(), 0u);
    }
}

TEST_P(FilterDelivery, WithoutACollectionItFails) {
    // The module then looks for a collection of its own below the current folder.
    const std::filesystem::path folder = std::filesystem::current_path();
    std::filesystem::current_path("/");
    module->InitializeModule(nullptr, nullptr);
    const auto image = test::TestImage::New(Picture());
    IVEL* dest = nullptr;
    EXPECT_EQ(Run(image.Get(), &dest), E_FAIL);
    EXPECT_EQ(dest, nullptr);
    EXPECT_TRUE(test::SameBytes(Picture(), image));
    std::filesystem::current_path(folder);
}

TEST_P(FilterDelivery, ANewImageWithoutPixelsIsDeliveredAsItIs) {
    for (const bool silent : {false, true}) {
        collection->imageFaults.create = !silent;
        collection->imageFaults.createSilent = silent;
        const auto image = test::TestImage::New(Picture());
        IVEL* dest = nullptr;
        EXPECT_EQ(Run(image.Get(), &dest), S_OK);
        ASSERT_NE(dest, nullptr);
        EXPECT_EQ(dest->Release(), 0u);
        EXPECT_TRUE(test::SameBytes(Picture(), image));
    }
}

TEST_P(FilterDelivery, ASourceWithoutPixelsReadsAsOutside) {
    ref::Image empty = Picture();
    empty.store.clear();
    test::Compare(Both(), empty, test::Delivery::OutputPointer);
}

TEST_P(FilterDelivery, EmptySizesMakeEmptyImages) {
    for (const auto& [width, height] : {std::pair{0u, 5u}, {5u, 0u}, {0u, 0u}}) {
        for (const uint32_t depth : {1u, 8u, 24u, 32u}) {
            const ref::Image source(width, height, 1, depth, ref::kBgr);
            test::Compare(Both(), source, test::Delivery::OutputPointer);
            test::Compare(Both(), source, test::Delivery::IntoSource);
        }
    }
}

TEST_P(FilterDelivery, AnExceptionOfTheHostLeaksNothing) {
    const auto image = test::TestImage::New(Picture());
    for (const Call call : {Call::GetSize, Call::GetBits, Call::GetFormat, Call::Assign}) {
        image->bomb.Arm(call);
        EXPECT_THROW(Run(image.Get(), nullptr), test::HostError) << static_cast<int>(call);
        EXPECT_EQ(image->Count(), 1u);
        EXPECT_TRUE(test::SameBytes(Picture(), image));
    }
    IVEL* dest = nullptr;
    for (const Call call : {Call::Create, Call::GetBits}) {
        collection->imageBomb.Arm(call);
        EXPECT_THROW(Run(image.Get(), &dest), test::HostError) << static_cast<int>(call);
        EXPECT_EQ(dest, nullptr);
    }
    // ModuleTest counts what is left alive.
}

INSTANTIATE_TEST_SUITE_P(FilterDelivery, FilterDelivery, testing::ValuesIn(kOperations),
                         [](const auto& operation) { return std::string(operation.param.name); });

class FilterDeliverySizes : public test::ComponentTest<IVELFilterTransform> {};

// Windows that no image needs: the right result, or a failure that made nothing, in little time and memory.
TEST_F(FilterDeliverySizes, AbsurdWindowsFinishOrFail) {
    ref::Image source(5, 4, 1, 8, ref::kMono);
    for (int i = 0; i < 20; ++i) source.Put(i / 5, i % 5, static_cast<uint8_t>(40 + 7 * i));
    for (const int size : {1000, 100001, 1 << 24, INT_MAX - 1, INT_MAX}) {
        const auto expect = [&](HRESULT (IVELFilterTransform::*operation)(IVEL*, int, IVEL**), int value) {
            const auto image = test::TestImage::New(source);
            IVEL* dest = nullptr;
            const HRESULT code = (component.Get()->*operation)(image.Get(), size, &dest);
            EXPECT_EQ(code < 0, dest == nullptr);
            if (!dest) return;
            const auto holder = SmartPtr<IVEL>::Adopt(dest);
            const ref::Image result = test::Behind(dest)->Content();
            for (int i = 0; i < 20; ++i) EXPECT_EQ(result.Get(i / 5, i % 5), value) << size;
        };
        expect(&IVELFilterTransform::Erode, 40);
        expect(&IVELFilterTransform::Dilate, 40 + 7 * 19);
        expect(&IVELFilterTransform::Edge, 7 * 19);
        // Nearly all samples lie outside and read as the first pixel.
        expect(&IVELFilterTransform::Median, 40);
    }
}

class FilterDeliverySlots : public test::ComponentTest<IVELFilterTransform> {
protected:
    template <class... Arguments>
    void ExpectSlot(void* part, int slot, const ref::Image& source, const ref::Made& expected, Arguments... arguments) {
        SCOPED_TRACE("slot " + std::to_string(slot));
        const auto image = test::TestImage::New(source);
        IVEL* dest = nullptr;
        std::srand(1);
        EXPECT_EQ(test::CallSlot<HRESULT>(part, slot, static_cast<IVEL*>(image.Get()), arguments..., &dest), S_OK);
        ASSERT_NE(dest, nullptr);
        const auto holder = SmartPtr<IVEL>::Adopt(dest);
        EXPECT_TRUE(test::SameNewImage(expected.image, test::Behind(dest)->Content()));
    }
};

// Positions after the three of IUnknown.
TEST_F(FilterDeliverySlots, TheInterfacesOrderIsTheContract) {
    const ref::Image source = Picture();
    const auto expect = [&](int slot, const ref::Made& expected, auto... arguments) {
        ExpectSlot(component.Get(), slot, source, expected, arguments...);
    };
    expect(3, ref::Erode(source, 3), 3);
    expect(4, ref::Edge(source, 3), 3);
    expect(5, ref::Dilate(source, 3), 3);
    expect(6, ref::Filter(source, g_kernel, 3, 45, 1), &g_kernel[0], 3, 45, 1);
    expect(7, ref::Contour(source));
    std::srand(1);
    const ref::Made jitter = ref::Jitter(source, 2);
    expect(8, jitter, 2);
    std::srand(1);
    const ref::Made noise = ref::Noise(source, 20);
    expect(9, noise, 20);
    expect(10, ref::Median(source, 3), 3);
    expect(11, ref::Emboss(source));
    expect(12, ref::Blur(source));
    expect(13, ref::Soften(source));
    expect(14, ref::Sharpen(source));
    expect(15, ref::GaussianBlur(source, 3), 3);
}

// The class's own operations, after the object model's seven.
TEST_F(FilterDeliverySlots, TheClasssOrderIsItsOwn) {
    const ref::Image source = Picture();
    SmartPtr<IUnknown> primary;
    component->QueryInterface(test::kUnknownId, primary.Receive());
    const auto expect = [&](int slot, const ref::Made& expected, auto... arguments) {
        ExpectSlot(primary.Get(), slot, source, expected, arguments...);
    };
    expect(7, ref::GaussianBlur(source, 3), 3);
    expect(8, ref::Sharpen(source));
    expect(9, ref::Soften(source));
    expect(10, ref::Blur(source));
    expect(11, ref::Emboss(source));
    expect(12, ref::Median(source, 3), 3);
    std::srand(1);
    const ref::Made noise = ref::Noise(source, 20);
    expect(13, noise, 20);
    std::srand(1);
    const ref::Made jitter = ref::Jitter(source, 2);
    expect(14, jitter, 2);
    expect(15, ref::Contour(source));
    expect(16, ref::Filter(source, g_kernel, 3, 45, 1), &g_kernel[0], 3, 45, 1);
    expect(17, ref::Dilate(source, 3), 3);
    expect(18, ref::Edge(source, 3), 3);
    expect(19, ref::Erode(source, 3), 3);
}

}  // namespace
