// JPEG through libjpeg-turbo.
//
// The library reports errors by longjmp. Everything that needs a destructor lives in the frame above the one that
// calls setjmp (see Protected); what runs below it holds plain values only.
#include <cstdio>

#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <new>

#include "codecs/Codec.h"

#ifndef JCS_EXTENSIONS
#error "libjpeg-turbo is needed: it delivers pixels as blue, green, red"
#endif

namespace velhost {

namespace {

// Progressive files can repeat the whole picture in any number of scans.
constexpr int kMaxScans = 500;

struct Trouble {
    jpeg_error_mgr manager;  // first: libjpeg knows this address
    jmp_buf jump;
    char text[JMSG_LENGTH_MAX] = "";
    bool damaged = false;  // a warning that means missing pixels
};

Trouble& TroubleOf(j_common_ptr common) { return *reinterpret_cast<Trouble*>(common->err); }

void OnError(j_common_ptr common) {
    Trouble& trouble = TroubleOf(common);
    common->err->format_message(common, trouble.text);
    std::longjmp(trouble.jump, 1);
}

// libjpeg fills what it cannot decode with grey. Warnings of that kind are errors here, the harmless ones are not.
void OnMessage(j_common_ptr common, int level) {
    if (level >= 0) return;
    Trouble& trouble = TroubleOf(common);
    ++common->err->num_warnings;
    const int code = common->err->msg_code;
    const bool harmless = code == JWRN_EXTRANEOUS_DATA || code == JWRN_ADOBE_XFORM || code == JWRN_JFIF_MAJOR ||
                          code == JWRN_BOGUS_PROGRESSION;
    if (harmless || trouble.damaged) return;
    trouble.damaged = true;
    common->err->format_message(common, trouble.text);
}

void OnText(j_common_ptr) {}

void OnProgress(j_common_ptr common) {
    const auto* decoder = reinterpret_cast<j_decompress_ptr>(common);
    if (!common->is_decompressor || decoder->input_scan_number <= kMaxScans) return;
    Trouble& trouble = TroubleOf(common);
    std::snprintf(trouble.text, sizeof trouble.text, "more than %d scans", kMaxScans);
    std::longjmp(trouble.jump, 1);
}

void Prepare(Trouble& trouble) {
    jpeg_std_error(&trouble.manager);
    trouble.manager.error_exit = OnError;
    trouble.manager.emit_message = OnMessage;
    trouble.manager.output_message = OnText;
}

// Runs `function`, which must hold nothing that needs a destructor; false when libjpeg reported an error in it.
template <class Function>
[[gnu::noinline]] bool Protected(Trouble& trouble, const Function& function) {
    if (setjmp(trouble.jump) != 0) return false;
    function();
    return true;
}

// ---------------------------------------------------------------------------------------------------------------
// Reading

struct Decoder {
    jpeg_decompress_struct codec{};
    jpeg_progress_mgr progress{};
    Trouble trouble{};

