// CreateDestImage, Copy and Equal: every pair of depths, every way of filling, offsets, planes, masks, result codes.
#include <climits>

#include "reference/Arithmetic.h"
#include "support/NewImages.h"

namespace {

using ref::kArgb;
using ref::kBgr;
using ref::kMono;
using test::Call;
using test::ImageOf;
using test::TestImage;

class CopyAndFill : public test::ComponentTest<IVELMaths> {
protected:
    // The destination after the source was pasted.
    ref::Image Pasted(const ref::Image& destination, const ref::Image& source, int x, int y, HRESULT code) {
        const auto to = TestImage::New(destination), from = TestImage::New(source);
        EXPECT_EQ(component->Copy(to.Get(), from.Get(), nullptr, x, y), code);
        EXPECT_TRUE(test::SameBytes(source, from));
        EXPECT_EQ(to->Count(), 1u);
        EXPECT_EQ(from->Count(), 1u);
        return to->Content();
    }
    ref::Image Filled(const ref::Image& content, const ref::Image* maskContent, uint32_t value) {
        const auto image = TestImage::New(content);
        SmartPtr<TestImage> mask;
        if (maskContent) mask = TestImage::New(*maskContent);
        EXPECT_EQ(component->Equal(image.Get(), mask.Get(), static_cast<int>(value)), S_OK);
        EXPECT_EQ(image->Count(), 1u);
        return image->Content();
    }
};

// ---------------------------------------------------------------------------------------------------------------
// CreateDestImage

class CopyAndFillCreate : public CopyAndFill {
protected:
    test::CreateArguments Created(const ref::Image& modelContent, int bitsPerPixel, uint32_t format) {
        const auto model = TestImage::New(modelContent);
        IVEL* made = nullptr;
        EXPECT_EQ(component->CreateDestImage(&made, model.Get(), bitsPerPixel, static_cast<int>(format)), S_OK);
        EXPECT_TRUE(test::SameBytes(modelContent, model));
        EXPECT_EQ(model->Count(), 1u);
        if (!made) return {};
        EXPECT_EQ(test::Behind(made)->Count(), 1u);
        const std::vector<test::CreateArguments> created = test::Behind(made)->log->created;
        EXPECT_EQ(created.size(), 1u);
        made->Release();
        return created.at(0);
    }
};

TEST_F(CopyAndFillCreate, ZerosCopyTheModel) {
    EXPECT_EQ(Created(ref::Image(7, 5, 3, 24, kBgr), 0, 0), (test::CreateArguments{7, 5, 3, 24, kBgr}));
    EXPECT_EQ(Created(ref::Image(7, 5, 1, 32, kMono), 0, 0), (test::CreateArguments{7, 5, 1, 32, kMono}));
}

TEST_F(CopyAndFillCreate, DepthAndCodeAreReplaced) {
    EXPECT_EQ(Created(ref::Image(7, 5, 2, 24, kBgr), 8, kMono), (test::CreateArguments{7, 5, 2, 8, kMono}));
    EXPECT_EQ(Created(ref::Image(7, 5, 2, 24, kBgr), 8, 0), (test::CreateArguments{7, 5, 2, 8, kBgr}));
    EXPECT_EQ(Created(ref::Image(7, 5, 2, 24, kBgr), 0, kArgb), (test::CreateArguments{7, 5, 2, 24, kArgb}));
    EXPECT_EQ(Created(ref::Image(0, 0, 1, 24, kBgr), 1, 7), (test::CreateArguments{0, 0, 1, 1, 7}));
}

TEST_F(CopyAndFillCreate, ANullModelIsAnInvalidArgument) {
    int other = 0;
    IVEL* made = reinterpret_cast<IVEL*>(&other);
    EXPECT_EQ(component->CreateDestImage(&made, nullptr, 8, 0), E_INVALIDARG);
    EXPECT_EQ(static_cast<void*>(made), static_cast<void*>(&other)) << "The result was touched.";
    EXPECT_TRUE(collection->images.empty());
}

TEST_F(CopyAndFillCreate, ANullResultIsRefused) {
    const auto model = TestImage::New(ref::Image(3, 3, 1, 8, kMono));
    EXPECT_LT(component->CreateDestImage(nullptr, model.Get(), 0, 0), 0);
    EXPECT_EQ(model->Count(), 1u);
}

TEST_F(CopyAndFillCreate, ARefusingCollectionIsAFailure) {
    collection->refuseImages = true;
    const auto model = TestImage::New(ref::Image(3, 3, 1, 8, kMono));
    IVEL* made = nullptr;
    EXPECT_EQ(component->CreateDestImage(&made, model.Get(), 0, 0), E_FAIL);
    EXPECT_EQ(made, nullptr);
}

TEST_F(CopyAndFillCreate, AnExceptionOfTheHostReleasesTheNewImage) {
    const auto model = TestImage::New(ref::Image(3, 3, 1, 8, kMono));
    IVEL* made = nullptr;
    for (const Call call : {Call::GetSize, Call::GetFormat}) {
        model->bomb.Arm(call);
        EXPECT_THROW(component->CreateDestImage(&made, model.Get(), 0, 0), test::HostError);
        EXPECT_EQ(made, nullptr);
    }
    collection->imageBomb.Arm(Call::Create);
    EXPECT_THROW(component->CreateDestImage(&made, model.Get(), 0, 0), test::HostError);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(model->Count(), 1u);
}

// ---------------------------------------------------------------------------------------------------------------
// Copy

// A source of 2 x 1 pixels pasted at (1, 1) of 3 x 2 pixels that hold 0xEE; `row` is the second row afterwards.
struct DepthPair {
    uint32_t from, fromFormat;
    std::vector<int> pixels;
    uint32_t to, toFormat;
    HRESULT code;
    std::vector<int> row;  // empty: nothing is written
    const char* name;
};

// clang-format off
const DepthPair kDepthPairs[] = {
    {1, kMono, {0xC0}, 1, kMono, S_OK, {}, "From1To1CopiesNoBytes"},
    {1, kMono, {0xC0}, 4, kMono, E_FAIL, {}, "From1To4"},
    {1, kMono, {0xC0}, 8, kMono, E_FAIL, {}, "From1To8"},
    {1, kMono, {0xC0}, 16, kBgr, E_FAIL, {}, "From1To16"},
    {1, kMono, {0xC0}, 24, kBgr, E_FAIL, {}, "From1To24"},
    {1, kMono, {0xC0}, 32, kBgr, E_FAIL, {}, "From1To32"},
    {4, kMono, {0x12}, 1, kMono, E_FAIL, {}, "From4To1"},
    {4, kMono, {0x12}, 4, kMono, S_OK, {}, "From4To4CopiesNoBytes"},
    {4, kMono, {0x12}, 8, kMono, E_FAIL, {}, "From4To8"},
    {4, kMono, {0x12}, 16, kBgr, E_FAIL, {}, "From4To16"},
    {4, kMono, {0x12}, 24, kBgr, E_FAIL, {}, "From4To24"},
    {4, kMono, {0x12}, 32, kBgr, E_FAIL, {}, "From4To32"},
    {8, kMono, {10, 20}, 1, kMono, E_FAIL, {}, "From8To1"},
    {8, kMono, {10, 20}, 4, kMono, E_FAIL, {}, "From8To4"},
    {8, kMono, {10, 20}, 8, kBgr, S_OK, {0xEE, 10, 20}, "From8To8"},
    {8, kMono, {10, 20}, 16, kBgr, E_FAIL, {}, "From8To16"},
    {8, kBgr, {10, 20}, 24, kBgr, S_OK, {0xEE, 0xEE, 0xEE, 10, 10, 10, 20, 20, 20}, "From8To24"},
    {8, 0, {10, 20}, 32, kArgb, S_OK, {0xEE, 0xEE, 0xEE, 0xEE, 10, 10, 10, 255, 20, 20, 20, 255}, "From8To32"},
    {16, kBgr, {1, 2, 3, 4}, 1, kMono, E_FAIL, {}, "From16To1"},
    {16, kBgr, {1, 2, 3, 4}, 4, kMono, E_FAIL, {}, "From16To4"},
    {16, kBgr, {1, 2, 3, 4}, 8, kMono, E_FAIL, {}, "From16To8"},
    {16, kBgr, {1, 2, 3, 4}, 16, 0, S_OK, {0xEE, 0xEE, 1, 2, 3, 4}, "From16To16"},
    // 0x7BEF: 15, 31, 15; 0xF81F: 31, 0, 31
    {16, kBgr, {0xEF, 0x7B, 0x1F, 0xF8}, 24, kBgr, E_FAIL, {0xEE, 0xEE, 0xEE, 120, 124, 120, 248, 0, 248}, "From16To24"},
    {16, kBgr, {0x01, 0x10, 0x40, 0xF8}, 24, kBgr, E_FAIL, {0xEE, 0xEE, 0xEE, 8, 0, 16, 0, 8, 248}, "From16To24BlueFirst"},
    {16, kBgr, {0x01, 0x10, 0x40, 0xF8}, 24, 0, E_FAIL, {0xEE, 0xEE, 0xEE, 16, 0, 8, 248, 8, 0}, "From16To24RedFirst"},
    {16, kBgr, {1, 2, 3, 4}, 24, kArgb, E_FAIL, {}, "From16To24OtherCode"},
    {16, kBgr, {1, 2, 3, 4}, 24, kMono, E_FAIL, {}, "From16To24Mono"},
    {16, 0, {1, 2, 3, 4}, 24, kBgr, E_FAIL, {}, "From16WithoutCodeTo24"},
    {16, kMono, {1, 2, 3, 4}, 24, kBgr, E_FAIL, {}, "From16MonoTo24"},
    {16, kBgr, {1, 2, 3, 4}, 32, kBgr, E_FAIL, {}, "From16To32"},
    {24, kBgr, {1, 2, 3, 4, 5, 6}, 1, kMono, E_FAIL, {}, "From24To1"},
    {24, kBgr, {1, 2, 3, 4, 5, 6}, 4, kMono, E_FAIL, {}, "From24To4"},
    {24, kBgr, {1, 2, 3, 4, 5, 6}, 8, kMono, E_FAIL, {}, "From24To8"},
    {24, kBgr, {1, 2, 3, 4, 5, 6}, 16, kBgr, E_FAIL, {}, "From24To16"},
    {24, kBgr, {1, 2, 3, 4, 5, 6}, 24, kMono, S_OK, {0xEE, 0xEE, 0xEE, 1, 2, 3, 4, 5, 6}, "From24To24"},
    {24, kBgr, {1, 2, 3, 4, 5, 6}, 32, kBgr, E_FAIL, {}, "From24To32"},
    {32, kBgr, {1, 2, 3, 4, 5, 6, 7, 8}, 1, kMono, E_FAIL, {}, "From32To1"},
    {32, kBgr, {1, 2, 3, 4, 5, 6, 7, 8}, 4, kMono, E_FAIL, {}, "From32To4"},
    {32, kBgr, {1, 2, 3, 4, 5, 6, 7, 8}, 8, kMono, E_FAIL, {}, "From32To8"},
    {32, kBgr, {1, 2, 3, 4, 5, 6, 7, 8}, 16, kBgr, E_FAIL, {}, "From32To16"},
    {32, kMono, {1, 2, 3, 4, 5, 6, 7, 8}, 24, kBgr, S_OK, {0xEE, 0xEE, 0xEE, 1, 2, 3, 5, 6, 7}, "From32To24"},
    {32, kBgr, {1, 2, 3, 4, 5, 6, 7, 8}, 32, kMono, S_OK, {0xEE, 0xEE, 0xEE, 0xEE, 1, 2, 3, 4, 5, 6, 7, 8}, "From32To32"},
};
// clang-format on

class CopyAndFillDepths : public CopyAndFill, public testing::WithParamInterface<DepthPair> {};

TEST_P(CopyAndFillDepths, Copy) {
    const DepthPair& pair = GetParam();
    ref::Image source(2, 1, 1, pair.from, pair.fromFormat);
    for (size_t i = 0; i < pair.pixels.size(); ++i)
        source.Put(0, static_cast<int64_t>(i), static_cast<uint8_t>(pair.pixels[i]));
    ref::Image expected(3, 2, 1, pair.to, pair.toFormat);
    for (uint8_t& byte : expected.store[0]) byte = 0xEE;
    const ref::Image before = expected;
    for (size_t i = 0; i < pair.row.size(); ++i)
        expected.Put(1, static_cast<int64_t>(i), static_cast<uint8_t>(pair.row[i]));
    EXPECT_TRUE(test::SameBytes(expected, Pasted(before, source, 1, 1, pair.code)));
}

INSTANTIATE_TEST_SUITE_P(CopyAndFill, CopyAndFillDepths, testing::ValuesIn(kDepthPairs),
                         [](const auto& pair) { return std::string(pair.param.name); });

TEST_F(CopyAndFill, CopyAtTheLastColumnCopiesOneColumn) {
    const ref::Image source = ImageOf(3, 8, kMono, {{1, 2, 3}, {4, 5, 6}});
    EXPECT_TRUE(
        test::SameBytes(ImageOf(4, 8, kMono, {{9, 9, 9, 1}, {9, 9, 9, 4}, {9, 9, 9, 9}}),
                        Pasted(ImageOf(4, 8, kMono, {{9, 9, 9, 9}, {9, 9, 9, 9}, {9, 9, 9, 9}}), source, 3, 0, S_OK)));
}

TEST_F(CopyAndFill, CopyOfALargerSourceWritesTheOverlapOnly) {
    const ref::Image source = ImageOf(3, 8, kMono, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 8, kMono, {{0, 0}, {0, 1}}),
                                Pasted(ref::Image(2, 2, 1, 8, kMono), source, 1, 1, S_OK)));
}

