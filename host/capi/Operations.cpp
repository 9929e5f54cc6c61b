// Operations of the C interface: a call's images and arguments, its run, and results in the caller's memory.
#include <algorithm>
#include <cstring>

#include <nlohmann/json.hpp>

#include "../Module.h"
#include "../Registry.h"
#include "Internal.h"
#include "Mapping.h"

using namespace velcapi;
using velhost::Image;
using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;
using velhost::ResultKind;
using velhost::ValueType;

namespace {

// Messages of the registry name parameters as options of a command line.
std::string WithoutHyphens(const std::string& text) { return text.starts_with("--") ? text.substr(2) : text; }

IVEL* AsIVEL(Image* image) { return static_cast<IVELImageDIB*>(image); }

// A value that the caller gave in binary form; empty where the kind does not fit the parameter.
velhost::Value BinaryValue(const Parameter& parameter, const vel_argument& given) {
    const auto& value = given.value;
    switch (given.kind) {
        case VEL_INTEGER:
            if (parameter.type == ValueType::Float) return static_cast<double>(value.integer);
            return value.integer;
        case VEL_FLOAT: return value.real;
        case VEL_BOOLEAN: return value.integer != 0;
        case VEL_COLOUR: return velhost::Colour{value.colour.red, value.colour.green, value.colour.blue};
        case VEL_SIZE: return velhost::Size{value.size.width, value.size.height};
        case VEL_POINT: return velhost::Point{value.point.x, value.point.y};
        case VEL_TABLE: {
            velhost::Table table;
            std::copy_n(Needed(value.table, "the table"), table.size(), table.begin());
            return table;
        }
        case VEL_KERNEL: {
            const int32_t* first = Needed(value.kernel, "the kernel");
            if (given.side < 1 || given.side > 255) Refuse(parameter.name + ": a kernel's side is 1 to 255");
            const velhost::Kernel kernel{given.side, {first, first + given.side * given.side}};
            const bool narrow = parameter.minimum < parameter.maximum;
            for (const int32_t coefficient : kernel.coefficients) {
                if (narrow && (coefficient < parameter.minimum || coefficient > parameter.maximum)) {
                    Refuse(parameter.name + ": " + velhost::AllowedText(parameter));
                }
            }
            return kernel;
        }
        default: return {};
    }
}

// Everything of one call.
struct Request {
    const Operation* operation;
    velhost::Images images;
    velhost::Arguments arguments;
    std::vector<SmartPtr<RunMapping>> mappings;

