// Operations by their place in the tables: a host calls position 5, not "GrayScale". Every position of the interface
// tables and of the class tables is called as a bare function pointer and must do what the contract says stands there.
#include <cstdlib>
#include <cstring>
#include <functional>

#include "reference/Arithmetic.h"
#include "reference/Colour.h"
#include "reference/Deform.h"
#include "reference/Filter.h"
#include "reference/Geometry.h"
#include "support/Images.h"
#include "support/Module.h"

namespace {

using test::CallSlot;
using test::SameBytes;
using test::SamePixels;
using test::TestImage;

ref::Image Sample(uint32_t seed, uint32_t bitsPerPixel = 24, uint32_t format = ref::kBgr, uint32_t width = 13,
                  uint32_t height = 9) {
    test::Random random(seed);
    return test::RandomImage(random, width, height, 1, bitsPerPixel, format);
}

// The function at one place of one object's table.
class Place {
public:
    Place(void* part, int slot) : m_part(part), m_slot(slot) {}
    template <class... Arguments>
    HRESULT operator()(Arguments... arguments) const {
        return CallSlot<HRESULT>(m_part, m_slot, arguments...);
    }

private:
    void* m_part;
    int m_slot;
};

void InPlace(const std::function<HRESULT(IVEL*)>& operation, const std::function<int32_t(ref::Image&)>& reference,
             const ref::Image& before = Sample(1, 32)) {
    const auto image = TestImage::New(before);
    ref::Image expected = before;
    const int32_t code = reference(expected);
    EXPECT_EQ(operation(image.Get()), code);
    EXPECT_TRUE(SamePixels(expected, image));
    EXPECT_FALSE(SamePixels(before, expected)) << "The sample shows nothing.";
}

void New(const std::function<HRESULT(IVEL*, IVEL**)>& operation,
         const std::function<ref::Image(const ref::Image&)>& reference, const ref::Image& source = Sample(2)) {
    const auto image = TestImage::New(source);
    std::srand(7);
    const ref::Image expected = reference(source);
    std::srand(7);
    IVEL* made = nullptr;
    EXPECT_EQ(operation(image.Get(), &made), S_OK);
    ASSERT_NE(made, nullptr);
    const auto result = SmartPtr<IVEL>::Adopt(made);
    EXPECT_TRUE(SamePixels(expected, TestImage::Of(made)));
    EXPECT_FALSE(SamePixels(source, expected)) << "The sample shows nothing.";
}

// A shift by fractions of a pixel.
struct Shift final : test::Counted, ITransform {
    HRESULT QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
    uint32_t AddRef() override { return Up(); }
    uint32_t Release() override { return Down(); }
    HRESULT TransformPoint(double* x, double* y, double* z) override {
        Map(*x, *y, *z);
        return S_OK;
    }
    static void Map(double& x, double& y, double&) {
        x += 1.25;
        y -= 0.5;
    }
};

// ---------------------------------------------------------------------------------------------------------------
// One check per operation. Each operation is told from its neighbours by what it makes of a sample.

const ref::Host kHost;
int g_kernel[9] = {1, -2, 1, 3, 4, 5, 0, 2, 1};

void Colorize(Place at) {
    InPlace([&](IVEL* i) { return at(i, static_cast<unsigned char>(40), static_cast<unsigned char>(200), 0.5f); },
            [](ref::Image& i) { return ref::Colorize(i, 40, 200, 0.5f); });
}
void Lut(Place at) {
    unsigned char table[256];
    for (int i = 0; i < 256; ++i) table[i] = static_cast<unsigned char>(i * 7 + 3);
    InPlace([&](IVEL* i) { return at(i, &table[0]); }, [&](ref::Image& i) { return ref::Lut(i, table); });
}
void Negative(Place at) {
    InPlace([&](IVEL* i) { return at(i); }, ref::Negative);
}
void GrayScale(Place at) {
    InPlace([&](IVEL* i) { return at(i); }, ref::GrayScale);
}
void ShiftRGB(Place at) {
    InPlace([&](IVEL* i) { return at(i, 10, -20, 30); }, [](ref::Image& i) { return ref::ShiftRGB(i, 10, -20, 30); });
}
void Gamma(Place at) {
    InPlace([&](IVEL* i) { return at(i, 1.75f); }, [](ref::Image& i) { return ref::Gamma(i, 1.75f); });
}
void Light(Place at) {
    InPlace([&](IVEL* i) { return at(i, 20, -30); }, [](ref::Image& i) { return ref::Light(i, 20, -30); });
}
void SetImageAlpha(Place at) {
    InPlace([&](IVEL* i) { return at(i, 77, 0); }, [](ref::Image& i) { return ref::SetImageAlpha(i, 77); });
}
ref::Image WithKey() {
    ref::Image image = Sample(3, 32);
    for (int i = 0; i < 3; ++i) image.Put(2, 4 + i, static_cast<uint8_t>(10 * (i + 1)));
    image.Put(2, 7, 200);
    return image;
}
void SetImageAlphaTransparency(Place at) {
    InPlace([&](IVEL* i) { return at(i, 77, 0x000A141Eu); },
            [](ref::Image& i) { return ref::SetImageAlphaTransparency(i, 77, 0x000A141E); }, WithKey());
}
void SetImageTransparentPixel(Place at) {
    InPlace([&](IVEL* i) { return at(i, 0x000A141Eu); },
            [](ref::Image& i) { return ref::SetImageTransparentPixel(i, 0x000A141E); }, WithKey());
}
void Threshold(Place at) {
    InPlace([&](IVEL* i) { return at(i, 120); }, [](ref::Image& i) { return ref::Threshold(i, 120); });
}

void Erode(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, 3, d); }, [](const ref::Image& s) { return ref::Erode(s, 3).image; });
}
void Edge(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, 3, d); }, [](const ref::Image& s) { return ref::Edge(s, 3).image; });
}
void Dilate(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, 3, d); }, [](const ref::Image& s) { return ref::Dilate(s, 3).image; });
}
void Filter(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, &g_kernel[0], 3, 15, 2, d); },
        [](const ref::Image& s) { return ref::Filter(s, g_kernel, 3, 15, 2).image; });
}
void Contour(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d); }, [](const ref::Image& s) { return ref::Contour(s).image; });
}
void Jitter(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, 3, d); }, [](const ref::Image& s) { return ref::Jitter(s, 3).image; });
}
void Noise(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, 30, d); }, [](const ref::Image& s) { return ref::Noise(s, 30).image; });
}
void Median(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, 3, d); }, [](const ref::Image& s) { return ref::Median(s, 3).image; });
}
void Emboss(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d); }, [](const ref::Image& s) { return ref::Emboss(s).image; });
}
void Blur(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d); }, [](const ref::Image& s) { return ref::Blur(s).image; });
}
void Soften(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d); }, [](const ref::Image& s) { return ref::Soften(s).image; });
}
void Sharpen(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d); }, [](const ref::Image& s) { return ref::Sharpen(s).image; });
}
void GaussianBlur(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, 1, d); },
        [](const ref::Image& s) { return ref::GaussianBlur(s, 1).image; });
}
void Kernel(Place at) {
    // An image that is not "MONO" gets a new image that is not filled, which no other operation makes.
    short weights[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    New([&](IVEL* s, IVEL** d) { return at(s, &weights[0], 3, 5, 1, d); },
        [&](const ref::Image& s) { return ref::Kernel(s, weights, 3, 5, 1).image; });
}

void CircleTransform(Place at) {
    InPlace([&](IVEL* i) { return at(i, 1, 0); },
            [](ref::Image& i) {
                const ref::Made made = ref::CircleTransform(i, 1, 0);
                i = made.image;
                return made.code;
            });
}

void Flip(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d); }, [](const ref::Image& s) { return ref::Flip(s, kHost); });
}
void Mirror(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d); }, [](const ref::Image& s) { return ref::Mirror(s, kHost); });
}
void Rotate(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d, 30, 2, 0, 1); },
        [](const ref::Image& s) { return ref::Rotate(s, 30, 2, false, true, kHost).image.value(); });
}
void Skew(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d, 0.25f, 0.5f, 3, 4, 0, 0); },
        [](const ref::Image& s) { return ref::Skew(s, 0.25f, 0.5f, 3, 4, false, kHost); });
}
void Resample(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d, 20, 6, 2, 0); },
        [](const ref::Image& s) { return ref::Resample(s, 20, 6, 2, 0, kHost).value(); });
}
void IncreaseBpp(Place at) {
    New([&](IVEL* s, IVEL** d) { return at(s, d, 32, static_cast<unsigned int>(ref::kArgb)); },
        [](const ref::Image& s) { return ref::IncreaseBpp(s, 32, ref::kArgb, kHost).image.value(); });
}
void RotatePaste(Place at) {
    const auto source = TestImage::New(Sample(5));
    InPlace([&](IVEL* i) { return at(static_cast<IVEL*>(source.Get()), i, 0.5, 2, -1); },
            [](ref::Image& i) {
                ref::RotatePaste(Sample(5), i, 0.5, 2, -1);
                return ref::kOk;
            },
            Sample(6, 24, ref::kBgr, 20, 20));
}
void FlipBits(Place at) {
    InPlace([&](IVEL* i) { return at(i); },
            [](ref::Image& i) {
                ref::FlipBits(i);
                return ref::kOk;
            });
}
void Rotate4(Place at) {
    const auto source = TestImage::New(Sample(7));
    const auto destination = TestImage::New();
    EXPECT_EQ(at(static_cast<IVEL*>(source.Get()), static_cast<IVELImage*>(destination.Get()), 90), S_OK);
    EXPECT_TRUE(SamePixels(ref::Rotate4(Sample(7), 90, kHost).value(), destination));
}
void Quad(Place at) {
    const double corners[8] = {1, 1, 10, 2, 0, 7, 11, 8};
    New([&](IVEL* s,
            IVEL** d) { return at(s, d, 1.0, 1.0, 10.0, 2.0, 0.0, 7.0, 11.0, 8.0, 9u, 6u, static_cast<short>(1)); },
        [&](const ref::Image& s) { return ref::QuadRegion(s, corners, 9, 6, 1, kHost); });
}
void Transform(Place at) {
    Shift shift;
    New(
        [&](IVEL* s, IVEL** d) {
            return at(static_cast<ITransform*>(&shift), s, d, 0, 0, 8u, 7u, static_cast<short>(0),
                      static_cast<short>(0));
        },
        [](const ref::Image& s) { return ref::Transform(Shift::Map, s, 0, 0, 8, 7, kHost).image.value(); });
}
void TransformPaste(Place at) {
    Shift shift;
    const auto source = TestImage::New(Sample(8));
    InPlace(
        [&](IVEL* i) {
            return at(static_cast<ITransform*>(&shift), static_cast<IVEL*>(source.Get()), i, 1, 2,
                      static_cast<short>(0), static_cast<short>(0));
        },
        [](ref::Image& i) {
            ref::TransformPaste(Shift::Map, Sample(8), i, 1, 2, 0);
            return ref::kOk;
        },
        Sample(9));
}
void FillVoids(Place at) {
    ref::Image holes = Sample(10);
    for (int64_t i = 0; i < 3; ++i) holes.Put(4, 15 + i, 0), holes.Put(6, 21 + i, 0);
    const auto image = TestImage::New(holes);
    ref::Image expected = holes;
    const int32_t code = ref::FillVoids(expected);
    EXPECT_EQ(at(static_cast<IVEL*>(image.Get())), code);
    EXPECT_TRUE(SameBytes(expected, image));
}

