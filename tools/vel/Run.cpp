// `vel run`: a chain over all inputs.
#include <cstdio>

#include "Chain.h"
#include "Commands.h"
#include "Console.h"
#include "Paths.h"

namespace veltool {
namespace {

void Report(const FileResult& result, const RunOptions& options) {
    const std::string name = result.input == "-" ? "standard input" : result.input;
    if (result.code != kOk) {
        // Messages of the host library begin with the file's name already.
        const bool named = result.error.find(result.input) != std::string::npos || result.input == "-";
        SayError(named ? result.error : name + ": " + result.error);
        return;
    }
    if (options.quiet) return;
    for (const std::string& note : result.notes) SayNote(name + ": " + note);
    for (const auto& [step, count] : result.counts) SayNote(name + ": " + step + ": count " + std::to_string(count));
}

}  // namespace

int RunCommand(const Words& words) {
    const Plan plan = ParseRun(words);
    const std::vector<Job> jobs = MakeJobs(plan.options);
    try {
        velhost::Module module;
        Chain chain(plan, module);
        int code = kOk;
        unsigned index = 0;
        for (const Job& job : jobs) {
            const FileResult result = chain.Process(job.input, job.output, index++);
            Report(result, plan.options);
            if (code == kOk) code = result.code;
        }
        return code;
    } catch (const velhost::Error& error) {
        throw Failure(CodeOf(error, true), error.what());
    }
}

}  // namespace veltool
