// A host written for tests: images, collection and strings with exact counted references, guarded pixel memory, calls
// that are recorded and calls that can be refused.
//
// Every object counts as live from New to its last Release; LiveObjects() is 0 when nothing leaked. A broken guard, a
// Release too many or a call on a dead object is a test failure by itself.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Interface.h"
#include "SmartPtr.h"
#include "reference/Image.h"
#include "reference/Made.h"

namespace test {

// The identifier rule, written once more for the tests, so that nothing here depends on the module's own.
IID InterfaceId(const std::string& name);
extern const IID kUnknownId;

// Objects of the test host that are alive.
int LiveObjects();

// Thrown by test host calls that were told to.
struct HostError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The reference count that all objects share.
class Counted {
public:
    uint32_t Count() const { return m_count; }

protected:
    Counted();
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted();
    uint32_t Up();
    uint32_t Down();

private:
    uint32_t m_count = 1;
    uint32_t m_alive;
};

// Pixel memory of one plane between two guard zones. Under AddressSanitizer touching a guard is an error at once;
// everywhere else Intact() finds a write.
class GuardedBlock {
public:
    // `misalign` (0 to 63) moves the first byte off the 64-byte boundary.
    GuardedBlock(size_t bytes, size_t misalign);
    GuardedBlock(GuardedBlock&& other) noexcept;
    GuardedBlock& operator=(GuardedBlock&& other) noexcept;
    ~GuardedBlock();
    uint8_t* Data() const { return m_data; }
    size_t Size() const { return m_size; }
    bool Intact() const;

private:
    void Swap(GuardedBlock& other);
    uint8_t* m_memory = nullptr;
    uint8_t* m_data = nullptr;
    size_t m_size = 0;
};

// How Create lays out a new store.
struct StoreRecipe {
    int32_t padding = 0;               // bytes of each row beyond the next multiple of 4
    bool bottomUp = false;             // negative stride
    uint8_t fill = ref::kCreatedByte;  // every byte of a new store
    size_t misalign = 0;
    bool strideInValues = false;  // GetBits answers the stride as a count of 32-bit values
};

enum class Call {
    GetSize,
    GetFormat,
    GetBits,
    Create,
    Assign,
    FillColor,
    CreateObject,
    FindComponent,
    GetComponent,
    CreateInstance,
    SetField,
    Append,
    GetString
};

// What an image refuses. A refused call returns E_FAIL and leaves its outputs as they were.
struct ImageFaults {
    bool getSize = false, getFormat = false, getBits = false;
    bool create = false;        // Create fails and leaves no store
    bool createSilent = false;  // Create answers S_OK and leaves no store
    bool nullBits = false;      // GetBits answers a null pointer with S_OK
    bool noIVELImage = false;   // QueryInterface refuses IVELImage
    bool assign = false;        // Assign fails and changes nothing
};

struct CreateArguments {
    uint32_t width, height, planes, bitsPerPixel, format;
    bool operator==(const CreateArguments&) const = default;
};

// What was called on an image, in order; arguments of each kind in order.
struct ImageLog {
    std::vector<Call> calls;
    std::vector<CreateArguments> created;
    std::vector<std::pair<IVEL*, int32_t>> assigned;
    std::vector<uint32_t> filled;
};

// Throws HostError from the (skip + 1)th call of that kind.
struct Bomb {
    bool armed = false;
    Call call = Call::GetSize;
    int skip = 0;
    void Arm(Call which, int callsBefore = 0) { *this = {true, which, callsBefore}; }
    void Pass(Call which);
};

class TestImage final : public Counted, public IVELImageDIB, public IVELImagePalette {
public:
    // An image with that content, bytes of row padding included, in memory of its own.
    static SmartPtr<TestImage> New(const ref::Image& content, size_t misalign = 0);
    // An image without a pixel store.
    static SmartPtr<TestImage> New();
    // The test host's image behind an interface, with a reference of its own; a test failure when it is none.
    static SmartPtr<TestImage> Of(IVEL* image);

    // The content now; `store` is empty when there are no pixels.
    ref::Image Content() const;
    void SetContent(const ref::Image& content, size_t misalign = 0);
    // Every plane's guards are whole.
    bool GuardsIntact() const;

    ImageFaults faults;
    Bomb bomb;
    StoreRecipe recipe;
    // Outlives the image when somebody keeps it.
    const std::shared_ptr<ImageLog> log = std::make_shared<ImageLog>();

