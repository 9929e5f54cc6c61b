#include "support/Geometry.h"

namespace test {
namespace {

// Places in the class's own table that no interface reaches.
constexpr int kRotate4Slot = 15, kFillVoidsSlot = 19;

ref::Image CreatedBy(const StoreRecipe& recipe, uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel,
                     uint32_t format) {
    const uint64_t rowBytes = (uint64_t{width} * bitsPerPixel + 7) / 8;
    const int32_t stride = static_cast<int32_t>((rowBytes + 3) / 4 * 4) + recipe.padding;
    ref::Image image(width, height, planes, bitsPerPixel, format, recipe.bottomUp ? -stride : stride);
    for (std::vector<uint8_t>& plane : image.store) plane.assign(plane.size(), recipe.fill);
    return image;
}

}  // namespace

SmartPtr<TestMapping> TestMapping::New(ref::Mapping map) {
    return SmartPtr<TestMapping>::Adopt(new TestMapping(std::move(map)));
}

HRESULT TestMapping::QueryInterface(const IID& iid, void** object) {
    *object = nullptr;
    if (!(iid == kUnknownId || iid == InterfaceId("ITransform"))) return E_NOINTERFACE;
    *object = static_cast<ITransform*>(this);
    Up();
    return S_OK;
}

uint32_t TestMapping::Release() {
    const uint32_t count = Down();
    if (count == 0) delete this;
    return count;
}

HRESULT TestMapping::TransformPoint(double* x, double* y, double* z) {
    const int call = static_cast<int>(points.size());
    points.push_back({*x, *y, *z});
    if (call == throwAt) throw HostError("thrown by the mapping");
    m_map(*x, *y, *z);
    return answer;
}

void GeometryTest::SetUp() {
    ModuleTest::SetUp();
    transform = Make<IVELTransform>();
    identity = TestMapping::New([](double&, double&, double&) {});
    UseRecipe({});
}

void GeometryTest::TearDown() {
    transform.Clear();
    if (identity.Get()) {
        EXPECT_EQ(identity->Count(), 1u);
    }
    identity.Clear();
    ModuleTest::TearDown();
}

void GeometryTest::UseRecipe(const StoreRecipe& recipe) {
    collection->recipe = recipe;
    host.create = [recipe](uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format) {
        return CreatedBy(recipe, width, height, planes, bitsPerPixel, format);
    };
}

HRESULT GeometryTest::Rotate4(IVEL* source, IVELImage* destination, int angle) const {
    SmartPtr<IUnknown> object;
    transform->QueryInterface(kUnknownId, object.Receive());
    return CallSlot<HRESULT>(object.Get(), kRotate4Slot, source, destination, angle);
}

HRESULT GeometryTest::FillVoids(IVEL* image) const {
    SmartPtr<IUnknown> object;
    transform->QueryInterface(kUnknownId, object.Receive());
    return CallSlot<HRESULT>(object.Get(), kFillVoidsSlot, image);
}

SmartPtr<TestImage> GeometryTest::Handed(IVEL* image) {
    if (!image) {
        ADD_FAILURE() << "No image was handed out.";
        return TestImage::New();
    }
    SmartPtr<TestImage> handed = SmartPtr<TestImage>::Adopt(Behind(image));
    EXPECT_EQ(handed->Count(), 1u) << "The caller's reference is to be the only one.";
    return handed;
}

std::vector<GeometryTest::Maker> GeometryTest::Makers() const {
    IVELTransform* t = transform.Get();
    ITransform* mapping = identity.Get();
    return {
        {"Flip", [t](IVEL* source, IVEL** out) { return t->Flip(source, out); }},
        {"Mirror", [t](IVEL* source, IVEL** out) { return t->Mirror(source, out); }},
        {"Rotate 45", [t](IVEL* source, IVEL** out) { return t->Rotate(source, out, 45, 4, 0, 0); }},
        {"Rotate 90", [t](IVEL* source, IVEL** out) { return t->Rotate(source, out, 90, 4, 0, 0); }},
        {"Rotate 180", [t](IVEL* source, IVEL** out) { return t->Rotate(source, out, 180, 4, 0, 0); }},
        {"Skew", [t](IVEL* source, IVEL** out) { return t->Skew(source, out, 0.5f, 0.25f, 0, 0, 0, 0); }},
        {"Resample down", [t](IVEL* source, IVEL** out) { return t->Resample(source, out, 5, 4, 4, 0); }},
        {"Resample up", [t](IVEL* source, IVEL** out) { return t->Resample(source, out, 40, 30, 4, 0); }},
        {"IncreaseBpp", [t](IVEL* source, IVEL** out) { return t->IncreaseBpp(source, out, 32, ref::kArgb); }},
        {"Quad", [t](IVEL* source, IVEL** out) { return t->Quad(source, out, 1, 1, 9, 2, 2, 8, 10, 9, 7, 6, 1); }},
        {"Transform",
         [t, mapping](IVEL* source, IVEL** out) { return t->Transform(mapping, source, out, 1, 2, 0, 0, 0, 0); }},
    };
}

ref::Image GreyImage(std::initializer_list<std::initializer_list<int>> rows) {
    const uint32_t width = rows.size() ? static_cast<uint32_t>(rows.begin()->size()) : 0;
    return ImageOf(width, 8, ref::kMono, rows);
}

}  // namespace test
