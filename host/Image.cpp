#include "Image.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace velhost {

namespace {

// Before anything of this program or library asks for an interface by IID_<name>.
[[gnu::constructor(101)]] void FillInterfaceIds() { InitialiseInterfaceIds(); }

constexpr uint64_t kRowAlignment = 64;
constexpr uint64_t kMaxSide = INT32_MAX;  // sizes and strides travel as signed 32 bits

std::atomic<uint64_t> gByteLimit{uint64_t{16} << 30};

// Number of StrideInValues scopes alive in this thread.
thread_local int tStrideInValues = 0;

// What the thread's ResultMemory scope offers to the next image; null when there is none or it is taken.
thread_local const Image* tResultMemory = nullptr;

// Copies between images read true strides, whatever the thread's scope says.
class TrueStrides {
public:
    TrueStrides() : m_saved(std::exchange(tStrideInValues, 0)) {}
    ~TrueStrides() { tStrideInValues = m_saved; }

private:
    int m_saved;
};

bool HasPixels(const Shape& shape) { return shape.width != 0 && shape.height != 0; }

// The word's channels, blue in the low bits.
uint32_t Channel(uint32_t colour, int index) { return colour >> (8 * index) & 0xFF; }

// Index of the entry with the least squared distance to the colour, the earliest of equals.
uint32_t NearestEntry(std::span<const RGBQUAD> palette, uint32_t entries, uint32_t colour) {
    uint32_t best = 0, bestDistance = UINT32_MAX;
    const auto square = [](uint32_t a, uint32_t b) { return (a - b) * (a - b); };
    for (uint32_t i = 0; i < std::min<size_t>(palette.size(), entries); ++i) {
        const uint32_t distance = square(palette[i].rgbBlue, Channel(colour, 0)) +
                                  square(palette[i].rgbGreen, Channel(colour, 1)) +
                                  square(palette[i].rgbRed, Channel(colour, 2));
        if (distance < bestDistance) {
            best = i;
            bestDistance = distance;
        }
    }
    return best;
}

// Nearest of the 2^bits grey levels from black to white.
uint32_t NearestGrey(uint32_t bits, uint32_t colour) {
    const uint32_t top = (1u << bits) - 1;
    const uint32_t sum = Channel(colour, 0) + Channel(colour, 1) + Channel(colour, 2);
    return (sum * top * 2 + 765) / (2 * 765);
}

// The byte that fills rows of a low depth with one index.
uint8_t Replicate(uint32_t index, uint32_t bits) {
    return static_cast<uint8_t>(bits == 1 ? index * 0xFF : bits == 4 ? index * 0x11 : index);
}

}  // namespace

// What an image is copied from: an image of any host, asked once for everything.
struct Image::Source {
    struct Plane {
        const uint8_t* bits;
        int32_t stride;
    };
    Shape shape{0, 0, 0, 0, 0};
    std::vector<Plane> planes;  // empty for an image that nothing was created in; one when it has no pixels
    std::vector<RGBQUAD> palette;

    RowOrder Order() const { return planes[0].stride < 0 ? RowOrder::BottomUp : RowOrder::TopDown; }

    HRESULT Read(IVEL* image) {
        if (!image) return E_INVALIDARG;
        try {
            return ReadAll(image);
        } catch (const std::bad_alloc&) {
            return E_FAIL;
        }
    }

private:
    HRESULT ReadAll(IVEL* image) {
        const TrueStrides trueStrides;
        uint32_t unused = 0;
        if (Failed(image->GetSize(&shape.width, &shape.height, &shape.planes)) ||
            Failed(image->GetFormat(&shape.bitsPerPixel, &shape.format, &unused))) {
            return E_FAIL;
        }
        if (shape == Shape{0, 0, 0, 0, 0}) return S_OK;
        if (!IsDepth(shape.bitsPerPixel) || shape.planes == 0) return E_FAIL;
        if (HasPixels(shape) && shape.RowBytes() > Image::ByteLimit() / shape.height / shape.planes) return E_FAIL;
        for (uint32_t p = 0; p < (HasPixels(shape) ? shape.planes : 1); ++p) {
            uint8_t* bits = nullptr;
            int32_t stride = 0;
            if (Failed(image->GetBits(p, &unused, &bits, &stride)) || (!bits && HasPixels(shape))) return E_FAIL;
            planes.push_back({bits, stride});
        }
        SmartPtr<IVELImagePalette> interface;
        image->QueryInterface(MakeInterfaceId("IVELImagePalette"), interface.Receive());
        const RGBQUAD* entries = nullptr;
        uint32_t count = 0;
        if (interface.Get() && !Failed(interface->GetPalette(&entries, &count)) && entries) {
            palette.assign(entries, entries + std::min(count, 256u));
        }
        return S_OK;
    }
};