    Request(const char* name, const vel_image_argument* imageList, size_t imageCount, const vel_argument* argumentList,
            size_t argumentCount);
    void AddArgument(const vel_argument& given);
    // Where the result of an operation that makes no new image goes; null when it makes one.
    const ImageArgument* Changed() const;
    Image* Given(const ImageArgument& argument) const;
};

Request::Request(const char* name, const vel_image_argument* imageList, size_t imageCount,
                 const vel_argument* argumentList, size_t argumentCount)
    : operation(velhost::FindOperation(Needed(name, "the operation's name"))) {
    if (!operation) {
        throw velhost::Error(velhost::ErrorKind::NotFound,
                             "there is no operation '" + std::string(name) + "'" +
                                 velhost::DidYouMean(name, velhost::OperationNames(true)));
    }
    if (imageCount != 0) Needed(imageList, "the list of images");
    if (argumentCount != 0) Needed(argumentList, "the list of arguments");
    for (size_t i = 0; i < imageCount; ++i) {
        const char* imageName = Needed(imageList[i].name, "an image's name");
        const ImageArgument* known = operation->FindImage(imageName);
        const std::string key = known ? known->name : imageName;
        if (images.contains(key)) Refuse("the image '" + key + "' is given twice");
        images[key] = AsIVEL(Inner(imageList[i].image));
    }
    for (size_t i = 0; i < argumentCount; ++i) AddArgument(argumentList[i]);
    std::string error;
    if (!velhost::CheckCall(*operation, images, arguments, &error)) {
        Refuse(operation->name + ": " + WithoutHyphens(error));
    }
}

void Request::AddArgument(const vel_argument& given) {
    const char* name = Needed(given.name, "a parameter's name");
    if (given.kind == VEL_NOT_GIVEN) return;
    const Parameter* parameter = operation->FindParameter(name);
    if (!parameter) {
        arguments[name];  // the check of the whole call says what is wrong with it
        return;
    }
    if (arguments.contains(parameter->name)) Refuse("the parameter '" + parameter->name + "' is given twice");
    velhost::Value value;
    std::string error;
    if (given.kind == VEL_TEXT) {
        if (!ParseValue(*parameter, Needed(given.value.text, "a parameter's text"), &value, &error)) {
            Refuse(operation->name + ": " + WithoutHyphens(error));
        }
    } else if (given.kind == VEL_MAPPING) {
        auto mapping = SmartPtr<RunMapping>::Adopt(new RunMapping(*Needed(given.value.mapping, "the mapping")));
        value = velhost::Mapping{"", SmartPtr<ITransform>(mapping.Get())};
        mappings.push_back(std::move(mapping));
    } else {
        value = BinaryValue(*parameter, given);
    }
    if (!velhost::CheckValue(*parameter, value, &error)) Refuse(operation->name + ": " + WithoutHyphens(error));
    arguments[parameter->name] = std::move(value);
}

Image* Request::Given(const ImageArgument& argument) const {
    const auto found = images.find(argument.name);
    return found == images.end() || !found->second ? nullptr
                                                   : static_cast<Image*>(static_cast<IVELImageDIB*>(found->second));
}

const ImageArgument* Request::Changed() const {
    if (operation->result == ResultKind::NewImage) return nullptr;
    if (operation->result != ResultKind::Destination) return &operation->images.front();
    for (const ImageArgument& argument : operation->images) {
        if (argument.role == ImageArgument::Destination && Given(argument)) return &argument;
    }
    return nullptr;
}

struct Finished {
    SmartPtr<Image> image;
    int64_t count = -1;
};

vel_result RunRequest(const Request& request, Finished* finished) {
    ThreadState& state = State();
    state.code = 0;
    state.notes.clear();
    const velhost::Verdict verdict = velhost::Judge(*request.operation, request.images, request.arguments);
    if (verdict.kind == velhost::Verdict::Impossible) Refuse(request.operation->name + ": " + verdict.note);
    velhost::Outcome outcome = velhost::Run(TheModule(), *request.operation, request.images, request.arguments);
    state.code = outcome.code;
    for (const auto& mapping : request.mappings) {
        if (mapping->Stopped()) return Fail(VEL_ERROR_CALLBACK, "the mapping's function asked to stop");
    }
    if (outcome.failed) return Fail(VEL_ERROR_OPERATION, (request.operation->name + ": " + outcome.error).c_str());
    for (const std::string& note : outcome.notes) state.notes += (state.notes.empty() ? "" : "\n") + note;
    finished->image = dynamic_cast<Image*>(outcome.image.Get());
    if (!finished->image.Get()) return Fail(VEL_ERROR_INTERNAL, "the operation's result is no image of this library");
    finished->count = outcome.count.value_or(-1);
    return VEL_OK;
}

// From the lowest byte of the pixels to behind the highest.
std::pair<intptr_t, intptr_t> Block(const Image& image) {
    if (image.Empty()) return {0, 0};
    const auto first = reinterpret_cast<intptr_t>(image.Row(0));
    const auto last = reinterpret_cast<intptr_t>(image.Row(image.Height() - 1));
    return {std::min(first, last), std::max(first, last) + static_cast<intptr_t>(image.GetShape().RowBytes())};
}

bool Overlap(const Image& a, const Image& b) {
    const auto [beginA, endA] = Block(a);
    const auto [beginB, endB] = Block(b);
    return beginA < endB && beginB < endA;
}

bool SameSizeAndDepth(const Image& a, const Image& b) {
    return a.Width() == b.Width() && a.Height() == b.Height() && a.BitsPerPixel() == b.BitsPerPixel() &&
           a.Planes() == b.Planes();
}

std::string ShapeText(const Image& image) {
    return std::to_string(image.Width()) + "x" + std::to_string(image.Height()) + " at " +
           std::to_string(image.BitsPerPixel()) + " bits";
}

// Pixels, palette and format code of `from`, which has out's size and depth or is refused.
void Deliver(Image& from, Image& out) {
    if (&from == &out) return;
    if (!SameSizeAndDepth(from, out)) {
        Refuse("out is " + ShapeText(out) + ", but the result is " + ShapeText(from));
    }
    out.SetFormat(from.Format());
    const bool inPlace = out.Row(0) == from.Row(0) && out.Stride() == from.Stride();
    const bool done = inPlace ? out.SetPalette(from.Palette()) : out.Assign(AsIVEL(&from), 0) == S_OK;
    if (!done) throw std::bad_alloc();
}

// The image that is changed is out itself, or a copy where out does not fit or is one of the other inputs.
vel_result RunOnCopy(Request& request, const ImageArgument& changed, Image& out, Finished* finished) {
    Image* const original = request.Given(changed);
    bool direct = SameSizeAndDepth(*original, out);
    for (const ImageArgument& argument : request.operation->images) {
        const Image* other = request.Given(argument);
        if (other && other != original && Overlap(*other, out)) direct = false;
    }
    // What replaces an image may have another shape.
    if (request.operation->result == ResultKind::Replaces) direct = false;
    SmartPtr<Image> copy;
    if (direct) {
        Deliver(*original, out);
        copy = &out;
    } else {
        copy = Image::CopyOf(AsIVEL(original));
        if (!copy.Get()) throw std::bad_alloc();
    }
    request.images[changed.name] = AsIVEL(copy.Get());
    return RunRequest(request, finished);
}

// Operations may move whole strides, so what lies between the rows of a crop is not safe from them.
bool HasForeignGaps(const Image& image) {
    const int64_t stride = image.Stride();
    return image.Wrapped() && image.Height() > 1 &&
           static_cast<uint64_t>(stride < 0 ? -stride : stride) != image.GetShape().RowBytes();
}

vel_result RunIntoMemory(const Request& request, Image& out, Finished* finished) {
    bool direct = !out.Empty() && !HasForeignGaps(out);
    for (const auto& [name, image] : request.images) {
        if (image && Overlap(*static_cast<Image*>(static_cast<IVELImageDIB*>(image)), out)) direct = false;
    }
    if (!direct) return RunRequest(request, finished);
    const velhost::ResultMemory scope(out);
    return RunRequest(request, finished);
}

}  // namespace

