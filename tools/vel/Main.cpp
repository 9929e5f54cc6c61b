// vel: every operation of VELMaths on picture files.
#include <cstdio>
#include <exception>
#include <new>

#include "Commands.h"
#include "Console.h"
#include "Registry.h"

namespace veltool {

const std::vector<Command>& Commands() {
    static const std::pair<const char*, const char*> json = {"--json", "as JSON"};
    static const std::vector<Command> list = {
        {"run", "STEP [+ STEP]... -i IN... -o OUT", "run a chain of operations on pictures", RunCommand},
        {"ops", "[--json]", "list all operations", OpsCommand, {json}},
        {"recipe", "check FILE... | make STEP [+ STEP]...", "check chains in JSON files, or make one", RecipeCommand},
        {"gallery", "PHOTO... -o DIR [--overwrite]", "show every operation in pictures, on one page", GalleryCommand},
        {"info", "FILE... [--json]", "say what a picture file holds", InfoCommand, {json}},
        {"compare",
         "A B [-o DIFFERENCE] [--tolerance N] [--json]",
         "say whether two pictures are the same, or where they differ",
         CompareCommand,
         {{"-o,--out FILE", "write the differences as a picture, stretched so that the largest is 255"},
          {"--overwrite", "replace that picture if it exists"},
          {"--tolerance N", "differences up to N do not count"},
          {"--colours", "compare colours only, whatever the depth, format and palette"},
          {"--convert HOW", "as for run: widen, 8bit, rgb, round or all"},
          {"-q,--quiet", "say nothing; the exit code tells"},
          json}},
        {"help", "[OP | COMMAND | exit-codes]", "explain an operation, a command or the exit codes", HelpCommand},
        {"completion", "bash | zsh | fish", "print a completion script for a shell", CompletionCommand},
        {"manual", "[PHOTO...] -o DIR", "write the manual's pages of operations, with pictures of a photo",
         ManualCommand},
        {"man", "[OP] | --all FOLDER", "print a manual page, or write all of them", ManCommand},
        {"version", "[--json]", "version of the tool, its formats and the module in use", VersionCommand, {json}},
    };
    return list;
}

const Command* FindCommand(const std::string& name) {
    for (const Command& command : Commands()) {
        if (name == command.name) return &command;
    }
    return nullptr;
}

static int Dispatch(Words words) {
    if (words.empty()) return HelpCommand({});
    const std::string first = words[0];
    if (first == "--help" || first == "-h") return HelpCommand({});
    if (first == "--version" || first == "-V") return VersionCommand({});
    if (first == "__complete") return CompleteCommand(Words(words.begin() + 1, words.end()));
    const Command* command = FindCommand(first);
    for (size_t i = 1; i < words.size(); ++i) {
        if (words[i] != "--help" && words[i] != "-h") continue;
        // The help of the operation that the word follows, else of the command.
        std::string topic = first;
        for (size_t j = 0; j < i; ++j) {
            if ((j == 0 || words[j - 1] == "run" || words[j - 1] == "+") && velhost::FindOperation(words[j]))
                topic = words[j];
        }
        return HelpCommand({topic});
    }
    if (command) return command->run(Words(words.begin() + 1, words.end()));
    if (velhost::FindOperation(first)) return RunCommand(words);
    std::vector<std::string> names = velhost::OperationNames(true);
    for (const Command& known : Commands()) names.insert(names.begin(), known.name);
    throw Failure(kUsage, "there is no command or operation '" + first + "'" + velhost::DidYouMean(first, names) +
                              " (vel help lists commands, vel ops operations)");
}

}  // namespace veltool

int main(int argc, char** argv) {
    try {
        const int code = veltool::Dispatch(veltool::Words(argv + 1, argv + argc));
        if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
            veltool::SayError("standard output cannot be written");
            return code == veltool::kOk ? veltool::kOutput : code;
        }
        return code;
    } catch (const veltool::Failure& failure) {
        veltool::SayError(failure.what());
        return failure.Code();
    } catch (const std::bad_alloc&) {
        veltool::SayError("out of memory");
        return veltool::kOperation;
    } catch (const std::exception& error) {
        veltool::SayError(error.what());
        return veltool::kOperation;
    }
}
