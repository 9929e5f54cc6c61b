#include "Values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "Mappings.h"

namespace velhost {
namespace {

using nlohmann::json;

// A table or kernel has at most a few thousand numbers.
constexpr size_t kMostFileBytes = 1 << 20;

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c == '_' ? '-' : c);
    return lower;
}

std::string_view Trim(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

std::vector<std::string_view> Split(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i == text.size() || separators.find(text[i]) != std::string_view::npos) {
            parts.push_back(Trim(text.substr(start, i - start)));
            start = i + 1;
        }
    }
    return parts;
}

template <class Number, class... Options>
bool ParseAll(std::string_view text, Number* number, Options... options) {
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), *number, options...);
    return code == std::errc() && end == text.data() + text.size();
}

bool ParseInteger(std::string_view text, int64_t* number) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        return !text.empty() && text[0] != '-' && ParseAll(text, number, 16);
    }
    return ParseAll(text, number, 10);
}

bool ParseReal(std::string_view text, double* number) { return ParseAll(text, number) && std::isfinite(*number); }

// The shortest text that gives the same number again.
std::string NumberText(double number) {
    char buffer[40];
    if (number == std::floor(number) && std::fabs(number) < 1e15) return std::to_string(static_cast<int64_t>(number));
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, number).ptr;
    return std::string(buffer, end);
}

bool ParseColour(std::string_view text, Colour* colour) {
    if (text.starts_with('#')) {
        text.remove_prefix(1);
        uint32_t word = 0;
        if ((text.size() != 6 && text.size() != 3) || !ParseAll(text, &word, 16) || text[0] == '+') return false;
        if (text.size() == 3) word = (word & 0xF00) * 0x1100 | (word & 0xF0) * 0x110 | (word & 0xF) * 0x11;
        *colour = {static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
        return true;
    }
    const auto parts = Split(text, ",");
    int64_t channel[3];
    if (parts.size() != 3) return false;
    for (int i = 0; i < 3; ++i) {
        if (!ParseInteger(parts[i], &channel[i]) || channel[i] < 0 || channel[i] > 255) return false;
    }
    *colour = {static_cast<uint8_t>(channel[0]), static_cast<uint8_t>(channel[1]), static_cast<uint8_t>(channel[2])};
    return true;
}

// "800x600"; a missing side is 0.
bool ParseSize(std::string_view text, Size* size) {
    const auto parts = Split(text, "xX");
    if (parts.size() != 2 || (parts[0].empty() && parts[1].empty())) return false;
    *size = {};
    return (parts[0].empty() || ParseInteger(parts[0], &size->width)) &&
           (parts[1].empty() || ParseInteger(parts[1], &size->height));
}

bool ParsePoint(std::string_view text, Point* point) {
    const auto parts = Split(text, ",");
    return parts.size() == 2 && ParseReal(parts[0], &point->x) && ParseReal(parts[1], &point->y);
}

bool ParseNumbers(std::string_view text, std::string_view separators, std::vector<int64_t>* numbers) {
    for (const std::string_view part : Split(text, separators)) {
        if (part.empty()) continue;
        if (!ParseInteger(part, &numbers->emplace_back())) return false;
    }
    return true;
}

bool FillTable(const std::vector<int64_t>& numbers, Table* table) {
    if (numbers.size() != table->size()) return false;
    for (size_t i = 0; i < table->size(); ++i) {
        if (numbers[i] < 0 || numbers[i] > 255) return false;
        (*table)[i] = static_cast<uint8_t>(numbers[i]);
    }
    return true;
}

// Straight lines through "in:out" points, rounded to nearest; level before the first and after the last point.
bool FillCurve(std::string_view text, Table* table) {
    std::vector<std::pair<int64_t, int64_t>> points;
    for (const std::string_view part : Split(text, ",;\n")) {
        if (part.empty()) continue;
        const auto pair = Split(part, ":");
        auto& [in, out] = points.emplace_back();
        if (pair.size() != 2 || !ParseInteger(pair[0], &in) || !ParseInteger(pair[1], &out)) return false;
        if (in < 0 || in > 255 || out < 0 || out > 255) return false;
        if (points.size() > 1 && points[points.size() - 2].first >= in) return false;
    }
    if (points.empty()) return false;
    size_t next = 0;
    for (int64_t v = 0; v < 256; ++v) {
        while (next < points.size() && points[next].first < v) ++next;
        int64_t out;
        if (next == 0) {
            out = points.front().second;
        } else if (next == points.size()) {
            out = points.back().second;
        } else {
            const auto [x0, y0] = points[next - 1];
            const auto [x1, y1] = points[next];
            const int64_t run = x1 - x0, rise = (y1 - y0) * (v - x0);
            out = y0 + (2 * rise + (rise < 0 ? -run : run)) / (2 * run);
        }
        (*table)[static_cast<size_t>(v)] = static_cast<uint8_t>(out);
    }
    return true;
}

bool ParseTable(std::string_view text, Table* table) {
    if (text.find(':') != std::string_view::npos) return FillCurve(text, table);
    std::vector<int64_t> numbers;
    return ParseNumbers(text, ", ;\t\r\n", &numbers) && FillTable(numbers, table);
}

bool MakeSquare(const Parameter& parameter, const std::vector<int64_t>& numbers, Kernel* kernel) {
    const auto side = static_cast<int>(std::lround(std::sqrt(static_cast<double>(numbers.size()))));
    if (numbers.empty() || static_cast<size_t>(side) * static_cast<size_t>(side) != numbers.size()) return false;
    kernel->size = side;
    kernel->coefficients.clear();
    const bool narrow = parameter.minimum < parameter.maximum;
    for (const int64_t number : numbers) {
        const double least = narrow ? parameter.minimum : INT32_MIN, most = narrow ? parameter.maximum : INT32_MAX;
        if (static_cast<double>(number) < least || static_cast<double>(number) > most) return false;
        kernel->coefficients.push_back(static_cast<int32_t>(number));
    }
    return true;
}

bool ParseKernel(const Parameter& parameter, std::string_view text, Kernel* kernel) {
    std::vector<int64_t> numbers;
    size_t columns = 0, rows = 0;
    const bool oneRow = text.find_first_of("/;\n") == std::string_view::npos;
    for (const std::string_view row : Split(text, "/;\n")) {
        if (row.empty()) continue;
        const size_t before = numbers.size();
        if (!ParseNumbers(row, ", \t\r", &numbers)) return false;
        if (rows++ > 0 && numbers.size() - before != columns) return false;
        columns = numbers.size() - before;
    }
    return (oneRow || columns == rows) && MakeSquare(parameter, numbers, kernel);
}

bool ReadSmallFile(const std::string& path, std::string* content, std::string* error) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        *error = "'" + path + "' cannot be read";
        return false;
    }
    *content = text.str();
    if (content->size() <= kMostFileBytes) return true;
    *error = "'" + path + "' is larger than 1 MiB";
    return false;
}

