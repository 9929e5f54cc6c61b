// The reference host's image.
#include "host/Image.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <thread>

#include "support/Images.h"

namespace {

using velhost::Image;
using velhost::RowOrder;
using velhost::Shape;
using velhost::StrideInValues;

void FillWithPattern(Image& image, uint8_t start = 1) {
    for (uint32_t p = 0; p < image.Planes(); ++p) {
        for (uint32_t y = 0; y < image.Height(); ++y) {
            for (uint64_t i = 0; i < image.GetShape().RowBytes(); ++i) image.Row(y, p)[i] = start++;
        }
    }
}

bool SameContent(const Image& a, const Image& b) {
    if (a.GetShape() != b.GetShape()) return false;
    for (uint32_t p = 0; p < a.Planes(); ++p) {
        for (uint32_t y = 0; y < a.Height(); ++y) {
            if (std::memcmp(a.Row(y, p), b.Row(y, p), a.GetShape().RowBytes()) != 0) return false;
        }
    }
    return true;
}

ref::Image Content(const Image& image) {
    const Shape& shape = image.GetShape();
    ref::Image content(shape.width, shape.height, shape.planes, shape.bitsPerPixel, shape.format);
    for (uint32_t p = 0; p < shape.planes; ++p) {
        for (uint32_t y = 0; y < shape.height; ++y) {
            for (uint64_t i = 0; i < shape.RowBytes(); ++i) {
                content.Put(y, static_cast<int64_t>(i), image.Row(y, p)[i], p);
            }
        }
    }
    return content;
}

TEST(HostImage, NewImageIsEmpty) {
    const auto image = Image::New();
    uint32_t width = 7, height = 7, planes = 7, bits = 7, format = 7, unused = 7;
    uint8_t* pixels = reinterpret_cast<uint8_t*>(&width);
    int32_t stride = 7;
    EXPECT_EQ(image->GetSize(&width, &height, &planes), S_OK);
    EXPECT_EQ(image->GetFormat(&bits, &format, &unused), S_OK);
    EXPECT_EQ(image->GetBits(0, &unused, &pixels, &stride), S_OK);
    EXPECT_EQ(width + height + planes + bits + format + unused, 0u);
    EXPECT_EQ(pixels, nullptr);
    EXPECT_EQ(stride, 0);
    EXPECT_TRUE(image->Empty());
    EXPECT_EQ(image->FillColor(0), E_FAIL);
}

TEST(HostImage, EveryDepthHasAlignedZeroedRowsInBothOrders) {
    for (const uint32_t bits : {1u, 4u, 8u, 16u, 24u, 32u}) {
        for (const RowOrder order : {RowOrder::TopDown, RowOrder::BottomUp}) {
            const auto image = Image::Make({13, 5, bits, FORMAT_BGR, 2}, order);
            ASSERT_NE(image.Get(), nullptr);
            EXPECT_EQ(image->Order(), order);
            EXPECT_EQ(image->Stride(), order == RowOrder::TopDown ? 64 : -64);
            for (uint32_t p = 0; p < 2; ++p) {
                for (uint32_t y = 0; y < 5; ++y) {
                    EXPECT_EQ(reinterpret_cast<uintptr_t>(image->Row(y, p)) % 64, 0u);
                    for (uint32_t i = 0; i < 64; ++i) ASSERT_EQ(image->Row(y, p)[i], 0);
                    std::memset(image->Row(y, p), 0xEE, 64);  // all of it is the image's own
                }
            }
        }
    }
}

TEST(HostImage, OddDepthsAndMissingPlanesAreRefused) {
    const auto image = Image::Make({4, 4, 8, FORMAT_MONO});
    for (const uint32_t bits : {0u, 2u, 3u, 12u, 15u, 48u, 64u, 0x80000008u}) {
        EXPECT_EQ(image->Create(4, 4, 1, bits, FORMAT_BGR), E_INVALIDARG);
        EXPECT_TRUE(image->Empty());
        EXPECT_EQ(image->GetShape(), (Shape{0, 0, 0, 0, 0}));
    }
    EXPECT_EQ(image->Create(4, 4, 0, 8, FORMAT_BGR), E_INVALIDARG);
}

TEST(HostImage, SidesOfZeroAreImagesWithoutPixels) {
    const auto image = Image::New();
    EXPECT_EQ(image->Create(0, 9, 3, 24, FORMAT_BGR), S_OK);
    EXPECT_EQ(image->GetShape(), (Shape{0, 9, 24, FORMAT_BGR, 3}));
    EXPECT_TRUE(image->Empty());
    EXPECT_EQ(image->Create(9, 0, 1, 1, FORMAT_MONO), S_OK);
    EXPECT_EQ(image->Row(0), nullptr);
    const auto copy = Image::CopyOf(image.Get());
    ASSERT_NE(copy.Get(), nullptr);
    EXPECT_EQ(copy->GetShape(), image->GetShape());
}

TEST(HostImage, SizesThatCannotBeHadFailAndLeaveAnEmptyImage) {
    const auto image = Image::Make({2, 2, 32, FORMAT_ARGB});
    EXPECT_EQ(image->Create(0x80000000u, 1, 1, 1, FORMAT_MONO), E_INVALIDARG);
    EXPECT_EQ(image->Create(1, 0x80000000u, 1, 1, FORMAT_MONO), E_INVALIDARG);
    EXPECT_EQ(image->Create(0x40000000u, 1, 1, 32, FORMAT_BGR), E_INVALIDARG);  // a stride beyond 31 bits
    EXPECT_EQ(image->Create(0x7FFFFFFFu, 0x7FFFFFFFu, 0xFFFFFFFFu, 8, FORMAT_BGR), E_INVALIDARG);
    EXPECT_EQ(image->Create(0x10000000u, 0x7FFFFFFFu, 0xFFFFFFFFu, 32, FORMAT_BGR), E_FAIL);
    EXPECT_EQ(image->Create(0x10000u, 0x10000u, 0xFFFFFFFFu, 32, FORMAT_BGR), E_FAIL);
    EXPECT_TRUE(image->Empty());
    EXPECT_EQ(image->GetShape(), (Shape{0, 0, 0, 0, 0}));
    EXPECT_EQ(image->Create(3, 3, 1, 8, FORMAT_MONO), S_OK);  // still of use
}

TEST(HostImage, ByteLimitIsExact) {
    const uint64_t before = Image::ByteLimit();
    Image::SetByteLimit(64 * 10 * 2);
    const auto image = Image::New();
    EXPECT_EQ(image->Create(64, 10, 2, 8, FORMAT_MONO), S_OK);
    EXPECT_EQ(image->Create(64, 11, 2, 8, FORMAT_MONO), E_FAIL);
    EXPECT_EQ(image->Create(65, 10, 1, 8, FORMAT_MONO), S_OK);
    EXPECT_EQ(image->Create(65, 10, 2, 8, FORMAT_MONO), E_FAIL);
    Image::SetByteLimit(before);
}

TEST(HostImage, CreateReplacesPixelsAndPalette) {
    const auto image = Image::Make({4, 4, 8, FORMAT_BGR}, RowOrder::BottomUp);
    const RGBQUAD entries[] = {{1, 2, 3, 0}};
    ASSERT_TRUE(image->SetPalette(entries));
    FillWithPattern(*image.Get());
    EXPECT_EQ(image->Create(4, 4, 1, 8, FORMAT_BGR), S_OK);
    EXPECT_EQ(image->Order(), RowOrder::TopDown);
    EXPECT_TRUE(image->Palette().empty());
    for (uint32_t y = 0; y < 4; ++y) EXPECT_EQ(image->Row(y)[3], 0);
}

TEST(HostImage, InterfacesAreOneObject) {
    const auto image = Image::New();
    EXPECT_EQ(image->AddRef(), 2u);
    EXPECT_EQ(image->Release(), 1u);
    SmartPtr<IUnknown> unknown;
    ASSERT_EQ(image->QueryInterface(IID_IUnknown, unknown.Receive()), S_OK);
    for (const char* name : {"IVEL", "IVELImage", "IVELImageDIB", "IVELImagePalette"}) {
        SmartPtr<IUnknown> answer;
        ASSERT_EQ(unknown->QueryInterface(test::InterfaceId(name), answer.Receive()), S_OK) << name;
        EXPECT_TRUE(answer == unknown.Get()) << name;
    }
    void* nothing = image.Get();
    EXPECT_EQ(image->QueryInterface(test::InterfaceId("IVELMaths"), &nothing), E_NOINTERFACE);
    EXPECT_EQ(nothing, nullptr);
    EXPECT_EQ(image->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    unknown.Clear();
    EXPECT_EQ(image->AddRef(), 2u);
    EXPECT_EQ(image->Release(), 1u);
}

TEST(HostImage, CountsAreExactWithManyThreads) {
    const auto image = Image::New();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                void* out = nullptr;
                image->QueryInterface(MakeInterfaceId("IVEL"), &out);
                static_cast<IVEL*>(out)->Release();
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(image->AddRef(), 2u);
    EXPECT_EQ(image->Release(), 1u);
}

TEST(HostImage, PlanesAreApart) {
    const auto image = Image::Make({3, 2, 8, FORMAT_MONO, 3});
    FillWithPattern(*image.Get());
    uint8_t* bits = nullptr;
    int32_t stride = 0;
    uint32_t unused = 0;
    for (uint32_t p = 0; p < 3; ++p) {
        ASSERT_EQ(image->GetBits(p, &unused, &bits, &stride), S_OK);
        EXPECT_EQ(bits[stride + 2], 6 * (p + 1));
    }
    EXPECT_EQ(image->GetBits(3, &unused, &bits, &stride), E_INVALIDARG);
    EXPECT_EQ(bits, nullptr);
}

TEST(HostImage, PaletteKeepsCountAndAnyIndexMayBeLookedUp) {
    const auto image = Image::Make({1, 1, 4, FORMAT_BGR});
    std::vector<RGBQUAD> entries(300, RGBQUAD{9, 8, 7, 6});
    ASSERT_TRUE(image->SetPalette(std::span(entries).first(5)));
    const RGBQUAD* table = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(image->GetPalette(&table, &count), S_OK);
    ASSERT_EQ(count, 5u);
    EXPECT_EQ(table[4].rgbRed, 7);
    for (int i = 5; i < 256; ++i) EXPECT_EQ(table[i].rgbRed, 0);
    ASSERT_TRUE(image->SetPalette(entries));
    EXPECT_EQ(image->Palette().size(), 256u);
    ASSERT_TRUE(image->SetPalette({}));
    EXPECT_EQ(image->GetPalette(&table, &count), S_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(table, nullptr);
}

TEST(HostImage, AssignCopiesEverythingAndLeavesItsArgument) {
    for (const uint32_t bits : {1u, 4u, 8u, 16u, 24u, 32u}) {
        const auto source = Image::Make({11, 7, bits, FORMAT_ARGB, 2}, RowOrder::BottomUp);
        FillWithPattern(*source.Get());
        const RGBQUAD entries[] = {{1, 2, 3, 4}, {5, 6, 7, 8}};
        ASSERT_TRUE(source->SetPalette(entries));
        const auto image = Image::Make({50, 50, 8, FORMAT_MONO});
        EXPECT_EQ(image->Assign(source.Get(), 0), S_OK);
        EXPECT_TRUE(SameContent(*image.Get(), *source.Get()));
        EXPECT_EQ(image->Order(), RowOrder::BottomUp);
        EXPECT_EQ(image->Palette().size(), 2u);
        EXPECT_EQ(std::memcmp(image->Palette().data(), entries, sizeof entries), 0);
        EXPECT_NE(image->Row(0), source->Row(0));
        source->Row(3)[0] = static_cast<uint8_t>(~source->Row(3)[0]);
        EXPECT_FALSE(SameContent(*image.Get(), *source.Get()));
        EXPECT_EQ(source->AddRef(), 2u);
        EXPECT_EQ(source->Release(), 1u);
    }
}

TEST(HostImage, AssignOfAnotherHostsImage) {
    test::RandomCases(60, [](test::Random& random) {
        const ref::Image content = test::RandomImage(random);
        const auto foreign = test::TestImage::New(content);
        const auto image = Image::New();
        ASSERT_EQ(image->Assign(foreign.Get(), 0), S_OK) << test::Describe(content);
        EXPECT_EQ(image->Order() == RowOrder::BottomUp, content.stride < 0 && content.width > 0);
        EXPECT_TRUE(test::SamePixels(content, Content(*image.Get())));
        EXPECT_TRUE(foreign->GuardsIntact());
        EXPECT_EQ(foreign->Count(), 1u);
    });
    EXPECT_EQ(test::LiveObjects(), 0);
}

TEST(HostImage, AssignThatFailsChangesNothing) {
    const auto image = Image::Make({3, 3, 8, FORMAT_MONO});
    FillWithPattern(*image.Get());
    const auto before = Image::CopyOf(image.Get());
    EXPECT_EQ(image->Assign(nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(image->Assign(image.Get(), 0), S_OK);
    for (int fault = 0; fault < 4; ++fault) {
        const auto foreign = test::TestImage::New(test::ImageOf(1, 24, ref::kBgr, {{10, 20, 30}}));
        foreign->faults.getSize = fault == 0;
        foreign->faults.getFormat = fault == 1;
        foreign->faults.getBits = fault == 2;
        foreign->faults.nullBits = fault == 3;
        EXPECT_EQ(image->Assign(foreign.Get(), 0), E_FAIL) << fault;
    }
    EXPECT_TRUE(SameContent(*image.Get(), *before.Get()));
}

TEST(HostImage, WrappedMemoryIsUsedAsItIs) {
    // Three rows of two 24-bit pixels, six bytes each, lying 7 bytes apart.
    std::vector<uint8_t> memory(21);
    std::iota(memory.begin(), memory.end(), uint8_t{0});
    const auto top = Image::Wrap(memory.data(), 7, {2, 3, 24, FORMAT_BGR});
    ASSERT_NE(top.Get(), nullptr);
    EXPECT_TRUE(top->Wrapped());
    EXPECT_EQ(top->Row(2), memory.data() + 14);
    const auto bottom = Image::Wrap(memory.data() + 14, -7, {2, 3, 24, FORMAT_BGR});
    EXPECT_EQ(bottom->Row(2), memory.data());
    EXPECT_EQ(bottom->Order(), RowOrder::BottomUp);
    const auto copy = Image::CopyOf(bottom.Get());
    EXPECT_TRUE(SameContent(*copy.Get(), *bottom.Get()));
    EXPECT_FALSE(copy->Wrapped());
    const auto repeated = Image::Wrap(memory.data(), 0, {2, 3, 24, FORMAT_BGR});
    EXPECT_EQ(repeated->Row(2), memory.data());
    const auto planes = Image::Wrap(memory.data(), 7, {2, 1, 24, FORMAT_BGR, 3}, 7);
    EXPECT_EQ(planes->Row(0, 2), memory.data() + 14);
}

TEST(HostImage, WrapRefusesWhatMakesNoSense) {
    uint8_t byte = 0;
    EXPECT_EQ(Image::Wrap(nullptr, 4, {1, 1, 8, FORMAT_MONO}).Get(), nullptr);
    EXPECT_EQ(Image::Wrap(&byte, 4, {1, 1, 7, FORMAT_MONO}).Get(), nullptr);
    EXPECT_EQ(Image::Wrap(&byte, 4, {1, 1, 8, FORMAT_MONO, 0}).Get(), nullptr);
    EXPECT_EQ(Image::Wrap(&byte, 4, {0x80000000u, 1, 8, FORMAT_MONO}).Get(), nullptr);
    const auto empty = Image::Wrap(nullptr, 4, {0, 1, 8, FORMAT_MONO});
    ASSERT_NE(empty.Get(), nullptr);
    EXPECT_TRUE(empty->Empty());
}

TEST(HostImage, SameShapeGoesIntoWrappedMemory) {
    uint8_t memory[12];
    std::memset(memory, 0xAA, sizeof memory);
    const auto image = Image::Wrap(memory + 8, -4, {3, 3, 8, FORMAT_MONO});
    const auto result = Image::Make({3, 3, 8, FORMAT_MONO});
    FillWithPattern(*result.Get());
    EXPECT_EQ(image->Assign(result.Get(), 0), S_OK);
    EXPECT_TRUE(image->Wrapped());
    const uint8_t expected[12] = {7, 8, 9, 0xAA, 4, 5, 6, 0xAA, 1, 2, 3, 0xAA};
    EXPECT_EQ(std::memcmp(memory, expected, 12), 0);

    EXPECT_EQ(image->Create(3, 3, 1, 8, FORMAT_MONO), S_OK);
    EXPECT_TRUE(image->Wrapped());
    const uint8_t cleared[12] = {0, 0, 0, 0xAA, 0, 0, 0, 0xAA, 0, 0, 0, 0xAA};
    EXPECT_EQ(std::memcmp(memory, cleared, 12), 0);

    EXPECT_EQ(image->Create(3, 2, 1, 8, FORMAT_MONO), S_OK);
    EXPECT_FALSE(image->Wrapped());
    image->FillColor(0x00FFFFFF);
    EXPECT_EQ(std::memcmp(memory, cleared, 12), 0);
}

TEST(HostImage, AssignFromAViewOfItself) {
    uint8_t memory[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const auto image = Image::Wrap(memory, 4, {4, 3, 8, FORMAT_MONO});
    const auto flipped = Image::Wrap(memory + 8, -4, {4, 3, 8, FORMAT_MONO});
    EXPECT_EQ(image->Assign(flipped.Get(), 0), S_OK);
    const uint8_t expected[12] = {9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4};
    EXPECT_EQ(std::memcmp(memory, expected, 12), 0);
}

TEST(HostImage, AssignOfTheSameShapeKeepsItsMemory) {
    const auto image = Image::Make({30, 20, 24, FORMAT_BGR});
    const auto same = Image::Make({30, 20, 24, FORMAT_BGR});
    const auto turned = Image::Make({30, 20, 24, FORMAT_BGR}, RowOrder::BottomUp);
    FillWithPattern(*same.Get(), 9);
    FillWithPattern(*turned.Get(), 77);
    const uint8_t* row = image->Row(0);
    EXPECT_EQ(image->Assign(same.Get(), 0), S_OK);
    EXPECT_EQ(image->Row(0), row);
    EXPECT_TRUE(SameContent(*image.Get(), *same.Get()));
    EXPECT_EQ(image->Assign(turned.Get(), 0), S_OK);
    EXPECT_EQ(image->Order(), RowOrder::BottomUp);
    EXPECT_TRUE(SameContent(*image.Get(), *turned.Get()));
    // A view of the image's own rows, the other way round.
    const auto view = Image::Wrap(image->Row(19), -image->Stride(), {30, 20, 24, FORMAT_BGR});
    const auto expected = Image::CopyOf(view.Get());
    EXPECT_EQ(image->Assign(view.Get(), 0), S_OK);
    EXPECT_TRUE(SameContent(*image.Get(), *expected.Get()));
}

TEST(HostImage, FillColorByDepth) {
    struct Case {
        uint32_t bits, format, colour;
        std::vector<uint8_t> row;  // of two pixels
    };
    const Case cases[] = {
        {32, FORMAT_ARGB, 0x80102030, {0x30, 0x20, 0x10, 0x80, 0x30, 0x20, 0x10, 0x80}},
        {32, FORMAT_MONO, 0xFFFFFFFE, {0xFE, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF}},
        {24, FORMAT_BGR, 0x80102030, {0x30, 0x20, 0x10, 0x30, 0x20, 0x10}},
        {16, FORMAT_BGR, 0x00FF0000, {0x00, 0xF8, 0x00, 0xF8}},
        {16, FORMAT_BGR, 0x0000FF08, {0xE1, 0x07, 0xE1, 0x07}},
        {8, FORMAT_MONO, 0x000000FF, {85, 85}},
        {8, FORMAT_MONO, 0xFFFFFFFF, {255, 255}},
        {4, FORMAT_MONO, 0x00808080, {0x88}},
        {4, FORMAT_MONO, 0x00FFFFFF, {0xFF}},
        {1, FORMAT_MONO, 0x00808080, {0xFF}},
        {1, FORMAT_MONO, 0x007F7F7F, {0x00}},
    };
    for (const Case& c : cases) {
        const auto image = Image::Make({2, 2, c.bits, c.format, 2});
        EXPECT_EQ(image->FillColor(c.colour), S_OK);
        for (uint32_t p = 0; p < 2; ++p) {
            EXPECT_EQ(std::memcmp(image->Row(1, p), c.row.data(), c.row.size()), 0) << c.bits << " bits " << c.colour;
        }
    }
}

TEST(HostImage, FillColorTakesTheNearestPaletteEntry) {
    const RGBQUAD entries[] = {{0, 0, 0, 0}, {0, 0, 200, 0}, {200, 0, 0, 0}, {200, 0, 0, 0}};
    for (const uint32_t bits : {8u, 4u, 1u}) {
        const auto image = Image::Make({2, 1, bits, FORMAT_BGR});
        ASSERT_TRUE(image->SetPalette(entries));
        EXPECT_EQ(image->FillColor(0x000000FF), S_OK);  // blue
        EXPECT_EQ(image->Row(0)[0], bits == 8 ? 2 : bits == 4 ? 0x22 : 0x00);
        EXPECT_EQ(image->FillColor(0x00FF0000), S_OK);  // red
        EXPECT_EQ(image->Row(0)[0], bits == 8 ? 1 : bits == 4 ? 0x11 : 0xFF);
    }
}

TEST(HostImage, StrideInValuesConcernsIntegerImagesOfThisThread) {
    const auto integers = Image::Make({5, 3, 32, FORMAT_MONO});
    const auto colours = Image::Make({5, 3, 32, FORMAT_ARGB});
    uint8_t byteMemory[64];
    const auto odd = Image::Wrap(byteMemory, 21, {5, 3, 32, FORMAT_MONO});
    const auto strideOf = [](const SmartPtr<Image>& image) {
        uint8_t* bits = nullptr;
        int32_t stride = -1;
        image->GetBits(0, nullptr, &bits, &stride);
        return stride;
    };
    {
        const StrideInValues outer;
        {
            const StrideInValues inner;
            EXPECT_EQ(strideOf(integers), 16);
        }
        EXPECT_EQ(strideOf(integers), 16);
        EXPECT_EQ(strideOf(colours), 64);
        EXPECT_EQ(strideOf(odd), 0);
        std::thread([&] { EXPECT_EQ(strideOf(integers), 64); }).join();
        // Copies see the rows where they are.
        FillWithPattern(*integers.Get());
        const auto copy = Image::CopyOf(integers.Get());
        EXPECT_TRUE(SameContent(*integers.Get(), *copy.Get()));
    }
    EXPECT_EQ(strideOf(integers), 64);
    EXPECT_EQ(strideOf(odd), 21);
}

TEST(HostImage, ResultMemoryServesOneImageOfItsSizeAndDepth) {
    uint8_t memory[4 * 12] = {1, 2, 3};
    const auto target = Image::Wrap(memory + 36, -12, {4, 4, 24, FORMAT_BGR});
    const auto other = Image::New(), first = Image::New(), second = Image::New(), later = Image::New();
    {
        const velhost::ResultMemory scope(*target.Get());
        EXPECT_EQ(other->Create(4, 3, 1, 24, FORMAT_BGR), S_OK);
        EXPECT_NE(other->Row(0), target->Row(0));
        std::thread([&] { EXPECT_EQ(second->Create(4, 4, 1, 24, FORMAT_BGR), S_OK); }).join();
        EXPECT_NE(second->Row(0), target->Row(0));
        EXPECT_EQ(first->Create(4, 4, 1, 24, FORMAT_MONO), S_OK);
        EXPECT_EQ(first->Row(0), memory + 36);
        EXPECT_EQ(first->Row(3), memory);
        EXPECT_EQ(first->Format(), FORMAT_MONO);
        EXPECT_EQ(memory[0], 0);
        EXPECT_EQ(second->Create(4, 4, 1, 24, FORMAT_BGR), S_OK);
        EXPECT_NE(second->Row(0), target->Row(0));
    }
    { const velhost::ResultMemory scope(*target.Get()); }
    EXPECT_EQ(later->Create(4, 4, 1, 24, FORMAT_BGR), S_OK);
    EXPECT_NE(later->Row(0), target->Row(0));
    // Integer images whose stride cannot be said in values.
    uint8_t odd[42];
    const auto integers = Image::Wrap(odd, 21, {5, 2, 32, FORMAT_MONO});
    const velhost::ResultMemory scope(*integers.Get());
    EXPECT_EQ(later->Create(5, 2, 1, 32, FORMAT_MONO), S_OK);
    EXPECT_NE(later->Row(0), odd);
}

}  // namespace
