// `vel info`, `vel version`
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"
#include "Module.h"
#include "Picture.h"
#include "Registry.h"

namespace veltool {
namespace {

using nlohmann::json;

json InfoJson(const std::string& path, const velhost::FileInfo& info) {
    return {{"file", path},
            {"format", info.format},
            {"stored", info.stored},
            {"width", info.width},
            {"height", info.height},
            {"alpha", info.alpha},
            {"row-order", info.bottomUp ? "bottom-up" : "top-down"},
            {"pages", info.pages},
            {"orientation", info.orientation},
            {"colour-profile", info.colourProfile}};
}

// How the picture arrives as an image; a picture that needs a conversion for that says so instead.
void AddImage(const std::string& path, json* info) {
    try {
        const SmartPtr<velhost::Image> image = LoadPicture(path, {}).image;
        (*info)["bits-per-pixel"] = image->BitsPerPixel();
        (*info)["colour-format"] = FormatName(image->Format());
        (*info)["planes"] = image->Planes();
        (*info)["palette-entries"] = image->Palette().size();
    } catch (const Failure& failure) {
        (*info)["problem"] = failure.what();
    }
}

void PrintInfo(const json& info) {
    const auto line = [](const char* name, const std::string& value) {
        std::printf("  %-14s%s\n", name, value.c_str());
    };
    const auto number = [&](const char* key) { return std::to_string(info[key].get<uint64_t>()); };
    std::printf("%s\n", Paint(Tone::Bold, info["file"].get<std::string>()).c_str());
    line("file format", info["format"].get<std::string>() + " (" + info["stored"].get<std::string>() + ")");
    line("size", number("width") + " x " + number("height"));
    if (info.contains("problem")) {
        line("problem", info["problem"].get<std::string>());
    } else {
        line("depth", number("bits-per-pixel") + "-bit, " + info["colour-format"].get<std::string>());
        line("palette", info["palette-entries"] == 0 ? "none" : number("palette-entries") + " entries");
        line("planes", number("planes"));
    }
    line("alpha", info["alpha"].get<bool>() ? "yes" : "no");
    line("rows", info["row-order"].get<std::string>());
    if (info["pages"] != 1) line("pictures", number("pages"));
    if (info["orientation"] != 1) line("orientation", number("orientation") + " (EXIF, not applied)");
    if (info["colour-profile"].get<bool>()) line("profile", "embedded (not applied)");
}

}  // namespace

int InfoCommand(const Words& words) {
    bool asJson = false;
    Words files;
    for (const std::string& word : words) {
        if (word == "--json") {
            asJson = true;
        } else if (word.starts_with('-') && word.size() > 1) {
            throw Failure(kUsage, "info: there is no option '" + word + "'; allowed is --json");
        } else {
            files.push_back(word);
        }
    }
    if (files.empty()) throw Failure(kUsage, "info: which file?");
    int code = kOk;
    json list = json::array();
    for (const std::string& file : files) {
        try {
            json info;
            try {
                info = InfoJson(file, velhost::ReadInfo(file));
            } catch (const velhost::Error& error) {
                throw Failure(CodeOf(error, true), error.what());
            }
            AddImage(file, &info);
            if (asJson) {
                list.push_back(info);
            } else {
                PrintInfo(info);
            }
        } catch (const Failure& failure) {
            SayError(failure.what());
            if (code == kOk) code = failure.Code();
        }
    }
    if (asJson && !list.empty()) std::printf("%s\n", (files.size() == 1 ? list[0] : list).dump(2).c_str());
    return code;
}

int VersionCommand(const Words& words) {
    const bool asJson = !words.empty() && words[0] == "--json";
    if (words.size() > (asJson ? 1u : 0u)) throw Failure(kUsage, "version: allowed is --json");
    json version = {{"vel", VEL_VERSION}};
    try {
        const velhost::Module module;
        version["module"] = module.Path().string();
    } catch (const velhost::Error& error) {
        version["module"] = nullptr;
        version["module-error"] = error.what();
    }
    for (const velhost::FormatInfo& format : velhost::Formats()) {
        version["formats"].push_back(
            {{"name", format.name}, {"library", format.backend}, {"extensions", format.extensions}});
    }
    if (asJson) {
        std::printf("%s\n", version.dump(2).c_str());
        return kOk;
    }
    std::printf("vel %s\n", VEL_VERSION);
    std::printf("module  %s\n", version["module"].is_null() ? version["module-error"].get<std::string>().c_str()
                                                            : version["module"].get<std::string>().c_str());
    for (const json& format : version["formats"]) {
        const std::string library = format["library"].get<std::string>();
        std::printf("%-7s %s\n", format["name"].get<std::string>().c_str(),
                    library.empty() ? "built in" : library.c_str());
    }
    return kOk;
}

}  // namespace veltool
