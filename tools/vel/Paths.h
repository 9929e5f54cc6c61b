// Which pictures a run reads, and what their outputs are called.
#pragma once

#include <string>
#include <vector>

#include "Grammar.h"

namespace veltool {

struct Job {
    std::string input, output;
    bool makeFolder = false;  // the output's name was made from a pattern, and its folder may be missing
    bool replace = false;     // a file under the output's name may be replaced
};

// One job per picture of options.inputs: files, folders, patterns, @lists, "-". Throws Failure: kInput for a folder,
// pattern or list without pictures, kUsage, or kOutput when an output would replace an input or another output.
std::vector<Job> MakeJobs(const RunOptions& options);

// Makes the folder of an output whose name was made from a pattern. Throws Failure(kOutput).
void MakeFolderOf(const std::string& output);

}  // namespace veltool
