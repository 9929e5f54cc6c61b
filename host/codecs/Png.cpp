// PNG through libpng.
//
// libpng reports errors by longjmp. Everything that needs a destructor lives in the frame above the one that calls
// setjmp (see Protected); what runs below it holds plain values only.
#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>

#include "codecs/Codec.h"

namespace velhost {

namespace {

struct Trouble {
    char text[256] = "";
};

void OnError(png_structp png, png_const_charp message) {
    auto* trouble = static_cast<Trouble*>(png_get_error_ptr(png));
    std::snprintf(trouble->text, sizeof trouble->text, "%s", message);
    png_longjmp(png, 1);
}
void OnWarning(png_structp, png_const_charp) {}

// Runs `function`, which must hold nothing that needs a destructor; false when libpng reported an error in it.
template <class Function>
[[gnu::noinline]] bool Protected(png_structp png, const Function& function) {
    if (setjmp(png_jmpbuf(png)) != 0) return false;
    function();
    return true;
}

// ---------------------------------------------------------------------------------------------------------------
// Reading

struct Input {
    Bytes data;
    size_t at = 0;
};

void OnRead(png_structp png, png_bytep out, size_t bytes) {
    auto* input = static_cast<Input*>(png_get_io_ptr(png));
    if (bytes > input->data.size() - input->at) png_error(png, "the file ends early");
    std::memcpy(out, input->data.data() + input->at, bytes);
    input->at += bytes;
}

struct ReadStruct {
    explicit ReadStruct(Trouble& trouble) {
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &trouble, OnError, OnWarning);
        if (png) info = png_create_info_struct(png);
        if (!info) {
            png_destroy_read_struct(&png, nullptr, nullptr);
            throw std::bad_alloc();
        }
    }
    ReadStruct(const ReadStruct&) = delete;
    ReadStruct& operator=(const ReadStruct&) = delete;
    ~ReadStruct() { png_destroy_read_struct(&png, &info, nullptr); }

    png_structp png = nullptr;
    png_infop info = nullptr;
};

struct Header {
    png_uint_32 width = 0, height = 0;
    int depth = 0, colour = 0, interlace = 0;
    bool transparency = false;  // a colour, or palette entries, that are not opaque
    bool profile = false;
    uint32_t orientation = 1;
    png_colorp palette = nullptr;
    int entries = 0;

    bool HasAlpha() const { return (colour & PNG_COLOR_MASK_ALPHA) != 0; }
    bool IsGrey() const { return (colour & PNG_COLOR_MASK_COLOR) == 0; }
    bool IsPalette() const { return colour == PNG_COLOR_TYPE_PALETTE; }
};

void ReadHeader(const ReadStruct& file, Header& header) {
    png_read_info(file.png, file.info);
    png_get_IHDR(file.png, file.info, &header.width, &header.height, &header.depth, &header.colour, &header.interlace,
                 nullptr, nullptr);
    header.profile = png_get_valid(file.png, file.info, PNG_INFO_iCCP) != 0;
    if (header.IsPalette()) png_get_PLTE(file.png, file.info, &header.palette, &header.entries);
    header.transparency = png_get_valid(file.png, file.info, PNG_INFO_tRNS) != 0;
    png_uint_32 bytes = 0;
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(file.png, file.info, &bytes, &exif) != 0 && exif)
        header.orientation = ExifOrientation({exif, bytes});
}

std::string Describe(const Header& header) {
    std::string text = std::to_string(header.depth) + "-bit ";
    text += header.IsPalette() ? "palette" : header.IsGrey() ? "grey" : "RGB";
    if (header.HasAlpha()) text += " with alpha";
    if (header.transparency) text += header.IsPalette() ? " with transparent entries" : " with a transparent colour";
    return header.interlace != PNG_INTERLACE_NONE ? text + ", interlaced" : text;
}

// What is done to the rows: by libpng while reading, or to the finished rows here.
struct Plan {
    Shape shape;
    bool scale16 = false;      // 16-bit samples to 8
    bool expandAlpha = false;  // to 32 bits with alpha
    enum { AsRead, Pairs, Grey16 } finish = AsRead;
};

