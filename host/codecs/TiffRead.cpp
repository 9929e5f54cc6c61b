#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "codecs/TiffFile.h"

namespace velhost {

namespace {

struct Header {
    uint32_t width = 0, height = 0;
    uint32_t bits = 0, samples = 0;
    uint32_t sampleFormat = SAMPLEFORMAT_UINT;
    uint32_t photometric = 0;
    uint32_t compression = 0;
    uint32_t extra = 0xFFFF;  // meaning of the first extra sample; 0xFFFF: there is none
    uint32_t extras = 0;
    bool separate = false;  // samples in planes of their own
    bool profile = false;

    bool Is(uint32_t format, uint32_t depth) const { return sampleFormat == format && bits == depth; }
    bool IsFloat() const { return sampleFormat == SAMPLEFORMAT_IEEEFP && (bits == 32 || bits == 64); }
    bool GreyFamily() const {
        return photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE ||
               photometric == PHOTOMETRIC_PALETTE;
    }
    // Colours and alpha that arithmetic of libtiff must turn into red, green, blue.
    bool NeedsLibrary() const { return !GreyFamily() && photometric != PHOTOMETRIC_RGB; }
    bool Premultiplied() const { return extra == EXTRASAMPLE_ASSOCALPHA; }
    // Bytes of one row of one plane as decoded.
    uint64_t PlaneRowBytes() const { return (uint64_t{width} * bits * (separate ? 1 : samples) + 7) / 8; }
};

Header ReadHeader(const TiffFile& file) {
    Header header;
    TIFF* tiff = file.Get();
    header.width = file.Field32(TIFFTAG_IMAGEWIDTH);
    header.height = file.Field32(TIFFTAG_IMAGELENGTH);
    header.bits = file.Field16(TIFFTAG_BITSPERSAMPLE);
    header.samples = file.Field16(TIFFTAG_SAMPLESPERPIXEL);
    header.sampleFormat = file.Field16(TIFFTAG_SAMPLEFORMAT);
    if (header.sampleFormat == SAMPLEFORMAT_VOID) header.sampleFormat = SAMPLEFORMAT_UINT;
    header.compression = file.Field16(TIFFTAG_COMPRESSION);
    header.separate = file.Field16(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE && header.samples > 1;
    uint16_t photometric = 0;
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric)) {
        photometric = header.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    }
    header.photometric = photometric;
    uint16_t count = 0;
    uint16_t* kinds = nullptr;
    if (TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds) && count > 0 && kinds) {
        header.extras = count;
        header.extra = kinds[0];
    }
    uint32_t profileBytes = 0;
    void* profile = nullptr;
    header.profile = TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &profileBytes, &profile) != 0;
    if (header.width == 0 || header.height == 0 || header.width > INT32_MAX || header.height > INT32_MAX) {
        ThrowDamaged("a TIFF of %u x %u pixels", header.width, header.height);
    }
    // JPEG data within the file is decoded to RGB by its library, as a JPEG file is.
    if (header.compression == COMPRESSION_JPEG && header.photometric == PHOTOMETRIC_YCBCR && !header.separate) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        header.photometric = PHOTOMETRIC_RGB;
    }
    return header;
}

std::string Describe(const Header& header) {
    std::string text = std::to_string(header.bits) + "-bit ";
    if (header.sampleFormat == SAMPLEFORMAT_INT) text += "signed ";
    if (header.sampleFormat == SAMPLEFORMAT_UINT && header.bits == 32) text += "unsigned ";
    if (header.sampleFormat == SAMPLEFORMAT_IEEEFP) text += "float ";
    if (header.sampleFormat > SAMPLEFORMAT_IEEEFP) text += "complex ";
    switch (header.photometric) {
        case PHOTOMETRIC_MINISBLACK: text += "grey"; break;
        case PHOTOMETRIC_MINISWHITE: text += "grey, white is zero"; break;
        case PHOTOMETRIC_PALETTE: text += "palette"; break;
        case PHOTOMETRIC_RGB: text += "RGB"; break;
        case PHOTOMETRIC_YCBCR: text += "YCbCr"; break;
        case PHOTOMETRIC_SEPARATED: text += "CMYK"; break;
        case PHOTOMETRIC_CIELAB:
        case PHOTOMETRIC_ICCLAB:
        case PHOTOMETRIC_ITULAB: text += "L*a*b*"; break;
        default: text += "samples of photometric " + std::to_string(header.photometric);
    }
    if (header.extra == EXTRASAMPLE_UNASSALPHA) text += " with alpha";
    if (header.extra == EXTRASAMPLE_ASSOCALPHA) text += " with premultiplied alpha";
    if (header.extra == EXTRASAMPLE_UNSPECIFIED) text += " with a further sample";
    return text;
}

