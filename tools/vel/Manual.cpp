// `vel manual`: the manual's pages of operations, made from the registry.
#include <cstdio>
#include <filesystem>

#include "Commands.h"
#include "Console.h"
#include "Describe.h"
#include "Files.h"
#include "Gallery.h"
#include "GalleryImages.h"
#include "Picture.h"

namespace veltool {
namespace {

using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;

constexpr uint32_t kPictureSide = 320;  // of one half of a picture, pixels
constexpr uint32_t kGap = 8;

// Text as a table's cell takes it.
std::string Cell(const std::string& text) {
    std::string cell;
    for (const char c : text) cell += c == '|' ? "\\|" : c == '\n' ? " " : c == '<' ? "&lt;" : std::string(1, c);
    return cell;
}

std::string ParameterTable(const Operation& operation) {
    if (operation.parameters.empty()) return "It has no parameters.\n";
    std::string text = "| parameter | meaning |\n|---|---|\n";
    for (const Parameter& parameter : operation.parameters) {
        text += "| `--" + parameter.name + Placeholder(parameter) + "` | " + Cell(ParameterText(parameter)) + " |\n";
        for (const velhost::Choice& choice : parameter.choices) {
            text +=
                "| &emsp;`" + choice.name + "` (" + std::to_string(choice.number) + ") | " + Cell(choice.doc) + " |\n";
        }
    }
    return text;
}

std::string ImageTable(const Operation& operation) {
    if (operation.images.size() < 2) return {};
    std::string text = "\n| image | meaning |\n|---|---|\n";
    for (const ImageArgument& image : operation.images) {
        text += "| `--" + image.name + " FILE` | " + Cell(image.doc) + (image.required ? "" : "; optional") + " |\n";
    }
    return text + "\n" + kPipedPlace + "\n";
}

std::string OperationPage(const Operation& operation) {
    std::string text = "# " + operation.name + "\n\n" + operation.summary + ". " + operation.details + "\n\n";
    text += "![before and after](pictures/" + operation.name + ".jpg)\n\n";
    text += "```\n" + UsageLine(operation) + "\n```\n\n" + ParameterTable(operation) + ImageTable(operation);
    text += "\n## Example\n\n```\n" + ExampleLine(operation) + "\n```\n\nFrom Python:\n\n```python\n" +
            PythonLine(operation) + "\n```\n\n## Rules\n\n";
    text += "Beside the [common rules](README.md#common-rules):\n\n| | |\n|---|---|\n";
    for (const auto& [name, value] : RuleLines(operation)) {
        if (!value.empty()) text += "| " + Cell(name) + " | " + Cell(value) + " |\n";
    }
    return text;
}

std::string IndexOfOperations() {
    std::string text, component;
    for (const Operation& operation : velhost::Operations()) {
        if (operation.component != component) {
            component = operation.component;
            text += "\n### " + component + "\n\n| operation | |\n|---|---|\n";
        }
        text += "| [" + operation.name + "](" + operation.name + ".md) | " + Cell(operation.summary) + " |\n";
    }
    return text;
}

// Before and after on a checkerboard's grey, side by side.
SmartPtr<velhost::Image> SideBySide(const Sheet& sheet, const std::filesystem::path& folder) {
    const auto load = [&](const Shot& shot) {
        return FlattenedOnGrey(LoadPicture((folder / shot.file).string(), {}).image, kPictureSide);
    };
    const SmartPtr<velhost::Image> left = load(sheet.before), right = load(sheet.after);
    return Beside(left, right, kGap);
}

void Write(const std::filesystem::path& path, const std::string& text) {
    velhost::WriteFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, true, false);
}

void WritePictures(const std::filesystem::path& folder, const std::vector<std::string>& photos) {
    std::filesystem::create_directories(folder / "pictures");
    const std::filesystem::path scratch = folder / "pictures" / "scratch";
    std::filesystem::create_directories(scratch / "images");
    velhost::Module module;
    GalleryMaker maker(module, scratch, photos);
    for (const Operation& operation : velhost::Operations()) {
        const Sheet sheet = maker.Make(operation);
        if (sheet.after.file.empty()) throw Failure(kOperation, "manual: " + operation.name + ": " + sheet.after.note);
        velhost::SaveOptions options;
        options.overwrite = true;
        options.sync = false;
        options.quality = 80;
        SavePicture(*SideBySide(sheet, scratch).Get(), (folder / "pictures" / (operation.name + ".jpg")).string(),
                    options);
    }
    std::filesystem::remove_all(scratch);
}

}  // namespace

int ManualCommand(const Words& words) {
    std::string folder;
    std::vector<std::string> photos;
    for (size_t i = 0; i < words.size(); ++i) {
        if ((words[i] == "-o" || words[i] == "--out") && i + 1 < words.size()) {
            folder = words[++i];
        } else if (words[i].starts_with('-')) {
            throw Failure(kUsage, "manual: there is no option '" + words[i] + "'; allowed is -o DIR");
        } else {
            photos.push_back(words[i]);
        }
    }
    if (folder.empty()) throw Failure(kUsage, "manual: -o DIR is missing: the folder for the pages");
    try {
        std::filesystem::create_directories(folder);
        const std::filesystem::path root(folder);
        for (const Operation& operation : velhost::Operations()) {
            Write(root / (operation.name + ".md"), OperationPage(operation));
        }
        Write(root / "operations.md", "# Operations\n" + IndexOfOperations());
        if (!photos.empty()) WritePictures(root, photos);
    } catch (const velhost::Error& error) {
        throw Failure(CodeOf(error, false), error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        throw Failure(kOutput, error.what());
    }
    return kOk;
}

}  // namespace veltool
