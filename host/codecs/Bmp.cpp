// BMP, read and written by our own code: no kept library keeps low depths, palettes, 5-6-5 words and row order.
#include <algorithm>
#include <bit>
#include <cstring>
#include <optional>

#include "codecs/Codec.h"

namespace velhost {

namespace {

enum Compression : uint32_t { kRgb = 0, kRle8 = 1, kRle4 = 2, kBitFields = 3, kAlphaBitFields = 6 };

constexpr size_t kFileHeader = 14;
constexpr uint32_t kCoreHeader = 12, kInfoHeader = 40, kV2Header = 52, kV3Header = 56, kV4Header = 108, kV5Header = 124;

struct Masks {
    uint32_t red = 0, green = 0, blue = 0, alpha = 0;
    bool operator==(const Masks&) const = default;
};
constexpr Masks kMasks555{0x7C00, 0x03E0, 0x001F, 0};
constexpr Masks kMasks565{0xF800, 0x07E0, 0x001F, 0};
constexpr Masks kMasks32{0x00FF0000, 0x0000FF00, 0x000000FF, 0};

struct Header {
    uint32_t size = 0;  // of the information header
    uint32_t width = 0;
    uint32_t height = 0;
    bool bottomUp = true;
    uint32_t bits = 0;
    uint32_t compression = kRgb;
    Masks masks;
    std::vector<RGBQUAD> palette;
    size_t pixels = 0;  // offset of the pixel data
    bool profile = false;