// ---------------------------------------------------------------------------------------------------------------
// Which way the pixels go

enum class Way {
    Copy,      // rows as they are
    Pairs,     // 2-bit to 4-bit indexes
    Integers,  // one sample to a 32-bit integer
    Grey,      // one sample to 8 bits
    Colour,    // three or four samples, or grey with alpha, to bytes of blue, green, red (and the fourth)
    Library    // libtiff's own conversion
};

struct Plan {
    Way way = Way::Copy;
    Shape shape;
};

[[noreturn]] void Refuse(const Header& header, const char* help) {
    if (!help) ThrowUnsupported("TIFF with %s pixels", Describe(header).c_str());
    ThrowUnsupported("%s pixels; %s", Describe(header).c_str(), help);
}

Plan PlanForGrey(const Header& header, const Conversions& convert, Plan plan) {
    const bool to8 = convert.eightBit;
    if (header.sampleFormat == SAMPLEFORMAT_UINT && header.bits <= 8) {
        if (header.bits != 1 && header.bits != 2 && header.bits != 4 && header.bits != 8) Refuse(header, nullptr);
        plan.way = header.bits == 2 ? Way::Pairs : Way::Copy;
        plan.shape.bitsPerPixel = header.bits == 2 ? 4 : header.bits;
        plan.shape.format = header.photometric == PHOTOMETRIC_MINISBLACK ? FORMAT_MONO : FORMAT_BGR;
        return plan;
    }
    if (header.photometric != PHOTOMETRIC_MINISBLACK) Refuse(header, nullptr);
    plan.shape.bitsPerPixel = 32;
    plan.shape.format = FORMAT_MONO;
    if (header.Is(SAMPLEFORMAT_INT, 32)) return plan;

    plan.way = Way::Integers;
    const bool small = header.Is(SAMPLEFORMAT_INT, 8) || header.Is(SAMPLEFORMAT_INT, 16);
    if (small && convert.widen) return plan;
    if (small) Refuse(header, "the conversion 'widen' makes them 32-bit integers");
    const bool wide = header.IsFloat() || header.Is(SAMPLEFORMAT_UINT, 32);
    if (!wide && !header.Is(SAMPLEFORMAT_UINT, 16)) Refuse(header, nullptr);
    if (to8) {
        plan.way = Way::Grey;
        plan.shape.bitsPerPixel = 8;
        return plan;
    }
    if (wide ? convert.round : convert.widen) return plan;
    Refuse(header, wide ? "the conversion 'round' makes them 32-bit integers, '8bit' cuts them"
                        : "the conversion 'widen' makes them 32-bit integers, '8bit' cuts them");
}

Plan PlanForColour(const Header& header, const Conversions& convert, Plan plan) {
    const bool grey = header.photometric == PHOTOMETRIC_MINISBLACK;
    const uint32_t colours = grey ? 1 : 3;
    if (header.samples < colours || header.samples > colours + 1) {
        ThrowUnsupported("TIFF with %u samples a pixel", header.samples);
    }
    const bool fourth = header.samples == colours + 1;
    if (grey && fourth && header.extra == EXTRASAMPLE_UNSPECIFIED) Refuse(header, nullptr);
    const bool known =
        (header.sampleFormat == SAMPLEFORMAT_UINT && (header.bits == 8 || header.bits == 16 || header.bits == 32)) ||
        header.IsFloat();
    if (!known) Refuse(header, nullptr);
    if (header.bits != 8 && !convert.eightBit && !convert.fallback) {
        Refuse(header, "the conversion '8bit' cuts them to 8 bits a sample");
    }
    if (grey && !convert.widen) Refuse(header, "the conversion 'widen' makes them 32 bits with alpha");
    if (header.Premultiplied() && !convert.rgb) Refuse(header, "the conversion 'rgb' divides the colours by alpha");
    plan.way = Way::Colour;
    plan.shape.bitsPerPixel = fourth ? 32 : 24;
    plan.shape.format =
        fourth && header.extra != EXTRASAMPLE_UNSPECIFIED && header.extra != 0xFFFF ? FORMAT_ARGB : FORMAT_BGR;
    return plan;
}

