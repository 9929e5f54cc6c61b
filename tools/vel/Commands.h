// The tool's commands besides `run`; each takes the words after its name and returns the exit code.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace veltool {

using Words = std::vector<std::string>;

int RunCommand(const Words& words);
int OpsCommand(const Words& words);
int InfoCommand(const Words& words);
int HelpCommand(const Words& words);
int VersionCommand(const Words& words);
int RecipeCommand(const Words& words);
int CompareCommand(const Words& words);
int CompletionCommand(const Words& words);
int ManCommand(const Words& words);
int GalleryCommand(const Words& words);
int ManualCommand(const Words& words);

// What completion scripts ask; not a command for people.
int CompleteCommand(const Words& words);

struct Command {
    const char* name;
    const char* synopsis;  // what follows the name
    const char* summary;
    int (*run)(const Words& words);
    // Its options and what they do; `run` has a list of its own (RunOptionTexts).
    std::vector<std::pair<const char*, const char*>> options = {};
};

// All commands, in the order of the help.
const std::vector<Command>& Commands();
const Command* FindCommand(const std::string& name);

}  // namespace veltool
