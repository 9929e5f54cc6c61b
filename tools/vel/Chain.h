// One picture through the chain: read, every step, written.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Grammar.h"
#include "Module.h"
#include "Picture.h"

namespace veltool {

// What became of one input.
struct FileResult {
    std::string input, output;
    ExitCode code = kOk;
    std::string error;                                    // one line, when the code is not kOk
    std::vector<std::string> notes;                       // one line each
    std::vector<std::pair<std::string, int64_t>> counts;  // step label, what it counted
    uint32_t width = 0, height = 0, bitsPerPixel = 0;     // of the output
};

// The images that steps name besides the piped one; each file is read once.
class SideImages {
public:
    explicit SideImages(const RunOptions& options) : m_options(options) {}
    SmartPtr<velhost::Image> Get(const std::string& path);

private:
    const RunOptions& m_options;
    std::map<std::string, SmartPtr<velhost::Image>> m_images;
};

class Chain {
public:
    Chain(const Plan& plan, velhost::Module& module) : m_plan(plan), m_module(module), m_side(plan.options) {}

    // Never throws anything but std::bad_alloc: failures are in the result. `index` counts the inputs from 0.
    FileResult Process(const std::string& input, const std::string& output, unsigned index);

private:
    SmartPtr<velhost::Image> RunStep(const Step& step, SmartPtr<velhost::Image> image, FileResult* result);

    const Plan& m_plan;
    velhost::Module& m_module;
    SideImages m_side;
};

}  // namespace veltool
