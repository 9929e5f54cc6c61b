#include "MappingText.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <string_view>

#include <nlohmann/json.hpp>

#include "Mappings.h"

namespace velhost {
namespace {

using nlohmann::json;

constexpr size_t kMostPoints = 1u << 20;

std::vector<std::string_view> Split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (size_t at = 0;;) {
        const size_t end = text.find(separator, at);
        parts.push_back(text.substr(at, end == std::string_view::npos ? end : end - at));
        if (end == std::string_view::npos) return parts;
        at = end + 1;
    }
}

bool ReadNumber(std::string_view text, double* number) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    while (text.ends_with(' ')) text.remove_suffix(1);
    if (text.starts_with('+')) text.remove_prefix(1);
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), *number);
    return code == std::errc() && end == text.data() + text.size() && std::isfinite(*number);
}

bool ReadNumbers(std::string_view text, size_t count, std::vector<double>* numbers) {
    const auto parts = Split(text, ',');
    if (parts.size() != count) return false;
    for (const std::string_view part : parts) {
        double number = 0;
        if (!ReadNumber(part, &number)) return false;
        numbers->push_back(number);
    }
    return true;
}

// "x,y=u,v" or, with `bare`, "u,v".
bool ReadPoint(std::string_view text, bool bare, std::vector<PointPair>* points) {
    std::vector<double> numbers;
    const auto sides = Split(text, '=');
    if (sides.size() != (bare ? 1 : 2)) return false;
    for (const std::string_view side : sides) {
        if (!ReadNumbers(side, 2, &numbers)) return false;
    }
    if (bare) numbers.insert(numbers.begin(), 2, 0.0);
    points->push_back({numbers[0], numbers[1], numbers[2], numbers[3]});
    return true;
}

bool ReadPoints(const std::vector<std::string_view>& parts, size_t first, bool bare, std::vector<PointPair>* points) {
    if (parts.size() > kMostPoints) return false;
    for (size_t i = first; i < parts.size(); ++i) {
        if (!ReadPoint(parts[i], bare, points)) return false;
    }
    return true;
}

// "8x6,x0,y0,dx,dy"
bool ReadGridHead(std::string_view text, MappingText* mapping) {
    const size_t comma = text.find(',');
    if (comma == std::string_view::npos) return false;
    const auto sides = Split(text.substr(0, comma), 'x');
    double columns = 0, rows = 0;
    if (sides.size() != 2 || !ReadNumber(sides[0], &columns) || !ReadNumber(sides[1], &rows)) return false;
    if (columns < 1 || rows < 1 || columns > kMostPoints || rows > kMostPoints) return false;
    mapping->columns = static_cast<int>(columns);
    mapping->rows = static_cast<int>(rows);
    return ReadNumbers(text.substr(comma + 1), 4, &mapping->numbers);
}

bool ReadForm(std::string_view name, std::string_view text, MappingText* mapping) {
    if (name == "affine" || name == "lens") {
        mapping->type = name == "lens" ? MappingText::Lens : MappingText::Affine;
        return ReadNumbers(text, 6, &mapping->numbers);
    }
    const auto parts = Split(text, ';');
    if (name == "projective") {
        mapping->type = MappingText::Projective;
        return ReadPoints(parts, 0, false, &mapping->points);
    }
    if (name == "polynomial") {
        mapping->type = MappingText::Polynomial;
        double degree = 0;
        if (!ReadNumber(parts[0], &degree) || std::abs(degree) > 99) return false;
        mapping->degree = static_cast<int>(degree);
        return ReadPoints(parts, 1, false, &mapping->points);
    }
    if (name == "grid") {
        mapping->type = MappingText::Grid;
        return ReadGridHead(parts[0], mapping) && ReadPoints(parts, 1, true, &mapping->points);
    }
    return false;
}

void AddNumbers(const json& list, size_t count, std::vector<double>* numbers) {
    if (list.size() != count) throw std::invalid_argument("a list needs " + std::to_string(count) + " numbers");
    for (const json& number : list) numbers->push_back(number.get<double>());
}

MappingText FromJson(const json& file) {
    MappingText mapping;
    const std::string type = file.at("type").get<std::string>();
    if (type == "affine") {
        mapping.type = MappingText::Affine;
        AddNumbers(file.at("matrix"), 6, &mapping.numbers);
    } else if (type == "lens") {
        mapping.type = MappingText::Lens;
        AddNumbers(file.at("k"), 3, &mapping.numbers);
        AddNumbers(file.at("centre"), 2, &mapping.numbers);
        mapping.numbers.push_back(file.at("radius").get<double>());
    } else if (type == "projective" || type == "polynomial" || type == "grid") {
        mapping.type = type == "grid"         ? MappingText::Grid
                       : type == "polynomial" ? MappingText::Polynomial
                                              : MappingText::Projective;
        if (type == "polynomial") mapping.degree = file.at("degree").get<int>();
        if (type == "grid") {
            mapping.columns = file.at("columns").get<int>();
            mapping.rows = file.at("rows").get<int>();
            AddNumbers(file.at("origin"), 2, &mapping.numbers);
            AddNumbers(file.at("step"), 2, &mapping.numbers);
        }
        for (const json& point : file.at("points")) {
            std::vector<double> numbers;
            if (type == "grid") numbers = {0, 0};
            AddNumbers(point, type == "grid" ? 2 : 4, &numbers);
            mapping.points.push_back({numbers[0], numbers[1], numbers[2], numbers[3]});
        }
    } else if (type != "identity") {
        throw std::invalid_argument("there is no type '" + type + "'");
    }
    return mapping;
}

bool ReadFile(const std::string& path, MappingText* mapping, std::string* error) {
    std::ifstream stream(path);
    if (!stream) {
        *error = "'@" + path + "': the file cannot be read";
        return false;
    }
    try {
        *mapping = FromJson(json::parse(stream));
        return true;
    } catch (const std::exception& failure) {
        std::string reason = failure.what();
        // The library's messages begin with a tag of its own.
        if (const size_t tag = reason.find("] "); reason.starts_with('[') && tag != std::string::npos) {
            reason.erase(0, tag + 2);
        }
        *error = "'@" + path + "': " + reason;
        return false;
    }
}

}  // namespace

bool ReadMappingText(const std::string& text, MappingText* mapping, std::string* error) {
    *mapping = {};
    if (text == "identity") return true;
    if (text.starts_with('@')) return ReadFile(text.substr(1), mapping, error);
    const size_t colon = text.find(':');
    if (colon != std::string::npos &&
        ReadForm(std::string_view(text).substr(0, colon), std::string_view(text).substr(colon + 1), mapping)) {
        return true;
    }
    *error = "'" + text + "': allowed is " + MappingForms();
    return false;
}

}  // namespace velhost