TEST_F(CopyAndFill, CopyOutsideTheDestinationFails) {
    const ref::Image source = ImageOf(1, 8, kMono, {{7}}), before = ref::Image(4, 3, 1, 8, kMono);
    for (const auto& [x, y] : {std::pair{4, 0}, {0, 3}, {-1, 0}, {0, -1}, {INT_MIN, 0}, {0, INT_MAX}, {4, 3}}) {
        EXPECT_TRUE(test::SameBytes(before, Pasted(before, source, x, y, E_FAIL))) << x << ", " << y;
    }
    EXPECT_TRUE(
        test::SameBytes(ref::Image(0, 3, 1, 8, kMono), Pasted(ref::Image(0, 3, 1, 8, kMono), source, 0, 0, E_FAIL)));
}

TEST_F(CopyAndFill, CopyTouchesPlane0Only) {
    ref::Image source = ImageOf(1, 8, kMono, {{7}});
    source.planes = 2;
    source.store.push_back({8});
    ref::Image expected(2, 1, 2, 8, kMono);
    const ref::Image before = expected;
    expected.Put(0, 0, 7);
    EXPECT_TRUE(test::SameBytes(expected, Pasted(before, source, 0, 0, S_OK)));
}

TEST_F(CopyAndFill, CopyHalvesTheStrideOf16BitSources) {
    // Rows 5 bytes apart are addressed as rows of 2 words: the second one starts a byte early.
    ref::Image source(2, 2, 1, 16, kBgr, 5);
    for (size_t i = 0; i < source.store[0].size(); ++i) source.store[0][i] = static_cast<uint8_t>(17 * i + 3);
    ref::Image expected(2, 2, 1, 24, kBgr);
    const ref::Image before = expected;
    ref::Copy(expected, source, 0, 0);
    EXPECT_EQ(expected.Get(1, 0), (source.store[0][4] & 0x1F) << 3);
    EXPECT_TRUE(test::SameBytes(expected, Pasted(before, source, 0, 0, E_FAIL)));
}

