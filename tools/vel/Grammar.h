// The command line's grammar: steps, their arguments, and what holds for the whole run.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Files.h"
#include "Registry.h"

namespace veltool {

// One operation of a chain.
struct Step {
    const velhost::Operation* operation = nullptr;
    velhost::Arguments arguments;
    std::map<std::string, std::string> imageFiles;  // by image argument
    std::string label;                              // "step 2 (gamma)", for messages
    std::string piped;                              // the image argument that the chain's image takes
};

struct RunOptions {
    std::vector<std::string> inputs;  // files, folders, patterns, @lists or "-"
    std::string output;               // a file, a folder, a template or "-"
    bool inPlace = false;
    bool overwrite = false;
    bool expand = false;
    bool strict = false;
    bool quiet = false;
    bool recursive = false;
    bool dryRun = false;
    bool resume = false;
    bool stopOnError = false;
    unsigned jobs = 1;
    double timeout = 0;   // seconds for one picture; 0 for none
    std::string recipe;   // file whose steps come before those of the command line
    std::string journal;  // file, empty for none
    std::string report;   // file or "-", empty for none
    std::optional<unsigned> seed;
    velhost::LoadOptions load;
    velhost::SaveOptions save;
};

struct Plan {
    std::vector<Step> steps;
    RunOptions options;
};

// Reads what follows `vel run`, or a whole `vel OP ...`. Throws Failure(kUsage).
Plan ParseRun(const std::vector<std::string>& words);

// A step made of names and texts; `label` begins its messages. Throws Failure(kUsage).
Step MakeStep(const std::string& operation, const std::string& label);
void SetArgument(Step* step, const std::string& name, const std::string& text);
// All arguments are there, and one image is left for the chain.
void FinishStep(Step* step);

// Everything that ParseRun takes besides the steps' own options, for help and completion.
struct OptionText {
    std::string names;  // "-o,--out"
    std::string value;  // "FILE", empty for a switch
    std::string doc;
};
std::vector<OptionText> RunOptionTexts();

}  // namespace veltool
