#include "support/TestHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "reference/Pixel.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEL_TEST_ASAN 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define VEL_TEST_ASAN 1
#endif
#if defined(VEL_TEST_ASAN)
#include <sanitizer/asan_interface.h>
#endif

namespace test {

IID InterfaceId(const std::string& name) {
    bool bits[128] = {};
    for (size_t i = 0; i < name.size() && i < 25; ++i) {
        const char c = name[i];
        int code = 27;
        if (c >= 'A' && c <= 'Z') code = c - 'A' + 1;
        if (c >= 'a' && c <= 'z') code = c - 'a' + 1;
        if (c >= '0' && c <= '4') code = c - '0' + 28;
        for (size_t bit = 0; bit < 6; ++bit) {
            if (code & (1 << bit)) bits[5 * i + bit] = true;
        }
    }
    IID iid{};
    for (int bit = 0; bit < 128; ++bit) {
        if (bits[bit]) iid.word[bit / 32] |= 1u << (bit % 32);
    }
    return iid;
}

const IID kUnknownId = {{0, 0, 0x000000C0, 0x46000000}};

namespace {

std::atomic<int> g_live{0};
constexpr uint32_t kAlive = 0xA11FE5ED, kDead = 0xDEADDEAD;
constexpr size_t kGuard = 1024;  // bytes on each side; a multiple of 64

// The object itself, for tests that get their own image back as an interface.
const IID kTestImageId = InterfaceId("TestImage");

uint8_t GuardByte(size_t i) { return static_cast<uint8_t>(0x5A + 37 * i); }

}  // namespace

int LiveObjects() { return g_live; }

Counted::Counted() : m_alive(kAlive) { ++g_live; }

Counted::~Counted() {
    m_alive = kDead;
    --g_live;
}

uint32_t Counted::Up() {
    if (m_alive != kAlive || m_count == 0) ADD_FAILURE() << "AddRef on a dead object";
    return ++m_count;
}

uint32_t Counted::Down() {
    if (m_alive != kAlive || m_count == 0) {
        ADD_FAILURE() << "Release on a dead object";
        std::abort();
    }
    return --m_count;
}

// ---------------------------------------------------------------------------------------------------------------

GuardedBlock::GuardedBlock(size_t bytes, size_t misalign) : m_size(bytes) {
    const size_t total = (kGuard + misalign + bytes + kGuard + 63) / 64 * 64;
    m_memory = static_cast<uint8_t*>(std::aligned_alloc(64, total));
    if (!m_memory) throw std::bad_alloc();
    m_data = m_memory + kGuard + misalign;
    for (uint8_t* p = m_memory; p < m_data; ++p) *p = GuardByte(static_cast<size_t>(p - m_memory));
    std::memset(m_data, 0, bytes);
    for (size_t i = 0; i < kGuard; ++i) m_data[bytes + i] = GuardByte(i);
#if defined(VEL_TEST_ASAN)
    __asan_poison_memory_region(m_memory, static_cast<size_t>(m_data - m_memory));
    __asan_poison_memory_region(m_data + bytes, kGuard);
#endif
}

GuardedBlock::GuardedBlock(GuardedBlock&& other) noexcept { Swap(other); }

GuardedBlock& GuardedBlock::operator=(GuardedBlock&& other) noexcept {
    Swap(other);
    return *this;
}

void GuardedBlock::Swap(GuardedBlock& other) {
    std::swap(m_memory, other.m_memory);
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
}

GuardedBlock::~GuardedBlock() {
    if (!m_memory) return;
    EXPECT_TRUE(Intact()) << "A byte outside the pixel block was written.";
#if defined(VEL_TEST_ASAN)
    __asan_unpoison_memory_region(m_memory, static_cast<size_t>(m_data - m_memory) + m_size + kGuard);
#endif
    std::free(m_memory);
}

// Reads poisoned memory on purpose.
#if defined(VEL_TEST_ASAN)
__attribute__((no_sanitize("address")))
#endif
bool GuardedBlock::Intact() const {
    bool intact = true;
    for (const uint8_t* p = m_memory; p < m_data; ++p) intact &= *p == GuardByte(static_cast<size_t>(p - m_memory));
    for (size_t i = 0; i < kGuard; ++i) intact &= m_data[m_size + i] == GuardByte(i);
    return intact;
}

void Bomb::Pass(Call which) {
    if (!armed || which != call || skip-- > 0) return;
    armed = false;
    throw HostError("thrown by the host");
}

// ---------------------------------------------------------------------------------------------------------------

SmartPtr<TestImage> TestImage::New() { return SmartPtr<TestImage>::Adopt(new TestImage); }

SmartPtr<TestImage> TestImage::New(const ref::Image& content, size_t misalign) {
    SmartPtr<TestImage> image = New();
    image->SetContent(content, misalign);
    return image;
}

TestImage::~TestImage() = default;

SmartPtr<TestImage> TestImage::Of(IVEL* image) {
    SmartPtr<TestImage> own;
    if (image) image->QueryInterface(kTestImageId, own.Receive());
    if (!own.Get()) ADD_FAILURE() << "This is no image of the test host.";
    return own;
}

void TestImage::SetContent(const ref::Image& content, size_t misalign) {
    m_blocks.clear();
    for (const std::vector<uint8_t>& plane : content.store) {
        m_blocks.emplace_back(plane.size(), misalign);
        if (!plane.empty()) std::memcpy(m_blocks.back().Data(), plane.data(), plane.size());
    }
    m_shape = content;
    m_shape.store.clear();
    m_palette.clear();
    for (const ref::Quad& q : content.palette) m_palette.push_back({q.blue, q.green, q.red, q.reserved});
}

ref::Image TestImage::Content() const {
    ref::Image content = m_shape;
    for (const GuardedBlock& block : m_blocks) content.store.emplace_back(block.Data(), block.Data() + block.Size());
    return content;
}

bool TestImage::GuardsIntact() const {
    for (const GuardedBlock& block : m_blocks) {
        if (!block.Intact()) return false;
    }
    return true;
}

void TestImage::Enter(Call call) {
    log->calls.push_back(call);
    bomb.Pass(call);
}

HRESULT TestImage::QueryInterface(const IID& iid, void** object) {
    *object = nullptr;
    if (iid == kUnknownId || iid == InterfaceId("IVEL") || iid == InterfaceId("IVELImageDIB")) {
        *object = static_cast<IVELImageDIB*>(this);
    } else if (iid == InterfaceId("IVELImage") && !faults.noIVELImage) {
        *object = static_cast<IVELImage*>(this);
    } else if (iid == InterfaceId("IVELImagePalette")) {
        *object = static_cast<IVELImagePalette*>(this);
    } else if (iid == kTestImageId) {
        *object = this;
    }
    if (!*object) return E_NOINTERFACE;
    Up();
    return S_OK;
}

uint32_t TestImage::Release() {
    const uint32_t count = Down();
    if (count == 0) delete this;
    return count;
}

HRESULT TestImage::GetSize(uint32_t* width, uint32_t* height, uint32_t* planes) {
    Enter(Call::GetSize);
    if (faults.getSize) return E_FAIL;
    *width = m_shape.width;
    *height = m_shape.height;
    *planes = m_shape.planes;
    return S_OK;
}

HRESULT TestImage::GetFormat(uint32_t* bitsPerPixel, uint32_t* format, uint32_t* unused) {
    Enter(Call::GetFormat);
    if (faults.getFormat) return E_FAIL;
    *bitsPerPixel = m_shape.bitsPerPixel;
    *format = m_shape.format;
    if (unused) *unused = 0xBADBADBA;
    return S_OK;
}

HRESULT TestImage::GetBits(uint32_t plane, uint32_t* unused, uint8_t** bits, int32_t* stride) {
    Enter(Call::GetBits);
    if (faults.getBits) return E_FAIL;
    if (unused) *unused = 0xBADBADBA;
    *bits = nullptr;
    *stride = recipe.strideInValues ? m_shape.stride / 4 : m_shape.stride;
    if (faults.nullBits) return S_OK;
    if (plane >= m_blocks.size()) return E_FAIL;
    const bool rows = m_blocks[plane].Size() > 0;
    *bits = m_blocks[plane].Data() + (rows ? m_shape.Position(0, 0) : 0);
    return S_OK;
}

HRESULT TestImage::Create(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format) {
    log->created.push_back({width, height, planes, bitsPerPixel, format});
    Enter(Call::Create);
    if (faults.create || faults.createSilent) {
        m_blocks.clear();
        m_shape = ref::Image();
        return faults.create ? E_FAIL : S_OK;
    }
    ref::Image shape(width, 0, planes, bitsPerPixel, format);
    const int32_t stride = static_cast<int32_t>((shape.RowBytes() + 3) / 4 * 4) + recipe.padding;
    shape = ref::Image(width, height, planes, bitsPerPixel, format, recipe.bottomUp ? -stride : stride);
    for (std::vector<uint8_t>& plane : shape.store) plane.assign(plane.size(), recipe.fill);
    SetContent(shape, recipe.misalign);
    return S_OK;
}

HRESULT TestImage::Reserved5() {
    ADD_FAILURE() << "Position 5 of the image interface is not the module's to call.";
    return E_FAIL;
}

HRESULT TestImage::Assign(IVEL* image, int32_t flags) {
    log->assigned.emplace_back(image, flags);
    Enter(Call::Assign);
    const SmartPtr<TestImage> other = Of(image);
    if (!other.Get() || faults.assign) return E_FAIL;
    SetContent(other->Content());
    return S_OK;
}

HRESULT TestImage::FillColor(uint32_t colour) {
    log->filled.push_back(colour);
    Enter(Call::FillColor);
    ref::Image content = Content();
    ref::FillColor(content, colour);
    for (size_t plane = 0; plane < m_blocks.size(); ++plane) {
        if (m_blocks[plane].Size())
            std::memcpy(m_blocks[plane].Data(), content.store[plane].data(), m_blocks[plane].Size());
    }
    return S_OK;
}

HRESULT TestImage::Reserved1() {
    ADD_FAILURE() << "Position 1 of the palette interface is not the module's to call.";
    return E_FAIL;
}

HRESULT TestImage::GetPalette(const RGBQUAD** entries, uint32_t* count) {
    *entries = m_palette.data();
    *count = static_cast<uint32_t>(m_palette.size());
    return S_OK;
}

// ---------------------------------------------------------------------------------------------------------------

SmartPtr<TestString> TestString::New(TestCollection* owner) {
    auto string = SmartPtr<TestString>::Adopt(new TestString);
    if (owner) string->m_owner = owner->Weak();
    return string;
}

HRESULT TestString::QueryInterface(const IID& iid, void** object) {
    *object = nullptr;
    if (!(iid == kUnknownId || iid == InterfaceId("IString") || iid == InterfaceId("ICreatableString"))) {
        return E_NOINTERFACE;
    }
    *object = static_cast<ICreatableString*>(this);
    Up();
    return S_OK;
}

uint32_t TestString::Release() {
    const uint32_t count = Down();
    if (count == 0) delete this;
    return count;
}

HRESULT TestString::GetString(tagREFString* out) {
    if (m_owner && *m_owner) (*m_owner)->bomb.Pass(Call::GetString);
    *out = {static_cast<int32_t>(text.size()), text.data()};
    return S_OK;
}

HRESULT TestString::Append(int32_t count, const wchar_t* characters) {
    if (m_owner && *m_owner) {
        (*m_owner)->appends.push_back(count);
        (*m_owner)->bomb.Pass(Call::Append);
    }
    text.append(characters, static_cast<size_t>(count));
    return S_OK;
}

// ---------------------------------------------------------------------------------------------------------------

SmartPtr<TestComponentString> TestComponentString::New(TestCollection* owner, const std::wstring& object) {
    auto string = SmartPtr<TestComponentString>::Adopt(new TestComponentString);
    if (owner) string->m_owner = owner->Weak();
    string->fields[1] = object;
    return string;
}

HRESULT TestComponentString::QueryInterface(const IID& iid, void** object) {
    *object = nullptr;
    const bool refuse = m_owner && *m_owner && (*m_owner)->componentWithoutInterface;
    if (iid == kUnknownId || (iid == InterfaceId("IComponentString") && !refuse)) {
        *object = static_cast<IComponentString*>(this);
        Up();
        return S_OK;
    }
    return E_NOINTERFACE;
}

uint32_t TestComponentString::Release() {
    const uint32_t count = Down();
    if (count == 0) delete this;
    return count;
}

HRESULT TestComponentString::GetField(int32_t field, tagREFString* text) {
    if (field < 0 || field >= 8) return E_FAIL;
    *text = {static_cast<int32_t>(fields[field].size()), fields[field].data()};
    return S_OK;
}

HRESULT TestComponentString::SetField(int32_t field, int32_t length, const wchar_t* text) {
    if (field < 0 || field >= 8) return E_FAIL;
    fields[field].assign(text, static_cast<size_t>(length));
    return S_OK;
}

HRESULT TestComponentString::CreateInstance(const IID* iid, void** object) {
    *object = nullptr;
    TestCollection* owner = m_owner ? *m_owner : nullptr;
    if (owner) {
        owner->calls.push_back(Call::CreateInstance);
        owner->bomb.Pass(Call::CreateInstance);
    }
    if (fields[1] == L"CreatableString") {
        if (owner && owner->refuseStrings) return E_FAIL;
        return TestString::New(owner)->QueryInterface(*iid, object);
    }
    if (fields[1] == L"VELImageDIB") {
        if (owner && owner->refuseImages) return E_FAIL;
        const SmartPtr<TestImage> image = owner ? owner->MakeImage() : TestImage::New();
        return image->QueryInterface(*iid, object);
    }
    return E_FAIL;
}

// ---------------------------------------------------------------------------------------------------------------

SmartPtr<TestCollection> TestCollection::New() { return SmartPtr<TestCollection>::Adopt(new TestCollection); }

SmartPtr<TestImage> TestCollection::MakeImage() {
    SmartPtr<TestImage> image = TestImage::New();
    image->recipe = recipe;
    image->faults = imageFaults;
    image->bomb = imageBomb;
    images.push_back(image->log);
    return image;
}

HRESULT TestCollection::QueryInterface(const IID& iid, void** object) {
    *object = nullptr;
    if (!(iid == kUnknownId || iid == InterfaceId("IComponentCollection"))) return E_NOINTERFACE;
    *object = static_cast<IComponentCollection*>(this);
    Up();
    return S_OK;
}

uint32_t TestCollection::Release() {
    const uint32_t count = Down();
    if (count == 0) delete this;
    return count;
}

// Index 7 is "VELImageDIB", the only component that modules look up.
HRESULT TestCollection::FindComponent(IString* name, int32_t* index) {
    tagREFString text{};
    name->GetString(&text);
    looked.emplace_back(text.text, static_cast<size_t>(text.length));
    calls.push_back(Call::FindComponent);
    bomb.Pass(Call::FindComponent);
    if (refuseFind || looked.back() != L"VELImageDIB") return E_FAIL;
    *index = 7;
    return S_OK;
}

HRESULT TestCollection::GetComponent(int32_t index, IUnknown** component) {
    *component = nullptr;
    calls.push_back(Call::GetComponent);
    bomb.Pass(Call::GetComponent);
    if (index != 7) {
        ADD_FAILURE() << "GetComponent with an index that FindComponent never gave: " << index;
        return E_FAIL;
    }
    if (refuseGet) return E_FAIL;
    *component = TestComponentString::New(this, L"VELImageDIB").Detach();
    return S_OK;
}

HRESULT TestCollection::CreateObject(int32_t length, const wchar_t* name, const IID* iid, void** object) {
    *object = nullptr;
    objects.push_back({std::wstring(name, static_cast<size_t>(length)), iid == nullptr, iid ? *iid : IID{}});
    calls.push_back(Call::CreateObject);
    bomb.Pass(Call::CreateObject);
    const std::wstring& wanted = objects.back().name;
    if (wanted == L"VELImageDIB" && !refuseImages && iid) return MakeImage()->QueryInterface(*iid, object);
    if (wanted == L"CreatableString" && !refuseStrings && !iid) {
        *object = static_cast<IComponentString*>(TestComponentString::New(this, wanted).Detach());
        return S_OK;
    }
    return E_FAIL;
}

HRESULT TestCollection::Unexpected() {
    ADD_FAILURE() << "A position of the component collection was called that is not the module's to call.";
    return E_FAIL;
}

}  // namespace test