bool IsDepth(uint32_t bitsPerPixel) {
    return bitsPerPixel == 1 || bitsPerPixel == 4 || bitsPerPixel == 8 || bitsPerPixel == 16 || bitsPerPixel == 24 ||
           bitsPerPixel == 32;
}

StrideInValues::StrideInValues() { ++tStrideInValues; }
StrideInValues::~StrideInValues() { --tStrideInValues; }

ResultMemory::ResultMemory(const Image& target) { tResultMemory = &target; }
ResultMemory::~ResultMemory() { tResultMemory = nullptr; }

SmartPtr<Image> Image::New() { return SmartPtr<Image>::Adopt(new (std::nothrow) Image); }

SmartPtr<Image> Image::Make(const Shape& shape, RowOrder order) {
    SmartPtr<Image> image = New();
    if (image.Get() && image->Allocate(shape, order) != S_OK) image.Clear();
    return image;
}

SmartPtr<Image> Image::Wrap(void* row0, int32_t stride, const Shape& shape, int64_t planeDistance) {
    SmartPtr<Image> image;
    const bool bad = !IsDepth(shape.bitsPerPixel) || shape.planes == 0 || shape.width > kMaxSide ||
                     shape.height > kMaxSide || (!row0 && HasPixels(shape));
    if (bad) return image;
    image = New();
    if (!image.Get()) return image;
    image->m_shape = shape;
    image->m_stride = stride;
    image->m_planeDistance = planeDistance;
    if (HasPixels(shape)) image->m_row0 = static_cast<uint8_t*>(row0);
    return image;
}

SmartPtr<Image> Image::CopyOf(IVEL* image) {
    SmartPtr<Image> copy = New();
    Source source;
    if (copy.Get() && (source.Read(image) != S_OK || copy->CopyFrom(source) != S_OK)) copy.Clear();
    return copy;
}

void Image::SetByteLimit(uint64_t bytes) { gByteLimit.store(bytes, std::memory_order_relaxed); }
uint64_t Image::ByteLimit() { return gByteLimit.load(std::memory_order_relaxed); }

bool Image::SetPalette(std::span<const RGBQUAD> entries) {
    const size_t count = std::min<size_t>(entries.size(), 256);
    std::vector<RGBQUAD> table;
    if (count != 0) {
        try {
            table.resize(256);
        } catch (const std::bad_alloc&) {
            ClearPalette();
            return false;
        }
        std::copy_n(entries.begin(), count, table.begin());
    }
    m_palette.swap(table);
    m_paletteEntries = static_cast<uint32_t>(count);
    return true;
}

void Image::ClearPalette() {
    m_palette.clear();
    m_paletteEntries = 0;
}

HRESULT Image::QueryInterface(const IID& iid, void** object) {
    if (!object) return E_POINTER;
    if (iid == IID_IUnknown) {
        *object = static_cast<IVELImageDIB*>(this);
        AddRef();
        return S_OK;
    }
    VELHOST_ANSWER(IVEL)
    VELHOST_ANSWER(IVELImage)
    VELHOST_ANSWER(IVELImageDIB)
    VELHOST_ANSWER(IVELImagePalette)
    *object = nullptr;
    return E_NOINTERFACE;
}

HRESULT Image::GetSize(uint32_t* width, uint32_t* height, uint32_t* planes) {
    if (width) *width = m_shape.width;
    if (height) *height = m_shape.height;
    if (planes) *planes = m_shape.planes;
    return S_OK;
}

HRESULT Image::GetFormat(uint32_t* bitsPerPixel, uint32_t* format, uint32_t* unused) {
    if (bitsPerPixel) *bitsPerPixel = m_shape.bitsPerPixel;
    if (format) *format = m_shape.format;
    if (unused) *unused = 0;
    return S_OK;
}

