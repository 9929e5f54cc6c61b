// Coordinate mappings that the host makes for transform and transform-paste.
#pragma once

#include <string>

#include "Interface.h"
#include "SmartPtr.h"

namespace velhost {

// The mapping that the text describes, or null with one line on what is wrong.
SmartPtr<ITransform> MakeMapping(const std::string& text, std::string* error);

// What MakeMapping reads, in a few words.
std::string MappingForms();

}  // namespace velhost
