// SmartPtr: one reference, whatever is assigned to it.
#include "SmartPtr.h"
#include "support/Images.h"

namespace {

using test::TestImage;
using test::TestString;

class SmartPointer : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(test::LiveObjects(), 0); }
    void TearDown() override { EXPECT_EQ(test::LiveObjects(), 0); }
};

TEST_F(SmartPointer, HoldsOneReferenceAndReleasesIt) {
    const auto string = TestString::New();
    {
        SmartPtr<IString> held(string.Get());
        EXPECT_EQ(string->Count(), 2u);
        SmartPtr<IString> copy(held);
        EXPECT_EQ(string->Count(), 3u);
        SmartPtr<IString> moved(std::move(copy));
        EXPECT_EQ(string->Count(), 3u);
        EXPECT_EQ(copy.Get(), nullptr);
    }
    EXPECT_EQ(string->Count(), 1u);
}

TEST_F(SmartPointer, NullIsHeldAndReleasedWithoutACall) {
    SmartPtr<IString> empty, null(nullptr);
    empty = null;
    empty = static_cast<IString*>(nullptr);
    empty.Clear();
    EXPECT_EQ(empty.Get(), nullptr);
    EXPECT_EQ(empty.Detach(), nullptr);
}

TEST_F(SmartPointer, AssignmentReleasesTheOldAndKeepsTheNew) {
    const auto first = TestString::New(), second = TestString::New();
    SmartPtr<TestString> held(first.Get());
    held = second.Get();
    EXPECT_EQ(first->Count(), 1u);
    EXPECT_EQ(second->Count(), 2u);
    held = first;
    EXPECT_EQ(first->Count(), 2u);
    EXPECT_EQ(second->Count(), 1u);
}

TEST_F(SmartPointer, AssigningWhatIsHeldKeepsItAlive) {
    auto held = TestString::New();
    held = held.Get();
    EXPECT_EQ(held->Count(), 1u);
    SmartPtr<TestString>& same = held;
    held = same;
    EXPECT_EQ(held->Count(), 1u);
    held = std::move(same);
    ASSERT_NE(held.Get(), nullptr);
    EXPECT_EQ(held->Count(), 1u);
}

TEST_F(SmartPointer, AdoptTakesTheReferenceOverAndDetachGivesItAway) {
    TestString* raw = TestString::New().Detach();
    EXPECT_EQ(raw->Count(), 1u);
    auto held = SmartPtr<TestString>::Adopt(raw);
    EXPECT_EQ(raw->Count(), 1u);
    EXPECT_EQ(held.Detach(), raw);
    EXPECT_EQ(held.Get(), nullptr);
    EXPECT_EQ(raw->Release(), 0u);
}

TEST_F(SmartPointer, ReceiveReleasesWhatWasHeld) {
    const auto string = TestString::New();
    SmartPtr<IString> held(string.Get());
    void** slot = held.Receive();
    EXPECT_EQ(string->Count(), 1u);
    EXPECT_EQ(*slot, nullptr);
    string->QueryInterface(test::InterfaceId("IString"), slot);
    EXPECT_EQ(held.Get(), static_cast<IString*>(string.Get()));
    EXPECT_EQ(string->Count(), 2u);
}

// An object whose Release looks at the pointer that released it.
struct Watcher final : test::Counted, IUnknown {
    explicit Watcher(SmartPtr<IUnknown>& holder) : m_holder(holder) {}
    HRESULT QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
    uint32_t AddRef() override { return Up(); }
    uint32_t Release() override {
        EXPECT_EQ(m_holder.Get(), nullptr);
        return Down();
    }
    SmartPtr<IUnknown>& m_holder;
};

TEST_F(SmartPointer, ThePointerIsNullBeforeTheOldValueIsReleased) {
    SmartPtr<IUnknown> holder;
    Watcher watcher(holder);
    holder = SmartPtr<IUnknown>::Adopt(&watcher);
    holder.Clear();
    EXPECT_EQ(watcher.Count(), 0u);
}

TEST_F(SmartPointer, TwoInterfacesOfOneObjectAreEqual) {
    const auto image = TestImage::New();
    SmartPtr<IVELImage> asImage;
    SmartPtr<IVELImagePalette> asPalette;
    image->QueryInterface(test::InterfaceId("IVELImage"), asImage.Receive());
    image->QueryInterface(test::InterfaceId("IVELImagePalette"), asPalette.Receive());
    ASSERT_NE(static_cast<void*>(asImage.Get()), static_cast<void*>(asPalette.Get()));
    EXPECT_TRUE(asImage == asPalette.Get());
    EXPECT_TRUE(asPalette == asImage.Get());
    EXPECT_EQ(image->Count(), 3u);
}

TEST_F(SmartPointer, DifferentObjectsAreNotEqualAndOneNullIsNotEqual) {
    const auto first = TestString::New(), second = TestString::New();
    const SmartPtr<IString> held(first.Get()), empty;
    EXPECT_FALSE(held == second.Get());
    EXPECT_FALSE(held == nullptr);
    EXPECT_FALSE(empty == first.Get());
    EXPECT_TRUE(empty == nullptr);
    EXPECT_EQ(first->Count(), 2u);
    EXPECT_EQ(second->Count(), 1u);
}

}  // namespace
