#include "Paths.h"

#include <glob.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "Console.h"

namespace veltool {
namespace {

namespace fs = std::filesystem;

struct Input {
    std::string path;
    std::string below;  // the part of its folder below the folder that was given, "" or "sub/deeper/"
};

bool IsFolder(const std::string& path) {
    std::error_code error;
    return !path.empty() && (path.back() == '/' || fs::is_directory(path, error));
}

// All pictures of a folder in the order of their names, by their extensions; hidden files are left out.
void AddFolder(const std::string& folder, bool recursive, std::vector<Input>* inputs) {
    std::vector<Input> found;
    const auto add = [&](const fs::directory_entry& entry) {
        const fs::path& path = entry.path();
        std::error_code ignored;
        if (path.filename().string().starts_with('.') || !entry.is_regular_file(ignored)) return;
        if (velhost::FormatOf(path).empty()) return;
        const std::string below = path.parent_path().lexically_relative(folder).string();
        found.push_back({path.string(), below == "." ? "" : below + "/"});
    };
    std::error_code error;
    if (recursive) {
        for (fs::recursive_directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
            const bool hidden = at->path().filename().string().starts_with('.');
            if (hidden && at->is_directory()) at.disable_recursion_pending();
            add(*at);
        }
    } else {
        for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) add(*at);
    }
    if (error) throw Failure(kInput, folder + ": cannot be read: " + error.message());
    if (found.empty())
        throw Failure(kInput, folder + ": no pictures in this folder" + (recursive ? "" : " (-r looks below it)"));
    std::sort(found.begin(), found.end(), [](const Input& a, const Input& b) { return a.path < b.path; });
    inputs->insert(inputs->end(), found.begin(), found.end());
}

void AddPattern(const std::string& pattern, std::vector<Input>* inputs) {
    glob_t found{};
    const int result = glob(pattern.c_str(), 0, nullptr, &found);
    for (size_t i = 0; i < found.gl_pathc; ++i) {
        if (!IsFolder(found.gl_pathv[i])) inputs->push_back({found.gl_pathv[i], ""});
    }
    const bool none = result != 0 || found.gl_pathc == 0;
    globfree(&found);
    if (none) throw Failure(kInput, pattern + ": no file has such a name");
}

void Add(const std::string& word, bool recursive, std::vector<Input>* inputs);

// One name a line; empty lines are skipped. Names in the list are what -i takes, but not further lists.
void AddList(const std::string& list, bool recursive, std::vector<Input>* inputs) {
    std::ifstream file;
    if (list != "-") file.open(list);
    std::istream& lines = list == "-" ? std::cin : file;
    if (!lines) throw Failure(kInput, list + ": this list of pictures cannot be read");
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty()) continue;
        if (line.starts_with('@')) {
            inputs->push_back({line, ""});
        } else {
            Add(line, recursive, inputs);
        }
    }
}

void Add(const std::string& word, bool recursive, std::vector<Input>* inputs) {
    std::error_code error;
    if (word == "-" || fs::is_regular_file(word, error)) {
        inputs->push_back({word, ""});
    } else if (fs::is_directory(word, error)) {
        AddFolder(word, recursive, inputs);
    } else if (word.starts_with('@')) {
        AddList(word.substr(1), recursive, inputs);
    } else if (word.find_first_of("*?[") != std::string::npos && !fs::exists(word, error)) {
        AddPattern(word, inputs);
    } else {
        inputs->push_back({word, ""});  // missing or unusual: reading it will tell
    }
}

// {stem} photo, {ext} png, {dir} folder of the input, {n} number of the input from 1, {n:4} with zeros in front.
std::string Expand(const std::string& pattern, const fs::path& input, size_t number) {
    std::string text;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '{') {
            text += pattern[i];
            continue;
        }
        const size_t end = pattern.find('}', i);
        const std::string name = end == std::string::npos ? "" : pattern.substr(i + 1, end - i - 1);
        const std::string extension = input.extension().string();
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

// How outputs are named: a folder becomes a pattern in it.
struct Naming {
    std::string pattern;
    bool folder = false;  // pictures of folders below the given one keep their place
    bool varies = false;  // the pattern has fields

    explicit Naming(const RunOptions& options) : pattern(options.output) {
        folder = IsFolder(pattern);
        if (folder) {
            if (pattern.back() != '/') pattern += '/';
            pattern += "{below}{stem}." + (options.save.format.empty() ? "{ext}" : options.save.format);
        }
        varies = pattern.find('{') != std::string::npos;
    }
    std::string For(const Input& input, size_t number) const {
        std::string text = pattern;
        if (folder) text.replace(text.find("{below}"), 7, input.below);
        return Expand(text, input.path, number);
    }
};

}  // namespace

std::vector<Job> MakeJobs(const RunOptions& options) {
    if (options.inputs.empty()) throw Failure(kUsage, "-i is missing: which pictures to read");
    if (options.inPlace && !options.output.empty()) throw Failure(kUsage, "--in-place and -o exclude each other");
    if (!options.inPlace && options.output.empty()) {
        throw Failure(kUsage, "-o is missing: what to write (or --in-place)");
    }
    const Naming naming(options);
    if (!options.inPlace) (void)Expand(naming.folder ? "" : naming.pattern, "x.png", 1);  // names its mistakes early

    std::vector<Input> pictures;
    for (const std::string& word : options.inputs) Add(word, options.recursive, &pictures);
    if (pictures.empty()) throw Failure(kInput, "there are no pictures to read");
    if (pictures.size() > 1 && !options.inPlace && !naming.varies) {
        throw Failure(kUsage, "-o '" + options.output + "' is one name for " + std::to_string(pictures.size()) +
                                  " pictures; use a folder (a name that ends with /), or {stem}, {ext}, {dir}, {n}");
    }

    std::vector<Job> jobs;
    std::map<std::string, std::string> inputs, outputs;
    for (const Input& input : pictures) inputs[Identity(input.path)] = input.path;
    for (const Input& input : pictures) {
        if (input.path == "-" && (options.inPlace || naming.varies)) {
            throw Failure(kUsage, "standard input has no name; give -o a whole name or -");
        }
        const std::string output = options.inPlace ? input.path : naming.For(input, jobs.size() + 1);
        if (output != "-") {
            const std::string identity = Identity(output);
            if (!options.inPlace && inputs.contains(identity)) {
                throw Failure(kOutput, "'" + output + "' is an input; --in-place writes over inputs");
            }
            const auto [other, fresh] = outputs.emplace(identity, input.path);
            if (!fresh) {
                throw Failure(kOutput, "'" + output + "' would be written for both '" + other->second + "' and '" +
                                           input.path + "'");
            }
        }
        jobs.push_back({input.path, output, naming.varies, options.overwrite || options.inPlace});
    }
    return jobs;
}

void MakeFolderOf(const std::string& output) {
    const fs::path folder = fs::path(output).parent_path();
    std::error_code error;
    if (folder.empty() || fs::is_directory(folder, error)) return;
    fs::create_directories(folder, error);
    if (error) throw Failure(kOutput, folder.string() + ": this folder cannot be made: " + error.message());
}

}  // namespace veltool
