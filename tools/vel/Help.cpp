// `vel help`, `vel ops`
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"
#include "Grammar.h"
#include "Registry.h"

namespace veltool {
namespace {

using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;
using velhost::ValueType;

void Heading(const char* text) { std::printf("\n%s\n", Paint(Tone::Bold, text).c_str()); }

// "  name   text wrapped beside it"
void Entry(const std::string& name, const std::string& text, size_t column) {
    std::string start = "  " + Paint(Tone::Cyan, name);
    if (name.size() + 4 > column) {
        std::printf("%s\n", start.c_str());
        start.clear();
        start.append(column, ' ');
    } else {
        start.append(column - name.size() - 2, ' ');
    }
    std::printf("%s%s\n", start.c_str(), Wrap(text, static_cast<int>(column), TerminalWidth()).c_str());
}

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
    if (parameter.type != ValueType::Boolean && parameter.type != ValueType::Enumeration) {
        text += "; " + velhost::AllowedText(parameter);
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

std::string ShellWord(const std::string& text) {
    return text.find_first_of(" #;&|<>*?()'\"$\\") == std::string::npos ? text : "'" + text + "'";
}

// The command line that shows the operation.
std::string ExampleLine(const Operation& operation) {
    std::string line = "vel " + operation.name;
    for (const auto& [name, value] : operation.example) line += " --" + name + " " + ShellWord(value);
    bool first = true;
    for (const ImageArgument& image : operation.images) {
        if (image.required && !first) line += " --" + image.name + " other.png";
        first = false;
    }
    return line + " -i photo.png -o result.png";
}

void Rule(const char* name, const std::string& text) {
    if (!text.empty()) Entry(name, text, 15);
}

std::string Depths(const velhost::RuleCard& rules) {
    std::string text;
    const auto add = [&](const char* verb, const std::vector<int>& depths) {
        if (depths.empty()) return;
        text += (text.empty() ? "" : "; ") + std::string(verb) + " ";
        for (size_t i = 0; i < depths.size(); ++i) text += (i ? ", " : "") + std::to_string(depths[i]);
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

void PrintOperation(const Operation& operation) {
    std::printf("%s - %s\n", Paint(Tone::Bold, operation.name).c_str(), operation.summary.c_str());
    std::printf("\n%s\n", Wrap(operation.details, 0, TerminalWidth()).c_str());
    Heading("Usage");
    std::string usage = "vel " + operation.name;
    for (const Parameter& parameter : operation.parameters) {
        const std::string option = "--" + parameter.name + Placeholder(parameter);
        usage += parameter.Required() ? " " + option : " [" + option + "]";
    }
    bool first = true;
    for (const ImageArgument& image : operation.images) {
        if (!first) usage += image.required ? " --" + image.name + " FILE" : " [--" + image.name + " FILE]";
        first = false;
    }
    std::printf("  %s\n", Wrap(usage + " -i IN... -o OUT", 6, TerminalWidth()).c_str());
    std::string names;
    for (const std::string& alias : operation.aliases) names += (names.empty() ? "" : ", ") + alias;
    if (!names.empty()) std::printf("  also called %s\n", names.c_str());

    if (!operation.parameters.empty()) Heading("Parameters");
    for (const Parameter& parameter : operation.parameters) {
        Entry("--" + parameter.name + Placeholder(parameter), ParameterText(parameter), 26);
        for (const velhost::Choice& choice : parameter.choices) {
            const std::string number = std::to_string(choice.number);
            const std::string name = number == choice.name ? number : number + " " + choice.name;
            Entry("  " + name, choice.doc, 26);
        }
    }
    if (operation.images.size() > 1) {
        Heading("Images");
        for (const ImageArgument& image : operation.images) {
            Entry("--" + image.name + " FILE", image.doc + (image.required ? "" : " (optional)"), 26);
        }
        std::printf("  %s\n",
                    Wrap("The picture that comes in by -i or from the step before takes the first place that is "
                         "not given.",
                         2, TerminalWidth())
                        .c_str());
    }
    Heading("Rules");
    const velhost::RuleCard& rules = operation.rules;
    Rule("depths", Depths(rules));
    Rule("result", ResultText(operation.result));
    Rule("outside", rules.border);
    Rule("rounding", rules.rounding);
    Rule("saturation", rules.saturation);
    Rule("alpha", rules.alpha);
    Rule("window", rules.window);
    Rule("random", rules.random);
    Rule("in parts", rules.tiling);
    for (const auto& [code, meaning] : rules.results) Rule(code.c_str(), meaning);
    Rule("component", operation.component + "::" + operation.method);
    Heading("Example");
    std::printf("  %s\n", Wrap(ExampleLine(operation), 6, TerminalWidth()).c_str());
}

void PrintRunOptions() {
    Heading("Options of a run");
    for (const OptionText& option : RunOptionTexts()) {
        Entry(option.names + (option.value.empty() ? "" : " " + option.value), option.doc, 28);
    }
}

void PrintGeneral() {
    std::printf("vel - every operation of VELMaths on picture files\n");
    Heading("Usage");
    Entry("vel OP [--param value]... -i IN... -o OUT", "one operation", 46);
    Entry("vel run STEP [+ STEP]... -i IN... -o OUT", "a chain of operations", 46);
    Heading("Commands");
    for (const Command& command : Commands()) {
        Entry(std::string(command.name) + " " + command.synopsis, command.summary, 46);
    }
    PrintRunOptions();
    Heading("Examples");
    std::printf(
        "  vel gamma --value 1.8 -i photo.jpg -o brighter.jpg\n"
        "  vel run rotate --angle -30 + blur + light --contrast 20 -i *.png -o 'out/{stem}.png'\n"
        "  vel help rotate\n");
}

void PrintExitCodes() {
    std::printf("%s\n", Paint(Tone::Bold, "Exit codes").c_str());
    for (const ExitCodeText& code : kExitCodes) Entry(std::to_string(code.code), code.meaning, 8);
    std::printf("%s\n", Wrap("Of several pictures that failed, the first one, in the order of the inputs, decides.", 0,
                             TerminalWidth())
                            .c_str());
}

}  // namespace

int HelpCommand(const Words& words) {
    if (words.empty()) {
        PrintGeneral();
        return kOk;
    }
    if (words.size() > 1) throw Failure(kUsage, "help: one operation or command at a time");
    const std::string& topic = words[0];
    if (topic == "exit-codes") {
        PrintExitCodes();
        return kOk;
    }
    if (const Operation* operation = velhost::FindOperation(topic)) {
        PrintOperation(*operation);
        return kOk;
    }
    if (const Command* command = FindCommand(topic)) {
        std::printf("vel %s %s\n  %s\n", command->name, command->synopsis, command->summary);
        if (topic == "run") PrintRunOptions();
        return kOk;
    }
    std::vector<std::string> names = velhost::OperationNames(true);
    for (const Command& command : Commands()) names.push_back(command.name);
    throw Failure(kUsage, "help: there is nothing called '" + topic + "'" + velhost::DidYouMean(topic, names));
}

int OpsCommand(const Words& words) {
    if (words.size() == 1 && words[0] == "--json") {
        std::printf("%s\n", velhost::RegistryJson().dump(2).c_str());
        return kOk;
    }
    if (!words.empty()) throw Failure(kUsage, "ops: allowed is --json, not '" + words[0] + "'");
    std::string component;
    for (const Operation& operation : velhost::Operations()) {
        if (operation.component != component) {
            if (!component.empty()) std::printf("\n");
            component = operation.component;
            std::printf("%s\n", Paint(Tone::Bold, component).c_str());
        }
        Entry(operation.name, operation.summary, 31);
    }
    return kOk;
}

}  // namespace veltool
