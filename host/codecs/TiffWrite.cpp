#include <algorithm>
#include <cstring>

#include "codecs/TiffFile.h"

namespace velhost {

namespace {

struct Compression {
    const char* name;
    uint16_t code;
};
constexpr Compression kCompressions[] = {{"none", COMPRESSION_NONE},
                                         {"lzw", COMPRESSION_LZW},
                                         {"deflate", COMPRESSION_ADOBE_DEFLATE},
                                         {"packbits", COMPRESSION_PACKBITS},
                                         {"group4", COMPRESSION_CCITTFAX4}};

uint16_t CompressionOf(const std::string& name, uint32_t bits) {
    for (const Compression& compression : kCompressions) {
        if (name != compression.name) continue;
        if (compression.code == COMPRESSION_CCITTFAX4 && bits != 1) {
            throw Error(ErrorKind::Argument, "the TIFF compression group4 is for 1-bit images");
        }
        if (!TIFFIsCODECConfigured(compression.code)) {
            throw Error(ErrorKind::Argument, "this libtiff does not know the compression " + name);
        }
        return compression.code;
    }
    throw Error(ErrorKind::Argument,
                "no TIFF compression '" + name + "'; there are none, lzw, deflate, packbits and group4");
}

// What the file says of a pixel.
struct Layout {
    uint32_t bits = 8;
    uint32_t samples = 1;
    uint32_t photometric = PHOTOMETRIC_MINISBLACK;
    bool integer = false;
    std::vector<RGBQUAD> palette;
};

Layout LayoutOf(const Image& image, Pixels pixels) {
    Layout layout;
    layout.bits = std::min(image.BitsPerPixel(), 8u);
    switch (pixels) {
        case Pixels::Colour16: RefuseToSave(image, "tiff");
        case Pixels::Grey: break;
        case Pixels::Integer32:
            layout.bits = 32;
            layout.integer = true;
            break;
        case Pixels::Palette:
            layout.palette = CompletePalette(image);
            if (SamePalette(layout.palette, GreyRamp(layout.bits, true))) {
                layout.photometric = PHOTOMETRIC_MINISWHITE;
                layout.palette.clear();
            } else {
                layout.photometric = PHOTOMETRIC_PALETTE;
                layout.palette.resize(size_t{1} << layout.bits);
            }
            break;
        case Pixels::Colour24:
        case Pixels::Colour32:
        case Pixels::Alpha32: layout.samples = pixels == Pixels::Alpha32 ? 4 : 3; layout.photometric = PHOTOMETRIC_RGB;
    }
    return layout;
}

void SetFields(TIFF* tiff, const Image& image, const Layout& layout, uint16_t compression) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, image.Width());
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, image.Height());
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, layout.bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, layout.samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, layout.photometric);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    if (layout.integer) TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_INT);
    if (layout.samples == 4) {
        const uint16_t straight = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &straight);
    }
    const bool differences = (compression == COMPRESSION_LZW || compression == COMPRESSION_ADOBE_DEFLATE) &&
                             layout.bits >= 8 && layout.palette.empty();
    if (differences) TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (!layout.palette.empty()) {
        uint16_t red[256], green[256], blue[256];
        for (size_t i = 0; i < layout.palette.size(); ++i) {
            red[i] = static_cast<uint16_t>(layout.palette[i].rgbRed * 257);
            green[i] = static_cast<uint16_t>(layout.palette[i].rgbGreen * 257);
            blue[i] = static_cast<uint16_t>(layout.palette[i].rgbBlue * 257);
        }
        TIFFSetField(tiff, TIFFTAG_COLORMAP, red, green, blue);
    }
    const uint64_t rowBytes = (uint64_t{image.Width()} * layout.bits * layout.samples + 7) / 8;
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP,
                 static_cast<uint32_t>(std::max<uint64_t>(1, (uint64_t{1} << 18) / rowBytes)));
}

}  // namespace

void WriteTiff(const Image& image, const SaveOptions& options, std::vector<uint8_t>& out) {
    const Layout layout = LayoutOf(image, PixelsOf(image, options));
    const uint16_t compression = CompressionOf(options.tiffCompression, layout.bits);
    const uint64_t rowBytes = (uint64_t{image.Width()} * layout.bits * layout.samples + 7) / 8;
    // Offsets of the common kind have 32 bits; compression may add a little.
    const bool big = rowBytes * image.Height() > 3'500'000'000u;
    TiffFile file(out, big);
    TIFF* tiff = file.Get();
    SetFields(tiff, image, layout, compression);
    // libtiff may change the row that it is given.
    std::vector<uint8_t> row(static_cast<size_t>(rowBytes));
    const uint32_t step = image.BitsPerPixel() / 8;
    for (uint32_t y = 0; y < image.Height(); ++y) {
        const uint8_t* source = image.Row(y);
        if (layout.samples == 1) {
            std::memcpy(row.data(), source, row.size());
        } else {
            uint8_t* to = row.data();
            for (uint32_t x = 0; x < image.Width(); ++x, source += step, to += layout.samples) {
                to[0] = source[2];
                to[1] = source[1];
                to[2] = source[0];
                if (layout.samples == 4) to[3] = source[3];
            }
        }
        if (TIFFWriteScanline(tiff, row.data(), y, 0) < 0) break;
    }
    file.Close();
    if (*file.Trouble("")) throw Error(ErrorKind::Memory, std::string("TIFF: ") + file.Trouble(""));
}

}  // namespace velhost