Plan PlanFor(const Header& header, const Conversions& convert) {
    Plan plan;
    plan.shape = {header.width, header.height, 8, FORMAT_MONO};
    const bool sixteen = header.depth == 16;
    const bool greyOnly = header.IsGrey() && !header.HasAlpha() && !header.transparency;
    const std::string stored = Describe(header);
    if (sixteen) {
        const bool widen = greyOnly && convert.widen && !convert.eightBit;
        if (!widen && !convert.eightBit && !convert.fallback) {
            ThrowUnsupported(greyOnly ? "%s pixels; the conversion 'widen' makes them 32-bit integers, '8bit' cuts them"
                                      : "%s pixels; the conversion '8bit' cuts them to 8 bits a sample",
                             stored.c_str());
        }
        plan.scale16 = !widen;
        if (widen) {
            plan.shape.bitsPerPixel = 32;
            plan.finish = Plan::Grey16;
            return plan;
        }
    }
    if (header.transparency || (header.HasAlpha() && header.IsGrey())) {
        if (!convert.widen) {
            ThrowUnsupported("%s pixels; the conversion 'widen' makes them 32 bits with alpha", stored.c_str());
        }
        plan.expandAlpha = true;
        plan.shape.bitsPerPixel = 32;
        plan.shape.format = FORMAT_ARGB;
    } else if (header.HasAlpha()) {
        plan.shape.bitsPerPixel = 32;
        plan.shape.format = FORMAT_ARGB;
    } else if (!header.IsGrey() && !header.IsPalette()) {
        plan.shape.bitsPerPixel = 24;
        plan.shape.format = FORMAT_BGR;
    } else {
        if (header.IsPalette()) plan.shape.format = FORMAT_BGR;
        if (header.depth == 2) plan.finish = Plan::Pairs;
        plan.shape.bitsPerPixel = header.depth == 2 ? 4 : sixteen ? 8 : static_cast<uint32_t>(header.depth);
    }
    return plan;
}

// Rows as libpng delivers them go straight into the image; rows[y] is where row y goes.
void ReadRows(const ReadStruct& file, const Header& header, const Plan& plan, png_bytepp rows) {
    if (plan.scale16) png_set_scale_16(file.png);
    if (plan.expandAlpha) {
        png_set_expand(file.png);
        png_set_gray_to_rgb(file.png);
    }
    if (plan.shape.bitsPerPixel >= 24 && plan.finish == Plan::AsRead) png_set_bgr(file.png);
    if (header.interlace != PNG_INTERLACE_NONE) png_set_interlace_handling(file.png);
    png_read_update_info(file.png, file.info);
    if (png_get_rowbytes(file.png, file.info) > plan.shape.RowBytes()) png_error(file.png, "rows of another length");
    png_read_image(file.png, rows);
    png_read_end(file.png, nullptr);
}

void FinishRow(const Header& header, const Plan& plan, uint8_t* row) {
    if (plan.finish == Plan::Pairs) WidenRow2To4(row, header.width, header.IsPalette() ? 1 : 5);
    if (plan.finish == Plan::Grey16) {
        for (int64_t x = int64_t{header.width} - 1; x >= 0; --x) {
            const int32_t value = row[2 * x] << 8 | row[2 * x + 1];
            std::memcpy(row + 4 * x, &value, 4);
        }
    }
}

void TakePalette(const Header& header, Image& image) {
    RGBQUAD entries[256] = {};
    for (int i = 0; i < header.entries; ++i) {
        const png_color& c = header.palette[i];
        entries[i] = {c.blue, c.green, c.red, 0};
    }
    if (!image.SetPalette({entries, static_cast<size_t>(header.entries)})) throw std::bad_alloc();
}

bool Matches(Bytes data) {
    static const uint8_t signature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    return data.size() >= 4 && std::memcmp(data.data(), signature, std::min<size_t>(data.size(), 8)) == 0;
}