Plan PlanFor(const Header& header, const Conversions& convert) {
    Plan plan;
    plan.shape = {header.width, header.height, 24, FORMAT_BGR};
    if (header.NeedsLibrary()) {
        if (!convert.rgb) Refuse(header, "the conversion 'rgb' makes them 24 bits");
        plan.way = Way::Library;
        return plan;
    }
    if (header.GreyFamily() && header.samples == 1) return PlanForGrey(header, convert, plan);
    if (header.photometric == PHOTOMETRIC_MINISWHITE || header.photometric == PHOTOMETRIC_PALETTE) {
        ThrowUnsupported("TIFF with %s pixels of %u samples", Describe(header).c_str(), header.samples);
    }
    return PlanForColour(header, convert, plan);
}

// ---------------------------------------------------------------------------------------------------------------
// Rows of the file

// A decoded band of rows, one buffer per plane of the file. Strips are bands; a row of tiles is one.
class Bands {
public:
    Bands(const TiffFile& file, const Header& header, const Limits& limits) : m_file(file), m_header(header) {
        TIFF* tiff = file.Get();
        m_tiled = TIFFIsTiled(tiff) != 0;
        const uint32_t rows = file.Field32(m_tiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP);
        m_rows = std::clamp<uint32_t>(rows, 1, header.height);
        m_planes.resize(header.separate ? header.samples : 1);
        m_pieceBytes = m_tiled ? TIFFTileSize64(tiff) : TIFFVStripSize64(tiff, m_rows);
        m_pieceRowBytes = m_tiled ? TIFFTileRowSize64(tiff) : TIFFScanlineSize64(tiff);
        const uint64_t bandBytes = uint64_t{m_rows} * header.PlaneRowBytes() * m_planes.size();
        if (m_pieceBytes > limits.bytes || bandBytes > limits.bytes) {
            throw Error(ErrorKind::Limit,
                        "TIFF strips or tiles of " + std::to_string(std::max(m_pieceBytes, bandBytes)) +
                            " bytes are beyond the limit of " + std::to_string(limits.bytes) + " bytes");
        }
        const bool fits = m_tiled
                              ? m_pieceRowBytes != 0 && m_pieceBytes / m_pieceRowBytes >= m_rows
                              : m_pieceRowBytes == header.PlaneRowBytes() && m_pieceBytes == m_pieceRowBytes * m_rows;
        if (!fits) ThrowUnsupported("TIFF with strips or tiles of an unusual layout");
        for (auto& plane : m_planes) plane.resize(static_cast<size_t>(m_rows * header.PlaneRowBytes()));
        if (m_tiled) m_tile.resize(static_cast<size_t>(m_pieceBytes));
    }

    // Row y of a plane. Rows are asked for from the top.
    const uint8_t* Row(uint32_t y, size_t plane) {
        if (y / m_rows != m_band) Decode(y / m_rows);
        return m_planes[plane].data() + static_cast<size_t>(y % m_rows * m_header.PlaneRowBytes());
    }

private:
    void Decode(uint32_t band) {
        const uint32_t first = band * m_rows;
        const uint32_t rows = std::min(m_rows, m_header.height - first);
        for (size_t p = 0; p < m_planes.size(); ++p) {
            const auto sample = static_cast<uint16_t>(p);
            if (m_tiled) {
                DecodeTiles(first, rows, sample);
            } else {
                const auto bytes = static_cast<tmsize_t>(rows * m_header.PlaneRowBytes());
                const uint32_t strip = TIFFComputeStrip(m_file.Get(), first, sample);
                Check(TIFFReadEncodedStrip(m_file.Get(), strip, m_planes[p].data(), bytes), bytes);
            }
        }
        m_band = band;
    }

    void DecodeTiles(uint32_t first, uint32_t rows, uint16_t sample) {
        const uint64_t rowBytes = m_header.PlaneRowBytes();
        const uint32_t tileWidth = m_file.Field32(TIFFTAG_TILEWIDTH);
        uint64_t at = 0;  // byte of the row where the tile starts; tile widths are multiples of 16 pixels
        for (uint32_t x = 0; x < m_header.width && at < rowBytes; x += tileWidth, at += m_pieceRowBytes) {
            const uint32_t tile = TIFFComputeTile(m_file.Get(), x, first, 0, sample);
            Check(TIFFReadEncodedTile(m_file.Get(), tile, m_tile.data(), static_cast<tmsize_t>(m_pieceBytes)),
                  static_cast<tmsize_t>(m_pieceBytes));
            const auto used = static_cast<size_t>(std::min(m_pieceRowBytes, rowBytes - at));
            for (uint32_t r = 0; r < rows; ++r) {
                std::memcpy(m_planes[sample].data() + r * rowBytes + at, m_tile.data() + r * m_pieceRowBytes, used);
            }
            if (tileWidth > m_header.width - x) break;
        }
    }