    HRESULT QueryInterface(const IID& iid, void** object) override;
    uint32_t AddRef() override { return Up(); }
    uint32_t Release() override;
    HRESULT GetSize(uint32_t* width, uint32_t* height, uint32_t* planes) override;
    HRESULT GetFormat(uint32_t* bitsPerPixel, uint32_t* format, uint32_t* unused) override;
    HRESULT GetBits(uint32_t plane, uint32_t* unused, uint8_t** bits, int32_t* stride) override;
    HRESULT Create(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format) override;
    HRESULT Reserved5() override;
    HRESULT Assign(IVEL* image, int32_t flags) override;
    HRESULT FillColor(uint32_t colour) override;
    HRESULT Reserved1() override;
    HRESULT GetPalette(const RGBQUAD** entries, uint32_t* count) override;

private:
    TestImage() = default;
    ~TestImage();
    void Enter(Call call);

    ref::Image m_shape;  // everything but the bytes
    std::vector<GuardedBlock> m_blocks;
    std::vector<RGBQUAD> m_palette;
};

class TestCollection;

class TestString final : public Counted, public ICreatableString {
public:
    // `owner` sees what happens to the string, for as long as it lives; it may be null.
    static SmartPtr<TestString> New(TestCollection* owner = nullptr);
    std::wstring text;

    HRESULT QueryInterface(const IID& iid, void** object) override;
    uint32_t AddRef() override { return Up(); }
    uint32_t Release() override;
    HRESULT GetString(tagREFString* out) override;
    HRESULT Append(int32_t count, const wchar_t* characters) override;

private:
    TestString() = default;
    std::shared_ptr<TestCollection*> m_owner;
};

// Makes objects of the component that fields 1 (object) and 4 (module) name.
class TestComponentString final : public Counted, public IComponentString {
public:
    // `owner` says how objects are made, for as long as it lives; it may be null.
    static SmartPtr<TestComponentString> New(TestCollection* owner, const std::wstring& object = L"");
    std::wstring fields[8];

    HRESULT QueryInterface(const IID& iid, void** object) override;
    uint32_t AddRef() override { return Up(); }
    uint32_t Release() override;
    HRESULT GetField(int32_t field, tagREFString* text) override;
    HRESULT CreateInstance(const IID* iid, void** object) override;
    HRESULT SetField(int32_t field, int32_t length, const wchar_t* text) override;

private:
    TestComponentString() = default;
    std::shared_ptr<TestCollection*> m_owner;
};

struct CreateObjectArguments {
    std::wstring name;
    bool nullId;
    IID iid;
};

class TestCollection final : public Counted, public IComponentCollection {
public:
    static SmartPtr<TestCollection> New();

    bool refuseImages = false;               // "VELImageDIB" cannot be made, by any route
    bool refuseStrings = false;              // "CreatableString" cannot be made
    bool refuseFind = false;                 // FindComponent finds nothing
    bool refuseGet = false;                  // GetComponent gives null
    bool componentWithoutInterface = false;  // the component found is no IComponentString
    Bomb bomb;
    // Copied into every image made.
    StoreRecipe recipe;
    ImageFaults imageFaults;
    Bomb imageBomb;
    std::vector<Call> calls;
    std::vector<CreateObjectArguments> objects;
    std::vector<std::wstring> looked;               // names given to FindComponent
    std::vector<int32_t> appends;                   // counts given to Append of the strings made
    std::vector<std::shared_ptr<ImageLog>> images;  // logs of the images made, in order

    SmartPtr<TestImage> MakeImage();
    // This collection, or null once it is gone.
    std::shared_ptr<TestCollection*> Weak() const { return m_self; }

    HRESULT QueryInterface(const IID& iid, void** object) override;
    uint32_t AddRef() override { return Up(); }
    uint32_t Release() override;
    HRESULT GetComponent(int32_t index, IUnknown** component) override;
    HRESULT FindComponent(IString* name, int32_t* index) override;
    HRESULT CreateObject(int32_t length, const wchar_t* name, const IID* iid, void** object) override;
    HRESULT Reserved3() override { return Unexpected(); }
    HRESULT Reserved4() override { return Unexpected(); }
    HRESULT Reserved5() override { return Unexpected(); }
    HRESULT Reserved6() override { return Unexpected(); }
    HRESULT Reserved7() override { return Unexpected(); }
    HRESULT Reserved8() override { return Unexpected(); }
    HRESULT Reserved9() override { return Unexpected(); }
    HRESULT Reserved10() override { return Unexpected(); }
    HRESULT Reserved11() override { return Unexpected(); }
    HRESULT Reserved12() override { return Unexpected(); }

private:
    TestCollection() : m_self(std::make_shared<TestCollection*>(this)) {}
    ~TestCollection() { *m_self = nullptr; }
    HRESULT Unexpected();
    const std::shared_ptr<TestCollection*> m_self;
};

}  // namespace test