void Equal(Place at) {
    InPlace([&](IVEL* i) { return at(i, static_cast<IVEL*>(nullptr), 99); },
            [](ref::Image& i) { return ref::Equal(i, nullptr, 99); }, Sample(11, 8, ref::kMono));
}
void Copy(Place at) {
    const auto source = TestImage::New(Sample(12));
    InPlace([&](IVEL* i) { return at(i, static_cast<IVEL*>(source.Get()), static_cast<IVEL*>(nullptr), 2, 3); },
            [](ref::Image& i) { return ref::Copy(i, Sample(12), 2, 3); }, Sample(13));
}
void AddScale(Place at) {
    const auto first = TestImage::New(Sample(14)), second = TestImage::New(Sample(15));
    InPlace(
        [&](IVEL* i) {
            return at(i, static_cast<IVEL*>(first.Get()), static_cast<IVEL*>(second.Get()), static_cast<IVEL*>(nullptr),
                      0.5f, 0.25f, 3.0f);
        },
        [](ref::Image& i) { return ref::AddScale(i, Sample(14), Sample(15), nullptr, 0.5f, 0.25f, 3.0f); }, Sample(16));
}
void Scale(Place at) {
    const auto source = TestImage::New(Sample(17, 8, ref::kMono));
    InPlace([&](IVEL* i) { return at(i, static_cast<IVEL*>(source.Get()), static_cast<IVEL*>(nullptr), 0.5f, 3.0f); },
            [](ref::Image& i) { return ref::Scale(i, Sample(17, 8, ref::kMono), nullptr, 0.5f, 3.0f); },
            Sample(18, 8, ref::kMono));
}
void Subtract(Place at) {
    const auto first = TestImage::New(Sample(19, 8, ref::kMono)), second = TestImage::New(Sample(20, 8, ref::kMono));
    InPlace([&](IVEL* i) { return at(i, static_cast<IVEL*>(first.Get()), static_cast<IVEL*>(second.Get()), 0); },
            [](ref::Image& i) { return ref::Subtract(i, Sample(19, 8, ref::kMono), Sample(20, 8, ref::kMono), 0); },
            Sample(21, 8, ref::kMono));
}
void CreateDestImage(Place at) {
    const auto model = TestImage::New(Sample(22));
    IVEL* made = nullptr;
    EXPECT_EQ(at(&made, static_cast<IVEL*>(model.Get()), 32, static_cast<int>(ref::kMono)), S_OK);
    ASSERT_NE(made, nullptr);
    const auto result = SmartPtr<IVEL>::Adopt(made);
    EXPECT_TRUE(SamePixels(ref::CreateDestImage(Sample(22), 32, ref::kMono).image, TestImage::Of(made)));
}
void Add(Place at) {
    const auto first = TestImage::New(Sample(23, 8, ref::kMono)), second = TestImage::New(Sample(24, 8, ref::kMono));
    const auto destination = TestImage::New(Sample(25, 8, ref::kMono));
    ref::Image expected = Sample(25, 8, ref::kMono);
    const int32_t code = ref::Add(expected, Sample(23, 8, ref::kMono), Sample(24, 8, ref::kMono), 2.0f);
    EXPECT_EQ(at(static_cast<IVELImage*>(destination.Get()), static_cast<IVEL*>(first.Get()),
                 static_cast<IVEL*>(second.Get()), 2.0f),
              code);
    EXPECT_TRUE(SamePixels(expected, destination));
}
void Scale8(Place at) {
    const auto source = TestImage::New(Sample(26, 8, ref::kMono));
    const auto destination = TestImage::New(Sample(27, 8, ref::kMono));
    ref::Image expected = Sample(27, 8, ref::kMono);
    const int32_t code = ref::Scale8(expected, Sample(26, 8, ref::kMono), 5, 0.75);
    EXPECT_EQ(at(static_cast<IVELImage*>(destination.Get()), static_cast<IVEL*>(source.Get()), 5, 0.75), code);
    EXPECT_TRUE(SamePixels(expected, destination));
}