vel_result vel_run(const char* operation, const vel_image_argument* images, size_t image_count,
                   const vel_argument* arguments, size_t argument_count, vel_image** result, int64_t* count) {
    return Guard([&] {
        if (result) *result = nullptr;
        if (count) *count = 0;
        const Request request(operation, images, image_count, arguments, argument_count);
        Finished finished;
        if (const vel_result code = RunRequest(request, &finished); code != VEL_OK) return code;
        if (count) *count = finished.count;
        return result ? Give(std::move(finished.image), result) : VEL_OK;
    });
}

vel_result vel_run_into(const char* operation, const vel_image_argument* images, size_t image_count,
                        const vel_argument* arguments, size_t argument_count, vel_image* out, int64_t* count) {
    return Guard([&] {
        if (count) *count = 0;
        Image& target = Needed(out);
        Request request(operation, images, image_count, arguments, argument_count);
        const ImageArgument* changed = request.Changed();
        Finished finished;
        const vel_result code =
            changed ? RunOnCopy(request, *changed, target, &finished) : RunIntoMemory(request, target, &finished);
        if (code != VEL_OK) return code;
        Deliver(*finished.image.Get(), target);
        if (count) *count = finished.count;
        return code;
    });
}

vel_result vel_judge(const char* operation, const vel_image_argument* images, size_t image_count,
                     const vel_argument* arguments, size_t argument_count, int32_t* verdict, const char** note) {
    return Guard([&] {
        *Needed(verdict, "verdict") = 0;
        if (note) *note = "";
        const Request request(operation, images, image_count, arguments, argument_count);
        const velhost::Verdict judged = velhost::Judge(*request.operation, request.images, request.arguments);
        static_assert(static_cast<int>(velhost::Verdict::Impossible) == VEL_IMPOSSIBLE);
        *verdict = judged.kind;
        State().verdict = judged.note;
        if (note) *note = State().verdict.c_str();
        return VEL_OK;
    });
}

vel_result vel_operations_json(const char** json) {
    return Guard([&] {
        static const std::string text = velhost::RegistryJson().dump();
        *Needed(json, "json") = text.c_str();
        return VEL_OK;
    });
}