TEST_F(CopyAndFill, CopyOfAnImageOntoItself) {
    const ref::Image before = ImageOf(3, 8, kMono, {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
    const auto image = TestImage::New(before);
    EXPECT_EQ(component->Copy(image.Get(), image.Get(), nullptr, 0, 0), S_OK);
    EXPECT_TRUE(test::SameBytes(before, image));
    EXPECT_EQ(component->Copy(image.Get(), image.Get(), nullptr, 1, 0), S_OK);
    EXPECT_TRUE(test::SameBytes(ImageOf(3, 8, kMono, {{1, 1, 2}, {4, 4, 5}, {7, 7, 8}}), image));
}

TEST_F(CopyAndFill, CopyIgnoresTheThirdImage) {
    const auto to = TestImage::New(ref::Image(2, 1, 1, 8, kMono)), from = TestImage::New(ImageOf(1, 8, kMono, {{7}}));
    const auto third = TestImage::New(ref::Image(1, 1, 1, 8, kMono));
    EXPECT_EQ(component->Copy(to.Get(), from.Get(), third.Get(), 1, 0), S_OK);
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 8, kMono, {{0, 7}}), to));
    EXPECT_TRUE(third->log->calls.empty());
}

TEST_F(CopyAndFill, CopyWithoutImagesOrPixelsDoesNoHarm) {
    const auto image = TestImage::New(ImageOf(2, 8, kMono, {{1, 2}}));
    EXPECT_LT(component->Copy(nullptr, image.Get(), nullptr, 0, 0), 0);
    EXPECT_LT(component->Copy(image.Get(), nullptr, nullptr, 0, 0), 0);
    EXPECT_LT(component->Copy(nullptr, nullptr, nullptr, 0, 0), 0);
    const auto empty = TestImage::New(ImageOf(2, 8, kMono, {{1, 2}}));
    empty->faults.nullBits = true;
    component->Copy(image.Get(), empty.Get(), nullptr, 0, 0);
    component->Copy(empty.Get(), image.Get(), nullptr, 0, 0);
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 8, kMono, {{1, 2}}), image));
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 8, kMono, {{1, 2}}), empty));
}