    void Check(tmsize_t got, tmsize_t wanted) const {
        if (got != wanted) ThrowDamaged("TIFF: %s", m_file.Trouble("the file ends early"));
    }

    const TiffFile& m_file;
    const Header& m_header;
    bool m_tiled = false;
    uint32_t m_rows = 0;
    uint64_t m_pieceBytes = 0, m_pieceRowBytes = 0;
    uint32_t m_band = UINT32_MAX;
    std::vector<std::vector<uint8_t>> m_planes;
    std::vector<uint8_t> m_tile;
};

// ---------------------------------------------------------------------------------------------------------------
// Samples, in the machine's byte order as libtiff delivers them

template <class T>
T Fetch(const uint8_t* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

double FloatSample(const Header& header, const uint8_t* p) {
    return header.bits == 32 ? static_cast<double>(Fetch<float>(p)) : Fetch<double>(p);
}

uint8_t Sample8(const Header& header, const uint8_t* p) {
    if (header.sampleFormat == SAMPLEFORMAT_IEEEFP) {
        const double value = FloatSample(header, p) * 255;
        return static_cast<uint8_t>(value > 0 ? std::floor(std::min(value, 255.0) + 0.5) : 0.0);  // a NaN becomes 0
    }
    if (header.bits == 8) return *p;
    return header.bits == 16 ? EightBits(Fetch<uint16_t>(p)) : static_cast<uint8_t>(Fetch<uint32_t>(p) >> 24);
}

int32_t SampleInteger(const Header& header, const uint8_t* p) {
    if (header.sampleFormat == SAMPLEFORMAT_IEEEFP) {
        const double value = std::nearbyint(FloatSample(header, p));
        if (!(value > INT32_MIN)) return std::isnan(value) ? 0 : INT32_MIN;
        return value < INT32_MAX ? static_cast<int32_t>(value) : INT32_MAX;
    }
    const bool isSigned = header.sampleFormat == SAMPLEFORMAT_INT;
    if (header.bits == 8) return static_cast<int8_t>(*p);
    if (header.bits == 16) return isSigned ? Fetch<int16_t>(p) : Fetch<uint16_t>(p);
    return static_cast<int32_t>(std::min<uint32_t>(Fetch<uint32_t>(p), INT32_MAX));
}

uint8_t DividedByAlpha(uint32_t value, uint32_t alpha) {
    return static_cast<uint8_t>(alpha == 0 ? 0 : std::min(255u, (value * 255 + alpha / 2) / alpha));
}

void ColourRow(const Header& header, Bands& bands, uint32_t y, uint8_t* out, uint32_t outBytes) {
    const size_t sampleBytes = header.bits / 8;
    const bool grey = header.photometric == PHOTOMETRIC_MINISBLACK;
    const uint8_t* samples[4] = {};
    for (uint32_t s = 0; s < header.samples; ++s) {
        samples[s] = header.separate ? bands.Row(y, s) : bands.Row(y, 0) + s * sampleBytes;
    }
    const size_t step = header.separate ? sampleBytes : sampleBytes * header.samples;
    for (uint32_t x = 0; x < header.width; ++x, out += outBytes) {
        const size_t at = x * step;
        for (uint32_t c = 0; c < 3; ++c) out[2 - c] = Sample8(header, samples[grey ? 0 : c] + at);
        if (outBytes != 4) continue;
        out[3] = Sample8(header, samples[header.samples - 1] + at);
        if (!header.Premultiplied()) continue;
        for (int c = 0; c < 3; ++c) out[c] = DividedByAlpha(out[c], out[3]);
    }
}

void ReadRows(const TiffFile& file, const Header& header, const Plan& plan, const Limits& limits, const Image& image) {
    Bands bands(file, header, limits);
    const size_t sampleBytes = header.bits / 8;
    for (uint32_t y = 0; y < header.height; ++y) {
        uint8_t* out = image.Row(y);
        if (plan.way == Way::Colour) {
            ColourRow(header, bands, y, out, plan.shape.bitsPerPixel / 8);
            continue;
        }
        const uint8_t* row = bands.Row(y, 0);
        switch (plan.way) {
            case Way::Integers:
                for (uint32_t x = 0; x < header.width; ++x) {
                    const int32_t value = SampleInteger(header, row + x * sampleBytes);
                    std::memcpy(out + size_t{x} * 4, &value, 4);
                }
                break;
            case Way::Grey:
                for (uint32_t x = 0; x < header.width; ++x) out[x] = Sample8(header, row + x * sampleBytes);
                break;
            default:
                std::memcpy(out, row, static_cast<size_t>(header.PlaneRowBytes()));
                if (plan.way == Way::Pairs) {
                    WidenRow2To4(out, header.width, header.photometric == PHOTOMETRIC_PALETTE ? 1 : 5);
                }
        }
    }
}

void ReadByLibrary(const TiffFile& file, const Header& header, const Limits& limits, const Image& image) {
    CheckLimits({header.width, header.height, 32}, limits);
    char text[1024] = "";
    if (!TIFFRGBAImageOK(file.Get(), text)) ThrowUnsupported("TIFF with %s pixels: %s", Describe(header).c_str(), text);
    std::vector<uint32_t> raster(size_t{header.width} * header.height);
    // Asked for in the orientation that the file has, so that nothing is turned.
    const auto orientation = static_cast<int>(file.Field16(TIFFTAG_ORIENTATION));
    if (!TIFFReadRGBAImageOriented(file.Get(), header.width, header.height, raster.data(), orientation, 1)) {
        ThrowDamaged("TIFF: %s", file.Trouble("cannot be decoded"));
    }
    for (uint32_t y = 0; y < header.height; ++y) {
        uint8_t* out = image.Row(y);
        const uint32_t* row = &raster[size_t{y} * header.width];
        for (uint32_t x = 0; x < header.width; ++x, out += 3) {
            out[0] = static_cast<uint8_t>(TIFFGetB(row[x]));
            out[1] = static_cast<uint8_t>(TIFFGetG(row[x]));
            out[2] = static_cast<uint8_t>(TIFFGetR(row[x]));
        }
    }
}

// The palette of indexes: the file's colour map, or the falling ramp where white is zero.
void TakePalette(const TiffFile& file, const Header& header, Image& image) {
    const uint32_t entries = 1u << header.bits;
    std::vector<RGBQUAD> palette;
    if (header.photometric == PHOTOMETRIC_MINISWHITE) {
        palette = GreyRamp(header.bits, true);
    } else {
        uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
        if (!TIFFGetField(file.Get(), TIFFTAG_COLORMAP, &red, &green, &blue)) ThrowDamaged("a TIFF palette is missing");
        // The table's 16-bit values are 8-bit ones times 257 or 256, or, from some writers, as they are.
        bool wide = false;
        for (uint32_t i = 0; i < entries; ++i) wide |= red[i] > 255 || green[i] > 255 || blue[i] > 255;
        const auto cut = [wide](uint32_t v) { return static_cast<uint8_t>(wide ? v >> 8 : v); };
        for (uint32_t i = 0; i < entries; ++i) palette.push_back({cut(blue[i]), cut(green[i]), cut(red[i]), 0});
    }
    if (!image.SetPalette(palette)) throw std::bad_alloc();
}

}  // namespace