    bool RunLength() const { return compression == kRle8 || compression == kRle4; }
    // Rows are padded to multiples of four bytes.
    uint64_t StoredRowBytes() const { return (uint64_t{width} * bits + 31) / 32 * 4; }
};

// Reads the file's numbers; anything behind the end is damage.
class Reader {
public:
    explicit Reader(Bytes data) : m_data(data) {}
    uint32_t U16(size_t at) const { return Word16(At(at, 2)); }
    uint32_t U32(size_t at) const { return Word32(At(at, 4)); }
    int32_t I32(size_t at) const { return static_cast<int32_t>(U32(at)); }
    const uint8_t* At(size_t at, size_t bytes) const {
        if (at > m_data.size() || bytes > m_data.size() - at) ThrowDamaged("the BMP ends within its header");
        return m_data.data() + at;
    }

private:
    Bytes m_data;
};

void ReadSize(const Reader& in, Header& header) {
    int32_t width = 0, height = 0;
    if (header.size == kCoreHeader) {
        width = static_cast<int32_t>(in.U16(kFileHeader + 4));
        height = static_cast<int32_t>(in.U16(kFileHeader + 6));
        header.bits = in.U16(kFileHeader + 10);
    } else {
        width = in.I32(kFileHeader + 4);
        height = in.I32(kFileHeader + 8);
        header.bits = in.U16(kFileHeader + 14);
        // Short variants of the 64-byte header stop before this field.
        if (header.size >= 20) header.compression = in.U32(kFileHeader + 16);
    }
    if (width <= 0 || height == 0 || height == INT32_MIN) ThrowDamaged("a BMP of %d x %d pixels", width, height);
    header.width = static_cast<uint32_t>(width);
    header.height = static_cast<uint32_t>(height < 0 ? -height : height);
    header.bottomUp = height > 0;
}

// Masks stand in the header from its second version on, and behind a first-version header.
void ReadMasks(const Reader& in, Header& header) {
    if (header.bits == 16) header.masks = kMasks555;
    if (header.bits == 32) header.masks = kMasks32;
    if (header.compression != kBitFields && header.compression != kAlphaBitFields) return;
    const size_t at = kFileHeader + kInfoHeader;
    header.masks = {in.U32(at), in.U32(at + 4), in.U32(at + 8), 0};
    if (header.size >= kV3Header || header.compression == kAlphaBitFields) header.masks.alpha = in.U32(at + 12);
}

void ReadPalette(const Reader& in, Header& header) {
    size_t at = kFileHeader + header.size;
    if (header.size == kInfoHeader) {
        at += header.compression == kBitFields ? 12 : header.compression == kAlphaBitFields ? 16 : 0;
    }
    if (header.bits > 8) return;
    const bool core = header.size == kCoreHeader;
    const uint32_t full = 1u << header.bits;
    uint32_t entries = !core && header.size >= kInfoHeader ? in.U32(kFileHeader + 32) : 0;
    if (entries == 0 || entries > full) entries = full;
    const size_t entryBytes = core ? 3 : 4;
    // Some writers of the oldest header leave out what they do not use: the pixels then begin within the table.
    if (core && header.pixels > at)
        entries = std::min<uint32_t>(entries, static_cast<uint32_t>((header.pixels - at) / 3));
    const uint8_t* table = in.At(at, entries * entryBytes);
    for (uint32_t i = 0; i < entries; ++i, table += entryBytes)
        header.palette.push_back({table[0], table[1], table[2], 0});
}

void CheckCompression(const Header& header) {
    const uint32_t bits = header.bits;
    const bool known = header.compression == kRgb
                           ? bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32
                       : header.compression == kRle8 ? bits == 8
                       : header.compression == kRle4 ? bits == 4
                       : header.compression == kBitFields || header.compression == kAlphaBitFields
                           ? bits == 16 || bits == 32
                           : false;
    if (known) return;
    if (header.compression == 4 || header.compression == 5) {
        ThrowUnsupported("a BMP that wraps a %s picture", header.compression == 4 ? "JPEG" : "PNG");
    }
    ThrowUnsupported("a BMP of %u bits with compression %u", bits, header.compression);
}

Header ReadHeader(Bytes data) {
    const Reader in(data);
    Header header;
    header.pixels = in.U32(10);
    header.size = in.U32(kFileHeader);
    const uint32_t sizes[] = {kCoreHeader, 16, kInfoHeader, kV2Header, kV3Header, 64, kV4Header, kV5Header};
    if (std::find(std::begin(sizes), std::end(sizes), header.size) == std::end(sizes)) {
        ThrowDamaged("a BMP with a header of %u bytes", header.size);
    }
    in.At(kFileHeader, header.size);
    ReadSize(in, header);
    CheckCompression(header);
    ReadMasks(in, header);
    ReadPalette(in, header);
    if (header.size >= kV5Header) header.profile = in.U32(kFileHeader + 116) != 0;
    if (header.pixels > data.size()) ThrowDamaged("the BMP ends before its pixels");
    return header;
}

// ---------------------------------------------------------------------------------------------------------------
// Layouts

// How the stored pixels become an image's.
struct Layout {
    uint32_t bitsPerPixel = 0;
    uint32_t format = FORMAT_BGR;
    enum { AsStored, Pairs, From555, ByteOrder } way = AsStored;
    uint8_t order[4] = {0, 1, 2, 3};  // ByteOrder: which stored byte becomes blue, green, red, the fourth
};

// The byte of a word that a mask selects whole; none when it is not one whole byte.
std::optional<uint8_t> MaskByte(uint32_t mask) {
    for (uint8_t i = 0; i < 4; ++i) {
        if (mask == 0xFFu << (8 * i)) return i;
    }
    return std::nullopt;
}

Layout Layout32(const Masks& masks) {
    const auto blue = MaskByte(masks.blue), green = MaskByte(masks.green), red = MaskByte(masks.red),
               alpha = MaskByte(masks.alpha);
    const bool whole = blue && green && red && (alpha || masks.alpha == 0);
    const uint32_t all = masks.blue | masks.green | masks.red | masks.alpha;
    if (!whole || std::popcount(all) != (alpha ? 32 : 24)) {
        ThrowUnsupported("a 32-bit BMP with the masks %08X %08X %08X %08X; only whole bytes can be read", masks.red,
                         masks.green, masks.blue, masks.alpha);
    }
    Layout layout{32, alpha ? FORMAT_ARGB : FORMAT_BGR, Layout::ByteOrder, {*blue, *green, *red, 0}};
    layout.order[3] = *MaskByte(~(masks.blue | masks.green | masks.red));
    if (*blue == 0 && *green == 1 && *red == 2) layout.way = Layout::AsStored;
    return layout;
}

Layout Layout16(const Masks& masks, const Conversions& convert) {
    if (masks == kMasks565) return {16};
    if (masks == kMasks555) {
        if (convert.widen) return {16, FORMAT_BGR, Layout::From555};
        ThrowUnsupported("16-bit pixels of 5-5-5 bits; the conversion 'widen' makes them 5-6-5");
    }
    ThrowUnsupported("a 16-bit BMP with the masks %04X %04X %04X %04X; 5-6-5 and 5-5-5 can be read", masks.red,
                     masks.green, masks.blue, masks.alpha);
}

Layout LayoutOf(const Header& header, const Conversions& convert) {
    switch (header.bits) {
        case 32: return Layout32(header.masks);
        case 24: return {24};
        case 16: return Layout16(header.masks, convert);
        case 2: return {4, FORMAT_BGR, Layout::Pairs};
        default: {
            const bool grey = SamePalette(header.palette, GreyRamp(header.bits));
            return {header.bits, grey ? FORMAT_MONO : FORMAT_BGR};
        }
    }
}

void ConvertRow(const Layout& layout, uint8_t* row, uint32_t width) {
    if (layout.way == Layout::Pairs) return WidenRow2To4(row, width, 1);
    if (layout.way == Layout::From555) {
        for (uint32_t x = 0; x < width; ++x, row += 2) {
            const uint32_t v = Word16(row);
            const uint32_t green = v >> 5 & 0x1F;
            const uint32_t word = (v & 0x1F) | (green << 1 | green >> 4) << 5 | (v >> 10 & 0x1F) << 11;
            row[0] = static_cast<uint8_t>(word);
            row[1] = static_cast<uint8_t>(word >> 8);
        }
    }
    if (layout.way == Layout::ByteOrder) {
        for (uint32_t x = 0; x < width; ++x, row += 4) {
            uint8_t pixel[4];
            for (int i = 0; i < 4; ++i) pixel[i] = row[layout.order[i]];
            std::memcpy(row, pixel, 4);
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Pixels

// The image's row for the n-th stored one.
uint8_t* StoredRow(const Image& image, const Header& header, uint32_t n) {
    return image.Row(header.bottomUp ? header.height - 1 - n : n);
}

void ReadPlain(Bytes data, const Header& header, const Layout& layout, const Image& image) {
    const uint64_t rowBytes = header.StoredRowBytes();
    const size_t used = static_cast<size_t>((uint64_t{header.width} * header.bits + 7) / 8);
    const Bytes pixels = data.subspan(header.pixels);
    // The last row's padding may be missing.
    if (pixels.size() < rowBytes * (header.height - 1) + used) ThrowDamaged("the BMP ends within its pixels");
    for (uint32_t n = 0; n < header.height; ++n) {
        uint8_t* row = StoredRow(image, header, n);
        std::memcpy(row, pixels.data() + rowBytes * n, used);
        ConvertRow(layout, row, header.width);
    }
}

// Run-length data: pairs of a count and a value, or of 0 and a command: 0 ends the row, 1 the picture, 2 moves on by
// two bytes' columns and rows, 3 and more are that many values as they are, padded to 16 bits.
class RunLength {
public:
    RunLength(Bytes data, const Header& header, const Image& image)
        : m_data(data.subspan(header.pixels)), m_header(header), m_image(image) {}

    void Read() {
        while (m_y < m_header.height) {
            const uint32_t count = Next(), value = Next();
            if (count > 0) {
                for (uint32_t i = 0; i < count; ++i) Put(Half(value, i));
            } else if (value == 0) {
                m_x = 0;
                ++m_y;
            } else if (value == 1) {
                return;
            } else if (value == 2) {
                m_x += Next();
                m_y += Next();
            } else {
                Literal(value);
            }
        }
    }

private:
    uint32_t Next() {
        if (m_at == m_data.size()) ThrowDamaged("the BMP ends within its pixels");
        return m_data[m_at++];
    }
    // A byte is one 8-bit value or two 4-bit ones, used in turns.
    uint32_t Half(uint32_t value, uint32_t i) const {
        return m_header.bits == 8 ? value : i % 2 == 0 ? value >> 4 : value & 0x0F;
    }
    void Literal(uint32_t count) {
        const uint32_t bytes = m_header.bits == 8 ? count : (count + 1) / 2;
        uint32_t value = 0;
        for (uint32_t i = 0; i < count; ++i) {
            if (m_header.bits == 8 || i % 2 == 0) value = Next();
            Put(Half(value, i));
        }
        // The very last padding byte is sometimes left out.
        if (bytes % 2 != 0 && m_at < m_data.size()) ++m_at;
    }
    void Put(uint32_t value) {
        if (m_x >= m_header.width || m_y >= m_header.height) return;
        uint8_t* row = StoredRow(m_image, m_header, m_y);
        if (m_header.bits == 8) {
            row[m_x] = static_cast<uint8_t>(value);
        } else {
            row[m_x / 2] = static_cast<uint8_t>(m_x % 2 == 0 ? value << 4 : row[m_x / 2] | value);
        }
        ++m_x;
    }

    Bytes m_data;
    const Header& m_header;
    const Image& m_image;
    size_t m_at = 0;
    uint32_t m_x = 0, m_y = 0;
};

std::string Describe(const Header& header) {
    std::string text = std::to_string(header.bits) + "-bit ";
    if (header.bits <= 8) {
        text += SamePalette(header.palette, GreyRamp(header.bits)) ? "grey" : "palette";
    } else if (header.bits == 16) {
        text += header.masks == kMasks565 ? "5-6-5" : header.masks == kMasks555 ? "5-5-5" : "masks";
    } else {
        text += header.masks.alpha ? "colour with alpha" : "colour";
    }
    return header.RunLength() ? text + ", run-length" : text;
}

bool Matches(Bytes data) { return data.size() >= 2 && data[0] == 'B' && data[1] == 'M'; }

Loaded Read(Bytes data, const LoadOptions& options, bool pixels) {
    const Header header = ReadHeader(data);
    Loaded loaded;
    loaded.info.format = "bmp";
    loaded.info.width = header.width;
    loaded.info.height = header.height;
    loaded.info.stored = Describe(header);
    loaded.info.alpha = header.masks.alpha != 0;
    loaded.info.bottomUp = header.bottomUp;
    loaded.info.colourProfile = header.profile;
    CheckPage(options.page, 1);
    if (!pixels) return loaded;

    const Layout layout = LayoutOf(header, options.convert);
    CheckLimits({header.width, header.height, layout.bitsPerPixel}, options.limits);
    // Plain pixels that are not there are no reason to make room for them. The last row's padding may be missing.
    if (!header.RunLength() && (data.size() - header.pixels + 3) / header.StoredRowBytes() < header.height) {
        ThrowDamaged("the BMP ends within its pixels");
    }
    loaded.image = NewPicture({header.width, header.height, layout.bitsPerPixel, layout.format}, options.limits,
                              header.bottomUp ? RowOrder::BottomUp : RowOrder::TopDown);
    if (header.bits <= 8 && layout.format != FORMAT_MONO && !loaded.image->SetPalette(header.palette)) {
        throw std::bad_alloc();
    }
    if (header.RunLength()) {
        RunLength(data, header, *loaded.image.Get()).Read();
    } else {
        ReadPlain(data, header, layout, *loaded.image.Get());
    }
    return loaded;
}

// ---------------------------------------------------------------------------------------------------------------
// Writing

class Writer {
public:
    explicit Writer(std::vector<uint8_t>& out) : m_out(out) {}
    void U16(uint32_t v) {
        m_out.push_back(static_cast<uint8_t>(v));
        m_out.push_back(static_cast<uint8_t>(v >> 8));
    }
    void U32(uint32_t v) {
        U16(v);
        U16(v >> 16);
    }
    void Zeros(size_t count) { m_out.insert(m_out.end(), count, 0); }

private:
    std::vector<uint8_t>& m_out;
};

void Write(const Image& image, const SaveOptions& options, std::vector<uint8_t>& out) {
    const Pixels pixels = PixelsOf(image, options);
    if (pixels == Pixels::Integer32) RefuseToSave(image, "bmp");
    const bool alpha = pixels == Pixels::Alpha32;
    const bool masks = pixels == Pixels::Colour16;
    std::vector<RGBQUAD> palette;
    if (pixels == Pixels::Palette) palette = CompletePalette(image);
    if (pixels == Pixels::Grey) palette = GreyRamp(image.BitsPerPixel());

    const uint32_t headerSize = alpha ? kV4Header : kInfoHeader;
    const uint64_t offset = kFileHeader + headerSize + (masks ? 12 : 0) + palette.size() * 4;
    const size_t rowBytes = static_cast<size_t>(image.GetShape().RowBytes());
    const uint64_t storedRow = (uint64_t{rowBytes} + 3) / 4 * 4;
    const uint64_t total = offset + storedRow * image.Height();
    if (total > UINT32_MAX) ThrowUnsupported("bmp files hold at most 4 GiB; png and tiff hold it");
    const bool bottomUp = options.rows == SaveOptions::Rows::AsImage ? image.Order() == RowOrder::BottomUp
                                                                     : options.rows == SaveOptions::Rows::BottomUp;

    out.reserve(static_cast<size_t>(total));
    Writer to(out);
    out.push_back('B');
    out.push_back('M');
    to.U32(static_cast<uint32_t>(total));
    to.U32(0);
    to.U32(static_cast<uint32_t>(offset));
    to.U32(headerSize);
    to.U32(image.Width());
    to.U32(bottomUp ? image.Height() : 0u - image.Height());
    to.U16(1);
    to.U16(image.BitsPerPixel());
    to.U32(alpha || masks ? kBitFields : kRgb);
    to.U32(static_cast<uint32_t>(storedRow * image.Height()));
    to.Zeros(8);  // resolution: not known
    to.U32(static_cast<uint32_t>(palette.size()));
    to.U32(0);
    if (alpha || masks) {
        const Masks& written = alpha ? kMasks32 : kMasks565;
        to.U32(written.red);
        to.U32(written.green);
        to.U32(written.blue);
    }
    if (alpha) {
        to.U32(0xFF000000u);
        to.U32(0x73524742u);  // the colours are sRGB
        to.Zeros(kV4Header - kV3Header - 4);
    }
    for (const RGBQUAD& entry : palette) {
        out.insert(out.end(), {entry.rgbBlue, entry.rgbGreen, entry.rgbRed, 0});
    }
    for (uint32_t n = 0; n < image.Height(); ++n) {
        const uint8_t* row = image.Row(bottomUp ? image.Height() - 1 - n : n);
        out.insert(out.end(), row, row + rowBytes);
        to.Zeros(static_cast<size_t>(storedRow) - rowBytes);
    }
}

}  // namespace

const Codec& BmpCodec() {
    static const Codec codec{"bmp", "Windows and OS/2 bitmap", {"bmp", "dib"}, "", Matches, Read, Write};
    return codec;
}

}  // namespace velhost