// ---------------------------------------------------------------------------------------------------------------
// Equal

TEST_F(CopyAndFill, EqualOf8BitsTakesTheLowByte) {
    for (const uint32_t format : {kMono, kBgr, 0u}) {
        EXPECT_TRUE(test::SameBytes(ImageOf(3, 8, format, {{0x44, 0x44, 0x44}, {0x44, 0x44, 0x44}}),
                                    Filled(ref::Image(3, 2, 1, 8, format), nullptr, 0x11223344)));
    }
}

TEST_F(CopyAndFill, EqualOf24BitsWritesTheValuesBytesFromHighToLow) {
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 24, kBgr, {{0x11, 0x22, 0x33, 0x11, 0x22, 0x33}}),
                                Filled(ref::Image(2, 1, 1, 24, kBgr), nullptr, 0x00112233)));
}

TEST_F(CopyAndFill, EqualOf32BitsWritesTheValuesBytesFromLowToHigh) {
    for (const uint32_t format : {kBgr, kMono, kArgb, 0u}) {
        EXPECT_TRUE(test::SameBytes(ImageOf(2, 32, format, {{0x33, 0x22, 0x11, 0, 0x33, 0x22, 0x11, 0}}),
                                    Filled(ref::Image(2, 1, 1, 32, format), nullptr, 0x00112233)));
    }
}

