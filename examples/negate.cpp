// Loads the module by file name, makes its colour component and negates three pixels of the caller's own memory.
//
//   g++ -std=c++20 examples/negate.cpp $(pkg-config --cflags --libs velmaths) -o negate
//   ./negate /usr/local/lib/velmaths/_binMAC/VELMaths.so
#include <dlfcn.h>

#include <cstdio>

#include "0_Base_i.h"
#include "StringManipulate.h"

// The least that an image is: size, format and rows. This one is a row of 24-bit pixels.
struct Row final : IVEL {
    uint8_t pixels[9] = {0, 10, 20, 100, 110, 120, 235, 245, 255};
    HRESULT QueryInterface(const IID&, void**) override { return E_NOINTERFACE; }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    HRESULT GetSize(uint32_t* w, uint32_t* h, uint32_t* planes) override { return *w = 3, *h = *planes = 1, S_OK; }
    HRESULT GetFormat(uint32_t* bits, uint32_t* format, uint32_t*) override {
        return *bits = 24, *format = FORMAT_BGR, S_OK;
    }
    HRESULT GetBits(uint32_t, uint32_t*, uint8_t** bits, int32_t* stride) override {
        return *bits = pixels, *stride = sizeof pixels, S_OK;
    }
};

int main(int argc, char** argv) {
    void* module = dlopen(argc > 1 ? argv[1] : "./_binMAC/VELMaths.so", RTLD_NOW | RTLD_LOCAL);
    if (!module) return std::fprintf(stderr, "negate: %s\n", dlerror()), 1;
    InitialiseInterfaceIds();
    const auto create = reinterpret_cast<HRESULT (*)(tagREFString, void**)>(dlsym(module, "CreateFunction"));
    void *factory = nullptr, *object = nullptr;
    create(RefString(L"VELColorTransform"), &factory);
    reinterpret_cast<FactoryFunction>(factory)(nullptr, &IID_IVELColorTransform, &object);
    auto* colours = static_cast<IVELColorTransform*>(object);
    Row row;
    if (Failed(colours->Negative(&row))) return 1;
    colours->Release();
    for (const int value : row.pixels) std::printf("%d ", value);
    std::printf("\n");
}
