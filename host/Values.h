// Typed argument values of operations: what a parameter may hold, and its text and JSON forms.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "SmartPtr.h"

namespace velhost {

enum class ValueType { Integer, Float, Boolean, Enumeration, Colour, Size, Point, Table, Kernel, Mapping };

// In the order in which people write colours; an operation's own order is its entry's business.
struct Colour {
    uint8_t red = 0, green = 0, blue = 0;
    friend bool operator==(const Colour&, const Colour&) = default;
};
struct Size {
    int64_t width = 0, height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};
struct Point {
    double x = 0, y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};
using Table = std::array<uint8_t, 256>;
// Square, row by row, the first row above the centre.
struct Kernel {
    int size = 0;
    std::vector<int32_t> coefficients;
    friend bool operator==(const Kernel&, const Kernel&) = default;
};
// A coordinate mapping and the text that made it (empty for an object that the caller made).
struct Mapping {
    std::string text;
    SmartPtr<ITransform> transform;
    friend bool operator==(const Mapping& a, const Mapping& b) {
        return a.text == b.text && a.transform.Get() == b.transform.Get();
    }
};

// Enumerations are held as their number. The empty state is "not given".
using Value = std::variant<std::monostate, int64_t, double, bool, Colour, Size, Point, Table, Kernel, Mapping>;

inline bool Given(const Value& value) { return !std::holds_alternative<std::monostate>(value); }

struct Choice {
    int64_t number;
    std::string name;
    std::string doc;
};

struct Parameter {
    std::string name;  // kebab-case
    ValueType type;
    std::string doc;
    Value defaultValue = {};          // not given: the parameter is required, unless it is optional
    bool optional = false;            // may be left out without taking a default; the doc says what happens then
    double minimum = 0, maximum = 0;  // of a number, and of each part of a size or point; both included
    bool whole = true;                // of a point: no fractions
    std::string unit = {};
    std::vector<Choice> choices = {};  // of an enumeration

    bool Required() const { return !optional && !Given(defaultValue); }
};

// kebab-case name of a type: "integer", "float", ...
const char* TypeName(ValueType type);

// What a user may write for it, in a few words: "a number from 0 to 255", "one of clip, absolute (0, 1)".
std::string AllowedText(const Parameter& parameter);

// Reads the text form. False, with one line that quotes the text and says what is allowed, when it does not fit.
// A table or kernel may be "@file".
bool ParseValue(const Parameter& parameter, std::string_view text, Value* value, std::string* error);
// Reads the JSON form: a number, a boolean, the text form, or an array where the value has several parts.
bool ParseJsonValue(const Parameter& parameter, const nlohmann::json& json, Value* value, std::string* error);
// Type and range of a value that was made otherwise.
bool CheckValue(const Parameter& parameter, const Value& value, std::string* error);

// The text form, as ParseValue takes it; enumerations by name.
std::string FormatValue(const Parameter& parameter, const Value& value);
nlohmann::json ToJson(const Parameter& parameter, const Value& value);

// Up to three of `candidates` that look like `word`, the best first.
std::vector<std::string> SimilarNames(std::string_view word, const std::vector<std::string>& candidates);
// "; did you mean 'x'?", or nothing.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace velhost