TEST_F(CopyAndFill, EqualOf24BitsIgnoresTheMask) {
    const ref::Image mask = ImageOf(2, 8, kMono, {{0, 1}});
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 24, kBgr, {{1, 2, 3, 1, 2, 3}}),
                                Filled(ref::Image(2, 1, 1, 24, kBgr), &mask, 0x010203)));
}

TEST_F(CopyAndFill, EqualFollowsTheMaskAt8And32Bits) {
    const ref::Image mask = ImageOf(3, 8, kMono, {{0, 1, 255}, {7, 0, 0}});
    EXPECT_TRUE(
        test::SameBytes(ImageOf(3, 8, kMono, {{0, 9, 9}, {9, 0, 0}}), Filled(ref::Image(3, 2, 1, 8, kMono), &mask, 9)));
    for (const uint32_t format : {kMono, kArgb}) {
        ref::Image expected(3, 2, 1, 32, format);
        expected.PutWord(0, 4, 0xFEDCBA98);
        expected.PutWord(0, 8, 0xFEDCBA98);
        expected.PutWord(1, 0, 0xFEDCBA98);
        EXPECT_TRUE(test::SameBytes(expected, Filled(ref::Image(3, 2, 1, 32, format), &mask, 0xFEDCBA98)));
    }
}

