#include "Files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <istream>
#include <sys/stat.h>
#include <unistd.h>

#include "codecs/Codec.h"

namespace velhost {

namespace {

// The formats of this build, in the order in which contents are tried and messages list them.
const std::vector<const Codec*>& Codecs() {
    static const std::vector<const Codec*> codecs = {
#if VEL_WITH_PNG
        &PngCodec(),
#endif
#if VEL_WITH_JPEG
        &JpegCodec(),
#endif
#if VEL_WITH_TIFF
        &TiffCodec(),
#endif
#if VEL_WITH_WEBP
        &WebPCodec(),
#endif
        &BmpCodec(),
    };
    return codecs;
}

std::string FormatNames() {
    std::string names;
    for (const Codec* codec : Codecs()) names += (names.empty() ? "" : ", ") + std::string(codec->name);
    return names;
}

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

const Codec& CodecNamed(const std::string& format) {
    const std::string name = Lower(format);
    for (const Codec* codec : Codecs()) {
        const auto& extensions = codec->extensions;
        if (codec->name == name || std::find(extensions.begin(), extensions.end(), name) != extensions.end()) {
            return *codec;
        }
    }
    throw Error(ErrorKind::Argument, "no picture format '" + format + "'; there are " + FormatNames());
}

const Codec& CodecOf(Bytes data) {
    if (data.empty()) throw Error(ErrorKind::Damaged, "the file is empty");
    for (const Codec* codec : Codecs()) {
        if (codec->matches(data)) return *codec;
    }
    throw Error(ErrorKind::Damaged, "not a picture in one of the formats " + FormatNames());
}

// Runs `function` and puts the name before the message of an error.
template <class Function>
auto Named(const std::string& name, Function function) {
    try {
        return function();
    } catch (const Error& error) {
        throw Error(error.Kind(), name + ": " + error.what());
    }
}

void CheckFileSize(uint64_t bytes, const Limits& limits) {
    if (bytes <= limits.fileBytes) return;
    throw Error(ErrorKind::Limit, "the file is beyond the limit of " + std::to_string(limits.fileBytes) + " bytes");
}

ErrorKind KindOf(int error) { return error == ENOENT || error == ENOTDIR ? ErrorKind::NotFound : ErrorKind::Access; }

[[noreturn]] void ThrowSystem(const char* what, int error) {
    throw Error(KindOf(error), std::string(what) + ": " + std::strerror(error));
}

// A descriptor that closes itself.
struct Descriptor {
    int number;
    ~Descriptor() {
        if (number >= 0) close(number);
    }
};

std::vector<uint8_t> ReadFile(const std::filesystem::path& path, const Limits& limits) {
    const Descriptor file{open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.number < 0) ThrowSystem("cannot be opened", errno);
    struct stat status {};
    if (fstat(file.number, &status) != 0) ThrowSystem("cannot be read", errno);
    if (S_ISDIR(status.st_mode)) throw Error(ErrorKind::Access, "is a folder, not a file");
    // A pipe has no size: it is read in growing steps.
    std::vector<uint8_t> data;
    if (S_ISREG(status.st_mode)) {
        CheckFileSize(static_cast<uint64_t>(status.st_size), limits);
        data.resize(static_cast<size_t>(status.st_size) + 1);
    } else {
        data.resize(65536);
    }
    size_t filled = 0;
    for (;;) {
        const ssize_t got = read(file.number, data.data() + filled, data.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) ThrowSystem("cannot be read", errno);
        if (got == 0) break;
        filled += static_cast<size_t>(got);
        CheckFileSize(filled, limits);
        if (filled == data.size()) data.resize(data.size() * 2);
    }
    data.resize(filled);
    return data;
}

}  // namespace

Conversions Conversions::Parse(const std::string& list) {
    Conversions result;
    size_t start = 0;
    while (start <= list.size()) {
        const size_t end = std::min(list.find(',', start), list.size());
        const std::string name = list.substr(start, end - start);
        const bool all = name == "all";
        if (!all && name != "widen" && name != "8bit" && name != "rgb" && name != "round") {
            throw Error(ErrorKind::Argument, "no conversion '" + name + "'; there are widen, 8bit, rgb, round and all");
        }
        result.widen |= all || name == "widen";
        result.eightBit |= name == "8bit";
        result.rgb |= all || name == "rgb";
        result.round |= all || name == "round";
        result.fallback |= all;
        start = end + 1;
    }
    return result;
}

Loaded LoadMemory(Bytes data, const LoadOptions& options, const std::string& name) {
    return Named(name, [&] {
        CheckFileSize(data.size(), options.limits);
        return CodecOf(data).read(data, options, true);
    });
}

Loaded LoadFile(const std::filesystem::path& path, const LoadOptions& options) {
    const auto data = Named(path.string(), [&] { return ReadFile(path, options.limits); });
    return LoadMemory(data, options, path.string());
}

Loaded LoadStream(std::istream& stream, const LoadOptions& options, const std::string& name) {
    std::vector<uint8_t> data;
    Named(name, [&] {
        size_t filled = 0;
        data.resize(65536);
        while (stream) {
            stream.read(reinterpret_cast<char*>(data.data() + filled),
                        static_cast<std::streamsize>(data.size() - filled));
            filled += static_cast<size_t>(stream.gcount());
            CheckFileSize(filled, options.limits);
            if (filled == data.size()) data.resize(data.size() * 2);
        }
        if (stream.bad()) throw Error(ErrorKind::Access, "cannot be read");
        data.resize(filled);
    });
    return LoadMemory(data, options, name);
}

FileInfo ReadInfo(Bytes data, const LoadOptions& options, const std::string& name) {
    return Named(name, [&] {
        CheckFileSize(data.size(), options.limits);
        return CodecOf(data).read(data, options, false).info;
    });
}

FileInfo ReadInfo(const std::filesystem::path& path, const LoadOptions& options) {
    const auto data = Named(path.string(), [&] { return ReadFile(path, options.limits); });
    return ReadInfo(data, options, path.string());
}

std::vector<uint8_t> SaveMemory(const Image& image, const SaveOptions& options) {
    std::vector<uint8_t> out;
    CodecNamed(options.format).write(image, options, out);
    return out;
}

void SaveFile(const Image& image, const std::filesystem::path& path, const SaveOptions& options) {
    SaveOptions named = options;
    Named(path.string(), [&] {
        if (named.format.empty()) named.format = FormatOf(path);
        if (named.format.empty()) {
            throw Error(ErrorKind::Argument,
                        "the name's extension is of no picture format; there are " + FormatNames());
        }
        // Said before the work of encoding; the file itself is the judge when it is renamed.
        std::error_code ignored;
        if (!options.overwrite && std::filesystem::is_regular_file(std::filesystem::symlink_status(path, ignored))) {
            throw Error(ErrorKind::Exists, "the file exists; overwriting was not asked for");
        }
    });
    const auto bytes = Named(path.string(), [&] { return SaveMemory(image, named); });
    WriteFile(path, bytes, options.overwrite, options.sync);
}

std::vector<FormatInfo> Formats() {
    std::vector<FormatInfo> formats;
    for (const Codec* codec : Codecs()) {
        formats.push_back({codec->name, codec->description, codec->extensions, codec->backend});
    }
    return formats;
}

std::string FormatOf(const std::filesystem::path& path) {
    std::string extension = Lower(path.extension().string());
    if (!extension.empty()) extension.erase(0, 1);
    for (const Codec* codec : Codecs()) {
        const auto& extensions = codec->extensions;
        if (std::find(extensions.begin(), extensions.end(), extension) != extensions.end()) return codec->name;
    }
    return {};
}

}  // namespace velhost
