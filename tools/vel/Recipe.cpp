#include "Recipe.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Console.h"

namespace veltool {
namespace {

using nlohmann::json;

json ParseFile(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw Failure(kInput, path + ": this recipe cannot be read");
    try {
        return json::parse(file, nullptr, true, true);
    } catch (const json::exception& error) {
        std::string text = error.what();
        text.erase(0, text.find("] ") == std::string::npos ? 0 : text.find("] ") + 2);
        throw Failure(kUsage, path + ": no JSON: " + text);
    }
}

void ReadMember(const std::string& folder, const std::string& name, const json& value, Step* step) {
    const velhost::Parameter* parameter = step->operation->FindParameter(name);
    if (parameter) {
        std::string error;
        if (velhost::ParseJsonValue(*parameter, value, &step->arguments[parameter->name], &error)) return;
        throw Failure(kUsage, step->label + ": " + error);
    }
    const bool image = step->operation->FindImage(name) != nullptr;
    if (image && !value.is_string()) throw Failure(kUsage, step->label + ": '" + name + "' must be a file's name");
    SetArgument(step, name, image ? (std::filesystem::path(folder) / value.get<std::string>()).string() : "");
}

Step ReadStep(const std::string& folder, const json& entry, const std::string& label) {
    if (!entry.is_object() || !entry.contains("op") || !entry["op"].is_string()) {
        throw Failure(kUsage, label + ": a step is an object with \"op\", an operation's name");
    }
    Step step = MakeStep(entry["op"].get<std::string>(), label);
    for (const auto& [name, value] : entry.items()) {
        if (name != "op" && name != "comment") ReadMember(folder, name, value, &step);
    }
    FinishStep(&step);
    return step;
}

}  // namespace

std::vector<Step> ReadRecipe(const std::string& path) {
    const json recipe = ParseFile(path);
    if (!recipe.is_object() || !recipe.contains("steps") || !recipe["steps"].is_array() || recipe["steps"].empty()) {
        throw Failure(kUsage, path + ": a recipe is an object with \"steps\", a list of at least one step");
    }
    for (const auto& [name, value] : recipe.items()) {
        if (name != "steps" && name != "description") {
            throw Failure(kUsage, path + ": there is no '" + name + "' in a recipe" +
                                      velhost::DidYouMean(name, {"steps", "description"}));
        }
    }
    std::string folder = std::filesystem::path(path).parent_path().string();
    std::vector<Step> steps;
    for (const json& entry : recipe["steps"]) {
        steps.push_back(ReadStep(folder, entry, path + ": step " + std::to_string(steps.size() + 1)));
    }
    return steps;
}

json RecipeJson(const std::vector<Step>& steps) {
    json list = json::array();
    for (const Step& step : steps) {
        json entry = {{"op", step.operation->name}};
        for (const velhost::Parameter& parameter : step.operation->parameters) {
            const auto given = step.arguments.find(parameter.name);
            if (given != step.arguments.end()) entry[parameter.name] = velhost::ToJson(parameter, given->second);
        }
        for (const auto& [name, file] : step.imageFiles) entry[name] = file;
        list.push_back(entry);
    }
    return {{"steps", list}};
}

int RecipeCommand(const Words& words) {
    if (words.size() >= 2 && words[0] == "check") {
        int code = kOk;
        for (size_t i = 1; i < words.size(); ++i) {
            try {
                const std::vector<Step> steps = ReadRecipe(words[i]);
                std::string names;
                for (const Step& step : steps) names += (names.empty() ? "" : " + ") + step.operation->name;
                std::printf("%s: good: %s\n", words[i].c_str(), names.c_str());
            } catch (const Failure& failure) {
                SayError(failure.what());
                if (code == kOk) code = failure.Code();
            }
        }
        return code;
    }
    if (words.size() >= 2 && words[0] == "make") {
        const Plan plan = ParseRun(Words(words.begin() + 1, words.end()));
        std::printf("%s\n", RecipeJson(plan.steps).dump(2).c_str());
        return kOk;
    }
    throw Failure(kUsage, "recipe: allowed is 'check FILE...' or 'make STEP [+ STEP]...'" +
                              (words.empty() ? "" : velhost::DidYouMean(words[0], {"check", "make"})));
}

}  // namespace veltool
