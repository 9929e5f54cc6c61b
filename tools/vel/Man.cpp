// `vel man`: manual pages, made from the registry.
#include <cstdio>
#include <filesystem>

#include "Commands.h"
#include "Console.h"
#include "Describe.h"
#include "Files.h"
#include "Grammar.h"
#include "Paths.h"

namespace veltool {
namespace {

using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;

// Text as roff takes it: no escapes, no requests, hyphens that can be copied.
std::string Roff(const std::string& text) {
    std::string roff;
    for (const char c : text) {
        if (c == '\\') {
            roff += "\\e";
        } else if (c == '-') {
            roff += "\\-";
        } else {
            roff += c;
        }
    }
    return roff.starts_with('.') || roff.starts_with('\'') ? "\\&" + roff : roff;
}

class Page {
public:
    Page(const std::string& name, const std::string& summary) {
        Line(".TH \"" + Upper(Roff(name)) + "\" 1 \"\" \"VELMaths " VEL_VERSION "\" \"VELMaths\"");
        Section("NAME");
        Line(Roff(name + " - " + summary));
    }
    void Section(const std::string& title) { Line(".SH \"" + title + "\""); }
    void Text(const std::string& text) {
        Line(".PP");
        Line(Roff(text));
    }
    void Code(const std::string& text) { Line(".PP\n.EX\n" + Roff(text) + "\n.EE"); }
    // A term and what it means.
    void Entry(const std::string& term, const std::string& text) {
        Line(".TP");
        Line("\\fB" + Roff(term) + "\\fR");
        Line(Roff(text.empty() ? "\xC2\xA0" : text));
    }
    // Choices below a parameter.
    void SubEntry(const std::string& term, const std::string& text) {
        Line(".RS\n.TP");
        Line("\\fB" + Roff(term) + "\\fR");
        Line(Roff(text));
        Line(".RE");
    }
    const std::string& Source() const { return m_text; }

private:
    static std::string Upper(std::string text) {
        for (char& c : text) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
        return text;
    }
    void Line(const std::string& line) { m_text.append(line).append("\n"); }
    std::string m_text;
};

std::string OperationPage(const Operation& operation) {
    Page page("vel-" + operation.name, operation.summary);
    page.Section("SYNOPSIS");
    page.Code(UsageLine(operation));
    page.Section("DESCRIPTION");
    page.Text(operation.details);
    std::string names;
    for (const std::string& alias : operation.aliases) names += (names.empty() ? "" : ", ") + alias;
    if (!names.empty()) page.Text("Also called " + names + ".");
    if (!operation.parameters.empty()) page.Section("PARAMETERS");
    for (const Parameter& parameter : operation.parameters) {
        page.Entry("--" + parameter.name + Placeholder(parameter), ParameterText(parameter));
        for (const velhost::Choice& choice : parameter.choices) {
            const std::string number = std::to_string(choice.number);
            page.SubEntry(number == choice.name ? number : number + " " + choice.name, choice.doc);
        }
    }
    if (operation.images.size() > 1) {
        page.Section("IMAGES");
        for (const ImageArgument& image : operation.images) {
            page.Entry("--" + image.name + " FILE", image.doc + (image.required ? "" : " (optional)"));
        }
        page.Text(kPipedPlace);
    }
    page.Section("RULES");
    for (const auto& [name, text] : RuleLines(operation)) page.Entry(name, text);
    page.Section("EXAMPLE");
    page.Code(ExampleLine(operation));
    page.Section("SEE ALSO");
    page.Text("vel(1)");
    return page.Source();
}

std::string GeneralPage() {
    Page page("vel", "every operation of VELMaths on picture files");
    page.Section("SYNOPSIS");
    page.Code("vel OP [--param value]... -i IN... -o OUT\nvel run STEP [+ STEP]... -i IN... -o OUT");
    for (const Command& command : Commands()) page.Code(std::string("vel ") + command.name + " " + command.synopsis);
    page.Section("DESCRIPTION");
    page.Text(
        "Runs one operation, or a chain of operations joined by '+', on pictures. A picture arrives as its file holds "
        "it: palette indexes, depth, row order and alpha stay as they are, and a conversion is asked for. Nothing is "
        "overwritten without --overwrite, and an input never without --in-place. Files are written to a temporary "
        "name and renamed, so that a name never holds half a picture.");
    page.Text(
        "With several pictures each one is done in a worker process of its own memory. A picture that cannot be read "
        "is one message and one entry of the report, not the end of the run.");
    page.Section("OPTIONS OF A RUN");
    for (const OptionText& option : RunOptionTexts()) {
        page.Entry(option.names + (option.value.empty() ? "" : " " + option.value), option.doc);
    }
    for (const Command& command : Commands()) {
        if (command.options.empty()) continue;
        std::string title = std::string("OPTIONS OF ") + command.name;
        page.Section(title);
        page.Text(command.summary);
        for (const auto& [option, text] : command.options) page.Entry(option, text);
    }
    page.Section("OPERATIONS");
    for (const Operation& operation : velhost::Operations()) page.Entry(operation.name, operation.summary);
    page.Section("EXIT CODES");
    for (const ExitCodeText& code : kExitCodes) page.Entry(std::to_string(code.code), code.meaning);
    page.Text("Of several pictures that failed, the first one, in the order of the inputs, decides.");
    page.Section("ENVIRONMENT");
    page.Entry("NO_COLOR", "no colours on a terminal, whatever its value, unless it is empty");
    page.Section("EXAMPLES");
    page.Code("vel gamma --value 1.8 -i photo.jpg -o brighter.jpg");
    page.Code("vel run rotate --angle -30 + blur + light --contrast 20 -i photos -o out/ -j 4");
    page.Code("vel run --recipe scan.json -i 'scans/*.tif' -o '{dir}/{stem}.png' --journal done.txt --resume");
    page.Section("SEE ALSO");
    page.Text("One page for each operation: vel-rotate(1) and so on.");
    return page.Source();
}

void WritePage(const std::filesystem::path& folder, const std::string& name, const std::string& text) {
    try {
        velhost::WriteFile(folder / name, {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, true, false);
    } catch (const velhost::Error& error) {
        throw Failure(kOutput, error.what());
    }
}

}  // namespace

int ManCommand(const Words& words) {
    if (words.size() == 2 && words[0] == "--all") {
        MakeFolderOf(words[1] + "/x");
        WritePage(words[1], "vel.1", GeneralPage());
        for (const Operation& operation : velhost::Operations()) {
            WritePage(words[1], "vel-" + operation.name + ".1", OperationPage(operation));
        }
        return kOk;
    }
    if (words.size() > 1) throw Failure(kUsage, "man: allowed is an operation's name, or --all FOLDER");
    if (words.empty()) {
        std::fputs(GeneralPage().c_str(), stdout);
        return kOk;
    }
    const Operation* operation = velhost::FindOperation(words[0]);
    if (!operation) {
        throw Failure(kUsage, "man: there is no operation '" + words[0] + "'" +
                                  velhost::DidYouMean(words[0], velhost::OperationNames(true)));
    }
    std::fputs(OperationPage(*operation).c_str(), stdout);
    return kOk;
}

}  // namespace veltool
