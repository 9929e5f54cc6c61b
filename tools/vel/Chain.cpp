#include "Chain.h"

#include <cstdlib>
#include <filesystem>

namespace veltool {

using velhost::Image;
using velhost::ImageArgument;

SmartPtr<Image> SideImages::Get(const std::string& path) {
    SmartPtr<Image>& image = m_images[path];
    if (!image.Get()) {
        image = LoadPicture(path, m_options.load).image;
        if (m_options.expand) image = Expanded(image);
    }
    return image;
}

SmartPtr<Image> Chain::RunStep(const Step& step, const SmartPtr<Image>& image, FileResult* result) {
    velhost::Images images;
    std::vector<SmartPtr<Image>> held;
    images[step.piped] = image.Get();
    for (const auto& [name, path] : step.imageFiles) {
        SmartPtr<Image> side = m_side.Get(path);
        // A destination is drawn into, and the next picture needs it as it was.
        if (step.operation->FindImage(name)->role == ImageArgument::Destination) side = Image::CopyOf(side.Get());
        if (!side.Get()) throw Failure(kInput, step.label + ": no memory for a copy of " + path);
        images[name] = side.Get();
        held.push_back(std::move(side));
    }
    velhost::Outcome outcome = velhost::Run(m_module, *step.operation, images, step.arguments);
    const bool lowDepth = image->BitsPerPixel() < 24 && image->BitsPerPixel() != 8 && !m_plan.options.expand;
    const std::string way = lowDepth ? " (--expand reads such pictures as 24-bit colour)" : "";
    if (outcome.failed) throw Failure(kOperation, step.label + ": " + outcome.error + way);
    for (const std::string& note : outcome.notes) {
        if (m_plan.options.strict) throw Failure(kOperation, step.label + ": " + note + way);
        result->notes.push_back(step.label + ": " + note + way);
    }
    if (outcome.count) result->counts.emplace_back(step.label, *outcome.count);
    // Whatever made the result, the host's collection made its image.
    auto* made = dynamic_cast<Image*>(outcome.image.Get());
    if (!made) throw Failure(kOperation, step.label + ": no image came back");
    return SmartPtr<Image>(made);
}

// The format of an output that none was asked for: by its name, or the input's where it has no name or the input's own.
static std::string FormatFor(const Job& job, const std::string& inputFormat) {
    const auto extension = [](const std::string& path) { return std::filesystem::path(path).extension(); };
    std::string format = velhost::FormatOf(job.output);
    if (!format.empty()) return format;
    if (job.output == "-" || (job.input != "-" && extension(job.output) == extension(job.input))) return inputFormat;
    throw Failure(kOutput, "'" + job.output + "' does not say which format to write; --as FORMAT does");
}

FileResult Chain::Process(const Job& job, unsigned index) {
    FileResult result;
    result.input = job.input;
    result.output = job.output;
    const RunOptions& options = m_plan.options;
    try {
        velhost::Loaded loaded = LoadPicture(job.input, options.load);
        SmartPtr<Image> image = options.expand ? Expanded(loaded.image) : loaded.image;
        // The generator is the process's; a start of its own makes a file's result independent of the others.
        std::srand(options.seed.value_or(1) + index);
        for (const Step& step : m_plan.steps) image = RunStep(step, image, &result);
        velhost::SaveOptions save = options.save;
        save.overwrite = job.replace;
        if (save.format.empty()) save.format = FormatFor(job, loaded.info.format);
        if (job.makeFolder) MakeFolderOf(job.output);
        SavePicture(*image.Get(), job.output, save);
        result.width = image->Width();
        result.height = image->Height();
        result.bitsPerPixel = image->BitsPerPixel();
    } catch (const Failure& failure) {
        result.status = FileResult::Failed;
        result.code = failure.Code();
        result.error = failure.what();
    }
    return result;
}

}  // namespace veltool
