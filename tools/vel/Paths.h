// Which pictures a run reads, and what their outputs are called.
#pragma once

#include <string>
#include <vector>

#include "Grammar.h"

namespace veltool {

struct Job {
    std::string input, output;
};

// One job per input. Throws Failure(kUsage), or Failure(kOutput) when an output would replace an input or another
// output.
std::vector<Job> MakeJobs(const RunOptions& options);

}  // namespace veltool
