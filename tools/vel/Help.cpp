// `vel help`, `vel ops`
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"
#include "Describe.h"
#include "Grammar.h"
#include "Registry.h"

namespace veltool {
namespace {

using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;

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

void PrintOperation(const Operation& operation) {
    std::printf("%s - %s\n", Paint(Tone::Bold, operation.name).c_str(), operation.summary.c_str());
    std::printf("\n%s\n", Wrap(operation.details, 0, TerminalWidth()).c_str());
    Heading("Usage");
    std::printf("  %s\n", Wrap(UsageLine(operation), 6, TerminalWidth()).c_str());
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
        std::printf("  %s\n", Wrap(kPipedPlace, 2, TerminalWidth()).c_str());
    }
    Heading("Rules");
    for (const auto& [name, text] : RuleLines(operation)) Entry(name, text, 15);
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
    for (const Command& command : Commands()) Entry(command.name, command.summary, 14);
    std::printf("  vel help COMMAND tells more of each.\n");
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
        if (!command->options.empty()) Heading("Options");
        for (const auto& [option, text] : command->options) Entry(option, text, 22);
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
