// Picture files of any content: a picture or an Error, and what was read can be written and read again.
#include "host/codecs/Codec.h"

#include "fuzz/Draws.h"
#include "host/Error.h"
#include "host/Files.h"
#include "host/Image.h"

using velhost::Image;
using velhost::LoadMemory;
using velhost::LoadOptions;
using velhost::SaveOptions;

namespace {

LoadOptions OptionsOf(fuzz::Draws& draws) {
    const uint8_t bits = draws.Byte();
    LoadOptions options;
    options.limits = {.pixels = 1 << 18, .bytes = 1 << 20, .fileBytes = 1 << 20};
    options.convert.widen = bits & 1;
    options.convert.eightBit = bits & 2;
    options.convert.rgb = bits & 4;
    options.convert.round = bits & 8;
    options.convert.fallback = bits & 16;
    options.page = bits >> 6;
    return options;
}

// Bits of a row that are pixels.
bool SameRow(const uint8_t* a, const uint8_t* b, uint64_t bits) {
    if (std::memcmp(a, b, static_cast<size_t>(bits / 8))) return false;
    const uint8_t last = static_cast<uint8_t>(0xFF00 >> bits % 8);
    return bits % 8 == 0 || ((a[bits / 8] ^ b[bits / 8]) & last) == 0;
}

bool Same(const Image& a, const Image& b) {
    for (uint32_t y = 0; y < a.Height(); ++y) {
        if (!SameRow(a.Row(y), b.Row(y), uint64_t{a.Width()} * a.BitsPerPixel())) return false;
    }
    return true;
}

// Formats that hold an image as it is give it back as it was.
void WriteAndRead(const Image& image, const std::string& format, const LoadOptions& options) {
    SaveOptions save;
    save.format = format;
    std::vector<uint8_t> bytes;
    try {
        bytes = velhost::SaveMemory(image, save);
    } catch (const velhost::Error&) {
        return;
    }
    const velhost::Loaded again = LoadMemory(bytes, options);
    if (!again.image.Get()) fuzz::Fail(format + " that we wrote holds no picture");
    if (again.image->Width() != image.Width() || again.image->Height() != image.Height()) {
        fuzz::Fail(format + " changed the size");
    }
    if (format != "jpeg" && again.image->GetShape() == image.GetShape() && !Same(image, *again.image.Get())) {
        fuzz::Fail(format + " changed the pixels");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Draws draws(data, size);
    const LoadOptions options = OptionsOf(draws);
    const std::vector<uint8_t> file = draws.Rest();
    try {
        (void)velhost::ReadInfo(file, options);
    } catch (const velhost::Error&) {
    }
    try {
        const velhost::Loaded loaded = LoadMemory(file, options);
        if (!loaded.image.Get() || loaded.image->Empty()) fuzz::Fail("neither a picture nor an error");
        if (uint64_t{loaded.image->Width()} * loaded.image->Height() > options.limits.pixels) {
            fuzz::Fail("a picture beyond the limits");
        }
        LoadOptions plain;
        plain.limits = options.limits;
        plain.limits.fileBytes = 1 << 24;
        for (const auto& format : velhost::Formats()) WriteAndRead(*loaded.image.Get(), format.name, plain);
    } catch (const velhost::Error&) {
    }
    return 0;
}
