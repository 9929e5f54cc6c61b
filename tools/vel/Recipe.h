// Chains in JSON files:
//   {"description": "...", "steps": [{"op": "rotate", "angle": -30, "method": "catmull-rom"}, {"op": "blur"}]}
// A step's other members are its parameters and images, as on the command line or as JSON numbers and arrays. Paths of
// images are relative to the recipe's folder.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "Grammar.h"

namespace veltool {

// The file's steps. Throws Failure(kInput) when it cannot be read, kUsage when it makes no sense.
std::vector<Step> ReadRecipe(const std::string& path);

// The steps as a recipe.
nlohmann::json RecipeJson(const std::vector<Step>& steps);

}  // namespace veltool
