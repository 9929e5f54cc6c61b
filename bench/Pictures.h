// The pixels that benchmarks work on, and host images whose destinations are allocated beforehand.
#pragma once

#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "Interface.h"
#include "SmartPtr.h"

namespace bench {

struct Size {
    uint32_t width, height;
    double Pixels() const { return double(width) * height; }
    std::string Name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

// A host image whose released stores are kept and handed out again for the same number of bytes, untouched: an
// operation that makes its destination pays for no page faults and no clearing. Assign exchanges the stores, so taking
// over a result costs nothing either. One plane, rows of width * depth / 8 bytes.
class Picture final : public IVELImageDIB, public IVELImagePalette {
public:
    static SmartPtr<Picture> Make() { return SmartPtr<Picture>::Adopt(new Picture); }
    static SmartPtr<Picture> Make(Size size, uint32_t bitsPerPixel, uint32_t format);

    HRESULT QueryInterface(const IID& iid, void** object) override;
    uint32_t AddRef() override { return ++m_count; }
    uint32_t Release() override;
    HRESULT GetSize(uint32_t* width, uint32_t* height, uint32_t* planes) override;
    HRESULT GetFormat(uint32_t* bitsPerPixel, uint32_t* format, uint32_t* unused) override;
    HRESULT GetBits(uint32_t plane, uint32_t* unused, uint8_t** bits, int32_t* stride) override;
    HRESULT Create(uint32_t width, uint32_t height, uint32_t planes, uint32_t bitsPerPixel, uint32_t format) override;
    HRESULT Reserved5() override { return E_FAIL; }
    HRESULT Assign(IVEL* image, int32_t flags) override;
    HRESULT FillColor(uint32_t colour) override;
    HRESULT Reserved1() override { return E_FAIL; }
    HRESULT GetPalette(const RGBQUAD** entries, uint32_t* count) override;

    uint8_t* Bits() { return m_store; }
    size_t ByteCount() const { return m_bytes; }
    int32_t Stride() const { return m_stride; }
    // The same pixels as OpenCV sees them.
    cv::Mat Mat();
    std::vector<RGBQUAD> palette;

private:
    Picture() = default;
    ~Picture() { Recycle(); }
    void Recycle();

    uint32_t m_count = 1, m_width = 0, m_height = 0, m_bitsPerPixel = 0, m_format = 0;
    int32_t m_stride = 0;
    uint8_t* m_store = nullptr;
    size_t m_bytes = 0;
};

// While one is alive, pictures report strides in 32-bit values, as the convolution of integers counts them.
struct StrideInValues {
    StrideInValues() { divisor = 4; }
    ~StrideInValues() { divisor = 1; }
    static inline int32_t divisor = 1;
};

// A photo-like picture: gradients, four octaves of noise, hard edges, sensor noise. The same for the same arguments.
SmartPtr<Picture> Photo(Size size, uint32_t bitsPerPixel, uint32_t format, uint32_t seed = 1);

// The default code of a depth: "MONO" at 8, "BGR " at 16 and 24, "ARGB" at 32.
uint32_t FormatOf(uint32_t bitsPerPixel);

}  // namespace bench
