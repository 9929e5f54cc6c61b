#include "Pictures.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>

namespace bench {
namespace {

// Stores that wait for their next use, by size in bytes.
std::multimap<size_t, uint8_t*>& Pool() {
    static auto* pool = new std::multimap<size_t, uint8_t*>;
    return *pool;
}

uint8_t* TakeStore(size_t bytes) {
    const auto found = Pool().find(bytes);
    if (found != Pool().end()) {
        uint8_t* store = found->second;
        Pool().erase(found);
        return store;
    }
    auto* store = static_cast<uint8_t*>(std::aligned_alloc(64, (bytes + 127) / 64 * 64));
    std::memset(store, 0, bytes);
    return store;
}

uint32_t Hash(uint32_t x, uint32_t y, uint32_t seed) {
    uint32_t h = x * 0x9E3779B1u ^ y * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
    h = (h ^ h >> 15) * 0x2C1B3C6Du;
    h = (h ^ h >> 12) * 0x297A2D39u;
    return h ^ h >> 15;
}

// Value noise on a grid of `cell` pixels, -1 to 1.
float Noise(float x, float y, float cell, uint32_t seed) {
    const float u = x / cell, v = y / cell;
    const auto i = static_cast<uint32_t>(u), j = static_cast<uint32_t>(v);
    const float fu = u - float(i), fv = v - float(j);
    const auto at = [&](uint32_t a, uint32_t b) { return float(Hash(a, b, seed) & 0xFFFF) / 32767.5f - 1.0f; };
    const float top = at(i, j) + (at(i + 1, j) - at(i, j)) * fu;
    const float bottom = at(i, j + 1) + (at(i + 1, j + 1) - at(i, j + 1)) * fu;
    return top + (bottom - top) * fv;
}

uint8_t Sample(uint32_t x, uint32_t y, Size size, uint32_t channel, uint32_t seed) {
    const float fx = float(x), fy = float(y);
    float v = 60.0f + 80.0f * fx / float(size.width) + 60.0f * fy / float(size.height) + 12.0f * float(channel);
    for (uint32_t octave = 0; octave < 4; ++octave) {
        v += 40.0f / float(1u << octave) * Noise(fx, fy, 128.0f / float(1u << octave), seed * 31 + octave);
    }
    if ((x / 97 + y / 61) % 5 == 0) v = 255.0f - v;
    v += float(Hash(x, y, seed + 977 * channel) % 9) - 4.0f;
    return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

}  // namespace

SmartPtr<Picture> Picture::Make(Size size, uint32_t bitsPerPixel, uint32_t format) {
    SmartPtr<Picture> picture = Make();
    picture->Create(size.width, size.height, 1, bitsPerPixel, format);
    return picture;
}

HRESULT Picture::QueryInterface(const IID& iid, void** object) {
    *object = nullptr;
    if (iid == IID_IUnknown || iid == IID_IVEL || iid == IID_IVELImage || iid == IID_IVELImageDIB) {
        *object = static_cast<IVELImageDIB*>(this);
    } else if (iid == IID_IVELImagePalette) {
        *object = static_cast<IVELImagePalette*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

uint32_t Picture::Release() {
    const uint32_t count = --m_count;
    if (count == 0) delete this;
    return count;
}

HRESULT Picture::GetSize(uint32_t* width, uint32_t* height, uint32_t* planes) {
    *width = m_width;
    *height = m_height;
    *planes = 1;
    return S_OK;
}

HRESULT Picture::GetFormat(uint32_t* bitsPerPixel, uint32_t* format, uint32_t* unused) {
    *bitsPerPixel = m_bitsPerPixel;
    *format = m_format;
    *unused = 0;
    return S_OK;
}

HRESULT Picture::GetBits(uint32_t /*plane*/, uint32_t* /*unused*/, uint8_t** bits, int32_t* stride) {
    *bits = m_store;
    *stride = m_stride / StrideInValues::divisor;
    return S_OK;
}

HRESULT Picture::Create(uint32_t width, uint32_t height, uint32_t /*planes*/, uint32_t bitsPerPixel, uint32_t format) {
    const size_t stride = (size_t{width} * bitsPerPixel + 7) / 8;
    const size_t bytes = stride * height;
    if (bytes != m_bytes) {
        Recycle();
        m_store = TakeStore(bytes);
        m_bytes = bytes;
    }
    m_width = width;
    m_height = height;
    m_bitsPerPixel = bitsPerPixel;
    m_format = format;
    m_stride = static_cast<int32_t>(stride);
    return S_OK;
}

HRESULT Picture::Assign(IVEL* image, int32_t /*flags*/) {
    auto* other = dynamic_cast<Picture*>(static_cast<IVELImageDIB*>(image));
    if (!other) return E_FAIL;  // another host's image
    std::swap(m_width, other->m_width);
    std::swap(m_height, other->m_height);
    std::swap(m_bitsPerPixel, other->m_bitsPerPixel);
    std::swap(m_format, other->m_format);
    std::swap(m_stride, other->m_stride);
    std::swap(m_store, other->m_store);
    std::swap(m_bytes, other->m_bytes);
    return S_OK;
}

// The first row pixel by pixel, the others from it, as the reference host does.
HRESULT Picture::FillColor(uint32_t colour) {
    const size_t pixelBytes = m_bitsPerPixel / 8;
    for (size_t i = 0; i < m_width * pixelBytes; ++i) {
        m_store[i] = static_cast<uint8_t>(colour >> 8 * (i % pixelBytes));
    }
    for (uint32_t y = 1; y < m_height; ++y) {
        std::memcpy(m_store + static_cast<size_t>(m_stride) * y, m_store, static_cast<size_t>(m_stride));
    }
    return S_OK;
}

HRESULT Picture::GetPalette(const RGBQUAD** entries, uint32_t* count) {
    *entries = palette.data();
    *count = static_cast<uint32_t>(palette.size());
    return S_OK;
}

cv::Mat Picture::Mat() {
    const int type = m_format == FORMAT_MONO && m_bitsPerPixel == 32 ? CV_32SC1
                     : m_bitsPerPixel == 16                          ? CV_8UC2
                                                                     : CV_8UC(static_cast<int>(m_bitsPerPixel / 8));
    return cv::Mat(static_cast<int>(m_height), static_cast<int>(m_width), type, m_store, size_t(m_stride));
}

void Picture::Recycle() {
    if (m_store) Pool().emplace(m_bytes, m_store);
    m_store = nullptr;
    m_bytes = 0;
}

SmartPtr<Picture> Photo(Size size, uint32_t bitsPerPixel, uint32_t format, uint32_t seed) {
    SmartPtr<Picture> picture = Picture::Make(size, bitsPerPixel, format);
    const uint32_t channels = bitsPerPixel / 8;
    for (uint32_t y = 0; y < size.height; ++y) {
        uint8_t* row = picture->Bits() + size_t{y} * static_cast<size_t>(picture->Stride());
        for (uint32_t x = 0; x < size.width; ++x) {
            if (bitsPerPixel == 32 && format == FORMAT_MONO) {
                const int32_t value = Sample(x, y, size, 0, seed) * 5 - 100;
                std::memcpy(row + 4 * x, &value, 4);
                continue;
            }
            for (uint32_t c = 0; c < channels; ++c) row[x * channels + c] = Sample(x, y, size, c, seed);
        }
    }
    return picture;
}

uint32_t FormatOf(uint32_t bitsPerPixel) {
    return bitsPerPixel == 8 ? FORMAT_MONO : bitsPerPixel == 32 ? FORMAT_ARGB : FORMAT_BGR;
}

}  // namespace bench
