// Words about operations, for help and manual pages.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Registry.h"

namespace veltool {

// " N", " NAME" ... after an option's name; nothing for a switch.
std::string Placeholder(const velhost::Parameter& parameter);
// What the parameter is, what is allowed, its unit and its default.
std::string ParameterText(const velhost::Parameter& parameter);
// "vel OP --required N [--other X] -i IN... -o OUT"
std::string UsageLine(const velhost::Operation& operation);
// A command line that shows the operation.
std::string ExampleLine(const velhost::Operation& operation);
// The same as a call of the Python package.
std::string PythonLine(const velhost::Operation& operation);
// The rule card: a short name and a text each.
std::vector<std::pair<std::string, std::string>> RuleLines(const velhost::Operation& operation);
// Where the picture that comes in goes, for operations of several images.
extern const char* const kPipedPlace;

}  // namespace veltool
