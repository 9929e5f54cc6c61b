#include "Describe.h"

#include <algorithm>

namespace veltool {

using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;
using velhost::ValueType;

const char* const kPipedPlace =
    "The picture that comes in by -i or from the step before takes the first place that is not given.";

std::string Placeholder(const Parameter& parameter) {
    switch (parameter.type) {
        case ValueType::Integer: return " N";
        case ValueType::Float: return " X";
        case ValueType::Boolean: return "";
        case ValueType::Enumeration: return " NAME";
        case ValueType::Colour: return " COLOUR";
        case ValueType::Size: return " WxH";
        case ValueType::Point: return " X,Y";
        case ValueType::Table: return " TABLE";
        case ValueType::Kernel: return " KERNEL";
        case ValueType::Mapping: return " MAPPING";
    }
    return "";
}

std::string ParameterText(const Parameter& parameter) {
    std::string text = parameter.doc;
    switch (parameter.type) {
        case ValueType::Boolean:
        case ValueType::Enumeration:  // the choices are listed
        case ValueType::Table:
        case ValueType::Kernel: break;  // the doc tells the forms
        default: text += "; " + velhost::AllowedText(parameter);
    }
    if (!parameter.unit.empty()) text += "; in " + parameter.unit;
    if (parameter.type == ValueType::Boolean) {
        if (parameter.defaultValue == velhost::Value(true)) text += "; on unless --no-" + parameter.name;
    } else if (parameter.Required()) {
        text += "; required";
    } else if (velhost::Given(parameter.defaultValue)) {
        text += "; default " + velhost::FormatValue(parameter, parameter.defaultValue);
    }
    return text;
}

std::string UsageLine(const Operation& operation) {
    std::string usage = "vel " + operation.name;
    for (const Parameter& parameter : operation.parameters) {
        const std::string option = "--" + parameter.name + Placeholder(parameter);
        usage += parameter.Required() ? " " + option : " [" + option + "]";
    }
    for (const ImageArgument& image : operation.images) {
        if (&image == &operation.images.front()) continue;
        usage += image.required ? " --" + image.name + " FILE" : " [--" + image.name + " FILE]";
    }
    return usage + " -i IN... -o OUT";
}

namespace {

std::string ShellWord(const std::string& text) {
    return text.find_first_of(" #;&|<>*?()'\"$\\") == std::string::npos ? text : "'" + text + "'";
}

std::string Listed(const std::vector<int>& depths) {
    std::string text;
    for (size_t i = 0; i < depths.size(); ++i) text += (i ? ", " : "") + std::to_string(depths[i]);
    return text;
}

std::string Depths(const velhost::RuleCard& rules) {
    std::string text;
    const auto add = [&](const char* verb, const std::vector<int>& depths) {
        if (depths.empty()) return;
        text += (text.empty() ? "" : "; ") + std::string(verb) + " " + Listed(depths);
    };
    add("computes", rules.acts);
    add("leaves alone", rules.leavesAlone);
    add("refuses", rules.refuses);
    return text + " bits" + (rules.depths.empty() ? "" : ". " + rules.depths);
}

const char* ResultText(velhost::ResultKind kind) {
    switch (kind) {
        case velhost::ResultKind::InPlace: return "the image itself is changed";
        case velhost::ResultKind::Replaces: return "a new image, which the image takes over";
        case velhost::ResultKind::NewImage: return "a new image";
        case velhost::ResultKind::Destination: return "written into the destination image";
    }
    return "";
}

}  // namespace

std::string ExampleLine(const Operation& operation) {
    std::string line = "vel " + operation.name;
    for (const auto& [name, value] : operation.example) line += " --" + name + " " + ShellWord(value);
    bool first = true;
    for (const ImageArgument& image : operation.images) {
        if (image.required && !first) line += " --" + image.name + " other.png";
        first = false;
    }
    return line + " " + operation.exampleFiles;
}

static std::string PythonName(std::string name) {
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

static std::string PythonValue(const velhost::Parameter& parameter, const std::string& text) {
    using velhost::ValueType;
    const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    switch (parameter.type) {
        case ValueType::Integer:
        case ValueType::Float: return text;
        case ValueType::Boolean: return text == "true" ? "True" : "False";
        case ValueType::Point: {
            std::string tuple = text;
            tuple.replace(text.find(','), 1, ", ");
            return '(' + tuple + ')';
        }
        case ValueType::Enumeration: return isNumber ? text : '"' + PythonName(text) + '"';
        default: return '"' + text + '"';
    }
}

std::string PythonLine(const Operation& operation) {
    std::string line = "velmaths." + PythonName(operation.name) + "(";
    bool first = true;
    for (const ImageArgument& image : operation.images) {
        if (!image.required) continue;
        line += (first ? "" : ", ") + (image.name == "input" ? "image" : PythonName(image.name));
        first = false;
    }
    for (const auto& [name, value] : operation.example) {
        line += ", " + PythonName(name) + "=" + PythonValue(*operation.FindParameter(name), value);
    }
    return line + ")";
}

std::vector<std::pair<std::string, std::string>> RuleLines(const Operation& operation) {
    const velhost::RuleCard& rules = operation.rules;
    std::vector<std::pair<std::string, std::string>> lines = {
        {"depths", Depths(rules)},    {"result", ResultText(operation.result)}, {"outside", rules.border},
        {"rounding", rules.rounding}, {"saturation", rules.saturation},         {"alpha", rules.alpha},
        {"window", rules.window}};
    if (!rules.blueFirst.empty()) {
        lines.emplace_back("channels", "at " + Listed(rules.blueFirst) +
                                           " bits blue and red are treated differently: blue is first in memory");
    }
    if (!rules.random.empty()) lines.emplace_back("random", rules.random);
    lines.emplace_back("in parts", rules.tiling);
    lines.insert(lines.end(), rules.results.begin(), rules.results.end());
    lines.emplace_back("component", operation.component + "::" + operation.method);
    return lines;
}

}  // namespace veltool
