#include "Gallery.h"

#include <algorithm>
#include <cstdlib>

#include "Commands.h"
#include "GalleryImages.h"

namespace veltool {

using velhost::Arguments;
using velhost::Image;
using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;

namespace {

constexpr uint32_t kLongestSide = 480;  // of the pictures on the page, pixels
constexpr uint32_t kStripSide = 200;
constexpr uint32_t kCornerSide = 20;

Arguments Parsed(const Operation& operation, const std::map<std::string, std::string>& texts) {
    Arguments arguments;
    for (const auto& [name, text] : texts) {
        const Parameter* parameter = operation.FindParameter(name);
        std::string error;
        if (!parameter || !velhost::ParseValue(*parameter, text, &arguments[name], &error)) {
            throw Failure(kOperation,
                          "gallery: " + operation.name + ": " + (parameter ? error : "no parameter " + name));
        }
    }
    return arguments;
}

// A mask: the inside of an oval.
SmartPtr<Image> OvalMask(const Image& model) {
    SmartPtr<Image> mask = Image::Make(velhost::Shape{model.Width(), model.Height(), 8, FORMAT_MONO});
    if (!mask.Get()) throw Failure(kOperation, "gallery: no memory for a mask");
    for (uint32_t y = 0; y < model.Height(); ++y) {
        for (uint32_t x = 0; x < model.Width(); ++x) {
            const double u = 2.4 * x / model.Width() - 1.2, v = 2.4 * y / model.Height() - 1.2;
            mask->Row(y)[x] = u * u + v * v < 1 ? 255 : 0;
        }
    }
    return mask;
}

std::string DepthLabel(const std::string& depth) { return depth == "integer" ? "32-bit integer" : depth + " bits"; }

}  // namespace

GalleryMaker::GalleryMaker(velhost::Module& module, std::filesystem::path folder, std::vector<std::string> photos)
    : m_module(module), m_folder(std::move(folder)), m_photos(std::move(photos)) {
    velhost::LoadOptions options;
    options.convert.fallback = true;
    const auto load = [&](const std::string& path) {
        const ImagePointer image = Expanded(LoadPicture(path, options).image);
        // Alpha of the photo itself is not shown: the gallery makes its own.
        if (image->BitsPerPixel() == 24) return Reduced(image, kLongestSide);
        ImagePointer colour = Image::Make(velhost::Shape{image->Width(), image->Height(), 24, FORMAT_BGR});
        const bool integers = image->Format() == FORMAT_MONO;
        const ImagePointer from = integers ? Viewable(image) : image;
        const uint32_t bytes = from->BitsPerPixel() / 8;
        for (uint32_t y = 0; y < from->Height(); ++y) {
            for (uint32_t x = 0; x < from->Width(); ++x) {
                for (uint32_t c = 0; c < 3; ++c)
                    colour->Row(y)[size_t{x} * 3 + c] = from->Row(y)[size_t{x} * bytes + c];
            }
        }
        return Reduced(colour, kLongestSide);
    };
    m_first = load(m_photos[0]);
    const ImagePointer other = load(m_photos.size() > 1 ? m_photos[1] : m_photos[0]);
    // The second picture in the first one's size, repeated where it is smaller.
    m_second = Image::CopyOf(m_first.Get());
    for (uint32_t y = 0; y < m_second->Height(); ++y) {
        for (uint32_t x = 0; x < m_second->Width(); ++x) {
            const uint8_t* from = other->Row(y % other->Height()) + size_t{x % other->Width()} * 3;
            std::copy(from, from + 3, m_second->Row(y) + size_t{x} * 3);
        }
    }
}

SmartPtr<Image> GalleryMaker::At(const std::string& depth, bool second) const {
    return InDepth(second ? m_second : m_first, depth);
}

Shot GalleryMaker::Save(const ImagePointer& image, const std::string& name, const std::string& caption) {
    const ImagePointer shown = Viewable(image);
    Shot shot{"images/" + name + ".png", caption, shown->Width(), shown->Height(), shown->BitsPerPixel() == 32, {}};
    if (shown->Empty()) return Shot{{}, caption, 0, 0, false, "an image without pixels"};
    velhost::SaveOptions options;
    options.overwrite = true;
    options.sync = false;
    SavePicture(*shown.Get(), (m_folder / shot.file).string(), options);
    return shot;
}

SmartPtr<Image> GalleryMaker::Run(const Operation& operation, const Arguments& arguments, const std::string& depth,
                                  std::string* note) {
    velhost::Images images;
    std::vector<ImagePointer> held;
    unsigned sources = 0;
    for (const ImageArgument& argument : operation.images) {
        ImagePointer image;
        if (argument.role == ImageArgument::Mask) image = OvalMask(*m_first.Get());
        if (argument.role == ImageArgument::Source) image = At(depth, sources++ > 0);
        if (argument.role == ImageArgument::Destination && argument.required) image = At(depth, true);
        if (!image.Get()) continue;
        images[argument.name] = image.Get();
        held.push_back(image);
    }
    const velhost::Verdict verdict = velhost::Judge(operation, images, arguments);
    if (verdict.kind != velhost::Verdict::Acts) {
        *note = verdict.note.empty() ? "left alone" : verdict.note;
        return {};
    }
    std::srand(1);
    velhost::Outcome outcome = velhost::Run(m_module, operation, images, arguments);
    auto* made = dynamic_cast<Image*>(outcome.image.Get());
    if (outcome.failed || !made) {
        *note = outcome.failed ? outcome.error : "no image came back";
        return {};
    }
    return SmartPtr<Image>(made);
}

void GalleryMaker::AddStrip(Sheet* sheet, const Arguments& arguments, const std::string& depth) {
    const Operation& operation = *sheet->operation;
    const Parameter* parameter = operation.FindParameter(operation.mainParameter);
    if (!parameter) return;
    int number = 0;
    for (const std::string& text : operation.mainValues) {
        Arguments changed = arguments;
        std::string error, note;
        if (!velhost::ParseValue(*parameter, text, &changed[parameter->name], &error)) continue;
        const ImagePointer made = Run(operation, changed, depth, &note);
        const std::string caption = "--" + parameter->name + " " + text;
        if (!made.Get()) {
            sheet->strip.push_back(Shot{{}, caption, 0, 0, false, note});
            continue;
        }
        ImagePointer shown = Viewable(made);
        if (shown->BitsPerPixel() == 24) shown = Reduced(shown, kStripSide);
        sheet->strip.push_back(Save(shown, operation.name + "-strip" + std::to_string(++number), caption));
    }
}

void GalleryMaker::AddDepths(Sheet* sheet, const Arguments& arguments) {
    // Elsewhere an integer's bytes would be taken for colours, which shows nothing.
    const bool integers = sheet->operation->component == "VELMaths" || sheet->operation->name == "kernel";
    for (const std::string& depth : GalleryDepths()) {
        if (depth == "integer" && !integers) continue;
        std::string note;
        const ImagePointer made = Run(*sheet->operation, arguments, depth, &note);
        if (!made.Get()) {
            sheet->depths.push_back(Shot{{}, DepthLabel(depth), 0, 0, false, note});
            continue;
        }
        ImagePointer shown = Viewable(made);
        if (shown->BitsPerPixel() == 24) shown = Reduced(shown, kStripSide);
        sheet->depths.push_back(Save(shown, sheet->operation->name + "-depth-" + depth, DepthLabel(depth)));
    }
}

void GalleryMaker::AddCorners(Sheet* sheet, const ImagePointer& result) {
    const ImagePointer shown = Viewable(result);
    if (shown->Width() < kCornerSide || shown->Height() < kCornerSide) return;
    const uint32_t right = shown->Width() - kCornerSide, bottom = shown->Height() - kCornerSide;
    const std::string name = sheet->operation->name;
    sheet->corners = {
        Save(Cropped(shown, 0, 0, kCornerSide, kCornerSide), name + "-corner-first", "first corner, enlarged"),
        Save(Cropped(shown, right, bottom, kCornerSide, kCornerSide), name + "-corner-last", "last corner, enlarged")};
}

Sheet GalleryMaker::Make(const Operation& operation) {
    Sheet sheet;
    sheet.operation = &operation;
    const Arguments arguments = Parsed(operation, operation.example);
    std::string note;
    for (const std::string& depth : GalleryDepths()) {
        const ImagePointer made = Run(operation, arguments, depth, &note);
        if (!made.Get()) continue;
        sheet.before = Save(At(depth, false), "photo-" + depth, "the photo, " + DepthLabel(depth));
        sheet.after = Save(made, operation.name, "after " + operation.name);
        sheet.hash = PictureHash(*made.Get());
        AddStrip(&sheet, arguments, depth);
        if (!operation.rules.window.empty() && operation.rules.border.find("nothing outside") == std::string::npos) {
            AddCorners(&sheet, made);
        }
        break;
    }
    if (sheet.after.file.empty()) sheet.after.note = note;
    AddDepths(&sheet, arguments);
    return sheet;
}

std::vector<Shot> GalleryMaker::MakeMethods() {
    const Operation* rotate = velhost::FindOperation("rotate");
    const Parameter* method = rotate->FindParameter("method");
    // A detail that reaches 4 pixels beyond what is shown: rotate leaves that margin unsampled.
    const uint32_t side = std::min({56u, m_first->Width(), m_first->Height()});
    const ImagePointer detail =
        Cropped(m_first, (m_first->Width() - side) / 2, (m_first->Height() - side) / 3, side, side);
    std::vector<Shot> shots;
    for (const velhost::Choice& choice : method->choices) {
        velhost::Images images{{rotate->images[0].name, detail.Get()}};
        Arguments arguments = Parsed(*rotate, {{"angle", "12"}});
        arguments["method"] = choice.number;
        velhost::Outcome outcome = velhost::Run(m_module, *rotate, images, arguments);
        auto* made = dynamic_cast<Image*>(outcome.image.Get());
        if (outcome.failed || !made) throw Failure(kOperation, "gallery: " + outcome.error);
        shots.push_back(Save(SmartPtr<Image>(made), "method-" + std::to_string(choice.number),
                             std::to_string(choice.number) + " " + choice.name));
    }
    return shots;
}

int GalleryCommand(const Words& words) {
    std::vector<std::string> photos;
    std::string folder;
    bool overwrite = false;
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "-o" || words[i] == "--out") {
            if (++i == words.size()) throw Failure(kUsage, "gallery: -o needs a folder");
            folder = words[i];
        } else if (words[i] == "--overwrite") {
            overwrite = true;
        } else if (words[i].starts_with('-')) {
            throw Failure(kUsage, "gallery: there is no option '" + words[i] + "'; allowed are -o DIR and --overwrite");
        } else {
            photos.push_back(words[i]);
        }
    }
    if (photos.empty()) throw Failure(kUsage, "gallery: which photo?");
    if (folder.empty()) throw Failure(kUsage, "gallery: -o DIR is missing: the folder for the page");
    const std::filesystem::path root(folder), page = root / "index.html";
    if (std::filesystem::exists(page) && !overwrite) {
        throw Failure(kOutput, page.string() + " exists (--overwrite replaces it)");
    }
    std::error_code error;
    std::filesystem::create_directories(root / "images", error);
    if (error) throw Failure(kOutput, (root / "images").string() + ": " + error.message());
    try {
        velhost::Module module;
        GalleryMaker maker(module, root, photos);
        std::vector<Sheet> sheets;
        for (const Operation& operation : velhost::Operations()) sheets.push_back(maker.Make(operation));
        const std::string text = GalleryPage(sheets, maker.MakeMethods());
        velhost::WriteFile(page, {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, overwrite);
    } catch (const velhost::Error& failure) {
        throw Failure(CodeOf(failure, false), failure.what());
    }
    std::printf("%s\n", page.string().c_str());
    return kOk;
}

}  // namespace veltool