// ---------------------------------------------------------------------------------------------------------------

struct Operation {
    const char* name;
    void (*check)(Place);
};
#define VEL_OPERATION(name) \
    { #name, name }

struct Table {
    const wchar_t* object;
    const char* interfaceName;
    std::vector<Operation> byInterface;  // from slot 3
    std::vector<Operation> byClass;      // from slot 7
};

const std::vector<Operation> kColour = {VEL_OPERATION(Colorize),
                                        VEL_OPERATION(Lut),
                                        VEL_OPERATION(Negative),
                                        VEL_OPERATION(GrayScale),
                                        VEL_OPERATION(ShiftRGB),
                                        VEL_OPERATION(Gamma),
                                        VEL_OPERATION(Light),
                                        VEL_OPERATION(SetImageAlpha),
                                        VEL_OPERATION(SetImageAlphaTransparency),
                                        VEL_OPERATION(SetImageTransparentPixel),
                                        VEL_OPERATION(Threshold)};
const std::vector<Operation> kArithmetic = {VEL_OPERATION(Equal),    VEL_OPERATION(Copy),
                                            VEL_OPERATION(AddScale), VEL_OPERATION(Scale),
                                            VEL_OPERATION(Subtract), VEL_OPERATION(CreateDestImage),
                                            VEL_OPERATION(Add),      VEL_OPERATION(Scale8)};

const Table kTables[] = {
    {L"VELColorTransform", "IVELColorTransform", kColour, kColour},
    {L"VELFilterTransform",
     "IVELFilterTransform",
     {VEL_OPERATION(Erode), VEL_OPERATION(Edge), VEL_OPERATION(Dilate), VEL_OPERATION(Filter), VEL_OPERATION(Contour),
      VEL_OPERATION(Jitter), VEL_OPERATION(Noise), VEL_OPERATION(Median), VEL_OPERATION(Emboss), VEL_OPERATION(Blur),
      VEL_OPERATION(Soften), VEL_OPERATION(Sharpen), VEL_OPERATION(GaussianBlur)},
     {VEL_OPERATION(GaussianBlur), VEL_OPERATION(Sharpen), VEL_OPERATION(Soften), VEL_OPERATION(Blur),
      VEL_OPERATION(Emboss), VEL_OPERATION(Median), VEL_OPERATION(Noise), VEL_OPERATION(Jitter), VEL_OPERATION(Contour),
      VEL_OPERATION(Filter), VEL_OPERATION(Dilate), VEL_OPERATION(Edge), VEL_OPERATION(Erode), VEL_OPERATION(Kernel)}},
    {L"VELDeform", "IVELDeform", {VEL_OPERATION(CircleTransform)}, {VEL_OPERATION(CircleTransform)}},
    {L"VELTransform",
     "IVELTransform",
     {VEL_OPERATION(Flip), VEL_OPERATION(Mirror), VEL_OPERATION(Rotate), VEL_OPERATION(Skew), VEL_OPERATION(Resample),
      VEL_OPERATION(IncreaseBpp), VEL_OPERATION(RotatePaste), VEL_OPERATION(FlipBits), VEL_OPERATION(Quad),
      VEL_OPERATION(Transform), VEL_OPERATION(TransformPaste)},
     {VEL_OPERATION(IncreaseBpp), VEL_OPERATION(Resample), VEL_OPERATION(Skew), VEL_OPERATION(Rotate),
      VEL_OPERATION(RotatePaste), VEL_OPERATION(Mirror), VEL_OPERATION(Flip), VEL_OPERATION(FlipBits),
      VEL_OPERATION(Rotate4), VEL_OPERATION(Quad), VEL_OPERATION(Transform), VEL_OPERATION(TransformPaste),
      VEL_OPERATION(FillVoids)}},
    {L"VELMaths", "IVELMaths", kArithmetic, kArithmetic},
};
#undef VEL_OPERATION

void PrintTo(const Table& table, std::ostream* out) { *out << table.interfaceName; }

class Slots : public test::ModuleTest, public testing::WithParamInterface<Table> {
protected:
    void SetUp() override {
        test::ModuleTest::SetUp();
        primary = module->Create(GetParam().object, test::kUnknownId);
        ASSERT_NE(primary, nullptr);
    }
    void TearDown() override {
        if (primary) {
            EXPECT_EQ(CallSlot<uint32_t>(primary, 2), 0u);
        }
        test::ModuleTest::TearDown();
    }
    void* Part(size_t offset) const { return static_cast<char*>(primary) + offset; }
    uint32_t Count() const {
        uint32_t count;
        std::memcpy(&count, Part(8), sizeof count);
        return count;
    }

    void* primary = nullptr;
};

TEST_P(Slots, InterfaceTableFromSlot3) {
    for (size_t i = 0; i < GetParam().byInterface.size(); ++i) {
        SCOPED_TRACE(GetParam().byInterface[i].name);
        GetParam().byInterface[i].check(Place(Part(24), static_cast<int>(3 + i)));
    }
    EXPECT_EQ(Count(), 1u);
}

TEST_P(Slots, ClassTableFromSlot7) {
    for (size_t i = 0; i < GetParam().byClass.size(); ++i) {
        SCOPED_TRACE(GetParam().byClass[i].name);
        GetParam().byClass[i].check(Place(primary, static_cast<int>(7 + i)));
    }
    EXPECT_EQ(Count(), 1u);
}

TEST_P(Slots, UnknownsThreeStandAtTheBeginningOfAllThreeParts) {
    for (const size_t offset : {0, 16, 24}) {
        SCOPED_TRACE(offset);
        void* part = Part(offset);
        const IID wanted = test::kUnknownId;
        void* answer = nullptr;
        EXPECT_EQ((CallSlot<HRESULT, const IID*, void**>(part, 0, &wanted, &answer)), S_OK);
        EXPECT_EQ(answer, primary);
        EXPECT_EQ(Count(), 2u);
        EXPECT_EQ(CallSlot<uint32_t>(part, 1), 3u);
        EXPECT_EQ(CallSlot<uint32_t>(part, 2), 2u);
        EXPECT_EQ(CallSlot<uint32_t>(part, 2), 1u);
        EXPECT_EQ(Count(), 1u);
    }
}

TEST_P(Slots, FinalConstructFinalReleaseLockAndUnlockStandFrom3To6) {
    EXPECT_EQ(CallSlot<HRESULT>(primary, 3), S_OK);
    CallSlot<void>(primary, 4);
    CallSlot<void>(primary, 5);
    CallSlot<void>(primary, 6);
    EXPECT_EQ(Count(), 1u);
}

TEST_P(Slots, GetNameStandsAt3OfTheObjectInfoPart) {
    for (const int index : {0, 1, -1, INT32_MAX}) {
        tagREFString name{-1, nullptr};
        EXPECT_EQ((CallSlot<HRESULT, int32_t, tagREFString*>(Part(16), 3, index, &name)), S_OK);
        ASSERT_GE(name.length, 0);
        EXPECT_EQ(std::wstring(name.text, static_cast<size_t>(name.length)), GetParam().object);
    }
}

TEST_P(Slots, PartsLieAt0And16And24AndTheCountAt8) {
    const auto query = [&](const IID& iid) {
        void* answer = nullptr;
        EXPECT_EQ((CallSlot<HRESULT, const IID*, void**>(primary, 0, &iid, &answer)), S_OK);
        CallSlot<uint32_t>(primary, 2);
        return answer;
    };
    EXPECT_EQ(Count(), 1u);
    EXPECT_EQ(query(test::kUnknownId), primary);
    EXPECT_EQ(query(test::InterfaceId("IObjectInfo")), Part(16));
    EXPECT_EQ(query(test::InterfaceId(GetParam().interfaceName)), Part(24));
    EXPECT_EQ(CallSlot<uint32_t>(primary, 1), 2u);
    EXPECT_EQ(Count(), 2u);
    CallSlot<uint32_t>(primary, 2);
}

std::string NameOf(const testing::TestParamInfo<Table>& table) { return table.param.interfaceName; }
INSTANTIATE_TEST_SUITE_P(Slots, Slots, testing::ValuesIn(kTables), NameOf);

}  // namespace
