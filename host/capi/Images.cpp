// Images of the C interface.
#include <algorithm>
#include <cstring>

#include "Internal.h"

using namespace velcapi;
using velhost::Image;
using velhost::IsDepth;
using velhost::Shape;

static_assert(VEL_COLOUR_MONO == FORMAT_MONO && VEL_COLOUR_BGR == FORMAT_BGR && VEL_COLOUR_ABGR == FORMAT_ABGR &&
              VEL_COLOUR_ARGB == FORMAT_ARGB);

namespace {

Shape CheckedShape(uint32_t width, uint32_t height, uint32_t bits, uint32_t format) {
    const Shape shape{width, height, bits, format, 1};
    if (!IsDepth(bits)) Refuse("there are no images of " + std::to_string(bits) + " bits per pixel");
    if (width > INT32_MAX || height > INT32_MAX || shape.RowBytes() > INT32_MAX - 63) {
        Refuse("an image of " + std::to_string(width) + "x" + std::to_string(height) + " is too large");
    }
    return shape;
}

SmartPtr<Image> OrNoMemory(SmartPtr<Image> image) {
    if (!image.Get()) throw velhost::Error(velhost::ErrorKind::Memory, "no memory for the image");
    return image;
}

}  // namespace

vel_result vel_image_create(uint32_t width, uint32_t height, uint32_t bits_per_pixel, uint32_t format,
                            vel_image** image) {
    return Guard([&] {
        *Needed(image, "image") = nullptr;
        return Give(OrNoMemory(Image::Make(CheckedShape(width, height, bits_per_pixel, format))), image);
    });
}

vel_result vel_image_wrap(void* row0, int64_t stride, uint32_t width, uint32_t height, uint32_t bits_per_pixel,
                          uint32_t format, vel_image** image) {
    return Guard([&] {
        *Needed(image, "image") = nullptr;
        const Shape shape = CheckedShape(width, height, bits_per_pixel, format);
        if (width != 0 && height != 0) Needed(row0, "row0");
        if (stride > INT32_MAX || stride < -INT32_MAX) {
            Refuse("a stride of " + std::to_string(stride) + " bytes is beyond 31 bits");
        }
        return Give(OrNoMemory(Image::Wrap(row0, static_cast<int32_t>(stride), shape)), image);
    });
}

vel_result vel_image_clone(vel_image* image, vel_image** clone) {
    return Guard([&] {
        *Needed(clone, "clone") = nullptr;
        return Give(OrNoMemory(Image::CopyOf(static_cast<IVELImageDIB*>(&Needed(image)))), clone);
    });
}

void vel_image_retain(vel_image* image) {
    if (image) Inner(image)->AddRef();
}

void vel_image_release(vel_image* image) {
    if (image) Inner(image)->Release();
}

vel_result vel_image_get_info(vel_image* image, vel_image_info* info) {
    return Guard([&] {
        const Image& inner = Needed(image);
        const uint32_t size = Needed(info, "info")->size;
        if (size < sizeof(uint32_t) * 8) Refuse("info.size is not set to the size of the structure");
        const vel_image_info full = {size,
                                     inner.Width(),
                                     inner.Height(),
                                     inner.BitsPerPixel(),
                                     inner.Format(),
                                     inner.Planes(),
                                     static_cast<uint32_t>(inner.Palette().size()),
                                     inner.Wrapped(),
                                     inner.Stride(),
                                     inner.GetShape().RowBytes()};
        std::memcpy(info, &full, std::min<size_t>(size, sizeof full));
        return VEL_OK;
    });
}

vel_result vel_image_row(vel_image* image, uint32_t y, uint8_t** row) {
    return Guard([&] {
        *Needed(row, "row") = nullptr;
        const Image& inner = Needed(image);
        if (y >= inner.Height() || inner.Empty()) {
            Refuse("there is no row " + std::to_string(y) + " of " + std::to_string(inner.Height()));
        }
        *row = inner.Row(y);
        return VEL_OK;
    });
}

vel_result vel_image_pixels(vel_image* image, uint8_t** row0, int64_t* stride) {
    return Guard([&] {
        const Image& inner = Needed(image);
        *Needed(row0, "row0") = inner.Row(0);
        *Needed(stride, "stride") = inner.Stride();
        return VEL_OK;
    });
}

vel_result vel_image_get_palette(vel_image* image, vel_colour* entries, uint32_t capacity, uint32_t* count) {
    return Guard([&] {
        const auto palette = Needed(image).Palette();
        if (capacity != 0) Needed(entries, "entries");
        for (size_t i = 0; i < std::min<size_t>(capacity, palette.size()); ++i) {
            entries[i] = {palette[i].rgbRed, palette[i].rgbGreen, palette[i].rgbBlue, palette[i].rgbReserved};
        }
        if (count) *count = static_cast<uint32_t>(palette.size());
        return VEL_OK;
    });
}

vel_result vel_image_set_palette(vel_image* image, const vel_colour* entries, uint32_t count) {
    return Guard([&] {
        Image& inner = Needed(image);
        const uint32_t bits = inner.BitsPerPixel();
        if (count != 0 && (bits == 0 || bits > 8 || count > 1u << bits)) {
            Refuse("a palette of " + std::to_string(count) + " entries does not fit " + std::to_string(bits) +
                   " bits per pixel");
        }
        if (count != 0) Needed(entries, "entries");
        std::vector<RGBQUAD> palette(count);
        for (uint32_t i = 0; i < count; ++i) {
            palette[i] = {entries[i].blue, entries[i].green, entries[i].red, entries[i].reserved};
        }
        if (!inner.SetPalette(palette)) throw std::bad_alloc();
        return VEL_OK;
    });
}
