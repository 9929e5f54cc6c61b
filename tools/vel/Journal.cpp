#include "Journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

namespace veltool {
namespace {

using nlohmann::json;

// Size and time of a file: another state, another picture.
std::string StateOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return "";
    return std::to_string(status.st_size) + "@" + std::to_string(status.st_mtim.tv_sec) + "." +
           std::to_string(status.st_mtim.tv_nsec);
}

std::string Name(const std::string& path) {
    std::error_code error;
    const auto whole = std::filesystem::absolute(path, error);
    return error ? path : whole.lexically_normal().string();
}

}  // namespace

std::string Fingerprint(const Plan& plan) {
    json text = json::array();
    for (const Step& step : plan.steps) {
        json entry = {{"op", step.operation->name}, {"images", step.imageFiles}};
        for (const velhost::Parameter& parameter : step.operation->parameters) {
            const auto given = step.arguments.find(parameter.name);
            const velhost::Value& value = given == step.arguments.end() ? parameter.defaultValue : given->second;
            entry[parameter.name] = velhost::FormatValue(parameter, value);
        }
        text.push_back(entry);
    }
    const RunOptions& options = plan.options;
    const velhost::Conversions& convert = options.load.convert;
    const velhost::SaveOptions& save = options.save;
    text.push_back({options.seed.value_or(1), options.expand, options.load.page, convert.widen, convert.eightBit,
                    convert.rgb, convert.round, convert.fallback, save.format, save.quality, save.lossless, save.effort,
                    save.tiffCompression});
    uint64_t hash = 0xCBF29CE484222325u;
    for (const char c : text.dump()) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3u;
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
    return digits;
}

Journal::Journal(const std::string& path, const std::string& fingerprint, bool resume)
    : m_path(path), m_fingerprint(fingerprint) {
    if (resume) Read();
    const bool begun = resume && std::filesystem::exists(path);
    m_descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | (begun ? 0 : O_EXCL), 0666);
    if (m_descriptor < 0) {
        throw Failure(kOutput, path + ": the journal cannot be written: " + std::strerror(errno) +
                                   (errno == EEXIST ? " (--resume goes on with it)" : ""));
    }
    if (!begun) Write(json({{"vel-journal", 1}, {"chain", fingerprint}}).dump());
}

Journal::~Journal() {
    if (m_descriptor >= 0) close(m_descriptor);
}

void Journal::Read() {
    std::ifstream file(m_path, std::ios::binary);
    if (!file) return;
    std::string line;
    uint64_t whole = 0;  // bytes of complete lines
    bool first = true;
    while (std::getline(file, line) && !file.eof()) {
        const json entry = json::parse(line, nullptr, false);
        if (entry.is_discarded()) break;
        if (first && entry.value("vel-journal", 0) != 1) throw Failure(kUsage, m_path + ": this is no journal");
        if (first && entry.value("chain", "") != m_fingerprint) {
            throw Failure(kUsage, m_path + ": this journal belongs to another chain or other options");
        }
        first = false;
        whole += line.size() + 1;
        if (entry.contains("started")) m_begun[entry.value("output", "")] = entry.value("state", "");
        if (entry.contains("finished")) {
            const std::string output = entry.value("output", "");
            m_begun.erase(output);
            m_done.erase(output);
            if (entry.value("exit-code", 1) == kOk)
                m_done[output] = entry.value("finished", "") + " " + entry.value("state", "");
        }
    }
    if (first) throw Failure(kUsage, m_path + ": this is no journal");
    file.close();
    std::error_code error;
    std::filesystem::resize_file(m_path, whole, error);
    if (error) throw Failure(kOutput, m_path + ": the journal cannot be written: " + error.message());
}

void Journal::Write(const std::string& line) {
    const std::string whole = line + "\n";
    const ssize_t written = write(m_descriptor, whole.data(), whole.size());
    if (written == static_cast<ssize_t>(whole.size())) return;
    throw Failure(kOutput, m_path + ": the journal cannot be written: " + std::strerror(written < 0 ? errno : ENOSPC));
}

bool Journal::IsDone(const std::string& input, const std::string& output) const {
    const std::string name = Name(output), state = StateOf(input);
    // A picture that is written over itself has another state once it is done, recorded or not.
    const auto begun = m_begun.find(name);
    if (begun != m_begun.end() && name == Name(input) && begun->second != state) return true;
    const auto found = m_done.find(name);
    return found != m_done.end() && found->second == Name(input) + " " + state && std::filesystem::exists(output);
}

bool Journal::WasBegun(const std::string& output) const { return m_begun.contains(Name(output)); }

void Journal::Started(const std::string& input, const std::string& output) {
    Write(json({{"started", Name(input)}, {"output", Name(output)}, {"state", StateOf(input)}})
              .dump(-1, ' ', false, json::error_handler_t::replace));
}

void Journal::Finished(const FileResult& result) {
    json entry = {{"finished", Name(result.input)},
                  {"output", Name(result.output)},
                  {"state", StateOf(result.input)},
                  {"exit-code", static_cast<int>(result.code)}};
    if (result.code != kOk) entry["error"] = result.error;
    Write(entry.dump(-1, ' ', false, json::error_handler_t::replace));
}

}  // namespace veltool