TEST_F(CopyAndFill, EqualFillsEveryPlaneByPlane0OfTheMask) {
    ref::Image mask = ImageOf(2, 8, kMono, {{0, 1}});
    mask.planes = 2;
    mask.store.push_back({1, 0});
    ref::Image expected(2, 1, 3, 8, kMono);
    for (uint32_t plane = 0; plane < 3; ++plane) expected.Put(0, 1, 5, plane);
    EXPECT_TRUE(test::SameBytes(expected, Filled(ref::Image(2, 1, 3, 8, kMono), &mask, 5)));
}

TEST_F(CopyAndFill, EqualLeavesOtherDepthsAlone) {
    for (const uint32_t depth : {1u, 4u, 16u}) {
        EXPECT_TRUE(
            test::SameBytes(ref::Image(5, 3, 1, depth, kBgr), Filled(ref::Image(5, 3, 1, depth, kBgr), nullptr, ~0u)));
    }
    for (const uint32_t depth : {1u, 4u}) {
        EXPECT_TRUE(test::SameBytes(ref::Image(5, 3, 1, depth, kMono),
                                    Filled(ref::Image(5, 3, 1, depth, kMono), nullptr, ~0u)));
    }
}

TEST_F(CopyAndFill, EqualOfOtherMonochromeDepthsCountsRowsInWords) {
    // 16 bits: rows of 8 bytes are addressed as rows of 8 / 2 words; the second row starts at byte 16.
    ref::Image expected(2, 3, 1, 16, kMono, 8);
    const ref::Image before = expected;
    for (size_t at = 0; at < 8; ++at) expected.store[0][at] = 0x5A;
    for (size_t at = 16; at < 20; ++at) expected.store[0][at] = 0x5A;  // and no further: the block ends
    EXPECT_EQ(expected.store[0].size(), 20u);
    EXPECT_TRUE(test::SameBytes(expected, Filled(before, nullptr, 0x5A5A5A5A)));
}

TEST_F(CopyAndFill, EqualWithoutImageOrPixelsDoesNoHarm) {
    const auto image = TestImage::New(ImageOf(2, 8, kMono, {{1, 2}}));
    component->Equal(nullptr, nullptr, 7);
    component->Equal(nullptr, image.Get(), 7);
    const auto empty = TestImage::New(ref::Image(2, 1, 1, 8, kMono));
    empty->faults.nullBits = true;
    EXPECT_EQ(component->Equal(empty.Get(), image.Get(), 7), S_OK);
    EXPECT_EQ(component->Equal(image.Get(), empty.Get(), 7), S_OK);  // nothing is selected
    EXPECT_TRUE(test::SameBytes(ImageOf(2, 8, kMono, {{1, 2}}), image));
}

}  // namespace
