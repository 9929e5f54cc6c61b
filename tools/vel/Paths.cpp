#include "Paths.h"

#include <filesystem>
#include <map>

#include "Console.h"

namespace veltool {
namespace {

namespace fs = std::filesystem;

// {stem} photo, {ext} png, {dir} folder of the input, {n} number of the input from 1, with zeros in front: {n:4}.
std::string Expand(const std::string& pattern, const fs::path& input, size_t number) {
    std::string text;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '{') {
            text += pattern[i];
            continue;
        }
        const size_t end = pattern.find('}', i);
        const std::string name = end == std::string::npos ? "" : pattern.substr(i + 1, end - i - 1);
        std::string extension = input.extension().string();
        if (name == "stem") {
            text += input.stem().string();
        } else if (name == "ext") {
            text += extension.empty() ? extension : extension.substr(1);
        } else if (name == "dir") {
            text += input.has_parent_path() ? input.parent_path().string() : ".";
        } else if (name == "n" || (name.size() == 3 && name.starts_with("n:") && name[2] >= '1' && name[2] <= '9')) {
            std::string digits = std::to_string(number);
            const size_t wanted = name == "n" ? 1 : static_cast<size_t>(name[2] - '0');
            if (digits.size() < wanted) digits.insert(0, wanted - digits.size(), '0');
            text += digits;
        } else {
            throw Failure(kUsage, "-o '" + pattern + "': allowed is {stem}, {ext}, {dir}, {n} or {n:1} to {n:9}");
        }
        i = end;
    }
    return text;
}

// The file itself, whatever its name: links and different spellings lead to one.
std::string Identity(const fs::path& path) {
    std::error_code error;
    const fs::path real = fs::weakly_canonical(path, error);
    return (error ? path.lexically_normal() : real).string();
}

bool IsFolder(const std::string& path) {
    std::error_code error;
    return !path.empty() && (path.back() == '/' || fs::is_directory(path, error));
}

}  // namespace

std::vector<Job> MakeJobs(const RunOptions& options) {
    if (options.inputs.empty()) throw Failure(kUsage, "-i is missing: which pictures to read");
    if (options.inPlace && !options.output.empty()) throw Failure(kUsage, "--in-place and -o exclude each other");
    if (!options.inPlace && options.output.empty()) {
        throw Failure(kUsage, "-o is missing: what to write (or --in-place)");
    }
    std::string pattern = options.inPlace ? std::string() : options.output;
    if (!options.inPlace && IsFolder(pattern)) {
        if (pattern.back() != '/') pattern += '/';
        pattern += options.save.format.empty() ? "{stem}.{ext}" : "{stem}." + options.save.format;
    }
    const bool named = pattern.find('{') != std::string::npos;
    if (options.inputs.size() > 1 && !options.inPlace && !named) {
        throw Failure(kUsage, "-o '" + pattern + "' is one name for " + std::to_string(options.inputs.size()) +
                                  " pictures; use a folder, or {stem}, {ext}, {dir}, {n} in the name");
    }

    std::vector<Job> jobs;
    std::map<std::string, std::string> inputs, outputs;
    for (const std::string& input : options.inputs) inputs[Identity(input)] = input;
    for (const std::string& input : options.inputs) {
        if (input == "-" && (options.inPlace || pattern.find("{") != std::string::npos)) {
            throw Failure(kUsage, "standard input has no name; give -o a whole name or -");
        }
        const std::string output = options.inPlace ? input : Expand(pattern, input, jobs.size() + 1);
        if (output != "-") {
            const std::string identity = Identity(output);
            if (!options.inPlace && inputs.contains(identity)) {
                throw Failure(kOutput, "'" + output + "' is an input; --in-place writes over inputs");
            }
            const auto [other, fresh] = outputs.emplace(identity, input);
            if (!fresh) {
                throw Failure(kOutput,
                              "'" + output + "' would be written for both '" + other->second + "' and '" + input + "'");
            }
        }
        jobs.push_back({input, output});
    }
    return jobs;
}

}  // namespace veltool
