// What became of one input, and what is told of it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "Console.h"

namespace veltool {

struct FileResult {
    std::string input, output;
    ExitCode code = kOk;
    std::string error;                                    // one line, when the code is not kOk
    std::vector<std::string> notes;                       // one line each
    std::vector<std::pair<std::string, int64_t>> counts;  // step label, what it counted
    uint32_t width = 0, height = 0, bitsPerPixel = 0;     // of the output
    double seconds = 0;
    enum Status { Done, Failed, Skipped, NotReached } status = Done;  // Skipped: done in an earlier run
};

nlohmann::json ToJson(const FileResult& result);
FileResult FromJson(const nlohmann::json& json);

// "photo.png" or "standard input".
std::string InputName(const std::string& input);
// The error with the input's name in front, unless it names it already.
std::string ErrorLine(const FileResult& result);

}  // namespace veltool
