// Picture files of the C interface.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <nlohmann/json.hpp>

#include "../Files.h"
#include "Internal.h"

using namespace velcapi;

namespace {

// The caller's structure over the defaults: of an older version it is shorter; of a newer one, what is unknown here
// must be 0.
template <class T>
T Complete(const T* given, void (*initialise)(T*)) {
    T options;
    initialise(&options);
    if (!given) return options;
    const size_t size = given->size;
    if (size < sizeof options.size) Refuse("options.size is not set to the size of the structure");
    const auto* bytes = reinterpret_cast<const uint8_t*>(given);
    if (size > sizeof options && std::any_of(bytes + sizeof options, bytes + size, [](uint8_t b) { return b != 0; })) {
        Refuse("options of a newer version than this library");
    }
    std::memcpy(&options, given, std::min(size, sizeof options));
    return options;
}

velhost::LoadOptions LoadOptionsOf(const vel_load_options* given) {
    const vel_load_options options = Complete(given, vel_load_options_init);
    velhost::LoadOptions made;
    made.limits = {options.max_pixels, options.max_bytes, options.max_file_bytes};
    if (options.convert >= VEL_CONVERT_ALL * 2) Refuse("there is no such conversion");
    const auto asked = [&options](uint32_t what) { return (options.convert & (what | VEL_CONVERT_ALL)) != 0; };
    made.convert = {.widen = asked(VEL_CONVERT_WIDEN),
                    .eightBit = asked(VEL_CONVERT_EIGHT_BIT),
                    .rgb = asked(VEL_CONVERT_RGB),
                    .round = asked(VEL_CONVERT_ROUND),
                    .fallback = asked(VEL_CONVERT_ALL)};
    made.page = options.page;
    return made;
}

velhost::SaveOptions SaveOptionsOf(const vel_save_options* given) {
    const vel_save_options options = Complete(given, vel_save_options_init);
    velhost::SaveOptions made;
    if (options.format) made.format = options.format;
    if (options.tiff_compression) made.tiffCompression = options.tiff_compression;
    if (options.rows > VEL_ROWS_BOTTOM_UP) Refuse("options.rows is none of VEL_ROWS_...");
    if (options.alpha > VEL_ALPHA_DROP) Refuse("options.alpha is none of VEL_ALPHA_...");
    if (options.quality < 1 || options.quality > 100) Refuse("options.quality must be 1 to 100");
    if (options.effort > 9) Refuse("options.effort must be 0 to 9");
    made.overwrite = options.overwrite != 0;
    made.sync = options.sync != 0;
    made.rows = static_cast<velhost::SaveOptions::Rows>(options.rows);
    made.alpha = static_cast<velhost::SaveOptions::Alpha>(options.alpha);
    made.quality = static_cast<int>(options.quality);
    made.lossless = options.lossless != 0;
    made.effort = static_cast<int>(options.effort);
    return made;
}

}  // namespace

void vel_load_options_init(vel_load_options* options) {
    if (!options) return;
    const velhost::Limits limits;
    *options = {sizeof *options, 0, VEL_CONVERT_NONE, 0, limits.pixels, limits.bytes, limits.fileBytes};
}

void vel_save_options_init(vel_save_options* options) {
    if (!options) return;
    *options = {sizeof *options, 0, nullptr, nullptr, 1, VEL_ROWS_AS_IMAGE, VEL_ALPHA_BY_FORMAT, 90, 1, 6};
}

vel_result vel_image_load(const char* path, const vel_load_options* options, vel_image** image) {
    return Guard([&] {
        *Needed(image, "image") = nullptr;
        return Give(velhost::LoadFile(Needed(path, "path"), LoadOptionsOf(options)).image, image);
    });
}

vel_result vel_image_load_memory(const void* data, size_t bytes, const vel_load_options* options, vel_image** image) {
    return Guard([&] {
        *Needed(image, "image") = nullptr;
        const auto* first = static_cast<const uint8_t*>(Needed(data, "data"));
        return Give(velhost::LoadMemory({first, bytes}, LoadOptionsOf(options)).image, image);
    });
}

vel_result vel_image_save(vel_image* image, const char* path, const vel_save_options* options) {
    return Guard([&] {
        velhost::SaveFile(Needed(image), Needed(path, "path"), SaveOptionsOf(options));
        return VEL_OK;
    });
}

vel_result vel_image_save_memory(vel_image* image, const vel_save_options* options, void** data, size_t* bytes) {
    return Guard([&] {
        *Needed(data, "data") = nullptr;
        *Needed(bytes, "bytes") = 0;
        const auto content = velhost::SaveMemory(Needed(image), SaveOptionsOf(options));
        void* memory = std::malloc(std::max<size_t>(content.size(), 1));
        if (!memory) throw std::bad_alloc();
        std::memcpy(memory, content.data(), content.size());
        *data = memory;
        *bytes = content.size();
        return VEL_OK;
    });
}

vel_result vel_formats_json(const char** json) {
    return Guard([&] {
        static const std::string text = [] {
            nlohmann::json list = nlohmann::json::array();
            for (const velhost::FormatInfo& format : velhost::Formats()) {
                list.push_back({{"name", format.name},
                                {"description", format.description},
                                {"extensions", format.extensions},
                                {"library", format.backend}});
            }
            return list.dump();
        }();
        *Needed(json, "json") = text.c_str();
        return VEL_OK;
    });
}
