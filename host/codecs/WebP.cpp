// WebP through libwebp.
#include <webp/decode.h>
#include <webp/encode.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "codecs/Codec.h"

namespace velhost {

namespace {

bool Matches(Bytes data) {
    return data.size() >= 12 && std::memcmp(data.data(), "RIFF", 4) == 0 && std::memcmp(&data[8], "WEBP", 4) == 0;
}

// The payload of the first chunk of that name behind the file's header; empty when there is none.
Bytes Chunk(Bytes data, const char* name) {
    for (size_t at = 12; at + 8 <= data.size();) {
        const size_t bytes = Word32(&data[at + 4]);
        if (bytes > data.size() - at - 8) return {};
        if (std::memcmp(&data[at], name, 4) == 0) return data.subspan(at + 8, bytes);
        at += 8 + bytes + bytes % 2;
    }
    return {};
}

const char* StatusText(VP8StatusCode status) {
    switch (status) {
        case VP8_STATUS_OUT_OF_MEMORY: return "no memory";
        case VP8_STATUS_BITSTREAM_ERROR: return "broken data";
        case VP8_STATUS_UNSUPPORTED_FEATURE: return "a feature that the decoder does not know";
        case VP8_STATUS_NOT_ENOUGH_DATA: return "the file ends early";
        default: return "cannot be decoded";
    }
}

uint32_t Orientation(Bytes data) {
    Bytes exif = Chunk(data, "EXIF");
    // Some writers keep the prefix that the block has in JPEG files.
    if (exif.size() > 6 && std::memcmp(exif.data(), "Exif\0\0", 6) == 0) exif = exif.subspan(6);
    return ExifOrientation(exif);
}

Loaded Read(Bytes data, const LoadOptions& options, bool pixels) {
    WebPDecoderConfig config;
    if (!WebPInitDecoderConfig(&config)) ThrowUnsupported("this libwebp is another than the one compiled with");
    const VP8StatusCode status = WebPGetFeatures(data.data(), data.size(), &config.input);
    if (status != VP8_STATUS_OK) ThrowDamaged("WebP: %s", StatusText(status));
    const WebPBitstreamFeatures& features = config.input;

    Loaded loaded;
    loaded.info.format = "webp";
    loaded.info.width = static_cast<uint32_t>(features.width);
    loaded.info.height = static_cast<uint32_t>(features.height);
    loaded.info.alpha = features.has_alpha != 0;
    loaded.info.stored = features.has_animation ? "animation"
                         : features.format == 2 ? "8-bit RGB, lossless"
                                                : "8-bit YCbCr";
    if (features.has_alpha && !features.has_animation) loaded.info.stored += " with alpha";
    loaded.info.orientation = Orientation(data);
    loaded.info.colourProfile = !Chunk(data, "ICCP").empty();
    CheckPage(options.page, 1);
    if (!pixels) return loaded;

    if (features.has_animation) ThrowUnsupported("an animated WebP");
    const bool alpha = features.has_alpha != 0;
    loaded.image = NewPicture(
        {loaded.info.width, loaded.info.height, alpha ? 32u : 24u, alpha ? FORMAT_ARGB : FORMAT_BGR}, options.limits);
    const Image& image = *loaded.image.Get();
    config.output.colorspace = alpha ? MODE_BGRA : MODE_BGR;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = image.Row(0);
    config.output.u.RGBA.stride = image.Stride();
    config.output.u.RGBA.size = static_cast<size_t>(image.Stride()) * image.Height();
    const VP8StatusCode decoded = WebPDecode(data.data(), data.size(), &config);
    WebPFreeDecBuffer(&config.output);
    if (decoded == VP8_STATUS_OUT_OF_MEMORY) throw std::bad_alloc();
    if (decoded != VP8_STATUS_OK) ThrowDamaged("WebP: %s", StatusText(decoded));
    return loaded;
}

// Collects what libwebp writes; an exception must not pass through it.
int Collect(const uint8_t* bytes, size_t count, const WebPPicture* picture) {
    auto* out = static_cast<std::vector<uint8_t>*>(picture->custom_ptr);
    try {
        out->insert(out->end(), bytes, bytes + count);
        return 1;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

struct Picture {
    WebPPicture picture;
    Picture() {
        if (!WebPPictureInit(&picture)) ThrowUnsupported("this libwebp is another than the one compiled with");
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    ~Picture() { WebPPictureFree(&picture); }
};

bool Import(WebPPicture& picture, const Image& image, Pixels pixels) {
    const Shape& shape = image.GetShape();
    // libwebp takes rows top-down only.
    SmartPtr<Image> ordered;
    const uint8_t* rows = image.Row(0);
    int stride = image.Stride();
    if (stride < static_cast<int64_t>(shape.RowBytes())) {
        ordered = Image::Make(shape);
        if (!ordered.Get()) throw std::bad_alloc();
        for (uint32_t y = 0; y < shape.height; ++y) std::memcpy(ordered->Row(y), image.Row(y), shape.RowBytes());
        rows = ordered->Row(0);
        stride = ordered->Stride();
    }
    switch (pixels) {
        case Pixels::Colour24: return WebPPictureImportBGR(&picture, rows, stride) != 0;
        case Pixels::Colour32: return WebPPictureImportBGRX(&picture, rows, stride) != 0;
        default: return WebPPictureImportBGRA(&picture, rows, stride) != 0;
    }
}

void Write(const Image& image, const SaveOptions& options, std::vector<uint8_t>& out) {
    const Pixels pixels = PixelsOf(image, options);
    if (pixels != Pixels::Colour24 && pixels != Pixels::Colour32 && pixels != Pixels::Alpha32) {
        RefuseToSave(image, "webp");
    }
    if (image.Width() > WEBP_MAX_DIMENSION || image.Height() > WEBP_MAX_DIMENSION) {
        ThrowUnsupported("webp holds at most %d pixels a side; png and tiff hold more", WEBP_MAX_DIMENSION);
    }
    WebPConfig config;
    if (!WebPConfigInit(&config)) ThrowUnsupported("this libwebp is another than the one compiled with");
    if (options.lossless) {
        WebPConfigLosslessPreset(&config, options.effort);
        config.exact = 1;  // colours of transparent pixels are kept
    } else {
        config.quality = static_cast<float>(options.quality);
        config.method = std::min(options.effort, 6);
    }
    Picture holder;
    WebPPicture& picture = holder.picture;
    picture.use_argb = options.lossless;
    picture.width = static_cast<int>(image.Width());
    picture.height = static_cast<int>(image.Height());
    picture.writer = Collect;
    picture.custom_ptr = &out;
    if (!Import(picture, image, pixels) || !WebPEncode(&config, &picture)) {
        throw Error(ErrorKind::Memory, "WebP: encoding failed, code " + std::to_string(picture.error_code));
    }
}

std::string Version() {
    const int v = WebPGetDecoderVersion();
    return "libwebp " + std::to_string(v >> 16) + "." + std::to_string(v >> 8 & 0xFF) + "." + std::to_string(v & 0xFF);
}

}  // namespace

const Codec& WebPCodec() {
    static const Codec codec{"webp", "WebP", {"webp"}, Version(), Matches, Read, Write};
    return codec;
}

}  // namespace velhost