    Decoder() {
        Prepare(trouble);
        codec.err = &trouble.manager;
        progress.progress_monitor = OnProgress;
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    ~Decoder() { jpeg_destroy_decompress(&codec); }
};

// The payload of the first marker of that number that starts with `name` (its final zeros counted); empty if none.
Bytes Marker(const jpeg_decompress_struct& codec, int number, Bytes name) {
    for (const jpeg_marker_struct* marker = codec.marker_list; marker; marker = marker->next) {
        if (marker->marker != number || marker->data_length < name.size()) continue;
        if (std::memcmp(marker->data, name.data(), name.size()) != 0) continue;
        return Bytes(marker->data, marker->data_length).subspan(name.size());
    }
    return {};
}

void ReadHeader(Decoder& decoder, Bytes data) {
    jpeg_create_decompress(&decoder.codec);
    decoder.codec.progress = &decoder.progress;
    jpeg_mem_src(&decoder.codec, data.data(), static_cast<unsigned long>(data.size()));
    jpeg_save_markers(&decoder.codec, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(&decoder.codec, JPEG_APP0 + 2, 64);
    jpeg_read_header(&decoder.codec, TRUE);
}

const char* Describe(const jpeg_decompress_struct& codec) {
    switch (codec.jpeg_color_space) {
        case JCS_GRAYSCALE: return "8-bit grey";
        case JCS_RGB: return "8-bit RGB";
        case JCS_YCbCr: return "8-bit YCbCr";
        case JCS_CMYK: return "8-bit CMYK";
        case JCS_YCCK: return "8-bit YCCK";
        default: return "samples of an unknown meaning";
    }
}

bool FourInks(const jpeg_decompress_struct& codec) {
    return codec.jpeg_color_space == JCS_CMYK || codec.jpeg_color_space == JCS_YCCK;
}

// rows[y] is where row y of the image goes; `inks` is room for one row of four inks, when there are.
void ReadRows(Decoder& decoder, uint8_t* const* rows, uint8_t* inks) {
    jpeg_decompress_struct& codec = decoder.codec;
    codec.out_color_space = codec.jpeg_color_space == JCS_GRAYSCALE ? JCS_GRAYSCALE : inks ? JCS_CMYK : JCS_EXT_BGR;
    jpeg_start_decompress(&codec);
    while (codec.output_scanline < codec.output_height) {
        uint8_t* row = rows[codec.output_scanline];
        JSAMPROW target = inks ? inks : row;
        jpeg_read_scanlines(&codec, &target, 1);
        if (!inks) continue;
        // Files with Adobe's marker hold 255 minus the ink, and that is what nearly all files do.
        for (JDIMENSION x = 0; x < codec.output_width; ++x) {
            const uint32_t flip = codec.saw_Adobe_marker ? 0 : 255;
            const uint32_t black = inks[4 * x + 3] ^ flip;
            for (int c = 0; c < 3; ++c) {
                row[3 * x + 2 - c] = static_cast<uint8_t>(((inks[4 * x + c] ^ flip) * black + 127) / 255);
            }
        }
    }
    jpeg_finish_decompress(&codec);
}

bool Matches(Bytes data) { return data.size() >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF; }

Loaded Read(Bytes data, const LoadOptions& options, bool pixels) {
    Decoder decoder;
    if (!Protected(decoder.trouble, [&] { ReadHeader(decoder, data); })) {
        ThrowDamaged("JPEG: %s", decoder.trouble.text);
    }
    const jpeg_decompress_struct& codec = decoder.codec;
    static const uint8_t exif[] = {'E', 'x', 'i', 'f', 0, 0};
    static const uint8_t profile[] = {'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E', 0};
    Loaded loaded;
    loaded.info.format = "jpeg";
    loaded.info.width = codec.image_width;
    loaded.info.height = codec.image_height;
    loaded.info.stored = Describe(codec);
    loaded.info.orientation = ExifOrientation(Marker(codec, JPEG_APP0 + 1, exif));
    loaded.info.colourProfile = !Marker(codec, JPEG_APP0 + 2, profile).empty();
    CheckPage(options.page, 1);
    if (!pixels) return loaded;

    const bool grey = codec.jpeg_color_space == JCS_GRAYSCALE;
    if (codec.jpeg_color_space == JCS_UNKNOWN) {
        ThrowUnsupported("a JPEG of %d components without a meaning", codec.num_components);
    }
    if (FourInks(codec) && !options.convert.rgb) {
        ThrowUnsupported("%s pixels; the conversion 'rgb' makes them 24 bits", Describe(codec));
    }
    const Shape shape{codec.image_width, codec.image_height, grey ? 8u : 24u, grey ? FORMAT_MONO : FORMAT_BGR};
    loaded.image = NewPicture(shape, options.limits);
    std::vector<uint8_t*> rows(shape.height);
    for (uint32_t y = 0; y < shape.height; ++y) rows[y] = loaded.image->Row(y);
    std::vector<uint8_t> inks(FourInks(codec) ? size_t{shape.width} * 4 : 0);
    uint8_t* inkRow = inks.empty() ? nullptr : inks.data();
    if (!Protected(decoder.trouble, [&] { ReadRows(decoder, rows.data(), inkRow); }) || decoder.trouble.damaged) {
        ThrowDamaged("JPEG: %s", decoder.trouble.text);
    }
    return loaded;
}

// ---------------------------------------------------------------------------------------------------------------
// Writing

// Collects what libjpeg writes.
struct Encoder {
    jpeg_compress_struct codec{};
    jpeg_destination_mgr destination{};
    Trouble trouble{};
    std::vector<uint8_t>& out;
    uint8_t buffer[16384];

    explicit Encoder(std::vector<uint8_t>& bytes) : out(bytes) {
        Prepare(trouble);
        codec.err = &trouble.manager;
        destination.init_destination = [](j_compress_ptr compress) { Of(compress).Rewind(); };
        destination.empty_output_buffer = [](j_compress_ptr compress) -> boolean {
            Of(compress).Take(sizeof buffer);
            return TRUE;
        };
        destination.term_destination = [](j_compress_ptr compress) {
            Of(compress).Take(sizeof buffer - Of(compress).destination.free_in_buffer);
        };
    }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;
    ~Encoder() { jpeg_destroy_compress(&codec); }

private:
    static Encoder& Of(j_compress_ptr compress) { return *static_cast<Encoder*>(compress->client_data); }
    void Rewind() {
        destination.next_output_byte = buffer;
        destination.free_in_buffer = sizeof buffer;
    }
    // Called from libjpeg: an exception must not pass through it.
    void Take(size_t count) {
        bool taken = true;
        try {
            out.insert(out.end(), buffer, buffer + count);
        } catch (const std::bad_alloc&) {
            taken = false;
        }
        if (!taken) {
            std::snprintf(trouble.text, sizeof trouble.text, "no memory");
            std::longjmp(trouble.jump, 1);
        }
        Rewind();
    }
};

void WriteRows(Encoder& encoder, const Image& image, int quality) {
    jpeg_compress_struct& codec = encoder.codec;
    jpeg_create_compress(&codec);
    codec.client_data = &encoder;
    codec.dest = &encoder.destination;
    codec.image_width = image.Width();
    codec.image_height = image.Height();
    codec.input_components = static_cast<int>(image.BitsPerPixel() / 8);
    codec.in_color_space = image.BitsPerPixel() == 8    ? JCS_GRAYSCALE
                           : image.BitsPerPixel() == 24 ? JCS_EXT_BGR
                                                        : JCS_EXT_BGRX;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, quality, TRUE);
    // Fine quality keeps colours at full resolution; the default halves it both ways.
    if (quality >= 90) codec.comp_info[0].h_samp_factor = codec.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&codec, TRUE);
    while (codec.next_scanline < codec.image_height) {
        JSAMPROW row = image.Row(codec.next_scanline);
        jpeg_write_scanlines(&codec, &row, 1);
    }
    jpeg_finish_compress(&codec);
}

void Write(const Image& image, const SaveOptions& options, std::vector<uint8_t>& out) {
    const Pixels pixels = PixelsOf(image, options);
    const bool grey = pixels == Pixels::Grey && image.BitsPerPixel() == 8;
    if (!grey && pixels != Pixels::Colour24 && pixels != Pixels::Colour32) RefuseToSave(image, "jpeg");
    if (image.Width() > JPEG_MAX_DIMENSION || image.Height() > JPEG_MAX_DIMENSION) {
        ThrowUnsupported("jpeg holds at most %ld pixels a side; png and tiff hold more", long{JPEG_MAX_DIMENSION});
    }
    Encoder encoder(out);
    if (!Protected(encoder.trouble, [&] { WriteRows(encoder, image, options.quality); })) {
        throw Error(ErrorKind::Memory, std::string("JPEG: ") + encoder.trouble.text);
    }
}

#define VEL_TEXT2(x) #x
#define VEL_TEXT(x) VEL_TEXT2(x)

}  // namespace

const Codec& JpegCodec() {
    static const Codec codec{
        "jpeg", "JPEG", {"jpg", "jpeg", "jpe", "jfif"}, "libjpeg-turbo " VEL_TEXT(LIBJPEG_TURBO_VERSION), Matches,
        Read,   Write};
    return codec;
}

}  // namespace velhost
