// Jobs in worker processes: one crash, or one picture that takes too long, costs one job.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Paths.h"
#include "Result.h"

namespace veltool {

struct WorkerOptions {
    unsigned workers = 1;
    double timeout = 0;  // seconds for one job; 0 for none
};

using JobFunction = std::function<FileResult(const Job& job, unsigned index)>;

struct RunHooks {
    // Runs where the jobs run (in each worker once) and returns what is done with a job and its number.
    std::function<JobFunction()> start;
    // Called here before a job is begun.
    std::function<void(unsigned index)> begins;
    // Called here in the order in which jobs finish; when it answers false no further job is begun.
    std::function<bool(unsigned index, FileResult result)> finished;
};

// Runs the jobs of `indexes` in up to options.workers processes. Returns the signal that interrupted the run, or 0.
// Jobs that were interrupted or not reached are not reported.
int RunInWorkers(const std::vector<Job>& jobs, const std::vector<unsigned>& indexes, const WorkerOptions& options,
                 const RunHooks& hooks);

// In this process, one after the other. A signal ends the process.
int RunHere(const std::vector<Job>& jobs, const std::vector<unsigned>& indexes, const RunHooks& hooks);

}  // namespace veltool