Loaded ReadTiff(Bytes data, const LoadOptions& options, bool pixels) {
    const TiffFile file(data, options.limits.bytes);
    Loaded loaded;
    loaded.info.pages = TIFFNumberOfDirectories(file.Get());
    if (loaded.info.pages == 0) ThrowDamaged("TIFF: %s", file.Trouble("the directories cannot be counted"));
    CheckPage(options.page, loaded.info.pages);
    if (!TIFFSetDirectory(file.Get(), static_cast<tdir_t>(options.page))) {
        ThrowDamaged("TIFF: %s", file.Trouble("a directory cannot be read"));
    }
    const Header header = ReadHeader(file);
    if (file.FieldLost()) ThrowDamaged("TIFF: a field of the directory is broken");
    loaded.info.format = "tiff";
    loaded.info.width = header.width;
    loaded.info.height = header.height;
    loaded.info.stored = Describe(header);
    loaded.info.alpha = header.extra == EXTRASAMPLE_ASSOCALPHA || header.extra == EXTRASAMPLE_UNASSALPHA;
    loaded.info.orientation = std::clamp(file.Field16(TIFFTAG_ORIENTATION), 1u, 8u);
    loaded.info.colourProfile = header.profile;
    if (!pixels) return loaded;

    const Plan plan = PlanFor(header, options.convert);
    loaded.image = NewPicture(plan.shape, options.limits);
    Image& image = *loaded.image.Get();
    const bool indexes = plan.way == Way::Copy || plan.way == Way::Pairs;
    if (indexes && plan.shape.bitsPerPixel <= 8 && header.photometric != PHOTOMETRIC_MINISBLACK) {
        TakePalette(file, header, image);
    }
    if (plan.way == Way::Library) {
        ReadByLibrary(file, header, options.limits, image);
    } else {
        ReadRows(file, header, plan, options.limits, image);
    }
    return loaded;
}

}  // namespace velhost
