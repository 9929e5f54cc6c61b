#include "Registry.h"

#include <algorithm>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Image.h"
#include "Module.h"
#include "registry/Entries.h"

namespace velhost {
namespace {

using entries::DepthText;
using entries::ImageInfo;
using entries::InfoOf;
using nlohmann::json;

std::vector<Operation> MakeOperations() {
    std::vector<Operation> list;
    entries::AddColorTransform(list);
    entries::AddFilterTransform(list);
    entries::AddImageDeform(list);
    entries::AddImageTransform(list);
    entries::AddWarp(list);
    entries::AddMaths(list);
    return list;
}

std::string Canonical(std::string_view name) {
    std::string text(name);
    std::replace(text.begin(), text.end(), '_', '-');
    return text;
}

bool Contains(const std::vector<int>& depths, uint32_t depth) {
    return std::find(depths.begin(), depths.end(), static_cast<int>(depth)) != depths.end();
}

std::string DepthList(const std::vector<int>& depths) {
    std::string text;
    for (size_t i = 0; i < depths.size(); ++i) {
        if (i > 0) text += i + 1 == depths.size() ? " and " : ", ";
        text += std::to_string(depths[i]);
    }
    return text;
}

// The way to a depth that the operation acts on.
std::string Remedy(const Operation& operation, const ImageInfo& info) {
    const bool from8 = info.bitsPerPixel == 8, from24 = info.bitsPerPixel == 24;
    for (const int depth : {24, 32}) {
        if (!Contains(operation.rules.acts, static_cast<uint32_t>(depth))) continue;
        if (from8 || (from24 && depth == 32)) return "; increase-bpp --depth " + std::to_string(depth) + " first";
    }
    return {};
}

Verdict JudgeByDepth(const Operation& operation, const ImageInfo& info) {
    const bool alone = Contains(operation.rules.leavesAlone, info.bitsPerPixel);
    const bool refused = Contains(operation.rules.refuses, info.bitsPerPixel);
    if (!alone && !refused) return {};
    return {alone ? Verdict::LeavesAlone : Verdict::Refuses,
            operation.name + (alone ? " leaves " : " refuses ") + DepthText(info) + " images" +
                (alone ? " unchanged" : "") + "; it acts on " + DepthList(operation.rules.acts) + " bits" +
                Remedy(operation, info)};
}

// A mask is read one byte a pixel without a look at its shape, so the caller has to see that it is large enough.
std::string MaskProblem(const Operation& operation, const Images& images) {
    uint32_t width = UINT32_MAX, height = UINT32_MAX;
    std::string masks;
    for (const ImageArgument& argument : operation.images) {
        const auto found = images.find(argument.name);
        if (found == images.end() || !found->second || argument.role == ImageArgument::Mask) continue;
        const ImageInfo info = InfoOf(found->second);
        width = std::min(width, info.width);
        height = std::min(height, info.height);
    }
    for (const ImageArgument& argument : operation.images) {
        const auto found = images.find(argument.name);
        if (found == images.end() || !found->second || argument.role != ImageArgument::Mask) continue;
        const ImageInfo mask = InfoOf(found->second);
        if (mask.bitsPerPixel != 8) return "a mask needs 8 bits per pixel, not " + std::to_string(mask.bitsPerPixel);
        if (mask.width < width || mask.height < height) {
            return "the mask (" + std::to_string(mask.width) + "x" + std::to_string(mask.height) +
                   ") must be at least as large as the image (" + std::to_string(width) + "x" + std::to_string(height) +
                   ")";
        }
    }
    return {};
}

// A new image that holds the input's indexes gets the input's palette too.
void CarryPalette(const Images& images, const Operation& operation, PaletteUse use, const SmartPtr<IVEL>& result) {
    if (use != PaletteUse::Keeps || operation.result != ResultKind::NewImage) return;
    const auto input = images.find(operation.images.front().name);
    auto* made = dynamic_cast<Image*>(result.Get());
    if (input == images.end() || !made || made->BitsPerPixel() > 8 || !made->Palette().empty()) return;
    const ImageInfo info = InfoOf(input->second);
    if (!info.palette || info.bitsPerPixel != made->BitsPerPixel()) return;
    SmartPtr<IVELImagePalette> palette;
    const RGBQUAD* table = nullptr;
    uint32_t count = 0;
    input->second->QueryInterface(IID_IVELImagePalette, palette.Receive());
    palette->GetPalette(&table, &count);
    made->SetPalette({table, count});
}

void NotePalette(const Operation& operation, PaletteUse use, const Images& images, Outcome* outcome) {
    if (use != PaletteUse::Ignores) return;
    for (const ImageArgument& argument : operation.images) {
        const auto found = images.find(argument.name);
        if (argument.role != ImageArgument::Source || found == images.end() || !InfoOf(found->second).palette) continue;
        outcome->notes.push_back("the image has a palette, and " + operation.name +
                                 " computes with its indexes as if they were greys; increase-bpp --depth 24 first to "
                                 "work on colours");
        return;
    }
}

std::string Meaning(const Operation& operation, HRESULT code) {
    std::string name = ResultName(code);
    for (const auto& [result, meaning] : operation.rules.results) {
        if (result == name) return name + " (" + meaning + ")";
    }
    return name;
}

}  // namespace

const Parameter* Operation::FindParameter(std::string_view wanted) const {
    const std::string key = Canonical(wanted);
    for (const Parameter& parameter : parameters) {
        if (parameter.name == key) return &parameter;
    }
    return nullptr;
}

const ImageArgument* Operation::FindImage(std::string_view wanted) const {
    const std::string key = Canonical(wanted);
    for (const ImageArgument& argument : images) {
        if (argument.name == key) return &argument;
    }
    return nullptr;
}

IVEL* Call::Image(std::string_view name) const {
    const auto found = m_images.find(name);
    return found == m_images.end() ? nullptr : found->second;
}

const Value& Call::Get(std::string_view name) const {
    if (const auto found = m_arguments.find(name); found != m_arguments.end()) return found->second;
    return m_operation.FindParameter(name)->defaultValue;
}

const std::vector<Operation>& Operations() {
    static const std::vector<Operation> list = MakeOperations();
    return list;
}

const Operation* FindOperation(std::string_view name) {
    const std::string key = Canonical(name);
    for (const Operation& operation : Operations()) {
        if (operation.name == key) return &operation;
        if (std::find(operation.aliases.begin(), operation.aliases.end(), key) != operation.aliases.end()) {
            return &operation;
        }
    }
    return nullptr;
}

std::vector<std::string> OperationNames(bool withAliases) {
    std::vector<std::string> names;
    for (const Operation& operation : Operations()) {
        names.push_back(operation.name);
        if (withAliases) names.insert(names.end(), operation.aliases.begin(), operation.aliases.end());
    }
    return names;
}

bool CheckCall(const Operation& operation, const Images& images, const Arguments& arguments, std::string* error) {
    for (const auto& [name, value] : arguments) {
        const Parameter* parameter = operation.FindParameter(name);
        if (!parameter) {
            std::vector<std::string> names;
            for (const Parameter& known : operation.parameters) names.push_back(known.name);
            *error = "there is no parameter '" + name + "'" + DidYouMean(name, names);
            return false;
        }
        if (!Given(value) && !parameter->Required()) continue;
        if (!CheckValue(*parameter, value, error)) return false;
    }
    for (const Parameter& parameter : operation.parameters) {
        if (parameter.Required() && !arguments.contains(parameter.name)) {
            *error = "--" + parameter.name + " is missing: " + parameter.doc;
            return false;
        }
    }
    for (const auto& [name, image] : images) {
        if (!operation.FindImage(name)) {
            *error = "there is no image '" + name + "'";
            return false;
        }
    }
    for (const ImageArgument& argument : operation.images) {
        const auto found = images.find(argument.name);
        if (argument.required && (found == images.end() || !found->second)) {
            *error = "the image '" + argument.name + "' is missing: " + argument.doc;
            return false;
        }
    }
    *error = MaskProblem(operation, images);
    return error->empty();
}

Verdict Judge(const Operation& operation, const Images& images, const Arguments& arguments) {
    const Call call(operation, nullptr, images, arguments);
    if (operation.verdict) return operation.verdict(call);
    return JudgeByDepth(operation, InfoOf(call.Image(operation.images.front().name)));
}

Outcome Run(Module& module, const Operation& operation, const Images& images, const Arguments& arguments) {
    Outcome outcome;
    outcome.code = E_INVALIDARG;
    outcome.failed = true;
    if (!CheckCall(operation, images, arguments, &outcome.error)) return outcome;
    const Verdict verdict = Judge(operation, images, arguments);
    if (verdict.kind == Verdict::Impossible) {
        outcome.error = verdict.note;
        return outcome;
    }
    Call call(operation, &module, images, arguments);
    const PaletteUse use = operation.paletteOf ? operation.paletteOf(call) : operation.palette;
    NotePalette(operation, use, images, &outcome);
    outcome.code = operation.run(call);
    outcome.failed = Failed(outcome.code) && verdict.kind != Verdict::ActsButFails;
    if (outcome.failed) {
        outcome.error = verdict.kind == Verdict::Refuses ? verdict.note
                                                         : "the operation answers " + Meaning(operation, outcome.code);
        return outcome;
    }
    if (!verdict.note.empty()) outcome.notes.push_back(verdict.note);
    CarryPalette(images, operation, use, call.result);
    outcome.image = std::move(call.result);
    outcome.count = call.count;
    return outcome;
}

std::string ResultName(HRESULT code) {
    switch (code) {
        case S_OK: return "S_OK";
        case S_FALSE: return "S_FALSE";
        case E_NOINTERFACE: return "E_NOINTERFACE";
        case E_POINTER: return "E_POINTER";
        case E_FAIL: return "E_FAIL";
        case E_INVALIDARG: return "E_INVALIDARG";
        default: break;
    }
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
    return text;
}

namespace {

json ParameterJson(const Parameter& parameter) {
    json entry = {{"name", parameter.name},
                  {"type", TypeName(parameter.type)},
                  {"doc", parameter.doc},
                  {"required", parameter.Required()},
                  {"default", ToJson(parameter, parameter.defaultValue)},
                  {"allowed", AllowedText(parameter)}};
    if (!parameter.unit.empty()) entry["unit"] = parameter.unit;
    if (parameter.minimum < parameter.maximum) {
        entry["minimum"] = parameter.minimum;
        entry["maximum"] = parameter.maximum;
    }
    for (const Choice& choice : parameter.choices) {
        entry["choices"].push_back({{"number", choice.number}, {"name", choice.name}, {"doc", choice.doc}});
    }
    return entry;
}

json RulesJson(const RuleCard& rules) {
    json entry = {{"acts", rules.acts},
                  {"leaves-alone", rules.leavesAlone},
                  {"refuses", rules.refuses},
                  {"depths", rules.depths},
                  {"border", rules.border},
                  {"rounding", rules.rounding},
                  {"saturation", rules.saturation},
                  {"alpha", rules.alpha},
                  {"blue-first", rules.blueFirst},
                  {"names-channels", rules.namesChannels},
                  {"random", !rules.random.empty()},
                  {"random-draws", rules.random},
                  {"window", rules.window},
                  {"tileable", rules.tileable},
                  {"tiling", rules.tiling}};
    for (const auto& [code, meaning] : rules.results) {
        entry["results"].push_back({{"code", code}, {"meaning", meaning}});
    }
    return entry;
}

}  // namespace

const char* ResultKindName(ResultKind kind) {
    static constexpr const char* kNames[] = {"in-place", "replaces", "new-image", "destination"};
    return kNames[static_cast<int>(kind)];
}

json ToJson(const Operation& operation) {
    static constexpr const char* kRoles[] = {"source", "destination", "mask"};
    static constexpr const char* kPalette[] = {"ignores", "keeps", "reads"};
    json entry = {{"name", operation.name},
                  {"aliases", operation.aliases},
                  {"component", operation.component},
                  {"method", operation.method},
                  {"summary", operation.summary},
                  {"counts", operation.counts},
                  {"details", operation.details},
                  {"result", ResultKindName(operation.result)},
                  {"palette", kPalette[static_cast<int>(operation.palette)]},
                  {"rules", RulesJson(operation.rules)},
                  {"images", json::array()},
                  {"parameters", json::array()},
                  {"main-parameter", operation.mainParameter},
                  {"main-values", operation.mainValues},
                  {"example", operation.example}};
    for (const ImageArgument& image : operation.images) {
        entry["images"].push_back(
            {{"name", image.name}, {"doc", image.doc}, {"role", kRoles[image.role]}, {"required", image.required}});
    }
    for (const Parameter& parameter : operation.parameters) entry["parameters"].push_back(ParameterJson(parameter));
    return entry;
}

json RegistryJson() {
    json list = json::array();
    for (const Operation& operation : Operations()) list.push_back(ToJson(operation));
    return {{"version", VEL_VERSION}, {"operations", std::move(list)}};
}

}  // namespace velhost