bool Refuse(const Parameter& parameter, std::string_view text, std::string* error) {
    constexpr size_t kMostShown = 60;
    std::string shown(text.substr(0, kMostShown));
    if (text.size() > kMostShown) shown += "...";
    *error = "--" + parameter.name + " '" + shown + "': allowed is " + AllowedText(parameter);
    return false;
}

bool ParseChoice(const Parameter& parameter, std::string_view text, Value* value, std::string* error) {
    const std::string wanted = Lower(text);
    int64_t number = 0;
    const bool numeric = ParseInteger(wanted, &number);
    std::vector<std::string> names;
    for (const Choice& choice : parameter.choices) {
        names.push_back(choice.name);
        if (choice.name != wanted && !(numeric && choice.number == number)) continue;
        *value = choice.number;
        return true;
    }
    Refuse(parameter, text, error);
    if (!numeric) *error += DidYouMean(wanted, names);
    return false;
}

bool ParseBoolean(std::string_view text, bool* flag) {
    const std::string word = Lower(text);
    const auto is = [&](std::initializer_list<const char*> words) {
        return std::find(words.begin(), words.end(), word) != words.end();
    };
    *flag = is({"true", "yes", "on", "1"});
    return *flag || is({"false", "no", "off", "0"});
}

// Reads the text with `parse` into a value of type T.
template <class T, class Function>
bool Read(Value* value, Function&& parse) {
    T read{};
    if (!parse(&read)) return false;
    *value = std::move(read);
    return true;
}

bool ParseMappingText(std::string_view text, Value* value, std::string* error) {
    Mapping mapping;
    mapping.text = std::string(text);
    mapping.transform = MakeMapping(mapping.text, error);
    if (!mapping.transform.Get()) return false;
    *value = std::move(mapping);
    return true;
}

}  // namespace

const char* TypeName(ValueType type) {
    static constexpr const char* kNames[] = {"integer", "float", "boolean", "enumeration", "colour",
                                             "size",    "point", "table",   "kernel",      "mapping"};
    return kNames[static_cast<int>(type)];
}