HRESULT Image::GetBits(uint32_t plane, uint32_t* unused, uint8_t** bits, int32_t* stride) {
    HRESULT result = S_OK;
    int32_t reported = m_stride;
    if (plane >= m_shape.planes && (m_shape.planes != 0 || plane != 0)) result = E_INVALIDARG;
    if (tStrideInValues > 0 && m_shape.bitsPerPixel == 32 && m_shape.format == FORMAT_MONO) {
        if (m_stride % 4 != 0) result = E_FAIL;
        reported = m_stride / 4;
    }
    if (unused) *unused = 0;
    if (bits) *bits = result == S_OK ? Row(0, plane) : nullptr;
    if (stride) *stride = result == S_OK ? reported : 0;
    return result;
}

HRESULT Image::Create(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format) {
    const Shape shape{width, height, bitsPerPixel, format, planes};
    TakeResultMemory(shape);
    if (Wrapped() && shape == m_shape) {
        ClearPalette();
        for (uint32_t p = 0; p < shape.planes; ++p) {
            for (uint32_t y = 0; y < shape.height; ++y) std::memset(Row(y, p), 0, shape.RowBytes());
        }
        return S_OK;
    }
    return Allocate(shape, RowOrder::TopDown);
}

void Image::TakeResultMemory(const Shape& shape) {
    const Image* const target = tResultMemory;
    if (!target || target == this || target->Empty()) return;
    Shape offered = target->m_shape;
    offered.format = shape.format;
    // Strides of integer images may be asked for in values.
    if (offered != shape || (shape.bitsPerPixel == 32 && target->m_stride % 4 != 0)) return;
    tResultMemory = nullptr;
    Reset();
    m_shape = shape;
    m_row0 = target->m_row0;
    m_stride = target->m_stride;
    m_planeDistance = target->m_planeDistance;
}

