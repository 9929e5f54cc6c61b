// `vel run`: a chain over all inputs.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <set>

#include <nlohmann/json.hpp>

#include "Chain.h"
#include "Commands.h"
#include "Console.h"
#include "Journal.h"
#include "Paths.h"
#include "Progress.h"
#include "Recipe.h"
#include "Workers.h"

namespace veltool {
namespace {

using nlohmann::json;
using Status = FileResult::Status;

// A mistake in the pictures that steps name is one message, not one a picture.
void CheckSidePictures(const Plan& plan) {
    for (const Step& step : plan.steps) {
        for (const auto& [name, path] : step.imageFiles) {
            try {
                if (path != "-") velhost::ReadInfo(path, plan.options.load);
            } catch (const velhost::Error& error) {
                throw Failure(kInput, step.label + ": --" + name + ": " + error.what());
            }
        }
    }
}

JobFunction StartChain(const Plan& plan) {
    try {
        auto module = std::make_shared<velhost::Module>();
        auto chain = std::make_shared<Chain>(plan, *module);
        return [module, chain](const Job& job, unsigned index) { return chain->Process(job, index); };
    } catch (const velhost::Error& error) {
        throw Failure(CodeOf(error, true), error.what());
    }
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", std::gmtime(&now));
    return text;
}

// Everything a run learns about its pictures.
class Record {
public:
    Record(const Plan& plan, const Words& words, const std::vector<Job>& jobs)
        : m_plan(plan), m_words(words), m_begun(Now()), m_since(std::chrono::steady_clock::now()) {
        for (const Job& job : jobs) {
            FileResult& result = m_results.emplace_back();
            result.input = job.input;
            result.output = job.output;
            result.status = Status::NotReached;
        }
    }

    void Set(unsigned index, FileResult result) { m_results[index] = std::move(result); }
    void Skip(unsigned index) { m_results[index].status = Status::Skipped; }
    size_t Count(Status status) const {
        size_t count = 0;
        for (const FileResult& result : m_results) count += result.status == status;
        return count;
    }

    // The exit code: the signal's, else that of the first picture that failed.
    int Code(int signal) const {
        if (signal != 0) return 128 + signal;
        for (const FileResult& result : m_results) {
            if (result.code != kOk) return result.code;
        }
        return kOk;
    }

    json Report(int signal) const {
        json files = json::array();
        for (const FileResult& result : m_results) files.push_back(ToJson(result));
        return {{"vel", VEL_VERSION},
                {"words", m_words},
                {"steps", RecipeJson(m_plan.steps)["steps"]},
                {"begun", m_begun},
                {"seconds", std::chrono::duration<double>(std::chrono::steady_clock::now() - m_since).count()},
                {"exit-code", Code(signal)},
                {"interrupted", signal != 0},
                {"pictures", m_results.size()},
                {"done", Count(Status::Done)},
                {"failed", Count(Status::Failed)},
                {"skipped", Count(Status::Skipped)},
                {"not-reached", Count(Status::NotReached)},
                {"files", files}};
    }

private:
    const Plan& m_plan;
    const Words& m_words;
    std::string m_begun;
    std::chrono::steady_clock::time_point m_since;
    std::vector<FileResult> m_results;
};

void WriteReport(const std::string& path, const json& report) {
    const std::string text = report.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
    if (path == "-") {
        std::fwrite(text.data(), 1, text.size(), stdout);
        return;
    }
    try {
        velhost::WriteFile(path, {reinterpret_cast<const uint8_t*>(text.data()), text.size()}, true);
    } catch (const velhost::Error& error) {
        throw Failure(kOutput, error.what());
    }
}

// Mistakes that would only show at the end.
void CheckOutputs(const RunOptions& options, const std::vector<Job>& jobs) {
    if (options.report == "-" && options.output == "-") {
        throw Failure(kUsage, "--report - and -o - both want standard output");
    }
    if (options.output == "-" && !options.dryRun && isatty(STDOUT_FILENO)) {
        throw Failure(kOutput, "standard output is a terminal; a picture is not written there");
    }
    std::error_code error;
    const bool exists =
        !options.report.empty() && options.report != "-" && std::filesystem::exists(options.report, error);
    if (exists && !options.overwrite && !options.resume && std::filesystem::is_regular_file(options.report, error)) {
        throw Failure(kOutput, options.report + ": the report exists (--overwrite replaces it)");
    }
    for (const Job& job : jobs) {
        for (const std::string* other : {&options.report, &options.journal}) {
            if (!other->empty() && *other != "-" && (*other == job.output || *other == job.input)) {
                throw Failure(kUsage, "'" + *other + "' is a picture of this run");
            }
        }
    }
}

int DryRun(const Plan& plan, const std::vector<Job>& jobs, const Journal* journal) {
    std::string chain;
    for (const Step& step : plan.steps) chain += (chain.empty() ? "" : " + ") + step.operation->name;
    std::printf("%s\n", chain.c_str());
    int code = kOk;
    for (const Job& job : jobs) {
        const bool done = journal && journal->IsDone(job.input, job.output);
        std::error_code error;
        const bool blocked = !job.replace && !done && job.output != "-" && std::filesystem::exists(job.output, error);
        const bool missing = job.input != "-" && !std::filesystem::exists(job.input, error);
        std::printf("%s -> %s%s%s%s\n", job.input.c_str(), job.output.c_str(), done ? " (done already)" : "",
                    blocked ? " (exists)" : "", missing ? " (no such file)" : "");
        if (code == kOk) code = missing ? kInput : blocked ? kOutput : kOk;
    }
    return code;
}

}  // namespace

int RunCommand(const Words& words) {
    const Plan plan = ParseRun(words);
    const RunOptions& options = plan.options;
    std::vector<Job> jobs = MakeJobs(options);
    CheckOutputs(options, jobs);
    CheckSidePictures(plan);
    std::unique_ptr<Journal> journal;
    const bool newJournal = options.dryRun && !std::filesystem::exists(options.journal);
    if (!options.journal.empty() && !newJournal) {
        journal = std::make_unique<Journal>(options.journal, Fingerprint(plan), options.resume || options.dryRun);
    }
    if (options.dryRun) return DryRun(plan, jobs, journal.get());

    Record record(plan, words, jobs);
    std::vector<unsigned> indexes;
    for (unsigned i = 0; i < jobs.size(); ++i) {
        if (journal && journal->IsDone(jobs[i].input, jobs[i].output)) {
            record.Skip(i);
            continue;
        }
        if (journal && journal->WasBegun(jobs[i].output)) jobs[i].replace = true;
        indexes.push_back(i);
    }

    Progress progress(jobs.size(), jobs.size() - indexes.size(), options.quiet);
    RunHooks hooks;
    hooks.start = [&] { return StartChain(plan); };
    hooks.begins = [&](unsigned index) {
        if (journal) journal->Started(jobs[index].input, jobs[index].output);
    };
    hooks.finished = [&](unsigned index, FileResult result) {
        if (journal) journal->Finished(result);
        progress.Finished(result);
        const bool go = result.code == kOk || !options.stopOnError;
        record.Set(index, std::move(result));
        return go;
    };
    const bool here = jobs.size() == 1 && options.timeout <= 0;
    const int signal =
        here ? RunHere(jobs, indexes, hooks) : RunInWorkers(jobs, indexes, {options.jobs, options.timeout}, hooks);
    progress.End();
    if (signal != 0)
        SayError("interrupted; " + std::to_string(record.Count(Status::NotReached)) + " pictures are left");
    if (!options.report.empty()) WriteReport(options.report, record.Report(signal));
    return record.Code(signal);
}

}  // namespace veltool