std::string AllowedText(const Parameter& parameter) {
    const std::string range = NumberText(parameter.minimum) + " to " + NumberText(parameter.maximum);
    switch (parameter.type) {
        case ValueType::Integer: return "a whole number from " + range;
        case ValueType::Float: return "a number from " + range;
        case ValueType::Boolean: return "true or false";
        case ValueType::Colour: return "a colour as #rrggbb or red,green,blue";
        case ValueType::Size: return "a size as WIDTHxHEIGHT, each from " + range;
        case ValueType::Point:
            return std::string("a point as x,y") + (parameter.whole ? " in whole pixels" : "") + ", each from " + range;
        case ValueType::Table: return "256 values from 0 to 255, a curve of rising in:out points, or @file";
        case ValueType::Kernel: {
            std::string text = "a square of whole numbers, rows separated by '/', or @file";
            if (parameter.minimum < parameter.maximum) text += "; each from " + range;
            return text;
        }
        case ValueType::Mapping: return MappingForms();
        case ValueType::Enumeration: break;
    }
    std::string text = "one of ";
    for (const Choice& choice : parameter.choices) {
        if (&choice != &parameter.choices.front()) text += ", ";
        text += choice.name;
    }
    return text;
}

static bool ParseText(const Parameter& parameter, std::string_view given, Value* value, std::string* error) {
    const std::string_view text = Trim(given);
    bool read = false;
    const bool large = parameter.type == ValueType::Table || parameter.type == ValueType::Kernel;
    if (large && text.starts_with('@')) {
        std::string content;
        if (!ReadSmallFile(std::string(text.substr(1)), &content, error)) {
            *error = "--" + parameter.name + ": " + *error;
            return false;
        }
        if (content.starts_with('@')) return Refuse(parameter, content, error);
        return ParseText(parameter, content, value, error);
    }
    switch (parameter.type) {
        case ValueType::Integer:
            read = Read<int64_t>(value, [&](int64_t* number) { return ParseInteger(text, number); });
            break;
        case ValueType::Float:
            read = Read<double>(value, [&](double* number) { return ParseReal(text, number); });
            break;
        case ValueType::Boolean: read = Read<bool>(value, [&](bool* flag) { return ParseBoolean(text, flag); }); break;
        case ValueType::Enumeration: return ParseChoice(parameter, text, value, error);
        case ValueType::Colour:
            read = Read<Colour>(value, [&](Colour* colour) { return ParseColour(text, colour); });
            break;
        case ValueType::Size: read = Read<Size>(value, [&](Size* size) { return ParseSize(text, size); }); break;
        case ValueType::Point: read = Read<Point>(value, [&](Point* point) { return ParsePoint(text, point); }); break;
        case ValueType::Table: read = Read<Table>(value, [&](Table* table) { return ParseTable(text, table); }); break;
        case ValueType::Kernel:
            read = Read<Kernel>(value, [&](Kernel* kernel) { return ParseKernel(parameter, text, kernel); });
            break;
        case ValueType::Mapping:
            if (ParseMappingText(text, value, error)) return true;
            *error = "--" + parameter.name + ": " + *error;
            return false;
    }
    std::string ignored;
    return (read && CheckValue(parameter, *value, &ignored)) || Refuse(parameter, text, error);
}

bool ParseValue(const Parameter& parameter, std::string_view text, Value* value, std::string* error) {
    if (ParseText(parameter, text, value, error)) return true;
    // What it quotes may hold anything.
    for (char& c : *error) c = static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    return false;
}

bool ParseJsonValue(const Parameter& parameter, const json& given, Value* value, std::string* error) {
    if (given.is_string()) return ParseValue(parameter, given.get<std::string>(), value, error);
    if (given.is_boolean()) {
        *value = given.get<bool>();
        return CheckValue(parameter, *value, error);
    }
    if (given.is_number()) return ParseValue(parameter, given.dump(), value, error);
    if (parameter.type == ValueType::Mapping && given.is_object()) {
        return ParseValue(parameter, given.dump(), value, error);
    }
    if (!given.is_array()) return Refuse(parameter, given.dump(), error);
    // The text form of an array: its parts, with rows of a kernel apart.
    std::string text;
    for (const json& part : given) {
        if (!text.empty()) text += part.is_array() ? "/" : parameter.type == ValueType::Size ? "x" : ",";
        if (part.is_number()) {
            text += part.dump();
        } else if (part.is_array() && parameter.type == ValueType::Kernel) {
            for (const json& number : part) text += (number.is_number() ? number.dump() : "?") + " ";
        } else {
            return Refuse(parameter, given.dump(), error);
        }
    }
    return ParseValue(parameter, text, value, error);
}

