// Picture files: loaded as they are, saved as they are, or refused with a message that says what would help.
//
// Format  reads                                            writes
//   bmp   1, 4, 8 bits (plain and run-length), 5-6-5, 24,   every image but 32-bit "MONO"
//         32, any masks of V4 and V5 headers that match
//         those layouts; both row orders
//   png   1, 2, 4, 8 bits grey or palette, 24, 32           1, 4, 8, 24, 32
//   jpeg  8 bits grey, 24                                   8 "MONO", 24
//   tiff  1, 4, 8 bits grey or palette, 24, 32,             1, 4, 8, 24, 32, 32 "MONO"
//         32-bit signed grey
//   webp  24, 32                                            24, 32
//
// Image.h says which depth, format code and palette stand for what. Further rules:
// - Grey without a palette is "MONO". A palette that is exactly the grey ramp of a BMP's depth is how a BMP says grey.
// - 2-bit pictures have no depth here and arrive at 4 bits: indexes as they are, grey levels times 5.
// - TIFF's "white is zero" arrives as stored, with the falling grey ramp as palette, and is saved as it came.
// - Alpha arrives as straight alpha, "ARGB". 32-bit BMP without an alpha mask is "BGR ": its fourth byte is kept, but
//   means nothing, and formats other than BMP are given three channels.
// - BMP keeps its row order (bottom-up is a negative stride); all other formats are top-down.
// - EXIF orientation is not applied, colour profiles and gamma are not applied; FileInfo tells of them, and they are
//   not written back. JPEG always becomes RGB or grey by the usual matrices of its library.
// - Several pictures in one file: LoadOptions::page picks one. Animated WebP is refused.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "Error.h"
#include "Image.h"

namespace velhost {

// Tested before memory is allocated; a picture beyond one is refused with ErrorKind::Limit.
struct Limits {
    uint64_t pixels = uint64_t{1} << 28;     // width * height
    uint64_t bytes = uint64_t{4} << 30;      // of the decoded pixels in the machine's memory
    uint64_t fileBytes = uint64_t{4} << 30;  // of the file itself
};

// What may be done to a picture that no image can hold as it is. Nothing of it happens unasked, nor to a picture that
// can be held. The names in quotes are those that messages and users use.
struct Conversions {
    // "widen", nothing is lost: 16-bit grey to 32-bit "MONO", 5-5-5 to 5-6-5 (green's top bit repeated), grey with
    // alpha and transparent palette entries or colours to 32 bits.
    bool widen = false;
    // "8bit": 16-bit samples by v / 257 rounded, 32-bit unsigned ones by their top byte; floats by 0..1 -> 0..255.
    // Preferred over `widen` where both apply.
    bool eightBit = false;
    // "rgb": CMYK, YCCK, CIE L*a*b* and YCbCr files that need arithmetic of their own, to 24 bits.
    bool rgb = false;
    // "round": floats and unsigned 32-bit values to the nearest integer that 32-bit "MONO" holds.
    bool round = false;
    // "all": whatever it takes. Like widen, rgb and round together, and 8bit where nothing else helps.
    bool fallback = false;

    // Parses these names, or several with commas. Throws ErrorKind::Argument.
    static Conversions Parse(const std::string& list);
};

struct LoadOptions {
    Limits limits;
    Conversions convert;
    uint32_t page = 0;  // which picture of a file that holds several, from 0
};

struct FileInfo {
    std::string format;          // "bmp", "png", "jpeg", "tiff", "webp"
    uint32_t width = 0;          // pixels
    uint32_t height = 0;         // rows
    uint32_t pages = 1;          // pictures in the file
    std::string stored;          // how the file keeps its pixels, such as "8-bit palette, run-length" or "16-bit grey"
    bool alpha = false;          // the file holds an alpha channel or transparent colours
    bool bottomUp = false;       // rows are stored from the bottom
    uint32_t orientation = 1;    // EXIF orientation 1..8, 1: as stored
    bool colourProfile = false;  // an ICC profile is embedded
};

struct Loaded {
    SmartPtr<Image> image;
    FileInfo info;
};

// All loaders look at the content, never at a name. They throw ErrorKind::NotFound, Access, Unsupported, Damaged,
// Limit, Argument (a page that is not there) or Memory; `name` stands at the start of the message.
Loaded LoadFile(const std::filesystem::path& path, const LoadOptions& options = {});
Loaded LoadStream(std::istream& stream, const LoadOptions& options = {}, const std::string& name = "stream");
Loaded LoadMemory(std::span<const uint8_t> data, const LoadOptions& options = {}, const std::string& name = "memory");

// The same without decoding pixels: also for pictures that Load refuses for their pixel format or their size in
// pixels.
FileInfo ReadInfo(const std::filesystem::path& path, const LoadOptions& options = {});
FileInfo ReadInfo(std::span<const uint8_t> data, const LoadOptions& options = {}, const std::string& name = "memory");

struct SaveOptions {
    std::string format;      // one of Formats(); empty: by the file name's extension
    bool overwrite = false;  // replace a file that is there
    bool sync = true;        // the file is on the disk before it gets its name

    enum class Rows { AsImage, TopDown, BottomUp };
    Rows rows = Rows::AsImage;  // bmp

    // What the fourth byte of 32-bit pixels is (for png, tiff, webp): alpha unless the format code is "BGR ".
    enum class Alpha { ByFormatCode, Keep, Drop };
    Alpha alpha = Alpha::ByFormatCode;

    int quality = 90;      // jpeg and lossy webp, 1..100
    bool lossless = true;  // webp
    int effort = 6;        // png and webp, 0 (fast) .. 9 (small)
    // tiff: "none", "lzw", "deflate", "packbits", "group4" (1 bit only)
    std::string tiffCompression = "lzw";
};

// Writes to a temporary name in the same folder and renames: the name holds the old content or all of the new one.
// A name that is a device or a pipe is written to directly. Throws ErrorKind::Exists, Access, Unsupported (the format
// cannot hold the image; the message says which can), Argument or Memory.
void SaveFile(const Image& image, const std::filesystem::path& path, const SaveOptions& options = {});
// The file's bytes; options.format must be given.
std::vector<uint8_t> SaveMemory(const Image& image, const SaveOptions& options);

// Formats of this build, by the name that SaveOptions takes.
struct FormatInfo {
    std::string name;
    std::string description;
    std::vector<std::string> extensions;  // lower case, without a dot
    std::string backend;                  // name and version of the library behind it, empty for our own code
};
std::vector<FormatInfo> Formats();
// The format whose extension the name has, whatever its case; empty when there is none.
std::string FormatOf(const std::filesystem::path& path);

// Writes a whole file the way SaveFile does (for reports and journals).
void WriteFile(const std::filesystem::path& path, std::span<const uint8_t> bytes, bool overwrite, bool sync = true);

// Deletes temporary files that WriteFile and SaveFile of this process have not renamed yet. Async-signal-safe: for a
// handler that ends the process.
void RemoveTemporaryFiles() noexcept;
// The same for the file `path` that another process of that number was writing and that was killed.
void RemoveTemporaryFilesOf(const std::filesystem::path& path, long process) noexcept;

}  // namespace velhost
