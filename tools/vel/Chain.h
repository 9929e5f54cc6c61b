// One picture through the chain: read, every step, written.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Grammar.h"
#include "Module.h"
#include "Paths.h"
#include "Picture.h"
#include "Result.h"

namespace veltool {

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
    FileResult Process(const Job& job, unsigned index);

private:
    SmartPtr<velhost::Image> RunStep(const Step& step, const SmartPtr<velhost::Image>& image, FileResult* result);

    const Plan& m_plan;
    velhost::Module& m_module;
    SideImages m_side;
};

}  // namespace veltool