Loaded Read(Bytes data, const LoadOptions& options, bool pixels) {
    Trouble trouble;
    Input input{data};
    const ReadStruct file(trouble);
    png_set_read_fn(file.png, &input, OnRead);
    png_set_user_limits(file.png, INT32_MAX, INT32_MAX);
    Header header;
    if (!Protected(file.png, [&] { ReadHeader(file, header); })) ThrowDamaged("PNG: %s", trouble.text);

    Loaded loaded;
    loaded.info.format = "png";
    loaded.info.width = header.width;
    loaded.info.height = header.height;
    loaded.info.stored = Describe(header);
    loaded.info.alpha = header.HasAlpha() || header.transparency;
    loaded.info.orientation = header.orientation;
    loaded.info.colourProfile = header.profile;
    CheckPage(options.page, 1);
    if (!pixels) return loaded;

    const Plan plan = PlanFor(header, options.convert);
    loaded.image = NewPicture(plan.shape, options.limits);
    Image& image = *loaded.image.Get();
    if (header.IsPalette() && !plan.expandAlpha) TakePalette(header, image);
    std::vector<png_bytep> rows(header.height);
    for (uint32_t y = 0; y < header.height; ++y) rows[y] = image.Row(y);
    if (!Protected(file.png, [&] { ReadRows(file, header, plan, rows.data()); })) {
        ThrowDamaged("PNG: %s", trouble.text);
    }
    for (uint32_t y = 0; y < header.height; ++y) FinishRow(header, plan, image.Row(y));
    return loaded;
}

// ---------------------------------------------------------------------------------------------------------------
// Writing

void OnWrite(png_structp png, png_bytep bytes, size_t count) {
    auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
    bool written = true;
    try {
        out->insert(out->end(), bytes, bytes + count);
    } catch (const std::bad_alloc&) {
        written = false;
    }
    if (!written) png_error(png, "no memory");
}
void OnFlush(png_structp) {}

struct WriteStruct {
    explicit WriteStruct(Trouble& trouble) {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &trouble, OnError, OnWarning);
        if (png) info = png_create_info_struct(png);
        if (!info) {
            png_destroy_write_struct(&png, nullptr);
            throw std::bad_alloc();
        }
    }
    WriteStruct(const WriteStruct&) = delete;
    WriteStruct& operator=(const WriteStruct&) = delete;
    ~WriteStruct() { png_destroy_write_struct(&png, &info); }

    png_structp png = nullptr;
    png_infop info = nullptr;
};

struct Target {
    int colour = PNG_COLOR_TYPE_GRAY;
    bool dropFourth = false;
    png_color palette[256] = {};
    int entries = 0;
};

void WriteRows(const WriteStruct& file, const Image& image, const Target& target, int effort) {
    const int depth = image.BitsPerPixel() <= 8 ? static_cast<int>(image.BitsPerPixel()) : 8;
    png_set_compression_level(file.png, effort);
    png_set_IHDR(file.png, file.info, image.Width(), image.Height(), depth, target.colour, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_BASE, PNG_FILTER_TYPE_BASE);
    if (target.entries > 0) png_set_PLTE(file.png, file.info, target.palette, target.entries);
    png_write_info(file.png, file.info);
    if (image.BitsPerPixel() >= 24) png_set_bgr(file.png);
    if (target.dropFourth) png_set_filler(file.png, 0, PNG_FILLER_AFTER);
    for (uint32_t y = 0; y < image.Height(); ++y) png_write_row(file.png, image.Row(y));
    png_write_end(file.png, nullptr);
}

void Write(const Image& image, const SaveOptions& options, std::vector<uint8_t>& out) {
    Target target;
    switch (PixelsOf(image, options)) {
        case Pixels::Integer32:
        case Pixels::Colour16: RefuseToSave(image, "png");
        case Pixels::Colour32: target.dropFourth = true; [[fallthrough]];
        case Pixels::Colour24: target.colour = PNG_COLOR_TYPE_RGB; break;
        case Pixels::Alpha32: target.colour = PNG_COLOR_TYPE_RGB_ALPHA; break;
        case Pixels::Grey: break;
        case Pixels::Palette:
            target.colour = PNG_COLOR_TYPE_PALETTE;
            for (const RGBQUAD& entry : CompletePalette(image)) {
                target.palette[target.entries++] = {entry.rgbRed, entry.rgbGreen, entry.rgbBlue};
            }
    }
    Trouble trouble;
    const WriteStruct file(trouble);
    png_set_user_limits(file.png, INT32_MAX, INT32_MAX);
    png_set_write_fn(file.png, &out, OnWrite, OnFlush);
    if (!Protected(file.png, [&] { WriteRows(file, image, target, options.effort); })) {
        throw Error(ErrorKind::Memory, std::string("PNG: ") + trouble.text);
    }
}

}  // namespace

const Codec& PngCodec() {
    static const Codec codec{
        "png", "Portable Network Graphics", {"png"}, std::string("libpng ") + png_libpng_ver, Matches, Read, Write};
    return codec;
}

}  // namespace velhost