bool CheckValue(const Parameter& parameter, const Value& value, std::string* error) {
    const auto inRange = [&](double number) { return number >= parameter.minimum && number <= parameter.maximum; };
    const auto whole = [&](double number) { return !parameter.whole || number == std::floor(number); };
    bool good = false;
    switch (parameter.type) {
        case ValueType::Integer:
            if (const auto* number = std::get_if<int64_t>(&value)) good = inRange(static_cast<double>(*number));
            break;
        case ValueType::Float:
            if (const auto* number = std::get_if<double>(&value)) good = inRange(*number);
            break;
        case ValueType::Boolean: good = std::holds_alternative<bool>(value); break;
        case ValueType::Enumeration:
            if (const auto* number = std::get_if<int64_t>(&value)) {
                good = std::any_of(parameter.choices.begin(), parameter.choices.end(),
                                   [&](const Choice& choice) { return choice.number == *number; });
            }
            break;
        case ValueType::Colour: good = std::holds_alternative<Colour>(value); break;
        case ValueType::Size:
            if (const auto* size = std::get_if<Size>(&value)) {
                good = inRange(static_cast<double>(size->width)) && inRange(static_cast<double>(size->height));
            }
            break;
        case ValueType::Point:
            if (const auto* point = std::get_if<Point>(&value)) {
                good = inRange(point->x) && inRange(point->y) && whole(point->x) && whole(point->y);
            }
            break;
        case ValueType::Table: good = std::holds_alternative<Table>(value); break;
        case ValueType::Kernel:
            if (const auto* kernel = std::get_if<Kernel>(&value)) {
                good = kernel->size >= 1 && kernel->coefficients.size() ==
                                                static_cast<size_t>(kernel->size) * static_cast<size_t>(kernel->size);
            }
            break;
        case ValueType::Mapping:
            if (const auto* mapping = std::get_if<Mapping>(&value)) good = mapping->transform.Get() != nullptr;
            break;
    }
    return good || Refuse(parameter, Given(value) ? FormatValue(parameter, value) : "", error);
}

std::string FormatValue(const Parameter& parameter, const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) {
        for (const Choice& choice : parameter.choices) {
            if (choice.number == *number) return choice.name;
        }
        return std::to_string(*number);
    }
    if (const auto* number = std::get_if<double>(&value)) return NumberText(*number);
    if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
    if (const auto* colour = std::get_if<Colour>(&value)) {
        char text[8];
        std::snprintf(text, sizeof text, "#%02x%02x%02x", colour->red, colour->green, colour->blue);
        return text;
    }
    if (const auto* size = std::get_if<Size>(&value)) {
        return std::to_string(size->width) + "x" + std::to_string(size->height);
    }
    if (const auto* point = std::get_if<Point>(&value)) return NumberText(point->x) + "," + NumberText(point->y);
    std::string text;
    if (const auto* table = std::get_if<Table>(&value)) {
        for (const uint8_t entry : *table) {
            if (!text.empty()) text += ',';
            text += std::to_string(entry);
        }
    } else if (const auto* kernel = std::get_if<Kernel>(&value)) {
        for (size_t i = 0; i < kernel->coefficients.size(); ++i) {
            if (i > 0) text += i % static_cast<size_t>(kernel->size) == 0 ? " / " : " ";
            text += std::to_string(kernel->coefficients[i]);
        }
    } else if (const auto* mapping = std::get_if<Mapping>(&value)) {
        text = mapping->text;
    }
    return text;
}

json ToJson(const Parameter& parameter, const Value& value) {
    if (!Given(value)) return nullptr;
    if (const auto* number = std::get_if<int64_t>(&value); number && parameter.type == ValueType::Integer)
        return *number;
    if (const auto* number = std::get_if<double>(&value)) return *number;
    if (const auto* flag = std::get_if<bool>(&value)) return *flag;
    if (const auto* table = std::get_if<Table>(&value)) return *table;
    return FormatValue(parameter, value);
}

namespace {

// Edits (insert, delete, replace, exchange of neighbours) between two short words.
size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
    for (size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        for (size_t j = 1; j <= b.size(); ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

}  // namespace

std::vector<std::string> SimilarNames(std::string_view word, const std::vector<std::string>& candidates) {
    const std::string wanted = Lower(word.substr(0, 64));
    std::vector<std::pair<size_t, std::string>> ranked;
    for (const std::string& candidate : candidates) {
        size_t distance = Distance(wanted, candidate);
        const bool part = wanted.size() >= 3 && candidate.find(wanted) != std::string::npos;
        if (part) distance = std::min<size_t>(distance, 1);
        if (distance <= std::max<size_t>(1, wanted.size() / 3)) ranked.emplace_back(distance, candidate);
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> names;
    for (const auto& [distance, name] : ranked) {
        if (names.size() < 3 && std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    }
    return names;
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& candidates) {
    std::string text;
    for (const std::string& name : SimilarNames(word, candidates)) {
        text += (text.empty() ? "; did you mean '" : " or '") + name + "'";
    }
    return text.empty() ? text : text + "?";
}

}  // namespace velhost
