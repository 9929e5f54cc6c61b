#include "Result.h"

#include <nlohmann/json.hpp>

namespace veltool {

using nlohmann::json;

static constexpr const char* kStatus[] = {"done", "failed", "skipped", "not-reached"};

json ToJson(const FileResult& result) {
    json counts = json::array();
    for (const auto& [step, count] : result.counts) counts.push_back({{"step", step}, {"count", count}});
    json entry = {{"input", result.input},
                  {"output", result.output},
                  {"status", kStatus[result.status]},
                  {"exit-code", static_cast<int>(result.code)},
                  {"notes", result.notes},
                  {"counts", counts},
                  {"seconds", result.seconds}};
    if (result.code != kOk) entry["error"] = result.error;
    if (result.width) {
        entry["width"] = result.width;
        entry["height"] = result.height;
        entry["bits-per-pixel"] = result.bitsPerPixel;
    }
    return entry;
}

FileResult FromJson(const json& entry) {
    FileResult result;
    result.input = entry.value("input", "");
    result.output = entry.value("output", "");
    result.code = static_cast<ExitCode>(entry.value("exit-code", 0));
    result.error = entry.value("error", "");
    result.notes = entry.value("notes", std::vector<std::string>());
    for (const json& count : entry.value("counts", json::array())) {
        result.counts.emplace_back(count.value("step", ""), count.value("count", int64_t{0}));
    }
    result.width = entry.value("width", 0u);
    result.height = entry.value("height", 0u);
    result.bitsPerPixel = entry.value("bits-per-pixel", 0u);
    result.seconds = entry.value("seconds", 0.0);
    for (int i = 0; i < 4; ++i) {
        if (entry.value("status", "") == kStatus[i]) result.status = static_cast<FileResult::Status>(i);
    }
    return result;
}

std::string InputName(const std::string& input) { return input == "-" ? "standard input" : input; }

std::string ErrorLine(const FileResult& result) {
    const std::string name = InputName(result.input);
    return result.error.starts_with(name) ? result.error : name + ": " + result.error;
}

}  // namespace veltool
