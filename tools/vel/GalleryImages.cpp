#include "GalleryImages.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

namespace veltool {

using velhost::Image;
using velhost::Shape;
using ImagePointer = SmartPtr<Image>;

namespace {

ImagePointer MakeLike(const Image& model, uint32_t bits, uint32_t format) {
    ImagePointer made = Image::Make(Shape{model.Width(), model.Height(), bits, format});
    if (!made.Get()) throw Failure(kOperation, "gallery: no memory for a picture");
    return made;
}

uint32_t GreyOf(const uint8_t* pixel) { return (29u * pixel[0] + 150u * pixel[1] + 77u * pixel[2]) >> 8; }

int32_t IntegerAt(const Image& image, uint32_t x, uint32_t y) {
    int32_t value;
    std::memcpy(&value, image.Row(y) + size_t{x} * 4, 4);
    return value;
}

// Opaque inside an oval, fading to transparent at its rim.
uint8_t OvalAlpha(const Image& image, uint32_t x, uint32_t y) {
    const double u = 2.0 * x / image.Width() - 1, v = 2.0 * y / image.Height() - 1;
    return static_cast<uint8_t>(255 * std::clamp((1.1 - (u * u + v * v)) * 3, 0.0, 1.0));
}

void PutPixel(Image& to, uint32_t x, uint32_t y, const uint8_t* pixel) {
    uint8_t* row = to.Row(y);
    const uint32_t grey = GreyOf(pixel);
    switch (to.BitsPerPixel()) {
        case 1: row[x / 8] = static_cast<uint8_t>(row[x / 8] | (grey > 127 ? 0x80 >> (x % 8) : 0)); break;
        case 4: row[x / 2] = static_cast<uint8_t>(row[x / 2] | (grey >> 4) << (x % 2 ? 0 : 4)); break;
        case 8: row[x] = static_cast<uint8_t>(grey); break;
        case 16: {
            const uint32_t word = pixel[0] >> 3 | (pixel[1] >> 2) << 5 | (pixel[2] >> 3) << 11;
            row[2 * x] = static_cast<uint8_t>(word);
            row[2 * x + 1] = static_cast<uint8_t>(word >> 8);
            break;
        }
        default:
            if (to.Format() == FORMAT_MONO) {
                const int32_t value = static_cast<int32_t>(grey) * 1000;
                std::memcpy(row + size_t{x} * 4, &value, 4);
            } else {
                std::memcpy(row + size_t{x} * 4, pixel, 3);
                row[size_t{x} * 4 + 3] = OvalAlpha(to, x, y);
            }
    }
}

ImagePointer IntegersAsGreys(const Image& picture) {
    int32_t least = INT_MAX, greatest = INT_MIN;
    for (uint32_t y = 0; y < picture.Height(); ++y) {
        for (uint32_t x = 0; x < picture.Width(); ++x) {
            least = std::min(least, IntegerAt(picture, x, y));
            greatest = std::max(greatest, IntegerAt(picture, x, y));
        }
    }
    const double span = std::max(1.0, double(greatest) - least);
    ImagePointer made = MakeLike(picture, 24, FORMAT_BGR);
    for (uint32_t y = 0; y < picture.Height(); ++y) {
        for (uint32_t x = 0; x < picture.Width(); ++x) {
            const double part = (double(IntegerAt(picture, x, y)) - least) / span;
            std::memset(made->Row(y) + size_t{x} * 3, static_cast<int>(255 * part), 3);
        }
    }
    return made;
}

}  // namespace

const std::vector<std::string>& GalleryDepths() {
    static const std::vector<std::string> depths = {"24", "32", "8", "integer", "16", "4", "1"};
    return depths;
}

ImagePointer Reduced(const ImagePointer& picture, uint32_t longest) {
    const uint32_t side = std::max(picture->Width(), picture->Height());
    const uint32_t step = (side + longest - 1) / longest;
    if (step <= 1) return picture;
    ImagePointer made = Image::Make(Shape{picture->Width() / step, picture->Height() / step, 24, FORMAT_BGR});
    if (!made.Get()) throw Failure(kOperation, "gallery: no memory for a picture");
    for (uint32_t y = 0; y < made->Height(); ++y) {
        for (uint32_t i = 0; i < made->Width() * 3; ++i) {
            uint32_t sum = 0;
            for (uint32_t v = 0; v < step; ++v) {
                const uint8_t* row = picture->Row(y * step + v) + size_t{i / 3} * step * 3 + i % 3;
                for (uint32_t u = 0; u < step; ++u) sum += row[size_t{u} * 3];
            }
            made->Row(y)[i] = static_cast<uint8_t>((sum + step * step / 2) / (step * step));
        }
    }
    return made;
}

ImagePointer InDepth(const ImagePointer& picture, const std::string& depth) {
    if (depth == "24") return Image::CopyOf(picture.Get());
    const bool integer = depth == "integer";
    const uint32_t bits = integer ? 32 : static_cast<uint32_t>(std::stoul(depth));
    const uint32_t format = integer || bits <= 8 ? FORMAT_MONO : bits == 32 ? FORMAT_ARGB : FORMAT_BGR;
    ImagePointer made = MakeLike(*picture.Get(), bits, format);
    for (uint32_t y = 0; y < made->Height(); ++y) {
        for (uint32_t x = 0; x < made->Width(); ++x) PutPixel(*made.Get(), x, y, picture->Row(y) + size_t{x} * 3);
    }
    return made;
}

ImagePointer Cropped(const ImagePointer& picture, uint32_t x, uint32_t y, uint32_t width, uint32_t height) {
    const uint32_t bytes = picture->BitsPerPixel() / 8;
    ImagePointer made = Image::Make(Shape{width, height, picture->BitsPerPixel(), picture->Format()});
    if (!made.Get()) throw Failure(kOperation, "gallery: no memory for a picture");
    for (uint32_t row = 0; row < height; ++row) {
        std::memcpy(made->Row(row), picture->Row(y + row) + size_t{x} * bytes, size_t{width} * bytes);
    }
    return made;
}

ImagePointer Viewable(const ImagePointer& picture) {
    if (picture->BitsPerPixel() == 32 && picture->Format() == FORMAT_MONO) return IntegersAsGreys(*picture.Get());
    if (picture->BitsPerPixel() < 24) return Expanded(picture);
    if (picture->BitsPerPixel() == 24 || picture->Format() == FORMAT_ARGB) return picture;
    ImagePointer made = Image::CopyOf(picture.Get());
    made->SetFormat(FORMAT_ARGB);
    return made;
}

ImagePointer FlattenedOnGrey(const ImagePointer& picture, uint32_t longest) {
    const ImagePointer from = Viewable(picture);
    if (from->BitsPerPixel() == 24) return Reduced(from, longest);
    ImagePointer made = MakeLike(*from.Get(), 24, FORMAT_BGR);
    for (uint32_t y = 0; y < from->Height(); ++y) {
        for (uint32_t x = 0; x < from->Width(); ++x) {
            const uint8_t* pixel = from->Row(y) + size_t{x} * 4;
            const uint32_t ground = (x / 8 + y / 8) % 2 ? 200 : 244;
            for (uint32_t c = 0; c < 3; ++c) {
                made->Row(y)[size_t{x} * 3 + c] =
                    static_cast<uint8_t>((pixel[c] * pixel[3] + ground * (255u - pixel[3]) + 127) / 255);
            }
        }
    }
    return Reduced(made, longest);
}

ImagePointer Beside(const ImagePointer& left, const ImagePointer& right, uint32_t gap) {
    ImagePointer made = Image::Make(
        Shape{left->Width() + gap + right->Width(), std::max(left->Height(), right->Height()), 24, FORMAT_BGR});
    if (!made.Get()) throw Failure(kOperation, "gallery: no memory for a picture");
    made->FillColor(0x00FFFFFF);
    for (const auto& [part, at] : {std::pair{left, 0u}, std::pair{right, left->Width() + gap}}) {
        for (uint32_t y = 0; y < part->Height(); ++y) {
            std::memcpy(made->Row(y) + size_t{at} * 3, part->Row(y), size_t{part->Width()} * 3);
        }
    }
    return made;
}

std::string PictureHash(const Image& picture) {
    uint64_t hash = 0xCBF29CE484222325u;
    const auto add = [&](const void* bytes, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            // Clang's analyzer does not see bytes in the words of an array.
            // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult)
            hash = (hash ^ static_cast<const uint8_t*>(bytes)[i]) * 0x100000001B3u;
        }
    };
    const uint32_t shape[] = {picture.Width(), picture.Height(), picture.BitsPerPixel(), picture.Format()};
    add(shape, sizeof shape);
    for (uint32_t y = 0; y < picture.Height() && !picture.Empty(); ++y) {
        add(picture.Row(y), static_cast<size_t>(picture.GetShape().RowBytes()));
    }
    char text[20];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

}  // namespace veltool