HRESULT Image::Allocate(const Shape& shape, RowOrder order) {
    Reset();
    if (!IsDepth(shape.bitsPerPixel) || shape.planes == 0) return E_INVALIDARG;
    const uint64_t stride = (shape.RowBytes() + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
    if (shape.width > kMaxSide || shape.height > kMaxSide || stride > kMaxSide) return E_INVALIDARG;
    const uint64_t planeBytes = stride * shape.height;
    if (planeBytes > ByteLimit() / shape.planes) return E_FAIL;
    if (planeBytes != 0) {
        // Zeroed by the allocator, which need not touch fresh pages; the first row is aligned by hand.
        const uint64_t bytes = planeBytes * shape.planes + kRowAlignment;
        if (bytes > SIZE_MAX) return E_FAIL;
        m_store = std::calloc(static_cast<size_t>(bytes), 1);
        if (!m_store) return E_FAIL;
        const uintptr_t start = reinterpret_cast<uintptr_t>(m_store);
        m_row0 = static_cast<uint8_t*>(m_store) + (kRowAlignment - start % kRowAlignment) % kRowAlignment;
        if (order == RowOrder::BottomUp) m_row0 += planeBytes - stride;
    }
    m_shape = shape;
    m_stride = static_cast<int32_t>(order == RowOrder::BottomUp ? -static_cast<int64_t>(stride) : stride);
    m_planeDistance = static_cast<int64_t>(planeBytes);
    return S_OK;
}

void Image::Reset() {
    std::free(m_store);
    m_store = nullptr;
    m_row0 = nullptr;
    m_stride = 0;
    m_planeDistance = 0;
    m_shape = Shape{0, 0, 0, 0, 0};
    ClearPalette();
}

void Image::SwapContent(Image& other) {
    std::swap(m_shape, other.m_shape);
    std::swap(m_row0, other.m_row0);
    std::swap(m_stride, other.m_stride);
    std::swap(m_planeDistance, other.m_planeDistance);
    std::swap(m_store, other.m_store);
    m_palette.swap(other.m_palette);
    std::swap(m_paletteEntries, other.m_paletteEntries);
}

HRESULT Image::CopyFrom(const Source& source) {
    if (source.planes.empty()) return S_OK;  // a copy of nothing created yet
    const HRESULT result = Allocate(source.shape, source.Order());
    if (result != S_OK) return result;
    CopyRows(source);
    return SetPalette(source.palette) ? S_OK : E_FAIL;
}

void Image::CopyRows(const Source& source) {
    for (uint32_t p = 0; !Empty() && p < m_shape.planes; ++p) {
        for (uint32_t y = 0; y < m_shape.height; ++y) {
            std::memcpy(Row(y, p), source.planes[p].bits + int64_t{y} * source.planes[p].stride, m_shape.RowBytes());
        }
    }
}

bool Image::Overlaps(const Source& source) const {
    // From the lowest byte of a plane to behind its highest.
    const auto block = [this](const uint8_t* row0, int64_t stride) {
        const auto first = reinterpret_cast<intptr_t>(row0);
        const auto last = first + stride * (int64_t{m_shape.height} - 1);
        return std::pair{std::min(first, last), std::max(first, last) + static_cast<int64_t>(m_shape.RowBytes())};
    };
    for (uint32_t p = 0; p < m_shape.planes; ++p) {
        const auto [begin, end] = block(Row(0, p), m_stride);
        for (const Source::Plane& plane : source.planes) {
            const auto [otherBegin, otherEnd] = block(plane.bits, plane.stride);
            if (begin < otherEnd && otherBegin < end) return true;
        }
    }
    return false;
}

HRESULT Image::Assign(IVEL* image, int32_t /*flags*/) {
    if (!image) return E_INVALIDARG;
    if (image == this) return S_OK;
    // Everything is read before anything of this image goes, and rows that it shares with the argument are copied
    // first.
    Source source;
    if (source.Read(image) != S_OK) return E_FAIL;
    const bool sameShape = !Empty() && source.shape == m_shape;
    const bool stays = sameShape && (Wrapped() || source.Order() == Order());
    const bool overlaps = stays && Overlaps(source);
    if (stays && !overlaps) {
        if (!SetPalette(source.palette)) return E_FAIL;
        CopyRows(source);
        return S_OK;
    }
    const SmartPtr<Image> copy = New();
    if (!copy.Get()) return E_FAIL;
    const HRESULT result = copy->CopyFrom(source);
    if (result != S_OK) return result;
    if (overlaps && Wrapped()) return Assign(copy.Get(), 0);
    SwapContent(*copy.Get());
    return S_OK;
}

HRESULT Image::FillColor(uint32_t colour) {
    if (Empty()) return E_FAIL;
    const uint32_t bits = m_shape.bitsPerPixel;
    uint8_t pattern[4] = {};
    uint32_t patternBytes = 1;
    if (bits >= 24) {
        patternBytes = bits / 8;
        if (m_shape.format == FORMAT_MONO && bits == 32) {
            std::memcpy(pattern, &colour, 4);
        } else {
            for (int i = 0; i < 4; ++i) pattern[i] = static_cast<uint8_t>(Channel(colour, i));
        }
    } else if (bits == 16) {
        const uint32_t word = Channel(colour, 0) >> 3 | Channel(colour, 1) >> 2 << 5 | Channel(colour, 2) >> 3 << 11;
        patternBytes = 2;
        pattern[0] = static_cast<uint8_t>(word);
        pattern[1] = static_cast<uint8_t>(word >> 8);
    } else {
        const uint32_t index =
            m_paletteEntries == 0 ? NearestGrey(bits, colour) : NearestEntry(Palette(), 1u << bits, colour);
        pattern[0] = Replicate(index, bits);
    }

    // The first row pixel by pixel, the others from it.
    const size_t rowBytes = m_shape.RowBytes();
    uint8_t* const first = Row(0, 0);
    for (size_t i = 0; i < rowBytes; i += patternBytes) std::memcpy(first + i, pattern, patternBytes);
    for (uint32_t p = 0; p < m_shape.planes; ++p) {
        for (uint32_t y = p == 0 ? 1 : 0; y < m_shape.height; ++y) std::memcpy(Row(y, p), first, rowBytes);
    }
    return S_OK;
}

HRESULT Image::GetPalette(const RGBQUAD** entries, uint32_t* count) {
    if (entries) *entries = m_paletteEntries == 0 ? nullptr : m_palette.data();
    if (count) *count = m_paletteEntries;
    return S_OK;
}

}  // namespace velhost
